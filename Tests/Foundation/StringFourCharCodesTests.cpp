#include "QVRStringFourCharCodes.h"

#include "QVRException.h"
#include "Support/KeptLog.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>
#include <vector>

TEST(QVRFourCharCodes, AreMacOSRomanWithTheMostSignificantByteFirst)
{
    const struct {
        uint32_t code;
        NSString text;
    } rows[] = {
        {1413830740, u"TEXT"},
        {0x61626364, u"abcd"},
        {0x20202020, u"    "},
        {0x8e8e8e8e, u"\u00e9\u00e9\u00e9\u00e9"},
        {0x666f6fdb, u"foo\u20ac"},
        {1, std::u16string({0, 0, 0, 1})},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(qvrStringWithFourCharCode(row.code), row.text);
        EXPECT_EQ(qvrFourCharCodeValue(row.text), row.code);
    }
}

TEST(QVRFourCharCodes, ComeBackFromTheirText)
{
    for (uint64_t code = 0; code <= 0xffffffff; code += 9973 * 13)
        ASSERT_EQ(qvrFourCharCodeValue(qvrStringWithFourCharCode(static_cast<uint32_t>(code))), code);
    for (uint32_t byte = 0; byte < 256; ++byte) {
        const uint32_t code = 0x61626300 | byte;
        ASSERT_EQ(qvrFourCharCodeValue(qvrStringWithFourCharCode(code)), code);
        ASSERT_EQ(qvrStringWithFourCharCode(code).length(), 4u);
    }
}

TEST(QVRUnknownCode, IsTheTextOfZeroAndOfNothingElse)
{
    EXPECT_EQ(qvrStringWithFourCharCode(0), qvrUnknownCode());
    EXPECT_EQ(qvrUnknownCode().length(), 4u);
    EXPECT_TRUE(qvrIsUnknownCode(qvrUnknownCode()));
    EXPECT_FALSE(qvrIsUnknownCode(u"TEXT"));
    EXPECT_FALSE(qvrIsUnknownCode(u""));
    EXPECT_FALSE(qvrIsUnknownCode(qvrStringWithFourCharCode(1)));
    EXPECT_FALSE(qvrIsUnknownCode(NSString()));
}

TEST(QVRFourCharCodeValue, IsZeroForWhatMacOSRomanDoesNotHave)
{
    EXPECT_EQ(qvrFourCharCodeValue(u"abc\u4e2d"), 0u);
    EXPECT_EQ(qvrFourCharCodeValue(u"ab\U0001f600"), 0u);
    EXPECT_EQ(qvrFourCharCodeValue(NSString()), 0u);
}

TEST(QVRFourCharCodeValue, FailsItsAssertionForAnyOtherLength)
{
    for (const NSString& text : {NSString(u""), NSString(u"TXT"), NSString(u"TEXTS"), NSString(u"\u00e9\u00e9")}) {
        support::KeptLog log;
        try {
            static_cast<void>(qvrFourCharCodeValue(text));
            ADD_FAILURE() << "nothing was thrown for " << text.UTF8();
        } catch (const QVRException& exception) {
            EXPECT_EQ(exception.name(), QVRAssertionFailedException);
            EXPECT_EQ(exception.qvrReason(), NSString(u"Precondition Failed: [self length] == 4"));
            EXPECT_EQ(exception.userInfo()[QVRExceptionLocation], Value(u"NSString+QVRBasics:608 -qvrFourCharCodeValue"));
        }
        EXPECT_EQ(log.lines,
            std::vector<NSString>{
                u"NSString+QVRBasics:608 -qvrFourCharCodeValue: Assertion Failed: Precondition Failed: [self length] == 4"});
    }
}
