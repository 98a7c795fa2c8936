#include "Platform/Foundation/NSTimer.h"

#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/RunLoopSource.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace {

constexpr double ShortestInterval = 0.0001;   // seconds

}

struct NSTimer::State {
    int64_t fireTime = 0;   // monotonic microseconds
    int64_t interval = 0;   // microseconds; 0 when the timer does not repeat
    std::function<void()> block;
    std::optional<RunLoopSource> source;

    // Takes the timer off the loop, or sets it to the first moment of its schedule that is still to come.
    void moveOn()
    {
        if (interval == 0) {
            source.reset();
            return;
        }
        const int64_t missed = std::max<int64_t>(0, monotonicMicroseconds() - fireTime) / interval;
        fireTime += (missed + 1) * interval;
        source->setReadyTime(fireTime);
    }
};

NSTimer NSTimer::scheduledTimerWithTimeInterval(double seconds, bool repeats, std::function<void()> block)
{
    const double interval = seconds > ShortestInterval ? seconds : ShortestInterval;
    auto state = std::make_shared<State>();
    state->fireTime = monotonicMicrosecondsAfter(interval);
    if (repeats)
        state->interval = std::max<int64_t>(1, state->fireTime - monotonicMicroseconds());
    state->block = std::move(block);
    state->source.emplace(NSRunLoop::currentRunLoop(), RunLoopSource::Reentry::Refused, [weak = std::weak_ptr(state)] {
        // The block may invalidate or destroy the timer: hold on to what is running.
        const auto running = weak.lock();
        if (!running)
            return;
        running->moveOn();
        running->block();
    });
    state->source->setReadyTime(state->fireTime);
    return NSTimer(std::move(state));
}

NSTimer& NSTimer::operator=(NSTimer&& other) noexcept
{
    if (this != &other) {
        invalidate();
        _state = std::move(other._state);
    }
    return *this;
}

bool NSTimer::isValid() const
{
    return _state && _state->source;
}

void NSTimer::invalidate()
{
    if (const auto state = std::exchange(_state, nullptr))
        state->source.reset();
}
