// The calendar model: day numbers against an independent Julian/Gregorian reference, carrying,
// comparison, arithmetic with spans, and the zone fields that normalize reads.
#include "DateTimeTestUtil.h"

#include "Core/Common/DateTime.h"

#include <bvplatform/testing.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using bvtest::ExpectFields;
using bvtest::Fields;
using bvtest::Make;
using bvtest::ScopedTz;

/// Julian day number to a Julian (before 2299161) or Gregorian date, by Richards' method.
void ReferenceDate(std::int64_t jdn, std::int64_t& y, std::int64_t& m, std::int64_t& d) {
    std::int64_t f = jdn + 1401;
    if (jdn >= 2299161) {
        f += (((4 * jdn + 274277) / 146097) * 3) / 4 - 38;
    }
    const std::int64_t e = 4 * f + 3;
    const std::int64_t h = 5 * ((e % 1461) / 4) + 2;
    d = (h % 153) / 5 + 1;
    m = (h / 153 + 2) % 12 + 1;
    y = e / 1461 - 4716 + (14 - m) / 12;
}

TEST(DateTimeModel, DayNumbersAndWeekdays) {
    struct Row {
        Fields date;
        unsigned days, weekday;
    } rows[] = {
        {{1, 1, 1}, 1, 6},           {{1582, 10, 4}, 577737, 4},
        {{1582, 10, 15}, 577738, 5}, {{1582, 10, 5}, 577728, 2},
        {{1899, 12, 30}, 693596, 6}, {{1970, 1, 1}, 719165, 4},
        {{2000, 1, 1}, 730122, 6},   {{2000, 2, 29}, 730181, 2},
        {{0, 0, 0}, 0, 5},           {{65493, 6, 14}, 23920629, 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.days);
        const mcDateTime v = Make(row.date);
        EXPECT_EQ(v.JulianDays(), row.days);
        EXPECT_EQ(v.DayOfWeek(), row.weekday);
    }
}

TEST(DateTimeModel, FromDaysMatchesReferenceForEveryDay) {
    mcDateTime v;
    mcDateTimeMangler(v).FromDays(0, 0);
    ExpectFields(v, {0, 12, 31, 0, 0, 0, 0});
    int failures = 0;
    for (std::uint32_t n = 1; n <= 23920629 && failures < 5; ++n) {
        mcDateTimeMangler(v).FromDays(n, 0);
        std::int64_t y = 0, m = 0, d = 0;
        ReferenceDate(std::int64_t{n} + 1721423, y, m, d);
        if (v.Year() != y || v.Month() != m || v.Day() != d || v.JulianDays() != n) {
            ADD_FAILURE() << "day " << n << ": " << v.Year() << "-" << v.Month() << "-" << v.Day()
                          << " expected " << y << "-" << m << "-" << d << ", back "
                          << v.JulianDays();
            ++failures;
        }
    }
}

TEST(DateTimeModel, LeapYearsValidityAndDayOfYear) {
    struct Row {
        Fields date;
        bool leap, valid;
        unsigned dayOfYear;
    } rows[] = {
        {{4, 1, 1}, true, true, 1},         {{1500, 3, 1}, true, true, 61},
        {{1580, 12, 31}, true, true, 366},  {{1584, 1, 1}, true, true, 1},
        {{1600, 1, 1}, true, true, 1},      {{2000, 1, 1}, true, true, 1},
        {{1582, 1, 1}, false, true, 1},     {{1700, 3, 1}, false, true, 60},
        {{1900, 12, 31}, false, true, 365}, {{2003, 2, 29}, false, true, 60},
        {{2004, 2, 30}, true, false, 61},   {{2004, 13, 1}, true, false, 367},
        {{2003, 14, 1}, false, false, 397}, {{2004, 1, 0}, true, false, 0},
        {{0, 1, 1}, true, false, 0},        {{2004, 0, 5}, true, false, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.date.year * 10000 + row.date.month * 100 + row.date.day);
        const mcDateTime v = Make(row.date);
        EXPECT_EQ(v.LeapYear(), row.leap);
        EXPECT_EQ(v.validDate(), row.valid);
        EXPECT_EQ(v.DayOfYear(), row.dayOfYear);
    }
}

