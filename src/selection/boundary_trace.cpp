// The magic wand: global colour selection and the contiguous selection
// found by tracing the outline around the click.
//
// Map bytes while tracing: bit 0 (1) = outside for the tracer, bit 1 (2) =
// entered by the tracer, 8 = a non-matching pixel taken into a matching
// 2 x 2 block (or an area cleared because it is not the clicked one), 33 = a
// matching pixel left out of a non-matching block, 128 = the filled area,
// 130 = the click and the traced pixels inside the area, 65 = the closing
// points of a trace that came back far from its start.
#include <vqutil/selection.h>

#include "core/guard.h"
#include "selection/polygon.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

// W, SW, S, SE, E, NE, N, NW (y grows downwards).
constexpr int kStepX[8] = {-1, -1, 0, 1, 1, 1, 0, -1};
constexpr int kStepY[8] = {0, 1, 1, 1, 0, -1, -1, -1};

constexpr uint8_t kOutside = 1, kVisited = 2, kInBlock = 8, kLeftOut = 33, kArea = 128, kClicked = 130,
                  kClosing = 65, kLeftOutMark = 32;

// Byte access to a Format_Grayscale8 map, bounds-checked by the caller.
struct MapView {
    uint8_t* bits;
    qsizetype stride;
    int width, height;

    explicit MapView(QImageEx& map)
        : bits(map.bits()), stride(map.bytesPerLine()), width(map.width()), height(map.height()) {}
    bool contains(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }
    uint8_t& at(int x, int y) const { return bits[y * stride + x]; }
};

bool usableMap(const QImageEx& map) { return !map.isNull() && map.depth() == 8; }

// Crossings of each row with a closed outline, found in one pass over its
// edges (the same half-open rule as CDibRegion::GetPointH), for filling.
class RowCrossings {
public:
    RowCrossings(int n, const CPoint* pts, int height) {
        top_ = height;
        bottom_ = -1;
        for (int i = 0; i < n; ++i) {
            top_ = std::min(top_, pts[i].y);
            bottom_ = std::max(bottom_, pts[i].y);
        }
        top_ = std::max(top_, 0);
        bottom_ = std::min(bottom_, height - 1);
        if (top_ > bottom_)
            return;
        rows_.resize(bottom_ - top_ + 1);
        for (int i = 0; i < n; ++i) {
            const CPoint& a = pts[i];
            const CPoint& b = pts[(i + 1) % n];
            if (a.y == b.y)
                continue;
            const int lo = std::max(std::min(a.y, b.y), top_), hi = std::min(std::max(a.y, b.y) - 1, bottom_);
            for (int y = lo; y <= hi; ++y)
                rows_[y - top_].push_back(vq::edgeCrossingX(a, b, y));
        }
        for (auto& row : rows_)
            std::sort(row.begin(), row.end());
    }
    int top() const { return top_; }
    int bottom() const { return bottom_; }
    const std::vector<int>& at(int y) const { return rows_[y - top_]; }

private:
    int top_, bottom_;
    std::vector<std::vector<int>> rows_;
};

// Writes into a region's mask in place: taken out of the region first so
// that no other copy shares its pixels, then handed back.
template <typename Edit>
void editMask(CDibRegion* rgn, Edit edit) {
    QImageEx mask = rgn->toQImageRef();
    rgn->setImage(QImageEx());
    edit(MapView(mask));
    rgn->setImage(mask);
}

// A map for a click: false for a null image, a click outside (0, 0,
// width - 1, height - 1) (the last column and row cannot be clicked), or a
// map that cannot be created.
bool prepareMap(QImageEx& map, const QImageEx& img, const CPoint& pt) {
    const CRect clickable(0, 0, img.width() - 1, img.height() - 1);
    return !img.isNull() && PtInRect(&clickable, pt) &&
           QImageEx::create(map, img.width(), img.height(), QImage::Format_Grayscale8);
}

}  // namespace

CBoundaryTrace::CBoundaryTrace() = default;
CBoundaryTrace::CBoundaryTrace(const CBoundaryTrace&) = default;
CBoundaryTrace& CBoundaryTrace::operator=(const CBoundaryTrace&) = default;
CBoundaryTrace::~CBoundaryTrace() = default;

bool CBoundaryTrace::PtInMapRegion(CPoint p, int n, CPoint* pts) {
    if (!pts)
        return false;
    for (int i = 0; i < n; ++i)
        if (pts[i].x == p.x && pts[i].y == p.y)
            return true;
    if (n < 3)
        return false;
    QVector<unsigned int> xs;
    const int count = CDibRegion::GetPointH(xs, p.y, n, pts);
    for (int i = 0; i + 1 < count; i += 2)
        if (static_cast<int>(xs[i]) <= p.x && p.x <= static_cast<int>(xs[i + 1]))
            return true;
    return false;
}

