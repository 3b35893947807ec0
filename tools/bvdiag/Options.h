// The command line of bvdiag.
#pragma once

#include <bvplatform/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace bvdiag {

struct Options {
    bool machine = false;        // tab-separated records instead of lines for people
    std::vector<DWORD> pids;     // show only these senders; empty: all
    std::string logger;          // show only loggers whose name contains this (ASCII case
                                 // ignored); empty: all
    std::string output;          // a file that gets a copy of what is shown; empty: none
    std::uint64_t exitAfter = 0; // exit after this many lines shown; 0: never
    bool foreground = false;     // stay in the foreground even with stdout on /dev/null
    bool background = false;     // run as if started by WinExec
    bool help = false;           // print the usage and exit
};

/// The options, or nothing after writing the reason to `error`.
[[nodiscard]] std::optional<Options> ParseOptions(const std::vector<std::string>& args,
                                                  std::string& error);

/// The text of --help.
[[nodiscard]] const char* UsageText();

} // namespace bvdiag
