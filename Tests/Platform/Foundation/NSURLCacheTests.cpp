#include "Platform/Foundation/NSURLCache.h"

#include <gtest/gtest.h>

TEST(NSURLCache, IsOneForTheProcess)
{
    EXPECT_EQ(&NSURLCache::sharedURLCache(), &NSURLCache::sharedURLCache());
}

TEST(NSURLCache, RemembersItsCapacities)
{
    NSURLCache cache;
    EXPECT_GT(cache.memoryCapacity(), 0U);
    EXPECT_GT(cache.diskCapacity(), 0U);
    cache.setMemoryCapacity(0);
    cache.setDiskCapacity(7);
    EXPECT_EQ(cache.memoryCapacity(), 0U);
    EXPECT_EQ(cache.diskCapacity(), 7U);
}

TEST(NSURLCache, CountsTheRequestsToDropResponses)
{
    NSURLCache cache;
    const uint64_t before = cache.generation();
    cache.removeAllCachedResponses();
    EXPECT_EQ(cache.generation(), before + 1);
}
