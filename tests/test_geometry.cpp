// Win32-style rectangle helpers and their deliberately asymmetric rules.
#include <vqutil/core.h>

#include <gtest/gtest.h>

#include <climits>

namespace {

bool same(const CRect& r, int l, int t, int rt, int b) {
    return r.left == l && r.top == t && r.right == rt && r.bottom == b;
}

}  // namespace

TEST(Rect, IntersectNeedsAreaAndClearsTheResultOtherwise) {
    const struct { CRect a, b; bool overlap; CRect result; } cases[] = {
        {{0, 0, 10, 10}, {5, 5, 20, 20}, true, {5, 5, 10, 10}},
        {{0, 0, 10, 10}, {10, 0, 20, 10}, false, {0, 0, 0, 0}},  // touching edges
        {{0, 0, 10, 10}, {0, 10, 10, 20}, false, {0, 0, 0, 0}},
        {{0, 0, 10, 10}, {2, 2, 3, 3}, true, {2, 2, 3, 3}},
        {{5, 5, 3, 9}, {0, 0, 10, 10}, false, {0, 0, 0, 0}},    // inverted input
    };
    for (const auto& c : cases) {
        CRect out(7, 7, 7, 7);
        EXPECT_EQ(IntersectRect(&out, &c.a, &c.b), c.overlap);
        EXPECT_TRUE(EqualRect(&out, &c.result));
    }
}

TEST(Rect, EmptinessCountsOnlyEqualEdgesAndPointsOnTheFarEdgesAreOutside) {
    const CRect inverted(5, 5, 3, 9), flat(5, 5, 5, 9), thin(0, 4, 8, 4), normal(0, 0, 10, 10);
    EXPECT_FALSE(IsRectEmpty(&inverted));
    EXPECT_TRUE(IsRectEmpty(&flat));
    EXPECT_TRUE(IsRectEmpty(&thin));
    EXPECT_FALSE(IsRectEmpty(&normal));
    EXPECT_TRUE(IsRectEmpty(nullptr));

    EXPECT_TRUE(PtInRect(&normal, CPoint(0, 0)));
    EXPECT_TRUE(PtInRect(&normal, CPoint(9, 9)));
    EXPECT_FALSE(PtInRect(&normal, CPoint(10, 5)));
    EXPECT_FALSE(PtInRect(&normal, CPoint(5, 10)));
    EXPECT_FALSE(PtInRect(&normal, CPoint(-1, 5)));
}

TEST(Rect, UnionDoesNotSkipEmptyInputsAndSubtractIsInert) {
    const CRect zero(0, 0, 0, 0), r(5, 5, 10, 10), far(20, -3, 25, 2);
    CRect out;
    EXPECT_TRUE(UnionRect(&out, &zero, &r));
    EXPECT_TRUE(same(out, 0, 0, 10, 10));
    EXPECT_TRUE(UnionRect(&out, &r, &far));
    EXPECT_TRUE(same(out, 5, -3, 25, 10));

    EXPECT_FALSE(SubtractRect(&out, &r, &zero));
    EXPECT_TRUE(same(out, 5, -3, 25, 10));
}

TEST(Rect, EditsCopiesAndConstructors) {
    CRect r;
    EXPECT_TRUE(same(r, 0, 0, 0, 0));
    SetRect(&r, 1, 2, 3, 4);
    InflateRect(&r, 2, -1);
    EXPECT_TRUE(same(r, -1, 3, 5, 3));
    OffsetRect(&r, 10, -3);
    EXPECT_TRUE(same(r, 9, 0, 15, 0));
    CRect copy;
    CopyRect(&copy, &r);
    EXPECT_TRUE(EqualRect(&copy, &r));
    SetRectEmpty(&copy);
    EXPECT_TRUE(same(copy, 0, 0, 0, 0));
    EXPECT_FALSE(EqualRect(&copy, &r));

    CRect huge(INT_MAX, INT_MIN, INT_MAX, INT_MIN);
    OffsetRect(&huge, 1, -1);  // wraps like the 32-bit original, no overflow trap
    EXPECT_TRUE(same(huge, INT_MIN, INT_MAX, INT_MIN, INT_MAX));

    const CRect fromSize(CPoint(2, 3), CSize(4, 5));
    EXPECT_TRUE(same(fromSize, 2, 3, 6, 8));
    EXPECT_TRUE(fromSize.Width() == 4 && fromSize.Height() == 5);
    EXPECT_EQ(CRect(CPoint(1, 1), CPoint(0, 0)).Width(), -1) << "not normalised";
}
