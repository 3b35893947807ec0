// The OLE arithmetic keeps its order of operations and constants, so that results are the same
// to the last bit as the platform's. Values without an answer are settled as empty values.
#include "Core/Common/DateTimeConvert.h"

#include <cmath>
#include <limits>

namespace {

constexpr std::uint32_t kui32OleBaseDay = 693596; // 30 December 1899
constexpr std::uint32_t kui32LastDay = 23920629;  // 14 June 65493, the last day fromDays reaches

struct PrvFields {
    unsigned year, month, day, hour, minute, second, millisecond;
};

mcDateTime PrvBuild(const PrvFields& f) {
    mcDateTime value;
    mcDateTimeMangler m(value);
    m.Year(static_cast<std::uint16_t>(f.year));
    m.Month(static_cast<std::uint8_t>(f.month));
    m.Day(static_cast<std::uint8_t>(f.day));
    m.Hour(static_cast<std::uint8_t>(f.hour));
    m.Minute(static_cast<std::uint8_t>(f.minute));
    m.Second(static_cast<std::uint8_t>(f.second));
    m.Millisecond(static_cast<std::uint16_t>(f.millisecond));
    return value;
}

mcDateTime PrvNormalized(const PrvFields& f, bool refreshZone) {
    mcDateTime value = PrvBuild(f);
    mcDateTimeMangler(value).Normalize(refreshZone);
    return value;
}

mcDateTime PrvFromTm(const std::tm* tm) {
    return tm == nullptr ? mcDateTime() : mcDateTimeConvert::LocalTmToTime(*tm);
}

} // namespace

mcDateTime mcDateTimeConvert::DateTime(unsigned year, unsigned month, unsigned day, unsigned hour,
                                       unsigned minute, unsigned second, unsigned millisecond,
                                       int utcOffset, bool dst) {
    mcDateTime value = PrvBuild({year, month, day, hour, minute, second, millisecond});
    mcDateTimeMangler m(value);
    m.UTCOffset(static_cast<std::int16_t>(utcOffset));
    m.DST(dst);
    m.Normalize(false);
    return value;
}

mcDateTime mcDateTimeConvert::DateTime(unsigned year, unsigned month, unsigned day, unsigned hour,
                                       unsigned minute, unsigned second, unsigned millisecond) {
    return PrvNormalized({year, month, day, hour, minute, second, millisecond}, true);
}

mcDateTime mcDateTimeConvert::Date(unsigned year, unsigned month, unsigned day) {
    return PrvNormalized({year, month, day, 0, 0, 0, 0}, true);
}

mcDateTime mcDateTimeConvert::Time(unsigned hour, unsigned minute, unsigned second,
                                   unsigned millisecond) {
    return PrvNormalized({0, 0, 0, hour, minute, second, millisecond}, false);
}

mcDateTime mcDateTimeConvert::LocalTmToTime(const std::tm& tm) {
    mcDateTime value =
        PrvBuild({static_cast<unsigned>(tm.tm_year + 1900), static_cast<unsigned>(tm.tm_mon + 1),
                  static_cast<unsigned>(tm.tm_mday), static_cast<unsigned>(tm.tm_hour),
                  static_cast<unsigned>(tm.tm_min), static_cast<unsigned>(tm.tm_sec), 0});
    mcDateTimeMangler m(value);
    m.DST(tm.tm_isdst > 0);
    m.Normalize(true);
    return value;
}

std::tm mcDateTimeConvert::TimeToLocalTm(const mcDateTime& value) {
    std::tm tm{}; // glibc's tm_gmtoff and tm_zone included
    tm.tm_year = static_cast<int>(value.Year()) - 1900;
    tm.tm_mon = static_cast<int>(value.Month()) - 1;
    tm.tm_mday = static_cast<int>(value.Day());
    tm.tm_hour = static_cast<int>(value.Hour());
    tm.tm_min = static_cast<int>(value.Minute());
    tm.tm_sec = static_cast<int>(value.Second());
    tm.tm_isdst = value.DST() ? 1 : 0;
    static_cast<void>(_mktime64(&tm));
    return tm;
}

mcDateTime mcDateTimeConvert::SystemTimeToTime(const _SYSTEMTIME& st) {
    return PrvNormalized(
        {st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, st.wMilliseconds}, true);
}

