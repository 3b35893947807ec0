#include <bvplatform/base.h>
#include <bvplatform/winerror.h>

#include <gtest/gtest.h>

#include <thread>

TEST(LastError, IsPerThread) {
    SetLastError(ERROR_ACCESS_DENIED);
    DWORD seenByOther = 0xdeadbeef;
    std::thread([&] {
        seenByOther = GetLastError();
        SetLastError(ERROR_INVALID_HANDLE);
    }).join();
    EXPECT_EQ(seenByOther, ERROR_SUCCESS);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
}
