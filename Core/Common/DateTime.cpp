// The calendar arithmetic keeps the fields' own widths on purpose: carries wrap in the receiving
// field and fromDays keeps its year estimate in 16 bits, which is what gives day 0 its
// 31 December of year 0 and bounds the day numbers at 23920629.
#include "Core/Common/DateTime.h"

#include <algorithm>

namespace {

constexpr std::uint8_t kaui8DaysInMonth[2][12] = {
    {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31},
    {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31},
};
constexpr std::uint32_t kui32FirstGregorianDay = 577738; // 15 October 1582
constexpr std::uint32_t kui32JulianGap = 10;             // 5 to 14 October 1582
constexpr std::uint32_t kui32SecondsPerDay = 86400;

/// Days before each month and, last, the whole year: common and leap.
constexpr std::uint16_t kaui16DaysBefore[2][13] = {
    {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365},
    {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335, 366},
};

bool PrvIsLeap(std::uint32_t year) {
    return year % 4 == 0 && (year < 1582 || year % 100 != 0 || year % 400 == 0);
}

int PrvOrder(std::uint32_t a, std::uint32_t b) {
    return a < b ? -1 : (a > b ? 1 : 0);
}

} // namespace

void mcDateTime::clear() {
    *this = mcDateTime();
}

mcDateTime& mcDateTime::SetNow() {
    // The 64-bit twins answer as the 32-bit calls did up to 2038 and go on after it.
    __timeb64 now{};
    _ftime64(&now);
    const std::tm* local = _localtime64(&now.time);
    clear();
    if (local == nullptr) {
        return *this;
    }
    m_year = static_cast<std::uint16_t>(local->tm_year + 1900);
    m_month = static_cast<std::uint8_t>(local->tm_mon + 1);
    m_day = static_cast<std::uint8_t>(local->tm_mday);
    m_hour = static_cast<std::uint8_t>(local->tm_hour);
    m_minute = static_cast<std::uint8_t>(local->tm_min);
    m_second = static_cast<std::uint8_t>(local->tm_sec);
    m_millisecond = now.millitm;
    m_utcOffset = now.timezone;
    m_dst = local->tm_isdst > 0;
    return *this;
}

mcDateTime mcDateTime::Now() {
    mcDateTime value;
    value.SetNow();
    return value;
}

bool mcDateTime::empty() const {
    return emptyDate() && emptyTime() && m_utcOffset == 0;
}

bool mcDateTime::emptyDate() const {
    return m_year == 0 && m_month == 0 && m_day == 0;
}

bool mcDateTime::emptyTime() const {
    return m_hour == 0 && m_minute == 0 && m_second == 0 && m_millisecond == 0;
}

bool mcDateTime::validDate() const {
    return m_year != 0 && m_month >= 1 && m_month <= 12 && m_day >= 1 &&
           m_day <= kaui8DaysInMonth[1][m_month - 1];
}

bool mcDateTime::LeapYear() const {
    return PrvIsLeap(m_year);
}

std::uint32_t mcDateTime::DayOfYear() const {
    if (m_year == 0 || m_month == 0 || m_day == 0) {
        return 0;
    }
    if (m_month <= 13) {
        return m_day + kaui16DaysBefore[PrvIsLeap(m_year) ? 1 : 0][m_month - 1];
    }
    // Further months count on into the following years, whole years at a time.
    std::uint32_t sum = m_day;
    std::uint32_t year = m_year;
    std::uint32_t month = m_month;
    for (; month > 12; month -= 12, ++year) {
        sum += kaui16DaysBefore[PrvIsLeap(year) ? 1 : 0][12];
    }
    return sum + kaui16DaysBefore[PrvIsLeap(year) ? 1 : 0][month - 1];
}

std::uint32_t mcDateTime::DayOfWeek() const {
    return (toDays() + 5) % 7;
}

std::uint32_t mcDateTime::toSeconds() const {
    return (m_hour * 60u + m_minute) * 60u + m_second;
}

std::uint32_t mcDateTime::toDays() const {
    std::int64_t base = 0;
    if (m_year != 0) {
        const std::int64_t y = m_year - 1;
        base = 365 * y + y / 4;
        if (y > 1582) {
            base += y / 400 - y / 100 + 12;
        }
    }
    const auto n = static_cast<std::uint32_t>(base + DayOfYear());
    return n < kui32FirstGregorianDay ? n : n - kui32JulianGap;
}

