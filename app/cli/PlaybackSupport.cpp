#include "PlaybackSupport.hpp"

#include "CliSupport.hpp"
#include "cuesheet/CueSheet.hpp"
#include "platform/PlatformDiscServices.hpp"

#include <cmath>

namespace lorvan::cli {

AudioDisc assembleDisc(const std::filesystem::path& path) {
    const AudioDiscServices services = platform::audioDiscServices();
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        return AudioDisc::fromDirectory(Url::fileURL(path), services);
    const CueSheet sheet(readableFileUrl(path));
    return AudioDisc::fromCueSheet(sheet, services);
}

std::optional<std::string> checkFinite(const std::string& option, float value) {
    if (std::isfinite(value)) return std::nullopt;
    return option + ": a finite number is needed";
}

} // namespace lorvan::cli
