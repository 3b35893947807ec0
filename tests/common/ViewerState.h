// The library keeps one viewer handle per process. Tests that run in one process after others
// set it to a known state first.
#pragma once

#include "Core/Common/Logger.h"

#include "support/TestViewer.h"

#include <bvplatform/testing.h>

namespace bvtest {

/// Leaves the process-wide viewer handle clear: a stale handle is dropped at the next send, and
/// with no viewer about nothing is found again.
inline void ForgetViewer() {
    bvplatform::testing::SetWinExecHandler([](const char*, UINT) -> UINT { return 2; });
    {
        core::Logger probe(u"probe");
        probe.Log(u"");
    }
    bvplatform::testing::SetWinExecHandler({});
}

/// Points the process-wide handle at `viewer` (a fresh logger discovers it), so that loggers
/// opened earlier in the process send there too; forgets the messages that cost.
inline void AttachViewer(TestViewer& viewer) {
    {
        core::Logger probe(u"probe");
        probe.Log(u"");
    }
    viewer.ClearMessages();
}

} // namespace bvtest
