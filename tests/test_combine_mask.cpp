// Selection-mask arithmetic: combineImage (by mode and through a mask),
// combineImageData and combineSelectionData.
#include <vqutil/composite.h>

#include "test_support.h"

#include <gtest/gtest.h>

using vqtest::filled;
using vqtest::imageOf;
using vqtest::randomImage;
using vqtest::rowOf;
using vqtest::sameBytes;

namespace {

using Bytes = std::vector<int>;
const QImage::Format kGrey = QImage::Format_Grayscale8;

QImageEx combined(QImageEx dst, const QImage& mask, const QRect& rect, int mode) {
    combineImage(dst, QImageEx(mask), rect, mode);
    return dst;
}

}  // namespace

TEST(CombineImageMode, TogglesAndMergesByteByByte) {
    const QImage mask = imageOf(4, 1, kGrey, {0, 200, 100, 130});
    const QImage dst = imageOf(4, 1, kGrey, {10, 10, 200, 100});
    const QRect rect(0, 0, 4, 1);
    EXPECT_EQ(rowOf(combined(dst, mask, rect, 1), 0), (Bytes{10, 202, 236, 230}));
    EXPECT_EQ(rowOf(combined(dst, mask, rect, 2), 0), (Bytes{0, 8, 64, 0}));
    EXPECT_EQ(rowOf(combined(dst, mask, rect, 3), 0), (Bytes{255, 10, 0, 100}));
    EXPECT_EQ(rowOf(combined(dst, mask, rect, 4), 0), (Bytes{255, 10, 200, 100}));
    EXPECT_EQ(rowOf(combined(dst, mask, rect, 5), 0), (Bytes{0, 200, 100, 130}));
    EXPECT_EQ(rowOf(combined(dst, mask, rect, 6), 0), rowOf(dst, 0)) << "unknown mode";
}

