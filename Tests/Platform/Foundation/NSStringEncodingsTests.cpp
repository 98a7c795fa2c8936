#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSString.h"
#include "Support/Printing.h"
#include "Support/RandomText.h"

#include <gtest/gtest.h>

using namespace std::string_view_literals;

static void PrintTo(const NSData& data, std::ostream* out)
{
    PrintTo(data.description(), out);
}

namespace {

const std::u16string half(1, char16_t(0xd83d));

NSStringEncoding encodingNamed(const char16_t* name)
{
    return NSStringEncodingFromIANAName(name).value_or(0);
}

NSData data(std::string_view bytes)
{
    return NSData::dataWithBytes(bytes);
}

}

TEST(NSStringEncoding, ConvertsBothWays)
{
    const struct {
        NSStringEncoding encoding;
        NSString text;
        std::string_view bytes;
    } rows[] = {
        {NSASCIIStringEncoding, u"", ""sv},
        {NSASCIIStringEncoding, u"abc~\u007f", "abc~\x7f"sv},
        {NSASCIIStringEncoding, std::u16string(u"a\0b", 3), "a\0b"sv},
        {NSUTF8StringEncoding, u"", ""sv},
        {NSUTF8StringEncoding, u"aé€\U0001f600", "a\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80"sv},
        {NSISOLatin1StringEncoding, u"a\u0080é\u00ff", "a\x80\xe9\xff"sv},
        {NSWindowsCP1252StringEncoding, u"a€“é", "a\x80\x93\xe9"sv},
        {NSMacOSRomanStringEncoding, u"Åß€\uf8ff", "\x81\xa7\xdb\xf0"sv},
        {NSMacOSRomanStringEncoding, u"TEXT", "TEXT"sv},
        {NSUTF16BigEndianStringEncoding, u"a\U0001f600", "\0a\xd8\x3d\xde\0"sv},
        {NSUTF16LittleEndianStringEncoding, u"a\U0001f600", "a\0\x3d\xd8\0\xde"sv},
        {NSUTF16LittleEndianStringEncoding, u"\ufeffa",
            "\xff\xfe"
            "a\0"sv},
        {NSUTF16LittleEndianStringEncoding, half, "\x3d\xd8"sv},
        {NSUTF16StringEncoding, u"a€",
            "\xff\xfe"
            "a\0\xac\x20"sv},
        {NSUTF16StringEncoding, u"", "\xff\xfe"sv},
        {NSUTF16StringEncoding, half, "\xff\xfe\x3d\xd8"sv},
        {NSUTF32BigEndianStringEncoding, u"a\U0001f600", "\0\0\0a\0\x01\xf6\0"sv},
        {NSUTF32LittleEndianStringEncoding, u"a\U0001f600", "a\0\0\0\0\xf6\x01\0"sv},
        {NSUTF32StringEncoding, u"a", "\xff\xfe\0\0a\0\0\0"sv},
        {NSNonLossyASCIIStringEncoding, u"a\\bé\u0080€\U0001f600\n", "a\\\\b\\351\\200\\u20ac\\ud83d\\ude00\n"sv},
        {NSNonLossyASCIIStringEncoding, half, "\\ud83d"sv},
    };
    for (const auto& [encoding, text, bytes] : rows) {
        EXPECT_EQ(text.dataUsingEncoding(encoding), data(bytes)) << encoding << " " << text.UTF8();
        EXPECT_EQ(text.dataUsingEncoding(encoding, true), data(bytes)) << encoding << " " << text.UTF8();
        EXPECT_EQ(NSString::stringWithData(data(bytes), encoding), text) << encoding << " " << text.UTF8();
    }
}

TEST(NSStringEncoding, RefusesInvalidBytes)
{
    const struct {
        NSStringEncoding encoding;
        std::string_view bytes;
    } rows[] = {
        {NSASCIIStringEncoding, "a\x80"},
        {NSUTF8StringEncoding, "a\xff"},
        {NSUTF8StringEncoding, "\xed\xa0\x80"},
        {NSUTF8StringEncoding, "\xe2\x82"},
        {NSUTF16StringEncoding, "abc"},
        {NSUTF16BigEndianStringEncoding, "a"},
        {NSUTF32LittleEndianStringEncoding, "abc"},
        {NSUTF32LittleEndianStringEncoding, "\0\xd8\0\0"sv},
        {NSUTF32LittleEndianStringEncoding, "\xff\xdf\0\0"sv},
        {NSUTF32LittleEndianStringEncoding, "\0\0\x11\0"sv},
        {NSUTF32BigEndianStringEncoding, "\xff\xff\xff\xff"sv},
        {NSNonLossyASCIIStringEncoding, "a\x80"},
        {NSNonLossyASCIIStringEncoding, "\\"},
        {NSNonLossyASCIIStringEncoding, "\\12"},
        {NSNonLossyASCIIStringEncoding, "\\189"},
        {NSNonLossyASCIIStringEncoding, "\\777"},
        {NSNonLossyASCIIStringEncoding, "\\u12"},
        {NSNonLossyASCIIStringEncoding, "\\u12x4"},
        {encodingNamed(u"Shift_JIS"), "\x81"},
        {encodingNamed(u"EUC-JP"), "\xa4"},
        {encodingNamed(u"GB18030"), "\x81\x20"},
    };
    for (const auto& [encoding, bytes] : rows)
        EXPECT_TRUE(NSString::stringWithData(data(bytes), encoding).isAbsent())
            << encoding << " " << data(bytes).description().UTF8();
    EXPECT_TRUE(NSString::stringWithData({}, NSUTF8StringEncoding).isAbsent());
    EXPECT_TRUE(NSString::stringWithData({}, NSMacOSRomanStringEncoding).isAbsent());
}

