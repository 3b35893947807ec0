// Character tables for the runtime's class tests and the platform's case mapping. The tables
// cover every UTF-16 unit and are built at first use (immortal, so calls during static
// destruction still work); a surrogate unit has no class bits and no case.
#include "text/chartype.h"

#include <bvplatform/crt.h>

#include <unicode/uchar.h>

#include <array>

namespace bvplatform::text {
namespace {

constexpr std::size_t kUnits = 0x10000;

// The runtime's Latin-1 table (units up to U+00FF), which differs from the Unicode types:
// U+0085 is only a control, U+00AA, U+00B5 and U+00BA are punctuation, the superscript digits
// are punctuation and digits.
int Latin1Type(char16_t unit) {
    if (unit == u'\t') {
        return _CONTROL | _SPACE | _BLANK;
    }
    if (unit >= 0x0A && unit <= 0x0D) {
        return _CONTROL | _SPACE;
    }
    if (unit < 0x20 || (unit >= 0x7F && unit < 0xA0)) {
        return _CONTROL;
    }
    if (unit == 0x20 || unit == 0xA0) {
        return _SPACE | _BLANK;
    }
    if (unit >= u'0' && unit <= u'9') {
        return _DIGIT | _HEX;
    }
    if (unit == 0xB2 || unit == 0xB3 || unit == 0xB9) {
        return _PUNCT | _DIGIT;
    }
    const bool hexLetter = (unit >= u'A' && unit <= u'F') || (unit >= u'a' && unit <= u'f');
    const bool upper = (unit >= u'A' && unit <= u'Z') || (unit >= 0xC0 && unit <= 0xDE);
    const bool lower = (unit >= u'a' && unit <= u'z') || unit >= 0xDF;
    if ((upper || lower) && unit != 0xD7 && unit != 0xF7) {
        return 0x0100 | (upper ? _UPPER : _LOWER) | (hexLetter ? _HEX : 0);
    }
    return _PUNCT;
}

bool IsFullwidthHex(char16_t unit) {
    return (unit >= 0xFF10 && unit <= 0xFF19) || (unit >= 0xFF21 && unit <= 0xFF26) ||
           (unit >= 0xFF41 && unit <= 0xFF46);
}

// The platform's character type of a unit above U+00FF, from its Unicode general category.
int UnicodeType(char16_t unit) {
    const auto mask = U_GET_GC_MASK(unit);
    int type = IsFullwidthHex(unit) ? _HEX : 0;
    if ((mask & U_GC_L_MASK) != 0) {
        type |= 0x0100;
    }
    if ((mask & (U_GC_LU_MASK | U_GC_LT_MASK)) != 0) {
        type |= _UPPER;
    }
    if ((mask & U_GC_LL_MASK) != 0) {
        type |= _LOWER;
    }
    if ((mask & U_GC_ND_MASK) != 0) {
        type |= _DIGIT;
    }
    if ((mask & (U_GC_Z_MASK)) != 0) {
        type |= _SPACE;
    }
    if ((mask & U_GC_ZS_MASK) != 0) {
        type |= _BLANK;
    }
    if ((mask & (U_GC_P_MASK | U_GC_S_MASK | U_GC_NL_MASK | U_GC_NO_MASK)) != 0) {
        type |= _PUNCT;
    }
    if ((mask & (U_GC_CC_MASK | U_GC_CF_MASK)) != 0) {
        type |= _CONTROL;
    }
    return type;
}

// A mapping of the platform's case table: kept only where it leads back to the unit.
char16_t RoundTrip(char16_t unit, UChar32 mapped, UChar32 (*back)(UChar32)) {
    if (mapped == unit || mapped > 0xFFFF || back(mapped) != unit) {
        return unit;
    }
    return static_cast<char16_t>(mapped);
}

struct Tables {
    std::array<unsigned short, kUnits> type; // runtime class bits per unit
    std::array<char16_t, kUnits> upper;      // CharUpperW's result per unit
    std::array<char16_t, kUnits> lower;      // CharLowerW's result per unit

    Tables() {
        for (std::size_t i = 0; i < kUnits; ++i) {
            const auto unit = static_cast<char16_t>(i);
            const bool surrogate = unit >= 0xD800 && unit <= 0xDFFF;
            type[i] = static_cast<unsigned short>(
                surrogate ? 0 : (unit < 0x100 ? Latin1Type(unit) : UnicodeType(unit)));
            upper[i] = surrogate ? unit : RoundTrip(unit, u_toupper(unit), u_tolower);
            lower[i] = surrogate ? unit : RoundTrip(unit, u_tolower(unit), u_toupper);
        }
    }
};

const Tables& TheTables() {
    static const Tables& tables = *new Tables;
    return tables;
}

} // namespace

int RuntimeCharType(char16_t unit) {
    return TheTables().type[unit];
}

char16_t PlatformUpper(char16_t unit) {
    return TheTables().upper[unit];
}

char16_t PlatformLower(char16_t unit) {
    return TheTables().lower[unit];
}

const char16_t* PlatformUpperTable() {
    return TheTables().upper.data();
}

const char16_t* PlatformLowerTable() {
    return TheTables().lower.data();
}

} // namespace bvplatform::text
