// Copies through weights and alpha: combineImageEx, combineImageByAlpha and
// combineChannelAlpha.
#include <vqutil/composite.h>

#include "blend_kernels.h"
#include "core/guard.h"
#include "core/image_rows.h"
#include "core/pixel_rows.h"
#include "core/scaling.h"

#include <QDebug>

#include <algorithm>
#include <array>
#include <vector>

namespace {

// --- combineImageEx -------------------------------------------------------------------------

// Where each destination column of combineImageEx reads its mask weight.
struct MaskSampling {
    const QImageEx* mask;
    int top;
    int left;
    double rowScale;
    double columnScale;
    bool perPixelScaled;  // 1- and 4-byte pixels; 3-byte ones read column i itself
};

// The mask columns of one destination row: either a contiguous run (no
// column scaling) or one looked-up column per pixel; -1 lies outside.
struct MaskColumns {
    std::vector<int> column;
    bool contiguous;
};

MaskColumns maskColumnsFor(const MaskSampling& sampling, vq::IndexRange columns, qsizetype maskRowBytes) {
    MaskColumns result{std::vector<int>(columns.end - columns.begin), false};
    for (int i = columns.begin; i < columns.end; ++i) {
        const int64_t c = sampling.perPixelScaled ? int64_t{sampling.left} + vq::truncToInt(i / sampling.columnScale) : i;
        result.column[i - columns.begin] = c >= 0 && c < maskRowBytes ? static_cast<int>(c) : -1;
    }
    result.contiguous = !result.column.empty() && result.column[0] >= 0;
    for (size_t k = 1; k < result.column.size() && result.contiguous; ++k)
        result.contiguous = result.column[k] == result.column[0] + static_cast<int>(k);
    return result;
}

// Weights of one destination row, one per pixel. Outside the mask the
// destination is kept (255); without a mask the source is taken (0).
void fillRowWeights(const MaskSampling& sampling, int j, const MaskColumns& columns, std::vector<uint8_t>& weights) {
    const QImageEx* mask = sampling.mask;
    if (!mask) {
        std::fill(weights.begin(), weights.end(), 0);
        return;
    }
    const int64_t maskRow = int64_t{sampling.top} + vq::truncToInt(j / sampling.rowScale);
    if (maskRow < 0 || maskRow >= mask->height()) {
        std::fill(weights.begin(), weights.end(), 255);
        return;
    }
    const uint8_t* m = mask->constScanLine(static_cast<int>(maskRow));
    if (columns.contiguous) {
        std::copy(m + columns.column.front(), m + columns.column.front() + weights.size(), weights.begin());
        return;
    }
    for (size_t k = 0; k < weights.size(); ++k)
        weights[k] = columns.column[k] >= 0 ? m[columns.column[k]] : 255;
}

void blendThroughMask(QImageEx& dst, const QRect& dstRect, const QImageEx& src, const QImageEx* mask,
                      const QRect& maskRect, const QSizeF& maskScale) {
    if (!vq::fitsImageBytes(dstRect.width(), dstRect.height(), 32))
        return;
    QImageEx piece = src;
    if (piece.size() != dstRect.size())
        piece = src.scaled(dstRect.width(), dstRect.height(), Qt::IgnoreAspectRatio, Qt::FastTransformation);
    if (dst.depth() < 8)
        dst.convertTo(QImage::Format_ARGB32);
    if (dst.depth() != piece.depth())
        piece = piece.convertToFormat(dst.format());
    if (piece.size() != dstRect.size() || dst.isNull())
        return;

    const int bytesPerPixel = vq::bytesPerPixel(piece);
    const vq::IndexRange rows = vq::visibleRange(dstRect.y(), dstRect.height(), dst.height());
    const vq::IndexRange columns = vq::visibleRange(dstRect.x(), dstRect.width(), dst.width());
    if (rows.empty() || columns.empty() || bytesPerPixel == 0)
        return;

    const MaskSampling sampling{mask, maskRect.top(), maskRect.left(), maskScale.height(), maskScale.width(),
                                bytesPerPixel == 1 || bytesPerPixel == 4};
    const MaskColumns maskColumns = maskColumnsFor(sampling, columns, mask ? vq::usedRowBytes(*mask) : 0);
    std::vector<uint8_t> weights(columns.end - columns.begin);

    uint8_t* bits = dst.bits();
    const qsizetype stride = dst.bytesPerLine();
    const qsizetype firstByte = (int64_t{dstRect.x()} + columns.begin) * bytesPerPixel;
    for (int j = rows.begin; j < rows.end; ++j) {
        fillRowWeights(sampling, j, maskColumns, weights);
        vq::blendPixels(bits + (dstRect.y() + j) * stride + firstByte,
                        piece.constScanLine(j) + static_cast<qsizetype>(columns.begin) * bytesPerPixel,
                        weights.data(), static_cast<int>(weights.size()), bytesPerPixel);
    }
}

// --- combineImageByAlpha --------------------------------------------------------------------

struct AlphaSource {
    const uint8_t* bits;
    qsizetype stride;
    const uint8_t* end;  // one past the image's bytes
    bool eightBit;
    bool invert;
};

// Reads pixel x of row y of the alpha image: the byte itself for 8-bit
// alpha, the byte at 5 x x of the row for 32-bit alpha (that stride is the
// original's). False when the read would leave the image.
inline bool alphaAt(const AlphaSource& alpha, int x, int y, uint8_t& m) {
    const uint8_t* p = alpha.bits + y * alpha.stride + (alpha.eightBit ? int64_t{x} : 5 * int64_t{x});
    if (p >= alpha.end)
        return false;
    m = alpha.eightBit && alpha.invert ? static_cast<uint8_t>(255 - *p) : *p;
    return true;
}

template <int Bpp>
void colourAndAlphaRow(uint8_t* d, const uint8_t* s, const AlphaSource& alpha, int y, int begin, int end,
                       bool ignoreSourceAlpha) {
    for (int x = begin; x < end; ++x) {
        uint8_t m;
        if (!alphaAt(alpha, x, y, m))
            continue;
        const uint8_t* sp = s + x * Bpp;
        uint8_t* dp = d + 4 * x;
        dp[0] = sp[0];
        if constexpr (Bpp >= 3) {
            dp[1] = sp[1];
            dp[2] = sp[2];
        }
        if constexpr (Bpp >= 4)
            dp[3] = ignoreSourceAlpha ? m : static_cast<uint8_t>(sp[3] * m / 255);
        else
            dp[3] = m;
    }
}

void colourAndAlphaRow(int bytesPerPixel, uint8_t* d, const uint8_t* s, const AlphaSource& alpha, int y, int begin,
                       int end, bool ignoreSourceAlpha) {
    switch (bytesPerPixel) {
    case 1: colourAndAlphaRow<1>(d, s, alpha, y, begin, end, ignoreSourceAlpha); break;
    case 2: colourAndAlphaRow<2>(d, s, alpha, y, begin, end, ignoreSourceAlpha); break;
    case 3: colourAndAlphaRow<3>(d, s, alpha, y, begin, end, ignoreSourceAlpha); break;
    default: colourAndAlphaRow<4>(d, s, alpha, y, begin, end, ignoreSourceAlpha); break;
    }
}

// The palette used to expand indexed and 1-bit rows to 32-bit colours; a
// 1-bit image with fewer than two entries reads as black and white.
std::array<uint32_t, 256> expansionPalette(const QImage& src) {
    std::array<uint32_t, 256> palette{};
    const QVector<QRgb> table = src.colorTable();
    if (src.depth() == 1 && table.size() < 2) {
        palette[0] = 0xFF000000u;
        palette[1] = 0xFFFFFFFFu;
        return palette;
    }
    std::copy(table.constBegin(), table.constBegin() + std::min(table.size(), 256), palette.begin());
    return palette;
}

bool mergeColourAndAlpha(QImageEx& dst, const QImageEx& src, const QImageEx& alpha, bool ignoreSourceAlpha,
                         const QRect& rect, bool invertAlpha) {
    if (alpha.isNull())
        return false;
    QImageEx fitted = alpha;
    if (rect.size() == src.size() && fitted.size() != src.size())
        fitted = vq::smoothScaled(alpha, src.width(), src.height());
    if (fitted.isNull())
        return true;
    if (fitted.size() != src.size())
        return false;
    if (dst.isNull() || dst.size() != src.size() || dst.depth() != 32) {
        if (!QImageEx::create(dst, src.width(), src.height(), QImage::Format_ARGB32))
            return false;
        dst.fill(0u);
    }
    if (fitted.depth() != 8 && fitted.depth() != 32)
        return true;

    const bool expand = src.format() == QImage::Format_Indexed8 || src.depth() == 1;
    const int bytesPerPixel = expand ? 4 : vq::bytesPerPixel(src);
    const QRect area = rect & src.rect();
    if (area.isEmpty() || bytesPerPixel == 0)
        return true;

    const AlphaSource alphaSource{fitted.constBits(), fitted.bytesPerLine(), fitted.constBits() + fitted.sizeInBytes(),
                                  fitted.depth() == 8, invertAlpha};
    const std::array<uint32_t, 256> palette = expand ? expansionPalette(src) : std::array<uint32_t, 256>{};
    std::vector<uint32_t> expanded(expand ? src.width() : 0);
    uint8_t* bits = dst.bits();
    const qsizetype stride = dst.bytesPerLine();
    for (int y = area.top(); y <= area.bottom(); ++y) {
        const uint8_t* s = src.constScanLine(y);
        if (expand) {
            if (src.depth() == 1)
                vq::expandMonoRow(s, expanded.data(), src.width(), palette.data());
            else
                vq::expandIndexedRow(s, expanded.data(), src.width(), palette.data());
            s = reinterpret_cast<const uint8_t*>(expanded.data());
        }
        colourAndAlphaRow(bytesPerPixel, bits + y * stride, s, alphaSource, y, area.left(), area.right() + 1,
                          ignoreSourceAlpha);
    }
    return true;
}

// --- combineChannelAlpha --------------------------------------------------------------------

void blendChannels(QImageEx& dst, const QImageEx& src, const QImageEx& alpha, const QRect& rect, int channels,
                   bool blend) {
    if (alpha.depth() != 8 || dst.depth() != 32) {
        qDebug("QImageEx::mergerImage error,channels != 1 || dst_channels !=4");
        return;
    }
    const QRect area = rect & dst.rect();
    if (area.isEmpty())
        return;
    const bool chosen[3] = {(channels & 1) != 0, (channels & 2) != 0, (channels & 4) != 0};
    const qsizetype sourceStart = static_cast<qsizetype>(area.left()) * vq::bytesPerPixel(src);
    const qsizetype sourceRowBytes = vq::usedRowBytes(src);
    const int alphaWidth = alpha.width();

    uint8_t* bits = dst.bits();
    const qsizetype stride = dst.bytesPerLine();
    for (int y = area.top(); y <= area.bottom(); ++y) {
        if (y >= alpha.height() || y >= src.height())
            break;
        const uint8_t* a = alpha.constScanLine(y);
        const uint8_t* s = src.constScanLine(y) + sourceStart;
        uint8_t* d = bits + y * stride;
        for (int x = area.left(); x <= area.right() && x < alphaWidth; ++x) {
            const qsizetype offset = 4 * static_cast<qsizetype>(x - area.left());
            if (sourceStart + offset + 3 > sourceRowBytes)
                break;
            const unsigned av = a[x];
            uint8_t* dp = d + 4 * x;
            for (int b = 0; b < 3; ++b) {
                if (!chosen[b])
                    continue;
                const unsigned sv = s[offset + b];
                dp[b] = static_cast<uint8_t>(blend ? (sv * av + dp[b] * (255 - av)) / 255
                                                   : sv * av / 255 + (255 - av));
            }
            if (blend)
                dp[3] = static_cast<uint8_t>(av);
        }
    }
}

}  // namespace

void combineImageEx(QImageEx& dst, const QRect& dstRect, const QImageEx& src, const QImageEx* mask,
                    const QRect& maskRect, QSizeF& maskScale) {
    vq::guarded([&] { blendThroughMask(dst, dstRect, src, mask, maskRect, maskScale); });
}

bool combineImageByAlpha(QImageEx& dst, const QImageEx& src, const QImageEx& alpha, bool ignoreSourceAlpha,
                         const QRect& rect, bool invertAlpha) {
    return vq::guarded(false, [&] {
        return mergeColourAndAlpha(dst, src, alpha, ignoreSourceAlpha, rect, invertAlpha);
    });
}

void combineChannelAlpha(QImageEx& dst, const QImageEx& src, const QImageEx& alpha, const QRect& rect, int channels,
                         bool blend) {
    blendChannels(dst, src, alpha, rect, channels, blend);
}
