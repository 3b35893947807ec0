// Expansion of a message definition as FormatMessageW does it.
//
// Map: LineWriter applies the width byte of the flags to everything written; InsertArgs reads
// insert values from a va_list or an argument array with the platform's numbering; the insert
// functions format one %n!format! with the printf rules the platform keeps; ExpandMessage walks the
// definition.
#include "debug/messageformat.h"

#include "com/acptext.h"

#include <bvplatform/winerror.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <vector>

namespace bvplatform::detail {
namespace {

constexpr DWORD kIgnoreInserts = 0x00000200; // FORMAT_MESSAGE_IGNORE_INSERTS
constexpr DWORD kArgumentArray = 0x00002000; // FORMAT_MESSAGE_ARGUMENT_ARRAY
constexpr DWORD kWidthMask = 0x000000FF;     // FORMAT_MESSAGE_MAX_WIDTH_MASK
constexpr unsigned kNoWrap = 0xFF;           // width byte: breaks become blanks, no wrapping
constexpr std::u16string_view kCrLf = u"\r\n";
constexpr int kMaxField = 0xFFFF; // widest field or precision a star operand may ask for

// Receives the expanded text and applies the width byte: 0 keeps the definition's line breaks
// (as CR LF), 0xFF turns them into one blank each, 1..254 turns them into blanks and wraps lines
// at that width, breaking at the last run of blanks of the line (the run is dropped) or, for a
// line without blanks, right after `width` units. %n and %r always end a line.
class LineWriter {
public:
    explicit LineWriter(unsigned width) : m_width(width) {}

    // A unit of the definition or of an insert.
    void Unit(char16_t c) {
        m_out.push_back(c);
        if (c == u'\r' || c == u'\n') {
            m_lineStart = m_out.size();
            return;
        }
        if (Wraps() && m_out.size() - m_lineStart >= m_width) {
            Wrap();
        }
    }

    void Units(std::u16string_view text) {
        for (const char16_t c : text) {
            Unit(c);
        }
    }

    // A CR, LF or CR LF of the definition itself.
    void DefinitionBreak() {
        if (m_width == 0) {
            HardBreak();
            return;
        }
        Unit(u' ');
    }

    // %n: a line break that every width keeps.
    void HardBreak() {
        m_out.append(kCrLf);
        m_lineStart = m_out.size();
    }

    std::u16string Take() { return std::move(m_out); }

private:
    [[nodiscard]] bool Wraps() const { return m_width != 0 && m_width != kNoWrap; }

    void Wrap() {
        const std::size_t blank = m_out.find_last_of(u' ');
        if (blank == std::u16string::npos || blank < m_lineStart) {
            HardBreak();
            return;
        }
        std::size_t runStart = blank;
        while (runStart > m_lineStart && m_out[runStart - 1] == u' ') {
            --runStart;
        }
        const std::u16string rest = m_out.substr(blank + 1);
        m_out.erase(runStart);
        HardBreak();
        m_out.append(rest);
    }

    std::u16string m_out;        // text written so far
    std::size_t m_lineStart = 0; // index in m_out where the current line begins
    unsigned m_width;            // the flags' width byte
};

// The values of inserts. With an argument array an insert number n is element n-1, and a star
// operand or the value after it is the element after the highest one read so far. With a
// va_list the numbered values are read in order as inserts ask for them; a star insert %n reads
// its width as value n, its precision (numbered n+1) and its value from the list as they come,
// so the insert after %n!*.*s! is %(n+2), as the platform documents.
class InsertArgs {
public:
    InsertArgs(va_list* arguments, bool isArray) : m_arguments(arguments), m_isArray(isArray) {}

    [[nodiscard]] bool Present() const { return m_arguments != nullptr; }

    ULONG_PTR Numbered(unsigned number) {
        if (m_isArray) {
            m_highest = std::max(m_highest, number);
            return reinterpret_cast<const DWORD_PTR*>(m_arguments)[number - 1];
        }
        while (m_numbered.size() < number) {
            m_numbered.push_back(va_arg(*m_arguments, ULONG_PTR));
        }
        return m_numbered[number - 1];
    }

