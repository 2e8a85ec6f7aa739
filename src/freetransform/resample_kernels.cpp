// The resampler's row kernels (see resample_kernels.h). The 4-byte bilinear
// kernel comes twice: the scalar reference, and an AVX2 version that maps
// four output pixels at once and interpolates the four bytes of a pixel in
// one vector of doubles. Groups of four whose samples all lie inside the
// source take the vector path; the others, near the outline, go to the
// scalar pixel function, which computes the same coordinates again.
#include "freetransform/resample_kernels.h"

#include "core/cpu.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vq {
namespace {

constexpr uint32_t kOpaqueWhite = 0xFFFFFFFFu;

inline uint32_t wordAt(const SourceRows& s, int x, int y) {
    uint32_t w;
    std::memcpy(&w, s.bits + y * s.stride + qsizetype{x} * 4, 4);
    return w;
}

inline bool inside(const SourceRows& s, int x, int y) {
    return static_cast<unsigned>(x) < static_cast<unsigned>(s.width) &&
           static_cast<unsigned>(y) < static_cast<unsigned>(s.height);
}

template <Sampling S>
inline uint32_t fetch(const SourceRows& s, int x, int y) {
    if (inside(s, x, y))
        return wordAt(s, x, y);
    if constexpr (S == Sampling::Legacy) {
        return kOpaqueWhite;
    } else {
        const int cx = x < 0 ? 0 : (x >= s.width ? s.width - 1 : x);
        const int cy = y < 0 ? 0 : (y >= s.height ? s.height - 1 : y);
        return wordAt(s, cx, cy) & 0x00FFFFFFu;
    }
}

// The source position of output pixel (x, y) by the matrix rule, the row
// terms m1 y, m4 y, m7 y computed once per row.
struct RowMap {
    const double* m;
    double ry0, ry1, ry2;
    bool projective;

    RowMap(const ProjectiveMatrix& inverse, int y)
        : m(inverse.m), ry0(m[1] * y), ry1(m[4] * y), ry2(m[7] * y), projective(!inverse.isAffine()) {}

    void operator()(int x, double& sx, double& sy) const {
        const double fx = x;
        sx = m[0] * fx + ry0 + m[2];
        sy = m[3] * fx + ry1 + m[5];
        if (projective) {
            double w = m[6] * fx + ry2 + m[8];
            if (w == 0)
                w = 1;
            sx /= w;
            sy /= w;
        }
    }
};

template <Sampling S>
inline bool inRange(const SourceRows& s, double sx, double sy) {
    if constexpr (S == Sampling::Legacy)
        return sx >= -1 && sx <= s.width && sy >= -1 && sy <= s.height;
    else
        return sx > -1 && sx < s.width && sy > -1 && sy < s.height;
}

inline int interpolateByte(int b00, int b01, int b10, int b11, double fx, double gx, double fy, double gy,
                           double bias) {
    const double v = (b11 * fx + b10 * gx) * fy + (b00 * gx + b01 * fx) * gy + bias;
    const int t = static_cast<int>(v);
    return t > 255 ? 255 : t;
}

template <Sampling S>
uint32_t samplePixel(const SourceRows& s, double sx, double sy, uint32_t background) {
    if (!inRange<S>(s, sx, sy))
        return S == Sampling::Legacy ? background : 0u;
    const double floorX = std::floor(sx), floorY = std::floor(sy);
    const int x0 = static_cast<int>(floorX), y0 = static_cast<int>(floorY);
    const double fx = sx - floorX, fy = sy - floorY;
    const double gx = 1 - fx, gy = 1 - fy;
    const uint32_t p00 = fetch<S>(s, x0, y0), p01 = fetch<S>(s, x0 + 1, y0);
    const uint32_t p10 = fetch<S>(s, x0, y0 + 1), p11 = fetch<S>(s, x0 + 1, y0 + 1);
    const double bias = S == Sampling::Legacy ? 0.0 : 0.5;
    uint32_t result = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        const int v = interpolateByte((p00 >> shift) & 255, (p01 >> shift) & 255, (p10 >> shift) & 255,
                                      (p11 >> shift) & 255, fx, gx, fy, gy, bias);
        result |= static_cast<uint32_t>(v) << shift;
    }
    return result;
}

