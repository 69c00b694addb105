#pragma once

#include "disc/AudioFile.hpp"

#include <memory>

namespace lorvan::platform {

/// Opens `url` with FFmpeg (WAVE, AIFF/AIFC, FLAC, M4A with ALAC or AAC, MP3). Throws
/// `LKOSStatus` after printing the failure block when the file cannot be opened, is not one of
/// those containers, or its declared end cannot be decoded.
[[nodiscard]] std::unique_ptr<AudioFile> openFFmpegAudioFile(const Url& url);

/// Makes `LKOSStatus` show FFmpeg's own message for its codes, silences FFmpeg's log and bounds
/// the size of any one FFmpeg allocation. Idempotent.
void installFFmpegStatusDescriptions();

} // namespace lorvan::platform
