// TFastBits: the table is the run of GetRandomBits words from a TLCGRand started at 0, and the
// counter hashes through it.
#include "General/Maths/FastBits.h"
#include "General/Maths/LCGRand.h"

#include <gtest/gtest.h>

namespace {

TEST(FastBits, TableIsTheLCGRunFromZero) {
    TFastBits bits;
    EXPECT_TRUE(TFastBits::Initialised);
    TLCGRand lcg(0);
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(TFastBits::Bits[i], lcg.GetRandomBits()) << "entry " << i;
}

TEST(FastBits, CounterHashesThroughTheTable) {
    TFastBits bits;
    bits.SetSeed(0x1FF);
    const uint32_t x = 0x200;
    EXPECT_EQ(bits.GetBits(), TFastBits::Bits[2] ^ TFastBits::Bits[0]);
    EXPECT_EQ(TFastBits::GetFastBits(0xABCD1234u), TFastBits::Bits[0x12] ^ TFastBits::Bits[0x34]);
    EXPECT_EQ(TFastBits::GetFastBits(x), TFastBits::GetFastBits(x | 0xFFFF0000u));
    const uint32_t next = TFastBits::GetFastBits(0x201);
    EXPECT_EQ(bits.GetRandom(1000), int(next % 1000u));
    EXPECT_EQ(bits.GetRandom(), float(double(TFastBits::GetFastBits(0x202)) / 4294967296.0));
}

} // namespace
