#include "General/Core/Error.h"

#include <gtest/gtest.h>

TEST(Error, ConversionFollowsTheFailureBit) {
    struct Case {
        long code;
        bool ok;
        uint32_t word;
    };
    constexpr Case kCases[] = {
        {0, true, 0},
        {1, true, 1},
        {0x10000, false, 0x10000},
        {0x30000, false, 0x30000},
        {0x30001, false, 0x30001},
        {0x30002, false, 0x30002},
        {0xFFFF, true, 0xFFFF},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.code);
        TError error(c.code);
        EXPECT_EQ(static_cast<bool>(error), c.ok);
        EXPECT_EQ(error.Unsuccessful(), c.word);
    }
}

TEST(Error, CheckErrorMasks) {
    TError error(0x30001);
    EXPECT_EQ(error.CheckError(ErrorBitFailure), 0x10000u);
    EXPECT_EQ(error.CheckError(ErrorBitCodeMask), 1u);
    EXPECT_EQ(TError(5).CheckError(ErrorBitFailure), 0u);
}
