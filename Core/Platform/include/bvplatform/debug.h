// Debug output, message boxes, system messages and the local heap.
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>

#include <cstdarg>

/// Sends a text to the debugger. Goes nowhere unless BV_DEBUG_OUTPUT names "stderr" or a file
/// (appended as UTF-8, written before the call returns, whole texts never interleaved between
/// threads), or a test captures it. A null text is ignored. Never fails.
BVPLATFORM_API void OutputDebugStringW(LPCWSTR lpOutputString);

/// Narrow twin of OutputDebugStringW: the text is in the active code page.
BVPLATFORM_API void OutputDebugStringA(LPCSTR lpOutputString);

constexpr UINT MB_OK = 0x00000000;
constexpr UINT MB_OKCANCEL = 0x00000001;
constexpr UINT MB_ICONERROR = 0x00000010;
constexpr UINT MB_ICONWARNING = 0x00000030;
constexpr UINT MB_ICONINFORMATION = 0x00000040;

constexpr int IDOK = 1;
constexpr int IDCANCEL = 2;

/// Shows a message: the stand-in has no desktop, so caption and body go to standard error (or
/// a test capture) and the answer is IDOK. A null caption is "Error", a null text empty.
BVPLATFORM_API int MessageBoxW(HWND hWnd, LPCWSTR lpText, LPCWSTR lpCaption, UINT uType);

constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x00000100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
constexpr DWORD FORMAT_MESSAGE_FROM_STRING = 0x00000400;
constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x00000800;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;
constexpr DWORD FORMAT_MESSAGE_ARGUMENT_ARRAY = 0x00002000;
constexpr DWORD FORMAT_MESSAGE_MAX_WIDTH_MASK = 0x000000FF;

constexpr DWORD LANG_NEUTRAL = 0x00;
constexpr DWORD SUBLANG_DEFAULT = 0x01;
constexpr DWORD LANG_USER_DEFAULT = 0x0400;

/// Formats a message from the system's table (Windows' English texts) or a string. Under
/// FORMAT_MESSAGE_ALLOCATE_BUFFER, lpBuffer receives a LocalAlloc'ed text to be freed with
/// LocalFree. An HRESULT 0x8007xxxx gives the text of the Win32 code xxxx. Returns the units
/// written without the terminator, 0 on failure.
/// Fails: ERROR_MR_MID_NOT_FOUND (no text for the code), ERROR_RESOURCE_LANG_NOT_FOUND (a
/// language the table lacks), ERROR_INSUFFICIENT_BUFFER (nSize too small),
/// ERROR_INVALID_PARAMETER (null buffer, inserts without arguments). On failure *lpBuffer is
/// left untouched.
BVPLATFORM_API DWORD FormatMessageW(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId,
                                    DWORD dwLanguageId, LPWSTR lpBuffer, DWORD nSize,
                                    va_list* Arguments);

constexpr UINT LMEM_FIXED = 0x0000;
constexpr UINT LMEM_ZEROINIT = 0x0040;
constexpr UINT LPTR = LMEM_FIXED | LMEM_ZEROINIT;

/// Allocates from the local heap. Fails: ERROR_NOT_ENOUGH_MEMORY (returns null).
BVPLATFORM_API HLOCAL LocalAlloc(UINT uFlags, SIZE_T uBytes);

/// Frees a local allocation; null is accepted. Returns null on success.
BVPLATFORM_API HLOCAL LocalFree(HLOCAL hMem);
