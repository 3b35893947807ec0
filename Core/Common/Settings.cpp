#include "Core/Common/Settings.h"

#include "Core/Common/ExcPrivate.h"

#include <bvplatform/crt.h>

#include <array>

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

} // namespace core::settings
