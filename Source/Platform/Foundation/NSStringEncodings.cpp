#include "Platform/Foundation/ASCII.h"
#include "Platform/Foundation/ICUText.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/StringEncodingNames.h"

#include <unicode/ucnv.h>
#include <unicode/uniset.h>
#include <unicode/unorm2.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <array>
#include <bit>
#include <memory>

namespace {

constexpr UChar32 replacementCharacter = 0xfffd;
constexpr UChar32 byteOrderMark = 0xfeff;

bool hasASCIIBytes(NSStringEncoding encoding)
{
    switch (encoding) {
    case NSASCIIStringEncoding:
    case NSUTF8StringEncoding:
    case NSISOLatin1StringEncoding:
    case NSWindowsCP1252StringEncoding:
    case NSMacOSRomanStringEncoding:
        return true;
    default:
        return false;
    }
}

void appendCharacter(std::u16string& text, UChar32 character)
{
    if (U_IS_BMP(character))
        text.push_back(static_cast<char16_t>(character));
    else
        text.append({U16_LEAD(character), U16_TRAIL(character)});
}

// Units and code points as bytes.

template <typename Unit>
void appendBytes(std::string& bytes, Unit unit, std::endian order)
{
    for (size_t index = 0; index < sizeof(Unit); ++index) {
        const size_t shift = 8 * (order == std::endian::little ? index : sizeof(Unit) - 1 - index);
        bytes.push_back(static_cast<char>(static_cast<uint32_t>(unit) >> shift & 0xff));
    }
}

template <typename Unit>
Unit unitAt(std::string_view bytes, size_t position, std::endian order)
{
    uint32_t unit = 0;
    for (size_t index = 0; index < sizeof(Unit); ++index) {
        const size_t shift = 8 * (order == std::endian::little ? index : sizeof(Unit) - 1 - index);
        unit |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[position + index])) << shift;
    }
    return static_cast<Unit>(unit);
}

// The order that the encoding itself names, else that of a byte-order mark, which is taken off `bytes`, else big-endian.
template <typename Unit>
std::endian takeByteOrder(std::string_view& bytes, NSStringEncoding encoding)
{
    if (encoding == NSUTF16LittleEndianStringEncoding || encoding == NSUTF32LittleEndianStringEncoding)
        return std::endian::little;
    if (encoding == NSUTF16BigEndianStringEncoding || encoding == NSUTF32BigEndianStringEncoding || bytes.size() < sizeof(Unit))
        return std::endian::big;
    for (const std::endian order : {std::endian::little, std::endian::big}) {
        if (unitAt<Unit>(bytes, 0, order) == byteOrderMark) {
            bytes.remove_prefix(sizeof(Unit));
            return order;
        }
    }
    return std::endian::big;
}

template <typename Unit>
std::string startOfBytes(NSStringEncoding encoding, std::endian& order)
{
    std::string bytes;
    order = encoding == NSUTF16BigEndianStringEncoding || encoding == NSUTF32BigEndianStringEncoding     ? std::endian::big
        : encoding == NSUTF16LittleEndianStringEncoding || encoding == NSUTF32LittleEndianStringEncoding ? std::endian::little
                                                                                                         : std::endian::native;
    if (encoding == NSUTF16StringEncoding || encoding == NSUTF32StringEncoding)
        appendBytes(bytes, static_cast<Unit>(byteOrderMark), order);
    return bytes;
}

std::string encodeUTF16(std::u16string_view text, NSStringEncoding encoding)
{
    std::endian order;
    std::string bytes = startOfBytes<char16_t>(encoding, order);
    bytes.reserve(2 * text.size() + 2);
    for (const char16_t unit : text)
        appendBytes(bytes, unit, order);
    return bytes;
}

std::optional<std::string> encodeUTF32(std::u16string_view text, NSStringEncoding encoding, bool allowLossyConversion)
{
    std::endian order;
    std::string bytes = startOfBytes<char32_t>(encoding, order);
    bytes.reserve(4 * text.size() + 4);
    for (size_t index = 0; index < text.size();) {
        UChar32 character = 0;
        U16_NEXT(text.data(), index, text.size(), character);
        if (U_IS_SURROGATE(character)) {
            if (!allowLossyConversion)
                return {};
            character = replacementCharacter;
        }
        appendBytes(bytes, static_cast<char32_t>(character), order);
    }
    return bytes;
}

NSString decodeUTF16(std::string_view bytes, NSStringEncoding encoding)
{
    if (bytes.size() % 2 != 0)
        return {};
    const std::endian order = takeByteOrder<char16_t>(bytes, encoding);
    std::u16string text;
    text.reserve(bytes.size() / 2);
    for (size_t position = 0; position < bytes.size(); position += 2)
        text.push_back(unitAt<char16_t>(bytes, position, order));
    return text;
}

