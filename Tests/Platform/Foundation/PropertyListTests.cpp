#include "Platform/Foundation/AtomicFile.h"
#include "Platform/Foundation/BinaryPropertyListWriter.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Support/Printing.h"
#include "Support/Subprocess.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace {

const NSString loneSurrogate(std::u16string{u'a', 0xd800, u'b'});

std::string xmlOf(const Value& value)
{
    NSError error;
    const NSData data = NSPropertyListSerialization::dataWithPropertyList(value, NSPropertyListXMLFormat_v1_0, &error);
    EXPECT_FALSE(data.isAbsent()) << error.description().UTF8();
    return std::string(data.characters());
}

std::string binaryOf(const Value& value)
{
    NSError error;
    const NSData data = NSPropertyListSerialization::dataWithPropertyList(value, NSPropertyListBinaryFormat_v1_0, &error);
    EXPECT_FALSE(data.isAbsent()) << error.description().UTF8();
    return std::string(data.characters());
}

Value read(const std::string& bytes, NSError* error = nullptr)
{
    return NSPropertyListSerialization::propertyListWithData(NSData::dataWithBytes(bytes), nullptr, error);
}

std::string inPlist(const std::string& body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">\n"
        + body + "</plist>\n";
}

Value nested(int depth)
{
    Value value = NSArray(std::vector<Value>());
    for (int i = 1; i < depth; ++i)
        value = NSArray(std::vector<Value>{value});
    return value;
}

