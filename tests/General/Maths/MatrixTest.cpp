// Matrices: products against a plain reference, inverses including singular input, the
// post- and pre- transforms against explicit products, rotations, projections, views and the
// world-transform check.
#include "General/Maths/Matrix.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <random>
#include <string>

namespace {

constexpr float kPi = 3.14159265358979f;

TMatrix4 RandomMatrix4(std::mt19937 &gen) {
    std::uniform_real_distribution<float> d(-2.0f, 2.0f);
    TMatrix4 m;
    for (auto &row : m.m)
        for (float &e : row)
            e = d(gen);
    return m;
}

TMatrix43 RandomMatrix43(std::mt19937 &gen) {
    std::uniform_real_distribution<float> d(-2.0f, 2.0f);
    TMatrix43 m;
    for (auto &row : m.m)
        for (float &e : row)
            e = d(gen);
    return m;
}

template <class M> void ExpectNear(const M &a, const M &b, float tol) {
    const float *pa = &a.m[0][0], *pb = &b.m[0][0];
    for (size_t i = 0; i < sizeof(M) / sizeof(float); ++i)
        EXPECT_NEAR(pa[i], pb[i], tol) << "element " << i;
}

template <class M> bool AllZero(const M &a) {
    const float *p = &a.m[0][0];
    for (size_t i = 0; i < sizeof(M) / sizeof(float); ++i)
        if (p[i] != 0.0f)
            return false;
    return true;
}

TEST(Matrix, ProductMatchesReferenceAndActsLeftFirst) {
    std::mt19937 gen(1);
    for (int n = 0; n < 20; ++n) {
        const TMatrix4 a = RandomMatrix4(gen), b = RandomMatrix4(gen);
        TMatrix4 r;
        r.SetMul(a, b);
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) {
                double ref = 0.0;
                for (int k = 0; k < 4; ++k)
                    ref += double(a.m[i][k]) * b.m[k][j];
                EXPECT_NEAR(r.m[i][j], ref, 1e-5);
            }
        // In-place forms see the old operand.
        TMatrix4 inPlace = a;
        inPlace.Mul(b);
        EXPECT_TRUE(inPlace.IsEqual(r));

        // (v * A) * B == v * (A * B).
        const TVector4 v(0.5f, -1.0f, 2.0f, 1.0f);
        TVector4 step, whole;
        step.SetMul(v, a);
        step.Mul(b);
        whole.SetMul(v, r);
        EXPECT_NEAR(step.x, whole.x, 1e-4f);
        EXPECT_NEAR(step.w, whole.w, 1e-4f);
    }
}

TEST(Matrix, AffineProductMatchesFullForm) {
    std::mt19937 gen(2);
    const TMatrix43 a = RandomMatrix43(gen), b = RandomMatrix43(gen);
    TMatrix43 r;
    r.SetMul(a, b);
    TMatrix4 fa, fb, fr;
    fa.MakeAffine(a);
    fb.MakeAffine(b);
    fr.SetMul(fa, fb);
    TMatrix43 back;
    back.MakeAffine(fr);
    ExpectNear(r, back, 1e-5f);
    EXPECT_EQ(fr.m03, 0.0f);
    EXPECT_EQ(fr.m33, 1.0f);

    const TVector3 p(1.0f, 2.0f, 3.0f);
    TVector3 viaAffine, viaFull;
    viaAffine.SetMul(p, r);
    viaFull.SetMul(p, fr);
    EXPECT_NEAR(viaAffine.x, viaFull.x, 1e-4f);
    EXPECT_NEAR(viaAffine.z, viaFull.z, 1e-4f);
}

TEST(Matrix, InversesUndoTheMatrix) {
    std::mt19937 gen(3);
    for (int n = 0; n < 10; ++n) {
        TMatrix4 a = RandomMatrix4(gen);
        for (int i = 0; i < 4; ++i)
            a.m[i][i] += 5.0f; // well conditioned
        TMatrix4 inv, prod;
        inv.SetInv(a);
        prod.SetMul(a, inv);
        ExpectNear(prod, TMatrix4::StaticI, 1e-5f);

        TMatrix4 adj;
        adj.SetAdj(a);
        adj.Mul(1.0f / a.GetDet());
        ExpectNear(adj, inv, 1e-5f);

        TMatrix43 b = RandomMatrix43(gen);
        for (int i = 0; i < 3; ++i)
            b.m[i][i] += 5.0f;
        TMatrix43 binv, bprod;
        binv.SetInv(b);
        bprod.SetMul(b, binv);
        ExpectNear(bprod, TMatrix43::StaticI, 1e-5f);

        TMatrix3 c;
        a.GetRotate(c);
        TMatrix3 cinv = c, cprod;
        cinv.Inv();
        cprod.SetMul(c, cinv);
        ExpectNear(cprod, TMatrix3::StaticI, 1e-5f);
    }
    TMatrix2 m2(2, 1, 1, 1), i2;
    i2.SetInv(m2);
    EXPECT_FLOAT_EQ(i2.m00, 1.0f);
    EXPECT_FLOAT_EQ(i2.m01, -1.0f);
    EXPECT_FLOAT_EQ(i2.m11, 2.0f);
}

