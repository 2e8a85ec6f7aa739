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

// (d x m + s x (255 - m)) / 255 on every byte of two words.
uint32_t weighted(uint32_t d, uint32_t s, unsigned m) {
    uint32_t out = 0;
    for (int b = 0; b < 4; ++b) {
        const unsigned dv = (d >> (8 * b)) & 0xFF, sv = (s >> (8 * b)) & 0xFF;
        out |= ((dv * m + sv * (255 - m)) / 255) << (8 * b);
    }
    return out;
}


}  // namespace

TEST(CombineImageEx, MaskByteIsTheWeightOfTheDestination) {
    const uint32_t d = 0x10203040u, s = 0xF0E0D0C0u;
    QImageEx dst = filled(4, 1, kArgb, d);
    const QImageEx src = filled(4, 1, kArgb, s);
    const QImageEx mask = imageOf(4, 1, kGrey, {255, 0, 128, 10});
    QSizeF scale(1, 1);
    combineImageEx(dst, QRect(0, 0, 4, 1), src, &mask, QRect(0, 0, 4, 1), scale);
    EXPECT_EQ(pixelWord(dst, 0, 0), d);
    EXPECT_EQ(pixelWord(dst, 1, 0), s);
    EXPECT_EQ(pixelWord(dst, 2, 0), weighted(d, s, 128));  // alpha byte included
    EXPECT_EQ(pixelWord(dst, 3, 0), weighted(d, s, 10));
}

TEST(CombineImageEx, FourBytePixelsScaleTheMaskThreeBytePixelsDoNot) {
    // Mask row 1 has a single 0 at column 1; every other byte keeps the destination.
    QImageEx mask = filled(6, 4, kGrey, 255);
    mask.scanLine(1)[1] = 0;
    QSizeF scale(2, 2);
    const QRect maskRect(0, 1, 6, 3);

    QImageEx argb = filled(4, 2, kArgb, 0x11111111u);
    combineImageEx(argb, QRect(0, 0, 4, 2), filled(4, 2, kArgb, 0x99999999u), &mask, maskRect, scale);
    // Pixel (i, j) reads mask (0 + i / 2, 1 + j / 2): the 0 serves i = 2, 3 of both rows.
    for (int j = 0; j < 2; ++j)
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(pixelWord(argb, i, j), i >= 2 ? 0x99999999u : 0x11111111u) << i << "," << j;

    QImageEx bgr = filled(4, 2, QImage::Format_RGB888, 0);
    bgr.fill(QColor(0x11, 0x11, 0x11));
    QImageEx bgrSource = filled(4, 2, QImage::Format_RGB888, 0);
    bgrSource.fill(QColor(0x99, 0x99, 0x99));
    combineImageEx(bgr, QRect(0, 0, 4, 2), bgrSource, &mask, maskRect, scale);
    // 3-byte pixels read mask column i itself (on the same scaled row).
    for (int j = 0; j < 2; ++j)
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(bgr.constScanLine(j)[3 * i + 1], i == 1 ? 0x99 : 0x11) << i << "," << j;
}

TEST(CombineImageEx, ScalesAndConvertsTheSourceToFit) {
    QImageEx dst = filled(4, 4, kGrey, 10);
    const QImageEx zero = filled(4, 4, kGrey, 0);
    QSizeF scale(1, 1);
    // A 2 x 2 ARGB source becomes a 4 x 4 grey one (nearest pixel), taken whole by a zero mask.
    combineImageEx(dst, QRect(0, 0, 4, 4), filled(2, 2, kArgb, 0xFFFFFFFFu), &zero, QRect(0, 0, 4, 4), scale);
    EXPECT_TRUE(sameBytes(dst, filled(4, 4, kGrey, 255)));

    // No mask takes the source everywhere; a 1-bit destination becomes ARGB32.
    QImageEx mono(QImage(8, 2, QImage::Format_Mono));
    mono.fill(0u);
    combineImageEx(mono, QRect(0, 0, 8, 2), filled(8, 2, kArgb, 0x12345678u), nullptr, QRect(), scale);
    EXPECT_EQ(mono.format(), kArgb);
    EXPECT_EQ(pixelWord(mono, 7, 1), 0x12345678u);
}

TEST(CombineImageEx, StaysInsideTheImagesAndTheMask) {
    QImageEx dst = randomImage(5, 5, kArgb);
    const QImageEx before = dst.copy();
    const QImageEx mask = filled(2, 2, kGrey, 0);
    QSizeF scale(1, 1), zero(0, 0);
    // Partly outside the destination: only the visible part changes.
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
    const QRect all(0, 0, 2, 1);
    const auto run = [&](bool ignoreSourceAlpha, bool invert) {
        QImageEx dst;
        EXPECT_TRUE(combineImageByAlpha(dst, src, alpha, ignoreSourceAlpha, all, invert));
        EXPECT_EQ(dst.format(), kArgb);
        return std::vector<uint32_t>{pixelWord(dst, 0, 0), pixelWord(dst, 1, 0)};
    };
    EXPECT_EQ(run(false, false), (std::vector<uint32_t>{0x80102030u, 0x64405060u}));  // 128 x 255 / 255, 255 x 100 / 255
    EXPECT_EQ(run(true, false), (std::vector<uint32_t>{0xFF102030u, 0x64405060u}));
    EXPECT_EQ(run(false, true), (std::vector<uint32_t>{0x00102030u, 0x9B405060u}));  // 255 - m
}

