#include "Core/Common/RegistryKey.h"

#include "Core/Common/ExcPrivate.h"
#include "Core/Common/StrUtils.h"
#include "Core/Common/TextPrivate.h"

#include <bvplatform/crt.h>
#include <bvplatform/winerror.h>

#include <algorithm>
#include <exception>
#include <string>

namespace core::registry {

using detail::DecimalText;

BV_DEFINE_EXCEPTION(RegistryKey::Exception, Exception, mcExc);
BV_DEFINE_EXCEPTION(RegistryKey::KeyException, KeyException, RegistryKey::Exception);
BV_DEFINE_EXCEPTION(RegistryKey::ValueException, ValueException, RegistryKey::Exception);
BV_DEFINE_EXCEPTION(RegistryKey::ValueTypeException, ValueTypeException, RegistryKey::Exception);
BV_DEFINE_EXCEPTION(RegistryKey::Handle::Exception, Exception, RegistryKey::Exception);
BV_DEFINE_EXCEPTION(RegistryKey::Handle::OpenException, OpenException, RegistryKey::Exception);
BV_DEFINE_EXCEPTION(RegistryKey::Handle::CloseException, CloseException, RegistryKey::Exception);

namespace {

/// call + "(" + subject + ") returned " + status + ".": the form of every status text.
TStr Returned(const char16_t* call, const TStr& subject, LONG status) {
    return call + (u"(" + subject + u") returned ") + DecimalText(status) + u".";
}

TStr CloseText(LONG status) {
    return u"~HKEY() returned " + DecimalText(status) + u".";
}

struct SubTreeRow {
    RegistryKey::mtSubTree subTree; // the enumerator
    HKEY key;                       // its predefined key
};

const SubTreeRow kSubTrees[] = {
    {RegistryKey::eSubTreeClassesRoot, HKEY_CLASSES_ROOT},
    {RegistryKey::eSubTreeCurrentConfig, HKEY_CURRENT_CONFIG},
    {RegistryKey::eSubTreeCurrentUser, HKEY_CURRENT_USER},
    {RegistryKey::eSubTreeDynData, HKEY_DYN_DATA},
    {RegistryKey::eSubTreeLocalMachine, HKEY_LOCAL_MACHINE},
    {RegistryKey::eSubTreePerformanceData, HKEY_PERFORMANCE_DATA},
    {RegistryKey::eSubTreeUsers, HKEY_USERS},
};

} // namespace

// --- Handle ---------------------------------------------------------------------------------

RegistryKey::Handle::Handle(HKEY parent, LPCWSTR subKey, REGSAM access) : m_key(nullptr) {
    const LSTATUS status = RegOpenKeyExW(parent, subKey, 0, access, &m_key);
    if (status != ERROR_SUCCESS) {
        BV_THROW(OpenException, Returned(u"RegOpenKeyEx", subKey, status));
    }
}

void RegistryKey::Handle::Close() {
    const LSTATUS status = RegCloseKey(m_key);
    if (status != ERROR_SUCCESS) {
        BV_THROW(CloseException, CloseText(status));
    }
    m_key = nullptr;
}

RegistryKey::Handle::~Handle() noexcept(false) {
    if (m_key == nullptr) {
        return;
    }
    if (std::uncaught_exceptions() == 0) {
        Close();
        return;
    }
    // A second exception while the stack unwinds would end the process: the failure gets the
    // announcements of the throw procedure (same class and words), and the handle is given up.
    const LSTATUS status = RegCloseKey(m_key);
    if (status != ERROR_SUCCESS) {
        static constexpr auto name = detail::QualifiedFunctionName(__PRETTY_FUNCTION__);
        detail::Announce(CloseException(name.c_str(), __FILE__, __LINE__, CloseText(status)));
    }
}

// --- Construction and identity --------------------------------------------------------------

RegistryKey::RegistryKey() : m_subTree(eSubTreeNone), m_access(0), m_handle(nullptr) {}

RegistryKey::RegistryKey(mtSubTree subTree, REGSAM access)
    : m_subTree(subTree), m_access(access), m_handle(nullptr) {
    Open();
}

RegistryKey::RegistryKey(mtSubTree subTree, LPCWSTR name, REGSAM access, bool create)
    : RegistryKey() {
    Reassign(subTree, name, access, create);
}

RegistryKey::RegistryKey(LPCWSTR name, mtSubTree subTree, REGSAM access)
    : m_subTree(subTree), m_access(access), m_handle(nullptr) {
    SetName(name);
    Open();
}

RegistryKey::RegistryKey(const RegistryKey& other) : RegistryKey() {
    *this = other;
}

RegistryKey::~RegistryKey() noexcept(false) {
    delete m_handle; // frees the Handle also when its destructor throws
}

RegistryKey& RegistryKey::operator=(const RegistryKey& other) {
    m_subTree = other.m_subTree;
    m_access = other.m_access;
    m_name = other.m_name;
    Open();
    return *this;
}

void RegistryKey::Reassign(mtSubTree subTree, LPCWSTR name, REGSAM access, bool create) {
    if (create && !Exists(subTree, name, access)) {
        (void)RegistryKey(subTree, access).CreateSubKey(name, access);
    }
    SetName(name);
    m_subTree = subTree;
    m_access = access;
    Open();
}

void RegistryKey::Open() {
    try {
        if (m_handle != nullptr) {
            m_handle->Close(); // a failure keeps the old Handle
            delete m_handle;
            m_handle = nullptr;
        }
        m_handle = new Handle(HandleFromSubTree_(m_subTree), m_name.c_str(), m_access);
    } catch (const mcExc&) {
        BV_THROW(KeyException, u"Handle() exception." + m_name);
    }
}

void RegistryKey::SetName(LPCWSTR name) {
    m_name = name[0] == u'\\' ? name + 1 : name;
}

bool RegistryKey::operator==(const RegistryKey& other) const {
    return m_subTree == other.m_subTree && m_access == other.m_access &&
           _wcsicmp(m_name.c_str(), other.m_name.c_str()) == 0;
}

bool RegistryKey::operator!=(const RegistryKey& other) const {
    return !(*this == other);
}

RegistryKey::mtSubTree RegistryKey::SubTreeFromHKEY(HKEY key) {
    for (const SubTreeRow& row : kSubTrees) {
        if (row.key == key) {
            return row.subTree;
        }
    }
    return eSubTreeNone;
}

HKEY RegistryKey::HandleFromSubTree_(mtSubTree subTree) {
    // The dynamic-data and performance roots are recognised but never opened.
    if (subTree == eSubTreeDynData || subTree == eSubTreePerformanceData) {
        return nullptr;
    }
    for (const SubTreeRow& row : kSubTrees) {
        if (row.subTree == subTree) {
            return row.key;
        }
    }
    return nullptr;
}

TStr RegistryKey::KeyNameFromSubTree_(mtSubTree subTree) {
    switch (subTree) {
    case eSubTreeClassesRoot:
        return u"HKEY_CLASSES_ROOT";
    case eSubTreeCurrentConfig:
        return u"HKEY_CURRENT_CONFIG";
    case eSubTreeCurrentUser:
        return u"HKEY_CURRENT_USER";
    case eSubTreeLocalMachine:
        return u"HKEY_LOCAL_MACHINE";
    case eSubTreeUsers:
        return u"HKEY_USERS";
    default:
        return {};
    }
}

HKEY RegistryKey::Key() const {
    return m_handle != nullptr ? m_handle->Get() : nullptr;
}

TStr RegistryKey::ValuePath(LPCWSTR valueName) const {
    return m_name + u"\\" + valueName;
}

// --- Sub-keys -------------------------------------------------------------------------------

RegistryKey RegistryKey::GetSubKey(LPCWSTR subKey) const {
    return GetSubKey(subKey, m_access);
}

RegistryKey RegistryKey::GetSubKey(LPCWSTR subKey, REGSAM access) const {
    return RegistryKey(ValuePath(subKey).c_str(), m_subTree, access);
}

RegistryKey RegistryKey::CreateSubKey(LPCWSTR subKey) const {
    return CreateSubKey(subKey, m_access);
}

RegistryKey RegistryKey::CreateSubKey(LPCWSTR subKey, REGSAM access) const {
    HKEY created = nullptr;
    const LSTATUS status =
        RegCreateKeyExW(Key(), subKey, 0, nullptr, 0, access, nullptr, &created, nullptr);
    if (status != ERROR_SUCCESS) {
        BV_THROW(KeyException, Returned(u"RegCreateKeyEx", ValuePath(subKey), status));
    }
    RegCloseKey(created); // the key is opened again below, with a handle of its own
    return RegistryKey(ValuePath(subKey).c_str(), m_subTree, access);
}

bool RegistryKey::HasSubKey(LPCWSTR subKey) const {
    return HasSubKey(subKey, m_access);
}

bool RegistryKey::HasSubKey(LPCWSTR subKey, REGSAM access) const {
    HKEY key = nullptr;
    if (RegOpenKeyExW(Key(), subKey, 0, access, &key) != ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(key);
    return true;
}

bool RegistryKey::HasValue(LPCWSTR valueName) const {
    DWORD type = 0;
    return RegQueryValueExW(Key(), valueName, nullptr, &type, nullptr, nullptr) == ERROR_SUCCESS;
}

std::uint32_t RegistryKey::GetSubKeyCount() const {
    DWORD count = 0;
    const LSTATUS status = RegQueryInfoKeyW(Key(), nullptr, nullptr, nullptr, &count, nullptr,
                                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_ACCESS_DENIED) {
        return 0;
    }
    if (status != ERROR_SUCCESS) {
        BV_THROW(KeyException, Returned(u"RegQueryInfoKey", m_name, status));
    }
    return count;
}

std::uint32_t RegistryKey::GetValueCount() const {
    DWORD count = 0;
    const LSTATUS status = RegQueryInfoKeyW(Key(), nullptr, nullptr, nullptr, nullptr, nullptr,
                                            nullptr, &count, nullptr, nullptr, nullptr, nullptr);
    if (status != ERROR_SUCCESS) {
        BV_THROW(KeyException, Returned(u"RegQueryInfoKey", m_name, status));
    }
    return count;
}

template <class Enum>
void RegistryKey::EnumerateNames(std::uint32_t count, TStrVec& names, Enum enumerate,
                                 const char16_t* call) const {
    names.clear();
    names.reserve(count);
    WCHAR buffer[kui32MaxKeyNameChars];
    for (DWORD index = 0; index < count; ++index) {
        DWORD length = kui32MaxKeyNameChars;
        const LSTATUS status = enumerate(Key(), index, buffer, &length);
        if (status != ERROR_SUCCESS) {
            BV_THROW(KeyException, Returned(call, m_name, status));
        }
        names.emplace_back(buffer);
    }
}

void RegistryKey::GetSubKeyNames(TStrVec& names) const {
    static_assert(kui32MaxKeyNameChars == kui32MaxValueNameChars, "one buffer serves both");
    const std::uint32_t count = GetSubKeyCount();
    EnumerateNames(
        count, names,
        [](HKEY key, DWORD index, WCHAR* name, DWORD* length) {
            return RegEnumKeyExW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
        },
        u"RegEnumKeyEx");
}

void RegistryKey::GetValueNames(TStrVec& names) const {
    const std::uint32_t count = GetValueCount();
    EnumerateNames(
        count, names,
        [](HKEY key, DWORD index, WCHAR* name, DWORD* length) {
            return RegEnumValueW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
        },
        u"RegEnumValue");
}

void RegistryKey::DeleteSubKey(LPCWSTR subKey) const {
    const LSTATUS status = RegDeleteKeyW(Key(), subKey);
    if (status != ERROR_SUCCESS) {
        BV_THROW(KeyException, Returned(u"RegDeleteKey", ValuePath(subKey), status));
    }
}

void RegistryKey::DeleteSubKeyTree(LPCWSTR subKey) const {
    const LSTATUS status = SHDeleteKeyW(Key(), subKey);
    if (status != ERROR_SUCCESS) {
        BV_THROW(KeyException, Returned(u"SHDeleteKey", ValuePath(subKey), status));
    }
}

void RegistryKey::DeleteValue(LPCWSTR valueName) const {
    const LSTATUS status = RegDeleteValueW(Key(), valueName);
    if (status != ERROR_SUCCESS) {
        BV_THROW(ValueException, Returned(u"RegDeleteValue", ValuePath(valueName), status));
    }
}

// --- Existence and protected wrappers -------------------------------------------------------

bool RegistryKey::Exists(mtSubTree subTree, LPCWSTR name, REGSAM access) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HandleFromSubTree_(subTree), name, 0, access, &key) != ERROR_SUCCESS) {
        return false;
    }
    const LSTATUS status = RegCloseKey(key);
    if (status != ERROR_SUCCESS) {
        BV_THROW(KeyException,
                 u"Exists() call to RegCloseKey() returned " + DecimalText(status) + u".");
    }
    return true;
}

