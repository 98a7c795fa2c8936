#include "Platform/Engine/PageEngineFactory.h"
#include "Platform/Foundation/NSTimer.h"
#include "Platform/Foundation/NSURLProtocol.h"
#include "Platform/Foundation/Value.h"
#include "Platform/Web/WebView.h"
#include "QVRWebArchiveURLProtocol.h"
#include "Support/Printing.h"
#include "Support/SampleFiles.h"
#include "Support/TestServer.h"
#include "Support/Waiting.h"

#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <optional>

using namespace support;

namespace {

std::unique_ptr<PageEngine> makeEngine()
{
    PageEngineOptions options;
    options.viewSize = {612, 612};
    return makePageEngine(options);
}

// Answers "http://made.example/" by path, as the test says.
class MadeSite : public NSURLProtocol {
public:
    using NSURLProtocol::NSURLProtocol;
    static bool canInitWithRequest(const NSURLRequest& request) { return request.URL().host() == NSString(u"made.example"); }
    static NSURLRequest canonicalRequestForRequest(const NSURLRequest& request) { return request; }
    void startLoading() override
    {
        const auto answer = answers.find(request().URL().path().UTF8());
        if (answer == answers.end())
            client()->URLProtocolDidFailWithError(*this, NSError(NSURLErrorDomain, NSURLErrorFileDoesNotExist));
        else
            answer->second(*this);
    }
    void stopLoading() override { ++stops; }
    void tell(const NSURLResponse& response, std::string_view bytes)
    {
        client()->URLProtocolDidReceiveResponse(*this, response, NSURLCacheStorageNotAllowed);
        client()->URLProtocolDidLoadData(*this, NSData::dataWithBytes(bytes));
        client()->URLProtocolDidFinishLoading(*this);
    }

    static inline std::map<std::string, std::function<void(MadeSite&)>> answers;
    static inline int stops = 0;
};

// A view over the real engine, whose delegate may change every request.
class ViewRequests : public testing::Test, public WebFrameLoadDelegate, public WebResourceLoadDelegate {
protected:
    ViewRequests()
    {
        view = std::make_unique<WebView>(NSRect{{0, 0}, {612, 612}}, NSString(), NSString(), makeEngine());
        view->setFrameLoadDelegate(this);
        view->setResourceLoadDelegate(this);
        MadeSite::answers.clear();
        MadeSite::stops = 0;
        (void)NSURLProtocol::registerClass<MadeSite>();
    }
    ~ViewRequests() override { NSURLProtocol::unregisterClass<MadeSite>(); }

    static void make(const std::string& path, const NSString& type, const std::string& bytes)
    {
        MadeSite::answers[path] = [type, bytes](MadeSite& protocol) {
            protocol.tell(NSURLResponse(protocol.request().URL(), type, static_cast<int64_t>(bytes.size()), u"UTF-8"), bytes);
        };
    }
    // Shows a page, and waits for what its script has to say, or only for its end when it has none.
    void show(const std::string& url, bool waitsForScript = true)
    {
        show(NSURLRequest::requestWithURL(NSURL::URLWithString(NSString::stringWithRepairedUTF8(url))), waitsForScript);
    }
    void show(const NSURLRequest& request, bool waitsForScript = true)
    {
        isFinished = false;
        view->mainFrame()->loadRequest(request);
        EXPECT_TRUE(runLoopUntil([&] { return isFinished && (!waitsForScript || error || answer().has_value()); }, 30));
    }
    // A page whose script says what `expression`, which may wait, gives.
    static std::string asking(const std::string& expression)
    {
        return "<!DOCTYPE html><title>t</title><script>(async () => { let result; try { result = await (" + expression
            + ") } catch (e) { result = e.name } document.documentElement.setAttribute('answer', result) })()</script>";
    }
    // What the page's script said; nothing as long as it has not.
    [[nodiscard]] std::optional<std::string> answer() const
    {
        const DOMDocument document = view->mainFrame()->DOMDocument();
        const std::string markup(document ? document.webArchive().mainResource().data().characters() : std::string_view());
        const std::string opening = "answer=\"";
        const size_t start = markup.find(opening);
        if (start == std::string::npos)
            return {};
        return markup.substr(start + opening.size(), markup.find('"', start + opening.size()) - start - opening.size());
    }

    [[nodiscard]] bool changesRequests() const override { return true; }
    NSURLRequest webViewResourceWillSendRequest(
        WebView&, const Value&, const NSURLRequest& request, const NSURLResponse& redirectResponse, const WebDataSource&) override
    {
        const std::string path = request.URL().path().UTF8();
        sent.push_back(path);
        if (redirectResponse)
            redirects[path] = redirectResponse;
        const auto found = changes.find(path);
        return found == changes.end() ? request : found->second(request);
    }
    void webViewResourceDidFailLoadingWithError(WebView&, const Value&, const NSError& failure, const WebDataSource&) override
    {
        failures[failure.userInfo()[NSURLErrorFailingURLStringErrorKey].string().UTF8()] = failure.code();
    }
    void webViewDidFinishLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& frame) override
    {
        isFinished |= frame == view->mainFrame();
    }
    void webViewDidFailProvisionalLoadWithError(WebView&, const NSError& failure, const std::shared_ptr<WebFrame>& frame) override
    {
        if (frame != view->mainFrame())
            return;
        error = failure;
        isFinished = true;
    }

