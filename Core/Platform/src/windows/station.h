// The window station: how the public window functions resolve handles. This process's windows
// are in a table here; windows of other processes of the same prefix are found through their
// records in the station directory (see windows/stationdir.h) and reached over their sockets.
//
// Locking: the table's lock is never held while a window procedure runs. A window serialises
// its own procedure calls; see LocalWindow.
#pragma once

#include <bvplatform/base.h>
#include <bvplatform/types.h>

#include <memory>
#include <string>
#include <vector>

namespace bvplatform::detail {

/// Sets the last error and gives the failure value: the one way the area reports failures.
template <class T>
T FailWith(DWORD error, T result) {
    SetLastError(error);
    return result;
}

/// What the public functions read of a window, whichever process it lives in.
struct WindowFacts {
    std::u16string className; // as registered (case kept)
    std::u16string title;     // the window's text
    DWORD threadId = 0;       // the creating thread
    DWORD processId = 0;      // the creating process
};

/// One window as the public functions reach it. Each operation returns ERROR_SUCCESS or the
/// Win32 code of its failure (ERROR_INVALID_WINDOW_HANDLE once the window is gone).
class Window {
public:
    explicit Window(HWND handle) : m_handle(handle) {}
    virtual ~Window() = default;
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    [[nodiscard]] HWND Handle() const { return m_handle; }
    /// True until the window has handled WM_NCDESTROY.
    [[nodiscard]] virtual bool Alive() const = 0;
    virtual DWORD Facts(WindowFacts& facts) const = 0;
    virtual DWORD GetLong(int index, LONG& value) const = 0;
    virtual DWORD SetLong(int index, LONG value, LONG& previous) = 0;
    /// Runs the procedure and waits for its result.
    virtual DWORD Send(UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result) = 0;
    /// WM_DESTROY, WM_NCDESTROY, then removal from the station.
    virtual DWORD Destroy() = 0;

private:
    const HWND m_handle; // never 0, never reused
};

class LocalWindow;

/// A handle no window had before: never 0, and never given again by any process of the station
/// (drawn from its counter); a process whose station is refused draws from a range of its own.
HWND NewWindowHandle();

void AddWindow(std::shared_ptr<LocalWindow> window);
void RemoveWindow(HWND handle);

/// The window of this process behind a handle, or null.
std::shared_ptr<LocalWindow> FindLocalWindow(HWND handle);

/// The window of a handle, of this process or a live one of another, or null for a handle that
/// names none (destroyed, dead owner, refused station or made up).
std::shared_ptr<Window> FindWindowByHandle(HWND handle);

/// The top-level windows at this moment, the top of the z-order first (the newest window is on
/// top). Windows destroyed after the call stay in the list but report !Alive().
std::vector<std::shared_ptr<Window>> TopLevelWindows();

} // namespace bvplatform::detail
