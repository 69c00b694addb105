#include "core/ConsoleLog.hpp"

#include "core/Characters.hpp"

#include <atomic>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace lorvan {
namespace {
std::atomic<std::FILE*> logStream{nullptr};

struct Observers {
    std::mutex mutex;
    std::vector<std::pair<std::uint64_t, ConsoleLog::Observer>> list;
    std::uint64_t nextID = 1;
    /// Read without the lock on every write, so that a log nobody watches costs nothing more.
    std::atomic<bool> any{false};
};

Observers& observers() {
    // Never destroyed: threads may still log while static destructors run at exit.
    static Observers* const instance = new Observers;
    return *instance;
}

thread_local int silenced = 0;
} // namespace

ConsoleLog::ThreadSilence::ThreadSilence() {
    ++silenced;
}

ConsoleLog::ThreadSilence::~ThreadSilence() {
    --silenced;
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
    if (silenced > 0) return;
    // Texts from cue sheets and file names reach the terminal here; their control characters
    // must not act on it.
    std::string line = escapedControlCharacters(text);
    const std::size_t shown = line.size();
    line.append(terminator);
    // No flush per line: a sheet logs hundreds of lines and the stream is flushed at exit
    // (and by fatalError before it aborts).
    std::fwrite(line.data(), 1, line.size(), output());

    Observers& watching = observers();
    if (!watching.any.load(std::memory_order_acquire)) return;
    const std::lock_guard lock(watching.mutex);
    for (const auto& [id, observer] : watching.list)
        observer(std::string_view(line).substr(0, shown));
}

std::uint64_t ConsoleLog::addObserver(Observer observer) {
    Observers& watching = observers();
    const std::lock_guard lock(watching.mutex);
    const std::uint64_t id = watching.nextID++;
    watching.list.emplace_back(id, std::move(observer));
    watching.any.store(true, std::memory_order_release);
    return id;
}

void ConsoleLog::removeObserver(std::uint64_t id) {
    Observers& watching = observers();
    const std::lock_guard lock(watching.mutex);
    std::erase_if(watching.list, [id](const auto& entry) { return entry.first == id; });
    watching.any.store(!watching.list.empty(), std::memory_order_release);
}

} // namespace lorvan
