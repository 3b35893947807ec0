// The verbs of `bvcore reg`, written against the stand-in's registry calls only.
#include "RegCommand.h"

#include "Commands.h"
#include "RegFile.h"

#include <bvplatform/regadmin.h>
#include <bvplatform/winerror.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <unistd.h>
#include <vector>

namespace bvtool::reg {

namespace {

using regfile::Bytes;

constexpr const char* kDone = "The operation completed successfully.\n";
constexpr const char* kCancelled = "The operation was cancelled by the user.\n";

/// The switches and operands of one command line.
struct Options {
    std::vector<std::string> operands; // KEY, FILE, ... in order
    std::optional<std::string> name;   // /v NAME
    bool defaultValue = false;         // /ve
    bool allValues = false;            // /va
    bool recurse = false;              // /s (query, copy)
    bool force = false;                // /f or /y
    std::optional<std::string> type;   // /t TYPE
    std::optional<std::string> data;   // /d DATA
    std::optional<std::string> sep;    // /s SEP (add)
};

/// A registry key opened from a "ROOT\path" text; closed on destruction.
struct OpenKey {
    HKEY handle = nullptr;   // the open key, or null
    std::u16string longPath; // the path with the root's long name
    HKEY root = nullptr;     // the predefined key
    std::u16string sub;      // the path below the root
    OpenKey() = default;
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;
    ~OpenKey() {
        if (handle != nullptr) {
            RegCloseKey(handle);
        }
    }
};

struct Entry {
    std::u16string name; // value name, empty for the default
    DWORD type = 0;      // value type
    Bytes data;          // value bytes
};

std::string Lower(std::string s) {
    for (char& c : s) {
        c = char(c >= 'A' && c <= 'Z' ? c + 32 : c);
    }
    return s;
}

int Fail(Console& io, const std::string& message) {
    io.err += "ERROR: " + message + "\n";
    return 1;
}

int FailStatus(Console& io, LSTATUS status) {
    if (status == ERROR_FILE_NOT_FOUND) {
        return Fail(io, "The system was unable to find the specified registry key or value.");
    }
    if (status == ERROR_ACCESS_DENIED) {
        return Fail(io, "Access is denied.");
    }
    return Fail(io, "The registry call failed with error " + std::to_string(status) + ".");
}

bool ParseOptions(const std::string& verb, std::span<const std::string> args, Options& o) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        // Only the known switches count as such: a Linux path starts with a slash too.
        const std::string sw = a.size() < 2 ? std::string() : Lower(a.substr(1));
        static const std::string known[] = {"v", "t", "d", "s", "ve", "va", "f", "y"};
        if ((a[0] != '/' && a[0] != '-') ||
            std::find(std::begin(known), std::end(known), sw) == std::end(known)) {
            o.operands.push_back(a);
            continue;
        }
        const bool hasNext = i + 1 < args.size();
        if ((sw == "v" || sw == "t" || sw == "d" || (sw == "s" && verb == "add")) && !hasNext) {
            return false;
        }
        if (sw == "v") {
            o.name = args[++i];
        } else if (sw == "t") {
            o.type = args[++i];
        } else if (sw == "d") {
            o.data = args[++i];
        } else if (sw == "s") {
            verb == "add" ? void(o.sep = args[++i]) : void(o.recurse = true);
        } else {
            (sw == "ve" ? o.defaultValue : sw == "va" ? o.allValues : o.force) = true;
        }
    }
    return int(o.name.has_value()) + int(o.defaultValue) + int(o.allValues) <= 1;
}

