#include "Platform/Foundation/ComposedCharacterSequences.h"
#include "Platform/Foundation/NSCharacterSet.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// Every operation takes time linear in the length. The texts here are those on which the usual shortcuts become quadratic, and so
// long that a quadratic operation would not end within the time limit of a test.

namespace {

constexpr size_t length = size_t(1) << 16;

std::u16string repeated(std::u16string_view piece)
{
    std::u16string text;
    text.reserve(length + piece.size());
    while (text.size() < length)
        text.append(piece);
    return text;
}

const std::vector<std::u16string>& longTexts()
{
    static const std::vector<std::u16string> texts = {repeated(u"a"), repeated(u"ab"), repeated(u"e\u0301"), repeated(u"\u0301"),
        repeated(u"\U0001f1e9"), repeated(u"\U0001f468\u200d"), repeated(u"\u1100"), repeated(u"각"), repeated(u"日本"),
        repeated(u"\u0915\u094d"), repeated(u"\u0600"), repeated(u"\r\n"), repeated(u"%41"), repeated(u"a/"), repeated(u"./"),
        repeated(u"9"), std::u16string(length, char16_t(0xd83d)), std::u16string(length, u'\0')};
    return texts;
}

}

TEST(NSStringScale, WalksSequencesOfLongTexts)
{
    for (const std::u16string& text : longTexts()) {
        ComposedCharacterSequences sequences(text);
        size_t ahead = 0;
        while (const auto range = sequences.next())
            ++ahead;
        size_t back = 0;
        while (const auto range = sequences.previous())
            ++back;
        EXPECT_EQ(ahead, back);
    }
}

TEST(NSStringScale, SearchesLongTexts)
{
    for (const std::u16string& units : longTexts()) {
        const NSString text = units;
        // A pattern that agrees for half of the text everywhere, and is nowhere.
        const NSString pattern = units.substr(0, length / 2) + u"!";
        for (const uint64_t options : {0, 1, 2, 3, 4, 5, 6, 7, 0x189})
            EXPECT_EQ(text.rangeOfString(pattern, options).location, NSNotFound) << options;
    }
}

TEST(NSStringScale, SplitsAndReplacesInLongTexts)
{
    for (const std::u16string& units : longTexts()) {
        const NSString text = units;
        const NSString first = text.substringToIndex(1);
        EXPECT_GT(text.componentsSeparatedByString(first).count(), length / 4);
        EXPECT_EQ(text.componentsSeparatedByString(first).componentsJoinedByString(first), text);
        for (const uint64_t options : {0, 1, 2})
            EXPECT_EQ(text.stringByReplacingOccurrencesOfString(first, first, options), text);
    }
}

TEST(NSStringScale, ComparesLongTexts)
{
    for (const std::u16string& units : longTexts()) {
        const NSString text = units;
        const NSString other = units + u"!";
        for (const uint64_t options : {0x0, 0x1, 0x2, 0x41, 0x1c1})
            EXPECT_EQ(text.compare(other, options), NSOrderedAscending) << options;
        EXPECT_EQ(text.localizedCompare(text.stringByAppendingString(u""), 0x41), NSOrderedSame);
        (void)text.localizedCompare(other, 0x41);
    }
}

TEST(NSStringScale, ConvertsLongTexts)
{
    for (const std::u16string& units : longTexts()) {
        const NSString text = units;
        for (const NSStringEncoding encoding : {NSASCIIStringEncoding, NSUTF8StringEncoding, NSISOLatin1StringEncoding,
                 NSUTF16StringEncoding, NSUTF32StringEncoding, NSNonLossyASCIIStringEncoding, NSMacOSRomanStringEncoding}) {
            const NSData data = text.dataUsingEncoding(encoding, true);
            EXPECT_FALSE(NSString::stringWithData(data, encoding).isAbsent());
        }
        EXPECT_FALSE(text.lowercaseString().isAbsent());
        EXPECT_FALSE(text.uppercaseString().isAbsent());
        EXPECT_FALSE(text.decomposedStringWithCanonicalMapping().isAbsent());
        EXPECT_EQ(NSString::stringWithFormat(u"%@", text), text);
        (void)text.stringByRemovingPercentEncoding();
        (void)text.stringByAddingPercentEncodingWithAllowedCharacters(NSCharacterSet::URLPathAllowedCharacterSet());
        EXPECT_EQ(NSArray{text}.description().isAbsent(), false);
    }
}

TEST(NSStringScale, TakesLongPathsAndNumbersApart)
{
    for (const std::u16string& units : longTexts()) {
        const NSString text = units;
        EXPECT_FALSE(text.lastPathComponent().isAbsent());
        EXPECT_FALSE(text.stringByDeletingLastPathComponent().isAbsent());
        EXPECT_FALSE(text.stringByAppendingPathComponent(u"a").isAbsent());
        EXPECT_FALSE(text.pathExtension().isAbsent());
        EXPECT_FALSE(text.stringByDeletingPathExtension().isAbsent());
        EXPECT_FALSE(text.pathComponents().isAbsent());
        EXPECT_FALSE(text.stringByStandardizingPath().isAbsent());
        EXPECT_FALSE(text.stringByTrimmingCharactersInSet(NSCharacterSet::newlineCharacterSet()).isAbsent());
        (void)text.integerValue();
        (void)text.doubleValue();
        (void)text.boolValue();
        (void)text.lineRangeForRange({length / 2, 1});
    }
    // Up and down again, without asking the disk about ever longer paths.
    EXPECT_EQ(NSString(u"/" + repeated(u"nowhere/../")).stringByStandardizingPath(), NSString(u"/"));
}

TEST(NSStringScale, WalksLinesOfLongTexts)
{
    for (const std::u16string& units : {repeated(u"\r\n"), repeated(u"ab\n"), repeated(u"\u2028")}) {
        const NSString text = units;
        uint64_t position = 0;
        while (position < text.length())
            position = text.lineRangeForRange({position, 0}).end;
        EXPECT_EQ(position, text.length());
    }
}
