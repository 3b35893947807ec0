// Named loggers that send lines to the diagnostics viewer, the process-wide "CORE" logger, and
// assertion records. Logging is best effort: it never fails for its caller.
#pragma once

#include "Core/Common/Export.h"
#include "Core/Common/Types.h"

#include <bvplatform/types.h>

namespace core {

class BVCORE_API Logger {
public:
    /// A named logger. Touches nothing until its first line.
    explicit Logger(const TStr& name);
    /// Closes the channel if one was opened.
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    /// Sends one line, unchanged (no time stamp, no name, no line feed). A line the viewer
    /// cannot take is lost without a trace.
    void Log(const TStr& line) const;

    struct Record; // opaque: the channel state and the message block

private:
    Record* m_record; // the channel state and the message block; null if it could not be made
};

/// Records a failed assertion "Assertion failed,<file>(<line>)" on the CORE logger; returns 0.
BVCORE_API LONG LogAssertFailure(const char* file, int line);

/// Records "Assertion failed,"<expression>",<function>(),<file>(<line>)"; returns 0. A null
/// argument counts as empty text.
BVCORE_API LONG LogAssertFailure(const char* function, const char* file, int line,
                                 const char* expression);

} // namespace core

/// The process-wide logger named "CORE", built at the first call and destroyed at the end of the
/// process (which closes its channel).
BVCORE_API core::Logger& CoreLogger();