LSTATUS Open(const std::string& path, REGSAM access, bool create, OpenKey& key) {
    std::u16string longRoot;
    if (!regfile::SplitRoot(regfile::Widen(path), key.root, key.sub, longRoot)) {
        return ERROR_BAD_PATHNAME;
    }
    while (!key.sub.empty() && key.sub.back() == u'\\') {
        key.sub.pop_back();
    }
    key.longPath = key.sub.empty() ? longRoot : longRoot + u"\\" + key.sub;
    return create ? RegCreateKeyExW(key.root, key.sub.c_str(), 0, nullptr, 0, access, nullptr,
                                    &key.handle, nullptr)
                  : RegOpenKeyExW(key.root, key.sub.c_str(), 0, access, &key.handle);
}

int OpenOrFail(Console& io, const std::string& path, REGSAM access, bool create, OpenKey& key) {
    const LSTATUS status = Open(path, access, create, key);
    if (status == ERROR_BAD_PATHNAME) {
        return Fail(io, "Invalid key name: " + path);
    }
    return status == ERROR_SUCCESS ? 0 : FailStatus(io, status);
}

std::vector<Entry> ReadValues(HKEY key) {
    DWORD count = 0, maxName = 0, maxData = 0;
    std::vector<Entry> out;
    if (RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count,
                         &maxName, &maxData, nullptr, nullptr) != ERROR_SUCCESS) {
        return out;
    }
    std::u16string name(maxName + 1, u'\0');
    Bytes data(maxData + 2);
    for (DWORD i = 0; i < count; ++i) {
        DWORD nameLen = maxName + 1, dataLen = DWORD(data.size()), type = 0;
        if (RegEnumValueW(key, i, name.data(), &nameLen, nullptr, &type, data.data(), &dataLen) ==
            ERROR_SUCCESS) {
            out.push_back(
                {name.substr(0, nameLen), type, Bytes(data.begin(), data.begin() + dataLen)});
        }
    }
    return out;
}

