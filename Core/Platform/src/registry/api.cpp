// The registry's exported calls: argument checks in the platform's order, the handle table,
// the access rights, and the size protocol of the reads. The hive does the storing.
#include "registry/hive.h"
#include "registry/names.h"

#include <bvplatform/regadmin.h>
#include <bvplatform/registry.h>
#include <bvplatform/testing.h>
#include <bvplatform/winerror.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

using bvplatform::detail::Hive;
using bvplatform::detail::KeyRec;
using bvplatform::detail::kMaxValueNameUnits;
using bvplatform::detail::kPredefinedCount;
using bvplatform::detail::NamedValue;
using bvplatform::detail::SplitKeyPath;
using bvplatform::detail::ValueRec;

namespace {

// Rights that change a key; a read-only key refuses them at open.
constexpr REGSAM kWriteRights =
    KEY_SET_VALUE | KEY_CREATE_SUB_KEY | KEY_CREATE_LINK | DELETE | WRITE_DAC | WRITE_OWNER;

/// One open key.
struct OpenKey {
    std::int64_t key; // the key's id in the hive
    REGSAM access;    // rights granted at the open
};

/// Open handles of the process, guarded by the hive's mutex. Values are never reused, so a
/// closed handle stays invalid.
struct HandleTable {
    std::unordered_map<std::uintptr_t, OpenKey> open; // handle value -> key and rights
    std::uintptr_t next = 0x1000;                     // the next handle value (steps of 4)
};

HandleTable& Handles() {
    static HandleTable& table = *new HandleTable; // immortal: closes may run at exit
    return table;
}

/// Pending faults of FailNextRegistryCall.
struct Faults {
    std::mutex lock;                     // guards `pending`
    std::map<std::string, LONG> pending; // operation name -> status of its next call
    std::atomic<bool> any{false};        // fast check: something is pending
};

Faults& PendingFaults() {
    static Faults& faults = *new Faults;
    return faults;
}

LONG TakeFault(const char* operation) {
    Faults& faults = PendingFaults();
    if (!faults.any.load(std::memory_order_relaxed)) {
        return ERROR_SUCCESS;
    }
    std::lock_guard lock(faults.lock);
    auto it = faults.pending.find(operation);
    if (it == faults.pending.end()) {
        return ERROR_SUCCESS;
    }
    const LONG status = it->second;
    faults.pending.erase(it);
    faults.any = !faults.pending.empty();
    return status;
}

// Runs one call: a pending fault, then the hive's lock and Enter, then the body. Memory
// exhaustion becomes a status like every other failure.
template <class Body>
LONG Call(const char* operation, Body&& body) {
    if (LONG fault = TakeFault(operation); fault != ERROR_SUCCESS) {
        return fault;
    }
    Hive& hive = Hive::Instance();
    std::lock_guard lock(hive.Mutex());
    try {
        if (LONG status = hive.Enter(); status != ERROR_SUCCESS) {
            return status;
        }
        return body(hive);
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

std::optional<unsigned> PredefinedIndex(HKEY hKey) {
    const auto value = reinterpret_cast<std::uintptr_t>(hKey);
    const auto first = reinterpret_cast<std::uintptr_t>(HKEY_CLASSES_ROOT);
    if (value < first || value - first >= kPredefinedCount) {
        return std::nullopt;
    }
    return static_cast<unsigned>(value - first);
}

// The key behind a handle and its rights; predefined keys have every right.
LONG Resolve(Hive& hive, HKEY hKey, OpenKey& out) {
    if (std::optional<unsigned> index = PredefinedIndex(hKey)) {
        const std::int64_t id = hive.Predefined(*index);
        if (id == 0) {
            return ERROR_INVALID_HANDLE;
        }
        out = {id, KEY_ALL_ACCESS};
        return ERROR_SUCCESS;
    }
    const auto& open = Handles().open;
    auto it = open.find(reinterpret_cast<std::uintptr_t>(hKey));
    if (it == open.end()) {
        return ERROR_INVALID_HANDLE;
    }
    out = it->second;
    return ERROR_SUCCESS;
}

// Resolve, then check that the key still exists and the handle has `needed`.
LONG ResolveLive(Hive& hive, HKEY hKey, REGSAM needed, OpenKey& out) {
    if (LONG status = Resolve(hive, hKey, out); status != ERROR_SUCCESS) {
        return status;
    }
    const KeyRec* rec = nullptr;
    if (LONG status = hive.Key(out.key, rec); status != ERROR_SUCCESS) {
        return status;
    }
    return (out.access & needed) == needed ? LONG{ERROR_SUCCESS} : LONG{ERROR_ACCESS_DENIED};
}

// The rights an open grants: generic rights mapped, MAXIMUM_ALLOWED as much as the key allows.
LONG GrantedRights(REGSAM desired, bool readOnly, REGSAM& granted) {
    granted = desired & (KEY_ALL_ACCESS | SYNCHRONIZE);
    if ((desired & GENERIC_READ) != 0 || (desired & GENERIC_EXECUTE) != 0) {
        granted |= KEY_READ;
    }
    if ((desired & GENERIC_WRITE) != 0) {
        granted |= KEY_WRITE;
    }
    if ((desired & GENERIC_ALL) != 0) {
        granted |= KEY_ALL_ACCESS;
    }
    if ((desired & MAXIMUM_ALLOWED) != 0) {
        granted |= readOnly ? KEY_READ : KEY_ALL_ACCESS;
    }
    return readOnly && (granted & kWriteRights) != 0 ? LONG{ERROR_ACCESS_DENIED}
                                                     : LONG{ERROR_SUCCESS};
}

LONG NewHandle(Hive& hive, std::int64_t key, REGSAM desired, PHKEY result) {
    const KeyRec* rec = nullptr;
    if (LONG status = hive.Key(key, rec); status != ERROR_SUCCESS) {
        return status;
    }
    REGSAM granted = 0;
    if (LONG status = GrantedRights(desired, rec->readOnly, granted); status != ERROR_SUCCESS) {
        return status;
    }
    HandleTable& table = Handles();
    const std::uintptr_t value = table.next;
    table.next += 4;
    table.open.emplace(value, OpenKey{key, granted});
    *result = reinterpret_cast<HKEY>(value);
    return ERROR_SUCCESS;
}

// The key `subKey` names below `hKey`: parent resolved and alive, path split and walked.
LONG FindKey(Hive& hive, HKEY hKey, LPCWSTR subKey, std::int64_t& id) {
    OpenKey parent{};
    if (LONG status = ResolveLive(hive, hKey, 0, parent); status != ERROR_SUCCESS) {
        return status;
    }
    std::vector<std::u16string> levels;
    if (LONG status = SplitKeyPath(subKey, levels); status != ERROR_SUCCESS) {
        return status;
    }
    return hive.Walk(parent.key, levels, id);
}

std::u16string_view ValueName(LPCWSTR name) {
    return name != nullptr ? std::u16string_view(name) : std::u16string_view();
}

bool IsText(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

// The size protocol of reads: type always; data when asked and room enough. A text stored
// without its NUL gets one when the buffer has room for it.
LONG CopyValue(const ValueRec& value, LPDWORD type, LPBYTE data, LPDWORD size) {
    const auto stored = static_cast<DWORD>(value.data.size());
    if (type != nullptr) {
        *type = value.type;
    }
    if (data != nullptr && *size < stored) {
        *size = stored;
        return ERROR_MORE_DATA;
    }
    if (data != nullptr) {
        std::memcpy(data, value.data.data(), stored);
        const bool endsInNul = stored >= 2 && value.data[stored - 1] == 0 &&
                               value.data[stored - 2] == 0 && stored % 2 == 0;
        if (IsText(value.type) && stored > 0 && !endsInNul && *size >= stored + 2) {
            data[stored] = 0;
            data[stored + 1] = 0;
        }
    }
    if (size != nullptr) {
        *size = stored;
    }
    return ERROR_SUCCESS;
}

// Copies a name into a caller's buffer of *length units (room for the NUL needed).
LONG CopyName(const std::u16string& name, LPWSTR buffer, LPDWORD length) {
    if (*length <= name.size()) {
        return ERROR_MORE_DATA;
    }
    std::copy(name.begin(), name.end(), buffer);
    buffer[name.size()] = u'\0';
    *length = static_cast<DWORD>(name.size());
    return ERROR_SUCCESS;
}

LONG DeleteKey(const char* operation, HKEY hKey, LPCWSTR subKey, bool tree) {
    return Call(operation, [&](Hive& hive) {
        if (subKey == nullptr) {
            return LONG{ERROR_INVALID_PARAMETER};
        }
        std::int64_t id = 0;
        if (LONG status = FindKey(hive, hKey, subKey, id); status != ERROR_SUCCESS) {
            return status;
        }
        return hive.DeleteKey(id, tree);
    });
}

} // namespace

LSTATUS RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
                      PHKEY phkResult) {
    (void)ulOptions; // REG_OPTION_OPEN_LINK: the stand-in has no links
    return Call("RegOpenKeyExW", [&](Hive& hive) {
        if (phkResult == nullptr) {
            return LONG{ERROR_INVALID_PARAMETER};
        }
        std::int64_t id = 0;
        if (LONG status = FindKey(hive, hKey, lpSubKey, id); status != ERROR_SUCCESS) {
            return status;
        }
        return NewHandle(hive, id, samDesired, phkResult);
    });
}

LSTATUS RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass,
                        DWORD dwOptions, REGSAM samDesired, const void* lpSecurityAttributes,
                        PHKEY phkResult, LPDWORD lpdwDisposition) {
    (void)Reserved;
    (void)lpClass;
    (void)lpSecurityAttributes;
    return Call("RegCreateKeyExW", [&](Hive& hive) {
        if (phkResult == nullptr || (dwOptions & ~DWORD{0xF}) != 0) {
            return LONG{ERROR_INVALID_PARAMETER};
        }
        OpenKey parent{};
        if (LONG status = ResolveLive(hive, hKey, 0, parent); status != ERROR_SUCCESS) {
            return status;
        }
        std::vector<std::u16string> levels;
        if (LONG status = SplitKeyPath(lpSubKey, levels); status != ERROR_SUCCESS) {
            return status;
        }
        std::int64_t id = 0;
        bool created = false;
        if (LONG status = hive.CreatePath(parent.key, levels, id, created);
            status != ERROR_SUCCESS) {
            return status;
        }
        if (LONG status = NewHandle(hive, id, samDesired, phkResult); status != ERROR_SUCCESS) {
            return status;
        }
        if (lpdwDisposition != nullptr) {
            // The platform reports an empty sub-key text as a new key.
            *lpdwDisposition =
                created || levels.empty() ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
        }
        return LONG{ERROR_SUCCESS};
    });
}

LSTATUS RegCreateKeyW(HKEY hKey, LPCWSTR lpSubKey, PHKEY phkResult) {
    return RegCreateKeyExW(hKey, lpSubKey, 0, nullptr, REG_OPTION_NON_VOLATILE, MAXIMUM_ALLOWED,
                           nullptr, phkResult, nullptr);
}

LSTATUS RegCloseKey(HKEY hKey) {
    if (LONG fault = TakeFault("RegCloseKey"); fault != ERROR_SUCCESS) {
        return fault;
    }
    if (PredefinedIndex(hKey)) {
        return ERROR_SUCCESS;
    }
    std::lock_guard lock(Hive::Instance().Mutex());
    return Handles().open.erase(reinterpret_cast<std::uintptr_t>(hKey)) != 0
               ? LONG{ERROR_SUCCESS}
               : LONG{ERROR_INVALID_HANDLE};
}

LSTATUS RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey) {
    return DeleteKey("RegDeleteKeyW", hKey, lpSubKey, false);
}

