// The public window functions: check arguments, resolve the handle through the station, run
// one operation of the window, and turn its code into the last error at the exit.
#include "windows/classes.h"
#include "windows/localwindow.h"
#include "windows/station.h"

#include <bvplatform/windows.h>
#include <bvplatform/winerror.h>

#include <algorithm>
#include <cstdint>

namespace bvplatform::detail {
namespace {

// Resolves the handle and runs work(window, result); a handle that names no window, or a work
// that returns a failure code, gives `failed` and sets the last error.
template <class T, class Work>
T OnWindow(HWND hWnd, T failed, Work&& work) {
    const std::shared_ptr<Window> window = FindWindowByHandle(hWnd);
    if (!window) {
        return FailWith(ERROR_INVALID_WINDOW_HANDLE, failed);
    }
    T result = failed;
    if (const DWORD error = work(*window, result); error != ERROR_SUCCESS) {
        return FailWith(error, failed);
    }
    return result;
}

// Sends WM_NCCREATE and WM_CREATE; on a refusal the window is torn down. A procedure that
// refuses may have set the last error itself, so it is left as the procedure put it.
bool RunCreation(LocalWindow& window, CREATESTRUCTW& create) {
    const auto lParam = reinterpret_cast<LPARAM>(&create);
    LRESULT result = 0;
    if (window.Send(WM_NCCREATE, 0, lParam, result) != ERROR_SUCCESS || result == FALSE) {
        window.AbortCreation(false);
        return false;
    }
    if (window.Send(WM_CREATE, 0, lParam, result) != ERROR_SUCCESS || result == -1) {
        window.AbortCreation(true);
        return false;
    }
    // The procedure may have destroyed its window while handling the creation messages.
    return window.Alive();
}

bool TitleMatches(LPCWSTR wanted, const WindowFacts& facts) {
    return wanted == nullptr || SameName(wanted, facts.title);
}

} // namespace
} // namespace bvplatform::detail

using bvplatform::detail::FailWith;
using bvplatform::detail::OnWindow;
using bvplatform::detail::Window;
using bvplatform::detail::WindowFacts;

ATOM RegisterClassW(const WNDCLASSW* lpWndClass) {
    if (lpWndClass == nullptr) {
        return FailWith(ERROR_INVALID_PARAMETER, ATOM{0});
    }
    ATOM atom = 0;
    if (const DWORD error = bvplatform::detail::RegisterWindowClass(*lpWndClass, atom)) {
        return FailWith(error, ATOM{0});
    }
    return atom;
}

BOOL UnregisterClassW(LPCWSTR lpClassName, HINSTANCE /*hInstance: one module per process*/) {
    if (const DWORD error = bvplatform::detail::UnregisterWindowClass(lpClassName)) {
        return FailWith(error, FALSE);
    }
    return TRUE;
}

HWND CreateWindowExW(DWORD dwExStyle, LPCWSTR lpClassName, LPCWSTR lpWindowName, DWORD dwStyle,
                     int X, int Y, int nWidth, int nHeight, HWND hWndParent, HMENU hMenu,
                     HINSTANCE hInstance, LPVOID lpParam) {
    using namespace bvplatform::detail;
    const std::optional<WindowClass> windowClass = FindWindowClass(lpClassName);
    if (!windowClass) {
        return FailWith(ERROR_CANNOT_FIND_WND_CLASS, HWND{});
    }
    // Every window is top-level; a parent argument makes an owner and must be a window.
    if (hWndParent != nullptr && !IsWindow(hWndParent)) {
        return FailWith(ERROR_INVALID_WINDOW_HANDLE, HWND{});
    }
    LocalWindow::Record record{windowClass->name,
                               lpWindowName ? lpWindowName : u"",
                               windowClass->procedure,
                               static_cast<LONG>(dwStyle),
                               static_cast<LONG>(dwExStyle),
                               static_cast<LONG>(reinterpret_cast<std::uintptr_t>(hMenu)),
                               windowClass->windowExtra};
    const auto window = std::make_shared<LocalWindow>(NewWindowHandle(), std::move(record));
    AddWindow(window);
    CREATESTRUCTW create{lpParam,
                         hInstance,
                         hMenu,
                         hWndParent,
                         nHeight,
                         nWidth,
                         Y,
                         X,
                         static_cast<LONG>(dwStyle),
                         lpWindowName,
                         lpClassName,
                         dwExStyle};
    if (!RunCreation(*window, create)) {
        return nullptr;
    }
    // Visible to other processes only once whole: its procedure has accepted the creation.
    window->Publish();
    return window->Handle();
}