std::vector<std::u16string> SubKeys(HKEY key) {
    std::vector<std::u16string> out;
    char16_t name[256];
    for (DWORD i = 0;; ++i) {
        DWORD len = 256;
        if (RegEnumKeyExW(key, i, name, &len, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            return out;
        }
        out.emplace_back(name, len);
    }
}

std::string TypeName(DWORD type) {
    static const char* const names[] = {"REG_NONE",   "REG_SZ",      "REG_EXPAND_SZ",
                                        "REG_BINARY", "REG_DWORD",   "REG_DWORD_BIG_ENDIAN",
                                        "REG_LINK",   "REG_MULTI_SZ"};
    if (type < std::size(names)) {
        return names[type];
    }
    return type == REG_QWORD ? "REG_QWORD" : "REG_0x" + std::to_string(type);
}

std::optional<DWORD> TypeFromName(const std::string& name) {
    for (DWORD t : {0u, 1u, 2u, 3u, 4u, 5u, 7u, 11u}) {
        if (Lower(TypeName(t)) == Lower(name)) {
            return t;
        }
    }
    return std::nullopt;
}

std::u16string Units(const Bytes& data) {
    std::u16string out;
    for (std::size_t i = 0; i + 1 < data.size(); i += 2) {
        out += char16_t(data[i] | data[i + 1] << 8);
    }
    return out;
}

std::string Hex(const Bytes& data, const char* format) {
    std::string out;
    char digits[4];
    for (const std::uint8_t b : data) {
        std::snprintf(digits, sizeof digits, format, b);
        out += digits;
    }
    return out;
}

std::string ShowData(const Entry& e) {
    if ((e.type == REG_DWORD && e.data.size() == 4) ||
        (e.type == REG_QWORD && e.data.size() == 8)) {
        unsigned long long n = 0;
        for (std::size_t i = e.data.size(); i-- > 0;) {
            n = n << 8 | e.data[i];
        }
        char text[24];
        std::snprintf(text, sizeof text, "0x%llx", n);
        return text;
    }
    if (e.type == REG_SZ || e.type == REG_EXPAND_SZ || e.type == REG_MULTI_SZ) {
        std::u16string text = Units(e.data);
        while (!text.empty() && text.back() == u'\0') {
            text.pop_back();
        }
        std::string out;
        for (const char16_t c : text) {
            out += c == u'\0' ? std::string("\\0") : regfile::Narrow(std::u16string(1, c));
        }
        return out;
    }
    return Hex(e.data, "%02X");
}

void ShowEntry(Console& io, const Entry& e) {
    io.out += "    " + (e.name.empty() ? std::string("(Default)") : regfile::Narrow(e.name)) +
              "    " + TypeName(e.type) + "    " + ShowData(e) + "\n";
}

void ShowTree(Console& io, HKEY key, const std::u16string& path, bool recurse) {
    io.out += regfile::Narrow(path) + "\n";
    for (const Entry& e : ReadValues(key)) {
        ShowEntry(io, e);
    }
    io.out += "\n";
    for (const std::u16string& name : SubKeys(key)) {
        const std::u16string child = path + u"\\" + name;
        HKEY sub = nullptr;
        if (!recurse) {
            io.out += regfile::Narrow(child) + "\n";
        } else if (RegOpenKeyExW(key, name.c_str(), 0, KEY_READ, &sub) == ERROR_SUCCESS) {
            ShowTree(io, sub, child, true);
            RegCloseKey(sub);
        }
    }
}

int Query(const Options& o, Console& io) {
    OpenKey key;
    if (o.operands.size() != 1 || o.allValues) {
        return Fail(io, "Invalid syntax: query KEY [/v NAME | /ve] [/s]");
    }
    if (int rc = OpenOrFail(io, o.operands[0], KEY_READ, false, key)) {
        return rc;
    }
    io.out += "\n";
    if (!o.name && !o.defaultValue) {
        ShowTree(io, key.handle, key.longPath, o.recurse);
        return 0;
    }
    const std::u16string want = o.name ? regfile::Widen(*o.name) : u"";
    for (const Entry& e : ReadValues(key.handle)) {
        if (regfile::SameName(e.name, want)) {
            io.out += regfile::Narrow(key.longPath) + "\n";
            ShowEntry(io, e);
            io.out += "\n";
            return 0;
        }
    }
    io.out.clear();
    return FailStatus(io, ERROR_FILE_NOT_FOUND);
}

void AppendText(std::u16string_view text, Bytes& out) {
    for (const char16_t c : text) {
        out.push_back(std::uint8_t(c));
        out.push_back(std::uint8_t(c >> 8));
    }
}

// The bytes of /d for a type; nullopt when the text doesn't fit the type.
std::optional<Bytes> AddData(DWORD type, const std::string& text, const std::string& sep) {
    Bytes out;
    if (type == REG_DWORD || type == REG_QWORD || type == REG_DWORD_BIG_ENDIAN) {
        char* end = nullptr;
        errno = 0;
        const unsigned long long n = std::strtoull(text.c_str(), &end, 0);
        const bool wide = type == REG_QWORD;
        if (text.empty() || text[0] == '-' || *end != '\0' || errno != 0 ||
            (!wide && n > 0xFFFFFFFFull)) {
            return std::nullopt;
        }
        for (int i = 0; i < (wide ? 8 : 4); ++i) {
            out.push_back(std::uint8_t(n >> (8 * i)));
        }
        if (type == REG_DWORD_BIG_ENDIAN) {
            std::reverse(out.begin(), out.end());
        }
        return out;
    }
    if (type == REG_BINARY || type == REG_NONE) {
        if (text.size() % 2 != 0 ||
            text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
            return std::nullopt;
        }
        for (std::size_t i = 0; i < text.size(); i += 2) {
            out.push_back(std::uint8_t(std::stoul(text.substr(i, 2), nullptr, 16)));
        }
        return out;
    }
    std::u16string units = regfile::Widen(text);
    if (type == REG_MULTI_SZ) {
        const std::u16string mark = sep.empty() ? u"\\0" : regfile::Widen(sep);
        for (std::size_t at; !units.empty() && (at = units.find(mark)) != std::u16string::npos;) {
            units.replace(at, mark.size(), 1, u'\0');
        }
        units += units.empty() ? u"" : std::u16string(1, u'\0');
    }
    AppendText(units + u'\0', out);
    return out;
}

int Add(const Options& o, Console& io) {
    if (o.operands.size() != 1 || o.allValues) {
        return Fail(io,
                    "Invalid syntax: add KEY [/v NAME | /ve] [/t TYPE] [/s SEP] [/d DATA] [/f]");
    }
    const std::optional<DWORD> type = TypeFromName(o.type.value_or("REG_SZ"));
    if (!type) {
        return Fail(io, "Invalid type: " + *o.type);
    }
    const std::optional<Bytes> data = AddData(*type, o.data.value_or(""), o.sep.value_or(""));
    if (!data) {
        return Fail(io, "Invalid data for " + TypeName(*type) + ": " + o.data.value_or(""));
    }
    OpenKey key;
    if (int rc = OpenOrFail(io, o.operands[0], KEY_ALL_ACCESS, true, key)) {
        return rc;
    }
    if (!o.name && !o.defaultValue) {
        io.out += kDone;
        return 0;
    }
    const std::u16string name = o.name ? regfile::Widen(*o.name) : u"";
    DWORD size = 0;
    const bool exists = RegQueryValueExW(key.handle, name.c_str(), nullptr, nullptr, nullptr,
                                         &size) == ERROR_SUCCESS;
    if (exists && !o.force &&
        !io.confirm("Value " + (name.empty() ? std::string("(Default)") : *o.name) +
                    " exists, overwrite(Yes/No)? ")) {
        io.out += kCancelled;
        return 1;
    }
    const LSTATUS status =
        RegSetValueExW(key.handle, name.c_str(), 0, *type, data->data(), DWORD(data->size()));
    if (status != ERROR_SUCCESS) {
        return FailStatus(io, status);
    }
    io.out += kDone;
    return 0;
}

int Delete(const Options& o, Console& io) {
    OpenKey key;
    if (o.operands.size() != 1) {
        return Fail(io, "Invalid syntax: delete KEY [/v NAME | /ve | /va] [/f]");
    }
    if (int rc = OpenOrFail(io, o.operands[0], KEY_ALL_ACCESS, false, key)) {
        return rc;
    }
    const bool wholeKey = !o.name && !o.defaultValue && !o.allValues;
    const std::string what = wholeKey      ? "key " + o.operands[0]
                             : o.allValues ? "values of " + o.operands[0]
                             : o.name      ? "value " + *o.name
                                           : "value (Default)";
    if (!o.force && !io.confirm("Delete the registry " + what + " (Yes/No)? ")) {
        io.out += kCancelled;
        return 1;
    }
    LSTATUS status = ERROR_SUCCESS;
    if (wholeKey) {
        status = SHDeleteKeyW(key.root, key.sub.c_str());
    } else if (o.allValues) {
        for (const Entry& e : ReadValues(key.handle)) {
            status = status != ERROR_SUCCESS ? status : RegDeleteValueW(key.handle, e.name.c_str());
        }
    } else {
        status = RegDeleteValueW(key.handle, o.name ? regfile::Widen(*o.name).c_str() : nullptr);
    }
    if (status != ERROR_SUCCESS) {
        return FailStatus(io, status);
    }
    io.out += kDone;
    return 0;
}

int Protect(const Options& o, Console& io, bool readOnly) {
    OpenKey key;
    if (o.operands.size() != 1) {
        return Fail(io, readOnly ? "Invalid syntax: protect KEY" : "Invalid syntax: unprotect KEY");
    }
    if (int rc = OpenOrFail(io, o.operands[0], KEY_READ, false, key)) {
        return rc;
    }
    const LSTATUS status = BvRegSetKeyReadOnly(key.root, key.sub.c_str(), readOnly);
    if (status != ERROR_SUCCESS) {
        return FailStatus(io, status);
    }
    io.out += kDone;
    return 0;
}

// Collects the key at `path` and its descendants, in enumeration order, into `doc`.
void Collect(HKEY key, const std::u16string& path, regfile::Document& doc, bool recurse = true) {
    regfile::Key block;
    block.path = path;
    for (Entry& e : ReadValues(key)) {
        block.values.push_back({std::move(e.name), e.type, std::move(e.data), false});
    }
    doc.keys.push_back(std::move(block));
    for (const std::u16string& name : recurse ? SubKeys(key) : std::vector<std::u16string>()) {
        HKEY sub = nullptr;
        if (RegOpenKeyExW(key, name.c_str(), 0, KEY_READ, &sub) == ERROR_SUCCESS) {
            Collect(sub, path + u"\\" + name, doc);
            RegCloseKey(sub);
        }
    }
}

bool FileExists(const std::string& path) {
    return std::ifstream(path).good();
}

int Export(const Options& o, Console& io) {
    OpenKey key;
    if (o.operands.size() != 2) {
        return Fail(io, "Invalid syntax: export KEY FILE [/y]");
    }
    if (int rc = OpenOrFail(io, o.operands[0], KEY_READ, false, key)) {
        return rc;
    }
    const std::string& file = o.operands[1];
    if (FileExists(file) && !o.force &&
        !io.confirm("File " + file + " already exists. Overwrite (Yes/No)? ")) {
        io.out += kCancelled;
        return 1;
    }
    regfile::Document doc;
    Collect(key.handle, key.longPath, doc);
    const Bytes bytes = regfile::Write(doc);
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    if (!out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size())) ||
        !out.flush()) {
        return Fail(io, "Unable to write the file " + file + ".");
    }
    io.out += kDone;
    return 0;
}