    // The operand after a star; `claimedNumber` (0 for none) is the insert number it takes.
    ULONG_PTR StarOperand(unsigned claimedNumber) {
        if (m_isArray) {
            return Numbered(m_highest + 1);
        }
        const ULONG_PTR value = va_arg(*m_arguments, ULONG_PTR);
        if (claimedNumber == 0) {
            return value;
        }
        if (m_numbered.size() < claimedNumber) {
            m_numbered.resize(claimedNumber);
        }
        m_numbered[claimedNumber - 1] = value;
        return value;
    }

private:
    va_list* m_arguments;              // the caller's arguments (a DWORD_PTR array if m_isArray)
    bool m_isArray;                    // FORMAT_MESSAGE_ARGUMENT_ARRAY
    unsigned m_highest = 0;            // array: highest argument number read so far
    std::vector<ULONG_PTR> m_numbered; // va_list: values of insert numbers 1.. read so far
};

// One !format! of an insert, printf style.
struct InsertFormat {
    std::string flags;          // printf flags among "-+ #0"
    bool starWidth = false;     // width given by an argument
    bool starPrecision = false; // precision given by an argument
    int width = -1;             // field width, -1 for none
    int precision = -1;         // precision, -1 for none
    int bits = 32;              // integer size: 16, 32 or 64
    bool narrow = false;        // string or character in the active code page
    char conversion = 's';      // s S c C d i u o x X p
};

bool IsDigit(char16_t c) {
    return c >= u'0' && c <= u'9';
}

bool ParseNumber(std::u16string_view text, std::size_t& pos, int& value) {
    if (pos >= text.size() || !IsDigit(text[pos])) {
        return false;
    }
    value = 0;
    while (pos < text.size() && IsDigit(text[pos]) && value < 100000) {
        value = value * 10 + (text[pos++] - u'0');
    }
    return true;
}

bool StartsWith(std::u16string_view text, std::size_t pos, std::u16string_view prefix) {
    return text.substr(pos, prefix.size()) == prefix;
}

// Size prefix: h, l, ll, w, I, I32, I64, z, j, t. Returns whether one was given.
bool ParseSize(std::u16string_view text, std::size_t& pos, InsertFormat& out) {
    struct Prefix {
        std::u16string_view text; // the prefix as written
        int bits;                 // integer size it selects
        bool narrow;              // whether it selects narrow text (else wide)
    };
    static constexpr Prefix kPrefixes[] = {
        {u"I64", 64, false}, {u"I32", 32, false}, {u"ll", 64, false}, {u"I", 64, false},
        {u"z", 64, false},   {u"j", 64, false},   {u"t", 64, false},  {u"h", 16, true},
        {u"l", 32, false},   {u"w", 32, false},
    };
    for (const Prefix& prefix : kPrefixes) {
        if (StartsWith(text, pos, prefix.text)) {
            pos += prefix.text.size();
            out.bits = prefix.bits;
            out.narrow = prefix.narrow;
            return true;
        }
    }
    return false;
}

std::optional<InsertFormat> ParseInsertFormat(std::u16string_view text) {
    InsertFormat out;
    std::size_t pos = 0;
    while (pos < text.size() && std::u16string_view(u"-+ #0").find(text[pos]) != text.npos) {
        out.flags.push_back(static_cast<char>(text[pos++]));
    }
    if (pos < text.size() && text[pos] == u'*') {
        out.starWidth = true;
        ++pos;
    } else {
        ParseNumber(text, pos, out.width);
    }
    if (pos < text.size() && text[pos] == u'.') {
        ++pos;
        out.precision = 0;
        if (pos < text.size() && text[pos] == u'*') {
            out.starPrecision = true;
            ++pos;
        } else {
            ParseNumber(text, pos, out.precision);
        }
    }
    const bool sizeGiven = ParseSize(text, pos, out);
    if (pos + 1 != text.size() ||
        std::u16string_view(u"sScCdiuoxXp").find(text[pos]) == std::u16string_view::npos) {
        return std::nullopt;
    }
    out.conversion = static_cast<char>(text[pos]);
    if (out.conversion == 'S' && !sizeGiven) {
        out.narrow = true; // the W function's %S is the narrow string
    }
    return out;
}

std::u16string Widen(const char* text) {
    std::u16string out;
    for (; *text; ++text) {
        out.push_back(static_cast<unsigned char>(*text));
    }
    return out;
}

// Text cut to the precision and padded to the width of the field.
std::u16string Pad(std::u16string text, const InsertFormat& field) {
    if (field.precision >= 0 && text.size() > static_cast<std::size_t>(field.precision)) {
        text.resize(static_cast<std::size_t>(field.precision));
    }
    if (field.width <= 0 || text.size() >= static_cast<std::size_t>(field.width)) {
        return text;
    }
    const std::u16string fill(static_cast<std::size_t>(field.width) - text.size(), u' ');
    const bool left = field.flags.find('-') != std::string::npos;
    return left ? text + fill : fill + text;
}

std::optional<std::u16string> FormatText(ULONG_PTR value, const InsertFormat& field) {
    if (value == 0) {
        return Pad(u"(null)", field);
    }
    if (!field.narrow) {
        return Pad(std::u16string(reinterpret_cast<const char16_t*>(value)), field);
    }
    auto wide = WidenActiveCodePage(reinterpret_cast<const char*>(value));
    if (!wide) {
        return std::nullopt;
    }
    return Pad(std::move(*wide), field);
}

std::optional<std::u16string> FormatCharacter(ULONG_PTR value, const InsertFormat& field) {
    InsertFormat whole = field;
    whole.precision = -1;
    if (!field.narrow) {
        return Pad(std::u16string(1, static_cast<char16_t>(value)), whole);
    }
    const char byte = static_cast<char>(value);
    auto wide = WidenActiveCodePage(std::string_view(&byte, 1));
    if (!wide) {
        return std::nullopt;
    }
    return Pad(std::move(*wide), whole);
}

// The value cut to `bits`, sign-extended when `isSigned`.
unsigned long long Truncate(ULONG_PTR value, int bits, bool isSigned) {
    if (bits >= 64) {
        return value;
    }
    const unsigned long long mask = (1ULL << bits) - 1;
    const unsigned long long cut = value & mask;
    const bool negative = isSigned && (cut >> (bits - 1)) != 0;
    return negative ? cut | ~mask : cut;
}

std::u16string FormatInteger(ULONG_PTR value, const InsertFormat& field) {
    char conversion = field.conversion;
    int precision = field.precision;
    int bits = field.bits;
    if (conversion == 'p') { // the platform prints pointers as 16 upper-case hex digits
        conversion = 'X';
        precision = std::max(precision, 16);
        bits = 64;
    }
    std::string format = "%" + field.flags;
    if (field.width >= 0) {
        format += std::to_string(field.width);
    }
    if (precision >= 0) {
        format += "." + std::to_string(precision);
    }
    format += "ll";
    format.push_back(conversion);
    const bool isSigned = conversion == 'd' || conversion == 'i';
    const unsigned long long bitsValue = Truncate(value, bits, isSigned);
    std::vector<char> text(static_cast<std::size_t>(std::max(field.width, precision)) + 32);
    if (isSigned) {
        std::snprintf(text.data(), text.size(), format.c_str(), static_cast<long long>(bitsValue));
    } else {
        std::snprintf(text.data(), text.size(), format.c_str(), bitsValue);
    }
    return Widen(text.data());
}

// Reads the star operands and the value of insert `number` and formats it.
std::optional<std::u16string> FormatInsert(unsigned number, InsertFormat field, InsertArgs& args) {
    ULONG_PTR value = 0;
    if (!field.starWidth && !field.starPrecision) {
        value = args.Numbered(number);
    } else {
        const ULONG_PTR first = args.Numbered(number);
        const bool both = field.starWidth && field.starPrecision;
        const ULONG_PTR second = both ? args.StarOperand(number + 1) : 0;
        value = args.StarOperand(0);
        const auto asInt = [](ULONG_PTR v) {
            return static_cast<int>(static_cast<std::int32_t>(v));
        };
        if (field.starWidth) {
            field.width = asInt(first);
        }
        if (field.starPrecision) {
            field.precision = std::max(-1, asInt(both ? second : first));
        }
        if (field.width < 0) {
            field.flags.push_back('-');
            field.width = field.width == INT_MIN ? INT_MAX : -field.width;
        }
        if (field.width > kMaxField || field.precision > kMaxField) {
            return std::nullopt;
        }
    }
    switch (field.conversion) {
    case 's':
    case 'S':
        return FormatText(value, field);
    case 'c':
    case 'C':
        return FormatCharacter(value, field);
    default:
        return FormatInteger(value, field);
    }
}

// The walk over a definition.
class Expander {
public:
    Expander(std::u16string_view definition, DWORD flags, va_list* arguments)
        : m_text(definition), m_ignoreInserts((flags & kIgnoreInserts) != 0),
          m_args(arguments, (flags & kArgumentArray) != 0), m_out(flags & kWidthMask) {}

