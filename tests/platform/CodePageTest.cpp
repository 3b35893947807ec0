// Code page conversion beyond the recorded rows: argument checks, terminated input, the short
// buffer protocol, UTF-8 decoding rules and fast paths, table rules and flags, lead bytes, the
// test hooks, threads, and round trips.
#include "CodePageTestUtil.h"

#include "support/RefData.h"

#include <bvplatform/testing.h>
#include <bvplatform/winerror.h>

#include <functional>
#include <thread>
#include <vector>

using namespace codepagetest;

namespace {

std::u16string Units(std::initializer_list<char16_t> units) {
    return std::u16string(units);
}

// A call that must be refused: a valid call ("abc" into a buffer of 4) with some arguments
// changed.
enum Change : unsigned {
    kNoSource = 1,    // null source
    kNoBuffer = 2,    // null destination (its size stays)
    kSameBuffer = 4,  // the destination is the source
    kDefaultChar = 8, // lpDefaultChar given
    kUsedFlag = 16,   // lpUsedDefaultChar given
};
struct Refused {
    const char* name;
    bool toWide; // MultiByteToWideChar, else WideCharToMultiByte
    UINT codePage;
    DWORD flags;
    int srcLength, dstLength;
    unsigned changes; // Change bits
    DWORD error;
};
constexpr DWORD kParam = ERROR_INVALID_PARAMETER;
constexpr DWORD kFlags = ERROR_INVALID_FLAGS;
const Refused kRefused[] = {
    {"null source", true, CP_UTF8, 0, 3, 4, kNoSource, kParam},
    {"zero length", true, CP_UTF8, 0, 0, 4, 0, kParam},
    {"size without buffer", true, CP_UTF8, 0, 3, 4, kNoBuffer, kParam},
    {"negative size", true, CP_UTF8, 0, 3, -1, 0, kParam},
    {"source is destination", true, CP_UTF8, 0, 2, 4, kSameBuffer, kParam},
    {"unknown code page before flags", true, 12345, 0x10, 3, 4, 0, kParam},
    {"CP_SYMBOL", true, 42, 0, 3, 4, 0, kParam},
    {"unknown flag", true, 1252, 0x10, 3, 4, 0, kFlags},
    {"both forms", true, 1252, MB_PRECOMPOSED | MB_COMPOSITE, 3, 4, 0, kFlags},
    {"UTF-8 composite", true, CP_UTF8, MB_COMPOSITE, 3, 4, 0, kFlags},
    {"wide null source", false, CP_UTF8, 0, -1, 4, kNoSource, kParam},
    {"wide size without buffer", false, 1252, 0, 3, 4, kNoBuffer | kUsedFlag, kParam},
    {"wide negative size", false, 1252, 0, 3, -1000, kUsedFlag, kParam},
    {"wide source is destination", false, 1252, 0, 3, 4, kSameBuffer | kUsedFlag, kParam},
    {"UTF-8 default char", false, CP_UTF8, 0, 3, 4, kDefaultChar, kParam},
    {"UTF-8 used flag before flags", false, CP_UTF8, 0x100, 3, 4, kUsedFlag, kParam},
    {"unknown wide flag", false, 1252, 0x800, 3, 4, kUsedFlag, kFlags},
    {"error flag outside UTF-8", false, 932, WC_ERR_INVALID_CHARS, 3, 4, kUsedFlag, kFlags},
    {"UTF-8 best fit flag", false, CP_UTF8, WC_NO_BEST_FIT_CHARS, 3, 4, 0, kFlags},
    {"UTF-7 takes no flags", true, CP_UTF7, MB_ERR_INVALID_CHARS, 3, 4, 0, kFlags},
    {"UTF-7 default char", false, CP_UTF7, 0, 3, 4, kDefaultChar, kParam},
    {"UTF-7 used flag before flags", false, CP_UTF7, 1, 3, 4, kUsedFlag, kParam},
};

int Call(const Refused& row, std::u16string& wide, std::string& narrow, BOOL& used) {
    const bool same = row.changes & kSameBuffer;
    if (row.toWide) {
        const char* src = row.changes & kNoSource ? nullptr
                          : same                  ? reinterpret_cast<const char*>(wide.data())
                                                  : "abc";
        return MultiByteToWideChar(row.codePage, row.flags, src, row.srcLength,
                                   row.changes & kNoBuffer ? nullptr : wide.data(), row.dstLength);
    }
    const char16_t* src = row.changes & kNoSource ? nullptr
                          : same                  ? reinterpret_cast<const char16_t*>(narrow.data())
                                                  : u"abc";
    return WideCharToMultiByte(row.codePage, row.flags, src, row.srcLength,
                               row.changes & kNoBuffer ? nullptr : narrow.data(), row.dstLength,
                               row.changes & kDefaultChar ? "*" : nullptr,
                               row.changes & kUsedFlag ? &used : nullptr);
}

} // namespace

