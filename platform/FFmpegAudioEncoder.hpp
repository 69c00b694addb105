#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <span>
#include <string>

namespace lorvan::platform {

/// Containers and codecs Lorvan can write: the demo disc and the tests' fixtures.
enum class AudioFileEncoding { wave, aiff, flac, alac, aac, mp3 };

/// Encodes interleaved integer samples (each within the signed range of `bitsPerSample`: 16 or
/// 24) into a new file at `path`, replacing it. `tags` go into the container's own tag format
/// under FFmpeg's generic keys ("title", "artist", "album_artist", "date", "disc", ...).
/// Throws `LKOSStatus` (already printed) when FFmpeg refuses.
void writeAudioFile(const std::filesystem::path& path, AudioFileEncoding encoding, int sampleRate,
                    int channels, int bitsPerSample, std::span<const std::int32_t> interleaved,
                    const std::map<std::string, std::string>& tags = {});

/// Fills `interleaved` with the frames that start at frame `first`.
using SampleProducer = std::function<void(std::int64_t first, std::span<std::int32_t> interleaved)>;

/// The same for `frameCount` frames produced chunk by chunk, for files too long to hold in memory.
void writeAudioFile(const std::filesystem::path& path, AudioFileEncoding encoding, int sampleRate,
                    int channels, int bitsPerSample, std::int64_t frameCount, const SampleProducer& produce,
                    const std::map<std::string, std::string>& tags = {});

} // namespace lorvan::platform