    TestServer server;
    std::unique_ptr<WebView> view;
    std::map<std::string, std::function<NSURLRequest(const NSURLRequest&)>> changes;   // by path
    std::vector<std::string> sent;
    std::map<std::string, NSURLResponse> redirects;
    std::map<std::string, int64_t> failures;
    NSError error;
    bool isFinished = false;
};

TEST_F(ViewRequests, AreSentAsTheDelegateLeavesThem)
{
    server.on("/page", html(asking("fetch('asked', {headers: {'X-Own': '1'}}).then(r => r.text())")));
    server.on("/given", TestServer::Handler{[](const Request& request) {
        return typed("text/plain",
            request.method + " " + request.header("X-Own").value_or("-") + request.header("X-More").value_or("-") + " "
                + request.body);
    }});
    changes["/asked"] = [&](const NSURLRequest& request) {
        NSMutableURLRequest changed(request);
        changed.setURL(NSURL::URLWithString(NSString::stringWithRepairedUTF8(server.url("/given"))));
        changed.setHTTPMethod(u"POST");
        changed.setHTTPBody(NSData::dataWithBytes("body"));
        changed.setValue(u"2", u"X-More");
        return changed;
    };
    show(server.url("/page"));
    EXPECT_EQ(answer(), "POST 12 body");
    EXPECT_TRUE(server.requests("/asked").empty());
}

TEST_F(ViewRequests, ShowTheDelegateTheirBodies)
{
    NSData body;
    server.on("/page", html(asking("fetch('asked', {method: 'POST', body: 'a=1'}).then(r => r.text())")));
    server.on("/asked", TestServer::Handler{[](const Request& request) { return typed("text/plain", request.body); }});
    changes["/asked"] = [&](const NSURLRequest& request) {
        body = request.HTTPBody();
        return request;
    };
    show(server.url("/page"));
    EXPECT_EQ(body, NSData::dataWithBytes("a=1"));
    EXPECT_EQ(answer(), "a=1");
}

TEST_F(ViewRequests, AreOfferedAgainForEachRedirect)
{
    server.on("/start", redirect(server.url("/page")));
    server.on("/page", html(asking("fetch('one').then(r => r.text())")));
    server.on("/one", redirect("/two"));
    server.on("/two", redirect("/three"));
    server.on("/three", typed("text/plain", "there"));
    show(server.url("/start"));
    EXPECT_EQ(answer(), "there");
    EXPECT_EQ(sent, (std::vector<std::string>{"/start", "/page", "/one", "/two", "/three"}));
    EXPECT_EQ(redirects["/page"].statusCode(), 302);
    EXPECT_EQ(redirects["/page"].URL().path(), NSString(u"/start"));
    EXPECT_EQ(redirects["/two"].URL().path(), NSString(u"/one"));
    EXPECT_EQ(redirects["/three"].URL().path(), NSString(u"/two"));
    EXPECT_EQ(redirects.size(), 3U);
}

TEST_F(ViewRequests, ThatMayOnlyComeFromACacheFailAndStayOffTheNetwork)
{
    const auto offline = [](const NSURLRequest& request) {
        NSMutableURLRequest changed(request);
        changed.setCachePolicy(NSURLRequestReturnCacheDataDontLoad);
        return changed;
    };
    server.on("/page", html(asking("fetch('asked')") + "<iframe src=frame></iframe><img src=image>"));
    for (const char* path : {"/asked", "/frame", "/image"})
        changes[path] = offline;
    show(server.url("/page"));
    EXPECT_EQ(answer(), "TypeError");
    for (const char* path : {"/asked", "/frame", "/image"}) {
        EXPECT_TRUE(server.requests(path).empty());
        EXPECT_EQ(failures[server.url(path)], NSURLErrorResourceUnavailable) << path;
    }

    changes["/page"] = offline;
    const size_t before = server.requests().size();
    show(server.url("/page"));
    EXPECT_EQ(error.domain(), NSURLErrorDomain);
    EXPECT_EQ(error.code(), NSURLErrorResourceUnavailable);
    EXPECT_EQ(server.requests().size(), before);
}

