#include "Platform/Foundation/NSDateFormatter.h"

#include "Platform/Foundation/NSDate.h"

#include <cmath>
#include <mutex>
#include <string>
#include <unicode/udat.h>
#include <utility>

struct NSDateFormatter::Formatter {
    NSString pattern;
    std::mutex mutex;                // ICU's formatters serve one thread at a time
    UDateFormat* format = nullptr;   // opened at first use: it is costly, and most programs log nothing

    ~Formatter() { close(); }
    void close()
    {
        if (format)
            udat_close(std::exchange(format, nullptr));
    }
};

NSDateFormatter::NSDateFormatter() : _formatter(std::make_unique<Formatter>()) { }

NSDateFormatter::~NSDateFormatter() = default;

void NSDateFormatter::setDateFormat(const NSString& pattern)
{
    const std::lock_guard lock(_formatter->mutex);
    _formatter->pattern = pattern;
    _formatter->close();
}

NSString NSDateFormatter::stringFromDate(const NSDate& date) const
{
    const std::lock_guard lock(_formatter->mutex);
    const auto pattern = _formatter->pattern.units();
    if (date.isAbsent() || pattern.empty())
        return {};
    UErrorCode status = U_ZERO_ERROR;
    if (!_formatter->format) {
        _formatter->format = udat_open(UDAT_PATTERN, UDAT_PATTERN, "en_US_POSIX", nullptr, -1, pattern.data(),
            static_cast<int32_t>(pattern.size()), &status);
    }
    if (U_FAILURE(status))
        return {};
    // A date holds about a tenth of a microsecond at best: without rounding to whole ones, .123 would be cut to .122.
    const double microseconds = std::round((date.timeIntervalSinceReferenceDate() + NSTimeIntervalSince1970) * 1e6);
    const double milliseconds = std::floor(microseconds / 1000);
    std::u16string text(64, u'\0');
    int32_t length =
        udat_format(_formatter->format, milliseconds, text.data(), static_cast<int32_t>(text.size()), nullptr, &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        status = U_ZERO_ERROR;
        text.resize(static_cast<size_t>(length));
        length = udat_format(_formatter->format, milliseconds, text.data(), length, nullptr, &status);
    }
    if (U_FAILURE(status))
        return {};
    text.resize(static_cast<size_t>(length));
    return NSString(std::move(text));
}
