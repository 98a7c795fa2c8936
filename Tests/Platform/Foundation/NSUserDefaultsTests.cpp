#include "Platform/Foundation/NSUserDefaults.h"

#include "Platform/Foundation/CFPreferences.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/PreferencesStore.h"
#include "Support/TemporaryFolder.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

class SettingsReads : public testing::Test {
protected:
    SettingsReads()
    {
        PreferencesStore::setSharedStore(std::make_shared<PreferencesStore>(std::vector{_folder.path().string()}));
    }
    ~SettingsReads() override { PreferencesStore::setSharedStore(nullptr); }

    // To be called before the domain's first read.
    void write(const NSString& domain, const NSDictionary& entries)
    {
        const NSData data = NSPropertyListSerialization::dataWithPropertyList(entries, NSPropertyListXMLFormat_v1_0);
        ASSERT_TRUE(data);
        static_cast<void>(_folder.write(domain.UTF8() + ".plist", data.characters()));
    }
    static NSString ownDomain() { return NSProcessInfo::processInfo().processName(); }
    static const NSUserDefaults& defaults() { return NSUserDefaults::standardUserDefaults(); }

private:
    support::TemporaryFolder _folder;
};

}

using NSUserDefaultsTest = SettingsReads;
using CFPreferencesTest = SettingsReads;

TEST_F(NSUserDefaultsTest, FindsValuesInTheProcessesDomainThenInTheGlobalOne)
{
    write(ownDomain(), {{u"own", 1}, {u"both", u"own"}});
    write(NSGlobalDomain, {{u"both", u"global"}, {u"global", NSArray{1}}});
    write(u"other", {{u"other", 1}});
    EXPECT_EQ(defaults().objectForKey(u"own").integerValue(), 1);
    EXPECT_EQ(defaults().objectForKey(u"both").string(), NSString(u"own"));
    EXPECT_EQ(defaults().objectForKey(u"global").array().count(), 1U);
    EXPECT_TRUE(defaults().objectForKey(u"other").isAbsent());
}

TEST_F(NSUserDefaultsTest, GivesOneDomainAlone)
{
    write(u"com.example.host", {{u"a", 1}});
    write(NSGlobalDomain, {{u"b", 2}});
    EXPECT_EQ(defaults().persistentDomainForName(u"com.example.host"), (NSDictionary{{u"a", 1}}));
    EXPECT_TRUE(defaults().persistentDomainForName(u"com.example.missing").isAbsent());
}

TEST_F(NSUserDefaultsTest, HasAnEmptyRepresentationWithoutAnyFile)
{
    EXPECT_EQ(defaults().dictionaryRepresentation(), NSDictionary::dictionary());
}

TEST_F(NSUserDefaultsTest, LetsItsOwnDomainOverrideTheGlobalOne)
{
    write(ownDomain(), {{u"own", 1}, {u"both", u"own"}});
    write(NSGlobalDomain, {{u"both", u"global"}, {u"global", 3}});
    EXPECT_EQ(defaults().dictionaryRepresentation(), (NSDictionary{{u"own", 1}, {u"both", u"own"}, {u"global", 3}}));
}

TEST_F(NSUserDefaultsTest, IsDescribedByItsAddress)
{
    EXPECT_TRUE(defaults().description().hasPrefix(u"<NSUserDefaults: 0x"));
}

TEST_F(CFPreferencesTest, CopiesAValueOfAnyKind)
{
    write(u"D", {{u"list", NSArray{1, 2}}, {u"text", u"t"}});
    write(NSGlobalDomain, {{u"global", 1}});
    EXPECT_EQ(CFPreferencesCopyAppValue(u"list", u"D").array().count(), 2U);
    EXPECT_EQ(CFPreferencesCopyAppValue(u"text", u"D").string(), NSString(u"t"));
    EXPECT_EQ(CFPreferencesCopyAppValue(u"global", u"D").integerValue(), 1);
    EXPECT_TRUE(CFPreferencesCopyAppValue(u"missing", u"D").isAbsent());
    EXPECT_TRUE(CFPreferencesCopyAppValue(u"text", u"E").isAbsent());
}

