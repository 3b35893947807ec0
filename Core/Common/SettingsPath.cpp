#include "Core/Common/SettingsPath.h"

#include "Core/Common/ExcPrivate.h"

#include <bvplatform/crt.h>

namespace core::settings {

BV_DEFINE_EXCEPTION(Exception, Exception, mcExc);
BV_DEFINE_EXCEPTION(Path::Exception, Exception, settings::Exception);
BV_DEFINE_EXCEPTION(Path::PathException, PathException, Path::Exception);

namespace {

using registry::RegistryKey;

constexpr char16_t kSeparator = u'\\';
// Registry key paths of the three mapped branches; system and current user differ in case.
const TStr kstrSystemKey = u"SOFTWARE";
const TStr kstrCurrentUserKey = u"Software";
const TStr kstrAllUsersKey = TStr(u".DEFAULT") + kSeparator + u"Software";
// Query, set, create sub-key, enumerate sub-keys, notify: the mask of every settings key.
constexpr REGSAM kSettingsAccess = 31;

const char* const kAssignName = "core::settings::Path::operator`='";
const char* const kPlusName = "core::settings::Path::operator`+'";

bool StartsWith(const TStr& text, const TStr& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool SameIgnoringCase(const TStr& a, const TStr& b) {
    return _wcsicmp(a.c_str(), b.c_str()) == 0;
}

/// Levels that leave a text whole: all levels and any positive count.
bool KeepsWhole(std::int32_t levels) {
    return levels == Path::ki32PathLevelsAll || levels > 0;
}

} // namespace

const TStr Path::kstrInvalidPathChars = u"*?<>";

Path::StaticMembers::StaticMembers()
    : m_separator(kSeparator), m_rootName(1, kSeparator), m_systemName(u"SYSTEM"),
      m_usersName(u"USERS"), m_allUsersName(u"ALL"), m_currentUserName(u"CURRENT"),
      m_parentName(u".."), m_pathSeparator(m_separator), m_pathRoot(m_rootName),
      m_pathSystem(m_rootName + m_systemName), m_pathUsers(m_rootName + m_usersName),
      m_pathAllUsers(m_pathUsers + kSeparator + m_allUsersName),
      m_pathCurrentUser(m_pathUsers + kSeparator + m_currentUserName), m_pathParent(m_parentName) {}

Path::StaticMembers& Path::StaticMember() {
    static StaticMembers& members = *new StaticMembers; // immortal: used until process exit
    return members;
}

const std::uint16_t& Path::PathSeparator() {
    return StaticMember().m_pathSeparator;
}
const TStr& Path::PathRoot() {
    return StaticMember().m_pathRoot;
}
const TStr& Path::PathSystem() {
    return StaticMember().m_pathSystem;
}
const TStr& Path::PathUsers() {
    return StaticMember().m_pathUsers;
}
const TStr& Path::PathAllUsers() {
    return StaticMember().m_pathAllUsers;
}
const TStr& Path::PathCurrentUser() {
    return StaticMember().m_pathCurrentUser;
}
const TStr& Path::PathParent() {
    return StaticMember().m_pathParent;
}

bool Path::IsAbsolute(const TStr& text) {
    return text.find(static_cast<char16_t>(PathSeparator())) == 0;
}

bool Path::IsWellFormed(const TStr& text) {
    // One pass: resolution checks every path it builds, so this stays on the hot path.
    const char16_t separator = static_cast<char16_t>(PathSeparator());
    const std::size_t n = text.size();
    for (std::size_t i = 0; i < n; ++i) {
        const char16_t c = text[i];
        switch (c) { // the units of kstrInvalidPathChars
        case u'*':
        case u'?':
        case u'<':
        case u'>':
            return false;
        default:
            break;
        }
        const bool doubledSeparator = c == separator && i + 1 < n && text[i + 1] == separator;
        const bool threeDots = c == u'.' && i + 2 < n && text[i + 1] == u'.' && text[i + 2] == u'.';
        if (doubledSeparator || threeDots) {
            return false;
        }
    }
    return true;
}

Path::Path() = default;
Path::Path(const Path& other) = default;
Path::Path(const TStr& text) {
    *this = text;
}
Path::Path(const TStr& parent, const TStr& child) {
    *this = parent + static_cast<char16_t>(PathSeparator()) + child;
}
Path::Path(const Path& parent, const TStr& child) : Path(parent.m_text, child) {}
Path::~Path() = default;

Path& Path::operator=(const Path& other) = default;

Path& Path::operator=(const TStr& text) {
    if (!IsAbsolute(text)) {
        BV_THROW_AS(kAssignName, PathException, u"Path " + text + u" is not absolute.");
    }
    if (!IsWellFormed(text)) {
        BV_THROW_AS(kAssignName, PathException, u"Path " + text + u" is not well-formed.");
    }
    m_text = text;
    return *this;
}

Path::operator TStr() const {
    return m_text;
}

bool Path::operator==(const TStr& text) const {
    return SameIgnoringCase(m_text, text);
}
bool Path::operator!=(const TStr& text) const {
    return !(*this == text);
}
bool Path::operator==(const Path& other) const {
    return *this == other.m_text;
}
bool Path::operator!=(const Path& other) const {
    return !(*this == other.m_text);
}

const Path Path::operator+(const TStr& relative) {
    if (IsAbsolute(relative)) {
        BV_THROW_AS(kPlusName, PathException, u"Path " + relative + u" is not relative.");
    }
    if (!IsWellFormed(relative)) {
        BV_THROW_AS(kPlusName, PathException, u"Path " + relative + u" is not well-formed.");
    }
    if (relative == PathParent()) {
        return Path(PathPrefix(m_text, -1));
    }
    return Path(m_text + static_cast<char16_t>(PathSeparator()) + relative);
}

Path& Path::operator+=(const TStr& relative) {
    return *this = operator+(relative); // the member, not the free join
}

Path Path::Ancestor(std::int32_t levels) const {
    return Path(PathPrefix(m_text, levels));
}

bool Path::IsRoot() const {
    return SameIgnoringCase(m_text, PathRoot());
}
bool Path::IsDescendentOfSystem() const {
    return StartsWith(m_text, PathSystem());
}
bool Path::IsDescendentOfUsers() const {
    return StartsWith(m_text, PathUsers());
}
bool Path::IsDescendentOfAllUsers() const {
    return StartsWith(m_text, PathAllUsers());
}
bool Path::IsDescendentOfCurrentUser() const {
    return StartsWith(m_text, PathCurrentUser());
}

TStr Path::PathPrefix(const TStr& text, std::int32_t levels) {
    if (KeepsWhole(levels)) {
        return text;
    }
    const char16_t separator = static_cast<char16_t>(PathSeparator());
    std::size_t found = text.rfind(separator);
    if (levels == 0 || found == TStr::npos) {
        return levels == 0 ? TStr() : text;
    }
    // Each further step searches strictly before the separator found last; running past the
    // front leaves nothing.
    for (std::int32_t step = levels + 1; step < 0; ++step) {
        found = found == 0 ? TStr::npos : text.rfind(separator, found - 1);
        if (found == TStr::npos) {
            return {};
        }
    }
    return text.substr(0, found);
}

TStr Path::PathSuffix(const TStr& text, std::int32_t levels) {
    if (KeepsWhole(levels) || levels == 0) {
        return text;
    }
    const char16_t separator = static_cast<char16_t>(PathSeparator());
    std::size_t position = 1; // behind a leading separator
    for (std::int32_t step = levels; step < 0; ++step) {
        const std::size_t found = text.find(separator, position);
        if (found == TStr::npos) {
            return text;
        }
        position = found + 1;
    }
    return text.substr(position);
}

RegistryKey::mtSubTree Path::RegistrySubTree() const {
    if (IsDescendentOfSystem()) {
        return RegistryKey::eSubTreeLocalMachine;
    }
    if (IsDescendentOfAllUsers()) {
        return RegistryKey::eSubTreeUsers;
    }
    if (IsDescendentOfCurrentUser()) {
        return RegistryKey::eSubTreeCurrentUser;
    }
    return RegistryKey::eSubTreeNone;
}

TStr Path::RegistryPath(std::int32_t levels) const {
    if (levels == 0) {
        return {};
    }
    TStr mapped;
    const auto map = [&](const TStr& key, const TStr& branch) {
        mapped.reserve(key.size() + m_text.size() - branch.size());
        mapped.append(key).append(m_text, branch.size());
    };
    if (IsDescendentOfSystem()) {
        map(kstrSystemKey, PathSystem());
    } else if (IsDescendentOfAllUsers()) {
        map(kstrAllUsersKey, PathAllUsers());
    } else if (IsDescendentOfCurrentUser()) {
        map(kstrCurrentUserKey, PathCurrentUser());
    }
    return levels == ki32PathLevelsAll ? mapped : PathPrefix(mapped, levels);
}

TStr Path::RegistryKeyOrValueName() const {
    const std::size_t last = m_text.rfind(static_cast<char16_t>(PathSeparator()));
    return last == TStr::npos ? TStr() : m_text.substr(last + 1);
}

RegistryKey Path::GetRegistryKey(std::int32_t levels) const {
    return RegistryKey(RegistrySubTree(), RegistryPath(levels).c_str(), kSettingsAccess, false);
}

Path operator+(const Path& path, const TStr& text) {
    return Path(static_cast<TStr>(path), text);
}

} // namespace core::settings
