#pragma once

#include "Platform/Foundation/CallStack.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"

#include <exception>
#include <string>

inline const NSString NSGenericException = u"NSGenericException";
inline const NSString NSRangeException = u"NSRangeException";
inline const NSString NSInvalidArgumentException = u"NSInvalidArgumentException";
inline const NSString NSInternalInconsistencyException = u"NSInternalInconsistencyException";

// A broken promise of the program, thrown by value. It is not used for failures of the outside world; those are NSErrors.
class NSException : public std::exception {
public:
    NSException(NSString name, NSString reason, NSDictionary userInfo = {});

    [[nodiscard]] NSString name() const { return _name; }
    [[nodiscard]] virtual NSString reason() const { return _reason; }
    [[nodiscard]] NSDictionary userInfo() const { return _userInfo; }
    // Where the exception was made.
    [[nodiscard]] const CallStack& callStack() const { return _callStack; }
    // The reason, or the name when there is none.
    [[nodiscard]] NSString description() const;
    // The description in UTF-8.
    [[nodiscard]] const char* what() const noexcept override;

private:
    NSString _name;
    NSString _reason;
    NSDictionary _userInfo;
    CallStack _callStack = CallStack::current();
    mutable std::string _what;
};
