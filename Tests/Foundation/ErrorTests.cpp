#include "QVRError.h"

#include "Platform/Foundation/NSURL.h"
#include "Support/Printing.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <vector>

namespace {

const NSString nilText = u"<nil>";
const NSError plainError(u"D", 7);

Value entry(const NSError& error, const NSString& key)
{
    return error.userInfo().objectForKey(key);
}

}

TEST(QVRError1, HoldsCodeAndUserInfoAndNothingElse)
{
    const NSDictionary userInfo = {{u"key", u"value"}};
    const NSError error = QVRError1(42, userInfo);
    EXPECT_EQ(error.domain(), QVRErrorDomain);
    EXPECT_EQ(QVRErrorDomain, NSString(u"QVRErrorDomain"));
    EXPECT_EQ(error.code(), 42);
    EXPECT_EQ(error.userInfo(), userInfo);
    EXPECT_TRUE(QVRError1(42, NSDictionary()).userInfo().isAbsent());
}

TEST(QVRErrorKeys, AreNamedLikeTheirTexts)
{
    const std::vector<std::pair<NSString, NSString>> keys = {
        {QVRFile, u"QVRFile"},
        {QVRLine, u"QVRLine"},
        {QVRFunction, u"QVRFunction"},
        {QVRCodeString, u"QVRCodeString"},
        {QVRFailingObject, u"QVRFailingObject"},
        {QVRStackFrames, u"QVRStackFrames"},
        {QVRUnderlyingReason, u"QVRUnderlyingReason"},
        {QVRExpectedType, u"QVRExpectedType"},
        {QVRActualType, u"QVRActualType"},
        {QVRArguments, u"QVRArguments"},
        {QVRFailingKey, u"QVRFailingKey"},
        {QVRExpectedValue, u"QVRExpectedValue"},
        {QVRActualValue, u"QVRActualValue"},
        {QVRShortFailureReason, u"QVRShortFailureReason"},
        {QVRIsMacAppStoreVersion, u"QVRIsMacAppStoreVersion"},
        {QVRIsInAppSandbox, u"QVRIsInAppSandbox"},
        {QVRDestinationFilePath, u"NSDestinationFilePath"},
    };
    for (const auto& [key, text] : keys)
        EXPECT_EQ(key, text);
}

TEST(QVRErrorWithDomain, TellsThePlaceInTheSource)
{
    const NSError error = qvrErrorWithDomain(u"D", -3, "/src/Lädt.cpp", 4000000000u, "load", "x == y", {{u"more", 1}});
    EXPECT_EQ(error.domain(), NSString(u"D"));
    EXPECT_EQ(error.code(), -3);
    EXPECT_EQ(error.userInfo(),
        (NSDictionary{{u"more", 1}, {QVRFile, u"/src/Lädt.cpp"}, {QVRLine, 4000000000u}, {QVRFunction, u"load"},
            {QVRCodeString, u"x == y"}}));
}

TEST(QVRErrorWithDomain, OverwritesTheSameKeysOfTheGivenUserInfo)
{
    const NSDictionary given = {{QVRFile, u"old"}, {QVRLine, u"old"}, {QVRFunction, u"old"}, {QVRCodeString, u"old"}};
    const NSError error = qvrErrorWithDomain(u"D", 1, "f", 2, "g", "c", given);
    EXPECT_EQ(error.userInfo(), (NSDictionary{{QVRFile, u"f"}, {QVRLine, 2}, {QVRFunction, u"g"}, {QVRCodeString, u"c"}}));
    EXPECT_EQ(given.objectForKey(QVRFile), Value(u"old"));
}

TEST(QVRErrorWithDomain, NeedsNoUserInfo)
{
    EXPECT_EQ(qvrErrorWithDomain(u"D", 1, "f", 2, "g", "c", NSDictionary()).userInfo().count(), 4u);
}

TEST(QVRErrorWithDomain, StoresAPlaceholderForMissingCStrings)
{
    const NSError error = qvrErrorWithDomain(u"D", 1, nullptr, 2, nullptr, nullptr, NSDictionary());
    for (const NSString& key : {QVRFile, QVRFunction, QVRCodeString})
        EXPECT_EQ(entry(error, key), Value(nilText));
}

