// The settings store: a tree of typed settings addressed by backslash paths, kept in the
// registry. This header holds the Setting handle with its typed reads and writes, and the free
// functions that do the same in one call on a path. Int32, Int32-as-bool and TStr have a direct
// route of their own (SettingsRegImpl.h, included here) without the fall-back to all users.
#pragma once

#include "Core/Common/Exc.h"
#include "Core/Common/Export.h"
#include "Core/Common/RegistryKey.h"
#include "Core/Common/SettingsPath.h"
#include "Core/Common/SettingsRegImpl.h"
#include "Core/Common/Types.h"

#include <bvplatform/types.h>

#include <cstdint>
#include <vector>

namespace core::settings {

/// What a stored setting is, told from what the registry holds. The order is part of the
/// contract (stored data and callers use the numbers).
enum eValueType {
    eValueTypeNone,    // a key, no value
    eValueTypeBool,    // REG_SZ, element "bool"
    eValueTypeByteVec, // REG_BINARY
    eValueTypeInt32,   // REG_DWORD
    eValueTypeInt64,   // REG_QWORD
    eValueTypeTStr,    // REG_EXPAND_SZ, or REG_SZ of fewer than 3 element tokens
    eValueTypeTStrVec, // REG_MULTI_SZ
    eValueTypeDouble,  // REG_SZ, element "double"
    eValueTypePOINT,   // REG_SZ, element "struct.tagPOINT"
    eValueTypeRECT,    // REG_SZ, element "struct.tagRECT"
    eValueTypeUnknown, // anything else
};

/// A handle on one node of the settings tree: the path asked for, and the physical path at
/// which the store held something for it when the path was last set. A current-user path with
/// nothing of its own resolves to the all-users location, value name by value name.
class BVCORE_API Setting {
public:
    BV_DECLARE_EXCEPTION(Exception, settings::Exception);
    BV_DECLARE_EXCEPTION(TypeException, Exception);
    BV_DECLARE_EXCEPTION(PathException, Exception);

    /// Refuses a path that is not absolute, then resolves it as SetPath does.
    Setting(const TStr& path);
    Setting(const Setting& other);
    ~Setting();
    Setting& operator=(const Setting& other);

    /// Compare the logical paths, ignoring case.
    bool operator==(const Setting& other) const;
    bool operator!=(const Setting& other) const;

    /// An absolute text replaces the path, a relative one (or "..") moves from it; the physical
    /// path is then resolved anew. A refused text leaves the setting alone; a failed resolution
    /// leaves the new path beside the physical path of the last one.
    void SetPath(const TStr& path);

    [[nodiscard]] const TStr Path() const;
    /// Empty when the last resolution found nothing.
    [[nodiscard]] const TStr PhysicalPath() const;
    /// The last name of the path, the same at the own and at the all-users location.
    [[nodiscard]] const TStr Name() const;
    /// Physical path equal to the path (ignoring case); both throw for an empty physical path.
    [[nodiscard]] bool IsPhysical() const;
    [[nodiscard]] bool IsVirtual() const;
    [[nodiscard]] bool HasParent() const;
    /// A setting one level up with a resolution of its own; throws for one level or the root.
    [[nodiscard]] Setting Parent() const;
    /// Sub-keys or values at the own key, else (for a virtual setting) at the physical one.
    /// The own key is opened first, so its absence throws the registry's KeyException.
    [[nodiscard]] bool HasChildren() const;

    /// The type of what is stored: a value wins over a key of the same name. Throws
    /// TypeException when neither is there or the store can't be read.
    [[nodiscard]] eValueType ValueType() const;
    [[nodiscard]] bool IsValueType(const eValueType& type) const;

