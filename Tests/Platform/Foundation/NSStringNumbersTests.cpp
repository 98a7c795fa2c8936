#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>

TEST(NSStringIntegerValue, ReadsTheLeadingNumber)
{
    const struct {
        const char16_t* text;
        int64_t value;
    } rows[] = {
        {u"", 0},
        {u"0", 0},
        {u"42", 42},
        {u"-42", -42},
        {u"+42", 42},
        {u" \t\n\u00a042abc", 42},
        {u"007", 7},
        {u"1.9", 1},
        {u"1e3", 1},
        {u"abc", 0},
        {u"- 1", 0},
        {u"--1", 0},
        {u"0x10", 0},
        {u"9223372036854775807", INT64_MAX},
        {u"9223372036854775808", INT64_MAX},
        {u"99999999999999999999999", INT64_MAX},
        {u"-9223372036854775807", -INT64_MAX},
        {u"-9223372036854775808", INT64_MIN},
        {u"-9223372036854775809", INT64_MIN},
        {u"-99999999999999999999999", INT64_MIN},
        {u"１２", 0},
    };
    for (const auto& [text, value] : rows)
        EXPECT_EQ(NSString(text).integerValue(), value) << NSString(text).UTF8();
}

TEST(NSStringDoubleValue, ReadsTheLeadingNumber)
{
    const struct {
        const char16_t* text;
        double value;
    } rows[] = {
        {u"", 0},
        {u"1.5", 1.5},
        {u"-1.5x", -1.5},
        {u"+.5", 0.5},
        {u"5.", 5},
        {u" \n2.25 ", 2.25},
        {u"1e3", 1000},
        {u"1E-2", 0.01},
        {u"1e", 1},
        {u"1e+", 1},
        {u"1.2.3", 1.2},
        {u".", 0},
        {u"-", 0},
        {u"e5", 0},
        {u"0x10", 0},
        {u"inf", 0},
        {u"nan", 0},
        {u"1,5", 1},
        {u"0.1", 0.1},
        {u"1e999", HUGE_VAL},
        {u"-1e999", -HUGE_VAL},
        {u"1e-999", 0},
        {u"4.9e-324", 4.9e-324},
        {u"12345678901234567890", 12345678901234567890.0},
    };
    for (const auto& [text, value] : rows)
        EXPECT_EQ(NSString(text).doubleValue(), value) << NSString(text).UTF8();
    EXPECT_TRUE(std::signbit(NSString(u"-0").doubleValue()));
}

TEST(NSStringBoolValue, IsTrueForYesTrueAndNumbersButZero)
{
    for (const char16_t* const text : {u"YES", u"yes", u"Y", u"y", u"true", u"T", u"t", u"1", u"9", u"42", u"  1", u"\tYes",
             u"+1", u"-1", u"0001", u"-007", u"yellow", u"00t"})
        EXPECT_TRUE(NSString(text).boolValue()) << NSString(text).UTF8();
    for (const char16_t* const text :
        {u"", u"NO", u"no", u"false", u"0", u"000", u"-0", u"0.5", u"on", u"ja", u"+ 1", u"--1", u" "})
        EXPECT_FALSE(NSString(text).boolValue()) << NSString(text).UTF8();
}

TEST(NSStringFromDouble, WritesTheShortestTextThatReadsBackTheSame)
{
    const struct {
        double number;
        const char16_t* text;
    } rows[] = {
        {0, u"0"},
        {-0.0, u"-0"},
        {1, u"1"},
        {-1, u"-1"},
        {0.1, u"0.1"},
        {0.5, u"0.5"},
        {1.0 / 3, u"0.3333333333333333"},
        {100000, u"100000"},
        {1e15, u"1000000000000000"},
        {1e16, u"1e+16"},
        {1e21, u"1e+21"},
        {1.5e300, u"1.5e+300"},
        {0.0001, u"0.0001"},
        {0.00001, u"1e-05"},
        {1234567.891, u"1234567.891"},
        {9007199254740993.0, u"9007199254740992"},
        {std::numeric_limits<double>::max(), u"1.7976931348623157e+308"},
        {std::numeric_limits<double>::denorm_min(), u"5e-324"},
        {std::numeric_limits<double>::infinity(), u"inf"},
        {-std::numeric_limits<double>::infinity(), u"-inf"},
        {std::numeric_limits<double>::quiet_NaN(), u"nan"},
    };
    for (const auto& [number, text] : rows)
        EXPECT_EQ(NSStringFromDouble(number), NSString(text));
}

TEST(NSStringFromDouble, ReadsBackTheSame)
{
    std::mt19937_64 engine(20261121);
    for (int round = 0; round < 20000; ++round) {
        const double number = std::bit_cast<double>(engine());
        if (!std::isfinite(number))
            continue;
        EXPECT_EQ(NSStringFromDouble(number).doubleValue(), number) << NSStringFromDouble(number).UTF8();
    }
}
