// CDib: the image handle of the older bitmap interface over one QImageEx.
#include <vqutil/core.h>
#include <vqutil/transform.h>

CDib::CDib() = default;
CDib::CDib(const CDib& other) = default;
CDib& CDib::operator=(const CDib& other) = default;
CDib::~CDib() = default;
CDib::CDib(const QImage& image) { m_image = image; }
CDib::CDib(const QImageEx& image) { m_image = image; }

// --- virtual slots -------------------------------------------------------------------------

void CDib::Paint(QPainter*, const CRect*, const CRect*, bool) {}
int CDib::InitDibData(unsigned int) { return 0; }
int CDib::InitDibData(QString, float) { return 0; }
bool CDib::InitDibData(tagBITMAPINFO*, void*, void*, float) { return true; }
void CDib::DrawTransparent(QPainter*, CPoint, int, int, int, int, unsigned long, bool) {}
void CDib::DrawTransparent(QPainter*, CPoint, int, int, double, int, unsigned long, bool) {}
void CDib::Serialize(QDataStream&) {}

// --- the held image ------------------------------------------------------------------------

int CDib::width() const { return m_image.width(); }
int CDib::height() const { return m_image.height(); }
int CDib::depth() const { return m_image.depth(); }
int CDib::GetImgWidth() const { return width(); }
int CDib::GetImgHeight() const { return height(); }
int CDib::GetbiBitsCount() const { return depth(); }
unsigned char* CDib::bits() { return m_image.bits(); }
unsigned char* CDib::scanLine(int y) { return m_image.scanLine(y); }

int CDib::bytesPerLine() const {
    const long long bitsPerRow = static_cast<long long>(width()) * depth();
    return static_cast<int>((bitsPerRow + 31) / 32 * 4);
}

long CDib::GetDatasSize() {
    const long bitsPerRow = static_cast<long>(width()) * depth();
    return height() * ((((bitsPerRow + 7) / 8) + 3) & ~3L);
}

void CDib::GetClientRect(CRect& r) {
    r.left = m_origin.x;
    r.top = m_origin.y;
    r.right = r.left + width();
    r.bottom = r.right + height();
}

CRect CDib::GetBouder() { return CRect(); }
QString CDib::GetObjPath() { return m_objPath; }

unsigned char CDib::GetBYTE(int depth, int x, unsigned char b) {
    switch (depth) {
    case 1:
        return GetByteBit(b, x) ? 1 : 0;
    case 4:
        return (x & 1) ? (b & 0x0F) : (b >> 4);
    case 8:
        return b;
    default:
        return 0;
    }
}

bool CDib::GetByteBit(unsigned char b, int n) { return (b >> (7 - (n & 7))) & 1; }

QImageEx CDib::move() { return m_image; }
QImageEx CDib::toQImageRef() { return m_image; }

bool CDib::save(const QString& path) {
    static_cast<const QImage&>(m_image).save(path, nullptr, -1);
    return true;
}

// --- conversions ------------------------------------------------------------

bool CDib::ConvertTo24Bit() { return AnyConvertTo24Bit(m_image); }
bool CDib::AddNoise(unsigned int) { return AnyConvertTo24Bit(m_image); }
bool CDib::GetSubImg(int a, int b, QImageEx& img, int c) { return Deflate8Bit(a, b, img, c); }

// --- forwarding to operations of other families ----------------------------------------------

bool CDib::Mirror(int how) { return MirrorDib(m_image, how); }
bool CDib::Scale(long width, long height, bool b) { return ScaleDibAll(m_image, width, height, b); }
bool CDib::ScaleAll(long width, long height, bool b) { return ScaleDibAll(m_image, width, height, b); }

// --- plain settings ------------------------------------------------------------------------

void CDib::SetBlurEdge(bool blurEdge) { m_blurEdge = blurEdge ? 1 : 0; }
void CDib::SetInflateRgn(int type) { m_inflateType = type; }
int CDib::GetInflateType() { return m_inflateType; }
