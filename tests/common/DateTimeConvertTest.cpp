// Conversions: constructors from numbers, OLE dates (bit-exact), the runtime's tm and time_t in
// summer and winter, _SYSTEMTIME, and the settled results for values without an answer.
#include "DateTimeTestUtil.h"

#include "Core/Common/DateTimeConvert.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace {

using bvtest::ExpectFields;
using bvtest::Fields;
using bvtest::ScopedTz;

class DateTimeConvert : public ::testing::Test {
private:
    ScopedTz m_tz{"Europe/Berlin"}; // the zone of every test here
};

TEST_F(DateTimeConvert, FromNumbers) {
    const mcDateTime date = mcDateTimeConvert::Date(2004, 3, 7);
    ExpectFields(date, {2004, 3, 7});
    EXPECT_EQ(date.UTCOffset(), -60);
    EXPECT_TRUE(date.DST()); // the rule's "last Sunday" (wDay 5) is read as 5 March
    EXPECT_FALSE(mcDateTimeConvert::Date(2004, 3, 4).DST());
    ExpectFields(mcDateTimeConvert::Date(2003, 2, 30), {2003, 3, 2});
    const mcDateTime time = mcDateTimeConvert::Time(14, 5, 9, 45);
    ExpectFields(time, {0, 0, 0, 14, 5, 9, 45});
    EXPECT_EQ(time.UTCOffset(), 0);
    ExpectFields(mcDateTimeConvert::Time(25, 0, 0, 0), {1, 1, 1, 1});
    const mcDateTime kept = mcDateTimeConvert::DateTime(2004, 1, 15, 10, 0, 0, 0, 300, true);
    EXPECT_EQ(kept.UTCOffset(), 300);
    EXPECT_TRUE(kept.DST());
    const mcDateTime local = mcDateTimeConvert::DateTime(2004, 7, 15, 10, 0, 0, 1500);
    ExpectFields(local, {2004, 7, 15, 10, 0, 1, 500});
    EXPECT_TRUE(local.DST());
    ExpectFields(mcDateTimeConvert::DateTime(0x10000 + 2004, 256 + 1, 1, 0, 0, 0, 0, 0, false),
                 {2004, 1, 1});
}

TEST_F(DateTimeConvert, OleDatesBothWays) {
    struct Row {
        double date;
        Fields fields;
    } toTime[] = {
        {0.0, {}},
        {0.5, {0, 0, 0, 12}},
        {1.0, {1899, 12, 31}},
        {2.0, {1900, 1, 1}},
        {38000.5, {2004, 1, 14, 12}},
        {-1.25, {1899, 12, 29, 6}},
        {0.999999999, {0, 0, 0, 23, 59, 59, 1000}},
        {1.999999999, {1900, 1, 1}},
        {std::numeric_limits<double>::quiet_NaN(), {}},
        {std::numeric_limits<double>::infinity(), {}},
        {1e300, {}},
        {-693596.5, {}},
        {23920629.0 - 693596 + 1, {}},
        {-693595.0, {1, 1, 1}},
    };
    for (const auto& row : toTime) {
        SCOPED_TRACE(row.date);
        ExpectFields(mcDateTimeConvert::DATEToTime(row.date), row.fields);
    }
    struct Back {
        Fields fields;
        double date;
    } toDate[] = {
        {{1899, 12, 30, 12}, 0.5},
        {{1899, 12, 29, 6}, -1.25},
        {{2004, 1, 14, 12}, 38000.5},
        {{0, 0, 0, 12}, -693596.5},
        {{2004, 1, 14, 0, 0, 0, 1},
         38000.0 + 0.001 * 0.016666666666666666 * 0.016666666666666666 * 0.041666666666666664},
    };
    for (const auto& row : toDate) {
        SCOPED_TRACE(row.date);
        const mcDateTime v =
            mcDateTimeConvert::DateTime(row.fields.year, row.fields.month, row.fields.day,
                                        row.fields.hour, 0, 0, row.fields.millisecond, 0, false);
        EXPECT_EQ(mcDateTimeConvert::TimeToDATE(v), row.date);
    }
}

