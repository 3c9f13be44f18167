// TTime conversions and arithmetic, and the clocks: TTimer's rate and pause rules, the global
// timer and TStopWatch.
#include "General/Platform/Time.h"

#include <gtest/gtest.h>

#include <climits>

TEST(Time, ConstantsAndDefault) {
    EXPECT_EQ(TTime::Zero.GetValue(), 0);
    EXPECT_EQ(TTime::Max.GetValue(), LLONG_MAX);
    EXPECT_EQ(TTime().GetValue(), 0);
}

TEST(Time, WholeUnitsTruncateTowardsZero) {
    struct Case {
        __int64 micro;
        __int64 seconds;
        __int64 milli;
    };
    constexpr Case kCases[] = {
        {0, 0, 0},
        {999, 0, 0},
        {1000, 0, 1},
        {1999999, 1, 1999},
        {-1999999, -1, -1999},
        {-999, 0, 0},
        {86400LL * 1000000 * 30, 86400LL * 30, 86400LL * 30000},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.micro);
        TTime t(c.micro);
        EXPECT_EQ(t.GetInt64Seconds(), c.seconds);
        EXPECT_EQ(t.GetInt64MilliSeconds(), c.milli);
        EXPECT_EQ(t.GetIntSeconds(), static_cast<int>(c.seconds));
        EXPECT_EQ(t.GetIntMilliSeconds(), static_cast<int>(c.milli));
    }
}

TEST(Time, SettersScaleWithoutOverflowingInt) {
    TTime t;
    t.SetIntSeconds(3000); // 3e9 microseconds: past the 32-bit range
    EXPECT_EQ(t.GetValue(), 3000000000LL);
    t.SetIntMilliSeconds(-5000000);
    EXPECT_EQ(t.GetValue(), -5000000000LL);
    t.SetInt64Seconds(-2);
    EXPECT_EQ(t.GetValue(), -2000000);
    t.SetInt64MilliSeconds(7);
    EXPECT_EQ(t.GetValue(), 7000);
    EXPECT_EQ(TTime::MakeSecondsFromInt(2500).GetValue(), 2500000000LL);
    EXPECT_EQ(TTime::MakeMilliSecondsFromInt(-3).GetValue(), -3000);
    EXPECT_EQ(TTime::MakeMicroSecondsFromInt64(1LL << 40).GetValue(), 1LL << 40);
}

TEST(Time, IntMicroSecondsAreTheLowWordSignExtended) {
    TTime t(0x100000005LL);
    EXPECT_EQ(t.GetIntMicroSeconds(), 5);
    t.SetValue(0xFFFFFFFFLL);
    EXPECT_EQ(t.GetIntMicroSeconds(), -1);
    t.SetIntMicroSeconds(-7);
    EXPECT_EQ(t.GetInt64MicroSeconds(), -7);
    t.SetInt64MicroSeconds(42);
    EXPECT_EQ(t.GetValue(), 42);
}

TEST(Time, FloatSecondsTruncateTowardsZero) {
    struct Case {
        float seconds;
        __int64 micro;
    };
    constexpr Case kCases[] = {
        {1.5f, 1500000},          {-1.5f, -1500000}, {0.0000015f, 1}, // 1.5 microseconds
        {-0.0000015f, -1},        {0.1f, 100000}, // 0.1f is 0.100000001490116..., so 100000.0014...
        {3600.25f, 3600250000LL},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.seconds);
        EXPECT_EQ(TTime::MakeSecondsFromFloat(c.seconds).GetValue(), c.micro);
        TTime t;
        t.SetFloatSeconds(c.seconds);
        EXPECT_EQ(t.GetValue(), c.micro);
    }
    EXPECT_FLOAT_EQ(TTime(2500000).GetFloatSeconds(), 2.5f);
    EXPECT_DOUBLE_EQ(TTime(-1).GetDoubleSeconds(), -1e-6);
}

TEST(Time, OperatorsWorkOnTheRawCount) {
    const TTime a(7000000), b(2000000);
    EXPECT_EQ((a + b).GetValue(), 9000000);
    EXPECT_EQ((a - b).GetValue(), 5000000);
    EXPECT_EQ((-a).GetValue(), -7000000);
    // A time divided by a time is a plain count in the raw field, not a ratio of durations
    // with units.
    EXPECT_EQ((a / TTime(2)).GetValue(), 3500000);
    EXPECT_EQ((a / b).GetValue(), 3);
    EXPECT_EQ((a % b).GetValue(), 1000000);
    EXPECT_EQ((a * TTime(3)).GetValue(), 21000000);

    TTime c = a;
    c += b;
    c -= TTime(1);
    c *= TTime(2);
    c /= TTime(3);
    c %= TTime(1000);
    EXPECT_EQ(c.GetValue(), (((7000000 + 2000000 - 1) * 2) / 3) % 1000);

    EXPECT_TRUE(b < a && b <= a && a > b && a >= b && a != b && !(a == b));
    EXPECT_TRUE(a <= a && a >= a && a == TTime(7000000));
}

TEST(Time, DoubleScalingTruncates) {
    const TTime t(1000);
    EXPECT_EQ((t * 1.0015).GetValue(), 1001);
    EXPECT_EQ((t * -1.0015).GetValue(), -1001);
    EXPECT_EQ((t / 3.0).GetValue(), 333);
    EXPECT_EQ((t * 2).GetValue(), 2000); // an int scales through the double overload

    TTime u(10);
    const TTime r = (u *= 0.55);
    EXPECT_EQ(u.GetValue(), 5);
    EXPECT_EQ(r.GetValue(), 5);
    EXPECT_EQ((u /= 2.0).GetValue(), 2);
}
