// Sections: base64, splitting, text comparison, element writing, element reading.
//
// The readers work on views into the stored text, so a read allocates little more than the token
// list; stored text is outside input, so every path ends in a value or a plain mcExc.
#include "Core/Common/XMLUtil.h"

#include "Core/Common/ExcPrivate.h"
#include "Core/Common/StrUtils.h"
#include "Core/Common/TextPrivate.h"

#include <bvplatform/crt.h>

#include <algorithm>
#include <array>
#include <bit>
#include <string_view>
#include <vector>

namespace core::xml {

namespace {

using View = std::u16string_view;
using Tokens = std::vector<View>;

constexpr char16_t kAlphabet[] =
    u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char16_t kPad = u'=';
constexpr const char16_t* kCorrupt = u"Invalid or corrupted setting value.";

// ---- Base64 ------------------------------------------------------------------------------------

/// Sextet of each ASCII unit, -1 for units outside the alphabet.
constexpr std::array<signed char, 128> kSextets = [] {
    std::array<signed char, 128> table{};
    table.fill(-1);
    for (int i = 0; i < 64; ++i) {
        table[static_cast<std::size_t>(kAlphabet[i])] = static_cast<signed char>(i);
    }
    return table;
}();

int SextetOf(char16_t unit) {
    return unit < kSextets.size() ? kSextets[unit] : -1;
}

/// Collects the bytes of one decoding, writing only the ones that fit the target.
class ByteSink {
public:
    explicit ByteSink(std::span<BYTE> target) : m_target(target) {}

