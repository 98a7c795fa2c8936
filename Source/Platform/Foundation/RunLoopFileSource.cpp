#include "Platform/Foundation/RunLoopFileSource.h"

#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/RunLoopSource.h"

#include <optional>
#include <poll.h>
#include <utility>

struct RunLoopFileSource::State {
    int fileDescriptor;
    short events;
    std::function<void()> callback;
    bool paused = true;
    std::optional<RunLoopSource> source;
};

RunLoopFileSource::RunLoopFileSource(int fileDescriptor, FileReadiness readiness, std::function<void()> callback)
    : _state(std::make_shared<State>())
{
    _state->fileDescriptor = fileDescriptor;
    _state->events = readiness == FileReadiness::Readable ? POLLIN : POLLOUT;
    _state->callback = std::move(callback);
    _state->source.emplace(NSRunLoop::currentRunLoop(), RunLoopSource::Reentry::Allowed, [weak = std::weak_ptr(_state)] {
        const auto running = weak.lock();
        // Another callback of the same pass may have paused this source after it was found ready.
        if (running && !running->paused)
            running->callback();
    });
    resume();
}

RunLoopFileSource::~RunLoopFileSource()
{
    _state->source.reset();
}

void RunLoopFileSource::pause()
{
    if (std::exchange(_state->paused, true))
        return;
    // A descriptor that is polled for nothing would still report hang-ups, and the loop would spin.
    _state->source->unwatchFile();
}

void RunLoopFileSource::resume()
{
    if (std::exchange(_state->paused, false))
        _state->source->watchFile(_state->fileDescriptor, _state->events);
}

bool RunLoopFileSource::isPaused() const
{
    return _state->paused;
}
