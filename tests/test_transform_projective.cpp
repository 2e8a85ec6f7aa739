// Distortion by corners and shear, the library's own projective resampler
// (checked byte for byte against the rules of transform.h written out here),
// the Qt-based perspective functions and the mask transform.
#include <vqutil/transform.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <QPolygonF>

#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

using vqtest::DebugMessages;
using vqtest::filled;
using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

using Corners = std::array<QPoint, 4>;
using Mat = std::array<double, 9>;  // row by row
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN(), kInf = std::numeric_limits<double>::infinity();
constexpr Qt::TransformationMode kModes[] = {Qt::SmoothTransformation, Qt::FastTransformation};
const QVector<QPointF> kSquare{{0, 0}, {1, 0}, {1, 1}, {0, 1}};

// The matrix rule: w = (m6 x + m7 y) + m8, 1 when 0; the sums left to right.
QPointF mapped(const Mat& m, double x, double y) {
    double w = m[6] * x + m[7] * y + m[8];
    w = w == 0 ? 1 : w;
    return {(m[0] * x + m[1] * y + m[2]) / w, (m[3] * x + m[4] * y + m[5]) / w};
}

// (0, 0, w, h) onto the quad p: the square-to-quad matrix after the
// normalisation by 1 / w and 1 / h (a product whose other terms are zeros).
Mat rectToQuad(double w, double h, const QPointF p[4]) {
    const double sx = p[0].x() - p[1].x() + p[3].x() - p[2].x(), sy = p[0].y() - p[1].y() + p[3].y() - p[2].y();
    if (sx == 0 && sy == 0)
        return {(p[1].x() - p[0].x()) * (1 / w), (p[3].x() - p[1].x()) * (1 / h), p[0].x(),
                (p[1].y() - p[0].y()) * (1 / w), (p[3].y() - p[1].y()) * (1 / h), p[0].y(), 0, 0, 1};
    const double dx1 = p[1].x() - p[3].x(), dx2 = p[2].x() - p[3].x();
    const double dy1 = p[1].y() - p[3].y(), dy2 = p[2].y() - p[3].y(), den = dx1 * dy2 - dx2 * dy1;
    const double g = den == 0 ? 1 : (sx * dy2 - sy * dx2) / den, k = den == 0 ? 1 : (sy * dx1 - sx * dy1) / den;
    return {(p[1].x() - p[0].x() + g * p[1].x()) * (1 / w), (p[2].x() - p[0].x() + k * p[2].x()) * (1 / h), p[0].x(),
            (p[1].y() - p[0].y() + g * p[1].y()) * (1 / w), (p[2].y() - p[0].y() + k * p[2].y()) * (1 / h), p[0].y(),
            g * (1 / w), k * (1 / h), 1};
}

// The adjugate over the determinant, cofactors along row 0.
Mat inverted(const Mat& a) {
    const double c0 = a[4] * a[8] - a[5] * a[7], c1 = a[5] * a[6] - a[3] * a[8], c2 = a[3] * a[7] - a[4] * a[6];
    const double d = a[0] * c0 + a[1] * c1 + a[2] * c2;
    return d == 0 ? a
                  : Mat{c0 / d, (a[2] * a[7] - a[1] * a[8]) / d, (a[1] * a[5] - a[2] * a[4]) / d,
                        c1 / d, (a[0] * a[8] - a[2] * a[6]) / d, (a[2] * a[3] - a[0] * a[5]) / d,
                        c2 / d, (a[1] * a[6] - a[0] * a[7]) / d, (a[0] * a[4] - a[1] * a[3]) / d};
}

