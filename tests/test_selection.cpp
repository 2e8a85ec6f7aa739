// Selection masks: CDibRegion's set operations, bounds bookkeeping and
// copies, and the image roll.
#include <vqutil/selection.h>

#include "test_support.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

using namespace vqtest;

namespace {

// Bytes of a region's mask, row by row, as '#' (selected, < 128) and '.'.
std::string picture(CDibRegion& region) {
    const QImageEx mask = region.toQImageRef();
    std::string out;
    for (int y = 0; y < mask.height(); ++y) {
        for (int x = 0; x < mask.width(); ++x)
            out += mask.constScanLine(y)[x] < 128 ? '#' : '.';
        out += '\n';
    }
    return out;
}

CDibRegion blank(int w, int h) {
    CDibRegion region;
    region.InitRegion(w, h, 0, 255);
    return region;
}

}  // namespace

TEST(DibRegion, InitAndBounds) {
    CDibRegion none = blank(8, 6);
    EXPECT_TRUE(none.isEmpty());
    CDibRegion all;
    ASSERT_TRUE(all.InitRegion(8, 6, 0, 0));
    EXPECT_FALSE(all.isEmpty());
    EXPECT_EQ(all.GetBouder(true), QRect(0, 0, 8, 6));
    EXPECT_FALSE(all.InitRegion(-1, 5, 0, 0));
    EXPECT_EQ(all.toQImageRef().width(), 8);  // unchanged by the failure

    // The cached box is kept until something sets the flag: paste does not.
    CDibRegion r = blank(10, 10);
    r.AddSelect(CRect(2, 2, 4, 4), 0, 0);
    EXPECT_EQ(r.GetBouder(true), QRect(2, 2, 2, 2));
    r.paste(filled(1, 1, QImage::Format_Grayscale8, 0), QRect(8, 8, 1, 1));
    EXPECT_EQ(r.GetBouder(true), QRect(2, 2, 2, 2));
    CDibRegion part;
    ASSERT_TRUE(r.Crop(QRect(5, 5, 20, 20), &part));  // sets the flag of r
    EXPECT_EQ(part.toQImageRef().size(), QSize(5, 5));
    EXPECT_EQ(r.GetBouder(true), QRect(2, 2, 7, 7));
    EXPECT_FALSE(r.Crop(QRect(20, 20, 5, 5), &part));
    EXPECT_FALSE(r.Crop(QRect(0, 0, 5, 5), nullptr));

    CDibRegion null;
    EXPECT_TRUE(null.isEmpty());
    EXPECT_FALSE(null.AddSelect(CRect(0, 0, 1, 1), 0, 0));
    EXPECT_FALSE(null.CreateCRgn(0, nullptr));
    EXPECT_EQ(null.GetCRgnPointer(), nullptr);
}

TEST(DibRegion, RectanglesEllipsesAndPolygons) {
    CDibRegion r = blank(12, 12);
    ASSERT_TRUE(r.AddSelect(CRect(10, 10, 5, 5), 0, 0));  // normalised: columns and rows 5..9
    EXPECT_EQ(r.GetBouder(true), QRect(5, 5, 5, 5));
    ASSERT_TRUE(r.SubSelect(CRect(5, 5, 7, 10), 0));
    EXPECT_EQ(r.GetBouder(true), QRect(7, 5, 3, 5));
    EXPECT_FALSE(r.AddSelect(CRect(13, 0, 20, 5), 0, 0));
    EXPECT_TRUE(r.AddSelect(CRect(12, 0, 20, 1), 0, 0));  // left = width still passes
    EXPECT_TRUE(r.AddSelect(CRect(-5, -5, 1, 1), 0, 0));
    EXPECT_EQ(r.toQImageRef().constScanLine(0)[0], 0);

    CDibRegion small = blank(4, 4);
    small.AddSelect(CRect(1, 1, 3, 3), 1, 0);  // too small for an ellipse: a rectangle
    EXPECT_EQ(picture(small), "....\n.##.\n.##.\n....\n");

    CDibRegion ellipse = blank(40, 40);
    ASSERT_TRUE(ellipse.AddSelect(CRect(5, 5, 35, 35), 1, 0));
    EXPECT_TRUE(ellipse.IsPtInSelArea(CPoint(20, 20)));
    EXPECT_FALSE(ellipse.IsPtInSelArea(CPoint(7, 7)));  // outside the circle, inside its box
    const QRect box = ellipse.GetBouder(true);
    EXPECT_NEAR(box.left(), 5, 1);
    EXPECT_NEAR(box.right(), 34, 1);
    ellipse.AddSelect(CRect(5, 5, 35, 35), 1, 7);  // any non-zero value clears
    EXPECT_FALSE(ellipse.IsPtInSelArea(CPoint(20, 20)));

    // Polygons are always added, also by SubSelect.
    const CPoint triangle[] = {CPoint(2, 2), CPoint(17, 2), CPoint(2, 17)};
    CDibRegion added = blank(20, 20), subtracted = blank(20, 20);
    ASSERT_TRUE(added.AddSelect(3, triangle, 255));
    ASSERT_TRUE(subtracted.SubSelect(3, const_cast<CPoint*>(triangle)));
    EXPECT_TRUE(sameBytes(added.toQImageRef(), subtracted.toQImageRef()));
    EXPECT_TRUE(added.IsPtInSelArea(CPoint(5, 5)));
    EXPECT_FALSE(added.IsPtInSelArea(CPoint(15, 15)));
}

