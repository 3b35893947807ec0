// MessageBoxW and its test capture. The stand-in has no desktop: a box is shown as text on
// standard error, or recorded by the innermost MessageBoxCapture, and answered with OK.
#include "debug/sink.h"

#include <bvplatform/base.h>
#include <bvplatform/debug.h>
#include <bvplatform/testing.h>
#include <bvplatform/windows.h>
#include <bvplatform/winerror.h>

#include <unistd.h>

namespace bvplatform::detail {
namespace {

using Box = bvplatform::testing::MessageBoxCapture::Box;
using BoxCaptureStack = CaptureStack<Box>;

BoxCaptureStack& BoxCaptures() {
    static BoxCaptureStack& captures = *new BoxCaptureStack; // immortal: see CaptureStack
    return captures;
}

// "[caption]" on one line, the body below it, as a reader of the terminal would want it.
void ShowOnStderr(const Box& box) {
    WriteWhole(STDERR_FILENO, "[" + ToUtf8(box.caption) + "]\n" + ToUtf8(box.text) + "\n");
}

} // namespace
} // namespace bvplatform::detail

int MessageBoxW(HWND hWnd, LPCWSTR lpText, LPCWSTR lpCaption, UINT uType) {
    using namespace bvplatform::detail;
    // As on Windows, an owner that is no window fails the call before anything is shown.
    if (hWnd != nullptr && !IsWindow(hWnd)) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return 0;
    }
    const Box box{lpCaption ? lpCaption : u"Error", lpText ? lpText : u"", uType};
    if (!BoxCaptures().Deliver([&box] { return box; })) {
        ShowOnStderr(box);
    }
    return IDOK;
}

namespace bvplatform::testing {

struct MessageBoxCapture::State {
    detail::BoxCaptureStack::Log boxes; // one entry per box; guarded by the stack's lock
};

MessageBoxCapture::MessageBoxCapture() : m_state(new State) {
    detail::BoxCaptures().Push(&m_state->boxes);
}

MessageBoxCapture::~MessageBoxCapture() {
    detail::BoxCaptures().Remove(&m_state->boxes);
    delete m_state;
}

std::vector<MessageBoxCapture::Box> MessageBoxCapture::Boxes() const {
    return detail::BoxCaptures().Copy(&m_state->boxes);
}

} // namespace bvplatform::testing
