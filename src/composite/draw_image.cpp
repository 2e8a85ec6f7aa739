// Placing one image in a rectangle of another (drawImageOnImage) and plain
// block copies (replaceImageBlock).
#include <vqutil/composite.h>

#include "core/guard.h"
#include "core/image_rows.h"
#include "core/pixel_math.h"
#include "core/scaling.h"

#include <QDebug>

#include <algorithm>
#include <cstring>

namespace {

// What the flags of drawImageOnImage ask for, decided once per call.
struct DrawFlags {
    bool replace;
    bool keepMaxAlpha;
    bool allChannels;
    bool chosen[3];  // blue, green, red
    bool flattenOnWhite;
    bool grayFromBlue;
};

inline uint8_t byteOf(uint32_t pixel, int b) { return static_cast<uint8_t>(pixel >> (8 * b)); }

// The colour bytes a channel set writes, as a mask of the pixel word.
uint32_t channelBytes(const DrawFlags& f) {
    if (f.allChannels)
        return 0x00FFFFFFu;
    return (f.chosen[0] ? 0x0000FFu : 0) | (f.chosen[1] ? 0x00FF00u : 0) | (f.chosen[2] ? 0xFF0000u : 0);
}

// Source over destination by the source alpha; a transparent destination
// pixel takes the source whole. Branch-free so that it vectorises.
template <bool KeepMaxAlpha>
VQ_MULTIVERSION void blendOverRow(uint32_t* d, const uint32_t* s, int count, uint32_t written) {
    for (int i = 0; i < count; ++i) {
        const uint32_t sp = s[i];
        const uint32_t dp = d[i];
        const uint32_t a = sp >> 24;
        const uint32_t da = dp >> 24;
        const uint32_t ia = 255 - a;
        const uint32_t b = vq::div255((sp & 0xFF) * a + (dp & 0xFF) * ia);
        const uint32_t g = vq::div255(((sp >> 8) & 0xFF) * a + ((dp >> 8) & 0xFF) * ia);
        const uint32_t r = vq::div255(((sp >> 16) & 0xFF) * a + ((dp >> 16) & 0xFF) * ia);
        const uint32_t alpha = KeepMaxAlpha ? (da > a ? da : a) : vq::div255(a * a + da * ia);
        const uint32_t colour = ((b | g << 8 | r << 16) & written) | (dp & 0x00FFFFFFu & ~written);
        d[i] = da == 0 ? sp : colour | alpha << 24;
    }
}

// The replace paths: whole pixels, grey from blue, or chosen bytes, each
// optionally flattened onto white by the source alpha. Alpha is kept except
// by the whole-pixel copy.
void replaceRow(uint32_t* d, const uint32_t* s, int count, const DrawFlags& f) {
    if (f.allChannels) {
        std::memcpy(d, s, sizeof(uint32_t) * count);
        return;
    }
    for (int i = 0; i < count; ++i) {
        const uint32_t sp = s[i];
        const unsigned a = sp >> 24;
        uint8_t* dp = reinterpret_cast<uint8_t*>(d + i);
        if (f.grayFromBlue) {
            const unsigned blue = byteOf(sp, 0);
            const uint8_t v = static_cast<uint8_t>(f.flattenOnWhite ? (255 - a) + blue * a / 255 : blue);
            dp[0] = dp[1] = dp[2] = v;
            continue;
        }
        for (int b = 0; b < 3; ++b)
            if (f.chosen[b])
                dp[b] = static_cast<uint8_t>(f.flattenOnWhite ? byteOf(sp, b) * a / 255 + (255 - a) : byteOf(sp, b));
    }
}

void blendOver(uint32_t* d, const uint32_t* s, int count, const DrawFlags& f) {
    if (f.keepMaxAlpha)
        blendOverRow<true>(d, s, count, channelBytes(f));
    else
        blendOverRow<false>(d, s, count, channelBytes(f));
}

void greyIntoArgbRow(uint32_t* d, const uint8_t* s, int count) {
    for (int i = 0; i < count; ++i)
        d[i] = 0xFF000000u | (uint32_t{s[i]} * 0x010101u);
}

// Draws `piece`, already of `area`'s size, into `area` (inside dst).
bool drawPiece(QImageEx& dst, const QRect& area, QImageEx piece, const DrawFlags& flags) {
    if (piece.format() != QImage::Format_Grayscale8 && piece.depth() != 32)
        piece.convertTo(QImage::Format_ARGB32);
    const int pieceBytes = vq::bytesPerPixel(piece);
    if (pieceBytes == 4) {
        if (!convertToArgbEx(dst, dst, false))
            return false;
    } else if (pieceBytes != 1 || (dst.depth() != 8 && dst.depth() != 32)) {
        return false;
    }
    if (piece.size() != area.size())
        return false;

    uint8_t* bits = dst.bits();
    const qsizetype stride = dst.bytesPerLine();
    const int destBytes = vq::bytesPerPixel(dst);
    for (int j = 0; j < area.height(); ++j) {
        uint8_t* d = bits + (area.top() + j) * stride + static_cast<qsizetype>(area.left()) * destBytes;
        const uint8_t* s = piece.constScanLine(j);
        uint32_t* d32 = reinterpret_cast<uint32_t*>(d);
        if (pieceBytes == 1) {
            if (destBytes == 4)
                greyIntoArgbRow(d32, s, area.width());
            else
                std::memcpy(d, s, area.width());
        } else if (flags.replace) {
            replaceRow(d32, reinterpret_cast<const uint32_t*>(s), area.width(), flags);
        } else {
            blendOver(d32, reinterpret_cast<const uint32_t*>(s), area.width(), flags);
        }
    }
    return true;
}

// The part of srcRect that lands in the visible part of dstRect, as the
// original computes it: proportional offsets, and a width taken from the
// heights (srcRect.height() x visible width / dstRect.height()).
QRect shrunkSource(const QRect& srcRect, const QRect& dstRect, const QRect& visible) {
    const int64_t left = srcRect.left() + int64_t{srcRect.width()} * (visible.left() - dstRect.left()) / dstRect.width();
    const int64_t top = srcRect.top() + int64_t{srcRect.height()} * (visible.top() - dstRect.top()) / dstRect.height();
    const int64_t width = int64_t{srcRect.height()} * visible.width() / dstRect.height();
    const int64_t height = int64_t{srcRect.height()} * visible.height() / dstRect.height();
    return QRect(vq::clampToInt(left), vq::clampToInt(top), vq::clampToInt(width), vq::clampToInt(height));
}

bool drawScaled(QImageEx& dst, const QRect& dstRect, const QImageEx& src, const QRect& srcRectIn,
                const DrawFlags& flags) {
    if (src.isNull())
        return false;
    const QRect srcRect = srcRectIn.isEmpty() ? src.rect() : srcRectIn;
    const QRect visible = dstRect & dst.rect();
    QRect part = srcRect & src.rect();
    if (dstRect.width() == 0 || dstRect.height() == 0)
        return false;
    if (visible != dstRect)
        part = shrunkSource(srcRect, dstRect, visible);

    QImageEx piece = src;
    if (part != piece.rect())
        piece = piece.copy(part);
    if (piece.isNull() || visible.isEmpty())
        return false;
    if (piece.size() != visible.size())
        piece = vq::smoothScaled(piece, visible.width(), visible.height());
    if (piece.isNull() || visible.isEmpty())
        return false;
    return drawPiece(dst, visible, piece, flags);
}

}  // namespace

