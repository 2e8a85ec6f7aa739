// Weighted blending of pixel runs, the kernel of combineImageEx: every byte
// of pixel k becomes (d x m + s x (255 - m)) / 255 with the pixel's weight
// m = weights[k] (255 keeps the destination, 0 takes the source).
//
// A scalar version for any pixel size, and an SSE4.1 version that gives the
// same bytes, vectorised for 1-, 3- and 4-byte pixels (eight bytes to a
// 128-bit register); blendPixels picks one at run time.
#pragma once

#include <cstdint>

namespace vq {

void blendPixelsScalar(uint8_t* dst, const uint8_t* src, const uint8_t* weights, int pixels, int bytesPerPixel);
// Requires SSE4.1 (check cpuHasSse41 first).
void blendPixelsSse41(uint8_t* dst, const uint8_t* src, const uint8_t* weights, int pixels, int bytesPerPixel);
void blendPixels(uint8_t* dst, const uint8_t* src, const uint8_t* weights, int pixels, int bytesPerPixel);

}  // namespace vq
