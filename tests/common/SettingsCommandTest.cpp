// `bvcore settings` run in-process against a fresh prefix: value words, escaping, each verb, the
// refusals that must leave the store as it was, and the fall-back cases of list and delete.
#include "SettingsCommand.h"
#include "SettingsText.h"

#include "Core/Common/RegistryKey.h"

#include "platform/RegistryTestUtil.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using bvtool::settings::Console;
using core::registry::RegistryKey;

const std::string kOwn = R"(\USERS\CURRENT\RegTest)";
const std::string kShared = R"(\USERS\ALL\RegTest)";

class SettingsCommandTest : public bvtest::RegistryFixture {
protected:
    int Run(std::vector<std::string> words) {
        m_io = {};
        return bvtool::settings::Run(words, m_io);
    }
    /// Creates `name` below Software\RegTest of the current user, or of the default user.
    static RegistryKey Key(bool allUsers, const TStr& name = u"") {
        const TStr root = allUsers ? u".DEFAULT\\Software\\RegTest" : u"Software\\RegTest";
        return RegistryKey(allUsers ? RegistryKey::eSubTreeUsers : RegistryKey::eSubTreeCurrentUser,
                           (root + (name.empty() ? u"" : u"\\" + name)).c_str(), KEY_ALL_ACCESS,
                           true);
    }
    /// Every key, value type and data byte below both RegTest keys, in enumeration order.
    static std::string Dump() {
        std::string out;
        DumpKey(HKEY_CURRENT_USER, u"Software\\RegTest", out);
        DumpKey(HKEY_USERS, u".DEFAULT\\Software\\RegTest", out);
        return out;
    }
    static void DumpKey(HKEY root, const std::u16string& path, std::string& out) {
        HKEY key = nullptr;
        out += "[" + std::string(path.begin(), path.end()) + "]";
        if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
            return;
        }
        char16_t name[256];
        unsigned char data[1024];
        for (DWORD i = 0;; ++i) {
            DWORD nameLen = 256, size = sizeof data, type = 0;
            if (RegEnumValueW(key, i, name, &nameLen, nullptr, &type, data, &size) != 0) {
                break;
            }
            out += std::string(name, name + nameLen) + ":" + std::to_string(type) + "=" +
                   std::string(data, data + size) + ";";
        }
        for (DWORD i = 0;; ++i) {
            DWORD nameLen = 256;
            if (RegEnumKeyExW(key, i, name, &nameLen, nullptr, nullptr, nullptr, nullptr) != 0) {
                break;
            }
            DumpKey(root, path + u"\\" + std::u16string(name, nameLen), out);
        }
        RegCloseKey(key);
    }

    Console m_io; // what the last Run() printed
};

TEST(SettingsTextTest, ValueWordsReadAndPrintBack) {
    using core::settings::eValueType;
    struct Row {
        const char* type;
        std::vector<std::string> words;
        const char* shown; // nullptr: refused
    };
    const Row rows[] = {
        {"bool", {"true"}, "true"},
        {"bool", {"FALSE"}, "false"},
        {"bool", {"yes"}, nullptr},
        {"int32", {"-2147483648"}, "-2147483648"},
        {"int32", {"2147483648"}, nullptr},
        {"int32", {"12a"}, nullptr},
        {"int32", {"1", "2"}, nullptr},
        {"int32", {}, nullptr},
        {"int64", {"-9223372036854775808"}, "-9223372036854775808"},
        {"int64", {"9223372036854775808"}, nullptr},
        {"double", {"0.1"}, "0.1"},
        {"double", {"1e300"}, "1e+300"},
        {"double", {"-0"}, "-0"},
        {"double", {"2.5x"}, nullptr},
        {"point", {"10,-20"}, "10,-20"},
        {"point", {"1,2,3"}, nullptr},
        {"point", {",1"}, nullptr},
        {"rect", {"1,2,3,4"}, "1,2,3,4"},
        {"rect", {"1,2,3"}, nullptr},
        {"bytevec", {"00ff1A"}, "00FF1A"},
        {"bytevec", {""}, "''"},
        {"bytevec", {"abc"}, nullptr},
        {"tstr", {"two words"}, "'two words'"},
        {"tstr", {""}, "''"},
        {"tstr", {"a", "b"}, nullptr},
        {"tstrvec", {"a", "", "b c"}, "a '' 'b c'"},
        {"tstrvec", {}, "(no elements)"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.type) + " " + testing::PrintToString(row.words));
        const std::optional<eValueType> type = bvtool::settings::WritableType(row.type);
        ASSERT_TRUE(type.has_value());
        std::string error;
        const auto value = bvtool::settings::ParseValue(*type, row.words, error);
        EXPECT_EQ(value.has_value(), row.shown != nullptr);
        EXPECT_EQ(error.empty(), row.shown != nullptr) << error;
        if (value && row.shown) {
            EXPECT_EQ(bvtool::settings::FormatValue(*value), row.shown);
        }
    }
    for (const char* word : {"key", "unknown", "Int32", "string"}) {
        EXPECT_FALSE(bvtool::settings::WritableType(word).has_value()) << word;
    }
}

