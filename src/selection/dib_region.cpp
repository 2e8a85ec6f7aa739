// CDibRegion: a selection mask with cached bounds, and its set operations.
#include <vqutil/selection.h>

#include <vqutil/adjust.h>
#include <vqutil/composite.h>

#include "core/guard.h"
#include "selection/polygon.h"

#include <QPainter>
#include <QPolygon>
#include <QRegion>

#include <algorithm>
#include <climits>
#include <functional>
#include <vector>

namespace {

// Anti-aliased shapes drawn on an 8-bit mask: black selects, white clears.
void paintOnMask(QImageEx& mask, bool select, const std::function<void(QPainter&)>& draw) {
    QPainter painter(&mask);
    painter.setRenderHint(QPainter::Antialiasing, true);
    const QColor colour = select ? Qt::black : Qt::white;
    painter.setBrush(colour);
    painter.setPen(QPen(colour, 1.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin));
    draw(painter);
}

bool sameSize(const QImageEx& a, const QImageEx& b) { return !a.isNull() && !b.isNull() && a.size() == b.size(); }

}  // namespace

CDibRegion::CDibRegion() = default;
CDibRegion::CDibRegion(const QImageEx& mask) : m_mask(mask) {}
CDibRegion::CDibRegion(const CDibRegion& other) = default;
CDibRegion& CDibRegion::operator=(const CDibRegion& other) = default;
CDibRegion::~CDibRegion() = default;

bool CDibRegion::InitRegion(long w, long h, long, unsigned int value) {
    QImageEx mask;
    if (w > INT_MAX || h > INT_MAX || !QImageEx::create(mask, static_cast<int>(w), static_cast<int>(h),
                                                        QImage::Format_Grayscale8))
        return false;
    mask.fill(value);
    m_mask = mask;
    m_borderChanged = true;
    return true;
}

void CDibRegion::setImage(const QImageEx& mask) {
    m_mask = mask;
    m_borderChanged = true;
}

void CDibRegion::updateImage(const QImageEx& img) {
    if (!img.isNull())
        m_mask = img;
    else if (!m_mask.isNull())
        m_mask.fill(255u);
    m_borderChanged = true;
}

QImageEx CDibRegion::toQImageRef() { return m_mask; }

bool CDibRegion::save(const QString& path) {
    m_mask.save(path, nullptr, -1, false);
    return true;
}

bool CDibRegion::paste(const QImageEx& piece, const QRect& at) {
    vq::guarded([&] { m_mask.mergerImage(piece, at); });
    return true;
}

QRegion* CDibRegion::GetCRgnPointer() { return m_regionCache.get(); }

bool CDibRegion::CreateCRgn(long, CRect*) {
    if (m_mask.isNull())
        return false;
    m_regionCache.reset();
    return false;
}

QRect CDibRegion::GetBouder(bool refresh) {
    if (m_borderChanged) {
        m_bounds = getMaskImageBouder(m_mask, refresh);
        if (refresh)
            m_borderChanged = false;
    }
    return m_bounds;
}

bool CDibRegion::GetBouder(QRect& out, bool refresh) {
    out = GetBouder(refresh);
    return true;
}

bool CDibRegion::isEmpty() { return GetBouder(true).width() < 1; }

bool CDibRegion::AddSelect(const CRect& r, int shape, unsigned char value) {
    if (m_mask.isNull())
        return false;
    const int x0 = std::min(r.left, r.right), x1 = std::max(r.left, r.right);
    const int y0 = std::min(r.top, r.bottom), y1 = std::max(r.top, r.bottom);
    if (x0 > m_mask.width() || y0 > m_mask.height() || x1 < 0 || y1 < 0)
        return false;
    const int64_t width = int64_t{r.right} - r.left, height = int64_t{r.bottom} - r.top;
    vq::guarded([&] {
        if (shape != 0 && width > 2 && height > 2) {
            const int w = static_cast<int>(std::min<int64_t>(int64_t{x1} - x0, INT_MAX));
            const int h = static_cast<int>(std::min<int64_t>(int64_t{y1} - y0, INT_MAX));
            paintOnMask(m_mask, value == 0, [&](QPainter& p) { p.drawEllipse(x0, y0, w, h); });
            return;
        }
        // Only the rows the mask has; FillRegion refuses the others anyway.
        for (int y = std::max(y0, 0); y < std::min(y1, m_mask.height()); ++y)
            FillRegion(y, x0, int64_t{x1} - x0, value);
    });
    m_borderChanged = true;
    return true;
}

