// The photographic adjustments through the public interface: neutral
// settings, alpha, odd inputs, and the direction of every parameter.
#include <vqutil/adjust.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

using Operation = std::function<void(QImageEx&)>;

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// Bytes and colour table unchanged, format too.
void expectUnchanged(const QImage& before, const QImage& after, const char* what) {
    EXPECT_EQ(after.format(), before.format()) << what;
    EXPECT_TRUE(sameBytes(after, before)) << what;
    EXPECT_EQ(after.colorTable(), before.colorTable()) << what;
}

int chroma(const uint8_t* p) { return std::max({p[0], p[1], p[2]}) - std::min({p[0], p[1], p[2]}); }

// A scene of saturated blocks seen through haze that thickens to the right:
// I = J t + A (1 - t).
QImageEx hazyScene() {
    QImageEx image(QImage(160, 120, QImage::Format_ARGB32));
    std::mt19937 rng(4);
    for (int by = 0; by < 120; by += 8)
        for (int bx = 0; bx < 160; bx += 8) {
            int c[3] = {int(rng() % 40), int(rng() % 256), int(128 + rng() % 128)};
            std::shuffle(c, c + 3, rng);
            for (int y = by; y < by + 8; ++y)
                for (int x = bx; x < bx + 8; ++x) {
                    const double t = 0.85 - 0.6 * x / 160;
                    const double air[3] = {235, 230, 225};
                    uint8_t* p = image.scanLine(y) + 4 * x;
                    for (int k = 0; k < 3; ++k)
                        p[k] = static_cast<uint8_t>(c[k] * t + air[k] * (1 - t) + 0.5);
                    p[3] = 255;
                }
        }
    return image;
}

struct Stats {
    double lumaDeviation = 0, meanChroma = 0;
};

Stats statsOf(const QImage& image) {
    double sum = 0, squares = 0, chromas = 0;
    const int n = image.width() * image.height();
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const uint8_t* p = image.constScanLine(y) + 4 * x;
            const double l = 0.3 * p[2] + 0.59 * p[1] + 0.11 * p[0];
            sum += l;
            squares += l * l;
            chromas += chroma(p);
        }
    return {std::sqrt(squares / n - (sum / n) * (sum / n)), chromas / n};
}

}  // namespace

TEST(PhotoAdjust, NeutralSettingsLeaveEveryByte) {
    const Operation neutral[] = {
        [](QImageEx& i) { DibAdjustHaze(i, 0, 0.1f, 7); },
        [](QImageEx& i) { DibAdjustHaze(i, 80, 1, 7); },  // a floor of 1 keeps the whole scene
        [](QImageEx& i) { DibAdjustHighLightShadow(i, 0, 0); },
        [](QImageEx& i) { DibAdjustWhiteBalance(i, 0, 0); },
        [](QImageEx& i) { shadowHighlight(i, 0, 0, 30, 50, 50, 80, 0); },
        [](QImageEx& i) { shadowHighlight(i, 90, 90, 30, 0, 0, 80, 0); },  // no tones selected
    };
    for (QImage::Format format : {QImage::Format_ARGB32, QImage::Format_RGB32, QImage::Format_RGB888,
                                  QImage::Format_Grayscale8, QImage::Format_Indexed8, QImage::Format_Mono})
        for (QSize size : {QSize(1, 1), QSize(3, 1), QSize(1, 3), QSize(17, 9)})
            for (const Operation& op : neutral) {
                const QImageEx before = randomImage(size.width(), size.height(), format, 9);
                QImageEx image = before;
                op(image);
                expectUnchanged(before, image, "neutral");
            }
}

