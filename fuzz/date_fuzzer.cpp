// Any text through the date parser: a date or a refusal, nothing else.
#include "core/ConsoleLog.hpp"
#include "cuesheet/AudioMetadata.hpp"
#include "cuesheet/CueSheetError.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static std::FILE* sink = [] {
        std::FILE* devNull = std::fopen("/dev/null", "w");
        lorvan::ConsoleLog::setOutput(devNull);
        return devNull;
    }();
    (void)sink;
    try {
        const auto date = lorvan::AudioDiscDate::parse(std::string_view(reinterpret_cast<const char*>(data), size), 1);
        const auto& c = date.components;
        // Whatever was accepted must be a real calendar date.
        if (c.year < 1857 || (c.month && (*c.month < 1 || *c.month > 12)) || (c.day && (*c.day < 1 || *c.day > 31)))
            std::abort();
    } catch (const lorvan::CueSheetError&) {
    }
    return 0;
}
