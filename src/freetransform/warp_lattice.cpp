// The lattice engine of the mesh warps (see warp_lattice.h): building a
// lattice from a forward map, and rasterising its triangles in bands.
#include "freetransform/warp_lattice.h"

#include "core/large_image.h"
#include "core/parallel.h"
#include "freetransform/projective_matrix.h"
#include "freetransform/resample_kernels.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vq {

double snapToLatticeGrid(double v) { return std::nearbyint(v * 256) / 256; }

namespace {

bool buildLattice(WarpLattice& lattice, int n, int w, int h, const ForwardMap& forward) {
    lattice.columns = lattice.rows = n;
    lattice.source.resize(size_t(n + 1) * (n + 1));
    lattice.target.resize(lattice.source.size());
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i) {
            const QPointF s(snapToLatticeGrid(double(w) * i / n), snapToLatticeGrid(double(h) * j / n));
            const QPointF t = forward(s.x(), s.y());
            if (!(std::fabs(t.x()) <= kLatticeLimit && std::fabs(t.y()) <= kLatticeLimit))
                return false;
            lattice.sourceAt(i, j) = s;
            lattice.targetAt(i, j) = QPointF(snapToLatticeGrid(t.x()), snapToLatticeGrid(t.y()));
        }
    return true;
}

// How far the two triangles of the worst cell stray from the map at the
// cell's centre.
double latticeError(const WarpLattice& lattice, const ForwardMap& forward) {
    double worst = 0;
    for (int j = 0; j < lattice.rows; ++j)
        for (int i = 0; i < lattice.columns; ++i) {
            const QPointF s = (lattice.sourceAt(i, j) + lattice.sourceAt(i + 1, j + 1)) / 2;
            const QPointF truth = forward(s.x(), s.y());
            const QPointF diagonal = (lattice.targetAt(i + 1, j) + lattice.targetAt(i, j + 1)) / 2;
            const QPointF d = truth - diagonal;
            worst = std::max(worst, std::hypot(d.x(), d.y()));
        }
    return worst;
}

}  // namespace

bool latticeFromForwardMap(WarpLattice& lattice, int w, int h, const ForwardMap& forward) {
    for (int n = 4;; n *= 2) {
        if (!buildLattice(lattice, n, w, h, forward))
            return false;
        if (n >= 256 || latticeError(lattice, forward) <= kLatticeTolerance)
            return true;
    }
}

void WarpedBounds::add(const QPointF& p) {
    const double x = snapToLatticeGrid(p.x()), y = snapToLatticeGrid(p.y());
    if (!(std::fabs(x) <= kLatticeLimit && std::fabs(y) <= kLatticeLimit)) {
        m_valid = false;
        return;
    }
    m_minX = std::min(m_minX, x);
    m_maxX = std::max(m_maxX, x);
    m_minY = std::min(m_minY, y);
    m_maxY = std::max(m_maxY, y);
}

QRect WarpedBounds::pixels() const {
    if (!m_valid || m_minX > m_maxX)
        return QRect();
    const int left = int(std::ceil(m_minX)), top = int(std::ceil(m_minY));
    return QRect(left, top, int(std::ceil(m_maxX)) - left, int(std::ceil(m_maxY)) - top);
}

QRect latticeBox(const WarpLattice& lattice) {
    WarpedBounds bounds;
    for (const QPointF& p : lattice.target)
        bounds.add(p);
    return bounds.pixels();
}

