#include "playback/AudioDiscPlayer.hpp"

#include "core/Checked.hpp"
#include "core/FatalError.hpp"
#include "cuesheet/CueSheet.hpp"

#include <algorithm>
#include <random>

namespace lorvan {

std::string_view description(AudioDiscPlayerError error) {
    return error == AudioDiscPlayerError::noError ? "No Error" : "Dummy";
}

namespace {

[[nodiscard]] const AudioTrack* trackOf(const AudioDisc& disc, long trackIndex) {
    if (trackIndex < 0 || static_cast<std::size_t>(trackIndex) >= disc.tracks.size()) return nullptr;
    return &disc.tracks[static_cast<std::size_t>(trackIndex)];
}

[[nodiscard]] bool hasPregapCue(const AudioDisc& disc, const AudioTrack& track) {
    return track.cueIndices.size() > 1 && disc.cues.at(track.cueIndices.front()).chapter == 0;
}

[[nodiscard]] std::int64_t index01Frame(const AudioDisc& disc, const AudioTrack& track) {
    return disc.trackTableStartFrame(track);
}

[[nodiscard]] std::int64_t pregapLength(const AudioDisc& disc, const AudioTrack& track) {
    if (!hasPregapCue(disc, track)) return 0;
    return checkedSubtract(index01Frame(disc, track), disc.cues.at(track.cueIndices.front()).keyFrame);
}

/// From INDEX 01 to the next track's first cue, so that the next track's pregap counts as the
/// next track's, as the position step does.
[[nodiscard]] std::int64_t lengthFromIndex01(const AudioDisc& disc, const AudioTrack& track) {
    return disc.trackLength(track, AudioDisc::TrackLengthMode::includingNextTrackPregap);
}

[[nodiscard]] std::optional<long> cueContaining(const AudioDisc& disc, std::int64_t frame) {
    std::optional<long> found;
    for (std::size_t i = 0; i < disc.cues.size(); ++i) {
        if (disc.cues[i].keyFrame > frame) break;
        found = static_cast<long>(i);
    }
    return found;
}

[[nodiscard]] std::int64_t discPlaybackStart(const AudioDisc& disc) {
    if (disc.tracks.empty()) return 0;
    return index01Frame(disc, disc.tracks.front());
}

} // namespace

// MARK: - Types

std::string_view AudioDiscPlayer::rawValue(RepeatMode mode) {
    switch (mode) {
    case RepeatMode::none:
        return "None";
    case RepeatMode::track:
        return "Current Track";
    case RepeatMode::disc:
        return "Entire Disc";
    }
    return "None";
}

std::optional<AudioDiscPlayer::RepeatMode> AudioDiscPlayer::repeatMode(std::string_view raw) {
    for (RepeatMode mode : {RepeatMode::none, RepeatMode::track, RepeatMode::disc})
        if (rawValue(mode) == raw) return mode;
    return std::nullopt;
}

float AudioDiscPlayer::rate(PlaybackRateType type) {
    constexpr double rpm33 = 100.0 / 3.0;
    switch (type) {
    case PlaybackRateType::v78as33:
        return static_cast<float>(rpm33 / 78.0);
    case PlaybackRateType::v78as45:
        return static_cast<float>(45.0 / 78.0);
    case PlaybackRateType::v45as33:
        return static_cast<float>(rpm33 / 45.0);
    case PlaybackRateType::v33as45:
        return static_cast<float>(45.0 / rpm33);
    case PlaybackRateType::v45as78:
        return static_cast<float>(78.0 / 45.0);
    case PlaybackRateType::v33as78:
        return static_cast<float>(78.0 / rpm33);
    case PlaybackRateType::newBeat:
        return newBeatRate;
    }
    return 1.0F;
}

// MARK: - Life cycle

std::shared_ptr<AudioDiscPlayer> AudioDiscPlayer::create(Dependencies dependencies) {
    if (!dependencies.engine || !dependencies.populateDequeQueue || !dependencies.scheduleBufferQueue ||
        !dependencies.mainThread || !dependencies.userDefaults)
        fatalError("AudioDiscPlayer needs an engine, two queues, a main thread and user defaults");
    return std::shared_ptr<AudioDiscPlayer>(new AudioDiscPlayer(std::move(dependencies)));
}

AudioDiscPlayer::AudioDiscPlayer(Dependencies dependencies)
    : audioEngine_(std::move(dependencies.engine))
    , audioPlayerNode_(audioEngine_->playerNode())
    , audioVarispeedNode_(audioEngine_->varispeed())
    , populateDequeQueue_(std::move(dependencies.populateDequeQueue))
    , scheduleBufferQueue_(std::move(dependencies.scheduleBufferQueue))
    , mainThread_(std::move(dependencies.mainThread))
    , userDefaults_(std::move(dependencies.userDefaults))
    , randomIndex_(std::move(dependencies.randomIndex))
    , playbackSequence_(std::make_shared<const Sequence>())
    , bufferingMeter_(AudioBufferingMeter::create(mainThread_))
    , amplifier_(AudioAmplifier::create(mainThread_)) {
    if (!randomIndex_) {
        randomIndex_ = [engine = std::make_shared<std::mt19937_64>(std::random_device{}())](
                           std::size_t first, std::size_t last) {
            return std::uniform_int_distribution<std::size_t>(first, last)(*engine);
        };
    }
    repeatMode_.store(persistedRepeatMode());
    audioEngine_->setOutputBlockDuration(unmeteredOutputBlock);
}

// Nothing is stopped here: the last reference may be dropped by work on a queue or on the
// completion thread, where stopping the node would wait for that very thread. Queued work and
// pending completions find the player gone through their weak references.
AudioDiscPlayer::~AudioDiscPlayer() = default;

AudioDiscPlayer::Snapshot AudioDiscPlayer::snapshot() const {
    std::lock_guard lock(modelMutex_);
    return {disc_, playbackSequence_};
}

std::shared_ptr<const AudioDisc> AudioDiscPlayer::disc() const {
    std::lock_guard lock(modelMutex_);
    return disc_;
}

std::vector<long> AudioDiscPlayer::playbackSequence() const {
    return snapshot().sequence->entries();
}

void AudioDiscPlayer::setSequence(Sequence sequence) {
    auto shared = std::make_shared<const Sequence>(std::move(sequence));
    std::lock_guard lock(modelMutex_);
    playbackSequence_ = std::move(shared);
}

AudioDiscPlayer::RepeatMode AudioDiscPlayer::persistedRepeatMode() const {
    const auto stored = userDefaults_->string(repeatModeDefaultsKey);
    if (!stored) return RepeatMode::none;
    return repeatMode(*stored).value_or(RepeatMode::none);
}

void AudioDiscPlayer::postToMain(std::function<void(AudioDiscPlayer&)> work) {
    mainThread_->post([weak = weak_from_this(), work = std::move(work)] {
        if (const auto self = weak.lock()) work(*self);
    });
}

// MARK: - Disc

void AudioDiscPlayer::load(AudioDisc disc, bool autoplay) {
    if (disc.data->audioFiles().empty()) fatalError("a disc without audio files cannot be loaded");
    const AudioFormat format = disc.data->audioFiles().front()->processingFormat();
    insertDisc(std::move(disc));
    audioEngine_->connect(format);
    audioEngine_->start();
    if (autoplay) play();
}

void AudioDiscPlayer::openCueSheet(const Url& cueSheetURL, bool autoplay, const AudioDiscServices& services) {
    const CueSheet cueSheet(cueSheetURL);
    AudioDisc disc = AudioDisc::fromCueSheet(cueSheet, services);
    load(std::move(disc), autoplay);
}

void AudioDiscPlayer::insertDisc(std::optional<AudioDisc> newDisc) {
    reset();
    setState(State::stopped);
    playbackTimecodeMode_.store(PlaybackTimecodeMode::trackElapsedTime);
    modeChanged();
    if (onPlayerStateChanged) onPlayerStateChanged(State::stopped);

    std::shared_ptr<const AudioDisc> shared;
    if (newDisc) shared = std::make_shared<const AudioDisc>(std::move(*newDisc));
    {
        std::lock_guard lock(modelMutex_);
        disc_ = shared;
    }
    if (!shared) audioEngine_->stop();

    setPlaybackRate(1.0F);
    setVolume(1.0F);

    {
        std::lock_guard lock(pipelineMutex_);
        currentDequeIndex_ = 0;
        deque_.clear();
    }
    updateBufferingMeter();
    {
        std::lock_guard lock(pipelineMutex_);
        currentlyScheduledBuffers_ = 0;
    }
    updateBufferingMeter();
    {
        std::lock_guard lock(pipelineMutex_);
        currentBufferingPosition_ = 0;
    }

    repeatMode_.store(persistedRepeatMode());
    if (onRepeatModeChanged) onRepeatModeChanged(repeatMode_.load());

    shuffle_.store(false);
    if (onShuffleChanged) onShuffleChanged(false);
    newBeatMode_.store(false);
    if (onNewBeatModeChanged) onNewBeatModeChanged(false);

    playbackTimecodeMode_.store(PlaybackTimecodeMode::trackElapsedTime);
    modeChanged();
    hasReachedEndOfPlaylist_.store(false);
    lastFrameReachedWhilePaused_.store(false);

    // The sequence, its index and the cue of INDEX 01 are reported further down, but they are
    // stored before the first position step: left over from the previous disc they could name
    // cues and tracks this disc does not have.
    setSequence(Sequence::inDiscOrder(shared ? shared->tracks.size() : 0));
    currentPlaybackSequenceIndex_.store(0);
    long cueIndex = 0;
    if (shared && !shared->tracks.empty() && hasPregapCue(*shared, shared->tracks.front())) cueIndex = 1;
    currentCueIndex_.store(cueIndex);
    currentTrackIndex_.store(shared ? 0 : -1);

    std::int64_t start = 0;
    if (shared && !shared->tracks.empty()) start = index01Frame(*shared, shared->tracks.front());
    discFramePosition_.store(start);
    positionStep();

    currentTrackIndex_.store(shared ? 0 : -1);
    if (onCurrentTrackIndexChanged) onCurrentTrackIndexChanged(currentTrackIndex());
    currentChapter_.store(-1);
    if (onCurrentChapterChanged) onCurrentChapterChanged(std::nullopt);
    error_.store(AudioDiscPlayerError::noError);

    if (onPlaybackSequenceChanged) onPlaybackSequenceChanged();
    trackFromSequence(*snapshot().sequence);

    setPlaybackRate(1.0F);
    setVolume(1.0F);
    amplifier_->reset(true, true);

    notifyPositions(false);
    if (onNewDiscInserted) {
        const std::optional<AudioDisc> inserted = shared ? std::optional<AudioDisc>(*shared) : std::nullopt;
        onNewDiscInserted(inserted);
    }
}

// MARK: - Positions

AudioDiscPlayer::Positions AudioDiscPlayer::positions() const {
    return positions(snapshot());
}

AudioDiscPlayer::Positions AudioDiscPlayer::positions(const Snapshot& snap) const {
    Positions result;
    result.discFramePosition = discFramePosition_.load();
    if (!snap.disc) return result;
    const AudioDisc& disc = *snap.disc;
    result.discInPlayer = true;
    const std::int64_t total = disc.data->totalFrameCount();
    const std::int64_t playbackStart = discPlaybackStart(disc);
    const std::int64_t playbackCount = checkedSubtract(total, playbackStart);
    const std::int64_t frame = result.discFramePosition;
    result.normalizedDiscPosition = total > 0 ? static_cast<double>(frame) / static_cast<double>(total) : 0.0;
    result.discPlaybackFramePosition = checkedSubtract(frame, checkedSubtract(total, playbackCount));
    result.discPlaybackCountdownFramePosition =
        checkedSubtract(result.discPlaybackFramePosition, playbackCount);

    if (const AudioTrack* current = trackOf(disc, currentTrackIndex_.load()))
        result.currentTrackFramePosition = checkedSubtract(frame, index01Frame(disc, *current));
    const auto sequenceTrack = snap.sequence->trackAt(currentPlaybackSequenceIndex_.load());
    if (const AudioTrack* track = sequenceTrack ? trackOf(disc, *sequenceTrack) : nullptr) {
        const std::int64_t trackPosition = result.currentTrackFramePosition;
        result.currentTrackCountdownFramePosition =
            trackPosition < 0 ? checkedAdd(trackPosition, pregapLength(disc, *track))
                              : checkedSubtract(trackPosition, lengthFromIndex01(disc, *track));
    }
    return result;
}

void AudioDiscPlayer::notifyPositions(bool seeking) {
    if (!onPositionsChanged) return;
    const Positions p = positions();
    onPositionsChanged(seeking, p.discInPlayer, p.normalizedDiscPosition, p.discFramePosition,
                       p.discPlaybackFramePosition, p.discPlaybackCountdownFramePosition,
                       p.currentTrackFramePosition, p.currentTrackCountdownFramePosition);
}

void AudioDiscPlayer::positionStep() {
    const Snapshot snap = snapshot();
    if (!snap.disc) return;
    const AudioDisc& disc = *snap.disc;
    const Sequence& sequence = *snap.sequence;
    const std::int64_t total = disc.data->totalFrameCount();
    const std::int64_t frame = discFramePosition_.load();

    if (frame >= total) {
        if (state_.load() != State::paused)
            postToMain([](AudioDiscPlayer& player) { player.endOfDisc(); });
        else
            lastFrameReachedWhilePaused_.store(true);
        return;
    }

    notifyPositions(false);
    const long cueIndex = currentCueIndex_.load();
    if (cueIndex < 0 || static_cast<std::size_t>(cueIndex) >= disc.cues.size())
        fatalError("the current cue is outside the disc's cues");
    const auto cueCount = static_cast<long>(disc.cues.size());
    const std::int64_t cueEnd =
        cueIndex + 1 < cueCount ? disc.cues[static_cast<std::size_t>(cueIndex + 1)].keyFrame : total;
    if (frame < cueEnd) return;

    if (cueIndex + 1 < cueCount && disc.cues[static_cast<std::size_t>(cueIndex + 1)].trackIndex !=
                                       disc.cues[static_cast<std::size_t>(cueIndex)].trackIndex) {
        // Decisions at a track boundary are taken on the main thread, never inside the
        // completion. The target is chosen now: buffers consumed before the hop runs repeat
        // the same decision, and must not skip further ahead.
        // In disc order the reading simply goes on into the next track.
        const RepeatMode repeat = repeatMode_.load();
        const bool shuffled = shuffle_.load();
        if (repeat == RepeatMode::track || shuffled) {
            const auto after = sequence.afterEnd(currentPlaybackSequenceIndex_.load(), repeat, shuffled);
            if (!after)
                postToMain([](AudioDiscPlayer& player) { player.stopAtStart(); });
            else if (const auto track = sequence.trackAt(*after))
                postToMain([track = *track](AudioDiscPlayer& player) { player.goToTrack(track, 1, false); });
            return;
        }
    }

    if (cueIndex < cueCount - 1) {
        currentCueIndex_.store(cueIndex + 1);
        const long track = disc.cues[static_cast<std::size_t>(cueIndex + 1)].trackIndex;
        if (const auto found = sequence.firstIndexOf(track)) {
            currentPlaybackSequenceIndex_.store(*found);
            trackFromSequence(sequence);
        } else {
            postToMain([](AudioDiscPlayer& player) { player.stopAtStart(); });
        }
        if (const auto containing = cueContaining(disc, frame)) chapterStep(disc, *containing);
    } else {
        currentCueIndex_.store(0);
    }
}

void AudioDiscPlayer::trackFromSequence(const Sequence& sequence) {
    const auto track = sequence.trackAt(currentPlaybackSequenceIndex_.load());
    currentTrackIndex_.store(track.value_or(-1));
    if (onCurrentTrackIndexChanged) onCurrentTrackIndexChanged(track);
}

void AudioDiscPlayer::chapterStep(const AudioDisc& disc, long cueIndex) {
    if (cueIndex < 0 || static_cast<std::size_t>(cueIndex) >= disc.cues.size()) return;
    const AudioCue& cue = disc.cues[static_cast<std::size_t>(cueIndex)];
    currentChapter_.store(cue.chapter);
    if (onCurrentChapterChanged) onCurrentChapterChanged(cue.chapter);
    currentTrackIndex_.store(cue.trackIndex);
    if (onCurrentTrackIndexChanged) onCurrentTrackIndexChanged(cue.trackIndex);
}

void AudioDiscPlayer::modeChanged() {
    if (onPlaybackMainTimecodeModeChanged) onPlaybackMainTimecodeModeChanged(playbackTimecodeMode_.load());
    if (state_.load() != State::stopped) notifyPositions(false);
}

void AudioDiscPlayer::setState(State state) {
    state_.store(state);
}

// MARK: - Transport

void AudioDiscPlayer::playPause() {
    switch (state_.load()) {
    case State::playing:
        audioPlayerNode_.pause();
        setState(State::paused);
        if (onPlayerStateChanged) onPlayerStateChanged(State::paused);
        if (amplifierIsActive_.load()) {
            // On the scheduler queue, behind any scheduling pass, so the meters drop at once.
            scheduleBufferQueue_->async([weak = std::weak_ptr<AudioAmplifier>(amplifier_)] {
                if (const auto amplifier = weak.lock()) amplifier->reset(false, true);
            });
        }
        break;
    case State::paused:
        // The flag is cleared only by inserting a disc: until then every resume from a pause
        // returns to the start.
        if (lastFrameReachedWhilePaused_.load()) {
            stopAtStart();
        } else {
            audioPlayerNode_.play();
            setState(State::playing);
            if (onPlayerStateChanged) onPlayerStateChanged(State::playing);
        }
        break;
    case State::stopped:
        play();
        break;
    }
}

void AudioDiscPlayer::play() {
    switch (state_.load()) {
    case State::stopped: {
        const Snapshot snap = snapshot();
        if (!snap.disc) return;
        if (const auto track = snap.sequence->trackAt(0)) goToTrack(*track, 1, false);
        break;
    }
    case State::paused:
        playPause();
        break;
    case State::playing:
        break;
    }
}

void AudioDiscPlayer::stopEject() {
    if (state_.load() == State::stopped)
        insertDisc(std::nullopt);
    else
        stopAtStart();
}

void AudioDiscPlayer::seekToFrameCore(std::int64_t frame) {
    const Snapshot snap = snapshot();
    if (!snap.disc) return;
    const AudioDisc& disc = *snap.disc;
    if (frame < 0 || frame >= disc.data->totalFrameCount()) frame = 0;

    reset();
    {
        std::lock_guard lock(pipelineMutex_);
        currentBufferingPosition_ = frame;
    }
    const auto cue = cueContaining(disc, frame);
    if (!cue) return;
    currentCueIndex_.store(*cue);
    if (const auto found =
            snap.sequence->firstIndexOf(disc.cues[static_cast<std::size_t>(*cue)].trackIndex)) {
        currentPlaybackSequenceIndex_.store(*found);
        trackFromSequence(*snap.sequence);
    }
    discFramePosition_.store(frame);
    positionStep();
    notifyPositions(true);
    chapterStep(disc, currentCueIndex_.load());
}

void AudioDiscPlayer::seekToFrame(std::int64_t frame, bool forcePlay) {
    if (!disc()) return;
    seekToFrameCore(frame);
    if (state_.load() == State::paused && !forcePlay) {
        fill();
        return;
    }
    setState(State::playing);
    if (onPlayerStateChanged) onPlayerStateChanged(State::playing);
    audioPlayerNode_.play();
    fill();
}

void AudioDiscPlayer::goToTrack(long trackIndex, long chapter, bool forcePlay) {
    const auto current = disc();
    if (!current) return;
    const AudioTrack* track = trackOf(*current, trackIndex);
    if (!track) return;
    for (std::size_t cueIndex : track->cueIndices) {
        if (cueIndex >= current->cues.size()) continue;
        if (current->cues[cueIndex].chapter == chapter) {
            seekToFrame(current->cues[cueIndex].keyFrame, forcePlay);
            return;
        }
    }
}

std::int64_t AudioDiscPlayer::sequenceStartFrame() const {
    const Snapshot snap = snapshot();
    if (!snap.disc) return 0;
    const auto first = snap.sequence->trackAt(0);
    const AudioTrack* track = first ? trackOf(*snap.disc, *first) : nullptr;
    if (!track || track->cueIndices.empty()) return 0;
    const std::size_t position = hasPregapCue(*snap.disc, *track) ? 1 : 0;
    return snap.disc->cues.at(track->cueIndices[position]).keyFrame;
}

void AudioDiscPlayer::stopAtStart() {
    seekToFrameCore(sequenceStartFrame());
    setState(State::stopped);
    playbackTimecodeMode_.store(PlaybackTimecodeMode::trackElapsedTime);
    modeChanged();
    if (onPlayerStateChanged) onPlayerStateChanged(State::stopped);
}

void AudioDiscPlayer::endOfDisc() {
    const Snapshot snap = snapshot();
    if (!snap.disc) return;
    const Sequence& sequence = *snap.sequence;
    const auto after =
        sequence.afterEnd(currentPlaybackSequenceIndex_.load(), repeatMode_.load(), shuffle_.load());
    if (!after)
        stopAtStart();
    else if (const auto track = sequence.trackAt(*after))
        goToTrack(*track, 1, false);
}

// MARK: - Navigation

std::optional<long> AudioDiscPlayer::nextSequenceIndex(long index) const {
    const Snapshot snap = snapshot();
    if (!snap.disc) return std::nullopt;
    return snap.sequence->next(index, repeatMode_.load());
}

std::optional<long> AudioDiscPlayer::previousSequenceIndex(long index) const {
    const Snapshot snap = snapshot();
    if (!snap.disc) return std::nullopt;
    return snap.sequence->previous(index, repeatMode_.load());
}

std::int64_t AudioDiscPlayer::restartThresholdFrames() const {
    const auto current = disc();
    if (!current || current->data->audioFiles().empty()) return 0;
    const auto sampleRate =
        static_cast<std::int32_t>(current->data->audioFiles().front()->processingFormat().sampleRate);
    return static_cast<std::int64_t>(static_cast<double>(sampleRate) * restartThresholdSeconds);
}

void AudioDiscPlayer::nextTrack() {
    const Snapshot snap = snapshot();
    if (!snap.disc) return;
    if (state_.load() == State::stopped) {
        if (const auto track = snap.sequence->trackAt(0)) goToTrack(*track, 1, false);
        return;
    }
    const auto next = snap.sequence->next(currentPlaybackSequenceIndex_.load(), repeatMode_.load());
    if (!next) return;
    if (const auto track = snap.sequence->trackAt(*next)) goToTrack(*track, 1, false);
}

void AudioDiscPlayer::previousTrack() {
    const Snapshot snap = snapshot();
    if (!snap.disc) return;
    long target = currentPlaybackSequenceIndex_.load();
    if (state_.load() != State::stopped) {
        const auto previous = snap.sequence->previous(target, repeatMode_.load());
        if (!previous) return;
        if (positions(snap).currentTrackFramePosition < restartThresholdFrames()) target = *previous;
    }
    if (const auto track = snap.sequence->trackAt(target)) goToTrack(*track, 1, false);
}

std::optional<AudioDiscPlayer::ChapterPlace> AudioDiscPlayer::chapterPlace() const {
    ChapterPlace place{snapshot(), 0, 0, nullptr};
    if (!place.snapshot.disc) return std::nullopt;
    const long cueIndex = currentCueIndex_.load();
    if (cueIndex < 0 || static_cast<std::size_t>(cueIndex) >= place.snapshot.disc->cues.size())
        return std::nullopt;
    place.chapter = place.snapshot.disc->cues[static_cast<std::size_t>(cueIndex)].chapter;
    const auto trackIndex = place.snapshot.sequence->trackAt(currentPlaybackSequenceIndex_.load());
    place.track = trackIndex ? trackOf(*place.snapshot.disc, *trackIndex) : nullptr;
    if (!place.track) return std::nullopt;
    place.trackIndex = *trackIndex;
    return place;
}

void AudioDiscPlayer::previousChapter() {
    const auto place = chapterPlace();
    if (!place) return;
    if (place->chapter - 1 == 0 && !hasPregapCue(*place->snapshot.disc, *place->track)) return;
    if (place->chapter - 1 < 0) return;
    goToTrack(place->trackIndex, place->chapter - 1, false);
}

void AudioDiscPlayer::nextChapter() {
    const auto place = chapterPlace();
    if (!place) return;
    if (static_cast<long>(place->track->cueIndices.size()) <= place->chapter) return;
    goToTrack(place->trackIndex, place->chapter + 1, false);
}

void AudioDiscPlayer::toggleShuffle() {
    if (!disc()) return;
    const State remembered = state_.load();
    reset();
    const bool on = !shuffle_.load();
    shuffle_.store(on);
    if (onShuffleChanged) onShuffleChanged(on);

    const Snapshot snap = snapshot();
    setSequence(on ? snap.sequence->shuffled(randomIndex_) : snap.sequence->sorted());
    if (onPlaybackSequenceChanged) onPlaybackSequenceChanged();

    if (remembered == State::playing) {
        if (const auto track = snapshot().sequence->trackAt(0)) goToTrack(*track, 1, false);
        return;
    }
    seekToFrameCore(sequenceStartFrame());
    setState(remembered);
    if (remembered == State::stopped) {
        playbackTimecodeMode_.store(PlaybackTimecodeMode::trackElapsedTime);
        modeChanged();
    } else {
        // Paused: read ahead again, so that resuming has something to play.
        fill();
    }
    if (onPlayerStateChanged) onPlayerStateChanged(remembered);
}

void AudioDiscPlayer::setRepeatMode(RepeatMode mode) {
    repeatMode_.store(mode);
    if (onRepeatModeChanged) onRepeatModeChanged(mode);
}

void AudioDiscPlayer::setPlaybackTimecodeMode(PlaybackTimecodeMode mode) {
    playbackTimecodeMode_.store(mode);
    modeChanged();
}

} // namespace lorvan
