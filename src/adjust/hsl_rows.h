// Row passes that take every pixel through the library's HSL model (hsl.h):
// the colour becomes (h, s, l), an edit changes those, and hslToRgb gives
// the bytes back. Shared by the hue, saturation and colour balance
// operations.
//
// The model is double precision, so it also has a 512-bit form that
// converts eight pixels at once with the scalar model's IEEE operations, in
// the same order and without contraction, lane by lane: branches become
// selects, comparisons of the doubles i / 255 become comparisons of the
// bytes (the map is strictly increasing), and the divisions by the
// constants 255 and 6 become a product with the reciprocal corrected by its
// exact remainder, which gives the correctly rounded quotient, the
// division's. The kernel tests hold the lanes' h, s and l to the scalar
// model's bit for bit on all 2^24 colours, and their bytes too. One
// conversion is a long chain of dependent operations, so the row kernels
// run each stage over a block of vectors in turn, letting the chains
// overlap (up to twice as fast as vector by vector).
//
// hslToRgb(rgbToHsl(c)) == c for every one of the 2^24 colours (also
// checked exhaustively): a pixel whose h, s and l an edit leaves as they
// were keeps its bytes without converting back.
#pragma once

#include "adjust_support.h"
#include "core/cpu.h"
#include "core/image_rows.h"
#include "hsl.h"

#include <QVector>

#include <cstdint>
#include <cstring>
#include <type_traits>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vq {

// --- pixel words -----------------------------------------------------------------------------------

// A pixel as the word B | G << 8 | R << 16 | A << 24 (the byte order of
// 32-bit rows read little-endian).
inline uint32_t loadWord(const uint8_t* p) {
    uint32_t w;
    std::memcpy(&w, p, 4);
    return w;
}
inline void storeWord(uint8_t* p, uint32_t w) { std::memcpy(p, &w, 4); }
inline Hsl wordToHsl(uint32_t w) { return rgbToHsl((w >> 16) & 0xFF, (w >> 8) & 0xFF, w & 0xFF); }
inline uint32_t withColour(uint32_t w, Rgb8 c) {
    return (w & 0xFF000000u) | uint32_t{c.r} << 16 | uint32_t{c.g} << 8 | c.b;
}

// --- edits ---------------------------------------------------------------------------------------

// An HSL edit is a small value type (the row kernels work on a copy) with
//   bool pixel(Hsl& c) const;        the rule in the scalar model; false when
//                                    it left c exactly as it was
//   bool lanes(HslLanes& c) const;   the same rule on eight pixels (512-bit
//                                    form); false when no lane changed
// and optionally lanesBlock (below). All must perform the same double
// operations in the same order.

template <typename Edit>
void hslEditRowScalar(uint8_t* words, int count, const Edit& edit) {
    for (int x = 0; x < count; ++x, words += 4) {
        const uint32_t w = loadWord(words);
        Hsl c = wordToHsl(w);
        if (edit.pixel(c))
            storeWord(words, withColour(w, hslToRgb(c)));
    }
}

#if defined(__x86_64__)

// GCC 12's AVX-512 intrinsic headers warn about their own undefined
// placeholders (a known false positive).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"

#define VQ_LANES __attribute__((target("avx512f"), always_inline)) inline

struct HslLanes {
    __m512d h, s, l;
};

VQ_LANES __m512d broadcast(double v) { return _mm512_set1_pd(v); }

// Lanes where the 32-bit integers are equal, as an eight-bit mask.
VQ_LANES __mmask8 equalLanes(__m256i a, __m256i b) {
    return static_cast<__mmask8>(_mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(a, b))));
}

// n / d for the model's constant divisors, without a division: the product
// with the rounded reciprocal, corrected once by its remainder n - q d (which
// a fused multiply-add gives exactly). That is the correctly rounded
// quotient, the division's, for every value that reaches it here: the
// kernel tests compare h, s and l with the scalar model on all 2^24 colours.
VQ_LANES __m512d divideByConstant(__m512d n, double d) {
    const __m512d inverse = broadcast(1.0 / d);
    const __m512d q = _mm512_mul_pd(n, inverse);
    return _mm512_fmadd_pd(_mm512_fnmadd_pd(q, broadcast(d), n), inverse, q);
}

VQ_LANES __m512d unitLanes(__m256i bytes) { return divideByConstant(_mm512_cvtepi32_pd(bytes), 255.0); }

// The colour bytes of eight pixel words, as 32-bit lanes.
struct RgbLanes {
    __m256i r, g, b;
};

