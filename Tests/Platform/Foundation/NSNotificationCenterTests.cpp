#include "Platform/Foundation/NSNotificationCenter.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/Value.h"

#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

struct Plain {
    int content = 0;
};

struct Base {
    virtual ~Base() = default;
    int content = 0;
};

struct OtherBase {
    virtual ~OtherBase() = default;
    int content = 0;
};

struct Derived : Base, OtherBase { };

class NSNotificationCenterTest : public testing::Test {
protected:
    NSNotificationCenter center;
    std::vector<std::string> calls;

    auto record(std::string name)
    {
        return [this, name = std::move(name)](const NSNotification&) { calls.push_back(name); };
    }
};

}

TEST_F(NSNotificationCenterTest, HandsOnNameObjectAndUserInfo)
{
    const Plain object;
    NSNotification received;
    const auto observer =
        center.addObserverForName(u"Name", nullptr, [&](const NSNotification& notification) { received = notification; });
    center.postNotificationName(u"Name", &object, {{u"key", 5}});
    EXPECT_EQ(received.name, NSString(u"Name"));
    EXPECT_EQ(received.object, ObjectIdentity(&object));
    EXPECT_EQ(received.userInfo.objectForKey(u"key").integerValue(), 5);
    center.postNotificationName(u"Name");
    EXPECT_FALSE(received.object);
    EXPECT_TRUE(received.userInfo.isAbsent());
}

TEST_F(NSNotificationCenterTest, TellsOnlyObserversOfTheNameAndObject)
{
    const Plain one;
    const Plain other;
    const auto all = center.addObserverForName({}, nullptr, record("all"));
    const auto named = center.addObserverForName(u"Name", nullptr, record("name"));
    const auto both = center.addObserverForName(u"Name", &one, record("name and object"));
    const auto object = center.addObserverForName({}, &one, record("object"));
    const struct {
        NSString name;
        ObjectIdentity object;
        std::vector<std::string> expected;
    } rows[] = {
        {u"Name", &one, {"all", "name", "name and object", "object"}},
        {u"Name", &other, {"all", "name"}},
        {u"Name", nullptr, {"all", "name"}},
        {u"Other", &one, {"all", "object"}},
        {u"name", nullptr, {"all"}},
    };
    for (const auto& row : rows) {
        calls.clear();
        center.postNotificationName(row.name, row.object);
        EXPECT_EQ(calls, row.expected) << row.name.UTF8();
    }
}

TEST_F(NSNotificationCenterTest, KnowsAnObjectByAnyOfItsBases)
{
    const Derived object;
    const OtherBase& base = object;
    const auto observer = center.addObserverForName(u"Name", &base, record("told"));
    center.postNotificationName(u"Name", &object);
    EXPECT_EQ(calls.size(), 1U);
}

TEST_F(NSNotificationCenterTest, TellsObserversUntilTheirTokenGoes)
{
    {
        const auto observer = center.addObserverForName(u"Name", nullptr, record("told"));
        center.postNotificationName(u"Name");
    }
    center.postNotificationName(u"Name");
    EXPECT_EQ(calls.size(), 1U);
}

TEST_F(NSNotificationCenterTest, EndsTheOldRegistrationWhenATokenIsReplaced)
{
    auto observer = center.addObserverForName(u"Name", nullptr, record("first"));
    observer = center.addObserverForName(u"Name", nullptr, record("second"));
    auto moved = std::move(observer);
    center.postNotificationName(u"Name");
    EXPECT_EQ(calls, (std::vector<std::string>{"second"}));
    moved.remove();
    center.postNotificationName(u"Name");
    EXPECT_EQ(calls.size(), 1U);
}

TEST_F(NSNotificationCenterTest, ReleasesTheHandlerWithTheToken)
{
    auto held = std::make_shared<int>(0);
    auto observer = center.addObserverForName(u"Name", nullptr, [held](const NSNotification&) {});
    EXPECT_EQ(held.use_count(), 2);
    observer.remove();
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(NSNotificationCenterTest, AllowsAHandlerToRemoveItself)
{
    NSNotificationObserver observer;
    auto held = std::make_shared<int>(0);
    observer = center.addObserverForName(u"Name", nullptr, [&observer, held](const NSNotification&) {
        observer.remove();
        ++*held;
    });
    center.postNotificationName(u"Name");
    center.postNotificationName(u"Name");
    EXPECT_EQ(*held, 1);
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(NSNotificationCenterTest, DoesNotTellWhoWasRemovedByAnEarlierHandler)
{
    NSNotificationObserver second;
    const auto first = center.addObserverForName(u"Name", nullptr, [&](const NSNotification&) {
        calls.push_back("first");
        second.remove();
    });
    second = center.addObserverForName(u"Name", nullptr, record("second"));
    center.postNotificationName(u"Name");
    EXPECT_EQ(calls, (std::vector<std::string>{"first"}));
}

TEST_F(NSNotificationCenterTest, DoesNotTellWhoWasAddedByAHandlerUntilTheNextPosting)
{
    NSNotificationObserver added;
    const auto first = center.addObserverForName(u"Name", nullptr, [&](const NSNotification&) {
        calls.push_back("first");
        added = center.addObserverForName(u"Name", nullptr, record("added"));
    });
    center.postNotificationName(u"Name");
    EXPECT_EQ(calls, (std::vector<std::string>{"first"}));
    calls.clear();
    center.postNotificationName(u"Name");
    EXPECT_EQ(calls, (std::vector<std::string>{"first"})) << "the second posting replaces the observer that the first one added";
}

TEST_F(NSNotificationCenterTest, AllowsAHandlerToPost)
{
    const auto outer =
        center.addObserverForName(u"Outer", nullptr, [&](const NSNotification&) { center.postNotificationName(u"Inner"); });
    const auto inner = center.addObserverForName(u"Inner", nullptr, record("inner"));
    center.postNotificationName(u"Outer");
    EXPECT_EQ(calls, (std::vector<std::string>{"inner"}));
}

TEST_F(NSNotificationCenterTest, LetsAHandlersExceptionThrough)
{
    const auto first =
        center.addObserverForName(u"Name", nullptr, [](const NSNotification&) { throw std::runtime_error("refused"); });
    const auto second = center.addObserverForName(u"Name", nullptr, record("second"));
    EXPECT_THROW(center.postNotificationName(u"Name"), std::runtime_error);
    EXPECT_TRUE(calls.empty());
}

TEST_F(NSNotificationCenterTest, RefusesAPostingWithoutAName)
{
    EXPECT_THROW(center.postNotificationName({}), NSException);
}

TEST(NSNotificationCenter, CanGoBeforeItsObservers)
{
    auto center = std::make_unique<NSNotificationCenter>();
    NSNotificationObserver observer = center->addObserverForName(u"Name", nullptr, [](const NSNotification&) {});
    center.reset();
    observer.remove();
}

TEST(NSNotificationCenter, ServesManyThreadsAtOnce)
{
    NSNotificationCenter center;
    std::atomic<int> told = 0;
    const auto lasting = center.addObserverForName(u"Name", nullptr, [&](const NSNotification&) { ++told; });
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&] {
            for (int round = 0; round < 250; ++round) {
                const auto passing = center.addObserverForName(u"Name", nullptr, [](const NSNotification&) {});
                center.postNotificationName(u"Name");
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(told, 1000);
}
