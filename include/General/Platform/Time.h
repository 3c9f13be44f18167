// Durations and instants as whole microseconds, and the clocks that produce them. All time
// arithmetic is integer arithmetic on the 64-bit count; floats appear only where a caller asks
// for seconds. The process clock is the TTimer behind GetGlobalTime.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/LibAllocator.h"
#include "General/Platform/PlatformConfig.h"

/// A signed 64-bit count of microseconds: a duration, or an instant on some clock.
class TTime {
public:
    static const TTime Zero;
    static const TTime Max;

    constexpr TTime() : m_Value(0) {}
    constexpr explicit TTime(__int64 microSeconds) : m_Value(microSeconds) {}

    // Raw access to the count.
    constexpr __int64 GetValue() const { return m_Value; }
    constexpr void SetValue(__int64 value) { m_Value = value; }
    constexpr __int64 GetInt64MicroSeconds() const { return m_Value; }
    constexpr void SetInt64MicroSeconds(__int64 value) { m_Value = value; }
    /// The low 32 bits of the count.
    constexpr int GetIntMicroSeconds() const { return static_cast<int>(m_Value); }
    /// Sign-extends `value` into the count.
    constexpr void SetIntMicroSeconds(int value) { m_Value = value; }
    static constexpr TTime MakeMicroSecondsFromInt64(__int64 value) { return TTime(value); }

    // Seconds and milliseconds: multiplication on the way in, truncating division on the way
    // out.
    constexpr __int64 GetInt64Seconds() const { return m_Value / kPerSecond; }
    constexpr void SetInt64Seconds(__int64 seconds) { m_Value = seconds * kPerSecond; }
    constexpr int GetIntSeconds() const { return static_cast<int>(m_Value / kPerSecond); }
    constexpr void SetIntSeconds(int seconds) { m_Value = __int64(seconds) * kPerSecond; }
    static constexpr TTime MakeSecondsFromInt(int seconds) {
        return TTime(__int64(seconds) * kPerSecond);
    }
    constexpr __int64 GetInt64MilliSeconds() const { return m_Value / kPerMilliSecond; }
    constexpr void SetInt64MilliSeconds(__int64 ms) { m_Value = ms * kPerMilliSecond; }
    constexpr int GetIntMilliSeconds() const { return static_cast<int>(m_Value / kPerMilliSecond); }
    constexpr void SetIntMilliSeconds(int ms) { m_Value = __int64(ms) * kPerMilliSecond; }
    static constexpr TTime MakeMilliSecondsFromInt(int ms) {
        return TTime(__int64(ms) * kPerMilliSecond);
    }

    // Floating seconds, only at the edges.
    constexpr float GetFloatSeconds() const { return static_cast<float>(m_Value) * 1e-6f; }
    constexpr double GetDoubleSeconds() const { return static_cast<double>(m_Value) * 1e-6; }
    /// The seconds times 1e6 in double precision, truncated towards zero.
    constexpr void SetFloatSeconds(float seconds) {
        m_Value = static_cast<__int64>(static_cast<double>(seconds) * 1e6);
    }
    static constexpr TTime MakeSecondsFromFloat(float seconds) {
        TTime t;
        t.SetFloatSeconds(seconds);
        return t;
    }

    // Arithmetic on the raw counts: `*`, `/` and `%` take the right side as a plain number.
    constexpr TTime operator+(TTime r) const { return TTime(m_Value + r.m_Value); }
    constexpr TTime operator-(TTime r) const { return TTime(m_Value - r.m_Value); }
    constexpr TTime operator*(TTime r) const { return TTime(m_Value * r.m_Value); }
    constexpr TTime operator/(TTime r) const { return TTime(m_Value / r.m_Value); }
    constexpr TTime operator%(TTime r) const { return TTime(m_Value % r.m_Value); }
    constexpr TTime operator-() const { return TTime(-m_Value); }
    constexpr TTime &operator+=(TTime r) { return m_Value += r.m_Value, *this; }
    constexpr TTime &operator-=(TTime r) { return m_Value -= r.m_Value, *this; }
    constexpr TTime &operator*=(TTime r) { return m_Value *= r.m_Value, *this; }
    constexpr TTime &operator/=(TTime r) { return m_Value /= r.m_Value, *this; }
    constexpr TTime &operator%=(TTime r) { return m_Value %= r.m_Value, *this; }

    // Scaling by a double: the count in floating point, truncated back.
    constexpr TTime operator*(double f) const { return TTime(Truncate(AsDouble() * f)); }
    constexpr TTime operator/(double f) const { return TTime(Truncate(AsDouble() / f)); }
    constexpr TTime operator*=(double f) { return m_Value = Truncate(AsDouble() * f), *this; }
    constexpr TTime operator/=(double f) { return m_Value = Truncate(AsDouble() / f), *this; }

