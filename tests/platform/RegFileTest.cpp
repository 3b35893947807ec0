// The .reg reader and writer and the `bvcore reg` verbs, run in-process against a fresh prefix.
// The verbs run in this process (the tool's registry code is linked in), so no process is started.
#include "RegistryTestUtil.h"

#include "RegCommand.h"
#include "RegFile.h"

#include <fstream>

namespace bvtest {
namespace {

using bvtool::regfile::Bytes;

class RegFileTest : public RegistryFixture {
protected:
    // Runs `reg` with the words of `line` (split on '|'); confirmations answer `yes`.
    int Reg(const std::string& line, bool yes = false) {
        std::vector<std::string> words;
        for (std::size_t at = 0; at <= line.size();) {
            const std::size_t bar = std::min(line.find('|', at), line.size());
            words.push_back(line.substr(at, bar - at));
            at = bar + 1;
        }
        m_io = {};
        m_io.confirm = [this, yes](const std::string& q) {
            m_questions += q;
            return yes;
        };
        return bvtool::reg::Run(words, m_io);
    }
    std::string File(const std::string& name) const { return m_dir + "/" + name; }
    void Save(const std::string& name, const std::string& bytes) const {
        std::ofstream(File(name), std::ios::binary) << bytes;
    }
    std::string Load(const std::string& name) const {
        std::ifstream in(File(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    // The value `name` of HKCU\Software\RegTest\<sub>; type 0xCCCC when missing.
    std::pair<DWORD, Bytes> Get(const std::u16string& sub, const std::u16string& name) const {
        HKEY key = nullptr;
        DWORD type = 0xCCCC, size = 4096;
        Bytes data(size, 0xCC);
        if (RegOpenKeyExW(m_key, sub.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS ||
            RegQueryValueExW(key, name.c_str(), nullptr, &type, data.data(), &size) !=
                ERROR_SUCCESS) {
            type = 0xCCCC, size = 0;
        }
        RegCloseKey(key);
        data.resize(size);
        return {type, data};
    }
    static std::string Utf16File(const std::string& ascii) {
        std::string out = "\xFF\xFE";
        for (const char c : ascii) {
            out += c;
            out += '\0';
        }
        return out;
    }

    bvtool::reg::Console m_io; // what the last Reg() printed
    std::string m_questions;   // every confirmation asked
};

struct StoredValue {
    const char16_t* name; // value name
    DWORD type;           // stored type
    Bytes data;           // stored bytes
};

const std::vector<StoredValue>& EveryKind() {
    static const std::vector<StoredValue> rows = {
        {u"", REG_SZ, {'d', 0, 0, 0}},
        {u"text", REG_SZ, {'a', 0, '"', 0, 'b', 0, '\\', 0, 0, 0}},
        {u"q\"uo\\te", REG_SZ, {'x', 0, 0, 0}},
        {u"empty sz", REG_SZ, {}},
        {u"odd sz", REG_SZ, {'a', 0, 'b'}},
        {u"no nul", REG_SZ, {'a', 0}},
        {u"inner nul", REG_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0}},
        {u"line break", REG_SZ, {'a', 0, '\n', 0, 0, 0}},
        {u"expand", REG_EXPAND_SZ, {'%', 0, 'T', 0, '%', 0, 0, 0}},
        {u"bin empty", REG_BINARY, {}},
        {u"bin long", REG_BINARY, Bytes(100, 0xAB)},
        {u"dword", REG_DWORD, {0x2a, 0, 0, 0x80}},
        {u"short dword", REG_DWORD, {1, 2, 3}},
        {u"qword", REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}},
        {u"multi", REG_MULTI_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}},
        {u"none", REG_NONE, {}},
        {u"odd type", 0x1234, {9}},
    };
    return rows;
}

TEST_F(RegFileTest, ExportImportRoundTripIsExact) {
    HKEY sub = nullptr;
    ASSERT_EQ(RegCreateKeyW(m_key, u"A\\Deep", &sub), ERROR_SUCCESS);
    for (const StoredValue& v : EveryKind()) {
        ASSERT_EQ(bvtool::reg::SetExact(sub, v.name, v.type, v.data), 0);
    }
    RegCloseKey(sub);
    ASSERT_EQ(Reg("export|HKCU\\Software\\RegTest|" + File("one.reg")), 0) << m_io.err;
    const std::string first = Load("one.reg");
    UsePrefix(m_dir + "/fresh");
    ASSERT_EQ(Reg("import|" + File("one.reg")), 0) << m_io.err;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\RegTest", 0, KEY_READ, &m_key), 0);
    for (const StoredValue& v : EveryKind()) {
        SCOPED_TRACE(bvtool::regfile::Narrow(v.name));
        EXPECT_EQ(Get(u"A\\Deep", v.name), std::make_pair(v.type, v.data));
    }
    ASSERT_EQ(Reg("export|HKEY_CURRENT_USER\\Software\\RegTest|" + File("two.reg")), 0);
    EXPECT_EQ(Load("two.reg"), first);
}

TEST_F(RegFileTest, WriterLayout) {
    bvtool::regfile::Document doc;
    doc.keys.push_back({u"HKEY_CURRENT_USER\\K", false, 0, {}});
    doc.keys[0].values = {{u"", REG_SZ, {'v', 0, 0, 0}, false},
                          {u"D", REG_DWORD, {0x2a, 0, 0, 0}, false},
                          {u"Q", REG_QWORD, {0x2a, 0, 0, 0, 0, 0, 0, 0}, false},
                          {u"Bin", REG_BINARY, Bytes(24, 0xFF), false}};
    const Bytes out = bvtool::regfile::Write(doc);
    const std::string expected = Utf16File(
        "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_CURRENT_USER\\K]\r\n@=\"v\"\r\n"
        "\"D\"=dword:0000002a\r\n\"Q\"=hex(b):2a,00,00,00,00,00,00,00\r\n\"Bin\"=hex:"
        "ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,ff,\\\r\n  ff\r\n\r\n");
    EXPECT_EQ(std::string(out.begin(), out.end()), expected);
}

TEST_F(RegFileTest, HandWrittenFilesOfBothDialects) {
    RegSetValueExW(m_key, u"gone", 0, REG_SZ, reinterpret_cast<const BYTE*>(u"x"), 4);
    HKEY old = nullptr;
    RegCreateKeyW(m_key, u"Old\\Child", &old);
    RegCloseKey(old);
    const std::string body = "\r\n; a comment\r\n[HKCU\\Software\\RegTest]\r\n"
                             "\"gone\"=-\r\n\"s\"=\"a\\\"b\"\r\n\"d\"=dword:0000ff01\r\n"
                             "\"q\"=hex(b):01,00,00,00,\\\r\n   00,00,00,00\r\n"
                             "\"m\"=hex(7):41,00,00,00,00,00\r\n@=hex:0a\r\n\r\n"
                             "[-HKEY_CURRENT_USER\\Software\\RegTest\\Old]\r\n";
    const struct {
        const char* name;  // file
        std::string bytes; // its contents
        Bytes multi;       // what hex(7) of the file stores
    } files[] = {
        {"v5.reg", Utf16File("Windows Registry Editor Version 5.00" + body), {'A', 0, 0, 0, 0, 0}},
        {"v4.reg", "REGEDIT4" + body, {'A', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    };
    for (const auto& f : files) {
        SCOPED_TRACE(f.name);
        Save(f.name, f.bytes);
        ASSERT_EQ(Reg(std::string("import|") + File(f.name)), 0) << m_io.err;
        EXPECT_EQ(Get(u"", u"gone").first, 0xCCCCu);
        EXPECT_EQ(Get(u"", u"s"), std::make_pair(REG_SZ, Bytes{'a', 0, '"', 0, 'b', 0, 0, 0}));
        EXPECT_EQ(Get(u"", u"d"), std::make_pair(REG_DWORD, Bytes{1, 0xff, 0, 0}));
        EXPECT_EQ(Get(u"", u"q"), std::make_pair(REG_QWORD, Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
        EXPECT_EQ(Get(u"", u"m"), std::make_pair(REG_MULTI_SZ, f.multi));
        EXPECT_EQ(Get(u"", u""), std::make_pair(REG_BINARY, Bytes{0x0a}));
        HKEY probe = nullptr;
        EXPECT_EQ(RegOpenKeyExW(m_key, u"Old", 0, KEY_READ, &probe), ERROR_FILE_NOT_FOUND);
    }
}

TEST_F(RegFileTest, MalformedFileChangesNothingAndNamesTheLine) {
    const struct {
        const char* body; // lines after the header (line 1)
        int line;         // the line the message names
    } rows[] = {
        {"[HKCU\\Software\\RegTest\\New]\r\n\"a\"=\"open\r\n", 3},
        {"[HKCU\\Software\\RegTest\\New]\r\n\"a\"=hex:0g\r\n", 3},
        {"[HKCU\\Software\\RegTest\\New]\r\n\"a\"=hex:01,,02\r\n", 3},
        {"[HKCU\\Software\\RegTest\\New]\r\n\r\n[HKXX\\Software]\r\n", 4},
        {"[HKCU\\Software\\RegTest\\New]\r\n\"a\"=hex:01,\\\r\n", 3},
        {"[HKCU\\Software\\RegTest\\New]\r\n\"a\"=dword:123456789\r\n", 3},
        {"\"a\"=\"x\"\r\n", 2},
        {"[HKCU\\Software\\RegTest\\New]\r\n\"a\"=\"x\" tail\r\n", 3},
        {"[HKCU\\Software\\RegTest\\New]\r\n\"a\"=hex(q):00\r\n", 3},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.body);
        Save("bad.reg", std::string("REGEDIT4\r\n") + row.body);
        EXPECT_EQ(Reg("import|" + File("bad.reg")), 1);
        EXPECT_NE(m_io.err.find("line " + std::to_string(row.line) + ":"), std::string::npos)
            << m_io.err;
        HKEY probe = nullptr;
        EXPECT_EQ(RegOpenKeyExW(m_key, u"New", 0, KEY_READ, &probe), ERROR_FILE_NOT_FOUND);
    }
    Save("nohead.reg", "[HKCU\\Software]\r\n");
    EXPECT_EQ(Reg("import|" + File("nohead.reg")), 1);
    EXPECT_NE(m_io.err.find("line 1:"), std::string::npos) << m_io.err;
}

TEST_F(RegFileTest, ReadOnlyKeyHalfWayRollsBackAndNamesTheKey) {
    HKEY locked = nullptr;
    ASSERT_EQ(RegCreateKeyW(m_key, u"Locked", &locked), ERROR_SUCCESS);
    RegCloseKey(locked);
    ASSERT_EQ(Reg("protect|HKCU\\Software\\RegTest\\Locked"), 0) << m_io.err;
    Save("ro.reg", "REGEDIT4\r\n[HKCU\\Software\\RegTest\\Free]\r\n\"a\"=\"1\"\r\n"
                   "[HKCU\\Software\\RegTest\\Locked]\r\n\"b\"=\"2\"\r\n");
    EXPECT_EQ(Reg("import|" + File("ro.reg")), 1);
    EXPECT_NE(m_io.err.find("HKCU\\Software\\RegTest\\Locked"), std::string::npos) << m_io.err;
    HKEY probe = nullptr;
    EXPECT_EQ(RegOpenKeyExW(m_key, u"Free", 0, KEY_READ, &probe), ERROR_FILE_NOT_FOUND);
    ASSERT_EQ(Reg("unprotect|HKCU\\Software\\RegTest\\Locked"), 0) << m_io.err;
    EXPECT_EQ(Reg("import|" + File("ro.reg")), 0) << m_io.err;
    EXPECT_EQ(Get(u"Locked", u"b").first, REG_SZ);
}

TEST_F(RegFileTest, QueryLayout) {
    const char* adds[] = {
        "add|HKCU\\Software\\RegTest|/ve|/d|def",
        "add|HKCU\\Software\\RegTest|/v|Num|/t|REG_DWORD|/d|42",
        "add|HKCU\\Software\\RegTest|/v|Big|/t|reg_qword|/d|0x100000000",
        "add|HKCU\\Software\\RegTest|/v|Bin|/t|REG_BINARY|/d|deadBEEF",
        "add|HKCU\\Software\\RegTest|/v|Multi|/t|REG_MULTI_SZ|/d|a\\0b",
        "add|HKCU\\Software\\RegTest|/v|Sep|/t|REG_MULTI_SZ|/s|#|/d|x#y",
        "add|HKEY_CURRENT_USER\\Software\\RegTest\\Sub",
    };
    for (const char* add : adds) {
        ASSERT_EQ(Reg(add), 0) << add << m_io.err;
    }
    EXPECT_EQ(Reg("query|hkcu\\Software\\RegTest"), 0);
    EXPECT_EQ(m_io.out, "\nHKEY_CURRENT_USER\\Software\\RegTest\n"
                        "    (Default)    REG_SZ    def\n    Num    REG_DWORD    0x2a\n"
                        "    Big    REG_QWORD    0x100000000\n    Bin    REG_BINARY    DEADBEEF\n"
                        "    Multi    REG_MULTI_SZ    a\\0b\n    Sep    REG_MULTI_SZ    x\\0y\n\n"
                        "HKEY_CURRENT_USER\\Software\\RegTest\\Sub\n");
    EXPECT_EQ(Reg("query|HKCU\\Software\\RegTest|/v|num"), 0);
    EXPECT_EQ(m_io.out, "\nHKEY_CURRENT_USER\\Software\\RegTest\n    Num    REG_DWORD    0x2a\n\n");
    EXPECT_EQ(Reg("query|HKCU\\Software\\RegTest|/v|Missing"), 1);
    EXPECT_EQ(m_io.out, "");
    EXPECT_EQ(m_io.err,
              "ERROR: The system was unable to find the specified registry key or value.\n");
}

TEST_F(RegFileTest, ExitCodesAndConfirmation) {
    const struct {
        const char* line; // the command
        bool yes;         // the answer to a question
        int rc;           // exit code
        bool asked;       // a question was asked
    } rows[] = {
        {"add|HKCU\\Software\\RegTest|/v|x|/d|1", false, 0, false},
        {"add|HKCU\\Software\\RegTest|/v|x|/d|2", false, 1, true},
        {"add|HKCU\\Software\\RegTest|/v|x|/d|3|/f", false, 0, false},
        {"add|HKCU\\Software\\RegTest|/v|n|/t|REG_DWORD|/d|4294967296", false, 1, false},
        {"add|HKCU\\Software\\RegTest|/v|n|/t|REG_FOO", false, 1, false},
        {"add|HKXX\\Software", false, 1, false},
        {"add|HKCU\\Software\\RegTest|/v", false, 1, false},
        {"delete|HKCU\\Software\\RegTest|/v|x", false, 1, true},
        {"delete|HKCU\\Software\\RegTest|/v|x", true, 0, true},
        {"delete|HKCU\\Software\\RegTest|/v|x|/f", false, 1, false},
        {"delete|HKCU\\Software\\RegTest\\Nope|/f", false, 1, false},
        {"bogus", false, 1, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.line);
        m_questions.clear();
        EXPECT_EQ(Reg(row.line, row.yes), row.rc) << m_io.err;
        EXPECT_EQ(!m_questions.empty(), row.asked);
        EXPECT_EQ(m_io.err.empty(), row.rc == 0 || row.asked) << m_io.err;
    }
    EXPECT_EQ(Get(u"", u"x").first, 0xCCCCu);
}

TEST_F(RegFileTest, CopyTakesASnapshotOfTheTree) {
    ASSERT_EQ(Reg("add|HKCU\\Software\\RegTest\\A\\Sub|/v|v|/d|1"), 0) << m_io.err;
    ASSERT_EQ(Reg("add|HKCU\\Software\\RegTest\\A|/v|top|/d|2"), 0) << m_io.err;
    EXPECT_EQ(Reg("copy|HKCU\\Software\\RegTest\\A|HKCU\\Software\\RegTest\\B"), 0);
    EXPECT_EQ(Get(u"B", u"top").first, REG_SZ);
    EXPECT_EQ(Get(u"B\\Sub", u"v").first, 0xCCCCu);
    EXPECT_EQ(Reg("copy|HKCU\\Software\\RegTest\\A|HKCU\\Software\\RegTest\\B|/s"), 1);
    EXPECT_EQ(Get(u"B\\Sub", u"v").first, 0xCCCCu);
    EXPECT_EQ(Reg("copy|HKCU\\Software\\RegTest\\A|HKCU\\Software\\RegTest\\A\\In|/s"), 0);
    EXPECT_EQ(Get(u"A\\In\\Sub", u"v"), std::make_pair(REG_SZ, Bytes{'1', 0, 0, 0}));
    EXPECT_EQ(Get(u"A\\In\\In", u"top").first, 0xCCCCu);
}

} // namespace
} // namespace bvtest
