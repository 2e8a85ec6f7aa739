// getMaskResultFromTranform: a selection mask moved with a QTransform by
// forward mapping of its pixels, with the enlargement holes optionally
// closed through the inverse.
#include <vqutil/transform.h>

#include "core/guard.h"
#include "freetransform/resample.h"

#include <algorithm>
#include <vector>

namespace {

// The pixels of the mask that `rect` names: its aligned rectangle clipped to
// the mask, or the whole mask for an empty rect.
QRect maskPart(const QImage& mask, const QRectF& rect) {
    if (rect.isEmpty())
        return mask.rect();
    if (!vq::isRepresentableRect(rect))
        return QRect();
    return rect.toAlignedRect() & mask.rect();
}

}  // namespace

void getMaskResultFromTranform(QImageEx& dst, QImageEx& src, QRectF& rect, QTransform& t, bool smooth) {
    if (src.isNull() || src.depth() != 8)
        return;
    const QRect part = maskPart(src, rect);
    if (part.isEmpty() || !vq::isBoundedOn(t, QRectF(part)))
        return;
    const QRectF mapped = t.mapRect(QRectF(part));
    if (!vq::isRepresentableRect(mapped))
        return;
    const QRect box = mapped.toAlignedRect();
    if (!vq::fitsOutputRect(box, 8))
        return;
    bool invertible = true;
    const QTransform inverse = t.inverted(&invertible);
    if (smooth && !invertible)
        return;
    vq::guarded([&] {
        QImageEx out;
        if (!QImageEx::create(out, box.width(), box.height(), QImage::Format_Grayscale8))
            return;
        out.fill(255);
        uint8_t* bits = out.bits();
        const qsizetype stride = out.bytesPerLine();
        std::vector<bool> reached(smooth ? size_t(box.width()) * box.height() : 0);
        for (int y = part.top(); y <= part.bottom(); ++y) {
            const uint8_t* row = src.constScanLine(y);
            for (int x = part.left(); x <= part.right(); ++x) {
                int tx, ty;
                t.map(x, y, &tx, &ty);
                tx -= box.left();
                ty -= box.top();
                if (tx < 0 || ty < 0 || tx >= box.width() || ty >= box.height())
                    continue;
                uint8_t& target = bits[ty * stride + tx];
                target = std::min(target, row[x]);
                if (smooth)
                    reached[size_t(ty) * box.width() + tx] = true;
            }
        }
        if (smooth) {
            for (int j = 0; j < box.height(); ++j)
                for (int i = 0; i < box.width(); ++i) {
                    if (reached[size_t(j) * box.width() + i])
                        continue;
                    const QPointF back = inverse.map(QPointF(box.left() + i, box.top() + j));
                    if (!(back.x() > part.left() - 1 && back.x() < part.right() + 1 && back.y() > part.top() - 1 &&
                          back.y() < part.bottom() + 1))
                        continue;
                    const QPoint nearest(qRound(back.x()), qRound(back.y()));
                    if (part.contains(nearest))
                        bits[j * stride + i] = src.constScanLine(nearest.y())[nearest.x()];
                }
        }
        dst = out;
        rect = QRectF(box);
    });
}
