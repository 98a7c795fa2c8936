#include "QVRErrorDescription.h"

#include "Platform/Foundation/NSProcessInfo.h"
#include "QVRError.h"
#include "QVRException.h"
#include "QVRProcessInfo.h"
#include "QVRStackTrace.h"
#include "Support/Printing.h"
#include "Support/SettingsFolder.h"
#include "Support/StandardErrorCapture.h"

#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>

namespace {

// An object with a text of its own; what it says about itself is up to the test.
class Widget : public NSObject {
public:
    explicit Widget(NSString text, bool answersClassMembership = true, bool isCodable = false, const char* className = "Widget")
        : _text(std::move(text)), _className(className), _answersClassMembership(answersClassMembership), _isCodable(isCodable)
    {
    }
    [[nodiscard]] Class classObject() const override { return Class(_className); }
    [[nodiscard]] NSString description() const override { return _text; }
    [[nodiscard]] bool conformsToCoding() const override { return _isCodable; }
    [[nodiscard]] bool answersClassMembership() const override { return _answersClassMembership; }

private:
    NSString _text;
    const char* _className;
    bool _answersClassMembership;
    bool _isCodable;
};

std::string printed(const Value& value)
{
    return prettyPrint(value).UTF8();
}

// An error whose derived description is replaced by a short one.
NSError described(const NSString& domain, int64_t code, NSDictionary userInfo = {})
{
    userInfo.setObject(u"text", NSLocalizedDescriptionKey);
    return NSError(domain, code, userInfo);
}

// Each test begins and ends without settings and without the stack-trace capability.
class ErrorDescription : public testing::Test {
protected:
    ~ErrorDescription() override { QVRStackTrace::install({}); }
    support::SettingsFolder settings;
};

using ErrorFromException = ErrorDescription;

}

TEST(PrettyPrint, PrintsScalarsByTheirDescription)
{
    EXPECT_EQ(printed(1), "1");
    EXPECT_EQ(printed(-2.5), "-2.5");
    EXPECT_EQ(printed(true), "1");
    EXPECT_EQ(printed(NSNull()), Value(NSNull()).description().UTF8());
    EXPECT_EQ(printed(Class("NSString")), "NSString");
    EXPECT_EQ(printed(NSDate::dateWithTimeIntervalSinceReferenceDate(0)), "2001-01-01 00:00:00 +0000");
    EXPECT_EQ(printed(NSURL::URLWithString(u"https://host/a%0Ab")), "https://host/a%0Ab");
    EXPECT_EQ(printed(NSData::dataWithBytes("\x01\x02\x03")), "{length = 3, bytes = 0x010203}");
}

TEST(PrettyPrint, QuotesStringsWithoutEscapingAnything)
{
    EXPECT_EQ(printed(u"x"), "\"x\"");
    EXPECT_EQ(printed(u""), "\"\"");
    EXPECT_EQ(printed(u"a\"b\\nc"), "\"a\"b\\nc\"");
}

TEST(PrettyPrint, IndentsTheContinuationLinesOfStrings)
{
    EXPECT_EQ(printed(u"a\nb\n"), "\"a\n    b\n    \"");
    EXPECT_EQ(printed(NSArray{u"a\nb"}), "(\n    \"a\n        b\"\n    )");
}

TEST(PrettyPrint, OfNothingIsNothing)
{
    EXPECT_TRUE(prettyPrint(Value()).isAbsent());
    EXPECT_TRUE(prettyPrint(NSString()).isAbsent());
}

TEST(PrettyPrint, OfAnEmptyArrayKeepsItsEmptyLine)
{
    EXPECT_EQ(printed(NSArray(std::vector<Value>())), "(\n    \n    )");
}

TEST(PrettyPrint, OfAnEmptyDictionaryKeepsItsEmptyLine)
{
    EXPECT_EQ(printed(NSDictionary::dictionary()), "{\n    \n    }");
}

TEST(PrettyPrint, PrintsArrayElementsInTheirOrder)
{
    EXPECT_EQ(printed(NSArray{2, u"b", 1}), "(\n    2,\n    \"b\",\n    1\n    )");
}

TEST(PrettyPrint, SortsTheKeysOfADictionaryAndIndentsItsClosingBracket)
{
    EXPECT_EQ(printed(NSDictionary{{u"b", NSArray{u"x"}}, {u"a", 1}}),
        "{\n"
        "    a = 1,\n"
        "    b = (\n"
        "        \"x\"\n"
        "        )\n"
        "    }");
}

TEST(PrettyPrint, AddsFourBlanksForEachLevel)
{
    EXPECT_EQ(printed(NSArray{NSArray{NSDictionary{{u"k", NSArray{1}}}}}),
        "(\n"
        "    (\n"
        "        {\n"
        "            k = (\n"
        "                1\n"
        "                )\n"
        "            }\n"
        "        )\n"
        "    )");
}

