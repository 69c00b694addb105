// Any bytes through the text decoder and the cue sheet parser: refusals are fine, crashes,
// hangs, leaks, sanitizer reports and fatal arithmetic errors are not.
#include "core/ConsoleLog.hpp"
#include "core/LocalizedError.hpp"
#include "cuesheet/CueSheet.hpp"
#include "cuesheet/TextFileDecoder.hpp"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool silenced = (lorvan::ConsoleLog::discard(), true);
    (void)silenced;
    static const lorvan::Url url = lorvan::Url::fileURL("/fuzz/sheet.cue");
    try {
        std::string text =
            lorvan::TextFileDecoder::decode(std::string_view(reinterpret_cast<const char*>(data), size), {});
        (void)lorvan::CueSheet::parse(std::move(text), url);
    } catch (const lorvan::LocalizedError&) {
    }
    return 0;
}
