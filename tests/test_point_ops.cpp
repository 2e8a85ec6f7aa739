// Point operations: grey and black-and-white conversions, thresholds,
// posterisation, negative, solarisation, inversion and ink extraction.
#include <vqutil/adjust.h>

#include "test_support.h"

#include <gtest/gtest.h>

using namespace vqtest;

namespace {

using Words = std::vector<uint32_t>;

// The bits of row y of a 1-bit image, most significant first.
std::vector<int> bitsOf(const QImage& mono, int y = 0) {
    std::vector<int> bits(mono.width());
    for (int x = 0; x < mono.width(); ++x)
        bits[x] = (mono.constScanLine(y)[x >> 3] >> (7 - (x & 7))) & 1;
    return bits;
}

}  // namespace

TEST(Grayscale8, WeightsBytesAndCompositesByAlpha) {
    // Bytes 200, 100, 50: 100 x 0.587 + 200 x 0.299 + 50 x 0.114 + 0.5 = 124.7.
    QImageEx src = imageOf(4, 1, QImage::Format_ARGB32, {0xFF3264C8u, 0x003264C8u, 0x803264C8u, 0x80FFFFFFu});
    QImageEx dst;
    makeGrayscale8(dst, src, 0xFFFFFFFFu);
    ASSERT_EQ(dst.format(), QImage::Format_Grayscale8);
    EXPECT_EQ(rowOf(dst, 0), (std::vector<int>{124, 255, 128 * 124 / 255 + 127, 255}));
    makeGrayscale8(dst, src, 0xFF000000u);  // a black background: over black
    EXPECT_EQ(rowOf(dst, 0), (std::vector<int>{124, 0, 62, 128}));

    // Colour-table entries: (R 11 + G 16 + B 5) >> 5 over the background's grey.
    QImageEx mono(QImage(9, 1, QImage::Format_MonoLSB));
    mono.setColorTable({qRgba(255, 0, 0, 0), qRgb(255, 255, 255)});
    mono.fill(0u);
    mono.scanLine(0)[0] = 0x80;  // the first bit read most significant first, whatever the format says
    makeGrayscale8(dst, mono, qRgb(64, 64, 64));
    EXPECT_EQ(rowOf(dst, 0, 0, 2), (std::vector<int>{255, 64}));

    makeGrayscale8(dst, imageOf(1, 1, QImage::Format_Grayscale8, {9}), 0);
    EXPECT_EQ(dst.width(), 9);  // untouched
}

TEST(Dib2Gray, InPlaceWithinTheMask) {
    QImageEx image = imageOf(3, 1, QImage::Format_ARGB32, {0x7F3264C8u, 0x7F3264C8u, 0x7F3264C8u});
    QImageEx mask = imageOf(3, 1, QImage::Format_Grayscale8, {0, 255, 0});
    Dib2Gray(image, &mask, false);
    EXPECT_EQ(wordsOf(image), (Words{0x7F7C7C7Cu, 0x7F3264C8u, 0x7F7C7C7Cu}));

    QImageEx indexed(QImage(1, 1, QImage::Format_Indexed8));
    indexed.setColorTable({qRgba(200, 100, 50, 9)});  // 58.7 + 59.8 + 5.7 + 0.5 = 124.7
    Dib2Gray(indexed, nullptr, false);
    EXPECT_EQ(indexed.colorTable()[0], qRgba(124, 124, 124, 9));

    CDib dib(QImageEx(colours({qRgb(50, 100, 200)})));
    dib.ConvertToGray(0);
    EXPECT_EQ(pixelWord(dib.toQImageRef(), 0, 0), 0xFF7C7C7Cu);
}

TEST(ConvertToBW, GreyAboveTheThresholdIsWhite) {
    // 32-bit greys (11 b0 + 59 b1 + 30 b2) / 100 over white: grey 100 at
    // threshold 100 stays black, transparent is white.
    QImageEx bw;
    ASSERT_TRUE(convertToBW(bw, imageOf(3, 1, QImage::Format_ARGB32, {0xFF646464u, 0xFF656565u, 0u}), 100));
    ASSERT_EQ(bw.format(), QImage::Format_Mono);
    EXPECT_EQ(bw.colorTable(), (QVector<QRgb>{0xFF000000u, 0xFFFFFFFFu}));
    EXPECT_EQ(bitsOf(bw), (std::vector<int>{0, 1, 1}));

    QImageEx rgb(QImage(1, 1, QImage::Format_RGB888));
    rgb.fill(QColor(0, 0, 100));  // byte 2 = 100: grey 30
    ASSERT_TRUE(convertToBW(bw, rgb, 29));
    EXPECT_EQ(bitsOf(bw)[0], 1);
    ASSERT_TRUE(convertToBW(bw, rgb, 30));
    EXPECT_EQ(bitsOf(bw)[0], 0);

    QImageEx mono(QImage(5, 5, QImage::Format_Mono));
    mono.fill(1u);
    ASSERT_TRUE(convertToBW(bw, mono, 0));
    EXPECT_TRUE(sameBytes(bw, mono));
}

