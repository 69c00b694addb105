#pragma once

#include "core/LocalizedError.hpp"
#include "core/Url.hpp"
#include "disc/AudioDisc.hpp"

#include <filesystem>
#include <optional>
#include <string>

namespace lorvan {

/// Refuses a path the user named that cannot be opened as expected, before any reader sees it.
class InputError : public LocalizedError {
public:
    InputError(std::string kind, std::filesystem::path path, std::string description, std::string reason);
    [[nodiscard]] std::string typeName() const override { return "InputError"; }
    [[nodiscard]] std::string kindName() const override { return kind_; }
    [[nodiscard]] std::optional<std::string> errorDescription() const override { return description_; }
    [[nodiscard]] std::optional<std::string> failureReason() const override { return reason_; }
    [[nodiscard]] std::optional<std::string> value() const override { return path_.string(); }

private:
    std::string kind_;
    std::filesystem::path path_;
    std::string description_;
    std::string reason_;
};

/// The file URL of `path` when it names a readable regular file; throws `InputError` otherwise.
[[nodiscard]] Url readableFileUrl(const std::filesystem::path& path);

/// The cue sheet in `folder` when it holds exactly one (hidden entries and what is not a regular
/// file aside); none when it holds none or several.
[[nodiscard]] std::optional<std::filesystem::path> onlyCueSheetIn(const std::filesystem::path& folder);

/// The disc of a cue sheet, or of a folder when `path` is a folder: through the folder's only
/// cue sheet when it has exactly one, else of its audio files, one track each. Throws the
/// `LocalizedError` of whichever step refused. Any thread; reads the files it names.
[[nodiscard]] AudioDisc openDisc(const std::filesystem::path& path);

} // namespace lorvan
