// Distortion by four corners and by shear: the corner helpers, the Qt-based
// unifiedtransform and shear_unifiedtransform, and unifiedtransformEx on the
// library's own projective resampler.
#include <vqutil/transform.h>

#include "core/guard.h"
#include "core/image_rows.h"
#include "freetransform/corners.h"
#include "freetransform/projective_matrix.h"
#include "freetransform/resample.h"

#include <QDebug>
#include <QPolygonF>

#include <algorithm>
#include <cmath>

namespace vq {

QPoint rectCorner(const QRect& rect, int i) {
    // Win32 style: one past the right and bottom edges, widened so that
    // rectangles at the ends of the int range do not overflow.
    const int64_t x = (i & 1) ? int64_t{rect.right()} + 1 : rect.left();
    const int64_t y = (i & 2) ? int64_t{rect.bottom()} + 1 : rect.top();
    return QPoint(clampToInt(x), clampToInt(y));
}

QPoint effectiveCorner(const QRect& rect, const QPoint* corners, int i) {
    return corners[i].isNull() ? rectCorner(rect, i) : corners[i];
}

bool cornersChanged(const QRect& rect, const QPoint* corners) {
    for (int i = 0; i < 4; ++i)
        if (!corners[i].isNull() && corners[i] != rectCorner(rect, i))
            return true;
    return false;
}

}  // namespace vq

using vq::ProjectiveMatrix;

void get_image_point(QPoint* corners, const QRect& rect) {
    if (!corners)
        return;
    for (int i = 0; i < 4; ++i)
        corners[i] = vq::rectCorner(rect, i);
}

bool get_image_outer_box(QRect& box, const QImageEx& img, QPoint* corners) {
    if (!corners)
        return false;
    const QRect rect(0, 0, img.width(), img.height());
    int64_t minX = INT64_MAX, minY = INT64_MAX, maxX = INT64_MIN, maxY = INT64_MIN;
    for (int i = 0; i < 4; ++i) {
        const QPoint p = vq::effectiveCorner(rect, corners, i);
        minX = std::min<int64_t>(minX, p.x());
        maxX = std::max<int64_t>(maxX, p.x());
        minY = std::min<int64_t>(minY, p.y());
        maxY = std::max<int64_t>(maxY, p.y());
    }
    box = QRect(int(minX), int(minY), vq::clampToInt(maxX - minX), vq::clampToInt(maxY - minY));
    return true;
}

bool get_transform_client(QRectF& client, const QImageEx& img, QPoint* corners, const QRectF& rect) {
    if (img.isNull() || !corners || !vq::isRepresentableRect(rect) || rect.isEmpty())
        return false;
    QRect box;
    get_image_outer_box(box, img, corners);
    const double kx = rect.width() / img.width(), ky = rect.height() / img.height();
    client = QRectF(rect.x() + box.x() * kx, rect.y() + box.y() * ky, box.width() * kx, box.height() * ky);
    return true;
}

bool getTransformFromPoints(QTransform& t, const QRect& rect, QPoint* corners) {
    if (!corners || !vq::cornersChanged(rect, corners))
        return false;
    QPolygonF from, to;
    for (int i = 0; i < 4; ++i) {
        from << vq::rectCorner(rect, i);
        to << vq::effectiveCorner(rect, corners, i);
    }
    QTransform found;
    if (!QTransform::quadToQuad(from, to, found))
        return false;
    const QRectF probe = found.map(QPolygonF(QRectF(0, 0, 1000, 1000))).boundingRect();
    if (!vq::isRepresentableRect(probe))
        return false;
    const QRect aligned = probe.toAlignedRect();
    if (aligned.width() > 32768 || aligned.height() > 32768)
        return false;
    t = found;
    return true;
}

