#pragma once

#include <compare>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

class FormatArgument;
class NSArray;
class NSCharacterSet;
class NSData;

// A range of UTF-16 units.
struct NSRange {
    uint64_t location = 0;
    uint64_t length = 0;
    bool operator==(const NSRange&) const = default;
};

// What searches give when nothing is found.
inline constexpr uint64_t NSNotFound = 0x7fffffffffffffff;

// One line of a text: [start, contentsEnd) is its contents, [contentsEnd, end) its terminator, which the last line may lack.
struct NSLineRange {
    uint64_t start = 0;
    uint64_t end = 0;
    uint64_t contentsEnd = 0;
    bool operator==(const NSLineRange&) const = default;
};

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
class NSString {
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
    // Expands a format whose conversions are printf's (flags, width, precision, hh/h/l/ll/q/j/z/t/L modifiers; d i u o x X f e g
    // a c C s S p %) plus "%@", which prints an object's description and "(null)" for an absent one. Positional arguments
    // ("%1$@") work. Integers are cut to the size that the modifier names, 32 bits without one. "%s" reads UTF-8. Width and
    // precision of texts count units ("%s": precision counts bytes); above 1,048,576 they count as that. Numbers are written
    // without regard to the locale. A conversion without an argument prints nothing, an unknown one stands as it is written.
    // Absent for an absent format.
    template <typename... Arguments>
    [[nodiscard]] static NSString stringWithFormat(const NSString& format, const Arguments&... arguments);

    [[nodiscard]] bool isAbsent() const { return _text == nullptr; }
    explicit operator bool() const { return _text != nullptr; }

    [[nodiscard]] size_t length() const { return _text ? _text->size() : 0; }
    // The unit at `index`, which must be below the length.
    [[nodiscard]] char16_t characterAtIndex(size_t index) const { return (*_text)[index]; }
    // All units; empty when absent. Valid while this string or a copy of it lives.
    [[nodiscard]] std::u16string_view units() const { return _text ? *_text : std::u16string_view(); }

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

    // Searches. Nothing found gives location NSNotFound and length 0; an empty or absent `string` is never found, and nothing is
    // found in an absent receiver. Without NSLiteralSearch canonically equivalent texts match, and matches never cut a composed
    // character sequence of the whole text. A `range` that leaves the text raises NSRangeException.
    [[nodiscard]] NSRange rangeOfString(const NSString& string, uint64_t options = 0) const;
    [[nodiscard]] NSRange rangeOfString(const NSString& string, uint64_t options, NSRange range) const;
    [[nodiscard]] bool hasPrefix(const NSString& prefix) const;
    [[nodiscard]] bool hasSuffix(const NSString& suffix) const;
    // Compares the whole texts. Without NSLiteralSearch canonically equivalent texts are the same. An absent receiver is the same
    // as anything; an absent `other` comes before any present receiver.
    [[nodiscard]] NSComparisonResult compare(const NSString& other, uint64_t options = 0) const;
    [[nodiscard]] NSComparisonResult caseInsensitiveCompare(const NSString& other) const;
    // Compares by the rules of the user's locale (LC_ALL, LC_COLLATE, LANG) with `options`.
    [[nodiscard]] NSComparisonResult localizedCompare(const NSString& other, uint64_t options = 0) const;

    // The composed character sequence that holds the unit at `index`, which must be below the length: a base character with its
    // combining marks, a surrogate pair, or an emoji sequence. These are the extended grapheme clusters of Unicode, but CR, LF
    // and unpaired surrogates stand alone. To walk a text use ComposedCharacterSequences. Absent receiver: an empty range.
    [[nodiscard]] NSRange rangeOfComposedCharacterSequenceAtIndex(size_t index) const;
    // The line or lines that `range` touches; a range of length 0 touches the line that holds its location. Lines end at LF, CR,
    // CR LF, U+0085, U+2028 and U+2029. A range that leaves the text raises NSRangeException.
    [[nodiscard]] NSLineRange lineRangeForRange(NSRange range) const;

