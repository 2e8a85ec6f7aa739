// ProjectiveMatrix: the 3 x 3 double matrix behind unifiedtransformEx and the
// exact (unmeshed) free transform.
//
// Nine doubles m[0..8], row by row. A point maps as
//   w  = (m6 x + m7 y) + m8      (w taken as 1 when it is 0)
//   x' = ((m0 x + m1 y) + m2) / w
//   y' = ((m3 x + m4 y) + m5) / w
// with each sum evaluated left to right, as written. Every operation is
// applied on the output side (the operation's matrix times this one), so a
// chain reads in the order the mapping happens. Results are byte contracts of
// the resamplers: the order of every product and sum below is part of them.
#pragma once

#include <QPointF>

namespace vq {

class ProjectiveMatrix {
public:
    double m[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};

    static ProjectiveMatrix identity() { return {}; }

    // row 0 += tx row 2, row 1 += ty row 2
    ProjectiveMatrix& translate(double tx, double ty);
    // row 0 *= sx, row 1 *= sy
    ProjectiveMatrix& scale(double sx, double sy);
    // row 0 += k row 1
    ProjectiveMatrix& shearX(double k);
    // row 1 += k row 0
    ProjectiveMatrix& shearY(double k);
    // The adjugate over the determinant (cofactors along row 0); a matrix
    // whose determinant is exactly 0 is left as it is.
    ProjectiveMatrix& invert();
    // this = other x this: `other` is applied after this matrix.
    ProjectiveMatrix& multiply(const ProjectiveMatrix& other);

    // The matrix taking the rectangle (x, y, w, h) onto the quad p[0] top-left,
    // p[1] top-right, p[2] bottom-left, p[3] bottom-right (a side that is not
    // positive counts as 1). Parallelograms give an affine matrix; for other
    // quads whose perspective denominator vanishes both perspective terms are 1.
    static ProjectiveMatrix rectToQuad(double x, double y, double w, double h, const QPointF p[4]);

    QPointF map(double x, double y) const {
        double w = m[6] * x + m[7] * y + m[8];
        if (w == 0)
            w = 1;
        return {(m[0] * x + m[1] * y + m[2]) / w, (m[3] * x + m[4] * y + m[5]) / w};
    }

    bool isAffine() const { return m[6] == 0 && m[7] == 0 && m[8] == 1; }
    bool isFinite() const;
};

}  // namespace vq
