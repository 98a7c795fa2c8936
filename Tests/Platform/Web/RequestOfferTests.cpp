#include "Platform/Foundation/NSURLProtocol.h"
#include "Platform/Web/ViewTest.h"

#include <optional>

using support::runLoopOnce;

namespace {

using Way = RequestAnswer::Way;

// A delegate whose returned requests count.
class ChangingRecorder : public Recorder {
public:
    std::function<NSURLRequest(const NSURLRequest&)> change = [](const NSURLRequest& request) { return request; };
    bool changes = true;

    [[nodiscard]] bool changesRequests() const override { return changes; }
    NSURLRequest webViewResourceWillSendRequest(WebView& of, const Value& identifier, const NSURLRequest& request,
        const NSURLResponse& redirectResponse, const WebDataSource& dataSource) override
    {
        (void)Recorder::webViewResourceWillSendRequest(of, identifier, request, redirectResponse, dataSource);
        return change(request);
    }
};

// Claims the scheme "x-test" and requests that carry the property "claimed"; answers when the test wants it to.
class TestProtocol : public NSURLProtocol {
public:
    TestProtocol(NSURLRequest request, NSURLProtocolClient* client) : NSURLProtocol(std::move(request), client) { last = this; }
    ~TestProtocol() override
    {
        if (last == this)
            last = nullptr;
    }
    static bool canInitWithRequest(const NSURLRequest& request)
    {
        return request.URL().scheme() == NSString(u"x-test") || propertyForKey(u"claimed", request);
    }
    static NSURLRequest canonicalRequestForRequest(const NSURLRequest& request) { return request; }
    void startLoading() override
    {
        ++starts;
        if (onStart)
            onStart(*this);
    }
    void stopLoading() override { ++stops; }
    void answer(const NSString& type, std::initializer_list<const char*> pieces)
    {
        client()->URLProtocolDidReceiveResponse(
            *this, NSURLResponse(request().URL(), type, 3, u"koi8-r"), NSURLCacheStorageNotAllowed);
        for (const char* piece : pieces)
            client()->URLProtocolDidLoadData(*this, NSData::dataWithBytes(piece));
        client()->URLProtocolDidFinishLoading(*this);
    }

    static inline TestProtocol* last = nullptr;
    static inline int starts = 0;
    static inline int stops = 0;
    static inline std::function<void(TestProtocol&)> onStart;
};

class RequestOffers : public ViewTest {
protected:
    RequestOffers()
    {
        view->setResourceLoadDelegate(&delegate);
        delegate.keepsResources = true;
        TestProtocol::starts = 0;
        TestProtocol::stops = 0;
        TestProtocol::onStart = nullptr;
    }
    ~RequestOffers() override { NSURLProtocol::unregisterClass<TestProtocol>(); }

    static void registerProtocol() { EXPECT_TRUE(NSURLProtocol::registerClass<TestProtocol>()); }
    // A page that is shown, after a load was asked for.
    void open()
    {
        mainFrame()->loadRequest(support::requestFor(u"http://h/page"));
        runLoopOnce();
        engine->openPage("main", u"http://h/page", u"<p>");
        (void)delegate.take();
    }
    static int64_t codeOf(const support::ScriptedEngine::Answer& answer) { return (*answer)->error.code(); }

