// WinExec and the module handle. WinExec starts the diagnostics viewer (see windows/launch.h)
// and nothing else, unless a test or tool stands in for the program.
#include "windows/launch.h"
#include "windows/station.h"
#include "windows/stationdir.h"

#include <bvplatform/testing.h>
#include <bvplatform/windows.h>
#include <bvplatform/winerror.h>

#include <cstdint>
#include <mutex>

namespace bvplatform::detail {
namespace {

// The executable's module handle: fixed, as the usual load address of a program image.
const auto kProgramModule = reinterpret_cast<HMODULE>(static_cast<std::uintptr_t>(0x400000));
// WinExec's answer for a started program: any value above 31 means success.
constexpr UINT kStarted = 33;

struct WinExecState {
    std::mutex lock;                             // guards handler
    bvplatform::testing::WinExecHandler handler; // empty: the default (nothing can be started)
};

WinExecState& State() {
    static WinExecState& state = *new WinExecState; // immortal: loggers start viewers at exit
    return state;
}

} // namespace
} // namespace bvplatform::detail

UINT WinExec(LPCSTR lpCmdLine, UINT uCmdShow) {
    using namespace bvplatform::detail;
    if (lpCmdLine == nullptr) {
        return FailWith(ERROR_FILE_NOT_FOUND, static_cast<UINT>(ERROR_FILE_NOT_FOUND));
    }
    bvplatform::testing::WinExecHandler handler;
    {
        std::lock_guard lock(State().lock);
        handler = State().handler;
    }
    // Called without the lock: the handler may create windows or replace itself.
    if (handler) {
        return handler(lpCmdLine, uCmdShow);
    }
    if (const DWORD error = LaunchProgram(lpCmdLine)) {
        return FailWith(error, static_cast<UINT>(error));
    }
    return kStarted;
}

HMODULE GetModuleHandleW(LPCWSTR lpModuleName) {
    using namespace bvplatform::detail;
    if (lpModuleName != nullptr) {
        return FailWith(ERROR_MOD_NOT_FOUND, HMODULE{});
    }
    return kProgramModule;
}

namespace bvplatform::testing {

void SetWinExecHandler(WinExecHandler handler) {
    std::lock_guard lock(detail::State().lock);
    detail::State().handler = std::move(handler);
}

std::string StationDirectory() {
    return detail::StationPath();
}

} // namespace bvplatform::testing
