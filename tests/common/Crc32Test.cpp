// CRC-32 against zlib's crc32 (the reference definition) over random buffers of many lengths,
// alignments and split points, on both the fast path and the forced portable one.
#include "Core/Common/Crc32.h"
#include "Core/Common/Crc32Private.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

const unsigned char* Bytes(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

ULONG Zlib(ULONG crc, const unsigned char* data, std::size_t length) {
    return static_cast<ULONG>(::crc32(crc, data, static_cast<uInt>(length)));
}

std::vector<unsigned char> RandomBytes(std::size_t size, unsigned seed) {
    std::mt19937 engine(seed);
    std::vector<unsigned char> bytes(size);
    for (auto& byte : bytes) {
        byte = static_cast<unsigned char>(engine());
    }
    return bytes;
}

// Runs each test body once on the fast path and once on the forced portable one.
class Crc32Path : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override { core::detail::SetCrc32ForceFallback(GetParam()); }
    void TearDown() override { core::detail::SetCrc32ForceFallback(false); }
};

TEST_P(Crc32Path, CheckValues) {
    struct Row {
        const char* text;
        ULONG crc;
    };
    const Row rows[] = {
        {"123456789", 0xCBF43926u},
        {"a", 0xE8B7BE43u},
        {"The quick brown fox jumps over the lazy dog", 0x414FA339u},
        {"", 0u},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        const auto length = static_cast<unsigned>(std::string(row.text).size());
        EXPECT_EQ(static_cast<ULONG>(mfCrc32(0, Bytes(row.text), length)), row.crc);
    }
}

TEST_P(Crc32Path, EmptyInputGivesZeroNotTheIncomingSum) {
    const unsigned char byte = 0x5A;
    EXPECT_EQ(mfCrc32(0x12345678u, &byte, 0), 0);
    EXPECT_EQ(mfCrc32(0x12345678u, nullptr, 16), 0);
    EXPECT_EQ(mfCrc32(0, nullptr, 0), 0);
}

TEST_P(Crc32Path, MatchesZlibOverLengthsAndAlignments) {
    const std::vector<unsigned char> buffer = RandomBytes(70000, 7);
    const std::size_t lengths[] = {1,   7,   8,   15,  16,  17,  63,   64,   65,   79,    80,
                                   127, 128, 129, 200, 255, 256, 1000, 1024, 4095, 65536, 69000};
    for (std::size_t offset = 0; offset < 16; ++offset) {
        for (std::size_t length : lengths) {
            SCOPED_TRACE("offset " + std::to_string(offset) + " length " + std::to_string(length));
            const unsigned char* data = buffer.data() + offset;
            const ULONG start = offset * 0x9E3779B9u; // a continued sum, not only fresh ones
            EXPECT_EQ(static_cast<ULONG>(mfCrc32(start, data, static_cast<unsigned>(length))),
                      Zlib(start, data, length));
        }
    }
}

TEST_P(Crc32Path, ChainingOverAnySplitEqualsOneStep) {
    const std::vector<unsigned char> buffer = RandomBytes(300, 11);
    const ULONG whole = Zlib(0, buffer.data(), buffer.size());
    for (std::size_t split = 1; split < buffer.size(); ++split) {
        SCOPED_TRACE("split " + std::to_string(split));
        const LONG first = mfCrc32(0, buffer.data(), static_cast<unsigned>(split));
        const LONG both = mfCrc32(static_cast<ULONG>(first), buffer.data() + split,
                                  static_cast<unsigned>(buffer.size() - split));
        EXPECT_EQ(static_cast<ULONG>(both), whole);
    }
}

TEST_P(Crc32Path, RandomBuffersMatchZlib) {
    std::mt19937 engine(23);
    for (int round = 0; round < 200; ++round) {
        const std::size_t length = engine() % 5000 + 1;
        const std::vector<unsigned char> buffer = RandomBytes(length, engine());
        const ULONG start = engine();
        SCOPED_TRACE("round " + std::to_string(round));
        EXPECT_EQ(static_cast<ULONG>(mfCrc32(start, buffer.data(), static_cast<unsigned>(length))),
                  Zlib(start, buffer.data(), length));
    }
}

INSTANTIATE_TEST_SUITE_P(Crc32, Crc32Path, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Portable" : "Fast"; });

TEST(Crc32, TableIsTheByteTable) {
    const ULONG* table = GetCrcTable();
    ASSERT_NE(table, nullptr);
    const z_crc_t* reference = get_crc_table();
    for (int i = 0; i < 256; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(table[i], static_cast<ULONG>(reference[i]));
    }
}

TEST(Crc32, ResultIsThirtyTwoBitsWide) {
    // The sum of "123456789" has its top bit set: as a 32-bit LONG it is negative, and passed
    // back as ULONG it continues the sum exactly as zlib does.
    const LONG sum = mfCrc32(0, Bytes("123456789"), 9);
    static_assert(sizeof sum == 4);
    EXPECT_LT(sum, 0);
    EXPECT_EQ(static_cast<ULONG>(mfCrc32(static_cast<ULONG>(sum), Bytes("abc"), 3)),
              Zlib(0xCBF43926u, Bytes("abc"), 3));
}

} // namespace
