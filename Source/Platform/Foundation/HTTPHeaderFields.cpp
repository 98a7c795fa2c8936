#include "Platform/Foundation/HTTPHeaderFields.h"

#include "Platform/Foundation/Value.h"

#include <algorithm>

static char16_t lowered(char16_t unit)
{
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + (u'a' - u'A')) : unit;
}

NSString spelledHeaderFieldName(const NSDictionary& fields, const NSString& name)
{
    for (const auto& [key, value] : fields) {
        const std::u16string_view a = key.units();
        const std::u16string_view b = name.units();
        if (name && std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char16_t left, char16_t right) {
                return lowered(left) == lowered(right);
            }))
            return key;
    }
    return {};
}

NSString headerFieldValue(const NSDictionary& fields, const NSString& name)
{
    const NSString key = spelledHeaderFieldName(fields, name);
    return key ? fields.objectForKey(key).string() : NSString();
}
