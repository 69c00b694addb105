#include "playback/AudioEngine.hpp"

namespace lorvan {

AudioEngineError::AudioEngineError(Kind kind, std::string reason)
    : LocalizedError(reason)
    , kind_(kind)
    , reason_(std::move(reason)) {}

std::string AudioEngineError::kindName() const {
    return kind_ == Kind::outputUnavailable ? "outputUnavailable" : "notConnected";
}

std::optional<std::string> AudioEngineError::errorDescription() const {
    return kind_ == Kind::outputUnavailable ? "Couldn't start the audio output"
                                            : "The audio engine is not connected";
}

} // namespace lorvan
