// String utility speed: mfStrFind, mfStrReplaceAll, mfStrToLower and mfStrCompare on short
// settings names and on 1 MiB of mixed text, each next to a baseline in the same run:
// std::u16string::find, a plain find-and-replace loop, a per-unit table loop, and ucol_strcoll
// on a collator set up as the platform's (ICU is reached through the symbols that the
// platform library already loaded, so this program links nothing more).
#include "Core/Common/StrUtils.h"

#include <bvplatform/locale.h>

#include <benchmark/benchmark.h>
#include <unicode/ucol.h>

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

const std::vector<TStr>& SettingsNames() {
    static const std::vector<TStr> names = {
        u"\\USERS\\CURRENT\\Player\\Volume",
        u"\\SYSTEM\\Player\\InstallPath",
        u"LastPlaylistPath",
        u"\\USERS\\ALL\\Library\\WatchedFolders",
        u"Equalizer.Preset",
        u"\\USERS\\CURRENT\\Skins\\Current-Skin",
        u"WindowPlacement",
        u"\\USERS\\CURRENT\\Player\\Shuffle",
        u"Crossfade_ms",
        u"\\SYSTEM\\Codecs\\Flac\\Enabled",
        u"RecentFiles\\Item07",
        u"\\USERS\\CURRENT\\Library\\SortOrder",
    };
    return names;
}

// About 1 MiB of text as the library sees it: paths, tags, messages, some non-ASCII.
const TStr& LongText() {
    static const TStr text = [] {
        const char16_t* const pieces[] = {
            u"Track 07 - The Artist feat. Someone (Remastered 2011).flac\n",
            u"C:\\Users\\Listener\\Music\\Library\\Albums\\",
            u"Caf\u00E9 Cr\u00E8me, Na\u00EFve Stra\u00DFe ",
            u"Settings saved; 12 items updated in 0.25 s.\n",
            u"\u041F\u0440\u0438\u0432\u0435\u0442, \u041C\u0438\u0440 ",
            u"Exception: File not found (error 2) while loading playlist.\n",
            u"\u97F3\u697D\u30D7\u30EC\u30FC\u30E4\u30FC ",
            u"Genre=Rock; Year=1999; Bitrate=320 kbps\n",
        };
        TStr out;
        while (out.size() < (1u << 19)) {
            for (const char16_t* piece : pieces) {
                out += piece;
            }
        }
        return out;
    }();
    return text;
}

// ---- Find ----------------------------------------------------------------------------------

const TStr kMarker = u"<end-of-text-marker>";

void BM_Find_Short(benchmark::State& state) {
    const TStr pattern = u"Player";
    for (auto _ : state) {
        for (const TStr& name : SettingsNames()) {
            benchmark::DoNotOptimize(mfStrFind(name, pattern, false));
        }
    }
    state.SetItemsProcessed(state.iterations() * SettingsNames().size());
}

void BM_Find_Short_Baseline(benchmark::State& state) {
    const TStr pattern = u"Player";
    for (auto _ : state) {
        for (const TStr& name : SettingsNames()) {
            benchmark::DoNotOptimize(name.find(pattern));
        }
    }
    state.SetItemsProcessed(state.iterations() * SettingsNames().size());
}

void BM_Find_1MiB(benchmark::State& state) {
    const TStr text = LongText() + kMarker;
    for (auto _ : state) {
        benchmark::DoNotOptimize(mfStrFind(text, kMarker, false));
    }
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
}

void BM_Find_1MiB_Baseline(benchmark::State& state) {
    const TStr text = LongText() + kMarker;
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.find(kMarker));
    }
    state.SetBytesProcessed(state.iterations() * text.size() * 2);
}

// ---- ReplaceAll ----------------------------------------------------------------------------

