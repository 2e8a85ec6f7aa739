// BGR <-> CMYK row conversion of QImageEx.
#include <vqutil/qimageex.h>

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

namespace {

std::array<unsigned char, 4> toCmyk(unsigned char b, unsigned char g, unsigned char r) {
    unsigned char bgr[3] = {b, g, r};
    std::array<unsigned char, 4> cmyk{};
    QImageEx::BgrToCmyk(cmyk.data(), bgr, 1);
    return cmyk;
}

}  // namespace

TEST(Cmyk, EveryColourSurvivesTheRoundTrip) {
    // One red level at a time: 65,536 pixels a call, all 16,777,216 colours.
    std::vector<unsigned char> bgr(3 * 65536), cmyk(4 * 65536), back(3 * 65536);
    for (int r = 0; r < 256; ++r) {
        for (int i = 0; i < 65536; ++i) {
            bgr[3 * i + 0] = static_cast<unsigned char>(i & 0xFF);
            bgr[3 * i + 1] = static_cast<unsigned char>(i >> 8);
            bgr[3 * i + 2] = static_cast<unsigned char>(r);
        }
        QImageEx::BgrToCmyk(cmyk.data(), bgr.data(), 65536);
        QImageEx::CmykToBgr(back.data(), cmyk.data(), 65536);
        ASSERT_EQ(bgr, back) << "red " << r;
    }
}

TEST(Cmyk, KnownColours) {
    using Q = std::array<unsigned char, 4>;
    EXPECT_EQ(toCmyk(255, 255, 255), (Q{0, 0, 0, 0}));      // white: no ink
    EXPECT_EQ(toCmyk(0, 0, 0), (Q{0, 0, 0, 255}));          // black: all key
    EXPECT_EQ(toCmyk(0, 0, 255), (Q{0, 255, 255, 0}));      // red: magenta + yellow
    EXPECT_EQ(toCmyk(255, 0, 0), (Q{255, 255, 0, 0}));      // blue: cyan + magenta
    EXPECT_EQ(toCmyk(128, 128, 128), (Q{0, 0, 0, 127}));    // grey: key only
    // Dark orange R 100, G 50, B 0: max 100, M = 255 * 50 / 100 = 127.5 rounds up.
    EXPECT_EQ(toCmyk(0, 50, 100), (Q{0, 128, 255, 155}));
}

TEST(Cmyk, AnyInkGivesAColourNoBrighterThanItsKey) {
    std::mt19937 rng(7);
    for (int i = 0; i < 100000; ++i) {
        unsigned char cmyk[4], bgr[3];
        for (unsigned char& v : cmyk)
            v = static_cast<unsigned char>(rng());
        QImageEx::CmykToBgr(bgr, cmyk, 1);
        const int brightest = 255 - cmyk[3];
        ASSERT_LE(bgr[0], brightest);
        ASSERT_LE(bgr[1], brightest);
        ASSERT_LE(bgr[2], brightest);
        // More ink never gives a lighter channel.
        if (cmyk[0] < 255) {
            unsigned char more[4] = {static_cast<unsigned char>(cmyk[0] + 1), cmyk[1], cmyk[2], cmyk[3]};
            unsigned char darker[3];
            QImageEx::CmykToBgr(darker, more, 1);
            ASSERT_LE(darker[2], bgr[2]);
        }
    }
}

TEST(Cmyk, ConvertsBackInPlace) {
    // A caller may reuse the CMYK row as the BGR output.
    unsigned char buffer[8] = {0, 128, 255, 155, 0, 0, 0, 255};
    QImageEx::CmykToBgr(buffer, buffer, 2);
    EXPECT_EQ(buffer[0], 0);
    EXPECT_EQ(buffer[1], 50);
    EXPECT_EQ(buffer[2], 100);
    EXPECT_EQ(buffer[3], 0);
    EXPECT_EQ(buffer[4], 0);
    EXPECT_EQ(buffer[5], 0);
}

TEST(Cmyk, NullRowsAndZeroCountAreIgnored) {
    unsigned char bgr[3] = {1, 2, 3};
    unsigned char cmyk[4] = {9, 9, 9, 9};
    QImageEx::BgrToCmyk(nullptr, bgr, 1);
    QImageEx::BgrToCmyk(cmyk, nullptr, 1);
    QImageEx::CmykToBgr(nullptr, cmyk, 1);
    QImageEx::BgrToCmyk(cmyk, bgr, 0);
    EXPECT_EQ(cmyk[0], 9);
}
