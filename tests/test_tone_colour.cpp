// Exposure, temperature, vibrance, the CDib colour corrections, removing
// saturation and the blend modes.
#include <vqutil/adjust.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

using namespace vqtest;

namespace {

tagRGBQUAD quad(int r, int g, int b) { return {uint8_t(b), uint8_t(g), uint8_t(r), 0x5A}; }

tagRGBQUAD blend(tagRGBQUAD a, tagRGBQUAD b, BLENDMODE mode) {
    tagRGBQUAD out{1, 2, 3, 0xEE};
    DibColorBlend(a, b, &out, mode);
    EXPECT_EQ(out.rgbReserved, 0xEE);
    return out;
}

bool sameColour(tagRGBQUAD c, int r, int g, int b) { return c.rgbRed == r && c.rgbGreen == g && c.rgbBlue == b; }

}  // namespace

TEST(Exposure, StopsOffsetGammaAndTheSlider) {
    const QImage original = randomImage(31, 7, QImage::Format_ARGB32);
    QImageEx image = original;
    DibAdjustExposure(image, 0, 0, 0);
    exposure(image, 0, 1);
    EXPECT_TRUE(sameBytes(image, original));

    // {exposure, offset, gamma, grey in, grey out} (alpha kept): 2 i + 25.5
    // truncated; sqrt(64 / 255) x 255 = 127.75. Then the slider {ev, in, out}:
    // 0.4 stop per unit up, half a stop down.
    const double stops[][5] = {{1, 0.1, 0, 0, 25}, {1, 0.1, 0, 100, 225}, {1, 0.1, 0, 115, 255}, {0, 0, 2, 64, 127}};
    const float slider[][3] = {{2.5f, 100, 200}, {2.5f, 128, 255}, {-2, 3, 1}, {-2, 255, 127}};
    const auto grey = [](int v, int alpha) { return qRgba(v, v, v, alpha); };
    for (const auto& c : stops) {
        QImageEx ramp = greyRamp();
        DibAdjustExposure(ramp, c[0], c[1], c[2]);
        EXPECT_EQ(ramp.pixel(int(c[3]), 0), grey(int(c[4]), 255 - int(c[3]))) << c[0] << " " << c[1] << " " << c[2];
    }
    for (const auto& c : slider) {
        QImageEx ramp = greyRamp();
        exposure(ramp, c[0], 1);
        EXPECT_EQ(ramp.pixel(int(c[1]), 0), grey(int(c[2]), 255 - int(c[1]))) << c[0];
    }

    QImageEx gamma = greyRamp(), floor = greyRamp();
    DibAdjustExposure(gamma, 0, 0, 0.001);  // counts as 0.01
    DibAdjustExposure(floor, 0, 0, 0.01);
    EXPECT_TRUE(sameBytes(gamma, floor));

    QImageEx indexed(QImage(2, 1, QImage::Format_Indexed8));
    indexed.setColorTable({qRgba(10, 20, 30, 40)});
    DibAdjustExposure(indexed, 1, 0, 0);
    EXPECT_EQ(indexed.colorTable()[0], qRgba(20, 40, 60, 40));

    QImageEx wild = greyRamp();
    DibAdjustExposure(wild, 1e300, -1e300, std::nan(""));  // defined, in range
    DibAdjustExposure(wild, std::nan(""), INFINITY, 1);
}

TEST(Vibrance, IntegerBlendTowardsTheLargestChannel) {
    // Vibrance 0 still scales by 255 / 256.
    QImageEx image = imageOf(3, 1, QImage::Format_ARGB32, {0x80FFFFFFu, 0x80808080u, 0x80000000u});
    DibAdjustVibrance(image, 0);
    EXPECT_EQ(wordsOf(image), (std::vector<uint32_t>{0x80FEFEFEu, 0x807F7F7Fu, 0x80000000u}));

    // k = -128 for (200, 150, 100): d = -19200, w = 84480.
    QImageEx colour = imageOf(1, 1, QImage::Format_ARGB32, {0xFFC89664u});
    DibAdjustVibrance(colour, 0.5f);
    EXPECT_EQ(pixelWord(colour, 0, 0), 0xFFC78646u);

    QImageEx rgb(QImage(1, 1, QImage::Format_RGB888));
    rgb.fill(QColor(200, 150, 100));  // bytes 200, 150, 100: the same arithmetic by byte
    DibAdjustVibrance(rgb, 0.5f);
    EXPECT_EQ(rowOf(rgb, 0, 0, 3), (std::vector<int>{199, 134, 70}));

    QImageEx wild = randomImage(9, 9, QImage::Format_ARGB32);
    DibAdjustVibrance(wild, 1e30f);
    DibAdjustVibrance(wild, -INFINITY);
    DibAdjustVibrance(wild, std::nanf(""));
}

