#include "Platform/Foundation/CallStack.h"

#include "Platform/Foundation/NSException.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

// Exported under its own name, and never merged into its caller.
[[gnu::noinline]] CallStack callStackOfNamedFunction()
{
    return CallStack::current();
}

TEST(CallStack, BeginsWithTheCallerUnlessFramesAreSkipped)
{
    const NSString names = callStackOfNamedFunction().functionNames();
    EXPECT_TRUE(names.hasPrefix(u"callStackOfNamedFunction()")) << names.UTF8();
    const CallStack all = CallStack::current();
    const CallStack skipped = CallStack::current(1);
    EXPECT_EQ(skipped.returnAddresses().size() + 1, all.returnAddresses().size());
    EXPECT_TRUE(CallStack::current(CallStack::maximumDepth + 10).isEmpty());
}

TEST(CallStack, HasALineForEachFrame)
{
    const CallStack stack = CallStack::current();
    ASSERT_FALSE(stack.isEmpty());
    const std::string text = stack.description().UTF8();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n') + 1u, stack.returnAddresses().size());
    EXPECT_EQ(text.substr(0, 4), "0   ");
}

TEST(CallStack, ThatIsEmptyHasNoTexts)
{
    EXPECT_TRUE(CallStack().description().isAbsent());
    EXPECT_TRUE(CallStack().functionNames().isAbsent());
}

TEST(NSException, KnowsWhereItWasMade)
{
    const NSException exception(u"Name", u"why");
    const NSString names = exception.callStack().functionNames();
    EXPECT_NE(names.UTF8().find("NSException_KnowsWhereItWasMade_Test::TestBody()"), std::string::npos) << names.UTF8();
}
