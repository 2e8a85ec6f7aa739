// vqutil tone and colour adjustment: curves (cubic splines and tone tables),
// levels and histograms, photographic adjustments (exposure, temperature,
// vibrance, haze, highlights and shadows, white balance), blend modes, point
// operations, hue and saturation, colour balance, selective colour and
// colour replacement.
//
// Tone operations express their effect as 256-entry byte tables (entry v is
// the new value of a channel whose old value is v) applied by AdjustRGBOffset
// or AdjustCMYKOffset. Operations that take a selection mask change only the
// pixels whose mask byte is 0 and work inside the mask's bounds. Per-pixel
// passes over 24- and 32-bit images run in parallel bands of rows; they
// report progress with the row number and, where stated, stop when
// QImageEx::set_progress returns false (the rows done stay changed).
#pragma once

#include <vqutil/core.h>

#include <QColor>
#include <QSize>
#include <QString>
#include <QVector>

class QImage;
class QPainter;

// ---------------------------------------------------------------------------
// Curves
// ---------------------------------------------------------------------------

// A natural cubic spline through caller-owned knots, fitted in single
// precision (Thomas algorithm), for sampling 256-entry curves.
//
// The spline keeps pointers to the caller's x and y arrays: they must stay
// alive and unchanged while it is evaluated. Assignment and copying share
// the coefficient arrays between the objects (reference counted, so that
// they are released once, by the last object that holds them).
class VQUTIL_EXPORT CubicSpline {
public:
    CubicSpline();
    CubicSpline(const CubicSpline& other);
    CubicSpline& operator=(const CubicSpline& other);
    ~CubicSpline();

    // Stores the knots (x strictly increasing, n >= 2) and fits the spline.
    // Fewer than two knots (or null arrays) leave no coefficients:
    // Interpolate then returns y[0], or 0 without knots.
    void Initialize(float* x, float* y, int n);
    // The value at t: the segment found by bisection (a t on an inner knot
    // takes the segment to its left), y[i] + b s in float, plus c s^2 and
    // d s^3 taken with the double-precision pow, summed in double. Outside
    // the knots the first or last segment is extrapolated.
    float Interpolate(float t);

private:
    void Reset();
    int GetIndex(float t);
    float Interpolate(float t, int i);

    float* b;  // linear coefficient of each of the n - 1 segments
    float* c;  // quadratic coefficient at each knot (the last is 0)
    float* d;  // cubic coefficient of each segment
    float* x;  // the caller's abscissas (not owned)
    float* y;  // the caller's values (not owned)
    int n;
};

// Maps bytes 0, 1, 2 (blue, green, red) of every pixel through blue, green
// and red, then, when given, each through master (alpha is never touched).
// Grayscale8 and Alpha8 images are first converted to Format_Indexed8;
// indexed and 1-bit images have their colour table mapped (the mask plays
// no part); other images below 24 bits are left alone. With a mask only
// pixels whose mask byte is 0, inside its bounds, change. False for a null
// image or a null channel table.
VQUTIL_EXPORT bool AdjustRGBOffset(QImageEx& image, const QImageEx* mask, unsigned char* red, unsigned char* green,
                                   unsigned char* blue, unsigned char* master);
// The same in CMYK terms: every pixel of the work rectangle is converted to
// C, M, Y, K (QImageEx::BgrToCmyk), each channel with a non-null table is
// mapped, then all four through master, and the result converted back and
// written where the mask byte is 0. Grey images are left alone; indexed
// images have their colour table mapped. Progress is reported, but these
// bands never stop early. False for a null image.
VQUTIL_EXPORT bool AdjustCMYKOffset(QImageEx& image, const QImageEx* mask, unsigned char* cyan,
                                    unsigned char* magenta, unsigned char* yellow, unsigned char* black,
                                    unsigned char* master);

// ---------------------------------------------------------------------------
// Levels
// ---------------------------------------------------------------------------

// The levels settings: 26 doubles in this order, so callers may fill it as
// an array. Values are fractions of full scale (0..1). Index 0 of each group
// is the master channel, 1..4 the colour channels (red, green, blue and one
// that RGB images ignore; or cyan, magenta, yellow, black).
struct ColorLevelsConfig {
    double inputBlack[5];
    double inputWhite[5];
    double reserved;  // not read by the library
    double gamma[5];  // each at least 0.001
    double outputBlack[5];
    double outputWhite[5];
};
static_assert(sizeof(ColorLevelsConfig) == 26 * sizeof(double), "26 doubles, no padding");