TEST(QVRRequirementFailedError, QuotesTheRequirementWithTypographicMarks)
{
    const NSError error = qvrRequirementFailedError(u"a > b");
    EXPECT_TRUE(qvrHasDomain(error, QVRErrorDomain, 901));
    EXPECT_EQ(error.userInfo(),
        (NSDictionary{
            {NSLocalizedDescriptionKey, u"The requirement \u201Ca > b\u201D was not satisfied."}, {QVRFailingObject, u"a > b"}}));
}

TEST(QVRRequirementFailedError, OfAnAbsentObjectStoresTheEmptyTextAndPrintsNull)
{
    const NSError error = qvrRequirementFailedError(Value());
    EXPECT_EQ(entry(error, QVRFailingObject), Value(u""));
    EXPECT_EQ(entry(error, NSLocalizedDescriptionKey), Value(u"The requirement \u201C(null)\u201D was not satisfied."));
}

TEST(QVRRequirementFailedError, AddsToTheGivenUserInfoAndOverwritesItsOwnKeys)
{
    const NSError error = qvrRequirementFailedError(
        5, {{u"more", u"x"}, {QVRFailingObject, u"old"}, {NSLocalizedRecoverySuggestionErrorKey, u"kept"}});
    EXPECT_EQ(entry(error, u"more"), Value(u"x"));
    EXPECT_EQ(entry(error, QVRFailingObject), Value(5));
    EXPECT_EQ(entry(error, NSLocalizedRecoverySuggestionErrorKey), Value(u"kept"));
}

TEST(QVRErrorWithCode, HoldsOnlyTheFailingObject)
{
    const NSError error = qvrErrorWithCode(12, 3.5);
    EXPECT_TRUE(qvrHasDomain(error, QVRErrorDomain, 12));
    EXPECT_EQ(error.userInfo(), (NSDictionary{{QVRFailingObject, 3.5}}));
    EXPECT_EQ(qvrErrorWithCode(12, Value()).userInfo(), (NSDictionary{{QVRFailingObject, nilText}}));
}

TEST(QVRErrorWithUnsupportedKey, NamesTheKeyAndTheFile)
{
    const NSError error = qvrErrorWithUnsupportedKey(u"colour", NSURL::URLWithString(u"file:///tmp/a%20b.plist"));
    EXPECT_TRUE(qvrHasDomain(error, QVRErrorDomain, 1001));
    EXPECT_EQ(error.userInfo(), (NSDictionary{{QVRFailingKey, u"colour"}, {NSFilePathErrorKey, u"/tmp/a b.plist"}}));
}

TEST(QVRErrorWithUnsupportedKey, StoresPlaceholdersForWhatIsAbsent)
{
    EXPECT_EQ(qvrErrorWithUnsupportedKey(Value(), NSURL()).userInfo(),
        (NSDictionary{{QVRFailingKey, nilText}, {NSFilePathErrorKey, nilText}}));
}

TEST(QVRErrorWithFailingObject, IsTheCodeOfAFileInAWrongFormat)
{
    const NSError error = qvrErrorWithFailingObject(u"text", Class("NSDictionary"), NSURL::URLWithString(u"file:///tmp/a.plist"));
    EXPECT_TRUE(qvrHasDomain(error, NSCocoaErrorDomain, 259));
    EXPECT_EQ(error.userInfo(),
        (NSDictionary{{NSFilePathErrorKey, u"/tmp/a.plist"}, {QVRFailingObject, u"text"},
            {QVRExpectedType, Class("NSDictionary")}, {QVRActualType, Value(u"text").classObject()}}));
}

TEST(QVRErrorWithFailingObject, StoresPlaceholdersForWhatIsAbsent)
{
    EXPECT_EQ(qvrErrorWithFailingObject(Value(), std::nullopt, NSURL()).userInfo(),
        (NSDictionary{
            {NSFilePathErrorKey, nilText}, {QVRFailingObject, NSNull()}, {QVRExpectedType, nilText}, {QVRActualType, NSNull()}}));
}

