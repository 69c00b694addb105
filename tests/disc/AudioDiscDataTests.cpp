#include "cuesheet/AudioDiscError.hpp"
#include "disc/AudioDiscData.hpp"
#include "disc/AudioDiscDataError.hpp"
#include "disc/LKOSStatus.hpp"
#include "platform/AudioFixtures.hpp"
#include "platform/FFmpegAudioEncoder.hpp"
#include "platform/FFmpegAudioFile.hpp"
#include "support/TestSupport.hpp"

#include <gtest/gtest.h>

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
        try {
            (void)create(urls);
        } catch (const Error& error) {
            return error;
        }
        ADD_FAILURE() << "creation did not throw the expected error";
        throw std::logic_error("unreachable");
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

TEST_F(AudioDiscDataTest, frameAxisRunsThroughPregapAndFilesInOrder) {
    auto data = create({wave("a.wav", 1000), wave("b.wav", 500)}, 300);
    EXPECT_EQ(data->totalFrameCount(), 1800);
    EXPECT_EQ(data->artificialPregapFrames(), 300U);
    EXPECT_FALSE(data->frameLocation(-1));
    EXPECT_FALSE(data->frameLocation(0));
    EXPECT_FALSE(data->frameLocation(299));
    EXPECT_EQ(data->frameLocation(300), (AudioDiscData::FrameLocation{0, 0}));
    EXPECT_EQ(data->frameLocation(1299), (AudioDiscData::FrameLocation{0, 999}));
    EXPECT_EQ(data->frameLocation(1300), (AudioDiscData::FrameLocation{1, 0}));
    EXPECT_EQ(data->frameLocation(1799), (AudioDiscData::FrameLocation{1, 499}));
    EXPECT_FALSE(data->frameLocation(1800));
}

TEST_F(AudioDiscDataTest, pregapBuffersAreSilenceAndStopAtTheFirstFile) {
    const auto samples = test::testSignal(100000, 2, 16, 1);
    test::writeWave(directory.path() / "a.wav", 44100, 2, 16, samples);
    auto data = create({Url::fileURL(directory.path() / "a.wav")}, 88200);
    auto silence = data->newPCMBuffer(0, 100000);
    ASSERT_EQ(silence->frameLength(), 88200U);
    EXPECT_TRUE(silence->format().isProcessingFormat());
    for (int c = 0; c < 2; ++c)
        for (std::uint32_t f = 0; f < silence->frameLength(); ++f)
            ASSERT_EQ(silence->channelData(c)[f], 0.0F);
    EXPECT_EQ(data->newPCMBuffer(88000, 50)->frameLength(), 50U);
    EXPECT_EQ(data->newPCMBuffer(88100, 4096)->frameLength(), 100U);
    auto first = data->newPCMBuffer(88200, 10);
    ASSERT_EQ(first->frameLength(), 10U);
    for (std::uint32_t f = 0; f < 10; ++f)
        EXPECT_EQ(first->channelData(1)[f], test::expectedFloat(samples[f * 2 + 1], 16));
}

TEST_F(AudioDiscDataTest, buffersNeverSpanTwoFilesNorLeaveTheDisc) {
    auto data = create({wave("a.wav", 5000, 44100, 2, 16, 1), wave("b.wav", 3000, 44100, 2, 16, 2)});
    EXPECT_EQ(data->newPCMBuffer(4999, 4096)->frameLength(), 1U);
    auto next = data->newPCMBuffer(5000, 4096);
    EXPECT_EQ(next->frameLength(), 3000U);
    EXPECT_EQ(next->channelData(0)[0], test::expectedFloat(test::testSignal(1, 2, 16, 2)[0], 16));
    try {
        (void)data->newPCMBuffer(8000, 10);
        FAIL() << "read past the end";
    } catch (const AudioDiscDataError& error) {
        EXPECT_EQ(error.kind(), AudioDiscDataError::Kind::outOfRangeFrameSeeking);
    }
    EXPECT_THROW((void)data->newPCMBuffer(100, 0), AudioDiscDataError);
    EXPECT_TRUE(log.contains("ERROR: let file = newPCMBuffer"));
}

