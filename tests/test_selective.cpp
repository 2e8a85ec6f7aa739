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

QImageEx colours(const QVector<QRgb>& pixels) {
    QImageEx image(QImage(pixels.size(), 1, QImage::Format_ARGB32));
    std::copy(pixels.begin(), pixels.end(), reinterpret_cast<QRgb*>(image.scanLine(0)));
    return image;
}

QVector<QRgb> pixelsOf(const QImage& image) {
    const QRgb* row = reinterpret_cast<const QRgb*>(image.constScanLine(0));
    return QVector<QRgb>(row, row + image.width());
}

SelectiveColorSettings inks(SelectiveColorInks SelectiveColorSettings::*family, SelectiveColorInks value,
                            bool absolute) {
    SelectiveColorSettings s;
    s.*family = value;
    s.absolute = absolute;
    return s;
}

const QVector<YUV> kSky{yuvFromRgb(qRgb(70, 130, 200))};
const YUV kOrange = yuvFromRgb(qRgb(220, 120, 40));

}  // namespace

TEST(SelectiveColor, NeutralSettingsLeaveEveryFormatAlone) {
    for (QImage::Format format : {QImage::Format_ARGB32, QImage::Format_RGB888, QImage::Format_Indexed8,
                                  QImage::Format_Grayscale8, QImage::Format_Mono}) {
        const QImageEx original = randomImage(17, 9, format);
        QImageEx image = original;
        EXPECT_TRUE(selectiveColor(image, nullptr, SelectiveColorSettings{}));
        EXPECT_TRUE(selectiveColor(image, nullptr, inks(&SelectiveColorSettings::greens, {1e-6, 0, 0, 0}, false)));
        EXPECT_TRUE(replaceColor(image, nullptr, {}, kOrange, 50, 50));
        EXPECT_TRUE(replaceColor(image, nullptr, kSky, kSky[0], 50, 50));
        EXPECT_EQ(image.format(), format);
        EXPECT_EQ(image.colorTable(), original.colorTable());
        EXPECT_TRUE(sameBytes(image, original)) << format;
    }
}

TEST(SelectiveColor, AlphaKeptBadSettingsRefusedOtherFormatsAlone) {
    const SelectiveColorSettings strong = inks(&SelectiveColorSettings::neutrals, {40, -30, 20, 10}, true);
    for (QImage::Format format : {QImage::Format_ARGB32, QImage::Format_RGB16}) {
        const QImageEx original = randomImage(33, 7, format);
        QImageEx image = original;
        SelectiveColorSettings bad = strong;
        bad.whites.magenta = std::nan("");
        EXPECT_FALSE(selectiveColor(image, nullptr, bad));
        EXPECT_FALSE(replaceColor(image, nullptr, kSky, YUV{0, std::nan(""), 0}, 50, 0));
        EXPECT_FALSE(replaceColor(image, nullptr, kSky, kOrange, std::nan(""), 0));
        EXPECT_TRUE(sameBytes(image, original));
        ASSERT_TRUE(selectiveColor(image, nullptr, strong));
        ASSERT_TRUE(replaceColor(image, nullptr, kSky, kOrange, 300, 100));
        EXPECT_EQ(sameBytes(image, original), format == QImage::Format_RGB16);  // left alone
        for (int y = 0; format == QImage::Format_ARGB32 && y < 7; ++y)
            for (int x = 0; x < 33; ++x)
                ASSERT_EQ(qAlpha(image.pixel(x, y)), qAlpha(original.pixel(x, y)));
    }
    QImageEx null;
    EXPECT_FALSE(selectiveColor(null, nullptr, strong));
    EXPECT_FALSE(replaceColor(null, nullptr, kSky, kOrange, 50, 0));
}

TEST(SelectiveColor, EachCorrectionMovesItsInk) {
    // Absolute +50 % cyan in reds: pure red gets C = 128, red 255 - 128;
    // other families, and greys, are not reds.
    QImageEx image = colours({qRgb(255, 0, 0), qRgb(0, 255, 0), qRgb(0, 0, 255), qRgb(128, 128, 128)});
    ASSERT_TRUE(selectiveColor(image, nullptr, inks(&SelectiveColorSettings::reds, {50, 0, 0, 0}, true)));
    EXPECT_EQ(pixelsOf(image), (QVector<QRgb>{qRgb(127, 0, 0), qRgb(0, 255, 0), qRgb(0, 0, 255), qRgb(128, 128, 128)}));

    // Relative: red has no cyan to scale, only magenta to halve; (200, 100,
    // 50) has M = 128 at reds weight 100: M - 25.1 -> 103, green
    // 200 - 103 x 200 / 255.
    image = colours({qRgb(255, 0, 0), qRgb(200, 100, 50)});
    ASSERT_TRUE(selectiveColor(image, nullptr, inks(&SelectiveColorSettings::reds, {100, -50, 0, 0}, false)));
    EXPECT_EQ(pixelsOf(image), (QVector<QRgb>{qRgb(255, 127, 0), qRgb(200, 119, 50)}));

    // Black darkens blacks and leaves whites; percentages clamp.
    SelectiveColorSettings s;
    s.blacks.black = 1e300;                                      // as +100 %: K 195 doubles
    s.whites.black = -std::numeric_limits<double>::infinity();  // as -100 %: K 25 x (1 - 205 / 255)
    image = colours({qRgb(60, 60, 60), qRgb(230, 230, 230), qRgb(250, 250, 250)});
    ASSERT_TRUE(selectiveColor(image, nullptr, s));
    EXPECT_EQ(pixelsOf(image), (QVector<QRgb>{qRgb(0, 0, 0), qRgb(250, 250, 250), qRgb(255, 255, 255)}));

    // Adding cyan to reds never raises a red pixel's red nor touches green.
    std::mt19937 rng(5);
    QVector<QRgb> reds(500);
    for (QRgb& p : reds) {
        const int r = 1 + static_cast<int>(rng() % 255);
        p = qRgb(r, static_cast<int>(rng() % (r + 1)), static_cast<int>(rng() % (r + 1)));
    }
    for (bool absolute : {false, true}) {
        image = colours(reds);
        ASSERT_TRUE(selectiveColor(image, nullptr, inks(&SelectiveColorSettings::reds, {37, 0, 0, 0}, absolute)));
        for (int x = 0; x < reds.size(); ++x) {
            ASSERT_LE(qRed(image.pixel(x, 0)), qRed(reds[x])) << x;
            ASSERT_EQ(qGreen(image.pixel(x, 0)), qGreen(reds[x])) << x;
        }
    }
}

