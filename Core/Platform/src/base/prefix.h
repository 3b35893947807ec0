// The stand-in's per-user state directory: $BV_PREFIX, else $XDG_DATA_HOME/bvplatform, else
// ~/.local/share/bvplatform.
#pragma once

#include <string>

namespace bvplatform::detail {

/// The prefix path as the environment names it now (not created).
std::string PrefixPath();

/// The prefix, created with mode 0700 (parents as needed) on first use. Returns an empty path
/// and sets errno when it cannot be created or is not a directory.
std::string EnsurePrefix();

} // namespace bvplatform::detail
