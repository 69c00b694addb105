#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace lorvan {

/// A location as the rest of the system passes it around: a file URL (an absolute local path)
/// or any other URL kept as its text. Cue sheets, discs and JSON documents refer to files by URL.
class Url {
public:
    /// A file URL for `path`, made absolute against the current directory (without touching the disk).
    [[nodiscard]] static Url fileURL(const std::filesystem::path& path);
    /// Parses URL text. "file://" URLs (host empty or "localhost") are percent-decoded into a
    /// path; other schemes are kept verbatim. None when the text has no scheme.
    [[nodiscard]] static std::optional<Url> parse(std::string_view text);

    [[nodiscard]] bool isFileURL() const { return isFile_; }
    /// The local path of a file URL; empty for other URLs.
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    /// "file://" + percent-encoded path for file URLs, the original text otherwise.
    [[nodiscard]] std::string absoluteString() const;
    [[nodiscard]] std::string lastPathComponent() const;
    [[nodiscard]] std::string pathExtension() const;
    [[nodiscard]] Url deletingLastPathComponent() const;
    [[nodiscard]] Url appendingPathComponent(std::string_view component) const;

    friend bool operator==(const Url&, const Url&) = default;

private:
    bool isFile_ = false;
    std::filesystem::path path_;
    std::string text_;
};

} // namespace lorvan
