// Calls of MultiByteToWideChar / WideCharToMultiByte for the code page tests, wrapped the way a
// conformance test makes them: the last error and the destination preset to sentinels, the
// destination one unit longer than announced, and that extra unit checked afterwards.
#pragma once

#include <bvplatform/base.h>
#include <bvplatform/text.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace codepagetest {

constexpr DWORD kSentinelError = 0xdeadbeef;
constexpr char16_t kWideFill = 0xCCCC;
constexpr char kNarrowFill = static_cast<char>(0xCC);
constexpr BOOL kSentinelBool = static_cast<BOOL>(0xCCCCCCCC);

/// What one call did.
template <typename Unit>
struct CallResult {
    int ret = 0;                      // the return value
    DWORD error = kSentinelError;     // last error afterwards (kSentinelError: untouched)
    std::basic_string<Unit> dest;     // the announced part of the destination afterwards
    BOOL usedDefault = kSentinelBool; // *lpUsedDefaultChar afterwards (when one was passed)

    /// The first `ret` units of the destination.
    [[nodiscard]] std::basic_string<Unit> Text() const { return dest.substr(0, ret > 0 ? ret : 0); }
};

/// MultiByteToWideChar into a destination of `capacity` units (0: size query, null buffer).
inline CallResult<char16_t> ToWide(UINT codePage, DWORD flags, const std::string& src,
                                   int srcLength, int capacity) {
    std::vector<char16_t> buffer(static_cast<std::size_t>(capacity) + 1, kWideFill);
    CallResult<char16_t> result;
    SetLastError(kSentinelError);
    result.ret = MultiByteToWideChar(codePage, flags, src.data(), srcLength,
                                     capacity ? buffer.data() : nullptr, capacity);
    result.error = GetLastError();
    EXPECT_EQ(buffer.back(), kWideFill) << "wrote past the announced end";
    result.dest.assign(buffer.begin(), buffer.end() - 1);
    return result;
}

/// The same with the whole of `src` counted.
inline CallResult<char16_t> ToWide(UINT codePage, DWORD flags, const std::string& src,
                                   int capacity) {
    return ToWide(codePage, flags, src, static_cast<int>(src.size()), capacity);
}

/// The options of a WideCharToMultiByte call beyond source and destination.
struct NarrowOptions {
    DWORD flags = 0;                   // dwFlags
    const char* defaultChar = nullptr; // lpDefaultChar
    bool askUsedDefault = false;       // pass lpUsedDefaultChar
};

/// WideCharToMultiByte into a destination of `capacity` bytes (0: size query, null buffer).
inline CallResult<char> ToNarrow(UINT codePage, const std::u16string& src, int srcLength,
                                 int capacity, const NarrowOptions& options = {}) {
    std::vector<char> buffer(static_cast<std::size_t>(capacity) + 1, kNarrowFill);
    CallResult<char> result;
    SetLastError(kSentinelError);
    result.ret = WideCharToMultiByte(
        codePage, options.flags, src.data(), srcLength, capacity ? buffer.data() : nullptr,
        capacity, options.defaultChar, options.askUsedDefault ? &result.usedDefault : nullptr);
    result.error = GetLastError();
    EXPECT_EQ(buffer.back(), kNarrowFill) << "wrote past the announced end";
    result.dest.assign(buffer.begin(), buffer.end() - 1);
    return result;
}

inline CallResult<char> ToNarrow(UINT codePage, const std::u16string& src, int capacity,
                                 const NarrowOptions& options = {}) {
    return ToNarrow(codePage, src, static_cast<int>(src.size()), capacity, options);
}

/// Size query followed by a conversion into exactly that size, as a caller does; expects both
/// to succeed and agree.
inline std::u16string Widen(UINT codePage, const std::string& src, int srcLength, DWORD flags = 0) {
    const int need = ToWide(codePage, flags, src, srcLength, 0).ret;
    const CallResult<char16_t> done = ToWide(codePage, flags, src, srcLength, need);
    EXPECT_EQ(done.ret, need);
    EXPECT_EQ(done.error, kSentinelError);
    return done.Text();
}

inline std::u16string Widen(UINT codePage, const std::string& src, DWORD flags = 0) {
    return Widen(codePage, src, static_cast<int>(src.size()), flags);
}

inline std::string Narrow(UINT codePage, const std::u16string& src, int srcLength,
                          const NarrowOptions& options = {}) {
    const int need = ToNarrow(codePage, src, srcLength, 0, options).ret;
    const CallResult<char> done = ToNarrow(codePage, src, srcLength, need, options);
    EXPECT_EQ(done.ret, need);
    EXPECT_EQ(done.error, kSentinelError);
    return done.Text();
}

inline std::string Narrow(UINT codePage, const std::u16string& src,
                          const NarrowOptions& options = {}) {
    return Narrow(codePage, src, static_cast<int>(src.size()), options);
}

} // namespace codepagetest