    // Parts and changes; each gives a new string, and absent for an absent receiver. An index or range that leaves the text
    // raises NSRangeException.
    [[nodiscard]] NSString substringToIndex(size_t index) const;
    [[nodiscard]] NSString substringFromIndex(size_t index) const;
    [[nodiscard]] NSString substringWithRange(NSRange range) const;
    [[nodiscard]] NSString stringByAppendingString(const NSString& other) const;
    // Occurrences of `target` are searched from the start, each behind the one before it, with the options of rangeOfString but
    // without those of direction and anchoring.
    [[nodiscard]] NSString stringByReplacingOccurrencesOfString(
        const NSString& target, const NSString& replacement, uint64_t options = NSLiteralSearch) const;
    // Without the members of `set` at both ends. Judges code points, so a surrogate pair is kept or taken off whole.
    [[nodiscard]] NSString stringByTrimmingCharactersInSet(const NSCharacterSet& set) const;
    // With every "%XX" replaced by its byte of UTF-8; absent when a "%" is not followed by two hexadecimal digits, and when the
    // bytes are not valid UTF-8.
    [[nodiscard]] NSString stringByRemovingPercentEncoding() const;
    // With every character of the UTF-8 form that is not an ASCII member of `set` written as "%XX"; absent when
    // a surrogate is unpaired.
    [[nodiscard]] NSString stringByAddingPercentEncodingWithAllowedCharacters(const NSCharacterSet& set) const;
    [[nodiscard]] NSString lowercaseString() const;
    [[nodiscard]] NSString uppercaseString() const;
    [[nodiscard]] NSString decomposedStringWithCanonicalMapping() const;
    // The pieces between all occurrences of `separator`, found by a literal search; a text without it is its own only piece.
    [[nodiscard]] NSArray componentsSeparatedByString(const NSString& separator) const;

    // Leading decimal number of the text (blanks skipped), 0 when there is none; saturates. As boolean: true when, after blanks,
    // a sign and zeros, there is one of Y, y, T, t and the digits 1 to 9; so "0.5" is false.
    [[nodiscard]] int64_t integerValue() const;
    [[nodiscard]] double doubleValue() const;
    [[nodiscard]] bool boolValue() const;

    // Bytes in `encoding`; absent when the encoding is unknown. Without `allowLossyConversion`, absent data when some character
    // has no form in it; with it, such a character loses its marks, or becomes "?" (U+FFFD in the Unicode encodings) when that
    // does not help. NSUTF16StringEncoding and NSUTF32StringEncoding write a byte-order mark and this machine's order. The UTF-16
    // encodings and NSNonLossyASCIIStringEncoding hold unpaired surrogates, no other does; the latter writes "\ooo", "\uXXXX" and
    // "\\" for what is not plain ASCII.
    [[nodiscard]] NSData dataUsingEncoding(NSStringEncoding encoding, bool allowLossyConversion = false) const;
    // Absent when `data` is not valid in `encoding` or the encoding is unknown. A byte-order mark is left out of UTF-8, of
    // NSUTF16StringEncoding and of NSUTF32StringEncoding; without one the last two are read as big-endian.
    [[nodiscard]] static NSString stringWithData(const NSData& data, NSStringEncoding encoding);

    // POSIX path operations by the platform's rules: "/" has the last component "/", trailing and repeated separators do not
    // count, the name of a dot file is no extension.
    [[nodiscard]] NSString lastPathComponent() const;
    [[nodiscard]] NSString stringByDeletingLastPathComponent() const;
    [[nodiscard]] NSString stringByAppendingPathComponent(const NSString& component) const;
    [[nodiscard]] NSString pathExtension() const;
    [[nodiscard]] NSString stringByDeletingPathExtension() const;
    // Absent when there is no name to extend ("" and "/").
    [[nodiscard]] NSString stringByAppendingPathExtension(const NSString& extension) const;
    // The names between separators; "/" comes first when the path begins with one, and last when it ends with one.
    [[nodiscard]] NSArray pathComponents() const;
    // With an initial tilde expanded, without "." components and without repeated and trailing separators. In absolute paths ".."
    // takes away the component before it; when that is a symbolic link on disk, the link is followed first.
    [[nodiscard]] NSString stringByStandardizingPath() const;
    // "~" and "~user" replaced by the home folder; unchanged when there is no such user.
    [[nodiscard]] NSString stringByExpandingTildeInPath() const;
    // The bytes under which the file system knows the path: the UTF-8 form; empty when the text has none or holds U+0000.
    [[nodiscard]] std::string fileSystemRepresentation() const;

private:
    friend class NSStringPool;
    explicit NSString(std::shared_ptr<const std::u16string_view> text) : _text(std::move(text)) { }

    std::shared_ptr<const std::u16string_view> _text;   // owns the units that it shows
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
