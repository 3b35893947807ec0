// RegistryKey: naming, opening and copying, sub-keys, existence, values and their type checks,
// multi-strings and failing closes, each on a fresh prefix below HKCU\Software\RegTest.
#include "Core/Common/RegistryKey.h"

#include "platform/RegistryTestUtil.h"

#include <bvplatform/testing.h>
#include <bvplatform/winerror.h>

#include "ThrownText.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <tuple>
#include <type_traits>
#include <typeinfo>

using core::registry::RegistryKey;
namespace testing_ = bvplatform::testing;

namespace {

constexpr REGSAM kAll = KEY_ALL_ACCESS;
constexpr auto kUser = RegistryKey::eSubTreeCurrentUser;

// The class tree: open and close failures sit beside Handle::Exception, not below it.
using H = RegistryKey::Handle;
static_assert(std::is_base_of_v<RegistryKey::Exception, H::OpenException> &&
              std::is_base_of_v<RegistryKey::Exception, H::CloseException> &&
              !std::is_base_of_v<H::Exception, H::OpenException> &&
              !std::is_base_of_v<H::Exception, H::CloseException> &&
              !std::is_base_of_v<RegistryKey::ValueException, RegistryKey::KeyException>);

/// Opens the protected statics and constructors.
struct OpenKey : RegistryKey {
    using RegistryKey::Close_;
    using RegistryKey::HandleFromSubTree_;
    using RegistryKey::KeyNameFromSubTree_;
    using RegistryKey::MultiStringToString_;
    using RegistryKey::Open_;
    using RegistryKey::StringToMultiString_;
};

using bvtest::ThrownText;

class RegistryKeyTest : public bvtest::RegistryFixture {
protected:
    /// HKCU\Software\RegTest\<name>, created with all access.
    static RegistryKey Scratch(const TStr& name, REGSAM access = kAll) {
        return RegistryKey(kUser, (u"Software\\RegTest\\" + name).c_str(), access, true);
    }
};

} // namespace

TEST_F(RegistryKeyTest, NamingAndIdentity) {
    const RegistryKey root(kUser, kAll);
    EXPECT_EQ(root.GetName(), u"");
    EXPECT_EQ(root.GetSubKey(u"SOFTWARE\\regtest").GetName(), u"SOFTWARE\\regtest");
    EXPECT_EQ(RegistryKey(kUser, u"\\Software", kAll, false).GetName(), u"Software");
    const RegistryKey created = root.CreateSubKey(u"Software\\RegTest", KEY_READ);
    EXPECT_EQ(created.GetName(), u"Software\\RegTest");
    EXPECT_EQ(created.GetSubTree(), kUser);
    const RegistryKey same(kUser, u"SOFTWARE\\regTEST", KEY_READ, false);
    const RegistryKey other(kUser, u"Software\\RegTest", kAll, false);
    EXPECT_TRUE(created == same && !(created != same));
    EXPECT_TRUE(created != other && !(created == other));
}

TEST_F(RegistryKeyTest, SubTreesAndPredefinedKeys) {
    using K = RegistryKey;
    struct Row {
        K::mtSubTree subTree;
        HKEY fromHandle; // maps to the subtree by SubTreeFromHKEY
        HKEY toHandle;   // what HandleFromSubTree_ gives
        const char16_t* name;
    };
    const Row rows[] = {
        {K::eSubTreeClassesRoot, HKEY_CLASSES_ROOT, HKEY_CLASSES_ROOT, u"HKEY_CLASSES_ROOT"},
        {K::eSubTreeCurrentConfig, HKEY_CURRENT_CONFIG, HKEY_CURRENT_CONFIG,
         u"HKEY_CURRENT_CONFIG"},
        {kUser, HKEY_CURRENT_USER, HKEY_CURRENT_USER, u"HKEY_CURRENT_USER"},
        {K::eSubTreeDynData, HKEY_DYN_DATA, nullptr, u""},
        {K::eSubTreeLocalMachine, HKEY_LOCAL_MACHINE, HKEY_LOCAL_MACHINE, u"HKEY_LOCAL_MACHINE"},
        {K::eSubTreePerformanceData, HKEY_PERFORMANCE_DATA, nullptr, u""},
        {K::eSubTreeUsers, HKEY_USERS, HKEY_USERS, u"HKEY_USERS"},
        {K::eSubTreeNone, m_key, nullptr, u""},
        {static_cast<K::mtSubTree>(9), nullptr, nullptr, u""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(static_cast<int>(row.subTree));
        if (row.fromHandle != nullptr) {
            EXPECT_EQ(K::SubTreeFromHKEY(row.fromHandle), row.subTree);
        }
        EXPECT_EQ(OpenKey::HandleFromSubTree_(row.subTree), row.toHandle);
        EXPECT_EQ(OpenKey::KeyNameFromSubTree_(row.subTree), row.name);
    }
}

TEST_F(RegistryKeyTest, FailedOpensThrowKeyExceptionWithTheName) {
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>(
                  [] { RegistryKey(kUser, u"Software\\RegTest\\Missing", kAll, false); }),
              u"Handle() exception.Software\\RegTest\\Missing");
    for (auto subTree : {RegistryKey::eSubTreeDynData, RegistryKey::eSubTreePerformanceData,
                         RegistryKey::eSubTreeNone}) {
        SCOPED_TRACE(static_cast<int>(subTree));
        EXPECT_EQ(ThrownText<RegistryKey::KeyException>([&] { RegistryKey(subTree, kAll); }),
                  u"Handle() exception.");
        EXPECT_FALSE(RegistryKey::Exists(subTree, u"", kAll));
    }
}

