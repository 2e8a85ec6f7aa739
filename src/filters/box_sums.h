// Sliding box sums, the engine of the box blurs, the unsharp mask, the mask
// blur and the transparency bleed.
//
// For every row y the sums over the (2r + 1)^2 box around each pixel byte
// are produced, the box clipped to the image (outside counts nothing). Column
// sums slide down the rows (add the row entering below, remove the row
// leaving above); each row's box sums then slide along the columns. The
// caller feeds the rows, so it may overwrite a row once it is done with it
// as long as it hands back the original for the row leaving the box.
#pragma once

#include "core/pixel_math.h"

#include <QtGlobal>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace vq {

// Number of indices of [i - r, i + r] inside [0, n).
inline int64_t boxCount(int64_t i, int64_t r, int64_t n) {
    return std::min<int64_t>(n - 1, i + r) - std::max<int64_t>(0, i - r) + 1;
}

template <typename Sum>
class BoxSums {
public:
    BoxSums(int width, int channels, int radius)
        : m_width(width), m_channels(channels), m_radius(radius),
          m_columns(static_cast<size_t>(width) * channels, 0) {}

    void addRow(const uint8_t* row) { accumulate(row, +1); }
    void removeRow(const uint8_t* row) { accumulate(row, -1); }
    // Adds one row and removes another in a single pass.
    void replaceRow(const uint8_t* entering, const uint8_t* leaving);

    // Box sums of the current column sums for every pixel byte of a row.
    void rowSums(Sum* out) const;

private:
    void accumulate(const uint8_t* row, int sign);

    int m_width;
    int m_channels;
    int m_radius;
    std::vector<Sum> m_columns;
};

extern template class BoxSums<uint32_t>;
extern template class BoxSums<uint64_t>;

// Walks the rows of an image top to bottom with the box sums of each row:
// sink(y, originalRow, sums) gets row y's sums (width x channels values)
// and the row's original bytes, and may then overwrite image row y in
// place: the rows that leave the box later are read back from a ring of
// saved originals. Returns false when the sink asks to stop.
template <typename Sum, typename Sink>
bool forEachBoxRow(uint8_t* bits, qsizetype stride, int width, int height, int channels, int radius, bool inPlace,
                   Sink&& sink) {
    const qsizetype rowBytes = static_cast<qsizetype>(width) * channels;
    const int64_t r = radius;
    BoxSums<Sum> box(width, channels, radius);
    std::vector<Sum> sums(static_cast<size_t>(rowBytes));
    const int ringRows = inPlace ? static_cast<int>(std::min<int64_t>(r + 1, height)) : 0;
    std::vector<uint8_t> ring(static_cast<size_t>(ringRows) * rowBytes);
    const auto row = [&](int64_t y) { return bits + y * stride; };

    for (int64_t y = 0; y <= std::min<int64_t>(r, height - 1); ++y)
        box.addRow(row(y));
    for (int y = 0; y < height; ++y) {
        if (y > 0) {
            const uint8_t* entering = y + r < height ? row(y + r) : nullptr;
            const uint8_t* leaving = y - r - 1 < 0 ? nullptr
                                     : inPlace     ? ring.data() + ((y - r - 1) % ringRows) * rowBytes
                                                   : row(y - r - 1);
            if (entering && leaving)
                box.replaceRow(entering, leaving);
            else if (entering)
                box.addRow(entering);
            else if (leaving)
                box.removeRow(leaving);
        }
        box.rowSums(sums.data());
        const uint8_t* original = row(y);
        if (inPlace) {
            uint8_t* saved = ring.data() + (y % ringRows) * rowBytes;
            std::copy(original, original + rowBytes, saved);
            original = saved;
        }
        if (!sink(y, original, sums.data()))
            return false;
    }
    return true;
}

// The means of one row's box sums as bytes: sum (plus what the outside
// counts for) divided by the number of samples of the pixel's box, exactly.
// Divisors are rows(y) x columns(x) real samples, or the full box; the
// per-byte tables are rebuilt only when the row count changes.
class RowMeans {
public:
    RowMeans(int width, int height, int channels, int radius, bool fullBox, uint8_t padding);

    // Writes the means of row y's sums (width x channels of them) to out.
    void write(int y, const uint32_t* sums, uint8_t* out);
    // The same for the bytes [begin, end) of the row only.
    void write(int y, const uint32_t* sums, uint8_t* out, qsizetype begin, qsizetype end);

    // The bytes of row y whose pixels see the whole width of the box, which
    // share one quotient and one extra (empty when there are too few).
    struct Uniform {
        qsizetype begin = 0, end = 0;
        ByteQuotient quotient;
        int32_t extra = 0;
    };
    Uniform uniform(int y);

private:
    void prepare(int y);

    int m_width, m_height, m_channels, m_radius;
    bool m_fullBox;
    uint8_t m_padding;
    int64_t m_rows = -1;
    std::vector<float> m_inverse;
    std::vector<int32_t> m_divisor;
    std::vector<int32_t> m_extra;  // the outside's contribution to each sum
};


// True when every box sum of bytes fits 32 bits with a byte quotient
// (255 x (2r + 1)^2 within the exact divider's range).
bool boxSumsFitThirtyTwoBits(int radius);

}  // namespace vq
