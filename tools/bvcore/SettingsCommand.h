// `bvcore settings`: get, set, delete, list and tree over the library's settings store, through
// its public calls only. The console is abstract so that tests run the verbs in-process.
#pragma once

#include <span>
#include <string>

namespace bvtool::settings {

/// Where a verb writes.
struct Console {
    std::string out; // standard output (UTF-8), in order
    std::string err; // standard error, one line per failure
};

/// Exit codes of the verbs.
enum ExitCode : int {
    kExitOk = 0,     // done (deleting what is not there included)
    kExitFailed = 1, // the store said no, or nothing is stored where something must be
    kExitUsage = 2, // unknown verb or type, wrong count of words, a value or path that doesn't read
};

/// Runs `settings` with its own arguments (UTF-8); returns one of the exit codes.
int Run(std::span<const std::string> args, Console& io);

} // namespace bvtool::settings