TEST(PhotoAdjust, AlphaIsNeverTouchedAndOddInputsAreSafe) {
    const Operation ops[] = {
        [](QImageEx& i) { DibAdjustHaze(i, 70, 0.1f, 3); },
        [](QImageEx& i) { DibAdjustHaze(i, -70, 0.1f, 3); },
        [](QImageEx& i) { DibAdjustHighLightShadow(i, 80, 60); },
        [](QImageEx& i) { DibAdjustWhiteBalance(i, -50, 70); },
        [](QImageEx& i) { shadowHighlight(i, 70, 60, 4, 60, 60, 50, 30); },
    };
    for (const Operation& op : ops) {
        const QImageEx before = randomImage(33, 21, QImage::Format_ARGB32, 2);
        QImageEx image = before;
        op(image);
        EXPECT_FALSE(sameBytes(image, before));
        for (int y = 0; y < 21; ++y)
            for (int x = 0; x < 33; ++x)
                ASSERT_EQ(image.constScanLine(y)[4 * x + 3], before.constScanLine(y)[4 * x + 3]);
        // Every format Qt has, tiny sizes: no crash, nothing read out of bounds.
        for (int f = 1; f < QImage::NImageFormats; ++f)
            for (QSize size : {QSize(1, 1), QSize(2, 3), QSize(5, 1)}) {
                QImageEx odd = randomImage(size.width(), size.height(), static_cast<QImage::Format>(f), f);
                op(odd);
            }
        QImageEx null;
        op(null);
        EXPECT_TRUE(null.isNull());
    }

    // NaN leaves the image alone; infinities and huge values are clamped.
    const QImageEx before = randomImage(9, 7, QImage::Format_ARGB32, 3);
    QImageEx image = before;
    DibAdjustHaze(image, kNaN, 0.1f, 3);
    DibAdjustHaze(image, 50, kNaN, 3);
    DibAdjustHighLightShadow(image, kNaN, 10);
    DibAdjustWhiteBalance(image, 10, kNaN);
    EXPECT_FALSE(shadowHighlight(image, 50, 50, 10, 50, 50, kNaN, 0));
    EXPECT_FALSE(shadowHighlight(image, 50, 50, -1, 50, 50, 0, 0));
    expectUnchanged(before, image, "refused");
    QImageEx huge = before, full = before;
    DibAdjustHighLightShadow(huge, kInf, -1e30f);
    DibAdjustHighLightShadow(full, 100, -100);
    EXPECT_TRUE(sameBytes(huge, full));
    DibAdjustHaze(huge, 1e9f, -kInf, INT32_MAX);
    DibAdjustWhiteBalance(huge, -kInf, kInf);
    EXPECT_TRUE(shadowHighlight(huge, kInf, kInf, INT32_MAX, kInf, -kInf, kInf, -kInf));

    QImageEx neutral = before;
    EXPECT_TRUE(shadowHighlight(neutral, 0, 0, 30, 50, 50, 80, 0));  // true, nothing to do
    QImageEx indexed = randomImage(8, 8, QImage::Format_Indexed8, 4);
    const QImageEx indexedBefore = indexed;
    EXPECT_FALSE(shadowHighlight(indexed, 50, 50, 5, 50, 50, 0, 0));
    DibAdjustHaze(indexed, 50, 0.1f, 5);
    expectUnchanged(indexedBefore, indexed, "indexed, neighbourhood operations");
}

TEST(HighLightShadow, CurvesMoveTheirTonesOnlyOneWay) {
    const QImageEx original = randomImage(64, 48, QImage::Format_RGB32, 6);
    QImageEx weak = original, strong = original, recovered = original, deepened = original;
    DibAdjustHighLightShadow(weak, 30, 0);
    DibAdjustHighLightShadow(strong, 90, 0);
    DibAdjustHighLightShadow(recovered, 0, 70);
    DibAdjustHighLightShadow(deepened, -80, 0);
    for (int y = 0; y < 48; ++y)
        for (int i = 0; i < 64 * 4; ++i) {
            if (i % 4 == 3)
                continue;
            const int o = original.constScanLine(y)[i];
            ASSERT_GE(weak.constScanLine(y)[i], o);
            ASSERT_GE(strong.constScanLine(y)[i], weak.constScanLine(y)[i]);
            ASSERT_LE(recovered.constScanLine(y)[i], o);
            ASSERT_LE(deepened.constScanLine(y)[i], o);
        }
    // Black and white stay; shadows move far more than highlights.
    QImageEx ramp = vqtest::imageOf(4, 1, QImage::Format_ARGB32, {0xFF000000u, 0xFF282828u, 0xFFD8D8D8u, 0xFFFFFFFFu});
    DibAdjustHighLightShadow(ramp, 100, 0);
    EXPECT_EQ(vqtest::pixelWord(ramp, 0, 0), 0xFF000000u);
    EXPECT_GT(ramp.constScanLine(0)[4] - 0x28, 40);
    EXPECT_LT(ramp.constScanLine(0)[8] - 0xD8, 2);
    EXPECT_EQ(vqtest::pixelWord(ramp, 3, 0), 0xFFFFFFFFu);

    // A grey byte, a colour-table entry and a pixel of the same grey agree.
    QImageEx grey = vqtest::imageOf(1, 1, QImage::Format_Grayscale8, {60});
    QImageEx pixel = vqtest::imageOf(1, 1, QImage::Format_ARGB32, {0xFF3C3C3Cu});
    QImageEx indexed(QImage(1, 1, QImage::Format_Indexed8));
    indexed.setColorTable({qRgba(60, 60, 60, 7)});
    indexed.scanLine(0)[0] = 0;
    for (QImageEx* i : {&grey, &pixel, &indexed})
        DibAdjustHighLightShadow(*i, 55, 0);
    EXPECT_EQ(grey.format(), QImage::Format_Grayscale8);
    EXPECT_GT(grey.constScanLine(0)[0], 60);
    EXPECT_EQ(pixel.constScanLine(0)[1], grey.constScanLine(0)[0]);
    EXPECT_EQ(indexed.colorTable()[0], qRgba(grey.constScanLine(0)[0], grey.constScanLine(0)[0], grey.constScanLine(0)[0], 7));
}