TEST_F(RegistryKeyTest, CopiesOpenAgainAndFailOnADeletedKey) {
    RegistryKey source = Scratch(u"Copied");
    source.SetValueDWord(u"v", 7);
    RegistryKey copy(source);
    { const RegistryKey dropped(source); } // closing one handle leaves the others working
    EXPECT_EQ(copy.GetValueDWord(u"v"), 7);
    EXPECT_TRUE(copy == source);

    const RegistryKey parent = Scratch(u"");
    parent.DeleteSubKey(u"Copied");
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>([&] { RegistryKey again(source); }),
              u"Handle() exception.Software\\RegTest\\Copied");
    // A failed reassignment leaves the new path in the object, with no handle.
    EXPECT_ANY_THROW(copy.Reassign(kUser, u"Software\\RegTest\\Nowhere", KEY_READ, false));
    EXPECT_EQ(copy.GetName(), u"Software\\RegTest\\Nowhere");
    EXPECT_EQ(copy.GetREGSAM(), KEY_READ);
    EXPECT_FALSE(copy.HasValue(u"v"));
}

TEST_F(RegistryKeyTest, CreateMakesEveryLevelOnceAndReportsFailures) {
    const RegistryKey deep = Scratch(u"L1\\L2\\L3");
    EXPECT_TRUE(RegistryKey::Exists(kUser, u"Software\\RegTest\\L1\\L2\\L3", KEY_READ));
    // An existing path creates nothing: the pending create fault stays unused.
    testing_::FailNextRegistryCall("RegCreateKeyExW", ERROR_ACCESS_DENIED);
    EXPECT_NO_THROW(Scratch(u"L1\\L2\\L3"));
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>([&] { (void)deep.CreateSubKey(u"X"); }),
              u"RegCreateKeyEx(Software\\RegTest\\L1\\L2\\L3\\X) returned 5.");
    testing_::FailNextRegistryCall("RegCreateKeyExW", ERROR_ACCESS_DENIED);
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>(
                  [&] { (void)RegistryKey(kUser, kAll).CreateSubKey(u"Y"); }),
              u"RegCreateKeyEx(\\Y) returned 5.");
}

TEST_F(RegistryKeyTest, SubKeyAndValueEnumeration) {
    RegistryKey key = Scratch(u"Enum");
    TStrVec names{u"stale"};
    key.GetSubKeyNames(names);
    EXPECT_TRUE(names.empty());
    for (const char16_t* sub : {u"b", u"A", u"c"}) {
        (void)key.CreateSubKey(sub);
    }
    key.SetValueDWord(u"z", 1);
    key.SetValueDWord(u"y", 2);
    key.GetSubKeyNames(names);
    EXPECT_EQ(names, (TStrVec{u"A", u"b", u"c"}));
    key.GetValueNames(names);
    EXPECT_EQ(names, (TStrVec{u"z", u"y"}));
    EXPECT_EQ(key.GetSubKeyCount(), 3u);
    EXPECT_EQ(key.GetValueCount(), 2u);

    testing_::FailNextRegistryCall("RegEnumKeyExW", ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>([&] { key.GetSubKeyNames(names); }),
              u"RegEnumKeyEx(Software\\RegTest\\Enum) returned 259.");
    EXPECT_TRUE(names.empty());
    testing_::FailNextRegistryCall("RegEnumValueW", ERROR_MORE_DATA);
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>([&] { key.GetValueNames(names); }),
              u"RegEnumValue(Software\\RegTest\\Enum) returned 234.");
}

