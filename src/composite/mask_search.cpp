#include "mask_search.h"

#include <cstring>

namespace vq {

namespace {

// Pixels are tested in blocks with a branch-free reduction (which the
// compiler vectorises) and located exactly only inside the block that hits.
constexpr int kBlock = 32;

template <int Bpp, bool Selected>
inline bool counts(const uint8_t* row, int x) {
    const uint8_t value = row[x * Bpp + (Bpp - 1)];  // the byte, or the alpha byte
    return Selected ? value < 255 : value > 1;
}

template <int Bpp, bool Selected>
int firstCounting(const uint8_t* row, int begin, int end) {
    int x = begin;
    for (; x + kBlock <= end; x += kBlock) {
        bool any = false;
        for (int k = 0; k < kBlock; ++k)
            any |= counts<Bpp, Selected>(row, x + k);
        if (any)
            break;
    }
    for (; x < end; ++x)
        if (counts<Bpp, Selected>(row, x))
            return x;
    return end;
}

template <int Bpp, bool Selected>
int lastCounting(const uint8_t* row, int begin, int end) {
    int x = end;
    for (; x - kBlock >= begin; x -= kBlock) {
        bool any = false;
        for (int k = 1; k <= kBlock; ++k)
            any |= counts<Bpp, Selected>(row, x - k);
        if (any)
            break;
    }
    for (--x; x >= begin; --x)
        if (counts<Bpp, Selected>(row, x))
            return x;
    return begin - 1;
}

inline uint32_t wordAt(const uint8_t* p) {
    uint32_t word;
    std::memcpy(&word, p, 4);
    return word;
}

}  // namespace

int firstCountingPixel(const uint8_t* row, int begin, int end, MaskSearch search) {
    if (search.bytesPerPixel == 4)
        return search.selected ? firstCounting<4, true>(row, begin, end) : firstCounting<4, false>(row, begin, end);
    return search.selected ? firstCounting<1, true>(row, begin, end) : firstCounting<1, false>(row, begin, end);
}

int lastCountingPixel(const uint8_t* row, int begin, int end, MaskSearch search) {
    if (search.bytesPerPixel == 4)
        return search.selected ? lastCounting<4, true>(row, begin, end) : lastCounting<4, false>(row, begin, end);
    return search.selected ? lastCounting<1, true>(row, begin, end) : lastCounting<1, false>(row, begin, end);
}

int firstSelectedByteByWords(const uint8_t* row, int begin, int end) {
    int x = begin;
    for (; x < end && (x & 3); ++x)
        if (row[x] != 255)
            return x;
    for (; x + 4 <= end; x += 4)
        if (wordAt(row + x) != 0xFFFFFFFFu)
            break;
    for (; x < end; ++x)
        if (row[x] != 255)
            return x;
    return end;
}

int lastSelectedByteByWords(const uint8_t* row, int begin, int end) {
    int x = end;
    for (; x > begin && (x & 3); --x)
        if (row[x - 1] != 255)
            return x - 1;
    for (; x - 4 >= begin; x -= 4)
        if (wordAt(row + x - 4) != 0xFFFFFFFFu)
            break;
    for (; x > begin; --x)
        if (row[x - 1] != 255)
            return x - 1;
    return begin - 1;
}

}  // namespace vq