// Fills table[r][i] (0..1) for colour channel r + 1 and input i / 255: the
// channel's levels (input range, gamma 1 / gamma as float, output range,
// inverted when output white < black), then the master's, clamped to 0..1.
// False, table untouched, for a null config or a gamma below 0.001.
VQUTIL_EXPORT bool color_levels_process(float table[4][256], const ColorLevelsConfig* config);
// Applies the levels to an RGB image through AdjustRGBOffset (tables
// truncate(entry x 255.0f) of rows 0, 1, 2 as red, green, blue). A config
// the table builder rejects leaves the image unchanged. False for a null
// image or config.
VQUTIL_EXPORT bool vqDoColorLevel(QImageEx& image, const QImageEx* mask, const ColorLevelsConfig* config);
// The same through AdjustCMYKOffset with rows 0..3 as cyan, magenta,
// yellow, black.
VQUTIL_EXPORT bool vqDoColorLevelCMYK(QImageEx& image, const QImageEx* mask, const ColorLevelsConfig* config);
// Automatic levels: each of bytes 0, 1, 2 is stretched so that about 0.6 %
// of the pixels clip at each end (the bins where the cumulative share is
// closest to 0.6 %). Images other than 24 and 32 bits become ARGB32 first.
// Returns the mean brightness (3 b0 + 6 b1 + b2) / 10 afterwards; 0 for a
// null image. Runs on the calling thread.
VQUTIL_EXPORT int ThAutoLevel(QImageEx& image);

// ---------------------------------------------------------------------------
// Histograms
// ---------------------------------------------------------------------------

// 256 counts of grey values: the byte of 8-bit grey images,
// (59 b1 + 11 b0 + 30 b2) / 100 of 24- and 32-bit pixels, and for indexed
// and 1-bit images the grey of each used colour-table entry composited over
// white. Nothing for a null table.
VQUTIL_EXPORT void getHistoGramGrey(const QImageEx& image, int* grey);
// Counts per pixel: value at max(b0, b1, b2), first (red), second (green),
// third (blue): bytes 2, 1, 0 of 32-bit pixels, bytes 0, 1, 2 of 24-bit
// ones. Grey 8-bit images count their byte in all four, indexed images the
// colour of their entry, 1-bit images their bit value. Null tables are
// skipped.
VQUTIL_EXPORT void getHistoGramValue(const QImageEx& image, int* value, int* first, int* second, int* third);
// Counts of the pixels' C, M, Y, K values (QImageEx::BgrToCmyk): value at
// max(C, M, Y, K), then cyan, magenta, yellow, black. 24- and 32-bit images
// only, counted in parallel bands; null tables are skipped.
VQUTIL_EXPORT void getHistoGramValueCMYK(const QImageEx& image, int* value, int* cyan, int* magenta, int* yellow,
                                         int* black);
VQUTIL_EXPORT void getHistoGramValueQImage(const QImage& image, int* value, int* first, int* second, int* third);
VQUTIL_EXPORT void getHistoGramValueCMYKQImage(const QImage& image, int* value, int* cyan, int* magenta,
                                               int* yellow, int* black);

// Draws histograms as a levels dialog shows them, into the rectangle
// (0, 0, size): `count` histograms of 256 bins each (histograms[i], null
// entries skipped), drawn in order over each other as filled areas with an
// outline, bin i across columns [i w / 256, (i + 1) w / 256), heights from
// the bottom edge. `fullScale` is the count drawn at full height; 0 or less
// chooses it: the tallest bin, but at most 1.5 times the bin at the 98th
// percentile of the non-empty bins (of all histograms together), so that a
// few spikes (a flat background, clipped highlights) do not flatten the
// rest; taller bins are cut off at the top. fills[i] and outlines[i] colour histogram i; null
// arrays give a neutral grey fill and a dark outline. Faint guides mark the
// quarters of the range.
VQUTIL_EXPORT void drawHistoGramToPainter(QPainter* painter, const QSize& size, int count, int fullScale,
                                          int** histograms, QColor* fills, QColor* outlines);
// image = a new ARGB32 image of `size` filled with `background`, then the
// histograms drawn on it as above.
VQUTIL_EXPORT void drawHistoGramToImage(QImage& image, const QColor& background, const QSize& size, int count,
                                        int fullScale, int** histograms, QColor* fills, QColor* outlines);
// CDib::adjustBrightAndContrast on a plain QImage, without a mask.
VQUTIL_EXPORT void adjustBrightAndContrastQImage(QImage& image, double contrast, double brightness);
// Brightness and contrast for CDib::adjustBrightAndContrast that stretch the
// image's tones: from the grey histogram, the levels L and H where about
// 0.6 % of the pixels lie below and above (as ThAutoLevel clips), solve
// (s i - 128) k + 128 = 0 at L and 255 at H for the brightness stretch
// s = 255 / (254 - 306 brightness) and the contrast factor k (contrast
// 2k - 1 above 1, (k - 0.8) / 0.2 below). When the brightness cannot
// stretch enough on its own (s would stay below 255 / 254, its smallest
// stretch), brightness is 0 and k = 255 / (H - L) alone. An image that
// already spans the range gets brightness 0 and a contrast close to 1, one
// of a single grey (nothing to stretch) exactly 0 and 1; brightness is never
// negative (a shift down would not stretch).
VQUTIL_EXPORT void getAutoBrightContractValue(QImageEx& image, double& brightness, double& contrast);

