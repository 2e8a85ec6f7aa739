// vqutil image core: Win32-style geometry and bitmap records, the CDib image
// handle, the image creation and conversion helpers, and the entry points
// kept for interface compatibility only ("inert": they accept their
// arguments, change nothing and return a fixed answer).
//
// Conventions shared by the whole library:
//  - Pixels are blue first in every depth: byte 0 B, 1 G, 2 R, 3 A.
//  - Rectangles are Win32-style: left/top inside, right/bottom one past.
//    No helper normalises an inverted rectangle.
//  - Failures are results (false, 0, a null image), never exceptions.
#pragma once

#include <vqutil/export.h>
#include <vqutil/qimageex.h>

#include <QRect>
#include <QString>
#include <QTransform>

#include <cstdint>

class QDataStream;
class QPainter;
class QRegion;
class QWidget;

class CDibRegion;   // selection mask
struct PENSTRUCT;   // pen and brush template

// ---------------------------------------------------------------------------
// Geometry records
// ---------------------------------------------------------------------------

struct tagRECT {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};

struct tagPOINT {
    int32_t x;
    int32_t y;
};

class CPoint : public tagPOINT {
public:
    CPoint() : tagPOINT{0, 0} {}
    CPoint(int px, int py) : tagPOINT{px, py} {}
    CPoint(const tagPOINT& p) : tagPOINT(p) {}  // NOLINT: implicit like the Win32 original
};

struct CSize {
    int32_t cx = 0;
    int32_t cy = 0;
    CSize() = default;
    CSize(int width, int height) : cx(width), cy(height) {}
};

class CRect : public tagRECT {
public:
    CRect() : tagRECT{0, 0, 0, 0} {}
    CRect(int l, int t, int r, int b) : tagRECT{l, t, r, b} {}
    CRect(const tagRECT& r) : tagRECT(r) {}  // NOLINT: implicit like the Win32 original
    CRect(const CPoint& topLeft, const CSize& size)
        : tagRECT{topLeft.x, topLeft.y, topLeft.x + size.cx, topLeft.y + size.cy} {}
    CRect(const CPoint& topLeft, const CPoint& bottomRight)
        : tagRECT{topLeft.x, topLeft.y, bottomRight.x, bottomRight.y} {}

    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
};

static_assert(sizeof(tagRECT) == 16 && sizeof(CRect) == 16, "RECT layout");
static_assert(sizeof(tagPOINT) == 8 && sizeof(CPoint) == 8, "POINT layout");
static_assert(sizeof(CSize) == 8, "SIZE layout");

// Rectangle helpers with the Win32 rules, which are deliberately asymmetric:
// IntersectRect calls a rectangle empty unless left < right and top < bottom,
// IsRectEmpty only when left == right or top == bottom (so an inverted
// rectangle is not empty), and UnionRect does not skip empty inputs (a union
// with (0, 0, 0, 0) reaches the origin).
VQUTIL_EXPORT void CopyRect(CRect* dst, const tagRECT* src);
VQUTIL_EXPORT bool EqualRect(const CRect* a, const tagRECT* b);
VQUTIL_EXPORT void InflateRect(CRect* r, int dx, int dy);
// dst = overlap of a and b; when that has no area, dst = (0, 0, 0, 0) and false.
VQUTIL_EXPORT bool IntersectRect(CRect* dst, const tagRECT* a, const tagRECT* b);
VQUTIL_EXPORT bool IsRectEmpty(const CRect* r);
VQUTIL_EXPORT void OffsetRect(CRect* r, int dx, int dy);
// left <= x < right and top <= y < bottom.
VQUTIL_EXPORT bool PtInRect(const CRect* r, tagPOINT p);
VQUTIL_EXPORT void SetRect(CRect* r, int left, int top, int right, int bottom);
VQUTIL_EXPORT void SetRectEmpty(CRect* r);
// dst = (min left, min top, max right, max bottom); always true.
VQUTIL_EXPORT bool UnionRect(CRect* dst, const tagRECT* a, const tagRECT* b);
// Inert: false, dst untouched.
VQUTIL_EXPORT bool SubtractRect(CRect* dst, const tagRECT* a, const tagRECT* b);

