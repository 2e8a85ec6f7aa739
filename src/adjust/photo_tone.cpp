// Highlights and shadows: the global tone curve (DibAdjustHighLightShadow)
// and the shadows/highlights tool, whose correction follows a blurred
// luminance (shadowHighlight).
//
// Both decide a new luminance per pixel and carry the three channels along
// with toneShift, which keeps the hue and never clips. The global curve
// depends on the luminance alone, so every (luminance, channel value) pair
// has its answer in a 64 KiB table; the tool's new luminance depends on the
// pixel and on its surroundings, so it reads a 64 KiB table of new
// luminances and works the channels out per pixel.
#include <vqutil/adjust.h>

#include "adjust_support.h"
#include "core/guard.h"
#include "core/image_rows.h"
#include "core/pixel_math.h"
#include "photo_support.h"

#include <cmath>
#include <cstdlib>

namespace vq {

// x(1 - x)^6 peaks near x = 1/7 and has faded by the midtones; a gain of 4
// still keeps the curve rising (its slope stays above 1 - 4 x 0.186), and
// 0.9 for the opposite direction keeps it above 0 at the black end.
std::vector<uint8_t> highlightShadowCurve(double shadows, double highlights) {
    std::vector<uint8_t> curve(256);
    const double shadowGain = shadows * (shadows > 0 ? 4.0 : 0.9);
    const double highlightGain = highlights * (highlights > 0 ? 4.0 : 0.9);
    for (int L = 0; L < 256; ++L) {
        double x = L / 255.0;
        x += shadowGain * x * std::pow(1 - x, 6);
        x -= highlightGain * (1 - x) * std::pow(x, 6);
        curve[L] = byteRounded(255 * x);
    }
    return curve;
}

std::vector<uint8_t> localToneTable(const LocalToneSettings& s) {
    std::vector<uint8_t> table(65536);
    for (int M = 0; M < 256; ++M) {
        const double m = M / 255.0;
        const double shadowWeight = m < s.shadowWidth ? std::pow(1 - m / s.shadowWidth, 2) : 0.0;
        const double highlightWeight = 1 - m < s.highlightWidth ? std::pow(1 - (1 - m) / s.highlightWidth, 2) : 0.0;
        const double lift = s.shadows * shadowWeight;
        const double recover = s.highlights * highlightWeight;
        for (int L = 0; L < 256; ++L) {
            double x = L / 255.0;
            if (lift > 0)
                x = std::pow(x, 1 / (1 + 2 * lift));
            if (recover > 0)
                x = 1 - std::pow(1 - x, 1 / (1 + 2 * recover));
            if (s.contrast != 0)
                x += 0.9 * s.contrast * x * (1 - x) * (2 * x - 1);
            table[M * 256 + L] = byteRounded(255 * x);
        }
    }
    return table;
}

}  // namespace vq

namespace {

using vq::luma;
using vq::byteRounded;

bool isColourDepth(const QImage& image) { return image.depth() == 24 || image.depth() == 32; }
// --- the global curve ----------------------------------------------------------------------------

// The new value of channel value c in a pixel of luminance L, at [L * 256 + c].
std::vector<uint8_t> channelTable(const std::vector<uint8_t>& curve) {
    std::vector<uint8_t> table(65536);
    for (int L = 0; L < 256; ++L) {
        const vq::ToneShift shift = vq::toneShift(L, curve[L]);
        for (int c = 0; c < 256; ++c)
            table[L * 256 + c] = byteRounded(c * shift.mul + shift.add);
    }
    return table;
}

template <int Bpp>
void curveRow(uint8_t* row, int width, const uint8_t* __restrict table) {
    for (int x = 0; x < width; ++x, row += Bpp) {
        const uint8_t* t = table + (luma(row[2], row[1], row[0]) << 8);
        row[0] = t[row[0]];
        row[1] = t[row[1]];
        row[2] = t[row[2]];
    }
}

void greyRow(uint8_t* row, int width, const uint8_t* __restrict curve) {
    for (int x = 0; x < width; ++x)
        row[x] = curve[row[x]];
}

// --- the local tool ------------------------------------------------------------------------------

struct LocalToneTables {
    double up[256];    // 1 / (255 - L)
    double down[256];  // 1 / L

