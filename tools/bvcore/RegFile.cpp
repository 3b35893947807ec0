// The .reg reader and writer.
#include "RegFile.h"

#include <bvplatform/text.h>

#include <array>
#include <cstdio>
#include <cstring>

namespace bvtool::regfile {

namespace {

constexpr std::u16string_view kUnicodeHeader = u"Windows Registry Editor Version 5.00";
constexpr std::u16string_view kNarrowHeader = u"REGEDIT4";
constexpr std::size_t kWrapColumn = 80; // hex lines never pass this column

struct Root {
    std::u16string_view longName;  // e.g. HKEY_CURRENT_USER
    std::u16string_view shortName; // e.g. HKCU
    HKEY key;                      // the predefined key
};

const std::array<Root, 5>& Roots() {
    static const std::array<Root, 5> roots = {{
        {u"HKEY_CLASSES_ROOT", u"HKCR", HKEY_CLASSES_ROOT},
        {u"HKEY_CURRENT_USER", u"HKCU", HKEY_CURRENT_USER},
        {u"HKEY_LOCAL_MACHINE", u"HKLM", HKEY_LOCAL_MACHINE},
        {u"HKEY_USERS", u"HKU", HKEY_USERS},
        {u"HKEY_CURRENT_CONFIG", u"HKCC", HKEY_CURRENT_CONFIG},
    }};
    return roots;
}

char16_t Upper(char16_t c) {
    return c >= u'a' && c <= u'z' ? char16_t(c - 32) : c;
}

int HexDigit(char16_t c) {
    if (c >= u'0' && c <= u'9') {
        return c - u'0';
    }
    if (c >= u'a' && c <= u'f') {
        return c - u'a' + 10;
    }
    if (c >= u'A' && c <= u'F') {
        return c - u'A' + 10;
    }
    return -1;
}

std::u16string_view Trim(std::u16string_view s) {
    while (!s.empty() && (s.front() == u' ' || s.front() == u'\t')) {
        s.remove_prefix(1);
    }
    while (!s.empty() && (s.back() == u' ' || s.back() == u'\t' || s.back() == u'\r')) {
        s.remove_suffix(1);
    }
    return s;
}

// Decodes the file into UTF-16 text; sets `unicode` for the byte-order-marked form.
bool Decode(std::span<const std::uint8_t> bytes, std::u16string& text, bool& unicode) {
    unicode = bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE;
    if (!unicode) {
        text = Widen(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
        return true;
    }
    if (bytes.size() % 2 != 0) {
        return false;
    }
    text.resize(bytes.size() / 2 - 1);
    for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = char16_t(bytes[2 + 2 * i] | (bytes[3 + 2 * i] << 8));
    }
    return true;
}

// Reads the file line by line, joining backslash continuations, and builds the document.
class Parser {
public:
    Parser(std::u16string_view text, bool unicode, Document& doc, ParseError& error)
        : m_text(text), m_unicode(unicode), m_doc(doc), m_error(error) {}

    bool Run() {
        std::u16string line;
        if (!NextLine(line) || Trim(line) != (m_unicode ? kUnicodeHeader : kNarrowHeader)) {
            return Fail(1, "the first line is not a registry file header");
        }
        while (NextLine(line)) {
            const std::size_t at = m_line;
            const std::u16string_view body = Trim(line);
            if (body.empty() || body.front() == u';') {
                continue;
            }
            if (!(body.front() == u'[' ? KeyLine(body, at) : ValueLine(body, at))) {
                return false;
            }
        }
        return m_error.message.empty();
    }

private:
    // The next physical line; false at the end of the text.
    bool NextRaw(std::u16string_view& out) {
        if (m_pos >= m_text.size()) {
            return false;
        }
        std::size_t end = m_text.find(u'\n', m_pos);
        end = end == std::u16string_view::npos ? m_text.size() : end;
        out = m_text.substr(m_pos, end - m_pos);
        m_pos = end + 1;
        ++m_line;
        return true;
    }

    // The next logical line, continuations joined; false at the end or on a truncated one.
    bool NextLine(std::u16string& out) {
        std::u16string_view raw;
        if (!NextRaw(raw)) {
            return false;
        }
        out.assign(Trim(raw));
        while (!out.empty() && out.back() == u'\\' && IsHexLine(out)) {
            out.pop_back();
            if (!NextRaw(raw)) {
                return Fail(m_line, "the file ends inside a continued line");
            }
            out += Trim(raw);
        }
        return true;
    }

