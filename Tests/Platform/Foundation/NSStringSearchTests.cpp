#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"
#include "Support/RandomText.h"

#include <gtest/gtest.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <vector>

static void PrintTo(const NSRange& range, std::ostream* out)
{
    PrintTo(NSStringFromRange(range), out);
}

namespace {

constexpr NSRange notFound = {NSNotFound, 0};

struct Row {
    const char16_t* text;
    const char16_t* pattern;
    uint64_t options;
    NSRange found;
};

void expectFound(std::span<const Row> rows)
{
    for (const auto& [text, pattern, options, found] : rows)
        EXPECT_EQ(NSString(text).rangeOfString(pattern, options), found)
            << NSString(text).UTF8() << " | " << NSString(pattern).UTF8() << " | " << options;
}

icu::UnicodeString decomposed(const icu::UnicodeString& text)
{
    UErrorCode status = U_ZERO_ERROR;
    return icu::Normalizer2::getNFDInstance(status)->normalize(text, status);
}

// The meaning of "the same" without NSLiteralSearch, by the book.
icu::UnicodeString keyOf(std::u16string_view text, bool ignoresCase)
{
    icu::UnicodeString key = decomposed(icu::UnicodeString(text.data(), static_cast<int32_t>(text.size())));
    return ignoresCase ? decomposed(key.foldCase()) : key;
}

// All ends of composed character sequences, 0 included.
std::vector<size_t> boundariesOf(const NSString& text)
{
    std::vector<size_t> boundaries = {0};
    while (boundaries.back() < text.length()) {
        const NSRange range = text.rangeOfComposedCharacterSequenceAtIndex(boundaries.back());
        boundaries.push_back(range.location + range.length);
    }
    return boundaries;
}

// Every stretch between boundaries is tried.
NSRange findByTrying(const NSString& text, const NSString& pattern, uint64_t options, NSRange range)
{
    const bool ignoresCase = options & NSCaseInsensitiveSearch;
    const icu::UnicodeString wanted = keyOf(pattern.units(), ignoresCase);
    NSRange found = notFound;
    if (pattern.length() == 0)
        return found;
    const std::vector<size_t> boundaries = boundariesOf(text);
    for (const size_t start : boundaries) {
        for (const size_t end : boundaries) {
            if (end <= start || start < range.location || end > range.location + range.length)
                continue;
            const bool isAtEdge = (options & NSBackwardsSearch) ? end == range.location + range.length : start == range.location;
            if ((options & NSAnchoredSearch) && !isAtEdge)
                continue;
            if (keyOf(text.units().substr(start, end - start), ignoresCase) == wanted) {
                const NSRange match = {start, end - start};
                if (!(options & NSBackwardsSearch))
                    return match;
                if (found == notFound || end > found.location + found.length)
                    found = match;
            }
        }
    }
    return found;
}

}

TEST(NSStringRangeOfString, FindsTheFirstOrTheLastOccurrence)
{
    const Row rows[] = {
        {u"abcabc", u"bc", 0, {1, 2}},
        {u"abcabc", u"bc", NSBackwardsSearch, {4, 2}},
        {u"abcabc", u"bc", NSLiteralSearch, {1, 2}},
        {u"abcabc", u"bc", NSLiteralSearch | NSBackwardsSearch, {4, 2}},
        {u"abcabc", u"x", 0, notFound},
        {u"abc", u"abcd", 0, notFound},
        {u"abc", u"abc", 0, {0, 3}},
        {u"aaaa", u"aa", 0, {0, 2}},
        {u"aaaa", u"aa", NSBackwardsSearch, {2, 2}},
        {u"", u"a", 0, notFound},
        {u"abc", u"", 0, notFound},
        {u"", u"", 0, notFound},
        {u"aabaabaac", u"aabaac", 0, {3, 6}},
        {u"a\r\nb", u"\n", 0, {2, 1}},
        {u"a\r\nb", u"\r", 0, {1, 1}},
    };
    expectFound(rows);
    EXPECT_EQ(NSString(u"abc").rangeOfString({}), notFound);
}