TEST(DateTimeModel, NormalizeCarriesInFieldWidths) {
    struct Row {
        int line;
        Fields in, out;
    } rows[] = {
        {__LINE__, {2003, 2, 30}, {2003, 3, 2}},
        {__LINE__, {2004, 2, 30}, {2004, 3, 1}},
        {__LINE__, {2004, 13, 1}, {2005, 1, 1}},
        {__LINE__, {2004, 14, 40}, {2005, 3, 12}},
        {__LINE__, {2004, 255, 1}, {2025, 3, 1}},
        {__LINE__, {0, 0, 0, 24}, {1, 1, 1}},
        {__LINE__, {0, 5, 30}, {0, 12, 31}},
        {__LINE__, {2004, 0, 0, 5}, {2004, 0, 0, 5}},
        {__LINE__, {2004, 12, 31, 23, 59, 59, 1000}, {2005, 1, 1, 0, 0, 0, 0}},
        {__LINE__, {2004, 1, 1, 0, 0, 0, 65535}, {2004, 1, 1, 0, 1, 5, 535}},
        {__LINE__, {2004, 1, 1, 0, 250, 0, 0}, {2004, 1, 1, 4, 10, 0, 0}},
        {__LINE__, {2004, 1, 1, 250, 0, 0, 0}, {2004, 1, 11, 10, 0, 0, 0}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        mcDateTime v = Make(row.in);
        mcDateTimeMangler m(v);
        m.UTCOffset(-60);
        m.DST(true);
        m.Normalize(false);
        ExpectFields(v, row.out);
        EXPECT_EQ(v.UTCOffset(), -60);
        EXPECT_TRUE(v.DST());
    }
}

TEST(DateTimeModel, CompareIgnoresZoneFields) {
    struct Row {
        int line;
        Fields a, b;
        bool time, millis;
        int result;
    } rows[] = {
        {__LINE__, {2004, 1, 1, 1, 2, 3, 4}, {2004, 1, 1, 1, 2, 3, 4}, true, true, 0},
        {__LINE__, {2004, 1, 1, 1, 2, 3, 4}, {2004, 1, 1, 1, 2, 3, 5}, true, true, -1},
        {__LINE__, {2004, 1, 1, 1, 2, 3, 4}, {2004, 1, 1, 1, 2, 3, 5}, true, false, 0},
        {__LINE__, {2004, 1, 1, 9, 2, 3, 4}, {2004, 1, 1, 1, 2, 3, 5}, false, true, 0},
        {__LINE__, {2004, 2, 1}, {2004, 1, 31}, false, false, 1},
        {__LINE__, {2003, 12, 31, 23}, {2004, 1, 1}, true, true, -1},
        {__LINE__, {2004, 1, 1, 0, 0, 1}, {2004, 1, 1, 0, 0, 0, 999}, true, true, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        const mcDateTime a = Make(row.a);
        mcDateTime b = Make(row.b);
        mcDateTimeMangler(b).UTCOffset(300);
        mcDateTimeMangler(b).DST(true);
        EXPECT_EQ(a.cmp(b, row.time, row.millis), row.result);
        EXPECT_EQ(b.cmp(a, row.time, row.millis), -row.result);
    }
    const mcDateTime a = Make({2004, 1, 1});
    const mcDateTime b = Make({2004, 1, 2});
    EXPECT_TRUE(a < b && a <= b && a != b && b > a && b >= a && a <= a && a >= a && a == a);
    EXPECT_FALSE(a > b || a >= b || a == b || b < a);
}

TEST(DateTimeModel, AddAndSubtractSpans) {
    struct Row {
        int line;
        Fields start;
        mcDateTimeSpan span;
        bool subtract;
        Fields result;
    } rows[] = {
        {__LINE__, {2004, 1, 31}, mcDateTimeSpan(1, 0, 0, 0, 0), false, {2004, 2, 1}},
        {__LINE__,
         {2004, 1, 1, 23, 59, 59, 500},
         mcDateTimeSpan(0, 500),
         false,
         {2004, 1, 2, 0, 0, 0, 0}},
        {__LINE__,
         {2004, 2, 28, 12},
         mcDateTimeSpan(2, 12, 0, 0, 0),
         false,
         {2004, 3, 2, 0, 0, 0, 0}},
        {__LINE__, {2004, 3, 1}, mcDateTimeSpan(0, 1), true, {2004, 2, 29, 23, 59, 59, 999}},
        {__LINE__,
         {2004, 3, 1, 1},
         mcDateTimeSpan(1, 2, 0, 0, 0),
         true,
         {2004, 2, 28, 23, 0, 0, 0}},
        {__LINE__, {1582, 10, 15}, mcDateTimeSpan(1, 0, 0, 0, 0), true, {1582, 10, 4}},
        // Would pass before day 0: only the milliseconds take the subtraction.
        {__LINE__,
         {1, 1, 2, 5, 0, 0, 0},
         mcDateTimeSpan(3, 0, 0, 0, 250),
         true,
         {1, 1, 2, 5, 0, 0, 750}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        mcDateTime v = Make(row.start);
        mcDateTimeMangler(v).UTCOffset(-120);
        const mcDateTime result = row.subtract ? v - row.span : v + row.span;
        ExpectFields(result, row.result);
        EXPECT_EQ(result.UTCOffset(), -120);
    }
}

TEST(DateTimeModel, DistanceBetweenDatesIsSymmetric) {
    struct Row {
        int line;
        Fields a, b;
        std::uint64_t seconds;
        unsigned millis;
    } rows[] = {
        {__LINE__, {2004, 1, 1}, {2004, 1, 2}, 86400, 0},
        {__LINE__, {2004, 1, 1, 23, 0, 0, 100}, {2004, 1, 2, 1, 0, 0, 50}, 7199, 950},
        {__LINE__, {1582, 10, 4, 12}, {1582, 10, 15}, 43200, 0},
        {__LINE__, {1970, 1, 1}, {2000, 1, 1}, 946684800, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        const mcDateTime a = Make(row.a);
        const mcDateTime b = Make(row.b);
        const mcDateTimeSpan expected(row.seconds, row.millis);
        EXPECT_EQ(b - a, expected);
        EXPECT_EQ(a - b, expected);
    }
}

TEST(DateTimeSpan, PartsCarryAndDistance) {
    const mcDateTimeSpan s(1, 25, 61, 61, 2500);
    EXPECT_EQ(s.TotalSeconds(), 86400u + 25 * 3600 + 61 * 60 + 61 + 2);
    EXPECT_EQ(s.Milliseconds(), 500u);
    EXPECT_EQ(s.Days(), 2u);
    EXPECT_EQ(s.Hours(), 2u);
    EXPECT_EQ(s.Minutes(), 2u);
    EXPECT_EQ(s.Seconds(), 3u);
    EXPECT_EQ(s.TotalMilliseconds(), s.TotalSeconds() * 1000 + 500);
    const mcDateTimeSpan small(10, 700);
    const mcDateTimeSpan big(20, 300);
    EXPECT_EQ(big - small, mcDateTimeSpan(9, 600));
    EXPECT_EQ(small - big, mcDateTimeSpan(9, 600));
    EXPECT_EQ(small + big, mcDateTimeSpan(31, 0));
    mcDateTimeSpan unchanged = small;
    unchanged -= big;
    EXPECT_EQ(unchanged, small);
    EXPECT_TRUE(small < big && big > small && small != big && small <= small);
}

TEST(DateTimeZone, NormalizeReadsStandardBiasAndTransitions) {
    struct Row {
        int line;
        const char* tz;
        Fields local;
        int offset;
        bool dst;
    } rows[] = {
        {__LINE__, "Europe/Berlin", {2024, 1, 15, 10}, -60, false},
        {__LINE__, "Europe/Berlin", {2024, 7, 15, 10}, -60, true},
        // tzcmp reads wDay (5, the last Sunday) as the 5th day of the month.
        {__LINE__, "Europe/Berlin", {2024, 3, 5, 1, 59}, -60, false},
        {__LINE__, "Europe/Berlin", {2024, 3, 5, 2, 0}, -60, true},
        {__LINE__, "Europe/Berlin", {2024, 10, 5, 2, 59}, -60, true},
        {__LINE__, "Europe/Berlin", {2024, 10, 5, 3, 0}, -60, false},
        {__LINE__, "America/New_York", {2024, 7, 4}, 300, true},
        {__LINE__, "Australia/Sydney", {2024, 1, 15}, -600, true},
        {__LINE__, "Australia/Sydney", {2024, 7, 15}, -600, false},
        {__LINE__, "Europe/Dublin", {2024, 7, 15}, 0, true},
        {__LINE__, "Europe/Dublin", {2024, 1, 15}, 0, false},
        {__LINE__, "UTC", {2024, 7, 15}, 0, true}, // no rule: DST stays
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        ScopedTz tz(row.tz);
        mcDateTime v = Make(row.local);
        // DST starts opposite to the answer, except in a zone without rule, where it stays.
        const bool noRule = std::string(row.tz) == "UTC";
        mcDateTimeMangler(v).DST(noRule ? row.dst : !row.dst);
        mcDateTimeMangler(v).UTCOffset(1234);
        mcDateTimeMangler(v).Normalize(true);
        EXPECT_EQ(v.UTCOffset(), row.offset);
        EXPECT_EQ(v.DST(), row.dst);
    }
}

TEST(DateTimeZone, FailedZoneCallKeepsOffsetAndDst) {
    ScopedTz tz("Europe/Berlin");
    mcDateTime v = Make({2024, 7, 15});
    mcDateTimeMangler(v).UTCOffset(77);
    bvplatform::testing::FailNextGetTimeZoneInformation(1);
    mcDateTimeMangler(v).Normalize(true);
    EXPECT_EQ(v.UTCOffset(), 77);
    EXPECT_FALSE(v.DST());
}

TEST(DateTimeZone, NowFollowsTheZone) {
    ScopedTz tz("Asia/Kolkata");
    const mcDateTime now = mcDateTime::Now();
    EXPECT_GE(now.Year(), 2024u);
    EXPECT_TRUE(now.validDate());
    EXPECT_EQ(now.UTCOffset(), -330);
    EXPECT_FALSE(now.DST());
}

} // namespace