TEST(SettingsTextTest, EscapingKeepsOneLine) {
    struct Row {
        TStr text;
        const char* escaped;
        const char* word;
    };
    const Row rows[] = {
        {u"Midnight", "Midnight", "Midnight"},
        {u"C:\\Music", "C:\\Music", "'C:\\Music'"},
        {u"it's", "it's", "'it'\\''s'"},
        {u"a\nb\tc\r", "a\\nb\\tc\\r", "$'a\\nb\\tc\\r'"},
        {TStr(u"x\0y", 3), "x\\0y", "$'x\\0y'"},
        {u"\x1B\x7F", "\\x1B\\x7F", "$'\\x1B\\x7F'"},
        {u"\x85\x2028\x2029", "\\u0085\\u2028\\u2029", "$'\\u0085\\u2028\\u2029'"},
        {u"\xD800z\xDC00", "\\uD800z\\uDC00", "$'\\uD800z\\uDC00'"},
        {u"\n'\\", "\\n'\\", "$'\\n\\'\\\\'"},
        {u"\xE9\xD83C\xDFB5", "\xC3\xA9\xF0\x9F\x8E\xB5", "'\xC3\xA9\xF0\x9F\x8E\xB5'"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.escaped);
        EXPECT_EQ(bvtool::settings::Escape(row.text), row.escaped);
        EXPECT_EQ(bvtool::settings::ShellWord(row.text), row.word);
    }
}

TEST_F(SettingsCommandTest, SetThenGetEachType) {
    struct Row {
        std::vector<std::string> set; // type and value words
        const char* shown;            // get's value line
        TStr stored;                  // the stored text, for the types kept as text
    };
    const Row rows[] = {
        {{"bool", "true"}, "true", u"<bool>true</bool>"},
        {{"int32", "-7"}, "-7", u""},
        {{"int64", "5000000000"}, "5000000000", u""},
        {{"double", "1.5"}, "1.5", u"<double>AAAAAAAA+D8=</double>"},
        {{"point", "10,-20"}, "10,-20", u"<struct.tagPOINT><x>10</x><y>-20</y></struct.tagPOINT>"},
        {{"rect", "1,2,3,4"},
         "1,2,3,4",
         u"<struct.tagRECT><left>1</left><top>2</top><right>3</right><bottom>4</bottom>"
         u"</struct.tagRECT>"},
        {{"tstr", "C:\\Music"}, "'C:\\Music'", u"C:\\Music"},
        {{"tstrvec", "a", "b c"}, "a 'b c'", u""},
        {{"bytevec", "00ff"}, "00FF", u""},
    };
    for (const Row& row : rows) {
        const std::string path = kOwn + "\\" + row.set[0];
        SCOPED_TRACE(path);
        std::vector<std::string> words{"set", path};
        words.insert(words.end(), row.set.begin(), row.set.end());
        ASSERT_EQ(Run(words), 0) << m_io.err;
        EXPECT_EQ(m_io.out, "action: created\nvalue:  " + std::string(row.shown) +
                                "\nstored: own location " + path + "\n");
        if (!row.stored.empty()) {
            EXPECT_EQ(Key(false).GetValueString(TStr(row.set[0].begin(), row.set[0].end()).c_str()),
                      row.stored);
        }
        EXPECT_EQ(Run({"get", path}), 0) << m_io.err;
        EXPECT_EQ(m_io.out, "type:   " + row.set[0] + "\nvalue:  " + row.shown +
                                "\nstored: own location " + path + "\n");
        words.back() =
            row.set[0] == "tstr" ? "D:\\" : words.back(); // an overwrite of the same type
        EXPECT_EQ(Run(words), 0) << m_io.err;
        EXPECT_EQ(m_io.out.substr(0, 20), "action: overwritten\n");
    }
    EXPECT_EQ(Key(false).GetValueDWord(u"int32"), -7);
    EXPECT_EQ(Key(false).GetValueQWord(u"int64"), 5000000000);
    EXPECT_EQ(Key(false).GetValueMultiString(u"tstrvec"), (TStrVec{u"a", u"b c"}));
    EXPECT_EQ(Key(false).GetValueBinary(u"bytevec"), (ByteVec{0x00, 0xFF}));
    EXPECT_EQ(Key(false).GetValueString(u"tstr"), u"D:\\");
}

