// The formats the blurs filter as they are, and the widening of the others.
#pragma once

#include <vqutil/core.h>

#include <QImage>

namespace vq {

// Images the blurs take as they are: 8-bit grey and alpha, 24 and 32 bits.
inline bool blurFormatAsItIs(const QImage& img) {
    return img.format() == QImage::Format_Alpha8 || img.format() == QImage::Format_Grayscale8 ||
           img.depth() == 24 || img.depth() == 32;
}

inline void prepareBlurFormat(QImageEx& img) {
    if (!blurFormatAsItIs(img))
        AnyConvertTo24Bit(img);
}

}  // namespace vq
