#include "Core/Common/SettingsRegImpl.h"

#include "Core/Common/ExcPrivate.h"
#include "Core/Common/Logger.h"
#include "Core/Common/Settings.h"
#include "Core/Common/TextPrivate.h"

#include <bvplatform/crt.h>
#include <bvplatform/winerror.h>

namespace {

/// Read access of the route: query, set, create sub-key, enumerate, notify. A key marked
/// read-only refuses it.
constexpr REGSAM kAccess = 31;

struct Prefix {
    const char16_t* text;  // ends in a separator
    std::size_t length;    // units of `text`
    HKEY root;             // the predefined key it maps to
    const char16_t* key;   // fixed key path in front of the middle part
    std::size_t keyLength; // units of `key`
};

// In the order of the tests: "\USERS\ALL\" must come before its own prefix "\USERS\".
const Prefix kPrefixes[] = {
    {u"\\SYSTEM\\", 8, HKEY_LOCAL_MACHINE, u"Software\\", 9},
    {u"\\USERS\\CURRENT\\", 15, HKEY_CURRENT_USER, u"Software\\", 9},
    {u"\\CLASSES\\", 9, HKEY_CLASSES_ROOT, u"", 0},
    {u"\\USERS\\ALL\\", 11, HKEY_USERS, u".Default\\Software\\", 18},
    {u"\\USERS\\", 7, HKEY_USERS, u"", 0},
};

/// The case-blind prefix test (_wcsnicmp over the prefix's length), with two shortcuts that
/// give the same answer: a path too short or whose first letter differs in either case can't
/// match, and one written in the prefix's own case matches.
bool StartsWith(const TStr& path, const Prefix& prefix) {
    if (path.size() < prefix.length || (path[1] | 0x20) != (prefix.text[1] | 0x20)) {
        return false;
    }
    return path.compare(0, prefix.length, prefix.text) == 0 ||
           _wcsnicmp(path.c_str(), prefix.text, prefix.length) == 0;
}

/// One registry location worked out of a path.
struct Location {
    HKEY root = nullptr; // null when no prefix matched
    TStr keyPath;        // below the root
    TStr valueName;      // the path's last name
};

LONG OpenKey(const Location& at, HKEY& key) {
    return RegOpenKeyExW(at.root, at.keyPath.c_str(), 0, kAccess, &key);
}

LONG ReadInt32(HKEY key, const Location& at, std::int32_t& value) {
    DWORD size = sizeof value;
    return RegQueryValueExW(key, at.valueName.c_str(), nullptr, nullptr,
                            reinterpret_cast<BYTE*>(&value), &size);
}

LONG QuerySize(HKEY key, const Location& at, DWORD& size) {
    return RegQueryValueExW(key, at.valueName.c_str(), nullptr, nullptr, nullptr, &size);
}

/// Reads `size` stored bytes into a zero-filled buffer rounded up to 4 bytes; the text ends at
/// its first NUL, or at the end of what was read when it holds none.
LONG ReadText(HKEY key, const Location& at, DWORD size, TStr& text) {
    DWORD capacity = (size + 3) / 4 * 4;
    TStr buffer(capacity / sizeof(WCHAR), u'\0');
    const LONG status = RegQueryValueExW(key, at.valueName.c_str(), nullptr, nullptr,
                                         reinterpret_cast<BYTE*>(buffer.data()), &capacity);
    if (status == ERROR_SUCCESS) {
        buffer.resize(capacity / sizeof(WCHAR));
        text = buffer.substr(0, buffer.find(u'\0'));
    }
    return status;
}

DWORD TextBytes(const TStr& text) {
    return static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR));
}

LONG WriteTo(HKEY key, const Location& at, DWORD type, const void* data, DWORD size) {
    return RegSetValueExW(key, at.valueName.c_str(), 0, type, static_cast<const BYTE*>(data), size);
}

/// Creates the key chain and writes; nothing tells the caller of a failure.
void CreateAndWrite(const TStr& path, DWORD type, const void* data, DWORD size) {
    Location at;
    if (!mcSettingsRegImpl::ParseValuePath(path, at.root, at.keyPath, at.valueName)) {
        return;
    }
    HKEY key = nullptr;
    if (RegCreateKeyW(at.root, at.keyPath.c_str(), &key) != ERROR_SUCCESS) {
        return;
    }
    WriteTo(key, at, type, data, size);
    RegCloseKey(key);
}

TStr FailureText(const char16_t* function, const TStr& path, LONG status) {
    return function + (u"(" + path + u") - return code ") + core::detail::DecimalText(status);
}

} // namespace

bool mcSettingsRegImpl::ParseValuePath(const TStr& path, HKEY& root, TStr& keyPath,
                                       TStr& valueName) {
    const std::size_t last = path.rfind(u'\\');
    for (const Prefix& prefix : kPrefixes) {
        if (!StartsWith(path, prefix)) {
            continue;
        }
        root = prefix.root;
        const std::size_t end = prefix.length;
        // A value right below the prefix lives in a key of its own name.
        const std::size_t middle = last + 1 == end ? path.size() - end : last - end;
        keyPath.assign(prefix.key, prefix.keyLength);
        keyPath.append(path, end, middle);
        valueName.assign(path, last + 1);
        return true;
    }
    root = nullptr;
    keyPath.clear();
    valueName.clear();
    core::LogAssertFailure("mcSettingsRegImpl::ParseValuePath", __FILE__, __LINE__, "false");
    return false;
}