TEST_F(CFPreferencesTest, ReadsBooleans)
{
    const struct {
        Value stored;
        std::optional<bool> expected;   // none: not a boolean
    } rows[] = {
        {true, true},
        {false, false},
        {1, true},
        {0, false},
        {-7, true},
        {0.5, true},
        {0.0, false},
        {u"true", true},
        {u"YES", true},
        {u"Yes", true},
        {u"1", true},
        {u"false", false},
        {u"No", false},
        {u"0", false},
        {u"", {}},
        {u"2", {}},
        {u"y", {}},
        {u"true ", {}},
        {u"ＹＥＳ", {}},
        {u"abc", {}},
        {NSArray{true}, {}},
        {NSDictionary{{u"a", true}}, {}},
        {NSDate::dateWithTimeIntervalSinceReferenceDate(1), {}},
        {NSData::dataWithBytes("1"), {}},
    };
    NSDictionary entries;
    for (size_t index = 0; index < std::size(rows); ++index)
        entries.setObject(rows[index].stored, NSString::stringWithFormat(u"%zu", index));
    write(u"D", entries);
    for (size_t index = 0; index < std::size(rows); ++index) {
        const NSString key = NSString::stringWithFormat(u"%zu", index);
        bool valid = !rows[index].expected;
        EXPECT_EQ(CFPreferencesGetAppBooleanValue(key, u"D", &valid), rows[index].expected.value_or(false)) << index;
        EXPECT_EQ(valid, rows[index].expected.has_value()) << index;
        EXPECT_EQ(CFPreferencesGetAppBooleanValue(key, u"D"), rows[index].expected.value_or(false)) << index;
    }
    bool valid = true;
    EXPECT_FALSE(CFPreferencesGetAppBooleanValue(u"missing", u"D", &valid));
    EXPECT_FALSE(valid);
}

TEST_F(CFPreferencesTest, ReadsIntegers)
{
    constexpr int64_t largest = std::numeric_limits<int64_t>::max();
    constexpr int64_t smallest = std::numeric_limits<int64_t>::min();
    const struct {
        Value stored;
        std::optional<int64_t> expected;   // none: not an integer
    } rows[] = {
        {5, 5},
        {-5, -5},
        {largest, largest},
        {smallest, smallest},
        {true, 1},
        {false, 0},
        {2.9, 2},
        {-2.9, -2},
        {-0x1p63, smallest},
        {0x1p63, {}},
        {1e300, {}},
        {u"42", 42},
        {u"-42", -42},
        {u"+42", 42},
        {u"007", 7},
        {u"9223372036854775807", largest},
        {u"9223372036854775808", {}},
        {u"", {}},
        {u"+", {}},
        {u"+-1", {}},
        {u" 1", {}},
        {u"1 ", {}},
        {u"1.5", {}},
        {u"0x10", {}},
        {u"ten", {}},
        {u"１", {}},
        {NSArray{1}, {}},
        {NSData::dataWithBytes("1"), {}},
    };
    NSDictionary entries;
    for (size_t index = 0; index < std::size(rows); ++index)
        entries.setObject(rows[index].stored, NSString::stringWithFormat(u"%zu", index));
    write(u"D", entries);
    for (size_t index = 0; index < std::size(rows); ++index) {
        const NSString key = NSString::stringWithFormat(u"%zu", index);
        bool valid = !rows[index].expected;
        EXPECT_EQ(CFPreferencesGetAppIntegerValue(key, u"D", &valid), rows[index].expected.value_or(0)) << index;
        EXPECT_EQ(valid, rows[index].expected.has_value()) << index;
        EXPECT_EQ(CFPreferencesGetAppIntegerValue(key, u"D"), rows[index].expected.value_or(0)) << index;
    }
    bool valid = true;
    EXPECT_EQ(CFPreferencesGetAppIntegerValue(u"missing", u"D", &valid), 0);
    EXPECT_FALSE(valid);
}
