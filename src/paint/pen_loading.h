// The image loaders of PENSTRUCT, generic over the handle that loads the file.
// CDib's own loader reads nothing, so the library's members always fail; a
// handle whose InitDibData(QString, float) succeeds reaches the rest.
#pragma once

#include <vqutil/paint.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace vq {

// Drops the image in `slot`, then asks a fresh Dib to load `path`: kept after
// ConvertTo24Bit (and ConvertToGray for `grey`) on success, dropped on failure.
template <class Dib>
bool loadPenImage(std::shared_ptr<CDib>& slot, bool& loadedFlag, const QString& path, bool grey) {
    slot.reset();
    std::shared_ptr<Dib> dib(new Dib);  // not make_shared: its type tag would be exported
    if (!dib->InitDibData(path, 1.0f)) {
        loadedFlag = false;
        return false;
    }
    dib->ConvertTo24Bit();
    if (grey)
        dib->ConvertToGray(0);
    slot = std::move(dib);
    loadedFlag = true;
    return true;
}

// A 32 x 32 image's bytes, after ConvertTo24Bit and ConvertToGray, fill the
// template column by column from column 255 down (rows 0..255 each) as
// (255 - b) 100 / 255; cells past the image's bytes get 0.
template <class Dib>
bool loadTemplateImage(PENSTRUCT& pen, const QString& path) {
    Dib dib;
    if (!dib.InitDibData(path, 1.0f) || dib.width() != 32 || dib.height() != 32)
        return false;
    dib.ConvertTo24Bit();
    dib.ConvertToGray(0);
    const QImageEx image = dib.toQImageRef();
    const uint8_t* bytes = image.constBits();
    const size_t available = bytes ? size_t(image.sizeInBytes()) : 0;
    size_t next = 0;
    for (int column = 255; column >= 0; --column)
        for (int row = 0; row < 256; ++row, ++next)
            pen.templatePlane[row][column] =
                next < available ? uint8_t((255 - bytes[next]) * 100 / 255) : 0;
    pen.penShape = SHAPE_TEMPLATE;
    return true;
}

}  // namespace vq
