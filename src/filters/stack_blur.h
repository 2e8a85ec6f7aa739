// The integer stack blur: a triangle kernel of weights r + 1 - |i| for
// i = -r..r, the border pixel repeated beyond the edges, each pass truncating
// its weighted sum divided by (r + 1)^2.
//
// The sums slide with the pixel: with L the sum of the samples from x - r to
// x and R the sum from x + 1 to x + r,
//   S(x + 1) = S(x) - L + R + p(x + r + 1),
//   L += p(x + 1) - p(x - r),  R += p(x + r + 1) - p(x + 1),
// indices clamped to the image, which is exactly the running sum with a ring
// of 2r + 1 samples that the classic formulation keeps, without the ring.
#pragma once

#include <QtGlobal>

#include <cstdint>

namespace vq {

// Horizontal pass over one row of `channels`-byte pixels (1, 3 or 4).
void stackBlurRow(const uint8_t* in, uint8_t* out, int width, int channels, int radius);
// The same over two rows at once (faster where the processor allows).
void stackBlurRowPair(const uint8_t* in0, const uint8_t* in1, uint8_t* out0, uint8_t* out1, int width, int channels,
                      int radius);
// Vertical pass over `lanes` adjacent bytes of every row (each byte its own
// signal down the rows), `height` rows.
void stackBlurColumns(const uint8_t* in, qsizetype inStride, uint8_t* out, qsizetype outStride, int height,
                      int lanes, int radius);

// The same two passes computed the plain way (per-pixel weighted sums, 64-bit
// and a true division): the reference the fast kernels are tested against.
void stackBlurRowReference(const uint8_t* in, uint8_t* out, int width, int channels, int radius);

}  // namespace vq
