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

// The runtime's wide character classes, as its default "C" locale answers them. Each class test
// returns the runtime's class bits that hold for the unit (0 if none): units up to U+00FF come
// from the runtime's Latin-1 table, the others from the platform's Unicode character types.
// The signatures take WCHAR so that no call falls through to the C library's wchar_t functions.

constexpr int _UPPER = 0x0001;                   // upper-case letter
constexpr int _LOWER = 0x0002;                   // lower-case letter
constexpr int _DIGIT = 0x0004;                   // decimal digit
constexpr int _SPACE = 0x0008;                   // white space
constexpr int _PUNCT = 0x0010;                   // punctuation or symbol
constexpr int _CONTROL = 0x0020;                 // control or format character
constexpr int _BLANK = 0x0040;                   // blank (space separators and tab)
constexpr int _HEX = 0x0080;                     // hexadecimal digit
constexpr int _ALPHA = 0x0100 | _UPPER | _LOWER; // letter

/// White space: tab to carriage return, space separators (U+00A0, U+3000 ...), U+2028, U+2029;
/// not U+0085. Never fails.
BVPLATFORM_API int iswspace(WCHAR c);
/// A decimal digit of any script (U+0663, U+FF15 ...). Never fails.
BVPLATFORM_API int iswdigit(WCHAR c);
/// A letter or a decimal digit. Never fails.
BVPLATFORM_API int iswalnum(WCHAR c);
/// A letter. Never fails.
BVPLATFORM_API int iswalpha(WCHAR c);
/// A lower-case letter ("é" is one; U+00B5 is punctuation in the runtime's table). Never fails.
BVPLATFORM_API int iswlower(WCHAR c);
/// An upper-case letter. Never fails.
BVPLATFORM_API int iswupper(WCHAR c);
/// Punctuation or a symbol. Never fails.
BVPLATFORM_API int iswpunct(WCHAR c);

/// The upper-case form of "a" to "z"; every other unit is returned as it is (the "C" locale maps
/// ASCII only). Never fails.
BVPLATFORM_API WCHAR towupper(WCHAR c);
/// The lower-case form of "A" to "Z"; every other unit is returned as it is. Never fails.
BVPLATFORM_API WCHAR towlower(WCHAR c);

/// Compares two terminated texts after towlower of each unit; returns the difference of the
/// first differing pair (so "_" against "a" is -2), 0 if equal.
/// Fails: a null text sets errno to EINVAL and returns 0x7FFFFFFF (_NLSCMPERROR).
BVPLATFORM_API int _wcsicmp(const WCHAR* string1, const WCHAR* string2);
/// As _wcsicmp over at most `count` units. Fails as _wcsicmp (a count of 0 never fails).
BVPLATFORM_API int _wcsnicmp(const WCHAR* string1, const WCHAR* string2, SIZE_T count);

/// Reads a number: leading white space (iswspace), a sign, then digits of the base; base 0
/// takes "0x" as 16 and a leading "0" as 8, base 16 skips a "0x" or "0X". Digits of any script
/// count ("٣" is 3); letters count from 10. *endptr (if not null) gets the unit behind the last
/// digit read, or `str` itself when no digit was read (the result is then 0). Out of range gives
/// LONG_MAX or LONG_MIN and sets errno to ERANGE; success leaves errno alone.
/// Fails: a null text or a base other than 0 and 2 to 36 sets errno to EINVAL, returns 0 and
/// sets *endptr to `str`.
BVPLATFORM_API LONG wcstol(const WCHAR* str, WCHAR** endptr, int base);
/// As wcstol, unsigned: a minus sign negates the result in 32 bits ("-1" gives 0xFFFFFFFF);
/// out of range gives ULONG_MAX and ERANGE. Fails as wcstol.
BVPLATFORM_API ULONG wcstoul(const WCHAR* str, WCHAR** endptr, int base);
/// wcstol in base 10, as an int. Fails as wcstol (a null text gives 0).
BVPLATFORM_API int _wtoi(const WCHAR* str);
/// wcstol in base 10. Fails as wcstol (a null text gives 0).
BVPLATFORM_API LONG _wtol(const WCHAR* str);
/// As wcstol in base 10 with a 64-bit result: out of range gives INT64_MAX or INT64_MIN and
/// ERANGE. Fails as wcstol (a null text gives 0).
BVPLATFORM_API LONGLONG _wtoi64(const WCHAR* str);
