#include "Tools/Deadline.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

TEST(Deadline, NeverComesWhereThereIsNone)
{
    const Deadline none;
    EXPECT_FALSE(none);
    EXPECT_FALSE(none.hasPassed());
    EXPECT_FALSE(none.date());
}

TEST(Deadline, ComesWhenItsTimeHasPassed)
{
    EXPECT_TRUE(Deadline::after(0).hasPassed());
    EXPECT_TRUE(Deadline::after(-1).hasPassed());
    const Deadline later = Deadline::after(60);
    EXPECT_TRUE(later);
    EXPECT_FALSE(later.hasPassed());
    EXPECT_GT(later.date().timeIntervalSinceNow(), 50);
    EXPECT_LE(later.date().timeIntervalSinceNow(), 60);
}

TEST(Deadline, TakesAnyTime)
{
    EXPECT_FALSE(Deadline::after(std::numeric_limits<double>::max()).hasPassed());
    EXPECT_FALSE(Deadline::after(static_cast<double>(std::numeric_limits<int64_t>::max())).hasPassed());
    EXPECT_TRUE(Deadline::after(std::numeric_limits<double>::lowest()).hasPassed());
}
