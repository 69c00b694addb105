#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace lorvan {

/// A four-character code as a number, first character in the high byte.
constexpr std::uint32_t fourCC(const char (&code)[5]) {
    return (static_cast<std::uint32_t>(static_cast<unsigned char>(code[0])) << 24) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(code[1])) << 16) |
           (static_cast<std::uint32_t>(static_cast<unsigned char>(code[2])) << 8) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(code[3]));
}

/// A stream description: how samples are stored, as the container states them.
/// Compressed formats have 0 bits per channel and 0 bytes per packet and frame.
struct AudioFormat {
    static constexpr std::uint32_t linearPCM = fourCC("lpcm");
    static constexpr std::uint32_t flac = fourCC("flac");
    static constexpr std::uint32_t appleLossless = fourCC("alac");
    static constexpr std::uint32_t mpeg4AAC = fourCC("aac ");
    static constexpr std::uint32_t mpegLayer3 = fourCC(".mp3");

    // Linear PCM flags.
    static constexpr std::uint32_t isFloat = 1U << 0;
    static constexpr std::uint32_t isBigEndian = 1U << 1;
    static constexpr std::uint32_t isSignedInteger = 1U << 2;
    static constexpr std::uint32_t isPacked = 1U << 3;
    static constexpr std::uint32_t isNonInterleaved = 1U << 5;
    // Lossless formats carry their source depth in the flags, so that a 24-bit FLAC file and
    // a 16-bit one never share a format.
    static constexpr std::uint32_t sourceData16Bit = 1;
    static constexpr std::uint32_t sourceData20Bit = 2;
    static constexpr std::uint32_t sourceData24Bit = 3;
    static constexpr std::uint32_t sourceData32Bit = 4;

    double sampleRate = 0;
    std::uint32_t formatID = 0;
    std::uint32_t formatFlags = 0;
    int channelsPerFrame = 0;
    int bitsPerChannel = 0;
    int framesPerPacket = 0;
    std::optional<std::int32_t> frameRate;
    std::optional<std::int32_t> blocksPerSecond;
    int bytesPerPacket = 0;
    int bytesPerFrame = 0;

    /// The format every buffer is read in: 32-bit float, one plane per channel.
    [[nodiscard]] static AudioFormat processing(double sampleRate, int channels);
    [[nodiscard]] bool isProcessingFormat() const;

    /// `framesPerPacket` and the byte counts are left out on purpose: files that differ only in
    /// how the encoder cut its packets still play as one disc.
    friend bool operator==(const AudioFormat& a, const AudioFormat& b) {
        return a.sampleRate == b.sampleRate && a.formatID == b.formatID && a.formatFlags == b.formatFlags &&
               a.channelsPerFrame == b.channelsPerFrame && a.bitsPerChannel == b.bitsPerChannel &&
               a.frameRate == b.frameRate && a.blocksPerSecond == b.blocksPerSecond;
    }
};

/// The container of an audio file.
enum class LKAudioFileType { aiff, aifc, wave, m4a, flac, unsupported };

[[nodiscard]] std::string_view displayText(LKAudioFileType type);

/// The file-name extensions Lorvan accepts, matched exactly (case-sensitively).
struct AllowedAudioFileType {
    AllowedAudioFileType() = delete;
    static constexpr std::array<std::string_view, 5> nativeExtensions{"flac", "wav", "aif", "aiff", "m4a"};
    static constexpr std::array<std::string_view, 1> otherExtensions{"mp3"};
    static constexpr std::array<std::string_view, 6> extensions{"flac", "wav", "aif", "aiff", "m4a", "mp3"};
    [[nodiscard]] static bool isAllowed(std::string_view extension);
};

} // namespace lorvan
