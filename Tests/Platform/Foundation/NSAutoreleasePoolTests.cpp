#include "Platform/Foundation/NSAutoreleasePool.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

class NSAutoreleasePoolTest : public testing::Test {
protected:
    std::vector<std::string> ended;

    // Puts an object that calls `atEnd` at its end into the innermost pool.
    void autorelease(std::function<void()> atEnd)
    {
        NSAutoreleasePool::autorelease(std::shared_ptr<const void>(this, [atEnd = std::move(atEnd)](const void*) { atEnd(); }));
    }
    void autoreleaseNamed(const std::string& name)
    {
        autorelease([this, name] { ended.push_back(name); });
    }
};

}

TEST_F(NSAutoreleasePoolTest, KeepsObjectsUntilItEnds)
{
    {
        const NSAutoreleasePool pool;
        autoreleaseNamed("object");
        EXPECT_TRUE(ended.empty());
    }
    EXPECT_EQ(ended, (std::vector<std::string>{"object"}));
}

TEST_F(NSAutoreleasePoolTest, LetsTheNewestGoFirst)
{
    NSAutoreleasePool pool;
    autoreleaseNamed("first");
    autoreleaseNamed("second");
    pool.drain();
    EXPECT_EQ(ended, (std::vector<std::string>{"second", "first"}));
    pool.drain();
    EXPECT_EQ(ended.size(), 2U);
}

TEST_F(NSAutoreleasePoolTest, KeepsObjectsInTheInnermostPool)
{
    NSAutoreleasePool outer;
    autoreleaseNamed("outer");
    {
        const NSAutoreleasePool inner;
        autoreleaseNamed("inner");
    }
    EXPECT_EQ(ended, (std::vector<std::string>{"inner"}));
    autoreleaseNamed("outer again");
    outer.drain();
    EXPECT_EQ(ended, (std::vector<std::string>{"inner", "outer again", "outer"}));
}

TEST_F(NSAutoreleasePoolTest, ClosesThePoolsInsideItToo)
{
    std::optional<NSAutoreleasePool> outer(std::in_place);
    std::optional<NSAutoreleasePool> inner(std::in_place);
    autoreleaseNamed("inner");
    outer.reset();
    EXPECT_EQ(ended, (std::vector<std::string>{"inner"}));
    const NSAutoreleasePool unrelated;
    autoreleaseNamed("unrelated");
    inner.reset();
    EXPECT_EQ(ended.size(), 1U) << "a pool that was closed already closed another one in its place";
}

TEST_F(NSAutoreleasePoolTest, IsReclaimedByTheEnclosingOneWhenLeftOpen)
{
    NSAutoreleasePool outer;
    {
        NSAutoreleasePool inner;
        autoreleaseNamed("inner");
        inner.leaveOpen();
    }
    EXPECT_TRUE(ended.empty());
    outer.drain();
    EXPECT_EQ(ended, (std::vector<std::string>{"inner"}));
}

TEST_F(NSAutoreleasePoolTest, LetsGoWhatAnObjectsEndPutsIntoIt)
{
    {
        const NSAutoreleasePool pool;
        autorelease([this] {
            ended.push_back("first");
            autoreleaseNamed("second");
            NSAutoreleasePool open;
            autoreleaseNamed("third");
            open.leaveOpen();
        });
    }
    EXPECT_EQ(ended, (std::vector<std::string>{"first", "third", "second"}));
}

TEST_F(NSAutoreleasePoolTest, KeepsObjectsToTheEndOfTheThreadWhenThereIsNoPool)
{
    std::thread([this] {
        autoreleaseNamed("object");
        EXPECT_TRUE(ended.empty());
    }).join();
    EXPECT_EQ(ended, (std::vector<std::string>{"object"}));
}

TEST_F(NSAutoreleasePoolTest, OfOneThreadIsNoneOfAnothers)
{
    const NSAutoreleasePool pool;
    autoreleaseNamed("mine");
    std::thread([this] {
        NSAutoreleasePool other;
        autoreleaseNamed("other");
        other.drain();
    }).join();
    EXPECT_EQ(ended, (std::vector<std::string>{"other"}));
}

TEST_F(NSAutoreleasePoolTest, TakesAbsentObjects)
{
    NSAutoreleasePool pool;
    NSAutoreleasePool::autorelease(nullptr);
    pool.drain();
    EXPECT_TRUE(ended.empty());
}