TEST(PrettyPrint, LeavesKeysUnquotedAndIndentsTheirLines)
{
    EXPECT_EQ(printed(NSDictionary{{u"a b\nc", 1}}), "{\n    a b\n    c = 1\n    }");
}

TEST(PrettyPrint, TurnsEscapedLineEndsOfOtherObjectsIntoRealOnes)
{
    EXPECT_EQ(printed(std::make_shared<Widget>(u"one\\ntwo\nthree")), "one\n    two\n    three");
}

TEST(PrettyPrint, GivesThePlainDescriptionOfAnObjectThatCannotTellItsClass)
{
    EXPECT_EQ(printed(std::make_shared<Widget>(u"one\\ntwo\nthree", false)), "one\\ntwo\nthree");
}

TEST_F(ErrorDescription, OfAnErrorByPrettyPrintIsTheFullDescriptionWithoutFurtherIndentation)
{
    const NSError error = described(u"D", 1, {{u"k", u"a\nb"}});
    EXPECT_EQ(prettyPrint(error), qvrFullDescription(error));
    EXPECT_EQ(printed(NSArray{error}),
        "(\n"
        "    <NSError Domain=D Code=1 UserInfo={\n"
        "        NSLocalizedDescription = \"text\",\n"
        "        k = \"a\n"
        "            b\"\n"
        "        }>\n"
        "    )");
}

TEST_F(ErrorDescription, WithoutUserInfoShowsTheDerivedTexts)
{
    EXPECT_EQ(qvrFullDescription(NSError(NSURLErrorDomain, NSURLErrorTimedOut)).UTF8(),
        "<NSError Domain=NSURLErrorDomain Code=-1001 UserInfo={\n    NSLocalizedDescription = \"The request timed out.\"\n    "
        "}>");
}

TEST_F(ErrorDescription, ShowsADerivedFailureReason)
{
    const NSError error(NSPOSIXErrorDomain, 2);
    const std::string text = qvrFullDescription(error).UTF8();
    ASSERT_TRUE(error.localizedFailureReason());
    EXPECT_NE(text.find("NSLocalizedFailureReason = \"" + error.localizedFailureReason().UTF8() + '"'), std::string::npos)
        << text;
}

TEST_F(ErrorDescription, KeepsTextsThatTheUserInfoHolds)
{
    const NSError error(NSURLErrorDomain, NSURLErrorTimedOut,
        {{NSLocalizedDescriptionKey, u"own"}, {NSLocalizedFailureReasonErrorKey, u"reason"},
            {NSLocalizedRecoverySuggestionErrorKey, u"suggestion"}});
    EXPECT_EQ(qvrFullDescription(error).UTF8(),
        "<NSError Domain=NSURLErrorDomain Code=-1001 UserInfo={\n"
        "    NSLocalizedDescription = \"own\",\n"
        "    NSLocalizedFailureReason = \"reason\",\n"
        "    NSLocalizedRecoverySuggestion = \"suggestion\"\n"
        "    }>");
}

TEST_F(ErrorDescription, QuotesAnUnderlyingErrorsFullDescription)
{
    const NSError inner = described(u"Inner", 2);
    const NSError outer = described(u"Outer", -1, {{NSUnderlyingErrorKey, inner}});
    EXPECT_EQ(qvrFullDescription(outer).UTF8(),
        "<NSError Domain=Outer Code=-1 UserInfo={\n"
        "    NSLocalizedDescription = \"text\",\n"
        "    NSUnderlyingError = \"<NSError Domain=Inner Code=2 UserInfo={\n"
        "            NSLocalizedDescription = \"text\"\n"
        "            }>\"\n"
        "    }>");
}

TEST_F(ErrorDescription, TellsChainsToAnyDepth)
{
    NSError error = described(u"Level", 0);
    constexpr int depth = 200;
    for (int level = 1; level < depth; ++level)
        error = described(u"Level", level, {{NSUnderlyingErrorKey, error}});
    std::istringstream lines(qvrFullDescription(error).UTF8());
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "<NSError Domain=Level Code=199 UserInfo={");
    for (int level = depth - 1; level > 0; --level) {
        const std::string blanks(static_cast<size_t>(8 * (depth - 1 - level) + 4), ' ');
        std::getline(lines, line);
        EXPECT_EQ(line, blanks + "NSLocalizedDescription = \"text\",");
        std::getline(lines, line);
        EXPECT_EQ(line, blanks + "NSUnderlyingError = \"<NSError Domain=Level Code=" + std::to_string(level - 1) + " UserInfo={");
    }
}

