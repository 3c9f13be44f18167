// TRectangle: construction order, emptiness, intersections that touch, fitting, sections,
// distances, constraining and segment clipping.
#include "General/Maths/Rectangle.h"

#include <gtest/gtest.h>

namespace {

TEST(Rectangle, ConstructorTakesBothXThenBothY) {
    const TRectangle r(1, 2, 3, 4);
    EXPECT_EQ(r.GetBL().x, 1.0f);
    EXPECT_EQ(r.GetBL().y, 3.0f);
    EXPECT_EQ(r.GetTR().x, 2.0f);
    EXPECT_EQ(r.GetTR().y, 4.0f);
    const TRectangle bounds(TVector2(5, 1), TVector2(2, 7), false);
    EXPECT_EQ(bounds.x0, 2.0f);
    EXPECT_EQ(bounds.y1, 7.0f);
    const TRectangle asGiven(TVector2(5, 1), TVector2(2, 7), true);
    EXPECT_EQ(asGiven.x0, 5.0f);
    EXPECT_EQ(r.GetCorner(1).x, 2.0f);
    EXPECT_EQ(r.GetCorner(1).y, 3.0f);
    EXPECT_EQ(r.GetCorner(2).x, 1.0f);
    EXPECT_EQ(r.GetCorner(2).y, 4.0f);
}

TEST(Rectangle, EmptinessAndNormalising) {
    TRectangle r(2, 1, 0, 5);
    EXPECT_TRUE(r.IsEmpty());
    EXPECT_FALSE(r.IsTrueEmpty());
    EXPECT_EQ(r.GetAspect(), 1.0f);
    r.Normalise();
    EXPECT_EQ(r.x0, 1.0f);
    EXPECT_FALSE(r.IsEmpty());
    EXPECT_FLOAT_EQ(r.GetAspect(), 0.2f);
    r.SetEmpty();
    EXPECT_TRUE(r.IsTrueEmpty());
    EXPECT_EQ(TRectangle(-7, 1, 2, 3).MaxAbsComponent(), 7.0f);
}

TEST(Rectangle, TouchingRectanglesIntersectWithoutOverlap) {
    const TRectangle a(0, 1, 0, 1), b(1, 2, 0, 1);
    EXPECT_TRUE(a.CheckIntersection(b));
    EXPECT_FALSE(a.CheckIntersection(b, 0.01f));
    const TRectangle none = a.GetIntersection(b);
    EXPECT_EQ(none.x0, 0.0f);
    EXPECT_EQ(none.x1, 0.0f);
    EXPECT_EQ(none.y1, 0.0f);
    const TRectangle overlap = a.GetIntersection(TRectangle(0.5f, 3, -1, 0.5f));
    EXPECT_TRUE(overlap == TRectangle(0.5f, 1, 0, 0.5f));
    TRectangle u = a;
    u.SetUnion(b);
    EXPECT_TRUE(u == TRectangle(0, 2, 0, 1));
    EXPECT_TRUE(u.Inside(TVector2(2, 1)));
    EXPECT_TRUE(u.Inside(a));
    EXPECT_FALSE(a.Inside(u));
}

TEST(Rectangle, AspectFits) {
    const TRectangle r(0, 4, 0, 2); // aspect 2
    TRectangle outer, inner;
    outer.OuterAspectFit(r, 1.0f);
    inner.InnerAspectFit(r, 1.0f);
    EXPECT_TRUE(outer == TRectangle(0, 4, -1, 3));
    EXPECT_TRUE(inner == TRectangle(1, 3, 0, 2));
    outer.OuterAspectFit(r, 4.0f);
    inner.InnerAspectFit(r, 4.0f);
    EXPECT_TRUE(outer == TRectangle(-2, 6, 0, 2));
    EXPECT_TRUE(inner == TRectangle(0, 4, 0.5f, 1.5f));
}

TEST(Rectangle, PositionsQuartersAndTransforms) {
    const TRectangle r(2, 6, 1, 3);
    const TVector2 n = r.NormalisePosition(TVector2(3, 2.5f));
    EXPECT_FLOAT_EQ(n.x, 0.25f);
    EXPECT_FLOAT_EQ(n.y, 0.75f);
    EXPECT_EQ(TRectangle(1, 1, 0, 5).NormalisePosition(TVector2(3, 3)).x, 0.0f);
    TRectangle q;
    q.SetDivide(3, r);
    EXPECT_TRUE(q == TRectangle(4, 6, 2, 3));
    q.SetDivide(0, r);
    EXPECT_TRUE(q == TRectangle(2, 4, 1, 2));

    TMatrix2 turn;
    turn.MakeRotate(3.14159265f / 2);
    TRectangle t(1, 2, 0, 1);
    t.Mul(turn);
    EXPECT_TRUE(t == TRectangle(-1, 0, 1, 2));

    TRectangle c(0, 2, 0, 2);
    c.SetCentre(TVector2(10, 10));
    EXPECT_TRUE(c == TRectangle(9, 11, 9, 11));
    c.SetWidth(4);
    EXPECT_TRUE(c == TRectangle(8, 12, 9, 11));
    TVector2 p(0, 100);
    c.BoundPoint(p);
    EXPECT_EQ(p.x, 8.0f);
    EXPECT_EQ(p.y, 11.0f);
}

TEST(Rectangle, ConstrainShiftsOrCentres) {
    TRectangle small(-1, 1, 5, 6);
    small.Constrain(TRectangle(0, 10, 0, 10));
    EXPECT_TRUE(small == TRectangle(0, 2, 5, 6));
    TRectangle wide(-2, 12, 8, 12);
    wide.Constrain(TRectangle(0, 4, 0, 10));
    // Wider than the bounds in x: centred, moved by (2 + (-8)) / 2.
    EXPECT_TRUE(wide == TRectangle(-5, 9, 6, 10));
}

TEST(Rectangle, SectionsAndDistances) {
    const TRectangle r(0, 2, 0, 1);
    struct Case {
        TVector2 p;
        int section;
        float minSq, maxSq;
    };
    const Case kCases[] = {
        {{1, 0.5f}, 5, 0.0f, 1.25f}, {{-1, -1}, 0, 2.0f, 13.0f}, {{3, 0.5f}, 6, 1.0f, 9.25f},
        {{1, 3}, 9, 4.0f, 10.0f},    {{2, 1}, 5, 0.0f, 5.0f},    {{0.5f, -2}, 1, 4.0f, 11.25f},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(::testing::Message() << c.p.x << "," << c.p.y);
        EXPECT_EQ(r.GetSection(c.p), c.section);
        EXPECT_FLOAT_EQ(r.MinDistanceSq(c.p), c.minSq);
        EXPECT_FLOAT_EQ(r.MaxDistanceSq(c.p), c.maxSq);
    }
}

TEST(Rectangle, LineClipsAndClipLine) {
    const TRectangle r(0, 4, 0, 2);
    struct Case {
        const char *name;
        TVector2 a, b;
        bool clips;
        TVector2 ca, cb;
    };
    const Case kCases[] = {
        {"inside", {1, 1}, {3, 1}, true, {1, 1}, {3, 1}},
        {"across", {-2, 1}, {6, 1}, true, {0, 1}, {4, 1}},
        {"vertical across", {2, -1}, {2, 5}, true, {2, 0}, {2, 2}},
        {"left of it", {-2, -1}, {-1, 5}, false, {}, {}},
        {"above it", {-1, 3}, {5, 4}, false, {}, {}},
        {"diagonal through", {-1, -1}, {5, 2}, true, {1, 0}, {4, 1.5f}},
        {"diagonal past a corner", {-2, 1}, {1, 4}, false, {}, {}},
        {"one end inside", {2, 1}, {9, 9}, true, {2, 1}, {2.875f, 2}},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(r.LineClips(c.a, c.b), c.clips);
        TVector2 a = c.a, b = c.b;
        EXPECT_EQ(r.ClipLine(a, b), c.clips);
        if (c.clips) {
            EXPECT_NEAR(a.x, c.ca.x, 1e-5f);
            EXPECT_NEAR(a.y, c.ca.y, 1e-5f);
            EXPECT_NEAR(b.x, c.cb.x, 1e-5f);
            EXPECT_NEAR(b.y, c.cb.y, 1e-5f);
        } else {
            EXPECT_EQ(a.x, c.a.x);
            EXPECT_EQ(b.y, c.b.y);
        }
    }
}

} // namespace