std::int32_t mcSettingsRegImpl::ValueInt32(const TStr& path) {
    Location at;
    LONG status = ERROR_SUCCESS;
    HKEY key = nullptr;
    if (ParseValuePath(path, at.root, at.keyPath, at.valueName) &&
        (status = OpenKey(at, key)) == ERROR_SUCCESS) {
        std::int32_t value = 0;
        status = ReadInt32(key, at, value);
        RegCloseKey(key); // the read's status decides, not the close's
        if (status == ERROR_SUCCESS) {
            return value;
        }
    }
    BV_THROW(core::settings::Setting::Exception,
             FailureText(u"mcSettingsRegImpl::ValueInt32", path, status));
}

TStr mcSettingsRegImpl::ValueTStr(const TStr& path) {
    Location at;
    LONG status = ERROR_SUCCESS;
    HKEY key = nullptr;
    if (ParseValuePath(path, at.root, at.keyPath, at.valueName) &&
        (status = OpenKey(at, key)) == ERROR_SUCCESS) {
        DWORD size = 0;
        TStr text;
        status = QuerySize(key, at, size);
        if (status == ERROR_SUCCESS) {
            status = ReadText(key, at, size, text);
        }
        RegCloseKey(key);
        if (status == ERROR_SUCCESS) {
            return text;
        }
    }
    BV_THROW(core::settings::Setting::Exception,
             FailureText(u"mcSettingsRegImpl::ValueTStr", path, status));
}

std::int32_t mcSettingsRegImpl::ValueInt32(const TStr& path, const int& defaultValue, bool create) {
    Location at;
    if (!ParseValuePath(path, at.root, at.keyPath, at.valueName)) {
        return defaultValue;
    }
    HKEY key = nullptr;
    if (OpenKey(at, key) != ERROR_SUCCESS) {
        if (create) {
            SetValueInt32(path, defaultValue);
        }
        return defaultValue;
    }
    std::int32_t result = defaultValue;
    std::int32_t value = 0;
    if (ReadInt32(key, at, value) == ERROR_SUCCESS) {
        result = value;
    } else if (create) { // also a value too wide for 4 bytes: it is overwritten
        WriteTo(key, at, REG_DWORD, &defaultValue, sizeof(std::int32_t));
    }
    RegCloseKey(key);
    return result;
}

TStr mcSettingsRegImpl::ValueTStr(const TStr& path, const TStr& defaultValue, bool create) {
    Location at;
    if (!ParseValuePath(path, at.root, at.keyPath, at.valueName)) {
        return defaultValue;
    }
    HKEY key = nullptr;
    if (OpenKey(at, key) != ERROR_SUCCESS) {
        if (create) {
            SetValueTStr(path, defaultValue);
        }
        return defaultValue;
    }
    DWORD size = 0;
    TStr result = defaultValue;
    if (QuerySize(key, at, size) != ERROR_SUCCESS) {
        if (create) {
            WriteTo(key, at, REG_SZ, defaultValue.c_str(), TextBytes(defaultValue));
        }
    } else if (TStr text; ReadText(key, at, size, text) == ERROR_SUCCESS) {
        result = std::move(text);
    }
    RegCloseKey(key);
    return result;
}

void mcSettingsRegImpl::SetValueInt32(const TStr& path, const int& value) {
    CreateAndWrite(path, REG_DWORD, &value, sizeof(std::int32_t));
}

void mcSettingsRegImpl::SetValueTStr(const TStr& path, const TStr& value) {
    CreateAndWrite(path, REG_SZ, value.c_str(), TextBytes(value));
}

namespace core::settings {

std::int32_t ValueInt32(const TStr& path) {
    return mcSettingsRegImpl::ValueInt32(path);
}

bool ValueInt32AsBool(const TStr& path) {
    return mcSettingsRegImpl::ValueInt32(path) != 0;
}

TStr ValueTStr(const TStr& path) {
    return mcSettingsRegImpl::ValueTStr(path);
}

std::int32_t ValueInt32(const TStr& path, const int& defaultValue, bool create) {
    return mcSettingsRegImpl::ValueInt32(path, defaultValue, create);
}

bool ValueInt32AsBool(const TStr& path, const bool& defaultValue, bool create) {
    return mcSettingsRegImpl::ValueInt32(path, defaultValue ? 1 : 0, create) != 0;
}

TStr ValueTStr(const TStr& path, const TStr& defaultValue, bool create) {
    return mcSettingsRegImpl::ValueTStr(path, defaultValue, create);
}

void SetValueInt32(const TStr& path, const int& value) {
    mcSettingsRegImpl::SetValueInt32(path, value);
}

void SetValueInt32AsBool(const TStr& path, const bool& value) {
    mcSettingsRegImpl::SetValueInt32(path, value ? 1 : 0);
}

void SetValueTStr(const TStr& path, const TStr& value) {
    mcSettingsRegImpl::SetValueTStr(path, value);
}

} // namespace core::settings
