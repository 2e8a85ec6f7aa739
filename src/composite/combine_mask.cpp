// Selection-mask arithmetic: combineImage (by mode, and through a mask
// pointer), combineImageData and combineSelectionData.
//
// Masks are addressed one byte per pixel whatever their depth, as the
// original does. Every index is checked against the rows it addresses, so
// inputs of mismatched sizes or rectangles outside the images do only the
// in-range part of the work.
#include <vqutil/composite.h>

#include "core/guard.h"
#include "core/image_rows.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// --- row kernels ----------------------------------------------------------------------------

template <int Mode>
void combineMaskBytes(uint8_t* d, const uint8_t* m, int begin, int end) {
    for (int i = begin; i < end; ++i) {
        if constexpr (Mode == 1) {
            d[i] |= m[i];
        } else if constexpr (Mode == 2) {
            d[i] &= m[i];
        } else if constexpr (Mode == 3) {
            if (m[i] < 128)
                d[i] = d[i] < 128 ? 255 : 0;
        } else {
            if (m[i] < 128 && d[i] < 128)
                d[i] = 255;
        }
    }
}

void combineMaskRow(int mode, uint8_t* d, const uint8_t* m, int begin, int end) {
    switch (mode) {
    case 1: combineMaskBytes<1>(d, m, begin, end); break;
    case 2: combineMaskBytes<2>(d, m, begin, end); break;
    case 3: combineMaskBytes<3>(d, m, begin, end); break;
    case 4: combineMaskBytes<4>(d, m, begin, end); break;
    default: break;
    }
}

// Pixel-wise mask arithmetic of combineImageData (modes 1-4).
template <int Mode>
void maskArithmeticBytes(uint8_t* d, const uint8_t* s, int count) {
    for (int x = 0; x < count; ++x) {
        const int dv = d[x];
        const int sv = s[x];
        if constexpr (Mode == 1)
            d[x] = static_cast<uint8_t>(std::max(dv, sv));
        else if constexpr (Mode == 2)
            d[x] = static_cast<uint8_t>(sv + dv >= 255 ? sv + dv - 255 : 0);
        else if constexpr (Mode == 3)
            d[x] = static_cast<uint8_t>(255 - std::abs(dv - sv));
        else
            d[x] = static_cast<uint8_t>(sv > dv ? 255 - (sv - dv) : 255);
    }
}

void maskArithmeticRow(int mode, uint8_t* d, const uint8_t* s, int count) {
    switch (mode) {
    case 1: maskArithmeticBytes<1>(d, s, count); break;
    case 2: maskArithmeticBytes<2>(d, s, count); break;
    case 3: maskArithmeticBytes<3>(d, s, count); break;
    case 4: maskArithmeticBytes<4>(d, s, count); break;
    default: break;
    }
}

// Copies `bytesPerPixel`-byte pixels of s over d where the mask byte is 0.
void copyWhereSelected(uint8_t* d, const uint8_t* s, const uint8_t* m, int count, int bytesPerPixel) {
    switch (bytesPerPixel) {
    case 1:
        for (int i = 0; i < count; ++i)
            d[i] = m[i] == 0 ? s[i] : d[i];
        break;
    case 4:
        for (int i = 0; i < count; ++i)
            if (m[i] == 0)
                std::memcpy(d + 4 * i, s + 4 * i, 4);
        break;
    default:
        for (int i = 0; i < count; ++i)
            if (m[i] == 0)
                std::memcpy(d + i * bytesPerPixel, s + i * bytesPerPixel, bytesPerPixel);
        break;
    }
}

// --- the operations -------------------------------------------------------------------------

void combineMaskIntoRect(QImageEx& dst, const QImageEx& mask, const QRect& rect, int mode) {
    if (mask.depth() / 8 != 1 || mode < 1 || mode > 5)
        return;
    const vq::IndexRange rows = vq::visibleRange(rect.y(), rect.height(), dst.height());
    const vq::IndexRange columns = vq::visibleRange(rect.x(), rect.width(), dst.width());
    if (rows.empty() || columns.empty())
        return;
    const int dstRowBytes = dst.bytesPerLine();
    const int maskWidth = mask.width();

    // Mode 5 reads mask column i x maskWidth / rectWidth and writes column
    // rect.x() + i; modes 1-4 pair column i of both rows.
    std::vector<int> scaledColumn;
    if (mode == 5) {
        scaledColumn.resize(columns.end - columns.begin);
        for (int i = columns.begin; i < columns.end; ++i)
            scaledColumn[i - columns.begin] = static_cast<int>(int64_t{i} * maskWidth / rect.width());
    }
    const int pairedEnd = std::min({columns.end, dstRowBytes, maskWidth});

    uint8_t* bits = dst.bits();
    const qsizetype stride = dst.bytesPerLine();
    for (int j = rows.begin; j < rows.end; ++j) {
        uint8_t* d = bits + (rect.y() + j) * stride;
        const uint8_t* m = mask.constScanLine(static_cast<int>(int64_t{j} * mask.height() / rect.height()));
        if (mode != 5) {
            combineMaskRow(mode, d, m, columns.begin, pairedEnd);
            continue;
        }
        for (int i = columns.begin; i < columns.end; ++i) {
            const int x = rect.x() + i;
            if (x < dstRowBytes)
                d[x] = m[scaledColumn[i - columns.begin]];
        }
    }
}

