// The exported time calls: thin wrappers over the process's zone (time/zone.h).
#include "time/zone.h"

#include <bvplatform/base.h>
#include <bvplatform/testing.h>
#include <bvplatform/time.h>
#include <bvplatform/winerror.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>

namespace bt = bvplatform::time;

namespace {

std::atomic<DWORD> g_failNextZoneCall{
    0};                      // error the next GetTimeZoneInformation fails with; 0 none
thread_local std::tm t_tm{}; // the runtime's per-thread result of localtime

constexpr std::int64_t kMax32 = 0x7FFFFFFF;

struct WindowsNames {
    const char* id;       // tzdata name
    const char16_t* base; // Windows zone name without " Standard Time"/" Daylight Time"
};
// The zones whose names the platform is known to give; others show their abbreviations.
constexpr WindowsNames kWindowsNames[] = {
    {"America/New_York", u"Eastern"},
    {"Europe/Berlin", u"W. Europe"},
    {"Australia/Sydney", u"AUS Eastern"},
    {"Asia/Kolkata", u"India"},
    {"Europe/Dublin", u"GMT"},
    {"Asia/Jerusalem", u"Israel"},
    {"UTC", u"Greenwich"},
};

void PrvCopyName(WCHAR (&out)[32], const std::u16string& name) {
    std::memset(out, 0, sizeof out);
    for (std::size_t i = 0; i < name.size() && i < 31; ++i) {
        out[i] = name[i];
    }
}

std::u16string PrvWiden(const std::string& text) {
    return std::u16string(text.begin(), text.end());
}

void PrvNames(const bt::Zone& zone, TIME_ZONE_INFORMATION& info) {
    for (const auto& names : kWindowsNames) {
        if (zone.id == names.id) {
            PrvCopyName(info.StandardName, std::u16string(names.base) + u" Standard Time");
            PrvCopyName(info.DaylightName, std::u16string(names.base) + u" Daylight Time");
            return;
        }
    }
    PrvCopyName(info.StandardName, PrvWiden(zone.standardName));
    PrvCopyName(info.DaylightName, PrvWiden(zone.daylightName));
}

std::int64_t PrvFloorDiv(std::int64_t a, std::int64_t b) {
    return a / b - (a % b < 0 ? 1 : 0);
}

/// The transition of `year` in the platform's day-in-month form.
SYSTEMTIME PrvRecord(const bt::Transition& t, std::int64_t year) {
    const std::int64_t local = bt::TransitionLocal(t, year);
    const std::int64_t days = PrvFloorDiv(local, 86400);
    const std::int64_t seconds = local - days * 86400;
    std::int64_t y = 0;
    int month = 0;
    int day = 0;
    bt::CivilFromDays(days, y, month, day);
    SYSTEMTIME st{};
    st.wMonth = static_cast<WORD>(month);
    st.wDayOfWeek = static_cast<WORD>(((days + 4) % 7 + 7) % 7);
    const bool sameDay = t.kind == 'M' && t.time >= 0 && t.time < 86400;
    const bool last = day + 7 > static_cast<int>(bt::DaysFromCivil(y, month + 1, 1) -
                                                 bt::DaysFromCivil(y, month, 1));
    st.wDay = static_cast<WORD>(sameDay ? t.week : (last ? 5 : (day - 1) / 7 + 1));
    st.wHour = static_cast<WORD>(seconds / 3600);
    st.wMinute = static_cast<WORD>(seconds % 3600 / 60);
    st.wSecond = static_cast<WORD>(seconds % 60);
    return st;
}

std::int64_t PrvNow(unsigned short* millis) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (millis != nullptr) {
        *millis = static_cast<unsigned short>(now.tv_nsec / 1000000);
    }
    return now.tv_sec;
}

std::tm* PrvLocal(std::int64_t utc, std::int64_t max) {
    if (utc < 0 || utc > max) {
        errno = EINVAL;
        return nullptr;
    }
    const auto zone = bt::CurrentZone();
    const bool dst = bt::IsDaylight(*zone, utc);
    const std::int64_t local = utc + (dst ? zone->daylightOffset : zone->standardOffset);
    const std::int64_t days = PrvFloorDiv(local, 86400);
    const std::int64_t seconds = local - days * 86400;
    std::int64_t year = 0;
    std::tm out{};
    bt::CivilFromDays(days, year, out.tm_mon, out.tm_mday);
    out.tm_year = static_cast<int>(year - 1900);
    out.tm_mon -= 1;
    out.tm_hour = static_cast<int>(seconds / 3600);
    out.tm_min = static_cast<int>(seconds % 3600 / 60);
    out.tm_sec = static_cast<int>(seconds % 60);
    out.tm_wday = static_cast<int>(((days + 4) % 7 + 7) % 7);
    out.tm_yday = static_cast<int>(days - bt::DaysFromCivil(year, 1, 1));
    out.tm_isdst = dst ? 1 : 0;
    t_tm = out; // the platform's tm has no offset or zone name: both stay 0
    return &t_tm;
}

