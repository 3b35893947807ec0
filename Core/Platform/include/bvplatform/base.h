// The thread's last-error value and the stand-in's state directory (the prefix).
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>

#include <string>

/// The calling thread's last-error value. Never fails.
BVPLATFORM_API DWORD GetLastError();

/// Sets the calling thread's last-error value. Never fails.
BVPLATFORM_API void SetLastError(DWORD code);

/// Extension of the stand-in: the prefix directory that holds the per-user state ($BV_PREFIX,
/// else $XDG_DATA_HOME/bvplatform, else ~/.local/share/bvplatform), created with mode 0700 if
/// missing. Empty when it can't be created or is not a directory.
BVPLATFORM_API std::string BvEnsurePrefix();
