#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
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

/// How rendered audio is stored: 16- or 24-bit integers, or 32-bit float (WAVE only).
enum class PCMSampleFormat { s16, s24, f32 };

/// Writes planar float audio as it arrives, block by block, into a WAVE or FLAC file. Integer
/// formats round to the nearest step and clip, so audio decoded from 16- or 24-bit sources comes
/// back as the very same samples. The file is complete only once `finish` returned.
///
/// Throws `LKOSStatus` (already printed) when FFmpeg refuses, and `std::invalid_argument` for a
/// combination the container cannot hold (float FLAC, an encoding other than WAVE or FLAC).
class AudioStreamWriter {
public:
    AudioStreamWriter(const std::filesystem::path& path, AudioFileEncoding encoding, int sampleRate,
                      int channels, PCMSampleFormat format);
    ~AudioStreamWriter();
    AudioStreamWriter(const AudioStreamWriter&) = delete;
    AudioStreamWriter& operator=(const AudioStreamWriter&) = delete;

    /// `channels` planes of `frames` frames; `channels` must be the writer's.
    void write(const float* const* planes, int channels, std::uint32_t frames);
    /// Flushes the encoder and writes the trailer.
    void finish();
    [[nodiscard]] std::int64_t framesWritten() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace lorvan::platform
