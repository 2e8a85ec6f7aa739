// Levels: the table builder, its application to RGB and CMYK images, and
// the automatic levels.
#include <vqutil/adjust.h>

#include "core/guard.h"
#include "core/image_rows.h"
#include "levels_support.h"

#include <array>
#include <cmath>
#include <cstring>
#include <memory>

namespace {

// One channel's levels: input range, gamma (already inverted, as float),
// output range (inverted when white is below black).
double applyLevels(double v, double inBlack, double inWhite, double inverseGamma, double outBlack, double outWhite) {
    v -= inBlack;
    if (inWhite != inBlack)
        v /= inWhite - inBlack;
    if (inverseGamma != 1.0 && v > 0)
        v = std::pow(v, inverseGamma);
    if (outWhite >= outBlack)
        return v * (outWhite - outBlack) + outBlack;
    return outBlack - (outBlack - outWhite) * v;
}

// The byte tables of rows 0..count-1: truncate(entry x 255.0f). A config the
// builder rejects gives identity tables (the image is left as it is).
template <int Count>
std::array<std::array<uint8_t, 256>, Count> levelByteTables(const ColorLevelsConfig* config) {
    float table[4][256];
    for (int r = 0; r < 4; ++r)
        for (int i = 0; i < 256; ++i)
            table[r][i] = static_cast<float>(i / 255.0);
    color_levels_process(table, config);
    std::array<std::array<uint8_t, 256>, Count> bytes{};
    for (int r = 0; r < Count; ++r)
        for (int i = 0; i < 256; ++i)
            bytes[r][i] = static_cast<uint8_t>(static_cast<int>(table[r][i] * 255.0f));
    return bytes;
}

}  // namespace

bool color_levels_process(float table[4][256], const ColorLevelsConfig* config) {
    if (!config || !table)
        return false;
    for (double g : config->gamma)
        if (!(g >= 0.001))
            return false;
    double inverseGamma[5];
    for (int k = 0; k < 5; ++k)
        inverseGamma[k] = static_cast<float>(1.0 / config->gamma[k]);
    const ColorLevelsConfig& c = *config;
    for (int channel = 1; channel <= 4; ++channel)
        for (int i = 0; i < 256; ++i) {
            double v = applyLevels(i / 255.0, c.inputBlack[channel], c.inputWhite[channel], inverseGamma[channel],
                                   c.outputBlack[channel], c.outputWhite[channel]);
            v = applyLevels(v, c.inputBlack[0], c.inputWhite[0], inverseGamma[0], c.outputBlack[0], c.outputWhite[0]);
            table[channel - 1][i] = static_cast<float>(v < 0.0 ? 0.0 : v > 1.0 ? 1.0 : v);
        }
    return true;
}

bool vqDoColorLevel(QImageEx& image, const QImageEx* mask, const ColorLevelsConfig* config) {
    if (image.isNull() || !config)
        return false;
    auto t = levelByteTables<3>(config);
    AdjustRGBOffset(image, mask, t[0].data(), t[1].data(), t[2].data(), nullptr);
    return true;
}

bool vqDoColorLevelCMYK(QImageEx& image, const QImageEx* mask, const ColorLevelsConfig* config) {
    if (image.isNull() || !config)
        return false;
    auto t = levelByteTables<4>(config);
    AdjustCMYKOffset(image, mask, t[0].data(), t[1].data(), t[2].data(), t[3].data(), nullptr);
    return true;
}

// --- automatic levels ----------------------------------------------------------------------------

namespace vq {

ClipPoints clipPoints(const double* counts) {
    double total = 0;
    for (int i = 0; i < 256; ++i)
        total += counts[i];
    ClipPoints clip;
    if (total == 0)
        return ClipPoints{0, 0};
    const auto distance = [&](double share) { return std::fabs(share / total - kClipShare); };
    double cumulative = counts[0];
    for (int k = 0; k <= 254; ++k) {
        const double next = cumulative + counts[k + 1];
        if (distance(next) > distance(cumulative)) {
            clip.black = k + 1;
            break;
        }
        cumulative = next;
    }
    double fromTop = counts[255];
    for (int k = 255; k >= 1; --k) {
        const double next = fromTop + counts[k - 1];
        if (distance(next) > distance(fromTop)) {
            clip.white = k - 1;
            break;
        }
        fromTop = next;
    }
    return clip;
}

}  // namespace vq

