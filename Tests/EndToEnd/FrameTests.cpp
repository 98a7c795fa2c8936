#include "EndToEnd/CaptureTest.h"

using namespace std::chrono_literals;
using namespace support;

namespace {

class Frames : public CaptureTest {
protected:
    void addPicture(const std::string& name)
    {
        server.on("/" + name, typed("image/png", pngImage(static_cast<int>(name.size()), 8, 8)));
    }
    // A page at "/NAME" with a picture at "/NAME.png".
    void addPage(const std::string& name, const std::string& more = {})
    {
        server.on("/" + name,
            html("<!DOCTYPE html><title>" + name + "</title><p>this is " + name + "<img src=/" + name + ".png>" + more));
        addPicture(name + ".png");
    }
};

TEST_F(Frames, BecomeArchivesInTheArchiveInTheirOrder)
{
    addPage("one");
    addPage("two");
    addPage("three");
    const Captured captured = captureMarkup(
        "<!DOCTYPE html><title>t</title><iframe src=one></iframe><p><iframe src=two></iframe></p><iframe src=three></iframe>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 3U);
    const char* names[] = {"one", "two", "three"};
    for (size_t index = 0; index < 3; ++index) {
        const InspectedArchive& frame = captured.archive->frames[index];
        const std::string name = names[index];
        EXPECT_EQ(frame.main.url, url("/" + name));
        EXPECT_EQ(frame.main.mimeType, "text/html");
        EXPECT_EQ(frame.main.textEncodingName, "UTF-8");
        EXPECT_TRUE(holds(frame.main.data, "this is " + name));
        EXPECT_EQ(frame.resourceURLs(), std::vector<std::string>{url("/" + name + ".png")});
    }
    EXPECT_TRUE(captured.archive->resources.empty());
}

TEST_F(Frames, WithinFramesAreNested)
{
    addPage("third");
    addPage("second", "<iframe src=/third></iframe>");
    addPage("first", "<iframe src=/second></iframe>");
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><iframe src=/first></iframe>");
    expectArchive(captured);
    const InspectedArchive* archive = &*captured.archive;
    for (const char* name : {"first", "second", "third"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(archive->frames.size(), 1U);
        archive = &archive->frames[0];
        EXPECT_EQ(archive->main.url, url(std::string("/") + name));
        EXPECT_EQ(archive->resourceURLs(), std::vector<std::string>{url("/" + std::string(name) + ".png")});
    }
    EXPECT_TRUE(archive->frames.empty());
}

TEST_F(Frames, KeepTheirNamesAndTheUnnamedGetOnesOfTheirOwn)
{
    addPage("one");
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><iframe name=navigation src=one></iframe><iframe src=one></iframe>"
                      "<iframe name='' src=one></iframe>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 3U);
    EXPECT_EQ(captured.archive->main.frameName, "");
    EXPECT_EQ(captured.archive->frames[0].main.frameName, "navigation");
    std::set<std::string> generated;
    for (const size_t index : {1, 2}) {
        const std::string name = captured.archive->frames[index].main.frameName.value_or("(none)");
        EXPECT_TRUE(name.starts_with("<!--frame") && name.ends_with("-->")) << name;
        generated.insert(name);
    }
    EXPECT_EQ(generated.size(), 2U);
}

TEST_F(Frames, OfTheSameAddressAreEachKeptAsScriptsLeftThem)
{
    server.on("/frame", html("<!DOCTYPE html><title>f</title><body><script>document.body.append('I am ' + name)</script>"));
    const Captured captured = captureMarkup(
        "<!DOCTYPE html><title>t</title><iframe name=left src=frame></iframe><iframe name=right src=frame></iframe>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 2U);
    EXPECT_TRUE(holds(captured.archive->frames[0].main.data, "I am left"));
    EXPECT_TRUE(holds(captured.archive->frames[1].main.data, "I am right"));
}

TEST_F(Frames, EachFileWhatTheyUseAlsoWhenOthersUseItToo)
{
    server.on("/shared.css", css("p { background: url(shared.png) }"));
    addPicture("shared.png");
    const std::string markup =
        "<!DOCTYPE html><title>f</title><link rel=stylesheet href=/shared.css><p>text<img src=/shared.png>";
    server.on("/frame", html(markup));
    const Captured captured = captureMarkup(markup + "<iframe src=frame></iframe><iframe src=frame?2></iframe>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 2U);
    for (const InspectedArchive* archive : {&*captured.archive, &captured.archive->frames[0], &captured.archive->frames[1]}) {
        SCOPED_TRACE(archive->main.url);
        EXPECT_EQ(archive->resources.size(), 2U);
        ASSERT_TRUE(archive->resource(url("/shared.png")));
        EXPECT_EQ(archive->resource(url("/shared.png"))->data, pngImage(10, 8, 8));
        EXPECT_TRUE(archive->resource(url("/shared.css")));
    }
}

TEST_F(Frames, WithMarkupInTheirAttributeAreKeptWithWhatTheyUse)
{
    addPicture("inside.png");
    const Captured captured = captureMarkup(
        "<!DOCTYPE html><title>t</title><iframe srcdoc='<!DOCTYPE html><p>from the attribute<img src=inside.png>'></iframe>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 1U);
    EXPECT_TRUE(holds(captured.archive->frames[0].main.data, "<p>from the attribute"));
    EXPECT_TRUE(captured.archive->frames[0].main.url.starts_with("about:srcdoc")) << captured.archive->frames[0].main.url;
    EXPECT_EQ(captured.archive->frames[0].resourceURLs(), std::vector<std::string>{url("/inside.png")});
}

TEST_F(Frames, WithoutAnAddressAreKeptWithWhatScriptsWroteIntoThem)
{
    addPicture("inside.png");
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><iframe id=written></iframe><iframe id=built src='about:blank'></iframe>"
                      "<script>const page = document.getElementById('written').contentDocument;"
                      "page.open(); page.write('<!DOCTYPE html><p>written into it<img src=inside.png>'); page.close();"
                      "document.getElementById('built').contentDocument.body.innerHTML = '<b>built in it</b>';</script>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 2U);
    EXPECT_TRUE(holds(captured.archive->frames[0].main.data, "written into it"));
    EXPECT_EQ(captured.archive->frames[0].resourceURLs(), std::vector<std::string>{url("/inside.png")});
    EXPECT_EQ(captured.archive->frames[1].main.url, "about:blank");
    EXPECT_TRUE(holds(captured.archive->frames[1].main.data, "<b>built in it</b>"));
    EXPECT_EQ(captured.archive->frames[1].main.mimeType, "text/html");
}

TEST_F(Frames, AddedByScriptsAreThereAndRemovedOnesAreNot)
{
    addPage("added");
    addPage("removed");
    addPage("late");
    settings["WebToolExtraLoadingTime"] = int64_t(1);
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><iframe id=gone src=removed></iframe><script>"
                      "const add = name => { document.body.appendChild(document.createElement('iframe')).src = name };"
                      "add('added'); onload = () => { document.getElementById('gone').remove(); add('late') }</script>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 2U);
    EXPECT_EQ(captured.archive->frames[0].main.url, url("/added"));
    EXPECT_EQ(captured.archive->frames[1].main.url, url("/late"));
    EXPECT_EQ(captured.archive->frames[1].resourceURLs(), std::vector<std::string>{url("/late.png")});
}

TEST_F(Frames, OfAFramesetAreKept)
{
    addPage("left");
    addPage("top");
    addPage("bottom");
    const Captured captured =
        captureMarkup("<!DOCTYPE html PUBLIC \"-//W3C//DTD HTML 4.01 Frameset//EN\" \"http://www.w3.org/TR/html4/frameset.dtd\">"
                      "<html><head><title>A frameset</title></head><frameset cols='20%,*'><frame name=menu src=left>"
                      "<frameset rows='50%,*'><frame src=top><frame src=bottom></frameset></frameset></html>");
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "A frameset");
    ASSERT_EQ(captured.archive->frames.size(), 3U);
    EXPECT_EQ(captured.archive->frames[0].main.frameName, "menu");
    EXPECT_EQ(captured.archive->frames[0].main.url, url("/left"));
    EXPECT_EQ(captured.archive->frames[1].main.url, url("/top"));
    EXPECT_EQ(captured.archive->frames[2].main.url, url("/bottom"));
    EXPECT_TRUE(holds(captured.page(), "<frameset"));
    EXPECT_TRUE(captured.archive->frames[2].resource(url("/bottom.png")));
}

TEST_F(Frames, OfOtherSitesAreKeptWithTheFramesInThem)
{
    // The frame of another site runs in a process of its own; the one in it is of the first site again.
    addPage("innermost");
    addPage("other", "<iframe src='" + url("/innermost") + "'></iframe>");
    const std::string other = server.url("/other", "localhost");
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><iframe name=far src='" + other + "'></iframe><p>after");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 1U);
    const InspectedArchive& frame = captured.archive->frames[0];
    EXPECT_EQ(frame.main.url, other);
    EXPECT_EQ(frame.main.frameName, "far");
    EXPECT_TRUE(holds(frame.main.data, "this is other"));
    EXPECT_EQ(frame.resourceURLs(), std::vector<std::string>{server.url("/other.png", "localhost")});
    ASSERT_EQ(frame.frames.size(), 1U);
    EXPECT_EQ(frame.frames[0].main.url, url("/innermost"));
    EXPECT_TRUE(holds(frame.frames[0].main.data, "this is innermost"));
    EXPECT_EQ(frame.frames[0].resourceURLs(), std::vector<std::string>{url("/innermost.png")});
}

TEST_F(Frames, OfOtherSitesKeepTheirPlaceAmongTheRest)
{
    addPage("one");
    addPage("two");
    addPage("three");
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><iframe src=one></iframe><iframe src='"
        + server.url("/two", "localhost") + "'></iframe><iframe src=three></iframe>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 3U);
    EXPECT_EQ(captured.archive->frames[0].main.url, url("/one"));
    EXPECT_EQ(captured.archive->frames[1].main.url, server.url("/two", "localhost"));
    EXPECT_EQ(captured.archive->frames[2].main.url, url("/three"));
}

TEST_F(Frames, ThatMoveFromSiteToSiteAreKeptWhereTheyEndedUp)
{
    addPage("here");
    server.on("/leave", html("<script>location.href = '" + server.url("/here", "localhost") + "'</script>leaving"));
    settings["WebToolExtraLoadingTime"] = int64_t(1);
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><iframe src=leave></iframe>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 1U);
    EXPECT_EQ(captured.archive->frames[0].main.url, server.url("/here", "localhost"));
    EXPECT_TRUE(holds(captured.archive->frames[0].main.data, "this is here"));
}

TEST_F(Frames, ThatRedirectHaveTheAddressTheyEndedUpAt)
{
    addPage("target");
    server.on("/hop", redirect("/target"));
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><iframe src=hop></iframe>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 1U);
    EXPECT_EQ(captured.archive->frames[0].main.url, url("/target"));
    EXPECT_EQ(captured.record.url, url("/page.html"));
}

TEST_F(Frames, ThatFailDoNotFailThePage)
{
    addPage("good");
    server.on("/missing", status(404, "<!DOCTYPE html><p>the server's own words"));
    server.onRaw("/reset", [](Exchange& exchange) { exchange.reset(); });
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><iframe src=missing></iframe><iframe src=reset></iframe>"
                      "<iframe src='http://nowhere.invalid/'></iframe><iframe src=good></iframe>");
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "t");
    const InspectedArchive* missing = nullptr;
    const InspectedArchive* good = nullptr;
    for (const InspectedArchive& frame : captured.archive->frames) {
        if (frame.main.url == url("/missing"))
            missing = &frame;
        if (frame.main.url == url("/good"))
            good = &frame;
        // No page of the engine's own gets into an archive.
        EXPECT_FALSE(frame.main.url.starts_with("chrome-error")) << frame.main.url;
        EXPECT_FALSE(holds(frame.main.data, "chrome-error")) << frame.main.data.substr(0, 200);
        EXPECT_FALSE(holds(frame.main.data, "ERR_")) << frame.main.data.substr(0, 200);
    }
    ASSERT_TRUE(missing && good);
    EXPECT_TRUE(holds(missing->main.data, "the server's own words"));
    EXPECT_EQ(good->resourceURLs(), std::vector<std::string>{url("/good.png")});
}

TEST_F(Frames, IncludePagesInObjectsAndEmbeds)
{
    addPage("in-object");
    addPage("in-embed");
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><object data=in-object type=text/html></object>"
                                            "<embed src=in-embed type=text/html>");
    expectArchive(captured);
    const auto everything = captured.archive->allURLs();
    EXPECT_TRUE(everything.contains(url("/in-object")));
    EXPECT_TRUE(everything.contains(url("/in-embed")));
    ASSERT_EQ(captured.archive->frames.size(), 2U);
    EXPECT_EQ(captured.archive->frames[0].resourceURLs(), std::vector<std::string>{url("/in-object.png")});
    EXPECT_EQ(captured.archive->frames[1].resourceURLs(), std::vector<std::string>{url("/in-embed.png")});
}

