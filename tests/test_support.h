// Helpers shared by the tests: images with reproducible random content and
// byte-level comparison of the visible part of images (row padding ignored).
#pragma once

#include <vqutil/qimageex.h>

#include <gtest/gtest.h>

#include <QImage>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

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

// Checks every pixel of `result` (8, 24 or 32 bits) against the original
// pixel's bytes passed through rule(bytes, x, y); the bytes a rule leaves
// alone are expected unchanged (a 4-byte buffer, zero past the pixel).
template <typename Rule>
void expectPixels(const QImage& original, const QImage& result, Rule rule) {
    ASSERT_TRUE(result.size() == original.size() && result.depth() == original.depth());
    const int bpp = original.depth() / 8;
    for (int y = 0; y < original.height(); ++y)
        for (int x = 0; x < original.width(); ++x) {
            uint8_t expected[4] = {};
            std::memcpy(expected, original.constScanLine(y) + bpp * x, bpp);
            rule(expected, x, y);
            ASSERT_EQ(std::memcmp(result.constScanLine(y) + bpp * x, expected, bpp), 0)
                << "pixel " << x << "," << y << " of " << original.width() << " x " << original.height();
        }
}

// The four bytes B, G, R, A of a 32-bit pixel as a word.
inline uint32_t pixelWord(const QImage& image, int x, int y) {
    uint32_t word;
    std::memcpy(&word, image.constScanLine(y) + 4 * x, 4);
    return word;
}

// The 0xAARRGGBB words of row y of a 32-bit image.
inline std::vector<uint32_t> wordsOf(const QImage& image, int y = 0) {
    std::vector<uint32_t> words(image.width());
    std::memcpy(words.data(), image.constScanLine(y), 4 * words.size());
    return words;
}

// 256 x 1 ARGB32: pixel x is grey x with alpha 255 - x.
inline QImage greyRamp() {
    QImage image(256, 1, QImage::Format_ARGB32);
    for (int x = 0; x < 256; ++x)
        reinterpret_cast<QRgb*>(image.scanLine(0))[x] = qRgba(x, x, x, 255 - x);
    return image;
}

// A w x h image whose pixels are given row by row: bytes for 8-bit formats,
// 0xAARRGGBB words for 32-bit ones.
inline QImage imageOf(int w, int h, QImage::Format format, std::initializer_list<uint32_t> pixels) {
    QImage image(w, h, format);
    image.fill(0u);
    auto it = pixels.begin();
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w && it != pixels.end(); ++x, ++it) {
            if (image.depth() == 8)
                image.scanLine(y)[x] = static_cast<uint8_t>(*it);
            else
                std::memcpy(image.scanLine(y) + 4 * x, &*it, 4);
        }
    return image;
}

// One row of opaque (or not) colours, ARGB32.
inline QImage colours(std::initializer_list<QRgb> pixels) {
    QImage image(static_cast<int>(pixels.size()), 1, QImage::Format_ARGB32);
    int x = 0;
    for (QRgb p : pixels)
        reinterpret_cast<QRgb*>(image.scanLine(0))[x++] = p;
    return image;
}

inline QImage filled(int w, int h, QImage::Format format, uint32_t value) {
    QImage image(w, h, format);
    image.fill(value);
    return image;
}

// The bytes of row y from column `from` on (`count` of them).
inline std::vector<int> rowOf(const QImage& image, int y, int from = 0, int count = -1) {
    const uint8_t* row = image.constScanLine(y);
    if (count < 0)
        count = static_cast<int>(usedRowBytes(image)) - from;
    return std::vector<int>(row + from, row + from + count);
}

// Collects what the library prints through Qt's debug logger while alive.
class DebugMessages {
public:
    DebugMessages() {
        messages().clear();
        previous() = qInstallMessageHandler(&DebugMessages::collect);
    }
    ~DebugMessages() { qInstallMessageHandler(previous()); }
    static QStringList& messages() {
        static QStringList list;
        return list;
    }

private:
    static QtMessageHandler& previous() {
        static QtMessageHandler handler = nullptr;
        return handler;
    }
    static void collect(QtMsgType, const QMessageLogContext&, const QString& message) { messages() << message; }
};

}  // namespace vqtest
