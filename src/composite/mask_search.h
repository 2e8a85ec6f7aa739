// Row searches behind getMaskImageBouder: where the first and last pixels
// that count lie in a run of an 8-bit mask (the byte) or a 32-bit image (its
// alpha byte). Plain functions over raw rows.
#pragma once

#include <cstdint>

namespace vq {

struct MaskSearch {
    int bytesPerPixel;  // 1 or 4
    bool selected;      // true: a value below 255 counts; false: a value above 1
};

// Index of the first pixel in [begin, end) that counts, or `end`.
int firstCountingPixel(const uint8_t* row, int begin, int end, MaskSearch search);
// Index of the last pixel in [begin, end) that counts, or `begin - 1`.
int lastCountingPixel(const uint8_t* row, int begin, int end, MaskSearch search);

// The same two searches for the selected bytes of an 8-bit mask, comparing
// the row four bytes at a time against all-ones words (for masks whose
// width is a multiple of 4; any range works).
int firstSelectedByteByWords(const uint8_t* row, int begin, int end);
int lastSelectedByteByWords(const uint8_t* row, int begin, int end);

}  // namespace vq
