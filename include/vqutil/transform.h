// vqutil geometric transforms: distortion by four corners, shear and
// perspective (Qt's QImage::transformed, or the library's own projective
// resampler), the mesh warp of the free-transform tool, and scaling,
// rotation, padding and mirroring of whole images.
//
// Corner arrays hold four points in the order top-left, top-right,
// bottom-left, bottom-right (not clockwise). The corners of a rectangle r are
// (left, top), (right + 1, top), (left, bottom + 1), (right + 1, bottom + 1),
// so those of QRect(0, 0, w, h) are (0, 0), (w, 0), (0, h), (w, h). A corner
// equal to (0, 0) means "this corner is not moved", and every corner-based
// transform returns false at once when no corner moved.
//
// Output pixel (x, y) of the library's own resamplers is the point (x, y):
// pixel centres sit on integer coordinates, and the image rectangle
// (0, 0, w, h) reaches from pixel 0 to one past the last pixel.
#pragma once

#include <vqutil/core.h>

#include <QColor>
#include <QPoint>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QSize>
#include <QSizeF>
#include <QTransform>
#include <QVector>

// ---------------------------------------------------------------------------
// Distortion by corners and shear
// ---------------------------------------------------------------------------

// corners = the four corners of rect (see above). Null corners: nothing.
VQUTIL_EXPORT void get_image_point(QPoint* corners, const QRect& rect);

// box = the bounding box of the effective corners (a (0, 0) corner replaced
// by the image rectangle's corner of the same index): QRect(minX, minY,
// maxX - minX, maxY - minY), so unmoved corners give the image rectangle.
// True; false (box untouched) only for null corners.
VQUTIL_EXPORT bool get_image_outer_box(QRect& box, const QImageEx& img, QPoint* corners);

// Where the transformed image lies in the coordinates of `rect`, the
// rectangle in which the caller shows the whole untransformed image (a
// document or view rectangle): the outer box of the corners, scaled by
// kx = rect.width / img.width and ky = rect.height / img.height and moved by
// rect's top-left,
//   client = (rect.x + box.x kx, rect.y + box.y ky, box.width kx, box.height ky).
// With rect equal to the image rectangle, client is the outer box itself.
// False, client untouched, for a null image, null corners, or a rect that
// is not finite or has no area.
VQUTIL_EXPORT bool get_transform_client(QRectF& client, const QImageEx& img, QPoint* corners, const QRectF& rect);

// t = Qt's quad-to-quad transform from rect's corners to the effective
// corners. False when no corner moved, when Qt finds no transform, or when
// the transform is implausible: it maps QRectF(0, 0, 1000, 1000) to an
// aligned bounding box wider or taller than 32768.
VQUTIL_EXPORT bool getTransformFromPoints(QTransform& t, const QRect& rect, QPoint* corners);

// dst = src.transformed(t) with t from getTransformFromPoints over src's
// rectangle, smooth or fast. The QRect and QColor are not used. True when
// dst was produced; false (dst untouched) when no corner moved, there is no
// plausible transform, or the result would exceed 2^31 bytes.
VQUTIL_EXPORT bool unifiedtransform(QImageEx& dst, QRect& rect, const QImageEx& src, QPoint* corners, bool smooth,
                                    QColor);

// dst = src.transformed(QTransform().shear(shearX, shearY)). Shears whose
// (int)(shear x 10000) is 0 in both directions count as none: false. The
// QRect and QColor are not used. False also when the result would exceed
// 2^31 bytes.
VQUTIL_EXPORT bool shear_unifiedtransform(QImageEx& dst, QRect& rect, const QImageEx& src, double shearX,
                                          double shearY, bool smooth, QColor);

// The library's own projective resampler. The forward matrix is, for the
// corner overload, the rectangle-to-quad matrix of (0, 0, w, h) onto the
// effective corners; for the shear overload, shear x by shearX followed by
// shear y by shearY (the second sees the first; shears below 0.0001 in both
// directions: false). The source is taken as ARGB32 and the four mapped
// corners (0, 0), (w, 0), (0, h), (w, h) give the box
// QRectF(min, max).toRect(); an empty (or non-finite) box writes the debug
// line "unifiedtransformEx failed" and returns false. The matrix is moved so
// that the box starts at (0, 0), scaled by size / src.size (in double) when
// `size` is not empty and differs from the source size, and inverted (left
// as it is when its determinant is exactly 0). dst, ARGB32, covers `clip`
// of that output plane, or (0, 0, box.width, box.height) when clip is empty.
// Output pixel (x, y) samples the source at inverse(x, y):
//  - Qt::SmoothTransformation: bilinear, per byte in double,
//      v = (p11 fx + p10 (1 - fx)) fy + (p00 (1 - fx) + p01 fx) (1 - fy),
//    truncated; pixels mapping outside [-1, w] x [-1, h] keep `background`,
//    and samples outside the source count as opaque white, so the edges of
//    the result blend toward white on purpose;
//  - Qt::FastTransformation: the pixel at ((int)sx, (int)sy) when inside,
//    else `background`.
// False (dst untouched) also for a null source, null corners, or a result
// above 2^31 bytes.
VQUTIL_EXPORT bool unifiedtransformEx(QImageEx& dst, const QImageEx& src, QPoint* corners, const QSize& size,
                                      const QRect& clip, Qt::TransformationMode mode, QColor background);
