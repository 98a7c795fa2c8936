#include "Platform/Foundation/NSDate.h"

#include "Platform/Foundation/NSString.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>

namespace {

double secondsFromReferenceDateToNow()
{
    const std::chrono::duration<double> sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return sinceEpoch.count() - NSTimeIntervalSince1970;
}

}

NSDate NSDate::date()
{
    return NSDate(secondsFromReferenceDateToNow());
}

NSDate NSDate::dateWithTimeIntervalSinceNow(double seconds)
{
    return NSDate(secondsFromReferenceDateToNow() + seconds);
}

NSDate NSDate::dateWithTimeIntervalSinceReferenceDate(double seconds)
{
    return NSDate(seconds);
}

double NSDate::timeIntervalSinceNow() const
{
    return _seconds ? *_seconds - secondsFromReferenceDateToNow() : 0;
}

NSString NSDate::description() const
{
    if (!_seconds)
        return {};
    // Dates that the C library's calendar cannot show are shown as the last one that it can.
    constexpr double farthest = 6e16;
    const double seconds = std::isnan(*_seconds) ? 0 : std::clamp(std::floor(*_seconds), -farthest, farthest);
    const auto time = static_cast<std::time_t>(seconds + NSTimeIntervalSince1970);
    std::tm parts = {};
    gmtime_r(&time, &parts);
    return NSString::stringWithFormat(u"%04lld-%02d-%02d %02d:%02d:%02d +0000", int64_t(parts.tm_year) + 1900, parts.tm_mon + 1,
        parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}
