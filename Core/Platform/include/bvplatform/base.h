// The thread's last-error value and the stand-in's state directory (the prefix).
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>

/// The calling thread's last-error value. Never fails.
BVPLATFORM_API DWORD GetLastError();

/// Sets the calling thread's last-error value. Never fails.
BVPLATFORM_API void SetLastError(DWORD code);
