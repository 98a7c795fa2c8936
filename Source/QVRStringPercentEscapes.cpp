#include "QVRStringPercentEscapes.h"

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSCharacterSet.h"
#include "Platform/Foundation/NSURLComponents.h"
#include "Platform/Foundation/NSURLQueryItem.h"
#include "Platform/Foundation/Value.h"
#include "QVRProcessInfo.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

namespace {

// A set of characters with a table of its ASCII members, which most characters of addresses are.
class CharacterTable {
public:
    explicit CharacterTable(NSCharacterSet set) : _set(std::move(set))
    {
        for (char16_t unit = 0; unit < _ascii.size(); ++unit)
            _ascii[unit] = _set.characterIsMember(unit);
    }

    [[nodiscard]] bool contains(UChar32 character) const
    {
        return static_cast<size_t>(character) < _ascii.size() ? _ascii[static_cast<size_t>(character)]
                                                              : _set.longCharacterIsMember(static_cast<char32_t>(character));
    }

private:
    NSCharacterSet _set;
    std::array<bool, 128> _ascii{};
};

// What may stand in an address by RFC 2396, reserved or not: the very characters that RFC 3986 allows in a query. Without the one
// list, with the other.
CharacterTable legalCharacters(const NSString& without, const NSString& with)
{
    NSMutableCharacterSet set = NSCharacterSet::URLQueryAllowedCharacterSet();
    set.removeCharactersInString(without);
    set.addCharactersInString(with);
    return CharacterTable(set);
}

// `string` with every character that is not in `kept` escaped; absent when one of these has no UTF-8 form.
NSString escape(const NSString& string, const CharacterTable& kept)
{
    static constexpr char16_t digits[] = u"0123456789ABCDEF";
    if (!string)
        return {};
    const std::u16string_view units = string.units();

    // 1. How long it gets.
    size_t length = 0;
    for (size_t index = 0; index < units.size();) {
        const size_t start = index;
        UChar32 character = 0;
        U16_NEXT(units.data(), index, units.size(), character);
        if (kept.contains(character))
            length += index - start;
        else if (U_IS_SURROGATE(character))
            return {};
        else
            length += 3 * static_cast<size_t>(U8_LENGTH(character));
    }
    if (length == units.size())
        return string;

    // 2. The same walk again, writing.
    std::u16string escaped(length, u'\0');
    char16_t* out = escaped.data();
    for (size_t index = 0; index < units.size();) {
        const size_t start = index;
        UChar32 character = 0;
        U16_NEXT(units.data(), index, units.size(), character);
        if (kept.contains(character)) {
            out = std::copy(units.begin() + start, units.begin() + index, out);
            continue;
        }
        uint8_t bytes[U8_MAX_LENGTH];
        int32_t count = 0;
        U8_APPEND_UNSAFE(bytes, count, character);
        for (int32_t byte = 0; byte < count; ++byte) {
            *out++ = u'%';
            *out++ = digits[bytes[byte] >> 4];
            *out++ = digits[bytes[byte] & 15];
        }
    }
    return escaped;
}

// -1 for what is no digit.
int hexadecimalDigit(char16_t unit)
{
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    const int lowerCase = unit | 0x20;
    return lowerCase >= 'a' && lowerCase <= 'f' ? lowerCase - 'a' + 10 : -1;
}

// The byte of the escape that stands at `index`; -1 when none does.
int escapeAt(std::u16string_view units, size_t index)
{
    if (units.size() - index < 3 || units[index] != u'%')
        return -1;
    const int high = hexadecimalDigit(units[index + 1]);
    const int low = hexadecimalDigit(units[index + 2]);
    return high < 0 || low < 0 ? -1 : high << 4 | low;
}

// The character whose escapes begin at `index`, which moves behind them; negative when they are malformed or no valid UTF-8.
UChar32 escapedCharacter(std::u16string_view units, size_t& index)
{
    const int first = escapeAt(units, index);
    if (first < 0x80) {
        index += 3;
        return first;
    }
    uint8_t bytes[U8_MAX_LENGTH] = {static_cast<uint8_t>(first)};
    size_t count = 1;
    for (int byte; count < std::size(bytes) && (byte = escapeAt(units, index + 3 * count)) >= 0; ++count)
        bytes[count] = static_cast<uint8_t>(byte);
    size_t used = 0;
    UChar32 character = 0;
    U8_NEXT(bytes, used, count, character);
    index += 3 * used;
    return character;
}

// The text with each half of a surrogate pair replaced, so that it can be escaped.
NSString repaired(const NSString& string)
{
    return NSString::stringWithUTF8String(string.UTF8());
}

std::vector<std::pair<NSString, NSString>> sortedEntries(const NSDictionary& dictionary)
{
    std::vector<std::pair<NSString, NSString>> entries;
    entries.reserve(dictionary.count());
    for (const auto& [key, value] : dictionary)
        entries.emplace_back(repaired(key), repaired(value.description()));
    std::stable_sort(entries.begin(), entries.end(),
        [](const auto& a, const auto& b) { return a.first.caseInsensitiveCompare(b.first) == NSOrderedAscending; });
    return entries;
}

}

