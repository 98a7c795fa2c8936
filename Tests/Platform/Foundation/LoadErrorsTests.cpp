#include "Platform/Foundation/LoadErrors.h"
#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>

namespace {

const NSURL url = NSURL::URLWithString(u"http://h/a");

TEST(LoadError, NamesTheAddressInThreeWays)
{
    const NSError error = loadError(NSURLErrorDomain, NSURLErrorTimedOut, url);
    EXPECT_EQ(error.domain(), NSURLErrorDomain);
    EXPECT_EQ(error.code(), NSURLErrorTimedOut);
    EXPECT_EQ(error.userInfo().count(), 3U);
    EXPECT_EQ(error.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/a"));
    EXPECT_EQ(error.userInfo()[NSURLErrorFailingURLErrorKey].url(), url);
    EXPECT_EQ(error.userInfo()[NSURLErrorKey].url(), url);
}

TEST(LoadError, HasTheReasonThatIsGiven)
{
    EXPECT_EQ(loadError(NSURLErrorDomain, -1, url, u"why").localizedFailureReason(), NSString(u"why"));
    EXPECT_TRUE(loadError(NSURLErrorDomain, -1, url).localizedFailureReason().isAbsent());
}

TEST(LoadError, WithoutAnAddressHasNoFailingAddress)
{
    EXPECT_EQ(loadError(NSURLErrorDomain, -1, {}, u"why").userInfo().count(), 1U);
}

TEST(ErrorWithFailingURL, KeepsWhatTheErrorSays)
{
    const NSError error =
        errorWithFailingURL(NSError(u"d", 7, {{NSURLErrorFailingURLStringErrorKey, u"http://h/other"}, {u"key", u"value"}}), url);
    EXPECT_EQ(error.domain(), NSString(u"d"));
    EXPECT_EQ(error.code(), 7);
    EXPECT_EQ(error.userInfo().count(), 4U);
    EXPECT_EQ(error.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/other"));
    EXPECT_EQ(error.userInfo()[NSURLErrorKey].url(), url);
    EXPECT_EQ(error.userInfo()[u"key"].string(), NSString(u"value"));
}

TEST(ErrorWithFailingURL, StaysAbsentAndKeepsAnErrorWithoutAnAddress)
{
    EXPECT_TRUE(errorWithFailingURL({}, url).isAbsent());
    EXPECT_EQ(errorWithFailingURL(NSError(u"d", 7), {}).userInfo().count(), 0U);
}

}
