// Writing settings against a real store: Physicalize by type (the stored bytes at both
// locations), writes through own, virtual and unresolved settings, the Create family with its
// type checks, Create and Delete with their refusals, the free facade, and what a failure leaves.
#include "Core/Common/Settings.h"

#include "SettingsTestUtil.h"
#include "ThrownText.h"

#include <bvplatform/testing.h>

#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

using core::settings::Path;
using core::settings::Setting;
using namespace core::settings; // the eValueType enumerators and the free functions
using bvtest::ThrownText;

namespace {

using Stored = std::pair<DWORD, std::vector<BYTE>>; // registry type and bytes

/// Opens the protected member.
struct OpenSetting : Setting {
    using Setting::RegistryKeyForWriting;
    using Setting::Setting;
};

class SettingWritesTest : public bvtest::SettingsFixture {
protected:
    /// What lies under `name` of SetTest\<key> for the current user or all users; type 0xFFFF
    /// for nothing.
    static Stored At(RegistryKey::mtSubTree subTree, const TStr& key, const TStr& name) {
        const HKEY root = subTree == kUser ? HKEY_CURRENT_USER : HKEY_USERS;
        Stored stored{0xFFFF, std::vector<BYTE>(4096)};
        DWORD size = 4096;
        HKEY h = nullptr;
        if (RegOpenKeyExW(root, KeyPath(subTree, key).c_str(), 0, KEY_READ, &h) != ERROR_SUCCESS) {
            return {0xFFFF, {}};
        }
        if (RegQueryValueExW(h, name.c_str(), nullptr, &stored.first, stored.second.data(),
                             &size) != ERROR_SUCCESS) {
            stored = {0xFFFF, {}};
        }
        stored.second.resize(size);
        RegCloseKey(h);
        return stored;
    }
    static bool OwnKeyExists(const TStr& name) {
        return RegistryKey::Exists(kUser, KeyPath(kUser, name).c_str(), KEY_READ);
    }
};

} // namespace

