// Code pages: conversion between narrow text and UTF-16 as the platform does it.
// The stand-in's ANSI code page (CP_ACP, CP_THREAD_ACP) is UTF-8 (65001), its OEM code page
// (CP_OEMCP) 437 and its Mac code page (CP_MACCP) 10000. UTF-8 and UTF-7 have codecs of their
// own; the single- and double-byte code pages come from ICU, with the platform's own
// replacements where ICU differs.
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

/// Converts narrow text of a code page to UTF-16. A negative cbMultiByte means terminated (the
/// terminator is converted and counted); cchWideChar 0 asks for the size needed. Invalid input
/// becomes U+FFFD (UTF-8) or the code page's default unit. Returns the units written (or
/// needed), 0 on failure.
/// Fails: ERROR_INVALID_PARAMETER (null source, cbMultiByte 0, cchWideChar < 0, no destination
/// with cchWideChar > 0, source and destination the same, unknown code page, result longer than
/// an int), ERROR_INVALID_FLAGS (flags the code page doesn't take: UTF-8 takes only
/// MB_PRECOMPOSED and MB_ERR_INVALID_CHARS, UTF-7 none; MB_PRECOMPOSED with MB_COMPOSITE),
/// ERROR_INSUFFICIENT_BUFFER (destination too small: what fitted is written),
/// ERROR_NO_UNICODE_TRANSLATION (invalid input under MB_ERR_INVALID_CHARS: the destination may
/// hold what came before it). Other failures leave the destination untouched.
/// Success leaves the last error untouched.
BVPLATFORM_API int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr,
                                       int cbMultiByte, LPWSTR lpWideCharStr, int cchWideChar);

/// Converts UTF-16 to narrow text of a code page. A negative cchWideChar means terminated;
/// cbMultiByte 0 asks for the size needed. Units the code page lacks become a best-fit
/// character (unless WC_NO_BEST_FIT_CHARS) or the default character ('?' or lpDefaultChar), and
/// *lpUsedDefaultChar tells whether the default character was used. UTF-8 writes a lone
/// surrogate as EF BF BD. A character is never split over the end of the destination.
/// Fails: ERROR_INVALID_PARAMETER (null source, cchWideChar 0, cbMultiByte < 0, no destination
/// with cbMultiByte > 0, source and destination the same, unknown code page, lpDefaultChar or
/// lpUsedDefaultChar with CP_UTF8/CP_UTF7, result longer than an int), ERROR_INVALID_FLAGS
/// (flags the code page doesn't take: UTF-8 takes only WC_ERR_INVALID_CHARS, UTF-7 none, the
/// others all but WC_ERR_INVALID_CHARS), ERROR_INSUFFICIENT_BUFFER (what fitted is written),
/// ERROR_NO_UNICODE_TRANSLATION (lone surrogate under WC_ERR_INVALID_CHARS: the destination may
/// hold what came before it). Other failures leave the destination untouched.
/// *lpUsedDefaultChar is written on success and with ERROR_INSUFFICIENT_BUFFER (for the part
/// converted), untouched on other failures. Success leaves the last error untouched.
BVPLATFORM_API int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr,
                                       int cchWideChar, LPSTR lpMultiByteStr, int cbMultiByte,
                                       LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar);

/// The active (ANSI) code page: 65001 on the stand-in, for every thread and locale.
BVPLATFORM_API UINT GetACP();

/// The OEM code page: 437 on the stand-in, whatever the locale.
BVPLATFORM_API UINT GetOEMCP();

/// TRUE if the code page can be converted. The aliases CP_ACP, CP_OEMCP, CP_MACCP and
/// CP_THREAD_ACP are no code pages of their own: FALSE. Never fails.
BVPLATFORM_API BOOL IsValidCodePage(UINT CodePage);

/// TRUE if the byte is a lead byte of a double-byte character in the active code page (never:
/// the stand-in's is UTF-8). Never fails.
BVPLATFORM_API BOOL IsDBCSLeadByte(BYTE TestChar);

/// TRUE if the byte is a lead byte in the given code page (or alias). Fails:
/// ERROR_INVALID_PARAMETER (unknown code page; returns FALSE).
BVPLATFORM_API BOOL IsDBCSLeadByteEx(UINT CodePage, BYTE TestChar);
