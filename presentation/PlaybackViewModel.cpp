#include "presentation/PlaybackViewModel.hpp"

#include "presentation/PlaybackDisplayState.hpp"

#include <mutex>
#include <set>
#include <utility>

namespace lorvan {

// MARK: - Values

std::int64_t PlaybackProgress::frames(AudioDiscPlayer::PlaybackTimecodeMode mode) const {
    switch (mode) {
    case AudioDiscPlayer::PlaybackTimecodeMode::trackElapsedTime:
        return trackElapsedFrames;
    case AudioDiscPlayer::PlaybackTimecodeMode::trackRemainingTime:
        return trackRemainingFrames;
    case AudioDiscPlayer::PlaybackTimecodeMode::discElapsedTime:
        return discElapsedFrames;
    case AudioDiscPlayer::PlaybackTimecodeMode::discRemainingTime:
        break;
    }
    return discRemainingFrames;
}

double PlaybackProgress::seconds(std::int64_t count) const {
    return sampleRate > 0 ? static_cast<double>(count) / sampleRate : 0.0;
}

namespace {

std::string joined(const std::optional<std::set<std::string>>& names) {
    std::string text;
    if (names)
        for (const std::string& name : *names)
            text += (text.empty() ? "" : ", ") + name;
    return text;
}

DiscSummary summary(std::shared_ptr<const AudioDisc> disc) {
    DiscSummary result;
    if (!disc) return result;
    const AudioDisc& d = *disc;
    result.totalFrames = d.data->totalFrameCount();
    if (!d.data->audioFiles().empty())
        result.sampleRate = d.data->audioFiles().front()->processingFormat().sampleRate;
    if (d.metadata) {
        result.title = d.metadata->releaseTitle.value_or("");
        result.performer = joined(d.metadata->releasePerformers);
    }
    if (d.artworkURL && !d.artworkURL->path().empty()) result.artworkPath = d.artworkURL->path().string();
    for (const AudioCue& cue : d.cues)
        result.cueMarkers.push_back(result.totalFrames > 0 ? static_cast<double>(cue.keyFrame) /
                                                                 static_cast<double>(result.totalFrames)
                                                           : 0.0);
    for (const AudioTrack& track : d.tracks) {
        TrackSummary row;
        row.number = track.index + 1;
        const std::size_t at = static_cast<std::size_t>(track.index);
        if (d.metadata && d.metadata->tracksMetadata && at < d.metadata->tracksMetadata->size()) {
            const AudioTrackMetadata& metadata = (*d.metadata->tracksMetadata)[at];
            row.title = metadata.title.value_or("");
            row.performer = joined(metadata.performers);
        }
        if (row.performer.empty()) row.performer = result.performer;
        row.startFrame = d.trackTableStartFrame(track);
        row.lengthFrames = d.trackLength(track, AudioDisc::TrackLengthMode::includingNextTrackPregap);
        if (track.cueIndices.size() > 1 && d.cues.at(track.cueIndices.front()).chapter == 0)
            row.pregapFrames = row.startFrame - d.cues.at(track.cueIndices.front()).keyFrame;
        result.tracks.push_back(std::move(row));
    }
    result.disc = std::move(disc);
    return result;
}

/// Sets `published` when `value` differs from what it holds; true when it did.
template <typename T> bool assign(Published<T>& published, T value) {
    if (published.value() == value) return false;
    published.set(std::move(value));
    return true;
}

} // namespace

// MARK: - Coalescing

/// What the player's callbacks share with the view model. The callbacks, from any thread, only
/// note that something changed; the main thread then publishes, paced by a gate that stays
/// closed for one interval after each publication: `publicationInterval`, or
/// `steadyPositionInterval` after a publication that only moved the position on with the music.
/// A change of anything else while that longer gate is closed shortens it again.
struct PlaybackViewModel::Inbox : std::enable_shared_from_this<PlaybackViewModel::Inbox> {
    explicit Inbox(std::shared_ptr<MainThreadExecutor> executor)
        : mainThread(std::move(executor)) {}

    /// Any thread. `steady`: only the position moved on with the music.
    void changed(bool jump, bool steady) {
        std::lock_guard lock(mutex);
        pending = true;
        jumped = jumped || jump;
        urgent = urgent || !steady;
        if (flushPosted) return;
        if (gateClosed) {
            if (!steady && longGate) {
                longGate = false;
                reopenAfter(publicationInterval, gateGeneration);
            }
            return;
        }
        flushPosted = true;
        // Weakly: the executor holds its work and the inbox holds the executor.
        mainThread->post([weak = weak_from_this()] {
            if (const auto self = weak.lock()) self->flush();
        });
    }

