#include "core/Url.hpp"

#include <cctype>

namespace lorvan {
namespace {

bool isUnreserved(unsigned char c) {
    return std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~' || c == '/' || c == '!' ||
           c == '$' || c == '&' || c == '\'' || c == '(' || c == ')' || c == '*' || c == '+' || c == ',' ||
           c == ';' || c == '=' || c == ':' || c == '@';
}

std::string percentEncoded(std::string_view text) {
    static constexpr char hex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : text) {
        if (isUnreserved(c)) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        if (i + 2 >= text.size()) return std::nullopt;
        const int high = hexValue(text[i + 1]), low = hexValue(text[i + 2]);
        if (high < 0 || low < 0) return std::nullopt;
        out += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return out;
}

} // namespace

Url Url::fileURL(const std::filesystem::path& path) {
    Url url;
    url.isFile_ = true;
    url.path_ = (path.is_absolute() ? path : std::filesystem::current_path() / path).lexically_normal();
    return url;
}

std::optional<Url> Url::parse(std::string_view text) {
    const auto colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0) return std::nullopt;
    for (char c : text.substr(0, colon))
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.')
            return std::nullopt;

    constexpr std::string_view filePrefix = "file://";
    if (text.substr(0, filePrefix.size()) == filePrefix) {
        std::string_view rest = text.substr(filePrefix.size());
        if (rest.substr(0, 9) == "localhost") rest.remove_prefix(9);
        if (rest.empty() || rest.front() != '/') return std::nullopt;
        auto decoded = percentDecoded(rest);
        if (!decoded) return std::nullopt;
        Url url;
        url.isFile_ = true;
        url.path_ = std::filesystem::path(*decoded).lexically_normal();
        return url;
    }
    Url url;
    url.text_ = std::string(text);
    return url;
}

std::string Url::absoluteString() const {
    return isFile_ ? "file://" + percentEncoded(path_.string()) : text_;
}

std::string Url::lastPathComponent() const {
    if (!isFile_) {
        const auto slash = text_.find_last_of('/');
        return slash == std::string::npos ? text_ : text_.substr(slash + 1);
    }
    const auto name = path_.filename().string();
    return name.empty() ? path_.parent_path().filename().string() : name;
}

std::string Url::pathExtension() const {
    const auto extension = path_.extension().string();
    return extension.empty() ? extension : extension.substr(1);
}

Url Url::deletingLastPathComponent() const {
    Url url = *this;
    url.path_ = path_.has_filename() ? path_.parent_path() : path_.parent_path().parent_path();
    return url;
}

Url Url::appendingPathComponent(std::string_view component) const {
    Url url = *this;
    url.path_ = (path_ / component).lexically_normal();
    return url;
}

} // namespace lorvan
