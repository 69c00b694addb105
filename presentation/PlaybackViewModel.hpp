#pragma once

#include "playback/AudioDiscPlayer.hpp"
#include "presentation/Published.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lorvan {

/// One row of the track list, as the faces show it.
struct TrackSummary {
    long number = 0; ///< 1 for the disc's first track
    std::string title;
    /// The track's performers, else the disc's, joined with ", ".
    std::string performer;
    /// From INDEX 01 to the next track's first cue, its INDEX 00 when it has a pregap (the last
    /// track runs to the end of the disc): with the pregaps, the tracks add up to the disc.
    std::int64_t lengthFrames = 0;
    /// From INDEX 00 to INDEX 01; 0 without a pregap.
    std::int64_t pregapFrames = 0;
    /// Where the track's INDEX 01 is on the disc.
    std::int64_t startFrame = 0;

    friend bool operator==(const TrackSummary&, const TrackSummary&) = default;
};

/// The inserted disc and what the faces read from it once per disc.
struct DiscSummary {
    /// The disc itself (its tracks and cues, for the navigator); null when the player is empty.
    std::shared_ptr<const AudioDisc> disc;
    std::string title;
    /// The release's performers joined with ", ".
    std::string performer;
    /// The artwork file beside the disc, if it has one.
    std::optional<std::string> artworkPath;
    /// Each cue's key frame as a fraction of the disc's frames, in cue order.
    std::vector<double> cueMarkers;
    std::vector<TrackSummary> tracks;
    /// The rate of the disc's first file, which every frame count of the disc is in; 0 without a disc.
    double sampleRate = 0;
    std::int64_t totalFrames = 0;

    friend bool operator==(const DiscSummary&, const DiscSummary&) = default;
};

/// Where the player is, as it counts it. Frame counts at `sampleRate`.
struct PlaybackProgress {
    bool discInPlayer = false;
    double sampleRate = 0;
    /// 0...1 of the disc's frames: the cursor of the progress bar and of the navigator.
    double normalizedDiscPosition = 0;
    std::int64_t discFramePosition = 0;
    /// The time of each mode: negative inside a pregap (the track's, or for the disc the first
    /// track's); the remaining times count the frames left as negative numbers, and inside a
    /// pregap the track's remaining time is what the player defines there.
    std::int64_t trackElapsedFrames = 0;
    std::int64_t trackRemainingFrames = 0;
    std::int64_t discElapsedFrames = 0;
    std::int64_t discRemainingFrames = 0;
    /// The position jumped since the previous publication (a seek, a track or chapter change by
    /// the user or by repeat and shuffle, a stop, another disc) instead of moving on with the
    /// music. Desktop media controls announce each jump; steady play they leave alone.
    bool jumped = false;

    /// The time the display shows in `mode`, in frames.
    [[nodiscard]] std::int64_t frames(AudioDiscPlayer::PlaybackTimecodeMode mode) const;
    /// `frames` in seconds; 0 without a rate.
    [[nodiscard]] double seconds(std::int64_t frames) const;

    friend bool operator==(const PlaybackProgress&, const PlaybackProgress&) = default;
};

class PlaybackViewModel;

/// The position of the player, republished as `PlaybackViewModel` paces its publications.
///
/// Threading: main thread only. Every value is set on the main thread by the owning
/// `PlaybackViewModel`; observers run there.
class ProgressViewModel {
public:
    ProgressViewModel(const ProgressViewModel&) = delete;
    ProgressViewModel& operator=(const ProgressViewModel&) = delete;

    Published<PlaybackProgress> progress{PlaybackProgress{}};

private:
    friend class PlaybackViewModel;
    ProgressViewModel() = default;
};

