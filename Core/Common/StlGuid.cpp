// mcStlGuid and the GUID texts. The order is by part values, not by bytes in memory: on a
// little-endian machine the two differ.
#include "Core/Common/StlGuid.h"

#include "Core/Common/ExcPrivate.h"
#include "Core/Common/StrUtils.h"
#include "Core/Common/TextPrivate.h"

#include <cstddef>
#include <cstring>
#include <type_traits>

static_assert(sizeof(tag_BV_GUID) == sizeof(_GUID) && std::is_standard_layout_v<tag_BV_GUID>);
static_assert(offsetof(tag_BV_GUID, Data4) == offsetof(_GUID, Data4));

namespace {

_GUID FromTag(const tag_BV_GUID& tag) {
    _GUID guid;
    std::memcpy(&guid, &tag, sizeof guid);
    return guid;
}

template <class T>
int Sign(T first, T second) {
    return (first > second) - (first < second);
}

// 0 to 15 for a digit "0" to "9" or "a" to "f", -1 for anything else.
int DigitValue(char16_t unit) {
    if (unit >= u'0' && unit <= u'9') {
        return unit - u'0';
    }
    if (unit >= u'a' && unit <= u'f') {
        return unit - u'a' + 10;
    }
    return -1;
}

// The value of `count` digits from `digits` onwards.
std::uint32_t ReadHex(const int* digits, int count) {
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
        value = value << 4 | static_cast<std::uint32_t>(digits[i]);
    }
    return value;
}

} // namespace

mcStlGuid::mcStlGuid() : _GUID{} {}
mcStlGuid::mcStlGuid(const mcStlGuid& other) : _GUID(other) {}
mcStlGuid::mcStlGuid(const tag_BV_GUID& other) : _GUID(FromTag(other)) {}
mcStlGuid::mcStlGuid(const _GUID& other) : _GUID(other) {}
mcStlGuid::~mcStlGuid() = default;

mcStlGuid& mcStlGuid::operator=(const mcStlGuid& other) {
    return *this = static_cast<const _GUID&>(other);
}

mcStlGuid& mcStlGuid::operator=(const tag_BV_GUID& other) {
    return *this = FromTag(other);
}

mcStlGuid& mcStlGuid::operator=(const _GUID& other) {
    static_cast<_GUID&>(*this) = other;
    return *this;
}

void mcStlGuid::Clear() {
    static_cast<_GUID&>(*this) = _GUID{};
}

bool mcStlGuid::IsEmpty() const {
    return PrvInternalCompare(mcStlGuid()) == 0;
}

int mcStlGuid::PrvInternalCompare(const mcStlGuid& other) const {
    if (const int order = Sign(Data1, other.Data1); order != 0) {
        return order;
    }
    if (const int order = Sign(Data2, other.Data2); order != 0) {
        return order;
    }
    if (const int order = Sign(Data3, other.Data3); order != 0) {
        return order;
    }
    for (std::size_t i = 0; i < sizeof Data4; ++i) {
        if (const int order = Sign(Data4[i], other.Data4[i]); order != 0) {
            return order;
        }
    }
    return 0;
}

bool mcStlGuid::operator==(const mcStlGuid& other) const {
    return PrvInternalCompare(other) == 0;
}
bool mcStlGuid::operator!=(const mcStlGuid& other) const {
    return PrvInternalCompare(other) != 0;
}
bool mcStlGuid::operator<(const mcStlGuid& other) const {
    return PrvInternalCompare(other) < 0;
}
bool mcStlGuid::operator>(const mcStlGuid& other) const {
    return PrvInternalCompare(other) > 0;
}
bool mcStlGuid::operator==(const _GUID& other) const {
    return PrvInternalCompare(mcStlGuid(other)) == 0;
}
bool mcStlGuid::operator!=(const _GUID& other) const {
    return PrvInternalCompare(mcStlGuid(other)) != 0;
}
bool mcStlGuid::operator<(const _GUID& other) const {
    return PrvInternalCompare(mcStlGuid(other)) < 0;
}
bool mcStlGuid::operator>(const _GUID& other) const {
    return PrvInternalCompare(mcStlGuid(other)) > 0;
}
bool mcStlGuid::operator==(const tag_BV_GUID& other) const {
    return PrvInternalCompare(mcStlGuid(other)) == 0;
}
bool mcStlGuid::operator!=(const tag_BV_GUID& other) const {
    return PrvInternalCompare(mcStlGuid(other)) != 0;
}
bool mcStlGuid::operator<(const tag_BV_GUID& other) const {
    return PrvInternalCompare(mcStlGuid(other)) < 0;
}
bool mcStlGuid::operator>(const tag_BV_GUID& other) const {
    return PrvInternalCompare(mcStlGuid(other)) > 0;
}

TStr mfStrConvertGuidToStr(const _GUID& guid, bool dashEveryByte) {
    using core::detail::HexText;
    TStr text = HexText(guid.Data1, 8) + u'-' + HexText(guid.Data2, 4) + u'-' +
                HexText(guid.Data3, 4) + u'-';
    for (std::size_t i = 0; i < sizeof guid.Data4; ++i) {
        text += HexText(guid.Data4[i], 2);
        const bool last = i + 1 == sizeof guid.Data4;
        if (!last && (dashEveryByte || i == 1)) {
            text += u'-';
        }
    }
    return text;
}

bool mfStrConvertStrToGuid(const TStr& text, _GUID& out) {
    if (text.empty()) {
        return false;
    }
    constexpr int kiDigits = 32;
    int digits[kiDigits];
    int count = 0;
    for (char16_t unit : mfStrToLower(text)) {
        const int value = DigitValue(unit);
        if (value < 0) {
            continue;
        }
        if (count == kiDigits) {
            return false;
        }
        digits[count++] = value;
    }
    if (count != kiDigits) {
        return false;
    }
    out.Data1 = ReadHex(digits, 8);
    out.Data2 = static_cast<WORD>(ReadHex(digits + 8, 4));
    out.Data3 = static_cast<WORD>(ReadHex(digits + 12, 4));
    for (int i = 0; i < 8; ++i) {
        out.Data4[i] = static_cast<BYTE>(ReadHex(digits + 16 + 2 * i, 2));
    }
    return true;
}

TStr mfStrMakeGuidStr() {
    _GUID guid;
    if (CoCreateGuid(&guid) < 0) {
        BV_THROW(mcExc, u"CoCreateGuid failed");
    }
    WCHAR text[39];
    const int units = StringFromGUID2(guid, text, 39);
    return TStr(text, units > 0 ? static_cast<std::size_t>(units - 1) : 0);
}