namespace {

struct ChannelLevels {
    int inBlack = 0;
    double gamma = 1.0;
    int inWhite = 255;
    int outBlack = 0;
    int outWhite = 255;
};

// The composed look-up of one channel: out[in[v]].
std::array<uint8_t, 256> levelLookup(const ChannelLevels& c) {
    std::array<uint8_t, 256> table{};
    for (int i = 0; i < 256; ++i) {
        double v = c.inWhite != c.inBlack ? double(i - c.inBlack) / (c.inWhite - c.inBlack) : double(i - c.inBlack);
        v = v < 0.0 ? 0.0 : v > 1.0 ? 1.0 : v;
        if (c.gamma != 0)
            v = std::pow(v, 1 / c.gamma);
        const int in = static_cast<int>(v * 255 + 0.5);
        double out = c.outWhite < c.outBlack ? c.outBlack - double(c.outBlack - c.outWhite) * in / 255
                                             : double(c.outWhite - c.outBlack) * in / 255 + c.outBlack;
        out = out < 0.0 ? 0.0 : out > 255.0 ? 255.0 : out;
        table[i] = static_cast<uint8_t>(static_cast<int>(out + 0.5));
    }
    return table;
}

// Counts of bytes 0, 1, 2, four partial tables each so that runs of equal
// bytes do not wait on one counter.
struct ByteHistograms {
    uint32_t counts[3][4][256] = {};

    void add(const uint8_t* row, int width, int bpp) {
        int x = 0;
        for (; x + 4 <= width; x += 4)
            for (int k = 0; k < 4; ++k) {
                const uint8_t* p = row + static_cast<qsizetype>(x + k) * bpp;
                ++counts[0][k][p[0]];
                ++counts[1][k][p[1]];
                ++counts[2][k][p[2]];
            }
        for (; x < width; ++x) {
            const uint8_t* p = row + static_cast<qsizetype>(x) * bpp;
            ++counts[0][0][p[0]];
            ++counts[1][0][p[1]];
            ++counts[2][0][p[2]];
        }
    }
    double total(int channel, int v) const {
        return double(counts[channel][0][v]) + counts[channel][1][v] + counts[channel][2][v] + counts[channel][3][v];
    }
};

int autoLevel(QImageEx& image) {
    if (image.depth() != 24 && image.depth() != 32)
        image.convertTo(QImage::Format_ARGB32);
    const int w = image.width();
    const int h = image.height();
    const int bpp = vq::bytesPerPixel(image);
    if (w < 1 || h < 1 || bpp < 3)
        return 0;

    // Counts of bytes 0, 1, 2 (the "value" channel keeps the identity in
    // colour mode, so its counts are not needed).
    auto histograms = std::make_unique<ByteHistograms>();
    for (int y = h - 1; y >= 0; --y)
        histograms->add(image.constScanLine(y), w, bpp);
    std::array<std::array<uint8_t, 256>, 3> lookup;
    for (int c = 0; c < 3; ++c) {
        double counts[256];
        for (int v = 0; v < 256; ++v)
            counts[v] = histograms->total(c, v);
        const vq::ClipPoints clip = vq::clipPoints(counts);
        ChannelLevels levels;
        levels.inBlack = clip.black;
        levels.inWhite = clip.white;
        lookup[c] = levelLookup(levels);
    }

    uint8_t* bits = image.bits();
    const qsizetype stride = image.bytesPerLine();
    int64_t brightness = 0;
    for (int y = h - 1; y >= 0; --y) {
        image.set_progress(y);
        uint8_t* p = bits + y * stride;
        for (int x = 0; x < w; ++x, p += bpp) {
            p[0] = lookup[0][p[0]];
            p[1] = lookup[1][p[1]];
            p[2] = lookup[2][p[2]];
            brightness += (3 * p[0] + 6 * p[1] + p[2]) / 10;
        }
    }
    return static_cast<int>(brightness / (int64_t{w} * h));
}

}  // namespace

int ThAutoLevel(QImageEx& image) {
    if (image.isNull())
        return 0;
    return vq::guarded(0, [&] { return autoLevel(image); });
}
