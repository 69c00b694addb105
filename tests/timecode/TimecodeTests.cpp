#include "timecode/Timecode.hpp"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <tuple>

namespace lorvan {
namespace {

using Unit = Timecode::Unit;
constexpr auto int64Max = std::numeric_limits<std::int64_t>::max();
constexpr auto int64Min = std::numeric_limits<std::int64_t>::min();

// Sign, day, hour, minute, second and frame.
using Split = std::tuple<bool, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t>;
Split split(const Timecode& t) {
    return {t.isNegative(), t.day(), t.hour(), t.minute(), t.second(), t.frame()};
}

TEST(Timecode, ConstructionSplitsThePosition) {
    const Timecode zero;
    EXPECT_EQ(zero.rate(), 44100);
    EXPECT_FALSE(zero.isOverflown());
    EXPECT_EQ(split(zero), (Split{false, 0, 0, 0, 0, 0}));
    EXPECT_EQ(split(Timecode(-1, 44100)), (Split{true, 0, 0, 0, 0, 1}));
    // 1 day 2 h 3 min 4 s and 5 frames, from the position and from the components.
    const std::int64_t position = ((86400 + 2 * 3600 + 3 * 60 + 4) * 75) + 5;
    EXPECT_EQ(split(Timecode(position, 75)), (Split{false, 1, 2, 3, 4, 5}));
    EXPECT_EQ(Timecode(5, 4, 3, 2, 1, 75).position(), position);
    // Components beyond their usual ranges simply add up.
    EXPECT_EQ(Timecode(0, 90061, 0, 0, 0, 44100).position(), 90061LL * 44100);
}

TEST(Timecode, DataRoundTripKeepsOnlyPositionAndRate) {
    const Timecode timecode(TimecodeData{
        .position = 9062550, .relativeOrigin = 99, .rate = 44100, .isOverflown = true, .minute = 42});
    EXPECT_EQ(timecode.relativeOrigin(), 0);
    EXPECT_FALSE(timecode.isOverflown());
    EXPECT_EQ(split(timecode), (Split{false, 0, 0, 3, 25, 22050}));
}

TEST(Timecode, MaxIsAPositiveOverflowThatStaysMarked) {
    auto timecode = Timecode::max(44100);
    EXPECT_EQ(std::tuple(timecode.position(), timecode.isOverflown(), timecode.isPositiveOverflow(),
                         timecode.isNegativeOverflow()),
              std::tuple(int64Max, true, true, false));

    // Only construction clears the mark: moving away from the limit keeps it.
    timecode.decrement();
    EXPECT_EQ(timecode.position(), int64Max - 1);
    EXPECT_TRUE(timecode.isOverflown());
    timecode.negate();
    EXPECT_TRUE(timecode.isNegativeOverflow());
    EXPECT_FALSE(timecode.isPositiveOverflow());
    EXPECT_FALSE(Timecode(int64Max - 1, 44100).isOverflown());
}

TEST(Timecode, TheRelativeOriginTakesNoPartInTheSplit) {
    Timecode timecode(100, 75);
    timecode.setRelativeOrigin(-300);
    EXPECT_EQ(split(timecode), (Split{false, 0, 0, 0, 1, 25}));
    timecode.setPosition(-150);
    EXPECT_EQ(timecode.relativeOrigin(), -300);
    EXPECT_EQ(split(timecode), (Split{true, 0, 0, 0, 2, 0}));
    timecode.reset();
    EXPECT_EQ(split(timecode), (Split{false, 0, 0, 0, 0, 0}));
}

TEST(Timecode, ValueInUnits) {
    const Timecode timecode(9062550, 44100); // 205.5 s
    const std::pair<Unit, double> values[]{
        {Unit::day, 205.5 / 86400}, {Unit::hour, 205.5 / 3600}, {Unit::minute, 205.5 / 60},
        {Unit::second, 205.5},      {Unit::decisecond, 2055},   {Unit::cdda75thOfSecond, 15412.5},
        {Unit::centisecond, 20550}, {Unit::milisecond, 205500}, {Unit::frame, 9062550}};
    for (const auto& [unit, value] : values)
        EXPECT_DOUBLE_EQ(timecode.value(unit), value) << "unit " << static_cast<int>(unit);
    EXPECT_DOUBLE_EQ(Timecode(-75, 75).value(Unit::second), -1);
}

TEST(Timecode, AddingUnitsUsesWholeFramesPerUnit) {
    struct Row {
        std::int32_t rate;
        Unit unit;
        std::int64_t count, added;
    };
    // 44.1 frames per millisecond is no whole number, so nothing is added; 49710 Hz is the
    // largest rate whose day still fits 32 bits.
    const Row rows[]{{44100, Unit::day, 1, 3810240000},  {44100, Unit::hour, 1, 158760000},
                     {44100, Unit::minute, 1, 2646000},  {44100, Unit::second, 1, 44100},
                     {44100, Unit::decisecond, 1, 4410}, {44100, Unit::cdda75thOfSecond, 1, 588},
                     {44100, Unit::centisecond, 1, 441}, {44100, Unit::milisecond, 1, 0},
                     {48000, Unit::milisecond, 1, 48},   {75, Unit::milisecond, 1, 0},
                     {75, Unit::cdda75thOfSecond, 1, 1}, {75, Unit::frame, -7, -7},
                     {49710, Unit::day, 1, 4294944000}};
    for (const auto& row : rows) {
        Timecode timecode(1000, row.rate);
        timecode.add(row.count, row.unit);
        EXPECT_EQ(timecode.position() - 1000, row.added)
            << row.rate << " Hz, unit " << static_cast<int>(row.unit);
    }

    Timecode timecode(0, 75);
    timecode.subtract(2, Unit::second);
    EXPECT_EQ(timecode.position(), -150);
    timecode.add(74, 1, 0, 0, 0);
    EXPECT_EQ(timecode.position(), -1);
    timecode.subtract(0, 0, 1, 0, 0);
    EXPECT_EQ(timecode.position(), -4501);
    timecode.increment();
    timecode.increment();
    EXPECT_EQ(timecode.position(), -4499);
}

// Each row sets one clamp flag, writes the position directly (which no flag limits) and takes
// one step.
TEST(Timecode, ClampFlagsLimitOnlyTheirOwnSteps) {
    using Step = void (*)(Timecode&);
    struct Row {
        bool onlyNegative;
        std::int64_t position;
        Step step;
        std::int64_t expected;
    };
    const Step increment = [](Timecode& t) { t.increment(); };
    const Step decrement = [](Timecode& t) { t.decrement(); };
    const Row rows[]{
        // Only-negative stops counting up at zero, reaching it exactly included; down is free,
        // and a positive value written directly is brought back by the next step.
        {true, -10, [](Timecode& t) { t.add(20, Unit::frame); }, 0},
        {true, -10, [](Timecode& t) { t.add(10, Unit::frame); }, 0},
        {true, -1, increment, 0},
        {true, -2, increment, -1},
        {true, -10, [](Timecode& t) { t.subtract(5, Unit::frame); }, -15},
        {true, -15, decrement, -16},
        {true, 5, decrement, 0},
        {true, -10, [](Timecode& t) { t.add(9, 0, 0, 0, 0); }, -1},
        {true, -1, [](Timecode& t) { t.add(1, 0, 0, 0, 0); }, 0},
        // Component subtraction sees the value negated to +10, which the clamp turns into 0.
        {true, -10, [](Timecode& t) { t.subtract(5, 0, 0, 0, 0); }, 0},
        {true, -10, [](Timecode& t) { t.subtract(0, 0, 0, 0, 0); }, 0},
        // Only-positive is consulted by component subtraction alone.
        {false, 0, decrement, -1},
        {false, -1, [](Timecode& t) { t.subtract(10, Unit::frame); }, -11},
        {false, 100, [](Timecode& t) { t.subtract(40, 0, 0, 0, 0); }, 60},
        {false, 60, [](Timecode& t) { t.subtract(60, 0, 0, 0, 0); }, 0},
        {false, 100, [](Timecode& t) { t.subtract(0, 1, 0, 0, 0); }, 0},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        Timecode timecode(0, 44100);
        rows[i].onlyNegative ? timecode.setIsOnlyNegative(true) : timecode.setIsOnlyPositive(true);
        timecode.setPosition(rows[i].position);
        rows[i].step(timecode);
        EXPECT_EQ(timecode.position(), rows[i].expected) << "row " << i;
        EXPECT_EQ(timecode.isNegative(), rows[i].expected < 0) << "row " << i;
    }
}

// Setting a flag clears the other and clamps at once; writing false only clears the flag. Zero
// stays under either flag, -1 under only-negative.
TEST(Timecode, ClampFlagsExcludeEachOther) {
    Timecode timecode(-5, 44100);
    const auto onlyNegative = [&](bool on) {
        timecode.setIsOnlyNegative(on);
        return timecode.position();
    };
    const auto onlyPositive = [&](bool on) {
        timecode.setIsOnlyPositive(on);
        return timecode.position();
    };
    EXPECT_EQ(onlyNegative(true), -5);
    EXPECT_EQ(onlyPositive(true), 0);
    EXPECT_TRUE(timecode.isOnlyPositive() && !timecode.isOnlyNegative());
    timecode.setPosition(1);
    EXPECT_EQ(onlyNegative(true), 0);
    EXPECT_FALSE(timecode.isOnlyPositive());
    EXPECT_EQ(onlyPositive(true), 0);
    timecode.setPosition(-1);
    EXPECT_EQ(onlyPositive(false), -1);
    EXPECT_EQ(onlyNegative(true), -1);
    EXPECT_EQ(onlyNegative(false), -1);
    EXPECT_FALSE(timecode.isOnlyPositive() || timecode.isOnlyNegative());
}

TEST(Timecode, RateChangesFollowTheirOwnRules) {
    // 44100 = 588 × 75 cannot go up from 75; 44100 frames is frame 0; 1000 does not divide 44100.
    EXPECT_FALSE(Timecode(0, 75).canChangeRate(44100));
    for (const auto& [from, position, to] :
         {std::tuple{75, 0, 100}, {75, 0, 75}, {44100, 588, 75}, {44100, 44100, 75}})
        EXPECT_TRUE(Timecode(position, from).canChangeRate(to)) << from << " " << position << " " << to;
    EXPECT_FALSE(Timecode(100, 44100).canChangeRate(75));
    EXPECT_FALSE(Timecode(0, 44100).canChangeRate(1000));

    Timecode timecode(1176, 44100);
    EXPECT_FALSE(timecode.setRate(1000));
    EXPECT_EQ(timecode.rate(), 44100);
    EXPECT_TRUE(timecode.setRate(75));
    EXPECT_EQ(timecode.rate(), 75);
    // Neither rescaled nor re-split.
    EXPECT_EQ(timecode.position(), 1176);
    EXPECT_EQ(timecode.frame(), 1176u);
    EXPECT_TRUE(timecode.setRate(75));

    const Timecode source(1176, 44100);
    const auto atSectors = source.data(75);
    ASSERT_TRUE(atSectors);
    EXPECT_EQ(std::tuple(atSectors->rate, atSectors->position, atSectors->second, atSectors->frame),
              std::tuple(75, std::int64_t{1176}, 15u, 51u));
    EXPECT_FALSE(source.data(1000));
    EXPECT_FALSE(Timecode(0, 75).data(150));
    EXPECT_EQ(source.data(44100), source.data());
}

TEST(Timecode, ReplaceComponentsRewritesOnlyValidNonZeroFields) {
    Timecode timecode(1, 2, 3, 4, 5, 75);
    timecode.replaceComponents(10, 20, 0, 0, 0);
    EXPECT_EQ(timecode.position(), Timecode(10, 20, 3, 4, 5, 75).position());
    // Out of range: frame at the rate, second 60, minute 60, hour 24, day 365.
    timecode.replaceComponents(75, 60, 60, 24, 365);
    EXPECT_EQ(timecode.position(), Timecode(10, 20, 3, 4, 5, 75).position());
    timecode.replaceComponents(74, 59, 59, 23, 364);
    EXPECT_EQ(timecode.position(), Timecode(74, 59, 59, 23, 364, 75).position());

    // The sign stays; a countdown at zero counts as negative.
    Timecode negative(-150, 75), countdown(0, 75);
    negative.replaceComponents(0, 5, 0, 0, 0);
    EXPECT_EQ(negative.position(), -375);
    countdown.setIsOnlyNegative(true);
    countdown.replaceComponents(0, 3, 0, 0, 0);
    EXPECT_EQ(countdown.position(), -225);
}

TEST(TimecodeDeathTest, InvalidArithmeticStopsTheProcess) {
    EXPECT_DEATH(Timecode(10, 0), "rate is 0");
    EXPECT_DEATH(Timecode(int64Min, 44100), "overflow in negation");
    EXPECT_DEATH(Timecode(0, 1, 0, 0, 0, 0), "rate is 0");
    EXPECT_DEATH(Timecode(0, 0, 0, 0, 4294967295u, 44100), "overflow in multiplication");
    // At rate 1 the day count of 2^63 − 1 frames is far beyond 32 bits.
    EXPECT_DEATH((void)Timecode::max(1), "conversion out of range");
    EXPECT_DEATH(Timecode::max(44100).increment(), "overflow in addition");
    EXPECT_DEATH(Timecode(int64Min + 1, 44100).decrement(), "overflow in negation");
    EXPECT_DEATH(Timecode(int64Max - 5, 44100).add(1, Unit::second), "overflow in addition");
    EXPECT_DEATH(Timecode(0, 44100).add(int64Max, Unit::second), "overflow in multiplication");
    EXPECT_DEATH(Timecode(0, 44100).subtract(int64Min, Unit::frame), "overflow in negation");
    EXPECT_DEATH(Timecode(0, 96000).add(1, Unit::day), "does not fit in 32 bits");
    EXPECT_DEATH(Timecode(0, -75).add(1, Unit::second), "does not fit in 32 bits");
    EXPECT_DEATH((void)Timecode(0, 75).canChangeRate(0), "rate is 0");
    EXPECT_DEATH(Timecode(0, 75).setRate(0), "rate is 0");
}

} // namespace
} // namespace lorvan
