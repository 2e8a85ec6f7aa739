// The mesh warps: bezierTransform, freeTransform and transformQImage.
#include <vqutil/transform.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>

using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

QVector<QPointF> identityGrid(double w, double h) {
    QVector<QPointF> grid;
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i)
            grid << QPointF(w * i / 3, h * j / 3);
    return grid;
}

QVector<QPointF> mapped(QVector<QPointF> points, const std::function<QPointF(QPointF)>& f) {
    for (QPointF& p : points)
        p = f(p);
    return points;
}

QImage opaque(QImage image) {
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.scanLine(y)[4 * x + 3] = 255;
    return image;
}

// The three warps set up to apply one map f, given as a function of source
// points and as its four image corners.
struct Warp {
    const char* name;
    std::function<bool(QImageEx&, QRect&, const QImageEx&, const std::function<QPointF(QPointF)>&)> apply;
};

const Warp kWarps[] = {
    {"bezier",
     [](QImageEx& dst, QRect& placed, const QImageEx& src, const std::function<QPointF(QPointF)>& f) {
         return bezierTransform(dst, placed, src, mapped(identityGrid(src.width(), src.height()), f));
     }},
    {"corners",
     [](QImageEx& dst, QRect& placed, const QImageEx& src, const std::function<QPointF(QPointF)>& f) {
         const double w = src.width(), h = src.height();
         const QPointF corners[4] = {f({0, 0}), f({w, 0}), f({0, h}), f({w, h})};
         return freeTransform(dst, placed, src, corners);
     }},
    {"corners+mesh",
     [](QImageEx& dst, QRect& placed, const QImageEx& src, const std::function<QPointF(QPointF)>& f) {
         const double w = src.width(), h = src.height();
         const QPointF corners[4] = {f({0, 0}), f({w, 0}), f({0, h}), f({w, h})};
         return freeTransform(dst, placed, src, corners, identityGrid(1, 1));
     }},
    {"points",
     [](QImageEx& dst, QRect& placed, const QImageEx& src, const std::function<QPointF(QPointF)>& f) {
         const QVector<QPointF> from = {{1, 1}, {5, 2}, {2, 7}, {9, 9}, {0.5, 3.5}};
         return transformQImage(dst, placed, src, from, mapped(from, f));
     }},
};

}  // namespace

TEST(MeshWarp, IdentityAndIntegerShiftsKeepEveryByte) {
    const QImage::Format formats[] = {QImage::Format_ARGB32, QImage::Format_RGB32, QImage::Format_Grayscale8,
                                      QImage::Format_RGB888, QImage::Format_Indexed8, QImage::Format_Mono,
                                      QImage::Format_ARGB32_Premultiplied, QImage::Format_RGB16};
    const QSize sizes[] = {{1, 1}, {3, 1}, {1, 4}, {17, 9}, {64, 40}};
    const QPoint shifts[] = {{0, 0}, {5, -3}, {-20, 11}};
    for (const Warp& warp : kWarps)
        for (QImage::Format format : formats)
            for (QSize size : sizes)
                for (QPoint shift : shifts) {
                    const QImageEx src = randomImage(size.width(), size.height(), format, 7);
                    QImageEx dst;
                    QRect placed;
                    ASSERT_TRUE(warp.apply(dst, placed, src, [&](QPointF p) { return p + shift; }))
                        << warp.name << " " << format << " " << size.width() << "x" << size.height();
                    EXPECT_EQ(placed, QRect(shift, size)) << warp.name;
                    EXPECT_TRUE(sameBytes(dst, src.convertToFormat(QImage::Format_ARGB32)))
                        << warp.name << " " << format << " " << size.width() << "x" << size.height() << " shifted "
                        << shift.x() << "," << shift.y();
                }
}

// An affine map drawn by each warp agrees with unifiedtransformEx's own
// resampler to within one level wherever both read four source pixels
// (unifiedtransformEx truncates, the warps round).
TEST(MeshWarp, AffineMapsAgreeWithUnifiedTransformEx) {
    const QImageEx src = opaque(randomImage(40, 30, QImage::Format_ARGB32, 3));
    // Parallelograms with integer corners, so that both boxes are the same.
    const std::function<QPointF(QPointF)> maps[] = {
        [](QPointF p) { return QPointF(1.5 * p.x() + 0.5 * p.y() + 10, -0.4 * p.x() + 1.2 * p.y() + 20); },
        [](QPointF p) { return QPointF(0.5 * p.x() + 3, 2.0 / 3 * p.y() - 7); },
        [](QPointF p) { return QPointF(-p.x() + 45, p.y() + 2); },
    };
    for (const auto& f : maps) {
        QPoint corners[4] = {f({0, 0}).toPoint(), f({40, 0}).toPoint(), f({0, 30}).toPoint(), f({40, 30}).toPoint()};
        QImageEx reference;
        ASSERT_TRUE(unifiedtransformEx(reference, src, corners, src.size(), QRect(), Qt::SmoothTransformation,
                                       Qt::transparent));
        // The inverse of f, to tell which reference pixels read four source pixels.
        const QPointF o = f({0, 0}), ex = f({1, 0}) - o, ey = f({0, 1}) - o;
        const double det = ex.x() * ey.y() - ex.y() * ey.x();
        for (const Warp& warp : kWarps) {
            QImageEx dst;
            QRect placed;
            ASSERT_TRUE(warp.apply(dst, placed, src, f)) << warp.name;
            ASSERT_EQ(placed.size(), reference.size()) << warp.name;
            int compared = 0;
            for (int j = 0; j < dst.height(); ++j)
                for (int i = 0; i < dst.width(); ++i) {
                    const QPointF d = QPointF(placed.x() + i, placed.y() + j) - o;
                    const double sx = (d.x() * ey.y() - d.y() * ey.x()) / det;
                    const double sy = (ex.x() * d.y() - ex.y() * d.x()) / det;
                    if (!(sx > 0.01 && sx < src.width() - 1.01 && sy > 0.01 && sy < src.height() - 1.01))
                        continue;
                    ++compared;
                    for (int b = 0; b < 4; ++b)
                        ASSERT_LE(std::abs(dst.constScanLine(j)[4 * i + b] - reference.constScanLine(j)[4 * i + b]), 1)
                            << warp.name << " at " << i << "," << j << " byte " << b;
                }
            EXPECT_GT(compared, 100) << warp.name;
        }
    }
}

