// Selective colour and colour replacement: neutral settings, the direction
// of each correction, masks, palettes and refused settings.
#include <vqutil/adjust.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

QImageEx colours(std::initializer_list<QRgb> pixels) {
    QImageEx image(QImage(static_cast<int>(pixels.size()), 1, QImage::Format_ARGB32));
    int x = 0;
    for (QRgb p : pixels)
        reinterpret_cast<QRgb*>(image.scanLine(0))[x++] = p;
    return image;
}

QRgb at(const QImage& image, int x) { return reinterpret_cast<const QRgb*>(image.constScanLine(0))[x]; }

SelectiveColorSettings strongSettings(bool absolute) {
    SelectiveColorSettings s;
    s.reds = {40, -30, 20, 10};
    s.cyans = {-50, 60, 0, -20};
    s.neutrals = {15, 0, -15, 5};
    s.blacks = {0, 0, 0, 30};
    s.absolute = absolute;
    return s;
}

const QVector<YUV> kSky{yuvFromRgb(qRgb(70, 130, 200))};
const YUV kOrange = yuvFromRgb(qRgb(220, 120, 40));

}  // namespace

TEST(SelectiveColor, NeutralSettingsLeaveEveryFormatAlone) {
    SelectiveColorSettings tiny;
    tiny.greens.cyan = 1e-6;  // rounds to no correction at all
    for (QImage::Format format : {QImage::Format_ARGB32, QImage::Format_RGB888, QImage::Format_Indexed8,
                                  QImage::Format_Grayscale8, QImage::Format_Mono}) {
        const QImageEx original = randomImage(17, 9, format);
        QImageEx image = original;
        EXPECT_TRUE(selectiveColor(image, nullptr, SelectiveColorSettings{}));
        EXPECT_TRUE(selectiveColor(image, nullptr, tiny));
        EXPECT_TRUE(replaceColor(image, nullptr, {}, kOrange, 50, 50));
        EXPECT_TRUE(replaceColor(image, nullptr, kSky, kSky[0], 50, 50));
        EXPECT_EQ(image.format(), format);
        EXPECT_EQ(image.colorTable(), original.colorTable());
        EXPECT_TRUE(sameBytes(image, original)) << format;
    }
}

TEST(SelectiveColor, AlphaKeptAndBadSettingsRefused) {
    const QImageEx original = randomImage(33, 7, QImage::Format_ARGB32);
    QImageEx image = original;
    SelectiveColorSettings bad = strongSettings(true);
    bad.whites.magenta = std::nan("");
    EXPECT_FALSE(selectiveColor(image, nullptr, bad));
    EXPECT_FALSE(replaceColor(image, nullptr, kSky, YUV{0, std::nan(""), 0}, 50, 0));
    EXPECT_FALSE(replaceColor(image, nullptr, kSky, kOrange, std::nan(""), 0));
    EXPECT_TRUE(sameBytes(image, original));
    QImageEx null;
    EXPECT_FALSE(selectiveColor(null, nullptr, strongSettings(true)));
    EXPECT_FALSE(replaceColor(null, nullptr, kSky, kOrange, 50, 0));

    ASSERT_TRUE(selectiveColor(image, nullptr, strongSettings(true)));
    ASSERT_TRUE(replaceColor(image, nullptr, kSky, kOrange, 300, 100));
    EXPECT_FALSE(sameBytes(image, original));
    for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 33; ++x)
            ASSERT_EQ(qAlpha(image.pixel(x, y)), qAlpha(original.pixel(x, y)));
}

TEST(SelectiveColor, EachCorrectionMovesItsInk) {
    // Pure red, absolute +50 % cyan: C = 128, red = 255 - 128. Other
    // families, and greys, are not reds.
    QImageEx image = colours({qRgb(255, 0, 0), qRgb(0, 255, 0), qRgb(0, 0, 255), qRgb(128, 128, 128)});
    SelectiveColorSettings s;
    s.reds.cyan = 50;
    s.absolute = true;
    ASSERT_TRUE(selectiveColor(image, nullptr, s));
    const QRgb expected[] = {qRgb(127, 0, 0), qRgb(0, 255, 0), qRgb(0, 0, 255), qRgb(128, 128, 128)};
    for (int x = 0; x < 4; ++x)
        EXPECT_EQ(at(image, x), expected[x]) << x;

    // Relative: red has no cyan to scale, only magenta to halve; (200, 100,
    // 50) has M = 128 at reds weight 100: M - 25.1 -> 103, green
    // 200 - 103 x 200 / 255.
    image = colours({qRgb(255, 0, 0), qRgb(200, 100, 50)});
    s = SelectiveColorSettings{};
    s.reds = {100, -50, 0, 0};
    ASSERT_TRUE(selectiveColor(image, nullptr, s));
    EXPECT_EQ(at(image, 0), qRgb(255, 127, 0));
    EXPECT_EQ(at(image, 1), qRgb(200, 119, 50));

    // Black darkens dark pixels and lifts light ones; clamped percentages.
    image = colours({qRgb(60, 60, 60), qRgb(230, 230, 230), qRgb(250, 250, 250)});
    s = SelectiveColorSettings{};
    s.blacks.black = 1e300;                                      // as +100 %: K doubles
    s.whites.black = -std::numeric_limits<double>::infinity();  // as -100 %
    ASSERT_TRUE(selectiveColor(image, nullptr, s));
    EXPECT_EQ(at(image, 0), qRgb(0, 0, 0));        // K 195 -> 255
    EXPECT_EQ(at(image, 1), qRgb(250, 250, 250));  // K 25 x (1 - 205 / 255) -> 5
    EXPECT_EQ(at(image, 2), qRgb(255, 255, 255));
}

