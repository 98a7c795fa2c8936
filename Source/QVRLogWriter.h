#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/NSString.h"

// Puts out what a QVRLogger prepared, one line at a time. Writers may be called from any thread.
class QVRLogWriter : public NSObject {
public:
    // Reads the environment variable "QVRIsInXcode" (as a boolean; unset is false).
    QVRLogWriter();
    [[nodiscard]] Class classObject() const override { return Class("QVRLogWriter"); }

    // The prefix, a blank and the message. Deliberate: with an empty prefix the line begins with the blank.
    [[nodiscard]] NSString combinePrefix(const NSString& prefix, const NSString& andMessage) const;

    // Writes one message; `area` may be absent. To be overridden: this one throws NSInvalidArgumentException.
    virtual void writePrefix(const NSString& prefix, const NSString& message, const NSString& area);

protected:
    // Whether a development environment shows standard error, so that the system log would only repeat it.
    [[nodiscard]] bool isInXcode() const { return _isInXcode; }

private:
    bool _isInXcode;
};
