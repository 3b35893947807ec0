// The subcommands of the bvcore tool.
#pragma once

#include <span>
#include <string_view>

namespace bvtool {

using Args = std::span<char* const>; // the subcommand's own arguments

/// A guided tour of the library's capabilities, on whatever prefix the environment names.
int RunTour(Args args);

/// The registry: query, add, delete, copy, export, import, protect and unprotect keys.
int RunReg(Args args);

/// The settings store: get, set, delete, list and tree on settings paths.
int RunSettings(Args args);

} // namespace bvtool
