// CharUpperW, CharLowerW and their counted forms over the platform's per-unit case table.
#include "text/chartype.h"

#include <bvplatform/locale.h>

#include <cstdint>

namespace {

// A pointer value below 0x10000 carries one unit instead of an address.
constexpr std::uintptr_t kSingleUnitLimit = 0x10000;

LPWSTR MapText(LPWSTR text, const char16_t* table) {
    const auto value = reinterpret_cast<std::uintptr_t>(text);
    if (value < kSingleUnitLimit) {
        return reinterpret_cast<LPWSTR>(static_cast<std::uintptr_t>(table[value]));
    }
    for (WCHAR* unit = text; *unit != u'\0'; ++unit) {
        *unit = table[*unit];
    }
    return text;
}

DWORD MapBuffer(LPWSTR text, DWORD length, const char16_t* table) {
    if (text == nullptr) {
        return 0;
    }
    for (DWORD i = 0; i < length; ++i) {
        text[i] = table[text[i]];
    }
    return length;
}

} // namespace

LPWSTR CharUpperW(LPWSTR lpsz) {
    return MapText(lpsz, bvplatform::text::PlatformUpperTable());
}

LPWSTR CharLowerW(LPWSTR lpsz) {
    return MapText(lpsz, bvplatform::text::PlatformLowerTable());
}

DWORD CharUpperBuffW(LPWSTR lpsz, DWORD cchLength) {
    return MapBuffer(lpsz, cchLength, bvplatform::text::PlatformUpperTable());
}

DWORD CharLowerBuffW(LPWSTR lpsz, DWORD cchLength) {
    return MapBuffer(lpsz, cchLength, bvplatform::text::PlatformLowerTable());
}
