// The Gaussian, box and transparency blurs, checked against the rules they
// follow, written out plainly here.
#include <vqutil/filters.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>

using vqtest::filled;
using vqtest::pixelWord;
using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

const QImage::Format kGrey = QImage::Format_Grayscale8;
const QImage::Format kArgb = QImage::Format_ARGB32;

int clampIndex(int i, int n) { return std::min(std::max(i, 0), n - 1); }

// One pass of the stack blur by its definition: triangle weights r + 1 - |i|,
// border repeated, sum / (r + 1)^2 truncated; along rows or columns.
QImage trianglePass(const QImage& in, int r, bool alongRows) {
    QImage out = in.copy();
    const int bpp = in.depth() / 8;
    for (int y = 0; y < in.height(); ++y)
        for (int x = 0; x < in.width(); ++x)
            for (int c = 0; c < bpp; ++c) {
                long long sum = 0;
                for (int i = -r; i <= r; ++i) {
                    const int sx = alongRows ? clampIndex(x + i, in.width()) : x;
                    const int sy = alongRows ? y : clampIndex(y + i, in.height());
                    sum += (long long)(r + 1 - std::abs(i)) * in.constScanLine(sy)[sx * bpp + c];
                }
                out.scanLine(y)[x * bpp + c] = static_cast<uint8_t>(sum / ((long long)(r + 1) * (r + 1)));
            }
    return out;
}

QImage stackBlurReference(const QImage& in, int r) { return trianglePass(trianglePass(in, r, true), r, false); }

// The box mean by its definition: (2r + 1)^2 box clipped to the image.
QImage boxReference(const QImage& in, int r) {
    QImage out = in.copy();
    const int bpp = in.depth() / 8;
    for (int y = 0; y < in.height(); ++y)
        for (int x = 0; x < in.width(); ++x)
            for (int c = 0; c < bpp; ++c) {
                long long sum = 0, count = 0;
                for (int j = std::max(0, y - r); j <= std::min(in.height() - 1, y + r); ++j)
                    for (int i = std::max(0, x - r); i <= std::min(in.width() - 1, x + r); ++i, ++count)
                        sum += in.constScanLine(j)[i * bpp + c];
                out.scanLine(y)[x * bpp + c] = static_cast<uint8_t>(sum / count);
            }
    return out;
}

}  // namespace

TEST(StackBlur, MatchesTheTriangleKernelInEveryDepth) {
    const struct { int w, h, r; } cases[] = {{7, 5, 1}, {9, 6, 2}, {13, 11, 4}, {7, 5, 20}, {1, 1, 3}, {17, 1, 2}, {1, 9, 2}};
    for (QImage::Format f : {kArgb, QImage::Format_RGB32, QImage::Format_RGB888, kGrey, QImage::Format_Alpha8})
        for (const auto& c : cases) {
            QImage src = randomImage(c.w, c.h, f);
            if (f == kArgb)  // opaque: no transparency pre-pass
                for (int i = 3; i < src.sizeInBytes(); i += 4)
                    src.bits()[i] |= 0x80;
            QImageEx img = src;
            ASSERT_TRUE(GaussianBlur(img, c.r, nullptr, false));
            EXPECT_TRUE(sameBytes(img, stackBlurReference(src, c.r))) << f << " " << c.w << "x" << c.h << " r" << c.r;
        }
}

TEST(StackBlur, RefusesRadiiBelowOneAndHonoursAnEarlyCancel) {
    QImageEx img = randomImage(40, 30, kArgb);
    const QImageEx before = img.copy();
    EXPECT_FALSE(GaussianBlur(img, 0, nullptr, false));
    EXPECT_FALSE(GaussianBlur(img, -3, nullptr, true));
    bool cancel = true;
    EXPECT_TRUE(GaussianBlur(img, 3, &cancel, false));
    EXPECT_TRUE(GaussianBlur(img, 3, &cancel, true));
    EXPECT_TRUE(sameBytes(img, before));
}

TEST(StackBlur, HugeRadiiStillRepeatTheBorder) {
    // r = 3000 is beyond the 32-bit sums and still exact; far beyond the image
    // the repeated borders dominate and the result tends to the corners' mean.
    const QImage src = randomImage(5, 3, kGrey);
    const auto at = [&](int x, int y) { return int(src.constScanLine(y)[x]); };
    const int corners = (at(0, 0) + at(4, 0) + at(0, 2) + at(4, 2)) / 4;
    for (int r : {3000, 100000, 1 << 30, INT_MAX}) {
        QImageEx img = src;
        ASSERT_TRUE(GaussianBlur(img, r, nullptr, false));
        if (r == 3000) {
            EXPECT_TRUE(sameBytes(img, stackBlurReference(src, r)));
        }
        for (int i = 0; i < 15; ++i)
            EXPECT_LE(std::abs(img.constScanLine(i / 5)[i % 5] - corners), 2) << r;
    }
}

