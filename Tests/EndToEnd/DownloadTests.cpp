#include "EndToEnd/CaptureTest.h"

#include <algorithm>
#include <filesystem>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace support;

namespace {

constexpr const char* urlDomain = "NSURLErrorDomain";
constexpr const char* fileDomain = "NSCocoaErrorDomain";
const std::string data("\0\x01\r\n\xFF\xFE data\x1A", 13);

Response file(const std::string& type = "application/octet-stream", const std::string& body = data)
{
    return typed(type, body);
}

Response attached(const std::string& disposition, const std::string& type = "application/octet-stream")
{
    return file(type).with("Content-Disposition", disposition);
}

// The view asks first, as browsers do, and turns away what is not to be shown; then the download asks.
bool isForTheView(const Exchange& exchange)
{
    return exchange.request().header("Sec-Fetch-Mode").has_value();
}

class Downloads : public CaptureTest {
protected:
    Downloads() { timeout = 20s; }

    // The path under which the file at `address` was downloaded, without its folder; "" for a failure. The record and the file
    // are checked, and that nothing but the file came into being.
    std::string nameOfDownload(const std::string& address, const std::string& expectedBody = data)
    {
        const std::vector<std::string> before = namesIn(outputFolder());
        const Captured captured = capture(address);
        EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "url", "path"}))
            << captured.record.errorString.value_or("") << captured.process.error;
        if (!captured.record.hasSucceeded() || !captured.record.path)
            return {};
        const std::filesystem::path path = *captured.record.path;
        EXPECT_EQ(path.parent_path(), outputFolder());
        EXPECT_EQ(readFile(path), expectedBody);
        std::vector<std::string> after = namesIn(outputFolder());
        EXPECT_EQ(after.size(), before.size() + 1);
        std::erase(after, path.filename().string());
        EXPECT_EQ(after, before);
        return path.filename();
    }
    // The same for a file that goes again when its name is known.
    std::string nameOfDownload(const Response& response, const std::string& path = "/path")
    {
        server.on(path.substr(0, path.find_first_of("?#")), response);
        const std::string name = nameOfDownload(url(path));
        if (!name.empty())
            std::filesystem::remove(std::filesystem::path(outputFolder()) / name);
        return name;
    }
    // A record with the error and the address, and nothing in the output folder but what was there.
    Captured expectFailure(const std::string& address, const std::string& domain, long long code)
    {
        const std::vector<std::string> before = namesIn(outputFolder());
        Captured captured = capture(address);
        EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
        expectError(captured, domain, code);
        EXPECT_EQ(namesIn(outputFolder()), before);
        return captured;
    }
};

TEST_F(Downloads, AreWhatTheMainFrameDoesNotShow)
{
    for (const char* type : {"text/plain", "text/plain; charset=utf-8", "image/png", "image/svg+xml", "application/pdf",
             "application/zip", "application/json", "text/css", "text/javascript", "video/mp4", "audio/mpeg", "multipart/related",
             "message/rfc822", "application/rss+xml", "Text/HTML", "TEXT/HTML; charset=utf-8", "Application/XHTML+XML",
             "text/html-not", "x/y", "text/htm"}) {
        SCOPED_TRACE(type);
        EXPECT_NE(nameOfDownload(file(type)), "");
    }
}

TEST_F(Downloads, AreNotWhatTheMainFrameShows)
{
    const std::string xml = "<html xmlns='http://www.w3.org/1999/xhtml'><head><title>shown</title></head><body/></html>";
    for (const char* type : {"text/html", "text/html;charset=ISO-8859-1", "text/html ; charset=\"utf-8\"",
             "application/xhtml+xml", "text/xml", "application/xml; charset=utf-8"}) {
        SCOPED_TRACE(type);
        server.on("/page", file(type, xml));
        const Captured captured = capture(url("/page"));
        expectArchive(captured);
        EXPECT_EQ(captured.record.title, "shown");
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.webarchive"});
    }
}

TEST_F(Downloads, AreNeverWhatAFrameOrAResourceIs)
{
    server.on("/file.pdf", file("application/pdf", "%PDF-1.4\n"));
    server.on("/file.txt", file("text/plain", "plain text"));
    server.on("/page.html",
        html("<!DOCTYPE html><title>t</title><iframe src=file.pdf></iframe><iframe src=file.txt></iframe><img src=file.txt>"));
    const Captured captured = capture(url("/page.html"));
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "t");
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.webarchive"});
    const auto& frames = captured.archive->frames;
    EXPECT_TRUE(std::any_of(frames.begin(), frames.end(), [&](const auto& frame) { return frame.main.url == url("/file.txt"); }));
}

