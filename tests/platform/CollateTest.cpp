// CompareStringW: the recorded answers row by row, the word sort's late weights, the other
// flags, explicit locales and failures.
#include "support/RefData.h"

#include <bvplatform/base.h>
#include <bvplatform/locale.h>
#include <bvplatform/winerror.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// A compared text of a key: "..." (terminated) or "...":N (counted).
struct Operand {
    std::u16string text;
    int count = -1;
};

Operand OperandOf(const std::string& piece) {
    const auto colon = piece.rfind(':');
    if (colon != std::string::npos && colon > piece.rfind('"')) {
        return {bvtest::ParseUtf16(piece.substr(0, colon)), std::stoi(piece.substr(colon + 1))};
    }
    return {bvtest::ParseUtf16(piece)};
}

int Compare(LCID locale, DWORD flags, const std::u16string& a, const std::u16string& b) {
    return CompareStringW(locale, flags, a.c_str(), -1, b.c_str(), -1);
}

TEST(Collate, ReferenceRows) {
    const auto table = bvtest::RefTable::Load("text.tsv");
    int checked = 0;
    for (const auto& row : table.WithPrefix("CompareStringW.")) {
        auto key = bvtest::SplitKey(row.key);
        if (key[1] == "null_string" || key[1] == "bad_flags") {
            continue;
        }
        SCOPED_TRACE(row.key + " (line " + std::to_string(row.line) + ")");
        LCID locale = LOCALE_USER_DEFAULT;
        if (key[1] == "invariant") {
            locale = LOCALE_INVARIANT;
            key.erase(key.begin() + 1);
        }
        const auto flags = static_cast<DWORD>(std::stoul(key[1].substr(5), nullptr, 16));
        if (key[2] == "len") {
            key.erase(key.begin() + 2);
        }
        const Operand a = OperandOf(key[2]);
        const Operand b = OperandOf(key[3]);
        SetLastError(0xdeadbeef);
        EXPECT_EQ(CompareStringW(locale, flags, a.text.c_str(), a.count, b.text.c_str(), b.count),
                  bvtest::ParseNumber(row.value));
        EXPECT_EQ(GetLastError(), 0xdeadbeef);
        ++checked;
    }
    EXPECT_GT(checked, 50);
}

