#include "platform/PlatformDiscServices.hpp"

#include "platform/FFmpegAudioFile.hpp"

#include <array>
#include <openssl/evp.h>
#include <openssl/sha.h>
#include <taglib/fileref.h>
#include <taglib/tpropertymap.h>

namespace lorvan::platform {

AudioDiscServices audioDiscServices() {
    return {&openFFmpegAudioFile, &readTagLibTags, &sha1Base64};
}

AudioFileTags readTagLibTags(const Url& url) {
    AudioFileTags tags;
    if (!url.isFileURL()) return tags;
    // Audio properties are not needed: FFmpeg has already measured the file.
    const TagLib::FileRef file(url.path().c_str(), false);
    if (file.isNull() || file.file() == nullptr) return tags;
    const TagLib::PropertyMap properties = file.file()->properties();
    for (const auto& [key, values] : properties) {
        auto& list = tags["vorb/" + key.upper().to8Bit(true)];
        for (const auto& value : values)
            list.push_back(value.to8Bit(true));
    }
    return tags;
}

std::string sha1Base64(std::string_view bytes) {
    std::array<unsigned char, SHA_DIGEST_LENGTH> digest{};
    unsigned int size = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha1(), nullptr);
    std::array<unsigned char, 4 * ((SHA_DIGEST_LENGTH + 2) / 3) + 1> text{};
    const int length = EVP_EncodeBlock(text.data(), digest.data(), static_cast<int>(size));
    return std::string(reinterpret_cast<const char*>(text.data()), static_cast<std::size_t>(length));
}

} // namespace lorvan::platform