TEST_F(Downloads, AskTheServerOnceForTheViewAndOnceForTheFile)
{
    server.on("/file.bin", file());
    EXPECT_EQ(nameOfDownload(url("/file.bin")), "file.bin");
    EXPECT_EQ(server.requests("/file.bin").size(), 2U);
    for (const Request& request : server.requests("/file.bin")) {
        EXPECT_EQ(request.method, "GET");
        EXPECT_FALSE(request.header("Range"));
    }
}

TEST_F(Downloads, AreNamedByTheServer)
{
    struct Row {
        const char* disposition;
        const char* name;
    };
    for (const Row& row : {
             Row{"attachment; filename=plain.bin", "plain.bin"},
             Row{"attachment; filename=\"quoted; name.bin\"", "quoted; name.bin"},
             Row{"attachment; filename=\"with \\\"quotes\\\".bin\"", "with \"quotes\".bin"},
             Row{"ATTACHMENT;FILENAME=capitals.BIN", "capitals.BIN"},
             Row{"attachment; filename*=UTF-8''na%C3%AFve%20file.bin", "na\xC3\xAFve file.bin"},
             Row{"attachment; filename*=iso-8859-1'en'%A3%20rates.bin", "\xC2\xA3 rates.bin"},
             Row{"attachment; filename=ascii.bin; filename*=UTF-8''%E2%82%AC.bin", "\xE2\x82\xAC.bin"},
             Row{"attachment; filename*=UTF-8''%E2%82%AC.bin; filename=ascii.bin", "\xE2\x82\xAC.bin"},
             Row{"attachment; filename*=nonsense; filename=ascii.bin", "ascii.bin"},
             Row{"attachment; filename=\"raw \xC3\xA9.bin\"", "raw \xC3\xA9.bin"},
             Row{"inline; filename=inline.bin", "inline.bin"},
             Row{"attachment; filename=archive.tar.gz", "archive.tar.gz"},
             Row{"attachment; filename=.hidden", ".hidden"},
         }) {
        SCOPED_TRACE(row.disposition);
        EXPECT_EQ(nameOfDownload(attached(row.disposition)), row.name);
    }
}

TEST_F(Downloads, AreNamedByTheirAddressOrTypeWhenTheServerGivesNoName)
{
    struct Row {
        const char* path;
        const char* type;
        const char* name;
    };
    for (const Row& row : {
             Row{"/folder/file.pdf", "application/pdf", "file.pdf"},
             Row{"/file.bin?name=x.txt", "application/zip", "file.bin"},
             Row{"/na%C3%AFve%20file.txt", "text/plain", "na\xC3\xAFve file.txt"},
             Row{"/report", "application/pdf", "report.pdf"},
             Row{"/folder/", "image/png", "folder.png"},
             Row{"/", "application/pdf", "127.0.0.1.pdf"},
         }) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(nameOfDownload(file(row.type), row.path), row.name);
    }
}

TEST_F(Downloads, StayInTheirFolderUnderAPlainName)
{
    const std::string outside = folder.write("outside.txt", "untouched");
    const std::vector<std::string> besides = namesIn(folder.path());
    const std::string longName = std::string(296, 'n') + ".bin";
    std::string wide;
    for (int count = 0; count < 150; ++count)
        wide += "\xC3\xA9";
    struct Row {
        std::string disposition;
        std::string name;
    };
    for (const Row& row : {
             Row{"attachment; filename=\"..\"", "fallback.bin"},
             Row{"attachment; filename=\".\"", "fallback.bin"},
             Row{"attachment; filename=\"\"", "fallback.bin"},
             Row{"attachment; filename=", "fallback.bin"},
             Row{"attachment; filename=\"   \"", "fallback.bin"},
             Row{"attachment; filename=\"/\"", "fallback.bin"},
             Row{"attachment; filename=\"a/b\"", "b"},
             Row{"attachment; filename=\"../outside.txt\"", "outside.txt"},
             Row{"attachment; filename=\"../../../../../../tmp/x.bin\"", "x.bin"},
             Row{"attachment; filename=\"/etc/passwd\"", "passwd"},
             Row{"attachment; filename=\"..\\\\..\\\\x.bin\"", "x.bin"},
             Row{"attachment; filename*=UTF-8''..%2Foutside.txt", "outside.txt"},
             Row{"attachment; filename*=UTF-8''con%0A", "con"},
             Row{"attachment; filename*=UTF-8''a%00b.bin", "ab.bin"},
             Row{"attachment; filename*=UTF-8''%2E%2E", "fallback.bin"},
             Row{"attachment; filename*=UTF-8''%E2%80%AEnib.exe", "nib.exe"},
             Row{"attachment; filename*=UTF-8''%FF%FE", "fallback.bin"},
             Row{"attachment; filename=\"-rf\"", "-rf"},
             Row{"attachment; filename=\"" + longName + '"', std::string(251, 'n') + ".bin"},
             Row{"attachment; filename=\"" + wide + ".bin\"", wide.substr(0, 250) + ".bin"},
         }) {
        SCOPED_TRACE(row.disposition);
        EXPECT_EQ(nameOfDownload(attached(row.disposition), "/fallback.bin"), row.name);
    }
    EXPECT_EQ(readFile(outside), "untouched");
    EXPECT_EQ(namesIn(folder.path()), besides);
}

