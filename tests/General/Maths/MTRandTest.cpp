// TMTRand against the published MT19937: the reference outputs, long runs against the standard
// library's mt19937 for several seeds, init_by_array, and state saving in the middle of a block.
#include "General/Maths/MTRand.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

TEST(MTRand, DefaultSeedGivesPublishedOutputs) {
    TMTRand r;
    EXPECT_EQ(r.iRand32(), 3499211612u);
    TMTRand s;
    uint32_t v = 0;
    for (int i = 0; i < 10000; ++i)
        v = s.iRand32();
    EXPECT_EQ(v, 4123659995u);
}

TEST(MTRand, LongRunsMatchStandardGenerator) {
    const uint32_t kSeeds[] = {0u, 1u, 5489u, 19650218u, 0xFFFFFFFFu, 0x12345678u};
    for (uint32_t seed : kSeeds) {
        SCOPED_TRACE(seed);
        TMTRand r;
        r.SetSeed(seed);
        std::mt19937 ref(seed);
        for (int i = 0; i < 100000; ++i)
            ASSERT_EQ(r.iRand32(), ref()) << "output " << i;
    }
}

TEST(MTRand, SeedByArrayGivesPublishedOutputs) {
    // The test vector published with init_by_array.
    const uint32_t key[4] = {0x123, 0x234, 0x345, 0x456};
    TMTRand r;
    r.SetSeed(key, 4);
    const uint32_t kExpected[] = {1067595299u, 955945823u, 477289528u, 4107218783u, 4228976476u};
    for (uint32_t e : kExpected)
        EXPECT_EQ(r.iRand32(), e);
    // A key longer than the state is walked whole.
    std::vector<uint32_t> longKey(700);
    for (size_t i = 0; i < longKey.size(); ++i)
        longKey[i] = uint32_t(i * 2654435761u);
    TMTRand a, b;
    a.SetSeed(longKey.data(), 700);
    longKey[699] ^= 1;
    b.SetSeed(longKey.data(), 700);
    EXPECT_NE(a.iRand32(), b.iRand32());
    TMTRand empty;
    empty.SetSeed(nullptr, 0);
    (void)empty.iRand32();
}

TEST(MTRand, SaveAndLoadInTheMiddleOfABlock) {
    for (int skip : {0, 1, 300, 623, 624, 1000}) {
        SCOPED_TRACE(skip);
        TMTRand a;
        a.SetSeed(42u);
        for (int i = 0; i < skip; ++i)
            (void)a.iRand32();
        std::vector<uint32_t> buffer(TMTRand::SavedWords);
        a.SaveState(buffer.data());
        EXPECT_EQ(buffer.front(), 0x4D655477u);
        EXPECT_EQ(buffer.back(), 0x4D655477u);
        TMTRand b;
        b.LoadState(buffer.data());
        for (int i = 0; i < 2000; ++i)
            ASSERT_EQ(a.iRand32(), b.iRand32());
    }
}

TEST(MTRand, CopiesContinueOnTheirOwnState) {
    TMTRand a;
    for (int i = 0; i < 100; ++i)
        (void)a.iRand32();
    TMTRand b(a);
    TMTRand c;
    c = a;
    for (int i = 0; i < 1000; ++i) {
        const uint32_t v = a.iRand32();
        ASSERT_EQ(b.iRand32(), v);
        ASSERT_EQ(c.iRand32(), v);
    }
}

TEST(MTRand, RecalcSeedStartsANewBlockFromTheState) {
    TMTRand a, b;
    (void)a.iRand32();
    a.RecalcSeed();
    for (int i = 0; i < 624; ++i)
        (void)b.iRand32();
    EXPECT_EQ(a.iRand32(), b.iRand32());
    EXPECT_EQ(a.GetSeed()[0], b.GetSeed()[0]);
}

TEST(MTRand, RandomSeedComesFromTheClock) {
    TMTRand r;
    r.SetRandomSeed();
    const uint32_t first = r.GetSeed()[0];
    // The state after a block holds no trace of the seed, so check the stream instead: it is
    // the stream of one of the 397 possible seeds.
    const uint32_t v = r.iRand32();
    bool found = false;
    for (uint32_t seed = 0; seed < 397 && !found; ++seed) {
        TMTRand twin;
        twin.SetSeed(seed);
        found = twin.iRand32() == v && twin.GetSeed()[0] == first;
    }
    EXPECT_TRUE(found);
}

} // namespace
