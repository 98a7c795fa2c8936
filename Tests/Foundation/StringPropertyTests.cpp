// What must hold for every text. Each test tries casesPerTest random ones, together 100,000 in a run; TW_SEED repeats a run.

#include "QVRError.h"
#include "QVRPath.h"
#include "QVRString.h"
#include "Support/Printing.h"
#include "Support/RandomText.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <vector>

using support::RandomText;

namespace {

constexpr int testCount = 40;
constexpr int casesPerTest = 100'000 / testCount;

std::string shown(const NSString& string)
{
    if (!string)
        return "absent";
    std::string text = "u\"";
    for (const char16_t unit : string.units()) {
        char digits[8];
        std::snprintf(digits, sizeof digits, "\\u%04x", static_cast<unsigned>(unit));
        text += digits;
    }
    return text + '"';
}

// Runs a property on random texts until one fails.
void forRandomTexts(const std::function<void(RandomText&)>& property)
{
    const uint64_t seed = support::randomSeed();
    RandomText random(seed);
    for (int count = 0; count < casesPerTest && !testing::Test::HasFailure(); ++count) {
        SCOPED_TRACE("case " + std::to_string(count) + " of TW_SEED=" + std::to_string(seed));
        property(random);
    }
    testing::Test::RecordProperty("cases", casesPerTest);
}

std::u16string joined(std::initializer_list<NSString> parts)
{
    std::u16string units;
    for (const NSString& part : parts)
        units += part.units();
    return units;
}

bool hasHalfPair(const NSString& string)
{
    const std::u16string_view units = string.units();
    for (size_t index = 0; index < units.size();) {
        UChar32 character = 0;
        U16_NEXT(units.data(), index, units.size(), character);
        if (U_IS_SURROGATE(character))
            return true;
    }
    return false;
}

// Whether a cut before the unit at `index` leaves every composed character sequence whole. What no text may suffer is checked
// besides what the platform says: a pair or a letter with its mark torn apart.
bool isBoundary(const NSString& string, size_t index)
{
    if (index == 0 || index >= string.length())
        return index <= string.length();
    const char16_t before = string.characterAtIndex(index - 1);
    const char16_t after = string.characterAtIndex(index);
    if (U16_IS_LEAD(before) && U16_IS_TRAIL(after))
        return false;
    if (u_isalpha(before) && after >= 0x300 && after < 0x370)
        return false;
    return string.rangeOfComposedCharacterSequenceAtIndex(index).location == index;
}

// What decoding leaves of a text that begins with the mark.
NSString withoutByteOrderMark(const NSString& string)
{
    return string.units().starts_with(u'\ufeff') ? string.substringFromIndex(1) : string;
}

size_t decomposedLength(const NSString& string)
{
    return string.decomposedStringWithCanonicalMapping().length();
}

std::u16string replacedNaively(std::u16string_view text, std::u16string_view target, std::u16string_view replacement)
{
    std::u16string result;
    for (size_t index = 0; index < text.size();) {
        if (!target.empty() && text.substr(index).starts_with(target)) {
            result += replacement;
            index += target.size();
        } else {
            result += text[index++];
        }
    }
    return result;
}

std::vector<std::u16string> splitNaively(std::u16string_view text, char16_t separator)
{
    std::vector<std::u16string> pieces(1);
    for (const char16_t unit : text) {
        if (unit == separator)
            pieces.emplace_back();
        else
            pieces.back() += unit;
    }
    return pieces;
}

// The value of a text's escapes, step by step; absent where one is malformed.
NSString decodedNaively(const NSString& string)
{
    std::u16string result;
    const std::u16string_view units = string.units();
    for (size_t index = 0; index < units.size();) {
        if (units[index] != u'%') {
            result += units[index++];
            continue;
        }
        std::string bytes;
        for (; index < units.size() && units[index] == u'%'; index += 3) {
            if (index + 2 >= units.size())
                return {};
            std::string digits;
            for (const char16_t unit : units.substr(index + 1, 2)) {
                if (unit > 0x7f || !std::isxdigit(static_cast<int>(unit)))
                    return {};
                digits += static_cast<char>(unit);
            }
            bytes += static_cast<char>(std::stoi(digits, nullptr, 16));
        }
        const NSString decoded = NSString::stringWithUTF8String(bytes);
        if (!decoded)
            return {};
        result += decoded.units();
    }
    return result;
}

bool consistsOf(const NSString& string, std::u16string_view allowed)
{
    return std::all_of(string.units().begin(), string.units().end(), [&](char16_t unit) {
        return (unit < 0x80 && std::isalnum(static_cast<int>(unit))) || allowed.find(unit) != std::u16string_view::npos;
    });
}

int sign(NSComparisonResult result)
{
    return static_cast<int>(result);
}

}