TEST_F(Downloads, NeverReplaceWhatIsThere)
{
    std::filesystem::create_directory(outputFolder() + "/taken.d");
    std::filesystem::create_symlink("nowhere", outputFolder() + "/link.bin");
    (void)folder.write("output/file.bin", "first");
    server.on("/file.bin", file());
    EXPECT_EQ(nameOfDownload(url("/file.bin")), "file-1.bin");
    EXPECT_EQ(nameOfDownload(url("/file.bin")), "file-2.bin");
    EXPECT_EQ(readFile(outputFolder() + "/file.bin"), "first");
    server.on("/link.bin", file());
    EXPECT_EQ(nameOfDownload(url("/link.bin")), "link-1.bin");
    EXPECT_TRUE(std::filesystem::is_symlink(outputFolder() + "/link.bin"));
    server.on("/taken.d", file());
    EXPECT_EQ(nameOfDownload(url("/taken.d")), "taken-1.d");
}

TEST_F(Downloads, AtOnceGetFilesOfTheirOwn)
{
    server.on("/file.bin", file());
    std::vector<std::unique_ptr<Subprocess>> processes;
    for (int count = 0; count < 4; ++count)
        processes.push_back(start(url("/file.bin")));
    for (const auto& process : processes)
        EXPECT_EQ(process->wait(timeout).exitStatus, 0);
    EXPECT_EQ(namesIn(outputFolder()), (std::vector<std::string>{"file-1.bin", "file-2.bin", "file-3.bin", "file.bin"}));
    for (const std::string& name : namesIn(outputFolder()))
        EXPECT_EQ(readFile(outputFolder() + "/" + name), data);
    expectNothingLeft();
}

TEST_F(Downloads, OfAnyLengthArriveWhole)
{
    std::string large;
    for (int number = 0; large.size() < 20'000'000; ++number)
        large += std::to_string(number) + ',';
    for (const Framing framing : {Framing::Length, Framing::Chunked, Framing::UntilClose}) {
        SCOPED_TRACE(static_cast<int>(framing));
        for (const std::string& body : {large, std::string()}) {
            Response response = file("application/zip", body);
            response.framing = framing;
            server.on("/file.zip", response);
            const std::string name = nameOfDownload(url("/file.zip"), body);
            ASSERT_NE(name, "");
            std::filesystem::remove(outputFolder() + "/" + name);
        }
    }
}

TEST_F(Downloads, UndoTheCodingOfTheAnswer)
{
    const std::string text(100'000, 't');
    server.on("/gzip.txt", gzipped(file("text/plain", text)));
    server.on("/deflate.txt", deflated(file("text/plain", text)));
    server.on("/brotli.txt", brotlied(file("text/plain", text)));
    for (const char* name : {"gzip.txt", "deflate.txt", "brotli.txt"})
        EXPECT_EQ(nameOfDownload(url(std::string("/") + name), text), name);
    // A packed file is no coded answer.
    const std::string packed = gzipped(file("application/gzip", text)).body;
    server.on("/packed.gz", file("application/gzip", packed));
    EXPECT_EQ(nameOfDownload(url("/packed.gz"), packed), "packed.gz");
    server.on("/broken.txt", file("text/plain").with("Content-Encoding", "gzip"));
    (void)expectFailure(url("/broken.txt"), urlDomain, -1016);
}

TEST_F(Downloads, FollowRedirectsAndReportWhereTheyLed)
{
    server.on("/start", redirect("/two"));
    server.on("/two", redirect(server.url("/files/final.bin", "localhost"), 307));
    server.on("/files/final.bin", file());
    const Captured captured = capture(url("/start"));
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "url", "path"}))
        << captured.record.errorString.value_or("");
    EXPECT_EQ(captured.record.url, server.url("/files/final.bin", "localhost"));
    EXPECT_EQ(captured.record.path, outputFolder() + "/final.bin");
    EXPECT_EQ(readFile(outputFolder() + "/final.bin"), data);
}

