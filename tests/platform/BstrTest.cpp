// BSTR layout and lengths, and _bstr_t sharing, ownership transfer and comparison.
#include "support/RefData.h"

#include <bvplatform/oleauto.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

namespace {

std::u16string Units(BSTR text) {
    return std::u16string(text, SysStringLen(text));
}

TEST(Bstr, LayoutIsCountTextTerminator) {
    const std::u16string rows[] = {u"", u"abc", std::u16string(u"a\0b", 3),
                                   std::u16string(300, u'\u00e9')};
    for (const auto& row : rows) {
        SCOPED_TRACE(bvtest::Show(row));
        BSTR text = SysAllocStringLen(row.data(), static_cast<UINT>(row.size()));
        ASSERT_NE(text, nullptr);
        std::uint32_t prefix = 0;
        std::memcpy(&prefix, reinterpret_cast<const char*>(text) - sizeof prefix, sizeof prefix);
        EXPECT_EQ(prefix, row.size() * 2);
        EXPECT_EQ(SysStringByteLen(text), row.size() * 2);
        EXPECT_EQ(Units(text), row);
        EXPECT_EQ(text[row.size()], u'\0');
        SysFreeString(text);
    }
}

TEST(Bstr, NullAndTerminatedInputs) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    SysFreeString(nullptr);
    BSTR cut = SysAllocString(u"ab\0cd"); // a terminated text stops at its first zero
    EXPECT_EQ(Units(cut), u"ab");
    SysFreeString(cut);
    BSTR blank = SysAllocStringLen(nullptr, 4);
    EXPECT_EQ(Units(blank), std::u16string(4, u'\0'));
    SysFreeString(blank);
    EXPECT_EQ(SysAllocStringLen(u"x", 0xFFFFFFFFu), nullptr) << "byte count beyond 32 bits";
}

TEST(BstrT, CopiesShareOneBstrAndNullIsEmpty) {
    _bstr_t second;
    {
        const _bstr_t first(u"shared");
        second = _bstr_t(first);
        EXPECT_EQ(second.GetBSTR(), first.GetBSTR());
    }
    EXPECT_EQ(Units(second.GetBSTR()), u"shared") << "the last owner keeps the text alive";
    second = static_cast<const OLECHAR*>(second); // its own text, copied before the old goes
    EXPECT_EQ(Units(second.GetBSTR()), u"shared");

    const _bstr_t none(static_cast<LPCOLESTR>(nullptr));
    EXPECT_EQ(none.GetBSTR(), nullptr);
    EXPECT_NE(_bstr_t(u"").GetBSTR(), nullptr);
    EXPECT_FALSE(static_cast<bool>(none));
    EXPECT_TRUE(none == _bstr_t(u""));
    EXPECT_FALSE(none == _bstr_t(u"x"));
}

TEST(BstrT, EmbeddedZerosSurviveCopies) {
    BSTR raw = SysAllocStringLen(u"a\0b", 3);
    const _bstr_t kept(raw, true);
    EXPECT_NE(kept.GetBSTR(), raw);
    SysFreeString(raw);
    BSTR copy = kept.copy();
    EXPECT_NE(copy, kept.GetBSTR());
    EXPECT_EQ(Units(copy), std::u16string(u"a\0b", 3));
    SysFreeString(copy);
    EXPECT_EQ(kept.copy(false), kept.GetBSTR());
    EXPECT_FALSE(kept == _bstr_t(u"a"));
    EXPECT_TRUE(kept == _bstr_t(SysAllocStringLen(u"a\0b", 3), false));
}

TEST(BstrT, AttachDetachGetAddressTransferOwnership) {
    BSTR raw = SysAllocString(u"own");
    _bstr_t holder;
    holder.Attach(raw);
    EXPECT_EQ(holder.GetBSTR(), raw);
    EXPECT_EQ(holder.Detach(), raw);
    EXPECT_EQ(holder.GetBSTR(), nullptr);
    SysFreeString(raw);

    const _bstr_t first(u"old");
    _bstr_t second(first);
    BSTR detached = second.Detach(); // shared: the caller gets its own copy
    EXPECT_NE(detached, first.GetBSTR());
    EXPECT_EQ(Units(detached), u"old");
    SysFreeString(detached);

    second = first;
    BSTR* slot = second.GetAddress();
    EXPECT_EQ(*slot, nullptr);
    *slot = SysAllocString(u"new");
    EXPECT_EQ(Units(second.GetBSTR()), u"new");
    EXPECT_EQ(Units(first.GetBSTR()), u"old") << "other copies keep the old text";
}

TEST(BstrT, NarrowTextIsActiveCodePage) {
    EXPECT_EQ(Units(_bstr_t("Gr\xC3\xBC\xC3\x9F"
                            "e")
                        .GetBSTR()),
              u"Gr\u00fc\u00dfe");
    EXPECT_EQ(_bstr_t(static_cast<const char*>(nullptr)).GetBSTR(), nullptr);
}

TEST(BstrT, CopiesOnManyThreadsKeepTheCount) {
    const _bstr_t shared(u"threads");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&shared] {
            for (int i = 0; i < 10000; ++i) {
                _bstr_t copy;
                copy = shared;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    _bstr_t last(shared);
    BSTR detached = last.Detach();
    EXPECT_NE(detached, shared.GetBSTR()) << "a lost count would make the copy look sole";
    SysFreeString(detached);
}

} // namespace
