// vqutil painting tools: gradient colour templates and the pen (brush
// template and stroke settings) that the painting members of CDib read.
//
// Colours of the gradient stops are Win32 colour references: red in bits
// 0..7, green in bits 8..15, blue in bits 16..23. Planes are 256 x 256 bytes
// indexed [row][column]; a template offset (x, y) from the pen's hot spot,
// each in -128..127, is element [y + 128][x + 128].
#pragma once

#include <vqutil/core.h>
#include <vqutil/qimageex.h>

#include <QImage>
#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

class QPainter;

// ---------------------------------------------------------------------------
// CColorTemplate: a gradient of up to ten stops
// ---------------------------------------------------------------------------

// Stops are (colour, position 0..100) pairs in ascending position order; the
// first position of -1 ends them. ConfigTemplate turns them into a table of
// any length that GetColor walks forwards, backwards, forwards... .
//
// Copies share the colour table (shared ownership: copy, assign and destroy
// in any order). ConfigTemplate gives its object a new table and leaves the
// copies with the old one.
class VQUTIL_EXPORT CColorTemplate {
public:
    CColorTemplate();
    CColorTemplate(const CColorTemplate& other);
    CColorTemplate& operator=(const CColorTemplate& other);
    virtual ~CColorTemplate();

    // colors[index] = color, positions[index] = position. An index outside
    // 0..9 is ignored.
    void SetColor(unsigned long color, int position, int index);
    // Copies the ten colours and positions of `other` (null: nothing); the
    // table and count are kept.
    void InitTemplate(CColorTemplate* other);
    // Orders the stops by position in ten selection passes: each pass takes
    // the untaken stop of smallest position in 0..101 (on equal positions the
    // higher slot), writing slots from 0 on. When fewer than ten are taken,
    // only the first unwritten slot's position becomes -1; the slots after it
    // keep what they held.
    void Sort();
    // count = n and a table of n entries (blue, green, red) built from the
    // stops. Position p lands on index n p / 100, the product wrapping in 32
    // bits as an int multiply does; entries before the first stop get
    // colors[0]; between stops k and k + 1 (indexes a < b) entry a + j gets
    // start + j (end - start) / (b - a) per channel, in double, truncated;
    // from the last stop's index to the end its colour (so a last stop at
    // position 100 never writes its own colour). Writes outside the table
    // are dropped.
    // n <= 0: false, count = n, old table kept. n above 715827882 (a table
    // past 2^31 bytes) or short memory: false, count 0, old table kept.
    bool ConfigTemplate(int n);
    // Entry i of the table walked forwards, then backwards, then forwards
    // again (i < 0 counts as 0; with q = i / count and r = i % count, entry r
    // for even q, count - 1 - r for odd q); reserved byte 0. Without a table
    // of count > 0 entries: colors[0] in the same byte order.
    tagRGBQUAD GetColor(int i);
    // The 80-byte template file: colors[0..9] as unsigned 32-bit and then
    // positions[0..9] as signed 32-bit integers, little-endian, no header.
    // Save: opened with truncation; true when it opened (writes unchecked).
    bool SaveTemplate(const QString& path);
    // Load: reads up to 80 bytes over the colours and positions (a short file
    // leaves the rest as it was, byte for byte); then every position above
    // 100 becomes 100 and every negative one -1. True when the file opened.
    // The table is not rebuilt: call ConfigTemplate.
    bool LoadTemplate(const QString& path);

    // count x 3 bytes, blue, green, red per entry; null before the first
    // ConfigTemplate.
    std::shared_ptr<std::vector<uint8_t>> table;
    uint32_t colors[10] = {0x0000FFFF, 0x000000FF};
    int32_t positions[10] = {0, 100, -1, -1, -1, -1, -1, -1, -1, -1};
    int32_t count = 0;
};

// ---------------------------------------------------------------------------
// PENSTRUCT: pen settings and brush template
// ---------------------------------------------------------------------------

// Template shape; any other value is drawn as a circle.
enum PENSHAPE : int32_t {
    SHAPE_CIRCLE = 0,
    SHAPE_RECT = 1,
    SHAPE_TEMPLATE = 2,  // customPlane as it stands
};

