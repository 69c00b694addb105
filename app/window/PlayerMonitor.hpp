#pragma once

#include "app/display/DotMatrixDisplayRenderer.hpp"
#include "playback/AudioDiscPlayer.hpp"

#include <QObject>
#include <QTimer>
#include <memory>
#include <optional>
#include <string>

namespace lorvan::window {

/// One reading of everything the window shows of the player.
struct PlayerSnapshot {
    std::shared_ptr<const AudioDisc> disc;
    AudioDiscPlayer::State state = AudioDiscPlayer::State::stopped;
    std::optional<long> track;
    std::optional<long> chapter;
    AudioDiscPlayer::Positions positions;
    AudioDiscPlayer::PlaybackTimecodeMode timeMode = AudioDiscPlayer::PlaybackTimecodeMode::trackElapsedTime;
    AudioDiscPlayer::RepeatMode repeat = AudioDiscPlayer::RepeatMode::none;
    bool shuffle = false;
    bool newBeat = false;
    bool rateControls = false;
    bool amplifier = false;
    float rate = 1.0F;
    float volume = 1.0F;
    double levelLeft = 0;
    double levelRight = 0;
    double buffering = 0;

    [[nodiscard]] bool sameAs(const PlayerSnapshot& other) const;
    /// The disc's sample rate; 44,100 without a disc.
    [[nodiscard]] double sampleRate() const;
    /// The frame count shown in the current time mode (negative inside a pregap).
    [[nodiscard]] std::int64_t shownFrames() const;
};

/// "3:07", "-0:02", "1:02:03": whole seconds, truncated towards zero.
[[nodiscard]] std::string clockText(std::int64_t frames, double sampleRate);
/// The track's title, else the release's; its performers joined by ", ".
[[nodiscard]] std::string trackTitle(const AudioDisc& disc, long track);
[[nodiscard]] std::string trackPerformer(const AudioDisc& disc, long track);
/// What the dot-matrix display shows for `snapshot`.
[[nodiscard]] DisplayState displayState(const PlayerSnapshot& snapshot);

/// Reads the player on the main thread and tells the window what changed: about 30 times a
/// second while playing, four times a second otherwise, and at once after the window acted.
class PlayerMonitor : public QObject {
    Q_OBJECT
public:
    explicit PlayerMonitor(std::shared_ptr<AudioDiscPlayer> player, QObject* parent = nullptr);

    [[nodiscard]] const PlayerSnapshot& snapshot() const { return snapshot_; }
    /// Reads the player now; emits what changed.
    void refresh();
    /// Stops reading (the player is going away).
    void detach();

signals:
    void changed();
    void discChanged();

private:
    std::weak_ptr<AudioDiscPlayer> player_;
    PlayerSnapshot snapshot_;
    QTimer timer_;
};

} // namespace lorvan::window
