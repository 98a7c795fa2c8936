#include "Platform/Web/ProgressEstimator.h"
#include "Platform/Web/ViewTest.h"

#include <algorithm>

namespace {

class Progress : public ViewTest { };

TEST_F(Progress, GoesFromNothingThroughATenthToOne)
{
    keepProgress();
    EXPECT_EQ(view->estimatedProgress(), 0);
    mainFrame()->loadRequest(support::requestFor(u"http://h/"));
    EXPECT_EQ(view->estimatedProgress(), 0);
    engine->start("main", u"http://h/");
    EXPECT_GE(view->estimatedProgress(), 0.1);
    engine->respond("main", u"text/html");
    engine->commit("main");
    engine->receive(engine->document("main"), 1'000);
    EXPECT_GT(view->estimatedProgress(), 0.1);
    EXPECT_LT(view->estimatedProgress(), 1);
    engine->finish("main");
    EXPECT_EQ(view->estimatedProgress(), 1);
    EXPECT_EQ(recorder.lines, (Lines{"round", "start main", "commit main", "finish main", "round over"}));
    mainFrame()->loadRequest(support::requestFor(u"http://h/again"));
    EXPECT_EQ(view->estimatedProgress(), 0);
}

TEST_F(Progress, NeverGoesBackAndStaysBelowOneWhileAnyFrameLoads)
{
    engine->openPage("main", u"http://h/", u"<iframe>");
    double last = view->estimatedProgress();
    const auto expectNoFall = [&] {
        EXPECT_GE(view->estimatedProgress(), last);
        EXPECT_LT(view->estimatedProgress(), 1);
        last = view->estimatedProgress();
    };
    for (int index = 0; index < 200; ++index) {
        engine->loadResource("main", NSString::stringWithFormat(u"http://h/%d.png", index), std::string(100, 'a'));
        expectNoFall();
    }
    engine->attachFrame("f");
    engine->openPage("f", u"http://h/f", u"<p>");
    expectNoFall();
    const ResourceID large = engine->request("f", u"http://h/large");
    engine->answer(large, NSURLResponse(NSURL::URLWithString(u"http://h/large"), u"image/png", 1'000'000, {}));
    expectNoFall();
    for (int part = 0; part < 15; ++part) {
        engine->receive(large, 100'000);   // more than was promised
        expectNoFall();
    }
    engine->finish("main");
    expectNoFall();
    engine->failResource(large, NSURLErrorCancelled);
    expectNoFall();
    engine->finish("f");
    EXPECT_EQ(view->estimatedProgress(), 1);
}

TEST_F(Progress, StartsANewRoundForAFrameThatLoadsLater)
{
    keepProgress();
    engine->showPage("main", u"http://h/", u"<iframe>");
    engine->attachFrame("f");
    recorder.take();
    engine->start("f", u"http://h/f");
    EXPECT_EQ(view->estimatedProgress(), 0.1);
    engine->fail("f", NSURLErrorCannotFindHost);
    EXPECT_EQ(view->estimatedProgress(), 1);
    EXPECT_EQ(recorder.lines, (Lines{"round", "start f", "fail provisional f -1003", "round over"}));
}

TEST_F(Progress, IsOneRoundForAllFramesThatOverlap)
{
    keepProgress();
    engine->openPage("main", u"http://h/", u"<iframe>");
    engine->attachFrame("f");
    engine->openPage("f", u"http://h/f", u"<p>");
    engine->finish("main");
    engine->start("main", u"http://h/next");
    engine->finish("f");
    engine->respond("main", u"text/html");
    engine->commit("main");
    EXPECT_LT(view->estimatedProgress(), 1);
    engine->finish("main");
    EXPECT_EQ(std::count(recorder.lines.begin(), recorder.lines.end(), "round"), 1);
    EXPECT_EQ(std::count(recorder.lines.begin(), recorder.lines.end(), "round over"), 1);
    EXPECT_EQ(recorder.lines.back(), "round over");
}

TEST_F(Progress, EndsWithADocumentThatIsReplacedBeforeItsEnd)
{
    keepProgress();
    engine->openPage("main", u"http://h/", u"<p>");
    engine->showPage("main", u"http://h/next", u"<p>");
    EXPECT_EQ(view->estimatedProgress(), 1);
    EXPECT_EQ(std::count(recorder.lines.begin(), recorder.lines.end(), "round over"), 1);
}

TEST(ProgressEstimator, CountsLoadsOfTheRoundOnly)
{
    ProgressEstimator progress;
    int document = 0;
    progress.resourceRequested("before");
    EXPECT_TRUE(progress.documentStarted(&document));
    EXPECT_FALSE(progress.documentStarted(&document));
    progress.resourceReceivedData("before", 1'000'000);
    progress.resourceEnded("before");
    progress.resourceResponded("unknown", 5);
    EXPECT_EQ(progress.value(), 0.1);
    progress.resourceRequested("one");
    progress.resourceResponded("one", 1'000);
    progress.resourceReceivedData("one", 500);
    EXPECT_NEAR(progress.value(), 0.1 + 0.85 / 2, 1e-9);
    progress.resourceResponded("one", -1);
    progress.resourceReceivedData("one", -5);
    EXPECT_NEAR(progress.value(), 0.1 + 0.85 / 2, 1e-9);
    progress.loadRequested();
    EXPECT_NEAR(progress.value(), 0.1 + 0.85 / 2, 1e-9);
    EXPECT_TRUE(progress.documentEnded(&document));
    EXPECT_FALSE(progress.documentEnded(&document));
    EXPECT_EQ(progress.value(), 1);
}

TEST(ProgressEstimator, TakesEmptyResourcesForWhatTheyAre)
{
    ProgressEstimator progress;
    int document = 0;
    (void)progress.documentStarted(&document);
    progress.resourceRequested("empty");
    progress.resourceResponded("empty", 0);
    progress.resourceEnded("empty");
    EXPECT_GE(progress.value(), 0.1);
    EXPECT_LT(progress.value(), 1);
}

}
