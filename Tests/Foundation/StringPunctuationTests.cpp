#include "QVRStringPunctuation.h"

#include "Support/Printing.h"

#include <gtest/gtest.h>

TEST(QVRPunctuation, IsOneCharacterEach)
{
    const struct {
        NSString (*operation)();
        char16_t expected;
    } rows[] = {
        {qvrEllipsis, 0x2026},
        {qvrEnDash, 0x2013},
        {qvrEmDash, 0x2014},
        {qvrLeftDoubleQuote, 0x201c},
        {qvrRightDoubleQuote, 0x201d},
        {qvrLeftSingleQuote, 0x2018},
        {qvrRightSingleQuote, 0x2019},
        {qvrLeftDoubleGuillemet, 0x00ab},
        {qvrRightDoubleGuillemet, 0x00bb},
        {qvrLeftSingleGuillemet, 0x2039},
        {qvrRightSingleGuillemet, 0x203a},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.operation(), NSString(std::u16string(1, row.expected))) << std::hex << static_cast<int>(row.expected);
}

TEST(QVRDoubleQuotedString, StandsBetweenTypographicQuotes)
{
    EXPECT_EQ(qvrDoubleQuotedString(u"page"), NSString(u"\u201cpage\u201d"));
    EXPECT_EQ(qvrDoubleQuotedString(u""), NSString(u"\u201c\u201d"));
    EXPECT_TRUE(qvrDoubleQuotedString(NSString()).isAbsent());
}
