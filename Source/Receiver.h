#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/Value.h"

#include <concepts>
#include <cstddef>

// The object that a location text or an assertion is about. All that matters is whether there is one and whether it is a class,
// so anything can be passed: a value, something that converts to one, a pointer to an object of any type, a Class, or nothing.
class Receiver {
public:
    enum class Kind { Absent, Instance, Class };

    Receiver() = default;
    Receiver(std::nullptr_t) { }
    Receiver(const void* object) : _kind(object ? Kind::Instance : Kind::Absent) { }
    Receiver(const ::Class&) : _kind(Kind::Class) { }
    Receiver(const Value& value)
        : _kind(value.isAbsent()               ? Kind::Absent
                : value.is(Value::Kind::Class) ? Kind::Class
                                               : Kind::Instance)
    {
    }
    template <typename Object>
    requires(std::convertible_to<const Object&, Value> && !std::same_as<Object, Value> && !std::same_as<Object, ::Class>)
        Receiver(const Object& object)
        : Receiver(Value(object))
    {
    }

    [[nodiscard]] Kind kind() const { return _kind; }
    [[nodiscard]] bool isAbsent() const { return _kind == Kind::Absent; }

private:
    Kind _kind = Kind::Absent;
};
