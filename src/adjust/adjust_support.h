// Pieces shared by the adjustment operations: the work rectangle of a
// masked operation, safe access to mask rows, the grey-to-indexed
// relabelling, and the band pass over the rows of a rectangle.
#pragma once

#include <vqutil/composite.h>

#include "core/image_rows.h"
#include "core/parallel.h"

#include <QRect>

#include <algorithm>
#include <cstdint>

namespace vq {

// The image's rectangle, narrowed to the mask's bounds (selected pixels,
// flag true) when a mask is given.
inline QRect maskedWorkRect(const QImage& image, const QImageEx* mask) {
    QRect rect = image.rect();
    if (mask)
        rect &= getMaskImageBouder(*mask, true);
    return rect;
}

// Rows of a selection mask, read-only; columns past the mask's bytes (a mask
// of another size) count as not selected.
struct MaskRows {
    const uint8_t* bits = nullptr;
    qsizetype stride = 0;
    int height = 0;
    int columns = 0;

    explicit MaskRows(const QImageEx* mask) {
        if (mask && !mask->isNull()) {
            bits = mask->constBits();
            stride = mask->bytesPerLine();
            height = mask->height();
            columns = static_cast<int>(std::min<qsizetype>(mask->width(), usedRowBytes(*mask)));
        }
    }
    bool present() const { return bits != nullptr; }
    // Row y, or null when the mask has no such row.
    const uint8_t* row(int y) const { return y >= 0 && y < height ? bits + y * stride : nullptr; }
};

// Grayscale8 and Alpha8 images become Format_Indexed8 with the same bytes
// and a colour table that shows what they showed (grey levels; black of
// that opacity), so that colour-table operations apply to them.
inline void relabelGreyAsIndexed(QImageEx& image) {
    const QImage::Format format = image.format();
    if (format != QImage::Format_Grayscale8 && format != QImage::Format_Alpha8)
        return;
    QVector<QRgb> table(256);
    for (int i = 0; i < 256; ++i)
        table[i] = format == QImage::Format_Grayscale8 ? qRgb(i, i, i) : qRgba(0, 0, 0, i);
    image.setFormat(QImage::Format_Indexed8);
    image.setColorTable(table);
}

// Runs rowBody(row pointer, y) over the rows of `rect` in parallel bands,
// between beginDetach and endDetach, reporting progress with the row number
// first; with stopOnCancel a false answer ends the band.
template <typename RowBody>
void forRowsInBands(QImageEx& image, const QRect& rect, bool stopOnCancel, RowBody&& rowBody) {
    image.beginDetach();
    uint8_t* bits = image.bits();
    const qsizetype stride = image.bytesPerLine();
    processLinesParallel(rect.top(), rect.height(), [&](int y, int end) {
        for (; y < end; ++y) {
            if (!image.set_progress(y) && stopOnCancel)
                break;
            rowBody(bits + y * stride, y);
        }
    });
    image.endDetach();
}

}  // namespace vq

namespace vq {

// The same without progress reports: for passes that promise none.
template <typename RowBody>
void forRowsInBandsQuietly(QImageEx& image, const QRect& rect, RowBody&& rowBody) {
    image.beginDetach();
    uint8_t* bits = image.bits();
    const qsizetype stride = image.bytesPerLine();
    processLinesParallel(rect.top(), rect.height(), [&](int y, int end) {
        for (; y < end; ++y)
            rowBody(bits + y * stride, y);
    });
    image.endDetach();
}

}  // namespace vq

namespace vq {

// Every colour-table entry becomes the grey greyOf(entry), alpha kept.
template <typename GreyOf>
void greyColourTable(QImageEx& image, GreyOf&& greyOf) {
    QVector<QRgb> table = image.colorTable();
    for (QRgb& e : table) {
        const int g = greyOf(e);
        e = qRgba(g, g, g, qAlpha(e));
    }
    image.setColorTable(table);
}

}  // namespace vq
