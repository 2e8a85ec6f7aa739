// Curves and levels: the spline, the table operations and the levels tables.
#include <vqutil/adjust.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <array>

using namespace vqtest;

namespace {

using Table = std::array<unsigned char, 256>;

Table tableOf(int (*f)(int)) {
    Table t{};
    for (int v = 0; v < 256; ++v)
        t[v] = static_cast<unsigned char>(f(v));
    return t;
}

ColorLevelsConfig identityLevels() {
    ColorLevelsConfig c{};
    for (int k = 0; k < 5; ++k)
        c.inputWhite[k] = c.gamma[k] = c.outputWhite[k] = 1;
    return c;
}

}  // namespace

TEST(CubicSpline, FitsAndEvaluatesTheNaturalSpline) {
    // Knots (0, 0), (1, 1), (2, 0): the natural fit has b = 1.5, 0; c = 0,
    // -1.5; d = -0.5, 0.5, and every value below is exact in binary.
    float x[] = {0, 1, 2}, y[] = {0, 1, 0};
    CubicSpline s;
    s.Initialize(x, y, 3);
    EXPECT_FLOAT_EQ(s.Interpolate(0.5f), 0.6875f);
    EXPECT_FLOAT_EQ(s.Interpolate(1.5f), 0.6875f);
    EXPECT_FLOAT_EQ(s.Interpolate(1.0f), 1.0f);   // end of segment 0
    EXPECT_FLOAT_EQ(s.Interpolate(3.0f), -1.0f);  // segment 1 extrapolated: 1 - 1.5 x 4 + 0.5 x 8

    // Two knots give the line through them, nothing clamped.
    float x2[] = {0, 100}, y2[] = {10, 210};
    s.Initialize(x2, y2, 2);
    EXPECT_FLOAT_EQ(s.Interpolate(50), 110);
    EXPECT_FLOAT_EQ(s.Interpolate(150), 310);
}

TEST(CubicSpline, CopiesShareCoefficientsAndReleaseThemOnce) {
    float x[] = {0, 64, 128, 255}, y[] = {0, 100, 40, 255};
    CubicSpline a;
    a.Initialize(x, y, 4);
    {
        CubicSpline b;
        b = a;
        CubicSpline c(b);
        c = c;
        EXPECT_EQ(c.Interpolate(64), a.Interpolate(64));
    }
    EXPECT_NEAR(a.Interpolate(64), 100, 1e-3);  // still valid after the copies died
    CubicSpline d;
    d.Initialize(x, y, 4);
    d = a;                  // releases d's own coefficients
    a.Initialize(x, y, 2);  // a refits; d keeps the old ones
    EXPECT_NEAR(d.Interpolate(128), 40, 1e-3);
    EXPECT_EQ(CubicSpline().Interpolate(5), 0);
}

TEST(AdjustRGBOffset, ChannelTablesThenMasterAlphaKept) {
    Table half = tableOf([](int v) { return v / 2; }), plus10 = tableOf([](int v) { return std::min(255, v + 10); });
    Table id = tableOf([](int v) { return v; }), zero = tableOf([](int) { return 0; });
    QImageEx argb = imageOf(3, 1, QImage::Format_ARGB32, {0x80C86432u, 0x00FFFFFFu, 0xFF000000u});
    ASSERT_TRUE(AdjustRGBOffset(argb, nullptr, half.data(), id.data(), id.data(), plus10.data()));
    // Red 0xC8 / 2 + 10, green and blue + 10.
    EXPECT_EQ(wordsOf(argb), (std::vector<uint32_t>{0x806E6E3Cu, 0x0089FFFFu, 0xFF0A0A0Au}));

    // Byte 0 takes the blue table at every depth, so in RGB888 it is red.
    QImageEx rgb(QImage(2, 1, QImage::Format_RGB888));
    rgb.fill(QColor(0x10, 0x20, 0x30));
    ASSERT_TRUE(AdjustRGBOffset(rgb, nullptr, id.data(), id.data(), zero.data(), nullptr));
    EXPECT_EQ(rowOf(rgb, 0, 0, 3), (std::vector<int>{0, 0x20, 0x30}));
    EXPECT_FALSE(AdjustRGBOffset(rgb, nullptr, id.data(), nullptr, id.data(), nullptr));

    // Grey images become indexed and map their table; the mask plays no part.
    QImageEx grey = imageOf(2, 1, QImage::Format_Grayscale8, {10, 200});
    QImageEx mask = filled(2, 1, QImage::Format_Grayscale8, 255);
    Table inverse = tableOf([](int v) { return 255 - v; });
    ASSERT_TRUE(AdjustRGBOffset(grey, &mask, inverse.data(), inverse.data(), inverse.data(), nullptr));
    ASSERT_EQ(grey.format(), QImage::Format_Indexed8);
    EXPECT_EQ(grey.constScanLine(0)[1], 200);
    EXPECT_EQ(grey.pixel(0, 0), qRgb(245, 245, 245));
    EXPECT_EQ(grey.pixel(1, 0), qRgb(55, 55, 55));
}

