// The mesh warps of the free-transform tool: a bicubic Bezier patch
// (bezierTransform), four corners with an optional patch inside them
// (freeTransform), and a warp between two point lists (transformQImage).
// All render through the lattice engine of warp_lattice.h, except the
// unmeshed free transform, which maps every pixel exactly.
#include <vqutil/transform.h>

#include "core/guard.h"
#include "core/large_image.h"
#include "core/parallel.h"
#include "freetransform/moving_least_squares.h"
#include "freetransform/projective_matrix.h"
#include "freetransform/resample.h"
#include "freetransform/resample_kernels.h"
#include "freetransform/warp_lattice.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <vector>

namespace {

using vq::ProjectiveMatrix;
using vq::WarpLattice;

bool finitePoints(const QPointF* points, int count) {
    for (int i = 0; i < count; ++i)
        if (!std::isfinite(points[i].x()) || !std::isfinite(points[i].y()))
            return false;
    return true;
}

// The point of the bicubic Bezier patch over 16 control points (row by row)
// at parameters (u, v), as the Bernstein sum in a fixed order.
QPointF bezierPoint(const QPointF* grid, double u, double v) {
    const double su = 1 - u, sv = 1 - v;
    const double bu[4] = {su * su * su, 3 * u * su * su, 3 * u * u * su, u * u * u};
    const double bv[4] = {sv * sv * sv, 3 * v * sv * sv, 3 * v * v * sv, v * v * v};
    double x = 0, y = 0;
    for (int j = 0; j < 4; ++j)
        for (int i = 0; i < 4; ++i) {
            const double w = bv[j] * bu[i];
            x += w * grid[4 * j + i].x();
            y += w * grid[4 * j + i].y();
        }
    return {x, y};
}

// The rendered lattice placed in its box; false when the box has no area or
// would exceed 2^31 bytes.
bool renderPlaced(QImageEx& dst, QRect& placed, const QImageEx& src, const WarpLattice& lattice, const QRect& box) {
    if (!vq::fitsOutputRect(box, 32))
        return false;
    const QImage argb = vq::asArgb32(src);
    QImage out;
    if (argb.isNull() || !vq::renderLattice(out, argb, lattice, box))
        return false;
    dst = out;
    placed = box;
    return true;
}

bool warpForward(QImageEx& dst, QRect& placed, const QImageEx& src, const vq::ForwardMap& forward) {
    WarpLattice lattice;
    if (!vq::latticeFromForwardMap(lattice, src.width(), src.height(), forward))
        return false;
    return renderPlaced(dst, placed, src, lattice, vq::latticeBox(lattice));
}

// The projective denominator of m at (x, y).
double denominator(const ProjectiveMatrix& m, double x, double y) { return m.m[6] * x + m.m[7] * y + m.m[8]; }

// Every pixel of box sampled exactly through the inverse of `forward`.
bool warpProjective(QImageEx& dst, QRect& placed, const QImageEx& src, const ProjectiveMatrix& forward) {
    const double w = src.width(), h = src.height();
    vq::WarpedBounds bounds;
    for (const QPointF& corner : {QPointF(0, 0), QPointF(w, 0), QPointF(0, h), QPointF(w, h)})
        bounds.add(forward.map(corner.x(), corner.y()));
    const QRect box = bounds.pixels();
    if (!vq::fitsOutputRect(box, 32))
        return false;
    ProjectiveMatrix inverse = forward;
    inverse.invert();
    const QImage argb = vq::asArgb32(src);
    QImage out = vq::newLargeImage(box.width(), box.height(), QImage::Format_ARGB32);
    if (argb.isNull() || out.isNull())
        return false;
    const vq::SourceRows rows{argb.constBits(), argb.bytesPerLine(), argb.width(), argb.height()};
    uint8_t* bits = out.bits();
    const qsizetype stride = out.bytesPerLine();
    const int right = box.left() + box.width();
    processLinesParallel(box.top(), box.height(), [&](int y, int end) {
        for (; y < end; ++y)
            vq::bilinearSpan(vq::Sampling::Clean, rows, inverse, 0, y, box.left(), right,
                             reinterpret_cast<uint32_t*>(bits + (y - box.top()) * stride));
    });
    dst = out;
    placed = box;
    return true;
}

// The bounding box of the forward image of the source outline, sampled
// every few pixels along its four edges.
QRect outlineBox(int w, int h, const std::function<QPointF(double, double)>& forward) {
    constexpr int kStep = 8;
    vq::WarpedBounds bounds;
    for (int x = 0; x < w; x += kStep) {
        bounds.add(forward(x, 0));
        bounds.add(forward(x, h));
    }
    for (int y = 0; y < h; y += kStep) {
        bounds.add(forward(0, y));
        bounds.add(forward(w, y));
    }
    bounds.add(forward(w, h));
    return bounds.pixels();
}

// A lattice over `box` with nodes every `step` pixels (and on its far
// edges), each node's source position given by `backward`.
bool latticeOverBox(WarpLattice& lattice, const QRect& box, int step,
                    const std::function<QPointF(double, double)>& backward) {
    // At most 512 cells a side, so that the lattice stays small beside the result.
    step = std::max({step, (box.width() + 511) / 512, (box.height() + 511) / 512});
    lattice.columns = (box.width() + step - 1) / step;
    lattice.rows = (box.height() + step - 1) / step;
    const size_t nodes = size_t(lattice.columns + 1) * (lattice.rows + 1);
    lattice.source.resize(nodes);
    lattice.target.resize(nodes);
    std::atomic<bool> finite{true};
    processLinesParallel(0, lattice.rows + 1, [&](int j, int end) {
        for (; j < end; ++j)
            for (int i = 0; i <= lattice.columns; ++i) {
                const QPointF node(box.left() + std::min(i * step, box.width()),
                                   box.top() + std::min(j * step, box.height()));
                const QPointF s = backward(node.x(), node.y());
                if (!std::isfinite(s.x()) || !std::isfinite(s.y()))
                    finite.store(false, std::memory_order_relaxed);
                lattice.targetAt(i, j) = node;
                lattice.sourceAt(i, j) = s;
            }
    });
    return finite.load();
}

// How far the triangles of the worst cell put its centre from where the
// backward map sends it.
double backwardError(const WarpLattice& lattice, const std::function<QPointF(double, double)>& backward) {
    std::vector<double> rowWorst(size_t(lattice.rows), 0.0);
    processLinesParallel(0, lattice.rows, [&](int j, int end) {
        for (; j < end; ++j)
            for (int i = 0; i < lattice.columns; ++i) {
                const QPointF centre = (lattice.targetAt(i, j) + lattice.targetAt(i + 1, j + 1)) / 2;
                const QPointF d = backward(centre.x(), centre.y()) -
                                  (lattice.sourceAt(i + 1, j) + lattice.sourceAt(i, j + 1)) / 2;
                rowWorst[size_t(j)] = std::max(rowWorst[size_t(j)], std::hypot(d.x(), d.y()));
            }
    });
    return rowWorst.empty() ? 0.0 : *std::max_element(rowWorst.begin(), rowWorst.end());
}

// The coarsest lattice, nodes 64, 32, 16 or 8 pixels apart, that follows
// the backward map to within kLatticeTolerance.
bool adaptiveLatticeOverBox(WarpLattice& lattice, const QRect& box,
                            const std::function<QPointF(double, double)>& backward) {
    for (int step = 64;; step /= 2) {
        if (!latticeOverBox(lattice, box, step, backward))
            return false;
        if (step <= 8 || backwardError(lattice, backward) <= vq::kLatticeTolerance)
            return true;
    }
}

}  // namespace

