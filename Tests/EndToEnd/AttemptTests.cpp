#include "EndToEnd/CaptureTest.h"

using namespace std::chrono_literals;
using namespace support;

namespace {

constexpr const char* urlDomain = "NSURLErrorDomain";
constexpr const char* page = "<!DOCTYPE html><title>at last</title>";

class Attempts : public CaptureTest {
protected:
    Attempts()
    {
        settings["WebToolTimeout"] = int64_t(1);
        settings["LogWebTool"] = true;
        timeout = 30s;
    }

    // The tries that were logged are exactly 0 to `count` - 1, once each and in their order.
    static void expectTries(const Captured& captured, size_t count)
    {
        size_t at = 0;
        for (size_t number = 0; number < count; ++number) {
            const std::string line = "[LogWebTool] Try " + std::to_string(number) + " loading: ";
            at = captured.process.error.find(line, at);
            EXPECT_NE(at, std::string::npos) << line << "is missing";
            if (at == std::string::npos)
                return;
        }
        EXPECT_EQ(captured.logCount("[LogWebTool] Try "), count) << captured.process.error;
    }

    // Each request for `path` came about the time-out of a second after the one before it: not at once, and long before the ten
    // seconds that count without the setting. On a busy machine the way to the server takes a part of a second, or longer.
    void expectRequestsASecondApart(const std::string& path)
    {
        const std::vector<Request> requests = server.requests(path);
        for (size_t index = 1; index < requests.size(); ++index) {
            const std::chrono::duration<double> gap = requests[index].time - requests[index - 1].time;
            EXPECT_GE(gap.count(), 0.5) << "before request " << index;
            EXPECT_LT(gap.count(), 8) << "before request " << index;
        }
    }
};

TEST_F(Attempts, AreThreeWhenNoSettingSaysOtherwise)
{
    server.hold("/page.html");
    const Captured captured = capture(url("/page.html?x=1"));
    expectError(captured, urlDomain, -1001);
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(captured.record.url, url("/page.html?x=1"));
    EXPECT_EQ(server.requests("/page.html").size(), 3U);
    expectRequestsASecondApart("/page.html");
    expectTries(captured, 3);
    EXPECT_EQ(captured.logCount("[LogWebTool] Finish with error: <NSError Domain=NSURLErrorDomain Code=-1001"), 1U);
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
}

TEST_F(Attempts, AreAsManyAsTheSettingSaysButAtLeastOne)
{
    server.hold("/page.html");
    size_t before = 0;
    for (const auto& [setting, expected] : {std::pair<int64_t, size_t>{1, 1}, {2, 2}, {-1, 1}}) {
        SCOPED_TRACE(setting);
        settings["WebToolMaxTriesBeforeTimeout"] = setting;
        const Captured captured = capture(url("/page.html"));
        expectError(captured, urlDomain, -1001);
        EXPECT_EQ(server.requests("/page.html").size() - before, expected);
        expectTries(captured, expected);
        before = server.requests("/page.html").size();
    }
}

TEST_F(Attempts, AreNoneForZeroAndTheFileIsDownloaded)
{
    settings["WebToolMaxTriesBeforeTimeout"] = int64_t(0);
    server.on("/page.html", html(page));
    const Captured captured = capture(url("/page.html"));
    expectTries(captured, 0);
    EXPECT_EQ(captured.logCount("[LogWebTool] Loading "), 0U) << captured.process.error;
    // Nothing was loaded, so there is no page to archive and the address is fetched as a file.
    EXPECT_TRUE(captured.record.hasSucceeded()) << captured.record.errorString.value_or("");
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "url", "path"}));
    EXPECT_EQ(captured.record.path, outputFolder() + "/page.html");
    EXPECT_EQ(server.requests("/page.html").size(), 1U);
    EXPECT_EQ(readFile(outputFolder() + "/page.html"), page);
}