// ---------------------------------------------------------------------------
// Device-independent bitmap records (Win32 layout)
// ---------------------------------------------------------------------------

struct tagRGBQUAD {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
};

struct tagBITMAPINFOHEADER {
    uint32_t biSize;
    int32_t biWidth;
    int32_t biHeight;
    uint16_t biPlanes;
    uint16_t biBitCount;
    uint32_t biCompression;
    uint32_t biSizeImage;
    int32_t biXPelsPerMeter;
    int32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
};

// A header followed by a colour table of any length. Blocks of this type made
// by CreateNewBitmapInfo / CreateNewBmpInfoColor are released with a plain
// `delete info;` whatever their length, which the deallocation function
// below makes correct.
struct tagBITMAPINFO {
    tagBITMAPINFOHEADER bmiHeader;
    tagRGBQUAD bmiColors[1];

    static void operator delete(void* block) noexcept { ::operator delete(block); }
};

static_assert(sizeof(tagRGBQUAD) == 4, "RGBQUAD layout");
static_assert(sizeof(tagBITMAPINFOHEADER) == 40, "BITMAPINFOHEADER layout");
static_assert(sizeof(tagBITMAPINFO) == 44, "BITMAPINFO layout");

// ---------------------------------------------------------------------------
// Blend modes (per-channel results are given with DibColorBlend)
// ---------------------------------------------------------------------------

// How a colour b laid on a colour a combines, per channel 0..255.
enum BLENDMODE {
    BLEND_NORMAL = 0,      // b
    BLEND_SUBTRACT = 1,    // max(a - b, 0)
    BLEND_MULTIPLY = 2,    // a b / 255
    BLEND_LIGHTEN = 3,     // max(a, b)
    BLEND_DARKEN = 4,      // min(a, b)
    BLEND_DIFFERENCE = 5,  // |a - b|
    BLEND_SCREEN = 6,      // 255 - (255 - a)(255 - b) / 255
    BLEND_LUMINOSITY = 7,  // hue and saturation of a, lightness of b
    BLEND_HUE = 8,         // hue of b, saturation and lightness of a
    BLEND_SATURATION = 9,  // saturation of b, hue and lightness of a
    BLEND_NONE = 10,       // the result is left as passed
    BLEND_COLOR = 11,      // hue and saturation of b, lightness of a
};

// ---------------------------------------------------------------------------
// Creation and conversion helpers
// ---------------------------------------------------------------------------

// img = a new w x h Format_ARGB32 image (pixels not initialised); `depth` and
// the last argument are ignored. Always true: test img.isNull() for failure.
VQUTIL_EXPORT bool CreateDib(int w, int h, int depth, QImageEx& img, unsigned char reserved);
// dst = a deep copy of the whole of src (never sharing pixels). True.
VQUTIL_EXPORT bool DuplicateDibData(QImageEx& dst, QImageEx& src);

// A copy of `src`'s header and colour table on the heap; free it with delete.
// The table has biClrUsed entries, or, when that is 0, 2^biBitCount for bit
// counts below 16 and 1 otherwise. Null for a null src.
// Bound: a colour table never holds more than 256 entries (the largest
// palette a DIB can carry), so at most 40 + 4 x 256 bytes are read and allocated.
VQUTIL_EXPORT tagBITMAPINFO* CreateNewBitmapInfo(tagBITMAPINFO* src);
// A copy of the first 40 + 4n bytes of `src` (the header and n colours: the
// caller guarantees the block holds them, as with memcpy) with biClrUsed = n;
// free it with delete. Null for a null src, a negative n, a block past 2^31
// bytes or short memory.
VQUTIL_EXPORT tagBITMAPINFO* CreateNewBmpInfoColor(tagBITMAPINFO* src, int n);
// 2^biBitCount for bit counts of 8 or less, else 0 (also 0 for a null info).
VQUTIL_EXPORT long GetPaletteEntry(tagBITMAPINFO* info);

