#include "Platform/Foundation/ComposedCharacterSequences.h"

#include "Platform/Foundation/NSException.h"
#include "Support/Printing.h"
#include "Support/RandomText.h"

#include <gtest/gtest.h>
#include <unicode/brkiter.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <memory>

static void PrintTo(const NSRange& range, std::ostream* out)
{
    PrintTo(NSStringFromRange(range), out);
}

namespace {

const std::u16string lead(1, char16_t(0xd83d));
const std::u16string trail(1, char16_t(0xde00));

std::vector<NSRange> forwards(std::u16string_view text)
{
    std::vector<NSRange> ranges;
    ComposedCharacterSequences sequences(text);
    while (const auto range = sequences.next())
        ranges.push_back(*range);
    EXPECT_EQ(sequences.position(), text.size());
    return ranges;
}

std::vector<NSRange> backwards(std::u16string_view text)
{
    std::vector<NSRange> ranges;
    ComposedCharacterSequences sequences(text, text.size());
    while (const auto range = sequences.previous())
        ranges.push_back(*range);
    EXPECT_EQ(sequences.position(), 0u);
    std::reverse(ranges.begin(), ranges.end());
    return ranges;
}

bool isUnpaired(std::u16string_view text, size_t index)
{
    if (U16_IS_LEAD(text[index]))
        return index + 1 == text.size() || !U16_IS_TRAIL(text[index + 1]);
    return U16_IS_TRAIL(text[index]) && (index == 0 || !U16_IS_LEAD(text[index - 1]));
}

// ICU's clusters of the whole text, with CR LF and unpaired surrogates taken apart.
std::vector<NSRange> clustersOf(std::u16string_view text)
{
    UErrorCode status = U_ZERO_ERROR;
    static const std::unique_ptr<icu::BreakIterator> iterator(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    iterator->setText(icu::UnicodeString(text.data(), static_cast<int32_t>(text.size())));
    std::vector<NSRange> ranges;
    size_t start = 0;
    for (int32_t end = iterator->next(); end != icu::BreakIterator::DONE; end = iterator->next()) {
        for (size_t index = start + 1; index < static_cast<size_t>(end); ++index) {
            if (text.substr(index - 1, 2) == u"\r\n" || isUnpaired(text, index) || isUnpaired(text, index - 1)) {
                ranges.push_back({start, index - start});
                start = index;
            }
        }
        ranges.push_back({start, static_cast<size_t>(end) - start});
        start = static_cast<size_t>(end);
    }
    return ranges;
}

}

TEST(ComposedCharacterSequences, KeepTogetherWhatReadersSeeAsOneCharacter)
{
    const struct {
        const char16_t* text;
        std::vector<uint64_t> lengths;
    } rows[] = {
        {u"", {}},
        {u"abc", {1, 1, 1}},
        {u"e\u0301x", {2, 1}},
        {u"a\u0323\u0302\u0301", {4}},
        {u"\u0301a", {1, 1}},
        {u"\n\u0301", {1, 1}},
        {u"\r\n", {1, 1}},
        {u"\n\r", {1, 1}},
        {u"\U0001f600\U0001f600", {2, 2}},
        {u"\U0001f44d\U0001f3fd", {4}},
        {u"\U0001f468\u200d\U0001f469\u200d\U0001f467\u200d\U0001f466", {11}},
        {u"\U0001f1e9\U0001f1ea\U0001f1eb\U0001f1f7\U0001f1ec", {4, 4, 2}},
        {u"1\ufe0f\u20e3", {3}},
        {u"\u2764\ufe0fa", {2, 1}},
        {u"\u1100\u1161\u11a8\u1100", {3, 1}},
        {u"\uac00\u11a8\uac01", {2, 1}},
        {u"\u0928\u093f", {2}},
        {u"\u0e33\u0e01", {1, 1}},
        {u"\u0600a", {2}},
        {u"a\u200db", {2, 1}},
        {u"日本\u3099語", {1, 2, 1}},
    };
    for (const auto& [text, lengths] : rows) {
        std::vector<NSRange> expected;
        uint64_t location = 0;
        for (const uint64_t length : lengths) {
            expected.push_back({location, length});
            location += length;
        }
        EXPECT_EQ(forwards(text), expected) << NSString(text).UTF8();
        EXPECT_EQ(backwards(text), expected) << NSString(text).UTF8();
        for (const NSRange& range : expected) {
            for (uint64_t index = range.location; index < range.location + range.length; ++index)
                EXPECT_EQ(NSString(text).rangeOfComposedCharacterSequenceAtIndex(index), range) << NSString(text).UTF8();
        }
    }
}

TEST(ComposedCharacterSequences, TakeEachUnpairedSurrogateForItself)
{
    const std::vector<NSRange> singles = {{0, 1}, {1, 1}, {2, 1}};
    for (const std::u16string& text :
        {u"a" + lead + u"b", lead + lead + u"b", trail + lead + u"b", u"a" + trail + trail, trail + u"b" + lead}) {
        EXPECT_EQ(forwards(text), singles);
        EXPECT_EQ(backwards(text), singles);
    }
    EXPECT_EQ(forwards(lead + u"\u0301").size(), 2u);
    EXPECT_EQ(backwards(u"\u0600" + trail + u"\u200d").size(), 3u);
}

TEST(ComposedCharacterSequences, RaiseForAnIndexBeyondTheText)
{
    EXPECT_THROW((void)NSString(u"abc").rangeOfComposedCharacterSequenceAtIndex(3), NSException);
    EXPECT_THROW((void)NSString(u"").rangeOfComposedCharacterSequenceAtIndex(0), NSException);
}

TEST(ComposedCharacterSequences, StartBeforeTheSequenceThatHoldsThePosition)
{
    const NSString text = u"ae\u0301b";
    EXPECT_EQ(ComposedCharacterSequences(text.units(), 0).position(), 0u);
    EXPECT_EQ(ComposedCharacterSequences(text.units(), 1).position(), 1u);
    EXPECT_EQ(ComposedCharacterSequences(text.units(), 2).position(), 1u);
    EXPECT_EQ(ComposedCharacterSequences(text.units(), 3).position(), 3u);
    EXPECT_EQ(ComposedCharacterSequences(text.units(), 4).position(), 4u);
    EXPECT_EQ(ComposedCharacterSequences(text.units(), 99).position(), 4u);
    ComposedCharacterSequences sequences(text.units(), 2);
    EXPECT_EQ(sequences.previous(), (NSRange{0, 1}));
    EXPECT_EQ(sequences.previous(), std::nullopt);
    EXPECT_EQ(sequences.next(), (NSRange{0, 1}));
    EXPECT_EQ(sequences.next(), (NSRange{1, 2}));
}

TEST(ComposedCharacterSequences, AreTheClustersOfUnicodeInRandomTexts)
{
    const uint64_t seed = support::randomSeed();
    SCOPED_TRACE("TW_SEED=" + std::to_string(seed));
    support::RandomText random(seed);
    for (int round = 0; round < 20000; ++round) {
        const NSString text = random.text(14);
        const std::vector<NSRange> expected = clustersOf(text.units());
        ASSERT_EQ(forwards(text.units()), expected) << text.dataUsingEncoding(NSNonLossyASCIIStringEncoding).characters();
        ASSERT_EQ(backwards(text.units()), expected) << text.dataUsingEncoding(NSNonLossyASCIIStringEncoding).characters();
        for (const NSRange& range : expected) {
            const uint64_t index = range.location + random.below(range.length);
            ASSERT_EQ(text.rangeOfComposedCharacterSequenceAtIndex(index), range)
                << text.dataUsingEncoding(NSNonLossyASCIIStringEncoding).characters();
        }
    }
}

TEST(ComposedCharacterSequences, AreTheClustersOfUnicodeForEveryPairOfBreakProperties)
{
    // One or two characters for every break property, and the letters that Indic rules join.
    static constexpr std::u16string_view samples[] = {u"a", u"\r", u"\n", u"\u0001", u"\u00ad", u"\u0301", u"\u200d", u"\u0903",
        u"\u0600", u"\U0001f1e6", u"\u1100", u"\u1161", u"\u11a8", u"\uac00", u"\uac01", u"\u00a9", u"\U0001f600", u"\U0001f3fd",
        u"\u0915", u"\u094d", u"\ufe0f", u"\u3042", u"\U000e0061"};
    for (const auto first : samples) {
        for (const auto second : samples) {
            for (const auto third : samples) {
                const std::u16string text = std::u16string(first).append(second).append(third);
                const std::vector<NSRange> expected = clustersOf(text);
                ASSERT_EQ(forwards(text), expected)
                    << NSString(text).dataUsingEncoding(NSNonLossyASCIIStringEncoding).characters();
                ASSERT_EQ(backwards(text), expected)
                    << NSString(text).dataUsingEncoding(NSNonLossyASCIIStringEncoding).characters();
            }
        }
    }
}

TEST(ComposedCharacterSequences, CanTurnAroundAnywhere)
{
    const uint64_t seed = support::randomSeed();
    SCOPED_TRACE("TW_SEED=" + std::to_string(seed));
    support::RandomText random(seed);
    for (int round = 0; round < 3000; ++round) {
        const NSString text = random.text(14);
        const std::vector<NSRange> expected = clustersOf(text.units());
        ComposedCharacterSequences sequences(text.units());
        size_t place = 0;
        for (int step = 0; step < 40; ++step) {
            if (random.chance(2)) {
                ASSERT_EQ(sequences.next(), place < expected.size() ? std::optional(expected[place]) : std::nullopt);
                place += place < expected.size();
            } else {
                ASSERT_EQ(sequences.previous(), place > 0 ? std::optional(expected[place - 1]) : std::nullopt);
                place -= place > 0;
            }
        }
    }
}
