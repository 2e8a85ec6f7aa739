// Square-kernel convolution on a torus and the kernel-size rule.
#include <vqutil/filters.h>

#include "core/cpu.h"
#include "core/guard.h"
#include "core/image_rows.h"
#include "core/pixel_math.h"

#include <cmath>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

constexpr int kMaxGaussianWidth = 4097;

// A result to its byte: 0 below 0 (and for NaN from a degenerate kernel),
// 255 above 255, else (int)(v + 0.5); divided by the weight sum first when
// that is neither 0 nor 1. Bytes go `step` apart.
void resultBytesScalar(const double* sums, uint8_t* out, int step, int x, int w, double weightSum, bool divide) {
    for (; x < w; ++x) {
        double v = divide ? sums[x] / weightSum : sums[x];
        v = v >= 0 ? v : 0.0;
        v = v < 255 ? v : 255.0;
        out[x * step] = static_cast<uint8_t>(static_cast<int>(v + 0.5));
    }
}

#if defined(__x86_64__)

// Four at a time: max with 0 first (it turns NaN into 0, as the comparison
// above does), min with 255, then + 0.5 and truncation.
__attribute__((target("avx2"))) void resultBytesAvx2(const double* sums, uint8_t* out, int step, int w,
                                                    double weightSum, bool divide) {
    const __m256d divisor = _mm256_set1_pd(weightSum);
    const __m256d zero = _mm256_setzero_pd(), top = _mm256_set1_pd(255.0), half = _mm256_set1_pd(0.5);
    int x = 0;
    for (; x + 4 <= w; x += 4) {
        __m256d v = _mm256_loadu_pd(sums + x);
        if (divide)
            v = _mm256_div_pd(v, divisor);
        v = _mm256_add_pd(_mm256_min_pd(_mm256_max_pd(v, zero), top), half);
        const __m128i words = _mm256_cvttpd_epi32(v);
        const __m128i bytes = _mm_packus_epi16(_mm_packus_epi32(words, words), words);
        const uint32_t four = static_cast<uint32_t>(_mm_cvtsi128_si32(bytes));
        for (int k = 0; k < 4; ++k)
            out[(x + k) * step] = static_cast<uint8_t>(four >> (8 * k));
    }
    resultBytesScalar(sums, out, step, x, w, weightSum, divide);
}

#endif

void resultBytes(const double* sums, uint8_t* out, int step, int w, double weightSum, bool divide) {
#if defined(__x86_64__)
    if (vq::cpuHasAvx2())
        return resultBytesAvx2(sums, out, step, w, weightSum, divide);
#endif
    resultBytesScalar(sums, out, step, 0, w, weightSum, divide);
}

// One output row of one channel: out[x] = sum over j, i of
// kernel[j][i] x rows[j][x + i], accumulated in that order in double.
void convolveChannelRowScalar(const double* const* rows, const double* kernel, int order, int x, int w,
                              double* out) {
    for (; x < w; ++x) {
        double acc = 0;
        for (int j = 0; j < order; ++j)
            for (int i = 0; i < order; ++i)
                acc += kernel[j * order + i] * rows[j][x + i];
        out[x] = acc;
    }
}

#if defined(__x86_64__)

// Sixteen outputs side by side in four registers (independent sums keep
// the adders busy); each output's products are added in the same order as
// in the scalar loop.
__attribute__((target("avx2"))) void convolveChannelRowAvx2(const double* const* rows, const double* kernel,
                                                           int order, int w, double* out) {
    constexpr int kRegisters = 4;
    int x = 0;
    for (; x + 4 * kRegisters <= w; x += 4 * kRegisters) {
        __m256d acc[kRegisters];
        for (int r = 0; r < kRegisters; ++r)
            acc[r] = _mm256_setzero_pd();
        for (int j = 0; j < order; ++j) {
            const double* row = rows[j] + x;
            const double* k = kernel + j * order;
            for (int i = 0; i < order; ++i) {
                const __m256d weight = _mm256_broadcast_sd(k + i);
                for (int r = 0; r < kRegisters; ++r)
                    acc[r] = _mm256_add_pd(acc[r], _mm256_mul_pd(weight, _mm256_loadu_pd(row + i + 4 * r)));
            }
        }
        for (int r = 0; r < kRegisters; ++r)
            _mm256_storeu_pd(out + x + 4 * r, acc[r]);
    }
    convolveChannelRowScalar(rows, kernel, order, x, w, out);
}

#endif

void convolveChannelRow(const double* const* rows, const double* kernel, int order, int w, double* out) {
#if defined(__x86_64__)
    if (vq::cpuHasAvx2())
        return convolveChannelRowAvx2(rows, kernel, order, w, out);
#endif
    convolveChannelRowScalar(rows, kernel, order, 0, w, out);
}

