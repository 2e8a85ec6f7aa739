// The projective matrix operations, written in the exact order of their
// products and sums (see projective_matrix.h).
#include "freetransform/projective_matrix.h"

#include <cmath>

namespace vq {

ProjectiveMatrix& ProjectiveMatrix::translate(double tx, double ty) {
    m[0] += tx * m[6];
    m[1] += tx * m[7];
    m[2] += tx * m[8];
    m[3] += ty * m[6];
    m[4] += ty * m[7];
    m[5] += ty * m[8];
    return *this;
}

ProjectiveMatrix& ProjectiveMatrix::scale(double sx, double sy) {
    for (int i = 0; i < 3; ++i) {
        m[i] *= sx;
        m[3 + i] *= sy;
    }
    return *this;
}

ProjectiveMatrix& ProjectiveMatrix::shearX(double k) {
    for (int i = 0; i < 3; ++i)
        m[i] += k * m[3 + i];
    return *this;
}

ProjectiveMatrix& ProjectiveMatrix::shearY(double k) {
    for (int i = 0; i < 3; ++i)
        m[3 + i] += k * m[i];
    return *this;
}

ProjectiveMatrix& ProjectiveMatrix::invert() {
    const double* a = m;
    const double c0 = a[4] * a[8] - a[5] * a[7];
    const double c1 = a[5] * a[6] - a[3] * a[8];
    const double c2 = a[3] * a[7] - a[4] * a[6];
    const double det = a[0] * c0 + a[1] * c1 + a[2] * c2;
    if (det == 0)
        return *this;
    const double r[9] = {
        c0 / det, (a[2] * a[7] - a[1] * a[8]) / det, (a[1] * a[5] - a[2] * a[4]) / det,
        c1 / det, (a[0] * a[8] - a[2] * a[6]) / det, (a[2] * a[3] - a[0] * a[5]) / det,
        c2 / det, (a[1] * a[6] - a[0] * a[7]) / det, (a[0] * a[4] - a[1] * a[3]) / det,
    };
    for (int i = 0; i < 9; ++i)
        m[i] = r[i];
    return *this;
}

ProjectiveMatrix& ProjectiveMatrix::multiply(const ProjectiveMatrix& other) {
    const double* o = other.m;
    double r[9];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r[3 * i + j] = o[3 * i] * m[j] + o[3 * i + 1] * m[3 + j] + o[3 * i + 2] * m[6 + j];
    for (int i = 0; i < 9; ++i)
        m[i] = r[i];
    return *this;
}

ProjectiveMatrix ProjectiveMatrix::rectToQuad(double x, double y, double w, double h, const QPointF p[4]) {
    ProjectiveMatrix normalise;
    normalise.translate(-x, -y).scale(1 / (w > 0 ? w : 1), 1 / (h > 0 ? h : 1));

    const double sumX = p[0].x() - p[1].x() + p[3].x() - p[2].x();
    const double sumY = p[0].y() - p[1].y() + p[3].y() - p[2].y();
    ProjectiveMatrix square;
    double* s = square.m;
    if (sumX == 0 && sumY == 0) {
        s[0] = p[1].x() - p[0].x();
        s[1] = p[3].x() - p[1].x();
        s[2] = p[0].x();
        s[3] = p[1].y() - p[0].y();
        s[4] = p[3].y() - p[1].y();
        s[5] = p[0].y();
        s[6] = s[7] = 0;
    } else {
        const double dx1 = p[1].x() - p[3].x(), dx2 = p[2].x() - p[3].x();
        const double dy1 = p[1].y() - p[3].y(), dy2 = p[2].y() - p[3].y();
        const double den = dx1 * dy2 - dx2 * dy1;
        // A vanishing denominator keeps both perspective terms at 1, as the
        // editor's files were always computed.
        const double g = den == 0 ? 1 : (sumX * dy2 - sumY * dx2) / den;
        const double hh = den == 0 ? 1 : (sumY * dx1 - sumX * dy1) / den;
        s[0] = p[1].x() - p[0].x() + g * p[1].x();
        s[3] = p[1].y() - p[0].y() + g * p[1].y();
        s[1] = p[2].x() - p[0].x() + hh * p[2].x();
        s[4] = p[2].y() - p[0].y() + hh * p[2].y();
        s[2] = p[0].x();
        s[5] = p[0].y();
        s[6] = g;
        s[7] = hh;
    }
    s[8] = 1;
    return normalise.multiply(square);
}

bool ProjectiveMatrix::isFinite() const {
    for (double v : m)
        if (!std::isfinite(v))
            return false;
    return true;
}

}  // namespace vq
