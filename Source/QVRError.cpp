#include "QVRError.h"

#include "QVRStackTrace.h"

#include <cerrno>

static const NSString nilText = u"<nil>";

// The text of a C string; absent for none, so that the placeholder is stored.
static NSString stringFromC(const char* text)
{
    return text ? NSString::stringWithRepairedUTF8(text) : NSString();
}

static Value objectOr(const Value& object, const Value& placeholder)
{
    return object ? object : placeholder;
}

NSError QVRError1(int64_t code, const NSDictionary& userInfo)
{
    return NSError(QVRErrorDomain, code, userInfo);
}

NSError qvrErrorWithDomain(const NSString& domain, int64_t code, const char* file, uint64_t line, const char* function,
    const char* codeString, const NSDictionary& userInfo)
{
    NSMutableDictionary info = userInfo;
    info.setObject(objectOr(stringFromC(file), nilText), QVRFile);
    info.setObject(line, QVRLine);
    info.setObject(objectOr(stringFromC(function), nilText), QVRFunction);
    info.setObject(objectOr(stringFromC(codeString), nilText), QVRCodeString);
    return NSError(domain, code, info);
}

NSError qvrRequirementFailedError(const Value& object, const NSDictionary& userInfo)
{
    NSMutableDictionary info = userInfo;
    info.setObject(NSString::stringWithFormat(u"The requirement “%@” was not satisfied.", object), NSLocalizedDescriptionKey);
    info.setObject(objectOr(object, u""), QVRFailingObject);
    if (const auto capability = QVRStackTrace::capability(); capability.qvrCurrentStackTrace) {
        if (const NSString stackTrace = capability.qvrCurrentStackTrace())
            info.setObject(stackTrace, NSLocalizedRecoverySuggestionErrorKey);
    }
    return QVRError1(QVRRequirementFailedErrorCode, info);
}

NSError qvrErrorWithCode(int64_t code, const Value& failingObject)
{
    return QVRError1(code, {{QVRFailingObject, objectOr(failingObject, nilText)}});
}

NSError qvrErrorWithUnsupportedKey(const Value& key, const NSURL& forURL)
{
    return qvrErrorBySettingFileURL(QVRError1(QVRUnsupportedKeyErrorCode, {{QVRFailingKey, objectOr(key, nilText)}}), forURL);
}

NSError qvrErrorWithFailingObject(const Value& object, const std::optional<Class>& expectedClass, const NSURL& forURL)
{
    const NSError error(NSCocoaErrorDomain, NSFileReadCorruptFileError, {{NSFilePathErrorKey, objectOr(forURL.path(), nilText)}});
    return qvrErrorBySettingFailingObject(error, object, expectedClass);
}

NSError qvrErrorWithActualValue(const Value& actual, const Value& expected, const Value& forKey)
{
    const NSString description =
        NSString::stringWithFormat(u"The value for %@ was expected to be %@ but was %@.", forKey, expected, actual);
    return QVRError1(QVRUnexpectedValueErrorCode,
        {{QVRActualValue, objectOr(actual, nilText)}, {QVRExpectedValue, objectOr(expected, nilText)},
            {QVRFailingKey, objectOr(forKey, nilText)}, {NSLocalizedDescriptionKey, description}});
}

bool qvrCheckValue(const Value& actual, const Value& expected, const Value& forKey, NSError* error)
{
    if (actual.isEqual(expected))
        return true;
    if (error)
        *error = qvrErrorByAddingStackFrame(qvrErrorWithActualValue(actual, expected, forKey), __func__, __LINE__);
    return false;
}

NSError qvrErrorBySettingObject(const NSError& error, const Value& object, const NSString& forKey)
{
    if (!error || !forKey)
        return error;
    NSMutableDictionary info = error.userInfo();
    info.setObject(objectOr(object, nilText), forKey);
    return NSError(error.domain(), error.code(), info);
}

NSError qvrErrorByAddingUserInfo(const NSError& error, const NSDictionary& userInfo)
{
    NSError result = error;
    for (const auto& [key, object] : userInfo)
        result = qvrErrorBySettingObject(result, object, key);
    return result;
}

