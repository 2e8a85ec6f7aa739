// Point operations that keep the image's format: the hue-weighted black
// and white, hard threshold, posterisation, negative, solarisation and raw
// byte inversion.
#include <vqutil/adjust.h>

#include "adjust_support.h"
#include "core/guard.h"
#include "core/image_rows.h"
#include "core/pixel_math.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace {

using ByteTable = std::array<uint8_t, 256>;

void mapColourTable(QImageEx& image, const ByteTable& t) {
    QVector<QRgb> table = image.colorTable();
    for (QRgb& e : table)
        e = qRgba(t[qRed(e)], t[qGreen(e)], t[qBlue(e)], qAlpha(e));
    image.setColorTable(table);
}

// --- blackWhite ----------------------------------------------------------------------------------

// The six sector weights (percent / 100): red, yellow, green, cyan, blue,
// magenta; missing ones count 0.
struct SectorWeights {
    double red, yellow, green, cyan, blue, magenta;

    explicit SectorWeights(const QVector<int>& w) {
        double* fields[6] = {&red, &yellow, &green, &cyan, &blue, &magenta};
        for (int s = 0; s < 6; ++s)
            *fields[s] = s < w.size() ? w[s] / 100.0 : 0.0;
    }
};

// With m the smallest channel, the other two split into the part they share
// (k, a secondary hue: yellow, magenta or cyan) and the rest p of the
// larger one (a primary hue): v = p x primary + k x secondary. A third term
// of the written-out rule is always 0 x weight, which leaves the sum as it
// is, and when p or k is 0 the weight it meets does not matter, so the
// choice of weights below needs no tie-breaking. Written without branches
// so that it vectorises.
VQ_MULTIVERSION_WIDE void blackWhiteRow(uint8_t* __restrict row, int width, SectorWeights w) {
    for (int x = 0; x < width; ++x) {
        uint32_t pixel;
        std::memcpy(&pixel, row + 4 * x, 4);
        const int B = pixel & 0xFF, G = (pixel >> 8) & 0xFF, R = (pixel >> 16) & 0xFF;
        const int lo = std::min(std::min(R, G), B);
        const int hi = std::max(std::max(R, G), B);
        const int mid = R + G + B - lo - hi;
        const double primary = R == hi ? w.red : G == hi ? w.green : w.blue;
        const double secondary = B == lo ? w.yellow : G == lo ? w.magenta : w.cyan;
        double v = (hi - mid) * primary + (mid - lo) * secondary;
        // Beyond +-1024 the clamp below decides alone; keeps the conversion defined.
        v = std::min(std::max(v, -1024.0), 1024.0);
        const uint32_t out = static_cast<uint32_t>(std::clamp(static_cast<int>(v) + lo, 0, 255));
        pixel = (pixel & 0xFF000000u) | out * 0x010101u;
        std::memcpy(row + 4 * x, &pixel, 4);
    }
}

// --- thresholdSplit ------------------------------------------------------------------------------

// The grey R 0.2989 + G 0.587 + B 0.114 (summed in that order) never reaches
// 256, so "truncated grey >= threshold" is "sum >= threshold", and the sum
// grows with blue: per (red, green) pair the smallest blue that makes a
// pixel white is a byte-sized answer (256: none). 128 KiB, built per call.
struct WhiteFromBlue {
    std::vector<uint16_t> minBlue;  // index red << 8 | green

    explicit WhiteFromBlue(int threshold) : minBlue(65536) {
        for (int r = 0; r < 256; ++r)
            for (int g = 0; g < 256; ++g) {
                const double partial = r * 0.2989 + g * 0.587;
                // Start from the estimate, then settle on the exact boundary.
                int b = std::clamp(static_cast<int>((threshold - partial) / 0.114), 0, 256);
                while (b > 0 && partial + (b - 1) * 0.114 >= threshold)
                    --b;
                while (b < 256 && partial + b * 0.114 < threshold)
                    ++b;
                minBlue[(r << 8) | g] = static_cast<uint16_t>(b);
            }
    }
    bool white(int r, int g, int b) const { return b >= minBlue[(r << 8) | g]; }
};

