#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace lorvan::test {

/// Interleaved integer samples of a test signal: noise-like, different for every frame,
/// channel and `seed`, so that a misplaced frame never compares equal by accident.
[[nodiscard]] std::vector<std::int32_t> testSignal(std::int64_t frames, int channels, int bits,
                                                   std::uint32_t seed);

/// The float a sample decodes to in the processing format.
[[nodiscard]] float expectedFloat(std::int32_t sample, int bits);

/// Writes RIFF/WAVE, FORM/AIFF or FORM/AIFC with uncompressed integer PCM byte by byte, so that
/// the reader is tested against files written without FFmpeg.
void writeWave(const std::filesystem::path& path, int sampleRate, int channels, int bits,
               const std::vector<std::int32_t>& interleaved);
void writeAiff(const std::filesystem::path& path, int sampleRate, int channels, int bits,
               const std::vector<std::int32_t>& interleaved, bool aifc = false);

} // namespace lorvan::test