// unifiedtransformEx from its documented steps, for an ARGB32 source.
QImage referenceEx(const QImage& src, Mat f, QSize size, QRect clip, bool smooth, QRgb background) {
    const int W = src.width(), H = src.height();
    QPolygonF corners;
    for (QPointF p : {QPointF(0, 0), QPointF(W, 0), QPointF(0, H), QPointF(W, H)})
        corners << mapped(f, p.x(), p.y());
    const QRect box = corners.boundingRect().toRect();
    for (int i = 0; i < 3; ++i) {
        f[i] += -box.left() * f[6 + i];
        f[3 + i] += -box.top() * f[6 + i];
        if (!size.isEmpty() && size != src.size())
            f[i] *= double(size.width()) / W, f[3 + i] *= double(size.height()) / H;
    }
    const Mat inv = inverted(f);
    auto at = [&](int x, int y) {  // outside: the opaque white edge sample
        return x < 0 || y < 0 || x >= W || y >= H ? 0xFFFFFFFFu : vqtest::pixelWord(src, x, y);
    };
    const QRect out = clip.isEmpty() ? QRect(0, 0, box.width(), box.height()) : clip;
    QImage dst(out.size(), QImage::Format_ARGB32);
    for (int y = out.top(); y <= out.bottom(); ++y)
        for (int x = out.left(); x <= out.right(); ++x) {
            const double sx = mapped(inv, x, y).x(), sy = mapped(inv, x, y).y();
            uint32_t v = background;
            if (!smooth && sx >= 0 && sx < W && sy >= 0 && sy < H)
                v = at(int(sx), int(sy));
            if (smooth && sx >= -1 && sx <= W && sy >= -1 && sy <= H) {
                const int x0 = int(std::floor(sx)), y0 = int(std::floor(sy));
                const double fx = sx - std::floor(sx), fy = sy - std::floor(sy);
                const uint32_t p00 = at(x0, y0), p01 = at(x0 + 1, y0), p10 = at(x0, y0 + 1), p11 = at(x0 + 1, y0 + 1);
                v = 0;
                for (int b = 0; b < 32; b += 8) {
                    auto c = [b](uint32_t p) { return int((p >> b) & 255); };
                    const double d =
                        (c(p11) * fx + c(p10) * (1 - fx)) * fy + (c(p00) * (1 - fx) + c(p01) * fx) * (1 - fy);
                    v |= uint32_t(std::min(255, int(d))) << b;
                }
            }
            std::memcpy(dst.scanLine(y - out.top()) + 4 * (x - out.left()), &v, 4);
        }
    return dst;
}

QPolygonF scaled(const QVector<QPointF>& points, double w, double h) {
    QPolygonF p;
    for (QPointF q : points)
        p << QPointF(q.x() * w, q.y() * h);
    return p;
}

int countPixels(const QImage& img, const std::function<bool(int, int)>& pred) {
    int n = 0;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x)
            n += pred(x, y);
    return n;
}

}  // namespace

TEST(CornerHelpers, ImagePointsOuterBoxAndClient) {
    QPoint c[4];
    get_image_point(c, QRect(3, 4, 10, 20));
    EXPECT_EQ((Corners{c[0], c[1], c[2], c[3]}), (Corners{QPoint(3, 4), QPoint(13, 4), QPoint(3, 24), QPoint(13, 24)}));
    get_image_point(nullptr, QRect(0, 0, 2, 2));

    const QImageEx img = filled(40, 30, QImage::Format_ARGB32, 0);
    const std::pair<Corners, QRect> boxes[] = {
        {{}, QRect(0, 0, 40, 30)},
        {{QPoint(0, 0), QPoint(40, 0), QPoint(0, 30), QPoint(40, 30)}, QRect(0, 0, 40, 30)},
        {{QPoint(-5, 2), QPoint(50, 0), QPoint(0, 0), QPoint(44, 35)}, QRect(-5, 0, 55, 35)}};  // (0, 0): (0, 30)
    for (auto [cs, expected] : boxes) {
        QRect box;
        QRectF client;
        ASSERT_TRUE(get_image_outer_box(box, img, cs.data()));
        EXPECT_EQ(box, expected);
        // In the image's own rectangle the client is the box; in another it
        // is scaled by that rectangle's size over the image's and moved.
        ASSERT_TRUE(get_transform_client(client, img, cs.data(), QRectF(0, 0, 40, 30)));
        EXPECT_EQ(client, QRectF(box));
        ASSERT_TRUE(get_transform_client(client, img, cs.data(), QRectF(100, 200, 80, 15)));
        EXPECT_EQ(client, QRectF(100 + box.x() * 2.0, 200 + box.y() * 0.5, box.width() * 2.0, box.height() * 0.5));
    }
    QRect box(1, 2, 3, 4);
    QRectF client(1, 2, 3, 4);
    Corners cs{};
    EXPECT_FALSE(get_image_outer_box(box, img, nullptr));
    EXPECT_FALSE(get_transform_client(client, QImageEx(), cs.data(), QRectF(0, 0, 40, 30)));
    EXPECT_FALSE(get_transform_client(client, img, nullptr, QRectF(0, 0, 40, 30)));
    EXPECT_FALSE(get_transform_client(client, img, cs.data(), QRectF(0, 0, 0, 30)));
    EXPECT_FALSE(get_transform_client(client, img, cs.data(), QRectF(kNaN, 0, 40, 30)));
    EXPECT_TRUE(box == QRect(1, 2, 3, 4) && client == QRectF(1, 2, 3, 4));
}

