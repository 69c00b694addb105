#include "core/ConsoleLog.hpp"

#include <atomic>
#include <string>

namespace lorvan {
namespace {
std::atomic<std::FILE*> logStream{nullptr};
}

void ConsoleLog::setOutput(std::FILE* stream) {
    logStream.store(stream, std::memory_order_release);
}

void ConsoleLog::discard() {
    static std::FILE* const nowhere = std::fopen("/dev/null", "w");
    if (nowhere) setOutput(nowhere);
}

std::FILE* ConsoleLog::output() {
    std::FILE* stream = logStream.load(std::memory_order_acquire);
    return stream ? stream : stdout;
}

void ConsoleLog::write(std::string_view text, std::string_view terminator) {
    std::string line;
    line.reserve(text.size() + terminator.size());
    line.append(text).append(terminator);
    // No flush per line: a sheet logs hundreds of lines and the stream is flushed at exit
    // (and by fatalError before it aborts).
    std::fwrite(line.data(), 1, line.size(), output());
}

} // namespace lorvan
