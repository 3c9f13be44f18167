// TTime conversions and arithmetic, and the clocks: TTimer's rate and pause rules, the global
// timer and TStopWatch.
#include "General/Platform/Time.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <thread>

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

namespace {

// A source that hands out exactly what the test puts into it.
class TManualSource : public TTimerSource {
public:
    explicit TManualSource(int *resets) : m_Resets(resets) {}
    void Reset() override {
        m_Pending = 0;
        ++*m_Resets;
    }
    void GetElapsed(TTime &out) override {
        out = TTime(m_Pending);
        m_Pending = 0;
    }
    void Pass(__int64 micro) { m_Pending += micro; }

private:
    __int64 m_Pending = 0;
    int *m_Resets; // not owned
};

struct ManualTimer {
    int resets = 0;
    TManualSource *source = new TManualSource(&resets); // owned by the timer
    TTimer timer{source};
};

} // namespace

TEST(Timer, RateAppliesOnlyFromTheChangeOn) {
    ManualTimer m;
    m.source->Pass(1000);
    EXPECT_EQ(m.timer.GetTime().GetValue(), 1000);
    m.source->Pass(500);
    m.timer.SetRate(2.0f); // the 500 before the change count at rate 1
    EXPECT_FLOAT_EQ(m.timer.GetRate(), 2.0f);
    m.source->Pass(1000);
    EXPECT_EQ(m.timer.GetTime().GetValue(), 1000 + 500 + 2000);
    m.timer.SetRate(0.5f);
    m.source->Pass(3);
    EXPECT_EQ(m.timer.GetTime().GetValue(), 3500 + 1); // 1.5 truncated
}

TEST(Timer, PauseStopsTheClockAndUnpauseDropsThePausedSpan) {
    ManualTimer m;
    m.source->Pass(700);
    m.timer.Pause();
    EXPECT_TRUE(m.timer.Paused());
    m.source->Pass(300);
    m.timer.Pause(); // a second pause must not bring the clock up to date
    EXPECT_EQ(m.timer.GetTime().GetValue(), 700);
    m.timer.SetRate(3.0f); // paused: only stores the rate
    EXPECT_EQ(m.timer.GetTime().GetValue(), 700);
    m.timer.AddTime(TTime(50)); // moves a paused clock too
    EXPECT_EQ(m.timer.GetTime().GetValue(), 750);
    m.timer.Unpause();
    EXPECT_FALSE(m.timer.Paused());
    m.source->Pass(10);
    // Scaled time goes through seconds and back in double precision and is truncated:
    // 10 * 3 * 1e-6 * 1e6 is 29.999..., so 29.
    EXPECT_EQ(m.timer.GetTime().GetValue(), 750 + 29);
}

TEST(Timer, SetTimeForgetsRealTimeBeforeIt) {
    ManualTimer m;
    m.source->Pass(400);
    const int resetsBefore = m.resets;
    m.timer.SetTime(TTime(-5));
    EXPECT_EQ(m.resets, resetsBefore + 1);
    EXPECT_EQ(m.timer.GetTime().GetValue(), -5);
    m.source->Pass(5);
    EXPECT_EQ(m.timer.GetTime().GetValue(), 0);
}

TEST(Timer, CopyTakesTheStateAndAFreshSourceOfItsOwn) {
    ManualTimer m;
    m.timer.SetRate(0.25f);
    m.source->Pass(4000);
    (void)m.timer.GetTime(); // 1000
    m.timer.Pause();
    TTimer copy(m.timer);
    EXPECT_TRUE(copy.Paused());
    EXPECT_FLOAT_EQ(copy.GetRate(), 0.25f);
    EXPECT_EQ(copy.GetTime().GetValue(), 1000);
    // The copy runs on real time: unpaused, it moves by itself while the original stays put.
    copy.SetRate(1.0f);
    copy.Unpause();
    const TTime start = copy.GetTime();
    TTime now = start;
    for (int i = 0; i < 1000000 && now == start; ++i)
        now = copy.GetTime();
    EXPECT_GT(now, start);
    EXPECT_EQ(m.timer.GetTime().GetValue(), 1000);

    TTimer assigned;
    assigned = m.timer;
    EXPECT_TRUE(assigned.Paused());
    EXPECT_EQ(assigned.GetTime().GetValue(), 1000);
}

