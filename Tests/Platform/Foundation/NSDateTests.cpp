#include "Platform/Foundation/NSDate.h"

#include "Platform/Foundation/NSString.h"
#include "Support/EnvironmentVariable.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>

#include <ctime>
#include <limits>

namespace {

NSDate at(double seconds)
{
    return NSDate::dateWithTimeIntervalSinceReferenceDate(seconds);
}

}

TEST(NSDate, CountsSecondsFromTheReferenceDate)
{
    const double before = static_cast<double>(std::time(nullptr)) - NSTimeIntervalSince1970;
    const NSDate now = NSDate::date();
    const double after = static_cast<double>(std::time(nullptr)) - NSTimeIntervalSince1970;
    EXPECT_GE(now.timeIntervalSinceReferenceDate(), before - 1);
    EXPECT_LE(now.timeIntervalSinceReferenceDate(), after + 1);
    EXPECT_LE(now.timeIntervalSinceNow(), 0);
    EXPECT_GT(now.timeIntervalSinceNow(), -60);
    const NSDate later = NSDate::dateWithTimeIntervalSinceNow(1000);
    EXPECT_GT(later.timeIntervalSinceNow(), 900);
    EXPECT_LE(later.timeIntervalSinceNow(), 1000);
    EXPECT_LT(NSDate::dateWithTimeIntervalSinceNow(-1000).timeIntervalSinceNow(), -999);
}

TEST(NSDate, IsAbsentUntilItIsSet)
{
    const NSDate none;
    EXPECT_TRUE(none.isAbsent());
    EXPECT_EQ(none.timeIntervalSinceReferenceDate(), 0);
    EXPECT_EQ(none.timeIntervalSinceNow(), 0);
    EXPECT_TRUE(none.description().isAbsent());
    EXPECT_NE(none, at(0));
    EXPECT_EQ(NSDate(), NSDate());
}

TEST(NSDate, IsOrderedInTime)
{
    EXPECT_LT(at(1), at(2));
    EXPECT_EQ(at(1), at(1));
    EXPECT_GT(at(1.5), at(1));
    EXPECT_LT(NSDate(), at(-1e9));
}

TEST(NSDateDescription, IsInUniversalTime)
{
    const support::EnvironmentVariable zone("TZ", "America/New_York");
    const struct {
        double seconds;
        const char* text;
    } rows[] = {
        {0, "2001-01-01 00:00:00 +0000"},
        {0.9, "2001-01-01 00:00:00 +0000"},
        {-0.5, "2000-12-31 23:59:59 +0000"},
        {-NSTimeIntervalSince1970, "1970-01-01 00:00:00 +0000"},
        {817070400 - 0.25, "2026-11-22 19:59:59 +0000"},
        {-63113904000, "0001-01-01 00:00:00 +0000"},
        {252423993600 + 0.0, "10000-01-01 00:00:00 +0000"},
    };
    for (const auto& [seconds, text] : rows)
        EXPECT_EQ(at(seconds).description().UTF8(), text) << seconds;
}

TEST(NSDateDescription, EndsForEveryNumber)
{
    for (const double seconds : {1e300, -1e300, std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
             std::numeric_limits<double>::quiet_NaN()})
        EXPECT_TRUE(at(seconds).description().hasSuffix(u" +0000")) << seconds;
}
