#include "EndToEnd/CaptureTest.h"

using namespace std::chrono_literals;
using namespace support;

namespace {

class Policy : public CaptureTest {
protected:
    Policy()
    {
        server.on("/elsewhere", html("<!DOCTYPE html><title>elsewhere</title><p>another page"));
        // Long enough for everything that a script starts at the load event.
        settings["WebToolExtraLoadingTime"] = int64_t(1);
    }

    // A page whose script runs at the load event stays, writes a mark behind the script, and asks nothing of "/elsewhere".
    void expectPageStays(const std::string& code, const std::string& markup = {})
    {
        SCOPED_TRACE(code);
        server.on("/page.html",
            html("<!DOCTYPE html><title>stays</title><body>" + markup + "<script>addEventListener('load', () => { try { " + code
                + " } finally { document.body.append('script went on') } })</script>"));
        const size_t before = server.requests("/elsewhere").size();
        const Captured captured = capture(url("/page.html"));
        expectArchive(captured);
        EXPECT_EQ(captured.record.title, "stays");
        EXPECT_EQ(captured.record.url, url("/page.html"));
        EXPECT_TRUE(holds(captured.page(), "script went on</body>")) << captured.page();
        EXPECT_EQ(server.requests("/elsewhere").size(), before);
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.webarchive"});
    }

