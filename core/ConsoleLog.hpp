#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
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

    /// Sees each text written (control characters escaped as written), without its terminator, on the writing
    /// thread, after the write. Observers are called one line at a time under the log's lock: they must
    /// return quickly (hand the line to another thread) and must not write to the log themselves.
    using Observer = std::function<void(std::string_view text)>;
    /// Any thread. A write with no observer costs one atomic load more than before.
    [[nodiscard]] static std::uint64_t addObserver(Observer observer);
    /// Any thread. Once it returns, the observer is no longer running and is never called again.
    static void removeObserver(std::uint64_t id);

    /// While one exists, the lines written by its own thread are dropped (other threads log as
    /// usual): for retries whose failure has already been logged once. Nests.
    class ThreadSilence {
    public:
        ThreadSilence();
        ~ThreadSilence();
        ThreadSilence(const ThreadSilence&) = delete;
        ThreadSilence& operator=(const ThreadSilence&) = delete;
    };
};

} // namespace lorvan