std::int64_t PrvMakeTime(std::tm* tm, std::int64_t max) {
    if (tm == nullptr) {
        errno = EINVAL;
        return -1;
    }
    const auto zone = bt::CurrentZone();
    const std::int64_t local =
        (bt::DaysFromCivil(tm->tm_year + std::int64_t{1900}, tm->tm_mon + std::int64_t{1}, 1) +
         tm->tm_mday - 1) *
            86400 +
        std::int64_t{tm->tm_hour} * 3600 + std::int64_t{tm->tm_min} * 60 + tm->tm_sec;
    // Daylight time is the standard offset plus the daylight bias, which is an hour in a zone
    // without daylight rule, as the platform reports it.
    const std::int64_t daylight =
        zone->hasDaylight ? zone->daylightOffset : zone->standardOffset + 3600;
    const bool dst = tm->tm_isdst > 0 || (tm->tm_isdst < 0 && bt::IsDaylightLocal(*zone, local));
    const std::int64_t utc = local - (dst ? daylight : zone->standardOffset);
    if (utc < 0 || utc > max) {
        errno = EINVAL;
        return -1;
    }
    *tm = *PrvLocal(utc, max);
    return utc;
}

} // namespace

namespace {

/// The record of one zone for one year, built once: normalize reads it on every call. Plain
/// data, so that it stays usable during exit.
struct RecordCache {
    std::uint64_t serial = 0;     // Zone::serial of the zone described; 0 none
    std::int64_t year = 0;        // the local year of its dates
    TIME_ZONE_INFORMATION info{}; // the record
};
thread_local RecordCache t_record; // per thread, so that no lock is needed

const TIME_ZONE_INFORMATION& PrvRecordFor(const std::shared_ptr<const bt::Zone>& zone,
                                          std::int64_t now) {
    std::int64_t year = 0;
    int month = 0;
    int day = 0;
    bt::CivilFromDays(PrvFloorDiv(now + zone->standardOffset, 86400), year, month, day);
    if (t_record.serial == zone->serial && t_record.year == year) {
        return t_record.info;
    }
    TIME_ZONE_INFORMATION out{};
    out.Bias = -zone->standardOffset / 60;
    out.DaylightBias =
        zone->hasDaylight ? -(zone->daylightOffset - zone->standardOffset) / 60 : -60;
    PrvNames(*zone, out);
    if (zone->hasDaylight) {
        out.StandardDate = PrvRecord(zone->end, year);
        out.DaylightDate = PrvRecord(zone->start, year);
    }
    t_record = RecordCache{zone->serial, year, out};
    return t_record.info;
}

} // namespace

DWORD GetTimeZoneInformation(LPTIME_ZONE_INFORMATION info) {
    if (const DWORD error = g_failNextZoneCall.exchange(0); error != 0) {
        SetLastError(error);
        return TIME_ZONE_ID_INVALID;
    }
    if (info == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return TIME_ZONE_ID_INVALID;
    }
    const auto zone = bt::CurrentZone();
    const std::int64_t now = PrvNow(nullptr);
    *info = PrvRecordFor(zone, now);
    if (!zone->hasDaylight) {
        return TIME_ZONE_ID_UNKNOWN;
    }
    return bt::IsDaylight(*zone, now) ? TIME_ZONE_ID_DAYLIGHT : TIME_ZONE_ID_STANDARD;
}

std::tm* _localtime32(const __time32_t* t) {
    return t == nullptr ? nullptr : PrvLocal(*t, kMax32);
}

std::tm* _localtime64(const __time64_t* t) {
    return t == nullptr ? nullptr : PrvLocal(*t, _MAX__TIME64_T);
}

__time32_t _mktime32(std::tm* tm) {
    return static_cast<__time32_t>(PrvMakeTime(tm, kMax32));
}

__time64_t _mktime64(std::tm* tm) {
    return PrvMakeTime(tm, _MAX__TIME64_T);
}

void _ftime64(__timeb64* t) {
    if (t == nullptr) {
        return;
    }
    const auto zone = bt::CurrentZone();
    t->time = PrvNow(&t->millitm);
    t->timezone = static_cast<short>(-zone->standardOffset / 60);
    t->dstflag = bt::IsDaylight(*zone, t->time) ? 1 : 0;
}

void bvplatform::testing::FailNextGetTimeZoneInformation(DWORD error) {
    g_failNextZoneCall.store(error);
}
