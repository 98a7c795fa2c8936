#include "Platform/Foundation/NSString.h"

#include "Platform/Foundation/Value.h"
#include "Support/EnvironmentVariable.h"
#include "Support/Printing.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

namespace {

struct Row {
    const char16_t* path;
    NSString result;
};

NSString home()
{
    return NSString::stringWithUTF8String(getpwuid(getuid())->pw_dir);
}

}

TEST(NSStringLastPathComponent, IsTheLastNameOrTheRoot)
{
    const Row rows[] = {{u"", u""}, {u"/", u"/"}, {u"//", u"/"}, {u"///", u"/"}, {u"/tmp/scratch.tiff", u"scratch.tiff"},
        {u"/tmp/scratch", u"scratch"}, {u"/tmp/", u"tmp"}, {u"/tmp", u"tmp"}, {u"scratch///", u"scratch"},
        {u"scratch", u"scratch"}, {u"a//b", u"b"}, {u"/a/.", u"."}, {u"a/..", u".."}, {u"/a/ ", u" "}};
    for (const auto& [path, result] : rows)
        EXPECT_EQ(NSString(path).lastPathComponent(), result) << NSString(path).UTF8();
}

TEST(NSStringByDeletingLastPathComponent, LeavesTheParent)
{
    const Row rows[] = {{u"", u""}, {u"/", u"/"}, {u"//", u"/"}, {u"/tmp/scratch.tiff", u"/tmp"}, {u"/tmp/lock/", u"/tmp"},
        {u"/tmp/", u"/"}, {u"/tmp", u"/"}, {u"scratch.tiff", u""}, {u"a/", u""}, {u"a/b", u"a"}, {u"a//b", u"a"}, {u"//a", u"/"},
        {u"/a//b//c", u"/a/b"}, {u"/a/b//", u"/a"}};
    for (const auto& [path, result] : rows)
        EXPECT_EQ(NSString(path).stringByDeletingLastPathComponent(), result) << NSString(path).UTF8();
}

TEST(NSStringByAppendingPathComponent, PutsOneSeparatorBetween)
{
    const struct {
        const char16_t* path;
        const char16_t* component;
        const char16_t* result;
    } rows[] = {{u"/tmp", u"scratch.tiff", u"/tmp/scratch.tiff"}, {u"/tmp/", u"scratch.tiff", u"/tmp/scratch.tiff"},
        {u"/", u"scratch.tiff", u"/scratch.tiff"}, {u"", u"scratch.tiff", u"scratch.tiff"}, {u"/tmp", u"/a", u"/tmp/a"},
        {u"/tmp//", u"//a//b//", u"/tmp/a/b"}, {u"/tmp", u"", u"/tmp"}, {u"/tmp/", u"", u"/tmp"}, {u"", u"", u""},
        {u"", u"/a", u"/a"}, {u"", u"/", u"/"}, {u"/", u"/", u"/"}, {u"a", u"../b", u"a/../b"}};
    for (const auto& [path, component, result] : rows)
        EXPECT_EQ(NSString(path).stringByAppendingPathComponent(component), NSString(result)) << NSString(path).UTF8();
    EXPECT_EQ(NSString(u"a").stringByAppendingPathComponent({}), NSString(u"a"));
}

TEST(NSStringPathExtension, IsWhatFollowsTheLastDotOfAName)
{
    const Row rows[] = {{u"", u""}, {u"/", u""}, {u"/tmp/scratch.tiff", u"tiff"}, {u".scratch.tiff", u"tiff"},
        {u"/tmp/scratch", u""}, {u"/tmp/", u""}, {u"/tmp/scratch..tiff", u"tiff"}, {u".bashrc", u""}, {u"/a/.bashrc", u""},
        {u"a.", u""}, {u".", u""}, {u"..", u""}, {u"a/..", u""}, {u"a.b/", u"b"}, {u"a.b//", u"b"}, {u"a.b/c", u""},
        {u"a.tar.gz", u"gz"}, {u"a.b c", u"b c"}};
    for (const auto& [path, result] : rows)
        EXPECT_EQ(NSString(path).pathExtension(), result) << NSString(path).UTF8();
}

TEST(NSStringByDeletingPathExtension, TakesTheExtensionAndItsDot)
{
    const Row rows[] = {{u"", u""}, {u"/", u"/"}, {u"/tmp/scratch.tiff", u"/tmp/scratch"}, {u"/tmp/", u"/tmp"},
        {u"scratch.bundle/", u"scratch"}, {u"scratch..tiff", u"scratch."}, {u".tiff", u".tiff"}, {u"a/.tiff", u"a/.tiff"},
        {u"a.", u"a."}, {u"..", u".."}, {u"a.b/c", u"a.b/c"}, {u"//a.b", u"/a"}, {u"a.tar.gz", u"a.tar"}};
    for (const auto& [path, result] : rows)
        EXPECT_EQ(NSString(path).stringByDeletingPathExtension(), result) << NSString(path).UTF8();
}

TEST(NSStringByAppendingPathExtension, ExtendsTheLastName)
{
    const Row rows[] = {{u"/tmp/scratch.old", u"/tmp/scratch.old.tiff"}, {u"/tmp/scratch.", u"/tmp/scratch..tiff"},
        {u"/tmp/", u"/tmp.tiff"}, {u"scratch", u"scratch.tiff"}, {u"~x", u"~x.tiff"}, {u"", {}}, {u"/", {}}, {u"//", {}}};
    for (const auto& [path, result] : rows)
        EXPECT_EQ(NSString(path).stringByAppendingPathExtension(u"tiff"), result) << NSString(path).UTF8();
}

