// Exposure: in stops, with offset and gamma, and the slider form.
#include <vqutil/adjust.h>

#include "adjust_support.h"
#include "channel_tables.h"
#include "core/byte_rules.h"
#include "core/guard.h"
#include "core/image_rows.h"
#include "core/pixel_math.h"

#include <algorithm>
#include <cmath>

namespace {

// Bytes 0, 1, 2 of 24-bit and deeper pixels through one table, in bands,
// without progress reports; colour-table entries for other images.
void applyToColours(QImageEx& image, const vq::ByteTable& table) {
    if (image.depth() < 24) {
        QVector<QRgb> colours = image.colorTable();
        for (QRgb& e : colours)
            e = qRgba(table[qRed(e)], table[qGreen(e)], table[qBlue(e)], qAlpha(e));
        image.setColorTable(colours);
        return;
    }
    const vq::ChannelTables tables{{table, table, table}};
    const vq::WordTables words(tables);
    const int width = image.width();
    const int bpp = vq::bytesPerPixel(image);
    vq::forRowsInBandsQuietly(image, image.rect(), [&](uint8_t* row, int) {
        if (bpp == 4)
            vq::mapRowWords(row, 0, width, nullptr, words);
        else
            vq::mapRowBytes(row, 0, width, bpp, nullptr, tables);
    });
}

vq::ByteTable exposureTable(double stops, double offset, double gamma) {
    const double k = std::pow(2.0, stops);
    if (gamma != 0)
        gamma = std::max(gamma, 0.01);  // NaN stays NaN: pow gives NaN, which saturates to 0
    vq::ByteTable table;
    for (int i = 0; i < 256; ++i) {
        const int a = vq::truncSaturated(i * k);
        int b = vq::truncSaturated(a + offset * 255.0);
        if (gamma != 0 && b > 0)
            b = vq::truncSaturated(std::pow(static_cast<float>(b) / 255.0f, 1 / gamma) * 255.0);
        table[i] = vq::byteClamped(b);
    }
    return table;
}

}  // namespace

void DibAdjustExposure(QImageEx& image, double exposure, double offset, double gamma) {
    if (image.isNull())
        return;
    vq::guarded([&] { applyToColours(image, exposureTable(exposure, offset, gamma)); });
}

void exposure(QImageEx& image, float ev, float gamma) {
    if (image.isNull())
        return;
    const float stops = ev > 0 ? ev * 8 / 20 : ev * 0.5f;
    const double k = std::pow(2.0, static_cast<double>(stops));
    unsigned char table[256];
    for (int i = 0; i < 256; ++i) {
        const int first = std::clamp(
            vq::truncSaturated(std::pow(static_cast<float>(i / 255.0), 1 / gamma) * 255.0), 0, 255);
        table[i] = vq::byteClamped(vq::truncSaturated(first * k));
    }
    AdjustRGBOffset(image, nullptr, table, table, table, nullptr);
}