TEST(NSStringRangeOfString, StaysAtTheEdgeWhenAnchored)
{
    const uint64_t backwards = NSAnchoredSearch | NSBackwardsSearch;
    const Row rows[] = {
        {u"abcab", u"ab", NSAnchoredSearch, {0, 2}},
        {u"abcab", u"ab", backwards, {3, 2}},
        {u"abcab", u"bc", NSAnchoredSearch, notFound},
        {u"abcab", u"ca", backwards, notFound},
        {u"abcab", u"ab", NSAnchoredSearch | NSLiteralSearch, {0, 2}},
        {u"abcab", u"ab", backwards | NSLiteralSearch, {3, 2}},
        {u"abcab", u"b", NSAnchoredSearch | NSLiteralSearch, notFound},
        {u"abcab", u"a", backwards | NSLiteralSearch, notFound},
        {u"ABcab", u"ab", NSAnchoredSearch | NSCaseInsensitiveSearch, {0, 2}},
        {u"aab", u"ab", NSAnchoredSearch | NSCaseInsensitiveSearch, notFound},
        {u"a", u"ab", NSAnchoredSearch, notFound},
    };
    expectFound(rows);
}

TEST(NSStringRangeOfString, FindsCanonicallyEquivalentTexts)
{
    const Row rows[] = {
        {u"caf\u00e9s", u"e\u0301", 0, {3, 1}},
        {u"cafe\u0301s", u"\u00e9", 0, {3, 2}},
        {u"cafe\u0301s", u"\u00e9", NSBackwardsSearch, {3, 2}},
        {u"cafe\u0301s", u"\u00e9", NSLiteralSearch, notFound},
        {u"s\u0307\u0323", u"\u1e69", 0, {0, 3}},
        {u"x\uac01y", u"\u1100\u1161\u11a8", 0, {1, 1}},
        {u"x\u1100\u1161\u11a8y", u"\uac01", 0, {1, 3}},
        {u"\u212b", u"\u00c5", 0, {0, 1}},
    };
    expectFound(rows);
}

TEST(NSStringRangeOfString, NeverCutsAComposedSequence)
{
    const Row rows[] = {
        {u"e\u0301", u"e", 0, notFound},
        {u"e\u0301", u"\u0301", 0, notFound},
        {u"e\u0301e", u"e", 0, {2, 1}},
        {u"ee\u0301", u"e", NSBackwardsSearch, {0, 1}},
        {u"e\u0301", u"e", NSLiteralSearch, {0, 1}},
        {u"\U0001f468\u200d\U0001f469", u"\U0001f468", 0, notFound},
        {u"\U0001f1e9\U0001f1ea\U0001f1eb\U0001f1f7", u"\U0001f1ea\U0001f1eb", 0, notFound},
        {u"\U0001f1e9\U0001f1ea\U0001f1eb\U0001f1f7", u"\U0001f1eb\U0001f1f7", 0, {4, 4}},
        {u"\U0001f44d\U0001f3fd", u"\U0001f44d", 0, notFound},
        {u"straße", u"s", NSBackwardsSearch | NSCaseInsensitiveSearch, {0, 1}},
    };
    expectFound(rows);
}

TEST(NSStringRangeOfString, CanIgnoreCase)
{
    const Row rows[] = {
        {u"abCDef", u"Cd", NSCaseInsensitiveSearch, {2, 2}},
        {u"abCDef", u"Cd", NSCaseInsensitiveSearch | NSLiteralSearch, {2, 2}},
        {u"abCDef", u"Cd", 0, notFound},
        {u"STRASSE", u"straße", NSCaseInsensitiveSearch, {0, 7}},
        {u"straße", u"SS", NSCaseInsensitiveSearch, {4, 1}},
        {u"x\u00c9", u"e\u0301", NSCaseInsensitiveSearch, {1, 1}},
        {u"x\u00c9", u"e\u0301", NSCaseInsensitiveSearch | NSLiteralSearch, notFound},
        {u"xΣΑΣ", u"σας", NSCaseInsensitiveSearch, {1, 3}},
        {u"5\u212a", u"k", NSCaseInsensitiveSearch, {1, 1}},
        {u"\U00010400", u"\U00010428", NSCaseInsensitiveSearch, {0, 2}},
        {u"\U00010400", u"\U00010428", NSCaseInsensitiveSearch | NSLiteralSearch, {0, 2}},
        {u"a\u0301B", u"b", NSCaseInsensitiveSearch | NSLiteralSearch, {2, 1}},
    };
    expectFound(rows);
}

