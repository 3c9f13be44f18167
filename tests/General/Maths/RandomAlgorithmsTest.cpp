// TRandomAlgorithms: each range mapping against the raw words of a twin generator, the bit
// buffer, the fixed edge cases, golden values of the MT stream, and the shuffles.
#include "General/Maths/RandomAlgorithms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>
#include <vector>

namespace {

constexpr double kScale = 1.0 / 4294967296.0;

/// Runs `check` many times with a mapped generator and a raw twin on the same seed.
template <class R, class Check> void WithTwins(Check check) {
    TRandomAlgorithms<R> mapped;
    R raw;
    mapped.SetSeed(12345u);
    raw.SetSeed(12345u);
    for (int i = 0; i < 5000; ++i)
        check(mapped, raw);
}

template <class R> void CheckMappings() {
    WithTwins<R>([](TRandomAlgorithms<R> &g, R &w) {
        ASSERT_EQ(g.iRand31(), int(w.iRand32() >> 1));
        ASSERT_EQ(g.fRand(), float(double(w.iRand32()) * kScale));
        ASSERT_EQ(g.fRandExc2(), float((double(w.iRand32()) + 0.5) * kScale));
        const uint32_t lo = w.iRand32() & 0xFFFF;
        ASSERT_EQ(g.iRandm(37), int((lo * 37) >> 16));
        ASSERT_EQ(g.fRandm(3.5f), float(double(w.iRand32()) * 3.5 * kScale));
        ASSERT_EQ(g.fRandRange(-2.0f, 6.0f), float(double(w.iRand32()) * 8.0 * kScale - 2.0));
        const uint32_t lo2 = w.iRand32() & 0xFFFF;
        ASSERT_EQ(g.iRandRange(-3, 9), int((lo2 * 13) >> 16) - 3);
        const uint32_t lo3 = w.iRand32() & 0xFFFF;
        ASSERT_EQ(g.Dice(6, 4), ((lo3 * 6) >> 16) + 1 >= 4);
        ASSERT_EQ(g.Proportion(0.3f), double(w.iRand32()) * kScale < double(0.3f));
        ASSERT_EQ(g.Percent(30.0f), double(w.iRand32()) * (100.0 * kScale) < 30.0);
        const float x = float(double(w.iRand32()) * 2.0 * kScale - 1.0);
        const float y = float(double(w.iRand32()) * 2.0 * kScale - 1.0);
        const TVector2 sq = g.RandV2_Square();
        ASSERT_EQ(sq.x, x);
        ASSERT_EQ(sq.y, y);
    });
}

TEST(RandomAlgorithms, MappingsFollowTheWords) {
    CheckMappings<TMTRand>();
    CheckMappings<TIsaacRand<4>>();
    CheckMappings<TIsaacRand<8>>();
}

TEST(RandomAlgorithms, GoldenValuesOfTheDefaultMTStream) {
    // MT19937 seeded 5489 starts 3499211612, 581869302, 3890346734, 3586334585, 545404204.
    TRandomAlgorithms<TMTRand> g;
    EXPECT_EQ(g.fRand(), 0.81472367f);
    EXPECT_EQ(g.iRandm(100), 62);     // low 16 bits 40694
    EXPECT_EQ(g.iRandRange(1, 6), 6); // low 16 bits 64238
    EXPECT_EQ(g.fRandRange(10.0f, 20.0f), 18.3500862f);
    EXPECT_FALSE(g.Dice(20, 11)); // low 16 bits 13612: a roll of 5
}

TEST(RandomAlgorithms, FixedEdgeCases) {
    TRandomAlgorithms<TIsaacRand<8>> g;
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(g.iRandm(1), 0);
        ASSERT_EQ(g.iRandRange(5, 5), 5);
        ASSERT_TRUE(g.OnceInNTimes(1));
        ASSERT_FALSE(g.Dice(6, 7));
        ASSERT_TRUE(g.Dice(6, 1));
        ASSERT_FALSE(g.Proportion(0.0f));
        ASSERT_TRUE(g.Proportion(1.0f));
        const float f = g.fRand8();
        ASSERT_GE(f, 0.0f);
        ASSERT_LE(f, 1.0f);
        const float e = g.fRand8Exc2();
        ASSERT_GT(e, 0.0f);
        ASSERT_LT(e, 1.0f);
    }
}

