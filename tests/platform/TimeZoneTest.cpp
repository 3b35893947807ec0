// The zone stand-in against the recorded platform answers (TZ set per row), the zones the
// records leave out (Dublin's negative daylight saving, Jerusalem's 26:00), the forced failure,
// and the runtime's ranges. Expected instants come from glibc's timegm, not from the stand-in.
#include "support/RefData.h"

#include <bvplatform/base.h>
#include <bvplatform/testing.h>
#include <bvplatform/time.h>
#include <bvplatform/winerror.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

class ScopedTz {
public:
    explicit ScopedTz(const std::string& tz) : m_had(std::getenv("TZ") != nullptr) {
        m_old = m_had ? std::getenv("TZ") : "";
        setenv("TZ", tz.c_str(), 1);
    }
    ~ScopedTz() { m_had ? setenv("TZ", m_old.c_str(), 1) : unsetenv("TZ"); }

private:
    bool m_had;        // TZ was set before
    std::string m_old; // its value then
};

/// "0000-03-02 dow0 02:00:00.000" as recorded.
std::string ShowRecord(const SYSTEMTIME& st) {
    char text[64];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u dow%u %02u:%02u:%02u.%03u", st.wYear,
                  st.wMonth, st.wDay, st.wDayOfWeek, st.wHour, st.wMinute, st.wSecond,
                  st.wMilliseconds);
    return text;
}

std::string ShowTm(const std::tm& tm) {
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d dow%d %02d:%02d:%02d.000", tm.tm_year + 1900,
                  tm.tm_mon + 1, tm.tm_mday, tm.tm_wday, tm.tm_hour, tm.tm_min, tm.tm_sec);
    return text;
}

/// "2024-03-10T06:59" (a trailing Z ignored) as seconds since 1970 by glibc.
__time64_t Instant(const std::string& text) {
    std::tm tm{};
    std::sscanf(text.c_str(), "%d-%d-%dT%d:%d", &tm.tm_year, &tm.tm_mon, &tm.tm_mday, &tm.tm_hour,
                &tm.tm_min);
    tm.tm_year -= 1900;
    tm.tm_mon -= 1;
    return timegm(&tm);
}

std::tm LocalTm(const std::string& text) {
    const __time64_t t = Instant(text);
    std::tm tm{};
    gmtime_r(&t, &tm);
    tm.tm_isdst = -1;
    return tm;
}

std::string Field(const TIME_ZONE_INFORMATION& tz, const std::string& name) {
    if (name == "Bias")
        return std::to_string(tz.Bias);
    if (name == "StandardBias")
        return std::to_string(tz.StandardBias);
    if (name == "DaylightBias")
        return std::to_string(tz.DaylightBias);
    if (name == "StandardDate")
        return ShowRecord(tz.StandardDate);
    if (name == "DaylightDate")
        return ShowRecord(tz.DaylightDate);
    if (name == "StandardName")
        return bvtest::Show(tz.StandardName);
    if (name == "DaylightName")
        return bvtest::Show(tz.DaylightName);
    return "?";
}

/// A zone the recorder matched by rules only: none of its names is the platform's.
bool NamesDiffer(const bvtest::RefTable& table, const std::string& zone, const std::string& field) {
    const auto row = table.Find("tz." + zone + ".StandardName");
    return field.find("Name") != std::string::npos && row && row->CommentHas("windows-differs");
}