// ---------------------------------------------------------------------------
// Photographic adjustments
// ---------------------------------------------------------------------------

// Exposure in stops with an offset and a gamma, through one table for
// bytes 0, 1, 2 (alpha kept): with k = 2^exposure, entry i is
// b = truncate(truncate(i k) + offset x 255.0), then, when gamma is not 0
// (it counts as at least 0.01), b = truncate(pow(b / 255.0f, 1 / gamma) x
// 255.0) for b > 0; clamped to 0..255. 24-bit and deeper images run in
// parallel bands without progress reports; others have their colour table
// mapped. Neutral: 0, 0, 0 (or gamma 1). Infinite or NaN arguments give
// saturated or 0 entries.
VQUTIL_EXPORT void DibAdjustExposure(QImageEx& image, double exposure, double offset, double gamma);
// The exposure slider: ev above 0 counts 0.4 stop per unit, below 0 half a
// stop (e, in float). t1[i] = truncate(powf(i / 255, 1 / gamma) x 255.0),
// then truncate(t1[i] x 2^e), each clamped to 0..255, applied through
// AdjustRGBOffset. Neutral: 0, 1.
VQUTIL_EXPORT void exposure(QImageEx& image, float ev, float gamma);
// Shifts every pixel along the blue-yellow axis: to CIE L*a*b* (the bytes
// taken as linear R = byte 2, G = byte 1, B = byte 0 over 255, D65 white),
// b* += amount and clamped to -127..127, and back, all in single precision
// (cube roots rounded to float); bytes truncate(clamp(c, 0, 1) x 255).
// Positive amounts warm, negative ones cool. Even amount 0 costs the round
// trip's truncation. Images below 24 bits are left unchanged. Runs on the
// calling thread.
VQUTIL_EXPORT void DibAdjustTemperature(QImageEx& image, int amount);
// Raises (vibrance > 0) or lowers the saturation of the less saturated
// pixels most. With k = truncate(-(vibrance x 256.0f)), per pixel of
// largest channel mx: d = (3 mx - b0 - b1 - b2) k, w = 65280 - d, and each
// of bytes 0, 1, 2 becomes clamp((c w + mx d) >> 16, 0, 255). The weight
// 65280 makes even vibrance 0 scale every channel by 255 / 256 (255 turns
// into 254). Useful range -1..1; |k| is capped at 5461 (|vibrance| about
// 21), beyond which the integer arithmetic would overflow. 24-bit and
// deeper images run in parallel bands without progress reports; others
// have their colour table mapped; alpha is kept.
VQUTIL_EXPORT void DibAdjustVibrance(QImageEx& image, float vibrance);

// Haze, highlights and shadows, white balance.
//
// The shared rules of these three. Parameters out of their range are clamped to
// it (infinities too); a NaN parameter leaves the image unchanged (and makes
// shadowHighlight return false). Neutral settings return before touching the
// image, so its bytes and format stay exactly as they were. Alpha, and the
// fourth byte of RGB32, are never changed. 24-bit pixels are read as bytes
// B, G, R and 32-bit ones as B, G, R, A, whatever their format.
//
// The luminance of a pixel is L = (77 R + 150 G + 29 B + 128) >> 8 (0..255).
// Operations that move it carry the channels along with the hue kept: when
// L rises to L2 every channel's distance to white shrinks by the factor
// (255 - L2) / (255 - L), when it falls every channel is scaled by L2 / L;
// the results are rounded to the nearest byte. Neither step can clip.
//
// The final pass runs in parallel bands and reports the row number as
// progress; a false answer from QImageEx::set_progress stops it (the rows
// done stay changed).

// Removes haze (strength > 0) or adds it (strength < 0) using the dark
// channel of the image:
//  - strength: -100..100 percent, neutral 0.
//  - floor: the least transmission, 0.05..1, usually 0.1: the share of the
//    scene's own colour every pixel keeps, which limits how far thick haze
//    is stretched (and how much noise with it). 1 is neutral.
//  - radius: the neighbourhood, pixels, 0..1000 (clamped), usually 7..15
//    (larger for larger images); 0 uses each pixel alone.
// The dark value D of a pixel is its smallest channel, filtered by a minimum
// and then a maximum over the (2 radius + 1)^2 square around it (clipped to
// the image), then by the stack blur of GaussianBlur of the same radius. The
// air colour A is the mean colour of the brightest 0.1 % of the dark values
// (at least one pixel), and a = max(its smallest channel, 96). Per channel,
// with s = strength / 100 and I the channel value:
//  - removal: t = max(floor, 1 - 0.95 s D / a); I' = A + (I - A) / t;
//  - addition: m = min(1 - floor, -s (0.5 + 0.5 min(1, D / a)));
//    I' = I + m (H - I), H the air colour scaled up so that its largest
//    channel is at least 220 (at most 255; grey 220 for black air).
// Grayscale8 images are processed as one channel (the byte is its own dark
// value); indexed, 1-bit, Alpha8 and all other formats are left unchanged,
// since the estimate needs the neighbourhood of pixels, not colours.
VQUTIL_EXPORT void DibAdjustHaze(QImageEx& image, float strength, float floor, int radius);

