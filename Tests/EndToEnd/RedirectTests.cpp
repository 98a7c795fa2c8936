#include "EndToEnd/CaptureTest.h"

using namespace std::chrono_literals;
using namespace support;

namespace {

constexpr const char* urlDomain = "NSURLErrorDomain";
const std::string page = "<!DOCTYPE html><title>final</title><p>here";

class RedirectedPage : public CaptureTest {
protected:
    RedirectedPage() { timeout = 20s; }

    // The capture ends at `path` of this server, and the record says so.
    void expectLeadsTo(const Captured& captured, const std::string& address)
    {
        expectArchive(captured);
        EXPECT_EQ(captured.record.url, address);
        EXPECT_EQ(captured.archive->main.url, address);
        EXPECT_EQ(captured.record.title, "final");
    }
};

TEST_F(RedirectedPage, IsReportedUnderTheAddressThatEachKindOfRedirectLedTo)
{
    server.on("/final", html(page));
    for (const int code : {301, 302, 303, 307, 308}) {
        SCOPED_TRACE(code);
        server.on("/" + std::to_string(code), redirect("/final", code));
        expectLeadsTo(capture(url("/" + std::to_string(code))), url("/final"));
    }
}

TEST_F(RedirectedPage, IsReportedUnderAddressesThatAreRelativeToTheOneBefore)
{
    server.on("/a/b/final", html(page));
    for (const auto& [location, address] : {
             std::pair{std::string("final"), url("/a/b/final")},
             std::pair{std::string("../b/./final"), url("/a/b/final")},
             std::pair{std::string("final?q=%C3%A9&r"), url("/a/b/final?q=%C3%A9&r")},
             std::pair{"//" + server.authority("localhost") + "/a/b/final", server.url("/a/b/final", "localhost")},
             std::pair{"HTTP://" + server.authority("LOCALHOST") + "/a/b/final", server.url("/a/b/final", "localhost")},
         }) {
        SCOPED_TRACE(location);
        server.on("/a/b/start", redirect(location));
        expectLeadsTo(capture(url("/a/b/start")), address);
    }
}

TEST_F(RedirectedPage, IsFollowedThroughManyHops)
{
    constexpr int hops = 15;
    server.on("/hop", [](const Request& request) {
        const int left = std::stoi(request.query);
        return left ? redirect("/hop?" + std::to_string(left - 1), left % 2 ? 301 : 302) : html(page);
    });
    const Captured captured = capture(url("/hop?" + std::to_string(hops)));
    expectLeadsTo(captured, url("/hop?0"));
    EXPECT_EQ(server.requests("/hop").size(), hops + 1U);
}

TEST_F(RedirectedPage, IsGivenUpAfterTooManyHops)
{
    server.on("/hop", [](const Request& request) {
        const int left = std::stoi(request.query);
        return left ? redirect("/hop?" + std::to_string(left - 1)) : html(page);
    });
    const Captured captured = capture(url("/hop?30"));
    expectError(captured, urlDomain, -1007);
    EXPECT_EQ(captured.record.errorString, "too many HTTP redirects");
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
    // The address of a hop on the way, not of the page behind them all.
    EXPECT_TRUE(captured.record.url->starts_with(url("/hop?"))) << *captured.record.url;
    EXPECT_LE(server.requests("/hop").size(), 21U);
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
}

TEST_F(RedirectedPage, MayLeadToItselfOnce)
{
    // As sites do that want to see their cookie come back.
    server.on("/page.html", [](const Request& request) {
        if (request.header("Cookie") == "seen=yes")
            return html(page);
        return redirect("/page.html").with("Set-Cookie", "seen=yes; Path=/");
    });
    expectLeadsTo(capture(url("/page.html")), url("/page.html"));
    EXPECT_EQ(server.requests("/page.html").size(), 2U);
}

TEST_F(RedirectedPage, GetsTheCookiesThatWereSetOnTheWay)
{
    server.on("/one", redirect("/two").with("Set-Cookie", "first=1; Path=/").with("Set-Cookie", "elsewhere=1; Path=/other"));
    server.on("/two", redirect("/final").with("Set-Cookie", "second=2; Path=/; HttpOnly"));
    server.on("/final", html(page + "<img src=/picture.png>"));
    expectLeadsTo(capture(url("/one")), url("/final"));
    ASSERT_EQ(server.requests("/two").size(), 1U);
    EXPECT_EQ(server.requests("/two")[0].header("Cookie"), "first=1");
    ASSERT_EQ(server.requests("/final").size(), 1U);
    EXPECT_EQ(server.requests("/final")[0].header("Cookie"), "first=1; second=2");
    ASSERT_EQ(server.requests("/picture.png").size(), 1U);
    EXPECT_EQ(server.requests("/picture.png")[0].header("Cookie"), "first=1; second=2");
}

TEST_F(RedirectedPage, NeverLeadsToAFile)
{
    const std::string secret = folder.write("secret.html", "<!DOCTYPE html><title>secret</title>");
    server.on("/start", redirect("file://" + secret));
    const Captured captured = capture(url("/start"));
    EXPECT_FALSE(captured.record.hasSucceeded());
    EXPECT_FALSE(captured.record.title);
    EXPECT_FALSE(captured.record.path);
    EXPECT_EQ(server.requests("/start").size(), 1U);
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
}

TEST_F(RedirectedPage, NeverLeadsToAddressesThatAreNotOnTheNetwork)
{
    for (const char* location :
        {"data:text/html,<title>data</title>", "javascript:document.title='script'", "about:blank", "ftp://127.0.0.1/x",
            "mailto:someone@example.com", "unheard-of:x", "chrome://version", "http://", "http://[::", "http:///"}) {
        SCOPED_TRACE(location);
        server.on("/start", redirect(location));
        const Captured captured = capture(url("/start"));
        EXPECT_FALSE(captured.record.hasSucceeded()) << captured.record.title.value_or("");
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
        EXPECT_LT(captured.seconds(), 15);
    }
}

TEST_F(RedirectedPage, OverTLSFailsAsAnyOther)
{
    TestServer secure(folder.write("certificate.pem", selfSignedCertificate()));
    secure.on("/", html(page));
    server.on("/start", redirect(secure.url("/")));
    const Captured captured = capture(url("/start"));
    expectError(captured, urlDomain, -1203);
    EXPECT_EQ(captured.record.url, secure.url("/"));
    EXPECT_TRUE(secure.requests().empty());
}

TEST_F(RedirectedPage, KeepsTheFragment)
{
    server.on("/final", html(page));
    server.on("/own", redirect("/final#below"));
    expectLeadsTo(capture(url("/own")), url("/final#below"));
    EXPECT_EQ(server.requests("/final").back().target, "/final");
}

TEST_F(RedirectedPage, IsWhatARedirectWithoutAPlaceShows)
{
    // An answer that names no other place is an answer like any other.
    server.on("/start", [](const Request&) {
        Response response = html(page);
        response.status = 302;
        return response;
    });
    expectLeadsTo(capture(url("/start")), url("/start"));
    server.on("/start", status(300, page));
    expectLeadsTo(capture(url("/start")), url("/start"));
}

TEST_F(RedirectedPage, CountsRedirectsOfTheMainRequestOnly)
{
    server.on("/frame", redirect("/frame-at-last"));
    server.on("/frame-at-last", html("<title>f</title>"));
    server.on("/sheet.css", redirect("/sheet-at-last.css"));
    server.on("/sheet-at-last.css", css("p { color: red }"));
    server.on("/start", redirect("/final"));
    server.on(
        "/final", html(page + "<link rel=stylesheet href=sheet.css><iframe src=frame></iframe><script>fetch('/frame')</script>"));
    const Captured captured = capture(url("/start"));
    expectLeadsTo(captured, url("/final"));
    EXPECT_GE(server.requests("/frame-at-last").size(), 1U);
    EXPECT_EQ(server.requests("/sheet-at-last.css").size(), 1U);
}

TEST_F(RedirectedPage, KeepsItsAddressBehindAProcessingPrefix)
{
    settings["WebToolURLProcessingPrefix"] = url("/through?");
    server.on("/through", redirect("/final"));
    server.on("/final", html(page));
    const Captured captured = capture("http://h.example/x?q=1");
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "final");
    EXPECT_EQ(captured.record.url, "http://h.example/x?q=1");
    EXPECT_EQ(captured.archive->main.url, url("/final"));
}

