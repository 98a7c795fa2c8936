#pragma once

#include "Platform/Foundation/NSString.h"

#include <memory>

class NSDate;

// Writes dates by a pattern, in local time and with the digits and names of the locale "en_US_POSIX". Safe to use from any thread
// once its pattern is set.
class NSDateFormatter {
public:
    NSDateFormatter();
    NSDateFormatter(const NSDateFormatter&) = delete;
    NSDateFormatter& operator=(const NSDateFormatter&) = delete;
    ~NSDateFormatter();

    // A pattern of Unicode Technical Standard 35, such as "yyyy-MM-dd HH:mm:ss.SSS".
    void setDateFormat(const NSString& pattern);
    // Absent when the date is absent, or no pattern or an unusable one is set. A fraction of a second is cut, not rounded.
    [[nodiscard]] NSString stringFromDate(const NSDate& date) const;

private:
    struct Formatter;
    std::unique_ptr<Formatter> _formatter;
};
