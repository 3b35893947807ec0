// Path: well-formedness and the descent tests, prefix and suffix arithmetic, the registry
// mapping of each branch, joining and ancestors, and the failure texts with their names.
#include "Core/Common/SettingsPath.h"

#include <gtest/gtest.h>

#include <functional>
#include <typeinfo>

using core::registry::RegistryKey;
using core::settings::Path;

namespace {

constexpr std::int32_t kAll = Path::ki32PathLevelsAll;

/// Opens the protected members.
struct OpenPath : Path {
    explicit OpenPath(const TStr& text) : Path(text) {}
    using Path::PathPrefix;
    using Path::PathSuffix;
    using Path::RegistryKeyOrValueName;
    using Path::RegistryPath;
    using Path::RegistrySubTree;
    using Path::StaticMember;
};

/// Text and recorded function name of the PathException that `action` threw.
struct Thrown {
    TStr text;
    TStr function;
};
Thrown ThrownBy(const std::function<void()>& action) {
    try {
        action();
    } catch (const mcExc& e) {
        EXPECT_EQ(typeid(e).name(), typeid(Path::PathException).name());
        return {e.whatT(), e.ThrowFunc()};
    }
    ADD_FAILURE() << "nothing thrown";
    return {};
}

const TStr kAssign = u"core::settings::Path::operator`='";
const TStr kPlus = u"core::settings::Path::operator`+'";

} // namespace

TEST(SettingsPath, ConstantsAndTheNamesOfTheTree) {
    static_assert(Path::ki32PathLevelsAll == 65535 && Path::kui32MaxNameChars == 256);
    static_assert(std::is_base_of_v<core::settings::Exception, Path::Exception> &&
                  std::is_base_of_v<Path::Exception, Path::PathException>);
    EXPECT_EQ(Path::kstrInvalidPathChars, u"*?<>");
    EXPECT_EQ(Path::PathSeparator(), 0x5C);
    EXPECT_EQ(Path::PathRoot(), u"\\");
    EXPECT_EQ(Path::PathSystem(), u"\\SYSTEM");
    EXPECT_EQ(Path::PathUsers(), u"\\USERS");
    EXPECT_EQ(Path::PathAllUsers(), u"\\USERS\\ALL");
    EXPECT_EQ(Path::PathCurrentUser(), u"\\USERS\\CURRENT");
    EXPECT_EQ(Path::PathParent(), u"..");
    const Path::StaticMembers& m = OpenPath::StaticMember();
    EXPECT_EQ(&m, &OpenPath::StaticMember());
    EXPECT_EQ(&m.m_pathAllUsers, &Path::PathAllUsers());
    EXPECT_EQ(m.m_allUsersName + m.m_currentUserName + m.m_systemName + m.m_usersName,
              u"ALLCURRENTSYSTEMUSERS");
}

TEST(SettingsPath, AbsoluteAndWellFormed) {
    struct Row {
        const char16_t* text;
        bool absolute;
        bool wellFormed;
    };
    const Row rows[] = {
        {u"", false, true},          {u"\\", true, true},    {u"A\\B", false, true},
        {u"\\A\\..\\B", true, true}, {u"\\A\\", true, true}, {u"\\A...B", true, false},
        {u"\\A\\\\B", true, false},  {u"\\A*", true, false}, {u"\\A?", true, false},
        {u"\\<A", true, false},      {u"\\A>", true, false}, {u"..", false, true},
        {u"/A", false, true},        {u" \\A", false, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(TStr(row.text)));
        EXPECT_EQ(Path::IsAbsolute(row.text), row.absolute);
        EXPECT_EQ(Path::IsWellFormed(row.text), row.wellFormed);
    }
}