TEST(Matrix, SingularInverseIsZero) {
    // Rank 1: every row a multiple of (1, 2, 3, 4).
    TMatrix4 m4;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            m4.m[i][j] = float((i + 1) * (j + 1));
    m4.Inv();
    EXPECT_TRUE(AllZero(m4));

    TMatrix3 m3(1, 2, 3, 2, 4, 6, 3, 6, 9);
    m3.Inv();
    EXPECT_TRUE(AllZero(m3));

    TMatrix2 m2(1, 2, 2, 4);
    m2.Inv();
    EXPECT_TRUE(AllZero(m2));

    TMatrix43 m43(1, 2, 3, 2, 4, 6, 3, 6, 9, 7, 8, 9);
    m43.Inv();
    EXPECT_TRUE(AllZero(m43));
}

TEST(Matrix, DeterminantAndCofactors) {
    TMatrix4 s;
    s.MakeScale(TVector3(2.0f, 3.0f, 4.0f));
    EXPECT_FLOAT_EQ(s.GetDet(), 24.0f);
    EXPECT_FLOAT_EQ(s.GetCofactor(0, 0), 12.0f);
    EXPECT_FLOAT_EQ(s.GetCofactor(3, 3), 24.0f);
    EXPECT_FLOAT_EQ(s.GetTrace(), 10.0f);
    std::mt19937 gen(4);
    const TMatrix4 a = RandomMatrix4(gen);
    // Expansion along row 2 gives the same determinant as GetDet.
    double det = 0.0;
    for (int c = 0; c < 4; ++c)
        det += double(a.m[2][c]) * a.GetCofactor(2, c);
    EXPECT_NEAR(det, a.GetDet(), 1e-4);
}

TEST(Matrix, PostAndPreTransformsEqualExplicitProducts) {
    std::mt19937 gen(5);
    const TMatrix4 base = RandomMatrix4(gen);
    const TVector3 s(2.0f, -1.0f, 0.5f), t(1.0f, 2.0f, 3.0f);
    const float angle = 0.7f;
    struct Case {
        const char *name;
        void (*post)(TMatrix4 &, float, const TVector3 &);
        void (*make)(TMatrix4 &, float, const TVector3 &);
        bool pre;
    };
    const Case kCases[] = {
        {"RotateX", [](TMatrix4 &m, float a, const TVector3 &) { m.PostRotateX(a); },
         [](TMatrix4 &m, float a, const TVector3 &) { m.MakeRotateX(a); }, false},
        {"RotateY", [](TMatrix4 &m, float a, const TVector3 &) { m.PostRotateY(a); },
         [](TMatrix4 &m, float a, const TVector3 &) { m.MakeRotateY(a); }, false},
        {"RotateZ", [](TMatrix4 &m, float a, const TVector3 &) { m.PostRotateZ(a); },
         [](TMatrix4 &m, float a, const TVector3 &) { m.MakeRotateZ(a); }, false},
        {"Scale", [](TMatrix4 &m, float, const TVector3 &v) { m.PostScale(v); },
         [](TMatrix4 &m, float, const TVector3 &v) { m.MakeScale(v); }, false},
        {"PreScale", [](TMatrix4 &m, float, const TVector3 &v) { m.PreScale(v); },
         [](TMatrix4 &m, float, const TVector3 &v) { m.MakeScale(v); }, true},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TMatrix4 viaPost = base, transform, expected;
        c.post(viaPost, angle, s);
        c.make(transform, angle, s);
        c.pre ? expected.SetMul(transform, base) : expected.SetMul(base, transform);
        ExpectNear(viaPost, expected, 1e-5f);
    }
    TMatrix4 viaPost = base, transform, expected;
    viaPost.PostTranslate(t);
    transform.MakeTranslate(t);
    expected.SetMul(base, transform);
    ExpectNear(viaPost, expected, 1e-5f);

    // The affine forms agree with the full ones.
    TMatrix43 affine;
    affine.MakeAffine(base);
    TMatrix4 full;
    full.MakeAffine(affine);
    affine.PostRotateY(angle);
    affine.PostScale(s);
    affine.PostTranslate(t);
    full.PostRotateY(angle);
    full.PostScale(s);
    full.PostTranslate(t);
    TMatrix43 back;
    back.MakeAffine(full);
    ExpectNear(affine, back, 1e-5f);
}

