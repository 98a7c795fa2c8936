#pragma once

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/Value.h"

// The complete text of an error for logs: "<NSError Domain=D Code=C UserInfo={…}>" with the user info laid out by prettyPrint.
// The description, failure reason and recovery suggestion that the platform derives are shown beside the user info's own entries;
// an underlying error is shown as its own full description, so chains are told to any depth. Absent for an absent error.
//
// Deliberate: while the setting "ErrorShortLogging" (boolean, the process's own defaults) is on, each call first writes
// "Error: DESCRIPTION" to the system log, also for each underlying error.
[[nodiscard]] NSString qvrFullDescription(const NSError& error);

// The text of any value, over several lines: strings in double quotes (nothing escaped), the elements of an array between
// parentheses and the entries "key = value" of a dictionary, in the order of their keys, between braces, one to a line, errors by
// qvrFullDescription, and anything else by its own description, in which each backslash followed by "n" becomes a new line. Every
// new line in the text of a value that is no error is followed by four blanks, so nesting indents.
// Deliberate: that holds for the closing bracket too.
// Absent for an absent value. A stand-in object that cannot tell its class gives its plain description.
[[nodiscard]] NSString prettyPrint(const Value& value);

// An exception as an error of QVRErrorDomain, QVRExceptionErrorCode. Its user info is the exception's with the name as
// description, the reason as recovery suggestion and "NAME - REASON\nStack Trace: TRACE" as failure reason. Without the
// stack-trace capability (see QVRStackTrace.h) the trace is "<unknown>"; with it, a short form of the failure reason stands
// under QVRShortFailureReason.
[[nodiscard]] NSError qvrErrorFromException(const NSException& exception);

// The error with a user info that an archiver can write: underlying errors (and any other ones) are made archivable in turn, and
// what cannot be archived is replaced by its description. The user info of the result is never absent.
// Deliberate: only the top level is looked at; an array or dictionary is kept whole whatever it holds.
[[nodiscard]] NSError qvrArchivableError(const NSError& error);
