#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/StringFolding.h"

#include "Support/EnvironmentVariable.h"
#include "Support/Printing.h"
#include "Support/RandomText.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

struct Row {
    const char16_t* a;
    const char16_t* b;
    uint64_t options;
    NSComparisonResult result;
};

NSComparisonResult opposite(NSComparisonResult result)
{
    return static_cast<NSComparisonResult>(-result);
}

}

TEST(NSStringCompare, FollowsItsOptions)
{
    const uint64_t caseless = NSCaseInsensitiveSearch;
    const Row rows[] = {
        {u"", u"", 0, NSOrderedSame},
        {u"", u"a", 0, NSOrderedAscending},
        {u"a", u"a", 0, NSOrderedSame},
        {u"a", u"ab", 0, NSOrderedAscending},
        {u"B", u"a", 0, NSOrderedAscending},
        {u"B", u"a", caseless, NSOrderedDescending},
        {u"ABC", u"abc", caseless, NSOrderedSame},
        {u"ABC", u"abc", caseless | NSLiteralSearch, NSOrderedSame},
        {u"straße", u"STRASSE", caseless, NSOrderedSame},
        {u"\u00e9", u"e\u0301", 0, NSOrderedSame},
        {u"\u00e9", u"e\u0301", NSLiteralSearch, NSOrderedDescending},
        {u"s\u0323\u0307", u"s\u0307\u0323", 0, NSOrderedSame},
        {u"\u00c9", u"e\u0301", caseless, NSOrderedSame},
        {u"e", u"e\u0301", 0, NSOrderedAscending},
        {u"e", u"e\u0301", NSDiacriticInsensitiveSearch, NSOrderedSame},
        {u"e", u"E\u0301", NSDiacriticInsensitiveSearch, NSOrderedDescending},
        {u"e", u"E\u0301", NSDiacriticInsensitiveSearch | caseless, NSOrderedSame},
        {u"Ａ", u"A", NSWidthInsensitiveSearch, NSOrderedSame},
        {u"Ａ", u"a", NSWidthInsensitiveSearch | caseless, NSOrderedSame},
        {u"Ａ", u"A", 0, NSOrderedDescending},
        {u"\uffff", u"\U00010000", 0, NSOrderedAscending},
        {u"\uffff", u"\U00010000", NSLiteralSearch, NSOrderedDescending},
        {u"file9", u"file10", 0, NSOrderedDescending},
        {u"file9", u"file10", NSNumericSearch, NSOrderedAscending},
        {u"file9", u"file10", NSNumericSearch | NSLiteralSearch, NSOrderedAscending},
        {u"file010", u"file10", NSNumericSearch, NSOrderedSame},
        {u"file10a", u"file10b", NSNumericSearch, NSOrderedAscending},
        {u"1.10", u"1.9", NSNumericSearch, NSOrderedDescending},
        {u"файл１９", u"ФАЙЛ１０", caseless | NSNumericSearch | NSWidthInsensitiveSearch, NSOrderedDescending},
        {u"файл９", u"файл10", NSNumericSearch | NSWidthInsensitiveSearch, NSOrderedAscending},
        {u"файл１９", u"файл１０９", NSNumericSearch | NSWidthInsensitiveSearch, NSOrderedAscending},
        {u"ПРИВЕТ", u"привет", caseless, NSOrderedSame},
        {u"ПРИВЕЙ", u"приве\u0438\u0306", caseless, NSOrderedSame},
        {u"ПРИВЕИ\u0306", u"привей", caseless, NSOrderedSame},
        {u"ПРИВЕ", u"приве\u0306", caseless, NSOrderedAscending},
        {u"привет", u"приветы", caseless, NSOrderedAscending},
        {u"한국어", u"한국\u110b\u1165", 0, NSOrderedSame},
        {u"한국아", u"한국아\u11a8", 0, NSOrderedAscending},
        {u"0", u"00", NSNumericSearch, NSOrderedSame},
        {u"99999999999999999999999999998", u"99999999999999999999999999999", NSNumericSearch, NSOrderedAscending},
        {u"100000000000000000000000000000", u"99999999999999999999999999999", NSNumericSearch, NSOrderedDescending},
        {u"12a", u"12", NSNumericSearch, NSOrderedDescending},
        {u"1", u"a", NSNumericSearch, NSOrderedAscending},
    };
    for (const auto& [a, b, options, result] : rows) {
        EXPECT_EQ(NSString(a).compare(b, options), result)
            << NSString(a).UTF8() << " | " << NSString(b).UTF8() << " | " << options;
        EXPECT_EQ(NSString(b).compare(a, options), opposite(result)) << NSString(b).UTF8() << " | " << NSString(a).UTF8();
    }
    EXPECT_EQ(NSString(u"").compare({}), NSOrderedDescending);
    EXPECT_EQ(NSString(u"aB").caseInsensitiveCompare(u"Ab"), NSOrderedSame);
    EXPECT_EQ(NSString(u"a").caseInsensitiveCompare(u"B"), NSOrderedAscending);
}

