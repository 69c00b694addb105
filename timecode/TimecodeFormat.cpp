#include "timecode/TimecodeFormat.hpp"

#include "core/Checked.hpp"
#include "core/FatalError.hpp"
#include "timecode/Timecode.hpp"

#include <algorithm>
#include <cstdio>

namespace lorvan {

namespace {

// The fields are unsigned 32-bit values and are printed as such; "%0*u" reproduces the printf
// width rules the formats are written in (a width of 0 behaves as none, a negative one pads
// with spaces on the right).
std::string number(std::uint32_t value, std::optional<int> width = std::nullopt) {
    const int fieldWidth = width.value_or(0);
    const int length = std::snprintf(nullptr, 0, "%0*u", fieldWidth, static_cast<unsigned>(value));
    std::string text(static_cast<std::size_t>(length), '\0');
    std::snprintf(text.data(), text.size() + 1, "%0*u", fieldWidth, static_cast<unsigned>(value));
    return text;
}

std::string twoDigits(std::uint32_t value) {
    return number(value, 2);
}

std::uint32_t decimalDigitCount(std::int64_t value) {
    std::uint32_t digits = 1;
    for (; value >= 10; value /= 10)
        ++digits;
    return digits;
}

} // namespace

std::string TimecodeFormat::render(const TimecodeData& data) const {
    if (data.isOverflown) return data.isNegative ? "-∞" : "+∞";

    const auto cap = [this](std::uint32_t value) {
        return unitCapValue ? std::min(value, *unitCapValue) : value;
    };
    const auto leading = [this](std::uint32_t value) { return number(value, unitFieldWidth); };

    std::string text;
    switch (unit) {
    case Unit::day: {
        const auto days = cap(data.day);
        if (!fullDisplay && days == 0) {
            text = twoDigits(data.hour) + ":" + twoDigits(data.minute) + ":" + twoDigits(data.second);
        } else {
            text = leading(days) + " days " + twoDigits(data.hour) + ":" + twoDigits(data.minute) + ":" +
                   twoDigits(data.second);
        }
        break;
    }
    case Unit::hour: {
        const auto hours = cap(checkedAdd(checkedMultiply<std::uint32_t>(data.day, 24), data.hour));
        if (!fullDisplay && hours == 0) {
            text = twoDigits(data.minute) + ":" + twoDigits(data.second);
        } else {
            text = leading(hours) + ":" + twoDigits(data.minute) + ":" + twoDigits(data.second);
        }
        break;
    }
    case Unit::minute: {
        auto minutes = checkedMultiply<std::uint32_t>(data.day, 1440);
        minutes = checkedAdd(minutes, checkedMultiply<std::uint32_t>(data.hour, 60));
        minutes = cap(checkedAdd(minutes, data.minute));
        if (!fullDisplay && minutes == 0) {
            text = twoDigits(data.second);
        } else {
            text = leading(minutes) + ":" + twoDigits(data.second);
        }
        break;
    }
    case Unit::second: {
        auto seconds = checkedMultiply<std::uint32_t>(data.day, 86400);
        seconds = checkedAdd(seconds, checkedMultiply<std::uint32_t>(data.hour, 3600));
        seconds = checkedAdd(seconds, checkedMultiply<std::uint32_t>(data.minute, 60));
        text = leading(cap(checkedAdd(seconds, data.second)));
        break;
    }
    }

    if (precision != Precision::second) {
        const std::int64_t rate = data.rate;
        if (rate == 0) fatalError("timecode rate is 0");
        // Taken from the position rather than `frame`: they agree after every split, and the
        // position is what a rate change leaves untouched.
        const std::int64_t magnitude = data.position < 0 ? checkedNegate(data.position) : data.position;
        const std::int64_t f = magnitude % rate;
        const auto scaled = [&](std::int64_t perSecond) {
            return checkedCast<std::uint32_t>(checkedMultiply(f, perSecond) / rate);
        };
        switch (precision) {
        case Precision::second:
            break;
        case Precision::decisecond:
            text += "." + number(scaled(10));
            break;
        case Precision::centisecond:
            text += "." + number(scaled(100), 2);
            break;
        case Precision::milisecond:
            text += "." + number(scaled(1000), 3);
            break;
        case Precision::cdda75thOfSecond:
            text += ":" + number(scaled(75), 2);
            break;
        case Precision::frame: {
            const auto digits = decimalDigitCount(rate < 0 ? -rate : rate);
            text += "'" + number(data.frame, static_cast<int>(digits));
            break;
        }
        }
    }

    if (data.isNegative) return "-" + text;
    if (positiveSign) return "+" + text;
    return text;
}

} // namespace lorvan
