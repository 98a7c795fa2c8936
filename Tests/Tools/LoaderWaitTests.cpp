#include "Tools/LoaderTest.h"

#include "Platform/Foundation/NSAutoreleasePool.h"

namespace {

class Wait : public LoaderTest {
protected:
    static void showPage(Engine& told) { told.showPage(Engine::main, u"http://h/", u"<p>"); }
    [[nodiscard]] size_t passes() { return loader().progress.size(); }
};

TEST_F(Wait, WithoutAGracePeriodEndsWithTheFirstPassThatHasNothingLoading)
{
    const double begin = support::now();
    loadAndWait(showPage);
    EXPECT_EQ(passes(), 1U);
    EXPECT_GE(support::now() - begin, 0.199) << "a slice";
    EXPECT_EQ(objectsLoading().count(), 0U);
    EXPECT_FALSE(loader()._error);
}

TEST_F(Wait, GoesOnWhileAFrameIsLoading)
{
    loader().onPass = [this](size_t pass) {
        if (pass == 3)
            engine->finish(Engine::main);
    };
    loadAndWait([](Engine& told) { told.openPage(Engine::main, u"http://h/", u"<p>"); });
    EXPECT_EQ(passes(), 3U);
}

TEST_F(Wait, GoesOnWhileASubframeIsLoading)
{
    loader().onPass = [this](size_t pass) {
        if (pass == 3)
            engine->finish("f");
    };
    loadAndWait([](Engine& told) {
        told.openPage(Engine::main, u"http://h/", u"<iframe>");
        told.attachFrame("f");
        told.openPage("f", u"http://h/f", u"<p>");
        told.finish(Engine::main);
    });
    EXPECT_EQ(passes(), 3U);
}

// Between the request and the first news of it nothing is loading yet.
TEST_F(Wait, DoesNotEndBeforeTheFirstFrameHasStarted)
{
    loader().onPass = [this](size_t pass) {
        if (pass == 3)
            showPage(*engine);
    };
    loadAndWait([](Engine&) {});
    EXPECT_EQ(passes(), 3U);
}

TEST_F(Wait, LastsTwoSecondsLongerThanThePageUnlessSettingsSayOtherwise)
{
    setSettings("");
    const double begin = support::now();
    loadAndWait(showPage);
    EXPECT_GE(support::now() - begin, 2.2);
    EXPECT_LE(support::now() - begin, 10);
    EXPECT_EQ(messagesThatBegin("Extra wait in loop for WebView to finish loading: ").size(), passes());
    EXPECT_EQ(messagesThatBegin("Extra wait in loop for WebView to finish loading: (null)").size(), 1U);
}

TEST_F(Wait, HasItsGracePeriodFromTheFirstPassThatHasNothingLoading)
{
    setSettings("<key>WebToolExtraLoadingTime</key><integer>1</integer>");
    std::vector<double> finishDates;
    loader().onPass = [&](size_t pass) {
        finishDates.push_back(loader()._finishDate.date().timeIntervalSinceReferenceDate());
        if (pass == 2)
            engine->finish(Engine::main);
        if (pass == 4) {
            // A frame that loads in the grace period does not make it longer.
            engine->attachFrame("f");
            engine->start("f", u"http://h/f");
        }
        if (pass == 5)
            engine->fail("f", NSURLErrorCannotFindHost);
    };
    loadAndWait([](Engine& told) { told.openPage(Engine::main, u"http://h/", u"<p>"); });
    ASSERT_GE(finishDates.size(), 6U);
    EXPECT_EQ(finishDates[0], 0);
    EXPECT_EQ(finishDates[1], 0);
    for (size_t index = 2; index < finishDates.size(); ++index)
        EXPECT_EQ(finishDates[index], finishDates[2]);
    EXPECT_FALSE(loader()._finishDate) << "the next attempt has a grace period of its own";
}

TEST_F(Wait, HasNoGracePeriodWhereTheSettingIsBelowZero)
{
    for (const char* seconds : {"-1", "-9223372036854775808"}) {
        SCOPED_TRACE(seconds);
        forgetLoader();
        setSettings("<key>WebToolExtraLoadingTime</key><integer>" + std::string(seconds) + "</integer>");
        loadAndWait(showPage);
        EXPECT_EQ(passes(), 1U);
    }
}

TEST_F(Wait, OutlastsTheGracePeriodWhenAFrameIsLoadingAtItsEnd)
{
    loader().onPass = [&](size_t pass) {
        if (pass == 2)
            engine->finish("f");
    };
    // Attached by the log line at the end of the first pass, when nothing has been loading.
    onLog = [this](const std::string& message) {
        if (message.starts_with("Extra wait") && passes() == 1) {
            engine->attachFrame("f");
            engine->openPage("f", u"http://h/f", u"<p>");
        }
    };
    loadAndWait(showPage);
    EXPECT_EQ(passes(), 2U);
}

// Once over, the grace period stays over, whatever its date becomes.
TEST_F(Wait, HasOneGracePeriodOnly)
{
    loader().onPass = [&](size_t pass) {
        if (pass == 2) {
            engine->finish("f");
            loader().extendFinishDate(60);
        }
    };
    onLog = [this](const std::string& message) {
        if (message.starts_with("Extra wait") && passes() == 1) {
            engine->attachFrame("f");
            engine->openPage("f", u"http://h/f", u"<p>");
        }
    };
    loadAndWait(showPage);
    EXPECT_EQ(passes(), 2U);
}

TEST_F(Wait, EndsWhenTheDateForTheGracePeriodWasSetBefore)
{
    setSettings("<key>WebToolExtraLoadingTime</key><integer>60</integer>");
    loader().extendFinishDate(0.3);
    loadAndWait(showPage);
    EXPECT_EQ(passes(), 2U);
}

TEST_F(Wait, ForATitleEndsWithTheFirstPassAfterIt)
{
    setSettings("<key>WebToolExtraLoadingTime</key><integer>60</integer>");
    loader().setJustTitle(true);
    loadAndWait([](Engine& told) {
        told.openPage(Engine::main, u"http://h/", u"<p>");
        told.title(Engine::main, u"T");
    });
    EXPECT_EQ(passes(), 1U);
    EXPECT_EQ(objectsLoading().count(), 1U) << "it has not finished";
    EXPECT_TRUE(messagesThatBegin("Extra wait").empty());
    EXPECT_EQ(messages().back(), text(u"done loading: %@", objectsLoading()));
}

TEST_F(Wait, ForATitleHasNoGracePeriodWhenThereIsNone)
{
    setSettings("<key>WebToolExtraLoadingTime</key><integer>60</integer>");
    loader().setJustTitle(true);
    loadAndWait(showPage);
    EXPECT_EQ(passes(), 1U);
    EXPECT_FALSE(loader().hasPageTitle());
}

TEST_F(Wait, ForATitleIsNotEndedByThatOfASubframe)
{
    loader().setJustTitle(true);
    loader().onPass = [this](size_t pass) {
        if (pass == 3)
            engine->finish(Engine::main);
    };
    loadAndWait([](Engine& told) {
        told.openPage(Engine::main, u"http://h/", u"<iframe>");
        told.attachFrame("f");
        told.openPage("f", u"http://h/f", u"<p>");
        told.title("f", u"Of the frame");
        told.finish("f");
    });
    EXPECT_EQ(passes(), 3U);
}

TEST_F(Wait, ForAPageGoesOnAfterItsTitle)
{
    loader().onPass = [this](size_t pass) {
        if (pass == 3)
            engine->finish(Engine::main);
    };
    loadAndWait([](Engine& told) {
        told.openPage(Engine::main, u"http://h/", u"<p>");
        told.title(Engine::main, u"T");
    });
    EXPECT_EQ(passes(), 3U);
}

TEST_F(Wait, GivesUpAtTheTimeOutDateWithoutASlice)
{
    const NSError error(NSURLErrorDomain, NSURLErrorCannotFindHost);
    loader()._error = error;
    loader()._timeoutDate = Deadline::after(-0.001);
    loader().startLoading();
    loader().waitUntilDone();
    EXPECT_EQ(passes(), 0U);
    EXPECT_EQ(messages(), (Lines{"Loading 1 objects:", "    rootPage", "Timing out", "done loading: (\n    rootPage\n)"}));
    EXPECT_EQ(loader()._error, error);
    EXPECT_TRUE(loader()._timeoutDate) << "it stays in force";
}

TEST_F(Wait, GoesOnUntilTheTimeOutDate)
{
    loader()._timeoutDate = Deadline::after(0.3);
    loader().startLoading();
    loader().waitUntilDone();
    EXPECT_EQ(passes(), 2U);
    EXPECT_EQ(messagesThatBegin("Timing out").size(), 1U);
}

TEST_F(Wait, ClearsTheGracePeriodsDateAlsoWhenItGivesUp)
{
    loader().extendFinishDate(60);
    loader()._timeoutDate = Deadline::after(-1);
    loader().waitUntilDone();
    EXPECT_FALSE(loader()._finishDate);
}

// A title that is there counts more than a date that has passed.
TEST_F(Wait, ForATitleThatIsThereDoesNotTimeOut)
{
    loader().setJustTitle(true);
    static_cast<void>(mainFrame());
    engine->openPage(Engine::main, u"http://h/", u"<p>");
    engine->title(Engine::main, u"T");
    loader()._timeoutDate = Deadline::after(-1);
    loader().waitUntilDone();
    EXPECT_EQ(passes(), 0U);
    EXPECT_TRUE(messagesThatBegin("Timing out").empty());
}

TEST_F(Wait, PostsTheViewsProgressBeforeEachSlice)
{
    loader().onPass = [this](size_t pass) {
        EXPECT_EQ(loader().progress.back(), loader().view().estimatedProgress());
        if (pass == 2)
            engine->finish("f");
    };
    loadAndWait([](Engine& told) {
        told.openPage(Engine::main, u"http://h/", u"<iframe>");
        told.attachFrame("f");
        told.openPage("f", u"http://h/f", u"<p>");
        told.finish(Engine::main);
    });
    ASSERT_EQ(loader().progress.size(), 2U);
    EXPECT_EQ(loader().progress[0], 0);
    EXPECT_GT(loader().progress[1], 0.1);
    EXPECT_LT(loader().progress[1], 1);
}

TEST_F(Wait, LogsWhatItWaitsFor)
{
    loader().onPass = [this](size_t pass) {
        if (pass == 2)
            engine->commit(Engine::main);
        if (pass == 3)
            engine->finish(Engine::main);
    };
    loadAndWait([](Engine& told) {
        told.start(Engine::main, u"http://h/");
        told.respond(Engine::main, u"text/html");
    });
    const NSString frame = mainFrame()->description();
    EXPECT_EQ(messages(),
        (Lines{
            "Loading 1 objects:",
            "    rootPage",
            text(u"didStartProvisionalLoadForFrame: %@ http://h/", frame),
            "Loading 1 objects:",
            text(u"    %@: dataSource (null) ((null)); provisionalDataSource: http://h/ (text/html)", frame),
            "Loading 1 objects:",
            text(u"    %@: dataSource http://h/ (text/html); provisionalDataSource: (null) ((null))", frame),
            text(u"didFinishLoadForFrame: %@", frame),
            "Progress finished",
            "Extra wait in loop for WebView to finish loading: (null)",
            "done loading: (\n)",
        }));
    for (const Logged& each : logged)
        EXPECT_TRUE(each.prefix.starts_with("[LogWebTool] loader ")) << each.prefix;
}

TEST_F(Wait, IsSilentWhenTheAreaIsOff)
{
    QVRLogger::setUpWithPersistentDomainName(u"com.brackenlow.Tarnwick");
    loadAndWait(showPage);
    EXPECT_TRUE(logged.empty());
}

TEST_F(Wait, MayComeAgainWithAGracePeriodOfItsOwn)
{
    setSettings("<key>WebToolExtraLoadingTime</key><integer>1</integer>");
    loadAndWait(showPage);
    const size_t first = passes();
    loadAndWait(showPage);
    EXPECT_GE(first, 6U);
    EXPECT_GE(passes() - first, 6U);
}

struct PoolRow {
    const char* name;
    const char* settings;
    bool hasPools;
};

TEST_F(Wait, HasAPoolForEachPassUnlessSettingsSayOtherwise)
{
    for (const PoolRow& row : {PoolRow{"default", "", true}, PoolRow{"on", "<key>LoaderUsePool</key><true/>", true},
             PoolRow{"off", "<key>LoaderUsePool</key><false/>", false},
             PoolRow{"no boolean", "<key>LoaderUsePool</key><array/>", true}}) {
        SCOPED_TRACE(row.name);
        setSettings(std::string("<key>WebToolExtraLoadingTime</key><integer>0</integer>") + row.settings);
        forgetLoader();
        std::weak_ptr<const int> kept;
        bool isKeptInTheNextPass = false;
        loader().onPass = [&](size_t pass) {
            if (pass == 1) {
                const auto object = std::make_shared<const int>(1);
                kept = object;
                NSAutoreleasePool::autorelease(object);
            } else {
                isKeptInTheNextPass = !kept.expired();
                showPage(*engine);
            }
        };
        {
            const NSAutoreleasePool outer;
            loadAndWait([](Engine&) {});
            EXPECT_EQ(isKeptInTheNextPass, !row.hasPools);
            EXPECT_EQ(kept.expired(), row.hasPools);
        }
        EXPECT_TRUE(kept.expired());
    }
}

// Deliberate: the pool of a pass that ends early is left to the one around it.
TEST_F(Wait, LeavesThePoolOfItsLastPassOpenWhenItEndsEarly)
{
    for (const bool isTimeout : {true, false}) {
        SCOPED_TRACE(isTimeout);
        forgetLoader();
        loader().setJustTitle(!isTimeout);
        static_cast<void>(mainFrame());
        engine->openPage(Engine::main, u"http://h/", u"<p>");
        engine->title(Engine::main, u"T");
        loader()._timeoutDate = Deadline::after(-1);
        std::weak_ptr<const int> kept;
        onLog = [&](const std::string& message) {
            if (!message.starts_with("Loading"))
                return;
            const auto object = std::make_shared<const int>(1);
            kept = object;
            NSAutoreleasePool::autorelease(object);
        };
        {
            const NSAutoreleasePool outer;
            loader().waitUntilDone();
            EXPECT_FALSE(kept.expired());
        }
        EXPECT_TRUE(kept.expired());
        onLog = nullptr;
    }
}

}