TEST_F(DateTimeConvert, OleSpans) {
    EXPECT_EQ(mcDateTimeConvert::DATEToTimeSpan(1.5), mcDateTimeSpan(129600, 0));
    EXPECT_EQ(mcDateTimeConvert::DATEToTimeSpan(-1.5), mcDateTimeSpan(129600, 0));
    EXPECT_EQ(mcDateTimeConvert::DATEToTimeSpan(0.9999999999), mcDateTimeSpan(86400, 0));
    EXPECT_EQ(mcDateTimeConvert::DATEToTimeSpan(std::nan("")), mcDateTimeSpan());
    EXPECT_EQ(mcDateTimeConvert::DATEToTimeSpan(1e300), mcDateTimeSpan());
    EXPECT_EQ(mcDateTimeConvert::TimeSpanToDATE(mcDateTimeSpan(1, 0, 0, 0, 0)), 1.0);
    EXPECT_EQ(mcDateTimeConvert::TimeSpanToDATE(mcDateTimeSpan(0, 12, 0, 0, 0)), 0.5);
}

TEST_F(DateTimeConvert, TimeTRoundTripsInSummerAndWinter) {
    struct Row {
        std::int64_t t;
        Fields local;
        bool dst;
    } rows[] = {
        {1705305600, {2024, 1, 15, 9}, false}, // 2024-01-15 08:00 UTC
        {1721034000, {2024, 7, 15, 11}, true}, // 2024-07-15 09:00 UTC
        {0, {1970, 1, 1, 1}, false},
        {4102444800, {2100, 1, 1, 1}, false}, // beyond 32 bits
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.t);
        const mcDateTime v = mcDateTimeConvert::TimeTToTime(row.t);
        ExpectFields(v, row.local);
        EXPECT_EQ(v.DST(), row.dst);
        EXPECT_EQ(v.UTCOffset(), -60);
        EXPECT_EQ(mcDateTimeConvert::TimeToTimeT(v), row.t);
        const bool fits = row.t <= 0x7FFFFFFF;
        ExpectFields(mcDateTimeConvert::TimeT32ToTime(static_cast<long>(row.t)),
                     fits ? row.local : Fields{});
        EXPECT_EQ(mcDateTimeConvert::TimeToTimeT32(v), fits ? row.t : -1);
    }
    ExpectFields(mcDateTimeConvert::TimeT32ToTime(-1), {});
    ExpectFields(mcDateTimeConvert::TimeTToTime(-1), {});
}

TEST_F(DateTimeConvert, TmAndSystemTime) {
    const mcDateTime v = mcDateTimeConvert::DateTime(2024, 7, 15, 11, 30, 20, 999, 0, true);
    const std::tm tm = mcDateTimeConvert::TimeToLocalTm(v);
    EXPECT_EQ(tm.tm_year, 124);
    EXPECT_EQ(tm.tm_mon, 6);
    EXPECT_EQ(tm.tm_wday, 1);
    EXPECT_EQ(tm.tm_yday, 196);
    EXPECT_EQ(tm.tm_isdst, 1);
    EXPECT_EQ(tm.tm_gmtoff, 0);
    EXPECT_EQ(tm.tm_zone, nullptr);
    const mcDateTime back = mcDateTimeConvert::LocalTmToTime(tm);
    ExpectFields(back, {2024, 7, 15, 11, 30, 20, 0});
    EXPECT_EQ(back.UTCOffset(), -60);
    const _SYSTEMTIME st = mcDateTimeConvert::TimeToSystemTime(v);
    EXPECT_EQ(st.wDayOfWeek, 1u);
    EXPECT_EQ(st.wMilliseconds, 999u);
    const mcDateTime fromSt = mcDateTimeConvert::SystemTimeToTime({2024, 4, 0, 31, 25, 0, 0, 0});
    ExpectFields(fromSt, {2024, 5, 2, 1});
    EXPECT_TRUE(fromSt.DST());
}

} // namespace
