// The magic wand: the colour map, the tracer's pieces, and the contiguous
// selection on synthetic shapes.
#include <vqutil/selection.h>

#include "test_support.h"

#include <QPainter>
#include <QPainterPath>
#include <QRegion>

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <random>

using namespace vqtest;

namespace {

QImageEx mapOf(int w, int h, std::initializer_list<uint32_t> bytes) { return imageOf(w, h, QImage::Format_Grayscale8, bytes); }

// n points as "x,y x,y ...".
std::string xy(const CPoint* p, int n = 1) {
    std::string out;
    for (int i = 0; i < n; ++i)
        out += (i ? " " : "") + std::to_string(p[i].x) + "," + std::to_string(p[i].y);
    return out;
}

QImage canvas(int w, int h) {
    QImage image(w, h, QImage::Format_ARGB32);
    image.fill(Qt::white);
    return image;
}

// What a contiguous selection is compared with: the 8-connected pixels of
// exactly the clicked colour around the click.
std::vector<char> blobAt(const QImage& image, QPoint click) {
    const int w = image.width();
    std::vector<char> blob(static_cast<size_t>(w) * image.height(), 0);
    std::vector<QPoint> todo{click};
    blob[click.y() * w + click.x()] = 1;
    while (!todo.empty()) {
        const QPoint p = todo.back();
        todo.pop_back();
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx) {
                const QPoint q(p.x() + dx, p.y() + dy);
                if (image.rect().contains(q) && !blob[q.y() * w + q.x()] && image.pixel(q) == image.pixel(click))
                    todo.push_back(q), blob[q.y() * w + q.x()] = 1;
            }
    }
    return blob;
}

// The wand's selection (tolerance 0) at the click holds the click, nothing
// outside the clicked blob, and at least `share` of it.
void expectBlob(const QImage& image, QPoint click, double share, const char* what) {
    CDibRegion region;
    ASSERT_TRUE(CBoundaryTrace().BouderayTrace(&region, QImageEx(image), CPoint(click.x(), click.y()), 0, 0, 15));
    const QImageEx mask = region.toQImageRef();
    const std::vector<char> blob = blobAt(image, click);
    int inBlob = 0, blobSize = 0, foreign = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const bool selected = mask.constScanLine(y)[x] < 128, member = blob[y * image.width() + x];
            blobSize += member;
            inBlob += selected && member;
            foreign += selected && !member;
        }
    EXPECT_EQ(mask.constScanLine(click.y())[click.x()], 0) << what;
    EXPECT_EQ(foreign, 0) << what;
    EXPECT_GE(double(inBlob) / blobSize, share) << what;
}

}  // namespace