TEST_F(Attempts, EndWithTheFirstAnswer)
{
    server.onRaw("/page.html", [this](Exchange& exchange) {
        if (server.requests("/page.html").size() < 3)
            exchange.awaitClose();
        else
            exchange.send(wireBytes(html(page), "GET"));
    });
    const Captured captured = capture(url("/page.html"));
    expectArchive(captured);
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "title", "url", "path"}));
    EXPECT_EQ(captured.record.title, "at last");
    EXPECT_EQ(server.requests("/page.html").size(), 3U);
    expectRequestsASecondApart("/page.html");
    expectTries(captured, 3);
}

TEST_F(Attempts, GoOnAfterATimeOutInMidPage)
{
    server.onRaw("/page.html", [this](Exchange& exchange) {
        if (server.requests("/page.html").size() >= 2) {
            exchange.send(wireBytes(html(page), "GET"));
            return;
        }
        exchange.send("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nTransfer-Encoding: chunked\r\n\r\n");
        exchange.sendChunk("<!DOCTYPE html><title>half</title><p>first half");
        exchange.awaitClose();
    });
    const Captured captured = capture(url("/page.html"));
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "at last");
    EXPECT_EQ(captured.page().find("first half"), std::string::npos) << captured.page();
    EXPECT_EQ(server.requests("/page.html").size(), 2U);
    expectTries(captured, 2);
}

TEST_F(Attempts, EndWithTheFirstErrorThatIsNoTimeOut)
{
    server.onRaw("/page.html", [this](Exchange& exchange) {
        if (server.requests("/page.html").size() < 2)
            exchange.awaitClose();
        else
            exchange.send(wireBytes(html(page).with("Content-Encoding", "gzip"), "GET"));
    });
    const Captured captured = capture(url("/page.html"));
    expectError(captured, urlDomain, -1016);
    EXPECT_EQ(server.requests("/page.html").size(), 2U);
    expectTries(captured, 2);
}

TEST_F(Attempts, AreOneForEveryErrorButATimeOut)
{
    Response cut = html(page);
    cut.declaredLength = 5000;
    cut.ending = Ending::Close;
    server.on("/cut", cut);
    server.onRaw("/reset.png", [](Exchange& exchange) { exchange.reset(); });
    server.on("/packed", html(page).with("Content-Encoding", "gzip"));
    server.on("/secret", status(401).with("WWW-Authenticate", "Basic realm=\"secret\""));
    server.on("/picture.html", html("<!DOCTYPE html><title>t</title><img src=/reset.png>"));
    settings["WebToolFailOnResourceLoadErrors"] = true;
    for (const auto& [path, code] :
        {std::pair<const char*, int>{"/cut", -1005}, {"/packed", -1016}, {"/secret", -1013}, {"/picture.html", -1005}}) {
        SCOPED_TRACE(path);
        const size_t before = server.requests(path).size();
        const Captured captured = capture(url(path));
        expectError(captured, urlDomain, code);
        EXPECT_EQ(server.requests(path).size() - before, 1U);
        expectTries(captured, 1);
    }
    const Captured refused = capture("http://127.0.0.1:" + std::to_string(unusedPort()) + "/");
    expectError(refused, urlDomain, -1004);
    expectTries(refused, 1);
}

TEST_F(Attempts, CountTheTimeOutOfTheMainRequestOnly)
{
    // A resource that takes longer than the time-out is waited for.
    server.on("/late.css", css("p { color: red }"));
    server.hold("/late.css");
    server.on("/page.html", html("<!DOCTYPE html><title>t</title><link rel=stylesheet href=late.css><p>text"));
    const auto process = start(url("/page.html"));
    ASSERT_TRUE(server.waitForRequests("/late.css"));
    EXPECT_FALSE(process->waitForError("[LogWebTool] done loading: ", 2500ms));
    server.release("/late.css");
    const Captured captured = finish(*process);
    expectArchive(captured);
    EXPECT_TRUE(captured.archive->resource(url("/late.css")));
    expectTries(captured, 1);
}

