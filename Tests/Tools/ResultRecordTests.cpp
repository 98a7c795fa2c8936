#include "Tools/ToolTest.h"

#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSUnarchiver.h"
#include "QVRErrorDescription.h"
#include "Support/Subprocess.h"

#include <chrono>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

class Record : public AnsweringTest {
protected:
    // Ends a run as the tool does; a test goes on.
    template <typename Finish>
    static void end(Finish finish)
    {
        EXPECT_THROW(finish(), RunEnded);
    }
};

struct FinishRow {
    const char* name;
    NSString title;
    NSString url;
    NSString path;
    std::vector<std::string> keys;   // without those that tell the outcome
};

const std::vector<FinishRow> finishRows = {
    {"nothing", {}, {}, {}, {}},
    {"title", u"T", {}, {}, {"title"}},
    {"address", {}, u"http://h/", {}, {"url"}},
    {"path", {}, {}, u"/p", {"path"}},
    {"title and path", u"T", {}, u"/p", {"title", "path"}},
    {"all", u"T", u"http://h/", u"/p", {"title", "url", "path"}},
    {"empty texts, which are given", u"", u"", u"", {"title", "url", "path"}},
};

std::vector<std::string> together(std::vector<std::string> keys, const std::vector<std::string>& more)
{
    keys.insert(keys.end(), more.begin(), more.end());
    return keys;
}

TEST_F(Record, OfSuccessHoldsWhatWasGivenInItsOrder)
{
    for (const FinishRow& row : finishRows) {
        SCOPED_TRACE(row.name);
        end([&] { finishWithErrorAndTitleAndURL({}, row.title, row.url, row.path); });
        EXPECT_EQ(record().keys, together({"succeeded"}, row.keys));
        EXPECT_EQ(record().succeeded, true);
        EXPECT_EQ(record().title.has_value(), !row.title.isAbsent());
        EXPECT_EQ(record().title.value_or(""), row.title.UTF8());
        EXPECT_EQ(record().url.value_or(""), row.url.UTF8());
        EXPECT_EQ(record().path.value_or(""), row.path.UTF8());
    }
}

TEST_F(Record, OfFailureTellsTheErrorBeforeWhatWasGiven)
{
    const NSError error(NSURLErrorDomain, NSURLErrorTimedOut);
    for (const FinishRow& row : finishRows) {
        SCOPED_TRACE(row.name);
        end([&] { finishWithErrorAndTitleAndURL(error, row.title, row.url, row.path); });
        EXPECT_EQ(record().keys, together({"succeeded", "errorData", "errorString"}, row.keys));
        EXPECT_EQ(record().succeeded, false);
        EXPECT_EQ(record().errorString, "The request timed out.");
        EXPECT_EQ(archivedError().domain, "NSURLErrorDomain");
        EXPECT_EQ(archivedError().code, -1001);
        EXPECT_TRUE(archivedError().userInfo.empty());
    }
}

TEST_F(Record, IsAnXMLPropertyListOfVersionOne)
{
    end([] { finishWithErrorAndTitleAndURL({}, u"a < b & \u00e9", {}, {}); });
    const std::string bytes = support::readFile(recordPath());
    EXPECT_TRUE(bytes.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC "
                                  "\"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                  "<plist version=\"1.0\">\n"))
        << bytes;
    EXPECT_EQ(record().title, "a < b & \xC3\xA9");
}

TEST_F(Record, IsWrittenForEveryTitleThatAPageCanHave)
{
    for (const std::u16string_view title : {std::u16string_view(u"a\u0001b"), std::u16string_view(u"a\0b", 3),
             std::u16string_view(u"\uFFFE\uFFFF"), std::u16string_view(u"a\r\nb\t"), std::u16string_view(u"]]>\U0001F600")}) {
        SCOPED_TRACE(NSString(title).UTF8());
        end([&] { finishWithErrorAndTitleAndURL({}, NSString(title), u"http://h/", {}); });
        EXPECT_TRUE(record().hasSucceeded());
        EXPECT_TRUE(record().title.has_value());
    }
}

TEST_F(Record, SaysInTheLogHowTheRunEnds)
{
    const NSError error(NSURLErrorDomain, NSURLErrorTimedOut, {{u"key", u"value"}});
    end([&] { finishWithErrorAndTitleAndURL(error, {}, {}, {}); });
    end([&] { finishWithErrorAndTitleAndURL({}, {}, {}, {}); });
    EXPECT_EQ(messages(), (Lines{"Finish with error: " + qvrFullDescription(error).UTF8(), "Finish with error: (null)"}));
}

