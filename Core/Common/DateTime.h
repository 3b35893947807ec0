// The calendar date-time value, the duration and the door that writes the value's fields. The
// calendar is Julian up to 4 October 1582 and Gregorian from 15 October 1582; day 1 is
// 1 January of year 1. Fields are kept in their own widths and carried only by normalize.
#pragma once

#include "Core/Common/Export.h"

#include <bvplatform/time.h>

#include <cstdint>

class mcDateTimeSpan;
class mcDateTimeMangler;

class BVCORE_API mcDateTime {
public:
    mcDateTime() = default;

    void clear();
    /// Fills the value from the clock and the zone (the 64-bit runtime functions).
    mcDateTime& SetNow();
    [[nodiscard]] static mcDateTime Now();

    [[nodiscard]] bool empty() const;
    [[nodiscard]] bool emptyDate() const;
    [[nodiscard]] bool emptyTime() const;
    /// Month 1-12, day 1 to the month's length in a leap year, year not 0.
    [[nodiscard]] bool validDate() const;

    [[nodiscard]] std::uint32_t Year() const { return m_year; }
    [[nodiscard]] std::uint32_t Month() const { return m_month; }
    [[nodiscard]] std::uint32_t Day() const { return m_day; }
    [[nodiscard]] std::uint32_t Hour() const { return m_hour; }
    [[nodiscard]] std::uint32_t Minute() const { return m_minute; }
    [[nodiscard]] std::uint32_t Second() const { return m_second; }
    [[nodiscard]] std::uint32_t Millisecond() const { return m_millisecond; }
    [[nodiscard]] std::int32_t UTCOffset() const { return m_utcOffset; }
    [[nodiscard]] bool DST() const { return m_dst; }

    [[nodiscard]] bool LeapYear() const;
    /// 1 for 1 January; 0 when year, month or day is 0. A month above 12 counts on into the
    /// following years, so month 13 sums the whole year.
    [[nodiscard]] std::uint32_t DayOfYear() const;
    /// 0 Sunday to 6 Saturday; day number 0 is a Friday.
    [[nodiscard]] std::uint32_t DayOfWeek() const;
    [[nodiscard]] std::uint32_t JulianDays() const { return toDays(); }

    /// -1, 0 or 1 over the fields as they stand; UTC offset and DST take no part.
    [[nodiscard]] int cmp(const mcDateTime& other, bool compareTime,
                          bool compareMilliseconds) const;
    bool operator==(const mcDateTime& o) const { return cmp(o, true, true) == 0; }
    bool operator!=(const mcDateTime& o) const { return cmp(o, true, true) != 0; }
    bool operator<(const mcDateTime& o) const { return cmp(o, true, true) == -1; }
    bool operator>(const mcDateTime& o) const { return cmp(o, true, true) == 1; }
    bool operator<=(const mcDateTime& o) const { return cmp(o, true, true) != 1; }
    bool operator>=(const mcDateTime& o) const { return cmp(o, true, true) != -1; }

    mcDateTime& operator+=(const mcDateTimeSpan& span);
    /// Leaves the date and time alone when the result would lie before day 0.
    mcDateTime& operator-=(const mcDateTimeSpan& span);
    [[nodiscard]] mcDateTime operator+(const mcDateTimeSpan& span) const;
    [[nodiscard]] mcDateTime operator-(const mcDateTimeSpan& span) const;
    /// The distance between the two values, whatever their order.
    [[nodiscard]] mcDateTimeSpan operator-(const mcDateTime& other) const;

private:
    friend class mcDateTimeMangler;

    void normalize(bool refreshZone);
    void refreshZoneFields();
    void fromDays(std::uint32_t days);
    void fromDays(std::uint32_t days, std::uint32_t seconds);
    [[nodiscard]] std::uint32_t toDays() const;
    [[nodiscard]] std::uint32_t toSeconds() const;
    [[nodiscard]] int tzcmp(const _SYSTEMTIME& transition) const;

    std::uint16_t m_year = 0;        // calendar year; 0 means no date
    std::uint8_t m_month = 0;        // 1 to 12; 0 means no date
    std::uint8_t m_day = 0;          // day of the month; 0 means no date
    std::uint8_t m_hour = 0;         // 0 to 23
    std::uint8_t m_minute = 0;       // 0 to 59
    std::uint8_t m_second = 0;       // 0 to 59
    std::uint16_t m_millisecond = 0; // 0 to 999
    std::int16_t m_utcOffset = 0;    // minutes, UTC = local + offset (positive west)
    bool m_dst = false;              // daylight saving time in force at this value
};

