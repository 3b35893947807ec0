// The runtime's wide character classes, case mapping and case-blind comparison in its default
// "C" locale.
#include "text/chartype.h"

#include <bvplatform/crt.h>

#include <cerrno>

namespace {

constexpr int kNlsCompareError = 0x7FFFFFFF; // the runtime's _NLSCMPERROR

int Bits(WCHAR c, int mask) {
    return bvplatform::text::RuntimeCharType(c) & mask;
}

} // namespace

int iswspace(WCHAR c) {
    return Bits(c, _SPACE);
}

int iswdigit(WCHAR c) {
    return Bits(c, _DIGIT);
}

int iswalnum(WCHAR c) {
    return Bits(c, _ALPHA | _DIGIT);
}

int iswalpha(WCHAR c) {
    return Bits(c, _ALPHA);
}

int iswlower(WCHAR c) {
    return Bits(c, _LOWER);
}

int iswupper(WCHAR c) {
    return Bits(c, _UPPER);
}

int iswpunct(WCHAR c) {
    return Bits(c, _PUNCT);
}

WCHAR towupper(WCHAR c) {
    return c >= u'a' && c <= u'z' ? static_cast<WCHAR>(c - 0x20) : c;
}

WCHAR towlower(WCHAR c) {
    return c >= u'A' && c <= u'Z' ? static_cast<WCHAR>(c + 0x20) : c;
}

int _wcsnicmp(const WCHAR* string1, const WCHAR* string2, SIZE_T count) {
    if (count == 0) {
        return 0;
    }
    if (string1 == nullptr || string2 == nullptr) {
        errno = EINVAL;
        return kNlsCompareError;
    }
    for (; count > 0; --count, ++string1, ++string2) {
        const int difference = towlower(*string1) - towlower(*string2);
        if (difference != 0 || *string1 == u'\0') {
            return difference;
        }
    }
    return 0;
}

int _wcsicmp(const WCHAR* string1, const WCHAR* string2) {
    if (string1 == nullptr || string2 == nullptr) {
        errno = EINVAL;
        return kNlsCompareError;
    }
    return _wcsnicmp(string1, string2, static_cast<SIZE_T>(-1));
}
