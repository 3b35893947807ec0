// Where the viewer keeps its state: the prefix of the stand-in, and the one-viewer-per-prefix
// lock beside its log.
#pragma once

#include <string>

namespace bvdiag {

/// The platform's prefix, created (0700) if missing; empty when it cannot be.
[[nodiscard]] std::string EnsurePrefix();

/// Takes <prefix>/bvdiag.lock for the life of the process; false when another viewer holds it.
[[nodiscard]] bool TakeViewerLock(const std::string& prefix);

/// True when standard output is /dev/null, as for a program that WinExec started.
[[nodiscard]] bool StdoutIsNull();

} // namespace bvdiag
