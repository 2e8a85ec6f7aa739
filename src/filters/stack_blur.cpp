#include "stack_blur.h"

#include "core/byte_quotient_simd.h"
#include "core/pixel_math.h"

#include "core/cpu.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#if defined(__x86_64__)
#include <immintrin.h>
#define VQ_STACK_SSE41 1
#endif

namespace vq {

namespace {

// Sum types and quotients: 32-bit sums and the byte quotient while
// 255 (r + 1)^2 stays below 2^31; wider sums and a true division beyond.
using Wide = unsigned __int128;

template <typename Sum>
struct PlainQuotient {
    Sum d;
    Sum operator()(Sum n) const { return n / d; }
};

// Triangle sum of the first window, its left half (offsets -r..0) and right
// half (1..r), of a signal of `n` samples read by `at`, border repeated.
template <typename Sum, typename At>
void firstWindow(At at, int n, int64_t r, Sum& S, Sum& L, Sum& R) {
    const Sum p0 = at(0);
    const Sum pm = at(n - 1);
    const int64_t inside = std::min<int64_t>(r, n - 1);  // offsets 1..inside are real samples
    const Sum rr = static_cast<Sum>(r);
    L = (rr + 1) * p0;
    S = (rr + 1) * (rr + 2) / 2 * p0;
    R = 0;
    for (int64_t i = 1; i <= inside; ++i) {
        const Sum p = at(static_cast<int>(i));
        R += p;
        S += (rr + 1 - static_cast<Sum>(i)) * p;
    }
    const Sum beyond = static_cast<Sum>(r - inside);  // offsets repeating the last sample
    R += beyond * pm;
    S += beyond * (beyond + 1) / 2 * pm;
}

template <int C, typename Sum, typename Quotient>
VQ_MULTIVERSION void blurRow(const uint8_t* in, uint8_t* out, int w, int64_t r, Quotient quotient) {
    Sum S[C], L[C], R[C];
    for (int c = 0; c < C; ++c)
        firstWindow<Sum>([&](int x) { return Sum{in[x * C + c]}; }, w, r, S[c], L[c], R[c]);
    const int64_t last = w - 1;
    for (int x = 0; x < w; ++x) {
        for (int c = 0; c < C; ++c)
            out[x * C + c] = static_cast<uint8_t>(quotient(S[c]));
        const uint8_t* pin = in + std::min<int64_t>(x + r + 1, last) * C;
        const uint8_t* pout = in + std::max<int64_t>(x - r, 0) * C;
        const uint8_t* pnext = in + std::min<int64_t>(x + 1, last) * C;
        for (int c = 0; c < C; ++c) {
            S[c] += R[c] + pin[c] - L[c];
            L[c] += pnext[c] - pout[c];
            R[c] += pin[c] - pnext[c];
        }
    }
}

template <typename Sum, typename Quotient>
void blurRow(const uint8_t* in, uint8_t* out, int w, int channels, int64_t r, Quotient quotient) {
    switch (channels) {
    case 1: blurRow<1, Sum>(in, out, w, r, quotient); break;
    case 3: blurRow<3, Sum>(in, out, w, r, quotient); break;
    default: blurRow<4, Sum>(in, out, w, r, quotient); break;
    }
}

// Lanes of a column strip slide down the rows together; small enough to stay
// in registers and the first-level cache.
constexpr int kMaxLanes = 64;

template <typename Sum, typename Quotient>
VQ_MULTIVERSION void blurColumns(const uint8_t* in, qsizetype inStride, uint8_t* out, qsizetype outStride, int h, int lanes,
                 int64_t r, Quotient quotient) {
    Sum S[kMaxLanes], L[kMaxLanes], R[kMaxLanes];
    for (int l = 0; l < lanes; ++l)
        firstWindow<Sum>([&](int y) { return Sum{in[y * inStride + l]}; }, h, r, S[l], L[l], R[l]);
    const int64_t last = h - 1;
    for (int y = 0; y < h; ++y) {
        uint8_t* o = out + y * outStride;
        for (int l = 0; l < lanes; ++l)
            o[l] = static_cast<uint8_t>(quotient(S[l]));
        const uint8_t* pin = in + std::min<int64_t>(y + r + 1, last) * inStride;
        const uint8_t* pout = in + std::max<int64_t>(y - r, 0) * inStride;
        const uint8_t* pnext = in + std::min<int64_t>(y + 1, last) * inStride;
        for (int l = 0; l < lanes; ++l) {
            S[l] += R[l] + pin[l] - L[l];
            L[l] += pnext[l] - pout[l];
            R[l] += pin[l] - pnext[l];
        }
    }
}

#if VQ_STACK_SSE41

// The row pass for 4-byte pixels with the four channels of a pixel in one
// register of 32-bit lanes; the byte quotient is the same estimate and
// correction as ByteQuotient, lane by lane.
__attribute__((target("sse4.1"))) inline __m128i widenPixel(const uint8_t* p) {
    int32_t word;
    std::memcpy(&word, p, 4);
    return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(word));
}

__attribute__((target("sse4.1"))) void blurRowFourSse41(const uint8_t* in, uint8_t* out, int w, int64_t r,
                                                      ByteQuotient quotient) {
    uint32_t s[4], l[4], rr[4];
    for (int c = 0; c < 4; ++c)
        firstWindow<uint32_t>([&](int x) { return uint32_t{in[x * 4 + c]}; }, w, r, s[c], l[c], rr[c]);
    __m128i S = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    __m128i L = _mm_loadu_si128(reinterpret_cast<const __m128i*>(l));
    __m128i R = _mm_loadu_si128(reinterpret_cast<const __m128i*>(rr));
    const int64_t last = w - 1;
    for (int x = 0; x < w; ++x) {
        const __m128i q = byteQuotients(S, quotient);
        const __m128i bytes = _mm_packus_epi16(_mm_packus_epi32(q, q), q);
        const int32_t word = _mm_cvtsi128_si32(bytes);
        std::memcpy(out + 4 * x, &word, 4);

        const __m128i pin = widenPixel(in + std::min<int64_t>(x + r + 1, last) * 4);
        const __m128i pout = widenPixel(in + std::max<int64_t>(x - r, 0) * 4);
        const __m128i pnext = widenPixel(in + std::min<int64_t>(x + 1, last) * 4);
        S = _mm_sub_epi32(_mm_add_epi32(_mm_add_epi32(S, R), pin), L);
        L = _mm_sub_epi32(_mm_add_epi32(L, pnext), pout);
        R = _mm_sub_epi32(_mm_add_epi32(R, pin), pnext);
    }
}

// Two rows at once with AVX2: the low half of each register holds the
// pixel of the first row, the high half that of the second.
__attribute__((target("avx2"))) inline __m256i widenPixelPair(const uint8_t* p0, const uint8_t* p1) {
    int32_t w0, w1;
    std::memcpy(&w0, p0, 4);
    std::memcpy(&w1, p1, 4);
    return _mm256_cvtepu8_epi32(_mm_unpacklo_epi32(_mm_cvtsi32_si128(w0), _mm_cvtsi32_si128(w1)));
}

__attribute__((target("avx2"))) void blurRowPairFourAvx2(const uint8_t* in0, const uint8_t* in1, uint8_t* out0,
                                                        uint8_t* out1, int w, int64_t r, ByteQuotient quotient) {
    uint32_t s[8], l[8], rr[8];
    for (int c = 0; c < 4; ++c) {
        firstWindow<uint32_t>([&](int x) { return uint32_t{in0[x * 4 + c]}; }, w, r, s[c], l[c], rr[c]);
        firstWindow<uint32_t>([&](int x) { return uint32_t{in1[x * 4 + c]}; }, w, r, s[4 + c], l[4 + c], rr[4 + c]);
    }
    __m256i S = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s));
    __m256i L = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(l));
    __m256i R = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(rr));
    const int64_t last = w - 1;
    for (int x = 0; x < w; ++x) {
        const __m256i q = byteQuotients(S, quotient);
        const __m256i words = _mm256_packus_epi16(_mm256_packus_epi32(q, q), q);
        const int32_t first = _mm_cvtsi128_si32(_mm256_castsi256_si128(words));
        const int32_t second = _mm_cvtsi128_si32(_mm256_extracti128_si256(words, 1));
        std::memcpy(out0 + 4 * x, &first, 4);
        std::memcpy(out1 + 4 * x, &second, 4);

        const int64_t in = std::min<int64_t>(x + r + 1, last) * 4;
        const int64_t out = std::max<int64_t>(x - r, 0) * 4;
        const int64_t next = std::min<int64_t>(x + 1, last) * 4;
        const __m256i pin = widenPixelPair(in0 + in, in1 + in);
        const __m256i pout = widenPixelPair(in0 + out, in1 + out);
        const __m256i pnext = widenPixelPair(in0 + next, in1 + next);
        S = _mm256_sub_epi32(_mm256_add_epi32(_mm256_add_epi32(S, R), pin), L);
        L = _mm256_sub_epi32(_mm256_add_epi32(L, pnext), pout);
        R = _mm256_sub_epi32(_mm256_add_epi32(R, pin), pnext);
    }
}

