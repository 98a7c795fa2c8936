#pragma once

#include "Platform/Foundation/NSString.h"

#include <concepts>
#include <cstdint>
#include <span>
#include <variant>

class Value;

template <typename Object>
concept Describable = requires(const Object& object)
{
    {
        object.description()
        } -> std::convertible_to<NSString>;
};

// One argument of a format: what a C variable argument list would carry, with its type. Objects are described when the argument
// is made. Borrows what a `const char*` points to.
class FormatArgument {
public:
    FormatArgument(std::nullptr_t) : _held(NSString()) { }
    FormatArgument(NSString string) : _held(std::move(string)) { }
    FormatArgument(const char16_t* text) : _held(NSString(text)) { }
    FormatArgument(const Describable auto& object) : _held(NSString(object.description())) { }
    // An object that may be missing; it must outlive nothing, since only its description is kept.
    template <typename Object>
    requires Describable<Object> FormatArgument(const Object* object)
        : _held(object ? NSString(object->description()) : NSString())
    {
    }
    FormatArgument(const char* text) : _held(text) { }
    FormatArgument(std::signed_integral auto integer) : _held(static_cast<int64_t>(integer)) { }
    FormatArgument(std::unsigned_integral auto integer) : _held(static_cast<uint64_t>(integer)) { }
    FormatArgument(std::floating_point auto real) : _held(static_cast<long double>(real)) { }
    FormatArgument(const void* pointer) : _held(pointer) { }

    using Held = std::variant<NSString, const char*, int64_t, uint64_t, long double, const void*>;
    [[nodiscard]] const Held& held() const { return _held; }

private:
    Held _held;
};

// The arguments of a format, passed on as a whole. Borrowed: valid during the call that receives it.
using FormatArguments = std::span<const FormatArgument>;

// Expands `format` (see NSString::stringWithFormat) with `arguments`.
[[nodiscard]] NSString NSStringWithFormatArguments(const NSString& format, FormatArguments arguments);

template <typename... Arguments>
NSString NSString::stringWithFormat(const NSString& format, const Arguments&... arguments)
{
    if constexpr (sizeof...(arguments) == 0) {
        return NSStringWithFormatArguments(format, {});
    } else {
        const FormatArgument list[] = {FormatArgument(arguments)...};
        return NSStringWithFormatArguments(format, list);
    }
}
