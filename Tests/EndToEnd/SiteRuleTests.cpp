#include "EndToEnd/CaptureTest.h"

using namespace std::chrono_literals;
using namespace support;

namespace {

const std::string byScript = "<!DOCTYPE html><title>t</title><body>text<noscript>without</noscript>"
                             "<script>document.body.append('by ' + 'script')</script>";

// Through a proxy every host is this server: "http://host/path" is asked for as it stands.
class SiteRules : public CaptureTest {
protected:
    SiteRules()
    {
        environment["http_proxy"] = url("");
        settings["LogWebTool"] = true;
        timeout = 20s;
    }

    // The address that is fetched for `address`.
    std::string fetched(const std::string& address)
    {
        const size_t before = server.requests().size();
        (void)capture(address);
        const std::vector<Request> requests = server.requests();
        return requests.size() > before ? requests[before].target : std::string();
    }
    // Whether the page at `address` runs its script, and that the log says why not exactly when it does not.
    bool runsScripts(const std::string& address, const std::string& entry)
    {
        server.on(address, html(byScript));
        const Captured captured = capture(address);
        expectArchive(captured);
        const bool runs = holds(captured.page(), "by script");
        EXPECT_EQ(captured.logCount("Disabling JavaScript because of domain: "), runs ? 0U : 1U) << captured.process.error;
        EXPECT_EQ(captured.logCount("[LogWebTool] Disabling JavaScript because of domain: " + entry), runs ? 0U : 1U);
        // A page without scripting shows what it has for that.
        EXPECT_EQ(holds(captured.page(), "<noscript>"), !runs) << captured.page();
        return runs;
    }
};

TEST_F(SiteRules, RepairSchemesThatAreNotOfTheWeb)
{
    for (const char* address : {"feed://h.example/x", "itms-books://h.example/x", "webcal://h.example/x", "x://h.example/x"}) {
        SCOPED_TRACE(address);
        server.on("http://h.example/x", html("<!DOCTYPE html><title>repaired</title>"));
        const Captured captured = capture(address);
        expectArchive(captured);
        EXPECT_EQ(captured.record.title, "repaired");
        EXPECT_EQ(captured.record.url, "http://h.example/x");
    }
    // Capitals are no other scheme.
    server.on("http://h.example/capitals", html("<!DOCTYPE html><title>capitals</title>"));
    EXPECT_EQ(capture("HTTP://h.example/capitals").record.title, "capitals");
}

TEST_F(SiteRules, LeadNowhereFromATextWithoutAScheme)
{
    // "http:" alone, and no host is guessed.
    const Captured captured = capture("//h.example/x");
    EXPECT_FALSE(captured.record.hasSucceeded());
    EXPECT_EQ(captured.record.url, "http:");
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(SiteRules, ReplaceTheHostAndNothingElse)
{
    settings["WebToolHostSubstitutions"] = SettingPairs{{"from.example", "To.Example"}};
    EXPECT_EQ(fetched("http://from.example/a/b?x=1&y#f"), "http://to.example/a/b?x=1&y");
    EXPECT_EQ(fetched("http://FROM.Example:8080/%41%2f?%20"), "http://to.example:8080/%41%2f?%20");
    EXPECT_EQ(fetched("http://www.from.example/"), "http://www.from.example/");
    EXPECT_EQ(fetched("http://from.example.net/"), "http://from.example.net/");
    EXPECT_EQ(fetched("http://om.example/"), "http://om.example/");
    EXPECT_EQ(fetched("http://other.example/from.example"), "http://other.example/from.example");
}

TEST_F(SiteRules, ReplaceHostsOneAfterTheOther)
{
    settings["WebToolHostSubstitutions"] = SettingPairs{{"b", "c"}, {"a", "b"}, {"b", "d"}};
    settings["WebToolExtraHostSubstitutions"] = SettingPairs{{"d", "e"}, {"c", "f"}};
    EXPECT_EQ(fetched("http://a/"), "http://e/");
    EXPECT_EQ(fetched("http://b/"), "http://f/");
    EXPECT_EQ(fetched("http://f/"), "http://f/");
}

TEST_F(SiteRules, ReportTheAddressThatThePageWasAskedFrom)
{
    settings["WebToolHostSubstitutions"] = SettingPairs{{"from.example", "to.example"}};
    server.on("http://to.example/x.html", html("<!DOCTYPE html><title>t</title>"));
    const Captured loaded = capture("http://from.example/x.html");
    expectArchive(loaded);
    EXPECT_EQ(loaded.record.url, "http://to.example/x.html");
    // Where no page was asked for, it is the address of the command line.
    settings["WebToolMaxTriesBeforeTimeout"] = int64_t(0);
    const Captured downloaded = capture("http://from.example/x.html");
    EXPECT_TRUE(downloaded.record.hasSucceeded()) << downloaded.record.errorString.value_or("");
    EXPECT_EQ(downloaded.record.url, "http://from.example/x.html");
    EXPECT_EQ(server.requests("http://to.example/x.html").size(), 2U);
}

TEST_F(SiteRules, PutThePrefixBeforeTheReplacedAddress)
{
    settings["WebToolHostSubstitutions"] = SettingPairs{{"from.example", "to.example"}, {"proxy.example", "no.example"}};
    settings["WebToolURLProcessingPrefix"] = std::string("http://proxy.example/?u=");
    server.on("http://proxy.example/", html("<!DOCTYPE html><title>processed</title>"));
    const Captured captured = capture("http://from.example/x?q=1#f");
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "processed");
    EXPECT_EQ(captured.record.url, "http://from.example/x?q=1#f");
    ASSERT_EQ(server.requests("http://proxy.example/").size(), 1U);
    EXPECT_EQ(server.requests("http://proxy.example/")[0].target, "http://proxy.example/?u=http://to.example/x?q=1");
    EXPECT_EQ(server.requests("http://proxy.example/")[0].header("Referer"), "http://proxy.example/");
}

TEST_F(SiteRules, EndInAnErrorBehindAPrefixThatMakesNoAddress)
{
    for (const char* prefix : {"no prefix at all ", "%%%", "http://[", "\n"}) {
        SCOPED_TRACE(prefix);
        settings["WebToolURLProcessingPrefix"] = std::string(prefix);
        const Captured captured = capture("http://h.example/x");
        EXPECT_FALSE(captured.record.hasSucceeded());
        EXPECT_EQ(captured.record.url, "http://h.example/x");
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
        EXPECT_LT(captured.seconds(), 15);
    }
}

TEST_F(SiteRules, SwitchScriptsOffForHostsThatAreNamedWhole)
{
    settings["WebToolNonJavaScriptDomains"] = SettingList{"www.a.b", "quiet.example", "QUIET.example"};
    EXPECT_FALSE(runsScripts("http://quiet.example/", "quiet.example"));
    EXPECT_FALSE(runsScripts("http://www.a.b/", "www.a.b"));
    EXPECT_TRUE(runsScripts("http://a.b/", ""));
    EXPECT_TRUE(runsScripts("http://m.a.b/", ""));
    EXPECT_TRUE(runsScripts("http://not-quiet.example/", ""));
}

TEST_F(SiteRules, GoByTheAddressThatIsFetched)
{
    settings["WebToolHostSubstitutions"] = SettingPairs{{"from.example", "to.example"}};
    settings["WebToolNonJavaScriptDomains"] = SettingList{"to.example"};
    server.on("http://to.example/", html(byScript));
    const Captured captured = capture("http://from.example/");
    expectArchive(captured);
    EXPECT_FALSE(holds(captured.page(), "by script"));
    EXPECT_EQ(captured.logCount("Disabling JavaScript because of domain: to.example"), 1U);
}

TEST_F(SiteRules, SwitchAllScriptsOffWithoutALogLine)
{
    settings["EnableJavaScriptForWebTool"] = false;
    settings["WebToolNonJavaScriptDomains"] = SettingList{"h.example"};
    server.on("http://h.example/",
        html(byScript + "<p onclick=x><a href='javascript:document.write(1)'>link</a><iframe src=f></iframe>"));
    server.on("http://h.example/f", html("<title>f</title><body>frame<script>document.body.append('by ' + 'script')</script>"));
    const Captured captured = capture("http://h.example/");
    expectArchive(captured);
    EXPECT_FALSE(holds(captured.page(), "by script"));
    ASSERT_EQ(captured.archive->frames.size(), 1U);
    EXPECT_FALSE(holds(captured.archive->frames[0].main.data, "by script"));
    EXPECT_EQ(captured.logCount("Disabling JavaScript"), 0U);
}

// Well-known hosts: engines ask many of them over TLS whatever the address says. All names lead to a server of the test's own
// that speaks it, and the engine takes its certificate.
class BuiltInSiteRules : public SiteRules {
protected:
    BuiltInSiteRules()
    {
        environment["http_proxy"] = {};
        writeEngine("exec chromium-headless-shell --ignore-certificate-errors --host-resolver-rules='MAP * 127.0.0.1:"
            + std::to_string(secure.port()) + "' \"$@\"\n");
        secure.on("/page", html(byScript));
    }