TEST(RandomAlgorithms, BitBufferDropsSpareBits) {
    TRandomAlgorithms<TMTRand> g;
    TMTRand raw;
    const uint32_t w0 = raw.iRand32(), w1 = raw.iRand32(), w2 = raw.iRand32();

    EXPECT_EQ(g.iRandBits(0), 0u); // the count is 0, not below: no word is drawn
    EXPECT_EQ(g.iRandBits(30), w0 & 0x3FFFFFFFu);
    // Two bits are left; five are wanted, so a new word starts.
    EXPECT_EQ(g.iRandBits(5), w1 & 31u);
    EXPECT_EQ(g.iRand8(), int((w1 >> 5) & 255u));
    EXPECT_EQ(g.iRandBits(19), (w1 >> 13) & 0x7FFFFu);
    EXPECT_EQ(g.iRandBits(0), 0u);
    EXPECT_EQ(g.iRand8(), int(w2 & 255u));
}

TEST(RandomAlgorithms, VectorsAndGaussHaveTheirShapes) {
    TRandomAlgorithms<TMTRand> g;
    double sum = 0.0, sumSq = 0.0;
    constexpr int kCount = 20000;
    for (int i = 0; i < kCount; ++i) {
        const float v = g.Gauss(3.0f, 2.0f);
        sum += v;
        sumSq += double(v) * v;
        ASSERT_NEAR(g.RandV2_Circle().GetLen(), 1.0f, 1e-5f);
        ASSERT_NEAR(g.RandV3_Sphere().GetLen(), 1.0f, 1e-5f);
        const TVector3 c = g.RandV3_Cube();
        ASSERT_TRUE(c.x >= -1.0f && c.x < 1.0f && c.z >= -1.0f && c.z < 1.0f);
    }
    const double mean = sum / kCount;
    EXPECT_NEAR(mean, 3.0, 0.05);
    EXPECT_NEAR(std::sqrt(sumSq / kCount - mean * mean), 2.0, 0.05);
}

TEST(RandomAlgorithms, Gauss) {
    TRandomAlgorithms<TMTRand> g;
    TMTRand raw;
    const double u = (double(raw.iRand32()) + 0.5) * kScale;
    const double t = double(raw.iRand32()) * double(6.2831855f) * kScale;
    EXPECT_EQ(g.Gauss(1.0f, 0.5f),
              float(1.0 + 0.5 * std::sqrt(-2.0 * std::log(1.0 - u)) * std::cos(t)));
}

TEST(RandomAlgorithms, IndicesArePermutations) {
    TRandomAlgorithms<TIsaacRand<4>> g;
    std::vector<int> p(50);
    g.RandomIndices(p.data(), 50, 10);
    std::vector<int> sorted = p;
    std::sort(sorted.begin(), sorted.end());
    std::vector<int> expected(50);
    std::iota(expected.begin(), expected.end(), 10);
    EXPECT_EQ(sorted, expected);
    EXPECT_NE(p, expected);
}

TEST(RandomAlgorithms, RandomiseArrayShufflesWholeElements) {
    struct Item {
        int id;
        char tag[7];
    };
    std::vector<Item> items(40);
    for (int i = 0; i < 40; ++i)
        items[i] = Item{i, {char('a' + i % 26), 0, 0, 0, 0, 0, 0}};
    TRandomAlgorithms<TMTRand> g;
    g.RandomiseArray(items.data(), 40, int(sizeof(Item)));
    std::vector<int> ids;
    bool moved = false;
    for (int i = 0; i < 40; ++i) {
        ids.push_back(items[i].id);
        EXPECT_EQ(items[i].tag[0], char('a' + items[i].id % 26));
        moved |= items[i].id != i;
    }
    std::sort(ids.begin(), ids.end());
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(ids[i], i);
    EXPECT_TRUE(moved);

    // One element has nothing to swap with; nothing happens and the call returns.
    g.RandomiseArray(items.data(), 1, int(sizeof(Item)));
    g.RandomiseArray(items.data(), 0, int(sizeof(Item)));
}

TEST(RandomAlgorithms, RandomiseArrayWithoutMemoryChangesNothing) {
    std::vector<int> values(10);
    std::iota(values.begin(), values.end(), 0);
    const std::vector<int> before = values;
    TRandomAlgorithms<TMTRand> g;
    TLibAllocator &heap = GetAllocatorInstance();
    const size_t live = heap.GetLiveBlocks();
    heap.Faults().Arm(1);
    g.RandomiseArray(values.data(), 10, int(sizeof(int)));
    heap.Faults().Disarm();
    EXPECT_EQ(values, before);
    EXPECT_EQ(heap.GetLiveBlocks(), live);
    g.RandomiseArray(values.data(), 10, int(sizeof(int)));
    EXPECT_EQ(heap.GetLiveBlocks(), live);
}

} // namespace