bool CDibRegion::AddSelect(int n, const CPoint* pts, unsigned char) {
    if (m_mask.isNull())
        return false;
    if (pts && n > 0) {
        vq::guarded([&] {
            QPolygon polygon(n);
            for (int i = 0; i < n; ++i)
                polygon.setPoint(i, pts[i].x, pts[i].y);
            paintOnMask(m_mask, true, [&](QPainter& p) { p.drawPolygon(polygon, Qt::OddEvenFill); });
        });
    }
    m_borderChanged = true;
    return true;
}

bool CDibRegion::AddSelect(CDibRegion* other) {
    return combineBytes(other, [](uint8_t mine, uint8_t theirs) { return static_cast<uint8_t>(mine & theirs); });
}

bool CDibRegion::SubSelect(CRect r, int shape) {
    AddSelect(r, shape, 255);
    m_borderChanged = true;
    return true;
}

bool CDibRegion::SubSelect(int n, CPoint* pts) {
    AddSelect(n, pts, 255);
    m_borderChanged = true;
    return true;
}

bool CDibRegion::SubSelect(CDibRegion* other) {
    return combineBytes(other, [](uint8_t mine, uint8_t theirs) { return static_cast<uint8_t>(mine | ~theirs); });
}

// Byte by byte with a mask of the same size.
template <typename Combine>
bool CDibRegion::combineBytes(CDibRegion* other, Combine combine) {
    if (!other || !sameSize(m_mask, other->m_mask))
        return false;
    const QImageEx theirs = other->m_mask;  // shares pixels: safe when other is this
    for (int y = 0; y < m_mask.height(); ++y) {
        uint8_t* mine = m_mask.scanLine(y);
        const uint8_t* src = theirs.constScanLine(y);
        for (int x = 0; x < m_mask.width(); ++x)
            mine[x] = combine(mine[x], src[x]);
    }
    m_borderChanged = true;
    return true;
}

void CDibRegion::Union(CDibRegion* other) {
    if (!other || m_mask.isNull() || other->m_mask.isNull())
        return;
    const QImageEx theirs = other->m_mask;  // shares pixels: safe when other is this
    const int w = m_mask.width(), h = m_mask.height();
    const int ow = theirs.width(), oh = theirs.height();
    const int bytes = static_cast<int>(std::min<qsizetype>(ow, theirs.bytesPerLine()));
    std::vector<int> column(w);
    for (int x = 0; x < w; ++x)
        column[x] = std::min(static_cast<int>(int64_t{x} * ow / w), bytes - 1);
    for (int y = 0; y < h; ++y) {
        uint8_t* mine = m_mask.scanLine(y);
        const uint8_t* src = theirs.constScanLine(static_cast<int>(int64_t{y} * oh / h));
        for (int x = 0; x < w; ++x)
            mine[x] &= src[column[x]];
    }
    m_borderChanged = true;
}

bool CDibRegion::InvertSelect() {
    const bool done = invertImagePixels(m_mask);
    m_borderChanged = true;
    return done;
}

bool CDibRegion::CombineRegion(CDibRegion* other, int mode) {
    if (!other)
        return false;
    combineImageData(m_mask, other->m_mask, mode);
    m_borderChanged = true;
    return true;
}

