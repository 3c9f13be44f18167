// TDate: the calendar walk and the weekday formula against the C library's own calendar,
// carrying across days and years, differences, and Format.
#include "General/Platform/Date.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

namespace {

TTime Clock(int h, int m, int s, int micro = 0) {
    return TTime(((__int64(h) * 60 + m) * 60 + s) * 1000000 + micro);
}

} // namespace

TEST(Date, KnownDays) {
    struct Case {
        int year;
        int day; // from 1
        int month;
        int dayOfMonth;
        int weekday;
    };
    constexpr Case kCases[] = {
        {2000, 1, 1, 1, 6}, {2000, 60, 2, 29, 2}, {2004, 366, 12, 31, 5}, {1900, 60, 3, 1, 4},
        {2100, 1, 1, 1, 5}, {2024, 61, 3, 1, 5},  {1999, 365, 12, 31, 5}, {2023, 365, 12, 31, 0},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.year * 1000 + c.day);
        const TDate date(TTime::Zero, c.year, c.day);
        int dayOfMonth = 0;
        EXPECT_EQ(date.GetMonth(&dayOfMonth), c.month);
        EXPECT_EQ(dayOfMonth, c.dayOfMonth);
        EXPECT_EQ(date.GetDay(), c.dayOfMonth);
        EXPECT_EQ(date.GetWeekday(), c.weekday);
    }
    const TDate leapDay(TTime::Zero, 2000, 60);
    EXPECT_EQ(leapDay.GetYearDay(), 59);
    EXPECT_STREQ(leapDay.GetMonthString(), "February");
    EXPECT_STREQ(leapDay.GetWeekdayString(), "Tuesday");
}

TEST(Date, CalendarAgreesWithTheCLibrary) {
    // Every 13th day from 1850 to 2150: month, day and weekday as gmtime has them.
    for (__int64 t = -3786825600LL; t < 5679331200LL; t += 13 * 86400) {
        const std::time_t when = static_cast<std::time_t>(t);
        std::tm parts;
        ASSERT_NE(gmtime_r(&when, &parts), nullptr);
        const TDate date(TTime::Zero, parts.tm_year + 1900, parts.tm_yday + 1);
        SCOPED_TRACE(t);
        int dayOfMonth = 0;
        ASSERT_EQ(date.GetMonth(&dayOfMonth), parts.tm_mon + 1);
        ASSERT_EQ(dayOfMonth, parts.tm_mday);
        ASSERT_EQ(date.GetWeekday(), parts.tm_wday);
        ASSERT_EQ(date.IsLeapYear(), parts.tm_year % 4 == 0 && ((parts.tm_year + 1900) % 100 != 0 ||
                                                                (parts.tm_year + 1900) % 400 == 0));
    }
}

TEST(Date, TimeOfDayParts) {
    struct Case {
        TTime time;
        int hour;
        int minute;
        __int64 secondsMicro;
    };
    const Case kCases[] = {
        {TTime::Zero, 0, 0, 0},
        {TTime(-1500000), -1, 0, 0}, // negative: the hour floors, minute and seconds are 0
        {Clock(13, 45, 30, 250000), 13, 45, 30250000},
        {Clock(23, 59, 59, 999999), 23, 59, 59999999},
        {Clock(0, 0, 59), 0, 0, 59000000},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.time.GetValue());
        const TDate date(c.time, 2010, 1);
        EXPECT_EQ(date.GetHour(), c.hour);
        EXPECT_EQ(date.GetMinute(), c.minute);
        EXPECT_EQ(date.GetSeconds().GetValue(), c.secondsMicro);
    }
    TDate date;
    date.SetSecondsToday(3661.5f);
    EXPECT_EQ(date.GetExactTimeToday().GetValue(), 3661500000LL);
    EXPECT_FLOAT_EQ(date.GetSecondsToday(), 3661.5f);
}