    // Typed reads at the physical path. Without a default every failure (nothing stored, another
    // type, a damaged text) throws PathException "Could not retrieve value."; with one, any
    // failure of the mcExc family gives the default and nothing is created.
    [[nodiscard]] bool ValueBool() const;
    [[nodiscard]] bool ValueBool(const bool& defaultValue) const;
    [[nodiscard]] ByteVec ValueByteVec() const;
    [[nodiscard]] ByteVec ValueByteVec(const ByteVec& defaultValue) const;
    /// Whether any stored byte is non-zero.
    [[nodiscard]] bool ValueByteVecAsBool() const;
    [[nodiscard]] bool ValueByteVecAsBool(const bool& defaultValue) const;
    [[nodiscard]] double ValueDouble() const;
    [[nodiscard]] double ValueDouble(const double& defaultValue) const;
    [[nodiscard]] std::int32_t ValueInt32() const;
    [[nodiscard]] std::int32_t ValueInt32(const std::int32_t& defaultValue) const;
    [[nodiscard]] bool ValueInt32AsBool() const;
    [[nodiscard]] bool ValueInt32AsBool(const bool& defaultValue) const;
    [[nodiscard]] std::int64_t ValueInt64() const;
    [[nodiscard]] std::int64_t ValueInt64(const std::int64_t& defaultValue) const;
    [[nodiscard]] tagPOINT ValuePOINT() const;
    [[nodiscard]] tagPOINT ValuePOINT(const tagPOINT& defaultValue) const;
    [[nodiscard]] tagRECT ValueRECT() const;
    [[nodiscard]] tagRECT ValueRECT(const tagRECT& defaultValue) const;
    /// Any stored text, an element form included, as it lies.
    [[nodiscard]] TStr ValueTStr() const;
    [[nodiscard]] TStr ValueTStr(const TStr& defaultValue) const;
    [[nodiscard]] TStrVec ValueTStrVec() const;
    [[nodiscard]] TStrVec ValueTStrVec(const TStrVec& defaultValue) const;

    /// Gives a setting that falls back to all users a location of its own: the key chain, then a
    /// copy of the stored data (an empty key for a key node, nothing for an unknown type).
    /// Throws Path::PathException for an unresolved setting.
    void Physicalize();

    // Typed writes through the resolution: Physicalize, then the write at the own location. Only
    // what exists is written; any failure throws PathException "Could not set value.".
    void SetValueBool(const bool& value);
    void SetValueByteVec(const ByteVec& value);
    void SetValueDouble(const double& value);
    void SetValueInt32(const std::int32_t& value);
    void SetValueInt32AsBool(const bool& value);
    void SetValueInt64(const std::int64_t& value);
    void SetValuePOINT(const tagPOINT& value);
    void SetValueRECT(const tagRECT& value);
    void SetValueTStr(const TStr& value);
    void SetValueTStrVec(const TStrVec& value);

    // The path-taking members: an absolute text is used as it is, a relative one (".." included)
    // is taken from this setting's path. The setting itself does not change.
    [[nodiscard]] bool Exists(const TStr& path) const;
    void Create(const TStr& path);
    void Delete(const TStr& path);
    void CreateBool(const TStr& path, const bool& value);
    void CreateByteVec(const TStr& path, const ByteVec& value);
    void CreateDouble(const TStr& path, const double& value);
    void CreateInt32(const TStr& path, const std::int32_t& value);
    void CreateInt64(const TStr& path, const std::int64_t& value);
    void CreatePOINT(const TStr& path, const tagPOINT& value);
    void CreateRECT(const TStr& path, const tagRECT& value);
    void CreateTStr(const TStr& path, const TStr& value);
    void CreateTStrVec(const TStr& path, const TStrVec& value);

    /// Values before sub-keys; within each, the own key's before the physical location's.
    /// Nothing is sorted or merged; each child is resolved on its own below this path.
    [[nodiscard]] std::vector<Setting> Children() const;

protected:
    /// The resolution: own key, own value, then (current user only) all-users key and value.
    static const TStr PhysicalPath(const TStr& path);
    /// The parent key of the physical path, where Name() is the value.
    [[nodiscard]] registry::RegistryKey RegistryKeyForReading() const;
    /// Physicalize, then the parent key of the (now own) physical path.
    [[nodiscard]] registry::RegistryKey RegistryKeyForWriting();

private:
    /// `read(key, name)` on the parent key of the physical path; any mcExc becomes the read
    /// failure, recorded under `function`.
    template <class Read>
    auto ReadValue(const char* function, Read read) const;
    /// `write(key, name)` after Physicalize; any mcExc becomes the write failure.
    template <class Write>
    void WriteValue(const char* function, Write write);
    /// An absolute text as it is, a relative one joined to the path by Path::operator+.
    [[nodiscard]] TStr Absolute(const TStr& text) const;