bool CBoundaryTrace::tarceMakeBlock(QImageEx& map) {
    if (!usableMap(map))
        return true;
    const MapView m(map);
    for (int y = 0; y < m.height; ++y)
        for (int x = 0; x < m.width; ++x) {
            if (x % 2 == 0 && y % 2 == 0)
                continue;
            const bool blockMatches = (m.at(x & ~1, y & ~1) & kOutside) == 0;
            uint8_t& v = m.at(x, y);
            const bool matches = (v & kOutside) == 0;
            if (matches && !blockMatches)
                v = kLeftOut;
            else if (!matches && blockMatches)
                v = kInBlock;
        }
    if (m.width % 2 == 1 && m.width >= 4)
        for (int y = 0; y < m.height; ++y)
            m.at(m.width - 1, y) = m.at(m.width - 2, y);
    if (m.height % 2 == 1 && m.height >= 4)
        std::copy(&m.at(0, m.height - 2), &m.at(0, m.height - 2) + m.width, &m.at(0, m.height - 1));
    return true;
}

int CBoundaryTrace::TraceCycle(CPoint start, QVector<CPoint>& points, QImageEx& map) {
    points.clear();
    if (!usableMap(map))
        return 0;
    const MapView m(map);
    if (!m.contains(start.x, start.y))
        return 0;
    if (start.x != m.width - 1 && (m.at(start.x + 1, start.y) & kOutside) == 0)
        return 0;
    const auto isInside = [&](int x, int y) { return m.contains(x, y) && (m.at(x, y) & kOutside) == 0; };
    int d = -1;
    for (int k = 0; k < 8 && d < 0; ++k)
        if (isInside(start.x + kStepX[k], start.y + kStepY[k]))
            d = k;
    if (d < 0)
        return 0;

    int count = 0;
    CPoint current = start;
    for (;;) {
        // The first direction from d that leaves the area (at most seven tried).
        int k = d;
        for (int j = 0;; ++j) {
            k = (d + j) & 7;
            if (!isInside(current.x + kStepX[k], current.y + kStepY[k]) || j + 1 == 7)
                break;
        }
        points.append(current);
        const int step = (k - 1) & 7;
        const CPoint next(current.x + kStepX[step], current.y + kStepY[step]);
        d = (k - 4) & 7;
        if (!m.contains(next.x, next.y))
            return count;
        uint8_t& byte = m.at(next.x, next.y);
        if (byte & kVisited) {
            const int closeness = std::abs(next.x - start.x) + (next.y == start.y ? 1 : 0);
            if (closeness < 3 || points.size() < 4)
                return count;
            m.at(points[points.size() - 1].x, points[points.size() - 1].y) = kClosing;
            m.at(points[points.size() - 2].x, points[points.size() - 2].y) = kClosing;
            return count;
        }
        byte |= kVisited;
        ++count;
        current = next;
    }
}

bool CBoundaryTrace::FindStartPoint(const QImageEx& map, const CPoint& from, CPoint& start) {
    if (!usableMap(map) || from.x < 0 || from.y < 0 || from.x >= map.width() || from.y >= map.height())
        return false;
    const uint8_t* row = map.constScanLine(from.y);
    int x = from.x;
    while (x < map.width() && (row[x] & kOutside) == 0)
        ++x;
    start = CPoint(std::max(x - 1, 0), from.y);
    return true;
}

bool CBoundaryTrace::FindStartPointEx(const QImageEx& map, CPoint& cursor, CPoint& start) {
    if (!usableMap(map))
        return false;
    for (int y = std::max(cursor.y, 0); y < map.height(); ++y) {
        const uint8_t* row = map.constScanLine(y);
        for (int x = std::max(y == cursor.y ? cursor.x : 0, 3); x < map.width(); ++x)
            if ((row[x] & (kOutside | kArea)) == (kOutside | kArea)) {
                start = CPoint(x - 1, y);
                cursor = CPoint(x + 1, y);
                return true;
            }
    }
    cursor = CPoint(0, map.height());
    return false;
}