TEST(CodePage, RefusedCallsReportTheErrorAndWriteNothing) {
    for (const Refused& row : kRefused) {
        SCOPED_TRACE(row.name);
        std::u16string wide(4, kWideFill);
        std::string narrow(4, kNarrowFill);
        BOOL used = kSentinelBool;
        SetLastError(kSentinelError);
        EXPECT_EQ(Call(row, wide, narrow, used), 0);
        EXPECT_EQ(GetLastError(), row.error);
        EXPECT_EQ(wide, std::u16string(4, kWideFill));
        EXPECT_EQ(narrow, std::string(4, kNarrowFill));
        EXPECT_EQ(used, kSentinelBool);
    }
}

TEST(CodePage, NegativeLengthsMeanTerminatedAndZeroUnitsConvert) {
    using namespace std::string_literals;
    EXPECT_EQ(Widen(CP_UTF8, "ab", 0, -2002), u"ab\0"s);
    EXPECT_EQ(Widen(932, "\x82\xa0", 0, -1), u"\u3042\0"s);
    EXPECT_EQ(Narrow(1252, u"ab", {}, -7), "ab\0"s);
    EXPECT_EQ(Narrow(932, u"a\0\u3042"s), "a\0\x82\xa0"s);
}

TEST(CodePage, ShortDestinationKeepsWhatFitsAndFails) {
    const struct {
        UINT codePage;
        std::string src;
        std::u16string kept; // the destination afterwards; its length is the capacity
    } wideRows[] = {
        {CP_UTF8, "abcdefghijklmnopq", u"abcdefghijklmnop"},
        {CP_UTF8,
         "a\xc3\xa9"
         "b",
         u"a\u00e9"},
        {CP_UTF8, "\xf0\x9f\x8e\xb5x", Units({0xD83C})}, // the high half stays
        {1252, "abcd", u"ab"},
        {932, "\x82\xa0\x82\xa2", u"\u3042"},
    };
    for (const auto& row : wideRows) {
        SCOPED_TRACE(row.src);
        const auto r = ToWide(row.codePage, 0, row.src, static_cast<int>(row.kept.size()));
        EXPECT_EQ(r.ret, 0);
        EXPECT_EQ(r.error, ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(r.dest, row.kept);
    }
    const struct {
        UINT codePage;
        std::u16string src;
        std::string kept; // a character is never split: fill bytes where it did not fit
    } narrowRows[] = {
        {CP_UTF8, u"abcdefghijklmnopq", "abcdefghijklmnop"},
        {CP_UTF8, u"a\u00e9", "a\xcc"},
        {CP_UTF8, u"\U0001F3B5", "\xcc\xcc\xcc"},
        {932, u"a\u3042", "a\xcc"},
        {1252, u"Th\u0440", "T"}, // the default character was never needed
    };
    for (const auto& row : narrowRows) {
        SCOPED_TRACE(bvtest::Show(row.src));
        const NarrowOptions askUsed{0, nullptr, row.codePage != CP_UTF8};
        const auto r = ToNarrow(row.codePage, row.src, static_cast<int>(row.kept.size()), askUsed);
        EXPECT_EQ(r.ret, 0);
        EXPECT_EQ(r.error, ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(r.dest, row.kept);
        EXPECT_EQ(r.usedDefault, askUsed.askUsedDefault ? FALSE : kSentinelBool);
    }
}

// A lead byte with fewer bytes left than it needs takes them all into one U+FFFD; with enough
// bytes left, the first one that cannot continue it starts anew. (The decoding of each sequence
// wherever it stands, and the recorded rows, cover the rest.)
TEST(CodePageUtf8, SequenceCutByTheEnd) {
    const std::pair<std::string, std::u16string> rows[] = {
        {"\xe3\x41", u"\ufffd"}, {"\xc2", u"\ufffd"}, {"\xc2\x41", u"\ufffdA"}};
    for (const auto& [bytes, text] : rows) {
        SCOPED_TRACE(bvtest::ShowHex(bytes));
        EXPECT_EQ(Widen(CP_UTF8, bytes), text);
        EXPECT_EQ(ToWide(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, 8).error,
                  ERROR_NO_UNICODE_TRANSLATION);
    }
}

// Each row at every offset of the first two blocks of 16 bytes, followed by nothing, by ASCII
// runs shorter than, as long as, or longer than a block, so that it meets the checks of whole
// blocks, their ends, and the character-wise start and end. What a row decodes to does not depend
// on which of these follows it. The source has no slack, so that the sanitizers see any read past
// its end.
TEST(CodePageUtf8, SequencesAtEveryBlockOffset) {
    const struct {
        std::string bytes;
        std::u16string text;
        bool valid;
    } rows[] = {
        {"\xc2\x80", u"\u0080", true},
        {"\xdf\xbf", u"\u07ff", true},
        {"\xe0\xa0\x80", u"\u0800", true},
        {"\xed\x9f\xbf", u"\ud7ff", true},
        {"\xee\x80\x80", u"\ue000", true},
        {"\xf0\x90\x80\x80", u"\U00010000", true},
        {"\xf4\x8f\xbf\xbf\xc3\xa9", u"\U0010FFFF\u00e9", true},
        {"\xe0\x9f\xbf", u"\ufffd\ufffd", false},           // overlong
        {"\xed\xa0\x80", u"\ufffd\ufffd", false},           // surrogate
        {"\xf0\x8f\xbf\xbf", u"\ufffd\ufffd\ufffd", false}, // overlong
        {"\xf4\x90\x80\x80", u"\ufffd\ufffd\ufffd", false}, // above U+10FFFF
        {"\xf5\x80\x80\x80", u"\ufffd\ufffd\ufffd\ufffd", false},
        {"\xc0\xaf", u"\ufffd\ufffd", false},
        {"\xc1", u"\ufffd", false},
        {"\xc3\xa9\xbf", u"\u00e9\ufffd", false}, // a continuation byte too many
        {"\xe3\x81", u"\ufffd", false},           // one too few, at the end or before ASCII
        {"\xf0\x9f\x8e", u"\ufffd", false},
    };
    for (const auto& row : rows) {
        for (std::size_t before = 0; before < 34; ++before) {
            for (const std::size_t after : {0, 1, 7, 8, 40}) {
                SCOPED_TRACE(bvtest::ShowHex(row.bytes) + " after " + std::to_string(before) +
                             " bytes, " + std::to_string(after) + " after it");
                const std::string narrow =
                    std::string(before, 'a') + row.bytes + std::string(after, 'z');
                const std::u16string wide =
                    std::u16string(before, u'a') + row.text + std::u16string(after, u'z');
                const std::vector<char> source(narrow.begin(), narrow.end());
                const auto convert = [&](DWORD flags, int capacity) {
                    return codepagetest::Run<char16_t>(capacity, [&](char16_t* dst, BOOL*) {
                        return MultiByteToWideChar(CP_UTF8, flags, source.data(),
                                                   static_cast<int>(source.size()), dst, capacity);
                    });
                };
                const int size = static_cast<int>(wide.size());
                ASSERT_EQ(convert(0, 0).ret, size);
                EXPECT_EQ(convert(0, size).dest, wide);
                const int strict = row.valid ? size : 0;
                EXPECT_EQ(convert(MB_ERR_INVALID_CHARS, 0).ret, strict);
                EXPECT_EQ(convert(MB_ERR_INVALID_CHARS, size).ret, strict);
                if (after != 0) { // one unit short of room, with input left: keeps what fits
                    const auto cut = convert(0, size - 1);
                    EXPECT_EQ(cut.error, ERROR_INSUFFICIENT_BUFFER);
                    EXPECT_EQ(cut.dest, wide.substr(0, wide.size() - 1));
                }
            }
        }
    }
}

// The other way, surrogates (paired or not) at every offset of the first blocks of 8 units.
TEST(CodePageUtf8, SurrogatesAtEveryBlockOffset) {
    const struct {
        std::u16string text;
        std::string bytes;
        bool valid;
    } rows[] = {
        {u"\U0001F3B5\u00e9", "\xf0\x9f\x8e\xb5\xc3\xa9", true},
        {u"\u0080\u07ff\u0800\uffff", "\xc2\x80\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf", true},
        {Units({0xD800}), "\xef\xbf\xbd", false},
        {Units({0xDC00, 0xD800}), "\xef\xbf\xbd\xef\xbf\xbd", false},
        {Units({0xD83C, 0xD83C, 0xDFB5}), "\xef\xbf\xbd\xf0\x9f\x8e\xb5", false},
    };
    for (const auto& row : rows) {
        for (std::size_t before = 0; before < 18; ++before) {
            for (const std::size_t after : {0, 1, 7, 8, 9, 17}) {
                SCOPED_TRACE(bvtest::Show(row.text) + " after " + std::to_string(before) +
                             " units, " + std::to_string(after) + " after it");
                const std::u16string wide =
                    std::u16string(before, u'a') + row.text + std::u16string(after, u'z');
                const std::string narrow =
                    std::string(before, 'a') + row.bytes + std::string(after, 'z');
                ASSERT_EQ(Narrow(CP_UTF8, wide), narrow);
                const NarrowOptions strict{WC_ERR_INVALID_CHARS};
                EXPECT_EQ(ToNarrow(CP_UTF8, wide, 0, strict).ret,
                          row.valid ? static_cast<int>(narrow.size()) : 0);
            }
        }
    }
}

TEST(CodePageUtf8, EveryCodePointRoundTripsAndLoneSurrogatesDoNot) {
    std::u16string all;
    for (char32_t c = 0; c <= 0x10FFFF; ++c) {
        if (c < 0xD800 || (c > 0xDFFF && c < 0x10000)) {
            all.push_back(static_cast<char16_t>(c));
        } else if (c >= 0x10000) {
            all += {static_cast<char16_t>(0xD7C0 + (c >> 10)),
                    static_cast<char16_t>(0xDC00 | (c & 0x3FF))};
        }
    }
    const std::string utf8 = Narrow(CP_UTF8, all);
    EXPECT_EQ(utf8.size(), 128u * 1 + 1920u * 2 + 61440u * 3 + 1048576u * 4);
    EXPECT_TRUE(Widen(CP_UTF8, utf8, MB_ERR_INVALID_CHARS) == all);
    for (char16_t unit = 0xD800; unit <= 0xDFFF; ++unit) {
        const std::u16string lone = Units({unit, u'a'});
        ASSERT_EQ(Narrow(CP_UTF8, lone), "\xef\xbf\xbd"
                                         "a");
        ASSERT_EQ(ToNarrow(CP_UTF8, lone, 8, NarrowOptions{WC_ERR_INVALID_CHARS}).error,
                  ERROR_NO_UNICODE_TRANSLATION);
    }
}

TEST(CodePageUtf7, ConvertsAsThePlatform) {
    using namespace std::string_literals;
    const struct {
        std::string bytes;
        std::u16string text;
        int capacity; // for the encoding; 0: as needed
    } rows[] = {
        {"+T2BZfVQX-", u"\u4f60\u597d\u5417", 0},
        {"+T2BZfQ-", u"\u4f60\u597d", 0},
        {" +- ", u" + ", 0},
        {"a+AH4-b", u"a~b", 0},
        {"+JnI-a+JnI-", u"\u2672a\u2672", 0},
        {"+T2", u"\u4f60", 4}, // the last digit and '-' go out together
        {"+", u"+", 1},        // "+-" does not
        {"+T2BZfVQX", u"\u4f60\u597d\u5417", 9},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.bytes);
        if (row.capacity == 0) {
            EXPECT_EQ(Widen(CP_UTF7, row.bytes), row.text);
            EXPECT_EQ(Narrow(CP_UTF7, row.text), row.bytes);
            continue;
        }
        const auto r = ToNarrow(CP_UTF7, row.text, row.capacity);
        EXPECT_EQ(r.error, ERROR_INSUFFICIENT_BUFFER);
        EXPECT_EQ(r.dest.substr(0, row.bytes.size()), row.bytes);
    }
    const struct {
        std::string bytes;
        std::u16string text;
    } oddInput[] = {
        {"+T-+T2-hello", u"hello"},                // unfinished units are dropped
        {"+T2BZ-\x82\xfe", u"\u4f60\u0082\u00fe"}, // bytes stand for themselves
        {"+!+AAA", u"!\0"s},                       // a '+' before a non-digit vanishes
        {"+B!+AAA", u"!\0"s},
        {"+B\x82+AAA", u"\u0082\u0400"s}, // ...but after a high byte the bits stay
        {"+Bz+AAA", u"\u073f\u8000"},     // '+' inside a block is a digit
    };
    for (const auto& row : oddInput) {
        SCOPED_TRACE(row.bytes);
        EXPECT_EQ(Widen(CP_UTF7, row.bytes), row.text);
    }
    EXPECT_EQ(Widen(CP_UTF7, "+T2BZfQ-", 0, 4), u"\u4f60");
}

TEST(CodePageTables, DecodingRules) {
    using namespace std::string_literals;
    const struct {
        UINT codePage;
        DWORD flags;
        std::string bytes;
        std::u16string text; // empty: fails with ERROR_NO_UNICODE_TRANSLATION
    } rows[] = {
        {936, 0, "\xbf\xb4\xc7\0x"s, u"\u770b?\0x"s}, // a lead byte before a zero stays alone
        {936, MB_ERR_INVALID_CHARS, "\xbf\xb4\xc7\0x"s, u""},
        {932, 0, "\x82\x41", u"\u30fb"}, // a lead byte takes any other byte along
        {932, MB_ERR_INVALID_CHARS, "\x81\x45\xf0\x40\x80", u"\u30fb\ue000\u0080"},
        {932, MB_ERR_INVALID_CHARS, "\xa0", u""}, // single bytes into the private use area
        {874, MB_ERR_INVALID_CHARS, "\xdd", u""},
        {936, MB_ERR_INVALID_CHARS, "\xff", u""},
        {949, MB_ERR_INVALID_CHARS, "\xff", u""},
        {950, MB_ERR_INVALID_CHARS, "\xff", u""},
        {1253, MB_ERR_INVALID_CHARS, "\xaa", u""},
        {1255, MB_ERR_INVALID_CHARS, "\xff", u""},
        {1257, MB_ERR_INVALID_CHARS, "\xa5", u""},
        {1252, MB_ERR_INVALID_CHARS, "\x90", u"\u0090"},
        {437, MB_USEGLYPHCHARS, "\x01\x7f\x1b", u"\u263a\u2302\u2190"},
        {1252, MB_USEGLYPHCHARS, "\x01\x7f", u"\u0001\u007f"},
        {1252, MB_COMPOSITE, "\xc4\xe9", u"A\u0308e\u0301"},
        {CP_MACCP, 0, "\x8e", u"\u00e9"},
        {CP_ACP, 0, "\xc3\xa9\x80", u"\u00e9\ufffd"},
        {CP_THREAD_ACP, 0, "\xc3\xa9", u"\u00e9"},
        {949, 0, "\xb0\xa1", u"\uac00"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.codePage) + " " + bvtest::ShowHex(row.bytes));
        if (!row.text.empty()) {
            EXPECT_EQ(Widen(row.codePage, row.bytes, row.flags), row.text);
            continue;
        }
        const auto r = ToWide(row.codePage, row.flags, row.bytes, 8);
        EXPECT_EQ(r.ret, 0);
        EXPECT_EQ(r.error, ERROR_NO_UNICODE_TRANSLATION);
    }
}

