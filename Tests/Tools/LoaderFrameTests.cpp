#include "Tools/LoaderTest.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSURLCache.h"
#include "Platform/Web/NSURLAuthenticationChallenge.h"
#include "QVRErrorDescription.h"

namespace {

class LoaderAtFirst : public LoaderTest { };

TEST_F(LoaderAtFirst, HasAViewOfALettersWidthAndNothingLoading)
{
    EXPECT_EQ(loader().view().frame().size.width, 612);
    EXPECT_EQ(loader().view().frame().size.height, 612);
    EXPECT_EQ(loader().view().frame().origin.x, 0);
    EXPECT_EQ(loader().view().frame().origin.y, 0);
    EXPECT_EQ(mainFrame()->name(), NSString(u""));
    EXPECT_EQ(loader().view().groupName().length(), 0U);
    EXPECT_EQ(objectsLoading().count(), 0U);
    EXPECT_FALSE(loader().error());
    EXPECT_FALSE(loader()._timeoutDate);
    EXPECT_FALSE(loader()._finishDate);
    EXPECT_EQ(loader().view().frameLoadDelegate(), &loader());
    EXPECT_EQ(loader().view().policyDelegate(), &loader());
    EXPECT_EQ(loader().view().resourceLoadDelegate(), &loader());
}

TEST_F(LoaderAtFirst, AsksForAnEngineOfThatSizeAtThePathOfTheSetting)
{
    static_cast<void>(loader());
    setSettings("<key>WebToolEnginePath</key><string>/opt/engine</string>");
    forgetLoader();
    static_cast<void>(loader());
    setSettings("<key>WebToolEnginePath</key><integer>7</integer>");
    forgetLoader();
    static_cast<void>(loader());
    ASSERT_EQ(engineOptions.size(), 3U);
    EXPECT_EQ(engineOptions[0].viewSize.width, 612);
    EXPECT_EQ(engineOptions[0].viewSize.height, 612);
    EXPECT_TRUE(engineOptions[0].enginePath.isAbsent());
    EXPECT_EQ(engineOptions[1].enginePath, NSString(u"/opt/engine"));
    EXPECT_TRUE(engineOptions[2].enginePath.isAbsent());
}

TEST_F(LoaderAtFirst, HasEmptiedTheCacheForGood)
{
    NSURLCache& cache = NSURLCache::sharedURLCache();
    cache.setDiskCapacity(10);
    cache.setMemoryCapacity(10);
    const uint64_t generation = cache.generation();
    static_cast<void>(loader());
    EXPECT_EQ(cache.diskCapacity(), 0U);
    EXPECT_EQ(cache.memoryCapacity(), 0U);
    EXPECT_GT(cache.generation(), generation);
}

TEST_F(LoaderAtFirst, HasNoAreaUnlessASubclassNamesOne)
{
    class WithoutArea final : public Loader {
    public:
        using Loader::Loader;
    };
    const WithoutArea bare(engineMaker());
    try {
        static_cast<void>(bare.logArea());
        FAIL() << "it gave an area";
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), NSInvalidArgumentException);
    }
}

// What the engine reports while it is being made is told in the area of the subclass, which is there only later; once.
TEST_F(LoaderAtFirst, LogsTheEnginesReportWithTheFirstWait)
{
    const PageEngineMaker reporting = [make = engineMaker()](const PageEngineOptions& options) {
        options.report(u"without 100%@ of it");
        return make(options);
    };
    BareLoader reported(reporting);
    EXPECT_TRUE(logged.empty());
    reported.waitUntilDone();
    reported.waitUntilDone();
    EXPECT_EQ(messages()[0], "without 100%@ of it");
    EXPECT_EQ(messagesThatBegin("without").size(), 1U);
}

TEST_F(LoaderAtFirst, HearsItsOwnViewsProgressOnly)
{
    static_cast<void>(loader());
    NSNotificationCenter::defaultCenter().postNotificationName(WebViewProgressFinishedNotification, this);
    EXPECT_TRUE(messages().empty());
    NSNotificationCenter::defaultCenter().postNotificationName(WebViewProgressFinishedNotification, &loader().view());
    EXPECT_EQ(messages(), (Lines{"Progress finished"}));
    const ObjectIdentity view = &loader().view();
    forgetLoader();
    NSNotificationCenter::defaultCenter().postNotificationName(WebViewProgressFinishedNotification, view);
    EXPECT_EQ(messages().size(), 1U);
}

class Frames : public LoaderTest {
protected:
    Frames() { loader().startLoading(); }
};

TEST_F(Frames, StandForThePageFromTheirFirstStartToTheirEnd)
{
    EXPECT_EQ(objectsLoading(), (NSArray{u"rootPage"}));
    engine->start(Engine::main, u"http://h/");
    EXPECT_EQ(objectsLoading(), (NSArray{mainFrame()}));
    engine->respond(Engine::main, u"text/html");
    engine->commit(Engine::main);
    engine->attachFrame("f");
    engine->start("f", u"http://h/f");
    EXPECT_EQ(objectsLoading(), (NSArray{mainFrame(), child()}));
    engine->finish(Engine::main);
    EXPECT_EQ(objectsLoading(), (NSArray{child()}));
    engine->respond("f", u"text/html");
    engine->commit("f");
    engine->finish("f");
    EXPECT_EQ(objectsLoading().count(), 0U);
    EXPECT_FALSE(loader().error());
}

