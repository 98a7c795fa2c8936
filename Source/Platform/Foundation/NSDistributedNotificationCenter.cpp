#include "Platform/Foundation/NSDistributedNotificationCenter.h"

#include "Platform/Foundation/DistributedNotice.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/ObjectPointer.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <deque>
#include <gio/gio.h>
#include <mutex>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto ConnectingGrace = std::chrono::milliseconds(100);

NSString takeText(GError* error)
{
    NSString text = NSString::stringWithRepairedUTF8(error ? error->message : "unknown error");
    g_clear_error(&error);
    return text;
}

// GLib delivers a connection's own news to the context that its thread had as default. Nobody wants them here.
class UnheardContext {
public:
    UnheardContext() : _context(g_main_context_new()) { g_main_context_push_thread_default(_context); }
    UnheardContext(const UnheardContext&) = delete;
    UnheardContext& operator=(const UnheardContext&) = delete;
    ~UnheardContext()
    {
        g_main_context_pop_thread_default(_context);
        g_main_context_unref(_context);
    }

private:
    GMainContext* _context;
};

// A thread started while this lives takes no signals, so that they reach the program's own threads.
class SignalsBlocked {
public:
    SignalsBlocked()
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &_previous);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &_previous, nullptr); }

private:
    sigset_t _previous;
};

}

// What the centre and its thread share. The thread holds a share of it, so that the centre can go first.
struct NSDistributedNotificationCenter::Shared {
    enum class Phase { Unused, Connecting, Connected, Gone };

    Shared(std::optional<std::string> busAddress, Report reportTo)
        : address(std::move(busAddress)), report(std::move(reportTo)), cancellable(g_cancellable_new())
    {
    }

    const std::optional<std::string> address;
    const Report report;
    const ObjectPointer<GCancellable> cancellable;

    std::mutex mutex;
    std::condition_variable changed;
    Phase phase = Phase::Unused;
    Clock::time_point connectingSince;
    std::deque<DistributedNotice> queue;
    size_t underWay = 0;   // how many at the front of the queue are being sent
    ObjectPointer<GDBusConnection> connection;

    // Whoever calls it holds the lock on the mutex; it is released for the report.
    void giveUp(std::unique_lock<std::mutex>& lock, const NSString& why);
    void run();
    static void start(const std::shared_ptr<Shared>& shared, std::unique_lock<std::mutex>& lock);
    [[nodiscard]] NSString send(GDBusConnection* bus, const std::vector<DistributedNotice>& notices) const;
};

void NSDistributedNotificationCenter::Shared::giveUp(std::unique_lock<std::mutex>& lock, const NSString& why)
{
    const bool wasClosed = std::exchange(phase, Phase::Gone) == Phase::Gone;
    queue.clear();
    underWay = 0;
    connection.reset();
    changed.notify_all();
    lock.unlock();
    if (!wasClosed && report)
        report(NSString::stringWithFormat(u"Distributed notifications are not sent: %@", why));
    lock.lock();
}

void NSDistributedNotificationCenter::Shared::start(const std::shared_ptr<Shared>& shared, std::unique_lock<std::mutex>& lock)
{
    if (!shared->address) {
        shared->giveUp(lock, u"there is no session bus");
        return;
    }
    shared->phase = Phase::Connecting;
    shared->connectingSince = Clock::now();
    try {
        const SignalsBlocked blocked;
        std::thread([shared] { shared->run(); }).detach();
    } catch (const std::system_error& error) {
        shared->giveUp(lock, NSString::stringWithRepairedUTF8(error.what()));
    }
}

