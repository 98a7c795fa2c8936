#pragma once

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <vector>

class NSString;
class Value;

// An ordered list of values. It is a value itself: copies share their elements until one of them is changed, so the platform's
// separate mutable class is not needed. A default-constructed array is absent: it counts 0 and differs from an empty one.
class NSArray {
public:
    NSArray() = default;
    NSArray(std::initializer_list<Value> elements);
    explicit NSArray(std::vector<Value> elements);

    [[nodiscard]] bool isAbsent() const { return _elements == nullptr; }
    explicit operator bool() const { return _elements != nullptr; }
    [[nodiscard]] size_t count() const;
    // The element at `index`, which must be below the count.
    [[nodiscard]] const Value& objectAtIndex(size_t index) const;
    [[nodiscard]] const Value& operator[](size_t index) const { return objectAtIndex(index); }
    [[nodiscard]] const Value* begin() const;
    [[nodiscard]] const Value* end() const;
    [[nodiscard]] bool containsObject(const Value& object) const;
    // The elements' descriptions with `separator` between them.
    [[nodiscard]] NSString componentsJoinedByString(const NSString& separator) const;

    // The platform's text: elements between parentheses, one on a line, separated by commas, nested ones indented.
    [[nodiscard]] NSString description() const;

    // Appends `object`, which must not be absent. An absent array becomes one of one element.
    void addObject(Value object);
    void insertObject(Value object, size_t index);
    // Removes every element equal to `object`.
    void removeObject(const Value& object);
    void removeAllObjects();

    // Same elements in the same order; two absent arrays are equal.
    friend bool operator==(const NSArray& a, const NSArray& b);

private:
    std::vector<Value>& mutableElements();
    std::shared_ptr<std::vector<Value>> _elements;
};

using NSMutableArray = NSArray;