VQ_LANES RgbLanes splitWords(__m256i w) {
    const __m256i byte = _mm256_set1_epi32(0xFF);
    return {_mm256_and_si256(_mm256_srli_epi32(w, 16), byte), _mm256_and_si256(_mm256_srli_epi32(w, 8), byte),
            _mm256_and_si256(w, byte)};
}

// The words with their colour bytes replaced, alpha kept.
VQ_LANES __m256i joinWords(__m256i w, RgbLanes c) {
    const __m256i alpha = _mm256_and_si256(w, _mm256_set1_epi32(static_cast<int>(0xFF000000u)));
    return _mm256_or_si256(alpha, _mm256_or_si256(_mm256_slli_epi32(c.r, 16),
                                                  _mm256_or_si256(_mm256_slli_epi32(c.g, 8), c.b)));
}

// HSL lightness alone: (max + min) / 2 of the unit values.
VQ_LANES __m512d lightnessLanes(RgbLanes c) {
    const __m256i hi = _mm256_max_epi32(c.r, _mm256_max_epi32(c.g, c.b));
    const __m256i lo = _mm256_min_epi32(c.r, _mm256_min_epi32(c.g, c.b));
    return _mm512_mul_pd(_mm512_add_pd(unitLanes(hi), unitLanes(lo)), broadcast(0.5));
}

// rgbToHsl on eight pixels.
VQ_LANES HslLanes toHslLanes(RgbLanes c) {
    const __m256i hi = _mm256_max_epi32(c.r, _mm256_max_epi32(c.g, c.b));
    const __m256i lo = _mm256_min_epi32(c.r, _mm256_min_epi32(c.g, c.b));
    const __mmask8 redMax = equalLanes(c.r, hi), greenMax = equalLanes(c.g, hi);
    const __mmask8 redMin = equalLanes(c.r, lo), greenMin = equalLanes(c.g, lo), blueMin = equalLanes(c.b, lo);
    const __mmask8 grey = equalLanes(hi, lo);  // also black, where l <= 0
    const __m256i greenMinMask = _mm256_cmpeq_epi32(c.g, lo), blueMinMask = _mm256_cmpeq_epi32(c.b, lo),
                  redMinMask = _mm256_cmpeq_epi32(c.r, lo);
    // The channel subtracted from max, per case of the model: red max: green
    // min ? blue : green; green max: blue min ? red : blue; blue max: red
    // min ? green : red. And whether the quotient is added to the base.
    const __m256i fromRed = _mm256_blendv_epi8(c.g, c.b, greenMinMask);
    const __m256i fromGreen = _mm256_blendv_epi8(c.b, c.r, blueMinMask);
    const __m256i fromBlue = _mm256_blendv_epi8(c.r, c.g, redMinMask);
    const __m256i other = _mm256_blendv_epi8(_mm256_blendv_epi8(fromBlue, fromGreen, _mm256_cmpeq_epi32(c.g, hi)),
                                             fromRed, _mm256_cmpeq_epi32(c.r, hi));
    const __mmask8 added = (redMax & greenMin) | (~redMax & greenMax & blueMin) | (~redMax & ~greenMax & redMin);
    __m512d base = _mm512_mask_blend_pd(redMin, broadcast(5.0), broadcast(3.0));
    base = _mm512_mask_blend_pd(greenMax, base, _mm512_mask_blend_pd(blueMin, broadcast(3.0), broadcast(1.0)));
    base = _mm512_mask_blend_pd(redMax, base, _mm512_mask_blend_pd(greenMin, broadcast(1.0), broadcast(5.0)));

    const __m512d max = unitLanes(hi), min = unitLanes(lo), x = unitLanes(other);
    HslLanes out;
    const __m512d sum = _mm512_add_pd(max, min);
    out.l = _mm512_mul_pd(sum, broadcast(0.5));
    const __m512d delta = _mm512_sub_pd(max, min);
    const __mmask8 dark = _mm512_cmp_pd_mask(out.l, broadcast(0.5), _CMP_LE_OQ);
    __m512d divisor = _mm512_mask_blend_pd(dark, _mm512_sub_pd(_mm512_sub_pd(broadcast(2.0), max), min), sum);
    divisor = _mm512_mask_blend_pd(grey, divisor, broadcast(1.0));
    const __m512d step = _mm512_mask_blend_pd(grey, delta, broadcast(1.0));
    const __m512d q = _mm512_div_pd(_mm512_sub_pd(max, x), step);
    const __m512d sixths = _mm512_mask_blend_pd(added, _mm512_sub_pd(base, q), _mm512_add_pd(base, q));
    out.h = _mm512_mask_blend_pd(grey, divideByConstant(sixths, 6.0), broadcast(1.0));
    out.s = _mm512_mask_blend_pd(grey, _mm512_div_pd(delta, divisor), _mm512_setzero_pd());
    return out;
}