LSTATUS SHDeleteKeyW(HKEY hKey, LPCWSTR pszSubKey) {
    return DeleteKey("SHDeleteKeyW", hKey, pszSubKey, true);
}

LSTATUS RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName) {
    return Call("RegDeleteValueW", [&](Hive& hive) {
        OpenKey key{};
        if (LONG status = ResolveLive(hive, hKey, KEY_SET_VALUE, key); status != ERROR_SUCCESS) {
            return status;
        }
        return hive.DeleteValue(key.key, ValueName(lpValueName));
    });
}

LSTATUS RegQueryInfoKeyW(HKEY hKey, LPWSTR lpClass, LPDWORD lpcchClass, LPDWORD lpReserved,
                         LPDWORD lpcSubKeys, LPDWORD lpcbMaxSubKeyLen, LPDWORD lpcbMaxClassLen,
                         LPDWORD lpcValues, LPDWORD lpcbMaxValueNameLen, LPDWORD lpcbMaxValueLen,
                         LPDWORD lpcbSecurityDescriptor, PFILETIME lpftLastWriteTime) {
    (void)lpReserved;
    return Call("RegQueryInfoKeyW", [&](Hive& hive) {
        OpenKey key{};
        if (LONG status = ResolveLive(hive, hKey, KEY_QUERY_VALUE, key); status != ERROR_SUCCESS) {
            return status;
        }
        std::vector<std::u16string> subKeys;
        const std::vector<NamedValue>* values = nullptr;
        if (LONG status = hive.SubKeys(key.key, subKeys); status != ERROR_SUCCESS) {
            return status;
        }
        if (LONG status = hive.Values(key.key, values); status != ERROR_SUCCESS) {
            return status;
        }
        DWORD maxSubKey = 0;
        DWORD maxName = 0;
        DWORD maxData = 0;
        for (const std::u16string& name : subKeys) {
            maxSubKey = std::max(maxSubKey, static_cast<DWORD>(name.size()));
        }
        for (const NamedValue& value : *values) {
            maxName = std::max(maxName, static_cast<DWORD>(value.name.size()));
            maxData = std::max(maxData, static_cast<DWORD>(value.value.data.size()));
        }
        const std::pair<LPDWORD, DWORD> outputs[] = {
            {lpcSubKeys, static_cast<DWORD>(subKeys.size())},
            {lpcbMaxSubKeyLen, maxSubKey},
            {lpcbMaxClassLen, 0},
            {lpcValues, static_cast<DWORD>(values->size())},
            {lpcbMaxValueNameLen, maxName},
            {lpcbMaxValueLen, maxData},
            {lpcbSecurityDescriptor, 0},
        };
        if (lpClass != nullptr && lpcchClass != nullptr && *lpcchClass > 0) {
            *lpClass = u'\0';
        }
        if (lpcchClass != nullptr) {
            *lpcchClass = 0;
        }
        for (const auto& [out, value] : outputs) {
            if (out != nullptr) {
                *out = value;
            }
        }
        if (lpftLastWriteTime != nullptr) {
            *lpftLastWriteTime = FILETIME{0, 0}; // the hive keeps no write times
        }
        return LONG{ERROR_SUCCESS};
    });
}

