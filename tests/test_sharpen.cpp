// Convolution on a torus, the kernel-size rule, and the sharpening filters.
#include <vqutil/filters.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using vqtest::filled;
using vqtest::pixelWord;
using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

const QImage::Format kArgb = QImage::Format_ARGB32;
const QImage::Format kBgr = QImage::Format_RGB888;

// A 3 x 3 kernel with the given weights at row-major positions.
std::vector<double> kernel3(std::initializer_list<std::pair<int, double>> weights) {
    std::vector<double> k(9, 0.0);
    for (auto [at, w] : weights)
        k[at] = w;
    return k;
}

}  // namespace

TEST(Convolve, RefusesWhatItCannotDo) {
    QImageEx img = randomImage(4, 6, kBgr);
    const QImageEx before = img.copy();
    std::vector<double> k(25, 1.0);
    EXPECT_EQ(convolveImage(img, 4, k.data()), 0) << "even order";
    EXPECT_EQ(convolveImage(img, 5, k.data()), 0) << "wider than the image";
    EXPECT_EQ(convolveImage(img, 3, nullptr), 0);
    QImageEx mono(QImage(8, 8, QImage::Format_Mono));
    EXPECT_EQ(convolveImage(mono, 3, k.data()), 0);
    EXPECT_TRUE(sameBytes(img, before));
}

TEST(Convolve, MatchesTheDefinitionOnATorus) {
    // Wide enough for every vector path; weights that sum to neither 0 nor 1.
    // 32-bit rows come back as packed B, G, R triples with the last quarter cleared.
    std::mt19937 rng(21);
    for (QImage::Format f : {kBgr, kArgb, QImage::Format_Grayscale8}) {
        const QImage src = randomImage(53, 9, f, 5);
        std::vector<double> kernel(25);
        double sum = 0;
        for (double& k : kernel)
            sum += k = (static_cast<int>(rng() % 2001) - 800) / 1000.0;
        QImageEx img = src;
        ASSERT_EQ(convolveImage(img, 5, kernel.data()), 1);
        EXPECT_EQ(img.format(), f);
        const int bpp = src.depth() / 8, channels = std::min(3, bpp), step = bpp >= 3 ? 3 : bpp;
        for (int y = 0; y < 9; ++y) {
            for (int x = 0; x < 53; ++x)
                for (int c = 0; c < channels; ++c) {
                    double acc = 0;
                    for (int j = 0; j < 5; ++j)
                        for (int i = 0; i < 5; ++i)
                            acc += kernel[j * 5 + i] *
                                   src.constScanLine((y + j - 2 + 9) % 9)[((x + i - 2 + 53) % 53) * bpp + c];
                    const double v = acc / sum;
                    const int expected = v < 0 ? 0 : v > 255 ? 255 : static_cast<int>(v + 0.5);
                    ASSERT_EQ(img.constScanLine(y)[x * step + c], expected) << f << " at " << x << "," << y;
                }
            if (bpp == 4) {
                ASSERT_EQ(vqtest::rowOf(img, y, 3 * 53), std::vector<int>(53, 0)) << y;
            }
        }
    }
}

TEST(Convolve, DividesByTheWeightSumAndRoundsHalfUp) {
    // Weights 1 and 1 (sum 2) on a pixel and its right neighbour: (10 + 15) / 2 = 12.5 rounds to 13.
    QImageEx img = filled(3, 3, kBgr, 0);
    img.scanLine(1)[0] = 10;
    img.scanLine(1)[3] = 15;
    ASSERT_EQ(convolveImage(img, 3, kernel3({{4, 1.0}, {5, 1.0}}).data()), 1);
    EXPECT_EQ(img.constScanLine(1)[0], 13);

    // Weights summing to 0 are applied undivided; negative results store 0.
    QImageEx edge = filled(3, 3, kBgr, 0);
    edge.scanLine(1)[3] = 100;
    ASSERT_EQ(convolveImage(edge, 3, kernel3({{4, 1.0}, {3, -1.0}}).data()), 1);
    EXPECT_EQ(edge.constScanLine(1)[3], 100);
    EXPECT_EQ(edge.constScanLine(1)[6], 0);
}

