#include "Support/TestServer.h"
#include "Tools/ToolTest.h"

namespace {

// What is no page is downloaded into the folder of the output path.
class DownloadFallback : public ArchiveLoaderTest {
protected:
    static constexpr const char* NoAttempts = "<key>WebToolMaxTriesBeforeTimeout</key><integer>0</integer>";
    DownloadFallback() { folder.makeFolder("output"); }

    [[nodiscard]] NSString outputPath() const
    {
        return NSString::stringWithRepairedUTF8(folder.pathOf("output/page.webarchive"));
    }
    [[nodiscard]] NSString addressOf(const std::string& path) const { return NSString::stringWithRepairedUTF8(server.url(path)); }
    [[nodiscard]] Lines files() const { return support::namesIn(folder.pathOf("output")); }
    void save() { EXPECT_THROW(loader().saveWebArchive(outputPath()), RunEnded); }
    // Goes through everything but the load itself, so that there is no page.
    void loadNothing(const NSString& url, const std::string& settings = {})
    {
        setLoadSettings(NoAttempts + settings);
        loadPage(url);
    }

    support::TestServer server;
};

TEST_F(DownloadFallback, TakesThePlaceOfAnArchiveThatIsNone)
{
    server.on("/file.bin", support::typed("application/octet-stream", "the bytes"));
    loadNothing(addressOf("/file.bin?q"));
    logged.clear();
    save();
    EXPECT_EQ(record().keys, (Lines{"succeeded", "url", "path"}));
    EXPECT_EQ(record().url, server.url("/file.bin?q"));
    EXPECT_EQ(record().path, folder.pathOf("output/file.bin"));
    EXPECT_EQ(support::readFile(folder.pathOf("output/file.bin")), "the bytes");
    EXPECT_EQ(files(), (Lines{"file.bin"}));
    EXPECT_EQ(messages().at(0), "progress: 0.000000");
    EXPECT_TRUE(messagesWithoutArea().empty());
}

TEST_F(DownloadFallback, AsksAsTheViewWouldAndNamesNoReferer)
{
    server.on("/file.bin", support::typed("application/octet-stream", "the bytes"));
    onEngine = [](Engine& made) { made.identity = {u"An Agent/1.0", u"a=b; c=d"}; };
    loadNothing(addressOf("/file.bin"));
    save();
    const auto requests = server.requests("/file.bin");
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].method, "GET");
    EXPECT_EQ(requests[0].header("User-Agent"), "An Agent/1.0");
    EXPECT_EQ(requests[0].header("Cookie"), "a=b; c=d");
    EXPECT_FALSE(requests[0].header("Referer").has_value());
}

// The address that is loaded is fetched; the prepared one is reported.
TEST_F(DownloadFallback, FetchesTheProcessedAddress)
{
    server.on("/proxy", support::typed("application/octet-stream", "the bytes"));
    loadNothing(u"http://h/a", "<key>WebToolURLProcessingPrefix</key><string>" + server.url("/proxy?") + "</string>");
    save();
    ASSERT_EQ(server.requests("/proxy").size(), 1U);
    EXPECT_EQ(record().url, "http://h/a");
    EXPECT_TRUE(record().hasSucceeded());
}

TEST_F(DownloadFallback, TakesWhatThePolicyRefusedToShow)
{
    server.on("/paper.pdf", support::typed("application/pdf", "%PDF"));
    loadPage(addressOf("/paper.pdf"), u"", u"application/pdf");
    EXPECT_EQ(loader().error().code(), 102);
    save();
    EXPECT_TRUE(record().hasSucceeded());
    EXPECT_EQ(record().path, folder.pathOf("output/paper.pdf"));
    EXPECT_EQ(engine->documentQuestions(), 0);
}

// Even beside a page that could be archived.
TEST_F(DownloadFallback, TakesThePlaceOfAPageAfterThatError)
{
    server.on("/file.bin", support::typed("application/octet-stream", "the bytes"));
    loadPage(addressOf("/file.bin"));
    setError(NSError(WebKitErrorDomain, 102));
    save();
    EXPECT_EQ(files(), (Lines{"file.bin"}));
    EXPECT_EQ(engine->documentQuestions(), 0);
}

TEST_F(DownloadFallback, CopiesFilesOfTheDisk)
{
    loadNothing(
        NSURL::fileURLWithPath(NSString::stringWithRepairedUTF8(folder.write("a file.bin", "the bytes"))).absoluteString());
    save();
    EXPECT_EQ(record().path, folder.pathOf("output/a file.bin"));
    EXPECT_EQ(support::readFile(folder.pathOf("output/a file.bin")), "the bytes");
}

TEST_F(DownloadFallback, EndsWithItsErrorAndNoPath)
{
    const std::string address = "http://127.0.0.1:" + std::to_string(support::unusedPort()) + "/file.bin";
    loadNothing(NSString::stringWithRepairedUTF8(address));
    save();
    EXPECT_EQ(record().keys, (Lines{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(record().errorString, "Could not connect to the server.");
    EXPECT_EQ(record().url, address);
    EXPECT_TRUE(files().empty());
}

// Ten seconds without a byte, whatever the setting for pages says.
TEST_F(DownloadFallback, TimesOutAfterTenSeconds)
{
    server.onRaw("/file.bin", [](support::Exchange& exchange) { exchange.awaitClose(); });
    loadNothing(addressOf("/file.bin"), "<key>WebToolTimeout</key><integer>60</integer>");
    const double begin = support::now();
    save();
    EXPECT_GE(support::now() - begin, 9.9);
    EXPECT_LT(support::now() - begin, 30);
    EXPECT_EQ(record().errorString, "The request timed out.");
    EXPECT_TRUE(files().empty());
}

}