TEST(CornerHelpers, TransformFromPointsAndTheQtBasedTransforms) {
    Corners cs{QPoint(12, 18), QPoint(45, 22), QPoint(0, 0), QPoint(41, 58)};
    QTransform t;
    ASSERT_TRUE(getTransformFromPoints(t, QRect(10, 20, 30, 40), cs.data()));
    const QPointF from[4] = {{10, 20}, {40, 20}, {10, 60}, {40, 60}}, to[4] = {{12, 18}, {45, 22}, {10, 60}, {41, 58}};
    for (int i = 0; i < 4; ++i)
        EXPECT_LT((t.map(from[i]) - to[i]).manhattanLength(), 1e-6) << i;
    // A 100 x 100 rectangle stretched k times: the 1000 x 1000 probe spans 1000 k.
    for (int k : {32, 33})
        for (Corners s : {Corners{QPoint(), QPoint(100 * k, 0), QPoint(0, 100), QPoint(100 * k, 100)},
                          Corners{QPoint(), QPoint(100, 0), QPoint(0, 100 * k), QPoint(100, 100 * k)}})
            EXPECT_EQ(getTransformFromPoints(t, QRect(0, 0, 100, 100), s.data()), k == 32) << k;
    // Both Qt-based transforms give Qt's images.
    const QImageEx src = randomImage(8, 6, QImage::Format_ARGB32, 6);
    QImageEx dst;
    QRect r;
    ASSERT_TRUE(shear_unifiedtransform(dst, r, src, 0.3, -0.2, false, Qt::white));
    EXPECT_TRUE(sameBytes(dst, src.transformed(QTransform().shear(0.3, -0.2), Qt::FastTransformation)));
    Corners affine{QPoint(1, 2), QPoint(9, 2), QPoint(0, 7), QPoint(8, 7)};  // keeps the probe bounded
    ASSERT_TRUE(getTransformFromPoints(t, src.rect(), affine.data()));
    ASSERT_TRUE(unifiedtransform(dst, r, src, affine.data(), true, Qt::white));
    EXPECT_TRUE(sameBytes(dst, src.transformed(t, Qt::SmoothTransformation)));
}

// Unmoved corners ((0, 0) or the image's own), shears below 0.0001, missing
// or non-finite input and results above 2^31 bytes: false, dst untouched.
TEST(UnifiedTransformEx, RefusalsLeaveTheDestinationAlone) {
    const QImageEx src = randomImage(9, 7, QImage::Format_ARGB32, 4);
    const QImageEx before = randomImage(3, 3, QImage::Format_ARGB32, 5);
    const QImageEx none[] = {QImageEx(), QImageEx(QImage(0, 0, QImage::Format_ARGB32))};
    const int g = 1000000000;
    Corners cornerSets[] = {{},
                            {QPoint(0, 0), QPoint(9, 0), QPoint(0, 7), QPoint(9, 7)},
                            {QPoint(), QPoint(9, 0), QPoint(), QPoint(9, 7)},
                            {QPoint(-g, -g), QPoint(g, -g), QPoint(-g, g), QPoint(g, g)},
                            {QPoint(1, 1), QPoint(9, 0), QPoint(0, 8), QPoint(8, 9)}};
    QPoint* const moved = cornerSets[4].data();
    const std::tuple<const QImageEx*, QPoint*, QRect> cornerCases[] = {
        {&src, cornerSets[0].data(), {}}, {&src, cornerSets[1].data(), {}}, {&src, cornerSets[2].data(), {}},
        {&src, cornerSets[3].data(), {}}, {&src, nullptr, {}},              {&none[0], moved, {}},
        {&none[1], moved, {}},            {&src, moved, QRect(0, 0, 50000, 50000)}};
    const std::tuple<const QImageEx*, double, double, QRect> shearCases[] = {
        {&src, 0.00009, 0.00009, {}}, {&src, -0.00009, 0.00009, {}}, {&src, 0, 0, {}},   {&src, kNaN, 0, {}},
        {&src, 0.5, kNaN, {}},        {&src, kInf, 0, {}},           {&src, 0, -kInf, {}}, {&src, 1e9, 0, {}},
        {&none[0], 0.5, 0, {}},       {&none[1], 0.5, 0, {}},        {&src, 0.5, 0, QRect(-5, -5, 40000, 40000)}};
    QImageEx dst = before;
    QRect r;
    DebugMessages quiet;
    for (auto [img, corners, clip] : cornerCases) {
        for (auto mode : kModes)
            EXPECT_FALSE(unifiedtransformEx(dst, *img, corners, QSize(), clip, mode, Qt::white));
        if (!clip.isEmpty())
            continue;
        EXPECT_FALSE(unifiedtransform(dst, r, *img, corners, true, Qt::white));
        QTransform t = QTransform::fromTranslate(3, 4);
        EXPECT_TRUE(img != &src || !getTransformFromPoints(t, src.rect(), corners));
        EXPECT_EQ(t, QTransform::fromTranslate(3, 4));
    }
    for (auto [img, kx, ky, clip] : shearCases) {
        for (auto mode : kModes)
            EXPECT_FALSE(unifiedtransformEx(dst, *img, kx, ky, QSize(), clip, mode, Qt::white)) << kx << "," << ky;
        EXPECT_TRUE(!clip.isEmpty() || !shear_unifiedtransform(dst, r, *img, kx, ky, true, Qt::white)) << kx;
    }
    EXPECT_TRUE(sameBytes(dst, before));
}

