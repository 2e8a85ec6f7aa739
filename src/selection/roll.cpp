// DibRoll: a cyclic shift of an image's rows and columns.
#include <vqutil/selection.h>

#include "core/guard.h"
#include "core/image_rows.h"

#include <cstring>
#include <vector>

namespace {

// ((v mod n) + n) mod n without overflow.
int wrapped(int64_t v, int n) { return static_cast<int>(((v % n) + n) % n); }

// Row `from` rotated right by `shift` whole pixels of `bpp` bytes into `to`.
void rollBytes(const uint8_t* from, uint8_t* to, int width, int bpp, int shift) {
    const size_t tail = static_cast<size_t>(width - shift) * bpp;  // pixels that move right
    std::memcpy(to + static_cast<size_t>(shift) * bpp, from, tail);
    std::memcpy(to, from + tail, static_cast<size_t>(shift) * bpp);
}

// The same for 1-bit rows, bits most (or least) significant first.
void rollBits(const uint8_t* from, uint8_t* to, int width, int shift, bool lsbFirst) {
    const auto bit = [lsbFirst](int x) { return static_cast<uint8_t>(lsbFirst ? 1u << (x & 7) : 0x80u >> (x & 7)); };
    std::memset(to, 0, static_cast<size_t>((width + 7) / 8));
    for (int x = 0; x < width; ++x)
        if (from[x >> 3] & bit(x)) {
            const int t = x + shift < width ? x + shift : x + shift - width;
            to[t >> 3] |= bit(t);
        }
}

}  // namespace

bool DibRoll(QImageEx& image, int dx, int dy) {
    if (image.isNull())
        return false;
    return vq::guarded(false, [&] {
        const int w = image.width(), h = image.height();
        const int shiftX = wrapped(dx, w), shiftY = wrapped(dy, h);
        if (shiftX == 0 && shiftY == 0)
            return true;
        const QImageEx source = image.copy();
        if (source.isNull())
            return false;
        const int depth = image.depth();
        const bool lsbFirst = image.format() == QImage::Format_MonoLSB;
        for (int y = 0; y < h; ++y) {
            const uint8_t* from = source.constScanLine(y);
            uint8_t* to = image.scanLine(y + shiftY < h ? y + shiftY : y + shiftY - h);
            if (depth == 1)
                rollBits(from, to, w, shiftX, lsbFirst);
            else if (depth % 8 == 0)
                rollBytes(from, to, w, depth / 8, shiftX);
        }
        return true;
    });
}