// byteFromUnitRounded: floor(v x 255 + 0.5) kept to 0..255; truncation is the floor
// once the value is clamped to that range. (Edits never give NaN.)
VQ_LANES __m256i byteLanes(__m512d v) {
    __m512d t = _mm512_add_pd(_mm512_mul_pd(v, broadcast(255.0)), broadcast(0.5));
    t = _mm512_min_pd(_mm512_max_pd(t, _mm512_setzero_pd()), broadcast(255.0));
    return _mm512_cvttpd_epi32(t);
}

// hslToRgb on eight pixels.
VQ_LANES RgbLanes fromHslLanes(const HslLanes& c) {
    const __mmask8 dark = _mm512_cmp_pd_mask(c.l, broadcast(0.5), _CMP_LE_OQ);
    const __m512d m2 = _mm512_mask_blend_pd(dark, _mm512_sub_pd(_mm512_add_pd(c.l, c.s), _mm512_mul_pd(c.l, c.s)),
                                            _mm512_mul_pd(c.l, _mm512_add_pd(broadcast(1.0), c.s)));
    const __mmask8 lit = _mm512_cmp_pd_mask(m2, _mm512_setzero_pd(), _CMP_GT_OQ);
    const __m512d m1 = _mm512_sub_pd(_mm512_mul_pd(broadcast(2.0), c.l), m2);
    const __mmask8 full = _mm512_cmp_pd_mask(c.h, broadcast(1.0), _CMP_EQ_OQ);
    const __m512d h6 = _mm512_mul_pd(_mm512_mask_blend_pd(full, c.h, _mm512_setzero_pd()), broadcast(6.0));
    const __mmask8 inside = _mm512_cmp_pd_mask(h6, _mm512_setzero_pd(), _CMP_GE_OQ) &
                            _mm512_cmp_pd_mask(h6, broadcast(6.0), _CMP_LT_OQ);
    const __m512d sextant = _mm512_maskz_roundscale_pd(inside, h6, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
    const __m512d fd = _mm512_mul_pd(_mm512_sub_pd(h6, sextant), _mm512_sub_pd(m2, m1));
    const __m512d up = _mm512_add_pd(m1, fd), down = _mm512_sub_pd(m2, fd);
    const __mmask8 s0 = _mm512_cmp_pd_mask(sextant, _mm512_setzero_pd(), _CMP_EQ_OQ);
    const __mmask8 s1 = _mm512_cmp_pd_mask(sextant, broadcast(1.0), _CMP_EQ_OQ);
    const __mmask8 s2 = _mm512_cmp_pd_mask(sextant, broadcast(2.0), _CMP_EQ_OQ);
    const __mmask8 s3 = _mm512_cmp_pd_mask(sextant, broadcast(3.0), _CMP_EQ_OQ);
    const __mmask8 s4 = _mm512_cmp_pd_mask(sextant, broadcast(4.0), _CMP_EQ_OQ);
    const __mmask8 s5 = _mm512_cmp_pd_mask(sextant, broadcast(5.0), _CMP_EQ_OQ);
    // Per sextant 0..5: red m2, down, m1, m1, up, m2; green up, m2, m2,
    // down, m1, m1; blue m1, m1, up, m2, m2, down.
    __m512d r = _mm512_mask_blend_pd(s1, m2, down);
    r = _mm512_mask_blend_pd(s2 | s3, r, m1);
    r = _mm512_mask_blend_pd(s4, r, up);
    __m512d g = _mm512_mask_blend_pd(s0, m1, up);
    g = _mm512_mask_blend_pd(s1 | s2, g, m2);
    g = _mm512_mask_blend_pd(s3, g, down);
    __m512d b = _mm512_mask_blend_pd(s2, m1, up);
    b = _mm512_mask_blend_pd(s3 | s4, b, m2);
    b = _mm512_mask_blend_pd(s5, b, down);
    return {byteLanes(_mm512_maskz_mov_pd(lit, r)), byteLanes(_mm512_maskz_mov_pd(lit, g)),
            byteLanes(_mm512_maskz_mov_pd(lit, b))};
}

VQ_LANES __m256i loadEight(const uint8_t* words) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(words));
}
VQ_LANES void storeEight(uint8_t* words, __m256i w) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(words), w); }

// Vectors per block of the row kernels. The conversion of one vector is a
// long chain of dependent operations; running each stage over a block of
// independent vectors in turn lets the chains overlap.
constexpr int kBlockVectors = 8;

// Edits may also offer lanesBlock(HslLanes* c, bool* moved), the rule on a
// block of kBlockVectors vectors at once; others run vector by vector.
template <typename Edit, typename = void>
struct HasLanesBlock : std::false_type {};
template <typename Edit>
struct HasLanesBlock<Edit, std::void_t<decltype(&Edit::lanesBlock)>> : std::true_type {};