NSString qvrDecodePercentEscapes(const NSString& string)
{
    return qvrDecodePercentEscapesKeepingEscaped(string, u"");
}

NSString qvrDecodePercentEscapesKeepingEscaped(const NSString& string, const NSString& characters)
{
    const std::u16string_view units = string.units();
    if (!characters || units.find(u'%') == std::u16string_view::npos)
        return string;
    const bool keepsNone = characters.length() == 0;
    const CharacterTable kept(NSCharacterSet::characterSetWithCharactersInString(characters));

    // No text grows by being decoded.
    std::u16string decoded(units.size(), u'\0');
    char16_t* out = decoded.data();
    for (size_t index = 0; index < units.size();) {
        const size_t start = index;
        if (units[index] != u'%') {
            *out++ = units[index++];
            continue;
        }
        const UChar32 character = escapedCharacter(units, index);
        if (character < 0)
            return {};
        if (!keepsNone && kept.contains(character)) {
            out = std::copy(units.begin() + start, units.begin() + index, out);
        } else if (U_IS_BMP(character)) {
            *out++ = static_cast<char16_t>(character);
        } else {
            *out++ = U16_LEAD(character);
            *out++ = U16_TRAIL(character);
        }
    }
    decoded.resize(static_cast<size_t>(out - decoded.data()));
    return decoded;
}

NSString qvrEncodeForQueryString(const NSString& string)
{
    static const CharacterTable kept = legalCharacters(u"&=", u"");
    return escape(string, kept);
}

NSString qvrEncodeURLKeepingUnescaped(const NSString& string, const NSString& characters)
{
    return escape(string, legalCharacters(u"", characters));
}

NSMutableDictionary qvrQueryStringDictionary(const NSString& string)
{
    if (!string)
        return {};
    NSMutableDictionary entries = NSDictionary::dictionary();
    for (const Value& piece : string.componentsSeparatedByString(u"&")) {
        const NSArray parts = piece.string().componentsSeparatedByString(u"=");
        if (parts.count() != 2)
            continue;
        const NSString key = qvrDecodePercentEscapes(parts[0].string());
        const NSString value = qvrDecodePercentEscapes(parts[1].string());
        if (key && value)
            entries.setObject(value, key);
    }
    return entries;
}

NSString qvrQueryStringWithDictionary(const NSDictionary& dictionary)
{
    return qvrIsMacOSAtLeast10_10() ? qvrQueryStringFromQueryItems(dictionary) : qvrQueryStringFromEscapedPairs(dictionary);
}

NSString qvrQueryStringFromQueryItems(const NSDictionary& dictionary)
{
    if (!dictionary)
        return {};
    static const CharacterTable kept = legalCharacters(u";+", u"&=%");
    std::vector<NSURLQueryItem> items;
    items.reserve(dictionary.count());
    for (auto& [name, value] : sortedEntries(dictionary))
        items.push_back(NSURLQueryItem::queryItemWithName(name, value));
    NSURLComponents components;
    components.setQueryItems(items);
    return escape(components.percentEncodedQuery(), kept);
}

NSString qvrQueryStringFromEscapedPairs(const NSDictionary& dictionary)
{
    if (!dictionary)
        return {};
    std::vector<Value> pairs;
    pairs.reserve(dictionary.count());
    for (const auto& [name, value] : sortedEntries(dictionary))
        pairs.emplace_back(NSString::stringWithFormat(u"%@=%@", qvrEncodeForQueryString(name), qvrEncodeForQueryString(value)));
    return NSArray(std::move(pairs)).componentsJoinedByString(u"&");
}
