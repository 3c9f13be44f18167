// File times: comparison with a tolerance, the calendar conversions (proleptic Gregorian,
// UTC, from 1601) and the text forms. The present time and local time are in
// Posix/FileSystem.cpp.
#include "General/Streams/FileTime.h"

#include <limits>

#include "General/Streams/AsciiFilter.h"
#include "General/Streams/BinaryFilter.h"

namespace {

constexpr long long kDaysFrom1601To1970 = 134774;
constexpr uint64_t kMaxCalendarValue = 0x7FFFFFFFFFFFFFFFULL;

/// Days since 1970-01-01 of a civil date (H. Hinnant's algorithm).
long long DaysFromCivil(long long y, unsigned m, unsigned d) {
    y -= m <= 2;
    const long long era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<long long>(doe) - 719468;
}

void CivilFromDays(long long z, int &year, int &month, int &day) {
    z += 719468;
    const long long era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    year = static_cast<int>(static_cast<long long>(yoe) + era * 400 + (month <= 2));
}

bool IsLeap(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int year, int month) {
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

/// a + b, held at the largest value instead of wrapping.
uint64_t SaturatingAdd(uint64_t a, uint64_t b) {
    return a > std::numeric_limits<uint64_t>::max() - b ? std::numeric_limits<uint64_t>::max()
                                                        : a + b;
}

} // namespace

namespace vlib {

bool FileTimeToCalendar(uint64_t value, TCalendarTime &out) {
    if (value > kMaxCalendarValue)
        return false;
    const uint64_t totalMs = value / TFileTime::kUnitsPerMilliSecond;
    const long long days = static_cast<long long>(totalMs / 86400000ULL);
    uint64_t msOfDay = totalMs % 86400000ULL;
    CivilFromDays(days - kDaysFrom1601To1970, out.year, out.month, out.day);
    out.dayOfWeek = static_cast<int>((days + 1) % 7); // 1601-01-01 was a Monday
    out.milliSecond = static_cast<int>(msOfDay % 1000);
    msOfDay /= 1000;
    out.second = static_cast<int>(msOfDay % 60);
    msOfDay /= 60;
    out.minute = static_cast<int>(msOfDay % 60);
    out.hour = static_cast<int>(msOfDay / 60);
    return true;
}

bool CalendarToFileTime(const TCalendarTime &time, uint64_t &out) {
    if (time.year < 1601 || time.year > 30827 || time.month < 1 || time.month > 12 ||
        time.day < 1 || time.day > DaysInMonth(time.year, time.month) || time.hour < 0 ||
        time.hour > 23 || time.minute < 0 || time.minute > 59 || time.second < 0 ||
        time.second > 59 || time.milliSecond < 0 || time.milliSecond > 999)
        return false;
    const long long days = DaysFromCivil(time.year, static_cast<unsigned>(time.month),
                                         static_cast<unsigned>(time.day)) +
                           kDaysFrom1601To1970;
    const long long ms = ((days * 24 + time.hour) * 60 + time.minute) * 60000LL +
                         time.second * 1000LL + time.milliSecond;
    out = static_cast<uint64_t>(ms) * TFileTime::kUnitsPerMilliSecond;
    return true;
}

} // namespace vlib

bool TFileTime::IsNewerThan(const TFileTime &other, unsigned int ms) const {
    return GetValue() > SaturatingAdd(other.GetValue(), uint64_t(ms) * kUnitsPerMilliSecond);
}

bool TFileTime::IsEqual(const TFileTime &other, unsigned int ms) const {
    const uint64_t tolerance = uint64_t(ms) * kUnitsPerMilliSecond;
    return GetValue() <= SaturatingAdd(other.GetValue(), tolerance) &&
           other.GetValue() <= SaturatingAdd(GetValue(), tolerance);
}

TFileTime TFileTime::FromUnix(long long seconds, long nanoSeconds) {
    // Stamps before 1601 (which no file system hands out in practice) become the oldest time.
    const long long units = seconds * static_cast<long long>(kUnitsPerSecond) + nanoSeconds / 100 +
                            static_cast<long long>(kUnixEpoch);
    TFileTime time;
    time.SetValue(units > 0 ? static_cast<uint64_t>(units) : 0);
    return time;
}

bool TFileTime::ToUnix(long long &seconds, long &nanoSeconds) const {
    const uint64_t value = GetValue();
    if (value > kMaxCalendarValue)
        return false;
    const long long sinceUnix = static_cast<long long>(value) - static_cast<long long>(kUnixEpoch);
    long long whole = sinceUnix / static_cast<long long>(kUnitsPerSecond);
    long long rest = sinceUnix % static_cast<long long>(kUnitsPerSecond);
    if (rest < 0) {
        rest += kUnitsPerSecond;
        --whole;
    }
    seconds = whole;
    nanoSeconds = static_cast<long>(rest * 100);
    return true;
}

TDynamicString TFileTime::GetTimeString(bool *ok) const {
    TDynamicString text;
    vlib::TCalendarTime time;
    const bool converted = vlib::FileTimeToCalendar(GetValue(), time);
    if (converted)
        text.SPrintf("%.4d-%.2d-%.2d %.2d:%.2d:%.2d.%.3d", time.year, time.month, time.day,
                     time.hour, time.minute, time.second, time.milliSecond);
    else
        text = "**Could not calculate FileTimeToSystemTime**";
    if (ok != nullptr)
        *ok = converted;
    return text;
}

void TFileTime::WriteBinary(TBinaryOutFilter &out) const {
    unsigned char bytes[8];
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<unsigned char>(m_Low >> (8 * i));
        bytes[4 + i] = static_cast<unsigned char>(m_High >> (8 * i));
    }
    (void)out.Write(bytes, 8); // a failed write shows in the filter's Bad flag
}

void TFileTime::ReadBinary(TBinaryInFilter &in) {
    unsigned char bytes[8];
    if (in.Read(bytes, 8) != 8)
        return;
    uint32_t low = 0;
    uint32_t high = 0;
    for (int i = 3; i >= 0; --i) {
        low = (low << 8) | bytes[i];
        high = (high << 8) | bytes[4 + i];
    }
    m_Low = low;
    m_High = high;
}

void TFileTime::WriteAscii(TAsciiOutFilter &out) const {
    vlib::TCalendarTime time{};
    // A time beyond the calendar (the newest time) is written as the calendar's last moment,
    // so that it reads back later than any file.
    if (!vlib::FileTimeToCalendar(GetValue(), time))
        time = vlib::TCalendarTime{30827, 12, 31, 0, 23, 59, 59, 999};
    out << time.year << " " << time.month << " " << time.day << " at " << time.hour << " "
        << time.minute << " " << time.second << " " << time.milliSecond << "\n";
}

void TFileTime::ReadAscii(TAsciiInFilter &in) {
    vlib::TCalendarTime time{};
    in >> time.year >> time.month >> time.day;
    char word[81];
    (void)in.ReadChars(word, sizeof word); // "at"; its content does not matter
    in >> time.hour >> time.minute >> time.second >> time.milliSecond;
    uint64_t value;
    if (vlib::CalendarToFileTime(time, value))
        SetValue(value);
}
