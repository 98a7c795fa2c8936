#include "Replay/ReplayTest.h"

#include <algorithm>
#include <csignal>

using namespace std::chrono_literals;
using namespace support;

namespace {

constexpr const char* site = "http://site.example/";

class ReplayProgram : public ReplayTest {
protected:
    [[nodiscard]] std::string simpleArchive(const std::string& markup = "<!DOCTYPE html><title>t</title><p>words") const
    {
        return writeArchive(propertyListXML(archiveXML(resourceXML(site, markup, "text/html", "UTF-8"))));
    }
};

TEST_F(ReplayProgram, ExplainsItselfWithoutShowingAnything)
{
    const Replayed replayed = replayWithArguments({"--help"});
    EXPECT_EQ(replayed.process.exitStatus, 0);
    EXPECT_TRUE(replayed.process.output.starts_with("usage: twwebreplay <archive>")) << replayed.process.output;
    for (const char* option : {"--pdf", "--png", "--html", "--list", "--offline", "--online", "--no-workaround", "--help"})
        EXPECT_NE(replayed.process.output.find(std::string("  ") + option), std::string::npos) << option;
    EXPECT_EQ(replayed.process.error, "");
}

TEST_F(ReplayProgram, RefusesWhatItDoesNotUnderstandWithOneLine)
{
    const std::string archive = simpleArchive();
    const std::pair<std::vector<std::string>, const char*> rows[] = {
        {{}, "no archive is given"},
        {{archive, "--unknown"}, "unknown option --unknown"},
        {{archive, archive}, "only one archive"},
        {{archive, "--png"}, "--png needs a file"},
        {{archive, "--list", "--html", folder.pathOf("x")}, "only one of"},
        {{archive, "--offline", "--online"}, "exclude each other"},
    };
    for (const auto& [arguments, words] : rows) {
        const Replayed replayed = replayWithArguments(arguments);
        EXPECT_EQ(replayed.process.exitStatus, 1);
        EXPECT_EQ(replayed.process.output, "");
        EXPECT_NE(replayed.process.error.find(words), std::string::npos) << replayed.process.error;
        EXPECT_EQ(std::count(replayed.process.error.begin(), replayed.process.error.end(), '\n'), 1);
    }
}

TEST_F(ReplayProgram, EndsWithATableOfTheRequests)
{
    const Replayed replayed = replayWithArguments({simpleArchive()});
    EXPECT_EQ(replayed.process.exitStatus, 0) << replayed.process.error;
    EXPECT_EQ(replayed.process.output,
        "requests\n     1  answered from the archive by their exact address\n"
        "     0  answered from the archive by their file name\n     0  answered by nothing\n");
    EXPECT_EQ(replayed.process.error, "");
}

TEST_F(ReplayProgram, ListsWhatTheArchiveHolds)
{
    const std::string inner = archiveXML(resourceXML("http://site.example/inner", "12345", "text/html"));
    const Replayed replayed = replayWithArguments(
        {writeArchive(propertyListXML(archiveXML(resourceXML(site, "<p>x", "text/html"),
             resourceXML("http://site.example/a.png", pngImage(1, 2, 3), "image/png") + resourceXML("", "1", ""),
             archiveXML(resourceXML("http://site.example/f&#10;g", "<p>", "text/html"),
                 resourceXML("http://site.example/b", "", ""), inner)))),
            "--list"});
    EXPECT_EQ(replayed.process.exitStatus, 0) << replayed.process.error;
    const std::string size = std::to_string(pngImage(1, 2, 3).size());
    const std::string expected = "type                            bytes  frame  address\n"
                                 "text/html                           4  main   http://site.example/\n"
                                 "image/png                  "
        + std::string(10 - size.size(), ' ') + size
        + "  main   http://site.example/a.png\n"
          "-                                   1  main   -\n"
          "text/html                           3  1      http://site.example/f?g\n"
          "-                                   0  1      http://site.example/b\n"
          "text/html                           5  2      http://site.example/inner\n"
          "requests\n";
    EXPECT_TRUE(replayed.process.output.starts_with(expected)) << replayed.process.output;
}

TEST_F(ReplayProgram, WritesTheMarkupAsScriptsLeftIt)
{
    const std::string path = folder.pathOf("out.html");
    const std::string archive =
        simpleArchive("<!DOCTYPE html><title>t</title><body><script>document.body.append('caf\xC3\xA9')</script>");
    EXPECT_EQ(replayWithArguments({archive, "--html", path}).process.exitStatus, 0);
    EXPECT_NE(readFile(path).find("</script>caf\xC3\xA9</body>"), std::string::npos) << readFile(path);
    settings["EnableJavaScriptForWebTool"] = false;
    EXPECT_EQ(replayWithArguments({archive, "--html", path}).process.exitStatus, 0);
    EXPECT_EQ(readFile(path).find("</script>caf"), std::string::npos) << readFile(path);
}

TEST_F(ReplayProgram, WritesThePageOnPaper)
{
    const std::string path = folder.pathOf("out.pdf");
    const std::string archive =
        simpleArchive("<!DOCTYPE html><title>t</title><p>words on paper<p style='break-before:page'>and on the next");
    const Replayed replayed = replayWithArguments({archive, "--pdf", path});
    EXPECT_EQ(replayed.process.exitStatus, 0) << replayed.process.error;
    EXPECT_NE(runHelper({"pdfinfo", path}).find("Pages:           2"), std::string::npos) << runHelper({"pdfinfo", path});
    const std::string text = runHelper({"pdftotext", path, "-"});
    EXPECT_NE(text.find("words on paper"), std::string::npos) << text;
    EXPECT_NE(text.find("and on the next"), std::string::npos) << text;
}

TEST_F(ReplayProgram, HasNoMarkupToWriteOfAPicture)
{
    const std::string archive =
        writeArchive(propertyListXML(archiveXML(resourceXML(site, pngImage(1, 2, 3, 30, 30), "image/png"))));
    const Replayed replayed = replayWithArguments({archive, "--html", folder.pathOf("out.html")});
    EXPECT_EQ(replayed.process.exitStatus, 1);
    EXPECT_NE(replayed.process.error.find("shows nothing that could be written"), std::string::npos) << replayed.process.error;
    EXPECT_EQ(replayedPicture(archive).pixelAt(306, 306), 0x010203U);
}

TEST_F(ReplayProgram, WaitsAsTheCaptureDoes)
{
    const std::string path = folder.pathOf("out.html");
    const std::string archive = simpleArchive(
        "<!DOCTYPE html><title>t</title><body><script>onload = () => setTimeout(() => document.title = 'late', 700)</script>");
    EXPECT_EQ(replayWithArguments({archive, "--html", path}).process.exitStatus, 0);
    EXPECT_NE(readFile(path).find("<title>t<"), std::string::npos);
    settings["WebToolExtraLoadingTime"] = int64_t(3);
    EXPECT_EQ(replayWithArguments({archive, "--html", path}).process.exitStatus, 0);
    EXPECT_NE(readFile(path).find("<title>late<"), std::string::npos);
    EXPECT_GE(last.process.wallTime.count(), 3.0);
}

TEST_F(ReplayProgram, TellsWhenAFileCannotBeWritten)
{
    const std::string archive = simpleArchive();
    for (const char* option : {"--html", "--png", "--pdf"}) {
        const Replayed replayed = replayWithArguments({archive, option, folder.pathOf("missing/out")});
        EXPECT_EQ(replayed.process.exitStatus, 1);
        EXPECT_NE(replayed.process.error.find("missing/out could not be written"), std::string::npos) << replayed.process.error;
        EXPECT_EQ(std::count(replayed.process.error.begin(), replayed.process.error.end(), '\n'), 1) << replayed.process.error;
    }
}

TEST_F(ReplayProgram, TellsWhenThereIsNoEngine)
{
    settings["WebToolEnginePath"] = std::string("/nowhere/engine");
    const Replayed replayed = replayWithArguments({simpleArchive()});
    EXPECT_EQ(replayed.process.exitStatus, 1);
    EXPECT_NE(replayed.process.error.find("could not be shown"), std::string::npos) << replayed.process.error;
}

TEST_F(ReplayProgram, TakesFromTheNetworkWhatTheArchiveLacksWhenAskedTo)
{
    server.on("/gone.png", typed("image/png", pngImage(200, 100, 0, 40, 40)));
    const std::string page = "<!DOCTYPE html><title>t</title><body style='margin:0;background:#fff'><img src=gone.png "
                             "style='display:block'><img src=here.png>";
    const std::string archive = writeArchive(propertyListXML(archiveXML(resourceXML(url("/page.html"), page, "text/html"),
        resourceXML(url("/here.png"), pngImage(0, 0, 99, 40, 40), "image/png"))));
    const Picture online = replayedPicture(archive, {"--online"});
    EXPECT_EQ(online.pixelAt(20, 20), 0xc86400U) << last.process.output;
    EXPECT_EQ(online.pixelAt(20, 60), 0x000063U);
    EXPECT_EQ(last.byAddress, 2U);
    EXPECT_EQ(last.byNetwork, 1U);
    EXPECT_EQ(last.unanswered, 0U);
    EXPECT_EQ(server.requests().size(), 1U) << "what the archive has is not asked for";

    const Picture offline = replayedPicture(archive);
    EXPECT_EQ(last.byNetwork, std::nullopt);
    EXPECT_EQ(last.unansweredAddresses, std::vector<std::string>{url("/gone.png")});
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(ReplayProgram, GivesOnlyWhatTheFramesOwnArchiveHasWithoutTheWorkaround)
{
    const std::string archive = writeArchive(propertyListXML(archiveXML(
        resourceXML(
            site, "<!DOCTYPE html><title>t</title><img src=a.png><img src=/else/b.png><iframe src=f.html></iframe>", "text/html"),
        resourceXML("http://site.example/a.png", pngImage(1, 2, 3), "image/png")
            + resourceXML("http://site.example/b.png", pngImage(1, 2, 3), "image/png"),
        archiveXML(resourceXML("http://site.example/f.html", "<img src=a.png>", "text/html")))));
    EXPECT_EQ(replayWithArguments({archive}).process.exitStatus, 0);
    EXPECT_EQ(last.byAddress, 4U);
    EXPECT_EQ(last.byFileName, 1U);
    EXPECT_EQ(last.unanswered, 0U);
    EXPECT_EQ(replayWithArguments({archive, "--no-workaround"}).process.exitStatus, 0);
    EXPECT_EQ(last.byAddress, 3U);
    EXPECT_EQ(last.byFileName, 0U);
    EXPECT_EQ(last.unanswered, 2U) << last.process.output;
}

TEST_F(ReplayProgram, LeavesNothingBehindWhenItIsKilled)
{
    settings["WebToolExtraLoadingTime"] = int64_t(30);
    folder.write("config/com.brackenlow.Tarnwick.plist", preferencesFile(settings));
    server.on("/seen", html(""));
    const std::string archive = writeArchive(propertyListXML(
        archiveXML(resourceXML(url("/page.html"), "<!DOCTYPE html><title>t</title><img src=seen>", "text/html"))));
    for (const int signal : {SIGKILL, SIGTERM, SIGINT}) {
        SCOPED_TRACE(signal);
        ProcessOptions options = processOptions({archive, "--online"});
        options.arguments[0] = TWWEBREPLAY;
        const size_t before = server.requests("/seen").size();
        Subprocess process(options);
        ASSERT_TRUE(server.waitForRequests("/seen", before + 1));
        process.sendSignal(signal);
        EXPECT_FALSE(process.wait(20s).timedOut);
        expectNothingLeft();
    }
}

}
