#include "Platform/Foundation/FormatArgument.h"

#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>

#include <clocale>
#include <limits>

namespace {

template <typename... Arguments>
std::string expand(const char16_t* format, const Arguments&... arguments)
{
    return NSString::stringWithFormat(format, arguments...).UTF8();
}

}

TEST(NSStringFormat, CopiesTextAndWritesPercentSigns)
{
    EXPECT_EQ(expand(u""), "");
    EXPECT_EQ(expand(u"plain"), "plain");
    EXPECT_EQ(expand(u"100%% \u00fc"), "100% \xc3\xbc");
    EXPECT_TRUE(NSString::stringWithFormat({}, 1).isAbsent());
}

TEST(NSStringFormat, WritesWhatItDoesNotKnowAsItStands)
{
    EXPECT_EQ(expand(u"50%"), "50%");
    EXPECT_EQ(expand(u"%y %d", 7), "%y 7");
    EXPECT_EQ(expand(u"%5.2"), "%5.2");
    EXPECT_EQ(expand(u"%l"), "%l");
}

TEST(NSStringFormat, CutsSignedIntegersToTheirSize)
{
    EXPECT_EQ(expand(u"%d", 42), "42");
    EXPECT_EQ(expand(u"%i", -42), "-42");
    EXPECT_EQ(expand(u"%D", 42), "42");
    EXPECT_EQ(expand(u"%d", int64_t(0x1'0000'0005)), "5");
    EXPECT_EQ(expand(u"%d", uint32_t(0xffffffff)), "-1");
    EXPECT_EQ(expand(u"%hd", 0x18000), "-32768");
    EXPECT_EQ(expand(u"%hi", -2), "-2");
    EXPECT_EQ(expand(u"%hhd", 0x1ff), "-1");
    EXPECT_EQ(expand(u"%ld", std::numeric_limits<int64_t>::min()), "-9223372036854775808");
    for (const char16_t* const format : {u"%ld", u"%lld", u"%qd", u"%jd", u"%zd", u"%td"})
        EXPECT_EQ(expand(format, int64_t(-0x1'0000'0005)), "-4294967301") << NSString(format).UTF8();
}

TEST(NSStringFormat, CutsUnsignedIntegersToTheirSize)
{
    EXPECT_EQ(expand(u"%u", -1), "4294967295");
    EXPECT_EQ(expand(u"%U", 7), "7");
    EXPECT_EQ(expand(u"%hu", 65535), "65535");
    EXPECT_EQ(expand(u"%hu", 65536), "0");
    EXPECT_EQ(expand(u"%hhu", -1), "255");
    EXPECT_EQ(expand(u"%lu", UINT64_MAX), "18446744073709551615");
    EXPECT_EQ(expand(u"%llu", -1), "18446744073709551615");
    EXPECT_EQ(expand(u"%o %O", 8, 9), "10 11");
    EXPECT_EQ(expand(u"%x %X %#x %#o", 255, 255, 255, 8), "ff FF 0xff 010");
    EXPECT_EQ(expand(u"%llx", int64_t(-1)), "ffffffffffffffff");
}

TEST(NSStringFormat, AppliesFlagsWidthAndPrecisionToIntegers)
{
    EXPECT_EQ(expand(u"[%5d][%-5d][%05d]", 42, 42, 42), "[   42][42   ][00042]");
    EXPECT_EQ(expand(u"[%+d][% d][%+d]", 42, 42, -42), "[+42][ 42][-42]");
    EXPECT_EQ(expand(u"[%.4d][%8.4d][%.0d]", 42, 42, 0), "[0042][    0042][]");
    EXPECT_EQ(expand(u"[%*d][%-*d][%*d]", 5, 42, 5, 42, -5, 42), "[   42][42   ][42   ]");
    EXPECT_EQ(expand(u"[%.*d][%.*d]", 4, 42, -4, 42), "[0042][42]");
    EXPECT_EQ(expand(u"%'d", 1234567), "1234567");
    EXPECT_EQ(expand(u"%0200d", 1).size(), 200u);
    EXPECT_EQ(expand(u"%99999999999999999999d", 1).size(), size_t(1) << 20);
}

