#include "QVRStringCreation.h"

#include "QVRError.h"
#include "Support/Printing.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <string>
#include <unistd.h>

using support::TemporaryFolder;

namespace {

NSString pathIn(const TemporaryFolder& folder, std::string_view name)
{
    return NSString::stringWithUTF8String(folder.pathOf(name));
}

bool isUUID(const NSString& text)
{
    static const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");
    return std::regex_match(text.UTF8(), form);
}

}

TEST(QVRStringWithFormat, ExpandsAnArgumentListThatWasMadeElsewhere)
{
    const FormatArgument arguments[] = {NSString(u"page"), 7, NSString()};
    EXPECT_EQ(qvrStringWithFormat(u"%@ %d %@", arguments), NSString(u"page 7 (null)"));
    EXPECT_EQ(qvrStringWithFormat(u"100%%", {}), NSString(u"100%"));
}

TEST(QVRUniqueString, IsACanonicalUUIDThatIsNewEachTime)
{
    std::set<NSString> seen;
    for (int count = 0; count < 1000; ++count) {
        const NSString text = qvrUniqueString();
        ASSERT_TRUE(isUUID(text)) << text.UTF8();
        ASSERT_TRUE(seen.insert(text).second) << text.UTF8();
    }
}

TEST(QVRUniqueString, StandsBehindAPrefixAndADot)
{
    const NSString text = qvrUniqueString(u"capture");
    EXPECT_TRUE(text.hasPrefix(u"capture."));
    EXPECT_TRUE(isUUID(text.substringFromIndex(8)));
    EXPECT_TRUE(qvrUniqueString(NSString()).hasPrefix(u"(null)."));
}

TEST(QVRStringEncodingForMIMEEncoding, KnowsCharsetNamesInAnyLetterCaseAndFallsBackToISOLatin1)
{
    const struct {
        NSString charset;
        NSStringEncoding expected;
    } rows[] = {
        {NSString(), NSISOLatin1StringEncoding},
        {u"utf-8", NSUTF8StringEncoding},
        {u"UTF-8", NSUTF8StringEncoding},
        {u"Utf-8", NSUTF8StringEncoding},
        {u"us-ascii", NSASCIIStringEncoding},
        {u"ISO-8859-1", NSISOLatin1StringEncoding},
        {u"macintosh", NSMacOSRomanStringEncoding},
        {u"windows-1252", NSWindowsCP1252StringEncoding},
        {u"UTF-16", NSUTF16StringEncoding},
        {u"no-such-charset", NSISOLatin1StringEncoding},
        {u"", NSISOLatin1StringEncoding},
        {u"\u00e9", NSISOLatin1StringEncoding},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrStringEncodingForMIMEEncoding(row.charset), row.expected) << row.charset.UTF8();
    EXPECT_NE(qvrStringEncodingForMIMEEncoding(u"shift_jis"), NSISOLatin1StringEncoding);
}

TEST(QVRStringWithFileSystemRepresentation, DecodesUTF8UpToTheNULOrTheLength)
{
    EXPECT_EQ(qvrStringWithFileSystemRepresentation("/tmp/R\xc3\xa9sum\xc3\xa9"), NSString(u"/tmp/R\u00e9sum\u00e9"));
    EXPECT_EQ(qvrStringWithFileSystemRepresentation("/tmp/abc", 5), NSString(u"/tmp/"));
    EXPECT_EQ(qvrStringWithFileSystemRepresentation(""), NSString(u""));
    EXPECT_EQ(qvrStringWithFileSystemRepresentation("abc", 0), NSString(u""));
}

TEST(QVRStringWithFileSystemRepresentation, IsAbsentForNoPointerAndForInvalidBytes)
{
    EXPECT_TRUE(qvrStringWithFileSystemRepresentation(nullptr).isAbsent());
    EXPECT_TRUE(qvrStringWithFileSystemRepresentation(nullptr, 3).isAbsent());
    EXPECT_TRUE(qvrStringWithFileSystemRepresentation("/tmp/\xff").isAbsent());
    EXPECT_TRUE(qvrStringWithFileSystemRepresentation("\xc3\xa9", 1).isAbsent());
}

TEST(QVRStringWithCharacter, HoldsThatUnitWhateverItIs)
{
    for (const char16_t unit : {u'a', u'\0', u'\u00e9', char16_t(0xd800), char16_t(0xdfff), char16_t(0xffff)}) {
        const NSString text = qvrStringWithCharacter(unit);
        ASSERT_EQ(text.length(), 1u);
        EXPECT_EQ(text.characterAtIndex(0), unit);
    }
}

