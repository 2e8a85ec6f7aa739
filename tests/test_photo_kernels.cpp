// The photographic adjustments against their rules written out plainly, on
// images tall enough to run in several bands (this binary also runs under
// ThreadSanitizer): the plane filters, the tone curves and the haze.
#include "adjust/photo_support.h"
#include "filters/stack_blur.h"
#include "test_support.h"

#include <vqutil/adjust.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>

namespace {

using Plane = std::vector<uint8_t>;  // w x h, rows w apart
using vq::Rank;

Plane rankReference(const Plane& in, int w, int h, int r, Rank rank) {
    Plane out(in.size());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            int v = rank == Rank::Minimum ? 255 : 0;
            for (int j = std::max(0, y - r); j <= std::min(h - 1, y + r); ++j)
                for (int i = std::max(0, x - r); i <= std::min(w - 1, x + r); ++i)
                    v = rank == Rank::Minimum ? std::min<int>(v, in[j * w + i]) : std::max<int>(v, in[j * w + i]);
            out[y * w + x] = static_cast<uint8_t>(v);
        }
    return out;
}

// Rows, then columns, each by the stack blur's own reference.
Plane blurReference(const Plane& in, int w, int h, int r) {
    Plane across(in.size()), out(in.size()), column(h), blurred(h);
    for (int y = 0; y < h; ++y)
        vq::stackBlurRowReference(&in[y * w], &across[y * w], w, 1, r);
    for (int x = 0; x < w; ++x) {
        for (int y = 0; y < h; ++y)
            column[y] = across[y * w + x];
        vq::stackBlurRowReference(column.data(), blurred.data(), h, 1, r);
        for (int y = 0; y < h; ++y)
            out[y * w + x] = blurred[y];
    }
    return out;
}

// Runs rule(pixel bytes, channels, x, y) over a copy of the image.
QImage applied(const QImage& image, const std::function<void(uint8_t*, int, int, int)>& rule) {
    QImage out = image.copy();
    const int bpp = image.depth() / 8;
    for (int y = 0; y < out.height(); ++y)
        for (int x = 0; x < out.width(); ++x)
            rule(out.scanLine(y) + x * bpp, bpp == 1 ? 1 : 3, x, y);
    return out;
}

}  // namespace

TEST(PhotoKernels, PlaneFiltersMatchTheirDefinitions) {
    std::mt19937 rng(5);
    const auto randomPlane = [&](int w, int h) {
        Plane p(size_t(w) * h);
        for (uint8_t& v : p)
            v = static_cast<uint8_t>(rng() % 7 == 0 ? rng() : 100 + rng() % 40);  // runs with outliers
        return p;
    };
    std::vector<uint8_t> work;
    for (Rank rank : {Rank::Minimum, Rank::Maximum})
        for (int w = 1; w <= 70; ++w)  // every vector tail
            for (int r : {0, 1, 2, 5, 40}) {
                const Plane in = randomPlane(w, 1);
                Plane out(w);
                vq::rankLines(in.data(), 1, out.data(), 1, w, 1, r, rank, work);
                ASSERT_EQ(out, rankReference(in, w, 1, r, rank)) << "width " << w << ", r " << r;
            }
    // Whole planes: several bands of rows and of column strips.
    const int w = 131, h = 437;
    for (int r : {1, 3, 30})
        for (int filter = 0; filter < 3; ++filter) {
            const Plane in = randomPlane(w, h);
            vq::BytePlane plane(w, h), scratch(w, h);
            std::copy(in.begin(), in.end(), plane.bits());
            const Rank rank = filter == 0 ? Rank::Minimum : Rank::Maximum;
            ASSERT_TRUE(filter == 2 ? vq::blurPlane(plane, scratch, r) : vq::rankFilter(plane, scratch, r, rank));
            const Plane expected = filter == 2 ? blurReference(in, w, h, r) : rankReference(in, w, h, r, rank);
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), plane.bits())) << filter << ", r " << r;
        }
}

