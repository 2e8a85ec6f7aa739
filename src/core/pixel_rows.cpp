#include "pixel_rows.h"

namespace vq {

void expandMonoRow(const uint8_t* src, uint32_t* dst, int width, const uint32_t* palette) {
    for (int x = 0; x < width; ++x)
        dst[x] = palette[(src[x >> 3] >> (7 - (x & 7))) & 1];
}

void expandNibbleRow(const uint8_t* src, uint32_t* dst, int width, const uint32_t* palette) {
    for (int x = 0; x < width; ++x) {
        const uint8_t pair = src[x >> 1];
        dst[x] = palette[(x & 1) ? (pair & 0x0F) : (pair >> 4)];
    }
}

void expandIndexedRow(const uint8_t* src, uint32_t* dst, int width, const uint32_t* palette) {
    for (int x = 0; x < width; ++x)
        dst[x] = palette[src[x]];
}

void expandGreyRow(const uint8_t* src, uint32_t* dst, int width) {
    for (int x = 0; x < width; ++x)
        dst[x] = 0xFF000000u | (uint32_t{src[x]} * 0x010101u);
}

void expandBgrRow(const uint8_t* src, uint32_t* dst, int width) {
    for (int x = 0; x < width; ++x, src += 3)
        dst[x] = 0xFF000000u | (uint32_t{src[2]} << 16) | (uint32_t{src[1]} << 8) | src[0];
}

}  // namespace vq