TEST(KernelWidth, RadiusOrGaussianTail) {
    EXPECT_EQ(getOptimalKernelWidth1D(1.2, 3.0), 5);
    EXPECT_EQ(getOptimalKernelWidth1D(2.0, 0.0), 5);
    EXPECT_EQ(getOptimalKernelWidth(1.2, 3.0), 5);
    // sigma 1: width 7 (half 3) still keeps exp(-4.5)/norm x 255 >= 1, 9 does not.
    EXPECT_EQ(getOptimalKernelWidth1D(0, 1.0), 7);
    EXPECT_EQ(getOptimalKernelWidth1D(0, 0.0), 3);
    EXPECT_EQ(getOptimalKernelWidth1D(0, NAN), 3);
    EXPECT_LE(getOptimalKernelWidth1D(0, 1e9), 4097);
    int previous = 3;
    for (double sigma : {0.5, 1.0, 2.0, 4.0, 8.0}) {
        const int width = getOptimalKernelWidth1D(0, sigma);
        EXPECT_TRUE(width >= previous && width % 2 == 1) << sigma;
        previous = width;
    }
}

TEST(Sharpen, GaussianSharpenKeepsFlatAreasAndEdgeImageKeepsTheImage) {
    QImageEx flat = filled(12, 12, kBgr, 0);
    flat.fill(QColor(90, 90, 90));
    const QImageEx before = flat.copy();
    EXPECT_EQ(sharpenImage(flat, 1.0, 1.0), 1);
    EXPECT_TRUE(sameBytes(flat, before));
    QImageEx tiny = filled(2, 2, kBgr, 0);
    EXPECT_EQ(sharpenImage(tiny, 3.0, 1.0), 1) << "a kernel larger than the image leaves it";

    QImageEx img = randomImage(10, 10, kArgb);
    const QImageEx original = img.copy();
    int reports = 0;
    img.setProgressCallback([&](int) { ++reports; return true; });
    EXPECT_TRUE(edgeImage(img, 1.0));
    EXPECT_TRUE(sameBytes(img, original));
    EXPECT_EQ(reports, 10) << "progress of the discarded convolution";
}

TEST(Sharpen, TableSharpenOfAPeak) {
    // amount 50: k = 50, T[i] = 16 i, U[i] = i, so out = 2 c - mean of the neighbours.
    QImageEx img = filled(5, 5, kArgb, 0x7F323232u);
    reinterpret_cast<uint32_t*>(img.scanLine(2))[2] = 0x7F646464u;
    sharpenMore(img, 50);
    EXPECT_EQ(pixelWord(img, 2, 2), 0x7F969696u) << "(16 x 100 - 8 x 50 + 4) >> 3 = 150";
    EXPECT_EQ(pixelWord(img, 2, 1), 0x7F2C2C2Cu) << "(16 x 50 - 7 x 50 - 100 + 4) >> 3 = 44";
    EXPECT_EQ(pixelWord(img, 0, 2), 0x7F323232u) << "border pixels are copied";

    QImageEx same = randomImage(9, 7, kBgr);
    const QImageEx before = same.copy();
    sharpenMore(same, 0);  // k = 100: T[i] = 8 i, U[i] = 0
    EXPECT_TRUE(sameBytes(same, before));
    QImageEx flat = filled(6, 6, kArgb, 0xFF808080u);
    sharpenMore(flat, 100);
    EXPECT_TRUE(sameBytes(flat, filled(6, 6, kArgb, 0xFF808080u)));
}

TEST(Sharpen, UnsharpMaskMovesAwayFromTheBoxBlur) {
    // A 9 x 9 grey field with one bright blue byte; radius 1 (9 / 4 = 2 > 1).
    QImageEx img = filled(9, 9, kBgr, 0);
    img.fill(QColor(100, 100, 100));
    img.scanLine(4)[3 * 4] = 190;
    QImageEx sharpened = img.copy();
    ASSERT_EQ(unsharp_mask_fast(sharpened, 1, 1.0, 0), 1);
    // Box mean at the peak (8 x 100 + 190) / 9 = 110: diff 80, 190 + 80 -> 255;
    // the neighbour: mean 110, diff -10 -> 90; green never moved.
    EXPECT_EQ(vqtest::rowOf(sharpened, 4, 3 * 4, 5), (std::vector<int>{255, 100, 100, 90, 100}));

    QImageEx held = img.copy();
    ASSERT_EQ(unsharp_mask_fast(held, 1, 1.0, 511), 1);
    EXPECT_TRUE(sameBytes(held, img)) << "threshold above 510";
    ASSERT_EQ(unsharp_mask_fast(held, 0, 5.0, 0), 1);
    EXPECT_TRUE(sameBytes(held, img)) << "radius 0";
    ASSERT_EQ(unsharp_mask_fast(held, 1, INFINITY, 0), 1);
    ASSERT_EQ(unsharp_mask_fast(held, 1, NAN, 0), 1);
}
