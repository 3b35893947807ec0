// Top-level windows and window messages. A window belongs to the thread that created it; the
// stand-in has no desktop, so a window is a record (class, title, user data, procedure) in the
// process's window station, found by EnumWindows and FindWindowW and reached by SendMessageW.
#pragma once

#include <bvplatform/export.h>
#include <bvplatform/types.h>

using WNDPROC = LRESULT (*)(HWND, UINT, WPARAM, LPARAM);
using WNDENUMPROC = BOOL (*)(HWND, LPARAM);

constexpr UINT WM_NULL = 0x0000;
constexpr UINT WM_CREATE = 0x0001;
constexpr UINT WM_DESTROY = 0x0002;
constexpr UINT WM_CLOSE = 0x0010;
constexpr UINT WM_QUIT = 0x0012;
constexpr UINT WM_SETTEXT = 0x000C;
constexpr UINT WM_GETTEXT = 0x000D;
constexpr UINT WM_GETTEXTLENGTH = 0x000E;
constexpr UINT WM_COPYDATA = 0x004A;
constexpr UINT WM_NCCREATE = 0x0081;
constexpr UINT WM_NCDESTROY = 0x0082;
constexpr UINT WM_USER = 0x0400;

constexpr int GWL_WNDPROC = -4;
constexpr int GWL_ID = -12;
constexpr int GWL_STYLE = -16;
constexpr int GWL_EXSTYLE = -20;
constexpr int GWL_USERDATA = -21;

constexpr DWORD WS_OVERLAPPED = 0x00000000;
constexpr DWORD WS_POPUP = 0x80000000;
constexpr DWORD WS_VISIBLE = 0x10000000;
constexpr DWORD WS_CAPTION = 0x00C00000;
constexpr DWORD WS_SYSMENU = 0x00080000;
constexpr DWORD WS_OVERLAPPEDWINDOW = 0x00CF0000;
constexpr int CW_USEDEFAULT = static_cast<int>(0x80000000);

constexpr UINT SW_HIDE = 0;
constexpr UINT SW_SHOWNORMAL = 1;
constexpr UINT SW_SHOW = 5;

struct WNDCLASSW {
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCWSTR lpszMenuName;
    LPCWSTR lpszClassName;
};

struct CREATESTRUCTW {
    LPVOID lpCreateParams;
    HINSTANCE hInstance;
    HMENU hMenu;
    HWND hwndParent;
    int cy;
    int cx;
    int y;
    int x;
    LONG style;
    LPCWSTR lpszName;
    LPCWSTR lpszClass;
    DWORD dwExStyle;
};

struct COPYDATASTRUCT {
    ULONG_PTR dwData; // a number the receiver interprets
    DWORD cbData;     // bytes at lpData
    PVOID lpData;
};
using PCOPYDATASTRUCT = COPYDATASTRUCT*;

/// Registers a window class for this process. Returns the class atom, 0 on failure. Names
/// compare case-insensitively; hInstance is not part of the key (one module per process).
/// Fails: ERROR_INVALID_PARAMETER (null class record, null, empty or atom name, null procedure,
/// negative extra sizes), ERROR_CLASS_ALREADY_EXISTS.
BVPLATFORM_API ATOM RegisterClassW(const WNDCLASSW* lpWndClass);

/// Removes a window class named by string or atom. Fails: ERROR_CLASS_DOES_NOT_EXIST.
/// ERROR_CLASS_HAS_WINDOWS is not modelled (windows keep their procedure).
BVPLATFORM_API BOOL UnregisterClassW(LPCWSTR lpClassName, HINSTANCE hInstance);

/// Creates a top-level window of a registered class (named by string or atom), owned by the
/// calling thread. Sends WM_NCCREATE and then WM_CREATE (lParam a CREATESTRUCTW) to the class's
/// procedure; a FALSE from the first (then WM_NCDESTROY) or -1 from the second (then WM_DESTROY
/// and WM_NCDESTROY) destroys the window and fails, leaving the last error as the procedure set
/// it. A parent handle makes an owner. Window extra memory (cbWndExtra) starts zeroed.
/// Fails: ERROR_CANNOT_FIND_WND_CLASS, ERROR_INVALID_WINDOW_HANDLE (parent is no window);
/// returns null.
BVPLATFORM_API HWND CreateWindowExW(DWORD dwExStyle, LPCWSTR lpClassName, LPCWSTR lpWindowName,
                                    DWORD dwStyle, int X, int Y, int nWidth, int nHeight,
                                    HWND hWndParent, HMENU hMenu, HINSTANCE hInstance,
                                    LPVOID lpParam);

