// Conversions between TStr, narrow text, bytes and BSTR, and their failures.
#include "Core/Common/StrConv.h"
#include "Core/Common/Win32Exc.h"

#include <bvplatform/base.h>
#include <bvplatform/testing.h>
#include <bvplatform/text.h>
#include <bvplatform/winerror.h>

#include <gtest/gtest.h>

#include <typeinfo>

using bvplatform::testing::ConversionCallCount;

TEST(StrConv, EmptyInputMakesNoPlatformCall) {
    for (UINT codePage : {0u, 65001u, 1252u, 932u, 12345u}) {
        SCOPED_TRACE(codePage);
        const auto before = ConversionCallCount();
        EXPECT_EQ(mfConvertWideToMBCS(u"", codePage), "");
        EXPECT_EQ(mfConvertMBCSToWide("", codePage), u"");
        EXPECT_EQ(mfConvertMBCSToT(static_cast<const char*>(nullptr), codePage), u"");
        EXPECT_EQ(mfConvertTToMBCSByteVec(u"", codePage), ByteVec());
        EXPECT_EQ(mfConvertUTF8ByteVecToT(ByteVec(), codePage), u"");
        EXPECT_EQ(ConversionCallCount(), before);
    }
}

TEST(StrConv, KnownEncodings) {
    struct Row {
        UINT codePage;
        const char16_t* text;
        const char* bytes;
    } rows[] = {
        {0, u"\u00e9\u20ac", "\xC3\xA9\xE2\x82\xAC"}, // the active code page is UTF-8
        {65001, u"A\U0001F3B5", "A\xF0\x9F\x8E\xB5"},
        {1252, u"\u00e9\u20ac\u2019", "\xE9\x80\x92"},
        {437, u"\u00e9\u2592", "\x82\xB1"},
        {932, u"\u3042A",
         "\x82\xA0"
         "A"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.codePage);
        EXPECT_EQ(mfConvertTToMBCS(row.text, row.codePage), row.bytes);
        EXPECT_EQ(mfConvertMBCSToT(AStr(row.bytes), row.codePage), row.text);
        EXPECT_EQ(mfConvertMBCSToT(row.bytes, row.codePage), row.text);
    }
}

TEST(StrConv, ZeroUnitsInsideConvertExceptToAndFromBstr) {
    const TStr text(u"ab\0c\u00e9", 5);
    const AStr narrow = mfConvertTToMBCS(text);
    EXPECT_EQ(narrow, AStr("ab\0c\xC3\xA9", 6));
    EXPECT_EQ(mfConvertMBCSToT(narrow), text);
    EXPECT_EQ(mfConvertTToUTF8ByteVec(text).size(), 6u);

    const _bstr_t bstr = mfConvertTToBSTR(text);
    EXPECT_EQ(bstr.length(), 2u);
    EXPECT_EQ(TStr(bstr.GetBSTR()), u"ab");
    BSTR counted = SysAllocStringLen(u"ab\0cd", 5);
    EXPECT_EQ(mfConvertBSTRToT(counted), u"ab");
    SysFreeString(counted);
    const BSTR null = nullptr;
    EXPECT_EQ(mfConvertBSTRToT(null), u"");
}

TEST(StrConv, Utf8FormsIgnoreTheirCodePage) {
    EXPECT_EQ(mfConvertTToUTF8(u"\u00e9", 1252), "\xC3\xA9");
    EXPECT_EQ(mfConvertUTF8ToT("\xC3\xA9", 437), u"\u00e9");
    EXPECT_EQ(mfConvertUTF8ByteVecToT(ByteVec{0xC3, 0xA9, 0x00, 0x41}, 932), TStr(u"\u00e9\0A", 3));
}

TEST(StrConv, BytesPassUnchanged) {
    const ByteVec bytes{0x00, 0xFF, 0x80, 0x41, 0x00};
    EXPECT_EQ(mfToByteVec(mfToAStr(bytes)), bytes);
    EXPECT_EQ(mfToAStr(bytes).size(), 5u);
    EXPECT_EQ(mfConvertMBCSByteVecToT(ByteVec{0x80, 0xE9}, 1252), u"\u20ac\u00e9");
    EXPECT_EQ(mfConvertTToMBCSByteVec(u"\u20ac\u00e9", 1252), (ByteVec{0x80, 0xE9}));
}

TEST(StrConv, WideFormsCopy) {
    const TStr text(u"x\0\xD800y", 4);
    EXPECT_EQ(mfConvertTToWide(text, 1252, 8), text);
    EXPECT_EQ(mfConvertWideToT(text, 932, 0), text);
}

TEST(StrConv, UnknownCodePageThrowsWin32Exception) {
    struct Row {
        bool narrowing;
        const char* words;
    } rows[] = {
        {true, "mfConvertWideToMBCS failed - Win32 Error: The parameter is incorrect. "},
        {false, "mfConvertMBCSToWide failed - Win32 Error: The parameter is incorrect. "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.words);
        SetLastError(0);
        try {
            if (row.narrowing) {
                (void)mfConvertTToMBCS(u"abc", 12345);
            } else {
                (void)mfConvertMBCSToT(AStr("abc"), 12345);
            }
            ADD_FAILURE() << "no throw";
        } catch (const mcExc& e) {
            EXPECT_EQ(typeid(e), typeid(mcWin32Exc));
            EXPECT_STREQ(e.what(), row.words);
            EXPECT_EQ(static_cast<DWORD>(e.HResult()), 0x80070057u);
            EXPECT_EQ(static_cast<const mcWin32Exc&>(e).Win32Error(), ERROR_INVALID_PARAMETER);
            EXPECT_EQ(e.ThrowFile(), u"Core/Common/StrConv.cpp");
            EXPECT_EQ(e.ThrowFunc(),
                      row.narrowing ? u"mfConvertWideToMBCS" : u"mfConvertMBCSToWide");
        }
    }
}

TEST(StrConv, FailingSizeQueryOrConversionEndsTheSameWay) {
    for (unsigned long failingCall : {0ul, 1ul}) {
        SCOPED_TRACE(failingCall);
        bvplatform::testing::ConversionFault fault(failingCall, ERROR_NO_UNICODE_TRANSLATION);
        try {
            (void)mfConvertWideToMBCS(u"abc", CP_UTF8);
            ADD_FAILURE() << "no throw";
        } catch (const mcExc& e) {
            EXPECT_STREQ(e.what(), "mfConvertWideToMBCS failed - Win32 Error: No mapping for the "
                                   "Unicode character exists in the target multi-byte code page. ");
            EXPECT_EQ(static_cast<DWORD>(e.HResult()), 0x80070459u);
        }
    }
}

TEST(StrConv, InvalidInputUnderErrorFlagThrows) {
    EXPECT_THROW((void)mfConvertMBCSToWide("a\x80", CP_UTF8, MB_ERR_INVALID_CHARS), mcExc);
    EXPECT_EQ(mfConvertMBCSToWide("a\x80", CP_UTF8, 0), u"a\uFFFD");
}
