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
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

// What may stand in an address by RFC 2396, reserved or not: the very characters that RFC 3986 allows in a query.
NSCharacterSet legalCharacters()
{
    return NSCharacterSet::URLQueryAllowedCharacterSet();
}

// `string` with every character that is not in `kept` escaped; absent when one of these has no UTF-8 form.
NSString escape(const NSString& string, const NSCharacterSet& kept)
{
    static constexpr char16_t digits[] = u"0123456789ABCDEF";
    if (!string)
        return {};
    const std::u16string_view units = string.units();
    std::u16string escaped;
    escaped.reserve(units.size());
    for (size_t index = 0; index < units.size();) {
        const size_t start = index;
        UChar32 character = 0;
        U16_NEXT(units.data(), index, units.size(), character);
        if (kept.longCharacterIsMember(static_cast<char32_t>(character))) {
            escaped.append(units.substr(start, index - start));
            continue;
        }
        if (U_IS_SURROGATE(character))
            return {};
        uint8_t bytes[U8_MAX_LENGTH];
        int32_t count = 0;
        U8_APPEND_UNSAFE(bytes, count, character);
        for (int32_t byte = 0; byte < count; ++byte)
            escaped.append({u'%', digits[bytes[byte] >> 4], digits[bytes[byte] & 15]});
    }
    return escaped;
}

std::optional<unsigned> hexadecimalDigit(char16_t unit)
{
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    const char16_t lowerCase = unit | 0x20;
    if (lowerCase >= u'a' && lowerCase <= u'f')
        return lowerCase - u'a' + 10;
    return {};
}

// The byte of the escape that `units` begin with.
std::optional<uint8_t> leadingEscape(std::u16string_view units)
{
    if (units.size() < 3 || units[0] != u'%')
        return {};
    const auto high = hexadecimalDigit(units[1]);
    const auto low = hexadecimalDigit(units[2]);
    if (!high || !low)
        return {};
    return static_cast<uint8_t>(*high << 4 | *low);
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
    const NSCharacterSet kept = NSCharacterSet::characterSetWithCharactersInString(characters);

    std::u16string decoded;
    decoded.reserve(units.size());
    std::vector<uint8_t> bytes;
    for (size_t index = 0; index < units.size();) {
        const size_t run = std::min(units.find(u'%', index), units.size());
        decoded.append(units.substr(index, run - index));
        // A character's bytes stand in escapes without anything between, so a run of escapes is decoded as a whole.
        bytes.clear();
        for (index = run; index < units.size() && units[index] == u'%'; index += 3) {
            const auto byte = leadingEscape(units.substr(index));
            if (!byte)
                return {};
            bytes.push_back(*byte);
        }
        for (size_t position = 0; position < bytes.size();) {
            const size_t start = position;
            UChar32 character = 0;
            U8_NEXT(bytes.data(), position, bytes.size(), character);
            if (character < 0)
                return {};
            if (kept.longCharacterIsMember(static_cast<char32_t>(character))) {
                decoded.append(units.substr(run + 3 * start, 3 * (position - start)));
            } else if (U_IS_BMP(character)) {
                decoded.push_back(static_cast<char16_t>(character));
            } else {
                decoded.append({U16_LEAD(character), U16_TRAIL(character)});
            }
        }
    }
    return decoded;
}

NSString qvrEncodeForQueryString(const NSString& string)
{
    static const NSCharacterSet kept = [] {
        NSMutableCharacterSet set = legalCharacters();
        set.removeCharactersInString(u"&=");
        return set;
    }();
    return escape(string, kept);
}

NSString qvrEncodeURLKeepingUnescaped(const NSString& string, const NSString& characters)
{
    NSMutableCharacterSet kept = legalCharacters();
    kept.addCharactersInString(characters);
    return escape(string, kept);
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
    static const NSCharacterSet kept = [] {
        NSMutableCharacterSet set = legalCharacters();
        set.removeCharactersInString(u";+");
        set.addCharactersInString(u"&=%");
        return set;
    }();
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
