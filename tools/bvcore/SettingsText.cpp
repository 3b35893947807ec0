// Value words of `bvcore settings`: parsing for `set`, formatting for `get`, and escaping.
#include "SettingsText.h"

#include "Core/Common/StrConv.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <system_error>

namespace bvtool::settings {

namespace {

using namespace core::settings;

/// The words of the types, in the order of eValueType.
constexpr std::array<std::string_view, eValueTypeUnknown + 1> kTypeNames = {
    "key",     "bool",   "bytevec", "int32", "int64",  "tstr",
    "tstrvec", "double", "point",   "rect",  "unknown"};

template <class... F>
struct Overloaded : F... {
    using F::operator()...;
};

std::string Hex(unsigned value, int digits) {
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "%0*X", digits, value);
    return buffer;
}

bool IsHigh(char16_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool IsLow(char16_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

/// The escape of the unit at `i`, or nothing when it stands as itself. Beyond the C0 controls,
/// DEL, the C1 controls, the two Unicode line separators and unpaired surrogates would break,
/// hide or spoil a line.
std::string EscapeAt(const TStr& text, std::size_t i) {
    const char16_t c = text[i];
    switch (c) {
    case 0:
        return "\\0";
    case '\t':
        return "\\t";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    default:
        break;
    }
    if (c < 0x20 || c == 0x7F) {
        return "\\x" + Hex(c, 2);
    }
    const bool lone = (IsHigh(c) && !(i + 1 < text.size() && IsLow(text[i + 1]))) ||
                      (IsLow(c) && !(i > 0 && IsHigh(text[i - 1])));
    if ((c >= 0x80 && c < 0xA0) || c == 0x2028 || c == 0x2029 || lone) {
        return "\\u" + Hex(c, 4);
    }
    return {};
}

/// UTF-8 of `text`, with each unit for which `special(i)` gives a text replaced by that text.
template <class Special>
std::string Render(const TStr& text, Special special) {
    std::string out;
    TStr run; // units that convert as they are
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string replacement = special(i);
        if (replacement.empty()) {
            run += text[i];
            continue;
        }
        out += mfConvertTToUTF8(run) + replacement;
        run.clear();
    }
    return out + mfConvertTToUTF8(run);
}

bool IsPlain(char16_t c) {
    const bool alnum = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    return alnum || (c != 0 && c < 0x80 &&
                     std::string_view("%+,-./:=@_").find(char(c)) != std::string_view::npos);
}

std::string Quoted(const TStr& text, bool escaped) {
    const std::string body = Render(text, [&](std::size_t i) -> std::string {
        if (!escaped) {
            return text[i] == '\'' ? "'\\''" : "";
        }
        if (text[i] == '\'' || text[i] == '\\') {
            return "\\" + std::string(1, char(text[i]));
        }
        return EscapeAt(text, i);
    });
    return (escaped ? "$'" : "'") + body + "'";
}

/// A whole word as a number of type T.
template <class T>
bool ReadNumber(std::string_view word, T& value) {
    const char* end = word.data() + word.size();
    const auto [at, ec] = std::from_chars(word.data(), end, value);
    return ec == std::errc() && at == end && !word.empty();
}

/// `count` int32 fields separated by commas.
bool ReadFields(const std::string& word, std::size_t count, LONG* fields) {
    std::size_t at = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t comma = i + 1 < count ? word.find(',', at) : word.size();
        if (comma == std::string::npos ||
            !ReadNumber(std::string_view(word).substr(at, comma - at), fields[i])) {
            return false;
        }
        at = comma + 1;
    }
    return true;
}

bool ReadBool(const std::string& word, bool& value) {
    std::string lower;
    for (const char c : word) {
        lower += char(c >= 'A' && c <= 'Z' ? c + 32 : c);
    }
    value = lower == "true";
    return value || lower == "false";
}

bool ReadHex(const std::string& word, ByteVec& bytes) {
    if (word.size() % 2 != 0) {
        return false;
    }
    for (std::size_t i = 0; i < word.size(); i += 2) {
        unsigned char byte = 0;
        const char* first = word.data() + i;
        const auto [at, ec] = std::from_chars(first, first + 2, byte, 16);
        if (ec != std::errc() || at != first + 2) {
            return false;
        }
        bytes.push_back(byte);
    }
    return true;
}

/// One word as a value of a type other than tstrvec; nothing when it doesn't read.
std::optional<Value> ParseWord(eValueType type, const std::string& word) {
    bool flag = false;
    std::int32_t int32 = 0;
    std::int64_t int64 = 0;
    double real = 0;
    LONG fields[4] = {};
    ByteVec bytes;
    switch (type) {
    case eValueTypeBool:
        return ReadBool(word, flag) ? std::optional<Value>(flag) : std::nullopt;
    case eValueTypeInt32:
        return ReadNumber(word, int32) ? std::optional<Value>(int32) : std::nullopt;
    case eValueTypeInt64:
        return ReadNumber(word, int64) ? std::optional<Value>(int64) : std::nullopt;
    case eValueTypeDouble:
        return ReadNumber(word, real) ? std::optional<Value>(real) : std::nullopt;
    case eValueTypePOINT:
        return ReadFields(word, 2, fields) ? std::optional<Value>(tagPOINT{fields[0], fields[1]})
                                           : std::nullopt;
    case eValueTypeRECT:
        return ReadFields(word, 4, fields)
                   ? std::optional<Value>(tagRECT{fields[0], fields[1], fields[2], fields[3]})
                   : std::nullopt;
    case eValueTypeByteVec:
        return ReadHex(word, bytes) ? std::optional<Value>(bytes) : std::nullopt;
    default:
        return Value(FromUtf8(word));
    }
}

/// What a word of the type must look like, for the error text.
std::string_view Expected(eValueType type) {
    switch (type) {
    case eValueTypeBool:
        return "true or false";
    case eValueTypeInt32:
        return "a decimal integer from -2147483648 to 2147483647";
    case eValueTypeInt64:
        return "a decimal 64-bit integer";
    case eValueTypeDouble:
        return "a decimal number such as 1.5, -2e-3, inf or nan";
    case eValueTypePOINT:
        return "x,y with two int32 numbers";
    case eValueTypeRECT:
        return "left,top,right,bottom with four int32 numbers";
    default:
        return "hexadecimal digit pairs such as 00ff10";
    }
}

} // namespace

