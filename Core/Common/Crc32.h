// CRC-32 of byte buffers: the reflected polynomial 0xEDB88320 that zlib and PNG use, with the
// usual pre- and post-inversion, so that a sum goes on across buffers by passing the last result
// back in.
#pragma once

#include "Core/Common/Export.h"

#include <bvplatform/types.h>

/// The CRC-32 of `length` bytes at `data`, continuing from `crc` (0 for a new sum). Null data or
/// a length of 0 gives 0, not `crc`.
[[nodiscard]] BVCORE_API LONG mfCrc32(ULONG crc, const unsigned char* data, unsigned length);

/// The 256 entries of the byte-at-a-time table (entry 1 is 0x77073096); constant data.
[[nodiscard]] BVCORE_API const ULONG* GetCrcTable();