#endif

// 32-bit sums whose quotients are bytes: the kernels built for several
// instruction sets (the lanes vectorise).
struct FastQuotient {
    ByteQuotient byte;
    uint8_t operator()(uint32_t n) const { return static_cast<uint8_t>(byte(static_cast<int32_t>(n))); }
};

void fastRow(const uint8_t* in, uint8_t* out, int w, int channels, int r) {
    const ByteQuotient quotient((r + 1) * (r + 1));
#if VQ_STACK_SSE41
    if (channels == 4 && cpuHasSse41())
        return blurRowFourSse41(in, out, w, r, quotient);
#endif
    blurRow<uint32_t>(in, out, w, channels, r, FastQuotient{quotient});
}

void fastColumns(const uint8_t* in, qsizetype inStride, uint8_t* out, qsizetype outStride, int h,
                                 int lanes, int r) {
    blurColumns<uint32_t>(in, inStride, out, outStride, h, lanes, r,
                          FastQuotient{ByteQuotient((r + 1) * (r + 1))});
}

bool fitsFastPath(int64_t r) { return (r + 1) * (r + 1) <= ByteQuotient::kMaxDivisor; }
bool fitsSixtyFourBits(int64_t r) { return r < (int64_t{1} << 27); }

}  // namespace

void stackBlurRow(const uint8_t* in, uint8_t* out, int width, int channels, int radius) {
    const int64_t r = radius;
    if (fitsFastPath(r))
        fastRow(in, out, width, channels, radius);
    else if (fitsSixtyFourBits(r))
        blurRow<uint64_t>(in, out, width, channels, r, PlainQuotient<uint64_t>{uint64_t((r + 1) * (r + 1))});
    else
        blurRow<Wide>(in, out, width, channels, r, PlainQuotient<Wide>{Wide(r + 1) * Wide(r + 1)});
}

