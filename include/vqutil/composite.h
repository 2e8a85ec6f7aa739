// vqutil compositing: mask bounds and the combination of images and masks.
//
// Two mask conventions meet here and are deliberately different:
//  - selection masks (combineImage, combineImageData, combineSelectionData):
//    8-bit, 255 = not selected, lower values selected; a new mask starts at 255;
//  - alpha masks (combineImageByAlpha, combineChannelAlpha): 255 = opaque;
//    combineImageEx reads its mask as the weight of the destination kept.
//
// Weights are bytes 0..255 and every division by 255 truncates. Pixels are
// B, G, R, A in memory. Coordinates outside an image are skipped: no function
// reads or writes outside the images it is given, and no function throws.
#pragma once

#include <vqutil/core.h>

#include <QRect>
#include <QSizeF>
#include <QTransform>

// ---------------------------------------------------------------------------
// Mask bounds
// ---------------------------------------------------------------------------

// Bounding box (right and bottom exclusive) of the pixels that count in an
// 8-bit mask (its byte) or a 32-bit image (its alpha byte): with `flag` true
// those below 255 (selected, fully or partly), with `flag` false those above
// 1 (more than barely visible). No counting pixel, or a null image, gives
// (0, 0, 0, 0); images of other depths are not searched and give
// (0, 0, width, height).
VQUTIL_EXPORT void getMaskImageBouder(CRect& out, const QImageEx& img, bool flag);
// The same box as a QRect.
VQUTIL_EXPORT QRect getMaskImageBouder(const QImageEx& img, bool flag);
// The rectangle of `img` a masked operation works on: the whole image without
// a mask, else the image narrowed to the mask's box (flag true); (0, 0, 0, 0)
// when they do not overlap.
VQUTIL_EXPORT CRect getBoundFromMask(QImageEx& img, const QImageEx* mask);

// ---------------------------------------------------------------------------
// Selection masks
// ---------------------------------------------------------------------------

// Combines the 8-bit `mask`, stretched over `rect`, into the 8-bit `dst`
// (mask row j x mask height / rect height for rect row j):
//   1: d |= m          2: d &= m
//   3: where m < 128, toggle d (d < 128 -> 255, else 0)
//   4: where m < 128 and d < 128, d = 255
//   5: d = the mask byte at column i x mask width / rect width (the whole mask
//      scaled into rect, nearest pixel)
// Modes 1-4 combine destination column i with mask column i, counted from the
// start of both rows; rect.x() only decides, by whether rect.x() + i lies in
// the image, if column i is touched. Mode 5 writes at column rect.x() + i.
// Does nothing unless the mask is 8 bits deep or for any other mode.
VQUTIL_EXPORT void combineImage(QImageEx& dst, const QImageEx& mask, const QRect& rect, int mode);
// Copies `src` (exactly rect's size) into `rect` of `dst`, pixel by pixel
// where the selection mask byte (in dst coordinates) is 0. Pixels are
// src.depth() / 8 bytes wide in both images. A null mask copies nothing.
VQUTIL_EXPORT void combineImage(QImageEx& dst, const QImageEx* mask, const QImageEx& src, const QRect& rect);
// Mask arithmetic between two 8-bit masks, over the pixels both cover, with
// d the destination and s the source byte:
//   1: max(d, s)                 (selected in both: intersection)
//   2: s + d - 255, at least 0   (selected in either: union)
//   3: 255 - |d - s|             (selected in one only)
//   4: 255 - (s - d) where s > d, else 255   (selected in d, not in s)
//   5: the source rows copied over the destination rows
// A null dst is first created at src's size, 8-bit, filled with 255. False
// for a null src or when dst cannot be created; other modes change nothing.
VQUTIL_EXPORT bool combineImageData(QImageEx& dst, QImageEx& src, int mode);
// As combineImageData, but modes 1 and 5 read the source through `transform`
// (each destination pixel (x, y) reads the source at QTransform::map(x, y)):
// mode 1 gives max(source, d) inside the source and 255 outside, mode 5 the
// source byte inside and leaves d outside.
VQUTIL_EXPORT bool combineSelectionData(QImageEx& dst, const QImageEx& src, const QTransform& transform,
                                        int mode);

// ---------------------------------------------------------------------------
// Copies through masks and alpha
// ---------------------------------------------------------------------------

