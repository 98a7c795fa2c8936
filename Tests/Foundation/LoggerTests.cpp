#include "QVRLogger.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/Foundation/Value.h"
#include "QVRNSLogWriter.h"
#include "QVROSLogWriter.h"
#include "Support/Printing.h"
#include "Support/SettingsFolder.h"
#include "Support/StandardErrorCapture.h"

#include <array>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

const NSString LogTest = u"LogTest";

struct Line {
    NSString prefix;
    NSString message;
    NSString area;
};

// Keeps what reaches it in `lines`, which must outlive it.
class RecordingWriter : public QVRLogWriter {
public:
    explicit RecordingWriter(std::vector<Line>& lines) : _lines(lines) { }
    void writePrefix(const NSString& prefix, const NSString& message, const NSString& area) override
    {
        _lines.push_back({prefix, message, area});
    }

private:
    std::vector<Line>& _lines;
};

// Begins and ends without a shared logger.
class Logger : public testing::Test {
protected:
    ~Logger() override { QVRLogger::setSharedLogger(nullptr); }

    std::shared_ptr<QVRLogger> loggerWith(const NSDictionary& options)
    {
        return std::make_shared<QVRLogger>(options, std::make_unique<RecordingWriter>(lines));
    }
    // The prefix of a line logged with these options.
    NSString prefixWith(const NSDictionary& options, const NSString& area = LogTest)
    {
        loggerWith(options)->logFile("/src/Page.src", 45, "loadPage", area, u"message");
        return lines.back().prefix;
    }

    std::vector<Line> lines;
};

using LoggerPrefix = Logger;
using SharedLogger = Logger;

}

TEST_F(SharedLogger, BeforeItIsSetIsANewOneAtEachCallForEveryArea)
{
    const auto first = QVRLogger::sharedLogger();
    const auto second = QVRLogger::sharedLogger();
    EXPECT_NE(first, second);
    EXPECT_TRUE(first->isEnabledForArea(u"Anything"));
    EXPECT_TRUE(QVRLogger::isSharedLoggerEnabledForArea(u"Anything"));
}

TEST_F(SharedLogger, IsTheOneThatWasSetLast)
{
    const auto first = loggerWith({});
    const auto second = loggerWith({{LogTest, true}});
    QVRLogger::setSharedLogger(first);
    EXPECT_EQ(QVRLogger::sharedLogger(), first);
    EXPECT_FALSE(QVRLogger::isSharedLoggerEnabledForArea(LogTest));
    QVRLogger::setSharedLogger(second);
    EXPECT_EQ(QVRLogger::sharedLogger(), second);
    EXPECT_TRUE(QVRLogger::isSharedLoggerEnabledForArea(LogTest));
    QVRLogger::setSharedLogger(nullptr);
    EXPECT_NE(QVRLogger::sharedLogger(), second);
}

TEST_F(SharedLogger, IsReleasedWhenAnotherTakesItsPlace)
{
    std::weak_ptr<QVRLogger> first;
    {
        const auto logger = loggerWith({});
        QVRLogger::setSharedLogger(logger);
        first = logger;
    }
    EXPECT_FALSE(first.expired());
    QVRLogger::setSharedLogger(loggerWith({}));
    EXPECT_TRUE(first.expired());
}

TEST_F(SharedLogger, IsSetUpFromADomainsSettings)
{
    const support::SettingsFolder settings;
    settings.write(
        "com.brackenlow.Tarnwick", "<key>LogOn</key><true/><key>LogOff</key><false/><key>LogText</key><string>yes</string>");
    QVRLogger::setUpWithPersistentDomainName(u"com.brackenlow.Tarnwick");
    const auto logger = QVRLogger::sharedLogger();
    EXPECT_EQ(logger, QVRLogger::sharedLogger());
    const std::vector<std::pair<NSString, bool>> rows = {
        {u"LogOn", true}, {u"LogOff", false}, {u"LogText", true}, {u"LogMissing", false}, {NSString(), true}};
    for (const auto& [area, expected] : rows) {
        EXPECT_EQ(logger->isEnabledForArea(area), expected) << area.UTF8();
        EXPECT_EQ(QVRLogger::isSharedLoggerEnabledForArea(area), expected) << area.UTF8();
    }
}