TEST(NSStringCompare, IsAnOrderOnRandomTexts)
{
    const uint64_t seed = support::randomSeed();
    SCOPED_TRACE("TW_SEED=" + std::to_string(seed));
    support::RandomText random(seed);
    for (int round = 0; round < 3000; ++round) {
        const NSString a = random.text(4);
        const NSString b = random.text(4);
        const NSString c = random.text(4);
        for (const uint64_t options : {0x0, 0x1, 0x2, 0x3, 0x40, 0x80, 0x100, 0x1c1}) {
            ASSERT_EQ(a.compare(b, options), opposite(b.compare(a, options)));
            ASSERT_EQ(a.compare(a.substringToIndex(a.length()), options), NSOrderedSame);
            if (a.compare(b, options) <= 0 && b.compare(c, options) <= 0) {
                ASSERT_LE(a.compare(c, options), 0) << a.UTF8() << "|" << b.UTF8() << "|" << c.UTF8() << "|" << options;
            }
        }
        ASSERT_EQ(a.compare(a.decomposedStringWithCanonicalMapping()), NSOrderedSame);
    }
}

// What the texts have in common at their fronts is passed over quickly; that must not change who comes first.
TEST(NSStringCompare, ComparesTheKeysOfWholeTexts)
{
    const uint64_t seed = support::randomSeed();
    SCOPED_TRACE("TW_SEED=" + std::to_string(seed));
    support::RandomText random(seed);
    const auto stem = [&](NSString text) { return random.chance(2) ? text : text.uppercaseString().lowercaseString(); };
    for (int round = 0; round < 20'000; ++round) {
        const NSString front = random.text(8);
        const NSString a = front.stringByAppendingString(random.text(2));
        const NSString b = stem(front).stringByAppendingString(random.text(2));
        for (const uint64_t options : {0x0, 0x1, 0x3, 0x80, 0x81, 0x100, 0x181}) {
            const bool isSame = foldedText(a.units(), options) == foldedText(b.units(), options);
            ASSERT_EQ(a.compare(b, options) == NSOrderedSame, isSame) << a.UTF8() << "|" << b.UTF8() << "|" << options;
        }
    }
}

TEST(NSStringCompare, IgnoresMarksBeyondTheBasicPlane)
{
    // The mark is two units long, and stands where the other text ends.
    const NSString plain = u"1\u1100\u1161\u11A8\uEFB3";
    const NSString marked = u"1\u1100\u1161\u11A8\uEFB3\U00011C3B\u0301";
    EXPECT_EQ(marked.compare(plain, NSDiacriticInsensitiveSearch), NSOrderedSame);
    EXPECT_EQ(plain.compare(marked, NSDiacriticInsensitiveSearch), NSOrderedSame);
    EXPECT_EQ(plain.compare(marked, 0), NSOrderedAscending);
}

TEST(NSStringCompare, IgnoresTheCaseOfEveryLetter)
{
    for (uint32_t unit = 1; unit < 0x10000; ++unit) {
        const std::u16string letter(1, static_cast<char16_t>(unit));
        for (const NSString& other : {NSString(letter).uppercaseString(), NSString(letter).lowercaseString()}) {
            for (const uint64_t options : {0x1, 0x3, 0x81, 0x101}) {
                const bool isSame = foldedText(letter, options) == foldedText(other.units(), options);
                ASSERT_EQ(NSString(letter).compare(other, options) == NSOrderedSame, isSame)
                    << std::hex << unit << "|" << options;
            }
        }
    }
}

