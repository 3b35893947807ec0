// The viewer's window: the marks by which senders find it, and its message loop.
#pragma once

#include "Receiver.h"

#include <bvplatform/windows.h>

namespace bvdiag {

constexpr char16_t kViewerTitle[] = u"Brontavale_BVDiag";
constexpr char16_t kViewerClass[] = u"BVDiag";
constexpr LONG kViewerMark = 0x52545642; // user data "BVTR"

/// The running viewer's window of this station, or null.
[[nodiscard]] HWND FindViewer();

/// The viewer's window procedure: WM_COPYDATA goes to `receiver` (set by RunWindow).
LRESULT ViewerProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

/// Registers the class, creates the window with its title and mark, and runs the message loop
/// until WM_QUIT. Returns the exit code: the quit code, or 1 when the window cannot be made.
int RunWindow(Receiver& receiver);

} // namespace bvdiag
