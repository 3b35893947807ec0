// CharUpperW and CharLowerW: single units and terminated texts row by row against the recorded
// answers, the single-unit form in the pointer value, and the counted forms.
#include "support/RefData.h"

#include <bvplatform/locale.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using Mapper = LPWSTR (*)(LPWSTR);

char16_t MapUnit(Mapper map, char16_t unit) {
    const auto value = reinterpret_cast<std::uintptr_t>(
        map(reinterpret_cast<LPWSTR>(static_cast<std::uintptr_t>(unit))));
    EXPECT_LT(value, 0x10000u);
    return static_cast<char16_t>(value);
}

Mapper MapperOf(const std::string& name) {
    return name == "CharUpperW" ? CharUpperW : CharLowerW;
}

TEST(CaseMap, ReferenceUnits) {
    int checked = 0;
    const auto table = bvtest::RefTable::Load("text.tsv");
    for (const auto& row : table.Rows()) {
        const auto key = bvtest::SplitKey(row.key);
        if ((key[0] != "CharUpperW" && key[0] != "CharLowerW") || key[1].rfind("U+", 0) != 0) {
            continue;
        }
        SCOPED_TRACE(row.key + " (line " + std::to_string(row.line) + ")");
        const char16_t unit = bvtest::ParseUnit(key[1]);
        const char16_t expected = bvtest::ParseUnit(row.value);
        EXPECT_EQ(MapUnit(MapperOf(key[0]), unit), expected);
        std::u16string text(1, unit);
        MapperOf(key[0])(text.data());
        EXPECT_EQ(text[0], expected) << "as a text";
        ++checked;
    }
    EXPECT_GT(checked, 50);
}

TEST(CaseMap, ReferenceTexts) {
    int checked = 0;
    const auto table = bvtest::RefTable::Load("text.tsv");
    for (const auto& row : table.Rows()) {
        const auto key = bvtest::SplitKey(row.key);
        if (key.size() < 3 || (key[1] != "str" && key[1] != "len3")) {
            continue;
        }
        SCOPED_TRACE(row.key + " (line " + std::to_string(row.line) + ")");
        std::vector<WCHAR> buffer;
        const auto input = bvtest::ParseUtf16(key[2]);
        buffer.assign(input.begin(), input.end());
        buffer.insert(buffer.end(), {u'\0', 0xCCCC});
        if (key[0] == "CharUpperBuffW") {
            const DWORD count = CharUpperBuffW(buffer.data(), 3);
            if (key.size() == 4) {
                EXPECT_EQ(count, bvtest::ParseNumber(row.value));
                continue;
            }
        } else if (key[0] == "CharUpperW" || key[0] == "CharLowerW") {
            LPWSTR result = MapperOf(key[0])(buffer.data());
            if (key.size() == 4) {
                EXPECT_EQ(result == buffer.data(), bvtest::ParseNumber(row.value) == 1);
                continue;
            }
        } else {
            continue;
        }
        EXPECT_EQ(bvtest::Show(buffer.data()), bvtest::Show(bvtest::ParseUtf16(row.value)));
        EXPECT_EQ(buffer.back(), 0xCCCC);
        ++checked;
    }
    EXPECT_GE(checked, 5);
}

TEST(CaseMap, UnitsOutsideTheRecordedRows) {
    // {unit, upper, lower}: a surrogate and zero stay; U+0178 leads back to U+00FF.
    const char16_t rows[][3] = {
        {0x0178, 0x0178, 0x00FF}, {0xD800, 0xD800, 0xD800}, {0, 0, 0}, {u'q', u'Q', u'q'}};
    for (const auto& row : rows) {
        SCOPED_TRACE(bvtest::Show(std::u16string(1, row[0])));
        EXPECT_EQ(MapUnit(CharUpperW, row[0]), row[1]);
        EXPECT_EQ(MapUnit(CharLowerW, row[0]), row[2]);
    }
}

TEST(CaseMap, CountedFormsStopAtTheCount) {
    std::u16string text(u"ab\0cd", 5);
    EXPECT_EQ(CharUpperBuffW(text.data(), 5), 5u);
    EXPECT_EQ(text, std::u16string(u"AB\0CD", 5));
    EXPECT_EQ(CharLowerBuffW(text.data(), 1), 1u);
    EXPECT_EQ(text, std::u16string(u"aB\0CD", 5));
    EXPECT_EQ(CharLowerBuffW(nullptr, 4), 0u);
}

} // namespace