TEST(AdjustRGBOffset, MasksOfAnySizeSelectOnlyTheirZeroBytes) {
    Table inverse = tableOf([](int v) { return 255 - v; });
    const QImage original = randomImage(9, 7, QImage::Format_ARGB32);
    for (const QSize maskSize : {QSize(9, 7), QSize(4, 3), QSize(20, 20)}) {
        QImageEx mask = filled(maskSize.width(), maskSize.height(), QImage::Format_Grayscale8, 255);
        mask.scanLine(1)[2] = mask.scanLine(2)[3] = 0;
        QImageEx image = original;
        ASSERT_TRUE(AdjustRGBOffset(image, &mask, inverse.data(), inverse.data(), inverse.data(), nullptr));
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 9; ++x) {
                const bool selected = (x == 2 && y == 1) || (x == 3 && y == 2);
                EXPECT_EQ(pixelWord(image, x, y), pixelWord(original, x, y) ^ (selected ? 0x00FFFFFFu : 0u)) << x << y;
            }
    }
    // A refused progress report leaves the rows of every band as they were.
    const QImage bands = randomImage(64, 64, QImage::Format_RGB32);
    QImageEx image = bands;
    image.setProgressCallback([](int) { return false; });
    ASSERT_TRUE(AdjustRGBOffset(image, nullptr, inverse.data(), inverse.data(), inverse.data(), nullptr));
    EXPECT_TRUE(sameBytes(image, bands));
}

TEST(AdjustCMYKOffset, TablesWorkInCmykTerms) {
    // Without tables the exact CMYK round trip leaves every colour alone.
    const QImage original = randomImage(33, 9, QImage::Format_ARGB32);
    QImageEx image = original;
    ASSERT_TRUE(AdjustCMYKOffset(image, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_TRUE(sameBytes(image, original));

    // Full black ink: selected pixels turn black, alpha kept.
    Table full = tableOf([](int) { return 255; }), none = tableOf([](int) { return 0; });
    QImageEx mask = filled(33, 9, QImage::Format_Grayscale8, 255);
    mask.scanLine(4)[5] = 0;
    ASSERT_TRUE(AdjustCMYKOffset(image, &mask, nullptr, nullptr, nullptr, full.data(), nullptr));
    EXPECT_EQ(pixelWord(image, 5, 4), pixelWord(original, 5, 4) & 0xFF000000u);
    EXPECT_EQ(pixelWord(image, 6, 4), pixelWord(original, 6, 4));

    // Pure red is C 0, M 255, Y 255, K 0; emptying magenta leaves yellow.
    QImageEx red = filled(1, 1, QImage::Format_RGB32, 0xFFFF0000u);
    AdjustCMYKOffset(red, nullptr, nullptr, none.data(), nullptr, nullptr, nullptr);
    EXPECT_EQ(pixelWord(red, 0, 0), 0xFFFFFF00u);

    QImageEx grey = imageOf(1, 1, QImage::Format_Grayscale8, {77});
    EXPECT_TRUE(AdjustCMYKOffset(grey, nullptr, full.data(), full.data(), full.data(), full.data(), nullptr));
    EXPECT_EQ(grey.format(), QImage::Format_Grayscale8);
    EXPECT_EQ(grey.constScanLine(0)[0], 77);
}

TEST(Levels, RejectedGammaIdentityAndInvertedOutput) {
    for (int slot = 0; slot < 5; ++slot) {
        ColorLevelsConfig c = identityLevels();
        c.gamma[slot] = 0.0009;
        float table[4][256] = {{42}};
        EXPECT_FALSE(color_levels_process(table, &c));
        EXPECT_EQ(table[0][0], 42);
    }
    float table[4][256];
    EXPECT_FALSE(color_levels_process(table, nullptr));

    const QImage original = randomImage(17, 5, QImage::Format_ARGB32);
    QImageEx image = original;
    ColorLevelsConfig c = identityLevels();
    ASSERT_TRUE(vqDoColorLevel(image, nullptr, &c));
    ASSERT_TRUE(vqDoColorLevelCMYK(image, nullptr, &c));
    EXPECT_TRUE(sameBytes(image, original));

    c.outputBlack[1] = 1;  // red: output black 1, white 0
    c.outputWhite[1] = 0;
    ASSERT_TRUE(color_levels_process(table, &c));
    for (int i = 0; i < 256; ++i)
        EXPECT_NEAR(table[0][i], 1 - i / 255.0, 1e-6);
    QImageEx ends = imageOf(2, 1, QImage::Format_RGB32, {0xFF000000u, 0xFFFFFFFFu});
    ASSERT_TRUE(vqDoColorLevel(ends, nullptr, &c));
    EXPECT_EQ(wordsOf(ends), (std::vector<uint32_t>{0xFFFF0000u, 0xFF00FFFFu}));

    // Input black at half: the lower half of red collapses to 0, 255 stays.
    c = identityLevels();
    c.inputBlack[1] = 0.5;
    QImageEx halves = imageOf(2, 1, QImage::Format_RGB32, {0xFF7F7F7Fu, 0xFFFFFFFFu});
    ASSERT_TRUE(vqDoColorLevel(halves, nullptr, &c));
    EXPECT_EQ(wordsOf(halves), (std::vector<uint32_t>{0xFF007F7Fu, 0xFFFFFFFFu}));
    EXPECT_FALSE(vqDoColorLevel(halves, nullptr, nullptr));
}

TEST(AutoLevel, StretchesEachChannelAndConvertsOtherFormats) {
    // One full bin: input black and white both land on it, so it maps to 0.
    QImageEx uniform = filled(8, 8, QImage::Format_ARGB32, 0x806496C8u);
    EXPECT_EQ(ThAutoLevel(uniform), 0);
    EXPECT_EQ(pixelWord(uniform, 3, 3), 0x80000000u);

    // A grey ramp 60..187 becomes ARGB32 spanning the full range.
    QImageEx ramp(QImage(128, 4, QImage::Format_Grayscale8));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 128; ++x)
            ramp.scanLine(y)[x] = static_cast<uint8_t>(60 + x);
    const int mean = ThAutoLevel(ramp);
    ASSERT_EQ(ramp.format(), QImage::Format_ARGB32);
    EXPECT_EQ(pixelWord(ramp, 0, 0) & 0xFF, 0u);
    EXPECT_EQ(pixelWord(ramp, 127, 0) & 0xFF, 255u);
    EXPECT_NEAR(mean, 127, 3);
}