NSString decodeUTF32(std::string_view bytes, NSStringEncoding encoding)
{
    if (bytes.size() % 4 != 0)
        return {};
    const std::endian order = takeByteOrder<char32_t>(bytes, encoding);
    std::u16string text;
    text.reserve(bytes.size() / 4);
    for (size_t position = 0; position < bytes.size(); position += 4) {
        const char32_t character = unitAt<char32_t>(bytes, position, order);
        if (character > UCHAR_MAX_VALUE || U_IS_SURROGATE(character))
            return {};
        appendCharacter(text, static_cast<UChar32>(character));
    }
    return text;
}

// ASCII with escapes.

std::string encodeNonLossyASCII(std::u16string_view text)
{
    static constexpr char digits[] = "0123456789abcdef";
    std::string bytes;
    bytes.reserve(text.size());
    for (const char16_t unit : text) {
        if (unit == u'\\')
            bytes.append("\\\\");
        else if (unit < 0x80)
            bytes.push_back(static_cast<char>(unit));
        else if (unit < 0x100)
            bytes.append({'\\', digits[unit >> 6], digits[unit >> 3 & 7], digits[unit & 7]});
        else
            bytes.append({'\\', 'u', digits[unit >> 12], digits[unit >> 8 & 15], digits[unit >> 4 & 15], digits[unit & 15]});
    }
    return bytes;
}

// The number that all of `digits` write.
std::optional<unsigned> numberOf(std::string_view digits, unsigned base)
{
    unsigned number = 0;
    for (const char digit : digits) {
        const char lowerCase = static_cast<char>(digit | 0x20);
        const unsigned value = digit >= '0' && digit <= '9' ? unsigned(digit - '0')
            : lowerCase >= 'a' && lowerCase <= 'f'          ? unsigned(lowerCase - 'a' + 10)
                                                            : base;
        if (value >= base)
            return {};
        number = number * base + value;
    }
    return number;
}

NSString decodeNonLossyASCII(std::string_view bytes)
{
    if (!isASCII(bytes))
        return {};
    std::u16string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        size_t length = 1;
        auto unit = static_cast<unsigned>(bytes.front());
        if (bytes.front() == '\\') {
            const bool isHexadecimal = bytes.size() > 1 && bytes[1] == 'u';
            const bool isBackslash = bytes.size() > 1 && bytes[1] == '\\';
            length = isHexadecimal ? 6 : isBackslash ? 2 : 4;
            if (bytes.size() < length)
                return {};
            if (!isBackslash) {
                const auto number = isHexadecimal ? numberOf(bytes.substr(2, 4), 16) : numberOf(bytes.substr(1, 3), 8);
                if (!number || (!isHexadecimal && *number > 0xff))
                    return {};
                unit = *number;
            }
        }
        text.push_back(static_cast<char16_t>(unit));
        bytes.remove_prefix(length);
    }
    return text;
}

// Everything else, by ICU's converters.

