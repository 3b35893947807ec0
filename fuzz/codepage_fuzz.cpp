// Code-page conversion of arbitrary bytes and units: the size query and the conversion agree,
// a buffer of the reported size is never overrun, and the error flags fail only with 1113.
#include <bvplatform/base.h>
#include <bvplatform/text.h>
#include <bvplatform/winerror.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

constexpr UINT kCodePages[] = {CP_UTF8, CP_UTF7, 1252, 437, 850, 20127, 28591, 932, 936, 949, 950};

void Check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void ToWide(UINT codePage, DWORD flags, const char* bytes, int count) {
    SetLastError(0);
    const int size = MultiByteToWideChar(codePage, flags, bytes, count, nullptr, 0);
    if (size == 0) {
        // UTF-7 may decode to nothing at all (a lone "+"), which is no failure.
        const DWORD error = GetLastError();
        Check((flags != 0 && error == ERROR_NO_UNICODE_TRANSLATION) ||
              (codePage == CP_UTF7 && error == 0));
        return;
    }
    std::vector<WCHAR> out(static_cast<std::size_t>(size) + 1, 0xCCCC);
    Check(MultiByteToWideChar(codePage, flags, bytes, count, out.data(), size) == size);
    Check(out[static_cast<std::size_t>(size)] == 0xCCCC);
}

void ToNarrow(UINT codePage, DWORD flags, const WCHAR* units, int count) {
    SetLastError(0);
    const int size =
        WideCharToMultiByte(codePage, flags, units, count, nullptr, 0, nullptr, nullptr);
    if (size == 0) {
        Check(flags != 0 && GetLastError() == ERROR_NO_UNICODE_TRANSLATION);
        return;
    }
    std::vector<char> out(static_cast<std::size_t>(size) + 1, '\xCC');
    Check(WideCharToMultiByte(codePage, flags, units, count, out.data(), size, nullptr, nullptr) ==
          size);
    Check(out[static_cast<std::size_t>(size)] == '\xCC');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0 || size > 1 << 16) {
        return 0;
    }
    const auto* bytes = reinterpret_cast<const char*>(data);
    const int count = static_cast<int>(size);
    std::vector<WCHAR> units(size / 2);
    for (std::size_t i = 0; i < units.size(); ++i) {
        units[i] = static_cast<WCHAR>(data[2 * i] | data[2 * i + 1] << 8);
    }
    for (UINT codePage : kCodePages) {
        ToWide(codePage, 0, bytes, count);
        if (codePage != CP_UTF7) { // UTF-7 takes no flags
            ToWide(codePage, MB_ERR_INVALID_CHARS, bytes, count);
        }
        if (!units.empty()) {
            ToNarrow(codePage, 0, units.data(), static_cast<int>(units.size()));
            ToNarrow(codePage, codePage == CP_UTF8 ? WC_ERR_INVALID_CHARS : 0, units.data(),
                     static_cast<int>(units.size()));
        }
    }
    return 0;
}
