// The table arctangent: its tables, the special directions, and agreement with atan2 all round.
#include "General/Maths/FastAtan.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

constexpr float kPi = 3.1415927f;

TEST(FastAtan, Tables) {
    EXPECT_EQ(TFastAtan::Atan(0), 0.0f);
    EXPECT_FLOAT_EQ(TFastAtan::Atan(1024), kPi / 4);
    EXPECT_EQ(TFastAtan::AtanO8(1024), 0.125f);
    EXPECT_FLOAT_EQ(TFastAtan::Atan(512), std::atan(0.5f));
}

TEST(FastAtan, SpecialDirections) {
    struct Case {
        float y, x, angle;
    };
    const Case kCases[] = {
        {1, 0, kPi / 2},   {0, 1, 0},       {0, -1, kPi},         {0, 0, kPi},
        {-1, 0, -kPi / 2}, {1, 1, kPi / 4}, {1, -1, 3 * kPi / 4}, {-1, -1, -3 * kPi / 4},
        {-2, 2, -kPi / 4},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(::testing::Message() << c.y << "," << c.x);
        EXPECT_EQ(TFastAtan::Atan2(c.y, c.x), c.angle);
    }
}

TEST(FastAtan, AgreesWithAtan2AllRound) {
    for (int deg = -179; deg < 180; deg += 3) {
        SCOPED_TRACE(deg);
        const double a = deg * 3.14159265358979 / 180.0;
        const float y = float(std::sin(a) * 3.0), x = float(std::cos(a) * 3.0);
        EXPECT_NEAR(TFastAtan::Atan2(y, x), std::atan2(y, x), 1e-6f);
    }
}

} // namespace
