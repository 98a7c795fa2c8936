#include "QVRStringMunging.h"

#include "Platform/Foundation/NSException.h"
#include "Support/KeptLog.h"
#include "Support/Printing.h"
#include "Support/Thrown.h"

#include <gtest/gtest.h>

using support::KeptLog;
using support::thrownBy;

namespace {

const NSString eWithAcute = u"e\u0301";
const NSString grin = u"\U0001f600";
const NSString family = u"\U0001f468\u200d\U0001f469\u200d\U0001f467";

struct Row {
    NSString string;
    NSString expected;
};

void expectResults(NSString (*operation)(const NSString&), std::initializer_list<Row> rows)
{
    for (const Row& row : rows)
        EXPECT_EQ(operation(row.string), row.expected) << row.string.UTF8();
    EXPECT_TRUE(operation(NSString()).isAbsent());
}

struct IndexRow {
    NSString string;
    uint64_t index;
    NSString expected;
};

void expectResults(NSString (*operation)(const NSString&, uint64_t), std::initializer_list<IndexRow> rows)
{
    for (const IndexRow& row : rows)
        EXPECT_EQ(operation(row.string, row.index), row.expected) << row.string.UTF8() << " / " << row.index;
    EXPECT_TRUE(operation(NSString(), 0).isAbsent());
}

struct PairRow {
    NSString string;
    NSString other;
    NSString expected;
};

void expectResults(NSString (*operation)(const NSString&, const NSString&), std::initializer_list<PairRow> rows)
{
    for (const PairRow& row : rows)
        EXPECT_EQ(operation(row.string, row.other), row.expected) << row.string.UTF8() << " / " << row.other.UTF8();
    EXPECT_TRUE(operation(NSString(), u"a").isAbsent());
}

}

TEST(QVRJoin, PutsTheReceiverBetweenTheElements)
{
    EXPECT_EQ(qvrJoin(u", ", {u"a", 2, u"c"}), NSString(u"a, 2, c"));
    EXPECT_EQ(qvrJoin(u"", {u"a", u"b"}), NSString(u"ab"));
    EXPECT_EQ(qvrJoin(u",", {u"a"}), NSString(u"a"));
    EXPECT_EQ(qvrJoin(u",", NSArray({})), NSString(u""));
    EXPECT_TRUE(qvrJoin(NSString(), {u"a"}).isAbsent());
}

TEST(QVRStringByEnsuringSuffix, AddsASuffixThatIsMissing)
{
    expectResults(qvrStringByEnsuringSuffix,
        {
            {u"page", u".html", u"page.html"},
            {u"page.html", u".html", u"page.html"},
            {u"page.HTML", u".html", u"page.HTML.html"},
            {u"", u"/", u"/"},
            {u"/", u"/", u"/"},
            {u"page", u"", u"page"},
            {u"page", NSString(), u"page"},
        });
}

TEST(QVRSubstringToString, IsTheTextBeforeTheFirstOccurrence)
{
    expectResults(qvrSubstringToString,
        {
            {u"key=value=more", u"=", u"key"},
            {u"key", u"=", u""},
            {u"=value", u"=", u""},
            {u"", u"=", u""},
            {u"key", u"", u""},
            {u"key", NSString(), u""},
            {u"abc\u00e9d", eWithAcute, u"abc"},
            {u"xe\u0301ye", u"e", u"xe\u0301y"},
        });
}

TEST(QVRSubstringFromString, IsTheTextAfterTheFirstOccurrence)
{
    expectResults(qvrSubstringFromString,
        {
            {u"key=value=more", u"=", u"value=more"},
            {u"key", u"=", u""},
            {u"key=", u"=", u""},
            {u"a--b", u"--", u"b"},
            {u"", u"=", u""},
            {u"key", u"", u""},
            {u"abc\u00e9d", eWithAcute, u"d"},
        });
}

TEST(QVRSubstringToIndex, CutsUnitsAndNeverFails)
{
    expectResults(qvrSubstringToIndex,
        {
            {u"abc", 0, u""},
            {u"abc", 2, u"ab"},
            {u"abc", 3, u"abc"},
            {u"abc", 4, u"abc"},
            {u"abc", UINT64_MAX, u"abc"},
            {u"", 0, u""},
            {eWithAcute, 1, u"e"},
        });
    EXPECT_EQ(qvrSubstringToIndex(grin, 1).length(), 1u);
}

