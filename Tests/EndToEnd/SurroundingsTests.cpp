#include "EndToEnd/CaptureTest.h"

using namespace support;

namespace {

// A system that lacks what programs usually have.
class Surroundings : public CaptureTest {
protected:
    Surroundings() { server.on("/page.html", html("<!DOCTYPE html><title>t</title><p>text")); }

    // A capture under limits of the shell's "ulimit", such as "-n 20".
    Captured captureUnder(const std::string& limit)
    {
        (void)folder.write("config/com.brackenlow.Tarnwick.plist", preferencesFile(settings));
        ProcessOptions options = processOptions({url("/page.html"), outputPath(), "1"});
        const std::vector<std::string> shell = {"/bin/sh", "-c", "ulimit " + limit + "; exec \"$@\"", "sh"};
        options.arguments.insert(options.arguments.begin(), shell.begin(), shell.end());
        Subprocess process(options);
        return finish(process);
    }
    static void expectPageOrError(const Captured& captured)
    {
        EXPECT_TRUE(captured.record.hasSucceeded() || !captured.record.errorString.value_or("").empty());
    }
};

TEST_F(Surroundings, NeedNoHome)
{
    environment["HOME"] = std::nullopt;
    expectArchive(capture(url("/page.html")));
    environment["HOME"] = folder.pathOf("no such folder");
    expectArchive(capture(url("/page.html")));
    environment["HOME"] = "";
    expectArchive(capture(url("/page.html")));
    environment["HOME"] = folder.pathOf("home");
    std::filesystem::permissions(folder.pathOf("home"), std::filesystem::perms::none);
    expectArchive(capture(url("/page.html")));
}

TEST_F(Surroundings, WithoutAFolderForTemporaryFilesAreAnError)
{
    for (const std::string& missing : {folder.pathOf("no such folder"), folder.write("a file", "text"), std::string("/proc")}) {
        SCOPED_TRACE(missing);
        environment["TMPDIR"] = missing;
        const Captured captured = capture(url("/page.html"));
        expectError(captured, "com.brackenlow.tarnwick.webtool", 3);
    }
    // What is no absolute path counts as not set.
    environment["TMPDIR"] = "relative";
    expectArchive(capture(url("/page.html")));
}

TEST_F(Surroundings, WithFewDescriptorsOrLittleMemoryGiveARecordAllTheSame)
{
    for (const char* limit : {"-n 6", "-n 7", "-n 8", "-n 12", "-n 20", "-n 40", "-v 400000", "-f 0"}) {
        SCOPED_TRACE(limit);
        expectPageOrError(captureUnder(limit));
    }
}

}