    /// Any thread: the player's position moved, to these counts. Steady unless `seeking`, or
    /// unless the time the faces show turned to another second.
    void positionsChanged(bool seeking, const PlaybackProgress& counts) {
        bool turned = false;
        {
            std::lock_guard lock(mutex);
            std::string time = displayTime(counts.frames(shownMode), shownSampleRate);
            turned = time != shownTime;
            shownTime = std::move(time);
        }
        changed(seeking, !seeking && !turned);
    }

    /// Main thread, at each publication: what the faces show the time in.
    void showing(TimecodeMode mode, double sampleRate) {
        std::lock_guard lock(mutex);
        shownMode = mode;
        shownSampleRate = sampleRate;
    }

    /// Main thread.
    void flush() {
        bool jump = false;
        bool wasUrgent = false;
        {
            std::lock_guard lock(mutex);
            flushPosted = false;
            if (!pending || gateClosed) return;
            pending = false;
            jump = std::exchange(jumped, false);
            wasUrgent = std::exchange(urgent, false);
        }
        // Cleared before reading the player: a change it makes while this runs notes itself again.
        if (owner == nullptr || !owner->publish(jump)) return;
        std::lock_guard lock(mutex);
        gateClosed = true;
        longGate = !wasUrgent;
        reopenAfter(longGate ? steadyPositionInterval : publicationInterval, ++gateGeneration);
    }

    /// Main thread. A gate closed again since `generation` has a timer of its own.
    void reopen(std::uint64_t generation) {
        {
            std::lock_guard lock(mutex);
            if (generation != gateGeneration) return;
            gateClosed = false;
            if (!pending || flushPosted) return;
        }
        flush();
    }

    /// With `mutex` held.
    void reopenAfter(std::chrono::milliseconds delay, std::uint64_t generation) {
        mainThread->postAfter(delay, [weak = weak_from_this(), generation] {
            if (const auto self = weak.lock()) self->reopen(generation);
        });
    }

    const std::shared_ptr<MainThreadExecutor> mainThread;
    /// Main thread; null once the view model has gone.
    PlaybackViewModel* owner = nullptr;