// Lifts shadows and lowers highlights by a tone curve on the luminance:
//  - shadows: -100..100 percent, neutral 0; positive lifts the dark tones,
//    negative deepens them.
//  - highlights: -100..100 percent, neutral 0; positive lowers (recovers)
//    the light tones, negative brightens them.
// With x = L / 255, s = shadows / 100, h = highlights / 100:
//   x1 = x + k(s) s x (1 - x)^6,  x2 = x1 - k(h) h (1 - x1) x1^6,
// k = 4 for a positive and 0.9 for a negative amount, and L2 = round(255 x2).
// The curve keeps 0 and 255, rises everywhere, and the shadow term peaks at
// x = 1/7 and has faded by the midtones (mirrored for the highlights). More
// shadow lift never darkens a pixel; more highlight recovery never
// brightens one. Grayscale8 bytes become L2 of themselves; indexed and 1-bit
// images have their colour-table entries adjusted; Alpha8 and formats below
// 24 bits other than these are left unchanged.
VQUTIL_EXPORT void DibAdjustHighLightShadow(QImageEx& image, float shadows, float highlights);

// White balance by channel gains in linear light: every channel value is
// decoded from sRGB, multiplied by its gain, capped at 1, encoded again and
// rounded, as one table per channel applied by AdjustRGBOffset.
//  - temperature: -100..100, neutral 0; positive warms (more red, less
//    blue), negative cools. Gains red 2^t, blue 2^-t, t = temperature / 100.
//  - tint: -100..100, neutral 0; positive towards magenta (less green, more
//    red and blue), negative towards green. Gains green 2^(-0.5 u), red and
//    blue a further 2^(0.25 u), u = tint / 100.
// A warmer setting never lowers red nor raises blue; more tint never raises
// green. Indexed and 1-bit images have their colour table adjusted;
// Grayscale8 and Alpha8 images (no colour balance to move) and other
// formats below 24 bits are left unchanged.
VQUTIL_EXPORT void DibAdjustWhiteBalance(QImageEx& image, float temperature, float tint);

// The shadows/highlights tool: pixels in dark surroundings are lifted,
// pixels in bright surroundings darkened. The surroundings are the
// luminance blurred by the stack blur of GaussianBlur of `radius`.
//  - shadows: 0..100 percent, neutral 0: lift in dark surroundings.
//  - highlights: 0..100 percent, neutral 0: darkening in bright ones.
//  - radius: pixels, 0..1000 (larger values count as 1000), usually 30 and
//    more; 0 takes each pixel's own luminance as its surroundings; negative
//    is an error.
//  - shadowWidth: 0..100 percent, usually 50: surroundings darker than this
//    share of full scale count as shadows (0: none do).
//  - highlightWidth: 0..100 percent, usually 50: surroundings lighter than
//    this share below white count as highlights (0: none do).
//  - colourCorrection: -100..100, neutral 0: saturation gained (lost) in
//    proportion to how far a pixel's luminance was moved.
//  - midtoneContrast: -100..100, neutral 0: an S curve on the result.
// With m = blurred luminance / 255, x = L / 255 and the amounts, widths and
// contrast as fractions (percent / 100):
//   ws = (1 - m / shadowWidth)^2 for m < shadowWidth, else 0;
//   wh = (1 - (1 - m) / highlightWidth)^2 for 1 - m < highlightWidth, else 0;
//   x1 = x^(1 / (1 + 2 shadows ws));  x2 = 1 - (1 - x1)^(1 / (1 + 2 highlights wh));
//   x3 = x2 + 0.9 contrast x2 (1 - x2) (2 x2 - 1);  L2 = round(255 x3).
// The channels follow L2 as described for this family; then, with
// colourCorrection, their distances to their own luminance g = (77 R +
// 150 G + 29 B) / 256 are scaled by f = max(0, 1 + colourCorrection / 100
// x |L2 - L| / 128); an f above 1 is lowered (not below 1) as far as needed
// to keep every channel in 0..255, so the hue stays. Grayscale8 bytes
// become L2 (colour correction has nothing to do).
// False for a null image, a NaN parameter, a negative radius, a format
// other than Grayscale8, 24 and 32 bits (indexed images included), or short
// memory: the image is then unchanged. True otherwise, also when the
// settings change nothing.
VQUTIL_EXPORT bool shadowHighlight(QImageEx& image, float shadows, float highlights, int radius, float shadowWidth,
                                   float highlightWidth, float colourCorrection, float midtoneContrast);

