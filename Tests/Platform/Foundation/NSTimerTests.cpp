#include "Platform/Foundation/NSTimer.h"

#include "Support/Waiting.h"

#include <algorithm>
#include <chrono>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

using support::now;
using support::runLoopFor;
using support::runLoopOnce;
using support::runLoopUntil;

namespace {

void blockThreadFor(double seconds)
{
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

}

TEST(NSTimer, FiresOnceAfterItsInterval)
{
    int fired = 0;
    double firedAt = 0;
    const double start = now();
    const NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(0.02, false, [&] {
        ++fired;
        firedAt = now();
    });
    EXPECT_TRUE(timer.isValid());
    EXPECT_EQ(fired, 0);
    ASSERT_TRUE(runLoopUntil([&] { return fired > 0; }));
    EXPECT_GE(firedAt - start, 0.02);
    EXPECT_FALSE(timer.isValid());
    runLoopFor(0.05);
    EXPECT_EQ(fired, 1);
}

TEST(NSTimer, FiresOnlyInsideARunOfTheLoop)
{
    int fired = 0;
    const NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(0.001, true, [&] { ++fired; });
    blockThreadFor(0.01);
    EXPECT_EQ(fired, 0);
    runLoopOnce();
    EXPECT_EQ(fired, 1);
}

TEST(NSTimer, GoesOnFiringWhenItRepeats)
{
    int fired = 0;
    const NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(0.005, true, [&] { ++fired; });
    const double start = now();
    ASSERT_TRUE(runLoopUntil([&] { return fired >= 5; }));
    EXPECT_GE(now() - start, 0.025);
    EXPECT_TRUE(timer.isValid());
}

TEST(NSTimer, MakesUpForMissedFiringsByOne)
{
    int fired = 0;
    const NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(0.01, true, [&] { ++fired; });
    blockThreadFor(0.055);
    runLoopOnce();
    EXPECT_EQ(fired, 1);
}

TEST(NSTimer, DoesNotFireAfterInvalidation)
{
    int fired = 0;
    NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(0.001, true, [&] { ++fired; });
    timer.invalidate();
    EXPECT_FALSE(timer.isValid());
    timer.invalidate();
    runLoopFor(0.01);
    EXPECT_EQ(fired, 0);
}

TEST(NSTimer, DoesNotFireAfterItsDestruction)
{
    int fired = 0;
    {
        const NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(0.001, true, [&] { ++fired; });
    }
    runLoopFor(0.01);
    EXPECT_EQ(fired, 0);
}

TEST(NSTimer, CanInvalidateItselfInItsBlock)
{
    int fired = 0;
    NSTimer timer;
    timer = NSTimer::scheduledTimerWithTimeInterval(0.001, true, [&] {
        if (++fired == 3)
            timer.invalidate();
    });
    ASSERT_TRUE(runLoopUntil([&] { return fired == 3; }));
    runLoopFor(0.02);
    EXPECT_EQ(fired, 3);
}

TEST(NSTimer, CanBeDestroyedInItsBlock)
{
    for (const bool repeats : {false, true}) {
        auto held = std::make_shared<int>(0);
        std::optional<NSTimer> timer;
        timer = NSTimer::scheduledTimerWithTimeInterval(0.001, repeats, [&timer, held] {
            timer.reset();
            ++*held;   // what the block holds must live until it returns
        });
        ASSERT_TRUE(runLoopUntil([&] { return *held > 0; }));
        runLoopFor(0.01);
        EXPECT_EQ(*held, 1);
        EXPECT_EQ(held.use_count(), 1);
    }
}

TEST(NSTimer, CanBeReplacedInItsBlock)
{
    int first = 0;
    int second = 0;
    NSTimer timer;
    timer = NSTimer::scheduledTimerWithTimeInterval(0.001, true, [&] {
        ++first;
        timer = NSTimer::scheduledTimerWithTimeInterval(0.001, true, [&] { ++second; });
    });
    ASSERT_TRUE(runLoopUntil([&] { return second >= 2; }));
    EXPECT_EQ(first, 1);
}

TEST(NSTimer, ReleasesItsBlockWhenInvalidated)
{
    auto held = std::make_shared<int>(0);
    NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(60, true, [held] {});
    EXPECT_EQ(held.use_count(), 2);
    timer.invalidate();
    EXPECT_EQ(held.use_count(), 1);
}

TEST(NSTimer, DoesNotFireWhileItsBlockRunsTheLoop)
{
    int depth = 0;
    int deepest = 0;
    int fired = 0;
    const NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(0.001, true, [&] {
        ++fired;
        deepest = std::max(deepest, ++depth);
        runLoopFor(0.01);
        --depth;
    });
    ASSERT_TRUE(runLoopUntil([&] { return fired >= 3; }));
    EXPECT_EQ(deepest, 1);
}

TEST(NSTimer, FiresInsideANestedRunOfAnotherTimer)
{
    bool inner = false;
    bool seenInside = false;
    const NSTimer fast = NSTimer::scheduledTimerWithTimeInterval(0.005, false, [&] { inner = true; });
    const NSTimer outer =
        NSTimer::scheduledTimerWithTimeInterval(0.001, false, [&] { seenInside = runLoopUntil([&] { return inner; }); });
    ASSERT_TRUE(runLoopUntil([&] { return seenInside; }));
}

TEST(NSTimer, GoesOnAfterItsBlockHasThrown)
{
    int fired = 0;
    const NSTimer timer = NSTimer::scheduledTimerWithTimeInterval(0.001, true, [&] {
        if (++fired == 1)
            throw std::runtime_error("first firing");
    });
    EXPECT_THROW(runLoopFor(10), std::runtime_error);
    EXPECT_TRUE(timer.isValid());
    EXPECT_TRUE(runLoopUntil([&] { return fired > 1; }));
}

TEST(NSTimer, FollowsItsOwnerWhenMoved)
{
    int fired = 0;
    NSTimer first = NSTimer::scheduledTimerWithTimeInterval(0.001, true, [&] { ++fired; });
    NSTimer second = std::move(first);
    EXPECT_TRUE(second.isValid());
    EXPECT_TRUE(runLoopUntil([&] { return fired > 0; }));
    second = NSTimer();
    const int firedBefore = fired;
    runLoopFor(0.01);
    EXPECT_EQ(fired, firedBefore);
}

TEST(NSTimer, AcceptsIntervalsOfAnySize)
{
    int soon = 0;
    int never = 0;
    const NSTimer zero = NSTimer::scheduledTimerWithTimeInterval(0, true, [&] { ++soon; });
    const NSTimer negative = NSTimer::scheduledTimerWithTimeInterval(-5, false, [&] { ++soon; });
    const NSTimer notANumber =
        NSTimer::scheduledTimerWithTimeInterval(std::numeric_limits<double>::quiet_NaN(), false, [&] { ++soon; });
    const NSTimer endless =
        NSTimer::scheduledTimerWithTimeInterval(std::numeric_limits<double>::infinity(), true, [&] { ++never; });
    EXPECT_TRUE(runLoopUntil([&] { return soon >= 10; }));
    EXPECT_EQ(never, 0);
    EXPECT_TRUE(endless.isValid());
}