    void Put(std::uint32_t byte) {
        if (m_count < m_target.size()) {
            m_target[m_count] = static_cast<BYTE>(byte);
        }
        ++m_count;
    }
    [[nodiscard]] std::size_t Count() const { return m_count; }

private:
    std::span<BYTE> m_target; // where the bytes go
    std::size_t m_count = 0;  // bytes the text held so far, written or not
};

std::size_t DecodeView(View text, std::span<BYTE> target) {
    ByteSink sink(target);
    std::uint32_t bits = 0; // the sextets of the group so far, the latest lowest
    int units = 0;          // alphabet units in the group so far
    for (const char16_t unit : text) {
        const int sextet = SextetOf(unit);
        if (sextet < 0) {
            continue;
        }
        bits = bits << 6 | static_cast<std::uint32_t>(sextet);
        if (++units == 4) {
            sink.Put(bits >> 16);
            sink.Put(bits >> 8);
            sink.Put(bits);
            bits = 0;
            units = 0;
        }
    }
    // A last group of n units gives n - 1 bytes; a lone unit gives none.
    bits <<= 6 * (4 - units);
    for (int i = 0; i + 1 < units; ++i) {
        sink.Put(bits >> (16 - 8 * i));
    }
    return sink.Count();
}

/// Appends the four units of a group of `n` (1 to 3) bytes packed high first into `group`.
void AppendGroup(TStr& text, std::uint32_t group, std::size_t n) {
    text += kAlphabet[group >> 18 & 63];
    text += kAlphabet[group >> 12 & 63];
    text += n > 1 ? kAlphabet[group >> 6 & 63] : kPad;
    text += n > 2 ? kAlphabet[group & 63] : kPad;
}

// ---- Splitting ---------------------------------------------------------------------------------

Tokens Split(View text, View delimiters) {
    Tokens tokens;
    tokens.reserve(16); // a stored RECT has 14
    std::size_t begin = text.find_first_not_of(delimiters);
    while (begin != View::npos) {
        const std::size_t end = text.find_first_of(delimiters, begin);
        tokens.push_back(text.substr(begin, end == View::npos ? View::npos : end - begin));
        begin = end == View::npos ? end : text.find_first_not_of(delimiters, end);
    }
    return tokens;
}

// ---- Text comparison ---------------------------------------------------------------------------

bool IsAsciiAlphanumeric(View text) {
    return std::all_of(text.begin(), text.end(), [](char16_t c) {
        return (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
    });
}

char16_t AsciiLower(char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + (u'a' - u'A')) : c;
}

/// Equality as mfStrCompare sees it. Texts of ASCII letters and digits only are decided here
/// (the linguistic order ignores none of those units), which keeps stored data of the usual
/// shape off the collator; everything else goes to mfStrCompare.
bool SameText(View stored, View expected, bool ignoreCase) {
    if (stored == expected) {
        return true;
    }
    if (IsAsciiAlphanumeric(stored) && IsAsciiAlphanumeric(expected)) {
        return ignoreCase &&
               std::equal(stored.begin(), stored.end(), expected.begin(), expected.end(),
                          [](char16_t a, char16_t b) { return AsciiLower(a) == AsciiLower(b); });
    }
    return mfStrCompare(TStr(stored), TStr(expected), ignoreCase) == 0;
}

// ---- Element writing ---------------------------------------------------------------------------

/// The tags of the four types, made once from their type names and kept to process exit.
struct Tags {
    TStr boolean; // "bool"
    TStr real;    // "double"
    TStr point;   // "struct.tagPOINT"
    TStr rect;    // "struct.tagRECT"
};

const Tags& KnownTags() {
    static const Tags& tags =
        *new Tags{TagFromTypeName(kTypeNameBool), TagFromTypeName(kTypeNameDouble),
                  TagFromTypeName(kTypeNamePOINT), TagFromTypeName(kTypeNameRECT)};
    return tags;
}

void AppendOpen(TStr& out, View tag) {
    out += u'<';
    out += tag;
    out += u'>';
}

void AppendClose(TStr& out, View tag) {
    out += u"</";
    out += tag;
    out += u'>';
}

void AppendElement(TStr& out, View tag, View content) {
    AppendOpen(out, tag);
    out += content;
    AppendClose(out, tag);
}

/// Field names of POINT and RECT, in their stored order.
constexpr std::array<View, 2> kPointFields = {u"x", u"y"};
constexpr std::array<View, 4> kRectFields = {u"left", u"top", u"right", u"bottom"};

template <std::size_t N>
TStr FieldsElement(View tag, const std::array<View, N>& names, const std::array<LONG, N>& values) {
    TStr out;
    out.reserve(2 * tag.size() + 5 + N * 24);
    AppendOpen(out, tag);
    for (std::size_t i = 0; i < N; ++i) {
        AppendElement(out, names[i], core::detail::DecimalText(values[i]));
    }
    AppendClose(out, tag);
    return out;
}

// ---- Element reading ---------------------------------------------------------------------------

[[noreturn]] void ThrowCorrupt(const char* function) {
    BV_THROW_AS(function, mcExc, kCorrupt);
}

/// Steps shared by the readers: split, count, check the tag. The views point into `text`.
Tokens ReadElement(const TStr& text, const TStr& tag, const char* function) {
    Tokens tokens = Split(text, kElementDelimiters);
    if (tokens.size() < 3) {
        ThrowCorrupt(function);
    }
    if (!SameText(tokens[0], tag, true)) {
        BV_THROW_AS(function, mcExc,
                    u"Type mismatch for variant (encountered type )" + TStr(tokens[0]) +
                        u", expected type " + tag + u").");
    }
    return tokens;
}

/// Decodes a base64 token that must hold exactly the target's bytes.
void DecodeExactly(View token, std::span<BYTE> target, const char* function) {
    if (DecodeView(token, target) != target.size()) {
        ThrowCorrupt(function);
    }
}

std::uint32_t LoadLittle32(const BYTE* bytes) {
    return std::uint32_t{bytes[0]} | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
           std::uint32_t{bytes[3]} << 24;
}

/// The fields of an element in the base64 form (exactly 3 tokens) or the field form.
template <std::size_t N>
std::array<LONG, N> ReadFields(const Tokens& tokens, const std::array<View, N>& names,
                               const char* function) {
    std::array<LONG, N> values{};
    if (tokens.size() == 3) {
        std::array<BYTE, 4 * N> bytes{};
        DecodeExactly(tokens[1], bytes, function);
        for (std::size_t k = 0; k < N; ++k) {
            values[k] = static_cast<LONG>(LoadLittle32(&bytes[4 * k]));
        }
        return values;
    }
    for (std::size_t i = 1; i + 2 < tokens.size(); i += 3) {
        const auto hit = std::find_if(names.begin(), names.end(),
                                      [&](View name) { return SameText(tokens[i], name, false); });
        if (hit != names.end()) {
            // The value token ends at "<", ">" or the text's end, where _wtoi stops as well, so
            // reading in place gives what a copy of the token would.
            values[static_cast<std::size_t>(hit - names.begin())] = _wtoi(tokens[i + 1].data());
        }
    }
    return values;
}

} // namespace

TStr MakeXMLElement(const TStr& tag, const TStr& content) {
    TStr out;
    out.reserve(2 * tag.size() + content.size() + 5);
    AppendElement(out, tag, content);
    return out;
}

TStr TagFromTypeName(const TStr& typeName) {
    TStr tag = typeName;
    mfStrReplaceAll(tag, u' ', u'.');
    return tag;
}

TStr TypeNameFromTag(const TStr& tag) {
    TStr typeName = tag;
    mfStrReplaceAll(typeName, u'.', u' ');
    return typeName;
}

TStr ToXMLElementBOOL(const bool& value) {
    return MakeXMLElement(KnownTags().boolean, value ? u"true" : u"false");
}

TStr ToXMLElementDouble(const double& value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    std::array<BYTE, 8> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<BYTE>(bits >> (8 * i));
    }
    return MakeXMLElement(KnownTags().real, Base64Encode(bytes, kui32Base64LineWidth));
}