    DWORD Run(std::u16string& out) {
        while (m_pos < m_text.size()) {
            const char16_t c = m_text[m_pos];
            if (c == u'\r' || c == u'\n') {
                m_pos += (c == u'\r' && Peek(1) == u'\n') ? 2 : 1;
                m_out.DefinitionBreak();
                continue;
            }
            if (c != u'%') {
                m_out.Unit(c);
                ++m_pos;
                continue;
            }
            bool stop = false;
            if (const DWORD status = Escape(stop); status != ERROR_SUCCESS) {
                return status;
            }
            if (stop) {
                break;
            }
        }
        out = m_out.Take();
        return ERROR_SUCCESS;
    }

private:
    [[nodiscard]] char16_t Peek(std::size_t ahead) const {
        return m_pos + ahead < m_text.size() ? m_text[m_pos + ahead] : u'\0';
    }

    // The sequence at m_pos, which starts with '%'. %0 ends the message (`stop`).
    DWORD Escape(bool& stop) {
        if (m_pos + 1 == m_text.size()) {
            ++m_pos;
            if (!m_ignoreInserts) {
                return ERROR_INVALID_PARAMETER;
            }
            m_out.Unit(u'%');
            return ERROR_SUCCESS;
        }
        const char16_t next = m_text[m_pos + 1];
        switch (next) {
        case u'0':
            stop = true;
            return ERROR_SUCCESS;
        case u'n':
            m_out.HardBreak();
            m_pos += 2;
            return ERROR_SUCCESS;
        case u'r':
            m_out.Unit(u'\r');
            m_pos += 2;
            return ERROR_SUCCESS;
        case u't':
            m_out.Unit(u'\t');
            m_pos += 2;
            return ERROR_SUCCESS;
        default:
            break;
        }
        if (m_ignoreInserts) {
            // Inserts and the other escapes pass through unchanged.
            m_out.Unit(u'%');
            ++m_pos;
            if (!IsDigit(next)) {
                m_out.Unit(next);
                ++m_pos;
            }
            return ERROR_SUCCESS;
        }
        if (IsDigit(next)) {
            return Insert();
        }
        m_out.Unit(next); // %% %. %! and "% " give the character itself
        m_pos += 2;
        return ERROR_SUCCESS;
    }

