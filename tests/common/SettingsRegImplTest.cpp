// The direct settings route: prefix table, reads of any type, failures with the platform's
// status, defaults with create, silent setters and no fall-back to all users.
#include "Core/Common/SettingsRegImpl.h"
#include "Core/Common/RegistryKey.h"
#include "Core/Common/Settings.h"

#include "ViewerState.h"
#include "platform/RegistryTestUtil.h"
#include "support/TestViewer.h"

#include <gtest/gtest.h>

#include <typeinfo>

namespace settings = core::settings;
namespace testing_ = bvplatform::testing;

namespace {

const TStr kHere = u"\\USERS\\CURRENT\\RegTest\\"; // HKCU\Software\RegTest

/// The description of a Setting::Exception (exactly that class) thrown by `action`.
template <class F>
TStr ThrownText(F action) {
    try {
        action();
    } catch (const mcExc& e) {
        EXPECT_EQ(typeid(e).name(), typeid(settings::Setting::Exception).name());
        return e.whatT();
    }
    ADD_FAILURE() << "nothing thrown";
    return {};
}

class DirectRouteTest : public bvtest::RegistryFixture {
protected:
    void Raw(const char16_t* name, DWORD type, const void* data, DWORD size) const {
        ASSERT_EQ(RegSetValueExW(m_key, name, 0, type, static_cast<const BYTE*>(data), size),
                  ERROR_SUCCESS);
    }
    /// Type and size of a value of HKCU\Software\RegTest; type 0xdeadbeef when missing.
    std::pair<DWORD, DWORD> Stored(const char16_t* name) const {
        DWORD type = 0xdeadbeef;
        DWORD size = 0xdeadbeef;
        RegQueryValueExW(m_key, name, nullptr, &type, nullptr, &size);
        return {type, size};
    }
    /// The lines of assertion reports the viewer received.
    static std::vector<TStr> Assertions(const bvtest::TestViewer& viewer) {
        std::vector<TStr> lines;
        for (const auto& m : viewer.Messages()) {
            if (m.Text().starts_with(u"Assertion failed")) {
                lines.push_back(m.Text());
            }
        }
        return lines;
    }
};

} // namespace

TEST_F(DirectRouteTest, PrefixTable) {
    struct Row {
        const char16_t* path;
        HKEY root;
        const char16_t* keyPath;
        const char16_t* valueName;
    };
    const Row rows[] = {
        {u"\\SYSTEM\\A\\B", HKEY_LOCAL_MACHINE, u"Software\\A", u"B"},
        {u"\\system\\a\\b", HKEY_LOCAL_MACHINE, u"Software\\a", u"b"},
        {u"\\USERS\\CURRENT\\X\\Y\\Z", HKEY_CURRENT_USER, u"Software\\X\\Y", u"Z"},
        {u"\\CLASSES\\A\\B", HKEY_CLASSES_ROOT, u"A", u"B"},
        {u"\\Users\\All\\A\\B", HKEY_USERS, u".Default\\Software\\A", u"B"},
        {u"\\USERS\\ALLOWED\\A\\B", HKEY_USERS, u"ALLOWED\\A", u"B"},
        {u"\\USERS\\S-1-5-18\\A\\B", HKEY_USERS, u"S-1-5-18\\A", u"B"},
        {u"\\SYSTEM\\A", HKEY_LOCAL_MACHINE, u"Software\\A", u"A"},
        {u"\\CLASSES\\A", HKEY_CLASSES_ROOT, u"A", u"A"},
        {u"\\A\\B", nullptr, u"", u""},
        {u"\\SYSTEMS\\A", nullptr, u"", u""},
        {u"\\SYSTEM", nullptr, u"", u""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(bvtest::Show(row.path));
        HKEY root = reinterpret_cast<HKEY>(0xdeadbeef);
        TStr keyPath = u"stale";
        TStr valueName = u"stale";
        EXPECT_EQ(mcSettingsRegImpl::ParseValuePath(row.path, root, keyPath, valueName),
                  row.root != nullptr);
        EXPECT_EQ(root, row.root);
        EXPECT_EQ(keyPath, row.keyPath);
        EXPECT_EQ(valueName, row.valueName);
    }
}

TEST_F(DirectRouteTest, ReadsReachTheirRootsAndAnyType) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyW(HKEY_USERS, u".DEFAULT\\Software\\A", &key), ERROR_SUCCESS);
    const DWORD five = 5;
    RegSetValueExW(key, u"B", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&five), 4);
    RegCloseKey(key);
    ASSERT_EQ(RegCreateKeyW(HKEY_CLASSES_ROOT, u"A", &key), ERROR_SUCCESS);
    RegSetValueExW(key, u"B", 0, REG_SZ, reinterpret_cast<const BYTE*>(u"cls"), 8);
    RegCloseKey(key);
    EXPECT_EQ(settings::ValueInt32(u"\\USERS\\ALL\\A\\B"), 5);
    EXPECT_EQ(settings::ValueTStr(u"\\CLASSES\\A\\B"), u"cls");

    Raw(u"sz", REG_SZ, u"a", 4);
    Raw(u"neg", REG_DWORD, "\xFF\xFF\xFF\xFF", 4);
    Raw(u"short", REG_BINARY, "\x01\x02", 2);
    EXPECT_EQ(settings::ValueInt32(kHere + u"sz"), 97);
    EXPECT_TRUE(settings::ValueInt32AsBool(kHere + u"neg"));
    EXPECT_EQ(settings::ValueInt32(kHere + u"short"), 0x0201);
    EXPECT_EQ(settings::ValueTStr(kHere + u"short"), u"\u0201");

    struct Row {
        const char* bytes; // stored as REG_SZ
        DWORD size;
        const char16_t* expected;
    };
    for (const Row& row : {Row{"abcdxx", 4, u"\u6261\u6463"}, Row{"a\0b\0c", 5, u"ab"},
                           Row{"a\0\0\0b\0\0\0", 8, u"a"}, Row{"", 0, u""}}) {
        SCOPED_TRACE(row.size);
        Raw(u"text", REG_SZ, row.bytes, row.size);
        EXPECT_EQ(settings::ValueTStr(kHere + u"text"), row.expected);
    }
}

