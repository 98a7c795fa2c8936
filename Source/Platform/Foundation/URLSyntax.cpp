#include "Platform/Foundation/URLSyntax.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::string_view hexadecimalDigits = "0123456789ABCDEF";

bool isLetter(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// The value of a hexadecimal digit, or -1.
int digitValue(char16_t c)
{
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    return -1;
}

// Unreserved and reserved characters, section 2.2 and 2.3.
bool mayStandInURL(char16_t c)
{
    constexpr std::string_view marks = "-._~:/?#[]@!$&'()*+,;=";
    if (c > 0x7e)
        return false;
    const char character = static_cast<char>(c);
    return isLetter(character) || isDigit(character) || marks.find(character) != std::string_view::npos;
}

void splitAuthority(std::string_view authority, URLParts& parts)
{
    parts.hasAuthority = true;
    if (const size_t at = authority.rfind('@'); at != std::string_view::npos) {
        const std::string_view userInfo = authority.substr(0, at);
        const size_t colon = userInfo.find(':');
        parts.user = userInfo.substr(0, colon);
        if (colon != std::string_view::npos)
            parts.password = userInfo.substr(colon + 1);
        authority.remove_prefix(at + 1);
    }
    // A colon inside the brackets of an IP literal separates no port.
    const size_t bracket = authority.starts_with('[') ? authority.find(']') : std::string_view::npos;
    const size_t colon = authority.find(':', bracket == std::string_view::npos ? 0 : bracket);
    parts.host = authority.substr(0, colon);
    if (colon != std::string_view::npos)
        parts.port = authority.substr(colon + 1);
}

}

URLParts splitURL(std::string_view text)
{
    URLParts parts;
    // 1. The fragment is what follows the first "#", the query what follows the first "?" before that.
    if (const size_t hash = text.find('#'); hash != std::string_view::npos) {
        parts.fragment = text.substr(hash + 1);
        text = text.substr(0, hash);
    }
    if (const size_t mark = text.find('?'); mark != std::string_view::npos) {
        parts.query = text.substr(mark + 1);
        text = text.substr(0, mark);
    }
    // 2. The scheme ends at the first ":"; what stands before must look like one.
    if (const size_t colon = text.find(':'); colon != std::string_view::npos && isURLScheme(text.substr(0, colon))) {
        parts.scheme = text.substr(0, colon);
        text.remove_prefix(colon + 1);
    }
    // 3. The authority stands between "//" and the next "/".
    if (text.starts_with("//")) {
        text.remove_prefix(2);
        const size_t end = std::min(text.find('/'), text.size());
        splitAuthority(text.substr(0, end), parts);
        text.remove_prefix(end);
    }
    // 4. The rest is the path.
    parts.path = text;
    return parts;
}

bool isURLText(std::u16string_view text)
{
    bool sawHash = false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == u'%') {
            if (text.size() - i < 3 || digitValue(text[i + 1]) < 0 || digitValue(text[i + 2]) < 0)
                return false;
            i += 2;
        } else if (!mayStandInURL(text[i]) || (text[i] == u'#' && sawHash)) {
            return false;
        } else {
            sawHash |= text[i] == u'#';
        }
    }
    return true;
}

bool isURLScheme(std::string_view text)
{
    return !text.empty() && isLetter(text.front()) && std::all_of(text.begin(), text.end(), [](char c) {
        return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.';
    });
}

std::optional<int> portNumber(std::string_view text)
{
    int number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || end != text.data() + text.size() || number < 0 || number > 65535 || !isDigit(text.front()))
        return {};
    return number;
}

NSString stringByAddingPercentEncoding(const NSString& text, std::string_view allowed)
{
    if (!text)
        return {};
    const std::optional<std::string> bytes = text.strictUTF8();
    if (!bytes)
        return {};
    std::u16string encoded;
    encoded.reserve(bytes->size());
    for (const char byte : *bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (value < 0x80 && allowed.find(byte) != std::string_view::npos) {
            encoded += static_cast<char16_t>(value);
        } else {
            encoded += u'%';
            encoded += static_cast<char16_t>(hexadecimalDigits[value >> 4]);
            encoded += static_cast<char16_t>(hexadecimalDigits[value & 15]);
        }
    }
    return NSString(std::move(encoded));
}

NSString stringByRemovingPercentEncoding(const NSString& text)
{
    if (!text)
        return {};
    if (text.units().find(u'%') == std::u16string_view::npos)
        return text;
    const std::optional<std::string> bytes = text.strictUTF8();
    return bytes ? stringByRemovingPercentEncoding(std::string_view(*bytes)) : NSString();
}

NSString stringByRemovingPercentEncoding(std::string_view text)
{
    std::string decoded;
    decoded.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        const int high = text.size() - i < 3 ? -1 : digitValue(static_cast<unsigned char>(text[i + 1]));
        const int low = text.size() - i < 3 ? -1 : digitValue(static_cast<unsigned char>(text[i + 2]));
        if (high < 0 || low < 0)
            return {};
        decoded += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return NSString::stringWithUTF8String(decoded);
}
