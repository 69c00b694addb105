#include "core/Characters.hpp"

#include "core/FatalError.hpp"

#include <algorithm>
#include <memory>
#include <unicode/brkiter.h>
#include <unicode/utext.h>

namespace lorvan {
namespace {

// Plain ASCII without carriage returns is one character per byte; this covers nearly every log
// line and keeps ICU off the hot path. "\r\n" is a single grapheme, hence the exclusion.
bool isSimpleAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80 && c != '\r'; });
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
    if (isSimpleAscii(text)) return text.size();
    std::size_t count = 0;
    forEachBoundary(text, [&](int32_t) {
        ++count;
        return true;
    });
    return count;
}

std::string firstCharacter(std::string_view text) {
    if (text.empty()) return {};
    if (isSimpleAscii(text.substr(0, 2))) return std::string(text.substr(0, 1));
    std::size_t end = text.size();
    forEachBoundary(text, [&](int32_t boundary) {
        end = static_cast<std::size_t>(boundary);
        return false;
    });
    return std::string(text.substr(0, end));
}

} // namespace lorvan
