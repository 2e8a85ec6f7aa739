// Smooth resampling that keeps the image's format.
//
// QImage::scaled with Qt::SmoothTransformation returns 32-bit images for
// every other format (grey and 24-bit ones as RGB32, images with alpha as
// ARGB32_Premultiplied). The library's operations expect a mask to stay an
// 8-bit mask and an ARGB32 image to keep straight alpha, so the result is
// converted back to the source's format, except for palette formats, whose
// colours would have to be requantised.
#pragma once

#include <QImage>

#include <cstdint>

namespace vq {

// Results past 2^31 bytes (at 32 bits a pixel, Qt's smooth format) are
// refused: a null image.
inline QImage smoothScaled(const QImage& image, int width, int height) {
    if (width > 0 && height > 0 && int64_t{width} * 4 > (int64_t{1} << 31) / height)
        return QImage();
    QImage scaled = image.scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    const bool palette = image.format() == QImage::Format_Indexed8 || image.depth() < 8;
    if (!scaled.isNull() && !palette && scaled.format() != image.format())
        scaled = scaled.convertToFormat(image.format());
    return scaled;
}

}  // namespace vq