    // Only hex data continues on the next line; a quoted text may end in a backslash.
    static bool IsHexLine(std::u16string_view line) {
        std::size_t pos = 1;
        if (!line.starts_with(u'@')) {
            pos = line.starts_with(u'"') ? 1 : line.size();
            for (; pos < line.size() && line[pos] != u'"'; ++pos) {
                pos += line[pos] == u'\\' ? 1 : 0;
            }
            ++pos;
        }
        return pos < line.size() && Trim(line.substr(pos)).starts_with(u"=hex");
    }

    bool Fail(std::size_t line, std::string message) {
        if (m_error.message.empty()) {
            m_error.line = line;
            m_error.message = std::move(message);
        }
        return false;
    }

    bool KeyLine(std::u16string_view body, std::size_t at) {
        if (body.back() != u']' || body.size() < 3) {
            return Fail(at, "a key line must be [KEY] or [-KEY]");
        }
        Key key;
        key.line = at;
        key.remove = body[1] == u'-';
        key.path.assign(body.substr(key.remove ? 2 : 1, body.size() - (key.remove ? 3 : 2)));
        HKEY root;
        std::u16string sub, longName;
        if (!SplitRoot(key.path, root, sub, longName)) {
            return Fail(at, "unknown root key in '" + Narrow(key.path) + "'");
        }
        m_doc.keys.push_back(std::move(key));
        return true;
    }

    bool ValueLine(std::u16string_view body, std::size_t at) {
        if (m_doc.keys.empty() || m_doc.keys.back().remove) {
            return Fail(at, "a value line outside a key");
        }
        Value value;
        std::size_t pos = 0;
        if (body.front() == u'@') {
            pos = 1;
        } else if (!QuotedText(body, pos, value.name, at)) {
            return false;
        }
        if (pos >= body.size() || body[pos] != u'=') {
            return Fail(at, "expected '=' after the value's name");
        }
        if (!Data(Trim(body.substr(pos + 1)), value, at)) {
            return false;
        }
        m_doc.keys.back().values.push_back(std::move(value));
        return true;
    }

    // A quoted text at body[pos] with \\ and \" escapes; pos ends past the closing quote.
    bool QuotedText(std::u16string_view body, std::size_t& pos, std::u16string& out,
                    std::size_t at) {
        if (pos >= body.size() || body[pos] != u'"') {
            return Fail(at, "expected a quoted text");
        }
        for (++pos; pos < body.size(); ++pos) {
            const char16_t c = body[pos];
            if (c == u'"') {
                ++pos;
                return true;
            }
            if (c == u'\\') {
                if (++pos >= body.size() || (body[pos] != u'\\' && body[pos] != u'"')) {
                    return Fail(at, "a backslash in quotes must precede \\ or \"");
                }
            }
            out += body[pos];
        }
        return Fail(at, "unterminated quoted text");
    }

    bool Data(std::u16string_view data, Value& value, std::size_t at) {
        if (data == u"-") {
            value.remove = true;
            return true;
        }
        if (!data.empty() && data.front() == u'"') {
            return StringData(data, value, at);
        }
        if (data.starts_with(u"dword:")) {
            return DwordData(data.substr(6), value, at);
        }
        if (data.starts_with(u"hex:")) {
            value.type = REG_BINARY;
            return HexBytes(data.substr(4), value.data, at);
        }
        if (data.starts_with(u"hex(")) {
            return TypedHex(data.substr(4), value, at);
        }
        return Fail(at, "unknown value data");
    }

    bool StringData(std::u16string_view data, Value& value, std::size_t at) {
        std::size_t pos = 0;
        std::u16string text;
        if (!QuotedText(data, pos, text, at)) {
            return false;
        }
        if (!Trim(data.substr(pos)).empty()) {
            return Fail(at, "text after the closing quote");
        }
        value.type = REG_SZ;
        AppendUnits(text, value.data);
        value.data.insert(value.data.end(), {0, 0});
        return true;
    }

