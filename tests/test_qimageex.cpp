// The companion image class: creation, progress, the parallel-pass bracket,
// relabelling and the copying and geometric helpers.
#include <vqutil/qimageex.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>
#include <thread>
#include <vector>

using vqtest::filled;
using vqtest::pixelWord;
using vqtest::randomImage;
using vqtest::sameBytes;

TEST(QImageExCreate, MakesTheImageOrRefusesImpossibleSizes) {
    QImageEx img;
    ASSERT_TRUE(QImageEx::create(img, 17, 9, QImage::Format_Grayscale8));
    EXPECT_EQ(img.size(), QSize(17, 9));
    EXPECT_EQ(img.format(), QImage::Format_Grayscale8);

    const struct { int w, h; } sizes[] = {{0, 0}, {0, 5}, {5, -1}, {-3, -3}, {INT_MAX, INT_MAX}, {1 << 20, 1 << 20}, {600000000, 1}};
    for (const auto& s : sizes) {
        QImageEx old = QImage(4, 4, QImage::Format_ARGB32);
        EXPECT_FALSE(QImageEx::create(old, s.w, s.h, QImage::Format_ARGB32)) << s.w << "x" << s.h;
        EXPECT_TRUE(old.isNull());
    }
    EXPECT_FALSE(QImageEx::create(img, 4, 4, QImage::Format_Invalid));
}

TEST(QImageExCreate, CreateImageFillsEveryPixelAndKeepsThePalette) {
    EXPECT_TRUE(sameBytes(QImageEx(QImage(5, 3, QImage::Format_ARGB32)).createImage(0xFFFFFFFFu),
                          filled(5, 3, QImage::Format_ARGB32, 0xFFFFFFFFu)));
    QImageEx indexed = randomImage(7, 2, QImage::Format_Indexed8);
    QImageEx blank = indexed.createImage(3);
    EXPECT_EQ(blank.colorTable(), indexed.colorTable());
    EXPECT_TRUE(sameBytes(blank, filled(7, 2, QImage::Format_Indexed8, 3)));
    EXPECT_TRUE(QImageEx().createImage(0).isNull());
}

TEST(QImageExProgress, ReportsThroughTheCallbackOrSaysContinue) {
    QImageEx img = QImage(2, 2, QImage::Format_ARGB32);
    EXPECT_TRUE(img.set_progress(5));
    std::vector<int> seen;
    img.setProgressCallback([&](int v) { seen.push_back(v); return v < 10; });
    EXPECT_TRUE(img.set_progress(3));
    EXPECT_FALSE(img.set_progress(10));
    EXPECT_EQ(seen, (std::vector<int>{3, 10}));
    img.setProgressCallback([](int) -> bool { throw std::runtime_error("boom"); });
    EXPECT_FALSE(img.set_progress(1)) << "a throwing callback asks to stop";
}

TEST(QImageExProgress, BelongsToTheObjectNotToThePixels) {
    int calls = 0;
    QImageEx owner = QImage(2, 2, QImage::Format_ARGB32);
    owner.setProgressCallback([&](int) { ++calls; return false; });

    QImageEx copy(owner);
    EXPECT_TRUE(copy.set_progress(1)) << "a copy starts without a callback";
    owner = QImageEx(QImage(3, 3, QImage::Format_RGB32));
    EXPECT_FALSE(owner.set_progress(1)) << "assignment keeps the callback";
    owner = QImage(4, 4, QImage::Format_RGB32);
    EXPECT_FALSE(owner.set_progress(1));
    copy.copyCallback(owner);
    EXPECT_FALSE(copy.set_progress(1));
    EXPECT_EQ(calls, 3);

    QImageEx created;
    created.copyCallback(owner);
    ASSERT_TRUE(QImageEx::create(created, 2, 2, QImage::Format_ARGB32));
    EXPECT_FALSE(created.set_progress(1)) << "create reallocates in place";
}

TEST(QImageExDetach, BracketedWritesNeverReachASharedCopy) {
    QImageEx img = randomImage(8, 8, QImage::Format_ARGB32);
    const QImageEx before = img.copy();
    const QImageEx shared = img;  // shares pixels until written

    img.beginDetach();
    EXPECT_EQ(img.scanLine(5), img.scanLine(0) + 5 * img.bytesPerLine());
    EXPECT_EQ(img.scanLineEx(5), img.scanLine(5));
    img.beginDetach();  // nests
    // Bands on several threads write their rows through scanLine.
    std::thread t1([&] { for (int y = 0; y < 4; ++y) img.scanLine(y)[0] ^= 0xFF; });
    std::thread t2([&] { for (int y = 4; y < 8; ++y) img.scanLine(y)[0] ^= 0xFF; });
    t1.join();
    t2.join();
    img.endDetach();
    img.endDetach();
    img.endDetach();  // unbalanced end is harmless

    EXPECT_TRUE(sameBytes(shared, before));
    EXPECT_EQ(img.constScanLine(7)[0], static_cast<unsigned char>(before.constScanLine(7)[0] ^ 0xFF));
}

