#pragma once

#include <cstddef>
#include <memory>

// Keeps objects alive for a while: until the thread's innermost pool at the time of autorelease() is drained. Used like a local
// variable, on one thread.
class NSAutoreleasePool {
public:
    // Opens a pool inside the thread's current one.
    NSAutoreleasePool();
    NSAutoreleasePool(const NSAutoreleasePool&) = delete;
    NSAutoreleasePool& operator=(const NSAutoreleasePool&) = delete;
    ~NSAutoreleasePool() { drain(); }

    // Closes the pool, and all pools that were opened in it and are still open, and lets their objects go, the newest first.
    // Does nothing when the pool is closed already.
    void drain();
    // Leaves the pool open, so that an enclosing pool, or else the end of the thread, lets its objects go.
    void leaveOpen() { _place = Closed; }

    // Keeps `object` in the thread's innermost pool; without a pool until the thread ends.
    static void autorelease(std::shared_ptr<const void> object);

private:
    static constexpr size_t Closed = 0;   // place 0 is the thread's own base, which no pool object stands for
    size_t _place;
    size_t _serial;
};