TEST_F(Frames, ThatHoldOtherThingsThanPagesAreShown)
{
    server.on("/notes.txt", typed("text/plain", "plain words"));
    addPicture("picture.png");
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><iframe src=notes.txt></iframe><iframe src=picture.png></iframe>");
    expectArchive(captured);
    const auto everything = captured.archive->allURLs();
    EXPECT_TRUE(everything.contains(url("/notes.txt")));
    EXPECT_TRUE(everything.contains(url("/picture.png")));
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.webarchive"});
}

TEST_F(Frames, AreWaitedFor)
{
    addPage("slow");
    server.hold("/slow");
    server.on("/page.html", html("<!DOCTYPE html><title>t</title><iframe src=slow></iframe>"));
    const auto process = start(url("/page.html"));
    ASSERT_TRUE(server.waitForRequests("/slow"));
    EXPECT_FALSE(process->waitForError("no such line is ever written", 1500ms));
    server.release("/slow");
    const Captured captured = finish(*process);
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 1U);
    EXPECT_EQ(captured.archive->frames[0].resourceURLs(), std::vector<std::string>{url("/slow.png")});
}

TEST_F(Frames, AreKeptWithTheServersBytesWhenTheSettingSaysSo)
{
    settings["WebToolUseDOMDocument"] = false;
    server.on("/frame",
        typed("text/html; charset=windows-1252", "<TITLE>f</TITLE>caf\xE9<script>document.body.append('added')</script>"));
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><iframe name=inner src=frame></iframe>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 1U);
    EXPECT_EQ(captured.archive->frames[0].main.data, "<TITLE>f</TITLE>caf\xE9<script>document.body.append('added')</script>");
    EXPECT_EQ(captured.archive->frames[0].main.frameName, "inner");
}

TEST_F(Frames, InGreatNumberAreAllThere)
{
    std::string markup = "<!DOCTYPE html><title>t</title>";
    for (int index = 0; index < 40; ++index) {
        addPage("f" + std::to_string(index));
        markup += "<iframe src=f" + std::to_string(index) + "></iframe>";
    }
    const Captured captured = captureMarkup(markup);
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 40U);
    for (int index = 0; index < 40; ++index) {
        EXPECT_EQ(captured.archive->frames[index].main.url, url("/f" + std::to_string(index)));
        EXPECT_EQ(captured.archive->frames[index].resources.size(), 1U);
    }
}

}
