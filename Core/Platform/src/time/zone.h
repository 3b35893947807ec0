// The process's zone: one POSIX rule, read from TZ or /etc/localtime (the tzdata file's footer)
// and applied to every year. Shared by GetTimeZoneInformation and the runtime's time functions.
#pragma once

#include <bvplatform/types.h>

#include <cstdint>
#include <memory>
#include <string>

namespace bvplatform::time {

/// One transition of a POSIX rule: "Mm.w.d", "Jn" or "n", then a local time of day.
struct Transition {
    char kind = 'M';          // 'M' month/week/weekday, 'J' day 1-365 without 29 Feb, 'N' day 0-365
    int month = 0;            // 1-12 for 'M'
    int week = 0;             // 1-5 for 'M', 5 the last
    int weekday = 0;          // 0 Sunday to 6 for 'M'
    int day = 0;              // the day for 'J' and 'N'
    std::int32_t time = 7200; // seconds after local midnight; may lie outside 0-86399
};

/// A zone rule. Offsets are seconds east of UTC (local = UTC + offset); the daylight offset is
/// never below the standard one (a negative daylight saving is turned round when parsed).
struct Zone {
    std::uint64_t serial = 0;        // number of the load that made it, unique in the process
    std::string id;                  // tzdata name when known ("Europe/Berlin"), else empty
    std::string standardName;        // abbreviation of standard time
    std::string daylightName;        // abbreviation of daylight time; empty without a rule
    std::int32_t standardOffset = 0; // seconds east of UTC in standard time
    std::int32_t daylightOffset = 0; // seconds east of UTC in daylight time
    bool hasDaylight = false;        // the rule has daylight time
    Transition start;                // daylight begins, in standard local time
    Transition end;                  // daylight ends, in daylight local time
};

/// Parses a POSIX TZ rule ("EST5EDT,M3.2.0,M11.1.0"); null when it isn't one.
std::shared_ptr<const Zone> ParseRule(const std::string& text);

/// The zone in force now (TZ as it stands at this call); never null, UTC when nothing fits.
std::shared_ptr<const Zone> CurrentZone();

/// Days since 1 January 1970 of a proleptic Gregorian date; month may be any value.
std::int64_t DaysFromCivil(std::int64_t year, std::int64_t month, std::int64_t day);
/// The date of a day number since 1970.
void CivilFromDays(std::int64_t days, std::int64_t& year, int& month, int& day);

/// Seconds since 1970 (local clock of the year) at which `t` happens in `year`.
std::int64_t TransitionLocal(const Transition& t, std::int64_t year);
/// Whether daylight time is in force at UTC second `utc`.
bool IsDaylight(const Zone& zone, std::int64_t utc);
/// Whether the local clock second `local` counts as daylight time: from the start as the
/// standard clock reads it to the end as the daylight clock reads it, so that a skipped hour
/// and a repeated hour both count as daylight time.
bool IsDaylightLocal(const Zone& zone, std::int64_t local);

} // namespace bvplatform::time
