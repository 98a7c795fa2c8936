#include "Platform/Foundation/NSRunLoop.h"

#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSTimer.h"
#include "Support/Waiting.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

using support::now;
using support::processorTime;
using support::runLoopFor;
using support::runLoopOnce;

namespace {

std::atomic<time_t> wallClockShift = 0;   // seconds that the program's wall clock is ahead of the system's

}

// Stands before the C library's function for this whole program, so that a test can set the wall clock.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const auto result = static_cast<int>(::syscall(SYS_clock_gettime, clock, time));
    if (result == 0 && clock == CLOCK_REALTIME)
        time->tv_sec += wallClockShift;
    return result;
}

namespace {

NSRunLoop& loop()
{
    return NSRunLoop::currentRunLoop();
}

}

TEST(NSRunLoop, WaitsUntilTheDateWhenNothingIsAttached)
{
    const double start = now();
    runLoopFor(0.1);
    EXPECT_GE(now() - start, 0.1);
    EXPECT_LT(now() - start, 5);
}

TEST(NSRunLoop, UsesNoProcessorTimeWhileItWaits)
{
    runLoopOnce();
    const double start = processorTime();
    runLoopFor(0.3);
    EXPECT_LT(processorTime() - start, 0.05);
}

TEST(NSRunLoop, MakesOnePassForADateInThePast)
{
    for (const NSDate& date : {NSDate(), NSDate::dateWithTimeIntervalSinceNow(-5),
             NSDate::dateWithTimeIntervalSinceReferenceDate(-std::numeric_limits<double>::infinity()),
             NSDate::dateWithTimeIntervalSinceReferenceDate(std::numeric_limits<double>::quiet_NaN())}) {
        int first = 0;
        int second = 0;
        loop().performBlock([&] {
            ++first;
            loop().performBlock([&] { ++second; });
        });
        loop().runUntilDate(date);
        EXPECT_EQ(first, 1);
        EXPECT_EQ(second, 0);
        runLoopOnce();
        EXPECT_EQ(second, 1);
    }
}

TEST(NSRunLoop, DoesNotWaitForADateInThePast)
{
    int fired = 0;
    const NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(60, false, [&] { ++fired; });
    const double start = now();
    for (int pass = 0; pass < 100; ++pass)
        runLoopOnce();
    EXPECT_LT(now() - start, 5);
    EXPECT_EQ(fired, 0);
}

TEST(NSRunLoop, DeliversWhatIsDueThoughTheDateHasPassed)
{
    int fired = 0;
    const NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(0.001, false, [&] { ++fired; });
    const double start = now();
    while (now() - start < 0.002) { }
    runLoopOnce();
    EXPECT_EQ(fired, 1);
}

TEST(NSRunLoop, EndsAtItsDateThoughBlocksNeverCease)
{
    int calls = 0;
    std::function<void()> again = [&] {
        ++calls;
        loop().performBlock(again);
    };
    loop().performBlock(again);
    const double start = now();
    runLoopFor(0.05);
    EXPECT_GE(now() - start, 0.05);
    EXPECT_LT(now() - start, 5);
    EXPECT_GT(calls, 1);
    again = [] {};
    runLoopOnce();
}

TEST(NSRunLoop, PerformsBlocksInTheOrderOfTheCalls)
{
    std::vector<int> performed;
    for (int number = 0; number < 100; ++number)
        loop().performBlock([&performed, number] { performed.push_back(number); });
    EXPECT_TRUE(performed.empty());
    runLoopOnce();
    ASSERT_EQ(performed.size(), 100U);
    EXPECT_TRUE(std::is_sorted(performed.begin(), performed.end()));
}

TEST(NSRunLoop, IsWokenByABlockFromAnotherThread)
{
    NSRunLoop& mine = loop();
    std::thread::id performedOn;
    std::thread other([&] {
        mine.performBlock([&] {
            performedOn = std::this_thread::get_id();
            throw std::runtime_error("ends the run");
        });
    });
    const double start = now();
    EXPECT_THROW(runLoopFor(60), std::runtime_error);
    EXPECT_LT(now() - start, 30);
    other.join();
    EXPECT_EQ(performedOn, std::this_thread::get_id());
}

