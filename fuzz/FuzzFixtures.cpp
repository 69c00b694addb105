#include "fuzz/FuzzFixtures.hpp"

#include "platform/FFmpegAudioEncoder.hpp"

#include <cmath>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace lorvan::fuzz {
namespace {

using platform::AudioFileEncoding;

struct FixtureFile {
    std::string_view name;
    AudioFileEncoding encoding;
    int sampleRate;
    int channels;
    int bits;
    std::int64_t frames;
};

// A tone with a little noise: compresses like music, so the lossless seeds stay small, and
// differs from frame to frame, so a misplaced frame changes the decoded output.
std::vector<std::int32_t> signal(std::int64_t frames, int channels, int bits) {
    std::vector<std::int32_t> samples(static_cast<std::size_t>(frames * channels));
    const double amplitude = std::ldexp(1.0, bits - 1) * 0.5;
    std::uint32_t state = 2463534242U;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        const auto frame = static_cast<double>(i / static_cast<std::size_t>(channels));
        const auto channel = static_cast<double>(i % static_cast<std::size_t>(channels));
        const double noise = static_cast<double>(state >> 24) / 256.0 - 0.5;
        samples[i] =
            static_cast<std::int32_t>(amplitude * (std::sin(frame * 0.05 * (1 + channel)) + 0.001 * noise));
    }
    return samples;
}

void write(const std::filesystem::path& path, const FixtureFile& file) {
    platform::writeAudioFile(path, file.encoding, file.sampleRate, file.channels, file.bits,
                             signal(file.frames, file.channels, file.bits));
}

std::size_t extensionIndex(std::string_view extension) {
    for (std::size_t i = 0; i < audioExtensions.size(); ++i)
        if (audioExtensions[i] == extension) return i;
    throw std::invalid_argument("no audio extension " + std::string(extension));
}

} // namespace

void writeAudioSeeds(const std::filesystem::path& directory) {
    // Lossy codecs need a few packets (AAC 1024 frames, MP3 1152) beyond their encoder delay.
    static constexpr std::array<FixtureFile, 9> seeds{{
        {"s16.flac", AudioFileEncoding::flac, 44100, 2, 16, 1000},
        {"s24-mono.flac", AudioFileEncoding::flac, 48000, 1, 24, 700},
        {"s16.wav", AudioFileEncoding::wave, 44100, 2, 16, 300},
        {"s24-mono.wav", AudioFileEncoding::wave, 96000, 1, 24, 200},
        {"s16.aif", AudioFileEncoding::aiff, 44100, 2, 16, 300},
        {"s24.aiff", AudioFileEncoding::aiff, 48000, 2, 24, 200},
        {"alac.m4a", AudioFileEncoding::alac, 44100, 2, 16, 1500},
        {"aac.m4a", AudioFileEncoding::aac, 44100, 2, 16, 2500},
        {"mp3.mp3", AudioFileEncoding::mp3, 44100, 2, 16, 2500},
    }};
    std::filesystem::create_directories(directory);
    const std::filesystem::path scratch = directory / ".scratch";
    for (const FixtureFile& seed : seeds) {
        const std::string extension = std::filesystem::path(seed.name).extension().string().substr(1);
        const std::filesystem::path encoded = scratch.string() + "." + extension;
        write(encoded, seed);
        std::ifstream in(encoded, std::ios::binary);
        std::string bytes(1, static_cast<char>(extensionIndex(extension)));
        bytes.append(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        std::filesystem::remove(encoded);
        std::ofstream out(directory / seed.name, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!out) throw std::runtime_error("cannot write seed " + (directory / seed.name).string());
    }
}

void writeDiscFolder(const std::filesystem::path& directory) {
    // Lengths in frames that are not whole CD sectors (588 frames) except where noted, so that
    // index points, sector rounding and file ends fall between sectors.
    static constexpr std::array<FixtureFile, 9> files{{
        {"01.wav", AudioFileEncoding::wave, 44100, 2, 16, 5880}, // 10 sectors
        {"02.flac", AudioFileEncoding::flac, 44100, 2, 16, 4410},
        {"03.wav", AudioFileEncoding::wave, 44100, 2, 16, 1000},
        {"04.aiff", AudioFileEncoding::aiff, 44100, 2, 16, 2940}, // 5 sectors
        {"05.m4a", AudioFileEncoding::alac, 44100, 2, 16, 3000},
        {"06.mp3", AudioFileEncoding::mp3, 44100, 2, 16, 3000},
        {"mono.wav", AudioFileEncoding::wave, 44100, 1, 16, 588},
        {"hires.flac", AudioFileEncoding::flac, 96000, 2, 24, 2000},
        {"aac.m4a", AudioFileEncoding::aac, 44100, 2, 16, 3000},
    }};
    std::filesystem::create_directories(directory);
    for (const FixtureFile& file : files)
        write(directory / file.name, file);
}

} // namespace lorvan::fuzz