TEST(QVRStringWith32BitCharacter, HoldsOneScalarValue)
{
    EXPECT_EQ(qvrStringWith32BitCharacter('a'), NSString(u"a"));
    EXPECT_EQ(qvrStringWith32BitCharacter(0), NSString(std::u16string(1, u'\0')));
    EXPECT_EQ(qvrStringWith32BitCharacter(0x20ac), NSString(u"\u20ac"));
    EXPECT_EQ(qvrStringWith32BitCharacter(0x1f600), NSString(u"\U0001f600"));
    EXPECT_EQ(qvrStringWith32BitCharacter(0x10ffff), NSString(u"\U0010ffff"));
}

TEST(QVRStringWith32BitCharacter, IsAbsentForWhatIsNoScalarValue)
{
    for (const uint32_t character : {0xd800u, 0xdbffu, 0xdc00u, 0xdfffu, 0x110000u, 0xffffffffu})
        EXPECT_TRUE(qvrStringWith32BitCharacter(character).isAbsent()) << std::hex << character;
}

TEST(QVRStringWithData, DecodesAndLeavesTheErrorUntouched)
{
    const NSError before(u"D", 1);
    NSError error = before;
    const struct {
        std::string_view bytes;
        NSStringEncoding encoding;
        NSString expected;
    } rows[] = {
        {"caf\xc3\xa9", NSUTF8StringEncoding, u"caf\u00e9"},
        {"caf\xe9", NSISOLatin1StringEncoding, u"caf\u00e9"},
        {"caf\x8e", NSMacOSRomanStringEncoding, u"caf\u00e9"},
        {std::string_view("\xff\xfe\xe9\x00", 4), NSUTF16StringEncoding, u"\u00e9"},
        {std::string_view("\xfe\xff\x00\xe9", 4), NSUTF16StringEncoding, u"\u00e9"},
        {std::string_view("\x00\xf6\x01\x00", 4), NSUTF32LittleEndianStringEncoding, u"\U0001f600"},
        {"", NSUTF8StringEncoding, u""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(qvrStringWithData(NSData::dataWithBytes(row.bytes), row.encoding, &error), row.expected) << row.bytes;
    EXPECT_EQ(error, before);
}

TEST(QVRStringWithData, TellsWhatCouldNotBeDecoded)
{
    const NSData data = NSData::dataWithBytes("a\xff");
    NSError error;
    EXPECT_TRUE(qvrStringWithData(data, NSUTF8StringEncoding, &error).isAbsent());
    EXPECT_EQ(error.domain(), QVRErrorDomain);
    EXPECT_EQ(error.code(), 500);
    const NSDictionary expected = {{u"QVRInputObject", data}, {u"QVRStringEncoding", 4},
        {NSLocalizedFailureReasonErrorKey, u"Error decoding data to string."}};
    EXPECT_EQ(error.userInfo(), expected);
    EXPECT_EQ(error.userInfo().allKeys(), expected.allKeys());
    EXPECT_TRUE(qvrStringWithData(data, NSUTF8StringEncoding).isAbsent());
}

TEST(QVRStringWithData, FailsForAnEncodingThatDoesNotExist)
{
    NSError error;
    EXPECT_TRUE(qvrStringWithData(NSData::dataWithBytes("a"), 0x7fffffff, &error).isAbsent());
    EXPECT_EQ(error.userInfo()[u"QVRStringEncoding"], Value(0x7fffffff));
}

TEST(QVRStringWithData, FailsForAbsentData)
{
    NSError error;
    EXPECT_TRUE(qvrStringWithData(NSData(), NSUTF8StringEncoding, &error).isAbsent());
    EXPECT_EQ(error.code(), 500);
}

TEST(QVRDataUsingEncoding, EncodesAndLeavesTheErrorUntouched)
{
    const NSError before(u"D", 1);
    NSError error = before;
    EXPECT_EQ(qvrDataUsingEncoding(u"caf\u00e9", NSUTF8StringEncoding, &error), NSData::dataWithBytes("caf\xc3\xa9"));
    EXPECT_EQ(qvrDataUsingEncoding(u"caf\u00e9", NSISOLatin1StringEncoding, &error), NSData::dataWithBytes("caf\xe9"));
    EXPECT_EQ(qvrDataUsingEncoding(u"caf\u00e9", NSMacOSRomanStringEncoding, &error), NSData::dataWithBytes("caf\x8e"));
    EXPECT_EQ(qvrDataUsingEncoding(u"", NSUTF8StringEncoding, &error), NSData::dataWithBytes(""));
    EXPECT_EQ(error, before);
}

TEST(QVRDataUsingEncoding, TellsWhatCouldNotBeEncoded)
{
    NSError error;
    EXPECT_TRUE(qvrDataUsingEncoding(u"\u20ac", NSISOLatin1StringEncoding, &error).isAbsent());
    EXPECT_EQ(error.domain(), QVRErrorDomain);
    EXPECT_EQ(error.code(), 501);
    const NSDictionary expected = {{u"QVRString", u"\u20ac"}, {u"QVRStringEncoding", 5},
        {NSLocalizedFailureReasonErrorKey, u"Error encoding data from string."}};
    EXPECT_EQ(error.userInfo(), expected);
    EXPECT_EQ(error.userInfo().allKeys(), expected.allKeys());
    EXPECT_TRUE(qvrDataUsingEncoding(u"\u20ac", NSISOLatin1StringEncoding).isAbsent());
}

TEST(QVRDataUsingEncoding, RefusesHalfOfASurrogatePair)
{
    NSError error;
    EXPECT_TRUE(qvrDataUsingEncoding(qvrStringWithCharacter(0xd83d), NSUTF8StringEncoding, &error).isAbsent());
    EXPECT_EQ(error.code(), 501);
}

TEST(QVRStringWithUTF8Data, DecodesUTF8Only)
{
    EXPECT_EQ(qvrStringWithUTF8Data(NSData::dataWithBytes("\xe2\x82\xac")), NSString(u"\u20ac"));
    EXPECT_TRUE(qvrStringWithUTF8Data(NSData::dataWithBytes("\xe9")).isAbsent());
}

TEST(QVRStringWithContentsOfFile, TakesTheFirstEncodingInWhichTheBytesAreValid)
{
    const TemporaryFolder folder;
    const struct {
        const char* name;
        std::string_view bytes;
        NSString expected;
    } rows[] = {
        {"utf8", "caf\xc3\xa9", u"caf\u00e9"},
        {"utf16", std::string_view("\xff\xfe\xe9\x00\x61\x00", 6), u"\u00e9a"},
        {"oddroman", "\x8e\x8e\x8e", u"\u00e9\u00e9\u00e9"},
        {"empty", "", u""},
    };
    for (const auto& row : rows) {
        static_cast<void>(folder.write(row.name, row.bytes));
        EXPECT_EQ(qvrStringWithContentsOfFile(pathIn(folder, row.name)), row.expected) << row.name;
    }
}

TEST(QVRStringWithContentsOfFile, IsAbsentForAFileThatCannotBeRead)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(qvrStringWithContentsOfFile(pathIn(folder, "missing")).isAbsent());
    EXPECT_TRUE(qvrStringWithContentsOfFile(pathIn(folder, "")).isAbsent());
    EXPECT_TRUE(qvrStringWithContentsOfFile(NSString()).isAbsent());
}

TEST(QVRFileURL, AsksTheDiskWhetherThePathIsAFolder)
{
    const TemporaryFolder folder;
    static_cast<void>(folder.makeFolder("sub folder"));
    static_cast<void>(folder.write("file", ""));
    const NSString base = NSString::stringWithFormat(u"file://%s/", folder.path().c_str());
    EXPECT_EQ(qvrFileURL(pathIn(folder, "sub folder")).absoluteString(), base.stringByAppendingString(u"sub%20folder/"));
    EXPECT_EQ(qvrFileURL(pathIn(folder, "file")).absoluteString(), base.stringByAppendingString(u"file"));
    EXPECT_EQ(qvrFileURL(pathIn(folder, "missing")).absoluteString(), base.stringByAppendingString(u"missing"));
}

TEST(QVRFastFileURL, IsNeverAFoldersAddress)
{
    const TemporaryFolder folder;
    static_cast<void>(folder.makeFolder("sub"));
    EXPECT_EQ(qvrFastFileURL(pathIn(folder, "sub")).absoluteString(),
        NSString::stringWithFormat(u"file://%s/sub", folder.path().c_str()));
}
