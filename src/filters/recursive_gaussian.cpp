#include "recursive_gaussian.h"

#include "core/cancel.h"
#include "core/pixel_math.h"

#include <algorithm>
#include <cmath>

namespace vq {

RecursiveGaussianCoefficients recursiveGaussianCoefficients(double sigma) {
    const double q = sigma >= 2.5 ? 0.98711 * sigma - 0.9633 : 3.97156 - 4.14554 * std::sqrt(1 - 0.26891 * sigma);
    const double q2 = q * q;
    const double q3 = q2 * q;
    const double b0 = 1.57825 + 2.44413 * q + 1.4281 * q2 + 0.422205 * q3;
    const double b1 = 2.44413 * q + 2.8562 * q2 + (3 * 0.422205) * q3;
    const double b2 = -1.4281 * q2 - 1.266615 * q3;
    const double b3 = 0.422205 * q3;

    RecursiveGaussianCoefficients g{};
    g.a1 = b1 / b0;
    g.a2 = b2 / b0;
    g.a3 = b3 / b0;
    g.B = 1 - (b1 + b2 + b3) / b0;

    // Triggs and Sdika, "Boundary conditions for Young-van Vliet recursive
    // filtering" (2006), for y[k] = x[k] + a1 y[k-1] + a2 y[k-2] + a3 y[k-3].
    const double a1 = g.a1, a2 = g.a2, a3 = g.a3;
    const double scale = 1.0 / ((1 + a1 - a2 + a3) * (1 - a1 - a2 - a3) * (1 + a2 + (a1 - a3) * a3));
    const double m[9] = {
        -a3 * a1 + 1 - a3 * a3 - a2,
        (a3 + a1) * (a2 + a3 * a1),
        a3 * (a1 + a3 * a2),
        a1 + a3 * a2,
        -(a2 - 1) * (a2 + a3 * a1),
        -a3 * (a3 * a1 + a3 * a3 + a2 - 1),
        a3 * a1 + a2 + a1 * a1 - a2 * a2,
        a1 * a2 + a3 * a2 * a2 - a1 * a3 * a3 - a3 * a3 * a3 - a3 * a2 + a3,
        a3 * (a1 + a3 * a2),
    };
    for (int i = 0; i < 9; ++i)
        g.boundary[i] = scale * m[i];
    return g;
}

namespace {

// Forward then backward along the lanes; the forward values are kept (as H)
// in `work`, three history rows in front.
template <int Lanes, typename H>
void filterFixedLanes(float* data, qsizetype step, int n, int lanes, const RecursiveGaussianCoefficients& g, H* work) {
    const double B = g.B, a1 = g.a1, a2 = g.a2, a3 = g.a3;
    H* y = work + 3 * Lanes;  // y[k * Lanes + l]; y[-3 .. -1] in front
    for (int l = 0; l < Lanes; ++l)
        y[-1 * Lanes + l] = y[-2 * Lanes + l] = y[-3 * Lanes + l] = l < lanes ? data[l] : 0.0f;
    for (int k = 0; k < n; ++k) {
        const float* x = data + k * step;
        H* yk = y + k * Lanes;
        for (int l = 0; l < Lanes; ++l) {
            const double in = l < lanes ? x[l] : 0.0f;
            yk[l] = static_cast<H>(B * in + a1 * yk[l - Lanes] + a2 * yk[l - 2 * Lanes] + a3 * yk[l - 3 * Lanes]);
        }
    }
    H z1[Lanes], z2[Lanes], z3[Lanes];
    for (int l = 0; l < Lanes; ++l)
        z1[l] = z2[l] = z3[l] = y[(n - 1) * Lanes + l];
    for (int k = n - 1; k >= 0; --k) {
        float* out = data + k * step;
        const H* yk = y + k * Lanes;
        for (int l = 0; l < Lanes; ++l) {
            const H z = static_cast<H>(B * yk[l] + a1 * z1[l] + a2 * z2[l] + a3 * z3[l]);
            z3[l] = z2[l];
            z2[l] = z1[l];
            z1[l] = z;
            if (l < lanes)
                out[l] = static_cast<float>(z);
        }
    }
}

// Lane widths the kernels are built for; a run of lanes goes through the
// widest that fits, then narrower ones.
template <typename H>
VQ_MULTIVERSION void filterLanes16(float* data, qsizetype step, int n, int lanes,
                                   const RecursiveGaussianCoefficients& g, H* work) {
    filterFixedLanes<16>(data, step, n, lanes, g, work);
}

template <typename H>
VQ_MULTIVERSION void filterLanes4(float* data, qsizetype step, int n, int lanes,
                                  const RecursiveGaussianCoefficients& g, H* work) {
    filterFixedLanes<4>(data, step, n, lanes, g, work);
}

template <typename H>
void filterLanes(float* data, qsizetype step, int n, int lanes, const RecursiveGaussianCoefficients& g,
                 std::vector<H>& work) {
    work.resize(static_cast<size_t>(n + 3) * 16);
    for (int first = 0; first < lanes;) {
        const int left = lanes - first;
        if (left > 4) {
            filterLanes16(data + first, step, n, std::min(left, 16), g, work.data());
            first += std::min(left, 16);
        } else {
            filterLanes4(data + first, step, n, left, g, work.data());
            first += left;
        }
    }
}

}  // namespace

void recursiveGaussianLanes(float* data, qsizetype step, int n, int lanes, const RecursiveGaussianCoefficients& g,
                            Carried carried, RecursiveGaussianWork& work) {
    if (n <= 0 || lanes <= 0)
        return;
    if (carried == Carried::Double)
        filterLanes(data, step, n, lanes, g, work.doubles);
    else
        filterLanes(data, step, n, lanes, g, work.floats);
}

bool recursiveGaussianPlane(float* plane, int width, int height, int channels, const RecursiveGaussianCoefficients& g,
                            Carried carried, const bool* cancel, const std::function<void(double)>& progress) {
    RecursiveGaussianWork work;
    const qsizetype rowFloats = static_cast<qsizetype>(width) * channels;
    constexpr qsizetype kColumnLanes = 256;
    const double steps = double(height) + double((rowFloats + kColumnLanes - 1) / kColumnLanes) * 16;
    double done = 0;
    const auto advance = [&](double amount) {
        if (progress)
            progress(done / steps);
        done += amount;
    };
    // Rows: a group of rows is gathered so that sample x of every row and
    // channel lies side by side, filtered as lanes, and scattered back.
    const int groupRows = std::max(1, 16 / channels);
    std::vector<float> group(static_cast<size_t>(width) * groupRows * channels);
    for (int top = 0; top < height; top += groupRows) {
        if (isCancelled(cancel))
            return false;
        const int rows = std::min(groupRows, height - top);
        advance(rows);
        const int lanes = rows * channels;
        for (int r = 0; r < rows; ++r) {
            const float* row = plane + (top + r) * rowFloats;
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < channels; ++c)
                    group[static_cast<size_t>(x) * lanes + r * channels + c] = row[x * channels + c];
        }
        recursiveGaussianLanes(group.data(), lanes, width, lanes, g, carried, work);
        for (int r = 0; r < rows; ++r) {
            float* row = plane + (top + r) * rowFloats;
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < channels; ++c)
                    row[x * channels + c] = group[static_cast<size_t>(x) * lanes + r * channels + c];
        }
    }
    // Columns: every float of a row is a lane of its own.
    for (qsizetype first = 0; first < rowFloats; first += kColumnLanes) {
        if (isCancelled(cancel))
            return false;
        advance(16);
        recursiveGaussianLanes(plane + first, rowFloats, height,
                               static_cast<int>(std::min<qsizetype>(kColumnLanes, rowFloats - first)), g, carried,
                               work);
    }
    return true;
}

}  // namespace vq