bool thresholdWhite(int r, int g, int b, int threshold) {
    return (static_cast<int>(r * 0.2989 + g * 0.587 + b * 0.114) & 0xFF) >= threshold;
}

void thresholdRow(uint8_t* row, int width, int bpp, const uint16_t* __restrict minBlue) {
    for (int x = 0; x < width; ++x, row += bpp) {
        const uint8_t v = row[0] >= minBlue[(row[2] << 8) | row[1]] ? 255 : 0;
        row[0] = row[1] = row[2] = v;
    }
}

// --- negative, solarise, invert ------------------------------------------------------------------

VQ_MULTIVERSION void invertRowColours(uint8_t* row, int begin, int end, int bpp, const uint8_t* mask) {
    if (bpp == 4 && !mask) {
        for (int x = begin; x < end; ++x) {
            uint32_t p;
            std::memcpy(&p, row + 4 * x, 4);
            p ^= 0x00FFFFFFu;
            std::memcpy(row + 4 * x, &p, 4);
        }
        return;
    }
    for (int x = begin; x < end; ++x) {
        if (mask && mask[x])
            continue;
        uint8_t* p = row + static_cast<qsizetype>(x) * bpp;
        p[0] = static_cast<uint8_t>(~p[0]);
        p[1] = static_cast<uint8_t>(~p[1]);
        p[2] = static_cast<uint8_t>(~p[2]);
    }
}

// 64 bytes at a time, then the tail byte by byte.
VQ_MULTIVERSION void invertBytes(uint8_t* p, qsizetype count) {
    qsizetype i = 0;
    for (; i + 64 <= count; i += 64)
        for (int j = 0; j < 64; ++j)
            p[i + j] = static_cast<uint8_t>(~p[i + j]);
    for (; i < count; ++i)
        p[i] = static_cast<uint8_t>(~p[i]);
}

// --- removeSaturation ----------------------------------------------------------------------------

inline uint8_t hslLightness(int b0, int b1, int b2) {
    return static_cast<uint8_t>((std::max(std::max(b0, b1), b2) + std::min(std::min(b0, b1), b2)) >> 1);
}

VQ_MULTIVERSION void lightnessRowWords(uint8_t* __restrict row, int width) {
    for (int x = 0; x < width; ++x) {
        uint32_t p;
        std::memcpy(&p, row + 4 * x, 4);
        const uint32_t v = hslLightness(p & 0xFF, (p >> 8) & 0xFF, (p >> 16) & 0xFF);
        p = (p & 0xFF000000u) | v * 0x010101u;
        std::memcpy(row + 4 * x, &p, 4);
    }
}

void lightnessRowBytes(uint8_t* row, int width, int bpp) {
    for (int x = 0; x < width; ++x, row += bpp)
        row[0] = row[1] = row[2] = hslLightness(row[0], row[1], row[2]);
}

}  // namespace

bool blackWhite(QImageEx& image, const QVector<int>& weights) {
    if (image.isNull())
        return true;
    vq::guarded([&] {
        if (image.format() != QImage::Format_ARGB32)
            image.convertTo(QImage::Format_ARGB32);
        if (image.format() != QImage::Format_ARGB32)
            return;
        const SectorWeights sectors(weights);
        const int width = image.width();
        vq::forRowsInBands(image, image.rect(), false,
                           [&](uint8_t* row, int) { blackWhiteRow(row, width, sectors); });
    });
    return true;
}

bool thresholdSplit(QImageEx& image, int threshold) {
    if (threshold < 1)
        return false;
    if (image.isNull())
        return true;
    vq::guarded([&] {
        vq::relabelGreyAsIndexed(image);
        if (image.format() == QImage::Format_Indexed8) {
            vq::greyColourTable(image, [threshold](QRgb e) {
                return thresholdWhite(qRed(e), qGreen(e), qBlue(e), threshold) ? 255 : 0;
            });
            return;
        }
        const int bpp = vq::bytesPerPixel(image);
        if (bpp < 3)
            return;
        const WhiteFromBlue table(threshold);
        const int width = image.width();
        vq::forRowsInBands(image, image.rect(), true,
                           [&](uint8_t* row, int) { thresholdRow(row, width, bpp, table.minBlue.data()); });
    });
    return true;
}

