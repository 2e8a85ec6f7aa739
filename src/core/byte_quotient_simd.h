// ByteQuotient lane by lane: n / d for every 32-bit lane, from the float
// reciprocal estimate corrected by one either way with integer products,
// exactly as the scalar form. One function per register width.
#pragma once

#include "pixel_math.h"

#if defined(__x86_64__)
#include <immintrin.h>

namespace vq {

__attribute__((target("sse4.1"))) inline __m128i byteQuotients(__m128i n, const ByteQuotient& q) {
    const __m128i divisor = _mm_set1_epi32(q.d);
    __m128i r = _mm_cvttps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(n), _mm_set1_ps(q.inverse)));
    const __m128i t = _mm_mullo_epi32(r, divisor);
    r = _mm_add_epi32(r, _mm_cmpgt_epi32(t, n));  // too high: -1
    return _mm_add_epi32(r, _mm_add_epi32(_mm_set1_epi32(1), _mm_cmpgt_epi32(_mm_add_epi32(t, divisor), n)));  // too low: +1
}

__attribute__((target("avx2"))) inline __m256i byteQuotients(__m256i n, const ByteQuotient& q) {
    const __m256i divisor = _mm256_set1_epi32(q.d);
    __m256i r = _mm256_cvttps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(n), _mm256_set1_ps(q.inverse)));
    const __m256i t = _mm256_mullo_epi32(r, divisor);
    r = _mm256_add_epi32(r, _mm256_cmpgt_epi32(t, n));
    return _mm256_add_epi32(r, _mm256_add_epi32(_mm256_set1_epi32(1), _mm256_cmpgt_epi32(_mm256_add_epi32(t, divisor), n)));
}

__attribute__((target("avx512f"))) inline __m512i byteQuotients(__m512i n, const ByteQuotient& q) {
    const __m512i divisor = _mm512_set1_epi32(q.d);
    const __m512i one = _mm512_set1_epi32(1);
    __m512i r = _mm512_cvttps_epi32(_mm512_mul_ps(_mm512_cvtepi32_ps(n), _mm512_set1_ps(q.inverse)));
    const __m512i t = _mm512_mullo_epi32(r, divisor);
    r = _mm512_mask_sub_epi32(r, _mm512_cmpgt_epi32_mask(t, n), r, one);
    return _mm512_mask_add_epi32(r, _mm512_cmple_epi32_mask(_mm512_add_epi32(t, divisor), n), r, one);
}

}  // namespace vq

#endif
