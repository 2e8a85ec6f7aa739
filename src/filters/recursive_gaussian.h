// The Young-van Vliet recursive Gaussian (third order, forward and backward).
//
// For a signal x[0..n-1]:
//   y[k] = B x[k] + a1 y[k-1] + a2 y[k-2] + a3 y[k-3],  y[-1..-3] = x[0]
//   z[k] = B y[k] + a1 z[k+1] + a2 z[k+2] + a3 z[k+3],  z[n..n+2] = y[n-1]
// each evaluated left to right in double precision. The values carried
// from step to step (y, and z's history) are kept in double, or rounded to
// float as the focus blur's row buffers do; the result z is stored as float.
// Independent signals ("lanes") run side by side, which changes nothing in
// any lane's arithmetic and lets the loops vectorise.
#pragma once

#include <QtGlobal>

#include <cstdint>
#include <functional>
#include <vector>

namespace vq {

struct RecursiveGaussianCoefficients {
    double B, a1, a2, a3;
    double boundary[9];  // Triggs and Sdika's end-condition matrix, row by row (not used by the filters)
};

RecursiveGaussianCoefficients recursiveGaussianCoefficients(double sigma);

enum class Carried { Double, Float };

// Scratch memory of the filters, reused from call to call.
struct RecursiveGaussianWork {
    std::vector<double> doubles;
    std::vector<float> floats;
};

// Filters `lanes` interleaved signals of n samples in place: sample k of lane
// l is data[k * step + l].
void recursiveGaussianLanes(float* data, qsizetype step, int n, int lanes, const RecursiveGaussianCoefficients& g,
                            Carried carried, RecursiveGaussianWork& work);

// The same on a float plane of `channels` interleaved values per pixel:
// every row (all channels of a pixel at once), then every column. Returns
// false when cancelled (checked for every few rows and columns). `progress`,
// when set, hears the share of the work done (0..1) as it goes.
bool recursiveGaussianPlane(float* plane, int width, int height, int channels, const RecursiveGaussianCoefficients& g,
                            Carried carried, const bool* cancel, const std::function<void(double)>& progress);

}  // namespace vq
