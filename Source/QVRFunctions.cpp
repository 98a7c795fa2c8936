#include "QVRFunctions.h"

#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/Value.h"

#include <atomic>
#include <string>

// The backstop aborts in every build, so the C library's declaration is wanted even where assert() itself is switched off.
#undef NDEBUG
#include <cassert>

static std::atomic<QVRLoggingDelegate*> loggingDelegate = nullptr;

// The text of a C string; an absent one for none.
static NSString stringFromC(const char* text)
{
    return text ? NSString::stringWithRepairedUTF8(text) : NSString();
}

NSString describe(const char* file, uint64_t line, const Receiver& object, const Selector& selector)
{
    const NSString location = NSString::stringWithFormat(u"%@:%lu", stringFromC(file).lastPathComponent(), line);
    NSString method = u"";
    if (!object.isAbsent() && selector)
        method = NSString::stringWithFormat(
            u"%c%@", object.kind() == Receiver::Kind::Class ? '+' : '-', NSStringFromSelector(selector));
    return NSString::stringWithFormat(u"%@ %@", location, method);
}

void QVRFunctions::raiseReason(const char* file, uint64_t line, const Receiver& object, const Selector& selector,
    const NSString& name, const NSDictionary& userInfo, const NSString& reason)
{
    NSMutableDictionary located = userInfo;
    located.setObject(describe(file, line, object, selector), QVRExceptionLocation);
    throw QVRException(name ? name : QVRExceptionName, reason, located);
}

void QVRFunctions::assertionFailedWithMessage(
    const char* file, uint64_t line, const Receiver& object, const Selector& selector, const NSString& message)
{
    logString(NSString::stringWithFormat(u"%@: Assertion Failed: %@", describe(file, line, object, selector), message));
    raiseFile(file, line, object, selector, QVRAssertionFailedException, NSDictionary(), u"%@", message);
}

void QVRFunctions::preconditionFailed(
    const char* conditionText, const Receiver& object, const char* operation, const SourceLocation& location)
{
    assertionFailedForFile(
        location.file, location.line, object, selectorOfOperation(operation), u"Precondition Failed: %s", conditionText);
    abortAfterAssertion(operation, location.file, location.line, ("((" + std::string(conditionText) + "))").c_str());
}

void QVRFunctions::abortAfterAssertion(const char* operation, const char* file, uint64_t line, const char* conditionText)
{
    __assert_fail(conditionText, file, static_cast<unsigned>(line), operation);
}

void QVRFunctions::logLocation(
    const char* file, uint64_t line, const Receiver& object, const Selector& selector, const NSString& message)
{
    logString(NSString::stringWithFormat(u"%@] %@", describe(file, line, object, selector), message));
}

void QVRFunctions::logFunctionMessage(const char* function, const NSString& message)
{
    logString(NSString::stringWithFormat(u"%@ %@", stringFromC(function), message));
}

void QVRFunctions::logString(const NSString& string)
{
    if (QVRLoggingDelegate* delegate = loggingDelegate.load(std::memory_order_acquire))
        delegate->logString(string);
    else
        NSLog(u"%@", string);
}

void QVRFunctions::setLoggingDelegate(QVRLoggingDelegate* delegate)
{
    loggingDelegate.store(delegate, std::memory_order_release);
}
