#include "Platform/Foundation/Selector.h"

#include "Support/Printing.h"

#include <gtest/gtest.h>

TEST(Selector, HasANameUnlessItIsAbsent)
{
    EXPECT_EQ(NSStringFromSelector(Selector("load:from:")), NSString(u"load:from:"));
    EXPECT_EQ(NSStringFromSelector(Selector("")), NSString(u""));
    EXPECT_TRUE(NSStringFromSelector(Selector()).isAbsent());
    EXPECT_TRUE(Selector(nullptr).isAbsent());
    EXPECT_EQ(Selector("a"), Selector("a"));
    EXPECT_NE(Selector("a"), Selector("b"));
}
