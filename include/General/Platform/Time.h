// Durations and instants as whole microseconds, and the clocks that produce them. All time
// arithmetic is integer arithmetic on the 64-bit count; floats appear only where a caller asks
// for seconds. The process clock is the TTimer behind GetGlobalTime.
#pragma once

#include "General/Core/Export.h"
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
