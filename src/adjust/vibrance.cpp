// Vibrance: colour pulled away from or towards grey in proportion to how
// far each pixel is from it.
#include <vqutil/adjust.h>

#include "adjust_support.h"
#include "core/guard.h"
#include "core/image_rows.h"
#include "core/pixel_math.h"

#include <algorithm>
#include <cstring>

namespace {

// The largest |k| for which c w + mx d stays inside 32 bits.
constexpr int kMaxVibranceFactor = 5461;

// c' = (c w + mx d) >> 16 with d = (3 mx - b0 - b1 - b2) k, w = 65280 - d:
// each channel pulled away from (k < 0) or towards (k > 0) the largest one,
// in proportion to how far the pixel is from grey.
inline uint32_t vibrantPixel(uint32_t p, int k) {
    const int c0 = p & 0xFF, c1 = (p >> 8) & 0xFF, c2 = (p >> 16) & 0xFF;
    const int mx = std::max(std::max(c0, c1), c2);
    const int d = (3 * mx - c0 - c1 - c2) * k;
    const int w = 65280 - d;
    const auto channel = [&](int c) { return static_cast<uint32_t>(std::clamp((c * w + mx * d) >> 16, 0, 255)); };
    return (p & 0xFF000000u) | channel(c2) << 16 | channel(c1) << 8 | channel(c0);
}

VQ_MULTIVERSION void vibranceRowWords(uint8_t* __restrict row, int width, int k) {
    for (int x = 0; x < width; ++x) {
        uint32_t p;
        std::memcpy(&p, row + 4 * x, 4);
        p = vibrantPixel(p, k);
        std::memcpy(row + 4 * x, &p, 4);
    }
}

void vibranceRowBytes(uint8_t* row, int width, int bpp, int k) {
    for (int x = 0; x < width; ++x, row += bpp) {
        const uint32_t p = vibrantPixel(row[0] | row[1] << 8 | row[2] << 16, k);
        row[0] = static_cast<uint8_t>(p);
        row[1] = static_cast<uint8_t>(p >> 8);
        row[2] = static_cast<uint8_t>(p >> 16);
    }
}

}  // namespace

void DibAdjustVibrance(QImageEx& image, float vibrance) {
    if (image.isNull())
        return;
    const int k = std::clamp(vq::truncSaturated(-(vibrance * 256.0f)), -kMaxVibranceFactor, kMaxVibranceFactor);
    vq::guarded([&] {
        if (image.depth() < 24) {
            QVector<QRgb> colours = image.colorTable();
            for (QRgb& e : colours)
                e = vibrantPixel(e, k);  // B, G, R, A word order, as a pixel
            image.setColorTable(colours);
            return;
        }
        const int width = image.width();
        const int bpp = vq::bytesPerPixel(image);
        vq::forRowsInBandsQuietly(image, image.rect(), [&](uint8_t* row, int) {
            if (bpp == 4)
                vibranceRowWords(row, width, k);
            else
                vibranceRowBytes(row, width, bpp, k);
        });
    });
}
