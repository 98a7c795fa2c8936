#include "Platform/Web/ViewTest.h"

using support::runLoopOnce;

namespace {

using Answer = WebPolicyDecisionListener::Answer;

class Policy : public ViewTest { };

TEST_F(Policy, IsAskedWithTheKindOfNavigationAndItsAddress)
{
    for (int number = 0; number <= 5; ++number) {
        SCOPED_TRACE(number);
        EXPECT_EQ(engine->askNavigation("main", u"http://h/x", static_cast<NavigationType>(number)), PolicyAnswer::Use);
        EXPECT_EQ(recorder.lastAction[WebActionNavigationTypeKey].integerValue(), number);
        EXPECT_EQ(recorder.lastAction[WebActionOriginalURLKey].url(), NSURL::URLWithString(u"http://h/x"));
        EXPECT_EQ(recorder.lastFrame, mainFrame());
        EXPECT_EQ(recorder.lastRequest.URL(), NSURL::URLWithString(u"http://h/x"));
    }
    EXPECT_EQ(engine->askNavigation("main", NSString()), PolicyAnswer::Use);
    EXPECT_FALSE(recorder.lastAction[WebActionOriginalURLKey]);
}

TEST_F(Policy, ThatIgnoresANavigationLeavesThePageAsItIs)
{
    engine->showPage("main", u"http://h/", u"<p>");
    recorder.take();
    recorder.navigationAnswer = Answer::Ignore;
    EXPECT_EQ(engine->askNavigation("main", u"http://h/link", NavigationType::LinkClicked), PolicyAnswer::Ignore);
    runLoopOnce();
    EXPECT_TRUE(recorder.lines.empty());
    EXPECT_EQ(mainFrame()->dataSource().request().URL().absoluteString(), NSString(u"http://h/"));
}

TEST_F(Policy, ThatIgnoredARequestDoesNotFailItLater)
{
    recorder.navigationAnswer = Answer::Ignore;
    mainFrame()->loadRequest(support::requestFor(u"http://h/"));
    EXPECT_EQ(engine->askNavigation("main", u"http://h/"), PolicyAnswer::Ignore);
    engine->failEngine(NSError(NSURLErrorDomain, NSURLErrorUnknown));
    EXPECT_TRUE(recorder.lines.empty());
}

TEST_F(Policy, MayBeAnsweredLater)
{
    recorder.answersLater = true;
    EXPECT_FALSE(engine->askNavigation("main", u"http://h/"));
    engine->start("main", u"http://h/");
    EXPECT_FALSE(engine->respond("main", u"text/html"));
    EXPECT_FALSE(recorder.listener->hasAnswer());
    recorder.listener->use();
    EXPECT_TRUE(recorder.listener->hasAnswer());
    engine->commit("main");
    EXPECT_EQ(recorder.lines, (Lines{"start main", "commit main"}));
}

TEST_F(Policy, CountsTheFirstAnswerOnly)
{
    int answers = 0;
    recorder.answersLater = true;
    engine->client()->decideNavigation(
        {"main", support::requestFor(u"http://h/"), NavigationType::Other}, [&answers](PolicyAnswer given) {
            EXPECT_EQ(given, PolicyAnswer::Ignore);
            ++answers;
        });
    recorder.listener->ignore();
    recorder.listener->use();
    recorder.listener->download();
    EXPECT_EQ(answers, 1);
}

TEST_F(Policy, AnsweredAfterTheViewIsGoneDoesNothing)
{
    bool isAnswered = false;
    recorder.answersLater = true;
    engine->client()->decideNavigation(
        {"main", support::requestFor(u"http://h/"), NavigationType::Other}, [&isAnswered](PolicyAnswer) { isAnswered = true; });
    view.reset();
    recorder.listener->use();
    EXPECT_FALSE(isAnswered);
}

TEST_F(Policy, SeesTypesAsTheyWereSpelled)
{
    recorder.keepsQuestions = true;
    engine->start("main", u"http://h/");
    engine->respond("main", u"TEXT/Html");
    EXPECT_EQ(recorder.lines.back(), "type TEXT/Html");
    EXPECT_EQ(recorder.lastFrame, mainFrame());
    engine->respond("main", NSString());
    EXPECT_EQ(recorder.lines.back(), "type ");
}

struct WayToIgnore {
    const char* name;
    void (WebPolicyDecisionListener::*answer)();
};

TEST_F(Policy, ThatIgnoresAResponseFailsTheLoadAsInterrupted)
{
    for (const WayToIgnore& row : {WayToIgnore{"ignore", &WebPolicyDecisionListener::ignore},
             WayToIgnore{"download", &WebPolicyDecisionListener::download}}) {
        SCOPED_TRACE(row.name);
        recorder.answersLater = true;
        engine->start("main", u"http://h/picture.png");
        engine->respond("main", u"image/png");
        recorder.take();
        ((*recorder.listener).*row.answer)();
        EXPECT_TRUE(recorder.lines.empty()) << "nothing is told before the run loop runs";
        runLoopOnce();
        EXPECT_EQ(recorder.lines, (Lines{"fail provisional main 102"}));
        EXPECT_EQ(recorder.lastError.domain(), WebKitErrorDomain);
        EXPECT_EQ(recorder.lastError.localizedDescription(), NSString(u"Frame load interrupted"));
        const NSDictionary userInfo = recorder.lastError.userInfo();
        EXPECT_EQ(userInfo[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/picture.png"));
        EXPECT_EQ(userInfo[NSURLErrorKey].url(), NSURL::URLWithString(u"http://h/picture.png"));
        EXPECT_EQ(userInfo[NSURLErrorFailingURLErrorKey].url(), NSURL::URLWithString(u"http://h/picture.png"));
        EXPECT_FALSE(mainFrame()->provisionalDataSource());
        EXPECT_FALSE(view->isLoading());
    }
}

TEST_F(Policy, InterruptionIsToldOnceWhateverTheEngineCallsIt)
{
    recorder.answersLater = true;
    engine->start("main", u"http://h/picture.png");
    engine->respond("main", u"image/png");
    recorder.take();
    recorder.listener->ignore();
    engine->client()->navigationFailed("main", NSError(NSURLErrorDomain, NSURLErrorCancelled));
    EXPECT_EQ(recorder.lines, (Lines{"fail provisional main 102"}));
    runLoopOnce();
    EXPECT_EQ(recorder.lines.size(), 1U);
}

TEST_F(Policy, InterruptionDoesNotTouchALoadThatCameAfter)
{
    recorder.answersLater = true;
    engine->start("main", u"http://h/picture.png");
    engine->respond("main", u"image/png");
    recorder.listener->ignore();
    engine->start("main", u"http://h/page");
    recorder.take();
    runLoopOnce();
    EXPECT_EQ(mainFrame()->provisionalDataSource().request().URL().absoluteString(), NSString(u"http://h/page"));
}

TEST_F(Policy, OfASubframeFailsOnlyThat)
{
    engine->showPage("main", u"http://h/", u"<iframe>");
    engine->attachFrame("f");
    recorder.take();
    recorder.responseAnswer = Answer::Ignore;
    engine->start("f", u"http://h/f");
    EXPECT_EQ(engine->respond("f", u"application/pdf"), PolicyAnswer::Ignore);
    runLoopOnce();
    EXPECT_EQ(recorder.lines, (Lines{"start f", "fail provisional f 102"}));
    EXPECT_TRUE(mainFrame()->dataSource());
}

TEST_F(Policy, DelegateThatThrowsIgnores)
{
    recorder.keepsQuestions = true;
    std::vector<PolicyAnswer> answers;
    const auto keep = [&answers](PolicyAnswer given) { answers.push_back(given); };
    const auto fail = [] { throw std::runtime_error("the delegate's own"); };
    recorder.reactions["navigation"] = fail;
    EXPECT_THROW(engine->client()->decideNavigation({"main", support::requestFor(u"http://h/"), NavigationType::Other}, keep),
        std::runtime_error);
    engine->start("main", u"http://h/");
    recorder.reactions["type text/html"] = fail;
    EXPECT_THROW(engine->client()->decideResponse(
                     "main", support::requestFor(u"http://h/"), support::response(u"http://h/", u"text/html"), keep),
        std::runtime_error);
    EXPECT_EQ(answers, (std::vector<PolicyAnswer>{PolicyAnswer::Ignore, PolicyAnswer::Ignore}));
    runLoopOnce();
    EXPECT_EQ(recorder.lines.back(), "fail provisional main 102");
}

TEST_F(Policy, IsAskedForFramesThatTheViewHasNotSeen)
{
    bool isUsed = false;
    engine->client()->decideNavigation({"unseen", support::requestFor(u"http://h/"), NavigationType::Other},
        [&isUsed](PolicyAnswer given) { isUsed = given == PolicyAnswer::Use; });
    EXPECT_TRUE(isUsed);
    EXPECT_FALSE(recorder.lastFrame);
}

TEST_F(Policy, IsToldOfWindowsThatDoNotOpen)
{
    engine->refuseNewWindow(u"http://h/window", u"name");
    EXPECT_EQ(recorder.lines, (Lines{"new window name"}));
    EXPECT_EQ(recorder.lastRequest.URL(), NSURL::URLWithString(u"http://h/window"));
    EXPECT_EQ(recorder.lastAction[WebActionNavigationTypeKey].integerValue(), WebNavigationTypeOther);
}

}