// ---------------------------------------------------------------------------
// Blend modes
// ---------------------------------------------------------------------------

// BLENDMODE (core.h) names the modes.
// Writes the blue, green and red of *result from a (underneath) and b (laid
// on it) under `mode`; its reserved byte is never written. Divisions
// truncate. The HSL modes use the library's HSL model in double precision
// (hue in sixths from red; greys have hue 1.0, which reads as red, and
// saturation 0), channels rounded by floor(v x 255 + 0.5). BLEND_NONE and
// values above 11 leave *result as it is, as does a null result.
VQUTIL_EXPORT void DibColorBlend(tagRGBQUAD a, tagRGBQUAD b, tagRGBQUAD* result, BLENDMODE mode);

// ---------------------------------------------------------------------------
// Point operations
// ---------------------------------------------------------------------------

// dst = an 8-bit Grayscale8 version of src: 24- and 32-bit pixels
// truncate(0.587 b1 + 0.299 b0 + 0.114 b2 + 0.5) (the byte weights are kept
// as they are), 32-bit pixels composited by their alpha over black when the
// background's grey is 0 and over white otherwise; indexed and 1-bit pixels
// through their colour table composited over the background's grey. A
// Grayscale8 source leaves dst untouched.
VQUTIL_EXPORT void makeGrayscale8(QImageEx& dst, const QImageEx& src, unsigned int background);
// In place, format kept: bytes 0, 1, 2 become
// truncate(0.587 b1 + 0.299 b0 + 0.114 b2 + 0.5) where the mask byte is 0
// (inside its bounds), alpha kept; indexed images get grey colour-table
// entries. Grayscale8 and images below 24 bits are left alone.
VQUTIL_EXPORT void Dib2Gray(QImageEx& image, QImageEx* mask, bool);
// An automatic black-and-white threshold (0..255) by Otsu's method: the
// level that best separates the grey histogram into dark and light
// classes (largest between-class variance); pixels at or below it are the
// dark class. An image of one grey gives that grey; a null image 128.
// Greys are those of convertToBW.
VQUTIL_EXPORT int calDivideValue(const QImageEx& image);
// dst = a 1-bit Format_Mono image (index 0 black, 1 white, most significant
// bit first): white where the grey is above the threshold (0: automatic,
// calDivideValue). Greys: 8-bit grey the byte; indexed the entry's
// (11 R + 16 G + 5 B) >> 5 over white; 24-bit (59 b1 + 30 b2 + 11 b0) / 100;
// 32-bit (11 b0 + 59 b1 + 30 b2) / 100 composited by alpha over white. A
// 1-bit source is copied. False when dst cannot be created.
VQUTIL_EXPORT bool convertToBW(QImageEx& dst, const QImageEx& src, int threshold);
// mode 0: convertToBW. mode 1: a pencil-sketch binarisation (colour dodge
// of the image by its recursive Gaussian blur of radius 35, then a burn),
// then convertToBW. Other modes: red ink only (keepInkColour "red"), then
// convertToBW at 128. True except when mode 0 fails.
VQUTIL_EXPORT bool convertToBWEx(QImageEx& dst, const QImageEx& src, int threshold, int mode);
// Keeps the pixels of a 32-bit image that show ink of `colour` and paints
// them `ink` (its blue byte capped at 254), every other pixel `background`
// (in its colour bytes, opaque):
//  - "red": red above 255 - level, green and blue below 255 - 2 level, and
//    a hue (0..360) outside 61..239 with saturation (0..255) of 18 or more;
//  - "black": all three channels below level.
// level is 0..100. Other colour names, and images other than 32 bits,
// leave the image unchanged.
VQUTIL_EXPORT void keepInkColour(QImageEx& image, const QString& colour, int level, unsigned int ink,
                                 unsigned char background);
