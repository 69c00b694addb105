#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace lorvan::platform {

/// A picture stored inside an audio file's tags.
struct EmbeddedPicture {
    /// "image/png", "image/jpeg", ...; what the tag says, or what the bytes show when it says nothing.
    std::string mimeType;
    std::string bytes;
};

/// The front cover embedded in `path` (else its first picture) through TagLib: FLAC picture
/// blocks, ID3v2 attached pictures (MP3, WAVE, AIFF) and MP4 cover art. None when the file has
/// no picture or cannot be read. Any thread; reads the file.
[[nodiscard]] std::optional<EmbeddedPicture> readEmbeddedPicture(const std::filesystem::path& path);

} // namespace lorvan::platform
