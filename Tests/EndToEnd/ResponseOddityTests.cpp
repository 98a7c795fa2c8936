#include "EndToEnd/CaptureTest.h"

#include <algorithm>
#include <filesystem>

using namespace std::chrono_literals;
using namespace support;

namespace {

constexpr const char* urlDomain = "NSURLErrorDomain";
const std::string page = "<!DOCTYPE html><html><head><title>odd</title></head><body><p>text</p></body></html>";

Response answer(int code, const Headers& headers, const std::string& body)
{
    Response response;
    response.status = code;
    response.headers = headers;
    response.body = body;
    return response;
}

class OddResponses : public CaptureTest {
protected:
    OddResponses() { timeout = 20s; }

    Captured captureResponse(const Response& response)
    {
        server.on("/page", response);
        return capture(url("/page"));
    }
    void expectPage(const Captured& captured)
    {
        expectArchive(captured);
        EXPECT_EQ(captured.record.title, "odd");
        EXPECT_NE(captured.page().find("<p>text</p>"), std::string::npos) << captured.page();
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.webarchive"});
        std::filesystem::remove(outputPath());
    }
    // The answer's bytes as a file of that name, which is gone afterwards.
    void expectFile(const Captured& captured, const std::string& name, const std::string& body)
    {
        EXPECT_TRUE(captured.record.hasSucceeded()) << captured.record.errorString.value_or("");
        EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "url", "path"}));
        ASSERT_EQ(captured.record.path, outputFolder() + "/" + name);
        EXPECT_EQ(readFile(*captured.record.path), body);
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{name});
        std::filesystem::remove(*captured.record.path);
    }
};

TEST_F(OddResponses, AreJudgedByTheirTypeAsItIsSpelled)
{
    expectPage(captureResponse(answer(200, {{"Content-Type", "text/html"}}, page)));
    expectPage(captureResponse(answer(200, {{"content-TYPE", "text/html ;CHARSET=UTF-8 ; q"}}, page)));
    expectPage(captureResponse(answer(200, {{"Content-Type", "  text/html;;;"}}, page)));
    expectFile(captureResponse(answer(200, {{"Content-Type", "TEXT/HTML"}}, page)), "page.html", page);
    expectFile(captureResponse(answer(200, {{"Content-Type", "text/HTML; charset=utf-8"}}, page)), "page.html", page);
    expectFile(captureResponse(answer(200, {{"Content-Type", "Application/xhtml+xml"}}, page)), "page.xhtml", page);
}

TEST_F(OddResponses, WithAWrongTypeAreWhatTheTypeSays)
{
    expectFile(captureResponse(answer(200, {{"Content-Type", "text/plain"}}, page)), "page.txt", page);
    expectFile(captureResponse(answer(200, {{"Content-Type", "application/octet-stream"}}, page)), "page", page);
    expectFile(captureResponse(answer(200, {{"Content-Type", "image/png"}}, page)), "page.png", page);
    // A picture that calls itself a page is shown as one, whatever that looks like.
    const Captured captured = captureResponse(answer(200, {{"Content-Type", "text/html"}}, pngImage(1, 2, 3)));
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, url("/page"));
}

TEST_F(OddResponses, WithoutATypeAreOneOfBoth)
{
    // A page or a file, but whole.
    for (const Headers& headers : {Headers{}, Headers{{"Content-Type", ""}}, Headers{{"Content-Type", "nonsense"}},
             Headers{{"Content-Type", "; charset=utf-8"}}, Headers{{"Content-Type", "/"}}}) {
        SCOPED_TRACE(headers.empty() ? "(none)" : headers[0].second);
        const Captured captured = captureResponse(answer(200, headers, page));
        ASSERT_TRUE(captured.record.hasSucceeded()) << captured.record.errorString.value_or("");
        EXPECT_LT(captured.seconds(), 8);
        if (captured.archive)
            expectPage(captured);
        else
            expectFile(captured, std::filesystem::path(captured.record.path.value_or("")).filename(), page);
    }
    // Bytes that are no text can only be a file.
    const std::string bytes = pngImage(1, 2, 3);
    const Captured captured = captureResponse(answer(200, {}, bytes));
    EXPECT_LT(captured.seconds(), 8);
    expectFile(captured, std::filesystem::path(captured.record.path.value_or("")).filename(), bytes);
}

TEST_F(OddResponses, WithTwoTypesAreOneOfThem)
{
    const Captured captured = captureResponse(answer(200, {{"Content-Type", "text/plain"}, {"Content-Type", "text/html"}}, page));
    ASSERT_TRUE(captured.record.hasSucceeded()) << captured.record.errorString.value_or("");
    if (captured.archive)
        expectPage(captured);
    else
        expectFile(captured, std::filesystem::path(captured.record.path.value_or("")).filename(), page);
}

