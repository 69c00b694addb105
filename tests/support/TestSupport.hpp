#pragma once

#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace lorvan::test {

/// Sends the console log to a temporary file while it lives, so a test can read what was logged.
class CapturedLog {
public:
    CapturedLog();
    ~CapturedLog();
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    [[nodiscard]] std::string text() const;
    [[nodiscard]] std::vector<std::string> lines() const;
    [[nodiscard]] bool contains(std::string_view fragment) const;
    /// How many lines hold `fragment`.
    [[nodiscard]] std::size_t count(std::string_view fragment) const;

private:
    std::FILE* file_;
    std::FILE* previous_;
};

/// A fresh directory under the system's temporary folder, removed with everything in it.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    std::filesystem::path write(const std::string& name, std::string_view bytes) const;

private:
    std::filesystem::path path_;
};

/// The whole content of the file at `path`, empty when it cannot be read.
[[nodiscard]] std::string fileText(const std::filesystem::path& path);

/// The `Error` that `action` throws; when it throws nothing, the test fails and ends here.
template <typename Error, typename Action> Error thrown(Action&& action) {
    try {
        action();
    } catch (const Error& error) {
        return error;
    }
    ADD_FAILURE() << "the expected exception was not thrown";
    throw std::logic_error("the expected exception was not thrown");
}

/// A finished process: its exit status (-1 when killed by a signal) and its standard output.
struct ProcessRun {
    int status = -1;
    std::string out;
};

[[nodiscard]] std::string shellQuoted(const std::filesystem::path& path);

/// Runs `executable` with `arguments` (already shell-quoted) through the shell, after the
/// `environment` assignments ("NAME='value' ..."), with standard input from /dev/null and
/// standard error discarded unless `keepStandardError` merges it into the output.
ProcessRun runProcess(const std::filesystem::path& executable, const std::string& arguments,
                      const std::string& environment = "", bool keepStandardError = false);

} // namespace lorvan::test
