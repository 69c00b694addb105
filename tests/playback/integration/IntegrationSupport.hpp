#pragma once

#include "disc/AudioDisc.hpp"
#include "support/TestSupport.hpp"

#include <cstdint>
#include <filesystem>
#include <vector>

namespace lorvan::test {

using Planes = std::vector<std::vector<float>>;

void append(Planes& planes, const float* const* source, int channels, std::uint32_t frames);

/// Writes the demo disc with `lorvan-cli demo` into `directory`: one file, or one file per track
/// with each pregap at the end of the previous file. Returns its cue sheet.
std::filesystem::path writeDemoDisc(const std::filesystem::path& directory, bool split);

AudioDisc assembleDisc(const std::filesystem::path& cueSheet);

/// A disc's frame axis built from its files decoded on their own, front to back, after the
/// silence of an artificial first pregap.
struct DecodedDisc {
    Planes planes;
    double sampleRate = 0;
    std::int64_t firstTrackStart = 0;   ///< track 1, INDEX 01
    std::int64_t secondTrackPregap = 0; ///< track 2, INDEX 00
    [[nodiscard]] std::size_t frames() const { return planes.empty() ? 0 : planes[0].size(); }
};
DecodedDisc decodeDisc(const std::filesystem::path& cueSheet);
/// `planes` followed by the file's samples.
Planes decodeFile(const std::filesystem::path& path, Planes planes = {});

/// Every sample of `heard` equals `expected` from frame `offset` on, bit for bit; reports the
/// first difference.
void expectSameAudio(const Planes& heard, const Planes& expected, std::size_t offset);

[[nodiscard]] double rms(const std::vector<float>& samples);

} // namespace lorvan::test