TEST_F(DirectRouteTest, FailuresCarryThePlatformStatus) {
    Raw(u"long", REG_SZ, u"long", 10);
    Raw(u"v", REG_DWORD, "\1\0\0\0", 4);
    HKEY ro = nullptr;
    ASSERT_EQ(RegCreateKeyW(m_key, u"Ro", &ro), ERROR_SUCCESS);
    RegCloseKey(ro);
    ASSERT_EQ(BvRegSetKeyReadOnly(m_key, u"Ro", TRUE), ERROR_SUCCESS);
    struct Row {
        TStr path;
        TStr text;
    };
    const Row int32Rows[] = {
        {kHere + u"missing",
         u"mcSettingsRegImpl::ValueInt32(" + kHere + u"missing) - return code 2"},
        {kHere + u"No\\v", u"mcSettingsRegImpl::ValueInt32(" + kHere + u"No\\v) - return code 2"},
        {kHere + u"long", u"mcSettingsRegImpl::ValueInt32(" + kHere + u"long) - return code 234"},
        {kHere + u"Ro\\v", u"mcSettingsRegImpl::ValueInt32(" + kHere + u"Ro\\v) - return code 5"},
        {u"\\A\\B", u"mcSettingsRegImpl::ValueInt32(\\A\\B) - return code 0"},
    };
    for (const Row& row : int32Rows) {
        SCOPED_TRACE(bvtest::Show(row.path));
        EXPECT_EQ(ThrownText([&] { (void)settings::ValueInt32(row.path); }), row.text);
    }
    EXPECT_EQ(ThrownText([&] { (void)settings::ValueTStr(kHere + u"missing"); }),
              u"mcSettingsRegImpl::ValueTStr(" + kHere + u"missing) - return code 2");
    testing_::FailNextRegistryCall("RegQueryValueExW", ERROR_INVALID_HANDLE);
    EXPECT_EQ(ThrownText([&] { (void)settings::ValueTStr(kHere + u"v"); }),
              u"mcSettingsRegImpl::ValueTStr(" + kHere + u"v) - return code 6");
    // The close's status is not the read's.
    testing_::FailNextRegistryCall("RegCloseKey", ERROR_INVALID_HANDLE);
    EXPECT_EQ(settings::ValueInt32(kHere + u"v"), 1);
    BvRegSetKeyReadOnly(m_key, u"Ro", FALSE);
}

