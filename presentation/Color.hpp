#pragma once

#include <cstdint>

namespace lorvan {

/// An sRGB colour with opacity, each component a fraction from 0 to 1 (not premultiplied).
struct Color {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    /// A 24-bit RGB value such as 0xFFAA00, each component divided by 255, opaque.
    [[nodiscard]] static constexpr Color rgb(std::uint32_t hex, double alpha = 1) {
        return {static_cast<double>((hex >> 16) & 0xFF) / 255.0,
                static_cast<double>((hex >> 8) & 0xFF) / 255.0, static_cast<double>(hex & 0xFF) / 255.0,
                alpha};
    }
    [[nodiscard]] static constexpr Color black(double alpha = 1) { return {0, 0, 0, alpha}; }
    [[nodiscard]] static constexpr Color white(double alpha = 1) { return {1, 1, 1, alpha}; }
    [[nodiscard]] static constexpr Color clear() { return {0, 0, 0, 0}; }

    /// The same colour at another opacity.
    [[nodiscard]] constexpr Color withAlpha(double newAlpha) const { return {red, green, blue, newAlpha}; }

    /// This colour moved `fraction` of the way towards `other` in OKLab, where equal steps look
    /// equal: black mixed 20 % towards amber is a dim amber, not the muddy brown of an sRGB mix.
    /// Opacity is mixed linearly. `fraction` is clamped to 0...1.
    [[nodiscard]] Color mixed(const Color& other, double fraction) const;

    /// True when every component is a finite number from 0 to 1.
    [[nodiscard]] bool isValid() const;

    friend bool operator==(const Color&, const Color&) = default;
};

/// A colour in Björn Ottosson's OKLab space: perceived lightness `l` and the opponent axes `a`, `b`.
struct OKLab {
    double l = 0;
    double a = 0;
    double b = 0;
};

[[nodiscard]] OKLab toOKLab(const Color& color);
/// Back to sRGB, clamped into the gamut; opacity `alpha`.
[[nodiscard]] Color fromOKLab(const OKLab& lab, double alpha = 1);

} // namespace lorvan
