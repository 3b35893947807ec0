// FormatMessageW and the local heap: recorded answers (with Windows' texts where Wine's differ),
// line widths, inserts, failures and the size protocol.
#include "support/RefData.h"

#include <bvplatform/base.h>
#include <bvplatform/debug.h>
#include <bvplatform/winerror.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>
#include <fstream>
#include <map>
#include <regex>
#include <vector>

namespace {

using bvtest::ParseNumber;
using bvtest::Show;

constexpr DWORD kSentinel = 0xdeadbeef;
constexpr DWORD kSystem = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM;
constexpr DWORD kString = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_STRING;

struct Outcome {
    DWORD ret = 0;         // FormatMessageW's return value
    DWORD err = kSentinel; // last error after the call (sentinel before it)
    std::u16string text;   // the text written, empty on failure
};

// One call. Under ALLOCATE_BUFFER the block is freed; otherwise the text goes to a buffer of
// `units` units plus a guard. Either way a failure must leave the caller's memory alone.
Outcome Call(DWORD flags, LPCVOID source, DWORD id, DWORD lang, va_list* args = nullptr,
             DWORD units = 0) {
    std::vector<WCHAR> buffer(units + 1, 0xCCCC);
    auto* const sentinel = reinterpret_cast<LPWSTR>(0x1234);
    LPWSTR block = sentinel;
    const bool allocate = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
    SetLastError(kSentinel);
    Outcome out;
    out.ret =
        FormatMessageW(flags, source, id, lang,
                       allocate ? reinterpret_cast<LPWSTR>(&block) : buffer.data(), units, args);
    out.err = GetLastError();
    EXPECT_EQ(buffer[units], 0xCCCC) << "write beyond nSize";
    if (out.ret == 0) {
        EXPECT_EQ(block, sentinel) << "a failure wrote *lpBuffer";
        EXPECT_EQ(buffer[0], 0xCCCC) << "a failure wrote the buffer";
        return out;
    }
    EXPECT_EQ(out.err, kSentinel) << "success changed the last error";
    out.text = allocate ? block : buffer.data();
    if (allocate) {
        EXPECT_EQ(LocalFree(block), nullptr);
    }
    return out;
}

Outcome FromArray(DWORD flags, const char16_t* definition, std::vector<DWORD_PTR> args) {
    auto* list = args.empty() ? nullptr : reinterpret_cast<va_list*>(args.data());
    return Call(flags | kString | FORMAT_MESSAGE_ARGUMENT_ARRAY, definition, 0, 0, list);
}

Outcome FromVaList(const char16_t* definition, ...) {
    va_list list;
    va_start(list, definition);
    Outcome out = Call(kString, definition, 0, 0, &list);
    va_end(list);
    return out;
}

DWORD_PTR Ptr(const void* p) {
    return reinterpret_cast<DWORD_PTR>(p);
}

// Windows' text named in a "windows-differs" comment, or empty.
std::u16string WindowsText(const bvtest::RefRow& row) {
    static const std::regex marker("Windows' text is \"([^\"]*)\"");
    std::smatch match;
    for (const auto& comment : row.comments) {
        if (std::regex_search(comment, match, marker)) {
            const std::string text = match[1];
            return std::u16string(text.begin(), text.end());
        }
    }
    return {};
}

TEST(FormatMessage, ReferenceRowsGiveWindowsAnswers) {
    const auto table = bvtest::RefTable::Load("messages.tsv");
    const auto rows = table.WithPrefix("FormatMessageW.flags");
    std::map<DWORD, std::u16string> windows; // Windows' text of each code a comment names
    for (const auto& row : rows) {
        if (auto text = WindowsText(row); !text.empty()) {
            windows[static_cast<DWORD>(ParseNumber(bvtest::SplitKey(row.key)[2]))] = text;
        }
    }
    for (const auto& row : rows) {
        const auto key = bvtest::SplitKey(row.key);
        if (key.back() != "ret" || key[3].rfind("lang", 0) == 0) {
            continue; // the language row: LanguagesAndComTexts
        }
        SCOPED_TRACE(row.key + " (line " + std::to_string(row.line) + ")");
        const auto flags = static_cast<DWORD>(ParseNumber(key[1].substr(5)));
        const auto id = static_cast<DWORD>(ParseNumber(key[2]));
        const auto units = key.size() == 5 ? static_cast<DWORD>(ParseNumber(key[3].substr(6))) : 0;
        const std::string base = row.key.substr(0, row.key.size() - 3);
        const auto err = table.Find(base + "err");
        const auto text = table.Find(base + "text");
        const Outcome got = Call(flags, nullptr, id, LANG_USER_DEFAULT, nullptr, units);
        // Wine lacks some texts Windows has (317); every other failure is Windows' too.
        if (err && !(windows.count(id) && ParseNumber(err->value) == 317)) {
            EXPECT_EQ(got.ret, 0u);
            EXPECT_EQ(got.err, static_cast<DWORD>(ParseNumber(err->value)));
            continue;
        }
        const DWORD width = flags & FORMAT_MESSAGE_MAX_WIDTH_MASK;
        std::u16string expected = text ? bvtest::ParseUtf16(text->value) : u"";
        if (windows.count(id)) {
            expected = windows[id] + (width == 0 ? u"\r\n" : u" ");
        }
        if (width == 20) { // the one wrapping row: Windows' text cut at the last blank
            expected = u"The parameter is\r\nincorrect. ";
        }
        EXPECT_EQ(Show(got.text), Show(expected));
        EXPECT_EQ(got.ret, expected.size());
    }
}

TEST(FormatMessage, LanguagesAndComTexts) {
    const struct {
        DWORD id;
        DWORD lang;
        const char16_t* text; // Windows' text under the width byte 0xFF; null: 1815
    } rows[] = {
        // Recorded with Japanese texts installed; the table holds English only, so Japanese gets
        // the platform's answer for a missing language (a documented difference).
        {2, 0x0411, nullptr},
        {2, 0x10409, nullptr},
        {5, 0x0000, u"Access is denied. "},
        {5, 0x0809, u"Access is denied. "},
        {0x8000FFFF, 0x0409, u"Catastrophic failure "},
        {0x80004004, 0, u"Operation aborted "},
        {0x8002000A, 0, u"Out of present range. "},
        {0x80020013, 0, u"Buffer too small "},
        {0x80040154, 0, u"Class not registered "},
        {0x80070057, 0, u"The parameter is incorrect. "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.id) + " lang " + std::to_string(row.lang));
        const Outcome got =
            Call(kSystem | FORMAT_MESSAGE_IGNORE_INSERTS | 0xFF, nullptr, row.id, row.lang);
        EXPECT_EQ(got.err, row.text ? kSentinel : ERROR_RESOURCE_LANG_NOT_FOUND);
        EXPECT_EQ(Show(got.text), Show(row.text ? row.text : u""));
    }
}

