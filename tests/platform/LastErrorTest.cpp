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

TEST(LastError, HresultFromWin32KeepsZeroAndNegativeCodes) {
    EXPECT_EQ(HRESULT_FROM_WIN32(0), 0);
    EXPECT_EQ(static_cast<DWORD>(HRESULT_FROM_WIN32(5)), 0x80070005u);
    EXPECT_EQ(static_cast<DWORD>(HRESULT_FROM_WIN32(0x00400057)), 0x80070057u);
    EXPECT_EQ(static_cast<DWORD>(HRESULT_FROM_WIN32(0x80004005u)), 0x80004005u);
}
