// Histogram queries, their drawing, and the automatic brightness and contrast.
#include <vqutil/adjust.h>

#include "test_support.h"

#include <QPainter>

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

using namespace vqtest;

namespace {

struct Tables {
    std::vector<int> t[5];
    Tables() {
        for (auto& v : t)
            v.assign(256, -1);
    }
    int* operator[](int k) { return t[k].data(); }
};

// 256 bins holding the given {bin, count} entries, the rest 0.
std::vector<int> bins(std::initializer_list<std::pair<int, int>> entries) {
    std::vector<int> out(256, 0);
    for (const auto& [bin, count] : entries)
        out[bin] = count;
    return out;
}

}  // namespace

TEST(Histogram, ValueCountsByLayoutAndGreyWeights) {
    // Seven pixels (a tail after the four-pixel steps); red is byte 2 here.
    QImageEx argb = imageOf(7, 1, QImage::Format_ARGB32,
                            {0x00102030u, 0xFF102030u, 0xFF000000u, 0xFF0000FFu, 0x12FF0000u, 0xFF102030u,
                             0xFF102030u});
    Tables h;
    getHistoGramValue(argb, h[0], h[1], h[2], h[3]);
    EXPECT_EQ(h.t[0], bins({{0, 1}, {0x30, 4}, {0xFF, 2}}));
    EXPECT_EQ(h.t[1], bins({{0, 2}, {0x10, 4}, {0xFF, 1}}));
    EXPECT_EQ(h.t[2], bins({{0, 3}, {0x20, 4}}));
    EXPECT_EQ(h.t[3], bins({{0, 2}, {0x30, 4}, {0xFF, 1}}));

    // 24-bit pixels: "first" is byte 0; null tables are skipped.
    QImageEx rgb(QImage(3, 2, QImage::Format_RGB888));
    rgb.fill(QColor(200, 10, 20));
    Tables g;
    getHistoGramValue(rgb, nullptr, g[1], nullptr, g[3]);
    EXPECT_EQ(g.t[1], bins({{200, 6}}));
    EXPECT_EQ(g.t[3], bins({{20, 6}}));
    EXPECT_EQ(g[0][0], -1);

    QImageEx mono(QImage(10, 1, QImage::Format_Mono));
    mono.fill(0u);
    mono.scanLine(0)[0] = 0xA0;  // pixels 0 and 2 set
    getHistoGramValueQImage(mono, g[0], g[1], g[2], g[3]);
    EXPECT_EQ(g.t[0], bins({{0, 8}, {1, 2}}));

    // Grey: (59 b1 + 11 b0 + 30 b2) / 100; colour-table entries over white.
    argb = imageOf(1, 1, QImage::Format_ARGB32, {0xFF1E140Au});  // bytes 10, 20, 30
    std::vector<int> grey(256, -1);
    getHistoGramGrey(argb, grey.data());
    EXPECT_EQ(grey, bins({{21, 1}}));  // (20 x 59 + 10 x 11 + 30 x 30) / 100

    // A half-transparent red entry: (255 x 11) >> 5 = 87, over white 43 + 127.
    QImageEx indexed(QImage(4, 1, QImage::Format_Indexed8));
    indexed.setColorTable({qRgba(255, 0, 0, 128), qRgb(0, 0, 0)});
    indexed.fill(0u);
    indexed.scanLine(0)[3] = 1;
    getHistoGramGrey(indexed, grey.data());
    EXPECT_EQ(grey, bins({{0, 1}, {170, 3}}));
    getHistoGramGrey(indexed, nullptr);
}

TEST(Histogram, CmykCountsMatchThePixelConversion) {
    QImage image = randomImage(301, 97, QImage::Format_RGB32, 5);
    Tables got;
    std::vector<int> expected[5] = {bins({}), bins({}), bins({}), bins({}), bins({})};
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            unsigned char p[4];
            QImageEx::BgrToCmyk(p, image.scanLine(y) + 4 * x, 1);
            ++expected[0][*std::max_element(p, p + 4)];
            for (int c = 0; c < 4; ++c)
                ++expected[c + 1][p[c]];
        }
    getHistoGramValueCMYKQImage(image, got[0], got[1], got[2], got[3], got[4]);
    for (int k = 0; k < 5; ++k)
        EXPECT_EQ(got.t[k], expected[k]) << "table " << k;
}