void copyThroughMask(QImageEx& dst, const QImageEx* mask, const QImageEx& src, const QRect& rect) {
    const int bytesPerPixel = vq::bytesPerPixel(src);
    if (src.width() != rect.width() || src.height() != rect.height())
        return;
    if (!mask || mask->isNull() || bytesPerPixel == 0)
        return;
    // Pixel x of a row must fit in the destination row and in the mask row.
    const int fitting = static_cast<int>(
        std::min<qsizetype>(dst.bytesPerLine() / bytesPerPixel, vq::usedRowBytes(*mask)));
    const vq::IndexRange rows = vq::visibleRange(rect.y(), rect.height(), std::min(dst.height(), mask->height()));
    const vq::IndexRange columns = vq::visibleRange(rect.x(), rect.width(), fitting);
    if (rows.empty() || columns.empty())
        return;
    uint8_t* bits = dst.bits();
    const qsizetype stride = dst.bytesPerLine();
    for (int j = rows.begin; j < rows.end; ++j) {
        const int y = rect.y() + j;
        const int x = rect.x() + columns.begin;
        copyWhereSelected(bits + y * stride + static_cast<qsizetype>(x) * bytesPerPixel,
                          src.constScanLine(j) + static_cast<qsizetype>(columns.begin) * bytesPerPixel,
                          mask->constScanLine(y) + x, columns.end - columns.begin, bytesPerPixel);
    }
}

// A null destination becomes a 255-filled 8-bit mask of the source's size.
bool prepareMaskDestination(QImageEx& dst, const QImageEx& src) {
    if (!dst.isNull())
        return true;
    if (!QImageEx::create(dst, src.width(), src.height(), QImage::Format_Grayscale8))
        return false;
    dst.fill(255u);
    return true;
}

// Modes 1-5 of combineImageData over the rows and columns both masks cover.
void combineMasks(QImageEx& dst, const QImageEx& src, int mode) {
    if (mode < 1 || mode > 5)
        return;
    const int rows = std::min(dst.height(), src.height());
    uint8_t* bits = dst.bits();
    const qsizetype stride = dst.bytesPerLine();
    if (mode == 5) {
        const qsizetype rowBytes = std::min(dst.bytesPerLine(), src.bytesPerLine());
        for (int y = 0; y < rows; ++y)
            std::memcpy(bits + y * stride, src.constScanLine(y), rowBytes);
        return;
    }
    const int columns = static_cast<int>(
        std::min<qsizetype>({dst.width(), vq::usedRowBytes(dst), vq::usedRowBytes(src)}));
    for (int y = 0; y < rows; ++y)
        maskArithmeticRow(mode, bits + y * stride, src.constScanLine(y), columns);
}

// Modes 1 and 5 of combineSelectionData: each destination pixel reads the
// source at the transformed point.
void combineTransformed(QImageEx& dst, const QImageEx& src, const QTransform& transform, int mode) {
    const int width = static_cast<int>(std::min<qsizetype>(dst.width(), vq::usedRowBytes(dst)));
    const int srcWidth = static_cast<int>(std::min<qsizetype>(src.width(), vq::usedRowBytes(src)));
    const int srcHeight = src.height();
    const uint8_t* in = src.constBits();
    const qsizetype inStride = src.bytesPerLine();
    uint8_t* bits = dst.bits();
    const qsizetype stride = dst.bytesPerLine();

    // A whole-pixel translation maps x to x + dx exactly; anything else asks
    // QTransform for every pixel, so that its rounding is the one applied.
    const bool wholeShift = transform.type() <= QTransform::TxTranslate && transform.dx() == std::trunc(transform.dx()) &&
                            transform.dy() == std::trunc(transform.dy()) && std::fabs(transform.dx()) < 1e9 &&
                            std::fabs(transform.dy()) < 1e9;
    const int shiftX = wholeShift ? static_cast<int>(transform.dx()) : 0;
    const int shiftY = wholeShift ? static_cast<int>(transform.dy()) : 0;

    std::vector<int> tx(width), ty(width);
    for (int y = 0; y < dst.height(); ++y) {
        for (int x = 0; x < width; ++x) {
            if (wholeShift) {
                tx[x] = x + shiftX;
                ty[x] = y + shiftY;
            } else {
                transform.map(x, y, &tx[x], &ty[x]);
            }
        }
        uint8_t* d = bits + y * stride;
        for (int x = 0; x < width; ++x) {
            const bool inside = tx[x] >= 0 && tx[x] < srcWidth && ty[x] >= 0 && ty[x] < srcHeight;
            if (inside) {
                const uint8_t s = in[ty[x] * inStride + tx[x]];
                d[x] = mode == 1 ? std::max(s, d[x]) : s;
            } else if (mode == 1) {
                d[x] = 255;
            }
        }
    }
}

}  // namespace

void combineImage(QImageEx& dst, const QImageEx& mask, const QRect& rect, int mode) {
    vq::guarded([&] { combineMaskIntoRect(dst, mask, rect, mode); });
}

void combineImage(QImageEx& dst, const QImageEx* mask, const QImageEx& src, const QRect& rect) {
    copyThroughMask(dst, mask, src, rect);
}

bool combineImageData(QImageEx& dst, QImageEx& src, int mode) {
    if (src.isNull() || !prepareMaskDestination(dst, src))
        return false;
    combineMasks(dst, src, mode);
    return true;
}

bool combineSelectionData(QImageEx& dst, const QImageEx& src, const QTransform& transform, int mode) {
    if (src.isNull() || !prepareMaskDestination(dst, src))
        return false;
    return vq::guarded(false, [&] {
        if (mode == 1 || mode == 5)
            combineTransformed(dst, src, transform, mode);
        else
            combineMasks(dst, src, mode);
        return true;
    });
}
