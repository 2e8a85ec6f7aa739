// The HSL adjustments: hue, saturation and lightness by hue ranges
// (DibHSLAdjust, with its colorize form), saturation alone
// (adjustSaturation) and hue unification (hueEqual).
//
// Each is an edit of the pixel's (h, s, l) run by the row passes of
// hsl_rows.h. The rules are written once in double arithmetic with fixed
// constants (a multiplication by 1 / 360 or 0.01 rather than a division),
// and each edit states them twice, for one pixel and for eight lanes, with
// the same operations in the same order. Every shift that is zero leaves
// h, s and l bit for bit as they were, so neutral entries change nothing
// and a pixel outside every range keeps its bytes without converting back.
#include <vqutil/adjust.h>

#include "core/guard.h"
#include "hsl_rows.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr double kTurnsPerDegree = 1.0 / 360;
constexpr double kPerPercent = 0.01;

int degreesOnCircle(int degrees) { return (degrees % 360 + 360) % 360; }

// The shared rules. Shifts are already clamped: hue -180..180 degrees,
// saturation and lightness -100..100.
double shiftedHue(double h, double degrees) {
    h = h + degrees * kTurnsPerDegree;
    if (h < 0)
        h = h + 1;
    if (h >= 1)
        h = h - 1;
    return h;
}
double scaledSaturation(double s, double percent) { return std::min(1.0, s * (1.0 + percent * kPerPercent)); }
double shiftedLightness(double l, double percent) {
    return percent < 0 ? l * (1.0 + percent * kPerPercent) : l + (1.0 - l) * (percent * kPerPercent);
}

// One range entry, its points as degrees past its start. The weight is
// min(rising, falling) kept to 0..1, with rising = x / rise and falling =
// (end - x) / (end - full) at x degrees past the start; a hard edge (a span
// of 0) makes its side 1 (up to `end`, for the falling side). Between the
// points this is the piecewise-linear weight of the ranges' definition.
struct HueRange {
    double origin;     // hueStart on the circle, 0..359
    double end;        // where the weight reaches 0
    double riseScale;  // 1 / rise
    double fallScale;  // 1 / (end - full)
    bool hardStart, hardEnd;
    double hue, saturation, lightness;
};

// The pixel's hue in degrees, 0 up to 360 (exclusive: a hue of 1 turn is red).
double hueDegrees(double h) { return (h == 1.0 ? 0.0 : h) * 360.0; }

double rangeWeight(const HueRange& r, double degrees) {
    double x = degrees - r.origin;
    if (x < 0)
        x = x + 360;
    const double rising = r.hardStart ? 1.0 : x * r.riseScale;
    const double falling = r.hardEnd ? (x <= r.end ? 1.0 : 0.0) : (r.end - x) * r.fallScale;
    return std::clamp(std::min(rising, falling), 0.0, 1.0);
}

struct Shifts {
    double hue = 0, saturation = 0, lightness = 0;
};

Shifts clampedShifts(double hue, double saturation, double lightness) {
    return {std::clamp(hue, -180.0, 180.0), std::clamp(saturation, -100.0, 100.0),
            std::clamp(lightness, -100.0, 100.0)};
}

Shifts entryValues(const HSLAdjustParam& p) {
    return clampedShifts(p.hue, p.saturation, p.lightness);
}

#if defined(__x86_64__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"

VQ_LANES __m512d clampLanes(__m512d v, double limit) {
    return _mm512_min_pd(_mm512_max_pd(v, vq::broadcast(-limit)), vq::broadcast(limit));
}
VQ_LANES __m512d shiftedHueLanes(__m512d h, __m512d degrees) {
    h = _mm512_add_pd(h, _mm512_mul_pd(degrees, vq::broadcast(kTurnsPerDegree)));
    h = _mm512_mask_add_pd(h, _mm512_cmp_pd_mask(h, _mm512_setzero_pd(), _CMP_LT_OQ), h, vq::broadcast(1.0));
    return _mm512_mask_sub_pd(h, _mm512_cmp_pd_mask(h, vq::broadcast(1.0), _CMP_GE_OQ), h, vq::broadcast(1.0));
}
VQ_LANES __m512d scaledSaturationLanes(__m512d s, __m512d percent) {
    const __m512d factor = _mm512_add_pd(vq::broadcast(1.0), _mm512_mul_pd(percent, vq::broadcast(kPerPercent)));
    return _mm512_min_pd(_mm512_mul_pd(s, factor), vq::broadcast(1.0));
}
VQ_LANES __m512d shiftedLightnessLanes(__m512d l, __m512d percent) {
    const __m512d fraction = _mm512_mul_pd(percent, vq::broadcast(kPerPercent));
    const __m512d darker = _mm512_mul_pd(l, _mm512_add_pd(vq::broadcast(1.0), fraction));
    const __m512d lighter = _mm512_add_pd(l, _mm512_mul_pd(_mm512_sub_pd(vq::broadcast(1.0), l), fraction));
    return _mm512_mask_blend_pd(_mm512_cmp_pd_mask(percent, _mm512_setzero_pd(), _CMP_LT_OQ), lighter, darker);
}

