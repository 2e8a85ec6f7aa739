// Bounding boxes of masks and of alpha.
#include <vqutil/composite.h>

#include "test_support.h"

#include <gtest/gtest.h>

using vqtest::filled;

namespace {

bool boxIs(const CRect& r, int l, int t, int rt, int b) {
    return r.left == l && r.top == t && r.right == rt && r.bottom == b;
}

CRect boundsOf(const QImage& image, bool flag) {
    CRect box(9, 9, 9, 9);
    getMaskImageBouder(box, QImageEx(image), flag);
    return box;
}

// The box straight from its definition: every counting pixel of the image.
CRect referenceBounds(const QImage& image, bool flag) {
    const int bytesPerPixel = image.depth() / 8;
    if (bytesPerPixel != 1 && bytesPerPixel != 4)
        return CRect(0, 0, image.width(), image.height());
    int left = image.width(), top = image.height(), right = -1, bottom = -1;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const int v = image.constScanLine(y)[x * bytesPerPixel + bytesPerPixel - 1];
            if (flag ? v < 255 : v > 1) {
                left = std::min(left, x);
                right = std::max(right, x);
                top = std::min(top, y);
                bottom = std::max(bottom, y);
            }
        }
    return right < 0 ? CRect() : CRect(left, top, right + 1, bottom + 1);
}

}  // namespace

TEST(MaskBounds, SelectedPixelsOfAnEightBitMask) {
    QImage mask = filled(100, 50, QImage::Format_Grayscale8, 255);
    EXPECT_TRUE(boxIs(boundsOf(mask, true), 0, 0, 0, 0)) << "nothing selected";
    mask.scanLine(20)[10] = 0;
    EXPECT_TRUE(boxIs(boundsOf(mask, true), 10, 20, 11, 21));
    mask.scanLine(3)[97] = 254;  // partly selected counts too
    EXPECT_TRUE(boxIs(boundsOf(mask, true), 10, 3, 98, 21));
    EXPECT_TRUE(boxIs(boundsOf(mask, false), 0, 0, 100, 50)) << "flag false: values above 1 count";
}

TEST(MaskBounds, AlphaOfAThirtyTwoBitImage) {
    QImage image = filled(30, 20, QImage::Format_ARGB32, 0x01FFFFFFu);
    EXPECT_TRUE(boxIs(boundsOf(image, false), 0, 0, 0, 0)) << "alpha 1 is barely visible";
    image.scanLine(7)[4 * 12 + 3] = 2;
    EXPECT_TRUE(boxIs(boundsOf(image, false), 12, 7, 13, 8));
    EXPECT_TRUE(boxIs(boundsOf(image, true), 0, 0, 30, 20)) << "flag true: alpha below 255 counts";
}

TEST(MaskBounds, OtherDepthsAreNotSearchedAndNullIsEmpty) {
    EXPECT_TRUE(boxIs(boundsOf(filled(7, 5, QImage::Format_RGB888, 0), true), 0, 0, 7, 5));
    EXPECT_TRUE(boxIs(boundsOf(filled(7, 5, QImage::Format_RGB16, 0), false), 0, 0, 7, 5));
    EXPECT_TRUE(boxIs(boundsOf(QImage(), true), 0, 0, 0, 0));
    const QRect asRect = getMaskImageBouder(QImageEx(filled(7, 5, QImage::Format_RGB888, 0)), true);
    EXPECT_EQ(asRect, QRect(0, 0, 7, 5));
}

TEST(MaskBounds, MatchesTheDefinitionOnRandomMasks) {
    // Widths that are and are not multiples of 4 exercise both row searches.
    std::mt19937 rng(5);
    for (int trial = 0; trial < 400; ++trial) {
        const int w = 1 + rng() % 70, h = 1 + rng() % 40;
        const bool alpha = trial % 3 == 0;
        const bool flag = trial % 2 == 0;
        QImage image = filled(w, h, alpha ? QImage::Format_ARGB32 : QImage::Format_Grayscale8,
                              flag ? 0xFFFFFFFFu : 0x01010101u);
        const int marks = rng() % 4;
        for (int k = 0; k < marks; ++k) {
            const int x = rng() % w, y = rng() % h;
            image.scanLine(y)[alpha ? 4 * x + 3 : x] = static_cast<uint8_t>(flag ? rng() % 255 : 2 + rng() % 254);
        }
        const CRect expected = referenceBounds(image, flag);
        const CRect actual = boundsOf(image, flag);
        ASSERT_TRUE(EqualRect(&actual, &expected)) << w << "x" << h << " trial " << trial;
        EXPECT_EQ(getMaskImageBouder(QImageEx(image), flag),
                  QRect(expected.left, expected.top, expected.right - expected.left, expected.bottom - expected.top));
    }
}

TEST(BoundFromMask, NarrowsTheImageToTheMask) {
    QImageEx image = filled(40, 30, QImage::Format_ARGB32, 0);
    EXPECT_TRUE(boxIs(getBoundFromMask(image, nullptr), 0, 0, 40, 30));
    QImageEx nullMask;
    EXPECT_TRUE(boxIs(getBoundFromMask(image, &nullMask), 0, 0, 40, 30));

    QImageEx mask = filled(60, 60, QImage::Format_Grayscale8, 255);
    mask.scanLine(5)[35] = 0;
    mask.scanLine(45)[50] = 0;  // box (35, 5)-(51, 46) reaches past the image
    EXPECT_TRUE(boxIs(getBoundFromMask(image, &mask), 35, 5, 40, 30));

    QImageEx outside = filled(60, 60, QImage::Format_Grayscale8, 255);
    outside.scanLine(50)[50] = 0;
    EXPECT_TRUE(boxIs(getBoundFromMask(image, &outside), 0, 0, 0, 0));
    QImageEx empty = filled(40, 30, QImage::Format_Grayscale8, 255);
    EXPECT_TRUE(boxIs(getBoundFromMask(image, &empty), 0, 0, 0, 0));
}
