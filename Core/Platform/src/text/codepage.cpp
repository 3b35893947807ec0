// Code page exports: arguments are checked in the platform's order (parameters, code page,
// default-character pointers, flags), then one converter does the work, and its outcome
// becomes the return value and, on failure only, the last error.
#include <bvplatform/base.h>
#include <bvplatform/text.h>
#include <bvplatform/winerror.h>

#include "text/hooks.h"
#include "text/legacy.h"
#include "text/tables.h"
#include "text/utf7.h"
#include "text/utf8.h"

#include <climits>
#include <cstring>
#include <optional>
#include <string>

namespace {

using namespace bvplatform::text;

constexpr UINT kActiveCodePage = CP_UTF8; // the stand-in's ANSI code page, on every thread
constexpr UINT kOemCodePage = 437;
constexpr UINT kMacCodePage = 10000;

constexpr DWORD kTableDecodeFlags =
    MB_PRECOMPOSED | MB_COMPOSITE | MB_USEGLYPHCHARS | MB_ERR_INVALID_CHARS;
constexpr DWORD kUtf8DecodeFlags = MB_PRECOMPOSED | MB_ERR_INVALID_CHARS;
constexpr DWORD kTableEncodeFlags =
    WC_COMPOSITECHECK | WC_DISCARDNS | WC_SEPCHARS | WC_DEFAULTCHAR | WC_NO_BEST_FIT_CHARS;
constexpr DWORD kUtf8EncodeFlags = WC_ERR_INVALID_CHARS;

int Fail(DWORD error) {
    SetLastError(error);
    return 0;
}

UINT Resolve(UINT codePage) {
    switch (codePage) {
    case CP_ACP:
    case CP_THREAD_ACP:
        return kActiveCodePage;
    case CP_OEMCP:
        return kOemCodePage;
    case CP_MACCP:
        return kMacCodePage;
    default:
        return codePage;
    }
}

// A code page ready to convert.
struct Converter {
    enum Kind { Utf7, Utf8, Table } kind; // which codec converts it
    const CodePageTable* table;           // the table, for Kind::Table
};

std::optional<Converter> FindConverter(UINT codePage) {
    const UINT id = Resolve(codePage);
    if (id == CP_UTF7 || id == CP_UTF8) {
        return Converter{id == CP_UTF7 ? Converter::Utf7 : Converter::Utf8, nullptr};
    }
    if (const CodePageTable* table = FindTable(id)) {
        return Converter{Converter::Table, table};
    }
    return std::nullopt;
}

// UTF-7 takes no flags at all.
bool DecodeFlagsValid(const Converter& converter, DWORD flags) {
    const DWORD allowed = converter.kind == Converter::Table  ? kTableDecodeFlags
                          : converter.kind == Converter::Utf8 ? kUtf8DecodeFlags
                                                              : 0;
    const bool bothForms = (flags & MB_PRECOMPOSED) != 0 && (flags & MB_COMPOSITE) != 0;
    return (flags & ~allowed) == 0 && !bothForms;
}

bool EncodeFlagsValid(const Converter& converter, DWORD flags) {
    const DWORD allowed = converter.kind == Converter::Table  ? kTableEncodeFlags
                          : converter.kind == Converter::Utf8 ? kUtf8EncodeFlags
                                                              : 0;
    return (flags & ~allowed) == 0;
}

// The checks both directions make first: a source, a length, and a destination that is absent
// only when its size is 0 and is not the source itself.
bool BuffersValid(const void* src, int srcLength, const void* dst, int dstLength) {
    return src != nullptr && srcLength != 0 && dstLength >= 0 &&
           (dst != nullptr || dstLength == 0) && src != dst;
}

int Finish(const Outcome& outcome) {
    if (outcome.error != 0) {
        return Fail(outcome.error);
    }
    if (outcome.length > INT_MAX) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return static_cast<int>(outcome.length);
}

Outcome Decode(const Converter& converter, DWORD flags, const char* src, std::size_t length,
               char16_t* dst, int capacity) {
    if (converter.kind == Converter::Utf8) {
        return Utf8ToUtf16(src, length, dst, static_cast<std::size_t>(capacity),
                           (flags & MB_ERR_INVALID_CHARS) != 0);
    }
    Sink<char16_t> out(dst, static_cast<std::size_t>(capacity));
    if (converter.kind == Converter::Utf7) {
        return Utf7ToUtf16(src, length, out);
    }
    return DecodeWithTable(*converter.table, flags, src, length, out);
}

Outcome Encode(const Converter& converter, DWORD flags, const char16_t* src, std::size_t length,
               char* dst, int capacity, const char* defaultChar) {
    if (converter.kind == Converter::Utf8) {
        return Utf16ToUtf8(src, length, dst, static_cast<std::size_t>(capacity),
                           (flags & WC_ERR_INVALID_CHARS) != 0);
    }
    Sink<char> out(dst, static_cast<std::size_t>(capacity));
    if (converter.kind == Converter::Utf7) {
        return Utf16ToUtf7(src, length, out);
    }
    return EncodeWithTable(*converter.table, flags, src, length, defaultChar, out);
}

} // namespace