TEST_F(RedirectedPage, WaitsForASlowHop)
{
    settings["WebToolTimeout"] = int64_t(1);
    settings["WebToolMaxTriesBeforeTimeout"] = int64_t(1);
    server.on("/start", redirect("/slow"));
    server.hold("/slow");
    const Captured captured = capture(url("/start"));
    expectError(captured, urlDomain, -1001);
    EXPECT_EQ(captured.record.url, url("/slow"));
    EXPECT_EQ(server.requests("/slow").size(), 1U);
}

class ClientRedirect : public CaptureTest {
protected:
    ClientRedirect()
    {
        timeout = 20s;
        settings["LogWebTool"] = true;
        // Long enough for a redirect at the load event.
        settings["WebToolExtraLoadingTime"] = int64_t(1);
        server.on("/final", html(page));
    }

    // Leads to "/final" through a page of its own kind, whose address is what the record keeps.
    void expectArchivesTheTarget(const Response& response)
    {
        server.on("/start", response);
        const Captured captured = capture(url("/start"));
        expectArchive(captured);
        EXPECT_EQ(captured.archive->main.url, url("/final"));
        EXPECT_EQ(captured.record.title, "final");
        EXPECT_EQ(captured.record.url, url("/start"));
        EXPECT_EQ(captured.logCount("[LogWebTool] willPerformClientRedirectToURL: " + url("/final")), 1U)
            << captured.process.error;
        EXPECT_EQ(server.requests("/final").size(), 1U);
    }
};

