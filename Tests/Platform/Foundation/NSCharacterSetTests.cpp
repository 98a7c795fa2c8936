#include "Platform/Foundation/NSCharacterSet.h"

#include "Support/Printing.h"

#include <gtest/gtest.h>

namespace {

std::string asciiMembersOf(const NSCharacterSet& set)
{
    std::string members;
    for (char16_t unit = 0; unit < 0x80; ++unit) {
        if (set.characterIsMember(unit))
            members.push_back(static_cast<char>(unit));
    }
    return members;
}

const std::string alphanumerics = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

std::string without(std::string characters, std::string_view removed)
{
    std::erase_if(characters, [&](char character) { return removed.find(character) != std::string_view::npos; });
    return characters;
}

}

TEST(NSCharacterSet, HasTheCharactersOfAString)
{
    const NSCharacterSet set = NSCharacterSet::characterSetWithCharactersInString(u"aé\U0001f600");
    EXPECT_TRUE(set.characterIsMember(u'a'));
    EXPECT_TRUE(set.characterIsMember(u'é'));
    EXPECT_TRUE(set.longCharacterIsMember(U'\U0001f600'));
    EXPECT_FALSE(set.characterIsMember(u'b'));
    EXPECT_FALSE(set.characterIsMember(0xd83d));
    EXPECT_FALSE(set.characterIsMember(0xde00));
    EXPECT_FALSE(set.longCharacterIsMember(0x110000));
    EXPECT_TRUE(NSCharacterSet::characterSetWithCharactersInString({}).isAbsent());
    EXPECT_FALSE(NSCharacterSet::characterSetWithCharactersInString(u"").isAbsent());
    const std::u16string half(1, char16_t(0xd83d));
    EXPECT_TRUE(NSCharacterSet::characterSetWithCharactersInString(half).characterIsMember(0xd83d));
}

TEST(NSCharacterSet, HasNoMembersWhenAbsent)
{
    const NSCharacterSet none;
    EXPECT_TRUE(none.isAbsent());
    EXPECT_FALSE(none);
    EXPECT_FALSE(none.characterIsMember(u'a'));
    EXPECT_TRUE(none.invertedSet().isAbsent());
}

TEST(NSCharacterSet, HasTheCharactersOfARange)
{
    const NSCharacterSet set = NSCharacterSet::characterSetWithRange({0x61, 3});
    EXPECT_EQ(asciiMembersOf(set), "abc");
    EXPECT_EQ(asciiMembersOf(NSCharacterSet::characterSetWithRange({0x61, 0})), "");
    EXPECT_TRUE(NSCharacterSet::characterSetWithRange({0x10ffff, UINT64_MAX}).longCharacterIsMember(0x10ffff));
    EXPECT_FALSE(NSCharacterSet::characterSetWithRange({0x110000, 1}).longCharacterIsMember(0x10ffff));
}

TEST(NSCharacterSet, KnowsBlanksAndLineEnds)
{
    const NSCharacterSet blanks = NSCharacterSet::whitespaceCharacterSet();
    const NSCharacterSet lineEnds = NSCharacterSet::newlineCharacterSet();
    const NSCharacterSet both = NSCharacterSet::whitespaceAndNewlineCharacterSet();
    for (const char16_t unit : {u' ', u'\t', u'\u00a0', u'\u1680', u'\u2003', u'\u202f', u'\u3000'}) {
        EXPECT_TRUE(blanks.characterIsMember(unit)) << uint32_t(unit);
        EXPECT_FALSE(lineEnds.characterIsMember(unit)) << uint32_t(unit);
    }
    for (const char16_t unit : {u'\n', u'\v', u'\f', u'\r', u'\u0085', u'\u2028', u'\u2029'}) {
        EXPECT_FALSE(blanks.characterIsMember(unit)) << uint32_t(unit);
        EXPECT_TRUE(lineEnds.characterIsMember(unit)) << uint32_t(unit);
    }
    for (uint32_t unit = 0; unit <= 0xffff; ++unit) {
        const char16_t asked = static_cast<char16_t>(unit);
        EXPECT_EQ(both.characterIsMember(asked), blanks.characterIsMember(asked) || lineEnds.characterIsMember(asked))
            << uint32_t(unit);
    }
    EXPECT_FALSE(both.characterIsMember(u'\u200b'));
    EXPECT_FALSE(both.characterIsMember(u'\0'));
}