TEST(NSStringLocalizedCompare, SortsForPeople)
{
    const support::EnvironmentVariable all("LC_ALL", "en_US.UTF-8");
    const uint64_t display = NSCaseInsensitiveSearch | NSNumericSearch;
    const Row rows[] = {
        {u"a", u"B", 0, NSOrderedAscending},
        {u"a", u"A", 0, NSOrderedAscending},
        {u"a", u"A", NSCaseInsensitiveSearch, NSOrderedSame},
        {u"cote", u"côte", 0, NSOrderedAscending},
        {u"cote", u"côte", NSCaseInsensitiveSearch, NSOrderedAscending},
        {u"cote", u"côte", NSDiacriticInsensitiveSearch, NSOrderedSame},
        {u"cote", u"Côte", NSDiacriticInsensitiveSearch, NSOrderedAscending},
        {u"cote", u"Côte", NSDiacriticInsensitiveSearch | NSCaseInsensitiveSearch, NSOrderedSame},
        {u"\u00e9", u"e\u0301", 0, NSOrderedSame},
        {u"file 9", u"file 10", display, NSOrderedAscending},
        {u"file 9", u"file 10", 0, NSOrderedDescending},
        {u"FILE 9", u"file 9", display, NSOrderedSame},
        {u"Ａ", u"A", 0, NSOrderedDescending},
        {u"Ａ", u"A", NSWidthInsensitiveSearch, NSOrderedSame},
        {u"Ａ", u"A", NSWidthInsensitiveSearch | NSCaseInsensitiveSearch, NSOrderedSame},
        {u"Ａ", u"a", NSWidthInsensitiveSearch, NSOrderedDescending},
        {u"z", u"ä", 0, NSOrderedDescending},
    };
    for (const auto& [a, b, options, result] : rows) {
        EXPECT_EQ(NSString(a).localizedCompare(b, options), result)
            << NSString(a).UTF8() << " | " << NSString(b).UTF8() << " | " << options;
        EXPECT_EQ(NSString(b).localizedCompare(a, options), opposite(result))
            << NSString(b).UTF8() << " | " << NSString(a).UTF8();
    }
    EXPECT_EQ(NSString(u"").localizedCompare({}), NSOrderedDescending);
}

TEST(NSStringLocalizedCompare, FollowsTheUsersLocale)
{
    const NSString z = u"z";
    const NSString umlaut = u"ä";
    const support::EnvironmentVariable all("LC_ALL", "");
    const support::EnvironmentVariable language("LANG", "de_DE.UTF-8");
    {
        const support::EnvironmentVariable collation("LC_COLLATE", "sv_SE.UTF-8");
        EXPECT_EQ(z.localizedCompare(umlaut), NSOrderedAscending);
        const support::EnvironmentVariable first("LC_ALL", "de_DE@euro");
        EXPECT_EQ(z.localizedCompare(umlaut), NSOrderedDescending);
    }
    const support::EnvironmentVariable collation("LC_COLLATE", nullptr);
    EXPECT_EQ(z.localizedCompare(umlaut), NSOrderedDescending);
}

TEST(NSStringLocalizedCompare, SortsForPeopleWithoutALocaleToo)
{
    for (const char* const name : {"C", "POSIX", "C.UTF-8", "xx_not-a-locale", ""}) {
        const support::EnvironmentVariable all("LC_ALL", name);
        const support::EnvironmentVariable collation("LC_COLLATE", nullptr);
        const support::EnvironmentVariable language("LANG", nullptr);
        EXPECT_EQ(NSString(u"a").localizedCompare(u"B"), NSOrderedAscending) << name;
        EXPECT_EQ(NSString(u"ab").localizedCompare(u"AB", NSCaseInsensitiveSearch), NSOrderedSame) << name;
    }
}

TEST(NSStringLocalizedCompare, ServesManyThreads)
{
    std::vector<std::jthread> threads;
    std::vector<int> wrong(4, 0);
    for (size_t index = 0; index < wrong.size(); ++index) {
        threads.emplace_back([&wrong, index] {
            for (int round = 0; round < 200; ++round) {
                wrong[index] += NSString(u"file 9").localizedCompare(u"FILE 10", 0x41) != NSOrderedAscending;
                wrong[index] += NSString(u"e\u0301x").rangeOfString(u"\u00e9").length != 2;
                wrong[index] += NSString(u"\U0001f468\u200d\U0001f469").rangeOfComposedCharacterSequenceAtIndex(3).length != 5;
            }
        });
    }
    threads.clear();
    EXPECT_EQ(wrong, std::vector<int>(4, 0));
}
