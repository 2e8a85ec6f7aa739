// The colour-temperature pass: each pixel to CIE L*a*b* and back with b*
// shifted, in single precision. Exposed for the tests, which hold the
// vectorised row kernel to the plain per-pixel formula.
#pragma once

#include <cstdint>

namespace vq {

// The cube root of t rounded to float, as the pass computes it: an inverse
// cube root estimate refined in double precision, then rounded once.
float cubeRootToFloat(float t);

// The plain formula for one pixel's bytes 0, 1, 2 (blue, green, red), with
// std::cbrt in double precision rounded to float as its cube root.
void temperaturePixelReference(const uint8_t* in, uint8_t* out, int amount);

// Bytes 0, 1, 2 of `width` pixels of `bpp` bytes, in place; other bytes kept.
void temperatureRow(uint8_t* row, int width, int bpp, int amount);

}  // namespace vq
