#include "Platform/Foundation/NSURLProtocol.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>

namespace {

const NSURL address = NSURL::URLWithString(u"http://h/x");

}

TEST(NSURLRequest, HasThePlatformsDefaults)
{
    const NSURLRequest request = NSURLRequest::requestWithURL(address);
    EXPECT_EQ(request.URL(), address);
    EXPECT_EQ(request.cachePolicy(), 0u);
    EXPECT_EQ(request.timeoutInterval(), 60);
    EXPECT_EQ(request.HTTPMethod(), NSString(u"GET"));
    EXPECT_EQ(request.allHTTPHeaderFields().count(), 0u);
    EXPECT_TRUE(request.HTTPBody().isAbsent());
    EXPECT_TRUE(request.HTTPShouldHandleCookies());
    EXPECT_EQ(NSURLRequest().HTTPMethod(), NSString(u"GET"));
    EXPECT_TRUE(NSURLRequest().isAbsent());
    EXPECT_TRUE(NSURLRequest().URL().isAbsent());
}

TEST(NSURLRequest, NumbersCachePoliciesAsThePlatformDoes)
{
    EXPECT_EQ(static_cast<int>(NSURLRequestReloadIgnoringLocalCacheData), 1);
    EXPECT_EQ(static_cast<int>(NSURLRequestReturnCacheDataElseLoad), 2);
    EXPECT_EQ(static_cast<int>(NSURLRequestReturnCacheDataDontLoad), 3);
}

TEST(NSMutableURLRequest, ChangesEveryField)
{
    auto request = NSMutableURLRequest::requestWithURL(address, NSURLRequestReloadIgnoringLocalCacheData, 12.5);
    EXPECT_EQ(request.cachePolicy(), NSURLRequestReloadIgnoringLocalCacheData);
    EXPECT_EQ(request.timeoutInterval(), 12.5);
    request.setURL(NSURL::URLWithString(u"http://g/"));
    request.setCachePolicy(NSURLRequestReturnCacheDataDontLoad);
    request.setTimeoutInterval(3);
    request.setHTTPMethod(u"POST");
    request.setHTTPBody(NSData::dataWithBytes("a=1"));
    request.setHTTPShouldHandleCookies(false);
    EXPECT_EQ(request.URL().host(), NSString(u"g"));
    EXPECT_EQ(request.cachePolicy(), NSURLRequestReturnCacheDataDontLoad);
    EXPECT_EQ(request.timeoutInterval(), 3);
    EXPECT_EQ(request.HTTPMethod(), NSString(u"POST"));
    EXPECT_EQ(request.HTTPBody(), NSData::dataWithBytes("a=1"));
    EXPECT_FALSE(request.HTTPShouldHandleCookies());
    request.setHTTPMethod(NSString());
    EXPECT_EQ(request.HTTPMethod(), NSString(u"GET"));
}

TEST(NSMutableURLRequest, FindsHeaderFieldsInAnyLetterCaseAndKeepsTheirOrder)
{
    NSMutableURLRequest request;
    request.setValue(u"http://r/", u"Referer");
    request.setValue(u"text/html", u"accept");
    request.setValue(u"http://s/", u"REFERER");
    EXPECT_EQ(request.valueForHTTPHeaderField(u"referer"), NSString(u"http://s/"));
    EXPECT_EQ(request.valueForHTTPHeaderField(u"Accept"), NSString(u"text/html"));
    EXPECT_TRUE(request.valueForHTTPHeaderField(u"Accept-Language").isAbsent());
    const NSArray expected = {NSString(u"Referer"), NSString(u"accept")};
    EXPECT_EQ(request.allHTTPHeaderFields().allKeys(), expected);
    request.addValue(u"text/plain", u"Accept");
    request.addValue(u"de", u"Accept-Language");
    EXPECT_EQ(request.valueForHTTPHeaderField(u"accept"), NSString(u"text/html,text/plain"));
    EXPECT_EQ(request.valueForHTTPHeaderField(u"accept-language"), NSString(u"de"));
    request.setValue(NSString(), u"ACCEPT");
    EXPECT_TRUE(request.valueForHTTPHeaderField(u"accept").isAbsent());
    request.setAllHTTPHeaderFields({{u"X", NSString(u"1")}, {u"n", 5}});
    EXPECT_EQ(request.allHTTPHeaderFields(), (NSDictionary{{u"X", NSString(u"1")}}));
}

TEST(NSMutableURLRequest, LeavesCopiesAlone)
{
    auto request = NSMutableURLRequest::requestWithURL(address);
    const NSURLRequest copy = request;
    NSMutableURLRequest second(copy);
    request.setValue(u"1", u"X");
    second.setTimeoutInterval(1);
    EXPECT_TRUE(copy.valueForHTTPHeaderField(u"X").isAbsent());
    EXPECT_EQ(copy.timeoutInterval(), 60);
    EXPECT_TRUE(second.valueForHTTPHeaderField(u"X").isAbsent());
    EXPECT_NE(copy, request);
    EXPECT_EQ(copy, NSURLRequest::requestWithURL(address));
}

TEST(NSURLProtocolProperties, TravelWithCopiesOfTheRequest)
{
    auto request = NSMutableURLRequest::requestWithURL(address);
    EXPECT_TRUE(NSURLProtocol::propertyForKey(u"record", request).isAbsent());
    const NSDictionary record = {{u"mimeType", NSString(u"text/html")}};
    NSURLProtocol::setProperty(record, u"record", request);
    const NSURLRequest copy = request;
    EXPECT_EQ(NSURLProtocol::propertyForKey(u"record", copy).dictionary(), record);
    NSURLProtocol::removePropertyForKey(u"record", request);
    EXPECT_TRUE(NSURLProtocol::propertyForKey(u"record", request).isAbsent());
    EXPECT_EQ(NSURLProtocol::propertyForKey(u"record", copy).dictionary(), record);
    EXPECT_EQ(copy.allHTTPHeaderFields().count(), 0u);
    EXPECT_TRUE(NSURLProtocol::propertyForKey(u"record", NSURLRequest()).isAbsent());
}
