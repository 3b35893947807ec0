// String utilities by family: trimming, case, comparing and searching, versions, replacing,
// splitting and joining, URL coding. Rows carry the cases that catch real faults: separators
// of several units, zero units inside texts, non-ASCII case, units above 0xFF.
#include "Core/Common/StrUtils.h"

#include "ViewerState.h"
#include "support/RefData.h"
#include "support/TestViewer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using bvtest::Show;

// A text with zero units inside it (a literal would stop at the first).
template <std::size_t N>
TStr Units(const char16_t (&literal)[N]) {
    return TStr(literal, N - 1);
}

TEST(StrUtils, Trimming) {
    struct Row {
        TStr (*trim)(const TStr&);
        TStr in, out;
    };
    const Row rows[] = {{mfStrTrimLeft, u" \t\u3000a b\u00A0 ", u"a b\u00A0 "},
                        {mfStrTrimRight, u" a b\u00A0\u2028", u" a b"},
                        {mfStrTrim, u"\r\n x \v", u"x"},
                        {mfStrTrim, u"\u0085x\u0085", u"\u0085x\u0085"},
                        {mfStrTrim, u" \t ", u""},
                        {mfStrTrim, u"", u""},
                        {mfStrStripTrailingNull, Units(u"ab\0c\0\0"), Units(u"ab\0c")},
                        {mfStrStripTrailingNull, Units(u"\0\0"), u""},
                        {mfStrStripTrailingNull, u"", u""}};
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.in));
        EXPECT_EQ(Show(row.trim(row.in)), Show(row.out));
    }
    EXPECT_EQ(mfStrTrimLeft(u"xxaxx", u'x'), u"axx");
    EXPECT_EQ(mfStrTrimRight(u"xxaxx", u'x'), u"xxa");
    EXPECT_EQ(mfStrTrim(u"xxaxx", u'x'), u"a");
    EXPECT_EQ(mfStrTrim(u"xxx", u'x'), u"");
    EXPECT_EQ(mfStrStripWhitespace(u" a ", true, false), u"a ");
    EXPECT_EQ(mfStrStripWhitespace(u" a ", false, true), u" a");
    EXPECT_EQ(mfStrStripWhitespace(u" a ", false, false), u" a ");
    EXPECT_TRUE(mfIsWhitespace(0x3000));
    EXPECT_FALSE(mfIsWhitespace(0x0085));
    EXPECT_TRUE(mfIsNotWhitespace(u'a'));
}

TEST(StrUtils, CaseByThePlatformTable) {
    struct Row {
        TStr in, lower, upper;
    };
    const Row rows[] = {
        {u"Stra\u00DFe \u00C4rger", u"stra\u00DFe \u00E4rger", u"STRA\u00DFE \u00C4RGER"},
        {u"\u0130\u0131 \u0436\u0401", u"\u0130\u0131 \u0436\u0451", u"\u0130\u0131 \u0416\u0401"},
        {Units(u"Ab\0Cd"), Units(u"ab\0Cd"), u"AB"},
        {u"", u"", u""}};
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.in));
        EXPECT_EQ(Show(mfStrToLower(row.in)), Show(row.lower));
        EXPECT_EQ(Show(mfStrToUpper(row.in)), Show(row.upper));
    }
}

TEST(StrUtils, CapitalizeWords) {
    struct Row {
        TStr in, separators, out;
    };
    const Row rows[] = {{u"the quick fox", u" ", u"The Quick Fox"},
                        {u"rock'n roll", u" '", u"Rock'N Roll"},
                        {u"mcDonald  and co ", u" ", u"McDonald  And Co "},
                        {u"\u00E9lan vital", u" ", u"\u00E9lan Vital"},
                        {u"a-b_c", u"-", u"A-B_c"},
                        {u"", u" ", u""}};
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.in));
        TStr text = row.in;
        mfStrCapitalizeWords(text, row.separators);
        EXPECT_EQ(Show(text), Show(row.out));
    }
}