// Converts colour to grey with one weight (percent) per hue sector, in the
// order red, yellow, green, cyan, blue, magenta (missing weights count 0):
// with m the smallest channel, the remaining two channels split into a
// primary and a secondary part weighted accordingly, plus m. The image
// becomes ARGB32; alpha is kept. True.
VQUTIL_EXPORT bool blackWhite(QImageEx& image, const QVector<int>& weights);
// Bytes 0, 1, 2 become 0 where the grey truncate(0.2989 R + 0.587 G +
// 0.114 B) (low 8 bits) is below the threshold, else 255; indexed images
// (Grayscale8 and Alpha8 converted to Indexed8 first) get black and white
// colour-table entries. False for a threshold below 1.
VQUTIL_EXPORT bool thresholdSplit(QImageEx& image, int threshold);
// Maps every channel to the nearest of `levels` evenly spaced values
// (ties to the lower), through AdjustRGBOffset. False outside 2..255.
VQUTIL_EXPORT bool posterize(QImageEx& image, int levels);
// Inverts bytes 0, 1, 2 (alpha kept) of 24- and 32-bit pixels whose mask
// byte is 0, inside the mask's bounds; every byte of 8-bit grey images
// inside those bounds; the colour-table entries of other images. True.
VQUTIL_EXPORT bool NegativeDib(QImageEx& image, const QImageEx* mask);
// Inverts each of bytes 0, 1, 2 (alpha kept; the bytes a pixel has, when it
// has fewer) above t = truncate(level x 256 / 100), level in percent;
// colour-table entries for images of 8 bits or less. The second image is
// ignored. 0 for a null image, else 1.
VQUTIL_EXPORT int DibSolarize(QImageEx& image, const QImageEx* other, float level);
// Inverts every byte of every row, padding included. False for a null image.
VQUTIL_EXPORT bool invertImagePixels(QImageEx& image);
// Replaces every colour by its HSL lightness (max + min) / 2 of bytes 0, 1,
// 2 (alpha kept): 24-bit and deeper pixels in parallel bands (progress per
// row; a false answer stops the band), colour-table entries of indexed
// images (images below 8 bits become Format_Indexed8 first). False for a
// null image and for Grayscale8 and Alpha8 images, which are left alone.
VQUTIL_EXPORT bool removeSaturation(QImageEx& image);

// ---------------------------------------------------------------------------
// Selective colour and colour replacement
// ---------------------------------------------------------------------------
//
// Both operations change bytes 0, 1, 2 (blue, green, red) of 24- and 32-bit
// pixels whose mask byte is 0, inside the mask's bounds, in parallel bands,
// and stop when QImageEx::set_progress returns false (the rows done stay
// changed); alpha is never touched. Grayscale8 and Alpha8 images are first
// converted to Format_Indexed8 (as AdjustRGBOffset does); indexed and 1-bit
// images have their colour table changed (the mask plays no part); other
// formats are left alone. Neutral settings (as each function states) return
// true at once with the image untouched, not even converted. Both return
// false, image untouched, for a null image or a NaN among the settings, and
// true otherwise.

// One colour family's corrections, in percent of full ink, each -100..100
// (0 neutral; values outside, infinities included, are clamped).
struct SelectiveColorInks {
    double cyan = 0;
    double magenta = 0;
    double yellow = 0;
    double black = 0;
};

// The selective colour settings: corrections for nine colour families and
// the mode. A default-constructed record is neutral.
struct SelectiveColorSettings {
    SelectiveColorInks reds;
    SelectiveColorInks yellows;
    SelectiveColorInks greens;
    SelectiveColorInks cyans;
    SelectiveColorInks blues;
    SelectiveColorInks magentas;
    SelectiveColorInks whites;
    SelectiveColorInks neutrals;
    SelectiveColorInks blacks;
    // false (relative): a correction is a share of the ink the pixel already
    // has, so an ink it lacks stays absent; true (absolute): a share of full ink.
    bool absolute = false;
};

// Selective colour: each pixel's C, M, Y, K inks (0..255, as
// QImageEx::BgrToCmyk gives them) change by the corrections of the families
// it belongs to, each weighted by its membership w (0..255). With
// max >= mid >= min the pixel's channels:
//  - the family of the largest channel (reds, greens or blues): max - mid;
//  - the family of the two largest (yellows: red and green, cyans: green
//    and blue, magentas: red and blue): mid - min;
//  - whites max(0, max + min - 255), blacks max(0, 255 - max - min),
//    neutrals 255 - whites - blacks (by lightness; the three sum to 255).
// Other families weigh 0; a tie between channels leaves the tied family's
// weight 0, so greys belong to whites, neutrals and blacks only. Per ink,
// with T the sum of w x c over the families, in integers:
//   absolute: c = round(p x 8192 / 100),  ink' = ink + floor((T + 4096) / 8192)
//   relative: c = round(p x 2^21 / 25500), ink' = ink + floor((ink T + 2^20) / 2^21)
// (p the correction in percent), that is ink + w p / 100 and
// ink + ink w p / 25500 summed over the families, rounded; then clamped to
// 0..255 and converted back with QImageEx::CmykToBgr. At full membership
// +100 % absolute adds full ink and +100 % relative doubles the ink there
// is. Black scales all three channels alike (the inks are relative to the
// brightest channel). A pixel whose inks do not change keeps its bytes
// exactly (the conversion round trip is exact). Neutral: every correction
// 0 (after clamping and rounding).
VQUTIL_EXPORT bool selectiveColor(QImageEx& image, const QImageEx* mask, const SelectiveColorSettings& settings);

