// WinExec and the module handle. The stand-in cannot start Windows programs yet: WinExec fails
// as for a program that is not there, unless a test or tool stands in for the program.
#include "windows/station.h"

#include <bvplatform/testing.h>
#include <bvplatform/windows.h>
#include <bvplatform/winerror.h>

#include <cstdint>
#include <mutex>

namespace bvplatform::detail {
namespace {

// The executable's module handle: fixed, as the usual load address of a program image.
const auto kProgramModule = reinterpret_cast<HMODULE>(static_cast<std::uintptr_t>(0x400000));

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
    return FailWith(ERROR_FILE_NOT_FOUND, static_cast<UINT>(ERROR_FILE_NOT_FOUND));
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

} // namespace bvplatform::testing
