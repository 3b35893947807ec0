// Locale-aware text: comparison in the linguistic order of a locale, and the platform's case
// mapping of CharUpperW and CharLowerW. The user's locale comes from LC_ALL, LC_COLLATE or LANG
// (read once; "C", "POSIX" or none count as en-US).
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>

using LCID = DWORD;

constexpr LCID LOCALE_NEUTRAL = 0x0000;
constexpr LCID LOCALE_INVARIANT = 0x007F;
constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;

constexpr DWORD NORM_IGNORECASE = 0x00000001;
constexpr DWORD NORM_IGNORENONSPACE = 0x00000002;
constexpr DWORD NORM_IGNORESYMBOLS = 0x00000004;
constexpr DWORD SORT_DIGITSASNUMBERS = 0x00000008;
constexpr DWORD LINGUISTIC_IGNORECASE = 0x00000010;
constexpr DWORD LINGUISTIC_IGNOREDIACRITIC = 0x00000020;
constexpr DWORD SORT_STRINGSORT = 0x00001000;
constexpr DWORD NORM_IGNOREKANATYPE = 0x00010000;
constexpr DWORD NORM_IGNOREWIDTH = 0x00020000;
constexpr DWORD NORM_LINGUISTIC_CASING = 0x08000000;

constexpr int CSTR_LESS_THAN = 1;
constexpr int CSTR_EQUAL = 2;
constexpr int CSTR_GREATER_THAN = 3;

/// Compares two texts in the linguistic order of a locale (LOCALE_USER_DEFAULT, the system
/// default, LOCALE_INVARIANT or an explicit locale id). A negative length means terminated.
/// Without SORT_STRINGSORT, hyphens and apostrophes weigh only after everything else ("coop" <
/// "co-op"); blank and "_" are ordinary symbols before digits and letters. Lower case sorts
/// before upper case unless NORM_IGNORECASE makes case count for nothing; "ß" equals "ss".
/// NORM_IGNORENONSPACE drops accents, NORM_IGNORESYMBOLS symbols and punctuation,
/// SORT_DIGITSASNUMBERS reads digit runs as numbers; kana type and width count only where case
/// does. Returns CSTR_LESS_THAN, CSTR_EQUAL or CSTR_GREATER_THAN, 0 on failure.
/// Fails: ERROR_INVALID_PARAMETER (a null text, an unknown locale id), ERROR_INVALID_FLAGS
/// (a flag the platform doesn't define).
BVPLATFORM_API int CompareStringW(LCID Locale, DWORD dwCmpFlags, LPCWSTR lpString1, int cchCount1,
                                  LPCWSTR lpString2, int cchCount2);

/// Upper-cases by the platform's per-unit table: a terminated text in place (returning it), or
/// a single unit passed as a pointer value below 0x10000 (returning the mapped unit the same
/// way). A unit maps only where its mapping leads back to it, so U+00DF, U+0131, U+0130,
/// U+03C2, U+01C5 and U+00B5 stay. Never fails.
BVPLATFORM_API LPWSTR CharUpperW(LPWSTR lpsz);

/// Lower-cases as CharUpperW upper-cases (U+0130, U+212A, U+1E9E stay). Never fails.
BVPLATFORM_API LPWSTR CharLowerW(LPWSTR lpsz);

/// Upper-cases `cchLength` units in place (zero units included); returns the units processed,
/// 0 for a null buffer. Never fails.
BVPLATFORM_API DWORD CharUpperBuffW(LPWSTR lpsz, DWORD cchLength);

/// Lower-cases `cchLength` units in place as CharUpperBuffW upper-cases. Never fails.
BVPLATFORM_API DWORD CharLowerBuffW(LPWSTR lpsz, DWORD cchLength);