bool posterize(QImageEx& image, int levels) {
    if (levels < 2 || levels > 255)
        return false;
    std::vector<int> level(levels);
    const double step = 255.0 / (levels - 1);
    for (int i = 0; i < levels; ++i)
        level[i] = static_cast<int>(i * step + 0.5);
    ByteTable table;
    for (int v = 0; v < 256; ++v) {
        const auto hi = std::lower_bound(level.begin(), level.end(), v);
        int out;
        if (hi == level.begin())
            out = level.front();
        else if (hi == level.end())
            out = level.back();
        else
            out = v - hi[-1] > *hi - v ? *hi : hi[-1];
        table[v] = static_cast<uint8_t>(out);
    }
    return AdjustRGBOffset(image, nullptr, table.data(), table.data(), table.data(), nullptr);
}

bool NegativeDib(QImageEx& image, const QImageEx* mask) {
    if (image.isNull())
        return true;
    vq::guarded([&] {
        const int bpp = vq::bytesPerPixel(image);
        const QRect rect = vq::maskedWorkRect(image, mask);
        const QImage::Format format = image.format();
        if (bpp == 3 || bpp == 4) {
            if (rect.isEmpty())
                return;
            const vq::MaskRows maskRows(mask);
            for (int y = rect.top(); y <= rect.bottom(); ++y) {
                const uint8_t* m;
                const int end = maskRows.selectableEnd(y, rect.right() + 1, m);
                invertRowColours(image.scanLine(y), rect.left(), end, bpp, m);
            }
        } else if (format == QImage::Format_Grayscale8 || format == QImage::Format_Alpha8) {
            for (int y = rect.top(); y <= rect.bottom(); ++y)
                invertBytes(image.scanLine(y) + rect.left(), rect.width());
        } else {
            ByteTable inverse;
            for (int v = 0; v < 256; ++v)
                inverse[v] = static_cast<uint8_t>(255 - v);
            mapColourTable(image, inverse);
        }
    });
    return true;
}

int DibSolarize(QImageEx& image, const QImageEx*, float level) {
    if (image.isNull())
        return 0;
    const int t = vq::truncToInt(level * 256 / 100);
    ByteTable table;
    for (int v = 0; v < 256; ++v)
        table[v] = static_cast<uint8_t>(v > t ? 255 - v : v);
    vq::guarded([&] {
        if (image.depth() <= 8) {
            mapColourTable(image, table);
            return;
        }
        const int bpp = vq::bytesPerPixel(image);
        const int channels = std::min(bpp, 3);
        for (int y = 0; y < image.height(); ++y) {
            image.set_progress(y);
            uint8_t* p = image.scanLine(y);
            for (int x = 0; x < image.width(); ++x, p += bpp)
                for (int c = 0; c < channels; ++c)
                    p[c] = table[p[c]];
        }
    });
    return 1;
}

bool invertImagePixels(QImageEx& image) {
    if (image.isNull())
        return false;
    return vq::guarded(false, [&] {
        uint8_t* bits = image.bits();
        const qsizetype stride = image.bytesPerLine();
        for (int y = 0; y < image.height(); ++y)
            invertBytes(bits + y * stride, stride);
        return true;
    });
}

bool removeSaturation(QImageEx& image) {
    const QImage::Format format = image.format();
    if (image.isNull() || format == QImage::Format_Alpha8 || format == QImage::Format_Grayscale8)
        return false;
    vq::guarded([&] {
        if (image.depth() < 8)
            image.convertTo(QImage::Format_Indexed8);
        if (image.format() == QImage::Format_Indexed8) {
            vq::greyColourTable(image, [](QRgb e) { return int{hslLightness(qBlue(e), qGreen(e), qRed(e))}; });
            return;
        }
        const int bpp = vq::bytesPerPixel(image);
        if (bpp < 3)
            return;
        const int width = image.width();
        vq::forRowsInBands(image, image.rect(), true, [&](uint8_t* row, int) {
            if (bpp == 4)
                lightnessRowWords(row, width);
            else
                lightnessRowBytes(row, width, bpp);
        });
    });
    return true;
}
