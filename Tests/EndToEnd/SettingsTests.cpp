#include "EndToEnd/CaptureTest.h"

#include <array>

using namespace std::chrono_literals;
using namespace support;

namespace {

const std::string byScript = "<!DOCTYPE html><title>t</title><body>text<script>document.body.append('by ' + 'script')</script>";

class SettingsFile : public CaptureTest { };

TEST_F(SettingsFile, MayBeMissing)
{
    settings.clear();
    const Captured captured = captureMarkup(byScript);
    expectArchive(captured);
    EXPECT_TRUE(holds(captured.page(), "by script"));
    EXPECT_GE(captured.seconds(), 2);
}

TEST_F(SettingsFile, ThatCannotBeReadCountsAsEmptyAndIsReportedOnce)
{
    settings.clear();
    (void)folder.write("config/com.brackenlow.Tarnwick.plist", "this is no property list {{{ <plist>");
    const Captured captured = captureMarkup(byScript);
    expectArchive(captured);
    EXPECT_GE(captured.seconds(), 2);
    EXPECT_EQ(captured.logCount("com.brackenlow.Tarnwick.plist"), 1U) << captured.process.error;
}

TEST_F(SettingsFile, ThatIsAFolderOrAnArrayCountsAsEmpty)
{
    settings.clear();
    (void)folder.makeFolder("config/com.brackenlow.Tarnwick.plist");
    expectArchive(captureMarkup(byScript));
    std::filesystem::remove(folder.pathOf("config/com.brackenlow.Tarnwick.plist"));
    (void)folder.write("config/com.brackenlow.Tarnwick.plist", "<plist version=\"1.0\"><array/></plist>");
    expectArchive(captureMarkup(byScript));
}

TEST_F(SettingsFile, MayBeBinary)
{
    settings["EnableJavaScriptForWebTool"] = false;
    const std::string xml = folder.write("settings.xml", preferencesFile(settings));
    settings.clear();
    runHelper({"plistutil", "-i", xml, "-f", "bin", "-o", folder.pathOf("config/com.brackenlow.Tarnwick.plist")});
    const Captured captured = captureMarkup(byScript);
    expectArchive(captured);
    EXPECT_FALSE(holds(captured.page(), "by script"));
    EXPECT_LT(captured.seconds(), 10);
}

TEST_F(SettingsFile, OfTheSystemFillsWhatTheUsersOwnLeavesOpen)
{
    environment["XDG_CONFIG_DIRS"] = folder.pathOf("first") + ":" + folder.pathOf("second");
    (void)folder.write("first/com.brackenlow.Tarnwick.plist", preferencesFile({{"EnableJavaScriptForWebTool", false}}));
    (void)folder.write("second/com.brackenlow.Tarnwick.plist",
        preferencesFile({{"EnableJavaScriptForWebTool", true}, {"WebToolUseDOMDocument", false}}));
    const Captured captured = captureMarkup(byScript);
    expectArchive(captured);
    EXPECT_EQ(captured.page(), byScript);

    settings["WebToolUseDOMDocument"] = true;
    settings["EnableJavaScriptForWebTool"] = true;
    EXPECT_TRUE(holds(captureMarkup(byScript).page(), "by script"));
}

TEST_F(SettingsFile, WithValuesOfTheWrongTypeGivesTheDefaults)
{
    for (const Setting& value :
        {Setting(SettingList{"a", "b"}), Setting(SettingPairs{{"a"}, {}}), Setting(std::string("no number"))}) {
        SCOPED_TRACE(value.index());
        for (const char* key : {"WebToolTimeout", "WebToolMaxTriesBeforeTimeout", "WebToolUseDOMDocument",
                 "EnableJavaScriptForWebTool", "LoaderUsePool", "WebToolTrustFinishedNotification",
                 "WebToolFailOnResourceLoadErrors", "WebToolEnableWebPlugIns"}) {
            // A text that is no number converts by rules of its own; the other kinds do not convert at all.
            if (value.index() != 3)
                settings[key] = value;
        }
        for (const char* key : {"WebToolNonJavaScriptDomains", "WebToolHostSubstitutions", "WebToolExtraHostSubstitutions",
                 "WebToolSinglePageDomains", "WebToolClientRedirectDomains"})
            settings[key] = value;
        const Captured captured = captureMarkup(byScript);
        expectArchive(captured);
        EXPECT_TRUE(holds(captured.page(), "by script"));
    }
}

TEST_F(SettingsFile, TakesNumbersAndTextsAsTheyConvert)
{
    for (const Setting& no : {Setting(int64_t(0)), Setting(std::string("NO")), Setting(std::string("0"))}) {
        SCOPED_TRACE(no.index());
        settings["EnableJavaScriptForWebTool"] = no;
        settings["WebToolExtraLoadingTime"] = std::string("0");
        const Captured captured = captureMarkup(byScript);
        expectArchive(captured);
        EXPECT_FALSE(holds(captured.page(), "by script"));
    }
}

TEST_F(SettingsFile, NamesHostsWithoutScripts)
{
    settings["LogWebTool"] = true;
    settings["WebToolNonJavaScriptDomains"] = SettingList{"elsewhere.example", "LOCALHOST"};
    server.on("/page.html", html(byScript));
    const Captured with = capture(url("/page.html"));
    EXPECT_TRUE(holds(with.page(), "by script"));
    EXPECT_EQ(with.logCount("Disabling JavaScript because of domain: "), 0U);
    const Captured without = capture(server.url("/page.html", "localhost"));
    EXPECT_FALSE(holds(without.page(), "by script"));
    EXPECT_EQ(without.logCount("Disabling JavaScript because of domain: LOCALHOST"), 1U) << without.process.error;
}

TEST_F(SettingsFile, ReplacesHosts)
{
    settings["WebToolHostSubstitutions"] = SettingPairs{{"LocalHost", "127.0.0.2"}};
    settings["WebToolExtraHostSubstitutions"] = SettingPairs{{"127.0.0.2", "127.0.0.1"}};
    server.on("/page.html", html(byScript));
    const Captured captured = capture(server.url("/page.html?q=1", "localhost"));
    expectArchive(captured);
    ASSERT_FALSE(server.requests().empty());
    EXPECT_EQ(server.requests()[0].header("Host"), server.authority("127.0.0.1"));
    EXPECT_EQ(server.requests()[0].target, "/page.html?q=1");
    EXPECT_EQ(captured.archive->main.url, url("/page.html?q=1"));
}

TEST_F(SettingsFile, PutsTextBeforeEveryAddress)
{
    settings["WebToolURLProcessingPrefix"] = url("/through?");
    server.on("/through", html("<!DOCTYPE html><title>processed</title>"));
    const Captured captured = capture("http://h.example/x?q=1");
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "processed");
    EXPECT_EQ(captured.record.url, "http://h.example/x?q=1");
    ASSERT_FALSE(server.requests().empty());
    EXPECT_EQ(server.requests()[0].target, "/through?http://h.example/x?q=1");
}