TEST(HistogramDrawing, FillsEachBinUpToItsShareOfTheScale) {
    std::vector<int> ramp(256);
    std::iota(ramp.begin(), ramp.end(), 0);
    int* histograms[] = {ramp.data()};
    QColor fills[] = {QColor(200, 0, 0)};
    QColor outlines[] = {QColor(200, 0, 0)};
    QImage image;
    drawHistoGramToImage(image, Qt::white, QSize(256, 100), 1, 255, histograms, fills, outlines);
    ASSERT_EQ(image.format(), QImage::Format_ARGB32);
    ASSERT_EQ(image.size(), QSize(256, 100));
    // Bin 200 reaches 200 / 255 of the height: about row 22 from the top.
    EXPECT_EQ(image.pixel(200, 99), qRgb(200, 0, 0));
    EXPECT_EQ(image.pixel(200, 30), qRgb(200, 0, 0));
    EXPECT_EQ(image.pixel(200, 15), qRgb(255, 255, 255));
    EXPECT_EQ(image.pixel(10, 50), qRgb(255, 255, 255));

    // Automatic scale: one spike does not flatten the rest, and is cut off.
    std::vector<int> spiky(256, 100);
    spiky[128] = 1000000;
    histograms[0] = spiky.data();
    drawHistoGramToImage(image, Qt::white, QSize(256, 100), 1, 0, histograms, nullptr, nullptr);
    EXPECT_NE(image.pixel(128, 0), qRgb(255, 255, 255));    // full height
    EXPECT_NE(image.pixel(60, 90), qRgb(255, 255, 255));    // ordinary bins stay visible
    EXPECT_EQ(image.pixel(60, 5), qRgb(255, 255, 255));

    drawHistoGramToPainter(nullptr, QSize(10, 10), 1, 0, histograms, nullptr, nullptr);
    QPainter painter(&image);
    drawHistoGramToPainter(&painter, QSize(10, 10), 1, 0, nullptr, nullptr, nullptr);
}

TEST(AutoBrightContrast, StretchesAWashedOutImage) {
    // Greys 90..165, evenly: a flat, washed-out picture.
    QImageEx image(QImage(76, 20, QImage::Format_RGB32));
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 76; ++x)
            reinterpret_cast<QRgb*>(image.scanLine(y))[x] = qRgb(90 + x, 90 + x, 90 + x);
    double brightness = -1, contrast = -1;
    getAutoBrightContractValue(image, brightness, contrast);
    EXPECT_GE(brightness, 0);
    EXPECT_GT(contrast, 1);
    CDib::adjustBrightAndContrast(image, nullptr, contrast, brightness);
    EXPECT_LE(qRed(image.pixel(1, 0)), 8);
    EXPECT_GE(qRed(image.pixel(74, 0)), 247);

    // An image whose clip points are already the ends needs no change.
    QImageEx full(QImage(256, 3, QImage::Format_RGB32));
    for (int x = 0; x < 256; ++x) {
        reinterpret_cast<QRgb*>(full.scanLine(0))[x] = qRgb(0, 0, 0);
        reinterpret_cast<QRgb*>(full.scanLine(1))[x] = qRgb(x, x, x);
        reinterpret_cast<QRgb*>(full.scanLine(2))[x] = qRgb(255, 255, 255);
    }
    getAutoBrightContractValue(full, brightness, contrast);
    EXPECT_EQ(brightness, 0);
    EXPECT_NEAR(contrast, 1, 0.05);
    QImageEx flat(QImage(5, 5, QImage::Format_RGB32));
    flat.fill(0xFF808080u);
    getAutoBrightContractValue(flat, brightness, contrast);
    EXPECT_EQ(brightness, 0);
    EXPECT_EQ(contrast, 1);
}