TEST(NSCharacterSet, KnowsUnicodesCategories)
{
    const struct {
        NSCharacterSet set;
        std::u32string_view members;
        std::u32string_view others;
    } rows[] = {
        {NSCharacterSet::letterCharacterSet(), U"aZé日\u0301\U00010400", U"1 .-_€"},
        {NSCharacterSet::alphanumericCharacterSet(), U"aZé日\u03011½٣", U" .-_€"},
        {NSCharacterSet::decimalDigitCharacterSet(), U"09٣", U"a½Ⅷ."},
        {NSCharacterSet::punctuationCharacterSet(), U".,-_“!", U"a1 +$€"},
        {NSCharacterSet::controlCharacterSet(), U"\n\u007f\u200d\u00ad", U" a"},
    };
    for (const auto& [set, members, others] : rows) {
        for (const char32_t character : members)
            EXPECT_TRUE(set.longCharacterIsMember(character)) << uint32_t(character);
        for (const char32_t character : others)
            EXPECT_FALSE(set.longCharacterIsMember(character)) << uint32_t(character);
    }
}

TEST(NSCharacterSet, KnowsWhatPartsOfAddressesMayHold)
{
    std::string printable;
    for (char character = 0x21; character < 0x7f; ++character)
        printable.push_back(character);
    const struct {
        NSCharacterSet set;
        std::string_view refused;
    } rows[] = {
        {NSCharacterSet::URLUserAllowedCharacterSet(), "\"#%/:<>?@[\\]^`{|}"},
        {NSCharacterSet::URLPasswordAllowedCharacterSet(), "\"#%/:<>?@[\\]^`{|}"},
        {NSCharacterSet::URLHostAllowedCharacterSet(), "\"#%/<>?@\\^`{|}"},
        {NSCharacterSet::URLPathAllowedCharacterSet(), "\"#%;<>?[\\]^`{|}"},
        {NSCharacterSet::URLQueryAllowedCharacterSet(), "\"#%<>[\\]^`{|}"},
        {NSCharacterSet::URLFragmentAllowedCharacterSet(), "\"#%<>[\\]^`{|}"},
    };
    for (const auto& [set, refused] : rows) {
        EXPECT_EQ(asciiMembersOf(set), without(printable, refused));
        EXPECT_FALSE(set.characterIsMember(u'é'));
    }
}

TEST(NSCharacterSet, CanBeTurnedInsideOut)
{
    const NSCharacterSet set = NSCharacterSet::characterSetWithCharactersInString(u"ab");
    const NSCharacterSet inverted = set.invertedSet();
    EXPECT_FALSE(inverted.characterIsMember(u'a'));
    EXPECT_TRUE(inverted.characterIsMember(u'c'));
    EXPECT_TRUE(inverted.characterIsMember(0xd800));
    EXPECT_TRUE(inverted.longCharacterIsMember(0x10ffff));
    EXPECT_EQ(inverted.invertedSet(), set);
}

TEST(NSCharacterSet, ChangesWithoutTouchingItsCopies)
{
    NSMutableCharacterSet set = NSCharacterSet::URLQueryAllowedCharacterSet();
    const NSCharacterSet before = set;
    set.removeCharactersInString(u";+");
    set.addCharactersInString(u"%");
    EXPECT_FALSE(set.characterIsMember(u';'));
    EXPECT_FALSE(set.characterIsMember(u'+'));
    EXPECT_TRUE(set.characterIsMember(u'%'));
    EXPECT_TRUE(before.characterIsMember(u';'));
    EXPECT_FALSE(before.characterIsMember(u'%'));
    set.formUnionWithCharacterSet(NSCharacterSet::decimalDigitCharacterSet());
    EXPECT_TRUE(set.characterIsMember(u'٣'));
    set.formUnionWithCharacterSet({});
    EXPECT_TRUE(set.characterIsMember(u'٣'));

    NSMutableCharacterSet fresh;
    fresh.removeCharactersInString(u"a");
    EXPECT_TRUE(fresh.isAbsent());
    fresh.addCharactersInString(u"a");
    EXPECT_EQ(asciiMembersOf(fresh), "a");
}

