// BGR <-> CMYK row conversions of QImageEx.
//
// The conversion is the device-independent "naive" CMYK: black takes the
// darkness of the brightest channel, and each ink is the distance of its
// channel below that brightest channel, rescaled to the full 0..255 range:
//
//   max = max(R, G, B),  K = 255 - max,
//   C = round(255 * (max - R) / max)          (0 when max == 0)
//   R = max - round(C * max / 255)            (back, with max = 255 - K)
//
// Rounding to nearest on both sides makes the round trip exact: the forward
// step stretches 0..max onto 0..255 (steps of at least 1), and the backward
// error stays below one half, so every 24-bit colour comes back unchanged.
// Both directions are tabulated once per process (2 x 64 KiB), so a pixel
// costs a few table loads and no division.
#include <vqutil/qimageex.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace {

struct CmykTables {
    // inkOf[max][max - channel]: the ink of a channel that lies that far below max.
    std::array<std::array<uint8_t, 256>, 256> inkOf{};
    // levelOf[max][ink]: the channel value that an ink gives below max.
    std::array<std::array<uint8_t, 256>, 256> levelOf{};

    CmykTables() {
        for (int max = 0; max < 256; ++max) {
            for (int v = 0; v < 256; ++v) {
                // round(a / b) as (2a + b) / (2b) for non-negative integers.
                inkOf[max][v] = max == 0 || v > max
                                    ? 0
                                    : static_cast<uint8_t>((2 * 255 * v + max) / (2 * max));
                levelOf[max][v] = static_cast<uint8_t>(max - (2 * v * max + 255) / 510);
            }
        }
    }
};

const CmykTables& cmykTables() {
    static const CmykTables tables;
    return tables;
}

}  // namespace

void QImageEx::BgrToCmyk(unsigned char* cmyk, unsigned char* bgr, unsigned int count) {
    if (!cmyk || !bgr)
        return;
    const CmykTables& t = cmykTables();
    for (unsigned int i = 0; i < count; ++i, bgr += 3, cmyk += 4) {
        const unsigned b = bgr[0], g = bgr[1], r = bgr[2];
        const unsigned max = std::max(r, std::max(g, b));
        const auto& ink = t.inkOf[max];
        cmyk[0] = ink[max - r];
        cmyk[1] = ink[max - g];
        cmyk[2] = ink[max - b];
        cmyk[3] = static_cast<unsigned char>(255 - max);
    }
}

void QImageEx::CmykToBgr(unsigned char* bgr, unsigned char* cmyk, unsigned int count) {
    if (!cmyk || !bgr)
        return;
    const CmykTables& t = cmykTables();
    for (unsigned int i = 0; i < count; ++i, bgr += 3, cmyk += 4) {
        const auto& level = t.levelOf[255 - cmyk[3]];
        const unsigned char c = cmyk[0], m = cmyk[1], y = cmyk[2];
        bgr[0] = level[y];
        bgr[1] = level[m];
        bgr[2] = level[c];
    }
}
