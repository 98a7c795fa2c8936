#include "Platform/Network/HTTPAddress.h"

#include <libsoup/soup.h>

namespace {

constexpr auto parsing = static_cast<GUriFlags>(SOUP_HTTP_URI_FLAGS | G_URI_FLAGS_PARSE_RELAXED);

// Only characters that have no meaning in an address are touched; escapes stay as they are.
std::string escaped(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r\n\f";
    const size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos)
        return {};
    text = text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
    // A host beyond ASCII is left to the parser, which knows its other form.
    const size_t authority = text.find("//");
    const size_t path = authority == std::string_view::npos ? 0 : text.find_first_of("/?#", authority + 2);
    std::string result;
    for (size_t index = 0; index < text.size(); ++index) {
        const auto byte = static_cast<unsigned char>(text[index]);
        const bool isOutside = byte <= 0x20 || byte == 0x7f || (byte > 0x7f && index >= path)
            || std::string_view("\"<>\\^`{|}").find(text[index]) != std::string_view::npos;
        constexpr const char* digits = "0123456789ABCDEF";
        if (isOutside)
            result.append({'%', digits[byte >> 4], digits[byte & 15]});
        else
            result += text[index];
    }
    return result;
}

int portOf(GUri* uri)
{
    const int port = g_uri_get_port(uri);
    return port != -1 ? port : isSecure(uri) ? 443 : 80;
}

}

URIPointer parsedAddress(std::string_view text, GUri* base)
{
    const std::string address = escaped(text);
    return URIPointer(
        base ? g_uri_parse_relative(base, address.c_str(), parsing, nullptr) : g_uri_parse(address.c_str(), parsing, nullptr));
}

bool isWebScheme(std::string_view scheme)
{
    const std::string text(scheme);
    return g_ascii_strcasecmp(text.c_str(), "http") == 0 || g_ascii_strcasecmp(text.c_str(), "https") == 0;
}

bool isWebAddress(GUri* uri)
{
    const char* const host = g_uri_get_host(uri);
    return isWebScheme(g_uri_get_scheme(uri)) && host && *host;
}

bool isSecure(GUri* uri)
{
    return g_ascii_strcasecmp(g_uri_get_scheme(uri), "https") == 0;
}

bool haveSameHost(GUri* a, GUri* b)
{
    return g_ascii_strcasecmp(g_uri_get_host(a), g_uri_get_host(b)) == 0;
}

bool haveSameOrigin(GUri* a, GUri* b)
{
    return isSecure(a) == isSecure(b) && haveSameHost(a, b) && portOf(a) == portOf(b);
}

std::string textOf(GUri* uri)
{
    char* const text = g_uri_to_string(uri);
    std::string result = text;
    g_free(text);
    return result;
}
