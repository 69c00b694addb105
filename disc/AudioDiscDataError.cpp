#include "disc/AudioDiscDataError.hpp"

namespace lorvan {
namespace {

using Kind = AudioDiscDataError::Kind;

std::optional<std::string> reasonOf(Kind kind, const std::optional<std::string>& value) {
    switch (kind) {
    case Kind::dummy:
    case Kind::UnknownError:
    case Kind::outOfRangeFrameSeeking:
        return std::nullopt;
    case Kind::emptyAudioFile: {
        std::string reason = "One audio file has no duration";
        if (value) reason += ":\n\n " + *value;
        return reason;
    }
    case Kind::inconsistentAudioFormat:
        return AudioDiscDataError::inconsistantFormatErrorDescription;
    case Kind::inconsistentSampleRate:
        return "All audio files need to use the same Sample Rate.";
    case Kind::inconsistentFormatID:
        return "All audio files need to use the same Format ID.";
    case Kind::inconsistentFormatFlags:
        return "All audio files need to use the same Format Flags.";
    case Kind::inconsistentBytesPerPacket:
        return "All audio files need to use the same Bytes Per Packet.";
    case Kind::inconsistentFramesPerPacket:
        return "All audio files need to use the same Frames Per Packet.";
    case Kind::inconsistentBytesPerFrame:
        return "All audio files need to use the same Bytes Per Frame.";
    case Kind::inconsistentChannelsPerFrame:
        return "All audio files need to use the same Channels Per Frame.";
    case Kind::inconsistentBitsPerChannel:
        return "All audio files need to use the same Bits Per Channel.";
    case Kind::inconsistentBitDepth:
        return "All audio files need to use the same Bit Depth.";
    }
    return std::nullopt;
}

std::optional<std::string> descriptionOf(Kind kind) {
    switch (kind) {
    case Kind::dummy:
        return "Dummy Error";
    case Kind::UnknownError:
        return "Unknown Error";
    case Kind::outOfRangeFrameSeeking:
        return std::nullopt;
    default:
        return AudioDiscDataError::discAudioDataCreationErrorString;
    }
}

} // namespace

AudioDiscDataError::AudioDiscDataError(Kind kind, std::optional<std::string> value)
    : LocalizedError(descriptionOf(kind).value_or("AudioDiscDataError"))
    , kind_(kind)
    , value_(std::move(value))
    , errorDescription_(descriptionOf(kind))
    , failureReason_(reasonOf(kind, value_)) {}

std::string AudioDiscDataError::kindName() const {
    switch (kind_) {
    case Kind::dummy:
        return "dummy";
    case Kind::UnknownError:
        return "UnknownError";
    case Kind::outOfRangeFrameSeeking:
        return "outOfRangeFrameSeeking";
    case Kind::emptyAudioFile:
        return "emptyAudioFile";
    case Kind::inconsistentAudioFormat:
        return "inconsistentAudioFormat";
    case Kind::inconsistentSampleRate:
        return "inconsistentSampleRate";
    case Kind::inconsistentFormatID:
        return "inconsistentFormatID";
    case Kind::inconsistentFormatFlags:
        return "inconsistentFormatFlags";
    case Kind::inconsistentBytesPerPacket:
        return "inconsistentBytesPerPacket";
    case Kind::inconsistentFramesPerPacket:
        return "inconsistentFramesPerPacket";
    case Kind::inconsistentBytesPerFrame:
        return "inconsistentBytesPerFrame";
    case Kind::inconsistentChannelsPerFrame:
        return "inconsistentChannelsPerFrame";
    case Kind::inconsistentBitsPerChannel:
        return "inconsistentBitsPerChannel";
    case Kind::inconsistentBitDepth:
        return "inconsistentBitDepth";
    }
    return {};
}

} // namespace lorvan
