// The verbs of `bvcore settings`, written against the library's public settings calls.
#include "SettingsCommand.h"

#include "Commands.h"
#include "SettingsText.h"

#include "Core/Common/RegistryKey.h"
#include "Core/Common/Settings.h"
#include "Core/Common/SettingsPath.h"
#include "Core/Common/StrUtils.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <vector>

namespace bvtool::settings {

namespace {

namespace cs = core::settings;
using core::registry::RegistryKey;
using cs::Path;
using cs::Setting;
using Words = std::span<const std::string>;

constexpr const char* kHelp =
    R"(usage: bvcore settings <verb> [arguments]

Reads and writes the library's settings store. A settings path starts with a backslash:
  \SYSTEM\...         for the machine (HKEY_LOCAL_MACHINE\SOFTWARE)
  \USERS\ALL\...      for all users (HKEY_USERS\.DEFAULT\Software)
  \USERS\CURRENT\...  for the current user (HKEY_CURRENT_USER\Software); a current-user
                      setting with nothing of its own falls back to the all-users one
Put a path in single quotes so that the shell keeps its backslashes:
  bvcore settings get '\USERS\CURRENT\Player\Volume'

verbs:
  get PATH               the type, the value (in the words that set takes) and where it is
                         stored: its own location, or the all-users one it falls back to
  set PATH TYPE VALUE... creates the setting, or overwrites one of the same type; a setting
                         that falls back gets its own copy first, and the all-users value stays
  delete PATH            deletes a value, or a key with everything below it
  list PATH              the children of a key: name, type, and physical or falling back
  tree PATH [--depth N]  PATH and its subtree, indented, N levels deep (default: all)

types and value words:
  bool     true or false
  int32    decimal, -2147483648 to 2147483647
  int64    decimal, 64 bits
  double   decimal (1.5, -2e-3, inf, nan); shown as the shortest text that reads back equal
  point    x,y
  rect     left,top,right,bottom
  tstr     the text, one word
  tstrvec  one word per element; none for an empty vector
  bytevec  hexadecimal digit pairs (00ff10); '' for no bytes
get and list also show "key" for a node without a value, and "unknown" for stored data of no
settings type (a text of that kind is shown as it is stored).

set writes nothing when the words don't read as TYPE, or when PATH already holds something of
another type (a value it falls back to counts). delete of a current-user value that shadows an
all-users one succeeds, and says that the path now reads the all-users value.
Control characters in names and texts show as \n, \r, \t, \0, \xNN or \uNNNN, so that every
entry stays on one line; a text that holds them is quoted as $'...', which bash reads back. A
stored name that is no valid settings path (it holds * ? < > or ...) is listed as refused.

exit status: 0 done, 1 the store refused or nothing is stored there, 2 bad usage
)";

/// Data of one line of `list` and `tree`.
struct Row {
    int depth = 0;     // 0 for the path asked for by tree, 1 for its children, ...
    std::string name;  // the name, escaped; the whole path on the line of the path asked for
    std::string type;  // a type word, "refused" or "error"
    std::string where; // "physical", "falls back to ...", or the words of a refusal or failure
};

/// One child as listed: the stored name and the path it is shown under.
struct Child {
    TStr name;    // as stored; empty for a key's unnamed value
    TStr path;    // the path asked for, the separator and the name
    TStr refusal; // why a settings path can't address the name; empty when it can
};

/// Opens the key of a settings path the way the store does, for names that the store's own
/// listing refuses.
struct KeyOfPath : Path {
    using Path::GetRegistryKey;
    using Path::Path;
};

int Fail(Console& io, int code, const std::string& message) {
    io.err += "bvcore settings: " + message + "\n";
    return code;
}

int Usage(Console& io, const std::string& syntax) {
    return Fail(io, kExitUsage, "usage: bvcore settings " + syntax + " (see --help)");
}

/// The path word as a checked settings path; on refusal writes the store's words.
bool ReadPath(const std::string& word, TStr& path, Console& io) {
    try {
        path = FromUtf8(word);
        const Path checked(path);
        return true;
    } catch (const mcExc& e) {
        Fail(io, kExitUsage, Escape(e.whatT()));
        return false;
    }
}

bool SameName(const TStr& a, const TStr& b) {
    return mfStrCompare(a, b, true) == 0;
}

bool UnderAllUsers(const TStr& path) {
    const TStr prefix = Path::PathAllUsers() + TStr(1, char16_t(Path::PathSeparator()));
    return path.size() > prefix.size() && SameName(path.substr(0, prefix.size()), prefix);
}

/// The all-users path that `path` reads through the fall-back; empty when it has its own
/// location or nothing at all.
TStr FallBackTarget(const TStr& path) {
    const Setting setting(path);
    const TStr physical = setting.PhysicalPath();
    return !physical.empty() && !setting.IsPhysical() && UnderAllUsers(physical) ? physical
                                                                                 : TStr();
}

/// The five nodes that exist by definition; the store gives them no type, they show as keys.
bool IsBranch(const TStr& path) {
    for (const TStr* branch : {&Path::PathRoot(), &Path::PathSystem(), &Path::PathUsers(),
                               &Path::PathAllUsers(), &Path::PathCurrentUser()}) {
        if (SameName(path, *branch)) {
            return true;
        }
    }
    return false;
}

eValueType TypeOf(const Setting& setting) {
    return IsBranch(setting.Path()) ? cs::eValueTypeNone : setting.ValueType();
}

std::string Location(const Setting& setting) {
    const std::string physical = Escape(setting.PhysicalPath());
    return setting.IsPhysical() ? "own location " + physical
                                : "falls back to all users at " + physical;
}

Value Read(const Setting& setting, eValueType type) {
    switch (type) {
    case cs::eValueTypeBool:
        return setting.ValueBool();
    case cs::eValueTypeByteVec:
        return setting.ValueByteVec();
    case cs::eValueTypeInt32:
        return setting.ValueInt32();
    case cs::eValueTypeInt64:
        return setting.ValueInt64();
    case cs::eValueTypeTStrVec:
        return setting.ValueTStrVec();
    case cs::eValueTypeDouble:
        return setting.ValueDouble();
    case cs::eValueTypePOINT:
        return setting.ValuePOINT();
    case cs::eValueTypeRECT:
        return setting.ValueRECT();
    default:
        return setting.ValueTStr();
    }
}

std::string ShownValue(const Setting& setting, eValueType type) {
    if (type == cs::eValueTypeNone) {
        return "(none: a key)";
    }
    if (type != cs::eValueTypeUnknown) {
        return FormatValue(Read(setting, type));
    }
    try {
        return ShellWord(setting.ValueTStr());
    } catch (const mcExc&) {
        return "(not readable as text)";
    }
}

template <class... F>
struct Overloaded : F... {
    using F::operator()...;
};

/// Brings a value into being at the path given.
void Create(const TStr& path, const Value& value) {
    std::visit(Overloaded{
                   [&](bool v) { cs::CreateBool(path, v); },
                   [&](std::int32_t v) { cs::CreateInt32(path, v); },
                   [&](std::int64_t v) { cs::CreateInt64(path, v); },
                   [&](double v) { cs::CreateDouble(path, v); },
                   [&](const tagPOINT& v) { cs::CreatePOINT(path, v); },
                   [&](const tagRECT& v) { cs::CreateRECT(path, v); },
                   [&](const TStr& v) { cs::CreateTStr(path, v); },
                   [&](const TStrVec& v) { cs::CreateTStrVec(path, v); },
                   [&](const ByteVec& v) { cs::CreateByteVec(path, v); },
               },
               value);
}

/// Writes through the setting's resolution, copying a fall-back value down first.
void Write(Setting& setting, const Value& value) {
    std::visit(Overloaded{
                   [&](bool v) { setting.SetValueBool(v); },
                   [&](std::int32_t v) { setting.SetValueInt32(v); },
                   [&](std::int64_t v) { setting.SetValueInt64(v); },
                   [&](double v) { setting.SetValueDouble(v); },
                   [&](const tagPOINT& v) { setting.SetValuePOINT(v); },
                   [&](const tagRECT& v) { setting.SetValueRECT(v); },
                   [&](const TStr& v) { setting.SetValueTStr(v); },
                   [&](const TStrVec& v) { setting.SetValueTStrVec(v); },
                   [&](const ByteVec& v) { setting.SetValueByteVec(v); },
               },
               value);
}

// --- get, set, delete --------------------------------------------------------------------------

int Get(Words words, Console& io) {
    TStr path;
    if (words.size() != 1) {
        return Usage(io, "get PATH");
    }
    if (!ReadPath(words[0], path, io)) {
        return kExitUsage;
    }
    const Setting setting(path);
    if (setting.PhysicalPath().empty()) {
        return Fail(io, kExitFailed, "nothing is stored at " + Escape(path));
    }
    const eValueType type = TypeOf(setting);
    io.out += "type:   " + std::string(TypeName(type)) + "\n";
    io.out += "value:  " + ShownValue(setting, type) + "\n";
    io.out += "stored: " + Location(setting) + "\n";
    return kExitOk;
}

/// Writes an existing setting of the same type; the words of what happened, or of the refusal.
bool Overwrite(const TStr& path, eValueType type, const Value& value, std::string& done) {
    const eValueType stored = TypeOf(Setting(path));
    if (stored != type) {
        done = Escape(path) + " holds " + std::string(TypeName(stored)) + ", not " +
               std::string(TypeName(type)) + "; nothing written";
        return false;
    }
    Setting setting(path);
    done = setting.IsPhysical()
               ? "overwritten"
               : "copied from all users, then overwritten (the all-users value stays)";
    Write(setting, value);
    return true;
}

int Set(Words words, Console& io) {
    TStr path;
    if (words.size() < 2) {
        return Usage(io, "set PATH TYPE VALUE...");
    }
    if (!ReadPath(words[0], path, io)) {
        return kExitUsage;
    }
    const std::optional<eValueType> type = WritableType(words[1]);
    if (!type) {
        return Fail(io, kExitUsage,
                    "unknown type " + ShellWord(FromUtf8(words[1])) +
                        " (bool, int32, int64, double, point, rect, tstr, tstrvec, bytevec)");
    }
    std::string done;
    const std::optional<Value> value = ParseValue(*type, words.subspan(2), done);
    if (!value) {
        return Fail(io, kExitUsage, done);
    }
    if (!cs::Exists(path)) {
        Create(path, *value);
        done = "created";
    } else if (!Overwrite(path, *type, *value, done)) {
        return Fail(io, kExitFailed, done);
    }
    io.out += "action: " + done + "\n";
    io.out += "value:  " + FormatValue(*value) + "\n";
    io.out += "stored: " + Location(Setting(path)) + "\n";
    return kExitOk;
}

int Delete(Words words, Console& io) {
    TStr path;
    if (words.size() != 1) {
        return Usage(io, "delete PATH");
    }
    if (!ReadPath(words[0], path, io)) {
        return kExitUsage;
    }
    if (!cs::Exists(path)) {
        io.out += "nothing is stored at " + Escape(path) + "; nothing deleted\n";
        return kExitOk;
    }
    const bool wasPhysical = cs::IsPhysical(path);
    try {
        cs::Delete(path);
    } catch (const Setting::PathException&) {
        // The store deletes a current-user value that shadows an all-users one and then reports
        // that the path still resolves: that is done, once the own location is seen to be gone.
        const TStr shared = FallBackTarget(path);
        if (!wasPhysical || shared.empty()) {
            throw;
        }
        io.out += "deleted: " + Escape(path) + "\n";
        io.out += "note:    the path now reads the all-users value at " + Escape(shared) + "\n";
        return kExitOk;
    }
    io.out += "deleted: " + Escape(path) + "\n";
    return kExitOk;
}

// --- list, tree --------------------------------------------------------------------------------

TStr Join(const TStr& parent, const TStr& name) {
    const TStr separator(1, char16_t(Path::PathSeparator()));
    return SameName(parent, Path::PathRoot()) ? separator + name : parent + separator + name;
}

/// The names at the own key and, for a virtual setting, at its physical one: values first.
/// Read from the registry for a listing that the store refuses because of a name.
TStrVec StoredNames(const TStr& path) {
    TStrVec values;
    TStrVec keys;
    const auto add = [&values, &keys](const TStr& source) {
        const RegistryKey key = KeyOfPath(source).GetRegistryKey(Path::ki32PathLevelsAll);
        TStrVec names;
        key.GetValueNames(names);
        values.insert(values.end(), names.begin(), names.end());
        key.GetSubKeyNames(names);
        keys.insert(keys.end(), names.begin(), names.end());
    };
    add(path);
    const Setting setting(path);
    if (!setting.PhysicalPath().empty() && !setting.IsPhysical()) {
        add(setting.PhysicalPath());
    }
    values.insert(values.end(), keys.begin(), keys.end());
    return values;
}

/// The names of the children the store lists for `path`.
TStrVec Names(const TStr& path) {
    // The two nodes above the mapped branches hold no registry key of their own.
    if (SameName(path, Path::PathRoot())) {
        return {u"SYSTEM", u"USERS"};
    }
    if (SameName(path, Path::PathUsers())) {
        return {u"ALL", u"CURRENT"};
    }
    try {
        // The name as stored is all behind the parent's path: Name() stops at a separator
        // inside a value's name.
        TStrVec names;
        for (const Setting& child : cs::Children(path)) {
            names.push_back(child.Path().substr(path.size() + 1));
        }
        return names;
    } catch (const Path::PathException&) {
        return StoredNames(path);
    }
}

/// Why `name` can't be addressed below its parent as `path`; empty when it can.
TStr Refusal(const TStr& name, const TStr& path) {
    if (name.find(char16_t(Path::PathSeparator())) != TStr::npos) {
        return u"the name holds the path separator";
    }
    try {
        const Path checked(path);
        return {};
    } catch (const mcExc& e) {
        return e.whatT();
    }
}

/// The children of `path`, each once; a current-user key that only falls back (the store's
/// listing fails on the missing own key) lists the all-users key's children under `path`.
std::vector<Child> Children(const TStr& path) {
    TStrVec names;
    try {
        names = Names(path);
    } catch (const RegistryKey::Exception&) {
        const TStr shared = FallBackTarget(path);
        if (shared.empty()) {
            throw;
        }
        names = Names(shared);
    }
    std::vector<Child> children;
    for (const TStr& name : names) {
        const auto same = [&name](const Child& c) { return SameName(c.name, name); };
        if (std::any_of(children.begin(), children.end(), same)) {
            continue;
        }
        children.push_back({name, Join(path, name), Refusal(name, Join(path, name))});
    }
    return children;
}

Row Describe(const Child& child, int depth) {
    Row row{depth, child.name.empty() ? "(unnamed value)" : Escape(child.name), "refused",
            Escape(child.refusal)};
    if (!child.refusal.empty()) {
        return row;
    }
    try {
        const Setting setting(child.path);
        if (setting.PhysicalPath().empty()) {
            row.type = "error";
            row.where = "no longer stored";
            return row;
        }
        row.type = TypeName(TypeOf(setting));
        row.where =
            setting.IsPhysical() ? "physical" : "falls back to " + Escape(setting.PhysicalPath());
    } catch (const mcExc& e) {
        row.type = "error";
        row.where = Escape(e.whatT());
    }
    return row;
}

/// Rows for the children of `path` at `depth`, and below each key down to `maxDepth`.
void Walk(const TStr& path, int depth, int maxDepth, std::vector<Row>& rows) {
    for (const Child& child : Children(path)) {
        rows.push_back(Describe(child, depth));
        if (depth >= maxDepth || rows.back().type != TypeName(cs::eValueTypeNone)) {
            continue;
        }
        try {
            Walk(child.path, depth + 1, maxDepth, rows);
        } catch (const mcExc& e) {
            rows.push_back({depth + 1, "(children not listed)", "error", Escape(e.whatT())});
        }
    }
}

/// Columns in code points of the UTF-8 text.
std::size_t Width(const std::string& text) {
    return std::size_t(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

void Print(const std::vector<Row>& rows, int firstDepth, Console& io) {
    std::size_t nameWidth = 0;
    for (const Row& row : rows) {
        nameWidth = std::max(nameWidth, 2 * std::size_t(row.depth - firstDepth) + Width(row.name));
    }
    for (const Row& row : rows) {
        const std::size_t used = 2 * std::size_t(row.depth - firstDepth) + Width(row.name);
        std::string line = std::string(2 * std::size_t(row.depth - firstDepth), ' ') + row.name;
        line += std::string(nameWidth - used + 2, ' ') + row.type;
        line += std::string(row.type.size() < 8 ? 8 - row.type.size() : 0, ' ') + "  " + row.where;
        io.out += line + "\n";
    }
    if (rows.empty()) {
        io.out += "(no children)\n";
    }
}

/// Refuses a path that holds a value: it has no children to show.
bool IsValue(const TStr& path, Console& io) {
    const eValueType type = TypeOf(Setting(path));
    if (type == cs::eValueTypeNone) {
        return false;
    }
    Fail(io, kExitFailed,
         Escape(path) + " holds a " + std::string(TypeName(type)) + " value, not a key");
    return true;
}

/// The checks shared by list and tree: a path word that reads, at which a key is stored.
int CheckNode(const std::string& word, TStr& path, Console& io) {
    if (!ReadPath(word, path, io)) {
        return kExitUsage;
    }
    if (!cs::Exists(path)) {
        return Fail(io, kExitFailed, "nothing is stored at " + Escape(path));
    }
    return IsValue(path, io) ? kExitFailed : kExitOk;
}

int List(Words words, Console& io) {
    TStr path;
    if (words.size() != 1) {
        return Usage(io, "list PATH");
    }
    if (const int code = CheckNode(words[0], path, io); code != kExitOk) {
        return code;
    }
    std::vector<Row> rows;
    Walk(path, 1, 1, rows);
    Print(rows, 1, io);
    return kExitOk;
}

/// PATH and --depth N in either order; false for anything else.
bool ReadTreeWords(Words words, std::string& path, int& depth) {
    bool havePath = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "--depth" && i + 1 < words.size()) {
            const std::string& n = words[++i];
            char* end = nullptr;
            const long value = std::strtol(n.c_str(), &end, 10);
            if (n.empty() || *end != '\0' || value < 0 || value > INT_MAX || n[0] == '-') {
                return false;
            }
            depth = int(value);
        } else if (!havePath) {
            path = words[i];
            havePath = true;
        } else {
            return false;
        }
    }
    return havePath;
}

int Tree(Words words, Console& io) {
    std::string word;
    int depth = INT_MAX;
    TStr path;
    if (!ReadTreeWords(words, word, depth)) {
        return Usage(io, "tree PATH [--depth N]");
    }
    if (const int code = CheckNode(word, path, io); code != kExitOk) {
        return code;
    }
    std::vector<Row> rows{Describe({path, path, {}}, 0)};
    if (depth > 0) {
        Walk(path, 1, depth, rows);
    }
    Print(rows, 0, io);
    return kExitOk;
}

struct Verb {
    std::string_view name;       // the first word
    int (*run)(Words, Console&); // the verb with the words behind its name
};

constexpr Verb kVerbs[] = {
    {"get", Get}, {"set", Set}, {"delete", Delete}, {"list", List}, {"tree", Tree},
};

} // namespace

int Run(std::span<const std::string> args, Console& io) {
    if (args.empty()) {
        return Usage(io, "get|set|delete|list|tree ...");
    }
    if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
        io.out += kHelp;
        return kExitOk;
    }
    for (const Verb& verb : kVerbs) {
        if (verb.name != args[0]) {
            continue;
        }
        try {
            return verb.run(args.subspan(1), io);
        } catch (const mcExc& e) {
            return Fail(io, kExitFailed, Escape(e.whatT()));
        }
    }
    return Fail(io, kExitUsage, "unknown verb " + ShellWord(FromUtf8(args[0])) + " (see --help)");
}

} // namespace bvtool::settings

namespace bvtool {

int RunSettings(Args args) {
    settings::Console io;
    const std::vector<std::string> words(args.begin(), args.end());
    const int code = settings::Run(words, io);
    std::fputs(io.out.c_str(), stdout);
    std::fputs(io.err.c_str(), stderr);
    return code;
}

} // namespace bvtool
