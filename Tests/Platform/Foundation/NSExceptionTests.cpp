#include "Platform/Foundation/NSException.h"

#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>

namespace {

class Located : public NSException {
public:
    using NSException::NSException;
    NSString reason() const override { return NSException::reason().stringByAppendingString(u" at home"); }
};

}

TEST(NSException, CarriesNameReasonAndUserInfo)
{
    const NSException exception(NSRangeException, u"Too far", {{u"a", 1}});
    EXPECT_EQ(exception.name(), NSString(u"NSRangeException"));
    EXPECT_EQ(exception.reason(), NSString(u"Too far"));
    EXPECT_EQ(exception.userInfo(), (NSDictionary{{u"a", 1}}));
    EXPECT_TRUE(NSException(u"N", u"R").userInfo().isAbsent());
}

TEST(NSException, DescribesItselfByReasonOrName)
{
    EXPECT_EQ(NSException(u"N", u"R").description(), NSString(u"R"));
    EXPECT_EQ(NSException(u"N", {}).description(), NSString(u"N"));
    EXPECT_STREQ(NSException(u"N", u"Größe").what(),
        "Gr\xc3\xb6\xc3\x9f"
        "e");
    EXPECT_STREQ(NSException(u"N", {}).what(), "N");
    EXPECT_STREQ(NSException({}, {}).what(), "");
}

TEST(NSException, LetsSubclassesSayMore)
{
    try {
        throw Located(u"N", u"R");
    } catch (const std::exception& exception) {
        EXPECT_STREQ(exception.what(), "R at home");
        EXPECT_STREQ(exception.what(), "R at home");
    }
}
