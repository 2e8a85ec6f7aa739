// The HSL row passes and the hue, saturation and colour balance operations
// against their rules written out plainly in the scalar HSL model, on every
// colour and on images large enough to run in several bands (this binary
// also runs under ThreadSanitizer).
#include "adjust/hsl_rows.h"

#include <vqutil/adjust.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

namespace {

// Every colour once, alpha varying.
std::vector<uint8_t> everyColour() {
    std::vector<uint8_t> words(uint64_t{4} << 24);
    for (uint32_t c = 0; c < (1u << 24); ++c)
        vq::storeWord(&words[4 * c], c | (c * 7u) << 24);
    return words;
}

// An edit that moves all three components, in both forms.
struct Perturb {
    bool pixel(vq::Hsl& c) const {
        c.h = c.h * 0.75 + 0.125;
        c.s = std::min(1.0, c.s * 1.3);
        c.l = c.l * 0.9 + 0.05;
        return true;
    }
#if defined(__x86_64__)
    VQ_LANES bool lanes(vq::HslLanes& c) const {
        c.h = _mm512_add_pd(_mm512_mul_pd(c.h, vq::broadcast(0.75)), vq::broadcast(0.125));
        c.s = _mm512_min_pd(_mm512_mul_pd(c.s, vq::broadcast(1.3)), vq::broadcast(1.0));
        c.l = _mm512_add_pd(_mm512_mul_pd(c.l, vq::broadcast(0.9)), vq::broadcast(0.05));
        return true;
    }
#endif
};

#if defined(__x86_64__)
// h, s, l and the lightness alone of eight pixel words, by the lanes.
__attribute__((target("avx512f"))) void hslOfEight(const uint8_t* words, double out[4][8]) {
    const vq::RgbLanes c = vq::splitWords(vq::loadEight(words));
    const vq::HslLanes v = vq::toHslLanes(c);
    _mm512_storeu_pd(out[0], v.h);
    _mm512_storeu_pd(out[1], v.s);
    _mm512_storeu_pd(out[2], v.l);
    _mm512_storeu_pd(out[3], vq::lightnessLanes(c));
}
#endif

// --- the rules, plainly ---------------------------------------------------------------------------

int circle(int v) { return (v % 360 + 360) % 360; }
double turn(double h) {
    h = h < 0 ? h + 1 : h;
    return h >= 1 ? h - 1 : h;
}
double saturated(double s, double p) { return std::min(1.0, s * (1.0 + p * 0.01)); }
double lightened(double l, double p) { return p < 0 ? l * (1.0 + p * 0.01) : l + (1.0 - l) * (p * 0.01); }

double weight(const HSLAdjustParam& p, double degrees) {
    const int start = circle(p.hueStart);
    const int rise = circle(circle(p.hueFullStart) - start);
    const int full = rise + circle(circle(p.hueFullEnd) - circle(p.hueFullStart));
    const int end = full + circle(circle(p.hueEnd) - circle(p.hueFullEnd));
    double x = degrees - start;
    if (x < 0)
        x = x + 360;
    const double rising = rise == 0 ? 1 : x * (1.0 / rise);
    const double falling = end == full ? (x <= end ? 1 : 0) : (end - x) * (1.0 / (end - full));
    return std::clamp(std::min(rising, falling), 0.0, 1.0);
}

uint32_t hslAdjusted(uint32_t w, const QList<HSLAdjustParam>& params) {
    vq::Hsl c = vq::wordToHsl(w);
    double dh = 0, ds = 0, dl = 0;
    const auto add = [&](double k, const HSLAdjustParam& p) {
        dh += k * std::clamp(p.hue, -180, 180);
        ds += k * std::clamp(p.saturation, -100, 100);
        dl += k * std::clamp(p.lightness, -100, 100);
    };
    for (const HSLAdjustParam& p : params)  // masters first, then the ranges
        if (p.master)
            add(1, p);
    for (const HSLAdjustParam& p : params)
        if (!p.master && c.s > 0)
            add(weight(p, (c.h == 1.0 ? 0.0 : c.h) * 360.0), p);
    c = {turn(c.h + std::clamp(dh, -180.0, 180.0) * (1.0 / 360)), saturated(c.s, std::clamp(ds, -100.0, 100.0)),
         lightened(c.l, std::clamp(dl, -100.0, 100.0))};
    return vq::withColour(w, vq::hslToRgb(c));
}

uint32_t hueMoved(uint32_t w, int hue, int amount) {
    vq::Hsl c = vq::wordToHsl(w);
    double d = circle(hue) * (1.0 / 360) - c.h;
    d = d >= 0.5 ? d - 1 : d;
    d = d < -0.5 ? d + 1 : d;
    c.h = turn(c.h + d * (amount * 0.01));
    return vq::withColour(w, vq::hslToRgb(c));
}

// One channel of the colour balance from its three sliders.
uint8_t balanced(int c, int shadow, int midtone, int highlight) {
    const auto t = [](int v) { return std::abs(v) * 0.4 / 100; };
    const auto grid = [](double v) { return std::round(v * 4294967296.0) / 4294967296.0; };
    const double s = grid(highlight > 0 ? t(highlight) : highlight < 0 ? -t(highlight) / (1 - t(highlight)) : 0);
    double slope = shadow > 0 ? 1 - t(shadow) : shadow < 0 ? 1 / (1 - t(shadow)) : 1;
    slope = midtone < 0 ? slope * (1 + t(midtone)) : slope;
    const double h = grid(slope != 1 ? 1 - 1 / slope : 0), m = grid(midtone > 0 ? t(midtone) : 0);
    const int x = static_cast<int>(c / (1 - s));
    const int y = static_cast<int>((std::min(x, 255) - h * 255) / (1 - h));
    return static_cast<uint8_t>(std::min(static_cast<int>(std::max(y, 0) * (m + 1)), 255));
}

// Every pixel of a 24- or 32-bit image against rule(original word), 24-bit
// pixels read with alpha 0.
template <typename Rule>
void expectPixels(const QImage& original, const QImage& result, Rule rule) {
    vqtest::expectPixels(original, result, [&](uint8_t* p, int, int) { vq::storeWord(p, rule(vq::loadWord(p))); });
}

const QImage::Format kFormats[] = {QImage::Format_ARGB32, QImage::Format_RGB888};

}  // namespace