TEST(QImageExFormat, SetFormatRelabelsWithoutTouchingPixels) {
    QImageEx img = randomImage(5, 4, QImage::Format_RGB32);
    const QImageEx original = img;
    img.setFormat(QImage::Format_ARGB32);
    EXPECT_EQ(img.format(), QImage::Format_ARGB32);
    EXPECT_EQ(original.format(), QImage::Format_RGB32) << "a shared copy keeps its label";
    EXPECT_TRUE(sameBytes(img, original));
    img.setFormat(QImage::Format_Grayscale8);  // another depth: ignored
    EXPECT_EQ(img.format(), QImage::Format_ARGB32);
}

TEST(QImageExCopy, CopiesAreDeepAndClipToTheImage) {
    QImageEx img = randomImage(6, 5, QImage::Format_ARGB32);
    QImageEx whole = img.copy(QRect());
    EXPECT_NE(whole.constBits(), img.constBits());
    EXPECT_TRUE(sameBytes(whole, img));
    QImageEx part = img.copyEx(QRect(2, 1, 3, 2));
    EXPECT_TRUE(sameBytes(part, img.copy(2, 1, 3, 2)));
    EXPECT_EQ(pixelWord(part, 0, 0), pixelWord(img, 2, 1));
    QImageEx outside = img.copy(QRect(5, 4, 2, 2));
    EXPECT_EQ(pixelWord(outside, 0, 0), pixelWord(img, 5, 4));
    EXPECT_EQ(pixelWord(outside, 1, 1), 0u);

    // scaleCrop: the whole image scaled to 8 x 8, then the part inside rect.
    QImageEx small = randomImage(4, 4, QImage::Format_ARGB32);
    QSize size(8, 8);
    QRect rect(2, 2, 4, 4);
    QImageEx cut = small.scaleCrop(size, rect, Qt::FastTransformation);
    ASSERT_EQ(cut.size(), QSize(4, 4));
    EXPECT_EQ(pixelWord(cut, 0, 0), pixelWord(small, 1, 1));
    EXPECT_EQ(pixelWord(cut, 3, 3), pixelWord(small, 2, 2));
}

TEST(QImageExRotate, QuarterTurnMapsPixelsClockwise) {
    QImageEx img = randomImage(3, 2, QImage::Format_ARGB32);
    QImageEx turned = img.rotated(90, 0);
    ASSERT_EQ(turned.size(), QSize(2, 3));
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(pixelWord(turned, 1 - y, x), pixelWord(img, x, y));
    EXPECT_TRUE(sameBytes(img.rotated(0, 0), img));
    EXPECT_TRUE(sameBytes(img.rotated(360, 0), img));
    EXPECT_TRUE(QImageEx().rotated(30, 0).isNull());
}

TEST(QImageExRotate, MasksKeepTheirLevelsAndCornersTakeTheFill) {
    QImageEx mask = filled(40, 20, QImage::Format_Grayscale8, 0);
    for (int y = 0; y < 20; ++y)
        mask.scanLine(y)[y] = 100;
    QImageEx turned = mask.rotated(45, 255);
    ASSERT_GT(turned.width(), 40);
    EXPECT_EQ(turned.format(), QImage::Format_Grayscale8);
    EXPECT_EQ(turned.constScanLine(0)[0], 255) << "corner outside the source";
    for (int y = 0; y < turned.height(); ++y)
        for (int x = 0; x < turned.width(); ++x) {
            const int v = turned.constScanLine(y)[x];
            ASSERT_TRUE(v == 0 || v == 100 || v == 255) << v;
        }
}

TEST(QImageExMerge, WritesThePieceAndDropsWhatFallsOutside) {
    QImageEx img = filled(6, 6, QImage::Format_Grayscale8, 0);
    const QImage piece = filled(3, 3, QImage::Format_Grayscale8, 200);
    img.mergerImage(piece, QRect(4, 4, 3, 3));
    img.mergerImage(piece, QRect(-10, -10, 3, 3));  // entirely outside: nothing
    img.mergerImage(piece, QRect(0, 0, 0, 0));      // empty: the piece's own size
    img.mergerImage(filled(1, 1, QImage::Format_ARGB32, 0xFFFFFFFFu), QRect(0, 5, 2, 1));  // converted, scaled
    EXPECT_TRUE(sameBytes(img, vqtest::imageOf(6, 6, QImage::Format_Grayscale8,
                                               {200, 200, 200, 0,   0,   0,    //
                                                200, 200, 200, 0,   0,   0,    //
                                                200, 200, 200, 0,   0,   0,    //
                                                0,   0,   0,   0,   0,   0,    //
                                                0,   0,   0,   0,   200, 200,  //
                                                255, 255, 0,   0,   200, 200})));
}

TEST(QImageExSave, WritesAndIgnoresTheLastArgument) {
    QImageEx img = randomImage(4, 4, QImage::Format_ARGB32);
    const QString path = QString::fromStdString(testing::TempDir()) + "/qimageex_save.png";
    ASSERT_TRUE(img.save(path, "PNG", -1, true));
    EXPECT_TRUE(sameBytes(QImage(path).convertToFormat(QImage::Format_ARGB32), img));
    EXPECT_FALSE(img.save("/nonexistent/dir/x.png", nullptr, -1, false));
}
