#include "Platform/Foundation/NSArray.h"

#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"
#include "Support/Thrown.h"

#include <gtest/gtest.h>

using support::reasonOf;

TEST(NSArray, IsAbsentOrCountsItsElements)
{
    EXPECT_TRUE(NSArray().isAbsent());
    EXPECT_EQ(NSArray().count(), 0u);
    EXPECT_EQ(NSArray().begin(), NSArray().end());
    const NSArray empty{std::vector<Value>()};
    EXPECT_FALSE(empty.isAbsent());
    EXPECT_TRUE(empty);
    EXPECT_EQ(empty.count(), 0u);
    EXPECT_NE(empty, NSArray());
    const NSArray array = {1, u"a"};
    EXPECT_EQ(array.count(), 2u);
    EXPECT_EQ(array[0], Value(1));
    EXPECT_EQ(array.objectAtIndex(1), Value(u"a"));
}

TEST(NSArray, CanBeWalked)
{
    std::string walked;
    for (const Value& element : NSArray{1, u"a", 2.5})
        walked += element.description().UTF8() + ";";
    EXPECT_EQ(walked, "1;a;2.5;");
}

TEST(NSArray, RaisesBeyondItsBounds)
{
    const NSArray array = {1, 2};
    EXPECT_EQ(reasonOf([&] { return array[2]; }), "NSRangeException: -[NSArray objectAtIndex:]: index 2 beyond bounds [0 .. 1]");
    EXPECT_EQ(reasonOf([&] { return NSArray()[0]; }),
        "NSRangeException: -[NSArray objectAtIndex:]: index 0 beyond bounds for empty array");
    NSMutableArray changed = array;
    EXPECT_EQ(reasonOf([&] { changed.insertObject(1, 3); }),
        "NSRangeException: -[NSArray insertObject:atIndex:]: index 3 beyond bounds [0 .. 1]");
    EXPECT_EQ(changed, array);
}

TEST(NSArray, RaisesForAbsentElements)
{
    NSMutableArray array;
    EXPECT_EQ(reasonOf([&] { array.addObject(NSString()); }),
        "NSInvalidArgumentException: -[NSArray insertObject:atIndex:]: object cannot be nil");
    EXPECT_TRUE(array.isAbsent());
    EXPECT_EQ(reasonOf([&] {
        array = NSArray{1, Value()};
    }),
        "NSInvalidArgumentException: -[NSArray initWithObjects:]: object cannot be nil");
}

TEST(NSArray, ChangesWithoutTouchingItsCopies)
{
    NSMutableArray array = {1, 2, 1};
    const NSArray copy = array;
    array.addObject(3);
    array.insertObject(0, 0);
    EXPECT_EQ(array, (NSArray{0, 1, 2, 1, 3}));
    array.removeObject(true);
    EXPECT_EQ(array, (NSArray{0, 2, 3}));
    array.removeObject(array[0]);
    EXPECT_EQ(array, (NSArray{2, 3}));
    array.removeObject(9);
    array.removeAllObjects();
    EXPECT_EQ(array, NSArray(std::vector<Value>()));
    EXPECT_EQ(copy, (NSArray{1, 2, 1}));
}

TEST(NSArray, BecomesPresentByAddingOnly)
{
    NSMutableArray array;
    array.removeObject(1);
    array.removeAllObjects();
    EXPECT_TRUE(array.isAbsent());
    array.addObject(u"a");
    EXPECT_EQ(array, NSArray{u"a"});
}

TEST(NSArray, CanHoldACopyOfItself)
{
    NSMutableArray array = {1};
    array.addObject(array);
    EXPECT_EQ(array, (NSArray{1, NSArray{1}}));
}

TEST(NSArray, FindsEqualElements)
{
    const NSArray array = {1, u"a", NSNull()};
    EXPECT_TRUE(array.containsObject(1.0));
    EXPECT_TRUE(array.containsObject(NSNull()));
    EXPECT_FALSE(array.containsObject(u"b"));
    EXPECT_FALSE(array.containsObject({}));
    EXPECT_FALSE(NSArray().containsObject(1));
}

TEST(NSArray, IsEqualWithEqualElementsInTheSameOrder)
{
    EXPECT_EQ((NSArray{1, u"a"}), (NSArray{true, u"a"}));
    EXPECT_NE((NSArray{1, 2}), (NSArray{2, 1}));
    EXPECT_NE((NSArray{1}), (NSArray{1, 1}));
    EXPECT_EQ(NSArray(), NSArray());
}

TEST(NSArray, JoinsDescriptions)
{
    EXPECT_EQ((NSArray{u"a", 1, NSNull()}).componentsJoinedByString(u", "), NSString(u"a, 1, <null>"));
    EXPECT_EQ(NSArray{u"a"}.componentsJoinedByString(u", "), NSString(u"a"));
    EXPECT_EQ((NSArray{u"a", u"b"}).componentsJoinedByString({}), NSString(u"ab"));
    EXPECT_EQ(NSArray(std::vector<Value>()).componentsJoinedByString(u","), NSString(u""));
    EXPECT_TRUE(NSArray().componentsJoinedByString(u",").isAbsent());
}

TEST(NSArrayDescription, WritesOneElementOnALine)
{
    EXPECT_EQ(NSArray(std::vector<Value>()).description().UTF8(), "(\n)");
    EXPECT_EQ((NSArray{u"a", 1, true}).description().UTF8(), "(\n    a,\n    1,\n    1\n)");
    EXPECT_TRUE(NSArray().description().isAbsent());
}

TEST(NSArrayDescription, IndentsNestedCollections)
{
    const NSArray array = {NSArray{1, 2}, NSDictionary{{u"k", NSArray{u"v"}}}, NSArray(std::vector<Value>())};
    EXPECT_EQ(array.description().UTF8(),
        "(\n"
        "        (\n"
        "        1,\n"
        "        2\n"
        "    ),\n"
        "        {\n"
        "        k =         (\n"
        "            v\n"
        "        );\n"
        "    },\n"
        "        (\n"
        "    )\n"
        ")");
}

TEST(NSArrayDescription, QuotesWhatIsNotPlain)
{
    const struct {
        Value value;
        const char* text;
    } rows[] = {
        {u"plain1", "plain1"},
        {u"", "\"\""},
        {u"two words", "\"two words\""},
        {u"a_b", "\"a_b\""},
        {u"1.0", "\"1.0\""},
        {u"say \"hi\"\\", "\"say \\\"hi\\\"\\\\\""},
        {u"\a\b\t\n\v\f\r", "\"\\a\\b\\t\\n\\v\\f\\r\""},
        {u"\u0001\u001b\u007f", "\"\\001\\033\\177\""},
        {u"é\U0001f600", "\"\\U00e9\\Ud83d\\Ude00\""},
        {-1, "\"-1\""},
        {0.5, "\"0.5\""},
        {NSNull(), "\"<null>\""},
        {NSDate::dateWithTimeIntervalSinceReferenceDate(0), "\"2001-01-01 00:00:00 +0000\""},
        {NSData::dataWithBytes("ab"), "{length = 2, bytes = 0x6162}"},
        {NSURL::URLWithString(u"http://h/"), "\"http://h/\""},
    };
    for (const auto& [value, text] : rows)
        EXPECT_EQ(NSArray{value}.description().UTF8(), "(\n    " + std::string(text) + "\n)");
}
