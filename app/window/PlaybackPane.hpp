#pragma once

#include "playback/AudioDiscPlayer.hpp"
#include "presentation/PlayerSettings.hpp"

#include <QWidget>
#include <string>
#include <vector>

class QComboBox;
class QRadioButton;

namespace lorvan {

class UserDefaults;

/// The Playback pane: the repeat mode, the sound device (the system's default or one PortAudio
/// lists) and whether an opened disc plays at once or waits. Every choice is stored at once.
class PlaybackPane : public QWidget {
    Q_OBJECT
public:
    using RepeatMode = AudioDiscPlayer::RepeatMode;

    /// `deviceNames` are the output devices to offer. `settings` and `defaults` must outlive
    /// the pane; the repeat mode is read from and written to `defaults` under the player's key.
    PlaybackPane(PlayerSettings& settings, UserDefaults& defaults, std::vector<std::string> deviceNames,
                 QWidget* parent = nullptr);

    /// Shows a repeat mode chosen elsewhere (the Controls menu) without storing or signalling it.
    void showRepeatMode(RepeatMode mode);

    [[nodiscard]] QComboBox* repeatBox() const { return repeat_; }
    [[nodiscard]] QComboBox* deviceBox() const { return device_; }
    [[nodiscard]] QRadioButton* playAtOnceButton() const { return playAtOnce_; }
    [[nodiscard]] QRadioButton* waitButton() const { return wait_; }

signals:
    /// The user chose a repeat mode here; it is already stored. The window applies it to the player.
    void repeatModeChosen(AudioDiscPlayer::RepeatMode mode);

private:
    PlayerSettings& settings_;
    UserDefaults& defaults_;
    QComboBox* repeat_;
    QComboBox* device_;
    QRadioButton* playAtOnce_;
    QRadioButton* wait_;
    Published<std::string>::Subscription deviceWatch_;
    Published<bool>::Subscription playWatch_;
};

} // namespace lorvan