TEST(Timer, PerformanceSourceLosesNothingWhenPolledFast) {
    // Thousands of calls less than a microsecond apart: a source that dropped the part of a
    // microsecond at each call would lose about a millisecond over 2000 calls. A pre-emption
    // between the clock reads can spoil one attempt on a loaded machine, so one of five must
    // come out right.
    auto attempt = [] {
        const auto begin = std::chrono::steady_clock::now();
        TTimerSourcePerformance source;
        __int64 sum = 0;
        int calls = 0;
        for (bool last = false; !last; ++calls) {
            last = std::chrono::steady_clock::now() - begin >= std::chrono::milliseconds(3) &&
                   calls >= 2000;
            TTime elapsed;
            source.GetElapsed(elapsed);
            if (elapsed < TTime::Zero)
                return false;
            sum += elapsed.GetValue();
        }
        const auto wall = std::chrono::duration_cast<std::chrono::microseconds>(
                              std::chrono::steady_clock::now() - begin)
                              .count();
        return sum >= 3000 - 100 && sum <= wall + 1;
    };
    bool ok = false;
    for (int i = 0; i < 5 && !ok; ++i)
        ok = attempt();
    EXPECT_TRUE(ok);
}

TEST(Timer, TickSourceCountsMilliseconds) {
    TTimerSourceTicks source;
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    TTime elapsed;
    source.GetElapsed(elapsed);
    EXPECT_EQ(elapsed.GetValue() % 1000, 0);
    EXPECT_GE(elapsed.GetValue(), 20000); // the coarse clock ticks every few milliseconds
    EXPECT_LT(elapsed.GetValue(), 5000000);
}

TEST(Timer, GlobalTimeIsOneRunningClock) {
    EXPECT_EQ(&GetGlobalTime(), &NotInlinedSingletonTTimer());
    TTimer &timer = GetGlobalTime();
    EXPECT_FALSE(timer.Paused());
    EXPECT_FLOAT_EQ(timer.GetRate(), 1.0f);
    const TTime a = GetTimeNow();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const TTime b = GetTimeNow();
    EXPECT_GE((b - a).GetValue(), 2000);
}

namespace {

// Stops the global clock for a test, so stopwatch spans are set by hand with AddTime.
class StopWatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        GetGlobalTime().Pause();
        GetGlobalTime().SetTime(TTime(1000000));
    }
    void TearDown() override { GetGlobalTime().Unpause(); }
    static void Pass(__int64 micro) { GetGlobalTime().AddTime(TTime(micro)); }
};

} // namespace

TEST_F(StopWatchTest, StopLeavesTheWatchRunning) {
    TStopWatch watch;
    watch.Start();
    Pass(250);
    EXPECT_EQ(watch.Stop().GetValue(), 250);
    Pass(100);
    EXPECT_EQ(watch.Stop().GetValue(), 350);
}

TEST_F(StopWatchTest, PauseBanksTheSpan) {
    TStopWatch watch;
    watch.Start();
    Pass(300);
    watch.Pause();
    Pass(1000); // not counted
    EXPECT_EQ(watch.Stop().GetValue(), 300);
    // Stop unpaused the watch without restarting the span, which still began at Start.
    Pass(10);
    EXPECT_EQ(watch.Stop().GetValue(), 300 + 1310);

    watch.Start();
    Pass(40);
    watch.Pause();
    Pass(500);
    watch.UnPause();
    Pass(60);
    EXPECT_EQ(watch.Stop().GetValue(), 100);
}

TEST_F(StopWatchTest, StopStartKeepsWhatWasAccumulated) {
    TStopWatch watch;
    watch.Start();
    Pass(300);
    watch.Pause();
    Pass(1000);
    EXPECT_EQ(watch.StopStart().GetValue(), 300);
    Pass(200);
    EXPECT_EQ(watch.Stop().GetValue(), 200 + 300); // the accumulated 300 counts again
    EXPECT_EQ(watch.StopStart().GetValue(), 500);
    Pass(5);
    EXPECT_EQ(watch.StopStart().GetValue(), 305);
}

TEST_F(StopWatchTest, FollowsTheGlobalRate) {
    GetGlobalTime().Unpause();
    GetGlobalTime().Pause(); // fresh mark: the rate below decides nothing retroactively
    GetGlobalTime().SetRate(0.5f);
    TStopWatch watch;
    watch.Start();
    Pass(100);
    EXPECT_EQ(watch.Stop().GetValue(), 100); // AddTime is not scaled
    GetGlobalTime().SetRate(1.0f);
}

TEST(TimeStamp, DifferencesAreZero) {
    TTimeStamp stamp;
    stamp.Start();
    EXPECT_EQ(TTimeStamp::GetTimeStamp(), 0u);
    EXPECT_EQ(stamp.Stop(), 0u);
    EXPECT_EQ(stamp.StopStart(), 0u);
}