template <Sampling S>
void spanScalar(const SourceRows& s, const ProjectiveMatrix& inverse, uint32_t background, int y, int xBegin,
                int xEnd, uint32_t* out) {
    const RowMap map(inverse, y);
    for (int x = xBegin; x < xEnd; ++x) {
        double sx, sy;
        map(x, sx, sy);
        out[x - xBegin] = samplePixel<S>(s, sx, sy, background);
    }
}

#if defined(__x86_64__)

#define VQ_AVX2 __attribute__((target("avx2")))

VQ_AVX2 inline __m256d widenWord(const uint8_t* p) {
    int32_t word;
    std::memcpy(&word, p, 4);
    return _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(word)));
}

// Each row goes in chunks through two passes. The first maps four pixels at
// a time and keeps, per pixel, its weights and its first sample's offset,
// and per group of four whether all their samples lie inside the source.
// The second interpolates. Kept apart, the long chain of the mapping (two
// divisions, floor, compare) no longer holds back the loads of the
// interpolation, and the processor overlaps many pixels.
constexpr int kChunk = 64;

struct ChunkPlan {
    alignas(32) double fx[kChunk];
    alignas(32) double gx[kChunk];  // 1 - fx
    alignas(32) double fy[kChunk];
    alignas(32) double gy[kChunk];  // 1 - fy
    qsizetype offsets[kChunk];
    bool groupInside[kChunk / 4];
};

// A group is inside when every sx lies in [0, srcWidth - 1) and every sy in
// [0, srcHeight - 1): then x0 and x0 + 1, y0 and y0 + 1 are source pixels,
// and the range checks of both samplings pass.
// Plans pixels x .. x + count - 1 in groups of four; lanes of the last group
// past the end repeat the last pixel, so that a short span still takes the
// vector path (only the valid pixels are stored).
template <bool Projective>
VQ_AVX2 void planChunk(const SourceRows& s, const ProjectiveMatrix& inverse, const RowMap& map, int x, int count,
                       ChunkPlan& plan) {
    const double* m = inverse.m;
    const __m256d M0 = _mm256_set1_pd(m[0]), M2 = _mm256_set1_pd(m[2]);
    const __m256d M3 = _mm256_set1_pd(m[3]), M5 = _mm256_set1_pd(m[5]);
    const __m256d M6 = _mm256_set1_pd(m[6]), M8 = _mm256_set1_pd(m[8]);
    const __m256d RY0 = _mm256_set1_pd(map.ry0), RY1 = _mm256_set1_pd(map.ry1), RY2 = _mm256_set1_pd(map.ry2);
    const __m256d steps = _mm256_set_pd(3, 2, 1, 0), one = _mm256_set1_pd(1), zero = _mm256_setzero_pd();
    const __m256d lastX = _mm256_set1_pd(s.width - 1), lastY = _mm256_set1_pd(s.height - 1);
    const __m256d last = _mm256_set1_pd(x + count - 1);
    alignas(16) int32_t xs[4], ys[4];
    for (int k = 0; k < count; k += 4) {
        const __m256d X = _mm256_min_pd(_mm256_add_pd(_mm256_set1_pd(x + k), steps), last);
        __m256d sx = _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(M0, X), RY0), M2);
        __m256d sy = _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(M3, X), RY1), M5);
        if constexpr (Projective) {
            __m256d w = _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(M6, X), RY2), M8);
            w = _mm256_blendv_pd(w, one, _mm256_cmp_pd(w, zero, _CMP_EQ_OQ));
            sx = _mm256_div_pd(sx, w);
            sy = _mm256_div_pd(sy, w);
        }
        const __m256d inside = _mm256_and_pd(
            _mm256_and_pd(_mm256_cmp_pd(sx, zero, _CMP_GE_OQ), _mm256_cmp_pd(sx, lastX, _CMP_LT_OQ)),
            _mm256_and_pd(_mm256_cmp_pd(sy, zero, _CMP_GE_OQ), _mm256_cmp_pd(sy, lastY, _CMP_LT_OQ)));
        const bool all = _mm256_movemask_pd(inside) == 15;
        plan.groupInside[k / 4] = all;
        if (!all)
            continue;
        const __m256d floorX = _mm256_floor_pd(sx), floorY = _mm256_floor_pd(sy);
        const __m256d fx = _mm256_sub_pd(sx, floorX), fy = _mm256_sub_pd(sy, floorY);
        _mm256_store_pd(plan.fx + k, fx);
        _mm256_store_pd(plan.gx + k, _mm256_sub_pd(one, fx));
        _mm256_store_pd(plan.fy + k, fy);
        _mm256_store_pd(plan.gy + k, _mm256_sub_pd(one, fy));
        _mm_store_si128(reinterpret_cast<__m128i*>(xs), _mm256_cvttpd_epi32(floorX));
        _mm_store_si128(reinterpret_cast<__m128i*>(ys), _mm256_cvttpd_epi32(floorY));
        for (int j = 0; j < 4; ++j)
            plan.offsets[k + j] = ys[j] * s.stride + qsizetype{xs[j]} * 4;
    }
}