bool RegistryKey::ValueExists(mtSubTree subTree, LPCWSTR name, REGSAM access, LPCWSTR valueName) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HandleFromSubTree_(subTree), name, 0, access, &key) != ERROR_SUCCESS) {
        return false;
    }
    const LSTATUS query = RegQueryValueExW(key, valueName, nullptr, nullptr, nullptr, nullptr);
    const LSTATUS status = RegCloseKey(key);
    if (status != ERROR_SUCCESS) {
        BV_THROW(KeyException,
                 u"ValueExists() call to RegCloseKey() returned " + DecimalText(status) + u".");
    }
    return query == ERROR_SUCCESS;
}

HKEY RegistryKey::Open_(HKEY key, REGSAM access, LONG& status) {
    HKEY opened = nullptr;
    status = RegOpenKeyExW(key, nullptr, 0, access, &opened);
    if (status != ERROR_SUCCESS) {
        BV_THROW(KeyException, u"RegOpenKeyEx() returned " + DecimalText(status) + u".");
    }
    return opened;
}

HKEY RegistryKey::Open_(HKEY key, LPCWSTR subKey, REGSAM access, LONG& status) {
    HKEY opened = nullptr;
    status = RegOpenKeyExW(key, subKey, 0, access, &opened);
    if (status != ERROR_SUCCESS) {
        BV_THROW(KeyException, Returned(u"RegOpenKeyEx", subKey, status));
    }
    return opened;
}

