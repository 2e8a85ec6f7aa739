#include "recursive_gaussian.h"

#include "core/cancel.h"
#include "core/cpu.h"
#include "core/scratch.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vq {

RecursiveGaussianCoefficients recursiveGaussianCoefficients(double sigma) {
    const double q = sigma >= 2.5 ? 0.98711 * sigma - 0.9633 : 3.97156 - 4.14554 * std::sqrt(1 - 0.26891 * sigma);
    const double q2 = q * q;
    const double q3 = q2 * q;
    const double b0 = 1.57825 + 2.44413 * q + 1.4281 * q2 + 0.422205 * q3;
    const double b1 = 2.44413 * q + 2.8562 * q2 + (3 * 0.422205) * q3;
    const double b2 = -1.4281 * q2 - 1.266615 * q3;
    const double b3 = 0.422205 * q3;

    RecursiveGaussianCoefficients g{};
    g.a1 = b1 / b0;
    g.a2 = b2 / b0;
    g.a3 = b3 / b0;
    g.B = 1 - (b1 + b2 + b3) / b0;

    // Triggs and Sdika, "Boundary conditions for Young-van Vliet recursive
    // filtering" (2006), for y[k] = x[k] + a1 y[k-1] + a2 y[k-2] + a3 y[k-3].
    const double a1 = g.a1, a2 = g.a2, a3 = g.a3;
    const double scale = 1.0 / ((1 + a1 - a2 + a3) * (1 - a1 - a2 - a3) * (1 + a2 + (a1 - a3) * a3));
    const double m[9] = {
        -a3 * a1 + 1 - a3 * a3 - a2,
        (a3 + a1) * (a2 + a3 * a1),
        a3 * (a1 + a3 * a2),
        a1 + a3 * a2,
        -(a2 - 1) * (a2 + a3 * a1),
        -a3 * (a3 * a1 + a3 * a3 + a2 - 1),
        a3 * a1 + a2 + a1 * a1 - a2 * a2,
        a1 * a2 + a3 * a2 * a2 - a1 * a3 * a3 - a3 * a3 * a3 - a3 * a2 + a3,
        a3 * (a1 + a3 * a2),
    };
    for (int i = 0; i < 9; ++i)
        g.boundary[i] = scale * m[i];
    return g;
}