// Every byte against the reference, for corner sets and shears (x by k, then
// y by -k / 2 seeing it), both modes, with and without scaling and a clip;
// sources of other formats are taken as ARGB32.
TEST(UnifiedTransformEx, EveryByteFollowsTheRule) {
    const QColor background(10, 20, 30, 40);
    for (auto format : {QImage::Format_ARGB32, QImage::Format_RGB32, QImage::Format_Grayscale8,
                        QImage::Format_Indexed8, QImage::Format_RGB888, QImage::Format_Mono})
        for (QSize s : {QSize(7, 5), QSize(17, 9)}) {
            const int w = s.width(), h = s.height();
            const QImageEx src = randomImage(w, h, format, w);
            const QImage argb = src.convertToFormat(QImage::Format_ARGB32);
            const std::pair<Corners, double> cases[] = {
                {{QPoint(1, 2), QPoint(w + 3, 0), QPoint(0, h + 1), QPoint(w + 1, h + 4)}, 0},  // mild perspective
                {{QPoint(2, 0), QPoint(w + 2, 3), QPoint(0, h), QPoint(w, h + 3)}, 0},          // parallelogram
                {{QPoint(w + 1, 1), QPoint(1, 1), QPoint(w + 1, h + 1), QPoint(1, h + 1)}, 0},  // mirror
                {{QPoint(), QPoint(), QPoint(), QPoint(2 * w, 3 * h)}, 0},                      // one corner pulled
                {{}, 0.3},
                {{}, -0.7}};
            for (auto [cs, k] : cases) {
                Mat f{1, 0, 0, 0, 1, 0, 0, 0, 1};
                for (int i = 0; i < 3; ++i)
                    f[i] += k * f[3 + i];
                for (int i = 0; i < 3 && k != 0; ++i)
                    f[3 + i] += -k / 2 * f[i];
                QPointF quad[4];
                for (int i = 0; i < 4; ++i)
                    quad[i] = cs[i].isNull() ? QPointF((i & 1) ? w : 0, (i & 2) ? h : 0) : QPointF(cs[i]);
                f = k != 0 ? f : rectToQuad(w, h, quad);
                for (auto mode : kModes)
                    for (QSize size : {QSize(), QSize(2 * w - 1, h + 3)})
                        for (QRect clip : {QRect(), QRect(-2, 1, w + 3, h)}) {
                            if (format != QImage::Format_ARGB32 && (size.isValid() || clip.isValid()))
                                continue;
                            QImageEx dst;
                            ASSERT_TRUE(k != 0 ? unifiedtransformEx(dst, src, k, -k / 2, size, clip, mode, background)
                                               : unifiedtransformEx(dst, src, cs.data(), size, clip, mode, background));
                            const bool smooth = mode == Qt::SmoothTransformation;
                            EXPECT_TRUE(dst.format() == QImage::Format_ARGB32 &&
                                        sameBytes(dst, referenceEx(argb, f, size, clip, smooth, background.rgba())))
                                << "format " << format << ", " << w << "x" << h << ", corner 1 " << cs[1].x()
                                << ", shear " << k << ", smooth " << smooth << ", size " << size.width() << ", clip "
                                << clip.x();
                        }
            }
        }
}

