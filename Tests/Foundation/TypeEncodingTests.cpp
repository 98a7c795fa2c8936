#include "QVRFunctions.h"

#include "Platform/Foundation/NSGeometry.h"
#include "Support/Printing.h"
#include "Support/StandardErrorCapture.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

template <typename Held>
NSString text(const Held& value, const char* encoding)
{
    return QVRFunctions::stringFromPointer(&value, encoding);
}

}

TEST(TypeEncoding, CPrintsBooleansAndCharacters)
{
    EXPECT_EQ(text(int8_t(1), "c"), NSString(u"YES"));
    EXPECT_EQ(text(int8_t(0), "c"), NSString(u"NO"));
    EXPECT_EQ(text(int8_t(65), "c"), NSString(u"'A'"));
    EXPECT_EQ(text(int8_t(2), "c"), NSString(u"'\u0002'"));
}

TEST(TypeEncoding, PrintsIntegersOfEveryWidthInDecimal)
{
    EXPECT_EQ(text(int16_t(-2), "s"), NSString(u"-2"));
    EXPECT_EQ(text(int16_t(-32768), "s"), NSString(u"-32768"));
    EXPECT_EQ(text(uint16_t(65535), "S"), NSString(u"65535"));
    EXPECT_EQ(text(std::numeric_limits<int32_t>::min(), "i"), NSString(u"-2147483648"));
    EXPECT_EQ(text(uint32_t(4294967295), "I"), NSString(u"4294967295"));
    EXPECT_EQ(text(std::numeric_limits<int64_t>::min(), "q"), NSString(u"-9223372036854775808"));
    EXPECT_EQ(text(std::numeric_limits<uint64_t>::max(), "Q"), NSString(u"18446744073709551615"));
}

TEST(TypeEncoding, PrintsRealsWithSixDecimals)
{
    EXPECT_EQ(text(1.5f, "f"), NSString(u"1.500000"));
    EXPECT_EQ(text(-0.1, "d"), NSString(u"-0.100000"));
    EXPECT_EQ(text(2.25L, "D"), NSString(u"2.250000"));
}

TEST(TypeEncoding, PrintsLongDoublesInTheirOwnPrecision)
{
    EXPECT_EQ(text(9007199254740993.0L, "D"), NSString(u"9007199254740993.000000"));
}

TEST(TypeEncoding, PrintsTheNamesOfSelectorsAndClasses)
{
    EXPECT_EQ(text(Selector("load:from:"), ":"), NSString(u"load:from:"));
    EXPECT_EQ(text(Class("NSView"), "#"), NSString(u"NSView"));
}

TEST(TypeEncoding, PrintsPointersInHexadecimal)
{
    const void* pointer = reinterpret_cast<const void*>(uintptr_t(0x1234abcd));
    EXPECT_EQ(text(pointer, "^v"), NSString(u"0x1234abcd"));
}

TEST(TypeEncoding, PrintsCStringsWhetherConstOrNot)
{
    const char* pointer = "w\xC3\xB6rd";
    EXPECT_EQ(text(pointer, "*"), NSString(u"wörd"));
    EXPECT_EQ(text(pointer, "r*"), NSString(u"wörd"));
}

TEST(TypeEncoding, PrintsTheCharactersOfAnArrayInPlace)
{
    const char array[8] = "abc";
    EXPECT_EQ(QVRFunctions::stringFromPointer(array, "[8c]"), NSString(u"abc"));
    EXPECT_EQ(QVRFunctions::stringFromPointer(array, "[c]"), NSString(u"abc"));
}

TEST(TypeEncoding, ReadsNoFurtherThanTheArrayIsLong)
{
    const auto full = std::make_unique<char[]>(3);   // an exact-size buffer, so that a sanitizer sees a byte too many
    std::memcpy(full.get(), "abc", 3);
    EXPECT_EQ(QVRFunctions::stringFromPointer(full.get(), "[3c]"), NSString(u"abc"));
    EXPECT_EQ(QVRFunctions::stringFromPointer(full.get(), "[2c]"), NSString(u"ab"));
}

TEST(TypeEncoding, PrintsGeometryInBraces)
{
    EXPECT_EQ(text(NSRange{3, 4}, "{_NSRange=QQ}"), NSString(u"{3, 4}"));
    EXPECT_EQ(text(NSPoint{1, 2.5}, "{CGPoint=dd}"), NSString(u"{1, 2.5}"));
    EXPECT_EQ(text(NSSize{1, 2.5}, "{CGSize=dd}"), NSString(u"{1, 2.5}"));
    EXPECT_EQ(text(NSRect{{1, 2}, {3, 4}}, "{CGRect={CGPoint=dd}{CGSize=dd}}"), NSString(u"{{1, 2}, {3, 4}}"));
}

TEST(TypeEncoding, PrintsObjectsByTheirDescription)
{
    EXPECT_EQ(text(Value(u"text"), "@"), NSString(u"text"));
    EXPECT_EQ(text(Value(5), "@"), NSString(u"5"));
    EXPECT_EQ(text(Value(), "@"), NSString(u"(null)"));
}

TEST(TypeEncoding, PrintsStringsOfEitherStringType)
{
    EXPECT_EQ(text(NSString(u"text"), "^{__CFString=}"), NSString(u"text"));
    EXPECT_EQ(text(NSString(u"text"), "r^{__CFString=}"), NSString(u"text"));
    EXPECT_EQ(text(NSString(), "^{__CFString=}"), NSString(u"(null)"));
}

TEST(TypeEncoding, ReadsValuesThatAreNotAligned)
{
    std::vector<char> bytes(1 + sizeof(double));
    const double value = 1.25;
    std::memcpy(bytes.data() + 1, &value, sizeof value);
    EXPECT_EQ(QVRFunctions::stringFromPointer(bytes.data() + 1, "d"), NSString(u"1.250000"));
}

TEST(TypeEncoding, EndsInAnAssertionForEverythingElse)
{
    const char buffer[64] = {};
    const char* const encodings[] = {"C", "B", "l", "L", "v", "?", "", "cc", " c", "b3", "[x8c]", "[8x]", "[8c", "8c]", "[8C]",
        "[-1c]", "[ 8c]", "c]", "]", "^i", "^{x=}", "**", "(u=iq)", "{s=ii}", "{_NSRange=QQ", "{CGPoint=ff}", "@?", "r@"};
    for (const char* encoding : encodings) {
        support::StandardErrorCapture capture;
        try {
            static_cast<void>(QVRFunctions::stringFromPointer(buffer, encoding));
            ADD_FAILURE() << encoding;
        } catch (const QVRException& exception) {
            EXPECT_EQ(exception.name(), QVRAssertionFailedException);
            EXPECT_EQ(exception.qvrReason(), NSString::stringWithFormat(u"Unhandled type encoding: %s", encoding));
            EXPECT_TRUE(exception.reason().hasSuffix(u" +stringFromPointer:typeEncoding:"));
        }
        const std::string logged = capture.take();
        EXPECT_NE(logged.find(": Assertion Failed: Unhandled type encoding: " + std::string(encoding) + '\n'), std::string::npos)
            << logged;
    }
}

TEST(TypeEncoding, EndsInAnAssertionWithoutAnEncoding)
{
    support::StandardErrorCapture capture;
    const int value = 0;
    EXPECT_THROW(static_cast<void>(QVRFunctions::stringFromPointer(&value, nullptr)), QVRException);
}