VQUTIL_EXPORT bool unifiedtransformEx(QImageEx& dst, const QImageEx& src, double shearX, double shearY,
                                      const QSize& size, const QRect& clip, Qt::TransformationMode mode,
                                      QColor background);

// Moves a selection mask (8-bit, 0 selected, 255 not) with a transform.
// Every integer pixel (x, y) of the part `rect` of src (its aligned
// rectangle clipped to src; an empty rect means the whole mask) is mapped
// forward with t.map(x, y, &tx, &ty) (Qt's rounding) and its byte written at
// (tx, ty); where several pixels land on one, the most selected (smallest)
// byte wins, so the result does not depend on their order. dst becomes a
// Grayscale8 mask of rect' = t.mapRect(part).toAlignedRect(), its pixel
// (i, j) being the point (rect'.x + i, rect'.y + j), 255 where nothing
// landed, and rect becomes rect'. With `smooth`, the holes that forward
// mapping leaves where t enlarges are closed: a pixel nothing landed on
// takes the byte of the source pixel its inverse image rounds to, when that
// lies in the part. Formats other than 8-bit, a null source, a non-finite
// t, a result above 2^31 bytes, or `smooth` with a non-invertible t leave
// dst and rect unchanged.
VQUTIL_EXPORT void getMaskResultFromTranform(QImageEx& dst, QImageEx& src, QRectF& rect, QTransform& t,
                                             bool smooth);

// ---------------------------------------------------------------------------
// Perspective by normalised points (Qt's QImage::transformed)
// ---------------------------------------------------------------------------
//
// The point lists hold exactly four points in 0..1 units, multiplied by the
// image (or rectangle) size before use; the reference square is (0, 0),
// (1, 0), (1, 1), (0, 1). Points compare with QPointF's fuzzy equality.
// Non-finite points are refused (false).

// t = Qt's quad-to-quad transform from `from` to `to`, both scaled by size.
// True without touching t when every pair is equal.
VQUTIL_EXPORT bool getPerspectiveTransform(QTransform& t, const QSize& size, const QVector<QPointF>& from,
                                           const QVector<QPointF>& to);

// Whether img can be warped from `from` to `to`: true when every pair is
// equal; false when there is no transform or the mapped image rectangle's
// bounding box exceeds nine million square pixels; otherwise writes the
// debug line "checkPerspectiveWarpValid targetRect=" with that box and
// answers whether img.transformed(t, Qt::FastTransformation) succeeds.
// False for a null image.
VQUTIL_EXPORT bool checkPerspectiveWarpValid(const QImageEx& img, const QVector<QPointF>& from,
                                             const QVector<QPointF>& to);

// img = img.transformed(t) with t from getPerspectiveTransform over the
// image size (false, img untouched, when there is none or the result would
// exceed 2^31 bytes); then a second transform over rect's size maps the
// polygon of rect, rect becomes its bounding rectangle, and the debug line
// "doPerspectiveWarp sourceRect=... ,targetRect=..." is written. Returns the
// second transform's result.
VQUTIL_EXPORT bool doPerspectiveWarp(QImageEx& img, const QVector<QPointF>& from, const QVector<QPointF>& to,
                                     QRectF& rect, bool smooth);

// Maps img (smoothly) from the reference square onto the quad `to` (four
// points in the square's clockwise order), painted onto a transparent ARGB32
// canvas of img's size that replaces img. True at once, img unchanged, when
// `to` is the reference square.
//
// A twisted quad, whose left and right edges (to[0]-to[3], to[1]-to[2]) or
// top and bottom edges (to[0]-to[1], to[3]-to[2]) cross within both
// segments (QLineF::BoundedIntersection), cannot be reached by one
// projective map, so the image is folded at its middle: when the top and
// bottom edges cross it is cut into left and right halves of width w/2 (the
// right half takes the odd column), and the left half goes onto the quad
// to[0], m01, m32, to[3] and the right half onto m01, to[1], to[2], m32,
// with m01 and m32 the midpoints of the top and bottom edges; when the left
// and right edges cross, top and bottom halves go likewise onto the quads cut
// at the midpoints of the left and right edges. Each half is painted at the
// aligned bounding box of its mapped rectangle; a half whose quad is
// degenerate, or whose projective map sends part of it to infinity (a
// concave or still twisted half), is left out.
//
// False (img untouched) when `to` does not hold four finite points, the
// image is null, or an untwisted quad has no bounded projective map.
VQUTIL_EXPORT bool doPerspectiveTransform(QImageEx& img, QVector<QPointF>& to);