TEST(ConvertToBW, AutomaticThresholdSketchAndRedInk) {
    // Dark text (40) on light paper (200), with some noise on each.
    QImageEx page(QImage(64, 64, QImage::Format_Grayscale8));
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x)
            page.scanLine(y)[x] = static_cast<uint8_t>(((x / 8 + y / 8) % 3 == 0 ? 40 : 200) + (x * 7 + y) % 11);
    const int t = calDivideValue(page);
    EXPECT_GE(t, 50);
    EXPECT_LT(t, 200);
    QImageEx bw;
    ASSERT_TRUE(convertToBW(bw, page, 0));
    for (int x = 0; x < 64; ++x)
        EXPECT_EQ(bitsOf(bw, 3)[x], page.constScanLine(3)[x] >= 200) << x;
    EXPECT_EQ(calDivideValue(filled(4, 4, QImage::Format_Grayscale8, 77)), 77);

    // Sketch: a flat image dodges to white everywhere and the burn keeps it.
    EXPECT_TRUE(convertToBWEx(bw, filled(40, 30, QImage::Format_ARGB32, 0xFF806040u), 128, 1));
    ASSERT_EQ(bw.format(), QImage::Format_Mono);
    EXPECT_EQ(bitsOf(bw, 15)[20], 1);
    // Red ink is kept (as red, below 128 grey: black), black ink is dropped;
    // the level is 102 x 100 / 255 = 40.
    EXPECT_TRUE(convertToBWEx(bw, colours({qRgb(250, 248, 240), qRgb(230, 25, 30), qRgb(20, 20, 25)}), 102, 2));
    EXPECT_EQ(bitsOf(bw), (std::vector<int>{1, 0, 1}));
}

TEST(KeepInkColour, SyntheticScans) {
    // Level 40: red above 215, green and blue below 175. Orange (hue 35) and
    // crimson (hue 323) lie in the red hue range.
    const QRgb paper = qRgb(250, 248, 240), red = qRgb(230, 25, 30), darkRed = qRgb(160, 20, 25),
               pink = qRgb(255, 200, 200), orange = qRgb(240, 150, 20), black = qRgb(20, 20, 25),
               blue = qRgb(30, 40, 200), grey = qRgb(90, 90, 90), crimson = qRgb(230, 20, 150);
    const QImageEx scan = colours({paper, red, darkRed, pink, orange, black, blue, grey, crimson});
    QImageEx reds = scan, blacks = scan, other = scan;
    keepInkColour(reds, QStringLiteral("red"), 40, 0xFFFF00FFu, 250);
    const uint32_t ink = 0xFFFF00FEu, bg = 0xFFFAFAFAu;  // blue capped at 254
    EXPECT_EQ(wordsOf(reds), (Words{bg, ink, bg, bg, ink, bg, bg, bg, ink}));
    keepInkColour(blacks, QStringLiteral("black"), 60, 0xFF000000u, 255);
    for (int x = 0; x < 9; ++x)
        EXPECT_EQ(pixelWord(blacks, x, 0), x == 5 ? 0xFF000000u : 0xFFFFFFFFu) << x;
    keepInkColour(other, QStringLiteral("green"), 40, 0, 0);
    EXPECT_TRUE(sameBytes(other, scan));

    // Level 10: a faint pink (saturation 16) passes the channel bounds but not
    // the saturation; saturation 51 does.
    QImageEx faint = colours({qRgb(250, 234, 234), qRgb(250, 200, 200)});
    keepInkColour(faint, QStringLiteral("red"), 10, 0xFFFF0000u, 255);
    EXPECT_EQ(wordsOf(faint), (Words{0xFFFFFFFFu, 0xFFFF0000u}));
}

