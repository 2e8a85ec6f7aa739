// Small helpers shared by the operations: row sizes, overflow-safe
// arithmetic on coordinates, and truncation with a defined result.
#pragma once

#include <QImage>
#include <QRect>
#include <QVector>

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

// True when a w x h image of `bitsPerPixel` fits the library's bound on
// every buffer it allocates: 2^31 bytes, rows padded to 4 bytes.
inline bool fitsImageBytes(int64_t w, int64_t h, int bitsPerPixel) {
    constexpr int64_t kMaxBytes = int64_t{1} << 31;
    if (w <= 0 || h <= 0 || w > kMaxBytes || h > kMaxBytes)
        return false;
    return (w * bitsPerPixel + 31) / 32 * 4 <= kMaxBytes / h;
}

// Qt's painter (QImage::transformed, QPainter::drawImage) reads a palette
// image's colour table without bounds: an empty table crashes it, a short
// one is read past its end. This gives such images a full table, padded as
// Qt's own format conversions pad it (transparent black for 8-bit indexes,
// black and white for 1-bit ones), so every result stays what Qt's
// conversion of the image shows. Other images are returned as they are.
inline QImage withFullColorTable(const QImage& image) {
    const bool mono = image.depth() == 1;
    if (image.isNull() || (!mono && image.format() != QImage::Format_Indexed8))
        return image;
    QVector<QRgb> table = image.colorTable();
    const int needed = mono ? 2 : 256;
    if (table.size() >= needed)
        return image;
    if (mono) {
        if (table.isEmpty())
            table << 0xFF000000u;
        table << 0xFFFFFFFFu;
    } else {
        table.resize(needed);  // new entries are 0
    }
    QImage padded = image;
    padded.setColorTable(table);
    return padded;
}

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
