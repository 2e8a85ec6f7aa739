// White balance (DibAdjustWhiteBalance): channel gains for temperature and
// tint, applied in linear light (the sRGB transfer undone, the gain applied,
// the transfer redone), where a change of illuminant is a plain scaling of
// each channel. The gains become one table per channel for AdjustRGBOffset.
#include <vqutil/adjust.h>

#include "photo_support.h"

#include <cmath>

namespace {

double linearFromSrgb(double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); }

double srgbFromLinear(double v) { return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055; }

void gainTable(uint8_t* table, double gain) {
    for (int v = 0; v < 256; ++v)
        table[v] = gain == 1 ? static_cast<uint8_t>(v)
                             : vq::byteRounded(255 * srgbFromLinear(std::min(1.0, linearFromSrgb(v / 255.0) * gain)));
}

}  // namespace

namespace vq {

// A full warm setting is a stop more red and a stop less blue; a full tint
// takes green down half a stop and red and blue up a quarter (magenta).
WhiteBalanceTables whiteBalanceTables(double temperature, double tint) {
    WhiteBalanceTables t;
    gainTable(t.red, std::exp2(temperature + 0.25 * tint));
    gainTable(t.green, std::exp2(-0.5 * tint));
    gainTable(t.blue, std::exp2(-temperature + 0.25 * tint));
    return t;
}

}  // namespace vq

void DibAdjustWhiteBalance(QImageEx& image, float temperature, float tint) {
    double t, u;
    if (image.isNull() || !vq::clampedParameter(temperature, -100, 100, t) || !vq::clampedParameter(tint, -100, 100, u) ||
        (t == 0 && u == 0))
        return;
    // Grey and alpha-only images have no colour balance to move.
    if (image.format() == QImage::Format_Grayscale8 || image.format() == QImage::Format_Alpha8)
        return;
    vq::WhiteBalanceTables tables = vq::whiteBalanceTables(t / 100, u / 100);
    AdjustRGBOffset(image, nullptr, tables.red, tables.green, tables.blue, nullptr);
}
