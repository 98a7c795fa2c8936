// The examples of docs/library.md, as they stand there, and what they must do.

#include "Platform/Foundation/Value.h"
#include "QVRError.h"
#include "QVRErrorDescription.h"
#include "QVRFunctions.h"
#include "QVRLogger.h"
#include "QVRSettings.h"
#include "QVRStackTrace.h"
#include "Support/Printing.h"
#include "Support/SettingsFolder.h"
#include "Support/StandardErrorCapture.h"

#include <atomic>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace {

NSError noticeFailure(const NSString& path)
{
    NSError error = qvrErrorWithCode(31, path);
    error = qvrErrorBySettingFilePath(error, path);
    error = qvrErrorBySettingDescription(error, u"The page list could not be read.");
    return qvrErrorByAddingStackFrame(error, __func__, __LINE__);
}

NSError whyNothingWasImported(const NSError& cause)
{
    return qvrErrorBySettingUnderlyingError(QVRError1(32, {{QVRFailingKey, u"pages"}}), cause);
}

bool isSupportedVersion(const NSDictionary& file, NSError* error)
{
    return qvrCheckValue(file.objectForKey(u"version"), 2, u"version", error);
}

NSString describedValue()
{
    return prettyPrint(NSDictionary{{u"b", NSArray{u"x"}}, {u"a", 1}});
}

void offerStackTraces()
{
    QVRStackTrace::install(QVRStackTrace::systemCapability());
}

const NSString LogImport = u"LogImport";

void setUpLogging()
{
    QVRLogger::setUpWithPersistentDomainName(u"com.brackenlow.Tarnwick");
}

void logImport(const NSString& title, const NSError& error)
{
    QVRLogger::logIfEnabled(LogImport, u"Importing %@", title);
    if (error && QVRLogger::isSharedLoggerEnabledForArea(LogImport))
        QVRLogger::logIfEnabled(LogImport, u"Import failed: %@", qvrFullDescription(error));
}

class CountingWriter : public QVRLogWriter {
public:
    explicit CountingWriter(std::atomic<int>& count) : _count(count) { }
    void writePrefix(const NSString&, const NSString&, const NSString&) override { ++_count; }

private:
    std::atomic<int>& _count;
};

void countLines(std::atomic<int>& count)
{
    QVRLogger::setSharedLogger(
        std::make_shared<QVRLogger>(NSDictionary{{LogImport, true}}, std::make_unique<CountingWriter>(count)));
}

double scaleToWidth(double width, double wanted)
{
    QVRFunctions::checkPrecondition(width > 0, "width > 0", Class("Page"), "+[Page scaleToWidth:wanted:]");
    return wanted / width;
}

NSSize windowSize()
{
    return qvrSizeForKey(NSUserDefaults::standardUserDefaults(), u"WindowSize", {640, 480});
}

int64_t triesOfTheHost()
{
    return qvrIntegerForKey(u"WebToolMaxTriesBeforeTimeout", u"com.brackenlow.Tarnwick", 3);
}

}

TEST(GuideExample, AddsContextToAnError)
{
    const NSError error = noticeFailure(u"/tmp/pages");
    EXPECT_TRUE(qvrHasDomain(error, QVRErrorDomain, 31));
    EXPECT_EQ(error.userInfo().objectForKey(NSFilePathErrorKey), Value(u"/tmp/pages"));
    EXPECT_EQ(error.localizedDescription(), NSString(u"The page list could not be read."));
    EXPECT_TRUE(error.userInfo().objectForKey(QVRStackFrames).array()[0].string().hasPrefix(u"noticeFailure ("));
    EXPECT_EQ(whyNothingWasImported(error).userInfo().objectForKey(NSUnderlyingErrorKey), Value(error));
}

TEST(GuideExample, ChecksAValue)
{
    NSError error;
    EXPECT_TRUE(isSupportedVersion({{u"version", 2}}, &error));
    EXPECT_FALSE(isSupportedVersion({{u"version", 3}}, &error));
    EXPECT_EQ(error.localizedDescription(), NSString(u"The value for version was expected to be 2 but was 3."));
}

TEST(GuideExample, PrintsAValueAsTheGuideShows)
{
    EXPECT_EQ(describedValue().UTF8(), "{\n    a = 1,\n    b = (\n        \"x\"\n        )\n    }");
}

TEST(GuideExample, OffersStackTraces)
{
    offerStackTraces();
    EXPECT_TRUE(noticeFailure(u"x"));
    EXPECT_TRUE(qvrRequirementFailedError(u"x").userInfo().objectForKey(NSLocalizedRecoverySuggestionErrorKey));
    QVRStackTrace::install({});
}

TEST(GuideExample, LogsWhatTheHostsSettingsSwitchOn)
{
    const support::SettingsFolder settings;
    for (const bool isOn : {false, true}) {
        settings.write("com.brackenlow.Tarnwick", std::string("<key>LogImport</key><") + (isOn ? "true" : "false") + "/>");
        setUpLogging();
        support::StandardErrorCapture capture;
        logImport(u"a page", QVRError1(1, NSDictionary()));
        const std::string lines = capture.take();
        EXPECT_EQ(lines.find("[LogImport] Importing a page\n") != std::string::npos, isOn) << lines;
        EXPECT_EQ(lines.find("[LogImport] Import failed: <NSError Domain=QVRErrorDomain Code=1") != std::string::npos, isOn)
            << lines;
    }
    QVRLogger::setSharedLogger(nullptr);
}

TEST(GuideExample, CountsLinesByAWriterOfItsOwn)
{
    std::atomic<int> count = 0;
    countLines(count);
    logImport(u"a page", NSError());
    EXPECT_EQ(count, 1);
    QVRLogger::setSharedLogger(nullptr);
}

TEST(GuideExample, ChecksAPrecondition)
{
    support::StandardErrorCapture capture;
    EXPECT_EQ(scaleToWidth(2, 3), 1.5);
    EXPECT_THROW(scaleToWidth(0, 3), QVRException);
    EXPECT_NE(
        capture.take().find(" +scaleToWidth:wanted:: Assertion Failed: Precondition Failed: width > 0\n"), std::string::npos);
}

TEST(GuideExample, ReadsSettings)
{
    const support::SettingsFolder settings;
    EXPECT_EQ(windowSize(), (NSSize{640, 480}));
    EXPECT_EQ(triesOfTheHost(), 3);
    settings.write("com.brackenlow.Tarnwick", "<key>WebToolMaxTriesBeforeTimeout</key><integer>5</integer>");
    EXPECT_EQ(triesOfTheHost(), 5);
}