TEST(StrUtils, CompareFollowsTheUserOrder) {
    struct Row {
        TStr a, b;
        int exact, ignoringCase;
    };
    // The platform's order itself is checked with CompareStringW; here the mapping of its
    // answers and the cut at a zero unit.
    const Row rows[] = {{u"abc", u"abc", 0, 0},
                        {u"abc", u"ABC", -1, 0},
                        {Units(u"ab\0x"), Units(u"ab\0y"), 0, 0},
                        {u"", u"", 0, 0}};
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.a) + " " + Show(row.b));
        EXPECT_EQ(mfStrCompare(row.a, row.b, false), row.exact);
        EXPECT_EQ(mfStrCompare(row.a, row.b, true), row.ignoringCase);
        EXPECT_EQ(mfStrCompare(row.b, row.a, false), -row.exact);
    }
    EXPECT_EQ(mfStrCompare(nullptr, u"a", false), -2);
    EXPECT_EQ(mfStrCompare(u"a", static_cast<const WCHAR*>(nullptr), true), -2);
}

TEST(StrUtils, FindAndMismatch) {
    struct Row {
        TStr text, pattern;
        int exact, ignoringCase;
    };
    const Row rows[] = {
        {u"Hello World", u"world", -1, 6},
        {u"stra\u00DFe \u00C4RGER", u"\u00E4rger", -1, 7},
        {u"abcabc", u"cab", 2, 2},
        {u"abc", u"", -1, -1},
        {u"", u"a", -1, -1},
        {u"ab", u"abc", -1, -1},
        // Units whose other byte equals the pattern's first unit's byte must not match.
        {u"\u4142\u4100AB", u"AB", 2, 2},
        {u"a\u0101\u0100x\u0100", u"\u0100", 2, 1},
        {u"xyzab", u"ab", 3, 3},
        {Units(u"a\0b\0c"), Units(u"\0c"), 3, 3}};
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.text) + " " + Show(row.pattern));
        EXPECT_EQ(mfStrFind(row.text, row.pattern, false), row.exact);
        EXPECT_EQ(mfStrFind(row.text, row.pattern, true), row.ignoringCase);
    }
    EXPECT_EQ(mfStrFindFirstMismatchPosition(u"abc", u"abd"), 2);
    EXPECT_EQ(mfStrFindFirstMismatchPosition(u"ab", u"abc"), 2);
    EXPECT_EQ(mfStrFindFirstMismatchPosition(u"abc", u"ab"), 2);
    EXPECT_EQ(mfStrFindFirstMismatchPosition(u"abc", u"abc"), -1);
    EXPECT_EQ(mfStrFindFirstMismatchPosition(u"", u""), -1);
    EXPECT_EQ(mfStrFindFirstMismatchPosition(u"", u"a"), 0);
}

TEST(StrUtils, DigitsAndNumbers) {
    EXPECT_TRUE(mfStrIsDigits(u"0123"));
    EXPECT_TRUE(mfStrIsDigits(u"\u0663\uFF15"));
    EXPECT_FALSE(mfStrIsDigits(u""));
    EXPECT_FALSE(mfStrIsDigits(u"12a"));
    EXPECT_FALSE(mfStrIsDigits(u" 1"));
    EXPECT_EQ(mfStrExtractNumericSubString(u"abc123def456"), u"123");
    EXPECT_EQ(mfStrExtractNumericSubString(u"v\u0663\uFF1542x"), u"42");
    EXPECT_EQ(mfStrExtractNumericSubString(u"track 7"), u"7");
    EXPECT_EQ(mfStrExtractNumericSubString(u"none"), u"");
}

