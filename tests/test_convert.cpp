// Creation helpers and the conversion of every depth to Format_ARGB32.
#include <vqutil/core.h>

#include "test_support.h"

#include <gtest/gtest.h>

using vqtest::pixelWord;
using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

QImageEx converted(const QImage& src, bool deep = false) {
    QImageEx dst;
    EXPECT_TRUE(convertToArgbEx(dst, QImageEx(src), deep));
    EXPECT_EQ(dst.format(), QImage::Format_ARGB32);
    EXPECT_EQ(dst.size(), src.size());
    return dst;
}

// The ARGB32 image whose pixel (x, y) is f(x, y).
template <typename F>
QImage argbOf(int w, int h, F f) {
    QImage image(w, h, QImage::Format_ARGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            reinterpret_cast<uint32_t*>(image.scanLine(y))[x] = f(x, y);
    return image;
}

}  // namespace

TEST(ConvertToArgb, ThirtyTwoBitSourcesAreRelabelledNotRecomputed) {
    for (QImage::Format f : {QImage::Format_ARGB32, QImage::Format_RGB32, QImage::Format_ARGB32_Premultiplied}) {
        const QImage src = randomImage(5, 3, f);
        EXPECT_TRUE(sameBytes(converted(src), src)) << f;  // RGB32 keeps its 4th byte, no un-premultiplying
        EXPECT_EQ(src.format(), f) << "the source keeps its label";
        const QImageEx deep = converted(src, true);
        EXPECT_TRUE(sameBytes(deep, src));
        EXPECT_NE(deep.constBits(), src.constBits());
    }
    const QImage argb = randomImage(5, 3, QImage::Format_ARGB32);
    EXPECT_EQ(converted(argb).constBits(), argb.constBits()) << "shallow means shared";
}

TEST(ConvertToArgb, PalettesAreLookedUpAsTheyStand) {
    // Both 1-bit formats are read most significant bit first.
    for (QImage::Format f : {QImage::Format_Mono, QImage::Format_MonoLSB}) {
        QImage mono(10, 2, f);
        mono.setColorTable({0x11223344u, 0x80FFEEDDu});
        mono.fill(0u);
        mono.scanLine(1)[0] = 0x80;  // x = 0 of row 1
        mono.scanLine(1)[1] = 0x40;  // x = 9 of row 1
        EXPECT_TRUE(sameBytes(converted(mono), argbOf(10, 2, [](int x, int y) {
                                  return y == 1 && (x == 0 || x == 9) ? 0x80FFEEDDu : 0x11223344u;
                              }))) << f;
    }
    // Entries as they stand, alpha included; 200 lies past the table.
    const QImage indexed = [] {
        QImage image = vqtest::imageOf(4, 1, QImage::Format_Indexed8, {2, 1, 0, 200});
        image.setColorTable({0x00000000u, 0x7F102030u, 0xFFABCDEFu});
        return image;
    }();
    EXPECT_TRUE(sameBytes(converted(indexed), vqtest::imageOf(4, 1, QImage::Format_ARGB32,
                                                              {0xFFABCDEFu, 0x7F102030u, 0, 0})));
}

TEST(ConvertToArgb, GreyAndTwentyFourBitBecomeOpaqueOtherDepthsBlank) {
    for (QImage::Format f : {QImage::Format_Grayscale8, QImage::Format_Alpha8}) {
        const QImage grey = randomImage(7, 3, f);
        EXPECT_TRUE(sameBytes(converted(grey), argbOf(7, 3, [&](int x, int y) {
                                  return 0xFF000000u | grey.constScanLine(y)[x] * 0x010101u;
                              }))) << f;
    }
    // Any 24-bit format is read as B, G, R bytes, whatever Qt calls it.
    for (QImage::Format f : {QImage::Format_RGB888, QImage::Format_BGR888, QImage::Format_RGB666}) {
        const QImage bgr = randomImage(5, 3, f);
        EXPECT_TRUE(sameBytes(converted(bgr), argbOf(5, 3, [&](int x, int y) {
                                  const uchar* p = bgr.constScanLine(y) + 3 * x;
                                  return 0xFF000000u | p[2] << 16 | p[1] << 8 | p[0];
                              }))) << f;
    }
    EXPECT_TRUE(sameBytes(converted(randomImage(3, 3, QImage::Format_RGB16)), argbOf(3, 3, [](int, int) { return 0u; })));
}

TEST(ConvertToArgb, NullSourcesFailAndTheDestinationMayBeTheSource) {
    QImageEx dst = randomImage(2, 2, QImage::Format_ARGB32);
    const QImageEx before = dst.copy();
    EXPECT_FALSE(convertToArgbEx(dst, QImageEx(), false));
    EXPECT_FALSE(convertToArgb(dst, QImageEx()));
    EXPECT_TRUE(sameBytes(dst, before));

    QImageEx img = randomImage(6, 2, QImage::Format_Grayscale8);
    const QImage grey = img.copy();
    ASSERT_TRUE(convertToArgb(img, img));
    EXPECT_EQ(img.format(), QImage::Format_ARGB32);
    EXPECT_EQ(pixelWord(img, 5, 1), 0xFF000000u | grey.constScanLine(1)[5] * 0x010101u);
}

TEST(AnyConvertTo24Bit, WidensSmallDepthsToArgbAndLeavesTheRest) {
    QImageEx grey = randomImage(4, 4, QImage::Format_Grayscale8);
    EXPECT_TRUE(AnyConvertTo24Bit(grey));
    EXPECT_EQ(grey.format(), QImage::Format_ARGB32);
    EXPECT_EQ(pixelWord(grey, 0, 0) >> 24, 0xFFu);

    for (QImage::Format f : {QImage::Format_RGB888, QImage::Format_RGB32}) {
        QImageEx img = randomImage(4, 4, f);
        const uchar* bits = img.constBits();
        EXPECT_TRUE(AnyConvertTo24Bit(img));
        EXPECT_TRUE(DibMyAddNoise(img, 99));
        EXPECT_EQ(img.format(), f);
        EXPECT_EQ(img.constBits(), bits);
    }
    QImageEx null;
    EXPECT_TRUE(AnyConvertTo24Bit(null));
    EXPECT_TRUE(null.isNull());
}

TEST(CreationHelpers, CreateDuplicateDeflate) {
    QImageEx img;
    EXPECT_TRUE(CreateDib(7, 5, 8, img, 0));
    EXPECT_EQ(img.size(), QSize(7, 5));
    EXPECT_EQ(img.format(), QImage::Format_ARGB32) << "the depth argument is ignored";
    EXPECT_TRUE(CreateDib(-1, 5, 24, img, 0)) << "always true";
    EXPECT_TRUE(img.isNull());

    QImageEx src = randomImage(3, 3, QImage::Format_ARGB32);
    QImageEx dup;
    EXPECT_TRUE(DuplicateDibData(dup, src));
    EXPECT_TRUE(sameBytes(dup, src));
    EXPECT_NE(dup.constBits(), src.constBits());

    EXPECT_TRUE(Deflate8Bit(0, 0, src, 0));
    EXPECT_FALSE(Deflate8Bit(0, 0, img, 0));
}
