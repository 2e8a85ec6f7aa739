// vqutil selection masks: the selection held as a mask (CDibRegion), the
// magic wand that builds one from a clicked colour (CBoundaryTrace), and the
// cyclic image roll the selection's Offset uses.
//
// A selection mask is a Format_Grayscale8 image of the picture's size whose
// sense is inverted: 0 = selected, 255 = not selected, values between are
// partial selection; a hit test counts a byte below 128 as inside.
#pragma once

#include <vqutil/core.h>

#include <QRect>
#include <QVector>

#include <memory>

class QRegion;
class QString;

// Shifts the rows and columns of `image` cyclically by (dx, dy): the pixel
// at (x, y) moves to ((x + dx) mod width, (y + dy) mod height), so what
// leaves one edge enters at the opposite one; 1-bit images are rolled bit
// by bit. False for a null image.
VQUTIL_EXPORT bool DibRoll(QImageEx& image, int dx, int dy);

// A selection: its mask plus a cached bounding box of the selected pixels.
// Every change of the mask sets the border-changed flag, which makes the next
// GetBouder(true) recompute the box. Members that take a mask fail (false)
// on a null mask unless said otherwise, and change nothing when they fail.
class VQUTIL_EXPORT CDibRegion {
public:
    CDibRegion();
    explicit CDibRegion(const QImageEx& mask);
    // Copies share the mask's pixels until one is written, and share the
    // region cache (released once, by the last holder).
    CDibRegion(const CDibRegion& other);
    CDibRegion& operator=(const CDibRegion& other);
    ~CDibRegion();

    // mask = a new w x h Format_Grayscale8 image filled with `value`. False
    // when it cannot be created. The third argument is ignored.
    bool InitRegion(long w, long h, long, unsigned int value);
    void setImage(const QImageEx& mask);
    // A non-null image replaces the mask; a null one deselects everything
    // (fills an existing mask with 255).
    void updateImage(const QImageEx& img);
    QImageEx toQImageRef();
    // Writes the mask to `path` (format from the suffix); true regardless.
    bool save(const QString& path);
    // mask.mergerImage(piece, at); leaves the flag as it is. True.
    bool paste(const QImageEx& piece, const QRect& at);
    // The region cache: nothing in the library fills it.
    QRegion* GetCRgnPointer();
    // Releases the region cache; false (also for a null mask).
    bool CreateCRgn(long, CRect*);

    // The bounding box of the selected pixels (getMaskImageBouder with
    // `refresh` as its flag), recomputed when the flag is set; only a
    // refresh clears the flag.
    QRect GetBouder(bool refresh);
    bool GetBouder(QRect& out, bool refresh);
    // True when nothing is selected (the refreshed box has no width).
    bool isEmpty();

    // Paints the rectangle (columns min(left, right) .. max - 1, rows
    // likewise) with `value`; with a non-zero shape and both unnormalised
    // sides above 2, an anti-aliased ellipse in that box instead, black for
    // value 0 and white for any other value. False when the rectangle lies
    // wholly outside the mask (left = width still counts as inside).
    bool AddSelect(const CRect& r, int shape, unsigned char value);
    // Adds the polygon of n points (odd-even fill, anti-aliased, 1-pixel
    // pen) to the selection: always painted 0; `value` is ignored.
    bool AddSelect(int n, const CPoint* pts, unsigned char value);
    // this = this AND other, byte by byte (selected in either stays
    // selected). False for a null other or masks of different sizes.
    bool AddSelect(CDibRegion* other);
    // AddSelect(r, shape, 255).
    bool SubSelect(CRect r, int shape);
    // AddSelect(n, pts, 255), which paints 0: the polygon is added, not
    // subtracted (kept for the callers that rely on it).
    bool SubSelect(int n, CPoint* pts);
    // this = this OR NOT other: pixels selected in other become 255.
    bool SubSelect(CDibRegion* other);
    // ANDs other's mask into this one, sampling it at (x ow / w, y oh / h)
    // (nearest pixel, so masks of any size combine). Nothing for a null
    // other or null masks.
    void Union(CDibRegion* other);
    // Every byte b becomes 255 - b (invertImagePixels).
    bool InvertSelect();
    // combineImageData(mask, other's mask, mode). False for a null other.
    bool CombineRegion(CDibRegion* other, int mode);
    // Sets `count` bytes of `row` from column x (clipped to the mask) to
    // value. False for a row outside the mask, count below 1 or a start
    // past the last column. Does not set the flag.
    bool FillRegion(long row, long x, long count, unsigned char value);
    // DibRoll(mask, dx, -dy): note the vertical sign.
    void Offset(int dx, int dy);

