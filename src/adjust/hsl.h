// The library's HSL model (double precision): hue 0..1 in sixths starting
// at red, saturation and lightness 0..1. Greys and black carry hue 1.0 and
// saturation 0; a hue of 1.0 reads as red.
#pragma once

#include <cmath>
#include <cstdint>

#include "core/byte_rules.h"

namespace vq {

struct Hsl {
    double h = 1.0;
    double s = 0.0;
    double l = 0.0;
};

inline Hsl rgbToHsl(int red, int green, int blue) {
    const double r = red / 255.0, g = green / 255.0, b = blue / 255.0;
    const double max = std::fmax(r, std::fmax(g, b));
    const double min = std::fmin(r, std::fmin(g, b));
    Hsl out;
    out.l = (max + min) / 2;
    if (out.l <= 0)
        return out;
    const double delta = max - min;
    if (delta <= 0)
        return out;
    out.s = out.l <= 0.5 ? delta / (max + min) : delta / (2.0 - max - min);
    double h;
    if (r == max)
        h = g == min ? 5 + (max - b) / delta : 1 - (max - g) / delta;
    else if (g == max)
        h = b == min ? 1 + (max - r) / delta : 3 - (max - b) / delta;
    else
        h = r == min ? 3 + (max - g) / delta : 5 - (max - r) / delta;
    out.h = h / 6;
    return out;
}

struct Rgb8 {
    uint8_t r = 0, g = 0, b = 0;
};

inline Rgb8 hslToRgb(Hsl c) {
    const double m2 = c.l <= 0.5 ? c.l * (1 + c.s) : c.l + c.s - c.l * c.s;
    if (!(m2 > 0))
        return {};
    const double m1 = 2 * c.l - m2;
    const double hue = c.h == 1.0 ? 0.0 : c.h;
    const double h6 = hue * 6;
    const int sextant = h6 >= 0 && h6 < 6 ? static_cast<int>(h6) : 0;
    const double f = h6 - sextant;
    const double up = m1 + f * (m2 - m1), down = m2 - f * (m2 - m1);
    double r, g, b;
    switch (sextant) {
    case 0: r = m2; g = up; b = m1; break;
    case 1: r = down; g = m2; b = m1; break;
    case 2: r = m1; g = m2; b = up; break;
    case 3: r = m1; g = down; b = m2; break;
    case 4: r = up; g = m1; b = m2; break;
    default: r = m2; g = m1; b = down; break;
    }
    return {byteFromUnitRounded(r), byteFromUnitRounded(g), byteFromUnitRounded(b)};
}

}  // namespace vq
