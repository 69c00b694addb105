#pragma once

#include <cstdint>

/// The fixed shape of CD audio, which cue sheet positions, disc tables of contents and the
/// online database identifiers all count in.
namespace lorvan::cdda {

/// Sample frames per second (44.1 kHz).
inline constexpr std::int64_t framesPerSecond = 44'100;
/// Sectors ("CD frames" in a cue sheet's MM:SS:FF) per second.
inline constexpr std::int64_t sectorsPerSecond = 75;
/// Sample frames per sector: 588.
inline constexpr std::int64_t framesPerSector = framesPerSecond / sectorsPerSecond;
/// The lead-in before the first track, which table-of-contents addresses count from (2 s).
inline constexpr std::int64_t leadInSectors = 2 * sectorsPerSecond;

} // namespace lorvan::cdda