TEST(QVRErrorWithActualValue, HoldsBothValuesTheKeyAndASentence)
{
    const NSError error = qvrErrorWithActualValue(2, 1, u"version");
    EXPECT_TRUE(qvrHasDomain(error, QVRErrorDomain, 2000));
    EXPECT_EQ(error.userInfo(),
        (NSDictionary{{QVRActualValue, 2}, {QVRExpectedValue, 1}, {QVRFailingKey, u"version"},
            {NSLocalizedDescriptionKey, u"The value for version was expected to be 1 but was 2."}}));
}

TEST(QVRErrorWithActualValue, StoresPlaceholdersYetPrintsNullForWhatIsAbsent)
{
    EXPECT_EQ(qvrErrorWithActualValue(Value(), Value(), Value()).userInfo(),
        (NSDictionary{{QVRActualValue, nilText}, {QVRExpectedValue, nilText}, {QVRFailingKey, nilText},
            {NSLocalizedDescriptionKey, u"The value for (null) was expected to be (null) but was (null)."}}));
}

TEST(QVRCheckValue, AcceptsEqualStringsAndLeavesTheErrorAlone)
{
    NSError error = plainError;
    EXPECT_TRUE(qvrCheckValue(u"a", u"a", u"key", &error));
    EXPECT_EQ(error, plainError);
}

TEST(QVRCheckValue, ComparesContents)
{
    EXPECT_TRUE(qvrCheckValue(NSArray{1, u"x"}, NSArray{1.0, u"x"}, u"key"));
    EXPECT_FALSE(qvrCheckValue(u"1", 1, u"key"));
    EXPECT_FALSE(qvrCheckValue(u"a", Value(), u"key"));
}

TEST(QVRCheckValue, NeverAcceptsAnAbsentActualValue)
{
    EXPECT_FALSE(qvrCheckValue(Value(), Value(), u"key"));
    EXPECT_FALSE(qvrCheckValue(Value(), u"a", u"key"));
}

TEST(QVRCheckValue, GivesTheErrorOfAMismatchWithItsOwnStackFrame)
{
    NSError error;
    EXPECT_FALSE(qvrCheckValue(u"a", u"b", u"key", &error));
    EXPECT_TRUE(qvrHasDomain(error, QVRErrorDomain, 2000));
    EXPECT_EQ(entry(error, QVRActualValue), Value(u"a"));
    EXPECT_EQ(entry(error, QVRExpectedValue), Value(u"b"));
    const NSArray frames = entry(error, QVRStackFrames).array();
    ASSERT_EQ(frames.count(), 1u);
    const NSString frame = frames[0].string();
    EXPECT_TRUE(frame.hasPrefix(u"qvrCheckValue (")) << frame.UTF8();
    EXPECT_GT(frame.substringFromIndex(15).integerValue(), 0);
}

TEST(QVRErrorBySettingObject, KeepsDomainCodeAndOtherEntries)
{
    const NSError error = qvrErrorBySettingObject(NSError(u"D", 7, {{u"a", 1}, {u"b", 2}}), u"new", u"a");
    EXPECT_EQ(error, NSError(u"D", 7, {{u"a", u"new"}, {u"b", 2}}));
}

TEST(QVRErrorBySettingObject, LeavesTheReceiverAsItWas)
{
    const NSError error(u"D", 7, {{u"a", 1}});
    static_cast<void>(qvrErrorBySettingObject(error, 2, u"a"));
    EXPECT_EQ(entry(error, u"a"), Value(1));
}

TEST(QVRErrorBySettingObject, WithAnAbsentKeyGivesAnEqualError)
{
    const NSError error(u"D", 7, {{u"a", 1}});
    EXPECT_EQ(qvrErrorBySettingObject(error, 2, NSString()), error);
}

TEST(QVRErrorBySettingObject, StoresAPlaceholderForAnAbsentObject)
{
    EXPECT_EQ(entry(qvrErrorBySettingObject(plainError, Value(), u"a"), u"a"), Value(nilText));
}

