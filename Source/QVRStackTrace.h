#pragma once

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"

#include <functional>

// What the program's exceptions can tell about call stacks. Each function may be missing, and each may give an absent text. They
// are called on the thread that makes the error, at any time.
struct QVRStackTraceCapability {
    std::function<NSString()> qvrCurrentStackTrace;                   // the call stack of the caller
    std::function<NSString(const NSException&)> qvrStackTrace;        // the call stack of the exception
    std::function<NSString(const NSException&)> qvrShortStackTrace;   // the same in short
};

// The optional capability to put call stacks into errors. A process has none until one is installed. Safe from any thread.
class QVRStackTrace {
public:
    QVRStackTrace() = delete;

    // Replaces the capability of the whole process; a default-constructed one takes it away.
    static void install(QVRStackTraceCapability capability);
    [[nodiscard]] static QVRStackTraceCapability capability();

    // What the C++ runtime offers: the call stack of the caller or, for an exception, that of the place where it was made. A long
    // text has one line for each frame, the innermost first, "INDEX MODULE ADDRESS FUNCTION + OFFSET"; a short one the functions'
    // names alone, joined by " < ". Functions that the program does not export to the dynamic linker have no name: "???".
    [[nodiscard]] static QVRStackTraceCapability systemCapability();
};