TEST(CodePageTables, EncodingRules) {
    const struct {
        UINT codePage;
        DWORD flags;
        std::u16string text;
        const char* defaultChar;
        std::string bytes;
        BOOL usedDefault;
    } rows[] = {
        {950, 0, u"\u7119\u6240", nullptr, "\xb5H\xa9\xd2", FALSE},
        {936, WC_COMPOSITECHECK, u"\u7bb8=\uc813\uac00\ub77d", "\xa3\xbf",
         "\xf3\xe7=\xa3\xbf\xa3\xbf\xa3\xbf", TRUE},
        {932, 0, u"\u0101", "\x81\x48", "\x81\x48", TRUE}, // a double-byte default character
        {932, 0, u"\u00e9\u00a5", nullptr, "e\\", FALSE},  // best fit
        {1251, 0, u"\u00e4\u0440", nullptr, "a\xf0", FALSE},
        {1252, WC_COMPOSITECHECK, u"e\u0301a\u0304q\u0301", nullptr,
         "\xe9"
         "aq?",
         TRUE},
        {1252, WC_COMPOSITECHECK | WC_DISCARDNS, u"q\u0301", nullptr, "q", FALSE},
        {1252, WC_COMPOSITECHECK | WC_DEFAULTCHAR, u"q\u0301x", nullptr, "?x", TRUE},
        {1252, WC_NO_BEST_FIT_CHARS, u"\uff21\u00e9", "*", "*\xe9", TRUE},
        {437, 0, u"\u263a\u2302", nullptr, "\x01\x7f", FALSE},
        {20127, 0, u"\u00c6\u00a9", nullptr, "A?", TRUE},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.codePage) + " " + bvtest::Show(row.text));
        const NarrowOptions options{row.flags, row.defaultChar, true};
        EXPECT_EQ(Narrow(row.codePage, row.text, options), row.bytes);
        EXPECT_EQ(ToNarrow(row.codePage, row.text, 0, options).usedDefault, row.usedDefault);
    }
}