// What is not asked for is not described either: descriptions of errors can be long.
TEST_F(Record, IsSilentWhenTheAreaIsOff)
{
    QVRLogger::setUpWithPersistentDomainName(u"com.brackenlow.Tarnwick");
    end([] { finishWithErrorAndTitleAndURL({}, {}, {}, {}); });
    EXPECT_TRUE(logged.empty());
}

TEST_F(Record, OfBadArgumentsTellsTheirCountOnly)
{
    end([] { finishWithBadArguments(NSArray{u"tool", u"a"}); });
    EXPECT_EQ(record().keys, (Lines{"succeeded", "errorData", "errorString"}));
    EXPECT_EQ(record().errorString, "wrong number of arguments");
    EXPECT_EQ(archivedError().domain, "com.brackenlow.tarnwick.webtool");
    EXPECT_EQ(archivedError().code, 1);
    ASSERT_EQ(archivedError().userInfo.size(), 1U);
    EXPECT_EQ(archivedError().value("NSLocalizedDescription"), "wrong number of arguments");
    // The arguments themselves are in the error, as the log shows.
    ASSERT_EQ(messages().size(), 1U);
    EXPECT_NE(messages()[0].find("arguments = ("), std::string::npos) << messages()[0];
    EXPECT_NE(messages()[0].find("\"tool\""), std::string::npos) << messages()[0];
}