TEST_F(Downloads, ShowTheServerTheVisitorThatItKnows)
{
    server.on("/start", redirect("/file.bin").with("Set-Cookie", "way=1; Path=/").with("Set-Cookie", "other=1; Path=/other"));
    server.on("/file.bin", [](const Request& request) {
        // As sites do that let nobody in who does not come from their own page.
        return request.header("Cookie") == "way=1" ? file() : html("<!DOCTYPE html><title>go away</title>");
    });
    EXPECT_EQ(nameOfDownload(url("/start")), "file.bin");
    const std::vector<Request> requests = server.requests();
    ASSERT_EQ(server.requests("/file.bin").size(), 2U);
    for (const Request& request : requests) {
        EXPECT_EQ(request.header("User-Agent"), requests[0].header("User-Agent"));
        EXPECT_NE(request.header("User-Agent").value_or("").find("Mozilla/5.0"), std::string::npos);
    }
}

TEST_F(Downloads, KeepTheCookiesOfTheAnswerThatWasTurnedAway)
{
    // The second request is told from the first one by the cookie that the first one's answer set.
    server.on("/file.bin", [](const Request& request) {
        return request.header("Cookie") ? file() : file("application/zip", "first").with("Set-Cookie", "seen=1");
    });
    EXPECT_EQ(nameOfDownload(url("/file.bin")), "file.bin");
}

TEST_F(Downloads, GoThroughTheProxyOfTheEnvironment)
{
    environment["http_proxy"] = url("");
    server.on("http://files.example/file.bin", file());
    EXPECT_EQ(nameOfDownload("http://files.example/file.bin"), "file.bin");
    ASSERT_EQ(server.requests("http://files.example/file.bin").size(), 2U);
    for (const Request& request : server.requests())
        EXPECT_EQ(request.header("Host"), "files.example");
    // This one is asked without it, and there is no such host.
    environment["no_proxy"] = "files.example";
    const Captured captured = capture("http://files.example/file.bin");
    EXPECT_FALSE(captured.record.hasSucceeded());
    EXPECT_EQ(server.requests().size(), 2U);
    environment.erase("no_proxy");
    environment["http_proxy"] = "http://127.0.0.1:" + std::to_string(unusedPort());
    EXPECT_FALSE(capture("http://files.example/file.bin").record.hasSucceeded());
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"file.bin"});
}

TEST_F(Downloads, TrustNoCertificateThatNobodyTrusts)
{
    // The view is made to, so that the download is asked for.
    TestServer secure(folder.write("certificate.pem", selfSignedCertificate()));
    secure.on("/file.bin", file());
    writeEngine("exec chromium-headless-shell --ignore-certificate-errors \"$@\"\n");
    const Captured captured = expectFailure(secure.url("/file.bin"), urlDomain, -1203);
    EXPECT_EQ(captured.record.url, secure.url("/file.bin"));
    EXPECT_EQ(secure.requests("/file.bin").size(), 1U);
    // Nor where a redirect leads there.
    server.on("/start", redirect(secure.url("/file.bin")));
    (void)expectFailure(url("/start"), urlDomain, -1203);
    EXPECT_EQ(secure.requests("/file.bin").size(), 2U);
}

TEST_F(Downloads, AreAnswersOfEveryStatus)
{
    for (const int code : {404, 500, 206}) {
        SCOPED_TRACE(code);
        server.on("/file.bin", [code](const Request&) {
            Response response = file();
            response.status = code;
            return response;
        });
        EXPECT_EQ(nameOfDownload(url("/file.bin")), "file.bin");
        std::filesystem::remove(outputFolder() + "/file.bin");
    }
}

TEST_F(Downloads, OfLocalFilesAreCopies)
{
    const std::string path = folder.write("some file.bin", data);
    EXPECT_EQ(nameOfDownload("file://" + folder.pathOf("some%20file.bin")), "some file.bin");
    EXPECT_EQ(readFile(path), data);
    std::filesystem::remove(path);
}

