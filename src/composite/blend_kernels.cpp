#include "blend_kernels.h"

#include "core/cpu.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define VQ_HAVE_X86 1
#endif

namespace vq {

void blendPixelsScalar(uint8_t* dst, const uint8_t* src, const uint8_t* weights, int pixels, int bytesPerPixel) {
    for (int k = 0; k < pixels; ++k) {
        const unsigned m = weights[k];
        for (int b = 0; b < bytesPerPixel; ++b, ++dst, ++src)
            *dst = static_cast<uint8_t>((*dst * m + *src * (255 - m)) / 255);
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

// Sixteen bytes at p blended with the sixteen byte weights w.
__attribute__((target("sse4.1"))) inline void blendSixteen(uint8_t* dst, const uint8_t* src, __m128i w) {
    const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dst));
    const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
    const __m128i low = blendEight(_mm_cvtepu8_epi16(d), _mm_cvtepu8_epi16(s), _mm_cvtepu8_epi16(w));
    const __m128i high = blendEight(_mm_cvtepu8_epi16(_mm_srli_si128(d, 8)), _mm_cvtepu8_epi16(_mm_srli_si128(s, 8)),
                                    _mm_cvtepu8_epi16(_mm_srli_si128(w, 8)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), _mm_packus_epi16(low, high));
}

// Shuffle controls that spread sixteen pixel weights over the 16 x Bpp
// bytes of sixteen pixels: byte i of the run takes weight i / Bpp.
template <int Bpp>
struct WeightSpread {
    alignas(16) uint8_t control[Bpp][16] = {};
    constexpr WeightSpread() {
        for (int chunk = 0; chunk < Bpp; ++chunk)
            for (int b = 0; b < 16; ++b)
                control[chunk][b] = static_cast<uint8_t>((16 * chunk + b) / Bpp);
    }
};

// Sixteen pixels of Bpp bytes per iteration, 16 bytes at a time.
template <int Bpp>
__attribute__((target("sse4.1"))) int blendSixteenPixelRuns(uint8_t* dst, const uint8_t* src,
                                                           const uint8_t* weights, int pixels) {
    static constexpr WeightSpread<Bpp> spread;
    int k = 0;
    for (; k + 16 <= pixels; k += 16) {
        const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(weights + k));
        for (int chunk = 0; chunk < Bpp; ++chunk) {
            const __m128i perByte = _mm_shuffle_epi8(w, _mm_load_si128(reinterpret_cast<const __m128i*>(spread.control[chunk])));
            const int offset = (k * Bpp) + 16 * chunk;
            blendSixteen(dst + offset, src + offset, perByte);
        }
    }
    return k;
}

}  // namespace

__attribute__((target("sse4.1"))) void blendPixelsSse41(uint8_t* dst, const uint8_t* src, const uint8_t* weights,
                                                        int pixels, int bytesPerPixel) {
    int done = 0;
    switch (bytesPerPixel) {
    case 1: done = blendSixteenPixelRuns<1>(dst, src, weights, pixels); break;
    case 3: done = blendSixteenPixelRuns<3>(dst, src, weights, pixels); break;
    case 4: done = blendSixteenPixelRuns<4>(dst, src, weights, pixels); break;
    default: break;
    }
    const int offset = done * bytesPerPixel;
    blendPixelsScalar(dst + offset, src + offset, weights + done, pixels - done, bytesPerPixel);
}

#else

void blendPixelsSse41(uint8_t* dst, const uint8_t* src, const uint8_t* weights, int pixels, int bytesPerPixel) {
    blendPixelsScalar(dst, src, weights, pixels, bytesPerPixel);
}

#endif

void blendPixels(uint8_t* dst, const uint8_t* src, const uint8_t* weights, int pixels, int bytesPerPixel) {
    if (cpuHasSse41())
        blendPixelsSse41(dst, src, weights, pixels, bytesPerPixel);
    else
        blendPixelsScalar(dst, src, weights, pixels, bytesPerPixel);
}

}  // namespace vq
