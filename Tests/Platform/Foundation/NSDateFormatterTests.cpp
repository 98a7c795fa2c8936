#include "Platform/Foundation/NSDateFormatter.h"

#include "Platform/Foundation/NSDate.h"

#include <ctime>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace {

NSDate dateWithUnixTime(double seconds)
{
    return NSDate::dateWithTimeIntervalSinceReferenceDate(seconds - NSTimeIntervalSince1970);
}

// What the C library makes of the same moment in local time.
std::string localTime(time_t seconds, const char* pattern)
{
    tm local = {};
    ::localtime_r(&seconds, &local);
    char text[64];
    return {text, std::strftime(text, sizeof text, pattern, &local)};
}

}

TEST(NSDateFormatter, WritesLocalTimeToTheMillisecond)
{
    NSDateFormatter formatter;
    formatter.setDateFormat(u"yyyy-MM-dd HH:mm:ss.SSS");
    for (const time_t seconds : {time_t(0), time_t(1'000'000'000), time_t(1'720'000'000), time_t(1'735'689'599)})
        EXPECT_EQ(formatter.stringFromDate(dateWithUnixTime(static_cast<double>(seconds))).UTF8(),
            localTime(seconds, "%Y-%m-%d %H:%M:%S") + ".000");
}

TEST(NSDateFormatter, CutsFractionsOfASecond)
{
    NSDateFormatter formatter;
    formatter.setDateFormat(u"ss.SSS");
    const struct {
        double fraction;
        const char* expected;
    } rows[] = {{0.123, "40.123"}, {0.007, "40.007"}, {0.9996, "40.999"}, {0.5, "40.500"}, {0.0004, "40.000"}};
    for (const auto& row : rows)
        EXPECT_EQ(formatter.stringFromDate(dateWithUnixTime(1'720'000'000 + row.fraction)).UTF8(), row.expected);
}

TEST(NSDateFormatter, UsesThePatternThatWasSetLast)
{
    NSDateFormatter formatter;
    formatter.setDateFormat(u"HH");
    const NSDate date = dateWithUnixTime(1'720'000'000);
    EXPECT_EQ(formatter.stringFromDate(date).UTF8(), localTime(1'720'000'000, "%H"));
    formatter.setDateFormat(u"'literal' yyyy");
    EXPECT_EQ(formatter.stringFromDate(date).UTF8(), "literal " + localTime(1'720'000'000, "%Y"));
    formatter.setDateFormat(std::u16string(100, u'-') + u"MM");
    EXPECT_EQ(formatter.stringFromDate(date).UTF8(), std::string(100, '-') + localTime(1'720'000'000, "%m"));
}

TEST(NSDateFormatter, GivesNothingWithoutADateOrAPattern)
{
    NSDateFormatter formatter;
    EXPECT_TRUE(formatter.stringFromDate(dateWithUnixTime(0)).isAbsent());
    formatter.setDateFormat(u"HH");
    EXPECT_TRUE(formatter.stringFromDate(NSDate()).isAbsent());
}

TEST(NSDateFormatter, ServesManyThreadsAtOnce)
{
    NSDateFormatter formatter;
    formatter.setDateFormat(u"yyyy-MM-dd HH:mm:ss.SSS");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&formatter, thread] {
            for (int number = 0; number < 200; ++number) {
                const time_t seconds = 1'720'000'000 + thread * 1000 + number;
                EXPECT_EQ(formatter.stringFromDate(dateWithUnixTime(static_cast<double>(seconds))).UTF8(),
                    localTime(seconds, "%Y-%m-%d %H:%M:%S") + ".000");
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}
