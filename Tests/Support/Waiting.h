#pragma once

#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <chrono>
#include <ctime>

namespace support {

// Seconds of the monotonic clock.
inline double now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Seconds of processor time that the calling thread has used.
inline double processorTime()
{
    timespec time = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

inline void runLoopFor(double seconds)
{
    NSRunLoop::currentRunLoop().runUntilDate(NSDate::dateWithTimeIntervalSinceNow(seconds));
}

// One pass of the run loop that does not wait.
inline void runLoopOnce()
{
    NSRunLoop::currentRunLoop().runUntilDate(NSDate());
}

// Runs the loop in short slices until `condition` holds, for at most `limit` seconds. Whether it came to hold.
template <typename Condition>
[[nodiscard]] bool runLoopUntil(Condition condition, double limit = 10)
{
    const double end = now() + limit;
    while (!condition()) {
        if (now() > end)
            return false;
        runLoopFor(0.005);
    }
    return true;
}

}