TEST_F(RegistryKeyTest, CountsUnderAMaskWithoutQueryRight) {
    (void)Scratch(u"Masked\\Child");
    const RegistryKey key = Scratch(u"Masked", KEY_ENUMERATE_SUB_KEYS);
    EXPECT_EQ(key.GetSubKeyCount(), 0u);
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>([&] { (void)key.GetValueCount(); }),
              u"RegQueryInfoKey(Software\\RegTest\\Masked) returned 5.");
    TStrVec names{u"kept"};
    EXPECT_ANY_THROW(key.GetValueNames(names));
    EXPECT_EQ(names, TStrVec{u"kept"});
}

TEST_F(RegistryKeyTest, ExistenceUnderAMaskTheKeyRefuses) {
    RegistryKey parent = Scratch(u"Ro");
    parent.SetValueDWord(u"v", 1);
    (void)parent.CreateSubKey(u"Locked");
    ASSERT_EQ(BvRegSetKeyReadOnly(m_key, u"Ro\\Locked", TRUE), ERROR_SUCCESS);
    ASSERT_EQ(BvRegSetKeyReadOnly(m_key, u"Ro", TRUE), ERROR_SUCCESS);

    EXPECT_FALSE(parent.HasSubKey(u"Locked"));
    EXPECT_TRUE(parent.HasSubKey(u"Locked", KEY_READ));
    EXPECT_FALSE(parent.HasSubKey(u"Missing", KEY_READ));
    EXPECT_FALSE(RegistryKey::Exists(kUser, u"Software\\RegTest\\Ro", kAll));
    EXPECT_TRUE(RegistryKey::Exists(kUser, u"Software\\RegTest\\Ro", KEY_READ));
    EXPECT_FALSE(RegistryKey::ValueExists(kUser, u"Software\\RegTest\\Ro", kAll, u"v"));
    EXPECT_TRUE(RegistryKey::ValueExists(kUser, u"Software\\RegTest\\Ro", KEY_READ, u"v"));
    EXPECT_FALSE(RegistryKey::ValueExists(kUser, u"Software\\RegTest\\Ro", KEY_READ, u"w"));
    EXPECT_TRUE(parent.HasValue(u"v"));
    EXPECT_FALSE(parent.HasValue(u"w"));
    BvRegSetKeyReadOnly(m_key, u"Ro\\Locked", FALSE);
    BvRegSetKeyReadOnly(m_key, u"Ro", FALSE);
}

TEST_F(RegistryKeyTest, ExistenceThrowsOnlyForAFailingClose) {
    testing_::FailNextRegistryCall("RegCloseKey", ERROR_INVALID_HANDLE);
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>(
                  [] { (void)RegistryKey::Exists(kUser, u"Software", KEY_READ); }),
              u"Exists() call to RegCloseKey() returned 6.");
    testing_::FailNextRegistryCall("RegCloseKey", ERROR_INVALID_HANDLE);
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>(
                  [] { (void)RegistryKey::ValueExists(kUser, u"Software", KEY_READ, u"x"); }),
              u"ValueExists() call to RegCloseKey() returned 6.");
}

TEST_F(RegistryKeyTest, Deletion) {
    const RegistryKey key = Scratch(u"Del");
    (void)key.CreateSubKey(u"P\\C");
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>([&] { key.DeleteSubKey(u"P"); }),
              u"RegDeleteKey(Software\\RegTest\\Del\\P) returned 5.");
    key.DeleteSubKeyTree(u"P");
    EXPECT_FALSE(key.HasSubKey(u"P"));
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>([&] { key.DeleteSubKeyTree(u"P"); }),
              u"SHDeleteKey(Software\\RegTest\\Del\\P) returned 2.");
    EXPECT_EQ(ThrownText<RegistryKey::ValueException>([&] { key.DeleteValue(u"gone"); }),
              u"RegDeleteValue(Software\\RegTest\\Del\\gone) returned 2.");
}

