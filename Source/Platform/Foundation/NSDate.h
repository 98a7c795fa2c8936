#pragma once

#include <compare>
#include <optional>

class NSString;

// Seconds between 1970-01-01 and the platform's reference date 2001-01-01, both 00:00:00 UTC.
inline constexpr double NSTimeIntervalSince1970 = 978307200.0;

// A point in time; a default-constructed one is absent.
class NSDate {
public:
    NSDate() = default;
    [[nodiscard]] static NSDate date();
    // `seconds` from now; negative ones lie in the past.
    [[nodiscard]] static NSDate dateWithTimeIntervalSinceNow(double seconds);
    [[nodiscard]] static NSDate dateWithTimeIntervalSinceReferenceDate(double seconds);

    [[nodiscard]] bool isAbsent() const { return !_seconds; }
    explicit operator bool() const { return _seconds.has_value(); }
    // Seconds since 2001-01-01 00:00:00 UTC; 0 when absent.
    [[nodiscard]] double timeIntervalSinceReferenceDate() const { return _seconds.value_or(0); }
    // Seconds from now until this date; negative when past.
    [[nodiscard]] double timeIntervalSinceNow() const;

    // "2001-01-01 00:00:00 +0000", in UTC.
    [[nodiscard]] NSString description() const;

    friend bool operator==(const NSDate&, const NSDate&) = default;
    friend std::partial_ordering operator<=>(const NSDate& a, const NSDate& b) { return a._seconds <=> b._seconds; }

private:
    explicit NSDate(double seconds) : _seconds(seconds) { }
    std::optional<double> _seconds;
};
