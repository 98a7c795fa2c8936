#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"

#include <type_traits>

// Which object a notification is about: its identity only, nothing is owned or looked at. An object known by any of its base
// classes is the same one. A default-constructed identity stands for no object.
class ObjectIdentity {
public:
    ObjectIdentity() = default;
    ObjectIdentity(std::nullptr_t) { }
    template <typename Object>
    ObjectIdentity(const Object* object)
    {
        if constexpr (std::is_polymorphic_v<Object>)
            _address = dynamic_cast<const void*>(object);
        else
            _address = object;
    }
    explicit operator bool() const { return _address != nullptr; }
    bool operator==(const ObjectIdentity&) const = default;

private:
    const void* _address = nullptr;
};

// What observers are told.
struct NSNotification {
    NSString name;
    ObjectIdentity object;   // none when the notification is about no object
    NSDictionary userInfo;   // absent when the poster gave none
};