bool drawImageOnImage(QImageEx& dst, const QRect& dstRect, const QImageEx& src, const QRect& srcRect, bool replace,
                      bool keepMaxAlpha, int channels, bool flattenOnWhite, bool grayFromBlue) {
    const DrawFlags flags{replace,
                          keepMaxAlpha,
                          (channels & 15) == 15,
                          {(channels & 1) != 0, (channels & 2) != 0, (channels & 4) != 0},
                          flattenOnWhite,
                          grayFromBlue};
    return vq::guarded(false, [&] { return drawScaled(dst, dstRect, src, srcRect, flags); });
}

void replaceImageBlock(QImageEx& dst, const QImageEx& src, const QRect& rect) {
    if (vq::bytesPerPixel(src) != vq::bytesPerPixel(dst)) {
        qDebug("QImageEx::mergerImage error,channels != dst_channels");
        return;
    }
    if (src.size() != dst.size())
        return;
    const QRect area = rect & dst.rect();
    const int bytesPerPixel = vq::bytesPerPixel(dst);
    if (area.isEmpty() || bytesPerPixel == 0)
        return;
    const qsizetype offset = static_cast<qsizetype>(area.left()) * bytesPerPixel;
    const qsizetype rowBytes = static_cast<qsizetype>(area.width()) * bytesPerPixel;
    uint8_t* bits = dst.bits();
    const qsizetype stride = dst.bytesPerLine();
    for (int y = area.top(); y <= area.bottom(); ++y)
        std::memcpy(bits + y * stride + offset, src.constScanLine(y) + offset, rowBytes);
}
