// The recorded platform answers of text.tsv for the code page calls, checked row by row: the key
// names the call (code page, input, variant) and what was measured.
#include "CodePageTestUtil.h"

#include "support/RefData.h"

#include <bvplatform/winerror.h>

#include <map>
#include <optional>

using namespace codepagetest;
using bvtest::ParseHex;
using bvtest::ParseNumber;
using bvtest::ParseUtf16;
using bvtest::RefRow;

namespace {

const bvtest::RefTable& TextRows() {
    static const bvtest::RefTable table = bvtest::RefTable::Load("text.tsv");
    return table;
}

// Narrow inputs that keys name without an mb2wc.input row; the names say the bytes.
const std::map<std::string, std::string> kNamedBytes = {
    {"c1_80_81_8d_8f_90_9d", "\x80\x81\x8d\x8f\x90\x9d"},
    {"utf8_hiragana_a", "\xe3\x81\x82"},
    {"truncated_3byte", "\xe3\x81"},
    {"byte_ff", "\xff"},
    {"utf8_bom_then_a", "\xef\xbb\xbf"
                        "a"},
    {"del_7f_and_1b", "\x7f\x1b"},
    {"80e9", "\x80\xe9"},
};

const std::u16string kLoneHigh(1, char16_t{0xD800});
const std::u16string kLoneLow(1, char16_t{0xDC00});

// Wide inputs of the wc2mb keys, from their names.
const std::map<std::string, std::u16string> kNamedUnits = {
    {"u00e9_e_acute", u"\u00e9"},       {"u00e9", u"\u00e9"},
    {"u0101_a_macron", u"\u0101"},      {"u20ac_euro", u"\u20ac"},
    {"u3042_hiragana_a", u"\u3042"},    {"u3042", u"\u3042"},
    {"ud800_unpaired_high", kLoneHigh}, {"ud800", kLoneHigh},
    {"udc00_unpaired_low", kLoneLow},   {"ud800_then_a", kLoneHigh + u"a"},
    {"pair_u1f3b5", u"\U0001F3B5"},     {"u0192_f_hook", u"\u0192"},
    {"u2019_right_quote", u"\u2019"},   {"uff21_fullwidth_A", u"\uFF21"},
};

// Rows where Windows answers otherwise than the recording platform, as the comment above the
// row (or its sibling) says: for CP_UTF8 a default character or a used-default flag is refused.
const std::map<std::string, std::string> kWindowsAnswers = {
    {"wc2mb.65001.with_used_pointer.ret", "0"},
    {"wc2mb.65001.with_default_char.ret", "0"},
    {"wc2mb.65001.with_default_char.err", "87"},
};

std::string ExpectedValue(const RefRow& row) {
    const auto it = kWindowsAnswers.find(row.key);
    if (row.CommentHas("windows-differs")) {
        EXPECT_NE(it, kWindowsAnswers.end()) << "no Windows answer noted for " << row.key;
    }
    return it != kWindowsAnswers.end() ? it->second : row.value;
}

std::int64_t ExpectedNumber(const RefRow& row) {
    return ParseNumber(ExpectedValue(row));
}

// The recorded last error, where 0 means the call left it alone.
DWORD ErrorSeen(DWORD error) {
    return error == kSentinelError ? 0 : error;
}

UINT CodePageOf(const std::string& token) {
    if (token == "CP_ACP") {
        return 1252; // the recording machine's ANSI code page (ours is UTF-8, tested apart)
    }
    return token == "CP_OEMCP" ? CP_OEMCP : static_cast<UINT>(std::stoul(token));
}

// One MultiByteToWideChar call as a key describes it.
struct WideCall {
    UINT codePage = 0;
    DWORD flags = 0;
    std::string input; // the bytes
    int srcLength = 0; // cbMultiByte
    int capacity = 64; // cchWideChar for ret/err/partial fields
};

std::optional<WideCall> DescribeWideCall(const std::vector<std::string>& parts) {
    const bool strict = parts[1] == "err_invalid";
    const std::size_t at = strict ? 2 : 1;
    if (parts.size() != at + 3) {
        return std::nullopt;
    }
    WideCall call;
    call.codePage = CodePageOf(parts[at]);
    call.flags = strict ? MB_ERR_INVALID_CHARS : 0u;
    const std::string& name = parts[at + 1];
    const std::map<std::string, WideCall> special = {
        {"len_minus1_abc", {0, 0, "abc", -1}},
        {"len0", {0, 0, "abc", 0}},
        {"dest_too_small", {0, 0, "abc", 3, 2}},
        {"surrogate_pair_dest1", {0, 0, "\xf0\x9f\x8e\xb5", 4, 1}},
    };
    if (const auto it = special.find(name); it != special.end()) {
        WideCall s = it->second;
        s.codePage = call.codePage;
        s.flags = call.flags;
        return s;
    }
    if (const auto row = TextRows().Find("mb2wc.input." + name)) {
        call.input = ParseHex(row->value);
    } else if (const auto it = kNamedBytes.find(name); it != kNamedBytes.end()) {
        call.input = it->second;
    } else {
        return std::nullopt;
    }
    call.srcLength = static_cast<int>(call.input.size());
    return call;
}

bool CheckWideRow(const RefRow& row) {
    const std::vector<std::string> parts = bvtest::SplitKey(row.key);
    const std::optional<WideCall> call = DescribeWideCall(parts);
    if (!call) {
        return false;
    }
    const std::string& field = parts.back();
    if (field == "need") {
        EXPECT_EQ(ToWide(call->codePage, call->flags, call->input, call->srcLength, 0).ret,
                  ExpectedNumber(row));
        return true;
    }
    if (field == "out") {
        EXPECT_EQ(bvtest::Show(Widen(call->codePage, call->input, call->srcLength, call->flags)),
                  bvtest::Show(ParseUtf16(ExpectedValue(row))));
        return true;
    }
    const CallResult<char16_t> r =
        ToWide(call->codePage, call->flags, call->input, call->srcLength, call->capacity);
    if (field == "ret") {
        EXPECT_EQ(r.ret, ExpectedNumber(row));
    } else if (field == "err") {
        EXPECT_EQ(ErrorSeen(r.error), ExpectedNumber(row));
    } else if (field == "partial") {
        EXPECT_EQ(bvtest::Show(r.dest), bvtest::Show(ParseUtf16(ExpectedValue(row))));
    } else {
        return false;
    }
    return true;
}

// One WideCharToMultiByte call as a key describes it.
struct NarrowCall {
    UINT codePage = 0;
    std::u16string input; // the units
    int srcLength = 0;    // cchWideChar
    int capacity = 64;    // cbMultiByte for ret/err fields
    NarrowOptions options;
};

// Variants between the code page and the input name, and how each changes the call.
void ApplyVariant(const std::string& variant, NarrowCall& call) {
    static const char kStar[] = "*";
    static const char kQuestion[] = "?";
    if (variant == "no_best_fit") {
        call.options.flags = WC_NO_BEST_FIT_CHARS;
    } else if (variant == "default_star") {
        call.options.defaultChar = kStar;
    } else if (variant == "err_invalid") {
        call.options.flags = WC_ERR_INVALID_CHARS;
    } else if (variant == "len_minus1") {
        call.srcLength = -1;
    } else if (variant == "with_used_pointer") {
        call.options.askUsedDefault = true;
    } else if (variant == "with_default_char") {
        call.options.defaultChar = kQuestion;
    } else if (variant == "dest_too_small") {
        call.capacity = 1;
    }
}

std::optional<NarrowCall> DescribeNarrowCall(const std::vector<std::string>& parts) {
    if (parts.size() != 4 && parts.size() != 5) {
        return std::nullopt;
    }
    NarrowCall call;
    call.codePage = CodePageOf(parts[1]);
    call.input = u"a";
    const bool named = kNamedUnits.count(parts[2]) != 0;
    const std::string variant = parts.size() == 5 || !named ? parts[2] : "";
    if (parts.size() == 5 || named) {
        const auto it = kNamedUnits.find(parts[parts.size() - 2]);
        if (it == kNamedUnits.end()) {
            return std::nullopt;
        }
        call.input = it->second;
    }
    if (variant == "dest_too_small") {
        call.input = u"\u00e9"; // two bytes in UTF-8, one byte of room
    }
    call.srcLength = static_cast<int>(call.input.size());
    ApplyVariant(variant, call);
    return call;
}

bool CheckNarrowRow(const RefRow& row) {
    const std::vector<std::string> parts = bvtest::SplitKey(row.key);
    std::optional<NarrowCall> call = DescribeNarrowCall(parts);
    if (!call) {
        return false;
    }
    const std::string& field = parts.back();
    const std::u16string& src = call->input;
    if (field == "need") {
        EXPECT_EQ(ToNarrow(call->codePage, src, call->srcLength, 0, call->options).ret,
                  ExpectedNumber(row));
    } else if (field == "bytes") {
        EXPECT_EQ(bvtest::ShowHex(Narrow(call->codePage, src, call->srcLength, call->options)),
                  bvtest::ShowHex(ParseHex(ExpectedValue(row))));
    } else if (field == "used_default") {
        call->options.askUsedDefault = true;
        EXPECT_EQ(ToNarrow(call->codePage, src, call->srcLength, 64, call->options).usedDefault,
                  ExpectedNumber(row));
    } else if (field == "ret" || field == "err") {
        const CallResult<char> r =
            ToNarrow(call->codePage, call->input, call->srcLength, call->capacity, call->options);
        EXPECT_EQ(field == "ret" ? r.ret : ErrorSeen(r.error), ExpectedNumber(row));
    } else {
        return false;
    }
    return true;
}

DWORD FlagsNamed(const std::string& name) {
    const std::map<std::string, DWORD> named = {
        {"MB_PRECOMPOSED", MB_PRECOMPOSED},
        {"MB_COMPOSITE", MB_COMPOSITE},
        {"MB_USEGLYPHCHARS", MB_USEGLYPHCHARS},
        {"MB_ERR_INVALID_CHARS", MB_ERR_INVALID_CHARS},
        {"WC_NO_BEST_FIT_CHARS", WC_NO_BEST_FIT_CHARS},
        {"WC_ERR_INVALID_CHARS", WC_ERR_INVALID_CHARS},
    };
    const auto it = named.find(name);
    return it != named.end() ? it->second : static_cast<DWORD>(ParseNumber(name));
}

bool CheckFlagsRow(const RefRow& row) {
    const std::vector<std::string> parts = bvtest::SplitKey(row.key);
    if (parts.size() != 5) {
        return false;
    }
    const UINT codePage = CodePageOf(parts[1]);
    const DWORD flags = FlagsNamed(parts[2]);
    CallResult<char16_t> wide;
    CallResult<char> narrow;
    if (parts[3] == "MultiByteToWideChar") {
        wide = ToWide(codePage, flags, "abc", 64);
    } else if (parts[3] == "WideCharToMultiByte") {
        narrow = ToNarrow(codePage, u"abc", 64, NarrowOptions{flags});
    } else {
        return false;
    }
    const bool isWide = parts[3] == "MultiByteToWideChar";
    const int ret = isWide ? wide.ret : narrow.ret;
    const DWORD error = isWide ? wide.error : narrow.error;
    EXPECT_EQ(parts[4] == "ret" ? ret : static_cast<std::int64_t>(ErrorSeen(error)),
              ExpectedNumber(row));
    return parts[4] == "ret" || parts[4] == "err";
}

// Runs `check` on every row under `prefix`; a row it does not understand fails the test, so
// that no recorded answer goes unchecked.
template <typename Check>
void CheckRows(const std::string& prefix, Check check) {
    const std::vector<RefRow> rows = TextRows().WithPrefix(prefix);
    ASSERT_FALSE(rows.empty());
    for (const RefRow& row : rows) {
        SCOPED_TRACE(row.key + " (text.tsv:" + std::to_string(row.line) + ")");
        if (row.key.rfind("mb2wc.input.", 0) == 0) {
            continue; // input bytes, used by the other rows
        }
        EXPECT_TRUE(check(row)) << "row not understood";
    }
}

} // namespace

TEST(CodePageReference, MultiByteToWideCharRows) {
    CheckRows("mb2wc.", CheckWideRow);
}

TEST(CodePageReference, WideCharToMultiByteRows) {
    CheckRows("wc2mb.", CheckNarrowRow);
}

TEST(CodePageReference, InvalidFlagsRows) {
    CheckRows("invalid_flags.", CheckFlagsRow);
}

TEST(CodePageReference, CodePageQueries) {
    CheckRows("IsValidCodePage.", [](const RefRow& row) {
        EXPECT_EQ(IsValidCodePage(CodePageOf(bvtest::SplitKey(row.key)[1])), ExpectedNumber(row));
        return true;
    });
    const auto oem = TextRows().Find("GetOEMCP");
    ASSERT_TRUE(oem);
    EXPECT_EQ(GetOEMCP(), static_cast<UINT>(ExpectedNumber(*oem)));
    // Recorded on a machine whose ANSI code page is 1252; the stand-in's is UTF-8 by design.
    ASSERT_TRUE(TextRows().Find("GetACP"));
    EXPECT_EQ(GetACP(), CP_UTF8);
}
