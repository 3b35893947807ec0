// The diagnostics channel and the throw procedure: one Log line to a viewer window in this
// process, and one throw-and-catch through the library, each next to a plain baseline.
#include "Core/Common/Exc.h"
#include "Core/Common/ExcPrivate.h"
#include "Core/Common/Logger.h"

#include <bvplatform/windows.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <stdexcept>

namespace {

// A viewer that takes each message as the real one would: it reads the text out of the block.
LRESULT ViewerProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_COPYDATA) {
        return DefWindowProcW(window, message, wParam, lParam);
    }
    const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
    char16_t text[4000];
    std::memcpy(text, static_cast<const unsigned char*>(data->lpData) + 36, sizeof text);
    benchmark::DoNotOptimize(text);
    return data->dwData == 2 ? 1 : 0;
}

void EnsureViewer() {
    static const bool started = [] {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = ViewerProc;
        windowClass.lpszClassName = u"BenchViewer";
        RegisterClassW(&windowClass);
        HWND window = CreateWindowExW(0, u"BenchViewer", u"Brontavale_BVDiag", 0, 0, 0, 0, 0,
                                      nullptr, nullptr, nullptr, nullptr);
        SetWindowLongW(window, GWL_USERDATA, 0x52545642);
        return window != nullptr;
    }();
    benchmark::DoNotOptimize(started);
}

const TStr kLine = u"mfFileLoadUCharVec,Throwing class mcExc,Cannot load,FileUtils.cpp(123)";

void BM_LogLine(benchmark::State& state) {
    EnsureViewer();
    core::Logger logger(u"bench");
    logger.Log(kLine); // opens the channel
    for (auto _ : state) {
        logger.Log(kLine);
    }
}
BENCHMARK(BM_LogLine);

// Baseline: the bare copy that a line costs at least, the text into an 8104-byte block.
void BM_LogLineBaseline_CopyIntoBlock(benchmark::State& state) {
    unsigned char block[8104] = {};
    for (auto _ : state) {
        std::memcpy(block + 36, kLine.data(), (kLine.size() + 1) * sizeof(char16_t));
        benchmark::DoNotOptimize(block);
    }
}
BENCHMARK(BM_LogLineBaseline_CopyIntoBlock);

[[noreturn]] void ThrowThroughLibrary() {
    BV_THROW(mcExc, u"Cannot load");
}

void BM_ThrowAndCatch(benchmark::State& state) {
    EnsureViewer();
    for (auto _ : state) {
        try {
            ThrowThroughLibrary();
        } catch (const mcExc& e) {
            benchmark::DoNotOptimize(e.what());
        }
    }
}
BENCHMARK(BM_ThrowAndCatch);

void BM_ThrowAndCatchBaseline_StdException(benchmark::State& state) {
    for (auto _ : state) {
        try {
            throw std::runtime_error("Cannot load");
        } catch (const std::exception& e) {
            benchmark::DoNotOptimize(e.what());
        }
    }
}
BENCHMARK(BM_ThrowAndCatchBaseline_StdException);

} // namespace

BENCHMARK_MAIN();
