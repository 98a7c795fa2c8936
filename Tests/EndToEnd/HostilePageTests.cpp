#include "EndToEnd/CaptureTest.h"

#include <algorithm>
#include <fstream>

using namespace std::chrono_literals;
using namespace support;

namespace {

// Pages that do what they can to hang, fill or fool a capture. Whatever they do, there is one record in time, nothing outside the
// output is written, and nothing is left; capture() checks that for every run.
class HostilePage : public CaptureTest {
protected:
    HostilePage()
    {
        settings["WebToolMaxCaptureTime"] = limit;
        settings["WebToolExtraLoadingTime"] = int64_t(1);
        timeout = 50s;
    }

    // The page is there, whatever else it did.
    Captured expectPage(const std::string& markup, const std::string& part)
    {
        const Captured captured = captureMarkup(markup);
        expectArchive(captured);
        EXPECT_NE(captured.page().find(part), std::string::npos) << captured.page().substr(0, 2000);
        return captured;
    }
    // The page is there, or the capture ended with the time limit.
    Captured expectPageOrLimit(const std::string& markup)
    {
        const Captured captured = captureMarkup(markup);
        if (!captured.record.hasSucceeded())
            expectError(captured, "NSURLErrorDomain", -1001);
        EXPECT_LT(captured.seconds(), limit + 20.0);
        return captured;
    }
    // The whole capture, all frames and resources, as text.
    static std::string everything(const InspectedArchive& archive)
    {
        std::string text = archive.main.data;
        for (const auto& resource : archive.resources)
            text += resource.data;
        for (const auto& frame : archive.frames)
            text += everything(frame);
        return text;
    }

