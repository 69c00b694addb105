#include "disc/LKOSStatus.hpp"
#include "platform/AudioFixtures.hpp"
#include "platform/FFmpegAudioEncoder.hpp"
#include "platform/FFmpegAudioFile.hpp"
#include "support/TestSupport.hpp"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <sys/resource.h>
#include <tuple>

namespace lorvan {
namespace {

using platform::AudioFileEncoding;
using platform::openFFmpegAudioFile;
using platform::writeAudioFile;
using test::CapturedLog;
using test::TemporaryDirectory;

using Planes = std::vector<std::vector<float>>;

Planes readAll(AudioFile& file, std::uint32_t bufferFrames) {
    Planes planes(static_cast<std::size_t>(file.processingFormat().channelsPerFrame));
    PCMBuffer buffer(file.processingFormat(), bufferFrames);
    file.setFramePosition(0);
    while (file.framePosition() < file.length()) {
        file.read(buffer, bufferFrames);
        if (buffer.frameLength() == 0) break;
        for (std::size_t c = 0; c < planes.size(); ++c) {
            const float* data = buffer.channelData(static_cast<int>(c));
            planes[c].insert(planes[c].end(), data, data + buffer.frameLength());
        }
    }
    return planes;
}

/// The planes that interleaved integer `samples` decode to.
Planes planesOf(const std::vector<std::int32_t>& samples, int channels, int bits) {
    Planes planes(static_cast<std::size_t>(channels));
    for (std::size_t i = 0; i < samples.size(); ++i)
        planes[i % planes.size()].push_back(test::expectedFloat(samples[i], bits));
    return planes;
}

void expectSamePlanes(const Planes& actual, const Planes& expected) {
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t c = 0; c < expected.size(); ++c) {
        ASSERT_EQ(actual[c].size(), expected[c].size());
        for (std::size_t frame = 0; frame < expected[c].size(); ++frame)
            ASSERT_EQ(actual[c][frame], expected[c][frame]) << "frame " << frame << " channel " << c;
    }
}

/// A read of `count` frames after a seek to `start` gives `reference`'s frames from there.
void expectReadAfterSeek(AudioFile& file, std::int64_t start, std::uint32_t count, const Planes& reference) {
    SCOPED_TRACE("seek to " + std::to_string(start));
    PCMBuffer buffer(file.processingFormat(), count);
    file.setFramePosition(start);
    file.read(buffer, count);
    ASSERT_EQ(buffer.frameLength(), std::min<std::int64_t>(count, file.length() - start));
    ASSERT_EQ(file.framePosition(), start + buffer.frameLength());
    Planes read, expected;
    for (std::size_t c = 0; c < reference.size(); ++c) {
        const float* data = buffer.channelData(static_cast<int>(c));
        read.emplace_back(data, data + buffer.frameLength());
        const auto from = reference[c].begin() + start;
        expected.emplace_back(from, from + buffer.frameLength());
    }
    expectSamePlanes(read, expected);
}

struct LosslessCase {
    const char* extension;
    LKAudioFileType type;
    int bits, channels, rate;
};

class LosslessRoundTrip : public ::testing::TestWithParam<LosslessCase> {};

// Every lossless container must give back exactly the samples written, at any buffer size. WAVE
// and AIFF are written by hand, not by FFmpeg.
TEST_P(LosslessRoundTrip, decodesEveryFrameExactly) {
    const auto [extension, type, bits, channels, rate] = GetParam();
    TemporaryDirectory directory;
    const std::int64_t frames = 44100 + 1234;
    const auto samples = test::testSignal(frames, channels, bits, 7);
    const auto path = directory.path() / (std::string("a.") + extension);
    if (type == LKAudioFileType::wave)
        test::writeWave(path, rate, channels, bits, samples);
    else if (type == LKAudioFileType::aiff || type == LKAudioFileType::aifc)
        test::writeAiff(path, rate, channels, bits, samples, type == LKAudioFileType::aifc);
    else
        writeAudioFile(path,
                       type == LKAudioFileType::flac ? AudioFileEncoding::flac : AudioFileEncoding::alac,
                       rate, channels, bits, samples);
    auto file = openFFmpegAudioFile(Url::fileURL(path));
    EXPECT_EQ(std::tuple(file->length(), file->fileType(), file->bitDepth(), file->fileFormat().sampleRate,
                         file->fileFormat().channelsPerFrame),
              std::tuple(frames, type, bits, rate, channels));
    EXPECT_EQ(file->processingFormat(), AudioFormat::processing(rate, channels));
    for (std::uint32_t bufferFrames : {882U, 4096U, 100000U}) {
        SCOPED_TRACE(bufferFrames);
        expectSamePlanes(readAll(*file, bufferFrames), planesOf(samples, channels, bits));
    }
}

INSTANTIATE_TEST_SUITE_P(Containers, LosslessRoundTrip,
                         ::testing::Values(LosslessCase{"wav", LKAudioFileType::wave, 16, 2, 44100},
                                           LosslessCase{"wav", LKAudioFileType::wave, 24, 1, 48000},
                                           LosslessCase{"aiff", LKAudioFileType::aiff, 16, 2, 44100},
                                           LosslessCase{"aifc", LKAudioFileType::aifc, 16, 2, 44100},
                                           LosslessCase{"flac", LKAudioFileType::flac, 16, 2, 44100},
                                           LosslessCase{"flac", LKAudioFileType::flac, 24, 2, 96000},
                                           LosslessCase{"m4a", LKAudioFileType::m4a, 16, 2, 44100}),
                         [](const auto& row) {
                             return row.param.extension + std::to_string(row.param.bits);
                         });

// A read after a seek lands on the exact frame: the written samples for lossless codecs, what a
// sequential decode gave for lossy ones. A lossy file's length is what the decoder delivers (the
// encoder's delay and padding trimmed) and it has no source bit depth.
TEST(FFmpegAudioFile, seeksLandOnTheExactFrameInEveryCodec) {
    TemporaryDirectory directory;
    const struct {
        AudioFileEncoding encoding;
        const char* name;
        LKAudioFileType type;
        std::optional<int> bits;
        std::int64_t frames;
    } rows[]{{AudioFileEncoding::flac, "a.flac", LKAudioFileType::flac, 16, 44100 * 20 + 17},
             {AudioFileEncoding::alac, "alac.m4a", LKAudioFileType::m4a, 16, 44100 * 20 + 17},
             {AudioFileEncoding::mp3, "a.mp3", LKAudioFileType::unsupported, std::nullopt, 44100 * 3},
             // Not a whole number of milliseconds: the stated length must be exact to the frame.
             {AudioFileEncoding::aac, "aac.m4a", LKAudioFileType::m4a, std::nullopt, 44100 * 20 + 17}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto samples = test::testSignal(row.frames, 2, 16, 3);
        writeAudioFile(directory.path() / row.name, row.encoding, 44100, 2, 16, samples);
        auto file = openFFmpegAudioFile(Url::fileURL(directory.path() / row.name));
        ASSERT_EQ(std::tuple(file->fileType(), file->bitDepth(), file->length()),
                  std::tuple(row.type, row.bits, row.frames));
        const Planes reference = row.bits ? planesOf(samples, 2, 16) : readAll(*file, 4096);
        // Not silence: the trimmed priming must not have shifted the music out.
        EXPECT_GT(*std::max_element(reference[0].begin(), reference[0].begin() + 4096), 0.05F);
        std::mt19937 random(42);
        std::uniform_int_distribution<std::int64_t> position(0, row.frames - 1);
        expectReadAfterSeek(*file, row.frames - 1, 700, reference);
        for (int i = 0; i < 40; ++i)
            expectReadAfterSeek(*file, position(random), 700, reference);
    }
}

TEST(FFmpegAudioFile, readsStopAtTheEndAndNeverExceedTheBuffer) {
    TemporaryDirectory directory;
    test::writeWave(directory.path() / "a.wav", 44100, 2, 16, test::testSignal(1000, 2, 16, 9));
    auto file = openFFmpegAudioFile(Url::fileURL(directory.path() / "a.wav"));
    PCMBuffer small(file->processingFormat(), 64);
    // Asked for 4096 frames each time: the end cuts the first two reads, the buffer the third.
    for (const auto& [position, read] : {std::pair{990, 10U}, {1000, 0U}, {0, 64U}}) {
        file->setFramePosition(position);
        file->read(small, 4096);
        EXPECT_EQ(small.frameLength(), read) << position;
    }
    file->setFramePosition(5000);
    EXPECT_EQ(file->framePosition(), 1000);
}

class BadFile : public ::testing::Test {
protected:
    // Opening must throw LKOSStatus after printing the failure block for this file.
    LKOSStatus expectRefused(const std::filesystem::path& path) {
        CapturedLog log;
        const Url url = Url::fileURL(path);
        const auto status = test::thrown<LKOSStatus>([&] { (void)openFFmpegAudioFile(url); });
        EXPECT_NE(status.rawValue, 0);
        EXPECT_EQ(status.audioFileURL, url);
        EXPECT_TRUE(log.contains("Operation '" + status.operationDescription.value_or("") +
                                 "' on audio file '" + url.absoluteString() + "' failed with error '"));
        EXPECT_TRUE(log.contains("  ┗ Function ...... : init(forReading:)"));
        return status;
    }
    TemporaryDirectory directory;
};

TEST_F(BadFile, missingTextEmptyFolderAndTruncatedFilesAreRefusedAtOpen) {
    const auto missing = expectRefused(directory.path() / "missing.flac");
    EXPECT_EQ(missing.displayText(LKOSStatus::DisplayStyle::errorNames), "AVERROR(ENOENT)");
    EXPECT_EQ(missing.displayText(LKOSStatus::DisplayStyle::description), "No such file or directory");
    EXPECT_EQ(missing.operationDescription, "ExtAudioFileOpenURL");

    directory.write("notes.flac", "This is not audio, only a few words of text.\n");
    directory.write("empty.wav", "");
    std::filesystem::create_directory(directory.path() / "folder.flac");
    const auto cut = directory.path() / "cut.flac";
    writeAudioFile(cut, AudioFileEncoding::flac, 44100, 2, 16, test::testSignal(44100 * 4, 2, 16, 2));
    std::filesystem::resize_file(cut, std::filesystem::file_size(cut) / 2);
    for (const char* name : {"notes.flac", "empty.wav", "folder.flac", "cut.flac"}) {
        SCOPED_TRACE(name);
        EXPECT_NE(expectRefused(directory.path() / name).displayText(LKOSStatus::DisplayStyle::errorNames),
                  "Unknown Error");
    }
}

// What a header claims must not cost what it claims: a WAVE whose INFO tag claims 1.2 GB within a
// file of 80 bytes made FFmpeg allocate and clear 1.2 GB (half a minute) before refusing it.
TEST_F(BadFile, aTagClaimingGigabytesIsRefusedWithoutAllocatingThem) {
    const auto le32 = [](std::uint32_t value) {
        return std::string{static_cast<char>(value & 0xFF), static_cast<char>((value >> 8) & 0xFF),
                           static_cast<char>((value >> 16) & 0xFF), static_cast<char>(value >> 24)};
    };
    const std::string format = std::string("\x01\x00\x02\x00", 4) + le32(44100) + le32(44100 * 4) +
                               std::string("\x04\x00\x10\x00", 4);
    const std::uint32_t claimed = 0x4C00000E;
    const std::string info = "INFO" + std::string("ISFT") + le32(claimed) + "Lavf";
    const std::string chunks = "fmt " + le32(16) + format + "LIST" + le32(claimed + 8) + info;
    const auto path = directory.write(
        "claims.wav", "RIFF" + le32(static_cast<std::uint32_t>(4 + chunks.size())) + "WAVE" + chunks);
    rusage before{};
    getrusage(RUSAGE_SELF, &before);
    (void)expectRefused(path);
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 300L * 1024) << "peak resident set grew in KiB";
}