// One of each, with what is easily lost.
NSDictionary everything()
{
    std::vector<Value> many;
    for (int i = 0; i < 300; ++i)
        many.emplace_back(NSString::stringWithFormat(u"entry %d", i));
    return {
        {u"zebra", NSString(u"<&>\"'\t\n\r ä € 😀")},
        {u"empty", NSString(u"")},
        {u"", NSString(u"under the empty key")},
        {u"data", NSData::dataWithBytes(std::string(100, '\xfe'))},
        {u"no data", NSData::dataWithBytes("")},
        {u"yes", true},
        {u"no", false},
        {u"zero", 0},
        {u"small", 127},
        {u"byte", 255},
        {u"word", 65535},
        {u"long", int64_t{4294967295}},
        {u"largest", std::numeric_limits<int64_t>::max()},
        {u"negative", -1},
        {u"smallest", std::numeric_limits<int64_t>::min()},
        {u"real", 0.1 + 0.2},
        {u"huge", 1e300},
        {u"whole", 2.0},
        {u"infinite", -std::numeric_limits<double>::infinity()},
        {u"date", NSDate::dateWithTimeIntervalSinceReferenceDate(700000000)},
        {u"old date", NSDate::dateWithTimeIntervalSinceReferenceDate(-40000000000)},
        {u"late date", NSDate::dateWithTimeIntervalSinceReferenceDate(30000000000)},
        {u"array", NSArray(std::move(many))},
        {u"no elements", NSArray(std::vector<Value>())},
        {u"no entries", NSDictionary::dictionary()},
        {u"nested", NSDictionary{{u"array", NSArray{NSArray{NSString(u"deep"), 1}}}}},
        {u"ä key", NSString(std::u16string(70'000, u'ö'))},
        {u"apple", NSString(u"last")},
    };
}

const char* const comparePython = R"(
import datetime, plistlib, sys
value = plistlib.load(open(sys.argv[1], "rb"))
epoch = datetime.datetime(2001, 1, 1)
assert value["zebra"] == "<&>\"'\t\n\r \u00e4 \u20ac \U0001f600", value["zebra"]
assert value["data"] == b"\xfe" * 100 and value["no data"] == b""
assert value["yes"] is True and value["no"] is False
assert [value[k] for k in ("zero", "small", "byte", "word", "long", "largest", "negative", "smallest")] == \
    [0, 127, 255, 65535, 4294967295, 2**63 - 1, -1, -2**63]
assert value["real"] == 0.1 + 0.2 and value["huge"] == 1e300 and value["infinite"] == float("-inf")
assert value["whole"] == 2.0 and isinstance(value["whole"], float)
assert value["date"] == epoch + datetime.timedelta(seconds=700000000)
assert value["old date"] == epoch - datetime.timedelta(seconds=40000000000)
assert value["late date"] == epoch + datetime.timedelta(seconds=30000000000)
assert value["array"] == ["entry %d" % i for i in range(300)]
assert value["no elements"] == [] and value["no entries"] == {}
assert value["nested"] == {"array": [["deep", 1]]}
assert value["\u00e4 key"] == "\u00f6" * 70000
keys = list(value)
assert keys[:4] == ["zebra", "empty", "", "data"] and keys[-1] == "apple", keys
assert len(keys) == 28
)";

}

TEST(XMLPropertyList, IsWrittenExactlyAsThePlatformDoes)
{
    const NSDictionary value = {
        {u"succeeded", true},
        {u"errorData", NSData::dataWithBytes(std::string(60, 'a'))},
        {u"title", NSString(u"a < b & c > d \"e\"")},
        {u"list", NSArray{1, -2, 1.5, 1.0, NSArray(std::vector<Value>()), NSDictionary::dictionary()}},
        {u"date", NSDate::dateWithTimeIntervalSinceReferenceDate(0.75)},
        {u"inner", NSDictionary{{u"data", NSData::dataWithBytes("x")}, {u"empty", NSString(u"")}}},
    };
    EXPECT_EQ(xmlOf(value), inPlist(R"(<dict>
	<key>succeeded</key>
	<true/>
	<key>errorData</key>
	<data>
	YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh
	YWFhYWFhYWFh
	</data>
	<key>title</key>
	<string>a &lt; b &amp; c &gt; d "e"</string>
	<key>list</key>
	<array>
		<integer>1</integer>
		<integer>-2</integer>
		<real>1.5</real>
		<real>1</real>
		<array/>
		<dict/>
	</array>
	<key>date</key>
	<date>2001-01-01T00:00:00Z</date>
	<key>inner</key>
	<dict>
		<key>data</key>
		<data>
		eA==
		</data>
		<key>empty</key>
		<string></string>
	</dict>
</dict>
)"));
}

TEST(XMLPropertyList, TellsDatesOfAllYears)
{
    const struct {
        double seconds;
        const char* expected;
    } rows[] = {
        {0, "2001-01-01T00:00:00Z"},
        {-1, "2000-12-31T23:59:59Z"},
        {-0.5, "2000-12-31T23:59:59Z"},
        {-978307200, "1970-01-01T00:00:00Z"},
        {5097600, "2001-03-01T00:00:00Z"},
        {-26524801, "2000-02-28T23:59:59Z"},
        {-26524800, "2000-02-29T00:00:00Z"},
        {-63113904000, "0001-01-01T00:00:00Z"},
        {252423993599, "9999-12-31T23:59:59Z"},
    };
    for (const auto& row : rows) {
        const NSDate date = NSDate::dateWithTimeIntervalSinceReferenceDate(row.seconds);
        const std::string text = xmlOf(date);
        EXPECT_EQ(text, inPlist(std::string("<date>") + row.expected + "</date>\n"));
        EXPECT_EQ(read(text).date(), NSDate::dateWithTimeIntervalSinceReferenceDate(std::floor(row.seconds))) << text;
    }
}

TEST(XMLPropertyList, StaysWellFormedWhateverAStringHolds)
{
    std::u16string all;
    for (char16_t unit = 0; unit < 0xa0; ++unit)
        all += unit;
    all += u"\ufffe\uffff\ufeff";
    const NSDictionary value = {{NSString(all.substr(1)), loneSurrogate}, {loneSurrogate, NSString(all)}};
    const Value readBack = read(xmlOf(value));
    ASSERT_TRUE(readBack.is(Value::Kind::Dictionary));
    EXPECT_EQ(readBack.dictionary()[u"a\ufffdb"].string().length(), all.size());
    const NSString text = readBack.dictionary()[u"a\ufffdb"].string();
    for (size_t i = 0; i < all.size(); ++i) {
        const bool mayStand = (all[i] >= 0x20 || all[i] == u'\t' || all[i] == u'\n' || all[i] == u'\r') && all[i] < 0xfffe;
        EXPECT_EQ(text.characterAtIndex(i), mayStand ? all[i] : 0xfffd) << i;
    }
    const support::TemporaryFolder folder;
    const std::string script = "import plistlib, sys; assert len(plistlib.load(open(sys.argv[1], 'rb'))) == 2";
    support::runHelper({"/usr/bin/env", "python3", "-c", script, folder.write("a.plist", xmlOf(value))});
}

TEST(PropertyList, RoundTripsInBothFormats)
{
    const Value value = everything();
    for (const NSPropertyListFormat format : {NSPropertyListXMLFormat_v1_0, NSPropertyListBinaryFormat_v1_0}) {
        const NSData data = NSPropertyListSerialization::dataWithPropertyList(value, format);
        NSPropertyListFormat found = {};
        NSError error;
        const Value readBack = NSPropertyListSerialization::propertyListWithData(data, &found, &error);
        EXPECT_EQ(readBack, value) << format;
        EXPECT_EQ(found, format);
        EXPECT_TRUE(error.isAbsent());
        EXPECT_EQ(readBack.dictionary().allKeys(), value.dictionary().allKeys());
        // Kinds too, which equality of numbers does not tell.
        for (const auto& [key, element] : value.dictionary())
            EXPECT_EQ(readBack.dictionary()[key].kind(), element.kind()) << key.UTF8();
    }
}

TEST(PropertyList, IsReadByPythonAndPlistutil)
{
    const support::TemporaryFolder folder;
    for (const std::string& bytes : {xmlOf(everything()), binaryOf(everything())}) {
        const std::string path = folder.write("a.plist", bytes);
        support::runHelper({"/usr/bin/env", "python3", "-c", comparePython, path});
        const std::string other = support::runHelper({"/usr/bin/plistutil", "-f", "xml", "-i", path, "-o", "-"});
        EXPECT_EQ(read(other).dictionary()[u"array"], everything()[u"array"]);
        EXPECT_EQ(read(other).dictionary()[u"smallest"], everything()[u"smallest"]);
    }
}

TEST(PropertyList, HoldsAnyKindAtTheRoot)
{
    for (const Value& value : {Value(NSString(u"x")), Value(1), Value(true), Value(1.5), Value(NSData::dataWithBytes("x")),
             Value(NSArray{1}), Value(NSDate::dateWithTimeIntervalSinceReferenceDate(5))}) {
        EXPECT_EQ(read(xmlOf(value)), value);
        EXPECT_EQ(read(binaryOf(value)), value);
    }
}

TEST(PropertyList, RefusesToDropWhatItCannotHold)
{
    const struct {
        Value value;
        const char16_t* place;
    } rows[] = {
        {Value(), u"root)"},
        {NSNull(), u"root)"},
        {NSURL::URLWithString(u"http://h/"), u"root)"},
        {NSError(u"D", 1), u"root)"},
        {Value(Class("NSString")), u"root)"},
        {NSArray{1, NSNull()}, u"root[1])"},
        {NSDictionary{{u"a", NSArray{NSDictionary{{u"b", NSURL::URLWithString(u"x")}}}}}, u"root[\"a\"][0][\"b\"])"},
        {NSDate::dateWithTimeIntervalSinceReferenceDate(std::numeric_limits<double>::quiet_NaN()), u"root)"},
        {NSDate::dateWithTimeIntervalSinceReferenceDate(1e12), u"root)"},
    };
    for (const auto& row : rows) {
        EXPECT_FALSE(NSPropertyListSerialization::propertyListIsValid(row.value));
        for (const NSPropertyListFormat format : {NSPropertyListXMLFormat_v1_0, NSPropertyListBinaryFormat_v1_0}) {
            NSError error;
            EXPECT_TRUE(NSPropertyListSerialization::dataWithPropertyList(row.value, format, &error).isAbsent());
            EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
            EXPECT_EQ(error.code(), NSPropertyListWriteInvalidError);
            const NSString text = error.userInfo()[NSDebugDescriptionErrorKey].string();
            EXPECT_NE(text.rangeOfString(row.place).location, NSNotFound) << text.UTF8();
        }
    }
}

// Other readers end text at a null character or refuse a file for half a surrogate pair; so did the library under this one.
TEST(BinaryPropertyList, KeepsNullCharactersAndMendsHalfPairs)
{
    const NSString withNull(std::u16string(u"a\0b", 3));
    EXPECT_EQ(read(binaryOf(withNull)), Value(withNull));
    EXPECT_EQ(
        read(binaryOf(NSDictionary{{loneSurrogate, loneSurrogate}})), Value(NSDictionary{{u"a\ufffdb", NSString(u"a\ufffdb")}}));
    EXPECT_EQ(read(binaryOf(NSString(std::u16string{0xdc00, 0xd83d, 0xde00, 0xd800}))), Value(NSString(u"\ufffd😀\ufffd")));
    EXPECT_FALSE(NSPropertyListSerialization::propertyListIsValid(NSDictionary{{withNull, 1}}));
    const auto alone = [](const std::string& object) {
        return "bplist00" + object + '\x08' + std::string(6, '\0') + "\x01\x01" + std::string(7, '\0') + '\x01'
            + std::string(15, '\0') + static_cast<char>(8 + object.size());
    };
    EXPECT_EQ(read(alone("\x53"
                         "abc")),
        Value(NSString(u"abc")));
    EXPECT_FALSE(read(alone(std::string("\x53"
                                        "a\0c",
        4))));
    EXPECT_FALSE(read(alone(std::string("\x61\xd8\x00", 3))));
    EXPECT_FALSE(read(alone(std::string("\x62\xdc\x00\xd8\x00", 5))));
    EXPECT_FALSE(read(alone("\x53"
                            "a\xff"
                            "c")));
}

TEST(PropertyList, BoundsTheDepth)
{
    constexpr int deepest = NSPropertyListSerialization::deepestNesting;
    EXPECT_EQ(read(xmlOf(nested(deepest))), nested(deepest));
    EXPECT_EQ(read(binaryOf(nested(deepest))), nested(deepest));
    EXPECT_FALSE(NSPropertyListSerialization::propertyListIsValid(nested(deepest + 1)));
    const auto deepXML = [](int depth) {
        std::string text = "<plist>";
        for (int i = 0; i < depth; ++i)
            text += "<array>";
        for (int i = 0; i < depth; ++i)
            text += "</array>";
        return text + "</plist>";
    };
    EXPECT_TRUE(read(deepXML(deepest)));
    EXPECT_FALSE(read(deepXML(deepest + 1)));
    EXPECT_FALSE(read(deepXML(1'000'000)));
}

TEST(PropertyListReading, RefusesWhatIsNoPropertyList)
{
    const std::string texts[] = {"", "garbage", "bplist00", "bplist99garbage that is long enough to have a trailer of its own",
        "{a=1;}", "<plist></plist>", "<plist><string>a</string>", "<plist><string>a</plist>",
        "<plist><array><string>a</array></plist>", "<dict/>", "<plist><foo/></plist>",
        "<plist><string>a</string><string>b</string></plist>", "<plist><dict><key>a</key></dict></plist>",
        "<plist><dict><string>a</string></dict></plist>", "<plist><dict><key>a</key><key>b</key></dict></plist>",
        "<plist><array><key>a</key></array></plist>", "<plist><integer>abc</integer></plist>",
        "<plist><integer></integer></plist>", "<plist><integer>99999999999999999999</integer></plist>",
        "<plist><integer>1 2</integer></plist>", "<plist><real>x</real></plist>", "<plist><real></real></plist>",
        "<plist><date>yesterday</date></plist>", "<plist><data>$$$$</data></plist>", "<plist><data>abc</data></plist>",
        "<plist><true>x</true></plist>", "<plist>text<true/></plist>", "<plist><array>text</array></plist>",
        "<plist><true/></plist><plist><true/></plist>", "<plist><string>&unknown;</string></plist>",
        "<plist><string>&#0;</string></plist>", "<plist><string>\xff</string></plist>", "<plist><plist><true/></plist></plist>",
        "<plist><string><true/></string></plist>", "<plist><true/></plist>garbage",
        "<plist><date>2001-13-01T00:00:00Z</date></plist>", "<plist><date>2001-02-29T00:00:00Z</date></plist>",
        "<plist><date>2001-01-01T24:00:00Z</date></plist>", "<plist><date>2001-01-01T00:00:00</date></plist>",
        "<plist><dict><key>a<true/></key><true/></dict></plist>", "</plist>", "<plist><true/></plist></plist>", "<plist><true/>",
        "<plist><array></dict></plist>", "<plist><array></array><array></plist>", "<plist><true/></array>",
        "<plist><string>a</String></plist>", "<plist><true/></plist>&#65;", "<plist><array>&amp;</array></plist>",
        "<plist><!-- \xff --><true/></plist>", "<plist version=1><true/></plist>", "<plist><string>a&</string></plist>",
        "<plist><string>&lt</string></plist>", "<plist><string><![CDATA[a</string></plist>",
        "<plist><string>a<!-- </string></plist>"};
    for (const std::string& text : texts) {
        NSError error;
        EXPECT_TRUE(read(text, &error).isAbsent()) << text;
        EXPECT_EQ(error.domain(), NSCocoaErrorDomain) << text;
        EXPECT_EQ(error.code(), NSPropertyListReadCorruptError) << text;
    }
    EXPECT_TRUE(NSPropertyListSerialization::propertyListWithData(NSData()).isAbsent());
}

TEST(PropertyListReading, TakesEveryFormOfXML)
{
    const struct {
        const char* body;
        Value expected;
    } rows[] = {
        {"<string>a&#13;&#x1F600;<![CDATA[<x>]]>&lt;&quot;&apos;</string>", NSString(u"a\r😀<x><\"'")},
        {"<integer> -5 </integer>", -5},
        {"<integer>0x10</integer>", 16},
        {"<integer>+7</integer>", 7},
        {"<real>-1.5e10</real>", -1.5e10},
        {"<real>7</real>", 7.0},
        {"<!-- c --><dict><!-- <dict> --><key>a</key>\n<true></true></dict>", NSDictionary{{u"a", true}}},
        {"<data>\n\tYWJj\n\tZGVm\n</data>", NSData::dataWithBytes("abcdef")},
        {"<array/>", NSArray(std::vector<Value>())},
        {"<string/>", NSString(u"")},
        {"<date>2090-01-01T00:00:00Z</date>", NSDate::dateWithTimeIntervalSinceReferenceDate(2808604800)},
        {"<date> 2000-12-31T23:59:59Z\n</date>", NSDate::dateWithTimeIntervalSinceReferenceDate(-1)},
        {"<date>1-01-01T00:00:00Z</date>", NSDate::dateWithTimeIntervalSinceReferenceDate(-63113904000)},
        {"<string> a<!-- c -->\n b </string>", NSString(u" a\n b ")},
        {"<dict><key></key><integer>1</integer><key> k </key><true/><key> k </key><false/></dict>",
            NSDictionary{{u"", 1}, {u" k ", false}}},
        {"<data/>", NSData::dataWithBytes("")},
        {"<string>a\r\nb\rc&#xD;</string>", NSString(u"a\nb\nc\r")},
        {"<string> <![CDATA[ ]]> </string>", NSString(u"   ")},
        {"<string>&amp;lt;&#x26;#65;</string>", NSString(u"&lt;&#65;")},
        {"<array note='a > b'><true/>&#10;</array>", NSArray{true}},
        {"<array><array><array/><string>a</string></array><array><string>b</string></array></array>",
            NSArray{NSArray{NSArray(std::vector<Value>()), NSString(u"a")}, NSArray{NSString(u"b")}}},
        {"<dict><key>a</key><array><dict><key>b</key><array><true/></array></dict><false/></array></dict>",
            NSDictionary{{u"a", NSArray{NSDictionary{{u"b", NSArray{true}}}, false}}}},
        {"<string>\xc3\xa4<?pi > ?>\xf0\x9f\x98\x80</string>", NSString(u"ä😀")},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(read(inPlist(row.body)), row.expected) << row.body;
        EXPECT_EQ(read("\xef\xbb\xbf" + inPlist(row.body)), row.expected) << row.body;
        EXPECT_EQ(read(std::string("<plist>") + row.body + "</plist>"), row.expected) << row.body;
    }
}

// Texts of all lengths, of which the short ones share memory, also when the others have gone.
TEST(PropertyListReading, KeepsTextsOfAllLengthsApart)
{
    std::vector<Value> texts;
    for (size_t length = 0; length < 2100; length += length < 40 ? 1 : 103) {
        for (const char16_t unit : {u'a', u'z', u'\u00e4'})
            texts.emplace_back(NSString(std::u16string(length, unit)));
    }
    for (const NSPropertyListFormat format : {NSPropertyListXMLFormat_v1_0, NSPropertyListBinaryFormat_v1_0}) {
        Value list = NSPropertyListSerialization::propertyListWithData(
            NSPropertyListSerialization::dataWithPropertyList(NSArray(texts), format));
        EXPECT_EQ(list, Value(NSArray(texts)));
        const NSString kept = list.array()[40].string();
        list = {};
        EXPECT_EQ(kept, texts[40].string());
    }
}

TEST(BinaryPropertyList, SurvivesEverySingleDamage)
{
    const NSDictionary value = {{u"a", NSArray{1, NSString(u"ä"), NSData::dataWithBytes("xyz"), 1.5, true}},
        {u"b", NSDictionary{{u"c", NSDate::dateWithTimeIntervalSinceReferenceDate(1)}}}};
    const std::string bytes = binaryOf(value);
    for (size_t i = 0; i < bytes.size(); ++i) {
        for (int bit = 0; bit < 8; ++bit) {
            std::string damaged = bytes;
            damaged[i] = static_cast<char>(damaged[i] ^ (1 << bit));
            NSError error;
            const Value found = read(damaged, &error);
            EXPECT_NE(found.isAbsent(), error.isAbsent());
        }
        EXPECT_TRUE(read(bytes.substr(0, i)).isAbsent());
    }
}

// Each array holds the one below it twice, so 40 of them would unfold to a million million values.
TEST(BinaryPropertyList, RefusesToUnfoldSharedObjectsWithoutEnd)
{
    std::string bytes = "bplist00";
    std::string offsets;
    constexpr int count = 40;
    for (int i = 0; i < count; ++i) {
        offsets += static_cast<char>(bytes.size());
        if (i + 1 < count)
            bytes += {'\xa2', static_cast<char>(i + 1), static_cast<char>(i + 1)};
        else
            bytes += '\x09';
    }
    const auto tableOffset = static_cast<char>(bytes.size());
    bytes += offsets + std::string(6, '\0') + "\x01\x01" + std::string(7, '\0') + static_cast<char>(count) + std::string(15, '\0')
        + tableOffset;
    EXPECT_FALSE(read(bytes));
    // Two levels are fine, a circle is not.
    const auto small = [](char reference) {
        return "bplist00" + std::string("\xa2\x01\x01\x51x", 5).replace(1, 2, 2, reference) + std::string("\x08\x0b", 2)
            + std::string(6, '\0') + "\x01\x01" + std::string(7, '\0') + '\x02' + std::string(15, '\0') + '\x0d';
    };
    EXPECT_EQ(read(small(1)), Value(NSArray{NSString(u"x"), NSString(u"x")}));
    EXPECT_FALSE(read(small(0)));
    EXPECT_FALSE(read(small(2)));
}

TEST(BinaryPropertyListWriter, WritesEqualStringsAndNumbersOnce)
{
    std::vector<Value> elements;
    for (int i = 0; i < 1000; ++i) {
        elements.emplace_back(
            NSDictionary{{u"WebResourceMIMEType", NSString(u"text/html")}, {u"n", 5}, {u"r", 0.5}, {u"b", true}});
    }
    const std::string bytes = binaryOf(NSArray(elements));
    EXPECT_EQ(bytes.find("WebResourceMIMEType"), bytes.rfind("WebResourceMIMEType"));
    EXPECT_LT(bytes.size(), 1000 * (1 + 8 * 2 + 2 + 2) + 200u);
    EXPECT_EQ(read(bytes), Value(NSArray(elements)));
    // 0 and -0 are different numbers, and so are 1 and 1.0 and true.
    const Value mixed = read(binaryOf(NSArray{0.0, -0.0, 1, 1.0, true}));
    EXPECT_TRUE(std::signbit(mixed.array()[1].doubleValue()));
    EXPECT_FALSE(std::signbit(mixed.array()[0].doubleValue()));
    EXPECT_EQ(mixed.array()[2].kind(), Value::Kind::Integer);
    EXPECT_EQ(mixed.array()[3].kind(), Value::Kind::Real);
    EXPECT_EQ(mixed.array()[4].kind(), Value::Kind::Boolean);
}

TEST(BinaryPropertyListWriter, ChoosesReferenceAndOffsetSizes)
{
    for (const int count : {10, 255, 256, 300, 65534, 66000}) {
        std::vector<Value> elements;
        for (int i = 0; i < count; ++i)
            elements.emplace_back(i);
        const Value value = NSArray(elements);
        EXPECT_EQ(read(binaryOf(value)), value) << count;
    }
    for (const size_t length : {14u, 15u, 240u, 65'000u, 70'000u}) {
        const Value value = NSArray{NSString(std::u16string(length, u'a')), NSString(std::u16string(length, u'ä'))};
        EXPECT_EQ(read(binaryOf(value)), value) << length;
    }
}

TEST(BinaryPropertyListWriter, HandsDataToTheSinkWithoutACopy)
{
    constexpr size_t megabyte = 1024 * 1024;
    std::vector<Value> elements;
    for (int i = 0; i < 64; ++i)
        elements.emplace_back(NSData(std::vector<std::byte>(megabyte, static_cast<std::byte>(i))));
    const Value value = NSDictionary{{u"data", NSArray(elements)}};
    const NSArray held = value.dictionary()[u"data"].array();
    size_t whole = 0;
    uint64_t total = 0;
    size_t largestOther = 0;
    const ByteSink sink = [&](std::span<const std::byte> bytes) {
        total += bytes.size();
        if (whole < held.count() && bytes.data() == held[whole].data().bytes().data() && bytes.size() == megabyte)
            ++whole;
        else
            largestOther = std::max(largestOther, bytes.size());
        return true;
    };
    EXPECT_TRUE(BinaryPropertyListWriter::write(value, sink));
    EXPECT_EQ(whole, 64u);
    EXPECT_LE(largestOther, 64u * 1024);
    EXPECT_GT(total, 64 * megabyte);
    EXPECT_LT(total, 65 * megabyte);
}

TEST(BinaryPropertyListWriter, StopsWhenTheSinkRefuses)
{
    int calls = 0;
    NSError error;
    const Value value = NSArray{NSData(std::vector<std::byte>(100'000)), NSData(std::vector<std::byte>(100'000, std::byte{1}))};
    const ByteSink refuse = [&](std::span<const std::byte>) { return ++calls < 2; };
    EXPECT_FALSE(BinaryPropertyListWriter::write(value, refuse, &error));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(error.code(), NSPropertyListWriteStreamError);
    EXPECT_FALSE(BinaryPropertyListWriter::write(NSNull(), refuse, &error));
    EXPECT_EQ(error.code(), NSPropertyListWriteInvalidError);
    EXPECT_EQ(calls, 2);
}

TEST(BinaryPropertyListWriter, StreamsIntoAFile)
{
    const support::TemporaryFolder folder;
    const NSString path = NSString::stringWithUTF8String(folder.pathOf("a.webarchive"));
    const auto file = AtomicFile::open(path);
    ASSERT_TRUE(file);
    const Value value = NSDictionary{{u"WebResourceData", NSData(std::vector<std::byte>(500'000, std::byte{7}))}};
    EXPECT_TRUE(BinaryPropertyListWriter::write(value, *file));
    EXPECT_TRUE(file->commit());
    EXPECT_EQ(NSPropertyListSerialization::propertyListWithData(NSData::dataWithContentsOfFile(path)), value);
    support::runHelper({"/usr/bin/env", "python3", "-c",
        "import plistlib, sys; assert plistlib.load(open(sys.argv[1], 'rb')) == {'WebResourceData': b'\\x07' * 500000}",
        folder.pathOf("a.webarchive")});
}
