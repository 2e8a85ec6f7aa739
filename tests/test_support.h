// Helpers shared by the tests: images with reproducible random content and
// byte-level comparison of the visible part of images (row padding ignored).
#pragma once

#include <vqutil/qimageex.h>

#include <QImage>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>

namespace vqtest {

// A w x h image of `format` whose every byte (padding included) is random.
inline QImage randomImage(int w, int h, QImage::Format format, uint32_t seed = 1) {
    QImage image(w, h, format);
    std::mt19937 rng(seed);
    uint8_t* bits = image.bits();
    for (qsizetype i = 0; i < image.sizeInBytes(); ++i)
        bits[i] = static_cast<uint8_t>(rng());
    if (format == QImage::Format_Indexed8 || image.depth() == 1) {
        QVector<QRgb> table(image.depth() == 1 ? 2 : 256);
        for (QRgb& entry : table)
            entry = rng();
        image.setColorTable(table);
    }
    return image;
}

// Number of bytes a row of the image really uses.
inline qsizetype usedRowBytes(const QImage& image) {
    return (static_cast<qsizetype>(image.width()) * image.depth() + 7) / 8;
}

// True when both images have the same size, depth and visible bytes.
inline bool sameBytes(const QImage& a, const QImage& b) {
    if (a.size() != b.size() || a.depth() != b.depth())
        return false;
    for (int y = 0; y < a.height(); ++y)
        if (std::memcmp(a.constScanLine(y), b.constScanLine(y), usedRowBytes(a)) != 0)
            return false;
    return true;
}

// The four bytes B, G, R, A of a 32-bit pixel as a word.
inline uint32_t pixelWord(const QImage& image, int x, int y) {
    uint32_t word;
    std::memcpy(&word, image.constScanLine(y) + 4 * x, 4);
    return word;
}

}  // namespace vqtest