TEST(DibRegion, MaskArithmeticAndFill) {
    CDibRegion a(imageOf(4, 1, QImage::Format_Grayscale8, {0, 0, 255, 100}));
    CDibRegion b(imageOf(4, 1, QImage::Format_Grayscale8, {0, 255, 0, 60}));
    CDibRegion both = a;
    ASSERT_TRUE(both.AddSelect(&b));
    EXPECT_EQ(rowOf(both.toQImageRef(), 0), (std::vector<int>{0, 0, 0, 100 & 60}));
    CDibRegion minus = a;
    ASSERT_TRUE(minus.SubSelect(&b));
    EXPECT_EQ(rowOf(minus.toQImageRef(), 0), (std::vector<int>{255, 0, 255, 100 | (255 - 60)}));
    EXPECT_EQ(rowOf(a.toQImageRef(), 0), (std::vector<int>{0, 0, 255, 100}));  // copies do not share writes

    CDibRegion other = blank(3, 1);
    EXPECT_FALSE(both.AddSelect(&other));
    EXPECT_FALSE(both.SubSelect(&other));
    EXPECT_FALSE(both.AddSelect(static_cast<CDibRegion*>(nullptr)));

    // Union samples the other mask by nearest pixel: half the size scales up.
    CDibRegion big = blank(4, 4);
    CDibRegion half(imageOf(2, 2, QImage::Format_Grayscale8, {0, 255, 255, 0}));
    big.Union(&half);
    EXPECT_EQ(picture(big), "##..\n##..\n..##\n..##\n");
    big.Union(nullptr);

    CDibRegion inverted(imageOf(2, 1, QImage::Format_Grayscale8, {0, 200}));
    ASSERT_TRUE(inverted.InvertSelect());
    EXPECT_EQ(rowOf(inverted.toQImageRef(), 0), (std::vector<int>{255, 55}));
    EXPECT_FALSE(inverted.CombineRegion(nullptr, 1));
    ASSERT_TRUE(inverted.CombineRegion(&b, 5));  // mode 5 copies the other's rows over
    EXPECT_EQ(rowOf(inverted.toQImageRef(), 0), (std::vector<int>{0, 255}));

    // FillRegion clips to the row.
    CDibRegion r = blank(6, 2);
    EXPECT_TRUE(r.FillRegion(0, -2, 4, 0));  // columns 0 and 1
    EXPECT_TRUE(r.FillRegion(1, 4, 100, 9));
    EXPECT_EQ(rowOf(r.toQImageRef(), 0), (std::vector<int>{0, 0, 255, 255, 255, 255}));
    EXPECT_EQ(rowOf(r.toQImageRef(), 1), (std::vector<int>{255, 255, 255, 255, 9, 9}));
    EXPECT_FALSE(r.FillRegion(2, 0, 1, 0));
    EXPECT_FALSE(r.FillRegion(0, 6, 1, 0));
    EXPECT_FALSE(r.FillRegion(0, 0, 0, 0));
    EXPECT_TRUE(r.FillRegion(0, LONG_MIN / 2, LONG_MAX, 7));
    EXPECT_EQ(rowOf(r.toQImageRef(), 0), (std::vector<int>(6, 7)));
}

