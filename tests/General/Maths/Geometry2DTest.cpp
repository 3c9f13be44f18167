// Plane geometry: distances to segments and lines with their "where" codes, intersections of
// crossing, parallel and collinear segments, the nearest-point search, magnitude comparisons,
// angle arithmetic and the deformation transforms.
#include "General/Maths/Geometry2D.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

constexpr float kPi = 3.1415927f;

TEST(Geometry2D, DistanceToSegmentWhere) {
    const TVector2 a(0, 0), dir(1, 0);
    struct Case {
        TVector2 p;
        int where;
        float distSq;
        TVector2 nearest;
    };
    const Case kCases[] = {
        {{-1, 1}, 0, 2.0f, {0, 0}}, {{0, 3}, 1, 9.0f, {0, 0}}, // t exactly 0 is inside
        {{1, -2}, 1, 4.0f, {1, 0}}, {{2, 1}, 2, 1.0f, {2, 0}}, // t exactly len is the end
        {{5, 0}, 2, 9.0f, {2, 0}},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(::testing::Message() << c.p.x << "," << c.p.y);
        TVector2 nearest;
        int where = -1;
        EXPECT_FLOAT_EQ(GetVector2DistSqDirNorm(c.p, a, dir, 2.0f, &nearest, &where), c.distSq);
        EXPECT_EQ(where, c.where);
        EXPECT_EQ(nearest.x, c.nearest.x);
        EXPECT_EQ(nearest.y, c.nearest.y);
    }
    EXPECT_FLOAT_EQ(GetVector2Dist(TVector2(1, 5), TVector2(0, 0), TVector2(2, 0)), 5.0f);
    EXPECT_FLOAT_EQ(GetVector2DistDir(TVector2(4, 0), TVector2(0, 0), TVector2(2, 0)), 2.0f);
    EXPECT_FLOAT_EQ(GetVector2PerpDist(TVector2(9, 3), TVector2(0, 0), TVector2(2, 0)), 3.0f);
    EXPECT_FLOAT_EQ(GetVector2PerpDistSqDir(TVector2(9, 3), TVector2(0, 1), TVector2(5, 0)), 4.0f);
}

TEST(Geometry2D, ZeroLengthSegment) {
    const T2DLineSegment s(TVector2(1, 1), TVector2(1, 1));
    EXPECT_EQ(s.length, 0.0f);
    EXPECT_EQ(s.direction.x, 0.0f);
    TVector2 nearest;
    int where = -1;
    EXPECT_FLOAT_EQ(s.GetDistSq(TVector2(4, 5), &nearest, &where), 25.0f);
    EXPECT_EQ(where, 2);
    EXPECT_EQ(nearest.x, 1.0f);
    const T2DLineSegment t(TVector2(0, 0), TVector2(3, 4));
    EXPECT_FLOAT_EQ(t.length, 5.0f);
    EXPECT_FLOAT_EQ(t.direction.y, 0.8f);
}

TEST(Geometry2D, Intersections) {
    struct Case {
        const char *name;
        TVector2 a0, a1, b0, b1;
        bool result, onA, onB;
        TVector2 hit;
    };
    const Case kCases[] = {
        {"crossing", {0, 0}, {2, 2}, {0, 2}, {2, 0}, true, true, true, {1, 1}},
        {"lines cross past b", {0, 0}, {2, 2}, {0, 2}, {0.5f, 1.5f}, true, true, false, {1, 1}},
        {"reversed directions", {2, 2}, {0, 0}, {2, 0}, {0, 2}, true, true, true, {1, 1}},
        {"parallel apart", {0, 0}, {2, 0}, {0, 1}, {2, 1}, false, false, false, {}},
        {"collinear overlapping", {0, 0}, {2, 0}, {1, 0}, {3, 0}, true, true, true, {1.5f, 0}},
        {"collinear apart", {0, 0}, {1, 0}, {2, 0}, {3, 0}, true, false, false, {}},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TVector2 hit(-9, -9);
        bool onA = !c.onA, onB = !c.onB;
        EXPECT_EQ(Vector2Intersect(c.a0, c.a1, c.b0, c.b1, &hit, &onA, &onB), c.result);
        EXPECT_EQ(onA, c.onA);
        EXPECT_EQ(onB, c.onB);
        if (c.onA || c.name[0] == 'l') {
            EXPECT_NEAR(hit.x, c.hit.x, 1e-6f);
            EXPECT_NEAR(hit.y, c.hit.y, 1e-6f);
        }
    }
    EXPECT_TRUE(
        Vector2Intersect1Dir(TVector2(0, 0), TVector2(2, 2), TVector2(0, 2), TVector2(2, 0)));
}

