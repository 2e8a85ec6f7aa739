// The Young-van Vliet recursive Gaussian (third order, forward and backward).
//
// For a signal x[0..n-1]:
//   y[k] = B x[k] + a1 y[k-1] + a2 y[k-2] + a3 y[k-3],  y[-1..-3] = x[0]
//   z[k] = B y[k] + a1 z[k+1] + a2 z[k+2] + a3 z[k+3],  z[n..n+2] = y[n-1]
// each evaluated left to right in double precision. The values carried
// from step to step (y, and z's history) are kept in double, or rounded to
// float as the focus blur's row buffers do; the result z is stored as float
// (or, for a byte destination, as that float truncated to 0..255).
// Independent signals ("lanes") run side by side, which changes nothing in
// any lane's arithmetic and lets the loops vectorise.
#pragma once

#include <QtGlobal>

#include <cstdint>
#include <functional>
#include <vector>

#include "core/byte_rules.h"

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

// Filters `lanes` interleaved signals of n samples: sample k of lane l is
// read at in[k * inStep + l] and its result written at out[k * outStep + l]
// (out may be in). Out is float or uint8_t.
template <typename Out>
void recursiveGaussianLanes(const float* in, qsizetype inStep, Out* out, qsizetype outStep, int n, int lanes,
                            const RecursiveGaussianCoefficients& g, Carried carried, RecursiveGaussianWork& work);

// Filters an image of `channels` bytes a pixel: every row (all channels of
// a pixel as lanes), then every column, the result written back as bytes.
// Returns false when cancelled (checked every few rows and columns): during
// the rows nothing is written yet, during the columns the column blocks done
// hold their result. `progress`, when set, hears the share done (0..1).
bool recursiveGaussianBytes(uint8_t* bits, qsizetype stride, int width, int height, int channels,
                            const RecursiveGaussianCoefficients& g, const bool* cancel,
                            const std::function<void(double)>& progress);

// The same on a float plane of `channels` values a pixel, from `source`
// into `destination` (which may be the source).
void recursiveGaussianPlane(const float* source, float* destination, int width, int height, int channels,
                            const RecursiveGaussianCoefficients& g, Carried carried);

}  // namespace vq