bool bezierTransform(QImageEx& dst, QRect& placed, const QImageEx& src, const QVector<QPointF>& grid) {
    if (src.isNull() || grid.size() != 16 || !finitePoints(grid.constData(), 16))
        return false;
    return vq::guarded(false, [&] {
        const double w = src.width(), h = src.height();
        const QPointF* points = grid.constData();
        return warpForward(dst, placed, src, [&](double x, double y) { return bezierPoint(points, x / w, y / h); });
    });
}

bool freeTransform(QImageEx& dst, QRect& placed, const QImageEx& src, const QPointF* corners,
                   const QVector<QPointF>& mesh) {
    if (src.isNull() || !corners || !finitePoints(corners, 4))
        return false;
    if (!mesh.isEmpty() && (mesh.size() != 16 || !finitePoints(mesh.constData(), 16)))
        return false;
    const double w = src.width(), h = src.height();
    const QPointF rectCorners[4] = {{0, 0}, {w, 0}, {0, h}, {w, h}};
    QPointF quad[4];
    for (int i = 0; i < 4; ++i)
        quad[i] = corners[i].isNull() ? rectCorners[i] : corners[i];
    const ProjectiveMatrix forward = ProjectiveMatrix::rectToQuad(0, 0, w, h, quad);
    if (!forward.isFinite())
        return false;
    // The quad must be the bounded image of the rectangle: the denominator
    // keeps one sign, away from 0, over the rectangle (and so over the mesh
    // wherever the mesh stays inside it; outside, each point is checked).
    const double sign = denominator(forward, 0, 0) > 0 ? 1 : -1;
    for (const QPointF& c : rectCorners)
        if (!(sign * denominator(forward, c.x(), c.y()) > 0))
            return false;
    return vq::guarded(false, [&] {
        if (mesh.isEmpty())
            return warpProjective(dst, placed, src, forward);
        const QPointF* points = mesh.constData();
        return warpForward(dst, placed, src, [&](double x, double y) {
            const QPointF unit = bezierPoint(points, x / w, y / h);
            const double px = unit.x() * w, py = unit.y() * h;
            if (!(sign * denominator(forward, px, py) > 0))
                return QPointF(NAN, NAN);
            return forward.map(px, py);
        });
    });
}

bool transformQImage(QImageEx& dst, QRect& placed, const QImageEx& src, const QVector<QPointF>& from,
                     const QVector<QPointF>& to) {
    if (src.isNull() || from.isEmpty() || from.size() != to.size() ||
        !finitePoints(from.constData(), from.size()) || !finitePoints(to.constData(), to.size()))
        return false;
    return vq::guarded(false, [&] {
        const QRect box = outlineBox(src.width(), src.height(), [&](double x, double y) {
            return vq::movingLeastSquares(from, to, QPointF(x, y));
        });
        if (!vq::fitsOutputRect(box, 32))
            return false;
        WarpLattice lattice;
        if (!adaptiveLatticeOverBox(lattice, box, [&](double x, double y) {
                return vq::movingLeastSquares(to, from, QPointF(x, y));
            }))
            return false;
        return renderPlaced(dst, placed, src, lattice, box);
    });
}
