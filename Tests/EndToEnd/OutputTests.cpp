#include "EndToEnd/CaptureTest.h"

#include <filesystem>
#include <sys/stat.h>

using namespace std::chrono_literals;
using namespace support;

namespace {

const std::string markup = "<title>t</title><p>text";

class RecordFile : public CaptureTest { };

TEST_F(RecordFile, TakesTheRecordInsteadOfStandardOutput)
{
    environment["OutPath"] = folder.pathOf("record.plist");
    const Captured captured = captureMarkup(markup);
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "t");
}

TEST_F(RecordFile, TakesTheRecordOfBadArgumentsToo)
{
    environment["OutPath"] = folder.pathOf("record.plist");
    expectError(captureWithArguments({}), "com.brackenlow.tarnwick.webtool", 1);
}

TEST_F(RecordFile, ReplacesAnEarlierRecordAsAWhole)
{
    environment["OutPath"] = folder.write("records/record.plist", std::string(100'000, 'x'));
    expectArchive(captureMarkup(markup));
    EXPECT_EQ(namesIn(folder.pathOf("records")), std::vector<std::string>{"record.plist"});
}

TEST_F(RecordFile, IsLeftOutWithALogLineWhenItCannotBeWritten)
{
    (void)folder.makeFolder("a folder");
    (void)folder.write("a file", "");
    for (const std::string& path : {folder.pathOf("missing/record.plist"), folder.pathOf("a folder"),
             folder.pathOf("a file/record.plist"), std::string("")}) {
        SCOPED_TRACE(path);
        environment["OutPath"] = path;
        const Captured captured = captureWithArguments({"example.org", outputPath(), "1"});
        EXPECT_EQ(captured.process.exitStatus, 0);
        EXPECT_EQ(captured.logCount("Error writing output to " + path + ": "), 1U) << captured.process.error;
    }
    EXPECT_FALSE(std::filesystem::exists(folder.pathOf("missing")));
    EXPECT_EQ(namesIn(folder.pathOf("a folder")), std::vector<std::string>());
}

TEST_F(RecordFile, IsNotNeededWhenStandardOutputIsClosed)
{
    server.on("/page.html", html(markup));
    folder.write("config/com.brackenlow.Tarnwick.plist", preferencesFile(settings));
    ProcessOptions options = processOptions({url("/page.html"), outputPath(), "1"});
    options.hasOutput = false;
    const ProcessOutcome outcome = run(options);
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.error;
    // The record had nowhere to go, and in particular not into the archive.
    EXPECT_EQ(readArchive(outputPath()).main.url, url("/page.html"));
    expectNothingLeft();
}

class ArchiveFile : public CaptureTest {
protected:
    // The failure of a page whose archive could not be written to `path`.
    void expectWriteFailure(const std::string& path)
    {
        SCOPED_TRACE(path);
        server.on("/page.html", html(markup));
        const Captured captured = captureWithArguments({url("/page.html"), path, "1"});
        EXPECT_EQ(
            captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "title", "url", "path"}));
        EXPECT_EQ(captured.record.title, "t");
        EXPECT_EQ(captured.record.url, url("/page.html"));
        EXPECT_EQ(captured.record.path, path);
        const ArchivedError error = readArchivedError(captured.record.errorData.value_or(""));
        EXPECT_EQ(error.domain, "NSCocoaErrorDomain");
        EXPECT_EQ(error.value("NSFilePath"), path);
    }
};

TEST_F(ArchiveFile, ReplacesAnEarlierOneAsAWhole)
{
    (void)folder.write("output/page.webarchive", "something else");
    expectArchive(captureMarkup(markup));
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.webarchive"});
}

TEST_F(ArchiveFile, CannotBeWrittenIntoAFolderThatIsMissing)
{
    expectWriteFailure(folder.pathOf("missing/page.webarchive"));
    EXPECT_FALSE(std::filesystem::exists(folder.pathOf("missing")));
    const Captured captured = captureWithArguments({url("/page.html"), folder.pathOf("missing/page.webarchive"), "1"});
    expectError(captured, "NSCocoaErrorDomain", 4);
}

TEST_F(ArchiveFile, CannotBeWrittenWhereNobodyMayWrite)
{
    // Not even root may create a file here.
    expectWriteFailure("/proc/page.webarchive");
}

TEST_F(ArchiveFile, CannotTakeThePlaceOfAFolder)
{
    (void)folder.write("output/page.webarchive/keep", "kept");
    expectWriteFailure(outputPath());
    EXPECT_EQ(readFile(folder.pathOf("output/page.webarchive/keep")), "kept");
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.webarchive"});
}

TEST_F(ArchiveFile, CannotBeWrittenBelowAFile)
{
    (void)folder.write("output/a file", "kept");
    expectWriteFailure(folder.pathOf("output/a file/page.webarchive"));
    EXPECT_EQ(readFile(folder.pathOf("output/a file")), "kept");
}

TEST_F(ArchiveFile, CannotBeWrittenUnderAnEmptyPath)
{
    server.on("/page.html", html(markup));
    const Captured captured = captureWithArguments({url("/page.html"), "", "1"});
    EXPECT_FALSE(captured.record.hasSucceeded());
    EXPECT_EQ(captured.record.path, "");
}

TEST_F(ArchiveFile, IsNotTouchedByACaptureThatFails)
{
    (void)folder.write("output/page.webarchive", "an earlier capture");
    const Captured captured = capture("http://127.0.0.1:" + std::to_string(unusedPort()) + "/");
    EXPECT_FALSE(captured.record.hasSucceeded());
    EXPECT_EQ(readFile(outputPath()), "an earlier capture");
}

}
