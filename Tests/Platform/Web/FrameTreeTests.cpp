#include "Platform/Web/ViewTest.h"

namespace {

class Frames : public ViewTest {
protected:
    void SetUp() override
    {
        engine->showPage("main", u"http://h/", u"<iframe>");
        recorder.take();
    }
};

TEST_F(Frames, AreNestedInTheOrderInWhichTheyCame)
{
    engine->attachFrame("a");
    engine->attachFrame("b");
    engine->attachFrame("a1", "a");
    ASSERT_EQ(mainFrame()->childFrames().size(), 2U);
    EXPECT_EQ(child(0)->frameID(), "a");
    EXPECT_EQ(child(1)->frameID(), "b");
    ASSERT_EQ(child(0)->childFrames().size(), 1U);
    EXPECT_EQ(child(0)->childFrames()[0]->parentFrame(), child(0));
    EXPECT_EQ(child(0)->parentFrame(), mainFrame());
    EXPECT_EQ(mainFrame()->parentFrame(), nullptr);
    engine->client()->frameAttached("a", "main");
    EXPECT_EQ(mainFrame()->childFrames().size(), 2U);
}

TEST_F(Frames, FitIntoArraysAndAreFoundThereAgain)
{
    engine->attachFrame("a");
    NSArray loading;
    loading.addObject(u"rootPage");
    loading.addObject(child());
    loading.addObject(mainFrame());
    EXPECT_TRUE(loading.containsObject(child()));
    loading.removeObject(child());
    EXPECT_EQ(loading.count(), 2U);
    EXPECT_EQ(std::dynamic_pointer_cast<const WebFrame>(loading[1].object()), mainFrame());
    EXPECT_TRUE(mainFrame()->description().hasPrefix(u"<WebFrame: 0x"));
}

TEST_F(Frames, KeepTheirNamesAndGetGeneratedOnesInTheOrderInWhichTheyCame)
{
    for (const char* frame : {"a", "b", "c", "d"}) {
        engine->attachFrame(frame);
        engine->showPage(frame, u"http://h/f", u"<p>");
    }
    engine->nameFrame("b", u"named");
    engine->nameFrame("c", u"");
    EXPECT_EQ(mainFrame()->name(), NSString(u""));
    EXPECT_EQ(child(2)->name(), NSString(u"<!--frame1-->"));
    EXPECT_EQ(child(0)->name(), NSString(u"<!--frame0-->"));
    EXPECT_EQ(child(1)->name(), NSString(u"named"));
    EXPECT_EQ(child(3)->name(), NSString(u"<!--frame2-->"));
    // Others keep theirs when one goes, and its number does not come back.
    engine->detachFrame("c");
    engine->attachFrame("e");
    EXPECT_EQ(child(2)->name(), NSString(u"<!--frame2-->"));
    EXPECT_EQ(child(3)->name(), NSString(u"<!--frame3-->"));
    engine->nameFrame("main", u"by script");
    EXPECT_EQ(mainFrame()->name(), NSString(u""));
}

TEST_F(Frames, ThatShowNothingYetTakeNoNumber)
{
    engine->attachFrame("a");
    engine->attachFrame("b");
    engine->showPage("b", u"http://h/b", u"<p>");
    EXPECT_EQ(child(1)->name(), NSString(u"<!--frame0-->"));
    engine->nameFrame("a", u"named late");
    engine->attachFrame("c");
    engine->showPage("c", u"http://h/c", u"<p>");
    EXPECT_EQ(child(2)->name(), NSString(u"<!--frame1-->"));
}

TEST_F(Frames, ThatGoWhileTheyLoadAreCancelledTheInnermostFirst)
{
    engine->attachFrame("a");
    engine->openPage("a", u"http://h/a", u"<iframe>");
    engine->attachFrame("a1", "a");
    engine->openPage("a1", u"http://h/a1", u"<p>");
    engine->start("a1", u"http://h/a1/next");
    engine->attachFrame("a2", "a");
    engine->showPage("a2", u"http://h/a2", u"<p>");
    const std::shared_ptr<WebFrame> frame = child();
    const std::shared_ptr<WebFrame> inner = frame->childFrames()[0];
    recorder.take();
    keepProgress();
    engine->detachFrame("a");
    EXPECT_EQ(recorder.lines, (Lines{"fail provisional a1 -999", "fail a1 -999", "fail a -999", "round over"}));
    EXPECT_EQ(recorder.lastError.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/a"));
    EXPECT_TRUE(mainFrame()->childFrames().empty());
    EXPECT_TRUE(frame->childFrames().empty());
    EXPECT_FALSE(inner->parentFrame());
    EXPECT_FALSE(inner->dataSource());
    EXPECT_FALSE(view->isLoading());
}

TEST_F(Frames, GoWithTheDocumentThatHeldThem)
{
    engine->attachFrame("a");
    engine->openPage("a", u"http://h/a", u"<p>");
    recorder.take();
    // The engine need not tell each of them.
    engine->client()->navigationStarted("main", "next", support::requestFor(u"http://h/next"));
    EXPECT_EQ(mainFrame()->childFrames().size(), 1U);
    engine->client()->navigationCommitted("main", "next", support::response(u"http://h/next", u"text/html"));
    EXPECT_EQ(recorder.lines, (Lines{"start main", "fail a -999", "commit main"}));
    EXPECT_TRUE(mainFrame()->childFrames().empty());
    engine->client()->frameDetached("a");
    EXPECT_EQ(recorder.lines.size(), 3U);
}

TEST_F(Frames, ShowBlankDocumentsToo)
{
    engine->attachFrame("a");
    engine->showBlank("a");
    EXPECT_EQ(recorder.lines, (Lines{"start a", "commit a", "finish a"}));
    EXPECT_EQ(child()->dataSource().request().URL().scheme(), NSString(u"about"));
    EXPECT_FALSE(child()->dataSource().mainResource());
}

TEST_F(Frames, BelowTheMainOneLoadOnlyWhatTheirPagesSay)
{
    engine->attachFrame("a");
    EXPECT_THROW(child()->loadRequest(support::requestFor(u"http://h/")), NSException);
    EXPECT_TRUE(engine->loads().empty());
}

TEST_F(Frames, TellFramesetsFromInlineFrames)
{
    engine->attachFrame("a", "main", {}, u"frame");
    engine->attachFrame("b", "main", {}, u"iframe");
    engine->attachFrame("c", "main", {}, u"object");
    engine->attachFrame("d", "main", {}, NSString());
    EXPECT_TRUE(std::dynamic_pointer_cast<DOMHTMLFrameElement>(child(0)->frameElement()));
    EXPECT_FALSE(std::dynamic_pointer_cast<DOMHTMLFrameElement>(child(1)->frameElement()));
    EXPECT_TRUE(std::dynamic_pointer_cast<DOMHTMLIFrameElement>(child(1)->frameElement()));
    EXPECT_EQ(child(2)->frameElement()->localName(), NSString(u"object"));
    EXPECT_EQ(child(2)->frameElement()->classObject(), Class("DOMElement"));
    EXPECT_FALSE(child(3)->frameElement());
    EXPECT_FALSE(mainFrame()->frameElement());
    engine->failEngine(NSError(NSURLErrorDomain, NSURLErrorUnknown));
    EXPECT_THROW((void)child(0)->frameElement(), NSException);
}

TEST_F(Frames, MayNestDeeply)
{
    std::string parent = "main";
    for (int depth = 0; depth < 5'000; ++depth) {
        const std::string frame = "f" + std::to_string(depth);
        engine->client()->frameAttached(frame, parent);
        parent = frame;
    }
    engine->client()->frameDetached("f0");
    EXPECT_TRUE(mainFrame()->childFrames().empty());
}

}
