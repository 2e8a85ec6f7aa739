// vqutil filters: blurs (stack, recursive Gaussian, box), transparency
// bleeding, convolution and sharpening, and the focus blur.
//
// All filters run on the calling thread (the focus blur starts its own
// worker threads) and report progress through QImageEx::set_progress.
// A `cancel` flag may be set from another thread (with an atomic store);
// the filters poll it and stop.
#pragma once

#include <vqutil/core.h>

class QImage;

// ---------------------------------------------------------------------------
// Gaussian blurs
// ---------------------------------------------------------------------------

// Blurs `img` in place. radius < 1: false, image untouched.
//  - Default: an integer stack blur, a triangle kernel of weights
//    r + 1 - |i| (i = -r..r) in each direction, border pixels repeated, each
//    pass truncating sum / (r + 1)^2. 32-bit pixels blur all four bytes,
//    24-bit pixels their three, 8-bit (Grayscale8, Alpha8) their one byte.
//    A transparent ARGB image first gets colour bled into its transparent
//    pixels (blurTransparentImage); a cancel there gives false.
//  - useRecursive: the Young-van Vliet recursive Gaussian with sigma = radius,
//    every byte of a pixel filtered on its own.
// Images of other formats are converted to ARGB32 first. Progress: y / 2 per
// row, then h / 2 + (x h / w) / 2 per column (stack blur); c h / bpp at the
// start of channel c (recursive; all channels are filtered together, so
// these values mark shares of the whole work). A cancel still returns true;
// during the first pass (rows) it leaves the image unchanged, during the
// second (columns, done in strips of whole columns) it leaves the strips
// already done blurred.
VQUTIL_EXPORT bool GaussianBlur(QImageEx& img, int radius, bool* cancel, bool useRecursive);
// The recursive Gaussian of one 8-bit plane (rows bytesPerLine apart), rows
// first, then columns, written back truncated to 0..255. False when memory
// is short, the plane is null or bytesPerLine < width (a size without
// pixels: true).
VQUTIL_EXPORT bool IIRGaussianFilterAlpha(uchar* data, int bytesPerLine, int width, int height, float sigma);
// IIRGaussianFilterAlpha on an 8-bit image, in place; images of any other
// depth are left unchanged.
VQUTIL_EXPORT void gaussianBlurAlpha(QImage& img, double sigma);

// ---------------------------------------------------------------------------
// Box blurs
// ---------------------------------------------------------------------------

// Box blur of radius r = min(w / 4, h / 4, |radius|): each byte becomes the
// truncated mean of the (2r + 1)^2 box around it. Outside the image the box
// counts nothing (the divisor is the number of real pixels), except in
// maskMode, where the divisor is always (2r + 1)^2 and, for 8-bit images,
// the outside counts as 255 (a selection mask's "not selected"). alphaOnly
// writes only byte 3 (nothing for images without one). convertTo24 first
// widens images below 24 bits to ARGB32. radius 0: true, nothing done.
// Progress y per row.
VQUTIL_EXPORT bool ThBlurMoreEx(QImageEx& img, int radius, bool convertTo24, bool alphaOnly, bool maskMode);
VQUTIL_EXPORT bool ThBlurMore(QImageEx& img, int radius, bool convertTo24, bool alphaOnly);
// Mask blur with a white border: the image, enlarged by r = min(w / 4,
// h / 4, radius) on each side with 255, box-blurred in maskMode, and the
// whole enlarged picture scaled smoothly back to w x h (squeezed, not
// cropped). False when r < 1.
VQUTIL_EXPORT bool ThBlurAlpha(QImageEx& img, int radius);
// Box mean of a raw 8-bit plane (rows padded to 4 bytes) over the
// (2|radius| + 1)^2 box, counting only samples inside the plane. The buffer
// must come from std::malloc; it is replaced by a new std::malloc block
// (free it with std::free). False for a null buffer or short memory.
VQUTIL_EXPORT bool BlurMask8Bit(int width, int height, void*& buffer, int radius);

// ---------------------------------------------------------------------------
// Transparency
// ---------------------------------------------------------------------------

// Bleeds colour into the fully transparent pixels of a 32-bit image: each
// gets the truncated mean colour of the non-transparent pixels in the
// (2r + 1)^2 box around it, r = min(w / 4, h / 4, |radius|); alpha is kept.
// 1 done (also for radius 0), 0 for other depths, -1 cancelled (the rows
// done so far are changed).
VQUTIL_EXPORT int blurTransparentImage(QImageEx& img, int radius, bool* cancel);
// Bleed (for transparent images), then ThBlurMoreEx. False when cancelled.
VQUTIL_EXPORT bool transpanentBlurMore(QImageEx& img, int radius, bool* cancel);
// True when an ARGB32 image has alpha 0 at some pixel of the grid of rows
// and columns 0, step, 2 step, ... (steps below 1 count as 1), or another
// format has a colour-table entry with alpha 0.
VQUTIL_EXPORT bool isTransparnetImage(QImageEx& img, int step);

// ---------------------------------------------------------------------------
// Convolution and sharpening
// ---------------------------------------------------------------------------