TEST(NSStringRangeOfString, CanIgnoreDiacriticsAndWidth)
{
    const uint64_t prefix = NSAnchoredSearch | NSDiacriticInsensitiveSearch | NSWidthInsensitiveSearch;
    const Row rows[] = {
        {u"Élan", u"E", prefix, {0, 1}},
        {u"E\u0301lan", u"El", prefix, {0, 3}},
        {u"Elan", u"\u00c9l", prefix, {0, 2}},
        {u"élan", u"E", prefix, notFound},
        {u"élan", u"E", prefix | NSCaseInsensitiveSearch, {0, 1}},
        {u"ＡＢＣ", u"AB", prefix, {0, 2}},
        {u"ＡＢＣ", u"ab", prefix, notFound},
        {u"ＡＢＣ", u"ab", prefix | NSCaseInsensitiveSearch, {0, 2}},
        {u"ＡＢＣ", u"B", NSWidthInsensitiveSearch, {1, 1}},
        {u"ＡＢＣ", u"B", 0, notFound},
        {u"\uff76\uff9e", u"ガ", NSWidthInsensitiveSearch, {0, 2}},
        {u"ガ", u"\uff76\uff9e", NSWidthInsensitiveSearch, {0, 1}},
        {u"a\u3000b", u" ", NSWidthInsensitiveSearch, {1, 1}},
        {u"naïve", u"i", NSDiacriticInsensitiveSearch, {2, 1}},
        {u"naïve", u"i", NSDiacriticInsensitiveSearch | NSLiteralSearch, {2, 1}},
        {u"naïve", u"i", 0, notFound},
        {u"a\u0301", u"\u0301", NSDiacriticInsensitiveSearch, notFound},
    };
    expectFound(rows);
}

TEST(NSStringRangeOfString, StaysInsideTheRange)
{
    const NSString text = u"ab\u0301abe\u0301";
    EXPECT_EQ(text.rangeOfString(u"a", 0, {1, 5}), (NSRange{3, 1}));
    EXPECT_EQ(text.rangeOfString(u"a", 0, {1, 2}), notFound);
    EXPECT_EQ(text.rangeOfString(u"a", NSBackwardsSearch, {0, 3}), (NSRange{0, 1}));
    EXPECT_EQ(text.rangeOfString(u"a", NSLiteralSearch, {1, 5}), (NSRange{3, 1}));
    EXPECT_EQ(text.rangeOfString(u"ab", NSLiteralSearch, {0, 1}), notFound);
    EXPECT_EQ(text.rangeOfString(u"a", NSAnchoredSearch, {3, 2}), (NSRange{3, 1}));
    EXPECT_EQ(text.rangeOfString(u"a", 0, {7, 0}), notFound);
    // The text around the range still counts: what the range cuts is not found.
    EXPECT_EQ(text.rangeOfString(u"e", 0, {5, 1}), notFound);
    EXPECT_EQ(text.rangeOfString(u"b", NSAnchoredSearch, {1, 1}), notFound);
    EXPECT_EQ(text.rangeOfString(u"b", NSLiteralSearch, {1, 1}), (NSRange{1, 1}));
}

TEST(NSStringRangeOfString, RaisesForARangeBeyondTheText)
{
    const NSString text = u"abc";
    EXPECT_THROW((void)text.rangeOfString(u"a", 0, {4, 0}), NSException);
    EXPECT_THROW((void)text.rangeOfString(u"a", 0, {1, 3}), NSException);
    EXPECT_THROW((void)text.rangeOfString(u"a", 0, {1, UINT64_MAX}), NSException);
}