TEST(Temperature, WarmsAndCools) {
    QImageEx grey = filled(4, 4, QImage::Format_ARGB32, 0x40808080u);
    QImageEx warm = grey, cool = grey, same = grey;
    DibAdjustTemperature(warm, 60);
    DibAdjustTemperature(cool, -60);
    DibAdjustTemperature(same, 0);
    const QRgb w = warm.pixel(1, 1), c = cool.pixel(1, 1), s = same.pixel(1, 1);
    EXPECT_GT(qRed(w), qRed(s));
    EXPECT_LT(qBlue(w), qBlue(s) - 40);
    EXPECT_GT(qBlue(c), qBlue(s) + 40);
    EXPECT_EQ(qAlpha(w), 0x40);
    EXPECT_NEAR(qRed(s), 128, 1);  // the round trip only truncates

    QImageEx eight = filled(3, 3, QImage::Format_Grayscale8, 99);
    DibAdjustTemperature(eight, 50);  // below 24 bits: unchanged
    EXPECT_EQ(eight.constScanLine(1)[1], 99);
}

TEST(ColourStatics, ContrastGammaBalanceBrightness) {
    const QImage original = randomImage(17, 3, QImage::Format_ARGB32);
    for (const auto& change : std::vector<std::function<void(QImageEx&)>>{
             [](QImageEx& i) { CDib::Contrast(i, nullptr, 1.0, 1.0005, 0.9995, 0); },
             [](QImageEx& i) { CDib::Contrast(i, nullptr, -2, 3, 3, 0); },
             [](QImageEx& i) { CDib::Gramma(i, nullptr, 50, 0, 200); },
             [](QImageEx& i) { CDib::ColorBalana(i, nullptr, 10, 10, 10); },
             [](QImageEx& i) { CDib::adjustBrightAndContrast(i, nullptr, 1, 0); },
         }) {
        QImageEx image = original;
        change(image);
        EXPECT_TRUE(sameBytes(image, original));
    }

    // On the grey ramp, {grey in, grey out} (alpha kept).
    const struct {
        std::function<void(QImageEx&)> change;
        std::vector<std::pair<int, int>> greys;
    } ramps[] = {
        {[](QImageEx& i) { CDib::Contrast(i, nullptr, 2.0, 0.0, 0.0, 0); }, {{100, 72}, {200, 255}}},  // zeros: as red
        {[](QImageEx& i) { CDib::Gramma(i, nullptr, 100, 100, 100); }, {{1, 146}, {128, 238}, {255, 255}}},  // ^0.1
        {[](QImageEx& i) { CDib::adjustBrightAndContrast(i, nullptr, 1, 0.5); }, {{50, 126}, {101, 255}}},  // i 255 / 101
        {[](QImageEx& i) { CDib::adjustBrightAndContrast(i, nullptr, 3, -0.1); }, {{150, 120}}},  // - 25.5, then k = 2
        {[](QImageEx& i) { CDib::adjustColor(i, nullptr, 1.0, 10, 0); }, {{0, 10}, {250, 255}}},
        {[](QImageEx& i) { adjustBrightAndContrastQImage(i, 1, 0.5); }, {{50, 126}, {101, 255}}},
    };
    for (const auto& c : ramps) {
        QImageEx ramp = greyRamp();
        c.change(ramp);
        for (const auto& [in, out] : c.greys)
            EXPECT_EQ(ramp.pixel(in, 0), qRgba(out, out, out, 255 - in)) << &c - ramps << ": " << in;
    }
    QImageEx ramp = greyRamp();
    CDib::ColorBalana(ramp, nullptr, 30, 10, 0);  // relative to green: red +20, blue -10
    EXPECT_EQ(ramp.pixel(100, 0), qRgba(120, 100, 90, 155));
}

