// Exposure, temperature, vibrance, the CDib colour corrections, removing
// saturation and the blend modes.
#include <vqutil/adjust.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

using vqtest::filled;
using vqtest::imageOf;
using vqtest::pixelWord;
using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

QImageEx greyRamp() {
    QImageEx ramp(QImage(256, 1, QImage::Format_ARGB32));
    for (int x = 0; x < 256; ++x)
        reinterpret_cast<QRgb*>(ramp.scanLine(0))[x] = qRgba(x, x, x, 255 - x);
    return ramp;
}

int redAt(const QImage& image, int x) { return qRed(reinterpret_cast<const QRgb*>(image.constScanLine(0))[x]); }

tagRGBQUAD quad(int r, int g, int b) {
    return {static_cast<uint8_t>(b), static_cast<uint8_t>(g), static_cast<uint8_t>(r), 0x5A};
}

tagRGBQUAD blend(tagRGBQUAD a, tagRGBQUAD b, BLENDMODE mode) {
    tagRGBQUAD out{1, 2, 3, 0xEE};
    DibColorBlend(a, b, &out, mode);
    EXPECT_EQ(out.rgbReserved, 0xEE);
    return out;
}

bool sameColour(tagRGBQUAD c, int r, int g, int b) { return c.rgbRed == r && c.rgbGreen == g && c.rgbBlue == b; }

}  // namespace

