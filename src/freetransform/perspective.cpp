// Perspective by normalised point lists, on Qt's own QTransform::quadToQuad
// and QImage::transformed: the transform, the validity check, the warp of an
// image and a rectangle, and the warp onto a quad with the fold of twisted
// quads.
#include <vqutil/transform.h>

#include "core/guard.h"
#include "freetransform/resample.h"

#include <QDebug>
#include <QLineF>
#include <QPainter>
#include <QPolygonF>

#include <cmath>

namespace {

bool fourFinitePoints(const QVector<QPointF>& points) {
    if (points.size() != 4)
        return false;
    for (const QPointF& p : points)
        if (!std::isfinite(p.x()) || !std::isfinite(p.y()))
            return false;
    return true;
}

QPolygonF scaledBy(const QVector<QPointF>& points, double w, double h) {
    QPolygonF scaled;
    for (const QPointF& p : points)
        scaled << QPointF(p.x() * w, p.y() * h);
    return scaled;
}

// QPointF's own comparison, which is fuzzy.
bool allPairsEqual(const QPolygonF& a, const QPolygonF& b) {
    for (int i = 0; i < 4; ++i)
        if (a[i] != b[i])
            return false;
    return true;
}

bool quadToQuad(const QPolygonF& from, const QPolygonF& to, QTransform& t) {
    QTransform found;
    if (!QTransform::quadToQuad(from, to, found))
        return false;
    t = found;
    return true;
}

QPolygonF quadOf(const QPointF& a, const QPointF& b, const QPointF& c, const QPointF& d) {
    return QPolygonF(QVector<QPointF>{a, b, c, d});
}

// The four corners of a w x h rectangle at the origin, clockwise.
QPolygonF rectangleCorners(double w, double h) { return quadOf({0, 0}, {w, 0}, {w, h}, {0, h}); }

// Paints `piece` mapped onto `quad` (clockwise) at the aligned box of its
// mapped rectangle, which is where QImage::transformed puts its origin.
// False when there is no bounded map.
bool paintOnto(QPainter& painter, const QImage& piece, const QPolygonF& quad) {
    if (piece.isNull())
        return false;
    const QRectF area(0, 0, piece.width(), piece.height());
    QTransform t;
    if (!quadToQuad(rectangleCorners(area.width(), area.height()), quad, t) || !vq::isBoundedOn(t, area))
        return false;
    const QImage mapped = vq::boundedTransformed(piece, t, Qt::SmoothTransformation);
    if (mapped.isNull())
        return false;
    painter.drawImage(t.mapRect(area).toAlignedRect().topLeft(), mapped);
    return true;
}

bool crossWithin(const QLineF& a, const QLineF& b) {
    QPointF at;
    return a.intersects(b, &at) == QLineF::BoundedIntersection;
}

QPointF midpoint(const QPointF& a, const QPointF& b) { return (a + b) / 2; }

}  // namespace

bool getPerspectiveTransform(QTransform& t, const QSize& size, const QVector<QPointF>& from,
                             const QVector<QPointF>& to) {
    if (!fourFinitePoints(from) || !fourFinitePoints(to))
        return false;
    const QPolygonF a = scaledBy(from, size.width(), size.height());
    const QPolygonF b = scaledBy(to, size.width(), size.height());
    if (allPairsEqual(a, b))
        return true;
    return quadToQuad(a, b, t);
}

bool checkPerspectiveWarpValid(const QImageEx& img, const QVector<QPointF>& from, const QVector<QPointF>& to) {
    if (img.isNull() || !fourFinitePoints(from) || !fourFinitePoints(to))
        return false;
    const double w = img.width(), h = img.height();
    const QPolygonF a = scaledBy(from, w, h), b = scaledBy(to, w, h);
    if (allPairsEqual(a, b))
        return true;
    QTransform t;
    if (!quadToQuad(a, b, t))
        return false;
    const QRectF target = t.map(QPolygonF(QRectF(0, 0, w, h))).boundingRect();
    if (!vq::isRepresentableRect(target) || target.height() * target.width() > 9e6)
        return false;
    qDebug().nospace() << "checkPerspectiveWarpValid targetRect=" << target;
    return !vq::boundedTransformed(img, t, Qt::FastTransformation).isNull();
}

bool doPerspectiveWarp(QImageEx& img, const QVector<QPointF>& from, const QVector<QPointF>& to, QRectF& rect,
                       bool smooth) {
    if (img.isNull() || !vq::isRepresentableRect(rect))
        return false;
    QTransform t;
    if (!getPerspectiveTransform(t, img.size(), from, to))
        return false;
    const QImage warped =
        vq::boundedTransformed(img, t, smooth ? Qt::SmoothTransformation : Qt::FastTransformation);
    if (warped.isNull())
        return false;
    img = warped;
    QTransform forRect;
    const bool result = getPerspectiveTransform(forRect, rect.size().toSize(), from, to);
    const QRectF source = rect;
    rect = forRect.map(QPolygonF(rect)).boundingRect();
    qDebug().nospace() << "doPerspectiveWarp sourceRect=" << source << ",targetRect=" << rect;
    return result;
}

bool doPerspectiveTransform(QImageEx& img, QVector<QPointF>& to) {
    if (img.isNull() || !fourFinitePoints(to))
        return false;
    const int w = img.width(), h = img.height();
    const QPolygonF square = scaledBy({{0, 0}, {1, 0}, {1, 1}, {0, 1}}, w, h);
    const QPolygonF quad = scaledBy(to, w, h);
    if (allPairsEqual(square, quad))
        return true;
    const bool sidesCross = crossWithin(QLineF(quad[1], quad[2]), QLineF(quad[0], quad[3]));
    const bool topAndBottomCross = crossWithin(QLineF(quad[0], quad[1]), QLineF(quad[3], quad[2]));
    return vq::guarded(false, [&] {
        QImage canvas(w, h, QImage::Format_ARGB32);
        if (canvas.isNull())
            return false;
        canvas.fill(Qt::transparent);
        QPainter painter(&canvas);
        if (sidesCross) {
            // Folded across its middle row: top and bottom halves.
            const int half = h / 2;
            const QPointF left = midpoint(quad[0], quad[3]), right = midpoint(quad[1], quad[2]);
            paintOnto(painter, img.copy(0, 0, w, half), quadOf(quad[0], quad[1], right, left));
            paintOnto(painter, img.copy(0, half, w, h - half), quadOf(left, right, quad[2], quad[3]));
        } else if (topAndBottomCross) {
            // Folded across its middle column: left and right halves.
            const int half = w / 2;
            const QPointF top = midpoint(quad[0], quad[1]), bottom = midpoint(quad[3], quad[2]);
            paintOnto(painter, img.copy(0, 0, half, h), quadOf(quad[0], top, bottom, quad[3]));
            paintOnto(painter, img.copy(half, 0, w - half, h), quadOf(top, quad[1], quad[2], bottom));
        } else if (!paintOnto(painter, img, quad)) {
            return false;
        }
        painter.end();
        img = canvas;
        return true;
    });
}