TEST(ColorMap, ComponentsTolerancesAndAlpha) {
    CBoundaryTrace wand;
    // Mode 0: each of R, G, B within the tolerance.
    QImageEx rgb = imageOf(4, 1, QImage::Format_ARGB32, {0xFF646464u, 0xFF6A6464u, 0xFF6B6464u, 0xFF5E6A64u});
    QImageEx map;
    ASSERT_TRUE(wand.GetColorMapEx(map, rgb, CPoint(0, 0), 6, 0, 7, 9, 0));
    EXPECT_EQ(rowOf(map, 0), (std::vector<int>{7, 7, 9, 7}));
    // Mode 1: L, U, V within t, 3t, 6t: at 0 only the clicked colour itself.
    ASSERT_TRUE(wand.GetColorMapEx(map, rgb, CPoint(0, 0), 0, 1, 0, 1, 0));
    EXPECT_EQ(rowOf(map, 0), (std::vector<int>{0, 1, 1, 1}));

    // A transparent click takes exactly the transparent pixels; an opaque
    // one never takes alpha below 128.
    QImageEx alpha = imageOf(4, 1, QImage::Format_ARGB32, {0x00FF0000u, 0x00000000u, 0x01FF0000u, 0x7FFF0000u});
    wand.GetColorMapEx(map, alpha, CPoint(0, 0), 255, 0, 0, 1, 0);
    EXPECT_EQ(rowOf(map, 0), (std::vector<int>{0, 0, 1, 1}));
    QImageEx opaque = imageOf(3, 1, QImage::Format_ARGB32, {0xFFFF0000u, 0x7FFF0000u, 0x80FF0000u});
    wand.GetColorMapEx(map, opaque, CPoint(0, 0), 0, 0, 0, 1, 0);
    EXPECT_EQ(rowOf(map, 0), (std::vector<int>{0, 1, 0}));

    QImageEx grey = imageOf(3, 1, QImage::Format_Grayscale8, {50, 60, 61});
    wand.GetColorMap(map, grey, CPoint(0, 0), 10, 0, 0);
    EXPECT_EQ(rowOf(map, 0), (std::vector<int>{0, 0, 1}));
    QImageEx indexed = imageOf(3, 1, QImage::Format_Indexed8, {0, 1, 2});
    indexed.setColorTable({qRgb(10, 10, 10), qRgb(12, 10, 10), qRgb(200, 0, 0)});
    wand.GetColorMap(map, indexed, CPoint(0, 0), 2, 0, 0);
    EXPECT_EQ(rowOf(map, 0), (std::vector<int>{0, 0, 1}));
    QImageEx mono(QImage(9, 1, QImage::Format_Mono));
    mono.fill(0u);
    mono.scanLine(0)[0] = 0xA0;
    wand.GetColorMap(map, mono, CPoint(2, 0), 0, 0, 0);
    EXPECT_EQ(rowOf(map, 0), (std::vector<int>{0, 1, 0, 1, 1, 1, 1, 1, 1}));

    // Other depths, and clicks outside, write nothing.
    QImageEx untouched = filled(2, 2, QImage::Format_Grayscale8, 42);
    EXPECT_TRUE(wand.GetColorMapEx(untouched, QImageEx(QImage(2, 2, QImage::Format_RGB16)), CPoint(0, 0), 0, 0, 0, 1, 0));
    EXPECT_TRUE(wand.GetColorMapEx(untouched, rgb, CPoint(9, 0), 0, 0, 0, 1, 0));
    EXPECT_EQ(rowOf(untouched, 1), (std::vector<int>{42, 42}));
}

TEST(ColorMap, BouderayColorSelectsEveryMatchingPixel) {
    QImageEx image = imageOf(3, 3, QImage::Format_ARGB32,
                             {0xFF0000FFu, 0xFFFFFFFFu, 0xFF0000FFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFF0000FFu,
                              0xFFFFFFFFu, 0xFF0000FFu});
    CBoundaryTrace wand;
    CDibRegion region;
    ASSERT_TRUE(wand.BouderayColor(&region, image, CPoint(0, 0), 0, 0, 15));
    EXPECT_EQ(rowOf(region.toQImageRef(), 2), (std::vector<int>{0, 255, 0}));
    // The last column and row cannot be clicked.
    CDibRegion untouched;
    EXPECT_FALSE(wand.BouderayColor(&untouched, image, CPoint(2, 0), 0, 0, 15));
    EXPECT_FALSE(wand.BouderayTrace(&untouched, image, CPoint(0, 2), 0, 0, 15));
    EXPECT_FALSE(wand.BouderayColor(&untouched, image, CPoint(-1, 0), 0, 0, 15));
    EXPECT_FALSE(wand.BouderayColor(nullptr, image, CPoint(0, 0), 0, 0, 15));
    EXPECT_TRUE(untouched.toQImageRef().isNull());
    QImageEx tiny = filled(1, 1, QImage::Format_ARGB32, 0xFF000000u);
    EXPECT_FALSE(wand.BouderayTrace(&untouched, tiny, CPoint(0, 0), 0, 0, 15));
}