    bool DwordData(std::u16string_view digits, Value& value, std::size_t at) {
        if (digits.empty() || digits.size() > 8) {
            return Fail(at, "dword: needs 1 to 8 hex digits");
        }
        std::uint32_t number = 0;
        for (const char16_t c : digits) {
            const int d = HexDigit(c);
            if (d < 0) {
                return Fail(at, "bad hex digit in dword:");
            }
            number = number << 4 | std::uint32_t(d);
        }
        value.type = REG_DWORD;
        value.data = {std::uint8_t(number), std::uint8_t(number >> 8), std::uint8_t(number >> 16),
                      std::uint8_t(number >> 24)};
        return true;
    }

    bool TypedHex(std::u16string_view rest, Value& value, std::size_t at) {
        const std::size_t close = rest.find(u"):");
        if (close == 0 || close == std::u16string_view::npos || close > 8) {
            return Fail(at, "hex(N): needs a type number in hex");
        }
        std::uint32_t type = 0;
        for (const char16_t c : rest.substr(0, close)) {
            const int d = HexDigit(c);
            if (d < 0) {
                return Fail(at, "bad hex digit in the type of hex(N):");
            }
            type = type << 4 | std::uint32_t(d);
        }
        value.type = type;
        if (!HexBytes(rest.substr(close + 2), value.data, at)) {
            return false;
        }
        // The narrow dialect keeps expandable and multiple texts in the code page.
        if (!m_unicode && (type == REG_EXPAND_SZ || type == REG_MULTI_SZ)) {
            const std::u16string wide = Widen(std::string_view(
                reinterpret_cast<const char*>(value.data.data()), value.data.size()));
            value.data.clear();
            AppendUnits(wide, value.data);
        }
        return true;
    }

    // Comma-separated two-digit hex bytes (empty is allowed).
    bool HexBytes(std::u16string_view list, Bytes& out, std::size_t at) {
        std::size_t pos = 0;
        while (pos < list.size()) {
            while (pos < list.size() && (list[pos] == u' ' || list[pos] == u'\t')) {
                ++pos;
            }
            const int hi = pos + 1 < list.size() ? HexDigit(list[pos]) : -1;
            const int lo = hi < 0 ? -1 : HexDigit(list[pos + 1]);
            if (lo < 0) {
                return Fail(at, "bad hex byte");
            }
            out.push_back(std::uint8_t(hi << 4 | lo));
            pos += 2;
            while (pos < list.size() && (list[pos] == u' ' || list[pos] == u'\t')) {
                ++pos;
            }
            if (pos < list.size() && (list[pos] != u',' || ++pos == list.size())) {
                return Fail(at, "bad hex byte list");
            }
        }
        return true;
    }

    static void AppendUnits(std::u16string_view text, Bytes& out) {
        for (const char16_t c : text) {
            out.push_back(std::uint8_t(c));
            out.push_back(std::uint8_t(c >> 8));
        }
    }

