// Quaternions: products against rotation matrices, the matrix round trip in both branches,
// angle-axis, slerp's fixed points, exp and log, heading-pitch-roll and the between-vectors
// rotation.
#include "General/Maths/Quaternion.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

constexpr float kPi = 3.14159265358979f;

void ExpectNear(const TQuaternion &a, const TQuaternion &b, float tol) {
    EXPECT_NEAR(a.w, b.w, tol);
    EXPECT_NEAR(a.x, b.x, tol);
    EXPECT_NEAR(a.y, b.y, tol);
    EXPECT_NEAR(a.z, b.z, tol);
}

TQuaternion Unit(float w, float x, float y, float z) {
    const float n = std::sqrt(w * w + x * x + y * y + z * z);
    return TQuaternion(w / n, x / n, y / n, z / n);
}

TEST(Quaternion, ProductComposesRotations) {
    const TQuaternion p = Unit(0.9f, 0.1f, -0.3f, 0.2f), q = Unit(0.2f, 0.7f, 0.1f, -0.5f);
    const TVector3 v(1.0f, -2.0f, 0.5f);
    // Column-vector convention: (p q) v = p (q v).
    const TVector3 both = (p * q) * v;
    const TVector3 stepwise = p * (q * v);
    EXPECT_NEAR(both.x, stepwise.x, 1e-5f);
    EXPECT_NEAR(both.y, stepwise.y, 1e-5f);
    EXPECT_NEAR(both.z, stepwise.z, 1e-5f);
    ExpectNear(p * p.Inverse(), TQuaternion::IDENTITY, 1e-6f);
    EXPECT_EQ(TQuaternion::ZERO.Inverse(), TQuaternion::ZERO);
    EXPECT_EQ(p.UnitInverse(), TQuaternion(p.w, -p.x, -p.y, -p.z));
    EXPECT_EQ(2.0f * p, p * 2.0f);
    EXPECT_NEAR((p + q - q).x, p.x, 1e-7f);
}

TEST(Quaternion, AngleAxis) {
    TQuaternion q(TVector3(0.0f, 0.0f, 1.0f), kPi / 2);
    const TVector3 r = q * TVector3(1.0f, 0.0f, 0.0f);
    EXPECT_NEAR(r.y, 1.0f, 1e-6f);
    float angle;
    TVector3 axis;
    q.ToAngleAxis(angle, axis);
    EXPECT_NEAR(angle, kPi / 2, 1e-6f);
    EXPECT_NEAR(axis.z, 1.0f, 1e-6f);
    TQuaternion::IDENTITY.ToAngleAxis(angle, axis);
    EXPECT_EQ(angle, 0.0f);
    EXPECT_EQ(axis.x, 1.0f);
    EXPECT_EQ(axis.y, 0.0f);
}

TEST(Quaternion, MatrixRoundTripInBothBranches) {
    struct Case {
        const char *name;
        TVector3 axis;
        float angle;
    };
    const Case kCases[] = {
        {"small turn", {0.6f, 0.8f, 0.0f}, 0.3f},
        {"half turn about z", {0.0f, 0.0f, 1.0f}, kPi},
        {"half turn about x", {1.0f, 0.0f, 0.0f}, kPi},
        {"large turn about y", {0.0f, 1.0f, 0.0f}, 2.8f},
        {"large oblique", {0.48f, 0.6f, 0.64f}, 3.0f},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        const TQuaternion q(c.axis, c.angle);
        TMatrix3 m;
        q.ToRotationMatrix(m);
        TQuaternion back;
        back.FromRotationMatrix(m);
        if (back.w * q.w + back.x * q.x + back.y * q.y + back.z * q.z < 0.0f)
            back = -back;
        ExpectNear(back, q, 2e-6f);
        TMatrix4 m4;
        q.ToRotationMatrix(m4);
        EXPECT_EQ(m4.m33, 1.0f);
        EXPECT_EQ(m4.m30, 0.0f);
        back.FromRotationMatrix(m4);
        EXPECT_NEAR(std::fabs(back.Dot(q)), 1.0f, 1e-6f);
    }
    // The half turn about z takes the second branch with i = 2: w comes out 0.
    TMatrix3 half(-1, 0, 0, 0, -1, 0, 0, 0, 1);
    TQuaternion q;
    q.FromRotationMatrix(half);
    EXPECT_EQ(q.w, 0.0f);
    EXPECT_EQ(q.z, 1.0f);
}