TEST(TimeZone, MatchesRecordedPlatform) {
    const auto table = bvtest::RefTable::Load("time.tsv");
    int checked = 0;
    for (const auto& row : table.WithPrefix("tz.")) {
        SCOPED_TRACE(row.line);
        const auto parts = bvtest::SplitKey(row.key);
        ScopedTz tz(parts[1]);
        if (parts[2] == "SystemTimeToTzSpecificLocalTime") {
            const __time64_t t = Instant(parts[3]);
            const std::tm* local = _localtime64(&t);
            ASSERT_NE(local, nullptr);
            EXPECT_EQ(ShowTm(*local), row.value);
        } else if (parts[2] == "TzSpecificLocalTimeToSystemTime") {
            std::tm tm = LocalTm(parts[3]);
            const __time64_t utc = _mktime64(&tm);
            EXPECT_EQ(utc, Instant(row.value.substr(0, 10) + "T" + row.value.substr(16, 5)));
        } else if (!NamesDiffer(table, parts[1], parts[2])) {
            TIME_ZONE_INFORMATION info;
            std::memset(&info, 0xCC, sizeof info);
            const DWORD id = GetTimeZoneInformation(&info);
            if (parts[2] == "ret") {
                __timeb64 now{};
                _ftime64(&now);
                EXPECT_EQ(id, row.value == "0" ? TIME_ZONE_ID_UNKNOWN : (now.dstflag ? 2u : 1u));
            } else {
                EXPECT_EQ(Field(info, parts[2]), row.value);
            }
        }
        ++checked;
    }
    EXPECT_GT(checked, 90);
}

