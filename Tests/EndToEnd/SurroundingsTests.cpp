#include "EndToEnd/CaptureTest.h"
#include "Support/Sanitizer.h"

#include <filesystem>
#include <fstream>

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
    std::vector<std::string> limits = {"-n 40", "-f 0"};
    if (!isSanitized)
        limits.insert(limits.end(), {"-n 6", "-n 7", "-n 8", "-n 12", "-n 20", "-v 400000"});
    for (const std::string& limit : limits) {
        SCOPED_TRACE(limit);
        expectPageOrError(captureUnder(limit));
    }
}

TEST_F(Surroundings, WhoseClockIsSetMeanwhileMakeNoWaitShorterOrLonger)
{
    // The clock is set while the grace period runs; before its end the page asks for an image.
    settings["WebToolExtraLoadingTime"] = int64_t(2);
    settings["WebToolMaxCaptureTime"] = int64_t(30);
    server.on("/waiting.html",
        html("<!DOCTYPE html><title>t</title><script>setTimeout(() => fetch('now'), 300);"
             "setTimeout(() => document.body.append(Object.assign(new Image, {src: 'late.png'})), 900)</script><p>text"));
    server.on("/late.png", typed("image/png", pngImage(1, 2, 3)));
    environment["LD_PRELOAD"] = JUMPING_CLOCK;
    for (const char* seconds : {"86400", "-86400"}) {
        SCOPED_TRACE(seconds);
        const std::string file = folder.pathOf("jump" + std::string(seconds));
        environment["JUMPING_CLOCK_FILE"] = file;
        environment["JUMPING_CLOCK_SECONDS"] = seconds;
        server.on("/now", [&](const Request&) {
            std::ofstream(file).put('1');
            return typed("text/plain", "now");
        });
        const Captured captured = capture(url("/waiting.html"));
        expectArchive(captured);
        EXPECT_TRUE(std::filesystem::exists(file));
        EXPECT_TRUE(captured.archive->resource(url("/late.png")));
    }
}

}
