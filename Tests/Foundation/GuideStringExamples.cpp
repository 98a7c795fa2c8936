// The examples of docs/library.md on strings, paths and the process, as they stand there, and what they must do.

#include "QVRPath.h"
#include "QVRProcessInfo.h"
#include "QVRString.h"
#include "Support/Printing.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace {

NSString titleForMenu(const NSString& title)
{
    return qvrStringByTruncatingMiddleAfterComposedLength(qvrStringByStripping(title), 12);
}

NSString pageOfQuery(const NSString& query)
{
    return qvrQueryStringDictionary(query).objectForKey(u"page").string();
}

NSString textOfAnswer(const NSData& body, const NSString& charset, NSError* error)
{
    return qvrStringWithData(body, qvrStringEncodingForMIMEEncoding(charset), error);
}

NSString documentPath(const NSString& folder, const NSString& title)
{
    return qvrChild(folder, qvrMakeFileNameValidWithExtension(title, u"pdf"));
}

bool mayBeOverwritten(const NSString& path, const NSString& folder)
{
    return qvrPathContainsPath(folder, path) && qvrFileExists(path) && !qvrSymbolicLinkExists(path);
}

bool hasProcessDescriptors()
{
    return qvrIsOperatingSystemAtLeastVersion({5, 3, 0});
}

bool isFromRelease(const NSString& version, int64_t wanted, NSError* error)
{
    NSOperatingSystemVersion read;
    return qvrGetOperatingSystemVersion(&read, version, error) && read.majorVersion == wanted;
}

}

TEST(LibraryGuide, ShortensTitlesWithoutTearingCharacters)
{
    EXPECT_EQ(titleForMenu(u"  A short title \n"), NSString(u"A short title"));
    EXPECT_EQ(titleForMenu(u"Every page of the handbook"), NSString(u"Every page o\u2026the handbook"));
    EXPECT_EQ(titleForMenu(u"abcdefghijk\U0001f600 and then some more"), NSString(u"abcdefghijk\u2026en some more"));
}

TEST(LibraryGuide, ReadsQueriesAndAnswers)
{
    EXPECT_EQ(pageOfQuery(u"lang=de&page=caf%C3%A9"), NSString(u"caf\u00e9"));
    EXPECT_TRUE(pageOfQuery(u"lang=de&page=%C3").isAbsent());
    NSError error;
    EXPECT_EQ(textOfAnswer(NSData::dataWithBytes("caf\xe9"), NSString(), &error), NSString(u"caf\u00e9"));
    EXPECT_TRUE(textOfAnswer(NSData::dataWithBytes("caf\xe9"), u"UTF-8", &error).isAbsent());
    EXPECT_EQ(error.code(), QVRStringDecodingErrorCode);
}

TEST(LibraryGuide, MakesPathsAndAsksAboutThem)
{
    EXPECT_EQ(documentPath(u"/srv/pages", u"Report 2024/05"), NSString(u"/srv/pages/Report 2024:05.pdf"));
    const support::TemporaryFolder folder;
    const NSString top = NSString::stringWithUTF8String(folder.path().string());
    static_cast<void>(folder.write("page.pdf", "x"));
    EXPECT_TRUE(mayBeOverwritten(qvrChild(top, u"page.pdf"), top));
    EXPECT_FALSE(mayBeOverwritten(qvrChild(top, u"other.pdf"), top));
    EXPECT_FALSE(mayBeOverwritten(u"/etc/passwd", top));
}

TEST(LibraryGuide, ComparesVersions)
{
    EXPECT_TRUE(hasProcessDescriptors());
    NSError error;
    EXPECT_TRUE(isFromRelease(u"12.5", 12, &error));
    EXPECT_FALSE(isFromRelease(u"11.0.1", 12, &error));
    EXPECT_TRUE(error.isAbsent());
    EXPECT_FALSE(isFromRelease(u"12", 12, &error));
    EXPECT_EQ(error.code(), -50);
}
