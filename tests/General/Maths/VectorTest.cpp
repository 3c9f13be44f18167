// Vectors: normalising at tiny lengths, the index tie-breaks, clipping and rounding, the dominant
// direction, perpendicular frames and the polar conversion.
#include "General/Maths/Vector.h"
#include "General/Maths/Matrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr float kPi = 3.14159265358979f;

TEST(Vector, NormOfTinyVectorGivesZeroAndSquaredLength) {
    TVector3 v(1e-20f, 0.0f, 0.0f);
    const float r = v.Norm();
    EXPECT_EQ(v.x, 0.0f);
    EXPECT_EQ(v.y, 0.0f);
    EXPECT_EQ(v.z, 0.0f);
    EXPECT_EQ(r, 1e-20f * 1e-20f);
    EXPECT_LT(r, 1e-30f);

    TVector2 u;
    EXPECT_FLOAT_EQ(u.SetNorm(TVector2(3.0f, 4.0f)), 5.0f);
    EXPECT_FLOAT_EQ(u.x, 0.6f);
    EXPECT_FLOAT_EQ(u.y, 0.8f);
    TVector4 w(0.0f, 0.0f, 2.0f, 0.0f);
    EXPECT_FLOAT_EQ(w.Norm(), 2.0f);
    EXPECT_FLOAT_EQ(w.z, 1.0f);
}

TEST(Vector, IndexTieBreaks) {
    struct Case {
        float x, y, z;
        int maxIdx, minIdx, absMaxIdx, absMinIdx;
    };
    constexpr Case kCases[] = {
        {1, 1, 1, 0, 2, 1, 2},  {1, 2, 3, 2, 0, 2, 0},  {3, 2, 1, 0, 2, 0, 2},
        {2, 2, 1, 0, 2, 1, 2},  {1, 2, 2, 1, 0, 1, 0},  {2, 1, 2, 0, 1, 0, 1},
        {-5, 1, 2, 2, 0, 0, 1}, {1, -3, 3, 2, 1, 1, 0}, {0, 0, -1, 0, 2, 2, 1},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(::testing::Message() << c.x << "," << c.y << "," << c.z);
        const TVector3 v(c.x, c.y, c.z);
        EXPECT_EQ(v.GetMaxIdx(), c.maxIdx);
        EXPECT_EQ(v.GetMinIdx(), c.minIdx);
        EXPECT_EQ(v.GetAbsMaxIdx(), c.absMaxIdx);
        EXPECT_EQ(v.GetAbsMinIdx(), c.absMinIdx);
        EXPECT_EQ(v.GetMax(), v[c.maxIdx]);
        EXPECT_EQ(v.GetMin(), v[c.minIdx]);
    }
    EXPECT_EQ(TVector2(1, 1).GetMaxIdx(), 0);
    EXPECT_EQ(TVector2(1, 1).GetMinIdx(), 1);
    EXPECT_EQ(TVector2(1, -1).GetAbsMaxIdx(), 1);
    EXPECT_EQ(TVector2(-2, 1).GetAbsMaxIdx(), 0);
    EXPECT_EQ(TVector4(1, 1, 1, 1).GetMaxIdx(), 0);
    EXPECT_EQ(TVector4(1, 1, 1, 1).GetMinIdx(), 3);
    EXPECT_EQ(TVector4(1, 1, 1, 1).GetAbsMaxIdx(), 1);
    EXPECT_EQ(TVector4(1, 2, 3, 4).GetMaxIdx(), 3);
    EXPECT_EQ(TVector4(-9, 2, 3, 4).GetAbsMaxIdx(), 0);
    EXPECT_EQ(TVector4(4, 2, 0.5f, 1).GetAbsMinIdx(), 2);
}

TEST(Vector, SignsBits) {
    EXPECT_EQ(TVector3(-1, 2, -3).GetSigns(), 5);
    EXPECT_EQ(TVector2(0.0f, -0.5f).GetSigns(), 2);
    EXPECT_EQ(TVector4(-1, -1, -1, -1).GetSigns(), 15);
}

TEST(Vector, ClipAndRoundOff) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    TVector3 v(2.0f, -1.0f, nan);
    v.Clip(0.0f, 1.0f);
    EXPECT_EQ(v.x, 1.0f);
    EXPECT_EQ(v.y, 0.0f);
    EXPECT_TRUE(std::isnan(v.z));

    TVector2 r(0.3f, -0.3f);
    r.RoundOff(0.25f);
    EXPECT_EQ(r.x, 0.25f);
    EXPECT_EQ(r.y, -0.25f);

    TVector3 lo(1, 5, 3);
    lo.NudgeLower(TVector3(2, 4, 3));
    EXPECT_EQ(lo.x, 1.0f);
    EXPECT_EQ(lo.y, 4.0f);
    TVector3 hi(1, 5, 3);
    hi.NudgeHigher(TVector3(2, 4, 3));
    EXPECT_EQ(hi.x, 2.0f);
    EXPECT_EQ(hi.y, 5.0f);
}