// Applies one block; a failure names the block's key.
LSTATUS ApplyKey(const regfile::Key& block) {
    HKEY root = nullptr;
    std::u16string sub, longName;
    regfile::SplitRoot(block.path, root, sub, longName);
    if (block.remove) {
        const LSTATUS status = SHDeleteKeyW(root, sub.c_str());
        return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
    }
    HKEY key = nullptr;
    LSTATUS status =
        RegCreateKeyExW(root, sub.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    for (std::size_t i = 0; status == ERROR_SUCCESS && i < block.values.size(); ++i) {
        const regfile::Value& v = block.values[i];
        status =
            v.remove ? RegDeleteValueW(key, v.name.c_str()) : SetExact(key, v.name, v.type, v.data);
        status = v.remove && status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
    }
    if (key != nullptr) {
        RegCloseKey(key);
    }
    return status;
}

// Applies every block in one batch: all or nothing.
int Apply(const regfile::Document& doc, Console& io) {
    if (const LSTATUS status = BvRegBeginBatch(); status != ERROR_SUCCESS) {
        return FailStatus(io, status);
    }
    for (const regfile::Key& block : doc.keys) {
        if (const LSTATUS status = ApplyKey(block); status != ERROR_SUCCESS) {
            BvRegEndBatch(FALSE);
            const std::string where =
                block.line == 0 ? "" : " (line " + std::to_string(block.line) + ")";
            return Fail(io, "Error accessing the registry at " + regfile::Narrow(block.path) +
                                where + ", error " + std::to_string(status) +
                                "; nothing was changed.");
        }
    }
    if (const LSTATUS status = BvRegEndBatch(TRUE); status != ERROR_SUCCESS) {
        return FailStatus(io, status);
    }
    io.out += kDone;
    return 0;
}

int Import(const Options& o, Console& io) {
    if (o.operands.size() != 1) {
        return Fail(io, "Invalid syntax: import FILE");
    }
    const std::string& file = o.operands[0];
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        return Fail(io, "Unable to open the file " + file + ".");
    }
    const Bytes bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    regfile::Document doc;
    regfile::ParseError error;
    if (!regfile::Parse(bytes, doc, error)) {
        return Fail(io, file + " line " + std::to_string(error.line) + ": " + error.message);
    }
    return Apply(doc, io);
}

