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

TEST(MaskBounds, MatchesTheDefinitionOnRandomMasks) {
    // 8-bit masks and the alpha byte of 32-bit images (colour bytes random),
    // a background just outside the counting range and marks around its edge;
    // widths that are and are not multiples of 4 exercise both row searches.
    std::mt19937 rng(5);
    for (int trial = 0; trial < 600; ++trial) {
        const int w = 1 + rng() % 70, h = 1 + rng() % 40;
        const bool alpha = trial % 3 == 0, flag = trial % 2 == 0;
        const int bpp = alpha ? 4 : 1;
        QImage image = vqtest::randomImage(w, h, alpha ? QImage::Format_ARGB32 : QImage::Format_Grayscale8, trial);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                image.scanLine(y)[bpp * x + bpp - 1] = static_cast<uint8_t>(flag ? 255 : rng() % 2);
        for (int k = rng() % 4; k > 0; --k) {
            const int edge = flag ? 254 : 2, any = flag ? rng() % 255 : 2 + rng() % 254;
            image.scanLine(rng() % h)[bpp * (rng() % w) + bpp - 1] = static_cast<uint8_t>(rng() % 2 ? edge : any);
        }
        const CRect expected = referenceBounds(image, flag);
        const CRect actual = boundsOf(image, flag);
        ASSERT_TRUE(EqualRect(&actual, &expected)) << w << "x" << h << " trial " << trial;
        EXPECT_EQ(getMaskImageBouder(QImageEx(image), flag),
                  QRect(expected.left, expected.top, expected.right - expected.left, expected.bottom - expected.top));
    }
}

TEST(MaskBounds, OtherDepthsAreNotSearchedAndNullIsEmpty) {
    EXPECT_TRUE(boxIs(boundsOf(filled(7, 5, QImage::Format_RGB888, 0), true), 0, 0, 7, 5));
    EXPECT_TRUE(boxIs(boundsOf(filled(7, 5, QImage::Format_RGB16, 0), false), 0, 0, 7, 5));
    EXPECT_TRUE(boxIs(boundsOf(QImage(), true), 0, 0, 0, 0));
    EXPECT_EQ(getMaskImageBouder(QImageEx(filled(7, 5, QImage::Format_RGB888, 0)), true), QRect(0, 0, 7, 5));
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
