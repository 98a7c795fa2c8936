#pragma once

#include "Platform/Foundation/FormatArgument.h"
#include "Platform/Foundation/NSString.h"

#include <cstdint>

// The platform's own answer to a broken assertion, for checks that are not made through the library's assertions. Both operations
// write "*** Assertion failure in FUNCTION, FILE:LINE" to the system log and throw an NSException named
// NSInternalInconsistencyException whose reason is the description. An absent function name reads "<Unknown Function>", an absent
// file name "<Unknown File>".
class NSAssertionHandler {
public:
    // `method` is the operation's full name, such as "-[QVRLogger logPrefix:message:area:]".
    template <typename... Arguments>
    [[noreturn]] static void handleFailureInMethod(const NSString& method, const NSString& file, int64_t line,
        const NSString& descriptionFormat, const Arguments&... arguments)
    {
        handleFailure(method, file, line, NSString::stringWithFormat(descriptionFormat, arguments...));
    }
    template <typename... Arguments>
    [[noreturn]] static void handleFailureInFunction(const NSString& function, const NSString& file, int64_t line,
        const NSString& descriptionFormat, const Arguments&... arguments)
    {
        handleFailure(function, file, line, NSString::stringWithFormat(descriptionFormat, arguments...));
    }

private:
    [[noreturn]] static void handleFailure(
        const NSString& function, const NSString& file, int64_t line, const NSString& description);
};