// Damage inside the stream is found by the read that reaches it, as a thrown status.
TEST_F(BadFile, corruptFramesInTheMiddleThrowFromRead) {
    const auto path = directory.path() / "damaged.flac";
    writeAudioFile(path, AudioFileEncoding::flac, 44100, 2, 16, test::testSignal(44100 * 4, 2, 16, 4));
    {
        std::fstream stream(path, std::ios::in | std::ios::out | std::ios::binary);
        const auto size = static_cast<std::streamoff>(std::filesystem::file_size(path));
        stream.seekp(size / 2);
        const std::string garbage(4000, '\x5A');
        stream.write(garbage.data(), static_cast<std::streamsize>(garbage.size()));
    }
    auto file = openFFmpegAudioFile(Url::fileURL(path));
    CapturedLog log;
    EXPECT_THROW((void)readAll(*file, 882), LKOSStatus);
    EXPECT_TRUE(log.contains("Operation 'ExtAudioFileRead' on audio file"));
}

TEST(LKOSStatus, displayStylesShowNumberTagNameAndText) {
    platform::installFFmpegStatusDescriptions();
    const LKOSStatus invalid(-0x41444E49);
    EXPECT_EQ(invalid.displayText(LKOSStatus::DisplayStyle::value), "-1094995529");
    EXPECT_EQ(invalid.displayText(LKOSStatus::DisplayStyle::code), "'INDA'");
    EXPECT_EQ(invalid.displayText(LKOSStatus::DisplayStyle::errorNames), "AVERROR_INVALIDDATA");
    EXPECT_EQ(invalid.displayText(LKOSStatus::DisplayStyle::description),
              "Invalid data found when processing input");
    EXPECT_EQ(LKOSStatus(-2).displayText(LKOSStatus::DisplayStyle::code), "-2");
    EXPECT_EQ(LKOSStatus(-0x12345678).displayText(LKOSStatus::DisplayStyle::errorNames), "Unknown Error");
    EXPECT_EQ(LKOSStatus(-2), LKOSStatus(-2, "elsewhere.cpp", 3));
    EXPECT_EQ(invalid.errorCode(), -1094995529);
}

TEST(LKOSStatus, statusCheckPrintsAndThrowsOnlyOnFailure) {
    CapturedLog log;
    EXPECT_NO_THROW(checkStatus(0, "AudioFileClose", std::nullopt, "closeAndDispose()"));
    EXPECT_TRUE(log.text().empty());
    const auto status = test::thrown<LKOSStatus>(
        [] { checkStatus(-5, "AudioFileClose", std::nullopt, "closeAndDispose()"); });
    EXPECT_EQ(std::tuple(status.rawValue, status.sourceFunction, status.operationDescription),
              std::tuple(-5, "closeAndDispose()", "AudioFileClose"));
    EXPECT_FALSE(status.audioFileURL.has_value());
    EXPECT_GT(status.sourceLine.value_or(0), 0);
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_TRUE(lines[0].starts_with("Operation 'AudioFileClose' failed with error -5 '"));
    EXPECT_TRUE(lines[3].ends_with("closeAndDispose()"));
}

} // namespace
} // namespace lorvan