    std::mutex mutex;
    bool pending = false;
    bool jumped = false;
    /// Something besides a steady position change is pending.
    bool urgent = false;
    bool flushPosted = false;
    bool gateClosed = false;
    /// The gate closed for `steadyPositionInterval`, and nothing urgent has shortened it yet.
    bool longGate = false;
    std::uint64_t gateGeneration = 0;
    TimecodeMode shownMode = TimecodeMode::trackElapsedTime;
    double shownSampleRate = 0;
    /// The time as the faces show it at the last position reported.
    std::string shownTime;
};

// MARK: - View model

PlaybackViewModel::PlaybackViewModel(const std::shared_ptr<AudioDiscPlayer>& player,
                                     std::shared_ptr<MainThreadExecutor> mainThread)
    : player_(player)
    , inbox_(std::make_shared<Inbox>(std::move(mainThread))) {
    inbox_->owner = this;
    if (!player) return;
    takeCallbacks(*player);
    inbox_->changed(false, false);
}

PlaybackViewModel::~PlaybackViewModel() {
    inbox_->owner = nullptr;
    if (const auto player = player_.lock()) {
        // These run on the main thread only, so they can be let go of here; the player's own
        // callbacks may be running on the completion thread and stay, pointing at the inbox.
        player->amplifier().onUiLeftChannelAudioLevelChanged = nullptr;
        player->amplifier().onUiRightChannelAudioLevelChanged = nullptr;
        player->amplifier().onUiPlaybackVolumeChanged = nullptr;
        player->bufferingMeter().onDisplayLevelChanged = nullptr;
    }
}

bool PlaybackViewModel::changesPending() const {
    std::lock_guard lock(inbox_->mutex);
    return inbox_->pending || inbox_->flushPosted;
}

void PlaybackViewModel::takeCallbacks(AudioDiscPlayer& player) {
    const std::weak_ptr<Inbox> weak = inbox_;
    const auto note = [weak](bool jump, bool steady = false) {
        if (const auto inbox = weak.lock()) inbox->changed(jump, steady);
    };
    player.onPlayerStateChanged = [note](State) { note(false); };
    player.onCurrentTrackIndexChanged = [note](std::optional<long>) { note(false); };
    player.onCurrentChapterChanged = [note](std::optional<long>) { note(false); };
    player.onPositionsChanged = [weak](bool seeking, bool, double, std::int64_t, std::int64_t discElapsed,
                                       std::int64_t discRemaining, std::int64_t trackElapsed,
                                       std::int64_t trackRemaining) {
        PlaybackProgress counts;
        counts.trackElapsedFrames = trackElapsed;
        counts.trackRemainingFrames = trackRemaining;
        counts.discElapsedFrames = discElapsed;
        counts.discRemainingFrames = discRemaining;
        if (const auto inbox = weak.lock()) inbox->positionsChanged(seeking, counts);
    };
    player.onRepeatModeChanged = [note](RepeatMode) { note(false); };
    player.onShuffleChanged = [note](bool) { note(false); };
    player.onNewBeatModeChanged = [note](bool) { note(false); };
    player.onPlaybackMainTimecodeModeChanged = [note](TimecodeMode) { note(false); };
    player.onNewDiscInserted = [note](const std::optional<AudioDisc>&) { note(true); };
    player.onRateControlsActiveChanged = [note](bool) { note(false); };
    player.onAmplifierActiveChanged = [note](bool) { note(false); };
    player.onPlaybackSequenceChanged = [note] { note(false); };
    player.onPlaybackRateChanged = [note](float) { note(false); };
    player.amplifier().onUiLeftChannelAudioLevelChanged = [note](double) { note(false); };
    player.amplifier().onUiRightChannelAudioLevelChanged = [note](double) { note(false); };
    player.amplifier().onUiPlaybackVolumeChanged = [note](float) { note(false); };
    player.bufferingMeter().onDisplayLevelChanged = [note](double) { note(false); };
}

bool PlaybackViewModel::publish(bool jumped) {
    const auto player = player_.lock();
    if (!player) return false;
    bool changed = false;

    auto shared = player->disc();
    if (disc.value().disc != shared) changed = assign(disc, summary(std::move(shared))) || changed;
    const DiscSummary& current = disc.value();
    changed =
        assign(playbackSequence, current.disc ? player->playbackSequence() : std::vector<long>{}) || changed;
    std::optional<long> track = player->currentTrackIndex();
    if (track && static_cast<std::size_t>(*track) >= current.tracks.size()) track.reset();
    changed = assign(currentTrackIndex, track) || changed;
    changed = assign(currentChapter, current.disc ? player->currentChapter() : std::nullopt) || changed;
    changed = assign(state, player->state()) || changed;

    const AudioDiscPlayer::Positions positions = player->positions();
    PlaybackProgress next;
    next.discInPlayer = positions.discInPlayer;
    next.sampleRate = current.sampleRate;
    next.normalizedDiscPosition = positions.normalizedDiscPosition;
    next.discFramePosition = positions.discFramePosition;
    next.trackElapsedFrames = positions.currentTrackFramePosition;
    next.trackRemainingFrames = positions.currentTrackCountdownFramePosition;
    next.discElapsedFrames = positions.discPlaybackFramePosition;
    next.discRemainingFrames = positions.discPlaybackCountdownFramePosition;
    PlaybackProgress previous = progress_.progress.value();
    previous.jumped = false;
    if (jumped || next != previous) {
        next.jumped = jumped;
        progress_.progress.set(next);
        changed = true;
    }

    changed = assign(timecodeMode, player->playbackTimecodeMode()) || changed;
    inbox_->showing(timecodeMode.value(), current.sampleRate);
    changed = assign(repeatMode, player->repeatMode()) || changed;
    changed = assign(shuffle, player->shuffle()) || changed;
    changed = assign(rate, player->playbackRate()) || changed;
    changed = assign(newBeat, player->newBeatMode()) || changed;
    changed = assign(rateControlsShown, player->rateControlsAreActive()) || changed;
    const bool amplifierOn = player->amplifierIsActive();
    changed = assign(amplifier, amplifierOn) || changed;
    const float playerVolume = player->volume();
    changed = assign(volume, playerVolume) || changed;
    changed = assign(muted, amplifierOn && playerVolume == 0.0F) || changed;
    changed = assign(levelLeft, amplifierOn ? player->amplifier().uiLeftChannelAudioLevel() : 0.0) || changed;
    changed =
        assign(levelRight, amplifierOn ? player->amplifier().uiRightChannelAudioLevel() : 0.0) || changed;
    changed = assign(readAhead, player->bufferingMeter().displayLevel()) || changed;

    if (changed) updated.set(updated.value() + 1);
    return changed;
}

} // namespace lorvan
