#include "Platform/Foundation/PreferencesStore.h"

#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Support/StandardErrorCapture.h"
#include "Support/TemporaryFolder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

using support::StandardErrorCapture;
using support::TemporaryFolder;

namespace {

class PreferencesStoreTest : public testing::Test {
protected:
    TemporaryFolder first;
    TemporaryFolder second;
    PreferencesStore store{{first.path().string(), second.path().string()}};
    StandardErrorCapture standardError;

    static void write(const TemporaryFolder& folder, std::string_view domain, const Value& list,
        NSPropertyListFormat format = NSPropertyListXMLFormat_v1_0)
    {
        const NSData data = NSPropertyListSerialization::dataWithPropertyList(list, format);
        ASSERT_TRUE(data);
        static_cast<void>(folder.write(std::string(domain) + ".plist", data.characters()));
    }
    // Reads the unusable domain "D" twice and gives what was logged.
    std::string logOfUnusableDomain()
    {
        for (int reading = 0; reading < 2; ++reading) {
            EXPECT_EQ(store.domainForName(u"D"), NSDictionary::dictionary());
            EXPECT_TRUE(store.valueForKey(u"key", u"D").isAbsent());
        }
        return standardError.take();
    }
    [[nodiscard]] static size_t countLines(const std::string& text)
    {
        return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    }
};

void setEnvironment(const char* name, const std::optional<std::string>& value)
{
    if (value)
        ::setenv(name, value->c_str(), 1);
    else
        ::unsetenv(name);
}

}

TEST_F(PreferencesStoreTest, ReadsBothFormsOfPropertyLists)
{
    const NSDictionary list = {{u"flag", true}, {u"number", 5}, {u"text", u"ü"}, {u"list", NSArray{1, u"two"}}};
    write(first, "xml", list);
    write(first, "binary", list, NSPropertyListBinaryFormat_v1_0);
    EXPECT_EQ(store.domainForName(u"xml"), list);
    EXPECT_EQ(store.domainForName(u"binary"), list);
    EXPECT_EQ(standardError.take(), "");
}

TEST_F(PreferencesStoreTest, HasNothingForADomainWithoutAFile)
{
    EXPECT_TRUE(store.domainForName(u"D").isAbsent());
    EXPECT_TRUE(store.valueForKey(u"key", u"D").isAbsent());
    EXPECT_EQ(standardError.take(), "");
}

TEST_F(PreferencesStoreTest, PrefersTheEarlierFolderKeyByKey)
{
    write(first, "D", NSDictionary{{u"both", 1}, {u"first", 1}});
    write(second, "D", NSDictionary{{u"both", 2}, {u"second", 2}});
    EXPECT_EQ(store.domainForName(u"D"), (NSDictionary{{u"both", 1}, {u"first", 1}, {u"second", 2}}));
}

TEST_F(PreferencesStoreTest, UsesALaterFolderWhenTheEarlierHasNoFile)
{
    write(second, "D", NSDictionary{{u"key", 2}});
    EXPECT_EQ(store.valueForKey(u"key", u"D").integerValue(), 2);
}

TEST_F(PreferencesStoreTest, SearchesTheGlobalDomainLast)
{
    write(second, "D", NSDictionary{{u"own", u"D"}, {u"both", u"D"}});
    write(first, ".GlobalPreferences", NSDictionary{{u"both", u"global"}, {u"global", u"global"}});
    EXPECT_EQ(store.valueForKey(u"own", u"D").string(), NSString(u"D"));
    EXPECT_EQ(store.valueForKey(u"both", u"D").string(), NSString(u"D"));
    EXPECT_EQ(store.valueForKey(u"global", u"D").string(), NSString(u"global"));
    EXPECT_EQ(store.valueForKey(u"global", u"without a file").string(), NSString(u"global"));
    EXPECT_TRUE(store.valueForKey(u"neither", u"D").isAbsent());
    EXPECT_TRUE(store.domainForName(u"D").objectForKey(u"global").isAbsent());
    EXPECT_EQ(store.valueForKey(u"both", NSGlobalDomain).string(), NSString(u"global"));
}

