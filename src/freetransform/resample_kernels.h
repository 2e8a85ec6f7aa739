// Row kernels of the library's own resampler: plain functions over raw rows
// that fill one span of an output row by mapping each output pixel (x, y),
// in absolute output coordinates, through an inverse ProjectiveMatrix to a
// source position (sx, sy) and sampling the source there. No Qt images, no
// threads.
//
// Two samplings of 4-byte pixels share one bilinear rule,
//   v = (p11 fx + p10 (1 - fx)) fy + (p00 (1 - fx) + p01 fx) (1 - fy)
// per byte in double, with x0 = floor(sx), fx = sx - x0 (likewise y), p00 at
// (x0, y0), p01 at (x0 + 1, y0), p10 at (x0, y0 + 1), p11 at (x0 + 1, y0 + 1):
//  - Legacy (unifiedtransformEx): pixels with sx outside [-1, srcWidth] or sy
//    outside [-1, srcHeight] (NaN included) keep the background; samples
//    outside the source read as opaque white; v is truncated.
//  - Clean (the mesh warps): pixels with sx outside (-1, srcWidth) or sy
//    outside (-1, srcHeight) are transparent 0; a sample outside the source
//    reads as the nearest source pixel with its alpha byte 0, so the outline
//    fades out without a dark fringe; v is rounded half up.
// The vector paths (AVX2, chosen at run time) give the scalar bytes exactly:
// the same double operations in the same order.
#pragma once

#include "freetransform/projective_matrix.h"

#include <QtGlobal>

#include <cstdint>

namespace vq {

struct SourceRows {
    const uint8_t* bits;
    qsizetype stride;
    int width;
    int height;
};

enum class Sampling { Legacy, Clean };

// Output pixels x = xBegin .. xEnd - 1 of row y into out[0 ..].
void bilinearSpan(Sampling sampling, const SourceRows& src, const ProjectiveMatrix& inverse, uint32_t background,
                  int y, int xBegin, int xEnd, uint32_t* out);
// The same, always scalar: the reference the vector path is tested against.
void bilinearSpanScalar(Sampling sampling, const SourceRows& src, const ProjectiveMatrix& inverse,
                        uint32_t background, int y, int xBegin, int xEnd, uint32_t* out);

// Legacy bilinear sampling of pixels of any byte size: every byte by the
// rule above; samples outside the source read as 255 in every byte for
// pixels of more than one byte, and as 0 for one-byte pixels.
void bilinearSpanBytes(const SourceRows& src, int bytesPerPixel, const ProjectiveMatrix& inverse,
                       const uint8_t* background, int y, int xBegin, int xEnd, uint8_t* out);

// Nearest neighbour: the pixel at ((int)sx, (int)sy) when 0 <= sx < srcWidth
// and 0 <= sy < srcHeight, copied whole; otherwise the background.
void nearestSpanBytes(const SourceRows& src, int bytesPerPixel, const ProjectiveMatrix& inverse,
                      const uint8_t* background, int y, int xBegin, int xEnd, uint8_t* out);
// 1-bit rows, most significant bit first: a set source bit sets output bit
// k of `out` (output pixel xBegin + k); other bits are left as they are.
void nearestSpanBits(const SourceRows& src, const ProjectiveMatrix& inverse, int y, int xBegin, int xEnd,
                     uint8_t* out);

}  // namespace vq