// Blends `src` (scaled to dstRect's size, nearest pixel, and converted to
// dst's format) into `dstRect` of `dst`, each byte becoming
// (d x m + s x (255 - m)) / 255: m = 255 keeps the destination, 0 takes the
// source. For 1- and 4-byte pixels (alpha included) m is the mask byte at row
// maskRect.top() + j / maskScale.height() and column maskRect.left() +
// i / maskScale.width(); for 3-byte pixels it is the byte at column i of that
// row (neither the column scale nor maskRect.left() applies). A destination
// below 8 bits is converted to ARGB32 first. A null mask takes the source
// everywhere; mask pixels outside the mask keep the destination. Nothing is
// done for an empty dstRect or one whose 32-bit image would pass 2^31 bytes.
VQUTIL_EXPORT void combineImageEx(QImageEx& dst, const QRect& dstRect, const QImageEx& src, const QImageEx* mask,
                                  const QRect& maskRect, QSizeF& maskScale);
// Builds a 32-bit image from the colours of `src` and the alpha image `alpha`
// over `rect` (clipped to src). dst is reused when it is 32-bit and of src's
// size, else recreated as ARGB32 (zeroed). Colour bytes are copied (only byte
// 0 from a 1- or 2-byte source; indexed and 1-bit sources are expanded
// through their colour table first). Alpha: m = the alpha byte (8-bit alpha,
// inverted when invertAlpha) or, for a 32-bit alpha image, the byte at offset
// 5 x x of its row (that stride is kept; reads running past the image skip
// the pixel); dst alpha = src alpha x m / 255 for 4-byte sources unless
// ignoreSourceAlpha, else m. An alpha of another size is scaled smoothly to
// src's size when rect has src's size. False for a null alpha, an alpha that
// still does not fit, or a failed allocation; true for a null scaled alpha.
VQUTIL_EXPORT bool combineImageByAlpha(QImageEx& dst, const QImageEx& src, const QImageEx& alpha,
                                       bool ignoreSourceAlpha, const QRect& rect, bool invertAlpha);
// Blends the colour bytes chosen by `channels` (1 blue, 2 green, 4 red) of
// `src` into the 32-bit `dst` over `rect`, weighted by the 8-bit `alpha`
// (a, in dst coordinates). blend: byte = (s x a + d x (255 - a)) / 255 and
// the destination alpha becomes a; otherwise byte = s x a / 255 + 255 - a
// (the source flattened onto white), alpha untouched. Source pixels are read
// from byte rect.left() x (its bytes per pixel) with a 4-byte stride. Other
// depths print "QImageEx::mergerImage error,channels != 1 || dst_channels !=4".
VQUTIL_EXPORT void combineChannelAlpha(QImageEx& dst, const QImageEx& src, const QImageEx& alpha,
                                       const QRect& rect, int channels, bool blend);

// ---------------------------------------------------------------------------
// Placement and block copies
// ---------------------------------------------------------------------------

// Draws `srcRect` of `src` (an empty rectangle: all of it), scaled smoothly,
// into `dstRect` of `dst`.
//  - replace false: source over destination by the source alpha a; a
//    transparent destination pixel takes the source pixel whole; otherwise
//    each chosen byte = (s x a + d x (255 - a)) / 255 and the alpha becomes
//    max(da, a) with keepMaxAlpha, else (a x a + da x (255 - a)) / 255 (the
//    squared source alpha is intended).
//  - replace true: channels 15 copies whole pixels; else with grayFromBlue
//    bytes 0-2 = blue, or (255 - a) + blue x a / 255 with flattenOnWhite;
//    else each chosen byte = s, or s x a / 255 + 255 - a with flattenOnWhite.
//  - channels: colour bytes written (1 blue, 2 green, 4 red); 15 = all.
// A 32-bit source makes dst ARGB32 (convertToArgbEx); a Grayscale8 source
// writes grey into a 32-bit dst (alpha 255) or bytes into an 8-bit one; other
// sources are converted to ARGB32. When dstRect reaches outside dst, the
// source part is shrunk proportionally, its width computed from the heights
// (srcRect.height() x visible width / dstRect.height()), as the original
// does. False for a null src, an empty dstRect or an unsupported pairing.
VQUTIL_EXPORT bool drawImageOnImage(QImageEx& dst, const QRect& dstRect, const QImageEx& src, const QRect& srcRect,
                                    bool replace, bool keepMaxAlpha, int channels, bool flattenOnWhite,
                                    bool grayFromBlue);
// Copies the bytes of `rect` (clipped to dst) from `src` to the same place of
// `dst`. Images of other sizes are left alone; other pixel sizes print
// "QImageEx::mergerImage error,channels != dst_channels".
VQUTIL_EXPORT void replaceImageBlock(QImageEx& dst, const QImageEx& src, const QRect& rect);
