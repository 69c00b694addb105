#include "playback/PlaybackSequence.hpp"

#include "core/FatalError.hpp"

#include <algorithm>
#include <numeric>

namespace lorvan {

PlaybackSequence PlaybackSequence::inDiscOrder(std::size_t trackCount) {
    std::vector<long> entries(trackCount);
    std::iota(entries.begin(), entries.end(), 0L);
    return PlaybackSequence(std::move(entries));
}

PlaybackSequence PlaybackSequence::shuffled(const RandomIndex& randomIndex) const {
    std::vector<long> entries = entries_;
    for (std::size_t i = 0; i + 1 < entries.size(); ++i) {
        const std::size_t j = randomIndex(i, entries.size() - 1);
        if (j < i || j >= entries.size()) fatalError("random index outside the range asked for");
        std::swap(entries[i], entries[j]);
    }
    return PlaybackSequence(std::move(entries));
}

PlaybackSequence PlaybackSequence::sorted() const {
    std::vector<long> entries = entries_;
    std::sort(entries.begin(), entries.end());
    return PlaybackSequence(std::move(entries));
}

std::optional<long> PlaybackSequence::trackAt(long index) const {
    if (!contains(index)) return std::nullopt;
    return entries_[static_cast<std::size_t>(index)];
}

std::optional<long> PlaybackSequence::firstIndexOf(long trackIndex) const {
    const auto found = std::find(entries_.begin(), entries_.end(), trackIndex);
    if (found == entries_.end()) return std::nullopt;
    return static_cast<long>(found - entries_.begin());
}

std::optional<long> PlaybackSequence::next(long index, RepeatMode repeat) const {
    if (!contains(index)) return std::nullopt;
    if (repeat == RepeatMode::track) return index;
    if (index < length() - 1) return index + 1;
    if (repeat == RepeatMode::disc) return 0;
    return std::nullopt;
}

std::optional<long> PlaybackSequence::previous(long index, RepeatMode repeat) const {
    if (!contains(index)) return std::nullopt;
    if (repeat == RepeatMode::track) return index;
    if (index > 0) return index - 1;
    if (repeat == RepeatMode::disc) return length() - 1;
    // Unlike next, previous at the first entry stays there: the first track starts again.
    return 0;
}

std::optional<long> PlaybackSequence::afterEnd(long index, RepeatMode repeat, bool shuffled) const {
    if (!contains(index)) return std::nullopt;
    if (repeat == RepeatMode::track) return index;
    if (shuffled && index < length() - 1) return index + 1;
    if (repeat == RepeatMode::disc) return 0;
    return std::nullopt;
}

} // namespace lorvan
