#include "QVRSettings.h"

#include "Platform/Foundation/NSProcessInfo.h"
#include "Support/KeptLog.h"
#include "Support/Printing.h"
#include "Support/SettingsFolder.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace {

const NSString host = u"com.brackenlow.Tarnwick";

const NSUserDefaults& standard()
{
    return NSUserDefaults::standardUserDefaults();
}

class DomainSettings : public testing::Test {
protected:
    DomainSettings()
    {
        settings.write(host.UTF8(),
            "<key>true</key><true/><key>false</key><false/><key>zero</key><integer>0</integer><key>seven</key><integer>7</"
            "integer>"
            "<key>negative</key><integer>-9000000000</integer><key>real</key><real>2.75</real>"
            "<key>digits</key><string>42</string><key>yes</key><string>YES</string><key>no</key><string>no</string>"
            "<key>words</key><string>abc</string><key>array</key><array><string>x</string></array>"
            "<key>date</key><date>2001-01-01T00:00:00Z</date>");
    }
    support::SettingsFolder settings;
};

// The program's own settings.
class OwnSettings : public testing::Test {
protected:
    OwnSettings()
    {
        settings.write(NSProcessInfo::processInfo().processName().UTF8(),
            "<key>true</key><true/><key>false</key><false/><key>seven</key><integer>7</integer><key>real</key><real>2.75</real>"
            "<key>digits</key><string>42</string><key>yes</key><string>YES</string><key>words</key><string>abc</string>"
            "<key>size</key><string>{100, 50}</string><key>array</key><array><string>x</string></array>"
            "<key>date</key><date>2001-01-01T00:00:00Z</date>");
        settings.write(".GlobalPreferences", "<key>everywhere</key><integer>3</integer><key>seven</key><integer>8</integer>");
    }
    support::SettingsFolder settings;
};

}

TEST_F(DomainSettings, GiveBooleans)
{
    EXPECT_TRUE(qvrBoolForKey(standard(), u"true", host, false));
    EXPECT_FALSE(qvrBoolForKey(standard(), u"false", host, true));
    EXPECT_FALSE(qvrBoolForKey(standard(), u"zero", host, true));
    EXPECT_TRUE(qvrBoolForKey(standard(), u"seven", host, false));
    EXPECT_TRUE(qvrBoolForKey(standard(), u"yes", host, false));
    EXPECT_FALSE(qvrBoolForKey(standard(), u"no", host, true));
}

TEST_F(DomainSettings, GiveTheDefaultForABooleanThatIsMissingOrNone)
{
    for (const bool defaultValue : {false, true}) {
        for (const NSString& key : {NSString(u"missing"), NSString(u"array"), NSString(u"words"), NSString(u"date")})
            EXPECT_EQ(qvrBoolForKey(standard(), key, host, defaultValue), defaultValue) << key.UTF8();
        EXPECT_EQ(qvrBoolForKey(standard(), u"true", u"no.such.domain", defaultValue), defaultValue);
    }
}

TEST_F(DomainSettings, GiveIntegers)
{
    EXPECT_EQ(qvrIntegerForKey(standard(), u"seven", host, 1), 7);
    EXPECT_EQ(qvrIntegerForKey(standard(), u"zero", host, 1), 0);
    EXPECT_EQ(qvrIntegerForKey(standard(), u"negative", host, 1), -9000000000);
    EXPECT_EQ(qvrIntegerForKey(standard(), u"true", host, 5), 1);
    EXPECT_EQ(qvrIntegerForKey(standard(), u"real", host, 1), 2);
}

TEST_F(DomainSettings, ConvertAStringOfDigitsToAnInteger)
{
    EXPECT_EQ(qvrIntegerForKey(standard(), u"digits", host, 1), 42);
}

TEST_F(DomainSettings, GiveTheDefaultForAnIntegerThatIsMissingOrNone)
{
    for (const NSString& key : {NSString(u"missing"), NSString(u"array"), NSString(u"words"), NSString(u"date")})
        EXPECT_EQ(qvrIntegerForKey(standard(), key, host, -3), -3) << key.UTF8();
}

