// Code page conversion speed. MultiByteToWideChar and WideCharToMultiByte are measured as a
// caller uses them (size query, then the conversion) on 1 MiB of mixed text, next to a plain
// one-pass conversion loop over the same text in the same run. Figures are source bytes per
// second. The library's own conversions (which also allocate their result) run on the same text.
#include "Core/Common/StrConv.h"

#include <bvplatform/text.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

namespace {

// About 1 MiB of UTF-8: mostly ASCII (tags, paths, messages), with Latin-1, Cyrillic, CJK and
// emoji mixed in.
const std::string& MixedUtf8() {
    static const std::string text = [] {
        const char* const pieces[] = {
            "Track 07 - The Artist feat. Someone (Remastered 2011).flac\n",
            "C:\\Users\\listener\\Music\\Library\\Albums\\",
            "Caf\xc3\xa9 cr\xc3\xa8me, na\xc3\xafve ",
            "Settings saved; 12 items updated in 0.25 s.\n",
            "\xd0\x9f\xd1\x80\xd0\xb8\xd0\xb2\xd0\xb5\xd1\x82, \xd0\xbc\xd0\xb8\xd1\x80 ",
            "Exception: file not found (error 2) while loading playlist.\n",
            "\xe9\x9f\xb3\xe6\xa5\xbd\xe3\x83\x97\xe3\x83\xac\xe3\x83\xbc\xe3\x83\xa4\xe3\x83\xbc ",
            "Genre=Rock; Year=1999; Bitrate=320 kbps\n",
            "\xf0\x9f\x8e\xb5\xf0\x9f\x8e\xb6 ",
        };
        std::string out;
        while (out.size() < (1u << 20)) {
            for (const char* piece : pieces) {
                out += piece;
            }
        }
        return out;
    }();
    return text;
}

const std::u16string& MixedUtf16() {
    static const std::u16string text = [] {
        const std::string& utf8 = MixedUtf8();
        const int size = static_cast<int>(utf8.size());
        std::u16string out(static_cast<std::size_t>(
                               MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0)),
                           u'\0');
        MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, out.data(),
                            static_cast<int>(out.size()));
        return out;
    }();
    return text;
}

const std::string& MixedWindows1252() {
    static const std::string text = [] {
        const std::u16string& wide = MixedUtf16();
        const int size = static_cast<int>(wide.size());
        std::string out(static_cast<std::size_t>(WideCharToMultiByte(1252, 0, wide.data(), size,
                                                                     nullptr, 0, nullptr, nullptr)),
                        '\0');
        WideCharToMultiByte(1252, 0, wide.data(), size, out.data(), static_cast<int>(out.size()),
                            nullptr, nullptr);
        return out;
    }();
    return text;
}

// A plain decoding loop: one code point at a time, continuation bytes checked, nothing more.
std::size_t PlainUtf8ToUtf16(const std::string& in, char16_t* out) {
    std::size_t n = 0;
    for (std::size_t i = 0; i < in.size();) {
        const auto lead = static_cast<unsigned char>(in[i]);
        const int length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        std::uint32_t value = length == 1 ? lead : lead & (0x7F >> length);
        int k = 1;
        for (; k < length && i + k < in.size() && (in[i + k] & 0xC0) == 0x80; ++k) {
            value = (value << 6) | (in[i + k] & 0x3F);
        }
        i += k;
        if (k != length) {
            out[n++] = 0xFFFD;
        } else if (value < 0x10000) {
            out[n++] = static_cast<char16_t>(value);
        } else {
            out[n++] = static_cast<char16_t>(0xD7C0 + (value >> 10));
            out[n++] = static_cast<char16_t>(0xDC00 | (value & 0x3FF));
        }
    }
    return n;
}