/// A non-negative duration: whole seconds and the milliseconds beyond them.
class BVCORE_API mcDateTimeSpan {
public:
    mcDateTimeSpan() = default;
    mcDateTimeSpan(std::uint64_t seconds, std::uint32_t milliseconds);
    mcDateTimeSpan(std::uint32_t days, std::uint32_t hours, std::uint32_t minutes,
                   std::uint32_t seconds, std::uint32_t milliseconds);

    void clear() { *this = mcDateTimeSpan(); }

    [[nodiscard]] std::uint32_t Days() const { return static_cast<std::uint32_t>(TotalDays()); }
    [[nodiscard]] std::uint64_t TotalDays() const { return m_seconds / 86400; }
    [[nodiscard]] std::uint64_t TotalHours() const { return m_seconds / 3600; }
    [[nodiscard]] std::uint64_t TotalMinutes() const { return m_seconds / 60; }
    [[nodiscard]] std::uint64_t TotalSeconds() const { return m_seconds; }
    [[nodiscard]] std::uint64_t TotalMilliseconds() const {
        return m_seconds * 1000 + m_milliseconds;
    }
    [[nodiscard]] std::uint32_t Hours() const {
        return static_cast<std::uint32_t>(TotalHours() - 24 * TotalDays());
    }
    [[nodiscard]] std::uint32_t Minutes() const {
        return static_cast<std::uint32_t>(TotalMinutes() - 60 * TotalHours());
    }
    [[nodiscard]] std::uint32_t Seconds() const {
        return static_cast<std::uint32_t>(m_seconds - 60 * TotalMinutes());
    }
    [[nodiscard]] std::uint32_t Milliseconds() const { return m_milliseconds; }

    [[nodiscard]] int cmp(const mcDateTimeSpan& other) const;
    bool operator==(const mcDateTimeSpan& o) const { return cmp(o) == 0; }
    bool operator!=(const mcDateTimeSpan& o) const { return cmp(o) != 0; }
    bool operator<(const mcDateTimeSpan& o) const { return cmp(o) == -1; }
    bool operator>(const mcDateTimeSpan& o) const { return cmp(o) == 1; }
    bool operator<=(const mcDateTimeSpan& o) const { return cmp(o) != 1; }
    bool operator>=(const mcDateTimeSpan& o) const { return cmp(o) != -1; }

    mcDateTimeSpan& operator+=(const mcDateTimeSpan& other);
    /// Does nothing when this span is the smaller.
    mcDateTimeSpan& operator-=(const mcDateTimeSpan& other);
    [[nodiscard]] mcDateTimeSpan operator+(const mcDateTimeSpan& other) const;
    /// The distance between the two spans, whatever their order.
    [[nodiscard]] mcDateTimeSpan operator-(const mcDateTimeSpan& other) const;

private:
    void carry();

    std::uint64_t m_seconds = 0;      // whole seconds of the duration
    std::uint32_t m_milliseconds = 0; // 0 to 999 after every operation on normalised operands
};

/// Writes the fields of one mcDateTime as they come, without check or carry.
class BVCORE_API mcDateTimeMangler {
public:
    explicit mcDateTimeMangler(mcDateTime& value) : m_value(value) {}

    void Year(std::uint16_t v) { m_value.m_year = v; }
    void Month(std::uint8_t v) { m_value.m_month = v; }
    void Day(std::uint8_t v) { m_value.m_day = v; }
    void Hour(std::uint8_t v) { m_value.m_hour = v; }
    void Minute(std::uint8_t v) { m_value.m_minute = v; }
    void Second(std::uint8_t v) { m_value.m_second = v; }
    void Millisecond(std::uint16_t v) { m_value.m_millisecond = v; }
    void UTCOffset(std::int16_t v) { m_value.m_utcOffset = v; }
    void DST(bool v) { m_value.m_dst = v; }
    void Normalize(bool refreshZone) { m_value.normalize(refreshZone); }
    /// fromDays with seconds, and no normalize after it.
    void FromDays(std::uint32_t days, std::uint32_t seconds) { m_value.fromDays(days, seconds); }

private:
    mcDateTime& m_value; // the value written; not owned, outlives this object
};
