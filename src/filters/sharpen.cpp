// The table-driven 3 x 3 sharpen (sharpenMore), the unsharp mask on a box
// blur (unsharp_mask_fast), and the two sharpenings built on a convolution
// (sharpenImage, edgeImage).
#include <vqutil/filters.h>

#include "box_sums.h"
#include "core/cpu.h"
#include "core/guard.h"
#include "core/image_rows.h"
#include "core/byte_quotient_simd.h"
#include "core/pixel_math.h"
#include "unsharp_kernels.h"

#include <array>
#include <cmath>
#include <cstring>
#include <vector>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vq {

// --- unsharp_mask_fast -------------------------------------------------------------------------

// The unsharp formula over a run of bytes: diff = orig - blur, dropped when
// |2 diff| < threshold, then (int)(diff x amount + orig) clamped to 0..255
// (NaN to 0).
void unsharpBytesScalar(uint8_t* out, const uint8_t* original, const uint8_t* blur, qsizetype count, double amount,
                        int threshold) {
    for (qsizetype i = 0; i < count; ++i)
        out[i] = unsharpByte(original[i], blur[i], amount, threshold);
}

void unsharpFromSumsScalar(uint8_t* out, const uint8_t* original, const uint32_t* sums, int32_t extra,
                           ByteQuotient quotient, qsizetype count, double amount, int threshold) {
    for (qsizetype i = 0; i < count; ++i)
        out[i] = unsharpByte(original[i], quotient(static_cast<int32_t>(sums[i]) + extra), amount, threshold);
}

#if defined(__x86_64__)

namespace {

// Eight results of the formula from eight originals and eight blurs (32-bit
// lanes), the same operations lane by lane as unsharpByte.
__attribute__((target("avx2"))) inline void unsharpEight(uint8_t* out, __m256i orig, __m256i soft, __m256i limit,
                                                        __m256d factor) {
    __m256i diff = _mm256_sub_epi32(orig, soft);
    const __m256i twice = _mm256_add_epi32(diff, diff);
    const __m256i small = _mm256_and_si256(_mm256_cmpgt_epi32(limit, twice),
                                           _mm256_cmpgt_epi32(limit, _mm256_sub_epi32(_mm256_setzero_si256(), twice)));
    diff = _mm256_andnot_si256(small, diff);
    const __m256d zero = _mm256_setzero_pd();
    const __m256d top = _mm256_set1_pd(255.0);
    __m128i halves[2];
    for (int h = 0; h < 2; ++h) {
        const __m128i d = h ? _mm256_extracti128_si256(diff, 1) : _mm256_castsi256_si128(diff);
        const __m128i o = h ? _mm256_extracti128_si256(orig, 1) : _mm256_castsi256_si128(orig);
        __m256d v = _mm256_add_pd(_mm256_mul_pd(_mm256_cvtepi32_pd(d), factor), _mm256_cvtepi32_pd(o));
        v = _mm256_min_pd(_mm256_max_pd(v, zero), top);  // max(NaN, 0) is 0
        halves[h] = _mm256_cvttpd_epi32(v);
    }
    const __m128i words = _mm_packus_epi32(halves[0], halves[1]);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(words, words));
}

__attribute__((target("avx2"))) inline __m256i eightBytes(const uint8_t* p) {
    return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}

}  // namespace

__attribute__((target("avx2"))) void unsharpBytesAvx2(uint8_t* out, const uint8_t* original, const uint8_t* blur,
                                                     qsizetype count, double amount, int threshold) {
    const __m256i limit = _mm256_set1_epi32(threshold);
    const __m256d factor = _mm256_set1_pd(amount);
    qsizetype i = 0;
    for (; i + 8 <= count; i += 8)
        unsharpEight(out + i, eightBytes(original + i), eightBytes(blur + i), limit, factor);
    unsharpBytesScalar(out + i, original + i, blur + i, count - i, amount, threshold);
}

__attribute__((target("avx2"))) void unsharpFromSumsAvx2(uint8_t* out, const uint8_t* original,
                                                        const uint32_t* sums, int32_t extra, ByteQuotient quotient,
                                                        qsizetype count, double amount, int threshold) {
    const __m256i limit = _mm256_set1_epi32(threshold);
    const __m256d factor = _mm256_set1_pd(amount);
    const __m256i added = _mm256_set1_epi32(extra);
    qsizetype i = 0;
    for (; i + 8 <= count; i += 8) {
        const __m256i n = _mm256_add_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(sums + i)), added);
        const __m256i q = vq::byteQuotients(n, quotient);
        unsharpEight(out + i, eightBytes(original + i), q, limit, factor);
    }
    unsharpFromSumsScalar(out + i, original + i, sums + i, extra, quotient, count - i, amount, threshold);
}

