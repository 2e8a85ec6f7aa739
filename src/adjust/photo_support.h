// Pieces shared by the photographic adjustments (haze, highlights and
// shadows, white balance): parameter clamping, the luminance and the
// hue-keeping tone shift, and the 8-bit planes that the neighbourhood
// operations estimate from, with their minimum, maximum and blur filters.
//
// The filters run in parallel bands: rows for the horizontal pass, strips of
// whole columns for the vertical one (each band takes a share of the strips).
// A band that runs out of memory makes the filter report false, so that the
// operation leaves the image alone rather than finish from a partial plane.
#pragma once

#include "core/byte_rules.h"
#include "core/parallel.h"
#include "core/scratch.h"

#include <QImage>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <vector>

namespace vq {

// v clamped to lo..hi (infinities included); false for NaN.
inline bool clampedParameter(double v, double lo, double hi, double& out) {
    if (std::isnan(v))
        return false;
    out = std::clamp(v, lo, hi);
    return true;
}

// A pixel's luminance, 0..255 (the weights sum to 256).
inline int luma(int red, int green, int blue) { return (77 * red + 150 * green + 29 * blue + 128) >> 8; }

// Moves the channels of a pixel of luminance L towards luminance L2 with its
// hue kept: c' = c mul + add. Lifting shrinks every channel's distance to
// white by q = (255 - L2) / (255 - L) (mul = q, add = 255 - 255 q); lowering
// scales every channel by L2 / L. Either way the channel differences scale
// alike, so their ratios (the hue) stay, and no channel leaves 0..255. The
// quotients are taken as products with reciprocals, as the kernels' tables
// hold them.
struct ToneShift {
    double mul = 1.0;
    double add = 0.0;
};

inline ToneShift toneShift(int L, int L2) {
    if (L2 > L) {
        const double q = (255 - L2) * (1.0 / (255 - L));
        return {q, 255 - 255 * q};
    }
    if (L2 < L)
        return {L2 * (1.0 / L), 0.0};
    return {};
}

// processLinesParallel over rows 0 .. rows - 1, false when a band threw
// (memory ran short) instead of leaving it to the dispatcher to swallow.
template <typename Body>
bool inParallelBands(int rows, Body&& body) {
    std::atomic<bool> failed{false};
    processLinesParallel(0, rows, [&](int first, int end) {
        try {
            body(first, end);
        } catch (...) {
            failed.store(true, std::memory_order_relaxed);
        }
    });
    return !failed.load(std::memory_order_relaxed);
}

// An 8-bit plane of width x height samples, rows `width` bytes apart.
class BytePlane {
public:
    BytePlane(int width, int height)
        : m_width(width), m_height(height), m_bytes(static_cast<size_t>(width) * static_cast<size_t>(height)) {}

    int width() const { return m_width; }
    int height() const { return m_height; }
    uint8_t* bits() const { return m_bytes.get(); }
    uint8_t* row(int y) const { return m_bytes.get() + static_cast<qsizetype>(y) * m_width; }

private:
    int m_width;
    int m_height;
    ScratchBuffer<uint8_t> m_bytes;
};

enum class Rank { Minimum, Maximum };

// The rank filter along one direction: n samples of `lanes` adjacent bytes,
// sample i at in + i inStep; sample i of the result (at out + i outStep) is
// the minimum (maximum) of samples i - r .. i + r that exist, byte by byte.
// The window is built by doubling (the extreme of 2, 4, 8, ... samples, each
// a byte-wise min or max of two shifted copies), so every step vectorises
// across the row or the strip, and the cost grows with log r only.
// `work` is resized as needed.
void rankLines(const uint8_t* in, qsizetype inStep, uint8_t* out, qsizetype outStep, int n, int lanes, int radius,
               Rank rank, std::vector<uint8_t>& work);

// Minimum (maximum) of the (2r + 1) x (2r + 1) square around every sample,
// clipped to the plane. `scratch` is a plane of the same size. False when
// memory ran short (the plane is then undefined).
bool rankFilter(BytePlane& plane, BytePlane& scratch, int radius, Rank rank);

// The filters' stack blur (a triangle kernel of radius r, the border sample
// repeated, each pass truncating) of the plane, rows then columns.
bool blurPlane(BytePlane& plane, BytePlane& scratch, int radius);

// The luminance of every pixel of a 24- or 32-bit image (bytes 2, 1, 0 as
// red, green, blue), or the byte of an 8-bit one, into `plane`.
bool lumaPlane(const QImage& image, BytePlane& plane);

// --- tone tables, shared with the tests -----------------------------------------------------

// The global highlight and shadow curve: 256 luminance values (see
// DibAdjustHighLightShadow); shadows and highlights in -1..1.
std::vector<uint8_t> highlightShadowCurve(double shadows, double highlights);

struct LocalToneSettings {
    double shadows = 0;         // 0..1
    double highlights = 0;      // 0..1
    double shadowWidth = 0.5;   // 0..1
    double highlightWidth = 0.5;  // 0..1
    double contrast = 0;        // -1..1
};

// The shadows/highlights tool's new luminance for every pair of surrounding
// (mask) luminance M and pixel luminance L, at [M * 256 + L].
std::vector<uint8_t> localToneTable(const LocalToneSettings& settings);

// White balance tables for bytes 0, 1, 2 (blue, green, red); temperature and
// tint in -1..1.
struct WhiteBalanceTables {
    uint8_t blue[256], green[256], red[256];
};
WhiteBalanceTables whiteBalanceTables(double temperature, double tint);

}  // namespace vq
