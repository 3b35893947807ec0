// UTF-8 codec. Each direction has a counting pass (size queries) and a writing pass.
//
// Sections: one character at a time (the exact rules for bad input); block helpers (SSE2 where
// the compiler offers it, plain C++ otherwise); counting UTF-16 units, which checks whole
// blocks of UTF-8 at once; writing UTF-16, which works through stretches where neither the end
// of the input nor that of the room can be reached, so that no step checks either; and the
// UTF-16 -> UTF-8 direction.
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
constexpr std::size_t kBlock = 16; // bytes a block step looks at
// Input and room left beyond a stretch: a step starting inside it reads a block, or a run of
// characters the last of which starts inside the block and reads at most 4 bytes.
constexpr std::size_t kStretchMargin = kBlock + 4;
[[maybe_unused]] constexpr std::uint64_t kByteHighBits = 0x8080808080808080ull; // top bits, 8 bytes
constexpr std::uint64_t kUnitHighBits = 0xFF80FF80FF80FF80ull; // bits above 0x7F of four units

template <typename T>
std::uint64_t Load64(const T* p) {
    std::uint64_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// ---- One character at a time ----

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

// One character read from UTF-8 (returned in registers, so callers keep their position there).
struct Decoded {
    char32_t value;            // the code point, or kBadSequence
    const unsigned char* next; // the byte after what the character took
};

// Decodes the sequence at p (p[0] >= 0x80, p < end); kBadSequence for a bad one (see
// Utf8ToUtf16 for how much a bad sequence takes).
Decoded DecodeSequence(const unsigned char* p, const unsigned char* end) {
    const unsigned lead = p[0];
    const int length = SequenceLength(lead);
    if (length == 0) {
        return {kBadSequence, p + 1};
    }
    if (end - p < length) {
        return {kBadSequence, end};
    }
    if (!IsContinuation(p[1])) {
        return {kBadSequence, p + 1};
    }
    if (!SecondByteAllowed(lead, p[1])) {
        return {kBadSequence, p + 2};
    }
    char32_t value = lead & (0x7Fu >> length);
    for (int i = 1; i < length; ++i) {
        if (!IsContinuation(p[i])) {
            return {kBadSequence, p + i};
        }
        value = (value << 6) | (p[i] & 0x3Fu);
    }
    return {value, p + length};
}

// Writes `value` as one unit or a surrogate pair; returns how many units.
inline std::size_t PutUnits(char32_t value, char16_t* dst) {
    if (value < 0x10000) {
        dst[0] = static_cast<char16_t>(value);
        return 1;
    }
    value -= 0x10000;
    dst[0] = static_cast<char16_t>(0xD800 | (value >> 10));
    dst[1] = static_cast<char16_t>(0xDC00 | (value & 0x3FF));
    return 2;
}

// Decodes the well-formed two-, three- and four-byte sequences at p into dst + n, moving p
// and n past them; false (nothing done) for anything else. Reads four bytes at p, so callers
// make sure they are there. The value alone tells what the second byte rules exclude: too
// small means overlong, D800..DFFF a surrogate.
inline bool TakeWellFormed(const unsigned char*& p, char16_t* dst, std::size_t& n) {
    const unsigned lead = p[0];
    if (lead - 0xC2u < 0x1Eu && IsContinuation(p[1])) {
        dst[n++] = static_cast<char16_t>(((lead & 0x1Fu) << 6) | (p[1] & 0x3Fu));
        p += 2;
        return true;
    }
    if (!IsContinuation(p[1]) || !IsContinuation(p[2])) {
        return false;
    }
    const char32_t low = ((p[1] & 0x3Fu) << 6) | (p[2] & 0x3Fu);
    if ((lead & 0xF0) == 0xE0) {
        const char32_t value = ((lead & 0x0Fu) << 12) | low;
        if (value < 0x800 || (value & 0xF800) == 0xD800) {
            return false;
        }
        dst[n++] = static_cast<char16_t>(value);
        p += 3;
        return true;
    }
    const char32_t value = ((lead & 0x07u) << 18) | (low << 6) | (p[3] & 0x3Fu);
    if (lead - 0xF0u >= 5u || !IsContinuation(p[3]) || value - 0x10000u >= 0x100000u) {
        return false;
    }
    n += PutUnits(value, dst + n);
    p += 4;
    return true;
}

// ---- Block helpers ----

// The bytes of the 16 at p that are not ASCII, as bits 0..15.
unsigned HighBits(const unsigned char* p) {
#if defined(__SSE2__)
    return static_cast<unsigned>(
        _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
#else
    unsigned high = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
        high |= static_cast<unsigned>(p[i] >> 7) << i;
    }
    return high;
#endif
}

// Eight (or four) ASCII bytes to as many units, and back.
void Widen8(const unsigned char* src, char16_t* dst) {
#if defined(__SSE2__)
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst),
                     _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
#else
    std::copy(src, src + 8, dst);
#endif
}