TEST(RemoveSaturation, LightnessOfEveryColour) {
    QImageEx image = imageOf(2, 1, QImage::Format_ARGB32, {0x7FC89664u, 0x01FF0000u});
    ASSERT_TRUE(removeSaturation(image));
    EXPECT_EQ(wordsOf(image), (std::vector<uint32_t>{0x7F969696u, 0x017F7F7Fu}));  // (200 + 100) / 2, 255 / 2

    QImageEx mono(QImage(3, 1, QImage::Format_Mono));
    mono.fill(0u);
    mono.setColorTable({qRgb(255, 0, 0), qRgb(0, 0, 255)});
    ASSERT_TRUE(removeSaturation(mono));
    EXPECT_EQ(mono.format(), QImage::Format_Indexed8);
    EXPECT_EQ(mono.colorTable()[0], qRgb(127, 127, 127));

    QImageEx grey = filled(2, 2, QImage::Format_Grayscale8, 3), null;
    EXPECT_FALSE(removeSaturation(grey));
    EXPECT_FALSE(removeSaturation(null));

    const QImage original = randomImage(8, 8, QImage::Format_RGB32);
    QImageEx cancelled = original;
    cancelled.setProgressCallback([](int) { return false; });
    EXPECT_TRUE(removeSaturation(cancelled));
    EXPECT_TRUE(sameBytes(cancelled, original));
}

TEST(BlendModes, ChannelAndHslModes) {
    tagRGBQUAD a = quad(200, 100, 0), b = quad(100, 150, 255);
    EXPECT_TRUE(sameColour(blend(a, b, BLEND_NORMAL), 100, 150, 255));
    EXPECT_TRUE(sameColour(blend(a, b, BLEND_SUBTRACT), 100, 0, 0));
    EXPECT_TRUE(sameColour(blend(a, b, BLEND_MULTIPLY), 78, 58, 0));
    EXPECT_TRUE(sameColour(blend(a, b, BLEND_LIGHTEN), 200, 150, 255));
    EXPECT_TRUE(sameColour(blend(a, b, BLEND_DARKEN), 100, 100, 0));
    EXPECT_TRUE(sameColour(blend(a, b, BLEND_DIFFERENCE), 100, 50, 255));
    EXPECT_TRUE(sameColour(blend(a, b, BLEND_SCREEN), 255 - 55 * 155 / 255, 255 - 155 * 105 / 255, 255));
    EXPECT_TRUE(sameColour(blend(a, quad(0, 0, 0), BLEND_SCREEN), 200, 100, 0));
    EXPECT_TRUE(sameColour(blend(a, quad(255, 255, 255), BLEND_MULTIPLY), 200, 100, 0));
    EXPECT_TRUE(sameColour(blend(a, b, BLEND_NONE), 3, 2, 1));
    EXPECT_TRUE(sameColour(blend(a, b, static_cast<BLENDMODE>(12)), 3, 2, 1));
    DibColorBlend(a, b, nullptr, BLEND_NORMAL);

    // The HSL modes.
    a = quad(40, 120, 200);
    b = quad(200, 30, 60);
    EXPECT_TRUE(sameColour(blend(a, b, BLEND_HUE), 200, 40, 68));
    EXPECT_TRUE(sameColour(blend(a, b, BLEND_SATURATION), 31, 120, 209));
    EXPECT_TRUE(sameColour(blend(a, b, BLEND_COLOR), 209, 31, 63));
    EXPECT_TRUE(sameColour(blend(a, quad(128, 128, 128), BLEND_LUMINOSITY), 43, 128, 213));
    EXPECT_TRUE(sameColour(blend(quad(255, 0, 0), quad(128, 128, 128), BLEND_LUMINOSITY), 255, 1, 1));
    // A grey's hue is 1.0, which reads as red.
    EXPECT_TRUE(sameColour(blend(a, quad(128, 128, 128), BLEND_HUE), 200, 40, 40));
    for (BLENDMODE mode : {BLEND_HUE, BLEND_SATURATION, BLEND_COLOR})
        EXPECT_TRUE(sameColour(blend(quad(0, 0, 0), b, mode), 0, 0, 0)) << mode;
}
