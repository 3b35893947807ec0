// The settings store's element forms: the exact stored text of each encoder, bit-exact round
// trips, base64 against the published vectors and the lenient decoding rules, splitting, the
// readers' token rules, and the words of every corrupt form.
#include "Core/Common/XMLUtil.h"

#include "ThrownText.h"
#include "support/RefData.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <climits>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

namespace {

using namespace core::xml;
using bvtest::Show;

/// The bytes of a narrow literal.
ByteVec Bytes(std::string_view text) {
    return ByteVec(text.begin(), text.end());
}

using Fields2 = std::array<LONG, 2>;
using Fields4 = std::array<LONG, 4>;

Fields2 FieldsOf(const tagPOINT& p) {
    return {p.x, p.y};
}

Fields4 FieldsOf(const tagRECT& r) {
    return {r.left, r.top, r.right, r.bottom};
}

constexpr const char16_t* kCorrupt = u"Invalid or corrupted setting value.";

TEST(XMLUtil, EncodersGiveTheExactStoredText) {
    struct Row {
        int line;
        TStr text;     // what the encoder made
        TStr expected; // the stored form to the character
    };
    const auto nan = std::bit_cast<double>(std::uint64_t{0x7FF0000000000001});
    const Row rows[] = {
        {__LINE__, ToXMLElementBOOL(true), u"<bool>true</bool>"},
        {__LINE__, ToXMLElementBOOL(false), u"<bool>false</bool>"},
        {__LINE__, ToXMLElementDouble(0.0), u"<double>AAAAAAAAAAA=</double>"},
        {__LINE__, ToXMLElementDouble(1.0), u"<double>AAAAAAAA8D8=</double>"},
        {__LINE__, ToXMLElementDouble(1.5), u"<double>AAAAAAAA+D8=</double>"},
        {__LINE__, ToXMLElementDouble(-2.25), u"<double>AAAAAAAAAsA=</double>"},
        {__LINE__, ToXMLElementDouble(-0.0), u"<double>AAAAAAAAAIA=</double>"},
        {__LINE__, ToXMLElementDouble(nan), u"<double>AQAAAAAA8H8=</double>"},
        {__LINE__, ToXMLElementPOINT({10, -20}),
         u"<struct.tagPOINT><x>10</x><y>-20</y></struct.tagPOINT>"},
        {__LINE__, ToXMLElementPOINT({INT_MIN, INT_MAX}),
         u"<struct.tagPOINT><x>-2147483648</x><y>2147483647</y></struct.tagPOINT>"},
        {__LINE__, ToXMLElementRECT({1, 2, 3, 4}),
         u"<struct.tagRECT><left>1</left><top>2</top><right>3</right><bottom>4</bottom>"
         u"</struct.tagRECT>"},
        {__LINE__, ToXMLElementRECT({INT_MIN, 0, -1, INT_MAX}),
         u"<struct.tagRECT><left>-2147483648</left><top>0</top><right>-1</right>"
         u"<bottom>2147483647</bottom></struct.tagRECT>"},
        {__LINE__, MakeXMLElement(u"a b", u""), u"<a b></a b>"},
        {__LINE__, MakeXMLElement(u"t", u"<&>\""), u"<t><&>\"</t>"},
        {__LINE__, TagFromTypeName(kTypeNamePOINT), u"struct.tagPOINT"},
        {__LINE__, TagFromTypeName(u" a  b."), u".a..b."},
        {__LINE__, TypeNameFromTag(u"struct.tagRECT"), u"struct tagRECT"},
        {__LINE__, TypeNameFromTag(u".a..b "), u" a  b "},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);
        EXPECT_EQ(row.text, row.expected);
    }
}

