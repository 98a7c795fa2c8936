#include "Platform/Web/WebArchive.h"

#include "Platform/Foundation/FormatArgument.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Support/ArchiveInspector.h"
#include "Support/Printing.h"
#include "Support/TemporaryFolder.h"

#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

WebResource resource(const char16_t* url, std::string_view bytes, const NSString& type = u"image/png")
{
    return WebResource(NSData::dataWithBytes(bytes), NSURL::URLWithString(url), type, NSString());
}

WebResource page(const char16_t* url, std::string_view bytes, const NSString& frameName = u"")
{
    return WebResource(NSData::dataWithBytes(bytes), NSURL::URLWithString(url), u"text/html", u"UTF-8", frameName);
}

WebArchive sample()
{
    const WebArchive inner =
        WebArchive::initWithMainResource(page(u"http://h/inner", "<p>inner", u"<!--frame0-->"), {resource(u"http://h/b", "")});
    const WebArchive frame = WebArchive::initWithMainResource(page(u"http://h/frame", "<p>frame", u"name \u20AC"), {}, {inner});
    const std::string all = [] {
        std::string bytes;
        for (int byte = 0; byte < 256; ++byte)
            bytes += static_cast<char>(byte);
        return bytes;
    }();
    return WebArchive::initWithMainResource(page(u"http://h/", "<p>caf\xC3\xA9"),
        {resource(u"http://h/a.png", all), resource(u"http://h/untyped", "x", NSString())}, {frame});
}

TEST(WebArchive, WithoutAMainResourceIsNone)
{
    EXPECT_FALSE(WebArchive::initWithMainResource(WebResource(), {resource(u"http://h/a", "a")}));
    const WebArchive none;
    EXPECT_TRUE(none.isAbsent());
    EXPECT_TRUE(none.data().isAbsent());
    EXPECT_FALSE(none.mainResource());
    EXPECT_TRUE(none.subresources().empty());
    EXPECT_TRUE(none.subframeArchives().empty());
}

TEST(WebArchive, LeavesAbsentPartsOut)
{
    const WebArchive archive = WebArchive::initWithMainResource(
        page(u"http://h/", "<p>"), {WebResource(), resource(u"http://h/a", "a"), WebResource()}, {WebArchive(), sample()});
    EXPECT_EQ(archive.subresources().size(), 1U);
    EXPECT_EQ(archive.subframeArchives().size(), 1U);
}

TEST(WebArchive, FetchesBytesWhenItIsMadeAndOnce)
{
    int fetches = 0;
    const WebResource lazy(
        [&fetches] {
            ++fetches;
            return NSData::dataWithBytes("late");
        },
        NSURL::URLWithString(u"http://h/"), u"text/html", u"UTF-8", u"");
    EXPECT_EQ(fetches, 0);
    const WebArchive archive = WebArchive::initWithMainResource(lazy);
    EXPECT_EQ(fetches, 1);
    EXPECT_EQ(archive.mainResource().data(), NSData::dataWithBytes("late"));
    EXPECT_EQ(fetches, 1);
}

TEST(WebArchive, IsReadBackAsItWasWritten)
{
    const WebArchive archive = sample();
    NSError error;
    EXPECT_EQ(WebArchive::initWithData(archive.data(), &error), archive);
    EXPECT_FALSE(error);
    EXPECT_FALSE(WebArchive::initWithData(sample().data()) == WebArchive());
}

