#include "Platform/Foundation/NSString.h"

#include "Support/Printing.h"
#include "Support/Thrown.h"

#include <gtest/gtest.h>

#include <unordered_set>

using support::reasonOf;

namespace {

const std::u16string loneLead(1, char16_t(0xd83d));
const std::u16string loneTrail(1, char16_t(0xde00));

}

TEST(NSString, IsAbsentUntilItHoldsAText)
{
    EXPECT_TRUE(NSString().isAbsent());
    EXPECT_TRUE(NSString(nullptr).isAbsent());
    EXPECT_TRUE(NSString(static_cast<const char16_t*>(nullptr)).isAbsent());
    EXPECT_FALSE(NSString(u"").isAbsent());
    EXPECT_FALSE(NSString(std::u16string()).isAbsent());
    EXPECT_FALSE(NSString());
    EXPECT_TRUE(NSString(u""));
}

TEST(NSString, ComparesUnitsForEquality)
{
    EXPECT_EQ(NSString(), NSString());
    EXPECT_NE(NSString(), NSString(u""));
    EXPECT_EQ(NSString(u"a"), NSString(std::u16string_view(u"a")));
    EXPECT_NE(NSString(u"é"), NSString(u"e\u0301"));
}

TEST(NSString, OrdersByUnitsWithAbsentFirst)
{
    const NSString ordered[] = {{}, u"", u"A", u"Aa", u"B", u"a", u"\U0001f600", u"\uffff"};
    for (size_t i = 0; i < std::size(ordered); ++i) {
        for (size_t j = 0; j < std::size(ordered); ++j)
            EXPECT_EQ(ordered[i] <=> ordered[j], i <=> j) << i << " " << j;
    }
}

TEST(NSString, HashesEqualTextsAlike)
{
    const std::unordered_set<NSString> set = {u"a", u"b", NSString(std::u16string(u"a"))};
    EXPECT_EQ(set.size(), 2u);
    EXPECT_TRUE(set.contains(u"b"));
}

TEST(NSString, CountsUnits)
{
    EXPECT_EQ(NSString().length(), 0u);
    EXPECT_EQ(NSString(u"\U0001f600").length(), 2u);
    EXPECT_EQ(NSString(u"a\U0001f600").characterAtIndex(1), 0xd83d);
    EXPECT_EQ(NSString(std::u16string(u"a\0b", 3)).length(), 3u);
}

TEST(NSStringUTF8, ReadsValidTextsOnly)
{
    const struct {
        std::string_view bytes;
        NSString text;
    } rows[] = {
        {"", u""},
        {"plain", u"plain"},
        {"gr\xc3\xbc\xc3\x9f", u"grüß"},
        {"\xe2\x82\xac", u"€"},
        {"\xf0\x9f\x98\x80", u"\U0001f600"},
        {std::string_view("a\0b", 3), std::u16string(u"a\0b", 3)},
        {"\xef\xbb\xbfx", u"\ufeffx"},
        {"\xff", {}},
        {"a\xc3", {}},
        {"\xc0\x80", {}},
        {"\xed\xa0\x80", {}},
        {"\xf4\x90\x80\x80", {}},
        {"\x80", {}},
    };
    for (const auto& [bytes, text] : rows)
        EXPECT_EQ(NSString::stringWithUTF8String(bytes), text) << bytes;
}

TEST(NSStringUTF8, RepairsInvalidTextsWithReplacementCharacters)
{
    const struct {
        std::string_view bytes;
        NSString text;
    } rows[] = {
        {"", u""},
        {"plain", u"plain"},
        {"a\xff"
         "b",
            u"a\ufffdb"},
        {"a\xe2\x82", u"a\ufffd"},
        {"\xed\xa0\x80", u"\ufffd\ufffd\ufffd"},
        {"\xff\xfe", u"\ufffd\ufffd"},
    };
    for (const auto& [bytes, text] : rows)
        EXPECT_EQ(NSString::stringWithRepairedUTF8(bytes), text) << bytes;
}