TEST(TracerPieces, BlocksFollowTheirTopLeftPixel) {
    // 5 x 5: odd sides copy the column and row before them.
    QImageEx map = mapOf(5, 5, {0, 1, 1, 0, 0,  //
                                1, 0, 0, 1, 1,  //
                                0, 0, 1, 1, 0,  //
                                0, 1, 0, 0, 0,  //
                                1, 1, 1, 1, 1});
    CBoundaryTrace wand;
    ASSERT_TRUE(wand.tarceMakeBlock(map));
    EXPECT_EQ(rowOf(map, 0), (std::vector<int>{0, 8, 1, 33, 33}));
    EXPECT_EQ(rowOf(map, 1), (std::vector<int>{8, 0, 33, 1, 1}));
    EXPECT_EQ(rowOf(map, 2), (std::vector<int>{0, 0, 1, 1, 1}));
    EXPECT_EQ(rowOf(map, 3), (std::vector<int>{0, 8, 33, 33, 33}));
    EXPECT_EQ(rowOf(map, 4), (std::vector<int>{0, 8, 33, 33, 33}));
}

TEST(TracerPieces, TraceFillAndRegionOfABlock) {
    // A 3 x 3 area in a 5 x 5 map.
    QImageEx map = filled(5, 5, QImage::Format_Grayscale8, 1);
    for (int y = 1; y <= 3; ++y)
        for (int x = 1; x <= 3; ++x)
            map.scanLine(y)[x] = 0;
    CBoundaryTrace wand;
    QVector<CPoint> points;
    const int n = wand.TraceCycle(CPoint(3, 2), points, map);
    ASSERT_EQ(n, 8);
    EXPECT_EQ(xy(points.data(), points.size()), "3,2 3,3 2,3 1,3 1,2 1,1 2,1 3,1 3,2");
    EXPECT_EQ(rowOf(map, 1), (std::vector<int>{1, 2, 2, 2, 1}));
    EXPECT_EQ(rowOf(map, 2), (std::vector<int>{1, 2, 0, 2, 1}));  // the middle is not on the outline

    EXPECT_TRUE(wand.PtInMapRegion(CPoint(2, 2), n, points.data()));
    EXPECT_TRUE(wand.PtInMapRegion(CPoint(1, 1), n, points.data()));
    EXPECT_FALSE(wand.PtInMapRegion(CPoint(4, 2), n, points.data()));
    EXPECT_FALSE(wand.PtInMapRegion(CPoint(2, 2), 2, points.data()));

    ASSERT_TRUE(wand.AddColorMapRegion(map, n, points.data(), 128, 0));
    EXPECT_EQ(rowOf(map, 2), (std::vector<int>{1, 130, 128, 130, 1}));
    EXPECT_EQ(rowOf(map, 3), (std::vector<int>{1, 130, 130, 130, 1}));
    CDibRegion region;
    ASSERT_TRUE(wand.ColorMapToRegon(map, &region));
    EXPECT_EQ(region.GetBouder(true), QRect(1, 1, 3, 3));
    EXPECT_EQ(rowOf(map, 1), (std::vector<int>{1, 128, 128, 128, 1}));

    // The start must sit on the right edge of a run.
    EXPECT_EQ(wand.TraceCycle(CPoint(2, 2), points, map), 0);
    QImageEx solid = filled(3, 3, QImage::Format_Grayscale8, 1);
    EXPECT_EQ(wand.TraceCycle(CPoint(2, 1), points, solid), 0);  // no inside neighbour
}