TEST(BlackWhite, HueSectorsWeighTheirShare) {
    QImageEx image = colours({qRgb(255, 0, 0), qRgb(255, 255, 0), qRgb(200, 100, 50), qRgb(50, 100, 200),
                              qRgb(0, 0, 0), qRgb(10, 250, 30)});
    ASSERT_TRUE(blackWhite(image, {40, 60, 40, 60, 20, 80}));
    // 255 x 0.4; 255 x 0.6; 100 x 0.4 + 50 x 0.6 + 50; 100 x 0.2 + 50 x 0.6 + 50; 0; 220 x 0.4 + 20 x 0.6 + 10.
    const int expected[] = {102, 153, 120, 100, 0, 110};
    for (int x = 0; x < 6; ++x)
        EXPECT_EQ(pixelWord(image, x, 0), 0xFF000000u | expected[x] * 0x010101u) << x;

    QImageEx clamped = colours({qRgb(255, 0, 0), qRgb(0, 255, 0)});
    ASSERT_TRUE(blackWhite(clamped, {300, 0, -50}));  // missing weights are 0
    EXPECT_EQ(wordsOf(clamped), (Words{0xFFFFFFFFu, 0xFF000000u}));

    QImageEx grey = imageOf(2, 1, QImage::Format_Grayscale8, {7, 8});
    ASSERT_TRUE(blackWhite(grey, {}));
    EXPECT_EQ(grey.format(), QImage::Format_ARGB32);
}

TEST(ThresholdSplit, GreyAtTheThresholdIsWhite) {
    // 100 x 0.2989 + 100 x 0.587 + 100 x 0.114 = 99.99: grey 99; blue weighs 0.114: 29.
    QImageEx image = colours({qRgb(100, 100, 100), qRgb(101, 101, 101), qRgb(0, 0, 255)});
    const QImage original = image;
    EXPECT_FALSE(thresholdSplit(image, 0));
    EXPECT_TRUE(sameBytes(image, original));
    ASSERT_TRUE(thresholdSplit(image, 99));
    EXPECT_EQ(wordsOf(image), (Words{0xFFFFFFFFu, 0xFFFFFFFFu, 0xFF000000u}));

    QImageEx grey = imageOf(2, 1, QImage::Format_Grayscale8, {60, 61});
    ASSERT_TRUE(thresholdSplit(grey, 61));  // 0.9999 x 61 = 60.99: grey 60
    ASSERT_EQ(grey.format(), QImage::Format_Indexed8);
    EXPECT_EQ(grey.pixel(0, 0), qRgb(0, 0, 0));
    EXPECT_EQ(grey.pixel(1, 0), qRgb(0, 0, 0));
}

TEST(Posterize, NearestLevelTiesGoDown) {
    // {levels, input, output}: levels 0, 255 and 0, 128, 255; 64 and 191 lie
    // halfway (or nearer the lower level).
    const int cases[][3] = {{2, 127, 0}, {2, 128, 255}, {3, 64, 0}, {3, 65, 128}, {3, 191, 128}, {3, 192, 255}};
    QImageEx image;
    for (const auto& c : cases) {
        image = greyRamp();
        ASSERT_TRUE(posterize(image, c[0]));
        EXPECT_EQ(qRed(image.pixel(c[1], 0)), c[2]) << c[0] << " levels, input " << c[1];
    }
    EXPECT_FALSE(posterize(image, 1));
    EXPECT_FALSE(posterize(image, 256));
}

