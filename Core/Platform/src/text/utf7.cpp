// UTF-7 codec with the platform's handling of odd input (stray '+', unfinished units).
#include "text/utf7.h"

#include <bvplatform/winerror.h>

#include <cstdint>
#include <cstring>

namespace bvplatform::text {
namespace {

constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int DigitValue(unsigned char byte) {
    const char* found = byte != 0 ? std::strchr(kDigits, byte) : nullptr;
    return found != nullptr ? static_cast<int>(found - kDigits) : -1;
}

// Characters written as themselves: NUL, tab, CR, LF, space, letters, digits and '(),-./:?.
bool IsDirect(char16_t unit) {
    if (unit == 0 || unit == u'\t' || unit == u'\n' || unit == u'\r' || unit == u' ') {
        return true;
    }
    const bool alnum = (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') ||
                       (unit >= u'a' && unit <= u'z');
    return alnum || (unit < 0x80 && std::strchr("'(),-./:?", static_cast<char>(unit)) != nullptr);
}

// Bits collected from base64 digits, waiting to make up (or go out as) whole units.
struct BitBuffer {
    std::uint32_t bits = 0; // the pending bits, in the low `count` bits
    int count = 0;          // how many bits are pending

    void Add(std::uint32_t value, int width) {
        bits = ((bits << width) | value) & ((1u << (count + width)) - 1);
        count += width;
    }
    // The top `width` pending bits, removed from the buffer.
    std::uint32_t Take(int width) {
        count -= width;
        return (bits >> count) & ((1u << width) - 1);
    }
};

template <typename Unit>
Outcome Full(const Sink<Unit>& out) {
    return {out.Size(), ERROR_INSUFFICIENT_BUFFER};
}

} // namespace

Outcome Utf7ToUtf16(const char* src, std::size_t length, Sink<char16_t>& out) {
    bool inBlock = false;
    BitBuffer pending;
    for (std::size_t i = 0; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(src[i]);
        if (inBlock) {
            if (const int digit = DigitValue(byte); digit >= 0) {
                pending.Add(static_cast<std::uint32_t>(digit), 6);
                if (pending.count >= 16 && !Emit(out, static_cast<char16_t>(pending.Take(16)))) {
                    return Full(out);
                }
                continue;
            }
            inBlock = false;
            if (byte < 0x80) {
                pending = {};
            }
            if (byte == '-') {
                continue;
            }
        } else if (byte == '+') {
            const bool escaped = i + 1 < length && src[i + 1] == '-';
            if (escaped && !Emit(out, u'+')) {
                return Full(out);
            }
            i += escaped ? 1 : 0;
            inBlock = !escaped;
            continue;
        }
        if (!Emit(out, static_cast<char16_t>(byte))) {
            return Full(out);
        }
    }
    return {out.Size(), 0};
}

Outcome Utf16ToUtf7(const char16_t* src, std::size_t length, Sink<char>& out) {
    for (std::size_t i = 0; i < length;) {
        const char16_t unit = src[i];
        if (unit == u'+' || IsDirect(unit)) {
            if (!Emit(out, static_cast<char>(unit)) || (unit == u'+' && !Emit(out, '-'))) {
                return Full(out);
            }
            ++i;
            continue;
        }
        if (!Emit(out, '+')) {
            return Full(out);
        }
        BitBuffer pending;
        for (; i < length && src[i] != u'+' && !IsDirect(src[i]); ++i) {
            pending.Add(src[i], 16);
            while (pending.count >= 6) {
                if (!Emit(out, kDigits[pending.Take(6)])) {
                    return Full(out);
                }
            }
        }
        const int rest = pending.count;
        if (!out.Fits(rest > 0 ? 2 : 1)) {
            return Full(out);
        }
        if (rest > 0) {
            out.Put(kDigits[pending.Take(rest) << (6 - rest)]);
        }
        out.Put('-');
    }
    return {out.Size(), 0};
}

} // namespace bvplatform::text
