#include "QVRStringPercentEscapes.h"

#include "Support/Printing.h"

#include <gtest/gtest.h>

namespace {

const NSString halfPair = std::u16string(1, char16_t(0xd83d));

}

TEST(QVRDecodePercentEscapes, DecodesUTF8)
{
    const struct {
        NSString string;
        NSString expected;
    } rows[] = {
        {u"a%20b", u"a b"},
        {u"%41%62", u"Ab"},
        {u"caf%C3%A9", u"caf\u00e9"},
        {u"caf%c3%a9", u"caf\u00e9"},
        {u"%E2%82%AC", u"\u20ac"},
        {u"%F0%9F%98%80!", u"\U0001f600!"},
        {u"a+b", u"a+b"},
        {u"%25%34%31", u"%41"},
        {u"%00", std::u16string(1, u'\0')},
        {u"plain \u00e9", u"plain \u00e9"},
        {u"", u""},
        {NSString(), NSString()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrDecodePercentEscapes(row.string), row.expected) << row.string.UTF8();
}

TEST(QVRDecodePercentEscapes, LeavesWhatIsNoEscapeAsItIs)
{
    const NSString text = halfPair.stringByAppendingString(u"%41");
    EXPECT_EQ(qvrDecodePercentEscapes(text), halfPair.stringByAppendingString(u"A"));
}

TEST(QVRDecodePercentEscapes, IsAbsentForMalformedEscapesAndForInvalidUTF8)
{
    for (const char16_t* text : {u"%", u"a%", u"%4", u"a%4", u"%G1", u"%1G", u"%%41", u"%-1", u"% 1", u"%\uff11\uff11", u"%FF",
             u"%C3", u"%C3x", u"%C3\u00a9", u"%A9", u"%C0%80", u"%E2%82", u"%ED%A0%80", u"%F4%90%80%80", u"%41%"})
        EXPECT_TRUE(qvrDecodePercentEscapes(text).isAbsent()) << NSString(text).UTF8();
}

TEST(QVRDecodePercentEscapesKeepingEscaped, KeepsTheGivenCharactersAsTheyWereWritten)
{
    const struct {
        NSString string;
        NSString characters;
        NSString expected;
    } rows[] = {
        {u"a%2Fb%20c", u"/", u"a%2Fb c"},
        {u"a%2fb%20c", u"/", u"a%2fb c"},
        {u"%2F%3F%23", u"/#", u"%2F?%23"},
        {u"caf%C3%a9%20%C3%A8", u"\u00e9", u"caf%C3%a9 \u00e8"},
        {u"%F0%9F%98%80%F0%9F%98%81", u"\U0001f600", u"%F0%9F%98%80\U0001f601"},
        {u"%25", u"%", u"%25"},
        {u"a%2Fb", u"", u"a/b"},
        {u"a%2Fb", NSString(), u"a%2Fb"},
        {u"a%2Fb%FF", u"/", NSString()},
        {NSString(), u"/", NSString()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrDecodePercentEscapesKeepingEscaped(row.string, row.characters), row.expected) << row.string.UTF8();
}

TEST(QVREncodeForQueryString, EscapesWhatMayNotStandInAnAddressAndTheTwoDelimiters)
{
    const struct {
        NSString string;
        NSString expected;
    } rows[] = {
        {u"a&b=c", u"a%26b%3Dc"},
        {u"a b", u"a%20b"},
        {u";/?:@+$,", u";/?:@+$,"},
        {u"-_.!~*'()", u"-_.!~*'()"},
        {u"AZaz09", u"AZaz09"},
        {u"%41", u"%2541"},
        {u"\"#<>[]\\^`{|}", u"%22%23%3C%3E%5B%5D%5C%5E%60%7B%7C%7D"},
        {u"caf\u00e9", u"caf%C3%A9"},
        {u"\U0001f600", u"%F0%9F%98%80"},
        {std::u16string({0, 0x1f, 0x7f}), u"%00%1F%7F"},
        {u"", u""},
        {halfPair, NSString()},
        {NSString(), NSString()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrEncodeForQueryString(row.string), row.expected) << row.string.UTF8();
}

TEST(QVREncodeURLKeepingUnescaped, LeavesTheGivenCharactersAlone)
{
    const struct {
        NSString string;
        NSString characters;
        NSString expected;
    } rows[] = {
        {u"a b#c%20", u"#%", u"a%20b#c%20"},
        {u"a&b=c", u"", u"a&b=c"},
        {u"a b", NSString(), u"a%20b"},
        {u"caf\u00e9 \u00e8", u"\u00e9", u"caf\u00e9%20%C3%A8"},
        {u"\U0001f600\U0001f601", u"\U0001f601", u"%F0%9F%98%80\U0001f601"},
        {halfPair, u"a", NSString()},
        {halfPair, halfPair, halfPair},
        {NSString(), u"a", NSString()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrEncodeURLKeepingUnescaped(row.string, row.characters), row.expected) << row.string.UTF8();
}

TEST(QVRQueryStringDictionary, TakesPiecesOfExactlyTwoParts)
{
    const struct {
        NSString string;
        NSDictionary expected;
    } rows[] = {
        {u"a=1&b&c=2=3&d=%41", {{u"a", u"1"}, {u"d", u"A"}}},
        {u"a=1&a=2", {{u"a", u"2"}}},
        {u"a+b=c+d", {{u"a+b", u"c+d"}}},
        {u"a=", {{u"a", u""}}},
        {u"=1", {{u"", u"1"}}},
        {u"&&a=1&", {{u"a", u"1"}}},
        {u"a%3D=b%26", {{u"a=", u"b&"}}},
        {u"a=%FF&b=%4&%=c&d=1", {{u"d", u"1"}}},
        {u"", NSDictionary::dictionary()},
        {u"=", {{u"", u""}}},
        {NSString(), NSDictionary()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrQueryStringDictionary(row.string), row.expected) << row.string.UTF8();
}

TEST(QVRQueryStringWithDictionary, SortsByNameWithoutRegardToCase)
{
    EXPECT_EQ(qvrQueryStringWithDictionary({{u"b", u"2"}, {u"A", u"1"}, {u"c", u"3"}}), NSString(u"A=1&b=2&c=3"));
    EXPECT_EQ(qvrQueryStringFromEscapedPairs({{u"b", u"2"}, {u"A", u"1"}, {u"c", u"3"}}), NSString(u"A=1&b=2&c=3"));
}

TEST(QVRQueryStringWithDictionary, EscapesAsQueryItemsDoAndThenSemicolonAndPlus)
{
    const struct {
        NSString value;
        NSString expected;
    } rows[] = {
        {u"a;b+c", u"k=a%3Bb%2Bc"},
        {u"a&b=c", u"k=a%26b%3Dc"},
        {u"a b%", u"k=a%20b%25"},
        {u"/?:@", u"k=/?:@"},
        {u"caf\u00e9#", u"k=caf%C3%A9%23"},
        {u"", u"k="},
        {halfPair, u"k=%EF%BF%BD"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(qvrQueryStringWithDictionary({{u"k", row.value}}), row.expected) << row.value.UTF8();
        EXPECT_EQ(qvrQueryStringFromQueryItems({{u"k", row.value}}), row.expected) << row.value.UTF8();
    }
    EXPECT_EQ(qvrQueryStringWithDictionary({{u"n&=+", 7}}), NSString(u"n%26%3D%2B=7"));
}

TEST(QVRQueryStringFromEscapedPairs, LeavesSemicolonAndPlus)
{
    EXPECT_EQ(qvrQueryStringFromEscapedPairs({{u"k&", u"a;b+c=d"}, {u"b", 7}}), NSString(u"b=7&k%26=a;b+c%3Dd"));
    EXPECT_EQ(qvrQueryStringFromEscapedPairs({{u"k", halfPair}}), NSString(u"k=%EF%BF%BD"));
}

TEST(QVRQueryStringWithDictionary, IsEmptyForNoEntries)
{
    EXPECT_EQ(qvrQueryStringWithDictionary(NSDictionary::dictionary()), NSString(u""));
    EXPECT_EQ(qvrQueryStringFromEscapedPairs(NSDictionary::dictionary()), NSString(u""));
    EXPECT_TRUE(qvrQueryStringWithDictionary(NSDictionary()).isAbsent());
    EXPECT_TRUE(qvrQueryStringFromEscapedPairs(NSDictionary()).isAbsent());
}

TEST(QVRQueryStringWithDictionary, IsReadBackAsTheSameEntries)
{
    const NSDictionary entries = {
        {u"a b", u"1&2"}, {u"\u00e9", u"=;+"}, {u"%41", u"100%"}, {u"#", u""}, {u"\U0001f600", u"/?"}, {u"x[]", u"\""}};
    EXPECT_EQ(qvrQueryStringDictionary(qvrQueryStringFromQueryItems(entries)), entries);
    EXPECT_EQ(qvrQueryStringDictionary(qvrQueryStringFromEscapedPairs(entries)), entries);
}