    constexpr bool operator==(TTime r) const { return m_Value == r.m_Value; }
    constexpr bool operator!=(TTime r) const { return m_Value != r.m_Value; }
    constexpr bool operator<(TTime r) const { return m_Value < r.m_Value; }
    constexpr bool operator<=(TTime r) const { return m_Value <= r.m_Value; }
    constexpr bool operator>(TTime r) const { return m_Value > r.m_Value; }
    constexpr bool operator>=(TTime r) const { return m_Value >= r.m_Value; }

private:
    static constexpr __int64 kPerSecond = 1000000;
    static constexpr __int64 kPerMilliSecond = 1000;
    constexpr double AsDouble() const { return static_cast<double>(m_Value); }
    static constexpr __int64 Truncate(double value) { return static_cast<__int64>(value); }

    __int64 m_Value;
};

inline constexpr TTime TTime::Zero = TTime(0);
inline constexpr TTime TTime::Max = TTime(0x7FFFFFFFFFFFFFFFLL);

static_assert(sizeof(TTime) == 8);

/// Says how much real time has passed; the source of a TTimer.
class VLIB_API TTimerSource : public TBaseAllocator {
public:
    virtual ~TTimerSource();
    /// Moves the mark to now.
    virtual void Reset() = 0;
    /// The real time since the mark, which moves up by what is returned.
    virtual void GetElapsed(TTime &out) = 0;
};

/// The monotonic clock at nanosecond resolution. Only whole microseconds are handed out; the
/// remainder stays behind the mark, so a clock polled in a tight loop still advances.
class VLIB_API TTimerSourcePerformance : public TTimerSource {
public:
    TTimerSourcePerformance();
    ~TTimerSourcePerformance() override;
    void Reset() override;
    void GetElapsed(TTime &out) override;

private:
    __int64 m_Last; // counter at the mark, in nanoseconds
};

/// A 32-bit millisecond tick; the fallback when the monotonic clock cannot be read.
class VLIB_API TTimerSourceTicks : public TTimerSource {
public:
    TTimerSourceTicks();
    ~TTimerSourceTicks() override;
    void Reset() override;
    /// The tick difference taken as a signed 32-bit value, so a wrapped tick still counts.
    void GetElapsed(TTime &out) override;

private:
    uint32_t m_Last;
};

/// A clock that runs at a chosen rate and can be paused. GetTime moves the source's mark, so
/// a timer belongs to one thread at a time; a thread that needs a clock of its own makes its
/// own TTimer.
class VLIB_API TTimer : public TBaseAllocator {
public:
    /// Starts at zero, at rate 1.0, running.
    TTimer();
    /// As the default, over the given source (owned), for clocks that do not run on real
    /// time.
    explicit TTimer(TTimerSource *ownedSource);
    /// Copies the state; the copy gets a new source of its own, reset now.
    TTimer(const TTimer &other);
    TTimer &operator=(const TTimer &other);
    ~TTimer();

    /// Brings the clock up to date and returns it. The common case, running at rate 1.0, is
    /// inline: one call to the source and an integer add.
    TTime GetTime() {
        if (!paused) {
            if (rate == 1.0f && source != nullptr) {
                TTime elapsed;
                source->GetElapsed(elapsed);
                time += elapsed;
            } else {
                Advance();
            }
        }
        return time;
    }
    /// Sets the clock; no real time from before the call is added later.
    void SetTime(TTime t);
    void AddTime(TTime t) { time += t; }
    /// Changes the rate from now on; time already passed counts at the old rate.
    void SetRate(float r);
    float GetRate() const { return rate; }
    void Pause();
    /// Runs again; the time spent paused never reaches the clock.
    void Unpause();
    bool Paused() const { return paused; }

private:
    void Advance();

    bool paused;
    float rate;
    TTime time;
    TTimerSource *source; // owned; null only if its allocation failed
};

/// Holds the process's one TTimer; not inlined so every module sees this library's.
VLIB_API VLIB_NOINLINE TTimer &NotInlinedSingletonTTimer();

/// The process clock: zero when first asked for, rate 1.0. It belongs to the main thread.
inline TTimer &GetGlobalTime() {
    static TTimer &rObject = NotInlinedSingletonTTimer();
    return rObject;
}

/// GetGlobalTime().GetTime().
inline TTime GetTimeNow() {
    return GetGlobalTime().GetTime();
}

/// Measures spans on the global clock, so it follows that clock's rate and pauses.
class VLIB_API TStopWatch {
public:
    /// Sets only `paused`: call Start before the first Stop.
    TStopWatch() : paused(false) {}

    /// Starts afresh: nothing accumulated, running.
    void Start();
    /// The time measured; a paused watch answers what it accumulated and runs again.
    TTime Stop();
    /// As Stop, and restarts the span at now; what was accumulated stays.
    TTime StopStart();
    /// Banks the span so far and stops counting.
    void Pause();
    void UnPause();

private:
    TTime start;
    TTime accumulated;
    bool paused;
};

/// A 32-bit stamp whose differences are always zero: GetTimeStamp answers 0.
class VLIB_API TTimeStamp {
public:
    TTimeStamp() : m_Stamp(0) {}
    void Start() { m_Stamp = GetTimeStamp(); }
    uint32_t Stop() const { return GetTimeStamp() - m_Stamp; }
    uint32_t StopStart() {
        const uint32_t now = GetTimeStamp();
        const uint32_t span = now - m_Stamp;
        m_Stamp = now;
        return span;
    }
    static uint32_t GetTimeStamp() { return 0; }

private:
    uint32_t m_Stamp;
};
