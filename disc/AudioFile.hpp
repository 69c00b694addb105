#pragma once

#include "core/Url.hpp"
#include "disc/AudioFormat.hpp"
#include "disc/PCMBuffer.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace lorvan {

/// An audio file open for reading, decoded into the processing format.
///
/// Threading: an open file belongs to one thread at a time. It holds a decoder and a read
/// cursor, so calls must never overlap; it may be handed from one thread to another between
/// calls (the disc's reads are serialised by the player's reader queue).
///
/// The frame position is logical. Setting it costs nothing; a read continues the decoder where
/// the previous read ended, and only a read that starts elsewhere makes the decoder seek, so
/// "set position, read, set position back to 0" reads a file front to back at decoding speed.
class AudioFile {
public:
    virtual ~AudioFile() = default;

    [[nodiscard]] virtual const Url& url() const = 0;
    /// The exact number of frames the decoder delivers (gapless for lossy codecs).
    [[nodiscard]] virtual std::int64_t length() const = 0;
    /// The stream as the container states it.
    [[nodiscard]] virtual const AudioFormat& fileFormat() const = 0;
    /// 32-bit float, one plane per channel, at the file's rate and channel count.
    [[nodiscard]] virtual const AudioFormat& processingFormat() const = 0;
    /// Bits per sample of the source, absent for lossy codecs or when the file does not say.
    [[nodiscard]] virtual std::optional<std::int32_t> bitDepth() const = 0;
    [[nodiscard]] virtual LKAudioFileType fileType() const = 0;

    [[nodiscard]] virtual std::int64_t framePosition() const = 0;
    /// Positions outside 0...length are clamped.
    virtual void setFramePosition(std::int64_t frame) = 0;
    /// Reads up to `frameCount` frames (at most the buffer's capacity) from the frame position
    /// into `buffer`, sets its frame length to the frames read (short only at the end of the
    /// file) and advances the position. A decoding error throws `LKOSStatus` and leaves the
    /// buffer's contents unspecified.
    virtual void read(PCMBuffer& buffer, std::uint32_t frameCount) = 0;
};

/// Opens a file for reading; throws `LKOSStatus` (already printed) when it cannot.
using AudioFileOpener = std::function<std::unique_ptr<AudioFile>(const Url&)>;

} // namespace lorvan
