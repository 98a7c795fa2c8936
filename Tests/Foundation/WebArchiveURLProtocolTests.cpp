#include "QVRWebArchiveURLProtocol.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

NSMutableURLRequest requestFor(const char16_t* url)
{
    return NSMutableURLRequest::requestWithURL(NSURL::URLWithUncheckedString(url));
}

const NSDictionary record{{u"url", NSURL::URLWithString(u"http://h/saved.png")}, {u"mimeType", u"image/png"},
    {u"data", NSData::dataWithBytes("bytes")}, {u"textEncodingName", u"koi8-r"}};

// Keeps what it is told.
class Client final : public NSURLProtocolClient {
public:
    std::vector<std::string> calls;
    NSURLResponse response;
    NSURLCacheStoragePolicy policy = NSURLCacheStorageAllowed;
    std::vector<NSData> data;

    void URLProtocolDidReceiveResponse(
        NSURLProtocol&, const NSURLResponse& received, NSURLCacheStoragePolicy cacheStoragePolicy) override
    {
        calls.emplace_back("response");
        response = received;
        policy = cacheStoragePolicy;
    }
    void URLProtocolDidLoadData(NSURLProtocol&, const NSData& loaded) override
    {
        calls.emplace_back("data");
        data.push_back(loaded);
    }
    void URLProtocolDidFinishLoading(NSURLProtocol&) override { calls.emplace_back("finished"); }
    void URLProtocolDidFailWithError(NSURLProtocol&, const NSError&) override { calls.emplace_back("failed"); }
};

TEST(QVRArchivedResource, TravelsInARequestAndItsCopies)
{
    NSMutableURLRequest request = requestFor(u"http://h/a.png");
    EXPECT_TRUE(qvrArchivedResource(request).isAbsent());
    qvrSetArchivedResource(request, record);
    EXPECT_EQ(qvrArchivedResource(request), record);
    EXPECT_EQ(NSURLProtocol::propertyForKey(u"QVRArchivedResourceKey", request).dictionary(), record);
    EXPECT_EQ(request.allHTTPHeaderFields().count(), 0U) << "servers do not see it";

    NSMutableURLRequest copy(request);
    qvrSetArchivedResource(copy, NSDictionary::dictionary());
    EXPECT_EQ(qvrArchivedResource(copy), NSDictionary::dictionary());
    EXPECT_EQ(qvrArchivedResource(request), record);
    qvrSetArchivedResource(copy, NSDictionary());
    EXPECT_TRUE(qvrArchivedResource(copy).isAbsent());
}

TEST(QVRArchivedResource, IsNoneWhenThePropertyIsSomethingElse)
{
    NSMutableURLRequest request = requestFor(u"http://h/a.png");
    NSURLProtocol::setProperty(u"a text", QVRArchivedResourceKey, request);
    EXPECT_TRUE(qvrArchivedResource(request).isAbsent());
    EXPECT_FALSE(QVRWebArchiveURLProtocol::canInitWithRequest(request));
}

struct Claim {
    const char16_t* url;
    bool isClaimed;   // without a record
};

TEST(QVRWebArchiveURLProtocol, ClaimsInternalSchemesAndRequestsWithARecord)
{
    const Claim rows[] = {{u"x-msg:1", true}, {u"x-msg://1/a.png", true}, {u"x-webdoc:a", true}, {u"safari-resource:/x", true},
        {u"safari-reader://h/", true}, {u"X-MSG:1", false}, {u"X-Webdoc:a", false}, {u"x-ms:1", false}, {u"x-msgs:1", false},
        {u"http://h/", false}, {u"https://h/x-msg:", false}, {u"file:///x-msg", false}, {u"x-msg", false}, {u"", false}};
    for (const Claim& row : rows) {
        SCOPED_TRACE(NSString(row.url).UTF8());
        NSMutableURLRequest request = requestFor(row.url);
        EXPECT_EQ(QVRWebArchiveURLProtocol::canInitWithRequest(request), row.isClaimed);
        qvrSetArchivedResource(request, NSDictionary::dictionary());
        EXPECT_TRUE(QVRWebArchiveURLProtocol::canInitWithRequest(request));
    }
    EXPECT_FALSE(QVRWebArchiveURLProtocol::canInitWithRequest(NSURLRequest()));
}

