#include "Platform/Foundation/CFPreferences.h"

#include "Platform/Foundation/PreferencesStore.h"

#include <charconv>
#include <optional>
#include <string>

namespace {

// The text in lower-case ASCII; nothing when it holds another character.
std::optional<std::string> asciiText(const NSString& string)
{
    std::string text;
    for (const char16_t unit : string.units()) {
        if (unit > 0x7F)
            return {};
        text += static_cast<char>(unit >= u'A' && unit <= u'Z' ? unit + (u'a' - u'A') : unit);
    }
    return text;
}

std::optional<bool> booleanFromValue(const Value& value)
{
    if (value.isNumber())
        return value.boolValue();
    if (!value.is(Value::Kind::String))
        return {};
    const auto text = asciiText(value.string());
    if (text == "true" || text == "yes" || text == "1")
        return true;
    if (text == "false" || text == "no" || text == "0")
        return false;
    return {};
}

std::optional<int64_t> integerFromText(const NSString& string)
{
    const auto text = asciiText(string);
    if (!text)
        return {};
    std::string_view digits = *text;
    if (digits.starts_with('+') && !digits.starts_with("+-"))
        digits.remove_prefix(1);
    int64_t number = 0;
    const auto [rest, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (failure != std::errc() || rest != digits.data() + digits.size())
        return {};
    return number;
}

std::optional<int64_t> integerFromValue(const Value& value)
{
    if (value.is(Value::Kind::Real)) {
        // The bounds are exact as doubles: -2^63 is included, 2^63 is not.
        const double real = value.doubleValue();
        if (real >= -0x1p63 && real < 0x1p63)
            return static_cast<int64_t>(real);
        return {};
    }
    if (value.isNumber())
        return value.integerValue();
    if (value.is(Value::Kind::String))
        return integerFromText(value.string());
    return {};
}

template <typename Result>
Result answer(const std::optional<Result>& result, bool* keyExistsAndHasValidFormat)
{
    if (keyExistsAndHasValidFormat)
        *keyExistsAndHasValidFormat = result.has_value();
    return result.value_or(Result());
}

}

Value CFPreferencesCopyAppValue(const NSString& key, const NSString& application)
{
    return PreferencesStore::sharedStore()->valueForKey(key, application);
}

bool CFPreferencesGetAppBooleanValue(const NSString& key, const NSString& application, bool* keyExistsAndHasValidFormat)
{
    return answer(booleanFromValue(CFPreferencesCopyAppValue(key, application)), keyExistsAndHasValidFormat);
}

int64_t CFPreferencesGetAppIntegerValue(const NSString& key, const NSString& application, bool* keyExistsAndHasValidFormat)
{
    return answer(integerFromValue(CFPreferencesCopyAppValue(key, application)), keyExistsAndHasValidFormat);
}
