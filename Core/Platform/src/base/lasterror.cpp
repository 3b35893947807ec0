// The thread's last-error value.
#include <bvplatform/base.h>

namespace {
thread_local DWORD t_lastError = 0; // the calling thread's last-error value
}

DWORD GetLastError() {
    return t_lastError;
}

void SetLastError(DWORD code) {
    t_lastError = code;
}
