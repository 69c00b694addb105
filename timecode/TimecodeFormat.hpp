#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace lorvan {

struct TimecodeData;

/// How a timecode becomes text: the leading unit, its cap and width, the fraction after the
/// seconds and the sign. A pure value; rendering never touches shared state.
class TimecodeFormat {
public:
    /// The largest unit shown; everything above it is folded into the leading number.
    enum class Unit { day, hour, minute, second };

    /// The fraction appended after the seconds.
    enum class Precision { second, decisecond, centisecond, milisecond, cdda75thOfSecond, frame };

    /// The named formats the player, the tables of contents and the cue sheets use.
    enum class Style {
        all,
        standard,
        discPlayer,
        discPlayerCentiseconds,
        cddaPlayer,
        cdda,
        cddaCueSheet,
        toc,
        frames,
    };

    /// Every style in declaration order, for code that lists or cycles through them.
    static constexpr std::array<Style, 9> allStyles{
        Style::all,        Style::standard, Style::discPlayer,   Style::discPlayerCentiseconds,
        Style::cddaPlayer, Style::cdda,     Style::cddaCueSheet, Style::toc,
        Style::frames,
    };

    constexpr TimecodeFormat(Unit unit_, std::optional<std::uint32_t> unitCapValue_,
                             std::optional<int> unitFieldWidth_, Precision precision_, bool positiveSign_,
                             bool fullDisplay_, bool padding_)
        : unit(unit_)
        , unitCapValue(unitCapValue_)
        , unitFieldWidth(unitFieldWidth_)
        , precision(precision_)
        , positiveSign(positiveSign_)
        , fullDisplay(fullDisplay_)
        , padding(padding_) {}

    /// The format a style stands for.
    explicit constexpr TimecodeFormat(Style style)
        : TimecodeFormat(formatOf(style)) {}

    /// Renders the split fields of `data`. Stops the process on a rate of 0 or when a leading
    /// number does not fit in 32 bits; an overflown value renders as "+∞" or "-∞".
    [[nodiscard]] std::string render(const TimecodeData& data) const;

    friend constexpr bool operator==(const TimecodeFormat&, const TimecodeFormat&) = default;

    Unit unit;
    /// When present the leading number is shown as min(value, cap); smaller fields are not capped.
    std::optional<std::uint32_t> unitCapValue;
    /// When present the leading number is zero-filled to this width (a negative width pads with
    /// spaces on the right, as a printf "-" flag would).
    std::optional<int> unitFieldWidth;
    Precision precision;
    /// Prefix "+" to non-negative values (zero included).
    bool positiveSign;
    /// When false a leading number of 0 is left out together with its separator.
    bool fullDisplay;
    /// Used by the display when laying the text out; rendering ignores it.
    bool padding;

private:
    static constexpr TimecodeFormat formatOf(Style style) {
        using enum Precision;
        switch (style) {
        case Style::all:
            return {Unit::day, std::nullopt, std::nullopt, frame, true, true, true};
        case Style::standard:
            return {Unit::hour, std::nullopt, std::nullopt, centisecond, false, true, true};
        case Style::discPlayer:
            return {Unit::minute, std::nullopt, std::nullopt, second, false, true, true};
        case Style::discPlayerCentiseconds:
            return {Unit::minute, std::nullopt, std::nullopt, centisecond, false, false, true};
        case Style::cddaPlayer:
            // A CD player's display has two digits for the minutes.
            return {Unit::minute, 99u, std::nullopt, second, false, true, true};
        case Style::cdda:
            return {Unit::minute, std::nullopt, std::nullopt, cdda75thOfSecond, true, true, true};
        case Style::cddaCueSheet:
            return {Unit::minute, std::nullopt, 2, cdda75thOfSecond, false, true, true};
        case Style::toc:
            return {Unit::minute, std::nullopt, 2, centisecond, false, true, true};
        case Style::frames:
            return {Unit::hour, std::nullopt, std::nullopt, frame, false, true, true};
        }
        return {Unit::day, std::nullopt, std::nullopt, frame, true, true, true};
    }
};

} // namespace lorvan
