#pragma once

#include "Platform/Foundation/NSString.h"

#include <string_view>

// A class object: names a type at run time. Two are equal when they name the same type.
class Class {
public:
    constexpr explicit Class(std::string_view name) : _name(name) { }
    [[nodiscard]] NSString name() const { return NSString::stringWithUTF8String(_name); }
    bool operator==(const Class&) const = default;

private:
    std::string_view _name;   // static storage: classes are named by literals
};

// "NSString" for the class of that name.
[[nodiscard]] NSString NSStringFromClass(const Class& type);

// Base of objects that a Value can refer to and that have no kind of their own there. Objects are shared through
// std::shared_ptr and must be safe to describe from any thread.
class NSObject {
public:
    NSObject() = default;
    NSObject(const NSObject&) = delete;
    NSObject& operator=(const NSObject&) = delete;
    virtual ~NSObject() = default;

    [[nodiscard]] virtual Class classObject() const { return Class("NSObject"); }
    // "<ClassName: 0xaddress>" unless a class says better.
    [[nodiscard]] virtual NSString description() const;
    // Identity unless a class says otherwise.
    [[nodiscard]] virtual bool isEqual(const NSObject& other) const { return this == &other; }
    // Whether the object can be written by an archiver.
    [[nodiscard]] virtual bool conformsToCoding() const { return false; }
    // False for a stand-in that cannot be asked which class it belongs to.
    [[nodiscard]] virtual bool answersClassMembership() const { return true; }
};