TEST(SelectiveColor, CyanNeverRaisesTheRedOfReds) {
    std::mt19937 rng(5);
    for (bool absolute : {false, true}) {
        QImageEx image(QImage(500, 1, QImage::Format_RGB32));
        for (int x = 0; x < 500; ++x) {
            const int r = 1 + static_cast<int>(rng() % 255);
            reinterpret_cast<QRgb*>(image.scanLine(0))[x] = qRgb(r, static_cast<int>(rng() % (r + 1)),
                                                               static_cast<int>(rng() % (r + 1)));
        }
        const QImageEx original = image;
        SelectiveColorSettings s;
        s.reds.cyan = 1 + rng() % 100;
        s.absolute = absolute;
        ASSERT_TRUE(selectiveColor(image, nullptr, s));
        for (int x = 0; x < 500; ++x) {
            ASSERT_LE(qRed(at(image, x)), qRed(at(original, x))) << x;
            ASSERT_EQ(qGreen(at(image, x)), qGreen(at(original, x)));
        }
    }
}

TEST(SelectiveColor, MasksAndPalettes) {
    QImageEx image = colours({qRgb(255, 0, 0), qRgb(255, 0, 0)});
    const QImageEx mask = vqtest::imageOf(2, 1, QImage::Format_Grayscale8, {255, 0});
    SelectiveColorSettings s;
    s.reds.cyan = 50;
    s.absolute = true;
    ASSERT_TRUE(selectiveColor(image, &mask, s));
    EXPECT_EQ(at(image, 0), qRgb(255, 0, 0));
    EXPECT_EQ(at(image, 1), qRgb(127, 0, 0));

    QImageEx indexed(QImage(3, 1, QImage::Format_Indexed8));
    indexed.fill(0u);
    indexed.setColorTable({qRgba(255, 0, 0, 7), qRgb(0, 0, 255)});
    ASSERT_TRUE(selectiveColor(indexed, &mask, s));  // the table ignores the mask
    EXPECT_EQ(indexed.colorTable(), (QVector<QRgb>{qRgba(127, 0, 0, 7), qRgb(0, 0, 255)}));

    QImageEx grey = vqtest::imageOf(2, 1, QImage::Format_Grayscale8, {0, 200});
    s.blacks.cyan = 100;
    ASSERT_TRUE(selectiveColor(grey, nullptr, s));
    ASSERT_EQ(grey.format(), QImage::Format_Indexed8);
    EXPECT_EQ(grey.pixel(1, 0), qRgb(200, 200, 200));  // not a black
    EXPECT_EQ(grey.pixel(0, 0), qRgb(0, 0, 0));        // cyan in black stays black

    const QImageEx rgb16 = randomImage(5, 5, QImage::Format_RGB16);
    QImageEx copy = rgb16;
    ASSERT_TRUE(selectiveColor(copy, nullptr, strongSettings(false)));
    ASSERT_TRUE(replaceColor(copy, nullptr, kSky, kOrange, 500, 0));
    EXPECT_TRUE(sameBytes(copy, rgb16));
}

TEST(ReplaceColor, MatchesMoveTowardsTheTargetFarColoursStay) {
    // The source itself, a darker shade of it (d = 20), one in the feather
    // (d ~ 45), and two far colours.
    const QRgb sky = qRgb(70, 130, 200), shade = qRgb(50, 110, 180), edge = qRgb(115, 175, 245);
    QImageEx image = colours({sky, shade, edge, qRgb(200, 40, 40), qRgb(255, 255, 255)});
    QImageEx masked = image;
    ASSERT_TRUE(replaceColor(image, nullptr, kSky, kOrange, 35, 30));
    EXPECT_EQ(at(image, 0), qRgb(220, 120, 40));
    EXPECT_EQ(at(image, 1), qRgb(200, 100, 20));  // the shade moves by the same step
    const QRgb moved = at(image, 2);
    EXPECT_GT(qRed(moved), qRed(edge));
    EXPECT_LT(qRed(moved), qRed(edge) + 150);
    EXPECT_LT(qBlue(moved), qBlue(edge));
    EXPECT_EQ(at(image, 3), qRgb(200, 40, 40));
    EXPECT_EQ(at(image, 4), qRgb(255, 255, 255));

    // The nearest source decides; a hard edge; the mask keeps pixel 0.
    const QImageEx mask = vqtest::imageOf(5, 1, QImage::Format_Grayscale8, {255, 0, 0, 0, 0});
    const QVector<YUV> sources{yuvFromRgb(qRgb(200, 40, 40)), kSky[0], yuvFromRgb(qRgb(255, 255, 255))};
    ASSERT_TRUE(replaceColor(masked, &mask, sources, kOrange, 21, 0));
    EXPECT_EQ(at(masked, 0), sky);
    EXPECT_EQ(at(masked, 1), qRgb(200, 100, 20));
    EXPECT_EQ(at(masked, 2), edge);  // beyond 21
    EXPECT_EQ(at(masked, 3), qRgb(220, 120, 40));
    EXPECT_EQ(at(masked, 4), qRgb(220, 120, 40));
}
