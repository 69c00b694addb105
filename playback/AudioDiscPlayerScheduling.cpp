// Reading ahead and feeding the player node: the reader fills the deque on
// "populateDequeQueue", the scheduler hands its oldest buffers to the node on
// "scheduleBufferQueue", and each consumed buffer advances the position on the engine's
// completion thread. The disc is one frame axis across its files, so nothing special happens
// at file or track boundaries and playback is gapless by construction.

#include "core/Checked.hpp"
#include "core/ConsoleLog.hpp"
#include "core/LocalizedError.hpp"
#include "playback/AudioDiscPlayer.hpp"

#include <optional>
#include <string>

namespace lorvan {

namespace {

// The player must never be destroyed on one of its own queues or on the completion thread:
// its members own those queues, and a queue cannot join itself. Work that may hold the last
// reference hands it to the main thread instead.
void release(std::shared_ptr<AudioDiscPlayer>& self, MainThreadExecutor& mainThread) {
    if (self.use_count() == 1) mainThread.post([last = std::move(self)] {});
    self.reset();
}

} // namespace

std::int64_t AudioDiscPlayer::endFrame(const AudioDisc& disc) {
    std::int64_t end = disc.data->artificialPregapFrames();
    for (const auto& file : disc.data->audioFiles())
        end = checkedAdd(end, file->length());
    return end;
}

std::uint32_t AudioDiscPlayer::bufferCapacity() const {
    const auto current = disc();
    if (!current || current->data->audioFiles().empty()) return 0;
    return static_cast<std::uint32_t>(current->data->audioFiles().front()->processingFormat().sampleRate *
                                      bufferSeconds);
}

std::int64_t AudioDiscPlayer::currentBufferingPosition() const {
    std::lock_guard lock(pipelineMutex_);
    return currentBufferingPosition_;
}

long AudioDiscPlayer::currentDequeIndex() const {
    std::lock_guard lock(pipelineMutex_);
    return currentDequeIndex_;
}

long AudioDiscPlayer::dequeCount() const {
    std::lock_guard lock(pipelineMutex_);
    return static_cast<long>(deque_.size());
}

long AudioDiscPlayer::currentlyScheduledBuffers() const {
    std::lock_guard lock(pipelineMutex_);
    return currentlyScheduledBuffers_;
}

void AudioDiscPlayer::updateBufferingMeter() {
    long count = 0;
    {
        std::lock_guard lock(pipelineMutex_);
        count = checkedAdd(static_cast<long>(deque_.size()), currentlyScheduledBuffers_);
    }
    bufferingMeter_->update(count);
}

void AudioDiscPlayer::fill() {
    if (playbackIsResetting_.load()) return;
    const auto current = disc();
    if (!current || current->data->audioFiles().empty()) return;
    // The bound is the last frame, not the end: a reading position on the very last frame
    // starts no pass.
    if (currentBufferingPosition() >= checkedSubtract(endFrame(*current), std::int64_t{1})) return;
    if (fillQueued_.exchange(true)) return;
    populateDequeQueue_->async([weak = weak_from_this()] {
        auto self = weak.lock();
        if (!self) return;
        self->fillQueued_.store(false);
        self->readAhead();
        release(self, *self->mainThread_);
    });
}

void AudioDiscPlayer::schedule() {
    if (playbackIsResetting_.load() || !disc()) return;
    {
        // With the node at its limit and the read-ahead full, a pass would change nothing, and
        // that is the state after every reading pass in steady playback: skipping the hop saves
        // a thread wake-up per buffer. Whatever changes either count posts a pass of its own.
        std::lock_guard lock(pipelineMutex_);
        if (currentlyScheduledBuffers_ >= schedulingLimit &&
            static_cast<long>(deque_.size()) > readAheadLimit - 1)
            return;
    }
    if (scheduleQueued_.exchange(true)) return;
    scheduleBufferQueue_->async([weak = weak_from_this()] {
        auto self = weak.lock();
        if (!self) return;
        self->scheduleQueued_.store(false);
        self->scheduleBuffers();
        release(self, *self->mainThread_);
    });
}

void AudioDiscPlayer::readAhead() {
    const auto current = disc();
    if (current && dequeCount() <= readAheadLimit - 1) {
        const std::uint32_t capacity = bufferCapacity();
        const std::int64_t end = endFrame(*current);
        bool readAny = false;
        while (!playbackIsResetting_.load()) {
            const std::int64_t position = currentBufferingPosition();
            if (position >= checkedSubtract(end, std::int64_t{1})) break;
            std::shared_ptr<const PCMBuffer> buffer;
            // A pass that fails before reading anything ends without the hop to the scheduler:
            // that hop would come straight back here and retry in a tight loop. The scheduled
            // audio plays out, and the next consumed buffer schedules, and so retries from this
            // frame. A pass that did read something still hands it over, since with nothing
            // scheduled no consumed buffer would ever come to move it on; its hop retries once.
            std::optional<std::string> failure;
            try {
                // The file layer logs each failure as it happens; a retry of the same failure
                // must not repeat it.
                std::optional<ConsoleLog::ThreadSilence> quiet;
                if (readFailing_) quiet.emplace();
                buffer = current->data->newPCMBuffer(position, capacity);
            } catch (const LocalizedError& error) {
                failure = error.errorDescription().value_or(error.what());
            } catch (const std::exception& error) {
                failure = error.what();
            }
            if (failure) {
                if (!readFailing_) ConsoleLog::write(*failure);
                readFailing_ = true;
                if (readAny) schedule();
                return;
            }
            readFailing_ = false;
            readAny = true;
            long count = 0;
            {
                std::lock_guard lock(pipelineMutex_);
                deque_.push_front(buffer);
                count = static_cast<long>(deque_.size());
            }
            updateBufferingMeter();
            {
                std::lock_guard lock(pipelineMutex_);
                currentBufferingPosition_ =
                    checkedAdd(currentBufferingPosition_, static_cast<std::int64_t>(buffer->frameLength()));
            }
            if (count >= readAheadLimit) break;
        }
    }
    schedule();
}

void AudioDiscPlayer::scheduleBuffers() {
    while (!playbackIsResetting_.load()) {
        std::shared_ptr<const PCMBuffer> buffer;
        {
            std::lock_guard lock(pipelineMutex_);
            if (currentlyScheduledBuffers_ >= schedulingLimit) break;
            if (!deque_.empty()) {
                buffer = std::move(deque_.back());
                deque_.pop_back();
            }
        }
        updateBufferingMeter();
        if (!buffer) break;
        {
            std::lock_guard lock(pipelineMutex_);
            currentlyScheduledBuffers_ = checkedAdd(currentlyScheduledBuffers_, 1L);
        }
        updateBufferingMeter();
        audioPlayerNode_.scheduleBuffer(buffer, [weak = weak_from_this(), buffer] {
            auto self = weak.lock();
            if (!self) return;
            self->bufferConsumed(buffer);
            release(self, *self->mainThread_);
        });
    }
    if (dequeCount() > readAheadLimit - 1) return;
    fill();
}

void AudioDiscPlayer::bufferConsumed(const std::shared_ptr<const PCMBuffer>& buffer) {
    if (playbackIsResetting_.load()) {
        // Flushed by a stop: never counted, and the meters fall back.
        if (amplifierIsActive_.load()) amplifier_->reset(true, true);
        return;
    }
    discFramePosition_.store(
        checkedAdd(discFramePosition_.load(), static_cast<std::int64_t>(buffer->frameLength())));
    positionStep();
    {
        std::lock_guard lock(pipelineMutex_);
        if (currentlyScheduledBuffers_ > 0) --currentlyScheduledBuffers_;
    }
    updateBufferingMeter();
    // An output that renders 40 ms at a time consumes two buffers at once: their handlers run
    // back to back, and the last one asks for the one scheduling pass that refills both.
    if (!audioPlayerNode_.moreHandlersFollow()) schedule();
    if (amplifierIsActive_.load()) amplifier_->measure(*buffer, audioPlayerNode_.volume());
}

void AudioDiscPlayer::reset() {
    playbackIsResetting_.store(true);
    // Wait for a scheduling pass that may be between taking a buffer and handing it to the
    // node: a buffer scheduled after the node's stop would be heard after the seek.
    scheduleBufferQueue_->sync([] {});
    audioPlayerNode_.stop();
    // Synchronous, so that a reading pass in progress finishes before the read-ahead is emptied.
    populateDequeQueue_->sync([this] {
        {
            std::lock_guard lock(pipelineMutex_);
            currentDequeIndex_ = 0;
            currentBufferingPosition_ = 0;
            currentlyScheduledBuffers_ = 0;
        }
        updateBufferingMeter();
        bool hadBuffers = false;
        {
            std::lock_guard lock(pipelineMutex_);
            hadBuffers = !deque_.empty();
            deque_.clear();
        }
        if (hadBuffers) updateBufferingMeter();
        if (const auto current = disc())
            for (const auto& file : current->data->audioFiles())
                file->setFramePosition(0);
    });
    playbackIsResetting_.store(false);
}

} // namespace lorvan
