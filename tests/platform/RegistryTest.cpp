// Conformance of the registry calls, grouped by operation, against the recorded answers in
// registry.tsv and the platform's documented behaviour where the rows are silent.
#include "RegistryTestUtil.h"

#include <cstring>
#include <map>
#include <vector>

using bvtest::RefNumber;
using bvtest::RegistryRef;

namespace {

constexpr DWORD kSentinel = 0xdeadbeef;

class Registry : public bvtest::RegistryFixture {
protected:
    HKEY Create(const char16_t* sub, REGSAM sam = KEY_ALL_ACCESS, HKEY parent = nullptr) {
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExW(parent ? parent : m_key, sub, 0, nullptr, 0, sam, nullptr, &key,
                                  nullptr),
                  ERROR_SUCCESS)
            << bvtest::Show(sub);
        return key;
    }
    LONG Open(const char16_t* sub, REGSAM sam, HKEY& key, HKEY parent = nullptr) {
        return RegOpenKeyExW(parent ? parent : m_key, sub, 0, sam, &key);
    }
    LONG Set(const char16_t* name, DWORD type, const void* data, DWORD size, HKEY key = nullptr) {
        return RegSetValueExW(key ? key : m_key, name, 0, type, static_cast<const BYTE*>(data),
                              size);
    }
    std::vector<std::u16string> SubKeys(HKEY key) {
        std::vector<std::u16string> names;
        for (DWORD i = 0;; ++i) {
            WCHAR name[300];
            DWORD length = 300;
            const LONG status =
                RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr);
            if (status != ERROR_SUCCESS) {
                EXPECT_EQ(status, ERROR_NO_MORE_ITEMS);
                return names;
            }
            names.emplace_back(name, length);
        }
    }
};

TEST_F(Registry, QueryOfMissingValueWritesNothing) {
    DWORD type = 0xABCD;
    DWORD size = 16;
    BYTE data[16];
    EXPECT_EQ(RegQueryValueExW(m_key, u"none", nullptr, &type, data, &size),
              RefNumber(RegistryRef(), "query.missing_value.status"));
    EXPECT_EQ(type, RefNumber(RegistryRef(), "query.missing_value.type_after"));
    EXPECT_EQ(size, RefNumber(RegistryRef(), "query.missing_value.size_after"));
    EXPECT_EQ(RegQueryValueExW(m_key, u"none", nullptr, nullptr, nullptr, nullptr),
              RefNumber(RegistryRef(), "query.missing_value.all_null.status"));
}

