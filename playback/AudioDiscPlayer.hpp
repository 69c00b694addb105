#pragma once

#include "core/Url.hpp"
#include "core/UserDefaults.hpp"
#include "disc/AudioDisc.hpp"
#include "disc/AudioDiscServices.hpp"
#include "playback/AudioAmplifier.hpp"
#include "playback/AudioBufferingMeter.hpp"
#include "playback/AudioEngine.hpp"
#include "playback/PlaybackSequence.hpp"
#include "playback/WorkQueue.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

namespace lorvan {

/// What the player reports as its error state. Nothing raises it yet; the interface can show it.
enum class AudioDiscPlayerError { noError, dummy };

/// "No Error", "Dummy".
[[nodiscard]] std::string_view description(AudioDiscPlayerError error);

/// The compact-disc player: one disc at a time, played gaplessly from a read-ahead of PCM
/// buffers, with the transport, track and chapter navigation, repeat, shuffle, varispeed,
/// volume and meters of a CD deck.
///
/// Threads. Every public operation is called on the main thread unless its comment says
/// otherwise. Reading ahead runs on the "populateDequeQueue" serial queue, handing buffers to
/// the player node on the "scheduleBufferQueue" serial queue; the node reports consumed buffers
/// on the engine's completion thread, which advances the position. Work queued anywhere holds
/// the player through a `std::weak_ptr` and does nothing once it is gone.
///
/// Callbacks. Set them before the first disc goes in. All of them are called on the main
/// thread, except the ones the position step makes while playing: `onPositionsChanged`,
/// `onCurrentTrackIndexChanged` and `onCurrentChapterChanged` then come from the completion
/// thread, and their receivers hop to the main thread themselves. No lock of the player is held
/// while a callback runs, so a callback may call back into the player (from the main thread).
class AudioDiscPlayer : public std::enable_shared_from_this<AudioDiscPlayer> {
public:
    enum class State { stopped, playing, paused };
    using RepeatMode = lorvan::RepeatMode;
    enum class PlaybackTimecodeMode {
        trackElapsedTime,
        trackRemainingTime,
        discElapsedTime,
        discRemainingTime
    };
    /// Record-speed conversions; only `newBeat` is used by the player.
    enum class PlaybackRateType { v78as33, v78as45, v45as33, v33as45, v45as78, v33as78, newBeat };

    /// "None", "Current Track", "Entire Disc": what is persisted and what the preferences show.
    [[nodiscard]] static std::string_view rawValue(RepeatMode mode);
    [[nodiscard]] static std::optional<RepeatMode> repeatMode(std::string_view rawValue);
    /// The rate that plays a record cut at the first speed as if it were turning at the second
    /// (v45as33 = 33⅓ ÷ 45); New Beat is 0.8, a 45 played at 33⅓ with +8 % pitch.
    [[nodiscard]] static float rate(PlaybackRateType type);

    static constexpr std::string_view repeatModeDefaultsKey = "selectedRepeatMode";
    /// The audio in one buffer of the read-ahead, in seconds.
    static constexpr double bufferSeconds = 0.02;
    /// How much an output that keeps its own clock (the null output) renders at a time: one
    /// meter reading's worth while the meters show, three times that otherwise. Every block
    /// wakes the completion, scheduling and reading threads, and the time and the cursor need
    /// no finer steps.
    static constexpr std::chrono::milliseconds meteredOutputBlock{
        static_cast<long>(AudioAmplifier::buffersPerRefresh * bufferSeconds * 1000 + 0.5)};
    static constexpr std::chrono::milliseconds unmeteredOutputBlock = 3 * meteredOutputBlock;
    static constexpr long readAheadLimit = 50;
    static constexpr long schedulingLimit = 450;
    static constexpr float minimumRate = 0.25F;
    static constexpr float maximumRate = 4.0F;
    static constexpr float newBeatRate = 0.8F;
    /// The golden ratio, in seconds: previous track restarts the current one from this far in.
    static constexpr double restartThresholdSeconds = 1.618033988749895;

    /// Picks an index uniformly in `first`...`last` (both included). Shuffling draws from it.
    using RandomIndex = PlaybackSequence::RandomIndex;