TEST(CombineImageByAlpha, ShallowSourcesWriteWhatTheyHave) {
    const QImageEx alpha = imageOf(2, 1, kGrey, {50, 60});
    QImageEx dst = filled(2, 1, kArgb, 0xAABBCCDDu);
    ASSERT_TRUE(combineImageByAlpha(dst, imageOf(2, 1, kGrey, {7, 8}), alpha, false, QRect(0, 0, 2, 1), false));
    EXPECT_EQ(pixelWord(dst, 0, 0), 0x32BBCC07u) << "grey: byte 0 only, alpha = m";

    QImageEx bgr = filled(2, 1, QImage::Format_RGB888, 0);
    std::memcpy(bgr.scanLine(0), "\x01\x02\x03\x04\x05\x06", 6);
    ASSERT_TRUE(combineImageByAlpha(dst, bgr, alpha, false, QRect(0, 0, 2, 1), false));
    EXPECT_EQ(pixelWord(dst, 1, 0), 0x3C060504u);

    QImageEx indexed = imageOf(2, 1, QImage::Format_Indexed8, {1, 0});
    indexed.setColorTable({0xFF0000FFu, 0x80FF0000u});
    ASSERT_TRUE(combineImageByAlpha(dst, indexed, alpha, false, QRect(0, 0, 2, 1), false));
    EXPECT_EQ(pixelWord(dst, 0, 0), 0x19FF0000u) << "128 x 50 / 255 = 25";
    EXPECT_EQ(pixelWord(dst, 1, 0), 0x3C0000FFu);

    QImageEx mono(QImage(2, 1, QImage::Format_Mono));
    mono.setColorTable({});
    mono.scanLine(0)[0] = 0x80;
    ASSERT_TRUE(combineImageByAlpha(dst, mono, alpha, true, QRect(0, 0, 2, 1), false));
    EXPECT_EQ(pixelWord(dst, 0, 0), 0x32FFFFFFu) << "set bit without a palette: white";
    EXPECT_EQ(pixelWord(dst, 1, 0), 0x3C000000u);
}

TEST(CombineImageByAlpha, ThirtyTwoBitAlphaIsReadWithAStrideOfFive) {
    // Alpha bytes at 5 x: x = 0 reads byte 0, x = 1 byte 5, x = 2 byte 10, and
    // x = 4 byte 20, which is the first byte of the next row.
    QImageEx alpha = filled(5, 2, kArgb, 0);
    for (int i = 0; i < 20; ++i) {
        alpha.scanLine(0)[i] = static_cast<uint8_t>(i);
        alpha.scanLine(1)[i] = static_cast<uint8_t>(100 + i);
    }
    const QImageEx src = filled(5, 2, kArgb, 0xFF000000u);
    QImageEx dst = filled(5, 2, kArgb, 0x12345678u);
    ASSERT_TRUE(combineImageByAlpha(dst, src, alpha, true, QRect(0, 0, 5, 2), true));  // invert ignored
    EXPECT_EQ(pixelWord(dst, 0, 0) >> 24, 0u);
    EXPECT_EQ(pixelWord(dst, 1, 0) >> 24, 5u);
    EXPECT_EQ(pixelWord(dst, 2, 0) >> 24, 10u);
    EXPECT_EQ(pixelWord(dst, 4, 0) >> 24, 100u);
    EXPECT_EQ(pixelWord(dst, 3, 1) >> 24, 115u);
    EXPECT_EQ(pixelWord(dst, 4, 1), 0x12345678u) << "a read past the image skips the pixel";
}

TEST(CombineImageByAlpha, FitsTheAlphaOnlyWhenTheRectCoversTheSource) {
    const QImageEx src = filled(3, 2, kArgb, 0xFF000000u);
    QImageEx dst;
    ASSERT_TRUE(combineImageByAlpha(dst, src, filled(1, 1, kGrey, 77), true, QRect(0, 0, 3, 2), false));
    EXPECT_EQ(pixelWord(dst, 2, 1) >> 24, 77u) << "alpha scaled smoothly to the source";
    EXPECT_FALSE(combineImageByAlpha(dst, src, filled(1, 1, kGrey, 77), true, QRect(0, 0, 2, 2), false));
    EXPECT_FALSE(combineImageByAlpha(dst, src, QImageEx(), true, QRect(0, 0, 3, 2), false));

    QImageEx clipped = filled(3, 2, kArgb, 0u);
    ASSERT_TRUE(combineImageByAlpha(clipped, src, filled(3, 2, kGrey, 9), true, QRect(2, 1, 50, 50), false));
    EXPECT_EQ(pixelWord(clipped, 2, 1), 0x09000000u);
    EXPECT_EQ(pixelWord(clipped, 1, 1), 0u);
}

TEST(CombineChannelAlpha, BlendsOrFlattensTheChosenChannels) {
    const uint32_t d = 0xFF102030u, s = 0xFFF0E0D0u;
    const unsigned a = 100;
    const QImageEx src = filled(2, 1, kArgb, s);
    const QImageEx alpha = filled(2, 1, kGrey, a);

    QImageEx blended = filled(2, 1, kArgb, d);
    combineChannelAlpha(blended, src, alpha, QRect(0, 0, 2, 1), 1 | 4, true);
    const uint32_t expectedBlend = (a << 24) | ((0xF0 * a + 0x10 * (255 - a)) / 255) << 16 | 0x20u << 8 |
                                   ((0xD0 * a + 0x30 * (255 - a)) / 255);
    EXPECT_EQ(pixelWord(blended, 1, 0), expectedBlend);

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
    EXPECT_EQ(pixelWord(dst, 1, 0), 0xFF000000u | 50u << 16 | 40u << 8 | 30u) << "bytes 3-5";
    EXPECT_EQ(pixelWord(dst, 2, 0), 0xFF000000u | 90u << 16 | 80u << 8 | 70u) << "bytes 7-9";
    EXPECT_EQ(pixelWord(dst, 3, 0), 0u) << "bytes 11-13 run past the row";
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
