// Kernels of the filters checked against their definitions, and the focus
// blur (its worker threads run under ThreadSanitizer with this binary).
#include "filters/focus_blur.h"
#include "filters/recursive_gaussian.h"
#include "filters/stack_blur.h"
#include "filters/unsharp_kernels.h"

#include <vqutil/filters.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <random>
#include <vector>

TEST(StackBlurKernels, RowAndColumnPassesMatchTheDefinition) {
    std::mt19937 rng(8);
    for (int channels : {1, 3, 4})
        for (int width = 1; width <= 70; ++width)
            for (int r : {1, 2, 7, 40, 3000}) {
                std::vector<uint8_t> in(width * channels), fast(width * channels), reference(width * channels);
                for (uint8_t& v : in)
                    v = static_cast<uint8_t>(rng());
                vq::stackBlurRow(in.data(), fast.data(), width, channels, r);
                vq::stackBlurRowReference(in.data(), reference.data(), width, channels, r);
                ASSERT_EQ(fast, reference) << channels << " channels, width " << width << ", r " << r;
                // The same signals as a column of `width` rows of `channels` bytes,
                // each byte position blurred on its own down the rows.
                std::vector<uint8_t> column(width * channels);
                vq::stackBlurColumns(in.data(), channels, column.data(), channels, width, channels, r);
                ASSERT_EQ(column, reference) << channels << " channels, height " << width << ", r " << r;
            }
}

namespace {

// The recurrence written out for one signal, values carried in double.
std::vector<float> recurrence(const std::vector<float>& x, const vq::RecursiveGaussianCoefficients& g) {
    const int n = static_cast<int>(x.size());
    std::vector<double> y(n + 6), z(n + 6);
    y[0] = y[1] = y[2] = x[0];
    for (int k = 0; k < n; ++k)
        y[k + 3] = g.B * x[k] + g.a1 * y[k + 2] + g.a2 * y[k + 1] + g.a3 * y[k];
    z[n + 3] = z[n + 4] = z[n + 5] = y[n + 2];
    std::vector<float> out(n);
    for (int k = n - 1; k >= 0; --k) {
        z[k + 3] = g.B * y[k + 3] + g.a1 * z[k + 4] + g.a2 * z[k + 5] + g.a3 * z[k + 6];
        out[k] = static_cast<float>(z[k + 3]);
    }
    return out;
}

}  // namespace

TEST(RecursiveGaussianKernels, LanesFollowTheRecurrenceExactly) {
    std::mt19937 rng(2);
    vq::RecursiveGaussianWork work;
    for (double sigma : {0.8, 2.0, 3.5, 40.0}) {
        const auto g = vq::recursiveGaussianCoefficients(sigma);
        for (int lanes : {1, 3, 4, 7, 16, 23}) {
            const int n = 1 + static_cast<int>(rng() % 60);
            std::vector<float> data(static_cast<size_t>(n) * lanes);
            for (float& v : data)
                v = static_cast<float>(rng() % 256);
            std::vector<float> filtered = data;
            vq::recursiveGaussianLanes(filtered.data(), lanes, filtered.data(), lanes, n, lanes, g, vq::Carried::Double,
                                       work);
            for (int l = 0; l < lanes; ++l) {
                std::vector<float> signal(n);
                for (int k = 0; k < n; ++k)
                    signal[k] = data[static_cast<size_t>(k) * lanes + l];
                const std::vector<float> expected = recurrence(signal, g);
                for (int k = 0; k < n; ++k)
                    ASSERT_EQ(filtered[static_cast<size_t>(k) * lanes + l], expected[k]) << sigma << " lane " << l;
            }
        }
    }
}