void Widen4(const unsigned char* src, char16_t* dst) {
#if defined(__SSE2__)
    int four;
    std::memcpy(&four, src, sizeof four);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst),
                     _mm_unpacklo_epi8(_mm_cvtsi32_si128(four), _mm_setzero_si128()));
#else
    std::copy(src, src + 4, dst);
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

// Widens `count` (at most 16) ASCII bytes, writing exactly `count` units: the units past them
// may be the caller's to keep. Longer runs go as two overlapping stores, not byte by byte.
void WidenAscii(const unsigned char* src, std::size_t count, char16_t* dst) {
    if (count >= 8) {
        Widen8(src, dst);
        Widen8(src + count - 8, dst + count - 8);
        return;
    }
    if (count >= 4) {
        Widen4(src, dst);
        Widen4(src + count - 4, dst + count - 4);
        return;
    }
    if (count != 0) {
        dst[0] = src[0];
        dst[count / 2] = src[count / 2];
        dst[count - 1] = src[count - 1];
    }
}

// ---- Counting UTF-8 ----

#if defined(__SSE2__)
__m128i Bytes(unsigned byte) {
    return _mm_set1_epi8(static_cast<char>(byte));
}

unsigned Mask(__m128i flags) {
    return static_cast<unsigned>(_mm_movemask_epi8(flags));
}

// Bytes of `block` from 0x80 up to below `byte` (>= 0x81): as signed bytes these are the
// negative ones below it, and ASCII is never among them. (Every range is put as "below", which
// compiles to one compare; the compiler turns "above" into a compare and an inversion.)
__m128i Below(__m128i block, unsigned byte) {
    return _mm_cmplt_epi8(block, Bytes(byte));
}

// What a block scan hands to the next block.
struct ScanState {
    unsigned pending = 0;                   // continuation bytes the next block must start with
    __m128i previous = _mm_setzero_si128(); // the block before (its last byte may be a lead)
    __m128i units = _mm_setzero_si128();    // units counted, in two 64-bit sums
};

// Second bytes that make their sequence overlong (after E0 or F0), a surrogate (after ED) or
// larger than U+10FFFF (after F4).
unsigned BadSecondBytes(__m128i block, __m128i previous) {
    const __m128i before = _mm_or_si128(_mm_slli_si128(block, 1), _mm_srli_si128(previous, 15));
    const auto after = [&](unsigned lead) { return _mm_cmpeq_epi8(before, Bytes(lead)); };
    const __m128i belowA0 = Below(block, 0xA0);
    const __m128i below90 = Below(block, 0x90);
    const __m128i tooLow =
        _mm_or_si128(_mm_and_si128(after(0xE0), belowA0), _mm_and_si128(after(0xF0), below90));
    const __m128i tooHigh = _mm_or_si128(_mm_andnot_si128(belowA0, after(0xED)),
                                         _mm_andnot_si128(below90, after(0xF4)));
    return Mask(_mm_or_si128(tooLow, tooHigh));
}