TEST(StrUtils, CompareVersions) {
    struct Row {
        TStr a, b;
        int expected;
    };
    const Row rows[] = {{u"8.0.100", u"8.0.99", 1},
                        {u"8.0.99", u"8.0.100", -1},
                        {u"1..2.3", u"1.2.3", 0},
                        {u"1.2.3.", u"1.2.3", 0},
                        {u"1.2.3x", u"1.2.3", 0},
                        {u"1.a.3", u"1.0.3", 0},
                        {u"-1.0.0", u"0.0.0", -1},
                        {u"10.0.0", u"9.9.9", 1},
                        {u"9223372036854775807.0.0", u"9223372036854775806.9.9", 1}};
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.a) + " " + Show(row.b));
        EXPECT_EQ(mfStrCompareBVVersions(row.a, row.b), row.expected);
    }
}

TEST(StrUtils, BadVersionsLogOneAssertionEach) {
    bvtest::TestViewer viewer;
    bvtest::AttachViewer(viewer);
    const TStr bad[][2] = {{u"8.0", u"8.0.1"},
                           {u".1.2", u"1.2.3"},
                           {u"1.2.3", u".1.2.3"},
                           {u"1.2.3.4", u"1.2.3"},
                           {u"", u"1.2.3"}};
    for (const auto& pair : bad) {
        SCOPED_TRACE(Show(pair[0]) + " " + Show(pair[1]));
        EXPECT_EQ(mfStrCompareBVVersions(pair[0], pair[1]), -2);
    }
    const TStr head =
        u"Assertion failed,\"! NOLOC(\"Bad arg passed into mfStrCompareBVVersions\")\","
        u"mfStrCompareBVVersions(),StrUtils.cpp(";
    int lines = 0;
    for (const auto& message : viewer.Messages()) {
        if (message.command != 7) {
            continue;
        }
        ++lines;
        EXPECT_EQ(Show(message.Text().substr(0, head.size())), Show(head));
        EXPECT_EQ(message.Text().back(), u')');
    }
    EXPECT_EQ(lines, 5);
}

TEST(StrUtils, ReplaceAll) {
    struct Row {
        TStr text, from, to, out;
    };
    const Row rows[] = {{u"aa", u"aa", u"aaa", u"aaa"},
                        {u"a.b.c", u".", u"\\\\", u"a\\\\b\\\\c"},
                        {u"xyxyx", u"xyx", u"-", u"-yx"},
                        {u"abab", u"ab", u"", u""},
                        {u"abc", u"", u"z", u"abc"},
                        {u"\u3042\u3044\u3042", u"\u3042", u"%3042", u"%3042\u3044%3042"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.text) + " " + Show(row.from));
        TStr text = row.text;
        mfStrReplaceAll(text, row.from, row.to);
        EXPECT_EQ(Show(text), Show(row.out));
    }
    TStr units = u"a\\b\\c";
    mfStrReplaceAll(units, u'\\', u'/');
    EXPECT_EQ(units, u"a/b/c");
}

TEST(StrUtils, SplitLineInTwo) {
    struct Row {
        TStr line, separator;
        bool split;
        TStr left, right;
    };
    const Row rows[] = {{u"key=value", u"=", true, u"key", u"value"},
                        {u"=value", u"=", true, u"", u"value"},
                        {u"key=", u"=", false, u"", u""},
                        {u"a::b::c", u"::", true, u"a", u":b::c"},
                        {u"a::", u"::", false, u"", u""},
                        {u"a::x", u"::", true, u"a", u":x"},
                        {u"novalue", u"=", false, u"", u""},
                        {u"a=b", u"", false, u"", u""}};
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.line) + " " + Show(row.separator));
        TStr left = u"<left>";
        TStr right = u"<right>";
        ASSERT_EQ(mfStrSplitLine(row.line, row.separator, left, right), row.split);
        EXPECT_EQ(Show(left), Show(row.split ? row.left : u"<left>"));
        EXPECT_EQ(Show(right), Show(row.split ? row.right : u"<right>"));
    }
}