TEST(NSRunLoop, ReleasesABlockThatHasRun)
{
    auto held = std::make_shared<int>(0);
    loop().performBlock([held] {});
    EXPECT_EQ(held.use_count(), 2);
    runLoopOnce();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(NSRunLoop, IsOnePerThread)
{
    NSRunLoop* first = &loop();
    EXPECT_EQ(first, &loop());
    NSRunLoop* second = nullptr;
    bool performed = false;
    std::thread([&] {
        second = &loop();
        EXPECT_EQ(second, &loop());
        loop().performBlock([&] { performed = true; });
        runLoopFor(0.01);
    }).join();
    EXPECT_NE(first, second);
    EXPECT_TRUE(performed);
}

TEST(NSRunLoop, CannotBeRunOnAnotherThread)
{
    NSRunLoop& mine = loop();
    std::thread([&] { EXPECT_THROW(mine.runUntilDate(NSDate()), NSException); }).join();
}

TEST(NSRunLoop, NestsToAnyDepth)
{
    constexpr int deepest = 500;
    int depth = 0;
    std::function<void()> descend = [&] {
        if (++depth == deepest)
            return;
        loop().performBlock(descend);
        runLoopOnce();
    };
    loop().performBlock(descend);
    runLoopOnce();
    EXPECT_EQ(depth, deepest);
}

TEST(NSRunLoop, EndsAtOnceWhenItsDatePassedDuringANestedRun)
{
    double nestedEnd = 0;
    loop().performBlock([&] {
        runLoopFor(0.1);
        nestedEnd = now();
    });
    const double processorStart = processorTime();
    runLoopFor(0.01);
    EXPECT_GT(nestedEnd, 0);
    EXPECT_LT(now() - nestedEnd, 5);
    EXPECT_LT(processorTime() - processorStart, 0.05) << "the outer run's end kept the nested run busy";
}

TEST(NSRunLoop, DeliversInANestedRunWhatWasDueWithItsCallback)
{
    std::vector<std::string> order;
    loop().performBlock([&] {
        order.push_back("first begins");
        runLoopOnce();
        order.push_back("first ends");
    });
    loop().performBlock([&] { order.push_back("second"); });
    runLoopOnce();
    EXPECT_EQ(order, (std::vector<std::string>{"first begins", "second", "first ends"}));
}

TEST(NSRunLoop, HandsOnWhatACallbackThrows)
{
    loop().performBlock([] { throw NSException(NSGenericException, u"thrown in a block"); });
    const double start = now();
    try {
        runLoopFor(30);
        FAIL() << "nothing was thrown";
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.reason(), NSString(u"thrown in a block"));
    }
    EXPECT_LT(now() - start, 10) << "the run goes on after the exception";
}

TEST(NSRunLoop, HandsOnWhatATimerThrows)
{
    const NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(0.001, false, [] { throw std::runtime_error("late"); });
    EXPECT_THROW(runLoopFor(30), std::runtime_error);
    EXPECT_NO_THROW(runLoopFor(0.005));
}

TEST(NSRunLoop, KeepsWhatWasDueWithAnExceptionForTheNextRun)
{
    std::vector<int> performed;
    loop().performBlock([&] { performed.push_back(1); });
    loop().performBlock([] { throw std::runtime_error("between"); });
    loop().performBlock([&] { performed.push_back(2); });
    EXPECT_THROW(runLoopOnce(), std::runtime_error);
    EXPECT_EQ(performed, (std::vector<int>{1}));
    runLoopOnce();
    EXPECT_EQ(performed, (std::vector<int>{1, 2}));
}

TEST(NSRunLoop, HandsAnExceptionToTheInnermostRunOnly)
{
    bool caughtInside = false;
    bool goesOn = false;
    loop().performBlock([&] {
        loop().performBlock([] { throw std::runtime_error("inner"); });
        try {
            runLoopFor(30);
        } catch (const std::runtime_error&) {
            caughtInside = true;
        }
        loop().performBlock([&] { goesOn = true; });
    });
    EXPECT_NO_THROW(runLoopFor(0.02));
    EXPECT_TRUE(caughtInside);
    EXPECT_TRUE(goesOn);
}

TEST(NSRunLoop, HandsAnExceptionThroughNestedRunsThatDoNotCatchIt)
{
    int unwound = 0;
    struct Counter {
        int& count;
        ~Counter() { ++count; }
    };
    std::function<void(int)> descend = [&](int levels) {
        const Counter counter{unwound};
        if (levels == 0)
            throw std::runtime_error("deepest");
        loop().performBlock([&descend, levels] { descend(levels - 1); });
        runLoopFor(30);
    };
    loop().performBlock([&] { descend(5); });
    EXPECT_THROW(runLoopFor(30), std::runtime_error);
    EXPECT_EQ(unwound, 6);
    EXPECT_FALSE(loop().holdsException());
}

TEST(NSRunLoop, KeepsEveryExceptionOfGuardedCallbacks)
{
    loop().guard([] { throw std::runtime_error("first"); });
    loop().guard([] { throw std::logic_error("second"); });
    EXPECT_TRUE(loop().holdsException());
    EXPECT_THROW(runLoopFor(30), std::runtime_error);
    EXPECT_THROW(runLoopFor(30), std::logic_error);
    EXPECT_NO_THROW(runLoopOnce());
}

TEST(NSRunLoop, EndsInTimeThoughTheWallClockIsSetBack)
{
    loop().performBlock([] { wallClockShift = -3600; });
    const NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(0.02, false, [] { wallClockShift = -7200; });
    const double start = now();
    runLoopFor(0.05);
    const double elapsed = now() - start;
    EXPECT_LT(NSDate::dateWithTimeIntervalSinceNow(0).timeIntervalSinceReferenceDate(),
        ::time(nullptr) - NSTimeIntervalSince1970 - 7000)
        << "the wall clock was not changed";
    wallClockShift = 0;
    EXPECT_FALSE(timer.isValid());
    EXPECT_GE(elapsed, 0.05);
    EXPECT_LT(elapsed, 5);
}

TEST(NSRunLoop, DoesNotEndEarlyThoughTheWallClockIsSetForward)
{
    loop().performBlock([] { wallClockShift = 3600; });
    const double start = now();
    runLoopFor(0.05);
    const double elapsed = now() - start;
    wallClockShift = 0;
    EXPECT_GE(elapsed, 0.05);
}
