// Grey and black-and-white conversions: makeGrayscale8, Dib2Gray, the
// automatic threshold, convertToBW and its sketch and ink modes.
//
// The byte weightings differ between operations on purpose (and weight
// bytes by position, so 24- and 32-bit images differ); each is kept as the
// operation has always computed it.
#include <vqutil/adjust.h>
#include <vqutil/filters.h>

#include "adjust_support.h"
#include "core/guard.h"
#include "core/image_rows.h"
#include "core/pixel_math.h"

#include <QImage>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace {

// (R x 11 + G x 16 + B x 5) >> 5, the grey of colour-table entries.
int tableGrey(QRgb e) { return (qRed(e) * 11 + qGreen(e) * 16 + qBlue(e) * 5) >> 5; }

// truncate(0.587 b1 + 0.299 b0 + 0.114 b2 + 0.5) of a pixel's bytes.
uint8_t pixelGrey(const uint8_t* p) { return static_cast<uint8_t>(static_cast<int>(p[1] * 0.587 + p[0] * 0.299 + p[2] * 0.114 + 0.5)); }

VQ_MULTIVERSION void greyRow(const uint8_t* in, uint8_t* out, int width, int bpp) {
    for (int x = 0; x < width; ++x, in += bpp)
        out[x] = pixelGrey(in);
}

// 32-bit pixels composited by alpha over black (background grey 0) or white.
VQ_MULTIVERSION void greyRowOver(const uint8_t* in, uint8_t* out, int width, bool overWhite) {
    for (int x = 0; x < width; ++x, in += 4) {
        const int a = in[3];
        const int g = pixelGrey(in);
        out[x] = static_cast<uint8_t>(overWhite ? a * g / 255 + 255 - a : a * g / 255);
    }
}

// --- black and white ---------------------------------------------------------------------------

// The grey convertToBW compares with the threshold, for every pixel of a row.
void bwGreyRow(const QImage& src, int y, const std::array<int, 256>& indexedGrey, uint8_t* out) {
    const uint8_t* row = src.constScanLine(y);
    const int w = src.width();
    switch (src.depth()) {
    case 8:
        if (src.format() == QImage::Format_Indexed8)
            for (int x = 0; x < w; ++x)
                out[x] = static_cast<uint8_t>(indexedGrey[row[x]]);
        else
            std::copy(row, row + w, out);
        break;
    case 24:
        for (int x = 0; x < w; ++x, row += 3)
            out[x] = static_cast<uint8_t>((row[1] * 59 + row[2] * 30 + row[0] * 11) / 100);
        break;
    case 32:
        for (int x = 0; x < w; ++x, row += 4) {
            const int g = (row[0] * 11 + row[1] * 59 + row[2] * 30) / 100;
            const int a = row[3];
            out[x] = static_cast<uint8_t>(g * a / 255 + 255 - a);
        }
        break;
    default:
        std::fill(out, out + w, 0);
        break;
    }
}

// Indexed entries' grey composited over white (kept modulo 256, as before).
std::array<int, 256> indexedGreys(const QImage& src) {
    std::array<int, 256> greys{};
    const QVector<QRgb> table = src.colorTable();
    for (int i = 0; i < std::min(256, table.size()); ++i) {
        const int a = qAlpha(table[i]);
        greys[i] = (tableGrey(table[i]) * a / 255 + 255 - a) % 256;
    }
    return greys;
}

bool convertsToBW(const QImage& src) { return src.depth() == 8 || src.depth() == 24 || src.depth() == 32; }

// Otsu's threshold of a grey histogram: the level t maximising the
// between-class variance of [0..t] and [t+1..255].
int otsuThreshold(const std::array<double, 256>& counts) {
    double total = 0, weightedTotal = 0;
    for (int v = 0; v < 256; ++v) {
        total += counts[v];
        weightedTotal += v * counts[v];
    }
    if (total == 0)
        return 128;
    double darkCount = 0, darkSum = 0, best = -1;
    int threshold = 0;
    for (int t = 0; t < 255; ++t) {
        darkCount += counts[t];
        darkSum += t * counts[t];
        const double lightCount = total - darkCount;
        if (darkCount == 0 || lightCount == 0)
            continue;
        const double meanDark = darkSum / darkCount;
        const double meanLight = (weightedTotal - darkSum) / lightCount;
        const double between = darkCount * lightCount * (meanDark - meanLight) * (meanDark - meanLight);
        if (between > best) {
            best = between;
            threshold = t;
        }
    }
    if (best < 0)  // a single grey: no split exists
        return static_cast<int>(weightedTotal / total);
    return threshold;
}

