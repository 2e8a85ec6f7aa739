// The fast per-pixel paths of the adjustments against the rules written out
// plainly, on images large enough to run in several bands (this binary also
// runs under ThreadSanitizer).
#include <vqutil/adjust.h>

#include "adjust/temperature.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace {

// The hue-sector rule with its three cases, written out as blackWhite documents it.
uint8_t blackWhiteReference(int R, int G, int B, const double w[6]) {
    const int m = std::min({R, G, B});
    const int r = R - m, g = G - m, b = B - m;
    double v;
    if (r > 0 && g > 0) {
        const int k = std::min(r, g);
        v = (r - k) * w[0] + k * w[1] + (g - k) * w[2];
    } else if (r > 0) {
        const int k = std::min(r, b);
        v = (r - k) * w[0] + k * w[5] + (b - k) * w[4];
    } else {
        const int k = std::min(g, b);
        v = (g - k) * w[2] + k * w[3] + (b - k) * w[4];
    }
    return static_cast<uint8_t>(std::clamp(static_cast<int>(v) + m, 0, 255));
}

}  // namespace

TEST(AdjustKernels, BlackWhiteMatchesTheSectorRule) {
    const QVector<int> weightSets[] = {{40, 60, 40, 60, 20, 80}, {33, -17, 250, 7, 101, 0}, {-300, 1000, 3, 99, -1, 50}};
    for (const QVector<int>& weights : weightSets) {
        const QImageEx original(vqtest::randomImage(301, 203, QImage::Format_ARGB32, 3));
        QImageEx image = original;
        ASSERT_TRUE(blackWhite(image, weights));
        double w[6];
        for (int s = 0; s < 6; ++s)
            w[s] = weights[s] / 100.0;
        for (int y = 0; y < original.height(); ++y)
            for (int x = 0; x < original.width(); ++x) {
                const uint8_t* in = original.constScanLine(y) + 4 * x;
                const uint8_t* out = image.constScanLine(y) + 4 * x;
                const uint8_t expected = blackWhiteReference(in[2], in[1], in[0], w);
                ASSERT_EQ(out[0], expected) << x << "," << y;
                ASSERT_EQ(out[1], expected);
                ASSERT_EQ(out[2], expected);
                ASSERT_EQ(out[3], in[3]);
            }
    }
}

TEST(AdjustKernels, ThresholdSplitMatchesTheGreyRule) {
    for (int threshold : {1, 77, 128, 254, 255, 300}) {
        for (QImage::Format format : {QImage::Format_ARGB32, QImage::Format_RGB888}) {
            const QImageEx original(vqtest::randomImage(257, 131, format, threshold));
            QImageEx image = original;
            ASSERT_TRUE(thresholdSplit(image, threshold));
            const int bpp = original.depth() / 8;
            for (int y = 0; y < original.height(); ++y)
                for (int x = 0; x < original.width(); ++x) {
                    const uint8_t* in = original.constScanLine(y) + bpp * x;
                    const uint8_t* out = image.constScanLine(y) + bpp * x;
                    const int grey = static_cast<int>(in[2] * 0.2989 + in[1] * 0.587 + in[0] * 0.114) & 0xFF;
                    const uint8_t expected = grey >= threshold ? 255 : 0;
                    ASSERT_EQ(out[0], expected) << threshold << ": " << x << "," << y;
                    ASSERT_EQ(out[2], expected);
                    if (bpp == 4) {
                        ASSERT_EQ(out[3], in[3]);
                    }
                }
        }
    }
}

TEST(AdjustKernels, BandsCoverEveryRowOnce) {
    // Tables that do not commute with themselves: a row done twice or
    // skipped shows.
    unsigned char plusOne[256];
    for (int v = 0; v < 256; ++v)
        plusOne[v] = static_cast<unsigned char>(std::min(255, v + 1));
    const QImageEx original(vqtest::randomImage(97, 1001, QImage::Format_RGB32, 9));
    QImageEx image = original;
    ASSERT_TRUE(AdjustRGBOffset(image, nullptr, plusOne, plusOne, plusOne, nullptr));
    ASSERT_TRUE(AdjustCMYKOffset(image, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    for (int y = 0; y < original.height(); ++y)
        for (int x = 0; x < 97 * 4; ++x) {
            const int in = original.constScanLine(y)[x];
            ASSERT_EQ(image.constScanLine(y)[x], x % 4 == 3 ? in : std::min(255, in + 1)) << x << "," << y;
        }
}

// The temperature pass is vectorised; its cube root and every colour are
// checked against the plain single-precision formula. Sanitizer builds
// sample the colours.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kColourStride = 97;
#else
constexpr int kColourStride = 1;
#endif

TEST(AdjustKernels, TemperatureCubeRootIsCorrectlyRoundedOnItsRange) {
    long mismatches = 0;
    for (float t = 0.008856f; t < 1.01f; t = std::nextafter(t, 2.0f))
        mismatches += vq::cubeRootToFloat(t) != static_cast<float>(std::cbrt(static_cast<double>(t)));
    EXPECT_EQ(mismatches, 0);
}

TEST(AdjustKernels, TemperatureMatchesThePlainFormulaOnEveryColour) {
    constexpr int kRow = 4096;
    std::vector<uint8_t> row(4 * kRow), expected(4);
    for (int amount : {0, 45, -127}) {
        for (int first = 0; first < (1 << 24); first += kRow * kColourStride) {
            for (int i = 0; i < kRow; ++i) {
                const uint32_t colour = (first + i * kColourStride) & 0xFFFFFF;
                std::memcpy(&row[4 * i], &colour, 4);
            }
            vq::temperatureRow(row.data(), kRow, 4, amount);
            for (int i = 0; i < kRow; ++i) {
                const uint32_t colour = (first + i * kColourStride) & 0xFFFFFF;
                vq::temperaturePixelReference(reinterpret_cast<const uint8_t*>(&colour), expected.data(), amount);
                ASSERT_EQ(std::memcmp(&row[4 * i], expected.data(), 3), 0) << std::hex << colour << " amount " << amount;
                ASSERT_EQ(row[4 * i + 3], 0);
            }
        }
    }
}
