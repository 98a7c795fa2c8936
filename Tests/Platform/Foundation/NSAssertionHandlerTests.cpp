#include "Platform/Foundation/NSAssertionHandler.h"

#include "Platform/Foundation/NSException.h"
#include "Support/Printing.h"
#include "Support/StandardErrorCapture.h"

#include <gtest/gtest.h>
#include <string>

TEST(NSAssertionHandler, LogsThePlaceAndThrowsTheDescription)
{
    support::StandardErrorCapture capture;
    try {
        NSAssertionHandler::handleFailureInMethod(u"-[A b]", u"A.cpp", 12, u"Invalid parameter not satisfying: %@", u"x > 0");
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), NSInternalInconsistencyException);
        EXPECT_EQ(exception.reason(), NSString(u"Invalid parameter not satisfying: x > 0"));
    }
    const std::string line = capture.take();
    EXPECT_NE(line.find("*** Assertion failure in -[A b], A.cpp:12\n"), std::string::npos) << line;
}

TEST(NSAssertionHandler, NamesWhatIsUnknown)
{
    support::StandardErrorCapture capture;
    EXPECT_THROW(NSAssertionHandler::handleFailureInFunction(NSString(), NSString(), 1, u"text"), NSException);
    const std::string line = capture.take();
    EXPECT_NE(line.find("*** Assertion failure in <Unknown Function>, <Unknown File>:1\n"), std::string::npos) << line;
}