TEST(PhotoKernels, ToneOperationsMatchThePlainRules) {
    for (QImage::Format format : {QImage::Format_ARGB32, QImage::Format_RGB888}) {
        const QImageEx original = vqtest::randomImage(203, 409, format, 5);
        QImageEx image = original;
        DibAdjustHighLightShadow(image, 70, -35);
        const std::vector<uint8_t> curve = vq::highlightShadowCurve(0.7, -0.35);
        EXPECT_TRUE(vqtest::sameBytes(image, applied(original, [&](uint8_t* p, int, int, int) {
            const int L = vq::luma(p[2], p[1], p[0]);
            const vq::ToneShift shift = vq::toneShift(L, curve[L]);
            for (int c = 0; c < 3; ++c)
                p[c] = vq::byteRounded(p[c] * shift.mul + shift.add);
        })));
    }
    const struct {
        float colour, contrast;
        int radius;
    } cases[] = {{0, 0, 6}, {45, -20, 0}, {-70, 35, 3}, {100, 0, 12}};
    for (const auto& c : cases) {
        const QImageEx original = vqtest::randomImage(177, 411, QImage::Format_ARGB32, c.radius);
        QImageEx image = original;
        ASSERT_TRUE(shadowHighlight(image, 60, 45, c.radius, 55, 40, c.colour, c.contrast));
        const std::vector<uint8_t> table = vq::localToneTable({0.6, 0.45, 0.55, 0.4, c.contrast / 100.0});
        const int w = original.width(), h = original.height();
        Plane L(size_t(w) * h);
        applied(original, [&](uint8_t* p, int, int x, int y) { L[y * w + x] = uint8_t(vq::luma(p[2], p[1], p[0])); });
        const Plane M = c.radius > 0 ? blurReference(L, w, h, c.radius) : L;
        const double colour = c.colour / 100.0 / 128;
        EXPECT_TRUE(vqtest::sameBytes(image, applied(original, [&](uint8_t* p, int, int x, int y) {
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
                for (double& e : v)
                    e = g + (e - g) * std::min(f, std::max(limit, 1.0));
            }
            for (int k = 0; k < 3; ++k)
                p[k] = vq::byteRounded(v[k]);
        }))) << c.radius;
    }
}

TEST(PhotoKernels, HazeMatchesThePlainRule) {
    const struct {
        QImage::Format format;
        float strength, floor;
        int r;
    } cases[] = {{QImage::Format_ARGB32, 80, 0.1f, 3},
                 {QImage::Format_RGB888, -60, 0.3f, 2},
                 {QImage::Format_Grayscale8, 100, 0.05f, 1},
                 {QImage::Format_RGB32, 45, 0.2f, 0}};
    for (const auto& c : cases) {
        // Noise over a gradient, so that the dark channel has structure.
        QImageEx original = vqtest::randomImage(97, 433, c.format, 3);
        for (int y = 0; y < original.height(); ++y)
            for (int i = 0; i < original.width() * original.depth() / 8; ++i)
                original.scanLine(y)[i] = static_cast<uint8_t>(std::min(255, original.scanLine(y)[i] / 4 + y / 2));
        QImageEx image = original;
        DibAdjustHaze(image, c.strength, c.floor, c.r);

        // Smallest channel, opening, blur; the air from the brightest thousandth.
        const int w = original.width(), h = original.height();
        Plane dark(size_t(w) * h);
        applied(original, [&](uint8_t* p, int n, int x, int y) { dark[y * w + x] = n == 1 ? p[0] : std::min({p[0], p[1], p[2]}); });
        if (c.r > 0)
            dark = blurReference(rankReference(rankReference(dark, w, h, c.r, Rank::Minimum), w, h, c.r, Rank::Maximum),
                                 w, h, c.r);
        Plane sorted = dark;
        const size_t wanted = dark.size() / 1000;
        std::nth_element(sorted.begin(), sorted.begin() + wanted - 1, sorted.end(), std::greater<>());
        double A[3] = {}, count = 0, least = 255, brightest = 0;
        applied(original, [&](uint8_t* p, int channels, int x, int y) {
            if (dark[y * w + x] >= sorted[wanted - 1]) {
                for (int k = 0; k < channels; ++k)
                    A[k] += p[k];
                ++count;
            }
        });
        const int channels = c.format == QImage::Format_Grayscale8 ? 1 : 3;
        for (int k = 0; k < channels; ++k) {
            A[k] /= count;
            least = std::min(least, A[k]);
            brightest = std::max(brightest, A[k]);
        }
        const double a = std::max(least, 96.0), s = c.strength / 100.0;
        EXPECT_TRUE(vqtest::sameBytes(image, applied(original, [&](uint8_t* p, int n, int x, int y) {
            const int D = dark[y * w + x];
            for (int k = 0; k < n; ++k) {
                const double t = std::max(double(c.floor), 1.0 - 0.95 * s * D / a);
                const double H = std::min(255.0, A[k] * std::max(1.0, 220 / brightest));
                const double m = std::min(1.0 - c.floor, -s * (0.5 + 0.5 * std::min(1.0, D / a)));
                p[k] = vq::byteRounded(s > 0 ? A[k] + (p[k] - A[k]) / t : p[k] + m * (H - p[k]));
            }
        }))) << c.strength;
    }
}