TEST_F(Downloads, ThatBreakOffLeaveNothing)
{
    Response cut = file();
    cut.declaredLength = 5000;
    cut.ending = Ending::Close;
    server.on("/cut.bin", cut);
    Response chunks = file();
    chunks.framing = Framing::Chunked;
    chunks.endsChunks = false;
    chunks.ending = Ending::Close;
    server.on("/chunks.bin", chunks);
    server.onRaw("/reset.bin", [](Exchange& exchange) {
        Response response = file();
        response.declaredLength = 5000;
        exchange.sendHead(response);
        exchange.send(data);
        exchange.reset();
    });
    for (const char* path : {"/cut.bin", "/chunks.bin", "/reset.bin"}) {
        SCOPED_TRACE(path);
        const Captured captured = expectFailure(url(path), urlDomain, -1005);
        EXPECT_EQ(captured.record.url, url(path));
        EXPECT_EQ(captured.record.errorString, "The network connection was lost.");
    }
}

TEST_F(Downloads, ThatAreRefusedTheSecondTimeSayWhy)
{
    // The view's request is answered; what becomes of the download's own differs.
    const auto secondTime = [this](const std::string& path, const TestServer::RawHandler& handler) {
        server.onRaw(path, [handler](Exchange& exchange) {
            if (isForTheView(exchange))
                exchange.send(wireBytes(file(), "GET"));
            else
                handler(exchange);
        });
    };
    secondTime("/closed.bin", [](Exchange& exchange) { exchange.close(); });
    secondTime("/locked.bin", [](Exchange& exchange) {
        exchange.send(wireBytes(status(401, "who?").with("WWW-Authenticate", "Basic realm=\"files\""), "GET"));
    });
    secondTime("/away.bin", [](Exchange& exchange) {
        exchange.send(wireBytes(redirect("http://127.0.0.1:" + std::to_string(unusedPort()) + "/"), "GET"));
    });
    secondTime("/round.bin", [](Exchange& exchange) { exchange.send(wireBytes(redirect("/round.bin"), "GET")); });
    secondTime("/scheme.bin", [](Exchange& exchange) { exchange.send(wireBytes(redirect("unheard-of:x"), "GET")); });
    (void)expectFailure(url("/closed.bin"), urlDomain, -1005);
    (void)expectFailure(url("/locked.bin"), urlDomain, -1013);
    (void)expectFailure(url("/away.bin"), urlDomain, -1004);
    (void)expectFailure(url("/round.bin"), urlDomain, -1007);
    (void)expectFailure(url("/scheme.bin"), urlDomain, -1002);
    const std::string secret = folder.write("secret.txt", "secret");
    secondTime("/local.bin", [secret](Exchange& exchange) { exchange.send(wireBytes(redirect("file://" + secret), "GET")); });
    (void)expectFailure(url("/local.bin"), urlDomain, -1002);
    for (const Request& request : server.requests())
        EXPECT_FALSE(request.header("Authorization"));
}

TEST_F(Downloads, EndWhenTheServerSaysNothingForTenSeconds)
{
    server.onRaw("/file.bin", [](Exchange& exchange) {
        Response response = file();
        response.declaredLength = 5000;
        exchange.sendHead(response);
        exchange.send(data);
        exchange.awaitClose();
    });
    // Not the time-out of pages.
    settings["WebToolTimeout"] = int64_t(1);
    const Captured captured = expectFailure(url("/file.bin"), urlDomain, -1001);
    EXPECT_EQ(captured.record.errorString, "The request timed out.");
    EXPECT_GE(captured.seconds(), 10);
    EXPECT_LT(captured.seconds(), 18);
}

TEST_F(Downloads, LastAsLongAsSomethingComes)
{
    // Pieces that come more slowly than those of a page may.
    settings["WebToolTimeout"] = int64_t(1);
    server.onRaw("/file.zip", [](Exchange& exchange) {
        Response response = file("application/zip");
        response.declaredLength = data.size() * 3;
        exchange.sendHead(response);
        if (isForTheView(exchange)) {
            exchange.awaitClose();
            return;
        }
        for (int piece = 0; piece < 3; ++piece) {
            if (!exchange.awaitRelease() || !exchange.send(data))
                return;
        }
    });
    const auto process = start(url("/file.zip"));
    ASSERT_TRUE(server.waitForRequests("/file.zip", 2));
    for (int piece = 0; piece < 3; ++piece) {
        EXPECT_FALSE(process->waitForError("no such line is ever written", 1500ms));
        server.release("/file.zip");
    }
    const Captured captured = finish(*process);
    ASSERT_EQ(captured.record.path, outputFolder() + "/file.zip") << captured.record.errorString.value_or("");
    EXPECT_EQ(readFile(outputFolder() + "/file.zip"), data + data + data);
}

