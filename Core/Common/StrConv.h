// Conversions between TStr and narrow text, byte vectors and BSTR: the one place where text
// changes width. Code page 0 is the system's active code page, 65001 UTF-8; code page and flags
// go to the platform unchanged.
#pragma once

#include "Core/Common/Export.h"
#include "Core/Common/Types.h"

#include <bvplatform/oleauto.h>
#include <bvplatform/types.h>

/// Narrow text of `codePage` from UTF-16; zero units inside the text are kept. Throws the
/// Win32 exception "mfConvertWideToMBCS failed - Win32 Error: ..." when the platform fails.
[[nodiscard]] BVCORE_API AStr mfConvertWideToMBCS(const TStr& text, UINT codePage = 0,
                                                  DWORD flags = 0);
/// UTF-16 from narrow text of `codePage`; zero bytes inside the text are kept. Throws the Win32
/// exception "mfConvertMBCSToWide failed - Win32 Error: ..." when the platform fails.
[[nodiscard]] BVCORE_API TStr mfConvertMBCSToWide(const AStr& text, UINT codePage = 0,
                                                  DWORD flags = 0);

[[nodiscard]] BVCORE_API AStr mfConvertTToMBCS(const TStr& text, UINT codePage = 0,
                                               DWORD flags = 0);
[[nodiscard]] BVCORE_API TStr mfConvertMBCSToT(const AStr& text, UINT codePage = 0,
                                               DWORD flags = 0);
/// A null pointer counts as empty text.
[[nodiscard]] BVCORE_API TStr mfConvertMBCSToT(const char* text, UINT codePage = 0,
                                               DWORD flags = 0);

/// TStr and wide text are one representation: these copy. Code page and flags are not used.
[[nodiscard]] BVCORE_API TStr mfConvertTToWide(const TStr& text, UINT codePage = 0,
                                               DWORD flags = 0);
[[nodiscard]] BVCORE_API TStr mfConvertWideToT(const TStr& text, UINT codePage = 0,
                                               DWORD flags = 0);

[[nodiscard]] BVCORE_API AStr mfConvertWideToUTF8(const TStr& text);
[[nodiscard]] BVCORE_API TStr mfConvertUTF8ToWide(const AStr& text);
/// The code page parameter is not used: the narrow side is always UTF-8.
[[nodiscard]] BVCORE_API AStr mfConvertTToUTF8(const TStr& text, UINT codePage = 0);
[[nodiscard]] BVCORE_API TStr mfConvertUTF8ToT(const AStr& text, UINT codePage = 0);

[[nodiscard]] BVCORE_API TStr mfConvertMBCSByteVecToT(const ByteVec& bytes, UINT codePage = 0);
[[nodiscard]] BVCORE_API ByteVec mfConvertTToMBCSByteVec(const TStr& text, UINT codePage = 0);
[[nodiscard]] BVCORE_API TStr mfConvertUTF8ByteVecToT(const ByteVec& bytes, UINT codePage = 0);
[[nodiscard]] BVCORE_API ByteVec mfConvertTToUTF8ByteVec(const TStr& text, UINT codePage = 0);

/// Byte for byte, no conversion; zero bytes stay.
[[nodiscard]] BVCORE_API AStr mfToAStr(const ByteVec& bytes);
[[nodiscard]] BVCORE_API ByteVec mfToByteVec(const AStr& text);

/// The text of a BSTR up to its first zero unit; a null BSTR gives an empty text.
[[nodiscard]] BVCORE_API TStr mfConvertBSTRToT(const BSTR& bstr);
/// A new BSTR of the text up to its first zero unit.
[[nodiscard]] BVCORE_API _bstr_t mfConvertTToBSTR(const TStr& text);