TEST(QVRSubstringFromIndex, CutsUnitsAndNeverFails)
{
    expectResults(qvrSubstringFromIndex,
        {
            {u"abc", 0, u"abc"},
            {u"abc", 2, u"c"},
            {u"abc", 3, u""},
            {u"abc", UINT64_MAX, u""},
            {u"", 0, u""},
            {eWithAcute, 1, u"\u0301"},
        });
}

TEST(QVRSubstringToComposedIndex, NeverCutsASequence)
{
    expectResults(qvrSubstringToComposedIndex,
        {
            {u"abc", 2, u"ab"},
            {u"abc", 3, u"abc"},
            {u"abc", UINT64_MAX, u"abc"},
            {u"ae\u0301b", 1, u"a"},
            {u"ae\u0301b", 2, u"a"},
            {u"ae\u0301b", 3, u"ae\u0301"},
            {u"a\U0001f600b", 2, u"a"},
            {u"", 0, u""},
        });
    for (uint64_t index = 0; index < family.length(); ++index)
        EXPECT_EQ(qvrSubstringToComposedIndex(family, index), NSString(u"")) << index;
}

TEST(QVRStringByChopping, TakesOneUnitOff)
{
    expectResults(qvrStringByChopping, {{u"abc", u"ab"}, {u"a", u""}, {u"", u""}, {eWithAcute, u"e"}});
    EXPECT_EQ(qvrStringByChopping(grin).length(), 1u);
}

TEST(QVRStringByChoppingComposedCharacter, TakesOneSequenceOff)
{
    expectResults(qvrStringByChoppingComposedCharacter,
        {{u"abc", u"ab"}, {u"a", u""}, {u"", u""}, {eWithAcute, u""}, {u"ae\u0301", u"a"}, {grin, u""}, {u"a\U0001f600", u"a"},
            {family, u""}});
    EXPECT_EQ(qvrStringByChoppingComposedCharacter(NSString(u"caf").stringByAppendingString(family)), NSString(u"caf"));
}

TEST(QVRFirstSpaceComponent, IsThePieceBeforeTheFirstSpace)
{
    expectResults(qvrFirstSpaceComponent,
        {{u"one two three", u"one"}, {u"one", u"one"}, {u" one", u""}, {u"", u""}, {u"one\ttwo", u"one\ttwo"}});
}

TEST(QVRLastSpaceComponent, IsThePieceAfterTheLastSpace)
{
    expectResults(
        qvrLastSpaceComponent, {{u"one two three", u"three"}, {u"one", u"one"}, {u"one ", u""}, {u"", u""}, {u"a  b", u"b"}});
}

