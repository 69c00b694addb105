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

struct Read {
    std::optional<std::string> bytes;
    bool tooLarge = false;
};

Read readAll(const std::filesystem::path& path) {
    // Reads past the limit, so that a file growing after the size check is caught too.
    std::ifstream file(path, std::ios::binary);
    if (!file) return {};
    // In steps, so that a sheet of a few hundred bytes does not cost a megabyte of fresh memory.
    std::string bytes;
    std::array<char, 16384> chunk{};
    while (file && bytes.size() <= TextFileDecoderError::maximumFileSize) {
        file.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        bytes.append(chunk.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (file.bad()) return {};
    if (bytes.size() > TextFileDecoderError::maximumFileSize) return {std::nullopt, true};
    return {std::move(bytes), false};
}

[[noreturn]] void refuse(TextFileDecoderError::Kind kind, const Url& url) {
    throwLogged(TextFileDecoderError(kind, url.lastPathComponent()));
}

} // namespace

namespace {

const char* descriptionOf(TextFileDecoderError::Kind kind) {
    using Kind = TextFileDecoderError::Kind;
    switch (kind) {
    case Kind::dummy:
        return "Dummy placeholder error message";
    case Kind::notAFileURL:
        return "The URL provided does not point to a file";
    case Kind::notARegularFile:
    case Kind::fileTooLarge:
    case Kind::notText:
        return "Not a cue sheet";
    }
    return "";
}

} // namespace

TextFileDecoderError::TextFileDecoderError(Kind kind, std::string fileName)
    : LocalizedError(descriptionOf(kind))
    , kind_(kind)
    , fileName_(std::move(fileName)) {}

std::string TextFileDecoderError::kindName() const {
    switch (kind_) {
    case Kind::dummy:
        return "dummy";
    case Kind::notAFileURL:
        return "notAFileURL";
    case Kind::notARegularFile:
        return "notARegularFile";
    case Kind::fileTooLarge:
        return "fileTooLarge";
    case Kind::notText:
        return "notText";
    }
    return {};
}

std::optional<std::string> TextFileDecoderError::errorDescription() const {
    return std::string(what());
}

std::optional<std::string> TextFileDecoderError::failureReason() const {
    const std::string name = "'" + fileName_ + "'";
    switch (kind_) {
    case Kind::dummy:
    case Kind::notAFileURL:
        return std::nullopt;
    case Kind::notARegularFile:
        return name + " is not a regular file; a folder, a pipe or a device cannot be read as a cue sheet.";
    case Kind::fileTooLarge:
        return name + " is larger than 1 MiB, far more than any cue sheet.";
    case Kind::notText:
        return name + " holds binary data (NUL bytes), not the text of a cue sheet.";
    }
    return std::nullopt;
}

std::optional<std::string> TextFileDecoderError::value() const {
    if (kind_ == Kind::dummy || kind_ == Kind::notAFileURL) return std::nullopt;
    return fileName_;
}

std::string TextFileDecoder::decode(const Url& url) {
    if (!url.isFileURL()) throw TextFileDecoderError(TextFileDecoderError::Kind::notAFileURL);
    log("Decoding cue file", url.lastPathComponent());
    // Checked before anything is opened: opening a pipe blocks until a writer comes, and a
    // device such as /dev/zero never ends.
    std::error_code statusError;
    const auto status = std::filesystem::status(url.path(), statusError);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        refuse(TextFileDecoderError::Kind::notARegularFile, url);
    if (std::filesystem::is_regular_file(status)) {
        std::error_code sizeError;
        const auto size = std::filesystem::file_size(url.path(), sizeError);
        if (!sizeError && size > TextFileDecoderError::maximumFileSize)
            refuse(TextFileDecoderError::Kind::fileTooLarge, url);
    }
    auto read = readAll(url.path());
    if (read.tooLarge) refuse(TextFileDecoderError::Kind::fileTooLarge, url);
    if (read.bytes) {
        std::string text = decode(*read.bytes, {});
        // Every encoding turns a NUL byte (outside UTF-16) into U+0000, which no cue sheet holds:
        // an audio file or other binary named as a sheet stops here instead of being parsed.
        if (text.find('\0') != std::string::npos) refuse(TextFileDecoderError::Kind::notText, url);
        return text;
    }
    // A file that cannot be read fails in every encoding.
    for (const auto& encoding : encodings)
        log("Unsucessfull decoding with", encoding.name);
    throwLogged(CueSheetError(CueSheetError::Kind::dummy));
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
    throwLogged(CueSheetError(CueSheetError::Kind::dummy));
}

} // namespace lorvan
