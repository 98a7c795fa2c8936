#include "Platform/Engine/DevTools/TextBytes.h"

namespace {

constexpr std::string_view UTF8Mark = "\xef\xbb\xbf";
constexpr std::string_view UTF16LittleEndianMark = "\xff\xfe";
constexpr std::string_view UTF16BigEndianMark = "\xfe\xff";

NSData joined(std::string_view mark, std::string_view bytes)
{
    return NSData::dataWithBytes(std::string(mark).append(bytes));
}

// `text` in the encoding of that name, when that makes `length` bytes, with or without a mark; else absent.
NSData encoded(const NSString& text, const NSString& encodingName, size_t length)
{
    const std::string name = encodingName.lowercaseString().UTF8();
    const bool isLittleEndian = name == "utf-16" || name == "utf-16le";
    const bool isBigEndian = name == "utf-16be";
    const auto encoding = NSStringEncodingFromIANAName(isLittleEndian ? NSString(u"utf-16le") : encodingName);
    if (!encoding)
        return {};
    const NSData bytes = text.dataUsingEncoding(*encoding);
    if (bytes.isAbsent() || bytes.length() == length)
        return bytes;
    if ((isLittleEndian || isBigEndian) && bytes.length() + 2 == length)
        return joined(isLittleEndian ? UTF16LittleEndianMark : UTF16BigEndianMark, bytes.characters());
    return {};
}

}

NSData bytesOfDecodedText(
    std::string_view text, int64_t length, const NSString& declaredEncoding, const std::function<NSString()>& readEncoding)
{
    const auto wanted = static_cast<size_t>(length);
    if (text.size() == wanted)
        return NSData::dataWithBytes(text);
    if (text.size() + UTF8Mark.size() == wanted)
        return joined(UTF8Mark, text);
    const NSString string = NSString::stringWithRepairedUTF8(text);
    if (declaredEncoding) {
        if (const NSData bytes = encoded(string, declaredEncoding, wanted))
            return bytes;
    }
    if (const NSString read = readEncoding()) {
        if (const NSData bytes = encoded(string, read, wanted))
            return bytes;
    }
    return NSData::dataWithBytes(text);
}
