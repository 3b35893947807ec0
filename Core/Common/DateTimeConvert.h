// Conversions between mcDateTime/mcDateTimeSpan and plain numbers, the runtime's tm and time_t,
// the platform's _SYSTEMTIME and the OLE date. A value that comes without a zone is taken as
// local time and gets its UTC offset and DST from the platform; one that comes with them keeps
// them.
#pragma once

#include "Core/Common/DateTime.h"
#include "Core/Common/Export.h"

#include <bvplatform/time.h>

#include <cstdint>
#include <ctime>

class BVCORE_API mcDateTimeConvert {
public:
    /// All fields given, cut to their widths; carried without reading the zone.
    [[nodiscard]] static mcDateTime DateTime(unsigned year, unsigned month, unsigned day,
                                             unsigned hour, unsigned minute, unsigned second,
                                             unsigned millisecond, int utcOffset, bool dst);
    /// Local time: carried, then UTC offset and DST from the zone.
    [[nodiscard]] static mcDateTime DateTime(unsigned year, unsigned month, unsigned day,
                                             unsigned hour, unsigned minute, unsigned second,
                                             unsigned millisecond);
    [[nodiscard]] static mcDateTime Date(unsigned year, unsigned month, unsigned day);
    /// A time of day with an empty date; 24 hours and more move the empty date.
    [[nodiscard]] static mcDateTime Time(unsigned hour, unsigned minute, unsigned second,
                                         unsigned millisecond);

    [[nodiscard]] static mcDateTime LocalTmToTime(const std::tm& tm);
    /// The runtime's tm of the value after _mktime64 (weekday and day of year filled in).
    [[nodiscard]] static std::tm TimeToLocalTm(const mcDateTime& value);

    [[nodiscard]] static mcDateTime SystemTimeToTime(const _SYSTEMTIME& st);
    /// wDayOfWeek is the value's weekday for a valid date, else 0.
    [[nodiscard]] static _SYSTEMTIME TimeToSystemTime(const mcDateTime& value);

    /// An empty value for a time the runtime has no local time for (also beyond 32 bits).
    [[nodiscard]] static mcDateTime TimeT32ToTime(long t);
    /// -1 where the runtime's 32-bit mktime fails.
    [[nodiscard]] static long TimeToTimeT32(const mcDateTime& value);
    /// An empty value for a time the runtime has no local time for.
    [[nodiscard]] static mcDateTime TimeTToTime(std::int64_t t);
    /// -1 where the runtime's _mktime64 fails.
    [[nodiscard]] static std::int64_t TimeToTimeT(const mcDateTime& value);

    /// An empty value for NaN, infinities and dates whose day number lies outside 1-23920629.
    [[nodiscard]] static mcDateTime DATEToTime(double date);
    [[nodiscard]] static double TimeToDATE(const mcDateTime& value);
    /// The sign is dropped; NaN, infinities and spans beyond 64-bit seconds give an empty span.
    [[nodiscard]] static mcDateTimeSpan DATEToTimeSpan(double date);
    [[nodiscard]] static double TimeSpanToDATE(const mcDateTimeSpan& span);
};
