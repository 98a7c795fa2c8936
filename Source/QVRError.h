#pragma once

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/Value.h"

#include <cstdint>
#include <optional>

// The library's errors. An error is immutable: context is added on its way up by operations that give a new one with the
// same domain and code. None of them fails. What is absent is stored as a placeholder, and which one differs on purpose,
// since readers of the records rely on it: the text "<nil>", the null object, or the empty text, as each operation says. An
// absent error stays absent.

inline const NSString QVRErrorDomain = u"QVRErrorDomain";

// Codes that the library itself uses in its domain.
inline constexpr int64_t QVRExceptionErrorCode = 5;             // qvrErrorFromException
inline constexpr int64_t QVRRequirementFailedErrorCode = 901;   // qvrRequirementFailedError
inline constexpr int64_t QVRUnsupportedKeyErrorCode = 1001;     // qvrErrorWithUnsupportedKey
inline constexpr int64_t QVRUnexpectedValueErrorCode = 2000;    // qvrErrorWithActualValue

// Keys of the user info. Where a failure happened:
inline const NSString QVRFile = u"QVRFile";   // path of the source file
inline const NSString QVRLine = u"QVRLine";   // number
inline const NSString QVRFunction = u"QVRFunction";
inline const NSString QVRCodeString = u"QVRCodeString";     // the expression that failed
inline const NSString QVRStackFrames = u"QVRStackFrames";   // array of texts "FUNCTION (LINE)", the newest first
// What failed:
inline const NSString QVRFailingObject = u"QVRFailingObject";
inline const NSString QVRUnderlyingReason = u"QVRUnderlyingReason";   // any value, usually a text
inline const NSString QVRExpectedType = u"QVRExpectedType";           // class
inline const NSString QVRActualType = u"QVRActualType";               // class, or the null object
inline const NSString QVRArguments = u"QVRArguments";   // array: the arguments of a failed command; or the null object
inline const NSString QVRFailingKey = u"QVRFailingKey";
inline const NSString QVRExpectedValue = u"QVRExpectedValue";
inline const NSString QVRActualValue = u"QVRActualValue";
// The place that a file was to go to; its own place stands under NSFilePathErrorKey.
inline const NSString QVRDestinationFilePath = u"NSDestinationFilePath";
// Of errors made from exceptions:
inline const NSString QVRShortFailureReason = u"QVRShortFailureReason";
inline const NSString QVRIsMacAppStoreVersion = u"QVRIsMacAppStoreVersion";   // true, or no entry
inline const NSString QVRIsInAppSandbox = u"QVRIsInAppSandbox";               // true, or no entry

// An error of QVRErrorDomain with just this user info.
[[nodiscard]] NSError QVRError1(int64_t code, const NSDictionary& userInfo);

// An error that tells its place in the source. The four entries replace those of the same keys in `userInfo`, which may be
// absent. C strings are UTF-8; "<nil>" is stored for a null pointer.
[[nodiscard]] NSError qvrErrorWithDomain(const NSString& domain, int64_t code, const char* file, uint64_t line,
    const char* function, const char* codeString, const NSDictionary& userInfo);

// A stated requirement (`object`, usually its text) was not met. An absent object is stored as "". Where the stack-trace
// capability is installed (see QVRStackTrace.h), the recovery suggestion is the current call stack.
[[nodiscard]] NSError qvrRequirementFailedError(const Value& object, const NSDictionary& userInfo = {});

// An error of the library's domain about `failingObject`, "<nil>" when absent.
[[nodiscard]] NSError qvrErrorWithCode(int64_t code, const Value& failingObject);

// A key in a file or request is not supported.
[[nodiscard]] NSError qvrErrorWithUnsupportedKey(const Value& key, const NSURL& forURL);

// A file holds an object of another class than expected: NSCocoaErrorDomain, NSFileReadCorruptFileError. The address's path is
// stored as "<nil>" when there is none; object and classes as in qvrErrorBySettingFailingObject.
[[nodiscard]] NSError qvrErrorWithFailingObject(
    const Value& object, const std::optional<Class>& expectedClass, const NSURL& forURL);