TEST(UnifiedTransformEx, RightBorderBlendsTowardWhiteAndEmptyBoxFails) {
    // A black 2 x 2 doubled: output column 3 reads sx = 1.5, half the last
    // column and half the opaque white beyond it.
    const QImageEx black = filled(2, 2, QImage::Format_ARGB32, 0xFF000000);
    Corners cs{QPoint(), QPoint(4, 0), QPoint(0, 4), QPoint(4, 4)};
    QImageEx dst;
    ASSERT_TRUE(unifiedtransformEx(dst, black, cs.data(), QSize(), QRect(), Qt::SmoothTransformation, Qt::blue));
    ASSERT_EQ(dst.size(), QSize(4, 4));
    EXPECT_EQ(vqtest::pixelWord(dst, 2, 0), 0xFF000000u);
    EXPECT_EQ(vqtest::pixelWord(dst, 3, 0), 0xFF7F7F7Fu);
    EXPECT_EQ(vqtest::pixelWord(dst, 3, 3), 0xFFBFBFBFu);  // three quarters white

    DebugMessages debug;
    Corners line{QPoint(1, 1), QPoint(5, 1), QPoint(1, 1), QPoint(5, 1)};
    const QImageEx before = dst;
    EXPECT_FALSE(unifiedtransformEx(dst, black, line.data(), QSize(), QRect(), Qt::SmoothTransformation, Qt::blue));
    EXPECT_EQ(DebugMessages::messages(), QStringList{"unifiedtransformEx failed"});
    EXPECT_TRUE(sameBytes(dst, before));
}

TEST(PerspectiveWarp, PointListsEqualPairsAndTheAreaLimit) {
    const QVector<QPointF> moved{{0.1, 0}, {0.9, 0.1}, {1, 1}, {0, 0.8}};
    QImageEx img = randomImage(40, 30, QImage::Format_ARGB32, 12);
    const QImageEx original = img;
    QTransform t = QTransform::fromTranslate(7, 8);
    QRectF rect(1, 2, 3, 4);
    const QVector<QPointF> bads[] = {kSquare.mid(0, 3), kSquare + kSquare.mid(0, 1),
                                     {{0, 0}, {1, kNaN}, {1, 1}, {0, 1}}};
    for (QVector<QPointF> bad : bads) {
        EXPECT_FALSE(getPerspectiveTransform(t, img.size(), kSquare, bad));
        EXPECT_FALSE(getPerspectiveTransform(t, img.size(), bad, moved));
        EXPECT_FALSE(checkPerspectiveWarpValid(img, bad, kSquare));
        EXPECT_FALSE(doPerspectiveWarp(img, kSquare, bad, rect, true));
        EXPECT_FALSE(doPerspectiveTransform(img, bad));
    }
    EXPECT_FALSE(checkPerspectiveWarpValid(QImageEx(), kSquare, moved));
    // Equal pairs (QPointF's fuzzy equality): true, nothing touched, even
    // for an image above the nine million square pixels.
    QVector<QPointF> nearly = kSquare;
    nearly[2] = QPointF(1 + 1e-14, 1);
    EXPECT_TRUE(getPerspectiveTransform(t, QSize(100, 100), kSquare, nearly));
    EXPECT_EQ(t, QTransform::fromTranslate(7, 8));
    EXPECT_TRUE(checkPerspectiveWarpValid(filled(4000, 3000, QImage::Format_Grayscale8, 0), kSquare, kSquare));
    EXPECT_TRUE(doPerspectiveTransform(img, nearly));
    EXPECT_TRUE(sameBytes(img, original) && rect == QRectF(1, 2, 3, 4));
    // A 100 x 100 image onto a 100 k square: 9e6 lies between 29 and 31.
    for (double k : {2.0, 29.0, 31.0}) {
        DebugMessages debug;
        EXPECT_EQ(checkPerspectiveWarpValid(filled(100, 100, QImage::Format_Grayscale8, 9), kSquare,
                                            {{0, 0}, {k, 0}, {k, k}, {0, k}}),
                  k < 30) << k;
        EXPECT_EQ(DebugMessages::messages().size(), k < 30 ? 1 : 0);
        EXPECT_TRUE(k > 30 || DebugMessages::messages().value(0).startsWith("checkPerspectiveWarpValid targetRect="));
    }
}

