// The high-resolution counter on CLOCK_MONOTONIC: system-wide, so stamps from different
// processes compare, and unaffected by changes of the wall clock.
#include <bvplatform/base.h>
#include <bvplatform/time.h>
#include <bvplatform/winerror.h>

#include <ctime>

namespace {

constexpr LONGLONG kTicksPerSecond = 10'000'000; // 100 ns ticks
constexpr LONGLONG kNanosecondsPerTick = 1'000'000'000 / kTicksPerSecond;

BOOL PrvFailNoAccess() {
    SetLastError(ERROR_NOACCESS);
    return FALSE;
}

} // namespace

BOOL QueryPerformanceCounter(LARGE_INTEGER* lpPerformanceCount) {
    if (lpPerformanceCount == nullptr) {
        return PrvFailNoAccess();
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now); // cannot fail for this clock and a valid buffer
    lpPerformanceCount->QuadPart =
        static_cast<LONGLONG>(now.tv_sec) * kTicksPerSecond + now.tv_nsec / kNanosecondsPerTick;
    return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* lpFrequency) {
    if (lpFrequency == nullptr) {
        return PrvFailNoAccess();
    }
    lpFrequency->QuadPart = kTicksPerSecond;
    return TRUE;
}