    // %n or %n!format! at m_pos, n from 1 to 99.
    DWORD Insert() {
        ++m_pos;
        unsigned number = m_text[m_pos++] - u'0';
        if (m_pos < m_text.size() && IsDigit(m_text[m_pos])) {
            number = number * 10 + (m_text[m_pos++] - u'0');
        }
        std::u16string_view formatText = u"s";
        if (m_pos < m_text.size() && m_text[m_pos] == u'!') {
            const std::size_t close = m_text.find(u'!', m_pos + 1);
            if (close == std::u16string_view::npos) {
                return ERROR_INVALID_PARAMETER;
            }
            formatText = m_text.substr(m_pos + 1, close - m_pos - 1);
            m_pos = close + 1;
        }
        const auto field = ParseInsertFormat(formatText);
        if (!field || !m_args.Present()) {
            return ERROR_INVALID_PARAMETER;
        }
        const auto text = FormatInsert(number, *field, m_args);
        if (!text) {
            return ERROR_INVALID_PARAMETER;
        }
        m_out.Units(*text);
        return ERROR_SUCCESS;
    }

    std::u16string_view m_text; // the definition
    std::size_t m_pos = 0;      // index of the next unit to read in m_text
    bool m_ignoreInserts;       // FORMAT_MESSAGE_IGNORE_INSERTS
    InsertArgs m_args;          // insert values
    LineWriter m_out;           // expanded text
};

} // namespace

DWORD ExpandMessage(std::u16string_view definition, DWORD flags, va_list* arguments,
                    std::u16string& out) {
    Expander expander(definition, flags, arguments);
    return expander.Run(out);
}

} // namespace bvplatform::detail
