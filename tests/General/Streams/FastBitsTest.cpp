#include "General/Maths/FastBits.h"

#include <gtest/gtest.h>

TEST(FastBits, TableComesFromTheCongruentialStep) {
    // Entry 0 by hand: the step from 0 gives 150889, 560608, 96857, 593286, whose bytes
    // ((v >> 8) ^ v) & 255 are 0x24, 0x6D, 0x23, 0x8B, low byte first.
    EXPECT_EQ(TFastBits::Bits[0], 0x8B236D24u);
    EXPECT_EQ(TFastBits::Bits[1], 0xC233B113u);
    EXPECT_EQ(TFastBits::Bits[2], 0x01817308u);
    EXPECT_EQ(TFastBits::Bits[255], 0x4496A5DEu);
}

TEST(FastBits, HashesTheLowSixteenBitsOfACounter) {
    EXPECT_EQ(TFastBits::GetFastBits(0x12345678u), TFastBits::Bits[0x56] ^ TFastBits::Bits[0x78]);
    EXPECT_EQ(TFastBits::GetFastBits(0xFFFF0102u), TFastBits::GetFastBits(0x0102u));
    TFastBits bits;
    bits.SetSeed(41);
    EXPECT_EQ(bits.GetBits(), TFastBits::GetFastBits(42));
    EXPECT_EQ(bits.GetBits(), TFastBits::GetFastBits(43));
    const float f = bits.GetRandom();
    EXPECT_GE(f, 0.0f);
    EXPECT_LE(f, 1.0f);
    EXPECT_LT(bits.GetRandom(10), 10);
}
