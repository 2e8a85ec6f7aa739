// Haze removal and addition (DibAdjustHaze) from a dark-channel estimate.
//
// Haze mixes every scene colour J with the colour of the lit air A by the
// transmission t of the path: I = J t + A (1 - t). In a clear scene almost
// every small neighbourhood holds some dark channel (shadow, foliage, a
// saturated colour), so the smallest channel found around a pixel, relative
// to A, measures the haze in front of it: t = 1 - w dark / A.
//
// The dark channel here is the morphological opening of each pixel's
// smallest channel (minimum, then maximum over the square of the radius):
// the minimum alone would carry the low values of dark objects a radius
// into the bright haze beside them and leave a hazy halo around every
// silhouette; the maximum gives the bright side its area back. A blur of the
// same radius then softens the opening's square plateaus. The air colour is
// the mean colour of the brightest thousandth of the dark channel, which
// finds thick haze or sky rather than a white object.
//
// Per pixel the result depends on the dark value and the channel value
// only, so each channel is one 64 KiB table of those pairs.
#include <vqutil/adjust.h>

#include "adjust_support.h"
#include "core/guard.h"
#include "photo_support.h"

#include <algorithm>
#include <array>
#include <memory>
#include <mutex>

namespace {

using vq::BytePlane;

constexpr int kMaxRadius = 1000;
// The air is bright: a dark estimate (a night scene, no haze at all) would
// otherwise turn small dark values into thick haze.
constexpr double kLeastAirDark = 96;
// Full removal takes away this share of the estimated haze; the rest keeps
// the depth cue of distant parts.
constexpr double kRemovalShare = 0.95;
// Added haze takes the air colour, brightened so that its largest channel
// reaches at least this.
constexpr double kAddedHazeBrightness = 220;

// Bytes a pixel of the images the operation takes: 8-bit grey, 24 and 32 bits.
int hazeBytesPerPixel(const QImage& image) {
    if (image.format() == QImage::Format_Grayscale8)
        return 1;
    return image.depth() == 24 || image.depth() == 32 ? image.depth() / 8 : 0;
}

void minChannelRow(const uint8_t* in, uint8_t* out, int width, int bpp) {
    if (bpp == 1) {
        std::copy(in, in + width, out);
        return;
    }
    for (int x = 0; x < width; ++x, in += bpp)
        out[x] = std::min(in[0], std::min(in[1], in[2]));
}

// Per dark level: pixel count and channel sums.
struct LevelSums {
    std::array<uint64_t, 256> count{};
    std::array<std::array<uint64_t, 3>, 256> sum{};

