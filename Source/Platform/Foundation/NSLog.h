#pragma once

#include "Platform/Foundation/NSString.h"

// Writes one line to standard error: the local time, the process's name, its identifier and the thread's, and `text`, as in
// "2026-03-01 12:00:00.000000+0100 name[12:12] text". A line end is added unless the text ends in one. The line goes out in one
// write, so that lines of several threads and processes do not mix. Where standard error fails, or is non-blocking and has no
// room for 1 s, the rest of the line is dropped.
void NSLogText(const NSString& text);

// The same with a format (see NSString::stringWithFormat).
template <typename... Arguments>
void NSLog(const NSString& format, const Arguments&... arguments)
{
    NSLogText(NSString::stringWithFormat(format, arguments...));
}

// Writes all of `line` to standard error in one write if the system takes it whole, under the same rule as above.
void writeToStandardError(std::string_view line);