TEST(HighLightShadow, HueIsKept) {
    // The channel differences scale alike: their order and ratios stay.
    QImageEx image = vqtest::imageOf(2, 1, QImage::Format_ARGB32, {0xFF201008u, 0xFFF0D0A0u});
    DibAdjustHighLightShadow(image, 100, 100);
    const double ratios[2] = {16.0 / 8, 32.0 / 48};
    for (int x = 0; x < 2; ++x) {
        const uint8_t* p = image.constScanLine(0) + 4 * x;
        ASSERT_GT(p[2], p[1]);
        ASSERT_GT(p[1], p[0]);
        EXPECT_NEAR(double(p[2] - p[1]) / (p[1] - p[0]), ratios[x], 0.35) << x;
    }
    EXPECT_NE(vqtest::pixelWord(image, 0, 0), 0xFF201008u);
    EXPECT_NE(vqtest::pixelWord(image, 1, 0), 0xFFF0D0A0u);
}

TEST(WhiteBalance, TemperatureAndTintMoveTheirChannels) {
    const QImageEx original = randomImage(40, 30, QImage::Format_RGB888, 8);
    QImageEx cool = original, warm = original, warmer = original, magenta = original;
    DibAdjustWhiteBalance(cool, -40, 0);
    DibAdjustWhiteBalance(warm, 20, 0);
    DibAdjustWhiteBalance(warmer, 60, 0);
    DibAdjustWhiteBalance(magenta, 0, 50);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x) {
            const uint8_t *o = original.constScanLine(y) + 3 * x, *c = cool.constScanLine(y) + 3 * x,
                          *w = warm.constScanLine(y) + 3 * x, *ww = warmer.constScanLine(y) + 3 * x,
                          *m = magenta.constScanLine(y) + 3 * x;
            ASSERT_LE(c[2], o[2]);
            ASSERT_GE(c[0], o[0]);
            ASSERT_GE(w[2], o[2]);
            ASSERT_GE(ww[2], w[2]);
            ASSERT_LE(ww[0], w[0]);
            ASSERT_EQ(ww[1], o[1]);
            ASSERT_LE(m[1], o[1]);
            ASSERT_GE(m[2], o[2]);
        }
    // A mid grey turns warm; a palette turns with it; grey images stay.
    QImageEx grey = vqtest::imageOf(1, 1, QImage::Format_ARGB32, {0xFF808080u});
    DibAdjustWhiteBalance(grey, 50, 0);
    const uint8_t* g = grey.constScanLine(0);
    EXPECT_GT(g[2], 0x80 + 15);
    EXPECT_LT(g[0], 0x80 - 15);
    QImageEx indexed(QImage(1, 1, QImage::Format_Indexed8));
    indexed.setColorTable({qRgba(0x80, 0x80, 0x80, 5)});
    DibAdjustWhiteBalance(indexed, 50, 0);
    EXPECT_EQ(indexed.colorTable()[0], qRgba(g[2], g[1], g[0], 5));
    const QImageEx greyImage = randomImage(5, 5, QImage::Format_Grayscale8);
    QImageEx stays = greyImage;
    DibAdjustWhiteBalance(stays, 50, 50);
    expectUnchanged(greyImage, stays, "grey");
}

