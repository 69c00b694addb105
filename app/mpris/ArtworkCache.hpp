#pragma once

#include "platform/EmbeddedPicture.hpp"

#include <filesystem>
#include <optional>

namespace lorvan::mpris {

/// Where pictures taken out of audio files are kept for media controls, which only take a
/// file URL: "lorvan/artwork" in the user's cache folder ($XDG_CACHE_HOME, else ~/.cache).
[[nodiscard]] std::filesystem::path artworkCacheDirectory();

/// The file in `directory` that holds `picture`, written unless it is there already: named by
/// the SHA-1 of the bytes, so that one cover shared by every track of a disc is one file and
/// no two pictures share a name. None when it cannot be written (logged).
[[nodiscard]] std::optional<std::filesystem::path> cachedPicture(const platform::EmbeddedPicture& picture,
                                                                 const std::filesystem::path& directory);

} // namespace lorvan::mpris
