// The tone-table operations: AdjustRGBOffset and AdjustCMYKOffset.
//
// A channel table followed by the master table is the same as one composed
// table (master[table[v]]), so each call composes its tables once and the
// row kernels do one lookup per byte. 4-byte pixels go through tables of
// pre-shifted words: one load and one store a pixel.
#include <vqutil/adjust.h>

#include "adjust_support.h"
#include "channel_tables.h"
#include "core/guard.h"
#include "core/image_rows.h"

#include <array>
#include <cstring>
#include <vector>

namespace {

using vq::ByteTable;
using vq::ChannelTables;
using vq::WordTables;

// table then master (either may be null: the identity).
ByteTable composed(const unsigned char* table, const unsigned char* master) {
    ByteTable out;
    for (int v = 0; v < 256; ++v) {
        const uint8_t first = table ? table[v] : static_cast<uint8_t>(v);
        out[v] = master ? master[first] : first;
    }
    return out;
}

void mapColourTable(QImageEx& image, const ChannelTables& t) {
    QVector<QRgb> table = image.colorTable();
    for (QRgb& entry : table)
        entry = qRgba(t.byte[2][qRed(entry)], t.byte[1][qGreen(entry)], t.byte[0][qBlue(entry)], qAlpha(entry));
    image.setColorTable(table);
}

bool adjustRgb(QImageEx& image, const QImageEx* mask, const ChannelTables& t) {
    vq::relabelGreyAsIndexed(image);
    const QRect rect = vq::maskedWorkRect(image, mask);
    if (image.format() == QImage::Format_Indexed8 || image.depth() == 1) {
        mapColourTable(image, t);
        return true;
    }
    const int bpp = vq::bytesPerPixel(image);
    if (bpp < 3 || rect.isEmpty())
        return true;
    const vq::MaskRows maskRows(mask);
    const WordTables words(t);
    vq::forRowsInBands(image, rect, true, [&](uint8_t* row, int y) {
        const uint8_t* m = nullptr;
        const int end = maskRows.selectableEnd(y, rect.right() + 1, m);
        if (bpp == 4)
            vq::mapRowWords(row, rect.left(), end, m, words);
        else
            vq::mapRowBytes(row, rect.left(), end, bpp, m, t);
    });
    return true;
}

// --- CMYK ----------------------------------------------------------------------------------------

using CmykTables = std::array<ByteTable, 4>;

void mapCmyk(uint8_t* cmyk, int pixels, const CmykTables& t) {
    for (int i = 0; i < pixels; ++i, cmyk += 4)
        for (int c = 0; c < 4; ++c)
            cmyk[c] = t[c][cmyk[c]];
}

bool adjustCmyk(QImageEx& image, const QImageEx* mask, const CmykTables& t) {
    const QRect rect = vq::maskedWorkRect(image, mask);
    if (image.format() == QImage::Format_Indexed8) {
        QVector<QRgb> table = image.colorTable();
        for (QRgb& entry : table) {
            unsigned char bgr[3] = {static_cast<unsigned char>(qBlue(entry)), static_cast<unsigned char>(qGreen(entry)),
                                    static_cast<unsigned char>(qRed(entry))};
            unsigned char cmyk[4];
            QImageEx::BgrToCmyk(cmyk, bgr, 1);
            mapCmyk(cmyk, 1, t);
            QImageEx::CmykToBgr(bgr, cmyk, 1);
            entry = qRgba(bgr[2], bgr[1], bgr[0], qAlpha(entry));
        }
        image.setColorTable(table);
        return true;
    }
    const int bpp = vq::bytesPerPixel(image);
    if (bpp < 3 || rect.isEmpty())
        return true;
    const vq::MaskRows maskRows(mask);
    const int left = rect.left();
    const int width = rect.width();
    image.beginDetach();
    uint8_t* bits = image.bits();
    const qsizetype stride = image.bytesPerLine();
    processLinesParallel(rect.top(), rect.height(), [&](int y, int end) {
        // Scratch rows allocated once per band.
        std::vector<uint8_t> bgr(static_cast<size_t>(width) * 3), cmyk(static_cast<size_t>(width) * 4);
        for (; y < end; ++y) {
            image.set_progress(y);  // CMYK bands are never cancelled
            uint8_t* row = bits + y * stride + static_cast<qsizetype>(left) * bpp;
            for (int x = 0; x < width; ++x)
                std::memcpy(&bgr[3 * x], row + static_cast<qsizetype>(x) * bpp, 3);
            QImageEx::BgrToCmyk(cmyk.data(), bgr.data(), static_cast<unsigned>(width));
            mapCmyk(cmyk.data(), width, t);
            QImageEx::CmykToBgr(bgr.data(), cmyk.data(), static_cast<unsigned>(width));
            const uint8_t* m = nullptr;
            const int usable = maskRows.selectableEnd(y, left + width, m) - left;
            for (int x = 0; x < usable; ++x)
                if (!m || m[left + x] == 0)
                    std::memcpy(row + static_cast<qsizetype>(x) * bpp, &bgr[3 * x], 3);
        }
    });
    image.endDetach();
    return true;
}

}  // namespace

bool AdjustRGBOffset(QImageEx& image, const QImageEx* mask, unsigned char* red, unsigned char* green,
                     unsigned char* blue, unsigned char* master) {
    if (image.isNull() || !red || !green || !blue)
        return false;
    const ChannelTables t{{composed(blue, master), composed(green, master), composed(red, master)}};
    return vq::guarded(false, [&] { return adjustRgb(image, mask, t); });
}

bool AdjustCMYKOffset(QImageEx& image, const QImageEx* mask, unsigned char* cyan, unsigned char* magenta,
                      unsigned char* yellow, unsigned char* black, unsigned char* master) {
    if (image.isNull())
        return false;
    const CmykTables t{composed(cyan, master), composed(magenta, master), composed(yellow, master),
                       composed(black, master)};
    return vq::guarded(false, [&] { return adjustCmyk(image, mask, t); });
}