LSTATUS RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName,
                      LPDWORD lpReserved, LPWSTR lpClass, LPDWORD lpcchClass,
                      PFILETIME lpftLastWriteTime) {
    (void)lpReserved;
    return Call("RegEnumKeyExW", [&](Hive& hive) {
        if (lpName == nullptr || lpcchName == nullptr) {
            return LONG{ERROR_INVALID_PARAMETER};
        }
        OpenKey key{};
        if (LONG status = ResolveLive(hive, hKey, KEY_ENUMERATE_SUB_KEYS, key);
            status != ERROR_SUCCESS) {
            return status;
        }
        std::vector<std::u16string> names;
        if (LONG status = hive.SubKeys(key.key, names); status != ERROR_SUCCESS) {
            return status;
        }
        if (dwIndex >= names.size()) {
            return LONG{ERROR_NO_MORE_ITEMS};
        }
        if (LONG status = CopyName(names[dwIndex], lpName, lpcchName); status != ERROR_SUCCESS) {
            return status;
        }
        if (lpClass != nullptr && lpcchClass != nullptr && *lpcchClass > 0) {
            *lpClass = u'\0';
        }
        if (lpcchClass != nullptr) {
            *lpcchClass = 0;
        }
        if (lpftLastWriteTime != nullptr) {
            *lpftLastWriteTime = FILETIME{0, 0};
        }
        return LONG{ERROR_SUCCESS};
    });
}

