#include "DiscOpening.hpp"

#include "cuesheet/CueSheet.hpp"
#include "platform/PlatformDiscServices.hpp"

#include <cerrno>
#include <cstring>
#include <fstream>

namespace lorvan {

InputError::InputError(std::string kind, std::filesystem::path path, std::string description,
                       std::string reason)
    : LocalizedError(description)
    , kind_(std::move(kind))
    , path_(std::move(path))
    , description_(std::move(description))
    , reason_(std::move(reason)) {}

Url readableFileUrl(const std::filesystem::path& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    const std::string shown = "'" + path.string() + "'";
    if (!std::filesystem::exists(status))
        throw InputError("fileNotFound", path, "Couldn't open " + shown, "No such file or directory.");
    if (std::filesystem::is_directory(status))
        throw InputError("isADirectory", path, "Couldn't open " + shown, "It is a directory, not a file.");
    std::ifstream probe(path, std::ios::binary);
    if (!probe) {
        const std::string reason = std::strerror(errno);
        throw InputError("fileNotReadable", path, "Couldn't read " + shown, reason + ".");
    }
    return Url::fileURL(path);
}

AudioDisc openDisc(const std::filesystem::path& path) {
    const AudioDiscServices services = platform::audioDiscServices();
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        return AudioDisc::fromDirectory(Url::fileURL(path), services);
    const CueSheet sheet(readableFileUrl(path));
    return AudioDisc::fromCueSheet(sheet, services);
}

} // namespace lorvan
