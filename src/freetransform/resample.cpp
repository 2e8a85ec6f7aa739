// The resampler of unifiedtransformEx: the output image, its background and
// the band split around the row kernels of resample_kernels.h.
#include "freetransform/resample.h"

#include "core/guard.h"
#include "core/image_rows.h"
#include "core/large_image.h"
#include "core/parallel.h"
#include "freetransform/resample_kernels.h"

#include <QPolygonF>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <vector>

namespace vq {

bool fitsResultBytes(int64_t width, int64_t height, int depth) {
    constexpr int64_t kMaxBytes = int64_t{1} << 31;
    if (width <= 0 || height <= 0 || width > kMaxBytes || height > kMaxBytes)
        return false;
    const int64_t rowBytes = (width * depth + 31) / 32 * 4;
    return rowBytes <= kMaxBytes / height;
}

bool fitsOutputRect(const QRect& rect, int depth) {
    const int64_t width = int64_t{rect.right()} - rect.left() + 1;
    const int64_t height = int64_t{rect.bottom()} - rect.top() + 1;
    return int64_t{rect.left()} + width <= INT_MAX && int64_t{rect.top()} + height <= INT_MAX &&
           fitsResultBytes(width, height, depth);
}

bool isRepresentableRect(const QRectF& rect) {
    constexpr double kLimit = 1 << 30;
    const double values[4] = {rect.left(), rect.top(), rect.right(), rect.bottom()};
    for (double v : values)
        if (!(std::fabs(v) <= kLimit))
            return false;
    return true;
}

QImage asArgb32(const QImage& image) {
    if (image.format() == QImage::Format_ARGB32)
        return image;
    if (image.depth() == 32) {
        QImage copy = image;
        copy.convertTo(QImage::Format_ARGB32);
        return copy;
    }
    return image.convertToFormat(QImage::Format_ARGB32);
}

namespace {

// The bytes QImage::fill(background) writes into one pixel of this format.
std::vector<uint8_t> backgroundBytes(const QImage& like, const QColor& background) {
    QImage one(1, 1, like.format());
    one.setColorTable(like.colorTable());
    one.fill(background);
    const int bytes = std::max(1, like.depth() / 8);
    return std::vector<uint8_t>(one.constBits(), one.constBits() + bytes);
}

}  // namespace

bool resampleThrough(QImageEx& dst, const QImage& src, const QRect& out, const ProjectiveMatrix& inverse, bool smooth,
                     const QColor& background) {
    if (src.isNull() || !fitsOutputRect(out, src.depth()))
        return false;
    return guarded(false, [&] {
        QImageEx result = newLargeImage(out.width(), out.height(), src.format());
        if (result.isNull())
            return false;
        result.setColorTable(src.colorTable());
        const int depth = src.depth();
        const bool bits = depth == 1;
        const bool bilinear = smooth && !bits && src.format() != QImage::Format_Indexed8;
        const bool words = bilinear && depth == 32;
        // The word kernel writes every pixel; the others start from the background.
        if (!words)
            result.fill(background);
        const std::vector<uint8_t> fill = backgroundBytes(src, background);
        uint32_t fillWord = 0;
        std::memcpy(&fillWord, fill.data(), std::min<size_t>(4, fill.size()));

        const SourceRows rows{src.constBits(), src.bytesPerLine(), src.width(), src.height()};
        const int bytesPerPixel = depth / 8;
        uint8_t* target = result.bits();
        const qsizetype stride = result.bytesPerLine();
        const int left = out.left(), right = out.left() + out.width(), top = out.top();
        processLinesParallel(top, out.height(), [&](int y, int end) {
            for (; y < end; ++y) {
                uint8_t* row = target + (y - top) * stride;
                if (words)
                    bilinearSpan(Sampling::Legacy, rows, inverse, fillWord, y, left, right,
                                 reinterpret_cast<uint32_t*>(row));
                else if (bilinear)
                    bilinearSpanBytes(rows, bytesPerPixel, inverse, fill.data(), y, left, right, row);
                else if (bits)
                    nearestSpanBits(rows, inverse, y, left, right, row);
                else
                    nearestSpanBytes(rows, bytesPerPixel, inverse, fill.data(), y, left, right, row);
            }
        });
        dst = result;
        return true;
    });
}

bool isBoundedOn(const QTransform& t, const QRectF& rect) {
    const qreal entries[9] = {t.m11(), t.m12(), t.m13(), t.m21(), t.m22(), t.m23(), t.m31(), t.m32(), t.m33()};
    for (qreal v : entries)
        if (!std::isfinite(v))
            return false;
    if (!isRepresentableRect(rect))
        return false;
    if (t.type() != QTransform::TxProject)
        return true;
    // Qt clamps the denominator at its near plane (1e-6), so that anything
    // below it would land a million times further away than it should.
    constexpr double kNearPlane = 1e-6;
    const QPointF corners[4] = {rect.topLeft(), rect.topRight(), rect.bottomLeft(), rect.bottomRight()};
    for (const QPointF& p : corners)
        if (!(t.m13() * p.x() + t.m23() * p.y() + t.m33() > kNearPlane))
            return false;
    return true;
}

QImage boundedTransformed(const QImage& image, const QTransform& t, Qt::TransformationMode mode) {
    if (image.isNull() || !isBoundedOn(t, QRectF(0, 0, image.width(), image.height())))
        return QImage();
    const QRectF box = t.map(QPolygonF(QRectF(0, 0, image.width(), image.height()))).boundingRect();
    if (!isRepresentableRect(box))
        return QImage();
    const QRect aligned = box.toAlignedRect();
    // Qt's 32-bit working formats are the widest it produces; two pixels of
    // slack cover its own rounding of the size.
    if (!fitsResultBytes(int64_t{aligned.width()} + 2, int64_t{aligned.height()} + 2, 32))
        return QImage();
    return guarded(QImage(), [&] { return withFullColorTable(image).transformed(t, mode); });
}

}  // namespace vq
