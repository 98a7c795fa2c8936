#include "Platform/Foundation/NSData.h"

#include "Platform/Foundation/NSString.h"

namespace {

// Hexadecimal digits of `bytes`, in groups of four bytes when `isGrouped`.
void appendDigits(std::u16string& output, std::span<const std::byte> bytes, bool isGrouped)
{
    static constexpr char16_t digits[] = u"0123456789abcdef";
    for (size_t index = 0; index < bytes.size(); ++index) {
        if (isGrouped && index > 0 && index % 4 == 0)
            output.push_back(u' ');
        const auto byte = std::to_integer<unsigned>(bytes[index]);
        output.append({digits[byte >> 4], digits[byte & 15]});
    }
}

}

NSData NSData::dataWithBytes(std::string_view bytes)
{
    return NSData(std::as_bytes(std::span(bytes)));
}

NSString NSData::description() const
{
    constexpr size_t longestShownWhole = 24;
    constexpr size_t shownAtFront = 16;
    constexpr size_t shownAtBack = 8;
    if (isAbsent())
        return {};
    std::u16string shown;
    if (length() <= longestShownWhole) {
        appendDigits(shown, bytes(), false);
    } else {
        appendDigits(shown, bytes().first(shownAtFront), true);
        shown.append(u" ... ");
        appendDigits(shown, bytes().last(shownAtBack), true);
        shown.push_back(u' ');
    }
    return NSString::stringWithFormat(
        u"{length = %llu, bytes = 0x%@}", static_cast<uint64_t>(length()), NSString(std::move(shown)));
}