#pragma GCC diagnostic pop
#endif

// --- DibHSLAdjust --------------------------------------------------------------------------------

// The entries of a list, ranges that change nothing left out.
struct RangeSettings {
    std::vector<HueRange> ranges;
    Shifts master;  // the masters' sums, clamped per pixel once the ranges' part is added

    explicit RangeSettings(const QList<HSLAdjustParam>& params) {
        double hue = 0, saturation = 0, lightness = 0;
        for (const HSLAdjustParam& p : params) {
            const Shifts v = entryValues(p);
            if (p.master) {
                hue += v.hue;
                saturation += v.saturation;
                lightness += v.lightness;
                continue;
            }
            if (v.hue == 0 && v.saturation == 0 && v.lightness == 0)
                continue;
            const int start = degreesOnCircle(p.hueStart), fullStart = degreesOnCircle(p.hueFullStart),
                      fullEnd = degreesOnCircle(p.hueFullEnd), stop = degreesOnCircle(p.hueEnd);
            const int rise = degreesOnCircle(fullStart - start);
            const int full = rise + degreesOnCircle(fullEnd - fullStart);
            const int end = full + degreesOnCircle(stop - fullEnd);
            ranges.push_back({double(start), double(end), rise > 0 ? 1.0 / rise : 0.0,
                              end > full ? 1.0 / (end - full) : 0.0, rise == 0, end == full, v.hue, v.saturation,
                              v.lightness});
        }
        master = {hue, saturation, lightness};
    }

    bool neutral() const {
        return ranges.empty() && master.hue == 0 && master.saturation == 0 && master.lightness == 0;
    }
};

// Master shifts plus the weighted shifts of the ranges (a view of the
// settings, cheap to copy).
class RangeEdit {
public:
    explicit RangeEdit(const RangeSettings& settings)
        : m_ranges(settings.ranges.data()), m_count(settings.ranges.size()), m_master(settings.master) {}

