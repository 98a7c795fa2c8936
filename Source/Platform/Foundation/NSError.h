#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSErrorCodes.h"
#include "Platform/Foundation/NSString.h"

#include <cstdint>
#include <memory>

// A failure: domain, code, and a user info that may be absent. Immutable; copies share their contents. A default-constructed one
// is absent ("no error").
class NSError {
public:
    NSError() = default;
    NSError(NSString domain, int64_t code, NSDictionary userInfo = {});

    [[nodiscard]] bool isAbsent() const { return _contents == nullptr; }
    explicit operator bool() const { return _contents != nullptr; }
    [[nodiscard]] NSString domain() const;
    [[nodiscard]] int64_t code() const;
    [[nodiscard]] NSDictionary userInfo() const;

    // The user info's own text, else the text that the platform derives from domain and code: for known codes of the Cocoa,
    // POSIX, URL, WebKit and OS-status domains their sentence, otherwise "The operation couldn’t be completed. (DOMAIN error
    // CODE.)"; a failure reason in the user info takes the place of the parenthesis. Never absent for a present error.
    [[nodiscard]] NSString localizedDescription() const;
    // The user info's own text, else what the platform derives (the POSIX domain names errno's meaning, file errors their cause);
    // absent otherwise.
    [[nodiscard]] NSString localizedFailureReason() const;
    // The user info's own text; absent otherwise.
    [[nodiscard]] NSString localizedRecoverySuggestion() const;
    // "Error Domain=D Code=C \"localized description\" UserInfo={key=value, …}".
    [[nodiscard]] NSString description() const;

    // Same domain, code and user info; two absent errors are equal.
    friend bool operator==(const NSError& a, const NSError& b);

private:
    struct Contents;
    std::shared_ptr<const Contents> _contents;
};

// An error of NSPOSIXErrorDomain or, where the platform has a code of its own for a file operation (no such file, no permission,
// no space …), of NSCocoaErrorDomain, with the path under NSFilePathErrorKey and the errno value's own error as underlying one.
// `forWriting` chooses between the reading and writing codes; a writer's missing file is told as the missing folder that it is.
[[nodiscard]] NSError NSFileErrorFromErrno(int errnoValue, const NSString& path, bool forWriting);
