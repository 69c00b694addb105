#include "disc/LKOSStatus.hpp"

#include "core/IKErrorLocation.hpp"
#include "core/LogEntry.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>

namespace lorvan {
namespace {

std::atomic<LKOSStatus::DescriptionProvider> descriptionProvider{nullptr};

constexpr std::int32_t tag(unsigned a, unsigned b, unsigned c, unsigned d) {
    return -static_cast<std::int32_t>(a | (b << 8) | (c << 16) | (d << 24));
}

// FFmpeg's own codes, as its headers define them; kept here so that the status can be shown
// by name without the disc layer including FFmpeg.
constexpr std::array<std::pair<std::int32_t, const char*>, 18> taggedNames{{
    {tag(0xF8, 'B', 'S', 'F'), "AVERROR_BSF_NOT_FOUND"},
    {tag('B', 'U', 'G', '!'), "AVERROR_BUG"},
    {tag('B', 'U', 'F', 'S'), "AVERROR_BUFFER_TOO_SMALL"},
    {tag(0xF8, 'D', 'E', 'C'), "AVERROR_DECODER_NOT_FOUND"},
    {tag(0xF8, 'D', 'E', 'M'), "AVERROR_DEMUXER_NOT_FOUND"},
    {tag(0xF8, 'E', 'N', 'C'), "AVERROR_ENCODER_NOT_FOUND"},
    {tag('E', 'O', 'F', ' '), "AVERROR_EOF"},
    {tag('E', 'X', 'I', 'T'), "AVERROR_EXIT"},
    {tag('E', 'X', 'T', ' '), "AVERROR_EXTERNAL"},
    {tag(0xF8, 'F', 'I', 'L'), "AVERROR_FILTER_NOT_FOUND"},
    {tag('I', 'N', 'D', 'A'), "AVERROR_INVALIDDATA"},
    {tag(0xF8, 'M', 'U', 'X'), "AVERROR_MUXER_NOT_FOUND"},
    {tag(0xF8, 'O', 'P', 'T'), "AVERROR_OPTION_NOT_FOUND"},
    {tag('P', 'A', 'W', 'E'), "AVERROR_PATCHWELCOME"},
    {tag(0xF8, 'P', 'R', 'O'), "AVERROR_PROTOCOL_NOT_FOUND"},
    {tag(0xF8, 'S', 'T', 'R'), "AVERROR_STREAM_NOT_FOUND"},
    {tag('B', 'U', 'G', ' '), "AVERROR_BUG2"},
    {tag('U', 'N', 'K', 'N'), "AVERROR_UNKNOWN"},
}};

constexpr std::array<std::pair<int, const char*>, 16> errnoNames{{
    {EPERM, "EPERM"},
    {ENOENT, "ENOENT"},
    {EIO, "EIO"},
    {EBADF, "EBADF"},
    {EAGAIN, "EAGAIN"},
    {ENOMEM, "ENOMEM"},
    {EACCES, "EACCES"},
    {EISDIR, "EISDIR"},
    {EINVAL, "EINVAL"},
    {EMFILE, "EMFILE"},
    {ENOSPC, "ENOSPC"},
    {ERANGE, "ERANGE"},
    {ENOSYS, "ENOSYS"},
    {ENODATA, "ENODATA"},
    {ENOTDIR, "ENOTDIR"},
    {EFBIG, "EFBIG"},
}};

std::optional<std::string> symbolicName(std::int32_t raw) {
    for (const auto& [code, name] : taggedNames)
        if (code == raw) return name;
    for (const auto& [code, name] : errnoNames)
        if (-code == raw) return std::string("AVERROR(") + name + ")";
    return std::nullopt;
}

std::optional<std::string> printableCode(std::int32_t raw) {
    if (raw >= 0 || raw == INT32_MIN) return std::nullopt;
    const auto bits = static_cast<std::uint32_t>(-raw);
    std::string text;
    for (int i = 0; i < 4; ++i) {
        const auto c = static_cast<unsigned char>((bits >> (8 * i)) & 0xFF);
        if (c < 0x20 || c > 0x7E) return std::nullopt;
        text += static_cast<char>(c);
    }
    return text;
}

} // namespace

void LKOSStatus::setDescriptionProvider(DescriptionProvider provider) {
    descriptionProvider.store(provider);
}

LKOSStatus::LKOSStatus(std::int32_t raw, std::optional<std::string> file, std::optional<long> line,
                       std::optional<std::string> function, std::optional<std::string> operation,
                       std::optional<Url> url)
    : LocalizedError("OSStatus " + std::to_string(raw))
    , rawValue(raw)
    , sourceFile(std::move(file))
    , sourceLine(line)
    , sourceFunction(std::move(function))
    , operationDescription(std::move(operation))
    , audioFileURL(std::move(url)) {}

std::string LKOSStatus::displayText(DisplayStyle style) const {
    switch (style) {
    case DisplayStyle::value:
        return std::to_string(rawValue);
    case DisplayStyle::code:
        if (auto code = printableCode(rawValue)) return "'" + *code + "'";
        return std::to_string(rawValue);
    case DisplayStyle::errorNames:
        return symbolicName(rawValue).value_or("Unknown Error");
    case DisplayStyle::description:
        if (auto provider = descriptionProvider.load()) return provider(rawValue);
        if (rawValue < 0 && rawValue > -4096 && symbolicName(rawValue)) return std::strerror(-rawValue);
        return symbolicName(rawValue).value_or("Unknown Error");
    }
    return {};
}

std::string LKOSStatus::statusText() const {
    return displayText(DisplayStyle::description) + " (" + displayText(DisplayStyle::errorNames) + ")";
}

std::string LKOSStatus::kindName() const {
    return displayText(DisplayStyle::errorNames);
}

std::optional<std::string> LKOSStatus::errorDescription() const {
    if (operationDescription) return "Operation '" + *operationDescription + "' failed";
    return "Audio file operation failed";
}

std::optional<std::string> LKOSStatus::failureReason() const {
    std::string reason = displayText(DisplayStyle::description) + " (error " + std::to_string(rawValue) +
                         ", " + displayText(DisplayStyle::errorNames) + ")";
    if (audioFileURL) reason += " on audio file '" + audioFileURL->lastPathComponent() + "'";
    return reason + ".";
}

std::optional<std::string> LKOSStatus::value() const {
    if (audioFileURL) return audioFileURL->lastPathComponent();
    return std::nullopt;
}

void checkStatus(std::int32_t status, std::string_view operation, const std::optional<Url>& audioFileURL,
                 std::string_view function, SourceLocation at) {
    if (status == 0) return;
    LKOSStatus error(status, at.file_name(), static_cast<long>(at.line()), std::string(function),
                     std::string(operation), audioFileURL);
    const IKErrorLocation location{at.file_name(), static_cast<long>(at.line())};
    const auto urlText = audioFileURL ? std::optional(audioFileURL->absoluteString()) : std::nullopt;
    printOperationFailure(operation, urlText, status, error.statusText(), location, function);
    throw error;
}

} // namespace lorvan