LSTATUS RegEnumValueW(HKEY hKey, DWORD dwIndex, LPWSTR lpValueName, LPDWORD lpcchValueName,
                      LPDWORD lpReserved, LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData) {
    (void)lpReserved;
    return Call("RegEnumValueW", [&](Hive& hive) {
        if (lpValueName == nullptr || lpcchValueName == nullptr ||
            (lpData != nullptr && lpcbData == nullptr)) {
            return LONG{ERROR_INVALID_PARAMETER};
        }
        OpenKey key{};
        if (LONG status = ResolveLive(hive, hKey, KEY_QUERY_VALUE, key); status != ERROR_SUCCESS) {
            return status;
        }
        const std::vector<NamedValue>* values = nullptr;
        if (LONG status = hive.Values(key.key, values); status != ERROR_SUCCESS) {
            return status;
        }
        if (dwIndex >= values->size()) {
            return LONG{ERROR_NO_MORE_ITEMS};
        }
        const NamedValue& value = (*values)[dwIndex];
        if (*lpcchValueName <= value.name.size()) {
            return LONG{ERROR_MORE_DATA};
        }
        if (lpData != nullptr && *lpcbData < value.value.data.size()) {
            *lpcbData = static_cast<DWORD>(value.value.data.size());
            return LONG{ERROR_MORE_DATA};
        }
        CopyName(value.name, lpValueName, lpcchValueName);
        return CopyValue(value.value, lpType, lpData, lpcbData);
    });
}

