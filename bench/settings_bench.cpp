// Resolution of a current-user setting that falls back to an all-users value, beside the bare
// registry calls that resolution makes, on a fresh hive in a temporary prefix.
#include "Core/Common/RegistryKey.h"
#include "Core/Common/Settings.h"

#include <bvplatform/registry.h>
#include <bvplatform/winerror.h>

#include "TempPrefix.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

using core::registry::RegistryKey;

constexpr REGSAM kMask = 31;

/// Exposes the resolution itself.
struct Resolver : core::settings::Setting {
    using Setting::PhysicalPath;
};

/// Points the process at a temporary prefix (removed at exit) and stores the all-users value.
void Prepare() {
    static const bool done = [] {
        bvbench::UseTemporaryPrefix("bvsetbench");
        RegistryKey key(RegistryKey::eSubTreeUsers, u".DEFAULT\\Software\\Bench", KEY_ALL_ACCESS,
                        true);
        key.SetValueDWord(u"Volume", 7);
        return true;
    }();
    (void)done;
}

void BM_ResolveFallBackValue(benchmark::State& state) {
    Prepare();
    const TStr path = u"\\USERS\\CURRENT\\Bench\\Volume";
    for (auto _ : state) {
        benchmark::DoNotOptimize(Resolver::PhysicalPath(path));
    }
}
BENCHMARK(BM_ResolveFallBackValue);

/// Whether `name` opens below `root`, as the resolution tests it.
bool Opens(HKEY root, const char16_t* name) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(root, name, 0, kMask, &key) != ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(key);
    return true;
}

/// The same calls made bare: per pass the root, the key test and the parent test; in the second
/// pass the parent opened again for the value query.
void BM_BareRegistryCalls(benchmark::State& state) {
    Prepare();
    for (auto _ : state) {
        HKEY user = nullptr;
        RegOpenKeyExW(HKEY_CURRENT_USER, u"", 0, kMask, &user);
        benchmark::DoNotOptimize(Opens(user, u"Software\\Bench\\Volume") ||
                                 Opens(user, u"Software\\Bench"));
        RegCloseKey(user);
        HKEY users = nullptr;
        RegOpenKeyExW(HKEY_USERS, u"", 0, kMask, &users);
        benchmark::DoNotOptimize(Opens(users, u".DEFAULT\\Software\\Bench\\Volume"));
        benchmark::DoNotOptimize(Opens(users, u".DEFAULT\\Software\\Bench"));
        HKEY parent = nullptr;
        RegOpenKeyExW(HKEY_USERS, u".DEFAULT\\Software\\Bench", 0, kMask, &parent);
        DWORD type = 0;
        benchmark::DoNotOptimize(
            RegQueryValueExW(parent, u"Volume", nullptr, &type, nullptr, nullptr));
        RegCloseKey(parent);
        RegCloseKey(users);
    }
}
BENCHMARK(BM_BareRegistryCalls);

} // namespace

BENCHMARK_MAIN();
