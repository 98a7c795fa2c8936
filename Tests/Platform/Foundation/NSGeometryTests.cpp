#include "Platform/Foundation/NSGeometry.h"

#include "Support/Printing.h"

#include <gtest/gtest.h>

TEST(NSGeometry, WritesNumbersInTheirShortestFormBetweenBraces)
{
    EXPECT_EQ(NSStringFromPoint({1, -2.5}), NSString(u"{1, -2.5}"));
    EXPECT_EQ(NSStringFromSize({100, 0.1}), NSString(u"{100, 0.1}"));
    EXPECT_EQ(NSStringFromRect({{1, 2}, {3, 4}}), NSString(u"{{1, 2}, {3, 4}}"));
}

TEST(NSSizeFromString, TakesTheFirstTwoNumbers)
{
    const struct {
        NSString text;
        NSSize size;
    } rows[] = {
        {u"{100, 50}", {100, 50}},
        {u"{ 100 ,50 }", {100, 50}},
        {u"100 by 50 by 25", {100, 50}},
        {u"-1.5e2 +.5", {-150, 0.5}},
        {u"{100}", {100, 0}},
        {u"--3 - 4", {-3, 4}},
        {u"{}", {0, 0}},
        {u"abc", {0, 0}},
        {u"", {0, 0}},
        {u"{1e999, 7}", {0, 7}},
        {NSString(), {0, 0}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(NSSizeFromString(row.text), row.size) << row.text.UTF8();
}

TEST(NSSizeFromString, ReadsBackWhatNSStringFromSizeWrites)
{
    for (const NSSize size :
        {NSSize{0, 0}, NSSize{0.1, 1.0 / 3}, NSSize{-1e-300, 1.7976931348623157e308}, NSSize{1e21, 123456789.125}})
        EXPECT_EQ(NSSizeFromString(NSStringFromSize(size)), size);
}
