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
    // For image row y, the mask row (null without a mask) and the end of the
    // columns it can select, `end` clipped to the mask's width; 0 when the
    // mask has no row y (nothing there is selected).
    int selectableEnd(int y, int end, const uint8_t*& maskRow) const {
        maskRow = nullptr;
        if (!present())
            return end;
        maskRow = row(y);
        return maskRow ? std::min(end, columns) : 0;
    }
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

enum class BandProgress { None, Report, ReportAndStop };

// Runs rowBody(row pointer, y) over the rows of `rect` in parallel bands,
// between beginDetach and endDetach; each row first reports its number as
// progress unless `progress` is None, and with ReportAndStop a false answer
// ends the band.
template <typename RowBody>
void runRowBands(QImageEx& image, const QRect& rect, BandProgress progress, RowBody&& rowBody) {
    image.beginDetach();
    uint8_t* bits = image.bits();
    const qsizetype stride = image.bytesPerLine();
    processLinesParallel(rect.top(), rect.height(), [&](int y, int end) {
        for (; y < end; ++y) {
            if (progress != BandProgress::None && !image.set_progress(y) && progress == BandProgress::ReportAndStop)
                break;
            rowBody(bits + y * stride, y);
        }
    });
    image.endDetach();
}

// Reporting progress; with stopOnCancel a false answer ends the band.
template <typename RowBody>
void forRowsInBands(QImageEx& image, const QRect& rect, bool stopOnCancel, RowBody&& rowBody) {
    runRowBands(image, rect, stopOnCancel ? BandProgress::ReportAndStop : BandProgress::Report, rowBody);
}

// For passes that promise no progress reports.
template <typename RowBody>
void forRowsInBandsQuietly(QImageEx& image, const QRect& rect, RowBody&& rowBody) {
    runRowBands(image, rect, BandProgress::None, rowBody);
}

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
