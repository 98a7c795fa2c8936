#pragma once

#include <compare>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

class FormatArgument;
class NSArray;
class NSData;

// A range of UTF-16 units.
struct NSRange {
    uint64_t location = 0;
    uint64_t length = 0;
    bool operator==(const NSRange&) const = default;
};

// What searches give when nothing is found.
inline constexpr uint64_t NSNotFound = 0x7fffffffffffffff;

// The platform's string-encoding numbers. Any other number that stands for an IANA character set is made by
// NSStringEncodingFromIANAName.
using NSStringEncoding = uint64_t;
inline constexpr NSStringEncoding NSASCIIStringEncoding = 1;
inline constexpr NSStringEncoding NSUTF8StringEncoding = 4;
inline constexpr NSStringEncoding NSISOLatin1StringEncoding = 5;
inline constexpr NSStringEncoding NSNonLossyASCIIStringEncoding = 7;
inline constexpr NSStringEncoding NSUTF16StringEncoding = 10;
inline constexpr NSStringEncoding NSWindowsCP1252StringEncoding = 12;
inline constexpr NSStringEncoding NSMacOSRomanStringEncoding = 30;
inline constexpr NSStringEncoding NSUTF16BigEndianStringEncoding = 0x90000100;
inline constexpr NSStringEncoding NSUTF16LittleEndianStringEncoding = 0x94000100;
inline constexpr NSStringEncoding NSUTF32StringEncoding = 0x8c000100;
inline constexpr NSStringEncoding NSUTF32BigEndianStringEncoding = 0x98000100;
inline constexpr NSStringEncoding NSUTF32LittleEndianStringEncoding = 0x9c000100;

enum NSComparisonResult : int { NSOrderedAscending = -1, NSOrderedSame = 0, NSOrderedDescending = 1 };

// Options of searches and comparisons; they can be added.
enum NSStringCompareOptions : uint64_t {
    NSCaseInsensitiveSearch = 0x1,
    NSLiteralSearch = 0x2,
    NSBackwardsSearch = 0x4,
    NSAnchoredSearch = 0x8,
    NSNumericSearch = 0x40,
    NSDiacriticInsensitiveSearch = 0x80,
    NSWidthInsensitiveSearch = 0x100,
};

// An immutable text of UTF-16 units; unpaired surrogates are allowed. Copies share the text. A default-constructed
// string is absent ("nil"): it has length 0, answers every question with absent, false or 0, and differs from the empty
// string. Safe to use from any thread.
class NSString
{
public:
    NSString() = default;
    NSString(std::nullptr_t) { }
    NSString(const char16_t* text);
    NSString(std::u16string text);
    NSString(std::u16string_view text);

    // The text of valid UTF-8; absent when `text` is not valid.
    [[nodiscard]] static NSString stringWithUTF8String(std::string_view text);
    // The text of `text` with U+FFFD in place of each invalid part. For bytes from outside that must be shown whatever they hold.
    [[nodiscard]] static NSString stringWithRepairedUTF8(std::string_view text);
    // Expands a format whose conversions are printf's (flags, width, precision, h/l/ll/q/z modifiers; d i u o x X f e g c C s S
    // p %) plus "%@", which prints an object's description and "(null)" for an absent one. Positional arguments ("%1$@") work.
    // A conversion without an argument prints nothing.
    template <typename... Arguments>
    [[nodiscard]] static NSString stringWithFormat(const NSString& format, const Arguments&... arguments);

    [[nodiscard]] bool isAbsent() const { return _text == nullptr; }
    explicit operator bool() const { return _text != nullptr; }

    [[nodiscard]] size_t length() const { return _text ? _text->size() : 0; }
    // The unit at `index`, which must be below the length.
    [[nodiscard]] char16_t characterAtIndex(size_t index) const { return (*_text)[index]; }
    // All units; empty when absent. Valid while this string or a copy of it lives.
    [[nodiscard]] std::u16string_view units() const { return _text ? std::u16string_view(*_text) : std::u16string_view(); }

    // The UTF-8 form with U+FFFD for each unpaired surrogate; empty when absent.
    [[nodiscard]] std::string UTF8() const;
    // The UTF-8 form; nothing when absent or when a surrogate is unpaired.
    [[nodiscard]] std::optional<std::string> strictUTF8() const;

    // Same units. Two absent strings are equal to each other and to nothing else.
    friend bool operator==(const NSString& a, const NSString& b)
    {
        return a._text == b._text || (a._text && b._text && *a._text == *b._text);
    }
    // Orders by units, absent first; a key order for containers, not for people.
    friend std::strong_ordering operator<=>(const NSString& a, const NSString& b);

