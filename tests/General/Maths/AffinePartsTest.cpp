// TAffineParts: decompose and rebuild, mirrored and singular input, and the inverse parts.
#include "General/Maths/AffineParts.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TMatrix4 Compose(const TVector3 &scale, float rx, float rz, const TVector3 &t) {
    TMatrix4 m;
    m.MakeScale(scale);
    m.PostRotateX(rx);
    m.PostRotateZ(rz);
    m.PostTranslate(t);
    return m;
}

void ExpectMatrixNear(const TMatrix4 &a, const TMatrix4 &b, float tol) {
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            EXPECT_NEAR(a.m[i][j], b.m[i][j], tol) << i << "," << j;
}

TEST(AffineParts, RebuildsTheMatrix) {
    struct Case {
        const char *name;
        TMatrix4 m;
        float sign;
    };
    TMatrix4 shear = Compose(TVector3(1, 2, 3), 0.4f, -0.9f, TVector3(5, 6, 7));
    shear.m10 += 0.7f;
    const Case kCases[] = {
        {"rigid", Compose(TVector3(1, 1, 1), 0.3f, 1.2f, TVector3(1, 2, 3)), 1.0f},
        {"scaled", Compose(TVector3(2, 0.5f, 3), 0.3f, 1.2f, TVector3(-1, 0, 4)), 1.0f},
        {"uniform", Compose(TVector3(2, 2, 2), 2.0f, 0.1f, TVector3(0, 0, 0)), 1.0f},
        {"x equals y", Compose(TVector3(2, 2, 5), 0.7f, 0.2f, TVector3(0, 1, 0)), 1.0f},
        {"y equals z", Compose(TVector3(5, 2, 2), 0.5f, 0.25f, TVector3(0, 1, 0)), 1.0f},
        {"x equals z", Compose(TVector3(2, 5, 2), 0.5f, 0.25f, TVector3(0, 1, 0)), 1.0f},
        {"mirrored", Compose(TVector3(-1, 2, 3), 0.3f, 1.2f, TVector3(1, 2, 3)), -1.0f},
        {"sheared", shear, 1.0f},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TMatrix4 in = c.m;
        TAffineParts parts;
        parts.DecompAffine(in);
        EXPECT_EQ(parts.f, c.sign);
        EXPECT_NEAR(parts.q.Norm(), 1.0f, 1e-5f);
        EXPECT_NEAR(parts.u.Norm(), 1.0f, 1e-5f);
        EXPECT_EQ(parts.t.x, c.m.m30);
        TMatrix4 out;
        parts.MakeMatrix(out);
        ExpectMatrixNear(out, c.m, 2e-5f);

        // The inverse parts rebuild the inverse matrix.
        TAffineParts inv;
        parts.InvertAffine(&inv);
        TMatrix4 invMatrix, product;
        inv.MakeMatrix(invMatrix);
        product.SetMul(c.m, invMatrix);
        ExpectMatrixNear(product, TMatrix4::StaticI, 1e-4f);
    }
}

TEST(AffineParts, SingularInputHasDefinedParts) {
    struct Case {
        const char *name;
        TVector3 scale;
    };
    const Case kCases[] = {{"flat", {2, 3, 0}}, {"line", {2, 0, 0}}, {"point", {0, 0, 0}}};
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TMatrix4 m = Compose(c.scale, 0.5f, 0.25f, TVector3(1, 1, 1));
        TAffineParts parts;
        parts.DecompAffine(m);
        for (float v : {parts.q.w, parts.q.x, parts.u.w, parts.k.x, parts.k.y, parts.k.z})
            EXPECT_TRUE(std::isfinite(v));
        TMatrix4 out;
        parts.MakeMatrix(out);
        ExpectMatrixNear(out, m, 1e-4f);
        TAffineParts inv;
        parts.InvertAffine(&inv);
        EXPECT_TRUE(std::isfinite(inv.t.x));
    }
}

} // namespace
