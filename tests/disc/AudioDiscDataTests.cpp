#include "cuesheet/AudioDiscError.hpp"
#include "disc/AudioDiscData.hpp"
#include "disc/AudioDiscDataError.hpp"
#include "disc/LKOSStatus.hpp"
#include "platform/AudioFixtures.hpp"
#include "platform/FFmpegAudioEncoder.hpp"
#include "platform/FFmpegAudioFile.hpp"
#include "support/TestSupport.hpp"

#include <gtest/gtest.h>
#include <set>

namespace lorvan {
namespace {

using test::CapturedLog;
using test::TemporaryDirectory;

class AudioDiscDataTest : public ::testing::Test {
protected:
    Url wave(const std::string& name, std::int64_t frames, int rate = 44100, int channels = 2, int bits = 16,
             std::uint32_t seed = 1) {
        const auto path = directory.path() / name;
        test::writeWave(path, rate, channels, bits, test::testSignal(frames, channels, bits, seed));
        return Url::fileURL(path);
    }
    std::shared_ptr<AudioDiscData> create(const std::vector<Url>& urls, std::uint32_t pregap = 0) {
        return AudioDiscData::create(urls, pregap, platform::openFFmpegAudioFile);
    }
    template <typename Error> Error creationError(const std::vector<Url>& urls) {
        return test::thrown<Error>([&] { (void)create(urls); });
    }
    TemporaryDirectory directory;
    CapturedLog log;
};

TEST_F(AudioDiscDataTest, canBeCDDANeedsRedBookFormatAndWholeSectors) {
    EXPECT_TRUE(create({wave("a.wav", 588 * 600), wave("b.wav", 588 * 400)})->canBeCDDA());
    EXPECT_FALSE(create({wave("c.wav", 588 * 600 + 1), wave("d.wav", 588 * 400)})->canBeCDDA());
    // A pregap counts towards the sectors.
    EXPECT_TRUE(create({wave("e.wav", 588 * 10 - 7)}, 7)->canBeCDDA());
    EXPECT_FALSE(create({wave("f.wav", 588 * 100, 48000)})->canBeCDDA());
    EXPECT_FALSE(create({wave("g.wav", 588 * 100, 44100, 2, 24)})->canBeCDDA());
    EXPECT_FALSE(create({wave("h.wav", 588 * 100, 44100, 1)})->canBeCDDA());
}

// Read buffer by buffer, the disc is the pregap's silence and then the files end to end. A buffer
// is as long as asked unless it would cross from the pregap into a file, from one file into the
// next or past the end: then it stops there.
TEST_F(AudioDiscDataTest, wholeDiscReadIsThePregapAndTheFilesEndToEnd) {
    const std::int64_t pregap = 1234;
    const std::vector<std::int64_t> lengths{44100 * 2 + 13, 7, 30001};
    std::vector<Url> urls;
    std::vector<float> expected(pregap * 2, 0.0F); // left and right interleaved
    std::set<std::int64_t> boundaries{pregap};
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        const auto samples = test::testSignal(lengths[i], 2, 16, static_cast<std::uint32_t>(10 + i));
        const auto path = directory.path() / ("t" + std::to_string(i) + ".flac");
        platform::writeAudioFile(path, platform::AudioFileEncoding::flac, 44100, 2, 16, samples);
        urls.push_back(Url::fileURL(path));
        for (auto s : samples)
            expected.push_back(test::expectedFloat(s, 16));
        boundaries.insert(static_cast<std::int64_t>(expected.size() / 2));
    }
    auto data = create(urls, pregap);
    ASSERT_EQ(data->totalFrameCount() * 2, static_cast<std::int64_t>(expected.size()));
    for (std::uint32_t bufferFrames : {882U, 4096U}) {
        std::int64_t frame = 0;
        while (frame < data->totalFrameCount()) {
            auto buffer = data->newPCMBuffer(frame, bufferFrames);
            ASSERT_EQ(buffer->frameLength(), std::min<std::int64_t>(bufferFrames, *boundaries.upper_bound(frame) - frame))
                << "buffer at disc frame " << frame;
            ASSERT_TRUE(buffer->format().isProcessingFormat());
            for (std::uint32_t f = 0; f < buffer->frameLength(); ++f)
                for (int c = 0; c < 2; ++c)
                    ASSERT_EQ(buffer->channelData(c)[f],
                              expected[static_cast<std::size_t>((frame + f) * 2 + c)])
                        << "disc frame " << frame + f;
            frame += buffer->frameLength();
        }
    }
    for (const auto& file : data->audioFiles())
        EXPECT_EQ(file->framePosition(), 0);

