// Colour balance (DibColorBalance): shadow, midtone and highlight
// corrections per channel through a fixed three-stage pipeline, optionally
// keeping each pixel's HSL lightness.
//
// The pipeline is a white point (s), a black point (h) and a gain (m):
//   x = trunc(c / (1 - s)); y = trunc((min(x, 255) - 255 h) / (1 - h));
//   z = trunc(max(y, 0) (m + 1)); c' = min(z, 255).
// Each range pulls on the stage that leaves the opposite end alone, so that
// the sliders do not fight over one end of the scale: highlights move the
// white point (0 stays 0), shadows the black point (255 stays 255), and
// midtones keep both ends by clipping instead: a gain that saturates at 255
// upward, and its mirror image about mid-grey, a raised input black point,
// downward. Black points compose into one: each is an affine map fixing 255
// with slope 1 / (1 - h), so the slopes multiply. For shadows and
// highlights a negative setting is the inverse map of the positive one (an
// output black for an input black, an output white for an input white).
//
// Without the lightness flag the result is three 256-entry tables, applied
// by AdjustRGBOffset. With it, each pixel is balanced through the tables and
// then takes the hue and saturation of the result at its original
// lightness, in the HSL model (hsl_rows.h); a pixel the tables leave as it
// was keeps its bytes (hslToRgb(rgbToHsl(c)) == c for every colour).
#include <vqutil/adjust.h>

#include "core/guard.h"
#include "hsl_rows.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

namespace {

using ByteTable = std::array<uint8_t, 256>;

// A full slider moves its end of the scale by 40 % of full scale.
constexpr double kFullStrength = 0.4;

double strength(int slider) { return std::abs(slider) * kFullStrength / 100; }

// Factors on a grid of 2^-32 make 1 - s, c - 255 h, 1 - h and (m + 1) y
// exact, so that each stage rounds only in its quotient: 255 (1 - h) /
// (1 - h) is then exactly 255, and the ends that a range keeps stay where
// they are rather than losing a level to truncation.
double onGrid(double v) {
    constexpr double kGrid = 4294967296.0;
    return std::round(v * kGrid) / kGrid;
}

struct BalanceFactors {
    double s = 0;  // white point
    double h = 0;  // black point
    double m = 0;  // gain
};

BalanceFactors channelFactors(int shadow, int midtone, int highlight) {
    BalanceFactors f;
    const double tHighlight = strength(highlight), tShadow = strength(shadow), tMidtone = strength(midtone);
    if (highlight > 0)
        f.s = tHighlight;  // input white at 255 (1 - t)
    else if (highlight < 0)
        f.s = -tHighlight / (1 - tHighlight);  // output white at 255 (1 - t)
    double slope = 1;
    if (shadow > 0)
        slope *= 1 - tShadow;  // output black at 255 t
    else if (shadow < 0)
        slope /= 1 - tShadow;  // input black at 255 t
    if (midtone < 0)
        slope *= 1 + tMidtone;  // input black at 255 t / (1 + t)
    else if (midtone > 0)
        f.m = tMidtone;
    if (slope != 1)
        f.h = 1 - 1 / slope;
    f.s = onGrid(f.s);
    f.h = onGrid(f.h);
    f.m = onGrid(f.m);
    return f;
}

uint8_t balancedValue(int c, const BalanceFactors& f) {
    const int x = static_cast<int>(c / (1 - f.s));
    const int y = static_cast<int>((std::min(x, 255) - f.h * 255) / (1 - f.h));
    const int z = static_cast<int>(std::max(y, 0) * (f.m + 1));
    return static_cast<uint8_t>(std::min(z, 255));
}

ByteTable balanceTable(const BalanceFactors& f) {
    ByteTable t;
    for (int c = 0; c < 256; ++c)
        t[c] = balancedValue(c, f);
    return t;
}

bool isIdentity(const ByteTable& t) {
    for (int c = 0; c < 256; ++c)
        if (t[c] != c)
            return false;
    return true;
}

// The three tables as 32-bit entries, for gathering eight at a time.
struct ChannelTables {
    int32_t red[256], green[256], blue[256];