void mcDateTime::fromDays(std::uint32_t days) {
    const std::uint32_t d = days >= kui32FirstGregorianDay ? days + kui32JulianGap : days;
    auto y = static_cast<std::uint16_t>(d / 365);
    std::int64_t r = d % 365;
    r -= y / 4;
    if (y >= 1700) {
        r += y / 100 - y / 400 - 12;
    }
    while (r < 1) {
        r += PrvIsLeap(y) ? 366 : 365;
        --y;
    }
    m_year = static_cast<std::uint16_t>(y + 1);
    // The month walk stops at December; every month before has at most 31 days, so the walk
    // may start at (r - 1) / 31.
    const std::uint16_t* before = kaui16DaysBefore[PrvIsLeap(m_year) ? 1 : 0];
    std::uint32_t m =
        r > 31 ? static_cast<std::uint32_t>(std::min<std::int64_t>((r - 1) / 31, 11)) : 0;
    while (m < 11 && r > before[m + 1]) {
        ++m;
    }
    m_month = static_cast<std::uint8_t>(m + 1);
    m_day = static_cast<std::uint8_t>(r - before[m]);
}

void mcDateTime::fromDays(std::uint32_t days, std::uint32_t seconds) {
    if (seconds > kui32SecondsPerDay) {
        days += seconds / kui32SecondsPerDay;
        seconds %= kui32SecondsPerDay;
    }
    fromDays(days);
    m_hour = static_cast<std::uint8_t>(seconds / 3600);
    m_minute = static_cast<std::uint8_t>(seconds % 3600 / 60);
    m_second = static_cast<std::uint8_t>(seconds % 60);
}

void mcDateTime::normalize(bool refreshZone) {
    if (m_millisecond >= 1000) {
        m_second = static_cast<std::uint8_t>(m_second + m_millisecond / 1000);
        m_millisecond %= 1000;
    }
    if (m_second >= 60) {
        m_minute = static_cast<std::uint8_t>(m_minute + m_second / 60);
        m_second %= 60;
    }
    if (m_minute >= 60) {
        m_hour = static_cast<std::uint8_t>(m_hour + m_minute / 60);
        m_minute %= 60;
    }
    if (m_hour >= 24) {
        fromDays(toDays() + m_hour / 24);
        m_hour %= 24;
    } else if (m_day > 28 || m_month > 12) {
        fromDays(toDays());
    }
    if (refreshZone) {
        refreshZoneFields();
    }
}

void mcDateTime::refreshZoneFields() {
    TIME_ZONE_INFORMATION tz;
    if (GetTimeZoneInformation(&tz) == TIME_ZONE_ID_INVALID) {
        return;
    }
    // The daylight bias is never applied: the offset is the zone's standard one.
    m_utcOffset = static_cast<std::int16_t>(tz.Bias);
    if (tz.StandardDate.wMonth == 0 || tz.DaylightDate.wMonth == 0) {
        return;
    }
    const int toStandard = tzcmp(tz.StandardDate);
    const int toDaylight = tzcmp(tz.DaylightDate);
    if (tz.DaylightDate.wMonth < tz.StandardDate.wMonth) {
        m_dst = toStandard == -1 && toDaylight != -1;
    } else {
        m_dst = toStandard == -1 || toDaylight != -1;
    }
}

int mcDateTime::tzcmp(const _SYSTEMTIME& t) const {
    if (t.wDayOfWeek != 0) {
        return 0;
    }
    // wDay is taken as a day of the month, not as the rule's occurrence of a weekday.
    const std::uint8_t mine[] = {m_month, m_day, m_hour, m_minute};
    const std::uint8_t theirs[] = {
        static_cast<std::uint8_t>(t.wMonth), static_cast<std::uint8_t>(t.wDay),
        static_cast<std::uint8_t>(t.wHour), static_cast<std::uint8_t>(t.wMinute)};
    for (int i = 0; i < 4; ++i) {
        if (const int order = PrvOrder(mine[i], theirs[i]); order != 0) {
            return order;
        }
    }
    return 0;
}

int mcDateTime::cmp(const mcDateTime& o, bool compareTime, bool compareMilliseconds) const {
    const std::uint32_t mine[] = {m_year,   m_month,  m_day,        m_hour,
                                  m_minute, m_second, m_millisecond};
    const std::uint32_t theirs[] = {o.m_year,   o.m_month,  o.m_day,        o.m_hour,
                                    o.m_minute, o.m_second, o.m_millisecond};
    const int fields = !compareTime ? 3 : (!compareMilliseconds ? 6 : 7);
    for (int i = 0; i < fields; ++i) {
        if (const int order = PrvOrder(mine[i], theirs[i]); order != 0) {
            return order;
        }
    }
    return 0;
}

mcDateTime& mcDateTime::operator+=(const mcDateTimeSpan& span) {
    const std::uint64_t days = span.TotalSeconds() / kui32SecondsPerDay;
    const auto rest = static_cast<std::uint32_t>(span.TotalSeconds() % kui32SecondsPerDay);
    fromDays(static_cast<std::uint32_t>(toDays() + days), toSeconds() + rest);
    m_millisecond = static_cast<std::uint16_t>(m_millisecond + span.Milliseconds());
    normalize(false);
    return *this;
}

