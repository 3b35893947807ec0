// CoCreateGuid and StringFromGUID2: random bytes from getrandom, shaped as version 4, variant 1.
#include <bvplatform/guid.h>
#include <bvplatform/testing.h>
#include <bvplatform/winerror.h>

#include <sys/random.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>

namespace {

// Result that the next CoCreateGuid returns instead of working; S_OK when none is pending.
std::atomic<HRESULT> g_pendingFault{S_OK};

constexpr int kiGuidTextUnits = 39; // braces, 32 digits, 4 dashes, terminator

// Fills `size` bytes from the kernel's secure source; false if it fails.
bool FillRandom(void* buffer, std::size_t size) {
    auto* out = static_cast<unsigned char*>(buffer);
    while (size > 0) {
        const ssize_t got = getrandom(out, size, 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        out += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

// Writes `digits` capital hexadecimal digits of `value`, most significant first.
WCHAR* PutHex(WCHAR* out, unsigned long value, int digits) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    for (int i = digits - 1; i >= 0; --i) {
        out[i] = static_cast<WCHAR>(kHex[value & 0xFu]);
        value >>= 4;
    }
    return out + digits;
}

} // namespace

HRESULT CoCreateGuid(GUID* pguid) {
    if (pguid == nullptr) {
        return E_INVALIDARG;
    }
    const HRESULT fault = g_pendingFault.exchange(S_OK);
    if (fault != S_OK) {
        return fault;
    }
    GUID made;
    if (!FillRandom(&made, sizeof made)) {
        return E_FAIL;
    }
    made.Data3 = static_cast<WORD>((made.Data3 & 0x0FFFu) | 0x4000u);   // version 4
    made.Data4[0] = static_cast<BYTE>((made.Data4[0] & 0x3Fu) | 0x80u); // variant 1
    *pguid = made;
    return S_OK;
}

int StringFromGUID2(const GUID& rguid, WCHAR* lpsz, int cchMax) {
    if (lpsz == nullptr || cchMax < kiGuidTextUnits) {
        return 0;
    }
    WCHAR* out = lpsz;
    *out++ = u'{';
    out = PutHex(out, rguid.Data1, 8);
    *out++ = u'-';
    out = PutHex(out, rguid.Data2, 4);
    *out++ = u'-';
    out = PutHex(out, rguid.Data3, 4);
    *out++ = u'-';
    for (int i = 0; i < 8; ++i) {
        if (i == 2) {
            *out++ = u'-';
        }
        out = PutHex(out, rguid.Data4[i], 2);
    }
    *out++ = u'}';
    *out = u'\0';
    return kiGuidTextUnits;
}

namespace bvplatform::testing {

void FailNextCoCreateGuid(HRESULT result) {
    g_pendingFault.store(result);
}

} // namespace bvplatform::testing
