// TFastBits against the generator it is drawn from: its table is the run of GetRandomBits words
// of a TLCGRand started at 0.
#include "General/Maths/FastBits.h"
#include "General/Maths/LCGRand.h"

#include <gtest/gtest.h>

namespace {

TEST(FastBits, TableIsTheLCGRunFromZero) {
    TLCGRand lcg(0);
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(TFastBits::Bits[i], lcg.GetRandomBits()) << "entry " << i;
}

} // namespace
