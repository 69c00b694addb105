#pragma once

#include <cstdio>
#include <string_view>

namespace lorvan {

/// Where the console log goes. Standard output by default; `lorvan-cli --json` moves it to
/// standard error so that standard output holds only the JSON document, and benchmarks send
/// it to /dev/null. Each line is written with one call, so lines from different threads never
/// interleave (their order is not defined). Safe from any thread.
class ConsoleLog {
public:
    /// `nullptr` means standard output.
    static void setOutput(std::FILE* stream);
    /// Discards every line from now on (fuzzing and benchmarks).
    static void discard();
    [[nodiscard]] static std::FILE* output();
    /// Writes `text` followed by `terminator` as one write. Write errors are ignored.
    static void write(std::string_view text, std::string_view terminator = "\n");
};

} // namespace lorvan
