#pragma once

#include "disc/AudioDisc.hpp"

#include <filesystem>
#include <optional>
#include <string>

namespace lorvan::cli {

/// The disc of a cue sheet or of a folder of audio files, as `info`, `play` and `render` build it. Throws the
/// `LocalizedError` of whichever step refused.
[[nodiscard]] AudioDisc assembleDisc(const std::filesystem::path& path);

/// A finite number for an option, or a usage message.
[[nodiscard]] std::optional<std::string> checkFinite(const std::string& option, float value);

} // namespace lorvan::cli