TEST(StringProperties, TheTestsTogetherTryAHundredThousandCases)
{
    const testing::TestSuite* const suite = testing::UnitTest::GetInstance()->current_test_suite();
    EXPECT_EQ(suite->total_test_count() - 1, testCount);
    EXPECT_EQ(testCount * casesPerTest, 100'000);
}

TEST(StringProperties, DataInUnicodeEncodingsComesBackUnlessAPairIsHalf)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        for (const NSStringEncoding encoding :
            {NSUTF8StringEncoding, NSUTF16LittleEndianStringEncoding, NSUTF32LittleEndianStringEncoding}) {
            NSError error;
            const NSData data = qvrDataUsingEncoding(string, encoding, &error);
            // Little-endian UTF-16 can hold half pairs, as its units are those of the text.
            if (hasHalfPair(string) && encoding != NSUTF16LittleEndianStringEncoding) {
                ASSERT_TRUE(data.isAbsent()) << shown(string);
                ASSERT_EQ(error.code(), 501);
                ASSERT_EQ(error.userInfo()[u"QVRString"], Value(string));
            } else if (!hasHalfPair(string)) {
                ASSERT_FALSE(data.isAbsent()) << shown(string);
                ASSERT_TRUE(error.isAbsent());
                ASSERT_EQ(
                    qvrStringWithData(data, encoding), encoding == NSUTF8StringEncoding ? withoutByteOrderMark(string) : string)
                    << shown(string);
            }
        }
    });
}

TEST(StringProperties, BytesAreUTF8ExactlyWhenICUSaysSo)
{
    forRandomTexts([](RandomText& random) {
        std::string bytes = random.chance(2) ? random.bytes(6) : random.text(4).UTF8();
        if (!bytes.empty() && random.chance(2))
            bytes.erase(random.below(bytes.size()), 1);
        UErrorCode status = U_ZERO_ERROR;
        int32_t length = 0;
        u_strFromUTF8(nullptr, 0, &length, bytes.data(), static_cast<int32_t>(bytes.size()), &status);
        const bool isValid = status == U_BUFFER_OVERFLOW_ERROR || U_SUCCESS(status);
        const NSString string = qvrStringWithUTF8Data(NSData::dataWithBytes(bytes));
        ASSERT_EQ(!string.isAbsent(), isValid);
        if (isValid) {
            const NSString whole = NSString::stringWithUTF8String(bytes);
            ASSERT_EQ(whole.length(), static_cast<size_t>(length));
            ASSERT_EQ(whole.UTF8(), bytes);
            ASSERT_EQ(string, withoutByteOrderMark(whole));
        }
    });
}

TEST(StringProperties, AnyBytesAreMacOSRomanAndComeBack)
{
    forRandomTexts([](RandomText& random) {
        const NSData data = NSData::dataWithBytes(random.bytes(20));
        const NSString string = qvrStringWithData(data, NSMacOSRomanStringEncoding);
        ASSERT_EQ(string.length(), data.length());
        ASSERT_EQ(qvrDataUsingEncoding(string, NSMacOSRomanStringEncoding), data) << shown(string);
    });
}