TEST(SelectiveColor, MasksAndPalettes) {
    const SelectiveColorSettings cyanReds = inks(&SelectiveColorSettings::reds, {50, 0, 0, 0}, true);
    const QImageEx mask = vqtest::imageOf(2, 1, QImage::Format_Grayscale8, {255, 0});
    QImageEx image = colours({qRgb(255, 0, 0), qRgb(255, 0, 0)});
    ASSERT_TRUE(selectiveColor(image, &mask, cyanReds));
    EXPECT_EQ(pixelsOf(image), (QVector<QRgb>{qRgb(255, 0, 0), qRgb(127, 0, 0)}));

    QImageEx indexed = vqtest::imageOf(2, 1, QImage::Format_Indexed8, {0, 1});
    indexed.setColorTable({qRgba(255, 0, 0, 7), qRgb(0, 0, 255)});
    ASSERT_TRUE(selectiveColor(indexed, &mask, cyanReds));  // the table ignores the mask
    EXPECT_EQ(indexed.colorTable(), (QVector<QRgb>{qRgba(127, 0, 0, 7), qRgb(0, 0, 255)}));

    // Grey becomes indexed; cyan in blacks shows in dark greys only, and
    // black itself stays black (no brightness to take cyan from).
    QImageEx grey = vqtest::imageOf(3, 1, QImage::Format_Grayscale8, {0, 60, 200});
    ASSERT_TRUE(selectiveColor(grey, nullptr, inks(&SelectiveColorSettings::blacks, {100, 0, 0, 0}, true)));
    ASSERT_EQ(grey.format(), QImage::Format_Indexed8);
    EXPECT_EQ(grey.pixel(0, 0), qRgb(0, 0, 0));
    EXPECT_LT(qRed(grey.pixel(1, 0)), 60);
    EXPECT_EQ(grey.pixel(2, 0), qRgb(200, 200, 200));
}

TEST(ReplaceColor, MatchesMoveTowardsTheTargetFarColoursStay) {
    // The source, a darker shade of it (d = 20), one at d = 45 (in the
    // feather of 35 + 30), and two far colours.
    const QRgb sky = qRgb(70, 130, 200), shade = qRgb(50, 110, 180), edge = qRgb(115, 175, 245);
    const QImageEx original = colours({sky, shade, edge, qRgb(200, 40, 40), qRgb(255, 255, 255)});
    QImageEx image = original;
    ASSERT_TRUE(replaceColor(image, nullptr, kSky, kOrange, 35, 30));
    const QVector<QRgb> soft = pixelsOf(image);
    EXPECT_EQ(soft[0], qRgb(220, 120, 40));
    EXPECT_EQ(soft[1], qRgb(200, 100, 20));  // the shade moves by the same step
    EXPECT_GT(qRed(soft[2]), qRed(edge));     // part of the way
    EXPECT_LT(qRed(soft[2]), 255);
    EXPECT_LT(qBlue(soft[2]), qBlue(edge));
    EXPECT_EQ(soft.mid(3), pixelsOf(original).mid(3));

    // The nearest source decides; a hard edge; the mask keeps pixel 0.
    const QImageEx mask = vqtest::imageOf(5, 1, QImage::Format_Grayscale8, {255, 0, 0, 0, 0});
    const QVector<YUV> sources{yuvFromRgb(qRgb(200, 40, 40)), kSky[0], yuvFromRgb(qRgb(255, 255, 255))};
    image = original;
    ASSERT_TRUE(replaceColor(image, &mask, sources, kOrange, 21, 0));
    EXPECT_EQ(pixelsOf(image), (QVector<QRgb>{sky, qRgb(200, 100, 20), edge, qRgb(220, 120, 40), qRgb(220, 120, 40)}));
}
