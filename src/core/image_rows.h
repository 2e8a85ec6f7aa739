// Small helpers shared by the operations: row sizes, overflow-safe
// arithmetic on coordinates, and truncation with a defined result.
#pragma once

#include <QImage>
#include <QRect>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

namespace vq {

// Bytes of a row that hold pixels (the row padding excluded).
inline qsizetype usedRowBytes(const QImage& image) {
    return (static_cast<qsizetype>(image.width()) * image.depth() + 7) / 8;
}

inline int bytesPerPixel(const QImage& image) { return image.depth() / 8; }

// True when the pixel memory of a and b overlaps (the same image, shared
// data, or an image built over the other's buffer). Reads no pixels and
// detaches neither.
inline bool sharesPixels(const QImage& a, const QImage& b) {
    const uchar* pa = a.constBits();
    const uchar* pb = b.constBits();
    if (!pa || !pb)
        return false;
    return pa < pb + b.sizeInBytes() && pb < pa + a.sizeInBytes();
}

inline int clampToInt(int64_t v) { return static_cast<int>(std::clamp<int64_t>(v, INT_MIN, INT_MAX)); }

// (int)v as the x86-64 conversion instruction computes it: truncation toward
// zero, and INT_MIN for NaN and for values outside the int range. C++ leaves
// those cases undefined; this keeps them harmless and platform-independent.
inline int truncToInt(double v) {
    if (!(v > -2147483649.0 && v < 2147483648.0))
        return INT_MIN;
    return static_cast<int>(v);
}

// (int)v where that is defined; values beyond the int range saturate to
// its ends and NaN gives 0. For formulas whose parameters may be infinite
// or NaN, where a byte result is clamped afterwards anyway.
inline int truncSaturated(double v) {
    if (!(v == v))
        return 0;
    if (v <= -2147483648.0)
        return INT_MIN;
    if (v >= 2147483647.0)
        return INT_MAX;
    return static_cast<int>(v);
}

// Half-open index range [begin, end) of i for which origin + i lies in
// [0, limit), intersected with [0, count).
struct IndexRange {
    int begin;
    int end;
    bool empty() const { return begin >= end; }
};

inline IndexRange visibleRange(int origin, int count, int limit) {
    const int64_t begin = std::max<int64_t>(0, -int64_t{origin});
    const int64_t end = std::min<int64_t>(count, int64_t{limit} - origin);
    return {clampToInt(begin), clampToInt(std::max(begin, end))};
}

}  // namespace vq