    struct Dependencies {
        std::shared_ptr<AudioEngine> engine;
        std::shared_ptr<SerialQueue> populateDequeQueue;
        std::shared_ptr<SerialQueue> scheduleBufferQueue;
        std::shared_ptr<MainThreadExecutor> mainThread;
        std::shared_ptr<UserDefaults> userDefaults;
        /// Empty: a generator seeded from the system's random device.
        RandomIndex randomIndex;
    };

    /// The player with no disc, stopped, its repeat mode read from the user defaults.
    [[nodiscard]] static std::shared_ptr<AudioDiscPlayer> create(Dependencies dependencies);
    ~AudioDiscPlayer();
    AudioDiscPlayer(const AudioDiscPlayer&) = delete;
    AudioDiscPlayer& operator=(const AudioDiscPlayer&) = delete;

    // MARK: Disc

    /// Inserts `disc`, connects the graph in its first file's processing format and starts the
    /// engine (an `AudioEngineError` reaches the caller); then plays when `autoplay`.
    void load(AudioDisc disc, bool autoplay);
    /// Reads the cue sheet, assembles its disc and loads it. An error of either step reaches the
    /// caller, already logged, and leaves the player as it was.
    void openCueSheet(const Url& cueSheetURL, bool autoplay, const AudioDiscServices& services);
    /// Replaces the disc (none ejects) and resets everything: stopped at track 1, INDEX 01.
    void insertDisc(std::optional<AudioDisc> disc);

    // MARK: Transport and navigation

    void play();
    void playPause();
    /// Playing or paused: stop at the start. Stopped: eject.
    void stopEject();
    /// Out-of-range frames become 0. From the stopped state this starts playback; while paused
    /// the pause is kept unless `forcePlay`.
    void seekToFrame(std::int64_t frame, bool forcePlay);
    /// Seeks to the cue of track `trackIndex` that bears `chapter` (0 is the pregap); nothing
    /// when the track or the chapter does not exist.
    void goToTrack(long trackIndex, long chapter, bool forcePlay);
    void previousTrack();
    void nextTrack();
    void previousChapter();
    void nextChapter();
    void toggleShuffle();
    void setRepeatMode(RepeatMode mode);
    void setPlaybackTimecodeMode(PlaybackTimecodeMode mode);

    /// The sequence position after or before `index` under the current repeat mode; none at the
    /// end (next, repeat none), out of range or without a disc.
    [[nodiscard]] std::optional<long> nextSequenceIndex(long index) const;
    [[nodiscard]] std::optional<long> previousSequenceIndex(long index) const;
    /// Frames into a track from which previous track restarts it instead of going back.
    [[nodiscard]] std::int64_t restartThresholdFrames() const;

    // MARK: Rate

    /// Clamped to 0.25...4.0 with a warning; logs "New playback rate".
    void setPlaybackRate(float rate);
    [[nodiscard]] float playbackRate() const;
    void increaseSpeed();
    void decreaseSpeed();
    void resetSpeed();
    void toggleBeat();
    void setRateControlsAreActive(bool active);
    /// The rate for a drag at `x` points on the 228-point rate slider.
    [[nodiscard]] static float rateForSliderPosition(double x);

    // MARK: Volume

    /// Only 1.0 can be set while the amplifier is off; clamped to 0...1 with a warning.
    void setVolume(float volume);
    [[nodiscard]] float volume() const;
    void increaseVolume();
    void decreaseVolume();
    void toggleMute();
    void setAmplifierIsActive(bool active);

    // MARK: State (any thread)

