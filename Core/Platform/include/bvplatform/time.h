// Time: the zone rules of the platform and the runtime's explicit 32- and 64-bit time functions.
// One zone serves them all: TZ (a zone name, ":name", a tzdata path or a POSIX rule; empty is
// UTC), else /etc/localtime; an unknown or unreadable zone is UTC. Every year follows the zone's
// current rule, as on the platform. A TZ changed in the process counts from the next call.
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>

#include <ctime>

struct _SYSTEMTIME {
    WORD wYear;         // calendar year; 0 in a zone rule (every year)
    WORD wMonth;        // 1 to 12; 0 in a zone rule without daylight time
    WORD wDayOfWeek;    // 0 Sunday to 6 Saturday
    WORD wDay;          // day of the month; in a zone rule the occurrence 1-5 (5 the last)
    WORD wHour;         // 0 to 23
    WORD wMinute;       // 0 to 59
    WORD wSecond;       // 0 to 59
    WORD wMilliseconds; // 0 to 999
};
using SYSTEMTIME = _SYSTEMTIME;
using LPSYSTEMTIME = SYSTEMTIME*;

struct _TIME_ZONE_INFORMATION {
    LONG Bias;               // minutes, UTC = local + Bias (positive west)
    WCHAR StandardName[32];  // name of standard time, terminated
    SYSTEMTIME StandardDate; // local daylight time at which standard time begins
    LONG StandardBias;       // added to Bias in standard time (0)
    WCHAR DaylightName[32];  // name of daylight time, terminated
    SYSTEMTIME DaylightDate; // local standard time at which daylight time begins
    LONG DaylightBias;       // added to Bias in daylight time (-60 mostly)
};
using TIME_ZONE_INFORMATION = _TIME_ZONE_INFORMATION;
using LPTIME_ZONE_INFORMATION = TIME_ZONE_INFORMATION*;

constexpr DWORD TIME_ZONE_ID_UNKNOWN = 0;
constexpr DWORD TIME_ZONE_ID_STANDARD = 1;
constexpr DWORD TIME_ZONE_ID_DAYLIGHT = 2;
constexpr DWORD TIME_ZONE_ID_INVALID = 0xFFFFFFFF;

/// The OLE date: days since 30 December 1899, the fraction the time of day.
using DATE = double;

using __time32_t = std::int32_t;
using __time64_t = std::int64_t;
/// The last second the 64-bit functions accept: 31 December 3000 23:59:59 Pacific time.
constexpr __time64_t _MAX__TIME64_T = 0x793406fffLL;

struct __timeb64 {
    __time64_t time;        // seconds since 1970 UTC
    unsigned short millitm; // milliseconds
    short timezone;         // standard bias in minutes, positive west
    short dstflag;          // nonzero while daylight time is in force
};

/// The zone's rules for the current year, and whether daylight time is in force now.
/// Returns TIME_ZONE_ID_UNKNOWN for a zone without daylight rule (months 0), else
/// TIME_ZONE_ID_STANDARD or TIME_ZONE_ID_DAYLIGHT. A negative daylight saving (winter time as
/// the zone's daylight) is turned round: the summer offset is daylight time.
/// Fails: TIME_ZONE_ID_INVALID with ERROR_INVALID_PARAMETER for a null `info`, or with a
/// forced error (testing.h); `info` is left untouched.
BVPLATFORM_API DWORD GetTimeZoneInformation(LPTIME_ZONE_INFORMATION info);

/// Local broken-down time of `*t` in a per-thread buffer.
/// Fails: null for a null `t` or a value below 0 or above 0x7FFFFFFF.
BVPLATFORM_API std::tm* _localtime32(const __time32_t* t);
/// The same for 64-bit values.
/// Fails: null for a null `t` or a value below 0 or above _MAX__TIME64_T.
BVPLATFORM_API std::tm* _localtime64(const __time64_t* t);

/// Seconds since 1970 of the local time in `*tm` (fields may overflow; tm_isdst > 0 is daylight
/// time, 0 standard, < 0 found out); the normalised fields are written back.
/// Fails: -1 for a null `tm` or a result below 0 or above 0x7FFFFFFF; `*tm` is left untouched.
BVPLATFORM_API __time32_t _mktime32(std::tm* tm);
/// The same for 64-bit values.
/// Fails: -1 for a null `tm` or a result below 0 or above _MAX__TIME64_T; `*tm` untouched.
BVPLATFORM_API __time64_t _mktime64(std::tm* tm);

/// The clock: seconds, milliseconds, the zone's standard bias and the daylight flag.
/// Fails: nothing; a null `t` is ignored.
BVPLATFORM_API void _ftime64(__timeb64* t);

/// The platform's 64-bit signed count, as the high-resolution counter hands it over.
union _LARGE_INTEGER {
    struct {
        DWORD LowPart; // the low 32 bits
        LONG HighPart; // the high 32 bits
    } u;
    LONGLONG QuadPart; // the whole value
};
using LARGE_INTEGER = _LARGE_INTEGER;

/// The high-resolution counter: the monotonic clock in ticks of QueryPerformanceFrequency,
/// counting from an arbitrary start; never goes back, and is the same in every process.
/// Fails: FALSE with ERROR_NOACCESS for a null pointer.
BVPLATFORM_API BOOL QueryPerformanceCounter(LARGE_INTEGER* lpPerformanceCount);

/// The counter's ticks per second: a constant 10,000,000 (100 ns ticks, what current versions of
/// the platform report), fixed at boot on the platform and for the life of the system here.
/// Fails: FALSE with ERROR_NOACCESS for a null pointer.
BVPLATFORM_API BOOL QueryPerformanceFrequency(LARGE_INTEGER* lpFrequency);