    core::settings::Path m_path; // the logical path, as the caller gave it
    TStr m_physicalPath;         // where the last resolution found it; empty for nothing
};

// The free facade: each call builds a Setting on an absolute path for its length (the
// constructor refuses a relative one with PathException "Copy constructor failed.").

/// True when the path is absolute, well-formed and resolves; never throws an mcExc.
BVCORE_API bool Exists(const TStr& path);
BVCORE_API std::vector<Setting> Children(const TStr& path);
/// The path equals its resolution (ignoring case); false for nothing stored. A failing
/// resolution throws Setting::PathException.
BVCORE_API bool IsPhysical(const TStr& path);
BVCORE_API bool IsVirtual(const TStr& path);
BVCORE_API bool HasChildren(const TStr& path);
BVCORE_API bool HasParent(const TStr& path);
BVCORE_API Setting Parent(const TStr& path);
BVCORE_API eValueType ValueType(const TStr& path);
BVCORE_API bool ValueIsType(const TStr& path, const eValueType& type);

BVCORE_API bool ValueBool(const TStr& path);
BVCORE_API ByteVec ValueByteVec(const TStr& path);
BVCORE_API bool ValueByteVecAsBool(const TStr& path);
BVCORE_API double ValueDouble(const TStr& path);
BVCORE_API std::int64_t ValueInt64(const TStr& path);
BVCORE_API tagPOINT ValuePOINT(const TStr& path);
BVCORE_API tagRECT ValueRECT(const TStr& path);
BVCORE_API TStrVec ValueTStrVec(const TStr& path);

// Read what exists (a wrong type throws); when nothing exists anywhere, create the default at
// the path if `create` says so, and return it.
BVCORE_API bool ValueBool(const TStr& path, const bool& defaultValue, bool create);
BVCORE_API ByteVec ValueByteVec(const TStr& path, const ByteVec& defaultValue, bool create);
BVCORE_API double ValueDouble(const TStr& path, const double& defaultValue, bool create);
BVCORE_API std::int64_t ValueInt64(const TStr& path, const std::int64_t& defaultValue, bool create);
BVCORE_API tagPOINT ValuePOINT(const TStr& path, const tagPOINT& defaultValue, bool create);
BVCORE_API tagRECT ValueRECT(const TStr& path, const tagRECT& defaultValue, bool create);
BVCORE_API TStrVec ValueTStrVec(const TStr& path, const TStrVec& defaultValue, bool create);

// Create what is missing, else write through the resolution (physicalizing a fall-back).
BVCORE_API void SetValueBool(const TStr& path, const bool& value);
BVCORE_API void SetValueByteVec(const TStr& path, const ByteVec& value);
BVCORE_API void SetValueDouble(const TStr& path, const double& value);
BVCORE_API void SetValueInt64(const TStr& path, const std::int64_t& value);
BVCORE_API void SetValuePOINT(const TStr& path, const tagPOINT& value);
BVCORE_API void SetValueRECT(const TStr& path, const tagRECT& value);
BVCORE_API void SetValueTStrVec(const TStr& path, const TStrVec& value);

/// Makes the key chain down to the path at the path itself (never through the fall-back).
BVCORE_API void Create(const TStr& path);
/// Removes the value, else the key with its whole tree. Nothing there is no failure; a path
/// that only falls back to all users is refused; one that still resolves afterwards (an
/// all-users setting of the same name) throws after the deletion.
BVCORE_API void Delete(const TStr& path);

// Create or overwrite at the path given. When something exists there (the fall-back counts),
// it must already be of the function's type, else TypeException; a key node never is.
BVCORE_API void CreateBool(const TStr& path, const bool& value);
BVCORE_API void CreateByteVec(const TStr& path, const ByteVec& value);
BVCORE_API void CreateDouble(const TStr& path, const double& value);
BVCORE_API void CreateInt32(const TStr& path, const std::int32_t& value);
BVCORE_API void CreateInt64(const TStr& path, const std::int64_t& value);
BVCORE_API void CreatePOINT(const TStr& path, const tagPOINT& value);
BVCORE_API void CreateRECT(const TStr& path, const tagRECT& value);
BVCORE_API void CreateTStr(const TStr& path, const TStr& value);
BVCORE_API void CreateTStrVec(const TStr& path, const TStrVec& value);

} // namespace core::settings