// One channel of a row of `bpp`-byte pixels as doubles.
template <int Bpp>
VQ_MULTIVERSION void widenChannel(const uint8_t* in, double* out, int w) {
    for (int x = 0; x < w; ++x)
        out[x] = in[x * Bpp];
}

void widenChannel(const uint8_t* in, int bpp, double* out, int w) {
    switch (bpp) {
    case 1: widenChannel<1>(in, out, w); break;
    case 2: widenChannel<2>(in, out, w); break;
    case 3: widenChannel<3>(in, out, w); break;
    default: widenChannel<4>(in, out, w); break;
    }
}

// Source rows as doubles, one plane per channel, each row padded with
// `half` columns from the other side so that the torus needs no index wrap.
class WrappedRows {
public:
    WrappedRows(const QImage& img, int channels, int half)
        : m_img(img), m_channels(channels), m_half(half), m_padded(img.width() + 2 * half),
          m_rows(static_cast<size_t>(img.height()) * channels) {}

    // Row y of channel c, converted on first use; x = 0 is column -half.
    const double* row(int y, int c) {
        std::vector<double>& slot = m_rows[static_cast<size_t>(y) * m_channels + c];
        if (slot.empty()) {
            slot.resize(m_padded);
            const int w = m_img.width();
            const int bpp = m_img.depth() / 8;
            const uint8_t* in = m_img.constScanLine(y) + c;
            double* out = slot.data() + m_half;
            widenChannel(in, bpp, out, w);
            for (int p = 1; p <= m_half; ++p) {  // the torus: the other side's columns
                out[-p] = out[w - p];
                out[w - 1 + p] = out[p - 1];
            }
        }
        return slot.data();
    }

    // Rows that no later output row needs any more.
    void release(int y) {
        for (int c = 0; c < m_channels; ++c)
            std::vector<double>().swap(m_rows[static_cast<size_t>(y) * m_channels + c]);
    }

private:
    const QImage& m_img;
    int m_channels;
    int m_half;
    int m_padded;
    std::vector<std::vector<double>> m_rows;
};

int convolve(QImageEx& img, unsigned int order, const double* kernel) {
    const int w = img.width();
    const int h = img.height();
    if (!kernel || order % 2 == 0 || img.depth() < 8 || order > static_cast<unsigned>(w) ||
        order > static_cast<unsigned>(h))
        return 0;
    const int n = static_cast<int>(order);
    const int half = n / 2;
    const int bpp = img.depth() / 8;
    const int channels = std::min(3, bpp);
    const bool packed = bpp >= 3;  // colour triples written from the row start

    QImageEx result;
    if (!QImageEx::create(result, w, h, img.format()))
        return 0;
    result.fill(0u);
    if (img.colorCount() > 0)
        result.setColorTable(img.colorTable());

    double weightSum = 0;
    for (int k = 0; k < n * n; ++k)
        weightSum += kernel[k];
    const bool divide = weightSum != 0 && weightSum != 1;

    WrappedRows rows(img, channels, half);
    std::vector<const double*> window(n);
    std::vector<double> sums(w);
    for (int y = 0; y < h; ++y) {
        img.set_progress(y);
        uint8_t* out = result.scanLine(y);
        for (int c = 0; c < channels; ++c) {
            for (int j = 0; j < n; ++j) {
                int sy = y + j - half;
                sy = sy < 0 ? sy + h : sy >= h ? sy - h : sy;
                window[j] = rows.row(sy, c);
            }
            convolveChannelRow(window.data(), kernel, n, w, sums.data());
            resultBytes(sums.data(), out + c, packed ? 3 : bpp, w, weightSum, divide);
        }
        // Row y - half is the last that wraps to nothing beyond this point,
        // except the rows that the bottom rows wrap back to (the top `half`).
        if (y - half >= half)
            rows.release(y - half);
    }
    img = result;
    return 1;
}

}  // namespace

int convolveImage(QImageEx& img, unsigned int order, const double* kernel) {
    return vq::guarded(0, [&] { return convolve(img, order, kernel); });
}

int getOptimalKernelWidth1D(double radius, double sigma) {
    if (radius > 0)
        return static_cast<int>(std::min(2 * std::ceil(radius) + 1, static_cast<double>(INT_MAX)));
    if (!(sigma > 0))
        return 3;  // a vanishing sigma: the smallest width the search gives
    const double twoSigmaSquared = 2 * sigma * sigma;
    for (int width = 5; width <= kMaxGaussianWidth + 2; width += 2) {
        const int half = width / 2;
        double norm = 0;
        for (int u = -half; u <= half; ++u)
            norm += std::exp(-(double(u) * u) / twoSigmaSquared);
        const double edge = std::exp(-(double(half) * half) / twoSigmaSquared) / norm * 255;
        if (vq::truncToInt(edge) < 1)
            return width - 2;
    }
    return kMaxGaussianWidth;
}

int getOptimalKernelWidth(double radius, double sigma) { return getOptimalKernelWidth1D(radius, sigma); }