TStr ToXMLElementPOINT(const tagPOINT& value) {
    return FieldsElement<2>(KnownTags().point, kPointFields, {value.x, value.y});
}

TStr ToXMLElementRECT(const tagRECT& value) {
    return FieldsElement<4>(KnownTags().rect, kRectFields,
                            {value.left, value.top, value.right, value.bottom});
}

bool FromXMLElementBOOL(const TStr& text) {
    BV_FUNCTION_NAME(function);
    const Tokens tokens = ReadElement(text, KnownTags().boolean, function.c_str());
    if (SameText(tokens[1], u"true", true)) {
        return true;
    }
    if (SameText(tokens[1], u"false", true)) {
        return false;
    }
    std::array<BYTE, 1> byte{};
    DecodeExactly(tokens[1], byte, function.c_str());
    return byte[0] != 0;
}

double FromXMLElement(const TStr& text) {
    BV_FUNCTION_NAME(function);
    const Tokens tokens = ReadElement(text, KnownTags().real, function.c_str());
    std::array<BYTE, 8> bytes{};
    DecodeExactly(tokens[1], bytes, function.c_str());
    const std::uint64_t bits =
        LoadLittle32(bytes.data()) | std::uint64_t{LoadLittle32(bytes.data() + 4)} << 32;
    return std::bit_cast<double>(bits);
}

tagPOINT FromXMLElementPOINT(const TStr& text) {
    BV_FUNCTION_NAME(function);
    const Tokens tokens = ReadElement(text, KnownTags().point, function.c_str());
    const auto values = ReadFields(tokens, kPointFields, function.c_str());
    return tagPOINT{values[0], values[1]};
}

tagRECT FromXMLElementRECT(const TStr& text) {
    BV_FUNCTION_NAME(function);
    const Tokens tokens = ReadElement(text, KnownTags().rect, function.c_str());
    const auto values = ReadFields(tokens, kRectFields, function.c_str());
    return tagRECT{values[0], values[1], values[2], values[3]};
}

std::int32_t SplitElementText(const TStr& text, const TStr& delimiters, TStrVec& tokens) {
    tokens.clear();
    for (const View token : Split(text, delimiters)) {
        tokens.emplace_back(token);
    }
    return static_cast<std::int32_t>(tokens.size());
}

TStr Base64Encode(std::span<const BYTE> bytes, std::uint32_t lineWidth) {
    const std::uint32_t groupsPerLine = lineWidth / 4;
    const std::size_t groups = (bytes.size() + 2) / 3;
    TStr text;
    text.reserve(groups * 4 + (groupsPerLine == 0 ? 0 : groups / groupsPerLine * 2));
    std::uint32_t onLine = 0; // groups on the current line
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t n = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = std::uint32_t{bytes[i]} << 16;
        group |= n > 1 ? std::uint32_t{bytes[i + 1]} << 8 : 0;
        group |= n > 2 ? std::uint32_t{bytes[i + 2]} : 0;
        AppendGroup(text, group, n);
        if (++onLine == groupsPerLine) {
            text += u"\r\n";
            onLine = 0;
        }
    }
    return text;
}

std::size_t Base64Decode(const TStr& text, std::span<BYTE> target) {
    return DecodeView(text, target);
}

} // namespace core::xml
