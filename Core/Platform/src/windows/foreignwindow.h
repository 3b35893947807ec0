// A window of another process, read from its record and reached over its socket.
#pragma once

#include "windows/station.h"

#include <memory>
#include <vector>

namespace bvplatform::detail {

/// The live window of another process behind a handle, or null.
std::shared_ptr<Window> FindForeignWindow(HWND handle);

/// The live windows of other processes in the station.
std::vector<std::shared_ptr<Window>> ForeignWindows();

} // namespace bvplatform::detail
