// Resolution of a current-user setting that falls back to an all-users value, beside the bare
// registry calls that resolution makes, on a fresh hive in a temporary prefix; a typed read and
// a typed write through a Setting, each beside the same registry calls written out by hand; the
// first write through a fall-back (resolution, copy, write) with its registry commits; and the
// stored forms' encoders, readers and base64 alone.
#include "Core/Common/RegistryKey.h"
#include "Core/Common/Settings.h"
#include "Core/Common/XMLUtil.h"

#include <bvplatform/registry.h>
#include <bvplatform/testing.h>
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
        key.SetValueString(u"Position", u"<struct.tagPOINT><x>10</x><y>-20</y></struct.tagPOINT>");
        key.SetValueString(u"Shuffle", u"<bool>false</bool>");
        RegistryKey(RegistryKey::eSubTreeCurrentUser, u"Software\\Bench", KEY_ALL_ACCESS, true)
            .SetValueDWord(u"Own", 1);
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

// ---- A typed read and write through a Setting ---------------------------------------------------

void BM_SettingValuePOINT(benchmark::State& state) {
    Prepare();
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            core::settings::Setting(u"\\USERS\\CURRENT\\Bench\\Position").ValuePOINT());
    }
}
BENCHMARK(BM_SettingValuePOINT);

/// The read of the POINT's text by hand: the size, then the text, from the all-users key.
void BM_BareReadCalls(benchmark::State& state) {
    Prepare();
    WCHAR text[128];
    for (auto _ : state) {
        HKEY parent = nullptr;
        RegOpenKeyExW(HKEY_USERS, u".DEFAULT\\Software\\Bench", 0, kMask, &parent);
        DWORD type = 0;
        DWORD size = 0;
        RegQueryValueExW(parent, u"Position", nullptr, &type, nullptr, &size);
        size = sizeof text;
        RegQueryValueExW(parent, u"Position", nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
        benchmark::DoNotOptimize(text);
        RegCloseKey(parent);
    }
}
BENCHMARK(BM_BareReadCalls);

void BM_SettingSetValueInt32(benchmark::State& state) {
    Prepare();
    core::settings::Setting own(u"\\USERS\\CURRENT\\Bench\\Own");
    std::int32_t value = 0;
    for (auto _ : state) {
        own.SetValueInt32(++value);
    }
}
BENCHMARK(BM_SettingSetValueInt32);

void BM_BareWriteCalls(benchmark::State& state) {
    Prepare();
    DWORD value = 0;
    for (auto _ : state) {
        HKEY key = nullptr;
        RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Bench", 0, kMask, &key);
        ++value;
        RegSetValueExW(key, u"Own", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                       sizeof value);
        RegCloseKey(key);
    }
}
BENCHMARK(BM_BareWriteCalls);

/// The first free write on a current-user path that falls back: resolution, the copy of the
/// all-users value, the write. The own copy is removed again outside the timing.
void BM_FirstFreeSetValueBoolOnFallBack(benchmark::State& state) {
    Prepare();
    const TStr path = u"\\USERS\\CURRENT\\Bench\\Shuffle";
    RegistryKey own(RegistryKey::eSubTreeCurrentUser, u"Software\\Bench", KEY_ALL_ACCESS, false);
    unsigned long commits = 0;
    for (auto _ : state) {
        const unsigned long before = bvplatform::testing::RegistryCommitCount();
        core::settings::SetValueBool(path, true);
        commits += bvplatform::testing::RegistryCommitCount() - before;
        state.PauseTiming();
        own.DeleteValue(u"Shuffle");
        state.ResumeTiming();
    }
    state.counters["commits"] =
        static_cast<double>(commits) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_FirstFreeSetValueBoolOnFallBack);

// ---- Stored forms alone (no registry) ----------------------------------------------------------

void BM_ToXMLElementBOOL(benchmark::State& state) {
    bool value = true;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        benchmark::DoNotOptimize(core::xml::ToXMLElementBOOL(value));
    }
}
BENCHMARK(BM_ToXMLElementBOOL);

void BM_ToXMLElementDouble(benchmark::State& state) {
    double value = -2.25;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        benchmark::DoNotOptimize(core::xml::ToXMLElementDouble(value));
    }
}
BENCHMARK(BM_ToXMLElementDouble);

void BM_ToXMLElementPOINT(benchmark::State& state) {
    tagPOINT value{1920, -1080};
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        benchmark::DoNotOptimize(core::xml::ToXMLElementPOINT(value));
    }
}
BENCHMARK(BM_ToXMLElementPOINT);

void BM_ToXMLElementRECT(benchmark::State& state) {
    tagRECT value{-8, 0, 1928, 1048};
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        benchmark::DoNotOptimize(core::xml::ToXMLElementRECT(value));
    }
}
BENCHMARK(BM_ToXMLElementRECT);

/// Runs `read` over `text` (one stored form) per iteration.
template <class F>
void ReadStored(benchmark::State& state, const TStr& text, F read) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(read(text));
    }
}

void BM_FromXMLElementBOOL(benchmark::State& state) {
    ReadStored(state, core::xml::ToXMLElementBOOL(false), core::xml::FromXMLElementBOOL);
}
BENCHMARK(BM_FromXMLElementBOOL);

void BM_FromXMLElementDouble(benchmark::State& state) {
    ReadStored(state, core::xml::ToXMLElementDouble(-2.25), core::xml::FromXMLElement);
}
BENCHMARK(BM_FromXMLElementDouble);

void BM_FromXMLElementPOINT(benchmark::State& state) {
    ReadStored(state, core::xml::ToXMLElementPOINT({1920, -1080}), core::xml::FromXMLElementPOINT);
}
BENCHMARK(BM_FromXMLElementPOINT);

void BM_FromXMLElementRECT(benchmark::State& state) {
    ReadStored(state, core::xml::ToXMLElementRECT({-8, 0, 1928, 1048}),
               core::xml::FromXMLElementRECT);
}
BENCHMARK(BM_FromXMLElementRECT);

/// `state.range(0)` bytes of a repeating pattern.
ByteVec PatternBytes(benchmark::State& state) {
    ByteVec bytes(static_cast<std::size_t>(state.range(0)));
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(i * 37 + 11);
    }
    return bytes;
}

void BM_Base64Encode(benchmark::State& state) {
    const ByteVec bytes = PatternBytes(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(core::xml::Base64Encode(bytes, core::xml::kui32Base64LineWidth));
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Base64Encode)->Arg(8)->Arg(4096);

void BM_Base64Decode(benchmark::State& state) {
    ByteVec bytes = PatternBytes(state);
    const TStr text = core::xml::Base64Encode(bytes, core::xml::kui32Base64LineWidth);
    for (auto _ : state) {
        benchmark::DoNotOptimize(core::xml::Base64Decode(text, bytes));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_Base64Decode)->Arg(8)->Arg(4096);

} // namespace

BENCHMARK_MAIN();