TEST(TracerPieces, StrictFillAndRegionRules) {
    CPoint square[] = {{0, 0}, {0, 3}, {3, 3}, {3, 0}};
    QImageEx map = filled(4, 4, QImage::Format_Grayscale8, 1);
    CBoundaryTrace wand;
    ASSERT_TRUE(wand.AddColorMapRegion(map, 4, square, 8, 1));  // strictly inside: not the corners
    EXPECT_EQ(rowOf(map, 0), (std::vector<int>{1, 8, 8, 1}));
    EXPECT_EQ(rowOf(map, 1), (std::vector<int>{8, 8, 8, 8}));
    EXPECT_FALSE(wand.AddColorMapRegion(map, 2, square, 8, 1));

    // Bit 5 pixels next to the area join it (only at 1 < x < width - 1).
    QImageEx marks = mapOf(6, 1, {128, 33, 33, 128, 33, 1});
    CDibRegion region;
    ASSERT_TRUE(wand.ColorMapToRegon(marks, &region));
    EXPECT_EQ(rowOf(region.toQImageRef(), 0), (std::vector<int>{0, 255, 0, 0, 0, 255}));
    EXPECT_FALSE(wand.ColorMapToRegon(marks, nullptr));

    CPoint start;
    QImageEx row = mapOf(6, 1, {0, 0, 0, 1, 0, 0});
    ASSERT_TRUE(wand.FindStartPoint(row, CPoint(1, 0), start));
    EXPECT_EQ(xy(&start), "2,0");
    ASSERT_TRUE(wand.FindStartPoint(row, CPoint(4, 0), start));  // none: the last column
    EXPECT_EQ(xy(&start), "5,0");
    EXPECT_FALSE(wand.FindStartPoint(row, CPoint(6, 0), start));
    QImageEx holes = mapOf(6, 2, {129, 128, 128, 129, 128, 129, 128, 128, 128, 128, 129, 128});
    CPoint cursor(0, 0);
    for (const char* expected : {"2,0", "4,0", "3,1"}) {  // the hole at x < 3 is skipped
        ASSERT_TRUE(wand.FindStartPointEx(holes, cursor, start));
        EXPECT_EQ(xy(&start), expected);
    }
    EXPECT_FALSE(wand.FindStartPointEx(holes, cursor, start));
}

TEST(MagicWand, SelectsTheClickedBlobOnly) {
    QImage discs = canvas(200, 150);
    {
        QPainter p(&discs);
        p.setPen(Qt::NoPen);
        p.setBrush(Qt::red);
        p.drawEllipse(QPoint(60, 70), 40, 40);
        p.drawEllipse(QPoint(150, 70), 30, 30);
        p.setBrush(Qt::blue);
        p.drawEllipse(QPoint(60, 70), 8, 8);  // a hole of another colour
        p.setBrush(Qt::red);
        p.drawEllipse(QPoint(60, 70), 3, 3);  // and an island inside it
    }
    expectBlob(discs, QPoint(40, 70), 0.97, "disc");
    expectBlob(discs, QPoint(150, 70), 0.97, "second disc");
    expectBlob(discs, QPoint(60, 70), 0.6, "island");

    QImage rings = canvas(200, 200);
    {
        QPainter p(&rings);
        p.setPen(QPen(Qt::blue, 8));
        for (int r : {80, 50, 20})
            p.drawEllipse(QPoint(100, 100), r, r);
    }
    expectBlob(rings, QPoint(21, 100), 0.94, "outer ring, left");
    expectBlob(rings, QPoint(179, 100), 0.94, "outer ring, right");
    expectBlob(rings, QPoint(100, 51), 0.94, "middle ring");
    expectBlob(rings, QPoint(100, 35), 0.97, "gap between rings");

    QImage spiral = canvas(300, 300);
    {
        QPainter p(&spiral);
        p.setPen(QPen(Qt::darkGreen, 6));
        QPainterPath path(QPointF(150, 150));
        for (double t = 0; t < 6 * M_PI; t += 0.05)
            path.lineTo(150 + 7 * t * std::cos(t), 150 + 7 * t * std::sin(t));
        p.drawPath(path);
    }
    expectBlob(spiral, QPoint(150, 150), 0.95, "spiral");
    expectBlob(spiral, QPoint(290, 10), 0.97, "around the spiral");

    QImage border = canvas(120, 80);
    {
        QPainter p(&border);
        p.fillRect(0, 0, 50, 80, Qt::red);
        p.fillRect(80, 20, 40, 40, Qt::red);
        p.fillRect(10, 10, 10, 10, Qt::white);
    }
    expectBlob(border, QPoint(30, 40), 1.0, "touching three borders, with a hole");
    expectBlob(border, QPoint(100, 40), 1.0, "touching the right border");
}