TEST(Geometry2D, NearestPointBetweenSegments) {
    const T2DLineSegment s(TVector2(0, 0), TVector2(4, 0));
    TVector2 out;
    EXPECT_TRUE(s.GetNearest(TVector2(1, -1), TVector2(1, 1), out, 0.1f));
    EXPECT_FLOAT_EQ(out.x, 1.0f);
    // Apart by 0.2: the boxes meet within tol 0.5, and the squared distance 0.04 is below it.
    EXPECT_TRUE(s.GetNearest(TVector2(2, 0.2f), TVector2(3, 0.5f), out, 0.5f));
    EXPECT_FLOAT_EQ(out.x, 2.0f);
    EXPECT_FLOAT_EQ(out.y, 0.0f);
    EXPECT_FALSE(s.GetNearest(TVector2(2, 3), TVector2(3, 5), out, 0.5f));

    TVector2 nearA, nearB;
    const float d = GetVector2Dist(TVector2(0, 0), TVector2(4, 0), &nearA, TVector2(5, 1),
                                   TVector2(5, 3), &nearB);
    EXPECT_FLOAT_EQ(d, std::sqrt(2.0f));
    EXPECT_EQ(nearA.x, 4.0f);
    EXPECT_EQ(nearB.y, 1.0f);
}

TEST(Geometry2D, MagnitudeComparisons) {
    EXPECT_TRUE(Vector2EqualMag(TVector2(1000, 1), TVector2(1000.5f, 1), 3));
    EXPECT_FALSE(Vector2EqualMag(TVector2(1000, 1), TVector2(1002, 1), 3));
    // All zero: the tolerance is the table value itself.
    EXPECT_TRUE(Vector2EqualMag(TVector2(0, 0), TVector2(0, 0), 6));
    EXPECT_TRUE(Vector2EqualMag(TVector2(2, 0), TVector2(1.5f, 0), 0));
    EXPECT_TRUE(Vector3EqualMag(TVector3(1, 2, 100), TVector3(1, 2.05f, 100), 3));
    EXPECT_TRUE(Vector2ParallelNorm(TVector2(0.6f, 0.8f), TVector2(-0.6f, -0.8f), 5));
    EXPECT_TRUE(
        Vector2Parallel(TVector2(0, 0), TVector2(2, 4), TVector2(1, 1), TVector2(0, -1), 5));
    EXPECT_FALSE(
        Vector2Parallel(TVector2(0, 0), TVector2(2, 4), TVector2(1, 1), TVector2(0, 0), 5));
    EXPECT_TRUE(Vector2Equal(TVector2(1, 1), TVector2(1.05f, 0.95f), 0.1f));
    EXPECT_FALSE(Vector2Near(TVector2(0, 0), TVector2(0.1f, 0.0f), 0.1f));
}