_SYSTEMTIME mcDateTimeConvert::TimeToSystemTime(const mcDateTime& value) {
    _SYSTEMTIME st{};
    st.wYear = static_cast<WORD>(value.Year());
    st.wMonth = static_cast<WORD>(value.Month());
    st.wDay = static_cast<WORD>(value.Day());
    st.wHour = static_cast<WORD>(value.Hour());
    st.wMinute = static_cast<WORD>(value.Minute());
    st.wSecond = static_cast<WORD>(value.Second());
    st.wMilliseconds = static_cast<WORD>(value.Millisecond());
    st.wDayOfWeek = static_cast<WORD>(value.validDate() ? value.DayOfWeek() : 0);
    return st;
}

mcDateTime mcDateTimeConvert::TimeT32ToTime(long t) {
    // long is 64-bit here: a value beyond 32 bits must not wrap into another date.
    if (t < std::numeric_limits<__time32_t>::min() || t > std::numeric_limits<__time32_t>::max()) {
        return mcDateTime();
    }
    const auto t32 = static_cast<__time32_t>(t);
    return PrvFromTm(_localtime32(&t32));
}

long mcDateTimeConvert::TimeToTimeT32(const mcDateTime& value) {
    std::tm tm = TimeToLocalTm(value);
    return _mktime32(&tm);
}

mcDateTime mcDateTimeConvert::TimeTToTime(std::int64_t t) {
    const __time64_t t64 = t;
    return PrvFromTm(_localtime64(&t64));
}

std::int64_t mcDateTimeConvert::TimeToTimeT(const mcDateTime& value) {
    std::tm tm = TimeToLocalTm(value);
    return _mktime64(&tm);
}

mcDateTime mcDateTimeConvert::DATEToTime(double date) {
    const bool negative = date < 0; // NaN counts as not negative
    const double a = std::fabs(date);
    if (!(a < 4294967296.0)) { // NaN, infinities and days beyond 32 bits
        return mcDateTime();
    }
    const auto d = static_cast<std::uint32_t>(a);
    const double s = (a - d) * 86400.0;
    const auto seconds = static_cast<std::uint32_t>(s);
    const auto millis = static_cast<std::uint32_t>((s - seconds) * 1000.0 + 0.5);
    if (d == 0) {
        return PrvBuild({0, 0, 0, seconds / 3600, seconds % 3600 / 60, seconds % 60, millis});
    }
    const std::int64_t n =
        negative ? std::int64_t{kui32OleBaseDay} - d : std::int64_t{kui32OleBaseDay} + d;
    if (n < 1 || n > kui32LastDay) {
        return mcDateTime();
    }
    mcDateTime value;
    mcDateTimeMangler m(value);
    m.FromDays(static_cast<std::uint32_t>(n), seconds);
    m.Millisecond(static_cast<std::uint16_t>(millis));
    m.Normalize(true);
    return value;
}

double mcDateTimeConvert::TimeToDATE(const mcDateTime& value) {
    const std::int64_t n = value.JulianDays();
    const auto days =
        static_cast<double>(n < kui32OleBaseDay ? kui32OleBaseDay - n : n - kui32OleBaseDay);
    double t = value.Millisecond() * 0.001;
    t = (value.Second() + t) * 0.016666666666666666;
    t = (value.Minute() + t) * 0.016666666666666666;
    t = (value.Hour() + t) * 0.041666666666666664;
    const double result = days + t;
    return n < kui32OleBaseDay ? -result : result;
}

mcDateTimeSpan mcDateTimeConvert::DATEToTimeSpan(double date) {
    const double s = std::fabs(date) * 86400.0;
    if (!(s < 18446744073709551616.0)) { // NaN, infinities and beyond 64-bit seconds
        return mcDateTimeSpan();
    }
    const auto seconds = static_cast<std::uint64_t>(s);
    const auto millis =
        static_cast<std::uint32_t>((s - static_cast<double>(seconds)) * 1000.0 + 0.5);
    return mcDateTimeSpan(seconds, millis);
}

double mcDateTimeConvert::TimeSpanToDATE(const mcDateTimeSpan& span) {
    return static_cast<double>(span.TotalMilliseconds()) / 86400.0 * 0.001;
}
