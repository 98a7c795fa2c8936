#include "Tools/EndRequests.h"

#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/Value.h"
#include "Tools/ResultRecord.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

using std::chrono::steady_clock;
using namespace std::chrono_literals;

// How long the main thread has to give the record, and then to clean up, before that is taken from it.
constexpr auto answerTime = 3s;
constexpr auto cleanUpTime = 15s;

sigset_t endSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&signals, signal);
    return signals;
}

void notify(const FileDescriptor& event)
{
    const uint64_t one = 1;
    [[maybe_unused]] const auto written = write(event.get(), &one, sizeof one);
}

void takeNotice(const FileDescriptor& event)
{
    uint64_t count;
    [[maybe_unused]] const auto taken = read(event.get(), &count, sizeof count);
}

int millisecondsUntil(steady_clock::time_point time)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(time - steady_clock::now()).count() + 1;
    return static_cast<int>(std::clamp<int64_t>(left, 0, std::numeric_limits<int>::max()));
}

}

void EndRequests::blockSignals()
{
    const sigset_t signals = endSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

EndRequests::EndRequests(NSString address) : _address(std::move(address))
{
    const sigset_t signals = endSignals();
    pthread_sigmask(SIG_BLOCK, &signals, &_previousSignals);
    _signals.reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    _changes.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    _requests.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    // Without descriptors a capture cannot run either, and says so itself; the signals then end the process as ever.
    if (!_signals || !_changes || !_requests) {
        pthread_sigmask(SIG_SETMASK, &_previousSignals, nullptr);
        return;
    }
    _source = std::make_unique<RunLoopFileSource>(_requests.get(), FileReadiness::Readable, [this] { finish(); });
    _thread = std::thread([this] { watch(); });
}

EndRequests::~EndRequests()
{
    if (!_thread.joinable())
        return;
    {
        const std::lock_guard lock(_mutex);
        _isGoingAway = true;
    }
    notify(_changes);
    _thread.join();
    // A signal that came too late to matter must not end the process after its answer.
    signalfd_siginfo late;
    while (read(_signals.get(), &late, sizeof late) > 0) { }
    pthread_sigmask(SIG_SETMASK, &_previousSignals, nullptr);
}

void EndRequests::setTimeLimit(int64_t seconds)
{
    if (seconds <= 0)
        return;
    {
        const std::lock_guard lock(_mutex);
        // More than a year is no limit that could be met.
        _limit = _start + std::chrono::seconds(std::min<int64_t>(seconds, 366 * 24 * 3600));
    }
    notify(_changes);
}

NSError EndRequests::errorFor(int64_t code, const NSString& reason) const
{
    NSDictionary userInfo{{NSLocalizedFailureReasonErrorKey, reason}};
    if (_address)
        userInfo.setObject(_address, NSURLErrorFailingURLStringErrorKey);
    if (const NSURL url = NSURL::URLWithString(_address))
        userInfo.setObject(url, NSURLErrorKey);
    return NSError(NSURLErrorDomain, code, userInfo);
}

// The error to end with; nothing when there is nothing to end any more.
std::optional<NSError> EndRequests::waitForRequest()
{
    for (;;) {
        std::optional<steady_clock::time_point> limit;
        {
            const std::lock_guard lock(_mutex);
            if (_isGoingAway)
                return {};
            limit = _limit;
        }
        if (limit && steady_clock::now() >= *limit)
            return errorFor(NSURLErrorTimedOut, u"The capture took longer than the setting “WebToolMaxCaptureTime” allows.");
        pollfd events[] = {{_signals.get(), POLLIN, 0}, {_changes.get(), POLLIN, 0}};
        poll(events, 2, limit ? millisecondsUntil(*limit) : -1);
        takeNotice(_changes);
        signalfd_siginfo news;
        if (read(_signals.get(), &news, sizeof news) == sizeof news) {
            return errorFor(NSURLErrorCancelled,
                NSString::stringWithFormat(
                    u"The capture was ended by the signal “%s”.", sigdescr_np(static_cast<int>(news.ssi_signo))));
        }
    }
}

void EndRequests::watch()
{
    const std::optional<NSError> error = waitForRequest();
    if (!error)
        return;
    {
        const std::lock_guard lock(_mutex);
        _error = *error;
    }
    notify(_requests);
    const auto isGone = [this](steady_clock::time_point deadline) {
        for (;;) {
            {
                const std::lock_guard lock(_mutex);
                if (_isGoingAway)
                    return true;
            }
            if (steady_clock::now() >= deadline)
                return false;
            pollfd change = {_changes.get(), POLLIN, 0};
            poll(&change, 1, millisecondsUntil(deadline));
            takeNotice(_changes);
        }
    };
    if (isGone(steady_clock::now() + answerTime))
        return;
    // Where the main thread has given its answer, it is cleaning up; the engine's guard does that too when this process ends.
    if (giveAnswer(*error, {}, _address, {}) || !isGone(steady_clock::now() + cleanUpTime))
        _exit(0);
}

void EndRequests::finish()
{
    _source->pause();
    NSError error;
    {
        const std::lock_guard lock(_mutex);
        error = _error;
    }
    const NSString present = _addressSource ? _addressSource() : NSString();
    finishWithErrorAndTitleAndURL(error, {}, present ? present : _address, {});
}
