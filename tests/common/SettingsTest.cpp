// Setting: resolution against a real store in a fresh prefix (own key, own value, all-users key
// and value, nothing, read-only keys), the setting's members and their failure texts.
#include "Core/Common/Settings.h"

#include "SettingsTestUtil.h"

#include <bvplatform/testing.h>

#include "ThrownText.h"

#include <gtest/gtest.h>

#include <functional>
#include <typeinfo>

using core::registry::RegistryKey;
using core::settings::Path;
using core::settings::Setting;

namespace {

constexpr REGSAM kAll = KEY_ALL_ACCESS;

/// Opens the protected members.
struct OpenSetting : Setting {
    using Setting::PhysicalPath;
    using Setting::RegistryKeyForReading;
    using Setting::Setting;
};

using bvtest::ThrownText;

class SettingTest : public bvtest::SettingsFixture {};

} // namespace

TEST_F(SettingTest, ResolutionOrderAndFallBack) {
    Key(kUser, u"OwnKey");
    Key(kUser).SetValueDWord(u"OwnValue", 1);
    Key(kUsers, u"SharedKey");
    Key(kUsers).SetValueDWord(u"SharedValue", 2);
    Key(kUser, u"Both").SetValueDWord(u"X", 3);
    Key(kUser).SetValueDWord(u"Both", 4);
    Key(kUsers, u"Both");
    Key(kUser, u"Partial").SetValueDWord(u"X", 5);
    Key(kUsers, u"Partial").SetValueDWord(u"B", 6);
    RegistryKey(RegistryKey::eSubTreeLocalMachine, u"SOFTWARE\\SetTest\\Machine", kAll, true);
    Key(kUser, u"Locked");
    Key(kUsers, u"Locked");
    ReadOnly(kUser, u"Locked");
    Key(kUser, u"LockedParent").SetValueDWord(u"V", 7);
    Key(kUsers, u"LockedParent").SetValueDWord(u"V", 8);
    ReadOnly(kUser, u"LockedParent");
    Key(kUser, u"LockedAlone");
    ReadOnly(kUser, u"LockedAlone");

    struct Row {
        TStr path;
        TStr physical;
    };
    const Row rows[] = {
        {kOwn + u"\\OwnKey", kOwn + u"\\OwnKey"},
        {u"\\users\\CURRENT\\settest\\ownkey", u""}, // no descendent, so no branch
        {u"\\USERS\\CURRENT\\settest\\OWNKEY", u"\\USERS\\CURRENT\\settest\\OWNKEY"},
        {kOwn + u"\\OwnValue", kOwn + u"\\OwnValue"},
        {kOwn + u"\\SharedKey", kShared + u"\\SharedKey"},
        {kOwn + u"\\SharedValue", kShared + u"\\SharedValue"},
        {kOwn + u"\\Nothing", u""},
        {kOwn + u"\\NoParent\\X", u""},
        {kOwn + u"\\Both", kOwn + u"\\Both"},
        {kOwn + u"\\Partial", kOwn + u"\\Partial"},
        {kOwn + u"\\Partial\\X", kOwn + u"\\Partial\\X"},
        {kOwn + u"\\Partial\\B", kShared + u"\\Partial\\B"},
        {kOwn + u"\\Locked", kShared + u"\\Locked"},
        {kOwn + u"\\LockedParent\\V", kShared + u"\\LockedParent\\V"},
        {kOwn + u"\\LockedAlone", u""},
        {kShared + u"\\SharedKey", kShared + u"\\SharedKey"},
        {kShared + u"\\OwnKey", u""},
        {u"\\SYSTEM\\SetTest\\Machine", u"\\SYSTEM\\SetTest\\Machine"},
        {u"\\SYSTEM\\SetTest\\SharedKey", u""},
        {u"\\USERS\\OTHER\\A", u""},
        {u"\\A\\B", u""},
        {u"\\", u"\\"},
        {u"\\system", u"\\system"},
        {u"\\users", u"\\users"},
        {u"\\Users\\All", u"\\Users\\All"},
        {u"\\USERS\\current", u"\\USERS\\current"},
    };
    bvplatform::testing::DebugOutputCapture debug;
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.path));
        EXPECT_EQ(OpenSetting::PhysicalPath(row.path), row.physical);
        EXPECT_EQ(Setting(row.path).PhysicalPath(), row.physical);
    }
    EXPECT_EQ(debug.Text(), u"") << "a plain resolution threw on its way";
}