// Pen type, read by the stroke renderer. Only the stamp type has a rule
// here: its spacing is the stamp's size.
enum PENTYPE : int32_t {
    PENTYPE_NORMAL = 0,
    PENTYPE_STAMP = 9,
};

// Settings of every painting operation. A large object of inline planes
// (about 400 KiB): keep it on the heap or as a member, not on a small stack.
// Copies copy every setting and plane and share `pattern`, `paper` and the
// colour template's table (shared ownership: any copy may go first).
struct VQUTIL_EXPORT PENSTRUCT {
    // Defaults as the members below say, then ConfigPen().
    PENSTRUCT();
    PENSTRUCT(const PENSTRUCT& other);
    PENSTRUCT& operator=(const PENSTRUCT& other);
    virtual ~PENSTRUCT();

    // Rebuilds templatePlane and scaledPlane. By penShape: SHAPE_RECT,
    // ConfigRectPen(inner, outer) and extent = max(outer, inner);
    // SHAPE_TEMPLATE, templatePlane = customPlane and extent = 128; otherwise
    // extent = max(inner, outer) and featherCirclePen(extent). Then, when
    // density < 100, each byte in memory order draws r = rand() and becomes 0
    // when density < r % 100. Last, scaledPlane = templatePlane x intensity
    // / 100 (an int quotient truncated toward 0, stored modulo 256, so an
    // intensity outside 0..255 wraps). Always true.
    bool ConfigPen();
    // A disc of radius R = max(inner, outer) filled row by row from the
    // integer midpoint circle (error term starting at 2 - 2R); a filled point
    // at squared distance s gets 100 when s < inner^2, else
    // trunc(100 - (sqrt(s) - inner) 100 / (outer - inner)) when s <= outer^2
    // and outer > inner, else 0. R < 0: an empty template. Always true.
    bool ConfigCirclePen(int inner, int outer);
    // Square rings: A = [-inner, inner) and B = [-outer, outer) on both axes
    // (half-open like PtInRect, ends swapped when reversed). Inside A, 100;
    // else inside B with outer > inner, 100 - (m - inner) 100 / (outer -
    // inner) with m = max(|x|, |y|), truncated toward 0; else 0. Always true.
    bool ConfigRectPen(int inner, int outer);
    // Each offset with x^2 + y^2 < radius^2, rows top to bottom, becomes 100
    // when rand() % 5 == 0, all others 0. Always true.
    bool ConfigRandPen(int radius);
    // With f = feather and d = sqrt(x^2 + y^2) in double: 100 for d <=
    // ((100 - f) radius) / 100.0; for d <= radius, 100 when f is 0, else
    // min(trunc((radius - d) 100 / ((f radius) / 100.0)), 100); 0 outside.
    // The integer products are exact (64-bit).
    void featherCirclePen(int radius);
    // feather = value clamped to 0..100.
    void setPenFeather(int value);
    // inner = clamp(inner, 0, 128), outer = clamp(ceil(diameter / 2), 0, 128);
    // then ConfigPen() when `reconfigure`, else true.
    bool SetPenSize(int inner, int diameter, bool reconfigure);
    CSize GetPenSize();  // (inner, outer)
    // 0 when inner is 0, else min(100, inner x 100 / extent) in integers
    // (extent 0: 100).
    int GetHardness();
    void SetPenSpace(int x, int y);
    CSize GetPenSpace();
    // penType = type; except for PENTYPE_STAMP both spacings become outer / 2;
    // then a spacing below 1 becomes 1. Always true.
    bool SetPenType(PENTYPE type);
    // Takes effect at the next ConfigPen. Always true.
    bool SetPenShape(PENSHAPE shape);
    // Stored as given; see ConfigPen. Always true.
    bool SetDensity(int value);
    bool SetIntensity(int value);
    // color = value (its low 32 bits); patternLoaded = false.
    void SetColor(unsigned long value);
    // templatePlane[y + 128][x + 128] = value; offsets outside -128..127 are
    // ignored.
    void SetTemplateDegree(int x, int y, unsigned char value);
    // customTemplateImage = a new width x height Grayscale8 image of 0; true
    // when it is not null (sizes without area, or past 2^31 bytes, give a
    // null image and false).
    bool CreateTemplate(int width, int height);
    bool DeleteTemplate();  // customTemplateImage = null image; true
    // Reads a template through CDib::InitDibData(path, 1.0), which loads
    // nothing, so this returns false and changes nothing. Where a load does
    // succeed, the image must be 32 x 32; after ConvertTo24Bit and
    // ConvertToGray its pixel bytes fill templatePlane column by column from
    // column 255 down, each column rows 0..255, as (255 - b) 100 / 255
    // truncated; cells past the image's bytes get 0; penShape becomes
    // SHAPE_TEMPLATE.
    bool LoadTemplate(const QString& path);
    // Writes scaledPlane as a 256 x 256 Grayscale8 image (row i, column j =
    // scaledPlane[i][j]) with QImage::save(path): the format follows the
    // file's extension. The result is save's.
    bool save(const QString& path);
    // Both release the previous image and load through InitDibData(path,
    // 1.0) and ConvertTo24Bit (the paper also through ConvertToGray), which
    // fails: false, with no pattern (paper) and the flag cleared.
    bool LoadPattern(const QString& path);
    bool LoadPaperTexture(const QString& path);
    // Takes ownership of `dib` as the pattern (null: none); patternLoaded
    // says whether there is one. Always true.
    bool LoadPattern(CDib* dib);
    // Without a pattern (or with an empty one), or a size without area:
    // false. A pattern within `size` is scaled to exactly `size` when
    // `always`, else left. A larger one is fitted keeping its aspect, with
    // a = width / height and b = cx / cy in float: a > b gives height
    // trunc(cx / a), b > a width trunc(cy a). True.
    bool ScallPattern(CSize size, bool always);
    // stamp = the image (read from `path`); stampLoaded = true; spacing =
    // the stamp's width and height. Always true.
    bool LoadStamp(const QImage& image);
    bool LoadStamp(const QString& path);
    void DeleteStamp();  // does nothing
    // Fills `rect` with `color` (as a QRgb, alpha ignored), except for the
    // stamp type (nothing) or with a pattern loaded (drawn through
    // CDib::Draw, which draws nothing). Null painter: nothing.
    void DrawPatt(QPainter* painter, CRect rect);
    // The template centred in `rect` (x0 = left + (width - 256) / 2, y0 alike)
    // drawn with the painter's pen as one point per nonzero byte, plane row r
    // and column c at (x0 + r, y0 + c): transposed, which the symmetric
    // shapes do not show. Null painter: nothing.
    void DrawShape(CRect rect, QPainter* painter);

