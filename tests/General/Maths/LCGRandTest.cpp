// TLCGRand: the step, the composite words, the Gaussian's spare, and the biased draws checked
// against the curves they invert.
#include "General/Maths/LCGRand.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

uint32_t Step(uint32_t s) {
    return ((s << 12) + 150889u) % 714025u;
}

TEST(LCGRand, StepsAndWords) {
    TLCGRand a(1), b(1);
    const uint32_t hi = b.iRand16();
    const uint32_t lo = b.iRand16();
    EXPECT_EQ(a.iRand32(), (hi << 16) ^ (lo & 0xFFFF));
    EXPECT_EQ(hi, Step(1));
    EXPECT_EQ(lo, Step(Step(1)));

    // Wrapping: a seed whose shift overflows 32 bits.
    TLCGRand w(714024);
    EXPECT_EQ(w.iRand16(), Step(714024));

    TLCGRand c(99);
    uint32_t s = 99, expected = 0;
    for (int k = 0; k < 4; ++k) {
        s = Step(s);
        expected |= (((s >> 8) ^ s) & 255u) << (8 * k);
    }
    EXPECT_EQ(c.GetRandomBits(), expected);
    EXPECT_EQ(c.GetSeed(), s);
    EXPECT_EQ(TLCGRand::ConvertSeed(714026), 1u);
    TLCGRand clock(0xFFFFFFFFu);
    clock.SetRandomSeed();
    EXPECT_LT(clock.GetSeed(), 714025u);

    TLCGRand d(5);
    EXPECT_EQ(d.GetRandom(10), int(Step(5) * 10u / 714025u));
    uint32_t saved = 0;
    d.SaveState(&saved);
    EXPECT_EQ(saved, d.GetSeed());
}

TEST(LCGRand, GaussKeepsASpare) {
    TLCGRand g(7);
    (void)g.GetGauss();
    const uint32_t seedAfterFirst = g.GetSeed();
    (void)g.GetGauss();
    EXPECT_EQ(g.GetSeed(), seedAfterFirst);

    TLCGRand h(3);
    double sum = 0.0, sumSq = 0.0;
    constexpr int kCount = 20000;
    for (int i = 0; i < kCount; ++i) {
        const double v = h.GetGauss();
        sum += v;
        sumSq += v * v;
    }
    EXPECT_NEAR(sum / kCount, 0.0, 0.05);
    EXPECT_NEAR(sumSq / kCount, 1.0, 0.05);
}

TEST(LCGRand, FlatBiasGivesTheUniformValue) {
    TLCGRand a(11), b(11);
    for (int i = 0; i < 100; ++i) {
        const uint32_t s = Step(b.GetSeed());
        b.SetSeed(s);
        const float t = float(double((s << 12) / 714025u) / 4096.0);
        ASSERT_EQ(a.GetBiasedRandom(1.0f, 1.0f), t);
    }
}

TEST(LCGRand, BiasedDrawsInvertTheirCurves) {
    // A density rising from 0 to 2 has mean 2/3; the quadratic and cubic forms with equal
    // control values are flat, mean 1/2.
    struct Case {
        const char *name;
        float (*draw)(TLCGRand &);
        double mean;
    };
    const Case kCases[] = {
        {"linear", [](TLCGRand &r) { return r.GetBiasedRandom(0.0f, 2.0f); }, 2.0 / 3.0},
        {"linear falling", [](TLCGRand &r) { return r.GetBiasedRandom(2.0f, 0.0f); }, 1.0 / 3.0},
        {"quadratic flat", [](TLCGRand &r) { return r.GetBiasedRandom(1.0f, 1.0f, 1.0f); }, 0.5},
        {"quadratic rising", [](TLCGRand &r) { return r.GetBiasedRandom(0.0f, 1.0f, 2.0f); },
         2.0 / 3.0},
        {"cubic flat", [](TLCGRand &r) { return r.GetBiasedRandom(1.0f, 1.0f, 1.0f, 1.0f); }, 0.5},
        {"bezier flat",
         [](TLCGRand &r) {
             return r.GetBiasedRandom(1.0f, TVector2(1.0f / 3.0f, 1.0f),
                                      TVector2(2.0f / 3.0f, 1.0f), 1.0f);
         },
         0.5},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.name);
        TLCGRand r(2024);
        double sum = 0.0;
        constexpr int kCount = 20000;
        for (int i = 0; i < kCount; ++i) {
            const float v = c.draw(r);
            ASSERT_GE(v, -1e-3f);
            ASSERT_LE(v, 1.0f + 1e-3f);
            sum += v;
        }
        EXPECT_NEAR(sum / kCount, c.mean, 0.01);
    }
    // The integrals are those of their densities.
    EXPECT_FLOAT_EQ(TLCGRand::RandomFunc(1.0f, 0.0f, 2.0f), 1.0f);
    EXPECT_FLOAT_EQ(TLCGRand::RandomFunc(1.0f, 1.0f, 1.0f, 1.0f), 1.0f);
    EXPECT_FLOAT_EQ(TLCGRand::RandomFunc(1.0f, 1.0f, 1.0f, 1.0f, 1.0f), 1.0f);
    EXPECT_FLOAT_EQ(TLCGRand::RandomFuncDeriv(0.5f, 0.0f, 1.0f, 2.0f), 1.0f);
    EXPECT_FLOAT_EQ(TLCGRand::RandomFuncDeriv(0.5f, 1.0f, 1.0f, 1.0f, 1.0f), 1.0f);
}

} // namespace