TEST(NSStringUTF8, WritesReplacementCharactersForUnpairedSurrogates)
{
    EXPECT_EQ(NSString(u"gr\u00fc\u00df \u20ac \U0001f600").UTF8(), "gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80");
    EXPECT_EQ(NSString(u"a" + loneLead + u"b" + loneTrail).UTF8(),
        "a\xef\xbf\xbd"
        "b\xef\xbf\xbd");
    EXPECT_EQ(NSString(loneTrail + loneLead).UTF8(), "\xef\xbf\xbd\xef\xbf\xbd");
    EXPECT_EQ(NSString().UTF8(), "");
}

TEST(NSStringUTF8, HasNoStrictFormWithUnpairedSurrogates)
{
    EXPECT_EQ(NSString(u"\U0001f600").strictUTF8(), "\xf0\x9f\x98\x80");
    EXPECT_EQ(NSString(u"").strictUTF8(), "");
    EXPECT_EQ(NSString(loneLead).strictUTF8(), std::nullopt);
    EXPECT_EQ(NSString(loneTrail).strictUTF8(), std::nullopt);
    EXPECT_EQ(NSString().strictUTF8(), std::nullopt);
}

TEST(NSStringParts, AreCutAtUnits)
{
    const NSString text = u"abcdef";
    EXPECT_EQ(text.substringToIndex(0), NSString(u""));
    EXPECT_EQ(text.substringToIndex(2), NSString(u"ab"));
    EXPECT_EQ(text.substringToIndex(6), text);
    EXPECT_EQ(text.substringFromIndex(0), text);
    EXPECT_EQ(text.substringFromIndex(4), NSString(u"ef"));
    EXPECT_EQ(text.substringFromIndex(6), NSString(u""));
    EXPECT_EQ(text.substringWithRange({1, 3}), NSString(u"bcd"));
    EXPECT_EQ(text.substringWithRange({6, 0}), NSString(u""));
    EXPECT_EQ(text.substringWithRange({0, 6}), text);
    EXPECT_EQ(NSString(u"\U0001f600").substringToIndex(1), NSString(loneLead));
}

TEST(NSStringParts, RaiseBeyondTheText)
{
    const NSString text = u"abc";
    EXPECT_EQ(reasonOf([&] { return text.substringToIndex(4); }),
        "NSRangeException: -[NSString substringToIndex:]: Index 4 out of bounds; string length 3");
    EXPECT_EQ(reasonOf([&] { return text.substringFromIndex(4); }),
        "NSRangeException: -[NSString substringFromIndex:]: Index 4 out of bounds; string length 3");
    EXPECT_EQ(reasonOf([&] {
        return text.substringWithRange({2, 2});
    }),
        "NSRangeException: -[NSString substringWithRange:]: Range {2, 2} out of bounds; string length 3");
    EXPECT_EQ(reasonOf([&] {
        return text.substringWithRange({1, UINT64_MAX});
    }),
        "NSRangeException: -[NSString substringWithRange:]: Range {1, 18446744073709551615} out of bounds; string length 3");
    EXPECT_EQ(reasonOf([&] {
        return text.substringWithRange({NSNotFound, 0});
    }),
        "NSRangeException: -[NSString substringWithRange:]: Range {9223372036854775807, 0} out of bounds; string length 3");
}

TEST(NSString, AppendsAndLeavesTheReceiverAlone)
{
    const NSString text = u"ab";
    EXPECT_EQ(text.stringByAppendingString(u"cd"), NSString(u"abcd"));
    EXPECT_EQ(text.stringByAppendingString({}), text);
    EXPECT_EQ(NSString().stringByAppendingString(u"cd"), NSString());
    EXPECT_EQ(text, NSString(u"ab"));
    EXPECT_EQ(NSString(loneLead).stringByAppendingString(loneTrail), NSString(u"\U0001f600"));
}

TEST(NSString, ChangesCase)
{
    const struct {
        NSString text;
        NSString lower;
        NSString upper;
    } rows[] = {
        {u"", u"", u""},
        {u"aB1@[`{", u"ab1@[`{", u"AB1@[`{"},
        {u"Straße ÄÖ", u"straße äö", u"STRASSE ÄÖ"},
        {u"ﬁ", u"ﬁ", u"FI"},
        {u"ΟΔΟΣ", u"οδος", u"ΟΔΟΣ"},
        {u"I\u0130i", u"ii\u0307i", u"I\u0130I"},
        {u"\U00010400\U00010428", u"\U00010428\U00010428", u"\U00010400\U00010400"},
        {u"A" + loneLead + u"é", u"a" + loneLead + u"é", u"A" + loneLead + u"É"},
        {{}, {}, {}},
    };
    for (const auto& [text, lower, upper] : rows) {
        EXPECT_EQ(text.lowercaseString(), lower);
        EXPECT_EQ(text.uppercaseString(), upper);
    }
    // Longer than its first buffer.
    EXPECT_EQ(NSString(std::u16string(1000, u'ΐ')).uppercaseString().length(), 3000u);
}

