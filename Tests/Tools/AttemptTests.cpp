#include "Tools/ToolTest.h"

#include "Platform/Engine/PageEngineErrors.h"

#include <limits>

namespace {

class Attempts : public ArchiveLoaderTest {
protected:
    // Each load fails with the next of these codes of NSURLErrorDomain; a 0 shows a page.
    void loadWithCodes(std::vector<int64_t> codes)
    {
        load(u"http://h/", [codes = std::move(codes)](Engine& told, const NSURLRequest& request) {
            const int64_t code = codes.at(told.loads().size() - 1);
            if (code == 0) {
                told.showPage(Engine::main, request.URL().absoluteString(), u"<p>");
                return;
            }
            told.start(Engine::main, request.URL().absoluteString());
            told.fail(Engine::main, code);
        });
    }
    [[nodiscard]] Lines tries() const { return messagesThatBegin("Try "); }
};

TEST_F(Attempts, AreOneWhenThePageLoads)
{
    loadPage();
    EXPECT_EQ(tries(), (Lines{"Try 0 loading: http://h/"}));
    EXPECT_EQ(engine->loads().size(), 1U);
    EXPECT_FALSE(loader().error());
}

TEST_F(Attempts, AreThreeWhenAllTimeOut)
{
    loadWithCodes({NSURLErrorTimedOut, NSURLErrorTimedOut, NSURLErrorTimedOut});
    EXPECT_EQ(tries(), (Lines{"Try 0 loading: http://h/", "Try 1 loading: http://h/", "Try 2 loading: http://h/"}));
    EXPECT_EQ(engine->loads().size(), 3U);
    EXPECT_EQ(loader().error().code(), NSURLErrorTimedOut);
    EXPECT_TRUE(loader().isErrorFatal());
}

TEST_F(Attempts, EndWithTheFirstThatLoads)
{
    loadWithCodes({NSURLErrorTimedOut, 0});
    EXPECT_EQ(tries().size(), 2U);
    EXPECT_FALSE(loader().error());
}

TEST_F(Attempts, EndWithTheFirstErrorThatIsNoTimeOut)
{
    loadWithCodes({NSURLErrorTimedOut, NSURLErrorCannotFindHost});
    EXPECT_EQ(tries().size(), 2U);
    EXPECT_EQ(loader().error().code(), NSURLErrorCannotFindHost);
}

TEST_F(Attempts, AreNotRepeatedForOtherErrors)
{
    for (const int64_t code : {NSURLErrorCannotFindHost, NSURLErrorCannotConnectToHost, NSURLErrorNetworkConnectionLost,
             NSURLErrorCancelled, NSURLErrorUserAuthenticationRequired}) {
        logged.clear();
        ArchiveLoader each(engineMaker());
        engine->onLoad = [code](Engine& told, const NSURLRequest&) {
            told.start(Engine::main, u"http://h/");
            told.fail(Engine::main, code);
        };
        each.loadURL(address(u"http://h/"), u"uid");
        EXPECT_EQ(tries().size(), 1U) << code;
        EXPECT_EQ(each.error().code(), code);
    }
}

// The number alone makes no time-out.
TEST_F(Attempts, AreNotRepeatedForTheSameNumberOfAnotherDomain)
{
    load(u"http://h/", [](Engine& told, const NSURLRequest&) {
        told.start(Engine::main, u"http://h/");
        told.fail(Engine::main, NSError(NSCocoaErrorDomain, NSURLErrorTimedOut));
    });
    EXPECT_EQ(tries().size(), 1U);
    EXPECT_EQ(loader().error().domain(), NSCocoaErrorDomain);
}

struct LimitRow {
    const char* setting;
    size_t loads;
};

TEST_F(Attempts, AreAsManyAsTheSettingSays)
{
    for (const LimitRow& row : {LimitRow{"<integer>1</integer>", 1}, LimitRow{"<integer>2</integer>", 2},
             LimitRow{"<integer>5</integer>", 5}, LimitRow{"<string>none</string>", 3}, LimitRow{"<integer>-1</integer>", 1}}) {
        SCOPED_TRACE(row.setting);
        setLoadSettings(std::string("<key>WebToolMaxTriesBeforeTimeout</key>") + row.setting);
        ArchiveLoader each(engineMaker());
        engine->onLoad = [](Engine& told, const NSURLRequest&) {
            told.start(Engine::main, u"http://h/");
            told.fail(Engine::main, NSURLErrorTimedOut);
        };
        each.loadURL(address(u"http://h/"), u"uid");
        EXPECT_EQ(engine->loads().size(), row.loads);
        EXPECT_EQ(each.error().code(), NSURLErrorTimedOut);
    }
}

TEST_F(Attempts, AreNoneWhenTheSettingSaysSo)
{
    setLoadSettings("<key>WebToolMaxTriesBeforeTimeout</key><integer>0</integer>");
    loadPage(u"http://h/");
    EXPECT_TRUE(engine->loads().empty());
    EXPECT_TRUE(messages().empty());
    EXPECT_FALSE(loader().error());
    EXPECT_EQ(loader().newURLString(), NSString(u"http://h/")) << "the address is prepared all the same";
}

TEST_F(Attempts, AreNoneWhenThereIsAnErrorAlready)
{
    setError(NSError(NSURLErrorDomain, NSURLErrorTimedOut));
    loadPage();
    EXPECT_TRUE(engine->loads().empty());
    EXPECT_TRUE(tries().empty());
    EXPECT_EQ(loader().error().code(), NSURLErrorTimedOut);
}

TEST_F(Attempts, AskForThePreparedRequestEachTime)
{
    setLoadSettings("<key>WebToolTimeout</key><integer>4</integer>"
                    "<key>WebToolURLProcessingPrefix</key><string>http://proxy/?u=</string>");
    load(u"feed://h:81/a?b#c", [](Engine& told, const NSURLRequest& request) {
        told.start(Engine::main, request.URL().absoluteString());
        told.fail(Engine::main, NSURLErrorTimedOut);
    });
    ASSERT_EQ(engine->loads().size(), 3U);
    for (const Engine::AskedLoad& asked : engine->loads()) {
        EXPECT_EQ(asked.request.URL(), address(u"http://proxy/?u=http://h:81/a?b#c"));
        EXPECT_EQ(asked.request.timeoutInterval(), 4);
        EXPECT_EQ(asked.request.cachePolicy(), NSURLRequestReloadIgnoringLocalCacheData);
        EXPECT_EQ(asked.request.valueForHTTPHeaderField(u"Referer"), NSString(u"http://proxy/"));
    }
    EXPECT_EQ(loader().newURLString(), NSString(u"http://h:81/a?b#c"));
    EXPECT_EQ(tries()[0], "Try 0 loading: http://proxy/?u=http://h:81/a?b#c");
}

struct PageRightsRow {
    const char* settings;
    bool javaScript;
    bool plugIns;
};

TEST_F(Attempts, LetThePageDoWhatTheSettingsSay)
{
    for (const PageRightsRow& row : {PageRightsRow{"", true, false},
             PageRightsRow{"<key>EnableJavaScriptForWebTool</key><false/><key>WebToolEnableWebPlugIns</key><true/>", false, true},
             PageRightsRow{"<key>WebToolNonJavaScriptDomains</key><array><string>H</string></array>", false, false},
             PageRightsRow{"<key>WebToolNonJavaScriptDomains</key><array><string>other</string></array>", true, false}}) {
        SCOPED_TRACE(row.settings);
        setLoadSettings(row.settings);
        ArchiveLoader each(engineMaker());
        each.view().preferences().setJavaEnabled(true);
        engine->onLoad = [](Engine& told, const NSURLRequest&) { told.showPage(Engine::main, u"http://h/", u"<p>"); };
        each.loadURL(address(u"http://h/"), u"uid");
        ASSERT_EQ(engine->loads().size(), 1U);
        EXPECT_EQ(engine->loads()[0].settings.javaScriptEnabled, row.javaScript);
        EXPECT_EQ(engine->loads()[0].settings.plugInsEnabled, row.plugIns);
        EXPECT_FALSE(each.view().preferences().isJavaEnabled());
    }
}

// The rule is asked about the address that is really loaded.
TEST_F(Attempts, JudgeThePagesRightsByTheSubstitutedHost)
{
    setLoadSettings("<key>WebToolNonJavaScriptDomains</key><array><string>new</string></array>"
                    "<key>WebToolHostSubstitutions</key><array><array><string>h</string><string>new</string></array></array>");
    loadPage(u"http://h/");
    EXPECT_EQ(engine->loads().at(0).request.URL(), address(u"http://new/"));
    EXPECT_FALSE(engine->loads().at(0).settings.javaScriptEnabled);
}

// Failures of the engine itself are the tool's; and there is nothing to wait for then.
TEST_F(Attempts, EndAtOnceWhenTheEngineIsGone)
{
    setSettings("<key>WebToolExtraLoadingTime</key><integer>60</integer>");
    load(u"http://h/", [](Engine& told, const NSURLRequest&) {
        told.start(Engine::main, u"http://h/");
        told.fail(Engine::main, engineError(EngineErrorNotFound, u"There is no engine.", u"Install one."));
    });
    EXPECT_EQ(tries().size(), 1U);
    EXPECT_EQ(loader().error().domain(), NSString(u"com.brackenlow.tarnwick.webtool"));
    EXPECT_EQ(loader().error().code(), 3);
    EXPECT_EQ(loader().error().localizedDescription(), NSString(u"There is no engine."));
    EXPECT_EQ(loader().error().userInfo()[NSLocalizedRecoverySuggestionErrorKey], Value(u"Install one."));
    EXPECT_TRUE(loader().isErrorFatal());
}

class FinishedNotification : public ArchiveLoaderTest {
protected:
    void finishProgress()
    {
        NSNotificationCenter::defaultCenter().postNotificationName(WebViewProgressFinishedNotification, &loader().view());
    }
};

TEST_F(FinishedNotification, SetsATimeOutDateTenSecondsAheadEachTime)
{
    for (int time = 0; time < 2; ++time) {
        logged.clear();
        const std::string before = NSDate::dateWithTimeIntervalSinceNow(10).description().UTF8();
        finishProgress();
        const std::string after = NSDate::dateWithTimeIntervalSinceNow(10).description().UTF8();
        ASSERT_EQ(messages().size(), 2U);
        EXPECT_EQ(messages()[0], "Progress finished");
        const std::string line = "Received finished notification but not done loading so setting timeout date: ";
        EXPECT_TRUE(messages()[1] == line + before || messages()[1] == line + after) << messages()[1];
    }
}

TEST_F(FinishedNotification, SetsNoneWhenItIsNotTrusted)
{
    setLoadSettings("<key>WebToolTrustFinishedNotification</key><false/>");
    finishProgress();
    EXPECT_EQ(messages(), (Lines{"Progress finished"}));
}

// A page whose frames never end is left ten seconds after the view's last report.
TEST_F(FinishedNotification, EndsTheWaitForAPageThatNeverStopsLoading)
{
    const double begin = support::now();
    load(u"http://h/", [this](Engine& told, const NSURLRequest&) {
        told.openPage(Engine::main, u"http://h/", u"<p>");
        finishProgress();
    });
    EXPECT_GE(support::now() - begin, 10);
    EXPECT_EQ(messagesThatBegin("Timing out").size(), 1U);
    EXPECT_FALSE(loader().error());
}

class ProgressNotices : public ArchiveLoaderTest { };

TEST_F(ProgressNotices, TellTheShortestTextOfTheFraction)
{
    const std::string name = "com.brackenlow.Tarnwick.webtool.progress.an id";
    support::BusListener listener(bus().address(), name);
    static_cast<void>(loader());
    setLoadSettings("<key>WebToolMaxTriesBeforeTimeout</key><integer>0</integer>");
    loader().loadURL(address(u"http://h/"), u"an id");
    // The last ones are those of downloads whose length is unknown or zero.
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double undefined = std::numeric_limits<double>::quiet_NaN();
    for (const double fraction : {0.0, 0.5, 0.1, 1.0 / 3, 1.0, -5000.0, infinity, undefined})
        loader().postProgress(fraction);
    const auto& notices = listener.waitForNotices(8, std::chrono::seconds(20));
    ASSERT_EQ(notices.size(), 8U);
    Lines objects;
    for (const support::BusNotice& notice : notices) {
        EXPECT_EQ(notice.name, name);
        EXPECT_EQ(notice.userInfo, "{}");
        objects.push_back(notice.object);
    }
    EXPECT_EQ(objects, (Lines{"0", "0.5", "0.1", "0.3333333333333333", "1", "-5000", "inf", "nan"}));
    EXPECT_EQ(messages(),
        (Lines{"progress: 0.000000", "progress: 0.500000", "progress: 0.100000", "progress: 0.333333", "progress: 1.000000",
            "progress: -5000.000000", "progress: inf", "progress: nan"}));
}

// Before each slice; so the end of a load is told only by what comes after it.
TEST_F(ProgressNotices, AreSentBeforeEachSlice)
{
    support::BusListener listener(bus().address(), "com.brackenlow.Tarnwick.webtool.progress.uid");
    load(u"http://h/", [](Engine& told, const NSURLRequest&) {
        told.openPage(Engine::main, u"http://h/", u"<p>");
        told.after(0.3, [](Engine& later) { later.finish(Engine::main); });
    });
    const auto& notices = listener.waitForNotices(2, std::chrono::seconds(20));
    ASSERT_GE(notices.size(), 2U);
    EXPECT_EQ(notices[0].object, "0");
    EXPECT_EQ(notices.size(), messagesThatBegin("progress: ").size());
}

class ClientRedirects : public ArchiveLoaderTest {
protected:
    static constexpr const char* Flagged = "<key>WebToolClientRedirectDomains</key><array><string>h</string></array>";
    [[nodiscard]] double timeOfResponse()
    {
        const double begin = support::now();
        loader().webViewResourceDidReceiveResponse(
            loader().view(), u"http://h/", support::response(u"http://h/", u"text/html"), {});
        return support::now() - begin;
    }
};

TEST_F(ClientRedirects, OfOtherSitesHaveNoWaitOfTheirOwn)
{
    load(u"http://h/", [](Engine& told, const NSURLRequest&) {
        told.openPage(Engine::main, u"http://h/", u"<p>");
        told.redirectByClient(Engine::main, u"http://h/next", 5);
        told.clearClientRedirect(Engine::main);
        told.finish(Engine::main);
    });
    EXPECT_EQ(messagesThatBegin("willPerform"), (Lines{"willPerformClientRedirectToURL: http://h/next"}));
    EXPECT_EQ(messagesThatBegin("didCancel"), (Lines{"didCancelClientRedirectForFrame: http://h/"}));
    EXPECT_EQ(messagesThatBegin("Extra wait").size(), 1U);
    EXPECT_EQ(messagesThatBegin("Extra wait"), (Lines{"Extra wait in loop for WebView to finish loading: (null)"}));
    EXPECT_LT(timeOfResponse(), 1);
}

// Other news arrives during the wait.
TEST_F(ClientRedirects, OfFlaggedSitesAreGivenTwoSecondsAtEachResponse)
{
    setLoadSettings(std::string(Flagged) + "<key>WebToolMaxTriesBeforeTimeout</key><integer>0</integer>");
    loadPage();
    bool hasHeard = false;
    engine->later([&](Engine&) { hasHeard = true; });
    const double time = timeOfResponse();
    EXPECT_GE(time, 1.99);
    EXPECT_LT(time, 10);
    EXPECT_TRUE(hasHeard);
}

TEST_F(ClientRedirects, OfFlaggedSitesMoveTheGracePeriodsEnd)
{
    setLoadSettings(Flagged);
    const double begin = support::now();
    load(u"http://h/", [](Engine& told, const NSURLRequest&) {
        told.start(Engine::main, u"http://h/");
        told.redirectByClient(Engine::main, u"http://h/next", 0);
        told.fail(Engine::main, NSURLErrorCancelled);
    });
    EXPECT_GE(support::now() - begin, 2.0);
    EXPECT_TRUE(messagesThatBegin("Extra wait in loop for WebView to finish loading: (null)").empty());
    EXPECT_EQ(messagesThatBegin("Using CDN workaround for domain: "), (Lines{"Using CDN workaround for domain: h"}));
}

TEST_F(ClientRedirects, OfNoFrameAreLogged)
{
    loader().webViewDidCancelClientRedirectForFrame(loader().view(), nullptr);
    loader().webViewDidCancelClientRedirectForFrame(loader().view(), mainFrame());
    EXPECT_EQ(messages(), (Lines(2, "didCancelClientRedirectForFrame: (null)")));
}

class ReportedAddress : public ArchiveLoaderTest {
protected:
    void loadWithRedirects(const NSString& url)
    {
        load(url, [](Engine& told, const NSURLRequest& request) {
            told.start(Engine::main, request.URL().absoluteString());
            told.redirect(Engine::main, u"http://h/second?a#b");
            told.redirect(Engine::main, u"https://other/third");
            told.respond(Engine::main, u"text/html");
            told.commit(Engine::main);
            const ResourceID picture = told.request(Engine::main, u"http://h/a.png");
            told.redirectResource(picture, u"http://h/b.png");
            told.failResource(picture, NSURLErrorCancelled);
            told.finish(Engine::main);
        });
    }
};

TEST_F(ReportedAddress, IsThePreparedOneWithoutRedirects)
{
    loadPage(u"feed://h/a");
    EXPECT_EQ(loader().newURLString(), NSString(u"http://h/a"));
}

TEST_F(ReportedAddress, IsWhereTheMainRequestsRedirectsLed)
{
    loadWithRedirects(u"http://h/first");
    EXPECT_EQ(loader().newURLString(), NSString(u"https://other/third"));
}

TEST_F(ReportedAddress, StaysWithAProcessingPrefix)
{
    setLoadSettings("<key>WebToolURLProcessingPrefix</key><string>http://proxy/</string>");
    loadWithRedirects(u"http://h/first");
    EXPECT_EQ(loader().newURLString(), NSString(u"http://h/first"));
}

// A substituted host is loaded, and is what the first request of the page goes to.
TEST_F(ReportedAddress, IsTheSubstitutedOneOnceItWasAskedFor)
{
    setLoadSettings("<key>WebToolHostSubstitutions</key><array><array><string>h</string><string>new</string></array></array>");
    loadPage(u"http://h/a");
    EXPECT_EQ(loader().newURLString(), NSString(u"http://new/a"));
}

TEST_F(ReportedAddress, FollowsRequestsOfTheMainAddressOnlyAndLeavesThemAsTheyAre)
{
    loadPage(u"http://h/first");
    WebView& view = loader().view();
    const NSURLRequest other = support::requestFor(u"http://h/other");
    EXPECT_EQ(loader().webViewIdentifierForInitialRequest(view, other, {}), Value(other.URL()));
    EXPECT_EQ(loader().webViewResourceWillSendRequest(view, other.URL(), other, {}, {}), other);
    EXPECT_EQ(loader().newURLString(), NSString(u"http://h/first"));
    EXPECT_EQ(loader().webViewResourceWillSendRequest(view, address(u"http://h/first"), other, {}, {}), other);
    EXPECT_EQ(loader().newURLString(), NSString(u"http://h/other"));
}

class LoadedTitle : public ArchiveLoaderTest { };

TEST_F(LoadedTitle, IsThePages)
{
    load(u"http://h/", [](Engine& told, const NSURLRequest&) {
        told.openPage(Engine::main, u"http://h/", u"<p>");
        told.title(Engine::main, u"T");
        told.finish(Engine::main);
    });
    EXPECT_EQ(loader().pageTitle(), NSString(u"T"));
}

TEST_F(LoadedTitle, IsTheLoadedAddressWhenThePageHasNone)
{
    setLoadSettings("<key>WebToolURLProcessingPrefix</key><string>http://proxy/?</string>");
    loadPage(u"http://h/a");
    EXPECT_EQ(loader().pageTitle(), NSString(u"http://proxy/?http://h/a"));
    EXPECT_EQ(loader().newURLString(), NSString(u"http://h/a"));
}

}