TEST_F(RegistryKeyTest, FailingCloseIsReportedAlsoWhileUnwinding) {
    EXPECT_EQ(ThrownText<RegistryKey::Handle::CloseException>([] {
                  const RegistryKey key(kUser, u"Software", KEY_READ, false);
                  testing_::FailNextRegistryCall("RegCloseKey", ERROR_INVALID_HANDLE);
              }),
              u"~HKEY() returned 6.");

    testing_::DebugOutputCapture debug;
    try {
        const RegistryKey key(kUser, u"Software", KEY_READ, false);
        testing_::FailNextRegistryCall("RegCloseKey", ERROR_INVALID_HANDLE);
        throw std::runtime_error("unwinding");
    } catch (const std::runtime_error&) {
    }
    EXPECT_NE(debug.Text().find(u"~HKEY() returned 6."), TStr::npos) << "not announced";

    // In Open the failing close keeps the old handle, which still works.
    RegistryKey key = Scratch(u"Reopen");
    const RegistryKey other = Scratch(u"Other");
    testing_::FailNextRegistryCall("RegCloseKey", ERROR_INVALID_HANDLE);
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>([&] { key = other; }),
              u"Handle() exception.Software\\RegTest\\Other");
    EXPECT_TRUE(key.SetValueDWord(u"v", 1));
}

TEST_F(RegistryKeyTest, ProtectedWrappersStoreTheStatus) {
    LONG status = 0x0BADF00D;
    OpenKey::Close_(nullptr, status);
    EXPECT_EQ(status, 0x0BADF00D);
    OpenKey::Close_(OpenKey::Open_(m_key, KEY_READ, status), status);
    EXPECT_EQ(status, ERROR_SUCCESS);
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>(
                  [&] { OpenKey::Open_(m_key, u"Nope", KEY_READ, status); }),
              u"RegOpenKeyEx(Nope) returned 2.");
    EXPECT_EQ(status, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(
        ThrownText<RegistryKey::KeyException>([&] { OpenKey::Open_(nullptr, KEY_READ, status); }),
        u"RegOpenKeyEx() returned 6.");
    testing_::FailNextRegistryCall("RegCloseKey", ERROR_INVALID_HANDLE);
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>([&] { OpenKey::Close_(m_key, status); }),
              u"RegCloseKey() returned 6.");
    EXPECT_EQ(status, ERROR_INVALID_HANDLE);
}

namespace {

/// Writes raw bytes as a value of HKCU\Software\RegTest, bypassing the typed setters.
void Raw(HKEY key, const char16_t* name, DWORD type, const void* data, DWORD size) {
    ASSERT_EQ(RegSetValueExW(key, name, 0, type, static_cast<const BYTE*>(data), size),
              ERROR_SUCCESS);
}

} // namespace

TEST_F(RegistryKeyTest, TypedValuesRoundTrip) {
    RegistryKey key(kUser, u"Software\\RegTest", kAll, false);
    EXPECT_TRUE(key.SetValueDWord(u"d", -5));
    EXPECT_TRUE(key.SetValueQWord(u"q", -0x123456789A));
    EXPECT_TRUE(key.SetValueString(u"s", u"text"));
    EXPECT_TRUE(key.SetValueEnvironmentString(u"e", u"%HOME%\\x"));
    EXPECT_TRUE(key.SetValueBinary(u"b", ByteVec{0, 1, 0xFF}));
    EXPECT_TRUE(key.SetValueBinary(u"empty", ByteVec{}));
    EXPECT_TRUE(key.SetValueMultiString(u"m", TStrVec{u"a", u"b"}));
    EXPECT_EQ(key.GetValueDWord(u"d"), -5);
    EXPECT_EQ(key.GetValueQWord(u"q"), -0x123456789A);
    EXPECT_EQ(key.GetValueString(u"s"), u"text");
    EXPECT_EQ(key.GetValueString(u"e"), u"%HOME%\\x");
    EXPECT_EQ(key.GetValueBinary(u"b"), (ByteVec{0, 1, 0xFF}));
    EXPECT_EQ(key.GetValueMultiString(u"m"), (TStrVec{u"a", u"b"}));
    // Sizes as written: text and multi-string units times 2, NULs included.
    for (auto [name, type, size] : {std::tuple{u"s", REG_SZ, 10u},
                                    {u"e", REG_EXPAND_SZ, 18u},
                                    {u"empty", REG_BINARY, 0u},
                                    {u"m", REG_MULTI_SZ, 10u}}) {
        SCOPED_TRACE(bvtest::Show(name));
        DWORD gotType = 0xdeadbeef;
        DWORD gotSize = 0xdeadbeef;
        key.GetValueTypeAndSize(name, gotType, gotSize);
        EXPECT_EQ(std::tie(gotType, gotSize), std::tie(type, size));
        EXPECT_EQ(std::pair(key.GetValueType(name), key.GetValueSize(name)), std::pair(type, size));
    }
}

