// Selective colour: per-family corrections of a pixel's C, M, Y, K inks.
//
// The kernel works in the library's CMYK model (inks relative to the
// brightest channel, black its darkness) but computes the conversions
// itself instead of calling QImageEx::BgrToCmyk / CmykToBgr, which read
// 64 KiB tables the vector units would have to gather from:
//   ink     = (510 (max - c) + max) / (2 max), integer division (0 for max 0)
//   channel = max' - (ink max' + 127) / 255, with max' = 255 - black,
// the rounded quotients of those tables written out (the kernel tests hold
// them to the library's conversion for every ink pair).
#include "selective_kernels.h"

#include "core/guard.h"
#include "core/pixel_math.h"

#include <cmath>
#include <cstring>
#include <type_traits>

static_assert(std::is_standard_layout<SelectiveColorSettings>::value, "a plain record for callers");

namespace {

using vq::SelectiveCoefficients;

constexpr int kRun = 256;

// The cyan, magenta and yellow inks of a run of pixels, in a loop of their
// own: in the pixel loop the compiler splits the work on the channel
// comparisons, and a float operation under such a branch keeps it scalar.
template <int Bpp>
VQ_INLINE void inksOfRun(const uint8_t* __restrict pixels, int n, int32_t* __restrict cyan,
                         int32_t* __restrict magenta, int32_t* __restrict yellow) {
    for (int i = 0; i < n; ++i) {
        uint32_t word = 0;
        std::memcpy(&word, pixels + i * Bpp, Bpp);
        const int B = word & 0xFF, G = (word >> 8) & 0xFF, R = (word >> 16) & 0xFF;
        const int hi = std::max(std::max(R, G), B);
        const float divisor = static_cast<float>(2 * hi + (hi == 0));  // black: 0 / 1
        cyan[i] = static_cast<int32_t>(static_cast<float>(510 * (hi - R) + hi) / divisor);
        magenta[i] = static_cast<int32_t>(static_cast<float>(510 * (hi - G) + hi) / divisor);
        yellow[i] = static_cast<int32_t>(static_cast<float>(510 * (hi - B) + hi) / divisor);
    }
}

// One ink moved by the families' corrections, 0..255.
template <bool Absolute>
VQ_INLINE int movedInk(int ink, int sum) {
    const int shift = Absolute ? vq::kAbsoluteShift : vq::kRelativeShift;
    const int delta = ((Absolute ? sum : ink * sum) + (1 << (shift - 1))) >> shift;
    return std::min(std::max(ink + delta, 0), 255);
}

template <int Bpp, bool Masked, bool Absolute>
VQ_INLINE void selectiveRun(uint8_t* __restrict row, const uint8_t* __restrict mask, int width,
                            const SelectiveCoefficients& c) {
    int32_t cyan[kRun], magenta[kRun], yellow[kRun];
    uint32_t keep[kRun];
    for (int start = 0; start < width; start += kRun) {
        const int n = std::min(kRun, width - start);
        uint8_t* pixels = row + static_cast<qsizetype>(start) * Bpp;
        inksOfRun<Bpp>(pixels, n, cyan, magenta, yellow);
        if (Masked)
            vq::keepMasks(mask + start, n, keep);
        for (int i = 0; i < n; ++i) {
            uint32_t word = 0;
            std::memcpy(&word, pixels + i * Bpp, Bpp);
            const int B = word & 0xFF, G = (word >> 8) & 0xFF, R = (word >> 16) & 0xFF;
            const int hi = std::max(std::max(R, G), B);
            const int lo = std::min(std::min(R, G), B);
            const int mid = R + G + B - hi - lo;
            const int lightness = hi + lo;
            const int wPrimary = hi - mid;
            const int wSecondary = mid - lo;
            const int wWhite = std::max(lightness - 255, 0);
            const int wBlack = std::max(255 - lightness, 0);
            const int wNeutral = 255 - wWhite - wBlack;
            const int inks[4] = {cyan[i], magenta[i], yellow[i], 255 - hi};
            int out[4];
#pragma GCC unroll 4
            for (int k = 0; k < 4; ++k) {
                // Ties pick some family whose weight is then 0, so they need no rule.
                const int primary =
                    R == hi ? c.ink[vq::Reds][k] : G == hi ? c.ink[vq::Greens][k] : c.ink[vq::Blues][k];
                const int secondary =
                    B == lo ? c.ink[vq::Yellows][k] : G == lo ? c.ink[vq::Magentas][k] : c.ink[vq::Cyans][k];
                const int sum = wPrimary * primary + wSecondary * secondary + wWhite * c.ink[vq::Whites][k] +
                                wNeutral * c.ink[vq::Neutrals][k] + wBlack * c.ink[vq::Blacks][k];
                out[k] = movedInk<Absolute>(inks[k], sum);
            }
            const uint32_t top = static_cast<uint32_t>(255 - out[3]);
            const uint32_t r = top - vq::div255(static_cast<uint32_t>(out[0]) * top + 127);
            const uint32_t g = top - vq::div255(static_cast<uint32_t>(out[1]) * top + 127);
            const uint32_t b = top - vq::div255(static_cast<uint32_t>(out[2]) * top + 127);
            uint32_t result = (word & 0xFF000000u) | r << 16 | g << 8 | b;
            if (Masked)
                result = (word & keep[i]) | (result & ~keep[i]);
            std::memcpy(pixels + i * Bpp, &result, Bpp);
        }
    }
}

template <int Bpp>
VQ_INLINE void selectiveRuns(uint8_t* row, const uint8_t* mask, int width, const SelectiveCoefficients& c) {
    if (mask && c.absolute)
        selectiveRun<Bpp, true, true>(row, mask, width, c);
    else if (mask)
        selectiveRun<Bpp, true, false>(row, mask, width, c);
    else if (c.absolute)
        selectiveRun<Bpp, false, true>(row, mask, width, c);
    else
        selectiveRun<Bpp, false, false>(row, mask, width, c);
}

VQ_MULTIVERSION_WIDE void selectiveRun4(uint8_t* row, const uint8_t* mask, int width, SelectiveCoefficients c) {
    selectiveRuns<4>(row, mask, width, c);
}

}  // namespace