TEST(Inversion, NegativeSolarizeAndEveryByte) {
    // NegativeDib: twice restores; the mask (of another size) selects.
    const QImage original = randomImage(13, 6, QImage::Format_ARGB32);
    QImageEx image = original;
    ASSERT_TRUE(NegativeDib(image, nullptr));
    EXPECT_EQ(pixelWord(image, 4, 2), pixelWord(original, 4, 2) ^ 0x00FFFFFFu);
    NegativeDib(image, nullptr);
    EXPECT_TRUE(sameBytes(image, original));

    QImageEx mask = filled(5, 3, QImage::Format_Grayscale8, 255);  // smaller than the image
    mask.scanLine(2)[4] = 0;
    NegativeDib(image, &mask);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 13; ++x)
            EXPECT_EQ(pixelWord(image, x, y), pixelWord(original, x, y) ^ (x == 4 && y == 2 ? 0x00FFFFFFu : 0u));

    // Grey images: the mask narrows the rectangle only.
    QImageEx grey = imageOf(3, 1, QImage::Format_Grayscale8, {0, 10, 20});
    QImageEx greyMask = imageOf(3, 1, QImage::Format_Grayscale8, {0, 9, 0});
    NegativeDib(grey, &greyMask);
    EXPECT_EQ(rowOf(grey, 0), (std::vector<int>{255, 245, 235}));

    // DibSolarize: channels above t = truncate(level x 256 / 100), alpha kept.
    image = imageOf(3, 1, QImage::Format_ARGB32, {0x10818000u, 0x20FFFFFFu, 0x30000102u});
    const QImage solarized = image;
    EXPECT_EQ(DibSolarize(image, nullptr, 100), 1);  // t = 256
    EXPECT_TRUE(sameBytes(image, solarized));
    DibSolarize(image, nullptr, 50);  // t = 128
    EXPECT_EQ(wordsOf(image), (Words{0x107E8000u, 0x20000000u, 0x30000102u}));
    DibSolarize(image, &image, 0);
    EXPECT_EQ(pixelWord(image, 2, 0), 0x3000FEFDu);
    QImageEx null;
    EXPECT_EQ(DibSolarize(null, nullptr, 10), 0);

    // invertImagePixels: every byte of every row, padding included.
    for (const int width : {3, 70}) {  // a tail only; 64-byte blocks and a tail
        const QImage bytes = randomImage(width, 4, QImage::Format_RGB888);
        image = bytes;
        ASSERT_TRUE(invertImagePixels(image));
        for (qsizetype i = 0; i < bytes.sizeInBytes(); ++i)
            ASSERT_EQ(image.constBits()[i], static_cast<uint8_t>(~bytes.constBits()[i])) << i;
    }
    EXPECT_FALSE(invertImagePixels(null));
}

TEST(AdjustRobustness, NullAndEmptyInputsAndForeignMasks) {
    unsigned char id[256];
    for (int v = 0; v < 256; ++v)
        id[v] = static_cast<unsigned char>(v);
    int counts[5][256];
    ColorLevelsConfig config{};
    for (QImageEx image : {QImageEx(), QImageEx(QImage(0, 0, QImage::Format_ARGB32))}) {
        EXPECT_FALSE(AdjustRGBOffset(image, nullptr, id, id, id, nullptr));
        EXPECT_FALSE(AdjustCMYKOffset(image, nullptr, id, id, id, id, nullptr));
        EXPECT_FALSE(vqDoColorLevel(image, nullptr, &config));
        EXPECT_EQ(ThAutoLevel(image), 0);
        getHistoGramGrey(image, counts[0]);
        getHistoGramValue(image, counts[0], counts[1], counts[2], counts[3]);
        getHistoGramValueCMYK(image, counts[0], counts[1], counts[2], counts[3], counts[4]);
        EXPECT_EQ(counts[4][0], 0);
        QImageEx dst = filled(2, 2, QImage::Format_Grayscale8, 5);
        makeGrayscale8(dst, image, 0);
        EXPECT_FALSE(convertToBW(dst, image, 10));
        EXPECT_TRUE(convertToBWEx(dst, image, 10, 1));
        EXPECT_TRUE(convertToBWEx(dst, image, 10, 2));
        EXPECT_EQ(dst.width(), 2);  // every failure above left it alone
        Dib2Gray(image, nullptr, false);
        keepInkColour(image, QStringLiteral("red"), 40, 0, 0);
        EXPECT_TRUE(blackWhite(image, {1, 2, 3, 4, 5, 6}));
        EXPECT_TRUE(thresholdSplit(image, 5));
        EXPECT_FALSE(posterize(image, 4));
        EXPECT_TRUE(NegativeDib(image, nullptr));
        EXPECT_EQ(calDivideValue(image), 128);
    }
    // Masks smaller and larger than the image never reach past their rows.
    config.gamma[0] = 1;
    for (const QSize size : {QSize(3, 2), QSize(40, 1), QSize(1, 40)}) {
        QImageEx mask = filled(size.width(), size.height(), QImage::Format_Grayscale8, 0);
        QImageEx image = randomImage(7, 9, QImage::Format_RGB888);
        Dib2Gray(image, &mask, false);
        AdjustCMYKOffset(image, &mask, id, nullptr, nullptr, nullptr, nullptr);
        vqDoColorLevel(image, &mask, &config);
        NegativeDib(image, &mask);
    }
}
