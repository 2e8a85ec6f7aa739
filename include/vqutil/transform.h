// vqutil geometric transforms: scaling, rotation, padding and mirroring of
// whole images, and the nearest-pixel rescaling of a selection mask into a
// view. Sampling is nearest-neighbour with truncation toward zero, except in
// ScaleDibAll, which resamples smoothly.
#pragma once

#include <vqutil/core.h>

#include <QRect>
#include <QSize>
#include <QSizeF>

// Scales `src` to width x height and rotates it by `angle` radians about the
// centre into dst, created as an 8-bit Format_Grayscale8 image of
// W = (int)(h|sin| + w|cos|) by H = (int)(h|cos| + w|sin|). Output pixel
// (x', y'), counted from the centre (x' + W/2, y' + H/2), reads the source at
//   sx = (int)(x' cos sw / w + sw/2 - y' sin sh / h)
//   sy = (int)(x' sin sw / w + y' cos sh / h + sh/2)
// taking the byte at column sx of row sy (whatever the source depth), or
// `fill` outside the source. A 1-bit source is bit-addressed on both sides:
// bit sx of its row is ORed into bit x' + W/2 (most significant first) of the
// 8-bit output row, which starts zeroed; uncovered bits are cleared.
// False for a null source or when dst cannot be created.
VQUTIL_EXPORT bool scaleRotateImage(QImageEx& dst, const QImageEx& src, int width, int height, double angle,
                                    unsigned char fill);

// Produces the part `clip` of a view of size `canvas` onto an 8-bit mask
// scaled to `size`: `srcRect` of `src` appears at `dstRect` in scaled
// coordinates with the factors `scale`. View pixel (c, r) of the clip maps
// to scaled tx = (clip.left + c) x size.width / canvas.width (likewise ty)
// and, inside dstRect, reads src at ((tx - dstRect.left) / scale.width +
// srcRect.left, (ty - dstRect.top) / scale.height + srcRect.top), truncated.
// dst (prepared by the caller at the clip's size) keeps its bytes outside
// dstRect. An empty clip means the whole canvas. False for a null size or dst,
// or a clip or canvas without area.
VQUTIL_EXPORT bool selection_fast_scale(QImageEx& dst, const QSize& size, QImageEx& src, QRect& srcRect,
                                        QRect& dstRect, QSizeF& scale, QSize& canvas, QRect& clip);

// img = img scaled to width x height, smooth, aspect ignored, in its own
// format (palette images come back as RGB32). True.
VQUTIL_EXPORT bool ScaleDibAll(QImageEx& img, long width, long height, bool);
// Does nothing. True.
VQUTIL_EXPORT bool Scale8BitDib(QImageEx& img, long width, long height, bool);
// Leaves the image as it is and returns true: the mirrored copy the original
// computed was never stored, and callers rely on the image staying put.
VQUTIL_EXPORT bool MirrorDib(QImageEx& img, int horizontal);
// dst = src with a border of `pad` pixels on each side, in src's format
// (colour table included), the border filled with the pixel value `fill`
// (QImage::fill). A negative pad crops instead. False when dst cannot be
// created (a null source included).
VQUTIL_EXPORT bool ThEnlargeImage(QImageEx& dst, QImageEx& src, int pad, unsigned char fill);