    [[nodiscard]] std::shared_ptr<const AudioDisc> disc() const;
    [[nodiscard]] State state() const { return state_.load(); }
    [[nodiscard]] RepeatMode repeatMode() const { return repeatMode_.load(); }
    [[nodiscard]] bool shuffle() const { return shuffle_.load(); }
    [[nodiscard]] bool newBeatMode() const { return newBeatMode_.load(); }
    [[nodiscard]] float volumeBeforeMute() const { return volumeBeforeMute_.load(); }
    [[nodiscard]] bool amplifierIsActive() const { return amplifierIsActive_.load(); }
    [[nodiscard]] bool rateControlsAreActive() const { return rateControlsAreActive_.load(); }
    [[nodiscard]] std::int64_t discFramePosition() const { return discFramePosition_.load(); }
    [[nodiscard]] bool hasReachedEndOfPlaylist() const { return hasReachedEndOfPlaylist_.load(); }
    [[nodiscard]] bool lastFrameReachedWhilePaused() const { return lastFrameReachedWhilePaused_.load(); }
    [[nodiscard]] std::optional<long> currentTrackIndex() const {
        return optionalIndex(currentTrackIndex_.load());
    }
    [[nodiscard]] std::optional<long> currentChapter() const { return optionalIndex(currentChapter_.load()); }
    [[nodiscard]] AudioDiscPlayerError error() const { return error_.load(); }
    [[nodiscard]] std::vector<long> playbackSequence() const;
    [[nodiscard]] long currentPlaybackSequenceIndex() const { return currentPlaybackSequenceIndex_.load(); }
    [[nodiscard]] long currentCueIndex() const { return currentCueIndex_.load(); }
    [[nodiscard]] PlaybackTimecodeMode playbackTimecodeMode() const { return playbackTimecodeMode_.load(); }
    [[nodiscard]] bool playbackIsResetting() const { return playbackIsResetting_.load(); }
    [[nodiscard]] bool discIsAcuratelyRipped() const { return discIsAcuratelyRipped_.load(); }
    void setDiscIsAcuratelyRipped(bool ripped) { discIsAcuratelyRipped_.store(ripped); }

    [[nodiscard]] std::int64_t currentBufferingPosition() const;
    [[nodiscard]] long currentDequeIndex() const;
    [[nodiscard]] long dequeCount() const;
    [[nodiscard]] long currentlyScheduledBuffers() const;
    /// Frames per buffer: 20 ms at the disc's first file's rate; 0 without a disc.
    [[nodiscard]] std::uint32_t bufferCapacity() const;

    [[nodiscard]] AudioAmplifier& amplifier() const { return *amplifier_; }
    [[nodiscard]] AudioBufferingMeter& bufferingMeter() const { return *bufferingMeter_; }

    /// All frame counts; see `onPositionsChanged`.
    struct Positions {
        bool discInPlayer = false;
        double normalizedDiscPosition = 0.0;
        std::int64_t discFramePosition = 0;
        std::int64_t discPlaybackFramePosition = 0;
        std::int64_t discPlaybackCountdownFramePosition = 0;
        std::int64_t currentTrackFramePosition = 0;
        std::int64_t currentTrackCountdownFramePosition = 0;
    };
    /// Any thread.
    [[nodiscard]] Positions positions() const;

    // MARK: Reading ahead (normally driven by the player itself)

    /// Any thread: starts a reading pass on the reader queue unless resetting, without a disc,
    /// or when the reading position is at the disc's last frame or beyond.
    void fill();
    /// Any thread: starts a scheduling pass on the scheduler queue unless resetting or without a disc.
    void schedule();
    /// Main thread: flushes the node and the read-ahead and rewinds the disc's files.
    void reset();

    // MARK: Callbacks

    std::function<void(State)> onPlayerStateChanged;
    std::function<void(std::optional<long>)> onCurrentTrackIndexChanged;
    std::function<void(std::optional<long>)> onCurrentChapterChanged;
    /// seeking, discInPlayer, normalizedDiscPosition, discFramePosition, discPlaybackFramePosition,
    /// discPlaybackCountdownFramePosition, currentTrackFramePosition, currentTrackCountdownFramePosition.
    std::function<void(bool, bool, double, std::int64_t, std::int64_t, std::int64_t, std::int64_t,
                       std::int64_t)>
        onPositionsChanged;
    std::function<void(RepeatMode)> onRepeatModeChanged;
    std::function<void(bool)> onShuffleChanged;
    std::function<void(bool)> onNewBeatModeChanged;
    std::function<void(PlaybackTimecodeMode)> onPlaybackMainTimecodeModeChanged;
    std::function<void(const std::optional<AudioDisc>&)> onNewDiscInserted;
    std::function<void(bool)> onRateControlsActiveChanged;
    std::function<void(bool)> onAmplifierActiveChanged;
    std::function<void()> onPlaybackSequenceChanged;
    std::function<void(float)> onPlaybackRateChanged;

private:
    explicit AudioDiscPlayer(Dependencies dependencies);

    using Sequence = PlaybackSequence;
    struct Snapshot {
        std::shared_ptr<const AudioDisc> disc;
        std::shared_ptr<const Sequence> sequence;
    };
    [[nodiscard]] Snapshot snapshot() const;
    /// The current chapter and the track at the current sequence entry, which chapter
    /// navigation moves within; none without a disc or with the indices out of range.
    struct ChapterPlace {
        Snapshot snapshot;
        long chapter;
        long trackIndex;
        const AudioTrack* track;
    };
    [[nodiscard]] std::optional<ChapterPlace> chapterPlace() const;
    void setSequence(Sequence sequence);
    [[nodiscard]] static std::optional<long> optionalIndex(long value) {
        return value < 0 ? std::nullopt : std::optional<long>(value);
    }

