#include "Platform/Web/ViewTest.h"
#include "Platform/Web/WebArchive.h"

using support::runLoopOnce;

namespace {

using Way = RequestAnswer::Way;
using Answer = support::ScriptedEngine::Answer;

WebResource page(const char16_t* url, std::string_view markup, const NSString& encoding = u"UTF-8")
{
    return WebResource(NSData::dataWithBytes(markup), NSURL::URLWithUncheckedString(url), u"text/html", encoding, u"");
}

WebResource picture(const char16_t* url, std::string_view bytes)
{
    return WebResource(NSData::dataWithBytes(bytes), NSURL::URLWithUncheckedString(url), u"image/png", {});
}

// A view that shows an archive, over an engine that asks about each request.
class ArchiveLoads : public ViewTest {
protected:
    void show(const WebArchive& archive)
    {
        engine->onLoad = [this](support::ScriptedEngine&, const NSURLRequest& request) { loaded = request.URL(); };
        mainFrame()->loadArchive(archive);
        runLoopOnce();
        if (loaded)
            mainAnswer = request("main", loaded.absoluteString());
    }
    // The answer about a document's request; then the document is shown.
    Answer request(const FrameID& frame, const NSString& url)
    {
        engine->start(frame, url);
        const Answer answer = engine->offerDocument(frame);
        engine->respond(frame, u"text/html");
        engine->commit(frame);
        return answer;
    }
    Answer requestInFrame(const FrameID& frame, const NSString& url, const FrameID& parent = "main")
    {
        engine->attachFrame(frame, parent);
        return request(frame, url);
    }
    static std::string bytesOf(const Answer& answer)
    {
        return *answer && (*answer)->way == Way::Fulfil ? textOf((*answer)->data) : "(sent)";
    }
    [[nodiscard]] std::string resource(const FrameID& frame, const NSString& url) const
    {
        return bytesOf(engine->offer(frame, url));
    }

