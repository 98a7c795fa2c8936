#include "Platform/Network/DownloadTest.h"

#include <array>
#include <atomic>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using support::Exchange;
using support::Response;

namespace {

class DownloadFailure : public DownloadTest {
protected:
    // Answers `path` with exactly these bytes and ends the connection.
    void onBytes(const std::string& path, std::string bytes)
    {
        server.onRaw(path, [bytes = std::move(bytes)](Exchange& exchange) {
            exchange.send(bytes);
            exchange.close();
        });
    }
};

TEST_F(DownloadFailure, NamesTheAddressAndComesOnce)
{
    const std::string address = "http://127.0.0.1:" + std::to_string(support::unusedPort()) + "/x?y#z";
    Downloading download(address, folder());
    ASSERT_TRUE(download.fails());
    EXPECT_EQ(download.error.domain(), NSURLErrorDomain);
    EXPECT_EQ(download.error.code(), NSURLErrorCannotConnectToHost);
    EXPECT_EQ(failingAddress(download.error), address);
    EXPECT_EQ(download.error.localizedDescription(), NSString(u"Could not connect to the server."));
    support::runLoopFor(0.05);
    EXPECT_EQ(download.story, "fail");
    EXPECT_EQ(names(), std::vector<std::string>());
}

TEST_F(DownloadFailure, OfAddressesThatCannotBeFetched)
{
    const struct {
        const char* address;
        int64_t code;
    } rows[] = {
        {"ftp://127.0.0.1/x", NSURLErrorUnsupportedURL},
        {"data:text/plain,x", NSURLErrorUnsupportedURL},
        {"about:blank", NSURLErrorUnsupportedURL},
        {"x.html", NSURLErrorUnsupportedURL},
        {"", NSURLErrorUnsupportedURL},
        {"http:", NSURLErrorBadURL},
        {"http:///x", NSURLErrorBadURL},
        {"http://127.0.0.1:99999/", NSURLErrorBadURL},
        {"http://127.0.0.1:port/", NSURLErrorBadURL},
        {"http://[::1/", NSURLErrorBadURL},
    };
    for (const auto& [address, code] : rows) {
        SCOPED_TRACE(address);
        Downloading download(address, folder());
        ASSERT_TRUE(download.fails());
        EXPECT_EQ(download.error.code(), code);
        EXPECT_EQ(failingAddress(download.error), address);
    }
    Downloading absent(NSURLRequest(), folder());
    ASSERT_TRUE(absent.fails());
    EXPECT_EQ(absent.error.code(), NSURLErrorUnsupportedURL);
}

TEST_F(DownloadFailure, OfMethodsThatAreNone)
{
    NSMutableURLRequest request = requestFor(server.url("/x"));
    request.setHTTPMethod(u"GET /y HTTP/1.1\r\nX:");
    Downloading download(request, folder());
    ASSERT_TRUE(download.fails());
    EXPECT_EQ(download.error.code(), NSURLErrorBadURL);
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(DownloadFailure, OfHostsThatDoNotExist)
{
    // Names with so long a part do not exist, and no name server is asked.
    Downloading download("http://" + std::string(70, 'a') + "/", folder());
    ASSERT_TRUE(download.fails());
    EXPECT_EQ(download.error.code(), NSURLErrorCannotFindHost);
}

TEST_F(DownloadFailure, OfServersThatAskForCredentials)
{
    server.on("/x", support::status(401, "no").with("WWW-Authenticate", "Basic realm=\"r\""));
    server.on("/proxy", support::status(407, "no").with("Proxy-Authenticate", "Basic realm=\"r\""));
    EXPECT_EQ(codeOfFailure("/x"), NSURLErrorUserAuthenticationRequired);
    EXPECT_EQ(codeOfFailure("/proxy"), NSURLErrorUserAuthenticationRequired);
}

TEST_F(DownloadFailure, OfWrongCredentialsInTheAddress)
{
    server.on("/x", support::status(401, "no").with("WWW-Authenticate", "Basic realm=\"r\""));
    Downloading download("http://u:p@" + server.authority() + "/x", folder());
    ASSERT_TRUE(download.fails());
    EXPECT_EQ(download.error.code(), NSURLErrorUserAuthenticationRequired);
    EXPECT_LE(server.requests("/x").size(), 3u);
}

TEST_F(DownloadFailure, OfAnswersThatAreCutShort)
{
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n";
    const struct {
        const char* name;
        std::string bytes;
    } rows[] = {
        {"nothing", ""},
        {"too few bytes", head + "Content-Length: 10\r\n\r\n123456789"},
        {"no byte", head + "Content-Length: 10\r\n\r\n"},
        {"too few bytes before the end that was told", head + "Connection: close\r\nContent-Length: 10\r\n\r\n123456789"},
        {"too few bytes from an old server", "HTTP/1.0 200 OK\r\nContent-Length: 10\r\n\r\n123456789"},
        {"no byte before the end that was told", head + "Connection: close\r\nContent-Length: 10\r\n\r\n"},
        {"half a chunk", head + "Transfer-Encoding: chunked\r\n\r\n5\r\n123"},
        {"no chunk", head + "Transfer-Encoding: chunked\r\n\r\n"},
        {"no last chunk", head + "Transfer-Encoding: chunked\r\n\r\n5\r\n12345\r\n"},
    };
    for (const auto& [name, bytes] : rows) {
        SCOPED_TRACE(name);
        onBytes("/x", bytes);
        EXPECT_EQ(codeOfFailure("/x"), NSURLErrorNetworkConnectionLost);
    }
}

TEST_F(DownloadFailure, OfAnswersThatAreReset)
{
    server.onRaw("/head", [](Exchange& exchange) { exchange.reset(); });
    EXPECT_EQ(codeOfFailure("/head"), NSURLErrorNetworkConnectionLost);

    server.onRaw("/body", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n12345");
        if (exchange.awaitRelease())
            exchange.reset();
    });
    const auto download = start("/body");
    download->onNews = [&](const std::string& word) {
        if (word == "data") {
            EXPECT_EQ(names(), std::vector<std::string>{"body"});
            server.release("/body");
        }
    };
    ASSERT_TRUE(download->fails());
    EXPECT_EQ(download->story, "response destination created data fail");
    EXPECT_EQ(download->error.code(), NSURLErrorNetworkConnectionLost);
    EXPECT_EQ(names(), std::vector<std::string>());
}

TEST_F(DownloadFailure, TellsTheDataThatCameBeforeIt)
{
    onBytes("/x", "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n12345");
    const auto download = start("/x");
    ASSERT_TRUE(download->fails());
    EXPECT_EQ(download->length, 5u);
}

TEST_F(DownloadFailure, OfAnswersThatAreNone)
{
    const std::string rows[] = {
        "hello\r\n\r\n",
        "HTTP/1.1 abc OK\r\n\r\n",
        "HTTP/1.1 200 OK\r\nContent-Length: 1x\r\n\r\nab",
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\nab",
    };
    for (const std::string& bytes : rows) {
        SCOPED_TRACE(bytes);
        onBytes("/x", bytes);
        EXPECT_EQ(codeOfFailure("/x"), NSURLErrorBadServerResponse);
    }
}

TEST_F(DownloadFailure, OfBodiesThatCannotBeDecoded)
{
    server.on("/x", support::typed("text/plain", "no gzip at all").with("Content-Encoding", "gzip"));
    EXPECT_EQ(codeOfFailure("/x"), NSURLErrorCannotDecodeContentData);

    Response broken = support::gzipped(support::typed("text/plain", std::string(100'000, 'a')));
    broken.body.resize(broken.body.size() / 2);
    server.on("/short", broken);
    EXPECT_EQ(codeOfFailure("/short"), NSURLErrorNetworkConnectionLost);
    broken.framing = support::Framing::UntilClose;
    server.on("/until-close", broken);
    EXPECT_EQ(codeOfFailure("/until-close"), NSURLErrorNetworkConnectionLost);
    server.on("/many", support::typed("text/plain", "x").with("Content-Encoding", "gzip,gzip,gzip,gzip,gzip,gzip"));
    EXPECT_EQ(codeOfFailure("/many"), NSURLErrorCannotDecodeContentData);
}

TEST_F(DownloadFailure, OfHeadsWithoutEnd)
{
    server.onRaw("/x", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\n");
        const std::string line = "X-Field: " + std::string(1000, 'x') + "\r\n";
        while (exchange.send(line)) { }
    });
    const int64_t code = codeOfFailure("/x");
    EXPECT_TRUE(code == NSURLErrorBadServerResponse || code == NSURLErrorNetworkConnectionLost) << code;
}

// Silence.

class DownloadTimeout : public DownloadTest {
protected:
    // Half a second of silence at a time is none for this one.
    static constexpr double patience = 1.5;   // seconds
    // Lets the server go on `count` times with silences in between, which together are longer than the patience.
    void releaseSlowly(const std::string& path, int count)
    {
        for (int index = 0; index < count; ++index) {
            support::runLoopFor(0.5);
            server.release(path);
        }
    }
    [[nodiscard]] std::unique_ptr<Downloading> startPatiently(const std::string& path)
    {
        return std::make_unique<Downloading>(requestFor(server.url(path), patience), folder());
    }
    void expectTimeout(Downloading& download, double seconds)
    {
        const double begin = support::now();
        ASSERT_TRUE(download.fails());
        EXPECT_GE(support::now() - begin, seconds - 0.05);
        EXPECT_LT(support::now() - begin, seconds + 5);
        EXPECT_EQ(download.error.code(), NSURLErrorTimedOut);
        EXPECT_EQ(names(), std::vector<std::string>());
    }
};

TEST_F(DownloadTimeout, EndsWithoutAnAnswer)
{
    server.hold("/x");
    Downloading download(requestFor(server.url("/x"), 0.4), folder());
    expectTimeout(download, 0.4);
    EXPECT_EQ(failingAddress(download.error), server.url("/x"));
    EXPECT_TRUE(server.waitForRequests("/x"));
}

TEST_F(DownloadTimeout, EndsWhenTheBodyStops)
{
    std::atomic<bool> isClosed = false;
    server.onRaw("/x", [&](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n12345");
        exchange.awaitClose();
        isClosed = true;
        exchange.close();
    });
    Downloading download(requestFor(server.url("/x"), 0.4), folder());
    expectTimeout(download, 0.4);
    EXPECT_EQ(download.story, "response destination created data fail");
    EXPECT_TRUE(support::runLoopUntil([&] { return isClosed.load(); }));
}

TEST_F(DownloadTimeout, EndsAfterARedirectToo)
{
    server.on("/from", support::redirect("/to"));
    server.hold("/to");
    Downloading download(requestFor(server.url("/from"), 0.4), folder());
    expectTimeout(download, 0.4);
    EXPECT_EQ(failingAddress(download.error), server.url("/to"));
}

TEST_F(DownloadTimeout, EndsWhileConnecting)
{
    // A queue of connections that is full: the kernel leaves the next one without an answer.
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof name;
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&name), length), 0);
    ASSERT_EQ(::listen(listener, 0), 0);
    ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&name), &length), 0);
    std::array<int, 4> fillers = {};
    for (int& filler : fillers) {
        filler = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        static_cast<void>(::connect(filler, reinterpret_cast<sockaddr*>(&name), sizeof name));
    }
    Downloading download(requestFor("http://127.0.0.1:" + std::to_string(ntohs(name.sin_port)) + "/", 0.4), folder());
    expectTimeout(download, 0.4);
    for (const int filler : fillers)
        ::close(filler);
    ::close(listener);
}