// Every code the public header names, plus other file, registry and system codes.
TEST(FormatMessage, EveryLibraryCodeHasOneLineOfText) {
    std::vector<DWORD> codes = {15, 16, 17, 19, 20, 21, 33, 82, 111, 112, 161, 267, 995, 997, 1014};
    std::ifstream header(std::string(BV_SOURCE_DIR) +
                         "/Core/Platform/include/bvplatform/winerror.h");
    const std::regex constant(
        R"(constexpr (DWORD|HRESULT) \w+ = (static_cast<HRESULT>\()?(\d\w*))");
    std::smatch match;
    for (std::string line; std::getline(header, line);) {
        if (std::regex_search(line, match, constant)) {
            codes.push_back(static_cast<DWORD>(std::stoul(match[3].str(), nullptr, 0)));
        }
    }
    ASSERT_GT(codes.size(), 60u) << "winerror.h was not read";
    for (DWORD code : codes) {
        SCOPED_TRACE(code);
        const Outcome got = Call(kSystem | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0);
        ASSERT_GT(got.ret, 2u);
        EXPECT_EQ(got.text.find(u"\r\n"), got.text.size() - 2) << "one line ending in CR LF";
    }
}

TEST(FormatMessage, DefinitionsWithoutArguments) {
    const std::u16string blanks(15, u' ');
    const DWORD ignore = FORMAT_MESSAGE_IGNORE_INSERTS;
    const struct {
        DWORD flags;               // width byte and IGNORE_INSERTS
        std::u16string definition; // FROM_STRING text
        std::u16string expected;
    } rows[] = {
        {0, u"hi\n", u"hi\r\n"},
        {0xFF, u"hi\r\n", u"hi "},
        {0xFF, u"\r\r\n", u"  "},
        {0xFF, u"a%nb%rc%td%%e%.%!% |f%0g", u"a\r\nb\rc\td%e.! |f"},
        {11, u"short long line", u"short long\r\nline"},
        {10, u"short long line", u"short\r\nlong line"},
        {20, u"short long long line", u"short long long\r\nline"},
        {16, u"short long    line", u"short long\r\nline"},
        {12, u"short long    line", u"short long\r\n  line"},
        {8, u"shortlon", u"shortlon\r\n"},
        {8, u"shortlongline", u"shortlon\r\ngline"},
        {8, u"shortlon%n", u"shortlon\r\n\r\n"},
        {8, u"short%rlong line", u"short\rlong\r\nline"},
        {5, u"l1" + blanks, u"l1\r\n\r\n\r\n  "},
        {11, u"short long\tline", u"short\r\nlong\tline"},
        {11, u"short\nlong line", u"short long\r\nline"},
        {ignore | 8, u"short%nlong line%1", u"short\r\nlong\r\nline%1"},
        {ignore, u"test%1%2!*.*s!%99", u"test%1%2!*.*s!%99"},
        {ignore, u"%%% %.%!%n%r%t|end%", u"%%% %.%!\r\n\r\t|end%"},
        {ignore, u"test%0test", u"test"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(Show(row.definition) + " flags " + std::to_string(row.flags));
        const Outcome got = FromArray(row.flags, row.definition.c_str(), {});
        EXPECT_EQ(Show(got.text), Show(row.expected));
        EXPECT_EQ(got.ret, row.expected.size());
    }
}

TEST(FormatMessage, InsertsFromAnArgumentArray) {
    const struct {
        const char16_t* definition;
        std::vector<DWORD_PTR> args;
        const char16_t* expected;
    } rows[] = {
        {u"%1%3%2%1", {Ptr(u"t"), Ptr(u"s"), Ptr(u"e")}, u"test"},
        {u"%1!d!,%2!u!,%3!x!,%4!X!,%5!hd!", {0xFFFFFFFB, 7, 255, 255, 0x12345}, u"-5,7,ff,FF,9029"},
        {u"%1!4d!|%1!-4d!|%1!04d!", {1}, u"   1|1   |0001"},
        {u"%1!3s!|%1!.2s!|%1!-6s!|", {Ptr(u"abc")}, u"abc|ab|abc   |"},
        {u"%1!c!%2!wc!%3!C!", {u'o', u'k', u'!'}, u"ok!"},
        {u"%1!I64u! %1!I64d!", {~DWORD_PTR{0}}, u"18446744073709551615 -1"},
        {u"%1|%2!S!", {0, Ptr("n\xC3\xA4")}, u"(null)|n\u00e4"},
        {u"%1!*.*u!,%1!*.*u!", {6, 4, 2, 5, 3, 1}, u"  0002, 00003"},
        {u"%1!*.*u!,%4!*.*u!", {6, 4, 2, 5, 3, 1}, u"  0002,  001"},
        {u"%1!*s!|%3", {4, Ptr(u"x"), Ptr(u"y")}, u"   x|y"},
        {u"%10%1", {Ptr(u"a"), 0, 0, 0, 0, 0, 0, 0, 0, Ptr(u"j")}, u"ja"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(Show(row.definition));
        EXPECT_EQ(Show(FromArray(0, row.definition, row.args).text), Show(row.expected));
    }
}

TEST(FormatMessage, InsertsFromAVaList) {
    const auto row = bvtest::RefTable::Load("messages.tsv")
                         .Find("FormatMessageW.from_string.\"a %1 b %2!d! c%%%n%0\".text");
    ASSERT_TRUE(row.has_value());
    EXPECT_EQ(FromVaList(u"a %1 b %2!d! c%%%n%0", u"x", 42).text, bvtest::ParseUtf16(row->value));
    // After %n!*.*u! the next va_list insert is %(n+2); a repeated %n reuses only the width.
    EXPECT_EQ(FromVaList(u"%1!*.*u!,%3!*.*u!", 5, 3, 1, 6, 4, 2).text, u"  001,  0002");
    EXPECT_EQ(FromVaList(u"%1!*.*u!,%1!*.*u!", 5, 3, 1, 4, 2).text, u"  001, 0002");
    EXPECT_EQ(FromVaList(u"%2 %1 %2", u"a", u"b").text, u"b a b");
}

TEST(FormatMessage, FailuresSetTheCodeAndWriteNothing) {
    const DWORD string = FORMAT_MESSAGE_FROM_STRING;
    std::vector<DWORD_PTR> huge = {0x7FFFFFFF, Ptr(u"x")};
    const struct {
        const char* name;
        DWORD flags;
        const void* source;
        DWORD id;
        DWORD units; // caller's buffer without ALLOCATE_BUFFER
        std::vector<DWORD_PTR>* args;
        DWORD expected;
    } rows[] = {
        {"no source flag", 0, u"x", 0, 16, nullptr, ERROR_INVALID_PARAMETER},
        {"null string", string, nullptr, 0, 16, nullptr, ERROR_INVALID_PARAMETER},
        {"lone percent", string, u"ab%", 0, 16, nullptr, ERROR_INVALID_PARAMETER},
        {"insert without args", string, u"%1", 0, 16, nullptr, ERROR_INVALID_PARAMETER},
        {"floating point", string, u"%1!f!", 0, 16, &huge, ERROR_INVALID_PARAMETER},
        {"unclosed format", string, u"%1!s", 0, 16, &huge, ERROR_INVALID_PARAMETER},
        {"field no one means", string, u"%1!*s!", 0, 16, &huge, ERROR_INVALID_PARAMETER},
        {"no text", FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 0xC00CE558, 16, nullptr, 317},
        {"dispatch range", FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 0x80040201, 16, nullptr, 317},
        {"module only", FORMAT_MESSAGE_FROM_HMODULE, nullptr, 2, 16, nullptr, 1813},
        {"empty result", string, u"%0abc", 0, 16, nullptr, 235},
        {"one unit short", string, u"12345", 0, 5, nullptr, ERROR_INSUFFICIENT_BUFFER},
        {"size zero", string, u"1", 0, 0, nullptr, ERROR_INSUFFICIENT_BUFFER},
        {"allocated, no source", FORMAT_MESSAGE_ALLOCATE_BUFFER, u"x", 0, 0, nullptr, 87},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const DWORD flags = row.flags | (row.args ? FORMAT_MESSAGE_ARGUMENT_ARRAY : 0);
        auto* args = row.args ? reinterpret_cast<va_list*>(row.args->data()) : nullptr;
        const Outcome got = Call(flags, row.source, row.id, 0, args, row.units);
        EXPECT_EQ(got.ret, 0u);
        EXPECT_EQ(got.err, row.expected);
    }
    SetLastError(kSentinel);
    EXPECT_EQ(FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, 2, 0, nullptr, 64, nullptr), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER) << "null lpBuffer";
}

TEST(FormatMessage, ExactFitAndAllocationMinimum) {
    EXPECT_EQ(Call(FORMAT_MESSAGE_FROM_STRING, u"12345", 0, 0, nullptr, 6).text, u"12345");
    LPWSTR block = nullptr;
    ASSERT_EQ(FormatMessageW(kString, u"ab", 0, 0, reinterpret_cast<LPWSTR>(&block), 999, nullptr),
              2u);
    block[998] = u'x'; // at least nSize units were allocated (ASan checks)
    EXPECT_EQ(LocalFree(block), nullptr);
}

TEST(LocalHeap, AllocZeroesAndFreeReturnsNull) {
    for (SIZE_T bytes : {SIZE_T{0}, SIZE_T{1}, SIZE_T{4096}}) {
        SCOPED_TRACE(bytes);
        auto* block = static_cast<unsigned char*>(LocalAlloc(LPTR, bytes));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(std::count(block, block + bytes, 0), static_cast<std::ptrdiff_t>(bytes));
        EXPECT_EQ(LocalFree(block), nullptr);
    }
    SetLastError(kSentinel);
    EXPECT_EQ(LocalFree(nullptr), nullptr);
    EXPECT_EQ(LocalAlloc(LMEM_FIXED, ~SIZE_T{0}), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
}

} // namespace
