#include "platform/AudioFixtures.hpp"

#include <cmath>
#include <fstream>
#include <stdexcept>

namespace lorvan::test {
namespace {

void put(std::string& out, std::uint64_t value, int bytes, bool bigEndian) {
    for (int i = 0; i < bytes; ++i) {
        const int shift = bigEndian ? 8 * (bytes - 1 - i) : 8 * i;
        out += static_cast<char>((value >> shift) & 0xFF);
    }
}

void putSamples(std::string& out, const std::vector<std::int32_t>& samples, int bits, bool bigEndian) {
    for (std::int32_t sample : samples)
        put(out, static_cast<std::uint32_t>(sample), bits / 8, bigEndian);
}

// 80-bit IEEE extended, as AIFF's COMM chunk stores the sample rate.
void putExtended(std::string& out, double value) {
    int exponent = 0;
    const double mantissa = std::frexp(value, &exponent); // value = mantissa * 2^exponent, 0.5 <= m < 1
    const auto bits = static_cast<std::uint64_t>(std::ldexp(mantissa, 64));
    put(out, static_cast<std::uint64_t>(16383 + exponent - 1), 2, true);
    put(out, bits, 8, true);
}

void save(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!stream) throw std::runtime_error("cannot write " + path.string());
}

} // namespace

std::vector<std::int32_t> testSignal(std::int64_t frames, int channels, int bits, std::uint32_t seed) {
    std::vector<std::int32_t> samples(static_cast<std::size_t>(frames * channels));
    std::uint32_t state = seed * 2654435761U + 12345U;
    const double amplitude = std::ldexp(1.0, bits - 1) * 0.6;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        state = state * 1664525U + 1013904223U;
        const double tone = std::sin(static_cast<double>(i / static_cast<std::size_t>(channels)) * 0.031 *
                                     (1 + static_cast<double>(i % static_cast<std::size_t>(channels))));
        const double noise = static_cast<double>(state >> 8) / 16777216.0 - 0.5;
        samples[i] = static_cast<std::int32_t>(amplitude * (0.8 * tone + 0.4 * noise));
    }
    return samples;
}

float expectedFloat(std::int32_t sample, int bits) {
    return static_cast<float>(static_cast<double>(sample) / std::ldexp(1.0, bits - 1));
}

void writeWave(const std::filesystem::path& path, int sampleRate, int channels, int bits,
               const std::vector<std::int32_t>& interleaved) {
    const auto dataSize = static_cast<std::uint32_t>(interleaved.size() * static_cast<std::size_t>(bits / 8));
    std::string out = "RIFF";
    put(out, 36 + dataSize, 4, false);
    out += "WAVEfmt ";
    // Chunk size, integer PCM, channels, rate, bytes per second, bytes per frame, bits.
    for (const auto& [value, bytes] : {std::pair<int, int>{16, 4}, {1, 2}, {channels, 2}, {sampleRate, 4},
                                      {sampleRate * channels * bits / 8, 4}, {channels * bits / 8, 2}, {bits, 2}})
        put(out, static_cast<std::uint64_t>(value), bytes, false);
    out += "data";
    put(out, dataSize, 4, false);
    putSamples(out, interleaved, bits, false);
    save(path, out);
}

void writeAiff(const std::filesystem::path& path, int sampleRate, int channels, int bits,
               const std::vector<std::int32_t>& interleaved, bool aifc) {
    const auto frames = static_cast<std::uint32_t>(interleaved.size() / static_cast<std::size_t>(channels));
    const auto dataSize = static_cast<std::uint32_t>(interleaved.size() * static_cast<std::size_t>(bits / 8));
    std::string chunks;
    if (aifc) {
        chunks += "FVER";
        put(chunks, 4, 4, true);
        put(chunks, 0xA2805140, 4, true);
    }
    chunks += "COMM";
    put(chunks, aifc ? 18 + 4 + 16 : 18, 4, true);
    put(chunks, static_cast<std::uint64_t>(channels), 2, true);
    put(chunks, frames, 4, true);
    put(chunks, static_cast<std::uint64_t>(bits), 2, true);
    putExtended(chunks, sampleRate);
    if (aifc) {
        chunks += "NONE";
        chunks += static_cast<char>(14);
        chunks += "not compressed";
        chunks += '\0'; // pad the Pascal string to an even length
    }
    chunks += "SSND";
    put(chunks, 8 + dataSize, 4, true);
    put(chunks, 0, 8, true);
    putSamples(chunks, interleaved, bits, true);
    std::string out = "FORM";
    put(out, 4 + chunks.size(), 4, true);
    out += aifc ? "AIFC" : "AIFF";
    save(path, out + chunks);
}

} // namespace lorvan::test
