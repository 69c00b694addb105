#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace lorvan {

// Every width in the console log and in text tables is counted in user-perceived characters
// (grapheme clusters): "é" written as e + combining accent, "⦿" and an emoji each count one.
// Thread-safe: each thread keeps its own break iterator.

/// Number of grapheme clusters in UTF-8 `text`. Invalid UTF-8 counts one per replaced sequence.
[[nodiscard]] std::size_t characterCount(std::string_view text);

/// The first grapheme cluster of `text`, or an empty string for an empty text.
[[nodiscard]] std::string firstCharacter(std::string_view text);

/// `text` safe to write to a terminal: the C0 controls other than line feed and tab, DEL and
/// the C1 controls (U+0080 to U+009F) are shown as "\x1B" or "\u009B". A cue sheet's title or a
/// file name can carry escape sequences that would retitle the window or clear the screen.
[[nodiscard]] std::string escapedControlCharacters(std::string_view text);

} // namespace lorvan