struct ConverterCloser {
    void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, ConverterCloser>;

// Leaves the failure as it is. ICU's own callback of this kind passes over characters that need not be seen, which loses them.
void stopAtFailure(
    const void*, UConverterFromUnicodeArgs*, const char16_t*, int32_t, UChar32, UConverterCallbackReason, UErrorCode*)
{
}

// A converter that fails at the first thing that has no counterpart.
Converter openStrictConverter(NSStringEncoding encoding)
{
    const char* const name = converterNameOfEncoding(encoding);
    if (!name)
        return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    Converter converter(ucnv_open(name, &status));
    if (U_FAILURE(status))
        return nullptr;
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    ucnv_setFromUCallBack(converter.get(), stopAtFailure, nullptr, nullptr, nullptr, &status);
    ucnv_setFallback(converter.get(), false);
    expectSuccess(status);
    return converter;
}

NSString decodeWithConverter(std::string_view bytes, NSStringEncoding encoding)
{
    const Converter converter = openStrictConverter(encoding);
    if (!converter)
        return {};
    std::u16string text;
    const char* source = bytes.data();
    const char* const sourceEnd = source + bytes.size();
    std::array<char16_t, 4096> buffer;
    UErrorCode status = U_BUFFER_OVERFLOW_ERROR;
    while (status == U_BUFFER_OVERFLOW_ERROR) {
        status = U_ZERO_ERROR;
        char16_t* target = buffer.data();
        ucnv_toUnicode(converter.get(), &target, buffer.data() + buffer.size(), &source, sourceEnd, nullptr, true, &status);
        text.append(buffer.data(), target);
    }
    return U_SUCCESS(status) ? NSString(std::move(text)) : NSString();
}

std::optional<std::string> encodeWithConverter(UConverter* converter, std::u16string_view text)
{
    std::string bytes;
    const char16_t* source = text.data();
    const char16_t* const sourceEnd = source + text.size();
    std::array<char, 4096> buffer;
    UErrorCode status = U_BUFFER_OVERFLOW_ERROR;
    while (status == U_BUFFER_OVERFLOW_ERROR) {
        status = U_ZERO_ERROR;
        char* target = buffer.data();
        ucnv_fromUnicode(converter, &target, buffer.data() + buffer.size(), &source, sourceEnd, nullptr, true, &status);
        bytes.append(buffer.data(), target);
    }
    ucnv_reset(converter);
    return U_SUCCESS(status) ? std::optional(std::move(bytes)) : std::nullopt;
}

// What stands for a character that is not in `known`: its compatibility decomposition without the marks,
// nothing for a mark, else "?".
std::u16string_view substituteFor(UChar32 character, const icu::UnicodeSet& known, std::u16string& buffer)
{
    if (u_charType(character) == U_NON_SPACING_MARK)
        return {};
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* const normalizer = unorm2_getNFKDInstance(&status);
    expectSuccess(status);
    std::u16string single;
    appendCharacter(single, character);
    const std::u16string decomposed = textWrittenByICU(32, [&](char16_t* target, int32_t capacity, UErrorCode* error) {
        return unorm2_normalize(normalizer, single.data(), lengthForICU(single.size()), target, capacity, error);
    });
    buffer.clear();
    for (size_t index = 0; index < decomposed.size();) {
        UChar32 part = 0;
        U16_NEXT(decomposed.data(), index, decomposed.size(), part);
        if (known.contains(part))
            appendCharacter(buffer, part);
        else if (u_charType(part) != U_NON_SPACING_MARK)
            return u"?";
    }
    return buffer.empty() ? std::u16string_view(u"?") : buffer;
}

// The text with substitutes for what the converter does not know.
std::u16string repairedForConverter(const UConverter* converter, std::u16string_view text)
{
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeSet known;
    ucnv_getUnicodeSet(converter, known.toUSet(), UCNV_ROUNDTRIP_SET, &status);
    expectSuccess(status);
    known.freeze();
    std::u16string repaired;
    repaired.reserve(text.size());
    std::u16string buffer;
    for (size_t index = 0; index < text.size();) {
        UChar32 character = 0;
        U16_NEXT(text.data(), index, text.size(), character);
        if (known.contains(character))
            appendCharacter(repaired, character);
        else
            repaired.append(substituteFor(character, known, buffer));
    }
    return repaired;
}

}

NSData NSString::dataUsingEncoding(NSStringEncoding encoding, bool allowLossyConversion) const
{
    if (!_text)
        return {};
    const std::u16string_view text = units();
    const auto dataOf = [](const std::optional<std::string>& bytes) { return bytes ? NSData::dataWithBytes(*bytes) : NSData(); };
    if (hasASCIIBytes(encoding) && isASCII(text))
        return NSData::dataWithBytes(std::string(text.begin(), text.end()));
    switch (encoding) {
    case NSUTF8StringEncoding:
        return allowLossyConversion ? NSData::dataWithBytes(UTF8()) : dataOf(strictUTF8());
    case NSNonLossyASCIIStringEncoding:
        return NSData::dataWithBytes(encodeNonLossyASCII(text));
    case NSUTF16StringEncoding:
    case NSUTF16BigEndianStringEncoding:
    case NSUTF16LittleEndianStringEncoding:
        return NSData::dataWithBytes(encodeUTF16(text, encoding));
    case NSUTF32StringEncoding:
    case NSUTF32BigEndianStringEncoding:
    case NSUTF32LittleEndianStringEncoding:
        return dataOf(encodeUTF32(text, encoding, allowLossyConversion));
    default:
        break;
    }
    const Converter converter = openStrictConverter(encoding);
    if (!converter)
        return {};
    auto bytes = encodeWithConverter(converter.get(), text);
    if (!bytes && allowLossyConversion)
        bytes = encodeWithConverter(converter.get(), repairedForConverter(converter.get(), text));
    return dataOf(bytes);
}

NSString NSString::stringWithData(const NSData& data, NSStringEncoding encoding)
{
    if (!data)
        return {};
    std::string_view bytes = data.characters();
    if (hasASCIIBytes(encoding) && isASCII(bytes))
        return std::u16string(bytes.begin(), bytes.end());
    switch (encoding) {
    case NSUTF8StringEncoding:
        return stringWithUTF8String(bytes.starts_with("\xef\xbb\xbf") ? bytes.substr(3) : bytes);
    case NSNonLossyASCIIStringEncoding:
        return decodeNonLossyASCII(bytes);
    case NSUTF16StringEncoding:
    case NSUTF16BigEndianStringEncoding:
    case NSUTF16LittleEndianStringEncoding:
        return decodeUTF16(bytes, encoding);
    case NSUTF32StringEncoding:
    case NSUTF32BigEndianStringEncoding:
    case NSUTF32LittleEndianStringEncoding:
        return decodeUTF32(bytes, encoding);
    default:
        return decodeWithConverter(bytes, encoding);
    }
}
