#include "freetransform/moving_least_squares.h"

namespace vq {

QPointF movingLeastSquares(const QVector<QPointF>& p, const QVector<QPointF>& q, const QPointF& v) {
    const int n = p.size();
    double weightSum = 0, pcx = 0, pcy = 0, qcx = 0, qcy = 0;
    for (int i = 0; i < n; ++i) {
        const double dx = p[i].x() - v.x(), dy = p[i].y() - v.y();
        const double d2 = dx * dx + dy * dy;
        if (d2 == 0)
            return q[i];
        const double w = 1 / d2;
        weightSum += w;
        pcx += w * p[i].x();
        pcy += w * p[i].y();
        qcx += w * q[i].x();
        qcy += w * q[i].y();
    }
    pcx /= weightSum;
    pcy /= weightSum;
    qcx /= weightSum;
    qcy /= weightSum;
    double a11 = 0, a12 = 0, a22 = 0, b11 = 0, b12 = 0, b21 = 0, b22 = 0;
    for (int i = 0; i < n; ++i) {
        const double dx = p[i].x() - v.x(), dy = p[i].y() - v.y();
        const double w = 1 / (dx * dx + dy * dy);
        const double hx = p[i].x() - pcx, hy = p[i].y() - pcy;
        const double kx = q[i].x() - qcx, ky = q[i].y() - qcy;
        a11 += w * hx * hx;
        a12 += w * hx * hy;
        a22 += w * hy * hy;
        b11 += w * hx * kx;
        b12 += w * hx * ky;
        b21 += w * hy * kx;
        b22 += w * hy * ky;
    }
    const double dx = v.x() - pcx, dy = v.y() - pcy;
    const double trace = a11 + a22;
    const double det = a11 * a22 - a12 * a12;
    if (det > 1e-12 * trace * trace) {
        const double m11 = (a22 * b11 - a12 * b21) / det, m12 = (a22 * b12 - a12 * b22) / det;
        const double m21 = (a11 * b21 - a12 * b11) / det, m22 = (a11 * b22 - a12 * b12) / det;
        return {dx * m11 + dy * m21 + qcx, dx * m12 + dy * m22 + qcy};
    }
    if (trace > 0) {
        const double a = (b11 + b22) / trace, b = (b12 - b21) / trace;
        return {a * dx - b * dy + qcx, b * dx + a * dy + qcy};
    }
    return {dx + qcx, dy + qcy};
}

}  // namespace vq