TEST_F(SettingWritesTest, PhysicalizeCopiesEachTypeUnchanged) {
    RegistryKey shared = Key(kUsers, u"P");
    shared.SetValueString(u"Bool", u"<BOOL>TRUE</BOOL>");
    shared.SetValueString(u"Double", u"<double>AAAAAAAA8D8=</double>");
    shared.SetValueString(u"Point", u"<struct.tagPOINT><y>2</y></struct.tagPOINT>");
    shared.SetValueString(u"Rect", u"<struct.tagRECT>AQAAAAIAAAADAAAABAAAAA==</struct.tagRECT>");
    shared.SetValueString(u"Text", u"plain");
    shared.SetValueBinary(u"Bytes", {0, 1, 2});
    shared.SetValueDWord(u"Int32", -1);
    shared.SetValueQWord(u"Int64", 1LL << 50);
    shared.SetValueMultiString(u"Vec", {u"a", u"b"});
    for (const TStr name :
         {u"Bool", u"Double", u"Point", u"Rect", u"Text", u"Bytes", u"Int32", u"Int64", u"Vec"}) {
        SCOPED_TRACE(testing::PrintToString(name));
        const Stored before = At(kUsers, u"P", name);
        Setting s(kOwn + u"\\P\\" + name);
        ASSERT_TRUE(s.IsVirtual());
        s.Physicalize();
        EXPECT_TRUE(s.IsPhysical());
        EXPECT_EQ(At(kUser, u"P", name), before);
        EXPECT_EQ(At(kUsers, u"P", name), before);
    }

    // An expandable text comes down as a plain one, its text unchanged.
    shared.SetValueEnvironmentString(u"Expand", u"%HOME%");
    Setting expand(kOwn + u"\\P\\Expand");
    expand.Physicalize();
    EXPECT_EQ(At(kUser, u"P", u"Expand").first, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(At(kUser, u"P", u"Expand").second, At(kUsers, u"P", u"Expand").second);

    // A key node becomes an empty own key, which from then on hides the all-users entries from
    // Children while each value below still falls back on its own.
    Key(kUsers, u"P\\Node").SetValueDWord(u"V", 5);
    Setting node(kOwn + u"\\P\\Node");
    node.Physicalize();
    EXPECT_TRUE(node.IsPhysical());
    EXPECT_TRUE(OwnKeyExists(u"P\\Node"));
    EXPECT_EQ(At(kUser, u"P\\Node", u"V").first, 0xFFFFu);
    EXPECT_FALSE(node.HasChildren());
    EXPECT_TRUE(node.Children().empty());
    EXPECT_EQ(Setting(kOwn + u"\\P\\Node\\V").ValueInt32(), 5);

    // Unknown: nothing copied, the setting stays virtual and a write lands with all users.
    shared.SetValueString(u"Odd", u"Hello <b>world</b>");
    OpenSetting odd(kOwn + u"\\P\\Odd");
    odd.Physicalize();
    EXPECT_TRUE(odd.IsVirtual());
    odd.SetValueTStr(u"changed");
    EXPECT_EQ(
        RegistryKey(kUsers, KeyPath(kUsers, u"P").c_str(), KEY_READ, false).GetValueString(u"Odd"),
        u"changed");
    EXPECT_EQ(At(kUser, u"P", u"Odd").first, 0xFFFFu);
}

TEST_F(SettingWritesTest, WritesThroughOwnVirtualAndUnresolvedSettings) {
    Key(kUser).SetValueString(u"Text", u"Hello");
    Key(kUsers).SetValueString(u"Shared", u"<bool>false</bool>");

    Setting own(kOwn + u"\\Text");
    own.SetValueBool(true); // a TStr and a bool are both REG_SZ
    EXPECT_EQ(own.ValueTStr(), u"<bool>true</bool>");
    EXPECT_EQ(ThrownText<Setting::PathException>([&] { own.SetValueInt32(1); }),
              u"Could not set value.");
    EXPECT_EQ(own.ValueTStr(), u"<bool>true</bool>");

    Setting first(kOwn + u"\\Shared");
    const Setting second(kOwn + u"\\Shared");
    first.SetValueBool(true);
    EXPECT_EQ(first.PhysicalPath(), kOwn + u"\\Shared");
    EXPECT_TRUE(first.ValueBool());
    EXPECT_EQ(second.PhysicalPath(), kShared + u"\\Shared"); // holds its old resolution
    EXPECT_FALSE(second.ValueBool());
    Setting third = second;
    third.SetValuePOINT(tagPOINT{-3, 4}); // physicalizes again, over the first write
    EXPECT_EQ(third.ValueTStr(), u"<struct.tagPOINT><x>-3</x><y>4</y></struct.tagPOINT>");
    EXPECT_EQ(RegistryKey(kUsers, KeyPath(kUsers, u"").c_str(), KEY_READ, false)
                  .GetValueString(u"Shared"),
              u"<bool>false</bool>");

    Setting nothing(kOwn + u"\\Deep\\Nothing");
    EXPECT_EQ(ThrownText<Setting::PathException>([&] { nothing.SetValueDouble(1.5); }),
              u"Could not set value.");
    EXPECT_EQ(ThrownText<Path::PathException>([&] { nothing.Physicalize(); }),
              u"Path  is not absolute.");
    EXPECT_EQ(ThrownText<Setting::PathException>(
                  [&] { (void)static_cast<OpenSetting&>(nothing).RegistryKeyForWriting(); }),
              u"Could not get registry key for setting (write).");
    EXPECT_FALSE(OwnKeyExists(u"Deep"));
    nothing.CreateInt32(nothing.Path(), 7); // the Create family brings it into being
    EXPECT_EQ(Setting(kOwn + u"\\Deep\\Nothing").ValueInt32(), 7);
}

TEST_F(SettingWritesTest, CreateChecksTheTypeThroughTheFallBack) {
    using TE = Setting::TypeException;
    using PE = Setting::PathException;
    Key(kUsers, u"A").SetValueString(u"Text", u"x");
    Key(kUsers, u"A").SetValueDWord(u"Number", 1);
    Key(kUser).SetValueString(u"Odd", u"Hello <b>world</b>");
    Key(kUser, u"Node");

    EXPECT_EQ(ThrownText<TE>([] { CreateInt32(kOwn + u"\\A\\Text", 2); }),
              u"Error creating setting( " + kOwn +
                  u"\\A\\Text) - type mismatch (existing setting type is eValueTypeInt32).");
    CreateInt32(kOwn + u"\\A\\Number", 2); // same type: created at the current user's path
    EXPECT_EQ(At(kUser, u"A", u"Number").second, (std::vector<BYTE>{2, 0, 0, 0}));
    EXPECT_EQ(At(kUsers, u"A", u"Number").second, (std::vector<BYTE>{1, 0, 0, 0}));

    EXPECT_EQ(ThrownText<TE>([] { CreateBool(kOwn + u"\\Node", true); }),
              u"Error creating setting( " + kOwn +
                  u"\\Node) - type mismatch (existing setting type is eValueTypeBool).");
    EXPECT_EQ(ThrownText<TE>([] { CreateTStr(kOwn + u"\\Odd", u"y"); }),
              u"Error creating setting( " + kOwn +
                  u"\\Odd) - type mismatch (existing setting type is eValueTypeTStr).");
    Setting(kOwn + u"\\Odd").SetValueTStr(u"y"); // the member write does not check
    EXPECT_EQ(ValueType(kOwn + u"\\Odd"), eValueTypeTStr);

    EXPECT_EQ(ThrownText<PE>([] { CreateBool(u"\\B", true); }), u"Error creating setting( \\B).");
    EXPECT_EQ(ThrownText<PE>([] { Create(u"\\USERS\\OTHER\\A"); }),
              u"Error creating setting( \\USERS\\OTHER\\A).");

    // Every type, by the member with relative paths, over a fresh chain of keys.
    Setting base(kOwn);
    base.CreateBool(u"New\\Bool", true);
    base.CreateByteVec(u"New\\Bytes", {9});
    base.CreateDouble(u"New\\Double", -0.0);
    base.CreateInt64(u"New\\Int64", -1);
    base.CreatePOINT(u"New\\Point", tagPOINT{1, 2});
    base.CreateRECT(u"New\\Rect", tagRECT{1, 2, 3, 4});
    base.CreateTStr(u"New\\Text", u"t");
    base.CreateTStrVec(u"New\\Vec", {u"v"});
    const std::pair<const char16_t*, eValueType> expected[] = {
        {u"Bool", eValueTypeBool},   {u"Bytes", eValueTypeByteVec}, {u"Double", eValueTypeDouble},
        {u"Int64", eValueTypeInt64}, {u"Point", eValueTypePOINT},   {u"Rect", eValueTypeRECT},
        {u"Text", eValueTypeTStr},   {u"Vec", eValueTypeTStrVec}};
    for (const auto& [name, type] : expected) {
        EXPECT_EQ(ValueType(kOwn + u"\\New\\" + name), type) << testing::PrintToString(name);
    }
    EXPECT_TRUE(std::signbit(ValueDouble(kOwn + u"\\New\\Double")));
    EXPECT_EQ(base.Path(), kOwn);
    EXPECT_EQ(ThrownText<Path::PathException>([&] { base.CreateInt32(u"A?", 1); }),
              u"Path A? is not well-formed.");
}

TEST_F(SettingWritesTest, CreateAndDelete) {
    using PE = Setting::PathException;
    Key(kUsers, u"Shared\\Inner");
    Create(kOwn + u"\\Shared\\Inner"); // made at the own location although all users have it
    EXPECT_TRUE(OwnKeyExists(u"Shared\\Inner"));

    Delete(kOwn + u"\\Missing");
    Key(kUsers).SetValueDWord(u"OnlyShared", 1);
    EXPECT_EQ(ThrownText<PE>([] { Delete(kOwn + u"\\OnlyShared"); }),
              u"Attempt to delete virtual setting( " + kOwn + u"\\OnlyShared).");

    Key(kUser, u"Both\\Deep\\Deeper").SetValueDWord(u"V", 1);
    Key(kUser).SetValueDWord(u"Both", 2);
    // The value goes first; the key of the same name still answers to the path, which fails.
    EXPECT_EQ(ThrownText<PE>([] { Setting(kOwn).Delete(u"Both"); }),
              u"Error deleting setting( " + kOwn + u"\\Both).");
    EXPECT_EQ(At(kUser, u"", u"Both").first, 0xFFFFu);
    EXPECT_TRUE(OwnKeyExists(u"Both\\Deep\\Deeper"));
    Delete(kOwn + u"\\Both"); // then the key, with everything below it
    EXPECT_FALSE(OwnKeyExists(u"Both"));

    Key(kUser).SetValueDWord(u"Shadow", 3);
    Key(kUsers).SetValueDWord(u"Shadow", 4);
    EXPECT_EQ(ThrownText<PE>([] { Delete(kOwn + u"\\Shadow"); }),
              u"Error deleting setting( " + kOwn + u"\\Shadow).");
    EXPECT_EQ(At(kUser, u"", u"Shadow").first, 0xFFFFu) << "deleted before the failure";
    EXPECT_EQ(Setting(kOwn + u"\\Shadow").PhysicalPath(), kShared + u"\\Shadow");

    EXPECT_EQ(ThrownText<PE>([] { Delete(u"\\SYSTEM"); }), u"Error deleting setting( \\SYSTEM).");
}

TEST_F(SettingWritesTest, FreeFacadeCreatesWhatIsMissingAndPhysicalizesFallBacks) {
    Key(kUsers).SetValueString(u"Shared", u"<bool>false</bool>");
    EXPECT_FALSE(ValueBool(kOwn + u"\\Shared", true, true));
    EXPECT_EQ(At(kUser, u"", u"Shared").first, 0xFFFFu) << "an all-users value exists";

    EXPECT_EQ(ValueRECT(kOwn + u"\\A\\Rect", tagRECT{1, 2, 3, 4}, false).bottom, 4);
    EXPECT_FALSE(Exists(kOwn + u"\\A\\Rect"));
    EXPECT_EQ(ValueRECT(kOwn + u"\\A\\Rect", tagRECT{1, 2, 3, 4}, true).bottom, 4);
    EXPECT_EQ(Setting(kOwn + u"\\A\\Rect").ValueTStr(),
              u"<struct.tagRECT><left>1</left><top>2</top><right>3</right><bottom>4</bottom>"
              u"</struct.tagRECT>");

    SetValueBool(kOwn + u"\\New\\Flag", true); // nothing stored: keys and value made
    EXPECT_TRUE(ValueBool(kOwn + u"\\New\\Flag"));
    SetValueBool(kOwn + u"\\Shared", true); // falls back: own copy written, shared unchanged
    EXPECT_TRUE(IsPhysical(kOwn + u"\\Shared"));
    EXPECT_EQ(Setting(kShared + u"\\Shared").ValueTStr(), u"<bool>false</bool>");
    EXPECT_EQ(Setting(kOwn + u"\\Shared").ValueTStr(), u"<bool>true</bool>");

    EXPECT_EQ(ThrownText<Setting::PathException>([] { SetValueBool(u"SetTest\\X", true); }),
              u"Copy constructor failed.");
    EXPECT_FALSE(IsPhysical(kOwn + u"\\Nothing"));
    EXPECT_TRUE(IsVirtual(kOwn + u"\\Nothing"));
    EXPECT_EQ(ThrownText<Setting::PathException>([] { (void)IsPhysical(u"\\USERS\\CURRENTLY"); }),
              u"Could not determine physical path for \\USERS\\CURRENTLY.");
    EXPECT_TRUE(HasParent(kOwn) && !HasParent(u"\\"));
    EXPECT_EQ(Parent(kOwn + u"\\New\\Flag").Path(), kOwn + u"\\New");
    EXPECT_TRUE(HasChildren(kOwn + u"\\New"));
}

TEST_F(SettingWritesTest, FailuresLeaveOnlyWhatTheyMayLeave) {
    Key(kUsers, u"P").SetValueDWord(u"V", 1);
    bvplatform::testing::FailNextRegistryCall("RegSetValueExW", ERROR_ACCESS_DENIED);
    Setting v(kOwn + u"\\P\\V");
    EXPECT_EQ(ThrownText<Setting::PathException>([&] { v.Physicalize(); }),
              u"Could not generate registry key to write path " + kOwn + u"\\P\\V.");
    EXPECT_TRUE(OwnKeyExists(u"P")) << "the key chain stays";
    EXPECT_EQ(v.PhysicalPath(), kShared + u"\\P\\V");

    // The copy succeeds, the write fails: the own copy may stay, the shared value does.
    Setting w(kOwn + u"\\P\\V");
    w.Physicalize();
    bvplatform::testing::FailNextRegistryCall("RegSetValueExW", ERROR_ACCESS_DENIED);
    EXPECT_EQ(ThrownText<Setting::PathException>([&] { w.SetValueInt32(5); }),
              u"Could not set value.");
    EXPECT_EQ(w.ValueInt32(), 1);
    EXPECT_EQ(Setting(kShared + u"\\P\\V").ValueInt32(), 1);

    bvplatform::testing::FailNextRegistryCall("RegSetValueExW", ERROR_ACCESS_DENIED);
    EXPECT_EQ(ThrownText<Setting::PathException>([] { CreateInt64(kOwn + u"\\Q\\R\\V", 1); }),
              u"Error creating setting( " + kOwn + u"\\Q\\R\\V).");
    EXPECT_TRUE(OwnKeyExists(u"Q\\R")) << "the parent keys may stay";
    EXPECT_FALSE(Exists(kOwn + u"\\Q\\R\\V"));
}
