#include "EndToEnd/CaptureTest.h"

#include <condition_variable>
#include <mutex>

using namespace std::chrono_literals;
using namespace support;

namespace {

class Wait : public CaptureTest { };

TEST_F(Wait, LastsTwoSecondsMoreThanThePageWhenNoSettingSaysOtherwise)
{
    settings.erase("WebToolExtraLoadingTime");
    const Captured captured = captureMarkup(
        "<!DOCTYPE html><title>t</title><body><script>setTimeout(() => document.body.append('a second later'), 1000)</script>");
    expectArchive(captured);
    EXPECT_TRUE(holds(captured.page(), "<body>") && holds(captured.page(), "a second later</body>")) << captured.page();
    EXPECT_GE(captured.seconds(), 2);
    EXPECT_LT(captured.seconds(), 8);
}

TEST_F(Wait, EndsWithThePageWhenTheGracePeriodIsZero)
{
    const Captured captured = captureMarkup(
        "<!DOCTYPE html><title>t</title><body><script>setTimeout(() => document.body.append('much later'), 60000)</script>");
    expectArchive(captured);
    EXPECT_FALSE(holds(captured.page(), "much later</body>"));
    EXPECT_LT(captured.seconds(), 10);
}

TEST_F(Wait, LastsAsLongAsTheSettingSays)
{
    settings["WebToolExtraLoadingTime"] = int64_t(4);
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title>");
    expectArchive(captured);
    EXPECT_GE(captured.seconds(), 4);
    EXPECT_LT(captured.seconds(), 10);
}

TEST_F(Wait, GoesOnWhileAResourceIsMissing)
{
    server.on("/late.png", typed("image/png", pngImage(3, 2, 1)));
    server.hold("/late.png");
    server.on("/page.html", html("<!DOCTYPE html><title>t</title><img src=late.png>"));
    const auto process = start(url("/page.html"));
    ASSERT_TRUE(server.waitForRequests("/late.png"));
    // It is still waiting after a few of its slices.
    EXPECT_FALSE(process->waitForError("no such line is ever written", 1s));
    server.release("/late.png");
    const Captured captured = finish(*process);
    expectArchive(captured);
    ASSERT_TRUE(captured.archive->resource(url("/late.png")));
    EXPECT_EQ(captured.archive->resource(url("/late.png"))->data, pngImage(3, 2, 1));
}

TEST_F(Wait, SeesPagesThatArriveInPieces)
{
    // The picture is asked for while the page is still arriving; the rest of the page comes only then.
    server.on("/early.png", typed("image/png", pngImage(3, 2, 1)));
    server.onRaw("/page.html", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nTransfer-Encoding: chunked\r\n\r\n");
        exchange.sendChunk("<!DOCTYPE html><title>in pieces</title><img src=early.png><p>first</p>" + std::string(4096, ' '));
        if (exchange.awaitRelease())
            exchange.sendChunk("<p>second</p>");
        if (exchange.awaitRelease())
            exchange.sendChunk("<p>third</p>");
        exchange.endChunks();
    });
    const auto process = start(url("/page.html"));
    ASSERT_TRUE(server.waitForRequests("/early.png"));
    server.release("/page.html");
    server.release("/page.html");
    const Captured captured = finish(*process);
    expectArchive(captured);
    for (const char* part : {"<p>first</p>", "<p>second</p>", "<p>third</p>"})
        EXPECT_TRUE(holds(captured.page(), part)) << part;
    EXPECT_TRUE(captured.archive->resource(url("/early.png")));
}

TEST_F(Wait, EndsWithATimeOutWhenTheServerNeverAnswers)
{
    settings["WebToolTimeout"] = int64_t(1);
    settings["WebToolMaxTriesBeforeTimeout"] = int64_t(1);
    server.hold("/page.html");
    const Captured captured = capture(url("/page.html"));
    expectError(captured, "NSURLErrorDomain", -1001);
    EXPECT_EQ(captured.record.errorString, "The request timed out.");
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(captured.record.url, url("/page.html"));
    EXPECT_EQ(readArchivedError(*captured.record.errorData).value("NSErrorFailingURLStringKey"), url("/page.html"));
    EXPECT_EQ(server.requests("/page.html").size(), 1U);
    EXPECT_LT(captured.seconds(), 6);
}

