// GUIDs: the platform's 16-byte record, new random GUIDs and their registry-style text.
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>
#include <bvplatform/winerror.h>

/// A GUID as the platform lays it out: 16 bytes, the first three parts in the machine's order.
struct _GUID {
    DWORD Data1;   // first 8 hexadecimal digits
    WORD Data2;    // next 4 digits
    WORD Data3;    // next 4 digits; its top 4 bits are the version
    BYTE Data4[8]; // last 16 digits, two per byte in memory order
};
using GUID = _GUID;
static_assert(sizeof(GUID) == 16);

/// Makes a new random (version 4) GUID from the system's secure random source.
/// Fails: E_INVALIDARG for a null `pguid`; E_FAIL if the random source fails. `*pguid` is left
/// untouched on failure.
BVPLATFORM_API HRESULT CoCreateGuid(GUID* pguid);

/// Writes the GUID as "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in capitals with a terminating
/// zero and returns 39, the units written with the terminator.
/// Fails: returns 0 and writes nothing if `lpsz` is null or `cchMax` is under 39.
BVPLATFORM_API int StringFromGUID2(const GUID& rguid, WCHAR* lpsz, int cchMax);