// Checks one block of UTF-8 that continues the blocks before and counts its units: one per
// byte that starts a character, one more per four-byte lead. Every lead byte must be followed
// by exactly the continuation bytes it announces, also across the end of the block. False
// (and nothing changed) when the block holds any bad byte.
bool ScanBlock(__m128i block, ScanState& state) {
    const unsigned high = Mask(block);
    const __m128i continuation = Below(block, 0xC0);
    const unsigned follow = Mask(continuation);
    const unsigned lead = high & ~Mask(Below(block, 0xC2));  // C2..FF
    const unsigned lead3 = high & ~Mask(Below(block, 0xE0)); // E0..FF
    const __m128i below4 = Below(block, 0xF0);
    const unsigned lead4 = high & ~Mask(below4); // F0..FF
    const unsigned due = state.pending | lead << 1 | lead3 << 2 | lead4 << 3;
    // Continuation bytes where none is due (or the reverse), C0 and C1, F5..FF.
    unsigned bad =
        ((due & 0xFFFF) ^ follow) | (high & ~(follow | lead)) | (high & ~Mask(Below(block, 0xF5)));
    // Only lead bytes from E0 up restrict their second byte; skip the check without them.
    if ((lead3 | state.pending >> 1) != 0) {
        bad |= BadSecondBytes(block, state.previous);
    }
    if (bad != 0) {
        return false;
    }
    state.pending = due >> 16;
    state.previous = block;
    // 1 per byte; continuation bytes (-1) take it away, four-byte leads (-1) add one.
    const __m128i zero = _mm_setzero_si128();
    const __m128i four = _mm_andnot_si128(below4, _mm_cmplt_epi8(block, zero));
    const __m128i weights = _mm_sub_epi8(_mm_add_epi8(Bytes(1), continuation), four);
    state.units = _mm_add_epi64(state.units, _mm_sad_epu8(weights, zero));
    return true;
}

// The sum of two 64-bit sums.
std::size_t Total(__m128i sums) {
    std::uint64_t halves[2];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(halves), sums);
    return static_cast<std::size_t>(halves[0] + halves[1]);
}
#endif

// Counts the units of whole blocks of good UTF-8 at p, moving p past them; stops at a block
// with a bad byte or less than a block before the end. A sequence the stopping point would cut
// is left whole to the caller.
void CountBlocks(const unsigned char*& p, const unsigned char* end, std::size_t& n) {
#if defined(__SSE2__)
    ScanState state;
    std::size_t ascii = 0;
    for (; static_cast<std::size_t>(end - p) >= kBlock; p += kBlock) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        if (Mask(block) == 0 && state.pending == 0) {
            ascii += kBlock;
            state.previous = block;
            continue;
        }
        if (!ScanBlock(block, state)) {
            break;
        }
    }
    n += ascii + Total(state.units);
    if (state.pending != 0) {
        do {
            --p;
        } while (IsContinuation(*p));
        n -= *p >= 0xF0 ? 2 : 1;
    }
#else
    for (; end - p >= 8 && (Load64(p) & kByteHighBits) == 0; p += 8) {
        n += 8;
    }
#endif
}

Outcome CountUtf16(const unsigned char* p, const unsigned char* end, bool strict) {
    std::size_t n = 0;
    while (p < end) {
        CountBlocks(p, end, n);
        // One block's worth (or the rest) a character at a time, past what stopped the scan.
        const unsigned char* resume = static_cast<std::size_t>(end - p) > kBlock ? p + kBlock : end;
        while (p < resume) {
            if (*p < 0x80) {
                ++p;
                ++n;
                continue;
            }
            const Decoded c = DecodeSequence(p, end);
            if (c.value == kBadSequence && strict) {
                return {n, ERROR_NO_UNICODE_TRANSLATION};
            }
            n += c.value != kBadSequence && c.value >= 0x10000 ? 2 : 1;
            p = c.next;
        }
    }
    return {n, 0};
}