TEST(StackBlur, CancelInTheSecondPassLeavesWholeColumnsBlurred) {
    QImage src = randomImage(100, 40, QImage::Format_RGB32);
    QImageEx img = src;
    bool cancel = false;
    // Progress h/2 + (x h / w)/2 per column of the second pass: stop once column 40 is announced.
    img.setProgressCallback([&](int value) {
        if (value >= 20 + (40 * 40 / 100) / 2)
            __atomic_store_n(&cancel, true, __ATOMIC_RELAXED);
        return true;
    });
    ASSERT_TRUE(GaussianBlur(img, 2, &cancel, false));
    const QImage blurred = stackBlurReference(src, 2);
    const auto columnAs = [&](const QImage& expected, int x) {
        return sameBytes(img.copy(x, 0, 1, 40), expected.copy(x, 0, 1, 40));
    };
    int done = 0;  // columns [0, done) blurred, the rest untouched
    while (done < 100 && columnAs(blurred, done))
        ++done;
    EXPECT_TRUE(done > 40 && done < 100) << done;
    for (int x = done; x < 100; ++x)
        ASSERT_TRUE(columnAs(src, x)) << "column " << x;
}

TEST(RecursiveGaussian, BlursEveryChannelAndKeepsFlatAreasFlat) {
    const uint32_t colour = 0xC8643219u;
    QImageEx flat = filled(40, 30, kArgb, colour);
    ASSERT_TRUE(GaussianBlur(flat, 6, nullptr, true));
    for (int i = 0; i < flat.sizeInBytes(); ++i)
        ASSERT_LE(std::abs(flat.constBits()[i] - int((colour >> (8 * (i % 4))) & 0xFF)), 1) << i;

    // An impulse in one channel spreads symmetrically and leaves the others.
    QImageEx dot = filled(41, 41, QImage::Format_RGB888, 0);
    dot.scanLine(20)[3 * 20 + 1] = 255;
    ASSERT_TRUE(GaussianBlur(dot, 3, nullptr, true));
    const auto g = [&](int x, int y) { return int(dot.constScanLine(y)[3 * x + 1]); };
    EXPECT_GT(g(23, 20), 0);
    EXPECT_LE(std::abs(g(23, 20) - g(17, 20)), 1);
    EXPECT_LE(std::abs(g(20, 23) - g(20, 17)), 1);
    EXPECT_EQ(dot.constScanLine(20)[3 * 20 + 0], 0);
}

TEST(RecursiveGaussian, EightBitPlanes) {
    EXPECT_FALSE(IIRGaussianFilterAlpha(nullptr, 8, 4, 4, 2.0f));
    uchar plane[6 * 4] = {};
    plane[6 * 2 + 2] = 200;
    plane[5] = 77;  // padding byte of row 0 (width 5, 6 bytes a row)
    ASSERT_TRUE(IIRGaussianFilterAlpha(plane, 6, 5, 4, 1.0f));
    EXPECT_EQ(plane[5], 77) << "bytes past the width are not touched";
    EXPECT_LT(plane[6 * 2 + 2], 200);
    EXPECT_GT(plane[6 * 2 + 3], 0);

    QImage mask = filled(9, 9, kGrey, 0);
    mask.scanLine(4)[4] = 255;
    gaussianBlurAlpha(mask, 1.5);
    EXPECT_GT(mask.constScanLine(4)[5], 0);
    EXPECT_LE(std::abs(mask.constScanLine(4)[5] - mask.constScanLine(5)[4]), 1);
}

TEST(BoxBlur, MeansOfTheClippedBox) {
    for (QImage::Format f : {kArgb, QImage::Format_RGB888, kGrey}) {
        const QImage src = randomImage(10, 10, f);
        QImageEx img = src;
        ASSERT_TRUE(ThBlurMoreEx(img, 50, false, false, false));  // clamped to 10 / 4 = 2
        EXPECT_TRUE(sameBytes(img, boxReference(src, 2))) << f;
        QImageEx negative = src;
        ASSERT_TRUE(ThBlurMore(negative, -2, false, false));
        EXPECT_TRUE(sameBytes(negative, img));
    }
    QImageEx untouched = randomImage(10, 10, kArgb);
    const QImageEx before = untouched.copy();
    EXPECT_TRUE(ThBlurMoreEx(untouched, 0, true, false, false));
    EXPECT_TRUE(sameBytes(untouched, before));
}

TEST(BoxBlur, MaskModeCountsTheWhiteOutsideAndAlphaOnlyKeepsColours) {
    // 8-bit, all selected (0): the corner box of radius 1 has 5 outside samples
    // of 255: 5 x 255 / 9 = 141; the edge box 3: 85.
    QImageEx mask = filled(8, 8, kGrey, 0);
    ASSERT_TRUE(ThBlurMoreEx(mask, 1, false, false, true));
    EXPECT_EQ(vqtest::rowOf(mask, 0, 0, 4), (std::vector<int>{141, 85, 85, 85}));
    EXPECT_EQ(mask.constScanLine(4)[4], 0);
    // 32-bit maskMode: outside counts 0, divisor still the whole box.
    QImageEx white = filled(8, 8, kArgb, 0xFFFFFFFFu);
    ASSERT_TRUE(ThBlurMoreEx(white, 1, false, false, true));
    EXPECT_EQ(pixelWord(white, 0, 0), 0x71717171u) << "4 x 255 / 9 = 113";

    const QImage src = randomImage(12, 12, kArgb);
    QImageEx alpha = src;
    ASSERT_TRUE(ThBlurMoreEx(alpha, 2, false, true, false));
    const QImage expected = boxReference(src, 2);
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 12; ++x)
            ASSERT_EQ(pixelWord(alpha, x, y), (pixelWord(src, x, y) & 0xFFFFFFu) | (pixelWord(expected, x, y) & 0xFF000000u));
}

