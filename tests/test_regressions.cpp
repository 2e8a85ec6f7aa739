// Faults found by fuzzing and by hostile parameters, one test per fault.
#include <vqutil/adjust.h>
#include <vqutil/composite.h>
#include <vqutil/paint.h>
#include <vqutil/filters.h>
#include <vqutil/selection.h>
#include <vqutil/transform.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <climits>
#include <cmath>
#include <memory>

using vqtest::randomImage;
using vqtest::sameBytes;

TEST(Regression, GaussianBlurAlphaTouchesOnlyEightBitImages) {
    for (QImage::Format format : {QImage::Format_Mono, QImage::Format_MonoLSB, QImage::Format_RGB16,
                                  QImage::Format_RGB888, QImage::Format_ARGB32, QImage::Format_RGBA64}) {
        QImage img = randomImage(8, 3, format), before = img.copy();
        gaussianBlurAlpha(img, 2.0);
        EXPECT_TRUE(sameBytes(img, before)) << format;
    }
    QImage grey = randomImage(8, 3, QImage::Format_Grayscale8), before = grey.copy();
    gaussianBlurAlpha(grey, 2.0);
    EXPECT_FALSE(sameBytes(grey, before));
    // A plane whose rows would overlap is refused.
    EXPECT_FALSE(IIRGaussianFilterAlpha(grey.bits(), 4, 8, 3, 1.0f));
}

TEST(Regression, InkLevelsAndThresholdsOverTheWholeIntRange) {
    const QImageEx src = randomImage(7, 5, QImage::Format_ARGB32);
    for (int level : {INT_MIN, INT_MIN + 1, -1, 256, INT_MAX / 2 + 1, INT_MAX})
        for (const char* colour : {"red", "black"}) {
            QImageEx img = src.copy();
            keepInkColour(img, QString::fromLatin1(colour), level, 0xFF0000FF, 255);
            // Past the ends the rule keeps everything or nothing: one colour.
            const QRgb first = img.pixel(0, 0);
            int others = 0;
            for (int y = 0; y < img.height(); ++y)
                for (int x = 0; x < img.width(); ++x)
                    others += img.pixel(x, y) != first;
            EXPECT_EQ(others, 0) << colour << " " << level;
        }
    for (int threshold : {INT_MIN, INT_MAX}) {
        QImageEx dst;
        EXPECT_TRUE(convertToBWEx(dst, src, threshold, 2));
    }
}

TEST(Regression, PolygonCrossingsNearTheIntLimits) {
    CPoint diagonal[2] = {CPoint(INT_MIN, INT_MIN), CPoint(INT_MAX, INT_MAX)};
    QVector<unsigned int> xs;
    ASSERT_EQ(CDibRegion::GetPointH(xs, 0, 2, diagonal), 2);  // there and back
    EXPECT_TRUE(xs[0] == 0u && xs[1] == 0u);
    ASSERT_EQ(CDibRegion::GetPointH(xs, INT_MAX - 1, 2, diagonal), 2);
    EXPECT_EQ(xs[0], unsigned(INT_MAX - 1));
    // A huge triangle over a small map fills the map's part of it.
    CPoint triangle[3] = {CPoint(INT_MIN, INT_MIN), CPoint(INT_MAX, INT_MIN + 7), CPoint(3, INT_MAX)};
    QImageEx map = vqtest::filled(6, 4, QImage::Format_Grayscale8, 0);
    CBoundaryTrace trace;
    EXPECT_TRUE(trace.AddColorMapRegion(map, 3, triangle, 1, 0));
    EXPECT_EQ(map.constScanLine(0)[0], 1);
    EXPECT_FALSE(trace.PtInMapRegion(CPoint(INT_MIN, INT_MAX - 1), 3, triangle));
}

TEST(Regression, ScaleRotateImageIntoItsOwnSource) {
    const QImageEx src = randomImage(9, 9, QImage::Format_Grayscale8);
    QImageEx expected;
    ASSERT_TRUE(scaleRotateImage(expected, src, 9, 9, M_PI, 7));
    QImageEx same = src.copy();
    ASSERT_TRUE(scaleRotateImage(same, same, 9, 9, M_PI, 7));
    EXPECT_TRUE(sameBytes(same, expected));
    // Over the source's own buffer too.
    QImageEx owner = src.copy();
    QImageEx alias(QImage(owner.bits(), 9, 9, owner.bytesPerLine(), QImage::Format_Grayscale8));
    ASSERT_TRUE(scaleRotateImage(owner, alias, 9, 9, M_PI, 7));
    EXPECT_TRUE(sameBytes(owner, expected));
}

// Peak resident memory of the process so far, in MiB.
static long peakMiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

// Results and working buffers past 2^31 bytes are refused before anything
// is allocated: each call returns at once and the process never grows.
TEST(Regression, HostileSizesAreRefusedBeforeAllocating) {
    const long before = peakMiB();
    const QImageEx small = randomImage(5, 4, QImage::Format_ARGB32);
    QImageEx dst = small.copy(), img = small.copy();
    QImageEx made;
    EXPECT_FALSE(QImageEx::create(made, 46341, 46341, QImage::Format_ARGB32));
    EXPECT_FALSE(QImageEx::create(made, 1 << 30, 20, QImage::Format_Mono));
    EXPECT_TRUE(small.scaled(60000, 60000).isNull());
    EXPECT_FALSE(ThEnlargeImage(dst, img, 30000, 0));
    EXPECT_FALSE(scaleRotateImage(dst, img, 100000, 100000, 0.3, 0));
    QPoint far[4] = {QPoint(0, 0), QPoint(200000, 0), QPoint(0, 200000), QPoint(200000, 200000)};
    EXPECT_FALSE(unifiedtransformEx(dst, img, far, QSize(), QRect(), Qt::SmoothTransformation, Qt::white));
    const QPointF farF[4] = {{0, 0}, {200000, 0}, {200000, 200000}, {0, 200000}};
    QRect placed;
    EXPECT_FALSE(freeTransform(dst, placed, img, farF));
    EXPECT_TRUE(sameBytes(dst, small));
    QSizeF scale(1, 1);
    combineImageEx(dst, QRect(0, 0, 100000, 100000), img, nullptr, QRect(), scale);
    EXPECT_TRUE(sameBytes(dst, small));
    ScaleDibAll(img, 100000, 100000, true);
    EXPECT_TRUE(img.isNull());
    CColorTemplate gradient;
    EXPECT_FALSE(gradient.ConfigTemplate(INT_MAX));
    auto pen = std::make_unique<PENSTRUCT>();
    EXPECT_FALSE(pen->CreateTemplate(100000, 100000));
    EXPECT_LT(peakMiB() - before, 256);
}