TEST(SettingsPath, DescentIsCaseSensitiveEqualityIsNot) {
    struct Row {
        const char16_t* text;
        const char* descends; // of System, Users, All users, Current user
    };
    const Row rows[] = {
        {u"\\SYSTEM", "S..."},         {u"\\SYSTEMS\\A", "S..."},
        {u"\\system\\A", "...."},      {u"\\USERS", ".U.."},
        {u"\\USERS\\ALL\\A", ".UA."},  {u"\\USERS\\ALLOWED", ".UA."},
        {u"\\USERS\\CURRENT", ".U.C"}, {u"\\users\\current", "...."},
        {u"\\USERS\\OTHER", ".U.."},   {u"\\", "...."},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(TStr(row.text)));
        const Path p(row.text);
        const std::string got = {
            p.IsDescendentOfSystem() ? 'S' : '.', p.IsDescendentOfUsers() ? 'U' : '.',
            p.IsDescendentOfAllUsers() ? 'A' : '.', p.IsDescendentOfCurrentUser() ? 'C' : '.'};
        EXPECT_EQ(got, row.descends);
    }
    const Path current(u"\\USERS\\CURRENT");
    EXPECT_TRUE(current == Path(u"\\users\\current") && current == u"\\Users\\Current");
    EXPECT_FALSE(current != u"\\USERS\\current" || current == u"\\USERS\\CURRENTLY");
    EXPECT_TRUE(current != Path(u"\\USERS") && Path() == u"" && Path() != current);
    EXPECT_TRUE(Path(u"\\").IsRoot() && !Path().IsRoot() && !current.IsRoot());
    EXPECT_EQ(static_cast<TStr>(Path(u"\\A\\..\\b")), u"\\A\\..\\b"); // kept as written
}

TEST(SettingsPath, PrefixAndSuffixArithmetic) {
    struct Row {
        const char16_t* text;
        std::int32_t levels;
        const char16_t* prefix;
        const char16_t* suffix;
    };
    const Row rows[] = {
        {u"\\A\\B\\C", kAll, u"\\A\\B\\C", u"\\A\\B\\C"},
        {u"\\A\\B\\C", 0, u"", u"\\A\\B\\C"},
        {u"\\A\\B\\C", -1, u"\\A\\B", u"B\\C"},
        {u"\\A\\B\\C", -2, u"\\A", u"C"},
        {u"\\A\\B\\C", -3, u"", u"\\A\\B\\C"},
        {u"\\A\\B\\C", -4, u"", u"\\A\\B\\C"},
        {u"\\A\\B\\C", 3, u"\\A\\B\\C", u"\\A\\B\\C"},
        {u"\\USERS\\CURRENT\\A\\B", -2, u"\\USERS\\CURRENT", u"A\\B"},
        {u"\\USERS\\CURRENTLY", -2, u"", u"\\USERS\\CURRENTLY"},
        {u"SOFTWARE", -1, u"SOFTWARE", u"SOFTWARE"},
        {u"\\SYSTEM", -1, u"", u"\\SYSTEM"},
        {u"\\A\\", -1, u"\\A", u""},
        {u"", -1, u"", u""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(TStr(row.text)) + " " + std::to_string(row.levels));
        EXPECT_EQ(OpenPath::PathPrefix(row.text, row.levels), row.prefix);
        EXPECT_EQ(OpenPath::PathSuffix(row.text, row.levels), row.suffix);
    }
}

TEST(SettingsPath, RegistryMappingOfEachBranch) {
    using K = RegistryKey;
    struct Row {
        const char16_t* text;
        K::mtSubTree subTree;
        const char16_t* whole;  // RegistryPath with all levels
        const char16_t* parent; // with -1
        const char16_t* name;
    };
    const Row rows[] = {
        {u"\\SYSTEM", K::eSubTreeLocalMachine, u"SOFTWARE", u"SOFTWARE", u"SYSTEM"},
        {u"\\SYSTEM\\A\\B", K::eSubTreeLocalMachine, u"SOFTWARE\\A\\B", u"SOFTWARE\\A", u"B"},
        {u"\\USERS\\ALL\\A", K::eSubTreeUsers, u".DEFAULT\\Software\\A", u".DEFAULT\\Software",
         u"A"},
        {u"\\USERS\\ALLOWED\\A", K::eSubTreeUsers, u".DEFAULT\\SoftwareOWED\\A",
         u".DEFAULT\\SoftwareOWED", u"A"},
        {u"\\USERS\\CURRENT\\A\\b", K::eSubTreeCurrentUser, u"Software\\A\\b", u"Software\\A",
         u"b"},
        {u"\\USERS\\CURRENT\\A\\", K::eSubTreeCurrentUser, u"Software\\A\\", u"Software\\A", u""},
        {u"\\USERS\\OTHER\\A", K::eSubTreeNone, u"", u"", u"A"},
        {u"\\users\\current\\A", K::eSubTreeNone, u"", u"", u"A"},
        {u"\\USERS", K::eSubTreeNone, u"", u"", u"USERS"},
        {u"\\", K::eSubTreeNone, u"", u"", u""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(TStr(row.text)));
        const OpenPath p(row.text);
        EXPECT_EQ(p.RegistrySubTree(), row.subTree);
        EXPECT_EQ(p.RegistryPath(kAll), row.whole);
        EXPECT_EQ(p.RegistryPath(-1), row.parent);
        EXPECT_EQ(p.RegistryPath(0), u"");
        EXPECT_EQ(p.RegistryKeyOrValueName(), row.name);
    }
}