TEST_F(OddResponses, ThatHaveNothingToShowEndInOneRecord)
{
    // The load is cancelled, which is forgiven; then there is no page, and the address is fetched as a file,
    // which is empty or nothing.
    for (const int code : {204, 205, 304}) {
        SCOPED_TRACE(code);
        const size_t before = server.requests("/page").size();
        const Captured captured = captureResponse(answer(code, {{"Content-Type", "text/html"}}, ""));
        EXPECT_EQ(captured.record.url, url("/page"));
        EXPECT_LT(captured.seconds(), 15);
        EXPECT_LE(server.requests("/page").size() - before, 2U);
        for (const std::string& name : namesIn(outputFolder())) {
            EXPECT_EQ(captured.record.path, outputFolder() + "/" + name);
            std::filesystem::remove(outputFolder() + "/" + name);
        }
    }
}

TEST_F(OddResponses, OfEveryStatusWithAPageAreThatPage)
{
    for (const int code :
        {200, 201, 202, 203, 206, 226, 299, 300, 400, 402, 403, 404, 405, 410, 418, 429, 451, 500, 501, 502, 503, 504, 599}) {
        SCOPED_TRACE(code);
        expectPage(captureResponse(answer(code, {{"Content-Type", "text/html"}}, page)));
    }
    expectPage(captureResponse(answer(206, {{"Content-Type", "text/html"}, {"Content-Range", "bytes 0-9/10000"}}, page)));
    expectPage(captureResponse(answer(503, {{"Content-Type", "text/html"}, {"Retry-After", "1"}}, page)));
}

TEST_F(OddResponses, WithAnEmptyBodyAreEmptyPages)
{
    for (const Framing framing : {Framing::Length, Framing::Chunked, Framing::UntilClose}) {
        SCOPED_TRACE(static_cast<int>(framing));
        Response response = answer(200, {{"Content-Type", "text/html"}}, "");
        response.framing = framing;
        const Captured captured = captureResponse(response);
        expectArchive(captured);
        EXPECT_EQ(captured.record.title, url("/page"));
    }
}

TEST_F(OddResponses, WithAnErrorAndNoBodyEndInOneRecord)
{
    for (const int code : {404, 500, 503}) {
        SCOPED_TRACE(code);
        const Captured captured = captureResponse(answer(code, {}, ""));
        EXPECT_EQ(captured.record.url, url("/page"));
        EXPECT_LT(captured.seconds(), 8);
        if (captured.record.path)
            std::filesystem::remove(*captured.record.path);
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
    }
}

TEST_F(OddResponses, ThatAreCutShortAreErrors)
{
    Response cut = answer(200, {{"Content-Type", "text/html"}}, page);
    cut.declaredLength = page.size() + 1;
    cut.ending = Ending::Close;
    expectError(captureResponse(cut), urlDomain, -1005);
    Response chunks = answer(200, {{"Content-Type", "text/html"}}, page);
    chunks.framing = Framing::Chunked;
    chunks.endsChunks = false;
    chunks.ending = Ending::Reset;
    expectError(captureResponse(chunks), urlDomain, -1005);
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
    // A body that ends with its connection cannot be told from a whole one.
    Response untilClose = answer(200, {{"Content-Type", "text/html"}}, page);
    untilClose.framing = Framing::UntilClose;
    expectPage(captureResponse(untilClose));
    // What comes beyond the length that was told is not part of it.
    Response longer = answer(200, {{"Content-Type", "text/html"}}, page + "<p>beyond</p>");
    longer.declaredLength = page.size();
    longer.ending = Ending::Close;
    const Captured captured = captureResponse(longer);
    EXPECT_EQ(captured.page().find("beyond"), std::string::npos);
    expectPage(captured);
}

TEST_F(OddResponses, WhoseChunksStopComingAreTimeOuts)
{
    settings["WebToolTimeout"] = int64_t(1);
    settings["WebToolMaxTriesBeforeTimeout"] = int64_t(2);
    server.onRaw("/page", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nTransfer-Encoding: chunked\r\n\r\n");
        exchange.sendChunk(page);
        exchange.awaitClose();
    });
    const Captured captured = capture(url("/page"));
    expectError(captured, urlDomain, -1001);
    EXPECT_EQ(server.requests("/page").size(), 2U);
    EXPECT_LT(captured.seconds(), 15);
}