    // A new region with mask.copyEx(r). For a null (whole-mask) r the new
    // region carries this one's refreshed bounds; otherwise empty bounds
    // and its flag set.
    CDibRegion copy(const QRect& r);
    // mask = a deep copy of src's mask, with src's bounds (refreshed when
    // stale). This region's flag is left as it was.
    bool CopyRegion(CDibRegion* src);
    // out's mask = the part of this mask inside r (clipped); false when
    // that is empty or out is null. Sets the flag of this region, not of
    // out.
    bool Crop(const QRect& r, CDibRegion* out);
    // out = mask.copyEx of r (right and bottom exclusive). True.
    bool GetAlphaData(QImageEx& out, const CRect& r);
    // True when (x, y) lies in the mask and its byte is below 128.
    bool IsPtInSelArea(const CPoint& p);
    void setRotate(double angle);

    // The x positions where the closed outline pts[0..n-1] (pixel centres,
    // successive points 8-connected) crosses row y, sorted, so that
    // consecutive pairs (xs[0], xs[1]), (xs[2], xs[3]), ... bound the spans
    // of row y inside the outline. Edges are taken half-open in y (an edge
    // from y0 to y1 counts on rows y0 <= y < y1 or y1 <= y < y0, at its x on
    // that row), which keeps the count even. Returns the count.
    static int GetPointH(QVector<unsigned int>& xs, int y, int n, CPoint* pts);

    // Kept for interface compatibility; they do nothing and return true.
    bool BlurRegion();
    bool ConvertLineTo1Bit(unsigned char*, unsigned char*);
    bool ConvertTo1Bit();
    bool ConvertTo8Bit();
    bool Fuzzy(QImageEx&, unsigned long, int, bool);
    bool GetRgnFrame(QRegion*, CRect);
    bool Stick(CDibRegion*, CRect, CRect);
    bool paste(CDibRegion*, CRect);
    // These only mark the outline as changed.
    void setBouderChanged();
    void FillRegion(QPainter*, CRect);
    bool Twist(long, double, long, bool);
    bool Rotate3D(double, long, bool);

protected:
    bool GetFuzzyRate(unsigned char*, int, bool);

private:
    template <typename Combine>
    bool combineBytes(CDibRegion* other, Combine combine);

    QImageEx m_mask;
    std::shared_ptr<QRegion> m_regionCache;
    QRect m_bounds{0, 0, 0, 0};
    bool m_borderChanged = true;
    QVector<CPoint> m_outline;
    double m_rotate = 0;
};

// The magic wand. A clicked pixel's colour, with a tolerance, classifies
// every pixel of an image (the colour map); BouderayColor selects every
// matching pixel, BouderayTrace the matching area around the click.
//
// Colour test: with mode 0, R, G and B each within `tolerance` of the
// clicked pixel's; otherwise the components L = (B + 6G + 3R) / 10,
// U = 3B - 2G - R and V = 6R - 5G - B within t, 3t and 6t. In 32-bit images
// a click on a fully transparent pixel matches exactly the fully
// transparent pixels; any other click never matches a pixel of alpha below
// 128. `channels` is accepted and has no effect.
class VQUTIL_EXPORT CBoundaryTrace {
public:
    CBoundaryTrace();
    CBoundaryTrace(const CBoundaryTrace&);
    CBoundaryTrace& operator=(const CBoundaryTrace&);
    ~CBoundaryTrace();

