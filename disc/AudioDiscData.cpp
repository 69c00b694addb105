#include "disc/AudioDiscData.hpp"

#include "core/Checked.hpp"
#include "core/CompactDisc.hpp"
#include "core/ConsoleLog.hpp"
#include "core/FatalError.hpp"
#include "cuesheet/AudioDiscError.hpp"
#include "disc/AudioDiscDataError.hpp"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <new>

namespace lorvan {
namespace {

std::unique_ptr<PCMBuffer> makeBuffer(const AudioFormat& format, std::uint32_t capacity) {
    try {
        if (capacity == 0) throw std::bad_alloc();
        return std::make_unique<PCMBuffer>(format, capacity);
    } catch (const std::bad_alloc&) {
        ConsoleLog::write("ERROR: let file = newPCMBuffer");
        throwLogged(AudioDiscDataError(AudioDiscDataError::Kind::dummy));
    }
}

} // namespace

std::shared_ptr<AudioDiscData> AudioDiscData::create(const std::vector<Url>& urls,
                                                     std::uint32_t artificialPregapFrames,
                                                     const AudioFileOpener& open) {
    if (urls.empty()) {
        throwLogged(AudioDiscError(AudioDiscError::Kind::dummy));
    }
    std::vector<std::shared_ptr<AudioFile>> files;
    files.reserve(urls.size());
    std::map<std::string, std::shared_ptr<AudioFile>> opened;
    for (const Url& url : urls) {
        auto& file = opened[url.absoluteString()];
        if (!file) file = open(url);
        files.push_back(file);
    }
    return checked(std::move(files), artificialPregapFrames);
}

std::shared_ptr<AudioDiscData> AudioDiscData::create(std::vector<std::unique_ptr<AudioFile>> files,
                                                     std::uint32_t artificialPregapFrames) {
    return checked({std::make_move_iterator(files.begin()), std::make_move_iterator(files.end())},
                   artificialPregapFrames);
}

std::shared_ptr<AudioDiscData> AudioDiscData::checked(std::vector<std::shared_ptr<AudioFile>> files,
                                                      std::uint32_t artificialPregapFrames) {
    if (files.empty()) {
        throwLogged(AudioDiscError(AudioDiscError::Kind::dummy));
    }
    const AudioFile& reference = *files.front();
    const AudioFormat& expected = reference.fileFormat();
    for (const auto& file : files) {
        if (file->length() == 0)
            throwLogged(AudioDiscDataError(AudioDiscDataError::Kind::emptyAudioFile,
                                           file->url().lastPathComponent()));
        const AudioFormat& format = file->fileFormat();
        // Only the general kind is reported; the specific kinds stay unused on purpose.
        const bool same = file->bitDepth() == reference.bitDepth() &&
                          format.sampleRate == expected.sampleRate && format.formatID == expected.formatID &&
                          format.formatFlags == expected.formatFlags &&
                          format.bytesPerPacket == expected.bytesPerPacket &&
                          format.framesPerPacket == expected.framesPerPacket &&
                          format.bytesPerFrame == expected.bytesPerFrame &&
                          format.channelsPerFrame == expected.channelsPerFrame &&
                          format.bitsPerChannel == expected.bitsPerChannel;
        if (!same) throwLogged(AudioDiscDataError(AudioDiscDataError::Kind::inconsistentAudioFormat));
    }
    return std::shared_ptr<AudioDiscData>(new AudioDiscData(std::move(files), artificialPregapFrames));
}

AudioDiscData::AudioDiscData(std::vector<std::shared_ptr<AudioFile>> files,
                             std::uint32_t artificialPregapFrames)
    : audioFiles_(std::move(files))
    , artificialPregapFrames_(artificialPregapFrames) {
    totalFrameCount_ = artificialPregapFrames_;
    for (const auto& file : audioFiles_)
        totalFrameCount_ = checkedAdd(totalFrameCount_, file->length());
}

bool AudioDiscData::canBeCDDA() const {
    const AudioFile& first = *audioFiles_.front();
    if (first.fileFormat().sampleRate != static_cast<double>(cdda::framesPerSecond)) return false;
    if (first.bitDepth() != 16) return false;
    if (first.fileFormat().channelsPerFrame != 2) return false;
    return totalFrameCount_ % cdda::framesPerSector == 0;
}

std::optional<AudioDiscData::FrameLocation> AudioDiscData::frameLocation(std::int64_t frame) const {
    if (frame < 0 || frame >= totalFrameCount_) return std::nullopt;
    const std::int64_t g = checkedSubtract(frame, static_cast<std::int64_t>(artificialPregapFrames_));
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < audioFiles_.size(); ++i) {
        const std::int64_t length = audioFiles_[i]->length();
        sum = checkedAdd(sum, length);
        if (g < sum && g >= sum - length) return FrameLocation{i, g - (sum - length)};
    }
    return std::nullopt;
}

std::unique_ptr<PCMBuffer> AudioDiscData::newPCMBuffer(std::int64_t start, std::uint32_t count) {
    const AudioFormat format = audioFiles_.front()->processingFormat();
    if (start < static_cast<std::int64_t>(artificialPregapFrames_)) {
        if (start < 0) fatalError("newPCMBuffer: negative start frame");
        const auto remaining = static_cast<std::uint32_t>(artificialPregapFrames_ - start);
        const std::uint32_t frames = std::min(remaining, count);
        auto buffer = makeBuffer(format, frames);
        buffer->setFrameLength(frames);
        return buffer;
    }
    const auto location = frameLocation(start);
    if (!location) throwLogged(AudioDiscDataError(AudioDiscDataError::Kind::outOfRangeFrameSeeking));
    auto buffer = makeBuffer(format, count);
    AudioFile& file = *audioFiles_[location->fileIndex];
    file.setFramePosition(location->frame);
    const std::int64_t available = checkedSubtract(file.length(), file.framePosition());
    const auto frames = static_cast<std::uint32_t>(std::min<std::int64_t>(available, count));
    try {
        file.read(*buffer, frames);
    } catch (...) {
        file.setFramePosition(0);
        throw;
    }
    file.setFramePosition(0);
    return buffer;
}

} // namespace lorvan
