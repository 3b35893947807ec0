// Free functions on TStr: trimming, case, comparing, searching, replacing, splitting, URL
// coding, version texts, and the path-string helpers. None throws of its own accord: a bad
// argument gives the result its function names.
#pragma once

#include "Core/Common/Export.h"
#include "Core/Common/Types.h"

#include <bvplatform/types.h>

#include <vector>

// ---- Whitespace and trimming (whitespace is what the runtime's iswspace says) -------------

/// Whether the unit is whitespace by the runtime's iswspace.
[[nodiscard]] BVCORE_API bool mfIsWhitespace(WCHAR unit);
/// Whether the unit is not whitespace.
[[nodiscard]] BVCORE_API bool mfIsNotWhitespace(WCHAR unit);

/// The text without its leading whitespace.
[[nodiscard]] BVCORE_API TStr mfStrTrimLeft(const TStr& text);
/// The text without its trailing whitespace.
[[nodiscard]] BVCORE_API TStr mfStrTrimRight(const TStr& text);
/// The text without whitespace at either end.
[[nodiscard]] BVCORE_API TStr mfStrTrim(const TStr& text);
/// The text without its leading run of `unit`.
[[nodiscard]] BVCORE_API TStr mfStrTrimLeft(const TStr& text, WCHAR unit);
/// The text without its trailing run of `unit`.
[[nodiscard]] BVCORE_API TStr mfStrTrimRight(const TStr& text, WCHAR unit);
/// The text without runs of `unit` at either end.
[[nodiscard]] BVCORE_API TStr mfStrTrim(const TStr& text, WCHAR unit);
/// Trims whitespace at the left if `left`, then at the right if `right`.
[[nodiscard]] BVCORE_API TStr mfStrStripWhitespace(const TStr& text, bool left, bool right);
/// The text without its trailing zero units; a text of zero units only (or none) gives an empty
/// text.
[[nodiscard]] BVCORE_API TStr mfStrStripTrailingNull(const TStr& text);

// ---- Case, comparing and searching ---------------------------------------------------------

/// A copy lower-cased by the platform's CharLowerW; units behind a first zero unit stay as
/// they are.
[[nodiscard]] BVCORE_API TStr mfStrToLower(const TStr& text);
/// A copy upper-cased by the platform's CharUpperW, cut at a first zero unit.
[[nodiscard]] BVCORE_API TStr mfStrToUpper(const TStr& text);
/// Upper-cases (runtime towupper) a lower-case first unit and each lower-case unit behind a
/// unit of `separators`; nothing else changes.
BVCORE_API void mfStrCapitalizeWords(TStr& text, const TStr& separators);

/// Compares two terminated texts in the user's linguistic order (CompareStringW, case-blind if
/// `ignoreCase`): -1, 0 or 1; -2 if the platform fails (a null text).
[[nodiscard]] BVCORE_API int mfStrCompare(const WCHAR* first, const WCHAR* second, bool ignoreCase);
/// The same on the texts up to their first zero unit.
[[nodiscard]] BVCORE_API int mfStrCompare(const TStr& first, const TStr& second, bool ignoreCase);
/// Index of the first occurrence of `pattern` in `text` (both through mfStrToLower first if
/// `ignoreCase`); -1 if there is none or either is empty.
[[nodiscard]] BVCORE_API int mfStrFind(const TStr& text, const TStr& pattern, bool ignoreCase);
/// Index of the first unit in which the texts differ; the shorter one's length if one is a
/// prefix of the other; -1 if they are equal.
[[nodiscard]] BVCORE_API int mfStrFindFirstMismatchPosition(const TStr& first, const TStr& second);
/// True if the text is not empty and every unit is a digit by the runtime's iswdigit.
[[nodiscard]] BVCORE_API bool mfStrIsDigits(const TStr& text);
/// The first run of "0" to "9"; empty if there is none.
[[nodiscard]] BVCORE_API TStr mfStrExtractNumericSubString(const TStr& text);
/// Compares versions "major.minor.build" piece by piece as signed 64-bit numbers (empty pieces
/// fall away): -1, 0 or 1. A text that starts with "." or hasn't three pieces logs an assertion
/// and gives -2.
[[nodiscard]] BVCORE_API int mfStrCompareBVVersions(const TStr& first, const TStr& second);

// ---- Replacing, splitting and joining ------------------------------------------------------

/// Replaces every unit `from` by `to`.
BVCORE_API void mfStrReplaceAll(TStr& text, WCHAR from, WCHAR to);
/// Replaces every occurrence of `from` by `to`, never searching inserted text again. An empty
/// `from` changes nothing.
BVCORE_API void mfStrReplaceAll(TStr& text, const TStr& from, const TStr& to);
/// Splits at the first `separator`: `left` gets what stands before it, `right` everything from
/// one unit behind its start. False (out parameters untouched) if the separator is empty, not
/// found, or found with nothing behind it.
[[nodiscard]] BVCORE_API bool mfStrSplitLine(const TStr& line, const TStr& separator, TStr& left,
                                             TStr& right);
/// Appends the non-empty pieces between separators to `pieces` (each search resumes one unit
/// behind the last separator's start); returns how many were appended. The vector is not
/// cleared; an empty line or separator appends nothing.
BVCORE_API unsigned mfStrSplitLine(const TStr& line, const TStr& separator, TStrVec& pieces);
/// Appends the zero-terminated strings of a buffer to `lines`, up to an empty string or the end
/// of the buffer. A last string without its zero is appended as far as the buffer goes.
BVCORE_API void mfStrSeparateJoinedLines(const std::vector<WCHAR>& buffer, TStrVec& lines);
/// Joins two path pieces with exactly one backslash between them; an empty piece gives the
/// other.
[[nodiscard]] BVCORE_API TStr mfStrJoin(const TStr& first, const TStr& second);

// ---- URL coding ----------------------------------------------------------------------------

/// Copies letters and digits (iswalnum), and unless `strict` also "_.-!*()"; every other unit
/// becomes "%XX" (up to 0xFF) or "%XXXX" in capital hexadecimal digits of the code unit.
[[nodiscard]] BVCORE_API TStr mfStrUrlEncode(const TStr& text, bool strict);
/// Replaces each "%" and the (up to) two units behind it by the unit that wcstol reads from
/// them in base 16 (0 if it reads nothing); "+" stays.
[[nodiscard]] BVCORE_API TStr mfStrUrlUnencode(const TStr& text);

// ---- Paths ---------------------------------------------------------------------------------

/// The file name and extension of a path, as the runtime's _wsplitpath cuts them: what stands
/// behind the last "\" or "/", or behind a drive's ":". Records no assertion: the assertion
/// path itself uses it.
[[nodiscard]] BVCORE_API TStr mfStrGetFilenameAndExtFromPath(const TStr& path);
