// Code page tables. Sections: the table code pages and the platform's corrections to ICU;
// a small ICU converter wrapper; the table builder; lookup with build-on-first-use.
//
// A table is built in this order: decode every byte (and every pair after a lead byte) with
// ICU, apply the corrections, invert the decoding for the exact encodings (ICU decides
// between several codes for one unit), add ICU's fallbacks, the OEM glyphs and then the
// look-alike rules as best fit, and finally mark the bytes that MB_ERR_INVALID_CHARS rejects.
#include "text/tables.h"

#include "text/unicode.h"

#include <unicode/ucnv.h>
#include <unicode/uset.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <mutex>
#include <new>
#include <optional>

namespace bvplatform::text {
namespace {

// How a code page's table is made.
enum class Family : std::uint8_t {
    SevenBit,   // US-ASCII as the platform has it: a byte's top bit is dropped
    Ansi,       // single bytes, from ICU
    Oem,        // single bytes from ICU, with glyph forms for the control bytes
    DoubleByte, // single bytes and lead/trail pairs, from ICU
};

struct PageEntry {
    UINT id;             // code page number
    Family family;       // how its table is made
    const char* icuName; // ICU converter of the families built from ICU
};

constexpr PageEntry kPages[] = {
    {437, Family::Oem, "ibm-437_P100-1995"},
    {737, Family::Oem, "ibm-737_P100-1997"},
    {775, Family::Oem, "ibm-775_P100-1996"},
    {850, Family::Oem, "ibm-850_P100-1995"},
    {852, Family::Oem, "ibm-852_P100-1995"},
    {855, Family::Oem, "ibm-855_P100-1995"},
    {857, Family::Oem, "ibm-857_P100-1995"},
    {858, Family::Oem, "ibm-858_P100-1997"},
    {860, Family::Oem, "ibm-860_P100-1995"},
    {861, Family::Oem, "ibm-861_P100-1995"},
    {862, Family::Oem, "ibm-862_P100-1995"},
    {863, Family::Oem, "ibm-863_P100-1995"},
    {865, Family::Oem, "ibm-865_P100-1995"},
    {866, Family::Oem, "ibm-866_P100-1995"},
    {869, Family::Oem, "ibm-869_P100-1995"},
    {874, Family::Ansi, "windows-874-2000"},
    {932, Family::DoubleByte, "ibm-943_P15A-2003"},
    {936, Family::DoubleByte, "windows-936-2000"},
    {949, Family::DoubleByte, "windows-949-2000"},
    {950, Family::DoubleByte, "windows-950-2000"},
    {1250, Family::Ansi, "ibm-5346_P100-1998"},
    {1251, Family::Ansi, "ibm-5347_P100-1998"},
    {1252, Family::Ansi, "ibm-5348_P100-1997"},
    {1253, Family::Ansi, "ibm-5349_P100-1998"},
    {1254, Family::Ansi, "ibm-5350_P100-1998"},
    {1255, Family::Ansi, "ibm-9447_P100-2002"},
    {1256, Family::Ansi, "ibm-9448_X100-2005"},
    {1257, Family::Ansi, "ibm-9449_P100-2002"},
    {1258, Family::Ansi, "ibm-5354_P100-1998"},
    {10000, Family::Ansi, "macos-0_2-10.2"},
    {20127, Family::SevenBit, nullptr},
    {20866, Family::Ansi, "ibm-878_P100-1996"},
    {21866, Family::Ansi, "ibm-1168_P100-2002"},
    {28591, Family::Ansi, "ISO-8859-1"},
    {28592, Family::Ansi, "ibm-912_P100-1995"},
    {28593, Family::Ansi, "ibm-913_P100-2000"},
    {28594, Family::Ansi, "ibm-914_P100-1995"},
    {28595, Family::Ansi, "ibm-915_P100-1995"},
    {28596, Family::Ansi, "ibm-1089_P100-1995"},
    {28597, Family::Ansi, "ibm-9005_X110-2007"},
    {28598, Family::Ansi, "ibm-5012_P100-1999"},
    {28599, Family::Ansi, "ibm-920_P100-1995"},
    {28603, Family::Ansi, "ibm-921_P100-1995"},
    {28605, Family::Ansi, "ibm-923_P100-1998"},
};
static_assert(std::is_sorted(std::begin(kPages), std::end(kPages),
                             [](const PageEntry& a, const PageEntry& b) { return a.id < b.id; }));

// Build-time marker of a byte or pair without a character; the finished table holds the code
// page's default unit there instead.
constexpr char16_t kUndefined = 0xFFFF;

// Single bytes that the platform maps where ICU does not (or not the same way).
struct ByteOverride {
    UINT page;          // code page number
    unsigned char byte; // the byte
    char16_t unit;      // what it decodes to; kUndefined for none
};
constexpr ByteOverride kByteOverrides[] = {
    {932, 0x80, 0x0080}, {932, 0xA0, 0xF8F0}, {932, 0xFD, 0xF8F1},
    {932, 0xFE, 0xF8F2}, {932, 0xFF, 0xF8F3}, {1253, 0xAA, kUndefined},
};

// Code pages whose undefined bytes decode to something else than '?'.
struct DefaultUnit {
    UINT page;          // code page number
    char16_t unit;      // what undefined bytes decode to
    std::uint16_t code; // the code that stands for that unit itself
};
constexpr DefaultUnit kDefaultUnits[] = {{932, 0x30FB, 0x8145}};

constexpr std::uint32_t Pack(std::uint16_t code, Fit fit) {
    return code | (static_cast<std::uint32_t>(fit) << 16);
}

constexpr bool IsSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDFFF;
}
constexpr bool IsPrivateUse(char16_t unit) {
    return unit >= 0xE000 && unit <= 0xF8FF;
}

// One ICU converter that stops at anything it cannot convert, so that gaps show.
class IcuConverter {
public:
    explicit IcuConverter(const char* name) {
        if (name == nullptr) {
            return;
        }
        UErrorCode status = U_ZERO_ERROR;
        m_converter = ucnv_open(name, &status);
        ucnv_setToUCallBack(m_converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                            &status);
        ucnv_setFromUCallBack(m_converter, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                              &status);
        if (U_FAILURE(status)) {
            Close();
        }
    }
    ~IcuConverter() { Close(); }
    IcuConverter(const IcuConverter&) = delete;
    IcuConverter& operator=(const IcuConverter&) = delete;