TEST_F(ErrorDescription, PrintsAnUnderlyingValueThatIsNoErrorAsItIs)
{
    const std::string text = qvrFullDescription(described(u"D", 1, {{NSUnderlyingErrorKey, u"words"}})).UTF8();
    EXPECT_NE(text.find("NSUnderlyingError = \"words\""), std::string::npos) << text;
}

TEST_F(ErrorDescription, OfAnAbsentErrorIsAbsent)
{
    EXPECT_TRUE(qvrFullDescription(NSError()).isAbsent());
}

TEST_F(ErrorDescription, LogsNothingUnlessShortLoggingIsOn)
{
    support::StandardErrorCapture capture;
    static_cast<void>(qvrFullDescription(described(u"D", 1)));
    EXPECT_EQ(capture.take(), "");
}

TEST_F(ErrorDescription, LogsEachErrorOfAChainWhileShortLoggingIsOn)
{
    settings.write(NSProcessInfo::processInfo().processName().UTF8(), "<key>ErrorShortLogging</key><true/>");
    const NSError inner = described(u"Inner", 2);
    const NSError outer = described(u"Outer", 1, {{NSUnderlyingErrorKey, inner}});
    support::StandardErrorCapture capture;
    static_cast<void>(qvrFullDescription(outer));
    const std::string logged = capture.take();
    const size_t outerLine = logged.find("Error: " + outer.description().UTF8());
    const size_t innerLine = logged.find("Error: " + inner.description().UTF8());
    ASSERT_NE(outerLine, std::string::npos) << logged;
    ASSERT_NE(innerLine, std::string::npos) << logged;
    EXPECT_LT(outerLine, innerLine);
}

TEST_F(ErrorFromException, WithoutTheCapabilityKnowsNoStackTrace)
{
    const NSError error = qvrErrorFromException(NSException(u"Name", u"why", {{u"more", 1}}));
    EXPECT_TRUE(qvrHasDomain(error, QVRErrorDomain, 5));
    EXPECT_EQ(error.userInfo(),
        (NSDictionary{{u"more", 1}, {NSLocalizedDescriptionKey, u"Name"},
            {NSLocalizedFailureReasonErrorKey, u"Name - why\nStack Trace: <unknown>"},
            {NSLocalizedRecoverySuggestionErrorKey, u"why"}}));
}

TEST_F(ErrorFromException, OverwritesTheSameKeysOfTheExceptionsUserInfo)
{
    const NSError error = qvrErrorFromException(NSException(u"Name", u"why", {{NSLocalizedDescriptionKey, u"old"}}));
    EXPECT_EQ(error.userInfo().objectForKey(NSLocalizedDescriptionKey), Value(u"Name"));
}

TEST_F(ErrorFromException, TellsTheReasonOfALibraryExceptionWithItsPlace)
{
    const NSError error = qvrErrorFromException(QVRException(u"Name", u"why", {{QVRExceptionLocation, u"here"}}));
    EXPECT_EQ(error.userInfo().objectForKey(NSLocalizedRecoverySuggestionErrorKey), Value(u"why at here"));
    EXPECT_EQ(
        error.userInfo().objectForKey(NSLocalizedFailureReasonErrorKey), Value(u"Name - why at here\nStack Trace: <unknown>"));
}

TEST_F(ErrorFromException, WithTheCapabilityShowsTheExceptionsStackTrace)
{
    QVRStackTrace::install({.qvrCurrentStackTrace = [] { return NSString(u"current"); },
        .qvrStackTrace = [](const NSException& exception) { return exception.name().stringByAppendingString(u"'s frames"); },
        .qvrShortStackTrace = [](const NSException&) { return NSString(u"short"); }});
    const NSDictionary info = qvrErrorFromException(NSException(u"Name", u"why")).userInfo();
    EXPECT_EQ(info.objectForKey(NSLocalizedFailureReasonErrorKey), Value(u"Name - why\nStack Trace: Name's frames"));
    EXPECT_EQ(info.objectForKey(QVRShortFailureReason), Value(u"Name - why\nStack Trace: short"));
}

TEST_F(ErrorFromException, TakesTheCurrentStackTraceWhenTheExceptionHasNone)
{
    QVRStackTrace::install({.qvrCurrentStackTrace = [] { return NSString(u"current"); },
        .qvrStackTrace = [](const NSException&) { return NSString(); },
        .qvrShortStackTrace = nullptr});
    const NSDictionary info = qvrErrorFromException(NSException(u"Name", u"why")).userInfo();
    EXPECT_EQ(info.objectForKey(NSLocalizedFailureReasonErrorKey), Value(u"Name - why\nStack Trace: current"));
    EXPECT_FALSE(info.objectForKey(QVRShortFailureReason));
}

