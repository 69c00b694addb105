#include "cuesheet/TextFileDecoder.hpp"

#include "core/LogEntry.hpp"
#include "cuesheet/CueSheetError.hpp"

#include <array>
#include <cerrno>
#include <fstream>
#include <iconv.h>
#include <iterator>

namespace lorvan {
namespace {

struct Encoding {
    const char* name;      // as shown in the log
    const char* iconvName; // as glibc's iconv knows it
    bool needsByteOrderMark;
};

// The order is part of the behaviour: ISO Latin-1 accepts every byte, so it ends the search for
// any file that is not valid UTF-8 or UTF-16, and the encodings after it only come into play
// when the file cannot be read at all.
constexpr std::array<Encoding, 7> encodings{{
    {"Unicode (UTF-8)", "UTF-8", false},
    // Without a byte order mark nearly every even-length 8-bit file would "decode" as UTF-16
    // and come out as CJK text instead of falling through to ISO Latin-1.
    {"Unicode (UTF-16)", "UTF-16", true},
    {"Western (ISO Latin 1)", "ISO-8859-1", false},
    {"Western (Windows Latin 1)", "WINDOWS-1252", false},
    {"Central European (ISO Latin 2)", "ISO-8859-2", false},
    {"Western (Mac OS Roman)", "MACINTOSH", false},
    {"Western (ASCII)", "ASCII", false},
}};

bool startsWithUtf16ByteOrderMark(std::string_view bytes) {
    return bytes.size() >= 2 &&
           ((bytes[0] == '\xFF' && bytes[1] == '\xFE') || (bytes[0] == '\xFE' && bytes[1] == '\xFF'));
}

/// Strict conversion to UTF-8: any invalid or incomplete sequence fails the whole attempt.
std::optional<std::string> convert(std::string_view bytes, const char* from) {
    iconv_t converter = iconv_open("UTF-8", from);
    if (converter == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
    std::string out(bytes.size() * 3 + 16, '\0');
    char* input = const_cast<char*>(bytes.data());
    std::size_t inputLeft = bytes.size();
    char* output = out.data();
    std::size_t outputLeft = out.size();
    bool ok = true;
    while (inputLeft > 0) {
        if (iconv(converter, &input, &inputLeft, &output, &outputLeft) == static_cast<std::size_t>(-1)) {
            if (errno == E2BIG) {
                const std::size_t used = out.size() - outputLeft;
                out.resize(out.size() * 2);
                output = out.data() + used;
                outputLeft = out.size() - used;
                continue;
            }
            ok = false; // EILSEQ or EINVAL: never substitute
            break;
        }
    }
    iconv_close(converter);
    if (!ok) return std::nullopt;
    out.resize(out.size() - outputLeft);
    return out;
}

std::optional<std::string> readAll(const std::filesystem::path& path) {
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) return std::nullopt;
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (file.bad()) return std::nullopt;
    return bytes;
}

} // namespace

TextFileDecoderError::TextFileDecoderError(Kind kind)
    : LocalizedError(kind == Kind::dummy ? "Dummy placeholder error message"
                                         : "The URL provided does not point to a file")
    , kind_(kind) {}

std::string TextFileDecoderError::kindName() const {
    return kind_ == Kind::dummy ? "dummy" : "notAFileURL";
}

std::optional<std::string> TextFileDecoderError::errorDescription() const {
    return std::string(what());
}

std::string TextFileDecoder::decode(const Url& url) {
    if (!url.isFileURL()) throw TextFileDecoderError(TextFileDecoderError::Kind::notAFileURL);
    log("Decoding cue file", url.lastPathComponent());
    if (auto bytes = readAll(url.path())) return decode(*bytes, {});
    // A file that cannot be read fails in every encoding.
    for (const auto& encoding : encodings)
        log("Unsucessfull decoding with", encoding.name);
    CueSheetError error(CueSheetError::Kind::dummy);
    error.log();
    throw error;
}

std::string TextFileDecoder::decode(std::string_view bytes, std::string_view fileName) {
    if (!fileName.empty()) log("Decoding cue file", std::string(fileName));
    for (const auto& encoding : encodings) {
        std::optional<std::string> text;
        if (!encoding.needsByteOrderMark || startsWithUtf16ByteOrderMark(bytes))
            text = convert(bytes, encoding.iconvName);
        if (text) {
            log("Successfully decoded with", encoding.name);
            return std::move(*text);
        }
        log("Unsucessfull decoding with", encoding.name);
    }
    CueSheetError error(CueSheetError::Kind::dummy);
    error.log();
    throw error;
}

} // namespace lorvan
