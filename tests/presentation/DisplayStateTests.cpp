#include "presentation/DisplayState.hpp"

#include <gtest/gtest.h>

namespace lorvan {
namespace {

// Previews and the benchmark draw this moment; it must be one the player can show: counting
// down inside the pregap before track 2, which is that track's INDEX 00.
TEST(DisplayState, TheTypicalMomentIsAPregapAndShowsIndex00) {
    const DisplayState state = DisplayState::typical();
    EXPECT_EQ(state.timeLabel, "PREGAP");
    EXPECT_EQ(state.time.front(), '-') << "a pregap counts down to the track's start";
    EXPECT_EQ(state.statusLeft, "TRACK 02");
    EXPECT_EQ(state.statusRight, "INDEX 00");
}

} // namespace
} // namespace lorvan