TEST(NSStringPathComponents, AreTheNamesAndOuterSeparators)
{
    const struct {
        const char16_t* path;
        NSArray components;
    } rows[] = {{u"", NSArray(std::vector<Value>())}, {u"/", {u"/"}}, {u"//", {u"/"}}, {u"tmp/scratch", {u"tmp", u"scratch"}},
        {u"/tmp/scratch", {u"/", u"tmp", u"scratch"}}, {u"scratch", {u"scratch"}}, {u"/tmp/", {u"/", u"tmp", u"/"}},
        {u"a//b", {u"a", u"b"}}, {u"a/", {u"a", u"/"}}, {u"//a///b", {u"/", u"a", u"b"}}, {u"a/./..", {u"a", u".", u".."}}};
    for (const auto& [path, components] : rows)
        EXPECT_EQ(NSString(path).pathComponents(), components) << NSString(path).UTF8();
}

TEST(NSStringByStandardizingPath, LeavesNoNeedlessParts)
{
    const Row rows[] = {{u"", u""}, {u"/", u"/"}, {u"//", u"/"}, {u"/usr/bin/./grep", u"/usr/bin/grep"}, {u"/a/b/", u"/a/b"},
        {u"/a//b", u"/a/b"}, {u"/nowhere/a/../b", u"/nowhere/b"}, {u"/..", u"/"}, {u"/../../nowhere", u"/nowhere"},
        {u"/nowhere/..", u"/"}, {u"/.", u"/"}, {u"a/../b", u"a/../b"}, {u"../a", u"../a"}, {u"a/..", u"a/.."}, {u"./a", u"a"},
        {u"a/.", u"a"}, {u".", u"."}, {u"./", u"."}, {u"a/", u"a"}, {u"a//b/./c/", u"a/b/c"}, {u"...", u"..."}};
    for (const auto& [path, result] : rows)
        EXPECT_EQ(NSString(path).stringByStandardizingPath(), result) << NSString(path).UTF8();
}

TEST(NSStringByStandardizingPath, GoesToTheRealParentOfALink)
{
    const support::TemporaryFolder folder;
    folder.makeFolder("real/inner");
    ASSERT_EQ(symlink("real/inner", folder.pathOf("link").c_str()), 0);
    ASSERT_EQ(symlink("gone/inner", folder.pathOf("dangling").c_str()), 0);
    const NSString root = NSString::stringWithUTF8String(folder.path().string());
    EXPECT_EQ(root.stringByAppendingPathComponent(u"link/../x").stringByStandardizingPath(),
        root.stringByAppendingPathComponent(u"real/x"));
    EXPECT_EQ(root.stringByAppendingPathComponent(u"dangling/../x").stringByStandardizingPath(),
        root.stringByAppendingPathComponent(u"x"));
    EXPECT_EQ(root.stringByAppendingPathComponent(u"link/x").stringByStandardizingPath(),
        root.stringByAppendingPathComponent(u"link/x"));
}

TEST(NSStringByExpandingTildeInPath, NamesTheHomeFolder)
{
    const support::EnvironmentVariable variable("HOME", "/home/of/mine");
    EXPECT_EQ(NSString(u"~").stringByExpandingTildeInPath(), NSString(u"/home/of/mine"));
    EXPECT_EQ(NSString(u"~/").stringByExpandingTildeInPath(), NSString(u"/home/of/mine"));
    EXPECT_EQ(NSString(u"~/a/b").stringByExpandingTildeInPath(), NSString(u"/home/of/mine/a/b"));
    EXPECT_EQ(NSString(u"~/../a/").stringByStandardizingPath(), NSString(u"/home/of/a"));
    EXPECT_EQ(NSString(u"a/~").stringByExpandingTildeInPath(), NSString(u"a/~"));
    EXPECT_EQ(NSString(u"/a/").stringByExpandingTildeInPath(), NSString(u"/a/"));
}

TEST(NSStringByExpandingTildeInPath, AsksTheUserDatabaseWithoutAVariable)
{
    const support::EnvironmentVariable variable("HOME", nullptr);
    EXPECT_EQ(NSString(u"~/a").stringByExpandingTildeInPath(), home().stringByAppendingPathComponent(u"a"));
}

TEST(NSStringByExpandingTildeInPath, NamesTheHomeFolderOfAUser)
{
    const NSString user = NSString::stringWithUTF8String(getpwuid(getuid())->pw_name);
    const NSString path = NSString::stringWithFormat(u"~%@/a", user);
    EXPECT_EQ(path.stringByExpandingTildeInPath(), home().stringByAppendingPathComponent(u"a"));
    EXPECT_EQ(NSString(u"~no-such-user-here/a").stringByExpandingTildeInPath(), NSString(u"~no-such-user-here/a"));
    const NSString half = u"~" + std::u16string(1, char16_t(0xd800));
    EXPECT_EQ(half.stringByExpandingTildeInPath(), half);
}

TEST(NSStringFileSystemRepresentation, IsUTF8OrEmpty)
{
    EXPECT_EQ(NSString(u"/a/\u00fc").fileSystemRepresentation(), "/a/\xc3\xbc");
    EXPECT_EQ(NSString(u"/a/u\u0308").fileSystemRepresentation(), "/a/u\xcc\x88");
    EXPECT_EQ(NSString(std::u16string(1, char16_t(0xd800))).fileSystemRepresentation(), "");
    EXPECT_EQ(NSString(std::u16string(u"a\0b", 3)).fileSystemRepresentation(), "");
}
