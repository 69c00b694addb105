#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace lorvan {

/// A cursor over UTF-8 text for the cue sheet and date readers. Case-sensitive and explicit:
/// nothing is skipped unless asked. Line ends are U+000A to U+000D, U+0085, U+2028 and U+2029,
/// with "\r\n" read as one line end, as a user sees it.
class TextScanner {
public:
    explicit TextScanner(std::string_view text) : text_(text) {}

    [[nodiscard]] bool atEnd() const { return position_ >= text_.size(); }
    [[nodiscard]] std::size_t position() const { return position_; }
    void setPosition(std::size_t position) { position_ = position; }
    [[nodiscard]] std::optional<char> peek() const;

    /// Skips spaces and tabs (never line ends).
    void skipBlanks();
    [[nodiscard]] bool atLineEnd() const { return lineEndLength(position_) > 0; }
    /// Consumes one line end; false when there is none here.
    bool consumeLineEnd();
    /// Consumes `literal` when the text continues with it.
    bool consume(std::string_view literal);
    bool consume(char character);

    /// Everything up to the next blank or line end (maybe empty).
    std::string_view scanWord();
    /// Everything up to the next line end (maybe empty).
    std::string_view scanToLineEnd();
    /// Everything up to `delimiter` or the next line end, neither consumed.
    std::string_view scanUpTo(char delimiter);
    /// An optionally signed run of decimal digits; saturates instead of overflowing.
    std::optional<long long> scanInteger();
    /// A decimal number such as "-6.50", "+1", ".5" or "1e-3".
    std::optional<double> scanDecimal();

private:
    [[nodiscard]] std::size_t lineEndLength(std::size_t at) const;

    std::string_view text_;
    std::size_t position_ = 0;
};

/// `text` without leading and trailing spaces and tabs.
[[nodiscard]] std::string_view trimmedBlanks(std::string_view text);

} // namespace lorvan
