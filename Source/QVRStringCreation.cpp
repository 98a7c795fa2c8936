#include "QVRStringCreation.h"

#include "Platform/Foundation/Value.h"
#include "QVRError.h"

#include <glib.h>

#include <array>
#include <cstring>
#include <memory>

namespace {

NSError conversionError(int64_t code, const NSString& key, Value object, NSStringEncoding encoding, const NSString& reason)
{
    NSMutableDictionary userInfo = NSDictionary::dictionary();
    if (object)
        userInfo.setObject(std::move(object), key);
    userInfo.setObject(encoding, u"QVRStringEncoding");
    userInfo.setObject(reason, NSLocalizedFailureReasonErrorKey);
    return QVRError1(code, userInfo);
}

}

NSString qvrStringWithFormat(const NSString& format, FormatArguments arguments)
{
    return NSStringWithFormatArguments(format, arguments);
}

NSString qvrUniqueString()
{
    const std::unique_ptr<char, decltype(&g_free)> lowerCase(g_uuid_string_random(), g_free);
    const std::unique_ptr<char, decltype(&g_free)> upperCase(g_ascii_strup(lowerCase.get(), -1), g_free);
    return NSString::stringWithUTF8String(upperCase.get());
}

NSString qvrUniqueString(const NSString& prefix)
{
    return NSString::stringWithFormat(u"%@.%@", prefix, qvrUniqueString());
}

NSStringEncoding qvrStringEncodingForMIMEEncoding(const NSString& charset)
{
    if (!charset)
        return NSISOLatin1StringEncoding;
    return NSStringEncodingFromIANAName(charset.lowercaseString()).value_or(NSISOLatin1StringEncoding);
}

NSString qvrStringWithFileSystemRepresentation(const char* representation)
{
    return representation ? qvrStringWithFileSystemRepresentation(representation, std::strlen(representation)) : NSString();
}

NSString qvrStringWithFileSystemRepresentation(const char* representation, size_t length)
{
    return representation ? NSString::stringWithUTF8String({representation, length}) : NSString();
}

NSString qvrStringWithCharacter(char16_t unit)
{
    return NSString(std::u16string(1, unit));
}

NSString qvrStringWith32BitCharacter(uint32_t character)
{
    const std::array<std::byte, 4> littleEndian = {std::byte(character & 0xff), std::byte(character >> 8 & 0xff),
        std::byte(character >> 16 & 0xff), std::byte(character >> 24 & 0xff)};
    return qvrStringWithData(NSData(std::span<const std::byte>(littleEndian)), NSUTF32LittleEndianStringEncoding);
}

NSString qvrStringWithData(const NSData& data, NSStringEncoding encoding, NSError* error)
{
    const NSString string = NSString::stringWithData(data, encoding);
    if (!string && error)
        *error =
            conversionError(QVRStringDecodingErrorCode, u"QVRInputObject", data, encoding, u"Error decoding data to string.");
    return string;
}

NSData qvrDataUsingEncoding(const NSString& string, NSStringEncoding encoding, NSError* error)
{
    const NSData data = string.dataUsingEncoding(encoding);
    if (!data && error)
        *error = conversionError(QVRStringEncodingErrorCode, u"QVRString", string, encoding, u"Error encoding data from string.");
    return data;
}

NSString qvrStringWithUTF8Data(const NSData& data)
{
    return NSString::stringWithData(data, NSUTF8StringEncoding);
}

NSString qvrStringWithContentsOfFile(const NSString& path)
{
    const NSData data = NSData::dataWithContentsOfFile(path);
    if (!data)
        return {};
    for (const NSStringEncoding encoding : {NSUTF8StringEncoding, NSUTF16StringEncoding, NSMacOSRomanStringEncoding}) {
        if (NSString string = qvrStringWithData(data, encoding))
            return string;
    }
    return {};
}

NSURL qvrFileURL(const NSString& path)
{
    return NSURL::fileURLWithPath(path);
}

NSURL qvrFastFileURL(const NSString& path)
{
    return NSURL::fileURLWithPath(path, false);
}
