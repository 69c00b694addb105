#pragma once

#include "core/LocalizedError.hpp"
#include "core/Url.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lorvan {

class TextFileDecoderError : public LocalizedError {
public:
    /// The kinds after `notAFileURL` refuse a file before or instead of decoding it: a path
    /// that is not a regular file (a folder, pipe or device would block or never end), a file
    /// larger than any cue sheet, and bytes that are not text.
    enum class Kind { dummy, notAFileURL, notARegularFile, fileTooLarge, notText };
    /// The largest cue sheet read; real sheets stay far below it, even with 99 tracks of metadata.
    static constexpr std::uintmax_t maximumFileSize = 1024 * 1024;

    /// `fileName` names the refused file in the failure reason.
    explicit TextFileDecoderError(Kind kind, std::string fileName = {});

    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] std::string typeName() const override { return "TextFileDecoderError"; }
    [[nodiscard]] std::string kindName() const override;
    [[nodiscard]] std::optional<std::string> errorDescription() const override;
    [[nodiscard]] std::optional<std::string> failureReason() const override;
    [[nodiscard]] std::optional<std::string> value() const override;

private:
    Kind kind_;
    std::string fileName_;
};

/// Turns the bytes of a cue sheet, whose encoding is never declared, into UTF-8 text by trying
/// a fixed list of encodings and keeping the first that decodes the whole file. Stateless;
/// any thread.
class TextFileDecoder {
public:
    /// Reads and decodes the file at `url`. Throws `TextFileDecoderError(notAFileURL)` for other
    /// URLs (nothing read, nothing logged) and `CueSheetError(dummy)` when no encoding fits.
    /// Throws `TextFileDecoderError` `notARegularFile` (nothing opened), `fileTooLarge` (at most
    /// `maximumFileSize` + 1 bytes read) or `notText` (the decoded text holds a NUL), logged.
    [[nodiscard]] static std::string decode(const Url& url);

    /// Decodes `bytes` named `fileName` in the log; throws `CueSheetError(dummy)` when no encoding fits.
    [[nodiscard]] static std::string decode(std::string_view bytes, std::string_view fileName);
};

} // namespace lorvan