TEST(RecursiveGaussianKernels, ImpulseResponseIsCloseToTheGaussian) {
    vq::RecursiveGaussianWork work;
    for (double sigma : {3.0, 5.0, 10.0}) {
        const int n = 201, centre = 100;
        std::vector<float> impulse(n, 0.0f);
        impulse[centre] = 1.0f;
        vq::recursiveGaussianLanes(impulse.data(), 1, impulse.data(), 1, n, 1, vq::recursiveGaussianCoefficients(sigma),
                                   vq::Carried::Double, work);
        double sum = 0, worst = 0;
        for (int k = 0; k < n; ++k) {
            const double u = k - centre;
            const double gaussian = std::exp(-u * u / (2 * sigma * sigma)) / (std::sqrt(2 * M_PI) * sigma);
            worst = std::max(worst, std::fabs(impulse[k] - gaussian));
            sum += impulse[k];
        }
        EXPECT_NEAR(sum, 1.0, 1e-3) << sigma;
        // Within a few per cent of the peak 1 / (sqrt(2 pi) sigma).
        EXPECT_LT(worst, 0.05 / (std::sqrt(2 * M_PI) * sigma)) << sigma;
    }
}

TEST(FocusBlurConfigRecord, IsRewrittenOnEntry) {
    FocusBlurConfig cfg{0, 4, 0.5, 0.5, 10, 0.25, 0.5, 0.5, -90};
    vq::rewriteFocusConfig(cfg);
    EXPECT_DOUBLE_EQ(cfg.innerRatio, 0.75);
    EXPECT_DOUBLE_EQ(cfg.angle, 270);
    EXPECT_DOUBLE_EQ(cfg.falloff, 1.0) << "log 0.5 / log 0.5";
    EXPECT_NEAR(cfg.ellipseShape, 2 * std::atan(1.0) / M_PI, 1e-15) << "x = 0.5: 2 atan(1) / pi";
    FocusBlurConfig steep{0, 4, 0.5, 0.5, 10, 0.25, 3.0, -0.5, 10};
    vq::rewriteFocusConfig(steep);
    EXPECT_DOUBLE_EQ(steep.falloff, 1000);
    EXPECT_NEAR(steep.ellipseShape, -2 * std::atan(1.0) / M_PI, 1e-15) << "x = 2: -2 atan(1) / pi";

    for (auto [amount, levels] : {std::pair{1.0, 3}, {8192.0, 16}, {1e9, 16}, {0.0, 2}, {-5.0, 2}})
        EXPECT_EQ(vq::focusLevelCount(amount), levels) << amount;
}

TEST(FocusBlurMask, SharpCoreRisesToOneAtTheRadius) {
    // Centre (50, 25) of a 100 x 50 image, radius 20, 40 % sharp.
    FocusBlurConfig cfg{0, 4, 0.5, 0.5, 20, 0.6, 0.5, 0.0, 0};
    vq::rewriteFocusConfig(cfg);  // innerRatio 0.4, falloff 1, ellipse 0
    const auto m = [&](int x, int y) { return vq::focusMaskValue(cfg, 100, 50, x, y); };
    EXPECT_EQ(m(50, 25), 0.0f);
    EXPECT_EQ(m(50, 25 + 8), 0.0f) << "within 0.4 x 20 vertically";
    EXPECT_EQ(m(50, 25 + 20), 1.0f);
    EXPECT_NEAR(m(50, 25 + 14), 0.5f, 1e-6) << "halfway through the linear transition";
    // Horizontally the region is w / h = 2 times wider.
    EXPECT_EQ(m(50 + 16, 25), 0.0f);
    EXPECT_NEAR(m(50 + 28, 25), 0.5f, 1e-6);
    // A quarter turn swaps which axis is the wide one.
    FocusBlurConfig turned{0, 4, 0.5, 0.5, 20, 0.6, 0.5, 0.0, 90};
    vq::rewriteFocusConfig(turned);
    EXPECT_NEAR(vq::focusMaskValue(turned, 100, 50, 50, 25 + 28), 0.5f, 1e-6);
}

