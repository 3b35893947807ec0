// Scope tracing: an object that logs "Entering <name>" when built and "Exiting <name> (elapsed =
// s.sss sec)" when destroyed, optionally stamped with the time since a caller's stopwatch started.
// The lines go to CoreLogger; with no viewer they are lost and the measuring still happens.
#pragma once

#include "Core/Common/Export.h"
#include "Core/Common/Types.h"

#include <bvplatform/time.h>
#include <bvplatform/types.h>

/// A running time from the moment of construction, on the high-resolution counter. Entirely
/// inline: callers build it in their own code, the library exports nothing of it. Reading it
/// changes nothing, so one watch may be read from several threads.
class mcStopwatch {
public:
    mcStopwatch() {
        LARGE_INTEGER value{};
        QueryPerformanceFrequency(&value);
        m_frequency = value.QuadPart;
        Restart();
    }

    /// Seconds since the start (or the last Restart).
    [[nodiscard]] double ElapsedSeconds() const {
        return static_cast<double>(Now() - m_start) / static_cast<double>(m_frequency);
    }

    /// Takes the counter now as the new start.
    void Restart() { m_start = Now(); }

private:
    [[nodiscard]] static LONGLONG Now() {
        LARGE_INTEGER value{};
        QueryPerformanceCounter(&value);
        return value.QuadPart;
    }

    LONGLONG m_start;     // the counter's value at the start, in ticks
    LONGLONG m_frequency; // the counter's ticks per second
};

/// Marks a scope in the diagnostics log. Belongs to one thread; nesting needs nothing special.
class mcAutoTrace {
public:
    /// Logs "[t = <watch> sec]: Entering <name>" (the prefix only with a watch); the scope's own
    /// time starts after that line was sent. `name` is in the active code page; `watch` may be
    /// null, is not owned and must outlive the trace.
    BVCORE_API mcAutoTrace(const AStr& name, const mcStopwatch* watch);
    /// Logs "[t = <watch> sec]: Exiting <name> (elapsed = <own> sec)".
    BVCORE_API ~mcAutoTrace();
    mcAutoTrace(const mcAutoTrace&) = delete;
    mcAutoTrace& operator=(const mcAutoTrace&) = delete;

private:
    mcStopwatch m_watch;              // the time inside the scope
    TStr m_name;                      // the scope's name
    const mcStopwatch* m_callerWatch; // the caller's time line; null for none
};
