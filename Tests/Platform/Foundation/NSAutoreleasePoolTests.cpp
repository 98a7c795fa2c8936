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

    struct Object {
        std::function<void()> atEnd;
        ~Object() { atEnd(); }
    };
    void autorelease(const std::string& name)
    {
        NSAutoreleasePool::autorelease(std::make_shared<Object>(Object{[this, name] { ended.push_back(name); }}));
    }
};

}

TEST_F(NSAutoreleasePoolTest, KeepsObjectsUntilItEnds)
{
    {
        const NSAutoreleasePool pool;
        autorelease("object");
        EXPECT_TRUE(ended.empty());
    }
    EXPECT_EQ(ended, (std::vector<std::string>{"object"}));
}

TEST_F(NSAutoreleasePoolTest, LetsTheNewestGoFirst)
{
    NSAutoreleasePool pool;
    autorelease("first");
    autorelease("second");
    pool.drain();
    EXPECT_EQ(ended, (std::vector<std::string>{"second", "first"}));
    pool.drain();
    EXPECT_EQ(ended.size(), 2U);
}

TEST_F(NSAutoreleasePoolTest, KeepsObjectsInTheInnermostPool)
{
    NSAutoreleasePool outer;
    autorelease("outer");
    {
        const NSAutoreleasePool inner;
        autorelease("inner");
    }
    EXPECT_EQ(ended, (std::vector<std::string>{"inner"}));
    autorelease("outer again");
    outer.drain();
    EXPECT_EQ(ended, (std::vector<std::string>{"inner", "outer again", "outer"}));
}

TEST_F(NSAutoreleasePoolTest, ClosesThePoolsInsideItToo)
{
    std::optional<NSAutoreleasePool> outer(std::in_place);
    std::optional<NSAutoreleasePool> inner(std::in_place);
    autorelease("inner");
    outer.reset();
    EXPECT_EQ(ended, (std::vector<std::string>{"inner"}));
    const NSAutoreleasePool unrelated;
    autorelease("unrelated");
    inner.reset();
    EXPECT_EQ(ended.size(), 1U) << "a pool that was closed already closed another one in its place";
}

TEST_F(NSAutoreleasePoolTest, IsReclaimedByTheEnclosingOneWhenLeftOpen)
{
    NSAutoreleasePool outer;
    {
        NSAutoreleasePool inner;
        autorelease("inner");
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
        NSAutoreleasePool::autorelease(std::make_shared<Object>(Object{[this] {
            ended.push_back("first");
            autorelease("second");
            NSAutoreleasePool open;
            autorelease("third");
            open.leaveOpen();
        }}));
    }
    EXPECT_EQ(ended, (std::vector<std::string>{"first", "third", "second"}));
}

TEST_F(NSAutoreleasePoolTest, KeepsObjectsToTheEndOfTheThreadWhenThereIsNoPool)
{
    std::thread([this] {
        autorelease("object");
        EXPECT_TRUE(ended.empty());
    }).join();
    EXPECT_EQ(ended, (std::vector<std::string>{"object"}));
}

TEST_F(NSAutoreleasePoolTest, OfOneThreadIsNoneOfAnothers)
{
    const NSAutoreleasePool pool;
    autorelease("mine");
    std::thread([this] {
        NSAutoreleasePool other;
        autorelease("other");
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