TEST(XMLUtil, ValuesComeBackBitForBit) {
    std::mt19937_64 random(20261123);
    std::vector<std::uint64_t> patterns = {
        0x8000000000000000, // -0.0
        0x7FF0000000000001, // signalling NaN, smallest payload
        0xFFF8DEADBEEF0001, // negative quiet NaN with a payload
        0x0000000000000001, // smallest subnormal
        0x800FFFFFFFFFFFFF, // largest negative subnormal
        0x7FF0000000000000, // +infinity
        0xFFF0000000000000, // -infinity
        0x7FEFFFFFFFFFFFFF, // largest finite
    };
    for (int i = 0; i < 2000; ++i) {
        patterns.push_back(random());
    }
    for (const std::uint64_t bits : patterns) {
        const TStr text = ToXMLElementDouble(std::bit_cast<double>(bits));
        ASSERT_EQ(std::bit_cast<std::uint64_t>(FromXMLElement(text)), bits) << Show(text);
    }
    std::uniform_int_distribution<LONG> field(INT_MIN, INT_MAX);
    for (int i = 0; i < 500; ++i) {
        const tagRECT rect{field(random), field(random), i == 0 ? INT_MIN : field(random),
                           i == 0 ? INT_MAX : field(random)};
        ASSERT_EQ(FieldsOf(FromXMLElementRECT(ToXMLElementRECT(rect))), FieldsOf(rect));
        const tagPOINT point{rect.right, rect.bottom};
        ASSERT_EQ(FieldsOf(FromXMLElementPOINT(ToXMLElementPOINT(point))), FieldsOf(point));
    }
}

TEST(XMLUtil, Base64MatchesThePublishedVectors) {
    const std::pair<std::string_view, TStr> vectors[] = {
        {"", u""},
        {"f", u"Zg=="},
        {"fo", u"Zm8="},
        {"foo", u"Zm9v"},
        {"foob", u"Zm9vYg=="},
        {"fooba", u"Zm9vYmE="},
        {"foobar", u"Zm9vYmFy"},
    };
    for (const auto& [plain, encoded] : vectors) {
        SCOPED_TRACE(plain);
        EXPECT_EQ(Base64Encode(Bytes(plain), kui32Base64LineWidth), encoded);
        ByteVec target(plain.size() + 1, 0xCC); // one guard byte behind
        EXPECT_EQ(Base64Decode(encoded, std::span(target).first(plain.size())), plain.size());
        EXPECT_EQ(target, Bytes(std::string(plain) + "\xCC"));
    }
}

TEST(XMLUtil, Base64DecoderSkipsStrangersAndShortGroups) {
    struct Row {
        TStr text;
        std::string_view bytes; // what the text holds
    };
    const Row rows[] = {
        {u"Zm9v\r\nYmFy", "foobar"},
        {u" Z=m9=v!", "foo"},           // "=" and garbage anywhere are skipped
        {u"Zg==Zg==", "f\x06`"},        // padding does not end a group
        {u"Zg", "f"},                   // two units: one byte
        {u"Zm9", "fo"},                 // three units: two bytes
        {u"Zm9vY", "foo"},              // a lone last unit gives nothing
        {u"Z", ""},                     //
        {u"====\r\n", ""},              //
        {u"\u0141\uFF21Zg", "f"},       // units beyond ASCII are strangers, whatever their low byte
        {u"Zm9vYmFyYmF6", "foobarbaz"}, // more than the target: counted, not written
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.text));
        std::array<BYTE, 8> target;
        target.fill(0xCC);
        const std::size_t room = 6;
        const std::size_t count = Base64Decode(row.text, std::span(target).first(room));
        EXPECT_EQ(count, row.bytes.size());
        const std::size_t written = std::min(room, row.bytes.size());
        EXPECT_EQ(ByteVec(target.begin(), target.begin() + written),
                  Bytes(row.bytes.substr(0, written)));
        EXPECT_EQ(ByteVec(target.begin() + written, target.end()), ByteVec(8 - written, 0xCC));
    }
}

TEST(XMLUtil, Base64EncoderEndsALineAfterWidthOverFourGroups) {
    const TStr line(72, u'A');
    struct Row {
        std::size_t bytes; // zero bytes to encode
        std::uint32_t width;
        TStr expected;
    };
    const Row rows[] = {
        {54, 72, line + u"\r\n"},
        {57, 72, line + u"\r\nAAAA"},
        {57, 75, line + u"\r\nAAAA"},
        {108, 72, line + u"\r\n" + line + u"\r\n"},
        {7, 8, u"AAAAAAAA\r\nAA=="},
        {6, 3, u"AAAAAAAA"}, // fewer than one group per line: no line ends
        {6, 0, u"AAAAAAAA"},
        {0, 4, u""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.bytes << " bytes, width " << row.width);
        EXPECT_EQ(Base64Encode(ByteVec(row.bytes, 0), row.width), row.expected);
    }
}

