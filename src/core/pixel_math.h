// Exact integer helpers shared by the pixel kernels.
#pragma once

#include <cstdint>

namespace vq {

// x / 255, truncated, for 0 <= x <= 65534 (every product of two bytes and
// every sum a x b + c x (255 - b) of them), without a division.
inline uint32_t div255(uint32_t x) { return (x + 1 + (x >> 8)) >> 8; }

}  // namespace vq

// Integer kernels compiled for several instruction sets and picked when the
// library loads (GNU ifunc); integer arithmetic gives the same bytes on all.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_THREAD__)
#define VQ_MULTIVERSION __attribute__((target_clones("avx2", "sse4.1", "default")))
#else
#define VQ_MULTIVERSION
#endif
