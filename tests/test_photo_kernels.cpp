// The photographic adjustments against their rules written out plainly, on
// images tall enough to run in several bands (this binary also runs under
// ThreadSanitizer): the plane filters, the tone curves, the haze removal
// and the white balance.
#include "adjust/photo_support.h"
#include "filters/stack_blur.h"

#include <vqutil/adjust.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

QImageEx noise(int w, int h, QImage::Format format, uint32_t seed) {
    QImageEx image(QImage(w, h, format));
    std::mt19937 rng(seed);
    for (int y = 0; y < h; ++y)
        for (qsizetype i = 0; i < image.bytesPerLine(); ++i)
            image.scanLine(y)[i] = static_cast<uint8_t>(rng());
    return image;
}

using Plane = std::vector<uint8_t>;  // w x h, rows w apart

Plane randomPlane(int w, int h, uint32_t seed) {
    std::mt19937 rng(seed);
    Plane p(static_cast<size_t>(w) * h);
    for (uint8_t& v : p)
        v = static_cast<uint8_t>(rng() % 7 == 0 ? rng() : 100 + rng() % 40);  // runs with outliers
    return p;
}

Plane rankReference(const Plane& in, int w, int h, int r, vq::Rank rank) {
    Plane out(in.size());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            int v = rank == vq::Rank::Minimum ? 255 : 0;
            for (int j = std::max(0, y - r); j <= std::min(h - 1, y + r); ++j)
                for (int i = std::max(0, x - r); i <= std::min(w - 1, x + r); ++i)
                    v = rank == vq::Rank::Minimum ? std::min<int>(v, in[j * w + i]) : std::max<int>(v, in[j * w + i]);
            out[y * w + x] = static_cast<uint8_t>(v);
        }
    return out;
}

// Rows, then columns, each by the stack blur's own reference.
Plane blurReference(const Plane& in, int w, int h, int r) {
    Plane across(in.size()), out(in.size());
    for (int y = 0; y < h; ++y)
        vq::stackBlurRowReference(&in[y * w], &across[y * w], w, 1, r);
    std::vector<uint8_t> column(h), blurred(h);
    for (int x = 0; x < w; ++x) {
        for (int y = 0; y < h; ++y)
            column[y] = across[y * w + x];
        vq::stackBlurRowReference(column.data(), blurred.data(), h, 1, r);
        for (int y = 0; y < h; ++y)
            out[y * w + x] = blurred[y];
    }
    return out;
}

Plane planeOf(const vq::BytePlane& p) { return Plane(p.bits(), p.bits() + size_t(p.width()) * p.height()); }

void load(vq::BytePlane& p, const Plane& values) { std::copy(values.begin(), values.end(), p.bits()); }

Plane lumaReference(const QImage& image) {
    const int bpp = image.depth() / 8;
    Plane out(size_t(image.width()) * image.height());
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const uint8_t* p = image.constScanLine(y) + x * bpp;
            out[y * image.width() + x] = bpp == 1 ? p[0] : static_cast<uint8_t>(vq::luma(p[2], p[1], p[0]));
        }
    return out;
}

// Compares the visible colour bytes (and keeps alpha in view) of two images.
void expectSamePixels(const QImage& a, const QImage& b) {
    ASSERT_EQ(a.size(), b.size());
    const qsizetype used = qsizetype(a.width()) * (a.depth() / 8);
    for (int y = 0; y < a.height(); ++y)
        for (qsizetype i = 0; i < used; ++i)
            ASSERT_EQ(a.constScanLine(y)[i], b.constScanLine(y)[i]) << "row " << y << ", byte " << i;
}

}  // namespace

TEST(PhotoKernels, RankFiltersMatchTheClippedWindow) {
    std::vector<uint8_t> work;
    for (vq::Rank rank : {vq::Rank::Minimum, vq::Rank::Maximum}) {
        // Every width from 1 to 70 (the vector tails), a few radii.
        for (int w = 1; w <= 70; ++w)
            for (int r : {0, 1, 2, 5, 40}) {
                const Plane in = randomPlane(w, 3, w * 100 + r);
                Plane out(w);
                vq::rankLines(in.data(), 1, out.data(), 1, w, 1, r, rank, work);
                const Plane reference = rankReference(Plane(in.begin(), in.begin() + w), w, 1, r, rank);
                ASSERT_EQ(out, reference) << "width " << w << ", r " << r;
            }
        // Whole planes, tall enough for several bands and strips.
        for (int r : {1, 3, 7}) {
            const int w = 131, h = 437;
            const Plane in = randomPlane(w, h, r);
            vq::BytePlane plane(w, h), scratch(w, h);
            load(plane, in);
            ASSERT_TRUE(vq::rankFilter(plane, scratch, r, rank));
            ASSERT_EQ(planeOf(plane), rankReference(in, w, h, r, rank)) << "r " << r;
        }
    }
}