// The loop a caller writes by hand: find, replace in place, resume behind the inserted text.
void PlainReplace(TStr& text, const TStr& from, const TStr& to) {
    for (std::size_t at = text.find(from); at != TStr::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

using Replacer = void (*)(TStr&, const TStr&, const TStr&);

// Different lengths: each replacement moves the rest of the name.
void ReplaceShort(benchmark::State& state, Replacer replace) {
    const TStr from = u"\\";
    const TStr to = u"\\\\";
    for (auto _ : state) {
        for (const TStr& name : SettingsNames()) {
            TStr copy = name;
            replace(copy, from, to);
            benchmark::DoNotOptimize(copy.data());
        }
    }
    state.SetItemsProcessed(state.iterations() * SettingsNames().size());
}

// Equal lengths, so that the plain loop moves no tail: a fair baseline on a long text.
void ReplaceLong(benchmark::State& state, Replacer replace) {
    const TStr from = u"Music";
    const TStr to = u"Audio";
    for (auto _ : state) {
        TStr copy = LongText();
        replace(copy, from, to);
        benchmark::DoNotOptimize(copy.data());
    }
    state.SetBytesProcessed(state.iterations() * LongText().size() * 2);
}

void LibraryReplace(TStr& text, const TStr& from, const TStr& to) {
    mfStrReplaceAll(text, from, to);
}

void BM_ReplaceAll_Short(benchmark::State& state) {
    ReplaceShort(state, LibraryReplace);
}
void BM_ReplaceAll_Short_Baseline(benchmark::State& state) {
    ReplaceShort(state, PlainReplace);
}
void BM_ReplaceAll_1MiB(benchmark::State& state) {
    ReplaceLong(state, LibraryReplace);
}
void BM_ReplaceAll_1MiB_Baseline(benchmark::State& state) {
    ReplaceLong(state, PlainReplace);
}

// ---- ToLower -------------------------------------------------------------------------------

// The platform's lower-case table, read once unit by unit through CharLowerW's single-unit form.
const std::array<char16_t, 0x10000>& LowerTable() {
    static const auto* table = [] {
        auto* out = new std::array<char16_t, 0x10000>;
        for (std::size_t i = 0; i < out->size(); ++i) {
            (*out)[i] = static_cast<char16_t>(
                reinterpret_cast<std::uintptr_t>(CharLowerW(reinterpret_cast<LPWSTR>(i))));
        }
        return out;
    }();
    return *table;
}

TStr TableLower(const TStr& text) {
    const auto& table = LowerTable();
    TStr out = text;
    for (char16_t& unit : out) {
        if (unit == u'\0') {
            break;
        }
        unit = table[unit];
    }
    return out;
}

void BM_ToLower_Short(benchmark::State& state) {
    for (auto _ : state) {
        for (const TStr& name : SettingsNames()) {
            benchmark::DoNotOptimize(mfStrToLower(name));
        }
    }
    state.SetItemsProcessed(state.iterations() * SettingsNames().size());
}

void BM_ToLower_Short_Baseline(benchmark::State& state) {
    for (auto _ : state) {
        for (const TStr& name : SettingsNames()) {
            benchmark::DoNotOptimize(TableLower(name));
        }
    }
    state.SetItemsProcessed(state.iterations() * SettingsNames().size());
}

void BM_ToLower_1MiB(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(mfStrToLower(LongText()));
    }
    state.SetBytesProcessed(state.iterations() * LongText().size() * 2);
}

void BM_ToLower_1MiB_Baseline(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(TableLower(LongText()));
    }
    state.SetBytesProcessed(state.iterations() * LongText().size() * 2);
}

// ---- Compare -------------------------------------------------------------------------------

// ICU's C functions, as the platform's collation uses them.
struct Icu {
    decltype(ucol_open)* open = &ucol_open;
    decltype(ucol_getRules)* getRules = &ucol_getRules;
    decltype(ucol_openRules)* openRules = &ucol_openRules;
    decltype(ucol_setAttribute)* setAttribute = &ucol_setAttribute;
    decltype(ucol_strcoll)* strcoll = &ucol_strcoll;
};

const Icu& TheIcu() {
    static const Icu& icu = *new Icu;
    return icu;
}

