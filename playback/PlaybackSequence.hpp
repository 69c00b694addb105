#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace lorvan {

/// What plays again once something ends: "None", "Current Track" or "Entire Disc".
enum class RepeatMode { none, track, disc };

/// The order in which a disc's tracks play: track indices, one entry per track, in disc order
/// or shuffled. A value: the player replaces it wholesale and shares it between threads.
class PlaybackSequence {
public:
    /// Picks an index uniformly in `first`...`last` (both included).
    using RandomIndex = std::function<std::size_t(std::size_t first, std::size_t last)>;

    PlaybackSequence() = default;
    /// 0, 1, ... `trackCount` - 1.
    [[nodiscard]] static PlaybackSequence inDiscOrder(std::size_t trackCount);

    /// Fisher–Yates: each position from the first to the second-to-last swaps with an entry
    /// drawn from itself to the end. The current track is not kept in front. Stops the
    /// process when `randomIndex` answers outside the range it was asked for.
    [[nodiscard]] PlaybackSequence shuffled(const RandomIndex& randomIndex) const;
    /// Ascending, which is disc order again.
    [[nodiscard]] PlaybackSequence sorted() const;

    [[nodiscard]] const std::vector<long>& entries() const { return entries_; }
    [[nodiscard]] long length() const { return static_cast<long>(entries_.size()); }
    /// The track at sequence position `index`; none out of range.
    [[nodiscard]] std::optional<long> trackAt(long index) const;
    /// The first sequence position that plays `trackIndex`; none when the track is not in it.
    [[nodiscard]] std::optional<long> firstIndexOf(long trackIndex) const;

    /// Next track: the entry after `index`. Repeat track stays; at the last entry repeat disc
    /// wraps to the first and repeat none ends (none). None for `index` out of range.
    [[nodiscard]] std::optional<long> next(long index, RepeatMode repeat) const;
    /// Previous track: the entry before `index`. Repeat track stays; at the first entry repeat
    /// disc wraps to the last and repeat none stays at the first. None for `index` out of range.
    [[nodiscard]] std::optional<long> previous(long index, RepeatMode repeat) const;
    /// What plays once entry `index` has played to its end, when the disc is not simply read on
    /// in its own order: repeat track plays the entry again; shuffled, the next entry follows,
    /// and after the last one repeat disc starts over while repeat none stops (none). In disc
    /// order this is only asked at the end of the disc: repeat disc starts over, anything else
    /// stops. None for `index` out of range.
    [[nodiscard]] std::optional<long> afterEnd(long index, RepeatMode repeat, bool shuffled) const;

    friend bool operator==(const PlaybackSequence&, const PlaybackSequence&) = default;

private:
    explicit PlaybackSequence(std::vector<long> entries)
        : entries_(std::move(entries)) {}
    [[nodiscard]] bool contains(long index) const { return index >= 0 && index < length(); }

    std::vector<long> entries_;
};

} // namespace lorvan