void RegistryKey::Close_(HKEY key, LONG& status) {
    if (key == nullptr) {
        return;
    }
    status = RegCloseKey(key);
    if (status != ERROR_SUCCESS) {
        BV_THROW(KeyException, u"RegCloseKey() returned " + DecimalText(status) + u".");
    }
}

// --- Values ---------------------------------------------------------------------------------

void RegistryKey::GetValueTypeAndSize(LPCWSTR valueName, DWORD& type, DWORD& size) const {
    DWORD storedType = 0;
    DWORD storedSize = 0;
    const LSTATUS status =
        RegQueryValueExW(Key(), valueName, nullptr, &storedType, nullptr, &storedSize);
    if (status != ERROR_SUCCESS) {
        BV_THROW(ValueException, Returned(u"RegQueryValueEx", ValuePath(valueName), status));
    }
    type = storedType;
    size = storedSize;
}

DWORD RegistryKey::GetValueType(LPCWSTR valueName) const {
    DWORD type = 0;
    DWORD size = 0;
    GetValueTypeAndSize(valueName, type, size);
    return type;
}

DWORD RegistryKey::GetValueSize(LPCWSTR valueName) const {
    DWORD type = 0;
    DWORD size = 0;
    GetValueTypeAndSize(valueName, type, size);
    return size;
}

