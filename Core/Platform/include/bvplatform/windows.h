// Top-level windows and window messages. A window belongs to the thread that created it; the
// stand-in has no desktop, so a window is a record (class, title, user data, procedure) in the
// window station, found by EnumWindows and FindWindowW and reached by SendMessageW.
//
// The station is shared by the processes of one user and one prefix: a private directory
// (under $XDG_RUNTIME_DIR, else brontavale-<uid> in the temporary directory) that is checked at
// every use and refused when it is a symlink, another user's, or open to group or others; then
// other processes' windows are not found and this process's windows stay its own. A window of
// another process is read from its record without asking its owner (a hung owner does not hold
// up discovery), disappears when its process dies, and is reached over a socket. Window handles
// are the same in every process of the station and never reused.
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

// A message as the message loop hands it over.
struct tagMSG {
    HWND hwnd;     // the window it is for
    UINT message;  // the message number
    WPARAM wParam; // its first parameter
    LPARAM lParam; // its second parameter
    DWORD time;    // when it was queued, in milliseconds since the system started
    POINT pt;      // where the cursor was (always 0,0: the stand-in has no cursor)
};
using MSG = tagMSG;
using LPMSG = MSG*;

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
/// gets TRUE and no further messages. Fails: ERROR_INVALID_WINDOW_HANDLE, ERROR_ACCESS_DENIED
/// (another process's window).
BVPLATFORM_API BOOL DestroyWindow(HWND hWnd);

/// Calls lpEnumFunc for each top-level window of the station (of every process), the newest
/// first, until it returns FALSE.
/// Returns TRUE when the walk ran to the end, FALSE when the callback stopped it (the last
/// error is the callback's). The walk runs over a snapshot: windows the callback creates are
/// not visited, windows it destroys are skipped. Fails: ERROR_INVALID_PARAMETER (null
/// callback).
BVPLATFORM_API BOOL EnumWindows(WNDENUMPROC lpEnumFunc, LPARAM lParam);

/// A window's 32-bit value at nIndex (GWL_USERDATA, GWL_STYLE, GWL_EXSTYLE, GWL_ID, or a byte
/// offset into the extra window memory). GWL_WNDPROC is refused as on 64-bit Windows.
/// Fails: ERROR_INVALID_WINDOW_HANDLE, ERROR_INVALID_INDEX (1413); returns 0.
BVPLATFORM_API LONG GetWindowLongW(HWND hWnd, int nIndex);

/// Sets a window's 32-bit value and returns the previous one; other processes see the new value
/// at once. Fails as GetWindowLongW, and with ERROR_ACCESS_DENIED for another process's window.
/// A previous value of 0 is no failure, and success does not clear the last error: a caller
/// that must tell the two apart clears it before the call.
BVPLATFORM_API LONG SetWindowLongW(HWND hWnd, int nIndex, LONG dwNewLong);

/// The first top-level window whose class name and title match (case-insensitively); a null
/// class or title matches any. Returns null when none does (ERROR_SUCCESS is not set).
BVPLATFORM_API HWND FindWindowW(LPCWSTR lpClassName, LPCWSTR lpWindowName);

/// TRUE if the handle names an existing window (of another process: one whose process lives).
/// Cheap: it neither walks the station nor contacts the owner.
BVPLATFORM_API BOOL IsWindow(HWND hWnd);

/// Copies a window's title, cut to nMaxCount - 1 units and terminated. Returns the units
/// copied without the terminator; 0 for a null buffer or nMaxCount <= 0 (buffer untouched).
/// Fails: ERROR_INVALID_WINDOW_HANDLE; returns 0 and leaves an empty text in the buffer.
BVPLATFORM_API int GetWindowTextW(HWND hWnd, LPWSTR lpString, int nMaxCount);

