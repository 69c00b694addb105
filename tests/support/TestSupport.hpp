#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace lorvan::test {

/// Sends the console log to a temporary file for the lifetime of the object, so a test can
/// assert on what was logged. Restores the previous stream when it goes.
class CapturedLog {
public:
    CapturedLog();
    ~CapturedLog();
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    /// Everything logged so far.
    [[nodiscard]] std::string text() const;
    [[nodiscard]] std::vector<std::string> lines() const;
    /// True when some logged line contains `fragment`.
    [[nodiscard]] bool contains(std::string_view fragment) const;

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
    /// Writes `bytes` to `name` inside the directory and returns the file's path.
    std::filesystem::path write(const std::string& name, std::string_view bytes) const;

private:
    std::filesystem::path path_;
};

} // namespace lorvan::test
