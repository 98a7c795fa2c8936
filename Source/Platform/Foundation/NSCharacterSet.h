#pragma once

#include "Platform/Foundation/NSString.h"

#include <memory>

// A set of code points. It is a value itself: copies share their members until one of them is changed, so the platform's separate
// mutable class is not needed. A default-constructed set is absent and has no members. Safe to ask from any thread.
class NSCharacterSet {
public:
    NSCharacterSet() = default;
    // The characters of `string`; of an unpaired surrogate, the surrogate. Absent for an absent string.
    [[nodiscard]] static NSCharacterSet characterSetWithCharactersInString(const NSString& string);
    // The code points from `range.location` on, as many as its length; those beyond U+10FFFF are left out.
    [[nodiscard]] static NSCharacterSet characterSetWithRange(NSRange range);

    // Space separators and the tabulator.
    [[nodiscard]] static NSCharacterSet whitespaceCharacterSet();
    // U+000A to U+000D, U+0085, U+2028 and U+2029.
    [[nodiscard]] static NSCharacterSet newlineCharacterSet();
    // The two sets above together.
    [[nodiscard]] static NSCharacterSet whitespaceAndNewlineCharacterSet();
    // Unicode's general categories L* and M*; L*, M* and N*; Nd; P*; Cc and Cf.
    [[nodiscard]] static NSCharacterSet letterCharacterSet();
    [[nodiscard]] static NSCharacterSet alphanumericCharacterSet();
    [[nodiscard]] static NSCharacterSet decimalDigitCharacterSet();
    [[nodiscard]] static NSCharacterSet punctuationCharacterSet();
    [[nodiscard]] static NSCharacterSet controlCharacterSet();
    // What may stand unescaped in one part of an address.
    [[nodiscard]] static NSCharacterSet URLUserAllowedCharacterSet();
    [[nodiscard]] static NSCharacterSet URLPasswordAllowedCharacterSet();
    [[nodiscard]] static NSCharacterSet URLHostAllowedCharacterSet();
    [[nodiscard]] static NSCharacterSet URLPathAllowedCharacterSet();
    [[nodiscard]] static NSCharacterSet URLQueryAllowedCharacterSet();
    [[nodiscard]] static NSCharacterSet URLFragmentAllowedCharacterSet();

    [[nodiscard]] bool isAbsent() const { return _contents == nullptr; }
    explicit operator bool() const { return _contents != nullptr; }
    // Whether the code point of one unit is in the set; a surrogate is only when it was put there by itself.
    [[nodiscard]] bool characterIsMember(char16_t unit) const { return longCharacterIsMember(unit); }
    [[nodiscard]] bool longCharacterIsMember(char32_t character) const;
    // All code points that are not in this set.
    [[nodiscard]] NSCharacterSet invertedSet() const;

    void addCharactersInString(const NSString& string);
    void removeCharactersInString(const NSString& string);
    void formUnionWithCharacterSet(const NSCharacterSet& other);

    // Same members; two absent sets are equal.
    friend bool operator==(const NSCharacterSet& a, const NSCharacterSet& b);

private:
    struct Contents;
    explicit NSCharacterSet(std::shared_ptr<const Contents> contents);

    std::shared_ptr<const Contents> _contents;
};

using NSMutableCharacterSet = NSCharacterSet;
