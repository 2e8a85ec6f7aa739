// The corner conventions shared by every corner-based transform: four
// points top-left, top-right, bottom-left, bottom-right, a rectangle's
// corners one past its right and bottom edges, and (0, 0) for "not moved".
#pragma once

#include <QPoint>
#include <QRect>

namespace vq {

// Corner i of rect: (left, top), (right + 1, top), (left, bottom + 1),
// (right + 1, bottom + 1).
QPoint rectCorner(const QRect& rect, int i);
// corners[i], or rect's corner i where corners[i] is (0, 0).
QPoint effectiveCorner(const QRect& rect, const QPoint* corners, int i);
// False when every corner is (0, 0) or rect's corner of the same index.
bool cornersChanged(const QRect& rect, const QPoint* corners);

}  // namespace vq
