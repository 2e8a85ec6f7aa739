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
// VQ_MULTIVERSION_WIDE adds an AVX-512 clone, for kernels dominated by
// double arithmetic (eight lanes instead of four); elsewhere it costs more
// than it gains. Double operations without contraction round identically in
// every clone.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_THREAD__)
#define VQ_MULTIVERSION __attribute__((target_clones("avx2", "sse4.1", "default")))
#define VQ_MULTIVERSION_WIDE __attribute__((target_clones("avx512f", "avx2", "sse4.1", "default")))
#else
#define VQ_MULTIVERSION
#define VQ_MULTIVERSION_WIDE
#endif

namespace vq {

// floor(n / d) for 0 <= n <= 255 d, with 1 <= d <= 8,000,000 (so every
// quotient is a byte): a float reciprocal estimate that is never off by more
// than one, corrected exactly with integer products. Written so that it
// vectorises; bytes identical to n / d.
struct ByteQuotient {
    static constexpr int32_t kMaxDivisor = 8000000;

    explicit ByteQuotient(int32_t divisor = 1) : inverse(1.0f / static_cast<float>(divisor)), d(divisor) {}

    int32_t operator()(int32_t n) const {
        int32_t q = static_cast<int32_t>(static_cast<float>(n) * inverse);
        const int32_t t = q * d;
        q -= t > n;
        q += t + d <= n;
        return q;
    }

    float inverse;
    int32_t d;
};

}  // namespace vq