TEST_F(DirectRouteTest, UnknownPrefixIsAnAssertionNotAFailure) {
    bvtest::TestViewer viewer;
    bvtest::AttachViewer(viewer);
    EXPECT_EQ(settings::ValueInt32(u"\\A\\B", 4, true), 4);
    EXPECT_EQ(settings::ValueTStr(u"\\A\\B", u"d", true), u"d");
    settings::SetValueInt32(u"\\A\\B", 1);
    const std::vector<TStr> lines = Assertions(viewer);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[0].find(u"\"false\",mcSettingsRegImpl::ParseValuePath(),"), TStr::npos)
        << bvtest::Show(lines[0]);
}

TEST_F(DirectRouteTest, DefaultsWithCreate) {
    EXPECT_EQ(settings::ValueInt32(kHere + u"n", 7, false), 7);
    EXPECT_EQ(Stored(u"n").first, 0xdeadbeef);
    EXPECT_EQ(settings::ValueInt32(kHere + u"n", 7, true), 7);
    EXPECT_EQ(Stored(u"n"), std::make_pair(REG_DWORD, DWORD{4}));
    EXPECT_EQ(settings::ValueInt32(kHere + u"n", 9, true), 7);

    EXPECT_EQ(settings::ValueTStr(kHere + u"t", u"abc", true), u"abc");
    EXPECT_EQ(Stored(u"t"), std::make_pair(REG_SZ, DWORD{8}));
    EXPECT_EQ(settings::ValueTStr(kHere + u"t", u"other", true), u"abc");

    EXPECT_TRUE(settings::ValueInt32AsBool(kHere + u"b", true, true));
    EXPECT_EQ(settings::ValueInt32(kHere + u"b"), 1);

    // A missing key chain is made; a value too wide to read is overwritten.
    EXPECT_EQ(settings::ValueTStr(kHere + u"New\\Deep\\t", u"x", true), u"x");
    EXPECT_EQ(settings::ValueTStr(kHere + u"New\\Deep\\t"), u"x");
    Raw(u"wide", REG_BINARY, "12345678", 8);
    EXPECT_EQ(settings::ValueInt32(kHere + u"wide", 3, true), 3);
    EXPECT_EQ(Stored(u"wide"), std::make_pair(REG_DWORD, DWORD{4}));
}

TEST_F(DirectRouteTest, SettersAreSilentAndWriteWhereTold) {
    settings::SetValueInt32AsBool(kHere + u"flag", true);
    EXPECT_EQ(Stored(u"flag"), std::make_pair(REG_DWORD, DWORD{4}));
    EXPECT_EQ(core::registry::RegistryKey(core::registry::RegistryKey::eSubTreeCurrentUser,
                                          u"Software\\RegTest", KEY_READ, false)
                  .GetValueDWord(u"flag"),
              1);
    settings::SetValueTStr(kHere + u"Sub\\s", u"hi");
    EXPECT_EQ(settings::ValueTStr(kHere + u"Sub\\s"), u"hi");
    settings::SetValueInt32(kHere + u"Sub\\s", 2); // no type test
    EXPECT_EQ(settings::ValueInt32(kHere + u"Sub\\s"), 2);

    HKEY ro = nullptr;
    ASSERT_EQ(RegCreateKeyW(m_key, u"Ro", &ro), ERROR_SUCCESS);
    RegCloseKey(ro);
    ASSERT_EQ(BvRegSetKeyReadOnly(m_key, u"Ro", TRUE), ERROR_SUCCESS);
    EXPECT_NO_THROW(settings::SetValueInt32(kHere + u"Ro\\v", 1));
    EXPECT_EQ(settings::ValueInt32(kHere + u"Ro\\v", 8, true), 8);
    BvRegSetKeyReadOnly(m_key, u"Ro", FALSE);
    EXPECT_EQ(settings::ValueInt32(kHere + u"Ro\\v", 9, false), 9);
}

TEST_F(DirectRouteTest, NoFallBackToAllUsers) {
    settings::SetValueInt32(u"\\USERS\\ALL\\RegTest\\v", 4);
    EXPECT_EQ(settings::ValueInt32(u"\\USERS\\ALL\\RegTest\\v"), 4);
    EXPECT_EQ(ThrownText([] { (void)settings::ValueInt32(kHere + u"v"); }),
              u"mcSettingsRegImpl::ValueInt32(" + kHere + u"v) - return code 2");
    EXPECT_EQ(settings::ValueInt32(kHere + u"v", 6, false), 6);
}