TEST_F(SettingsFile, SwitchesLogOptions)
{
    settings["QVRLoggerAllAreas"] = true;
    settings["QVRLoggerPrefix"] = std::string("<<mark>>");
    settings["QVRLoggerIncludeArea"] = false;
    const Captured captured = captureMarkup(byScript);
    expectArchive(captured);
    EXPECT_GE(captured.logCount(" <<mark>> Try 0 loading: "), 1U) << captured.process.error;
}

class MainRequest : public CaptureTest { };

TEST_F(MainRequest, CarriesTheAddressWithoutPortQueryAndFragmentAsReferer)
{
    server.on("/a/b", html("<!DOCTYPE html><title>t</title><img src=c.png>"));
    const Captured captured = capture(url("/a/b?x=1#f"));
    expectArchive(captured);
    ASSERT_EQ(server.requests("/a/b").size(), 1U);
    const Request request = server.requests("/a/b")[0];
    EXPECT_EQ(request.header("Referer"), "http://127.0.0.1/a/b");
    EXPECT_EQ(request.target, "/a/b?x=1");
    EXPECT_EQ(request.method, "GET");
    ASSERT_EQ(server.requests("/a/c.png").size(), 1U);
    EXPECT_EQ(server.requests("/a/c.png")[0].header("Referer"), url("/a/b?x=1"));
}

TEST_F(MainRequest, LooksLikeABrowsers)
{
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title>");
    expectArchive(captured);
    ASSERT_FALSE(server.requests().empty());
    EXPECT_TRUE(holds(server.requests()[0].header("User-Agent").value_or(""), "Mozilla/5.0"));
    EXPECT_TRUE(holds(server.requests()[0].header("Accept").value_or(""), "text/html"));
}

TEST_F(MainRequest, IsNeverAnsweredFromACache)
{
    server.on("/page.html", html("<!DOCTYPE html><title>t</title><img src=a.png>").with("Cache-Control", "max-age=10000"));
    server.on("/a.png", typed("image/png", pngImage(1, 1, 1)).with("Cache-Control", "max-age=10000"));
    for (size_t run = 1; run <= 2; ++run) {
        expectArchive(capture(url("/page.html")));
        EXPECT_EQ(server.requests("/page.html").size(), run);
        EXPECT_EQ(server.requests("/a.png").size(), run);
    }
}

TEST_F(MainRequest, KeepsCookiesForThePageOnly)
{
    server.on("/page.html", html("<!DOCTYPE html><title>t</title><img src=a.png>").with("Set-Cookie", "word=kept; Path=/"));
    server.on("/a.png", typed("image/png", pngImage(1, 1, 1)));
    for (int run = 0; run < 2; ++run)
        expectArchive(capture(url("/page.html")));
    for (const Request& request : server.requests("/page.html"))
        EXPECT_FALSE(request.header("Cookie"));
    ASSERT_EQ(server.requests("/a.png").size(), 2U);
    EXPECT_EQ(server.requests("/a.png")[1].header("Cookie"), "word=kept");
}

TEST_F(MainRequest, ShowsThePageInAViewOf612PointsWithoutScrollBars)
{
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><body style='height: 5000px'><script>addEventListener('load', () =>"
                      "{ document.body.append([innerWidth, innerHeight, document.documentElement.clientWidth, "
                      "devicePixelRatio].join(' ')) })</script>");
    expectArchive(captured);
    EXPECT_TRUE(holds(captured.page(), "612 612 612 1</body>")) << captured.page();
}

}