TEST(StringProperties, CodePointsMakeTextsOfTheirOwn)
{
    forRandomTexts([](RandomText& random) {
        const char32_t character = random.scalar();
        const NSString string = qvrStringWith32BitCharacter(character);
        ASSERT_EQ(string.UTF8().size(),
            static_cast<size_t>(character < 0x80 ? 1
                    : character < 0x800          ? 2
                    : character < 0x10000        ? 3
                                                 : 4));
        UChar32 read = 0;
        size_t index = 0;
        U16_NEXT(string.units().data(), index, string.length(), read);
        ASSERT_EQ(read, static_cast<UChar32>(character));
        ASSERT_EQ(index, string.length());
        ASSERT_TRUE(qvrStringWith32BitCharacter(static_cast<uint32_t>(0xd800 + random.below(0x800))).isAbsent());
        ASSERT_TRUE(qvrStringWith32BitCharacter(static_cast<uint32_t>(0x110000 + random.below(0xffe00000))).isAbsent());
    });
}

TEST(StringProperties, UniqueStringsKeepAnyPrefix)
{
    forRandomTexts([](RandomText& random) {
        const NSString prefix = random.text(6);
        const NSString string = qvrUniqueString(prefix);
        ASSERT_EQ(string.length(), prefix.length() + 37);
        ASSERT_EQ(string.substringToIndex(prefix.length()), prefix);
        ASSERT_EQ(string.characterAtIndex(prefix.length()), u'.');
    });
}

TEST(StringProperties, CountingUnitsAgreesWithLookingAtEach)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const char16_t unit =
            string.length() > 0 && random.chance(2) ? string.characterAtIndex(random.below(string.length())) : u'a';
        uint64_t count = 0;
        for (uint64_t index = 0; index < string.length() + 2; ++index)
            count += qvrHasCharacter(string, unit, index);
        ASSERT_EQ(qvrCountOccurrencesOfCharacter(string, unit), count) << shown(string);
        ASSERT_EQ(qvrContainsCharacter(string, unit), count > 0) << shown(string);
    });
}

TEST(StringProperties, KeepingASetLeavesWhatMatchesIt)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const NSString members = random.text(6, true);
        const NSCharacterSet set = NSCharacterSet::characterSetWithCharactersInString(members);
        const NSString kept = qvrStringByKeepingCharactersInSet(string, set);
        ASSERT_TRUE(qvrMatchesCharacterSet(kept, set));
        ASSERT_EQ(qvrMatchesCharacterSet(string, set), kept == string);
        std::u16string expected;
        for (const char16_t unit : string.units())
            if (!U16_IS_SURROGATE(unit) && members.units().find(unit) != std::u16string_view::npos)
                expected += unit;
        ASSERT_EQ(kept, NSString(expected)) << shown(string) << shown(members);
    });
}

TEST(StringProperties, TrimmingNullsLeavesEverythingElse)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        std::u16string expected(string.units());
        std::erase(expected, u'\0');
        ASSERT_EQ(qvrStringByTrimmingNulls(string), NSString(expected)) << shown(string);
    });
}

TEST(StringProperties, StrippingLeavesNoBlankAtEitherEnd)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const NSString stripped = qvrStringByStripping(string);
        ASSERT_EQ(qvrStringByStripping(stripped), stripped) << shown(string);
        const size_t place = string.units().find(stripped.units());
        ASSERT_NE(place, std::u16string_view::npos) << shown(string);
        const auto isBlank = [](char16_t unit) { return u_isUWhiteSpace(unit) || unit == u'\u200b'; };
        // What was taken off is blank, and the ends are not.
        const size_t lost = string.length() - stripped.length();
        size_t blanks = 0;
        for (const char16_t unit : string.units())
            blanks += isBlank(unit);
        ASSERT_LE(lost, blanks) << shown(string);
        if (stripped.length() > 0) {
            ASSERT_FALSE(u_isUWhiteSpace(stripped.characterAtIndex(0))) << shown(string);
            ASSERT_FALSE(u_isUWhiteSpace(stripped.characterAtIndex(stripped.length() - 1))) << shown(string);
        }
    });
}