    [[nodiscard]] UConverter* Get() const { return m_converter; }

    /// The one unit that `count` bytes decode to; kUndefined otherwise. `lead` tells whether
    /// the bytes only start a character.
    char16_t Decode(const char* bytes, int count, bool& lead) const {
        ucnv_resetToUnicode(m_converter);
        UChar out[4];
        UErrorCode status = U_ZERO_ERROR;
        const int32_t length = ucnv_toUChars(m_converter, out, 4, bytes, count, &status);
        lead = status == U_TRUNCATED_CHAR_FOUND;
        return U_SUCCESS(status) && length == 1 ? out[0] : kUndefined;
    }

    /// The code ICU gives `unit` (with its fallbacks, if asked), if it is one or two bytes.
    std::optional<std::uint16_t> Encode(char16_t unit, bool withFallbacks) const {
        if (m_converter == nullptr) {
            return std::nullopt;
        }
        ucnv_resetFromUnicode(m_converter);
        ucnv_setFallback(m_converter, withFallbacks);
        char out[4];
        UErrorCode status = U_ZERO_ERROR;
        const int32_t length = ucnv_fromUChars(m_converter, out, 4, &unit, 1, &status);
        if (U_FAILURE(status) || length < 1 || length > 2) {
            return std::nullopt;
        }
        const auto first = static_cast<unsigned char>(out[0]);
        return length == 1 ? first : (first << 8) | static_cast<unsigned char>(out[1]);
    }

private:
    void Close() {
        if (m_converter != nullptr) {
            ucnv_close(m_converter);
            m_converter = nullptr;
        }
    }

    UConverter* m_converter = nullptr; // open converter; null when none is needed or available
};

class TableBuilder {
public:
    explicit TableBuilder(const PageEntry& page)
        : m_page(page), m_icu(page.icuName), m_table(std::make_unique<CodePageTable>()) {}

    /// The finished table; null when ICU does not have the code page.
    std::unique_ptr<CodePageTable> Build() {
        if (m_page.icuName != nullptr && m_icu.Get() == nullptr) {
            return nullptr;
        }
        Start();
        ReadBytes();
        ApplyOverrides();
        AddExactEncodings();
        AddIcuFallbacks();
        AddGlyphs();
        AddLookAlikes();
        Finish();
        return std::move(m_table);
    }

private:
    void Start() {
        CodePageTable& t = *m_table;
        t.id = m_page.id;
        t.oemGlyphs = m_page.family == Family::Oem;
        t.encode.assign(0x10000, Pack(0, Fit::None));
        for (const DefaultUnit& d : kDefaultUnits) {
            if (d.page == t.id) {
                t.defaultUnit = d.unit;
                t.defaultUnitCode = d.code;
            }
        }
    }

