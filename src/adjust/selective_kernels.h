// Row kernels of selective colour and colour replacement, their parameters
// (prepared once per call), and the pass that runs either over an image.
//
// The kernels are plain loops over runs of pixels, written without branches
// or table lookups so that the compiler vectorises them; every step is an
// exact integer operation or a single IEEE operation (no contraction), so
// the vector clones give the bytes of the scalar loop. The forward CMYK
// inks use a float division: a quotient below 256 of integers with a
// divisor of at most 510 is never within 1/510 of an integer unless it is
// one, far more than the float rounding error, so its truncation is exact.
#pragma once

#include <vqutil/adjust.h>

#include "adjust_support.h"
#include "core/image_rows.h"

#include <algorithm>
#include <cstdint>

// For the bodies of the kernels: inlined into each instruction-set clone of
// the exported kernel, so that each clone compiles them for its set.
#define VQ_INLINE inline __attribute__((always_inline))

namespace vq {

// All ones where the mask byte is set (the pixel is kept), else 0: word
// masks for a select by bits. Kept apart, so that the pixel loops see only
// 32-bit lanes (mixed with bytes, they vectorise narrower) and no ternary
// (compiled as a branch there).
VQ_INLINE void keepMasks(const uint8_t* __restrict mask, int n, uint32_t* __restrict keep) {
    for (int i = 0; i < n; ++i)
        keep[i] = 0u - static_cast<uint32_t>(mask[i] != 0);
}

// --- selective colour ------------------------------------------------------------------------------

enum SelectiveFamily { Reds, Yellows, Greens, Cyans, Blues, Magentas, Whites, Neutrals, Blacks, FamilyCount };

// Corrections in fixed point. With T the sum over the families of weight x
// coefficient, an ink moves by (T + half) >> shift when absolute and by
// (ink T + half) >> shift when relative (arithmetic shifts: floor). Coefficients are percent
// x 8192 / 100 and percent x 2^21 / 25500, rounded (steps of about 0.012 %):
// |T| <= 510 x 8224, so ink T stays below 2^30.
constexpr int kAbsoluteShift = 13;
constexpr int kRelativeShift = 21;
constexpr double kAbsoluteScale = (1 << kAbsoluteShift) / 100.0;
constexpr double kRelativeScale = (1 << kRelativeShift) / 25500.0;

// Per family, per ink (cyan, magenta, yellow, black).
struct SelectiveCoefficients {
    int32_t ink[FamilyCount][4];
    bool absolute;
};

enum class SettingsCheck { Invalid, Neutral, Active };

// Clamps the settings into coefficients; Invalid for a NaN, Neutral when
// every correction is 0.
SettingsCheck selectiveCoefficients(const SelectiveColorSettings& settings, SelectiveCoefficients& out);

// `width` pixels of `bpp` (3 or 4) bytes B, G, R(, x) in place; with a mask
// (one byte per pixel, aligned with the row) only pixels whose byte is 0.
void selectiveColorRow(uint8_t* row, const uint8_t* mask, int width, int bpp, SelectiveCoefficients c);

// --- colour replacement ----------------------------------------------------------------------------

// The inverse YUV transform's green row, exact for the luma weights.
constexpr double kGreenFromU = 0.114 * 1.772 / 0.587;
constexpr double kGreenFromV = 0.299 * 1.402 / 0.587;

// A source colour and the RGB shift that its match applies at full weight.
struct ReplaceSource {
    double y, u, v;
    double red, green, blue;
};

// The weight of the nearest source by squared distance d2: 1 up to
// inner2, falling linearly in d2 to 0 at outer2 (soft), or a step at inner2.
struct ReplaceShape {
    double inner2;
    double outer2;
    bool soft;  // outer2 > inner2
};

void replaceColorRow(uint8_t* row, const uint8_t* mask, int width, int bpp, const ReplaceSource* sources,
                     int count, ReplaceShape shape);

// --- the pass ----------------------------------------------------------------------------------------

// Runs rowKernel(pixels, mask, width, bpp) where the colour operations of
// this family apply: the colour table of indexed and 1-bit images (grey and
// alpha images relabelled as indexed first) as one run of 4-byte entries,
// or the rows of the work rectangle of 24- and 32-bit images in parallel
// bands, stopping when progress asks to. Other formats are left alone.
template <typename RowKernel>
void applyColourKernel(QImageEx& image, const QImageEx* mask, RowKernel&& rowKernel) {
    relabelGreyAsIndexed(image);
    if (image.format() == QImage::Format_Indexed8 || image.depth() == 1) {
        QVector<QRgb> table = image.colorTable();
        if (table.isEmpty())
            return;
        // A QRgb in memory is the bytes B, G, R, A of a 32-bit pixel.
        rowKernel(reinterpret_cast<uint8_t*>(table.data()), nullptr, table.size(), 4);
        image.setColorTable(table);
        return;
    }
    const int bpp = bytesPerPixel(image);
    const QRect rect = maskedWorkRect(image, mask);
    if ((bpp != 3 && bpp != 4) || rect.isEmpty())
        return;
    const MaskRows maskRows(mask);
    const int left = rect.left();
    const int right = rect.right() + 1;
    forRowsInBands(image, rect, true, [&](uint8_t* row, int y) {
        const uint8_t* m;
        const int end = maskRows.selectableEnd(y, right, m);
        if (end > left)
            rowKernel(row + static_cast<qsizetype>(left) * bpp, m ? m + left : nullptr, end - left, bpp);
    });
}

}  // namespace vq
