#include "Tools/Replay/ReplayDelegate.h"

#include "Platform/Web/WebView.h"
#include "Support/Printing.h"
#include "Support/ScriptedEngine.h"
#include "Tools/Replay/ReplayReport.h"

#include <gtest/gtest.h>

namespace {

WebResource resource(const char16_t* url, std::string_view bytes = "x")
{
    return WebResource(NSData::dataWithBytes(bytes), NSURL::URLWithUncheckedString(url), u"image/png", {});
}

// Requests of a view as the delegate sees them.
class ReplayCounts : public testing::Test {
protected:
    explicit ReplayCounts(bool isOffline = true, bool isWorkaroundEnabled = true)
        : delegate(WebArchive::initWithMainResource(
                       resource(u"http://h/page"), {resource(u"http://h/dir/a.png"), resource(u"http://h/b.png")}),
            isOffline, isWorkaroundEnabled)
    {
    }
    Value send(const char16_t* url, const char16_t* method = u"GET")
    {
        NSMutableURLRequest request = NSMutableURLRequest::requestWithURL(NSURL::URLWithUncheckedString(url));
        request.setHTTPMethod(method);
        const Value identifier = delegate.webViewIdentifierForInitialRequest(view, request, {});
        last = delegate.webViewResourceWillSendRequest(view, identifier, request, {}, {});
        return identifier;
    }
    void answer(const Value& identifier) { delegate.webViewResourceDidReceiveResponse(view, identifier, {}, {}); }
    void fail(const Value& identifier, int64_t code)
    {
        delegate.webViewResourceDidFailLoadingWithError(view, identifier, NSError(NSURLErrorDomain, code), {});
    }
    [[nodiscard]] std::vector<size_t> counts() const
    {
        return {delegate.answeredByAddress(), delegate.answeredByFileName(), delegate.answeredByNetwork(),
            delegate.unansweredRequests()};
    }

    WebView view{{{0, 0}, {1, 1}}, {}, {}, std::make_unique<support::ScriptedEngine>()};
    ReplayDelegate delegate;
    NSURLRequest last;
};

using Counts = std::vector<size_t>;

TEST_F(ReplayCounts, TellExactAddressesFromFileNames)
{
    answer(send(u"http://h/page#part"));
    answer(send(u"http://h/b.png"));
    answer(send(u"http://g/a.png?x"));
    EXPECT_EQ(counts(), (Counts{2, 1, 0, 0}));
    EXPECT_EQ(last.cachePolicy(), NSURLRequestReturnCacheDataDontLoad);
}

TEST_F(ReplayCounts, KeepEachUnansweredAddressOnce)
{
    for (const char16_t* url : {u"http://h/gone", u"http://h/too", u"http://h/gone"})
        fail(send(url), NSURLErrorResourceUnavailable);
    EXPECT_EQ(counts(), (Counts{0, 0, 0, 3}));
    EXPECT_EQ(delegate.unanswered(), (std::vector<NSString>{u"http://h/gone", u"http://h/too"}));
    EXPECT_EQ(replaySummary(delegate, false),
        NSString(u"requests\n     0  answered from the archive by their exact address\n     0  answered from the archive by "
                 u"their file name\n"
                 u"     3  answered by nothing\n        http://h/gone\n        http://h/too\n"));
}

TEST_F(ReplayCounts, LeaveOutWhatThePageGaveUpAndQuestionsBeforeRequests)
{
    fail(send(u"http://h/gone"), NSURLErrorCancelled);
    const Value question = send(u"http://h/b.png", u"OPTIONS");
    answer(question);
    EXPECT_EQ(counts(), (Counts{0, 0, 0, 0}));
}

TEST_F(ReplayCounts, CountALoadOnce)
{
    const Value load = send(u"http://h/b.png");
    answer(load);
    answer(load);
    fail(load, NSURLErrorNetworkConnectionLost);
    EXPECT_EQ(counts(), (Counts{1, 0, 0, 0}));
}

TEST_F(ReplayCounts, CountRequestsWithoutFurtherNewsAtOnce)
{
    for (const char16_t* url : {u"http://h/b.png", u"http://g/b.png", u"http://h/gone"})
        (void)delegate.webViewResourceWillSendRequest(view, {}, NSURLRequest::requestWithURL(NSURL::URLWithString(url)), {}, {});
    EXPECT_EQ(counts(), (Counts{1, 1, 0, 1}));
}

class OnlineReplayCounts : public ReplayCounts {
protected:
    OnlineReplayCounts() : ReplayCounts(false, true) { }
};

TEST_F(OnlineReplayCounts, TellWhatTheNetworkAnswered)
{
    answer(send(u"http://h/gone"));
    fail(send(u"http://h/lost"), NSURLErrorCannotFindHost);
    answer(send(u"http://h/b.png"));
    EXPECT_EQ(counts(), (Counts{1, 0, 1, 1}));
    EXPECT_EQ(last.cachePolicy(), NSURLRequestReloadIgnoringLocalCacheData);
    EXPECT_NE(replaySummary(delegate, true).rangeOfString(u"     1  answered by the network\n").location, NSNotFound);
}

TEST_F(OnlineReplayCounts, TakeRequestsWithoutFurtherNewsForAnswered)
{
    for (const char16_t* url : {u"http://h/b.png", u"http://h/gone"})
        (void)delegate.webViewResourceWillSendRequest(view, {}, NSURLRequest::requestWithURL(NSURL::URLWithString(url)), {}, {});
    EXPECT_EQ(counts(), (Counts{1, 0, 1, 0}));
}

class PlainReplayCounts : public ReplayCounts {
protected:
    PlainReplayCounts() : ReplayCounts(true, false) { }
};

TEST_F(PlainReplayCounts, KnowNoFileNames)
{
    answer(send(u"http://h/b.png"));
    fail(send(u"http://g/b.png"), NSURLErrorResourceUnavailable);
    EXPECT_EQ(counts(), (Counts{1, 0, 0, 1}));
}

TEST(ReplayList, NamesEachFrameAndEachResourceOfIt)
{
    const WebArchive inner = WebArchive::initWithMainResource(resource(u"http://h/inner", "12345"));
    const WebArchive frame =
        WebArchive::initWithMainResource(resource(u"http://h/frame", ""), {resource(u"http://h/\u0007\u0085x")}, {inner});
    const NSString text = replayList(WebArchive::initWithMainResource(WebResource(NSData(), NSURL(), NSString(), NSString()), {},
        {frame, WebArchive::initWithMainResource(resource(u"http://h/last"))}));
    EXPECT_EQ(text,
        NSString(u"type                            bytes  frame  address\n"
                 u"-                                   0  main   -\n"
                 u"image/png                           0  1      http://h/frame\n"
                 u"image/png                           1  1      http://h/??x\n"
                 u"image/png                           5  2      http://h/inner\n"
                 u"image/png                           1  3      http://h/last\n"));
}

}
