#include "QVRFunctions.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSUserDefaults.h"
#include "Support/KeptLog.h"
#include "Support/Printing.h"
#include "Support/StandardErrorCapture.h"
#include "Support/Thrown.h"

#include <csignal>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

using support::KeptLog;
using support::thrownBy;

namespace {

constexpr const char* file = "/a/b/Widget.src";
constexpr Selector selector("sel");
const Value instance = u"an instance";

}

TEST(Describe, NamesFileLineAndMethod)
{
    const struct {
        Receiver object;
        Selector selector;
        NSString expected;
    } rows[] = {
        {instance, selector, u"Widget.src:12 -sel"},
        {Class("Widget"), selector, u"Widget.src:12 +sel"},
        {Value(Class("Widget")), selector, u"Widget.src:12 +sel"},
        {&NSUserDefaults::standardUserDefaults(), Selector("a:b:"), u"Widget.src:12 -a:b:"},
        {NSString(u"text"), selector, u"Widget.src:12 -sel"},
        {instance, Selector(), u"Widget.src:12 "},
        {nullptr, selector, u"Widget.src:12 "},
        {Value(), selector, u"Widget.src:12 "},
        {NSString(), selector, u"Widget.src:12 "},
        {static_cast<const void*>(nullptr), selector, u"Widget.src:12 "},
        {Receiver(), Selector(), u"Widget.src:12 "},
    };
    for (const auto& row : rows)
        EXPECT_EQ(describe(file, 12, row.object, row.selector), row.expected);
}

TEST(Describe, TakesTheLastPathComponentOfTheFile)
{
    EXPECT_EQ(describe("Loader.src", 45, instance, Selector("waitUntilDone")), NSString(u"Loader.src:45 -waitUntilDone"));
    EXPECT_EQ(describe("/w/L\xC3\xA4"
                       "dt.src",
                  1, nullptr, nullptr),
        NSString(u"Lädt.src:1 "));
    EXPECT_EQ(describe("/w/\xFF.src", 1, nullptr, nullptr), NSString(u"\uFFFD.src:1 "));
    EXPECT_EQ(describe(nullptr, 1, nullptr, nullptr), NSString(u"(null):1 "));
}

TEST(Describe, PrintsTheWholeLine)
{
    EXPECT_EQ(describe("f", 18446744073709551615u, nullptr, nullptr), NSString(u"f:18446744073709551615 "));
}

TEST(Raise, ThrowsTheNamedExceptionWithItsPlace)
{
    const auto exception = thrownBy([] {
        QVRFunctions::raiseFile(file, 12, instance, selector, u"Named", {{u"more", 1}}, u"%@ of %d", u"one", 2);
    });
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->name(), NSString(u"Named"));
    EXPECT_EQ(exception->qvrReason(), NSString(u"one of 2"));
    EXPECT_EQ(exception->reason(), NSString(u"one of 2 at Widget.src:12 -sel"));
    EXPECT_EQ(exception->userInfo(), (NSDictionary{{u"more", 1}, {u"QVRExceptionLocation", u"Widget.src:12 -sel"}}));
}

TEST(Raise, WithoutANameThrowsAnExceptionNamedQVRException)
{
    const auto exception =
        thrownBy([] { QVRFunctions::raiseFile(file, 12, instance, selector, NSString(), NSDictionary(), u"why"); });
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->name(), NSString(u"QVRException"));
    EXPECT_TRUE(exception->reason().hasSuffix(u" at Widget.src:12 -sel"));
    EXPECT_EQ(exception->userInfo().count(), 1u);
}

TEST(Raise, OverwritesALocationInTheGivenUserInfo)
{
    const auto exception = thrownBy([] {
        QVRFunctions::raiseFile(file, 12, nullptr, nullptr, NSString(), {{QVRExceptionLocation, u"old"}}, u"why");
    });
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->userInfo().objectForKey(QVRExceptionLocation), Value(u"Widget.src:12 "));
}

TEST(QVRException, WithoutALocationReadsNull)
{
    const QVRException exception(u"Name", u"why");
    EXPECT_EQ(exception.reason(), NSString(u"why at (null)"));
    EXPECT_EQ(exception.qvrReason(), NSString(u"why"));
}

TEST(QVRException, CanBeCaughtAsThePlatformsException)
{
    try {
        QVRFunctions::raiseFile(file, 12, instance, selector, NSString(), NSDictionary(), u"why");
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.reason(), NSString(u"why at Widget.src:12 -sel"));
        return;
    }
    FAIL() << "nothing was thrown";
}

TEST(Assertion, WritesOneLineBeforeTheExceptionLeaves)
{
    KeptLog delegate;
    const auto exception = thrownBy([] { QVRFunctions::assertionFailedForFile(file, 12, instance, selector, u"te%@", u"xt"); });
    EXPECT_EQ(delegate.lines, std::vector<NSString>{u"Widget.src:12 -sel: Assertion Failed: text"});
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->name(), NSString(u"QVRAssertionFailedException"));
    EXPECT_EQ(exception->reason(), NSString(u"text at Widget.src:12 -sel"));
    EXPECT_EQ(exception->qvrReason(), NSString(u"text"));
    EXPECT_EQ(exception->userInfo().count(), 1u);
}