NSError qvrErrorBySettingMode(const NSError& error, uint32_t mode, const NSString& forKey)
{
    return qvrErrorBySettingObject(error, NSString::stringWithFormat(u"%o", mode), forKey);
}

NSError qvrErrorBySettingFilePath(const NSError& error, const NSString& path)
{
    return qvrErrorBySettingObject(error, path, NSFilePathErrorKey);
}

NSError qvrErrorBySettingFileURL(const NSError& error, const NSURL& url)
{
    return qvrErrorBySettingFilePath(error, url.path());
}

NSError qvrErrorBySettingCFilePath(const NSError& error, const char* cPath)
{
    return qvrErrorBySettingFilePath(error, stringFromC(cPath));
}

NSError qvrErrorBySettingURL(const NSError& error, const NSURL& url)
{
    return qvrErrorBySettingObject(error, url, NSURLErrorKey);
}

NSError qvrErrorBySettingDestinationFilePath(const NSError& error, const NSString& path)
{
    return qvrErrorBySettingObject(error, path, QVRDestinationFilePath);
}

NSError qvrErrorByAddingStackFrame(const NSError& error, const char* function, uint64_t line)
{
    NSMutableArray frames = {NSString::stringWithFormat(u"%@ (%lu)", stringFromC(function), line)};
    for (const Value& frame : error.userInfo().objectForKey(QVRStackFrames).array())
        frames.addObject(frame);
    return qvrErrorBySettingObject(error, frames, QVRStackFrames);
}

NSError qvrErrorBySettingDescription(const NSError& error, const NSString& description)
{
    return qvrErrorBySettingObject(error, description, NSLocalizedDescriptionKey);
}

NSError qvrErrorBySettingRecoverySuggestion(const NSError& error, const NSString& suggestion)
{
    return qvrErrorBySettingObject(error, suggestion, NSLocalizedRecoverySuggestionErrorKey);
}

NSError qvrErrorBySettingUnderlyingError(const NSError& error, const NSError& underlyingError)
{
    return qvrErrorBySettingObject(error, underlyingError, NSUnderlyingErrorKey);
}

NSError qvrErrorBySettingUnderlyingReason(const NSError& error, const Value& reason)
{
    return qvrErrorBySettingObject(error, reason, QVRUnderlyingReason);
}

NSError qvrErrorBySettingFailingObject(const NSError& error, const Value& object)
{
    return qvrErrorBySettingObject(error, objectOr(object, NSNull()), QVRFailingObject);
}

NSError qvrErrorBySettingFailingObject(const NSError& error, const Value& object, const std::optional<Class>& expectedClass)
{
    NSError result = qvrErrorBySettingFailingObject(error, object);
    result = qvrErrorBySettingObject(result, expectedClass ? Value(*expectedClass) : Value(), QVRExpectedType);
    return qvrErrorBySettingObject(result, object ? Value(object.classObject()) : Value(NSNull()), QVRActualType);
}

NSError qvrErrorBySettingArguments(const NSError& error, const NSArray& arguments)
{
    return qvrErrorBySettingObject(error, objectOr(arguments, NSNull()), QVRArguments);
}

NSError qvrErrorBySettingHelpAnchor(const NSError& error, const NSString& anchor)
{
    return qvrErrorBySettingObject(error, objectOr(anchor, u""), NSHelpAnchorErrorKey);
}

bool qvrHasDomain(const NSError& error, const NSString& domain, int64_t code)
{
    return error && domain && error.domain() == domain && error.code() == code;
}

bool qvrIsFilePermissionsError(const NSError& error)
{
    return qvrHasDomain(error, NSCocoaErrorDomain, NSFileWriteNoPermissionError)
        || qvrHasDomain(error, NSCocoaErrorDomain, NSFileWriteUnknownError) || qvrHasDomain(error, NSPOSIXErrorDomain, EACCES)
        || qvrHasDomain(error, NSCocoaErrorDomain, EACCES);
}
