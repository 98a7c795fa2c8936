#include "Platform/Foundation/NSArchiver.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSUnarchiver.h"
#include "Support/Printing.h"
#include "Support/Subprocess.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace {

class UnknownObject : public NSObject { };

std::string archiveOf(const Value& value)
{
    return std::string(NSArchiver::archivedDataWithRootObject(value).characters());
}

Value unarchived(const std::string& bytes, NSError* error = nullptr)
{
    return NSUnarchiver::unarchiveObjectWithData(NSData::dataWithBytes(bytes), error);
}

// What a reader that shares no code with the archiver finds, as JSON with sorted keys.
std::string readIndependently(const Value& value)
{
    const support::TemporaryFolder folder;
    return support::runHelper({"/usr/bin/env", "python3", READ_TYPED_STREAM_SCRIPT, folder.write("archive", archiveOf(value))});
}

const std::string header = "\x04\x0bstreamtyped\x81\xe8\x03";
constexpr const char* jsonTail = R"(, "signature": "streamtyped", "system": 1000, "version": 4})";

std::string jsonOf(const std::string& root)
{
    return R"({"root": [["@", )" + root + "]]" + jsonTail;
}

std::string jsonString(const std::string& text)
{
    return R"({"class": ["NSString", 1, "NSObject", 0], "values": [["+", ")" + text + R"("]]})";
}

std::string jsonNumber(const std::string& type, const std::string& text)
{
    return R"({"class": ["NSNumber", 0, "NSValue", 0, "NSObject", 0], "values": [["*", ")" + type + R"("], [")" + type + R"(", )"
        + text + "]]}";
}

std::string jsonArray(const std::vector<std::string>& elements)
{
    std::string text = R"({"class": ["NSArray", 0, "NSObject", 0], "values": [["i", )" + std::to_string(elements.size()) + "]";
    for (const std::string& element : elements)
        text += R"(, ["@", )" + element + "]";
    return text + "]}";
}

Value nested(int depth)
{
    Value value = NSArray(std::vector<Value>());
    for (int i = 1; i < depth; ++i)
        value = NSArray(std::vector<Value>{value});
    return value;
}

}

TEST(NSArchiver, WritesAnErrorByteForByte)
{
    const std::string expected = header
        + "\x84\x01@"                                                            // type "@", string 0
          "\x84\x84\x84\x07NSError"                                              // object 0, its class 1, string 1
        + std::string(1, '\0') + "\x84\x84\x08NSObject" + std::string(1, '\0')   // class 2, string 2
        + "\x85"
          "\x84\x01q\x81\x15\xfc"                  // the code -1003, string 3
          "\x92\x84\x84\x84\x08NSString\x01\x94"   // object 3 of class 4, string 4; class 2 again
          "\x84\x01+\x10NSURLErrorDomain\x86"      // string 5
          "\x92\x85"                               // no user info
          "\x86";
    EXPECT_EQ(archiveOf(NSError(NSURLErrorDomain, -1003)), expected);
    EXPECT_EQ(archiveOf(NSError(NSURLErrorDomain, -1003, NSDictionary::dictionary())), expected);
}

TEST(NSArchiver, IsReadByAnIndependentReader)
{
    const NSURL url = NSURL::URLWithString(u"http://h/x");
    const NSError error(u"com.brackenlow.tarnwick.webtool", 1,
        {{NSURLErrorFailingURLStringErrorKey, NSString(u"http://h/ä")}, {NSURLErrorKey, url}, {u"n", 5}});
    const std::string entries = R"({"class": ["NSDictionary", 0, "NSObject", 0], "values": [["i", 3], ["@", )"
        + jsonString("NSErrorFailingURLStringKey") + R"(], ["@", )" + jsonString("http://h/\\u00e4") + R"(], ["@", )"
        + jsonString("NSURL") + R"(], ["@", {"class": ["NSURL", 0, "NSObject", 0], "values": [["c", 0], ["@", )"
        + jsonString("http://h/x") + R"(]]}], ["@", )" + jsonString("n") + R"(], ["@", )" + jsonNumber("q", "5") + "]]}";
    EXPECT_EQ(readIndependently(error),
        jsonOf(R"({"class": ["NSError", 0, "NSObject", 0], "values": [["q", 1], ["@", )"
            + jsonString("com.brackenlow.tarnwick.webtool") + R"(], ["@", )" + entries + "]]}"));
}