TEST_F(SettingsCommandTest, GetShowsKeysUnknownAndFallBack) {
    Key(true, u"Node");
    Key(true).SetValueDWord(u"Volume", 5);
    Key(false).SetValueString(u"Odd", u"Hello <b>world</b>\n");
    const BYTE raw[] = {1, 2};
    ASSERT_EQ(RegSetValueExW(m_key, u"Raw", 0, REG_NONE, raw, sizeof raw), ERROR_SUCCESS);
    struct Row {
        std::string path;
        int code;
        const char* out;
    };
    const Row rows[] = {
        {kOwn + "\\Volume", 0,
         "type:   int32\nvalue:  5\nstored: falls back to all users at "
         "\\USERS\\ALL\\RegTest\\Volume\n"},
        {kOwn + "\\Node", 0,
         "type:   key\nvalue:  (none: a key)\nstored: falls back to all users at "
         "\\USERS\\ALL\\RegTest\\Node\n"},
        {kOwn + "\\Odd", 0,
         "type:   unknown\nvalue:  $'Hello <b>world</b>\\n'\nstored: own location "
         "\\USERS\\CURRENT\\RegTest\\Odd\n"},
        {kOwn + "\\Raw", 0,
         "type:   unknown\nvalue:  (not readable as text)\nstored: own location "
         "\\USERS\\CURRENT\\RegTest\\Raw\n"},
        {R"(\USERS\CURRENT)", 0,
         "type:   key\nvalue:  (none: a key)\nstored: own location \\USERS\\CURRENT\n"},
        {kOwn + "\\Missing", 1, ""},
        {"RegTest", 2, ""},
        {kOwn + "\\A*", 2, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(Run({"get", row.path}), row.code);
        EXPECT_EQ(m_io.out, row.out);
        EXPECT_EQ(std::count(m_io.err.begin(), m_io.err.end(), '\n'), row.code == 0 ? 0 : 1);
    }
    EXPECT_EQ(m_io.err,
              "bvcore settings: Path \\USERS\\CURRENT\\RegTest\\A* is not well-formed.\n");
}

TEST_F(SettingsCommandTest, RefusedSetsWriteNothing) {
    Key(false, u"Node");
    Key(false).SetValueString(u"Text", u"Hello");
    Key(false).SetValueString(u"Odd", u"Hello <b>world</b>");
    Key(true).SetValueString(u"Shared", u"all");
    const std::string before = Dump();
    struct Row {
        std::vector<std::string> words;
        int code;
    };
    const Row rows[] = {
        {{"set", kOwn + "\\New", "int32", "x"}, 2},
        {{"set", kOwn + "\\New", "point", "1;2"}, 2},
        {{"set", kOwn + "\\New", "string", "a"}, 2},
        {{"set", kOwn + "\\New", "key", "a"}, 2},
        {{"set", kOwn + "\\New", "bool"}, 2},
        {{"set", "RegTest\\New", "int32", "1"}, 2},
        {{"set", kOwn + "\\Ne?w", "int32", "1"}, 2},
        {{"set", kOwn + "\\Text", "int32", "1"}, 1},
        {{"set", kOwn + "\\Text", "bool", "true"}, 1},
        {{"set", kOwn + "\\Node", "tstr", "a"}, 1},
        {{"set", kOwn + "\\Odd", "tstr", "a"}, 1},
        {{"set", kOwn + "\\Shared", "int32", "1"}, 1},
        {{"set", R"(\USERS\CURRENT)", "int32", "1"}, 1},
        {{"set", R"(\USERS\OTHER\A)", "int32", "1"}, 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.words));
        EXPECT_EQ(Run(row.words), row.code);
        EXPECT_EQ(m_io.out, "");
        EXPECT_EQ(std::count(m_io.err.begin(), m_io.err.end(), '\n'), 1) << m_io.err;
        EXPECT_EQ(Dump(), before);
    }
    Run({"set", kOwn + "\\Text", "int32", "1"});
    EXPECT_EQ(m_io.err, "bvcore settings: \\USERS\\CURRENT\\RegTest\\Text holds tstr, not int32; "
                        "nothing written\n");
    Run({"set", R"(\USERS\OTHER\A)", "int32", "1"});
    EXPECT_EQ(m_io.err, "bvcore settings: Error creating setting( \\USERS\\OTHER\\A).\n");
}

