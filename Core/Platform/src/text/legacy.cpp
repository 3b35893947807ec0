// Table-driven conversion of the single- and double-byte code pages (a single-byte table
// simply has no lead bytes, so one loop serves both).
#include "text/legacy.h"

#include "text/unicode.h"

#include <bvplatform/text.h>
#include <bvplatform/winerror.h>

#include <algorithm>

namespace bvplatform::text {
namespace {

// One character read from narrow input.
struct NarrowChar {
    char16_t unit;     // what it decodes to
    std::size_t bytes; // bytes it takes
    bool invalid;      // whether MB_ERR_INVALID_CHARS rejects it
};

NarrowChar ReadNarrow(const CodePageTable& t, const unsigned char* p, std::size_t left,
                      bool glyphs) {
    const unsigned char byte = p[0];
    if (!t.IsLead(byte)) {
        const char16_t glyph = glyphs ? OemGlyph(byte) : 0;
        return {glyph != 0 ? glyph : t.single[byte], 1, t.singleInvalid[byte]};
    }
    if (left < 2 || p[1] == 0) {
        return {t.defaultUnit, 1, true}; // a terminator after a lead byte stays a character
    }
    const char16_t unit = t.Pair(byte, p[1]);
    const auto code = static_cast<std::uint16_t>(byte << 8 | p[1]);
    return {unit, 2, unit == t.defaultUnit && code != t.defaultUnitCode};
}

bool EmitDecoded(Sink<char16_t>& out, char16_t unit, bool composite) {
    char16_t parts[kMaxDecomposition];
    const std::size_t count = composite ? Decompose(unit, false, parts) : 0;
    if (count == 0) {
        return Emit(out, unit);
    }
    if (!out.Fits(count)) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        out.Put(parts[i]);
    }
    return true;
}

// A stretch of UTF-16 input that is encoded as one character.
struct WideChar {
    char16_t unit;     // the unit to encode (precomposed under WC_COMPOSITECHECK)
    std::size_t units; // input units it covers
    bool forceDefault; // written as the default character (WC_DEFAULTCHAR)
};

// Under WC_COMPOSITECHECK a base and the nonspacing marks after it become their precomposed
// form; what cannot be composed is dropped (WC_DISCARDNS), replaced as a whole
// (WC_DEFAULTCHAR), or left to follow as characters of their own (WC_SEPCHARS, the default).
WideChar ReadWide(const char16_t* p, std::size_t left, DWORD flags) {
    if ((flags & WC_COMPOSITECHECK) == 0) {
        return {p[0], 1, false};
    }
    std::size_t end = 1;
    while (end < left && IsNonspacing(p[end])) {
        ++end;
    }
    char16_t unit = p[0];
    std::size_t used = 1;
    while (used < end) {
        const char16_t composed = ComposePair(unit, p[used]);
        if (composed == 0) {
            break;
        }
        unit = composed;
        ++used;
    }
    if (used == end) {
        return {unit, used, false};
    }
    if (flags & WC_DISCARDNS) {
        return {unit, end, false};
    }
    if (flags & WC_DEFAULTCHAR) {
        return {unit, end, true};
    }
    return {unit, used, false};
}

bool PutCode(Sink<char>& out, std::uint16_t code) {
    if (code <= 0xFF) {
        return Emit(out, static_cast<char>(code));
    }
    if (!out.Fits(2)) {
        return false;
    }
    out.Put(static_cast<char>(code >> 8));
    out.Put(static_cast<char>(code & 0xFF));
    return true;
}

std::uint16_t DefaultCode(const CodePageTable& t, const char* defaultChar) {
    if (defaultChar == nullptr) {
        return '?';
    }
    const auto first = static_cast<unsigned char>(defaultChar[0]);
    if (!t.IsLead(first) || defaultChar[1] == 0) {
        return first;
    }
    return static_cast<std::uint16_t>(first << 8 | static_cast<unsigned char>(defaultChar[1]));
}

bool IsMapped(const Encoding& e, bool bestFit) {
    return e.fit == Fit::Exact || (e.fit == Fit::BestFit && bestFit);
}

// A single-byte code page without flags that change characters: one lookup per byte, and as
// many units as bytes.
Outcome DecodeSingleBytes(const CodePageTable& t, bool strict, const unsigned char* p,
                          std::size_t length, Sink<char16_t>& out) {
    const std::size_t count = std::min(length, out.Room());
    if (strict && std::any_of(p, p + count, [&](unsigned char b) { return t.singleInvalid[b]; })) {
        return {out.Size(), ERROR_NO_UNICODE_TRANSLATION};
    }
    if (char16_t* dst = out.Cursor()) {
        std::transform(p, p + count, dst, [&](unsigned char b) { return t.single[b]; });
    }
    out.Advance(count);
    return {out.Size(), count < length ? ERROR_INSUFFICIENT_BUFFER : 0};
}

// The same the other way: one byte per unit (a surrogate pair becomes two default characters).
Outcome EncodeSingleBytes(const CodePageTable& t, bool bestFit, const char16_t* src,
                          std::size_t length, char fallback, Sink<char>& out) {
    const std::size_t count = std::min(length, out.Room());
    char* dst = out.Cursor();
    Outcome outcome;
    for (std::size_t i = 0; i < count; ++i) {
        const Encoding e = t.EncodingOf(src[i]);
        const bool mapped = IsMapped(e, bestFit);
        outcome.usedDefault = outcome.usedDefault || !mapped;
        if (dst != nullptr) {
            dst[i] = mapped ? static_cast<char>(e.code) : fallback;
        }
    }
    out.Advance(count);
    outcome.length = out.Size();
    outcome.error = count < length ? ERROR_INSUFFICIENT_BUFFER : 0;
    return outcome;
}

} // namespace