TEST(NSArchiver, WritesNumbersInTheirShortestForm)
{
    const struct {
        int64_t number;
        std::string bytes;
    } rows[] = {
        {0, std::string(1, '\0')},
        {127, "\x7f"},
        {-110, "\x92"},
        {-1, "\xff"},
        {-111, "\x81\x91\xff"},
        {-128, "\x81\x80\xff"},
        {128, std::string("\x81\x80\0", 3)},
        {32767, "\x81\xff\x7f"},
        {-32768, std::string("\x81\0\x80", 3)},
        {32768, std::string("\x82\0\x80\0\0", 5)},
        {-32769, "\x82\xff\x7f\xff\xff"},
        {2147483647, "\x82\xff\xff\xff\x7f"},
        {2147483648, std::string("\x87\0\0\0\x80\0\0\0\0", 9)},
        {std::numeric_limits<int64_t>::min(), std::string("\x87\0\0\0\0\0\0\0\x80", 9)},
    };
    NSArray numbers;
    std::vector<std::string> expected;
    for (const auto& row : rows) {
        const std::string archive = archiveOf(NSError(u"D", row.number));
        EXPECT_NE(archive.find("\x84\x01q" + row.bytes + "\x92\x84"), std::string::npos) << row.number;
        EXPECT_EQ(unarchived(archive).error().code(), row.number);
        numbers.addObject(row.number);
        expected.push_back(jsonNumber("q", std::to_string(row.number)));
    }
    EXPECT_EQ(readIndependently(numbers), jsonOf(jsonArray(expected)));
}

TEST(NSArchiver, WritesEveryKindOfValue)
{
    const struct {
        Value value;
        std::string expected;
    } rows[] = {
        {NSNull(), R"({"class": ["NSNull", 0, "NSObject", 0], "values": []})"},
        {true, jsonNumber("c", "1")},
        {1.5, jsonNumber("d", "1.5")},
        {-3.0, jsonNumber("d", "-3.0")},
        {-0.0, jsonNumber("d", "-0.0")},
        {1e300, jsonNumber("d", "1e+300")},
        {NSString(u""), jsonString("")},
        {NSString(std::u16string(300, u'a')), jsonString(std::string(300, 'a'))},
        {NSString(std::u16string(40'000, u'a')), jsonString(std::string(40'000, 'a'))},
        {NSString(std::u16string{u'a', 0xd800}), jsonString("a\\ufffd")},
        {NSData::dataWithBytes("abc"), R"({"class": ["NSData", 0, "NSObject", 0], "values": [["i", 3], ["[3c]", "616263"]]})"},
        {NSDate::dateWithTimeIntervalSinceReferenceDate(0.25),
            R"({"class": ["NSDate", 0, "NSObject", 0], "values": [["d", 0.25]]})"},
        {NSArray{1, 2}, jsonArray({jsonNumber("q", "1"), jsonNumber("q", "2")})},
    };
    NSArray values;
    std::vector<std::string> expected;
    for (const auto& row : rows) {
        values.addObject(row.value);
        expected.push_back(row.expected);
    }
    EXPECT_EQ(readIndependently(values), jsonOf(jsonArray(expected)));
    EXPECT_EQ(readIndependently(Value()), jsonOf("null"));
}

