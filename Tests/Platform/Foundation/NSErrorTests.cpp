#include "Platform/Foundation/NSError.h"

#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace {

NSDictionary withPath(const char16_t* path)
{
    return {{NSFilePathErrorKey, NSString(path)}};
}

}

TEST(NSErrorDescription, IsThePlatformsSentenceForKnownCodes)
{
    const struct {
        NSString domain;
        int64_t code;
        const char16_t* expected;
    } rows[] = {
        {NSURLErrorDomain, -1, u"unknown error"},
        {NSURLErrorDomain, -999, u"cancelled"},
        {NSURLErrorDomain, -1000, u"bad URL"},
        {NSURLErrorDomain, -1001, u"The request timed out."},
        {NSURLErrorDomain, -1002, u"unsupported URL"},
        {NSURLErrorDomain, -1003, u"A server with the specified hostname could not be found."},
        {NSURLErrorDomain, -1004, u"Could not connect to the server."},
        {NSURLErrorDomain, -1005, u"The network connection was lost."},
        {NSURLErrorDomain, -1007, u"too many HTTP redirects"},
        {NSURLErrorDomain, -1009, u"The Internet connection appears to be offline."},
        {NSURLErrorDomain, -1011, u"There was a bad response from the server."},
        {NSURLErrorDomain, -1016, u"cannot decode raw data"},
        {NSURLErrorDomain, -1100, u"The requested URL was not found on this server."},
        {NSURLErrorDomain, -1102, u"You do not have permission to access the requested resource."},
        {NSURLErrorDomain, -1200, u"An SSL error has occurred and a secure connection to the server cannot be made."},
        {NSURLErrorDomain, -1202, u"The certificate for this server is invalid."},
        {WebKitErrorDomain, 102, u"Frame load interrupted"},
        {WebKitErrorDomain, 103, u"Not allowed to use restricted network port"},
        {WebKitErrorDomain, 204, u"Plug-in handled load"},
        {NSCocoaErrorDomain, 4, u"The file doesn’t exist."},
        {NSCocoaErrorDomain, 512, u"The file couldn’t be saved."},
        {NSCocoaErrorDomain, 3840, u"The data couldn’t be read because it isn’t in the correct format."},
        {NSPOSIXErrorDomain, 2, u"The operation couldn’t be completed. No such file or directory"},
        {NSPOSIXErrorDomain, 13, u"The operation couldn’t be completed. Permission denied"},
        {NSOSStatusErrorDomain, -50, u"The operation couldn’t be completed. (OSStatus error -50 - error in user parameter list)"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(NSError(row.domain, row.code).localizedDescription(), NSString(row.expected)) << row.code;
}

TEST(NSErrorDescription, NamesDomainAndCodeWhenNothingBetterIsKnown)
{
    const struct {
        NSString domain;
        int64_t code;
        const char16_t* expected;
    } rows[] = {
        {u"QVRErrorDomain", 901, u"The operation couldn’t be completed. (QVRErrorDomain error 901.)"},
        {u"", 0, u"The operation couldn’t be completed. ( error 0.)"},
        {NSURLErrorDomain, -1013, u"The operation couldn’t be completed. (NSURLErrorDomain error -1013.)"},
        {NSURLErrorDomain, INT64_MIN, u"The operation couldn’t be completed. (NSURLErrorDomain error -9223372036854775808.)"},
        {WebKitErrorDomain, 999, u"The operation couldn’t be completed. (WebKitErrorDomain error 999.)"},
        {NSCocoaErrorDomain, 99999, u"The operation couldn’t be completed. (Cocoa error 99999.)"},
        {NSOSStatusErrorDomain, -2, u"The operation couldn’t be completed. (OSStatus error -2.)"},
        {NSPOSIXErrorDomain, 99999, u"The operation couldn’t be completed. (NSPOSIXErrorDomain error 99999.)"},
        {NSPOSIXErrorDomain, INT64_MAX, u"The operation couldn’t be completed. (NSPOSIXErrorDomain error 9223372036854775807.)"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(NSError(row.domain, row.code).localizedDescription(), NSString(row.expected)) << row.code;
}

TEST(NSErrorDescription, NamesTheFileAndItsFolder)
{
    const struct {
        int64_t code;
        const char16_t* path;
        const char16_t* expected;
    } rows[] = {
        {513, u"/tmp/Y/X", u"You don’t have permission to save the file “X” in the folder “Y”."},
        {513, u"X", u"You don’t have permission to save the file “X”."},
        {512, u"/tmp/out/a.webarchive", u"The file “a.webarchive” couldn’t be saved in the folder “out”."},
        {4, u"/tmp/a", u"The file “a” doesn’t exist."},
        {260, u"/tmp/a", u"The file “a” couldn’t be opened because there is no such file."},
        {257, u"/tmp/a", u"The file “a” couldn’t be opened because you don’t have permission to view it."},
        {259, u"/tmp/a", u"The file “a” couldn’t be opened because it isn’t in the correct format."},
        {516, u"/tmp/a", u"The file “a” couldn’t be saved in the folder “tmp” because a file with the same name already exists."},
        {640, u"/tmp/a", u"You can’t save the file “a” because the volume is out of space."},
        {642, u"/tmp/a", u"You can’t save the file “a” because the volume is read only."},
        {512, u"", u"The file couldn’t be saved."},
        {512, u"/tmp/%@", u"The file “%@” couldn’t be saved in the folder “tmp”."},
    };
    for (const auto& row : rows)
        EXPECT_EQ(NSError(NSCocoaErrorDomain, row.code, withPath(row.path)).localizedDescription(), NSString(row.expected));
    const NSURL url = NSURL::fileURLWithPath(u"/tmp/ä b", false);
    EXPECT_EQ(NSError(NSCocoaErrorDomain, 256, {{NSURLErrorKey, url}}).localizedDescription(),
        NSString(u"The file “ä b” couldn’t be opened."));
}

TEST(NSErrorDescription, PrefersTheUserInfosTextThenTheDomainsThenTheReason)
{
    const NSDictionary reason = {{NSLocalizedFailureReasonErrorKey, NSString(u"The renderer died.")}};
    EXPECT_EQ(
        NSError(u"D", 1, reason).localizedDescription(), NSString(u"The operation couldn’t be completed. The renderer died."));
    EXPECT_EQ(NSError(NSURLErrorDomain, -1, reason).localizedDescription(), NSString(u"unknown error"));
    NSDictionary both = reason;
    both.setObject(NSString(u"own"), NSLocalizedDescriptionKey);
    EXPECT_EQ(NSError(NSURLErrorDomain, -1, both).localizedDescription(), NSString(u"own"));
    // A description that is no string does not count.
    EXPECT_EQ(NSError(NSURLErrorDomain, -1, {{NSLocalizedDescriptionKey, 5}}).localizedDescription(), NSString(u"unknown error"));
}

TEST(NSErrorDescription, WarnsOfTheHostWhoseCertificateIsInvalid)
{
    const NSError error(NSURLErrorDomain, -1202, {{NSURLErrorFailingURLStringErrorKey, NSString(u"https://a.example/x")}});
    EXPECT_TRUE(error.localizedDescription().hasSuffix(
        u"pretending to be “a.example” which could put your confidential information at risk."));
}

TEST(NSError, TellsReasonAndSuggestion)
{
    EXPECT_EQ(NSError(NSPOSIXErrorDomain, 28).localizedFailureReason(), NSString(u"No space left on device"));
    EXPECT_EQ(NSError(NSCocoaErrorDomain, 513).localizedFailureReason(), NSString(u"You don’t have permission."));
    EXPECT_TRUE(NSError(NSURLErrorDomain, -1001).localizedFailureReason().isAbsent());
    EXPECT_TRUE(NSError(NSURLErrorDomain, -1001).localizedRecoverySuggestion().isAbsent());
    const NSError error(
        u"D", 1, {{NSLocalizedFailureReasonErrorKey, NSString(u"r")}, {NSLocalizedRecoverySuggestionErrorKey, NSString(u"s")}});
    EXPECT_EQ(error.localizedFailureReason(), NSString(u"r"));
    EXPECT_EQ(error.localizedRecoverySuggestion(), NSString(u"s"));
}

TEST(NSError, DescribesDomainCodeTextAndUserInfoInOrder)
{
    EXPECT_EQ(NSError(NSURLErrorDomain, -1001).description(),
        NSString(u"Error Domain=NSURLErrorDomain Code=-1001 \"The request timed out.\""));
    EXPECT_EQ(NSError(u"D", 7, {{u"z", 1}, {u"a", NSString(u"text")}}).description(),
        NSString(u"Error Domain=D Code=7 \"The operation couldn’t be completed. (D error 7.)\" UserInfo={z=1, a=text}"));
}

TEST(NSError, AnswersAbsentForAnAbsentOne)
{
    const NSError none;
    EXPECT_TRUE(none.isAbsent());
    EXPECT_TRUE(none.domain().isAbsent());
    EXPECT_EQ(none.code(), 0);
    EXPECT_TRUE(none.localizedDescription().isAbsent());
    EXPECT_TRUE(none.description().isAbsent());
}

TEST(NSError, ComparesDomainCodeAndUserInfo)
{
    const NSError error(u"D", 1, {{u"k", 1}});
    EXPECT_EQ(error, NSError(u"D", 1, {{u"k", 1}}));
    EXPECT_NE(error, NSError(u"D", 1, {{u"k", 2}}));
    EXPECT_NE(error, NSError(u"D", 2, {{u"k", 1}}));
    EXPECT_NE(error, NSError(u"E", 1, {{u"k", 1}}));
    EXPECT_NE(error, NSError(u"D", 1));
    EXPECT_EQ(NSError(u"D", 1), NSError(u"D", 1, NSDictionary::dictionary()));
    EXPECT_EQ(NSError(), NSError());
    EXPECT_NE(NSError(), NSError(u"D", 1));
}

TEST(NSFileErrorFromErrno, ChoosesThePlatformsCodeAndKeepsTheCause)
{
    const struct {
        int number;
        int64_t reading;
        int64_t writing;
    } rows[] = {
        {ENOENT, 260, 4},
        {EACCES, 257, 513},
        {EPERM, 257, 513},
        {ENAMETOOLONG, 258, 514},
        {EILSEQ, 258, 514},
        {EFBIG, 263, 512},
        {EEXIST, 256, 516},
        {ENOSPC, 256, 640},
        {EDQUOT, 256, 640},
        {EROFS, 256, 642},
        {EISDIR, 256, 512},
        {EIO, 256, 512},
    };
    for (const auto& row : rows) {
        const NSError reading = NSFileErrorFromErrno(row.number, u"/tmp/a", false);
        const NSError writing = NSFileErrorFromErrno(row.number, u"/tmp/a", true);
        EXPECT_EQ(reading.domain(), NSCocoaErrorDomain);
        EXPECT_EQ(reading.code(), row.reading) << row.number;
        EXPECT_EQ(writing.code(), row.writing) << row.number;
        EXPECT_EQ(writing.userInfo()[NSFilePathErrorKey].string(), NSString(u"/tmp/a"));
        EXPECT_EQ(writing.userInfo()[NSUnderlyingErrorKey].error(), NSError(NSPOSIXErrorDomain, row.number));
    }
}

TEST(NSFileErrorFromErrno, TellsAMissingFolderFromAMissingFile)
{
    EXPECT_EQ(
        NSFileErrorFromErrno(ENOENT, u"/tmp/none/a", true).localizedDescription(), NSString(u"The folder “none” doesn’t exist."));
    EXPECT_EQ(NSFileErrorFromErrno(ENOENT, u"/tmp/none/a", false).localizedDescription(),
        NSString(u"The file “a” couldn’t be opened because there is no such file."));
}