namespace vq {

SettingsCheck selectiveCoefficients(const SelectiveColorSettings& settings, SelectiveCoefficients& out) {
    const SelectiveColorInks* families[FamilyCount] = {&settings.reds,     &settings.yellows, &settings.greens,
                                                       &settings.cyans,    &settings.blues,   &settings.magentas,
                                                       &settings.whites,   &settings.neutrals, &settings.blacks};
    const double scale = settings.absolute ? kAbsoluteScale : kRelativeScale;
    bool neutral = true;
    for (int f = 0; f < FamilyCount; ++f) {
        const double percent[4] = {families[f]->cyan, families[f]->magenta, families[f]->yellow, families[f]->black};
        for (int k = 0; k < 4; ++k) {
            if (std::isnan(percent[k]))
                return SettingsCheck::Invalid;
            out.ink[f][k] = static_cast<int32_t>(std::lround(std::clamp(percent[k], -100.0, 100.0) * scale));
            neutral = neutral && out.ink[f][k] == 0;
        }
    }
    out.absolute = settings.absolute;
    return neutral ? SettingsCheck::Neutral : SettingsCheck::Active;
}

void selectiveColorRow(uint8_t* row, const uint8_t* mask, int width, int bpp, SelectiveCoefficients c) {
    if (bpp == 4)
        selectiveRun4(row, mask, width, c);
    else
        selectiveRuns<3>(row, mask, width, c);
}

}  // namespace vq

bool selectiveColor(QImageEx& image, const QImageEx* mask, const SelectiveColorSettings& settings) {
    if (image.isNull())
        return false;
    vq::SelectiveCoefficients c;
    const vq::SettingsCheck check = vq::selectiveCoefficients(settings, c);
    if (check == vq::SettingsCheck::Invalid)
        return false;
    if (check == vq::SettingsCheck::Neutral)
        return true;
    return vq::guarded(false, [&] {
        vq::applyColourKernel(image, mask, [&](uint8_t* row, const uint8_t* m, int width, int bpp) {
            vq::selectiveColorRow(row, m, width, bpp, c);
        });
        return true;
    });
}