// 24- and 32-bit images are left alone; any other is replaced by its
// Format_ARGB32 conversion (convertToArgbEx). Always true.
VQUTIL_EXPORT bool AnyConvertTo24Bit(QImageEx& img);
// The same as AnyConvertTo24Bit; the second argument is ignored.
VQUTIL_EXPORT bool DibMyAddNoise(QImageEx& img, unsigned int amount);
// Returns !img.isNull(); does nothing else.
VQUTIL_EXPORT bool Deflate8Bit(int, int, QImageEx& img, int);

// convertToArgbEx(dst, src, false).
VQUTIL_EXPORT bool convertToArgb(QImageEx& dst, const QImageEx& src);
// dst = src as Format_ARGB32:
//  - ARGB32 src: a shared copy (deep: an independent copy);
//  - RGB32 and ARGB32_Premultiplied: the same copy relabelled ARGB32, bytes
//    untouched (RGB32 keeps its fourth byte as alpha, premultiplied values are
//    not divided);
//  - 1-, 4- and 8-bit indexed: colour-table entries as they stand (1-bit
//    pixels most significant bit first, 4-bit high nibble for even x; an index
//    past the table gives 0);
//  - other 8-bit formats: grey B = G = R = byte, A = 255;
//  - 24-bit: B, G, R copied, A = 255;
//  - any other depth: a zero-filled image of the source's size.
// False, with dst unchanged, when src is null or memory is short.
VQUTIL_EXPORT bool convertToArgbEx(QImageEx& dst, const QImageEx& src, bool deep);

// ---------------------------------------------------------------------------
// Inert entry points (accepted, nothing changed)
// ---------------------------------------------------------------------------

// Return true.
VQUTIL_EXPORT bool ConvertDIBToNoFillBytes(QImageEx&, bool);
VQUTIL_EXPORT bool DibCharCoal(QImageEx&);
VQUTIL_EXPORT bool DibCrop(QImageEx&, CRect, int);
VQUTIL_EXPORT bool DibDespeckleImage(QImageEx&);
VQUTIL_EXPORT bool DibEqualizeImage(QImageEx&);
VQUTIL_EXPORT bool DibLens(QImageEx&, int, int, int);
VQUTIL_EXPORT bool DibMask(QImageEx&, QImageEx&, int, int, CPoint, CRect);
VQUTIL_EXPORT bool DibNormalize(QImageEx&);
VQUTIL_EXPORT bool DibReduceNoiseImage(QImageEx&);
VQUTIL_EXPORT bool DibScale1Bit(QImageEx&, long, long, bool);
VQUTIL_EXPORT bool DibScaleCrop2Dib(QImageEx&, const QImageEx&, CSize&, CRect, int);
VQUTIL_EXPORT bool DibTwist(QImageEx&, long, double, long, bool);
// The two output rectangles are not written.
VQUTIL_EXPORT bool GetMaskRect(int, int, int, int, CPoint, CRect, CRect&, CRect&);
VQUTIL_EXPORT bool Scale8Or4Dib(QImageEx&, long, long, bool);
VQUTIL_EXPORT bool ScaleAndCrop(QImageEx&, int, int, CRect);

// Return false.
VQUTIL_EXPORT bool DibImplodeImage(QImageEx&, double, int, int, int);
VQUTIL_EXPORT bool DibPlasmaImage(QImageEx&, tagRECT*, int, int, int);
VQUTIL_EXPORT bool vqScaleAndCrop(QImage&, const QImage&, int, int, QRect);

// Return 1.
VQUTIL_EXPORT int DibPlasma(QImageEx&, int, int);
VQUTIL_EXPORT int DibShade(QImageEx&, bool, double, double);