TEST_F(Record, OfABadAddressTellsItTwice)
{
    end([] { finishWithBadURL(u"no address"); });
    EXPECT_EQ(record().keys, (Lines{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(record().url, "no address");
    EXPECT_EQ(record().errorString, "bad URL");
    EXPECT_EQ(archivedError().domain, "NSURLErrorDomain");
    EXPECT_EQ(archivedError().code, -1000);
    ASSERT_EQ(archivedError().userInfo.size(), 1U);
    EXPECT_EQ(archivedError().value("NSErrorFailingURLStringKey"), "no address");
}

// An error with every key that is kept, given in another order, and some that are not.
NSError crowdedError()
{
    return NSError(u"a.domain", -7,
        {{NSLocalizedRecoverySuggestionErrorKey, u"suggestion"}, {NSUnderlyingErrorKey, NSError(NSCocoaErrorDomain, 4)},
            {NSLocalizedFailureReasonErrorKey, u"reason"}, {NSURLErrorKey, NSURL::URLWithString(u"http://h/u")},
            {u"QVRUnderlyingException", u"exception"}, {NSFilePathErrorKey, u"/path"}, {u"list", NSArray{1, 2}},
            {NSLocalizedDescriptionKey, u"description"}, {NSURLErrorFailingURLStringErrorKey, u"http://h/f"}});
}

TEST_F(Record, KeepsOfAnErrorWhatTheHostCanReadInAFixedOrder)
{
    end([] { finishWithErrorAndTitleAndURL(crowdedError(), {}, {}, {}); });
    const support::ArchivedError error = archivedError();
    EXPECT_EQ(error.domain, "a.domain");
    EXPECT_EQ(error.code, -7);
    const std::vector<std::pair<std::string, std::string>> expected = {
        {NSURLErrorFailingURLStringErrorKey.UTF8(), "http://h/f"},
        {NSLocalizedDescriptionKey.UTF8(), "description"},
        {NSFilePathErrorKey.UTF8(), "/path"},
        {NSURLErrorKey.UTF8(), "http://h/u"},
        {NSLocalizedFailureReasonErrorKey.UTF8(), "reason"},
        {NSLocalizedRecoverySuggestionErrorKey.UTF8(), "suggestion"},
    };
    EXPECT_EQ(error.userInfo, expected);
}

TEST_F(Record, KeepsEachOfTheKeysAlone)
{
    for (const NSString& key : {NSURLErrorFailingURLStringErrorKey, NSLocalizedDescriptionKey, NSFilePathErrorKey,
             NSLocalizedFailureReasonErrorKey, NSLocalizedRecoverySuggestionErrorKey}) {
        SCOPED_TRACE(key.UTF8());
        end([&] { finishWithErrorAndTitleAndURL(NSError(u"d", 1, {{key, u"text"}, {u"other", u"x"}}), {}, {}, {}); });
        EXPECT_EQ(archivedError().userInfo, (std::vector<std::pair<std::string, std::string>>{{key.UTF8(), "text"}}));
    }
}

TEST_F(Record, ArchivesAnErrorSoThatThePlatformReadsItBack)
{
    const NSError read = NSUnarchiver::unarchiveObjectWithData(archiveError(crowdedError())).error();
    EXPECT_EQ(read.domain(), NSString(u"a.domain"));
    EXPECT_EQ(read.code(), -7);
    EXPECT_EQ(read.userInfo().count(), 6U);
    EXPECT_EQ(read.userInfo()[NSURLErrorKey].url(), NSURL::URLWithString(u"http://h/u"));
    EXPECT_EQ(read.localizedDescription(), NSString(u"description"));
}

TEST_F(Record, OfSomethingThatIsNoPropertyListIsEmpty)
{
    EXPECT_EQ(dataFromPropertyList({{u"error", NSError(u"d", 1)}}).length(), 0U);
    EXPECT_GT(dataFromPropertyList({{u"text", u"t"}}).length(), 0U);
}

TEST_F(Record, ReplacesAnOlderFile)
{
    folder.write("record.plist", "old");
    end([] { finishWithErrorAndTitleAndURL({}, {}, {}, {}); });
    EXPECT_TRUE(record().hasSucceeded());
    EXPECT_EQ(support::namesIn(folder.path()), (Lines{"record.plist"}));
}

class RecordThatCannotBeWritten : public ToolTest { };

TEST_F(RecordThatCannotBeWritten, IsLoggedAndNothingElse)
{
    folder.write("file", "kept");
    folder.makeFolder("folder");
    for (const char* name : {"missing/record.plist", "file/record.plist", "folder"}) {
        SCOPED_TRACE(name);
        const std::string path = folder.pathOf(name);
        const support::EnvironmentVariable outPath("OutPath", path.c_str());
        logged.clear();
        NSError failure;
        EXPECT_FALSE(
            NSData::dataWithBytes("x").writeToFile(NSString::stringWithRepairedUTF8(path), NSDataWritingAtomic, &failure));
        EXPECT_THROW(finishWithErrorAndTitleAndURL({}, {}, {}, {}), RunEnded);
        EXPECT_EQ(messagesWithoutArea(), (Lines{"Error writing output to " + path + ": " + qvrFullDescription(failure).UTF8()}));
    }
    EXPECT_EQ(support::readFile(folder.pathOf("file")), "kept");
    EXPECT_EQ(support::namesIn(folder.path()), (Lines{"file", "folder"}));
}

class RecordWithoutAFile : public ToolTest {
protected:
    // Calls with `output`, which is closed, as the standard output. Whether the call leaves it closed.
    template <typename Call>
    static bool callWithOutput(int output, Call call)
    {
        const support::EnvironmentVariable outPath("OutPath", nullptr);
        std::fflush(stdout);
        const int original = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
        ::dup2(output, STDOUT_FILENO);
        ::close(output);
        call();
        const bool isClosed = ::fcntl(STDOUT_FILENO, F_GETFD) < 0;
        ::dup2(original, STDOUT_FILENO);
        ::close(original);
        return isClosed;
    }

    // What the call writes to the standard output, and whether it leaves it closed.
    template <typename Call>
    std::string outputOf(Call call, bool& isClosed) const
    {
        const std::string path = folder.write("output", "");
        isClosed = callWithOutput(::open(path.c_str(), O_WRONLY | O_CLOEXEC), call);
        return support::readFile(path);
    }
};

TEST_F(RecordWithoutAFile, GoesToTheStandardOutputWhichIsClosed)
{
    bool isClosed = false;
    const std::string output =
        outputOf([] { EXPECT_THROW(finishWithErrorAndTitleAndURL({}, u"T", u"http://h/", u"/p"), RunEnded); }, isClosed);
    EXPECT_TRUE(isClosed);
    EXPECT_EQ(support::readRecord(output).keys, (Lines{"succeeded", "title", "url", "path"}));
}

TEST_F(RecordWithoutAFile, DoesNotEndTheRunWhenOnlyDataIsWritten)
{
    bool isClosed = false;
    EXPECT_EQ(outputOf([] { finishWithData(NSData::dataWithBytes("bytes")); }, isClosed), "bytes");
    EXPECT_TRUE(isClosed);
}

// A host may have made its end non-blocking, and the process's with it.
TEST_F(RecordWithoutAFile, WaitsForTheReaderOfAPipeThatDoesNotBlock)
{
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    ASSERT_EQ(::fcntl(ends[0], F_SETFL, 0), 0);
    const std::string bytes(1 << 20, 'x');
    std::string received;
    std::thread reader([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));   // the pipe is full by then
        std::string buffer(1 << 16, '\0');
        for (ssize_t size; (size = ::read(ends[0], buffer.data(), buffer.size())) > 0;)
            received.append(buffer, 0, static_cast<size_t>(size));
    });
    EXPECT_TRUE(callWithOutput(ends[1], [&] { finishWithData(NSData::dataWithBytes(bytes)); }));
    reader.join();
    ::close(ends[0]);
    EXPECT_EQ(received.size(), bytes.size());
}

}
