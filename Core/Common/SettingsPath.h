// Settings paths: validated backslash paths of the settings tree and their translation to a
// registry root, key path and last name.
#pragma once

#include "Core/Common/Exc.h"
#include "Core/Common/Export.h"
#include "Core/Common/RegistryKey.h"
#include "Core/Common/Types.h"

#include <cstdint>

namespace core::settings {

/// Root of the settings store's failures.
BV_DECLARE_EXCEPTION(Exception, mcExc);

class Setting;
struct PathAccess;

/// A place in the settings tree. Every object built by a checking constructor or assignment is
/// absolute and well-formed; the text is kept exactly as written.
class BVCORE_API Path {
public:
    BV_DECLARE_EXCEPTION(Exception, settings::Exception);
    BV_DECLARE_EXCEPTION(PathException, Exception);

    /// All levels: the whole text (a level count no real path reaches).
    static constexpr std::int32_t ki32PathLevelsAll = 65535;
    /// For callers only; nothing here checks a name against it.
    static constexpr std::uint32_t kui32MaxNameChars = 256;
    /// Characters a well-formed path never holds.
    static const TStr kstrInvalidPathChars;

    /// The names of the tree, built once on first use and read-only afterwards.
    class BVCORE_API StaticMembers {
    public:
        StaticMembers();

        const std::uint16_t m_separator;     // the backslash
        const TStr m_rootName;               // a lone separator
        const TStr m_systemName;             // "SYSTEM"
        const TStr m_usersName;              // "USERS"
        const TStr m_allUsersName;           // "ALL"
        const TStr m_currentUserName;        // "CURRENT"
        const TStr m_parentName;             // ".."
        const std::uint16_t m_pathSeparator; // what PathSeparator returns
        const TStr m_pathRoot;               // "\"
        const TStr m_pathSystem;             // "\SYSTEM"
        const TStr m_pathUsers;              // "\USERS"
        const TStr m_pathAllUsers;           // "\USERS\ALL"
        const TStr m_pathCurrentUser;        // "\USERS\CURRENT"
        const TStr m_pathParent;             // ".."
    };

    static const std::uint16_t& PathSeparator();
    static const TStr& PathRoot();
    static const TStr& PathSystem();
    static const TStr& PathUsers();
    static const TStr& PathAllUsers();
    static const TStr& PathCurrentUser();
    static const TStr& PathParent();

    /// The text starts with the separator.
    static bool IsAbsolute(const TStr& text);
    /// No "*?<>", no doubled separator, no "..."; the empty text passes.
    static bool IsWellFormed(const TStr& text);

    /// The empty text, unchecked.
    Path();
    Path(const Path& other);
    /// Checked as by operator=(const TStr&).
    Path(const TStr& text);
    /// parent + separator + child, checked.
    Path(const TStr& parent, const TStr& child);
    Path(const Path& parent, const TStr& child);
    virtual ~Path();

    /// Takes the text over unchecked.
    Path& operator=(const Path& other);
    /// Throws PathException for a text that is not absolute or not well-formed, and then stays.
    Path& operator=(const TStr& text);

    operator TStr() const;

    /// Case-insensitive comparisons of the texts.
    bool operator==(const TStr& text) const;
    bool operator!=(const TStr& text) const;
    bool operator==(const Path& other) const;
    bool operator!=(const Path& other) const;

    /// Moves down by a relative, well-formed text; ".." alone moves up one level. Not const, so
    /// that `path + text` on a modifiable path takes this member and on a const path the free
    /// join below (the two would otherwise be ambiguous).
    const Path operator+(const TStr& relative);
    Path& operator+=(const TStr& relative);

    /// The path without its last -levels components, checked.
    [[nodiscard]] Path Ancestor(std::int32_t levels) const;

    [[nodiscard]] bool IsRoot() const;
    /// Case-sensitive prefix tests: \SYSTEMS\A descends from \SYSTEM, \system\A does not.
    [[nodiscard]] bool IsDescendentOfSystem() const;
    [[nodiscard]] bool IsDescendentOfUsers() const;
    [[nodiscard]] bool IsDescendentOfAllUsers() const;
    [[nodiscard]] bool IsDescendentOfCurrentUser() const;

protected:
    friend class Setting;
    friend struct PathAccess; // the resolution helpers beside Setting

    static StaticMembers& StaticMember();

    /// The text without its last -levels components; 0 gives the empty text, and a text whose
    /// first search finds no separator comes back whole.
    static TStr PathPrefix(const TStr& text, std::int32_t levels);
    /// The text behind its first -levels components (the leading separator skipped); 0 gives
    /// the whole text, and so does a search that runs out of separators.
    static TStr PathSuffix(const TStr& text, std::int32_t levels);

    [[nodiscard]] registry::RegistryKey::mtSubTree RegistrySubTree() const;
    /// The key path below the subtree's root; levels count on this registry text.
    [[nodiscard]] TStr RegistryPath(std::int32_t levels) const;
    /// Behind the last separator; empty for a trailing separator (the default value).
    [[nodiscard]] TStr RegistryKeyOrValueName() const;
    /// Opens the key at RegistryPath(levels) with mask 31; throws when it can't be opened.
    [[nodiscard]] registry::RegistryKey GetRegistryKey(std::int32_t levels) const;

private:
    TStr m_text; // the whole path as written; empty only when default-built or copied so
};

/// path + separator + text, checked as a whole; ".." and absolute texts get no special
/// treatment.
BVCORE_API Path operator+(const Path& path, const TStr& text);

} // namespace core::settings
