// RegistryKey and the direct settings route beside the same registry calls made bare, on a fresh
// hive in a temporary prefix: open with mask 31, a DWORD and a text read through the typed
// getters (type and size, then data), close; and core::settings::ValueInt32 beside a bare
// open-query-close.
#include "Core/Common/RegistryKey.h"
#include "Core/Common/SettingsRegImpl.h"

#include <bvplatform/winerror.h>

#include "TempPrefix.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

using core::registry::RegistryKey;

constexpr REGSAM kMask = 31;
constexpr const char16_t* kKey = u"Software\\Bench";

/// Points the process at a temporary prefix (removed at exit) and writes the values once.
void Prepare() {
    static const bool done = [] {
        bvbench::UseTemporaryPrefix("bvkeybench");
        RegistryKey key(RegistryKey::eSubTreeCurrentUser, kKey, KEY_ALL_ACCESS, true);
        key.SetValueDWord(u"d", 42);
        key.SetValueString(u"s", u"C:\\Music\\Library");
        return true;
    }();
    (void)done;
}

void BM_RegistryKeyReads(benchmark::State& state) {
    Prepare();
    for (auto _ : state) {
        const RegistryKey key(RegistryKey::eSubTreeCurrentUser, kKey, kMask, false);
        benchmark::DoNotOptimize(key.GetValueDWord(u"d"));
        benchmark::DoNotOptimize(key.GetValueString(u"s"));
    }
}

/// Type and size, then the data into a buffer of that size: the getters' two steps.
template <class Buffer>
void BareRead(HKEY key, const char16_t* name, Buffer& buffer) {
    DWORD type = 0;
    DWORD size = 0;
    RegQueryValueExW(key, name, nullptr, &type, nullptr, &size);
    buffer.resize(size / sizeof(typename Buffer::value_type));
    RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer.data()), &size);
}

void BM_BareReads(benchmark::State& state) {
    Prepare();
    for (auto _ : state) {
        HKEY key = nullptr;
        RegOpenKeyExW(HKEY_CURRENT_USER, kKey, 0, kMask, &key);
        std::u16string dword;
        BareRead(key, u"d", dword);
        std::u16string text;
        BareRead(key, u"s", text);
        benchmark::DoNotOptimize(dword);
        benchmark::DoNotOptimize(text);
        RegCloseKey(key);
    }
}

void BM_DirectValueInt32(benchmark::State& state) {
    Prepare();
    const TStr path = u"\\USERS\\CURRENT\\Bench\\d";
    for (auto _ : state) {
        benchmark::DoNotOptimize(core::settings::ValueInt32(path));
    }
}

void BM_BareOpenQueryClose(benchmark::State& state) {
    Prepare();
    for (auto _ : state) {
        HKEY key = nullptr;
        RegOpenKeyExW(HKEY_CURRENT_USER, kKey, 0, kMask, &key);
        std::int32_t value = 0;
        DWORD size = sizeof value;
        RegQueryValueExW(key, u"d", nullptr, nullptr, reinterpret_cast<BYTE*>(&value), &size);
        RegCloseKey(key);
        benchmark::DoNotOptimize(value);
    }
}

BENCHMARK(BM_RegistryKeyReads);
BENCHMARK(BM_BareReads);
BENCHMARK(BM_DirectValueInt32);
BENCHMARK(BM_BareOpenQueryClose);

} // namespace

BENCHMARK_MAIN();