    // The page leads to "/elsewhere", and that is what the archive holds.
    void expectPageMoves(const std::string& markup)
    {
        SCOPED_TRACE(markup);
        const Captured captured = captureMarkup(markup);
        expectArchive(captured);
        EXPECT_EQ(captured.record.title, "elsewhere");
        EXPECT_EQ(captured.archive->main.url, url("/elsewhere"));
    }
};

TEST_F(Policy, IgnoresLinksThatScriptsClick)
{
    expectPageStays("document.getElementById('link').click()", "<a id=link href=/elsewhere>link</a>");
    expectPageStays("document.getElementById('link').click()", "<a id=link href=/elsewhere target=_top>link</a>");
}

TEST_F(Policy, FollowsLinksWithinThePage)
{
    expectPageStays("document.getElementById('link').click()", "<a id=link href=#below>link</a><p id=below>below");
}

TEST_F(Policy, IgnoresForms)
{
    expectPageStays("document.getElementById('form').submit()", "<form id=form action=/elsewhere><input name=a value=b></form>");
    expectPageStays("document.getElementById('form').requestSubmit()",
        "<form id=form method=post action=/elsewhere><input name=a value=b></form>");
    expectPageStays("document.getElementById('send').click()", "<form action=/elsewhere><input type=submit id=send></form>");
}

TEST_F(Policy, IgnoresReloads)
{
    server.on("/page.html",
        html("<!DOCTYPE html><title>once</title><script>addEventListener('load', () => location.reload())</script>"));
    const Captured captured = capture(url("/page.html"));
    expectArchive(captured);
    EXPECT_EQ(server.requests("/page.html").size(), 1U);
}

TEST_F(Policy, IgnoresMovesThroughTheHistory)
{
    expectPageStays("history.back()");
    expectPageStays("history.pushState(null, '', '/pushed'); history.back(); history.go(-1)");
}

TEST_F(Policy, OpensNoNewWindows)
{
    expectPageStays("window.open('/elsewhere')");
    expectPageStays("window.open('/elsewhere', 'named', 'width=100'); window.open('about:blank')");
    expectPageStays("document.getElementById('link').click()", "<a id=link href=/elsewhere target=_blank>link</a>");
    expectPageStays("document.getElementById('form').submit()", "<form id=form target=_blank action=/elsewhere></form>");
    expectPageStays("for (let n = 0; n < 30; ++n) window.open('/elsewhere?' + n, 'w' + n)");
}

TEST_F(Policy, FollowsScriptsAndRefreshesToAnotherPage)
{
    expectPageMoves("<script>location.href = '/elsewhere'</script>");
    expectPageMoves("<script>addEventListener('load', () => location.replace('/elsewhere'))</script>");
    expectPageMoves("<meta http-equiv=refresh content='0; url=/elsewhere'>");
    server.on("/page.html", html("<p>refreshes by its header").with("Refresh", "0; url=/elsewhere"));
    const Captured captured = capture(url("/page.html"));
    expectArchive(captured);
    EXPECT_EQ(captured.archive->main.url, url("/elsewhere"));
}

TEST_F(Policy, NeverWaitsInADialog)
{
    expectPageStays("alert('stop'); alert('again')");
    expectPageStays("if (confirm('really?')) location.href = '/elsewhere'");
    expectPageStays("if (prompt('a word?', 'yes') !== null) location.href = '/elsewhere'");
    expectPageStays("print()");
    expectPageStays("for (let n = 0; n < 50; ++n) alert(n)");
}

TEST_F(Policy, NeverAsksWhetherToLeave)
{
    expectPageMoves("<script>addEventListener('beforeunload', event => { event.preventDefault(); event.returnValue = 'stay' });"
                    "addEventListener('load', () => { location.href = '/elsewhere' })</script>");
    // And at the end, when the page is closed.
    expectPageStays("onbeforeunload = event => { event.preventDefault(); return 'stay' }");
}

TEST_F(Policy, NeverWaitsInADialogOfAFrame)
{
    server.on("/frame", html("<title>f</title><script>alert('from a frame')</script><p>frame"));
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><iframe src='/frame'></iframe><iframe src='"
        + server.url("/frame", "localhost") + "'></iframe>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->frames.size(), 2U);
    for (const InspectedArchive& frame : captured.archive->frames)
        EXPECT_TRUE(holds(frame.main.data, "<p>frame")) << frame.main.data;
}

TEST_F(Policy, LetsNoDownloadOfThePageEscape)
{
    server.on("/file.bin",
        typed("application/octet-stream", std::string(1000, 'x'))
            .with("Content-Disposition", "attachment; filename=escaped.bin"));
    expectPageStays("document.getElementById('link').click()", "<a id=link href=/file.bin download=escaped.bin>link</a>");
    expectPageStays("const link = document.createElement('a'); link.href = URL.createObjectURL(new Blob(['x'])); link.download = "
                    "'escaped.txt';"
                    "document.body.append(link); link.click()");
    expectPageStays("document.body.appendChild(document.createElement('iframe')).src = '/file.bin'");
}

TEST_F(Policy, AnswersRequestsForPermissionByItself)
{
    expectPageStays("navigator.geolocation.getCurrentPosition(() => {}, () => {})");
    expectPageStays("Notification.requestPermission(); new Notification('hello')");
    expectPageStays("navigator.mediaDevices?.getUserMedia({ audio: true, video: true }).catch(() => {})");
    expectPageStays("navigator.clipboard?.readText().catch(() => {})");
}

TEST_F(Policy, KeepsThePageThatWantsToClose)
{
    expectPageStays("window.close()");
    expectPageStays("window.open('', '_self').close()");
}

TEST_F(Policy, KeepsThePageThatStopsItsOwnLoad)
{
    server.on("/never.png", typed("image/png", pngImage(1, 1, 1)));
    server.hold("/never.png");
    server.on(
        "/page.html", html("<!DOCTYPE html><title>stopped</title><img src=never.png><script>window.stop()</script><p>rest"));
    const Captured captured = capture(url("/page.html"));
    EXPECT_TRUE(captured.record.hasSucceeded()) << captured.record.errorString.value_or("");
    EXPECT_EQ(captured.record.title, "stopped");
}

TEST_F(Policy, SurvivesConnectionsThatStayOpen)
{
    server.hold("/poll");
    server.onRaw("/events", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\ndata: one\n\n");
        exchange.awaitClose();
    });
    expectPageStays(
        "new EventSource('/events').onmessage = event => document.body.prepend('event ' + event.data); fetch('/poll')");
    EXPECT_EQ(server.requests("/events").size(), 1U);
    EXPECT_EQ(server.requests("/poll").size(), 1U);
}

}