// Every frame of a multi-file disc read buffer by buffer equals the files laid end to end.
TEST_F(AudioDiscDataTest, wholeDiscReadEqualsTheFilesEndToEnd) {
    const std::vector<std::int64_t> lengths{44100 * 2 + 13, 7, 30001};
    std::vector<Url> urls;
    std::vector<float> expected(1234 * 2, 0.0F); // pregap, left and right interleaved
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        const auto samples = test::testSignal(lengths[i], 2, 16, static_cast<std::uint32_t>(10 + i));
        const auto path = directory.path() / ("t" + std::to_string(i) + ".flac");
        platform::writeAudioFile(path, platform::AudioFileEncoding::flac, 44100, 2, 16, samples);
        urls.push_back(Url::fileURL(path));
        for (auto s : samples)
            expected.push_back(test::expectedFloat(s, 16));
    }
    auto data = create(urls, 1234);
    ASSERT_EQ(data->totalFrameCount() * 2, static_cast<std::int64_t>(expected.size()));
    for (std::uint32_t bufferFrames : {882U, 4096U}) {
        std::int64_t frame = 0;
        while (frame < data->totalFrameCount()) {
            auto buffer = data->newPCMBuffer(frame, bufferFrames);
            ASSERT_GT(buffer->frameLength(), 0U);
            ASSERT_LE(buffer->frameLength(), bufferFrames);
            for (std::uint32_t f = 0; f < buffer->frameLength(); ++f)
                for (int c = 0; c < 2; ++c)
                    ASSERT_EQ(buffer->channelData(c)[f],
                              expected[static_cast<std::size_t>((frame + f) * 2 + c)])
                        << "disc frame " << frame + f;
            frame += buffer->frameLength();
        }
        EXPECT_EQ(frame, data->totalFrameCount());
    }
    for (const auto& file : data->audioFiles())
        EXPECT_EQ(file->framePosition(), 0);
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

TEST(AudioDiscDataError, kindsCarryTheirTexts) {
    using Kind = AudioDiscDataError::Kind;
    EXPECT_EQ(AudioDiscDataError(Kind::dummy).errorDescription(), "Dummy Error");
    EXPECT_FALSE(AudioDiscDataError(Kind::dummy).failureReason());
    EXPECT_EQ(AudioDiscDataError(Kind::UnknownError).errorDescription(), "Unknown Error");
    EXPECT_EQ(AudioDiscDataError(Kind::UnknownError).kindName(), "UnknownError");
    EXPECT_FALSE(AudioDiscDataError(Kind::outOfRangeFrameSeeking).errorDescription());
    EXPECT_EQ(AudioDiscDataError(Kind::emptyAudioFile).failureReason(), "One audio file has no duration");
    EXPECT_EQ(AudioDiscDataError(Kind::inconsistentBitDepth).failureReason(),
              "All audio files need to use the same Bit Depth.");
    EXPECT_EQ(AudioDiscDataError(Kind::inconsistentFramesPerPacket).errorDescription(),
              "Error creating disc from audio files.");
    EXPECT_EQ(AudioDiscDataError(Kind::inconsistentChannelsPerFrame).failureReason(),
              "All audio files need to use the same Channels Per Frame.");
    EXPECT_EQ(AudioDiscDataError(Kind::inconsistentChannelsPerFrame).typeName(), "AudioDiscDataError");
}

TEST(AudioFormat, equalityLeavesOutFramesPerPacket) {
    AudioFormat a = AudioFormat::processing(44100, 2);
    AudioFormat b = a;
    b.framesPerPacket = 4096;
    b.bytesPerPacket = 99;
    EXPECT_EQ(a, b);
    b.blocksPerSecond = 75;
    EXPECT_NE(a, b);
    b = a;
    b.formatFlags = 0;
    EXPECT_NE(a, b);
    EXPECT_TRUE(AllowedAudioFileType::isAllowed("aiff"));
    EXPECT_FALSE(AllowedAudioFileType::isAllowed("FLAC"));
    EXPECT_EQ(AllowedAudioFileType::extensions.back(), "mp3");
}

} // namespace
} // namespace lorvan
