#pragma once

#include "disc/AudioFile.hpp"

#include <memory>

namespace lorvan::platform {

/// Opens `url` with FFmpeg (WAVE, AIFF/AIFC, FLAC, M4A with ALAC or AAC, MP3). Throws
/// `LKOSStatus` after printing the failure block when the file cannot be opened, is not one of
/// those containers, or its declared end cannot be decoded.
[[nodiscard]] std::unique_ptr<AudioFile> openFFmpegAudioFile(const Url& url);

} // namespace lorvan::platform
