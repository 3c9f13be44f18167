// Tests of file times: tolerance comparisons at their bounds, the calendar conversion checked
// against the C library's own UTC and local calendars, and the Unix conversions.
#include "General/Streams/FileTime.h"

#include <cstring>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "General/Streams/AsciiFilter.h"
#include "General/Streams/BinaryFilter.h"
#include "General/Streams/FileBuf.h"

namespace {

constexpr uint64_t kMs = TFileTime::kUnitsPerMilliSecond;

TFileTime Make(uint64_t value) {
    TFileTime time;
    time.SetValue(value);
    return time;
}

/// The file time of a UTC calendar moment, by way of the C library's timegm.
uint64_t FromCalendar(int year, int month, int day, int hour, int minute, int second, int ms) {
    struct tm fields = {};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    const long long seconds = timegm(&fields);
    return static_cast<uint64_t>(seconds * 10000000LL + ms * 10000LL +
                                 static_cast<long long>(TFileTime::kUnixEpoch));
}

/// The text form of `time`, written through a text filter into memory.
std::string WriteText(const TFileTime &time) {
    TManagedFileBuf file;
    EXPECT_TRUE(file.Open(4, 0));
    TAsciiOutFilter out;
    EXPECT_TRUE(out.Open(&file));
    time.WriteAscii(out);
    out.CloseLayer();
    return std::string(reinterpret_cast<const char *>(file.GetBuffer()),
                       static_cast<size_t>(file.Length()));
}

/// `time` after reading `text` into it through a text filter.
TFileTime ReadText(std::string text, TFileTime time) {
    TFixedFileBuf file;
    EXPECT_TRUE(file.Open(reinterpret_cast<unsigned char *>(text.data()),
                          static_cast<int>(text.size()), 2));
    TAsciiInFilter in;
    EXPECT_TRUE(in.Open(&file));
    time.ReadAscii(in);
    return time;
}

} // namespace

TEST(FileTime, NewTimeIsZero) {
    const TFileTime time;
    EXPECT_TRUE(time.IsZero());
    FILETIME raw{1, 2};
    time.GetFileTime(raw);
    EXPECT_EQ(raw.dwLowDateTime, 0u);
    EXPECT_EQ(raw.dwHighDateTime, 0u);
}

TEST(FileTime, HalvesMakeTheValue) {
    const TFileTime time(FILETIME{0x89ABCDEF, 0x01234567});
    EXPECT_EQ(time.GetValue(), 0x0123456789ABCDEFULL);
    TFileTime copy;
    copy.SetFileTime(FILETIME{0x89ABCDEF, 0x01234567});
    EXPECT_EQ(copy, time);
    copy.SetValue(copy.GetValue() + 1);
    EXPECT_NE(copy, time);
}

TEST(FileTime, ToleranceBounds) {
    struct Case {
        uint64_t a;
        uint64_t b;
        unsigned int ms;
        bool newer;
        bool equal;
    };
    const uint64_t base = 132000000000000000ULL;
    constexpr Case kCases[] = {
        {base, base, 0, false, true},
        {base + 1, base, 0, true, false},
        {base + 2000 * kMs, base, 2000, false, true}, // exactly the tolerance: not newer
        {base + 2000 * kMs + 1, base, 2000, true, false},
        {base, base + 2000 * kMs, 2000, false, true},
        {base, base + 2000 * kMs + 1, 2000, false, false},
        {0, 0, 0, false, true},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.a << " vs " << c.b << " within " << c.ms);
        EXPECT_EQ(Make(c.a).IsNewerThan(Make(c.b), c.ms), c.newer);
        EXPECT_EQ(Make(c.a).IsEqual(Make(c.b), c.ms), c.equal);
    }
}

TEST(FileTime, NewestIsNewerThanEverything) {
    TFileTime newest;
    newest.SetToNewest();
    EXPECT_EQ(newest.GetValue(), ~uint64_t(0));
    for (const TFileTime &other : {Make(0), TFileTime::Now(), Make(~uint64_t(0) - 1)})
        EXPECT_TRUE(newest.IsNewerThan(other, 0));
    // A tolerance above the newest time must not wrap round and make it look newer.
    EXPECT_FALSE(Make(5).IsNewerThan(newest, 1000));
    EXPECT_TRUE(newest.IsEqual(Make(~uint64_t(0) - 5 * kMs), 5));
    EXPECT_TRUE(newest.SetToOldest().IsZero());
}

