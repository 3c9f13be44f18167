// Polynomial roots: the order of the three cubic roots, the single-root form, degenerate
// leading coefficients, double and triple roots, and the quadratic's branches.
#include "General/Maths/Polynomial.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

TEST(Polynomial, CubicRootsInTrigonometricOrder) {
    const TCubic cubic(1, -6, 11, -6);
    TVector3 r;
    ASSERT_EQ(cubic.GetRoots(&r), 3);
    EXPECT_NEAR(r.x, 1.0f, 1e-5f);
    EXPECT_NEAR(r.y, 3.0f, 1e-5f);
    EXPECT_NEAR(r.z, 2.0f, 1e-5f);
}

TEST(Polynomial, CubicCases) {
    struct Case {
        const char *name;
        TCubic cubic;
        int count;
    };
    const Case kCases[] = {
        {"one real root", {1, 0, 1, -10}, 1}, // x^3 + x - 10: root 2
        {"negative lead", {-2, 4, 2, -4}, 3}, // -2 (x - 2)(x^2 - 1)
        {"odd about zero", {1, 0, 1, 0}, 1},  // R = 0 in the one-root form
        {"double root", {1, -5, 8, -4}, 3},   // (x - 1)(x - 2)^2
        {"triple root", {1, -3, 3, -1}, 3},   // (x - 1)^3
        {"flat lead", {1e-16f, 1, -3, 2}, 0}, // the quadratic part is ignored
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TVector3 r(0, 0, 0);
        ASSERT_EQ(c.cubic.GetRoots(&r), c.count);
        for (int i = 0; i < c.count; ++i) {
            EXPECT_TRUE(std::isfinite(r[i]));
            EXPECT_NEAR(c.cubic.GetEvaluate(r[i]), 0.0f, 1e-4f) << "root " << r[i];
        }
    }
    TVector3 r;
    TCubic(1, 0, 1, -10).GetRoots(&r);
    EXPECT_NEAR(r.x, 2.0f, 1e-5f);
    TCubic(1, -3, 3, -1).GetRoots(&r);
    EXPECT_NEAR(r.x, 1.0f, 1e-2f);
    EXPECT_EQ(TCubic(1, 2, 3, 4).GetEvaluateDeriv(2.0f), 23.0f);
}

TEST(Polynomial, ZoomAlwaysTakesThreeRounds) {
    // Starting on the root, three rounds run and stay there.
    const TCubic cubic(1, -6, 11, -6);
    EXPECT_EQ(cubic.ZoomInToRoot(2.0f), 2.0f);
    EXPECT_NEAR(cubic.ZoomInToRoot(3.3f), 3.0f, 1e-5f);
}

TEST(Polynomial, QuadraticBranches) {
    struct Case {
        const char *name;
        float a, b, c;
        bool solvable;
        float r1, r2;
    };
    const Case kCases[] = {
        {"two roots, b negative", 1, -3, 2, true, 2, 1},
        {"two roots, b positive", 1, 3, 2, true, -2, -1},
        {"double root", 1, -2, 1, true, 1, 1},
        {"no real roots", 1, 0, 1, false, 0, 0},
        {"b zero", 2, 0, -8, true, -2, 2},
        {"b and c zero", 3, 0, 0, true, 0, 0},
        {"flat", 0, 2, 1, false, 0, 0},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        float r1 = 99, r2 = 99;
        EXPECT_EQ(SolveQuadratic(&r1, &r2, c.a, c.b, c.c), c.solvable);
        TVector2 roots;
        EXPECT_EQ(TQuadratic(c.a, c.b, c.c).GetRoots(&roots), c.solvable ? 2 : 0);
        if (c.solvable) {
            EXPECT_FLOAT_EQ(r1, c.r1);
            EXPECT_FLOAT_EQ(r2, c.r2);
            EXPECT_EQ(roots.x, r1);
            EXPECT_EQ(roots.y, r2);
        }
    }
    // |a| exactly at the limit: GetRoots refuses below 1e-15, SolveQuadratic at or below.
    float r1, r2;
    EXPECT_FALSE(SolveQuadratic(&r1, &r2, 1e-15f, 1, -1));
    TVector2 roots;
    EXPECT_EQ(TQuadratic(1e-15f, 1, -1).GetRoots(&roots), 2);
}

} // namespace
