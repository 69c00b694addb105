#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string_view>

namespace lorvan::fuzz {

/// The extensions an audio-file input is stored under; its first byte picks one (modulo the count).
inline constexpr std::array<std::string_view, 6> audioExtensions{"flac", "wav", "aif", "aiff", "m4a", "mp3"};

/// The extension an audio-file input's first byte selects.
[[nodiscard]] inline std::string_view audioExtensionOf(std::span<const std::uint8_t> input) {
    return audioExtensions[input.empty() ? 0 : input[0] % audioExtensions.size()];
}

/// Writes the audio-file target's seeds into `directory`: tiny FLAC, WAVE, AIFF, M4A (ALAC and
/// AAC) and MP3 files from the platform's own encoder, each prefixed with the byte that selects
/// its extension.
void writeAudioSeeds(const std::filesystem::path& directory);

/// Writes the small real files the disc target's cue sheets name into `directory`: CD-format
/// files of uneven lengths in every container, and files whose format differs from a CD's.
void writeDiscFolder(const std::filesystem::path& directory);

} // namespace lorvan::fuzz
