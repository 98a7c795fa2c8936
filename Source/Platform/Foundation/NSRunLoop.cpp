#include "Platform/Foundation/NSRunLoop.h"

#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/Foundation/RunLoopSource.h"

#include <glib.h>
#include <memory>

NSRunLoop::NSRunLoop(Thread thread)
    : _context(thread == Thread::Main ? g_main_context_ref(g_main_context_default()) : g_main_context_new()), _thread(thread)
{
    if (_thread == Thread::Other)
        g_main_context_push_thread_default(_context);
}

NSRunLoop::~NSRunLoop()
{
    if (_thread == Thread::Other)
        g_main_context_pop_thread_default(_context);
    g_main_context_unref(_context);
}

NSRunLoop& NSRunLoop::currentRunLoop()
{
    // The main thread's loop is never destroyed: objects with static storage may hold sources of it.
    static NSRunLoop& mainLoop = *new NSRunLoop(Thread::Main);
    thread_local std::unique_ptr<NSRunLoop> ownLoop;
    if (NSThread::isMainThread())
        return mainLoop;
    if (!ownLoop)
        ownLoop.reset(new NSRunLoop(Thread::Other));
    return *ownLoop;
}

void NSRunLoop::runUntilDate(const NSDate& date)
{
    if (this != &currentRunLoop())
        throw NSException(NSInternalInconsistencyException, u"A run loop can only be run on its own thread");
    const double seconds = date ? date.timeIntervalSinceNow() : 0;
    if (seconds > 0) {
        const int64_t end = monotonicMicrosecondsAfter(seconds);
        RunLoopSource* self = nullptr;
        // Ends the wait. A nested run may be the one that delivers it; then this run finds its time over when that one returns.
        RunLoopSource alarm(*this, RunLoopSource::Reentry::Allowed, [&self] { self->setReadyTime(RunLoopSource::Never); });
        self = &alarm;
        alarm.setReadyTime(end);
        while (monotonicMicroseconds() < end)
            makePass(Pass::MayWait);
    }
    makePass(Pass::AtOnce);
}

void NSRunLoop::makePass(Pass pass)
{
    g_main_context_iteration(_context, pass == Pass::MayWait && _exceptions.empty());
    if (_exceptions.empty())
        return;
    const std::exception_ptr exception = _exceptions.front();
    _exceptions.pop_front();
    std::rethrow_exception(exception);
}

void NSRunLoop::performBlock(std::function<void()> block)
{
    RunLoopSource::performOnce(*this, std::move(block));
}

void NSRunLoop::guard(const std::function<void()>& callback)
{
    try {
        callback();
    } catch (...) {
        _exceptions.push_back(std::current_exception());
    }
}
