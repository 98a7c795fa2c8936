#include "Platform/Foundation/NSURLProtocol.h"

#include "Platform/Foundation/NSDebug.h"
#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

NSURLRequest requestFor(const char16_t* url)
{
    return NSURLRequest::requestWithURL(NSURL::URLWithString(url));
}

// Claims the scheme that it is named for; what it was asked is kept.
template <char16_t Scheme>
class Claiming : public NSURLProtocol {
public:
    using NSURLProtocol::NSURLProtocol;
    static bool canInitWithRequest(const NSURLRequest& request)
    {
        asked.push_back(request.URL().absoluteString().UTF8());
        return request.URL().scheme() == NSString(std::u16string(1, Scheme));
    }
    static NSURLRequest canonicalRequestForRequest(const NSURLRequest& request)
    {
        NSMutableURLRequest canonical(request);
        canonical.setValue(u"canonical", u"Form");
        return canonical;
    }
    void startLoading() override { }
    void stopLoading() override { }

    static inline std::vector<std::string> asked;
};
using ClaimingA = Claiming<u'a'>;
using ClaimingB = Claiming<u'b'>;

// Also claims "a:", in place of ClaimingA when it is asked first.
class ClaimingAToo : public ClaimingA {
public:
    using ClaimingA::ClaimingA;
};

class Registered : public testing::Test {
protected:
    ~Registered() override
    {
        NSURLProtocol::unregisterClass<ClaimingA>();
        NSURLProtocol::unregisterClass<ClaimingAToo>();
        NSURLProtocol::unregisterClass<ClaimingB>();
        ClaimingA::asked.clear();
        ClaimingB::asked.clear();
    }
};

using NSURLProtocolClasses = Registered;

TEST_F(NSURLProtocolClasses, AreNoneAtFirst)
{
    EXPECT_FALSE(NSURLProtocol::hasRegisteredClasses());
    EXPECT_EQ(NSURLProtocol::protocolForRequest(requestFor(u"a:x"), nullptr), nullptr);
}

TEST_F(NSURLProtocolClasses, AreRegisteredOnce)
{
    EXPECT_TRUE(NSURLProtocol::registerClass<ClaimingA>());
    EXPECT_FALSE(NSURLProtocol::registerClass<ClaimingA>());
    EXPECT_TRUE(NSURLProtocol::hasRegisteredClasses());
    NSURLProtocol::unregisterClass<ClaimingA>();
    EXPECT_FALSE(NSURLProtocol::hasRegisteredClasses());
    NSURLProtocol::unregisterClass<ClaimingA>();
}

TEST_F(NSURLProtocolClasses, AreAskedFromTheLatestToTheFirst)
{
    EXPECT_TRUE(NSURLProtocol::registerClass<ClaimingA>());
    EXPECT_TRUE(NSURLProtocol::registerClass<ClaimingB>());
    EXPECT_NE(dynamic_cast<ClaimingB*>(NSURLProtocol::protocolForRequest(requestFor(u"b:x"), nullptr).get()), nullptr);
    EXPECT_TRUE(ClaimingA::asked.empty());
    EXPECT_NE(dynamic_cast<ClaimingA*>(NSURLProtocol::protocolForRequest(requestFor(u"a:y"), nullptr).get()), nullptr);
    EXPECT_EQ(ClaimingB::asked, (std::vector<std::string>{"b:x", "a:y"}));
    EXPECT_EQ(ClaimingA::asked, std::vector<std::string>{"a:y"});
    EXPECT_EQ(NSURLProtocol::protocolForRequest(requestFor(u"c:z"), nullptr), nullptr);

    EXPECT_TRUE(NSURLProtocol::registerClass<ClaimingAToo>());
    EXPECT_NE(dynamic_cast<ClaimingAToo*>(NSURLProtocol::protocolForRequest(requestFor(u"a:y"), nullptr).get()), nullptr);
}

TEST_F(NSURLProtocolClasses, GetTheCanonicalRequestAndTheClient)
{
    class Client final : public NSURLProtocolClient {
    public:
        void URLProtocolDidReceiveResponse(NSURLProtocol&, const NSURLResponse&, NSURLCacheStoragePolicy) override { }
        void URLProtocolDidLoadData(NSURLProtocol&, const NSData&) override { }
        void URLProtocolDidFinishLoading(NSURLProtocol&) override { }
        void URLProtocolDidFailWithError(NSURLProtocol&, const NSError&) override { }
    } client;
    EXPECT_TRUE(NSURLProtocol::registerClass<ClaimingA>());
    const auto protocol = NSURLProtocol::protocolForRequest(requestFor(u"a:x"), &client);
    ASSERT_NE(protocol, nullptr);
    EXPECT_EQ(protocol->request().URL(), NSURL::URLWithString(u"a:x"));
    EXPECT_EQ(protocol->request().valueForHTTPHeaderField(u"form"), NSString(u"canonical"));
    EXPECT_EQ(protocol->client(), &client);
}

TEST(NSURLCacheStoragePolicy, HasThePlatformsNumbers)
{
    EXPECT_EQ(static_cast<int>(NSURLCacheStorageAllowed), 0);
    EXPECT_EQ(static_cast<int>(NSURLCacheStorageAllowedInMemoryOnly), 1);
    EXPECT_EQ(static_cast<int>(NSURLCacheStorageNotAllowed), 2);
}

TEST(NSDebugEnabled, IsOffUnlessTheEnvironmentSaysOtherwise)
{
    EXPECT_FALSE(NSDebugEnabled);
}

}