    // Whether the page of this host runs its script; the log names the host exactly when it does not.
    bool runsScriptsAt(const std::string& host)
    {
        const Captured captured = capture("https://" + host + "/page");
        expectArchive(captured);
        EXPECT_EQ(secure.requests().back().header("Host"), host);
        const bool runs = holds(captured.page(), "by script");
        EXPECT_EQ(captured.logCount("[LogWebTool] Disabling JavaScript because of domain: " + host + "\n"), runs ? 0U : 1U)
            << captured.process.error;
        return runs;
    }
    // The host that is asked for the page of `host`.
    std::string hostAskedFor(const std::string& host)
    {
        expectArchive(capture("https://" + host + "/page"));
        return secure.requests().back().header("Host").value_or("");
    }

    TestServer secure{folder.write("certificate.pem", selfSignedCertificate())};
};

TEST_F(BuiltInSiteRules, ReplaceOneHost)
{
    EXPECT_EQ(hostAskedFor("www.reddit.com"), "old.reddit.com");
    EXPECT_EQ(hostAskedFor("WWW.Reddit.com"), "old.reddit.com");
    EXPECT_EQ(hostAskedFor("reddit.com"), "reddit.com");
    // Further pairs see what it made, and a list of one's own takes its place, also an empty one.
    settings["WebToolExtraHostSubstitutions"] =
        SettingPairs{{"www.reddit.com", "unreplaced.example"}, {"old.reddit.com", "replaced.example"}};
    EXPECT_EQ(hostAskedFor("www.reddit.com"), "replaced.example");
    settings["WebToolHostSubstitutions"] = SettingPairs{};
    EXPECT_EQ(hostAskedFor("www.reddit.com"), "unreplaced.example");
}

TEST_F(BuiltInSiteRules, SwitchScriptsOffForNewsAndPublishers)
{
    for (const char* host : {"www.nytimes.com", "cooking.nytimes.com", "www.washingtonpost.com", "www.wsj.com", "www.latimes.com",
             "www.theguardian.com", "www.newyorker.com", "www.theatlantic.com", "www.economist.com", "www.quora.com"})
        EXPECT_FALSE(runsScriptsAt(host)) << host;
    EXPECT_TRUE(runsScriptsAt("nytimes.com"));
    EXPECT_TRUE(runsScriptsAt("m.theguardian.com"));
}

TEST_F(BuiltInSiteRules, SwitchScriptsOffForForums)
{
    for (const char* host :
        {"community.brackenlow.com", "meta.discourse.org", "try.discourse.org", "discuss.python.org", "users.rust-lang.org",
            "discourse.llvm.org", "discourse.ubuntu.com", "discuss.elastic.co", "forum.gitlab.com", "forums.swift.org"})
        EXPECT_FALSE(runsScriptsAt(host)) << host;
    EXPECT_TRUE(runsScriptsAt("www.brackenlow.com"));
}

TEST_F(BuiltInSiteRules, GiveWayToAListOfOnesOwn)
{
    // Further hosts are added to them.
    settings["WebToolNonJavaScriptDomains"] = SettingList{"added.example"};
    EXPECT_FALSE(runsScriptsAt("added.example"));
    EXPECT_FALSE(runsScriptsAt("community.brackenlow.com"));
    settings["WebToolBuiltInNonJavaScriptDomains"] = SettingList{"own.example"};
    EXPECT_FALSE(runsScriptsAt("own.example"));
    EXPECT_FALSE(runsScriptsAt("added.example"));
    EXPECT_TRUE(runsScriptsAt("community.brackenlow.com"));
    settings["WebToolBuiltInNonJavaScriptDomains"] = SettingList{};
    EXPECT_TRUE(runsScriptsAt("www.nytimes.com"));
}

// Every key that the capture reads, but for the path of the engine, which decides whether there is a capture at all.
const std::vector<std::string> keys = {"WebToolTimeout", "WebToolEnableWebPlugIns", "WebToolMaxTriesBeforeTimeout",
    "WebToolExtraLoadingTime", "Web2PDFPageMargin", "LoaderUsePool", "WebToolTrustFinishedNotification",
    "WebToolContinueAfterCancel", "WebToolFailOnResourceLoadErrors", "WebToolHostSubstitutions", "WebToolExtraHostSubstitutions",
    "WebToolURLProcessingPrefix", "EnableJavaScriptForWebTool", "WebToolBuiltInNonJavaScriptDomains",
    "WebToolNonJavaScriptDomains", "WebToolSinglePageDomains", "WebToolClientRedirectDomains", "WebToolUseDOMDocument",
    "LogWebTool", "QVRLoggerAllAreas", "QVRLoggerPrefix", "QVRLoggerIncludeArea"};

class MisshapenSettings : public CaptureTest {
protected:
    MisshapenSettings()
    {
        settings.clear();
        timeout = 20s;
        server.on("/page.html", html(byScript));
    }

