// Crossings of polygon edges with rows, shared by the outline fills of the
// magic wand and CDibRegion::GetPointH.
#pragma once

#include <vqutil/core.h>

#include <cstdint>

namespace vq {

// Where the edge a-b crosses row y (a.y != b.y, y between them): x truncated
// toward zero. Wide arithmetic, so points anywhere in the int range are
// safe; the crossing lies between a.x and b.x, so it fits an int.
inline int edgeCrossingX(const CPoint& a, const CPoint& b, int y) {
    const __int128 dy = int64_t(b.y) - a.y;
    const __int128 dx = int64_t(b.x) - a.x;
    return int(a.x + (int64_t(y) - a.y) * dx / dy);
}

}  // namespace vq