template <typename Edit>
__attribute__((target("avx512f"))) void hslEditRowAvx512(uint8_t* words, int count, const Edit& shared) {
    // A local copy: stores to the row could alias the caller's object, which
    // would reload (and re-derive) its settings on every iteration.
    const Edit edit = shared;
    int x = 0;
    for (; x + 8 * kBlockVectors <= count; x += 8 * kBlockVectors, words += 32 * kBlockVectors) {
        HslLanes c[kBlockVectors];
        bool moved[kBlockVectors];
        for (int v = 0; v < kBlockVectors; ++v)
            c[v] = toHslLanes(splitWords(loadEight(words + 32 * v)));
        if constexpr (HasLanesBlock<Edit>::value) {
            edit.lanesBlock(c, moved);
        } else {
            for (int v = 0; v < kBlockVectors; ++v)
                moved[v] = edit.lanes(c[v]);
        }
        for (int v = 0; v < kBlockVectors; ++v)
            if (moved[v])
                storeEight(words + 32 * v, joinWords(loadEight(words + 32 * v), fromHslLanes(c[v])));
    }
    for (; x + 8 <= count; x += 8, words += 32) {
        const __m256i w = loadEight(words);
        HslLanes c = toHslLanes(splitWords(w));
        if (edit.lanes(c))
            storeEight(words, joinWords(w, fromHslLanes(c)));
    }
    hslEditRowScalar(words, count - x, edit);
}

#pragma GCC diagnostic pop

#endif  // __x86_64__

// The edit over `count` pixel words (4 bytes each, any alignment).
template <typename Edit>
void hslEditRow(uint8_t* words, int count, const Edit& edit) {
#if defined(__x86_64__)
    if (cpuHasAvx512())
        return hslEditRowAvx512(words, count, edit);
#endif
    hslEditRowScalar(words, count, edit);
}

// --- whole images --------------------------------------------------------------------------------

// Runs pass(words, count) over every pixel of an image of 3 or more bytes
// per pixel in parallel bands (progress per row, a cancel stops the band).
// Pixels other than 4-byte ones go through a word buffer on the stack, a
// chunk at a time: bytes 0, 1, 2 in and out, the rest of the pixel left as
// it was.
template <typename Pass>
void passRowsInBands(QImageEx& image, Pass&& pass) {
    const int bpp = bytesPerPixel(image);
    const int width = image.width();
    forRowsInBands(image, image.rect(), true, [&](uint8_t* row, int) {
        if (bpp == 4) {
            pass(row, width);
            return;
        }
        constexpr int kChunk = 256;
        uint8_t words[4 * kChunk];
        for (int x0 = 0; x0 < width; x0 += kChunk) {
            const int n = std::min(kChunk, width - x0);
            uint8_t* p = row + static_cast<qsizetype>(x0) * bpp;
            for (int i = 0; i < n; ++i) {
                std::memcpy(words + 4 * i, p + bpp * i, 3);
                words[4 * i + 3] = 0;
            }
            pass(words, n);
            for (int i = 0; i < n; ++i)
                std::memcpy(p + bpp * i, words + 4 * i, 3);
        }
    });
}

// Maps each colour-table entry (A, R, G, B) to (A, f(R, G, B)), f taking and
// giving a pixel word.
template <typename Map>
void mapColourTableWords(QImageEx& image, Map&& map) {
    QVector<QRgb> table = image.colorTable();
    for (QRgb& entry : table)
        entry = (entry & 0xFF000000u) | (map(entry) & 0x00FFFFFFu);
    image.setColorTable(table);
}

// An HSL edit over a whole image: Format_Indexed8 and 1-bit images through
// their colour table, images of 3 or more bytes per pixel in bands (bytes
// 0, 1, 2); other formats are left alone. With relabelGrey, Grayscale8 and
// Alpha8 images become Format_Indexed8 first.
template <typename Edit>
void applyHslEdit(QImageEx& image, const Edit& edit, bool relabelGrey) {
    if (relabelGrey)
        relabelGreyAsIndexed(image);
    if (image.format() == QImage::Format_Indexed8 || image.depth() == 1) {
        mapColourTableWords(image, [&](uint32_t w) {
            Hsl c = wordToHsl(w);
            return edit.pixel(c) ? withColour(w, hslToRgb(c)) : w;
        });
        return;
    }
    if (bytesPerPixel(image) < 3)
        return;
    passRowsInBands(image, [&](uint8_t* words, int count) { hslEditRow(words, count, edit); });
}

}  // namespace vq