TEST_F(RegistryKeyTest, TypeChecksAndTheirTexts) {
    RegistryKey key(kUser, u"Software\\RegTest", kAll, false);
    key.SetValueString(u"sz", u"1");
    key.SetValueEnvironmentString(u"env", u"1");
    key.SetValueDWord(u"dw", 1);
    using Mismatch = RegistryKey::ValueTypeException;
    const TStr prefix = u"Registry value type mismatch for value Software\\RegTest\\";
    struct Row {
        const char16_t* text; // after the prefix
        std::function<void()> action;
    };
    const Row rows[] = {
        {u"sz expected 4 got 1.", [&] { (void)key.GetValueDWord(u"sz"); }},
        {u"sz expected 11 got 1.", [&] { (void)key.GetValueQWord(u"sz"); }},
        {u"dw expected 1 or 2 got 4.", [&] { (void)key.GetValueString(u"dw"); }},
        {u"sz expected 3 got 1.", [&] { (void)key.GetValueBinaryAsBool(u"sz"); }},
        {u"sz expected 7 got 1.", [&] { (void)key.GetValueMultiString(u"sz"); }},
        {u"sz expected 4 got 1.", [&] { key.SetValueDWord(u"sz", 2); }},
        {u"dw expected 11 got 4.", [&] { key.SetValueQWord(u"dw", 2); }},
        {u"env expected 1 got 2.", [&] { key.SetValueString(u"env", u"2"); }},
        {u"sz expected 2 got 1.", [&] { key.SetValueEnvironmentString(u"sz", u"2"); }},
        {u"dw expected 3 got 4.", [&] { key.SetValueBinary(u"dw", {}); }},
        {u"dw expected 7 got 4.", [&] { key.SetValueMultiString(u"dw", {}); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(bvtest::Show(row.text));
        EXPECT_EQ(ThrownText<Mismatch>(row.action), prefix + row.text);
    }
    // The record names the public function, not the helper that threw for it.
    for (auto [index, name] :
         {std::pair{0, u"GetValueDWord"}, {2, u"GetValueString"}, {9, u"SetValueBinary"}}) {
        try {
            rows[index].action();
            ADD_FAILURE() << "no throw";
        } catch (const Mismatch& e) {
            EXPECT_EQ(e.ThrowFunc(), u"core::registry::RegistryKey::" + TStr(name));
        }
    }
    EXPECT_EQ(key.GetValueString(u"sz"), u"1");
    EXPECT_EQ(key.GetValueString(u"env"), u"1");
    EXPECT_EQ(key.GetValueDWord(u"dw"), 1);
}

TEST_F(RegistryKeyTest, ReadAndWriteFailures) {
    RegistryKey key(kUser, u"Software\\RegTest", KEY_READ, false);
    EXPECT_EQ(ThrownText<RegistryKey::ValueException>([&] { (void)key.GetValueDWord(u"Level"); }),
              u"RegQueryValueEx(Software\\RegTest\\Level) returned 2.");
    EXPECT_EQ(ThrownText<RegistryKey::ValueException>([&] { key.SetValueDWord(u"v", 1); }),
              u"RegSetValueEx(Software\\RegTest\\v) returned 5.");
    EXPECT_EQ(ThrownText<RegistryKey::Exception>([&] { key.SetValueBinary(u"v", {1}); }),
              u"RegSetValueEx(Software\\RegTest\\v) returned 5.");
    Raw(m_key, u"v", REG_DWORD, "\1\0\0\0", 4);
    testing_::FailNextRegistryCall("RegQueryValueExW", ERROR_INVALID_HANDLE);
    EXPECT_EQ(ThrownText<RegistryKey::ValueException>([&] { (void)key.GetValueSize(u"v"); }),
              u"RegQueryValueEx(Software\\RegTest\\v) returned 6.");
    // The empty root name keeps its separator.
    const RegistryKey root(kUser, KEY_READ);
    EXPECT_EQ(ThrownText<RegistryKey::ValueException>([&] { (void)root.GetValueType(u"x"); }),
              u"RegQueryValueEx(\\x) returned 2.");
}

TEST_F(RegistryKeyTest, StoredSizesThatDoNotFitTheResult) {
    const RegistryKey key(kUser, u"Software\\RegTest", KEY_READ, false);
    Raw(m_key, u"short", REG_DWORD, "\x34\x12", 2);
    Raw(m_key, u"long", REG_DWORD, "\1\0\0\0\2\0\0\0", 8);
    Raw(m_key, u"qlong", REG_QWORD, "123456789", 9);
    EXPECT_EQ(key.GetValueDWord(u"short"), 0x1234);
    EXPECT_EQ(ThrownText<RegistryKey::ValueException>([&] { (void)key.GetValueDWord(u"long"); }),
              u"RegQueryValueEx(Software\\RegTest\\long) returned 234.");
    EXPECT_EQ(ThrownText<RegistryKey::ValueException>([&] { (void)key.GetValueQWord(u"qlong"); }),
              u"RegQueryValueEx(Software\\RegTest\\qlong) returned 234.");

    struct Row {
        const char* bytes; // stored as REG_SZ
        DWORD size;
        TStr expected;
    };
    const Row rows[] = {
        {"", 0, u""},
        {"\0\0", 2, u""},
        {"a\0b\0\0\0", 6, u"ab"},
        {"a\0\0\0b\0\0\0\0\0", 10, TStr(u"a\0b", 3)},
        {"a\0b\0c", 5, u"ab"},  // the odd byte is dropped
        {"a\0b\0xx", 4, u"ab"}, // no NUL stored: the platform looks at the unit behind
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.size);
        Raw(m_key, u"s", REG_SZ, row.bytes, row.size);
        EXPECT_EQ(key.GetValueString(u"s"), row.expected);
    }
}

TEST_F(RegistryKeyTest, MultiStrings) {
    struct Row {
        TStr packed;
        TStrVec strings;
    };
    const Row rows[] = {
        {TStr(u"", 0), {}},
        {TStr(u"\0", 1), {}},
        {TStr(u"a\0b\0\0", 5), {u"a", u"b"}},
        {TStr(u"a\0b\0", 4), {u"a"}},
        {TStr(u"a\0b", 3), {u"a"}},
        {TStr(u"\0\0", 2), {u""}},
        {TStr(u"a\0\0b\0\0", 6), {u"a", u"", u"b"}},
    };
    TStrVec strings{u"stale"};
    for (const Row& row : rows) {
        SCOPED_TRACE(bvtest::Show(row.packed));
        OpenKey::StringToMultiString_(row.packed, strings);
        EXPECT_EQ(strings, row.strings);
    }
    TStr packed = u"stale";
    OpenKey::MultiStringToString_({u"a", u"", u"bc"}, packed);
    EXPECT_EQ(packed, TStr(u"a\0\0bc\0\0", 7));

    RegistryKey key(kUser, u"Software\\RegTest", kAll, false);
    for (const TStrVec& value : {TStrVec{}, TStrVec{u""}, TStrVec{u"x", u"", u"yz"}}) {
        SCOPED_TRACE(value.size());
        key.SetValueMultiString(u"m", value);
        EXPECT_EQ(key.GetValueMultiString(u"m"), value);
    }
    EXPECT_EQ(key.GetValueSize(u"m"), 14u);
    key.SetValueMultiString(u"m", {});
    EXPECT_EQ(key.GetValueSize(u"m"), 2u);
    Raw(m_key, u"odd", REG_MULTI_SZ, "a\0\0\0\0\0\0", 7); // the odd byte is dropped
    EXPECT_EQ(key.GetValueMultiString(u"odd"), TStrVec{u"a"});
}

TEST_F(RegistryKeyTest, BinaryAsBool) {
    RegistryKey key(kUser, u"Software\\RegTest", kAll, false);
    struct Row {
        ByteVec bytes;
        bool expected;
    };
    for (const Row& row :
         {Row{{}, false}, Row{{0, 0, 0}, false}, Row{{0, 0, 1}, true}, Row{{0x80}, true}}) {
        SCOPED_TRACE(row.bytes.size());
        key.SetValueBinary(u"b", row.bytes);
        EXPECT_EQ(key.GetValueBinaryAsBool(u"b"), row.expected);
    }
}
