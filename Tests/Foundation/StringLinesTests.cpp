#include "QVRStringLines.h"

#include "Support/Printing.h"

#include <gtest/gtest.h>

TEST(QVRComponentsSeparatedByLineSeparators, EndsLinesAtEachKindOfLineEnd)
{
    const struct {
        NSString string;
        NSArray expected;
    } rows[] = {
        {u"", NSArray({})},
        {u"a", {u"a"}},
        {u"a\n", {u"a"}},
        {u"a\n\nb", {u"a", u"", u"b"}},
        {u"a\nb", {u"a", u"b"}},
        {u"a\rb", {u"a", u"b"}},
        {u"a\r\nb", {u"a", u"b"}},
        {u"a\n\rb", {u"a", u"", u"b"}},
        {u"a\u0085b", {u"a", u"b"}},
        {u"a\u2028b", {u"a", u"b"}},
        {u"a\u2029b", {u"a", u"b"}},
        {u"a\fb\vc\td", {u"a\fb\vc\td"}},
        {u"\n", {u""}},
        {u"\r\n", {u""}},
        {u"\n\n", {u"", u""}},
        {u"\na", {u"", u"a"}},
        {u"a\n\n", {u"a", u""}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrComponentsSeparatedByLineSeparators(row.string), row.expected) << row.string.UTF8();
    EXPECT_TRUE(qvrComponentsSeparatedByLineSeparators(NSString()).isAbsent());
}

TEST(QVRStringByNormalizingLineBreaks, TurnsReturnsIntoLineFeeds)
{
    const struct {
        NSString string;
        NSString expected;
    } rows[] = {
        {u"a\r\rb\r\n", u"a\n\nb\n"},
        {u"a\nb", u"a\nb"},
        {u"\r\n\r\n", u"\n\n"},
        {u"\r\r\n", u"\n\n"},
        {u"\n\r", u"\n\n"},
        {u"\r", u"\n"},
        {u"a\u0085b\u2028c", u"a\u0085b\u2028c"},
        {u"", u""},
        {NSString(), NSString()},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrStringByNormalizingLineBreaks(row.string), row.expected) << row.string.UTF8();
}
