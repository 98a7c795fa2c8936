#include "Platform/Foundation/NSThread.h"

#include "Platform/Foundation/NSString.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <thread>

namespace {

// Runs `body` on a new thread, to its end.
template <typename Body>
void onNewThread(Body body)
{
    std::thread(body).join();
}

}

TEST(NSThread, IsOneObjectPerThread)
{
    const NSThread* main = &NSThread::currentThread();
    EXPECT_EQ(main, &NSThread::currentThread());
    onNewThread([&] {
        EXPECT_NE(main, &NSThread::currentThread());
        EXPECT_EQ(&NSThread::currentThread(), &NSThread::currentThread());
    });
}

TEST(NSThread, TellsTheMainThreadFromOthers)
{
    EXPECT_TRUE(NSThread::isMainThread());
    onNewThread([] { EXPECT_FALSE(NSThread::isMainThread()); });
}

TEST(NSThread, HasAnEmptyNameUnlessOneWasGiven)
{
    EXPECT_EQ(NSThread::currentThread().name(), NSString(u""));
    onNewThread([] { EXPECT_EQ(NSThread::currentThread().name(), NSString(u"")); });
}

TEST(NSThread, HasTheNameThatItWasGiven)
{
    onNewThread([] {
        NSThread::currentThread().setName(u"writer");
        EXPECT_EQ(NSThread::currentThread().name(), NSString(u"writer"));
    });
    onNewThread([] {
        ::pthread_setname_np(::pthread_self(), "reader");
        EXPECT_EQ(NSThread::currentThread().name(), NSString(u"reader"));
    });
}

TEST(NSThread, CutsALongNameBetweenCharacters)
{
    onNewThread([] {
        NSThread::currentThread().setName(u"12345678901234567");
        EXPECT_EQ(NSThread::currentThread().name(), NSString(u"123456789012345"));
        NSThread::currentThread().setName(u"12345678901234äö");
        EXPECT_EQ(NSThread::currentThread().name(), NSString(u"12345678901234"));
        NSThread::currentThread().setName(u"");
        EXPECT_EQ(NSThread::currentThread().name(), NSString(u""));
    });
}