/// Sends a message and waits, without time-out, for the procedure's result. For a window of
/// this process the procedure is called on the calling thread (serialised per window). For a
/// window of another process it runs on the window's thread inside its GetMessageW, one message
/// at a time; only WM_COPYDATA (its bytes are copied; the receiver's record is valid only
/// during the call), WM_NULL, WM_CLOSE and messages from WM_USER up (parameters as plain
/// numbers) can go there. A sending thread does not handle messages sent to its own windows
/// while it waits. Fails: ERROR_INVALID_WINDOW_HANDLE (no window, or its process ended before
/// answering), ERROR_INVALID_PARAMETER (another message to another process, a null or oversized
/// copy-data record); returns 0.
BVPLATFORM_API LRESULT SendMessageW(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam);

/// Waits (without spinning) for the next message of the calling thread's windows (hWnd null;
/// the message range filters are ignored) and fills *lpMsg. A message sent from another process
/// is delivered here: it is dispatched to its window procedure inside this call and the sender
/// gets its result; the loop sees only posted messages, and the only one the stand-in posts is
/// WM_QUIT. Returns TRUE, FALSE for WM_QUIT (after PostQuitMessage), -1 on failure. The first
/// call in a program started by WinExec tells the starter that the program is ready.
/// Fails: ERROR_INVALID_PARAMETER (null lpMsg), ERROR_INVALID_WINDOW_HANDLE (a filter window).
BVPLATFORM_API BOOL GetMessageW(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax);

/// Hands a message from GetMessageW to its window's procedure and returns the procedure's result;
/// 0 for a null message or a message without a window.
/// Fails: ERROR_INVALID_WINDOW_HANDLE (a window that is not one of this process); returns 0.
BVPLATFORM_API LRESULT DispatchMessageW(const MSG* lpMsg);

/// Asks the calling thread's message loop to end: its next GetMessageW returns FALSE with
/// WM_QUIT and the exit code in wParam. Called from a procedure that runs for another thread's
/// window (a send from another thread of this process), it ends that thread's loop, as on the
/// platform, where the procedure would run on that thread.
BVPLATFORM_API void PostQuitMessage(int nExitCode);

/// Extension of the stand-in: the process id of the sender of the message that the calling
/// thread's window procedure is handling now; the own process id for a message sent from this
/// process, 0 outside a window procedure.
BVPLATFORM_API DWORD BvGetMessageSenderProcessId();

/// The thread (and through lpdwProcessId the process) that created a window.
/// Fails: ERROR_INVALID_WINDOW_HANDLE; returns 0 and leaves *lpdwProcessId untouched.
BVPLATFORM_API DWORD GetWindowThreadProcessId(HWND hWnd, DWORD* lpdwProcessId);

/// Starts a program. Returns a value above 31 on success, otherwise ERROR_FILE_NOT_FOUND (2),
/// ERROR_PATH_NOT_FOUND (3) or ERROR_BAD_FORMAT (11), also set as the last error. The stand-in
/// starts only the diagnostics viewer: a command line whose program is BVDiag (any case, with
/// or without .exe and a directory part; a quoted program may hold spaces) runs `bvdiag` with
/// the remaining words as arguments. It is looked for beside the calling executable, then in
/// ../bin from this library's directory, then in the absolute directories of PATH, never in the
/// current directory. The program keeps the environment and is detached (another session,
/// standard streams on /dev/null, no other inherited descriptor, not a child of the caller).
/// WinExec returns once its first GetMessageW runs (or it ends, or after 5 seconds), so that its
/// window can be found at once. Any other program, a null line, or a viewer not found gives
/// ERROR_FILE_NOT_FOUND without starting anything; ERROR_NOT_ENOUGH_MEMORY when no process can
/// be made. testing::SetWinExecHandler installs a stand-in, whose result is returned as is.
BVPLATFORM_API UINT WinExec(LPCSTR lpCmdLine, UINT uCmdShow);

/// For a null name, the handle of the calling program (the executable's module): a fixed
/// value, never null. Fails: ERROR_MOD_NOT_FOUND (any name: the stand-in loads no modules by
/// name); returns null.
BVPLATFORM_API HMODULE GetModuleHandleW(LPCWSTR lpModuleName);
