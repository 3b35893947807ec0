// Calls of MultiByteToWideChar / WideCharToMultiByte for the code page tests, made the way a
// conformance test makes them: the last error and the destination preset to sentinels, and the
// destination one unit longer than announced, that unit checked afterwards.
#pragma once

#include <bvplatform/base.h>
#include <bvplatform/text.h>

#include <gtest/gtest.h>

#include <string>

namespace codepagetest {

constexpr DWORD kSentinelError = 0xdeadbeef;
template <typename Unit>
constexpr Unit kFill = static_cast<Unit>(0xCCCC); // what destinations are preset to
constexpr char16_t kWideFill = kFill<char16_t>;
constexpr char kNarrowFill = kFill<char>;
constexpr BOOL kSentinelBool = static_cast<BOOL>(0xCCCCCCCC);
constexpr int kWhole = -100000; // source length: the string's own size

/// What one call did.
template <typename Unit>
struct CallResult {
    int ret = 0;                      // the return value
    DWORD error = kSentinelError;     // last error afterwards (kSentinelError: untouched)
    std::basic_string<Unit> dest;     // the announced part of the destination afterwards
    BOOL usedDefault = kSentinelBool; // *lpUsedDefaultChar afterwards, when one was passed

    [[nodiscard]] std::basic_string<Unit> Text() const { return dest.substr(0, ret > 0 ? ret : 0); }
};

/// The options of a WideCharToMultiByte call beyond source and destination.
struct NarrowOptions {
    DWORD flags = 0;                   // dwFlags
    const char* defaultChar = nullptr; // lpDefaultChar
    bool askUsedDefault = false;       // pass lpUsedDefaultChar
};

/// One call with a destination of `capacity` units (0: a size query with no buffer).
template <typename Unit, typename Convert>
CallResult<Unit> Run(int capacity, Convert convert) {
    std::basic_string<Unit> buffer(static_cast<std::size_t>(capacity) + 1, kFill<Unit>);
    CallResult<Unit> result;
    SetLastError(kSentinelError);
    result.ret = convert(capacity ? buffer.data() : nullptr, &result.usedDefault);
    result.error = GetLastError();
    EXPECT_EQ(buffer.back(), kFill<Unit>) << "wrote past the announced end";
    result.dest = buffer.substr(0, static_cast<std::size_t>(capacity));
    return result;
}

inline CallResult<char16_t> ToWide(UINT codePage, DWORD flags, const std::string& src, int capacity,
                                   int srcLength = kWhole) {
    const int length = srcLength == kWhole ? static_cast<int>(src.size()) : srcLength;
    return Run<char16_t>(capacity, [&](char16_t* dst, BOOL*) {
        return MultiByteToWideChar(codePage, flags, src.data(), length, dst, capacity);
    });
}

inline CallResult<char> ToNarrow(UINT codePage, const std::u16string& src, int capacity,
                                 const NarrowOptions& options = {}, int srcLength = kWhole) {
    const int length = srcLength == kWhole ? static_cast<int>(src.size()) : srcLength;
    return Run<char>(capacity, [&](char* dst, BOOL* used) {
        return WideCharToMultiByte(codePage, options.flags, src.data(), length, dst, capacity,
                                   options.defaultChar, options.askUsedDefault ? used : nullptr);
    });
}

/// Size query, then a conversion into exactly that size, as a caller does; both must succeed,
/// agree, and leave the last error alone.
inline std::u16string Widen(UINT codePage, const std::string& src, DWORD flags = 0,
                            int srcLength = kWhole) {
    const int need = ToWide(codePage, flags, src, 0, srcLength).ret;
    const CallResult<char16_t> done = ToWide(codePage, flags, src, need, srcLength);
    EXPECT_EQ(done.ret, need);
    EXPECT_EQ(done.error, kSentinelError);
    return done.Text();
}

inline std::string Narrow(UINT codePage, const std::u16string& src,
                          const NarrowOptions& options = {}, int srcLength = kWhole) {
    const int need = ToNarrow(codePage, src, 0, options, srcLength).ret;
    const CallResult<char> done = ToNarrow(codePage, src, need, options, srcLength);
    EXPECT_EQ(done.ret, need);
    EXPECT_EQ(done.error, kSentinelError);
    return done.Text();
}

} // namespace codepagetest