    void ReadBytes() {
        CodePageTable& t = *m_table;
        for (unsigned b = 0; b < 256; ++b) {
            if (b < 0x80 || m_page.family == Family::SevenBit) {
                t.single[b] = static_cast<char16_t>(b & 0x7F); // ASCII-compatible in every table
                continue;
            }
            const char byte = static_cast<char>(b);
            bool lead = false;
            t.single[b] = m_icu.Decode(&byte, 1, lead);
            if (lead) {
                ReadPairs(static_cast<unsigned char>(b));
            }
        }
    }

    void ReadPairs(unsigned char lead) {
        CodePageTable& t = *m_table;
        t.single[lead] = kUndefined;
        t.pairs.resize(t.pairs.size() + 256, kUndefined);
        t.leadRow[lead] = static_cast<std::uint8_t>(t.pairs.size() / 256);
        for (unsigned trail = 1; trail < 256; ++trail) {
            const char bytes[] = {static_cast<char>(lead), static_cast<char>(trail)};
            bool partial = false;
            t.pairs[(t.leadRow[lead] - 1u) * 256u + trail] = m_icu.Decode(bytes, 2, partial);
        }
    }

    void ApplyOverrides() {
        for (const ByteOverride& o : kByteOverrides) {
            if (o.page == m_page.id) {
                m_table->single[o.byte] = o.unit;
            }
        }
    }

    // The unit a code decodes to (kUndefined if none).
    [[nodiscard]] char16_t Decoded(std::uint16_t code) const {
        const CodePageTable& t = *m_table;
        if (code <= 0xFF) {
            return t.IsLead(static_cast<unsigned char>(code)) ? kUndefined : t.single[code];
        }
        const auto lead = static_cast<unsigned char>(code >> 8);
        return t.IsLead(lead) ? t.Pair(lead, static_cast<unsigned char>(code)) : kUndefined;
    }

    // Every defined code in increasing order: single bytes, then pairs.
    template <typename Visit>
    void ForEachCode(Visit visit) const {
        const CodePageTable& t = *m_table;
        for (unsigned b = 0; b < 256; ++b) {
            if (!t.IsLead(static_cast<unsigned char>(b)) && t.single[b] != kUndefined) {
                visit(static_cast<std::uint16_t>(b), t.single[b]);
            }
        }
        for (unsigned lead = 0; lead < 256; ++lead) {
            if (!t.IsLead(static_cast<unsigned char>(lead))) {
                continue;
            }
            for (unsigned trail = 0; trail < 256; ++trail) {
                const auto code = static_cast<std::uint16_t>(lead << 8 | trail);
                if (const char16_t unit = Decoded(code); unit != kUndefined) {
                    visit(code, unit);
                }
            }
        }
    }

    // The lowest code of a unit wins, unless ICU prefers another code that decodes to it.
    void AddExactEncodings() {
        std::vector<char16_t> shared;
        ForEachCode([&](std::uint16_t code, char16_t unit) {
            std::uint32_t& entry = m_table->encode[unit];
            if (static_cast<Fit>(entry >> 16) == Fit::Exact) {
                shared.push_back(unit);
                return;
            }
            entry = Pack(code, Fit::Exact);
        });
        for (const char16_t unit : shared) {
            const std::optional<std::uint16_t> code = m_icu.Encode(unit, false);
            if (code && Decoded(*code) == unit) {
                m_table->encode[unit] = Pack(*code, Fit::Exact);
            }
        }
    }

    void SetBestFit(char16_t unit, std::uint16_t code) {
        if (m_table->EncodingOf(unit).fit == Fit::None && Decoded(code) != kUndefined) {
            m_table->encode[unit] = Pack(code, Fit::BestFit);
        }
    }