// More strings and objects than one byte can number.
TEST(NSArchiver, NumbersManyStringsAndObjects)
{
    std::vector<Value> elements;
    for (size_t i = 0; i < 1000; ++i)
        elements.emplace_back(NSData(std::vector<std::byte>(i, std::byte{1})));
    for (size_t i = 0; i < 33'000; ++i)
        elements.emplace_back(NSString(u"x"));
    elements.emplace_back(NSData(std::vector<std::byte>(999, std::byte{1})));
    elements.emplace_back(5);
    elements.emplace_back(6);
    const Value value = NSArray(elements);
    EXPECT_EQ(unarchived(archiveOf(value)), value);
    const std::string json = readIndependently(value);
    EXPECT_TRUE(json.ends_with(jsonNumber("q", "6") + "]]}]]" + jsonTail)) << json.substr(json.size() - 200);
}

TEST(NSArchiver, ThrowsForWhatCannotBeArchived)
{
    const Value values[] = {Value(Class("NSString")), Value(std::make_shared<UnknownObject>()),
        NSArray{NSString(u"a"), Value(std::make_shared<UnknownObject>())}, NSDictionary{{u"k", Value(Class("NSString"))}},
        NSError(u"D", 1, {{u"k", Value(std::make_shared<UnknownObject>())}}), nested(NSArchiver::deepestNesting + 1)};
    for (const Value& value : values) {
        try {
            static_cast<void>(NSArchiver::archivedDataWithRootObject(value));
            ADD_FAILURE() << "nothing was thrown";
        } catch (const NSException& exception) {
            EXPECT_EQ(exception.name(), NSInvalidArgumentException);
            EXPECT_GT(exception.reason().length(), 0u);
        }
    }
    EXPECT_EQ(unarchived(archiveOf(nested(NSArchiver::deepestNesting))), nested(NSArchiver::deepestNesting));
}

TEST(NSUnarchiver, GivesBackWhatWasArchived)
{
    const NSError inner(NSPOSIXErrorDomain, 2);
    const Value values[] = {true, false, 0, -1, std::numeric_limits<int64_t>::min(), 0.1, 1e18, NSString(u"ä😀\0x"), NSNull(),
        NSData::dataWithBytes(""), NSDate::dateWithTimeIntervalSinceReferenceDate(-12345.5), NSURL::URLWithString(u"x/%20?a#b"),
        NSDictionary::dictionary(), NSArray(std::vector<Value>()),
        NSError(NSURLErrorDomain, -1001,
            {{NSLocalizedDescriptionKey, NSString(u"d")}, {NSUnderlyingErrorKey, inner},
                {u"list", NSArray{1, 2.5, true, NSNull()}}})};
    for (const Value& value : values) {
        NSError error;
        const Value found = unarchived(archiveOf(value), &error);
        EXPECT_EQ(found, value);
        EXPECT_EQ(found.kind(), value.kind());
        EXPECT_TRUE(error.isAbsent());
    }
    NSError error;
    EXPECT_TRUE(unarchived(archiveOf(Value()), &error).isAbsent());
    EXPECT_TRUE(error.isAbsent());
}

// A dictionary with mutable classes, typed "i" numbers and shared objects, as other programs write them.
TEST(NSUnarchiver, ReadsOtherWritersArchives)
{
    const std::string zero(1, '\0');
    const std::string object = "\x84\x84\x08NSObject" + zero + "\x85";
    const std::string archive = header + "\x84\x01@\x84\x84\x84\x0eNSMutableArray" + zero + "\x84\x84\x07NSArray" + zero + object
        + "\x84\x01i\x03"                                                                      // objects 0 to 3
        + "\x92\x84\x84\x84\x0fNSMutableString\x01\x84\x84\x08NSString\x01\x95\x84\x01+\x03"   // objects 4 to 6
        + "abc\x86" + "\x92\x96"                                                               // object 4 again
        + "\x92\x84\x84\x84\x08NSNumber" + zero + "\x84\x84\x07NSValue" + zero + "\x95\x84\x01*\x84\x96\x96\x2a\x86\x86";
    NSError error;
    EXPECT_EQ(unarchived(archive, &error), Value(NSArray{NSString(u"abc"), NSString(u"abc"), 42})) << error.description().UTF8();
}

TEST(NSUnarchiver, RefusesWhatIsNoArchive)
{
    const std::string string =
        header + "\x84\x01@\x84\x84\x84\x08NSString\x01\x84\x84\x08NSObject" + std::string(1, '\0') + "\x85";
    const std::string rows[] = {"", "garbage", "\x04\x0btypedstream\x81\xe8\x03", "\x03\x0bstreamtyped\x81\xe8\x03", header,
        header + "\x84\x01@",
        header + "\x84\x01@\x92",       // refers to itself
        header + "\x84\x01@\x00",       // refers to what is not there
        header + "\x92\x85",            // a type that is not there
        header + "\x84\x01@\x85\x85",   // more than one archive
        header + "\x84\x01i\x05",       // no object
        header + "\x84\x01?\x05",       // an unknown type
        header + "\x84\x04[c]x",        // an array without a length
        string
            + "\x84\x01+\x05"
              "abc\x86",                                                               // text that is too short
        string + "\x84\x01+\x82\xff\xff\xff\xff",                                      // text that is far too long
        string + "\x84\x01+\x01\xff\x86",                                              // no UTF-8
        string + "\x86",                                                               // a string without text
        string + "\x84\x01i\x05\x86",                                                  // a string with a number
        string + "\x84\x01+\x01x",                                                     // no end
        string + "\x84\x01+\x01x\x86\x86",                                             // too many ends
        header + "\x84\x01@\x84\x84\x84\x03Who" + std::string(1, '\0') + "\x85\x86",   // an unknown class
        header + "\x84\x01@\x84\x85\x86",                                              // no class
        header + "\x84\x01@\x84\x84\x84\x07NSArray" + std::string(1, '\0')
            + "\x85\x84\x01i\x82\xff\xff\xff\x7f\x86",                                                          // a false count
        header + "\x84\x01@\x84\x84\x84\x07NSArray" + std::string(1, '\0') + "\x85\x84\x01i\x01\x92\x92\x86",   // holds itself
        header + "\x84\x01@\x84\x84\x84\x07NSArray" + std::string(1, '\0') + "\x85\x84\x01i\x01\x92\x93\x86",   // holds a class
        header + "\x84\x01@\x84\x84\x84\x05NSURL" + std::string(1, '\0')
            + "\x85\x84\x01"
              "c\x01\x92\x85\x86"};   // relative
    for (const std::string& row : rows) {
        NSError error;
        EXPECT_TRUE(unarchived(row, &error).isAbsent());
        EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
        EXPECT_EQ(error.code(), NSCoderReadCorruptError);
        EXPECT_TRUE(error.userInfo()[NSDebugDescriptionErrorKey].is(Value::Kind::String));
    }
    EXPECT_TRUE(NSUnarchiver::unarchiveObjectWithData(NSData()).isAbsent());
}

TEST(NSUnarchiver, SurvivesEverySingleDamage)
{
    const std::string bytes = archiveOf(NSError(u"D", -1003,
        {{u"s", NSString(u"ä")}, {u"u", NSURL::URLWithString(u"http://h/")},
            {u"l", NSArray{1, 2.5, true, NSData::dataWithBytes("xyz")}}}));
    for (size_t i = 0; i < bytes.size(); ++i) {
        for (int bit = 0; bit < 8; ++bit) {
            std::string damaged = bytes;
            damaged[i] = static_cast<char>(damaged[i] ^ (1 << bit));
            NSError error;
            const Value found = unarchived(damaged, &error);
            // Absent without an error is only an absent root object.
            EXPECT_TRUE(found.isAbsent() || error.isAbsent());
        }
        NSError error;
        EXPECT_TRUE(unarchived(bytes.substr(0, i), &error).isAbsent());
        EXPECT_FALSE(error.isAbsent());
    }
}

TEST(NSUnarchiver, BoundsDepthAndUnfolding)
{
    const std::string zero(1, '\0');
    const std::string firstArray = header + "\x84\x01@\x84\x84\x84\x07NSArray" + zero + "\x85\x84\x01i\x01";
    // Arrays inside each other: a type, a new object of the known class, a count of one.
    std::string deep = firstArray;
    for (int i = 0; i < 100'000; ++i)
        deep += "\x92\x84\x93\x94\x01";
    NSError error;
    EXPECT_TRUE(unarchived(deep, &error).isAbsent());
    EXPECT_FALSE(error.isAbsent());
    // Each array holds a new one and the same one again, so that the values double with every level.
    std::string wide = header + "\x84\x01@\x84\x84\x84\x07NSArray" + zero + "\x85\x84\x01i\x02";
    constexpr int levels = 40;
    for (int i = 1; i <= levels; ++i)
        wide += i == levels ? "\x92\x84\x93\x94" + zero : std::string("\x92\x84\x93\x94\x02");
    wide += "\x86";
    for (int i = levels; i > 0; --i)
        wide += std::string("\x92") + static_cast<char>(-110 + 1 + i) + "\x86";
    error = NSError();
    EXPECT_TRUE(unarchived(wide, &error).isAbsent());
    EXPECT_FALSE(error.isAbsent());
}