namespace {

template <typename Out>
inline void storeResult(Out* out, float v) {
    if constexpr (std::is_same_v<Out, uint8_t>)
        *out = byteTruncatedF(v);
    else
        *out = v;
}

// The plain kernel, any number of lanes up to 4. The history is held in
// local arrays: reading a value back from memory right after storing it
// would put the store-to-load delay into every step of the recursion.
template <typename H, typename Out>
void filterFewLanes(const float* in, qsizetype inStep, Out* out, qsizetype outStep, int n, int lanes,
                    const RecursiveGaussianCoefficients& g, H* y) {
    constexpr int L = 4;
    const double B = g.B, a1 = g.a1, a2 = g.a2, a3 = g.a3;
    H h1[L], h2[L], h3[L];
    for (int l = 0; l < L; ++l)
        h1[l] = h2[l] = h3[l] = l < lanes ? in[l] : 0.0f;
    for (int k = 0; k < n; ++k) {
        const float* x = in + k * inStep;
        H* yk = y + k * L;
        for (int l = 0; l < L; ++l) {
            const double sample = l < lanes ? x[l] : 0.0f;
            const H v = static_cast<H>(B * sample + a1 * h1[l] + a2 * h2[l] + a3 * h3[l]);
            h3[l] = h2[l];
            h2[l] = h1[l];
            h1[l] = v;
            yk[l] = v;
        }
    }
    for (int l = 0; l < L; ++l)
        h2[l] = h3[l] = h1[l];  // z[n .. n+2] = y[n-1]
    for (int k = n - 1; k >= 0; --k) {
        const H* yk = y + k * L;
        for (int l = 0; l < L; ++l) {
            const H z = static_cast<H>(B * yk[l] + a1 * h1[l] + a2 * h2[l] + a3 * h3[l]);
            h3[l] = h2[l];
            h2[l] = h1[l];
            h1[l] = z;
            if (l < lanes)
                storeResult(out + k * outStep + l, static_cast<float>(z));
        }
    }
}

#if defined(__x86_64__)

// The same recursion with AVX2 for exactly 4 V lanes: V independent chains
// of four lanes keep the units busy while each chain waits on its previous
// value. Rounding a carried value to float and back is what storing it as
// float does.
template <typename H>
__attribute__((target("avx2"))) inline __m256d carried(__m256d v) {
    if constexpr (std::is_same_v<H, float>)
        return _mm256_cvtps_pd(_mm256_cvtpd_ps(v));
    else
        return v;
}

template <typename H>
__attribute__((target("avx2"))) inline void storeCarried(H* p, __m256d v) {
    if constexpr (std::is_same_v<H, float>)
        _mm_storeu_ps(p, _mm256_cvtpd_ps(v));
    else
        _mm256_storeu_pd(p, v);
}

template <typename H>
__attribute__((target("avx2"))) inline __m256d loadCarried(const H* p) {
    if constexpr (std::is_same_v<H, float>)
        return _mm256_cvtps_pd(_mm_loadu_ps(p));
    else
        return _mm256_loadu_pd(p);
}

// Four results: as floats, or as bytes clamped to 0..255 and truncated
// (max/min with 0 first turns NaN into 0, as byteTruncatedF does).
template <typename Out>
__attribute__((target("avx2"))) inline void storeFour(Out* out, __m256d z) {
    const __m128 v = _mm256_cvtpd_ps(z);
    if constexpr (std::is_same_v<Out, uint8_t>) {
        const __m128 clamped = _mm_min_ps(_mm_max_ps(v, _mm_setzero_ps()), _mm_set1_ps(255.0f));
        const __m128i words = _mm_cvttps_epi32(clamped);
        const __m128i bytes = _mm_packus_epi16(_mm_packus_epi32(words, words), words);
        const int32_t four = _mm_cvtsi128_si32(bytes);
        std::memcpy(out, &four, 4);
    } else {
        _mm_storeu_ps(out, v);
    }
}

template <int V, typename H, typename Out>
__attribute__((target("avx2"))) void filterVectorsAvx2(const float* in, qsizetype inStep, Out* out,
                                                      qsizetype outStep, int n,
                                                      const RecursiveGaussianCoefficients& g, H* y) {
    constexpr int Lanes = 4 * V;
    const __m256d B = _mm256_set1_pd(g.B), a1 = _mm256_set1_pd(g.a1), a2 = _mm256_set1_pd(g.a2),
                  a3 = _mm256_set1_pd(g.a3);
    __m256d h1[V], h2[V], h3[V];
    for (int v = 0; v < V; ++v)
        h1[v] = h2[v] = h3[v] = _mm256_cvtps_pd(_mm_loadu_ps(in + 4 * v));
    for (int k = 0; k < n; ++k) {
        const float* x = in + k * inStep;
        H* yk = y + k * Lanes;
        for (int v = 0; v < V; ++v) {
            const __m256d sample = _mm256_cvtps_pd(_mm_loadu_ps(x + 4 * v));
            __m256d t = _mm256_add_pd(_mm256_mul_pd(B, sample), _mm256_mul_pd(a1, h1[v]));
            t = _mm256_add_pd(t, _mm256_mul_pd(a2, h2[v]));
            t = carried<H>(_mm256_add_pd(t, _mm256_mul_pd(a3, h3[v])));
            h3[v] = h2[v];
            h2[v] = h1[v];
            h1[v] = t;
            storeCarried(yk + 4 * v, t);
        }
    }
    for (int v = 0; v < V; ++v)
        h2[v] = h3[v] = h1[v];
    for (int k = n - 1; k >= 0; --k) {
        Out* o = out + k * outStep;
        const H* yk = y + k * Lanes;
        for (int v = 0; v < V; ++v) {
            __m256d t = _mm256_add_pd(_mm256_mul_pd(B, loadCarried(yk + 4 * v)), _mm256_mul_pd(a1, h1[v]));
            t = _mm256_add_pd(t, _mm256_mul_pd(a2, h2[v]));
            t = carried<H>(_mm256_add_pd(t, _mm256_mul_pd(a3, h3[v])));
            h3[v] = h2[v];
            h2[v] = h1[v];
            h1[v] = t;
            storeFour(o + 4 * v, t);
        }
    }
}

__attribute__((target("avx2"))) inline __m256d widenPixel(const uint8_t* p) {
    int32_t word;
    std::memcpy(&word, p, 4);
    return _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(word)));
}

