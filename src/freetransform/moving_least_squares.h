// The moving-least-squares deformation of a plane by point pairs, the map
// behind transformQImage.
#pragma once

#include <QPointF>
#include <QVector>

namespace vq {

// f(v) for the affine moving-least-squares deformation taking each p[i] to
// q[i] (weights 1 / |p[i] - v|^2): with p* and q* the weighted centroids,
//   f(v) = (v - p*) M + q*,  M = (sum w p^T p)^-1 sum w p^T q  (p, q centred).
// f(p[i]) = q[i]; equal lists give the identity; pairs related by one affine
// map give that map. Where the weighted moments of p are (nearly) singular,
// two points or all points on a line, M is the best similarity instead, and
// for coincident points the translation q* - p*.
QPointF movingLeastSquares(const QVector<QPointF>& p, const QVector<QPointF>& q, const QPointF& v);

}  // namespace vq
