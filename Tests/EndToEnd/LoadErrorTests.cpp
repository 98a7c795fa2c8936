#include "EndToEnd/CaptureTest.h"

using namespace std::chrono_literals;
using namespace support;

namespace {

constexpr const char* urlDomain = "NSURLErrorDomain";
constexpr const char* lost = "The network connection was lost.";

class LoadError : public CaptureTest {
protected:
    // A record with this error, the failing address in it, and nothing but error and address; nothing is written.
    void expectFailure(const std::string& address, const std::string& domain, long long code, const std::string& text)
    {
        SCOPED_TRACE(address);
        const Captured captured = capture(address);
        EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
        EXPECT_EQ(captured.record.errorString, text);
        EXPECT_EQ(captured.record.url, address);
        expectError(captured, domain, code);
        const ArchivedError error = readArchivedError(captured.record.errorData.value_or(""));
        EXPECT_EQ(error.value("NSErrorFailingURLStringKey"), address);
        EXPECT_EQ(error.value("NSURL"), address);
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
        EXPECT_LT(captured.seconds(), 20);
    }
};

TEST_F(LoadError, NamesARefusedConnection)
{
    expectFailure("http://127.0.0.1:" + std::to_string(unusedPort()) + "/", urlDomain, -1004, "Could not connect to the server.");
}

TEST_F(LoadError, NamesAnUnknownHost)
{
    expectFailure("http://nowhere.invalid/", urlDomain, -1003, "A server with the specified hostname could not be found.");
}

TEST_F(LoadError, NamesAPortThatIsNotForPages)
{
    expectFailure("http://127.0.0.1:25/", "WebKitErrorDomain", 103, "Not allowed to use restricted network port");
}

TEST_F(LoadError, NamesACertificateThatNobodyVouchesFor)
{
    TestServer secure(folder.write("certificate.pem", selfSignedCertificate()));
    secure.on("/", html("<title>secret</title>"));
    const Captured captured = capture(secure.url("/"));
    expectError(captured, urlDomain, -1203);
    EXPECT_TRUE(secure.requests().empty());
}

TEST_F(LoadError, NamesACertificateForAnotherHost)
{
    TestServer secure(folder.write("certificate.pem", selfSignedCertificate()));
    const Captured captured = capture(secure.url("/", "127.0.0.2"));
    EXPECT_FALSE(captured.record.hasSucceeded());
    const ArchivedError error = readArchivedError(captured.record.errorData.value_or(""));
    EXPECT_EQ(error.domain, urlDomain);
    EXPECT_TRUE(error.code == -1202 || error.code == -1203) << error.code;
}

TEST_F(LoadError, NamesAServerThatSpeaksNoTLS)
{
    const Captured captured = capture("https://" + server.authority() + "/");
    expectError(captured, urlDomain, -1200);
    EXPECT_EQ(captured.record.url, "https://" + server.authority() + "/");
}

TEST_F(LoadError, NamesALostConnection)
{
    server.onRaw("/reset", [](Exchange& exchange) { exchange.reset(); });
    server.onRaw("/empty", [](Exchange& exchange) { exchange.close(); });
    Response cut = html("<!DOCTYPE html><title>cut</title>");
    cut.declaredLength = 5000;
    cut.ending = Ending::Close;
    server.on("/cut", cut);
    Response endless = html("<!DOCTYPE html><title>cut</title>");
    endless.framing = Framing::Chunked;
    endless.endsChunks = false;
    endless.ending = Ending::Close;
    server.on("/chunks", endless);
    for (const char* path : {"/reset", "/empty", "/cut", "/chunks"})
        expectFailure(url(path), urlDomain, -1005, lost);
}

TEST_F(LoadError, NamesAnAnswerThatIsNoHTTP)
{
    server.onRaw("/garbage", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nxx");
        exchange.close();
    });
    const Captured captured = capture(url("/garbage"));
    expectError(captured, urlDomain, -1011);
}