void stackBlurRowPair(const uint8_t* in0, const uint8_t* in1, uint8_t* out0, uint8_t* out1, int width, int channels,
                      int radius) {
#if VQ_STACK_SSE41
    if (channels == 4 && fitsFastPath(radius) && cpuHasAvx2())
        return blurRowPairFourAvx2(in0, in1, out0, out1, width, radius, ByteQuotient((radius + 1) * (radius + 1)));
#endif
    stackBlurRow(in0, out0, width, channels, radius);
    stackBlurRow(in1, out1, width, channels, radius);
}

void stackBlurColumns(const uint8_t* in, qsizetype inStride, uint8_t* out, qsizetype outStride, int height,
                      int lanes, int radius) {
    const int64_t r = radius;
    for (int first = 0; first < lanes; first += kMaxLanes) {
        const int n = std::min(kMaxLanes, lanes - first);
        if (fitsFastPath(r))
            fastColumns(in + first, inStride, out + first, outStride, height, n, radius);
        else if (fitsSixtyFourBits(r))
            blurColumns<uint64_t>(in + first, inStride, out + first, outStride, height, n, r,
                                  PlainQuotient<uint64_t>{uint64_t((r + 1) * (r + 1))});
        else
            blurColumns<Wide>(in + first, inStride, out + first, outStride, height, n, r,
                              PlainQuotient<Wide>{Wide(r + 1) * Wide(r + 1)});
    }
}

void stackBlurRowReference(const uint8_t* in, uint8_t* out, int width, int channels, int radius) {
    const int64_t r = radius;
    const Wide divisor = Wide(r + 1) * Wide(r + 1);
    for (int x = 0; x < width; ++x)
        for (int c = 0; c < channels; ++c) {
            // Offsets beyond the image all read the border pixel: add them in closed form.
            Wide sum = 0;
            for (int64_t i = -std::min<int64_t>(r, x); i <= std::min<int64_t>(r, width - 1 - x); ++i)
                sum += Wide(r + 1 - (i < 0 ? -i : i)) * in[(x + i) * channels + c];
            const Wide leftOut = static_cast<Wide>(std::max<int64_t>(0, r - x));
            const Wide rightOut = static_cast<Wide>(std::max<int64_t>(0, r - (width - 1 - x)));
            sum += leftOut * (leftOut + 1) / 2 * in[c];
            sum += rightOut * (rightOut + 1) / 2 * in[(width - 1) * channels + c];
            out[x * channels + c] = static_cast<uint8_t>(sum / divisor);
        }
}

}  // namespace vq