int Copy(const Options& o, Console& io) {
    OpenKey from, to;
    if (o.operands.size() != 2 || o.name || o.defaultValue || o.allValues) {
        return Fail(io, "Invalid syntax: copy KEY1 KEY2 [/s] [/f]");
    }
    if (int rc = OpenOrFail(io, o.operands[0], KEY_READ, false, from)) {
        return rc;
    }
    const LSTATUS target = Open(o.operands[1], KEY_READ, false, to);
    if (target == ERROR_BAD_PATHNAME) {
        return Fail(io, "Invalid key name: " + o.operands[1]);
    }
    if (target == ERROR_SUCCESS && !o.force &&
        !io.confirm("Overwrite values of " + o.operands[1] + " (Yes/No)? ")) {
        io.out += kCancelled;
        return 1;
    }
    // A snapshot first, so that a copy into the source's own subtree ends.
    regfile::Document doc;
    Collect(from.handle, from.longPath, doc, o.recurse);
    for (regfile::Key& block : doc.keys) {
        block.path = to.longPath + block.path.substr(from.longPath.size());
    }
    return Apply(doc, io);
}

} // namespace

// Writes exactly `data`: the stand-in, like the platform, adds a NUL to a text whose memory goes
// on with one, so the bytes after the data are made non-zero.
LSTATUS SetExact(HKEY key, const std::u16string& name, DWORD type, const regfile::Bytes& data) {
    Bytes padded(data);
    padded.insert(padded.end(), {0xFF, 0xFF});
    return RegSetValueExW(key, name.c_str(), 0, type, padded.data(), DWORD(data.size()));
}

