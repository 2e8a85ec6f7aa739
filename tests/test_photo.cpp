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

using namespace vqtest;

namespace {

using Operation = std::function<void(QImageEx&)>;

void expectUnchanged(const QImage& before, const QImage& after) {
    EXPECT_EQ(after.format(), before.format());
    EXPECT_TRUE(sameBytes(after, before));
    EXPECT_EQ(after.colorTable(), before.colorTable());
}

int chroma(const uint8_t* p) { return std::max({p[0], p[1], p[2]}) - std::min({p[0], p[1], p[2]}); }

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
    for (QImage::Format format : {QImage::Format_ARGB32, QImage::Format_RGB888, QImage::Format_Grayscale8,
                                  QImage::Format_Indexed8, QImage::Format_Mono})
        for (QSize size : {QSize(1, 1), QSize(3, 1), QSize(17, 9)})
            for (const Operation& op : neutral) {
                const QImageEx before = randomImage(size.width(), size.height(), format, 9);
                QImageEx image = before;
                op(image);
                expectUnchanged(before, image);
            }
}

TEST(PhotoAdjust, AlphaIsKeptAndOddInputsAreSafe) {
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
        for (int f = 1; f < QImage::NImageFormats; ++f)  // every format, tiny sizes, no image at all
            for (QSize size : {QSize(1, 1), QSize(2, 3)}) {
                QImageEx odd = randomImage(size.width(), size.height(), static_cast<QImage::Format>(f), f);
                op(odd);
            }
        QImageEx null;
        op(null);
    }
    // NaN (and for the tool a negative radius, no image or an indexed one)
    // is refused; infinities and huge values are clamped.
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    const QImageEx before = randomImage(9, 7, QImage::Format_ARGB32, 3);
    QImageEx image = before, null, indexed = randomImage(8, 8, QImage::Format_Indexed8, 4);
    const QImageEx indexedBefore = indexed;
    DibAdjustHaze(image, nan, 0.1f, 3);
    DibAdjustHaze(image, 50, nan, 3);
    DibAdjustHaze(indexed, 50, 0.1f, 5);
    DibAdjustHighLightShadow(image, nan, 10);
    DibAdjustWhiteBalance(image, 10, nan);
    EXPECT_FALSE(shadowHighlight(image, 50, 50, 10, 50, 50, nan, 0));
    EXPECT_FALSE(shadowHighlight(image, 50, 50, -1, 50, 50, 0, 0));
    EXPECT_FALSE(shadowHighlight(null, 50, 50, 5, 50, 50, 0, 0));
    EXPECT_FALSE(shadowHighlight(indexed, 50, 50, 5, 50, 50, 0, 0));
    EXPECT_TRUE(shadowHighlight(image, 0, 0, 30, 50, 50, 80, 0));  // nothing to do
    expectUnchanged(before, image);
    expectUnchanged(indexedBefore, indexed);
    QImageEx huge = before, full = before;
    DibAdjustHighLightShadow(huge, inf, -1e30f);
    DibAdjustHighLightShadow(full, 100, -100);
    EXPECT_TRUE(sameBytes(huge, full));
    DibAdjustHaze(huge, 1e9f, -inf, INT32_MAX);
    EXPECT_TRUE(shadowHighlight(huge, inf, inf, INT32_MAX, inf, -inf, inf, -inf));
}