TEST_F(PreferencesStoreTest, ReadsADomainOnce)
{
    write(first, "D", NSDictionary{{u"key", 1}});
    EXPECT_EQ(store.valueForKey(u"key", u"D").integerValue(), 1);
    EXPECT_TRUE(store.valueForKey(u"key", u"later").isAbsent());
    write(first, "D", NSDictionary{{u"key", 2}});
    write(first, "later", NSDictionary{{u"key", 2}});
    EXPECT_EQ(store.valueForKey(u"key", u"D").integerValue(), 1);
    EXPECT_TRUE(store.valueForKey(u"key", u"later").isAbsent());
    PreferencesStore fresh({first.path().string()});
    EXPECT_EQ(fresh.valueForKey(u"key", u"D").integerValue(), 2);
}

TEST_F(PreferencesStoreTest, CountsAFileThatCannotBeParsedAsEmptyAndSaysSoOnce)
{
    for (const std::string_view bytes : {"", "not a property list", "<plist><dict><key>a</key>", "bplist00", "\xFF\xFE"}) {
        PreferencesStore fresh({first.path().string()});
        const std::string path = first.write("D.plist", bytes);
        for (int reading = 0; reading < 2; ++reading)
            EXPECT_EQ(fresh.domainForName(u"D"), NSDictionary::dictionary()) << bytes;
        const std::string log = standardError.take();
        EXPECT_EQ(countLines(log), 1U) << log;
        EXPECT_NE(log.find("The settings file " + path + " counts as empty: "), std::string::npos) << log;
    }
}

TEST_F(PreferencesStoreTest, CountsAListThatIsNoDictionaryAsEmpty)
{
    write(first, "D", NSArray{1, 2});
    EXPECT_NE(logOfUnusableDomain().find("counts as empty: it does not hold a dictionary\n"), std::string::npos);
}

TEST_F(PreferencesStoreTest, KeepsTheOtherFoldersEntriesWhenOneFileIsUnusable)
{
    static_cast<void>(first.write("D.plist", "garbage"));
    write(second, "D", NSDictionary{{u"key", 2}});
    EXPECT_EQ(store.valueForKey(u"key", u"D").integerValue(), 2);
    EXPECT_EQ(countLines(standardError.take()), 1U);
}

TEST_F(PreferencesStoreTest, CountsAFolderInPlaceOfTheFileAsEmpty)
{
    static_cast<void>(first.makeFolder("D.plist"));
    const std::string log = logOfUnusableDomain();
    EXPECT_EQ(countLines(log), 1U);
    EXPECT_NE(log.find("it is not a regular file"), std::string::npos) << log;
}

TEST_F(PreferencesStoreTest, DoesNotWaitForAPipeInPlaceOfTheFile)
{
    ASSERT_EQ(::mkfifo(first.pathOf("D.plist").c_str(), 0600), 0);
    const std::string log = logOfUnusableDomain();
    EXPECT_EQ(countLines(log), 1U);
    EXPECT_NE(log.find("it is not a regular file"), std::string::npos) << log;
}

TEST_F(PreferencesStoreTest, RefusesADeviceThatNeverEnds)
{
    std::filesystem::create_symlink("/dev/zero", first.pathOf("D.plist"));
    EXPECT_NE(logOfUnusableDomain().find("it is not a regular file"), std::string::npos);
}

TEST_F(PreferencesStoreTest, RefusesAFileThatIsTooLarge)
{
    const std::string path = first.write("D.plist", "");
    std::filesystem::resize_file(path, PreferencesStore::LargestFile + 1);
    EXPECT_NE(logOfUnusableDomain().find("it is too large"), std::string::npos);
}