TEST(CombineImageMode, ModesOneToFourCountColumnsFromTheRowStart) {
    const QImage mask = imageOf(10, 1, kGrey, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    const QImage dst = filled(10, 1, kGrey, 16);
    const QRect shifted(5, 0, 10, 1);
    // x = 5 + i lies inside for i < 5: columns 0..4 of both rows are paired.
    EXPECT_EQ(rowOf(combined(dst, mask, shifted, 1), 0), (Bytes{17, 18, 19, 20, 21, 16, 16, 16, 16, 16}));
    // Mode 5 writes at x = 5 + i the mask byte at i x 10 / 10.
    EXPECT_EQ(rowOf(combined(dst, mask, shifted, 5), 0), (Bytes{16, 16, 16, 16, 16, 1, 2, 3, 4, 5}));
}

TEST(CombineImageMode, ModeFiveStretchesTheWholeMaskOverTheRect) {
    // 3 x 3 into 4 x 4: rows and columns 0, 0, 1, 2 (i x 3 / 4, truncated).
    const QImageEx out = combined(filled(6, 6, kGrey, 0), imageOf(3, 3, kGrey, {1, 2, 3, 4, 5, 6, 7, 8, 9}),
                                  QRect(1, 1, 4, 4), 5);
    EXPECT_TRUE(sameBytes(out, imageOf(6, 6, kGrey, {0, 0, 0, 0, 0, 0, 0, 1, 1, 2, 3, 0, 0, 1, 1, 2, 3, 0,  //
                                                     0, 4, 4, 5, 6, 0, 0, 7, 7, 8, 9, 0, 0, 0, 0, 0, 0, 0})));
    // Rows stretch the same way in modes 1-4: one mask row serves three.
    const QImageEx rows = combined(filled(2, 3, kGrey, 0), imageOf(2, 1, kGrey, {5, 6}), QRect(0, 0, 2, 3), 1);
    EXPECT_EQ(rowOf(rows, 2), (Bytes{5, 6}));
}

// Hostile rectangles for every mode: CompositeRobustness (test_draw_image.cpp).
TEST(CombineImageMode, IgnoresOtherMasksAndEmptyRects) {
    const QImage dst = randomImage(9, 7, kGrey);
    EXPECT_TRUE(sameBytes(combined(dst, filled(9, 7, QImage::Format_ARGB32, 0), QRect(0, 0, 9, 7), 1), dst));
    EXPECT_TRUE(sameBytes(combined(dst, randomImage(3, 2, kGrey), QRect(0, 0, 0, 0), 5), dst));
}

TEST(CombineImageMask, CopiesSourcePixelsWhereTheMaskIsZero) {
    for (QImage::Format format : {QImage::Format_ARGB32, QImage::Format_RGB888, kGrey}) {
        const QImage dst = randomImage(4, 3, format, 1);
        const QImage src = randomImage(2, 2, format, 2);
        QImageEx mask = filled(4, 3, kGrey, 255);
        mask.scanLine(1)[1] = 0;
        mask.scanLine(2)[2] = 0;
        mask.scanLine(2)[1] = 1;  // only exactly 0 lets the source through
        QImageEx out = dst;
        combineImage(out, &mask, QImageEx(src), QRect(1, 1, 2, 2));
        QImage expected = dst.copy();
        const int bpp = dst.depth() / 8;
        std::memcpy(expected.scanLine(1) + bpp, src.constScanLine(0), bpp);
        std::memcpy(expected.scanLine(2) + 2 * bpp, src.constScanLine(1) + bpp, bpp);
        EXPECT_TRUE(sameBytes(out, expected)) << format;
    }
}

TEST(CombineImageMask, DoesNothingOnMismatchAndClipsToTheImages) {
    const QImage dst = randomImage(4, 3, QImage::Format_ARGB32);
    const QImageEx zeros = filled(4, 3, kGrey, 0);
    QImageEx out = dst;
    combineImage(out, &zeros, QImageEx(randomImage(2, 2, QImage::Format_ARGB32)), QRect(0, 0, 3, 2));
    combineImage(out, nullptr, QImageEx(randomImage(2, 2, QImage::Format_ARGB32)), QRect(0, 0, 2, 2));
    EXPECT_TRUE(sameBytes(out, dst)) << "size mismatch or no mask";

    const QImage src = randomImage(3, 3, QImage::Format_ARGB32, 9);
    combineImage(out, &zeros, QImageEx(src), QRect(2, 1, 3, 3));  // reaches past the right and bottom
    EXPECT_EQ(vqtest::pixelWord(out, 3, 2), vqtest::pixelWord(src, 1, 1));
    EXPECT_EQ(vqtest::pixelWord(out, 1, 1), vqtest::pixelWord(dst, 1, 1));
    const QImageEx narrowMask = filled(1, 1, kGrey, 0);
    combineImage(out, &narrowMask, QImageEx(src), QRect(-1, -1, 3, 3));
    EXPECT_EQ(vqtest::pixelWord(out, 0, 0), vqtest::pixelWord(src, 1, 1));
}

TEST(CombineImageData, ArithmeticOfTwoMasks) {
    const QImage d = imageOf(4, 1, kGrey, {100, 100, 10, 150});
    const QImage s = imageOf(4, 1, kGrey, {100, 200, 250, 100});
    const auto run = [&](int mode) {
        QImageEx dst = d;
        QImageEx src = s;
        EXPECT_TRUE(combineImageData(dst, src, mode));
        return rowOf(dst, 0);
    };
    EXPECT_EQ(run(1), (Bytes{100, 200, 250, 150}));
    EXPECT_EQ(run(2), (Bytes{0, 45, 5, 0}));
    EXPECT_EQ(run(3), (Bytes{255, 155, 15, 205}));
    EXPECT_EQ(run(4), (Bytes{255, 155, 15, 255}));
    EXPECT_EQ(run(5), (Bytes{100, 200, 250, 100}));
    EXPECT_EQ(run(0), rowOf(d, 0));
}

TEST(CombineImageData, CreatesAMissingDestinationAndClipsToTheSource) {
    QImageEx src = randomImage(5, 4, kGrey);
    QImageEx dst;
    ASSERT_TRUE(combineImageData(dst, src, 2));  // 255 + s - 255 = s
    EXPECT_EQ(dst.format(), kGrey);
    EXPECT_TRUE(sameBytes(dst, src));

    QImageEx none;
    EXPECT_FALSE(combineImageData(dst, none, 1));

    QImageEx big = filled(9, 9, kGrey, 200);
    QImageEx small = filled(3, 2, kGrey, 250);
    for (int mode = 1; mode <= 5; ++mode)
        ASSERT_TRUE(combineImageData(big, small, mode));
    EXPECT_EQ(big.constScanLine(8)[8], 200) << "outside the source nothing changes";
}

TEST(CombineSelectionData, ReadsTheSourceThroughTheTransform) {
    const QImage src = randomImage(6, 5, kGrey, 3);
    const QImage dst = randomImage(6, 5, kGrey, 4);
    for (const QTransform& t : {QTransform::fromTranslate(2, 1), QTransform::fromTranslate(-1.5, 0.5),
                                QTransform::fromScale(0.5, 0.7), QTransform().rotate(30)}) {
        for (int mode : {1, 5}) {
            QImageEx out = dst;
            ASSERT_TRUE(combineSelectionData(out, src, t, mode));
            for (int y = 0; y < 5; ++y)
                for (int x = 0; x < 6; ++x) {
                    int tx, ty;
                    t.map(x, y, &tx, &ty);
                    const bool inside = tx >= 0 && tx < 6 && ty >= 0 && ty < 5;
                    const int d = dst.constScanLine(y)[x];
                    const int s = inside ? src.constScanLine(ty)[tx] : -1;
                    const int expected = mode == 1 ? (inside ? std::max(s, d) : 255) : (inside ? s : d);
                    ASSERT_EQ(out.constScanLine(y)[x], expected) << mode << " at " << x << "," << y;
                }
        }
    }
}

TEST(CombineSelectionData, OtherModesIgnoreTheTransform) {
    QImageEx src = randomImage(6, 5, kGrey, 3);
    for (int mode : {2, 3, 4}) {
        QImageEx viaData = randomImage(6, 5, kGrey, 4);
        QImageEx viaSelection = viaData.copy();
        combineImageData(viaData, src, mode);
        ASSERT_TRUE(combineSelectionData(viaSelection, src, QTransform::fromTranslate(3, 3), mode));
        EXPECT_TRUE(sameBytes(viaData, viaSelection)) << mode;
    }
    QImageEx dst;
    EXPECT_TRUE(combineSelectionData(dst, src, QTransform(), 5));
    EXPECT_TRUE(sameBytes(dst, src));
    EXPECT_FALSE(combineSelectionData(dst, QImageEx(), QTransform(), 1));
}