TEST(Matrix, RotationsTurnRowVectorsCounterClockwise) {
    TMatrix3 rz;
    rz.MakeRotateZ(kPi / 2);
    TVector3 v(1.0f, 0.0f, 0.0f);
    v.Mul(rz);
    EXPECT_NEAR(v.x, 0.0f, 1e-6f);
    EXPECT_NEAR(v.y, 1.0f, 1e-6f);

    // MakeRotateAxis about a coordinate axis equals the axis form.
    TMatrix3 axis, rx;
    axis.MakeRotateAxis(TVector3(1, 0, 0), 0.4f);
    rx.MakeRotateX(0.4f);
    ExpectNear(axis, rx, 1e-6f);
    axis.MakeRotateAxis(TVector3(0, 0, 1), 0.4f);
    rz.MakeRotateZ(0.4f);
    ExpectNear(axis, rz, 1e-6f);

    TMatrix2 r2;
    r2.MakeRotate(kPi / 2);
    TVector2 u(1.0f, 0.0f);
    u.Mul(r2);
    EXPECT_NEAR(u.y, 1.0f, 1e-6f);
}

TEST(Matrix, EulerRoundTrip) {
    const TVector3 kAngles[] = {{0.1f, 0.2f, 0.3f}, {-1.0f, 0.5f, 2.0f}, {0.0f, -1.2f, 0.0f}};
    for (const TVector3 &a : kAngles) {
        TMatrix3 m;
        m.MakeEuler(a);
        EXPECT_NEAR(m.GetDet(), 1.0f, 1e-5f);
        TVector3 back;
        m.GetEuler(back);
        EXPECT_NEAR(back.x, a.x, 1e-5f);
        EXPECT_NEAR(back.y, a.y, 1e-5f);
        EXPECT_NEAR(back.z, a.z, 1e-5f);
    }
    // At the pole x is 0 and z carries the whole turn.
    TMatrix3 pole;
    pole.MakeEuler(TVector3(0.0f, kPi / 2, 0.0f));
    pole.m02 = -1.0f;
    TVector3 back;
    pole.GetEuler(back);
    EXPECT_EQ(back.x, 0.0f);
}

TEST(Matrix, ProjectionPlanes) {
    TMatrix4 p;
    p.MakeProjection(1.0f, 100.0f, 1.2f, 1.5f);
    float n, f;
    p.GetPlanes(n, f);
    EXPECT_NEAR(n, 1.0f, 1e-4f);
    EXPECT_NEAR(f, 100.0f, 1e-2f);
    p.NudgeProjPlanes(0.5f, 2.0f);
    p.GetPlanes(n, f);
    EXPECT_NEAR(n, 0.5f, 1e-4f);
    EXPECT_NEAR(f, 200.0f, 2e-2f);
    EXPECT_EQ(p.m23, 1.0f);

    // A point on the near plane maps to depth 0, on the far plane to 1.
    TMatrix4 q;
    q.MakeProjection(2.0f, 50.0f, 1.0f, 1.0f);
    TVector3 nearPoint(0.0f, 0.0f, 2.0f), farPoint(0.0f, 0.0f, 50.0f);
    nearPoint.Mul(q);
    farPoint.Mul(q);
    EXPECT_NEAR(nearPoint.z, 0.0f, 1e-6f);
    EXPECT_NEAR(farPoint.z, 1.0f, 1e-6f);

    TMatrix4 o;
    o.MakeProjectionOrthographic(1.0f, 11.0f, 4.0f, 2.0f);
    TVector3 corner(2.0f, 1.0f, 11.0f);
    corner.Mul(o);
    EXPECT_FLOAT_EQ(corner.x, 1.0f);
    EXPECT_FLOAT_EQ(corner.y, 1.0f);
    EXPECT_FLOAT_EQ(corner.z, 1.0f);
}

TEST(Matrix, ViewLooksDownPlusZ) {
    const TVector3 eye(1.0f, 2.0f, 3.0f), target(4.0f, 6.0f, 3.0f), up(0.0f, 0.0f, 1.0f);
    TMatrix4 v;
    v.MakeView(eye, target, up);
    TVector3 e = eye, t = target;
    e.Mul(v);
    t.Mul(v);
    EXPECT_NEAR(e.GetLen(), 0.0f, 1e-5f);
    EXPECT_NEAR(t.x, 0.0f, 1e-5f);
    EXPECT_NEAR(t.y, 0.0f, 1e-5f);
    EXPECT_NEAR(t.z, 5.0f, 1e-5f);
    EXPECT_TRUE(v.IsGoodWorldTrans());

    TMatrix43 v43;
    v43.MakeView(eye, target, up);
    TVector3 t2 = target;
    t2.Mul(v43);
    EXPECT_NEAR(t2.z, 5.0f, 1e-5f);
}

