// Debug output, message boxes, system messages and the local heap.
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>

#include <cstdarg>

/// Sends a text to the debugger. Goes nowhere unless BV_DEBUG_OUTPUT names "stderr" or a file
/// (appended as UTF-8, written before the call returns, whole texts never interleaved between
/// threads), or a test captures it. A null text is ignored. Never fails.
BVPLATFORM_API void OutputDebugStringW(LPCWSTR lpOutputString);

/// Narrow twin of OutputDebugStringW: the text is in the active code page (UTF-8 on the
/// stand-in; each invalid sequence becomes U+FFFD).
BVPLATFORM_API void OutputDebugStringA(LPCSTR lpOutputString);

constexpr UINT MB_OK = 0x00000000;
constexpr UINT MB_OKCANCEL = 0x00000001;
constexpr UINT MB_ICONERROR = 0x00000010;
constexpr UINT MB_ICONWARNING = 0x00000030;
constexpr UINT MB_ICONINFORMATION = 0x00000040;

constexpr int IDOK = 1;
constexpr int IDCANCEL = 2;

/// Shows a message: the stand-in has no desktop, so caption and body go to standard error as
/// UTF-8 ("[caption]", a line feed, the body, a line feed) or to a test capture, and the answer
/// is IDOK. A null caption is "Error", a null text empty.
/// Fails: ERROR_INVALID_WINDOW_HANDLE (an owner that is no window); returns 0, shows nothing.
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
/// FORMAT_MESSAGE_ALLOCATE_BUFFER, lpBuffer receives a LocalAlloc'ed text (at least nSize units)
/// to be freed with LocalFree. An HRESULT 0x8007xxxx gives the text of the Win32 code xxxx. The
/// width byte: 0 keeps the text's line breaks, 0xFF makes each a blank, 1..254 also wraps lines
/// at that width; %n always breaks. Language 0, the default LANGIDs and English ones are known.
/// Returns the units written without the terminator, 0 on failure.
/// Fails: ERROR_MR_MID_NOT_FOUND (no text for the code), ERROR_RESOURCE_LANG_NOT_FOUND (a
/// language the table lacks), ERROR_RESOURCE_TYPE_NOT_FOUND (1813: FROM_HMODULE without
/// FROM_SYSTEM; modules carry no messages), ERROR_INSUFFICIENT_BUFFER (nSize too small),
/// ERROR_INVALID_PARAMETER (no source flag, null buffer or string, inserts without arguments, a
/// '%' ending the text, an unknown insert format), ERROR_NO_WORK_DONE (235: the result is empty),
/// ERROR_NOT_ENOUGH_MEMORY. On failure the caller's buffer and *lpBuffer are left untouched.
BVPLATFORM_API DWORD FormatMessageW(DWORD dwFlags, LPCVOID lpSource, DWORD dwMessageId,
                                    DWORD dwLanguageId, LPWSTR lpBuffer, DWORD nSize,
                                    va_list* Arguments);

constexpr UINT LMEM_FIXED = 0x0000;
constexpr UINT LMEM_ZEROINIT = 0x0040;
constexpr UINT LPTR = LMEM_FIXED | LMEM_ZEROINIT;

/// Allocates a fixed block from the local heap (zeroed under LMEM_ZEROINIT; 0 bytes gives a
/// distinct block). Fails: ERROR_NOT_ENOUGH_MEMORY (returns null).
BVPLATFORM_API HLOCAL LocalAlloc(UINT uFlags, SIZE_T uBytes);

/// Frees a block from LocalAlloc; null is accepted. Returns null. Never fails.
BVPLATFORM_API HLOCAL LocalFree(HLOCAL hMem);