// ---- Writing UTF-16 ----

// Decodes from p into dst + n while p is before `stop`, which leaves kStretchMargin bytes of
// input, and as much room, beyond what a unit per byte up to it needs (a step never writes
// more units than it reads bytes). So no step looks at either end. False when `strict` meets
// a bad sequence.
bool DecodeStretch(const unsigned char*& p, const unsigned char* stop, const unsigned char* end,
                   char16_t* dst, std::size_t& n, bool strict) {
    while (p < stop) {
        const unsigned high = HighBits(p);
        if (high == 0) {
            // A constant step, so that the next block's load need not wait for this one.
            WidenAscii(p, kBlock, dst + n);
            p += kBlock;
            n += kBlock;
            continue;
        }
        const auto ascii = static_cast<std::size_t>(std::countr_zero(high));
        WidenAscii(p, ascii, dst + n);
        p += ascii;
        n += ascii;
        // The characters up to the next ASCII byte.
        do {
            if (TakeWellFormed(p, dst, n)) {
                continue;
            }
            const Decoded c = DecodeSequence(p, end);
            if (c.value == kBadSequence && strict) {
                return false;
            }
            n += PutUnits(c.value == kBadSequence ? kReplacement : c.value, dst + n);
            p = c.next;
        } while (p < stop && *p >= 0x80);
    }
    return true;
}

Outcome DecodeUtf16(const unsigned char* p, const unsigned char* end, char16_t* dst,
                    std::size_t capacity, bool strict) {
    std::size_t n = 0;
    while (p < end) {
        const std::size_t sure = std::min(static_cast<std::size_t>(end - p), capacity - n);
        if (sure > kStretchMargin) {
            if (!DecodeStretch(p, p + (sure - kStretchMargin), end, dst, n, strict)) {
                return {n, ERROR_NO_UNICODE_TRANSLATION};
            }
            continue;
        }
        // Near either end: one character at a time.
        if (n == capacity) {
            return {n, ERROR_INSUFFICIENT_BUFFER};
        }
        if (*p < 0x80) {
            dst[n++] = *p++;
            continue;
        }
        const Decoded c = DecodeSequence(p, end);
        if (c.value == kBadSequence && strict) {
            return {n, ERROR_NO_UNICODE_TRANSLATION};
        }
        const char32_t value = c.value == kBadSequence ? kReplacement : c.value;
        p = c.next;
        if (value >= 0x10000 && capacity - n == 1) {
            // No room for the low half: the high half stays, and the loop head decides
            // whether that fails.
            dst[n++] = static_cast<char16_t>(0xD800 | ((value - 0x10000) >> 10));
            continue;
        }
        n += PutUnits(value, dst + n);
    }
    return {n, 0};
}

// ---- UTF-16 -> UTF-8 ----

