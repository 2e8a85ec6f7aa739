// The resampler of unifiedtransformEx and the guard around Qt's own
// transformation: both refuse results that could not be allocated sensibly
// instead of letting a hostile matrix ask for gigabytes.
#pragma once

#include "freetransform/projective_matrix.h"

#include <vqutil/qimageex.h>

#include <QColor>
#include <QRect>
#include <QRectF>
#include <QTransform>

namespace vq {

// Largest result any transform produces: 2^31 bytes of pixels.
bool fitsResultBytes(int64_t width, int64_t height, int depth);

// An output rectangle with area, within the int range one past its right
// and bottom edges, whose image of this depth fits fitsResultBytes.
bool fitsOutputRect(const QRect& rect, int depth);

// A QRectF whose corners are finite and within +-2^30, where toRect() and
// toAlignedRect() are defined.
bool isRepresentableRect(const QRectF& rect);

// The image as ARGB32: converted in place when it is 32-bit in another
// format, through convertToFormat otherwise; shared when it already is.
QImage asArgb32(const QImage& image);

// dst = an image of out's size in src's format (colour table kept), every
// pixel of `out` (absolute output coordinates, written at (x - left,
// y - top)) sampled from src at inverse(x, y): bilinear (Legacy sampling,
// see resample_kernels.h) when `smooth` and src is neither 1-bit nor
// Indexed8, nearest neighbour otherwise; pixels that map outside keep the
// background colour (QImage::fill's conversion). Rows run in parallel bands.
// False, dst untouched, when the result cannot be created.
bool resampleThrough(QImageEx& dst, const QImage& src, const QRect& out, const ProjectiveMatrix& inverse, bool smooth,
                     const QColor& background);

// Whether t sends every point of rect to a finite place: t is finite and,
// when projective, its denominator m13 x + m23 y + m33 is positive at all
// four corners (and so everywhere inside).
bool isBoundedOn(const QTransform& t, const QRectF& rect);

// image.transformed(t, mode), or a null image when t is not bounded on the
// image or the result would exceed fitsResultBytes.
QImage boundedTransformed(const QImage& image, const QTransform& t, Qt::TransformationMode mode);

}  // namespace vq
