#include "EndToEnd/CaptureTest.h"

using namespace std::chrono_literals;
using namespace support;

namespace {

class Title : public CaptureTest { };

TEST_F(Title, IsTheDocumentsOwnWithSpacesCollapsed)
{
    struct Row {
        std::string markup;
        std::string title;
    };
    const Row rows[] = {
        {"<title>Plain</title>", "Plain"},
        {"<title>\n  Two \t lines\n  and more  </title>", "Two lines and more"},
        {"<title>A &amp; B &lt;C&gt; &quot;D&quot;</title>", "A & B <C> \"D\""},
        {"<title>Gr\xC3\xBC\xC3\x9F"
         "e, \xE4\xB8\x96\xE7\x95\x8C \xF0\x9F\x98\x80</title>",
            "Gr\xC3\xBC\xC3\x9F"
            "e, \xE4\xB8\x96\xE7\x95\x8C \xF0\x9F\x98\x80"},
        {"<title>First</title><title>Second</title>", "First"},
        {"<title>Before</title><script>document.title = 'After'</script>", "After"},
        {"<script>document.title = 'By script alone'</script>", "By script alone"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.markup);
        EXPECT_EQ(captureMarkup("<!DOCTYPE html>" + row.markup + "<p>text").record.title, row.title);
    }
}

TEST_F(Title, IsTheAddressWhenThePageHasNone)
{
    EXPECT_EQ(captureMarkup("<p>no title").record.title, url("/page.html"));
    EXPECT_EQ(captureMarkup("<title></title><p>an empty title").record.title, url("/page.html"));
}

TEST_F(Title, IsNeverThatOfAFrame)
{
    server.on("/frame.html", html("<title>The frame's title</title>"));
    EXPECT_EQ(captureMarkup("<iframe src=frame.html></iframe>").record.title, url("/page.html"));
    EXPECT_EQ(captureMarkup("<title>The page's title</title><iframe src=frame.html></iframe>").record.title, "The page's title");
}

TEST_F(Title, OfAnXMLPageIsItsTitleElement)
{
    server.on("/page.xhtml",
        typed("application/xhtml+xml",
            "<html xmlns=\"http://www.w3.org/1999/xhtml\"><head><title>In XML</title></head><body><p>text</p></body></html>"));
    EXPECT_EQ(capture(url("/page.xhtml")).record.title, "In XML");
}

TEST_F(Title, EndsTheWaitOfTitleOnlyModeAtOnce)
{
    settings["WebToolExtraLoadingTime"] = int64_t(30);
    server.on("/page.html", html("<title>Known early</title><img src=never.png>"));
    server.hold("/never.png");
    const Captured captured = capture(url("/page.html"), "webloc");
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "Known early");
    EXPECT_LT(captured.seconds(), 10);
}

TEST_F(Title, ThatIsMissingMakesTitleOnlyModeWaitForThePageWithoutGrace)
{
    settings["WebToolExtraLoadingTime"] = int64_t(30);
    server.on("/page.html", html("<p>no title<img src=late.png>"));
    server.on("/late.png", typed("image/png", pngImage(1, 2, 3)));
    server.hold("/late.png");
    const auto process = start(url("/page.html"), "webloc");
    ASSERT_TRUE(server.waitForRequests("/late.png"));
    server.release("/late.png");
    const Captured captured = finish(*process);
    expectArchive(captured);
    EXPECT_TRUE(captured.archive->resource(url("/late.png")));
    EXPECT_LT(captured.seconds(), 15);
}

}
