// BSTR: UTF-16 text preceded by its 32-bit byte count and followed by a zero unit, laid out as
// on 64-bit Windows (the block starts 8 bytes before the text, so the text stays 8-aligned).
#include <bvplatform/oleauto.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

// What precedes the text of every BSTR.
struct BstrHeader {
    std::uint32_t reserved; // padding that keeps the text 8-aligned
    std::uint32_t bytes;    // byte count of the text, without the terminator
};
static_assert(sizeof(BstrHeader) == 8);

// Largest unit count whose byte count and block size fit the 32-bit length field.
constexpr UINT kMaxUnits = (UINT32_MAX - sizeof(BstrHeader) - sizeof(OLECHAR)) / sizeof(OLECHAR);

BstrHeader* HeaderOf(BSTR text) {
    return reinterpret_cast<BstrHeader*>(reinterpret_cast<char*>(text) - sizeof(BstrHeader));
}

} // namespace

BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui) {
    if (ui > kMaxUnits) {
        return nullptr;
    }
    const std::size_t bytes = std::size_t{ui} * sizeof(OLECHAR);
    // Zeroed, so a BSTR made without text holds zero units rather than stale memory.
    void* block = std::calloc(1, sizeof(BstrHeader) + bytes + sizeof(OLECHAR));
    if (block == nullptr) {
        return nullptr;
    }
    auto* header = static_cast<BstrHeader*>(block);
    header->bytes = static_cast<std::uint32_t>(bytes);
    auto text = reinterpret_cast<BSTR>(header + 1);
    if (strIn != nullptr && bytes != 0) {
        std::memcpy(text, strIn, bytes);
    }
    return text;
}

BSTR SysAllocString(LPCOLESTR psz) {
    if (psz == nullptr) {
        return nullptr;
    }
    UINT units = 0;
    while (psz[units] != u'\0') {
        ++units;
    }
    return SysAllocStringLen(psz, units);
}

void SysFreeString(BSTR bstrString) {
    if (bstrString != nullptr) {
        std::free(HeaderOf(bstrString));
    }
}

UINT SysStringByteLen(BSTR bstr) {
    return bstr == nullptr ? 0 : HeaderOf(bstr)->bytes;
}

UINT SysStringLen(BSTR pbstr) {
    return SysStringByteLen(pbstr) / sizeof(OLECHAR);
}