// GCC 12's AVX-512 intrinsic headers warn about their own undefined
// placeholders (a known false positive).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

// Sixteen bytes at a time with 512-bit registers: the same operations lane
// by lane (the clamp before the conversion makes the narrowing exact).
__attribute__((target("avx512f"))) void unsharpFromSumsAvx512(uint8_t* out, const uint8_t* original,
                                                            const uint32_t* sums, int32_t extra,
                                                            ByteQuotient quotient, qsizetype count, double amount,
                                                            int threshold) {
    const __m512i limit = _mm512_set1_epi32(threshold);
    const __m512d factor = _mm512_set1_pd(amount);
    const __m512i added = _mm512_set1_epi32(extra);
    const __m512d zero = _mm512_setzero_pd();
    const __m512d top = _mm512_set1_pd(255.0);
    qsizetype i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m512i n = _mm512_add_epi32(_mm512_loadu_si512(sums + i), added);
        const __m512i q = vq::byteQuotients(n, quotient);
        const __m512i orig = _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(original + i)));
        __m512i diff = _mm512_sub_epi32(orig, q);
        const __m512i twice = _mm512_add_epi32(diff, diff);
        const __mmask16 small = _mm512_cmpgt_epi32_mask(limit, twice) &
                                _mm512_cmpgt_epi32_mask(limit, _mm512_sub_epi32(_mm512_setzero_si512(), twice));
        diff = _mm512_mask_mov_epi32(diff, small, _mm512_setzero_si512());
        __m256i halves[2];
        for (int h = 0; h < 2; ++h) {
            const __m256i d = _mm512_extracti64x4_epi64(diff, h);
            const __m256i o = _mm512_extracti64x4_epi64(orig, h);
            __m512d v = _mm512_add_pd(_mm512_mul_pd(_mm512_cvtepi32_pd(d), factor), _mm512_cvtepi32_pd(o));
            v = _mm512_min_pd(_mm512_max_pd(v, zero), top);  // max(NaN, 0) is 0
            halves[h] = _mm512_cvttpd_epi32(v);
        }
        const __m512i words = _mm512_inserti64x4(_mm512_castsi256_si512(halves[0]), halves[1], 1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm512_cvtepi32_epi8(words));
    }
    unsharpFromSumsScalar(out + i, original + i, sums + i, extra, quotient, count - i, amount, threshold);
}

#pragma GCC diagnostic pop

#endif

void unsharpBytes(uint8_t* out, const uint8_t* original, const uint8_t* blur, qsizetype count, double amount,
                  int threshold) {
#if defined(__x86_64__)
    if (cpuHasAvx2())
        return unsharpBytesAvx2(out, original, blur, count, amount, threshold);
#endif
    unsharpBytesScalar(out, original, blur, count, amount, threshold);
}

void unsharpFromSums(uint8_t* out, const uint8_t* original, const uint32_t* sums, int32_t extra, ByteQuotient quotient,
                     qsizetype count, double amount, int threshold) {
#if defined(__x86_64__)
    if (cpuHasAvx512())
        return unsharpFromSumsAvx512(out, original, sums, extra, quotient, count, amount, threshold);
    if (cpuHasAvx2())
        return unsharpFromSumsAvx2(out, original, sums, extra, quotient, count, amount, threshold);
#endif
    unsharpFromSumsScalar(out, original, sums, extra, quotient, count, amount, threshold);
}

}  // namespace vq

namespace {

// --- sharpenMore -------------------------------------------------------------------------------

// T[i] = 800 i / k and U[i] = (T[i] - 8 i + 4) >> 3, computed lane by lane
// instead of looked up, so that the row loops vectorise: 800 i is exact in
// float, the float quotient is off by at most one, and an integer product
// corrects it (as ByteQuotient does). k above 800 x 255 makes every T zero.
struct SharpenDivision {
    int32_t k;
    float inverse;

    explicit SharpenDivision(int amount) {
        const int64_t wanted = std::max<int64_t>(1, 100 - int64_t{amount});
        k = static_cast<int32_t>(std::min<int64_t>(wanted, 800 * 255 + 1));
        inverse = 1.0f / static_cast<float>(k);
    }

