#include "Platform/Network/DownloadTest.h"

using support::Exchange;

namespace {

class DownloadRedirects : public DownloadTest {
protected:
    [[nodiscard]] std::string cookiesSentTo(const std::string& path) const
    {
        return server.requests(path).back().header("Cookie").value_or("(none)");
    }
};

TEST_F(DownloadRedirects, AreFollowedWithRelativeAddresses)
{
    for (const int status : {301, 302, 303, 307, 308}) {
        SCOPED_TRACE(status);
        server.on("/a/from", support::redirect("../b/to file.txt?q=1", status));
        server.on("/b/to%20file.txt", support::typed("text/plain", "there"));
        const auto download = start("/a/from");
        ASSERT_TRUE(download->finishes());
        EXPECT_EQ(support::readFile(download->path), "there");
        EXPECT_EQ(download->response.URL().absoluteString().UTF8(), server.url("/b/to%20file.txt?q=1"));
        EXPECT_EQ(download->suggestedFilename, "to file.txt");
        EXPECT_EQ(download->story, "response destination created data finish");
    }
}

TEST_F(DownloadRedirects, TakeTheHeaderFieldsWithThem)
{
    server.on("/from", support::redirect(server.url("/to", "127.0.0.2")));
    server.on("/to", support::typed("text/plain", "x"));
    NSMutableURLRequest request = requestFor(server.url("/from"));
    request.setValue(u"Visitor/1.0", u"User-Agent");
    request.setValue(u"http://127.0.0.1/page", u"Referer");
    request.setValue(u"Basic dTpw", u"Authorization");
    request.setValue(u"a=1", u"Cookie");
    Downloading download(request, folder());
    ASSERT_TRUE(download.finishes());
    const support::Request first = server.requests("/from").at(0);
    EXPECT_EQ(first.header("Authorization"), "Basic dTpw");
    EXPECT_EQ(first.header("Cookie"), "a=1");
    const support::Request second = server.requests("/to").at(0);
    EXPECT_EQ(second.header("User-Agent"), "Visitor/1.0");
    EXPECT_EQ(second.header("Referer"), "http://127.0.0.1/page");
    EXPECT_FALSE(second.header("Authorization")) << "secrets stay with their host";
    EXPECT_FALSE(second.header("Cookie"));
}

TEST_F(DownloadRedirects, AreFollowedTwentyTimes)
{
    server.on("/hop", [&](const support::Request& request) {
        const int left = std::stoi(request.query);
        return left == 0 ? support::typed("text/plain", "arrived") : support::redirect("/hop?" + std::to_string(left - 1));
    });
    EXPECT_EQ(saved("/hop?20"), "arrived");
    EXPECT_EQ(server.requests("/hop").size(), 21u);
    temporaryFolder.makeFolder("empty");
    Downloading tooMany(server.url("/hop?30"), temporaryFolder.pathOf("empty"));
    ASSERT_TRUE(tooMany.fails());
    EXPECT_EQ(tooMany.error.code(), NSURLErrorHTTPTooManyRedirects);
    EXPECT_EQ(failingAddress(tooMany.error), server.url("/hop?10"));
    EXPECT_EQ(server.requests("/hop").size(), 42u);
    EXPECT_EQ(tooMany.story, "fail");
}

TEST_F(DownloadRedirects, ToThemselvesEnd)
{
    server.on("/self", support::redirect("/self"));
    EXPECT_EQ(codeOfFailure("/self"), NSURLErrorHTTPTooManyRedirects);
    EXPECT_EQ(server.requests("/self").size(), 21u);
}

TEST_F(DownloadRedirects, ToOtherSchemesFail)
{
    for (const std::string target :
        {"ftp://127.0.0.1/x", "file:///etc/hostname", "javascript:1", "data:text/plain,x", "about:blank"}) {
        SCOPED_TRACE(target);
        server.on("/from", support::redirect(target));
        const auto download = start("/from");
        ASSERT_TRUE(download->fails());
        EXPECT_EQ(download->error.code(), NSURLErrorUnsupportedURL);
        EXPECT_EQ(failingAddress(download->error), target);
        EXPECT_EQ(names(), std::vector<std::string>());
    }
}

TEST_F(DownloadRedirects, ToNoAddressFail)
{
    server.on("/bad", support::redirect("http://127.0.0.1:port/"));
    EXPECT_EQ(codeOfFailure("/bad"), NSURLErrorRedirectToNonExistentLocation);
    server.on("/hostless", support::redirect("http:///x"));
    EXPECT_EQ(codeOfFailure("/hostless"), NSURLErrorBadURL);
}

TEST_F(DownloadRedirects, WithoutALocationAreAnswers)
{
    server.on("/from", support::status(302, "look elsewhere"));
    EXPECT_EQ(saved("/from"), "look elsewhere");
}

TEST_F(DownloadRedirects, DoNotReadTheirEndlessBodies)
{
    server.onRaw("/from", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 302 Found\r\nLocation: /to\r\nTransfer-Encoding: chunked\r\n\r\n");
        const std::string piece(10'000, 'x');
        while (exchange.sendChunk(piece)) { }
    });
    server.on("/to", support::typed("text/plain", "x"));
    EXPECT_EQ(saved("/from"), "x");
}

TEST_F(DownloadRedirects, TurnFormsIntoQuestionsButFor307And308)
{
    const struct {
        int status;
        const char* method;
        const char* body;
    } rows[] = {{301, "GET", ""}, {302, "GET", ""}, {303, "GET", ""}, {307, "POST", "a=b"}, {308, "POST", "a=b"}};
    server.on("/to", support::typed("text/plain", "x"));
    for (const auto& [status, method, body] : rows) {
        SCOPED_TRACE(status);
        server.on("/from", support::redirect("/to", status));
        NSMutableURLRequest request = requestFor(server.url("/from"));
        request.setHTTPMethod(u"POST");
        request.setHTTPBody(NSData::dataWithBytes("a=b"));
        request.setValue(u"text/plain", u"Content-Type");
        Downloading download(request, folder());
        ASSERT_TRUE(download.finishes());
        const support::Request sent = server.requests("/to").back();
        EXPECT_EQ(sent.method, method);
        EXPECT_EQ(sent.body, body);
        EXPECT_EQ(sent.header("Content-Type").has_value(), *body != '\0');
    }
}

TEST_F(DownloadRedirects, KeepTheCookiesThatAreSetOnTheWay)
{
    for (const char* const host : {"127.0.0.1", "localhost", "a.localhost"}) {
        SCOPED_TRACE(host);
        server.on("/from",
            support::redirect("/to").with("Set-Cookie", "b=2; Path=/; HttpOnly").with("Set-Cookie", "c=3; SameSite=Strict"));
        server.on("/to", support::redirect("/end").with("Set-Cookie", "b=4; Path=/"));
        server.on("/end", support::typed("text/plain", "x"));
        Downloading download(server.url("/from", host), folder());
        ASSERT_TRUE(download.finishes());
        EXPECT_EQ(cookiesSentTo("/from"), "(none)");
        EXPECT_EQ(cookiesSentTo("/to"), "b=2; c=3");
        EXPECT_EQ(cookiesSentTo("/end"), "b=4; c=3");
    }
}

TEST_F(DownloadRedirects, LetTheServerReplaceAndRemoveTheCookiesOfTheRequest)
{
    server.on(
        "/from", support::redirect("/to").with("Set-Cookie", "a=new; Path=/").with("Set-Cookie", "gone=; Max-Age=0; Path=/"));
    server.on("/to", support::typed("text/plain", "x"));
    NSMutableURLRequest request = requestFor(server.url("/from"));
    request.setValue(u"a=old; gone=1; kept=2", u"Cookie");
    Downloading download(request, folder());
    ASSERT_TRUE(download.finishes());
    EXPECT_EQ(cookiesSentTo("/from"), "a=old; gone=1; kept=2");
    EXPECT_EQ(cookiesSentTo("/to"), "a=new; kept=2");
}

TEST_F(DownloadRedirects, DoNotTakeCookiesToOtherHostsAndBringThemBack)
{
    server.on("/from", support::redirect(server.url("/other", "127.0.0.2")).with("Set-Cookie", "b=2; Path=/"));
    server.on("/other", support::redirect(server.url("/back")).with("Set-Cookie", "c=3; Path=/"));
    server.on("/back", support::typed("text/plain", "x"));
    NSMutableURLRequest request = requestFor(server.url("/from"));
    request.setValue(u"a=1", u"Cookie");
    Downloading download(request, folder());
    ASSERT_TRUE(download.finishes());
    EXPECT_EQ(cookiesSentTo("/other"), "(none)");
    EXPECT_EQ(cookiesSentTo("/back"), "b=2; a=1");
}

TEST_F(DownloadRedirects, KeepNoCookiesWhenTheRequestDoesNot)
{
    server.on("/from", support::redirect("/to").with("Set-Cookie", "b=2; Path=/"));
    server.on("/to", support::typed("text/plain", "x"));
    NSMutableURLRequest request = requestFor(server.url("/from"));
    request.setHTTPShouldHandleCookies(false);
    Downloading download(request, folder());
    ASSERT_TRUE(download.finishes());
    EXPECT_EQ(cookiesSentTo("/to"), "(none)");
}

}
