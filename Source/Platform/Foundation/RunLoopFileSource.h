#pragma once

#include <functional>
#include <memory>

// Which readiness of a file descriptor is waited for.
enum class FileReadiness { Readable, Writable };

// Tells, inside runs of the current thread's run loop, that a file descriptor is ready. Watches from its construction to its
// destruction; both, and everything between, on one thread.
//
// `callback` is called in every pass in which the descriptor is ready: whoever does not take what is there, or has nothing to
// write, pauses the source or destroys it, or the loop spins. End of file, hang-up and errors count as ready, and the next read
// or write tells which. The callback may destroy the source and may run the loop, which then may call it again before it returns;
// so the descriptor should be non-blocking and "nothing there after all" is to be expected.
class RunLoopFileSource {
public:
    // The descriptor is borrowed and must stay open while the source lives.
    RunLoopFileSource(int fileDescriptor, FileReadiness readiness, std::function<void()> callback);
    RunLoopFileSource(const RunLoopFileSource&) = delete;
    RunLoopFileSource& operator=(const RunLoopFileSource&) = delete;
    ~RunLoopFileSource();

    // While paused, nothing is called back, hang-ups included. Pausing what is paused, or resuming what is not, changes nothing.
    void pause();
    void resume();
    [[nodiscard]] bool isPaused() const;

private:
    struct State;
    std::shared_ptr<State> _state;
};