    // rgn's mask = the colour map with 0 for matching pixels and 255 for the
    // others. False (rgn unchanged) for a null rgn or image, or a click
    // outside (0, 0, width - 1, height - 1): the last column and row cannot
    // be clicked.
    bool BouderayColor(CDibRegion* rgn, const QImageEx& img, const CPoint& pt, unsigned char tolerance, int mode,
                       int channels);
    // The area around the click: the colour map is coarsened to 2 x 2 blocks
    // (tarceMakeBlock), the outline around the click is traced (TraceCycle)
    // and filled, holes inside it traced and cleared, and the result
    // narrowed to the matching pixels, so that nothing BouderayColor would
    // not select is ever selected. Same failures as BouderayColor.
    bool BouderayTrace(CDibRegion* rgn, const QImageEx& img, const CPoint& pt, unsigned char tolerance, int mode,
                       int channels);
    // GetColorMapEx(map, img, pt, tolerance, mode, 0, 1, channels).
    bool GetColorMap(QImageEx& map, const QImageEx& img, const CPoint& pt, unsigned char tolerance, int mode,
                     int channels);
    // Writes `inside` into the map for the pixels matching the clicked one
    // and `outside` for the others. Images of 1 bit (the bit compared), 8
    // bits (grey: the byte within tolerance; indexed: the colour test on each
    // palette entry), 24 and 32 bits. A map that is not a Format_Grayscale8
    // image of the image's size is made one first. Images of other depths,
    // and clicks outside the image, leave the map alone. True.
    bool GetColorMapEx(QImageEx& map, const QImageEx& img, const CPoint& pt, unsigned char tolerance, int mode,
                       int inside, int outside, int channels);
    // Follows the outline of the area (map bytes with bit 0 clear) from
    // `start`, whose right neighbour must have bit 0 set (unless start is in
    // the last column), with the eight directions W, SW, S, SE, E, NE, N, NW;
    // marks every pixel it enters with bit 1 and ends on entering a marked
    // pixel, marking the last two points 65 when that closes far from the
    // start. Returns the number of pixels entered; `points` holds the path.
    int TraceCycle(CPoint start, QVector<CPoint>& points, QImageEx& map);
    // rgn = 255 everywhere, 0 where the map holds 128 or 130 (130 becomes
    // 128), and where a map byte with bit 5 set (at 1 < x < width - 1) has a
    // 128 to its left or right. False for a null rgn or map.
    bool ColorMapToRegon(QImageEx& map, CDibRegion* rgn);
    // Coarsens a 0 / 1 colour map to 2 x 2 blocks classed by their top-left
    // pixel: a matching pixel in a non-matching block becomes 33, a
    // non-matching one in a matching block 8. An odd last column (row) of a
    // map at least 4 wide (high) copies the one before it. True.
    bool tarceMakeBlock(QImageEx& map);
    // True when p is one of the n outline points, or lies in one of the
    // spans GetPointH gives on its row (both ends inclusive); false for n < 3.
    bool PtInMapRegion(CPoint p, int n, CPoint* pts);
    // From `from`, the first pixel to the right on its row with bit 0 set;
    // start = the pixel before it (the last column when there is none).
    // False when `from` is outside the map.
    bool FindStartPoint(const QImageEx& map, const CPoint& from, CPoint& start);
    // The next hole of a filled area in row-major order from `cursor`
    // (inclusive): a pixel at x >= 3 whose byte has bits 1 and 128 set.
    // start = the pixel before it; cursor moves past it. False when none is
    // left.
    bool FindStartPointEx(const QImageEx& map, CPoint& cursor, CPoint& start);
    // Marks the inside of the closed outline pts[0..n-1] (spans of
    // GetPointH). Mode 0: every pixel inside or on the outline gets `value`
    // ORed in. Mode 1: every pixel strictly inside (not on the outline) is
    // set to `value`. False for a null map or n < 3.
    bool AddColorMapRegion(QImageEx& map, int n, CPoint* pts, unsigned char value, int mode);
    // map = a Format_Grayscale8 image of img's grey levels, the L component
    // of the colour test, (B + 6G + 3R) / 10; grey images are copied and
    // colour-table images go through their table. False for a null image.
    bool getGreyMap(QImageEx& map, const QImageEx& img);
    // region = the pixels of img whose grey level (getGreyMap) lies in
    // [low, high], as rectangles merged row by row. False for a null image.
    bool rgnFromImage(QRegion& region, const QImageEx& img, double low, double high);
};
