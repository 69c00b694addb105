#pragma once

#include "core/Url.hpp"
#include "disc/AudioFile.hpp"
#include "disc/PCMBuffer.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace lorvan {

/// The open audio files of one disc laid end to end on a single frame axis, after an optional
/// artificial pregap of silence. Shared by the disc and the player.
///
/// Threading: reads move the files' decoders, so `newPCMBuffer` calls must never overlap; the
/// player's reader queue serialises them. Everything else is immutable after creation.
class AudioDiscData {
public:
    /// Where an absolute disc frame lives.
    struct FrameLocation {
        std::size_t fileIndex = 0;
        std::int64_t frame = 0;
        friend bool operator==(const FrameLocation&, const FrameLocation&) = default;
    };

    /// Opens `urls` in order and checks that they form one disc. A URL named several times is
    /// opened once and its file shared by every entry, so a sheet repeating one FILE costs one
    /// decoder, not one per line. Throws `AudioDiscError` `dummy` for no URL, the opener's error
    /// for a file that does not open, and `AudioDiscDataError` for an empty file or formats that
    /// differ. Nothing is kept on failure.
    [[nodiscard]] static std::shared_ptr<AudioDiscData>
    create(const std::vector<Url>& urls, std::uint32_t artificialPregapFrames, const AudioFileOpener& open);
    /// The same checks on files that are already open.
    [[nodiscard]] static std::shared_ptr<AudioDiscData> create(std::vector<std::unique_ptr<AudioFile>> files,
                                                               std::uint32_t artificialPregapFrames);

    /// One entry per file on the frame axis; entries for the same URL share one open file.
    [[nodiscard]] const std::vector<std::shared_ptr<AudioFile>>& audioFiles() const { return audioFiles_; }
    [[nodiscard]] std::uint32_t artificialPregapFrames() const { return artificialPregapFrames_; }
    /// The pregap and every file's length.
    [[nodiscard]] std::int64_t totalFrameCount() const { return totalFrameCount_; }
    /// 44.1 kHz, 16-bit, stereo, and a whole number of 588-frame CD sectors.
    [[nodiscard]] bool canBeCDDA() const;
    /// The file and in-file frame of `frame`; none in the pregap or outside the disc.
    [[nodiscard]] std::optional<FrameLocation> frameLocation(std::int64_t frame) const;

    /// Up to `count` frames from `start`, in the first file's processing format. A buffer never
    /// spans two files nor leaves the pregap: near either end it is short, and the caller
    /// continues at start + frameLength. Throws `AudioDiscDataError` `outOfRangeFrameSeeking`
    /// outside the disc, `dummy` when no buffer can be made, and the file's error when a read fails.
    [[nodiscard]] std::unique_ptr<PCMBuffer> newPCMBuffer(std::int64_t start, std::uint32_t count);

private:
    [[nodiscard]] static std::shared_ptr<AudioDiscData> checked(std::vector<std::shared_ptr<AudioFile>> files,
                                                                std::uint32_t artificialPregapFrames);
    AudioDiscData(std::vector<std::shared_ptr<AudioFile>> files, std::uint32_t artificialPregapFrames);
    std::vector<std::shared_ptr<AudioFile>> audioFiles_;
    std::uint32_t artificialPregapFrames_;
    std::int64_t totalFrameCount_ = 0;
};

} // namespace lorvan