TEST(NSStringFormat, WritesReals)
{
    EXPECT_EQ(expand(u"%f", 1.5), "1.500000");
    EXPECT_EQ(expand(u"%f", 1.5f), "1.500000");
    EXPECT_EQ(expand(u"%.2f %5.1f|%-7.2f|%+.0f", 3.14159, 2.25, 1.0, 2.0), "3.14   2.2|1.00   |+2");
    EXPECT_EQ(expand(u"%e %E", 12345.678, 12345.678), "1.234568e+04 1.234568E+04");
    EXPECT_EQ(expand(u"%g %G %g", 0.0001, 1e-10, 1e20), "0.0001 1E-10 1e+20");
    EXPECT_EQ(expand(u"%a", 1.0), "0x1p+0");
    EXPECT_EQ(expand(u"%f %F", std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()), "inf -INF");
    EXPECT_EQ(expand(u"%.17g", 0.1), "0.10000000000000001");
    EXPECT_EQ(expand(u"%f", 1e300).size(), 308u);
    EXPECT_EQ(expand(u"%f", 3), "3.000000");
    EXPECT_EQ(expand(u"%d", 3.99), "3");
}

TEST(NSStringFormat, WritesLongDoublesInFull)
{
    EXPECT_EQ(expand(u"%Lf", 1.5L), "1.500000");
    EXPECT_EQ(expand(u"%.20Lf", 0.1L), "0.10000000000000000000");
    EXPECT_EQ(expand(u"%.20f", 0.1L), "0.10000000000000000555");
    EXPECT_EQ(expand(u"%Lg", 1e4000L), "1e+4000");
}

TEST(NSStringFormat, WritesReadableNumbersInAnyLocale)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    // Which locales a machine has is not known; with one that writes commas this would write one.
    for (const char* const name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C.UTF-8"})
        std::setlocale(LC_ALL, name);
    EXPECT_EQ(expand(u"%.1f", 2.5), "2.5");
    EXPECT_EQ(NSStringFromDouble(2.5).UTF8(), "2.5");
    EXPECT_EQ(NSString(u"2.5").doubleValue(), 2.5);
    std::setlocale(LC_ALL, before.c_str());
}

TEST(NSStringFormat, DescribesObjects)
{
    EXPECT_EQ(expand(u"%@ and %@", NSString(u"a"), u"b"), "a and b");
    EXPECT_EQ(expand(u"%@", NSString()), "(null)");
    EXPECT_EQ(expand(u"%@", nullptr), "(null)");
    EXPECT_EQ(expand(u"%@", NSString(u"")), "");
    EXPECT_EQ(expand(u"%@", Value(7)), "7");
    EXPECT_EQ(expand(u"%@", Value()), "(null)");
    EXPECT_EQ(expand(u"%@", NSArray{1, u"x"}), "(\n    1,\n    x\n)");
    EXPECT_EQ(expand(u"%@", NSURL::URLWithString(u"http://h/")), "http://h/");
    EXPECT_EQ(expand(u"%@", 7), "7");
    EXPECT_EQ(expand(u"%@", UINT64_MAX), "18446744073709551615");
    EXPECT_EQ(expand(u"%@", 0.5), "0.5");
    EXPECT_EQ(expand(u"%@", "bytes"), "bytes");
    const NSArray array = {1};
    EXPECT_EQ(expand(u"%@ %@", &array, static_cast<const NSArray*>(nullptr)), "(\n    1\n) (null)");
}

TEST(NSStringFormat, NeverInterpretsAnArgument)
{
    EXPECT_EQ(expand(u"%@ %s", u"%d", "%@"), "%d %@");
}

TEST(NSStringFormat, WritesByteStringsAsUTF8)
{
    EXPECT_EQ(expand(u"%s", "gr\xc3\xbc\xc3\x9f"), "gr\xc3\xbc\xc3\x9f");
    EXPECT_EQ(expand(u"%s", "a\xff"), "a\xef\xbf\xbd");
    EXPECT_EQ(expand(u"%s", static_cast<const char*>(nullptr)), "(null)");
    EXPECT_EQ(expand(u"%s", NSString(u"text")), "text");
    EXPECT_EQ(expand(u"[%8s][%-8s]", "ab", "ab"), "[      ab][ab      ]");
    EXPECT_EQ(expand(u"[%.2s][%5.2s][%.0s][%.9s]", "abc", "abc", "abc", "abc"), "[ab][   ab][][abc]");
}