TEST(NSStringEncoding, ReadsByteOrderMarks)
{
    const struct {
        NSStringEncoding encoding;
        std::string_view bytes;
        NSString text;
    } rows[] = {
        {NSUTF16StringEncoding, "\xfe\xff\0a"sv, u"a"},
        {NSUTF16StringEncoding,
            "\xff\xfe"
            "a\0"sv,
            u"a"},
        {NSUTF16StringEncoding, "\0a\0b"sv, u"ab"},
        {NSUTF16StringEncoding, ""sv, u""},
        {NSUTF16StringEncoding, "\xff\xfe\xff\xfe"sv, u"\ufeff"},
        {NSUTF16BigEndianStringEncoding, "\xfe\xff\0a"sv, u"\ufeffa"},
        {NSUTF32StringEncoding, "\0\0\xfe\xff\0\0\0a"sv, u"a"},
        {NSUTF32StringEncoding, "\xff\xfe\0\0a\0\0\0"sv, u"a"},
        {NSUTF32StringEncoding, "\0\0\0a"sv, u"a"},
        {NSUTF8StringEncoding,
            "\xef\xbb\xbf"
            "a"sv,
            u"a"},
        {NSUTF8StringEncoding, "a\xef\xbb\xbf"sv, u"a\ufeff"},
    };
    for (const auto& [encoding, bytes, text] : rows)
        EXPECT_EQ(NSString::stringWithData(data(bytes), encoding), text) << encoding << " " << data(bytes).description().UTF8();
}

TEST(NSStringEncoding, LosesNothingUnlessAllowedTo)
{
    const struct {
        NSStringEncoding encoding;
        NSString text;
        std::string_view lossy;
    } rows[] = {
        {NSASCIIStringEncoding, u"Résumé", "Resume"},
        {NSASCIIStringEncoding, u"Re\u0301sume\u0301", "Resume"},
        {NSASCIIStringEncoding, u"ﬁn €5", "fin ?5"},
        {NSASCIIStringEncoding, u"日本", "??"},
        {NSASCIIStringEncoding, u"\U0001f600x", "?x"},
        {NSASCIIStringEncoding, u"a" + half + u"b", "a?b"},
        {NSASCIIStringEncoding, u"a\u200bb", "a?b"},
        {NSISOLatin1StringEncoding, u"é\u0100",
            "\xe9"
            "A"},
        {NSISOLatin1StringEncoding, u"\u20ac", "?"},
        {NSWindowsCP1252StringEncoding, u"\u0100€", "A\x80"},
        {NSMacOSRomanStringEncoding, u"日ß", "?\xa7"},
        {NSUTF8StringEncoding, u"a" + half, "a\xef\xbf\xbd"},
        {NSUTF32BigEndianStringEncoding, half, "\0\0\xff\xfd"sv},
    };
    for (const auto& [encoding, text, lossy] : rows) {
        EXPECT_TRUE(text.dataUsingEncoding(encoding).isAbsent()) << encoding << " " << text.UTF8();
        EXPECT_EQ(text.dataUsingEncoding(encoding, true), data(lossy)) << encoding << " " << text.UTF8();
    }
}

TEST(NSStringEncoding, IsFoundByItsName)
{
    const struct {
        const char16_t* name;
        NSStringEncoding encoding;
    } rows[] = {
        {u"utf-8", NSUTF8StringEncoding},
        {u"UTF8", NSUTF8StringEncoding},
        {u"us-ascii", NSASCIIStringEncoding},
        {u"ANSI_X3.4-1968", NSASCIIStringEncoding},
        {u"iso-8859-1", NSISOLatin1StringEncoding},
        {u"ISO_8859-1:1987", NSISOLatin1StringEncoding},
        {u"latin1", NSISOLatin1StringEncoding},
        {u"windows-1252", NSWindowsCP1252StringEncoding},
        {u"cp1252", NSWindowsCP1252StringEncoding},
        {u"macintosh", NSMacOSRomanStringEncoding},
        {u"utf-16", NSUTF16StringEncoding},
        {u"utf-16be", NSUTF16BigEndianStringEncoding},
        {u"utf-16le", NSUTF16LittleEndianStringEncoding},
        {u"utf-32", NSUTF32StringEncoding},
        {u"utf-32be", NSUTF32BigEndianStringEncoding},
        {u"utf-32le", NSUTF32LittleEndianStringEncoding},
        {u"euc-jp", 3},
        {u"shift_jis", 8},
        {u"iso-8859-2", 9},
        {u"windows-1251", 11},
        {u"windows-1253", 13},
        {u"windows-1254", 14},
        {u"windows-1250", 15},
        {u"iso-2022-jp", 21},
        {u"iso-8859-15", 0x8000020f},
        {u"gbk", 0x80000631},
        {u"gb18030", 0x80000632},
        {u"euc-kr", 0x80000940},
        {u"koi8-r", 0x80000a02},
        {u"big5", 0x80000a03},
    };
    for (const auto& [name, encoding] : rows)
        EXPECT_EQ(NSStringEncodingFromIANAName(name), encoding) << NSString(name).UTF8();
}

