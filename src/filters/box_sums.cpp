#include "box_sums.h"

#include "core/pixel_math.h"

#include <algorithm>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vq {

namespace {

template <typename Sum>
VQ_MULTIVERSION void accumulateRow(Sum* columns, const uint8_t* row, qsizetype count, int sign) {
    if (sign > 0) {
        for (qsizetype i = 0; i < count; ++i)
            columns[i] += row[i];
    } else {
        for (qsizetype i = 0; i < count; ++i)
            columns[i] -= row[i];
    }
}

template <typename Sum>
VQ_MULTIVERSION void replaceInColumns(Sum* columns, const uint8_t* entering, const uint8_t* leaving, qsizetype count) {
    for (qsizetype i = 0; i < count; ++i)
        columns[i] += Sum{entering[i]} - Sum{leaving[i]};
}

// Along the row: the box of x covers columns [x - r, x + r] within the row.
// Where the box lies wholly inside the row the loop needs no edge tests.
template <int C, typename Sum>
VQ_MULTIVERSION void slideAlongRow(const Sum* col, Sum* out, int w, int64_t r) {
    Sum box[C] = {};
    const int64_t firstEnd = std::min<int64_t>(r, w - 1);
    for (int64_t x = 0; x <= firstEnd; ++x)
        for (int c = 0; c < C; ++c)
            box[c] += col[x * C + c];
    // x + r + 1 < w and x - r >= 0 between `inner` and `innerEnd`.
    const int64_t inner = std::min<int64_t>(r, w);
    const int64_t innerEnd = std::max<int64_t>(inner, w - r - 1);
    const auto step = [&](int64_t x, bool entering, bool leaving) {
        for (int c = 0; c < C; ++c)
            out[x * C + c] = box[c];
        if (entering)
            for (int c = 0; c < C; ++c)
                box[c] += col[(x + r + 1) * C + c];
        if (leaving)
            for (int c = 0; c < C; ++c)
                box[c] -= col[(x - r) * C + c];
    };
    int64_t x = 0;
    for (; x < inner; ++x)
        step(x, x + r + 1 < w, false);
    for (; x < innerEnd; ++x) {
        for (int c = 0; c < C; ++c) {
            out[x * C + c] = box[c];
            box[c] += col[(x + r + 1) * C + c] - col[(x - r) * C + c];
        }
    }
    for (; x < w; ++x)
        step(x, x + r + 1 < w, true);
}

#if defined(__SSE2__)

// Four 32-bit channels of a pixel in one register: the inner part of the
// slide is a store, two loads, an add and a subtract per pixel.
void slideAlongRowFour(const uint32_t* col, uint32_t* out, int w, int64_t r) {
    const int64_t firstEnd = std::min<int64_t>(r, w - 1);
    __m128i box = _mm_setzero_si128();
    const auto at = [&](int64_t x) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(col + 4 * x)); };
    for (int64_t x = 0; x <= firstEnd; ++x)
        box = _mm_add_epi32(box, at(x));
    const int64_t inner = std::min<int64_t>(r, w);
    const int64_t innerEnd = std::max<int64_t>(inner, w - r - 1);
    int64_t x = 0;
    for (; x < inner; ++x) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * x), box);
        if (x + r + 1 < w)
            box = _mm_add_epi32(box, at(x + r + 1));
    }
    for (; x < innerEnd; ++x) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * x), box);
        box = _mm_sub_epi32(_mm_add_epi32(box, at(x + r + 1)), at(x - r));
    }
    for (; x < w; ++x) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * x), box);
        if (x + r + 1 < w)
            box = _mm_add_epi32(box, at(x + r + 1));
        box = _mm_sub_epi32(box, at(x - r));
    }
}

#endif

template <typename Sum>
void slideAlongRow(int channels, const Sum* col, Sum* out, int w, int64_t r) {
#if defined(__SSE2__)
    if constexpr (std::is_same_v<Sum, uint32_t>) {
        if (channels == 4)
            return slideAlongRowFour(col, out, w, r);
    }
#endif
    switch (channels) {
    case 1: slideAlongRow<1>(col, out, w, r); break;
    case 2: slideAlongRow<2>(col, out, w, r); break;
    case 3: slideAlongRow<3>(col, out, w, r); break;
    default: slideAlongRow<4>(col, out, w, r); break;
    }
}

VQ_MULTIVERSION void meansOfSums(uint8_t* out, const uint32_t* sums, const int32_t* extra, const float* inverse,
                                 const int32_t* divisor, qsizetype count) {
    for (qsizetype i = 0; i < count; ++i) {
        const int32_t n = static_cast<int32_t>(sums[i]) + extra[i];
        int32_t q = static_cast<int32_t>(static_cast<float>(n) * inverse[i]);
        const int32_t t = q * divisor[i];
        q -= t > n;
        q += t + divisor[i] <= n;
        out[i] = static_cast<uint8_t>(q);
    }
}

