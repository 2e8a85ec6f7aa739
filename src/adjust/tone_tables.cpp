// The table-driven colour corrections that CDib offers as static members
// (contrast, gamma, channel offsets, brightness with contrast, colour
// contrast with offset), and the automatic brightness and contrast. Each
// builds byte tables and applies them with AdjustRGBOffset.
#include <vqutil/adjust.h>

#include "core/byte_rules.h"
#include "levels_support.h"

#include <QImage>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace {

using Table = std::array<unsigned char, 256>;

Table identityTable() {
    Table t;
    for (int i = 0; i < 256; ++i)
        t[i] = static_cast<unsigned char>(i);
    return t;
}

void applyTables(QImageEx& image, const QImageEx* mask, Table& red, Table& green, Table& blue) {
    AdjustRGBOffset(image, mask, red.data(), green.data(), blue.data(), nullptr);
}

}  // namespace

bool CDib::getColorMapByContrast(unsigned char* red, unsigned char* green, unsigned char* blue, double c1, double c2,
                                 double c3, unsigned long) {
    if (std::fabs(c1 - 1) < 0.001 && std::fabs(c2 - 1) < 0.001 && std::fabs(c3 - 1) < 0.001)
        return false;
    if (c1 < 0 || !red || !green || !blue)
        return false;
    if (c2 < 0.001)
        c2 = c1;
    if (c3 < 0.001)
        c3 = c1;
    unsigned char* tables[3] = {red, green, blue};
    const double contrasts[3] = {c1, c2, c3};
    for (int k = 0; k < 3; ++k)
        for (int i = 0; i < 256; ++i)
            tables[k][i] = vq::byteTruncated((tables[k][i] - 128) * contrasts[k] + 128);
    return true;
}

void CDib::Contrast(QImageEx& image, const QImageEx* mask, double red, double green, double blue, unsigned long flags) {
    Table r = identityTable(), g = identityTable(), b = identityTable();
    getColorMapByContrast(r.data(), g.data(), b.data(), red, green, blue, flags);
    applyTables(image, mask, r, g, b);
}

void CDib::Gramma(QImageEx& image, const QImageEx* mask, int red, int green, int blue) {
    const auto valid = [](int g) { return g >= 1 && g <= 100; };
    if (!valid(red))
        return;
    if (!valid(green))
        green = red;
    if (!valid(blue))
        blue = red;
    if (red == 50 && green == 50 && blue == 50)
        return;
    const auto gammaTable = [](int g) {
        const double exponent = 1 / std::pow(10.0, g / 50.0 - 1);
        Table t;
        t[0] = 0;
        t[255] = 255;
        for (int i = 1; i <= 254; ++i)
            t[i] = vq::byteTruncated(std::pow(i / 255.0, exponent) * 255);
        return t;
    };
    Table r = gammaTable(red), g = gammaTable(green), b = gammaTable(blue);
    applyTables(image, mask, r, g, b);
}

void CDib::ColorBalana(QImageEx& image, const QImageEx* mask, int red, int green, int blue) {
    Table r, g = identityTable(), b;
    for (int i = 0; i < 256; ++i) {
        r[i] = vq::byteClamped(int64_t(i) + red - green);
        b[i] = vq::byteClamped(int64_t(i) + blue - green);
    }
    applyTables(image, mask, r, g, b);
}

void CDib::adjustBrightAndContrast(QImageEx& image, const QImageEx* mask, double contrast, double brightness) {
    const double k = contrast < 1 ? contrast * 0.2 + 0.8 : (contrast - 1) * 0.5 + 1;
    Table t;
    for (int i = 0; i < 256; ++i) {
        double v;
        if (brightness * 255 > 0)
            v = i / (2 * (127 - brightness * 255 * 0.6)) * 255;  // a stretch: the top comes sooner
        else
            v = i + brightness * 255;  // a shift down
        const int level = vq::byteTruncated(v);
        t[i] = vq::byteTruncated((level - 128) * k + 128);
    }
    applyTables(image, mask, t, t, t);
}

void CDib::adjustColor(QImageEx& image, const QImageEx* mask, double contrast, int offset, int) {
    Table r = identityTable(), g = identityTable(), b = identityTable();
    getColorMapByContrast(r.data(), g.data(), b.data(), contrast, contrast, contrast, 0);
    for (Table* t : {&r, &g, &b})
        for (unsigned char& entry : *t)
            entry = static_cast<unsigned char>(std::clamp<int64_t>(int64_t{entry} + offset, 0, 255));
    applyTables(image, mask, r, g, b);
}

void adjustBrightAndContrastQImage(QImage& image, double contrast, double brightness) {
    QImageEx wrapped(image);
    CDib::adjustBrightAndContrast(wrapped, nullptr, contrast, brightness);
    image = wrapped;
}

void getAutoBrightContractValue(QImageEx& image, double& brightness, double& contrast) {
    brightness = 0;
    contrast = 1;
    int counts[256];
    getHistoGramGrey(image, counts);
    double histogram[256];
    for (int i = 0; i < 256; ++i)
        histogram[i] = counts[i];
    const vq::ClipPoints clip = vq::clipPoints(histogram);
    const double low = clip.black, high = clip.white;
    if (!(high > low))
        return;
    // (s i - 128) k + 128 sends low to 0 and high to 255.
    double k = 1 + 255 * low / (128 * (high - low));
    double s = 255 / ((high - low) * k);
    if (s <= 255.0 / 254) {
        // No stretch available from the brightness (it starts at 255 / 254):
        // stretch with the contrast alone.
        s = 1;
        k = 255 / (high - low);
    }
    brightness = s == 1 ? 0.0 : (254 - 255 / s) / 306;
    contrast = k >= 1 ? 2 * k - 1 : (k - 0.8) / 0.2;
}