TEST(NSStringRangeOfString, FindsUnpairedSurrogates)
{
    const std::u16string lead(1, char16_t(0xd83d));
    const std::u16string trail(1, char16_t(0xde00));
    EXPECT_EQ(NSString(u"a" + lead + u"b").rangeOfString(lead), (NSRange{1, 1}));
    EXPECT_EQ(NSString(u"a" + trail + u"b").rangeOfString(trail, NSBackwardsSearch), (NSRange{1, 1}));
    EXPECT_EQ(NSString(u"\U0001f600").rangeOfString(lead), notFound);
    EXPECT_EQ(NSString(u"\U0001f600").rangeOfString(trail), notFound);
    EXPECT_EQ(NSString(u"\U0001f600").rangeOfString(trail, NSLiteralSearch), (NSRange{1, 1}));
}

TEST(NSStringRangeOfString, AgreesWithTryingEveryStretchOfRandomTexts)
{
    const uint64_t seed = support::randomSeed();
    SCOPED_TRACE("TW_SEED=" + std::to_string(seed));
    support::RandomText random(seed);
    for (int round = 0; round < 6000; ++round) {
        const NSString text = random.text(10);
        // Half of the patterns are taken from the text, in another composition now and then.
        NSString pattern = random.text(2);
        if (random.chance(2) && text.length() > 0) {
            const size_t start = random.below(text.length());
            pattern = text.substringWithRange({start, 1 + random.below(text.length() - start)});
            if (random.chance(2))
                pattern = pattern.decomposedStringWithCanonicalMapping();
            if (random.chance(3))
                pattern = pattern.uppercaseString();
        }
        const size_t location = random.chance(2) ? 0 : random.below(text.length() + 1);
        const NSRange range = {
            location, random.chance(2) ? text.length() - location : random.below(text.length() - location + 1)};
        for (const uint64_t options : {0, 1, 4, 5, 8, 9, 12, 13}) {
            ASSERT_EQ(text.rangeOfString(pattern, options, range), findByTrying(text, pattern, options, range))
                << text.dataUsingEncoding(NSNonLossyASCIIStringEncoding).characters() << " | "
                << pattern.dataUsingEncoding(NSNonLossyASCIIStringEncoding).characters() << " | " << options << " "
                << NSStringFromRange(range).UTF8();
        }
    }
}

TEST(NSStringRangeOfString, AgreesWithTheStandardLibraryOnLiteralSearches)
{
    const uint64_t seed = support::randomSeed();
    SCOPED_TRACE("TW_SEED=" + std::to_string(seed));
    support::RandomText random(seed);
    for (int round = 0; round < 5000; ++round) {
        const NSString text = random.shortText(u"ab", 200);
        const NSString pattern = random.shortText(u"ab", 30);
        const size_t first = pattern.length() ? text.units().find(pattern.units()) : std::u16string_view::npos;
        const size_t last = pattern.length() ? text.units().rfind(pattern.units()) : std::u16string_view::npos;
        const auto rangeAt = [&](size_t start) {
            return start == std::u16string_view::npos ? notFound : NSRange{start, pattern.length()};
        };
        ASSERT_EQ(text.rangeOfString(pattern, NSLiteralSearch), rangeAt(first));
        ASSERT_EQ(text.rangeOfString(pattern, NSLiteralSearch | NSBackwardsSearch), rangeAt(last));
        ASSERT_EQ(text.rangeOfString(pattern), rangeAt(first));
        ASSERT_EQ(text.rangeOfString(pattern, NSBackwardsSearch), rangeAt(last));
    }
}

TEST(NSStringPrefix, IsFoundAtTheStart)
{
    EXPECT_TRUE(NSString(u"abc").hasPrefix(u"ab"));
    EXPECT_TRUE(NSString(u"abc").hasPrefix(u"abc"));
    EXPECT_TRUE(NSString(u"\u00e9a").hasPrefix(u"e\u0301"));
    EXPECT_FALSE(NSString(u"abc").hasPrefix(u"b"));
    EXPECT_FALSE(NSString(u"abc").hasPrefix(u"A"));
    EXPECT_FALSE(NSString(u"abc").hasPrefix(u""));
    EXPECT_FALSE(NSString(u"abc").hasPrefix({}));
    EXPECT_FALSE(NSString(u"e\u0301").hasPrefix(u"e"));
}