TEST(Vector, ArithmeticScheme) {
    TVector3 a(1, 2, 3), b(4, 5, 6), r;
    r.SetAddMul(a, b, 2.0f);
    EXPECT_EQ(r.x, 9.0f);
    EXPECT_EQ(r.z, 15.0f);
    r.SetInterpolate(a, b, 0.5f);
    EXPECT_EQ(r.y, 3.5f);
    r.SetCross(TVector3(1, 0, 0), TVector3(0, 1, 0));
    EXPECT_EQ(r.z, 1.0f);
    TVector3 arr[3] = {{1, 1, 1}, {2, 2, 2}, {6, 0, 3}};
    r.SetAverage(arr, 3);
    EXPECT_FLOAT_EQ(r.x, 3.0f);
    EXPECT_FLOAT_EQ(r.y, 1.0f);
    EXPECT_FLOAT_EQ(r.z, 2.0f);
    TVector2 p(1, 2);
    p.Perp();
    EXPECT_EQ(p.x, -2.0f);
    EXPECT_EQ(p.y, 1.0f);
    EXPECT_EQ(TVector2(1, 2).GetCross(TVector2(3, 4)), -2.0f);
    EXPECT_EQ(TVector3::GetDistSq2d(TVector3(0, 0, 9), TVector3(3, 4, -9)), 25.0f);
    float out = 0;
    EXPECT_TRUE(a.GetZ(&out));
    EXPECT_EQ(out, 3.0f);
}

TEST(Vector, DominantDirection) {
    struct Case {
        TVector3 v;
        int dir;
    };
    const Case kCases[] = {
        {{-2, 1, 1}, 0}, {{2, 1, 1}, 1}, {{1, -2, 1}, 2}, {{1, 2, 1}, 3}, {{1, 1, -2}, 4},
        {{1, 1, 2}, 5},  {{1, 1, 0}, 3}, {{2, 0, 2}, 1},  {{0, 1, 1}, 3}, {{0, 0, 0}, 3},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(::testing::Message() << c.v.x << "," << c.v.y << "," << c.v.z);
        EXPECT_EQ(c.v.GetDir(), c.dir);
    }
}

TEST(Vector, TripletsAreOrthonormalFrames) {
    const TVector3 kDirs[] = {{1, 0, 0}, {0, 1, 0}, {0, 0, -1}, {0.6f, 0.8f, 0}, {1, 1, 1}};
    for (TVector3 v : kDirs) {
        v.Norm();
        for (int rhs = 0; rhs < 2; ++rhs) {
            TVector3 a, b;
            rhs ? v.GetTripletRHS(a, b) : v.GetTriplet(a, b);
            EXPECT_NEAR(a.GetLen(), 1.0f, 1e-5f);
            EXPECT_NEAR(b.GetLen(), 1.0f, 1e-5f);
            EXPECT_NEAR(a.GetDot(v), 0.0f, 1e-6f);
            EXPECT_NEAR(b.GetDot(v), 0.0f, 1e-6f);
            EXPECT_NEAR(a.GetDot(b), 0.0f, 1e-6f);
            TVector3 c;
            c.SetCross(a, b);
            EXPECT_GT(c.GetDot(v), 0.99f);
        }
    }
    TVector3 a, b;
    TVector3::Zero.GetTriplet(a, b);
    EXPECT_EQ(a.GetLenSq(), 0.0f);
}

TEST(Vector, PolarsFollowTheAngle) {
    for (int deg = 0; deg < 360; deg += 7) {
        if (deg % 45 == 0 && deg != 0)
            continue; // on a sector border the octant depends on the last bit
        SCOPED_TRACE(deg);
        const float a = float(deg) * kPi / 180.0f;
        const TVector3 v(std::cos(a) * 0.8f, std::sin(a) * 0.8f, 0.6f);
        TVector2 out;
        const int octant = v.GetPolars(&out);
        EXPECT_EQ(octant, deg / 45);
        EXPECT_NEAR(out.x, float(deg) / 360.0f, 1e-3f);
        EXPECT_FLOAT_EQ(out.y, 0.8f);
    }
}

TEST(Vector, HomogeneousDivideAtZeroW) {
    TMatrix4 m = TMatrix4::StaticI;
    m.m03 = 1.0f;
    m.m33 = -2.0f;
    TVector3 v(2.0f, 5.0f, 7.0f);
    v.Mul(m);
    EXPECT_EQ(v.x, 0.0f);
    EXPECT_EQ(v.y, 0.0f);
    EXPECT_EQ(v.z, 0.0f);

    TVector3 p(1.0f, 5.0f, 7.0f);
    p.Mul(m);
    EXPECT_FLOAT_EQ(p.x, -1.0f);
    EXPECT_FLOAT_EQ(p.y, -5.0f);

    TMatrix3 h = TMatrix3::StaticI;
    h.m02 = 1.0f;
    h.m22 = -1.0f;
    TVector2 q(1.0f, 3.0f);
    q.Mul(h);
    EXPECT_EQ(q.x, 0.0f);
    EXPECT_EQ(q.y, 0.0f);
}

} // namespace