TEST(MagicWand, CornerContactsAndThinLinesStaySafe) {
    // Squares that touch only at corners: the clicked square alone.
    QImage checker = canvas(64, 64);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x)
            if ((x / 8 + y / 8) % 2)
                checker.setPixel(x, y, qRgb(0, 0, 0));
    CDibRegion region;
    CBoundaryTrace wand;
    ASSERT_TRUE(wand.BouderayTrace(&region, QImageEx(checker), CPoint(12, 3), 0, 0, 15));
    EXPECT_EQ(region.GetBouder(true), QRect(8, 0, 8, 8));
    EXPECT_EQ(region.toQImageRef().constScanLine(4)[12], 0);

    // One-pixel lines: the traced outline stops where it meets itself, so
    // only part of the line may be selected, but never anything else.
    QImage lines = canvas(100, 100);
    for (int k = 0; k < 95; ++k) {
        lines.setPixel(k, k, qRgb(0, 0, 0));
        lines.setPixel(k, k + 5, qRgb(0, 0, 0));
    }
    expectBlob(lines, QPoint(40, 40), 0, "first line");
    expectBlob(lines, QPoint(40, 45), 0, "second line");
}

TEST(MagicWand, NoiseAndMazesEndQuickly) {
    // Random noise and a maze of one-pixel walls: the tracer meets every
    // kind of neck and spur; it must end, within the image, without growth.
    std::mt19937 rng(11);
    QImage noise(1000, 1000, QImage::Format_ARGB32);
    for (int y = 0; y < noise.height(); ++y)
        for (int x = 0; x < noise.width(); ++x)
            noise.setPixel(x, y, rng() % 3 ? 0xFF000000u : 0xFFFFFFFFu);
    QImage maze(1001, 1001, QImage::Format_ARGB32);
    maze.fill(Qt::white);
    for (int y = 0; y < maze.height(); ++y)
        for (int x = 0; x < maze.width(); ++x)
            if ((x % 4 == 0 || y % 4 == 0) && rng() % 5)
                maze.setPixel(x, y, 0xFF000000u);
    for (const QImage* image : {&noise, &maze})
        for (QPoint click : {QPoint(500, 500), QPoint(1, 1), QPoint(998, 998)})
            expectBlob(*image, click, 0, image == &noise ? "noise" : "maze");
}

TEST(MagicWand, GreyMapAndRegionFromImage) {
    CBoundaryTrace wand;
    QImageEx image = imageOf(3, 2, QImage::Format_ARGB32,
                             {0xFF0A141Eu, 0xFFFFFFFFu, 0xFF000000u, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFF000000u});
    QImageEx grey;
    ASSERT_TRUE(wand.getGreyMap(grey, image));
    ASSERT_EQ(grey.format(), QImage::Format_Grayscale8);
    EXPECT_EQ(rowOf(grey, 0), (std::vector<int>{(30 + 6 * 20 + 3 * 10) / 10, 255, 0}));
    QRegion region;
    ASSERT_TRUE(wand.rgnFromImage(region, image, 200, 255));
    EXPECT_EQ(region, QRegion(1, 0, 1, 1) + QRegion(0, 1, 2, 1));
    EXPECT_FALSE(wand.getGreyMap(grey, QImageEx()));
    EXPECT_FALSE(wand.rgnFromImage(region, QImageEx(), 0, 255));
}
