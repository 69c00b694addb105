#include "IntegrationSupport.hpp"

#include "core/Url.hpp"
#include "cuesheet/CueSheet.hpp"
#include "platform/FFmpegAudioFile.hpp"
#include "platform/PlatformDiscServices.hpp"

#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <stdexcept>

namespace lorvan::test {

void append(Planes& planes, const float* const* source, int channels, std::uint32_t frames) {
    planes.resize(static_cast<std::size_t>(channels));
    for (int c = 0; c < channels; ++c)
        planes[c].insert(planes[c].end(), source[c], source[c] + frames);
}

std::filesystem::path writeDemoDisc(const std::filesystem::path& directory, bool split) {
    const auto run =
        runProcess(LORVAN_CLI, "demo --dir " + shellQuoted(directory) + (split ? " --split" : ""),
                   // The demo's cover is drawn on Qt's thread pool, which ThreadSanitizer cannot
                   // see into; the fixture is not what these tests examine.
                   "TSAN_OPTIONS=report_bugs=0");
    if (run.status != 0) throw std::runtime_error("lorvan-cli demo failed: " + run.out);
    return directory / "Lorvan Demo.cue";
}

AudioDisc assembleDisc(const std::filesystem::path& cueSheet) {
    return AudioDisc::fromCueSheet(CueSheet(Url::fileURL(cueSheet)), platform::audioDiscServices());
}

Planes decodeFile(const std::filesystem::path& path, Planes planes) {
    const auto file = platform::openFFmpegAudioFile(Url::fileURL(path));
    planes.resize(static_cast<std::size_t>(file->processingFormat().channelsPerFrame));
    PCMBuffer buffer(file->processingFormat(), 4096);
    for (file->read(buffer, 4096); buffer.frameLength() > 0; file->read(buffer, 4096))
        for (int c = 0; c < buffer.channelCount(); ++c)
            planes[c].insert(planes[c].end(), buffer.channelData(c),
                             buffer.channelData(c) + buffer.frameLength());
    return planes;
}

DecodedDisc decodeDisc(const std::filesystem::path& cueSheet) {
    const AudioDisc disc = assembleDisc(cueSheet);
    DecodedDisc decoded;
    const auto& files = disc.data->audioFiles();
    decoded.sampleRate = files.front()->processingFormat().sampleRate;
    decoded.planes.assign(static_cast<std::size_t>(files.front()->processingFormat().channelsPerFrame),
                          std::vector<float>(disc.data->artificialPregapFrames(), 0.0F));
    for (const auto& file : files)
        decoded.planes = decodeFile(file->url().path(), std::move(decoded.planes));
    for (const AudioCue& cue : disc.cues) {
        if (cue.trackIndex == 0 && cue.chapter == 1) decoded.firstTrackStart = cue.keyFrame;
        if (cue.trackIndex == 1 && cue.chapter == 0) decoded.secondTrackPregap = cue.keyFrame;
    }
    if (static_cast<std::int64_t>(decoded.frames()) != disc.data->totalFrameCount())
        throw std::runtime_error("the decoded files do not make up the disc's frame count");
    return decoded;
}

void expectSameAudio(const Planes& heard, const Planes& expected, std::size_t offset) {
    ASSERT_EQ(heard.size(), expected.size());
    for (std::size_t c = 0; c < heard.size(); ++c) {
        ASSERT_LE(heard[c].size() + offset, expected[c].size());
        for (std::size_t i = 0; i < heard[c].size(); ++i)
            if (std::bit_cast<std::uint32_t>(heard[c][i]) !=
                std::bit_cast<std::uint32_t>(expected[c][i + offset]))
                FAIL() << "channel " << c << ", frame " << i << " (disc frame " << i + offset
                       << "): " << heard[c][i] << " instead of " << expected[c][i + offset];
    }
}

double rms(const std::vector<float>& samples) {
    double sum = 0;
    for (const float sample : samples)
        sum += static_cast<double>(sample) * sample;
    return samples.empty() ? 0 : std::sqrt(sum / static_cast<double>(samples.size()));
}

} // namespace lorvan::test
