#include "Platform/Web/ViewTest.h"

using support::runLoopOnce;

namespace {

class FrameLoad : public ViewTest { };

TEST_F(FrameLoad, TellsStartCommitTitleAndFinishInThisOrder)
{
    engine->start("main", u"http://h/");
    EXPECT_EQ(mainFrame()->provisionalDataSource().request().URL().absoluteString(), NSString(u"http://h/"));
    EXPECT_FALSE(mainFrame()->dataSource());
    EXPECT_TRUE(view->isLoading());
    engine->respond("main", u"text/html", u"utf-8");
    EXPECT_EQ(mainFrame()->provisionalDataSource().response().MIMEType(), NSString(u"text/html"));
    engine->commit("main");
    EXPECT_FALSE(mainFrame()->provisionalDataSource());
    EXPECT_TRUE(mainFrame()->dataSource().isLoading());
    engine->title("main", u"A title");
    engine->finish("main");
    EXPECT_FALSE(mainFrame()->dataSource().isLoading());
    EXPECT_FALSE(view->isLoading());
    EXPECT_EQ(mainFrame()->dataSource().pageTitle(), NSString(u"A title"));
    EXPECT_EQ(mainFrame()->dataSource().textEncodingName(), NSString(u"utf-8"));
    EXPECT_EQ(mainFrame()->dataSource().webFrame(), mainFrame());
    EXPECT_EQ(recorder.lines, (Lines{"start main", "commit main", "title main A title", "finish main"}));
}

TEST_F(FrameLoad, HandsTheRequestAndThePreferencesToTheEngine)
{
    view->preferences().setJavaScriptEnabled(false);
    view->preferences().setPlugInsEnabled(true);
    const NSURLRequest request =
        NSURLRequest::requestWithURL(NSURL::URLWithString(u"http://h/x"), NSURLRequestReloadIgnoringLocalCacheData, 7);
    mainFrame()->loadRequest(request);
    view->preferences().setJavaScriptEnabled(true);
    view->preferences().setPlugInsEnabled(false);
    mainFrame()->loadRequest(request);
    ASSERT_EQ(engine->loads().size(), 2U);
    EXPECT_EQ(engine->loads()[0].request, request);
    EXPECT_FALSE(engine->loads()[0].settings.javaScriptEnabled);
    EXPECT_TRUE(engine->loads()[0].settings.plugInsEnabled);
    EXPECT_TRUE(engine->loads()[1].settings.javaScriptEnabled);
    EXPECT_FALSE(engine->loads()[1].settings.plugInsEnabled);
}

TEST_F(FrameLoad, TellsNothingBeforeTheRunLoopRuns)
{
    engine->onLoad = [](support::ScriptedEngine& scripted, const NSURLRequest& request) {
        scripted.showPage("main", request.URL().absoluteString(), u"<p>");
    };
    mainFrame()->loadRequest(support::requestFor(u"http://h/"));
    EXPECT_TRUE(recorder.lines.empty());
    runLoopOnce();
    EXPECT_EQ(recorder.lines, (Lines{"start main", "commit main", "finish main"}));
}

TEST_F(FrameLoad, StopsThroughTheEngine)
{
    engine->start("main", u"http://h/");
    view->stopLoading();
    EXPECT_EQ(engine->stops(), 1);
    runLoopOnce();
    EXPECT_EQ(recorder.lines, (Lines{"start main", "fail provisional main -999"}));
    mainFrame()->stopLoading();
    EXPECT_EQ(engine->stops(), 2);
}

TEST_F(FrameLoad, FollowsRedirects)
{
    engine->start("main", u"http://h/a");
    engine->redirect("main", u"http://h/b");
    engine->respond("main", u"text/html");
    engine->commit("main");
    EXPECT_EQ(recorder.lines, (Lines{"start main", "redirect main http://h/b", "commit main"}));
    EXPECT_EQ(mainFrame()->dataSource().initialRequest().URL().absoluteString(), NSString(u"http://h/a"));
    EXPECT_EQ(mainFrame()->dataSource().request().URL().absoluteString(), NSString(u"http://h/b"));
}

TEST_F(FrameLoad, ThatFailsBeforeItCommitsLeavesTheOldDocument)
{
    engine->showPage("main", u"http://h/old", u"<p>");
    const WebDataSource old = mainFrame()->dataSource();
    recorder.take();
    engine->start("main", u"http://h/new");
    engine->fail("main", NSURLErrorTimedOut);
    EXPECT_EQ(recorder.lines, (Lines{"start main", "fail provisional main -1001"}));
    EXPECT_EQ(mainFrame()->dataSource(), old);
    EXPECT_FALSE(mainFrame()->provisionalDataSource());
}

TEST_F(FrameLoad, ErrorsNameTheAddressThreeTimes)
{
    engine->start("main", u"http://h/a");
    engine->redirect("main", u"http://h/b");
    engine->fail("main", NSURLErrorCannotFindHost);
    const NSDictionary userInfo = recorder.lastError.userInfo();
    EXPECT_EQ(recorder.lastError.domain(), NSURLErrorDomain);
    EXPECT_EQ(userInfo[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/b"));
    EXPECT_EQ(userInfo[NSURLErrorKey].url(), NSURL::URLWithString(u"http://h/b"));
    EXPECT_EQ(userInfo[NSURLErrorFailingURLErrorKey].url(), NSURL::URLWithString(u"http://h/b"));
}

TEST_F(FrameLoad, ErrorsKeepWhatTheEngineSaid)
{
    engine->start("main", u"http://h/a");
    engine->fail("main",
        NSError(NSURLErrorDomain, NSURLErrorUnknown,
            {{NSURLErrorFailingURLStringErrorKey, u"http://other/"}, {NSLocalizedFailureReasonErrorKey, u"A reason."}}));
    EXPECT_EQ(recorder.lastError.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://other/"));
    EXPECT_EQ(recorder.lastError.localizedFailureReason(), NSString(u"A reason."));
    EXPECT_EQ(recorder.lastError.userInfo()[NSURLErrorKey].url(), NSURL::URLWithString(u"http://h/a"));
}

TEST_F(FrameLoad, ThatFailsAfterItCommittedIsTold)
{
    engine->openPage("main", u"http://h/", u"<p>");
    engine->fail("main", NSURLErrorNetworkConnectionLost);
    engine->client()->documentFinished("main");
    EXPECT_EQ(recorder.lines, (Lines{"start main", "commit main", "fail main -1005"}));
    EXPECT_FALSE(mainFrame()->dataSource().isLoading());
    EXPECT_TRUE(mainFrame()->dataSource());
}

TEST_F(FrameLoad, IsToldAsStartedAlsoWhenItFailsAtOnce)
{
    // Whoever waits for the end of a load counts from its start: a request that the engine refuses must have both.
    mainFrame()->loadRequest(support::requestFor(u"nothing://h/"));
    engine->fail("main", NSURLErrorUnsupportedURL);
    EXPECT_EQ(recorder.lines, (Lines{"start main", "fail provisional main -1002"}));
    EXPECT_EQ(recorder.lastError.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"nothing://h/"));
    engine->fail("main", NSURLErrorCancelled);
    EXPECT_EQ(recorder.lines.size(), 2U);
}

TEST_F(FrameLoad, ThatOvertakesAnotherCancelsIt)
{
    engine->start("main", u"http://h/a");
    engine->start("main", u"http://h/b");
    EXPECT_EQ(recorder.lines, (Lines{"start main", "fail provisional main -999", "start main"}));
    EXPECT_EQ(recorder.lastError.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/a"));
    EXPECT_EQ(mainFrame()->provisionalDataSource().request().URL().absoluteString(), NSString(u"http://h/b"));
}

TEST_F(FrameLoad, ThatHasFailedDoesNotComeBack)
{
    engine->start("main", u"http://h/a");
    const DocumentID document = engine->document("main");
    engine->fail("main", NSURLErrorCancelled);
    recorder.take();
    engine->client()->navigationCommitted("main", document, support::response(u"http://h/a", u"text/html"));
    engine->client()->documentFinished("main");
    engine->client()->navigationFailed("main", NSError(NSURLErrorDomain, NSURLErrorCancelled));
    EXPECT_TRUE(recorder.lines.empty());
    EXPECT_FALSE(mainFrame()->dataSource());
}

TEST_F(FrameLoad, TakesDocumentsThatComeWithoutAStart)
{
    engine->client()->navigationCommitted("main", "d", support::response(u"http://h/a", u"text/html"));
    engine->client()->documentFinished("main");
    EXPECT_EQ(recorder.lines, (Lines{"commit main", "finish main"}));
    EXPECT_EQ(mainFrame()->dataSource().request().URL().absoluteString(), NSString(u"http://h/a"));
}

TEST_F(FrameLoad, IgnoresNewsOfFramesThatAreNotThere)
{
    PageEngineClient& client = *engine->client();
    const NSError error(NSURLErrorDomain, NSURLErrorCancelled);
    client.frameAttached("a", "nobody");
    client.frameDetached("nobody");
    client.frameDetached("main");
    client.frameNamed("nobody", u"x");
    client.navigationStarted("nobody", "d", support::requestFor(u"http://h/"));
    client.navigationRedirected("nobody", support::requestFor(u"http://h/"));
    client.navigationCommitted("nobody", "d", {});
    client.navigationFailed("nobody", error);
    client.documentFinished("nobody");
    client.documentFailed("nobody", error);
    client.titleChanged("nobody", u"x");
    client.titleChanged("main", u"x");
    client.clientRedirectScheduled("nobody", NSURL(), 0);
    client.clientRedirectCleared("nobody");
    client.documentFinished("main");
    client.documentFailed("main", error);
    client.navigationFailed("main", error);
    client.navigationRedirected("main", support::requestFor(u"http://h/"));
    EXPECT_TRUE(recorder.lines.empty());
    EXPECT_TRUE(mainFrame()->childFrames().empty());
}

TEST_F(FrameLoad, TellsTitlesThatChangeAndCountsEmptyOnesAsNone)
{
    engine->openPage("main", u"http://h/", u"<p>");
    recorder.take();
    engine->title("main", u"");
    engine->title("main", u"a");
    engine->title("main", u"a");
    EXPECT_EQ(mainFrame()->dataSource().pageTitle(), NSString(u"a"));
    engine->title("main", u"");
    EXPECT_TRUE(mainFrame()->dataSource().pageTitle().isAbsent());
    EXPECT_EQ(recorder.lines, (Lines{"title main a", "title main "}));
}

TEST_F(FrameLoad, TellsClientRedirectsWithTheirTime)
{
    engine->openPage("main", u"http://h/", u"<p>");
    recorder.take();
    engine->redirectByClient("main", u"http://h/next", 2.5);
    EXPECT_NEAR(recorder.lastFireDate.timeIntervalSinceNow(), 2.5, 1);
    engine->clearClientRedirect("main");
    EXPECT_EQ(recorder.lines, (Lines{"client redirect main http://h/next 2.5", "client redirect cancelled main"}));
}

TEST_F(FrameLoad, WorksWithoutDelegates)
{
    view->setFrameLoadDelegate(nullptr);
    view->setPolicyDelegate(nullptr);
    view->setResourceLoadDelegate(nullptr);
    EXPECT_TRUE(engine->showPage("main", u"http://h/", u"<p>"));
    engine->loadResource("main", u"http://h/a.png", "a");
    engine->start("main", u"http://h/b");
    engine->fail("main", NSURLErrorCancelled);
    engine->redirectByClient("main", u"http://h/next", 0);
    engine->clearClientRedirect("main");
    engine->refuseNewWindow(u"http://h/window");
    engine->title("main", u"t");
    EXPECT_EQ(mainFrame()->dataSource().pageTitle(), NSString(u"t"));
}

TEST_F(FrameLoad, UsesDelegatesThatTakeNoInterest)
{
    class Uninterested : public WebFrameLoadDelegate, public WebPolicyDelegate, public WebResourceLoadDelegate {
    } uninterested;
    view->setFrameLoadDelegate(&uninterested);
    view->setPolicyDelegate(&uninterested);
    view->setResourceLoadDelegate(&uninterested);
    EXPECT_TRUE(engine->showPage("main", u"http://h/", u"<p>"));
    engine->refuseAuthentication(engine->request("main", u"http://h/a.png"));
    engine->refuseNewWindow(u"http://h/window");
    EXPECT_FALSE(mainFrame()->dataSource().isLoading());
    view->setFrameLoadDelegate(nullptr);
    view->setPolicyDelegate(nullptr);
    view->setResourceLoadDelegate(nullptr);
}

// Callbacks may do anything.

TEST_F(FrameLoad, SurvivesADelegateThatThrows)
{
    keepProgress();
    recorder.reactions["finish main"] = [] { throw std::runtime_error("the delegate's own"); };
    engine->openPage("main", u"http://h/", u"<p>");
    EXPECT_THROW(engine->finish("main"), std::runtime_error);
    EXPECT_FALSE(mainFrame()->dataSource().isLoading());
    EXPECT_EQ(view->estimatedProgress(), 1);
    EXPECT_EQ(recorder.lines, (Lines{"round", "start main", "commit main", "finish main", "round over"}));
}

TEST_F(FrameLoad, SurvivesADelegateThatLoadsAnew)
{
    engine->onLoad = [](support::ScriptedEngine& scripted, const NSURLRequest& request) {
        scripted.showPage("main", request.URL().absoluteString(), u"<p>");
    };
    recorder.reactions["commit main"] = [this] {
        mainFrame()->loadRequest(support::requestFor(u"http://h/second"));
        runLoopOnce();
    };
    engine->openPage("main", u"http://h/first", u"<p>");
    EXPECT_EQ(mainFrame()->dataSource().request().URL().absoluteString(), NSString(u"http://h/second"));
    EXPECT_EQ(recorder.lines, (Lines{"start main", "commit main", "start main", "commit main", "finish main"}));
}

TEST_F(FrameLoad, SurvivesAFrameThatGoesInItsOwnCallback)
{
    engine->openPage("main", u"http://h/", u"<iframe>");
    engine->attachFrame("f");
    recorder.take();
    recorder.reactions["start f"] = [this] { engine->detachFrame("f"); };
    engine->client()->navigationStarted("f", "d", support::requestFor(u"http://h/f"));
    EXPECT_EQ(recorder.lines, (Lines{"start f", "fail provisional f -999"}));
    EXPECT_TRUE(mainFrame()->childFrames().empty());
}

TEST_F(FrameLoad, SurvivesARunOfTheLoopInACallback)
{
    recorder.reactions["commit main"] = [this] {
        engine->later([](support::ScriptedEngine& scripted) {
            scripted.attachFrame("f");
            scripted.showPage("f", u"http://h/f", u"<p>");
        });
        runLoopOnce();
    };
    engine->showPage("main", u"http://h/", u"<p>");
    EXPECT_EQ(recorder.lines, (Lines{"start main", "commit main", "start f", "commit f", "finish f", "finish main"}));
}

// The view's end.

TEST_F(FrameLoad, LeavesNothingBehindWhenTheViewGoes)
{
    bool ended = false;
    engine->reportEndTo(&ended);
    engine->showPage("main", u"http://h/", u"<p>");
    engine->attachFrame("f");
    engine->showPage("f", u"http://h/f", u"<p>");
    const std::shared_ptr<WebFrame> main = mainFrame();
    const std::shared_ptr<WebFrame> inner = child();
    const WebDataSource dataSource = main->dataSource();
    const DOMDocument document = main->DOMDocument();
    const WebResource resource = dataSource.mainResource();
    view.reset();
    EXPECT_TRUE(ended);
    EXPECT_TRUE(main->childFrames().empty());
    for (const auto& frame : {main, inner}) {
        EXPECT_FALSE(frame->dataSource());
        EXPECT_FALSE(frame->provisionalDataSource());
        EXPECT_FALSE(frame->parentFrame());
        EXPECT_FALSE(frame->DOMDocument());
        EXPECT_FALSE(frame->frameElement());
        EXPECT_TRUE(frame->name().isAbsent());
        frame->stopLoading();
        frame->loadRequest(support::requestFor(u"http://h/"));
    }
    EXPECT_FALSE(dataSource.mainResource());
    EXPECT_TRUE(dataSource.subresources().empty());
    EXPECT_FALSE(dataSource.webArchive());
    EXPECT_FALSE(document.webArchive());
    EXPECT_THROW((void)resource.data(), NSException);
    EXPECT_EQ(dataSource.request().URL().absoluteString(), NSString(u"http://h/"));
}

TEST_F(FrameLoad, EndsQuietlyWhenTheViewGoesInMidLoad)
{
    engine->openPage("main", u"http://h/", u"<p>");
    recorder.responseAnswer = WebPolicyDecisionListener::Answer::Ignore;
    engine->start("main", u"http://h/b");
    engine->respond("main", u"image/png");
    recorder.take();
    view.reset();
    runLoopOnce();
    EXPECT_TRUE(recorder.lines.empty());
}

TEST(WebViewWithoutAnEngine, IsRefused)
{
    EXPECT_THROW(WebView(NSRect(), {}, {}, nullptr), NSException);
}

TEST(AbsentDataSource, AnswersAbsentToEverything)
{
    const WebDataSource absent;
    EXPECT_TRUE(absent.isAbsent());
    EXPECT_TRUE(absent.request().isAbsent());
    EXPECT_TRUE(absent.initialRequest().isAbsent());
    EXPECT_TRUE(absent.response().isAbsent());
    EXPECT_TRUE(absent.pageTitle().isAbsent());
    EXPECT_TRUE(absent.textEncodingName().isAbsent());
    EXPECT_TRUE(absent.description().isAbsent());
    EXPECT_FALSE(absent.isLoading());
    EXPECT_FALSE(absent.webFrame());
    EXPECT_FALSE(absent.mainResource());
    EXPECT_TRUE(absent.subresources().empty());
    EXPECT_FALSE(absent.webArchive());
    EXPECT_FALSE(DOMDocument().webArchive());
}

}
