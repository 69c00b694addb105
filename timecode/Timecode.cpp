#include "timecode/Timecode.hpp"

#include "core/Checked.hpp"
#include "core/FatalError.hpp"

#include <limits>

namespace lorvan {

namespace {

constexpr std::int64_t secondsPerMinute = 60;
constexpr std::int64_t secondsPerHour = 3600;
constexpr std::int64_t secondsPerDay = 86400;

void requireRate(std::int64_t rate) {
    if (rate == 0) fatalError("timecode rate is 0");
}

} // namespace

// MARK: - TimecodeData

void TimecodeData::split() {
    if (position == std::numeric_limits<std::int64_t>::min() ||
        position == std::numeric_limits<std::int64_t>::max())
        isOverflown = true;

    std::int64_t magnitude = position;
    if (position < 0) {
        isNegative = true;
        magnitude = checkedNegate(position);
    } else {
        isNegative = false;
    }

    const std::int64_t r = rate;
    requireRate(r);
    const auto framesPerDay = checkedMultiply(r, secondsPerDay);
    const auto framesPerHour = checkedMultiply(r, secondsPerHour);
    const auto framesPerMinute = checkedMultiply(r, secondsPerMinute);
    day = checkedCast<std::uint32_t>(magnitude / framesPerDay);
    hour = checkedCast<std::uint32_t>(magnitude % framesPerDay / framesPerHour);
    minute = checkedCast<std::uint32_t>(magnitude % framesPerHour / framesPerMinute);
    second = checkedCast<std::uint32_t>(magnitude % framesPerMinute / r);
    frame = checkedCast<std::uint32_t>(magnitude % r);
}

// MARK: - TimecodeError and RateType

TimecodeError::TimecodeError(long rawValue_)
    : LocalizedError("TimecodeError " + std::to_string(rawValue_))
    , rawValue(rawValue_) {}

std::string TimecodeError::kindName() const {
    return std::to_string(rawValue);
}

std::optional<RateType> rateTypeFromRawValue(std::int32_t rawValue) {
    switch (static_cast<RateType>(rawValue)) {
    case RateType::GHz:
    case RateType::MHz:
    case RateType::kHz:
    case RateType::hHz:
    case RateType::daHz:
    case RateType::Hz:
    case RateType::n192k:
    case RateType::n96k:
    case RateType::n48k:
    case RateType::cdda:
    case RateType::cddaSector:
        return static_cast<RateType>(rawValue);
    }
    return std::nullopt;
}

// MARK: - Construction

Timecode::Timecode()
    : Timecode(0, static_cast<std::int32_t>(RateType::cdda)) {}

Timecode::Timecode(std::int64_t position, std::int32_t rate) {
    data_.position = position;
    data_.rate = rate;
    data_.split();
}

Timecode::Timecode(const TimecodeData& data)
    : Timecode(data.position, data.rate) {}

Timecode::Timecode(std::uint32_t frame, std::uint32_t second, std::uint32_t minute, std::uint32_t hour,
                   std::uint32_t day, std::int32_t rate) {
    data_.rate = rate;
    data_.position = componentFrames(frame, second, minute, hour, day);
    data_.split();
}

Timecode Timecode::max(std::int32_t rate) {
    return Timecode(std::numeric_limits<std::int64_t>::max(), rate);
}

// MARK: - Properties

std::optional<TimecodeData> Timecode::data(std::int32_t atRate) const {
    if (!canChangeRate(atRate)) return std::nullopt;
    TimecodeData copy = data_;
    copy.rate = atRate;
    copy.split();
    return copy;
}

void Timecode::setPosition(std::int64_t position) {
    setPositionAndSplit(position);
}

void Timecode::setIsOnlyPositive(bool value) {
    isOnlyPositive_ = value;
    if (!value) return;
    isOnlyNegative_ = false;
    if (data_.position < 0) setPositionAndSplit(0);
}

void Timecode::setIsOnlyNegative(bool value) {
    isOnlyNegative_ = value;
    if (!value) return;
    isOnlyPositive_ = false;
    if (data_.position >= 1) setPositionAndSplit(0);
}

double Timecode::value(Unit unit) const {
    const auto p = static_cast<double>(data_.position);
    const auto r = static_cast<double>(data_.rate);
    switch (unit) {
    case Unit::day:
        return p / r / 86400;
    case Unit::hour:
        return p / r / 3600;
    case Unit::minute:
        return p / r / 60;
    case Unit::second:
        return p / r;
    case Unit::decisecond:
        return p * 10 / r;
    case Unit::cdda75thOfSecond:
        return p * 75 / r;
    case Unit::centisecond:
        return p * 100 / r;
    case Unit::milisecond:
        return p * 1000 / r;
    case Unit::frame:
        return p;
    }
    return p;
}

std::uint32_t Timecode::unitFrames(Unit unit) const {
    const std::int64_t r = data_.rate;
    const auto wholeSeconds = [r](std::int64_t seconds) {
        const auto frames = checkedMultiply(r, seconds);
        if (frames < 0 || frames > std::numeric_limits<std::uint32_t>::max())
            fatalError("timecode unit of " + std::to_string(seconds) + " s at rate " + std::to_string(r) +
                       " does not fit in 32 bits");
        return static_cast<std::uint32_t>(frames);
    };
    // A unit that does not divide the rate evenly has no whole number of frames; adding it is a no-op.
    const auto fraction = [r](std::int64_t perSecond) {
        return r % perSecond == 0 ? checkedCast<std::uint32_t>(r / perSecond) : std::uint32_t{0};
    };
    switch (unit) {
    case Unit::day:
        return wholeSeconds(secondsPerDay);
    case Unit::hour:
        return wholeSeconds(secondsPerHour);
    case Unit::minute:
        return wholeSeconds(secondsPerMinute);
    case Unit::second:
        return wholeSeconds(1);
    case Unit::decisecond:
        return fraction(10);
    case Unit::cdda75thOfSecond:
        return fraction(75);
    case Unit::centisecond:
        return fraction(100);
    case Unit::milisecond:
        return fraction(1000);
    case Unit::frame:
        return 1;
    }
    return 1;
}

// MARK: - Arithmetic

void Timecode::setPositionAndSplit(std::int64_t position) {
    data_.position = position;
    data_.split();
}

std::int64_t Timecode::componentFrames(std::uint32_t frame, std::uint32_t second, std::uint32_t minute,
                                       std::uint32_t hour, std::uint32_t day) const {
    std::int64_t seconds = second;
    seconds = checkedAdd(seconds, checkedMultiply<std::int64_t>(minute, secondsPerMinute));
    seconds = checkedAdd(seconds, checkedMultiply<std::int64_t>(hour, secondsPerHour));
    seconds = checkedAdd(seconds, checkedMultiply<std::int64_t>(day, secondsPerDay));
    return checkedAdd(checkedMultiply<std::int64_t>(seconds, data_.rate), std::int64_t{frame});
}

void Timecode::reset() {
    setPositionAndSplit(0);
}

void Timecode::negate() {
    setPositionAndSplit(checkedNegate(data_.position));
}

void Timecode::increment() {
    if (isOnlyNegative_ && data_.position >= -1) {
        setPositionAndSplit(0);
    } else {
        setPositionAndSplit(checkedAdd<std::int64_t>(data_.position, 1));
    }
}

void Timecode::decrement() {
    if (isOnlyNegative_ && data_.position > 0) {
        setPositionAndSplit(0);
    } else {
        setPositionAndSplit(checkedSubtract<std::int64_t>(data_.position, 1));
    }
}

void Timecode::addDelta(std::int64_t delta) {
    if (isOnlyNegative_ && data_.position >= checkedNegate(delta)) {
        setPositionAndSplit(0);
    } else {
        setPositionAndSplit(checkedAdd(data_.position, delta));
    }
}

void Timecode::add(std::int64_t count, Unit unit) {
    addDelta(checkedMultiply<std::int64_t>(unitFrames(unit), count));
}

void Timecode::subtract(std::int64_t count, Unit unit) {
    addDelta(checkedMultiply<std::int64_t>(unitFrames(unit), checkedNegate(count)));
}

void Timecode::add(std::uint32_t frame, std::uint32_t second, std::uint32_t minute, std::uint32_t hour,
                   std::uint32_t day) {
    addDelta(componentFrames(frame, second, minute, hour, day));
}

void Timecode::subtract(std::uint32_t frame, std::uint32_t second, std::uint32_t minute, std::uint32_t hour,
                        std::uint32_t day) {
    const auto amount = componentFrames(frame, second, minute, hour, day);
    if (isOnlyPositive_ && amount >= data_.position) {
        setPositionAndSplit(0);
        return;
    }
    negate();
    addDelta(amount);
    negate();
}

void Timecode::replaceComponents(std::uint32_t frame, std::uint32_t second, std::uint32_t minute,
                                 std::uint32_t hour, std::uint32_t day) {
    const auto inRange = [](std::uint32_t value, std::int64_t last) { return value >= 1 && value <= last; };
    TimecodeData fields = data_;
    if (inRange(frame, std::int64_t{data_.rate} - 1)) fields.frame = frame;
    if (inRange(second, 59)) fields.second = second;
    if (inRange(minute, 59)) fields.minute = minute;
    if (inRange(hour, 23)) fields.hour = hour;
    if (inRange(day, 364)) fields.day = day;
    const auto magnitude =
        componentFrames(fields.frame, fields.second, fields.minute, fields.hour, fields.day);
    const bool negative = data_.isNegative || isOnlyNegative_;
    setPositionAndSplit(negative ? checkedNegate(magnitude) : magnitude);
}

// MARK: - Rate change

bool Timecode::canChangeRate(std::int32_t newRate) const {
    const std::int64_t current = data_.rate;
    const std::int64_t next = newRate;
    requireRate(current);
    requireRate(next);
    if (next == current) return true;
    if (next > current) return next % current != 0;
    if (current % next != 0) return false;
    const auto ratio = current / next;
    return data_.frame == 0 || std::int64_t{data_.frame} % ratio == 0;
}

bool Timecode::setRate(std::int32_t newRate) {
    if (newRate == data_.rate) return true;
    if (!canChangeRate(newRate)) return false;
    data_.rate = newRate;
    return true;
}

// MARK: - Text

std::string Timecode::formatted(const TimecodeFormat& format) const {
    return format.render(data_);
}

std::string Timecode::formatted(TimecodeFormat::Style style) const {
    return formatted(TimecodeFormat(style));
}

std::string Timecode::description() const {
    return formatted(TimecodeFormat::Style::all);
}

} // namespace lorvan

std::size_t std::hash<lorvan::TimecodeData>::operator()(const lorvan::TimecodeData& data) const noexcept {
    std::size_t seed = 0;
    const auto combine = [&seed](auto value) {
        seed ^= std::hash<decltype(value)>{}(value) + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
    };
    combine(data.position);
    combine(data.relativeOrigin);
    combine(data.rate);
    combine(data.isOverflown);
    combine(data.isNegative);
    combine(data.day);
    combine(data.hour);
    combine(data.minute);
    combine(data.second);
    combine(data.frame);
    return seed;
}
