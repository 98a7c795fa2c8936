#pragma once

#include "Platform/Foundation/FormatArgument.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/Selector.h"
#include "QVRException.h"
#include "Receiver.h"
#include "SourceLocation.h"

#include <cstdint>
#include <string_view>

// Receives the lines that QVRFunctions logs, on the thread that logs them.
class QVRLoggingDelegate {
public:
    virtual ~QVRLoggingDelegate() = default;
    virtual void logString(const NSString& string) = 0;
};

// The location text "FILE:LINE METHOD": the last path component of `file` (UTF-8), the line, and "-" or, when the object is a
// class, "+" followed by the selector's name: "Loader.cpp:45 -waitUntilDone".
// Deliberate: without an object or without a selector the method is empty and the text ends in the blank.
[[nodiscard]] NSString describe(const char* file, uint64_t line, const Receiver& object, const Selector& selector);

// Assertions, raising, and the plain log channel that is always on. Formats are those of NSString::stringWithFormat.
class QVRFunctions {
public:
    QVRFunctions() = delete;

    // Throws a QVRException. An absent `name` stands for QVRExceptionName. Its user info is `userInfo` (which may be absent) with
    // the location under QVRExceptionLocation; its reason is the expanded format.
    template <typename... Arguments>
    [[noreturn]] static void raiseFile(const char* file, uint64_t line, const Receiver& object, const Selector& selector,
        const NSString& name, const NSDictionary& userInfo, const NSString& format, const Arguments&... arguments)
    {
        raiseReason(file, line, object, selector, name, userInfo, NSString::stringWithFormat(format, arguments...));
    }

    // Logs "LOCATION: Assertion Failed: MESSAGE", then throws a QVRException named QVRAssertionFailedException whose reason is
    // the message. It never comes back; a caller that must not go on whatever happens calls abortAfterAssertion() next.
    template <typename... Arguments>
    static void assertionFailedForFile(const char* file, uint64_t line, const Receiver& object, const Selector& selector,
        const NSString& format, const Arguments&... arguments)
    {
        assertionFailedWithMessage(file, line, object, selector, NSString::stringWithFormat(format, arguments...));
    }

    // The check at the top of an operation. When `condition` is false: the assertion "Precondition Failed: CONDITIONTEXT", and
    // behind it the abort. `operation` is the operation's full name, such as "-[NSString(QVR) qvrIndent:with:]", from which its
    // selector is taken; `conditionText` is the condition as written, such as "key".
    static void checkPrecondition(bool condition, const char* conditionText, const Receiver& object, const char* operation,
        const SourceLocation& location = SourceLocation::current())
    {
        if (!condition) [[unlikely]]
            preconditionFailed(conditionText, object, operation, location);
    }

    // The backstop behind a failed assertion: ends the process as the C library's assert does, naming the operation, the place
    // and the condition, "((key))" for a condition and "(false)" for a failure without one.
    [[noreturn]] static void abortAfterAssertion(
        const char* operation, const char* file, uint64_t line, const char* conditionText);

    // The selector in an operation's full name: "qvrIndent:with:" of "-[NSString(QVR) qvrIndent:with:]".
    // Absent when there is none.
    [[nodiscard]] static constexpr Selector selectorOfOperation(std::string_view operation)
    {
        const size_t blank = operation.find(' ');
        const size_t end = operation.rfind(']');
        if (blank == std::string_view::npos || end == std::string_view::npos || end <= blank)
            return {};
        return Selector(operation.substr(blank + 1, end - blank - 1));
    }

    // Logs "LOCATION] MESSAGE".
    // Deliberate: nothing opens the bracket; readers of these lines look for it.
    template <typename... Arguments>
    static void logFile(const char* file, uint64_t line, const Receiver& object, const Selector& selector, const NSString& format,
        const Arguments&... arguments)
    {
        logLocation(file, line, object, selector, NSString::stringWithFormat(format, arguments...));
    }

    // Logs "FUNCTION MESSAGE".
    template <typename... Arguments>
    static void logFunction(const char* function, const NSString& format, const Arguments&... arguments)
    {
        logFunctionMessage(function, NSString::stringWithFormat(format, arguments...));
    }

    // Hands the string, which is never taken for a format, to the delegate, or to the system log when there is none.
    static void logString(const NSString& string);

    // Replaces the delegate of the whole process; null takes it away. Borrowed: it must live as long as it is set. Meant to be
    // called once at start-up, before other threads log.
    static void setLoggingDelegate(QVRLoggingDelegate* delegate);

    // The text of the value at `pointer`, whose type is named by the platform's code for it. The codes, in the order of the
    // look-up:
    //   "c"  int8_t: "YES" for 1, "NO" for 0, else the character in single quotes
    //   "s" int16_t, "S" uint16_t, "i" int32_t, "I" uint32_t, "q" int64_t, "Q" uint64_t: decimal
    //   "f" float, "d" double, "D" long double: six decimals
    //   ":" Selector, "#" Class: the name      "^v" const void*: the address in hexadecimal
    //   "*", "r*" const char*: the C string    "[16c]" that many characters stored in place, up to a NUL. "[c]" has no such limit
    //   "{_NSRange=QQ}" NSRange, "{CGPoint=dd}" NSPoint, "{CGSize=dd}" NSSize, "{CGRect={CGPoint=dd}{CGSize=dd}}" NSRect:
    //   in braces
    //   "^{__CFString=}", "r^{__CFString=}" NSString, "@" Value: the description, "(null)" when absent
    // Any other code is a programming error: the assertion "Unhandled type encoding: CODE".
    // Deliberate: "C", "B", "l" and "L" are not handled.
    [[nodiscard]] static NSString stringFromPointer(const void* pointer, const char* typeEncoding);

private:
    [[noreturn]] static void raiseReason(const char* file, uint64_t line, const Receiver& object, const Selector& selector,
        const NSString& name, const NSDictionary& userInfo, const NSString& reason);
    static void assertionFailedWithMessage(
        const char* file, uint64_t line, const Receiver& object, const Selector& selector, const NSString& message);
    [[noreturn]] static void preconditionFailed(
        const char* conditionText, const Receiver& object, const char* operation, const SourceLocation& location);
    static void logLocation(
        const char* file, uint64_t line, const Receiver& object, const Selector& selector, const NSString& message);
    static void logFunctionMessage(const char* function, const NSString& message);
};
