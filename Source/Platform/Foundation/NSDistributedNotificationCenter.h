#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

// Posts notifications to other processes of the user: as broadcast signals on the D-Bus session bus, with the path
// /com/brackenlow/DistributedNotificationCenter, the interface com.brackenlow.DistributedNotificationCenter, the member
// Notification and the arguments name (s), object (s) and user info (a{sv}).
//
// No call waits for the bus. A thread of the centre's own connects and sends; it is started by the first posting, and the end of
// the process does not wait for it. A bus that is missing, refuses or dies is reported once and then left alone: later postings
// go nowhere. Safe to use from any thread.
class NSDistributedNotificationCenter {
public:
    // Receives the one report, possibly on the centre's own thread.
    using Report = std::function<void(const NSString&)>;

    // At most this many notices wait for a bus that is slow; then the oldest is dropped, since the newest tells most.
    static constexpr size_t LongestQueue = 256;

    // The process's own centre, on the session bus of the environment, reporting through NSLog.
    [[nodiscard]] static NSDistributedNotificationCenter& defaultCenter();

    // On the bus at that D-Bus address; none means that there is no bus.
    NSDistributedNotificationCenter(std::optional<std::string> busAddress, Report report);
    NSDistributedNotificationCenter(const NSDistributedNotificationCenter&) = delete;
    NSDistributedNotificationCenter& operator=(const NSDistributedNotificationCenter&) = delete;
    // Drops what is not sent and closes the connection, without waiting for either.
    ~NSDistributedNotificationCenter();

    // The D-Bus address that DBUS_SESSION_BUS_ADDRESS gives, else the socket "bus" in XDG_RUNTIME_DIR if it is there. Nothing
    // else is tried; in particular no bus is launched.
    [[nodiscard]] static std::optional<std::string> sessionBusAddressFromEnvironment();

    // Sends the notice. An absent object is sent as "", an absent user info as an empty one. A user info's values become booleans
    // (b), integers (x), reals and dates (d, dates in seconds since 2001-01-01 UTC), strings (s), data (ay), arrays (av) and
    // dictionaries (a{sv}); values of other kinds, and what is nested more than 16 deep, are sent as their description.
    // Characters that D-Bus cannot carry (NUL, unpaired surrogates) become U+FFFD. Every notice is sent as soon as the bus takes
    // it, so `deliverImmediately` makes no difference. `name` must not be absent, else NSInvalidArgumentException is thrown.
    void postNotificationName(
        const NSString& name, const NSString& object, const NSDictionary& userInfo, bool deliverImmediately);

    // For the end of a program: waits until the bus has everything posted, for at most `seconds`. Returns at once when
    // nothing is waiting; and while the bus is still being connected to, the wait ends 0.1 s after that has begun. Whether
    // nothing is waiting any more.
    bool flush(double seconds);

private:
    struct Shared;
    std::shared_ptr<Shared> _shared;
};