TEST(DibRegion, CopiesAndParts) {
    CDibRegion r = blank(10, 8);
    r.AddSelect(CRect(2, 3, 5, 6), 0, 0);
    CDibRegion whole = r.copy(QRect());
    EXPECT_EQ(whole.GetBouder(false), QRect(2, 3, 3, 3));  // carried, not recomputed
    CDibRegion part = r.copy(QRect(0, 0, 4, 4));
    EXPECT_EQ(part.toQImageRef().size(), QSize(4, 4));
    EXPECT_EQ(part.GetBouder(true), QRect(2, 3, 2, 1));

    CDibRegion deep;
    ASSERT_TRUE(deep.CopyRegion(&r));
    r.AddSelect(CRect(0, 0, 1, 1), 0, 0);
    EXPECT_FALSE(deep.IsPtInSelArea(CPoint(0, 0)));
    EXPECT_EQ(deep.GetBouder(true), QRect(2, 3, 3, 3));
    EXPECT_FALSE(deep.CopyRegion(nullptr));

    QImageEx alpha;
    ASSERT_TRUE(r.GetAlphaData(alpha, CRect(1, 2, 4, 5)));
    EXPECT_EQ(alpha.size(), QSize(3, 3));
    EXPECT_EQ(alpha.constScanLine(1)[1], 0);

    EXPECT_TRUE(r.IsPtInSelArea(CPoint(2, 3)));
    EXPECT_FALSE(r.IsPtInSelArea(CPoint(-1, 3)));
    EXPECT_FALSE(r.IsPtInSelArea(CPoint(10, 3)));
    CDibRegion edge(imageOf(2, 1, QImage::Format_Grayscale8, {127, 128}));
    EXPECT_TRUE(edge.IsPtInSelArea(CPoint(0, 0)));
    EXPECT_FALSE(edge.IsPtInSelArea(CPoint(1, 0)));

    r.updateImage(QImageEx());
    EXPECT_TRUE(r.isEmpty());
    r.setRotate(30);
    CDibRegion assigned;
    assigned = r;
    assigned = assigned;
    EXPECT_TRUE(assigned.isEmpty());
}

TEST(DibRoll, EveryDepthWrapsAndOffsetRollsTheMask) {
    for (QImage::Format format : {QImage::Format_ARGB32, QImage::Format_RGB888, QImage::Format_Grayscale8,
                                  QImage::Format_Mono, QImage::Format_MonoLSB}) {
        const QImage original = randomImage(13, 5, format);
        QImageEx rolled = original;
        ASSERT_TRUE(DibRoll(rolled, -15, 7));  // same as (11, 2)
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 13; ++x)
                ASSERT_EQ(rolled.pixel((x + 11) % 13, (y + 2) % 5), original.pixel(x, y)) << format << " " << x << "," << y;
        ASSERT_TRUE(DibRoll(rolled, INT_MIN, INT_MAX));
    }
    QImageEx null;
    EXPECT_FALSE(DibRoll(null, 1, 1));

    CDibRegion r = blank(5, 4);
    r.AddSelect(CRect(0, 0, 1, 1), 0, 0);
    r.Offset(2, 1);  // the vertical amount is reversed: up one row, wrapping
    EXPECT_EQ(r.GetBouder(true), QRect(2, 3, 1, 1));
}

TEST(DibRegion, PointHCrossingsPairUp) {
    // The outline of the 3 x 3 block at (1, 1), as the tracer walks it.
    CPoint ring[] = {{3, 2}, {3, 3}, {2, 3}, {1, 3}, {1, 2}, {1, 1}, {2, 1}, {3, 1}};
    QVector<unsigned int> xs;
    EXPECT_EQ(CDibRegion::GetPointH(xs, 2, 8, ring), 2);
    EXPECT_EQ(xs, (QVector<unsigned int>{1, 3}));
    EXPECT_EQ(CDibRegion::GetPointH(xs, 7, 8, ring), 0);
    // A concave outline: two spans on the middle row.
    CPoint u[] = {{0, 0}, {0, 4}, {6, 4}, {6, 0}, {4, 0}, {4, 2}, {2, 2}, {2, 0}};
    EXPECT_EQ(CDibRegion::GetPointH(xs, 1, 8, u), 4);
    EXPECT_EQ(xs, (QVector<unsigned int>{0, 2, 4, 6}));
}

TEST(DibRegion, KeptEntryPointsOnlyMarkTheOutline) {
    CDibRegion r = blank(4, 4);
    r.AddSelect(CRect(0, 0, 2, 2), 0, 0);
    EXPECT_EQ(r.GetBouder(true), QRect(0, 0, 2, 2));
    QImageEx unchanged = r.toQImageRef();
    EXPECT_TRUE(r.BlurRegion() && r.ConvertTo1Bit() && r.ConvertTo8Bit() && r.GetRgnFrame(nullptr, CRect()) &&
                r.Stick(nullptr, CRect(), CRect()) && r.paste(static_cast<CDibRegion*>(nullptr), CRect()) &&
                r.Fuzzy(unchanged, 0, 0, false) && r.ConvertLineTo1Bit(nullptr, nullptr));
    r.paste(filled(1, 1, QImage::Format_Grayscale8, 0), QRect(3, 3, 1, 1));  // does not set the flag
    EXPECT_EQ(r.GetBouder(true), QRect(0, 0, 2, 2));
    EXPECT_TRUE(r.Twist(0, 0, 0, false));  // sets it
    EXPECT_EQ(r.GetBouder(true), QRect(0, 0, 4, 4));
}