// Do nothing.
VQUTIL_EXPORT void ChangeWindowRgn(QWidget*, int, int);
VQUTIL_EXPORT void GradientFillRect(QPainter*, const tagRECT&, unsigned long, unsigned long, bool, bool);
VQUTIL_EXPORT void TileBmpOnRect(QPainter*, CRect, unsigned int, int, int, bool);
VQUTIL_EXPORT void TileDibOnRect(QPainter*, CRect, tagBITMAPINFO*, void*, int, int, bool);

// ---------------------------------------------------------------------------
// CDib: the image handle
// ---------------------------------------------------------------------------

// Wraps one QImageEx by value (copies share pixels until written) together
// with a placement origin and a few records kept for the older bitmap
// interface. Most members forward to a free function on the held image.
// CDib has virtual members but, like its original, no virtual destructor:
// never delete a derived object through a CDib pointer.
class VQUTIL_EXPORT CDib {
public:
    CDib();
    CDib(const CDib& other);
    CDib& operator=(const CDib& other);
    ~CDib();
    CDib(const QImage& image);    // NOLINT: implicit as in the original interface
    CDib(const QImageEx& image);  // NOLINT

    // Virtual slots, in this order. The drawing and serialising ones do nothing.
    virtual void Paint(QPainter*, const CRect*, const CRect*, bool);
    virtual int InitDibData(unsigned int);              // 0
    virtual int InitDibData(QString, float);            // 0
    virtual bool InitDibData(tagBITMAPINFO*, void*, void*, float);  // true
    virtual void DrawTransparent(QPainter*, CPoint, int, int, int, int, unsigned long, bool);
    virtual void DrawTransparent(QPainter*, CPoint, int, int, double, int, unsigned long, bool);
    virtual void Serialize(QDataStream&);

    // --- the held image -----------------------------------------------------
    int width() const;
    int height() const;
    int depth() const;
    int GetImgWidth() const;
    int GetImgHeight() const;
    int GetbiBitsCount() const;
    unsigned char* bits();
    unsigned char* scanLine(int y);
    // ((width x depth + 31) / 32) x 4, computed rather than asked of the image.
    int bytesPerLine() const;
    // height x ((((width x depth + 7) / 8) + 3) & ~3).
    long GetDatasSize();
    // left = origin x, top = origin y, right = left + width and, kept from the
    // original on purpose, bottom = right + height (built on the right edge).
    void GetClientRect(CRect& r);
    // Always the empty rectangle (0, 0, 0, 0).
    CRect GetBouder();
    QString GetObjPath();
    // One pixel's value from byte b of a row at column x: depth 1, the bit for
    // x (most significant first); depth 4, high nibble for even x, low for
    // odd; depth 8, b; any other depth, 0.
    unsigned char GetBYTE(int depth, int x, unsigned char b);
    // Bit (n & 7) of b, counted from the most significant bit.
    bool GetByteBit(unsigned char b, int n);
    // A copy of the held image (sharing pixels). Both names, one body.
    QImageEx move();
    QImageEx toQImageRef();
    // Saves through QImage::save(path) with the format taken from the file
    // name; true whatever the save returned.
    bool save(const QString& path);

    // --- conversions --------------------------------------------------------
    // AnyConvertTo24Bit on the held image (the result is Format_ARGB32). True.
    bool ConvertTo24Bit();
    bool AddNoise(unsigned int);
    // See Deflate8Bit: !img.isNull().
    bool GetSubImg(int, int, QImageEx& img, int);

