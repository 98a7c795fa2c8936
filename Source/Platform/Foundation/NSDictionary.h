#pragma once

#include "Platform/Foundation/NSString.h"

#include <initializer_list>
#include <memory>
#include <utility>

class NSArray;
class Value;

// Values under string keys, in the order in which the keys were first set. It is a value itself: copies share their entries until
// one of them is changed, so the platform's separate mutable class is not needed. A default-constructed dictionary is absent: it
// counts 0 and differs from an empty one. Look-up takes constant time.
class NSDictionary {
public:
    using Entry = std::pair<NSString, Value>;

    NSDictionary() = default;
    NSDictionary(std::initializer_list<Entry> entries);
    // A dictionary that is present and empty.
    [[nodiscard]] static NSDictionary dictionary();

    [[nodiscard]] bool isAbsent() const { return _entries == nullptr; }
    explicit operator bool() const { return _entries != nullptr; }
    [[nodiscard]] size_t count() const;
    // The value under `key`; absent when there is none.
    [[nodiscard]] const Value& objectForKey(const NSString& key) const;
    [[nodiscard]] const Value& operator[](const NSString& key) const { return objectForKey(key); }
    [[nodiscard]] NSArray allKeys() const;
    [[nodiscard]] const Entry* begin() const;
    [[nodiscard]] const Entry* end() const;

    // Sets or replaces; a replaced entry keeps its place. Neither may be absent. An absent dictionary becomes one of one entry.
    void setObject(Value object, const NSString& forKey);
    void removeObjectForKey(const NSString& key);
    // Sets every entry of `other`, in its order.
    void addEntriesFromDictionary(const NSDictionary& other);

    // The platform's text: entries as "    key = value;" between braces, one on a line, nested ones indented.
    [[nodiscard]] NSString description() const;

    // Same keys with equal values, whatever the order; two absent dictionaries are equal.
    friend bool operator==(const NSDictionary& a, const NSDictionary& b);

private:
    struct Storage;
    Storage& mutableStorage();
    std::shared_ptr<Storage> _entries;
};

using NSMutableDictionary = NSDictionary;
