#pragma once

#include <functional>
#include <memory>

// A timer of the run loop of the thread that scheduled it; used on that thread only. The object owns the timer: when it goes, the
// timer is invalidated.
class NSTimer {
public:
    NSTimer() = default;   // not valid
    NSTimer(NSTimer&&) noexcept = default;
    NSTimer& operator=(NSTimer&& other) noexcept;
    ~NSTimer() { invalidate(); }

    // Calls `block` `seconds` from now and, when it repeats, again after each further `seconds`. Firings that could not
    // take place in time are made up for by one; a timer does not fire while its own block runs the loop. Intervals of 0.1
    // ms and less count as 0.1 ms.
    [[nodiscard]] static NSTimer scheduledTimerWithTimeInterval(double seconds, bool repeats, std::function<void()> block);

    // Whether it will fire again. One that does not repeat is invalid from the start of its block.
    [[nodiscard]] bool isValid() const;
    // The block is not called any more, and is released (once it returns, when called from the block itself).
    void invalidate();

private:
    struct State;
    explicit NSTimer(std::shared_ptr<State> state) : _state(std::move(state)) { }
    std::shared_ptr<State> _state;
};
