#include "QVRStringCharacters.h"

#include "Support/Printing.h"

#include <gtest/gtest.h>

namespace {

NSCharacterSet digits()
{
    return NSCharacterSet::characterSetWithCharactersInString(u"0123456789");
}

const NSString nulls = std::u16string({u'\0', u'a', u'\0', u'\0', u'b', u'\0'});

}

TEST(QVRHasCharacter, ComparesTheUnitAtAnIndexAndIsFalseBeyondTheEnd)
{
    EXPECT_TRUE(qvrHasCharacter(u"abc", u'b', 1));
    EXPECT_FALSE(qvrHasCharacter(u"abc", u'b', 0));
    EXPECT_FALSE(qvrHasCharacter(u"abc", u'c', 3));
    EXPECT_FALSE(qvrHasCharacter(u"abc", u'c', UINT64_MAX));
    EXPECT_FALSE(qvrHasCharacter(u"", u'\0', 0));
    EXPECT_TRUE(qvrHasCharacter(u"\U0001f600", char16_t(0xde00), 1));
    EXPECT_FALSE(qvrHasCharacter(NSString(), u'a', 0));
}

TEST(QVRContainsCharacter, FindsAUnit)
{
    EXPECT_TRUE(qvrContainsCharacter(u"abc", u'c'));
    EXPECT_FALSE(qvrContainsCharacter(u"abc", u'd'));
    EXPECT_TRUE(qvrContainsCharacter(nulls, u'\0'));
    EXPECT_TRUE(qvrContainsCharacter(u"\U0001f600", char16_t(0xd83d)));
    EXPECT_FALSE(qvrContainsCharacter(u"", u'a'));
    EXPECT_FALSE(qvrContainsCharacter(NSString(), u'\0'));
}

TEST(QVRCountOccurrencesOfCharacter, CountsUnits)
{
    EXPECT_EQ(qvrCountOccurrencesOfCharacter(u"banana", u'a'), 3u);
    EXPECT_EQ(qvrCountOccurrencesOfCharacter(u"banana", u'x'), 0u);
    EXPECT_EQ(qvrCountOccurrencesOfCharacter(nulls, u'\0'), 4u);
    EXPECT_EQ(qvrCountOccurrencesOfCharacter(u"", u'a'), 0u);
    EXPECT_EQ(qvrCountOccurrencesOfCharacter(NSString(), u'a'), 0u);
}

TEST(QVRMatchesCharacterSet, NeedsEveryUnitInTheSet)
{
    EXPECT_TRUE(qvrMatchesCharacterSet(u"2024", digits()));
    EXPECT_FALSE(qvrMatchesCharacterSet(u"2024a", digits()));
    EXPECT_FALSE(qvrMatchesCharacterSet(u" 2024", digits()));
    EXPECT_TRUE(qvrMatchesCharacterSet(u"", digits()));
    EXPECT_FALSE(qvrMatchesCharacterSet(NSString(), digits()));
}

TEST(QVRStringByKeepingCharactersInSet, KeepsTheMembersInTheirOrder)
{
    EXPECT_EQ(qvrStringByKeepingCharactersInSet(u"+1 (555) 01-23", digits()), NSString(u"15550123"));
    EXPECT_EQ(qvrStringByKeepingCharactersInSet(u"abc", digits()), NSString(u""));
    EXPECT_EQ(qvrStringByKeepingCharactersInSet(u"42", digits()), NSString(u"42"));
    EXPECT_EQ(qvrStringByKeepingCharactersInSet(u"", digits()), NSString(u""));
    EXPECT_TRUE(qvrStringByKeepingCharactersInSet(NSString(), digits()).isAbsent());
}

TEST(QVRStringByTrimmingNulls, RemovesNullsWhereverTheyStand)
{
    EXPECT_EQ(qvrStringByTrimmingNulls(nulls), NSString(u"ab"));
    EXPECT_EQ(qvrStringByTrimmingNulls(NSString(std::u16string(3, u'\0'))), NSString(u""));
    EXPECT_EQ(qvrStringByTrimmingNulls(u"ab"), NSString(u"ab"));
    EXPECT_EQ(qvrStringByTrimmingNulls(u""), NSString(u""));
    EXPECT_TRUE(qvrStringByTrimmingNulls(NSString()).isAbsent());
}

TEST(QVRStringByStripping, TakesWhiteSpaceAndLineBreaksOffBothEnds)
{
    const struct {
        NSString string;
        NSString expected;
    } rows[] = {
        {u"  page title \n", u"page title"},
        {u"\t\r\n\u0085\u2028\u2029\u00a0\u3000a b\u2003", u"a b"},
        {u"a", u"a"},
        {u" \n ", u""},
        {u"", u""},
        {NSString(), NSString()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrStringByStripping(row.string), row.expected) << row.string.UTF8();
}
