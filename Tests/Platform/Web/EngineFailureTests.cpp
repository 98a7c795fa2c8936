#include "Platform/Web/ViewTest.h"

namespace {

class EngineFailure : public ViewTest {
protected:
    const NSError failure =
        NSError(NSURLErrorDomain, NSURLErrorUnknown, {{NSLocalizedFailureReasonErrorKey, u"The engine ended with signal 11."}});
};

TEST_F(EngineFailure, FailsEverythingThatLoadsTheMainFrameLast)
{
    keepProgress();
    engine->openPage("main", u"http://h/", u"<iframe>");
    for (const char* frame : {"shown", "loading", "coming"})
        engine->attachFrame(frame);
    engine->showPage("shown", u"http://h/shown", u"<p>");
    engine->openPage("loading", u"http://h/loading", u"<p>");
    engine->start("coming", u"http://h/coming");
    recorder.take();
    engine->failEngine(failure);
    EXPECT_EQ(recorder.lines, (Lines{"fail provisional coming -1", "fail loading -1", "fail main -1", "round over"}));
    EXPECT_EQ(recorder.lastError.localizedFailureReason(), NSString(u"The engine ended with signal 11."));
    EXPECT_EQ(recorder.lastError.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/"));
    EXPECT_EQ(view->estimatedProgress(), 1);
    EXPECT_FALSE(view->isLoading());
}

TEST_F(EngineFailure, FailsARequestThatHasNotStarted)
{
    mainFrame()->loadRequest(support::requestFor(u"http://h/"));
    engine->failEngine(failure);
    EXPECT_EQ(recorder.lines, (Lines{"start main", "fail provisional main -1"}));
    EXPECT_EQ(recorder.lastError.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/"));
    engine->failEngine(failure);
    EXPECT_EQ(recorder.lines.size(), 2U);
}

TEST_F(EngineFailure, WithoutAPageIsSilent)
{
    engine->failEngine(failure);
    EXPECT_TRUE(recorder.lines.empty());
}

// Nothing can be read from the page any more, so whoever still waits for it has to know.
TEST_F(EngineFailure, FailsAFinishedPageOnce)
{
    keepProgress();
    engine->showPage("main", u"http://h/", u"<iframe>");
    engine->attachFrame("f");
    engine->showPage("f", u"http://h/f", u"<p>");
    recorder.take();
    engine->failEngine(failure);
    EXPECT_EQ(recorder.lines, (Lines{"fail main -1"}));
    EXPECT_EQ(recorder.lastError.localizedFailureReason(), NSString(u"The engine ended with signal 11."));
    engine->failEngine(failure);
    EXPECT_EQ(recorder.lines.size(), 1U);
    EXPECT_TRUE(mainFrame()->dataSource());
    EXPECT_THROW((void)mainFrame()->dataSource().subresources(), NSException);
}

TEST_F(EngineFailure, DoesNotFailAPageThatFailedBefore)
{
    engine->openPage("main", u"http://h/", u"<p>");
    engine->client()->documentFailed("main", NSError(NSURLErrorDomain, NSURLErrorTimedOut));
    recorder.take();
    engine->failEngine(failure);
    EXPECT_TRUE(recorder.lines.empty());
}

// The engine cancels what a process was loading before it tells that the process is gone.
TEST_F(EngineFailure, FailsAPageWhoseLoadWasCancelledJustBefore)
{
    const NSError cancelled(NSURLErrorDomain, NSURLErrorCancelled);
    for (const bool isShown : {false, true}) {
        SCOPED_TRACE(isShown);
        if (isShown) {
            engine->openPage("main", u"http://h/", u"<p>");
            engine->client()->documentFailed("main", cancelled);
        } else {
            engine->start("main", u"http://h/");
            engine->client()->navigationFailed("main", cancelled);
        }
        recorder.take();
        engine->client()->engineFailed(failure);
        EXPECT_EQ(recorder.lines, (Lines{isShown ? "fail main -1" : "fail provisional main -1"}));
        EXPECT_EQ(recorder.lastError.localizedFailureReason(), NSString(u"The engine ended with signal 11."));
        EXPECT_FALSE(view->isLoading());
        recorder.take();
        engine->client()->engineFailed(failure);
        EXPECT_TRUE(recorder.lines.empty());
    }
}

TEST_F(EngineFailure, FailsTheCancelledLoadAndNotThePageThatFailedBefore)
{
    engine->openPage("main", u"http://h/", u"<p>");
    engine->client()->documentFailed("main", NSError(NSURLErrorDomain, NSURLErrorTimedOut));
    engine->start("main", u"http://h/again");
    engine->client()->navigationFailed("main", NSError(NSURLErrorDomain, NSURLErrorCancelled));
    recorder.take();
    engine->failEngine(failure);
    EXPECT_EQ(recorder.lines, (Lines{"fail provisional main -1"}));
    EXPECT_EQ(recorder.lastError.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/again"));
}

TEST_F(EngineFailure, InTheMiddleOfACallbackIsToldToo)
{
    recorder.reactions["commit main"] = [this] { engine->failEngine(failure); };
    engine->openPage("main", u"http://h/", u"<p>");
    EXPECT_EQ(recorder.lines, (Lines{"start main", "commit main", "fail main -1"}));
}

TEST_F(EngineFailure, TellsEveryFrameThoughADelegateThrows)
{
    engine->openPage("main", u"http://h/", u"<iframe>");
    engine->attachFrame("f");
    engine->openPage("f", u"http://h/f", u"<p>");
    recorder.take();
    recorder.reactions["fail f -1"] = [] { throw std::runtime_error("the delegate's own"); };
    EXPECT_THROW(engine->failEngine(failure), std::runtime_error);
    EXPECT_EQ(recorder.lines, (Lines{"fail f -1", "fail main -1"}));
}

TEST_F(EngineFailure, IsForgottenByTheNextLoad)
{
    mainFrame()->loadRequest(support::requestFor(u"http://h/"));
    engine->client()->engineFailed(failure);
    mainFrame()->loadRequest(support::requestFor(u"http://h/"));
    engine->showPage("main", u"http://h/", u"<p>");
    EXPECT_TRUE(mainFrame()->DOMDocument().webArchive());
}

TEST_F(EngineFailure, LeavesAnEmptyVisitorIdentity)
{
    engine->identity = {u"agent", u"a=b"};
    EXPECT_EQ(view->identityForURL(NSURL::URLWithString(u"http://h/")).cookies, NSString(u"a=b"));
    engine->failEngine(failure);
    EXPECT_TRUE(view->identityForURL(NSURL::URLWithString(u"http://h/")).userAgent.isAbsent());
}

TEST_F(EngineFailure, DoesNotUndoARefusedAuthentication)
{
    engine->start("main", u"http://h/");
    engine->refuseAuthentication(engine->document("main"));
    engine->failEngine(failure);
    EXPECT_EQ(recorder.lines.back(), "fail provisional main -1013");
}

}