    void setState(State state);
    void notifyPositions(bool seeking);
    [[nodiscard]] Positions positions(const Snapshot& snapshot) const;
    void positionStep();
    void trackFromSequence(const Sequence& sequence);
    void chapterStep(const AudioDisc& disc, long cueIndex);
    void modeChanged();
    void seekToFrameCore(std::int64_t frame);
    void stopAtStart();
    /// INDEX 01 of the first sequence entry: where a stop rests.
    [[nodiscard]] std::int64_t sequenceStartFrame() const;
    void endOfDisc();
    void postToMain(std::function<void(AudioDiscPlayer&)> work);
    [[nodiscard]] RepeatMode persistedRepeatMode() const;

    void readAhead();
    void scheduleBuffers();
    void bufferConsumed(const std::shared_ptr<const PCMBuffer>& buffer);
    void updateBufferingMeter();
    [[nodiscard]] static std::int64_t endFrame(const AudioDisc& disc);

    std::shared_ptr<AudioEngine> audioEngine_;
    AudioPlayerNode& audioPlayerNode_;
    AudioVarispeed& audioVarispeedNode_;
    std::shared_ptr<SerialQueue> populateDequeQueue_;
    std::shared_ptr<SerialQueue> scheduleBufferQueue_;
    std::shared_ptr<MainThreadExecutor> mainThread_;
    std::shared_ptr<UserDefaults> userDefaults_;
    RandomIndex randomIndex_;

    // The disc and the playback sequence are replaced wholesale on the main thread and read by
    // the queues and the completion thread through shared snapshots.
    mutable std::mutex modelMutex_;
    std::shared_ptr<const AudioDisc> disc_;
    std::shared_ptr<const Sequence> playbackSequence_;

    /// Whether the last read failed; only the reader queue touches it. Retries of a failing
    /// read stay silent until a read succeeds, so one bad frame or a deleted file is one
    /// message, not one per retry.
    bool readFailing_ = false;

    // The read-ahead is shared by the reader, the scheduler, the completion thread and resets.
    mutable std::mutex pipelineMutex_;
    std::int64_t currentBufferingPosition_ = 0;
    long currentDequeIndex_ = 0;
    /// New buffers go in at the front; the scheduler takes the oldest from the back.
    std::deque<std::shared_ptr<const PCMBuffer>> deque_;
    long currentlyScheduledBuffers_ = 0;

    std::shared_ptr<AudioBufferingMeter> bufferingMeter_;
    std::shared_ptr<AudioAmplifier> amplifier_;

    std::atomic<RepeatMode> repeatMode_{RepeatMode::none};
    std::atomic<bool> shuffle_{false};
    std::atomic<bool> newBeatMode_{false};
    std::atomic<float> volumeBeforeMute_{1.0F};
    std::atomic<bool> amplifierIsActive_{false};
    std::atomic<bool> rateControlsAreActive_{false};
    std::atomic<State> state_{State::stopped};
    std::atomic<std::int64_t> discFramePosition_{0};
    std::atomic<bool> hasReachedEndOfPlaylist_{false};
    std::atomic<bool> lastFrameReachedWhilePaused_{false};
    std::atomic<long> currentTrackIndex_{-1};
    std::atomic<long> currentChapter_{-1};
    std::atomic<AudioDiscPlayerError> error_{AudioDiscPlayerError::noError};
    std::atomic<long> currentPlaybackSequenceIndex_{0};
    std::atomic<long> currentCueIndex_{0};
    std::atomic<bool> playbackIsResetting_{false};
    // A reading or scheduling pass is queued and has not started yet: it will see whatever
    // changes before it starts, so asking for another would only cost a hop and a wake-up.
    std::atomic<bool> fillQueued_{false};
    std::atomic<bool> scheduleQueued_{false};
    std::atomic<bool> discIsAcuratelyRipped_{false};
    std::atomic<PlaybackTimecodeMode> playbackTimecodeMode_{PlaybackTimecodeMode::trackElapsedTime};
};

} // namespace lorvan
