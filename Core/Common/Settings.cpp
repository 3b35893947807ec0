#include "Core/Common/Settings.h"

#include "Core/Common/ExcPrivate.h"
#include "Core/Common/XMLUtil.h"

#include <bvplatform/crt.h>

#include <array>
#include <utility>

namespace core::settings {

BV_DEFINE_EXCEPTION(Setting::Exception, Exception, settings::Exception);
BV_DEFINE_EXCEPTION(Setting::TypeException, TypeException, Setting::Exception);
BV_DEFINE_EXCEPTION(Setting::PathException, PathException, Setting::Exception);

namespace {

using registry::RegistryKey;

/// The five paths that exist by definition, whatever the registry holds.
bool IsFixedPath(const TStr& text) {
    const std::array<const TStr*, 5> fixed = {&Path::PathRoot(), &Path::PathSystem(),
                                              &Path::PathUsers(), &Path::PathAllUsers(),
                                              &Path::PathCurrentUser()};
    for (const TStr* path : fixed) {
        // _wcsicmp folds unit by unit, so texts of other lengths never compare equal.
        if (text.size() == path->size() && _wcsicmp(text.c_str(), path->c_str()) == 0) {
            return true;
        }
    }
    return false;
}

bool HasEntries(const RegistryKey& key) {
    return key.GetSubKeyCount() > 0 || key.GetValueCount() > 0;
}

} // namespace

/// Opens protected members of Path to the resolution helpers of this file.
struct PathAccess {
    /// A key or a value at p. The parent key is tested before it is opened, so that an ordinary
    /// miss throws (and announces) nothing.
    static bool HoldsSomething(const Path& p) {
        const TStr keyPath = p.RegistryPath(Path::ki32PathLevelsAll);
        if (keyPath.empty()) {
            return false;
        }
        const RegistryKey root = p.GetRegistryKey(0);
        if (root.HasSubKey(keyPath.c_str())) {
            return true;
        }
        // The parent key, p's registry path with -1 levels, opened below the root with its mask.
        const TStr parentPath = Path::PathPrefix(keyPath, -1);
        if (!root.HasSubKey(parentPath.c_str())) {
            return false;
        }
        return root.GetSubKey(parentPath.c_str()).HasValue(p.RegistryKeyOrValueName().c_str());
    }
    /// The all-users twin of a current-user path.
    static TStr AllUsersTwin(const Path& p) {
        const TStr& allUsers = Path::PathAllUsers();
        const TStr rest = Path::PathSuffix(p.m_text, -2);
        TStr twin;
        twin.reserve(allUsers.size() + 1 + rest.size());
        twin.append(allUsers).append(1, static_cast<char16_t>(Path::PathSeparator())).append(rest);
        return twin;
    }
    /// The key that holds p's last name, and that name.
    static RegistryKey ParentKey(const Path& p) { return p.GetRegistryKey(-1); }
    static TStr LastName(const Path& p) { return p.RegistryKeyOrValueName(); }
    /// Every missing level down to p, below the root of p's subtree.
    static void CreateKeyChain(const Path& p) {
        const RegistryKey root = p.GetRegistryKey(0);
        (void)root.CreateSubKey(p.RegistryPath(Path::ki32PathLevelsAll).c_str());
    }
};

/// Opens the static resolution to the free functions.
struct SettingAccess : Setting {
    using Setting::PhysicalPath;
};

Setting::Setting(const TStr& path) {
    if (!core::settings::Path::IsAbsolute(path)) {
        BV_THROW(PathException, u"Copy constructor failed.");
    }
    SetPath(path);
}

Setting::Setting(const Setting& other) = default;
Setting::~Setting() = default;
Setting& Setting::operator=(const Setting& other) = default;

bool Setting::operator==(const Setting& other) const {
    return m_path == other.m_path;
}
bool Setting::operator!=(const Setting& other) const {
    return !(*this == other);
}

void Setting::SetPath(const TStr& path) {
    if (core::settings::Path::IsAbsolute(path)) {
        m_path = path;
    } else {
        m_path += path;
    }
    m_physicalPath = PhysicalPath(static_cast<TStr>(m_path));
}

const TStr Setting::Path() const {
    return static_cast<TStr>(m_path);
}
const TStr Setting::PhysicalPath() const {
    return m_physicalPath;
}
const TStr Setting::Name() const {
    return m_path.RegistryKeyOrValueName();
}

bool Setting::IsPhysical() const {
    return core::settings::Path(m_physicalPath) == m_path;
}
bool Setting::IsVirtual() const {
    return !IsPhysical();
}
bool Setting::HasParent() const {
    return !m_path.IsRoot();
}

Setting Setting::Parent() const {
    return Setting(static_cast<TStr>(m_path.Ancestor(-1)));
}

bool Setting::HasChildren() const {
    if (HasEntries(m_path.GetRegistryKey(core::settings::Path::ki32PathLevelsAll))) {
        return true;
    }
    if (IsPhysical()) {
        return false;
    }
    const core::settings::Path physical(m_physicalPath);
    return HasEntries(physical.GetRegistryKey(core::settings::Path::ki32PathLevelsAll));
}

const TStr Setting::PhysicalPath(const TStr& path) {
    if (IsFixedPath(path)) {
        return path;
    }
    try {
        core::settings::Path p(path);
        for (int pass = 0; pass < 2; ++pass) {
            if (PathAccess::HoldsSomething(p)) {
                return static_cast<TStr>(p);
            }
            if (!p.IsDescendentOfCurrentUser()) {
                return {};
            }
            p = PathAccess::AllUsersTwin(p);
        }
        return {};
    } catch (const mcExc&) {
        BV_THROW(PathException, u"Could not determine physical path for " + path + u".");
    }
}

RegistryKey Setting::RegistryKeyForReading() const {
    try {
        return core::settings::Path(m_physicalPath).GetRegistryKey(-1);
    } catch (const mcExc&) {
        BV_THROW(PathException, u"Could not get registry key for setting (read).");
    }
}

// --- What is stored -------------------------------------------------------------------------

namespace {

/// A REG_SZ is a TStr unless it splits into an element whose tag names a known type.
eValueType TypeOfText(const TStr& text) {
    TStrVec tokens;
    if (xml::SplitElementText(text, xml::kElementDelimiters, tokens) < 3) {
        return eValueTypeTStr;
    }
    const TStr typeName = xml::TypeNameFromTag(tokens[0]);
    // The order of the tests is the store's; the first match decides.
    const std::array<std::pair<const char16_t*, eValueType>, 4> known = {{
        {xml::kTypeNameDouble, eValueTypeDouble},
        {xml::kTypeNamePOINT, eValueTypePOINT},
        {xml::kTypeNameRECT, eValueTypeRECT},
        {xml::kTypeNameBool, eValueTypeBool},
    }};
    for (const auto& [name, type] : known) {
        if (_wcsicmp(typeName.c_str(), name) == 0) {
            return type;
        }
    }
    return eValueTypeUnknown;
}

eValueType TypeOfValue(const RegistryKey& key, const TStr& name) {
    switch (key.GetValueType(name.c_str())) {
    case REG_SZ:
        return TypeOfText(key.GetValueString(name.c_str()));
    case REG_EXPAND_SZ:
        return eValueTypeTStr;
    case REG_BINARY:
        return eValueTypeByteVec;
    case REG_DWORD:
        return eValueTypeInt32;
    case REG_MULTI_SZ:
        return eValueTypeTStrVec;
    case REG_QWORD:
        return eValueTypeInt64;
    default:
        return eValueTypeUnknown;
    }
}

/// The value if there is one (it wins over a key of the same name), else a key node.
bool StoredType(const RegistryKey& key, const TStr& name, eValueType& type) {
    if (key.HasValue(name.c_str())) {
        type = TypeOfValue(key, name);
        return true;
    }
    if (key.HasSubKey(name.c_str())) {
        type = eValueTypeNone;
        return true;
    }
    return false;
}

/// `read()`, or the default for any failure of the library's family.
template <class T, class Read>
T OrDefault(const T& defaultValue, Read read) {
    try {
        return read();
    } catch (const mcExc&) {
        return defaultValue;
    }
}

} // namespace

eValueType Setting::ValueType() const {
    eValueType type = eValueTypeUnknown;
    bool found = false;
    try {
        found = StoredType(RegistryKeyForReading(), Name(), type);
    } catch (const mcExc&) {
        found = false;
    }
    if (!found) {
        BV_THROW(TypeException, u"Could not retrieve setting type.");
    }
    return type;
}

bool Setting::IsValueType(const eValueType& type) const {
    return ValueType() == type;
}

// --- Reads ----------------------------------------------------------------------------------

template <class Read>
auto Setting::ReadValue(const char* function, Read read) const {
    try {
        const RegistryKey key = RegistryKeyForReading();
        return read(key, Name().c_str());
    } catch (const mcExc&) {
        BV_THROW_AS(function, PathException, u"Could not retrieve value.");
    }
}

bool Setting::ValueBool() const {
    BV_FUNCTION_NAME(function);
    return ReadValue(function.c_str(), [](const RegistryKey& key, LPCWSTR name) {
        return xml::FromXMLElementBOOL(key.GetValueString(name));
    });
}
bool Setting::ValueBool(const bool& defaultValue) const {
    return OrDefault(defaultValue, [this] { return ValueBool(); });
}

ByteVec Setting::ValueByteVec() const {
    BV_FUNCTION_NAME(function);
    return ReadValue(function.c_str(),
                     [](const RegistryKey& key, LPCWSTR name) { return key.GetValueBinary(name); });
}
ByteVec Setting::ValueByteVec(const ByteVec& defaultValue) const {
    return OrDefault(defaultValue, [this] { return ValueByteVec(); });
}

bool Setting::ValueByteVecAsBool() const {
    BV_FUNCTION_NAME(function);
    return ReadValue(function.c_str(), [](const RegistryKey& key, LPCWSTR name) {
        return key.GetValueBinaryAsBool(name);
    });
}
bool Setting::ValueByteVecAsBool(const bool& defaultValue) const {
    return OrDefault(defaultValue, [this] { return ValueByteVecAsBool(); });
}

double Setting::ValueDouble() const {
    BV_FUNCTION_NAME(function);
    return ReadValue(function.c_str(), [](const RegistryKey& key, LPCWSTR name) {
        return xml::FromXMLElement(key.GetValueString(name));
    });
}
double Setting::ValueDouble(const double& defaultValue) const {
    return OrDefault(defaultValue, [this] { return ValueDouble(); });
}

std::int32_t Setting::ValueInt32() const {
    BV_FUNCTION_NAME(function);
    return ReadValue(function.c_str(),
                     [](const RegistryKey& key, LPCWSTR name) { return key.GetValueDWord(name); });
}
std::int32_t Setting::ValueInt32(const std::int32_t& defaultValue) const {
    return OrDefault(defaultValue, [this] { return ValueInt32(); });
}

bool Setting::ValueInt32AsBool() const {
    BV_FUNCTION_NAME(function);
    return ReadValue(function.c_str(), [](const RegistryKey& key, LPCWSTR name) {
        return key.GetValueDWord(name) != 0;
    });
}
bool Setting::ValueInt32AsBool(const bool& defaultValue) const {
    return OrDefault(defaultValue, [this] { return ValueInt32AsBool(); });
}

std::int64_t Setting::ValueInt64() const {
    BV_FUNCTION_NAME(function);
    return ReadValue(function.c_str(),
                     [](const RegistryKey& key, LPCWSTR name) { return key.GetValueQWord(name); });
}
std::int64_t Setting::ValueInt64(const std::int64_t& defaultValue) const {
    return OrDefault(defaultValue, [this] { return ValueInt64(); });
}

tagPOINT Setting::ValuePOINT() const {
    BV_FUNCTION_NAME(function);
    return ReadValue(function.c_str(), [](const RegistryKey& key, LPCWSTR name) {
        return xml::FromXMLElementPOINT(key.GetValueString(name));
    });
}
tagPOINT Setting::ValuePOINT(const tagPOINT& defaultValue) const {
    return OrDefault(defaultValue, [this] { return ValuePOINT(); });
}

tagRECT Setting::ValueRECT() const {
    BV_FUNCTION_NAME(function);
    return ReadValue(function.c_str(), [](const RegistryKey& key, LPCWSTR name) {
        return xml::FromXMLElementRECT(key.GetValueString(name));
    });
}
tagRECT Setting::ValueRECT(const tagRECT& defaultValue) const {
    return OrDefault(defaultValue, [this] { return ValueRECT(); });
}

TStr Setting::ValueTStr() const {
    BV_FUNCTION_NAME(function);
    return ReadValue(function.c_str(),
                     [](const RegistryKey& key, LPCWSTR name) { return key.GetValueString(name); });
}
TStr Setting::ValueTStr(const TStr& defaultValue) const {
    return OrDefault(defaultValue, [this] { return ValueTStr(); });
}

TStrVec Setting::ValueTStrVec() const {
    BV_FUNCTION_NAME(function);
    return ReadValue(function.c_str(), [](const RegistryKey& key, LPCWSTR name) {
        return key.GetValueMultiString(name);
    });
}
TStrVec Setting::ValueTStrVec(const TStrVec& defaultValue) const {
    return OrDefault(defaultValue, [this] { return ValueTStrVec(); });
}

// --- Structure ------------------------------------------------------------------------------

TStr Setting::Absolute(const TStr& text) const {
    if (core::settings::Path::IsAbsolute(text)) {
        return text;
    }
    core::settings::Path base = m_path; // the member join, which knows ".."
    return static_cast<TStr>(base + text);
}

bool Setting::Exists(const TStr& path) const {
    return core::settings::Exists(Absolute(path));
}

std::vector<Setting> Setting::Children() const {
    const auto levelsAll = core::settings::Path::ki32PathLevelsAll;
    const RegistryKey own = m_path.GetRegistryKey(levelsAll);
    TStrVec values;
    TStrVec keys;
    own.GetValueNames(values);
    own.GetSubKeyNames(keys);
    if (!IsPhysical()) {
        // The physical location's names follow the own key's, in each group.
        const RegistryKey physical = core::settings::Path(m_physicalPath).GetRegistryKey(levelsAll);
        TStrVec more;
        physical.GetValueNames(more);
        values.insert(values.end(), more.begin(), more.end());
        physical.GetSubKeyNames(more);
        keys.insert(keys.end(), more.begin(), more.end());
    }
    std::vector<Setting> children;
    children.reserve(values.size() + keys.size());
    for (const TStrVec* names : {&values, &keys}) {
        for (const TStr& name : *names) {
            children.emplace_back(static_cast<TStr>(m_path + name));
        }
    }
    return children;
}

// --- Writes ---------------------------------------------------------------------------------

namespace {

/// Copies what the source key holds under `name` to the destination, unchanged, by its type.
void CopyStored(const RegistryKey& source, RegistryKey& destination, const TStr& name,
                eValueType type) {
    const LPCWSTR n = name.c_str();
    switch (type) {
    case eValueTypeNone:
        (void)destination.CreateSubKey(n); // an empty key: the content stays with all users
        return;
    case eValueTypeBool:
    case eValueTypeDouble:
    case eValueTypePOINT:
    case eValueTypeRECT:
    case eValueTypeTStr:
        destination.SetValueString(n, source.GetValueString(n).c_str());
        return;
    case eValueTypeByteVec:
        destination.SetValueBinary(n, source.GetValueBinary(n));
        return;
    case eValueTypeInt32:
        destination.SetValueDWord(n, source.GetValueDWord(n));
        return;
    case eValueTypeInt64:
        destination.SetValueQWord(n, source.GetValueQWord(n));
        return;
    case eValueTypeTStrVec:
        destination.SetValueMultiString(n, source.GetValueMultiString(n));
        return;
    case eValueTypeUnknown:
        return; // nothing the store knows how to copy; the setting stays virtual
    }
}

} // namespace

void Setting::Physicalize() {
    if (IsPhysical()) { // an unresolved setting throws here, outside the replacement below
        return;
    }
    const TStr path = static_cast<TStr>(m_path);
    try {
        core::settings::Create(static_cast<TStr>(m_path.Ancestor(-1)));
        const RegistryKey source = RegistryKeyForReading();
        RegistryKey destination = m_path.GetRegistryKey(-1);
        const TStr name = Name();
        eValueType type = eValueTypeUnknown;
        // What ValueType tells, on the source key already open.
        if (!StoredType(source, name, type)) {
            BV_THROW(TypeException, u"Could not retrieve setting type.");
        }
        CopyStored(source, destination, name, type);
        SetPath(path);
    } catch (const mcExc&) {
        BV_THROW(PathException, u"Could not generate registry key to write path " + path + u".");
    }
}

RegistryKey Setting::RegistryKeyForWriting() {
    try {
        Physicalize();
        return RegistryKeyForReading();
    } catch (const mcExc&) {
        BV_THROW(PathException, u"Could not get registry key for setting (write).");
    }
}

template <class Write>
void Setting::WriteValue(const char* function, Write write) {
    try {
        RegistryKey key = RegistryKeyForWriting();
        write(key, Name().c_str());
    } catch (const mcExc&) {
        BV_THROW_AS(function, PathException, u"Could not set value.");
    }
}

void Setting::SetValueBool(const bool& value) {
    BV_FUNCTION_NAME(function);
    WriteValue(function.c_str(), [&value](RegistryKey& key, LPCWSTR name) {
        key.SetValueString(name, xml::ToXMLElementBOOL(value).c_str());
    });
}
void Setting::SetValueByteVec(const ByteVec& value) {
    BV_FUNCTION_NAME(function);
    WriteValue(function.c_str(),
               [&value](RegistryKey& key, LPCWSTR name) { key.SetValueBinary(name, value); });
}
void Setting::SetValueDouble(const double& value) {
    BV_FUNCTION_NAME(function);
    WriteValue(function.c_str(), [&value](RegistryKey& key, LPCWSTR name) {
        key.SetValueString(name, xml::ToXMLElementDouble(value).c_str());
    });
}
void Setting::SetValueInt32(const std::int32_t& value) {
    BV_FUNCTION_NAME(function);
    WriteValue(function.c_str(),
               [&value](RegistryKey& key, LPCWSTR name) { key.SetValueDWord(name, value); });
}
void Setting::SetValueInt32AsBool(const bool& value) {
    BV_FUNCTION_NAME(function);
    WriteValue(function.c_str(), [&value](RegistryKey& key, LPCWSTR name) {
        key.SetValueDWord(name, value ? 1 : 0);
    });
}
void Setting::SetValueInt64(const std::int64_t& value) {
    BV_FUNCTION_NAME(function);
    WriteValue(function.c_str(),
               [&value](RegistryKey& key, LPCWSTR name) { key.SetValueQWord(name, value); });
}
void Setting::SetValuePOINT(const tagPOINT& value) {
    BV_FUNCTION_NAME(function);
    WriteValue(function.c_str(), [&value](RegistryKey& key, LPCWSTR name) {
        key.SetValueString(name, xml::ToXMLElementPOINT(value).c_str());
    });
}
void Setting::SetValueRECT(const tagRECT& value) {
    BV_FUNCTION_NAME(function);
    WriteValue(function.c_str(), [&value](RegistryKey& key, LPCWSTR name) {
        key.SetValueString(name, xml::ToXMLElementRECT(value).c_str());
    });
}
void Setting::SetValueTStr(const TStr& value) {
    BV_FUNCTION_NAME(function);
    WriteValue(function.c_str(), [&value](RegistryKey& key, LPCWSTR name) {
        key.SetValueString(name, value.c_str());
    });
}
void Setting::SetValueTStrVec(const TStrVec& value) {
    BV_FUNCTION_NAME(function);
    WriteValue(function.c_str(),
               [&value](RegistryKey& key, LPCWSTR name) { key.SetValueMultiString(name, value); });
}

// The path-taking members pass an absolute text on to the free function of the same name.

void Setting::Create(const TStr& path) {
    core::settings::Create(Absolute(path));
}
void Setting::Delete(const TStr& path) {
    core::settings::Delete(Absolute(path));
}
void Setting::CreateBool(const TStr& path, const bool& value) {
    core::settings::CreateBool(Absolute(path), value);
}
void Setting::CreateByteVec(const TStr& path, const ByteVec& value) {
    core::settings::CreateByteVec(Absolute(path), value);
}
void Setting::CreateDouble(const TStr& path, const double& value) {
    core::settings::CreateDouble(Absolute(path), value);
}
void Setting::CreateInt32(const TStr& path, const std::int32_t& value) {
    core::settings::CreateInt32(Absolute(path), value);
}
void Setting::CreateInt64(const TStr& path, const std::int64_t& value) {
    core::settings::CreateInt64(Absolute(path), value);
}
void Setting::CreatePOINT(const TStr& path, const tagPOINT& value) {
    core::settings::CreatePOINT(Absolute(path), value);
}
void Setting::CreateRECT(const TStr& path, const tagRECT& value) {
    core::settings::CreateRECT(Absolute(path), value);
}
void Setting::CreateTStr(const TStr& path, const TStr& value) {
    core::settings::CreateTStr(Absolute(path), value);
}
void Setting::CreateTStrVec(const TStr& path, const TStrVec& value) {
    core::settings::CreateTStrVec(Absolute(path), value);
}

// --- The free facade ------------------------------------------------------------------------

bool Exists(const TStr& path) {
    if (!Path::IsAbsolute(path) || !Path::IsWellFormed(path)) {
        return false;
    }
    try {
        return !SettingAccess::PhysicalPath(path).empty();
    } catch (const mcExc&) {
        return false;
    }
}

std::vector<Setting> Children(const TStr& path) {
    return Setting(path).Children();
}

bool IsPhysical(const TStr& path) {
    const TStr physical = SettingAccess::PhysicalPath(path);
    // _wcsicmp folds unit by unit, so texts of other lengths never compare equal.
    return !physical.empty() && physical.size() == path.size() &&
           _wcsicmp(physical.c_str(), path.c_str()) == 0;
}
bool IsVirtual(const TStr& path) {
    return !IsPhysical(path);
}
bool HasChildren(const TStr& path) {
    return Setting(path).HasChildren();
}
bool HasParent(const TStr& path) {
    return Setting(path).HasParent();
}
Setting Parent(const TStr& path) {
    return Setting(path).Parent();
}
eValueType ValueType(const TStr& path) {
    return Setting(path).ValueType();
}
bool ValueIsType(const TStr& path, const eValueType& type) {
    return ValueType(path) == type;
}

bool ValueBool(const TStr& path) {
    return Setting(path).ValueBool();
}
ByteVec ValueByteVec(const TStr& path) {
    return Setting(path).ValueByteVec();
}
bool ValueByteVecAsBool(const TStr& path) {
    return Setting(path).ValueByteVecAsBool();
}
double ValueDouble(const TStr& path) {
    return Setting(path).ValueDouble();
}
std::int64_t ValueInt64(const TStr& path) {
    return Setting(path).ValueInt64();
}
tagPOINT ValuePOINT(const TStr& path) {
    return Setting(path).ValuePOINT();
}
tagRECT ValueRECT(const TStr& path) {
    return Setting(path).ValueRECT();
}
TStrVec ValueTStrVec(const TStr& path) {
    return Setting(path).ValueTStrVec();
}

namespace {

/// What exists is read (a wrong type throws); a missing setting gives the default, stored
/// first when `create` asks for it.
template <class T>
T ReadOrCreate(const TStr& path, const T& defaultValue, bool create, T (*read)(const TStr&),
               void (*make)(const TStr&, const T&)) {
    if (Exists(path)) {
        return read(path);
    }
    if (create) {
        make(path, defaultValue);
    }
    return defaultValue;
}

/// Creates what is missing, else writes through the resolution.
template <class T>
void WriteOrCreate(const TStr& path, const T& value, void (Setting::*set)(const T&),
                   void (*make)(const TStr&, const T&)) {
    Setting setting(path);
    if (setting.PhysicalPath().empty()) {
        make(path, value);
        return;
    }
    (setting.*set)(value);
}

} // namespace

bool ValueBool(const TStr& path, const bool& defaultValue, bool create) {
    return ReadOrCreate<bool>(path, defaultValue, create, ValueBool, CreateBool);
}
ByteVec ValueByteVec(const TStr& path, const ByteVec& defaultValue, bool create) {
    return ReadOrCreate<ByteVec>(path, defaultValue, create, ValueByteVec, CreateByteVec);
}
double ValueDouble(const TStr& path, const double& defaultValue, bool create) {
    return ReadOrCreate<double>(path, defaultValue, create, ValueDouble, CreateDouble);
}
std::int64_t ValueInt64(const TStr& path, const std::int64_t& defaultValue, bool create) {
    return ReadOrCreate<std::int64_t>(path, defaultValue, create, ValueInt64, CreateInt64);
}
tagPOINT ValuePOINT(const TStr& path, const tagPOINT& defaultValue, bool create) {
    return ReadOrCreate<tagPOINT>(path, defaultValue, create, ValuePOINT, CreatePOINT);
}
tagRECT ValueRECT(const TStr& path, const tagRECT& defaultValue, bool create) {
    return ReadOrCreate<tagRECT>(path, defaultValue, create, ValueRECT, CreateRECT);
}
TStrVec ValueTStrVec(const TStr& path, const TStrVec& defaultValue, bool create) {
    return ReadOrCreate<TStrVec>(path, defaultValue, create, ValueTStrVec, CreateTStrVec);
}

void SetValueBool(const TStr& path, const bool& value) {
    WriteOrCreate<bool>(path, value, &Setting::SetValueBool, CreateBool);
}
void SetValueByteVec(const TStr& path, const ByteVec& value) {
    WriteOrCreate<ByteVec>(path, value, &Setting::SetValueByteVec, CreateByteVec);
}
void SetValueDouble(const TStr& path, const double& value) {
    WriteOrCreate<double>(path, value, &Setting::SetValueDouble, CreateDouble);
}
void SetValueInt64(const TStr& path, const std::int64_t& value) {
    WriteOrCreate<std::int64_t>(path, value, &Setting::SetValueInt64, CreateInt64);
}
void SetValuePOINT(const TStr& path, const tagPOINT& value) {
    WriteOrCreate<tagPOINT>(path, value, &Setting::SetValuePOINT, CreatePOINT);
}
void SetValueRECT(const TStr& path, const tagRECT& value) {
    WriteOrCreate<tagRECT>(path, value, &Setting::SetValueRECT, CreateRECT);
}
void SetValueTStrVec(const TStr& path, const TStrVec& value) {
    WriteOrCreate<TStrVec>(path, value, &Setting::SetValueTStrVec, CreateTStrVec);
}

void Create(const TStr& path) {
    try {
        if (IsPhysical(path)) {
            return;
        }
        PathAccess::CreateKeyChain(Path(path));
    } catch (const mcExc&) {
        BV_THROW(Setting::PathException, u"Error creating setting( " + path + u").");
    }
}

namespace {

/// Removes the value, else the key tree, named by the path's last name; false when neither is
/// there or the path still resolves afterwards.
bool DeleteStored(const TStr& path) {
    const Path p(path);
    const RegistryKey key = PathAccess::ParentKey(p);
    const TStr name = PathAccess::LastName(p);
    if (key.HasValue(name.c_str())) {
        key.DeleteValue(name.c_str());
    } else if (key.HasSubKey(name.c_str())) {
        key.DeleteSubKeyTree(name.c_str());
    } else {
        return false;
    }
    return !Exists(path);
}

} // namespace

void Delete(const TStr& path) {
    if (!Exists(path)) {
        return;
    }
    if (!IsPhysical(path)) {
        BV_THROW(Setting::PathException, u"Attempt to delete virtual setting( " + path + u").");
    }
    bool deleted = false;
    try {
        deleted = DeleteStored(path);
    } catch (const mcExc&) {
        deleted = false;
    }
    if (!deleted) {
        BV_THROW(Setting::PathException, u"Error deleting setting( " + path + u").");
    }
}

namespace {

/// The creation of one type: the type check against what exists (the fall-back included, and
/// outside the replacement of failures), then the write at the path itself.
template <class Write>
void CreateValue(const char* function, const TStr& path, eValueType required,
                 const char16_t* requiredName, Write write) {
    if (Exists(path) && ValueType(path) != required) {
        BV_THROW_AS(function, Setting::TypeException,
                    u"Error creating setting( " + path +
                        u") - type mismatch (existing setting type is " + requiredName + u").");
    }
    try {
        const Path p(path);
        Create(static_cast<TStr>(p.Ancestor(-1)));
        RegistryKey key = PathAccess::ParentKey(p);
        write(key, PathAccess::LastName(p).c_str());
    } catch (const mcExc&) {
        BV_THROW_AS(function, Setting::PathException, u"Error creating setting( " + path + u").");
    }
}

} // namespace

void CreateBool(const TStr& path, const bool& value) {
    BV_FUNCTION_NAME(function);
    CreateValue(function.c_str(), path, eValueTypeBool, u"eValueTypeBool",
                [&value](RegistryKey& key, LPCWSTR name) {
                    key.SetValueString(name, xml::ToXMLElementBOOL(value).c_str());
                });
}
void CreateByteVec(const TStr& path, const ByteVec& value) {
    BV_FUNCTION_NAME(function);
    CreateValue(function.c_str(), path, eValueTypeByteVec, u"eValueTypeByteVec",
                [&value](RegistryKey& key, LPCWSTR name) { key.SetValueBinary(name, value); });
}
void CreateDouble(const TStr& path, const double& value) {
    BV_FUNCTION_NAME(function);
    CreateValue(function.c_str(), path, eValueTypeDouble, u"eValueTypeDouble",
                [&value](RegistryKey& key, LPCWSTR name) {
                    key.SetValueString(name, xml::ToXMLElementDouble(value).c_str());
                });
}
void CreateInt32(const TStr& path, const std::int32_t& value) {
    BV_FUNCTION_NAME(function);
    CreateValue(function.c_str(), path, eValueTypeInt32, u"eValueTypeInt32",
                [&value](RegistryKey& key, LPCWSTR name) { key.SetValueDWord(name, value); });
}
void CreateInt64(const TStr& path, const std::int64_t& value) {
    BV_FUNCTION_NAME(function);
    CreateValue(function.c_str(), path, eValueTypeInt64, u"eValueTypeInt64",
                [&value](RegistryKey& key, LPCWSTR name) { key.SetValueQWord(name, value); });
}
void CreatePOINT(const TStr& path, const tagPOINT& value) {
    BV_FUNCTION_NAME(function);
    CreateValue(function.c_str(), path, eValueTypePOINT, u"eValueTypePOINT",
                [&value](RegistryKey& key, LPCWSTR name) {
                    key.SetValueString(name, xml::ToXMLElementPOINT(value).c_str());
                });
}
void CreateRECT(const TStr& path, const tagRECT& value) {
    BV_FUNCTION_NAME(function);
    CreateValue(function.c_str(), path, eValueTypeRECT, u"eValueTypeRECT",
                [&value](RegistryKey& key, LPCWSTR name) {
                    key.SetValueString(name, xml::ToXMLElementRECT(value).c_str());
                });
}
void CreateTStr(const TStr& path, const TStr& value) {
    BV_FUNCTION_NAME(function);
    CreateValue(
        function.c_str(), path, eValueTypeTStr, u"eValueTypeTStr",
        [&value](RegistryKey& key, LPCWSTR name) { key.SetValueString(name, value.c_str()); });
}
void CreateTStrVec(const TStr& path, const TStrVec& value) {
    BV_FUNCTION_NAME(function);
    CreateValue(function.c_str(), path, eValueTypeTStrVec, u"eValueTypeTStrVec",
                [&value](RegistryKey& key, LPCWSTR name) { key.SetValueMultiString(name, value); });
}

} // namespace core::settings