// A plain encoding loop: one code point at a time.
std::size_t PlainUtf16ToUtf8(const std::u16string& in, char* out) {
    std::size_t n = 0;
    for (std::size_t i = 0; i < in.size(); ++i) {
        std::uint32_t value = in[i];
        if (value >= 0xD800 && value < 0xDC00 && i + 1 < in.size()) {
            value = 0x10000 + ((value - 0xD800) << 10) + (in[++i] - 0xDC00);
        }
        if (value < 0x80) {
            out[n++] = static_cast<char>(value);
        } else if (value < 0x800) {
            out[n++] = static_cast<char>(0xC0 | (value >> 6));
            out[n++] = static_cast<char>(0x80 | (value & 0x3F));
        } else if (value < 0x10000) {
            out[n++] = static_cast<char>(0xE0 | (value >> 12));
            out[n++] = static_cast<char>(0x80 | ((value >> 6) & 0x3F));
            out[n++] = static_cast<char>(0x80 | (value & 0x3F));
        } else {
            out[n++] = static_cast<char>(0xF0 | (value >> 18));
            out[n++] = static_cast<char>(0x80 | ((value >> 12) & 0x3F));
            out[n++] = static_cast<char>(0x80 | ((value >> 6) & 0x3F));
            out[n++] = static_cast<char>(0x80 | (value & 0x3F));
        }
    }
    return n;
}

void ToWideAsCaller(benchmark::State& state, UINT codePage, const std::string& in) {
    const int size = static_cast<int>(in.size());
    std::u16string out;
    for (auto _ : state) {
        const int need = MultiByteToWideChar(codePage, 0, in.data(), size, nullptr, 0);
        out.resize(static_cast<std::size_t>(need));
        benchmark::DoNotOptimize(
            MultiByteToWideChar(codePage, 0, in.data(), size, out.data(), need));
    }
    state.SetBytesProcessed(state.iterations() * size);
}

void ToNarrowAsCaller(benchmark::State& state, UINT codePage, const std::u16string& in) {
    const int size = static_cast<int>(in.size());
    std::string out;
    for (auto _ : state) {
        const int need =
            WideCharToMultiByte(codePage, 0, in.data(), size, nullptr, 0, nullptr, nullptr);
        out.resize(static_cast<std::size_t>(need));
        benchmark::DoNotOptimize(
            WideCharToMultiByte(codePage, 0, in.data(), size, out.data(), need, nullptr, nullptr));
    }
    state.SetBytesProcessed(state.iterations() * size * 2);
}

void Utf8ToWide(benchmark::State& state) {
    ToWideAsCaller(state, CP_UTF8, MixedUtf8());
}

void Utf8ToWidePlainLoop(benchmark::State& state) {
    const std::string& in = MixedUtf8();
    std::u16string out(in.size(), u'\0');
    for (auto _ : state) {
        benchmark::DoNotOptimize(PlainUtf8ToUtf16(in, out.data()));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(in.size()));
}

void WideToUtf8(benchmark::State& state) {
    ToNarrowAsCaller(state, CP_UTF8, MixedUtf16());
}

void WideToUtf8PlainLoop(benchmark::State& state) {
    const std::u16string& in = MixedUtf16();
    std::string out(in.size() * 3, '\0');
    for (auto _ : state) {
        benchmark::DoNotOptimize(PlainUtf16ToUtf8(in, out.data()));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(in.size()) * 2);
}

void LibraryUtf8ToWide(benchmark::State& state) {
    const std::string& in = MixedUtf8();
    for (auto _ : state) {
        benchmark::DoNotOptimize(mfConvertUTF8ToWide(in));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(in.size()));
}

void LibraryWideToUtf8(benchmark::State& state) {
    const std::u16string& in = MixedUtf16();
    for (auto _ : state) {
        benchmark::DoNotOptimize(mfConvertWideToUTF8(in));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(in.size()) * 2);
}

void Windows1252ToWide(benchmark::State& state) {
    ToWideAsCaller(state, 1252, MixedWindows1252());
}

void WideToWindows1252(benchmark::State& state) {
    ToNarrowAsCaller(state, 1252, MixedUtf16());
}

} // namespace

BENCHMARK(Utf8ToWide);
BENCHMARK(Utf8ToWidePlainLoop);
BENCHMARK(WideToUtf8);
BENCHMARK(WideToUtf8PlainLoop);
BENCHMARK(LibraryUtf8ToWide);
BENCHMARK(LibraryWideToUtf8);
BENCHMARK(Windows1252ToWide);
BENCHMARK(WideToWindows1252);

BENCHMARK_MAIN();