TEST_F(Attempts, ForgiveACancelledLoadUnlessTheSettingForbidsIt)
{
    server.on("/nothing", status(204));
    const std::string forgiven = "[LogWebTool] Continuing after cancelled loading of " + url("/nothing");
    for (const bool isSet : {false, true}) {
        SCOPED_TRACE(isSet);
        if (isSet)
            settings["WebToolContinueAfterCancel"] = true;
        const Captured captured = capture(url("/nothing"));
        EXPECT_EQ(captured.logCount(forgiven), 1U) << captured.process.error;
        expectTries(captured, 1);
        // There is no page, so the address is fetched as a file, and the record tells what came of that.
        EXPECT_FALSE(captured.record.title);
        EXPECT_EQ(captured.record.url, url("/nothing"));
    }
    settings["WebToolContinueAfterCancel"] = false;
    const Captured captured = capture(url("/nothing"));
    expectError(captured, urlDomain, -999);
    EXPECT_EQ(captured.logCount("Continuing after cancelled"), 0U);
    EXPECT_EQ(captured.record.errorString, "cancelled");
    expectTries(captured, 1);
}

// A frame that is made after the page has finished, and whose page never comes.
constexpr const char* pageWithEndlessFrame =
    "<!DOCTYPE html><title>trusted</title><body><script>addEventListener('load', () => setTimeout(() => {"
    "document.body.appendChild(document.createElement('iframe')).src = '/frame.html' }, 100))</script>";

TEST_F(Attempts, GiveUpTenSecondsAfterThePageSaidThatItHadFinished)
{
    settings["WebToolExtraLoadingTime"] = int64_t(1);
    settings["WebToolTimeout"] = int64_t(60);
    server.hold("/frame.html");
    server.on("/page.html", html(pageWithEndlessFrame));
    const Captured captured = capture(url("/page.html"));
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "trusted");
    EXPECT_GE(captured.logCount("[LogWebTool] Progress finished"), 1U);
    EXPECT_GE(
        captured.logCount("[LogWebTool] Received finished notification but not done loading so setting timeout date: "), 1U);
    EXPECT_EQ(captured.logCount("[LogWebTool] Timing out"), 1U) << captured.process.error;
    EXPECT_GE(captured.seconds(), 10);
    EXPECT_LT(captured.seconds(), 18);
}

TEST_F(Attempts, WaitOnWhenThePageIsNotTrustedToHaveFinished)
{
    settings["WebToolExtraLoadingTime"] = int64_t(1);
    settings["WebToolTimeout"] = int64_t(60);
    settings["WebToolTrustFinishedNotification"] = false;
    timeout = 30s;
    server.on("/frame.html", html("<title>f</title><p>here it is"));
    server.hold("/frame.html");
    server.on("/page.html", html(pageWithEndlessFrame));
    const auto process = start(url("/page.html"));
    ASSERT_TRUE(server.waitForRequests("/frame.html"));
    EXPECT_FALSE(process->waitForError("[LogWebTool] done loading: ", 11s));
    server.release("/frame.html");
    const Captured captured = finish(*process);
    expectArchive(captured);
    EXPECT_EQ(captured.logCount("Received finished notification"), 0U) << captured.process.error;
    EXPECT_EQ(captured.logCount("[LogWebTool] Timing out"), 0U);
    ASSERT_EQ(captured.archive->frames.size(), 1U);
    EXPECT_NE(captured.archive->frames[0].main.data.find("here it is"), std::string::npos);
}

class Referer : public CaptureTest {
protected:
    // Through a proxy every host is this server, so that addresses can be told apart from where they lead.
    Referer()
    {
        environment["http_proxy"] = url("");
        timeout = 20s;
    }
    [[nodiscard]] std::string sent(const std::string& path) const
    {
        const std::vector<Request> requests = server.requests(path);
        return requests.empty() ? "(no request)" : requests[0].header("Referer").value_or("(none)");
    }
};