    ChangingRecorder delegate;
};

TEST_F(RequestOffers, AreMadeOnlyWhenSomebodyWantsThem)
{
    const auto offersAfterLoad = [&] {
        mainFrame()->loadRequest(support::requestFor(u"http://h/"));
        return engine->areRequestsOffered();
    };
    EXPECT_TRUE(offersAfterLoad());
    delegate.changes = false;
    EXPECT_FALSE(offersAfterLoad());
    registerProtocol();
    EXPECT_TRUE(offersAfterLoad());
    NSURLProtocol::unregisterClass<TestProtocol>();
    EXPECT_FALSE(offersAfterLoad());
    view->setResourceLoadDelegate(nullptr);
    EXPECT_FALSE(offersAfterLoad());
}

TEST_F(RequestOffers, SendWhatTheDelegateReturns)
{
    open();
    delegate.change = [](const NSURLRequest& request) {
        NSMutableURLRequest changed(request);
        changed.setURL(NSURL::URLWithString(u"http://g/other"));
        changed.setValue(u"1", u"X-More");
        return changed;
    };
    const auto answer = engine->offer("main", u"http://h/a.png");
    ASSERT_TRUE(*answer);
    EXPECT_EQ((*answer)->way, Way::Send);
    EXPECT_EQ((*answer)->request.URL(), NSURL::URLWithString(u"http://g/other"));
    EXPECT_EQ((*answer)->request.valueForHTTPHeaderField(u"x-more"), NSString(u"1"));
}

TEST_F(RequestOffers, RefuseWhatTheDelegateTakesAway)
{
    open();
    delegate.change = [](const NSURLRequest&) { return NSURLRequest(); };
    const auto answer = engine->offer("main", u"http://h/a.png");
    ASSERT_TRUE(*answer);
    EXPECT_EQ((*answer)->way, Way::Refuse);
    EXPECT_EQ((*answer)->error.domain(), NSURLErrorDomain);
    EXPECT_EQ(codeOf(answer), NSURLErrorCancelled);
}

TEST_F(RequestOffers, RefuseWhatIsAskedOfTheDelegateWhenItThrows)
{
    open();
    delegate.change = [](const NSURLRequest&) -> NSURLRequest { throw NSException(NSGenericException, u"no"); };
    EXPECT_THROW((void)engine->offer("main", u"http://h/a.png"), NSException);
}

TEST_F(RequestOffers, NeverSendWhatMayOnlyComeFromACache)
{
    open();
    delegate.change = [](const NSURLRequest& request) {
        NSMutableURLRequest changed(request);
        changed.setCachePolicy(NSURLRequestReturnCacheDataDontLoad);
        return changed;
    };
    const auto answer = engine->offer("main", u"http://h/a.png");
    ASSERT_TRUE(*answer);
    EXPECT_EQ((*answer)->way, Way::Refuse);
    EXPECT_EQ(codeOf(answer), NSURLErrorResourceUnavailable);
    EXPECT_EQ((*answer)->error.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/a.png"));
}

TEST_F(RequestOffers, GoToTheProtocolClassThatClaimsThem)
{
    registerProtocol();
    open();
    TestProtocol::onStart = [](TestProtocol& protocol) { protocol.answer(u"text/css", {"ab", "c"}); };
    const auto answer = engine->offer("main", u"x-test:sheet");
    ASSERT_TRUE(*answer);
    EXPECT_EQ((*answer)->way, Way::Fulfil);
    EXPECT_EQ((*answer)->response.MIMEType(), NSString(u"text/css"));
    EXPECT_EQ((*answer)->response.textEncodingName(), NSString(u"koi8-r"));
    EXPECT_EQ(textOf((*answer)->data), "abc");
    EXPECT_EQ(TestProtocol::stops, 1);
    EXPECT_EQ(TestProtocol::last, nullptr);

    const auto unclaimed = engine->offer("main", u"http://h/a.png");
    ASSERT_TRUE(*unclaimed);
    EXPECT_EQ((*unclaimed)->way, Way::Send);
    EXPECT_EQ(TestProtocol::starts, 1);
}

TEST_F(RequestOffers, GoToProtocolClassesAsTheDelegateLeftThem)
{
    registerProtocol();
    open();
    delegate.change = [](const NSURLRequest& request) {
        NSMutableURLRequest changed(request);
        NSURLProtocol::setProperty(u"yes", u"claimed", changed);
        changed.setCachePolicy(NSURLRequestReturnCacheDataDontLoad);
        return changed;
    };
    TestProtocol::onStart = [](TestProtocol& protocol) { protocol.answer(u"text/plain", {}); };
    const auto answer = engine->offer("main", u"http://h/a.txt");
    ASSERT_TRUE(*answer);
    EXPECT_EQ((*answer)->way, Way::Fulfil);
    EXPECT_EQ((*answer)->data.length(), 0U);
}

TEST_F(RequestOffers, WaitForProtocolsThatAnswerLater)
{
    registerProtocol();
    open();
    const auto answer = engine->offer("main", u"x-test:late");
    EXPECT_FALSE(*answer);
    ASSERT_NE(TestProtocol::last, nullptr);
    TestProtocol::last->answer(u"text/plain", {"late"});
    ASSERT_TRUE(*answer);
    EXPECT_EQ(textOf((*answer)->data), "late");
}

TEST_F(RequestOffers, FailAsTheProtocolSays)
{
    registerProtocol();
    open();
    TestProtocol::onStart = [](TestProtocol& protocol) {
        protocol.client()->URLProtocolDidFailWithError(protocol, NSError(u"d", 5));
        // What comes behind the end does not count.
        protocol.answer(u"text/plain", {"x"});
    };
    const auto failed = engine->offer("main", u"x-test:failed");
    ASSERT_TRUE(*failed);
    EXPECT_EQ((*failed)->way, Way::Refuse);
    EXPECT_EQ((*failed)->error.domain(), NSString(u"d"));
    EXPECT_EQ((*failed)->error.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"x-test:failed"));

    TestProtocol::onStart = [](TestProtocol& protocol) { protocol.client()->URLProtocolDidFinishLoading(protocol); };
    const auto empty = engine->offer("main", u"x-test:empty");
    ASSERT_TRUE(*empty);
    EXPECT_EQ(codeOf(empty), NSURLErrorBadServerResponse);
}

TEST_F(RequestOffers, AreForgottenByProtocolsWhenLoadsAreStopped)
{
    registerProtocol();
    open();
    const auto answer = engine->offer("main", u"x-test:late");
    view->stopLoading();
    EXPECT_EQ(TestProtocol::stops, 1);
    EXPECT_EQ(TestProtocol::last, nullptr);
    EXPECT_FALSE(*answer);

    const auto another = engine->offer("main", u"x-test:late");
    ASSERT_NE(TestProtocol::last, nullptr);
    view.reset();
    EXPECT_EQ(TestProtocol::stops, 2);
    EXPECT_FALSE(*another);
}

TEST_F(RequestOffers, AskTheDelegateOnceForEachRequestWhicheverNewsComesFirst)
{
    open();
    EXPECT_TRUE(*engine->offer("main", u"http://h/a.png", "a"));
    engine->request("main", u"http://h/a.png", "a");
    engine->answer("a", support::response(u"http://h/a.png", u"image/png"));
    engine->finishResource("a", NSData::dataWithBytes("a"));
    const Lines questionFirst = delegate.take();

    engine->request("main", u"http://h/a.png", "b");
    EXPECT_TRUE(*engine->offer("main", u"http://h/a.png", "b"));
    engine->answer("b", support::response(u"http://h/a.png", u"image/png"));
    engine->finishResource("b", NSData::dataWithBytes("a"));
    EXPECT_EQ(delegate.take(), questionFirst);
    EXPECT_EQ(questionFirst,
        (Lines{"identify http://h/a.png", "send http://h/a.png http://h/a.png", "response http://h/a.png",
            "finished http://h/a.png"}));
}

TEST_F(RequestOffers, AskTheDelegateAgainForEachRedirect)
{
    open();
    const NSURLResponse little(NSURL::URLWithString(u"http://h/a.png"), NSString(), NSURLResponseUnknownLength, {});
    engine->request("main", u"http://h/a.png", "a");
    EXPECT_TRUE(*engine->offer("main", u"http://h/a.png", "a"));
    engine->redirectResource("a", u"http://h/b.png", 301);
    EXPECT_TRUE(*engine->offer("main", u"http://h/b.png", "a", little));
    // The news of the redirect tells more than the question.
    EXPECT_EQ(delegate.lastResponse.statusCode(), 301);
    EXPECT_TRUE(*engine->offer("main", u"http://h/c.png", "a", little));
    EXPECT_EQ(delegate.lastResponse, little);
    engine->redirectResource("a", u"http://h/c.png");
    engine->finishResource("a");
    EXPECT_EQ(delegate.take(),
        (Lines{"identify http://h/a.png", "send http://h/a.png http://h/a.png", "send http://h/a.png http://h/b.png redirected",
            "send http://h/a.png http://h/c.png redirected", "finished http://h/a.png"}));
}

TEST_F(RequestOffers, TellOfWhatTheEngineHadInMemoryWithoutAQuestion)
{
    open();
    engine->loadResource("main", u"http://h/a.png", "a");
    const Lines lines = delegate.take();
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines[0], "identify http://h/a.png");
    EXPECT_EQ(lines[1], "send http://h/a.png http://h/a.png");
    EXPECT_EQ(lines[2], "response http://h/a.png");
}

TEST_F(RequestOffers, OfWhatIsNoFrameOfThePageAreAskedAboutToo)
{
    open();
    const auto answer = engine->offer("shared worker", u"http://h/a.txt");
    ASSERT_TRUE(*answer);
    EXPECT_EQ((*answer)->way, Way::Send);
    EXPECT_EQ(delegate.take(), Lines{"send  http://h/a.txt"});
}

TEST_F(RequestOffers, OfDocumentsNameTheirDataSource)
{
    mainFrame()->loadRequest(support::requestFor(u"http://h/page"));
    runLoopOnce();
    engine->start("main", u"http://h/page");
    EXPECT_TRUE(*engine->offerDocument("main"));
    EXPECT_EQ(delegate.lastDataSource, mainFrame()->provisionalDataSource());
    EXPECT_TRUE(delegate.lastDataSource);
}

}
