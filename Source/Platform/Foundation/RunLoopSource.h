#pragma once

#include <cstdint>
#include <functional>

class NSRunLoop;
struct _GSource;

// One thing that a run loop waits for: a moment, a file descriptor's readiness, or both. The building block of NSTimer and
// RunLoopFileSource. Attached while it lives; the callback is not called after its destruction, which the callback itself may
// cause. Used on the loop's own thread only.
class RunLoopSource {
public:
    // Whether the callback may be called again while it runs the loop.
    enum class Reentry { Refused, Allowed };

    RunLoopSource(NSRunLoop& loop, Reentry reentry, std::function<void()> callback);
    RunLoopSource(const RunLoopSource&) = delete;
    RunLoopSource& operator=(const RunLoopSource&) = delete;
    ~RunLoopSource();

    // Microseconds of the monotonic clock from which on the callback is called in every pass, until another time is set.
    static constexpr int64_t Never = -1;
    void setReadyTime(int64_t monotonicMicroseconds);

    // Calls back in every pass in which poll(2) reports one of `events`, an error or a hang-up for the borrowed descriptor.
    void watchFile(int fileDescriptor, short events);
    void unwatchFile();

    // Calls `callback` once in the loop's next pass. From any thread.
    static void performOnce(NSRunLoop& loop, std::function<void()> callback);

private:
    _GSource* _source;
    void* _fileTag = nullptr;
};

// The monotonic clock, in microseconds.
[[nodiscard]] int64_t monotonicMicroseconds();
// The moment `seconds` from now on that clock. Times that it cannot hold are cut to its last moment; not a number counts as 0.
[[nodiscard]] int64_t monotonicMicrosecondsAfter(double seconds);
