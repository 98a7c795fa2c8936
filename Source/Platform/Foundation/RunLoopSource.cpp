#include "Platform/Foundation/RunLoopSource.h"

#include "Platform/Foundation/NSRunLoop.h"

#include <glib-unix.h>
#include <limits>
#include <poll.h>
#include <utility>

namespace {

struct CallOut {
    NSRunLoop& loop;
    std::function<void()> callback;
    gboolean afterwards;
};

gboolean dispatch(GSource*, GSourceFunc, gpointer data)
{
    auto& callOut = *static_cast<CallOut*>(data);
    // The run ends with the exception, so what was due with it stays due.
    if (callOut.loop.holdsException())
        return G_SOURCE_CONTINUE;
    callOut.loop.guard(callOut.callback);
    return callOut.afterwards;
}

gboolean neverCalled(gpointer)
{
    return G_SOURCE_REMOVE;
}

GSource* makeSource(NSRunLoop& loop, std::function<void()> callback, gboolean afterwards)
{
    static GSourceFuncs functions = {nullptr, nullptr, dispatch, nullptr, nullptr, nullptr};
    GSource* source = g_source_new(&functions, sizeof(GSource));
    // GLib keeps the data alive while it is dispatched, so a callback may destroy its own source.
    g_source_set_callback(source, neverCalled, new CallOut{loop, std::move(callback), afterwards},
        [](gpointer data) { delete static_cast<CallOut*>(data); });
    return source;
}

GIOCondition conditionForEvents(short events)
{
    unsigned condition = G_IO_ERR | G_IO_HUP | G_IO_NVAL;
    if (events & POLLIN)
        condition |= G_IO_IN;
    if (events & POLLOUT)
        condition |= G_IO_OUT;
    return static_cast<GIOCondition>(condition);
}

}

RunLoopSource::RunLoopSource(NSRunLoop& loop, Reentry reentry, std::function<void()> callback)
    : _source(makeSource(loop, std::move(callback), G_SOURCE_CONTINUE))
{
    g_source_set_can_recurse(_source, reentry == Reentry::Allowed);
    g_source_attach(_source, loop.context());
}

RunLoopSource::~RunLoopSource()
{
    g_source_destroy(_source);
    g_source_unref(_source);
}

void RunLoopSource::setReadyTime(int64_t monotonicMicroseconds)
{
    g_source_set_ready_time(_source, monotonicMicroseconds);
}

void RunLoopSource::watchFile(int fileDescriptor, short events)
{
    unwatchFile();
    _fileTag = g_source_add_unix_fd(_source, fileDescriptor, conditionForEvents(events));
}

void RunLoopSource::unwatchFile()
{
    if (_fileTag)
        g_source_remove_unix_fd(_source, std::exchange(_fileTag, nullptr));
}

void RunLoopSource::performOnce(NSRunLoop& loop, std::function<void()> callback)
{
    GSource* source = makeSource(loop, std::move(callback), G_SOURCE_REMOVE);
    g_source_set_ready_time(source, 0);
    g_source_attach(source, loop.context());
    g_source_unref(source);
}

int64_t monotonicMicroseconds()
{
    return g_get_monotonic_time();
}

int64_t monotonicMicrosecondsAfter(double seconds)
{
    const int64_t now = monotonicMicroseconds();
    const double microseconds = seconds * 1e6;
    if (!(microseconds > -static_cast<double>(now)))   // also when not a number
        return microseconds < 0 ? 0 : now;
    constexpr int64_t last = std::numeric_limits<int64_t>::max();
    // The difference of two 64-bit integers does not always survive as a double, so keep a wide margin.
    if (microseconds >= static_cast<double>(last / 2))
        return last;
    return now + static_cast<int64_t>(microseconds);
}
