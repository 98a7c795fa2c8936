#include "Platform/Foundation/NSCharacterSet.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/URLSyntax.h"

#include <unicode/utf16.h>

NSString NSString::stringByTrimmingCharactersInSet(const NSCharacterSet& set) const
{
    if (!_text)
        return {};
    const std::u16string_view text = units();
    size_t start = 0;
    for (size_t position = 0; position < text.size(); start = position) {
        UChar32 character = 0;
        U16_NEXT(text.data(), position, text.size(), character);
        if (!set.longCharacterIsMember(static_cast<char32_t>(character)))
            break;
    }
    size_t end = text.size();
    for (size_t position = end; position > start; end = position) {
        UChar32 character = 0;
        U16_PREV(text.data(), start, position, character);
        if (!set.longCharacterIsMember(static_cast<char32_t>(character)))
            break;
    }
    return substringWithRange({start, end - start});
}

NSString NSString::stringByRemovingPercentEncoding() const
{
    return ::stringByRemovingPercentEncoding(*this);
}

NSString NSString::stringByAddingPercentEncodingWithAllowedCharacters(const NSCharacterSet& set) const
{
    std::string allowed;
    for (char16_t unit = 0; unit < 0x80; ++unit) {
        if (set.characterIsMember(unit))
            allowed.push_back(static_cast<char>(unit));
    }
    return ::stringByAddingPercentEncoding(*this, allowed);
}