// Text values: sizes, short buffers, a NUL the caller left out of the size, odd sizes.
TEST_F(Registry, TextValueSizesAndTerminators) {
    const auto& ref = RegistryRef();
    ASSERT_EQ(Set(u"sz", REG_SZ, u"abc", 8), RefNumber(ref, "sz.set.status"));
    DWORD type = kSentinel;
    DWORD size = kSentinel;
    EXPECT_EQ(RegQueryValueExW(m_key, u"sz", nullptr, &type, nullptr, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, RefNumber(ref, "sz.size_only.type"));
    EXPECT_EQ(size, RefNumber(ref, "sz.size_only.size"));
    struct Row {
        const char* name; // row group
        DWORD buffer;     // buffer size given
    } rows[] = {{"sz.buffer4", 4}, {"sz.buffer6", 6}, {"sz.buffer8", 8}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        BYTE data[10];
        std::memset(data, 0xCC, sizeof data);
        size = row.buffer;
        const LONG status = RegQueryValueExW(m_key, u"sz", nullptr, nullptr, data, &size);
        EXPECT_EQ(status, row.buffer < 8 ? ERROR_MORE_DATA : ERROR_SUCCESS);
        EXPECT_EQ(size, RefNumber(ref, std::string(row.name) + ".size_after"));
        if (status == ERROR_MORE_DATA) {
            EXPECT_EQ(data[0], 0xCC) << "a short buffer is left untouched";
        } else {
            EXPECT_EQ(std::string(reinterpret_cast<char*>(data), 10),
                      bvtest::ParseHex(ref.Find("sz.buffer8.bytes")->value));
        }
    }
    BYTE data[10];
    EXPECT_EQ(RegQueryValueExW(m_key, u"sz", nullptr, nullptr, data, nullptr),
              RefNumber(ref, "sz.data_without_size.status"));

    // "abc" written with size 6: the NUL after it in memory is kept (size 8); with no NUL
    // after it, a read appends one when there is room, the size staying 6.
    EXPECT_EQ(Set(u"noterm", REG_SZ, u"abc", 6), ERROR_SUCCESS);
    const char16_t noNul[] = {u'a', u'b', u'c', u'd'};
    EXPECT_EQ(Set(u"nonul", REG_SZ, noNul, 6), ERROR_SUCCESS);
    EXPECT_EQ(Set(u"odd7", REG_SZ, u"abc", 7), ERROR_SUCCESS);
    struct Read {
        const char16_t* value; // value read
        DWORD buffer;          // buffer size given
        const char* sizeKey;   // row of the size reported
        const char* bytesKey;  // row of the bytes (first `compare` of them)
        std::size_t compare;   // bytes compared
    } reads[] = {
        {u"noterm", 10, "sz.noterm.read.size", "sz.noterm.read.first10bytes", 10},
        {u"nonul", 10, "sz.noterm_nonul_after.size_only.size",
         "sz.noterm_nonul_after.read.first10bytes", 10},
        {u"nonul", 6, "sz.noterm_nonul_after.size_only.size",
         "sz.noterm_nonul_after.read_exact6.first8bytes", 8},
        {u"odd7", 20, "sz.oddsize7.size", nullptr, 0},
    };
    for (const Read& read : reads) {
        SCOPED_TRACE(read.bytesKey ? read.bytesKey : read.sizeKey);
        BYTE buffer[20];
        std::memset(buffer, 0xCC, sizeof buffer);
        size = read.buffer;
        EXPECT_EQ(RegQueryValueExW(m_key, read.value, nullptr, nullptr, buffer, &size),
                  ERROR_SUCCESS);
        EXPECT_EQ(size, RefNumber(ref, read.sizeKey));
        if (read.bytesKey != nullptr) {
            EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), read.compare),
                      bvtest::ParseHex(ref.Find(read.bytesKey)->value));
        }
    }
}