Outcome DecodeWithTable(const CodePageTable& table, DWORD flags, const char* src,
                        std::size_t length, Sink<char16_t>& out) {
    const auto* p = reinterpret_cast<const unsigned char*>(src);
    const bool strict = (flags & MB_ERR_INVALID_CHARS) != 0;
    const bool glyphs = (flags & MB_USEGLYPHCHARS) != 0 && table.oemGlyphs;
    const bool composite = (flags & MB_COMPOSITE) != 0;
    if (!table.DoubleByte() && !glyphs && !composite) {
        return DecodeSingleBytes(table, strict, p, length, out);
    }
    for (std::size_t i = 0; i < length;) {
        const NarrowChar c = ReadNarrow(table, p + i, length - i, glyphs);
        if (c.invalid && strict) {
            return {out.Size(), ERROR_NO_UNICODE_TRANSLATION};
        }
        if (!EmitDecoded(out, c.unit, composite)) {
            return {out.Size(), ERROR_INSUFFICIENT_BUFFER};
        }
        i += c.bytes;
    }
    return {out.Size(), 0};
}

Outcome EncodeWithTable(const CodePageTable& table, DWORD flags, const char16_t* src,
                        std::size_t length, const char* defaultChar, Sink<char>& out) {
    const std::uint16_t fallback = DefaultCode(table, defaultChar);
    const bool bestFit = (flags & WC_NO_BEST_FIT_CHARS) == 0;
    if (!table.DoubleByte() && (flags & WC_COMPOSITECHECK) == 0) {
        return EncodeSingleBytes(table, bestFit, src, length, static_cast<char>(fallback), out);
    }
    Outcome outcome;
    for (std::size_t i = 0; i < length;) {
        const WideChar c = ReadWide(src + i, length - i, flags);
        const Encoding e = table.EncodingOf(c.unit);
        const bool mapped = !c.forceDefault && IsMapped(e, bestFit);
        if (!PutCode(out, mapped ? e.code : fallback)) {
            outcome.error = ERROR_INSUFFICIENT_BUFFER;
            break;
        }
        outcome.usedDefault = outcome.usedDefault || !mapped;
        i += c.units;
    }
    outcome.length = out.Size();
    return outcome;
}

} // namespace bvplatform::text