int Run(std::span<const std::string> args, Console& io) {
    if (args.empty()) {
        return Fail(io,
                    "Invalid syntax: reg query|add|delete|copy|export|import|protect|unprotect");
    }
    const std::string verb = Lower(args[0]);
    Options o;
    if (!ParseOptions(verb, args.subspan(1), o)) {
        return Fail(io, "Invalid syntax: unknown or incomplete switch for " + verb);
    }
    if (verb == "query") {
        return Query(o, io);
    }
    if (verb == "add") {
        return Add(o, io);
    }
    if (verb == "delete") {
        return Delete(o, io);
    }
    if (verb == "export") {
        return Export(o, io);
    }
    if (verb == "import") {
        return Import(o, io);
    }
    if (verb == "copy") {
        return Copy(o, io);
    }
    if (verb == "protect" || verb == "unprotect") {
        return Protect(o, io, verb == "protect");
    }
    return Fail(io, "Invalid syntax: unknown verb " + args[0]);
}

} // namespace bvtool::reg

namespace bvtool {

int RunReg(Args args) {
    reg::Console io;
    // The question goes out after what came before it; the answer is a line of standard input
    // (the terminal when there is one), and its end means no.
    io.confirm = [&io](const std::string& question) {
        std::fputs(io.out.c_str(), stdout);
        io.out.clear();
        std::fputs(question.c_str(), stdout);
        std::fflush(stdout);
        std::string answer;
        const bool answered = static_cast<bool>(std::getline(std::cin, answer));
        if (isatty(STDIN_FILENO) == 0) {
            std::fputs("\n", stdout); // nobody typed the line end
        }
        if (!answered) {
            return false;
        }
        answer = answer.empty() ? answer : std::string(1, char(answer[0] | 0x20));
        return answer == "y";
    };
    const std::vector<std::string> words(args.begin(), args.end());
    const int rc = reg::Run(words, io);
    std::fputs(io.out.c_str(), stdout);
    std::fputs(io.err.c_str(), stderr);
    return rc;
}

} // namespace bvtool