TEST(MeshWarp, FoldedMeshesAndTwistedQuadsAreDefined) {
    const QImageEx src = randomImage(30, 20, QImage::Format_ARGB32, 5);
    QVector<QPointF> folded = identityGrid(30, 20);
    std::swap(folded[5], folded[10]);  // two inner points crossed over
    folded[3] = QPointF(-10, 25);      // a corner pulled across the patch
    QImageEx dst;
    QRect placed;
    ASSERT_TRUE(bezierTransform(dst, placed, src, folded));
    EXPECT_EQ(dst.size(), placed.size());
    EXPECT_EQ(dst.format(), QImage::Format_ARGB32);

    QVector<QPointF> scrambled;
    for (int k = 0; k < 16; ++k)
        scrambled << QPointF((k * 37) % 11, (k * 53) % 7) / 10;
    const QPointF corners[4] = {{0, 0}, {30, 0}, {0, 20}, {30, 20}};
    ASSERT_TRUE(freeTransform(dst, placed, src, corners, scrambled));
    EXPECT_EQ(dst.size(), placed.size());

    const QVector<QPointF> from = {{0, 0}, {10, 10}, {20, 0}}, crossed = {{20, 0}, {10, 10}, {0, 0}};
    EXPECT_TRUE(transformQImage(dst, placed, src, from, crossed));

    // A twisted quad has no bounded projective image of the rectangle.
    const QPointF twisted[4] = {{0, 0}, {30, 20}, {0, 20}, {30, 0}};
    const QImageEx before = dst;
    EXPECT_FALSE(freeTransform(dst, placed, src, twisted));
    EXPECT_TRUE(sameBytes(dst, before));
}

TEST(MeshWarp, BadInputLeavesTheDestinationAlone) {
    const QImageEx src = randomImage(8, 6, QImage::Format_ARGB32, 9);
    const QImageEx prepared = randomImage(3, 3, QImage::Format_ARGB32, 1);
    const QRect preparedBox(1, 2, 3, 3);
    const QVector<QPointF> grid = identityGrid(8, 6);
    QVector<QPointF> nanGrid = grid;
    nanGrid[6].setX(NAN);
    const QVector<QPointF> huge = mapped(grid, [](QPointF p) { return p * 1e6; });
    const QPointF corners[4] = {{0, 0}, {8, 0}, {0, 6}, {8, 6}};
    const QPointF infCorners[4] = {{0, 0}, {INFINITY, 0}, {0, 6}, {8, 6}};
    const QPointF farCorners[4] = {{0, 0}, {1e7, 0}, {0, 1e7}, {1e7, 1e7}};
    const std::function<bool(QImageEx&, QRect&)> calls[] = {
        [&](QImageEx& d, QRect& r) { return bezierTransform(d, r, QImageEx(), grid); },
        [&](QImageEx& d, QRect& r) { return bezierTransform(d, r, src, grid.mid(0, 15)); },
        [&](QImageEx& d, QRect& r) { return bezierTransform(d, r, src, nanGrid); },
        [&](QImageEx& d, QRect& r) { return bezierTransform(d, r, src, huge); },
        [&](QImageEx& d, QRect& r) { return freeTransform(d, r, src, nullptr); },
        [&](QImageEx& d, QRect& r) { return freeTransform(d, r, QImageEx(), corners); },
        [&](QImageEx& d, QRect& r) { return freeTransform(d, r, src, infCorners); },
        [&](QImageEx& d, QRect& r) { return freeTransform(d, r, src, farCorners); },
        [&](QImageEx& d, QRect& r) { return freeTransform(d, r, src, corners, nanGrid); },
        [&](QImageEx& d, QRect& r) { return freeTransform(d, r, src, corners, grid.mid(0, 4)); },
        [&](QImageEx& d, QRect& r) { return transformQImage(d, r, src, {}, {}); },
        [&](QImageEx& d, QRect& r) { return transformQImage(d, r, src, {{1, 1}}, {{1, 1}, {2, 2}}); },
        [&](QImageEx& d, QRect& r) { return transformQImage(d, r, src, {{1, 1}}, {{NAN, 1}}); },
        [&](QImageEx& d, QRect& r) { return transformQImage(d, r, src, {{0, 0}, {8, 6}}, {{0, 0}, {8e6, 6e6}}); },
    };
    int k = 0;
    for (const auto& call : calls) {
        QImageEx dst = prepared;
        QRect placed = preparedBox;
        EXPECT_FALSE(call(dst, placed)) << "call " << k;
        EXPECT_TRUE(sameBytes(dst, prepared)) << "call " << k;
        EXPECT_EQ(placed, preparedBox) << "call " << k;
        ++k;
    }
}
