#include "QVRStringComparison.h"

#include "Support/Printing.h"

#include <gtest/gtest.h>

namespace {

struct SearchRow {
    NSString string;
    NSString other;
    bool expected;
};

void expectAnswers(bool (*operation)(const NSString&, const NSString&), std::initializer_list<SearchRow> rows)
{
    for (const SearchRow& row : rows)
        EXPECT_EQ(operation(row.string, row.other), row.expected) << row.string.UTF8() << " / " << row.other.UTF8();
}

const NSString eWithAcute = u"e\u0301";
const NSString precomposed = u"\u00e9";

}

TEST(QVRContainsString, SearchesUnitByUnit)
{
    expectAnswers(qvrContainsString,
        {
            {u"abcd", u"bc", true},
            {u"abcd", u"BC", false},
            {u"abcd", u"abcd", true},
            {u"abcd", u"abcde", false},
            {u"caf\u00e9", eWithAcute, false},
            {eWithAcute, u"e", true},
            {u"abcd", u"", false},
            {u"", u"", false},
            {u"abcd", NSString(), false},
            {NSString(), u"a", false},
        });
}

TEST(QVRCaseInsensitiveContainsString, IgnoresCase)
{
    expectAnswers(qvrCaseInsensitiveContainsString,
        {
            {u"Report.PDF", u".pdf", true},
            {u"\u00c9T\u00c9", u"\u00e9t\u00e9", true},
            {u"Report", u"sport", false},
            {u"Report", u"", false},
            {NSString(), u"a", false},
        });
}

TEST(QVRHasCaseInsensitivePrefix, SearchesAtTheStartOnly)
{
    expectAnswers(qvrHasCaseInsensitivePrefix,
        {
            {u"HTTP://host", u"http", true},
            {u"see HTTP", u"http", false},
            {u"\u00c9t\u00e9", u"\u00e9", true},
            {u"\u00e9t\u00e9", u"e", false},
            {u"http", u"https", false},
            {u"http", u"", false},
            {u"http", NSString(), false},
            {NSString(), u"http", false},
        });
}

TEST(QVRHasDiacriticPrefix, IgnoresDiacriticsAndWidthButNotCase)
{
    expectAnswers(qvrHasDiacriticPrefix,
        {
            {u"r\u00e9sum\u00e9", u"resu", true},
            {u"resume", u"r\u00e9", true},
            {u"re\u0301sume\u0301", u"res", true},
            {u"R\u00e9sum\u00e9", u"resu", false},
            {u"\uff52\uff45\uff53", u"res", true},
            {u"res", u"\uff52\uff45", true},
            {u"a r\u00e9sum\u00e9", u"resu", false},
            {u"resume", u"", false},
            {NSString(), u"r", false},
        });
}

TEST(QVRHasDiacriticInsensitivePrefix, IgnoresCaseAsWell)
{
    expectAnswers(qvrHasDiacriticInsensitivePrefix,
        {
            {u"R\u00c9SUM\u00c9", u"resu", true},
            {u"\uff32\uff25\uff33", u"res", true},
            {u"R\u00e9sum\u00e9", u"rasu", false},
            {u"\u03a9\u0345 b\u0345x", u"\u03c9 B", true},
            {u"a R\u00e9sum\u00e9", u"resu", false},
            {u"resume", u"", false},
            {NSString(), u"r", false},
        });
}

TEST(QVRCaseInsensitiveIsEqual, NeedsAStringThatDiffersInCaseAtMost)
{
    const struct {
        NSString string;
        Value object;
        bool expected;
    } rows[] = {
        {u"Utf-8", u"UTF-8", true},
        {u"\u00c9", precomposed, true},
        {u"", u"", true},
        {u"a", u"ab", false},
        {u"a", u"b", false},
        {u"1", 1, false},
        {u"a", NSNull(), false},
        {u"a", Value(), false},
        {u"", Value(), false},
        {NSString(), u"a", false},
        {NSString(), Value(), false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrCaseInsensitiveIsEqual(row.string, row.object), row.expected)
            << row.string.UTF8() << " / " << row.object.description().UTF8();
}

TEST(QVRCompareForDisplay, OrdersNumbersByValueAndLettersWithoutCase)
{
    const struct {
        NSString string;
        NSString other;
        NSComparisonResult expected;
    } rows[] = {
        {u"Page 9", u"Page 10", NSOrderedAscending},
        {u"Page 10", u"page 9", NSOrderedDescending},
        {u"page 10", u"PAGE 10", NSOrderedSame},
        {u"apple", u"Banana", NSOrderedAscending},
        {u"Apple", u"banana", NSOrderedAscending},
        {u"b", u"a", NSOrderedDescending},
        {u"", u"", NSOrderedSame},
        {u"", u"a", NSOrderedAscending},
        {u"a2b10", u"a2b9", NSOrderedDescending},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrCompareForDisplay(row.string, row.other), row.expected) << row.string.UTF8() << " / " << row.other.UTF8();
    EXPECT_EQ(qvrCompareForDisplay(NSString(), u"a"), NSOrderedSame);
}

TEST(QVRCompareLength, LooksAtTheLengthsOnly)
{
    EXPECT_EQ(qvrCompareLength(u"zz", u"aaa"), NSOrderedAscending);
    EXPECT_EQ(qvrCompareLength(u"abc", u"xyz"), NSOrderedSame);
    EXPECT_EQ(qvrCompareLength(eWithAcute, precomposed), NSOrderedDescending);
    EXPECT_EQ(qvrCompareLength(u"", u""), NSOrderedSame);
    EXPECT_EQ(qvrCompareLength(u"a", NSString()), NSOrderedDescending);
    EXPECT_EQ(qvrCompareLength(NSString(), u"a"), NSOrderedSame);
}
