// Colour replacement: pixels near a source colour move by the difference
// between the target and that source in YUV.
//
// The transform is linear, so the YUV shift of each source is turned into
// an RGB shift once per call, and a pixel only adds w x shift to its own
// channels: it is never converted to YUV and back, which is why an unmatched
// pixel (w = 0) keeps its bytes exactly. The row kernel works on runs of up
// to kRun pixels in three vectorisable passes (the pixels' YUV, the nearest
// source one source at a time, the weighted shift), with the run's values
// in small arrays on the stack.
#include "core/byte_rules.h"
#include "selective_kernels.h"

#include "core/guard.h"
#include "core/pixel_math.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace {

using vq::ReplaceShape;
using vq::ReplaceSource;

constexpr int kRun = 256;
constexpr double kComponentLimit = 1000;
constexpr double kDistanceLimit = 1000;

template <int Bpp, bool Masked, bool Soft>
VQ_INLINE void replaceRun(uint8_t* __restrict row, const uint8_t* __restrict mask, int width,
                          const ReplaceSource* __restrict sources, int count, ReplaceShape shape) {
    double py[kRun], pu[kRun], pv[kRun], best[kRun], shiftR[kRun], shiftG[kRun], shiftB[kRun];
    uint32_t keep[kRun];
    const double span = shape.outer2 - shape.inner2;
    for (int start = 0; start < width; start += kRun) {
        const int n = std::min(kRun, width - start);
        uint8_t* pixels = row + static_cast<qsizetype>(start) * Bpp;
        for (int i = 0; i < n; ++i) {
            uint32_t word = 0;
            std::memcpy(&word, pixels + i * Bpp, Bpp);
            const int B = word & 0xFF, G = (word >> 8) & 0xFF, R = (word >> 16) & 0xFF;
            // As yuvFromRgb.
            const double y = 0.299 * R + 0.587 * G + 0.114 * B;
            py[i] = y;
            pu[i] = (B - y) * (1 / 1.772);
            pv[i] = (R - y) * (1 / 1.402);
            best[i] = std::numeric_limits<double>::infinity();
            shiftR[i] = shiftG[i] = shiftB[i] = 0;
        }
        if (Masked)
            vq::keepMasks(mask + start, n, keep);
        for (int k = 0; k < count; ++k) {
            const ReplaceSource s = sources[k];
            for (int i = 0; i < n; ++i) {
                const double dy = py[i] - s.y, du = pu[i] - s.u, dv = pv[i] - s.v;
                const double d2 = dy * dy + du * du + dv * dv;
                const bool nearer = d2 < best[i];
                best[i] = nearer ? d2 : best[i];
                shiftR[i] = nearer ? s.red : shiftR[i];
                shiftG[i] = nearer ? s.green : shiftG[i];
                shiftB[i] = nearer ? s.blue : shiftB[i];
            }
        }
        for (int i = 0; i < n; ++i) {
            const double d2 = best[i];
            const double w = Soft ? std::min(std::max((shape.outer2 - d2) / span, 0.0), 1.0)
                                  : (d2 <= shape.inner2 ? 1.0 : 0.0);
            const double dr = w * shiftR[i], dg = w * shiftG[i], db = w * shiftB[i];
            uint32_t word = 0;
            std::memcpy(&word, pixels + i * Bpp, Bpp);
            const int B = word & 0xFF, G = (word >> 8) & 0xFF, R = (word >> 16) & 0xFF;
            uint32_t out = (word & 0xFF000000u) | vq::byteRoundedInRange(R + dr) << 16 | vq::byteRoundedInRange(G + dg) << 8 |
                           vq::byteRoundedInRange(B + db);
            if (Masked)
                out = (word & keep[i]) | (out & ~keep[i]);
            std::memcpy(pixels + i * Bpp, &out, Bpp);
        }
    }
}

template <int Bpp>
VQ_INLINE void replaceRuns(uint8_t* row, const uint8_t* mask, int width, const ReplaceSource* sources, int count,
                           ReplaceShape shape) {
    if (mask && shape.soft)
        replaceRun<Bpp, true, true>(row, mask, width, sources, count, shape);
    else if (mask)
        replaceRun<Bpp, true, false>(row, mask, width, sources, count, shape);
    else if (shape.soft)
        replaceRun<Bpp, false, true>(row, mask, width, sources, count, shape);
    else
        replaceRun<Bpp, false, false>(row, mask, width, sources, count, shape);
}

VQ_MULTIVERSION_WIDE void replaceRun4(uint8_t* row, const uint8_t* mask, int width, const ReplaceSource* sources,
                                      int count, ReplaceShape shape) {
    replaceRuns<4>(row, mask, width, sources, count, shape);
}

bool hasNaN(const YUV& c) { return std::isnan(c.y) || std::isnan(c.u) || std::isnan(c.v); }

YUV clamped(const YUV& c) {
    return {std::clamp(c.y, -kComponentLimit, kComponentLimit), std::clamp(c.u, -kComponentLimit, kComponentLimit),
            std::clamp(c.v, -kComponentLimit, kComponentLimit)};
}

// The sources with their RGB shifts; empty when no source moves anything.
std::vector<ReplaceSource> plannedSources(const QVector<YUV>& sources, const YUV& target) {
    const YUV t = clamped(target);
    std::vector<ReplaceSource> planned;
    planned.reserve(static_cast<size_t>(sources.size()));
    bool moves = false;
    for (const YUV& source : sources) {
        const YUV s = clamped(source);
        const double dy = t.y - s.y, du = t.u - s.u, dv = t.v - s.v;
        const ReplaceSource p{s.y, s.u, s.v, dy + 1.402 * dv, dy - vq::kGreenFromU * du - vq::kGreenFromV * dv,
                              dy + 1.772 * du};
        moves = moves || p.red != 0 || p.green != 0 || p.blue != 0;
        planned.push_back(p);
    }
    if (!moves)
        planned.clear();
    return planned;
}

}  // namespace

namespace vq {

void replaceColorRow(uint8_t* row, const uint8_t* mask, int width, int bpp, const ReplaceSource* sources,
                     int count, ReplaceShape shape) {
    if (bpp == 4)
        replaceRun4(row, mask, width, sources, count, shape);
    else
        replaceRuns<3>(row, mask, width, sources, count, shape);
}

}  // namespace vq

bool replaceColor(QImageEx& image, const QImageEx* mask, const QVector<YUV>& sources, const YUV& target,
                  double tolerance, double feather) {
    if (image.isNull() || hasNaN(target) || std::isnan(tolerance) || std::isnan(feather) ||
        std::any_of(sources.begin(), sources.end(), hasNaN))
        return false;
    const double inner = std::clamp(tolerance, 0.0, kDistanceLimit);
    const double outer = inner + std::clamp(feather, 0.0, kDistanceLimit);
    const vq::ReplaceShape shape{inner * inner, outer * outer, outer * outer > inner * inner};
    return vq::guarded(false, [&] {
        const std::vector<ReplaceSource> planned = plannedSources(sources, target);
        if (planned.empty())
            return true;
        const int count = static_cast<int>(planned.size());
        vq::applyColourKernel(image, mask, [&](uint8_t* row, const uint8_t* m, int width, int bpp) {
            vq::replaceColorRow(row, m, width, bpp, planned.data(), count, shape);
        });
        return true;
    });
}
