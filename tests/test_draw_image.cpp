// Placing images in rectangles of others, and block copies.
#include <vqutil/composite.h>

#include "test_support.h"

#include <gtest/gtest.h>

using vqtest::filled;
using vqtest::pixelWord;
using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

const QImage::Format kArgb = QImage::Format_ARGB32;
const QImage::Format kGrey = QImage::Format_Grayscale8;

// Draws a 1 x 1 source pixel onto a 1 x 1 destination pixel.
uint32_t drawPixel(uint32_t dst, uint32_t src, bool replace, bool keepMax, int channels, bool flatten = false,
                   bool grayFromBlue = false) {
    QImageEx d = filled(1, 1, kArgb, dst);
    EXPECT_TRUE(drawImageOnImage(d, QRect(0, 0, 1, 1), filled(1, 1, kArgb, src), QRect(), replace, keepMax, channels,
                                 flatten, grayFromBlue));
    return pixelWord(d, 0, 0);
}

// drawImageOnImage with the flags left at "replace whole pixels".
bool place(QImageEx& dst, const QRect& dstRect, const QImageEx& src, const QRect& srcRect = QRect(), bool replace = true,
           int channels = 15) {
    return drawImageOnImage(dst, dstRect, src, srcRect, replace, false, channels, false, false);
}

unsigned over(unsigned s, unsigned d, unsigned a) { return (s * a + d * (255 - a)) / 255; }

}  // namespace

TEST(DrawImageOnImage, BlendsSourceOverDestination) {
    EXPECT_EQ(drawPixel(0x00123456u, 0x40ABCDEFu, false, false, 15), 0x40ABCDEFu) << "transparent destination";

    const uint32_t d = 0xFF102030u, s = 0x80F0E0D0u;
    const uint32_t blended = drawPixel(d, s, false, false, 15);
    EXPECT_EQ(blended >> 24, 191u) << "(128 x 128 + 255 x 127) / 255";
    EXPECT_EQ(blended & 0xFFFFFFu, over(0xF0, 0x10, 128) << 16 | over(0xE0, 0x20, 128) << 8 | over(0xD0, 0x30, 128));
    EXPECT_EQ(drawPixel(d, s, false, true, 15) >> 24, 255u) << "keepMaxAlpha";
    EXPECT_EQ(drawPixel(0x40102030u, s, false, true, 15) >> 24, 128u);
    // Only green chosen: blue and red keep the destination.
    EXPECT_EQ(drawPixel(d, s, false, false, 2), 0xBF100030u | over(0xE0, 0x20, 128) << 8);
}

TEST(DrawImageOnImage, ReplacePaths) {
    const uint32_t d = 0x7F102030u, s = 0x80F0E0D0u;
    EXPECT_EQ(drawPixel(d, s, true, false, 15, true, true), s) << "whole pixels ignore the flattening flags";
    EXPECT_EQ(drawPixel(d, s, true, false, 1, false, true), 0x7FD0D0D0u) << "grey from blue";
    const unsigned flatBlue = 127 + 0xD0 * 128 / 255;
    EXPECT_EQ(drawPixel(d, s, true, false, 1, true, true), 0x7F000000u | flatBlue * 0x010101u);
    EXPECT_EQ(drawPixel(d, s, true, false, 4, false, false), 0x7FF02030u) << "red only";
    EXPECT_EQ(drawPixel(d, s, true, false, 4, true, false), 0x7F002030u | (0xF0 * 128 / 255 + 127) << 16);
}

TEST(DrawImageOnImage, GreySourcesAndDestinationFormats) {
    const QImageEx grey42 = filled(2, 1, kGrey, 0x42);
    QImageEx argb = filled(2, 1, kArgb, 0x00000000u);
    ASSERT_TRUE(place(argb, QRect(0, 0, 2, 1), grey42, QRect(), false, 1));
    EXPECT_EQ(pixelWord(argb, 1, 0), 0xFF424242u) << "grey into 32 bits: opaque grey, whatever the flags";
    QImageEx grey = filled(2, 1, kGrey, 0);
    ASSERT_TRUE(place(grey, QRect(0, 0, 2, 1), grey42, QRect(), false));
    EXPECT_EQ(grey.constScanLine(0)[1], 0x42);
    QImageEx bgr = filled(2, 1, QImage::Format_RGB888, 0);
    EXPECT_FALSE(place(bgr, QRect(0, 0, 2, 1), grey42, QRect(), false));

    QImageEx becomesArgb = filled(2, 1, kGrey, 9);
    ASSERT_TRUE(place(becomesArgb, QRect(0, 0, 1, 1), filled(1, 1, kArgb, 0xFF0000FFu)));
    EXPECT_EQ(becomesArgb.format(), kArgb);
    EXPECT_EQ(pixelWord(becomesArgb, 0, 0), 0xFF0000FFu);
    EXPECT_EQ(pixelWord(becomesArgb, 1, 0), 0xFF090909u);
}

TEST(DrawImageOnImage, ScalesSmoothlyIntoTheRectangle) {
    const QImageEx src = randomImage(3, 2, kArgb);
    QImageEx dst = filled(10, 10, kArgb, 0);
    ASSERT_TRUE(place(dst, QRect(2, 3, 6, 5), src));
    // Smooth scaling as Qt does it, in the source's own (straight alpha) format.
    const QImage expected =
        src.QImage::scaled(6, 5, Qt::IgnoreAspectRatio, Qt::SmoothTransformation).convertToFormat(kArgb);
    EXPECT_TRUE(sameBytes(dst.QImage::copy(2, 3, 6, 5), expected));
    EXPECT_EQ(pixelWord(dst, 1, 3), 0u);

    QImageEx part = filled(4, 4, kArgb, 0);
    ASSERT_TRUE(place(part, QRect(0, 0, 2, 2), src, QRect(1, 0, 2, 2)));
    EXPECT_EQ(pixelWord(part, 0, 0), pixelWord(src, 1, 0));
    EXPECT_EQ(pixelWord(part, 1, 1), pixelWord(src, 2, 1));
}