int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr, int cbMultiByte,
                        LPWSTR lpWideCharStr, int cchWideChar) {
    if (const std::optional<DWORD> fault = CountConversionCall()) {
        return Fail(*fault);
    }
    if (!BuffersValid(lpMultiByteStr, cbMultiByte, lpWideCharStr, cchWideChar)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const std::optional<Converter> converter = FindConverter(CodePage);
    if (!converter) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (!DecodeFlagsValid(*converter, dwFlags)) {
        return Fail(ERROR_INVALID_FLAGS);
    }
    const std::size_t length =
        cbMultiByte < 0 ? std::strlen(lpMultiByteStr) + 1 : static_cast<std::size_t>(cbMultiByte);
    return Finish(Decode(*converter, dwFlags, lpMultiByteStr, length, lpWideCharStr, cchWideChar));
}

int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr, int cchWideChar,
                        LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR lpDefaultChar,
                        LPBOOL lpUsedDefaultChar) {
    if (const std::optional<DWORD> fault = CountConversionCall()) {
        return Fail(*fault);
    }
    if (!BuffersValid(lpWideCharStr, cchWideChar, lpMultiByteStr, cbMultiByte)) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    const std::optional<Converter> converter = FindConverter(CodePage);
    const bool refusesDefault = converter && converter->kind != Converter::Table;
    if (!converter || (refusesDefault && (lpDefaultChar || lpUsedDefaultChar))) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if (!EncodeFlagsValid(*converter, dwFlags)) {
        return Fail(ERROR_INVALID_FLAGS);
    }
    const std::size_t length = cchWideChar < 0
                                   ? std::char_traits<char16_t>::length(lpWideCharStr) + 1
                                   : static_cast<std::size_t>(cchWideChar);
    const Outcome outcome = Encode(*converter, dwFlags, lpWideCharStr, length, lpMultiByteStr,
                                   cbMultiByte, lpDefaultChar);
    if (lpUsedDefaultChar != nullptr) {
        *lpUsedDefaultChar = outcome.usedDefault ? TRUE : FALSE;
    }
    return Finish(outcome);
}

UINT GetACP() {
    return kActiveCodePage;
}

UINT GetOEMCP() {
    return kOemCodePage;
}

BOOL IsValidCodePage(UINT CodePage) {
    return Resolve(CodePage) == CodePage && FindConverter(CodePage) ? TRUE : FALSE;
}

BOOL IsDBCSLeadByteEx(UINT CodePage, BYTE TestChar) {
    const std::optional<Converter> converter = FindConverter(CodePage);
    if (!converter) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return converter->table != nullptr && converter->table->IsLead(TestChar) ? TRUE : FALSE;
}

BOOL IsDBCSLeadByte(BYTE TestChar) {
    return IsDBCSLeadByteEx(CP_ACP, TestChar);
}
