// The order of a disc's tracks under repeat and shuffle, without a player or threads.

#include "playback/PlaybackSequence.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace lorvan::test {
namespace {

using ::testing::ElementsAre;
using enum RepeatMode;

std::string name(RepeatMode repeat) {
    return repeat == none ? "none" : repeat == track ? "track" : "disc";
}

/// Draws always from the far end, as a shuffle by hand would: 0 1 2 3 becomes 3 0 1 2.
struct LastDraw {
    std::vector<std::pair<std::size_t, std::size_t>>* draws;
    std::size_t operator()(std::size_t first, std::size_t last) const {
        draws->emplace_back(first, last);
        return last;
    }
};

TEST(PlaybackSequence, ShufflesByDrawingFromEachPositionToTheEndAndSortsBackToDiscOrder) {
    std::vector<std::pair<std::size_t, std::size_t>> draws;
    const PlaybackSequence ordered = PlaybackSequence::inDiscOrder(4);
    EXPECT_THAT(ordered.entries(), ElementsAre(0, 1, 2, 3));

    const PlaybackSequence shuffled = ordered.shuffled(LastDraw{&draws});
    using Draw = std::pair<std::size_t, std::size_t>;
    EXPECT_THAT(draws, ElementsAre(Draw{0, 3}, Draw{1, 3}, Draw{2, 3})) << "no draw for the last position";
    EXPECT_THAT(shuffled.entries(), ElementsAre(3, 0, 1, 2));
    EXPECT_THAT(ordered.entries(), ElementsAre(0, 1, 2, 3)) << "a value: the original is kept";
    EXPECT_EQ(shuffled.sorted(), ordered);

    // Drawing the position itself every time leaves the order as it was.
    const PlaybackSequence kept = ordered.shuffled([](std::size_t first, std::size_t) { return first; });
    EXPECT_EQ(kept, ordered);

    draws.clear();
    EXPECT_TRUE(PlaybackSequence::inDiscOrder(1).shuffled(LastDraw{&draws}).entries() ==
                std::vector<long>{0});
    EXPECT_TRUE(PlaybackSequence().shuffled(LastDraw{&draws}).entries().empty());
    EXPECT_TRUE(draws.empty()) << "nothing to draw for fewer than two entries";
}

TEST(PlaybackSequenceDeathTest, StopsOnADrawOutsideTheRangeAskedFor) {
    const PlaybackSequence ordered = PlaybackSequence::inDiscOrder(3);
    EXPECT_DEATH((void)ordered.shuffled([](std::size_t, std::size_t last) { return last + 1; }),
                 "random index outside the range");
    EXPECT_DEATH((void)ordered.shuffled([](std::size_t first, std::size_t) { return first - 1; }),
                 "random index outside the range");
}

TEST(PlaybackSequence, FindsTracksAndPositionsOnlyInsideTheSequence) {
    const PlaybackSequence shuffled =
        PlaybackSequence::inDiscOrder(4).shuffled([](std::size_t, std::size_t last) { return last; });
    using Found = std::tuple<std::optional<long>, std::optional<long>>;
    EXPECT_EQ(Found(shuffled.trackAt(0), shuffled.trackAt(3)), Found(3, 2));
    EXPECT_EQ(Found(shuffled.trackAt(-1), shuffled.trackAt(4)), Found(std::nullopt, std::nullopt));
    EXPECT_EQ(Found(shuffled.firstIndexOf(3), shuffled.firstIndexOf(2)), Found(0, 3));
    EXPECT_EQ(shuffled.firstIndexOf(4), std::nullopt);
    EXPECT_EQ(PlaybackSequence().trackAt(0), std::nullopt);
}

// Inside a disc of several tracks, next, previous and what follows an ended entry are pinned
// through the player by its navigation and track-end tables; what the player cannot ask for is
// pinned here: the ends of the range, a one-track disc and an empty one.
TEST(PlaybackSequence, NextAndPreviousOutsideTheRangeAndOnDiscsOfOneTrackOrNone) {
    const PlaybackSequence four = PlaybackSequence::inDiscOrder(4);
    for (const auto& [repeat, index] :
         std::vector<std::pair<RepeatMode, long>>{{none, -1}, {disc, 4}, {track, 4}}) {
        SCOPED_TRACE(name(repeat) + " at " + std::to_string(index));
        EXPECT_EQ(four.next(index, repeat), std::nullopt);
        EXPECT_EQ(four.previous(index, repeat), std::nullopt);
    }
    // A one-track disc: next and previous under repeat disc both land on the only entry.
    const PlaybackSequence one = PlaybackSequence::inDiscOrder(1);
    EXPECT_EQ(std::tuple(one.next(0, disc), one.previous(0, disc), one.next(0, none)),
              std::tuple(std::optional<long>(0), std::optional<long>(0), std::optional<long>()));
    for (const RepeatMode repeat : {none, track, disc})
        EXPECT_EQ(PlaybackSequence().next(0, repeat), std::nullopt) << name(repeat);
}

TEST(PlaybackSequence, AfterAnEntryHasPlayedRepeatAndShuffleDecideWhatFollows) {
    const PlaybackSequence four = PlaybackSequence::inDiscOrder(4);
    using Row = std::tuple<bool, RepeatMode, long, std::optional<long>, const char*>;
    // {shuffled, repeat, the entry that ended, what plays next (none: stop), why}
    const std::vector<Row> table{
        {true, track, 3, 3, "repeat track plays the shuffled entry again"},
        // In disc order only the end of the disc asks; should the entry not be the last one,
        // the disc has still ended.
        {false, none, 1, std::nullopt, "the disc has ended wherever the entry is"},
        {false, disc, 1, 0, "the disc starts over from the first entry"},
        {true, disc, 4, std::nullopt, "out of range"},
        {true, track, -1, std::nullopt, "out of range"},
    };
    for (const auto& [shuffled, repeat, index, expected, why] : table) {
        SCOPED_TRACE(std::string(shuffled ? "shuffled, " : "") + name(repeat) + ": " + why);
        EXPECT_EQ(four.afterEnd(index, repeat, shuffled), expected);
    }
}

} // namespace
} // namespace lorvan::test
