// Copies through weights and alpha: combineImageEx, combineImageByAlpha and
// combineChannelAlpha.
#include <vqutil/composite.h>

#include "test_support.h"

#include <gtest/gtest.h>

using vqtest::filled;
using vqtest::imageOf;
using vqtest::pixelWord;
using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

const QImage::Format kGrey = QImage::Format_Grayscale8;
const QImage::Format kArgb = QImage::Format_ARGB32;
using Words = std::vector<uint32_t>;

// (d x m + s x (255 - m)) / 255 on every byte of two words.
uint32_t weighted(uint32_t d, uint32_t s, unsigned m) {
    uint32_t out = 0;
    for (int b = 0; b < 4; ++b) {
        const unsigned dv = (d >> (8 * b)) & 0xFF, sv = (s >> (8 * b)) & 0xFF;
        out |= ((dv * m + sv * (255 - m)) / 255) << (8 * b);
    }
    return out;
}

Words wordsOf(const QImage& image, int y = 0) {
    Words words;
    for (int x = 0; x < image.width(); ++x)
        words.push_back(pixelWord(image, x, y));
    return words;
}

}  // namespace

TEST(CombineImageEx, MaskByteIsTheWeightOfTheDestination) {
    const uint32_t d = 0x10203040u, s = 0xF0E0D0C0u;
    QImageEx dst = filled(4, 1, kArgb, d);
    const QImageEx mask = imageOf(4, 1, kGrey, {255, 0, 128, 10});
    QSizeF scale(1, 1);
    combineImageEx(dst, QRect(0, 0, 4, 1), filled(4, 1, kArgb, s), &mask, QRect(0, 0, 4, 1), scale);
    EXPECT_EQ(wordsOf(dst), (Words{d, s, weighted(d, s, 128), weighted(d, s, 10)}));  // alpha byte included
}

TEST(CombineImageEx, FourBytePixelsScaleTheMaskThreeBytePixelsDoNot) {
    // Mask row 1 has a single 0 at column 1; every other byte keeps the destination.
    QImageEx mask = filled(6, 4, kGrey, 255);
    mask.scanLine(1)[1] = 0;
    QSizeF scale(2, 2);
    const QRect maskRect(0, 1, 6, 3);

    // Pixel (i, j) reads mask (0 + i / 2, 1 + j / 2): the 0 serves i = 2, 3 of both rows.
    QImageEx argb = filled(4, 2, kArgb, 0x11111111u);
    combineImageEx(argb, QRect(0, 0, 4, 2), filled(4, 2, kArgb, 0x99999999u), &mask, maskRect, scale);
    const Words twoRight{0x11111111u, 0x11111111u, 0x99999999u, 0x99999999u};
    EXPECT_EQ(wordsOf(argb, 0), twoRight);
    EXPECT_EQ(wordsOf(argb, 1), twoRight);

    // 3-byte pixels read mask column i itself (on the same scaled row).
    QImageEx bgr = filled(4, 2, QImage::Format_RGB888, 0x111111u);
    combineImageEx(bgr, QRect(0, 0, 4, 2), filled(4, 2, QImage::Format_RGB888, 0x999999u), &mask, maskRect, scale);
    for (int j = 0; j < 2; ++j)
        EXPECT_EQ(vqtest::rowOf(bgr, j), (std::vector<int>{0x11, 0x11, 0x11, 0x99, 0x99, 0x99, 0x11, 0x11, 0x11,
                                                           0x11, 0x11, 0x11}));
}