TEST_F(Referer, IsTheAddressWithoutPortQueryAndFragment)
{
    struct Row {
        const char* address;
        const char* target;
        const char* referer;
    };
    for (const Row& row : {
             Row{"http://h:81/a/b?x=1#f", "http://h:81/a/b?x=1", "http://h/a/b"},
             Row{"http://h/", "http://h/", "http://h/"},
             Row{"http://h.example/a.html", "http://h.example/a.html", "http://h.example/a.html"},
             Row{"http://h/deep/er/", "http://h/deep/er/", "http://h/deep/er"},
         }) {
        SCOPED_TRACE(row.address);
        server.on(std::string(row.target).substr(0, std::string(row.target).find('?')), html(page));
        const Captured captured = capture(row.address);
        expectArchive(captured);
        ASSERT_FALSE(server.requests().empty());
        EXPECT_EQ(server.requests().back().target, row.target);
        EXPECT_EQ(server.requests().back().header("Referer"), row.referer);
        EXPECT_EQ(captured.record.url, row.address);
    }
}

TEST_F(Referer, NeverBreaksTheRequest)
{
    // The path is taken without its percent escapes, so that anything can stand in it.
    for (const char* path :
        {"/a%0D%0AInjected:%20yes", "/a%0AInjected:%20yes", "/a%00b", "/a%20b", "/%C3%A9t%C3%A9", "/%FF%FE", "/a%7Fb"}) {
        SCOPED_TRACE(path);
        server.on(std::string("http://h.example") + path, html(page));
        const Captured captured = capture(std::string("http://h.example") + path);
        expectArchive(captured);
        const std::vector<Request> requests = server.requests(std::string("http://h.example") + path);
        ASSERT_EQ(requests.size(), 1U);
        EXPECT_FALSE(requests[0].header("Injected"));
        EXPECT_EQ(requests[0].header("Host"), "h.example");
    }
}

TEST_F(Referer, IsTheEnginesOwnForEverythingElse)
{
    server.on("http://h:81/a/b",
        html("<!DOCTYPE html><title>t</title><link rel=stylesheet href=sheet.css><img src=own.png>"
             "<img src=none.png referrerpolicy=no-referrer><img src='http://other/there.png'>"
             "<iframe src=frame.html></iframe>"));
    server.on("http://h:81/a/sheet.css", css("body { background: url(/inner.png) }"));
    server.on("http://h:81/a/frame.html", html("<title>f</title><img src=inner-frame.png>"));
    const Captured captured = capture("http://h:81/a/b?x=1#f");
    expectArchive(captured);
    EXPECT_EQ(sent("http://h:81/a/b"), "http://h/a/b");
    EXPECT_EQ(sent("http://h:81/a/sheet.css"), "http://h:81/a/b?x=1");
    EXPECT_EQ(sent("http://h:81/a/own.png"), "http://h:81/a/b?x=1");
    EXPECT_EQ(sent("http://h:81/a/none.png"), "(none)");
    EXPECT_EQ(sent("http://other/there.png"), "http://h:81/");
    EXPECT_EQ(sent("http://h:81/a/frame.html"), "http://h:81/a/b?x=1");
    EXPECT_EQ(sent("http://h:81/inner.png"), "http://h:81/a/sheet.css");
    EXPECT_EQ(sent("http://h:81/a/inner-frame.png"), "http://h:81/a/frame.html");
}

TEST_F(Referer, IsTheEnginesOwnForThePageThatAScriptLeadsTo)
{
    server.on("http://h:81/one", html("<!DOCTYPE html><title>one</title><script>location.href = '/two'</script>"));
    server.on("http://h:81/two", html("<!DOCTYPE html><title>two</title>"));
    const Captured captured = capture("http://h:81/one?x=1");
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "two");
    EXPECT_EQ(sent("http://h:81/one"), "http://h/one");
    EXPECT_EQ(sent("http://h:81/two"), "http://h:81/one?x=1");
}

TEST_F(Referer, GoesWithEveryAttempt)
{
    settings["WebToolTimeout"] = int64_t(1);
    settings["WebToolMaxTriesBeforeTimeout"] = int64_t(2);
    server.hold("http://h:81/page");
    expectError(capture("http://h:81/page?x=1"), urlDomain, -1001);
    const std::vector<Request> requests = server.requests("http://h:81/page");
    ASSERT_EQ(requests.size(), 2U);
    for (const Request& request : requests)
        EXPECT_EQ(request.header("Referer"), "http://h/page");
}

}
