// mcStlGuid: order by part values, the twelve operators across the three GUID types, copies that
// leave the object usable through its vtable; the GUID texts in both directions; a new GUID and
// the failure of the platform to make one.
#include "Core/Common/StlGuid.h"

#include "Core/Common/Exc.h"

#include <bvplatform/testing.h>

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <typeinfo>

namespace {

constexpr _GUID kSample = {
    0x01234567u, 0x89ABu, 0xCDEFu, {0x00, 0x11, 0x22, 0x33, 0xF4, 0x55, 0x66, 0x77}};

_GUID Filled() {
    _GUID guid;
    std::memset(&guid, 0xCC, sizeof guid);
    return guid;
}

bool SameBytes(const _GUID& a, const _GUID& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

tag_BV_GUID ToTag(const _GUID& guid) {
    tag_BV_GUID tag;
    std::memcpy(&tag, &guid, sizeof tag);
    return tag;
}

// Every operator of `a` against `b` in each of its three forms must agree with `order`.
void ExpectOrder(const mcStlGuid& a, const _GUID& b, int order) {
    const mcStlGuid asStl(b);
    const tag_BV_GUID asTag = ToTag(b);
    EXPECT_EQ(a == asStl, order == 0);
    EXPECT_EQ(a != asStl, order != 0);
    EXPECT_EQ(a < asStl, order < 0);
    EXPECT_EQ(a > asStl, order > 0);
    EXPECT_EQ(a == b, order == 0);
    EXPECT_EQ(a != b, order != 0);
    EXPECT_EQ(a < b, order < 0);
    EXPECT_EQ(a > b, order > 0);
    EXPECT_EQ(a == asTag, order == 0);
    EXPECT_EQ(a != asTag, order != 0);
    EXPECT_EQ(a < asTag, order < 0);
    EXPECT_EQ(a > asTag, order > 0);
    EXPECT_EQ(b == a, order == 0); // rewritten by C++20 from the member form
    EXPECT_EQ(asStl > a, order < 0);
}

TEST(StlGuid, OrderIsByPartValues) {
    struct Row {
        const char* what;
        _GUID a, b;
        int order;
    };
    const Row rows[] = {
        {"equal", kSample, kSample, 0},
        {"first part by value, not by its low byte",
         {0x00000100u, 0, 0, {}},
         {0x00000001u, 0, 0, {}},
         1},
        {"second part", {1, 0x0100u, 0, {}}, {1, 0x00FFu, 0, {}}, 1},
        {"third part", {1, 2, 0x00FFu, {}}, {1, 2, 0x0100u, {}}, -1},
        {"first byte of the fourth part", {1, 2, 3, {0x01}}, {1, 2, 3, {0x80}}, -1},
        {"last byte is unsigned",
         {1, 2, 3, {0, 0, 0, 0, 0, 0, 0, 0xFF}},
         {1, 2, 3, {0, 0, 0, 0, 0, 0, 0, 0x01}},
         1},
        {"earlier part decides", {2, 0, 0, {}}, {1, 0xFFFFu, 0xFFFFu, {0xFF}}, 1},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        ExpectOrder(mcStlGuid(row.a), row.b, row.order);
        ExpectOrder(mcStlGuid(row.b), row.a, -row.order);
    }
}

TEST(StlGuid, EmptyClearAndCopiesKeepTheObjectWhole) {
    mcStlGuid guid;
    EXPECT_TRUE(guid.IsEmpty());
    EXPECT_TRUE(guid == _GUID{});
    guid = kSample;
    EXPECT_FALSE(guid.IsEmpty());
    EXPECT_TRUE(SameBytes(guid, kSample));
    guid = ToTag(_GUID{0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 1}});
    EXPECT_FALSE(guid.IsEmpty()); // one bit in the last byte counts
    guid.Clear();
    EXPECT_TRUE(guid.IsEmpty());
    // Clear and assignment touch the GUID part only: the object still dispatches.
    auto owned = std::make_unique<mcStlGuid>(kSample);
    *owned = mcStlGuid();
    owned->Clear();
    EXPECT_EQ(typeid(*owned), typeid(mcStlGuid));
    const mcStlGuid copy(mcStlGuid{ToTag(kSample)});
    EXPECT_TRUE(SameBytes(copy, kSample));
    std::map<mcStlGuid, int> keyed{{mcStlGuid(kSample), 1}, {mcStlGuid(), 2}};
    EXPECT_EQ(keyed.begin()->second, 2);
}

TEST(StlGuid, TextForms) {
    EXPECT_EQ(mfStrConvertGuidToStr(kSample, false), u"01234567-89ab-cdef-0011-2233f4556677");
    EXPECT_EQ(mfStrConvertGuidToStr(kSample, true), u"01234567-89ab-cdef-00-11-22-33-f4-55-66-77");
    EXPECT_EQ(mfStrConvertGuidToStr(_GUID{}, false), u"00000000-0000-0000-0000-000000000000");
    for (bool dashEveryByte : {false, true}) {
        _GUID back = Filled();
        ASSERT_TRUE(mfStrConvertStrToGuid(mfStrConvertGuidToStr(kSample, dashEveryByte), back));
        EXPECT_TRUE(SameBytes(back, kSample));
    }
}

TEST(StlGuid, ReadingText) {
    struct Row {
        TStr text;
        bool ok;
    };
    const Row rows[] = {
        {u"0123456789abcdef00112233f4556677", true},
        {u"{01234567-89AB-CDEF-0011-2233F4556677}", true},
        {u"01-234567 89ab}{cdef0011-2233f4556677--", true},
        {u"x0123456789ABCDEF00112233F4556677zq", true}, // letters from g on fall away
        {u"0123456789abcdef00112233f455667", false},    // 31 digits
        {u"0123456789abcdef00112233f45566770", false},  // 33 digits
        {u"", false},
        {u"{}", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.text.begin(), row.text.end()));
        _GUID out = Filled();
        EXPECT_EQ(mfStrConvertStrToGuid(row.text, out), row.ok);
        EXPECT_TRUE(SameBytes(out, row.ok ? kSample : Filled()));
    }
}

TEST(StlGuid, NewGuidTextIsBracedCapitals) {
    const TStr text = mfStrMakeGuidStr();
    ASSERT_EQ(text.size(), 38u);
    EXPECT_EQ(text.front(), u'{');
    EXPECT_EQ(text.back(), u'}');
    for (std::size_t i = 1; i < 37; ++i) {
        const char16_t unit = text[i];
        const bool dash = i == 9 || i == 14 || i == 19 || i == 24;
        EXPECT_TRUE(dash ? unit == u'-'
                         : (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'F'))
            << "unit " << i;
    }
    _GUID guid = Filled();
    ASSERT_TRUE(mfStrConvertStrToGuid(text, guid));
    EXPECT_EQ(guid.Data3 >> 12, 4);
    EXPECT_NE(mfStrMakeGuidStr(), text);
}

TEST(StlGuid, PlatformFailureThrows) {
    bvplatform::testing::FailNextCoCreateGuid(static_cast<HRESULT>(0x8007000Eu));
    try {
        (void)mfStrMakeGuidStr();
        ADD_FAILURE() << "no throw";
    } catch (const mcExc& e) {
        EXPECT_EQ(typeid(e), typeid(mcExc));
        EXPECT_STREQ(e.what(), "CoCreateGuid failed");
        EXPECT_EQ(e.HResult(), 0);
        EXPECT_EQ(e.ThrowFunc(), u"mfStrMakeGuidStr");
    }
}

} // namespace