TEST_F(DomainSettings, GiveObjectsWhateverTheirKind)
{
    EXPECT_EQ(qvrObjectForKey(standard(), u"array", host, u"default"), Value(NSArray{u"x"}));
    EXPECT_EQ(qvrObjectForKey(standard(), u"words", host, u"default"), Value(u"abc"));
    EXPECT_EQ(qvrObjectForKey(standard(), u"false", host, u"default"), Value(false));
    EXPECT_EQ(qvrObjectForKey(standard(), u"missing", host, u"default"), Value(u"default"));
    EXPECT_TRUE(qvrObjectForKey(standard(), u"missing", host, Value()).isAbsent());
}

TEST_F(DomainSettings, NeedNoReceiver)
{
    EXPECT_TRUE(qvrBoolForKey(u"true", host, false));
    EXPECT_EQ(qvrIntegerForKey(u"seven", host, 1), 7);
    EXPECT_EQ(qvrIntegerForKey(u"missing", host, 1), 1);
    EXPECT_EQ(qvrObjectForKey(u"words", host, Value()), Value(u"abc"));
}

TEST_F(DomainSettings, AreNotTheProgramsOwn)
{
    EXPECT_EQ(qvrIntegerForKey(standard(), u"seven", 1), 1);
}

TEST_F(OwnSettings, GiveObjectsWhateverTheirKind)
{
    EXPECT_EQ(qvrObjectForKey(standard(), u"array", u"default"), Value(NSArray{u"x"}));
    EXPECT_EQ(qvrObjectForKey(standard(), u"seven", u"default"), Value(7));
    EXPECT_EQ(qvrObjectForKey(standard(), u"missing", u"default"), Value(u"default"));
}

TEST_F(OwnSettings, FallBackToTheDomainOfAllPrograms)
{
    EXPECT_EQ(qvrIntegerForKey(standard(), u"everywhere", 1), 3);
}

TEST_F(OwnSettings, GiveStringsOnlyWhereAStringIsStored)
{
    EXPECT_EQ(qvrStringForKey(standard(), u"words", u"default"), NSString(u"abc"));
    for (const NSString& key : {NSString(u"seven"), NSString(u"true"), NSString(u"array"), NSString(u"missing")})
        EXPECT_EQ(qvrStringForKey(standard(), key, u"default"), NSString(u"default")) << key.UTF8();
    EXPECT_TRUE(qvrStringForKey(standard(), u"missing", NSString()).isAbsent());
}

TEST_F(OwnSettings, ConvertNumbersAndStringsToBooleans)
{
    const std::vector<std::pair<NSString, bool>> rows = {{u"true", true}, {u"false", false}, {u"seven", true}, {u"real", true},
        {u"digits", true}, {u"yes", true}, {u"words", false}};
    for (const auto& [key, expected] : rows)
        EXPECT_EQ(qvrBoolForKey(standard(), key, !expected), expected) << key.UTF8();
}

TEST_F(OwnSettings, ConvertNumbersAndStringsToIntegers)
{
    const std::vector<std::pair<NSString, int64_t>> rows = {
        {u"true", 1}, {u"seven", 7}, {u"real", 2}, {u"digits", 42}, {u"words", 0}};
    for (const auto& [key, expected] : rows)
        EXPECT_EQ(qvrIntegerForKey(standard(), key, -1), expected) << key.UTF8();
}

TEST_F(OwnSettings, ConvertNumbersAndStringsToReals)
{
    const std::vector<std::pair<NSString, double>> rows = {
        {u"true", 1}, {u"seven", 7}, {u"real", 2.75}, {u"digits", 42}, {u"words", 0}};
    for (const auto& [key, expected] : rows)
        EXPECT_EQ(qvrDoubleForKey(standard(), key, -1), expected) << key.UTF8();
}

