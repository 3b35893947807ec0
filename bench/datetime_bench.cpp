// Date-time speed: a fromDays/toDays pair of mcDateTime next to a civil-from-days/days-from-civil
// pair (the usual era arithmetic) over the same day numbers, and normalize(true) on an unchanged
// zone next to glibc's localtime_r.
#include "Core/Common/DateTime.h"
#include "Core/Common/DateTimeConvert.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace {

constexpr std::uint32_t kFirstDay = 577738; // 15 October 1582
constexpr std::uint32_t kDays = 1u << 20;   // about 2870 years of days

void BM_mcDateTime_FromDaysToDays(benchmark::State& state) {
    mcDateTime value;
    std::uint32_t day = kFirstDay;
    for (auto _ : state) {
        mcDateTimeMangler(value).FromDays(day, 0);
        benchmark::DoNotOptimize(value.JulianDays());
        day = day + 1 < kFirstDay + kDays ? day + 1 : kFirstDay;
    }
}

struct Civil {
    std::int64_t year;
    unsigned month, day;
};

Civil CivilFromDays(std::int64_t z) {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const auto doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    const unsigned d = doy - (153 * mp + 2) / 5 + 1;
    const unsigned m = mp < 10 ? mp + 3 : mp - 9;
    return {static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2), m, d};
}

std::int64_t DaysFromCivil(const Civil& c) {
    const std::int64_t y = c.year - (c.month <= 2);
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const auto yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (c.month > 2 ? c.month - 3 : c.month + 9) + 2) / 5 + c.day - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

void BM_Baseline_CivilFromDaysAndBack(benchmark::State& state) {
    std::int64_t day = -141427; // 15 October 1582 counted from 1970
    for (auto _ : state) {
        benchmark::DoNotOptimize(DaysFromCivil(CivilFromDays(day)));
        day = day + 1 < -141427 + kDays ? day + 1 : -141427;
    }
}

void BM_mcDateTime_NormalizeRefreshZone(benchmark::State& state) {
    setenv("TZ", "Europe/Berlin", 1);
    mcDateTime value = mcDateTimeConvert::DateTime(2024, 7, 15, 10, 0, 0, 0, 0, false);
    for (auto _ : state) {
        mcDateTimeMangler(value).Normalize(true);
        benchmark::DoNotOptimize(value);
    }
}

void BM_Baseline_localtime_r(benchmark::State& state) {
    setenv("TZ", "Europe/Berlin", 1);
    tzset();
    std::time_t t = 1721034000;
    std::tm out{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(localtime_r(&t, &out));
    }
}

} // namespace

BENCHMARK(BM_mcDateTime_FromDaysToDays);
BENCHMARK(BM_Baseline_CivilFromDaysAndBack);
BENCHMARK(BM_mcDateTime_NormalizeRefreshZone);
BENCHMARK(BM_Baseline_localtime_r);
BENCHMARK_MAIN();
