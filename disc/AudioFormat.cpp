#include "disc/AudioFormat.hpp"

#include <algorithm>

namespace lorvan {

AudioFormat AudioFormat::processing(double sampleRate, int channels) {
    AudioFormat format;
    format.sampleRate = sampleRate;
    format.formatID = linearPCM;
    format.formatFlags = isFloat | isPacked | isNonInterleaved;
    format.channelsPerFrame = channels;
    format.bitsPerChannel = 32;
    format.framesPerPacket = 1;
    format.bytesPerPacket = 4;
    format.bytesPerFrame = 4;
    return format;
}

bool AudioFormat::isProcessingFormat() const {
    return formatID == linearPCM && formatFlags == (isFloat | isPacked | isNonInterleaved) &&
           bitsPerChannel == 32;
}

std::string_view displayText(LKAudioFileType type) {
    switch (type) {
    case LKAudioFileType::aiff:
        return "AIFF";
    case LKAudioFileType::aifc:
        return "AIFF-C";
    case LKAudioFileType::wave:
        return "WAVE";
    case LKAudioFileType::m4a:
        return "M4A";
    case LKAudioFileType::flac:
        return "FLAC";
    case LKAudioFileType::unsupported:
        return "Unsupported";
    }
    return {};
}

bool AllowedAudioFileType::isAllowed(std::string_view extension) {
    return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

static_assert(AllowedAudioFileType::extensions[4] == AllowedAudioFileType::nativeExtensions[4] &&
              AllowedAudioFileType::extensions[5] == AllowedAudioFileType::otherExtensions[0]);

} // namespace lorvan