TEST(StrUtils, SplitLineIntoPieces) {
    struct Row {
        TStr line, separator;
        TStrVec pieces;
    };
    const Row rows[] = {{u",a,,b,", u",", {u"a", u"b"}},
                        {u",", u",", {}},
                        {u"a", u",", {u"a"}},
                        {u"", u",", {}},
                        {u"a,b", u"", {}},
                        {u"x::y::z", u"::", {u"x", u":y", u":z"}},
                        {u"x::::y", u"::", {u"x", u":y"}}};
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.line) + " " + Show(row.separator));
        TStrVec pieces = {u"kept"};
        EXPECT_EQ(mfStrSplitLine(row.line, row.separator, pieces), row.pieces.size());
        TStrVec expected = {u"kept"};
        expected.insert(expected.end(), row.pieces.begin(), row.pieces.end());
        EXPECT_EQ(pieces, expected);
    }
}

TEST(StrUtils, SeparateJoinedLines) {
    struct Row {
        TStr buffer;
        TStrVec lines;
    };
    const Row rows[] = {
        {Units(u"one\0two\0\0"), {u"one", u"two"}}, {Units(u"one\0two\0"), {u"one", u"two"}},
        {Units(u"one\0\0two\0\0"), {u"one"}},       {Units(u"\0one\0\0"), {}},
        {Units(u"one\0tw"), {u"one", u"tw"}},       {u"", {}}};
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.buffer));
        // An exactly sized heap buffer, so that a read past its end is caught by the sanitizer.
        const std::vector<WCHAR> buffer(row.buffer.begin(), row.buffer.end());
        TStrVec lines = {u"kept"};
        mfStrSeparateJoinedLines(buffer, lines);
        TStrVec expected = {u"kept"};
        expected.insert(expected.end(), row.lines.begin(), row.lines.end());
        EXPECT_EQ(lines, expected);
    }
}

TEST(StrUtils, JoinPaths) {
    EXPECT_EQ(mfStrJoin(u"C:\\a\\\\", u"\\\\b"), u"C:\\a\\b");
    EXPECT_EQ(mfStrJoin(u"C:\\a", u"b"), u"C:\\a\\b");
    EXPECT_EQ(mfStrJoin(u"", u"\\b"), u"\\b");
    EXPECT_EQ(mfStrJoin(u"a\\", u""), u"a\\");
    EXPECT_EQ(mfStrJoin(u"\\", u"\\"), u"\\");
}

TEST(StrUtils, UrlCoding) {
    struct Row {
        TStr text, loose, strict;
    };
    const Row rows[] = {{u"a b_c", u"a%20b_c", u"a%20b%5Fc"},
                        {u"(x)!*.-~", u"(x)!*.-%7E", u"%28x%29%21%2A%2E%2D%7E"},
                        {u"\u2014\u00E9\u00D7", u"%2014\u00E9%D7", u"%2014\u00E9%D7"},
                        {u"\u3042\u0100", u"\u3042\u0100", u"\u3042\u0100"},
                        {u"+%\u3000", u"%2B%25%3000", u"%2B%25%3000"},
                        {Units(u"\0"), u"%00", u"%00"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.text));
        EXPECT_EQ(Show(mfStrUrlEncode(row.text, false)), Show(row.loose));
        EXPECT_EQ(Show(mfStrUrlEncode(row.text, true)), Show(row.strict));
        if (row.text.find_first_of(u"\u2014\u3000") == TStr::npos) {
            EXPECT_EQ(Show(mfStrUrlUnencode(row.strict)), Show(row.text)) << "round trip";
        }
    }
    const std::pair<TStr, TStr> decoded[] = {{u"a%20b", u"a b"},
                                             {u"a+b", u"a+b"},
                                             {u"100%", Units(u"100\0")},
                                             {u"%4", u"\u0004"},
                                             {u"%3042", u"042"},
                                             {u"%-1x", u"\uFFFFx"},
                                             {u"% 5", u"\u0005"},
                                             {u"%zz!", Units(u"\0!")},
                                             {u"%4g", u"\u0004"},
                                             {u"%%41", Units(u"\0"
                                                             "1")}};
    for (const auto& [text, out] : decoded) {
        SCOPED_TRACE(Show(text));
        EXPECT_EQ(Show(mfStrUrlUnencode(text)), Show(out));
    }
}

} // namespace
