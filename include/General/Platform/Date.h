// A calendar date and time of day in UTC, for stamps in logs and reports: the year, the day
// within it and the time since midnight. Differences of dates are lengths, not dates.
#pragma once

#include <cstdint>

#include "General/Core/Export.h"
#include "General/Core/StringInt.h"
#include "General/Platform/Time.h"

/// A UTC date: `year`, `yearDay` from 0 for 1 January, and `time` since midnight.
class VLIB_API TDate {
public:
    /// "" then "January" to "December".
    static const char *const Month[13];
    /// "Sunday" to "Saturday".
    static const char *const WeekDay[7];

    TDate() : time(TTime::Zero), yearDay(0), year(0) {}
    /// `day` counts from 1.
    TDate(const TTime &timeOfDay, int year, int day)
        : time(timeOfDay), yearDay(day - 1), year(year) {}

    /// The present moment in UTC; all zero if the system clock cannot be read.
    static TDate Now();
    void SetToNow();

    int GetYear() const { return year; }
    int GetYearDay() const { return yearDay; }
    float GetSecondsToday() const { return time.GetFloatSeconds(); }
    void SetSecondsToday(float seconds) { time.SetFloatSeconds(seconds); }
    TTime GetExactTimeToday() const { return time; }

    /// Gregorian: a multiple of 4, and not of 100 unless of 400.
    bool IsLeapYear() const;
    /// The month, 1 to 12; `dayOfMonth`, if not null, gets the day of the month from 1.
    int GetMonth(int *dayOfMonth = nullptr) const;
    int GetDay() const;
    /// 0 is Sunday.
    int GetWeekday() const;
    const char *GetMonthString() const;
    const char *GetWeekdayString() const;

    int GetHour() const;
    /// 0 at midnight and for a time below 0.
    int GetMinute() const;
    /// The seconds into the minute, fractions kept; zero for a time of 0 or below.
    TTime GetSeconds() const;

    /// Moves the date on, across days and years.
    void Add(float seconds);
    void Add(const TTime &t);
    /// The length from the earlier of the two dates to the later, field by field.
    TDate Diff(TDate &other) const;

    /// Replaces %A %a %B %b %d %m %Y %y %H %M %S and %% (see Date.cpp); other text is copied.
    TDynamicString Format(const char *format) const;

    bool operator==(const TDate &o) const {
        return year == o.year && yearDay == o.yearDay && time == o.time;
    }
    bool operator!=(const TDate &o) const { return !(*this == o); }
    bool operator<(const TDate &o) const {
        if (year != o.year)
            return year < o.year;
        if (yearDay != o.yearDay)
            return yearDay < o.yearDay;
        return time < o.time;
    }
    bool operator>(const TDate &o) const { return o < *this; }

private:
    void RollYears();

    TTime time;
    int32_t yearDay;
    int32_t year;
};
