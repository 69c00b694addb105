#include "core/Characters.hpp"

#include "core/FatalError.hpp"

#include <algorithm>
#include <memory>
#include <optional>
#include <unicode/brkiter.h>
#include <unicode/utext.h>

namespace lorvan {
namespace {

// Code points that are a grapheme cluster of their own whatever surrounds them, as long as no
// combining mark, joiner or other extender follows (those lie outside these ranges, so a text
// containing one takes the ICU path). Covers Latin, Greek, Cyrillic, general punctuation, arrows,
// mathematical symbols and box drawing: nearly every log line and table cell, without ICU.
bool standsAlone(char32_t c) {
    return (c < 0x0300 && c != '\r') || (c >= 0x0370 && c <= 0x0482) || (c >= 0x2010 && c <= 0x2027) ||
           (c >= 0x2030 && c <= 0x20CF) || (c >= 0x2100 && c <= 0x2BFF);
}

/// The number of code points when each one is a cluster of its own, else none.
std::optional<std::size_t> simpleCount(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size(); ++count) {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : 0;
        if (length == 0 || i + length > text.size()) return std::nullopt;
        char32_t c = length == 1 ? lead : length == 2 ? (lead & 0x1F) : (lead & 0x0F);
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) return std::nullopt;
            c = (c << 6) | (next & 0x3F);
        }
        if (!standsAlone(c)) return std::nullopt;
        i += length;
    }
    return count;
}

icu::BreakIterator& characterIterator() {
    thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> made(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (U_FAILURE(status) || !made) fatalError("cannot create the ICU grapheme break iterator");
        return made;
    }();
    return *iterator;
}

/// Runs `visit(boundary)` for each grapheme boundary after the start, until it returns false.
template <typename Visit> void forEachBoundary(std::string_view text, Visit visit) {
    UErrorCode status = U_ZERO_ERROR;
    UText* utext = utext_openUTF8(nullptr, text.data(), static_cast<int64_t>(text.size()), &status);
    if (U_FAILURE(status)) fatalError("cannot open UTF-8 text for ICU");
    icu::BreakIterator& iterator = characterIterator();
    iterator.setText(utext, status);
    if (U_FAILURE(status)) fatalError("cannot set ICU break iterator text");
    for (int32_t boundary = iterator.next(); boundary != icu::BreakIterator::DONE; boundary = iterator.next())
        if (!visit(boundary)) break;
    utext_close(utext);
}

} // namespace

std::size_t characterCount(std::string_view text) {
    if (const auto simple = simpleCount(text)) return *simple;
    std::size_t count = 0;
    forEachBoundary(text, [&](int32_t) {
        ++count;
        return true;
    });
    return count;
}

std::string firstCharacter(std::string_view text) {
    if (text.empty()) return {};
    if (const auto lead = static_cast<unsigned char>(text[0]);
        lead < 0x80 && lead != '\r' && (text.size() == 1 || static_cast<unsigned char>(text[1]) < 0x80))
        return std::string(text.substr(0, 1));
    std::size_t end = text.size();
    forEachBoundary(text, [&](int32_t boundary) {
        end = static_cast<std::size_t>(boundary);
        return false;
    });
    return std::string(text.substr(0, end));
}

std::string escapedControlCharacters(std::string_view text) {
    const auto isControl = [](unsigned char c) { return (c < 0x20 && c != '\n' && c != '\t') || c == 0x7F; };
    const auto isC1 = [&](std::size_t i) {
        return static_cast<unsigned char>(text[i]) == 0xC2 && i + 1 < text.size() &&
               static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
               static_cast<unsigned char>(text[i + 1]) <= 0x9F;
    };
    // Most lines have none: they are returned without building anything.
    std::size_t first = 0;
    while (first < text.size() && !isControl(static_cast<unsigned char>(text[first])) && !isC1(first))
        ++first;
    if (first == text.size()) return std::string(text);
    static constexpr char hex[] = "0123456789ABCDEF";
    std::string escaped(text.substr(0, first));
    for (std::size_t i = first; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (isControl(c)) {
            escaped += {'\\', 'x', hex[c >> 4], hex[c & 0xF]};
        } else if (isC1(i)) {
            const auto code = static_cast<unsigned char>(text[++i]);
            escaped += {'\\', 'u', '0', '0', hex[code >> 4], hex[code & 0xF]};
        } else {
            escaped += static_cast<char>(c);
        }
    }
    return escaped;
}

} // namespace lorvan