TEST(Matrix, RotationBetweenUnitVectors) {
    TMatrix3 m;
    m.MakeRotationBetweenUnitVectors(TVector3(0, 1, 0), TVector3(0, 1, 0));
    EXPECT_TRUE(m.IsEqual(TMatrix3::StaticI));

    TMatrix4 h, rx;
    h.MakeRotationBetweenUnitVectors(TVector3(0, 0, 1), TVector3(0, 0, -1));
    rx.MakeRotateX(3.1415927f);
    EXPECT_TRUE(h.IsEqual(rx));

    // The matrix turns a column vector a into b, so as a row-vector matrix it takes b to a.
    TVector3 a(1, 2, 2), b(-2, 1, 0.5f);
    a.Norm();
    b.Norm();
    m.MakeRotationBetweenUnitVectors(a, b);
    TVector3 r = b;
    r.Mul(m);
    EXPECT_NEAR(r.x, a.x, 1e-5f);
    EXPECT_NEAR(r.y, a.y, 1e-5f);
    EXPECT_NEAR(r.z, a.z, 1e-5f);
}

TEST(Matrix, GoodWorldTransform) {
    struct Case {
        const char *name;
        void (*edit)(TMatrix4 &);
        bool good;
    };
    const Case kCases[] = {
        {"identity", [](TMatrix4 &) {}, true},
        {"mirror", [](TMatrix4 &m) { m.m00 = -1.0f; }, false},
        {"projective column", [](TMatrix4 &m) { m.m13 = 0.5f; }, false},
        {"m33 off by a little", [](TMatrix4 &m) { m.m33 = 1.0f + 1e-7f; }, true},
        {"m33 off", [](TMatrix4 &m) { m.m33 = 1.001f; }, false},
        {"NaN", [](TMatrix4 &m) { m.m31 = std::bit_cast<float>(0xFFC00000u); }, false},
        {"huge", [](TMatrix4 &m) { m.m30 = 2e15f; }, false},
        {"collapsed", [](TMatrix4 &m) { m.m00 = m.m11 = m.m22 = 0.0f; }, false},
        {"one flat axis", [](TMatrix4 &m) { m.m22 = 0.0f; }, true},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TMatrix4 m = TMatrix4::StaticI;
        c.edit(m);
        EXPECT_EQ(m.IsGoodWorldTrans(), c.good);
    }
}

TEST(Matrix, UnitScaleAndTranspose) {
    TMatrix3 m(1, 0, 0, 0, 1, 0, 0, 0, 4);
    EXPECT_FLOAT_EQ(m.Unit(), 4.0f);
    EXPECT_FLOAT_EQ(m.m00, 0.25f);
    EXPECT_FLOAT_EQ(m.m22, 1.0f);
    TMatrix3 z = TMatrix3::StaticI;
    z.m22 = 0.0f;
    EXPECT_EQ(z.Unit(), 0.0f);
    EXPECT_TRUE(AllZero(z));

    // Scaling after a rotation scales its unit columns.
    TMatrix43 s;
    s.MakeRotateZ(0.3f);
    s.PostScale(TVector3(2.0f, 3.0f, 6.0f));
    const TVector3 scale = s.GetScale();
    EXPECT_NEAR(scale.x, 2.0f, 1e-5f);
    EXPECT_NEAR(scale.y, 3.0f, 1e-5f);
    EXPECT_NEAR(scale.z, 6.0f, 1e-5f);
    EXPECT_NEAR(s.GetMaxScale(), 6.0f, 1e-5f);

    TMatrix43 a(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12);
    float t[12];
    a.MakeTranspose(t);
    const float kExpected[12] = {1, 4, 7, 10, 2, 5, 8, 11, 3, 6, 9, 12};
    EXPECT_EQ(std::memcmp(t, kExpected, sizeof t), 0);
    EXPECT_EQ(a.GetTranslate().y, 11.0f);
    a.GetTranslate().y = 0.0f;
    EXPECT_EQ(a.m31, 0.0f);
}

TEST(Matrix, DifferenceAndInterpolate) {
    TMatrix2 a(1, 2, 3, 4), b(2, 2, 3, 6);
    EXPECT_FLOAT_EQ(a.GetDifference(b), 5.0f);
    a.Interpolate(0.5f, b, 0.5f);
    EXPECT_FLOAT_EQ(a.m00, 1.5f);
    EXPECT_FLOAT_EQ(a.m11, 5.0f);
    a.Interpolate(b, 1.0f);
    EXPECT_FLOAT_EQ(a.m00, 3.5f);
    char text[256];
    EXPECT_GT(TMatrix4::StaticI.FormatDebug(text, sizeof text), 0);
    EXPECT_NE(std::string(text).find("1"), std::string::npos);
}

} // namespace
