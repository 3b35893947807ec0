// UTF-8 codec. Both directions run one loop, instantiated twice: counting only (size queries)
// and writing. Runs of ASCII are moved eight units at a time; everything else goes one
// character at a time.
#include "text/utf8.h"

#include <bvplatform/winerror.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace bvplatform::text {
namespace {

constexpr char32_t kBadSequence = 0xFFFFFFFF;
constexpr char16_t kReplacement = 0xFFFD;
constexpr std::uint64_t kByteHighBits = 0x8080808080808080ull; // top bit of eight bytes
constexpr std::uint64_t kUnitHighBits = 0xFF80FF80FF80FF80ull; // bits above 0x7F of four units

template <typename T>
std::uint64_t Load64(const T* p) {
    std::uint64_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// Bytes of the sequence a lead byte starts; 0 for bytes that start none (continuation bytes,
// the always-overlong C0 and C1, and F5..FF, which would lie above U+10FFFF).
constexpr int SequenceLength(unsigned lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2) {
        return 0;
    }
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
}

constexpr bool IsContinuation(unsigned byte) {
    return (byte & 0xC0) == 0x80;
}

// The second byte is what makes E0 and F0 sequences overlong, ED ones surrogates and F4 ones
// larger than U+10FFFF.
constexpr bool SecondByteAllowed(unsigned lead, unsigned second) {
    switch (lead) {
    case 0xE0:
        return second >= 0xA0;
    case 0xED:
        return second < 0xA0;
    case 0xF0:
        return second >= 0x90;
    case 0xF4:
        return second < 0x90;
    default:
        return true;
    }
}

// Decodes the sequence at p (p[0] >= 0x80, p < end) and moves p past the bytes it takes;
// kBadSequence for a bad one (see Utf8ToUtf16 for how much a bad sequence takes).
char32_t DecodeSequence(const unsigned char*& p, const unsigned char* end) {
    const unsigned lead = p[0];
    const int length = SequenceLength(lead);
    if (length == 0) {
        ++p;
        return kBadSequence;
    }
    if (end - p < length) {
        p = end;
        return kBadSequence;
    }
    if (!IsContinuation(p[1])) {
        ++p;
        return kBadSequence;
    }
    if (!SecondByteAllowed(lead, p[1])) {
        p += 2;
        return kBadSequence;
    }
    char32_t value = lead & (0x7Fu >> length);
    for (int i = 1; i < length; ++i) {
        if (!IsContinuation(p[i])) {
            p += i;
            return kBadSequence;
        }
        value = (value << 6) | (p[i] & 0x3Fu);
    }
    p += length;
    return value;
}

// DecodeSequence with the common two- and three-byte forms taken first, inline.
inline char32_t DecodeNext(const unsigned char*& p, const unsigned char* end) {
    const unsigned lead = p[0];
    if (end - p >= 3 && IsContinuation(p[1])) {
        if (lead >= 0xC2 && lead < 0xE0) {
            p += 2;
            return ((lead & 0x1Fu) << 6) | (p[-1] & 0x3Fu);
        }
        if ((lead & 0xF0) == 0xE0 && IsContinuation(p[2]) && SecondByteAllowed(lead, p[1])) {
            p += 3;
            return ((lead & 0x0Fu) << 12) | ((p[-2] & 0x3Fu) << 6) | (p[-1] & 0x3Fu);
        }
    }
    return DecodeSequence(p, end);
}

// Bytes (of a block whose top bits are `high`) before the first one with its top bit set.
std::size_t LeadingClearBytes(std::uint64_t high) {
    if constexpr (std::endian::native == std::endian::little) {
        return static_cast<std::size_t>(std::countr_zero(high)) / 8;
    } else {
        return static_cast<std::size_t>(std::countl_zero(high)) / 8;
    }
}

// Copies the ASCII bytes at the start of src (at most `limit`) to dst as units; returns how many.
// Eight ASCII bytes to eight units, and back.
void Widen8(const unsigned char* src, char16_t* dst) {
#if defined(__SSE2__)
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst),
                     _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
#else
    std::copy(src, src + 8, dst);
#endif
}

void Narrow8(const char16_t* src, char* dst) {
#if defined(__SSE2__)
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst), _mm_packus_epi16(units, units));
#else
    std::transform(src, src + 8, dst, [](char16_t u) { return static_cast<char>(u); });
#endif
}

// Copies the ASCII bytes at the start of src (at most `limit`) to dst as units; returns how many.
template <bool Counting>
std::size_t WidenAscii(const unsigned char* src, std::size_t limit, char16_t* dst) {
    std::size_t i = 0;
    for (; i + 8 <= limit; i += 8) {
        const std::uint64_t high = Load64(src + i) & kByteHighBits;
        if (high != 0) {
            limit = i + LeadingClearBytes(high);
            break;
        }
        if constexpr (!Counting) {
            Widen8(src + i, dst + i);
        }
    }
    for (; i < limit && src[i] < 0x80; ++i) {
        if constexpr (!Counting) {
            dst[i] = src[i];
        }
    }
    return i;
}

