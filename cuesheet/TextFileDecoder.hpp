#pragma once

#include "core/LocalizedError.hpp"
#include "core/Url.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace lorvan {

class TextFileDecoderError : public LocalizedError {
public:
    enum class Kind { dummy, notAFileURL };
    explicit TextFileDecoderError(Kind kind);

    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] std::string typeName() const override { return "TextFileDecoderError"; }
    [[nodiscard]] std::string kindName() const override;
    [[nodiscard]] std::optional<std::string> errorDescription() const override;

private:
    Kind kind_;
};

/// Turns the bytes of a cue sheet, whose encoding is never declared, into UTF-8 text by trying
/// a fixed list of encodings and keeping the first that decodes the whole file. Stateless;
/// any thread.
class TextFileDecoder {
public:
    /// Reads and decodes the file at `url`. Throws `TextFileDecoderError(notAFileURL)` for other
    /// URLs (nothing read, nothing logged) and `CueSheetError(dummy)` when no encoding fits.
    [[nodiscard]] static std::string decode(const Url& url);

    /// Decodes `bytes` named `fileName` in the log; throws `CueSheetError(dummy)` when no encoding fits.
    [[nodiscard]] static std::string decode(std::string_view bytes, std::string_view fileName);
};

} // namespace lorvan