// The four bytes of pixel k of a planned chunk, its four samples inside the
// source. Weights are broadcast straight from memory.
template <Sampling S>
VQ_AVX2 inline __m128i interpolateInside(const uint8_t* bits, qsizetype stride, const ChunkPlan& plan, int k) {
    const uint8_t* p = bits + plan.offsets[k];
    const __m256d p00 = widenWord(p), p01 = widenWord(p + 4);
    const __m256d p10 = widenWord(p + stride), p11 = widenWord(p + stride + 4);
    const __m256d fx = _mm256_broadcast_sd(plan.fx + k), gx = _mm256_broadcast_sd(plan.gx + k);
    const __m256d fy = _mm256_broadcast_sd(plan.fy + k), gy = _mm256_broadcast_sd(plan.gy + k);
    const __m256d top = _mm256_add_pd(_mm256_mul_pd(p00, gx), _mm256_mul_pd(p01, fx));
    const __m256d bottom = _mm256_add_pd(_mm256_mul_pd(p11, fx), _mm256_mul_pd(p10, gx));
    __m256d v = _mm256_add_pd(_mm256_mul_pd(bottom, fy), _mm256_mul_pd(top, gy));
    if constexpr (S == Sampling::Clean)
        v = _mm256_add_pd(v, _mm256_set1_pd(0.5));
    return _mm256_cvttpd_epi32(v);
}

template <Sampling S, bool Projective>
VQ_AVX2 void spanAvx2(const SourceRows& s, const ProjectiveMatrix& inverse, uint32_t background, int y,
                      int xBegin, int xEnd, uint32_t* out) {
    const RowMap map(inverse, y);
    ChunkPlan plan;
    for (int x = xBegin; x < xEnd;) {
        const int count = std::min(kChunk, xEnd - x);
        planChunk<Projective>(s, inverse, map, x, count, plan);
        for (int k = 0; k < count; k += 4) {
            uint32_t* o = out + (x - xBegin + k);
            const int valid = std::min(4, count - k);
            if (!plan.groupInside[k / 4]) {
                for (int j = 0; j < valid; ++j) {
                    double px, py;
                    map(x + k + j, px, py);
                    o[j] = samplePixel<S>(s, px, py, background);
                }
                continue;
            }
            const __m128i v0 = interpolateInside<S>(s.bits, s.stride, plan, k);
            const __m128i v1 = interpolateInside<S>(s.bits, s.stride, plan, k + 1);
            const __m128i v2 = interpolateInside<S>(s.bits, s.stride, plan, k + 2);
            const __m128i v3 = interpolateInside<S>(s.bits, s.stride, plan, k + 3);
            const __m128i bytes = _mm_packus_epi16(_mm_packus_epi32(v0, v1), _mm_packus_epi32(v2, v3));
            if (valid == 4) {
                _mm_storeu_si128(reinterpret_cast<__m128i*>(o), bytes);
            } else {
                alignas(16) uint32_t group[4];
                _mm_store_si128(reinterpret_cast<__m128i*>(group), bytes);
                std::memcpy(o, group, size_t(valid) * 4);
            }
        }
        x += count;
    }
}

template <Sampling S>
void spanVector(const SourceRows& s, const ProjectiveMatrix& inverse, uint32_t background, int y, int xBegin,
                int xEnd, uint32_t* out) {
    if (inverse.isAffine())
        spanAvx2<S, false>(s, inverse, background, y, xBegin, xEnd, out);
    else
        spanAvx2<S, true>(s, inverse, background, y, xBegin, xEnd, out);
}

#endif

}  // namespace

