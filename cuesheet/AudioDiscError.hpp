#pragma once

#include "core/LocalizedError.hpp"

#include <optional>
#include <string>

namespace lorvan {

/// The error of disc assembly. It lives beside the cue sheet reader because the reader already
/// refuses one disc-level inconsistency with it (a PREGAP followed by an INDEX 00).
class AudioDiscError : public LocalizedError {
public:
    enum class Kind {
        audioFileNotFound,
        cueSheetFileNotFound,
        dummy,
        directoryDoesntExist,
        noAudioFileInDirectory,
        innacurateDiscFromMultiplePregapOrPostgap,
        /// A FILE entry names a folder, a pipe or a device: reading it would block or never end.
        notARegularFile,
    };

    /// `fileName` is the payload of `audioFileNotFound`, `cueSheetFileNotFound` and `notARegularFile`.
    explicit AudioDiscError(Kind kind, std::string fileName = {});

    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] const std::string& fileName() const { return fileName_; }
    [[nodiscard]] std::string typeName() const override { return "AudioDiscError"; }
    [[nodiscard]] std::string kindName() const override;
    [[nodiscard]] std::optional<std::string> errorDescription() const override;
    [[nodiscard]] std::optional<std::string> failureReason() const override;
    [[nodiscard]] std::optional<std::string> value() const override;

private:
    Kind kind_;
    std::string fileName_;
};

} // namespace lorvan
