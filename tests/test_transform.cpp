// Scaling, rotation, padding and mirroring of whole images.
#include <vqutil/transform.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <cmath>

using vqtest::filled;
using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

int at(const QImage& image, int x, int y) { return image.constScanLine(y)[x]; }

}  // namespace

TEST(ScaleRotate, NoTurnAndNoScaleCopiesTheBytes) {
    const QImage grey = randomImage(7, 5, QImage::Format_Grayscale8);
    QImageEx out;
    ASSERT_TRUE(scaleRotateImage(out, grey, 7, 5, 0.0, 9));
    EXPECT_EQ(out.format(), QImage::Format_Grayscale8);
    EXPECT_TRUE(sameBytes(out, grey));

    // Whatever the depth, the output takes byte sx of source row sy.
    const QImage argb = randomImage(6, 3, QImage::Format_ARGB32);
    ASSERT_TRUE(scaleRotateImage(out, argb, 6, 3, 0.0, 9));
    ASSERT_EQ(out.size(), QSize(6, 3));
    for (int y = 0; y < 3; ++y)
        EXPECT_EQ(vqtest::rowOf(out, y), vqtest::rowOf(argb, y, 0, 6));
}

TEST(ScaleRotate, ScalingSamplesTheNearestPixelBelow) {
    const QImage src = vqtest::imageOf(4, 2, QImage::Format_Grayscale8, {1, 2, 3, 4, 5, 6, 7, 8});
    QImageEx out;
    ASSERT_TRUE(scaleRotateImage(out, src, 8, 4, 0.0, 0));
    ASSERT_EQ(out.size(), QSize(8, 4));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 8; ++x)
            EXPECT_EQ(at(out, x, y), at(src, x / 2, y / 2)) << x << "," << y;
}

// The output pixel straight from the rule, with x', y' counted from the centre.
int ruleSample(const QImage& src, int w, int h, double angle, int fill, int W, int H, int i, int j) {
    const double s = std::sin(angle), c = std::cos(angle);
    const int sw = src.width(), sh = src.height();
    const int x = i - (W >> 1), y = j - (H >> 1);
    const int sx = static_cast<int>(x * c * sw / w + (sw >> 1) - y * s * sh / h);
    const int sy = static_cast<int>(x * s * sw / w + y * c * sh / h + (sh >> 1));
    return sx >= 0 && sx <= sw - 1 && sy >= 0 && sy <= sh - 1 ? at(src, sx, sy) : fill;
}

TEST(ScaleRotate, TurnsFollowTheRuleAndAQuarterTurnSwapsTheSides) {
    const QImage src = randomImage(6, 4, QImage::Format_Grayscale8);
    for (double angle : {M_PI / 2, 0.3, -2.0, M_PI}) {
        for (QSize size : {QSize(6, 4), QSize(9, 5)}) {
            QImageEx out;
            ASSERT_TRUE(scaleRotateImage(out, src, size.width(), size.height(), angle, 77));
            const int W = static_cast<int>(size.height() * std::fabs(std::sin(angle)) +
                                           size.width() * std::fabs(std::cos(angle)));
            const int H = static_cast<int>(size.height() * std::fabs(std::cos(angle)) +
                                           size.width() * std::fabs(std::sin(angle)));
            ASSERT_EQ(out.size(), QSize(W, H));
            for (int j = 0; j < H; ++j)
                for (int i = 0; i < W; ++i)
                    ASSERT_EQ(at(out, i, j), ruleSample(src, size.width(), size.height(), angle, 77, W, H, i, j))
                        << angle << " at " << i << "," << j;
        }
    }
    QImageEx quarter;
    ASSERT_TRUE(scaleRotateImage(quarter, src, 6, 4, M_PI / 2, 77));
    EXPECT_EQ(quarter.size(), QSize(4, 6));
}