TEST_F(ClientRedirect, ByRefreshIsFollowedButNotReported)
{
    expectArchivesTheTarget(html("<!DOCTYPE html><title>start</title><meta http-equiv=refresh content='0; url=/final'>"));
}

TEST_F(ClientRedirect, ByHeaderIsFollowedButNotReported)
{
    expectArchivesTheTarget(html("<!DOCTYPE html><title>start</title>").with("Refresh", "0; url=/final"));
}

TEST_F(ClientRedirect, ByScriptIsFollowedButNotReported)
{
    expectArchivesTheTarget(html("<!DOCTYPE html><title>start</title><script>location.replace('/final')</script>"));
}

// Redirects by script only a while after the page is there.
const std::string lateScript = "<!DOCTYPE html><title>start</title><p>start<script>addEventListener('load', () => "
                               "setTimeout(() => location.replace('/final'), 1000))</script>";

TEST_F(ClientRedirect, ThatComesLateIsMissedWithoutTheSiteRule)
{
    settings["WebToolExtraLoadingTime"] = int64_t(0);
    server.on("/start", html(lateScript));
    const Captured captured = capture(url("/start"));
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "start");
    EXPECT_EQ(captured.logCount("Using CDN workaround for domain: "), 0U);
    EXPECT_TRUE(server.requests("/final").empty());
}

TEST_F(ClientRedirect, ThatComesLateIsWaitedForWithTheSiteRule)
{
    settings["WebToolExtraLoadingTime"] = int64_t(0);
    settings["WebToolClientRedirectDomains"] = SettingList{"www.localhost", "LocalHost", "localhost"};
    server.on("/start", html(lateScript));
    const Captured captured = capture(server.url("/start", "localhost"));
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "final");
    EXPECT_EQ(captured.archive->main.url, server.url("/final", "localhost"));
    EXPECT_EQ(captured.record.url, server.url("/start", "localhost"));
    EXPECT_EQ(captured.logCount("[LogWebTool] Using CDN workaround for domain: LocalHost"), 1U) << captured.process.error;
    EXPECT_EQ(captured.logCount("Using CDN workaround for domain: "), 1U);
    // The second page came after one of the first one's two seconds, and has two of its own.
    EXPECT_GE(captured.seconds(), 3);
}

TEST_F(ClientRedirect, ThatIsCancelledIsLogged)
{
    server.on("/start",
        html("<!DOCTYPE html><title>start</title><meta http-equiv=refresh content='30; url=/final'>"
             "<script>addEventListener('load', () => { setTimeout(() => stop(), 200) })</script>"));
    const Captured captured = capture(url("/start"));
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "start");
    EXPECT_EQ(captured.logCount("[LogWebTool] willPerformClientRedirectToURL: " + url("/final")), 1U) << captured.process.error;
    EXPECT_EQ(captured.logCount("[LogWebTool] didCancelClientRedirectForFrame: " + url("/start")), 1U) << captured.process.error;
    EXPECT_TRUE(server.requests("/final").empty());
    EXPECT_TRUE(holds(captured.page(), "start"));
}

}
