#include "QVRPath.h"

#include "Platform/Foundation/Value.h"
#include "QVRException.h"
#include "Support/KeptLog.h"
#include "Support/Printing.h"
#include "Support/TemporaryFolder.h"

#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>

using support::TemporaryFolder;

namespace {

NSString pathIn(const TemporaryFolder& folder, std::string_view name)
{
    return NSString::stringWithUTF8String(folder.pathOf(name));
}

NSString repeated(const NSString& text, size_t count)
{
    NSString result = u"";
    for (size_t index = 0; index < count; ++index)
        result = result.stringByAppendingString(text);
    return result;
}

void setModificationTime(const std::string& path, time_t seconds, long nanoseconds)
{
    const timespec times[] = {{seconds, 0}, {seconds, nanoseconds}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

struct Row {
    NSString path;
    NSString expected;
};

void expectResults(NSString (*operation)(const NSString&), std::initializer_list<Row> rows)
{
    for (const Row& row : rows)
        EXPECT_EQ(operation(row.path), row.expected) << row.path.UTF8();
    EXPECT_TRUE(operation(NSString()).isAbsent());
}

}

TEST(QVRPathLimits, AreFixed)
{
    EXPECT_EQ(qvrMaxFileNameCharacters(), 255u);
    EXPECT_EQ(qvrMaxPathLength(), 1024u);
}

TEST(QVRMakeFileNameCharactersValid, ReplacesSlashesAndDropsObjectReplacements)
{
    expectResults(qvrMakeFileNameCharactersValid,
        {{u"a/b/c", u"a:b:c"}, {u"a\uFFFCb", u"ab"}, {u"\uFFFC/\uFFFC", u":"}, {u"a:b", u"a:b"}, {u"plain", u"plain"},
            {u"", u""}});
}

TEST(QVRMakeFileNameValid, KeepsTheExtensionOfANameThatIsTooLong)
{
    const NSString letters = repeated(u"a", 300);
    EXPECT_EQ(
        qvrMakeFileNameValid(letters.stringByAppendingString(u".pdf")), repeated(u"a", 251).stringByAppendingString(u".pdf"));
    EXPECT_EQ(qvrMakeFileNameValid(letters), repeated(u"a", 255));
    // Each counts as two units when decomposed.
    EXPECT_EQ(qvrMakeFileNameValid(repeated(u"\u00e9", 200).stringByAppendingString(u".pdf")),
        repeated(u"\u00e9", 125).stringByAppendingString(u".pdf"));
    EXPECT_EQ(qvrMakeFileNameValid(u"report.pdf"), NSString(u"report.pdf"));
    EXPECT_EQ(qvrMakeFileNameValid(u"report"), NSString(u"report"));
    EXPECT_EQ(qvrMakeFileNameValid(u".profile"), NSString(u".profile"));
    EXPECT_TRUE(qvrMakeFileNameValid(NSString()).isAbsent());
}

TEST(QVRMakeFileNameValidWithExtension, MakesANameOfStemAndExtension)
{
    EXPECT_EQ(qvrMakeFileNameValidWithExtension(u"Report 2024/05", u"pdf"), NSString(u"Report 2024:05.pdf"));
    EXPECT_EQ(qvrMakeFileNameValidWithExtension(u"v1.2", u"pdf"), NSString(u"v1.2.pdf"));
    EXPECT_EQ(
        qvrMakeFileNameValidWithExtension(repeated(u"a", 300), u"pdf"), repeated(u"a", 251).stringByAppendingString(u".pdf"));
}

TEST(QVRMakeFileNameValidWithExtension, AddsNoDotWithoutAnExtension)
{
    EXPECT_EQ(qvrMakeFileNameValidWithExtension(u"stem", u"", 255), NSString(u"stem"));
    EXPECT_EQ(qvrMakeFileNameValidWithExtension(u"stem", NSString(), 255), NSString(u"stem"));
}

TEST(QVRMakeFileNameValidWithExtension, FitsTheGivenLength)
{
    EXPECT_EQ(qvrMakeFileNameValidWithExtension(u"stem", u"pdf", 6), NSString(u"st.pdf"));
    EXPECT_EQ(qvrMakeFileNameValidWithExtension(u"stem", u"pdf", 4), NSString(u".pdf"));
    EXPECT_EQ(qvrMakeFileNameValidWithExtension(u"R\u00e9sum\u00e9", u"txt", 9), NSString(u"R\u00e9su.txt"));
}

TEST(QVRMakeFileNameValidWithExtension, FailsItsAssertionForAnExtensionThatCannotFit)
{
    support::KeptLog log;
    try {
        static_cast<void>(qvrMakeFileNameValidWithExtension(u"stem", u"pdf", 3));
        FAIL();
    } catch (const QVRException& exception) {
        EXPECT_EQ(exception.qvrReason(), NSString(u"suffix: '.pdf' length: 3"));
    }
}

TEST(QVRMakeFileNameValidForCarbon, ShowsColonsAsSlashes)
{
    expectResults(qvrMakeFileNameValidForCarbon,
        {{u"Report 2024:05", u"Report 2024/05"}, {u"::", u"//"}, {u"plain", u"plain"}, {u"", u""}});
}

TEST(QVRParent, IsThePathWithoutItsLastComponent)
{
    expectResults(qvrParent,
        {{u"/a/b/c.txt", u"/a/b"}, {u"/a", u"/"}, {u"/", u"/"}, {u"/a/b/", u"/a"}, {u"a/b", u"a"}, {u"a", u""}, {u"", u""}});
}

TEST(QVRName, IsTheLastComponent)
{
    expectResults(
        qvrName, {{u"/a/b/c.txt", u"c.txt"}, {u"/", u"/"}, {u"/a/b/", u"b"}, {u"a", u"a"}, {u"", u""}, {u"/a/x:y", u"x:y"}});
}

TEST(QVRBasename, IsTheLastComponentWithoutItsExtension)
{
    expectResults(qvrBasename,
        {{u"/a/b/c.txt", u"c"}, {u"/a.d/b", u"b"}, {u"/a/.profile", u".profile"}, {u"/a/b.tar.gz", u"b.tar"}, {u"/", u"/"},
            {u"/a/b.txt/", u"b"}});
}

TEST(QVRPathExtension, IsThatOfTheLastComponent)
{
    expectResults(qvrPathExtension,
        {{u"/a/b/c.txt", u"txt"}, {u"/a.d/b", u""}, {u"/a/.profile", u""}, {u"/a/b.tar.gz", u"gz"}, {u"/a/b.", u""}, {u"", u""}});
}

TEST(QVRChild, AppendsAComponent)
{
    EXPECT_EQ(qvrChild(u"/a/b", u"c"), NSString(u"/a/b/c"));
    EXPECT_EQ(qvrChild(u"/a/b/", u"c"), NSString(u"/a/b/c"));
    EXPECT_EQ(qvrChild(u"/", u"c"), NSString(u"/c"));
    EXPECT_EQ(qvrChild(u"", u"c"), NSString(u"c"));
    EXPECT_TRUE(qvrChild(NSString(), u"c").isAbsent());
}

TEST(QVRWithExtension, AppendsAnExtension)
{
    EXPECT_EQ(qvrWithExtension(u"/a/b", u"pdf"), NSString(u"/a/b.pdf"));
    EXPECT_EQ(qvrWithExtension(u"/a/b.txt", u"pdf"), NSString(u"/a/b.txt.pdf"));
    EXPECT_TRUE(qvrWithExtension(NSString(), u"pdf").isAbsent());
}

TEST(QVRPathIsEqual, ComparesStandardisedPathsLiterally)
{
    const struct {
        NSString path;
        NSString other;
        bool expected;
    } rows[] = {
        {u"/q/b", u"/q/b/", true},
        {u"/q//b", u"/q/b", true},
        {u"/q/./b", u"/q/b", true},
        {u"/q/c/../b", u"/q/b", true},
        {u"/q/b", u"/q/B", false},
        {u"/q/\u00e9", u"/q/e\u0301", false},
        {u"/q/b", NSString(), false},
        {NSString(), NSString(), false},
        {NSString(), u"/q", false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrPathIsEqual(row.path, row.other), row.expected) << row.path.UTF8() << " / " << row.other.UTF8();
    EXPECT_TRUE(qvrPathIsEqual(u"~/x", qvrChild(NSString(u"~").stringByExpandingTildeInPath(), u"x")));
}

TEST(QVRPathContainsPath, ComparesWholeComponents)
{
    const struct {
        NSString path;
        NSString other;
        bool expected;
    } rows[] = {
        {u"/q/b", u"/q/b/", true},
        {u"/q/b", u"/q/b", true},
        {u"/q/b", u"/q/b/c", true},
        {u"/q/b", u"/q/b/c/d", true},
        {u"/q/b", u"/q/bc", false},
        {u"/q/b", u"/q/bc/d", false},
        {u"/q/b", u"/q", false},
        {u"/q/b", u"/q/c/../b/d", true},
        {u"/q/b", u"/q/b/../c", false},
        {u"/q/b", u"/Q/b/c", false},
        {u"/q/b", u"/x/b/cdef", false},
        {u"/", u"/q", true},
        {u"/q/long", u"/q/b/c", false},
        {u"/q/b", NSString(), false},
        {NSString(), u"/q", false},
        {NSString(), NSString(), false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrPathContainsPath(row.path, row.other), row.expected) << row.path.UTF8() << " / " << row.other.UTF8();
}

TEST(QVRFileTests, TellFilesFoldersAndLinksApart)
{
    const TemporaryFolder folder;
    static_cast<void>(folder.write("file", "x"));
    static_cast<void>(folder.makeFolder("sub"));
    std::filesystem::create_symlink("file", folder.pathOf("fileLink"));
    std::filesystem::create_symlink("sub", folder.pathOf("folderLink"));
    std::filesystem::create_symlink("missing", folder.pathOf("danglingLink"));
    ASSERT_EQ(::mkfifo(folder.pathOf("pipe").c_str(), 0600), 0);
    const struct {
        const char* name;
        bool path;
        bool file;
        bool directory;
        bool link;
    } rows[] = {
        {"file", true, true, false, false},
        {"sub", true, false, true, false},
        {"fileLink", true, true, false, true},
        {"folderLink", true, false, true, true},
        {"danglingLink", false, false, false, true},
        {"pipe", true, false, false, false},
        {"missing", false, false, false, false},
        {"file/below", false, false, false, false},
    };
    for (const auto& row : rows) {
        const NSString path = pathIn(folder, row.name);
        EXPECT_EQ(qvrPathExists(path), row.path) << row.name;
        EXPECT_EQ(qvrFileExists(path), row.file) << row.name;
        EXPECT_EQ(qvrDirectoryExists(path), row.directory) << row.name;
        EXPECT_EQ(qvrSymbolicLinkExists(path), row.link) << row.name;
    }
}

TEST(QVRFileTests, AreFalseForPathsThatNoFileCanHave)
{
    const TemporaryFolder folder;
    static_cast<void>(folder.write("file", "x"));
    const NSString withNull = pathIn(folder, "file").stringByAppendingString(std::u16string({u'\0', u'x'}));
    const NSString withHalfPair = pathIn(folder, "file").stringByAppendingString(std::u16string(1, char16_t(0xd800)));
    for (const NSString& path : {NSString(), NSString(u""), withNull, withHalfPair}) {
        EXPECT_FALSE(qvrPathExists(path));
        EXPECT_FALSE(qvrFileExists(path));
        EXPECT_FALSE(qvrDirectoryExists(path));
        EXPECT_FALSE(qvrSymbolicLinkExists(path));
        EXPECT_EQ(qvrFileModificationDateInterval(path), 0.0);
    }
}

TEST(QVRFileTests, FindNamesOutsideASCII)
{
    const TemporaryFolder folder;
    static_cast<void>(folder.write("R\xc3\xa9sum\xc3\xa9 \xf0\x9f\x98\x80", "x"));
    EXPECT_TRUE(qvrFileExists(qvrChild(NSString::stringWithUTF8String(folder.path().string()), u"R\u00e9sum\u00e9 \U0001f600")));
}

TEST(QVRFileModificationDate, CountsWholeSecondsFromTheReferenceDate)
{
    const TemporaryFolder folder;
    const std::string file = folder.write("file", "x");
    setModificationTime(file, 1700000000, 999999999);
    EXPECT_EQ(qvrFileModificationDateInterval(pathIn(folder, "file")), 1700000000.0 - 978307200.0);
    EXPECT_EQ(qvrFileModificationDate(pathIn(folder, "file")).description(), NSString(u"2023-11-14 22:13:20 +0000"));
    setModificationTime(file, 0, 0);
    EXPECT_EQ(qvrFileModificationDateInterval(pathIn(folder, "file")), -978307200.0);
}

TEST(QVRFileModificationDate, IsTheReferenceDateForAMissingFile)
{
    const TemporaryFolder folder;
    EXPECT_EQ(qvrFileModificationDateInterval(pathIn(folder, "missing")), 0.0);
    const NSDate date = qvrFileModificationDate(pathIn(folder, "missing"));
    EXPECT_FALSE(date.isAbsent());
    EXPECT_EQ(date.description(), NSString(u"2001-01-01 00:00:00 +0000"));
}

TEST(QVRCompareFileModificationDate, OrdersByAge)
{
    const TemporaryFolder folder;
    setModificationTime(folder.write("old", "x"), 1600000000, 0);
    setModificationTime(folder.write("new", "x"), 1700000000, 0);
    setModificationTime(folder.write("newToo", "x"), 1700000000, 500);
    setModificationTime(folder.write("ancient", "x"), 100, 0);
    const auto compare = [&](const char* a, const char* b) {
        return qvrCompareFileModificationDate(pathIn(folder, a), pathIn(folder, b));
    };
    EXPECT_EQ(compare("old", "new"), NSOrderedAscending);
    EXPECT_EQ(compare("new", "old"), NSOrderedDescending);
    EXPECT_EQ(compare("new", "newToo"), NSOrderedSame);
    EXPECT_EQ(compare("missing", "missingToo"), NSOrderedSame);
    EXPECT_EQ(compare("missing", "ancient"), NSOrderedDescending);
}

TEST(QVRSpotlightKeywords, AreTheDesktopsTags)
{
    const TemporaryFolder folder;
    const std::string file = folder.write("file", "x");
    const struct {
        std::string_view tags;
        NSArray expected;
    } rows[] = {
        {"work,caf\xc3\xa9", {u"work", u"caf\u00e9"}},
        {" work , home ", {u"work", u"home"}},
        {"one", {u"one"}},
        {",,a,", {u"a"}},
        {"", NSArray({})},
        {"a\xff,b", {u"a\ufffd", u"b"}},
    };
    for (const auto& row : rows) {
        if (::setxattr(file.c_str(), "user.xdg.tags", row.tags.data(), row.tags.size(), 0) != 0) {
            // Without extended attributes here, no file has keywords.
            EXPECT_EQ(qvrSpotlightKeywords(pathIn(folder, "file")), NSArray({}));
            continue;
        }
        EXPECT_EQ(qvrSpotlightKeywords(pathIn(folder, "file")), row.expected) << row.tags;
    }
}

TEST(QVRSpotlightKeywords, AreEmptyWithoutTagsOrFile)
{
    const TemporaryFolder folder;
    static_cast<void>(folder.write("file", "x"));
    EXPECT_EQ(qvrSpotlightKeywords(pathIn(folder, "file")), NSArray({}));
    EXPECT_EQ(qvrSpotlightKeywords(pathIn(folder, "missing")), NSArray({}));
    EXPECT_TRUE(qvrSpotlightKeywords(NSString()).isAbsent());
}