TEST(NSStringSuffix, IsFoundAtTheEnd)
{
    EXPECT_TRUE(NSString(u"abc").hasSuffix(u"bc"));
    EXPECT_TRUE(NSString(u"abc").hasSuffix(u"abc"));
    EXPECT_TRUE(NSString(u"a\u00e9").hasSuffix(u"e\u0301"));
    EXPECT_FALSE(NSString(u"abc").hasSuffix(u"b"));
    EXPECT_FALSE(NSString(u"abc").hasSuffix(u""));
    EXPECT_FALSE(NSString(u"abc").hasSuffix({}));
    EXPECT_FALSE(NSString(u"e\u0301").hasSuffix(u"\u0301"));
}

TEST(NSStringByReplacing, ReplacesEveryOccurrence)
{
    const struct {
        const char16_t* text;
        const char16_t* target;
        const char16_t* replacement;
        uint64_t options;
        const char16_t* result;
    } rows[] = {
        {u"a/b/c", u"/", u":", NSLiteralSearch, u"a:b:c"},
        {u"a\r\nb\r\n", u"\r\n", u"\n", NSLiteralSearch, u"a\nb\n"},
        {u"aaa", u"aa", u"b", NSLiteralSearch, u"ba"},
        {u"abc", u"x", u"y", NSLiteralSearch, u"abc"},
        {u"abc", u"", u"y", NSLiteralSearch, u"abc"},
        {u"abcabc", u"b", u"", NSLiteralSearch, u"acac"},
        {u"aaa", u"a", u"aa", NSLiteralSearch, u"aaaaaa"},
        {u"/\u0301", u"/", u":", NSLiteralSearch, u":\u0301"},
        {u"/\u0301", u"/", u":", 0, u"/\u0301"},
        {u"aAa", u"a", u"-", NSCaseInsensitiveSearch, u"---"},
        {u"aAa", u"a", u"-", NSCaseInsensitiveSearch | NSBackwardsSearch | NSAnchoredSearch, u"---"},
        {u"\u00e9e\u0301e", u"\u00e9", u"x", 0, u"xxe"},
        {u"\u00e9e\u0301e", u"\u00e9", u"x", NSLiteralSearch, u"xe\u0301e"},
        {u"", u"a", u"b", NSLiteralSearch, u""},
    };
    for (const auto& [text, target, replacement, options, result] : rows)
        EXPECT_EQ(NSString(text).stringByReplacingOccurrencesOfString(target, replacement, options), NSString(result))
            << NSString(text).UTF8();
    EXPECT_EQ(NSString(u"/\u0301a/").stringByReplacingOccurrencesOfString(u"/", u":"), NSString(u":\u0301a:"));
    EXPECT_EQ(NSString(u"aba").stringByReplacingOccurrencesOfString(u"a", {}), NSString(u"b"));
    EXPECT_EQ(NSString(u"aba").stringByReplacingOccurrencesOfString({}, u"x"), NSString(u"aba"));
}

TEST(NSStringComponents, AreThePiecesBetweenSeparators)
{
    const struct {
        const char16_t* text;
        const char16_t* separator;
        NSArray components;
    } rows[] = {
        {u"a,b,c", u",", {u"a", u"b", u"c"}},
        {u",a,", u",", {u"", u"a", u""}},
        {u"a,,b", u",", {u"a", u"", u"b"}},
        {u"abc", u",", {u"abc"}},
        {u"", u",", {u""}},
        {u",", u",", {u"", u""}},
        {u"aXXbXX", u"XX", {u"a", u"b", u""}},
        {u"XXX", u"XX", {u"", u"X"}},
        {u"a \u0301b", u" ", {u"a", u"\u0301b"}},
        {u"abc", u"", {u"abc"}},
    };
    for (const auto& [text, separator, components] : rows)
        EXPECT_EQ(NSString(text).componentsSeparatedByString(separator), components) << NSString(text).UTF8();
    EXPECT_EQ(NSString(u"abc").componentsSeparatedByString({}), NSArray{u"abc"});
}