TEST(ScaleRotate, OneBitSourcesAreBitAddressed) {
    QImage mono(8, 1, QImage::Format_Mono);
    mono.scanLine(0)[0] = 0xB2;
    QImageEx out;
    ASSERT_TRUE(scaleRotateImage(out, mono, 8, 1, 0.0, 255));
    ASSERT_EQ(out.size(), QSize(8, 1));
    EXPECT_EQ(vqtest::rowOf(out, 0), (std::vector<int>{0xB2, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(ScaleRotate, RefusesWhatItCannotDo) {
    QImageEx out = filled(2, 2, QImage::Format_Grayscale8, 5);
    EXPECT_FALSE(scaleRotateImage(out, QImageEx(), 4, 4, 0.3, 0));
    EXPECT_FALSE(scaleRotateImage(out, filled(4, 4, QImage::Format_Grayscale8, 0), 0, 0, 0.0, 0));
    EXPECT_FALSE(scaleRotateImage(out, filled(4, 4, QImage::Format_Grayscale8, 0), 4, 4, NAN, 0));
    EXPECT_EQ(out.size(), QSize(2, 2));
    // A zero height with a turn divides by zero: every pixel falls outside.
    ASSERT_TRUE(scaleRotateImage(out, filled(4, 4, QImage::Format_Grayscale8, 0), 4, 0, M_PI / 4, 33));
    ASSERT_EQ(out.size(), QSize(2, 2));
    EXPECT_EQ(at(out, 0, 0), 33);
}

namespace {

// A 4 x 4 mask whose byte at (x, y) is 10 y + x.
QImageEx numberedMask() {
    QImageEx mask = filled(4, 4, QImage::Format_Grayscale8, 0);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            mask.scanLine(y)[x] = static_cast<uint8_t>(10 * y + x);
    return mask;
}

}  // namespace

TEST(SelectionFastScale, ScalesTheMaskIntoTheView) {
    QImageEx src = numberedMask();
    QImageEx dst = filled(8, 8, QImage::Format_Grayscale8, 7);
    QRect srcRect(0, 0, 4, 4), dstRect(0, 0, 8, 8), clip;
    QSizeF scale(2, 2);
    QSize canvas(8, 8);
    ASSERT_TRUE(selection_fast_scale(dst, QSize(8, 8), src, srcRect, dstRect, scale, canvas, clip));
    EXPECT_EQ(clip, QRect(0, 0, 8, 8)) << "an empty clip is the whole canvas";
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c)
            EXPECT_EQ(at(dst, c, r), 10 * (r / 2) + c / 2);
}

TEST(SelectionFastScale, LeavesTheViewOutsideTheMaskAlone) {
    QImageEx src = numberedMask();
    QImageEx dst = filled(8, 8, QImage::Format_Grayscale8, 7);
    QRect srcRect(0, 0, 4, 4), dstRect(2, 2, 4, 4), clip(0, 0, 8, 8);
    QSizeF scale(1, 1);
    QSize canvas(8, 8);
    ASSERT_TRUE(selection_fast_scale(dst, QSize(8, 8), src, srcRect, dstRect, scale, canvas, clip));
    for (int r = 0; r < 8; ++r)
        for (int c = 0; c < 8; ++c) {
            const bool inside = r >= 2 && r < 6 && c >= 2 && c < 6;
            EXPECT_EQ(at(dst, c, r), inside ? 10 * (r - 2) + (c - 2) : 7);
        }

    // A view half the size of the scaled mask skips every other pixel.
    QImageEx half = filled(4, 4, QImage::Format_Grayscale8, 7);
    QRect all(0, 0, 8, 8), none;
    QSizeF twice(2, 2);
    QSize small(4, 4);
    ASSERT_TRUE(selection_fast_scale(half, QSize(8, 8), src, srcRect, all, twice, small, none));
    EXPECT_TRUE(sameBytes(half, src));
}

TEST(SelectionFastScale, RefusesEmptyInputsAndStaysInsideHostileRectangles) {
    QImageEx src = numberedMask();
    QImageEx dst = filled(4, 4, QImage::Format_Grayscale8, 7), none;
    QRect srcRect(0, 0, 4, 4), dstRect(0, 0, 4, 4), clip;
    QSizeF scale(1, 1);
    QSize canvas(4, 4), flat(0, 4);
    EXPECT_FALSE(selection_fast_scale(dst, QSize(0, 0), src, srcRect, dstRect, scale, canvas, clip));
    EXPECT_FALSE(selection_fast_scale(none, QSize(4, 4), src, srcRect, dstRect, scale, canvas, clip));
    QRect clip2;
    EXPECT_FALSE(selection_fast_scale(dst, QSize(4, 4), src, srcRect, dstRect, scale, flat, clip2));

    // Source rectangles and scales that point outside the mask read nothing.
    QRect farSource(-100, 1000, 4, 4), hugeRect(-5, -5, 1 << 30, 1 << 30), clip3;
    QSizeF tiny(1e-9, 0.0);
    ASSERT_TRUE(selection_fast_scale(dst, QSize(1 << 30, 1 << 30), src, farSource, hugeRect, tiny, canvas, clip3));
    EXPECT_TRUE(sameBytes(dst, filled(4, 4, QImage::Format_Grayscale8, 7)));
}

TEST(EnlargeImage, PadsWithTheFillValue) {
    QImageEx grey = randomImage(3, 2, QImage::Format_Grayscale8);
    QImageEx out;
    ASSERT_TRUE(ThEnlargeImage(out, grey, 2, 7));
    ASSERT_EQ(out.size(), QSize(7, 6));
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 7; ++x) {
            const bool inside = x >= 2 && x < 5 && y >= 2 && y < 4;
            EXPECT_EQ(at(out, x, y), inside ? at(grey, x - 2, y - 2) : 7);
        }

    QImageEx argb = randomImage(2, 2, QImage::Format_ARGB32);
    ASSERT_TRUE(ThEnlargeImage(out, argb, 1, 200));
    EXPECT_EQ(vqtest::pixelWord(out, 0, 0), 200u) << "the fill is a pixel word";
    EXPECT_EQ(vqtest::pixelWord(out, 2, 2), vqtest::pixelWord(argb, 1, 1));

    ASSERT_TRUE(ThEnlargeImage(out, argb, 0, 0));
    EXPECT_TRUE(sameBytes(out, argb));
}

TEST(EnlargeImage, NegativePaddingCropsAndPalettesAreKept) {
    QImageEx indexed = randomImage(4, 4, QImage::Format_Indexed8);
    QImageEx out;
    ASSERT_TRUE(ThEnlargeImage(out, indexed, -1, 0));
    ASSERT_EQ(out.size(), QSize(2, 2));
    EXPECT_EQ(out.colorTable(), indexed.colorTable());
    EXPECT_EQ(at(out, 0, 0), at(indexed, 1, 1));
    EXPECT_EQ(at(out, 1, 1), at(indexed, 2, 2));
    QImageEx none;
    EXPECT_FALSE(ThEnlargeImage(out, none, 3, 0));
    EXPECT_FALSE(ThEnlargeImage(out, indexed, -2, 0)) << "nothing left";
}

TEST(ScaleAndMirror, WholeImageHelpersAndTheirHandleForms) {
    QImageEx img = randomImage(4, 4, QImage::Format_ARGB32);
    const QImageEx before = img.copy();
    EXPECT_TRUE(MirrorDib(img, 1));
    EXPECT_TRUE(MirrorDib(img, 0));
    EXPECT_TRUE(Scale8BitDib(img, 9, 9, true));
    EXPECT_TRUE(sameBytes(img, before)) << "mirroring and 8-bit scaling leave the image";

    EXPECT_TRUE(ScaleDibAll(img, 8, 2, false));
    EXPECT_EQ(img.size(), QSize(8, 2));

    CDib dib(before);
    EXPECT_TRUE(dib.Mirror(1));
    EXPECT_TRUE(sameBytes(dib.move(), before));
    EXPECT_TRUE(dib.Scale(2, 6, true));
    EXPECT_EQ(dib.move().size(), QSize(2, 6));
    EXPECT_TRUE(dib.ScaleAll(3, 3, false));
    EXPECT_EQ(dib.move().size(), QSize(3, 3));
}