    // A preferences file with this value, a property-list element, under each of those keys.
    void write(const std::vector<std::string>& names, const std::string& value)
    {
        std::string text = "<plist version=\"1.0\"><dict>";
        for (const std::string& name : names)
            text.append("<key>").append(name).append("</key>").append(value);
        (void)folder.write("config/com.brackenlow.Tarnwick.plist", text + "</dict></plist>");
    }
    // The page as it is captured without any of them.
    void expectPage(const Captured& captured)
    {
        expectArchive(captured);
        EXPECT_EQ(captured.record.title, "t");
        EXPECT_EQ(captured.record.url, url("/page.html"));
        EXPECT_TRUE(holds(captured.page(), "by script")) << captured.page();
    }
};

TEST_F(MisshapenSettings, InEveryKeyGiveTheDefaults)
{
    for (const char* value : {
             "<array/>",
             "<array><array/></array>",
             "<array><array><string>127.0.0.1</string></array></array>",
             "<array><array><string>127.0.0.1</string><integer>5</integer></array><array><integer>5</integer></array></array>",
             "<array><array><array><string>127.0.0.1</string><string>x</string></array></array></array>",
             "<array><dict><key>127.0.0.1</key><string>x</string></dict><true/><data>AAAA</data><date>2001-01-01T00:00:00Z</"
             "date></array>",
             "<dict/>",
             "<dict><key>127.0.0.1</key><array><string>127.0.0.1</string><string>x</string></array></dict>",
             "<data>MTI3LjAuMC4x</data>",
             "<date>2001-01-01T00:00:00Z</date>",
         }) {
        SCOPED_TRACE(value);
        write(keys, value);
        const Captured captured = capture(url("/page.html"));
        expectPage(captured);
        // The grace period is one of the defaults.
        EXPECT_GE(captured.seconds(), 2);
        EXPECT_LT(captured.seconds(), 15);
    }
}

TEST_F(MisshapenSettings, ThatAreNumbersOrTextsNeverStopACapture)
{
    // As lists they are none; where a number or a switch is read they count as one.
    for (const char* value :
        {"<true/>", "<integer>1</integer>", "<real>1.75</real>", "<string>1</string>", "<string>yes</string>"}) {
        SCOPED_TRACE(value);
        std::vector<std::string> names = keys;
        // A text is right there.
        std::erase(names, "WebToolURLProcessingPrefix");
        write(names, value);
        expectPage(capture(url("/page.html")));
    }
    for (const char* value : {"<true/>", "<integer>1</integer>", "<real>0.5</real>"}) {
        SCOPED_TRACE(value);
        write({"WebToolURLProcessingPrefix"}, value);
        expectPage(capture(url("/page.html")));
    }
}

TEST_F(MisshapenSettings, ThatAreExtremeNumbersNeverStopACapture)
{
    for (const char* value : {"-1", "9223372036854775807", "-9223372036854775808"}) {
        SCOPED_TRACE(value);
        write({"WebToolTimeout", "WebToolMaxTriesBeforeTimeout", "Web2PDFPageMargin"},
            std::string("<integer>") + value + "</integer>");
        expectPage(capture(url("/page.html")));
    }
    for (const char* value : {"-1", "-9223372036854775808", "0"}) {
        SCOPED_TRACE(value);
        write({"WebToolExtraLoadingTime"}, std::string("<integer>") + value + "</integer>");
        const Captured captured = capture(url("/page.html"));
        expectPage(captured);
        EXPECT_LT(captured.seconds(), 15);
    }
}

TEST_F(MisshapenSettings, AmongGoodEntriesLeaveTheGoodOnesInForce)
{
    const std::string wrong = "<integer>5</integer><array/><dict/><string></string><data></data>";
    const auto list = [&](const std::string& entry) { return "<array>" + wrong + entry + wrong + "</array>"; };
    (void)folder.write("config/com.brackenlow.Tarnwick.plist",
        "<plist version=\"1.0\"><dict><key>WebToolHostSubstitutions</key>"
            + list("<array><string>localhost</string></array><array><string>localhost</string><false/></array>"
                   "<array><string>localhost</string><string>127.0.0.1</string><string>third</string></array>")
            + "<key>WebToolNonJavaScriptDomains</key>" + list("<string>127.0.0.1</string>") + "</dict></plist>");
    const Captured captured = capture(server.url("/page.html", "localhost"));
    expectArchive(captured);
    ASSERT_FALSE(server.requests().empty());
    EXPECT_EQ(server.requests()[0].header("Host"), server.authority());
    EXPECT_FALSE(holds(captured.page(), "by script"));
}

// Hosts that are none of this test's, a hundred thousand of them, and then `last`.
std::string listOfHosts(const std::string& before, const std::string& behind, const std::string& last)
{
    std::string list = "<array>";
    for (int number = 0; number < 100'000; ++number)
        list += before + "<string>host-" + std::to_string(number) + ".example</string>" + behind;
    return list + last + "</array>";
}

TEST_F(MisshapenSettings, MayBeListsOfAHundredThousandHosts)
{
    (void)folder.write("config/com.brackenlow.Tarnwick.plist",
        "<plist version=\"1.0\"><dict><key>LogWebTool</key><true/><key>WebToolExtraLoadingTime</key><integer>0</integer>"
        "<key>WebToolBuiltInNonJavaScriptDomains</key>"
            + listOfHosts("", "", "") + "<key>WebToolNonJavaScriptDomains</key>"
            + listOfHosts("", "", "<string>127.0.0.1</string>") + "<key>WebToolClientRedirectDomains</key>"
            + listOfHosts("", "", "") + "</dict></plist>");
    const Captured captured = capture(url("/page.html"));
    expectArchive(captured);
    EXPECT_FALSE(holds(captured.page(), "by script"));
    EXPECT_EQ(captured.logCount("Disabling JavaScript because of domain: 127.0.0.1"), 1U)
        << captured.process.error.substr(0, 4000);
    EXPECT_LT(captured.seconds(), 10);
}

TEST_F(MisshapenSettings, MayBeAHundredThousandPairsOfHosts)
{
    (void)folder.write("config/com.brackenlow.Tarnwick.plist",
        "<plist version=\"1.0\"><dict><key>WebToolExtraLoadingTime</key><integer>0</integer><key>WebToolHostSubstitutions</key>"
            + listOfHosts("<array>", "<string>elsewhere.example</string></array>",
                "<array><string>localhost</string><string>127.0.0.1</string></array>")
            + "</dict></plist>");
    const Captured captured = capture(server.url("/page.html", "localhost"));
    expectArchive(captured);
    ASSERT_FALSE(server.requests().empty());
    EXPECT_EQ(server.requests()[0].header("Host"), server.authority());
    EXPECT_LT(captured.seconds(), 10);
}

}
