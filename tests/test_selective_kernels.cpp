// The vectorised kernels of selective colour and colour replacement against
// their rules written out plainly (the library's CMYK conversion, the YUV
// transform), on images of several bands and on rows of every short width.
#include "adjust/selective_kernels.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

// Family weights as selectiveColor documents them: a channel strictly above (below) the other two
// gives its primary (complementary secondary) family; lightness the rest.
void selectiveReference(uint8_t* bgr, const SelectiveColorSettings& s) {
    const int B = bgr[0], G = bgr[1], R = bgr[2];
    const int hi = std::max({R, G, B}), lo = std::min({R, G, B}), mid = R + G + B - hi - lo;
    const SelectiveColorInks family[] = {s.reds,     s.yellows, s.greens,   s.cyans, s.blues,
                                         s.magentas, s.whites,  s.neutrals, s.blacks};
    int w[9] = {};
    w[R > G && R > B ? 0 : G > R && G > B ? 2 : 4] = hi - mid;  // a tie: weight 0 anyway
    w[B < R && B < G ? 1 : R < G && R < B ? 3 : 5] = mid - lo;
    w[6] = std::max(hi + lo - 255, 0);
    w[8] = std::max(255 - hi - lo, 0);
    w[7] = 255 - w[6] - w[8];
    unsigned char cmyk[4];
    QImageEx::BgrToCmyk(cmyk, bgr, 1);
    for (int k = 0; k < 4; ++k) {
        int64_t t = 0;
        for (int f = 0; f < 9; ++f) {
            const double all[] = {family[f].cyan, family[f].magenta, family[f].yellow, family[f].black};
            const double p = std::clamp(all[k], -100.0, 100.0);
            t += w[f] * (s.absolute ? std::lround(p * 81.92) : std::lround(p * (2097152.0 / 25500)));
        }
        const int64_t delta = s.absolute ? (t + 4096) >> 13 : (cmyk[k] * t + (1 << 20)) >> 21;
        cmyk[k] = static_cast<unsigned char>(std::clamp<int64_t>(cmyk[k] + delta, 0, 255));
    }
    QImageEx::CmykToBgr(bgr, cmyk, 1);
}

void replaceReference(uint8_t* bgr, const QVector<YUV>& sources, YUV target, double tolerance, double feather) {
    const YUV p = yuvFromRgb(qRgb(bgr[2], bgr[1], bgr[0]));
    double best = INFINITY;
    YUV s{};
    for (const YUV& source : sources) {
        const double dy = p.y - source.y, du = p.u - source.u, dv = p.v - source.v;
        if (dy * dy + du * du + dv * dv < best)
            best = dy * dy + du * du + dv * dv, s = source;
    }
    const double o2 = (tolerance + feather) * (tolerance + feather), t2 = tolerance * tolerance;
    const double w = o2 > t2 ? std::clamp((o2 - best) / (o2 - t2), 0.0, 1.0) : best <= t2 ? 1.0 : 0.0;
    const double dy = target.y - s.y, du = target.u - s.u, dv = target.v - s.v;
    const double shift[3] = {dy + 1.772 * du, dy - vq::kGreenFromU * du - vq::kGreenFromV * dv, dy + 1.402 * dv};
    for (int i = 0; i < 3; ++i)
        bgr[i] = static_cast<uint8_t>(std::clamp(std::floor(bgr[i] + w * shift[i] + 0.5), 0.0, 255.0));
}

// Runs `apply` on images of two bands (each depth), on every pair of a
// brightest channel and one below it, and on rows of widths 1..70 and 600
// (past a run of the kernels), without and with a mask selecting about
// half of the pixels, and compares every pixel with `reference`.
template <typename Apply, typename Reference>
void expectReference(Apply apply, Reference reference) {
    QImageEx pairs(QImage(256, 256, QImage::Format_RGB32));
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x)
            reinterpret_cast<QRgb*>(pairs.scanLine(y))[x] = qRgb(y, std::min(x, y), 0);
    std::vector<QImageEx> images{vqtest::randomImage(131, 401, QImage::Format_ARGB32),
                                 vqtest::randomImage(131, 401, QImage::Format_RGB888), pairs,
                                 vqtest::randomImage(600, 1, QImage::Format_ARGB32)};
    for (int w = 1; w <= 70; ++w)
        images.push_back(vqtest::randomImage(w, 1, QImage::Format_ARGB32, w));
    for (const QImageEx& original : images)
        for (bool masked : {false, true}) {
            QImageEx mask = vqtest::randomImage(original.width(), original.height(), QImage::Format_Grayscale8);
            for (int y = 0; y < mask.height(); ++y)
                for (int x = 0; x < mask.width(); ++x)
                    mask.scanLine(y)[x] &= 0x80;
            QImageEx image = original;
            ASSERT_TRUE(apply(image, masked ? &mask : nullptr));
            vqtest::expectPixels(original, image, [&](uint8_t* p, int x, int y) {
                if (!masked || mask.constScanLine(y)[x] == 0)
                    reference(p);
            });
        }
}

}  // namespace

TEST(SelectiveKernels, MatchTheCmykRule) {
    std::mt19937 rng(11);
    const auto percent = [&](int range) {
        return static_cast<int>(rng() % (2 * range + 1)) - range + rng() % 10 / 10.0;
    };
    for (bool absolute : {false, true, false, true}) {
        SelectiveColorSettings s;
        for (SelectiveColorInks* f : {&s.reds, &s.yellows, &s.greens, &s.cyans, &s.blues, &s.magentas, &s.whites,
                                      &s.neutrals, &s.blacks})
            *f = {percent(120), percent(100), percent(100), percent(100)};  // cyan partly clamped
        s.absolute = absolute;
        expectReference([&](QImageEx& image, const QImageEx* mask) { return selectiveColor(image, mask, s); },
                        [&](uint8_t* bgr) { selectiveReference(bgr, s); });
    }
}

TEST(ReplaceKernels, MatchTheYuvRule) {
    const QVector<YUV> one{yuvFromRgb(qRgb(200, 60, 50))}, three{{128, 30, -20}, {60, -40, 10}, {200, 0, 0}};
    const struct {
        QVector<YUV> sources;
        YUV target;
        double tolerance, feather;
    } cases[] = {{one, yuvFromRgb(qRgb(40, 90, 220)), 90, 0},
                 {three, {100, -10, 40}, 60, 45},
                 {three, {0, 60, -60}, 0, 300}};
    for (const auto& c : cases)
        expectReference(
            [&](QImageEx& image, const QImageEx* mask) {
                return replaceColor(image, mask, c.sources, c.target, c.tolerance, c.feather);
            },
            [&](uint8_t* bgr) { replaceReference(bgr, c.sources, c.target, c.tolerance, c.feather); });
}