TEST(CodePageTables, LeadBytes) {
    const struct {
        UINT codePage;
        BYTE byte;
        BOOL lead;
    } rows[] = {{932, 0x81, TRUE},      {932, 0xA0, FALSE},   {932, 0xE0, TRUE},
                {936, 0xA0, TRUE},      {936, 0x80, FALSE},   {1252, 0x81, FALSE},
                {CP_UTF8, 0xC3, FALSE}, {CP_ACP, 0x81, FALSE}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.codePage) + "/" + std::to_string(row.byte));
        SetLastError(kSentinelError);
        EXPECT_EQ(IsDBCSLeadByteEx(row.codePage, row.byte), row.lead);
        EXPECT_EQ(GetLastError(), kSentinelError);
    }
    EXPECT_EQ(IsDBCSLeadByte(0x81), FALSE);
    EXPECT_EQ(IsDBCSLeadByteEx(12345, 0x81), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(CodePageTables, SingleBytePagesHoldExactly256Characters) {
    for (const UINT codePage : {1252u, 437u, 850u, 866u, 1250u, 1251u, 20866u, 28591u}) {
        SCOPED_TRACE(codePage);
        std::string bytes;
        for (int b = 0; b < 256; ++b) {
            bytes.push_back(static_cast<char>(b));
        }
        const std::u16string units = Widen(codePage, bytes, MB_ERR_INVALID_CHARS);
        EXPECT_EQ(Narrow(codePage, units, NarrowOptions{WC_NO_BEST_FIT_CHARS}), bytes);
        int exact = 0;
        for (char32_t c = 0; c <= 0xFFFF; ++c) {
            const char16_t unit = static_cast<char16_t>(c);
            char byte = 0;
            BOOL used = TRUE;
            WideCharToMultiByte(codePage, WC_NO_BEST_FIT_CHARS, &unit, 1, &byte, 1, nullptr, &used);
            exact += used ? 0 : 1;
        }
        EXPECT_EQ(exact, 256);
    }
}

TEST(CodePageHooks, CountCallsPerThreadAndFailThePlannedOne) {
    const unsigned long start = bvplatform::testing::ConversionCallCount();
    EXPECT_EQ(ToWide(1252, 0x10, "a", 4).error, ERROR_INVALID_FLAGS); // failed calls count too
    unsigned long otherThread = 99;
    std::thread([&] {
        otherThread = bvplatform::testing::ConversionCallCount();
        EXPECT_EQ(Widen(CP_UTF8, "a"), u"a");
    }).join();
    EXPECT_EQ(otherThread, 0u);
    EXPECT_EQ(bvplatform::testing::ConversionCallCount(), start + 1);
    {
        bvplatform::testing::ConversionFault outer(1, ERROR_OUTOFMEMORY);
        bvplatform::testing::ConversionFault inner(1, ERROR_NOT_ENOUGH_MEMORY);
        EXPECT_EQ(ToWide(CP_UTF8, 0, "abc", 4).ret, 3);
        const auto failed = ToNarrow(CP_UTF8, u"abc", 4);
        EXPECT_EQ(failed.ret, 0);
        EXPECT_EQ(failed.error, ERROR_NOT_ENOUGH_MEMORY); // the innermost fault wins
        EXPECT_EQ(failed.dest, std::string(4, kNarrowFill));
        EXPECT_EQ(ToNarrow(CP_UTF8, u"abc", 4).ret, 3);
    }
    EXPECT_EQ(ToNarrow(CP_UTF8, u"abc", 4).ret, 3); // no fault outlives its scope
    EXPECT_EQ(bvplatform::testing::ConversionCallCount(), start + 5);
}

TEST(CodePage, ConcurrentFirstUseBuildsEachTableOnce) {
    std::vector<std::thread> threads;
    std::vector<std::u16string> seen(8);
    for (std::size_t i = 0; i < seen.size(); ++i) {
        threads.emplace_back([&seen, i] {
            seen[i] = Widen(28597, "\xe1") + Widen(1258, "\xd1") + Widen(21866, "\xc1");
        });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    for (const std::u16string& s : seen) {
        EXPECT_EQ(s, u"\u03b1\u00d1\u0430");
    }
}