TEST(SettingsPath, JoiningAndAncestors) {
    struct Row {
        std::function<Path()> make;
        const char16_t* result; // null: throws `error` recorded under `function`
        const char16_t* error = nullptr;
        const TStr* function = nullptr;
    };
    Path a(u"\\A");
    Path ab(u"\\A\\B");
    const Path& constA = a; // `+` on a const path is the free join: ".." is a plain name there
    const Row rows[] = {
        {[&] { return a + u"B\\C"; }, u"\\A\\B\\C"},
        {[&] { return ab + u".."; }, u"\\A"},
        {[&] { return Path() + u"X"; }, u"\\X"},
        {[&] { return constA + u".."; }, u"\\A\\.."},
        {[&] { return Path(a) += u"b"; }, u"\\A\\b"},
        {[&] { return ab.Ancestor(-1); }, u"\\A"},
        {[&] { return ab.Ancestor(kAll); }, u"\\A\\B"},
        {[&] { return Path(u"\\A", u"B"); }, u"\\A\\B"},
        {[&] { return Path(a, u"B"); }, u"\\A\\B"},
        {[&] { return core::settings::operator+(a, u".."); }, u"\\A\\.."},
        {[&] { return a + u".."; }, nullptr, u"Path  is not absolute.", &kAssign},
        {[&] { return a + u"\\B"; }, nullptr, u"Path \\B is not relative.", &kPlus},
        {[&] { return a + u"B?"; }, nullptr, u"Path B? is not well-formed.", &kPlus},
        {[&] { return Path(u"\\") + u"A"; }, nullptr, u"Path \\\\A is not well-formed.", &kAssign},
        {[&] { return Path(u"\\SYSTEM").Ancestor(-1); }, nullptr, u"Path  is not absolute.",
         &kAssign},
        {[&] { return ab.Ancestor(0); }, nullptr, u"Path  is not absolute.", &kAssign},
        {[&] { return Path(u"A"); }, nullptr, u"Path A is not absolute.", &kAssign},
        {[&] { return Path(u"\\A", u"\\B"); }, nullptr, u"Path \\A\\\\B is not well-formed.",
         &kAssign},
        {[&] { return core::settings::operator+(a, u"\\B"); }, nullptr,
         u"Path \\A\\\\B is not well-formed.", &kAssign},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE("row " + std::to_string(i));
        const Row& row = rows[i];
        if (row.result != nullptr) {
            EXPECT_EQ(static_cast<TStr>(row.make()), row.result);
            continue;
        }
        const Thrown thrown = ThrownBy([&] { (void)row.make(); });
        EXPECT_EQ(thrown.text, row.error);
        EXPECT_EQ(thrown.function, *row.function);
    }
}

TEST(SettingsPath, RefusedAssignmentLeavesThePath) {
    Path p(u"\\A\\B");
    EXPECT_EQ(ThrownBy([&] { p = TStr(u"\\A*"); }).text, u"Path \\A* is not well-formed.");
    EXPECT_EQ(ThrownBy([&] {
                  p += u"..";
                  p += u"..";
              }).text,
              u"Path  is not absolute.");
    EXPECT_EQ(static_cast<TStr>(p), u"\\A");
    Path empty;
    empty = Path(); // the copy takes over unchecked
    EXPECT_EQ(static_cast<TStr>(empty), u"");
}
