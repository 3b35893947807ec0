// Code pages: conversion between narrow text and UTF-16 as the platform does it.
// Code page 0 (CP_ACP) of the stand-in is UTF-8 (65001); other code pages come from ICU, with the
// platform's own replacements where ICU differs.
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>

constexpr UINT CP_ACP = 0;
constexpr UINT CP_OEMCP = 1;
constexpr UINT CP_MACCP = 2;
constexpr UINT CP_THREAD_ACP = 3;
constexpr UINT CP_UTF7 = 65000;
constexpr UINT CP_UTF8 = 65001;

constexpr DWORD MB_PRECOMPOSED = 0x00000001;
constexpr DWORD MB_COMPOSITE = 0x00000002;
constexpr DWORD MB_USEGLYPHCHARS = 0x00000004;
constexpr DWORD MB_ERR_INVALID_CHARS = 0x00000008;

constexpr DWORD WC_COMPOSITECHECK = 0x00000200;
constexpr DWORD WC_DISCARDNS = 0x00000010;
constexpr DWORD WC_SEPCHARS = 0x00000020;
constexpr DWORD WC_DEFAULTCHAR = 0x00000040;
constexpr DWORD WC_ERR_INVALID_CHARS = 0x00000080;
constexpr DWORD WC_NO_BEST_FIT_CHARS = 0x00000400;

/// Converts narrow text of a code page to UTF-16. cbMultiByte -1 means terminated (the terminator
/// is converted and counted); cchWideChar 0 asks for the size needed. Returns the units written
/// (or needed), 0 on failure.
/// Fails: ERROR_INVALID_PARAMETER (unknown code page, null source, cbMultiByte 0 or < -1,
/// cchWideChar < 0, source and destination the same), ERROR_INVALID_FLAGS (flags the code page
/// doesn't take), ERROR_INSUFFICIENT_BUFFER (destination too small; the part that fitted is
/// written), ERROR_NO_UNICODE_TRANSLATION (invalid input under MB_ERR_INVALID_CHARS).
/// Success leaves the last error untouched.
BVPLATFORM_API int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr,
                                       int cbMultiByte, LPWSTR lpWideCharStr, int cchWideChar);

/// Converts UTF-16 to narrow text of a code page. cchWideChar -1 means terminated; cbMultiByte 0
/// asks for the size needed. Units the code page lacks become a best-fit character or the
/// default character ('?' or lpDefaultChar), and *lpUsedDefaultChar tells whether that happened.
/// Fails: ERROR_INVALID_PARAMETER (unknown code page, null source, cchWideChar 0 or < -1,
/// cbMultiByte < 0, lpDefaultChar or lpUsedDefaultChar with CP_UTF8/CP_UTF7),
/// ERROR_INVALID_FLAGS, ERROR_INSUFFICIENT_BUFFER, ERROR_NO_UNICODE_TRANSLATION (lone surrogate
/// under WC_ERR_INVALID_CHARS). Success leaves the last error untouched.
BVPLATFORM_API int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr,
                                       int cchWideChar, LPSTR lpMultiByteStr, int cbMultiByte,
                                       LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar);

/// The active (ANSI) code page: 65001 on the stand-in.
BVPLATFORM_API UINT GetACP();

/// The OEM code page: 437 unless the user's locale calls for another.
BVPLATFORM_API UINT GetOEMCP();

/// TRUE if the code page can be converted. 0 (CP_ACP) is not a code page of its own: FALSE.
BVPLATFORM_API BOOL IsValidCodePage(UINT CodePage);

/// TRUE if the byte is a lead byte of a double-byte character in the active code page.
BVPLATFORM_API BOOL IsDBCSLeadByte(BYTE TestChar);

/// TRUE if the byte is a lead byte in the given code page. Fails: ERROR_INVALID_PARAMETER
/// (unknown code page; returns FALSE).
BVPLATFORM_API BOOL IsDBCSLeadByteEx(UINT CodePage, BYTE TestChar);