    void AddIcuFallbacks() {
        if (m_icu.Get() == nullptr) {
            return;
        }
        USet* set = uset_openEmpty();
        UErrorCode status = U_ZERO_ERROR;
        ucnv_getUnicodeSet(m_icu.Get(), set, UCNV_ROUNDTRIP_AND_FALLBACK_SET, &status);
        const int32_t ranges = U_SUCCESS(status) ? uset_getItemCount(set) : 0;
        for (int32_t i = 0; i < ranges; ++i) {
            UChar32 first = 0;
            UChar32 last = 0;
            UErrorCode itemStatus = U_ZERO_ERROR;
            uset_getItem(set, i, &first, &last, nullptr, 0, &itemStatus);
            for (UChar32 c = first; c <= std::min<UChar32>(last, 0xFFFF); ++c) {
                if (IsSurrogate(c) ||
                    m_table->EncodingOf(static_cast<char16_t>(c)).fit != Fit::None) {
                    continue;
                }
                if (const auto code = m_icu.Encode(static_cast<char16_t>(c), true)) {
                    SetBestFit(static_cast<char16_t>(c), *code);
                }
            }
        }
        uset_close(set);
    }

    // The glyphs that MB_USEGLYPHCHARS shows for control bytes go back to those bytes.
    void AddGlyphs() {
        for (unsigned b = 0; m_table->oemGlyphs && b < 0x80; ++b) {
            if (const char16_t glyph = OemGlyph(static_cast<unsigned char>(b))) {
                SetBestFit(glyph, static_cast<std::uint16_t>(b));
            }
        }
    }

    void AddLookAlikes() {
        const bool latin1Only = m_page.family == Family::DoubleByte;
        const char32_t last = latin1Only ? 0xFF : 0xFFFF;
        for (char32_t c = 0x80; c <= last; ++c) {
            const auto unit = static_cast<char16_t>(c);
            if (IsSurrogate(c) || m_table->EncodingOf(unit).fit != Fit::None) {
                continue;
            }
            char16_t candidates[kMaxCandidates];
            const std::size_t count = BestFitCandidates(unit, latin1Only, candidates);
            const auto* exact = std::find_if(candidates, candidates + count, [&](char16_t u) {
                return m_table->EncodingOf(u).fit == Fit::Exact;
            });
            if (exact != candidates + count) {
                SetBestFit(unit, m_table->EncodingOf(*exact).code);
            }
        }
    }

    // A byte is invalid when it has no character, stands for the default unit without being
    // its code, or maps into the private use area.
    [[nodiscard]] bool IsInvalidByte(unsigned b) const {
        const char16_t unit = m_table->single[b];
        return unit == kUndefined ||
               (unit == m_table->defaultUnit && b != m_table->defaultUnitCode) ||
               IsPrivateUse(unit);
    }

    void Finish() {
        CodePageTable& t = *m_table;
        for (unsigned b = 0; b < 256; ++b) {
            t.singleInvalid[b] = !t.IsLead(static_cast<unsigned char>(b)) && IsInvalidByte(b);
        }
        std::replace(t.single.begin(), t.single.end(), kUndefined, t.defaultUnit);
        std::replace(t.pairs.begin(), t.pairs.end(), kUndefined, t.defaultUnit);
    }

    const PageEntry& m_page;                // the code page being built
    IcuConverter m_icu;                     // its ICU converter (none for SevenBit)
    std::unique_ptr<CodePageTable> m_table; // the table under construction
};

const PageEntry* FindEntry(UINT codePage) {
    const auto* it = std::lower_bound(std::begin(kPages), std::end(kPages), codePage,
                                      [](const PageEntry& s, UINT id) { return s.id < id; });
    return it != std::end(kPages) && it->id == codePage ? it : nullptr;
}

// The built table of one code page. Slots are never freed: conversions may run while the
// process shuts down.
struct Slot {
    std::once_flag built;                 // guards table: set once, read-only afterwards
    const CodePageTable* table = nullptr; // null until built, and if ICU lacks the code page
};

Slot& SlotOf(const PageEntry& page) {
    static Slot* const slots = new Slot[std::size(kPages)];
    return slots[&page - kPages];
}

} // namespace

const CodePageTable* FindTable(UINT codePage) {
    const PageEntry* page = FindEntry(codePage);
    if (page == nullptr) {
        return nullptr;
    }
    Slot& slot = SlotOf(*page);
    try {
        std::call_once(slot.built, [&] { slot.table = TableBuilder(*page).Build().release(); });
    } catch (const std::bad_alloc&) {
        return nullptr; // not marked built: the next call tries again
    }
    return slot.table;
}

} // namespace bvplatform::text