mcDateTime& mcDateTime::operator-=(const mcDateTimeSpan& span) {
    const std::uint64_t days = span.TotalSeconds() / kui32SecondsPerDay;
    const auto rest = static_cast<std::uint32_t>(span.TotalSeconds() % kui32SecondsPerDay);
    std::uint32_t n = toDays();
    std::uint32_t s = toSeconds();
    while (m_millisecond < span.Milliseconds()) {
        m_millisecond = static_cast<std::uint16_t>(m_millisecond + 1000);
        if (s == 0) {
            --n;
            s = kui32SecondsPerDay;
        }
        --s;
    }
    m_millisecond = static_cast<std::uint16_t>(m_millisecond - span.Milliseconds());
    while (s < rest) {
        s += kui32SecondsPerDay;
        --n;
    }
    if (days > n) {
        return *this;
    }
    fromDays(static_cast<std::uint32_t>(n - days), s - rest);
    return *this;
}

mcDateTime mcDateTime::operator+(const mcDateTimeSpan& span) const {
    mcDateTime copy(*this);
    return copy += span;
}

mcDateTime mcDateTime::operator-(const mcDateTimeSpan& span) const {
    mcDateTime copy(*this);
    return copy -= span;
}

mcDateTimeSpan mcDateTime::operator-(const mcDateTime& other) const {
    const bool thisSmaller = cmp(other, true, true) == -1;
    const mcDateTime& later = thisSmaller ? other : *this;
    const mcDateTime& earlier = thisSmaller ? *this : other;
    std::int64_t days = std::int64_t{later.toDays()} - earlier.toDays();
    std::int64_t seconds = std::int64_t{later.toSeconds()} - earlier.toSeconds();
    std::int64_t millis = std::int64_t{later.m_millisecond} - earlier.m_millisecond;
    if (millis < 0) {
        const std::int64_t borrow = (-millis + 999) / 1000;
        millis += borrow * 1000;
        seconds -= borrow;
    }
    if (seconds < 0) {
        const std::int64_t borrow = (-seconds + kui32SecondsPerDay - 1) / kui32SecondsPerDay;
        seconds += borrow * kui32SecondsPerDay;
        days -= borrow;
    }
    return mcDateTimeSpan(static_cast<std::uint32_t>(days), 0, 0,
                          static_cast<std::uint32_t>(seconds), static_cast<std::uint32_t>(millis));
}

mcDateTimeSpan::mcDateTimeSpan(std::uint64_t seconds, std::uint32_t milliseconds)
    : m_seconds(seconds), m_milliseconds(milliseconds) {
    carry();
}

mcDateTimeSpan::mcDateTimeSpan(std::uint32_t days, std::uint32_t hours, std::uint32_t minutes,
                               std::uint32_t seconds, std::uint32_t milliseconds)
    : m_seconds(((std::uint64_t{days} * 24 + hours) * 60 + minutes) * 60 + seconds),
      m_milliseconds(milliseconds) {
    carry();
}

void mcDateTimeSpan::carry() {
    m_seconds += m_milliseconds / 1000;
    m_milliseconds %= 1000;
}

int mcDateTimeSpan::cmp(const mcDateTimeSpan& o) const {
    if (m_seconds != o.m_seconds) {
        return m_seconds < o.m_seconds ? -1 : 1;
    }
    return PrvOrder(m_milliseconds, o.m_milliseconds);
}

mcDateTimeSpan& mcDateTimeSpan::operator+=(const mcDateTimeSpan& other) {
    m_seconds += other.m_seconds;
    m_milliseconds += other.m_milliseconds;
    while (m_milliseconds >= 1000) {
        m_milliseconds -= 1000;
        ++m_seconds;
    }
    return *this;
}

mcDateTimeSpan& mcDateTimeSpan::operator-=(const mcDateTimeSpan& other) {
    if (cmp(other) == -1) {
        return *this;
    }
    while (m_milliseconds < other.m_milliseconds) {
        m_milliseconds += 1000;
        --m_seconds;
    }
    m_seconds -= other.m_seconds;
    m_milliseconds -= other.m_milliseconds;
    return *this;
}

mcDateTimeSpan mcDateTimeSpan::operator+(const mcDateTimeSpan& other) const {
    mcDateTimeSpan copy(*this);
    return copy += other;
}

mcDateTimeSpan mcDateTimeSpan::operator-(const mcDateTimeSpan& other) const {
    if (cmp(other) == -1) {
        return other - *this;
    }
    mcDateTimeSpan copy(*this);
    return copy -= other;
}
