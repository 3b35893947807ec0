// Scope tracing. Numbers are formatted narrow and widened: a char16_t stream of the standard
// library has no numeric facets and would write nothing.
#include "Core/Common/AutoTrace.h"

#include "Core/Common/AutoTracePrivate.h"
#include "Core/Common/Logger.h"
#include "Core/Common/StrConv.h"

#include <charconv>

namespace core::detail {

TStr SecondsText(double seconds) {
    char buffer[64];
    const auto result =
        std::to_chars(buffer, buffer + sizeof buffer, seconds, std::chars_format::fixed, 3);
    if (result.ec != std::errc{}) {
        return u"?"; // beyond 10^60 seconds: no clock gets there
    }
    return TStr(buffer, result.ptr);
}

} // namespace core::detail

namespace {

/// "[t = 1.250 sec]: " for a watch, nothing without.
TStr WatchPrefix(const mcStopwatch* watch) {
    if (watch == nullptr) {
        return {};
    }
    return u"[t = " + core::detail::SecondsText(watch->ElapsedSeconds()) + u" sec]: ";
}

} // namespace

mcAutoTrace::mcAutoTrace(const AStr& name, const mcStopwatch* watch)
    : m_name(mfConvertMBCSToT(name)), m_callerWatch(watch) {
    CoreLogger().Log(WatchPrefix(m_callerWatch) + u"Entering " + m_name);
    m_watch.Restart(); // the time spent sending the line is not the scope's
}

mcAutoTrace::~mcAutoTrace() {
    const double elapsed = m_watch.ElapsedSeconds();
    CoreLogger().Log(WatchPrefix(m_callerWatch) + u"Exiting " + m_name + u" (elapsed = " +
                     core::detail::SecondsText(elapsed) + u" sec)");
}
