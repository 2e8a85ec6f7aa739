// Scaling, rotation, padding and mirroring of whole images.
#include <vqutil/transform.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

using vqtest::filled;
using vqtest::randomImage;
using vqtest::sameBytes;

namespace {

int at(const QImage& image, int x, int y) { return image.constScanLine(y)[x]; }

// The output pixel straight from the rule, with x', y' counted from the centre:
// byte sx of source row sy, whatever the source depth.
int ruleSample(const QImage& src, int w, int h, double angle, int fill, int W, int H, int i, int j) {
    const double s = std::sin(angle), c = std::cos(angle);
    const int sw = src.width(), sh = src.height();
    const int x = i - (W >> 1), y = j - (H >> 1);
    const int sx = static_cast<int>(x * c * sw / w + (sw >> 1) - y * s * sh / h);
    const int sy = static_cast<int>(x * s * sw / w + y * c * sh / h + (sh >> 1));
    return sx >= 0 && sx <= sw - 1 && sy >= 0 && sy <= sh - 1 ? at(src, sx, sy) : fill;
}

}  // namespace

TEST(ScaleRotate, FollowsTheRuleInSizeAndEveryPixel) {
    for (QImage::Format f : {QImage::Format_Grayscale8, QImage::Format_ARGB32}) {
        const QImage src = randomImage(6, 4, f);
        for (double angle : {0.0, M_PI / 2, 0.3, -2.0, M_PI})
            for (QSize size : {QSize(6, 4), QSize(9, 5), QSize(12, 8)}) {
                QImageEx out;
                ASSERT_TRUE(scaleRotateImage(out, src, size.width(), size.height(), angle, 77));
                EXPECT_EQ(out.format(), QImage::Format_Grayscale8);
                const double s = std::fabs(std::sin(angle)), c = std::fabs(std::cos(angle));
                const int W = static_cast<int>(size.height() * s + size.width() * c);
                const int H = static_cast<int>(size.height() * c + size.width() * s);
                ASSERT_EQ(out.size(), QSize(W, H));
                for (int j = 0; j < H; ++j)
                    for (int i = 0; i < W; ++i)
                        ASSERT_EQ(at(out, i, j), ruleSample(src, size.width(), size.height(), angle, 77, W, H, i, j))
                            << f << " " << angle << " at " << i << "," << j;
            }
    }
    // With no turn and no scale, a grey image comes back unchanged; a quarter turn swaps the sides.
    const QImage grey = randomImage(7, 5, QImage::Format_Grayscale8);
    QImageEx out;
    ASSERT_TRUE(scaleRotateImage(out, grey, 7, 5, 0.0, 9));
    EXPECT_TRUE(sameBytes(out, grey));
    ASSERT_TRUE(scaleRotateImage(out, grey, 7, 5, M_PI / 2, 9));
    EXPECT_EQ(out.size(), QSize(5, 7));
}

