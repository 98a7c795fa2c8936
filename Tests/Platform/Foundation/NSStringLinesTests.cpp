#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"

#include <gtest/gtest.h>

static void PrintTo(const NSLineRange& line, std::ostream* out)
{
    *out << "{" << line.start << ", " << line.end << ", " << line.contentsEnd << "}";
}

TEST(NSStringLines, AreFoundAroundARange)
{
    const struct {
        const char16_t* text;
        NSRange range;
        NSLineRange line;
    } rows[] = {
        {u"", {0, 0}, {0, 0, 0}},
        {u"abc", {0, 0}, {0, 3, 3}},
        {u"abc", {3, 0}, {0, 3, 3}},
        {u"a\nb", {0, 0}, {0, 2, 1}},
        {u"a\nb", {1, 0}, {0, 2, 1}},
        {u"a\nb", {2, 0}, {2, 3, 3}},
        {u"a\n", {2, 0}, {2, 2, 2}},
        {u"a\r\nb", {0, 0}, {0, 3, 1}},
        {u"a\r\nb", {1, 0}, {0, 3, 1}},
        {u"a\r\nb", {2, 0}, {0, 3, 1}},
        {u"a\r\nb", {2, 1}, {0, 3, 1}},
        {u"a\r\nb", {3, 0}, {3, 4, 4}},
        {u"\r\r\n\n", {0, 0}, {0, 1, 0}},
        {u"\r\r\n\n", {1, 0}, {1, 3, 1}},
        {u"\r\r\n\n", {3, 0}, {3, 4, 3}},
        {u"a\u0085b", {0, 0}, {0, 2, 1}},
        {u"a\u2028b", {0, 0}, {0, 2, 1}},
        {u"a\u2029b", {2, 0}, {2, 3, 3}},
        {u"a\u000bb\u000cc", {0, 0}, {0, 5, 5}},
        // A range that ends behind a line end does not touch the next line.
        {u"a\nb\nc", {0, 2}, {0, 2, 1}},
        {u"a\nb\nc", {0, 3}, {0, 4, 3}},
        {u"a\nb\nc", {0, 5}, {0, 5, 5}},
        {u"a\nb\nc", {2, 1}, {2, 4, 3}},
    };
    for (const auto& [text, range, line] : rows)
        EXPECT_EQ(NSString(text).lineRangeForRange(range), line)
            << NSString(text).UTF8() << " " << NSStringFromRange(range).UTF8();
}

TEST(NSStringLines, RaiseForARangeBeyondTheText)
{
    EXPECT_THROW((void)NSString(u"abc").lineRangeForRange({4, 0}), NSException);
    EXPECT_THROW((void)NSString(u"abc").lineRangeForRange({2, 2}), NSException);
}