TEST(Date, AddCarriesIntoDaysAndYears) {
    TDate date(Clock(23, 59, 59, 500000), 1999, 365);
    date.Add(1.0f);
    EXPECT_EQ(date.GetYear(), 2000);
    EXPECT_EQ(date.GetYearDay(), 0);
    EXPECT_EQ(date.GetExactTimeToday().GetValue(), 500000);

    TDate leap(Clock(12, 0, 0), 2000, 366); // 31 December of a leap year
    leap.Add(TTime::MakeSecondsFromInt(12 * 3600));
    EXPECT_EQ(leap.GetYear(), 2001);
    EXPECT_EQ(leap.GetYearDay(), 0);
    EXPECT_EQ(leap.GetExactTimeToday(), TTime::Zero);

    TDate far(Clock(1, 0, 0), 2001, 1);
    far.Add(TTime::MakeSecondsFromInt(86400) * TTime(800)); // 800 days: past 2002 into 2003
    EXPECT_EQ(far.GetYear(), 2003);
    EXPECT_EQ(far.GetYearDay(), 800 - 365 - 365);
    EXPECT_EQ(far.GetExactTimeToday(), Clock(1, 0, 0));

    TDate small(Clock(10, 0, 0), 2001, 5);
    small.Add(-20.0f); // below a day: only the time changes
    EXPECT_EQ(small.GetExactTimeToday(), Clock(9, 59, 40));
    small.Add(TTime::MakeSecondsFromInt(-40000)); // negative results stay as they are
    EXPECT_EQ(small.GetYearDay(), 4);
    EXPECT_LT(small.GetExactTimeToday(), TTime::Zero);
}

TEST(Date, DiffIsALength) {
    TDate a(Clock(10, 0, 0), 2004, 10);
    TDate same = a;
    const TDate zero = a.Diff(same);
    EXPECT_EQ(zero.GetYear(), 0);
    EXPECT_EQ(zero.GetYearDay(), 0);
    EXPECT_EQ(zero.GetExactTimeToday(), TTime::Zero);

    TDate b(Clock(8, 0, 0), 2005, 5); // earlier in the day, earlier in the year, a year on
    const TDate d1 = a.Diff(b);
    const TDate d2 = b.Diff(a); // the same either way round
    for (const TDate &d : {d1, d2}) {
        EXPECT_EQ(d.GetExactTimeToday(), Clock(22, 0, 0));
        // 4 - 9 days and a day borrowed for the time give -6, plus 365 borrowed from the year.
        EXPECT_EQ(d.GetYearDay(), 359);
        EXPECT_EQ(d.GetYear(), 0);
    }
}

TEST(Date, Comparisons) {
    const TDate a(Clock(5, 0, 0), 2004, 100), b(Clock(6, 0, 0), 2004, 100),
        c(Clock(0, 0, 0), 2004, 101), d(Clock(0, 0, 0), 2005, 1);
    EXPECT_TRUE(a < b && b < c && c < d);
    EXPECT_TRUE(d > a && !(a > a) && !(a < a));
    EXPECT_TRUE(a == TDate(Clock(5, 0, 0), 2004, 100));
    EXPECT_TRUE(a != b);
}

TEST(Date, Format) {
    const TDate date(Clock(7, 5, 9, 900000), 2004, 60); // Sunday 29 February 2004
    struct Case {
        const char *format;
        const char *text;
    };
    constexpr Case kCases[] = {
        {"%A %a %B %b", "Sunday Sun February Feb"},
        {"%d/%m/%Y %y", "29/2/2004 4"},
        {"%H:%M:%S", "07:05:09"},
        {"100%% %q|", "100% |"},
        {"end %", "end "},
        {"", ""},
        {"plain", "plain"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.format);
        EXPECT_STREQ(date.Format(c.format).GetData(), c.text);
    }
}

TEST(Date, NowIsTheUtcCalendar) {
    const std::time_t before = std::time(nullptr);
    const TDate now = TDate::Now();
    const std::time_t after = std::time(nullptr);
    std::tm a, b;
    gmtime_r(&before, &a);
    gmtime_r(&after, &b);
    EXPECT_TRUE(now.GetYear() == a.tm_year + 1900 || now.GetYear() == b.tm_year + 1900);
    EXPECT_TRUE(now.GetYearDay() == a.tm_yday || now.GetYearDay() == b.tm_yday);
    const __int64 secondsA = (a.tm_hour * 60 + a.tm_min) * 60 + a.tm_sec;
    const __int64 secondsB = (b.tm_hour * 60 + b.tm_min) * 60 + b.tm_sec;
    const __int64 got = now.GetExactTimeToday().GetInt64Seconds();
    EXPECT_TRUE(got == secondsA || got == secondsB || (secondsB < secondsA && got < 2));
    EXPECT_EQ(now.GetExactTimeToday().GetValue() % 1000000, 0); // whole seconds
}