TEST(StringProperties, TheTextsAroundAnOccurrenceMakeTheWhole)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const NSString other = random.chance(2) || string.length() == 0
            ? random.text(2)
            : string.substringWithRange(string.rangeOfComposedCharacterSequenceAtIndex(random.below(string.length())));
        const NSString before = qvrSubstringToString(string, other);
        const NSString after = qvrSubstringFromString(string, other);
        const NSRange found = string.rangeOfString(other);
        if (found.location == NSNotFound) {
            ASSERT_EQ(before, NSString(u"")) << shown(string) << shown(other);
            ASSERT_EQ(after, NSString(u"")) << shown(string) << shown(other);
            return;
        }
        ASSERT_EQ(before.length() + found.length + after.length(), string.length()) << shown(string) << shown(other);
        const NSString match = string.substringWithRange(found);
        ASSERT_EQ(NSString(joined({before, match, after})), string) << shown(string) << shown(other);
        ASSERT_EQ(match.decomposedStringWithCanonicalMapping(), other.decomposedStringWithCanonicalMapping())
            << shown(string) << shown(other);
    });
}

TEST(StringProperties, FirstOccurrencesCutNoSequence)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const NSString other = random.text(1);
        const NSString before = qvrSubstringToString(string, other);
        const NSString after = qvrSubstringFromString(string, other);
        if (string.rangeOfString(other).location == NSNotFound)
            return;
        ASSERT_TRUE(isBoundary(string, before.length())) << shown(string) << shown(other);
        ASSERT_TRUE(isBoundary(string, string.length() - after.length())) << shown(string) << shown(other);
    });
}

TEST(StringProperties, CutsAtAnIndexMakeTheWhole)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const uint64_t index = random.chance(10) ? UINT64_MAX - random.below(3) : random.below(string.length() + 3);
        const NSString front = qvrSubstringToIndex(string, index);
        ASSERT_EQ(front.length(), std::min<uint64_t>(index, string.length()));
        ASSERT_EQ(NSString(joined({front, qvrSubstringFromIndex(string, index)})), string);
    });
}

TEST(StringProperties, ComposedCutsKeepSequencesWhole)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const uint64_t index = random.below(string.length() + 2);
        const NSString front = qvrSubstringToComposedIndex(string, index);
        ASSERT_EQ(string.substringToIndex(front.length()), front);
        ASSERT_LE(front.length(), std::min<uint64_t>(index, string.length()));
        ASSERT_TRUE(isBoundary(string, front.length())) << shown(string) << index;
        // Nothing more could have been kept.
        for (size_t between = front.length() + 1; between <= index && between < string.length(); ++between)
            ASSERT_FALSE(isBoundary(string, between)) << shown(string) << index;
    });
}

TEST(StringProperties, ChoppingTakesOneUnit)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const NSString chopped = qvrStringByChopping(string);
        ASSERT_EQ(chopped.length(), string.length() == 0 ? 0 : string.length() - 1);
        ASSERT_EQ(string.substringToIndex(chopped.length()), chopped);
    });
}

TEST(StringProperties, ChoppingComposedTakesOneWholeSequence)
{
    forRandomTexts([](RandomText& random) {
        NSString string = random.text();
        for (size_t steps = 0; string.length() > 0; ++steps) {
            const NSString chopped = qvrStringByChoppingComposedCharacter(string);
            ASSERT_LT(chopped.length(), string.length());
            ASSERT_TRUE(isBoundary(string, chopped.length())) << shown(string);
            const NSRange last = string.rangeOfComposedCharacterSequenceAtIndex(string.length() - 1);
            ASSERT_EQ(last.location, chopped.length()) << shown(string);
            string = chopped;
        }
        ASSERT_EQ(qvrStringByChoppingComposedCharacter(string), NSString(u""));
    });
}

TEST(StringProperties, SpaceComponentsAreTheEndsOfASplit)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const auto pieces = splitNaively(string.units(), u' ');
        ASSERT_EQ(qvrFirstSpaceComponent(string), NSString(pieces.front())) << shown(string);
        ASSERT_EQ(qvrLastSpaceComponent(string), NSString(pieces.back())) << shown(string);
    });
}

