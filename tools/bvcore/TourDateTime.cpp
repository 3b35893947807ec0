// The date-time section of the bvcore tour.
#include "TourSections.h"

#include "Core/Common/DateTime.h"
#include "Core/Common/DateTimeConvert.h"

#include <cstdio>

namespace bvtool {

namespace {

void Show(const char* label, const mcDateTime& v) {
    std::printf("  %-34s %04u-%02u-%02u %02u:%02u:%02u.%03u  offset %d min, DST %s\n", label,
                v.Year(), v.Month(), v.Day(), v.Hour(), v.Minute(), v.Second(), v.Millisecond(),
                v.UTCOffset(), v.DST() ? "yes" : "no");
}

} // namespace

void TourDateTime() {
    std::printf("\n== Dates and times: calendar, OLE dates, spans\n");
    const mcDateTime release =
        mcDateTimeConvert::Date(2004, 1, 14) + mcDateTimeSpan(0, 12, 0, 0, 0);
    Show("a local date", release);
    const double ole = mcDateTimeConvert::TimeToDATE(release);
    std::printf("  %-34s %.17g\n", "as an OLE date", ole);
    Show("and back from the OLE date", mcDateTimeConvert::DATEToTime(ole));
    const mcDateTime reform = mcDateTimeConvert::Date(1582, 10, 4);
    Show("last Julian day", reform);
    Show("plus one day", reform + mcDateTimeSpan(1, 0, 0, 0, 0));
    const mcDateTimeSpan span =
        release - mcDateTimeConvert::DateTime(1999, 12, 31, 23, 59, 58, 500);
    std::printf("  %-34s %u days %02u:%02u:%02u.%03u (%llu seconds)\n",
                "span since 1999-12-31 23:59:58.5", span.Days(), span.Hours(), span.Minutes(),
                span.Seconds(), span.Milliseconds(),
                static_cast<unsigned long long>(span.TotalSeconds()));
    Show("now", mcDateTime::Now());
}

} // namespace bvtool