TEST(XMLUtil, SplitElementTextGivesTheNonEmptyRuns) {
    struct Row {
        TStr text;
        TStr delimiters;
        TStrVec tokens;
    };
    const Row rows[] = {
        {u"<bool>true</bool>", kElementDelimiters, {u"bool", u"true", u"/bool"}},
        {u"<struct.tagPOINT><x>10</x><y>-20</y></struct.tagPOINT>",
         kElementDelimiters,
         {u"struct.tagPOINT", u"x", u"10", u"/x", u"y", u"-20", u"/y", u"/struct.tagPOINT"}},
        {u"Hello <b>world</b>", kElementDelimiters, {u"Hello ", u"b", u"world", u"/b"}},
        {u"a<b>", kElementDelimiters, {u"a", u"b"}},
        {u"<<>><>", kElementDelimiters, {}},
        {u"", kElementDelimiters, {}},
        {u"> a <", kElementDelimiters, {u" a "}},
        {u"a<b", u"", {u"a<b"}},
        {u",a,,b,c", u",", {u"a", u"b", u"c"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.text));
        TStrVec tokens = {u"stale"};
        EXPECT_EQ(SplitElementText(row.text, row.delimiters, tokens),
                  static_cast<std::int32_t>(row.tokens.size()));
        EXPECT_EQ(tokens, row.tokens);
    }
}

TEST(XMLUtil, PointReaderTakesFieldsByPositionNameAndCase) {
    struct Row {
        int line;
        TStr text;
        LONG x;
        LONG y;
    };
    const Row rows[] = {
        {__LINE__, u"<STRUCT.TAGpoint><y>7</y><x>5</x></STRUCT.TAGpoint>", 5, 7},
        {__LINE__, u"<struct.tagPOINT><X>1</X><Y>2</Y></struct.tagPOINT>", 0, 0},
        {__LINE__, u"<struct.tagPOINT><y>3</y></struct.tagPOINT>", 0, 3},
        {__LINE__, u"<struct.tagPOINT><z>9</z><x>4</x><w>1</w></struct.tagPOINT>", 4, 0},
        {__LINE__, u"<struct.tagPOINT>x<x>5</x></struct.tagPOINT>", 0, 0}, // names at 1, 4, 7...
        {__LINE__, u"<struct.tagPOINT><x>5</x><y>6", 5, 0},     // a name needs two tokens behind
        {__LINE__, u"<struct.tagPOINT><x>5</x><y>6</y>", 5, 6}, //
        {__LINE__, u"<struct.tagPOINT><x>5</x><x>6</x></struct.tagPOINT>", 6, 0},
        {__LINE__, u"<struct.tagPOINT><x>12ab</x><y>abc</y></struct.tagPOINT>", 12, 0},
        {__LINE__, u"<struct.tagPOINT><x> +8</x><y>-0</y></struct.tagPOINT>", 8, 0},
        {__LINE__, u"<struct.tagPOINT><x>99999999999</x><y>-2147483649</y></struct.tagPOINT>",
         INT_MAX, INT_MIN},
        {__LINE__, u"<struct.tagPOINT>BQAAAAcAAAA=</struct.tagPOINT>", 5, 7},
        {__LINE__, u"<struct.tagPOINT>BQAA\r\nAAcAAAA</struct.tagPOINT>", 5, 7},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);
        const tagPOINT point = FromXMLElementPOINT(row.text);
        EXPECT_EQ(point.x, row.x);
        EXPECT_EQ(point.y, row.y);
    }
}