TEST(HueKernels, HslRoundTripIsExactForEveryColour) {
    for (uint32_t c = 0; c < (1u << 24); ++c)
        ASSERT_EQ(vq::withColour(c, vq::hslToRgb(vq::wordToHsl(c))), c) << std::hex << c;
}

TEST(HueKernels, LanesMatchTheScalarModelOnEveryColour) {
#if defined(__x86_64__)
    if (!vq::cpuHasAvx512())
        GTEST_SKIP() << "no AVX-512 on this processor";
    const std::vector<uint8_t> all = everyColour();
    double lanes[4][8];
    for (uint32_t c = 0; c < (1u << 24); c += 8) {
        hslOfEight(&all[4 * c], lanes);
        for (int i = 0; i < 8; ++i) {
            const vq::Hsl model = vq::wordToHsl(c + i);
            const double expected[4] = {model.h, model.s, model.l, model.l};
            for (int k = 0; k < 4; ++k)  // bit for bit
                ASSERT_EQ(std::memcmp(&lanes[k][i], &expected[k], sizeof(double)), 0) << std::hex << c + i << " " << k;
        }
    }
    // Converting back, over all colours and then every count from 1 to 70.
    std::vector<uint8_t> fast = all, scalar = all;
    vq::hslEditRow(fast.data(), 1 << 24, Perturb{});
    vq::hslEditRowScalar(scalar.data(), 1 << 24, Perturb{});
    ASSERT_TRUE(fast == scalar);
    for (int count = 1; count <= 70; ++count) {
        fast.assign(all.begin() + 4 * 1000 * count, all.begin() + 4 * (1000 * count + count));
        scalar = fast;
        vq::hslEditRow(fast.data(), count, Perturb{});
        vq::hslEditRowScalar(scalar.data(), count, Perturb{});
        ASSERT_TRUE(fast == scalar) << count;
    }
#endif
}