namespace {

struct Vertex {
    double x, y;
};

// One triangle ready to draw: target vertices from top to bottom, the rows
// it covers, and its target-to-source map.
struct Triangle {
    Vertex v[3];
    int firstRow;
    int endRow;
    ProjectiveMatrix toSource;
};

// The x where the edge p-q crosses row y, the same value whichever
// triangle asks (the endpoints are put in one order first).
inline double edgeX(Vertex p, Vertex q, double y) {
    if (q.y < p.y || (q.y == p.y && q.x < p.x))
        std::swap(p, q);
    return p.x + (y - p.y) * ((q.x - p.x) / (q.y - p.y));
}

// The affine map taking target vertices t[k] to source vertices s[k], or
// false for a triangle without area.
bool affineThrough(const QPointF t[3], const QPointF s[3], ProjectiveMatrix& m) {
    const double e1x = t[1].x() - t[0].x(), e1y = t[1].y() - t[0].y();
    const double e2x = t[2].x() - t[0].x(), e2y = t[2].y() - t[0].y();
    const double det = e1x * e2y - e1y * e2x;
    if (det == 0 || !std::isfinite(det))
        return false;
    // Barycentric alpha = ax x + ay y + ac, beta likewise.
    const double ax = e2y / det, ay = -e2x / det, ac = (t[0].y() * e2x - t[0].x() * e2y) / det;
    const double bx = -e1y / det, by = e1x / det, bc = (t[0].x() * e1y - t[0].y() * e1x) / det;
    const double u1x = s[1].x() - s[0].x(), u1y = s[1].y() - s[0].y();
    const double u2x = s[2].x() - s[0].x(), u2y = s[2].y() - s[0].y();
    m = ProjectiveMatrix();
    m.m[0] = u1x * ax + u2x * bx;
    m.m[1] = u1x * ay + u2x * by;
    m.m[2] = s[0].x() + u1x * ac + u2x * bc;
    m.m[3] = u1y * ax + u2y * bx;
    m.m[4] = u1y * ay + u2y * by;
    m.m[5] = s[0].y() + u1y * ac + u2y * bc;
    return m.isFinite();
}

bool setUp(const QPointF t[3], const QPointF s[3], Triangle& tri) {
    if (!affineThrough(t, s, tri.toSource))
        return false;
    for (int k = 0; k < 3; ++k)
        tri.v[k] = {t[k].x(), t[k].y()};
    std::sort(tri.v, tri.v + 3, [](const Vertex& a, const Vertex& b) { return a.y < b.y; });
    tri.firstRow = int(std::ceil(tri.v[0].y));
    tri.endRow = int(std::ceil(tri.v[2].y));
    return tri.firstRow < tri.endRow;
}

std::vector<Triangle> trianglesOf(const WarpLattice& lattice) {
    std::vector<Triangle> triangles;
    triangles.reserve(size_t(lattice.columns) * lattice.rows * 2);
    const WarpLattice& l = lattice;
    for (int j = 0; j < lattice.rows; ++j)
        for (int i = 0; i < lattice.columns; ++i) {
            const QPointF tA = l.targetAt(i, j), tB = l.targetAt(i + 1, j);
            const QPointF tC = l.targetAt(i, j + 1), tD = l.targetAt(i + 1, j + 1);
            const QPointF sA = l.sourceAt(i, j), sB = l.sourceAt(i + 1, j);
            const QPointF sC = l.sourceAt(i, j + 1), sD = l.sourceAt(i + 1, j + 1);
            const QPointF first[2][3] = {{tA, tB, tC}, {sA, sB, sC}};
            const QPointF second[2][3] = {{tB, tD, tC}, {sB, sD, sC}};
            Triangle tri;
            if (setUp(first[0], first[1], tri))
                triangles.push_back(tri);
            if (setUp(second[0], second[1], tri))
                triangles.push_back(tri);
        }
    return triangles;
}

// Draws the rows [rowBegin, rowEnd) of one triangle, clipped to box.
void drawTriangleRows(const Triangle& tri, int rowBegin, int rowEnd, const SourceRows& src, const QRect& box,
                      uint8_t* bits, qsizetype stride) {
    const int first = std::max(tri.firstRow, rowBegin), end = std::min(tri.endRow, rowEnd);
    const int boxEnd = box.left() + box.width();
    for (int y = first; y < end; ++y) {
        const double longX = edgeX(tri.v[0], tri.v[2], y);
        const double shortX = y < tri.v[1].y ? edgeX(tri.v[0], tri.v[1], y) : edgeX(tri.v[1], tri.v[2], y);
        const int xBegin = std::max(box.left(), int(std::ceil(std::min(longX, shortX))));
        const int xEnd = std::min(boxEnd, int(std::ceil(std::max(longX, shortX))));
        if (xBegin >= xEnd)
            continue;
        uint32_t* row = reinterpret_cast<uint32_t*>(bits + (y - box.top()) * stride) + (xBegin - box.left());
        bilinearSpan(Sampling::Clean, src, tri.toSource, 0, y, xBegin, xEnd, row);
    }
}

}  // namespace

bool renderLattice(QImage& dst, const QImage& source, const WarpLattice& lattice, const QRect& box) {
    QImage out = newLargeImage(box.width(), box.height(), QImage::Format_ARGB32);
    if (out.isNull())
        return false;
    const std::vector<Triangle> triangles = trianglesOf(lattice);
    const SourceRows src{source.constBits(), source.bytesPerLine(), source.width(), source.height()};
    uint8_t* bits = out.bits();
    const qsizetype stride = out.bytesPerLine();
    const size_t rowBytes = size_t(box.width()) * 4;
    processLinesParallel(box.top(), box.height(), [&](int y, int end) {
        for (int r = y; r < end; ++r)
            std::memset(bits + (r - box.top()) * stride, 0, rowBytes);
        for (const Triangle& tri : triangles)
            if (tri.firstRow < end && tri.endRow > y)
                drawTriangleRows(tri, y, end, src, box, bits, stride);
    });
    dst = out;
    return true;
}

}  // namespace vq