    bool pixel(vq::Hsl& c) const {
        double hue = m_master.hue, saturation = m_master.saturation, lightness = m_master.lightness;
        if (c.s > 0) {
            const double degrees = hueDegrees(c.h);
            for (size_t i = 0; i < m_count; ++i) {
                const HueRange& r = m_ranges[i];
                const double w = rangeWeight(r, degrees);
                hue = hue + w * r.hue;
                saturation = saturation + w * r.saturation;
                lightness = lightness + w * r.lightness;
            }
        }
        const Shifts d = clampedShifts(hue, saturation, lightness);
        if (d.hue == 0 && d.saturation == 0 && d.lightness == 0)
            return false;
        c.h = shiftedHue(c.h, d.hue);
        c.s = scaledSaturation(c.s, d.saturation);
        c.l = shiftedLightness(c.l, d.lightness);
        return true;
    }

#if defined(__x86_64__)
    VQ_LANES bool lanes(vq::HslLanes& c) const {
        bool moved;
        lanesOf<1>(&c, &moved);
        return moved;
    }
    VQ_LANES void lanesBlock(vq::HslLanes* c, bool* moved) const { lanesOf<vq::kBlockVectors>(c, moved); }
#endif

private:
#if defined(__x86_64__)
    // The ranges outermost, so that the sums of the n vectors grow side by side.
    template <int n>
    VQ_LANES void lanesOf(vq::HslLanes* c, bool* moved) const {
        const __m512d zero = _mm512_setzero_pd(), one = vq::broadcast(1.0);
        __m512d hue[n], saturation[n], lightness[n], degrees[n];
        __mmask8 coloured[n], any = 0;
        for (int v = 0; v < n; ++v) {
            hue[v] = vq::broadcast(m_master.hue);
            saturation[v] = vq::broadcast(m_master.saturation);
            lightness[v] = vq::broadcast(m_master.lightness);
            coloured[v] = _mm512_cmp_pd_mask(c[v].s, zero, _CMP_GT_OQ);
            any |= coloured[v];
            degrees[v] = _mm512_mul_pd(_mm512_mask_blend_pd(_mm512_cmp_pd_mask(c[v].h, one, _CMP_EQ_OQ), c[v].h, zero),
                                       vq::broadcast(360.0));
        }
        for (size_t i = 0; any && i < m_count; ++i) {
            const HueRange& r = m_ranges[i];
            const __m512d origin = vq::broadcast(r.origin), end = vq::broadcast(r.end),
                          riseScale = vq::broadcast(r.riseScale), fallScale = vq::broadcast(r.fallScale),
                          rHue = vq::broadcast(r.hue), rSaturation = vq::broadcast(r.saturation),
                          rLightness = vq::broadcast(r.lightness);
            // A soft-started range that stays below 360 weighs nothing short
            // of its start, wrapped (beyond its end) or not (a negative rise).
            const bool wraps = r.hardStart || r.origin + r.end > 360;
            for (int v = 0; v < n; ++v) {
                __m512d x = _mm512_sub_pd(degrees[v], origin);
                if (wraps)
                    x = _mm512_mask_add_pd(x, _mm512_cmp_pd_mask(x, zero, _CMP_LT_OQ), x, vq::broadcast(360.0));
                const __m512d rising = r.hardStart ? one : _mm512_mul_pd(x, riseScale);
                const __m512d falling = r.hardEnd ? _mm512_maskz_mov_pd(_mm512_cmp_pd_mask(x, end, _CMP_LE_OQ), one)
                                                  : _mm512_mul_pd(_mm512_sub_pd(end, x), fallScale);
                // Kept to 0..1; 0 outright for greys, which ranges do not weigh.
                const __m512d w =
                    _mm512_min_pd(_mm512_maskz_max_pd(coloured[v], _mm512_min_pd(rising, falling), zero), one);
                // Adding w x 0 would change no sum.
                if (r.hue != 0)
                    hue[v] = _mm512_add_pd(hue[v], _mm512_mul_pd(w, rHue));
                if (r.saturation != 0)
                    saturation[v] = _mm512_add_pd(saturation[v], _mm512_mul_pd(w, rSaturation));
                if (r.lightness != 0)
                    lightness[v] = _mm512_add_pd(lightness[v], _mm512_mul_pd(w, rLightness));
            }
        }
        for (int v = 0; v < n; ++v) {
            const __m512d dh = clampLanes(hue[v], 180.0), ds = clampLanes(saturation[v], 100.0),
                          dl = clampLanes(lightness[v], 100.0);
            moved[v] = (_mm512_cmp_pd_mask(dh, zero, _CMP_NEQ_UQ) | _mm512_cmp_pd_mask(ds, zero, _CMP_NEQ_UQ) |
                        _mm512_cmp_pd_mask(dl, zero, _CMP_NEQ_UQ)) != 0;
            if (moved[v]) {
                c[v].h = shiftedHueLanes(c[v].h, dh);
                c[v].s = scaledSaturationLanes(c[v].s, ds);
                c[v].l = shiftedLightnessLanes(c[v].l, dl);
            }
        }
    }
#endif

    const HueRange* m_ranges;
    size_t m_count;
    Shifts m_master;
};

// Every pixel takes one hue and saturation; its lightness is shifted.
struct ColorizeEdit {
    double hue;         // turns, 0..1
    double saturation;  // 0..1
    double lightness;   // shift, -100..100

    bool pixel(vq::Hsl& c) const {
        c.h = hue;
        c.s = saturation;
        c.l = shiftedLightness(c.l, lightness);
        return true;
    }
#if defined(__x86_64__)
    VQ_LANES bool lanes(vq::HslLanes& c) const {
        c.h = vq::broadcast(hue);
        c.s = vq::broadcast(saturation);
        c.l = shiftedLightnessLanes(c.l, vq::broadcast(lightness));
        return true;
    }
#endif
};

