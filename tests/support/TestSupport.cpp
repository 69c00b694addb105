#include "support/TestSupport.hpp"

#include "core/ConsoleLog.hpp"

#include <algorithm>
#include <array>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>

namespace lorvan::test {

CapturedLog::CapturedLog()
    : file_(std::tmpfile())
    , previous_(ConsoleLog::output()) {
    if (!file_) throw std::runtime_error("cannot create a temporary file for the log");
    ConsoleLog::setOutput(file_);
}

CapturedLog::~CapturedLog() {
    ConsoleLog::setOutput(previous_);
    std::fclose(file_);
}

std::string CapturedLog::text() const {
    std::fflush(file_);
    const long end = std::ftell(file_);
    std::string text(static_cast<std::size_t>(end), '\0');
    std::rewind(file_);
    const std::size_t read = std::fread(text.data(), 1, text.size(), file_);
    std::fseek(file_, 0, SEEK_END);
    text.resize(read);
    return text;
}

std::vector<std::string> CapturedLog::lines() const {
    std::vector<std::string> lines;
    std::istringstream stream(text());
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

bool CapturedLog::contains(std::string_view fragment) const {
    return text().find(fragment) != std::string::npos;
}

std::size_t CapturedLog::count(std::string_view fragment) const {
    const auto all = lines();
    return static_cast<std::size_t>(std::ranges::count_if(
        all, [&](const std::string& line) { return line.find(fragment) != std::string::npos; }));
}

TemporaryDirectory::TemporaryDirectory() {
    std::random_device device;
    path_ = std::filesystem::temp_directory_path() / ("lorvan-test-" + std::to_string(device()));
    std::filesystem::create_directories(path_);
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TemporaryDirectory::write(const std::string& name, std::string_view bytes) const {
    const auto file = path_ / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream out(file, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out) throw std::runtime_error("cannot write " + file.string());
    return file;
}

std::string fileText(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string shellQuoted(const std::filesystem::path& path) {
    std::string quoted = "'";
    for (const char c : path.string())
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

ProcessRun runProcess(const std::filesystem::path& executable, const std::string& arguments,
                      const std::string& environment, bool keepStandardError) {
    ProcessRun run;
    const std::string command = environment + " " + shellQuoted(executable) + " " + arguments +
                                " </dev/null " + (keepStandardError ? "2>&1" : "2>/dev/null");
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return run;
    std::array<char, 4096> buffer{};
    while (const std::size_t read = std::fread(buffer.data(), 1, buffer.size(), pipe))
        run.out.append(buffer.data(), read);
    const int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

} // namespace lorvan::test