TEST(DrawImageOnImage, PartlyOutsideShrinksTheSourceByTheHeights) {
    // A 20 x 10 source into a 10 x 10 rectangle half left of the image:
    // the visible 5 columns take srcRect.height() x 5 / 10 = 5 source
    // columns from column 20 x 5 / 10 = 10 (not the 10 columns a width-based
    // rule would give).
    QImageEx src = filled(20, 10, kArgb, 0);
    for (int x = 0; x < 20; ++x)
        src.setPixel(x, 4, 0xFF000000u | static_cast<uint32_t>(x));
    QImageEx dst = filled(10, 10, kArgb, 0);
    ASSERT_TRUE(place(dst, QRect(-5, 0, 10, 10), src));
    for (int x = 0; x < 5; ++x)
        EXPECT_EQ(pixelWord(dst, x, 4), 0xFF000000u | static_cast<uint32_t>(10 + x)) << x;
    EXPECT_EQ(pixelWord(dst, 5, 4), 0u);
}

TEST(DrawImageOnImage, RefusesEmptyTargetsAndMissingSources) {
    QImageEx dst = randomImage(4, 4, kArgb);
    const QImageEx before = dst.copy();
    EXPECT_FALSE(place(dst, QRect(0, 0, 0, 3), before));
    EXPECT_FALSE(place(dst, QRect(0, 0, 2, 2), QImageEx()));
    EXPECT_FALSE(place(dst, QRect(100, 100, 5, 5), before));
    QImageEx untouched = before.copy();
    place(untouched, QRect(0, 0, 4, 4), before);
    EXPECT_TRUE(sameBytes(untouched, before));
}

TEST(ReplaceImageBlock, CopiesTheRectangleOfSameSizedImages) {
    const QImageEx src = randomImage(5, 4, kArgb, 1);
    const QImageEx original = randomImage(5, 4, kArgb, 2);
    QImageEx dst = original.copy();
    replaceImageBlock(dst, src, QRect(-2, -2, 4, 4));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x)
            EXPECT_EQ(pixelWord(dst, x, y), (x < 2 && y < 2 ? src : original).pixel(x, y) & 0xFFFFFFFFu);

    vqtest::DebugMessages log;
    QImageEx other = original.copy();
    replaceImageBlock(other, randomImage(6, 4, kArgb), QRect(0, 0, 5, 4));
    EXPECT_TRUE(log.messages().isEmpty()) << "another size: silently nothing";
    replaceImageBlock(other, randomImage(5, 4, kGrey), QRect(0, 0, 5, 4));
    EXPECT_TRUE(sameBytes(other, original));
    ASSERT_EQ(log.messages().size(), 1);
    EXPECT_EQ(log.messages()[0], "QImageEx::mergerImage error,channels != dst_channels");
}

// Every rectangle-taking function of the family, every pairing of the
// formats it may meet, and rectangles that are negative, huge or partly
// outside: nothing may be read or written outside an image (the sanitizer
// build checks), and nothing may crash.
TEST(CompositeRobustness, HostileRectanglesAndFormatPairings) {
    const QImage::Format formats[] = {QImage::Format_Mono, QImage::Format_Indexed8, kGrey,
                                      QImage::Format_RGB16, QImage::Format_RGB888, kArgb};
    const QRect rects[] = {QRect(-5, -5, 3, 3),       QRect(-100, -100, 1000, 1000), QRect(6, 6, 40, 40),
                           QRect(2, 3, -4, -4),       QRect(1 << 28, 0, 5, 5),       QRect(0, 0, 0, 0),
                           QRect(-(1 << 20), 1, 1 << 21, 2), QRect(INT_MAX - 60, 0, 50, 3), QRect(-3, -3, 4, 4)};
    QSizeF scales[] = {QSizeF(1, 1), QSizeF(0.25, 3), QSizeF(0, 0)};
    vqtest::DebugMessages quiet;
    for (QImage::Format df : formats)
        for (QImage::Format sf : formats) {
            const QImageEx src = randomImage(7, 5, sf, 1);
            const QImageEx small = randomImage(3, 2, sf, 2);
            const QImageEx mask = randomImage(5, 4, kGrey, 3);
            for (const QRect& r : rects) {
                QImageEx d = randomImage(8, 6, df, 4);
                for (int mode = 1; mode <= 5; ++mode)
                    combineImage(d, mask, r, mode);
                combineImage(d, &mask, small, r);
                combineImage(d, &mask, small, QRect(r.topLeft(), small.size()));
                for (QSizeF& s : scales)
                    combineImageEx(d, r, src, &mask, r, s);
                combineImageByAlpha(d, src, mask, false, r, true);
                combineChannelAlpha(d, src, mask, r, 7, r.x() & 1);
                drawImageOnImage(d, r, src, r, r.y() & 1, true, 5, true, false);
                replaceImageBlock(d, src, r);
                QImageEx data = randomImage(8, 6, df, 5);
                QImageEx other = src;
                combineImageData(data, other, 1 + (r.width() & 3));
                combineSelectionData(data, src, QTransform::fromTranslate(r.x(), r.y()), 1);
            }
        }
}