LRESULT DefWindowProcW(HWND hWnd, UINT Msg, WPARAM /*wParam*/, LPARAM /*lParam*/) {
    switch (Msg) {
    case WM_NCCREATE:
        return TRUE;
    case WM_CLOSE:
        DestroyWindow(hWnd);
        return 0;
    default:
        return 0;
    }
}

BOOL DestroyWindow(HWND hWnd) {
    return OnWindow(hWnd, BOOL{FALSE}, [](Window& window, BOOL& result) {
        result = TRUE;
        return window.Destroy();
    });
}

BOOL EnumWindows(WNDENUMPROC lpEnumFunc, LPARAM lParam) {
    if (lpEnumFunc == nullptr) {
        return FailWith(ERROR_INVALID_PARAMETER, FALSE);
    }
    // A snapshot, so the callback may create and destroy windows; one destroyed meanwhile is
    // skipped, one created meanwhile is not visited.
    for (const auto& window : bvplatform::detail::TopLevelWindows()) {
        if (window->Alive() && !lpEnumFunc(window->Handle(), lParam)) {
            return FALSE;
        }
    }
    return TRUE;
}

LONG GetWindowLongW(HWND hWnd, int nIndex) {
    return OnWindow(hWnd, LONG{0}, [nIndex](Window& window, LONG& result) {
        return window.GetLong(nIndex, result);
    });
}

LONG SetWindowLongW(HWND hWnd, int nIndex, LONG dwNewLong) {
    return OnWindow(hWnd, LONG{0}, [nIndex, dwNewLong](Window& window, LONG& result) {
        return window.SetLong(nIndex, dwNewLong, result);
    });
}

HWND FindWindowW(LPCWSTR lpClassName, LPCWSTR lpWindowName) {
    using namespace bvplatform::detail;
    std::optional<std::u16string> wantedClass;
    if (lpClassName != nullptr) {
        wantedClass = ClassNameOf(lpClassName);
        if (!wantedClass) {
            return nullptr; // an atom that names no class matches no window
        }
    }
    for (const auto& window : TopLevelWindows()) {
        WindowFacts facts;
        if (window->Facts(facts) != ERROR_SUCCESS) {
            continue;
        }
        if ((!wantedClass || SameName(*wantedClass, facts.className)) &&
            TitleMatches(lpWindowName, facts)) {
            return window->Handle();
        }
    }
    return nullptr;
}

BOOL IsWindow(HWND hWnd) {
    const std::shared_ptr<Window> window = bvplatform::detail::FindWindowByHandle(hWnd);
    return window && window->Alive() ? TRUE : FALSE;
}

int GetWindowTextW(HWND hWnd, LPWSTR lpString, int nMaxCount) {
    if (lpString == nullptr || nMaxCount <= 0) {
        return 0;
    }
    lpString[0] = u'\0'; // a failure leaves an empty text, as on Windows
    return OnWindow(hWnd, 0, [lpString, nMaxCount](Window& window, int& result) {
        WindowFacts facts;
        if (const DWORD error = window.Facts(facts)) {
            return error;
        }
        const auto count = std::min(facts.title.size(), static_cast<std::size_t>(nMaxCount - 1));
        std::copy_n(facts.title.data(), count, lpString);
        lpString[count] = u'\0';
        result = static_cast<int>(count);
        return ERROR_SUCCESS;
    });
}

LRESULT SendMessageW(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam) {
    return OnWindow(hWnd, LRESULT{0}, [=](Window& window, LRESULT& result) {
        return window.Send(Msg, wParam, lParam, result);
    });
}

DWORD GetWindowThreadProcessId(HWND hWnd, DWORD* lpdwProcessId) {
    return OnWindow(hWnd, DWORD{0}, [lpdwProcessId](Window& window, DWORD& result) {
        WindowFacts facts;
        if (const DWORD error = window.Facts(facts)) {
            return error;
        }
        if (lpdwProcessId != nullptr) {
            *lpdwProcessId = facts.processId;
        }
        result = facts.threadId;
        return ERROR_SUCCESS;
    });
}