TEST(BoxBlur, AlphaBlurSqueezesTheWhiteFrameIn) {
    QImageEx small = filled(3, 3, kGrey, 0);
    EXPECT_FALSE(ThBlurAlpha(small, 5));
    QImageEx mask = filled(16, 16, kGrey, 0);
    ASSERT_TRUE(ThBlurAlpha(mask, 3));
    EXPECT_EQ(mask.size(), QSize(16, 16));
    EXPECT_GT(mask.constScanLine(0)[0], 100) << "the white border bleeds into the corner";
    EXPECT_LT(mask.constScanLine(8)[8], 10);
}

TEST(BoxBlur, RawEightBitPlanes) {
    const QImage plane = randomImage(7, 5, kGrey, 4);  // rows padded to 8 bytes
    void* buffer = std::malloc(plane.sizeInBytes());
    std::memcpy(buffer, plane.constBits(), plane.sizeInBytes());
    void* before = buffer;
    ASSERT_TRUE(BlurMask8Bit(7, 5, buffer, 9));  // a box larger than the plane
    EXPECT_NE(buffer, before);
    const QImage expected = boxReference(plane, 9);
    for (int y = 0; y < 5; ++y)
        EXPECT_EQ(std::memcmp(static_cast<uint8_t*>(buffer) + 8 * y, expected.constScanLine(y), 7), 0) << y;
    std::free(buffer);

    void* none = nullptr;
    EXPECT_FALSE(BlurMask8Bit(4, 4, none, 1));
    void* empty = std::malloc(4);
    ASSERT_TRUE(BlurMask8Bit(4, 0, empty, 1));
    std::free(empty);
}

TEST(Transparency, BleedsVisibleColoursIntoTransparentPixels) {
    QImageEx img = filled(8, 8, kArgb, 0x00000000u);
    reinterpret_cast<uint32_t*>(img.scanLine(3))[3] = 0xFFC80000u;  // red
    reinterpret_cast<uint32_t*>(img.scanLine(3))[5] = 0x800000FFu;  // half-visible blue
    EXPECT_EQ(blurTransparentImage(img, 0, nullptr), 1);
    ASSERT_EQ(blurTransparentImage(img, 1, nullptr), 1);
    EXPECT_EQ(pixelWord(img, 4, 3), 0x0064007Fu) << "mean of red and blue, alpha kept 0";
    EXPECT_EQ(pixelWord(img, 2, 2), 0x00C80000u);
    EXPECT_EQ(pixelWord(img, 0, 0), 0u) << "no visible neighbour: colour kept";
    EXPECT_EQ(pixelWord(img, 3, 3), 0xFFC80000u) << "visible pixels untouched";

    QImageEx bgr = filled(4, 4, QImage::Format_RGB888, 0);
    EXPECT_EQ(blurTransparentImage(bgr, 2, nullptr), 0);
    bool cancel = true;
    EXPECT_EQ(blurTransparentImage(img, 1, &cancel), -1);
    QImageEx transparent = filled(8, 8, kArgb, 0);
    EXPECT_FALSE(transpanentBlurMore(transparent, 1, &cancel));
    EXPECT_TRUE(transpanentBlurMore(transparent, 1, nullptr));
}

TEST(Transparency, ProbeLooksAtTheGridOrThePalette) {
    QImageEx img = filled(9, 9, kArgb, 0xFF000000u);
    EXPECT_FALSE(isTransparnetImage(img, 4));
    reinterpret_cast<uint32_t*>(img.scanLine(1))[1] = 0;
    EXPECT_FALSE(isTransparnetImage(img, 4)) << "(1, 1) is off the grid of 4";
    EXPECT_TRUE(isTransparnetImage(img, 1));
    EXPECT_TRUE(isTransparnetImage(img, 0)) << "steps below 1 count as 1";
    reinterpret_cast<uint32_t*>(img.scanLine(8))[4] = 0;
    EXPECT_TRUE(isTransparnetImage(img, 4));

    QImageEx indexed = filled(2, 2, QImage::Format_Indexed8, 0);
    indexed.setColorTable({0xFF000000u, 0x00FFFFFFu});
    EXPECT_TRUE(isTransparnetImage(indexed, 4)) << "an entry with alpha 0, used or not";
    QImageEx grey = filled(2, 2, kGrey, 0);
    EXPECT_FALSE(isTransparnetImage(grey, 4));
}