TEST(PhotoKernels, PlaneBlurMatchesTheStackBlurReference) {
    for (int r : {1, 4, 30}) {
        const int w = 150, h = 421;
        const Plane in = randomPlane(w, h, 7 + r);
        vq::BytePlane plane(w, h), scratch(w, h);
        load(plane, in);
        ASSERT_TRUE(vq::blurPlane(plane, scratch, r));
        ASSERT_EQ(planeOf(plane), blurReference(in, w, h, r)) << "r " << r;
    }
}

TEST(PhotoKernels, HighLightShadowMatchesTheCurveRule) {
    for (QImage::Format format : {QImage::Format_ARGB32, QImage::Format_RGB888}) {
        const QImageEx original = noise(203, 409, format, 5);
        QImageEx image = original;
        DibAdjustHighLightShadow(image, 70, -35);
        const std::vector<uint8_t> curve = vq::highlightShadowCurve(0.7, -0.35);
        QImage expected = original.copy();
        const int bpp = original.depth() / 8;
        for (int y = 0; y < expected.height(); ++y)
            for (int x = 0; x < expected.width(); ++x) {
                uint8_t* p = expected.scanLine(y) + x * bpp;
                const int L = vq::luma(p[2], p[1], p[0]);
                const vq::ToneShift shift = vq::toneShift(L, curve[L]);
                for (int c = 0; c < 3; ++c)
                    p[c] = vq::roundToByte(p[c] * shift.mul + shift.add);
            }
        expectSamePixels(image, expected);
    }
}

TEST(PhotoKernels, ShadowHighlightMatchesThePlainRule) {
    struct Case {
        float colour, contrast;
        int radius;
    } cases[] = {{0, 0, 6}, {45, -20, 3}, {-70, 35, 0}, {100, 0, 12}};
    for (const Case& c : cases) {
        const QImageEx original = noise(177, 411, QImage::Format_ARGB32, 11 + c.radius);
        QImageEx image = original;
        ASSERT_TRUE(shadowHighlight(image, 60, 45, c.radius, 55, 40, c.colour, c.contrast));

        vq::LocalToneSettings s;
        s.shadows = 0.6;
        s.highlights = 0.45;
        s.shadowWidth = 0.55;
        s.highlightWidth = 0.4;
        s.contrast = c.contrast / 100.0;
        const std::vector<uint8_t> table = vq::localToneTable(s);
        const int w = original.width(), h = original.height();
        const Plane L = lumaReference(original);
        const Plane M = c.radius > 0 ? blurReference(L, w, h, c.radius) : L;
        const double colour = c.colour / 100.0 / 128;
        QImage expected = original.copy();
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                uint8_t* p = expected.scanLine(y) + 4 * x;
                const int l = L[y * w + x], l2 = table[M[y * w + x] * 256 + l];
                const vq::ToneShift shift = vq::toneShift(l, l2);
                double v[3];
                for (int k = 0; k < 3; ++k)
                    v[k] = p[k] * shift.mul + shift.add;
                if (colour != 0) {
                    const double f = std::max(0.0, 1 + colour * std::abs(l2 - l));
                    const double g = (29 * v[0] + 150 * v[1] + 77 * v[2]) * (1.0 / 256);
                    const double hi = std::max({v[0], v[1], v[2]}), lo = std::min({v[0], v[1], v[2]});
                    const double limit = std::min((255 - g) / std::max(hi - g, 1e-9), g / std::max(g - lo, 1e-9));
                    const double scale = std::min(f, std::max(limit, 1.0));
                    for (double& e : v)
                        e = g + (e - g) * scale;
                }
                for (int k = 0; k < 3; ++k)
                    p[k] = vq::roundToByte(v[k]);
            }
        expectSamePixels(image, expected);
    }
}