    LocalToneTables() {
        for (int L = 0; L < 256; ++L) {
            up[L] = L < 255 ? 1.0 / (255 - L) : 0.0;
            down[L] = L > 0 ? 1.0 / L : 0.0;
        }
    }
};

struct LocalTone {
    const uint8_t* table;  // new luminance at [M * 256 + L]
    const double* up;
    const double* down;
    double colour;  // saturation factor gained per level moved
};

// The shifted channels' distances to their luminance y scaled by the factor,
// but by no more than keeps them in 0..255.
template <int Bpp>
__attribute__((always_inline)) inline void saturatedShift(uint8_t* __restrict chunk, int n, const double* muls,
                                                          const double* adds, const double* factors) {
    for (int i = 0; i < n; ++i) {
        uint8_t* p = chunk + i * Bpp;
        double v0 = p[0] * muls[i] + adds[i], v1 = p[1] * muls[i] + adds[i], v2 = p[2] * muls[i] + adds[i];
        const double y = (29 * v0 + 150 * v1 + 77 * v2) * (1.0 / 256);
        const double hi = std::max(v0, std::max(v1, v2));
        const double lo = std::min(v0, std::min(v1, v2));
        const double limit = std::min((255 - y) / std::max(hi - y, 1e-9), y / std::max(y - lo, 1e-9));
        const double s = std::min(factors[i], std::max(limit, 1.0));
        p[0] = byteRounded(y + (v0 - y) * s);
        p[1] = byteRounded(y + (v1 - y) * s);
        p[2] = byteRounded(y + (v2 - y) * s);
    }
}

// A row in chunks, in two steps. First, per pixel, the table lookups: the
// luminance, its new value and the tone shift's mul and add (and the
// saturation factor). Then the arithmetic alone, free of lookups and of
// branches (the saturation limit is a min/max chain), which vectorises.
template <int Bpp>
__attribute__((always_inline)) inline void localTonePixels(uint8_t* __restrict row, const uint8_t* __restrict mask,
                                                           int width, LocalTone k) {
    constexpr int kChunk = 256;
    double muls[kChunk], adds[kChunk], factors[kChunk];
    const bool colour = k.colour != 0;
    for (int x0 = 0; x0 < width; x0 += kChunk) {
        const int n = std::min(kChunk, width - x0);
        uint8_t* chunk = row + static_cast<qsizetype>(x0) * Bpp;
        for (int i = 0; i < n; ++i) {
            const uint8_t* p = chunk + i * Bpp;
            const int L = luma(p[2], p[1], p[0]);
            const int L2 = k.table[(mask[x0 + i] << 8) | L];
            // Lowered, kept, lifted: picked by index, as a branch on the
            // direction would be mispredicted in textured areas.
            const double up = (255 - L2) * k.up[L];
            const double mul[3] = {L2 * k.down[L], 1.0, up};
            const double add[3] = {0.0, 0.0, 255 - 255 * up};
            const int direction = (L2 > L) - (L2 < L) + 1;
            muls[i] = mul[direction];
            adds[i] = add[direction];
            factors[i] = std::max(0.0, 1 + k.colour * std::abs(L2 - L));
        }
        if (colour)
            saturatedShift<Bpp>(chunk, n, muls, adds, factors);
        else
            for (int i = 0; i < n; ++i) {
                uint8_t* p = chunk + i * Bpp;
                for (int c = 0; c < 3; ++c)
                    p[c] = byteRounded(p[c] * muls[i] + adds[i]);
            }
    }
}

VQ_MULTIVERSION_WIDE void localToneRow3(uint8_t* row, const uint8_t* mask, int width, LocalTone k) {
    localTonePixels<3>(row, mask, width, k);
}

VQ_MULTIVERSION_WIDE void localToneRow4(uint8_t* row, const uint8_t* mask, int width, LocalTone k) {
    localTonePixels<4>(row, mask, width, k);
}

void localGreyRow(uint8_t* row, const uint8_t* __restrict mask, int width, const uint8_t* __restrict table) {
    for (int x = 0; x < width; ++x)
        row[x] = table[(mask[x] << 8) | row[x]];
}

bool isIdentity(const std::vector<uint8_t>& table) {
    for (size_t i = 0; i < table.size(); ++i)
        if (table[i] != (i & 0xFF))
            return false;
    return true;
}

constexpr int kMaxRadius = 1000;

}  // namespace