LSTATUS RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved, LPDWORD lpType,
                         LPBYTE lpData, LPDWORD lpcbData) {
    (void)lpReserved;
    return Call("RegQueryValueExW", [&](Hive& hive) {
        if (lpData != nullptr && lpcbData == nullptr) {
            return LONG{ERROR_INVALID_PARAMETER};
        }
        OpenKey key{};
        if (LONG status = ResolveLive(hive, hKey, KEY_QUERY_VALUE, key); status != ERROR_SUCCESS) {
            return status;
        }
        const ValueRec* value = nullptr;
        if (LONG status = hive.Value(key.key, ValueName(lpValueName), value);
            status != ERROR_SUCCESS) {
            return status;
        }
        return CopyValue(*value, lpType, lpData, lpcbData);
    });
}

LSTATUS RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType,
                       const BYTE* lpData, DWORD cbData) {
    (void)Reserved;
    return Call("RegSetValueExW", [&](Hive& hive) {
        const std::u16string_view name = ValueName(lpValueName);
        if (name.size() > kMaxValueNameUnits) {
            return LONG{ERROR_INVALID_PARAMETER};
        }
        if (lpData == nullptr && cbData != 0) {
            return LONG{ERROR_NOACCESS};
        }
        OpenKey key{};
        if (LONG status = ResolveLive(hive, hKey, KEY_SET_VALUE, key); status != ERROR_SUCCESS) {
            return status;
        }
        std::string data(reinterpret_cast<const char*>(lpData), lpData != nullptr ? cbData : 0);
        // The platform keeps a text's NUL that the caller left out of the size when it follows
        // in memory: it looks at the unit after the last whole one, as here, and stores the
        // size plus one unit (the added bytes are that NUL; nothing further is read).
        if (IsText(dwType) && cbData >= 2) {
            const DWORD last = 2 * (cbData / 2 - 1);
            const bool lastIsNul = lpData[last] == 0 && lpData[last + 1] == 0;
            if (!lastIsNul && lpData[last + 2] == 0 && lpData[last + 3] == 0) {
                data.append(2, '\0');
            }
        }
        return hive.SetValue(key.key, name, dwType, std::move(data));
    });
}

LSTATUS RegFlushKey(HKEY hKey) {
    return Call("RegFlushKey", [&](Hive& hive) {
        OpenKey key{};
        if (LONG status = ResolveLive(hive, hKey, 0, key); status != ERROR_SUCCESS) {
            return status;
        }
        return hive.Flush();
    });
}

LSTATUS BvRegSetKeyReadOnly(HKEY hKey, LPCWSTR lpSubKey, BOOL readOnly) {
    return Call("BvRegSetKeyReadOnly", [&](Hive& hive) {
        std::int64_t id = 0;
        if (LONG status = FindKey(hive, hKey, lpSubKey, id); status != ERROR_SUCCESS) {
            return status;
        }
        if (hive.IsPredefinedKey(id)) {
            return LONG{ERROR_ACCESS_DENIED};
        }
        return hive.SetReadOnly(id, readOnly != FALSE);
    });
}

LSTATUS BvRegBeginBatch() {
    return Call("BvRegBeginBatch", [](Hive& hive) { return hive.BeginBatch(); });
}

LSTATUS BvRegEndBatch(BOOL commit) {
    return Call("BvRegEndBatch", [&](Hive& hive) { return hive.EndBatch(commit != FALSE); });
}

LSTATUS BvRegCheckIntegrity() {
    return Call("BvRegCheckIntegrity", [](Hive& hive) { return hive.CheckIntegrity(); });
}

namespace bvplatform::testing {

void FailNextRegistryCall(const char* operation, LONG status) {
    Faults& faults = PendingFaults();
    std::lock_guard lock(faults.lock);
    if (status == ERROR_SUCCESS) {
        faults.pending.erase(operation);
    } else {
        faults.pending[operation] = status;
    }
    faults.any = !faults.pending.empty();
}

unsigned long RegistryCommitCount() {
    return Hive::CommitCount();
}

void ResetRegistry() {
    Hive& hive = Hive::Instance();
    std::lock_guard lock(hive.Mutex());
    hive.Reset();
    Handles().open.clear();
}

} // namespace bvplatform::testing
