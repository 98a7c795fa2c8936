#include "QVRStackTrace.h"

#include "Platform/Foundation/NSException.h"
#include "QVRError.h"
#include "QVRErrorDescription.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>
#include <string>

namespace {

class StackTrace : public testing::Test {
protected:
    ~StackTrace() override { QVRStackTrace::install({}); }
};

bool contains(const NSString& text, const std::string& part)
{
    return text.UTF8().find(part) != std::string::npos;
}

}

// Exported under its own name, and never merged into its caller.
[[gnu::noinline]] NSException makeExceptionForStackTraceTests()
{
    return NSException(u"Name", u"why");
}

TEST_F(StackTrace, IsNotOfferedUntilItIsInstalled)
{
    const QVRStackTraceCapability capability = QVRStackTrace::capability();
    EXPECT_FALSE(capability.qvrCurrentStackTrace);
    EXPECT_FALSE(capability.qvrStackTrace);
    EXPECT_FALSE(capability.qvrShortStackTrace);
    EXPECT_FALSE(qvrRequirementFailedError(u"x").userInfo().objectForKey(NSLocalizedRecoverySuggestionErrorKey));
}

TEST_F(StackTrace, BecomesTheRecoverySuggestionOfAFailedRequirement)
{
    QVRStackTrace::install(
        {.qvrCurrentStackTrace = [] { return NSString(u"frames"); }, .qvrStackTrace = nullptr, .qvrShortStackTrace = nullptr});
    const NSError error = qvrRequirementFailedError(u"x", {{NSLocalizedRecoverySuggestionErrorKey, u"old"}});
    EXPECT_EQ(error.userInfo().objectForKey(NSLocalizedRecoverySuggestionErrorKey), Value(u"frames"));
}

TEST_F(StackTrace, ThatIsAbsentChangesNoFailedRequirement)
{
    QVRStackTrace::install(
        {.qvrCurrentStackTrace = [] { return NSString(); }, .qvrStackTrace = nullptr, .qvrShortStackTrace = nullptr});
    EXPECT_FALSE(qvrRequirementFailedError(u"x").userInfo().objectForKey(NSLocalizedRecoverySuggestionErrorKey));
}

TEST_F(StackTrace, OfTheSystemNamesTheFunctionsThatMadeAnException)
{
    const auto capability = QVRStackTrace::systemCapability();
    const NSException exception = makeExceptionForStackTraceTests();
    const NSString full = capability.qvrStackTrace(exception);
    EXPECT_TRUE(contains(full, "makeExceptionForStackTraceTests()")) << full.UTF8();
    EXPECT_TRUE(contains(full, "FoundationTests 0x")) << full.UTF8();
    const NSString brief = capability.qvrShortStackTrace(exception);
    EXPECT_TRUE(contains(brief, "makeExceptionForStackTraceTests() < ")) << brief.UTF8();
    EXPECT_FALSE(contains(brief, "\n"));
}

TEST_F(StackTrace, OfTheSystemNamesTheCurrentFunction)
{
    const NSString trace = QVRStackTrace::systemCapability().qvrCurrentStackTrace();
    EXPECT_TRUE(contains(trace, "StackTrace_OfTheSystemNamesTheCurrentFunction_Test::TestBody()")) << trace.UTF8();
}

TEST_F(StackTrace, OfTheSystemReachesErrorsMadeFromExceptions)
{
    QVRStackTrace::install(QVRStackTrace::systemCapability());
    const NSDictionary info = qvrErrorFromException(makeExceptionForStackTraceTests()).userInfo();
    EXPECT_TRUE(contains(info.objectForKey(NSLocalizedFailureReasonErrorKey).string(), "makeExceptionForStackTraceTests()"));
    EXPECT_TRUE(contains(info.objectForKey(QVRShortFailureReason).string(), "Name - why\nStack Trace: "));
}