TEST_F(ViewRequests, ThatAProtocolAnswersMakeAWholePage)
{
    make("/", u"text/html",
        asking("Promise.all([fetch('data.json').then(r => r.json()), fetch('gone').catch(e => e.name)]).then(a => a + ' ' + "
               "getComputedStyle(document.body).color)")
            + "<link rel=stylesheet href=style.css><iframe src=frame.html></iframe><body>");
    make("/data.json", u"application/json", "[1, 2]");
    make("/style.css", u"text/css", "body { color: rgb(1, 2, 3) }");
    make("/frame.html", u"text/html", "<p>caf\xC3\xA9");
    show("http://made.example/");
    EXPECT_EQ(answer(), "1,2,TypeError rgb(1, 2, 3)");
    EXPECT_EQ(failures["http://made.example/gone"], NSURLErrorFileDoesNotExist);
    const WebDataSource source = view->mainFrame()->dataSource();
    EXPECT_EQ(source.response().MIMEType(), NSString(u"text/html"));
    EXPECT_EQ(source.response().URL(), NSURL::URLWithString(u"http://made.example/"));
    EXPECT_FALSE(source.response().isHTTP());
    ASSERT_EQ(view->mainFrame()->childFrames().size(), 1U);
    EXPECT_EQ(view->mainFrame()->childFrames()[0]->dataSource().mainResource().data(), NSData::dataWithBytes("<p>caf\xC3\xA9"));
}

TEST_F(ViewRequests, ThatAProtocolAnswersOverHTTPHaveItsStatusAndFields)
{
    make("/", u"text/html", asking("fetch('missing').then(async r => r.status + r.headers.get('X-Own') + await r.text())"));
    MadeSite::answers["/missing"] = [](MadeSite& protocol) {
        protocol.tell(NSHTTPURLResponse(protocol.request().URL(), 404,
                          {{u"Content-Type", u"text/plain"}, {u"X-Own", u" own "}, {u"Content-Length", u"99"},
                              {u"Content-Encoding", u"gzip"}}),
            "not here");
    };
    show("http://made.example/");
    EXPECT_EQ(answer(), "404ownnot here");
}

TEST_F(ViewRequests, OfOtherSitesThatAProtocolAnswersMayBeRead)
{
    make("/data", u"text/plain", "read");
    server.on("/page",
        html(asking("fetch('http://made.example/data', {headers: {'X-Own': '1'}, credentials: 'include'}).then(r => r.text())")));
    show(server.url("/page"));
    EXPECT_EQ(answer(), "read");
}

TEST_F(ViewRequests, WaitForAProtocolThatTakesItsTime)
{
    NSTimer timer;
    make("/", u"text/html", asking("fetch('late').then(r => r.text())"));
    MadeSite::answers["/late"] = [&](MadeSite& protocol) {
        timer = NSTimer::scheduledTimerWithTimeInterval(
            0.3, false, [&protocol] { protocol.tell(NSURLResponse(NSURL(), u"text/plain", 4, {}), "late"); });
    };
    show("http://made.example/");
    EXPECT_EQ(answer(), "late");
}

TEST_F(ViewRequests, AreGivenUpByTheirProtocolsWhenTheViewStops)
{
    bool wasAsked = false;
    MadeSite::answers["/"] = [&](MadeSite&) { wasAsked = true; };
    view->mainFrame()->loadRequest(NSURLRequest::requestWithURL(NSURL::URLWithString(u"http://made.example/")));
    ASSERT_TRUE(runLoopUntil([&] { return wasAsked; }, 30));
    view->stopLoading();
    EXPECT_TRUE(runLoopUntil([&] { return isFinished; }, 30));
    EXPECT_EQ(MadeSite::stops, 1);
    EXPECT_EQ(error.code(), NSURLErrorCancelled);
    make("/again", u"text/html", asking("'again'"));
    error = {};
    show("http://made.example/again");
    EXPECT_EQ(answer(), "again");
}

TEST_F(ViewRequests, OfTheProgramItselfKeepWhatItPutIntoThem)
{
    (void)NSURLProtocol::registerClass<QVRWebArchiveURLProtocol>();
    NSMutableURLRequest request = NSMutableURLRequest::requestWithURL(NSURL::URLWithString(u"http://saved.example/page"));
    qvrSetArchivedResource(
        request, {{u"url", request.URL()}, {u"mimeType", u"text/html"}, {u"data", NSData::dataWithBytes(asking("'saved'"))}});
    show(request);
    NSURLProtocol::unregisterClass<QVRWebArchiveURLProtocol>();
    EXPECT_EQ(answer(), "saved");
}

TEST_F(ViewRequests, ForDocumentsThatTheEngineDoesNotShowKeepTheirBytes)
{
    make("/", u"text/html", "<!DOCTYPE html><title>t</title><iframe src=paper.pdf></iframe><iframe src=notes.csv></iframe>");
    make("/paper.pdf", u"application/pdf", "%PDF-1.4 not really");
    make("/notes.csv", u"text/csv", "a,b");
    show("http://made.example/", false);
    const auto& frames = view->mainFrame()->childFrames();
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0]->dataSource().mainResource().data(), NSData::dataWithBytes("%PDF-1.4 not really"));
    EXPECT_EQ(frames[1]->dataSource().mainResource().data(), NSData::dataWithBytes("a,b"));
    EXPECT_EQ(frames[1]->dataSource().response().MIMEType(), NSString(u"text/csv"));
}

}