TEST(Haze, RemovalRaisesContrastAndAdditionLowersIt) {
    const QImageEx scene = hazyScene();
    const Stats hazy = statsOf(scene);
    QImageEx mild = scene, strong = scene, added = scene;
    DibAdjustHaze(mild, 40, 0.1f, 2);
    DibAdjustHaze(strong, 100, 0.1f, 2);
    DibAdjustHaze(added, -80, 0.1f, 2);
    const Stats m = statsOf(mild), s = statsOf(strong), a = statsOf(added);
    EXPECT_GT(m.lumaDeviation, hazy.lumaDeviation * 1.1);
    EXPECT_GT(s.lumaDeviation, m.lumaDeviation * 1.1);
    EXPECT_GT(m.meanChroma, hazy.meanChroma * 1.2);
    EXPECT_GT(s.meanChroma, m.meanChroma * 1.2);
    EXPECT_LT(a.lumaDeviation, hazy.lumaDeviation * 0.8);
    EXPECT_LT(a.meanChroma, hazy.meanChroma * 0.8);
    // The thickest haze (right) gains the most.
    const auto columnChroma = [](const QImage& i, int x) {
        double sum = 0;
        for (int y = 0; y < i.height(); ++y)
            sum += chroma(i.constScanLine(y) + 4 * x);
        return sum;
    };
    EXPECT_GT(columnChroma(strong, 150) / columnChroma(scene, 150), columnChroma(strong, 10) / columnChroma(scene, 10));

    // A grey image is its own dark channel.
    QImageEx grey = scene.convertToFormat(QImage::Format_Grayscale8);
    const QImageEx greyBefore = grey;
    DibAdjustHaze(grey, 100, 0.1f, 2);
    EXPECT_EQ(grey.format(), QImage::Format_Grayscale8);
    EXPECT_FALSE(sameBytes(grey, greyBefore));
}

TEST(ShadowHighlight, FollowsTheSurroundings) {
    // The same grey (60 / 190) on a dark half and on a light half.
    QImageEx image(QImage(200, 100, QImage::Format_ARGB32));
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 200; ++x) {
            const bool probe = x % 100 >= 45 && x % 100 < 55 && y >= 45 && y < 55;
            const int v = x < 100 ? (probe ? 60 : 30) : (probe ? 190 : 230);
            reinterpret_cast<QRgb*>(image.scanLine(y))[x] = qRgb(v, v, v);
        }
    QImageEx lifted = image, darker = image, both = image, more = image;
    ASSERT_TRUE(shadowHighlight(lifted, 60, 0, 20, 50, 50, 0, 0));
    ASSERT_TRUE(shadowHighlight(more, 90, 0, 20, 50, 50, 0, 0));
    ASSERT_TRUE(shadowHighlight(darker, 0, 60, 20, 50, 50, 0, 0));
    const auto at = [](const QImage& i, int x) { return int(i.constScanLine(50)[4 * x]); };
    EXPECT_GT(at(lifted, 50), 60 + 15);   // dark surroundings: lifted
    EXPECT_EQ(at(lifted, 150), 190);      // light surroundings: not lifted
    EXPECT_EQ(at(darker, 50), 60);
    EXPECT_LT(at(darker, 150), 190 - 10);
    for (int y = 0; y < 100; ++y)
        for (int i = 0; i < 800; ++i)
            ASSERT_GE(more.constScanLine(y)[i], lifted.constScanLine(y)[i]);

    // Colour correction never lowers a pixel's chroma; contrast spreads the midtones.
    const QImageEx colourful = randomImage(48, 32, QImage::Format_ARGB32, 12);
    QImageEx plain = colourful, vivid = colourful, contrast = colourful;
    ASSERT_TRUE(shadowHighlight(plain, 70, 40, 3, 60, 60, 0, 0));
    ASSERT_TRUE(shadowHighlight(vivid, 70, 40, 3, 60, 60, 100, 0));
    int gained = 0;
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 48; ++x) {
            const int before = chroma(plain.constScanLine(y) + 4 * x), after = chroma(vivid.constScanLine(y) + 4 * x);
            ASSERT_GE(after, before);
            gained += after > before;
        }
    EXPECT_GT(gained, 48 * 32 / 4);
    QImageEx ramp = vqtest::imageOf(3, 1, QImage::Format_Grayscale8, {70, 128, 186});
    ASSERT_TRUE(shadowHighlight(ramp, 0, 0, 0, 50, 50, 0, 100));
    EXPECT_LT(ramp.constScanLine(0)[0], 70);
    EXPECT_EQ(ramp.constScanLine(0)[1], 128);
    EXPECT_GT(ramp.constScanLine(0)[2], 186);
}
