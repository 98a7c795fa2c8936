#include "Support/StandardErrorCapture.h"
#include "Tools/ToolTest.h"
#include "Tools/webtool.h"

namespace {

// Whole runs, from the arguments to the record.
class Run : public ArchiveLoaderTest {
protected:
    // Runs the tool with the program's name and `arguments`.
    support::ResultRecord run(std::vector<Value> arguments)
    {
        arguments.insert(arguments.begin(), u"twwebtool");
        const support::StandardErrorCapture capture;
        EXPECT_EQ(runWebTool(NSArray(std::move(arguments)), engineMaker()), 0);
        return record();
    }
    [[nodiscard]] NSString outputPath() const { return NSString::stringWithRepairedUTF8(folder.pathOf("page.webarchive")); }

private:
    support::EnvironmentVariable _noSystemLog{"QVRIsInXcode", "YES"};
};

TEST_F(Run, WithTooFewOrTooManyArgumentsEndsBeforeAnythingIsStarted)
{
    const std::vector<std::vector<Value>> rows = {{}, {u"http://h/"}, {u"http://h/", u"/p"},
        {u"http://h/", u"/p", u"uid", u"pdf", u"more"}, {u"http://h/", u"/p", u"uid", u"webloc", u"", u""}};
    for (const std::vector<Value>& row : rows) {
        SCOPED_TRACE(row.size());
        const support::ResultRecord answer = run(row);
        EXPECT_EQ(answer.keys, (Lines{"succeeded", "errorData", "errorString"}));
        EXPECT_EQ(answer.errorString, "wrong number of arguments");
        const support::ArchivedError error = archivedError();
        EXPECT_EQ(error.domain, "com.brackenlow.tarnwick.webtool");
        EXPECT_EQ(error.code, 1);
        EXPECT_EQ(error.userInfo.size(), 1U);
    }
    EXPECT_TRUE(engineOptions.empty());
}

// The count is judged first.
TEST_F(Run, WithTooFewArgumentsAndABadAddressTellsTheCount)
{
    EXPECT_EQ(run({u"h"}).errorString, "wrong number of arguments");
}

TEST_F(Run, WithAnUnusableAddressEndsBeforeAnythingIsStarted)
{
    for (const NSString& row : {NSString(u""), NSString(u"h"), NSString(u"www.example.com"), NSString(u"http:h"),
             NSString(u"http:/h/p"), NSString(u"mailto:a@b"), NSString(u"http://h/a b"), NSString(u"http://h/\u00e9"),
             NSString(u"http://h/%zz"), NSString(u"http://h:x y/")}) {
        SCOPED_TRACE(row.UTF8());
        const support::ResultRecord answer = run({row, outputPath(), u"uid"});
        EXPECT_EQ(answer.keys, (Lines{"succeeded", "errorData", "errorString", "url"}));
        EXPECT_EQ(answer.url, row.UTF8());
        const support::ArchivedError error = archivedError();
        EXPECT_EQ(error.domain, "NSURLErrorDomain");
        EXPECT_EQ(error.code, -1000);
        EXPECT_EQ(error.value(NSURLErrorFailingURLStringErrorKey.UTF8()), row.UTF8());
    }
    EXPECT_TRUE(engineOptions.empty());
}

struct AddressRow {
    NSString given;
    NSString loaded;
};

// Two slashes anywhere make an address usable; its scheme is repaired later.
TEST_F(Run, TakesEveryAddressWithTwoSlashes)
{
    onEngine = [](Engine& made) {
        made.onLoad = [](Engine& told, const NSURLRequest& request) {
            told.showPage(Engine::main, request.URL().absoluteString(), u"<p>");
        };
    };
    for (const AddressRow& row : {AddressRow{u"http://h/a", u"http://h/a"}, AddressRow{u"feed://h/x", u"http://h/x"},
             AddressRow{u"//h/x", u"http:"}, AddressRow{u"x:a//b", u"http:a//b"}}) {
        SCOPED_TRACE(row.given.UTF8());
        const support::ResultRecord answer = run({row.given, outputPath(), u"uid"});
        EXPECT_TRUE(answer.hasSucceeded());
        EXPECT_EQ(answer.url, row.loaded.UTF8());
    }
}

TEST_F(Run, SavesAWebArchiveWithTheTitleThatThePageHas)
{
    onEngine = [](Engine& made) {
        made.onLoad = [](Engine& told, const NSURLRequest&) {
            told.openPage(Engine::main, u"http://h/", u"<p>");
            told.title(Engine::main, u"A title");
            told.finish(Engine::main);
        };
    };
    const support::ResultRecord answer = run({u"http://h/", outputPath(), u"uid"});
    EXPECT_EQ(answer.keys, (Lines{"succeeded", "title", "url", "path"}));
    EXPECT_EQ(answer.title, "A title");
    EXPECT_EQ(answer.url, "http://h/");
    EXPECT_EQ(answer.path, outputPath().UTF8());
    EXPECT_TRUE(std::filesystem::exists(answer.path.value()));
    EXPECT_EQ(engineOptions.size(), 1U);
}

TEST_F(Run, InTitleModeEndsWithTheTitleAndStillWritesTheArchive)
{
    setSettings("<key>WebToolExtraLoadingTime</key><integer>60</integer>");
    onEngine = [](Engine& made) {
        made.onLoad = [](Engine& told, const NSURLRequest&) {
            told.openPage(Engine::main, u"http://h/", u"<p>");
            told.title(Engine::main, u"A title");   // it never finishes
        };
    };
    const support::ResultRecord answer = run({u"http://h/", outputPath(), u"uid", u"webloc"});
    EXPECT_TRUE(answer.hasSucceeded());
    EXPECT_EQ(answer.title, "A title");
    EXPECT_TRUE(std::filesystem::exists(answer.path.value()));
}

TEST_F(Run, WithAFatalErrorTellsTheAddressAndNoPath)
{
    onEngine = [](Engine& made) {
        made.onLoad = [](Engine& told, const NSURLRequest&) {
            told.start(Engine::main, u"http://h/");
            told.fail(Engine::main, NSURLErrorCannotFindHost);
        };
    };
    const support::ResultRecord answer = run({u"http://h/", outputPath(), u"uid"});
    EXPECT_EQ(answer.keys, (Lines{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(answer.errorString, "A server with the specified hostname could not be found.");
    EXPECT_FALSE(std::filesystem::exists(outputPath().UTF8()));
}

TEST_F(Run, LogsByTheHostsSettings)
{
    setSettings("<key>LogWebTool</key><true/>");
    support::StandardErrorCapture capture;
    EXPECT_EQ(runWebTool(NSArray{u"twwebtool"}, engineMaker()), 0);
    EXPECT_NE(capture.take().find("[LogWebTool]"), std::string::npos);
    setSettings("");
    EXPECT_EQ(runWebTool(NSArray{u"twwebtool"}, engineMaker()), 0);
    EXPECT_EQ(capture.take(), "");
}

TEST_F(Run, EndsAlsoWhenTheRecordCannotBeWritten)
{
    const support::EnvironmentVariable outPath("OutPath", folder.pathOf("missing/record.plist").c_str());
    support::StandardErrorCapture capture;
    EXPECT_EQ(runWebTool(NSArray{u"twwebtool"}, engineMaker()), 0);
    EXPECT_NE(capture.take().find("Error writing output to " + folder.pathOf("missing/record.plist") + ": "), std::string::npos);
    EXPECT_TRUE(support::namesIn(folder.path()).empty());
}

}
