// Setting values against a real store: what ValueType tells from each registry type, the typed
// reads through the fall-back with and without a default, Exists and Children.
#include "Core/Common/Settings.h"

#include "SettingsTestUtil.h"
#include "ThrownText.h"

#include <bvplatform/testing.h>

#include <gtest/gtest.h>

#include <vector>

using core::settings::Path;
using core::settings::Setting;
using namespace core::settings; // the eValueType enumerators and the free functions
using bvtest::ThrownText;

namespace {

class SettingValuesTest : public bvtest::SettingsFixture {
protected:
    /// Stores raw bytes of any registry type under SetTest of the current user.
    static void Raw(const TStr& name, DWORD type, const std::vector<BYTE>& data) {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, KeyPath(kUser, u"").c_str(), 0, nullptr, 0,
                                  KEY_ALL_ACCESS, nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        EXPECT_EQ(RegSetValueExW(key, name.c_str(), 0, type, data.data(),
                                 static_cast<DWORD>(data.size())),
                  ERROR_SUCCESS);
        RegCloseKey(key);
    }
};

bool operator==(const tagPOINT& a, const tagPOINT& b) {
    return a.x == b.x && a.y == b.y;
}
bool operator==(const tagRECT& a, const tagRECT& b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

} // namespace

TEST_F(SettingValuesTest, ValueTypeFromWhatIsStored) {
    struct Row {
        TStr text;
        eValueType type;
    };
    const Row texts[] = {
        {u"<bool>true</bool>", eValueTypeBool},
        {u"<BOOL>TRUE</BOOL>", eValueTypeBool},
        {u"<bool>maybe</bool>", eValueTypeBool}, // only the first token decides
        {u"<double>AAAAAAAA+D8=</double>", eValueTypeDouble},
        {u"<struct.tagPOINT><x>1</x><y>2</y></struct.tagPOINT>", eValueTypePOINT},
        {u"<struct tagPOINT>x</struct tagPOINT>", eValueTypePOINT}, // blank in the stored tag
        {u"<Struct.TagRect>x</Struct.TagRect>", eValueTypeRECT},
        {u"Hello", eValueTypeTStr},
        {u"a<b>", eValueTypeTStr}, // two tokens
        {u"", eValueTypeTStr},
        {u"Hello <b>world</b>", eValueTypeUnknown},
        {u"<boolean>true</boolean>", eValueTypeUnknown},
    };
    Key(kUser);
    for (const Row& row : texts) {
        SCOPED_TRACE(testing::PrintToString(row.text));
        Key(kUser).SetValueString(u"T", row.text.c_str());
        EXPECT_EQ(ValueType(kOwn + u"\\T"), row.type);
        EXPECT_TRUE(Setting(kOwn + u"\\T").IsValueType(row.type));
    }

    Key(kUser).SetValueEnvironmentString(u"Expand", u"<bool>true</bool>");
    Key(kUser).SetValueBinary(u"Bin", {1});
    Key(kUser).SetValueDWord(u"Dword", 1);
    Key(kUser).SetValueMultiString(u"Multi", {u"a"});
    Key(kUser).SetValueQWord(u"Qword", 1);
    Raw(u"None", REG_NONE, {});
    Raw(u"BigEndian", REG_DWORD_BIG_ENDIAN, {0, 0, 0, 1});
    Key(kUser, u"Node").SetValueDWord(u"V", 1);
    Key(kUser, u"Dword"); // a key of the same name as a value: the value wins
    Key(kUsers).SetValueQWord(u"Shared", 1);
    const Row names[] = {
        {u"Expand", eValueTypeTStr},       {u"Bin", eValueTypeByteVec},
        {u"Dword", eValueTypeInt32},       {u"Multi", eValueTypeTStrVec},
        {u"Qword", eValueTypeInt64},       {u"None", eValueTypeUnknown},
        {u"BigEndian", eValueTypeUnknown}, {u"Node", eValueTypeNone},
        {u"Shared", eValueTypeInt64},
    };
    for (const Row& row : names) {
        SCOPED_TRACE(testing::PrintToString(row.text));
        EXPECT_EQ(ValueType(kOwn + u"\\" + row.text), row.type);
    }
    EXPECT_TRUE(ValueIsType(kOwn + u"\\Node", eValueTypeNone));
    EXPECT_EQ(ThrownText<Setting::TypeException>([] { (void)ValueType(kOwn + u"\\Nothing"); }),
              u"Could not retrieve setting type.");
}

TEST_F(SettingValuesTest, TypedReadsThroughTheFallBack) {
    Key(kUser).SetValueString(u"Bool", u"<bool>true</bool>");
    Key(kUser).SetValueString(u"Double", u"<double>AAAAAAAAAsA=</double>");
    Key(kUser).SetValueString(u"Point", u"<struct.tagPOINT><x>10</x><y>-20</y></struct.tagPOINT>");
    Key(kUsers).SetValueString(u"Rect",
                               u"<struct.tagRECT><left>1</left><top>2</top><right>3</right>"
                               u"<bottom>4</bottom></struct.tagRECT>");
    Key(kUsers).SetValueBinary(u"Bytes", {0, 0, 7});
    Key(kUser).SetValueBinary(u"Empty", {});
    Key(kUsers).SetValueDWord(u"Int32", -5);
    Key(kUsers).SetValueQWord(u"Int64", -(1LL << 40));
    Key(kUser).SetValueEnvironmentString(u"Text", u"%PATH%");
    Key(kUsers).SetValueMultiString(u"Vec", {u"a", u"", u"b"});

    const auto at = [](const TStr& name) { return Setting(kOwn + u"\\" + name); };
    EXPECT_TRUE(at(u"Bool").ValueBool());
    EXPECT_EQ(at(u"Double").ValueDouble(), -2.25);
    EXPECT_TRUE(at(u"Point").ValuePOINT() == (tagPOINT{10, -20}));
    EXPECT_TRUE(at(u"Rect").ValueRECT() == (tagRECT{1, 2, 3, 4}));
    EXPECT_EQ(at(u"Bytes").ValueByteVec(), (ByteVec{0, 0, 7}));
    EXPECT_TRUE(at(u"Bytes").ValueByteVecAsBool());
    EXPECT_FALSE(at(u"Empty").ValueByteVecAsBool());
    EXPECT_EQ(at(u"Int32").ValueInt32(), -5);
    EXPECT_TRUE(at(u"Int32").ValueInt32AsBool());
    EXPECT_EQ(at(u"Int64").ValueInt64(), -(1LL << 40));
    EXPECT_EQ(at(u"Text").ValueTStr(), u"%PATH%");
    EXPECT_EQ(at(u"Bool").ValueTStr(), u"<bool>true</bool>"); // any text reads as it lies
    EXPECT_EQ(at(u"Vec").ValueTStrVec(), (TStrVec{u"a", u"", u"b"}));
    // The free reads build the same setting.
    EXPECT_TRUE(ValuePOINT(kOwn + u"\\Point") == (tagPOINT{10, -20}));
    EXPECT_EQ(ValueInt64(kOwn + u"\\Int64"), -(1LL << 40));
}

TEST_F(SettingValuesTest, FailedReadsAndTheirDefaults) {
    Key(kUser, u"Node");
    Key(kUser).SetValueString(u"Text", u"Hello");
    Key(kUser).SetValueString(u"Damaged", u"<double>AAAA</double>"); // 3 bytes, not 8
    Key(kUser).SetValueString(u"Mismatch", u"<double>AAAAAAAAAAA=</double>");
    Key(kUser, u"Locked").SetValueDWord(u"V", 1);
    ReadOnly(kUser, u"Locked");

    bvplatform::testing::DebugOutputCapture debug;
    const TStr failing[] = {u"\\Nothing", u"\\Node", u"\\Text", u"\\Damaged", u"\\Locked\\V"};
    for (const TStr& name : failing) {
        SCOPED_TRACE(testing::PrintToString(name));
        const Setting s(kOwn + name);
        const TStr physical = s.PhysicalPath();
        EXPECT_EQ(ThrownText<Setting::PathException>([&] { (void)s.ValueDouble(); }),
                  u"Could not retrieve value.");
        EXPECT_EQ(ThrownText<Setting::PathException>([&] { (void)s.ValueInt32(); }),
                  u"Could not retrieve value.");
        EXPECT_EQ(s.ValueDouble(7.5), 7.5);
        EXPECT_EQ(s.ValueInt32(9), 9);
        EXPECT_TRUE(s.ValuePOINT(tagPOINT{1, 2}) == (tagPOINT{1, 2}));
        EXPECT_EQ(s.ValueTStrVec(TStrVec{u"d"}), TStrVec{u"d"});
        EXPECT_EQ(s.PhysicalPath(), physical);
    }
    EXPECT_NE(debug.Text().find(u"Invalid or corrupted setting value."), TStr::npos)
        << "the default still went through the throw procedure";
    EXPECT_EQ(Setting(kOwn + u"\\Text").ValueTStr(u"d"), u"Hello");
    EXPECT_FALSE(Exists(kOwn + u"\\Nothing")) << "a default creates nothing";
    // A stored double read as bool: the member with a default gives the default, the free
    // form with a default reads what exists and throws.
    EXPECT_TRUE(Setting(kOwn + u"\\Mismatch").ValueBool(true));
    EXPECT_EQ(ThrownText<Setting::PathException>(
                  [] { (void)ValueBool(kOwn + u"\\Mismatch", true, true); }),
              u"Could not retrieve value.");
}

TEST_F(SettingValuesTest, ExistsAbsoluteAndRelative) {
    Key(kUsers, u"A").SetValueDWord(u"X", 1);
    Key(kUser, u"B");
    const TStr yes[] = {kOwn + u"\\A", kOwn + u"\\A\\X", kOwn + u"\\B",   u"\\",
                        u"\\SYSTEM",   u"\\USERS",       u"\\USERS\\ALL", u"\\USERS\\CURRENT"};
    const TStr no[] = {kOwn + u"\\C", u"SetTest", u"\\A?", u"", u"\\USERS\\CURRENTLY"};
    for (const TStr& path : yes) {
        EXPECT_TRUE(Exists(path)) << testing::PrintToString(path);
    }
    for (const TStr& path : no) {
        EXPECT_FALSE(Exists(path)) << testing::PrintToString(path);
    }
    const Setting b(kOwn + u"\\B");
    EXPECT_TRUE(b.Exists(u"..\\A") == false); // ".." is special only alone
    EXPECT_TRUE(b.Exists(u".."));
    EXPECT_TRUE(b.Exists(kOwn + u"\\A\\X"));
    EXPECT_FALSE(b.Exists(u"X"));
    EXPECT_EQ(b.Path(), kOwn + u"\\B");
    EXPECT_EQ(ThrownText<Path::PathException>([] { (void)Setting(u"\\A").Exists(u".."); }),
              u"Path  is not absolute.");
}

TEST_F(SettingValuesTest, ChildrenOrderAndMerge) {
    Key(kUser, u"P\\K1");
    Key(kUser, u"P").SetValueDWord(u"V1", 1);
    Key(kUser, u"P").SetValueDWord(u"", 2); // the unnamed default value
    Key(kUsers, u"P\\K2");
    Key(kUsers, u"P\\K1");
    Key(kUsers, u"P").SetValueDWord(u"V2", 3);

    const auto paths = [](const std::vector<Setting>& children) {
        std::vector<TStr> out;
        for (const Setting& child : children) {
            out.push_back(child.Path() + u" -> " + child.PhysicalPath());
        }
        return out;
    };
    const TStr p = kOwn + u"\\P";
    // Physical: the own key only; values first, in creation order.
    EXPECT_EQ(paths(Children(p)),
              (std::vector<TStr>{p + u"\\V1 -> " + p + u"\\V1", p + u"\\ -> " + p + u"\\",
                                 p + u"\\K1 -> " + p + u"\\K1"}));

    // A setting that still holds the all-users path merges both lists, duplicates kept; sub-keys
    // come in the registry's order, whatever their creation order.
    Key(kUser).DeleteSubKeyTree(u"P");
    const Setting virtualP(p);
    Key(kUser, u"P").SetValueDWord(u"V1", 1);
    const TStr s = kShared + u"\\P";
    EXPECT_EQ(paths(virtualP.Children()),
              (std::vector<TStr>{p + u"\\V1 -> " + p + u"\\V1", p + u"\\V2 -> " + s + u"\\V2",
                                 p + u"\\K1 -> " + s + u"\\K1", p + u"\\K2 -> " + s + u"\\K2"}));
    Key(kUser).DeleteSubKeyTree(u"P");
    EXPECT_THROW((void)virtualP.Children(), core::registry::RegistryKey::KeyException);
}
