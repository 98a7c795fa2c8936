#pragma once

#include "Support/Subprocess.h"
#include "Support/TemporaryFolder.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

struct _GDBusConnection;
struct _GMainContext;

namespace support {

// A D-Bus session bus of a test's own: a real dbus-daemon with a socket in a temporary folder.
class SessionBus {
public:
    // Starts the daemon and waits until it can be connected to; throws when it cannot.
    SessionBus();

    // What DBUS_SESSION_BUS_ADDRESS would hold.
    [[nodiscard]] std::string address() const { return "unix:path=" + _folder.pathOf("bus"); }
    // Kills the daemon and waits for its end.
    void kill();
    // Stops and continues it, as SIGSTOP and SIGCONT do.
    void suspend();
    void resume();

private:
    TemporaryFolder _folder;
    std::optional<Subprocess> _daemon;
};

// A distributed notification as it came over the bus.
struct BusNotice {
    std::string name;
    std::string object;
    std::string userInfo;    // in GVariant's text form
    std::string signature;   // of all arguments
    std::chrono::steady_clock::time_point time{};
};

// Receives notifications through a connection of its own. Used on one thread.
class BusListener {
public:
    // Listens for notifications of that name, or of every name when it is empty; throws when the bus cannot be reached.
    BusListener(const std::string& address, const std::string& notificationName);
    BusListener(const BusListener&) = delete;
    BusListener& operator=(const BusListener&) = delete;
    ~BusListener();

    // Waits until there are `count` notices, or the time is up, and gives all that have come since the beginning.
    const std::vector<BusNotice>& waitForNotices(size_t count, std::chrono::milliseconds timeout);
    // Waits until the notices that have come satisfy `condition`, and says whether they do in time. Each notice is stamped with
    // the time when this, or one of the others, took it from the bus.
    [[nodiscard]] bool waitUntil(
        const std::function<bool(const std::vector<BusNotice>&)>& condition, std::chrono::milliseconds timeout);
    // Waits until a notice with that object has come, and says whether it does in time.
    [[nodiscard]] bool waitForObject(const std::string& object, std::chrono::milliseconds timeout);

private:
    template <typename Condition>
    void iterateUntil(Condition condition, std::chrono::milliseconds timeout);

    _GMainContext* _context;
    _GDBusConnection* _connection = nullptr;
    unsigned _subscription = 0;
    std::vector<BusNotice> _notices;
};

}
