#pragma once

#include "core/Url.hpp"
#include "disc/AudioFile.hpp"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace lorvan {

/// The tags of one audio file in the platform's metadata key space: Vorbis comment names with
/// the prefix "vorb/" ("vorb/TITLE", "vorb/ALBUMARTIST", "vorb/REPLAYGAIN_TRACK_GAIN"), ID3 and
/// MP4 tags translated to the same names. A key may hold several values.
using AudioFileTags = std::map<std::string, std::vector<std::string>>;

/// What disc assembly needs from the platform. Each is a plain synchronous call; assembly runs
/// on whichever thread its caller chose, and the functions must be callable from it.
struct AudioDiscServices {
    /// Opens a file for reading; throws `LKOSStatus`.
    AudioFileOpener openAudioFile;
    /// The file's tags, empty when it has none or they cannot be read (tags are never required).
    std::function<AudioFileTags(const Url&)> readTags;
    /// SHA-1 of the bytes, encoded in standard base64 (28 characters with padding).
    std::function<std::string(std::string_view)> sha1Base64;
};

} // namespace lorvan
