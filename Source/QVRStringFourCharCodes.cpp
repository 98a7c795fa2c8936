#include "QVRStringFourCharCodes.h"

#include "Platform/Foundation/NSData.h"
#include "QVRFunctions.h"
#include "QVRStringCreation.h"

#include <array>

NSString qvrStringWithFourCharCode(uint32_t code)
{
    if (code == 0)
        return qvrUnknownCode();
    const std::array<std::byte, 4> bigEndian = {
        std::byte(code >> 24), std::byte(code >> 16 & 0xff), std::byte(code >> 8 & 0xff), std::byte(code & 0xff)};
    return qvrStringWithData(NSData(std::span<const std::byte>(bigEndian)), NSMacOSRomanStringEncoding);
}

uint32_t qvrFourCharCodeValue(const NSString& string)
{
    if (!string)
        return 0;
    // The place is part of the failure's text, which readers of logs know.
    QVRFunctions::checkPrecondition(string.length() == 4, "[self length] == 4", string,
        "-[NSString(QVRFourCharCodes) qvrFourCharCodeValue]", {"Source/NSString+QVRBasics", 608, __func__});
    const NSData encoded = qvrDataUsingEncoding(string, NSMacOSRomanStringEncoding);
    uint32_t code = 0;
    for (size_t index = 0; index < 4; ++index)
        code = code << 8 | (index < encoded.length() ? std::to_integer<uint32_t>(encoded.bytes()[index]) : 0);
    return code;
}

NSString qvrUnknownCode()
{
    return std::u16string(4, u'\0');
}

bool qvrIsUnknownCode(const NSString& string)
{
    return string == qvrUnknownCode();
}