TEST(ScaleRotate, OneBitSourcesAreBitAddressed) {
    QImage mono(8, 1, QImage::Format_Mono);
    mono.scanLine(0)[0] = 0xB2;
    QImageEx out;
    ASSERT_TRUE(scaleRotateImage(out, mono, 8, 1, 0.0, 255));
    ASSERT_EQ(out.size(), QSize(8, 1));
    EXPECT_EQ(vqtest::rowOf(out, 0), (std::vector<int>{0xB2, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(ScaleRotate, RefusesWhatItCannotDo) {
    QImageEx out = filled(2, 2, QImage::Format_Grayscale8, 5);
    const QImage src = filled(4, 4, QImage::Format_Grayscale8, 0);
    EXPECT_FALSE(scaleRotateImage(out, QImageEx(), 4, 4, 0.3, 0));
    EXPECT_FALSE(scaleRotateImage(out, src, 0, 0, 0.0, 0));
    EXPECT_FALSE(scaleRotateImage(out, src, 4, 4, NAN, 0));
    EXPECT_EQ(out.size(), QSize(2, 2));
    // A zero height with a turn divides by zero: every pixel falls outside.
    ASSERT_TRUE(scaleRotateImage(out, src, 4, 0, M_PI / 4, 33));
    ASSERT_EQ(out.size(), QSize(2, 2));
    EXPECT_EQ(at(out, 0, 0), 33);
}

TEST(SelectionFastScale, ScalesTheMaskIntoTheView) {
    // A 4 x 4 mask whose byte at (x, y) is 10 y + x, shown in an 8 x 8 scaled space.
    QImageEx src = filled(4, 4, QImage::Format_Grayscale8, 0);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            src.scanLine(y)[x] = static_cast<uint8_t>(10 * y + x);
    const auto inside = [](int c, int r, int from, int to) { return c >= from && c < to && r >= from && r < to; };
    const struct {
        QRect dstRect;
        double scale;
        QSize canvas;
        QRect clip;
        std::function<int(int, int)> expected;  // of view pixel (c, r); 7 = kept
    } cases[] = {
        {{0, 0, 8, 8}, 2, {8, 8}, {}, [](int c, int r) { return 10 * (r / 2) + c / 2; }},
        {{2, 2, 4, 4}, 1, {8, 8}, {}, [&](int c, int r) { return inside(c, r, 2, 6) ? 10 * (r - 2) + c - 2 : 7; }},
        {{0, 0, 8, 8}, 2, {4, 4}, {}, [](int c, int r) { return 10 * r + c; }},  // view half the size
        {{0, 0, 8, 8}, 2, {8, 8}, {2, 2, 4, 4}, [](int c, int r) { return 10 * ((r + 2) / 2) + (c + 2) / 2; }},
    };
    for (const auto& k : cases) {
        QRect srcRect(0, 0, 4, 4), dstRect = k.dstRect, clip = k.clip;
        QSizeF scale(k.scale, k.scale);
        QSize canvas = k.canvas;
        const QSize view = clip.isEmpty() ? canvas : clip.size();
        QImageEx dst = filled(view.width(), view.height(), QImage::Format_Grayscale8, 7);
        ASSERT_TRUE(selection_fast_scale(dst, QSize(8, 8), src, srcRect, dstRect, scale, canvas, clip));
        EXPECT_EQ(clip.size(), view) << "an empty clip is the whole canvas";
        for (int r = 0; r < view.height(); ++r)
            for (int c = 0; c < view.width(); ++c)
                ASSERT_EQ(at(dst, c, r), k.expected(c, r)) << k.dstRect.x() << " " << k.canvas.width() << " at " << c << "," << r;
    }

    // Refusals, and source rectangles and scales that point outside the mask read nothing.
    QImageEx dst = filled(4, 4, QImage::Format_Grayscale8, 7), none;
    QRect srcRect(0, 0, 4, 4), dstRect(0, 0, 4, 4), clip, clip2, clip3;
    QRect farSource(-100, 1000, 4, 4), hugeRect(-5, -5, 1 << 30, 1 << 30);
    QSizeF scale(1, 1), tiny(1e-9, 0.0);
    QSize canvas(4, 4), flat(0, 4);
    EXPECT_FALSE(selection_fast_scale(dst, QSize(0, 0), src, srcRect, dstRect, scale, canvas, clip));
    EXPECT_FALSE(selection_fast_scale(none, QSize(4, 4), src, srcRect, dstRect, scale, canvas, clip));
    EXPECT_FALSE(selection_fast_scale(dst, QSize(4, 4), src, srcRect, dstRect, scale, flat, clip2));
    ASSERT_TRUE(selection_fast_scale(dst, QSize(1 << 30, 1 << 30), src, farSource, hugeRect, tiny, canvas, clip3));
    EXPECT_TRUE(sameBytes(dst, filled(4, 4, QImage::Format_Grayscale8, 7)));
}

TEST(EnlargeImage, PadsWithTheFillValueOrCrops) {
    QImageEx grey = randomImage(3, 2, QImage::Format_Grayscale8);
    QImageEx out;
    ASSERT_TRUE(ThEnlargeImage(out, grey, 2, 7));
    ASSERT_EQ(out.size(), QSize(7, 6));
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 7; ++x)
            EXPECT_EQ(at(out, x, y), x >= 2 && x < 5 && y >= 2 && y < 4 ? at(grey, x - 2, y - 2) : 7);

    QImageEx argb = randomImage(2, 2, QImage::Format_ARGB32);
    ASSERT_TRUE(ThEnlargeImage(out, argb, 1, 200));
    EXPECT_EQ(vqtest::pixelWord(out, 0, 0), 200u) << "the fill is a pixel word";
    EXPECT_EQ(vqtest::pixelWord(out, 2, 2), vqtest::pixelWord(argb, 1, 1));
    ASSERT_TRUE(ThEnlargeImage(out, argb, 0, 0));
    EXPECT_TRUE(sameBytes(out, argb));

    QImageEx indexed = randomImage(4, 4, QImage::Format_Indexed8);
    ASSERT_TRUE(ThEnlargeImage(out, indexed, -1, 0));
    ASSERT_EQ(out.size(), QSize(2, 2));
    EXPECT_EQ(out.colorTable(), indexed.colorTable());
    EXPECT_TRUE(sameBytes(out, indexed.copy(1, 1, 2, 2)));
    QImageEx none;
    EXPECT_FALSE(ThEnlargeImage(out, none, 3, 0));
    EXPECT_FALSE(ThEnlargeImage(out, indexed, -2, 0)) << "nothing left";
}

TEST(ScaleAndMirror, WholeImageHelpersAndTheirHandleForms) {
    QImageEx img = randomImage(4, 4, QImage::Format_ARGB32);
    const QImageEx before = img.copy();
    EXPECT_TRUE(MirrorDib(img, 1));
    EXPECT_TRUE(MirrorDib(img, 0));
    EXPECT_TRUE(Scale8BitDib(img, 9, 9, true));
    EXPECT_TRUE(sameBytes(img, before)) << "mirroring and 8-bit scaling leave the image";
    EXPECT_TRUE(ScaleDibAll(img, 8, 2, false));
    EXPECT_EQ(img.size(), QSize(8, 2));

    CDib dib(before);
    EXPECT_TRUE(dib.Mirror(1));
    EXPECT_TRUE(sameBytes(dib.move(), before));
    EXPECT_TRUE(dib.Scale(2, 6, true));
    EXPECT_EQ(dib.move().size(), QSize(2, 6));
    EXPECT_TRUE(dib.ScaleAll(3, 3, false));
    EXPECT_EQ(dib.move().size(), QSize(3, 3));
}