    std::u16string_view m_text; // the whole decoded file
    bool m_unicode;             // true for the Version 5.00 dialect
    Document& m_doc;            // receives the blocks
    ParseError& m_error;        // receives the first fault
    std::size_t m_pos = 0;      // offset of the next unread line
    std::size_t m_line = 0;     // number of the last line read
};

// Collects UTF-16 text and emits it as little-endian bytes with CRLF lines.
class Writer {
public:
    void Text(std::u16string_view text) { m_line += text; }
    void EndLine() {
        m_line += u"\r\n";
        for (const char16_t c : m_line) {
            m_out.push_back(std::uint8_t(c));
            m_out.push_back(std::uint8_t(c >> 8));
        }
        m_line.clear();
    }
    [[nodiscard]] std::size_t Column() const { return m_line.size(); }
    Bytes Take() { return std::move(m_out); }

private:
    std::u16string m_line;      // the line being built
    Bytes m_out = {0xFF, 0xFE}; // the finished lines, after the byte-order mark
};

std::u16string Quoted(std::u16string_view text) {
    std::u16string out = u"\"";
    for (const char16_t c : text) {
        if (c == u'\\' || c == u'"') {
            out += u'\\';
        }
        out += c;
    }
    return out + u'"';
}

// True when `data` is a text the quoted form gives back byte for byte.
bool QuotedFits(const Bytes& data) {
    if (data.size() < 2 || data.size() % 2 != 0) {
        return false;
    }
    for (std::size_t i = 0; i + 2 < data.size(); i += 2) {
        const char16_t c = char16_t(data[i] | data[i + 1] << 8);
        if (c == 0 || c == u'\r' || c == u'\n') {
            return false;
        }
    }
    return data[data.size() - 2] == 0 && data.back() == 0;
}

std::u16string Ascii(const char* text) {
    return std::u16string(text, text + std::strlen(text));
}

void WriteHex(Writer& w, const Bytes& data) {
    char digits[4];
    for (std::size_t i = 0; i < data.size(); ++i) {
        const bool last = i + 1 == data.size();
        if (i > 0 && w.Column() + (last ? 2 : 3) + 1 > kWrapColumn) {
            w.Text(u"\\");
            w.EndLine();
            w.Text(u"  ");
        }
        std::snprintf(digits, sizeof digits, last ? "%02x" : "%02x,", data[i]);
        w.Text(Ascii(digits));
    }
}

void WriteValue(Writer& w, const Value& v) {
    w.Text(v.name.empty() ? u"@" : Quoted(v.name));
    w.Text(u"=");
    if (v.type == REG_SZ && QuotedFits(v.data)) {
        std::u16string text;
        for (std::size_t i = 0; i + 2 < v.data.size(); i += 2) {
            text += char16_t(v.data[i] | v.data[i + 1] << 8);
        }
        w.Text(Quoted(text));
    } else if (v.type == REG_DWORD && v.data.size() == 4) {
        char digits[16];
        std::snprintf(digits, sizeof digits, "dword:%08x",
                      unsigned(v.data[0] | v.data[1] << 8 | v.data[2] << 16 | v.data[3] << 24));
        w.Text(Ascii(digits));
    } else {
        char prefix[24];
        std::snprintf(prefix, sizeof prefix,
                      v.type == REG_BINARY ? "hex:" : "hex(%x):", unsigned(v.type));
        w.Text(Ascii(prefix));
        WriteHex(w, v.data);
    }
    w.EndLine();
}

} // namespace

bool Parse(std::span<const std::uint8_t> bytes, Document& doc, ParseError& error) {
    std::u16string text;
    bool unicode = false;
    if (!Decode(bytes, text, unicode)) {
        error = {1, "a UTF-16 file of an odd number of bytes"};
        return false;
    }
    return Parser(text, unicode, doc, error).Run();
}

Bytes Write(const Document& doc) {
    Writer w;
    w.Text(kUnicodeHeader);
    w.EndLine();
    for (const Key& key : doc.keys) {
        w.EndLine();
        w.Text(u"[" + key.path + u"]");
        w.EndLine();
        for (const Value& value : key.values) {
            WriteValue(w, value);
        }
    }
    w.EndLine();
    return w.Take();
}

bool SplitRoot(std::u16string_view path, HKEY& root, std::u16string& sub,
               std::u16string& longName) {
    const std::size_t slash = path.find(u'\\');
    const std::u16string_view head = path.substr(0, slash);
    for (const Root& r : Roots()) {
        if (SameName(head, r.longName) || SameName(head, r.shortName)) {
            root = r.key;
            sub.assign(slash == std::u16string_view::npos ? u"" : path.substr(slash + 1));
            longName.assign(r.longName);
            return true;
        }
    }
    return false;
}

bool SameName(std::u16string_view a, std::u16string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (Upper(a[i]) != Upper(b[i])) {
            return false;
        }
    }
    return true;
}

std::u16string Widen(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    const int size = MultiByteToWideChar(CP_ACP, 0, text.data(), int(text.size()), nullptr, 0);
    std::u16string out(std::size_t(size > 0 ? size : 0), u'\0');
    MultiByteToWideChar(CP_ACP, 0, text.data(), int(text.size()), out.data(), size);
    return out;
}

std::string Narrow(std::u16string_view text) {
    if (text.empty()) {
        return {};
    }
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0,
                                         nullptr, nullptr);
    std::string out(std::size_t(size > 0 ? size : 0), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), int(text.size()), out.data(), size, nullptr,
                        nullptr);
    return out;
}

} // namespace bvtool::regfile
