// The rules by which computed values become bytes. Each operation's contract
// names one of them, so each has its own name here and one home; the tests
// pin every rule on NaN, the infinities and the values next to the edges.
//
//   rule                      formula                              NaN
//   byteClamped(int64)        clamp(v, 0, 255)                     -
//   byteTruncated(double)     trunc(clamp(v, 0, 255))              0
//   byteTruncatedF(float)     the same in single precision         0
//   byteRounded(double)       trunc(clamp(v + 0.5, 0, 255.5))      0
//   byteRoundedInRange(dbl)   byteRounded for |v| < 2^31, faster   (not allowed)
//   byteFromUnitRounded(dbl)  clamp(floor(v 255 + 0.5), 0, 255)    0
//   byteFromUnitTruncated     v >= 0: trunc(min(v, 1) 255)         0
//   byteFromUnitTruncatedF    trunc(clamp(v, 0, 1) 255) in float   0
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace vq {

inline uint8_t byteClamped(int64_t v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

inline uint8_t byteTruncated(double v) {
    if (!(v > 0))
        return 0;
    return v >= 255 ? 255 : static_cast<uint8_t>(static_cast<int>(v));
}

inline uint8_t byteTruncatedF(float v) {
    if (!(v > 0))
        return 0;
    return v > 255 ? 255 : static_cast<uint8_t>(v);
}

// The clamp comes before the conversion, so that it stays defined and the
// loops around it vectorise.
inline uint8_t byteRounded(double v) {
    return static_cast<uint8_t>(static_cast<int>(std::min(std::max(0.0, v + 0.5), 255.5)));
}

// byteRounded where v is known to be far inside the int range: integer
// clamps keep the loop free of branches. (Truncation differs from floor only
// below 0, which clamps to 0 either way.)
inline uint32_t byteRoundedInRange(double v) {
    return static_cast<uint32_t>(std::min(std::max(static_cast<int>(v + 0.5), 0), 255));
}

inline uint8_t byteFromUnitRounded(double v) {
    const double scaled = std::floor(v * 255 + 0.5);
    return static_cast<uint8_t>(scaled > 0 ? (scaled >= 255 ? 255 : scaled) : 0);
}

inline uint8_t byteFromUnitTruncated(double v) {
    if (!(v >= 0))
        return 0;
    return v > 1 ? 255 : static_cast<uint8_t>(static_cast<int>(v * 255));
}

// max(0, v) first: it turns NaN into 0 and compiles to one vector max.
inline uint8_t byteFromUnitTruncatedF(float v) {
    return static_cast<uint8_t>(static_cast<int>(std::min(std::max(0.0f, v), 1.0f) * 255));
}

}  // namespace vq
