#pragma once

#include "disc/AudioDiscServices.hpp"

#include <string>
#include <string_view>

namespace lorvan::platform {

/// FFmpeg for audio files, TagLib for tags, OpenSSL for the digest.
[[nodiscard]] AudioDiscServices audioDiscServices();

/// The file's tags through TagLib, keys prefixed "vorb/"; empty when it has none or cannot be read.
[[nodiscard]] AudioFileTags readTagLibTags(const Url& url);

/// SHA-1 of `bytes` in standard base64.
[[nodiscard]] std::string sha1Base64(std::string_view bytes);

} // namespace lorvan::platform