// A value differs from the expected one. Absent values are stored as "<nil>"; the description prints them as "(null)".
[[nodiscard]] NSError qvrErrorWithActualValue(const Value& actual, const Value& expected, const Value& forKey);

// Whether `actual` equals `expected`. An absent actual value never does. When false, the error of qvrErrorWithActualValue with
// this operation's stack frame goes to `*error` if given; when true, `*error` is left untouched.
[[nodiscard]] bool qvrCheckValue(const Value& actual, const Value& expected, const Value& forKey, NSError* error = nullptr);

// The one step under all setters: the error with `object`, or "<nil>" when absent, under `forKey`. An absent key changes nothing.
[[nodiscard]] NSError qvrErrorBySettingObject(const NSError& error, const Value& object, const NSString& forKey);
// Sets every entry of `userInfo` in its order. An empty or absent dictionary changes nothing.
[[nodiscard]] NSError qvrErrorByAddingUserInfo(const NSError& error, const NSDictionary& userInfo);
// Stores file permission bits as octal text: "644".
[[nodiscard]] NSError qvrErrorBySettingMode(const NSError& error, uint32_t mode, const NSString& forKey);

// The file: under NSFilePathErrorKey. `cPath` is a path as the file system spells it.
[[nodiscard]] NSError qvrErrorBySettingFilePath(const NSError& error, const NSString& path);
[[nodiscard]] NSError qvrErrorBySettingFileURL(const NSError& error, const NSURL& url);
[[nodiscard]] NSError qvrErrorBySettingCFilePath(const NSError& error, const char* cPath);
// Under NSURLErrorKey.
[[nodiscard]] NSError qvrErrorBySettingURL(const NSError& error, const NSURL& url);
// Under QVRDestinationFilePath.
[[nodiscard]] NSError qvrErrorBySettingDestinationFilePath(const NSError& error, const NSString& path);

// Puts the frame "FUNCTION (LINE)" before the frames that the error has already.
[[nodiscard]] NSError qvrErrorByAddingStackFrame(const NSError& error, const char* function, uint64_t line);

// Under the platform's keys for description, recovery suggestion and underlying error, and QVRUnderlyingReason.
[[nodiscard]] NSError qvrErrorBySettingDescription(const NSError& error, const NSString& description);
[[nodiscard]] NSError qvrErrorBySettingRecoverySuggestion(const NSError& error, const NSString& suggestion);
[[nodiscard]] NSError qvrErrorBySettingUnderlyingError(const NSError& error, const NSError& underlyingError);
[[nodiscard]] NSError qvrErrorBySettingUnderlyingReason(const NSError& error, const Value& reason);

// Under QVRFailingObject; the null object when absent.
[[nodiscard]] NSError qvrErrorBySettingFailingObject(const NSError& error, const Value& object);
// The same, then the expected class ("<nil>" when absent) under QVRExpectedType and the object's class (the null object when
// there is no object) under QVRActualType.
[[nodiscard]] NSError qvrErrorBySettingFailingObject(
    const NSError& error, const Value& object, const std::optional<Class>& expectedClass);

// The arguments of a failed command, under QVRArguments; the null object when absent.
[[nodiscard]] NSError qvrErrorBySettingArguments(const NSError& error, const NSArray& arguments);
// Under NSHelpAnchorErrorKey; "" when absent.
[[nodiscard]] NSError qvrErrorBySettingHelpAnchor(const NSError& error, const NSString& anchor);

// Whether the error has this domain and this code. False for an absent error.
[[nodiscard]] bool qvrHasDomain(const NSError& error, const NSString& domain, int64_t code);
// Whether the error says that a file may not be written, or read by the POSIX code: NSCocoaErrorDomain 513 or 512,
// NSPOSIXErrorDomain EACCES, or NSCocoaErrorDomain 13.
// Deliberate: the last pair puts the POSIX number under the platform's domain, which some callers do.
[[nodiscard]] bool qvrIsFilePermissionsError(const NSError& error);