TEST_F(Frames, AreMarkedOnceForEachRequest)
{
    loader().startLoading();
    EXPECT_EQ(objectsLoading(), (NSArray{u"rootPage", u"rootPage"}));
    engine->start(Engine::main, u"http://h/");
    EXPECT_EQ(objectsLoading(), (NSArray{mainFrame()}));
}

TEST_F(Frames, ThatAreBlankAreNotWaitedFor)
{
    engine->start(Engine::main, u"http://h/");
    engine->respond(Engine::main, u"text/html");
    engine->commit(Engine::main);
    for (const char16_t* blank : {u"about:blank", u"about:srcdoc"}) {
        engine->attachFrame("f");
        engine->start("f", blank);
        EXPECT_EQ(objectsLoading(), (NSArray{mainFrame()}));
        EXPECT_EQ(messages().back(), text(u"didStartProvisionalLoadForFrame: %@ %@", child()->description(), blank));
        engine->detachFrame("f");
    }
}

// Even a blank main frame stands for the page, which is then done.
TEST_F(Frames, ThatAreBlankTakeTheMarkAway)
{
    engine->start(Engine::main, u"about:blank");
    EXPECT_EQ(objectsLoading().count(), 0U);
}

TEST_F(Frames, WithoutAProvisionalAddressAreWaitedFor)
{
    loader().webViewDidStartProvisionalLoadForFrame(loader().view(), mainFrame());
    EXPECT_EQ(objectsLoading(), (NSArray{mainFrame()}));
    EXPECT_EQ(messages(), (Lines{text(u"didStartProvisionalLoadForFrame: %@ (null)", mainFrame()->description())}));
}

TEST_F(Frames, ThatAreNotThereAreOnlyLogged)
{
    loader().webViewDidStartProvisionalLoadForFrame(loader().view(), nullptr);
    EXPECT_EQ(objectsLoading().count(), 0U);
    EXPECT_EQ(messagesWithoutArea(), (Lines{"didStartProvisionalLoadForFrame got nil frame"}));
    EXPECT_EQ(messages(), (Lines{"didStartProvisionalLoadForFrame: (null) (null)"}));
}

TEST_F(Frames, ThatFailLeaveTheirErrorOnlyWhenItIsTheMainOne)
{
    engine->start(Engine::main, u"http://h/");
    engine->respond(Engine::main, u"text/html");
    engine->commit(Engine::main);
    engine->attachFrame("f");
    engine->start("f", u"http://h/f");
    engine->fail("f", NSURLErrorCannotFindHost);
    EXPECT_FALSE(loader().error());
    EXPECT_EQ(objectsLoading(), (NSArray{mainFrame()}));
    engine->start("f", u"http://h/g");
    engine->respond("f", u"text/html");
    engine->commit("f");
    engine->fail("f", NSURLErrorNetworkConnectionLost);
    EXPECT_FALSE(loader().error());
    EXPECT_EQ(objectsLoading(), (NSArray{mainFrame()}));
    engine->fail(Engine::main, NSURLErrorNetworkConnectionLost);
    EXPECT_EQ(loader().error().code(), NSURLErrorNetworkConnectionLost);
    EXPECT_EQ(objectsLoading().count(), 0U);
}

TEST_F(Frames, LogTheirFailuresInFull)
{
    const NSError error(NSURLErrorDomain, NSURLErrorCannotFindHost, {{u"key", u"value"}});
    loader().webViewDidFailProvisionalLoadWithError(loader().view(), error, mainFrame());
    EXPECT_EQ(loader().error(), error);
    loader().webViewDidFailLoadWithError(loader().view(), error, mainFrame());
    const std::string full = qvrFullDescription(error).UTF8();
    EXPECT_EQ(messages(), (Lines{"didFailProvisionalLoadWithError: " + full, "didFailLoadWithError: " + full}));
}

class Policies : public LoaderTest { };

TEST_F(Policies, UseOnlyWhatThePageOrTheProgramLoadsByItself)
{
    static_cast<void>(loader());
    for (const auto& [type, answer] :
        {std::pair(NavigationType::LinkClicked, PolicyAnswer::Ignore),
            std::pair(NavigationType::FormSubmitted, PolicyAnswer::Ignore),
            std::pair(NavigationType::BackForward, PolicyAnswer::Ignore), std::pair(NavigationType::Reload, PolicyAnswer::Ignore),
            std::pair(NavigationType::FormResubmitted, PolicyAnswer::Ignore),
            std::pair(NavigationType::Other, PolicyAnswer::Use)}) {
        EXPECT_EQ(engine->askNavigation(Engine::main, u"http://h/", type), answer) << static_cast<int>(type);
        engine->attachFrame("f");
        EXPECT_EQ(engine->askNavigation("f", u"http://h/", type), answer) << static_cast<int>(type);
        engine->detachFrame("f");
    }
}