void NSDistributedNotificationCenter::Shared::run()
{
    const UnheardContext unheard;
    ::pthread_setname_np(::pthread_self(), "notifications");
    GError* error = nullptr;
    ObjectPointer<GDBusConnection> opened(g_dbus_connection_new_for_address_sync(address->c_str(),
        static_cast<GDBusConnectionFlags>(
            G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, cancellable.get(), &error));
    std::unique_lock lock(mutex);
    if (!opened) {
        giveUp(lock, takeText(error));
        return;
    }
    g_dbus_connection_set_exit_on_close(opened.get(), FALSE);
    if (phase == Phase::Gone) {
        g_dbus_connection_close(opened.get(), nullptr, nullptr, nullptr);
        return;
    }
    phase = Phase::Connected;
    connection.reset(static_cast<GDBusConnection*>(g_object_ref(opened.get())));
    changed.notify_all();
    while (true) {
        changed.wait(lock, [this] { return phase == Phase::Gone || !queue.empty(); });
        if (phase == Phase::Gone)
            return;
        const std::vector<DistributedNotice> notices(queue.begin(), queue.end());
        underWay = notices.size();
        lock.unlock();
        const NSString failure = send(opened.get(), notices);
        lock.lock();
        if (phase == Phase::Gone)
            return;
        if (failure) {
            giveUp(lock, failure);
            return;
        }
        queue.erase(queue.begin(), queue.begin() + static_cast<std::ptrdiff_t>(std::exchange(underWay, 0)));
        changed.notify_all();
    }
}

// Sends the notices and waits until the bus has them. Absent, or why they were not sent.
NSString NSDistributedNotificationCenter::Shared::send(GDBusConnection* bus, const std::vector<DistributedNotice>& notices) const
{
    GError* error = nullptr;
    for (const DistributedNotice& notice : notices) {
        const ObjectPointer<GDBusMessage> message(notice.message());
        if (!g_dbus_connection_send_message(bus, message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, &error))
            return takeText(error);
    }
    // The bus works in order, so its answer to this tells that it has the notices. Having written them would not be enough: when
    // a process ends with something of the bus's unread, the system discards what the bus has not read yet.
    GVariant* answer = g_dbus_connection_call_sync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, G_MAXINT, cancellable.get(), &error);
    if (!answer)
        return takeText(error);
    g_variant_unref(answer);
    return {};
}

NSDistributedNotificationCenter& NSDistributedNotificationCenter::defaultCenter()
{
    static auto& center = *new NSDistributedNotificationCenter(sessionBusAddressFromEnvironment(), NSLogText);
    return center;
}

NSDistributedNotificationCenter::NSDistributedNotificationCenter(std::optional<std::string> busAddress, Report report)
    : _shared(std::make_shared<Shared>(std::move(busAddress), std::move(report)))
{
}

NSDistributedNotificationCenter::~NSDistributedNotificationCenter()
{
    const std::lock_guard lock(_shared->mutex);
    _shared->phase = Shared::Phase::Gone;
    _shared->queue.clear();
    g_cancellable_cancel(_shared->cancellable.get());
    // Also ends a sending that the bus does not take.
    if (_shared->connection)
        g_dbus_connection_close(_shared->connection.get(), nullptr, nullptr, nullptr);
    _shared->changed.notify_all();
}

std::optional<std::string> NSDistributedNotificationCenter::sessionBusAddressFromEnvironment()
{
    if (const char* given = std::getenv("DBUS_SESSION_BUS_ADDRESS"); given && *given) {
        // GIO answers the transport "autolaunch" by starting a bus.
        std::string usable;
        for (std::string_view rest = given; !rest.empty();) {
            const std::string_view entry = rest.substr(0, rest.find(';'));
            if (!entry.empty() && !entry.starts_with("autolaunch:"))
                usable += (usable.empty() ? "" : ";") + std::string(entry);
            rest.remove_prefix(std::min(entry.size() + 1, rest.size()));
        }
        return usable.empty() ? std::nullopt : std::optional(usable);
    }
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    if (!folder || *folder != '/')
        return {};
    const std::string path = std::string(folder) + "/bus";
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode))
        return {};
    char* escaped = g_dbus_address_escape_value(path.c_str());
    std::string address = std::string("unix:path=") + escaped;
    g_free(escaped);
    return address;
}

void NSDistributedNotificationCenter::postNotificationName(
    const NSString& name, const NSString& object, const NSDictionary& userInfo, bool)
{
    if (name.isAbsent())
        throw NSException(NSInvalidArgumentException, u"A notification needs a name");
    std::unique_lock lock(_shared->mutex);
    if (_shared->phase == Shared::Phase::Unused)
        Shared::start(_shared, lock);
    if (_shared->phase == Shared::Phase::Gone)
        return;
    if (_shared->queue.size() - _shared->underWay >= LongestQueue)
        _shared->queue.erase(_shared->queue.begin() + static_cast<std::ptrdiff_t>(_shared->underWay));
    _shared->queue.push_back({name, object, userInfo});
    _shared->changed.notify_all();
}

bool NSDistributedNotificationCenter::flush(double seconds)
{
    // More than a day is not worth the care that the clock's limits would need; not a number counts as 0.
    constexpr double longest = 86400;
    const double allowed = seconds > 0 ? std::min(seconds, longest) : 0;
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(allowed));
    std::unique_lock lock(_shared->mutex);
    if (_shared->phase == Shared::Phase::Connecting) {
        const auto connectingEnd = std::min(end, _shared->connectingSince + ConnectingGrace);
        _shared->changed.wait_until(lock, connectingEnd, [this] { return _shared->phase != Shared::Phase::Connecting; });
    }
    if (_shared->phase == Shared::Phase::Connected)
        _shared->changed.wait_until(lock, end, [this] { return _shared->queue.empty(); });
    return _shared->queue.empty();
}
