// DibColorBlend: one colour laid on another under a blend mode.
#include <vqutil/adjust.h>

#include "hsl.h"

#include <algorithm>
#include <cstdlib>

namespace {

int blendChannel(int a, int b, BLENDMODE mode) {
    switch (mode) {
    case BLEND_NORMAL: return b;
    case BLEND_SUBTRACT: return std::max(a - b, 0);
    case BLEND_MULTIPLY: return a * b / 255;
    case BLEND_LIGHTEN: return std::max(a, b);
    case BLEND_DARKEN: return std::min(a, b);
    case BLEND_DIFFERENCE: return std::abs(a - b);
    default: return 255 - (255 - a) * (255 - b) / 255;  // BLEND_SCREEN
    }
}

vq::Hsl hslOf(const tagRGBQUAD& c) { return vq::rgbToHsl(c.rgbRed, c.rgbGreen, c.rgbBlue); }

}  // namespace

void DibColorBlend(tagRGBQUAD a, tagRGBQUAD b, tagRGBQUAD* result, BLENDMODE mode) {
    if (!result)
        return;
    switch (mode) {
    case BLEND_NORMAL:
    case BLEND_SUBTRACT:
    case BLEND_MULTIPLY:
    case BLEND_LIGHTEN:
    case BLEND_DARKEN:
    case BLEND_DIFFERENCE:
    case BLEND_SCREEN:
        result->rgbBlue = static_cast<uint8_t>(blendChannel(a.rgbBlue, b.rgbBlue, mode));
        result->rgbGreen = static_cast<uint8_t>(blendChannel(a.rgbGreen, b.rgbGreen, mode));
        result->rgbRed = static_cast<uint8_t>(blendChannel(a.rgbRed, b.rgbRed, mode));
        return;
    case BLEND_LUMINOSITY:
    case BLEND_HUE:
    case BLEND_SATURATION:
    case BLEND_COLOR: {
        const vq::Hsl under = hslOf(a), over = hslOf(b);
        vq::Hsl mixed = under;
        if (mode == BLEND_LUMINOSITY)
            mixed.l = over.l;
        if (mode == BLEND_HUE || mode == BLEND_COLOR)
            mixed.h = over.h;
        if (mode == BLEND_SATURATION || mode == BLEND_COLOR)
            mixed.s = over.s;
        const vq::Rgb8 rgb = vq::hslToRgb(mixed);
        result->rgbRed = rgb.r;
        result->rgbGreen = rgb.g;
        result->rgbBlue = rgb.b;
        return;
    }
    default:  // BLEND_NONE and unknown modes
        return;
    }
}