// Copies the units below 0x80 at the start of src (at most `limit`) to dst as bytes.
template <bool Counting>
std::size_t NarrowAscii(const char16_t* src, std::size_t limit, char* dst) {
    std::size_t i = 0;
    for (; i + 8 <= limit; i += 8) {
        if (((Load64(src + i) | Load64(src + i + 4)) & kUnitHighBits) != 0) {
            break;
        }
        if constexpr (!Counting) {
            Narrow8(src + i, dst + i);
        }
    }
    for (; i < limit && src[i] < 0x80; ++i) {
        if constexpr (!Counting) {
            dst[i] = static_cast<char>(src[i]);
        }
    }
    return i;
}

template <bool Counting>
Outcome Decode(const unsigned char* p, const unsigned char* end, char16_t* dst,
               std::size_t capacity, bool strict) {
    std::size_t n = 0;
    while (p < end) {
        if (!Counting && n == capacity) {
            return {n, ERROR_INSUFFICIENT_BUFFER};
        }
        if (*p < 0x80) {
            const auto left = static_cast<std::size_t>(end - p);
            const std::size_t ascii = WidenAscii<Counting>(
                p, Counting ? left : std::min(left, capacity - n), Counting ? nullptr : dst + n);
            p += ascii;
            n += ascii;
            continue;
        }
        char32_t value = DecodeNext(p, end);
        if (value == kBadSequence) {
            if (strict) {
                return {n, ERROR_NO_UNICODE_TRANSLATION};
            }
            value = kReplacement;
        }
        if (value < 0x10000) {
            if constexpr (!Counting) {
                dst[n] = static_cast<char16_t>(value);
            }
            ++n;
            continue;
        }
        value -= 0x10000;
        if constexpr (!Counting) {
            dst[n] = static_cast<char16_t>(0xD800 | (value >> 10));
        }
        ++n;
        if (!Counting && n == capacity) {
            continue; // no room for the low half; the loop head decides whether that fails
        }
        if constexpr (!Counting) {
            dst[n] = static_cast<char16_t>(0xDC00 | (value & 0x3FF));
        }
        ++n;
    }
    return {n, 0};
}

constexpr bool IsHighSurrogate(char16_t u) {
    return (u & 0xFC00) == 0xD800;
}
constexpr bool IsLowSurrogate(char16_t u) {
    return (u & 0xFC00) == 0xDC00;
}

// Reads the character at p (p < end) and moves p past it; kBadSequence for a lone surrogate.
char32_t ReadCodePoint(const char16_t*& p, const char16_t* end) {
    const char16_t unit = *p++;
    if ((unit & 0xF800) != 0xD800) {
        return unit;
    }
    if (IsHighSurrogate(unit) && p < end && IsLowSurrogate(*p)) {
        return 0x10000 + ((static_cast<char32_t>(unit) - 0xD800) << 10) + (*p++ - 0xDC00);
    }
    return kBadSequence;
}

constexpr std::size_t EncodedLength(char32_t value) {
    return value < 0x80 ? 1 : value < 0x800 ? 2 : value < 0x10000 ? 3 : 4;
}

void WriteSequence(char32_t value, std::size_t length, char* dst) {
    const auto trail = [&](unsigned shift) {
        return static_cast<char>(0x80 | ((value >> shift) & 0x3F));
    };
    switch (length) {
    case 1:
        dst[0] = static_cast<char>(value);
        break;
    case 2:
        dst[0] = static_cast<char>(0xC0 | (value >> 6));
        dst[1] = trail(0);
        break;
    case 3:
        dst[0] = static_cast<char>(0xE0 | (value >> 12));
        dst[1] = trail(6);
        dst[2] = trail(0);
        break;
    default:
        dst[0] = static_cast<char>(0xF0 | (value >> 18));
        dst[1] = trail(12);
        dst[2] = trail(6);
        dst[3] = trail(0);
        break;
    }
}

template <bool Counting>
Outcome Encode(const char16_t* p, const char16_t* end, char* dst, std::size_t capacity,
               bool strict) {
    std::size_t n = 0;
    while (p < end) {
        if (*p < 0x80 && (Counting || n < capacity)) {
            const auto left = static_cast<std::size_t>(end - p);
            const std::size_t ascii = NarrowAscii<Counting>(
                p, Counting ? left : std::min(left, capacity - n), Counting ? nullptr : dst + n);
            p += ascii;
            n += ascii;
            continue;
        }
        const char16_t* next = p;
        char32_t value = ReadCodePoint(next, end);
        if (value == kBadSequence) {
            if (strict) {
                return {n, ERROR_NO_UNICODE_TRANSLATION};
            }
            value = kReplacement;
        }
        const std::size_t length = EncodedLength(value);
        if (!Counting && capacity - n < length) {
            return {n, ERROR_INSUFFICIENT_BUFFER};
        }
        if constexpr (!Counting) {
            WriteSequence(value, length, dst + n);
        }
        n += length;
        p = next;
    }
    return {n, 0};
}

} // namespace

Outcome Utf8ToUtf16(const char* src, std::size_t length, char16_t* dst, std::size_t capacity,
                    bool strict) {
    const auto* p = reinterpret_cast<const unsigned char*>(src);
    if (capacity == 0) {
        return Decode<true>(p, p + length, nullptr, 0, strict);
    }
    return Decode<false>(p, p + length, dst, capacity, strict);
}

Outcome Utf16ToUtf8(const char16_t* src, std::size_t length, char* dst, std::size_t capacity,
                    bool strict) {
    if (capacity == 0) {
        return Encode<true>(src, src + length, nullptr, 0, strict);
    }
    return Encode<false>(src, src + length, dst, capacity, strict);
}

} // namespace bvplatform::text
