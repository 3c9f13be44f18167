// TIsaacRand against a reference written here from the published description of ISAAC (the
// plain, unrolled-free form), for both sizes, seeded and unseeded, and state save and load.
#include "General/Maths/IsaacRand.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

/// ISAAC as published in its readable form, for 2^L words.
template <int L> class ReferenceIsaac {
public:
    static constexpr uint32_t kSize = 1u << L;

    explicit ReferenceIsaac(const uint32_t *seed) {
        uint32_t s[8];
        for (uint32_t &v : s)
            v = 0x9e3779b9u;
        for (int i = 0; i < 4; ++i)
            Mix(s);
        const int passes = seed ? 2 : 1;
        for (int pass = 0; pass < passes; ++pass) {
            for (uint32_t i = 0; i < kSize; i += 8) {
                for (int k = 0; k < 8 && seed; ++k)
                    s[k] += pass == 0 ? seed[i + k] : mm[i + k];
                Mix(s);
                for (int k = 0; k < 8; ++k)
                    mm[i + k] = s[k];
            }
        }
        Generate();
        count = kSize;
    }

    uint32_t Next() {
        if (count == 0) {
            Generate();
            count = kSize;
        }
        return rsl[--count];
    }

    void Generate() {
        cc = cc + 1;
        bb = bb + cc;
        for (uint32_t i = 0; i < kSize; ++i) {
            const uint32_t x = mm[i];
            switch (i % 4) {
            case 0:
                aa = aa ^ (aa << 13);
                break;
            case 1:
                aa = aa ^ (aa >> 6);
                break;
            case 2:
                aa = aa ^ (aa << 2);
                break;
            default:
                aa = aa ^ (aa >> 16);
                break;
            }
            aa = mm[(i + kSize / 2) % kSize] + aa;
            const uint32_t y = mm[(x >> 2) % kSize] + aa + bb;
            mm[i] = y;
            bb = mm[(y >> (L + 2)) % kSize] + x;
            rsl[i] = bb;
        }
    }

    uint32_t rsl[kSize] = {};
    uint32_t mm[kSize] = {};
    uint32_t aa = 0, bb = 0, cc = 0;
    uint32_t count = 0;

private:
    static void Mix(uint32_t s[8]) {
        uint32_t &a = s[0], &b = s[1], &c = s[2], &d = s[3], &e = s[4], &f = s[5], &g = s[6],
                 &h = s[7];
        a ^= b << 11;
        d += a;
        b += c;
        b ^= c >> 2;
        e += b;
        c += d;
        c ^= d << 8;
        f += c;
        d += e;
        d ^= e >> 16;
        g += d;
        e += f;
        e ^= f << 10;
        h += e;
        f += g;
        f ^= g >> 4;
        a += f;
        g += h;
        g ^= h << 8;
        b += g;
        h += a;
        h ^= a >> 9;
        c += h;
        a += b;
    }
};

template <int L> void CompareRuns() {
    {
        TIsaacRand<L> ours;
        ReferenceIsaac<L> ref(nullptr);
        for (int i = 0; i < 20000; ++i)
            ASSERT_EQ(ours.iRand32(), ref.Next()) << "unseeded output " << i;
    }
    for (uint32_t seed : {0u, 1u, 0xDEADBEEFu}) {
        SCOPED_TRACE(seed);
        TIsaacRand<L> ours;
        ours.SetSeed(seed);
        std::vector<uint32_t> seedWords(ReferenceIsaac<L>::kSize, seed);
        ReferenceIsaac<L> ref(seedWords.data());
        for (int i = 0; i < 20000; ++i)
            ASSERT_EQ(ours.iRand32(), ref.Next()) << "output " << i;
    }
}

TEST(IsaacRand, MatchesReferenceForBothSizes) {
    CompareRuns<4>();
    CompareRuns<8>();
}

TEST(IsaacRand, PublishedTestVector) {
    // The published vector: zero seed, randinit(true), then one more block; the first word of
    // that block is f650e4c8.
    TIsaacRand<8> r;
    r.SetSeed(0u);
    r.RecalcSeed();
    EXPECT_EQ(r.GetSeed()[0], 0xf650e4c8u);
    EXPECT_EQ(r.GetSeed()[1], 0xe448e96du);
}

TEST(IsaacRand, SaveAndLoadInTheMiddleOfABlock) {
    for (int skip : {0, 5, 16, 17, 40}) {
        SCOPED_TRACE(skip);
        TIsaacRand<4> a;
        a.SetSeed(7u);
        for (int i = 0; i < skip; ++i)
            (void)a.iRand32();
        uint32_t buffer[TIsaacRand<4>::SavedWords];
        static_assert(TIsaacRand<4>::SavedWords == 38);
        static_assert(TIsaacRand<8>::SavedWords == 518);
        a.SaveState(buffer);
        EXPECT_EQ(buffer[0], 0x49534143u);
        EXPECT_EQ(buffer[37], 0x49534143u);
        TIsaacRand<4> b;
        b.LoadState(buffer);
        for (int i = 0; i < 200; ++i)
            ASSERT_EQ(a.iRand32(), b.iRand32());
    }
}

TEST(IsaacRand, RecalcSeedDropsTheRestOfTheBlock) {
    TIsaacRand<4> a, b;
    (void)a.iRand32();
    a.RecalcSeed();
    // The count is set to 15 and drops before use, so the next result is word 14 of the new
    // block: the 18th output of an untouched generator.
    for (int i = 0; i < 17; ++i)
        (void)b.iRand32();
    EXPECT_EQ(a.iRand32(), b.iRand32());
}

} // namespace
