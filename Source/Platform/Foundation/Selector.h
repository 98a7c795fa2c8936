#pragma once

#include "Platform/Foundation/NSString.h"

#include <string_view>

// The name of an operation, with a colon for each argument: "qvrBoolForKey:defaultValue:". A default-constructed one is absent.
class Selector {
public:
    constexpr Selector() = default;
    constexpr Selector(std::nullptr_t) { }
    // `name` must outlive the selector: selectors are named by literals.
    constexpr explicit Selector(std::string_view name) : _name(name) { }

    [[nodiscard]] constexpr bool isAbsent() const { return _name.data() == nullptr; }
    constexpr explicit operator bool() const { return !isAbsent(); }
    [[nodiscard]] constexpr std::string_view characters() const { return _name; }
    constexpr bool operator==(const Selector&) const = default;

private:
    std::string_view _name;
};

// The selector's name; absent for an absent selector.
[[nodiscard]] inline NSString NSStringFromSelector(const Selector& selector)
{
    return selector ? NSString::stringWithRepairedUTF8(selector.characters()) : NSString();
}