// Four rows of 4-byte pixels at once, read straight from the image: the
// four channels of pixel k of row v are lanes 4 v .. 4 v + 3. Results go to
// four float rows.
__attribute__((target("avx2"))) void filterFourRowsOfFourAvx2(const uint8_t* const* in, float* const* out, int n,
                                                            const RecursiveGaussianCoefficients& g, double* y) {
    constexpr int V = 4;
    const __m256d B = _mm256_set1_pd(g.B), a1 = _mm256_set1_pd(g.a1), a2 = _mm256_set1_pd(g.a2),
                  a3 = _mm256_set1_pd(g.a3);
    __m256d h1[V], h2[V], h3[V];
    for (int v = 0; v < V; ++v)
        h1[v] = h2[v] = h3[v] = widenPixel(in[v]);
    for (int k = 0; k < n; ++k) {
        double* yk = y + k * 4 * V;
        for (int v = 0; v < V; ++v) {
            __m256d t = _mm256_add_pd(_mm256_mul_pd(B, widenPixel(in[v] + 4 * k)), _mm256_mul_pd(a1, h1[v]));
            t = _mm256_add_pd(t, _mm256_mul_pd(a2, h2[v]));
            t = _mm256_add_pd(t, _mm256_mul_pd(a3, h3[v]));
            h3[v] = h2[v];
            h2[v] = h1[v];
            h1[v] = t;
            _mm256_storeu_pd(yk + 4 * v, t);
        }
    }
    for (int v = 0; v < V; ++v)
        h2[v] = h3[v] = h1[v];
    for (int k = n - 1; k >= 0; --k) {
        const double* yk = y + k * 4 * V;
        for (int v = 0; v < V; ++v) {
            __m256d t = _mm256_add_pd(_mm256_mul_pd(B, _mm256_loadu_pd(yk + 4 * v)), _mm256_mul_pd(a1, h1[v]));
            t = _mm256_add_pd(t, _mm256_mul_pd(a2, h2[v]));
            t = _mm256_add_pd(t, _mm256_mul_pd(a3, h3[v]));
            h3[v] = h2[v];
            h2[v] = h1[v];
            h1[v] = t;
            _mm_storeu_ps(out[v] + 4 * k, _mm256_cvtpd_ps(t));
        }
    }
}

#endif

template <typename H, typename Out>
void filterLanes(const float* in, qsizetype inStep, Out* out, qsizetype outStep, int n, int lanes,
                 const RecursiveGaussianCoefficients& g, std::vector<H>& work) {
    work.resize(static_cast<size_t>(n) * 16);
    int first = 0;
#if defined(__x86_64__)
    if (cpuHasAvx2()) {
        for (; first + 16 <= lanes; first += 16)
            filterVectorsAvx2<4>(in + first, inStep, out + first, outStep, n, g, work.data());
        for (; first + 4 <= lanes; first += 4)
            filterVectorsAvx2<1>(in + first, inStep, out + first, outStep, n, g, work.data());
    }
#endif
    for (; first < lanes; first += 4)
        filterFewLanes(in + first, inStep, out + first, outStep, n, std::min(4, lanes - first), g, work.data());
}

// Rows of `channels`-value pixels, `groupRows` of them at a time, as lanes:
// sample x of every row and channel side by side.
constexpr int kLaneTarget = 16;

int rowsPerGroup(int channels) { return std::max(1, kLaneTarget / channels); }

}  // namespace

template <typename Out>
void recursiveGaussianLanes(const float* in, qsizetype inStep, Out* out, qsizetype outStep, int n, int lanes,
                            const RecursiveGaussianCoefficients& g, Carried carried, RecursiveGaussianWork& work) {
    if (n <= 0 || lanes <= 0)
        return;
    if (carried == Carried::Double)
        filterLanes(in, inStep, out, outStep, n, lanes, g, work.doubles);
    else
        filterLanes(in, inStep, out, outStep, n, lanes, g, work.floats);
}

template void recursiveGaussianLanes<float>(const float*, qsizetype, float*, qsizetype, int, int,
                                            const RecursiveGaussianCoefficients&, Carried, RecursiveGaussianWork&);
template void recursiveGaussianLanes<uint8_t>(const float*, qsizetype, uint8_t*, qsizetype, int, int,
                                              const RecursiveGaussianCoefficients&, Carried, RecursiveGaussianWork&);

