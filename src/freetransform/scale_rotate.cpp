// Whole-image scaling, rotation, padding and mirroring, and the view
// rescaling of selection masks.
#include <vqutil/transform.h>

#include "core/guard.h"
#include "core/image_rows.h"

#include <cmath>
#include <cstring>
#include <vector>

namespace {

// Per-column and per-row parts of the rotation sums, computed once with the
// same operations, in the same order, as the per-pixel expressions.
struct RotationTerms {
    std::vector<double> columnX, columnY;  // x' c sw / w, x' s sw / w
    std::vector<double> rowX, rowY;        // y' s sh / h, y' c sh / h
};

RotationTerms rotationTerms(int W, int H, double s, double c, int sw, int sh, int w, int h) {
    RotationTerms t;
    t.columnX.resize(W);
    t.columnY.resize(W);
    for (int i = 0; i < W; ++i) {
        const int x = i - (W >> 1);
        t.columnX[i] = x * c * sw / w;
        t.columnY[i] = x * s * sw / w;
    }
    t.rowX.resize(H);
    t.rowY.resize(H);
    for (int j = 0; j < H; ++j) {
        const int y = j - (H >> 1);
        t.rowX[j] = y * s * sh / h;
        t.rowY[j] = y * c * sh / h;
    }
    return t;
}

void rotateBytesRow(const RotationTerms& t, int j, const uint8_t* src, qsizetype srcStride, int sw, int sh,
                    uint8_t fill, uint8_t* out, int W) {
    const double halfW = sw >> 1;
    const double halfH = sh >> 1;
    const double rowX = t.rowX[j];
    const double rowY = t.rowY[j];
    for (int i = 0; i < W; ++i) {
        const int sx = vq::truncToInt(t.columnX[i] + halfW - rowX);
        const int sy = vq::truncToInt(t.columnY[i] + rowY + halfH);
        const bool inside = sx >= 0 && sx <= sw - 1 && sy >= 0 && sy <= sh - 1;
        out[i] = inside ? src[sy * srcStride + sx] : fill;
    }
}

// 1-bit sources: bit sx of the source row goes to bit i of the output row.
void rotateBitsRow(const RotationTerms& t, int j, const uint8_t* src, qsizetype srcStride, int sw, int sh,
                   uint8_t* out, int W) {
    const double halfW = sw >> 1;
    const double halfH = sh >> 1;
    const double rowX = t.rowX[j];
    const double rowY = t.rowY[j];
    for (int i = 0; i < W; ++i) {
        const int sx = vq::truncToInt(t.columnX[i] + halfW - rowX);
        const int sy = vq::truncToInt(t.columnY[i] + rowY + halfH);
        const uint8_t bit = static_cast<uint8_t>(0x80 >> (i & 7));
        if (sx >= 0 && sx <= sw - 1 && sy >= 0 && sy <= sh - 1) {
            if ((src[sy * srcStride + (sx >> 3)] >> (7 - (sx & 7))) & 1)
                out[i >> 3] |= bit;
        } else {
            out[i >> 3] &= static_cast<uint8_t>(~bit);
        }
    }
}

bool scaleRotate(QImageEx& dst, const QImageEx& src, int width, int height, double angle, unsigned char fill) {
    if (src.isNull())
        return false;
    const double s = std::sin(angle);
    const double c = std::cos(angle);
    const int sw = src.width();
    const int sh = src.height();
    const int w = width;
    const int h = height;
    const int W = vq::truncToInt(h * std::fabs(s) + w * std::fabs(c));
    const int H = vq::truncToInt(h * std::fabs(c) + w * std::fabs(s));
    QImageEx out;
    if (!QImageEx::create(out, W, H, QImage::Format_Grayscale8))
        return false;

    const RotationTerms terms = rotationTerms(W, H, s, c, sw, sh, w, h);
    const uint8_t* source = src.constBits();
    const qsizetype sourceStride = src.bytesPerLine();
    uint8_t* bits = out.bits();
    const qsizetype stride = out.bytesPerLine();
    const bool bitAddressed = src.depth() == 1;
    if (bitAddressed)
        std::memset(bits, 0, out.sizeInBytes());
    for (int j = 0; j < H; ++j) {
        uint8_t* row = bits + j * stride;
        if (bitAddressed)
            rotateBitsRow(terms, j, source, sourceStride, sw, sh, row, W);
        else
            rotateBytesRow(terms, j, source, sourceStride, sw, sh, fill, row, W);
    }
    dst = out;
    return true;
}

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

bool scaleRotateImage(QImageEx& dst, const QImageEx& src, int width, int height, double angle,
                      unsigned char fill) {
    return vq::guarded(false, [&] { return scaleRotate(dst, src, width, height, angle, fill); });
}

bool selection_fast_scale(QImageEx& dst, const QSize& size, QImageEx& src, QRect& srcRect, QRect& dstRect,
                          QSizeF& scale, QSize& canvas, QRect& clip) {
    return vq::guarded(false, [&] {
        return scaleMaskIntoView(dst, size, src, srcRect, dstRect, scale, canvas, clip);
    });
}

bool ScaleDibAll(QImageEx& img, long width, long height, bool) {
    img = img.scaled(vq::clampToInt(width), vq::clampToInt(height), Qt::IgnoreAspectRatio,
                     Qt::SmoothTransformation);
    return true;
}

bool Scale8BitDib(QImageEx&, long, long, bool) { return true; }

bool MirrorDib(QImageEx&, int) { return true; }

bool ThEnlargeImage(QImageEx& dst, QImageEx& src, int pad, unsigned char fill) {
    const int bytesPerPixel = vq::bytesPerPixel(src);
    const int64_t grow = 2 * int64_t{pad};
    QImageEx out;
    if (!QImageEx::create(out, vq::clampToInt(src.width() + grow), vq::clampToInt(src.height() + grow),
                          src.format()))
        return false;
    if (src.colorCount() > 0)
        out.setColorTable(src.colorTable());
    out.fill(static_cast<uint>(fill));

    // Source (0, 0) lands at (pad, pad); only the overlap is copied.
    const vq::IndexRange rows = vq::visibleRange(pad, src.height(), out.height());
    const vq::IndexRange columns = vq::visibleRange(pad, src.width(), out.width());
    const qsizetype rowBytes = static_cast<qsizetype>(columns.end - columns.begin) * bytesPerPixel;
    for (int y = rows.begin; y < rows.end && rowBytes > 0; ++y)
        std::memcpy(out.scanLine(y + pad) + static_cast<qsizetype>(columns.begin + pad) * bytesPerPixel,
                    src.constScanLine(y) + static_cast<qsizetype>(columns.begin) * bytesPerPixel, rowBytes);
    dst = out;
    return true;
}
