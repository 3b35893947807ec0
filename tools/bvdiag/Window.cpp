#include "Window.h"

namespace bvdiag {
namespace {

Receiver* g_receiver = nullptr; // set once before the window exists; used by its procedure

} // namespace

HWND FindViewer() {
    return FindWindowW(nullptr, kViewerTitle);
}

LRESULT ViewerProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_COPYDATA) {
        return DefWindowProcW(window, message, wParam, lParam);
    }
    const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
    if (data == nullptr || g_receiver == nullptr) {
        return kIgnored;
    }
    return g_receiver->OnCopyData(BvGetMessageSenderProcessId(), *data);
}

int RunWindow(Receiver& receiver) {
    g_receiver = &receiver;
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = ViewerProcedure;
    windowClass.lpszClassName = kViewerClass;
    if (RegisterClassW(&windowClass) == 0) {
        return 1;
    }
    // Title and mark are in place before the first GetMessageW, which is when a starter stops
    // waiting and looks for the window.
    HWND window = CreateWindowExW(0, kViewerClass, kViewerTitle, WS_OVERLAPPEDWINDOW, 0, 0, 0, 0,
                                  nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    if (window == nullptr) {
        return 1;
    }
    SetWindowLongW(window, GWL_USERDATA, kViewerMark);
    MSG message{};
    BOOL got = 0;
    while ((got = GetMessageW(&message, nullptr, 0, 0)) > 0) {
        DispatchMessageW(&message);
    }
    return got < 0 ? 1 : static_cast<int>(message.wParam);
}

} // namespace bvdiag
