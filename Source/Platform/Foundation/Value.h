#pragma once

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSNull.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURL.h"

#include <concepts>
#include <memory>
#include <type_traits>
#include <variant>

// Anything that a user info, a setting or a property list can hold, or nothing at all. An absent string, data, date, array,
// dictionary, URL, error or object makes an absent value, so that there is one way only to be absent. Copies are cheap and
// share what they hold.
class Value {
public:
    enum class Kind { Absent, Null, Boolean, Integer, Real, String, Data, Date, Array, Dictionary, URL, Error, Class, Object };

    Value() = default;
    Value(std::nullptr_t) { }
    Value(NSNull null) : _held(null) { }
    template <std::same_as<bool> Boolean>
    Value(Boolean boolean) : _held(boolean)
    {
    }
    template <std::integral Integer>
    requires(!std::same_as<Integer, bool> && !std::same_as<Integer, char> && !std::same_as<Integer, char16_t>)
        Value(Integer integer)
        : _held(static_cast<int64_t>(integer))
    {
    }
    Value(double real) : _held(real) { }
    Value(const char16_t* text) : Value(NSString(text)) { }
    Value(NSString string);
    Value(NSData data);
    Value(NSDate date);
    Value(NSArray array);
    Value(NSDictionary dictionary);
    Value(NSURL url);
    Value(NSError error);
    Value(::Class type) : _held(type) { }
    Value(std::shared_ptr<const NSObject> object);
    template <std::derived_from<NSObject> Object>
    Value(std::shared_ptr<Object> object) : Value(std::shared_ptr<const NSObject>(std::move(object)))
    {
    }

    [[nodiscard]] Kind kind() const { return static_cast<Kind>(_held.index()); }
    [[nodiscard]] bool isAbsent() const { return kind() == Kind::Absent; }
    explicit operator bool() const { return !isAbsent(); }
    [[nodiscard]] bool is(Kind asked) const { return kind() == asked; }
    // Boolean, Integer or Real.
    [[nodiscard]] bool isNumber() const;

    // What is held, or an absent one when it is of another kind. A value that stays gives it without a copy.
    [[nodiscard]] const NSString& string() const& { return heldOrAbsent<NSString>(); }
    [[nodiscard]] NSString string() && { return heldOrAbsent<NSString>(); }
    [[nodiscard]] const NSArray& array() const& { return heldOrAbsent<NSArray>(); }
    [[nodiscard]] NSArray array() && { return heldOrAbsent<NSArray>(); }
    [[nodiscard]] NSData data() const;
    [[nodiscard]] NSDate date() const;
    [[nodiscard]] NSDictionary dictionary() const;
    [[nodiscard]] NSURL url() const;
    [[nodiscard]] NSError error() const;
    [[nodiscard]] std::shared_ptr<const NSObject> object() const;
    // The class that is held as a value. Only for Kind::Class.
    [[nodiscard]] ::Class heldClass() const { return std::get<::Class>(_held); }

    // Conversions as a number or a string makes them: true when non-zero, or when a string reads so. Other kinds give false, 0, 0.0.
    [[nodiscard]] bool boolValue() const;
    [[nodiscard]] int64_t integerValue() const;
    [[nodiscard]] double doubleValue() const;
    // Whether those three conversions exist for this kind (numbers and strings).
    [[nodiscard]] bool answersNumberConversions() const { return isNumber() || is(Kind::String); }

    // The class of what is held (for Kind::Class, the class itself); must not be absent.
    [[nodiscard]] ::Class classObject() const;
    // The platform's own text of the value: a number in shortest form, an array in parentheses, a dictionary in braces, a date as
    // "2001-01-01 00:00:00 +0000". Absent for an absent value.
    [[nodiscard]] NSString description() const;
    // Equality of contents; numbers compare by value across Boolean, Integer and Real. An absent value equals nothing, also not
    // another absent one.
    [[nodiscard]] bool isEqual(const Value& other) const;
    // Whether an archiver can write it: everything but classes and objects that do not conform.
    [[nodiscard]] bool conformsToCoding() const;

    // Equality for tests and containers: as isEqual, but two absent values are equal.
    friend bool operator==(const Value& a, const Value& b) { return a.isAbsent() ? b.isAbsent() : a.isEqual(b); }

private:
    template <typename Held>
    [[nodiscard]] const Held& heldOrAbsent() const
    {
        static const Held absent;
        const Held* const held = std::get_if<Held>(&_held);
        return held ? *held : absent;
    }

    std::variant<std::monostate, NSNull, bool, int64_t, double, NSString, NSData, NSDate, NSArray, NSDictionary, NSURL, NSError,
        ::Class, std::shared_ptr<const NSObject>>
        _held;
};

// A number's text as the platform writes it: the shortest decimal that reads back the same, "1" rather than "1.0",
// exponents as "1e+21", "inf", "-inf", "nan".
[[nodiscard]] NSString NSStringFromDouble(double number);
