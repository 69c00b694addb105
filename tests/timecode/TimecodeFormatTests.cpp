#include "timecode/Timecode.hpp"
#include "timecode/TimecodeFormat.hpp"

#include <array>
#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace lorvan {
namespace {

using Style = TimecodeFormat::Style;
using Unit = TimecodeFormat::Unit;
using Precision = TimecodeFormat::Precision;

struct StyleRow {
    Style style;
    std::array<const char*, 5> texts;
};

// Columns: 3:25.5 at 44100, the same negative, 12:34:56 at 75, 0 at 44100, 90061 s at 44100.
const std::array<StyleRow, 9> exampleTable{{
    {Style::all,
     {"+0 days 00:03:25'22050", "-0 days 00:03:25'22050", "+0 days 00:12:34'56", "+0 days 00:00:00'00000",
      "+1 days 01:01:01'00000"}},
    {Style::standard, {"0:03:25.50", "-0:03:25.50", "0:12:34.74", "0:00:00.00", "25:01:01.00"}},
    {Style::discPlayer, {"3:25", "-3:25", "12:34", "0:00", "1501:01"}},
    {Style::discPlayerCentiseconds, {"3:25.50", "-3:25.50", "12:34.74", "00.00", "1501:01.00"}},
    {Style::cddaPlayer, {"3:25", "-3:25", "12:34", "0:00", "99:01"}},
    {Style::cdda, {"+3:25:37", "-3:25:37", "+12:34:56", "+0:00:00", "+1501:01:00"}},
    {Style::cddaCueSheet, {"03:25:37", "-03:25:37", "12:34:56", "00:00:00", "1501:01:00"}},
    {Style::toc, {"03:25.50", "-03:25.50", "12:34.74", "00:00.00", "1501:01.00"}},
    {Style::frames, {"0:03:25'22050", "-0:03:25'22050", "0:12:34'56", "0:00:00'00000", "25:01:01'00000"}},
}};

TEST(TimecodeFormat, ExampleTableInEveryStyle) {
    const std::array<Timecode, 5> timecodes{Timecode(9062550, 44100), Timecode(-9062550, 44100),
                                            Timecode(56606, 75), Timecode(0, 44100),
                                            Timecode(90061LL * 44100, 44100)};
    ASSERT_EQ(exampleTable.size(), TimecodeFormat::allStyles.size());
    for (std::size_t row = 0; row < exampleTable.size(); ++row) {
        EXPECT_EQ(exampleTable[row].style, TimecodeFormat::allStyles[row]);
        for (std::size_t column = 0; column < timecodes.size(); ++column) {
            const auto& timecode = timecodes[column];
            EXPECT_EQ(timecode.formatted(exampleTable[row].style), exampleTable[row].texts[column])
                << "style row " << row << ", position " << timecode.position();
        }
    }
    EXPECT_EQ(timecodes[0].description(), "+0 days 00:03:25'22050");
}

TEST(TimecodeFormat, OverflowRendersInfinityInEveryStyle) {
    auto timecode = Timecode::max(44100);
    auto negative = timecode;
    negative.negate();
    for (const auto style : TimecodeFormat::allStyles) {
        EXPECT_EQ(timecode.formatted(style), "+∞");
        EXPECT_EQ(negative.formatted(style), "-∞");
    }
    EXPECT_EQ(negative.description(), "-∞");
}

TEST(TimecodeFormat, LeadingNumberWidthAndCap) {
    EXPECT_EQ(Timecode(7, 75).formatted(Style::discPlayerCentiseconds), "00.09");
    EXPECT_EQ(Timecode(27, 0, 100, 0, 0, 75).formatted(Style::cddaCueSheet), "100:00:27");
    EXPECT_EQ(Timecode(27, 0, 9, 0, 0, 75).formatted(Style::cddaCueSheet), "09:00:27");

    const Timecode timecode(9062550, 44100); // 3:25.5
    const auto withWidth = [&](std::optional<int> width) {
        return timecode.formatted(
            TimecodeFormat(Unit::minute, std::nullopt, width, Precision::second, false, true, true));
    };
    for (const std::optional<int> width : {std::optional<int>(), std::optional(0), std::optional(1)})
        EXPECT_EQ(withWidth(width), "3:25");
    EXPECT_EQ(withWidth(5), "00003:25");
    EXPECT_EQ(withWidth(-4), "3   :25"); // a printf "-" flag: left-aligned with spaces

    // The cap touches the leading number only, whatever the unit.
    const Timecode longOne(5, 1, 1, 1, 2, 75); // 2 days 01:01:01 and 5 sectors
    for (const auto& [unit, cap, text] : {std::tuple{Unit::day, 1u, "1 days 01:01:01"},
                                          {Unit::hour, 30u, "30:01:01"},
                                          {Unit::hour, 60u, "49:01:01"},
                                          {Unit::minute, 99u, "99:01"},
                                          {Unit::second, 100000u, "100000"},
                                          {Unit::second, 1000000u, "176461"}})
        EXPECT_EQ(
            longOne.formatted(TimecodeFormat(unit, cap, std::nullopt, Precision::second, false, true, true)),
            text);
}

TEST(TimecodeFormat, ShortDisplayDropsAZeroLeadingNumber) {
    const Timecode timecode(9062550, 44100);
    const auto shortFormat = [](Unit unit) {
        return TimecodeFormat(unit, std::nullopt, std::nullopt, Precision::second, false, false, true);
    };
    for (const auto& [unit, text] : {std::pair{Unit::day, "00:03:25"},
                                     {Unit::hour, "03:25"},
                                     {Unit::minute, "3:25"},
                                     {Unit::second, "205"}})
        EXPECT_EQ(timecode.formatted(shortFormat(unit)), text);
    EXPECT_EQ(Timecode(0, 44100).formatted(shortFormat(Unit::second)), "0");
    EXPECT_EQ(Timecode(44100 * 86400LL, 44100).formatted(shortFormat(Unit::day)), "1 days 00:00:00");
    EXPECT_EQ(Timecode(-44100 * 3600LL, 44100).formatted(shortFormat(Unit::hour)), "-1:00:00");
    // A cap of 0 makes the leading number 0 and so drops it too.
    EXPECT_EQ(timecode.formatted(
                  TimecodeFormat(Unit::minute, 0u, std::nullopt, Precision::second, false, false, true)),
              "25");
}

TEST(TimecodeFormat, FractionsRoundDown) {
    const auto fraction = [](const Timecode& timecode, Precision precision) {
        return timecode.formatted(
            TimecodeFormat(Unit::second, std::nullopt, std::nullopt, precision, false, true, false));
    };
    // Columns: half a second at 44100, -1 s and 7 sectors at 75, the last frame of a second.
    const Timecode timecodes[]{Timecode(22050, 44100), Timecode(-82, 75), Timecode(44099, 44100)};
    const std::pair<Precision, std::array<const char*, 3>> rows[]{
        {Precision::second, {"0", "-1", "0"}},
        {Precision::decisecond, {"0.5", "-1.0", "0.9"}},
        {Precision::centisecond, {"0.50", "-1.09", "0.99"}},
        {Precision::milisecond, {"0.500", "-1.093", "0.999"}},
        {Precision::cdda75thOfSecond, {"0:37", "-1:07", "0:74"}},
        {Precision::frame, {"0'22050", "-1'07", "0'44099"}}};
    for (const auto& [precision, texts] : rows)
        for (std::size_t column = 0; column < 3; ++column)
            EXPECT_EQ(fraction(timecodes[column], precision), texts[column])
                << "precision " << static_cast<int>(precision) << ", column " << column;
}

TEST(TimecodeFormat, FrameFractionHasTheDigitsOfTheRate) {
    for (const auto& [position, rate, text] : {std::tuple{7, 44100, "0:00:00'00007"},
                                               {5, 1, "0:00:05'0"},
                                               {13, 9, "0:00:01'4"},
                                               {13, 10, "0:00:01'03"},
                                               {105, 100, "0:00:01'005"},
                                               {192001, 192000, "0:00:01'000001"}})
        EXPECT_EQ(Timecode(position, rate).formatted(Style::frames), text) << rate;
}

TEST(TimecodeFormat, SignAndPadding) {
    const auto signedFormat = [](bool positiveSign, bool padding) {
        return TimecodeFormat(Unit::minute, std::nullopt, 2, Precision::second, positiveSign, true, padding);
    };
    for (const auto& [position, sign, padding, text] : {std::tuple{75, true, true, "+00:01"},
                                                        {-75, true, true, "-00:01"},
                                                        {0, true, false, "+00:00"},
                                                        {-75, false, false, "-00:01"},
                                                        {75, false, false, "00:01"}})
        EXPECT_EQ(Timecode(position, 75).formatted(signedFormat(sign, padding)), text) << position;
}

TEST(TimecodeFormatDeathTest, InvalidInputStopsTheProcess) {
    // 3,000,000 days are 4.32e9 minutes: beyond 32 bits.
    const Timecode manyDays(0, 0, 0, 0, 3000000, 1);
    EXPECT_DEATH((void)manyDays.formatted(Style::discPlayer), "overflow in multiplication");
    const TimecodeFormat inSeconds(Unit::second, std::nullopt, std::nullopt, Precision::second, false, true,
                                   true);
    EXPECT_DEATH((void)manyDays.formatted(inSeconds), "overflow in multiplication");
    // Units that stay within 32 bits still render.
    EXPECT_EQ(manyDays.formatted(Style::frames), "72000000:00:00'0");
    EXPECT_EQ(manyDays.formatted(Style::all), "+3000000 days 00:00:00'0");

    TimecodeData noRate = Timecode(22050, 44100).data();
    noRate.rate = 0;
    EXPECT_DEATH((void)TimecodeFormat(Style::standard).render(noRate), "rate is 0");
}

} // namespace
} // namespace lorvan