// Any type and size is kept as written, nothing converted by type.
TEST_F(Registry, ValuesKeepTypeAndBytes) {
    const auto& ref = RegistryRef();
    const BYTE three[] = {1, 2, 3};
    const BYTE five[] = {1, 2, 3, 4, 5};
    struct Row {
        const char16_t* name; // value name
        DWORD type;           // type written
        const BYTE* data;     // bytes written
        DWORD size;           // size written
        LONG setStatus;       // expected status of the write
    } rows[] = {
        {u"d3", REG_DWORD, three, 3, static_cast<LONG>(RefNumber(ref, "dword.size3.set.status"))},
        {u"d5", REG_DWORD, five, 5, ERROR_SUCCESS},
        {u"b0", REG_BINARY, nullptr, 0,
         static_cast<LONG>(RefNumber(ref, "binary.size0.set.status"))},
        {u"s0", REG_SZ, nullptr, 0, ERROR_SUCCESS},
        {u"odd", 0x12345678, five, 5, ERROR_SUCCESS},
        {u"bad", REG_BINARY, nullptr, 4,
         static_cast<LONG>(RefNumber(ref, "binary.nulldata_size4.set.status"))},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(bvtest::Show(row.name));
        ASSERT_EQ(Set(row.name, row.type, row.data, row.size), row.setStatus);
        DWORD type = kSentinel;
        BYTE buffer[8];
        std::memset(buffer, 0xCC, sizeof buffer);
        DWORD size = sizeof buffer;
        const LONG status = RegQueryValueExW(m_key, row.name, nullptr, &type, buffer, &size);
        if (row.setStatus != ERROR_SUCCESS) {
            EXPECT_EQ(status, ERROR_FILE_NOT_FOUND);
            continue;
        }
        EXPECT_EQ(status, ERROR_SUCCESS);
        EXPECT_EQ(type, row.type);
        EXPECT_EQ(size, row.size);
        EXPECT_EQ(row.size == 0 || std::memcmp(buffer, row.data, row.size) == 0, true);
    }
    EXPECT_EQ(RefNumber(ref, "sz.size0.query.size"), 0);
    DWORD size = 2;
    BYTE small[2];
    EXPECT_EQ(RegQueryValueExW(m_key, u"d5", nullptr, nullptr, small, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 5u);
    ASSERT_EQ(Set(u"d4", REG_DWORD, five, 4), ERROR_SUCCESS);
    size = 2;
    EXPECT_EQ(RegQueryValueExW(m_key, u"d4", nullptr, nullptr, small, &size),
              RefNumber(ref, "dword.buffer2.status"));
    EXPECT_EQ(size, RefNumber(ref, "dword.buffer2.size_after"));
}

// Sub-keys come in the order of their upper-cased units; names keep their case.
TEST_F(Registry, EnumKeyOrderCaseAndBuffers) {
    const auto& ref = RegistryRef();
    HKEY parent = Create(u"enum");
    for (const char16_t* name : {u"b", u"A", u"c", u"B2", u"a1"}) {
        RegCloseKey(Create(name, KEY_ALL_ACCESS, parent));
    }
    const std::vector<std::u16string> names = SubKeys(parent);
    ASSERT_EQ(names.size(), 5u);
    for (std::size_t i = 0; i < names.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(names[i], bvtest::ParseUtf16(ref.Find("enumkey." + std::to_string(i))->value));
    }
    DWORD disposition = kSentinel;
    HKEY again = nullptr;
    EXPECT_EQ(RegCreateKeyExW(parent, u"a", 0, nullptr, 0, KEY_READ, nullptr, &again, &disposition),
              ERROR_SUCCESS);
    EXPECT_EQ(disposition, RefNumber(ref, "enumkey.create_lowercase_a.disposition"));
    EXPECT_EQ(SubKeys(parent).front(), u"A");
    RegCloseKey(again);

    WCHAR buffer[4] = {u'#', u'#', u'#', u'#'};
    DWORD length = 2;
    EXPECT_EQ(RegEnumKeyExW(parent, 3, buffer, &length, nullptr, nullptr, nullptr, nullptr),
              RefNumber(ref, "enumkey.index3.buffer2.status"));
    EXPECT_EQ(length, RefNumber(ref, "enumkey.index3.buffer2.cch_after"));
    EXPECT_EQ(buffer[0], u'#');
    length = 3;
    EXPECT_EQ(RegEnumKeyExW(parent, 3, buffer, &length, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(length, RefNumber(ref, "enumkey.index3.buffer3.cch_after"));
    EXPECT_EQ(std::u16string(buffer, 3), std::u16string(u"B2\0", 3));
    EXPECT_EQ(RegEnumKeyExW(parent, 1000, buffer, &length, nullptr, nullptr, nullptr, nullptr),
              RefNumber(ref, "enumkey.index1000.status"));
    DWORD subKeys = kSentinel;
    DWORD maxLength = kSentinel;
    EXPECT_EQ(RegQueryInfoKeyW(parent, nullptr, nullptr, nullptr, &subKeys, &maxLength, nullptr,
                               nullptr, nullptr, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(subKeys, RefNumber(ref, "enumkey.info.subkeys"));
    EXPECT_EQ(maxLength, RefNumber(ref, "enumkey.info.max_subkey_len"));
    RegCloseKey(parent);
}

// Upper-cased order and case-insensitive lookup beyond ASCII, where a lower-casing or an
// ASCII-only fold would differ.
TEST_F(Registry, NamesFoldEveryUnitByUpperCase) {
    HKEY parent = Create(u"fold");
    for (const char16_t* name : {u"_x", u"a", u"\u00e9t\u00e9", u"\u00c9", u"Z"}) {
        RegCloseKey(Create(name, KEY_ALL_ACCESS, parent));
    }
    // Upper-cased: "A" 0x41 < "Z" 0x5A < "_X" 0x5F < "É" 0xC9 < "ÉTÉ".
    const std::vector<std::u16string> expected = {u"a", u"Z", u"_x", u"\u00c9", u"\u00e9t\u00e9"};
    EXPECT_EQ(SubKeys(parent), expected);
    HKEY key = nullptr;
    EXPECT_EQ(Open(u"\u00c9T\u00c9", KEY_READ, key, parent), ERROR_SUCCESS);
    RegCloseKey(key);
    EXPECT_EQ(Set(u"\u00e4", REG_DWORD, "\1\0\0\0", 4), ERROR_SUCCESS);
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueExW(m_key, u"\u00c4", nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
    RegCloseKey(parent);
}

// Values enumerate in creation order (Windows; Wine sorts them), a rewrite keeping its place.
TEST_F(Registry, EnumValueCreationOrderAndBuffers) {
    const auto& ref = RegistryRef();
    ASSERT_TRUE(ref.Find("enumvalue.0")->CommentHas("creation order"));
    for (const char16_t* name : {u"z", u"A", u"m", u"A"}) {
        ASSERT_EQ(Set(name, REG_DWORD, "\1\0\0\0", 4), ERROR_SUCCESS);
    }
    const std::u16string expected[] = {u"z", u"A", u"m"};
    for (DWORD i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        WCHAR name[8];
        DWORD length = 8;
        DWORD type = kSentinel;
        const LONG status =
            RegEnumValueW(m_key, i, name, &length, nullptr, &type, nullptr, nullptr);
        if (i == 3) {
            EXPECT_EQ(status, RefNumber(ref, "enumvalue.3.status"));
            continue;
        }
        EXPECT_EQ(status, ERROR_SUCCESS);
        EXPECT_EQ(std::u16string(name, length), expected[i]);
        EXPECT_EQ(type, REG_DWORD);
    }
    WCHAR name[2] = {u'#', u'#'};
    DWORD length = 1;
    EXPECT_EQ(RegEnumValueW(m_key, 0, name, &length, nullptr, nullptr, nullptr, nullptr),
              ERROR_MORE_DATA);
    EXPECT_EQ(length, RefNumber(ref, "enumvalue.index0.namebuf1.cch_after"));
    BYTE data[2] = {0xCC, 0xCC};
    DWORD size = 2;
    length = 2;
    EXPECT_EQ(RegEnumValueW(m_key, 0, name, &length, nullptr, nullptr, data, &size),
              RefNumber(ref, "enumvalue.index0.databuf2.status"));
    EXPECT_EQ(size, RefNumber(ref, "enumvalue.index0.databuf2.size_after"));
    EXPECT_EQ(data[0], 0xCC);

    // A listing read once must follow later writes: a deletion, a new value, a rewrite in place.
    const auto list = [this] {
        std::u16string listed;
        WCHAR next[8];
        DWORD nextLength = 8;
        DWORD type = 0;
        for (DWORD i = 0; RegEnumValueW(m_key, i, next, &nextLength, nullptr, &type, nullptr,
                                        nullptr) == ERROR_SUCCESS;
             ++i, nextLength = 8) {
            listed += std::u16string(next, nextLength) + (type == REG_BINARY ? u"b " : u" ");
        }
        return listed;
    };
    ASSERT_EQ(RegDeleteValueW(m_key, u"a"), ERROR_SUCCESS);
    EXPECT_EQ(list(), u"z m ");
    ASSERT_EQ(Set(u"n", REG_DWORD, "\2\0\0\0", 4), ERROR_SUCCESS);
    ASSERT_EQ(Set(u"z", REG_BINARY, "\3", 1), ERROR_SUCCESS);
    EXPECT_EQ(list(), u"zb m n ");
}

// The default value: a null or empty name; a key lacks it until written.
TEST_F(Registry, DefaultValue) {
    const auto& ref = RegistryRef();
    EXPECT_EQ(RegQueryValueExW(m_key, nullptr, nullptr, nullptr, nullptr, nullptr),
              RefNumber(ref, "default.absent.RegQueryValueExW.status"));
    ASSERT_EQ(Set(nullptr, REG_SZ, u"def", 8), ERROR_SUCCESS);
    ASSERT_EQ(Set(u"x", REG_SZ, u"x", 4), ERROR_SUCCESS);
    WCHAR text[8];
    DWORD size = sizeof text;
    EXPECT_EQ(RegQueryValueExW(m_key, u"", nullptr, nullptr, reinterpret_cast<BYTE*>(text), &size),
              RefNumber(ref, "default.query_null_name.status"));
    EXPECT_EQ(std::u16string(text),
              bvtest::ParseUtf16(ref.Find("default.query_null_name.value")->value));
    for (DWORD i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        const std::string row = "default.enum." + std::to_string(i);
        WCHAR name[4] = {u'#', u'#', u'#', u'#'};
        DWORD length = 4;
        DWORD type = kSentinel;
        const LONG status =
            RegEnumValueW(m_key, i, name, &length, nullptr, &type, nullptr, nullptr);
        if (ref.Find(row + ".status")) {
            EXPECT_EQ(status, RefNumber(ref, row + ".status"));
            continue;
        }
        EXPECT_EQ(std::u16string(name, length), bvtest::ParseUtf16(ref.Find(row + ".name")->value));
        EXPECT_EQ(length, RefNumber(ref, row + ".cch"));
        EXPECT_EQ(type, RefNumber(ref, row + ".type"));
    }
    EXPECT_EQ(RegDeleteValueW(m_key, nullptr), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueW(m_key, u"none"),
              RefNumber(ref, "delete.missing_value.RegDeleteValueW.status"));
}

TEST_F(Registry, DeleteKeysAndTrees) {
    const auto& ref = RegistryRef();
    RegCloseKey(Create(u"tree\\a\\b"));
    RegCloseKey(Create(u"tree\\c"));
    EXPECT_EQ(RegDeleteKeyW(m_key, u"tree"),
              RefNumber(ref, "delete.with_subkeys.RegDeleteKeyW.status"));
    EXPECT_EQ(RegDeleteKeyW(m_key, u"none"), RefNumber(ref, "delete.missing.RegDeleteKeyW.status"));
    EXPECT_EQ(RegDeleteKeyW(m_key, u"tree\\a\\b"),
              RefNumber(ref, "delete.leaf_by_path.RegDeleteKeyW.status"));
    EXPECT_EQ(SHDeleteKeyW(m_key, u"tree"), RefNumber(ref, "delete.tree.SHDeleteKeyW.status"));
    HKEY key = nullptr;
    EXPECT_EQ(Open(u"tree\\c", KEY_READ, key), RefNumber(ref, "delete.tree.open_after.status"));
    EXPECT_EQ(SHDeleteKeyW(m_key, u"tree"),
              RefNumber(ref, "delete.tree_missing.SHDeleteKeyW.status"));
    EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, u""), ERROR_ACCESS_DENIED) << "predefined key";
    EXPECT_EQ(RegDeleteKeyW(m_key, nullptr), ERROR_INVALID_PARAMETER);
}

TEST_F(Registry, CreateReportsDisposition) {
    const auto& ref = RegistryRef();
    struct Row {
        const char16_t* path; // created below the scratch key
        const char* key;      // row of the disposition
    } rows[] = {{u"l1\\l2\\l3\\l4", "create.four_levels.disposition"},
                {u"l1\\l2\\l3\\l4", "create.four_levels_again.disposition"},
                {u"l1\\l2", "create.existing_intermediate.disposition"},
                {u"", "names.create_empty.disposition"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.key);
        HKEY key = nullptr;
        DWORD disposition = kSentinel;
        ASSERT_EQ(
            RegCreateKeyExW(m_key, row.path, 0, nullptr, 0, KEY_READ, nullptr, &key, &disposition),
            ERROR_SUCCESS);
        EXPECT_EQ(disposition, RefNumber(ref, row.key));
        RegCloseKey(key);
    }
}

// A handle keeps the rights granted at its open; the parent's rights don't matter below it.
TEST_F(Registry, AccessRights) {
    const auto& ref = RegistryRef();
    RegCloseKey(Create(u"acc\\child"));
    ASSERT_EQ(Set(u"v", REG_DWORD, "\1\0\0\0", 4, Create(u"acc")), ERROR_SUCCESS);
    HKEY enumOnly = nullptr;
    ASSERT_EQ(Open(u"acc", KEY_ENUMERATE_SUB_KEYS, enumOnly),
              RefNumber(ref, "access.enum_only.open.status"));
    HKEY setOnly = nullptr;
    ASSERT_EQ(Open(u"acc", KEY_SET_VALUE, setOnly), ERROR_SUCCESS);
    HKEY read = nullptr;
    ASSERT_EQ(Open(u"acc", KEY_READ, read), ERROR_SUCCESS);
    WCHAR name[8];
    DWORD length = 8;
    HKEY child = nullptr;
    DWORD count = kSentinel;
    struct Row {
        const char* key; // the reference row, or the rule for rows it lacks
        LONG status;     // what the call gave
        LONG expected;   // the platform's answer
    } rows[] = {
        // Windows requires KEY_QUERY_VALUE for RegQueryInfoKeyW (the Wine row says 0).
        {"RegQueryInfoKeyW enum-only",
         RegQueryInfoKeyW(enumOnly, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr,
                          nullptr, nullptr, nullptr, nullptr),
         ERROR_ACCESS_DENIED},
        {"access.enum_only.RegQueryValueExW.status",
         RegQueryValueExW(enumOnly, u"v", nullptr, nullptr, nullptr, nullptr), 0},
        {"access.enum_only.RegSetValueExW.status", Set(u"v", REG_DWORD, "\2\0\0\0", 4, enumOnly),
         0},
        {"access.enum_only.RegEnumKeyExW.status",
         RegEnumKeyExW(enumOnly, 0, name, &length, nullptr, nullptr, nullptr, nullptr), 0},
        {"access.enum_only.RegEnumValueW.status",
         RegEnumValueW(enumOnly, 0, name, &(length = 8), nullptr, nullptr, nullptr, nullptr), 0},
        {"access.enum_only.RegCreateKeyExW_child.status",
         RegCreateKeyExW(enumOnly, u"child", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &child,
                         nullptr),
         0},
        {"access.enum_only.RegOpenKeyExW_child_all_access.status",
         RegOpenKeyExW(enumOnly, u"child", 0, KEY_ALL_ACCESS, &child), 0},
        {"access.enum_only.RegDeleteValueW.status", RegDeleteValueW(enumOnly, u"v"), 0},
        {"access.key_read.RegSetValueExW.status", Set(u"v", REG_DWORD, "\2\0\0\0", 4, read), 0},
        {"access.set_value_only.RegEnumKeyExW.status",
         RegEnumKeyExW(setOnly, 0, name, &(length = 8), nullptr, nullptr, nullptr, nullptr), 0},
        {"RegSetValueExW set-only", Set(u"v", REG_DWORD, "\3\0\0\0", 4, setOnly), ERROR_SUCCESS},
        {"RegQueryValueExW set-only",
         RegQueryValueExW(setOnly, u"v", nullptr, nullptr, nullptr, nullptr), ERROR_ACCESS_DENIED},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.key);
        const LONG expected = std::strncmp(row.key, "access.", 7) == 0
                                  ? static_cast<LONG>(RefNumber(ref, row.key))
                                  : row.expected;
        EXPECT_EQ(row.status, expected);
    }
    EXPECT_EQ(count, kSentinel);
    for (HKEY key : {enumOnly, setOnly, read, child}) {
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    }
}

TEST_F(Registry, BadHandles) {
    const auto& ref = RegistryRef();
    HKEY closed = Create(u"h");
    ASSERT_EQ(RegCloseKey(closed), ERROR_SUCCESS);
    const HKEY madeUp = reinterpret_cast<HKEY>(std::uintptr_t{0x12345670});
    for (HKEY bad : {closed, madeUp, HKEY{nullptr}, HKEY_DYN_DATA}) {
        SCOPED_TRACE(reinterpret_cast<std::uintptr_t>(bad));
        HKEY out = reinterpret_cast<HKEY>(std::uintptr_t{kSentinel});
        EXPECT_EQ(RegQueryValueExW(bad, u"v", nullptr, nullptr, nullptr, nullptr),
                  RefNumber(ref, "access.bogus_handle.RegQueryValueExW.status"));
        EXPECT_EQ(RegOpenKeyExW(bad, u"x", 0, KEY_READ, &out),
                  RefNumber(ref, "access.null_parent.RegOpenKeyExW.status"));
        EXPECT_EQ(out, reinterpret_cast<HKEY>(std::uintptr_t{kSentinel}));
        if (bad != HKEY_DYN_DATA) {
            EXPECT_EQ(RegCloseKey(bad), RefNumber(ref, "access.bogus_handle.RegCloseKey.status"));
        }
    }
    EXPECT_EQ(RegCloseKey(HKEY_CURRENT_USER), ERROR_SUCCESS);
    EXPECT_EQ(RegOpenKeyExW(m_key, u"", 0, KEY_READ, nullptr), ERROR_INVALID_PARAMETER);
}

// A handle stands for the key object: once deleted, by this or another handle, every call but
// the close answers 1018, also after the name is created again.
TEST_F(Registry, HandleOfDeletedKey) {
    const auto& ref = RegistryRef();
    HKEY gone = Create(u"gone");
    ASSERT_EQ(RegDeleteKeyW(m_key, u"gone"), ERROR_SUCCESS);
    RegCloseKey(Create(u"gone"));
    WCHAR name[8];
    DWORD length = 8;
    HKEY out = nullptr;
    const std::pair<const char*, LONG> rows[] = {
        {"deleted.RegQueryValueExW.status",
         RegQueryValueExW(gone, u"v", nullptr, nullptr, nullptr, nullptr)},
        {"deleted.RegEnumKeyExW.status",
         RegEnumKeyExW(gone, 0, name, &length, nullptr, nullptr, nullptr, nullptr)},
        {"deleted.RegEnumValueW.status",
         RegEnumValueW(gone, 0, name, &length, nullptr, nullptr, nullptr, nullptr)},
        {"deleted.RegCreateKeyExW_below.status",
         RegCreateKeyExW(gone, u"x", 0, nullptr, 0, KEY_READ, nullptr, &out, nullptr)},
        {"deleted.RegOpenKeyExW_empty.status", RegOpenKeyExW(gone, u"", 0, KEY_READ, &out)},
        {"deleted.RegSetValueExW.status", Set(u"v", REG_DWORD, "\1\0\0\0", 4, gone)},
        {"deleted.RegCloseKey.status", RegCloseKey(gone)},
    };
    for (const auto& [key, status] : rows) {
        SCOPED_TRACE(key);
        EXPECT_EQ(status, RefNumber(ref, key));
    }
}

// Sub-key texts: several levels, backslashes, odd names; the rows name the text they test.
TEST_F(Registry, SubKeyTexts) {
    const auto& ref = RegistryRef();
    RegCloseKey(Create(u"sub"));
    // One call per text; its status and disposition rows are checked against that call.
    std::map<std::string, std::pair<LONG, DWORD>> calls; // op and text -> status, disposition
    for (const char* op : {"open", "create"}) {
        for (const bvtest::RefRow& row : ref.WithPrefix(std::string("names.") + op + ".")) {
            const std::vector<std::string> parts = bvtest::SplitKey(row.key);
            if (parts.back() != "status" && parts.back() != "disposition") {
                continue;
            }
            SCOPED_TRACE(row.key);
            auto [it, first] = calls.try_emplace(parts[1] + parts[3]);
            if (first) {
                const std::u16string text = bvtest::ParseUtf16(parts[3]);
                HKEY key = nullptr;
                DWORD disposition = kSentinel;
                it->second.first = op[0] == 'o'
                                       ? Open(text.c_str(), KEY_READ, key)
                                       : RegCreateKeyExW(m_key, text.c_str(), 0, nullptr, 0,
                                                         KEY_READ, nullptr, &key, &disposition);
                it->second.second = disposition;
                if (it->second.first == ERROR_SUCCESS) {
                    RegCloseKey(key);
                }
            }
            const auto [status, disposition] = it->second;
            EXPECT_EQ(parts.back() == "status" ? static_cast<std::int64_t>(status)
                                               : static_cast<std::int64_t>(disposition),
                      bvtest::ParseNumber(row.value));
        }
    }
    const std::vector<std::u16string> names = SubKeys(m_key);
    ASSERT_EQ(names.size(), 4u) << "\" \", \".\", \"sub\", \"sub/x\"";
    EXPECT_EQ(names[2], bvtest::ParseUtf16(ref.Find("names.after_odd_creates.enumkey.2")->value));
    HKEY key = nullptr;
    EXPECT_EQ(Open(u"sub\\x", KEY_READ, key), ERROR_SUCCESS) << "created through \"sub\\\\x\"";
    RegCloseKey(key);
    EXPECT_EQ(Open(nullptr, KEY_READ, key), RefNumber(ref, "names.open_null.status"));
    EXPECT_NE(key, m_key);
    RegCloseKey(key);
}

// Name limits: 255 units a key level (the documented limit; Wine takes 256), 16383 a value.
TEST_F(Registry, NameLengthLimits) {
    const auto& ref = RegistryRef();
    struct Row {
        std::size_t units; // length of one key level
        LONG status;       // create and open
    } rows[] = {{255, ERROR_SUCCESS},
                {256, ERROR_INVALID_PARAMETER},
                {512, static_cast<LONG>(RefNumber(ref, "names.length512.create.status"))}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.units);
        const std::u16string name(row.units, u'k');
        HKEY key = nullptr;
        EXPECT_EQ(
            RegCreateKeyExW(m_key, name.c_str(), 0, nullptr, 0, KEY_READ, nullptr, &key, nullptr),
            row.status);
        EXPECT_EQ(Open(name.c_str(), KEY_READ, key), row.status == 0 ? 0 : row.status);
        RegCloseKey(key);
    }
    std::u16string path;
    for (int i = 0; i < 40; ++i) {
        path += std::u16string(20, static_cast<char16_t>(u'a' + i % 26)) + u"\\";
    }
    HKEY deep = Create(path.c_str());
    EXPECT_NE(deep, nullptr);
    RegCloseKey(deep);
    const std::u16string longest(16383, u'v');
    EXPECT_EQ(Set(longest.c_str(), REG_DWORD, "\1\0\0\0", 4), ERROR_SUCCESS);
    EXPECT_EQ(Set((longest + u"v").c_str(), REG_DWORD, "\1\0\0\0", 4), ERROR_INVALID_PARAMETER);
    DWORD maxName = kSentinel;
    EXPECT_EQ(RegQueryInfoKeyW(m_key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                               &maxName, nullptr, nullptr, nullptr),
              ERROR_SUCCESS);
    EXPECT_EQ(maxName, RefNumber(ref, "names.value_name.max_len_reported"));
}

// HKEY_CURRENT_USER is the user's key below HKEY_USERS, HKEY_CLASSES_ROOT is
// HKEY_LOCAL_MACHINE\SOFTWARE\Classes: a value written through one is read through the other.
TEST_F(Registry, PredefinedKeysShareTheirKeys) {
    WCHAR user[64];
    DWORD length = 64;
    std::u16string sid;
    for (DWORD i = 0; RegEnumKeyExW(HKEY_USERS, i, user, &(length = 64), nullptr, nullptr, nullptr,
                                    nullptr) == ERROR_SUCCESS;
         ++i) {
        if (std::u16string(user, length) != u".DEFAULT") {
            sid.assign(user, length);
        }
    }
    ASSERT_FALSE(sid.empty());
    const std::u16string viaUsers = sid + u"\\Software\\RegTest";
    struct Row {
        HKEY writeRoot;           // where the value is written
        const char16_t* writeSub; // below that
        HKEY readRoot;            // where it is read
        std::u16string readSub;   // below that
    } rows[] = {
        {m_key, u"", HKEY_USERS, viaUsers},
        {HKEY_CLASSES_ROOT, u".regtest", HKEY_LOCAL_MACHINE, u"software\\CLASSES\\.regtest"}};
    for (const Row& row : rows) {
        HKEY writer = Create(row.writeSub, KEY_ALL_ACCESS, row.writeRoot);
        ASSERT_EQ(Set(u"p", REG_DWORD, "\7\0\0\0", 4, writer), ERROR_SUCCESS);
        HKEY reader = nullptr;
        ASSERT_EQ(RegOpenKeyExW(row.readRoot, row.readSub.c_str(), 0, KEY_READ, &reader),
                  ERROR_SUCCESS);
        DWORD value = 0;
        DWORD size = 4;
        EXPECT_EQ(RegQueryValueExW(reader, u"p", nullptr, nullptr, reinterpret_cast<BYTE*>(&value),
                                   &size),
                  ERROR_SUCCESS);
        EXPECT_EQ(value, 7u);
        RegCloseKey(reader);
        RegCloseKey(writer);
    }
    HKEY config = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_CONFIG, u"", 0, KEY_READ, &config), ERROR_SUCCESS);
    RegCloseKey(config);
}

TEST_F(Registry, FailNextCallHook) {
    bvplatform::testing::FailNextRegistryCall("RegCloseKey", ERROR_INVALID_HANDLE);
    HKEY key = Create(u"f");
    EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS) << "the failed close did nothing";
    bvplatform::testing::FailNextRegistryCall("RegQueryValueExW", ERROR_REGISTRY_IO_FAILED);
    bvplatform::testing::FailNextRegistryCall("RegQueryValueExW", ERROR_SUCCESS);
    EXPECT_EQ(RegQueryValueExW(m_key, u"v", nullptr, nullptr, nullptr, nullptr),
              ERROR_FILE_NOT_FOUND);
}

} // namespace