/// The default handling of a message: TRUE for WM_NCCREATE; WM_CLOSE destroys the window;
/// 0 otherwise.
BVPLATFORM_API LRESULT DefWindowProcW(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam);

/// Destroys a window: WM_DESTROY and WM_NCDESTROY, then the handle stops being a window and
/// is never used again. A procedure that destroys its window again while it is being destroyed
/// gets TRUE and no further messages. Fails: ERROR_INVALID_WINDOW_HANDLE.
BVPLATFORM_API BOOL DestroyWindow(HWND hWnd);

/// Calls lpEnumFunc for each top-level window, the newest first, until it returns FALSE.
/// Returns TRUE when the walk ran to the end, FALSE when the callback stopped it (the last
/// error is the callback's). The walk runs over a snapshot: windows the callback creates are
/// not visited, windows it destroys are skipped. Fails: ERROR_INVALID_PARAMETER (null
/// callback).
BVPLATFORM_API BOOL EnumWindows(WNDENUMPROC lpEnumFunc, LPARAM lParam);

/// A window's 32-bit value at nIndex (GWL_USERDATA, GWL_STYLE, GWL_EXSTYLE, GWL_ID, or a byte
/// offset into the extra window memory). GWL_WNDPROC is refused as on 64-bit Windows.
/// Fails: ERROR_INVALID_WINDOW_HANDLE, ERROR_INVALID_INDEX (1413); returns 0.
BVPLATFORM_API LONG GetWindowLongW(HWND hWnd, int nIndex);

/// Sets a window's 32-bit value and returns the previous one. Fails as GetWindowLongW. A
/// previous value of 0 is no failure, and success does not clear the last error: a caller that
/// must tell the two apart clears it before the call.
BVPLATFORM_API LONG SetWindowLongW(HWND hWnd, int nIndex, LONG dwNewLong);

/// The first top-level window whose class name and title match (case-insensitively); a null
/// class or title matches any. Returns null when none does (ERROR_SUCCESS is not set).
BVPLATFORM_API HWND FindWindowW(LPCWSTR lpClassName, LPCWSTR lpWindowName);

/// TRUE if the handle names an existing window.
BVPLATFORM_API BOOL IsWindow(HWND hWnd);

/// Copies a window's title, cut to nMaxCount - 1 units and terminated. Returns the units
/// copied without the terminator; 0 for a null buffer or nMaxCount <= 0 (buffer untouched).
/// Fails: ERROR_INVALID_WINDOW_HANDLE; returns 0 and leaves an empty text in the buffer.
BVPLATFORM_API int GetWindowTextW(HWND hWnd, LPWSTR lpString, int nMaxCount);

/// Sends a message and waits for the procedure's result. For a window of this process the
/// procedure is called on the calling thread (serialised per window); WM_COPYDATA's record is
/// valid only during the call. Fails: ERROR_INVALID_WINDOW_HANDLE; returns 0.
BVPLATFORM_API LRESULT SendMessageW(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam);

/// The thread (and through lpdwProcessId the process) that created a window.
/// Fails: ERROR_INVALID_WINDOW_HANDLE; returns 0 and leaves *lpdwProcessId untouched.
BVPLATFORM_API DWORD GetWindowThreadProcessId(HWND hWnd, DWORD* lpdwProcessId);

/// Starts a program. Returns a value above 31 on success, otherwise ERROR_FILE_NOT_FOUND (2),
/// ERROR_PATH_NOT_FOUND (3) or ERROR_BAD_FORMAT (11), also set as the last error. Does not wait
/// for the program. The stand-in starts none yet: every command line (and a null one) gives
/// ERROR_FILE_NOT_FOUND, unless testing::SetWinExecHandler installed a stand-in, whose result
/// is returned as it is.
BVPLATFORM_API UINT WinExec(LPCSTR lpCmdLine, UINT uCmdShow);

/// For a null name, the handle of the calling program (the executable's module): a fixed
/// value, never null. Fails: ERROR_MOD_NOT_FOUND (any name: the stand-in loads no modules by
/// name); returns null.
BVPLATFORM_API HMODULE GetModuleHandleW(LPCWSTR lpModuleName);