TEST(Collate, ReferenceFailures) {
    const auto table = bvtest::RefTable::Load("text.tsv");
    const auto number = [&](const std::string& key) { return bvtest::RefNumber(table, key); };
    SetLastError(0xdeadbeef);
    EXPECT_EQ(CompareStringW(LOCALE_USER_DEFAULT, 0, nullptr, -1, u"a", -1),
              number("CompareStringW.null_string.ret"));
    EXPECT_EQ(GetLastError(), number("CompareStringW.null_string.err"));
    SetLastError(0xdeadbeef);
    EXPECT_EQ(CompareStringW(LOCALE_USER_DEFAULT, 0x40000000, u"a", -1, u"a", -1),
              number("CompareStringW.bad_flags.ret"));
    EXPECT_EQ(GetLastError(), number("CompareStringW.bad_flags.err"));

    SetLastError(0xdeadbeef);
    EXPECT_EQ(CompareStringW(0x7777, 0, u"a", -1, u"a", -1), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    SetLastError(0xdeadbeef);
    EXPECT_EQ(CompareStringW(LOCALE_USER_DEFAULT, 0, u"a", -1, nullptr, 0), 0);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(Collate, OrderBeyondTheRecordedRows) {
    struct Row {
        LCID locale;
        DWORD flags;
        const char16_t* a;
        const char16_t* b;
        int expected;
    };
    const Row rows[] = {
        // Late weights decide last, first by position, then by count.
        {LOCALE_USER_DEFAULT, 0, u"a-bc", u"ab-c", CSTR_LESS_THAN},
        {LOCALE_USER_DEFAULT, 0, u"co-op", u"co--op", CSTR_LESS_THAN},
        {LOCALE_USER_DEFAULT, 0, u"co-op", u"co-op", CSTR_EQUAL},
        {LOCALE_USER_DEFAULT, 0, u"co-op", u"Coop", CSTR_LESS_THAN},
        {LOCALE_USER_DEFAULT, 0, u"co-op", u"cop", CSTR_LESS_THAN},
        {LOCALE_USER_DEFAULT, NORM_IGNORECASE, u"CO-OP", u"coop", CSTR_GREATER_THAN},
        {LOCALE_USER_DEFAULT, SORT_STRINGSORT, u"it's", u"its", CSTR_LESS_THAN},
        // Blank and "_" are symbols before digits and letters.
        {LOCALE_USER_DEFAULT, 0, u"a_b", u"a1", CSTR_LESS_THAN},
        {LOCALE_USER_DEFAULT, 0, u"a b", u"a_b", CSTR_LESS_THAN},
        {LOCALE_USER_DEFAULT, 0, u"stra\u00DFe", u"strasse", CSTR_EQUAL},
        {LOCALE_USER_DEFAULT, 0, u"abc", u"ABC", CSTR_LESS_THAN},
        {LOCALE_USER_DEFAULT, 0, u"ABC", u"abd", CSTR_LESS_THAN},
        {LOCALE_USER_DEFAULT, NORM_IGNORECASE, u"\u00C9T\u00C9", u"\u00E9t\u00E9", CSTR_EQUAL},
        {LOCALE_USER_DEFAULT, NORM_IGNORECASE, u"ete", u"\u00E9t\u00E9", CSTR_LESS_THAN},
        {LOCALE_USER_DEFAULT, NORM_IGNORENONSPACE, u"ete", u"\u00E9t\u00E9", CSTR_EQUAL},
        {LOCALE_USER_DEFAULT, NORM_IGNORENONSPACE, u"ete", u"ETE", CSTR_LESS_THAN},
        {LOCALE_USER_DEFAULT, NORM_IGNORESYMBOLS, u"co-op", u"coop", CSTR_EQUAL},
        {LOCALE_USER_DEFAULT, NORM_IGNORESYMBOLS, u"a.b", u"ab", CSTR_EQUAL},
        {LOCALE_USER_DEFAULT, SORT_DIGITSASNUMBERS, u"track9", u"track10", CSTR_LESS_THAN},
        // Explicit locales carry their own order.
        {0x0407, 0, u"\u00E4", u"z", CSTR_LESS_THAN},
        {0x041D, 0, u"\u00E4", u"z", CSTR_GREATER_THAN},
        {0x0409, 0, u"\u00E4", u"z", CSTR_LESS_THAN}};
    for (const Row& row : rows) {
        SCOPED_TRACE(bvtest::Show(row.a) + " " + bvtest::Show(row.b) + " locale " +
                     std::to_string(row.locale) + " flags " + std::to_string(row.flags));
        EXPECT_EQ(Compare(row.locale, row.flags, row.a, row.b), row.expected);
        EXPECT_EQ(Compare(row.locale, row.flags, row.b, row.a), 4 - row.expected) << "swapped";
    }
}

TEST(Collate, CountedLengthsStopWhereTheyAreTold) {
    const char16_t text[] = u"abc\0xyz";
    EXPECT_EQ(CompareStringW(LOCALE_USER_DEFAULT, 0, text, 2, u"ab", -1), CSTR_EQUAL);
    EXPECT_EQ(CompareStringW(LOCALE_USER_DEFAULT, 0, text, 0, u"", -1), CSTR_EQUAL);
    EXPECT_EQ(CompareStringW(LOCALE_USER_DEFAULT, 0, text, -5, u"abc", -1), CSTR_EQUAL);
    EXPECT_EQ(CompareStringW(LOCALE_USER_DEFAULT, 0, text + 4, 3, u"xyy", 3), CSTR_GREATER_THAN);
}

} // namespace