TEST(NSStringEncoding, IsNotFoundByAnUnknownName)
{
    for (const NSString& name : {NSString(), NSString(u""), NSString(u"no-such-charset"), NSString(u"utf-8é"), NSString(half),
             NSString(std::u16string(u"utf-8\0x", 7)), NSString(std::u16string(5000, u'x'))})
        EXPECT_EQ(NSStringEncodingFromIANAName(name), std::nullopt) << name.UTF8();
}

TEST(NSStringEncoding, ServesEveryNameThatItFinds)
{
    const struct {
        const char16_t* name;
        NSString text;
        std::string_view bytes;
    } rows[] = {
        {u"shift_jis", u"日本", "\x93\xfa\x96\x7b"},
        {u"euc-jp", u"日本", "\xc6\xfc\xcb\xdc"},
        {u"iso-2022-jp", u"a日b", "a\x1b$BF|\x1b(Bb"},
        {u"gb18030", u"日\U0001f600", "\xc8\xd5\x94\x39\xfc\x36"},
        {u"gbk", u"日", "\xc8\xd5"},
        {u"big5", u"日", "\xa4\xe9"},
        {u"euc-kr", u"한", "\xc7\xd1"},
        {u"koi8-r", u"Да", "\xe4\xc1"},
        {u"windows-1251", u"Да", "\xc4\xe0"},
        {u"iso-8859-15", u"€", "\xa4"},
        {u"utf-7", u"é", "+AOk-"},
        // One that has none of the platform's numbers.
        {u"x-mac-cyrillic", u"Да", "\x84\xe0"},
    };
    for (const auto& [name, text, bytes] : rows) {
        const auto encoding = NSStringEncodingFromIANAName(name);
        ASSERT_TRUE(encoding) << NSString(name).UTF8();
        EXPECT_EQ(text.dataUsingEncoding(*encoding), data(bytes)) << NSString(name).UTF8();
        EXPECT_EQ(NSString::stringWithData(data(bytes), *encoding), text) << NSString(name).UTF8();
    }
}

TEST(NSStringEncoding, FailsForUnknownNumbers)
{
    for (const NSStringEncoding encoding : {NSStringEncoding(0), NSStringEncoding(2), NSStringEncoding(99),
             NSStringEncoding(0x80000999), NSStringEncoding(0xc0ffffff), ~NSStringEncoding(0)}) {
        EXPECT_TRUE(NSString(u"a").dataUsingEncoding(encoding, true).isAbsent()) << encoding;
        EXPECT_TRUE(NSString::stringWithData(data("a"), encoding).isAbsent()) << encoding;
    }
}

TEST(NSStringEncoding, ReadsBackWhatItWroteOfRandomTexts)
{
    const uint64_t seed = support::randomSeed();
    SCOPED_TRACE("TW_SEED=" + std::to_string(seed));
    support::RandomText random(seed);
    const NSStringEncoding encodings[] = {NSASCIIStringEncoding, NSUTF8StringEncoding, NSISOLatin1StringEncoding,
        NSNonLossyASCIIStringEncoding, NSUTF16StringEncoding, NSUTF16BigEndianStringEncoding, NSUTF16LittleEndianStringEncoding,
        NSUTF32StringEncoding, NSUTF32BigEndianStringEncoding, NSUTF32LittleEndianStringEncoding, NSWindowsCP1252StringEncoding,
        NSMacOSRomanStringEncoding, encodingNamed(u"gb18030")};
    for (int round = 0; round < 3000; ++round) {
        // A byte-order mark at the start of UTF-8 does not come back.
        const NSString text = NSString(u"x").stringByAppendingString(random.text(20));
        for (const NSStringEncoding encoding : encodings) {
            const NSData written = text.dataUsingEncoding(encoding);
            if (written) {
                ASSERT_EQ(NSString::stringWithData(written, encoding), text) << encoding;
            }
            const NSData lossy = text.dataUsingEncoding(encoding, true);
            ASSERT_FALSE(NSString::stringWithData(lossy, encoding).isAbsent()) << encoding;
            (void)NSString::stringWithData(NSData::dataWithBytes(random.bytes(20)), encoding);
        }
    }
}
