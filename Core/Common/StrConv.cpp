#include "Core/Common/StrConv.h"

#include "Core/Common/ExcPrivate.h"
#include "Core/Common/Win32Exc.h"

#include <bvplatform/text.h>

#include <climits>
#include <cstring>

namespace {

// The platform counts in int; a longer text is passed as 0, which it refuses as a bad length,
// so the failure takes the documented path.
int CountFor(std::size_t size) {
    return size > INT_MAX ? 0 : static_cast<int>(size);
}

// The narrow direction on a counted run; `size` is not 0.
AStr ToNarrow(const char16_t* text, std::size_t size, UINT codePage, DWORD flags) {
    const int count = CountFor(size);
    const int needed =
        WideCharToMultiByte(codePage, flags, text, count, nullptr, 0, nullptr, nullptr);
    AStr result;
    if (needed > 0) {
        // Converted straight into the result: one buffer of the exact size.
        result.resize(static_cast<std::size_t>(needed));
        const int written = WideCharToMultiByte(codePage, flags, text, count, result.data(), needed,
                                                nullptr, nullptr);
        if (written > 0) {
            result.resize(static_cast<std::size_t>(written));
            return result;
        }
    }
    BV_THROW_AS("mfConvertWideToMBCS", mcWin32Exc, u"mfConvertWideToMBCS failed");
}

// The wide direction on a counted run; `size` is not 0.
TStr ToWide(const char* text, std::size_t size, UINT codePage, DWORD flags) {
    const int count = CountFor(size);
    const int needed = MultiByteToWideChar(codePage, flags, text, count, nullptr, 0);
    TStr result;
    if (needed > 0) {
        result.resize(static_cast<std::size_t>(needed));
        const int written =
            MultiByteToWideChar(codePage, flags, text, count, result.data(), needed);
        if (written > 0) {
            result.resize(static_cast<std::size_t>(written));
            return result;
        }
    }
    BV_THROW_AS("mfConvertMBCSToWide", mcWin32Exc, u"mfConvertMBCSToWide failed");
}

} // namespace

AStr mfConvertWideToMBCS(const TStr& text, UINT codePage, DWORD flags) {
    return text.empty() ? AStr() : ToNarrow(text.data(), text.size(), codePage, flags);
}

TStr mfConvertMBCSToWide(const AStr& text, UINT codePage, DWORD flags) {
    return text.empty() ? TStr() : ToWide(text.data(), text.size(), codePage, flags);
}

AStr mfConvertTToMBCS(const TStr& text, UINT codePage, DWORD flags) {
    return mfConvertWideToMBCS(text, codePage, flags);
}

TStr mfConvertMBCSToT(const AStr& text, UINT codePage, DWORD flags) {
    return mfConvertMBCSToWide(text, codePage, flags);
}

TStr mfConvertMBCSToT(const char* text, UINT codePage, DWORD flags) {
    if (text == nullptr || *text == '\0') {
        return {};
    }
    return ToWide(text, std::strlen(text), codePage, flags);
}

TStr mfConvertTToWide(const TStr& text, UINT, DWORD) {
    return text;
}

TStr mfConvertWideToT(const TStr& text, UINT, DWORD) {
    return text;
}

AStr mfConvertWideToUTF8(const TStr& text) {
    return mfConvertWideToMBCS(text, CP_UTF8, 0);
}

TStr mfConvertUTF8ToWide(const AStr& text) {
    return mfConvertMBCSToWide(text, CP_UTF8, 0);
}

AStr mfConvertTToUTF8(const TStr& text, UINT) {
    return mfConvertWideToUTF8(text);
}

TStr mfConvertUTF8ToT(const AStr& text, UINT) {
    return mfConvertUTF8ToWide(text);
}

TStr mfConvertMBCSByteVecToT(const ByteVec& bytes, UINT codePage) {
    return mfConvertMBCSToT(mfToAStr(bytes), codePage, 0);
}

ByteVec mfConvertTToMBCSByteVec(const TStr& text, UINT codePage) {
    return mfToByteVec(mfConvertTToMBCS(text, codePage, 0));
}

TStr mfConvertUTF8ByteVecToT(const ByteVec& bytes, UINT codePage) {
    return mfConvertUTF8ToT(mfToAStr(bytes), codePage);
}

ByteVec mfConvertTToUTF8ByteVec(const TStr& text, UINT codePage) {
    return mfToByteVec(mfConvertTToUTF8(text, codePage));
}

AStr mfToAStr(const ByteVec& bytes) {
    return AStr(bytes.begin(), bytes.end());
}

ByteVec mfToByteVec(const AStr& text) {
    return ByteVec(text.begin(), text.end());
}

TStr mfConvertBSTRToT(const BSTR& bstr) {
    if (bstr == nullptr) {
        return {};
    }
    return TStr(bstr); // up to the first zero unit, not SysStringLen
}

_bstr_t mfConvertTToBSTR(const TStr& text) {
    // SysAllocString stops at the first zero unit, as the platform's owner does.
    return _bstr_t(SysAllocString(text.c_str()), false);
}