TEST_F(SharedLogger, IsFixedAtItsCreation)
{
    const support::SettingsFolder settings;
    settings.write("com.brackenlow.Tarnwick", "<key>LogOn</key><false/>");
    QVRLogger::setUpWithPersistentDomainName(u"com.brackenlow.Tarnwick");
    settings.write("com.brackenlow.Tarnwick", "<key>LogOn</key><true/>");
    EXPECT_FALSE(QVRLogger::sharedLogger()->isEnabledForArea(u"LogOn"));
}

TEST_F(SharedLogger, CanBeAskedAndSetFromManyThreads)
{
    const auto on = loggerWith({{LogTest, true}});
    QVRLogger::setSharedLogger(on);
    std::vector<std::thread> threads;
    std::array<bool, 8> results = {};
    for (size_t index = 0; index < results.size(); ++index) {
        threads.emplace_back([&, index] {
            bool all = true;
            for (int turn = 0; turn < 200; ++turn) {
                all = all && QVRLogger::isSharedLoggerEnabledForArea(LogTest);
                all = all && QVRLogger::sharedLogger()->isEnabledForArea(LogTest);
                if (index == 0)
                    QVRLogger::setSharedLogger(turn % 2 ? on : loggerWith({{LogTest, true}}));
            }
            results[index] = all;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const bool all : results)
        EXPECT_TRUE(all);
}

TEST_F(Logger, TakesTheStandardDefaultsOfAllDomains)
{
    const support::SettingsFolder settings;
    settings.write(NSProcessInfo::processInfo().processName().UTF8(), "<key>LogOwn</key><true/>");
    settings.write(".GlobalPreferences", "<key>LogGlobal</key><true/>");
    const auto logger = QVRLogger::init();
    EXPECT_TRUE(logger->isEnabledForArea(u"LogOwn"));
    EXPECT_TRUE(logger->isEnabledForArea(u"LogGlobal"));
    EXPECT_FALSE(logger->isEnabledForArea(u"LogOther"));
}

TEST_F(Logger, OfADomainThatDoesNotExistHasTheDefaultsAlone)
{
    const support::SettingsFolder settings;
    const auto logger = QVRLogger::initWithPersistentDomainName(u"no.such.domain");
    EXPECT_TRUE(logger->isOptionEnabled(QVRLoggerIncludeArea));
    for (const NSString& key : {QVRLoggerIncludeFile, QVRLoggerIncludeLine, QVRLoggerIncludeThread, QVRLoggerIncludeFunction,
             QVRLoggerAllAreas, LogTest})
        EXPECT_FALSE(logger->isOptionEnabled(key)) << key.UTF8();
}

TEST_F(Logger, ReadsOptionsAsBooleans)
{
    const std::vector<std::pair<Value, bool>> rows = {{true, true}, {false, false}, {2, true}, {0, false}, {-0.5, true},
        {u"YES", true}, {u"true", true}, {u"1", true}, {u"no", false}, {u"0", false}, {u"abc", false}, {u"", false},
        {NSArray{1}, false}};
    for (const auto& [value, expected] : rows) {
        const auto logger = loggerWith({{LogTest, value}});
        EXPECT_EQ(logger->isOptionEnabled(LogTest), expected) << value.description().UTF8();
        EXPECT_EQ(logger->isEnabledForArea(LogTest), expected) << value.description().UTF8();
    }
    EXPECT_FALSE(loggerWith({})->isOptionEnabled(LogTest));
    EXPECT_FALSE(loggerWith(NSDictionary())->isOptionEnabled(NSString()));
}

TEST_F(Logger, TellsManyAreasApart)
{
    NSMutableDictionary options;
    // Names of one length and with one ending, short ones, and the empty one.
    for (int number = 0; number < 1000; ++number)
        options.setObject(number % 3 == 0, NSString::stringWithFormat(u"Log%04dSame", number));
    for (const char16_t* area : {u"", u"a", u"ab", u"abc", u"abcd"})
        options.setObject(true, area);
    const auto logger = loggerWith(options);
    for (int number = 0; number < 1000; ++number) {
        EXPECT_EQ(logger->isEnabledForArea(NSString::stringWithFormat(u"Log%04dSame", number)), number % 3 == 0) << number;
        EXPECT_FALSE(logger->isEnabledForArea(NSString::stringWithFormat(u"log%04dSame", number)));
    }
    for (const char16_t* area : {u"", u"a", u"ab", u"abc", u"abcd"})
        EXPECT_TRUE(logger->isEnabledForArea(area));
    for (const char16_t* area : {u"b", u"aab", u"bcd", u"xabcd", u"LogSame"})
        EXPECT_FALSE(logger->isEnabledForArea(area));
}

TEST_F(Logger, ForAllAreasOverridesTheSwitchOfAnArea)
{
    EXPECT_TRUE(loggerWith({{LogTest, false}, {QVRLoggerAllAreas, true}})->isEnabledForArea(LogTest));
    EXPECT_FALSE(loggerWith({{LogTest, false}, {QVRLoggerAllAreas, false}})->isEnabledForArea(LogTest));
}

TEST_F(Logger, IsAlwaysEnabledWithoutAnArea)
{
    EXPECT_TRUE(loggerWith({})->isEnabledForArea(NSString()));
}

TEST_F(Logger, WritesWhateverTheSwitchesSay)
{
    loggerWith({})->logFile("f", 1, "g", LogTest, u"message");
    ASSERT_EQ(lines.size(), 1u);
}

TEST_F(Logger, HandsPrefixMessageAndAreaToItsWriter)
{
    loggerWith({})->logFile("f", 1, "g", LogTest, u"%@ of %d", u"one", 2);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].prefix, NSString(u"[LogTest]"));
    EXPECT_EQ(lines[0].message, NSString(u"one of 2"));
    EXPECT_EQ(lines[0].area, LogTest);
}