    const auto pastTheEnd =
        test::thrown<AudioDiscDataError>([&] { (void)data->newPCMBuffer(data->totalFrameCount(), 10); });
    EXPECT_EQ(pastTheEnd.kind(), AudioDiscDataError::Kind::outOfRangeFrameSeeking);
    EXPECT_THROW((void)data->newPCMBuffer(100, 0), AudioDiscDataError);
    EXPECT_TRUE(log.contains("ERROR: let file = newPCMBuffer"));
}

TEST_F(AudioDiscDataTest, creationChecksRunInOrder) {
    EXPECT_EQ(creationError<AudioDiscError>({}).kind(), AudioDiscError::Kind::dummy);
    // The platform's error passes through unchanged.
    const auto missing =
        creationError<LKOSStatus>({wave("a.wav", 100), Url::fileURL(directory.path() / "no.wav")});
    EXPECT_EQ(missing.displayText(LKOSStatus::DisplayStyle::errorNames), "AVERROR(ENOENT)");

    // An empty file is found before its format is compared.
    const auto empty =
        creationError<AudioDiscDataError>({wave("b.wav", 100), wave("empty.wav", 0, 48000, 1, 24)});
    EXPECT_EQ(empty.kind(), AudioDiscDataError::Kind::emptyAudioFile);
    EXPECT_EQ(empty.value(), "empty.wav");
    EXPECT_EQ(empty.errorDescription(), "Error creating disc from audio files.");
    EXPECT_EQ(empty.failureReason(), "One audio file has no duration:\n\n empty.wav");

    // Mismatches are all reported by the general kind.
    for (const auto& other :
         {wave("c.wav", 100, 44100, 2, 24), wave("d.wav", 100, 48000), wave("e.wav", 100, 44100, 1)}) {
        const auto mismatch = creationError<AudioDiscDataError>({wave("ref.wav", 100), other});
        EXPECT_EQ(mismatch.kind(), AudioDiscDataError::Kind::inconsistentAudioFormat);
        EXPECT_EQ(mismatch.failureReason(), "All audio files need to use the same audio format.");
    }
    const auto flac = directory.path() / "f.flac";
    platform::writeAudioFile(flac, platform::AudioFileEncoding::flac, 44100, 2, 16,
                             test::testSignal(100, 2, 16, 1));
    EXPECT_EQ(creationError<AudioDiscDataError>({wave("g.wav", 100), Url::fileURL(flac)}).kind(),
              AudioDiscDataError::Kind::inconsistentAudioFormat);
    EXPECT_TRUE(log.contains("! Error"));
}

// Files of one disc may be cut into packets of any size.
TEST(AudioFormat, equalityLeavesOutFramesPerPacket) {
    const AudioFormat a = AudioFormat::processing(44100, 2);
    AudioFormat b = a;
    b.framesPerPacket = 4096;
    b.bytesPerPacket = 99;
    EXPECT_EQ(a, b);
    b.blocksPerSecond = 75;
    EXPECT_NE(a, b);
    b = a;
    b.formatFlags = 0;
    EXPECT_NE(a, b);
}

} // namespace
} // namespace lorvan