// Copies the units below 0x80 at the start of src (at most `limit`) to dst as bytes.
std::size_t NarrowAscii(const char16_t* src, std::size_t limit, char* dst) {
    std::size_t i = 0;
    for (; i + 8 <= limit; i += 8) {
        if (((Load64(src + i) | Load64(src + i + 4)) & kUnitHighBits) != 0) {
            break;
        }
        Narrow8(src + i, dst + i);
    }
    for (; i < limit && src[i] < 0x80; ++i) {
        dst[i] = static_cast<char>(src[i]);
    }
    return i;
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

constexpr std::size_t kUnitBlock = 8; // units a block step of this direction looks at

#if defined(__SSE2__)
__m128i Units(unsigned unit) {
    return _mm_set1_epi16(static_cast<short>(unit));
}

// Units of `block` whose top bits (under `mask`) are `bits`, as a vector of flags.
__m128i UnitsLike(__m128i block, unsigned mask, unsigned bits) {
    return _mm_cmpeq_epi16(_mm_and_si128(block, Units(mask)), Units(bits));
}

// Whether the surrogates in `block` all come as pairs within it: each low half right after a
// high half (two mask bits per unit), which a high half in the last unit can never have.
bool SurrogatesPaired(__m128i block) {
    const unsigned high = Mask(UnitsLike(block, 0xFC00, 0xD800));
    const unsigned low = Mask(UnitsLike(block, 0xFC00, 0xDC00));
    return high << 2 == low;
}
#endif

// Counts the UTF-8 bytes of whole blocks of units at p, moving p past them; stops at a block
// with a lone surrogate, or one cut off by the end of the block. A unit takes 1 byte below
// 0x80, 2 below 0x800, else 3; a surrogate pair takes 4, one less per half.
void CountUnitBlocks(const char16_t*& p, const char16_t* end, std::size_t& n) {
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    __m128i fewer = zero; // bytes less than 3 per unit, in two 64-bit sums
    std::size_t blocks = 0;
    for (; static_cast<std::size_t>(end - p) >= kUnitBlock; p += kUnitBlock, ++blocks) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i surrogate = UnitsLike(block, 0xF800, 0xD800);
        if (Mask(surrogate) != 0 && !SurrogatesPaired(block)) {
            break;
        }
        // Unsigned "below" as a saturating difference of zero; a surrogate is never below
        // 0x80, so its flag can share that lane. One byte per flag, summed.
        const __m128i below80 = _mm_cmpeq_epi16(_mm_subs_epu16(block, Units(0x7F)), zero);
        const __m128i below800 = _mm_cmpeq_epi16(_mm_subs_epu16(block, Units(0x7FF)), zero);
        const __m128i flags = _mm_packs_epi16(_mm_or_si128(below80, surrogate), below800);
        fewer = _mm_add_epi64(fewer, _mm_sad_epu8(_mm_and_si128(flags, Bytes(1)), zero));
    }
    n += blocks * kUnitBlock * 3 - Total(fewer);
#else
    for (; end - p >= 4 && (Load64(p) & kUnitHighBits) == 0; p += 4) {
        n += 4;
    }
#endif
}

Outcome CountUtf8(const char16_t* p, const char16_t* end, bool strict) {
    std::size_t n = 0;
    while (p < end) {
        CountUnitBlocks(p, end, n);
        // One block's worth (or the rest) a character at a time, past what stopped the scan.
        const char16_t* resume =
            static_cast<std::size_t>(end - p) > kUnitBlock ? p + kUnitBlock : end;
        while (p < resume) {
            const char32_t value = ReadCodePoint(p, end);
            if (value == kBadSequence && strict) {
                return {n, ERROR_NO_UNICODE_TRANSLATION};
            }
            n += EncodedLength(value == kBadSequence ? kReplacement : value);
        }
    }
    return {n, 0};
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

Outcome EncodeUtf8(const char16_t* p, const char16_t* end, char* dst, std::size_t capacity,
                   bool strict) {
    std::size_t n = 0;
    while (p < end) {
        if (*p < 0x80 && n < capacity) {
            const auto left = static_cast<std::size_t>(end - p);
            const std::size_t ascii = NarrowAscii(p, std::min(left, capacity - n), dst + n);
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
        if (capacity - n < length) {
            return {n, ERROR_INSUFFICIENT_BUFFER};
        }
        WriteSequence(value, length, dst + n);
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
        return CountUtf16(p, p + length, strict);
    }
    return DecodeUtf16(p, p + length, dst, capacity, strict);
}

Outcome Utf16ToUtf8(const char16_t* src, std::size_t length, char* dst, std::size_t capacity,
                    bool strict) {
    if (capacity == 0) {
        return CountUtf8(src, src + length, strict);
    }
    return EncodeUtf8(src, src + length, dst, capacity, strict);
}

} // namespace bvplatform::text