TEST(PerspectiveWarp, WarpMovesImageAndRect) {
    const QVector<QPointF> to{{0.1, 0}, {0.9, 0.1}, {1, 1}, {0, 0.8}};
    QTransform t1, t2;
    ASSERT_TRUE(QTransform::quadToQuad(scaled(kSquare, 40, 30), scaled(to, 40, 30), t1));
    ASSERT_TRUE(QTransform::quadToQuad(scaled(kSquare, 80, 60), scaled(to, 80, 60), t2));
    for (auto mode : kModes) {
        QImageEx warped = randomImage(40, 30, QImage::Format_ARGB32, 13);
        const QImage original = warped;
        QRectF rect(10, 20, 80, 60);
        DebugMessages debug;
        ASSERT_TRUE(doPerspectiveWarp(warped, kSquare, to, rect, mode == Qt::SmoothTransformation));
        EXPECT_TRUE(sameBytes(warped, original.transformed(t1, mode)));
        EXPECT_EQ(rect, t2.map(QPolygonF(QRectF(10, 20, 80, 60))).boundingRect());
        ASSERT_EQ(DebugMessages::messages().size(), 1);
        EXPECT_TRUE(DebugMessages::messages()[0].startsWith("doPerspectiveWarp sourceRect="));
        EXPECT_TRUE(DebugMessages::messages()[0].contains(",targetRect="));
    }
}

TEST(PerspectiveWarp, TransformOntoQuadAndTwistedQuads) {
    const QImageEx opaque = randomImage(40, 30, QImage::Format_RGB888, 14).convertToFormat(QImage::Format_ARGB32);
    QImageEx img = opaque;
    QVector<QPointF> to{{0.2, 0.1}, {0.9, 0.2}, {0.8, 0.9}, {0.1, 0.8}};
    ASSERT_TRUE(doPerspectiveTransform(img, to));
    ASSERT_TRUE(img.size() == QSize(40, 30) && img.format() == QImage::Format_ARGB32);
    // Transparent well outside the quad, opaque well inside: the nine points
    // two pixels apart around a pixel's centre all on one side.
    const QPolygonF quad = scaled(to, 40, 30);
    const int checked = countPixels(img, [&](int x, int y) {
        int hits = 0;
        for (int d = 0; d < 9; ++d)
            hits += quad.containsPoint(QPointF(x + 0.5 + 2 * (d % 3 - 1), y + 0.5 + 2 * (d / 3 - 1)), Qt::OddEvenFill);
        EXPECT_TRUE(hits % 9 != 0 || qAlpha(img.pixel(x, y)) == (hits ? 255 : 0)) << x << "," << y;
        return hits % 9 == 0;
    });
    EXPECT_GT(checked, 600);
    // Twisted quads fold the image at its middle and still give a canvas
    // (the half holding the crossing is itself twisted and left out).
    const QVector<QPointF> twisted[] = {{{0, 0}, {0.9, 1}, {1, 0.2}, {0, 1}},   // top and bottom cross
                                        {{0, 0}, {1, 0}, {0.2, 1}, {0.8, 1}}};  // left and right cross
    for (QVector<QPointF> tw : twisted) {
        img = opaque;
        ASSERT_TRUE(doPerspectiveTransform(img, tw));
        EXPECT_TRUE(img.size() == QSize(40, 30) && img.format() == QImage::Format_ARGB32);
        EXPECT_GT(countPixels(img, [&](int x, int y) { return qAlpha(img.pixel(x, y)) == 255; }), 100);
    }
}

