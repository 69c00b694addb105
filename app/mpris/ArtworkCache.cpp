#include "app/mpris/ArtworkCache.hpp"

#include "core/LogEntry.hpp"

#include <QCryptographicHash>
#include <QDir>
#include <QSaveFile>
#include <QStandardPaths>

namespace lorvan::mpris {

namespace {

const char* extension(const std::string& mimeType) {
    if (mimeType == "image/png") return ".png";
    if (mimeType == "image/jpeg" || mimeType == "image/jpg") return ".jpg";
    if (mimeType == "image/gif") return ".gif";
    if (mimeType == "image/webp") return ".webp";
    return "";
}

} // namespace

std::filesystem::path artworkCacheDirectory() {
    const QString cache = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    return std::filesystem::path(cache.toStdString()) / "lorvan" / "artwork";
}

std::optional<std::filesystem::path> cachedPicture(const platform::EmbeddedPicture& picture,
                                                   const std::filesystem::path& directory) {
    if (picture.bytes.empty()) return std::nullopt;
    const QByteArray bytes(picture.bytes.data(), static_cast<qsizetype>(picture.bytes.size()));
    const std::string name = QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex().toStdString() +
                             extension(picture.mimeType);
    const std::filesystem::path path = directory / name;
    std::error_code error;
    if (std::filesystem::is_regular_file(path, error) &&
        std::filesystem::file_size(path, error) == picture.bytes.size())
        return path;
    // Whole or not at all: a reader never sees half a picture.
    QSaveFile file(QString::fromStdString(path.string()));
    if (!QDir().mkpath(QString::fromStdString(directory.string())) || !file.open(QIODevice::WriteOnly) ||
        file.write(bytes) != bytes.size() || !file.commit()) {
        LogEntry::warning("The artwork could not be kept for media controls in " + directory.string() + ": " +
                          file.errorString().toStdString())
            .print();
        return std::nullopt;
    }
    return path;
}

} // namespace lorvan::mpris
