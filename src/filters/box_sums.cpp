#include "box_sums.h"

#include "core/pixel_math.h"

#include <algorithm>

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

// Along the row: the box of x covers columns [x - r, x + r] within the row.
template <int C, typename Sum>
void slideAlongRow(const Sum* col, Sum* out, int w, int64_t r) {
    Sum box[C] = {};
    const int64_t firstEnd = std::min<int64_t>(r, w - 1);
    for (int64_t x = 0; x <= firstEnd; ++x)
        for (int c = 0; c < C; ++c)
            box[c] += col[x * C + c];
    for (int x = 0; x < w; ++x) {
        for (int c = 0; c < C; ++c)
            out[x * C + c] = box[c];
        const int64_t in = x + r + 1;
        const int64_t leaving = x - r;
        if (in < w)
            for (int c = 0; c < C; ++c)
                box[c] += col[in * C + c];
        if (leaving >= 0)
            for (int c = 0; c < C; ++c)
                box[c] -= col[leaving * C + c];
    }
}

template <typename Sum>
void slideAlongRow(int channels, const Sum* col, Sum* out, int w, int64_t r) {
    switch (channels) {
    case 1: slideAlongRow<1>(col, out, w, r); break;
    case 2: slideAlongRow<2>(col, out, w, r); break;
    case 3: slideAlongRow<3>(col, out, w, r); break;
    default: slideAlongRow<4>(col, out, w, r); break;
    }
}

}  // namespace

template <typename Sum>
void BoxSums<Sum>::accumulate(const uint8_t* row, int sign) {
    accumulateRow(m_columns.data(), row, static_cast<qsizetype>(m_columns.size()), sign);
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
