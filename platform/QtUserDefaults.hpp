#pragma once

#include "core/UserDefaults.hpp"

#include <memory>

class QSettings;

namespace lorvan {

/// The user-defaults store of a Linux desktop: an INI file in the XDG config folder,
/// ~/.config/Lorvan/Lorvan.conf (or under $XDG_CONFIG_HOME). Every value set is written to disk
/// at once, so a command-line run that changes a setting leaves it for the next run. Main
/// thread only.
class QtUserDefaults final : public UserDefaults {
public:
    QtUserDefaults();
    ~QtUserDefaults() override;
    QtUserDefaults(const QtUserDefaults&) = delete;
    QtUserDefaults& operator=(const QtUserDefaults&) = delete;

    [[nodiscard]] std::optional<std::string> string(std::string_view key) const override;
    /// Logs a warning when the file cannot be written; the value still holds for this run.
    void setString(std::string_view key, const std::string& value) override;

    /// The file the values live in.
    [[nodiscard]] std::string fileName() const;
    /// Whether a value set since this store was made could not be written to the file.
    [[nodiscard]] bool saveFailed() const { return saveFailed_; }

private:
    std::unique_ptr<QSettings> settings_;
    bool saveFailed_ = false;
};

} // namespace lorvan
