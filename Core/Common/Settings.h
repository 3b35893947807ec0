// The settings store: a tree of typed settings addressed by backslash paths, kept in the
// registry. This header holds the store's exception classes and the Setting class that carries
// them.
#pragma once

#include "Core/Common/Exc.h"
#include "Core/Common/Export.h"
#include "Core/Common/RegistryKey.h"
#include "Core/Common/SettingsPath.h"
#include "Core/Common/Types.h"

namespace core::settings {

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

protected:
    /// The resolution: own key, own value, then (current user only) all-users key and value.
    static const TStr PhysicalPath(const TStr& path);
    /// The parent key of the physical path, where Name() is the value.
    [[nodiscard]] registry::RegistryKey RegistryKeyForReading() const;

private:
    core::settings::Path m_path; // the logical path, as the caller gave it
    TStr m_physicalPath;         // where the last resolution found it; empty for nothing
};

} // namespace core::settings
