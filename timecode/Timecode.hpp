#pragma once

#include "core/CompactDisc.hpp"
#include "core/LocalizedError.hpp"
#include "timecode/TimecodeFormat.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>

namespace lorvan {

/// A frame count at a rate together with its split into days, hours, minutes, seconds and
/// frames. The split always describes abs(position); the sign lives in `isNegative`.
struct TimecodeData {
    /// One named component of a timecode with its payload: a flag for `isOverflown` and
    /// `isNegative`, an unsigned count for the others. Build it with the factories so that the
    /// payload always has the type its kind calls for.
    struct Element {
        enum class Kind { isOverflown, isNegative, frame, second, minute, hour, day, year };

        Kind kind;
        std::variant<bool, std::uint32_t> payload;

        [[nodiscard]] static constexpr Element isOverflown(bool value) { return {Kind::isOverflown, value}; }
        [[nodiscard]] static constexpr Element isNegative(bool value) { return {Kind::isNegative, value}; }
        [[nodiscard]] static constexpr Element frame(std::uint32_t value) { return {Kind::frame, value}; }
        [[nodiscard]] static constexpr Element second(std::uint32_t value) { return {Kind::second, value}; }
        [[nodiscard]] static constexpr Element minute(std::uint32_t value) { return {Kind::minute, value}; }
        [[nodiscard]] static constexpr Element hour(std::uint32_t value) { return {Kind::hour, value}; }
        [[nodiscard]] static constexpr Element day(std::uint32_t value) { return {Kind::day, value}; }
        [[nodiscard]] static constexpr Element year(std::uint32_t value) { return {Kind::year, value}; }

        friend constexpr bool operator==(const Element&, const Element&) = default;
    };

    std::int64_t position = 0;
    /// Set by callers for their own bookkeeping; neither the split nor the arithmetic read it.
    std::int64_t relativeOrigin = 0;
    std::int32_t rate = 44100;
    /// Sticky: the split sets it when position reaches a 64-bit limit and never clears it.
    bool isOverflown = false;
    bool isNegative = false;
    std::uint32_t day = 0;
    std::uint32_t hour = 0;
    std::uint32_t minute = 0;
    std::uint32_t second = 0;
    std::uint32_t frame = 0;

    /// Recomputes `isOverflown`, `isNegative` and the components from `position` and `rate`.
    /// Stops the process on a rate of 0, on a position of -2^63 and when a component does not
    /// fit in 32 bits.
    void split();

    friend bool operator==(const TimecodeData&, const TimecodeData&) = default;
};

/// Refusal code of timecode operations; it carries no texts of its own.
class TimecodeError : public LocalizedError {
public:
    explicit TimecodeError(long rawValue_);

    [[nodiscard]] std::string typeName() const override { return "TimecodeError"; }
    [[nodiscard]] std::string kindName() const override;
    [[nodiscard]] std::optional<std::string> errorDescription() const override { return std::nullopt; }

    long rawValue;
};

/// Frame rates with a name, as frames per second.
enum class RateType : std::int32_t {
    GHz = 1000000000,
    MHz = 1000000,
    kHz = 1000,
    hHz = 100,
    daHz = 10,
    Hz = 1,
    n192k = 192000,
    n96k = 96000,
    n48k = 48000,
    /// Sample frames per second of disc audio.
    cdda = static_cast<std::int32_t>(lorvan::cdda::framesPerSecond),
    /// CD sectors per second.
    cddaSector = static_cast<std::int32_t>(lorvan::cdda::sectorsPerSecond),
};

/// The named rate for `rawValue`, or none for any other number.
[[nodiscard]] std::optional<RateType> rateTypeFromRawValue(std::int32_t rawValue);

/// The one time type of the system: audio positions in sample frames, disc addresses in CD
/// sectors and clock values in decimal units. A small value: copy it freely, on any thread.
///
/// Every change of the position re-splits it. Arithmetic that would leave 64 bits, a rate of 0
/// and negating -2^63 stop the process rather than wrap: a wrapped position plays the wrong audio.
class Timecode {
public:
    /// Units of arithmetic and of conversion.
    enum class Unit {
        day,
        hour,
        minute,
        second,
        decisecond,
        cdda75thOfSecond,
        centisecond,
        milisecond,
        frame
    };

    /// Position 0 at the disc audio rate.
    Timecode();
    Timecode(std::int64_t position, std::int32_t rate);
    /// Takes position and rate from `data` and recomputes everything else.
    explicit Timecode(const TimecodeData& data);
    Timecode(std::uint32_t frame, std::uint32_t second, std::uint32_t minute, std::uint32_t hour,
             std::uint32_t day, std::int32_t rate);

    /// The largest position, 2^63 − 1, marked overflown.
    [[nodiscard]] static Timecode max(std::int32_t rate);

    [[nodiscard]] const TimecodeData& data() const { return data_; }
    /// A freshly split copy at `newRate` (position not rescaled), or none when the rate change
    /// is refused by `canChangeRate`.
    [[nodiscard]] std::optional<TimecodeData> data(std::int32_t atRate) const;

