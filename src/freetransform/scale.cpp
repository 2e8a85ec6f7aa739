// Whole-image smooth scaling, and the rescaling of a selection mask into
// the view of the editor's canvas.
#include <vqutil/transform.h>

#include "core/guard.h"
#include "core/image_rows.h"
#include "core/scaling.h"

#include <algorithm>
#include <vector>

namespace {

bool scaleMaskIntoView(QImageEx& dst, const QSize& size, const QImageEx& src, const QRect& srcRect,
                       const QRect& dstRect, const QSizeF& scale, const QSize& canvas, QRect& clip) {
    if (size.isNull())
        return false;
    const QRect view(0, 0, canvas.width(), canvas.height());
    if (clip.isEmpty())
        clip = view;
    if (clip.width() < 1 || clip.height() < 1)
        return false;
    clip &= view;
    if (canvas.width() < 1 || canvas.height() < 1 || clip.width() < 1 || clip.height() < 1)
        return false;
    if (dst.isNull())
        return false;

    // Source column for every clip column, -1 where the view shows no mask.
    const int64_t dstRight = int64_t{dstRect.left()} + dstRect.width();
    const qsizetype srcRowBytes = vq::usedRowBytes(src);
    std::vector<int> sourceColumn(clip.width(), -1);
    for (int col = 0; col < clip.width(); ++col) {
        const int64_t tx = (int64_t{clip.left()} + col) * size.width() / canvas.width();
        if (tx < dstRect.left() || tx >= dstRight)
            continue;
        const int sx = vq::truncToInt((tx - dstRect.left()) / scale.width() + srcRect.left());
        sourceColumn[col] = sx >= 0 && sx < srcRowBytes ? sx : -1;
    }

    const int64_t dstBottom = int64_t{dstRect.top()} + dstRect.height();
    const int rows = std::min(clip.height(), dst.height());
    const int columns = static_cast<int>(std::min<qsizetype>(clip.width(), vq::usedRowBytes(dst)));
    uint8_t* out = dst.bits();
    const qsizetype outStride = dst.bytesPerLine();
    const uint8_t* in = src.constBits();
    const qsizetype inStride = src.bytesPerLine();
    for (int r = 0; r < rows; ++r) {
        const int64_t ty = (int64_t{clip.top()} + r) * size.height() / canvas.height();
        if (ty < dstRect.top() || ty >= dstBottom)
            continue;
        const int sy = vq::truncToInt((ty - dstRect.top()) / scale.height() + srcRect.top());
        if (sy < 0 || sy >= src.height())
            continue;
        const uint8_t* sourceRow = in + sy * inStride;
        uint8_t* row = out + r * outStride;
        for (int col = 0; col < columns; ++col)
            if (sourceColumn[col] >= 0)
                row[col] = sourceRow[sourceColumn[col]];
    }
    return true;
}

}  // namespace

bool selection_fast_scale(QImageEx& dst, const QSize& size, QImageEx& src, QRect& srcRect, QRect& dstRect,
                          QSizeF& scale, QSize& canvas, QRect& clip) {
    return vq::guarded(false, [&] {
        return scaleMaskIntoView(dst, size, src, srcRect, dstRect, scale, canvas, clip);
    });
}

bool ScaleDibAll(QImageEx& img, long width, long height, bool) {
    img = vq::smoothScaled(img, vq::clampToInt(width), vq::clampToInt(height));
    return true;
}

bool Scale8BitDib(QImageEx&, long, long, bool) { return true; }
