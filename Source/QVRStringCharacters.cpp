#include "QVRStringCharacters.h"

#include <algorithm>
#include <string>

bool qvrHasCharacter(const NSString& string, char16_t unit, uint64_t atIndex)
{
    return atIndex < string.length() && string.characterAtIndex(atIndex) == unit;
}

bool qvrContainsCharacter(const NSString& string, char16_t unit)
{
    return string.units().find(unit) != std::u16string_view::npos;
}

uint64_t qvrCountOccurrencesOfCharacter(const NSString& string, char16_t unit)
{
    const std::u16string_view units = string.units();
    return static_cast<uint64_t>(std::count(units.begin(), units.end(), unit));
}

bool qvrMatchesCharacterSet(const NSString& string, const NSCharacterSet& set)
{
    const std::u16string_view units = string.units();
    return string && std::all_of(units.begin(), units.end(), [&](char16_t unit) { return set.characterIsMember(unit); });
}

NSString qvrStringByKeepingCharactersInSet(const NSString& string, const NSCharacterSet& set)
{
    if (!string)
        return {};
    std::u16string kept(string.units());
    std::erase_if(kept, [&](char16_t unit) { return !set.characterIsMember(unit); });
    return kept;
}

NSString qvrStringByTrimmingNulls(const NSString& string)
{
    if (!qvrContainsCharacter(string, u'\0'))
        return string;
    std::u16string kept(string.units());
    std::erase(kept, u'\0');
    return kept;
}

NSString qvrStringByStripping(const NSString& string)
{
    return string.stringByTrimmingCharactersInSet(NSCharacterSet::whitespaceAndNewlineCharacterSet());
}