TEST(PhotoAdjust, EachParameterMovesItsChannelsOneWay) {
    // From the first setting to the second, bytes of the channels `mask`
    // (1 blue, 2 green, 4 red) never fall (sign +1) or never rise (-1), and some move.
    const auto hls = [](float s, float h) { return [=](QImageEx& i) { DibAdjustHighLightShadow(i, s, h); }; };
    const auto wb = [](float t, float u) { return [=](QImageEx& i) { DibAdjustWhiteBalance(i, t, u); }; };
    const auto tool = [](float s, float h) { return [=](QImageEx& i) { shadowHighlight(i, s, h, 4, 60, 50, 0, 0); }; };
    const struct {
        Operation first, second;
        int mask, sign;
    } cases[] = {
        {hls(0, 0), hls(30, 0), 7, +1},        {hls(30, 0), hls(90, 0), 7, +1},
        {hls(0, 0), hls(-80, 0), 7, -1},       {hls(0, 0), hls(0, 70), 7, -1},
        {wb(20, 0), wb(60, 0), 4, +1},         {wb(20, 0), wb(60, 0), 1, -1},  // warmer: more red, less blue
        {wb(0, 0), wb(0, 50), 2, -1},          {wb(0, 0), wb(0, 50), 5, +1},   // tint: less green, more red, blue
        {tool(30, 20), tool(80, 20), 7, +1},   {tool(30, 20), tool(30, 70), 7, -1},
    };
    const QImageEx original = randomImage(48, 40, QImage::Format_ARGB32, 6);
    for (const auto& c : cases) {
        QImageEx a = original, b = original;
        c.first(a);
        c.second(b);
        int moved = 0;
        for (int y = 0; y < 40; ++y)
            for (int i = 0; i < 48 * 4; ++i)
                if (c.mask >> (i % 4) & 1) {
                    const int change = (b.constScanLine(y)[i] - a.constScanLine(y)[i]) * c.sign;
                    ASSERT_GE(change, 0) << &c - cases;
                    moved += change > 0;
                }
        EXPECT_GT(moved, 0) << &c - cases;
    }
}

TEST(PhotoAdjust, TonesKeepHueAndFollowTheirSurroundings) {
    // Black and white stay, shadows move far more than highlights, and the
    // ratio of the channel differences (the hue) stays.
    QImageEx ramp = imageOf(5, 1, QImage::Format_ARGB32, {0xFF000000u, 0xFF282828u, 0xFFD8D8D8u, 0xFFFFFFFFu, 0xFF201008u});
    DibAdjustHighLightShadow(ramp, 100, 0);
    const uint8_t* p = ramp.constScanLine(0);
    EXPECT_EQ(pixelWord(ramp, 0, 0), 0xFF000000u);
    EXPECT_GT(p[4] - 0x28, 40);
    EXPECT_LT(p[8] - 0xD8, 2);
    EXPECT_EQ(pixelWord(ramp, 3, 0), 0xFFFFFFFFu);
    EXPECT_NEAR(double(p[18] - p[17]) / (p[17] - p[16]), 2.0, 0.3);

    // The same grey (60 / 190) on a dark half and on a light half.
    QImageEx image(QImage(200, 100, QImage::Format_ARGB32));
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 200; ++x) {
            const bool probe = x % 100 >= 45 && x % 100 < 55 && y >= 45 && y < 55;
            const int v = x < 100 ? (probe ? 60 : 30) : (probe ? 190 : 230);
            reinterpret_cast<QRgb*>(image.scanLine(y))[x] = qRgb(v, v, v);
        }
    QImageEx lifted = image, darker = image;
    ASSERT_TRUE(shadowHighlight(lifted, 60, 0, 20, 50, 50, 0, 0));
    ASSERT_TRUE(shadowHighlight(darker, 0, 60, 20, 50, 50, 0, 0));
    const auto at = [](const QImage& i, int x) { return int(i.constScanLine(50)[4 * x]); };
    EXPECT_GT(at(lifted, 50), 60 + 15);
    EXPECT_EQ(at(lifted, 150), 190);
    EXPECT_EQ(at(darker, 50), 60);
    EXPECT_LT(at(darker, 150), 190 - 10);

    // Colour correction never lowers chroma; midtone contrast spreads the tones.
    const QImageEx colourful = randomImage(48, 32, QImage::Format_ARGB32, 12);
    QImageEx plain = colourful, vivid = colourful;
    ASSERT_TRUE(shadowHighlight(plain, 70, 40, 3, 60, 60, 0, 0));
    ASSERT_TRUE(shadowHighlight(vivid, 70, 40, 3, 60, 60, 100, 0));
    int gained = 0;
    for (int i = 0; i < 48 * 32; ++i) {
        const int before = chroma(plain.constBits() + 4 * i), after = chroma(vivid.constBits() + 4 * i);
        ASSERT_GE(after, before);
        gained += after > before;
    }
    EXPECT_GT(gained, 48 * 32 / 4);
    QImageEx spread = imageOf(3, 1, QImage::Format_Grayscale8, {70, 128, 186});
    ASSERT_TRUE(shadowHighlight(spread, 0, 0, 0, 50, 50, 0, 100));
    const std::vector<int> spreadRow = rowOf(spread, 0);
    EXPECT_LT(spreadRow[0], 70);
    EXPECT_EQ(spreadRow[1], 128);
    EXPECT_GT(spreadRow[2], 186);
}

