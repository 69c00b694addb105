#include "cuesheet/TextScanner.hpp"

#include <charconv>
#include <cmath>
#include <limits>

namespace lorvan {
namespace {
bool isBlank(char c) {
    return c == ' ' || c == '\t';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
} // namespace

std::optional<char> TextScanner::peek() const {
    if (atEnd()) return std::nullopt;
    return text_[position_];
}

void TextScanner::skipBlanks() {
    while (!atEnd() && isBlank(text_[position_]))
        ++position_;
}

std::size_t TextScanner::lineEndLength(std::size_t at) const {
    if (at >= text_.size()) return 0;
    const auto c = static_cast<unsigned char>(text_[at]);
    if (c == '\r') return at + 1 < text_.size() && text_[at + 1] == '\n' ? 2 : 1;
    if (c >= 0x0A && c <= 0x0D) return 1;
    const std::string_view rest = text_.substr(at);
    if (rest.starts_with("\xC2\x85")) return 2;                                         // U+0085
    if (rest.starts_with("\xE2\x80\xA8") || rest.starts_with("\xE2\x80\xA9")) return 3; // U+2028, U+2029
    return 0;
}

bool TextScanner::consumeLineEnd() {
    const std::size_t length = lineEndLength(position_);
    position_ += length;
    return length > 0;
}

bool TextScanner::consume(std::string_view literal) {
    if (!text_.substr(position_).starts_with(literal)) return false;
    position_ += literal.size();
    return true;
}

bool TextScanner::consume(char character) {
    if (atEnd() || text_[position_] != character) return false;
    ++position_;
    return true;
}

std::string_view TextScanner::scanWord() {
    const std::size_t start = position_;
    while (!atEnd() && !isBlank(text_[position_]) && !atLineEnd())
        ++position_;
    return text_.substr(start, position_ - start);
}

std::string_view TextScanner::scanToLineEnd() {
    const std::size_t start = position_;
    while (!atEnd() && !atLineEnd())
        ++position_;
    return text_.substr(start, position_ - start);
}

std::string_view TextScanner::scanUpTo(char delimiter) {
    const std::size_t start = position_;
    while (!atEnd() && text_[position_] != delimiter && !atLineEnd())
        ++position_;
    return text_.substr(start, position_ - start);
}

std::optional<long long> TextScanner::scanInteger() {
    std::size_t at = position_;
    bool negative = false;
    if (at < text_.size() && (text_[at] == '+' || text_[at] == '-')) negative = text_[at++] == '-';
    if (at >= text_.size() || !isDigit(text_[at])) return std::nullopt;
    constexpr long long limit = std::numeric_limits<long long>::max();
    long long value = 0;
    for (; at < text_.size() && isDigit(text_[at]); ++at) {
        const int digit = text_[at] - '0';
        value = value > (limit - digit) / 10 ? limit : value * 10 + digit;
    }
    position_ = at;
    return negative ? -value : value;
}

std::optional<double> TextScanner::scanDecimal() {
    std::size_t at = position_;
    if (at < text_.size() && text_[at] == '+') ++at; // from_chars refuses an explicit plus
    const char* first = text_.data() + at;
    const char* last = text_.data() + text_.size();
    if (first < last && (*first == '+' || *first == '-') && text_[position_] == '+') return std::nullopt;
    double value = 0;
    const auto [end, error] = std::from_chars(first, last, value, std::chars_format::general);
    if (error != std::errc() || end == first || !std::isfinite(value)) return std::nullopt;
    position_ = static_cast<std::size_t>(end - text_.data());
    return value;
}

std::string_view trimmedBlanks(std::string_view text) {
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

} // namespace lorvan
