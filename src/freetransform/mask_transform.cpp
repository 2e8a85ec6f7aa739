// getMaskResultFromTranform: a selection mask moved with a QTransform by
// forward mapping of its pixels, with the enlargement holes optionally
// closed through the inverse.
#include <vqutil/transform.h>

#include "core/guard.h"
#include "core/parallel.h"
#include "freetransform/projective_matrix.h"
#include "freetransform/resample.h"

#include <algorithm>
#include <vector>

namespace {

// QTransform's matrix (row vectors, translation in the third row) in the
// column form of ProjectiveMatrix.
vq::ProjectiveMatrix projectiveOf(const QTransform& t) {
    vq::ProjectiveMatrix m;
    const double entries[9] = {t.m11(), t.m21(), t.m31(), t.m12(), t.m22(), t.m32(), t.m13(), t.m23(), t.m33()};
    std::copy(entries, entries + 9, m.m);
    return m;
}

// The pixels of the mask that `rect` names: its aligned rectangle clipped to
// the mask, or the whole mask for an empty rect.
QRect maskPart(const QImage& mask, const QRectF& rect) {
    if (rect.isEmpty())
        return mask.rect();
    if (!vq::isRepresentableRect(rect))
        return QRect();
    return rect.toAlignedRect() & mask.rect();
}

// Gives every pixel of `out` that nothing landed on the byte of the part's
// pixel nearest to its inverse image (rows in parallel bands).
void fillHoles(QImage& out, const std::vector<bool>& reached, const QImage& src, const QRect& part,
               const QTransform& inverse, const QRect& box) {
    const vq::ProjectiveMatrix back = projectiveOf(inverse);
    uint8_t* bits = out.bits();
    const qsizetype stride = out.bytesPerLine();
    const uint8_t* source = src.constBits();
    const qsizetype sourceStride = src.bytesPerLine();
    const int width = box.width();
    processLinesParallel(0, box.height(), [&](int j, int end) {
        for (; j < end; ++j)
            for (int i = 0; i < width; ++i) {
                if (reached[size_t(j) * width + i])
                    continue;
                const QPointF p = back.map(box.left() + i, box.top() + j);
                if (!(p.x() > part.left() - 1 && p.x() < part.right() + 1 && p.y() > part.top() - 1 &&
                      p.y() < part.bottom() + 1))
                    continue;
                const int x = qRound(p.x()), y = qRound(p.y());
                if (part.contains(x, y))
                    bits[j * stride + i] = source[y * sourceStride + x];
            }
    });
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
        if (smooth)
            fillHoles(out, reached, src, part, inverse, box);
        dst = out;
        rect = QRectF(box);
    });
}
