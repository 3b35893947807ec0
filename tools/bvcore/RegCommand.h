// `bvcore reg`: the verbs of the platform's reg tool over the stand-in registry. The console is
// abstract so that tests run the verbs in-process.
#pragma once

#include "RegFile.h"

#include <bvplatform/registry.h>

#include <functional>
#include <span>
#include <string>

namespace bvtool::reg {

/// Where a verb writes and how it asks.
struct Console {
    std::string out; // standard output, in order
    std::string err; // standard error, one line per failure
    std::function<bool(const std::string& question)> confirm; // true when the user says yes
};

/// Writes exactly `data` as a value: the stand-in, like the platform, stores a NUL that follows a
/// text in memory, so the bytes after the data are made non-zero.
LSTATUS SetExact(HKEY key, const std::u16string& name, DWORD type, const regfile::Bytes& data);

/// Runs `reg` with its own arguments (UTF-8); returns the exit code (0 or 1).
int Run(std::span<const std::string> args, Console& io);

} // namespace bvtool::reg
