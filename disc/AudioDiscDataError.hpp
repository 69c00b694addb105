#pragma once

#include "core/LocalizedError.hpp"

#include <optional>
#include <string>

namespace lorvan {

/// The error of a disc's audio data: files that cannot form one disc, or a read outside it.
class AudioDiscDataError : public LocalizedError {
public:
    enum class Kind {
        dummy,
        UnknownError,
        outOfRangeFrameSeeking,
        emptyAudioFile,
        inconsistentAudioFormat,
        inconsistentSampleRate,
        inconsistentFormatID,
        inconsistentFormatFlags,
        inconsistentBytesPerPacket,
        inconsistentFramesPerPacket,
        inconsistentBytesPerFrame,
        inconsistentChannelsPerFrame,
        inconsistentBitsPerChannel,
        inconsistentBitDepth,
    };

    static constexpr const char* discAudioDataCreationErrorString = "Error creating disc from audio files.";
    static constexpr const char* inconsistantFormatErrorDescription =
        "All audio files need to use the same audio format.";

    /// `value` is the offending file's name for `emptyAudioFile`.
    explicit AudioDiscDataError(Kind kind, std::optional<std::string> value = std::nullopt);

    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] std::string typeName() const override { return "AudioDiscDataError"; }
    [[nodiscard]] std::string kindName() const override;
    [[nodiscard]] std::optional<std::string> errorDescription() const override { return errorDescription_; }
    [[nodiscard]] std::optional<std::string> failureReason() const override { return failureReason_; }
    [[nodiscard]] std::optional<std::string> value() const override { return value_; }

private:
    Kind kind_;
    std::optional<std::string> value_;
    std::optional<std::string> errorDescription_;
    std::optional<std::string> failureReason_;
};

} // namespace lorvan