TEST_F(OwnSettings, GiveTheDefaultForValuesWithoutANumber)
{
    for (const NSString& key : {NSString(u"array"), NSString(u"date"), NSString(u"missing")}) {
        EXPECT_TRUE(qvrBoolForKey(standard(), key, true)) << key.UTF8();
        EXPECT_EQ(qvrIntegerForKey(standard(), key, -4), -4) << key.UTF8();
        EXPECT_EQ(qvrDoubleForKey(standard(), key, 0.5), 0.5) << key.UTF8();
    }
}

TEST_F(OwnSettings, ReadSizesFromStrings)
{
    const NSSize defaultSize = {0.1, 1e21};
    EXPECT_EQ(qvrSizeForKey(standard(), u"size", defaultSize), (NSSize{100, 50}));
    EXPECT_EQ(qvrSizeForKey(standard(), u"words", defaultSize), (NSSize{0, 0}));
    EXPECT_EQ(qvrSizeForKey(standard(), u"missing", defaultSize), defaultSize);
    EXPECT_EQ(qvrSizeForKey(standard(), u"array", defaultSize), defaultSize);
    EXPECT_EQ(qvrSizeForKey(standard(), u"seven", defaultSize), defaultSize);
}

TEST_F(OwnSettings, WithAnAbsentKeyFailAPrecondition)
{
    const struct {
        NSString selector;
        std::function<void()> read;
    } rows[] = {
        {u"qvrBoolForKey:domain:defaultValue:", [] { static_cast<void>(qvrBoolForKey(standard(), NSString(), host, true)); }},
        {u"qvrIntegerForKey:domain:defaultValue:", [] { static_cast<void>(qvrIntegerForKey(standard(), NSString(), host, 1)); }},
        {u"qvrObjectForKey:domain:defaultValue:", [] { static_cast<void>(qvrObjectForKey(standard(), NSString(), host, u"d")); }},
        {u"qvrBoolForKey:domain:defaultValue:", [] { static_cast<void>(qvrBoolForKey(NSString(), host, true)); }},
        {u"qvrObjectForKey:defaultValue:", [] { static_cast<void>(qvrObjectForKey(standard(), NSString(), u"d")); }},
        {u"qvrStringForKey:defaultValue:", [] { static_cast<void>(qvrStringForKey(standard(), NSString(), u"d")); }},
        {u"qvrBoolForKey:defaultValue:", [] { static_cast<void>(qvrBoolForKey(standard(), NSString(), true)); }},
        {u"qvrIntegerForKey:defaultValue:", [] { static_cast<void>(qvrIntegerForKey(standard(), NSString(), 1)); }},
        {u"qvrDoubleForKey:defaultValue:", [] { static_cast<void>(qvrDoubleForKey(standard(), NSString(), 1)); }},
        {u"qvrStringForKey:defaultValue:",
            [] {
                static_cast<void>(qvrSizeForKey(standard(), NSString(), NSSize{1, 1}));
            }},
    };
    for (const auto& row : rows) {
        support::KeptLog log;
        try {
            row.read();
            ADD_FAILURE() << row.selector.UTF8();
        } catch (const QVRException& exception) {
            EXPECT_EQ(exception.name(), QVRAssertionFailedException);
            EXPECT_EQ(exception.qvrReason(), NSString(u"Precondition Failed: key"));
            EXPECT_TRUE(exception.reason().hasSuffix(NSString::stringWithFormat(u" -%@", row.selector)))
                << exception.reason().UTF8();
        }
        ASSERT_EQ(log.lines.size(), 1u);
        EXPECT_TRUE(log.lines[0].hasPrefix(u"QVRSettings.cpp:")) << log.lines[0].UTF8();
        EXPECT_TRUE(log.lines[0].hasSuffix(
            NSString::stringWithFormat(u" -%@: Assertion Failed: Precondition Failed: key", row.selector)));
    }
}