TEST_F(OddResponses, WhoseChunksNeverEndLastUntilTheTimeLimit)
{
    settings["WebToolTimeout"] = int64_t(1);
    settings["WebToolMaxCaptureTime"] = int64_t(4);
    server.onRaw("/page", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nTransfer-Encoding: chunked\r\n\r\n");
        // As fast as the engine takes it.
        while (exchange.sendChunk(" ")) { }
    });
    const Captured captured = capture(url("/page"));
    expectError(captured, urlDomain, -1001);
    // Nobody was ever silent, so that nothing was tried again.
    EXPECT_EQ(server.requests("/page").size(), 1U);
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
}

TEST_F(OddResponses, WhoseChunksNeverEndDoNotHoldUpTheTitle)
{
    // In this mode the wait is over as soon as the title has come, however long the page would go on.
    server.onRaw("/page", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nTransfer-Encoding: chunked\r\n\r\n");
        exchange.sendChunk("<!DOCTYPE html><title>endless</title>" + std::string(2000, ' '));
        while (exchange.sendChunk("<p>more</p>") && !exchange.awaitRelease()) { }
        exchange.awaitClose();
    });
    const Captured captured = capture(url("/page"), "webloc");
    EXPECT_EQ(captured.record.title, "endless") << captured.record.errorString.value_or("");
    EXPECT_LT(captured.seconds(), 10);
}

TEST_F(OddResponses, WithATrickleThatEndsAreWaitedFor)
{
    server.onRaw("/page", [](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nTransfer-Encoding: chunked\r\n\r\n");
        for (const char byte : page)
            exchange.sendChunk({&byte, 1});
        exchange.endChunks();
    });
    expectPage(capture(url("/page")));
}

TEST_F(OddResponses, WithStrangeHeadsAreRead)
{
    const auto raw = [this](const std::string& head) {
        server.onRaw("/page", [head](Exchange& exchange) {
            exchange.send(head + page);
            exchange.close();
        });
        return capture(url("/page"));
    };
    expectPage(raw("HTTP/1.0 200 OK\r\nContent-Type: text/html\r\n\r\n"));
    expectPage(raw("HTTP/1.1 200\r\nContent-Type: text/html\r\n\r\n"));
    expectPage(raw("HTTP/1.1 200 \xC3\x9C"
                   "berlaut\r\nContent-Type: text/html\r\n\r\n"));
    expectPage(raw("HTTP/1.1 200 OK\nContent-Type: text/html\n\n"));
    expectPage(raw("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nX-Long: " + std::string(100'000, 'x') + "\r\n\r\n"));
    expectPage(raw("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nno colon here\r\n: no name\r\n\r\n"));
    expectPage(raw("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nSet-Cookie: \xFF\xFE=\x01\r\n\r\n"));
}

TEST_F(OddResponses, AsAttachmentsAreJudgedByTheirTypeToo)
{
    expectFile(captureResponse(answer(
                   200, {{"Content-Type", "application/zip"}, {"Content-Disposition", "attachment; filename=a.zip"}}, page)),
        "a.zip", page);
    // The type alone decides: a page is shown, also where its server would have it saved.
    expectPage(captureResponse(answer(
        200, {{"Content-Type", "text/html"}, {"Content-Disposition", "attachment; filename=\"page to keep.html\""}}, page)));
}

TEST_F(OddResponses, InFramesHoldUpNothing)
{
    server.on("/attachment", html(page).with("Content-Disposition", "attachment; filename=frame.html"));
    server.on("/archive", typed("application/zip", "PK").with("Content-Disposition", "attachment"));
    server.on("/nothing", status(204));
    server.on("/unchanged", answer(304, {}, ""));
    server.on("/untyped", answer(200, {}, std::string("\0\1\2", 3)));
    server.on("/empty", html(""));
    server.on("/error", status(500, "<title>e</title>broken"));
    server.onRaw("/reset", [](Exchange& exchange) { exchange.reset(); });
    Response cut = html("<p>cut");
    cut.declaredLength = 5000;
    cut.ending = Ending::Close;
    server.on("/cut", cut);
    server.on("/round", redirect("/round"));
    server.on("/scheme", redirect("unheard-of:x"));
    std::string frames;
    for (const char* path :
        {"attachment", "archive", "nothing", "unchanged", "untyped", "empty", "error", "reset", "cut", "round", "scheme"})
        frames += std::string("<iframe src=") + path + "></iframe>";
    server.on("/page", html("<!DOCTYPE html><html><head><title>odd</title></head><body>" + frames + "<p>text</p></body></html>"));
    const Captured captured = capture(url("/page"));
    EXPECT_EQ(captured.record.url, url("/page"));
    expectPage(captured);
    EXPECT_LT(captured.seconds(), 15);
    const auto& archived = captured.archive->frames;
    EXPECT_TRUE(std::any_of(archived.begin(), archived.end(), [&](const auto& frame) {
        return frame.main.url == url("/error") && frame.main.data.find("broken") != std::string::npos;
    }));
}

}