// The same where every byte has the same divisor and extra (the inner
// pixels of a row): no tables to read.
VQ_MULTIVERSION void meansOfSumsUniform(uint8_t* out, const uint32_t* sums, int32_t extra, float inverse,
                                        int32_t divisor, qsizetype count) {
    for (qsizetype i = 0; i < count; ++i) {
        const int32_t n = static_cast<int32_t>(sums[i]) + extra;
        int32_t q = static_cast<int32_t>(static_cast<float>(n) * inverse);
        const int32_t t = q * divisor;
        q -= t > n;
        q += t + divisor <= n;
        out[i] = static_cast<uint8_t>(q);
    }
}

}  // namespace

RowMeans::RowMeans(int width, int height, int channels, int radius, bool fullBox, uint8_t padding)
    : m_width(width), m_height(height), m_channels(channels), m_radius(radius), m_fullBox(fullBox),
      m_padding(padding), m_inverse(static_cast<size_t>(width) * channels),
      m_divisor(static_cast<size_t>(width) * channels), m_extra(static_cast<size_t>(width) * channels) {}

void RowMeans::prepare(int y) {
    const int64_t rows = boxCount(y, m_radius, m_height);  // real rows of the box
    if (rows == m_rows)
        return;
    m_rows = rows;
    const int64_t side = 2 * int64_t{m_radius} + 1;
    for (int x = 0; x < m_width; ++x) {
        const int64_t real = rows * boxCount(x, m_radius, m_width);
        const int64_t divisor = m_fullBox ? side * side : real;
        const ByteQuotient quotient(static_cast<int32_t>(divisor));
        const int32_t extra = static_cast<int32_t>(m_fullBox ? int64_t{m_padding} * (side * side - real) : 0);
        for (int c = 0; c < m_channels; ++c) {
            const size_t i = static_cast<size_t>(x) * m_channels + c;
            m_inverse[i] = quotient.inverse;
            m_divisor[i] = quotient.d;
            m_extra[i] = extra;
        }
    }
}

RowMeans::Uniform RowMeans::uniform(int y) {
    prepare(y);
    Uniform u;
    const qsizetype begin = std::min<qsizetype>(m_radius, m_width) * m_channels;
    const qsizetype end = std::max<qsizetype>(begin, (m_width - static_cast<qsizetype>(m_radius)) * m_channels);
    if (end - begin < 64)
        return u;  // too narrow to be worth it: empty
    u.begin = begin;
    u.end = end;
    u.quotient.inverse = m_inverse[begin];
    u.quotient.d = m_divisor[begin];
    u.extra = m_extra[begin];
    return u;
}

void RowMeans::write(int y, const uint32_t* sums, uint8_t* out, qsizetype begin, qsizetype end) {
    prepare(y);
    meansOfSums(out + begin, sums + begin, m_extra.data() + begin, m_inverse.data() + begin, m_divisor.data() + begin,
                end - begin);
}

void RowMeans::write(int y, const uint32_t* sums, uint8_t* out) {
    const Uniform u = uniform(y);
    const qsizetype total = static_cast<qsizetype>(m_inverse.size());
    if (u.end == u.begin) {
        write(y, sums, out, 0, total);
        return;
    }
    write(y, sums, out, 0, u.begin);
    meansOfSumsUniform(out + u.begin, sums + u.begin, u.extra, u.quotient.inverse, u.quotient.d, u.end - u.begin);
    write(y, sums, out, u.end, total);
}

template <typename Sum>
void BoxSums<Sum>::accumulate(const uint8_t* row, int sign) {
    accumulateRow(m_columns.data(), row, static_cast<qsizetype>(m_columns.size()), sign);
}

template <typename Sum>
void BoxSums<Sum>::replaceRow(const uint8_t* entering, const uint8_t* leaving) {
    replaceInColumns(m_columns.data(), entering, leaving, static_cast<qsizetype>(m_columns.size()));
}

template <typename Sum>
void BoxSums<Sum>::rowSums(Sum* out) const {
    slideAlongRow(m_channels, m_columns.data(), out, m_width, m_radius);
}

template class BoxSums<uint32_t>;
template class BoxSums<uint64_t>;

bool boxSumsFitThirtyTwoBits(int radius) {
    const int64_t side = 2 * int64_t{radius} + 1;
    return side * side <= ByteQuotient::kMaxDivisor;
}

}  // namespace vq