std::string UserLocale() {
    for (const char* name : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            const std::string locale =
                std::string(value).substr(0, std::string(value).find_first_of(".@"));
            return locale == "C" || locale == "POSIX" || locale.empty() ? "en_US" : locale;
        }
    }
    return "en_US";
}

// A collator set up as the platform sets up the user's: the locale's rules with "ß" = "ss" and
// hyphen and apostrophe ignorable (the word sort), lower case first, symbols not ignorable.
const UCollator* BaselineCollator(bool ignoreCase) {
    const Icu& icu = TheIcu();
    UErrorCode status = U_ZERO_ERROR;
    UCollator* base = icu.open(UserLocale().c_str(), &status);
    int32_t length = 0;
    std::u16string rules(icu.getRules(base, &length));
    rules += u"&ss=\u00DF&[last tertiary ignorable]=\\-=\\'";
    UCollator* collator =
        icu.openRules(rules.data(), static_cast<int32_t>(rules.size()), UCOL_ON,
                      ignoreCase ? UCOL_SECONDARY : UCOL_TERTIARY, nullptr, &status);
    icu.setAttribute(collator, UCOL_CASE_FIRST, UCOL_LOWER_FIRST, &status);
    if (U_FAILURE(status)) {
        throw std::runtime_error("baseline collator");
    }
    return collator;
}

void CompareShort(benchmark::State& state, bool baseline) {
    const auto& names = SettingsNames();
    const UCollator* collator = BaselineCollator(false);
    for (auto _ : state) {
        for (std::size_t i = 0; i + 1 < names.size(); ++i) {
            const TStr& a = names[i];
            const TStr& b = names[i + 1];
            benchmark::DoNotOptimize(baseline
                                         ? TheIcu().strcoll(collator, a.c_str(), -1, b.c_str(), -1)
                                         : mfStrCompare(a, b, false));
        }
    }
    state.SetItemsProcessed(state.iterations() * (names.size() - 1));
}

// Two long texts that differ only in their last unit: the whole length is compared.
void CompareLong(benchmark::State& state, bool baseline) {
    const TStr a = LongText() + u"a";
    const TStr b = LongText() + u"b";
    const UCollator* collator = BaselineCollator(false);
    for (auto _ : state) {
        benchmark::DoNotOptimize(baseline ? TheIcu().strcoll(collator, a.c_str(), -1, b.c_str(), -1)
                                          : mfStrCompare(a, b, false));
    }
    state.SetBytesProcessed(state.iterations() * a.size() * 2);
}

void BM_Compare_Short(benchmark::State& state) {
    CompareShort(state, false);
}
void BM_Compare_Short_Baseline(benchmark::State& state) {
    CompareShort(state, true);
}
void BM_Compare_1MiB(benchmark::State& state) {
    CompareLong(state, false);
}
void BM_Compare_1MiB_Baseline(benchmark::State& state) {
    CompareLong(state, true);
}

} // namespace

BENCHMARK(BM_Find_Short);
BENCHMARK(BM_Find_Short_Baseline);
BENCHMARK(BM_Find_1MiB);
BENCHMARK(BM_Find_1MiB_Baseline);
BENCHMARK(BM_ReplaceAll_Short);
BENCHMARK(BM_ReplaceAll_Short_Baseline);
BENCHMARK(BM_ReplaceAll_1MiB);
BENCHMARK(BM_ReplaceAll_1MiB_Baseline);
BENCHMARK(BM_ToLower_Short);
BENCHMARK(BM_ToLower_Short_Baseline);
BENCHMARK(BM_ToLower_1MiB);
BENCHMARK(BM_ToLower_1MiB_Baseline);
BENCHMARK(BM_Compare_Short);
BENCHMARK(BM_Compare_Short_Baseline);
BENCHMARK(BM_Compare_1MiB);
BENCHMARK(BM_Compare_1MiB_Baseline);

BENCHMARK_MAIN();