TEST(FileTime, TimeStringMatchesUtcCalendar) {
    struct Case {
        int year, month, day, hour, minute, second, ms;
        const char *text;
    };
    constexpr Case kCases[] = {
        {1601, 1, 1, 0, 0, 0, 0, "1601-01-01 00:00:00.000"},
        {1970, 1, 1, 0, 0, 0, 0, "1970-01-01 00:00:00.000"},
        {2000, 2, 29, 12, 34, 56, 789, "2000-02-29 12:34:56.789"},
        {1900, 3, 1, 23, 59, 59, 999, "1900-03-01 23:59:59.999"},
        {2038, 1, 19, 3, 14, 8, 1, "2038-01-19 03:14:08.001"},
        {9999, 12, 31, 23, 59, 59, 999, "9999-12-31 23:59:59.999"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        const TFileTime time =
            Make(FromCalendar(c.year, c.month, c.day, c.hour, c.minute, c.second, c.ms));
        bool ok = false;
        EXPECT_STREQ(time.GetTimeString(&ok).GetData(), c.text);
        EXPECT_TRUE(ok);
    }
}

TEST(FileTime, CalendarAgreesWithGmtimeOverCenturies) {
    // Every 97 hours and a few milliseconds from 1601 to 2400: all month ends, leap days and
    // century rules come by.
    const uint64_t step = 97ULL * 3600 * 10000000ULL + 7 * kMs;
    const uint64_t end = FromCalendar(2400, 12, 31, 0, 0, 0, 0);
    for (uint64_t value = 0; value < end; value += step) {
        vlib::TCalendarTime fields;
        ASSERT_TRUE(vlib::FileTimeToCalendar(value, fields));
        const long long unixMs =
            (static_cast<long long>(value) - static_cast<long long>(TFileTime::kUnixEpoch)) / 10000;
        long long seconds = unixMs / 1000;
        if (unixMs % 1000 < 0)
            --seconds;
        const time_t when = static_cast<time_t>(seconds);
        struct tm expected;
        ASSERT_NE(gmtime_r(&when, &expected), nullptr);
        ASSERT_EQ(fields.year, expected.tm_year + 1900) << value;
        ASSERT_EQ(fields.month, expected.tm_mon + 1) << value;
        ASSERT_EQ(fields.day, expected.tm_mday) << value;
        ASSERT_EQ(fields.dayOfWeek, expected.tm_wday) << value;
        ASSERT_EQ(fields.hour, expected.tm_hour) << value;
        ASSERT_EQ(fields.minute, expected.tm_min) << value;
        ASSERT_EQ(fields.second, expected.tm_sec) << value;
        uint64_t back = 0;
        ASSERT_TRUE(vlib::CalendarToFileTime(fields, back));
        ASSERT_EQ(back, value - value % kMs) << value;
    }
}

TEST(FileTime, TopBitIsBeyondCalendar) {
    bool ok = true;
    TFileTime newest;
    newest.SetToNewest();
    EXPECT_STREQ(newest.GetTimeString(&ok).GetData(),
                 "**Could not calculate FileTimeToSystemTime**");
    EXPECT_FALSE(ok);
    TDynamicString out("untouched");
    EXPECT_FALSE(newest.GetBuildTimeAsciiString(out));
    EXPECT_STREQ(out.GetData(), "untouched");
}

TEST(FileTime, CalendarRefusesInvalidFields) {
    struct Case {
        vlib::TCalendarTime fields;
        bool valid;
    };
    constexpr Case kCases[] = {
        {{2000, 2, 29, 0, 0, 0, 0, 0}, true},        {{2001, 2, 29, 0, 0, 0, 0, 0}, false},
        {{1900, 2, 29, 0, 0, 0, 0, 0}, false},       {{2001, 4, 31, 0, 0, 0, 0, 0}, false},
        {{2001, 13, 1, 0, 0, 0, 0, 0}, false},       {{2001, 0, 1, 0, 0, 0, 0, 0}, false},
        {{1600, 12, 31, 0, 23, 59, 59, 999}, false}, {{30827, 12, 31, 0, 23, 59, 59, 999}, true},
        {{30828, 1, 1, 0, 0, 0, 0, 0}, false},       {{2001, 1, 1, 0, 24, 0, 0, 0}, false},
        {{2001, 1, 1, 0, 0, 60, 0, 0}, false},       {{2001, 1, 1, 0, 0, 0, 60, 0}, false},
        {{2001, 1, 1, 0, 0, 0, 0, 1000}, false},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message()
                     << c.fields.year << "-" << c.fields.month << "-" << c.fields.day);
        uint64_t value = 12345;
        EXPECT_EQ(vlib::CalendarToFileTime(c.fields, value), c.valid);
    }
}

TEST(FileTime, BuildTimeStringIsLocal) {
    const TFileTime time = Make(FromCalendar(2011, 7, 4, 9, 5, 3, 0));
    long long seconds;
    long nanoSeconds;
    ASSERT_TRUE(time.ToUnix(seconds, nanoSeconds));
    const time_t when = static_cast<time_t>(seconds);
    struct tm local;
    ASSERT_NE(localtime_r(&when, &local), nullptr);
    char expected[64];
    std::snprintf(expected, sizeof expected, "on %d/%d/%d at %.2d:%.2d:%.2d", local.tm_mday,
                  local.tm_mon + 1, local.tm_year + 1900, local.tm_hour, local.tm_min,
                  local.tm_sec);
    TDynamicString out;
    ASSERT_TRUE(time.GetBuildTimeAsciiString(out));
    EXPECT_STREQ(out.GetData(), expected);
}