    static constexpr int64_t limit = 12;   // seconds
};

TEST_F(HostilePage, ThatStreamsWithoutEndIsEndedByTheTimeLimit)
{
    const auto stream = [](Exchange& exchange) {
        Response head = typed(exchange.request().path == "/page.html" ? "text/html" : "text/css", "");
        head.framing = Framing::Chunked;
        exchange.sendHead(head);
        // As fast as it is read, and as long.
        while (exchange.sendChunk("<p>" + std::string(1000, 'x'))) {
            if (!exchange.sendChunk("\n"))
                break;
        }
    };
    settings["WebToolMaxCaptureTime"] = int64_t(3);
    server.onRaw("/endless.css", stream);
    expectError(
        captureMarkup("<!DOCTYPE html><title>t</title><link rel=stylesheet href=endless.css>"), "NSURLErrorDomain", -1001);
    server.onRaw("/page.html", stream);
    expectError(capture(url("/page.html")), "NSURLErrorDomain", -1001);
}

TEST_F(HostilePage, ThatMovesOnWithoutEndIsCapturedOrEnded)
{
    expectPageOrLimit("<!DOCTYPE html><title>t</title><script>location.search = Math.random()</script>");
    expectPageOrLimit("<!DOCTYPE html><title>t</title><script>setInterval(() => { location.hash = Math.random() }, 0);"
                      "setInterval(() => { location.search = Math.random() }, 0)</script>");
}

TEST_F(HostilePage, WithTenThousandFramesIsCaptured)
{
    // The engine makes a thousand of them.
    settings["WebToolMaxCaptureTime"] = int64_t(0);
    const Captured captured =
        expectPage("<!DOCTYPE html><title>t</title><body><p>text<script>onload = () => { for (let i = 0; i < 10000; ++i)"
                   "document.body.append(document.createElement('iframe')) }</script>",
            "<p>text");
    EXPECT_GE(captured.archive->frames.size(), 900U);
}

TEST_F(HostilePage, WithFramesAThousandDeepIsCapturedOrEnded)
{
    const Captured captured = expectPageOrLimit(
        "<!DOCTYPE html><title>t</title><body><p>text<script>let inner = document; for (let i = 0; i < 1000; ++i) {"
        "const frame = inner.createElement('iframe'); inner.body.append(frame);"
        "if (!frame.contentDocument) break; inner = frame.contentDocument }</script>");
    EXPECT_TRUE(!captured.archive || captured.page().find("<p>text") != std::string::npos);
}

TEST_F(HostilePage, WithManyWindowsAndDialogsIsCaptured)
{
    expectPage("<!DOCTYPE html><title>t</title><body><script>"
               "for (let i = 0; i < 200; ++i) window.open('/other.html', '_blank');"
               "for (let i = 0; i < 200; ++i) { alert(i); confirm(i); prompt(i) }"
               "for (let i = 0; i < 20; ++i) print();"
               "addEventListener('beforeunload', (event) => { event.preventDefault(); event.returnValue = 'stay' });"
               "window.close(); document.body.append('after ' + 'all')</script>",
        "after all");
    EXPECT_TRUE(server.requests("/other.html").empty());
}

TEST_F(HostilePage, ThatWantsTheScreenAndThePointerIsCaptured)
{
    expectPage(
        "<!DOCTYPE html><title>t</title><body><script>"
        "const quiet = (promise) => promise && promise.catch && promise.catch(() => 0);"
        "setInterval(() => { quiet(document.body.requestFullscreen()); quiet(document.body.requestPointerLock());"
        "quiet(navigator.requestMIDIAccess && navigator.requestMIDIAccess()); navigator.geolocation.getCurrentPosition(() => 0);"
        "quiet(Notification.requestPermission()) }, 1);"
        "document.body.append('after ' + 'all')</script>",
        "after all");
}

TEST_F(HostilePage, ThatSavesFilesByScriptSavesNothing)
{
    server.on(
        "/file.bin", typed("application/octet-stream", "bytes").with("Content-Disposition", "attachment; filename=../escaped"));
    expectPage(
        "<!DOCTYPE html><title>t</title><body><p>text<script>for (let i = 0; i < 50; ++i) {"
        "const link = document.createElement('a'); link.download = '../../escaped' + i;"
        "link.href = i % 2 ? URL.createObjectURL(new Blob(['x'])) : '/file.bin'; document.body.append(link); link.click() }"
        "</script>",
        "<p>text");
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.webarchive"});
    EXPECT_EQ(namesIn(folder.pathOf("home")), std::vector<std::string>());
}

TEST_F(HostilePage, WithWorkersThatSpinIsCaptured)
{
    server.on("/worker.js", script("for (;;) ;"));
    server.on("/service.js",
        script("self.addEventListener('fetch', (event) => event.respondWith(new Promise(() => 0)));"
               "self.addEventListener('install', () => self.skipWaiting())"));
    expectPage("<!DOCTYPE html><title>t</title><body><p>text<script>for (let i = 0; i < 4; ++i) new Worker('worker.js');"
               "navigator.serviceWorker && navigator.serviceWorker.register('service.js').catch(() => 0)</script>",
        "<p>text");
}

TEST_F(HostilePage, ThatWritesWithoutEndIsEndedByTheTimeLimit)
{
    settings["WebToolMaxCaptureTime"] = int64_t(3);
    expectError(captureMarkup("<!DOCTYPE html><title>t</title><script>for (;;) document.title = Math.random()</script>"),
        "NSURLErrorDomain", -1001);
    // It goes on after the page has been loaded.
    expectPageOrLimit("<!DOCTYPE html><title>t</title><script>setInterval(() => document.write('<p>more'), 0)</script>");
}

TEST_F(HostilePage, ThatSpinsAfterItsLoadIsEndedByTheTimeLimit)
{
    settings["WebToolMaxCaptureTime"] = int64_t(6);
    const Captured captured = captureMarkup(
        "<!DOCTYPE html><title>t</title><p>text<script>onload = () => setTimeout(() => { for (;;) ; }, 0)</script>");
    expectError(captured, "NSURLErrorDomain", -1001);
    EXPECT_LT(captured.seconds(), 20);
}

TEST_F(HostilePage, OfAHundredMegabytesIsCapturedWhole)
{
    settings["WebToolMaxCaptureTime"] = int64_t(0);
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><body><script>onload = () => { for (let i = 0; i < 100; ++i) {"
                      "const part = document.createElement('p'); part.hidden = true; part.textContent = 'x'.repeat(1e6);"
                      "document.body.append(part) } }</script>");
    expectArchive(captured);
    // Those of the script's own text are there too.
    const std::string page = captured.page();
    EXPECT_EQ(std::count(page.begin(), page.end(), 'x'), 100'000'000 + 2);
}

TEST_F(HostilePage, WithAPictureOfAGigapixelIsCaptured)
{
    const std::string path = folder.pathOf("huge.png");
    (void)runHelper({"python3", "-c",
        "import struct, sys, zlib\n"
        "def chunk(kind, data): return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))\n"
        "side = 32000\n"
        "rows = zlib.compress(bytes((side // 8 + 1) * side), 1)\n"
        "open(sys.argv[1], 'wb').write(b'\\x89PNG\\r\\n\\x1a\\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', side, side, 1, 0, 0, "
        "0, 0))"
        " + chunk(b'IDAT', rows) + chunk(b'IEND', b''))",
        path});
    const std::string bytes = readFile(path);
    server.on("/huge.png", typed("image/png", bytes));
    const Captured captured = expectPage("<!DOCTYPE html><title>t</title><p>text<img src=huge.png>", "<p>text");
    ASSERT_EQ(captured.archive->resources.size(), 1U);
    EXPECT_EQ(captured.archive->resources[0].data, bytes);
}

TEST_F(HostilePage, WithStylesThatImportThemselvesIsCaptured)
{
    server.on("/self.css", css("@import 'self.css'; @import url(self.css?x); p { color: red }"));
    const Captured captured = expectPage("<!DOCTYPE html><title>t</title><link rel=stylesheet href=self.css><p>text", "<p>text");
    EXPECT_NE(captured.archive->resource(url("/self.css")), nullptr);
    EXPECT_NE(captured.archive->resource(url("/self.css?x")), nullptr);
}

TEST_F(HostilePage, WithAFontThatNeverComesIsCapturedOrEnded)
{
    server.hold("/never.woff2");
    expectPageOrLimit("<!DOCTYPE html><title>t</title><style>@font-face { font-family: f; src: url(never.woff2) }"
                      "p { font-family: f }</style><p>text");
}

TEST_F(HostilePage, CannotReachLocalFiles)
{
    const std::string secret = folder.write("secret.html", "<!DOCTYPE html><p>the secret text");
    server.on("/moved.html", status(302).with("Location", "file://" + secret));
    const Captured captured = expectPage("<!DOCTYPE html><title>t</title><body><p>shown<iframe src='file://" + secret
            + "'></iframe><iframe src=/moved.html></iframe><iframe src='view-source:file://" + secret
            + "'></iframe><object data='file://" + secret + "'></object><embed src='file://" + secret + "'><img src='file://"
            + secret + "'><link rel=stylesheet href='file://" + secret + "'><script src='file://" + secret
            + "'></script><script>fetch('file://" + secret
            + "').then((answer) => answer.text()).then((text) => document.body.append(text)).catch(() => 0);"
              "try { const ask = new XMLHttpRequest(); ask.open('GET', 'file://"
            + secret
            + "', false); ask.send(); document.body.append(ask.responseText) } catch (error) { }"
              "for (const address of ['file://"
            + secret + "', 'chrome://version', 'devtools://devtools', 'view-source:file://" + secret
            + "']) location = address;</script>",
        "<p>shown");
    EXPECT_EQ(everything(*captured.archive).find("the secret text"), std::string::npos);
}

TEST_F(HostilePage, CannotReachTheEnginesControl)
{
    // The control channel is a pipe: there is no port, and what the engine serves itself is closed to pages.
    const Captured captured = expectPage(
        "<!DOCTYPE html><title>t</title><body><p>shown<iframe src='chrome://inspect'></iframe><iframe "
        "src='chrome://crash'></iframe>"
        "<iframe src='devtools://devtools/bundled/inspector.html'></iframe><script>for (const address of ['chrome://crash',"
        "'chrome://quit', 'chrome://kill', 'chrome://gpucrash', 'chrome://hang']) { try { location = address } "
        "catch (error)"
        "{ } fetch(address).catch(() => 0) }</script>",
        "<p>shown");
    EXPECT_EQ(captured.record.url, url("/page.html"));
}

TEST_F(HostilePage, CannotBeAnAddressOfTheEnginesOwn)
{
    for (const char* address : {"chrome://crash", "chrome://version", "devtools://devtools", "view-source:http://127.0.0.1/",
             "javascript://%0aalert(1)", "chrome-extension://abc/x", "filesystem:http://x/y"}) {
        SCOPED_TRACE(address);
        const Captured captured = capture(address);
        EXPECT_FALSE(captured.record.hasSucceeded());
        EXPECT_FALSE(captured.record.errorString.value_or("").empty());
        EXPECT_LT(captured.seconds(), 15);
    }
}

TEST_F(HostilePage, ThatTakesAllMemoryIsAnErrorOrCaptured)
{
    // The engine ends the page's process, sooner or later, or refuses the script the memory, which ends the script only.
    settings["WebToolMaxCaptureTime"] = int64_t(20);
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><p>text<script>const all = []; for (;;) all.push(new "
                                            "Array(1e6).fill(all.length))</script>");
    if (captured.record.hasSucceeded()) {
        EXPECT_NE(captured.page().find("<p>text"), std::string::npos);
    } else {
        const ArchivedError error = readArchivedError(captured.record.errorData.value_or(""));
        EXPECT_TRUE(error.domain == "NSURLErrorDomain" || (error.domain == "NSCocoaErrorDomain" && error.code == 512))
            << error.domain;
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
    }
}

}