void bilinearSpanScalar(Sampling sampling, const SourceRows& src, const ProjectiveMatrix& inverse,
                        uint32_t background, int y, int xBegin, int xEnd, uint32_t* out) {
    if (sampling == Sampling::Legacy)
        spanScalar<Sampling::Legacy>(src, inverse, background, y, xBegin, xEnd, out);
    else
        spanScalar<Sampling::Clean>(src, inverse, background, y, xBegin, xEnd, out);
}

void bilinearSpan(Sampling sampling, const SourceRows& src, const ProjectiveMatrix& inverse, uint32_t background,
                  int y, int xBegin, int xEnd, uint32_t* out) {
#if defined(__x86_64__)
    if (cpuHasAvx2()) {
        if (sampling == Sampling::Legacy)
            spanVector<Sampling::Legacy>(src, inverse, background, y, xBegin, xEnd, out);
        else
            spanVector<Sampling::Clean>(src, inverse, background, y, xBegin, xEnd, out);
        return;
    }
#endif
    bilinearSpanScalar(sampling, src, inverse, background, y, xBegin, xEnd, out);
}

void bilinearSpanBytes(const SourceRows& s, int bytesPerPixel, const ProjectiveMatrix& inverse,
                       const uint8_t* background, int y, int xBegin, int xEnd, uint8_t* out) {
    const RowMap map(inverse, y);
    const int edge = bytesPerPixel > 1 ? 255 : 0;
    for (int x = xBegin; x < xEnd; ++x, out += bytesPerPixel) {
        double sx, sy;
        map(x, sx, sy);
        if (!inRange<Sampling::Legacy>(s, sx, sy)) {
            std::memcpy(out, background, bytesPerPixel);
            continue;
        }
        const double floorX = std::floor(sx), floorY = std::floor(sy);
        const int x0 = static_cast<int>(floorX), y0 = static_cast<int>(floorY);
        const double fx = sx - floorX, fy = sy - floorY;
        const double gx = 1 - fx, gy = 1 - fy;
        const uint8_t* corner[4] = {};  // (x0, y0), (x0 + 1, y0), (x0, y0 + 1), (x0 + 1, y0 + 1)
        for (int k = 0; k < 4; ++k) {
            const int cx = x0 + (k & 1), cy = y0 + (k >> 1);
            if (inside(s, cx, cy))
                corner[k] = s.bits + cy * s.stride + qsizetype{cx} * bytesPerPixel;
        }
        for (int b = 0; b < bytesPerPixel; ++b) {
            int v[4];
            for (int k = 0; k < 4; ++k)
                v[k] = corner[k] ? corner[k][b] : edge;
            out[b] = static_cast<uint8_t>(interpolateByte(v[0], v[1], v[2], v[3], fx, gx, fy, gy, 0.0));
        }
    }
}

namespace {

// Source pixel of the nearest-neighbour rule, or false outside.
inline bool nearestSource(const SourceRows& s, double sx, double sy, int& x, int& y) {
    if (!(sx >= 0 && sx < s.width && sy >= 0 && sy < s.height))
        return false;
    x = static_cast<int>(sx);
    y = static_cast<int>(sy);
    return true;
}

}  // namespace

void nearestSpanBytes(const SourceRows& s, int bytesPerPixel, const ProjectiveMatrix& inverse,
                      const uint8_t* background, int y, int xBegin, int xEnd, uint8_t* out) {
    const RowMap map(inverse, y);
    for (int x = xBegin; x < xEnd; ++x, out += bytesPerPixel) {
        double sx, sy;
        map(x, sx, sy);
        int px, py;
        const uint8_t* from =
            nearestSource(s, sx, sy, px, py) ? s.bits + py * s.stride + qsizetype{px} * bytesPerPixel : background;
        std::memcpy(out, from, bytesPerPixel);
    }
}

void nearestSpanBits(const SourceRows& s, const ProjectiveMatrix& inverse, int y, int xBegin, int xEnd,
                     uint8_t* out) {
    const RowMap map(inverse, y);
    for (int x = xBegin; x < xEnd; ++x) {
        double sx, sy;
        map(x, sx, sy);
        int px, py;
        if (!nearestSource(s, sx, sy, px, py))
            continue;
        if ((s.bits[py * s.stride + (px >> 3)] >> (7 - (px & 7))) & 1) {
            const int k = x - xBegin;
            out[k >> 3] |= static_cast<uint8_t>(0x80 >> (k & 7));
        }
    }
}

}  // namespace vq
