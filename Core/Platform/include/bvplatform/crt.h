// The C runtime's wide functions that the library calls.
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>

constexpr int _MAX_PATH = 260;
constexpr int _MAX_DRIVE = 3;
constexpr int _MAX_DIR = 256;
constexpr int _MAX_FNAME = 256;
constexpr int _MAX_EXT = 256;

/// Splits a path into drive, directory, file name and extension, as the runtime does: both
/// separators, the drive only as a letter and a colon at the start, the extension from the last
/// dot of the last component. Each out-pointer may be null. A part longer than its _MAX_* size
/// (which the runtime leaves to overrun) is cut to _MAX_* - 1 units. A null path gives empty
/// parts and sets errno to EINVAL (the runtime calls its invalid-parameter handler).
BVPLATFORM_API void _wsplitpath(const WCHAR* path, WCHAR* drive, WCHAR* dir, WCHAR* fname,
                                WCHAR* ext);
