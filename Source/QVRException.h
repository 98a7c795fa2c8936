#pragma once

#include "Platform/Foundation/NSException.h"

// Key in the user info of a QVRException: the location text made by describe() (a string).
inline const NSString QVRExceptionLocation = u"QVRExceptionLocation";

// Names of the exceptions that QVRFunctions throws: the one it takes when the caller gives none, and the one of a failed
// assertion.
inline const NSString QVRExceptionName = u"QVRException";
inline const NSString QVRAssertionFailedException = u"QVRAssertionFailedException";

// The library's exception: a broken promise of the program and the place where it was noticed.
class QVRException : public NSException {
public:
    using NSException::NSException;

    // "REASON at LOCATION". Without a location in the user info the text ends in " at (null)".
    [[nodiscard]] NSString reason() const override;
    // The reason alone.
    [[nodiscard]] NSString qvrReason() const;
};
