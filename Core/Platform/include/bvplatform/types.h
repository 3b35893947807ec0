// Win32 base types with Windows' widths on an LP64 Linux: LONG, ULONG, DWORD and HRESULT are
// 32-bit, WCHAR is a 16-bit code unit.
#pragma once

#include <cstddef>
#include <cstdint>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using INT = int;
using UINT = unsigned int;
using BOOL = int;
using CHAR = char;
using WCHAR = char16_t;
using HRESULT = std::int32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using DWORD_PTR = ULONG_PTR;
using SIZE_T = std::size_t;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using LRESULT = LONG_PTR;
using ATOM = WORD;

using LPSTR = char*;
using LPCSTR = const char*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using LPBOOL = BOOL*;
using LPVOID = void*;
using LPCVOID = const void*;
using PVOID = void*;

using HANDLE = void*;
using HLOCAL = void*;
using HGLOBAL = void*;
using HINSTANCE = struct HINSTANCE__*;
using HMODULE = HINSTANCE;
using HWND = struct HWND__*;
using HICON = struct HICON__*;
using HCURSOR = HICON;
using HBRUSH = struct HBRUSH__*;
using HMENU = struct HMENU__*;

// A point and a rectangle in 32-bit signed coordinates, as the window system lays them out.
struct tagPOINT {
    LONG x;
    LONG y;
};
using POINT = tagPOINT;

struct tagRECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};
using RECT = tagRECT;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

constexpr bool SUCCEEDED(HRESULT hr) {
    return hr >= 0;
}
constexpr bool FAILED(HRESULT hr) {
    return hr < 0;
}

// The platform's rule for carrying a Win32 code in an HRESULT.
constexpr HRESULT HRESULT_FROM_WIN32(DWORD code) {
    return static_cast<LONG>(code) <= 0 ? static_cast<HRESULT>(code)
                                        : static_cast<HRESULT>((code & 0x0000FFFFu) | 0x80070000u);
}