/// The player's state for the faces of one process (the window, the terminal status screen,
/// the desktop media controls), republished as values they observe.
///
/// It is the player's one observer: it takes every callback of the player, its amplifier and
/// its buffering meter, so it is made right after the player and before the first disc goes
/// in, and there is at most one per player. The faces observe the view model only, and act by
/// calling the player.
///
/// Threading. Construction, destruction, the `Published` values and their observers belong to
/// the main thread. The player reports positions, tracks and chapters from the engine's
/// completion thread while it plays; those reports only note that something changed. The
/// values are then read from the player and published on the main thread, together and in the
/// order declared below, at most once per `publicationInterval` (once per
/// `steadyPositionInterval` while only the position moves on with the music): many reports
/// within one interval give one publication carrying the newest values. A publication sets only the
/// values that changed, and while nothing changes nothing is published and no timer runs.
/// An observer that needs several values consistent with each other subscribes to `updated`,
/// which is set last in each publication that changed anything.
///
/// Lifetime. The view model holds the player weakly. The player's callbacks hold only a small
/// shared inbox, so the view model may go first; the player's callbacks then do nothing.
class PlaybackViewModel {
public:
    using State = AudioDiscPlayer::State;
    using RepeatMode = AudioDiscPlayer::RepeatMode;
    using TimecodeMode = AudioDiscPlayer::PlaybackTimecodeMode;

    /// About 30 publications a second: the display's frame rate, at which the meters move.
    static constexpr std::chrono::milliseconds publicationInterval{33};
    /// While nothing but the position moves on with the music, 4 publications a second, and
    /// one within `publicationInterval` when the time shown in the current mode turns to another
    /// second: the seconds turn over on time, and on a real disc the navigator's cursor moves a
    /// pixel every few seconds anyway. Each publication costs every face a wake-up.
    static constexpr std::chrono::milliseconds steadyPositionInterval{250};

    /// Takes the player's callbacks; the player's current state follows in the first publication.
    PlaybackViewModel(const std::shared_ptr<AudioDiscPlayer>& player,
                      std::shared_ptr<MainThreadExecutor> mainThread);
    ~PlaybackViewModel();
    PlaybackViewModel(const PlaybackViewModel&) = delete;
    PlaybackViewModel& operator=(const PlaybackViewModel&) = delete;

    /// The player the faces call; null once it is gone.
    [[nodiscard]] std::shared_ptr<AudioDiscPlayer> player() const { return player_.lock(); }
    /// True while something the player reported has yet to be published (it will be, within
    /// `publicationInterval`); scripts and tests wait for it to clear. Main thread.
    [[nodiscard]] bool changesPending() const;

    // In publication order.
    Published<DiscSummary> disc{DiscSummary{}};
    /// Track indices in playing order (shuffled or not).
    Published<std::vector<long>> playbackSequence{std::vector<long>{}};
    /// Index into the disc's tracks; none without a disc.
    Published<std::optional<long>> currentTrackIndex{std::nullopt};
    /// The INDEX number of the current cue (0 in a pregap); none before playback first moves
    /// after a disc goes in.
    Published<std::optional<long>> currentChapter{std::nullopt};
    Published<State> state{State::stopped};
    /// The position; in its own object because it changes with the music.
    [[nodiscard]] ProgressViewModel& progress() { return progress_; }
    [[nodiscard]] const ProgressViewModel& progress() const { return progress_; }
    Published<TimecodeMode> timecodeMode{TimecodeMode::trackElapsedTime};
    Published<RepeatMode> repeatMode{RepeatMode::none};
    Published<bool> shuffle{false};
    Published<float> rate{1.0F};
    Published<bool> newBeat{false};
    /// Whether the rate dial is shown.
    Published<bool> rateControlsShown{false};
    Published<bool> amplifier{false};
    /// The player's volume, 0...1 (always 1 with the amplifier off).
    Published<float> volume{1.0F};
    /// Muted: the amplifier is on and the volume is 0.
    Published<bool> muted{false};
    /// The level meters, 0...1 in steps of 0.05; they rest at 0 unless the amplifier is on.
    Published<double> levelLeft{0.0};
    Published<double> levelRight{0.0};
    /// How full the read-ahead is, 0...1 in tenths.
    Published<double> readAhead{0.0};
    /// Counts the publications that changed something; set after every other value.
    Published<std::uint64_t> updated{0};

private:
    struct Inbox;
    /// Reads the player and sets what changed; false when nothing did.
    bool publish(bool jumped);
    void takeCallbacks(AudioDiscPlayer& player);

    std::weak_ptr<AudioDiscPlayer> player_;
    std::shared_ptr<Inbox> inbox_;
    ProgressViewModel progress_;
};

} // namespace lorvan