    int32_t T(int32_t i) const {
        const int32_t n = 800 * i;
        int32_t q = static_cast<int32_t>(static_cast<float>(n) * inverse);
        const int32_t t = q * k;
        q -= t > n;
        q += t + k <= n;
        return q;
    }
};

// The T and U values of one row of bytes and, with the U rows above it,
// the column sums of the row above: V = U(above) + U(centre) + U(this row).
VQ_MULTIVERSION void sharpenTerms(const uint8_t* __restrict row, int32_t* __restrict T, int32_t* __restrict U,
                                  const int32_t* __restrict aboveCentre, const int32_t* __restrict centre,
                                  int32_t* __restrict columnOfCentre, qsizetype count, SharpenDivision d) {
    for (qsizetype i = 0; i < count; ++i) {
        const int32_t c = row[i];
        const int32_t t = d.T(c);
        const int32_t u = (t - 8 * c + 4) >> 3;
        T[i] = t;
        U[i] = u;
        columnOfCentre[i] = aboveCentre[i] + centre[i] + u;
    }
}

// One sharpened row from the column sums of U around it, its own U and T
// values; the first and last pixel keep their bytes.
VQ_MULTIVERSION void sharpenRow(uint8_t* out, const uint8_t* row, const int32_t* __restrict column,
                                const int32_t* __restrict at, const int32_t* __restrict T, int w, int bpp) {
    const qsizetype bytes = static_cast<qsizetype>(w) * bpp;
    for (qsizetype i = 0; i < bpp; ++i) {
        out[i] = row[i];
        out[bytes - bpp + i] = row[bytes - bpp + i];
    }
    for (qsizetype i = bpp; i < bytes - bpp; ++i) {
        const int32_t neighbours = column[i - bpp] + column[i] + column[i + bpp] - at[i];
        const int32_t v = (T[i] - neighbours + 4) >> 3;
        out[i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
    }
}

// Puts the sharpened colour bytes of a 4-byte row back, alpha kept.
VQ_MULTIVERSION void mergeColour(uint8_t* row, const uint8_t* sharpened, int w) {
    for (int x = 0; x < w; ++x) {
        uint32_t pixel, colour;
        std::memcpy(&pixel, row + 4 * x, 4);
        std::memcpy(&colour, sharpened + 4 * x, 4);
        pixel = (colour & 0x00FFFFFFu) | (pixel & 0xFF000000u);
        std::memcpy(row + 4 * x, &pixel, 4);
    }
}

void sharpenWithTables(QImageEx& img, int amount) {
    if (img.depth() != 24 && img.depth() != 32 && !AnyConvertTo24Bit(img))
        return;
    const int w = img.width();
    const int h = img.height();
    const int bpp = vq::bytesPerPixel(img);
    if (w < 3 || h < 3 || bpp < 3)
        return;
    const SharpenDivision division(amount);
    const qsizetype bytes = static_cast<qsizetype>(w) * bpp;

    // Rings of the T and U rows above, at and below the current row,
    // computed from the original bytes before a row is rewritten.
    std::vector<int32_t> uRing(static_cast<size_t>(bytes) * 3), tRing(static_cast<size_t>(bytes) * 3);
    std::vector<int32_t> column(static_cast<size_t>(bytes)), unused(static_cast<size_t>(bytes));
    const std::vector<int32_t> zeros(static_cast<size_t>(bytes), 0);
    std::vector<uint8_t> sharpened(static_cast<size_t>(bytes));
    const auto U = [&](int y) { return uRing.data() + (y % 3) * bytes; };
    const auto T = [&](int y) { return tRing.data() + (y % 3) * bytes; };
    uint8_t* bits = img.bits();
    const qsizetype stride = img.bytesPerLine();
    // Rows 0 and 1 first; their column sums are not used (row 0 is border).
    sharpenTerms(bits, T(0), U(0), zeros.data(), zeros.data(), unused.data(), bytes, division);
    sharpenTerms(bits + stride, T(1), U(1), zeros.data(), zeros.data(), unused.data(), bytes, division);
    for (int y = 1; y < h - 1; ++y) {
        img.set_progress(y);
        sharpenTerms(bits + (y + 1) * stride, T(y + 1), U(y + 1), U(y - 1), U(y), column.data(), bytes, division);
        uint8_t* row = bits + y * stride;
        if (bpp == 3) {
            sharpenRow(row, row, column.data(), U(y), T(y), w, bpp);
        } else {
            sharpenRow(sharpened.data(), row, column.data(), U(y), T(y), w, bpp);
            mergeColour(row, sharpened.data(), w);
        }
    }
}

// --- unsharp_mask_fast -------------------------------------------------------------------------

int unsharpMask(QImageEx& img, int radius, double amount, int threshold) {
    const int w = img.width();
    const int h = img.height();
    const int bpp = vq::bytesPerPixel(img);
    const int r = std::min({h / 4, w / 4, radius});
    if (r < 1 || bpp < 1 || bpp > 4)
        return 1;  // a box of one pixel is the pixel itself: nothing changes
    uint8_t* bits = img.bits();
    const qsizetype stride = img.bytesPerLine();
    const auto progress = [&](int y) { img.set_progress(y); };

    if (!vq::boxSumsFitThirtyTwoBits(r)) {
        vq::forEachBoxRow<uint64_t>(bits, stride, w, h, bpp, r, true, [&](int y, const uint8_t* original, const uint64_t* sums) {
            progress(y);
            const int64_t rows = vq::boxCount(y, r, h);
            uint8_t* row = bits + y * stride;
            for (int x = 0; x < w; ++x) {
                const uint64_t divisor = static_cast<uint64_t>(rows * vq::boxCount(x, r, w));
                for (int b = 0; b < bpp; ++b) {
                    const qsizetype i = static_cast<qsizetype>(x) * bpp + b;
                    const int blur = static_cast<int>(std::min<uint64_t>(sums[i] / divisor, 255));
                    row[i] = vq::unsharpByte(original[i], blur, amount, threshold);
                }
            }
            return true;
        });
        return 1;
    }
    vq::RowMeans means(w, h, bpp, r, false, 0);
    std::vector<uint8_t> blur(static_cast<size_t>(w) * bpp);
    const qsizetype total = static_cast<qsizetype>(blur.size());
    vq::forEachBoxRow<uint32_t>(bits, stride, w, h, bpp, r, true, [&](int y, const uint8_t* original, const uint32_t* sums) {
        progress(y);
        uint8_t* out = bits + y * stride;
        // Inner pixels share one divisor: their blur is computed on the way.
        const vq::RowMeans::Uniform inner = means.uniform(y);
        const qsizetype begin = inner.begin == inner.end ? total : inner.begin;
        const qsizetype end = inner.begin == inner.end ? total : inner.end;
        means.write(y, sums, blur.data(), 0, begin);
        vq::unsharpBytes(out, original, blur.data(), begin, amount, threshold);
        vq::unsharpFromSums(out + begin, original + begin, sums + begin, inner.extra, inner.quotient, end - begin,
                            amount, threshold);
        means.write(y, sums, blur.data(), end, total);
        vq::unsharpBytes(out + end, original + end, blur.data() + end, total - end, amount, threshold);
        return true;
    });
    return 1;
}

}  // namespace

void sharpenMore(QImageEx& img, int amount) {
    vq::guarded([&] { sharpenWithTables(img, amount); });
}

int unsharp_mask_fast(QImageEx& img, int radius, double amount, int threshold) {
    return vq::guarded(0, [&] { return unsharpMask(img, radius, amount, threshold); });
}

int sharpenImage(QImageEx& img, double radius, double sigma) {
    const int n = getOptimalKernelWidth1D(radius, sigma);
    if (n > img.width() || n > img.height())
        return 1;  // the convolution would refuse this kernel: nothing to build
    return vq::guarded(0, [&] {
        std::vector<double> kernel(static_cast<size_t>(n) * n);
        const int half = n / 2;
        double sum = 0;
        for (int j = -half; j <= half; ++j)
            for (int i = -half; i <= half; ++i) {
                const double weight = std::exp(-double(i * i + j * j) / (sigma * sigma));
                kernel[static_cast<size_t>(j + half) * n + (i + half)] = weight;
                sum += weight;
            }
        kernel[static_cast<size_t>(n) * n / 2] = -2 * sum;
        convolveImage(img, static_cast<unsigned>(n), kernel.data());
        return 1;
    });
}

bool edgeImage(QImageEx& img, double radius) {
    vq::guarded([&] {
        const int n = getOptimalKernelWidth1D(std::min(radius, 5.0), 0.5);
        std::vector<double> kernel(static_cast<size_t>(n) * n, -1.0);
        kernel[static_cast<size_t>(n) * n / 2] = double(n) * n - 1;
        QImageEx copy = img;
        QImageEx converted;
        convertToArgb(converted, copy);
        converted.copyCallback(img);
        convolveImage(converted, static_cast<unsigned>(n), kernel.data());
        copy = converted;  // the result stays in the local copy
    });
    return true;
}