TEST_F(PreferencesStoreTest, FollowsLinksOfItsUserOnly)
{
    const std::string file = second.pathOf("file");
    write(second, "file", NSDictionary{{u"key", 2}});
    std::filesystem::rename(file + ".plist", file);
    const std::string link = first.pathOf("D.plist");
    std::filesystem::create_symlink(file, link);
    const auto isFollowed = [&] {
        return PreferencesStore({first.path().string()}).valueForKey(u"key", u"D").integerValue() == 2;
    };
    EXPECT_TRUE(isFollowed());
    EXPECT_EQ(standardError.take(), "");
    // Only the superuser can give files away; everybody else's links are their own.
    constexpr uid_t somebody = 4321;
    const bool gives = ::geteuid() == 0;
    EXPECT_EQ(::lchown(file.c_str(), somebody, somebody) == 0, gives);
    EXPECT_EQ(isFollowed(), !gives);
    EXPECT_EQ(standardError.take().find("it is a link to a file that belongs to another user") != std::string::npos, gives);
    EXPECT_EQ(::lchown(link.c_str(), somebody, somebody) == 0, gives);
    EXPECT_EQ(isFollowed(), !gives);
    EXPECT_EQ(standardError.take().find("it is a link that belongs to another user") != std::string::npos, gives);
}

TEST_F(PreferencesStoreTest, ReportsALinkThatLeadsToItself)
{
    std::filesystem::create_symlink("D.plist", first.pathOf("D.plist"));
    EXPECT_EQ(countLines(logOfUnusableDomain()), 1U);
}

TEST_F(PreferencesStoreTest, HasNoDomainForANameThatIsNoFileName)
{
    write(first, "D", NSDictionary{{u"key", 1}});
    static_cast<void>(first.makeFolder("sub"));
    for (const NSString& name : {NSString(), NSString(u""), NSString(u"sub/../D"), NSString(u"/etc/D"),
             NSString(std::u16string_view(u"D\0", 2)), NSString(u"\xD800")})
        EXPECT_TRUE(store.domainForName(name).isAbsent()) << name.UTF8();
}

TEST_F(PreferencesStoreTest, HasNoValueForAnAbsentKey)
{
    write(first, "D", NSDictionary{{u"key", 1}});
    EXPECT_TRUE(store.valueForKey({}, u"D").isAbsent());
}

TEST_F(PreferencesStoreTest, ServesManyThreadsAtOnce)
{
    write(first, "D", NSDictionary{{u"key", 1}});
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number)
        threads.emplace_back([&] { EXPECT_EQ(store.valueForKey(u"key", u"D").integerValue(), 1); });
    for (std::thread& thread : threads)
        thread.join();
}

TEST(PreferencesStore, TakesItsFoldersFromTheEnvironment)
{
    using Text = std::optional<std::string>;
    using Folders = std::vector<std::string>;
    const struct {
        Text home;
        Text configHome;
        Text configDirs;
        Folders expected;
    } rows[] = {
        {"/home/a", {}, {}, {"/home/a/.config", "/etc/xdg"}},
        {"/home/a", "", "", {"/home/a/.config", "/etc/xdg"}},
        {"/home/a", "/config", "/one:/two", {"/config", "/one", "/two"}},
        {"/home/a", "relative", "relative:/two::./three", {"/home/a/.config", "/two"}},
        {{}, "/config", {}, {"/config", "/etc/xdg"}},
        {"relative", "relative", "relative", {}},
    };
    const std::vector<const char*> names = {"HOME", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS"};
    std::vector<Text> saved;
    for (const char* name : names) {
        const char* value = std::getenv(name);
        saved.push_back(value ? Text(value) : Text());
    }
    for (const auto& row : rows) {
        setEnvironment("HOME", row.home);
        setEnvironment("XDG_CONFIG_HOME", row.configHome);
        setEnvironment("XDG_CONFIG_DIRS", row.configDirs);
        EXPECT_EQ(PreferencesStore::foldersFromEnvironment(), row.expected);
    }
    // Without HOME the user's entry in the system's list serves.
    setEnvironment("HOME", {});
    setEnvironment("XDG_CONFIG_HOME", {});
    setEnvironment("XDG_CONFIG_DIRS", {});
    const Folders folders = PreferencesStore::foldersFromEnvironment();
    for (size_t index = 0; index < names.size(); ++index)
        setEnvironment(names[index], saved[index]);
    EXPECT_EQ(folders.back(), "/etc/xdg");
    if (folders.size() > 1) {
        EXPECT_TRUE(folders.front().ends_with("/.config")) << folders.front();
    }
}