// --- the sketch mode ---------------------------------------------------------------------------

// Colour dodge of every byte (alpha included) by the blurred copy `d`.
void dividePass(QImageEx& blurred, const QImage& source) {
    const qsizetype bytes = vq::usedRowBytes(source);
    for (int y = 0; y < source.height(); ++y) {
        const uint8_t* s = source.constScanLine(y);
        uint8_t* d = blurred.scanLine(y);
        for (qsizetype i = 0; i < bytes; ++i)
            d[i] = static_cast<uint8_t>(d[i] == 0 ? 255 : std::min(255, s[i] * 255 / d[i]));
    }
}

// Colour burn of every byte of `d` by the input `s`.
void burnPass(QImageEx& target, const QImage& input) {
    const qsizetype bytes = vq::usedRowBytes(input);
    for (int y = 0; y < input.height(); ++y) {
        const uint8_t* s = input.constScanLine(y);
        uint8_t* d = target.scanLine(y);
        for (qsizetype i = 0; i < bytes; ++i) {
            const int dv = d[i], sv = s[i];
            d[i] = static_cast<uint8_t>(dv >= 1 && dv <= 254 ? sv - (255 - dv) * (255 - sv) / dv : sv);
        }
    }
}

// --- ink ---------------------------------------------------------------------------------------

// Hue 0..360 and saturation 0..255 of a colour (the HSV model).
void hueAndSaturation(int r, int g, int b, int& hue, int& saturation) {
    const int max = std::max({r, g, b});
    const int min = std::min({r, g, b});
    const int delta = max - min;
    saturation = max == 0 ? 0 : delta * 255 / max;
    if (delta == 0) {
        hue = 0;
        return;
    }
    double h;
    if (max == r)
        h = 60.0 * (g - b) / delta;
    else if (max == g)
        h = 60.0 * (b - r) / delta + 120;
    else
        h = 60.0 * (r - g) / delta + 240;
    if (h < 0)
        h += 360;
    hue = static_cast<int>(h);
}

}  // namespace

void makeGrayscale8(QImageEx& dst, const QImageEx& src, unsigned int background) {
    if (src.format() == QImage::Format_Grayscale8)
        return;
    vq::guarded([&] {
        const int bg = (qRed(background) * 11 + qGreen(background) * 16 + qBlue(background) * 5) >> 5;
        std::array<uint8_t, 256> table{};
        const QVector<QRgb> colours = src.colorTable();
        for (int i = 0; i < std::min(256, colours.size()); ++i) {
            const int a = qAlpha(colours[i]);
            table[i] = static_cast<uint8_t>(a * tableGrey(colours[i]) / 255 + (255 - a) * bg / 255);
        }
        QImageEx out;
        if (!QImageEx::create(out, src.width(), src.height(), QImage::Format_Grayscale8))
            return;
        out.fill(0u);
        for (int y = 0; y < src.height(); ++y) {
            const uint8_t* in = src.constScanLine(y);
            uint8_t* o = out.scanLine(y);
            switch (src.depth()) {
            case 1:
                for (int x = 0; x < src.width(); ++x)
                    o[x] = table[(in[x >> 3] >> (7 - (x & 7))) & 1];
                break;
            case 8:
                for (int x = 0; x < src.width(); ++x)
                    o[x] = table[in[x]];
                break;
            case 24:
                greyRow(in, o, src.width(), 3);
                break;
            case 32:
                greyRowOver(in, o, src.width(), bg != 0);
                break;
            default:
                break;
            }
        }
        dst = out;
    });
}

void Dib2Gray(QImageEx& image, QImageEx* mask, bool) {
    if (image.format() == QImage::Format_Grayscale8)
        return;
    if (image.format() == QImage::Format_Indexed8) {
        vq::greyColourTable(image, [](QRgb e) {
            return static_cast<int>(qGreen(e) * 0.587 + qRed(e) * 0.299 + qBlue(e) * 0.114 + 0.5);
        });
        return;
    }
    const int bpp = vq::bytesPerPixel(image);
    if (bpp < 3)
        return;
    const CRect box = getBoundFromMask(image, mask);
    const vq::MaskRows maskRows(mask);
    uint8_t* bits = image.bits();
    const qsizetype stride = image.bytesPerLine();
    for (int y = box.top; y < box.bottom; ++y) {
        image.set_progress(y);
        uint8_t* row = bits + y * stride;
        const uint8_t* m;
        const int end = maskRows.selectableEnd(y, box.right, m);
        for (int x = box.left; x < end; ++x) {
            if (m && m[x])
                continue;
            uint8_t* p = row + static_cast<qsizetype>(x) * bpp;
            p[0] = p[1] = p[2] = pixelGrey(p);
        }
    }
}