TEST(QVRWebArchiveURLProtocol, TakesRequestsAsTheyAre)
{
    NSMutableURLRequest request = requestFor(u"http://h/A/../b?x#y");
    qvrSetArchivedResource(request, record);
    EXPECT_EQ(QVRWebArchiveURLProtocol::canonicalRequestForRequest(request), request);
}

TEST(QVRWebArchiveURLProtocol, GivesTheWholeAnswerWhenItStarts)
{
    NSMutableURLRequest request = requestFor(u"http://other/a.png");
    qvrSetArchivedResource(request, record);
    Client client;
    QVRWebArchiveURLProtocol protocol(request, &client);
    protocol.startLoading();
    EXPECT_EQ(client.calls, (std::vector<std::string>{"response", "data", "finished"}));
    EXPECT_EQ(client.response.URL(), NSURL::URLWithString(u"http://h/saved.png"));
    EXPECT_EQ(client.response.MIMEType(), NSString(u"image/png"));
    EXPECT_EQ(client.response.textEncodingName(), NSString(u"koi8-r"));
    EXPECT_EQ(client.response.expectedContentLength(), 5);
    EXPECT_FALSE(client.response.isHTTP());
    EXPECT_EQ(client.policy, NSURLCacheStorageNotAllowed);
    ASSERT_EQ(client.data.size(), 1U);
    EXPECT_EQ(client.data[0], NSData::dataWithBytes("bytes"));
    protocol.stopLoading();
    EXPECT_EQ(client.calls.size(), 3U);
}

TEST(QVRWebArchiveURLProtocol, AnnouncesTheLengthAndDeliversThemInOnePiece)
{
    NSMutableURLRequest request = requestFor(u"http://h/a");
    qvrSetArchivedResource(request, {{u"data", NSData(std::vector<std::byte>(1234, std::byte{7}))}});
    Client client;
    QVRWebArchiveURLProtocol protocol(request, &client);
    protocol.startLoading();
    EXPECT_EQ(client.response.expectedContentLength(), 1234);
    ASSERT_EQ(client.data.size(), 1U);
    EXPECT_EQ(client.data[0].length(), 1234U);
    EXPECT_TRUE(client.response.MIMEType().isAbsent()) << "nothing is guessed";
    EXPECT_TRUE(client.response.URL().isAbsent());
    EXPECT_TRUE(client.response.textEncodingName().isAbsent());
}

TEST(QVRWebArchiveURLProtocol, FinishesEmptyWithoutARecord)
{
    Client client;
    QVRWebArchiveURLProtocol protocol(requestFor(u"x-msg:1"), &client);
    protocol.startLoading();
    EXPECT_EQ(client.calls, (std::vector<std::string>{"response", "data", "finished"}));
    EXPECT_EQ(client.response.expectedContentLength(), 0);
    EXPECT_TRUE(client.response.MIMEType().isAbsent());
    ASSERT_EQ(client.data.size(), 1U);
    EXPECT_EQ(client.data[0].length(), 0U);
}

TEST(QVRWebArchiveURLProtocol, DoesNothingWithoutAClientAndIgnoresItsArguments)
{
    NSMutableURLRequest request = requestFor(u"http://h/a.png");
    qvrSetArchivedResource(request, record);
    QVRWebArchiveURLProtocol alone(request, nullptr);
    alone.startLoading();
    alone.qvrSendResponse();
    alone.qvrSendData();

    Client client;
    QVRWebArchiveURLProtocol protocol(request, &client);
    protocol.qvrSendData(u"whatever");
    EXPECT_EQ(client.calls, (std::vector<std::string>{"data", "finished"}));
    protocol.qvrSendResponse(5);
    EXPECT_EQ(client.calls, (std::vector<std::string>{"data", "finished", "response", "data", "finished"}));
}

}