    int32_t extent = 8;                // half-size of the template in use
    uint8_t customPlane[256][256];     // 100 on both diagonals, else 0
    bool paperLoaded = false;
    bool patternLoaded = false;
    bool stampLoaded = false;
    uint8_t flagsReserved = 0;         // copied with the three flags
    int32_t strokeSetting = 0;         // stroke renderer settings
    int32_t density = 100;             // percent of template points kept
    int32_t outer = 8;                 // outer radius, 0..128
    int32_t inner = 0;                 // radius of full strength, 0..128
    PENTYPE penType = PENTYPE_NORMAL;
    int32_t strokeSettings[2] = {};
    int32_t intensity = 100;           // percent applied to the template
    int32_t feather = 20;              // soft edge, percent of the radius
    uint8_t templatePlane[256][256];   // 0..100, hot spot at [128][128]
    int32_t workPlane[256][256];       // the stroke renderer's work plane
    uint8_t scaledPlane[256][256];     // templatePlane x intensity / 100
    int32_t strokeState[3] = {};       // copied with the colour
    uint32_t color = 0xFF0000;
    int32_t strokeBlock[8] = {};
    std::shared_ptr<CDib> pattern;
    std::shared_ptr<CDib> paper;       // grey
    QImage stamp;
    PENSHAPE penShape = SHAPE_CIRCLE;
    QImageEx customTemplateImage;      // made by CreateTemplate
    CColorTemplate colorTemplate;
    int32_t strokeOption = 0;
    int32_t spaceX = 4;                // distance between dabs, pixels
    int32_t spaceY = 4;
};