    // --- forwarding to operations of other families --------------------------
    // Declared with the handle; each is defined together with the operation
    // it forwards to, and links from then on.
    bool Mirror(int how);                        // MirrorDib
    bool Scale(long width, long height, bool);   // ScaleDibAll
    bool ScaleAll(long width, long height, bool);
    void ConvertToGray(int);                     // Dib2Gray(image, nullptr)
    // Table-driven colour corrections applied through AdjustRGBOffset.
    static void Contrast(QImageEx& image, const QImageEx* mask, double red, double green, double blue,
                         unsigned long);
    static void Gramma(QImageEx& image, const QImageEx* mask, int red, int green, int blue);
    static void ColorBalana(QImageEx& image, const QImageEx* mask, int red, int green, int blue);
    static void adjustBrightAndContrast(QImageEx& image, const QImageEx* mask, double contrast,
                                        double brightness);
    static void adjustColor(QImageEx& image, const QImageEx* mask, double contrast, int offset, int);

    // --- plain settings -----------------------------------------------------
    void SetBlurEdge(bool blurEdge);
    void SetInflateRgn(int type);
    int GetInflateType();

    // --- inert members: return true -----------------------------------------
    bool CircleGradient(PENSTRUCT&, CPoint, CPoint);
    bool CloneDraw(CPoint, PENSTRUCT&);
    bool FloodFill(CDibRegion*, PENSTRUCT*);
    bool GenMask(unsigned long, unsigned char);
    bool Initialize(CDib*);
    bool Initialize(int, int, bool);
    bool LineGradient(PENSTRUCT&, CPoint, CPoint);
    bool MaskRegion(CDibRegion*, unsigned long);
    bool Paste(CDib*, CDibRegion*, CRect);
    bool RadialGradient(PENSTRUCT&, CPoint, CPoint);
    bool RectGradient(PENSTRUCT&, CPoint, CPoint);
    bool RgnFuzzy(CDibRegion*, unsigned long, int, bool);
    bool StampDraw(CPoint, PENSTRUCT&);
    bool Stick(CDib*, CDibRegion*, CDibRegion*, CRect, CRect, short, BLENDMODE);
    bool Stick1Bit(CDib*, CDibRegion*, CDibRegion*, CRect, CRect);
    bool merger(const QImageEx&, const QImageEx&);
    bool CharCoal();
    bool DespeckleImage();
    bool EqualizeImage();
    bool LensEffect(int, int, int);
    bool Normalize();
    bool ReduceNoiseImage();
    bool Scale1Bit(long, long, bool);
    bool Mask(CDib*, int, int, CPoint, CRect);
    bool Twist(long, double, long, bool);

    // --- inert members: return false ----------------------------------------
    bool CombineDib(CDib*, CDibRegion*);
    bool CopyDib(CDib*);
    bool Crop(CRect, int, CDib*);
    bool DoEmboss(int, int);
    bool GetDataFromDC(QPainter*, CRect*, int);
    bool IsColor(CDibRegion*);
    bool ScaleCrop(CDib*, int, int, CRect, bool);
    bool ImplodeImage(double, int, int, int);

    // --- inert members: return 1 --------------------------------------------
    int Plasma(int, int);
    int Shade(bool, double, double);

    // --- inert members: do nothing ------------------------------------------
    void Draw(QPainter*, CRect, bool);
    void GetDarkEdgeRgn(CDibRegion*);
    void PaintCrop(QPainter*, CRect, bool);
    void PaintCropRgn(QPainter*, CDibRegion*, CRect);
    void RGBtoHSB(unsigned char*, unsigned char*);
    // Does not replace the held image.
    void copy(const QImageEx&);

protected:
    static bool getColorMapByContrast(unsigned char* red, unsigned char* green, unsigned char* blue,
                                      double redContrast, double greenContrast, double blueContrast,
                                      unsigned long);

    int32_t m_blurEdge = 1;       // a BOOL slot; set by SetBlurEdge, read by nobody
    int32_t m_inflateType = 0;
    QString m_objPath;
    CPoint m_origin;              // placement of the image, used by GetClientRect
    QImageEx m_image;
    uint64_t m_reserved = 0;      // copied along, otherwise unused
    QRect m_bounds;               // copied along, otherwise unused
    QTransform m_transform;       // copied along, otherwise unused
};