TEST(StringProperties, ReplacingIsLiteralAndGoesFromTheFront)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.chance(2) ? random.shortText(u"ab", 12) : random.text();
        const NSString target = random.chance(2) ? random.shortText() : random.text(1);
        const NSString replacement = random.text(2);
        ASSERT_EQ(qvrStringByReplacingString(string, target, replacement),
            NSString(replacedNaively(string.units(), target.units(), replacement.units())))
            << shown(string) << shown(target) << shown(replacement);
    });
}

TEST(StringProperties, ReplacingTheFirstOccurrenceLeavesBothSides)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const NSString target = random.text(1);
        const NSString replacement = random.text(2);
        const NSString replaced = qvrStringByReplacingFirstOccurrenceOfString(string, target, replacement);
        if (string.rangeOfString(target).location == NSNotFound) {
            ASSERT_EQ(replaced, string);
        } else {
            ASSERT_EQ(replaced,
                NSString(joined({qvrSubstringToString(string, target), replacement, qvrSubstringFromString(string, target)})))
                << shown(string) << shown(target);
        }
    });
}

TEST(StringProperties, AddingASuffixGivesWhatChoppingStepByStepGives)
{
    forRandomTexts([](RandomText& random) {
        const NSString stem = random.text(20);
        const NSString suffix = random.text(3);
        const uint64_t total = suffix.length() + random.below(25);
        const NSString result = qvrStringByAddingSuffix(stem, suffix, total);
        NSString expected = stem;
        while (expected.length() > 0 && decomposedLength(expected) + decomposedLength(suffix) > total)
            expected = qvrStringByChoppingComposedCharacter(expected);
        ASSERT_EQ(result, NSString(joined({expected, suffix}))) << shown(stem) << shown(suffix) << total;
        ASSERT_TRUE(isBoundary(stem, result.length() - suffix.length())) << shown(stem);
    });
}

TEST(StringProperties, TruncatingTheMiddleKeepsWholeSequencesAtBothEnds)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text(20);
        const uint64_t length = random.below(12);
        const NSString truncated = qvrStringByTruncatingMiddleAfterComposedLength(string, length);
        if (2 * length >= string.length()) {
            ASSERT_EQ(truncated, string);
            return;
        }
        const NSRange middle = qvrRangeOfComposedCharacterSequencesInRange(string, {length, string.length() - 2 * length});
        ASSERT_TRUE(isBoundary(string, middle.location)) << shown(string) << length;
        ASSERT_TRUE(isBoundary(string, middle.location + middle.length)) << shown(string) << length;
        ASSERT_LE(middle.location, length);
        ASSERT_EQ(truncated,
            NSString(joined({string.substringToIndex(middle.location), qvrEllipsis(),
                string.substringFromIndex(middle.location + middle.length)})))
            << shown(string) << length;
    });
}

TEST(StringProperties, ComposedRangesHoldTheRangeAndAreTheSmallestToDoSo)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text(20);
        if (string.length() == 0)
            return;
        const uint64_t location = random.below(string.length());
        const uint64_t length = 1 + random.below(string.length() - location);
        const NSRange range = qvrRangeOfComposedCharacterSequencesInRange(string, {location, length});
        const uint64_t end = range.location + range.length;
        ASSERT_LE(range.location, location);
        ASSERT_GE(end, location + length);
        ASSERT_TRUE(isBoundary(string, range.location)) << shown(string);
        ASSERT_TRUE(isBoundary(string, end)) << shown(string);
        for (uint64_t index = range.location + 1; index <= location; ++index)
            ASSERT_FALSE(isBoundary(string, index)) << shown(string) << location;
        for (uint64_t index = location + length; index < end; ++index)
            ASSERT_FALSE(isBoundary(string, index)) << shown(string) << location << "+" << length;
    });
}