TEST_F(Logger, TakesItsArgumentsAsAListToo)
{
    const FormatArgument list[] = {u"one", 2};
    loggerWith({})->logFile("f", 1, "g", LogTest, u"%@ of %d", FormatArguments(list));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].message, NSString(u"one of 2"));
}

TEST_F(Logger, NeverTakesAFinishedMessageForAFormat)
{
    loggerWith({})->logFileMessage("f", 1, "g", LogTest, u"100% %@");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].message, NSString(u"100% %@"));
}

TEST_F(Logger, RefusesAnAbsentPrefix)
{
    support::StandardErrorCapture capture;
    try {
        loggerWith({})->logPrefix(NSString(), u"message", LogTest);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), NSInternalInconsistencyException);
        EXPECT_EQ(exception.reason(), NSString(u"Invalid parameter not satisfying: prefix"));
    }
    EXPECT_TRUE(lines.empty());
    const std::string logged = capture.take();
    EXPECT_NE(
        logged.find("*** Assertion failure in -[QVRLogger logPrefix:message:area:], Source/QVRLogger:327"), std::string::npos)
        << logged;
}

TEST_F(Logger, AcceptsAnEmptyPrefixAndAnAbsentArea)
{
    loggerWith({})->logPrefix(u"", u"message", NSString());
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].area.isAbsent());
}

TEST_F(Logger, LogsFromThePlaceOfTheCallIfTheAreaIsEnabled)
{
    QVRLogger::setSharedLogger(loggerWith(
        {{LogTest, true}, {QVRLoggerIncludeFile, true}, {QVRLoggerIncludeLine, true}, {QVRLoggerIncludeFunction, true}}));
    const int line = __LINE__ + 1;
    QVRLogger::logIfEnabled(LogTest, u"%@ of %d", u"one", 2);
    QVRLogger::logIfEnabled(NSString(u"LogOther"), u"%@ of %d", u"one", 2);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].prefix, NSString::stringWithFormat(u"[LogTest] LoggerTests.cpp:%d TestBody", line));
    EXPECT_EQ(lines[0].message, NSString(u"one of 2"));
}

TEST_F(LoggerPrefix, HoldsTheAreaByDefault)
{
    EXPECT_EQ(prefixWith({}), NSString(u"[LogTest]"));
}

TEST_F(LoggerPrefix, HasNoBracketsWithoutAnArea)
{
    EXPECT_EQ(prefixWith({}, NSString()), NSString(u""));
}

TEST_F(LoggerPrefix, IsEmptyNotAbsentWithAllOptionsOff)
{
    const NSString prefix = prefixWith({{QVRLoggerIncludeArea, false}});
    EXPECT_EQ(prefix, NSString(u""));
    EXPECT_FALSE(prefix.isAbsent());
}

TEST_F(LoggerPrefix, ShowsTheFilesLastPathComponent)
{
    EXPECT_EQ(prefixWith({{QVRLoggerIncludeFile, true}}), NSString(u"[LogTest] Page.src"));
}

