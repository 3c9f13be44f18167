// File time stamps: one 64-bit count of 100-nanosecond units since 1 January 1601, UTC, the
// unit and epoch that resource files, pack directories and compiled-resource headers store.
// Conversions to and from the calendar are our own and need no system call.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/StringInt.h"

class TAsciiInFilter;
class TAsciiOutFilter;
class TBinaryInFilter;
class TBinaryOutFilter;

/// The two 32-bit halves of a file time, low word first, as stored on disk.
struct FILETIME {
    uint32_t dwLowDateTime;
    uint32_t dwHighDateTime;
};

/// A file time: 100 ns units since 1601-01-01 UTC. A new one is 0, the oldest time.
class VLIB_API TFileTime {
public:
    /// 100 ns units between 1601-01-01 and the Unix epoch 1970-01-01.
    static constexpr uint64_t kUnixEpoch = 116444736000000000ULL;
    static constexpr uint64_t kUnitsPerSecond = 10000000ULL;
    static constexpr uint64_t kUnitsPerMilliSecond = 10000ULL;

    constexpr TFileTime() = default;
    constexpr TFileTime(const FILETIME &time)
        : m_Low(time.dwLowDateTime), m_High(time.dwHighDateTime) {}

    void SetFileTime(const FILETIME &time) {
        m_Low = time.dwLowDateTime;
        m_High = time.dwHighDateTime;
    }
    void GetFileTime(FILETIME &time) const {
        time.dwLowDateTime = m_Low;
        time.dwHighDateTime = m_High;
    }
    /// The whole count.
    constexpr uint64_t GetValue() const { return (uint64_t(m_High) << 32) | m_Low; }
    void SetValue(uint64_t value) {
        m_Low = static_cast<uint32_t>(value);
        m_High = static_cast<uint32_t>(value >> 32);
    }

    TFileTime &SetToOldest() {
        SetValue(0);
        return *this;
    }
    TFileTime &SetToNewest() {
        SetValue(~uint64_t(0));
        return *this;
    }
    bool operator==(const TFileTime &other) const { return GetValue() == other.GetValue(); }
    bool operator!=(const TFileTime &other) const { return GetValue() != other.GetValue(); }
    bool IsZero() const { return GetValue() == 0; }

    /// True when this time is later than `other` by more than `ms` milliseconds.
    bool IsNewerThan(const TFileTime &other, unsigned int ms) const;
    /// True when the two times differ by at most `ms` milliseconds, the bound included.
    bool IsEqual(const TFileTime &other, unsigned int ms) const;

    /// The present time, in UTC, to the millisecond.
    static TFileTime Now();
    /// The time from seconds and nanoseconds since the Unix epoch (a `struct timespec`).
    static TFileTime FromUnix(long long seconds, long nanoSeconds);
    /// The time as seconds and nanoseconds since the Unix epoch; false when it does not fit.
    bool ToUnix(long long &seconds, long &nanoSeconds) const;

    /// "YYYY-MM-DD hh:mm:ss.mmm" in UTC; "**Could not calculate FileTimeToSystemTime**" for a
    /// time beyond the calendar (the top bit set). `ok`, if given, says which.
    TDynamicString GetTimeString(bool *ok = nullptr) const;
    /// "on D/M/YYYY at hh:mm:ss" in local time. False, with `out` untouched, when the time
    /// cannot be converted.
    bool GetBuildTimeAsciiString(TDynamicString &out) const;

    /// The 8 bytes of the value, low word first, each little-endian.
    void WriteBinary(TBinaryOutFilter &out) const;
    /// Reads the 8 bytes; a short read leaves the time as it was.
    void ReadBinary(TBinaryInFilter &in);
    /// "year month day at hour minute second millisecond" and a line feed, in UTC. Tenths of
    /// microseconds are not written. Fields that make no valid date leave the time as it was.
    void WriteAscii(TAsciiOutFilter &out) const;
    void ReadAscii(TAsciiInFilter &in);

private:
    uint32_t m_Low = 0;
    uint32_t m_High = 0;
};

namespace vlib {

/// A calendar time in UTC, the fields of a Win32 SYSTEMTIME.
struct TCalendarTime {
    int year, month, day, dayOfWeek, hour, minute, second, milliSecond;
};

/// Splits a file time into calendar fields; false when the top bit is set, as the original
/// conversion refused such times.
VLIB_API bool FileTimeToCalendar(uint64_t value, TCalendarTime &out);
/// Joins calendar fields (the day of the week is ignored) into a file time; false for fields
/// out of range (years 1601 to 30827).
VLIB_API bool CalendarToFileTime(const TCalendarTime &time, uint64_t &out);

} // namespace vlib