TEST_F(DownloadTimeout, DoesNotEndHeadsThatComeSlowly)
{
    server.onRaw("/x", [](Exchange& exchange) {
        for (const char* const piece : {"HTTP/1.1 ", "200 OK\r\nConte", "nt-Length: ", "2\r\n", "\r\n"})
            if (exchange.awaitRelease())
                exchange.send(piece);
        exchange.send("ab");
    });
    const auto download = startPatiently("/x");
    releaseSlowly("/x", 5);
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(support::readFile(download->path), "ab");
}

TEST_F(DownloadTimeout, DoesNotEndBodiesThatComeSlowly)
{
    server.onRaw("/x", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
        for (int index = 0; index < 5; ++index)
            if (exchange.awaitRelease())
                exchange.sendChunk("x");
        exchange.endChunks();
    });
    const auto download = startPatiently("/x");
    releaseSlowly("/x", 5);
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(support::readFile(download->path), "xxxxx");
}

TEST_F(DownloadTimeout, DoesNotEndCompressedBodiesThatGiveNothingYet)
{
    const Response response = support::gzipped(support::typed("text/plain", "abc"));
    server.onRaw("/x", [&](Exchange& exchange) {
        exchange.sendHead(response);
        for (int index = 0; index < 5; ++index)
            if (exchange.awaitRelease())
                exchange.send(response.body.substr(static_cast<size_t>(index), 1));
        exchange.send(response.body.substr(5));
    });
    const auto download = startPatiently("/x");
    releaseSlowly("/x", 5);
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(support::readFile(download->path), "abc");
}

TEST_F(DownloadTimeout, DoesNotCountTheTimeThatTheProgramTakes)
{
    server.onRaw("/x", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n12345");
        if (exchange.awaitRelease())
            exchange.send("67890");
    });
    Downloading download(requestFor(server.url("/x"), 0.4), folder());
    int count = 0;
    download.onNews = [&](const std::string& word) {
        if (word != "data" || ++count > 1)
            return;
        // Busy for longer than the time-out, while the rest arrives.
        server.release("/x");
        const double end = support::now() + 1;
        while (support::now() < end) { }
    };
    ASSERT_TRUE(download.finishes());
    EXPECT_EQ(support::readFile(download.path), "1234567890");
}

}