// ---------------------------------------------------------------------------
// Mesh warp (the free-transform tool)
// ---------------------------------------------------------------------------
//
// The three warps share one renderer. The source is taken as ARGB32 and the
// result, dst, is an ARGB32 image of the warped image's bounding box,
// transparent where the warped image does not reach; `placed` receives that
// box in the source's coordinates (dst pixel (i, j) is the point
// (placed.x + i, placed.y + j)). Pixels sample the source bilinearly at the
// point their output point maps back to, per byte in double,
//   v = (p11 fx + p10 (1 - fx)) fy + (p00 (1 - fx) + p01 fx) (1 - fy),
// rounded half up; a sample outside the source reads as the nearest source
// pixel with alpha 0, so the outline fades out without a dark fringe, and
// points beyond one pixel outside the source are transparent. A map that
// puts every pixel back on itself (identity grids, equal lists, integer
// shifts) therefore reproduces every byte.
//
// Except for the plain four-corner transform, which maps each pixel exactly,
// the forward map is rendered as a lattice of triangles: source positions on
// an n x n grid (n a power of two from 4 to 256, the smallest whose
// triangles stay within 1/8 pixel of the map at every cell's centre), their
// images snapped to 1/256 pixel, each triangle mapped back affinely. A pixel
// belongs to a triangle when its point lies inside it (ties go to the
// triangle on its right and below), so seamless meshes draw every pixel
// once; where a folded or self-crossing mesh covers a pixel twice, the
// triangle drawn later wins (cells row by row, in each cell the top-left
// triangle first). The box spans [ceil(min), ceil(max)) of the warped
// outline in each direction.
//
// All three return false, dst and placed untouched, for a null source, a
// point that is not finite, a grid or list of the wrong size, a warped
// image beyond +-2^24 pixels, or a result above 2^31 bytes.

// Warps src through one bicubic Bezier patch: `grid` holds its 4 x 4
// control points row by row, in source pixel coordinates, and the source
// point (x, y) goes to
//   sum over i, j of B_i(x / w) B_j(y / h) grid[4 j + i],
// with the Bernstein weights B_0(t) = (1 - t)^3, B_1 = 3 t (1 - t)^2,
// B_2 = 3 t^2 (1 - t), B_3 = t^3. The identity grid is
// grid[4 j + i] = (w i / 3, h j / 3); grids whose points lie on an affine
// image of it give that affine map.
VQUTIL_EXPORT bool bezierTransform(QImageEx& dst, QRect& placed, const QImageEx& src, const QVector<QPointF>& grid);

// The free transform: the source rectangle (0, 0, w, h) onto the quad of
// `corners` (four points, top-left, top-right, bottom-left, bottom-right; a
// (0, 0) corner keeps the rectangle's corner), through the same
// rectangle-to-quad matrix as unifiedtransformEx. Without a mesh every pixel
// is mapped back exactly through that matrix. With a mesh (16 points, a
// Bezier grid as for bezierTransform but in the unit square, the identity
// being (i / 3, j / 3)) the source point (x, y) first moves to
// (w, h) x patch(x / w, y / h) and is then carried by the matrix, so the
// mesh bends the image inside its quad. False also for a quad that is not
// the bounded image of the rectangle under that matrix (a twisted or concave
// quad), and for a mesh that leaves that region.
VQUTIL_EXPORT bool freeTransform(QImageEx& dst, QRect& placed, const QImageEx& src, const QPointF* corners,
                                 const QVector<QPointF>& mesh = QVector<QPointF>());

// Warps src so that each point from[k] moves to to[k], by the affine
// moving-least-squares deformation (weights 1 / distance^2): for a point v,
// with p* and q* the weighted centroids of the two lists,
//   f(v) = (v - p*) M + q*,  M = (sum w p^T p)^-1 sum w p^T q  (p, q centred),
// the best affine map near v; with fewer than three points not on a line
// the best similarity, and for a single point the translation. The output
// box is that of f applied to the source outline (sampled every 8 pixels);
// each pixel maps back by the same deformation with the lists exchanged,
// evaluated on a grid of the output (nodes 64, 32, 16 or 8 pixels apart,
// the coarsest that stays within 1/8 pixel of it at every cell's centre,
// but never more than 512 cells a side) and interpolated affinely in between.
// Equal lists change nothing, and lists related by one affine map give that
// map. `from` and `to` must have the same, non-zero size.
VQUTIL_EXPORT bool transformQImage(QImageEx& dst, QRect& placed, const QImageEx& src, const QVector<QPointF>& from,
                                   const QVector<QPointF>& to);

// ---------------------------------------------------------------------------
// Scaling, rotation, padding and mirroring
// ---------------------------------------------------------------------------

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
// format (palette images come back as RGB32). True; a size without area or
// one past 2^31 bytes at 32 bits a pixel leaves a null image.
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