TEST_F(SettingTest, StatesAndMembers) {
    Key(kUser, u"Own\\Child");
    Key(kUsers, u"Shared").SetValueDWord(u"V", 1);
    const Setting own(kOwn + u"\\Own");
    EXPECT_TRUE(own.IsPhysical() && !own.IsVirtual() && own.HasChildren());
    EXPECT_EQ(own.Name(), u"Own");
    EXPECT_EQ(own.Path(), kOwn + u"\\Own");
    EXPECT_FALSE(Setting(kOwn + u"\\Own\\Child").HasChildren());

    Setting shared(kOwn + u"\\Shared");
    EXPECT_TRUE(shared.IsVirtual() && !shared.IsPhysical());
    EXPECT_TRUE(shared == Setting(u"\\users\\current\\settest\\SHARED"));
    EXPECT_TRUE(shared != own);

    // The merge of the fall-back's entries shows once the own key exists, empty.
    Key(kUser, u"Shared");
    EXPECT_TRUE(shared.HasChildren());
    const Setting copy = shared; // no new resolution
    EXPECT_EQ(copy.PhysicalPath(), kShared + u"\\Shared");
    shared.SetPath(shared.Path());
    EXPECT_EQ(shared.PhysicalPath(), kOwn + u"\\Shared");
    EXPECT_FALSE(shared.HasChildren());

    shared.SetPath(u"..");
    EXPECT_EQ(shared.Path(), kOwn);
    shared.SetPath(u"Own\\Child");
    EXPECT_EQ(shared.PhysicalPath(), kOwn + u"\\Own\\Child");
    const Setting parent = shared.Parent();
    EXPECT_EQ(parent.Path(), kOwn + u"\\Own");
    EXPECT_EQ(parent.PhysicalPath(), kOwn + u"\\Own");
    EXPECT_TRUE(Setting(u"\\SYSTEM").HasParent() && !Setting(u"\\").HasParent());

    const RegistryKey read = OpenSetting(kOwn + u"\\Shared\\V").RegistryKeyForReading();
    EXPECT_EQ(read.GetName(), u".DEFAULT\\Software\\SetTest\\Shared");
    EXPECT_EQ(read.GetSubTree(), kUsers);
    EXPECT_EQ(read.GetREGSAM(), 31u);
}

TEST_F(SettingTest, FailureTexts) {
    using SP = Setting::PathException;
    using PP = Path::PathException;
    Key(kUsers, u"Shared");
    EXPECT_EQ(ThrownText<SP>([] { Setting(u"SetTest"); }), u"Copy constructor failed.");
    EXPECT_EQ(ThrownText<PP>([] { Setting(u"\\A?"); }), u"Path \\A? is not well-formed.");
    EXPECT_EQ(ThrownText<SP>([] { Setting(u"\\USERS\\CURRENTLY"); }),
              u"Could not determine physical path for \\USERS\\CURRENTLY.");
    bvplatform::testing::FailNextRegistryCall("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    EXPECT_EQ(ThrownText<SP>([] { Setting(kOwn + u"\\X"); }),
              u"Could not determine physical path for " + kOwn + u"\\X.");

    const OpenSetting nothing(kOwn + u"\\Nothing");
    EXPECT_EQ(nothing.PhysicalPath(), u"");
    EXPECT_EQ(ThrownText<PP>([&] { (void)nothing.IsPhysical(); }), u"Path  is not absolute.");
    EXPECT_EQ(ThrownText<PP>([&] { (void)nothing.IsVirtual(); }), u"Path  is not absolute.");
    EXPECT_EQ(ThrownText<SP>([&] { (void)nothing.RegistryKeyForReading(); }),
              u"Could not get registry key for setting (read).");
    EXPECT_EQ(ThrownText<PP>([] { (void)Setting(u"\\SYSTEM").Parent(); }),
              u"Path  is not absolute.");
    EXPECT_EQ(ThrownText<RegistryKey::KeyException>(
                  [] { (void)Setting(kOwn + u"\\Shared").HasChildren(); }),
              u"Handle() exception.Software\\SetTest\\Shared");

    Setting a(u"\\USERS"); // physical by definition
    EXPECT_EQ(ThrownText<PP>([&] { a.SetPath(u".."); }), u"Path  is not absolute.");
    EXPECT_EQ(a.Path(), u"\\USERS");
    EXPECT_EQ(ThrownText<SP>([&] { a.SetPath(u"CURRENTLY"); }),
              u"Could not determine physical path for \\USERS\\CURRENTLY.");
    EXPECT_EQ(a.Path(), u"\\USERS\\CURRENTLY");
    EXPECT_EQ(a.PhysicalPath(), u"\\USERS"); // the failed resolution left the old result
}