TEST(MaskTransform, ForwardMappingOfAMask) {
    Corners cs{QPoint(2, 1), QPoint(22, -1), QPoint(-1, 17), QPoint(19, 15)};
    QImageEx src = filled(20, 16, QImage::Format_Grayscale8, 0), dst;
    QTransform t;
    ASSERT_TRUE(getTransformFromPoints(t, src.rect(), cs.data()));
    QRect box;
    get_image_outer_box(box, src, cs.data());
    QRectF rect;
    getMaskResultFromTranform(dst, src, rect, t, false);
    EXPECT_EQ(rect, QRectF(box));
    EXPECT_TRUE(dst.size() == box.size() && dst.format() == QImage::Format_Grayscale8);
    // A few selected pixels land where t sends them, offset by the box.
    src.fill(255);
    const QPoint selected[] = {{3, 4}, {10, 10}, {17, 2}, {0, 15}};
    for (QPoint p : selected)
        src.scanLine(p.y())[p.x()] = 0;
    getMaskResultFromTranform(dst, src, rect = QRectF(), t, false);
    EXPECT_EQ(countPixels(dst, [&](int x, int y) { return dst.constScanLine(y)[x] == 0; }), 4);
    for (QPoint p : selected) {
        const QPoint q = t.map(p) - box.topLeft();
        EXPECT_TRUE(dst.rect().contains(q) && dst.constScanLine(q.y())[q.x()] == 0) << p.x() << "," << p.y();
    }
    // Halved, pixels 1 and 2 land on 1 (Qt rounds 0.5 up): the smaller byte
    // wins in either order; pixel 3 lands past the aligned box, (0, 0, 2, 1).
    QTransform half = QTransform::fromScale(0.5, 0.5);
    for (QImageEx row : {vqtest::imageOf(4, 1, QImage::Format_Grayscale8, {255, 0, 255, 0}),
                         vqtest::imageOf(4, 1, QImage::Format_Grayscale8, {255, 255, 0, 0})}) {
        getMaskResultFromTranform(dst, row, rect = QRectF(), half, false);
        EXPECT_TRUE(rect == QRectF(0, 0, 2, 1) && vqtest::rowOf(dst, 0, 0, 2) == (std::vector<int>{255, 0}));
    }
}

TEST(MaskTransform, SmoothClosesHolesAndRefusalsLeaveEverything) {
    Corners cs{QPoint(), QPoint(35, 3), QPoint(2, 26), QPoint(31, 24)};  // enlarging about three times
    QTransform t;
    ASSERT_TRUE(getTransformFromPoints(t, QRect(0, 0, 10, 8), cs.data()));
    const QPolygonF quad = t.map(QPolygonF(QVector<QPointF>{{0, 0}, {9, 0}, {9, 7}, {0, 7}}));
    for (bool smooth : {false, true}) {
        QImageEx src = filled(10, 8, QImage::Format_Grayscale8, 0), dst;
        QRectF rect;
        getMaskResultFromTranform(dst, src, rect, t, smooth);
        const int holes = countPixels(dst, [&](int x, int y) {  // 255 a pixel deep inside the quad
            const QPointF p = QPointF(x, y) + rect.topLeft();
            for (QPointF d : {QPointF(-1, -1), QPointF(1, -1), QPointF(-1, 1), QPointF(1, 1)})
                if (!quad.containsPoint(p + d, Qt::OddEvenFill))
                    return false;
            return dst.constScanLine(y)[x] == 255;
        });
        EXPECT_EQ(holes == 0, smooth) << holes;
    }
    const QImage grey = filled(6, 6, QImage::Format_Grayscale8, 0);
    const QTransform move = QTransform::fromTranslate(1, 1);
    const std::tuple<QImage, QTransform, bool> refused[] = {
        {randomImage(6, 6, QImage::Format_ARGB32), move, false}, {randomImage(16, 6, QImage::Format_Mono), move, false},
        {QImage(), move, false}, {grey, QTransform(kNaN, 0, 0, 1, 0, 0), false},
        {grey, QTransform(0, 0, 0, 0, 0, 0), true},  // not invertible
        {filled(100, 100, QImage::Format_Grayscale8, 0), QTransform::fromScale(1e5, 1e5), false}};
    for (auto [mask, transform, smooth] : refused) {
        QImageEx src = mask, dst = filled(3, 3, QImage::Format_Grayscale8, 7);
        QRectF rect(1, 2, 3, 4);
        getMaskResultFromTranform(dst, src, rect, transform, smooth);
        EXPECT_TRUE(rect == QRectF(1, 2, 3, 4) && sameBytes(dst, filled(3, 3, QImage::Format_Grayscale8, 7)));
    }
}