TEST(PhotoAdjust, GreyAndPaletteImages) {
    // A grey byte, a colour-table entry and a pixel of the same grey agree.
    QImageEx grey = imageOf(1, 1, QImage::Format_Grayscale8, {60});
    QImageEx pixel = imageOf(1, 1, QImage::Format_ARGB32, {0xFF3C3C3Cu});
    QImageEx indexed(QImage(1, 1, QImage::Format_Indexed8));
    indexed.setColorTable({qRgba(60, 60, 60, 7)});
    for (QImageEx* i : {&grey, &pixel, &indexed})
        DibAdjustHighLightShadow(*i, 55, 0);
    const int g = grey.constScanLine(0)[0];
    EXPECT_EQ(grey.format(), QImage::Format_Grayscale8);
    EXPECT_GT(g, 60);
    EXPECT_EQ(pixelWord(pixel, 0, 0), qRgb(g, g, g));
    EXPECT_EQ(indexed.colorTable()[0], qRgba(g, g, g, 7));

    const QImageEx greyImage = randomImage(5, 5, QImage::Format_Grayscale8);
    QImageEx stays = greyImage;
    DibAdjustWhiteBalance(stays, 50, 50);  // no colour balance to move
    expectUnchanged(greyImage, stays);
}

TEST(Haze, RemovalRaisesContrastAndSaturationAdditionLowersThem) {
    // Saturated blocks behind haze that thickens to the right: I = J t + A (1 - t).
    QImageEx scene(QImage(160, 120, QImage::Format_ARGB32));
    std::mt19937 rng(4);
    for (int by = 0; by < 120; by += 8)
        for (int bx = 0; bx < 160; bx += 8) {
            int c[3] = {int(rng() % 40), int(rng() % 256), int(128 + rng() % 128)};
            std::shuffle(c, c + 3, rng);
            for (int y = by; y < by + 8; ++y)
                for (int x = bx; x < bx + 8; ++x) {
                    const double t = 0.85 - 0.6 * x / 160;
                    uint8_t* p = scene.scanLine(y) + 4 * x;
                    for (int k = 0; k < 3; ++k)
                        p[k] = static_cast<uint8_t>(c[k] * t + (235 - 5 * k) * (1 - t) + 0.5);
                    p[3] = 255;
                }
        }
    // Deviation of the luminance and mean chroma.
    const auto stats = [](const QImage& i) {
        double sum = 0, squares = 0, chromas = 0;
        const int n = i.width() * i.height();
        for (int k = 0; k < n; ++k) {
            const uint8_t* p = i.constBits() + 4 * k;
            const double l = 0.3 * p[2] + 0.59 * p[1] + 0.11 * p[0];
            sum += l;
            squares += l * l;
            chromas += chroma(p);
        }
        return std::make_pair(std::sqrt(squares / n - sum * sum / (double(n) * n)), chromas / n);
    };
    QImageEx strong = scene, added = scene;
    DibAdjustHaze(strong, 100, 0.1f, 2);
    DibAdjustHaze(added, -80, 0.1f, 2);
    const auto h = stats(scene), s = stats(strong), a = stats(added);
    EXPECT_GT(s.first, h.first * 1.3);
    EXPECT_GT(s.second, h.second * 1.5);
    EXPECT_LT(a.first, h.first * 0.8);
    EXPECT_LT(a.second, h.second * 0.8);
}