TEST(FileTime, UnixConversionsRoundTrip) {
    struct Case {
        long long seconds;
        long nanoSeconds;
    };
    constexpr Case kCases[] = {
        {0, 0}, {1, 100}, {1700000000, 123456700}, {-1, 999999900}, {-11644473600LL, 0},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.seconds);
        const TFileTime time = TFileTime::FromUnix(c.seconds, c.nanoSeconds);
        long long seconds = 0;
        long nanoSeconds = 0;
        ASSERT_TRUE(time.ToUnix(seconds, nanoSeconds));
        EXPECT_EQ(seconds, c.seconds);
        EXPECT_EQ(nanoSeconds, c.nanoSeconds);
    }
    EXPECT_EQ(TFileTime::FromUnix(0, 0).GetValue(), TFileTime::kUnixEpoch);
    // Before 1601 there is nothing older than zero.
    EXPECT_TRUE(TFileTime::FromUnix(-11644473601LL, 0).IsZero());
}

TEST(FileTime, NowIsPresentToTheMillisecond) {
    struct timespec before;
    struct timespec after;
    clock_gettime(CLOCK_REALTIME, &before);
    const TFileTime now = TFileTime::Now();
    clock_gettime(CLOCK_REALTIME, &after);
    EXPECT_EQ(now.GetValue() % kMs, 0u);
    const TFileTime low = TFileTime::FromUnix(before.tv_sec, before.tv_nsec / 1000000 * 1000000);
    const TFileTime high = TFileTime::FromUnix(after.tv_sec, after.tv_nsec);
    EXPECT_FALSE(low.IsNewerThan(now, 0));
    EXPECT_FALSE(now.IsNewerThan(high, 0));
}

TEST(FileTime, TextForm) {
    struct Case {
        uint64_t value;
        const char *text;
    };
    const Case kCases[] = {
        {FromCalendar(2000, 2, 29, 12, 34, 56, 789), "2000 2 29 at 12 34 56 789\n"},
        {0, "1601 1 1 at 0 0 0 0\n"},
        {FromCalendar(2024, 12, 31, 23, 59, 59, 999) + 9999, "2024 12 31 at 23 59 59 999\n"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(WriteText(Make(c.value)), c.text);
    }
}

TEST(FileTime, TextRoundTripKeepsMilliseconds) {
    // The tenths of microseconds are lost, so only IsEqual within 1 ms must hold.
    for (const uint64_t value :
         {uint64_t(0), FromCalendar(1999, 12, 31, 23, 59, 59, 0) + 12345,
          FromCalendar(2038, 1, 19, 3, 14, 7, 999) + 9999, TFileTime::Now().GetValue() + 4321}) {
        SCOPED_TRACE(value);
        const TFileTime time = Make(value);
        const TFileTime back = ReadText(WriteText(time), TFileTime());
        EXPECT_TRUE(back.IsEqual(time, 1));
        EXPECT_EQ(back.GetValue(), value - value % kMs);
    }
}

TEST(FileTime, NewestStaysNewestAsText) {
    TFileTime newest;
    newest.SetToNewest();
    const TFileTime back = ReadText(WriteText(newest), TFileTime());
    EXPECT_TRUE(back.IsNewerThan(TFileTime::FromUnix(253402300799LL, 0), 0)); // year 9999
}

TEST(FileTime, BadTextLeavesTime) {
    const TFileTime before = Make(FromCalendar(2010, 5, 6, 7, 8, 9, 10));
    for (const char *text : {"", "2001 2 29 at 0 0 0 0\n", "2001 13 1 at 0 0 0 0\n", "abc def",
                             "2001 1 1 at 24 0 0 0\n"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(ReadText(text, before), before);
    }
    // The word between the date and the time is not looked at.
    EXPECT_EQ(ReadText("2010 5 6 xyz 7 8 9 10", TFileTime()), before);
}

TEST(FileTime, BinaryFormIsLittleEndianLowWordFirst) {
    const TFileTime time(FILETIME{0x44332211, 0x88776655});
    TManagedFileBuf file;
    ASSERT_TRUE(file.Open(4, 0));
    TBinaryOutFilter out;
    ASSERT_TRUE(out.Open(&file));
    time.WriteBinary(out);
    out.CloseLayer();
    ASSERT_EQ(file.Length(), 8);
    const unsigned char expected[8] = {0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88};
    EXPECT_EQ(std::memcmp(file.GetBuffer(), expected, 8), 0);

    for (int size : {8, 7, 0}) {
        SCOPED_TRACE(size);
        unsigned char bytes[8];
        std::memcpy(bytes, expected, 8);
        TFixedFileBuf in;
        ASSERT_TRUE(in.Open(bytes, size, 2));
        TBinaryInFilter filter;
        ASSERT_TRUE(filter.Open(&in));
        TFileTime read = Make(5);
        read.ReadBinary(filter);
        // A short read leaves the time as it was.
        EXPECT_EQ(read, size == 8 ? time : Make(5));
    }
}
