#include "Platform/Foundation/NSProcessInfo.h"

#include "Platform/Foundation/Value.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <sys/utsname.h>
#include <unistd.h>

namespace {

const NSProcessInfo& info()
{
    return NSProcessInfo::processInfo();
}

}

TEST(NSProcessInfo, ReadsAVersionFromAKernelRelease)
{
    const struct {
        std::string_view release;
        NSOperatingSystemVersion expected;
    } rows[] = {
        {"6.1.0-18-amd64", {6, 1, 0}},
        {"5.10.205", {5, 10, 205}},
        {"6.12", {6, 12, 0}},
        {"7", {7, 0, 0}},
        {"6.6-rc1", {6, 6, 0}},
        {"4.19.0.1", {4, 19, 0}},
        {"", {0, 0, 0}},
        {"generic", {0, 0, 0}},
        {"6.x.3", {6, 0, 0}},
        {"-6.1", {0, 0, 0}},
        {"99999999999999999999.1", {0, 0, 0}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(NSProcessInfo::versionFromRelease(row.release), row.expected) << row.release;
}

TEST(NSProcessInfo, AnswersTheKernelsVersion)
{
    utsname names = {};
    ASSERT_EQ(::uname(&names), 0);
    const NSOperatingSystemVersion version = info().operatingSystemVersion();
    EXPECT_TRUE(std::string_view(names.release).starts_with(std::to_string(version.majorVersion) + "."));
    EXPECT_GT(version.majorVersion, 0);
}

TEST(NSProcessInfo, ComparesVersionsNumberByNumber)
{
    const NSOperatingSystemVersion version = info().operatingSystemVersion();
    const auto [major, minor, patch] = version;
    EXPECT_TRUE(info().isOperatingSystemAtLeastVersion(version));
    EXPECT_TRUE(info().isOperatingSystemAtLeastVersion({major - 1, minor + 1, patch + 1}));
    EXPECT_FALSE(info().isOperatingSystemAtLeastVersion({major, minor, patch + 1}));
    EXPECT_FALSE(info().isOperatingSystemAtLeastVersion({major, minor + 1, 0}));
    EXPECT_FALSE(info().isOperatingSystemAtLeastVersion({major + 1, 0, 0}));
    EXPECT_TRUE(info().isOperatingSystemAtLeastVersion({0, 0, 0}));
}

TEST(NSProcessInfo, NamesTheProcessAfterItsProgram)
{
    const NSString program = info().arguments().objectAtIndex(0).string();
    EXPECT_EQ(info().processName(), program.lastPathComponent());
    EXPECT_GT(info().processName().length(), 0U);
    EXPECT_EQ(info().processIdentifier(), ::getpid());
}

TEST(NSProcessInfo, KnowsTheEnvironmentOfTheMoment)
{
    ::setenv("PROCESS_INFO_TEST", "a=b \xFF", 1);
    EXPECT_EQ(info().environmentValueForName(u"PROCESS_INFO_TEST"), NSString(u"a=b \uFFFD"));
    EXPECT_EQ(info().environment().objectForKey(u"PROCESS_INFO_TEST").string(), NSString(u"a=b \uFFFD"));
    ::setenv("PROCESS_INFO_TEST", "", 1);
    EXPECT_EQ(info().environmentValueForName(u"PROCESS_INFO_TEST"), NSString(u""));
    ::unsetenv("PROCESS_INFO_TEST");
    EXPECT_TRUE(info().environmentValueForName(u"PROCESS_INFO_TEST").isAbsent());
    EXPECT_TRUE(info().environment().objectForKey(u"PROCESS_INFO_TEST").isAbsent());
    EXPECT_TRUE(info().environmentValueForName({}).isAbsent());
}
