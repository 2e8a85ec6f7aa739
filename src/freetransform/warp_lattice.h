// The engine of the mesh warps: a lattice of vertices, each with a source
// position and a target position, rendered as triangles.
//
// Cell (i, j) of a lattice of columns x rows cells has the vertices A (i, j),
// B (i + 1, j), C (i, j + 1), D (i + 1, j + 1) and is drawn as the triangles
// A B C and then B D C, cells row by row; where a folded lattice covers a
// pixel twice, the later triangle wins. Within a triangle the target-to-
// source map is the affine map through its three vertex pairs, and pixels
// are sampled with the Clean bilinear sampling of resample_kernels.h.
//
// Coverage: output pixel (x, y) is the point (x, y). Target positions are
// snapped to 1/256 pixel, and a row y belongs to a triangle when
// ceil(top) <= y < ceil(bottom), a pixel of the row when ceil(left edge) <=
// x < ceil(right edge). Each edge's crossing with a row is computed from the
// edge's endpoints in one canonical order, so two triangles sharing an edge
// see the same crossing and every pixel of a seamless lattice is drawn
// exactly once.
#pragma once

#include <QImage>
#include <QPointF>
#include <QRect>

#include <cmath>
#include <functional>
#include <vector>

namespace vq {

struct WarpLattice {
    int columns = 0;
    int rows = 0;
    std::vector<QPointF> source;  // (columns + 1) x (rows + 1) vertices, row by row
    std::vector<QPointF> target;

    QPointF& sourceAt(int i, int j) { return source[index(i, j)]; }
    QPointF& targetAt(int i, int j) { return target[index(i, j)]; }
    const QPointF& sourceAt(int i, int j) const { return source[index(i, j)]; }
    const QPointF& targetAt(int i, int j) const { return target[index(i, j)]; }
    size_t index(int i, int j) const { return size_t(j) * (columns + 1) + i; }
};

// Target positions are kept within +-2^24 pixels, where the 1/256 grid is exact.
constexpr double kLatticeLimit = 16777216.0;

// How far a lattice may stray from the map it stands for, in pixels: well
// below what bilinear sampling can show.
constexpr double kLatticeTolerance = 0.125;

double snapToLatticeGrid(double v);

// The lattice of a forward map over a w x h source: source vertices on an
// n x n grid of the source rectangle (each on the 1/256 grid), targets
// forward(source) snapped. n is the smallest power of two from 4 to 256 for
// which the triangles stay within kLatticeTolerance of the map at every
// cell's centre. False when a target is not finite or beyond kLatticeLimit.
using ForwardMap = std::function<QPointF(double x, double y)>;
bool latticeFromForwardMap(WarpLattice& lattice, int w, int h, const ForwardMap& forward);

// The box of warped points: each point snapped to the 1/256 grid, and the
// pixels [ceil(min), ceil(max)) in each direction, those whose points can
// lie inside the warped outline. Empty when a point was not finite or lay
// beyond kLatticeLimit.
class WarpedBounds {
public:
    void add(const QPointF& p);
    QRect pixels() const;

private:
    double m_minX = INFINITY, m_minY = INFINITY, m_maxX = -INFINITY, m_maxY = -INFINITY;
    bool m_valid = true;
};

// The pixels the triangles can cover: the WarpedBounds of the targets.
QRect latticeBox(const WarpLattice& lattice);

// dst = ARGB32 image of box's size, pixel (i, j) being the target point
// (box.left + i, box.top + j), transparent where no triangle covers it.
// `source` must be ARGB32. False, dst untouched, when dst cannot be created.
bool renderLattice(QImage& dst, const QImage& source, const WarpLattice& lattice, const QRect& box);

}  // namespace vq