TEST(Geometry2D, Angles) {
    EXPECT_FLOAT_EQ(Vector2Angle(TVector2(1, 0), TVector2(0, 2)), kPi / 2);
    EXPECT_FLOAT_EQ(Vector2Angle(TVector2(1, 0), TVector2(0, -2)), 3 * kPi / 2);
    EXPECT_EQ(Vector2Angle(TVector2(1, 0), TVector2(3, 0)), 0.0f);
    EXPECT_FLOAT_EQ(Vector2Angle(TVector2(1, 0), TVector2(-3, 0)), kPi);
    EXPECT_FLOAT_EQ(Angle(TVector2(-1, 0)), kPi / 2);
    EXPECT_FLOAT_EQ(Angle(TVector2(1, 0)), 3 * kPi / 2);
    EXPECT_EQ(Angle(TVector2(0, 5)), 0.0f);
    EXPECT_FLOAT_EQ(FastAngle(TVector2(-1, -1)), -3 * kPi / 4);
    EXPECT_FLOAT_EQ(FastAngle(TVector2(-1, 1)), 3 * kPi / 4);
    EXPECT_FLOAT_EQ(FastAngle(TVector2(0, -2)), -kPi / 2);

    EXPECT_EQ(GetClockDir(TVector2(0, 0), TVector2(1, 0), TVector2(1, -1)), ClockDir_Clockwise);
    EXPECT_EQ(GetClockDir(TVector2(0, 0), TVector2(1, 0), TVector2(1, 1)), ClockDir_AntiClockwise);
    EXPECT_EQ(GetClockDir(TVector2(0, 0), TVector2(1, 0), TVector2(2, 0)), ClockDir_Straight);

    struct Case {
        float from, to;
        TClockDir dir;
        float dist;
    };
    const Case kCases[] = {
        {0.0f, 3 * kPi / 2, ClockDir_Clockwise, kPi / 2},
        {0.0f, kPi / 2, ClockDir_AntiClockwise, kPi / 2},
        {1.0f, 0.5f, ClockDir_Clockwise, 0.5f},
        {-kPi / 2, 3 * kPi / 2, ClockDir_Straight, 0.0f},
        {0.5f, 4 * kPi + 1.0f, ClockDir_AntiClockwise, 0.5f},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(::testing::Message() << c.from << " to " << c.to);
        TClockDir dir;
        float dist;
        GetCircularDistance(c.from, c.to, dir, dist);
        EXPECT_EQ(dir, c.dir);
        EXPECT_NEAR(dist, c.dist, 1e-5f);
    }

    EXPECT_NEAR(AngleDiff(1.0f, 0.5f), 2 * kPi - 0.5f, 1e-5f);
    EXPECT_NEAR(AngleDiff(0.5f, 1.0f + 6 * kPi), 0.5f, 1e-4f);
    EXPECT_NEAR(SmallAngleDiff(1.0f, 0.5f), 0.5f, 1e-5f);
    EXPECT_NEAR(AngleAverage(0.2f, 2 * kPi - 0.1f), 0.05f, 1e-5f);
    EXPECT_NEAR(AngleAverage(1.0f, 2.0f), 1.5f, 1e-6f);
    EXPECT_NEAR(WithinRange(7.0f, 0.0f, 2.0f), 1.0f, 1e-6f);
    EXPECT_NEAR(WithinRange(-3.5f, 0.0f, 2.0f), 0.5f, 1e-6f);
    EXPECT_EQ(WithinRange(7.0f, 1.0f, 1.0f), 7.0f);
    // Ends, and in range, even where a whole turn no longer changes the value.
    const float huge = AngleDiff(1e30f, 0.0f);
    EXPECT_TRUE(huge >= 0.0f && huge <= 2 * kPi);

    TVector2 out;
    PointProject(TVector2(1, 1), &out, 2.0f, kPi / 2);
    EXPECT_NEAR(out.x, 1.0f, 1e-6f);
    EXPECT_NEAR(out.y, 3.0f, 1e-6f);
}