TEST_F(LoadError, NamesABodyThatCannotBeDecoded)
{
    server.on("/packed", html("this is not gzip").with("Content-Encoding", "gzip"));
    expectFailure(url("/packed"), urlDomain, -1016, "cannot decode raw data");
}

TEST_F(LoadError, NamesARedirectThatNeverEnds)
{
    server.on("/round", redirect("/round"));
    const Captured captured = capture(url("/round"));
    expectError(captured, urlDomain, -1007);
    EXPECT_EQ(captured.record.errorString, "too many HTTP redirects");
}

TEST_F(LoadError, NamesAMissingFile)
{
    expectFailure("file://" + folder.pathOf("missing.html"), urlDomain, -1100, "The requested URL was not found on this server.");
}

TEST_F(LoadError, NamesARefusedAuthentication)
{
    server.on("/secret", status(401, "<title>who?</title>").with("WWW-Authenticate", "Basic realm=\"secret\""));
    const Captured captured = capture(url("/secret"));
    expectError(captured, urlDomain, -1013);
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(captured.record.url, url("/secret"));
    for (const Request& request : server.requests())
        EXPECT_FALSE(request.header("Authorization"));
}

TEST_F(LoadError, NamesARefusedAuthenticationOfAResource)
{
    server.on("/secret.png", status(401).with("WWW-Authenticate", "Digest realm=\"secret\", nonce=\"1\""));
    expectError(captureMarkup("<!DOCTYPE html><title>t</title><img src=secret.png>"), urlDomain, -1013);
}

TEST_F(LoadError, IsNoneForAnswersWithAnErrorStatusAndAPage)
{
    for (const int code : {401, 403, 404, 410, 500, 503}) {
        SCOPED_TRACE(code);
        server.on("/page.html", status(code, "<!DOCTYPE html><title>the server's own page</title>"));
        const Captured captured = capture(url("/page.html"));
        expectArchive(captured);
        EXPECT_EQ(captured.record.title, "the server's own page");
    }
}

TEST_F(LoadError, IsNoneForResourcesUnlessTheSettingSaysSo)
{
    server.onRaw("/broken.png", [](Exchange& exchange) { exchange.reset(); });
    const std::string markup = "<!DOCTYPE html><title>t</title><img src=broken.png>";
    const Captured without = captureMarkup(markup);
    expectArchive(without);
    EXPECT_GE(without.logCount("Tarnwick [twwebtool] Continuing after error loading resource: "), 1U) << without.process.error;

    settings["WebToolFailOnResourceLoadErrors"] = true;
    const Captured with = captureMarkup(markup);
    expectError(with, urlDomain, -1005);
    EXPECT_GE(with.logCount("Tarnwick [twwebtool] Error loading resource: "), 1U) << with.process.error;
}

class Redirect : public CaptureTest { };

TEST_F(Redirect, ReportsTheAddressItLedTo)
{
    server.on("/final", html("<!DOCTYPE html><title>final</title>"));
    server.on("/two", redirect(server.url("/final", "localhost"), 307));
    server.on("/one", redirect("/two?x=1", 301));
    const Captured captured = capture(url("/one"));
    expectArchive(captured);
    EXPECT_EQ(captured.record.url, server.url("/final", "localhost"));
    EXPECT_EQ(captured.archive->main.url, server.url("/final", "localhost"));
    EXPECT_EQ(captured.record.title, "final");
}

TEST_F(Redirect, OfAResourceDoesNotChangeTheAddress)
{
    server.on("/a.png", redirect("/b.png"));
    server.on("/b.png", typed("image/png", pngImage(1, 1, 1)));
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><img src=a.png>");
    expectArchive(captured);
    EXPECT_EQ(captured.record.url, url("/page.html"));
}

TEST_F(Redirect, ThatFailsAtItsTargetReportsTheTarget)
{
    const std::string target = "http://127.0.0.1:" + std::to_string(unusedPort()) + "/gone";
    server.on("/one", redirect(target));
    const Captured captured = capture(url("/one"));
    expectError(captured, urlDomain, -1004);
    EXPECT_EQ(captured.record.url, target);
}

}
