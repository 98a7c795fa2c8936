#pragma once

#include <deque>
#include <exception>
#include <functional>

class NSDate;
struct _GMainContext;

// What a thread waits in. Timers, file sources, performed blocks and the callbacks of GLib-based libraries run only inside
// runUntilDate, on the loop's own thread. The main thread's loop is GLib's default main context; every other thread gets a
// context of its own, which is that thread's default one while the thread lives.
class NSRunLoop {
public:
    // The calling thread's loop, made at first use. It lives as long as its thread; the main thread's lives
    // to the end of the process.
    [[nodiscard]] static NSRunLoop& currentRunLoop();
    NSRunLoop(const NSRunLoop&) = delete;
    NSRunLoop& operator=(const NSRunLoop&) = delete;
    ~NSRunLoop();

    // Delivers what becomes due until `date` and waits in between, without using the processor; also when nothing is attached.
    // What is due at the end is delivered in a last pass that does not wait; a past or absent date makes only that pass. The wait
    // is measured on the monotonic clock, so setting the wall clock does not change it. A callback may run the loop again, to any
    // depth. An exception that a callback throws ends the innermost run and leaves it here; callbacks that were due with it wait
    // for the next run. To be called on the loop's own thread only, else NSInternalInconsistencyException is thrown.
    void runUntilDate(const NSDate& date);

    // Runs `block` once in the next pass, in the order of the calls. From any thread, while the loop's thread lives.
    void performBlock(std::function<void()> block);

    // For callbacks of C libraries, which no exception may cross: calls `callback`, and keeps what it throws for the run that is
    // in progress (or else the next one) to rethrow. On the loop's own thread only.
    void guard(const std::function<void()>& callback);
    // Whether a kept exception waits to be rethrown. Whoever delivers callbacks holds them back until then.
    [[nodiscard]] bool holdsException() const { return !_exceptions.empty(); }

    // Borrowed; for GLib-based libraries that want to be told where to deliver.
    [[nodiscard]] _GMainContext* context() const { return _context; }

private:
    enum class Thread { Main, Other };
    enum class Pass { MayWait, AtOnce };
    explicit NSRunLoop(Thread thread);
    void makePass(Pass pass);

    _GMainContext* _context;
    Thread _thread;
    std::deque<std::exception_ptr> _exceptions;
};