void DibAdjustHighLightShadow(QImageEx& image, float shadows, float highlights) {
    double s, h;
    if (image.isNull() || !vq::clampedParameter(shadows, -100, 100, s) ||
        !vq::clampedParameter(highlights, -100, 100, h) || (s == 0 && h == 0))
        return;
    vq::guarded([&] {
        const std::vector<uint8_t> curve = vq::highlightShadowCurve(s / 100, h / 100);
        const int width = image.width();
        if (image.format() == QImage::Format_Grayscale8) {
            vq::forRowsInBands(image, image.rect(), true,
                               [&](uint8_t* row, int) { greyRow(row, width, curve.data()); });
            return;
        }
        const bool palette = image.format() == QImage::Format_Indexed8 || image.depth() == 1;
        if (!palette && !isColourDepth(image))
            return;
        const std::vector<uint8_t> table = channelTable(curve);
        if (palette) {
            QVector<QRgb> colours = image.colorTable();
            for (QRgb& e : colours) {
                const uint8_t* t = table.data() + luma(qRed(e), qGreen(e), qBlue(e)) * 256;
                e = qRgba(t[qRed(e)], t[qGreen(e)], t[qBlue(e)], qAlpha(e));
            }
            image.setColorTable(colours);
            return;
        }
        const bool four = image.depth() == 32;
        vq::forRowsInBands(image, image.rect(), true, [&](uint8_t* row, int) {
            if (four)
                curveRow<4>(row, width, table.data());
            else
                curveRow<3>(row, width, table.data());
        });
    });
}

bool shadowHighlight(QImageEx& image, float shadows, float highlights, int radius, float shadowWidth,
                     float highlightWidth, float colourCorrection, float midtoneContrast) {
    vq::LocalToneSettings s;
    double colour;
    if (image.isNull() || radius < 0 || !vq::clampedParameter(shadows, 0, 100, s.shadows) ||
        !vq::clampedParameter(highlights, 0, 100, s.highlights) ||
        !vq::clampedParameter(shadowWidth, 0, 100, s.shadowWidth) ||
        !vq::clampedParameter(highlightWidth, 0, 100, s.highlightWidth) ||
        !vq::clampedParameter(colourCorrection, -100, 100, colour) ||
        !vq::clampedParameter(midtoneContrast, -100, 100, s.contrast))
        return false;
    const bool grey = image.format() == QImage::Format_Grayscale8;
    if (!grey && !isColourDepth(image))
        return false;
    s.shadows /= 100;
    s.highlights /= 100;
    s.shadowWidth /= 100;
    s.highlightWidth /= 100;
    s.contrast /= 100;
    return vq::guarded(false, [&] {
        const std::vector<uint8_t> table = vq::localToneTable(s);
        if (isIdentity(table))
            return true;
        const int w = image.width();
        const int h = image.height();
        vq::BytePlane mask(w, h);
        if (!vq::lumaPlane(image, mask))
            return false;
        const int r = std::min(radius, kMaxRadius);
        if (r > 0) {
            vq::BytePlane scratch(w, h);
            if (!vq::blurPlane(mask, scratch, r))
                return false;
        }
        const LocalToneTables reciprocals;
        const LocalTone tone{table.data(), reciprocals.up, reciprocals.down, colour / 100 / 128};
        const int bpp = image.depth() / 8;
        vq::forRowsInBands(image, image.rect(), true, [&](uint8_t* row, int y) {
            if (grey)
                localGreyRow(row, mask.row(y), w, table.data());
            else if (bpp == 4)
                localToneRow4(row, mask.row(y), w, tone);
            else
                localToneRow3(row, mask.row(y), w, tone);
        });
        return true;
    });
}