TEST(FocusBlur, BlursOutsideTheFocusAndKeepsItsCore) {
    QImage noise = vqtest::randomImage(60, 40, QImage::Format_ARGB32, 6);
    for (int i = 3; i < noise.sizeInBytes(); i += 4)
        noise.bits()[i] = 255;
    QImageEx img = noise;
    FocusBlurConfig cfg{0, 6, 0.5, 0.5, 12, 0.5, 0.5, 0.0, 0};
    ASSERT_TRUE(vqDoFocusBlur(img, &cfg));
    EXPECT_DOUBLE_EQ(cfg.innerRatio, 0.5) << "the record is rewritten";
    const auto diff = [&](int x, int y) {
        const uint8_t* a = img.constScanLine(y) + 4 * x;
        const uint8_t* b = noise.constScanLine(y) + 4 * x;
        return std::abs(a[0] - b[0]) + std::abs(a[1] - b[1]) + std::abs(a[2] - b[2]);
    };
    EXPECT_LE(diff(30, 20), 3) << "the sharp core keeps its pixel (float round trip)";
    int blurredCorners = 0;
    for (auto [x, y] : {std::pair{0, 0}, {59, 0}, {0, 39}, {59, 39}})
        blurredCorners += diff(x, y) > 30;
    EXPECT_GE(blurredCorners, 3);
    EXPECT_EQ(img.constScanLine(0)[3], 255) << "opaque stays opaque";

    FocusBlurConfig untouched{0, 6, 0.5, 0.5, 12, 0.5, 0.5, 0.0, 0};
    QImageEx none;
    EXPECT_FALSE(vqDoFocusBlur(none, &untouched));
    EXPECT_FALSE(vqDoFocusBlur(img, nullptr));
    QImageEx grey(QImage(8, 8, QImage::Format_Grayscale8));
    EXPECT_TRUE(vqDoFocusBlur(grey, &untouched)) << "converted to ARGB32 first";
}

TEST(UnsharpKernels, VectorPathGivesTheScalarBytes) {
    if (!__builtin_cpu_supports("avx2"))
        GTEST_SKIP() << "no AVX2 on this processor";
    // Every (orig, blur) pair, for amounts and thresholds that matter.
    std::vector<uint8_t> orig(65536 + 5), blur(65536 + 5), scalar(65536 + 5), vector(65536 + 5);
    for (int i = 0; i < 65536 + 5; ++i) {
        orig[i] = static_cast<uint8_t>(i & 0xFF);
        blur[i] = static_cast<uint8_t>((i >> 8) & 0xFF);
    }
    for (double amount : {0.0, 0.3, 1.0, 2.75, -1.5, 1e300, double(INFINITY), -double(INFINITY), double(NAN)})
        for (int threshold : {INT_MIN, 0, 1, 7, 100, 511}) {
            vq::unsharpBytesScalar(scalar.data(), orig.data(), blur.data(), orig.size(), amount, threshold);
            vq::unsharpBytesAvx2(vector.data(), orig.data(), blur.data(), orig.size(), amount, threshold);
            ASSERT_EQ(scalar, vector) << amount << " " << threshold;
        }
}

TEST(UnsharpKernels, FusedBlurKernelsGiveTheScalarBytes) {
    // Sums of every byte value for a 5 x 5 box (divisor 25), with and without
    // the extra of a white outside, through every available path.
    std::mt19937 rng(12);
    const int count = 4096 + 13;
    std::vector<uint32_t> sums(count);
    std::vector<uint8_t> orig(count), scalar(count), fast(count);
    for (int i = 0; i < count; ++i) {
        sums[i] = rng() % (255 * 25 + 1);
        orig[i] = static_cast<uint8_t>(rng());
    }
    for (int32_t extra : {0, 255 * 3})
        for (double amount : {0.7, 3.0, -2.0, double(NAN)})
            for (int threshold : {0, 9}) {
                std::vector<uint32_t> s = sums;
                if (extra)
                    for (uint32_t& v : s)
                        v %= 255 * 22 + 1;
                const vq::ByteQuotient quotient(25);
                vq::unsharpFromSumsScalar(scalar.data(), orig.data(), s.data(), extra, quotient, count, amount, threshold);
                if (__builtin_cpu_supports("avx2")) {
                    vq::unsharpFromSumsAvx2(fast.data(), orig.data(), s.data(), extra, quotient, count, amount, threshold);
                    ASSERT_EQ(scalar, fast) << "AVX2 " << amount;
                }
                if (__builtin_cpu_supports("avx512f")) {
                    vq::unsharpFromSumsAvx512(fast.data(), orig.data(), s.data(), extra, quotient, count, amount,
                                              threshold);
                    ASSERT_EQ(scalar, fast) << "AVX-512 " << amount;
                }
            }
}
