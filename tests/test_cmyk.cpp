// BGR <-> CMYK row conversion of QImageEx.
#include <vqutil/qimageex.h>

#include <gtest/gtest.h>

#include <array>
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

TEST(Cmyk, AnyInkFollowsTheInverseRule) {
    // R = (255 - K) - round(C (255 - K) / 255), likewise G from M and B from Y
    // (never a tie). M and Y run through bijections of C: every (ink, K) pair.
    const auto channel = [](int ink, int k) { return (255 - k) - (2 * ink * (255 - k) + 255) / 510; };
    for (int c = 0; c < 256; ++c)
        for (int k = 0; k < 256; ++k) {
            const int m = (c + 85) & 255, y = (c * 7) & 255;
            unsigned char cmyk[4] = {uint8_t(c), uint8_t(m), uint8_t(y), uint8_t(k)}, bgr[3];
            QImageEx::CmykToBgr(bgr, cmyk, 1);
            ASSERT_EQ(std::vector<int>(bgr, bgr + 3), (std::vector<int>{channel(y, k), channel(m, k), channel(c, k)}))
                << c << " " << m << " " << y << " " << k;
        }
}

TEST(Cmyk, ConvertsBackInPlaceAndIgnoresNullRows) {
    // A caller may reuse the CMYK row as the BGR output.
    unsigned char buffer[8] = {0, 128, 255, 155, 0, 0, 0, 255};
    QImageEx::CmykToBgr(buffer, buffer, 2);
    EXPECT_EQ(std::vector<int>(buffer, buffer + 6), (std::vector<int>{0, 50, 100, 0, 0, 0}));

    unsigned char bgr[3] = {1, 2, 3}, cmyk[4] = {9, 9, 9, 9};
    QImageEx::BgrToCmyk(nullptr, bgr, 1);
    QImageEx::BgrToCmyk(cmyk, nullptr, 1);
    QImageEx::CmykToBgr(nullptr, cmyk, 1);
    QImageEx::BgrToCmyk(cmyk, bgr, 0);
    EXPECT_EQ(cmyk[0], 9);
}