TEST(Quaternion, SlerpEndsAndFixedPoints) {
    const TQuaternion p = Unit(0.9f, 0.1f, -0.3f, 0.2f), q = Unit(0.5f, 0.5f, 0.1f, -0.5f);
    ExpectNear(TQuaternion::Slerp(0.0f, p, q), p, 1e-6f);
    ExpectNear(TQuaternion::Slerp(1.0f, p, q), q, 1e-6f);
    const TQuaternion mid = TQuaternion::Slerp(0.5f, p, q);
    EXPECT_NEAR(mid.Norm(), 1.0f, 1e-5f);
    EXPECT_NEAR(mid.Dot(p), mid.Dot(q), 1e-5f);
    EXPECT_EQ(TQuaternion::Slerp(0.3f, p, p), p);
    EXPECT_EQ(TQuaternion::Slerp(0.3f, p, -p), p);
    // No flip to the short arc: with a negative dot the path goes the long way.
    const TQuaternion farEnd = -q;
    const TQuaternion longWay = TQuaternion::Slerp(0.5f, p, farEnd);
    EXPECT_NEAR(longWay.Dot(p), longWay.Dot(farEnd), 1e-5f);
    ExpectNear(TQuaternion::Squad(0.0f, p, p, q, q), p, 1e-6f);
    ExpectNear(TQuaternion::Squad(1.0f, p, p, q, q), q, 1e-6f);
}

TEST(Quaternion, ExpUndoesLog) {
    const TQuaternion q = Unit(0.7f, 0.3f, -0.5f, 0.4f);
    ExpectNear(q.Log().Exp(), q, 1e-6f);
    EXPECT_EQ(q.Log().w, 0.0f);
    EXPECT_EQ(TQuaternion::IDENTITY.Log(), TQuaternion::ZERO);
    TQuaternion a, b;
    const TQuaternion q0 = Unit(1, 0, 0, 0), q1 = Unit(0.9f, 0.3f, 0, 0),
                      q2 = Unit(0.7f, 0.7f, 0, 0);
    TQuaternion::Intermediate(q0, q1, q2, a, b);
    EXPECT_NEAR(a.Norm(), 1.0f, 1e-5f);
    EXPECT_NEAR(b.Norm(), 1.0f, 1e-5f);
}

TEST(Quaternion, HeadingPitchRollRoundTrip) {
    const TVector3 kAngles[] = {{0.3f, 0.2f, -0.4f}, {-2.0f, -1.0f, 1.5f}, {1.0f, 0.0f, 0.0f}};
    for (const TVector3 &hpr : kAngles) {
        TQuaternion q;
        q.SetHeadingPitchRoll(hpr);
        TVector3 back;
        q.GetHeadingPitchRoll(back);
        EXPECT_NEAR(back.x, hpr.x, 1e-5f);
        EXPECT_NEAR(back.y, hpr.y, 1e-5f);
        EXPECT_NEAR(back.z, hpr.z, 1e-5f);
    }
    TQuaternion q;
    q.SetHeadingPitchRoll(TVector3(0.5f, kPi / 2, 0.7f));
    TVector3 back;
    q.GetHeadingPitchRoll(back);
    EXPECT_EQ(back.z, 0.0f);
    EXPECT_NEAR(back.y, kPi / 2, 1e-3f);
}

TEST(Quaternion, RotationBetweenUnitVectors) {
    TVector3 a(1, 2, 2), b(-2, 1, 0.5f);
    a.Norm();
    b.Norm();
    TQuaternion q;
    q.MakeRotationBetweenUnitVectors(a, b);
    // The axis is b x a, so the rotation carries b onto a.
    const TVector3 r = q * b;
    EXPECT_NEAR(r.x, a.x, 1e-5f);
    EXPECT_NEAR(r.y, a.y, 1e-5f);
    EXPECT_NEAR(r.z, a.z, 1e-5f);
    q.MakeRotationBetweenUnitVectors(a, a);
    ExpectNear(q, TQuaternion::IDENTITY, 1e-6f);
    // Opposite vectors: a half turn about the axis after a's largest component.
    q.MakeRotationBetweenUnitVectors(TVector3(0, 1, 0), TVector3(0, -1, 0));
    ExpectNear(q, TQuaternion(0, 0, 0, 1), 1e-6f);
    q.MakeRotationBetweenUnitVectors(TVector3(0, 0, 1), TVector3(0, 0, -1));
    ExpectNear(q, TQuaternion(0, 1, 0, 0), 1e-6f);
}

TEST(Quaternion, UnitAxisRotations) {
    TQuaternion q;
    q.MakeUnitZRotation(TVector3(0.0f, 1.0f, 0.0f));
    ExpectNear(q, TQuaternion(std::cos(kPi / 4), std::sin(kPi / 4), 0, 0), 1e-6f);
    q.MakeUnitXRotation(TVector3(1.0f, 0.0f, 0.0f));
    ExpectNear(q, TQuaternion::IDENTITY, 1e-6f);
    q.MakeUnitYRotation(TVector3(1.0f, 0.0f, 0.0f));
    ExpectNear(q, TQuaternion(std::cos(kPi / 4), 0, 0, std::sin(kPi / 4)), 1e-6f);
    TVector3 v;
    TQuaternion::IDENTITY.GetUnitZRotVector(v);
    EXPECT_EQ(v.z, 1.0f);
    TQuaternion::IDENTITY.GetUnitXRotVector(v);
    EXPECT_EQ(v.x, 1.0f);
}

} // namespace
