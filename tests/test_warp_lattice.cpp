// The triangle lattice behind the mesh warps: coverage and the vector span
// kernel it draws with.
#include "freetransform/warp_lattice.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <random>

// Whatever shape its triangles take, a lattice whose source and target
// positions agree maps every pixel onto itself: a pixel left out or drawn
// from the wrong triangle would show.
TEST(WarpLattice, SeamlessLatticesDrawEveryPixelOnce) {
    const QImage src = vqtest::randomImage(61, 47, QImage::Format_ARGB32, 2);
    std::mt19937 rng(4);
    std::uniform_real_distribution<double> jitter(-2.4, 2.4);
    for (int columns : {1, 3, 7})
        for (int rows : {1, 2, 6}) {
            vq::WarpLattice lattice;
            lattice.columns = columns;
            lattice.rows = rows;
            lattice.source.resize(size_t(columns + 1) * (rows + 1));
            lattice.target.resize(lattice.source.size());
            for (int j = 0; j <= rows; ++j)
                for (int i = 0; i <= columns; ++i) {
                    const bool edgeX = i == 0 || i == columns, edgeY = j == 0 || j == rows;
                    // Inner vertices move, on the 1/256 grid; the outline stays the image rectangle.
                    const QPointF p(61.0 * i / columns + (edgeX ? 0 : jitter(rng)),
                                    47.0 * j / rows + (edgeY ? 0 : jitter(rng)));
                    const QPointF snapped(vq::snapToLatticeGrid(p.x()), vq::snapToLatticeGrid(p.y()));
                    lattice.sourceAt(i, j) = lattice.targetAt(i, j) = snapped;
                }
            const QRect box = vq::latticeBox(lattice);
            ASSERT_EQ(box, QRect(0, 0, 61, 47));
            QImage out;
            ASSERT_TRUE(vq::renderLattice(out, src, lattice, box));
            EXPECT_TRUE(vqtest::sameBytes(out, src)) << columns << " x " << rows;
        }
}