TEST(QVRErrorBySettingObject, KeepsAnAbsentErrorAbsent)
{
    EXPECT_TRUE(qvrErrorBySettingObject(NSError(), 1, u"a").isAbsent());
    EXPECT_TRUE(qvrErrorByAddingStackFrame(NSError(), "f", 1).isAbsent());
}

TEST(QVRErrorByAddingUserInfo, SetsEveryEntry)
{
    const NSError error = qvrErrorByAddingUserInfo(NSError(u"D", 7, {{u"a", 1}}), {{u"b", 2}, {u"a", 3}});
    EXPECT_EQ(error, NSError(u"D", 7, {{u"a", 3}, {u"b", 2}}));
}

TEST(QVRErrorByAddingUserInfo, OfNothingGivesTheSameError)
{
    EXPECT_EQ(qvrErrorByAddingUserInfo(plainError, NSDictionary()), plainError);
    EXPECT_EQ(qvrErrorByAddingUserInfo(plainError, NSDictionary::dictionary()), plainError);
    EXPECT_TRUE(qvrErrorByAddingUserInfo(plainError, NSDictionary::dictionary()).userInfo().isAbsent());
}

TEST(QVRErrorBySettingMode, StoresTheBitsInOctal)
{
    const std::vector<std::pair<uint32_t, NSString>> rows = {
        {0755, u"755"}, {0644, u"644"}, {0, u"0"}, {0xffffffff, u"37777777777"}};
    for (const auto& [mode, text] : rows)
        EXPECT_EQ(entry(qvrErrorBySettingMode(plainError, mode, u"mode"), u"mode"), Value(text));
}

TEST(QVRErrorSetters, StoreTheirValueUnderTheirKey)
{
    const NSURL fileURL = NSURL::URLWithString(u"file:///tmp/a%20b");
    const NSURL url = NSURL::URLWithString(u"https://host/x?y");
    const struct {
        NSError error;
        NSString key;
        Value value;
    } rows[] = {
        {qvrErrorBySettingFilePath(plainError, u"/a"), NSFilePathErrorKey, u"/a"},
        {qvrErrorBySettingFilePath(plainError, NSString()), NSFilePathErrorKey, nilText},
        {qvrErrorBySettingFileURL(plainError, fileURL), NSFilePathErrorKey, u"/tmp/a b"},
        {qvrErrorBySettingFileURL(plainError, NSURL()), NSFilePathErrorKey, nilText},
        {qvrErrorBySettingCFilePath(plainError, "/\xC3\xA4"), NSFilePathErrorKey, u"/ä"},
        {qvrErrorBySettingCFilePath(plainError, "/a\xFF"), NSFilePathErrorKey, u"/a\uFFFD"},
        {qvrErrorBySettingCFilePath(plainError, nullptr), NSFilePathErrorKey, nilText},
        {qvrErrorBySettingURL(plainError, url), NSURLErrorKey, url},
        {qvrErrorBySettingURL(plainError, NSURL()), NSURLErrorKey, nilText},
        {qvrErrorBySettingDestinationFilePath(plainError, u"/to"), u"NSDestinationFilePath", u"/to"},
        {qvrErrorBySettingDestinationFilePath(plainError, NSString()), u"NSDestinationFilePath", nilText},
        {qvrErrorBySettingDescription(plainError, u"text"), NSLocalizedDescriptionKey, u"text"},
        {qvrErrorBySettingDescription(plainError, NSString()), NSLocalizedDescriptionKey, nilText},
        {qvrErrorBySettingRecoverySuggestion(plainError, u"text"), NSLocalizedRecoverySuggestionErrorKey, u"text"},
        {qvrErrorBySettingUnderlyingError(plainError, NSError(u"I", 1)), NSUnderlyingErrorKey, NSError(u"I", 1)},
        {qvrErrorBySettingUnderlyingError(plainError, NSError()), NSUnderlyingErrorKey, nilText},
        {qvrErrorBySettingUnderlyingReason(plainError, 9), QVRUnderlyingReason, 9},
        {qvrErrorBySettingUnderlyingReason(plainError, Value()), QVRUnderlyingReason, nilText},
        {qvrErrorBySettingFailingObject(plainError, u"it"), QVRFailingObject, u"it"},
        {qvrErrorBySettingFailingObject(plainError, Value()), QVRFailingObject, NSNull()},
        {qvrErrorBySettingArguments(plainError, {u"-a", u"b"}), QVRArguments, NSArray{u"-a", u"b"}},
        {qvrErrorBySettingArguments(plainError, NSArray()), QVRArguments, NSNull()},
        {qvrErrorBySettingHelpAnchor(plainError, u"anchor"), NSHelpAnchorErrorKey, u"anchor"},
        {qvrErrorBySettingHelpAnchor(plainError, NSString()), NSHelpAnchorErrorKey, u""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.error.userInfo().count(), 1u) << row.key.UTF8();
        EXPECT_EQ(entry(row.error, row.key), row.value) << row.key.UTF8();
        EXPECT_TRUE(qvrHasDomain(row.error, u"D", 7));
    }
}

