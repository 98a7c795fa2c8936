#include "Platform/Foundation/NSDictionary.h"

#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"
#include "Support/Thrown.h"

#include <gtest/gtest.h>

using support::reasonOf;

namespace {

NSString keyOf(int number)
{
    return NSString::stringWithFormat(u"key %d", number);
}

}

TEST(NSDictionary, IsAbsentOrCountsItsEntries)
{
    EXPECT_TRUE(NSDictionary().isAbsent());
    EXPECT_EQ(NSDictionary().count(), 0u);
    EXPECT_EQ(NSDictionary().begin(), NSDictionary().end());
    EXPECT_TRUE(NSDictionary().allKeys().isAbsent());
    EXPECT_TRUE(NSDictionary().objectForKey(u"a").isAbsent());
    EXPECT_FALSE(NSDictionary::dictionary().isAbsent());
    EXPECT_EQ(NSDictionary::dictionary().count(), 0u);
    EXPECT_NE(NSDictionary::dictionary(), NSDictionary());
    EXPECT_EQ(NSDictionary::dictionary().begin(), NSDictionary::dictionary().end());
}

TEST(NSDictionary, FindsValuesByKey)
{
    const NSDictionary dictionary = {{u"a", 1}, {u"b", u"x"}, {u"", NSNull()}};
    EXPECT_EQ(dictionary[u"a"], Value(1));
    EXPECT_EQ(dictionary.objectForKey(u"b"), Value(u"x"));
    EXPECT_EQ(dictionary[u""], Value(NSNull()));
    EXPECT_TRUE(dictionary[u"A"].isAbsent());
    EXPECT_TRUE(dictionary[{}].isAbsent());
}

TEST(NSDictionary, KeepsTheOrderOfFirstSetting)
{
    NSMutableDictionary dictionary = {{u"z", 1}, {u"a", 2}, {u"z", 3}};
    dictionary.setObject(4, u"m");
    dictionary.setObject(5, u"a");
    EXPECT_EQ(dictionary.allKeys(), (NSArray{u"z", u"a", u"m"}));
    std::string walked;
    for (const auto& [key, value] : dictionary)
        walked += key.UTF8() + "=" + value.description().UTF8() + ";";
    EXPECT_EQ(walked, "z=3;a=5;m=4;");
    dictionary.removeObjectForKey(u"z");
    dictionary.setObject(6, u"z");
    EXPECT_EQ(dictionary.allKeys(), (NSArray{u"a", u"m", u"z"}));
}

TEST(NSDictionary, RaisesForAbsentKeysAndValues)
{
    NSMutableDictionary dictionary;
    EXPECT_EQ(reasonOf([&] { dictionary.setObject(1, {}); }),
        "NSInvalidArgumentException: -[NSDictionary setObject:forKey:]: key cannot be nil");
    EXPECT_EQ(reasonOf([&] { dictionary.setObject({}, u"a"); }),
        "NSInvalidArgumentException: -[NSDictionary setObject:forKey:]: object cannot be nil (key: a)");
    EXPECT_TRUE(dictionary.isAbsent());
    EXPECT_THROW((NSDictionary{{u"a", NSString()}}), NSException);
}

TEST(NSDictionary, ChangesWithoutTouchingItsCopies)
{
    NSMutableDictionary dictionary = {{u"a", 1}, {u"b", 2}};
    const NSDictionary copy = dictionary;
    dictionary.setObject(3, u"c");
    dictionary.removeObjectForKey(u"a");
    dictionary.removeObjectForKey(u"nowhere");
    dictionary.removeObjectForKey({});
    EXPECT_EQ(dictionary, (NSDictionary{{u"b", 2}, {u"c", 3}}));
    EXPECT_EQ(copy, (NSDictionary{{u"a", 1}, {u"b", 2}}));
    NSMutableDictionary none;
    none.removeObjectForKey(u"a");
    EXPECT_TRUE(none.isAbsent());
    none.setObject(1, u"a");
    EXPECT_EQ(none, (NSDictionary{{u"a", 1}}));
}