TEST_F(ErrorFromException, TakesNoCurrentStackTraceWhenExceptionsOfferNone)
{
    QVRStackTrace::install(
        {.qvrCurrentStackTrace = [] { return NSString(u"current"); }, .qvrStackTrace = nullptr, .qvrShortStackTrace = nullptr});
    const NSDictionary info = qvrErrorFromException(NSException(u"Name", u"why")).userInfo();
    EXPECT_EQ(info.objectForKey(NSLocalizedFailureReasonErrorKey), Value(u"Name - why\nStack Trace: <unknown>"));
}

// The queries belong to the process type as a whole while the guard asks its instances, so even a process whose query answers
// true gets no flag; whoever "repairs" the guard changes what readers of the records see.
TEST_F(ErrorFromException, NeverAddsTheBuildVariantFlags)
{
    settings.write(NSProcessInfo::processInfo().processName().UTF8(), "<key>QVRAppSandbox</key><true/>");
    ASSERT_TRUE(qvrIsInAppSandbox());
    const NSDictionary info = qvrErrorFromException(NSException(u"Name", u"why")).userInfo();
    EXPECT_FALSE(info.objectForKey(QVRIsInAppSandbox));
    EXPECT_FALSE(info.objectForKey(QVRIsMacAppStoreVersion));
}

TEST(ArchivableError, KeepsWhatAnArchiverCanWrite)
{
    const NSDictionary userInfo = {{u"string", u"x"}, {u"number", 1}, {u"real", 0.5},
        {u"date", NSDate::dateWithTimeIntervalSinceReferenceDate(1)}, {u"data", NSData::dataWithBytes("x")},
        {u"array", NSArray{1}}, {u"dictionary", NSDictionary{{u"a", 1}}}, {u"url", NSURL::URLWithString(u"https://host/")},
        {u"null", NSNull()}};
    const NSError archivable = qvrArchivableError(NSError(u"D", 7, userInfo));
    EXPECT_EQ(archivable, NSError(u"D", 7, userInfo));
}

TEST(ArchivableError, ReplacesObjectsAndClassesByTheirDescription)
{
    const NSError archivable =
        qvrArchivableError(NSError(u"D", 7, {{u"view", std::make_shared<Widget>(u"a view")}, {u"class", Class("NSView")}}));
    EXPECT_EQ(archivable.userInfo(), (NSDictionary{{u"view", u"a view"}, {u"class", u"NSView"}}));
}

TEST(ArchivableError, KeepsObjectsThatConformToCodingButForTwoClasses)
{
    const auto conforming = std::make_shared<Widget>(u"conforming", true, true);
    const NSError archivable = qvrArchivableError(NSError(u"D", 7,
        {{u"kept", conforming}, {u"bridged", std::make_shared<Widget>(u"bridged", true, true, "SBObject")},
            {u"event", std::make_shared<Widget>(u"event", true, true, "NSAppleEventDescriptor")}}));
    EXPECT_EQ(archivable.userInfo().objectForKey(u"kept"), Value(conforming));
    EXPECT_EQ(archivable.userInfo().objectForKey(u"bridged"), Value(u"bridged"));
    EXPECT_EQ(archivable.userInfo().objectForKey(u"event"), Value(u"event"));
}

TEST(ArchivableError, MakesUnderlyingErrorsArchivableInTurn)
{
    const NSError inner(u"I", 1, {{u"view", std::make_shared<Widget>(u"a view")}});
    const NSError archivable = qvrArchivableError(NSError(u"D", 7, {{NSUnderlyingErrorKey, inner}, {u"other", inner}}));
    const NSError expected(u"I", 1, {{u"view", u"a view"}});
    EXPECT_EQ(archivable.userInfo(), (NSDictionary{{NSUnderlyingErrorKey, expected}, {u"other", expected}}));
}

TEST(ArchivableError, LooksAtTheTopLevelOnly)
{
    const NSArray array = {std::make_shared<Widget>(u"a view")};
    EXPECT_EQ(qvrArchivableError(NSError(u"D", 7, {{u"array", array}})).userInfo().objectForKey(u"array"), Value(array));
}

TEST(ArchivableError, AlwaysHasAUserInfo)
{
    const NSError archivable = qvrArchivableError(NSError(u"D", 7));
    EXPECT_FALSE(archivable.userInfo().isAbsent());
    EXPECT_EQ(archivable.userInfo().count(), 0u);
    EXPECT_TRUE(qvrArchivableError(NSError()).isAbsent());
}

TEST(ArchivableError, LeavesTheReceiverAsItWas)
{
    const NSError error(u"D", 7, {{u"class", Class("NSView")}});
    static_cast<void>(qvrArchivableError(error));
    EXPECT_EQ(error.userInfo().objectForKey(u"class"), Value(Class("NSView")));
}