TEST(TimeZone, RulesTheRecordsLeaveOut) {
    struct Row {
        const char* tz;
        LONG bias, daylightBias;
        const char *standardDate, *daylightDate, *standardName;
    } rows[] = {
        {"Europe/Berlin", -60, -60, "0000-10-05 dow0 03:00:00.000", "0000-03-05 dow0 02:00:00.000",
         "\"W. Europe Standard Time\""},
        {"Europe/Dublin", 0, -60, "0000-10-05 dow0 02:00:00.000", "0000-03-05 dow0 01:00:00.000",
         "\"GMT Standard Time\""},
        {"Asia/Jerusalem", -120, -60, "0000-10-05 dow0 02:00:00.000",
         "0000-03-05 dow5 02:00:00.000", "\"Israel Standard Time\""},
        {"/usr/share/zoneinfo/Australia/Sydney", -600, -60, "0000-04-01 dow0 03:00:00.000",
         "0000-10-01 dow0 02:00:00.000", "\"AUS Eastern Standard Time\""},
        {":America/New_York", 300, -60, "0000-11-01 dow0 02:00:00.000",
         "0000-03-02 dow0 02:00:00.000", "\"Eastern Standard Time\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.tz);
        ScopedTz tz(row.tz);
        TIME_ZONE_INFORMATION info;
        const DWORD id = GetTimeZoneInformation(&info);
        EXPECT_TRUE(id == TIME_ZONE_ID_STANDARD || id == TIME_ZONE_ID_DAYLIGHT);
        EXPECT_EQ(info.Bias, row.bias);
        EXPECT_EQ(info.DaylightBias, row.daylightBias);
        EXPECT_EQ(ShowRecord(info.StandardDate), row.standardDate);
        EXPECT_EQ(ShowRecord(info.DaylightDate), row.daylightDate);
        EXPECT_EQ(bvtest::Show(info.StandardName), row.standardName);
    }
}

TEST(TimeZone, UnknownOrEmptyZoneIsUtcWithoutRule) {
    for (const char* name : {"", "No/Such_Zone", "../../etc/passwd", "Etc/UTC"}) {
        SCOPED_TRACE(name);
        ScopedTz tz(name);
        TIME_ZONE_INFORMATION info;
        EXPECT_EQ(GetTimeZoneInformation(&info), TIME_ZONE_ID_UNKNOWN);
        EXPECT_EQ(info.Bias, 0);
        EXPECT_EQ(info.StandardDate.wMonth, 0u);
        EXPECT_EQ(info.DaylightDate.wMonth, 0u);
    }
}

TEST(TimeZone, ForcedFailureLeavesRecordAlone) {
    TIME_ZONE_INFORMATION info;
    std::memset(&info, 0xCC, sizeof info);
    SetLastError(0xdeadbeef);
    bvplatform::testing::FailNextGetTimeZoneInformation(ERROR_ACCESS_DENIED);
    EXPECT_EQ(GetTimeZoneInformation(&info), TIME_ZONE_ID_INVALID);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_EQ(info.Bias, static_cast<LONG>(0xCCCCCCCC));
    SetLastError(0xdeadbeef);
    EXPECT_EQ(GetTimeZoneInformation(nullptr), TIME_ZONE_ID_INVALID);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    SetLastError(0xdeadbeef);
    EXPECT_NE(GetTimeZoneInformation(&info), TIME_ZONE_ID_INVALID);
    EXPECT_EQ(GetLastError(), 0xdeadbeef);
}

TEST(TimeRuntime, RangesInUtc) {
    ScopedTz tz("UTC");
    struct Row {
        __time64_t t;
        bool in32, in64;
        const char* shown;
    } rows[] = {
        {-1, false, false, ""},
        {0, true, true, "1970-01-01 dow4 00:00:00.000"},
        {0x7FFFFFFF, true, true, "2038-01-19 dow2 03:14:07.000"},
        {0x80000000LL, false, true, "2038-01-19 dow2 03:14:08.000"},
        {_MAX__TIME64_T, false, true, "3001-01-01 dow4 07:59:59.000"},
        {_MAX__TIME64_T + 1, false, false, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.t);
        const __time32_t t32 = static_cast<__time32_t>(row.t);
        const std::tm* local32 = row.t == t32 ? _localtime32(&t32) : nullptr;
        EXPECT_EQ(local32 != nullptr, row.in32);
        const std::tm* local = _localtime64(&row.t);
        ASSERT_EQ(local != nullptr, row.in64);
        if (local == nullptr) {
            continue;
        }
        EXPECT_EQ(ShowTm(*local), row.shown);
        std::tm back = *local;
        EXPECT_EQ(_mktime64(&back), row.t);
        back = *local;
        EXPECT_EQ(_mktime32(&back), row.in32 ? row.t : -1);
    }
    EXPECT_EQ(_localtime64(nullptr), nullptr);
    EXPECT_EQ(_mktime64(nullptr), -1);
}

TEST(TimeRuntime, MktimeTakesDstFlagAndWritesBack) {
    ScopedTz tz("Europe/Berlin");
    std::tm tm{};
    tm.tm_year = 124;
    tm.tm_mday = 15;
    tm.tm_hour = 10;
    tm.tm_isdst = 1;
    EXPECT_EQ(_mktime64(&tm), Instant("2024-01-15T08:00"));
    EXPECT_EQ(ShowTm(tm), "2024-01-15 dow1 09:00:00.000");
    EXPECT_EQ(tm.tm_isdst, 0);
    EXPECT_EQ(tm.tm_yday, 14);
    std::tm overflow{};
    overflow.tm_year = 124;
    overflow.tm_mon = 13;
    overflow.tm_mday = 0;
    overflow.tm_min = 24 * 60 + 5;
    overflow.tm_isdst = -1;
    EXPECT_EQ(_mktime64(&overflow), Instant("2025-02-01T00:05") - 3600);
    EXPECT_EQ(ShowTm(overflow), "2025-02-01 dow6 00:05:00.000");
    std::tm late{};
    late.tm_year = 1101;
    std::memset(&late, 0x11, sizeof late);
    late.tm_year = 1101;
    const std::tm copy = late;
    EXPECT_EQ(_mktime64(&late), -1);
    EXPECT_EQ(std::memcmp(&late, &copy, sizeof late), 0);
}

TEST(TimeRuntime, FtimeGivesStandardBias) {
    ScopedTz tz("America/New_York");
    __timeb64 now{};
    _ftime64(&now);
    EXPECT_EQ(now.timezone, 300);
    EXPECT_LT(now.millitm, 1000);
    EXPECT_GT(now.time, Instant("2024-01-01T00:00"));
    const std::tm* local = _localtime64(&now.time);
    ASSERT_NE(local, nullptr);
    EXPECT_EQ(now.dstflag != 0, local->tm_isdst > 0);
}

} // namespace
