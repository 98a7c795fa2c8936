#include "Platform/Foundation/NSData.h"

#include "Platform/Foundation/NSString.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>

TEST(NSData, HoldsBytes)
{
    const NSData data = NSData::dataWithBytes(std::string_view("a\0b", 3));
    EXPECT_EQ(data.length(), 3u);
    EXPECT_EQ(data.characters(), std::string_view("a\0b", 3));
    EXPECT_EQ(data.bytes()[2], std::byte('b'));
    EXPECT_TRUE(NSData().isAbsent());
    EXPECT_FALSE(NSData::dataWithBytes("").isAbsent());
    EXPECT_NE(NSData(), NSData::dataWithBytes(""));
    EXPECT_EQ(NSData::dataWithBytes("ab"), NSData::dataWithBytes("ab"));
    EXPECT_NE(NSData::dataWithBytes("ab"), NSData::dataWithBytes("ac"));
}

TEST(NSDataDescription, ShowsBytesAndShortensManyOfThem)
{
    std::string counting;
    for (int byte = 0; byte < 40; ++byte)
        counting.push_back(static_cast<char>(byte));
    const struct {
        size_t length;
        const char* text;
    } rows[] = {
        {0, "{length = 0, bytes = 0x}"},
        {3, "{length = 3, bytes = 0x000102}"},
        {24, "{length = 24, bytes = 0x000102030405060708090a0b0c0d0e0f1011121314151617}"},
        {25, "{length = 25, bytes = 0x00010203 04050607 08090a0b 0c0d0e0f ... 11121314 15161718 }"},
        {40, "{length = 40, bytes = 0x00010203 04050607 08090a0b 0c0d0e0f ... 20212223 24252627 }"},
    };
    for (const auto& [length, text] : rows)
        EXPECT_EQ(NSData::dataWithBytes(counting.substr(0, length)).description().UTF8(), text);
    EXPECT_EQ(NSData::dataWithBytes("\xff").description().UTF8(), "{length = 1, bytes = 0xff}");
    EXPECT_TRUE(NSData().description().isAbsent());
}
