#include "Platform/Network/DownloadTest.h"

#include <sys/stat.h>

using support::Framing;
using support::Headers;
using support::Response;

namespace {

class HTTPDownload : public DownloadTest { };

TEST_F(HTTPDownload, SavesTheBodyUnderTheSuggestedNameAndTellsEachStepInOrder)
{
    server.on("/data/report.pdf", support::typed("application/pdf", "%PDF-1.4 …"));
    const auto download = start("/data/report.pdf");
    EXPECT_EQ(download->story, "") << "nothing happens outside of the run loop";
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(download->story, "response destination created data finish");
    EXPECT_EQ(download->suggestedFilename, "report.pdf");
    EXPECT_EQ(download->path, temporaryFolder.pathOf("report.pdf"));
    EXPECT_EQ(support::readFile(download->path), "%PDF-1.4 …");
    EXPECT_EQ(names(), std::vector<std::string>{"report.pdf"});
    EXPECT_EQ(download->length, 12u);
    EXPECT_EQ(download->response.expectedContentLength(), 12);
    EXPECT_EQ(download->response.MIMEType(), NSString(u"application/pdf"));
    EXPECT_EQ(download->response.statusCode(), 200);
    EXPECT_EQ(download->response.URL().absoluteString().UTF8(), server.url("/data/report.pdf"));
    EXPECT_EQ(download->download().request().URL().absoluteString().UTF8(), server.url("/data/report.pdf"));
}

TEST_F(HTTPDownload, NamesTheFileAsTheServerDoes)
{
    server.on("/x", support::typed("image/png", "p").with("Content-Disposition", "attachment; filename*=UTF-8''%C3%BCber.png"));
    server.on("/raw", support::typed("image/png", "p").with("Content-Disposition", "attachment; filename=\"\xC3\xA9.png\""));
    EXPECT_EQ(saved("/x"), "p");
    EXPECT_EQ(saved("/raw"), "p");
    EXPECT_EQ(names(),
        (std::vector<std::string>{"\xC3\xA9.png",
            "\xC3\xBC"
            "ber.png"}));
}

TEST_F(HTTPDownload, StreamsBigBodies)
{
    std::string body;
    while (body.size() < 5'000'000)
        body += std::to_string(body.size()) + '\n';
    for (const Framing framing : {Framing::Length, Framing::Chunked, Framing::UntilClose}) {
        Response response = support::typed("application/octet-stream", body);
        response.framing = framing;
        server.on("/big.bin", response);
        const auto download = start("/big.bin");
        ASSERT_TRUE(download->finishes());
        EXPECT_TRUE(support::readFile(download->path) == body);
        EXPECT_EQ(download->length, body.size());
        EXPECT_EQ(download->response.expectedContentLength(),
            framing == Framing::Length ? static_cast<int64_t>(body.size()) : NSURLResponseUnknownLength);
    }
}

TEST_F(HTTPDownload, TakesNoMoreThanTheLengthThatIsTold)
{
    for (const char* connection : {"keep-alive", "close"}) {
        SCOPED_TRACE(connection);
        server.onRaw("/x", [connection](support::Exchange& exchange) {
            exchange.send(std::string("HTTP/1.1 200 OK\r\nContent-Length: 4\r\nConnection: ") + connection + "\r\n\r\n1234more");
            // The end of the connection is not needed to know the end of the body.
            exchange.awaitClose();
        });
        EXPECT_EQ(saved("/x"), "1234");
    }
}

TEST_F(HTTPDownload, UndoesContentCodings)
{
    std::string body;
    for (int line = 0; line < 20'000; ++line)
        body += "line " + std::to_string(line) + '\n';
    const Response plain = support::typed("text/plain", body);
    for (const Response& response : {support::gzipped(plain), support::deflated(plain), support::brotlied(plain)}) {
        SCOPED_TRACE(*support::findHeader(response.headers, "Content-Encoding"));
        server.on("/text", response);
        const auto download = start("/text");
        ASSERT_TRUE(download->finishes());
        EXPECT_TRUE(support::readFile(download->path) == body);
        EXPECT_EQ(download->length, body.size());
        EXPECT_EQ(download->response.expectedContentLength(), NSURLResponseUnknownLength);
    }
    EXPECT_EQ(server.requests("/text").back().header("Accept-Encoding"), "gzip, deflate") << "the third one only over TLS";
}

TEST_F(HTTPDownload, SavesTheBodiesOfAllStatuses)
{
    for (const int status : {200, 201, 203, 206, 300, 400, 401, 403, 404, 407, 410, 500, 503, 599}) {
        SCOPED_TRACE(status);
        server.on("/page.html", support::status(status, "body"));
        const auto download = start("/page.html");
        ASSERT_TRUE(download->finishes());
        EXPECT_EQ(support::readFile(download->path), "body");
        EXPECT_EQ(download->response.statusCode(), status);
    }
}

TEST_F(HTTPDownload, MakesEmptyFilesOfAnswersWithoutBody)
{
    for (const int status : {200, 204, 304, 404}) {
        SCOPED_TRACE(status);
        server.on("/nothing", support::status(status));
        const auto download = start("/nothing");
        ASSERT_TRUE(download->finishes());
        EXPECT_EQ(download->story, "response destination created finish");
        EXPECT_EQ(support::readFile(download->path), "");
    }
}

TEST_F(HTTPDownload, TakesAnswersWithoutTypeAndWithOddOnes)
{
    Response untyped;
    untyped.body = "a";
    server.on("/plain", untyped);
    server.on("/odd", support::typed("ImAgE/PnG ; Charset=\"UTF-8\"", "b"));
    const auto plain = start("/plain");
    ASSERT_TRUE(plain->finishes());
    EXPECT_TRUE(plain->response.MIMEType().isAbsent());
    const auto odd = start("/odd");
    ASSERT_TRUE(odd->finishes());
    EXPECT_EQ(odd->response.MIMEType(), NSString(u"ImAgE/PnG"));
    EXPECT_EQ(odd->response.textEncodingName(), NSString(u"UTF-8"));
}

TEST_F(HTTPDownload, JoinsRepeatedHeaderFields)
{
    server.on("/x", support::typed("text/plain", "x").with("X-Twice", "a").with("x-twice", "b").with("X-Latin", "\xE9"));
    const auto download = start("/x");
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(download->response.valueForHTTPHeaderField(u"x-twice"), NSString(u"a, b"));
    EXPECT_EQ(download->response.valueForHTTPHeaderField(u"X-Latin"), NSString(u"\uFFFD"));
}

TEST_F(HTTPDownload, SendsTheHeaderFieldsOfTheRequest)
{
    server.on("/x", support::typed("text/plain", "x"));
    NSMutableURLRequest request = requestFor(server.url("/x"));
    request.setValue(u"Visitor/1.0 (test)", u"User-Agent");
    request.setValue(u"http://elsewhere.test/page", u"Referer");
    request.setValue(u"a=1; b=\"two\"", u"Cookie");
    request.setValue(u"de, en", u"Accept-Language");
    request.setValue(u"bad\r\nX-Injected: 1", u"X-Broken");
    request.setValue(u"elsewhere.test", u"Host");
    Downloading download(request, folder());
    ASSERT_TRUE(download.finishes());
    const support::Request sent = server.requests("/x").at(0);
    EXPECT_EQ(sent.method, "GET");
    EXPECT_EQ(sent.header("User-Agent"), "Visitor/1.0 (test)");
    EXPECT_EQ(sent.header("Referer"), "http://elsewhere.test/page");
    EXPECT_EQ(sent.header("Cookie"), "a=1; b=\"two\"");
    EXPECT_EQ(sent.header("Accept-Language"), "de, en");
    EXPECT_EQ(sent.header("Accept"), "*/*");
    EXPECT_EQ(sent.header("Host"), server.authority());
    EXPECT_FALSE(sent.header("X-Injected"));
    EXPECT_FALSE(sent.header("X-Broken"));
}

TEST_F(HTTPDownload, SendsMethodAndBodyOfTheRequest)
{
    server.on("/x", [](const support::Request& request) { return support::typed("text/plain", "got " + request.body); });
    NSMutableURLRequest request = requestFor(server.url("/x"));
    request.setHTTPMethod(u"POST");
    request.setHTTPBody(NSData::dataWithBytes("a=b"));
    request.setValue(u"application/x-www-form-urlencoded", u"Content-Type");
    Downloading download(request, folder());
    ASSERT_TRUE(download.finishes());
    EXPECT_EQ(support::readFile(download.path), "got a=b");
    EXPECT_EQ(server.requests("/x").at(0).method, "POST");
    EXPECT_EQ(server.requests("/x").at(0).header("Content-Type"), "application/x-www-form-urlencoded");
}

TEST_F(HTTPDownload, AsksForAddressesThatAreNotQuiteOnes)
{
    const struct {
        std::string written;
        const char* sent;
    } rows[] = {
        {"/a b\"c", "/a%20b%22c"},
        {"/\xC3\xBC?q=\xC3\xBC#part", "/%C3%BC?q=%C3%BC"},
        {"/%41%2f%zz", "/A%2F%zz"},
        {"/x?a=b|c&d={e}", "/x?a=b%7Cc&d=%7Be%7D"},
        {"", "/"},
    };
    for (const auto& [written, sent] : rows) {
        SCOPED_TRACE(written);
        const auto download = start(written);
        ASSERT_TRUE(download->finishes());
        EXPECT_EQ(server.requests().back().target, sent);
        EXPECT_EQ(download->response.URL().absoluteString().UTF8(), server.url(written));
    }
}

TEST_F(HTTPDownload, TakesSchemesInCapitals)
{
    server.on("/x", support::typed("text/plain", "x"));
    Downloading download("HTTP://" + server.authority() + "/x", folder());
    EXPECT_TRUE(download.finishes());
}

TEST_F(HTTPDownload, GoesToOtherLoopbackHosts)
{
    server.on("/x", support::typed("text/plain", "x"));
    for (const char* const host : {"127.0.0.2", "localhost"}) {
        Downloading download(server.url("/x", host), folder());
        EXPECT_TRUE(download.finishes()) << host;
    }
}

TEST_F(HTTPDownload, SendsTheCredentialsOfTheAddressWhenAsked)
{
    server.on("/x", [](const support::Request& request) {
        if (request.header("Authorization") == "Basic dTpw")
            return support::typed("text/plain", "inside");
        return support::status(401, "no").with("WWW-Authenticate", "Basic realm=\"r\"");
    });
    Downloading download("http://u:p@" + server.authority() + "/x", folder());
    ASSERT_TRUE(download.finishes());
    EXPECT_EQ(support::readFile(download.path), "inside");
}

TEST_F(HTTPDownload, GivesFilesThePermissionsOfTheUmask)
{
    server.on("/x", support::typed("text/plain", "x"));
    const mode_t before = umask(027);
    const auto download = start("/x");
    const bool finished = download->finishes();
    umask(before);
    ASSERT_TRUE(finished);
    struct stat status;
    ASSERT_EQ(stat(download->path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
}

TEST_F(HTTPDownload, GoesOnWhileOthersDo)
{
    const std::string body(300'000, 'x');
    server.on("/x", support::typed("text/plain", body));
    std::vector<std::unique_ptr<Downloading>> downloads;
    for (int count = 0; count < 10; ++count)
        downloads.push_back(start("/x"));
    for (const auto& download : downloads) {
        ASSERT_TRUE(download->finishes());
        EXPECT_TRUE(support::readFile(download->path) == body);
    }
    EXPECT_EQ(names().size(), 10u);
}

}
