#include "Platform/Web/ViewTest.h"

#include <algorithm>

using support::runLoopOnce;

namespace {

class Resources : public ViewTest {
protected:
    void open() { engine->openPage("main", u"http://h/page", u"<p>"); }
    [[nodiscard]] std::vector<WebResource> resources() const { return mainFrame()->dataSource().subresources(); }
};

TEST_F(Resources, AreListedOnceForEachAddressInTheOrderOfFirstUse)
{
    open();
    engine->loadResource("main", u"http://h/b.png", "bee");
    engine->loadResource("main", u"http://h/a.png#x", "ay");
    engine->loadResource("main", u"http://h/b.png#y", "bee");
    engine->loadResource("main", u"http://h/b.png?1", "other");
    engine->finish("main");
    EXPECT_EQ(addressesOf(resources()), (Lines{"http://h/b.png", "http://h/a.png", "http://h/b.png?1"}));
    EXPECT_EQ(textOf(resources()[1].data()), "ay");
    EXPECT_TRUE(resources()[1].frameName().isAbsent());
}

TEST_F(Resources, HaveTheirOwnTypesAndEncodings)
{
    open();
    const ResourceID sheet = engine->request("main", u"http://h/a.css");
    engine->answer(sheet,
        NSURLResponse(NSURL::URLWithString(u"http://h/a.css"), u"Text/CSS; charset=x", NSURLResponseUnknownLength, u"koi8-r"));
    engine->finishResource(sheet, NSData::dataWithBytes("p {}"));
    ASSERT_EQ(resources().size(), 1U);
    EXPECT_EQ(resources()[0].MIMEType(), NSString(u"Text/CSS"));
    EXPECT_EQ(resources()[0].textEncodingName(), NSString(u"koi8-r"));
}

TEST_F(Resources, KeepAddressesThatOnlyBrowsersAllow)
{
    open();
    const NSURLRequest request = NSURLRequest::requestWithURL(NSURL::URLWithUncheckedString(u"http://h/a|b.png#x|y"));
    engine->client()->resourceRequested("r", "main", engine->document("main"), request, {});
    engine->finishResource("r", NSData::dataWithBytes("a"));
    EXPECT_EQ(addressesOf(resources()), (Lines{"http://h/a|b.png"}));
}

TEST_F(Resources, LeaveOutThePageItselfAndWhatIsInsideIt)
{
    engine->start("main", u"http://h/first#part");
    engine->redirect("main", u"http://h/page");
    engine->respond("main", u"text/html");
    engine->commit("main");
    engine->loadResource("main", u"http://h/page", "the page as a picture");
    engine->loadResource("main", u"http://h/page#top", "the page as a picture");
    engine->loadResource("main", u"http://h/first", "and under its first address");
    engine->loadResource("main", u"data:text/plain,x", "x");
    engine->loadResource("main", u"DATA:text/plain,x", "x");
    engine->loadResource("main", u"blob:http://h/1", "x");
    engine->loadResource("main", u"http://h/database", "x");
    engine->finish("main");
    EXPECT_EQ(addressesOf(resources()), (Lines{"http://h/database"}));
}

TEST_F(Resources, LeaveOutWhatFailedOrIsStillOnItsWay)
{
    open();
    const ResourceID failed = engine->request("main", u"http://h/failed.png");
    engine->failResource(failed, NSURLErrorCannotFindHost);
    const ResourceID broken = engine->request("main", u"http://h/broken.png");
    engine->answer(broken, support::response(u"http://h/broken.png", u"image/png"));
    engine->failResource(broken, NSURLErrorNetworkConnectionLost);
    const ResourceID waiting = engine->request("main", u"http://h/waiting.png");
    engine->answer(waiting, support::response(u"http://h/waiting.png", u"image/png"));
    EXPECT_TRUE(resources().empty());
    engine->finishResource(waiting, NSData::dataWithBytes("late"));
    EXPECT_EQ(addressesOf(resources()), (Lines{"http://h/waiting.png"}));
    EXPECT_EQ(engine->bodyQuestions(), (std::vector<ResourceID>{waiting}));
}

TEST_F(Resources, IncludeAnswersThatSayNotFoundAndThoseWithoutBytesOrType)
{
    open();
    engine->loadResource("main", u"http://h/gone", "not here", u"text/html", 404);
    const ResourceID empty = engine->request("main", u"http://h/empty");
    engine->answer(empty, support::response(u"http://h/empty", NSString()));
    engine->finishResource(empty);
    ASSERT_EQ(addressesOf(resources()), (Lines{"http://h/gone", "http://h/empty"}));
    EXPECT_EQ(textOf(resources()[0].data()), "not here");
    EXPECT_TRUE(resources()[1].MIMEType().isAbsent());
    EXPECT_FALSE(resources()[1].data().isAbsent());
    EXPECT_EQ(resources()[1].data().length(), 0U);
}

TEST_F(Resources, IncludeErrorAnswersThatTheEngineGaveUp)
{
    open();
    const ResourceID sheet = engine->request("main", u"http://h/broken.css");
    engine->answer(sheet, support::response(u"http://h/broken.css", u"text/css", {}, 500));
    engine->failResource(sheet, NSURLErrorCancelled);
    ASSERT_EQ(addressesOf(resources()), (Lines{"http://h/broken.css"}));
    EXPECT_EQ(resources()[0].MIMEType(), NSString(u"text/css"));
}

TEST_F(Resources, KeepTheFirstAddressOfARedirect)
{
    open();
    const ResourceID picture = engine->request("main", u"http://h/here.png");
    engine->redirectResource(picture, u"http://h/there.png");
    engine->answer(picture, support::response(u"http://h/there.png", u"image/png"));
    engine->finishResource(picture, NSData::dataWithBytes("there"));
    ASSERT_EQ(addressesOf(resources()), (Lines{"http://h/here.png"}));
    EXPECT_EQ(textOf(resources()[0].data()), "there");
}

TEST_F(Resources, BelongToTheDocumentThatAsked)
{
    open();
    engine->loadResource("main", u"http://h/shared.png", "shared");
    engine->attachFrame("f");
    engine->start("f", u"http://h/f1");
    const DocumentID first = engine->document("f");
    // Asked for ahead of the document's arrival.
    engine->client()->resourceRequested("early", "f", first, support::requestFor(u"http://h/early.css"), {});
    engine->respond("f", u"text/html");
    engine->commit("f");
    engine->finishResource("early", NSData::dataWithBytes("early"));
    engine->loadResource("f", u"http://h/shared.png", "shared");
    engine->finish("f");
    EXPECT_EQ(addressesOf(child()->dataSource().subresources()), (Lines{"http://h/early.css", "http://h/shared.png"}));
    EXPECT_EQ(addressesOf(resources()), (Lines{"http://h/shared.png"}));

    // A new document starts afresh; what the old one still gets is not its own.
    const ResourceID late = engine->request("f", u"http://h/late.png");
    engine->start("f", u"http://h/f2");
    engine->respond("f", u"text/html");
    engine->commit("f");
    engine->finishResource(late, NSData::dataWithBytes("late"));
    engine->loadResource("f", u"http://h/new.png", "new");
    EXPECT_EQ(addressesOf(child()->dataSource().subresources()), (Lines{"http://h/new.png"}));
}

TEST_F(Resources, AnsweredFromMemoryHaveTheBytesOfTheOtherLoad)
{
    open();
    engine->loadResource("main", u"http://h/shared.png", "shared bytes");
    for (const char* frame : {"a", "b", "c"}) {
        engine->attachFrame(frame);
        engine->showPage(frame, u"http://h/f", u"<img>");
        const ResourceID fromMemory = engine->request(frame, u"http://h/shared.png");
        engine->finishResource(fromMemory);
    }
    const NSData bytes = resources()[0].data();
    ASSERT_EQ(mainFrame()->childFrames().size(), 3U);
    for (const auto& frame : mainFrame()->childFrames()) {
        const std::vector<WebResource> listed = frame->dataSource().subresources();
        ASSERT_EQ(listed.size(), 1U);
        EXPECT_EQ(textOf(listed[0].data()), "shared bytes");
        EXPECT_EQ(listed[0].data().bytes().data(), bytes.bytes().data()) << "shared, not copied";
        EXPECT_EQ(listed[0].MIMEType(), NSString(u"image/png"));
    }
}

TEST_F(Resources, AnsweredFromMemoryHaveTheirBytesAlsoWhenTheOtherFrameIsGone)
{
    open();
    engine->attachFrame("f");
    engine->showPage("f", u"http://h/f", u"<img>");
    engine->loadResource("f", u"http://h/shared.png", "shared bytes");
    engine->detachFrame("f");
    engine->finishResource(engine->request("main", u"http://h/shared.png"));
    ASSERT_EQ(resources().size(), 1U);
    EXPECT_EQ(textOf(resources()[0].data()), "shared bytes");
}

TEST_F(Resources, AskForEachBodyOnce)
{
    open();
    const ResourceID picture = engine->loadResource("main", u"http://h/a.png", "a");
    engine->finish("main");
    (void)resources();
    (void)resources();
    (void)mainFrame()->dataSource().webArchive();
    (void)mainFrame()->dataSource().webArchive();
    EXPECT_EQ(std::count(engine->bodyQuestions().begin(), engine->bodyQuestions().end(), picture), 1);
    EXPECT_EQ(engine->bodyQuestions().size(), 2U);
}

TEST_F(Resources, TakeTheNewestWholeAnswerOfAnAddress)
{
    open();
    const auto load = [this](const char* body, const NSString& method, int status, const NSString& range) {
        const ResourceID resource = engine->request("main", u"http://h/film", {}, method);
        NSDictionary fields = NSDictionary::dictionary();
        if (range)
            fields.setObject(range, u"Content-Range");
        engine->answer(resource, NSHTTPURLResponse(NSURL::URLWithString(u"http://h/film"), status, fields));
        engine->finishResource(resource, NSData::dataWithBytes(body));
        return textOf(resources().at(0).data());
    };
    EXPECT_EQ(load("sent", u"POST", 200, {}), "sent");
    EXPECT_EQ(load("part", u"GET", 206, u"bytes 4-7/8"), "part");
    EXPECT_EQ(load("whole", u"GET", 206, u"bytes 0-4/5"), "whole");
    EXPECT_EQ(load("part", u"GET", 206, u"bytes 0-3/8"), "whole");
    EXPECT_EQ(load("part", u"GET", 206, u"nonsense"), "whole");
    EXPECT_EQ(load("sent", u"POST", 200, {}), "whole");
    EXPECT_EQ(load("newer", u"GET", 200, {}), "newer");
    EXPECT_EQ(load("", u"HEAD", 200, {}), "newer");
    EXPECT_EQ(load("", u"OPTIONS", 204, {}), "newer");
    EXPECT_EQ(resources().size(), 1U);
}

TEST_F(Resources, AreNotQuestionsAboutThem)
{
    open();
    for (const char16_t* method : {u"HEAD", u"OPTIONS"})
        engine->finishResource(engine->request("main", u"http://h/asked", {}, method));
    EXPECT_TRUE(resources().empty());
}

TEST_F(Resources, OfADocumentWithoutALoadOfItsOwnAreAllListed)
{
    open();
    engine->attachFrame("f");
    engine->showBlank("f", u"<img>", u"about:srcdoc");
    engine->loadResource("f", u"http://h/a.png", "a");
    EXPECT_EQ(addressesOf(child()->dataSource().subresources()), (Lines{"http://h/a.png"}));
}

TEST_F(Resources, WithoutADocumentsNameBelongToWhatTheFrameShows)
{
    open();
    engine->client()->resourceRequested("r", "main", {}, support::requestFor(u"http://h/a.png"), {});
    engine->finishResource("r", NSData::dataWithBytes("a"));
    EXPECT_EQ(addressesOf(resources()), (Lines{"http://h/a.png"}));
}

TEST_F(Resources, KnowTheDocumentsLoadByItsAddressToo)
{
    PageEngineClient& client = *engine->client();
    client.navigationStarted("main", "d", support::requestFor(u"http://h/page"));
    client.resourceRequested("request-1", "main", "d", support::requestFor(u"http://h/page"), {});
    const NSURLResponse response = support::response(u"http://h/page", u"text/html");
    client.resourceResponded("request-1", response);
    client.navigationCommitted("main", "d", response);
    client.resourceFinished("request-1");
    client.documentFinished("main");
    engine->setBody("request-1", NSData::dataWithBytes("<p>"));
    EXPECT_EQ(textOf(mainFrame()->dataSource().mainResource().data()), "<p>");
    EXPECT_TRUE(resources().empty());
}

TEST_F(Resources, InGreatNumberAreListedInLinearTime)
{
    open();
    // Steps of quadratic cost would take minutes here; a generous bound tells them from linear ones on any machine.
    constexpr int count = 10'000;
    const double begin = support::processorTime();
    for (int index = 0; index < count; ++index)
        engine->loadResource("main", NSString::stringWithFormat(u"http://h/%d.png", index), "x");
    for (int index = 0; index < count; ++index)
        engine->finishResource(engine->request("main", u"http://h/polled"), NSData::dataWithBytes("y"));
    engine->finish("main");
    EXPECT_EQ(resources().size(), count + 1U);
    EXPECT_EQ(mainFrame()->dataSource().webArchive().subresources().size(), count + 1U);
    EXPECT_LT(support::processorTime() - begin, 20);
}

// The delegate.

TEST_F(Resources, AreToldUnderTheDelegatesIdentifier)
{
    open();
    recorder.take();
    recorder.keepsResources = true;
    const ResourceID picture = engine->request("main", u"http://h/a");
    EXPECT_EQ(recorder.lastDataSource, mainFrame()->dataSource());
    engine->redirectResource(picture, u"http://h/b");
    EXPECT_EQ(recorder.lastResponse.statusCode(), 302);
    EXPECT_EQ(recorder.lastDataSource, mainFrame()->dataSource());
    engine->answer(picture, support::response(u"http://h/b", u"image/png"));
    engine->receive(picture, 5);
    engine->finishResource(picture);
    EXPECT_EQ(recorder.lines,
        (Lines{"identify http://h/a", "send http://h/a http://h/a", "send http://h/a http://h/b redirected",
            "response http://h/a", "length http://h/a 5", "finished http://h/a"}));
    engine->finishResource(picture);
    engine->receive("nobody", 5);
    engine->answer("nobody", support::response(u"http://h/b", u"image/png"));
    engine->failResource("nobody", NSURLErrorCancelled);
    EXPECT_EQ(recorder.lines.size(), 7U) << "a load may be finished again, but unknown ones are nothing";
}

TEST_F(Resources, FailuresAreToldWithTheirAddress)
{
    open();
    recorder.take();
    recorder.keepsResources = true;
    engine->failResource(engine->request("main", u"http://h/a"), NSURLErrorCannotFindHost);
    EXPECT_EQ(recorder.lines.back(), "failed http://h/a -1003");
    EXPECT_EQ(recorder.lastError.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/a"));
}

TEST_F(Resources, TellTheDocumentsOwnLoadWithTheDataSourceThatIsOnItsWay)
{
    recorder.keepsResources = true;
    engine->start("main", u"http://h/");
    EXPECT_EQ(recorder.lastDataSource, mainFrame()->provisionalDataSource());
    EXPECT_EQ(recorder.lines, (Lines{"start main", "identify http://h/", "send http://h/ http://h/"}));
    engine->fail("main", NSURLErrorCannotFindHost);
    EXPECT_EQ(recorder.lines[3], "failed http://h/ -1003");
    EXPECT_EQ(recorder.lines[4], "fail provisional main -1003");
}

TEST_F(Resources, SurviveADelegateThatRemovesTheirFrame)
{
    open();
    engine->attachFrame("f");
    engine->openPage("f", u"http://h/f", u"<p>");
    recorder.keepsResources = true;
    recorder.reactions["identify http://h/a"] = [this] { engine->detachFrame("f"); };
    const ResourceID picture = engine->request("f", u"http://h/a");
    EXPECT_EQ(recorder.lines.back(), "send http://h/a http://h/a");
    recorder.take();
    engine->finishResource(picture);
    EXPECT_TRUE(recorder.lines.empty());
}

// Authentication.

TEST_F(Resources, RefusedAuthenticationOfThePageFailsIt)
{
    engine->start("main", u"http://h/");
    recorder.take();
    engine->refuseAuthentication(engine->document("main"));
    EXPECT_EQ(recorder.lines, (Lines{"challenge http://h/"}));
    EXPECT_EQ(recorder.lastChallenge.failureResponse().statusCode(), 401);
    EXPECT_EQ(recorder.lastDataSource, mainFrame()->provisionalDataSource());
    runLoopOnce();
    EXPECT_EQ(recorder.lines, (Lines{"challenge http://h/", "fail provisional main -1013"}));
    EXPECT_EQ(recorder.lastError.domain(), NSURLErrorDomain);
    EXPECT_EQ(recorder.lastError.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/"));
}

TEST_F(Resources, RefusedAuthenticationIsNotOverwrittenByACancel)
{
    engine->start("main", u"http://h/");
    engine->refuseAuthentication(engine->document("main"));
    recorder.take();
    engine->fail("main", NSURLErrorCancelled);
    runLoopOnce();
    engine->client()->navigationFailed("main", NSError(NSURLErrorDomain, NSURLErrorCancelled));
    EXPECT_EQ(recorder.lines, (Lines{"fail provisional main -1013"}));
}

TEST_F(Resources, PageThatComesWithARefusedAuthenticationIsNotShown)
{
    for (const bool isSettledBefore : {false, true}) {
        SCOPED_TRACE(isSettledBefore);
        recorder.keepsQuestions = true;
        engine->start("main", u"http://h/");
        const DocumentID document = engine->document("main");
        engine->refuseAuthentication(document);
        if (isSettledBefore)
            runLoopOnce();
        recorder.take();
        EXPECT_EQ(engine->respond("main", support::response(u"http://h/", u"text/html", {}, 401)), PolicyAnswer::Ignore);
        EXPECT_TRUE(recorder.lines.empty());
        runLoopOnce();
        engine->client()->navigationCommitted("main", document, support::response(u"http://h/", u"text/html", {}, 401));
        EXPECT_FALSE(mainFrame()->dataSource());
    }
}

TEST_F(Resources, RefusedAuthenticationOfAPictureIsOnlyTold)
{
    open();
    recorder.take();
    const ResourceID picture = engine->request("main", u"http://h/a.png");
    engine->refuseAuthentication(picture);
    runLoopOnce();
    EXPECT_EQ(recorder.lines, (Lines{"challenge http://h/a.png"}));
    engine->refuseAuthentication("nobody");
    EXPECT_EQ(recorder.lines.size(), 2U);
}

TEST_F(Resources, RefusedAuthenticationOfASubframeFailsOnlyThat)
{
    open();
    engine->attachFrame("f");
    engine->start("f", u"http://h/f");
    recorder.take();
    engine->refuseAuthentication(engine->document("f"));
    runLoopOnce();
    EXPECT_EQ(recorder.lines, (Lines{"challenge http://h/f", "fail provisional f -1013"}));
}

}