TEST(WebArchive, HasTheKeysOfItsFormatInTheirOrder)
{
    const WebArchive archive = sample();
    NSPropertyListFormat format{};
    const NSDictionary top = NSPropertyListSerialization::propertyListWithData(archive.data(), &format).dictionary();
    EXPECT_EQ(format, NSPropertyListBinaryFormat_v1_0);
    EXPECT_EQ(top.allKeys(), (NSArray{u"WebMainResource", u"WebSubresources", u"WebSubframeArchives"}));
    EXPECT_EQ(top[u"WebMainResource"].dictionary(),
        (NSDictionary{{u"WebResourceData", NSData::dataWithBytes("<p>caf\xC3\xA9")}, {u"WebResourceURL", u"http://h/"},
            {u"WebResourceMIMEType", u"text/html"}, {u"WebResourceTextEncodingName", u"UTF-8"}, {u"WebResourceFrameName", u""}}));
    EXPECT_EQ(top[u"WebSubresources"].array()[1].dictionary(),
        (NSDictionary{{u"WebResourceData", NSData::dataWithBytes("x")}, {u"WebResourceURL", u"http://h/untyped"},
            {u"WebResourceMIMEType", u""}}));
    const NSDictionary frame = top[u"WebSubframeArchives"].array()[0].dictionary();
    EXPECT_EQ(frame.allKeys(), (NSArray{u"WebMainResource", u"WebSubframeArchives"}));
    EXPECT_EQ(frame[u"WebMainResource"].dictionary()[u"WebResourceFrameName"].string(), NSString(u"name \u20AC"));
}

TEST(WebArchive, GivesResourcesWithoutBytesEmptyOnes)
{
    const WebArchive archive =
        WebArchive::initWithMainResource(WebResource(NSData(), NSURL::URLWithString(u"http://h/"), u"text/html", {}, u""));
    const WebArchive read = WebArchive::initWithData(archive.data());
    EXPECT_FALSE(read.mainResource().data().isAbsent());
    EXPECT_EQ(read.mainResource().data().length(), 0U);
}

TEST(WebArchive, IsTheSameForReadersOfOthersMaking)
{
    const support::TemporaryFolder folder;
    const std::string path = folder.pathOf("a.webarchive");
    ASSERT_TRUE(sample().writeToFile(NSString::stringWithUTF8String(path)));
    const support::InspectedArchive read = support::readArchive(path);
    EXPECT_EQ(support::faultsOf(read), std::vector<std::string>());
    EXPECT_EQ(read.main.data, "<p>caf\xC3\xA9");
    ASSERT_EQ(read.resources.size(), 2U);
    EXPECT_EQ(read.resources[0].data.size(), 256U);
    ASSERT_EQ(read.frames.size(), 1U);
    EXPECT_EQ(read.frames[0].main.frameName, "name \xE2\x82\xAC");
    EXPECT_EQ(read.frames[0].frames.at(0).main.frameName, "<!--frame0-->");
    EXPECT_EQ(support::inventoryOf(read), support::inventoryByPlistlib(path));
    EXPECT_EQ(support::inventoryOf(read), support::inventoryByPlistutil(path));
}

TEST(WebArchive, WritesToAFileWhatItsDataHolds)
{
    const support::TemporaryFolder folder;
    const std::string path = folder.write("a.webarchive", "an older file");
    NSError error;
    ASSERT_TRUE(sample().writeToFile(NSString::stringWithUTF8String(path), &error));
    EXPECT_FALSE(error);
    EXPECT_EQ(WebArchive::initWithData(NSData::dataWithContentsOfFile(NSString::stringWithUTF8String(path))), sample());
    EXPECT_EQ(support::namesIn(folder.path()), std::vector<std::string>{"a.webarchive"});
}

TEST(WebArchive, ThatCannotBeWrittenLeavesEverythingAsItWas)
{
    const support::TemporaryFolder folder;
    NSError error;
    EXPECT_FALSE(sample().writeToFile(NSString::stringWithUTF8String(folder.pathOf("missing/a.webarchive")), &error));
    EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
    EXPECT_EQ(error.code(), NSFileNoSuchFileError);
    const std::string path = folder.write("a.webarchive", "an older file");
    error = {};
    EXPECT_FALSE(WebArchive().writeToFile(NSString::stringWithUTF8String(path), &error));
    EXPECT_TRUE(error);
    EXPECT_EQ(support::readFile(path), "an older file");
    EXPECT_EQ(support::namesIn(folder.path()), std::vector<std::string>{"a.webarchive"});
}