    [[nodiscard]] std::int64_t position() const { return data_.position; }
    void setPosition(std::int64_t position);

    [[nodiscard]] std::int64_t relativeOrigin() const { return data_.relativeOrigin; }
    void setRelativeOrigin(std::int64_t relativeOrigin) { data_.relativeOrigin = relativeOrigin; }

    [[nodiscard]] std::int32_t rate() const { return data_.rate; }

    [[nodiscard]] bool isOverflown() const { return data_.isOverflown; }
    [[nodiscard]] bool isNegative() const { return data_.isNegative; }
    [[nodiscard]] std::uint32_t day() const { return data_.day; }
    [[nodiscard]] std::uint32_t hour() const { return data_.hour; }
    [[nodiscard]] std::uint32_t minute() const { return data_.minute; }
    [[nodiscard]] std::uint32_t second() const { return data_.second; }
    [[nodiscard]] std::uint32_t frame() const { return data_.frame; }

    /// Carried for the owner of a counting timecode; nothing here reads it.
    [[nodiscard]] bool isResetingAtOverflow() const { return isResetingAtOverflow_; }
    void setIsResetingAtOverflow(bool value) { isResetingAtOverflow_ = value; }

    [[nodiscard]] bool isOnlyPositive() const { return isOnlyPositive_; }
    /// True clears `isOnlyNegative` and moves a negative position to 0; false only clears the flag.
    void setIsOnlyPositive(bool value);
    [[nodiscard]] bool isOnlyNegative() const { return isOnlyNegative_; }
    /// True clears `isOnlyPositive` and moves a positive position to 0; false only clears the flag.
    void setIsOnlyNegative(bool value);

    [[nodiscard]] bool isNegativeOverflow() const { return data_.isOverflown && data_.isNegative; }
    [[nodiscard]] bool isPositiveOverflow() const { return data_.isOverflown && !data_.isNegative; }

    /// The position as a real number of `unit`.
    [[nodiscard]] double value(Unit unit) const;

    /// Frames in one `unit` at this rate. Units below a second are 0 when the rate is not a whole
    /// multiple of them; units from a second up stop the process beyond 32 bits or at a negative rate.
    [[nodiscard]] std::uint32_t unitFrames(Unit unit) const;

    // The clamps are asymmetric on purpose: only `isOnlyNegative` limits the counting operations
    // below, while `isOnlyPositive` is consulted by its setter and by the component subtraction.

    void reset();
    void negate();
    void increment();
    void decrement();
    void add(std::int64_t count, Unit unit);
    void subtract(std::int64_t count, Unit unit);
    void add(std::uint32_t frame, std::uint32_t second, std::uint32_t minute, std::uint32_t hour,
             std::uint32_t day);
    /// Works by negating, adding and negating again, so that with `isOnlyNegative` set the clamp
    /// sees the negated value; with `isOnlyPositive` set an amount reaching the position gives 0.
    void subtract(std::uint32_t frame, std::uint32_t second, std::uint32_t minute, std::uint32_t hour,
                  std::uint32_t day);

    /// Rewrites the chosen components in place and keeps the sign (a timecode that may only be
    /// negative becomes negative). A component of 0 or outside its range (second and minute
    /// 1..59, hour 1..23, day 1..364, frame 1..rate−1) leaves that field as it is; the position is
    /// then rebuilt from the fields, so it cannot be used to zero a field — `add`/`subtract` do that.
    void replaceComponents(std::uint32_t frame, std::uint32_t second, std::uint32_t minute,
                           std::uint32_t hour, std::uint32_t day);

    /// True for equal rates. A higher rate is accepted exactly when it is NOT a whole multiple of
    /// the current one; a lower rate only when it divides the current one and `frame` is a whole
    /// multiple of the ratio. Existing callers rely on this exact answer, inverted test included.
    [[nodiscard]] bool canChangeRate(std::int32_t newRate) const;
    /// Stores `newRate` when `canChangeRate` allows it. The position is not rescaled and the split
    /// is left as it was.
    bool setRate(std::int32_t newRate);

    [[nodiscard]] std::string formatted(const TimecodeFormat& format) const;
    [[nodiscard]] std::string formatted(TimecodeFormat::Style style) const;
    /// The `all` style: "+0 days 00:03:25'22050".
    [[nodiscard]] std::string description() const;

    friend bool operator==(const Timecode&, const Timecode&) = default;

private:
    void setPositionAndSplit(std::int64_t position);
    void addDelta(std::int64_t delta);
    [[nodiscard]] std::int64_t componentFrames(std::uint32_t frame, std::uint32_t second,
                                               std::uint32_t minute, std::uint32_t hour,
                                               std::uint32_t day) const;

    TimecodeData data_;
    bool isResetingAtOverflow_ = false;
    bool isOnlyPositive_ = false;
    bool isOnlyNegative_ = false;
};

} // namespace lorvan

template <> struct std::hash<lorvan::TimecodeData> {
    std::size_t operator()(const lorvan::TimecodeData& data) const noexcept;
};
