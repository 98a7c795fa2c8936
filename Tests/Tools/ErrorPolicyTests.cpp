#include "Tools/ToolTest.h"

namespace {

class ErrorPolicy : public ArchiveLoaderTest {
protected:
    static NSError cancelled()
    {
        return NSError(NSURLErrorDomain, NSURLErrorCancelled, {{NSURLErrorFailingURLStringErrorKey, u"http://h/a"}});
    }
};

struct FatalRow {
    const char* name;
    NSError error;
    const char* settings;
    bool isFatal;
    const char* message;           // in the tool's area; none when empty
    const char16_t* freeMessage;   // without an area, "%@" being the error
};

TEST_F(ErrorPolicy, TellsWhatEndsTheRun)
{
    const std::string none;
    const std::string on = "<key>WebToolContinueAfterCancel</key><true/>";
    const std::string off = "<key>WebToolContinueAfterCancel</key><false/>";
    const std::string unusable = "<key>WebToolContinueAfterCancel</key><array/>";
    const NSError plain(NSURLErrorDomain, NSURLErrorCancelled);
    const char* const continues = "Continuing after cancelled loading of http://h/a";
    const std::vector<FatalRow> rows = {
        {"cancelled, not set", cancelled(), none.c_str(), false, continues, u""},
        {"cancelled, on", cancelled(), on.c_str(), false, continues, u""},
        {"cancelled, off", cancelled(), off.c_str(), true, "", u""},
        {"cancelled, unusable setting", cancelled(), unusable.c_str(), false, continues, u""},
        {"cancelled, no address", plain, none.c_str(), false, "Continuing after cancelled loading of (null)", u""},
        {"plug-in", NSError(WebKitErrorDomain, 204), none.c_str(), false, "", u"Continuing after error %@"},
        {"policy change", NSError(WebKitErrorDomain, 102), none.c_str(), false, "", u""},
        {"policy change, cancel off", NSError(WebKitErrorDomain, 102), off.c_str(), false, "", u""},
        {"restricted port", NSError(WebKitErrorDomain, 103), none.c_str(), true, "", u""},
        {"timed out", NSError(NSURLErrorDomain, NSURLErrorTimedOut), none.c_str(), true, "", u""},
        {"authentication", NSError(NSURLErrorDomain, NSURLErrorUserAuthenticationRequired), none.c_str(), true, "", u""},
        {"no host", NSError(NSURLErrorDomain, NSURLErrorCannotFindHost), none.c_str(), true, "", u""},
        {"cancel's number elsewhere", NSError(NSCocoaErrorDomain, NSURLErrorCancelled), none.c_str(), true, "", u""},
        {"plug-in's number elsewhere", NSError(NSURLErrorDomain, 204), none.c_str(), true, "", u""},
        {"policy's number elsewhere", NSError(NSURLErrorDomain, 102), none.c_str(), true, "", u""},
        {"cancelled by WebKit", NSError(WebKitErrorDomain, NSURLErrorCancelled), none.c_str(), true, "", u""},
    };
    for (const FatalRow& row : rows) {
        SCOPED_TRACE(row.name);
        setLoadSettings(row.settings);
        setError(row.error);
        logged.clear();
        EXPECT_EQ(loader().isErrorFatal(), row.isFatal);
        EXPECT_EQ(messages(), *row.message ? Lines{row.message} : Lines{});
        EXPECT_EQ(messagesWithoutArea(), *row.freeMessage ? Lines{text(row.freeMessage, row.error)} : Lines{});
        EXPECT_EQ(loader().error(), row.error) << "it stays";
    }
}

TEST_F(ErrorPolicy, GoesOnWithoutAnError)
{
    EXPECT_FALSE(loader().isErrorFatal());
    EXPECT_NO_THROW(loader().failIfFatalError());
    EXPECT_TRUE(logged.empty());
}

TEST_F(ErrorPolicy, EndsTheRunWithTheErrorAndTheReportedAddress)
{
    load(u"http://h/first", [](Engine& told, const NSURLRequest&) {
        told.start(Engine::main, u"http://h/first");
        told.redirect(Engine::main, u"http://h/second");
        told.fail(Engine::main, NSURLErrorNetworkConnectionLost);
    });
    EXPECT_THROW(loader().failIfFatalError(), RunEnded);
    EXPECT_EQ(record().keys, (Lines{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(record().url, "http://h/second");
    EXPECT_EQ(archivedError().code, NSURLErrorNetworkConnectionLost);
}

TEST_F(ErrorPolicy, DoesNotEndTheRunForAForgivenError)
{
    setError(cancelled());
    EXPECT_NO_THROW(loader().failIfFatalError());
    EXPECT_FALSE(std::filesystem::exists(recordPath()));
}

class ResourceFailure : public ArchiveLoaderTest {
protected:
    void failResource(int64_t code)
    {
        static_cast<void>(loader());
        engine->openPage(Engine::main, u"http://h/", u"<img>");
        logged.clear();
        engine->failResource(engine->request(Engine::main, u"http://h/a.png"), code);
    }
};

TEST_F(ResourceFailure, IsSurvivedUnlessSettingsSayOtherwise)
{
    failResource(NSURLErrorCannotFindHost);
    EXPECT_FALSE(loader().error());
    ASSERT_EQ(messagesWithoutArea().size(), 1U);
    EXPECT_TRUE(messagesWithoutArea()[0].starts_with("Tarnwick [twwebtool] Continuing after error loading resource: "));
    EXPECT_NE(messagesWithoutArea()[0].find("-1003"), std::string::npos) << messagesWithoutArea()[0];
}

TEST_F(ResourceFailure, IsTheLoadsWhenSettingsSaySo)
{
    setLoadSettings("<key>WebToolFailOnResourceLoadErrors</key><true/>");
    failResource(NSURLErrorCannotFindHost);
    EXPECT_EQ(loader().error().code(), NSURLErrorCannotFindHost);
    EXPECT_TRUE(loader().isErrorFatal());
    EXPECT_EQ(messagesWithoutArea(), (Lines{text(u"Tarnwick [twwebtool] Error loading resource: %@", loader().error())}));
}

TEST_F(ResourceFailure, IsToldWithTheErrorAsItIs)
{
    const NSError error(NSURLErrorDomain, NSURLErrorTimedOut, {{NSURLErrorFailingURLStringErrorKey, u"http://h/a"}});
    loader().webViewResourceDidFailLoadingWithError(loader().view(), u"http://h/a", error, {});
    EXPECT_EQ(messagesWithoutArea(), (Lines{text(u"Tarnwick [twwebtool] Continuing after error loading resource: %@", error)}));
    EXPECT_TRUE(messages().empty());
}

TEST_F(ResourceFailure, ThatIsACancelCountsForNothing)
{
    for (const char* settings : {"", "<key>WebToolFailOnResourceLoadErrors</key><true/>"}) {
        setLoadSettings(settings);
        failResource(NSURLErrorCancelled);
        EXPECT_FALSE(loader().error());
        EXPECT_TRUE(logged.empty());
    }
}

}
