// mcQueryStringParser: which pairs a URL or query gives (the edge cases of "?", "&" and "="),
// Dump's text, GetValue's out-parameter rule, and that Map hands out the live pairs.
#include "Core/Common/QueryStringParser.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(QueryString, PairsOfATextAndTheirDump) {
    struct Row {
        TStr url;
        TStr dump; // every kept pair in map order
    };
    const Row rows[] = {
        {u"page?a=1&b=2", u"a=1\nb=2\n"},
        {u"a=1&b=2", u"a=1\nb=2\n"},
        {u"?a=1?b=2", u"a=1?b=2\n"},
        {u"a=1&flag&b=", u"a=1\nb=\n"},
        {u"a=1&a=2", u"a=1\n"},
        {u"=x", u"=x\n"},
        {u"", u""},
        {u"http://host/page?", u""},
        {u"&&a=b=c&&", u"a=b=c\n"},
        {u"b=%20+&A=1&a=2", u"A=1\na=2\nb=%20+\n"}, // no decoding; case-sensitive names
        {u"p?x=\u00E9\u266A&y=1#frag", u"x=\u00E9\u266A\ny=1#frag\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.url.begin(), row.url.end()));
        mcQueryStringParser parser(row.url);
        EXPECT_EQ(parser.Dump(), row.dump);
    }
}

TEST(QueryString, GetValueWritesOnlyOnAHit) {
    const mcQueryStringParser parser(u"page?a=1&empty=&a=2");
    TStr value = u"sentinel";
    EXPECT_FALSE(parser.GetValue(u"A", &value));
    EXPECT_EQ(value, u"sentinel");
    EXPECT_FALSE(parser.GetValue(u"page?a", &value));
    EXPECT_TRUE(parser.GetValue(u"a", &value));
    EXPECT_EQ(value, u"1");
    EXPECT_TRUE(parser.GetValue(u"empty", &value));
    EXPECT_EQ(value, u"");
    // A null value asks only whether the name is there.
    EXPECT_TRUE(parser.GetValue(u"a", nullptr));
    EXPECT_FALSE(parser.GetValue(u"b", nullptr));
}

TEST(QueryString, MapIsTheLivePairs) {
    mcQueryStringParser parser(u"a=1");
    parser.Map().insert({u"b", u"2"});
    parser.Map().erase(u"a");
    TStr value;
    EXPECT_FALSE(parser.GetValue(u"a", &value));
    EXPECT_TRUE(parser.GetValue(u"b", &value));
    EXPECT_EQ(parser.Dump(), u"b=2\n");
}

} // namespace
