// The direct route of the settings store for Int32, Int32-as-bool and TStr settings: a path is
// turned into one registry location by a prefix table of its own and read or written with bare
// registry calls, without Setting, Path or RegistryKey, and with no fall-back to all users.
#pragma once

#include "Core/Common/Export.h"
#include "Core/Common/Types.h"

#include <bvplatform/registry.h>

#include <cstdint>

class BVCORE_API mcSettingsRegImpl {
public:
    /// Splits `path` into root key, key path and value name by the prefix table ("\SYSTEM\",
    /// "\USERS\CURRENT\", "\CLASSES\", "\USERS\ALL\", "\USERS\", case ignored). With no match:
    /// null root, empty texts, an assertion report and false.
    static bool ParseValuePath(const TStr& path, HKEY& root, TStr& keyPath, TStr& valueName);

    /// Up to 4 stored bytes, of any type; any failure throws core::settings::Setting::Exception
    /// with the platform's status (0 for an unknown prefix).
    static std::int32_t ValueInt32(const TStr& path);
    /// The stored number, else `defaultValue`, which `create` writes where the read failed.
    static std::int32_t ValueInt32(const TStr& path, const int& defaultValue, bool create);
    /// The stored text up to its first NUL, of any type; failures throw as ValueInt32.
    static TStr ValueTStr(const TStr& path);
    static TStr ValueTStr(const TStr& path, const TStr& defaultValue, bool create);

    /// Create the key chain and write as REG_DWORD or REG_SZ; failures pass silently.
    static void SetValueInt32(const TStr& path, const int& value);
    static void SetValueTStr(const TStr& path, const TStr& value);
};

namespace core::settings {

BVCORE_API std::int32_t ValueInt32(const TStr& path);
/// Whether the stored number is not 0.
BVCORE_API bool ValueInt32AsBool(const TStr& path);
BVCORE_API TStr ValueTStr(const TStr& path);
BVCORE_API std::int32_t ValueInt32(const TStr& path, const int& defaultValue, bool create);
/// The default goes to the store as 0 or 1.
BVCORE_API bool ValueInt32AsBool(const TStr& path, const bool& defaultValue, bool create);
BVCORE_API TStr ValueTStr(const TStr& path, const TStr& defaultValue, bool create);
BVCORE_API void SetValueInt32(const TStr& path, const int& value);
/// Stores 0 or 1.
BVCORE_API void SetValueInt32AsBool(const TStr& path, const bool& value);
BVCORE_API void SetValueTStr(const TStr& path, const TStr& value);

} // namespace core::settings