TEST(QVRStringByReplacingString, ReplacesEveryOccurrenceLiterally)
{
    const struct {
        NSString string;
        NSString target;
        NSString replacement;
        NSString expected;
    } rows[] = {
        {u"a-b-c", u"-", u"+", u"a+b+c"},
        {u"aaaa", u"aa", u"b", u"bb"},
        {u"aaa", u"aa", u"b", u"ba"},
        {u"abc", u"b", u"", u"ac"},
        {u"abc", u"b", NSString(), u"ac"},
        {u"abc", u"x", u"y", u"abc"},
        {u"abc", u"", u"y", u"abc"},
        {u"abc", NSString(), u"y", u"abc"},
        {u"aAa", u"a", u"b", u"bAb"},
        {u"\u00e9", eWithAcute, u"x", u"\u00e9"},
        {eWithAcute, u"e", u"a", u"a\u0301"},
        {u"aba", u"a", u"aa", u"aabaa"},
        {u"", u"a", u"b", u""},
        {NSString(), u"a", u"b", NSString()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrStringByReplacingString(row.string, row.target, row.replacement), row.expected) << row.string.UTF8();
}

TEST(QVRStringByReplacingFirstOccurrenceOfString, LeavesLaterOccurrences)
{
    const struct {
        NSString string;
        NSString target;
        NSString replacement;
        NSString expected;
    } rows[] = {
        {u"a-b-c", u"-", u"+", u"a+b-c"},
        {u"-", u"-", u"", u""},
        {u"-a", u"-", NSString(), u"a"},
        {u"abc", u"x", u"y", u"abc"},
        {u"abc", u"", u"y", u"abc"},
        {u"xe\u0301", u"\u00e9", u"y", u"xy"},
        {NSString(), u"a", u"b", NSString()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrStringByReplacingFirstOccurrenceOfString(row.string, row.target, row.replacement), row.expected)
            << row.string.UTF8();
}

TEST(QVRStringByAddingSuffix, TrimsTheStemByWholeCharactersUntilTheDecompositionFits)
{
    const struct {
        NSString stem;
        NSString suffix;
        uint64_t total;
        NSString expected;
    } rows[] = {
        {u"R\u00e9sum\u00e9", u".txt", 9, u"R\u00e9su.txt"},
        {u"R\u00e9sum\u00e9", u".txt", 12, u"R\u00e9sum\u00e9.txt"},
        {u"R\u00e9sum\u00e9", u".txt", 11, u"R\u00e9sum.txt"},
        {u"R\u00e9sum\u00e9", u".txt", 6, u"R.txt"},
        {u"R\u00e9sum\u00e9", u".txt", 4, u".txt"},
        {u"Re\u0301sum", u"", 2, u"R"},
        {u"abc", u"", 3, u"abc"},
        {u"abc", u"", 0, u""},
        {u"abc", NSString(), 2, u"ab"},
        {u"", u".txt", 4, u".txt"},
        {u"ab\U0001f600", u"", 3, u"ab"},
        {u"ab\uac01", u"", 4, u"ab"},
        {u"ab\uac01", u"", 5, u"ab\uac01"},
        {u"abc", u"x", UINT64_MAX, u"abcx"},
        // A suffix that fits only as it is written still stands alone: nothing more can be taken away.
        {u"abc", u"\u00e9\u00e9", 3, u"\u00e9\u00e9"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrStringByAddingSuffix(row.stem, row.suffix, row.total), row.expected)
            << row.stem.UTF8() << " / " << row.total;
    EXPECT_EQ(qvrStringByAddingSuffix(family, u".a", 9), NSString(u".a"));
    EXPECT_TRUE(qvrStringByAddingSuffix(NSString(), u"a", 9).isAbsent());
}

TEST(QVRStringByAddingSuffix, FailsItsAssertionForASuffixLongerThanTheTotal)
{
    KeptLog log;
    const auto failure = thrownBy([] { static_cast<void>(qvrStringByAddingSuffix(u"stem", u".html", 4)); });
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->name(), QVRAssertionFailedException);
    EXPECT_EQ(failure->qvrReason(), NSString(u"suffix: '.html' length: 4"));
    const NSString location = u"NSString+QVRBasics:150 -qvrStringByAddingSuffix:trimmingStemToTotal:";
    EXPECT_EQ(failure->reason(), NSString::stringWithFormat(u"suffix: '.html' length: 4 at %@", location));
    EXPECT_EQ(log.lines,
        std::vector<NSString>{NSString::stringWithFormat(u"%@: Assertion Failed: suffix: '.html' length: 4", location)});
}

TEST(QVRRangeOfComposedCharacterSequencesInRange, WidensBothEnds)
{
    const struct {
        NSString string;
        NSRange range;
        NSRange expected;
    } rows[] = {
        {u"abcd", {1, 2}, {1, 2}},
        {u"abcd", {0, 4}, {0, 4}},
        {u"ae\u0301be\u0301", {2, 3}, {1, 5}},
        {u"ae\u0301be\u0301", {1, 1}, {1, 2}},
        {u"a\U0001f600\U0001f600b", {2, 2}, {1, 4}},
        {u"abcd", {2, 0}, {2, 0}},
        {u"abcd", {0, 0}, {0, 0}},
        {eWithAcute, {1, 0}, {0, 2}},
        {NSString(), {3, 4}, {0, 0}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrRangeOfComposedCharacterSequencesInRange(row.string, row.range), row.expected)
            << row.string.UTF8() << " / " << row.range.location << ", " << row.range.length;
}

TEST(QVRRangeOfComposedCharacterSequencesInRange, ThrowsForARangeOutsideTheText)
{
    const struct {
        NSString string;
        NSRange range;
        NSString reason;
    } rows[] = {
        {u"abcdefg", {5, 10}, u"Invalid range {5, 10}."},
        {u"abc", {3, 0}, u"Invalid range {3, 0}."},
        {u"abc", {4, 1}, u"Invalid range {4, 1}."},
        {u"abc", {2, 2}, u"Invalid range {2, 2}."},
        {u"", {0, 0}, u"Invalid range {0, 0}."},
        {u"abc", {1, UINT64_MAX}, u"Invalid range {1, 18446744073709551615}."},
    };
    for (const auto& row : rows) {
        try {
            static_cast<void>(qvrRangeOfComposedCharacterSequencesInRange(row.string, row.range));
            ADD_FAILURE() << row.reason.UTF8();
        } catch (const NSException& exception) {
            EXPECT_EQ(exception.name(), NSRangeException);
            EXPECT_EQ(exception.reason(), row.reason);
        }
    }
}

TEST(QVRStringByTruncatingMiddle, PutsAnEllipsisBetweenTheEnds)
{
    expectResults(qvrStringByTruncatingMiddleAfterComposedLength,
        {
            {u"abcdefghij", 3, u"abc\u2026hij"},
            {u"abcdefghij", 5, u"abcdefghij"},
            {u"abcdefghij", 4, u"abcd\u2026ghij"},
            {u"abcdefghij", 6, u"abcdefghij"},
            {u"abcdefghij", 0, u"\u2026"},
            {u"abcdefghij", UINT64_MAX, u"abcdefghij"},
            {u"abcdefghij", UINT64_MAX / 2 + 1, u"abcdefghij"},
            {u"", 0, u""},
            {u"a", 0, u"\u2026"},
            {u"abe\u0301de\u0301fg", 3, u"ab\u2026fg"},
        });
}

TEST(QVRStringByExpandingKeysInDictionary, TakesTheKeysInTheirOrder)
{
    EXPECT_EQ(qvrStringByExpandingKeysInDictionary(u"$a and $b, $a", {{u"$a", u"1"}, {u"$b", u"2"}}), NSString(u"1 and 2, 1"));
    EXPECT_EQ(qvrStringByExpandingKeysInDictionary(u"$a", {{u"$a", u"$b"}, {u"$b", u"2"}}), NSString(u"2"));
    EXPECT_EQ(qvrStringByExpandingKeysInDictionary(u"$a", {{u"$b", u"2"}, {u"$a", u"$b"}}), NSString(u"$b"));
    EXPECT_EQ(qvrStringByExpandingKeysInDictionary(u"n", {{u"n", 7}}), NSString(u"7"));
    EXPECT_EQ(qvrStringByExpandingKeysInDictionary(u"abc", {{u"", u"x"}}), NSString(u"abc"));
    EXPECT_EQ(qvrStringByExpandingKeysInDictionary(u"$a", NSDictionary::dictionary()), NSString(u"$a"));
    EXPECT_EQ(qvrStringByExpandingKeysInDictionary(u"$a", NSDictionary()), NSString(u"$a"));
    EXPECT_TRUE(qvrStringByExpandingKeysInDictionary(NSString(), {{u"a", u"b"}}).isAbsent());
}

TEST(QVRStringByChunking, PutsTheSeparatorAfterEveryFullChunkButTheLast)
{
    const struct {
        NSString string;
        uint64_t length;
        NSString separator;
        NSString expected;
    } rows[] = {
        {u"1234567", 3, u" ", u"123 456 7"},
        {u"123456", 3, u" ", u"123 456"},
        {u"123", 3, u" ", u"123"},
        {u"123", 1, u", ", u"1, 2, 3"},
        {u"123", UINT64_MAX, u" ", u"123"},
        {u"123", 1, u"", u"123"},
        {u"123", 1, NSString(), u"123"},
        {u"", 3, u" ", u""},
        {u"", 0, u" ", u""},
        {u"1", 0, u" ", u"1"},
        {NSString(), 3, u" ", NSString()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrStringByChunking(row.string, row.length, row.separator), row.expected)
            << row.string.UTF8() << " / " << row.length;
}

TEST(QVRStringByChunking, FailsItsAssertionForChunksOfNothing)
{
    KeptLog log;
    const auto failure = thrownBy([] { static_cast<void>(qvrStringByChunking(u"12", 0, u" ")); });
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->name(), QVRAssertionFailedException);
    EXPECT_EQ(failure->qvrReason(), NSString(u"Precondition Failed: n != 0"));
    EXPECT_EQ(log.lines.size(), 1u);
}