TEST(StringProperties, ExpandingKeysIsReplacingOneAfterTheOther)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.chance(2) ? random.shortText(u"ab$", 12) : random.text();
        NSDictionary keys = NSDictionary::dictionary();
        for (size_t count = random.below(4); count > 0; --count)
            keys.setObject(random.shortText(u"ab$", 2), random.shortText(u"ab$", 2));
        std::u16string expected(string.units());
        for (const auto& [key, value] : keys)
            expected = replacedNaively(expected, key.units(), value.string().units());
        ASSERT_EQ(qvrStringByExpandingKeysInDictionary(string, keys), NSString(expected)) << shown(string);
    });
}

TEST(StringProperties, ChunksAreFullButTheLast)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text(20);
        const uint64_t length = 1 + random.below(6);
        const NSString separator = random.text(2);
        std::u16string expected;
        for (uint64_t index = 0; index < string.length(); ++index) {
            if (index > 0 && index % length == 0)
                expected += separator.units();
            expected += string.characterAtIndex(index);
        }
        ASSERT_EQ(qvrStringByChunking(string, length, separator), NSString(expected)) << shown(string) << length;
    });
}

TEST(StringProperties, EnsuringASuffixTwiceIsEnsuringItOnce)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const NSString suffix = random.text(2);
        const NSString ensured = qvrStringByEnsuringSuffix(string, suffix);
        ASSERT_TRUE(ensured == string || ensured == NSString(joined({string, suffix}))) << shown(string) << shown(suffix);
        ASSERT_EQ(ensured == string, string.hasSuffix(suffix) || suffix.length() == 0) << shown(string) << shown(suffix);
    });
}

TEST(StringProperties, JoiningPutsTheSeparatorBetween)
{
    forRandomTexts([](RandomText& random) {
        const NSString separator = random.text(2);
        std::vector<Value> elements;
        std::u16string expected;
        for (size_t count = random.below(5); count > 0; --count) {
            if (!elements.empty())
                expected += separator.units();
            const NSString element = random.text(3);
            expected += element.units();
            elements.emplace_back(element);
        }
        ASSERT_EQ(qvrJoin(separator, NSArray(elements)), NSString(expected));
    });
}

TEST(StringProperties, LinesHoldAllButTheLineEnds)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text(20);
        // A line end of one unit for each, so that a simple split tells the lines.
        std::u16string simple = replacedNaively(string.units(), u"\r\n", u"\n");
        for (char16_t& unit : simple)
            if (unit == u'\r' || unit == u'\u0085' || unit == u'\u2028' || unit == u'\u2029')
                unit = u'\n';
        std::vector<std::u16string> expected = splitNaively(simple, u'\n');
        if (expected.back().empty())
            expected.pop_back();
        const NSArray lines = qvrComponentsSeparatedByLineSeparators(string);
        ASSERT_EQ(lines.count(), expected.size()) << shown(string);
        for (size_t index = 0; index < expected.size(); ++index)
            ASSERT_EQ(lines[index].string(), NSString(expected[index])) << shown(string);
    });
}

TEST(StringProperties, NormalizedLineBreaksHoldNoReturn)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text(20);
        const NSString normalized = qvrStringByNormalizingLineBreaks(string);
        ASSERT_EQ(normalized, NSString(replacedNaively(replacedNaively(string.units(), u"\r\n", u"\n"), u"\r", u"\n")))
            << shown(string);
        ASSERT_EQ(qvrStringByNormalizingLineBreaks(normalized), normalized);
    });
}

TEST(StringProperties, LiteralSearchComparesUnits)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.chance(2) ? random.shortText(u"ab", 10) : random.text();
        const NSString other = random.chance(2) ? random.shortText() : random.text(1);
        ASSERT_EQ(qvrContainsString(string, other),
            other.length() > 0 && string.units().find(other.units()) != std::u16string_view::npos)
            << shown(string) << shown(other);
    });
}