// A colour in the YUV space of replaceColor: BT.601 luma and colour
// differences on the byte scale, U and V centred on 0:
//   Y = 0.299 R + 0.587 G + 0.114 B          (0..255)
//   U = (B - Y) / 1.772, V = (R - Y) / 1.402  (each -127.5..127.5)
struct YUV {
    double y;
    double u;
    double v;
};
Q_DECLARE_TYPEINFO(YUV, Q_PRIMITIVE_TYPE);

// The YUV of a colour (its alpha ignored), computed exactly as replaceColor
// computes the YUV of a pixel.
inline YUV yuvFromRgb(QRgb colour) {
    const int r = qRed(colour), g = qGreen(colour), b = qBlue(colour);
    const double y = 0.299 * r + 0.587 * g + 0.114 * b;
    return {y, (b - y) * (1 / 1.772), (r - y) * (1 / 1.402)};
}

// Colour replacement that keeps each pixel's shading and texture: a pixel
// near one of `sources` moves by the difference target - source in YUV.
// For a pixel p, the nearest source s (Euclidean distance d in YUV, the
// first of equally near ones) gives the weight
//   w = 1 for d <= tolerance, 0 for d >= o = tolerance + feather, and
//       (o^2 - d^2) / (o^2 - tolerance^2) between (falling softly;
//       feather 0 gives a hard edge),
// and p becomes p + w (target - s). The shift is mapped to RGB with the
// exact inverse of the YUV transform, dR = dY + 1.402 dV,
// dG = dY - 0.344136 dU - 0.714136 dV, dB = dY + 1.772 dU, and each channel
// becomes channel + w x d rounded to nearest (halves up) and clamped to
// 0..255, in double precision; pixels with w = 0 keep their bytes exactly.
// tolerance and feather are YUV distances (black to white is 255), clamped
// to 0..1000; the colours' components are clamped to -1000..1000 (so
// infinities are accepted). Neutral: no sources, or a target equal to
// every source.
VQUTIL_EXPORT bool replaceColor(QImageEx& image, const QImageEx* mask, const QVector<YUV>& sources,
                                const YUV& target, double tolerance, double feather);

// ---------------------------------------------------------------------------
// Hue, saturation and colour balance
// ---------------------------------------------------------------------------
//
// These work in the library's HSL model: hue in degrees here (0 red, 60
// yellow, 120 green, 180 cyan, 240 blue, 300 magenta), saturation and
// lightness as fractions 0..1, the lightness being (max + min) / 2 of the
// channels. Greys have saturation 0 and no hue: they stay grey whatever
// happens to the hue. Images of 3 or more bytes per pixel run in parallel
// bands (bytes 0, 1, 2; progress per row, a false answer stops the pass and
// the rows done stay changed); indexed and 1-bit images have their colour
// table changed instead; alpha is never touched; other formats are left
// alone. Integer settings outside their ranges are clamped, hue points and
// target hues taken modulo 360. Neutral settings return at once and change
// nothing, not even the format. All return false for a null image only.

#include <QList>

// One entry of DibHSLAdjust: the master entry, which applies to every
// pixel, or a hue range, and the shifts to make there.
//
// A range is four hue points in degrees, read going up the hue circle from
// hueStart (each point modulo 360): the entry's weight rises linearly from
// 0 at hueStart to 1 at hueFullStart, stays 1 up to hueFullEnd and falls
// linearly to 0 at hueEnd; other hues weigh 0. Equal neighbouring points
// give a hard edge. The spans together should not exceed one turn (what
// lies beyond is cut off at hueStart). Ranges weigh only coloured pixels
// (saturation above 0). The usual six ranges are 60 degrees wide with soft
// edges of 30 (hueStart, hueFullStart, hueFullEnd, hueEnd):
//   reds 315, 345, 15, 45      yellows 15, 45, 75, 105    greens 75, 105, 135, 165
//   cyans 135, 165, 195, 225   blues 195, 225, 255, 285   magentas 255, 285, 315, 345
// A value-initialised entry (HSLAdjustParam{}) is a neutral range.
struct HSLAdjustParam {
    int master;        // non-zero: the master entry (the hue points are ignored)
    int hueStart;      // degrees
    int hueFullStart;  // degrees
    int hueFullEnd;    // degrees
    int hueEnd;        // degrees
    int hue;           // hue shift in degrees, -180..180, neutral 0
    int saturation;    // -100..100, neutral 0; -100 gives grey
    int lightness;     // -100..100, neutral 0; -100 gives black, 100 white
};
Q_DECLARE_TYPEINFO(HSLAdjustParam, Q_PRIMITIVE_TYPE);

