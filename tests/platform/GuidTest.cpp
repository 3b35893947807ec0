// CoCreateGuid and StringFromGUID2: version and variant bits, uniqueness, the fault hook, and
// the buffer size rule (39 units or nothing written).
#include <bvplatform/guid.h>
#include <bvplatform/testing.h>
#include <bvplatform/winerror.h>

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <set>
#include <string>

namespace {

GUID Filled() {
    GUID guid;
    std::memset(&guid, 0xCC, sizeof guid);
    return guid;
}

bool SameBytes(const GUID& a, const GUID& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST(CoCreateGuid, NullPointerIsInvalidArgument) {
    EXPECT_EQ(CoCreateGuid(nullptr), E_INVALIDARG);
}

TEST(CoCreateGuid, MakesDistinctVersion4Guids) {
    std::set<std::array<unsigned char, 16>> seen;
    for (int i = 0; i < 2000; ++i) {
        GUID guid = Filled();
        ASSERT_EQ(CoCreateGuid(&guid), S_OK);
        EXPECT_EQ(guid.Data3 & 0xF000u, 0x4000u);
        EXPECT_EQ(guid.Data4[0] & 0xC0u, 0x80u);
        std::array<unsigned char, 16> bytes;
        std::memcpy(bytes.data(), &guid, sizeof guid);
        EXPECT_TRUE(seen.insert(bytes).second) << "repeated GUID at call " << i;
    }
}

TEST(CoCreateGuid, FaultHookFailsOneCallAndLeavesTheOutputAlone) {
    bvplatform::testing::FailNextCoCreateGuid(E_FAIL);
    GUID guid = Filled();
    EXPECT_EQ(CoCreateGuid(&guid), E_FAIL);
    EXPECT_TRUE(SameBytes(guid, Filled()));
    EXPECT_EQ(CoCreateGuid(&guid), S_OK);
    bvplatform::testing::FailNextCoCreateGuid(E_FAIL);
    bvplatform::testing::FailNextCoCreateGuid(S_OK); // cancelled
    EXPECT_EQ(CoCreateGuid(&guid), S_OK);
}

TEST(StringFromGUID2, BracedCapitalsOrNothing) {
    const GUID guid = {
        0x0123ABCDu, 0x4E5Fu, 0x00A0u, {0xB1, 0x02, 0xC3, 0xD4, 0x05, 0xE6, 0xF7, 0x08}};
    const std::u16string text = u"{0123ABCD-4E5F-00A0-B102-C3D405E6F708}";
    struct Row {
        int cchMax;
        int result;
    };
    const Row rows[] = {{0, 0}, {38, 0}, {39, 39}, {40, 39}, {-1, 0}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.cchMax);
        std::array<WCHAR, 42> buffer;
        buffer.fill(0xCCCC);
        EXPECT_EQ(StringFromGUID2(guid, buffer.data(), row.cchMax), row.result);
        if (row.result == 0) {
            EXPECT_EQ(buffer[0], 0xCCCC);
            continue;
        }
        EXPECT_EQ(std::u16string(buffer.data()), text);
        EXPECT_EQ(buffer[39], 0xCCCC); // nothing behind the terminator
    }
    EXPECT_EQ(StringFromGUID2(guid, nullptr, 39), 0);
}

} // namespace
