#include "Platform/Foundation/NSException.h"
#include "Platform/Web/ViewTest.h"
#include "QVRFrameArchiving.h"
#include "Support/StandardErrorCapture.h"

#include <algorithm>
#include <stdexcept>

namespace {

class FrameArchiving : public ViewTest {
protected:
    [[nodiscard]] WebArchive archive() const { return qvrWebArchive(mainFrame()->dataSource()); }
    // A page with a picture and these frames, each with a picture of its own.
    void showPageWithFrames(const std::vector<std::string>& frames)
    {
        engine->openPage("main", u"http://h/", u"<p>main");
        engine->loadResource("main", u"http://h/main.png", "main's");
        for (const std::string& frame : frames)
            showFrame(frame, "main");
        engine->finish("main");
    }
    void showFrame(const std::string& frame, const std::string& parent)
    {
        engine->attachFrame(frame, parent);
        const NSString url = NSString::stringWithFormat(u"http://h/%s", frame.c_str());
        engine->openPage(frame, url, NSString::stringWithFormat(u"<p>%s", frame.c_str()));
        engine->loadResource(frame, NSString::stringWithFormat(u"%@.png", url), frame + "'s");
        engine->finish(frame);
    }
    static Lines addressesOfFrames(const WebArchive& archive)
    {
        Lines addresses;
        for (const WebArchive& frame : archive.subframeArchives())
            addresses.push_back(addressOf(frame.mainResource()));
        return addresses;
    }
};

TEST_F(FrameArchiving, OfAPageWithoutFramesIsItsResources)
{
    showPageWithFrames({});
    EXPECT_EQ(addressOf(archive().mainResource()), "http://h/");
    EXPECT_EQ(textOf(archive().mainResource().data()), "<p>main");
    EXPECT_EQ(addressesOf(archive().subresources()), (Lines{"http://h/main.png"}));
    EXPECT_TRUE(archive().subframeArchives().empty());
}

TEST_F(FrameArchiving, NestsFramesInTheOrderOfTheChildren)
{
    showPageWithFrames({"a", "b", "c"});
    showFrame("b1", "b");
    showFrame("b2", "b");
    EXPECT_EQ(addressesOfFrames(archive()), (Lines{"http://h/a", "http://h/b", "http://h/c"}));
    const WebArchive b = archive().subframeArchives().at(1);
    EXPECT_EQ(addressesOf(b.subresources()), (Lines{"http://h/b.png"}));
    EXPECT_EQ(addressesOfFrames(b), (Lines{"http://h/b1", "http://h/b2"}));
    EXPECT_TRUE(archive().subframeArchives().at(0).subframeArchives().empty());
}

// An archive is made when those of the frames below it are; then the document's own bytes are asked for.
TEST_F(FrameArchiving, ArchivesChildrenBeforeTheirParents)
{
    showPageWithFrames({"a", "b"});
    showFrame("a1", "a");
    EXPECT_FALSE(archive().isAbsent());
    std::vector<ResourceID> documents;
    for (const ResourceID& asked : engine->bodyQuestions()) {
        if (asked.find("-document") != std::string::npos)
            documents.push_back(asked);
    }
    EXPECT_EQ(
        documents, (std::vector{engine->document("a1"), engine->document("a"), engine->document("b"), engine->document("main")}));
}

TEST_F(FrameArchiving, LeavesOutFramesWithoutAMainResource)
{
    showPageWithFrames({"a", "b"});
    engine->attachFrame("empty");
    engine->attachFrame("blank");
    engine->showBlank("blank");
    engine->attachFrame("failed");
    engine->start("failed", u"http://h/failed");
    engine->fail("failed", NSURLErrorCannotFindHost);
    showFrame("inside", "blank");   // goes with its parent
    EXPECT_EQ(addressesOfFrames(archive()), (Lines{"http://h/a", "http://h/b"}));
}

TEST_F(FrameArchiving, OfNothingIsAbsent)
{
    EXPECT_TRUE(archive().isAbsent());
    EXPECT_TRUE(qvrWebArchive({}).isAbsent());
    engine->showBlank("main");
    EXPECT_TRUE(archive().isAbsent());
}

TEST_F(FrameArchiving, OfTheFrameThatIsGivenWhateverTheDataSource)
{
    showPageWithFrames({"a", "b"});
    showFrame("a1", "a");
    EXPECT_EQ(addressOf(qvrArchiveFrame(child(1)->dataSource(), child(0)).mainResource()), "http://h/a");
    EXPECT_EQ(addressOf(qvrArchiveFrame({}, child(0)).mainResource()), "http://h/a");
    const std::vector<WebArchive> frames = qvrSubframeArchivesForFrame({}, child(0));
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(addressOf(frames[0].mainResource()), "http://h/a1");
    EXPECT_TRUE(qvrSubframeArchivesForFrame({}, child(1)).empty());
    EXPECT_EQ(addressOf(qvrWebArchive(child(1)->dataSource()).mainResource()), "http://h/b");
}

TEST_F(FrameArchiving, GoesOnWithoutResourcesThatCannotBeListed)
{
    engine->openPage("main", u"http://h/", u"<p>main");
    const ResourceID picture = engine->loadResource("main", u"http://h/main.png", "main's");
    showFrame("a", "main");
    engine->finish("main");
    engine->failBody(picture);
    support::StandardErrorCapture capture;
    const WebArchive made = archive();
    const std::string output = capture.take();
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1) << output;
    EXPECT_TRUE(
        output.ends_with("Tarnwick encountered an internal Web Kit error 'The scripted engine does not tell this body.' while "
                         "getting the subresources for "
            + mainFrame()->dataSource().description().UTF8() + "\n"))
        << output;
    EXPECT_EQ(textOf(made.mainResource().data()), "<p>main");
    EXPECT_TRUE(made.subresources().empty());
    EXPECT_EQ(addressesOfFrames(made), (Lines{"http://h/a"}));
    EXPECT_EQ(addressesOf(made.subframeArchives().at(0).subresources()), (Lines{"http://h/a.png"}));
}

TEST_F(FrameArchiving, LeavesTheExceptionOfAMainResourceToItsCaller)
{
    showPageWithFrames({"a"});
    engine->failBody(engine->document("a"));
    support::StandardErrorCapture capture;
    EXPECT_THROW(static_cast<void>(archive()), NSException);
    EXPECT_EQ(capture.take(), "");
}

TEST_F(FrameArchiving, LeavesEverythingElseThatIsThrownToItsCaller)
{
    engine->openPage("main", u"http://h/", u"<p>main");
    const ResourceID picture = engine->loadResource("main", u"http://h/main.png", "main's");
    engine->finish("main");
    engine->onBody = [picture](const ResourceID& asked) {
        if (asked == picture)
            throw std::runtime_error("other");
    };
    EXPECT_THROW(static_cast<void>(archive()), std::runtime_error);
}

}
