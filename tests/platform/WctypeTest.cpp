// The runtime's wide functions: class tests and case mapping row by row against the recorded
// answers, the case-blind comparisons, and the number readers' blanks, signs, bases and ranges.
#include "support/RefData.h"

#include <bvplatform/crt.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <map>
#include <string>

namespace {

using ClassTest = int (*)(WCHAR);
using CaseMap = WCHAR (*)(WCHAR);

TEST(Wctype, ReferenceRows) {
    const std::map<std::string, ClassTest> classes = {
        {"iswspace", iswspace}, {"iswdigit", iswdigit}, {"iswalnum", iswalnum},
        {"iswalpha", iswalpha}, {"iswlower", iswlower}, {"iswupper", iswupper},
        {"iswpunct", iswpunct}};
    const std::map<std::string, CaseMap> maps = {{"towupper", towupper}, {"towlower", towlower}};
    int checked = 0;
    const auto table = bvtest::RefTable::Load("text.tsv");
    for (const auto& row : table.Rows()) {
        const auto key = bvtest::SplitKey(row.key);
        if (key.size() != 2 || (classes.count(key[0]) == 0 && maps.count(key[0]) == 0)) {
            continue;
        }
        SCOPED_TRACE(row.key + " (line " + std::to_string(row.line) + ")");
        const char16_t unit = bvtest::ParseUnit(key[1]);
        if (classes.count(key[0]) != 0) {
            EXPECT_EQ(classes.at(key[0])(unit), bvtest::ParseNumber(row.value));
        } else {
            EXPECT_EQ(maps.at(key[0])(unit), bvtest::ParseUnit(row.value));
        }
        ++checked;
    }
    EXPECT_GT(checked, 150);
}

TEST(Wctype, UnitsOutsideTheRecordedRows) {
    struct Row {
        char16_t unit;
        int space, digit, alnum, lower;
    };
    const Row rows[] = {{0x2029, _SPACE, 0, 0, 0}, {0x00B2, 0, _DIGIT, _DIGIT, 0},
                        {0x00D7, 0, 0, 0, 0},      {0x0436, 0, 0, 0x0102, _LOWER},
                        {0x3042, 0, 0, 0x0100, 0}, {0xD800, 0, 0, 0, 0}};
    for (const Row& row : rows) {
        SCOPED_TRACE(bvtest::Show(std::u16string(1, row.unit)));
        EXPECT_EQ(iswspace(row.unit), row.space);
        EXPECT_EQ(iswdigit(row.unit), row.digit);
        EXPECT_EQ(iswalnum(row.unit), row.alnum);
        EXPECT_EQ(iswlower(row.unit), row.lower);
    }
}

TEST(Wctype, CaseBlindComparisonFoldsAsciiOnly) {
    const auto rows = bvtest::RefTable::Load("text.tsv").WithPrefix("_wcsicmp.");
    ASSERT_FALSE(rows.empty());
    for (const auto& row : rows) {
        SCOPED_TRACE(row.key);
        const auto key = bvtest::SplitKey(row.key);
        const auto a = bvtest::ParseUtf16(key[1]);
        const auto b = bvtest::ParseUtf16(key[2]);
        EXPECT_EQ(_wcsicmp(a.c_str(), b.c_str()), bvtest::ParseNumber(row.value));
    }
    EXPECT_EQ(_wcsicmp(u"abc", u"ab"), 'c');
    EXPECT_EQ(_wcsnicmp(u"ABCx", u"abcy", 3), 0);
    EXPECT_EQ(_wcsnicmp(u"ABCx", u"abcy", 4), 'x' - 'y');
    EXPECT_EQ(_wcsnicmp(u"a\0x", u"a\0y", 3), 0);
    EXPECT_EQ(_wcsnicmp(nullptr, u"a", 0), 0);
    errno = 0;
    EXPECT_EQ(_wcsicmp(nullptr, u"a"), 0x7FFFFFFF);
    EXPECT_EQ(errno, EINVAL);
}

TEST(Wctype, NumberReaders) {
    struct Row {
        const char16_t* text;
        int base;
        std::int64_t asLong;   // wcstol's result
        std::uint32_t asULong; // wcstoul's result
        int consumed;          // units before *endptr
        bool range;            // ERANGE from wcstol
    };
    const Row rows[] = {{u" \t\u3000-42z", 10, -42, 0xFFFFFFD6u, 6, false},
                        {u"+7", 10, 7, 7, 2, false},
                        {u"0x1F", 16, 31, 31, 4, false},
                        {u"0X1f", 0, 31, 31, 4, false},
                        {u"0xg", 16, 0, 0, 1, false},
                        {u"017", 0, 15, 15, 3, false},
                        {u"-1", 16, -1, 0xFFFFFFFFu, 2, false},
                        {u"ff", 16, 255, 255, 2, false},
                        {u"\u0663\uFF15", 10, 35, 35, 2, false},
                        {u"zZ", 36, 35 * 36 + 35, 35 * 36 + 35, 2, false},
                        {u"2147483647", 10, INT32_MAX, 2147483647u, 10, false},
                        {u"2147483648", 10, INT32_MAX, 2147483648u, 10, true},
                        {u"-2147483648", 10, INT32_MIN, 2147483648u, 11, false},
                        {u"-2147483649", 10, INT32_MIN, 2147483647u, 11, true},
                        {u"99999999999999999999999", 10, INT32_MAX, 0xFFFFFFFFu, 23, true},
                        {u"- 5", 10, 0, 0, 0, false},
                        {u"", 10, 0, 0, 0, false},
                        {u"\u00855", 10, 0, 0, 0, false}};
    for (const Row& row : rows) {
        SCOPED_TRACE(bvtest::Show(row.text));
        WCHAR* end = reinterpret_cast<WCHAR*>(0xdeadbeef);
        errno = 0;
        EXPECT_EQ(wcstol(row.text, &end, row.base), row.asLong);
        EXPECT_EQ(errno, row.range ? ERANGE : 0);
        EXPECT_EQ(end - row.text, row.consumed);
        end = nullptr;
        EXPECT_EQ(wcstoul(row.text, &end, row.base), row.asULong);
        EXPECT_EQ(end - row.text, row.consumed);
        if (row.base == 10) {
            EXPECT_EQ(_wtol(row.text), row.asLong);
            EXPECT_EQ(_wtoi(row.text), row.asLong);
        }
    }
}

TEST(Wctype, NumberReadersBadArgumentsAnd64Bits) {
    WCHAR* end = reinterpret_cast<WCHAR*>(0xdeadbeef);
    const WCHAR* text = u"12";
    errno = 0;
    EXPECT_EQ(wcstol(text, &end, 1), 0);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(end, text);
    errno = 0;
    EXPECT_EQ(wcstoul(static_cast<const WCHAR*>(nullptr), nullptr, 10), 0u);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(_wtoi(static_cast<const WCHAR*>(nullptr)), 0);
    errno = 0;
    EXPECT_EQ(_wtoi64(u" -9223372036854775808x"), INT64_MIN);
    EXPECT_EQ(_wtoi64(u"4294967296"), 4294967296LL);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(_wtoi64(u"9223372036854775808"), INT64_MAX);
    EXPECT_EQ(errno, ERANGE);
}

} // namespace