TEST(XMLUtil, RectBoolAndDoubleReadersTakeTheirForms) {
    const auto rect = [](const TStr& text) { return FieldsOf(FromXMLElementRECT(text)); };
    EXPECT_EQ(rect(u"<struct.tagRECT><bottom>4</bottom><right>3</right><top>2</top><left>1</left>"
                   u"</struct.tagRECT>"),
              Fields4({1, 2, 3, 4}));
    EXPECT_EQ(rect(u"<struct.tagrect><Left>1</Left><top>2</top></struct.tagrect>"),
              Fields4({0, 2, 0, 0}));
    EXPECT_EQ(rect(u"<struct.tagRECT>/////wIAAAAAAACA////fw==</struct.tagRECT>"),
              Fields4({-1, 2, INT_MIN, INT_MAX}));

    const std::pair<TStr, bool> bools[] = {
        {u"<bool>true</bool>", true},    {u"<BOOL>TRUE</BOOL>", true},
        {u"<Bool>fAlSe</Bool>", false},  {u"<bool>AQ==</bool>", true},
        {u"<bool>AA==</bool>", false},   {u"<bool>/w</bool>", true},
        {u"<bool>true</bool><x>", true}, {u"<bool>false<true>", false},
    };
    for (const auto& [text, value] : bools) {
        SCOPED_TRACE(Show(text));
        EXPECT_EQ(FromXMLElementBOOL(text), value);
    }
    EXPECT_EQ(FromXMLElement(u"<DOUBLE>AAAA\r\nAAAA+D8</DOUBLE>"), 1.5);
    EXPECT_EQ(FromXMLElement(u"<double>AAAAAAAAAsA=</double>"), -2.25);
}

TEST(XMLUtil, CorruptTextThrowsAPlainExcWithItsWords) {
    enum Reader { eBool, eDouble, ePoint, eRect };
    struct Row {
        Reader reader;
        TStr text;
        TStr words;
    };
    const Row rows[] = {
        {eBool, u"", kCorrupt},
        {eBool, u"true", kCorrupt},
        {eBool, u"<bool></bool>", kCorrupt},
        {eBool, u"<bool>maybe</bool>", kCorrupt}, // base64 of three bytes
        {eBool, u"<bool>A</bool>", kCorrupt},     // of none
        {eBool, u"<bool>AQE=</bool>", kCorrupt},
        {eBool, u"<double>AAAAAAAA+D8=</double>",
         u"Type mismatch for variant (encountered type )double, expected type bool)."},
        {eDouble, u"<double>AAAAAAAA</double>", kCorrupt},
        {eDouble, u"<double>AAAAAAAAAAAA</double>", kCorrupt},
        {eDouble, u"<double>true</double>", kCorrupt},
        {eDouble, u"<bool>true</bool>",
         u"Type mismatch for variant (encountered type )bool, expected type double)."},
        {ePoint, u"<struct tagPOINT><x>1</x></struct tagPOINT>",
         u"Type mismatch for variant (encountered type )struct tagPOINT, expected type "
         u"struct.tagPOINT)."},
        {ePoint, u"<struct.tagPOINT>BQAAAA==</struct.tagPOINT>", kCorrupt},
        {ePoint, u"<struct.tagPOINT>BQAAAAcAAAAJ</struct.tagPOINT>", kCorrupt},
        {ePoint, u"<struct.tagPOINT></struct.tagPOINT>", kCorrupt},
        {eRect, u"<struct.tagRECT>BQAAAAcAAAA=</struct.tagRECT>", kCorrupt},
        {eRect, u"<STRUCT.tagPoint><x>1</x></STRUCT.tagPoint>",
         u"Type mismatch for variant (encountered type )STRUCT.tagPoint, expected type "
         u"struct.tagRECT)."},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(Show(row.text));
        const TStr words = bvtest::ThrownText<mcExc>([&] {
            switch (row.reader) {
            case eBool:
                return (void)FromXMLElementBOOL(row.text);
            case eDouble:
                return (void)FromXMLElement(row.text);
            case ePoint:
                return (void)FromXMLElementPOINT(row.text);
            case eRect:
                return (void)FromXMLElementRECT(row.text);
            }
        });
        EXPECT_EQ(words, row.words);
    }
}

} // namespace