bool CBoundaryTrace::AddColorMapRegion(QImageEx& map, int n, CPoint* pts, unsigned char value, int mode) {
    if (!usableMap(map) || !pts || n < 3)
        return false;
    return vq::guarded(false, [&] {
        const MapView m(map);
        const RowCrossings crossings(n, pts, m.height);
        // The outline's own pixels, per row, sorted: mode 0 includes them,
        // mode 1 leaves them alone.
        std::vector<std::vector<int>> outline(std::max(crossings.bottom() - crossings.top() + 1, 0));
        for (int i = 0; i < n; ++i)
            if (m.contains(pts[i].x, pts[i].y))
                outline[pts[i].y - crossings.top()].push_back(pts[i].x);
        for (auto& row : outline)
            std::sort(row.begin(), row.end());
        for (int y = crossings.top(); y <= crossings.bottom(); ++y) {
            const std::vector<int>& xs = crossings.at(y);
            const std::vector<int>& own = outline[y - crossings.top()];
            for (size_t i = 0; i + 1 < xs.size(); i += 2) {
                const int begin = std::max(xs[i], 0), end = std::min(xs[i + 1], m.width - 1);
                auto skip = std::lower_bound(own.begin(), own.end(), begin);
                for (int x = begin; x <= end; ++x) {
                    const bool onOutline = skip != own.end() && *skip == x;
                    if (onOutline)
                        ++skip;
                    if (mode == 0)
                        m.at(x, y) |= value;
                    else if (!onOutline)
                        m.at(x, y) = value;
                }
            }
            if (mode == 0)
                for (int x : own)
                    m.at(x, y) |= value;
        }
        return true;
    });
}

bool CBoundaryTrace::ColorMapToRegon(QImageEx& map, CDibRegion* rgn) {
    if (!rgn || !usableMap(map) || !rgn->InitRegion(map.width(), map.height(), 0, 255))
        return false;
    return vq::guarded(false, [&] {
        const MapView m(map);
        editMask(rgn, [&](const MapView& out) {
            for (int y = 0; y < m.height; ++y)
                for (int x = 0; x < m.width; ++x) {
                    uint8_t& v = m.at(x, y);
                    if (v == kArea || v == kClicked) {
                        v = kArea;
                        out.at(x, y) = 0;
                    }
                }
            for (int y = 0; y < m.height; ++y)
                for (int x = 2; x < m.width - 1; ++x)
                    if ((m.at(x, y) & kLeftOutMark) && (m.at(x - 1, y) == kArea || m.at(x + 1, y) == kArea))
                        out.at(x, y) = 0;
        });
        return true;
    });
}

bool CBoundaryTrace::BouderayColor(CDibRegion* rgn, const QImageEx& img, const CPoint& pt, unsigned char tolerance,
                                   int mode, int channels) {
    QImageEx map;
    if (!rgn || !prepareMap(map, img, pt))
        return false;
    GetColorMapEx(map, img, pt, tolerance, mode, 0, 255, channels);
    rgn->setImage(map);
    return true;
}

bool CBoundaryTrace::BouderayTrace(CDibRegion* rgn, const QImageEx& img, const CPoint& pt, unsigned char tolerance,
                                   int mode, int channels) {
    QImageEx map;
    if (!rgn || !prepareMap(map, img, pt))
        return false;
    return vq::guarded(false, [&] {
        GetColorMapEx(map, img, pt, tolerance, mode, 0, kOutside, channels);
        // The pixel-exact classes, kept to narrow the result at the end.
        const QImageEx matching = map.copyEx();
        tarceMakeBlock(map);
        map.scanLine(pt.y)[pt.x] = kClicked;

        // Outlines met to the right of the click that do not enclose it
        // bound holes of the area: clear them and look further.
        QVector<CPoint> outline;
        int n = 0;
        bool enclosed = false;
        const int64_t maxAttempts = 4 * (int64_t{img.width()} + img.height()) + 64;
        for (int64_t attempt = 0; attempt < maxAttempts; ++attempt) {
            CPoint start;
            FindStartPoint(map, pt, start);
            n = TraceCycle(start, outline, map);
            if (n < 3)
                break;
            if (PtInMapRegion(pt, n, outline.data())) {
                enclosed = true;
                break;
            }
            AddColorMapRegion(map, n, outline.data(), kInBlock, 1);
        }
        if (enclosed) {
            AddColorMapRegion(map, n, outline.data(), kArea, 0);
            CPoint cursor(0, 0), start;
            while (FindStartPointEx(map, cursor, start)) {
                const int holeSize = TraceCycle(start, outline, map);
                if (holeSize > 2)
                    AddColorMapRegion(map, holeSize, outline.data(), kInBlock, 1);
            }
        }
        if (!ColorMapToRegon(map, rgn))
            return false;

        // Block pixels that do not match the click are never selected.
        editMask(rgn, [&](const MapView& out) {
            for (int y = 0; y < out.height; ++y) {
                const uint8_t* classes = matching.constScanLine(y);
                for (int x = 0; x < out.width; ++x)
                    if (classes[x] & kOutside)
                        out.at(x, y) = 255;
            }
        });
        return true;
    });
}