    ChannelTables(const ByteTable& r, const ByteTable& g, const ByteTable& b) {
        std::copy(r.begin(), r.end(), red);
        std::copy(g.begin(), g.end(), green);
        std::copy(b.begin(), b.end(), blue);
    }
    uint32_t apply(uint32_t w) const {
        return (w & 0xFF000000u) | uint32_t(red[(w >> 16) & 0xFF]) << 16 | uint32_t(green[(w >> 8) & 0xFF]) << 8 |
               uint32_t(blue[w & 0xFF]);
    }
};

// The balanced colour's hue and saturation at the original's lightness.
uint32_t keepLightness(uint32_t original, uint32_t balanced) {
    if (((original ^ balanced) & 0x00FFFFFFu) == 0)
        return original;
    vq::Hsl c = vq::wordToHsl(balanced);
    c.l = vq::wordToHsl(original).l;
    return vq::withColour(original, vq::hslToRgb(c));
}

void keepLightnessRowScalar(uint8_t* words, int count, const ChannelTables& t) {
    for (int x = 0; x < count; ++x, words += 4) {
        const uint32_t w = vq::loadWord(words);
        vq::storeWord(words, keepLightness(w, t.apply(w)));
    }
}

#if defined(__x86_64__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"

VQ_LANES vq::RgbLanes balancedLanes(const vq::RgbLanes& c, const ChannelTables& t) {
    return {_mm256_i32gather_epi32(t.red, c.r, 4), _mm256_i32gather_epi32(t.green, c.g, 4),
            _mm256_i32gather_epi32(t.blue, c.b, 4)};
}

// Stage by stage over blocks of vectors, as the HSL edits run (hsl_rows.h).
__attribute__((target("avx512f"))) void keepLightnessRowAvx512(uint8_t* words, int count, const ChannelTables& t) {
    constexpr int kBlock = vq::kBlockVectors;
    int x = 0;
    for (; x + 8 <= count; x += 8 * kBlock, words += 32 * kBlock) {
        const int vectors = std::min(kBlock, (count - x) / 8);
        vq::HslLanes c[kBlock];
        __mmask8 same[kBlock];
        for (int v = 0; v < vectors; ++v) {
            const vq::RgbLanes original = vq::splitWords(vq::loadEight(words + 32 * v));
            const vq::RgbLanes balanced = balancedLanes(original, t);
            same[v] = vq::equalLanes(original.r, balanced.r) & vq::equalLanes(original.g, balanced.g) &
                      vq::equalLanes(original.b, balanced.b);
            c[v] = vq::toHslLanes(balanced);
            c[v].l = vq::lightnessLanes(original);
        }
        for (int v = 0; v < vectors; ++v)
            if (same[v] != 0xFF)
                vq::storeEight(words + 32 * v, vq::joinWords(vq::loadEight(words + 32 * v), vq::fromHslLanes(c[v])));
        if (vectors < kBlock) {
            x += 8 * vectors;
            words += 32 * vectors;
            break;
        }
    }
    keepLightnessRowScalar(words, count - x, t);
}

#pragma GCC diagnostic pop
#endif

void keepLightnessRow(uint8_t* words, int count, const ChannelTables& t) {
#if defined(__x86_64__)
    if (vq::cpuHasAvx512())
        return keepLightnessRowAvx512(words, count, t);
#endif
    keepLightnessRowScalar(words, count, t);
}

void balanceKeepingLightness(QImageEx& image, const ChannelTables& t) {
    vq::relabelGreyAsIndexed(image);
    if (image.format() == QImage::Format_Indexed8 || image.depth() == 1) {
        vq::mapColourTableWords(image, [&](uint32_t w) { return keepLightness(w, t.apply(w)); });
        return;
    }
    if (vq::bytesPerPixel(image) < 3)
        return;
    vq::passRowsInBands(image, [&](uint8_t* words, int count) { keepLightnessRow(words, count, t); });
}

}  // namespace

bool DibColorBalance(QImageEx& image, int shadowCyanRed, int shadowMagentaGreen, int shadowYellowBlue,
                     int midtoneCyanRed, int midtoneMagentaGreen, int midtoneYellowBlue, int highlightCyanRed,
                     int highlightMagentaGreen, int highlightYellowBlue, bool preserveLuminosity) {
    if (image.isNull())
        return false;
    const auto slider = [](int v) { return std::clamp(v, -100, 100); };
    ByteTable red = balanceTable(
        channelFactors(slider(shadowCyanRed), slider(midtoneCyanRed), slider(highlightCyanRed)));
    ByteTable green = balanceTable(
        channelFactors(slider(shadowMagentaGreen), slider(midtoneMagentaGreen), slider(highlightMagentaGreen)));
    ByteTable blue = balanceTable(
        channelFactors(slider(shadowYellowBlue), slider(midtoneYellowBlue), slider(highlightYellowBlue)));
    if (isIdentity(red) && isIdentity(green) && isIdentity(blue))
        return true;
    if (!preserveLuminosity)
        return AdjustRGBOffset(image, nullptr, red.data(), green.data(), blue.data(), nullptr);
    return vq::guarded(false, [&] {
        const ChannelTables tables(red, green, blue);
        balanceKeepingLightness(image, tables);
        return true;
    });
}