TEST(NSDictionary, AddsTheEntriesOfAnother)
{
    NSMutableDictionary dictionary = {{u"a", 1}, {u"b", 2}};
    dictionary.addEntriesFromDictionary({{u"c", 3}, {u"a", 4}});
    EXPECT_EQ(dictionary.allKeys(), (NSArray{u"a", u"b", u"c"}));
    EXPECT_EQ(dictionary[u"a"], Value(4));
    dictionary.addEntriesFromDictionary(dictionary);
    dictionary.addEntriesFromDictionary({});
    EXPECT_EQ(dictionary.count(), 3u);
    NSMutableDictionary none;
    none.addEntriesFromDictionary({});
    EXPECT_TRUE(none.isAbsent());
}

TEST(NSDictionary, CanUseItsOwnPartsInAChange)
{
    NSMutableDictionary dictionary = {{u"a", 1}};
    dictionary.setObject(dictionary, u"self");
    for (int number = 0; number < 20; ++number)
        dictionary.setObject(dictionary.begin()->second, dictionary.begin()->first);
    for (int number = 0; number < 20; ++number)
        dictionary.setObject(dictionary.begin()->second, keyOf(number));
    EXPECT_EQ(dictionary[u"self"], Value(NSDictionary{{u"a", 1}}));
    EXPECT_EQ(dictionary.count(), 22u);
    while (dictionary.count() > 0)
        dictionary.removeObjectForKey(dictionary.begin()->first);
    EXPECT_EQ(dictionary, NSDictionary::dictionary());
}

// Small dictionaries have no index and large ones do; both must answer alike while entries come and go.
TEST(NSDictionary, AnswersAlikeInEverySize)
{
    NSMutableDictionary dictionary;
    for (int count = 1; count <= 40; ++count) {
        dictionary.setObject(count, keyOf(count));
        const NSDictionary copy = dictionary;
        for (int number = 0; number <= 41; ++number) {
            EXPECT_EQ(dictionary[keyOf(number)], number >= 1 && number <= count ? Value(number) : Value())
                << count << " " << number;
            EXPECT_EQ(copy[keyOf(number)], dictionary[keyOf(number)]) << count << " " << number;
        }
    }
    for (int count = 39; count >= 0; --count) {
        dictionary.removeObjectForKey(keyOf(40 - count));
        ASSERT_EQ(dictionary.count(), size_t(count));
        for (int number = 1; number <= 40; ++number)
            EXPECT_EQ(dictionary[keyOf(number)], number > 40 - count ? Value(number) : Value()) << count << " " << number;
    }
}

TEST(NSDictionary, IsEqualWithTheSameEntriesInAnyOrder)
{
    EXPECT_EQ((NSDictionary{{u"a", 1}, {u"b", 2}}), (NSDictionary{{u"b", 2.0}, {u"a", true}}));
    EXPECT_NE((NSDictionary{{u"a", 1}}), (NSDictionary{{u"a", 2}}));
    EXPECT_NE((NSDictionary{{u"a", 1}}), (NSDictionary{{u"b", 1}}));
    EXPECT_NE((NSDictionary{{u"a", 1}}), (NSDictionary{{u"a", 1}, {u"b", 1}}));
    EXPECT_EQ(NSDictionary(), NSDictionary());
}

TEST(NSDictionaryDescription, WritesOneEntryOnALine)
{
    EXPECT_EQ(NSDictionary::dictionary().description().UTF8(), "{\n}");
    EXPECT_TRUE(NSDictionary().description().isAbsent());
    EXPECT_EQ((NSDictionary{{u"b", 1}, {u"a key", u"some text"}}).description().UTF8(),
        "{\n    b = 1;\n    \"a key\" = \"some text\";\n}");
}

TEST(NSDictionaryDescription, IndentsNestedCollections)
{
    const NSDictionary dictionary = {{u"d", NSDictionary{{u"e", 1}}}, {u"l", NSArray{1, NSDictionary::dictionary()}}};
    EXPECT_EQ(dictionary.description().UTF8(),
        "{\n"
        "    d =     {\n"
        "        e = 1;\n"
        "    };\n"
        "    l =     (\n"
        "        1,\n"
        "                {\n"
        "        }\n"
        "    );\n"
        "}");
}
