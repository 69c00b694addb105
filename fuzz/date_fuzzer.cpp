// Any text through the date parser: a date or a refusal, nothing else.
#include "core/ConsoleLog.hpp"
#include "cuesheet/AudioMetadata.hpp"
#include "cuesheet/CueSheetError.hpp"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool silenced = (lorvan::ConsoleLog::discard(), true);
    (void)silenced;
    try {
        const auto date =
            lorvan::AudioDiscDate::parse(std::string_view(reinterpret_cast<const char*>(data), size), 1);
        const auto& c = date.components;
        // Whatever was accepted must be a real calendar date.
        if (c.year < 1857 || (c.month && (*c.month < 1 || *c.month > 12)) || (c.day && !c.month))
            std::abort();
        if (c.day) {
            static constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
            const bool leap = c.year % 4 == 0 && (c.year % 100 != 0 || c.year % 400 == 0);
            const int last = days[*c.month - 1] + (*c.month == 2 && leap ? 1 : 0);
            if (*c.day < 1 || *c.day > last) std::abort();
        }
    } catch (const lorvan::CueSheetError&) {
    }
    return 0;
}