// The colorize settings from the master entries; false without one.
bool colorizeFromMasters(const QList<HSLAdjustParam>& params, ColorizeEdit& edit) {
    bool any = false;
    double hue = 0, saturation = 0, lightness = 0;
    for (const HSLAdjustParam& p : params) {
        if (!p.master)
            continue;
        any = true;
        const Shifts v = entryValues(p);
        hue += v.hue;
        saturation += v.saturation;
        lightness += v.lightness;
    }
    // Whole degrees summed exactly, so the remainder is one of 0..359.
    double degrees = std::fmod(hue, 360.0);
    if (degrees < 0)
        degrees += 360;
    edit.hue = degrees * kTurnsPerDegree;
    edit.saturation = std::clamp(saturation, 0.0, 100.0) * kPerPercent;
    edit.lightness = std::clamp(lightness, -100.0, 100.0);
    return any;
}

// --- adjustSaturation, hueEqual ------------------------------------------------------------------

struct SaturationEdit {
    double percent;  // -100..100, not 0

    bool pixel(vq::Hsl& c) const {
        c.s = scaledSaturation(c.s, percent);
        return true;
    }
#if defined(__x86_64__)
    VQ_LANES bool lanes(vq::HslLanes& c) const {
        c.s = scaledSaturationLanes(c.s, vq::broadcast(percent));
        return true;
    }
#endif
};

// The hue moves by a fraction of its signed distance to the target, taken
// the shorter way round (-0.5..0.5 turn).
struct HueTowardsEdit {
    double target;    // turns, 0..1
    double fraction;  // 0..1, not 0

    bool pixel(vq::Hsl& c) const {
        double d = target - c.h;
        if (d >= 0.5)
            d = d - 1;
        if (d < -0.5)
            d = d + 1;
        c.h = c.h + d * fraction;
        if (c.h < 0)
            c.h = c.h + 1;
        if (c.h >= 1)
            c.h = c.h - 1;
        return true;
    }
#if defined(__x86_64__)
    VQ_LANES bool lanes(vq::HslLanes& c) const {
        const __m512d one = vq::broadcast(1.0);
        __m512d d = _mm512_sub_pd(vq::broadcast(target), c.h);
        d = _mm512_mask_sub_pd(d, _mm512_cmp_pd_mask(d, vq::broadcast(0.5), _CMP_GE_OQ), d, one);
        d = _mm512_mask_add_pd(d, _mm512_cmp_pd_mask(d, vq::broadcast(-0.5), _CMP_LT_OQ), d, one);
        __m512d h = _mm512_add_pd(c.h, _mm512_mul_pd(d, vq::broadcast(fraction)));
        h = _mm512_mask_add_pd(h, _mm512_cmp_pd_mask(h, _mm512_setzero_pd(), _CMP_LT_OQ), h, one);
        c.h = _mm512_mask_sub_pd(h, _mm512_cmp_pd_mask(h, one, _CMP_GE_OQ), h, one);
        return true;
    }
#endif
};

}  // namespace

bool DibHSLAdjust(QImageEx& image, const QList<HSLAdjustParam>& params, bool colorize) {
    if (image.isNull())
        return false;
    return vq::guarded(false, [&] {
        if (colorize) {
            ColorizeEdit edit{};
            if (colorizeFromMasters(params, edit))
                vq::applyHslEdit(image, edit, true);
            return true;
        }
        const RangeSettings settings(params);
        if (!settings.neutral())
            vq::applyHslEdit(image, RangeEdit(settings), true);
        return true;
    });
}

bool adjustSaturation(QImageEx& image, int amount) {
    if (image.isNull())
        return false;
    const SaturationEdit edit{static_cast<double>(std::clamp(amount, -100, 100))};
    if (edit.percent == 0)
        return true;
    return vq::guarded(false, [&] {
        vq::applyHslEdit(image, edit, false);
        return true;
    });
}

bool hueEqual(QImageEx& image, int hue, int amount) {
    if (image.isNull())
        return false;
    const HueTowardsEdit edit{degreesOnCircle(hue) * kTurnsPerDegree, std::clamp(amount, 0, 100) * kPerPercent};
    if (edit.fraction == 0)
        return true;
    return vq::guarded(false, [&] {
        vq::applyHslEdit(image, edit, false);
        return true;
    });
}
