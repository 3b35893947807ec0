// The high-resolution counter: its fixed frequency, that it follows the monotonic clock, and
// the failure for a null pointer.
#include <bvplatform/base.h>
#include <bvplatform/time.h>
#include <bvplatform/winerror.h>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

LONGLONG Counter() {
    LARGE_INTEGER value;
    value.QuadPart = 0xdeadbeef;
    EXPECT_TRUE(QueryPerformanceCounter(&value));
    return value.QuadPart;
}

} // namespace

TEST(PerformanceCounter, FrequencyIsTenMegahertz) {
    LARGE_INTEGER frequency;
    frequency.QuadPart = 0xdeadbeef;
    SetLastError(0xdeadbeef);
    EXPECT_TRUE(QueryPerformanceFrequency(&frequency));
    EXPECT_EQ(frequency.QuadPart, 10'000'000);
    EXPECT_EQ(GetLastError(), 0xdeadbeefu) << "success leaves the last error alone";
}

TEST(PerformanceCounter, CountsTheMonotonicClockInTicks) {
    const auto steadyBefore = std::chrono::steady_clock::now();
    const LONGLONG before = Counter();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const LONGLONG after = Counter();
    const auto steadyAfter = std::chrono::steady_clock::now();
    const auto steadyTicks =
        std::chrono::duration_cast<std::chrono::nanoseconds>(steadyAfter - steadyBefore).count() /
        100;
    EXPECT_GE(after - before, 200'000) << "20 ms is at least 200,000 ticks";
    EXPECT_LE(after - before, steadyTicks + 1) << "no faster than the steady clock around it";
    EXPECT_GT(before, 0);
}

TEST(PerformanceCounter, NullPointerFailsWithNoAccess) {
    for (const auto call : {&QueryPerformanceCounter, &QueryPerformanceFrequency}) {
        SetLastError(0xdeadbeef);
        EXPECT_FALSE(call(nullptr));
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOACCESS));
    }
}
