// The per-byte formula of unsharp_mask_fast: diff = orig - blur, dropped
// when |2 diff| < threshold, then (int)(diff x amount + orig) in double,
// clamped to 0..255 (NaN to 0). A scalar version and an AVX2 version that
// gives the same bytes; unsharpBytes picks one at run time.
#pragma once

#include "core/pixel_math.h"

#include <QtGlobal>

#include <cstdint>
#include <cstdlib>

namespace vq {

inline uint8_t unsharpByte(int orig, int blur, double amount, int threshold) {
    int diff = orig - blur;
    if (std::abs(2 * diff) < threshold)
        diff = 0;
    const double v = diff * amount + orig;
    if (!(v > 0))
        return 0;
    return v >= 255 ? 255 : static_cast<uint8_t>(v);
}

void unsharpBytesScalar(uint8_t* out, const uint8_t* original, const uint8_t* blur, qsizetype count, double amount,
                        int threshold);
// Requires AVX2.
void unsharpBytesAvx2(uint8_t* out, const uint8_t* original, const uint8_t* blur, qsizetype count, double amount,
                      int threshold);
void unsharpBytes(uint8_t* out, const uint8_t* original, const uint8_t* blur, qsizetype count, double amount,
                  int threshold);

// The same with the blur computed on the way from box sums that share one
// quotient: blur = quotient(sum + extra).
void unsharpFromSumsScalar(uint8_t* out, const uint8_t* original, const uint32_t* sums, int32_t extra,
                           ByteQuotient quotient, qsizetype count, double amount, int threshold);
// Requires AVX2.
void unsharpFromSumsAvx2(uint8_t* out, const uint8_t* original, const uint32_t* sums, int32_t extra,
                         ByteQuotient quotient, qsizetype count, double amount, int threshold);
// Requires AVX-512 (F).
void unsharpFromSumsAvx512(uint8_t* out, const uint8_t* original, const uint32_t* sums, int32_t extra,
                           ByteQuotient quotient, qsizetype count, double amount, int threshold);
void unsharpFromSums(uint8_t* out, const uint8_t* original, const uint32_t* sums, int32_t extra, ByteQuotient quotient,
                     qsizetype count, double amount, int threshold);

}  // namespace vq