bool CDibRegion::FillRegion(long row, long x, long count, unsigned char value) {
    if (m_mask.isNull() || row < 0 || row >= m_mask.height() || count < 1 || std::max(x, 0L) > m_mask.width() - 1)
        return false;
    if (m_mask.depth() != 8) {
        m_borderChanged = true;
        return true;
    }
    const long begin = std::max(x, 0L);
    const long end = static_cast<long>(std::min<__int128>(__int128{x} + count, m_mask.width()));
    if (end - begin < 1)
        return true;
    uint8_t* line = m_mask.scanLine(static_cast<int>(row));
    std::fill(line + begin, line + end, value);
    return true;
}

void CDibRegion::Offset(int dx, int dy) {
    DibRoll(m_mask, dx, dy == INT_MIN ? INT_MAX : -dy);
    m_borderChanged = true;
}

CDibRegion CDibRegion::copy(const QRect& r) {
    CDibRegion out;
    out.m_mask = m_mask.copyEx(r);
    if (r.isEmpty()) {
        out.m_bounds = GetBouder(true);
        out.m_borderChanged = false;
    }
    return out;
}

bool CDibRegion::CopyRegion(CDibRegion* src) {
    if (!src || src->m_mask.isNull())
        return false;
    m_mask = src->m_mask.copyEx();
    m_bounds = src->GetBouder(true);
    return true;
}

bool CDibRegion::Crop(const QRect& r, CDibRegion* out) {
    if (m_mask.isNull() || !out)
        return false;
    const QRect clipped = r & m_mask.rect();
    if (clipped.width() < 1 || clipped.height() < 1)
        return false;
    out->m_mask = m_mask.copyEx(clipped);
    m_borderChanged = true;
    return true;
}

bool CDibRegion::GetAlphaData(QImageEx& out, const CRect& r) {
    out = m_mask.copyEx(QRect(r.left, r.top, r.right - r.left, r.bottom - r.top));
    return true;
}

bool CDibRegion::IsPtInSelArea(const CPoint& p) {
    // Negative coordinates read as outside: there is no byte to test.
    if (m_mask.isNull() || p.x < 0 || p.y < 0 || p.x >= m_mask.width() || p.y >= m_mask.height())
        return false;
    return m_mask.constScanLine(p.y)[p.x] < 128;
}

void CDibRegion::setRotate(double angle) { m_rotate = angle; }

// --- kept for interface compatibility ----------------------------------------------------------

bool CDibRegion::BlurRegion() { return true; }
bool CDibRegion::ConvertLineTo1Bit(unsigned char*, unsigned char*) { return true; }
bool CDibRegion::ConvertTo1Bit() { return true; }
bool CDibRegion::ConvertTo8Bit() { return true; }
bool CDibRegion::Fuzzy(QImageEx&, unsigned long, int, bool) { return true; }
bool CDibRegion::GetRgnFrame(QRegion*, CRect) { return true; }
bool CDibRegion::Stick(CDibRegion*, CRect, CRect) { return true; }
bool CDibRegion::paste(CDibRegion*, CRect) { return true; }
bool CDibRegion::GetFuzzyRate(unsigned char*, int, bool) { return true; }
void CDibRegion::setBouderChanged() { m_borderChanged = true; }
void CDibRegion::FillRegion(QPainter*, CRect) { m_borderChanged = true; }
bool CDibRegion::Twist(long, double, long, bool) {
    m_borderChanged = true;
    return true;
}
bool CDibRegion::Rotate3D(double, long, bool) {
    m_borderChanged = true;
    return true;
}

int CDibRegion::GetPointH(QVector<unsigned int>& xs, int y, int n, CPoint* pts) {
    xs.clear();
    if (!pts || n < 2)
        return 0;
    std::vector<int> found;
    for (int i = 0; i < n; ++i) {
        const CPoint& a = pts[i];
        const CPoint& b = pts[(i + 1) % n];
        if (a.y == b.y || y < std::min(a.y, b.y) || y >= std::max(a.y, b.y))
            continue;
        found.push_back(vq::edgeCrossingX(a, b, y));
    }
    std::sort(found.begin(), found.end());
    for (int x : found)
        xs.append(static_cast<unsigned int>(x));
    return xs.size();
}
