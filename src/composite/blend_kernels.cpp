#include "blend_kernels.h"

#include "core/cpu.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define VQ_HAVE_X86 1
#endif

namespace vq {

void blendByWeightsScalar(uint8_t* dst, const uint8_t* src, const uint8_t* weights, int count) {
    for (int i = 0; i < count; ++i) {
        const unsigned m = weights[i];
        dst[i] = static_cast<uint8_t>((dst[i] * m + src[i] * (255 - m)) / 255);
    }
}

#if VQ_HAVE_X86

namespace {

// Eight bytes widened to 16-bit lanes: d x m + s x (255 - m) is at most
// 65025 and fits a lane; x / 255 is exactly (x + 1 + (x >> 8)) >> 8 there.
__attribute__((target("sse4.1"))) inline __m128i blendEight(__m128i d, __m128i s, __m128i m) {
    const __m128i k255 = _mm_set1_epi16(255);
    const __m128i one = _mm_set1_epi16(1);
    const __m128i x = _mm_add_epi16(_mm_mullo_epi16(d, m), _mm_mullo_epi16(s, _mm_sub_epi16(k255, m)));
    return _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(x, one), _mm_srli_epi16(x, 8)), 8);
}

__attribute__((target("sse4.1"))) inline __m128i widenLow(__m128i v) { return _mm_cvtepu8_epi16(v); }
__attribute__((target("sse4.1"))) inline __m128i widenHigh(__m128i v) {
    return _mm_cvtepu8_epi16(_mm_srli_si128(v, 8));
}

}  // namespace

__attribute__((target("sse4.1"))) void blendByWeightsSse41(uint8_t* dst, const uint8_t* src,
                                                          const uint8_t* weights, int count) {
    int i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dst + i));
        const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
        const __m128i m = _mm_loadu_si128(reinterpret_cast<const __m128i*>(weights + i));
        const __m128i low = blendEight(widenLow(d), widenLow(s), widenLow(m));
        const __m128i high = blendEight(widenHigh(d), widenHigh(s), widenHigh(m));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(low, high));
    }
    for (; i + 8 <= count; i += 8) {
        const __m128i d = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(dst + i));
        const __m128i s = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + i));
        const __m128i m = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(weights + i));
        const __m128i eight = blendEight(widenLow(d), widenLow(s), widenLow(m));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(eight, eight));
    }
    blendByWeightsScalar(dst + i, src + i, weights + i, count - i);
}

#else

void blendByWeightsSse41(uint8_t* dst, const uint8_t* src, const uint8_t* weights, int count) {
    blendByWeightsScalar(dst, src, weights, count);
}

#endif

void blendByWeights(uint8_t* dst, const uint8_t* src, const uint8_t* weights, int count) {
    if (cpuHasSse41())
        blendByWeightsSse41(dst, src, weights, count);
    else
        blendByWeightsScalar(dst, src, weights, count);
}

}  // namespace vq
