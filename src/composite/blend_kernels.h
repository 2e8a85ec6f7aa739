// Weighted blending of byte runs, the kernel of combineImageEx: each byte
// becomes (d x m + s x (255 - m)) / 255 with its own weight m (255 keeps the
// destination, 0 takes the source). A scalar version and an SSE4.1 version
// that gives the same bytes; blendByWeights picks one at run time.
#pragma once

#include <cstdint>

namespace vq {

void blendByWeightsScalar(uint8_t* dst, const uint8_t* src, const uint8_t* weights, int count);
// Requires SSE4.1 (check cpuHasSse41 first).
void blendByWeightsSse41(uint8_t* dst, const uint8_t* src, const uint8_t* weights, int count);
void blendByWeights(uint8_t* dst, const uint8_t* src, const uint8_t* weights, int count);

}  // namespace vq