namespace {

Qt::TransformationMode modeOf(bool smooth) { return smooth ? Qt::SmoothTransformation : Qt::FastTransformation; }

bool shearIsNone(double shearX, double shearY) {
    return vq::truncToInt(shearX * 10000) == 0 && vq::truncToInt(shearY * 10000) == 0;
}

bool assignIfMade(QImageEx& dst, const QImage& made) {
    if (made.isNull())
        return false;
    dst = made;
    return true;
}

// Steps 3 to 8 of unifiedtransformEx for a forward matrix over the source.
bool resampleForward(QImageEx& dst, const QImageEx& src, ProjectiveMatrix matrix, const QSize& size,
                     const QRect& clip, Qt::TransformationMode mode, const QColor& background) {
    const double w = src.width(), h = src.height();
    const QPointF mapped[4] = {matrix.map(0, 0), matrix.map(w, 0), matrix.map(0, h), matrix.map(w, h)};
    double minX = mapped[0].x(), maxX = minX, minY = mapped[0].y(), maxY = minY;
    bool finite = true;
    for (const QPointF& p : mapped) {
        finite = finite && std::isfinite(p.x()) && std::isfinite(p.y());
        minX = std::min(minX, p.x());
        maxX = std::max(maxX, p.x());
        minY = std::min(minY, p.y());
        maxY = std::max(maxY, p.y());
    }
    const QRectF bounds(QPointF(minX, minY), QPointF(maxX, maxY));
    const QRect box = finite && vq::isRepresentableRect(bounds) ? bounds.toRect() : QRect();
    if (box.isEmpty()) {
        qDebug("unifiedtransformEx failed");
        return false;
    }
    matrix.translate(-box.left(), -box.top());
    if (!size.isEmpty() && size != src.size())
        matrix.scale(double(size.width()) / src.width(), double(size.height()) / src.height());
    matrix.invert();
    const QRect out = clip.isEmpty() ? QRect(0, 0, box.width(), box.height()) : clip;
    if (!vq::fitsOutputRect(out, 32))
        return false;
    const QImage argb = vq::asArgb32(src);
    return !argb.isNull() &&
           vq::resampleThrough(dst, argb, out, matrix, mode == Qt::SmoothTransformation, background);
}

}  // namespace

bool unifiedtransform(QImageEx& dst, QRect&, const QImageEx& src, QPoint* corners, bool smooth, QColor) {
    if (src.isNull())
        return false;
    QTransform t;
    if (!getTransformFromPoints(t, QRect(0, 0, src.width(), src.height()), corners))
        return false;
    return assignIfMade(dst, vq::boundedTransformed(src, t, modeOf(smooth)));
}

bool shear_unifiedtransform(QImageEx& dst, QRect&, const QImageEx& src, double shearX, double shearY, bool smooth,
                            QColor) {
    if (shearIsNone(shearX, shearY) || src.isNull())
        return false;
    return assignIfMade(dst, vq::boundedTransformed(src, QTransform().shear(shearX, shearY), modeOf(smooth)));
}

bool unifiedtransformEx(QImageEx& dst, const QImageEx& src, QPoint* corners, const QSize& size, const QRect& clip,
                        Qt::TransformationMode mode, QColor background) {
    if (src.isNull() || !corners)
        return false;
    const QRect rect(0, 0, src.width(), src.height());
    if (!vq::cornersChanged(rect, corners))
        return false;
    QPointF quad[4];
    for (int i = 0; i < 4; ++i)
        quad[i] = vq::effectiveCorner(rect, corners, i);
    const ProjectiveMatrix matrix = ProjectiveMatrix::rectToQuad(0, 0, src.width(), src.height(), quad);
    return resampleForward(dst, src, matrix, size, clip, mode, background);
}

bool unifiedtransformEx(QImageEx& dst, const QImageEx& src, double shearX, double shearY, const QSize& size,
                        const QRect& clip, Qt::TransformationMode mode, QColor background) {
    if (shearIsNone(shearX, shearY) || src.isNull())
        return false;
    ProjectiveMatrix matrix;
    matrix.shearX(shearX).shearY(shearY);
    return resampleForward(dst, src, matrix, size, clip, mode, background);
}
