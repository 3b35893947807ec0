// A second viewer of a station shows what the first one logs.
#pragma once

#include <bvplatform/windows.h>

#include <cstdio>
#include <string>

namespace bvdiag {

/// Copies what is appended to `path` to `out`, from its end at the call, following a rotation,
/// until `viewer` is no window any more. Returns the exit code.
int FollowLog(const std::string& path, HWND viewer, std::FILE* out);

} // namespace bvdiag
