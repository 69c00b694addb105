#include "cuesheet/AudioDiscError.hpp"

namespace lorvan {
namespace {

std::string descriptionOf(AudioDiscError::Kind kind) {
    using Kind = AudioDiscError::Kind;
    switch (kind) {
    case Kind::audioFileNotFound:
        return "Couldn't find audio file";
    case Kind::cueSheetFileNotFound:
        return "Couldn't find cue sheet file";
    case Kind::dummy:
        return "<AudioDiscError Placeholder>";
    case Kind::directoryDoesntExist:
        return "Directory doesn't exist";
    case Kind::noAudioFileInDirectory:
        return "No audio file";
    case Kind::innacurateDiscFromMultiplePregapOrPostgap:
        return "Innacurate Disc";
    case Kind::notARegularFile:
        return "Couldn't read audio file";
    }
    return {};
}

} // namespace

AudioDiscError::AudioDiscError(Kind kind, std::string fileName)
    : LocalizedError(descriptionOf(kind))
    , kind_(kind)
    , fileName_(std::move(fileName)) {}

std::string AudioDiscError::kindName() const {
    switch (kind_) {
    case Kind::audioFileNotFound:
        return "audioFileNotFound";
    case Kind::cueSheetFileNotFound:
        return "cueSheetFileNotFound";
    case Kind::dummy:
        return "dummy";
    case Kind::directoryDoesntExist:
        return "directoryDoesntExist";
    case Kind::noAudioFileInDirectory:
        return "noAudioFileInDirectory";
    case Kind::innacurateDiscFromMultiplePregapOrPostgap:
        return "innacurateDiscFromMultiplePregapOrPostgap";
    case Kind::notARegularFile:
        return "notARegularFile";
    }
    return {};
}

std::optional<std::string> AudioDiscError::errorDescription() const {
    return descriptionOf(kind_);
}

std::optional<std::string> AudioDiscError::failureReason() const {
    switch (kind_) {
    case Kind::audioFileNotFound:
        return "The audio file '" + fileName_ + "' isn't in the same directory as the cue cheet file.";
    case Kind::cueSheetFileNotFound:
        return "The file '" + fileName_ + "' doesn't exist.";
    case Kind::dummy:
        return std::string();
    case Kind::directoryDoesntExist:
        return std::string();
    case Kind::noAudioFileInDirectory:
        return "No audio file we found in the chosen folder.";
    case Kind::innacurateDiscFromMultiplePregapOrPostgap:
        return "The cue sheet contains a 'POSTGAP' command or a 'PREGAP' command on a track other than the "
               "first "
               "one. This indicates that the disc was not ripped accurately.";
    case Kind::notARegularFile:
        return "'" + fileName_ +
               "' is not a regular file; a folder, a pipe or a device cannot be read as audio.";
    }
    return std::nullopt;
}

std::optional<std::string> AudioDiscError::value() const {
    if (kind_ == Kind::audioFileNotFound || kind_ == Kind::cueSheetFileNotFound ||
        kind_ == Kind::notARegularFile)
        return fileName_;
    return std::nullopt;
}

} // namespace lorvan