TEST(CombineImageEx, ScalesAndConvertsTheSourceAndStaysInside) {
    QSizeF scale(1, 1), zero(0, 0);
    // A 2 x 2 ARGB source becomes a 4 x 4 grey one (nearest pixel), taken whole by a zero mask.
    QImageEx grey = filled(4, 4, kGrey, 10);
    const QImageEx zeros = filled(4, 4, kGrey, 0);
    combineImageEx(grey, QRect(0, 0, 4, 4), filled(2, 2, kArgb, 0xFFFFFFFFu), &zeros, QRect(0, 0, 4, 4), scale);
    EXPECT_TRUE(sameBytes(grey, filled(4, 4, kGrey, 255)));

    // No mask takes the source everywhere; a 1-bit destination becomes ARGB32.
    QImageEx mono(QImage(8, 2, QImage::Format_Mono));
    mono.fill(0u);
    combineImageEx(mono, QRect(0, 0, 8, 2), filled(8, 2, kArgb, 0x12345678u), nullptr, QRect(), scale);
    EXPECT_EQ(mono.format(), kArgb);
    EXPECT_EQ(pixelWord(mono, 7, 1), 0x12345678u);

    // Partly outside the destination: only the visible part changes.
    QImageEx dst = randomImage(5, 5, kArgb);
    const QImageEx before = dst.copy();
    const QImageEx mask = filled(2, 2, kGrey, 0);
    combineImageEx(dst, QRect(3, 3, 4, 4), filled(4, 4, kArgb, 0xABABABABu), &mask, QRect(0, 0, 2, 2), scale);
    EXPECT_EQ(pixelWord(dst, 4, 4), 0xABABABABu) << "mask (1, 1)";
    EXPECT_EQ(pixelWord(dst, 2, 2), pixelWord(before, 2, 2));
    // Mask rows and columns outside the mask keep the destination.
    QImageEx kept = before.copy();
    combineImageEx(kept, QRect(0, 0, 5, 5), filled(5, 5, kArgb, 0u), &mask, QRect(-100, 50, 2, 2), zero);
    EXPECT_TRUE(sameBytes(kept, before));
}

TEST(CombineImageByAlpha, ColoursFromTheSourceAlphaFromTheMask) {
    const QImageEx src = imageOf(2, 1, kArgb, {0x80102030u, 0xFF405060u});
    const QImageEx alpha = imageOf(2, 1, kGrey, {255, 100});
    const auto run = [&](bool ignoreSourceAlpha, bool invert) {
        QImageEx dst;
        EXPECT_TRUE(combineImageByAlpha(dst, src, alpha, ignoreSourceAlpha, QRect(0, 0, 2, 1), invert));
        EXPECT_EQ(dst.format(), kArgb);
        return wordsOf(dst);
    };
    EXPECT_EQ(run(false, false), (Words{0x80102030u, 0x64405060u}));  // 128 x 255 / 255, 255 x 100 / 255
    EXPECT_EQ(run(true, false), (Words{0xFF102030u, 0x64405060u}));
    EXPECT_EQ(run(false, true), (Words{0x00102030u, 0x9B405060u}));  // 255 - m
}

TEST(CombineImageByAlpha, ShallowSourcesWriteWhatTheyHave) {
    const QImageEx alpha = imageOf(2, 1, kGrey, {50, 60});
    const QRect all(0, 0, 2, 1);
    QImageEx dst = filled(2, 1, kArgb, 0xAABBCCDDu);
    ASSERT_TRUE(combineImageByAlpha(dst, imageOf(2, 1, kGrey, {7, 8}), alpha, false, all, false));
    EXPECT_EQ(pixelWord(dst, 0, 0), 0x32BBCC07u) << "grey: byte 0 only, alpha = m";

    QImageEx bgr = filled(2, 1, QImage::Format_RGB888, 0);
    std::memcpy(bgr.scanLine(0), "\x01\x02\x03\x04\x05\x06", 6);
    ASSERT_TRUE(combineImageByAlpha(dst, bgr, alpha, false, all, false));
    EXPECT_EQ(pixelWord(dst, 1, 0), 0x3C060504u);

    QImageEx indexed = imageOf(2, 1, QImage::Format_Indexed8, {1, 0});
    indexed.setColorTable({0xFF0000FFu, 0x80FF0000u});
    ASSERT_TRUE(combineImageByAlpha(dst, indexed, alpha, false, all, false));
    EXPECT_EQ(wordsOf(dst), (Words{0x19FF0000u, 0x3C0000FFu})) << "128 x 50 / 255 = 25";

    QImageEx mono(QImage(2, 1, QImage::Format_Mono));
    mono.setColorTable({});
    mono.scanLine(0)[0] = 0x80;
    ASSERT_TRUE(combineImageByAlpha(dst, mono, alpha, true, all, false));
    EXPECT_EQ(wordsOf(dst), (Words{0x32FFFFFFu, 0x3C000000u})) << "set bit without a palette: white";
}

