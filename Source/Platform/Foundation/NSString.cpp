#include "Platform/Foundation/NSString.h"

#include "Platform/Foundation/ASCII.h"
#include "Platform/Foundation/ICUText.h"
#include "Platform/Foundation/NSException.h"

#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <algorithm>

namespace {

constexpr char16_t replacementCharacter = 0xfffd;

// The text of UTF-8, with `substitute` in place of invalid parts; nothing when there are some and `substitute` is U_SENTINEL.
std::optional<std::u16string> decodeUTF8(std::string_view text, UChar32 substitute)
{
    if (isASCII(text))
        return std::u16string(text.begin(), text.end());
    // UTF-16 never has more units than UTF-8 has bytes, so one pass is enough.
    std::u16string decoded(text.size(), u'\0');
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(decoded.data(), lengthForICU(decoded.size()), &length, text.data(), lengthForICU(text.size()),
        substitute, nullptr, &status);
    if (status == U_INVALID_CHAR_FOUND)
        return {};
    expectSuccess(status);
    decoded.resize(static_cast<size_t>(length));
    return decoded;
}

std::optional<std::string> encodeUTF8(std::u16string_view text, UChar32 substitute)
{
    if (isASCII(text))
        return std::string(text.begin(), text.end());
    std::string encoded(lengthForICU(text.size()) * size_t(3), '\0');
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8WithSub(encoded.data(), static_cast<int32_t>(encoded.size()), &length, text.data(), lengthForICU(text.size()),
        substitute, nullptr, &status);
    if (status == U_INVALID_CHAR_FOUND)
        return {};
    expectSuccess(status);
    encoded.resize(static_cast<size_t>(length));
    return encoded;
}

// The units with what owns them.
std::shared_ptr<const std::u16string_view> shared(std::u16string text)
{
    struct Owner {
        explicit Owner(std::u16string owned) : text(std::move(owned)), units(text) { }
        const std::u16string text;
        const std::u16string_view units;
    };
    const auto owner = std::make_shared<const Owner>(std::move(text));
    return {owner, &owner->units};
}

void checkIndex(const char16_t* operation, size_t index, size_t length)
{
    if (index > length) {
        throw NSException(NSRangeException,
            NSString::stringWithFormat(
                u"-[NSString %S]: Index %llu out of bounds; string length %llu", operation, uint64_t(index), uint64_t(length)));
    }
}

}

NSString::NSString(const char16_t* text) : _text(text ? shared(text) : nullptr) { }

NSString::NSString(std::u16string text) : _text(shared(std::move(text))) { }

NSString::NSString(std::u16string_view text) : _text(shared(std::u16string(text))) { }

NSString NSString::stringWithUTF8String(std::string_view text)
{
    auto decoded = decodeUTF8(text, U_SENTINEL);
    return decoded ? NSString(std::move(*decoded)) : NSString();
}

NSString NSString::stringWithRepairedUTF8(std::string_view text)
{
    return *decodeUTF8(text, replacementCharacter);
}

std::string NSString::UTF8() const
{
    return *encodeUTF8(units(), replacementCharacter);
}

std::optional<std::string> NSString::strictUTF8() const
{
    return _text ? encodeUTF8(units(), U_SENTINEL) : std::nullopt;
}

std::strong_ordering operator<=>(const NSString& a, const NSString& b)
{
    if (!a._text || !b._text)
        return bool(a._text) <=> bool(b._text);
    return a._text->compare(*b._text) <=> 0;
}

NSString NSString::substringToIndex(size_t index) const
{
    if (!_text)
        return {};
    checkIndex(u"substringToIndex:", index, length());
    return index == length() ? *this : NSString(units().substr(0, index));
}

NSString NSString::substringFromIndex(size_t index) const
{
    if (!_text)
        return {};
    checkIndex(u"substringFromIndex:", index, length());
    return index == 0 ? *this : NSString(units().substr(index));
}

NSString NSString::substringWithRange(NSRange range) const
{
    if (!_text)
        return {};
    if (range.location > length() || range.length > length() - range.location) {
        throw NSException(NSRangeException,
            stringWithFormat(u"-[NSString substringWithRange:]: Range %@ out of bounds; string length %llu",
                NSStringFromRange(range), uint64_t(length())));
    }
    return range.length == length() ? *this : NSString(units().substr(range.location, range.length));
}

NSString NSString::stringByAppendingString(const NSString& other) const
{
    if (!_text || other.length() == 0)
        return *this;
    std::u16string text;
    text.reserve(length() + other.length());
    text.append(units()).append(other.units());
    return text;
}

NSString NSString::lowercaseString() const
{
    if (!_text)
        return {};
    if (isASCII(units())) {
        std::u16string text(units());
        for (char16_t& unit : text)
            unit += unit >= u'A' && unit <= u'Z' ? u'a' - u'A' : 0;
        return text;
    }
    return textWrittenByICU(length() + 16, [&](char16_t* buffer, int32_t capacity, UErrorCode* status) {
        return u_strToLower(buffer, capacity, _text->data(), lengthForICU(length()), "", status);
    });
}

NSString NSString::uppercaseString() const
{
    if (!_text)
        return {};
    if (isASCII(units())) {
        std::u16string text(units());
        for (char16_t& unit : text)
            unit -= unit >= u'a' && unit <= u'z' ? u'a' - u'A' : 0;
        return text;
    }
    return textWrittenByICU(length() + 16, [&](char16_t* buffer, int32_t capacity, UErrorCode* status) {
        return u_strToUpper(buffer, capacity, _text->data(), lengthForICU(length()), "", status);
    });
}

NSString NSString::decomposedStringWithCanonicalMapping() const
{
    if (!_text || isASCII(units()))
        return *this;
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* const normalizer = unorm2_getNFDInstance(&status);
    expectSuccess(status);
    return textWrittenByICU(length() + length() / 2, [&](char16_t* buffer, int32_t capacity, UErrorCode* error) {
        return unorm2_normalize(normalizer, _text->data(), lengthForICU(length()), buffer, capacity, error);
    });
}

NSString NSStringFromRange(NSRange range)
{
    return NSString::stringWithFormat(u"{%llu, %llu}", range.location, range.length);
}