bool recursiveGaussianBytes(uint8_t* bits, qsizetype stride, int width, int height, int channels,
                            const RecursiveGaussianCoefficients& g, const bool* cancel,
                            const std::function<void(double)>& progress) {
    const qsizetype rowValues = static_cast<qsizetype>(width) * channels;
    // The rows' results are kept strip by strip (16 values of every row of a
    // strip, row after row), so that each column strip is read as one block.
    constexpr int kStrip = 16;
    const qsizetype strips = (rowValues + kStrip - 1) / kStrip;
    const qsizetype stripSize = static_cast<qsizetype>(height) * kStrip;
    ScratchBuffer<float> plane(static_cast<size_t>(strips * stripSize));
    RecursiveGaussianWork work;
    const int groupRows = rowsPerGroup(channels);
    std::vector<float> group(static_cast<size_t>(width) * groupRows * channels);
    std::vector<float> rows(static_cast<size_t>(rowValues) * groupRows);
    const double steps = double(height) + double(strips);
    double done = 0;
    const auto advance = [&](double amount) {
        if (progress)
            progress(done / steps);
        done += amount;
    };
    const auto toStrips = [&](const float* row, int y) {
        for (qsizetype s = 0; s < strips; ++s)
            std::copy(row + s * kStrip, row + std::min(rowValues, (s + 1) * kStrip), plane.get() + s * stripSize + y * kStrip);
    };
#if defined(__x86_64__)
    const bool fourRowsOfFour = channels == 4 && cpuHasAvx2();
#else
    const bool fourRowsOfFour = false;
#endif

    for (int top = 0; top < height; top += groupRows) {
        if (isCancelled(cancel))
            return false;
        const int count = std::min(groupRows, height - top);
        advance(count);
#if defined(__x86_64__)
        if (fourRowsOfFour && count == 4) {
            const uint8_t* in[4];
            float* out[4];
            for (int v = 0; v < 4; ++v) {
                in[v] = bits + (top + v) * stride;
                out[v] = rows.data() + v * rowValues;
            }
            work.doubles.resize(static_cast<size_t>(width) * 16);
            filterFourRowsOfFourAvx2(in, out, width, g, work.doubles.data());
            for (int v = 0; v < 4; ++v)
                toStrips(out[v], top + v);
            continue;
        }
#endif
        // Any other shape: the rows' bytes gathered side by side as lanes.
        const int lanes = count * channels;
        for (int r = 0; r < count; ++r) {
            const uint8_t* row = bits + (top + r) * stride;
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < channels; ++c)
                    group[static_cast<size_t>(x) * lanes + r * channels + c] = row[x * channels + c];
        }
        recursiveGaussianLanes(group.data(), lanes, group.data(), lanes, width, lanes, g, Carried::Double, work);
        for (int r = 0; r < count; ++r) {
            float* row = rows.data();
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < channels; ++c)
                    row[x * channels + c] = group[static_cast<size_t>(x) * lanes + r * channels + c];
            toStrips(row, top + r);
        }
    }
    // Columns: each strip's values are lanes; the results go straight back
    // into the image.
    for (qsizetype s = 0; s < strips; ++s) {
        if (isCancelled(cancel))
            return false;
        advance(1);
        const qsizetype first = s * kStrip;
        recursiveGaussianLanes(plane.get() + s * stripSize, kStrip, bits + first, stride, height,
                               static_cast<int>(std::min<qsizetype>(kStrip, rowValues - first)), g, Carried::Double,
                               work);
    }
    return true;
}

void recursiveGaussianPlane(const float* source, float* destination, int width, int height, int channels,
                            const RecursiveGaussianCoefficients& g, Carried carried) {
    const qsizetype rowValues = static_cast<qsizetype>(width) * channels;
    RecursiveGaussianWork work;
    const int groupRows = rowsPerGroup(channels);
    std::vector<float> group(static_cast<size_t>(width) * groupRows * channels);
    for (int top = 0; top < height; top += groupRows) {
        const int rows = std::min(groupRows, height - top);
        const int lanes = rows * channels;
        for (int r = 0; r < rows; ++r) {
            const float* row = source + (top + r) * rowValues;
            for (int x = 0; x < width; ++x)
                std::copy(row + x * channels, row + (x + 1) * channels,
                          group.begin() + static_cast<qsizetype>(x) * lanes + r * channels);
        }
        recursiveGaussianLanes(group.data(), lanes, group.data(), lanes, width, lanes, g, carried, work);
        for (int r = 0; r < rows; ++r) {
            float* row = destination + (top + r) * rowValues;
            for (int x = 0; x < width; ++x)
                std::copy(group.begin() + static_cast<qsizetype>(x) * lanes + r * channels,
                          group.begin() + static_cast<qsizetype>(x) * lanes + (r + 1) * channels, row + x * channels);
        }
    }
    for (qsizetype first = 0; first < rowValues; first += 256)
        recursiveGaussianLanes(destination + first, rowValues, destination + first, rowValues, height,
                               static_cast<int>(std::min<qsizetype>(256, rowValues - first)), g, carried, work);
}

}  // namespace vq
