#pragma once

#include "core/LocalizedError.hpp"
#include "core/SourceLocation.hpp"
#include "core/Url.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lorvan {

/// A failed status of the audio-file layer, thrown as an error. On Linux the raw value is an
/// FFmpeg error code: a negated errno or a negated four-character tag such as -'INDA'.
/// Its raw value is its identity; the other fields say where and on what it failed.
class LKOSStatus : public LocalizedError {
public:
    /// The ways a status can be shown.
    enum class DisplayStyle { value, code, errorNames, description };

    /// Turns a raw value into the library's own message. The platform layer installs one;
    /// without it `description` falls back to the symbolic name.
    using DescriptionProvider = std::string (*)(std::int32_t rawValue);
    static void setDescriptionProvider(DescriptionProvider provider);

    explicit LKOSStatus(std::int32_t rawValue, std::optional<std::string> sourceFile = std::nullopt,
                        std::optional<long> sourceLine = std::nullopt,
                        std::optional<std::string> sourceFunction = std::nullopt,
                        std::optional<std::string> operationDescription = std::nullopt,
                        std::optional<Url> audioFileURL = std::nullopt);

    std::int32_t rawValue;
    std::optional<std::string> sourceFile;
    std::optional<long> sourceLine;
    std::optional<std::string> sourceFunction;
    std::optional<std::string> operationDescription;
    std::optional<Url> audioFileURL;

    [[nodiscard]] std::int32_t errorCode() const { return rawValue; }

    /// `value`: the number in decimal. `code`: the four characters of the negated tag, quoted,
    /// when they are printable, else the number. `errorNames`: the symbolic name ("AVERROR_EOF",
    /// "AVERROR(ENOENT)"), or "Unknown Error" when the code has none. `description`: the
    /// library's text for the code.
    [[nodiscard]] std::string displayText(DisplayStyle style) const;
    /// The text used in diagnostics: the description, then the symbolic name in parentheses.
    [[nodiscard]] std::string statusText() const;

    [[nodiscard]] std::string typeName() const override { return "LKOSStatus"; }
    [[nodiscard]] std::string kindName() const override;
    [[nodiscard]] std::optional<std::string> errorDescription() const override;
    [[nodiscard]] std::optional<std::string> failureReason() const override;
    [[nodiscard]] std::optional<std::string> value() const override;

    friend bool operator==(const LKOSStatus& a, const LKOSStatus& b) { return a.rawValue == b.rawValue; }
};

/// The status check every audio-file call goes through: nothing happens for 0; any other
/// status prints the operation-failure block and is thrown as an `LKOSStatus` with all fields.
void checkStatus(std::int32_t status, std::string_view operation, const std::optional<Url>& audioFileURL,
                 std::string_view function, SourceLocation at = SourceLocation::current());

} // namespace lorvan
