#include "Platform/Foundation/NSURLCache.h"

NSURLCache& NSURLCache::sharedURLCache()
{
    static NSURLCache cache;
    return cache;
}