std::string_view TypeName(eValueType type) {
    return type >= eValueTypeNone && type <= eValueTypeUnknown ? kTypeNames[type] : "unknown";
}

std::optional<eValueType> WritableType(std::string_view name) {
    for (std::size_t i = eValueTypeBool; i < eValueTypeUnknown; ++i) {
        if (kTypeNames[i] == name) {
            return eValueType(i);
        }
    }
    return std::nullopt;
}

std::optional<Value> ParseValue(eValueType type, std::span<const std::string> words,
                                std::string& error) {
    if (type == eValueTypeTStrVec) {
        TStrVec elements;
        for (const std::string& word : words) {
            elements.push_back(FromUtf8(word));
        }
        return elements;
    }
    if (words.size() != 1) {
        error = std::string(TypeName(type)) + " takes one value word, not " +
                std::to_string(words.size());
        return std::nullopt;
    }
    std::optional<Value> value = ParseWord(type, words[0]);
    if (!value) {
        error = "not a " + std::string(TypeName(type)) +
                " value: " + ShellWord(FromUtf8(words[0])) + " (expected " +
                std::string(Expected(type)) + ")";
    }
    return value;
}

std::string FormatValue(const Value& value) {
    return std::visit(
        Overloaded{
            [](bool flag) -> std::string { return flag ? "true" : "false"; },
            [](std::int32_t number) { return std::to_string(number); },
            [](std::int64_t number) { return std::to_string(number); },
            [](double number) {
                char buffer[64];
                const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
                return std::string(buffer, result.ptr);
            },
            [](const tagPOINT& p) { return std::to_string(p.x) + "," + std::to_string(p.y); },
            [](const tagRECT& r) {
                return std::to_string(r.left) + "," + std::to_string(r.top) + "," +
                       std::to_string(r.right) + "," + std::to_string(r.bottom);
            },
            [](const TStr& text) { return ShellWord(text); },
            [](const TStrVec& elements) {
                std::string out;
                for (const TStr& element : elements) {
                    out += (out.empty() ? "" : " ") + ShellWord(element);
                }
                return elements.empty() ? std::string("(no elements)") : out;
            },
            [](const ByteVec& bytes) {
                std::string out;
                for (const unsigned char byte : bytes) {
                    out += Hex(byte, 2);
                }
                return bytes.empty() ? std::string("''") : out;
            },
        },
        value);
}

std::string Escape(const TStr& text) {
    return Render(text, [&text](std::size_t i) { return EscapeAt(text, i); });
}

std::string ShellWord(const TStr& text) {
    bool plain = !text.empty();
    bool escaped = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        plain = plain && IsPlain(text[i]);
        escaped = escaped || !EscapeAt(text, i).empty();
    }
    return plain ? Escape(text) : Quoted(text, escaped);
}

TStr FromUtf8(const std::string& text) {
    return mfConvertUTF8ToT(text);
}

} // namespace bvtool::settings
