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
        vqtest::expectPixels(original, image, [&](uint8_t* p, int, int) {
            p[0] = p[1] = p[2] = blackWhiteReference(p[2], p[1], p[0], w);  // alpha kept
        });
    }
}

TEST(AdjustKernels, ThresholdSplitMatchesTheGreyRule) {
    for (int threshold : {1, 77, 128, 254, 255, 300})
        for (QImage::Format format : {QImage::Format_ARGB32, QImage::Format_RGB888}) {
            const QImageEx original(vqtest::randomImage(257, 131, format, threshold));
            QImageEx image = original;
            ASSERT_TRUE(thresholdSplit(image, threshold));
            vqtest::expectPixels(original, image, [&](uint8_t* p, int, int) {
                const int grey = static_cast<int>(p[2] * 0.2989 + p[1] * 0.587 + p[0] * 0.114) & 0xFF;
                p[0] = p[1] = p[2] = grey >= threshold ? 255 : 0;
            });
        }
}

TEST(AdjustKernels, BandsCoverEveryRowOnce) {
    // A table that does not commute with itself: a row done twice or skipped shows.
    unsigned char plusOne[256];
    for (int v = 0; v < 256; ++v)
        plusOne[v] = static_cast<unsigned char>(std::min(255, v + 1));
    const QImageEx original(vqtest::randomImage(97, 1001, QImage::Format_RGB32, 9));
    QImageEx image = original;
    ASSERT_TRUE(AdjustRGBOffset(image, nullptr, plusOne, plusOne, plusOne, nullptr));
    ASSERT_TRUE(AdjustCMYKOffset(image, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    vqtest::expectPixels(original, image, [&](uint8_t* p, int, int) {
        for (int c = 0; c < 3; ++c)
            p[c] = plusOne[p[c]];
    });
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
    for (int amount : {0, 45, -127})
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