TEST(NSCharacterSet, IsEqualWithTheSameMembers)
{
    EXPECT_EQ(NSCharacterSet::characterSetWithCharactersInString(u"ab"), NSCharacterSet::characterSetWithRange({u'a', 2}));
    EXPECT_NE(
        NSCharacterSet::characterSetWithCharactersInString(u"ab"), NSCharacterSet::characterSetWithCharactersInString(u"a"));
    EXPECT_EQ(NSCharacterSet(), NSCharacterSet());
    EXPECT_NE(NSCharacterSet(), NSCharacterSet::characterSetWithCharactersInString(u""));
    EXPECT_EQ(asciiMembersOf(NSCharacterSet::characterSetWithCharactersInString(u"ab").invertedSet()).size(), 126u);
}

TEST(NSStringByTrimming, TakesMembersOffBothEnds)
{
    const NSCharacterSet blanks = NSCharacterSet::whitespaceAndNewlineCharacterSet();
    const struct {
        const char16_t* text;
        const char16_t* trimmed;
    } rows[] = {{u"", u""}, {u"abc", u"abc"}, {u"  a b \r\n", u"a b"}, {u" \t\n", u""}, {u"\u3000a\u00a0", u"a"}, {u"a", u"a"}};
    for (const auto& [text, trimmed] : rows)
        EXPECT_EQ(NSString(text).stringByTrimmingCharactersInSet(blanks), NSString(trimmed));
    const NSCharacterSet emoji = NSCharacterSet::characterSetWithCharactersInString(u"\U0001f600");
    EXPECT_EQ(NSString(u"\U0001f600a\U0001f601\U0001f600").stringByTrimmingCharactersInSet(emoji), NSString(u"a\U0001f601"));
    EXPECT_EQ(NSString(u" a ").stringByTrimmingCharactersInSet({}), NSString(u" a "));
    EXPECT_TRUE(NSString().stringByTrimmingCharactersInSet(blanks).isAbsent());
}

TEST(NSStringPercentEncoding, WritesAllButAllowedCharactersAsBytes)
{
    const NSCharacterSet query = NSCharacterSet::URLQueryAllowedCharacterSet();
    const std::u16string half(1, char16_t(0xd83d));
    EXPECT_EQ(NSString(u"a b%é\U0001f600?&=").stringByAddingPercentEncodingWithAllowedCharacters(query),
        NSString(u"a%20b%25%C3%A9%F0%9F%98%80?&="));
    EXPECT_EQ(NSString(u"").stringByAddingPercentEncodingWithAllowedCharacters(query), NSString(u""));
    EXPECT_EQ(NSString(u"é").stringByAddingPercentEncodingWithAllowedCharacters(query.invertedSet()), NSString(u"%C3%A9"));
    EXPECT_EQ(NSString(u"\u007f").stringByAddingPercentEncodingWithAllowedCharacters(query.invertedSet()), NSString(u"\u007f"));
    EXPECT_EQ(NSString(u"ab").stringByAddingPercentEncodingWithAllowedCharacters({}), NSString(u"%61%62"));
    EXPECT_TRUE(NSString(half).stringByAddingPercentEncodingWithAllowedCharacters(query).isAbsent());
    EXPECT_TRUE(NSString().stringByAddingPercentEncodingWithAllowedCharacters(query).isAbsent());
}

TEST(NSStringPercentEncoding, IsRemovedOrRefused)
{
    EXPECT_EQ(NSString(u"a%20b%25%C3%a9+").stringByRemovingPercentEncoding(), NSString(u"a b%é+"));
    EXPECT_EQ(NSString(u"é%C3%A9").stringByRemovingPercentEncoding(), NSString(u"éé"));
    EXPECT_EQ(NSString(u"%00").stringByRemovingPercentEncoding(), NSString(std::u16string(1, u'\0')));
    for (const char16_t* const text : {u"%", u"%4", u"%zz", u"a%2", u"%FF", u"%C3", u"%C3x%A9", u"%ED%A0%80"})
        EXPECT_TRUE(NSString(text).stringByRemovingPercentEncoding().isAbsent()) << NSString(text).UTF8();
    EXPECT_TRUE(NSString().stringByRemovingPercentEncoding().isAbsent());
}