// Kilobytes of memory that the process has in use.
long residentKilobytes()
{
    std::ifstream file("/proc/self/statm");
    long total = 0;
    long resident = 0;
    file >> total >> resident;
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

TEST(WebArchive, IsWrittenWithoutASecondCopyOfItsBytes)
{
    const support::TemporaryFolder folder;
    std::vector<WebResource> resources;
    for (int index = 0; index < 8; ++index) {
        resources.push_back(WebResource(NSData(std::vector<std::byte>(8 << 20, std::byte(index))),
            NSURL::URLWithString(NSString::stringWithFormat(u"http://h/%d", index)), u"image/png", {}));
    }
    const WebArchive archive = WebArchive::initWithMainResource(page(u"http://h/", "<p>"), resources);
    const std::string path = folder.pathOf("a.webarchive");
    const long before = residentKilobytes();
    ASSERT_TRUE(archive.writeToFile(NSString::stringWithUTF8String(path)));
    EXPECT_LT(residentKilobytes() - before, 16 << 10);
    EXPECT_GT(std::filesystem::file_size(path), 64U << 20);
}

TEST(WebArchiveReading, TakesXMLAndPassesOverWhatItDoesNotKnow)
{
    const WebArchive archive = WebArchive::initWithData(NSData::dataWithBytes(R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
  <key>Unknown</key><array><integer>1</integer></array>
  <key>WebMainResource</key><dict>
    <key>WebResourceData</key><data>PHA+</data>
    <key>WebResourceFrameName</key><string></string>
    <key>WebResourceMIMEType</key><string>text/html; charset=koi8-r</string>
    <key>WebResourceTextEncodingName</key><string>koi8-r</string>
    <key>WebResourceURL</key><string>http://h/</string>
    <key>WebResourceResponse</key><data>AAAA</data>
  </dict>
  <key>WebSubframeArchives</key><array><dict><key>WebMainResource</key><dict>
    <key>WebResourceURL</key><string>http://h/frame</string></dict></dict>
    <dict><key>WebSubresources</key><array/></dict><string>no archive</string></array>
  <key>WebSubresources</key><array>
    <dict><key>WebResourceURL</key><string>http://h/a</string><key>WebResourceResponse</key><data>AAAA</data></dict>
    <dict><key>Unknown</key><true/></dict><integer>5</integer></array>
</dict></plist>)"));
    ASSERT_TRUE(archive);
    EXPECT_EQ(archive.mainResource(),
        WebResource(NSData::dataWithBytes("<p>"), NSURL::URLWithString(u"http://h/"), u"text/html", u"koi8-r", u""));
    ASSERT_EQ(archive.subresources().size(), 1U);
    EXPECT_EQ(archive.subresources()[0].URL(), NSURL::URLWithString(u"http://h/a"));
    EXPECT_TRUE(archive.subresources()[0].data().isAbsent());
    EXPECT_TRUE(archive.subresources()[0].MIMEType().isAbsent());
    EXPECT_TRUE(archive.subresources()[0].frameName().isAbsent());
    ASSERT_EQ(archive.subframeArchives().size(), 1U);
    EXPECT_EQ(archive.subframeArchives()[0].mainResource().URL(), NSURL::URLWithString(u"http://h/frame"));
}

NSData binary(const Value& propertyList)
{
    return NSPropertyListSerialization::dataWithPropertyList(propertyList, NSPropertyListBinaryFormat_v1_0);
}

struct Unusable {
    const char* name;
    NSData data;
    int64_t code;
};

TEST(WebArchiveReading, RefusesWhatIsNoArchive)
{
    const NSData whole = sample().data();
    const NSDictionary wrongKinds{
        {u"WebMainResource", NSDictionary{{u"WebResourceData", u"a text"}, {u"WebResourceURL", int64_t(5)}}}};
    const Unusable rows[] = {
        {"absent", NSData(), NSPropertyListReadCorruptError},
        {"empty", NSData::dataWithBytes(""), NSPropertyListReadCorruptError},
        {"a page", NSData::dataWithBytes("<!DOCTYPE html><p>text"), NSPropertyListReadCorruptError},
        {"cut short", NSData::dataWithBytes(whole.characters().substr(0, whole.length() - 20)), NSPropertyListReadCorruptError},
        {"a text", binary(u"WebMainResource"), NSFileReadCorruptFileError},
        {"an empty dictionary", binary(NSDictionary::dictionary()), NSFileReadCorruptFileError},
        {"no main resource", binary(NSDictionary{{u"WebSubresources", NSArray{NSDictionary::dictionary()}}}),
            NSFileReadCorruptFileError},
        {"a main resource that is a text", binary(NSDictionary{{u"WebMainResource", u"<p>"}}), NSFileReadCorruptFileError},
        {"a main resource with nothing known", binary(NSDictionary{{u"WebMainResource", NSDictionary{{u"x", u"y"}}}}),
            NSFileReadCorruptFileError},
        {"parts of the wrong kinds", binary(wrongKinds), NSFileReadCorruptFileError},
    };
    for (const Unusable& row : rows) {
        SCOPED_TRACE(row.name);
        NSError error;
        EXPECT_FALSE(WebArchive::initWithData(row.data, &error));
        EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
        EXPECT_EQ(error.code(), row.code);
        EXPECT_FALSE(WebArchive::initWithData(row.data));
    }
}

TEST(WebArchiveReading, SurvivesEveryCutAndEveryFlippedByte)
{
    const std::string whole(sample().data().characters());
    for (size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(WebArchive::initWithData(NSData::dataWithBytes(whole.substr(0, length)))) << length;
    size_t readable = 0;
    for (size_t index = 0; index < whole.size(); ++index) {
        std::string damaged = whole;
        damaged[index] = static_cast<char>(damaged[index] ^ 0xff);
        if (const WebArchive archive = WebArchive::initWithData(NSData::dataWithBytes(damaged))) {
            ++readable;
            // What is missing is written as empty; from then on nothing changes any more.
            const WebArchive written = WebArchive::initWithData(archive.data());
            EXPECT_TRUE(WebArchive::initWithData(written.data()) == written) << index;
        }
    }
    EXPECT_GT(readable, 0U) << "a damaged byte of a body is still a body";
}

TEST(WebArchiveReading, KeepsAddressesAsTheyAreWritten)
{
    // Browsers use addresses with characters that the standard does not allow.
    const NSDictionary main{{u"WebResourceURL", u"http://h/a|b{c} d"}, {u"WebResourceData", NSData::dataWithBytes("x")}};
    const WebArchive archive = WebArchive::initWithData(binary(NSDictionary{{u"WebMainResource", main}}));
    ASSERT_TRUE(archive);
    EXPECT_EQ(archive.mainResource().URL().absoluteString(), NSString(u"http://h/a|b{c} d"));
    EXPECT_EQ(WebArchive::initWithData(archive.data()), archive);
}

TEST(WebResource, StoresTypesWithoutTheirParameters)
{
    const std::pair<const char16_t*, const char16_t*> rows[] = {{u"text/html", u"text/html"},
        {u"text/html;charset=x", u"text/html"}, {u"Text/HTML ; charset=x; y=z", u"Text/HTML"}, {u"", u""}, {u";x", u""}};
    for (const auto& [given, kept] : rows)
        EXPECT_EQ(WebResource(NSData(), NSURL(), given, NSString()).MIMEType(), NSString(kept));
    EXPECT_TRUE(WebResource(NSData(), NSURL(), NSString(), NSString()).MIMEType().isAbsent());
}

TEST(WebResource, AbsentAnswersAbsentToEverything)
{
    const WebResource absent;
    EXPECT_TRUE(absent.isAbsent());
    EXPECT_TRUE(absent.data().isAbsent());
    EXPECT_TRUE(absent.URL().isAbsent());
    EXPECT_TRUE(absent.MIMEType().isAbsent());
    EXPECT_TRUE(absent.textEncodingName().isAbsent());
    EXPECT_TRUE(absent.frameName().isAbsent());
    EXPECT_TRUE(absent.description().isAbsent());
    EXPECT_EQ(absent, WebResource());
    EXPECT_FALSE(absent == resource(u"http://h/", ""));
    EXPECT_EQ(resource(u"http://h/", "").description(), NSString(u"<WebResource: http://h/>"));
}

}