TEST(NSString, DecomposesCanonically)
{
    const struct {
        NSString text;
        NSString decomposed;
    } rows[] = {
        {u"plain", u"plain"},
        {u"é", u"e\u0301"},
        {u"ṩ", u"s\u0323\u0307"},
        {u"s\u0307\u0323", u"s\u0323\u0307"},
        {u"각", u"\u1100\u1161\u11a8"},
        {u"ﬁ", u"ﬁ"},
        {u"é" + loneTrail, u"e\u0301" + loneTrail},
        {u"", u""},
        {{}, {}},
    };
    for (const auto& [text, decomposed] : rows)
        EXPECT_EQ(text.decomposedStringWithCanonicalMapping(), decomposed);
}

TEST(NSStringFromRange, WritesLocationAndLengthInBraces)
{
    EXPECT_EQ(NSStringFromRange({5, 10}), NSString(u"{5, 10}"));
    EXPECT_EQ(NSStringFromRange({NSNotFound, 0}), NSString(u"{9223372036854775807, 0}"));
    EXPECT_EQ(NSStringFromRange({UINT64_MAX, UINT64_MAX}), NSString(u"{18446744073709551615, 18446744073709551615}"));
}

TEST(NSString, AnswersWithAbsentFalseOrZeroWhenItIsAbsent)
{
    const NSString none;
    EXPECT_TRUE(none.substringToIndex(3).isAbsent());
    EXPECT_TRUE(none.substringFromIndex(3).isAbsent());
    EXPECT_TRUE(none.substringWithRange({3, 4}).isAbsent());
    EXPECT_TRUE(none.stringByReplacingOccurrencesOfString(u"a", u"b").isAbsent());
    EXPECT_TRUE(none.componentsSeparatedByString(u"a").isAbsent());
    EXPECT_EQ(none.rangeOfString(u"a").location, NSNotFound);
    EXPECT_EQ(none.rangeOfString(u"a", 0, {4, 5}).location, NSNotFound);
    EXPECT_FALSE(none.hasPrefix(u""));
    EXPECT_FALSE(none.hasSuffix(u""));
    EXPECT_EQ(none.compare(u"a"), NSOrderedSame);
    EXPECT_EQ(none.caseInsensitiveCompare(u"a"), NSOrderedSame);
    EXPECT_EQ(none.localizedCompare(u"a"), NSOrderedSame);
    EXPECT_EQ(none.rangeOfComposedCharacterSequenceAtIndex(3), NSRange());
    EXPECT_EQ(none.lineRangeForRange({3, 4}), NSLineRange());
    EXPECT_EQ(none.integerValue(), 0);
    EXPECT_EQ(none.doubleValue(), 0);
    EXPECT_FALSE(none.boolValue());
    EXPECT_TRUE(none.dataUsingEncoding(NSUTF8StringEncoding, true).isAbsent());
    EXPECT_TRUE(none.lastPathComponent().isAbsent());
    EXPECT_TRUE(none.stringByDeletingLastPathComponent().isAbsent());
    EXPECT_TRUE(none.stringByAppendingPathComponent(u"a").isAbsent());
    EXPECT_TRUE(none.pathExtension().isAbsent());
    EXPECT_TRUE(none.stringByDeletingPathExtension().isAbsent());
    EXPECT_TRUE(none.stringByAppendingPathExtension(u"a").isAbsent());
    EXPECT_TRUE(none.pathComponents().isAbsent());
    EXPECT_TRUE(none.stringByStandardizingPath().isAbsent());
    EXPECT_TRUE(none.stringByExpandingTildeInPath().isAbsent());
    EXPECT_EQ(none.fileSystemRepresentation(), "");
}