namespace {

// The haze rule written out: smallest channel, opening, blur, air colour
// from the brightest thousandth, then each channel by the formula.
QImage hazeReference(const QImage& original, double s, double floor, int r) {
    const int w = original.width(), h = original.height(), bpp = original.depth() / 8;
    const int channels = bpp == 1 ? 1 : 3;
    Plane dark(size_t(w) * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint8_t* p = original.constScanLine(y) + x * bpp;
            dark[y * w + x] = bpp == 1 ? p[0] : std::min({p[0], p[1], p[2]});
        }
    if (r > 0)
        dark = blurReference(rankReference(rankReference(dark, w, h, r, vq::Rank::Minimum), w, h, r, vq::Rank::Maximum),
                             w, h, r);
    std::vector<int> order(dark.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = static_cast<int>(i);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return dark[a] > dark[b]; });
    const size_t wanted = std::max<size_t>(1, dark.size() / 1000);
    const int threshold = dark[order[wanted - 1]];  // every pixel at this level and above
    double sum[3] = {}, count = 0;
    for (size_t i = 0; i < dark.size(); ++i)
        if (dark[i] >= threshold) {
            const uint8_t* p = original.constScanLine(int(i) / w) + (int(i) % w) * bpp;
            for (int c = 0; c < channels; ++c)
                sum[c] += p[c];
            ++count;
        }
    double A[3], a = 255, brightest = 0;
    for (int c = 0; c < channels; ++c) {
        A[c] = sum[c] / count;
        a = std::min(a, A[c]);
        brightest = std::max(brightest, A[c]);
    }
    a = std::max(a, 96.0);
    QImage out = original.copy();
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            uint8_t* p = out.scanLine(y) + x * bpp;
            const int D = dark[y * w + x];
            for (int c = 0; c < channels; ++c) {
                double J;
                if (s > 0) {
                    const double t = std::max(floor, 1.0 - 0.95 * s * D / a);
                    J = A[c] + (p[c] - A[c]) / t;
                } else {
                    const double H = brightest < 1 ? 220 : std::min(255.0, A[c] * std::max(1.0, 220 / brightest));
                    const double m = std::min(1.0 - floor, -s * (0.5 + 0.5 * std::min(1.0, D / a)));
                    J = p[c] + m * (H - p[c]);
                }
                p[c] = vq::roundToByte(J);
            }
        }
    return out;
}

}  // namespace

TEST(PhotoKernels, HazeMatchesThePlainRule) {
    struct Case {
        QImage::Format format;
        float strength, floor;
        int radius;
    } cases[] = {{QImage::Format_ARGB32, 80, 0.1f, 3},
                 {QImage::Format_RGB888, -60, 0.3f, 2},
                 {QImage::Format_Grayscale8, 100, 0.05f, 1},
                 {QImage::Format_RGB32, 45, 0.2f, 0}};
    for (const Case& c : cases) {
        // Noise over a gradient, so that the dark channel has structure.
        QImageEx original = noise(97, 433, c.format, 3);
        for (int y = 0; y < original.height(); ++y)
            for (int i = 0; i < original.width() * original.depth() / 8; ++i) {
                uint8_t& b = original.scanLine(y)[i];
                b = static_cast<uint8_t>(std::min(255, b / 4 + y / 2));
            }
        QImageEx image = original;
        DibAdjustHaze(image, c.strength, c.floor, c.radius);
        expectSamePixels(image, hazeReference(original, c.strength / 100.0, c.floor, c.radius));
    }
}

TEST(PhotoKernels, WhiteBalanceAppliesTheGainsInLinearLight) {
    const QImageEx original = noise(64, 401, QImage::Format_ARGB32, 17);
    QImageEx image = original;
    DibAdjustWhiteBalance(image, 40, -30);
    const auto decode = [](double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
    const auto encode = [](double v) { return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055; };
    const double t = 0.4, u = -0.3;
    const double gains[3] = {std::exp2(-t + 0.25 * u), std::exp2(-0.5 * u), std::exp2(t + 0.25 * u)};  // blue, green, red
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            for (int c = 0; c < 4; ++c) {
                const int in = original.constScanLine(y)[4 * x + c];
                const int expected =
                    c == 3 ? in : vq::roundToByte(255 * encode(std::min(1.0, decode(in / 255.0) * gains[c])));
                ASSERT_EQ(image.constScanLine(y)[4 * x + c], expected) << x << "," << y << " byte " << c;
            }
}
