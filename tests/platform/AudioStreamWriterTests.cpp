// The stream writer's samples, read back from the bytes of the WAVE file it wrote (and from
// a FLAC file through the real decoder): rounding to the nearest step with ties to even,
// clipping, the byte layout of each format and the order of the channels, on the stereo path
// that goes several frames at a time, on its last frames, and on other channel counts.

#include "core/Url.hpp"
#include "disc/PCMBuffer.hpp"
#include "platform/FFmpegAudioEncoder.hpp"
#include "platform/FFmpegAudioFile.hpp"
#include "support/TestSupport.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace lorvan::platform {
namespace {

using Planes = std::vector<std::vector<float>>;

/// The bytes of the WAVE file's data chunk.
std::string waveData(const std::filesystem::path& path) {
    const std::string file = test::fileText(path);
    std::size_t at = 12;
    while (at + 8 <= file.size()) {
        std::uint32_t size = 0;
        std::memcpy(&size, file.data() + at + 4, 4);
        if (file.compare(at, 4, "data") == 0) return file.substr(at + 8, size);
        at += 8 + size + (size & 1U);
    }
    ADD_FAILURE() << "no data chunk in " << path;
    return {};
}

/// Little-endian signed integers of `bytes` bytes each.
std::vector<std::int32_t> integers(const std::string& data, int bytes) {
    std::vector<std::int32_t> values;
    for (std::size_t at = 0; at + static_cast<std::size_t>(bytes) <= data.size();
         at += static_cast<std::size_t>(bytes)) {
        std::uint32_t value = 0;
        for (int b = 0; b < bytes; ++b)
            value |=
                static_cast<std::uint32_t>(static_cast<unsigned char>(data[at + static_cast<std::size_t>(b)]))
                << (8 * b);
        const int unused = 32 - 8 * bytes;
        values.push_back(static_cast<std::int32_t>(value << unused) >> unused);
    }
    return values;
}

/// Writes `planes` through the writer in pieces of `piece` frames (the last one shorter).
void write(const std::filesystem::path& path, AudioFileEncoding encoding, PCMSampleFormat format,
           const Planes& planes, std::size_t piece) {
    AudioStreamWriter writer(path, encoding, 44100, static_cast<int>(planes.size()), format);
    const std::size_t frames = planes.front().size();
    for (std::size_t offset = 0; offset < frames; offset += piece) {
        std::vector<const float*> pointers;
        for (const auto& plane : planes)
            pointers.push_back(plane.data() + offset);
        writer.write(pointers.data(), static_cast<int>(planes.size()),
                     static_cast<std::uint32_t>(std::min(piece, frames - offset)));
    }
    writer.write(nullptr, static_cast<int>(planes.size()), 0);
    writer.finish();
    EXPECT_EQ(writer.framesWritten(), static_cast<std::int64_t>(frames));
}

/// Each input sample beside the integer it must become at 16 and at 24 bits.
struct Case {
    float sample;
    std::int32_t at16;
    std::int32_t at24;
};

std::vector<Case> cases() {
    constexpr float step16 = 1.0F / 32768.0F;
    constexpr float step24 = 1.0F / 8388608.0F;
    constexpr float infinity = std::numeric_limits<float>::infinity();
    return {
        {0.0F, 0, 0},
        {-1.0F, -32768, -8388608},
        {32767 * step16, 32767, 32767 * 256},
        // Half steps go to the even neighbour, not away from zero and not down.
        {0.5F * step16, 0, 128},
        {1.5F * step16, 2, 384},
        {2.5F * step16, 2, 640},
        {-0.5F * step16, 0, -128},
        {-1.5F * step16, -2, -384},
        {-2.5F * step16, -2, -640},
        {0.5F * step24, 0, 0},
        {1.5F * step24, 0, 2},
        {2.5F * step24, 0, 2},
        {-2.5F * step24, 0, -2},
        // Just below a half step rounds towards zero, just above away from it.
        {0.49F * step16, 0, 125},
        {0.51F * step16, 1, 131},
        // Clipped at both ends, the ends themselves kept.
        {1.0F, 32767, 8388607},
        {1.5F, 32767, 8388607},
        {-1.0000001F, -32768, -8388608},
        {-1.5F, -32768, -8388608},
        {1e30F, 32767, 8388607},
        {infinity, 32767, 8388607},
        {-infinity, -32768, -8388608},
        {32767.5F * step16, 32767, 8388480},
        {-32768.5F * step16, -32768, -8388608},
    };
}

/// The cases spread over `channels` planes, a different sample in each channel of a frame, so
/// that a swap of channels or frames shows, repeated to `frames` frames when that is longer;
/// `expected` gets them interleaved.
Planes spread(int channels, bool at24, std::size_t frames, std::vector<std::int32_t>& expected) {
    const auto all = cases();
    const auto width = static_cast<std::size_t>(channels);
    const std::size_t base = (all.size() + width - 1) / width; // frames that hold every case once
    frames = std::max(frames, base);
    Planes planes(width, std::vector<float>(frames, 0.0F));
    expected.assign(frames * width, 0);
    for (std::size_t frame = 0; frame < frames; ++frame)
        for (std::size_t c = 0; c < width; ++c) {
            const std::size_t i = (frame % base) * width + c;
            if (i >= all.size()) continue; // the padding stays silent
            planes[c][frame] = all[i].sample;
            expected[frame * width + c] = at24 ? all[i].at24 : all[i].at16;
        }
    return planes;
}

/// The integers the file holds: the bytes of a WAVE file's data chunk, or what the decoder
/// gives back from a FLAC file.
std::vector<std::int32_t> readBack(const std::filesystem::path& path, AudioFileEncoding encoding, bool at24) {
    if (encoding == AudioFileEncoding::wave) return integers(waveData(path), at24 ? 3 : 2);
    const auto file = openFFmpegAudioFile(Url::fileURL(path));
    const auto frames = static_cast<std::uint32_t>(file->length());
    PCMBuffer buffer(file->processingFormat(), frames);
    file->read(buffer, frames);
    std::vector<std::int32_t> values;
    for (std::uint32_t frame = 0; frame < buffer.frameLength(); ++frame)
        for (int c = 0; c < file->processingFormat().channelsPerFrame; ++c)
            values.push_back(static_cast<std::int32_t>(
                std::lrint(buffer.channelData(c)[frame] * (at24 ? 8388608.0 : 32768.0))));
    return values;
}

TEST(AudioStreamWriter, SamplesRoundToTheNearestStepTiesToEvenAndClipOnEveryPath) {
    test::TemporaryDirectory directory;
    const struct {
        AudioFileEncoding encoding;
        int channels;
        std::size_t piece, frames;
    } rows[]{
        // Stereo in one piece (several frames at a time, then the rest), stereo a frame or three
        // at a time (only the last frames' path), then one, three and six channels.
        {AudioFileEncoding::wave, 2, 1000, 0},
        {AudioFileEncoding::wave, 2, 1, 0},
        {AudioFileEncoding::wave, 2, 3, 0},
        {AudioFileEncoding::wave, 1, 1000, 0},
        {AudioFileEncoding::wave, 3, 5, 0},
        {AudioFileEncoding::wave, 6, 1000, 0},
        // More frames than one packet holds, in one write: nothing lost or doubled at the seams.
        {AudioFileEncoding::wave, 2, 150001, 150001},
        // Long enough for several of the FLAC encoder's fixed-size frames and a short last one.
        {AudioFileEncoding::flac, 2, 777, 10000},
    };
    for (const auto& row : rows) {
        for (const bool at24 : {false, true}) {
            SCOPED_TRACE(std::to_string(row.channels) + " channels, pieces of " + std::to_string(row.piece) +
                         (at24 ? ", 24 bits" : ", 16 bits") +
                         (row.encoding == AudioFileEncoding::flac ? ", FLAC" : ", WAVE"));
            std::vector<std::int32_t> expected;
            const Planes planes = spread(row.channels, at24, row.frames, expected);
            const auto path =
                directory.path() / (row.encoding == AudioFileEncoding::flac ? "out.flac" : "out.wav");
            write(path, row.encoding, at24 ? PCMSampleFormat::s24 : PCMSampleFormat::s16, planes, row.piece);
            const std::vector<std::int32_t> written = readBack(path, row.encoding, at24);
            ASSERT_EQ(written.size(), expected.size());
            for (std::size_t i = 0; i < expected.size(); ++i)
                ASSERT_EQ(written[i], expected[i]) << "sample " << i;
        }
    }
}

TEST(AudioStreamWriter, FloatWaveKeepsEverySampleOfALongWrite) {
    test::TemporaryDirectory directory;
    // More frames than one packet holds, in a single write: the file must hold them all, in order.
    const std::size_t frames = 150001;
    Planes planes(2, std::vector<float>(frames));
    for (std::size_t i = 0; i < frames; ++i) {
        planes[0][i] = static_cast<float>(i) / static_cast<float>(frames);
        planes[1][i] = -0.25F - static_cast<float>(i % 977) * 1e-7F;
    }
    const auto path = directory.path() / "float.wav";
    write(path, AudioFileEncoding::wave, PCMSampleFormat::f32, planes, frames);
    const std::string data = waveData(path);
    ASSERT_EQ(data.size(), frames * 2 * sizeof(float));
    std::vector<float> written(frames * 2);
    std::memcpy(written.data(), data.data(), data.size());
    for (std::size_t i = 0; i < frames; i += 997) {
        ASSERT_EQ(written[2 * i], planes[0][i]) << i;
        ASSERT_EQ(written[2 * i + 1], planes[1][i]) << i;
    }
    EXPECT_EQ(written.back(), planes[1].back());
}

} // namespace
} // namespace lorvan::platform
