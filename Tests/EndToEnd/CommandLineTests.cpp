#include "EndToEnd/CaptureTest.h"

#include <filesystem>

using namespace support;

namespace {

const std::string toolDomain = "com.brackenlow.tarnwick.webtool";

class CommandLine : public CaptureTest { };

TEST_F(CommandLine, RefusesAnyOtherNumberOfArguments)
{
    const std::string address = url("/page.html");
    const std::vector<std::vector<std::string>> rows = {
        {},
        {address},
        {address, outputPath()},
        {address, outputPath(), "1", "webloc", "more"},
        {address, outputPath(), "1", "webloc", "more", "and more"},
    };
    for (const auto& arguments : rows) {
        SCOPED_TRACE(arguments.size());
        const Captured captured = captureWithArguments(arguments);
        EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString"}));
        EXPECT_EQ(captured.record.errorString, "wrong number of arguments");
        expectError(captured, toolDomain, 1);
        // The argument vector is in the error's user info, yet not among what is archived.
        const ArchivedError error = readArchivedError(captured.record.errorData.value_or(""));
        ASSERT_EQ(error.userInfo.size(), 1U);
        EXPECT_EQ(error.value("NSLocalizedDescription"), "wrong number of arguments");
    }
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(CommandLine, RefusesAddressesThatMakeNoURLOrHaveNoDoubleSlash)
{
    for (const std::string address :
        {"example.org", "", "mailto:someone@example.org", "http:/127.0.0.1/", "http:", "127.0.0.1/page.html",
            "http://127.0.0.1/a b", "http://127.0.0.1/\xC3\xA4", "http://127.0.0.1/%zz", "http://127.0.0.1/<a>"}) {
        SCOPED_TRACE(address);
        const Captured captured = captureWithArguments({address, outputPath(), "1"});
        EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
        EXPECT_EQ(captured.record.errorString, "bad URL");
        EXPECT_EQ(captured.record.url, address);
        expectError(captured, "NSURLErrorDomain", -1000);
        EXPECT_EQ(readArchivedError(captured.record.errorData.value_or("")).value("NSErrorFailingURLStringKey"), address);
    }
}

TEST_F(CommandLine, AnswersAnAddressThatIsNoUTF8)
{
    const Captured captured = captureWithArguments({"http://127.0.0.1/\xff\xfe", outputPath(), "1"});
    expectError(captured, "NSURLErrorDomain", -1000);
}

TEST_F(CommandLine, ChecksItsArgumentsBeforeItStartsAnEngine)
{
    const std::string mark = openFolder() + "/started";
    writeEngine("touch '" + mark + "'\n");
    (void)captureWithArguments({"example.org", outputPath(), "1"});
    (void)captureWithArguments({});
    EXPECT_FALSE(std::filesystem::exists(mark));
}

TEST_F(CommandLine, AnswersSuccessWithTitleAddressAndPathOnly)
{
    const Captured captured = captureMarkup("<title>A title</title>text");
    expectArchive(captured);
    EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "title", "url", "path"}));
    EXPECT_EQ(captured.record.title, "A title");
    EXPECT_EQ(captured.record.url, url("/page.html"));
    EXPECT_EQ(captured.record.path, outputPath());
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.webarchive"});
}

TEST_F(CommandLine, TakesAnyTextAsIdentifier)
{
    server.on("/page.html", html("<title>t</title>"));
    for (const std::string identifier : {"", "../../x y", "\xC3\xA4\xF0\x9F\x98\x80", "\xff", "%s%n%@"}) {
        SCOPED_TRACE(identifier);
        expectArchive(captureWithArguments({url("/page.html"), outputPath(), identifier}));
    }
}

TEST_F(CommandLine, SavesAnArchiveInTitleOnlyMode)
{
    server.on("/page.html", html("<title>Only the title</title><p>and the page"));
    const Captured captured = capture(url("/page.html"), "webloc");
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "Only the title");
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.webarchive"});
}

TEST_F(CommandLine, SavesAnArchiveOfAFramesetWhenAPDFIsAskedFor)
{
    server.on("/page.html", html("<frameset cols=50%,50%><frame src=left.html><frame src=right.html></frameset>"));
    server.on("/left.html", html("left"));
    server.on("/right.html", html("right"));
    const Captured captured = capture(url("/page.html"), "pdf");
    expectArchive(captured);
    EXPECT_EQ(captured.record.path, outputPath());
    EXPECT_EQ(captured.archive->frames.size(), 2U);
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.webarchive"});
}

TEST_F(CommandLine, TakesARelativeOutputPathFromItsFolder)
{
    server.on("/page.html", html("<title>t</title>"));
    folder.write("config/com.brackenlow.Tarnwick.plist", preferencesFile(settings));
    ProcessOptions options = processOptions({url("/page.html"), "page.webarchive", "1"});
    options.workingFolder = outputFolder();
    const ProcessOutcome outcome = run(options);
    const ResultRecord record = readRecord(outcome.output);
    EXPECT_TRUE(record.hasSucceeded());
    EXPECT_EQ(record.path, "page.webarchive");
    EXPECT_EQ(readArchive(outputPath()).main.url, url("/page.html"));
    expectNothingLeft();
}

TEST_F(CommandLine, KeepsTheArchiveInAFileOfAnyName)
{
    server.on("/page.html", html("<title>t</title>"));
    for (const std::string name : {"no extension", "\xC3\xBCml\xC3\xA4ut.webarchive", "two.dots.webarchive", "-n"}) {
        SCOPED_TRACE(name);
        const std::string path = folder.pathOf("output/" + name);
        const Captured captured = captureWithArguments({url("/page.html"), path, "1"});
        EXPECT_TRUE(captured.record.hasSucceeded());
        EXPECT_EQ(captured.record.path, path);
        EXPECT_EQ(readArchive(path).main.url, url("/page.html"));
    }
}

}
