#pragma once

#include "Platform/Foundation/NSNotification.h"

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

// Keeps one observer registered while it lives. Move-only; may outlive the centre and may be destroyed on any thread, also in a
// handler.
class NSNotificationObserver {
public:
    NSNotificationObserver() = default;   // observes nothing
    NSNotificationObserver(NSNotificationObserver&&) noexcept = default;
    NSNotificationObserver& operator=(NSNotificationObserver&& other) noexcept;
    ~NSNotificationObserver() { remove(); }

    // Ends the registration: the handler is not called any more, also not by a posting that is under way, unless it is running.
    void remove();

private:
    friend class NSNotificationCenter;
    struct Registration;
    explicit NSNotificationObserver(std::shared_ptr<Registration> registration) : _registration(std::move(registration)) { }
    std::shared_ptr<Registration> _registration;
};

// Hands notifications to observers in this process. Safe to use from any thread.
class NSNotificationCenter {
public:
    // The process's own centre.
    [[nodiscard]] static NSNotificationCenter& defaultCenter();

    // Calls `handler` for each notification of that name about that object. An absent name stands for every name, no object for
    // every object. Dropping the result ends the registration at once.
    [[nodiscard]] NSNotificationObserver addObserverForName(
        const NSString& name, ObjectIdentity object, std::function<void(const NSNotification&)> handler);

    // Calls the handlers on the posting thread, in the order of their registration, and returns when all have been called.
    // Handlers may add and remove observers and post themselves: whoever is added during a posting is not told of it, whoever is
    // removed before its turn neither. An exception of a handler ends the posting and leaves it here. `name` must not be absent,
    // else NSInvalidArgumentException is thrown.
    void postNotificationName(const NSString& name, ObjectIdentity object = {}, const NSDictionary& userInfo = {});

private:
    std::mutex _mutex;
    std::vector<std::weak_ptr<NSNotificationObserver::Registration>> _registrations;
};