void RegistryKey::ThrowTypeMismatch(const char* function, LPCWSTR valueName, const TStr& expected,
                                    DWORD got) const {
    BV_THROW_AS(function, ValueTypeException,
                u"Registry value type mismatch for value " + ValuePath(valueName) + u" expected " +
                    expected + u" got " + DecimalText(got) + u".");
}

DWORD RegistryKey::SizeOfTyped(const char* function, LPCWSTR valueName, DWORD expected) const {
    DWORD type = 0;
    DWORD size = 0;
    GetValueTypeAndSize(valueName, type, size);
    if (type != expected) {
        ThrowTypeMismatch(function, valueName, DecimalText(expected), type);
    }
    return size;
}

DWORD RegistryKey::ReadData(const char* function, LPCWSTR valueName, void* buffer,
                            DWORD size) const {
    const LSTATUS status =
        RegQueryValueExW(Key(), valueName, nullptr, nullptr, static_cast<BYTE*>(buffer), &size);
    if (status != ERROR_SUCCESS) {
        BV_THROW_AS(function, ValueException,
                    Returned(u"RegQueryValueEx", ValuePath(valueName), status));
    }
    return size;
}

template <class T>
T RegistryKey::ReadInteger(const char* function, LPCWSTR valueName, DWORD type) const {
    const DWORD size = SizeOfTyped(function, valueName, type);
    T value = 0;
    // Never more than the variable holds: wider stored data makes the platform answer
    // ERROR_MORE_DATA, which reaches the caller as the ValueException of the read.
    ReadData(function, valueName, &value, std::min<DWORD>(size, sizeof value));
    return value;
}