TEST(Assertion, FormatsItsMessageOnlyOnce)
{
    KeptLog delegate;
    const auto exception =
        thrownBy([] { QVRFunctions::assertionFailedForFile(file, 12, instance, selector, u"%@", u"100%d %@"); });
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->qvrReason(), NSString(u"100%d %@"));
}

TEST(Precondition, ThatHoldsDoesNothing)
{
    KeptLog delegate;
    EXPECT_NO_THROW(QVRFunctions::checkPrecondition(true, "key", instance, "-[Widget(QVR) qvrTurn:by:]"));
    EXPECT_TRUE(delegate.lines.empty());
}

TEST(Precondition, ThatFailsNamesTheConditionAndThePlaceOfTheCheck)
{
    KeptLog delegate;
    const int line = __LINE__ + 2;
    const auto exception =
        thrownBy([] { QVRFunctions::checkPrecondition(false, "key", instance, "-[Widget(QVR) qvrTurn:by:]"); });
    ASSERT_TRUE(exception);
    EXPECT_EQ(exception->name(), QVRAssertionFailedException);
    EXPECT_EQ(exception->qvrReason(), NSString(u"Precondition Failed: key"));
    const NSString location = NSString::stringWithFormat(u"FunctionsTests.cpp:%d -qvrTurn:by:", line);
    EXPECT_EQ(exception->userInfo().objectForKey(QVRExceptionLocation), Value(location));
    EXPECT_EQ(
        delegate.lines, std::vector<NSString>{location.stringByAppendingString(u": Assertion Failed: Precondition Failed: key")});
}

TEST(Precondition, OfAClassOperationIsMarkedByAPlus)
{
    KeptLog delegate;
    const auto exception =
        thrownBy([] { QVRFunctions::checkPrecondition(false, "a > b", Class("NSString"), "+[NSString(QVR) qvrUniqueString:]"); });
    ASSERT_TRUE(exception);
    EXPECT_TRUE(exception->reason().hasSuffix(u" +qvrUniqueString:")) << exception->reason().UTF8();
}

TEST(SelectorOfOperation, IsWhatStandsBehindTheBlank)
{
    EXPECT_EQ(QVRFunctions::selectorOfOperation("-[NSUserDefaults(QVR) qvrBoolForKey:domain:defaultValue:]"),
        Selector("qvrBoolForKey:domain:defaultValue:"));
    EXPECT_EQ(QVRFunctions::selectorOfOperation("+[A b]"), Selector("b"));
    for (const char* text : {"", "b", "] b", "[A b", "A]"})
        EXPECT_TRUE(QVRFunctions::selectorOfOperation(text).isAbsent()) << text;
}

TEST(AssertionBackstopDeathTest, EndsTheProcessWithOperationPlaceAndCondition)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        QVRFunctions::abortAfterAssertion("-[NSUserDefaults(QVR) qvrBoolForKey:defaultValue:]", "File.cpp", 12, "((key))"),
        testing::KilledBySignal(SIGABRT),
        "File.cpp:12: -\\[NSUserDefaults\\(QVR\\) qvrBoolForKey:defaultValue:\\]: .*\\(\\(key\\)\\)");
}

TEST(Log, WritesTheLocationAndALoneClosingBracket)
{
    KeptLog delegate;
    QVRFunctions::logFile(file, 12, instance, selector, u"te%@", u"xt");
    QVRFunctions::logFile(file, 12, nullptr, nullptr, u"text");
    EXPECT_EQ(delegate.lines, (std::vector<NSString>{u"Widget.src:12 -sel] text", u"Widget.src:12 ] text"}));
}

TEST(Log, WritesTheFunctionBeforeTheMessage)
{
    KeptLog delegate;
    QVRFunctions::logFunction("main", u"%d of %d", 1, 2);
    EXPECT_EQ(delegate.lines, std::vector<NSString>{u"main 1 of 2"});
}

TEST(LogString, IsNeverTakenForAFormat)
{
    KeptLog delegate;
    QVRFunctions::logString(u"100% %@");
    EXPECT_EQ(delegate.lines, std::vector<NSString>{u"100% %@"});
}

TEST(LogString, WithoutADelegateGoesToTheSystemLogUnchanged)
{
    support::StandardErrorCapture capture;
    QVRFunctions::logString(u"100%");
    const std::string line = capture.take();
    EXPECT_TRUE(line.ends_with(" 100%\n")) << line;
}

TEST(LogString, GoesToTheDelegateThatWasSetLast)
{
    KeptLog first;
    {
        KeptLog second;
        QVRFunctions::logString(u"one");
        EXPECT_EQ(second.lines.size(), 1u);
    }
    EXPECT_TRUE(first.lines.empty());
    support::StandardErrorCapture capture;
    QVRFunctions::logString(u"two");
    EXPECT_NE(capture.take().find("two"), std::string::npos);
    EXPECT_TRUE(first.lines.empty());
}

TEST(QVRFunctions, HasNoInstances)
{
    EXPECT_FALSE(std::is_default_constructible_v<QVRFunctions>);
}