TEST_F(Policies, IgnoreNewWindowsOfEveryKind)
{
    for (int64_t type = WebNavigationTypeLinkClicked; type <= WebNavigationTypeOther; ++type) {
        std::vector<WebPolicyDecisionListener::Answer> answers;
        const auto listener = std::make_shared<WebPolicyDecisionListener>(
            [&](WebPolicyDecisionListener::Answer answer) { answers.push_back(answer); });
        loader().webViewDecidePolicyForNewWindowAction(
            loader().view(), {{WebActionNavigationTypeKey, type}}, support::requestFor(u"http://h/"), u"name", listener);
        EXPECT_EQ(answers, (std::vector{WebPolicyDecisionListener::Answer::Ignore}));
    }
}

TEST_F(Policies, CancelDemandsForCredentialsAndRememberThem)
{
    class Sender final : public NSURLAuthenticationChallengeSender {
    public:
        void cancelAuthenticationChallenge(const NSURLAuthenticationChallenge&) override { ++cancels; }
        int cancels = 0;
    };
    const auto sender = std::make_shared<Sender>();
    loader()._error = NSError(NSURLErrorDomain, NSURLErrorTimedOut);
    const NSURLAuthenticationChallenge challenge(support::response(u"http://h/", u"text/html", {}, 401), sender);
    loader().webViewResourceDidReceiveAuthenticationChallenge(loader().view(), u"http://h/", challenge, {});
    EXPECT_EQ(sender->cancels, 1);
    EXPECT_EQ(loader().error(), NSError(NSURLErrorDomain, NSURLErrorUserAuthenticationRequired));
    EXPECT_EQ(loader().error().userInfo().count(), 0U);
}

TEST_F(Policies, CancelDemandsForCredentialsOfAnyResource)
{
    static_cast<void>(loader());
    engine->openPage(Engine::main, u"http://h/", u"<img>");
    engine->refuseAuthentication(engine->request(Engine::main, u"http://h/a.png"));
    EXPECT_EQ(loader().error().code(), NSURLErrorUserAuthenticationRequired);
}

class PageTitle : public LoaderTest { };

TEST_F(PageTitle, IsThatOfTheMainFrameOnceOneWasTold)
{
    static_cast<void>(loader());
    EXPECT_FALSE(loader().pageTitle());
    engine->openPage(Engine::main, u"http://h/", u"<iframe>");
    engine->attachFrame("f");
    engine->openPage("f", u"http://h/f", u"<p>");
    engine->title("f", u"Of the frame");
    EXPECT_FALSE(loader().pageTitle());
    EXPECT_FALSE(loader().hasPageTitle());
    engine->title(Engine::main, u"Of the page");
    EXPECT_EQ(loader().pageTitle(), NSString(u"Of the page"));
    EXPECT_TRUE(loader().hasPageTitle());
}

struct SettingRow {
    const char* value;   // of every key; none when empty
    int64_t timeout;
    bool plugIns;
    int64_t tries;
    int64_t extraTime;
    double margin;
};

class LoaderSettings : public LoaderTest { };

TEST_F(LoaderSettings, HaveDefaultsForMissingAndUnusableValues)
{
    for (const SettingRow& row : {SettingRow{"", 10, false, 3, 2, 36}, SettingRow{"<array/>", 10, false, 3, 2, 36},
             SettingRow{"<dict/>", 10, false, 3, 2, 36}, SettingRow{"<string>many</string>", 10, false, 3, 2, 36},
             SettingRow{"<data></data>", 10, false, 3, 2, 36}, SettingRow{"<integer>0</integer>", 0, false, 0, 0, 0},
             SettingRow{"<integer>7</integer>", 7, true, 7, 7, 7}, SettingRow{"<real>7.9</real>", 7, true, 7, 7, 7},
             SettingRow{"<integer>-1</integer>", -1, true, -1, -1, -1}, SettingRow{"<true/>", 1, true, 1, 1, 1},
             SettingRow{"<string>1</string>", 1, true, 1, 1, 1}}) {
        SCOPED_TRACE(row.value);
        std::string entries;
        for (const char* key : {"WebToolTimeout", "WebToolEnableWebPlugIns", "WebToolMaxTriesBeforeTimeout",
                 "WebToolExtraLoadingTime", "Web2PDFPageMargin"}) {
            if (*row.value)
                entries += std::string("<key>") + key + "</key>" + row.value;
        }
        setSettings(entries);
        loader().setJustTitle(false);
        EXPECT_EQ(loader().webToolTimeout(), row.timeout);
        EXPECT_EQ(loader().shouldEnablePlugIns(), row.plugIns);
        EXPECT_EQ(loader().maxTriesBeforeTimeout(), row.tries);
        EXPECT_EQ(loader().webToolExtraLoadingTime(), row.extraTime);
        EXPECT_EQ(loader().margin(), row.margin);
        loader().setJustTitle(true);
        EXPECT_EQ(loader().webToolExtraLoadingTime(), 0);
    }
}

}