TEST_F(SettingsCommandTest, SetThroughFallBackCopiesThenWrites) {
    Key(true, u"Player").SetValueDWord(u"Volume", 5);
    ASSERT_EQ(Run({"set", kOwn + "\\Player\\Volume", "int32", "7"}), 0) << m_io.err;
    EXPECT_EQ(m_io.out, "action: copied from all users, then overwritten (the all-users value "
                        "stays)\nvalue:  7\nstored: own location " +
                            kOwn + "\\Player\\Volume\n");
    EXPECT_EQ(Key(false, u"Player").GetValueDWord(u"Volume"), 7);
    EXPECT_EQ(Key(true, u"Player").GetValueDWord(u"Volume"), 5);
}

TEST_F(SettingsCommandTest, DeleteCases) {
    Key(false, u"Tree\\Deep").SetValueDWord(u"V", 1);
    Key(false).SetValueDWord(u"Own", 1);
    Key(true).SetValueDWord(u"OnlyShared", 2);
    Key(false).SetValueDWord(u"Shadow", 3);
    Key(true).SetValueDWord(u"Shadow", 4);
    struct Row {
        std::string name;
        int code;
        std::string out;
        const char* err;
    };
    const Row rows[] = {
        {"Missing", 0, "nothing is stored at " + kOwn + "\\Missing; nothing deleted\n", ""},
        {"Own", 0, "deleted: " + kOwn + "\\Own\n", ""},
        {"Tree", 0, "deleted: " + kOwn + "\\Tree\n", ""},
        {"Shadow", 0,
         "deleted: " + kOwn + "\\Shadow\nnote:    the path now reads the all-users value at " +
             kShared + "\\Shadow\n",
         ""},
        {"OnlyShared", 1, "",
         "bvcore settings: Attempt to delete virtual setting( \\USERS\\CURRENT\\RegTest\\OnlyShared"
         ").\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(Run({"delete", kOwn + "\\" + row.name}), row.code);
        EXPECT_EQ(m_io.out, row.out);
        EXPECT_EQ(m_io.err, row.err);
    }
    EXPECT_EQ(Dump(), "[Software\\RegTest][.DEFAULT\\Software\\RegTest]OnlyShared:4=" +
                          std::string("\2\0\0\0", 4) + ";Shadow:4=" + std::string("\4\0\0\0", 4) +
                          ";");
}

TEST_F(SettingsCommandTest, ListAndTree) {
    Key(false, u"Dup");
    Key(false).SetValueDWord(u"Dup", 1); // a value and a key of one name: shown once
    Key(false).SetValueString(u"bad<name", u"x");
    Key(false).SetValueString(u"line\nbreak", u"x");
    Key(false).SetValueString(u"a\\b", u"x");
    Key(true, u"Shared\\Inner\\Deep");
    Key(true, u"Shared").SetValueString(u"Skin", u"Midnight");
    Key(false, u"Only").SetValueDWord(u"V", 1);

    ASSERT_EQ(Run({"list", kOwn}), 0) << m_io.err;
    EXPECT_EQ(m_io.out, "Dup          int32     physical\n"
                        "bad<name     refused   Path \\USERS\\CURRENT\\RegTest\\bad<name is not "
                        "well-formed.\n"
                        "line\\nbreak  tstr      physical\n"
                        "a\\b          refused   the name holds the path separator\n"
                        "Only         key       physical\n");
    // The own key is missing: the all-users children, named under the path asked for.
    ASSERT_EQ(Run({"list", kOwn + "\\Shared"}), 0) << m_io.err;
    EXPECT_EQ(m_io.out, "Skin   tstr      falls back to \\USERS\\ALL\\RegTest\\Shared\\Skin\n"
                        "Inner  key       falls back to \\USERS\\ALL\\RegTest\\Shared\\Inner\n");
    ASSERT_EQ(Run({"tree", kOwn + "\\Shared", "--depth", "1"}), 0) << m_io.err;
    EXPECT_EQ(m_io.out, "\\USERS\\CURRENT\\RegTest\\Shared  key       falls back to "
                        "\\USERS\\ALL\\RegTest\\Shared\n"
                        "  Skin                         tstr      falls back to "
                        "\\USERS\\ALL\\RegTest\\Shared\\Skin\n"
                        "  Inner                        key       falls back to "
                        "\\USERS\\ALL\\RegTest\\Shared\\Inner\n");
    ASSERT_EQ(Run({"tree", "--depth", "3", kShared + "\\Shared"}), 0) << m_io.err;
    EXPECT_EQ(m_io.out, "\\USERS\\ALL\\RegTest\\Shared  key       physical\n"
                        "  Skin                     tstr      physical\n"
                        "  Inner                    key       physical\n"
                        "    Deep                   key       physical\n");

    ASSERT_EQ(Run({"list", R"(\USERS)"}), 0) << m_io.err;
    EXPECT_EQ(m_io.out, "ALL      key       physical\nCURRENT  key       physical\n");

    const struct {
        std::vector<std::string> words;
        int code;
    } refusals[] = {
        {{"list", kOwn + "\\Dup"}, 1},
        {{"list", kOwn + "\\Missing"}, 1},
        {{"list"}, 2},
        {{"tree", kOwn, "--depth", "-1"}, 2},
        {{"tree", kOwn, "--depth"}, 2},
        {{"tree", kOwn, kOwn}, 2},
    };
    for (const auto& row : refusals) {
        SCOPED_TRACE(testing::PrintToString(row.words));
        EXPECT_EQ(Run(row.words), row.code);
        EXPECT_EQ(m_io.out, "");
        EXPECT_EQ(std::count(m_io.err.begin(), m_io.err.end(), '\n'), 1) << m_io.err;
    }
}

TEST_F(SettingsCommandTest, UsageAndHelp) {
    EXPECT_EQ(Run({}), 2);
    EXPECT_EQ(Run({"fetch", kOwn}), 2);
    EXPECT_EQ(m_io.err, "bvcore settings: unknown verb fetch (see --help)\n");
    EXPECT_EQ(Run({"get"}), 2);
    EXPECT_EQ(Run({"--help"}), 0);
    EXPECT_NE(m_io.out.find(R"(bvcore settings get '\USERS\CURRENT\Player\Volume')"),
              std::string::npos);
    EXPECT_EQ(m_io.err, "");
}

} // namespace
