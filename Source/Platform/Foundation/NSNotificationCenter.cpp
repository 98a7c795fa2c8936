#include "Platform/Foundation/NSNotificationCenter.h"

#include "Platform/Foundation/NSException.h"

#include <atomic>
#include <utility>

struct NSNotificationObserver::Registration {
    NSString name;
    ObjectIdentity object;
    std::function<void(const NSNotification&)> handler;
    std::atomic<bool> removed = false;

    [[nodiscard]] bool wants(const NSNotification& notification) const
    {
        return (name.isAbsent() || name == notification.name) && (!object || object == notification.object);
    }
};

NSNotificationObserver& NSNotificationObserver::operator=(NSNotificationObserver&& other) noexcept
{
    if (this != &other) {
        remove();
        _registration = std::move(other._registration);
    }
    return *this;
}

void NSNotificationObserver::remove()
{
    if (const auto registration = std::exchange(_registration, nullptr))
        registration->removed = true;
}

NSNotificationCenter& NSNotificationCenter::defaultCenter()
{
    static NSNotificationCenter& center = *new NSNotificationCenter;   // objects with static storage may post at the end
    return center;
}

NSNotificationObserver NSNotificationCenter::addObserverForName(
    const NSString& name, ObjectIdentity object, std::function<void(const NSNotification&)> handler)
{
    auto registration = std::make_shared<NSNotificationObserver::Registration>();
    registration->name = name;
    registration->object = object;
    registration->handler = std::move(handler);
    const std::lock_guard lock(_mutex);
    std::erase_if(_registrations, [](const auto& entry) { return entry.expired(); });
    _registrations.push_back(registration);
    return NSNotificationObserver(std::move(registration));
}

void NSNotificationCenter::postNotificationName(const NSString& name, ObjectIdentity object, const NSDictionary& userInfo)
{
    if (name.isAbsent())
        throw NSException(NSInvalidArgumentException, u"A notification needs a name");
    const NSNotification notification{name, object, userInfo};
    std::vector<std::shared_ptr<NSNotificationObserver::Registration>> told;
    {
        const std::lock_guard lock(_mutex);
        for (const auto& entry : _registrations) {
            auto registration = entry.lock();
            if (registration && registration->wants(notification))
                told.push_back(std::move(registration));
        }
    }
    for (const auto& registration : told) {
        if (!registration->removed)
            registration->handler(notification);
    }
}