// Convolves with an order x order kernel (rows of weights, vertical offset
// outer), the image wrapped around as a torus. Each colour byte becomes the
// weighted sum in double (kernel row by row), divided by the weight sum
// unless that is 0 or 1, then 0 below 0, 255 above 255, else (int)(v + 0.5).
// 24-bit images get exact results; 32-bit images get the packed B, G, R
// triples in the first three quarters of each row (alpha not computed, the
// rest zero), as the original routine does; 8- and 16-bit images convolve
// each of their bytes in place. Returns 0 (image untouched) for an even
// order, an image smaller than the kernel, a null kernel, images below 8
// bits or short memory; else 1.
VQUTIL_EXPORT int convolveImage(QImageEx& img, unsigned int order, const double* kernel);
// 2 ceil(radius) + 1 for radius > 0; otherwise the Gaussian width for sigma:
// the first of 5, 7, 9, ... whose outermost weight falls below 1/255 of the
// total, minus 2 (at most 4095 + 2 for huge or invalid sigmas).
VQUTIL_EXPORT int getOptimalKernelWidth1D(double radius, double sigma);
VQUTIL_EXPORT int getOptimalKernelWidth(double radius, double sigma);
// Gaussian-weighted sharpen: kernel exp(-(i^2 + j^2) / sigma^2) with its
// centre replaced by -2 x the sum, convolved. 0 when the kernel cannot be
// allocated, else 1 (a kernel larger than the image leaves it unchanged).
VQUTIL_EXPORT int sharpenImage(QImageEx& img, double radius, double sigma);
// Computes an edge image of `img` and discards it: the caller's image is
// left unchanged, as the original routine does (its progress is reported).
VQUTIL_EXPORT bool edgeImage(QImageEx& img, double radius);
// 3 x 3 table sharpen of strength `amount` (0 none .. 100 strongest): with
// k = max(1, 100 - amount), T[i] = 800 i / k, U[i] = (T[i] - 8 i + 4) >> 3,
// each colour byte becomes (T[centre] - sum of U over its eight neighbours
// + 4) >> 3, clamped; border pixels and alpha are copied. Images other than
// 24 and 32 bits are converted to ARGB32 first. Reentrant.
VQUTIL_EXPORT void sharpenMore(QImageEx& img, int amount);
// Unsharp mask on the box blur of radius r = min(w / 4, h / 4, radius):
// every byte (alpha included) moves by diff x amount, diff = byte - blur,
// where |2 diff| >= threshold; truncated, clamped. A radius below 1 changes
// nothing. 0 when memory is short, else 1.
VQUTIL_EXPORT int unsharp_mask_fast(QImageEx& img, int radius, double amount, int threshold);

// ---------------------------------------------------------------------------
// Focus blur
// ---------------------------------------------------------------------------

// The focus blur's settings: nine doubles in this order, so callers may fill
// it as an array. vqDoFocusBlur rewrites fields 5-8 in place on entry.
struct FocusBlurConfig {
    double reserved;      // not read
    double blurAmount;    // largest blur sigma, pixels
    double centerX;       // focus centre, fraction of the width
    double centerY;       // focus centre, fraction of the height
    double radius;        // size of the focus region, pixels (see below)
    double innerRatio;    // share of the region kept sharp; becomes 1 - value
    double falloff;       // transition steepness; becomes log(0.5) / log(value), at most 1000
    double ellipseShape;  // aspect control -1..1; becomes the angle form 2 atan(...) / pi
    double angle;         // rotation of the ellipse, degrees; +360 when negative
};
static_assert(sizeof(FocusBlurConfig) == 9 * sizeof(double), "nine doubles");

// Blurs each pixel of an RGB32 or ARGB32 image by the focus mask m in 0..1:
// sharp inside the focus region, blurred outside, by blending the two of n
// precomputed blur levels (sigma_i = (i / (n - 1))^1.5 blurAmount,
// n = ceil(clamp(log2(blurAmount) + 3, 2, 16))) that bracket m.
//
// The mask, after the record is rewritten: the offset (dx, dy) of the pixel
// centre from (centerX w, centerY h) is turned by -angle and its horizontal
// part divided by the aspect factor a (tan(e pi / 2) + 1 for e = ellipseShape
// >= 0, 1 / (tan(-e pi / 2) + 1) below) times w / h, giving
//   d = hypot(dx' / (a w / h), dy'),
//   inner = innerRatio x radius,  width = max(radius - inner, 0.0001),
//   m = clamp((d - inner) / width, 0, 1) ^ max(falloff, 0.0001),
// so m is 0 within `inner` of the centre (in the turned, aspect-scaled
// metric), reaches 1 at `radius`, and falloff shapes the rise between.
// Images neither 24 nor 32 bits deep are first converted to ARGB32
// (AnyConvertTo24Bit); false for a null image or config, a remaining format
// other than RGB32 and ARGB32 (24-bit and the premultiplied ones), or short
// memory.
VQUTIL_EXPORT bool vqDoFocusBlur(QImageEx& img, FocusBlurConfig* cfg);