// Hue, saturation and lightness by hue ranges. A pixel's three shifts are
// the sums over the entries of weight x value (a master entry weighs 1
// everywhere), each sum clamped to its range like the values; then, with
// (h, s, l) the pixel's HSL and h in turns:
//   h' = h + hue / 360, wrapped into 0..1;
//   s' = min(1, s (1 + saturation / 100));
//   l' = l (1 + lightness / 100) when lightness < 0, else
//        l + (1 - l) lightness / 100;
// and the pixel becomes hslToRgb(h', s', l'). Shifts that are all zero leave
// a pixel's bytes as they were.
// With colorize, every pixel, grey or not, takes one hue and one saturation
// and keeps its lightness, shifted as above. The master entries give them
// (summed): the hue as an absolute hue in degrees (-60 is 300), the
// saturation in percent of full (below 0 counts as 0), the lightness shift.
// Range entries are then ignored, and without a master entry nothing
// changes. Grayscale8 and Alpha8 images become Format_Indexed8 first, so
// that they can take colour.
VQUTIL_EXPORT bool DibHSLAdjust(QImageEx& image, const QList<HSLAdjustParam>& params, bool colorize);

// Saturation: each pixel's s becomes min(1, s (1 + amount / 100)), hue and
// lightness kept; amount -100..100, neutral 0: -100 gives the grey of the
// pixel's lightness, 100 doubles s. Exactly a master entry of DibHSLAdjust
// with that saturation. Grayscale8 and Alpha8 images have no colour and
// are left alone.
VQUTIL_EXPORT bool adjustSaturation(QImageEx& image, int amount);

// Unifies hues: each pixel's hue moves towards `hue` (degrees) by `amount`
// percent (0..100, neutral 0) of the way, the shorter way round the circle
// (from exactly opposite, downward); saturation and lightness are kept, so
// 100 gives every coloured pixel the target hue. Grayscale8 and Alpha8
// images are left alone.
// Read as "make hues equal" rather than "equalise the hue histogram": hue is
// circular, with no dark or light end to stretch between, so spreading its
// histogram evenly round the circle has no natural reference point; the
// result would follow image statistics no user can steer, and near-greys,
// whose hue is mostly noise, would be flung round the whole circle. Pulling
// hues together is predictable and graded, what a colour-matching or
// tinting tool does, and keeps each pixel's saturation and lightness.
VQUTIL_EXPORT bool hueEqual(QImageEx& image, int hue, int amount);

// Colour balance. Nine sliders, -100..100 each, neutral 0, in the order
// shadows, midtones, highlights and within each cyan-red, magenta-green,
// yellow-blue: positive values move the range towards red, green or blue,
// negative towards cyan, magenta or yellow. The slider of each axis acts on
// its own channel (red, green, blue) through
//   x = trunc(c / (1 - s)); y = trunc((min(x, 255) - 255 h) / (1 - h));
//   z = trunc(max(y, 0) (m + 1)); c' = min(z, 255),
// whose factors come from the channel's three sliders, with t = 0.4 |v| / 100
// for a slider value v (all three factors are 0, the identity, when the
// sliders are):
//  - highlights set the white point s and leave 0 at 0: v > 0: s = t (an
//    input white at 255 (1 - t)); v < 0: s = -t / (1 - t) (255 goes to
//    255 (1 - t)).
//  - shadows set the black point h and leave 255 at 255: v > 0 raises the
//    output black to 255 t (slope 1 - t); v < 0 raises the input black to
//    255 t (slope 1 / (1 - t)).
//  - midtones leave both 0 and 255: v > 0 sets the gain m = t (clipping at
//    255); v < 0 raises the input black to 255 t / (1 + t) (slope 1 + t),
//    its mirror image about mid-grey.
//  Black points compose: h = 1 - 1 / (product of their slopes). Each factor
//  is then rounded to a multiple of 2^-32, which leaves every stage exact
//  but for the rounding of its quotient, so the ends kept stay exactly.
// With preserveLuminosity each pixel takes the hue and saturation of its
// balanced colour at the HSL lightness of its original colour (a pixel the
// balance leaves unchanged keeps its bytes). Grayscale8 and Alpha8 images
// become Format_Indexed8 first. Without the flag this is a table operation
// through AdjustRGBOffset.
VQUTIL_EXPORT bool DibColorBalance(QImageEx& image, int shadowCyanRed, int shadowMagentaGreen,
                                   int shadowYellowBlue, int midtoneCyanRed, int midtoneMagentaGreen,
                                   int midtoneYellowBlue, int highlightCyanRed, int highlightMagentaGreen,
                                   int highlightYellowBlue, bool preserveLuminosity);
