#pragma once

#include "core/FatalError.hpp"
#include "core/SourceLocation.hpp"

#include <concepts>
#include <limits>

namespace lorvan {

// Frame counts, timecodes and table widths must never wrap: a wrapped position plays the wrong
// audio silently. Every sum, difference and product of such values goes through these helpers,
// which stop the process at the caller's line instead.

template <std::integral T>
[[nodiscard]] constexpr T checkedAdd(T a, T b, SourceLocation at = SourceLocation::current()) {
    T result{};
    if (__builtin_add_overflow(a, b, &result)) fatalError("integer overflow in addition", at);
    return result;
}

template <std::integral T>
[[nodiscard]] constexpr T checkedSubtract(T a, T b, SourceLocation at = SourceLocation::current()) {
    T result{};
    if (__builtin_sub_overflow(a, b, &result)) fatalError("integer overflow in subtraction", at);
    return result;
}

template <std::integral T>
[[nodiscard]] constexpr T checkedMultiply(T a, T b, SourceLocation at = SourceLocation::current()) {
    T result{};
    if (__builtin_mul_overflow(a, b, &result)) fatalError("integer overflow in multiplication", at);
    return result;
}

template <std::signed_integral T>
[[nodiscard]] constexpr T checkedNegate(T a, SourceLocation at = SourceLocation::current()) {
    if (a == std::numeric_limits<T>::min()) fatalError("integer overflow in negation", at);
    return -a;
}

/// Converts between integer types, stopping the process when the value does not fit.
template <std::integral To, std::integral From>
[[nodiscard]] constexpr To checkedCast(From value, SourceLocation at = SourceLocation::current()) {
    To result{};
    if (__builtin_add_overflow(value, From{0}, &result)) fatalError("integer conversion out of range", at);
    return result;
}

} // namespace lorvan
