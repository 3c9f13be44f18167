// TDate: the month walk, the weekday formula, carrying time into days and years, and the
// strftime-like Format with plain decimal fields.
#include "General/Platform/Date.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <string>

namespace {

constexpr __int64 kSecondsPerDay = 86400;
constexpr TTime kOneDay = TTime(kSecondsPerDay * 1000000);
constexpr int kMonthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
// The weekday offset of each month for the formula in GetWeekday.
constexpr int kMonthOffsets[12] = {0, 3, 3, 6, 1, 4, 6, 2, 5, 0, 3, 5};

bool IsLeap(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

} // namespace

const char *const TDate::Month[13] = {"",        "January",  "February", "March",  "April",
                                      "May",     "June",     "July",     "August", "September",
                                      "October", "November", "December"};
const char *const TDate::WeekDay[7] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                       "Thursday", "Friday", "Saturday"};

TDate TDate::Now() {
    TDate date;
    date.SetToNow();
    return date;
}

void TDate::SetToNow() {
    const std::time_t now = std::time(nullptr);
    std::tm parts;
    if (now == static_cast<std::time_t>(-1) || gmtime_r(&now, &parts) == nullptr) {
        *this = TDate();
        return;
    }
    time = TTime::MakeSecondsFromInt((parts.tm_hour * 60 + parts.tm_min) * 60 + parts.tm_sec);
    yearDay = parts.tm_yday;
    year = parts.tm_year + 1900;
}

bool TDate::IsLeapYear() const {
    return IsLeap(year);
}

int TDate::GetMonth(int *dayOfMonth) const {
    int day = yearDay;
    int month = 1;
    for (; month < 12; ++month) {
        const int length = kMonthDays[month - 1] + (month == 2 && IsLeapYear() ? 1 : 0);
        if (day < length)
            break;
        day -= length;
    }
    if (dayOfMonth != nullptr)
        *dayOfMonth = day + 1;
    return month;
}

int TDate::GetDay() const {
    int day = 0;
    (void)GetMonth(&day);
    return day;
}

int TDate::GetWeekday() const {
    int day = 0;
    const int month = GetMonth(&day);
    const int century = year / 100;
    const int yy = year % 100;
    int w = ((yy / 4 + yy) % 7) + kMonthOffsets[month - 1] + day;
    if (IsLeapYear() && month <= 2)
        w -= 1;
    return (w + 2 * ((39 - century) % 4)) % 7;
}

const char *TDate::GetMonthString() const {
    return Month[GetMonth()];
}

const char *TDate::GetWeekdayString() const {
    return WeekDay[GetWeekday()];
}

int TDate::GetHour() const {
    return static_cast<int>(std::floor(static_cast<double>(time.GetValue()) * 1e-6 / 3600.0));
}

int TDate::GetMinute() const {
    if (time <= TTime::Zero)
        return 0;
    const double intoHour = std::fmod(time.GetDoubleSeconds(), 3600.0);
    const TTime rest(static_cast<__int64>(intoHour * 1e6));
    return static_cast<int>(std::floor(static_cast<double>(rest.GetValue()) * 1e-6 / 60.0));
}

TTime TDate::GetSeconds() const {
    if (time <= TTime::Zero)
        return TTime::Zero;
    return time % TTime::MakeSecondsFromInt(60);
}

void TDate::RollYears() {
    for (;;) {
        const int length = IsLeapYear() ? 366 : 365;
        if (yearDay < length)
            break;
        yearDay -= length;
        ++year;
    }
}

void TDate::Add(float seconds) {
    const double total = time.GetDoubleSeconds() + static_cast<double>(seconds);
    if (total < static_cast<double>(kSecondsPerDay)) {
        time = TTime(static_cast<__int64>(total * 1e6));
        return;
    }
    const __int64 days = static_cast<__int64>(total) / kSecondsPerDay;
    time = TTime(static_cast<__int64>((total - static_cast<double>(days * kSecondsPerDay)) * 1e6));
    yearDay += static_cast<int32_t>(days);
    RollYears();
}

void TDate::Add(const TTime &t) {
    time += t;
    if (time < kOneDay)
        return;
    const TTime days = time / kOneDay; // a plain count in the raw field
    time -= days * kOneDay;
    yearDay += static_cast<int32_t>(days.GetValue());
    RollYears();
}

TDate TDate::Diff(TDate &other) const {
    const bool thisLater = *this > other;
    const TDate &later = thisLater ? *this : other;
    const TDate &earlier = thisLater ? other : *this;
    TDate result;
    result.year = later.year - earlier.year;
    result.yearDay = later.yearDay - earlier.yearDay;
    result.time = later.time - earlier.time;
    if (result.time < TTime::Zero) {
        result.time += kOneDay;
        result.yearDay -= 1;
    }
    if (result.yearDay < 0) {
        result.yearDay += 365; // also across leap years: a length, not a date
        result.year -= 1;
    }
    return result;
}

// %A weekday, %a its first three letters, %B month, %b its first three letters, %d day of the
// month, %m month number, %Y year, %y year modulo 100 (all plain decimal), %H hour, %M minute,
// %S whole seconds (two digits at least), %% a percent sign. Any other character behind a
// "%" gives nothing, and a "%" at the very end ends the text.
TDynamicString TDate::Format(const char *format) const {
    std::string out;
    char number[16];
    auto decimal = [&](const char *pattern, int value) {
        std::snprintf(number, sizeof number, pattern, value);
        out += number;
    };
    for (const char *p = format; p != nullptr && *p != '\0'; ++p) {
        if (*p != '%') {
            out += *p;
            continue;
        }
        ++p;
        switch (*p) {
        case '\0':
            return TDynamicString(out.c_str());
        case '%':
            out += '%';
            break;
        case 'A':
            out += GetWeekdayString();
            break;
        case 'a':
            out.append(GetWeekdayString(), 3);
            break;
        case 'B':
            out += GetMonthString();
            break;
        case 'b':
            out.append(GetMonthString(), 3);
            break;
        case 'd':
            decimal("%d", GetDay());
            break;
        case 'm':
            decimal("%d", GetMonth());
            break;
        case 'Y':
            decimal("%d", year);
            break;
        case 'y':
            decimal("%d", year % 100);
            break;
        case 'H':
            decimal("%.2d", GetHour());
            break;
        case 'M':
            decimal("%.2d", GetMinute());
            break;
        case 'S':
            decimal("%.2d", GetSeconds().GetIntSeconds());
            break;
        default:
            break;
        }
    }
    return TDynamicString(out.c_str());
}
