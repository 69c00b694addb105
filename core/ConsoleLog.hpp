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
    static void setOutput(std::FILE* stream);
    [[nodiscard]] static std::FILE* output();
    /// Writes `text` followed by `terminator` as one write. Write errors are ignored.
    static void write(std::string_view text, std::string_view terminator = "\n");
};

} // namespace lorvan