    NSURL loaded;
    Answer mainAnswer;
};

TEST_F(ArchiveLoads, ShowTheMainResourceUnderItsAddress)
{
    show(WebArchive::initWithMainResource(page(u"http://h/dir/page?q", "<p>caf\xE9", u"windows-1252")));
    EXPECT_EQ(loaded, NSURL::URLWithString(u"http://h/dir/page?q"));
    EXPECT_TRUE(engine->areRequestsOffered());
    ASSERT_TRUE(*mainAnswer);
    EXPECT_EQ(bytesOf(mainAnswer), "<p>caf\xE9");
    EXPECT_EQ((*mainAnswer)->response.URL(), loaded);
    EXPECT_EQ((*mainAnswer)->response.MIMEType(), NSString(u"text/html"));
    EXPECT_EQ((*mainAnswer)->response.textEncodingName(), NSString(u"windows-1252"));
    EXPECT_EQ((*mainAnswer)->response.expectedContentLength(), 7);
}

TEST_F(ArchiveLoads, AnswerWhatTheArchiveHasAndLeaveTheRestToTheNetwork)
{
    show(WebArchive::initWithMainResource(
        page(u"http://h/", "<p>"), {picture(u"http://h/a.png", "a"), picture(u"http://h/a.png", "later")}));
    EXPECT_EQ(resource("main", u"http://h/a.png"), "a");
    EXPECT_EQ(resource("main", u"http://h/a.png#part"), "a");
    EXPECT_EQ(resource("main", u"http://h/b.png"), "(sent)");
    EXPECT_EQ(resource("main", u"http://g/a.png"), "(sent)");
    EXPECT_EQ(resource("worker", u"http://h/a.png"), "(sent)");
}

TEST_F(ArchiveLoads, GiveEachFrameWhatItsOwnArchiveHas)
{
    const WebArchive inner =
        WebArchive::initWithMainResource(page(u"http://h/inner", "inner"), {picture(u"http://h/a.png", "a of inner")});
    show(WebArchive::initWithMainResource(page(u"http://h/", "main"), {picture(u"http://h/a.png", "a of main")},
        {WebArchive::initWithMainResource(page(u"http://h/frame", "left"), {picture(u"http://h/a.png", "a of left")}),
            WebArchive::initWithMainResource(
                page(u"http://h/frame", "right"), {picture(u"http://h/a.png", "a of right")}, {inner})}));
    EXPECT_EQ(bytesOf(requestInFrame("f", u"http://h/frame")), "left");
    EXPECT_EQ(bytesOf(requestInFrame("g", u"http://h/frame")), "right");
    EXPECT_EQ(bytesOf(requestInFrame("h", u"http://h/inner", "g")), "inner");
    EXPECT_EQ(resource("main", u"http://h/a.png"), "a of main");
    EXPECT_EQ(resource("f", u"http://h/a.png"), "a of left");
    EXPECT_EQ(resource("g", u"http://h/a.png"), "a of right");
    EXPECT_EQ(resource("h", u"http://h/a.png"), "a of inner");
    EXPECT_EQ(bytesOf(requestInFrame("i", u"http://h/inner")), "(sent)") << "it is no frame of the main frame's archive";
}

TEST_F(ArchiveLoads, GiveFramesOfOneAddressTheirOwnPagesInWhateverOrderTheyAsk)
{
    const auto frame = [](const char* markup) { return WebArchive::initWithMainResource(page(u"http://h/frame", markup)); };
    show(WebArchive::initWithMainResource(page(u"http://h/", "main"), {}, {frame("first"), frame("second"), frame("third")}));
    for (const char* name : {"f", "g", "h", "i"})
        engine->attachFrame(name);
    EXPECT_EQ(bytesOf(request("h", u"http://h/frame")), "third");
    EXPECT_EQ(bytesOf(request("f", u"http://h/frame")), "first");
    EXPECT_EQ(bytesOf(request("g", u"http://h/frame#part")), "second");
    EXPECT_EQ(bytesOf(request("i", u"http://h/frame")), "first") << "a frame that the archive did not see";
}

TEST_F(ArchiveLoads, GiveFramesThatStandElsewhereThePagesThatNobodyHas)
{
    const auto frame = [](const char16_t* url, const char* markup) {
        return WebArchive::initWithMainResource(page(url, markup));
    };
    show(WebArchive::initWithMainResource(page(u"http://h/", "main"), {},
        {frame(u"http://h/a", "a"), frame(u"http://h/b", "first b"), frame(u"http://h/b", "second b")}));
    engine->attachFrame("new");
    EXPECT_EQ(bytesOf(requestInFrame("f", u"http://h/a")), "a");
    EXPECT_EQ(bytesOf(requestInFrame("g", u"http://h/b")), "second b") << "in its place";
    EXPECT_EQ(bytesOf(requestInFrame("h", u"http://h/b")), "first b");
}

TEST_F(ArchiveLoads, FindWhatFramesWithoutARequestUse)
{
    show(WebArchive::initWithMainResource(page(u"http://h/", "main"), {},
        {WebArchive::initWithMainResource(page(u"about:srcdoc", "one"), {picture(u"http://h/a.png", "a of one")},
             {WebArchive::initWithMainResource(page(u"about:blank", "deep"), {picture(u"http://h/a.png", "a of deep")})}),
            WebArchive::initWithMainResource(page(u"about:blank", "two"), {picture(u"http://h/a.png", "a of two")})}));
    engine->attachFrame("f");
    engine->attachFrame("g");
    engine->attachFrame("h", "f");
    EXPECT_EQ(resource("g", u"http://h/a.png"), "a of two");
    EXPECT_EQ(resource("h", u"http://h/a.png"), "a of deep");
    EXPECT_EQ(resource("f", u"http://h/a.png"), "a of one");
    engine->attachFrame("i");
    EXPECT_EQ(resource("i", u"http://h/a.png"), "a of one") << "a frame that the archive did not see";
}

TEST_F(ArchiveLoads, ShowAnArchiveWithoutAnAddressUnderOneThatStandsForIt)
{
    for (const WebResource& main : {WebResource(NSData::dataWithBytes("<p>x"), NSURL(), u"text/html", {}),
             page(u"about:blank", "<p>x"), page(u"x-msg://1/", "<p>x"), page(u"no address at all", "<p>x"),
             page(u"javascript:alert(1)", "<p>x"), page(u"http:", "<p>x"), page(u"https:///x", "<p>x")}) {
        show(WebArchive::initWithMainResource(main));
        EXPECT_EQ(loaded, NSURL::URLWithString(u"http://archive.invalid/"));
        EXPECT_EQ(bytesOf(mainAnswer), "<p>x");
    }
    show(WebArchive::initWithMainResource(page(u"FILE:///a/b.html", "<p>")));
    EXPECT_EQ(loaded, NSURL::URLWithUncheckedString(u"FILE:///a/b.html"));
}

TEST_F(ArchiveLoads, EndWhenThePageGoesElsewhere)
{
    const WebArchive archive = WebArchive::initWithMainResource(page(u"http://h/", "main"), {picture(u"http://h/a.png", "a")});
    show(archive);
    EXPECT_EQ(bytesOf(request("main", u"http://h/other")), "(sent)");
    EXPECT_EQ(resource("main", u"http://h/a.png"), "(sent)");
    EXPECT_EQ(bytesOf(request("main", u"http://h/#again")), "main");
    EXPECT_EQ(resource("main", u"http://h/a.png"), "a");

    mainFrame()->loadRequest(support::requestFor(u"http://h/"));
    runLoopOnce();
    EXPECT_EQ(bytesOf(request("main", u"http://h/")), "(sent)");
}

TEST_F(ArchiveLoads, AreForTheMainFrameOnly)
{
    show(WebArchive::initWithMainResource(page(u"http://h/", "main")));
    engine->attachFrame("f");
    EXPECT_THROW(child()->loadArchive(WebArchive::initWithMainResource(page(u"http://h/", "main"))), NSException);
    const size_t loads = engine->loads().size();
    mainFrame()->loadArchive(WebArchive());
    runLoopOnce();
    EXPECT_EQ(engine->loads().size(), loads);
}

TEST_F(ArchiveLoads, SurviveFramesNestedDeeperThanArchivesAre)
{
    show(WebArchive::initWithMainResource(page(u"http://h/", "main"), {picture(u"http://h/a.png", "a")}));
    FrameID parent = "main";
    for (int depth = 0; depth < 5000; ++depth) {
        const FrameID frame = "f" + std::to_string(depth);
        engine->attachFrame(frame, parent);
        parent = frame;
    }
    EXPECT_EQ(resource(parent, u"http://h/a.png"), "(sent)");
}

}