TEST(StringProperties, EveryTextHasItsOwnFrontAsAPrefix)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const NSString front = qvrSubstringToComposedIndex(string, random.below(string.length() + 1));
        const bool expected = front.length() > 0;
        ASSERT_EQ(qvrHasCaseInsensitivePrefix(string, front), expected) << shown(string) << shown(front);
        ASSERT_EQ(qvrCaseInsensitiveContainsString(string, front), expected) << shown(string) << shown(front);
        // Marks alone are nothing once diacritics are ignored; a front with a letter is found.
        const bool hasLetter =
            std::any_of(front.units().begin(), front.units().end(), [](char16_t unit) { return unit < 0x80 && u_isalpha(unit); });
        if (hasLetter) {
            ASSERT_TRUE(qvrHasDiacriticPrefix(string, front)) << shown(string) << shown(front);
            ASSERT_TRUE(qvrHasDiacriticInsensitivePrefix(string, front)) << shown(string) << shown(front);
        }
    });
}

TEST(StringProperties, WhatHasAPrefixLiterallyOrWithDiacriticsHasItWithoutToo)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const NSString prefix = random.text(1);
        if (qvrHasDiacriticPrefix(string, prefix)) {
            ASSERT_TRUE(qvrHasDiacriticInsensitivePrefix(string, prefix)) << shown(string) << shown(prefix);
        }
        if (qvrHasCaseInsensitivePrefix(string, prefix)) {
            ASSERT_TRUE(qvrCaseInsensitiveContainsString(string, prefix)) << shown(string) << shown(prefix);
        }
    });
}

TEST(StringProperties, CaseInsensitiveEqualityIgnoresCaseAndWorksBothWays)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        std::u16string flipped(string.units());
        for (char16_t& unit : flipped)
            if (unit < 0x80 && u_isalpha(unit) && random.chance(2))
                unit ^= 0x20;
        ASSERT_TRUE(qvrCaseInsensitiveIsEqual(string, NSString(flipped))) << shown(string);
        const NSString other = random.text(2);
        ASSERT_EQ(qvrCaseInsensitiveIsEqual(string, other), qvrCaseInsensitiveIsEqual(other, string))
            << shown(string) << shown(other);
    });
}

TEST(StringProperties, DisplayOrderIsAnOrder)
{
    forRandomTexts([](RandomText& random) {
        const NSString a = random.text(4);
        const NSString b = random.text(4);
        const NSString c = random.text(4);
        ASSERT_EQ(qvrCompareForDisplay(a, a), NSOrderedSame) << shown(a);
        ASSERT_EQ(sign(qvrCompareForDisplay(a, b)), -sign(qvrCompareForDisplay(b, a))) << shown(a) << shown(b);
        if (qvrCompareForDisplay(a, b) != NSOrderedDescending && qvrCompareForDisplay(b, c) != NSOrderedDescending) {
            ASSERT_NE(qvrCompareForDisplay(a, c), NSOrderedDescending) << shown(a) << shown(b) << shown(c);
        }
    });
}

TEST(StringProperties, LengthOrderIsThatOfTheLengths)
{
    forRandomTexts([](RandomText& random) {
        const NSString a = random.text(4);
        const NSString b = random.text(4);
        const int expected = a.length() < b.length() ? -1 : a.length() > b.length() ? 1 : 0;
        ASSERT_EQ(sign(qvrCompareLength(a, b)), expected);
    });
}

TEST(StringProperties, WhatIsEscapedIsLegalAndComesBack)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const NSString escaped = qvrEncodeForQueryString(string);
        if (hasHalfPair(string)) {
            ASSERT_TRUE(escaped.isAbsent()) << shown(string);
            return;
        }
        ASSERT_TRUE(consistsOf(escaped, u"%;/?:@+$,-_.!~*'()")) << shown(string);
        ASSERT_EQ(qvrDecodePercentEscapes(escaped), string) << shown(string);
    });
}

TEST(StringProperties, CharactersToKeepAreKeptAndTheRestComesBack)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text(12, true);
        const NSString kept = qvrStringByReplacingString(random.text(3, true), u"%", u"");
        const NSString escaped = qvrEncodeURLKeepingUnescaped(string, kept);
        ASSERT_EQ(qvrDecodePercentEscapes(escaped), string) << shown(string) << shown(kept);
        for (const char16_t unit : kept.units())
            if (!U16_IS_SURROGATE(unit)) {
                ASSERT_EQ(qvrCountOccurrencesOfCharacter(escaped, unit) >= qvrCountOccurrencesOfCharacter(string, unit), true)
                    << shown(string) << shown(kept);
            }
    });
}

