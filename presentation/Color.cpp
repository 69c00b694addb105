#include "presentation/Color.hpp"

#include <algorithm>
#include <cmath>

namespace lorvan {
namespace {

double toLinear(double c) {
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}
double toGamma(double c) {
    return c <= 0.0031308 ? 12.92 * c : 1.055 * std::pow(c, 1.0 / 2.4) - 0.055;
}
bool isFraction(double v) {
    return std::isfinite(v) && v >= 0 && v <= 1;
}

} // namespace

// Matrices from Ottosson, "A perceptual color space for image processing" (2020).
OKLab toOKLab(const Color& color) {
    const double r = toLinear(color.red), g = toLinear(color.green), b = toLinear(color.blue);
    const double l = std::cbrt(0.4122214708 * r + 0.5363325363 * g + 0.0514459929 * b);
    const double m = std::cbrt(0.2119034982 * r + 0.6806995451 * g + 0.1073969566 * b);
    const double s = std::cbrt(0.0883024619 * r + 0.2817188376 * g + 0.6299787005 * b);
    return {0.2104542553 * l + 0.7936177850 * m - 0.0040720468 * s,
            1.9779984951 * l - 2.4285922050 * m + 0.4505937099 * s,
            0.0259040371 * l + 0.7827717662 * m - 0.8086757660 * s};
}

Color fromOKLab(const OKLab& lab, double alpha) {
    const double l = lab.l + 0.3963377774 * lab.a + 0.2158037573 * lab.b;
    const double m = lab.l - 0.1055613458 * lab.a - 0.0638541728 * lab.b;
    const double s = lab.l - 0.0894841775 * lab.a - 1.2914855480 * lab.b;
    const double l3 = l * l * l, m3 = m * m * m, s3 = s * s * s;
    const auto channel = [](double linear) { return std::clamp(toGamma(std::max(linear, 0.0)), 0.0, 1.0); };
    return {channel(4.0767416621 * l3 - 3.3077115913 * m3 + 0.2309699292 * s3),
            channel(-1.2684380046 * l3 + 2.6097574011 * m3 - 0.3413193965 * s3),
            channel(-0.0041960863 * l3 - 0.7034186147 * m3 + 1.7076147010 * s3), alpha};
}

Color Color::mixed(const Color& other, double fraction) const {
    const double t = std::clamp(fraction, 0.0, 1.0);
    const OKLab from = toOKLab(*this), to = toOKLab(other);
    return fromOKLab(
        {from.l + (to.l - from.l) * t, from.a + (to.a - from.a) * t, from.b + (to.b - from.b) * t},
        alpha + (other.alpha - alpha) * t);
}

bool Color::isValid() const {
    return isFraction(red) && isFraction(green) && isFraction(blue) && isFraction(alpha);
}

} // namespace lorvan
