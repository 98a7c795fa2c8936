#pragma once

#include "Platform/Foundation/NSDate.h"

#include <algorithm>
#include <chrono>
#include <optional>

// The end of a wait. It comes when that much time has passed, whatever the system's clock is set to meanwhile; a default-constructed
// one is absent and never comes.
class Deadline {
public:
    Deadline() = default;
    // So many seconds from now; it has passed already when that is negative.
    [[nodiscard]] static Deadline after(double seconds) { return Deadline(std::clamp(seconds, -longest, longest)); }

    explicit operator bool() const { return _end.has_value(); }
    [[nodiscard]] bool hasPassed() const { return _end && std::chrono::steady_clock::now() >= *_end; }
    // What the clock will show then unless it is set; absent with the deadline.
    [[nodiscard]] const NSDate& date() const { return _date; }

private:
    // A lifetime; far less than the clock's type can hold.
    static constexpr double longest = 1e9;

    explicit Deadline(double seconds)
        : _date(NSDate::dateWithTimeIntervalSinceNow(seconds)),
          _end(std::chrono::steady_clock::now()
              + std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(seconds)))
    {
    }

    NSDate _date;
    std::optional<std::chrono::steady_clock::time_point> _end;
};