    // Searches. Nothing found gives location NSNotFound and length 0; an empty or absent `string` is never found. Without
    // NSLiteralSearch canonically equivalent texts match, and matches never cut a composed character sequence.
    [[nodiscard]] NSRange rangeOfString(const NSString& string, uint64_t options = 0) const;
    [[nodiscard]] NSRange rangeOfString(const NSString& string, uint64_t options, NSRange range) const;
    [[nodiscard]] bool hasPrefix(const NSString& prefix) const;
    [[nodiscard]] bool hasSuffix(const NSString& suffix) const;
    // Compares the whole texts. Without NSLiteralSearch canonically equivalent texts are the same.
    [[nodiscard]] NSComparisonResult compare(const NSString& other, uint64_t options = 0) const;
    [[nodiscard]] NSComparisonResult caseInsensitiveCompare(const NSString& other) const;
    // Compares by the rules of the user's locale with `options`.
    [[nodiscard]] NSComparisonResult localizedCompare(const NSString& other, uint64_t options = 0) const;

    // The composed character sequence that holds the unit at `index`, which must be below the length: a base character with
    // its combining marks, a surrogate pair, or an emoji sequence.
    [[nodiscard]] NSRange rangeOfComposedCharacterSequenceAtIndex(size_t index) const;

    // Parts and changes; each gives a new string, and absent for an absent receiver.
    [[nodiscard]] NSString substringToIndex(size_t index) const;
    [[nodiscard]] NSString substringFromIndex(size_t index) const;
    [[nodiscard]] NSString substringWithRange(NSRange range) const;
    [[nodiscard]] NSString stringByAppendingString(const NSString& other) const;
    [[nodiscard]] NSString stringByReplacingOccurrencesOfString(const NSString& target, const NSString& replacement) const;
    [[nodiscard]] NSString lowercaseString() const;
    [[nodiscard]] NSString uppercaseString() const;
    [[nodiscard]] NSString decomposedStringWithCanonicalMapping() const;
    [[nodiscard]] NSArray componentsSeparatedByString(const NSString& separator) const;

    // Leading number of the text (blanks skipped), 0 when there is none; saturates. As boolean: true when the text starts with
    // Y, y, T, t or a non-zero number.
    [[nodiscard]] int64_t integerValue() const;
    [[nodiscard]] double doubleValue() const;
    [[nodiscard]] bool boolValue() const;

    // Bytes in `encoding`. Without `allowLossyConversion`, absent data when some character has no form in it.
    [[nodiscard]] NSData dataUsingEncoding(NSStringEncoding encoding, bool allowLossyConversion = false) const;
    // Absent when `data` is not valid in `encoding` or the encoding is unknown.
    [[nodiscard]] static NSString stringWithData(const NSData& data, NSStringEncoding encoding);

    // POSIX path operations by the platform's rules: "/" has the last component "/", trailing separators do not count, the name
    // of a dot file is no extension.
    [[nodiscard]] NSString lastPathComponent() const;
    [[nodiscard]] NSString stringByDeletingLastPathComponent() const;
    [[nodiscard]] NSString stringByAppendingPathComponent(const NSString& component) const;
    [[nodiscard]] NSString pathExtension() const;
    [[nodiscard]] NSString stringByDeletingPathExtension() const;
    [[nodiscard]] NSString stringByAppendingPathExtension(const NSString& extension) const;
    [[nodiscard]] NSArray pathComponents() const;
    [[nodiscard]] NSString stringByStandardizingPath() const;
    [[nodiscard]] NSString stringByExpandingTildeInPath() const;
    // The bytes under which the file system knows the path: the UTF-8 form; empty when the text has none.
    [[nodiscard]] std::string fileSystemRepresentation() const;

private:
    std::shared_ptr<const std::u16string> _text;
};

// The encoding of an IANA character-set name (any spelling that ICU knows); nothing when unknown.
[[nodiscard]] std::optional<NSStringEncoding> NSStringEncodingFromIANAName(const NSString& name);
// "{location, length}".
[[nodiscard]] NSString NSStringFromRange(NSRange range);

template <>
struct std::hash<NSString> {
    size_t operator()(const NSString& string) const noexcept { return std::hash<std::u16string_view>()(string.units()); }
};

// Completes stringWithFormat.
#include "Platform/Foundation/FormatArgument.h"
