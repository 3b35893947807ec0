// The runtime's wide number readers: wcstol, wcstoul, _wtoi, _wtol, _wtoi64. One reader takes
// the text apart (blanks, sign, prefix, digits); each export applies its own range.
#include <bvplatform/crt.h>

#include <unicode/uchar.h>

#include <cerrno>
#include <cstdint>
#include <limits>

namespace {

// What the reader found in a text.
struct Reading {
    bool valid = true;           // false for a null text or a bad base
    bool negative = false;       // a minus sign stood in front
    bool overflow = false;       // the magnitude exceeded 64 bits
    std::uint64_t magnitude = 0; // the digits' value, without the sign
    const WCHAR* end = nullptr;  // behind the last digit, or the text itself without digits
};

// The value of a digit unit in bases up to 36: digits of any script, Latin and full-width
// letters from 10; -1 for anything else.
int DigitValue(WCHAR c) {
    if (c >= u'0' && c <= u'9') {
        return c - u'0';
    }
    if ((c | 0x20) >= u'a' && (c | 0x20) <= u'z') {
        return (c | 0x20) - u'a' + 10;
    }
    if (c >= 0xFF21 && c <= 0xFF3A) {
        return c - 0xFF21 + 10;
    }
    if (c >= 0xFF41 && c <= 0xFF5A) {
        return c - 0xFF41 + 10;
    }
    return u_charType(c) == U_DECIMAL_DIGIT_NUMBER ? u_charDigitValue(c) : -1;
}

bool IsHexPrefix(const WCHAR* p) {
    return p[0] == u'0' && (p[1] == u'x' || p[1] == u'X');
}

// Base 0 picks the base from the prefix; base 16 skips "0x" when a hex digit follows it.
const WCHAR* TakePrefix(const WCHAR* p, int& base) {
    if (base == 0) {
        base = IsHexPrefix(p) ? 16 : (p[0] == u'0' ? 8 : 10);
    }
    if (base == 16 && IsHexPrefix(p) && DigitValue(p[2]) >= 0 && DigitValue(p[2]) < 16) {
        return p + 2;
    }
    return p;
}

Reading Read(const WCHAR* str, int base) {
    Reading reading;
    reading.end = str;
    if (str == nullptr || base < 0 || base == 1 || base > 36) {
        reading.valid = false;
        return reading;
    }
    const WCHAR* p = str;
    while (iswspace(*p) != 0) {
        ++p;
    }
    if (*p == u'-' || *p == u'+') {
        reading.negative = *p++ == u'-';
    }
    p = TakePrefix(p, base);
    constexpr auto kMax = std::numeric_limits<std::uint64_t>::max();
    const WCHAR* first = p;
    for (int digit = DigitValue(*p); digit >= 0 && digit < base; digit = DigitValue(*++p)) {
        const auto value = static_cast<std::uint64_t>(digit);
        if (reading.magnitude > (kMax - value) / static_cast<std::uint64_t>(base)) {
            reading.overflow = true;
        } else {
            reading.magnitude = reading.magnitude * base + value;
        }
    }
    if (p != first) {
        reading.end = p;
    }
    return reading;
}

void SetEnd(WCHAR** endptr, const Reading& reading) {
    if (endptr != nullptr) {
        *endptr = const_cast<WCHAR*>(reading.end);
    }
}

// The reading as a signed number of the range [min, max], with ERANGE outside it.
template <typename T>
T Signed(const Reading& reading) {
    if (!reading.valid) {
        errno = EINVAL;
        return 0;
    }
    constexpr auto kMaxMagnitude = static_cast<std::uint64_t>(std::numeric_limits<T>::max());
    const std::uint64_t limit = reading.negative ? kMaxMagnitude + 1 : kMaxMagnitude;
    if (reading.overflow || reading.magnitude > limit) {
        errno = ERANGE;
        return reading.negative ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
    }
    if (reading.negative) {
        return static_cast<T>(0 - reading.magnitude);
    }
    return static_cast<T>(reading.magnitude);
}

} // namespace

LONG wcstol(const WCHAR* str, WCHAR** endptr, int base) {
    const Reading reading = Read(str, base);
    SetEnd(endptr, reading);
    return Signed<LONG>(reading);
}

ULONG wcstoul(const WCHAR* str, WCHAR** endptr, int base) {
    const Reading reading = Read(str, base);
    SetEnd(endptr, reading);
    if (!reading.valid) {
        errno = EINVAL;
        return 0;
    }
    if (reading.overflow || reading.magnitude > std::numeric_limits<ULONG>::max()) {
        errno = ERANGE;
        return std::numeric_limits<ULONG>::max();
    }
    const auto value = static_cast<ULONG>(reading.magnitude);
    return reading.negative ? static_cast<ULONG>(0u - value) : value;
}

int _wtoi(const WCHAR* str) {
    return Signed<int>(Read(str, 10));
}

LONG _wtol(const WCHAR* str) {
    return Signed<LONG>(Read(str, 10));
}

LONGLONG _wtoi64(const WCHAR* str) {
    return Signed<LONGLONG>(Read(str, 10));
}