TEST(Exposure, StopsOffsetAndGamma) {
    const QImage original = randomImage(31, 7, QImage::Format_ARGB32);
    QImageEx image = original;
    DibAdjustExposure(image, 0, 0, 0);
    EXPECT_TRUE(sameBytes(image, original));

    QImageEx ramp = greyRamp();
    DibAdjustExposure(ramp, 1, 0.1, 0);  // 2 i + 25.5, truncated
    EXPECT_EQ(redAt(ramp, 0), 25);
    EXPECT_EQ(redAt(ramp, 100), 225);
    EXPECT_EQ(redAt(ramp, 115), 255);
    EXPECT_EQ(qAlpha(ramp.pixel(100, 0)), 155);

    QImageEx gamma = greyRamp(), floor = greyRamp();
    DibAdjustExposure(gamma, 0, 0, 2);  // sqrt(64 / 255) x 255 = 127.75
    EXPECT_EQ(redAt(gamma, 64), 127);
    DibAdjustExposure(gamma = greyRamp(), 0, 0, 0.001);
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

TEST(Exposure, SliderScalesStops) {
    const QImageEx ramp = greyRamp();
    QImageEx same = ramp, doubled = ramp, halved = ramp;
    exposure(same, 0, 1);
    EXPECT_TRUE(sameBytes(same, ramp));
    exposure(doubled, 2.5f, 1);  // 2.5 x 0.4 = one stop
    EXPECT_EQ(redAt(doubled, 100), 200);
    EXPECT_EQ(redAt(doubled, 128), 255);
    exposure(halved, -2, 1);  // half a stop per unit: one stop down
    EXPECT_EQ(redAt(halved, 3), 1);
    EXPECT_EQ(redAt(halved, 255), 127);
}

TEST(Vibrance, IntegerBlendTowardsTheLargestChannel) {
    // Vibrance 0 still scales by 255 / 256.
    QImageEx image = imageOf(3, 1, QImage::Format_ARGB32, {0x80FFFFFFu, 0x80808080u, 0x80000000u});
    DibAdjustVibrance(image, 0);
    EXPECT_EQ(pixelWord(image, 0, 0), 0x80FEFEFEu);
    EXPECT_EQ(pixelWord(image, 1, 0), 0x807F7F7Fu);
    EXPECT_EQ(pixelWord(image, 2, 0), 0x80000000u);

    // k = -128 for (200, 150, 100): d = -19200, w = 84480.
    QImageEx colour = imageOf(1, 1, QImage::Format_ARGB32, {0xFFC89664u});
    DibAdjustVibrance(colour, 0.5f);
    EXPECT_EQ(pixelWord(colour, 0, 0), 0xFFC78646u);

    QImageEx rgb(QImage(1, 1, QImage::Format_RGB888));
    rgb.fill(QColor(200, 150, 100));  // bytes 200, 150, 100: the same arithmetic by byte
    DibAdjustVibrance(rgb, 0.5f);
    EXPECT_EQ(vqtest::rowOf(rgb, 0, 0, 3), (std::vector<int>{199, 134, 70}));

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
    DibAdjustTemperature(eight, 50);
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

    QImageEx ramp = greyRamp();
    CDib::Contrast(ramp, nullptr, 2.0, 0.0, 0.0, 0);  // zeros stand for the first
    EXPECT_EQ(ramp.pixel(100, 0), qRgba(72, 72, 72, 155));
    EXPECT_EQ(redAt(ramp, 200), 255);

    ramp = greyRamp();
    CDib::Gramma(ramp, nullptr, 100, 100, 100);  // exponent 0.1
    EXPECT_EQ(redAt(ramp, 1), 146);
    EXPECT_EQ(redAt(ramp, 128), 238);
    EXPECT_EQ(redAt(ramp, 255), 255);

    ramp = greyRamp();
    CDib::ColorBalana(ramp, nullptr, 30, 10, 0);  // relative to green: red +20, blue -10
    EXPECT_EQ(ramp.pixel(100, 0), qRgba(120, 100, 90, 155));

    ramp = greyRamp();
    CDib::adjustBrightAndContrast(ramp, nullptr, 1, 0.5);  // i x 255 / 101
    EXPECT_EQ(redAt(ramp, 50), 126);
    EXPECT_EQ(redAt(ramp, 101), 255);
    ramp = greyRamp();
    CDib::adjustBrightAndContrast(ramp, nullptr, 3, -0.1);  // shift by -25.5, then k = 2
    EXPECT_EQ(redAt(ramp, 150), 2 * (124 - 128) + 128);

    ramp = greyRamp();
    CDib::adjustColor(ramp, nullptr, 1.0, 10, 0);
    EXPECT_EQ(redAt(ramp, 0), 10);
    EXPECT_EQ(redAt(ramp, 250), 255);

    QImage plain = greyRamp();
    adjustBrightAndContrastQImage(plain, 1, 0.5);
    EXPECT_EQ(redAt(plain, 101), 255);
}

TEST(RemoveSaturation, LightnessOfEveryColour) {
    QImageEx image = imageOf(2, 1, QImage::Format_ARGB32, {0x7FC89664u, 0x01FF0000u});
    ASSERT_TRUE(removeSaturation(image));
    EXPECT_EQ(pixelWord(image, 0, 0), 0x7F969696u);  // (200 + 100) / 2
    EXPECT_EQ(pixelWord(image, 1, 0), 0x017F7F7Fu);

    QImageEx mono(QImage(3, 1, QImage::Format_Mono));
    mono.fill(0u);
    mono.setColorTable({qRgb(255, 0, 0), qRgb(0, 0, 255)});
    ASSERT_TRUE(removeSaturation(mono));
    EXPECT_EQ(mono.format(), QImage::Format_Indexed8);
    EXPECT_EQ(mono.colorTable()[0], qRgb(127, 127, 127));

    QImageEx grey = filled(2, 2, QImage::Format_Grayscale8, 3);
    EXPECT_FALSE(removeSaturation(grey));
    QImageEx null;
    EXPECT_FALSE(removeSaturation(null));

    const QImage original = randomImage(8, 8, QImage::Format_RGB32);
    QImageEx cancelled = original;
    cancelled.setProgressCallback([](int) { return false; });
    EXPECT_TRUE(removeSaturation(cancelled));
    EXPECT_TRUE(sameBytes(cancelled, original));
}

TEST(BlendModes, ChannelModes) {
    const tagRGBQUAD a = quad(200, 100, 0), b = quad(100, 150, 255);
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
}

TEST(BlendModes, HslModes) {
    const tagRGBQUAD a = quad(40, 120, 200), b = quad(200, 30, 60);
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
