// Two paths with one result: slicing-by-8 over eight derived tables everywhere, and on x86
// processors with carry-less multiply a folding loop that keeps 64 bytes in flight and hands
// the last 16-byte remainder back to the tables.
#include "Core/Common/Crc32.h"

#include "Core/Common/Crc32Private.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define BV_CRC32_HAVE_CLMUL 1
#endif

namespace {

constexpr std::uint32_t kui32Polynomial = 0xEDB88320u;
constexpr std::size_t kui32Slices = 8;

using CrcTables = std::array<std::array<std::uint32_t, 256>, kui32Slices>;

// Table s maps a byte to its contribution after s further zero bytes, so eight bytes are
// consumed with eight independent lookups.
constexpr CrcTables MakeTables() {
    CrcTables tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t value = byte;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value >> 1) ^ ((value & 1u) ? kui32Polynomial : 0u);
        }
        tables[0][byte] = value;
    }
    for (std::size_t slice = 1; slice < kui32Slices; ++slice) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const std::uint32_t previous = tables[slice - 1][byte];
            tables[slice][byte] = (previous >> 8) ^ tables[0][previous & 0xFFu];
        }
    }
    return tables;
}

constexpr CrcTables kTables = MakeTables();
static_assert(kTables[0][1] == 0x77073096u && kTables[0][255] == 0x2D02EF8Du);

// Whether the carry-less path is switched off for tests.
std::atomic<bool> g_forceFallback{false};

// `state` is the inverted running sum; so is the result.
std::uint32_t UpdateBytes(std::uint32_t state, const unsigned char* data, std::size_t length) {
    for (std::size_t i = 0; i < length; ++i) {
        state = kTables[0][(state ^ data[i]) & 0xFFu] ^ (state >> 8);
    }
    return state;
}

std::uint32_t LoadLittle32(const unsigned char* data) {
    return std::uint32_t{data[0]} | std::uint32_t{data[1]} << 8 | std::uint32_t{data[2]} << 16 |
           std::uint32_t{data[3]} << 24;
}

std::uint32_t UpdateSliced(std::uint32_t state, const unsigned char* data, std::size_t length) {
    const auto& t = kTables;
    for (; length >= 8; data += 8, length -= 8) {
        const std::uint32_t low = LoadLittle32(data) ^ state;
        const std::uint32_t high = LoadLittle32(data + 4);
        state = t[7][low & 0xFFu] ^ t[6][(low >> 8) & 0xFFu] ^ t[5][(low >> 16) & 0xFFu] ^
                t[4][low >> 24] ^ t[3][high & 0xFFu] ^ t[2][(high >> 8) & 0xFFu] ^
                t[1][(high >> 16) & 0xFFu] ^ t[0][high >> 24];
    }
    return UpdateBytes(state, data, length);
}

#ifdef BV_CRC32_HAVE_CLMUL

// x^n mod P in the reflected bit order, shifted left by one as the folding multiplies expect.
constexpr std::uint64_t FoldConstant(unsigned n) {
    std::uint32_t value = 0x80000000u; // x^0
    for (unsigned i = 0; i < n; ++i) {
        value = (value >> 1) ^ ((value & 1u) ? kui32Polynomial : 0u);
    }
    return std::uint64_t{value} << 1;
}

// Folding a 128-bit lane forward by `distance` bits multiplies its two halves by these.
constexpr std::uint64_t kui64Fold512Low = FoldConstant(512 + 32);
constexpr std::uint64_t kui64Fold512High = FoldConstant(512 - 32);
constexpr std::uint64_t kui64Fold128Low = FoldConstant(128 + 32);
constexpr std::uint64_t kui64Fold128High = FoldConstant(128 - 32);

__attribute__((target("pclmul,sse4.1"))) inline __m128i Fold(__m128i lane, __m128i constants,
                                                             __m128i next) {
    const __m128i low = _mm_clmulepi64_si128(lane, constants, 0x00);
    const __m128i high = _mm_clmulepi64_si128(lane, constants, 0x11);
    return _mm_xor_si128(_mm_xor_si128(low, high), next);
}

__attribute__((target("pclmul,sse4.1"))) inline __m128i Load(const unsigned char* data) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(data));
}

// Needs length >= 64. The folded lane is congruent to everything consumed, so its 16 bytes run
// through the table path from a zero state give the sum so far.
__attribute__((target("pclmul,sse4.1"))) std::uint32_t
UpdateClmul(std::uint32_t state, const unsigned char* data, std::size_t length) {
    __m128i lanes[4] = {Load(data), Load(data + 16), Load(data + 32), Load(data + 48)};
    lanes[0] = _mm_xor_si128(lanes[0], _mm_cvtsi32_si128(static_cast<int>(state)));
    data += 64;
    length -= 64;
    const __m128i by512 = _mm_set_epi64x(static_cast<long long>(kui64Fold512High),
                                         static_cast<long long>(kui64Fold512Low));
    for (; length >= 64; data += 64, length -= 64) {
        for (int i = 0; i < 4; ++i) {
            lanes[i] = Fold(lanes[i], by512, Load(data + 16 * i));
        }
    }
    const __m128i by128 = _mm_set_epi64x(static_cast<long long>(kui64Fold128High),
                                         static_cast<long long>(kui64Fold128Low));
    __m128i lane = lanes[0];
    for (int i = 1; i < 4; ++i) {
        lane = Fold(lane, by128, lanes[i]);
    }
    for (; length >= 16; data += 16, length -= 16) {
        lane = Fold(lane, by128, Load(data));
    }
    unsigned char rest[16];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(rest), lane);
    return UpdateSliced(UpdateSliced(0, rest, sizeof rest), data, length);
}

bool HasClmul() {
    static const bool has = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
    }();
    return has;
}

#endif

std::uint32_t Update(std::uint32_t state, const unsigned char* data, std::size_t length) {
#ifdef BV_CRC32_HAVE_CLMUL
    if (length >= 64 && HasClmul() && !g_forceFallback.load(std::memory_order_relaxed)) {
        return UpdateClmul(state, data, length);
    }
#endif
    return UpdateSliced(state, data, length);
}

} // namespace

LONG mfCrc32(ULONG crc, const unsigned char* data, unsigned length) {
    if (data == nullptr || length == 0) {
        return 0;
    }
    return static_cast<LONG>(~Update(~crc, data, length));
}

const ULONG* GetCrcTable() {
    return kTables[0].data();
}

void core::detail::SetCrc32ForceFallback(bool force) {
    g_forceFallback.store(force, std::memory_order_relaxed);
}