TEST_F(Wait, TriesAgainAfterATimeOutAsOftenAsTheSettingSays)
{
    settings["WebToolTimeout"] = int64_t(1);
    settings["WebToolMaxTriesBeforeTimeout"] = int64_t(3);
    server.hold("/page.html");
    const Captured captured = capture(url("/page.html"));
    expectError(captured, "NSURLErrorDomain", -1001);
    EXPECT_EQ(server.requests("/page.html").size(), 3U);
}

TEST_F(Wait, SucceedsWhenALaterAttemptIsAnswered)
{
    settings["WebToolTimeout"] = int64_t(1);
    server.onRaw("/page.html", [this](Exchange& exchange) {
        if (server.requests("/page.html").size() < 2)
            exchange.awaitClose();
        else
            exchange.send(wireBytes(html("<!DOCTYPE html><title>at last</title>"), "GET"));
    });
    const Captured captured = capture(url("/page.html"));
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "at last");
    EXPECT_EQ(server.requests("/page.html").size(), 2U);
}

TEST_F(Wait, EndsWithATimeOutWhenThePageStopsHalfWay)
{
    settings["WebToolTimeout"] = int64_t(1);
    settings["WebToolMaxTriesBeforeTimeout"] = int64_t(1);
    server.onRaw("/page.html", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nTransfer-Encoding: chunked\r\n\r\n");
        exchange.sendChunk("<!DOCTYPE html><title>half</title><p>first");
        exchange.awaitClose();
    });
    const Captured captured = capture(url("/page.html"));
    expectError(captured, "NSURLErrorDomain", -1001);
    EXPECT_LT(captured.seconds(), 8);
}

TEST_F(Wait, CountsTheTimeOutFromTheLastByte)
{
    // Five bytes half a second apart: longer than the time-out in all, never silent for that long.
    settings["WebToolTimeout"] = int64_t(1);
    settings["WebToolMaxTriesBeforeTimeout"] = int64_t(1);
    std::mutex mutex;
    std::condition_variable never;
    server.onRaw("/page.html", [&](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nTransfer-Encoding: chunked\r\n\r\n");
        exchange.sendChunk("<!DOCTYPE html><title>slow</title><p>");
        for (const char* piece : {"s", "l", "o", "w", "!"}) {
            std::unique_lock lock(mutex);
            never.wait_for(lock, 500ms);   // a slow server
            if (!exchange.sendChunk(piece))
                return;
        }
        exchange.endChunks();
    });
    const Captured captured = capture(url("/page.html"));
    expectArchive(captured);
    EXPECT_TRUE(holds(captured.page(), "<p>slow!</p>")) << captured.page();
    EXPECT_GE(captured.seconds(), 2.4);
}

TEST_F(Wait, LoadsNothingWhenNoAttemptIsAllowed)
{
    settings["WebToolMaxTriesBeforeTimeout"] = int64_t(0);
    server.on("/page.html", html("<title>t</title>"));
    const Captured captured = capture(url("/page.html"));
    // One record, whatever becomes of the empty view; the page is not loaded into it.
    EXPECT_LT(captured.seconds(), 20);
    EXPECT_NE(captured.record.title.value_or(""), "t");
}

TEST_F(Wait, LogsItsSlicesWhenTheAreaIsOn)
{
    settings["LogWebTool"] = true;
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><iframe src='about:blank'></iframe>");
    expectArchive(captured);
    EXPECT_EQ(captured.logCount("[LogWebTool] Try 0 loading: " + url("/page.html")), 1U) << captured.process.error;
    EXPECT_GE(captured.logCount("[LogWebTool] Loading 1 objects:"), 1U);
    EXPECT_GE(captured.logCount("[LogWebTool]     rootPage"), 1U);
    EXPECT_GE(captured.logCount("[LogWebTool] didStartProvisionalLoadForFrame: "), 1U);
    EXPECT_GE(captured.logCount("[LogWebTool] didFinishLoadForFrame: "), 1U);
    EXPECT_GE(captured.logCount("[LogWebTool] Extra wait in loop for WebView to finish loading: "), 1U);
    EXPECT_EQ(captured.logCount("[LogWebTool] done loading: "), 1U);
    EXPECT_EQ(captured.logCount("[LogWebTool] Finish with error: (null)"), 1U);
}

TEST_F(Wait, LogsNothingOfItsAreaWhenTheAreaIsOff)
{
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title>");
    expectArchive(captured);
    EXPECT_EQ(captured.logCount("[LogWebTool]"), 0U) << captured.process.error;
}

}
