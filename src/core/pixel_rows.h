// Row kernels that widen pixels of the smaller depths to 32-bit B, G, R, A.
// Plain functions over raw rows: no Qt, no threads.
#pragma once

#include <cstdint>

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "pixel words are read as 0xAARRGGBB from B, G, R, A bytes");

namespace vq {

// 1-bit pixels, most significant bit first, through a 2-entry palette.
void expandMonoRow(const uint8_t* src, uint32_t* dst, int width, const uint32_t* palette);
// 4-bit pixels, high nibble for even x, through a 16-entry palette.
void expandNibbleRow(const uint8_t* src, uint32_t* dst, int width, const uint32_t* palette);
// 8-bit indices through a 256-entry palette.
void expandIndexedRow(const uint8_t* src, uint32_t* dst, int width, const uint32_t* palette);
// 8-bit grey to opaque grey.
void expandGreyRow(const uint8_t* src, uint32_t* dst, int width);
// Packed B, G, R to opaque B, G, R, A.
void expandBgrRow(const uint8_t* src, uint32_t* dst, int width);

}  // namespace vq