TEST(CombineImageByAlpha, ThirtyTwoBitAlphaIsReadWithAStrideOfFive) {
    // Alpha bytes at 5 x: x = 4 reads byte 20, the first byte of the next row.
    QImageEx alpha = filled(5, 2, kArgb, 0);
    for (int i = 0; i < 20; ++i) {
        alpha.scanLine(0)[i] = static_cast<uint8_t>(i);
        alpha.scanLine(1)[i] = static_cast<uint8_t>(100 + i);
    }
    QImageEx dst = filled(5, 2, kArgb, 0x12345678u);
    ASSERT_TRUE(combineImageByAlpha(dst, filled(5, 2, kArgb, 0xFF000000u), alpha, true, QRect(0, 0, 5, 2), true));  // invert ignored
    EXPECT_EQ(wordsOf(dst, 0), (Words{0, 5u << 24, 10u << 24, 15u << 24, 100u << 24}));
    EXPECT_EQ(wordsOf(dst, 1), (Words{100u << 24, 105u << 24, 110u << 24, 115u << 24, 0x12345678u}))
        << "a read past the image skips the pixel";
}

TEST(CombineImageByAlpha, FitsTheAlphaOnlyWhenTheRectCoversTheSource) {
    const QImageEx src = filled(3, 2, kArgb, 0xFF000000u);
    const QImageEx one = filled(1, 1, kGrey, 77);
    QImageEx dst;
    ASSERT_TRUE(combineImageByAlpha(dst, src, one, true, QRect(0, 0, 3, 2), false));
    EXPECT_EQ(pixelWord(dst, 2, 1) >> 24, 77u) << "alpha scaled smoothly to the source";
    EXPECT_FALSE(combineImageByAlpha(dst, src, one, true, QRect(0, 0, 2, 2), false));
    EXPECT_FALSE(combineImageByAlpha(dst, src, QImageEx(), true, QRect(0, 0, 3, 2), false));

    QImageEx clipped = filled(3, 2, kArgb, 0u);
    ASSERT_TRUE(combineImageByAlpha(clipped, src, filled(3, 2, kGrey, 9), true, QRect(2, 1, 50, 50), false));
    EXPECT_EQ(wordsOf(clipped, 1), (Words{0, 0, 0x09000000u}));
}

TEST(CombineChannelAlpha, BlendsOrFlattensTheChosenChannels) {
    const uint32_t d = 0xFF102030u, s = 0xFFF0E0D0u;
    const unsigned a = 100;
    const QImageEx src = filled(2, 1, kArgb, s);
    const QImageEx alpha = filled(2, 1, kGrey, a);

    QImageEx blended = filled(2, 1, kArgb, d);
    combineChannelAlpha(blended, src, alpha, QRect(0, 0, 2, 1), 1 | 4, true);
    EXPECT_EQ(pixelWord(blended, 1, 0),
              (a << 24) | ((0xF0 * a + 0x10 * (255 - a)) / 255) << 16 | 0x20u << 8 | ((0xD0 * a + 0x30 * (255 - a)) / 255));

    QImageEx flat = filled(2, 1, kArgb, d);
    combineChannelAlpha(flat, src, alpha, QRect(0, 0, 2, 1), 2, false);
    EXPECT_EQ(pixelWord(flat, 0, 0), 0xFF100030u | ((0xE0 * a / 255 + 255 - a) << 8));
}

TEST(CombineChannelAlpha, ReadsAThreeByteSourceWithAFourByteStride) {
    QImageEx bgr = filled(4, 1, QImage::Format_RGB888, 0);
    for (int i = 0; i < 12; ++i)
        bgr.scanLine(0)[i] = static_cast<uint8_t>(10 * i);
    QImageEx dst = filled(4, 1, kArgb, 0u);
    combineChannelAlpha(dst, bgr, filled(4, 1, kGrey, 255), QRect(1, 0, 3, 1), 7, true);
    // Pixel 1 takes bytes 3-5, pixel 2 bytes 7-9; bytes 11-13 would run past the row.
    EXPECT_EQ(wordsOf(dst), (Words{0, 0xFF32281Eu, 0xFF5A5046u, 0}));
}

TEST(CombineChannelAlpha, ComplainsAboutOtherDepths) {
    vqtest::DebugMessages log;
    QImageEx dst = filled(2, 2, QImage::Format_RGB888, 0);
    combineChannelAlpha(dst, dst, filled(2, 2, kGrey, 9), QRect(0, 0, 2, 2), 7, true);
    QImageEx argb = filled(2, 2, kArgb, 5);
    combineChannelAlpha(argb, argb, filled(2, 2, kArgb, 9), QRect(0, 0, 2, 2), 7, true);
    EXPECT_EQ(pixelWord(argb, 0, 0), 5u);
    ASSERT_EQ(log.messages().size(), 2);
    EXPECT_EQ(log.messages()[0], "QImageEx::mergerImage error,channels != 1 || dst_channels !=4");
}
