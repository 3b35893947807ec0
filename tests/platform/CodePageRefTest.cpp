// The recorded platform answers of text.tsv for the code page calls, checked row by row. A key
// names the code page, the input (by name), a variant of the call, and what was measured.
#include "CodePageTestUtil.h"

#include "support/RefData.h"

#include <bvplatform/winerror.h>

#include <algorithm>
#include <map>

using namespace codepagetest;
using bvtest::ParseHex;
using bvtest::ParseUtf16;
using bvtest::RefRow;
using bvtest::Show;

namespace {

const bvtest::RefTable& Rows() {
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

const std::u16string kHigh(1, char16_t{0xD800});

// Wide inputs of the wc2mb keys, from their names.
const std::map<std::string, std::u16string> kNamedUnits = {
    {"u00e9_e_acute", u"\u00e9"},     {"u00e9", u"\u00e9"},
    {"u0101_a_macron", u"\u0101"},    {"u20ac_euro", u"\u20ac"},
    {"u3042_hiragana_a", u"\u3042"},  {"u3042", u"\u3042"},
    {"ud800_unpaired_high", kHigh},   {"ud800", kHigh},
    {"ud800_then_a", kHigh + u"a"},   {"udc00_unpaired_low", std::u16string(1, char16_t{0xDC00})},
    {"pair_u1f3b5", u"\U0001F3B5"},   {"u0192_f_hook", u"\u0192"},
    {"u2019_right_quote", u"\u2019"}, {"uff21_fullwidth_A", u"\uFF21"},
};

// Where Windows answers otherwise than the recording platform, as the windows-differs comment
// says: with CP_UTF8 a default character or a used-default flag is refused.
const std::map<std::string, std::string> kWindowsAnswers = {
    {"wc2mb.65001.with_used_pointer.ret", "0"},
    {"wc2mb.65001.with_default_char.ret", "0"},
    {"wc2mb.65001.with_default_char.err", "87"},
};

std::string ExpectedText(const RefRow& row) {
    const auto it = kWindowsAnswers.find(row.key);
    if (row.CommentHas("windows-differs")) {
        EXPECT_NE(it, kWindowsAnswers.end()) << "no Windows answer noted";
    }
    return it != kWindowsAnswers.end() ? it->second : row.value;
}

std::int64_t Expected(const RefRow& row) {
    return bvtest::ParseNumber(ExpectedText(row));
}

// The recorded last error, where 0 stands for "left alone".
std::int64_t ErrorSeen(DWORD error) {
    return error == kSentinelError ? 0 : error;
}

UINT CodePageOf(const std::string& token) {
    if (token == "CP_ACP") {
        return 1252; // the recording machine's ANSI code page; ours is UTF-8 (tested apart)
    }
    return token == "CP_OEMCP" ? CP_OEMCP : static_cast<UINT>(std::stoul(token));
}

bool IsCodePage(const std::string& token) {
    return token.rfind("CP_", 0) == 0 || std::all_of(token.begin(), token.end(), ::isdigit);
}

// What a key says: between the function and the field stand a code page, an input name and a
// variant of the call, in any order.
struct Key {
    UINT codePage = 0;
    std::string name;    // an input, when the key names one
    std::string variant; // anything else
    std::string field;   // what was measured
};

template <typename Inputs>
Key ParseKey(const std::string& text, const Inputs& isInput) {
    const std::vector<std::string> parts = bvtest::SplitKey(text);
    Key key;
    key.field = parts.back();
    for (std::size_t i = 1; i + 1 < parts.size(); ++i) {
        const std::string& part = parts[i];
        if (IsCodePage(part)) {
            key.codePage = CodePageOf(part);
        } else {
            (isInput(part) ? key.name : key.variant) = part;
        }
    }
    return key;
}

std::optional<std::string> NamedBytes(const std::string& name) {
    if (const auto row = Rows().Find("mb2wc.input." + name)) {
        return ParseHex(row->value);
    }
    const auto it = kNamedBytes.find(name);
    return it != kNamedBytes.end() ? std::optional(it->second) : std::nullopt;
}

void CheckWideRow(const RefRow& row) {
    const Key key =
        ParseKey(row.key, [](const std::string& n) { return NamedBytes(n).has_value(); });
    const DWORD flags = key.variant == "err_invalid" ? MB_ERR_INVALID_CHARS : 0;
    std::string input = NamedBytes(key.name).value_or("abc");
    int length = static_cast<int>(input.size());
    int capacity = 64;
    if (key.variant == "len_minus1_abc" || key.variant == "len0") {
        length = key.variant == "len0" ? 0 : -1;
    } else if (key.variant == "dest_too_small") {
        capacity = 2;
    } else if (key.variant == "surrogate_pair_dest1") {
        input = "\xf0\x9f\x8e\xb5";
        length = 4;
        capacity = 1;
    } else {
        ASSERT_TRUE(key.variant.empty() || flags != 0) << "row not understood";
    }
    const auto r = ToWide(key.codePage, flags, input, key.field == "need" ? 0 : capacity, length);
    if (key.field == "need" || key.field == "ret") {
        EXPECT_EQ(r.ret, Expected(row));
    } else if (key.field == "err") {
        EXPECT_EQ(ErrorSeen(r.error), Expected(row));
    } else if (key.field == "out") {
        EXPECT_EQ(Show(Widen(key.codePage, input, flags, length)), Show(ParseUtf16(row.value)));
    } else if (key.field == "partial") {
        EXPECT_EQ(Show(r.dest), Show(ParseUtf16(row.value)));
    } else {
        ADD_FAILURE() << "row not understood";
    }
}

void CheckNarrowRow(const RefRow& row) {
    const Key key =
        ParseKey(row.key, [](const std::string& n) { return kNamedUnits.count(n) != 0; });
    const std::map<std::string, NarrowOptions> variants = {
        {"", {}},
        {"no_best_fit", {WC_NO_BEST_FIT_CHARS}},
        {"err_invalid", {WC_ERR_INVALID_CHARS}},
        {"default_star", {0, "*"}},
        {"with_default_char", {0, "?"}},
        {"with_used_pointer", {0, nullptr, true}},
        {"len_minus1", {}},
        {"dest_too_small", {}},
    };
    const auto variant = variants.find(key.variant);
    ASSERT_NE(variant, variants.end()) << "row not understood";
    NarrowOptions options = variant->second;
    const std::u16string input = key.name.empty() ? u"\u00e9" : kNamedUnits.at(key.name);
    const int length = key.variant == "len_minus1" ? -1 : static_cast<int>(input.size());
    const int capacity = key.variant == "dest_too_small" ? 1 : 64;
    options.askUsedDefault = options.askUsedDefault || key.field == "used_default";
    const auto r =
        ToNarrow(key.codePage, input, key.field == "need" ? 0 : capacity, options, length);
    if (key.field == "need" || key.field == "ret") {
        EXPECT_EQ(r.ret, Expected(row));
    } else if (key.field == "err") {
        EXPECT_EQ(ErrorSeen(r.error), Expected(row));
    } else if (key.field == "used_default") {
        EXPECT_EQ(r.usedDefault, Expected(row));
    } else if (key.field == "bytes") {
        EXPECT_EQ(bvtest::ShowHex(Narrow(key.codePage, input, options, length)),
                  bvtest::ShowHex(ParseHex(row.value)));
    } else {
        ADD_FAILURE() << "row not understood";
    }
}

void CheckFlagsRow(const RefRow& row) {
    const std::vector<std::string> parts = bvtest::SplitKey(row.key);
    ASSERT_EQ(parts.size(), 5u);
    const std::map<std::string, DWORD> named = {{"MB_PRECOMPOSED", MB_PRECOMPOSED},
                                                {"MB_COMPOSITE", MB_COMPOSITE},
                                                {"MB_USEGLYPHCHARS", MB_USEGLYPHCHARS}};
    const DWORD flags = named.count(parts[2]) ? named.at(parts[2])
                                              : static_cast<DWORD>(bvtest::ParseNumber(parts[2]));
    ASSERT_EQ(parts[3], "MultiByteToWideChar") << "row not understood";
    const auto r = ToWide(CodePageOf(parts[1]), flags, "abc", 64);
    EXPECT_EQ(parts[4] == "ret" ? r.ret : ErrorSeen(r.error), Expected(row));
}

// Runs `check` on every row under `prefix` but the input rows; a row it does not understand
// fails the test, so that no recorded answer goes unchecked.
void CheckRows(const std::string& prefix, void (*check)(const RefRow&)) {
    const std::vector<RefRow> rows = Rows().WithPrefix(prefix);
    ASSERT_FALSE(rows.empty());
    for (const RefRow& row : rows) {
        SCOPED_TRACE(row.key + " (text.tsv:" + std::to_string(row.line) + ")");
        if (row.key.rfind("mb2wc.input.", 0) != 0) {
            check(row);
        }
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
        EXPECT_EQ(IsValidCodePage(CodePageOf(bvtest::SplitKey(row.key)[1])), Expected(row));
    });
    EXPECT_EQ(GetOEMCP(), static_cast<UINT>(Expected(*Rows().Find("GetOEMCP"))));
    // Recorded on a machine whose ANSI code page is 1252; the stand-in's is UTF-8 by design.
    EXPECT_EQ(Rows().Find("GetACP")->value, "1252");
    EXPECT_EQ(GetACP(), CP_UTF8);
}