TEST_F(Downloads, IntoAFolderThatIsNotThereFail)
{
    server.on("/file.bin", file());
    const Captured captured = captureWithArguments({url("/file.bin"), folder.pathOf("missing/page.webarchive"), "1"});
    expectError(captured, fileDomain, 4);
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_FALSE(std::filesystem::exists(folder.pathOf("missing")));
    // Nor does a file make a folder.
    const Captured below = captureWithArguments({url("/file.bin"), folder.write("a-file", "x") + "/page.webarchive", "1"});
    EXPECT_FALSE(below.record.hasSucceeded());
    EXPECT_EQ(readArchivedError(below.record.errorData.value_or("")).domain, fileDomain);
}

TEST_F(Downloads, IntoAFolderThatCannotBeWrittenFail)
{
    server.on("/file.bin", file());
    // Nobody can make files there, whoever runs the test.
    const Captured captured = captureWithArguments({url("/file.bin"), "/proc/page.webarchive", "1"});
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(readArchivedError(captured.record.errorData.value_or("")).domain, fileDomain);
    EXPECT_EQ(readArchivedError(captured.record.errorData.value_or("")).value("NSFilePath"), "/proc/file.bin");
}

// A folder that holds `space` bytes and no more: a file system of its own where that may be made, else one
// whose files may not grow.
class FullDisk {
public:
    // More than the engine needs for files of its own, which the limit counts for too.
    static constexpr size_t space = 64 * 1024 * 1024;

    explicit FullDisk(const std::string& folder) : _folder(folder)
    {
        _isMounted = mount("tmpfs", folder.c_str(), "tmpfs", 0, ("size=" + std::to_string(space)).c_str()) == 0;
        if (!_isMounted) {
            // Children inherit it.
            getrlimit(RLIMIT_FSIZE, &_before);
            rlimit lower = _before;
            lower.rlim_cur = space;
            setrlimit(RLIMIT_FSIZE, &lower);
        }
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    ~FullDisk()
    {
        if (_isMounted)
            umount(_folder.c_str());
        else
            setrlimit(RLIMIT_FSIZE, &_before);
    }

private:
    const std::string _folder;
    bool _isMounted;
    rlimit _before{};
};

TEST_F(Downloads, OntoADiskThatFillsUpFailAndLeaveNothing)
{
    const FullDisk disk(outputFolder());
    server.on("/large.bin", file("application/zip", std::string(FullDisk::space + 1'000'000, 'x')));
    const Captured captured = capture(url("/large.bin"));
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
    const ArchivedError error = readArchivedError(captured.record.errorData.value_or(""));
    EXPECT_EQ(error.domain, fileDomain);
    EXPECT_TRUE(error.code == 640 || error.code == 512) << error.code;
    EXPECT_EQ(error.value("NSFilePath"), outputFolder() + "/large.bin");
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
    // What is small enough still goes there.
    server.on("/small.bin", file());
    EXPECT_EQ(nameOfDownload(url("/small.bin")), "small.bin");
}

TEST_F(Downloads, WhoseFolderVanishesFail)
{
    const std::string body(100'000, 'x');
    server.onRaw("/file.bin", [&](Exchange& exchange) {
        Response response = file();
        response.declaredLength = body.size() * 2;
        exchange.sendHead(response);
        exchange.send(body);
        if (!isForTheView(exchange) && exchange.awaitRelease())
            exchange.send(body);
        else
            exchange.awaitClose();
    });
    const auto process = start(url("/file.bin"));
    ASSERT_TRUE(server.waitForRequests("/file.bin", 2));
    // Its file is there before the folder goes.
    const auto isThere = [&] { return std::filesystem::exists(outputFolder() + "/file.bin"); };
    const auto end = std::chrono::steady_clock::now() + 10s;
    while (!isThere() && std::chrono::steady_clock::now() < end)
        (void)process->waitForError("no such line is ever written", 20ms);
    ASSERT_TRUE(isThere());
    std::filesystem::remove_all(outputFolder());
    server.release("/file.bin");
    const Captured captured = finish(*process);
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
    expectError(captured, fileDomain, 4);
    EXPECT_FALSE(std::filesystem::exists(outputFolder()));
}

}
