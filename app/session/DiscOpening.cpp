#include "DiscOpening.hpp"

#include "core/LogEntry.hpp"
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
    // Before the probe opens it: opening a pipe blocks until a writer comes.
    if (!std::filesystem::is_regular_file(status))
        throw InputError("notARegularFile", path, "Couldn't open " + shown,
                         "It is not a regular file (a pipe, a socket or a device).");
    std::ifstream probe(path, std::ios::binary);
    if (!probe) {
        const std::string reason = std::strerror(errno);
        throw InputError("fileNotReadable", path, "Couldn't read " + shown, reason + ".");
    }
    return Url::fileURL(path);
}

std::optional<std::filesystem::path> onlyCueSheetIn(const std::filesystem::path& folder) {
    std::optional<std::filesystem::path> found;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end;
         it.increment(error)) {
        const std::string name = it->path().filename().string();
        std::error_code ignored;
        // Hidden entries are the "._" forks a Mac leaves beside each file, not sheets.
        if (it->path().extension() != ".cue" || name.starts_with('.') || !it->is_regular_file(ignored))
            continue;
        if (found) return std::nullopt;
        found = it->path();
    }
    return found;
}

AudioDisc openDisc(const std::filesystem::path& path) {
    const AudioDiscServices services = platform::audioDiscServices();
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        // A ripped disc is usually its files and their sheet in one folder: the sheet knows the
        // tracks, the pregaps and the titles, the files alone do not.
        if (const auto sheet = onlyCueSheetIn(path)) {
            log("Opening the folder's only cue sheet", sheet->filename().string());
            return AudioDisc::fromCueSheet(CueSheet(readableFileUrl(*sheet)), services);
        }
        return AudioDisc::fromDirectory(Url::fileURL(path), services);
    }
    const CueSheet sheet(readableFileUrl(path));
    return AudioDisc::fromCueSheet(sheet, services);
}

} // namespace lorvan