TEST(HueKernels, HslAdjustMatchesTheRule) {
    auto range = [](int a, int b, int c, int d, int hue, int sat, int light) {
        return HSLAdjustParam{0, a, b, c, d, hue, sat, light};
    };
    const QList<QList<HSLAdjustParam>> settings = {
        {HSLAdjustParam{1, 0, 0, 0, 0, 25, -30, 12}},
        {range(315, 345, 15, 45, 40, 60, -20), range(195, 225, 255, 285, -90, -100, 35)},
        {range(-30, 0, 0, 400, 0, 0, -70), HSLAdjustParam{1, 0, 0, 0, 0, -10, 5, 0},
         range(100, 100, 100, 100, 9, 9, 9)},
        {range(90, 30, 200, 10, 180, 100, 100), range(0, 0, 359, 359, -180, 300, -300),
         HSLAdjustParam{1, 0, 0, 0, 0, 170, 90, -95}},
    };
    for (const QList<HSLAdjustParam>& params : settings)
        for (QImage::Format format : kFormats) {
            const QImageEx original(vqtest::randomImage(203, 403, format, params.size()));
            QImageEx image = original;
            ASSERT_TRUE(DibHSLAdjust(image, params, false));
            expectPixels(original, image, [&](uint32_t w) { return hslAdjusted(w, params); });
        }
}

TEST(HueKernels, ColorizeSaturationAndHueEqualMatchTheirRules) {
    for (QImage::Format format : kFormats) {
        const QImageEx original(vqtest::randomImage(131, 405, format, 5));
        QImageEx image = original;
        const QList<HSLAdjustParam> colour = {HSLAdjustParam{1, 0, 0, 0, 0, -100, 70, -40},
                                              HSLAdjustParam{1, 0, 0, 0, 0, 30, 10, 0}};
        ASSERT_TRUE(DibHSLAdjust(image, colour, true));
        expectPixels(original, image, [](uint32_t w) {
            vq::Hsl c = vq::wordToHsl(w);
            c = {290 * (1.0 / 360), 80 * 0.01, lightened(c.l, -40)};
            return vq::withColour(w, vq::hslToRgb(c));
        });
        for (int amount : {-100, -37, 64, 100}) {
            image = original;
            ASSERT_TRUE(adjustSaturation(image, amount));
            expectPixels(original, image, [&](uint32_t w) {
                vq::Hsl c = vq::wordToHsl(w);
                c.s = saturated(c.s, amount);
                return vq::withColour(w, vq::hslToRgb(c));
            });
        }
        for (int hue : {0, 200, -45})
            for (int amount : {1, 50, 100}) {
                image = original;
                ASSERT_TRUE(hueEqual(image, hue, amount));
                expectPixels(original, image, [&](uint32_t w) { return hueMoved(w, hue, amount); });
            }
    }
}

TEST(HueKernels, ColourBalanceMatchesThePipeline) {
    const int settings[][9] = {{40, -20, 100, 0, 0, 0, -100, 60, 5}, {0, 0, 0, 80, -80, 33, 0, 0, 0},
                               {-100, 100, -7, -100, 100, -55, 100, -100, 12}};
    for (const int* v : settings)
        for (bool keepLightness : {false, true})
            for (QImage::Format format : kFormats) {
                const QImageEx original(vqtest::randomImage(97, 401, format, v[0] + 200));
                QImageEx image = original;
                ASSERT_TRUE(DibColorBalance(image, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8],
                                            keepLightness));
                expectPixels(original, image, [&](uint32_t w) {
                    const vq::Rgb8 b = {balanced((w >> 16) & 0xFF, v[0], v[3], v[6]),
                                        balanced((w >> 8) & 0xFF, v[1], v[4], v[7]),
                                        balanced(w & 0xFF, v[2], v[5], v[8])};
                    if (!keepLightness)
                        return vq::withColour(w, b);
                    vq::Hsl c = vq::rgbToHsl(b.r, b.g, b.b);
                    c.l = vq::wordToHsl(w).l;
                    return vq::withColour(w, vq::hslToRgb(c));
                });
            }
}
