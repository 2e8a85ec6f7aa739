// The vectorised kernels of selective colour and colour replacement against
// their rules written out plainly (the library's CMYK conversion, the YUV
// transform), on images of several bands and on runs of every short width.
#include "adjust/selective_kernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
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

// Family weights as stated: a channel strictly above (below) the other two
// makes its primary (the complementary secondary) family; lightness the rest.
void selectiveReference(uint8_t* bgr, const SelectiveColorSettings& s) {
    const int B = bgr[0], G = bgr[1], R = bgr[2];
    const int hi = std::max({R, G, B}), lo = std::min({R, G, B}), mid = R + G + B - hi - lo;
    const SelectiveColorInks* family[] = {&s.reds,     &s.yellows, &s.greens,   &s.cyans, &s.blues,
                                          &s.magentas, &s.whites,  &s.neutrals, &s.blacks};
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
            const double inks[] = {family[f]->cyan, family[f]->magenta, family[f]->yellow, family[f]->black};
            const double p = std::clamp(inks[k], -100.0, 100.0);
            t += w[f] * (s.absolute ? std::lround(p * 81.92) : std::lround(p * (2097152.0 / 25500)));
        }
        const int64_t delta = s.absolute ? (t + 4096) >> 13 : (cmyk[k] * t + (1 << 20)) >> 21;
        cmyk[k] = static_cast<unsigned char>(std::clamp<int64_t>(cmyk[k] + delta, 0, 255));
    }
    QImageEx::CmykToBgr(bgr, cmyk, 1);
}

struct ReplaceCase {
    QVector<YUV> sources;
    YUV target;
    double tolerance, feather;
};

void replaceReference(uint8_t* bgr, const ReplaceCase& c) {
    const YUV p = yuvFromRgb(qRgb(bgr[2], bgr[1], bgr[0]));
    double best = INFINITY;
    YUV s{};
    for (const YUV& source : c.sources) {
        const double dy = p.y - source.y, du = p.u - source.u, dv = p.v - source.v;
        if (dy * dy + du * du + dv * dv < best) {
            best = dy * dy + du * du + dv * dv;
            s = source;
        }
    }
    const double o2 = (c.tolerance + c.feather) * (c.tolerance + c.feather), t2 = c.tolerance * c.tolerance;
    const double w = o2 > t2 ? std::clamp((o2 - best) / (o2 - t2), 0.0, 1.0) : best <= t2 ? 1.0 : 0.0;
    const double dy = c.target.y - s.y, du = c.target.u - s.u, dv = c.target.v - s.v;
    const double shift[3] = {dy + 1.772 * du, dy - vq::kGreenFromU * du - vq::kGreenFromV * dv, dy + 1.402 * dv};
    for (int i = 0; i < 3; ++i)
        bgr[i] = static_cast<uint8_t>(std::clamp(std::floor(bgr[i] + w * shift[i] + 0.5), 0.0, 255.0));
}

// Runs `apply` on a 401-row image (two bands) of each depth, with and
// without a mask, and on single rows of widths 1..70 and 600 (past a run of
// the kernels), and compares every pixel with `reference`.
// Every pair of a brightest channel and another channel below it: red y,
// green min(x, y), blue 0.
QImageEx everyInkPair() {
    QImageEx image(QImage(256, 256, QImage::Format_RGB32));
    for (int y = 0; y < 256; ++y)
        for (int x = 0; x < 256; ++x)
            reinterpret_cast<QRgb*>(image.scanLine(y))[x] = qRgb(y, std::min(x, y), 0);
    return image;
}

// Runs `apply` on images of two bands and more (each depth, every ink
// pair) and on single rows of widths 1..70 and 600 (past a run of the
// kernels), without and with a mask selecting half of the pixels, and
// compares every pixel with `reference`.
template <typename Apply, typename Reference>
void expectReference(Apply apply, Reference reference, uint32_t seed) {
    std::vector<QImageEx> images{noise(131, 401, QImage::Format_ARGB32, seed),
                                 noise(131, 401, QImage::Format_RGB888, seed), everyInkPair()};
    for (int w = 1; w <= 70; ++w)
        images.push_back(noise(w, 1, QImage::Format_ARGB32, seed + w));
    images.push_back(noise(600, 1, QImage::Format_ARGB32, seed));
    for (const QImageEx& original : images)
        for (bool masked : {false, true}) {
            QImageEx mask = noise(original.width(), original.height(), QImage::Format_Grayscale8, seed);
            for (int y = 0; y < mask.height(); ++y)
                for (int x = 0; x < mask.width(); ++x)
                    mask.scanLine(y)[x] = mask.scanLine(y)[x] < 128 ? 0 : 255;
            QImageEx image = original;
            ASSERT_TRUE(apply(image, masked ? &mask : nullptr));
            const int bpp = original.depth() / 8;
            for (int y = 0; y < original.height(); ++y)
                for (int x = 0; x < original.width(); ++x) {
                    uint8_t expected[4];
                    std::memcpy(expected, original.constScanLine(y) + bpp * x, bpp);
                    if (!masked || mask.constScanLine(y)[x] == 0)
                        reference(expected);
                    ASSERT_EQ(std::memcmp(expected, image.constScanLine(y) + bpp * x, bpp), 0)
                        << original.width() << " x " << original.height() << " at " << x << "," << y;
                }
        }
}

}  // namespace

TEST(SelectiveKernels, MatchTheCmykRule) {
    std::mt19937 rng(11);
    for (int run = 0; run < 4; ++run) {
        SelectiveColorSettings s;
        for (SelectiveColorInks* f : {&s.reds, &s.yellows, &s.greens, &s.cyans, &s.blues, &s.magentas, &s.whites,
                                      &s.neutrals, &s.blacks})
            *f = {static_cast<int>(rng() % 241) - 120.0, static_cast<int>(rng() % 201) - 100.0,
                  (static_cast<int>(rng() % 2001) - 1000) / 10.0, static_cast<int>(rng() % 201) - 100.0};
        s.absolute = run % 2 == 1;
        expectReference([&](QImageEx& image, const QImageEx* mask) { return selectiveColor(image, mask, s); },
                        [&](uint8_t* bgr) { selectiveReference(bgr, s); }, run);
    }
}

TEST(ReplaceKernels, MatchTheYuvRule) {
    const ReplaceCase cases[] = {
        {{yuvFromRgb(qRgb(200, 60, 50))}, yuvFromRgb(qRgb(40, 90, 220)), 90, 0},
        {{{128, 30, -20}, {60, -40, 10}, {200, 0, 0}}, {100, -10, 40}, 60, 45},
        {{{10, 0, 0}, {250, 0, 0}}, {128, 60, -60}, 0, 300},
    };
    for (const ReplaceCase& c : cases)
        expectReference(
            [&](QImageEx& image, const QImageEx* mask) {
                return replaceColor(image, mask, c.sources, c.target, c.tolerance, c.feather);
            },
            [&](uint8_t* bgr) { replaceReference(bgr, c); }, 7);
}