TEST(QVRErrorBySettingFailingObject, WithAnExpectedClassNamesBothClasses)
{
    const NSError error = qvrErrorBySettingFailingObject(plainError, 5, Class("NSString"));
    EXPECT_EQ(error.userInfo(),
        (NSDictionary{{QVRFailingObject, 5}, {QVRExpectedType, Class("NSString")}, {QVRActualType, Value(5).classObject()}}));
}

TEST(QVRErrorBySettingFailingObject, OfAnAbsentObjectStoresTheNullObjectTwice)
{
    const NSError error = qvrErrorBySettingFailingObject(plainError, Value(), Class("NSString"));
    EXPECT_EQ(error.userInfo(),
        (NSDictionary{{QVRFailingObject, NSNull()}, {QVRExpectedType, Class("NSString")}, {QVRActualType, NSNull()}}));
}

TEST(QVRErrorBySettingFailingObject, WithoutAnExpectedClassStoresAPlaceholder)
{
    EXPECT_EQ(entry(qvrErrorBySettingFailingObject(plainError, 5, std::nullopt), QVRExpectedType), Value(nilText));
}

TEST(QVRErrorByAddingStackFrame, PutsTheNewestFrameFirst)
{
    NSError error = qvrErrorByAddingStackFrame(plainError, "a", 1);
    error = qvrErrorByAddingStackFrame(error, "b", 2);
    EXPECT_EQ(entry(error, QVRStackFrames), Value(NSArray{u"b (2)", u"a (1)"}));
    error = qvrErrorByAddingStackFrame(error, "c", 18446744073709551615u);
    EXPECT_EQ(entry(error, QVRStackFrames), Value(NSArray{u"c (18446744073709551615)", u"b (2)", u"a (1)"}));
}

TEST(QVRHasDomain, NeedsBothDomainAndCode)
{
    EXPECT_TRUE(qvrHasDomain(plainError, u"D", 7));
    EXPECT_FALSE(qvrHasDomain(plainError, u"E", 7));
    EXPECT_FALSE(qvrHasDomain(plainError, u"D", 8));
    EXPECT_FALSE(qvrHasDomain(plainError, NSString(), 7));
    EXPECT_FALSE(qvrHasDomain(NSError(), u"D", 7));
    EXPECT_FALSE(qvrHasDomain(NSError(), NSString(), 0));
}

TEST(QVRIsFilePermissionsError, KnowsFourPairs)
{
    const struct {
        NSString domain;
        int64_t code;
        bool expected;
    } rows[] = {
        {NSCocoaErrorDomain, 513, true},
        {NSCocoaErrorDomain, 512, true},
        {NSPOSIXErrorDomain, EACCES, true},
        {NSCocoaErrorDomain, 13, true},
        {NSPOSIXErrorDomain, EPERM, false},
        {NSPOSIXErrorDomain, 513, false},
        {NSPOSIXErrorDomain, 512, false},
        {NSCocoaErrorDomain, 257, false},
        {QVRErrorDomain, 13, false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrIsFilePermissionsError(NSError(row.domain, row.code)), row.expected) << row.domain.UTF8() << ' ' << row.code;
    EXPECT_FALSE(qvrIsFilePermissionsError(NSError()));
}