TEST(StringProperties, DecodingAgreesWithDecodingStepByStep)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.text();
        const NSString decoded = qvrDecodePercentEscapes(string);
        ASSERT_EQ(decoded, decodedNaively(string)) << shown(string);
        const NSString characters = random.text(2);
        const NSString partly = qvrDecodePercentEscapesKeepingEscaped(string, characters);
        ASSERT_EQ(partly.isAbsent(), decoded.isAbsent()) << shown(string);
        // Nothing of the rest can become an escape when "%" itself stays escaped.
        const NSString safe = qvrDecodePercentEscapesKeepingEscaped(string, characters.stringByAppendingString(u"%"));
        if (decoded) {
            ASSERT_EQ(qvrDecodePercentEscapes(safe), decoded) << shown(string) << shown(characters);
        }
    });
}

TEST(StringProperties, QueriesAreReadBack)
{
    forRandomTexts([](RandomText& random) {
        NSDictionary entries = NSDictionary::dictionary();
        for (size_t count = random.below(4); count > 0; --count)
            entries.setObject(random.text(4, true), random.text(4, true));
        ASSERT_EQ(qvrQueryStringDictionary(qvrQueryStringFromQueryItems(entries)), entries) << entries.description().UTF8();
        ASSERT_EQ(qvrQueryStringDictionary(qvrQueryStringFromEscapedPairs(entries)), entries) << entries.description().UTF8();
        ASSERT_TRUE(consistsOf(qvrQueryStringWithDictionary(entries), u"%&=/?:@$,-_.!~*'()"));
    });
}

TEST(StringProperties, QueryEntriesArePiecesOfExactlyTwoParts)
{
    forRandomTexts([](RandomText& random) {
        const NSString string = random.chance(2) ? random.shortText(u"ab&=%41", 12) : random.text(20);
        NSDictionary expected = NSDictionary::dictionary();
        for (const std::u16string& piece : splitNaively(string.units(), u'&')) {
            const auto parts = splitNaively(piece, u'=');
            if (parts.size() != 2)
                continue;
            const NSString key = decodedNaively(NSString(parts[0]));
            const NSString value = decodedNaively(NSString(parts[1]));
            if (key && value)
                expected.setObject(value, key);
        }
        ASSERT_EQ(qvrQueryStringDictionary(string), expected) << shown(string);
    });
}

TEST(StringProperties, CodesOfFourCharactersComeBack)
{
    forRandomTexts([](RandomText& random) {
        const auto code = static_cast<uint32_t>(random.below(uint64_t(1) << 32));
        const NSString text = qvrStringWithFourCharCode(code);
        ASSERT_EQ(text.length(), 4u);
        ASSERT_EQ(qvrFourCharCodeValue(text), code);
        ASSERT_EQ(qvrIsUnknownCode(text), code == 0);
        const NSString any = random.text(4);
        ASSERT_EQ(qvrIsUnknownCode(any), any == NSString(std::u16string(4, u'\0')));
        ASSERT_EQ(qvrDoubleQuotedString(any), NSString(joined({u"\u201c", any, u"\u201d"})));
    });
}

TEST(StringProperties, FileNamesFitAndHoldNoSeparator)
{
    forRandomTexts([](RandomText& random) {
        const NSString stem = random.text(200);
        const NSString extension = random.text(2);
        const NSString name = qvrMakeFileNameValidWithExtension(stem, extension);
        ASSERT_LE(decomposedLength(name), 255u) << shown(stem) << shown(extension);
        ASSERT_FALSE(qvrContainsCharacter(name, u'/'));
        ASSERT_FALSE(qvrContainsCharacter(name, u'\uFFFC'));
        const NSString ending =
            extension.length() == 0 ? NSString(u"") : qvrMakeFileNameCharactersValid(NSString(joined({u".", extension})));
        ASSERT_TRUE(name.units().ends_with(ending.units())) << shown(name) << shown(ending);
    });
}
