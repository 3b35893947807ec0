// CRC-32 speed: mfCrc32 (run-time chosen path, and the forced portable path) next to zlib's
// crc32 on the same buffers, 1 KiB, 64 KiB and 16 MiB; bytes per second shows as GB/s.
#include "Core/Common/Crc32.h"
#include "Core/Common/Crc32Private.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

const std::vector<unsigned char>& Buffer() {
    static const std::vector<unsigned char> bytes = [] {
        std::vector<unsigned char> out(16u << 20);
        std::mt19937 engine(1);
        for (auto& byte : out) {
            byte = static_cast<unsigned char>(engine());
        }
        return out;
    }();
    return bytes;
}

template <class Sum>
void Run(benchmark::State& state, Sum sum) {
    const auto length = static_cast<unsigned>(state.range(0));
    const unsigned char* data = Buffer().data();
    for (auto _ : state) {
        benchmark::DoNotOptimize(sum(data, length));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * length);
}

void BM_mfCrc32(benchmark::State& state) {
    Run(state, [](const unsigned char* data, unsigned length) { return mfCrc32(0, data, length); });
}

void BM_mfCrc32Portable(benchmark::State& state) {
    core::detail::SetCrc32ForceFallback(true);
    Run(state, [](const unsigned char* data, unsigned length) { return mfCrc32(0, data, length); });
    core::detail::SetCrc32ForceFallback(false);
}

void BM_ZlibCrc32(benchmark::State& state) {
    Run(state, [](const unsigned char* data, unsigned length) { return crc32(0, data, length); });
}

void Sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(1 << 10)->Arg(64 << 10)->Arg(16 << 20);
}

} // namespace

BENCHMARK(BM_mfCrc32)->Apply(Sizes);
BENCHMARK(BM_mfCrc32Portable)->Apply(Sizes);
BENCHMARK(BM_ZlibCrc32)->Apply(Sizes);

BENCHMARK_MAIN();