int calDivideValue(const QImageEx& image) {
    if (image.isNull() || !convertsToBW(image))
        return 128;
    return vq::guarded(128, [&] {
        const std::array<int, 256> indexed = indexedGreys(image);
        std::array<double, 256> counts{};
        std::vector<uint8_t> greys(image.width());
        for (int y = 0; y < image.height(); ++y) {
            bwGreyRow(image, y, indexed, greys.data());
            for (uint8_t g : greys)
                counts[g] += 1;
        }
        return otsuThreshold(counts);
    });
}

bool convertToBW(QImageEx& dst, const QImageEx& src, int threshold) {
    if (src.depth() == 1) {
        dst = src;
        return true;
    }
    return vq::guarded(false, [&] {
        QImageEx out;
        if (!QImageEx::create(out, src.width(), src.height(), QImage::Format_Mono))
            return false;
        out.fill(0u);
        out.setColorTable({0xFF000000u, 0xFFFFFFFFu});
        if (threshold == 0)
            threshold = calDivideValue(src);
        if (convertsToBW(src)) {
            const std::array<int, 256> indexed = indexedGreys(src);
            std::vector<uint8_t> greys(src.width());
            for (int y = 0; y < src.height(); ++y) {
                bwGreyRow(src, y, indexed, greys.data());
                uint8_t* bitsRow = out.scanLine(y);
                for (int x = 0; x < src.width(); ++x)
                    if (greys[x] > threshold)
                        bitsRow[x >> 3] |= static_cast<uint8_t>(0x80 >> (x & 7));
            }
        }
        dst = out;
        return true;
    });
}

bool convertToBWEx(QImageEx& dst, const QImageEx& src, int threshold, int mode) {
    if (mode == 0)
        return convertToBW(dst, src, threshold);
    vq::guarded([&] {
        if (mode == 1) {
            QImageEx blurred = src.copy();
            GaussianBlur(blurred, 35, nullptr, true);
            // The blur widens formats it does not filter as they are; the
            // dodge then reads the source widened the same way.
            QImageEx base = src;
            if (blurred.format() != base.format() || blurred.size() != base.size()) {
                base = src.copy();
                AnyConvertTo24Bit(base);
                if (base.format() != blurred.format() || base.size() != blurred.size())
                    return;
            }
            dividePass(blurred, base);
            QImageEx copy = blurred.copy();
            burnPass(copy, blurred);
            convertToBW(dst, copy, threshold);
            return;
        }
        QImageEx converted;
        if (!convertToArgbEx(converted, src, false))
            return;
        converted = converted.copy();
        keepInkColour(converted, QStringLiteral("red"), int(int64_t(threshold) * 100 / 255), 0xFFFF0000u, 255);
        convertToBW(dst, converted, 128);
    });
    return true;
}

void keepInkColour(QImageEx& image, const QString& colour, int level, unsigned int ink, unsigned char background) {
    const bool red = colour == QLatin1String("red");
    const bool black = colour == QLatin1String("black");
    if ((!red && !black) || image.depth() != 32)
        return;
    // Ink painted with its blue byte at most 254.
    const uint32_t inkWord = (ink & 0xFFFFFF00u) | std::min<uint32_t>(ink & 0xFFu, 254);
    const uint32_t paper = 0xFF000000u | background * 0x010101u;
    // Widened: any int level is meaningful (below 0 or past 127 nothing or
    // everything passes), and none may overflow.
    const int64_t strongRed = 255 - int64_t(level);
    const int64_t weakOthers = 255 - 2 * int64_t(level);
    for (int y = 0; y < image.height(); ++y) {
        uint32_t* row = reinterpret_cast<uint32_t*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int r = qRed(row[x]), g = qGreen(row[x]), b = qBlue(row[x]);
            bool keep;
            if (red) {
                keep = r > strongRed && g < weakOthers && b < weakOthers;
                if (keep) {
                    int hue, saturation;
                    hueAndSaturation(r, g, b, hue, saturation);
                    keep = !(hue >= 61 && hue <= 239) && saturation >= 18;
                }
            } else {
                keep = r < level && g < level && b < level;
            }
            row[x] = keep ? inkWord : paper;
        }
    }
}

void CDib::ConvertToGray(int) { Dib2Gray(m_image, nullptr, false); }
