#pragma once

#include <QDialog>
#include <QKeySequence>
#include <string>
#include <vector>

class QTabWidget;

namespace lorvan {

class AppearancePane;
class PlaybackPane;
class PlayerSettings;
class UserDefaults;
class UserUISettings;

/// "Preferences": the Appearance and Playback panes. Not modal; every change applies at once,
/// so there is nothing to confirm, only Close.
class PreferencesWindow : public QDialog {
    Q_OBJECT
public:
    /// What opens it from the menu (`showSettingsWindow:`).
    [[nodiscard]] static QKeySequence shortcut() { return QKeySequence(Qt::CTRL | Qt::Key_Comma); }

    /// Everything given must outlive the window.
    PreferencesWindow(UserUISettings& ui, PlayerSettings& player, UserDefaults& defaults,
                      std::vector<std::string> deviceNames, QWidget* parent = nullptr);

    [[nodiscard]] AppearancePane* appearance() const { return appearance_; }
    [[nodiscard]] PlaybackPane* playback() const { return playback_; }
    [[nodiscard]] QTabWidget* tabs() const { return tabs_; }

private:
    QTabWidget* tabs_;
    AppearancePane* appearance_;
    PlaybackPane* playback_;
};

} // namespace lorvan