TEST_F(LoggerPrefix, ShowsTheLineWithTheFileOnly)
{
    EXPECT_EQ(prefixWith({{QVRLoggerIncludeFile, true}, {QVRLoggerIncludeLine, true}}), NSString(u"[LogTest] Page.src:45"));
    EXPECT_EQ(prefixWith({{QVRLoggerIncludeLine, true}}), NSString(u"[LogTest]"));
}

TEST_F(LoggerPrefix, ShowsTheFunction)
{
    EXPECT_EQ(prefixWith({{QVRLoggerIncludeFunction, true}}), NSString(u"[LogTest] loadPage"));
}

TEST_F(LoggerPrefix, BeginsWithTheGivenObject)
{
    EXPECT_EQ(prefixWith({{u"QVRLoggerPrefix", u"tool:"}}), NSString(u"tool: [LogTest]"));
    EXPECT_EQ(prefixWith({{u"QVRLoggerPrefix", 7}, {QVRLoggerIncludeArea, false}}), NSString(u"7"));
    EXPECT_EQ(prefixWith({{u"QVRLoggerPrefix", u""}}), NSString(u" [LogTest]"));
}

TEST_F(LoggerPrefix, ReadsFileAndFunctionAsUTF8)
{
    const auto logger =
        loggerWith({{QVRLoggerIncludeFile, true}, {QVRLoggerIncludeFunction, true}, {QVRLoggerIncludeArea, false}});
    logger->logFile("/src/L\xC3\xA4"
                    "dt.src",
        1,
        "l\xC3\xA4"
        "dt",
        LogTest, u"");
    EXPECT_EQ(lines.back().prefix, NSString(u"Lädt.src lädt"));
    logger->logFile("/src/\xFF.src", 1, "\xFF", LogTest, u"");
    EXPECT_EQ(lines.back().prefix, NSString(u"\uFFFD.src \uFFFD"));
}

TEST_F(LoggerPrefix, LabelsTheMainThread)
{
    const NSString oldName = NSThread::currentThread().name();
    NSThread::currentThread().setName(u"first");
    EXPECT_EQ(prefixWith({{QVRLoggerIncludeThread, true}}), NSString(u"[LogTest] <main: \"first\">"));
    NSThread::currentThread().setName(oldName);
}

TEST_F(LoggerPrefix, LabelsOtherThreadsByAddressAndName)
{
    NSString named;
    NSString unnamed;
    NSString address;
    std::thread([&] {
        address = NSString::stringWithFormat(u"%p", static_cast<const void*>(&NSThread::currentThread()));
        unnamed = prefixWith({{QVRLoggerIncludeThread, true}, {QVRLoggerIncludeArea, false}});
        NSThread::currentThread().setName(u"second");
        named = prefixWith({{QVRLoggerIncludeThread, true}, {QVRLoggerIncludeArea, false}});
    }).join();
    EXPECT_EQ(unnamed, NSString::stringWithFormat(u"<%@: \"\">", address));
    EXPECT_EQ(named, NSString::stringWithFormat(u"<%@: \"second\">", address));
    EXPECT_TRUE(address.hasPrefix(u"0x"));
}

TEST_F(LoggerPrefix, HasItsPartsInAFixedOrder)
{
    const NSString prefix = prefixWith({{QVRLoggerIncludeFunction, true}, {QVRLoggerIncludeThread, true},
        {QVRLoggerIncludeLine, true}, {QVRLoggerIncludeFile, true}, {QVRLoggerPrefix, u"tool"}});
    EXPECT_TRUE(prefix.hasPrefix(u"tool [LogTest] Page.src:45 <main: \"")) << prefix.UTF8();
    EXPECT_TRUE(prefix.hasSuffix(u"\"> loadPage")) << prefix.UTF8();
}

TEST_F(Logger, WritesToTheSystemLogWhereThereIsOneElseToNSLog)
{
    support::StandardErrorCapture capture;
    QVRLogger::initDisposableLogger()->logFile("f", 1, "g", LogTest, u"message");
    const std::string line = capture.take();
    const std::string name = NSProcessInfo::processInfo().processName().UTF8();
    if (QVROSLogWriter::isOSLogAvailable())
        EXPECT_TRUE(line.ends_with(" [com.brackenlow." + name + "] [LogTest] message\n")) << line;
    else
        EXPECT_TRUE(line.find(name + '[') != std::string::npos && line.ends_with("] [LogTest] message\n")) << line;
}
