#include "Core/Common/StrConv.h"

#include "Core/Common/ExcPrivate.h"
#include "Core/Common/Win32Exc.h"

#include <bvplatform/text.h>

#include <climits>
#include <cstring>

namespace {

// The platform counts in int; a longer text is passed as -2, which it refuses like any bad
// length, so the failure takes the documented path.
int CountFor(std::size_t size) {
    return size > INT_MAX ? -2 : static_cast<int>(size);
}

} // namespace

AStr mfConvertWideToMBCS(const TStr& text, UINT codePage, DWORD flags) {
    if (text.empty()) {
        return {};
    }
    const int count = CountFor(text.size());
    const int size =
        WideCharToMultiByte(codePage, flags, text.data(), count, nullptr, 0, nullptr, nullptr);
    AStr result;
    if (size > 0) {
        // Converted straight into the result: one buffer of the exact size.
        result.resize(static_cast<std::size_t>(size));
        const int written = WideCharToMultiByte(codePage, flags, text.data(), count, result.data(),
                                                size, nullptr, nullptr);
        if (written > 0) {
            result.resize(static_cast<std::size_t>(written));
            return result;
        }
    }
    BV_THROW(mcWin32Exc, u"mfConvertWideToMBCS failed");
}

TStr mfConvertMBCSToWide(const AStr& text, UINT codePage, DWORD flags) {
    if (text.empty()) {
        return {};
    }
    const int count = CountFor(text.size());
    const int size = MultiByteToWideChar(codePage, flags, text.data(), count, nullptr, 0);
    TStr result;
    if (size > 0) {
        result.resize(static_cast<std::size_t>(size));
        const int written =
            MultiByteToWideChar(codePage, flags, text.data(), count, result.data(), size);
        if (written > 0) {
            result.resize(static_cast<std::size_t>(written));
            return result;
        }
    }
    BV_THROW(mcWin32Exc, u"mfConvertMBCSToWide failed");
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
    return mfConvertMBCSToWide(AStr(text), codePage, flags);
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
