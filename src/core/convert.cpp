// Image creation and the conversion of any depth to Format_ARGB32, the
// library's working format.
#include <vqutil/core.h>

#include "pixel_rows.h"

#include <array>
#include <cstring>

namespace {

using Palette = std::array<uint32_t, 256>;

// The colour table padded to 256 entries, so that any index is safe to look
// up; indices past the table give 0, as QImage::pixel does.
Palette paletteOf(const QImage& image) {
    Palette palette{};
    const QVector<QRgb> table = image.colorTable();
    const int count = std::min(table.size(), static_cast<int>(palette.size()));
    std::copy(table.constBegin(), table.constBegin() + count, palette.begin());
    return palette;
}

// Widens every row of src into dst (same size, 32 bits per pixel).
template <typename RowKernel>
void widenRows(const QImage& src, QImageEx& dst, RowKernel kernel) {
    const uint8_t* in = src.constBits();
    uint8_t* out = dst.bits();
    const qsizetype inStride = src.bytesPerLine();
    const qsizetype outStride = dst.bytesPerLine();
    for (int y = 0; y < src.height(); ++y, in += inStride, out += outStride)
        kernel(in, reinterpret_cast<uint32_t*>(out), src.width());
}

bool widenToArgb(const QImageEx& src, QImageEx& dst) {
    const Palette palette = paletteOf(src);
    switch (src.depth()) {
    case 1:
        widenRows(src, dst, [&](const uint8_t* in, uint32_t* out, int w) {
            vq::expandMonoRow(in, out, w, palette.data());
        });
        return true;
    case 4:
        widenRows(src, dst, [&](const uint8_t* in, uint32_t* out, int w) {
            vq::expandNibbleRow(in, out, w, palette.data());
        });
        return true;
    case 8:
        if (src.format() == QImage::Format_Indexed8) {
            widenRows(src, dst, [&](const uint8_t* in, uint32_t* out, int w) {
                vq::expandIndexedRow(in, out, w, palette.data());
            });
        } else {
            widenRows(src, dst, vq::expandGreyRow);
        }
        return true;
    case 24:
        widenRows(src, dst, vq::expandBgrRow);
        return true;
    default:
        return false;
    }
}

}  // namespace

bool CreateDib(int w, int h, int /*depth*/, QImageEx& img, unsigned char /*reserved*/) {
    QImageEx::create(img, w, h, QImage::Format_ARGB32);
    return true;
}

bool DuplicateDibData(QImageEx& dst, QImageEx& src) {
    dst = src.copyEx(QRect());
    return true;
}

bool convertToArgb(QImageEx& dst, const QImageEx& src) { return convertToArgbEx(dst, src, false); }

bool convertToArgbEx(QImageEx& dst, const QImageEx& src, bool deep) {
    if (src.isNull())
        return false;
    switch (src.format()) {
    case QImage::Format_ARGB32:
        dst = deep ? src.copy(QRect()) : src;
        return true;
    case QImage::Format_RGB32:
    case QImage::Format_ARGB32_Premultiplied: {
        QImageEx relabelled = deep ? src.copy(QRect()) : src;
        relabelled.setFormat(QImage::Format_ARGB32);
        dst = relabelled;
        return true;
    }
    default:
        break;
    }

    // Built aside so that dst stays as it was when allocation fails, and so
    // that dst may be src itself.
    QImageEx widened;
    if (!QImageEx::create(widened, src.width(), src.height(), QImage::Format_ARGB32))
        return false;
    if (!widenToArgb(src, widened))
        widened.fill(0u);
    dst = widened;
    return true;
}

bool AnyConvertTo24Bit(QImageEx& img) {
    if (img.depth() == 24 || img.depth() == 32)
        return true;
    QImageEx converted;
    if (convertToArgbEx(converted, img, false))
        img = converted;
    return true;
}

bool DibMyAddNoise(QImageEx& img, unsigned int /*amount*/) { return AnyConvertTo24Bit(img); }

bool Deflate8Bit(int, int, QImageEx& img, int) { return !img.isNull(); }