TEST(Geometry2D, Polars) {
    TPolar2 p(TVector2(0, 2));
    EXPECT_FLOAT_EQ(p.length, 2.0f);
    EXPECT_FLOAT_EQ(p.angle, kPi / 2);
    TPolar2 fast;
    fast.ConstructFast(TVector2(-3, -3));
    EXPECT_NEAR(fast.angle, -3 * kPi / 4, 1e-6f);
    const TVector2 v = p.GetVector2();
    EXPECT_NEAR(v.x, 0.0f, 1e-6f);
    EXPECT_NEAR(v.y, 2.0f, 1e-6f);
    TPolar2 a(3.0f, 0.2f), b(1.0f, 2 * kPi - 0.1f);
    a.ComponentSubToShortestAng(b);
    EXPECT_FLOAT_EQ(a.length, 2.0f);
    EXPECT_NEAR(a.angle, 0.3f, 1e-5f);
    TPolar2 c(1.0f, 1.0f), d(1.0f, 0.5f);
    c.ComponentSubToShortestAng(d);
    EXPECT_NEAR(c.angle, 0.5f, 1e-6f);
}

TEST(Geometry2D, LineTransCarriesTheUnitRod) {
    const TVector3 from(1, 2, 3), to(-2, 6, 5);
    TMatrix43 m;
    GetLineTrans(from, to, TVector2(0.5f, 0.25f), m);
    TVector3 start(0, 0, 0), end(1, 0, 0);
    start.Mul(m);
    end.Mul(m);
    EXPECT_NEAR(start.x, 1.0f, 1e-5f);
    EXPECT_NEAR(end.x, -2.0f, 1e-5f);
    EXPECT_NEAR(end.y, 6.0f, 1e-5f);
    EXPECT_NEAR(end.z, 5.0f, 1e-5f);
    // The rod's y axis becomes the cross-section's first side: 0.5 long, across the line.
    TVector3 side(0, 1, 0);
    side.Mul(m);
    side.Sub(start);
    TVector3 d;
    d.SetSub(to, from);
    EXPECT_NEAR(side.GetLen(), 0.5f, 1e-5f);
    EXPECT_NEAR(side.GetDot(d), 0.0f, 1e-5f);
}

TEST(Geometry2D, DeformationsHitTheirCorners) {
    TVector3 quad[4] = {{0, 0, 1}, {4, 0, 2}, {0, 3, 3}, {5, 4, 4}};
    TMatrix4 first, second;
    DeformUnitSquare(quad, first, second);
    const struct {
        const TMatrix4 *m;
        TVector2 uv;
        int corner;
    } kChecks[] = {{&first, {0, 0}, 0},  {&first, {1, 0}, 1},  {&first, {0, 1}, 2},
                   {&second, {1, 0}, 1}, {&second, {0, 1}, 2}, {&second, {1, 1}, 3}};
    for (const auto &c : kChecks) {
        TVector3 p(c.uv.x, c.uv.y, 0.0f);
        p.Mul(*c.m);
        EXPECT_NEAR(p.x, quad[c.corner].x, 1e-5f) << c.corner;
        EXPECT_NEAR(p.y, quad[c.corner].y, 1e-5f) << c.corner;
    }

    TVector2 src[3] = {{1, 1}, {3, 1}, {1, 2}};
    TVector3 dst[3] = {{0, 0, 7}, {0, 4, 7}, {-2, 0, 7}};
    const TVector2 srcCopy[3] = {src[0], src[1], src[2]};
    const TVector3 dstCopy[3] = {dst[0], dst[1], dst[2]};
    TMatrix43 m;
    DeformTriShearZ(src, dst, m);
    EXPECT_EQ(src[1].x, 2.0f); // overwritten with edges
    for (int i = 0; i < 3; ++i) {
        TVector3 p(srcCopy[i].x, srcCopy[i].y, 0.0f);
        p.Mul(m);
        EXPECT_NEAR(p.x, dstCopy[i].x, 1e-5f) << i;
        EXPECT_NEAR(p.y, dstCopy[i].y, 1e-5f) << i;
        EXPECT_NEAR(p.z, 7.0f, 1e-5f) << i;
    }
    // A flat triangle has no solution: the rows come out zero, never NaN.
    TVector2 flat[3] = {{0, 0}, {1, 1}, {2, 2}};
    TVector3 any[3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    DeformTriShearZ(flat, any, m);
    EXPECT_EQ(m.m00, 0.0f);
    EXPECT_FALSE(std::isnan(m.m31));
}

} // namespace