std::int32_t RegistryKey::GetValueDWord(LPCWSTR valueName) const {
    BV_FUNCTION_NAME(function);
    return ReadInteger<std::int32_t>(function.c_str(), valueName, REG_DWORD);
}

std::int64_t RegistryKey::GetValueQWord(LPCWSTR valueName) const {
    BV_FUNCTION_NAME(function);
    return ReadInteger<std::int64_t>(function.c_str(), valueName, REG_QWORD);
}

TStr RegistryKey::ReadUnits(const char* function, LPCWSTR valueName, DWORD size) const {
    // Rounded up so that an odd size still fits; the odd byte is dropped from the result.
    TStr units((size + 1) / 2, u'\0');
    const DWORD read = ReadData(function, valueName, units.data(), size);
    units.resize(std::min<std::size_t>(read / 2, units.size()));
    return units;
}

TStr RegistryKey::GetValueString(LPCWSTR valueName) const {
    BV_FUNCTION_NAME(function);
    DWORD type = 0;
    DWORD size = 0;
    GetValueTypeAndSize(valueName, type, size);
    if (type != REG_SZ && type != REG_EXPAND_SZ) {
        ThrowTypeMismatch(function.c_str(), valueName, u"1 or 2", type);
    }
    if (size == 0) {
        return {};
    }
    return mfStrTrimRight(ReadUnits(function.c_str(), valueName, size), u'\0');
}

ByteVec RegistryKey::GetValueBinary(LPCWSTR valueName) const {
    BV_FUNCTION_NAME(function);
    ByteVec bytes(SizeOfTyped(function.c_str(), valueName, REG_BINARY), 0);
    ReadData(function.c_str(), valueName, bytes.data(), static_cast<DWORD>(bytes.size()));
    return bytes;
}

bool RegistryKey::GetValueBinaryAsBool(LPCWSTR valueName) const {
    const ByteVec bytes = GetValueBinary(valueName);
    return std::any_of(bytes.begin(), bytes.end(), [](unsigned char b) { return b != 0; });
}

TStrVec RegistryKey::GetValueMultiString(LPCWSTR valueName) const {
    BV_FUNCTION_NAME(function);
    const DWORD size = SizeOfTyped(function.c_str(), valueName, REG_MULTI_SZ);
    TStrVec strings;
    StringToMultiString_(ReadUnits(function.c_str(), valueName, size), strings);
    return strings;
}

