// The tables of the single- and double-byte code pages: built from ICU on first use, corrected
// where the platform's own tables differ, then shared read-only by every thread for the life of
// the process.
#pragma once

#include <bvplatform/types.h>

#include <array>
#include <cstdint>
#include <vector>

namespace bvplatform::text {

/// How a UTF-16 unit maps into a code page.
enum class Fit : std::uint8_t {
    Exact,   // a character of the code page that decodes back to the unit
    BestFit, // a look-alike that the platform substitutes unless WC_NO_BEST_FIT_CHARS
    None,    // nothing: the default character stands in
};

/// Where a unit goes in a code page.
struct Encoding {
    std::uint16_t code; // the byte, or lead byte << 8 | trail byte (unused for Fit::None)
    Fit fit;            // how good the mapping is
};

/// Conversion data of one single- or double-byte code page.
struct CodePageTable {
    UINT id = 0;                             // the code page number
    bool oemGlyphs = false;                  // control bytes have glyph forms (MB_USEGLYPHCHARS)
    char16_t defaultUnit = u'?';             // what undefined bytes and pairs decode to
    std::uint16_t defaultUnitCode = '?';     // the code that really stands for defaultUnit
    std::array<char16_t, 256> single{};      // unit of each byte on its own (lead bytes: unused)
    std::array<bool, 256> singleInvalid{};   // bytes that MB_ERR_INVALID_CHARS rejects
    std::array<std::uint8_t, 256> leadRow{}; // 0 for bytes that lead no pair, else 1 + row in pairs
    std::vector<char16_t> pairs;             // 256 units per lead byte, by trail byte; undefined
                                             // pairs hold defaultUnit
    std::vector<std::uint32_t> encode;       // per unit: code | Fit << 16

    [[nodiscard]] bool DoubleByte() const { return !pairs.empty(); }
    [[nodiscard]] bool IsLead(unsigned char byte) const { return leadRow[byte] != 0; }
    [[nodiscard]] char16_t Pair(unsigned char lead, unsigned char trail) const {
        return pairs[(leadRow[lead] - 1u) * 256u + trail];
    }
    [[nodiscard]] Encoding EncodingOf(char16_t unit) const {
        const std::uint32_t entry = encode[unit];
        return {static_cast<std::uint16_t>(entry), static_cast<Fit>(entry >> 16)};
    }
};

/// The table of a single- or double-byte code page, built on first use. Null for any other code
/// page number (65000 and 65001 need no table), and if ICU cannot provide the code page.
[[nodiscard]] const CodePageTable* FindTable(UINT codePage);

} // namespace bvplatform::text