TEST(NSStringFormat, ReadsNoMoreBytesThanThePrecisionSays)
{
    const char unterminated[] = {'a', 'b', 'c'};
    EXPECT_EQ(expand(u"%.3s", static_cast<const char*>(unterminated)), "abc");
    // A character that the limit cuts is left out.
    EXPECT_EQ(expand(u"%.2s", "a\xc3\xbc"), "a");
    EXPECT_EQ(expand(u"%.3s", "a\xc3\xbc"), "a\xc3\xbc");
    EXPECT_EQ(expand(u"%.3s", "\xf0\x9f\x98\x80"), "");
    EXPECT_EQ(expand(u"%.4s", "\xf0\x9f\x98\x80"), "\xf0\x9f\x98\x80");
    EXPECT_EQ(expand(u"%.1s", "\xff\xff"), "\xef\xbf\xbd");
}

TEST(NSStringFormat, PadsAndCutsTextsByUnits)
{
    EXPECT_EQ(expand(u"[%5@][%-5@][%.2@]", u"abc", u"abc", u"abc"), "[  abc][abc  ][ab]");
    EXPECT_EQ(expand(u"[%.1@][%.2@]", u"\U0001f600", u"\U0001f600"), "[][\xf0\x9f\x98\x80]");
    EXPECT_EQ(expand(u"[%4S][%.1S]", u"ab", u"ab"), "[  ab][a]");
}

TEST(NSStringFormat, WritesCharacters)
{
    EXPECT_EQ(expand(u"%c%c", 'A', 98), "Ab");
    EXPECT_EQ(expand(u"[%3c][%-3c]", 'A', 'A'), "[  A][A  ]");
    EXPECT_EQ(NSString::stringWithFormat(u"%c%c%c%c", 0, 0, 0, 0), NSString(std::u16string(4, u'\0')));
    EXPECT_EQ(NSString::stringWithFormat(u"%c", -1), NSString(u"\u00ff"));
    EXPECT_EQ(NSString::stringWithFormat(u"%C", u'€'), NSString(u"€"));
    EXPECT_EQ(NSString::stringWithFormat(u"%C", 0xd83d), NSString(std::u16string(1, char16_t(0xd83d))));
    EXPECT_EQ(NSString::stringWithFormat(u"%lc", 0x1f600), NSString(u"\U0001f600"));
}

TEST(NSStringFormat, WritesAddresses)
{
    const void* const address = reinterpret_cast<const void*>(uintptr_t(0xbeef));
    EXPECT_EQ(expand(u"%p", address), "0xbeef");
    EXPECT_EQ(expand(u"[%8p][%-8p]", address, address), "[  0xbeef][0xbeef  ]");
    EXPECT_EQ(expand(u"%p", static_cast<const void*>(nullptr)), "0x0");
    EXPECT_EQ(expand(u"%p", nullptr), "0x0");
}

TEST(NSStringFormat, TakesArgumentsByTheirPlace)
{
    EXPECT_EQ(expand(u"%2$@ %1$@ %2$@", u"a", u"b"), "b a b");
    EXPECT_EQ(expand(u"%2$*1$d", 5, 42), "   42");
    EXPECT_EQ(expand(u"%2$.*1$f", 1, 2.25), "2.2");
    EXPECT_EQ(expand(u"%1$05d", 42), "00042");
    EXPECT_EQ(expand(u"[%3$@][%0$@]", u"a", u"b"), "[][]");
}

TEST(NSStringFormat, WritesNothingWithoutAnArgument)
{
    EXPECT_EQ(expand(u"[%@][%d][%s]"), "[][][]");
    EXPECT_EQ(expand(u"%d-%d", 1), "1-");
    EXPECT_EQ(expand(u"[%*d]"), "[]");
    EXPECT_EQ(expand(u"%d", 1, 2, 3), "1");
}

TEST(NSStringFormat, NeverWritesThroughAnArgument)
{
    int target = 5;
    EXPECT_EQ(expand(u"a%nb %d", static_cast<const void*>(&target), 3), "ab 3");
    EXPECT_EQ(target, 5);
}

TEST(NSStringFormat, KeepsUnpairedSurrogates)
{
    const std::u16string half(1, char16_t(0xd800));
    EXPECT_EQ(NSString::stringWithFormat(half + u"%@" + half, half), NSString(half + half + half));
}