    void add(const LevelSums& other) {
        for (int d = 0; d < 256; ++d) {
            count[d] += other.count[d];
            for (int c = 0; c < 3; ++c)
                sum[d][c] += other.sum[d][c];
        }
    }
};

void addLevelSums(const uint8_t* row, const uint8_t* dark, int width, int bpp, int channels, LevelSums& s) {
    for (int x = 0; x < width; ++x, row += bpp) {
        ++s.count[dark[x]];
        for (int c = 0; c < channels; ++c)
            s.sum[dark[x]][c] += row[c];
    }
}

struct Airlight {
    double colour[3] = {255, 255, 255};  // byte order
    double dark = 255;                   // its smallest channel, at least kLeastAirDark
};

bool estimateAirlight(const QImage& image, int bpp, const BytePlane& dark, Airlight& air) {
    const int channels = bpp == 1 ? 1 : 3;
    const uint8_t* bits = image.constBits();
    const qsizetype stride = image.bytesPerLine();
    LevelSums total;
    std::mutex merge;
    const bool done = vq::inParallelBands(dark.height(), [&](int y, int end) {
        auto band = std::make_unique<LevelSums>();
        for (; y < end; ++y)
            addLevelSums(bits + y * stride, dark.row(y), dark.width(), bpp, channels, *band);
        const std::lock_guard<std::mutex> lock(merge);
        total.add(*band);
    });
    if (!done)
        return false;
    const uint64_t pixels = uint64_t(dark.width()) * uint64_t(dark.height());
    const uint64_t wanted = std::max<uint64_t>(1, pixels / 1000);
    uint64_t count = 0;
    uint64_t sum[3] = {};
    for (int d = 255; d >= 0 && count < wanted; --d) {
        count += total.count[d];
        for (int c = 0; c < 3; ++c)
            sum[c] += total.sum[d][c];
    }
    double least = 255;
    for (int c = 0; c < channels; ++c) {
        air.colour[c] = static_cast<double>(sum[c]) / static_cast<double>(count);
        least = std::min(least, air.colour[c]);
    }
    air.dark = std::max(least, kLeastAirDark);
    return true;
}

// The result of channel value I under dark value D, at [D * 256 + I].
using HazeTable = std::vector<uint8_t>;

std::array<HazeTable, 3> hazeTables(const Airlight& air, int channels, double strength, double floor) {
    std::array<HazeTable, 3> tables;
    double haze[3];
    double brightest = 0;
    for (int c = 0; c < channels; ++c)
        brightest = std::max(brightest, air.colour[c]);
    for (int c = 0; c < channels; ++c)
        haze[c] = brightest < 1 ? kAddedHazeBrightness
                                : std::min(255.0, air.colour[c] * std::max(1.0, kAddedHazeBrightness / brightest));
    for (int c = 0; c < channels; ++c) {
        HazeTable& table = tables[c];
        table.resize(65536);
        const double A = air.colour[c];
        for (int D = 0; D < 256; ++D) {
            for (int I = 0; I < 256; ++I) {
                double J;
                if (strength > 0) {
                    const double t = std::max(floor, 1.0 - kRemovalShare * strength * D / air.dark);
                    J = A + (I - A) / t;
                } else {
                    const double depth = 0.5 + 0.5 * std::min(1.0, D / air.dark);
                    const double mix = std::min(1.0 - floor, -strength * depth);
                    J = I + mix * (haze[c] - I);
                }
                table[D * 256 + I] = vq::byteRounded(J);
            }
        }
    }
    return tables;
}

template <int Bpp, int Channels>
void hazeRow(uint8_t* row, const uint8_t* __restrict dark, int width, const uint8_t* const* tables) {
    for (int x = 0; x < width; ++x, row += Bpp) {
        const int base = dark[x] << 8;
        for (int c = 0; c < Channels; ++c)
            row[c] = tables[c][base | row[c]];
    }
}

bool adjustHaze(QImageEx& image, int bpp, double strength, double floor, int radius) {
    const int w = image.width();
    const int h = image.height();
    BytePlane dark(w, h);
    const uint8_t* bits = image.constBits();
    const qsizetype stride = image.bytesPerLine();
    if (!vq::inParallelBands(h, [&](int y, int end) {
            for (; y < end; ++y)
                minChannelRow(bits + y * stride, dark.row(y), w, bpp);
        }))
        return false;
    if (radius > 0) {
        BytePlane scratch(w, h);
        if (!vq::rankFilter(dark, scratch, radius, vq::Rank::Minimum) ||
            !vq::rankFilter(dark, scratch, radius, vq::Rank::Maximum) || !vq::blurPlane(dark, scratch, radius))
            return false;
    }
    Airlight air;
    if (!estimateAirlight(image, bpp, dark, air))
        return false;
    const int channels = bpp == 1 ? 1 : 3;
    const std::array<HazeTable, 3> tables = hazeTables(air, channels, strength, floor);
    const uint8_t* t[3] = {tables[0].data(), tables[1].data(), tables[2].data()};
    vq::forRowsInBands(image, image.rect(), true, [&](uint8_t* row, int y) {
        switch (bpp) {
        case 1: hazeRow<1, 1>(row, dark.row(y), w, t); break;
        case 3: hazeRow<3, 3>(row, dark.row(y), w, t); break;
        default: hazeRow<4, 3>(row, dark.row(y), w, t); break;
        }
    });
    return true;
}

}  // namespace

void DibAdjustHaze(QImageEx& image, float strength, float floor, int radius) {
    double s, t0;
    if (image.isNull() || !vq::clampedParameter(strength, -100, 100, s) || !vq::clampedParameter(floor, 0.05, 1, t0))
        return;
    const int bpp = hazeBytesPerPixel(image);
    if (s == 0 || t0 == 1 || bpp == 0)
        return;
    vq::guarded([&] { adjustHaze(image, bpp, s / 100, t0, std::clamp(radius, 0, kMaxRadius)); });
}
