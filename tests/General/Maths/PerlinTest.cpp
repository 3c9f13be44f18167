// Noise: golden values from an independent reference of the lattice hash, the spline and
// bilinear forms and the octave sums; the relations between the Evaluate forms; gradients
// against finite differences; and the repeating height field, including its failure paths.
#include "General/Maths/Perlin.h"

#include "General/Core/LibAllocator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

namespace {

TEST(Perlin, RawNoiseOfTheOrigin) {
    // n = 0 gives v = (-771171059) & 0x7FFFFFFF = 1376312589, and 1 - v * 2^-30.
    EXPECT_EQ(TPerlin2D::RawNoise(0, 0), -0.281790972f);
    for (uint32_t i = 0; i < 1000; ++i) {
        const float v = TPerlin2D::RawNoise(i * 7919u, i * 104729u);
        ASSERT_GT(v, -1.0f);
        ASSERT_LE(v, 1.0f);
    }
    // Points 57 apart in x coincide with points 1 apart in y.
    EXPECT_EQ(TPerlin2D::RawNoise(60, 2), TPerlin2D::RawNoise(3, 3));
}

TEST(Perlin, OneOctaveIsTheBilinearFormOfRawNoise) {
    // One octave recomputed from the public lattice hash and the bilinear formula.
    const TPerlin2D single(1.0f, 1.0f, 0.5f, 1);
    for (int i = 0; i < 500; ++i) {
        const float x = float(i) * 3.71f + 0.013f, y = float(i * i % 997) * 1.93f + 0.41f;
        const uint32_t ix = uint32_t(x), iy = uint32_t(y);
        const double fx = float(x - float(ix)), fy = float(y - float(iy));
        const double bottom =
            (1.0 - fx) * TPerlin2D::RawNoise(ix, iy) + fx * TPerlin2D::RawNoise(ix + 1, iy);
        const double top =
            (1.0 - fx) * TPerlin2D::RawNoise(ix, iy + 1) + fx * TPerlin2D::RawNoise(ix + 1, iy + 1);
        ASSERT_EQ(single.EvaluateFast(TVector2(x, y)), float((1.0 - fy) * bottom + fy * top))
            << x << "," << y;
    }
}

TEST(Perlin, GoldenValues) {
    struct Case {
        float x, y, slow, fast, mixed;
    };
    // Default parameters: 4 octaves, persistence 0.5, amplitude 1, frequency 1; "mixed" is
    // Evaluate with two cubic octaves.
    const Case kCases[] = {
        {0.0f, 0.0f, -0.0951753706f, -0.528358102f, -0.181811914f},
        {0.37f, 1.91f, 0.00754942372f, -0.103478491f, -0.00584158115f},
        {12.5f, 3.25f, -0.248288989f, -0.16055423f, -0.29132244f},
        {100.123f, 57.9f, -0.206713423f, -0.176300228f, -0.193535596f},
    };
    const TPerlin2D noise;
    for (const Case &c : kCases) {
        SCOPED_TRACE(::testing::Message() << c.x << "," << c.y);
        const TVector2 p(c.x, c.y);
        EXPECT_EQ(noise.EvaluateSlow(p), c.slow);
        EXPECT_EQ(noise.EvaluateFast(p), c.fast);
        EXPECT_EQ(noise.Evaluate(p, 2), c.mixed);
    }
    // Amplitude 2, frequency 0.25, persistence 0.6, 5 octaves: the constructor's order.
    const TPerlin2D custom(2.0f, 0.25f, 0.6f, 5);
    EXPECT_EQ(custom.GetOctaves(), 5);
    EXPECT_EQ(custom.GetFrequency(), 0.25f);
    EXPECT_EQ(custom.EvaluateSlow(TVector2(3.3f, 7.7f)), -0.310689896f);
    EXPECT_EQ(custom.EvaluateFast(TVector2(3.3f, 7.7f)), 0.116935298f);
    EXPECT_EQ(custom.EvaluateSlow(TVector2(40.0f, 0.5f)), 1.14130819f);
    EXPECT_EQ(custom.EvaluateFast(TVector2(40.0f, 0.5f)), 2.28342533f);
}

TEST(Perlin, GradientGoldenValues) {
    struct Case {
        float x, y, value, gx, gy;
    };
    // Default parameters, every octave cubic: the value and both slopes to the bit.
    const Case kCases[] = {
        {0.37f, 1.91f, -0.383085042f, -6.9113493f, 2.91554856f},
        {12.5f, 3.25f, -0.563579798f, -0.196139216f, 6.58568478f},
        {-7.75f, 100.123f, 0.64541024f, -2.34970069f, 4.10476303f},
    };
    const TPerlin2D noise;
    for (const Case &c : kCases) {
        SCOPED_TRACE(::testing::Message() << c.x << "," << c.y);
        TVector2 g;
        EXPECT_EQ(noise.EvaluateGradient(TVector2(c.x, c.y), g, 4), c.value);
        EXPECT_EQ(g.x, c.gx);
        EXPECT_EQ(g.y, c.gy);
    }
}

TEST(Perlin, EvaluateFormsAgree) {
    TPerlin2D noise(1.5f, 0.7f, 0.45f, 5);
    for (int i = 0; i < 50; ++i) {
        const TVector2 p(float(i) * 0.731f, float(i) * 1.37f + 0.2f);
        EXPECT_EQ(noise.Evaluate(p, 5), noise.EvaluateSlow(p));
        EXPECT_EQ(noise.Evaluate(p, 99), noise.EvaluateSlow(p));
        EXPECT_EQ(noise.Evaluate(p, 0), noise.EvaluateFast(p));
    }
    noise.SetOctaves(0);
    EXPECT_EQ(noise.EvaluateSlow(TVector2(1.5f, 2.5f)), 0.0f);
    EXPECT_EQ(noise.EvaluateFast(TVector2(1.5f, 2.5f)), 0.0f);
}

TEST(Perlin, GradientSamplesOneCellFurtherAndMatchesTheSlope) {
    for (int cubic = 0; cubic < 2; ++cubic) {
        SCOPED_TRACE(cubic ? "cubic" : "bilinear");
        const TPerlin2D single(1.0f, 0.5f, 0.5f, 1);
        for (int i = 0; i < 20; ++i) {
            // Lattice fractions kept away from the cell borders, where the bilinear form has
            // kinks that a finite difference would straddle.
            const TVector2 p((float(i) + 0.25f + 0.02f * float(i)) * 2.0f,
                             (float(i) * 0.5f + 0.3f) * 2.0f);
            TVector2 g;
            const float value = single.EvaluateGradient(p, g, cubic);
            // One lattice cell is 1 / frequency = 2 units of position.
            const TVector2 shifted(p.x + 2.0f, p.y + 2.0f);
            EXPECT_NEAR(value, single.Evaluate(shifted, cubic), 1e-6f);
            const float h = 1e-3f;
            const float dx = (single.Evaluate(TVector2(shifted.x + h, shifted.y), cubic) -
                              single.Evaluate(TVector2(shifted.x - h, shifted.y), cubic)) /
                             (2 * h);
            const float dy = (single.Evaluate(TVector2(shifted.x, shifted.y + h), cubic) -
                              single.Evaluate(TVector2(shifted.x, shifted.y - h), cubic)) /
                             (2 * h);
            // The cubic octaves report twice the slope.
            const float factor = cubic ? 2.0f : 1.0f;
            EXPECT_NEAR(g.x, factor * dx, 2e-2f);
            EXPECT_NEAR(g.y, factor * dy, 2e-2f);
        }
    }
}

TEST(Perlin, RepeatingFieldGoldenValues) {
    std::vector<unsigned short> field(16 * 8);
    TRepeatingPerlin2D perlin;
    perlin.CreateIntPerlin(field.data(), 1234, 3, 16, 8, 0.5f);
    const unsigned short kFirst[8] = {0, 1294, 2589, 11838, 21087, 25529, 29971, 36426};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(field[i], kFirst[i]) << i;
    EXPECT_EQ(field[124], 15777);
    EXPECT_EQ(field[127], 22362);
    EXPECT_EQ(std::accumulate(field.begin(), field.end(), 0LL), 4246985LL);
    EXPECT_EQ(*std::max_element(field.begin(), field.end()), 65535);
    // The lattices are gone afterwards.
    EXPECT_EQ(perlin.GetInt(3, 3), 0);

    std::vector<unsigned short> second(32 * 16);
    perlin.CreateIntPerlin(second.data(), 99, 4, 32, 16, 0.7f);
    const unsigned short kSecond[6] = {52299, 52643, 52986, 45690, 38395, 38964};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(second[i], kSecond[i]) << i;
    EXPECT_EQ(std::accumulate(second.begin(), second.end(), 0LL), 15161556LL);
    long long weighted = 0;
    for (size_t i = 0; i < second.size(); ++i)
        weighted += (long long)second[i] * (long long)(i + 1);
    EXPECT_EQ(weighted % 1000003, 180481);
}

TEST(Perlin, RepeatingFieldRefusesBadArgumentsAndSurvivesNoMemory) {
    std::vector<unsigned short> field(64 * 64, 7);
    TRepeatingPerlin2D perlin;
    perlin.CreateIntPerlin(field.data(), 1, 7, 64, 64, 0.5f); // 2^7 > 64
    perlin.CreateIntPerlin(field.data(), 1, 0, 64, 64, 0.5f);
    perlin.CreateIntPerlin(field.data(), 1, 17, 1 << 17, 2, 0.5f);
    perlin.CreateIntPerlin(field.data(), 1, 2, 1024, 1024, 0.5f); // more than the scratch
    EXPECT_TRUE(std::all_of(field.begin(), field.end(), [](unsigned short v) { return v == 7; }));

    TLibAllocator &heap = GetAllocatorInstance();
    const size_t live = heap.GetLiveBlocks();
    for (int fail = 1; fail <= 4; ++fail) {
        SCOPED_TRACE(fail);
        heap.Faults().Arm(uint64_t(fail));
        perlin.CreateIntPerlin(field.data(), 1, 3, 64, 64, 0.5f);
        heap.Faults().Disarm();
        EXPECT_EQ(heap.GetLiveBlocks(), live);
        EXPECT_EQ(field[5], 7);
    }
    perlin.CreateIntPerlin(field.data(), 1, 3, 64, 64, 0.5f);
    EXPECT_EQ(heap.GetLiveBlocks(), live);
    EXPECT_NE(field[5], 7);
}

} // namespace