bool RegistryKey::Write(const char* function, LPCWSTR valueName, DWORD type, const void* data,
                        DWORD size, LONG& status) {
    if (HasValue(valueName)) {
        const DWORD stored = GetValueType(valueName);
        if (stored != type) {
            ThrowTypeMismatch(function, valueName, DecimalText(type), stored);
        }
    }
    status = RegSetValueExW(Key(), valueName, 0, type, static_cast<const BYTE*>(data), size);
    return status == ERROR_SUCCESS;
}

void RegistryKey::WriteOrThrow(const char* function, LPCWSTR valueName, DWORD type,
                               const void* data, DWORD size) {
    LONG status = 0;
    if (!Write(function, valueName, type, data, size, status)) {
        BV_THROW_AS(function, ValueException,
                    Returned(u"RegSetValueEx", ValuePath(valueName), status));
    }
}

bool RegistryKey::SetValueDWord(LPCWSTR valueName, std::int32_t value) {
    BV_FUNCTION_NAME(function);
    WriteOrThrow(function.c_str(), valueName, REG_DWORD, &value, sizeof value);
    return true;
}

bool RegistryKey::SetValueQWord(LPCWSTR valueName, std::int64_t value) {
    BV_FUNCTION_NAME(function);
    WriteOrThrow(function.c_str(), valueName, REG_QWORD, &value, sizeof value);
    return true;
}

namespace {
DWORD TextBytes(LPCWSTR text) {
    return static_cast<DWORD>((std::char_traits<WCHAR>::length(text) + 1) * sizeof(WCHAR));
}
} // namespace

bool RegistryKey::SetValueString(LPCWSTR valueName, LPCWSTR value) {
    BV_FUNCTION_NAME(function);
    WriteOrThrow(function.c_str(), valueName, REG_SZ, value, TextBytes(value));
    return true;
}

bool RegistryKey::SetValueEnvironmentString(LPCWSTR valueName, LPCWSTR value) {
    BV_FUNCTION_NAME(function);
    WriteOrThrow(function.c_str(), valueName, REG_EXPAND_SZ, value, TextBytes(value));
    return true;
}

bool RegistryKey::SetValueBinary(LPCWSTR valueName, const ByteVec& value) {
    BV_FUNCTION_NAME(function);
    LONG status = 0;
    if (!Write(function.c_str(), valueName, REG_BINARY, value.data(),
               static_cast<DWORD>(value.size()), status)) {
        // The family's base class here, so a ValueException handler lets it pass.
        BV_THROW_AS(function.c_str(), Exception,
                    Returned(u"RegSetValueEx", ValuePath(valueName), status));
    }
    return true;
}

bool RegistryKey::SetValueMultiString(LPCWSTR valueName, const TStrVec& value) {
    TStr packed;
    MultiStringToString_(value, packed);
    BV_FUNCTION_NAME(function);
    WriteOrThrow(function.c_str(), valueName, REG_MULTI_SZ, packed.data(),
                 static_cast<DWORD>(packed.size() * sizeof(WCHAR)));
    return true;
}

void RegistryKey::MultiStringToString_(const TStrVec& strings, TStr& packed) {
    packed.clear();
    for (const TStr& s : strings) {
        packed += s;
        packed += u'\0';
    }
    packed += u'\0';
}

void RegistryKey::StringToMultiString_(const TStr& packed, TStrVec& strings) {
    strings.clear();
    std::size_t start = 0;
    for (;;) {
        const std::size_t nul = packed.find(u'\0', start);
        // The last NUL only closes the list: an element needs one more unit behind its NUL.
        if (nul == TStr::npos || nul + 1 >= packed.size()) {
            return;
        }
        strings.emplace_back(packed, start, nul - start);
        start = nul + 1;
    }
}

} // namespace core::registry
