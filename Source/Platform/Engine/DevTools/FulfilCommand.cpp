#include "Platform/Engine/DevTools/FulfilCommand.h"

#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <array>
#include <glib.h>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

void appendBase64(std::string& text, std::string_view bytes)
{
    // Room as the library asks for it: four characters for three bytes, and the end.
    const size_t start = text.size();
    text.resize(start + (bytes.size() / 3 + 1) * 4 + 4);
    int state = 0;
    int save = 0;
    size_t length = g_base64_encode_step(
        reinterpret_cast<const guchar*>(bytes.data()), bytes.size(), FALSE, text.data() + start, &state, &save);
    length += g_base64_encode_close(FALSE, text.data() + start + length, &state, &save);
    text.resize(start + length);
}

// Fields about bytes on their way; these have arrived.
bool isAboutTheWay(const NSString& field)
{
    static const std::array<NSString, 3> names = {u"content-encoding", u"content-length", u"transfer-encoding"};
    return std::find(names.begin(), names.end(), field.lowercaseString()) != names.end();
}

}

NSString sendableHeaderValue(const NSString& value)
{
    std::string result;
    for (const char byte : value.UTF8()) {
        const auto code = static_cast<unsigned char>(byte);
        if (code < 0x20 || code == 0x7f) {
            static constexpr char digits[] = "0123456789ABCDEF";
            result += {'%', digits[code >> 4], digits[code & 15]};
        } else {
            result += byte;
        }
    }
    return NSString::stringWithRepairedUTF8(result);
}

NSDictionary fieldsOfAnswer(const NSURLRequest& request, const NSURLResponse& response, const NSString& type)
{
    NSDictionary fields = NSDictionary::dictionary();
    if (response.isHTTP()) {
        for (const auto& [name, value] : response.allHeaderFields()) {
            if (!isAboutTheWay(name))
                fields.setObject(value, name);
        }
        if (type)
            fields.setObject(type, u"Content-Type");
        return fields;
    }
    const NSString told = type ? type : response.MIMEType();
    if (told.length() > 0) {
        const NSString encoding = response.textEncodingName();
        fields.setObject(
            encoding.length() > 0 ? NSString::stringWithFormat(u"%@; charset=%@", told, encoding) : told, u"Content-Type");
    }
    const NSString origin = request.valueForHTTPHeaderField(u"Origin");
    fields.setObject(origin ? origin : NSString(u"*"), u"Access-Control-Allow-Origin");
    if (origin)
        fields.setObject(u"true", u"Access-Control-Allow-Credentials");
    const std::pair<const char16_t*, const char16_t*> grants[] = {
        {u"Access-Control-Request-Method", u"Access-Control-Allow-Methods"},
        {u"Access-Control-Request-Headers", u"Access-Control-Allow-Headers"}};
    for (const auto& [asked, granted] : grants) {
        if (const NSString value = request.valueForHTTPHeaderField(asked))
            fields.setObject(value, granted);
    }
    return fields;
}

std::string base64Text(std::string_view bytes)
{
    std::string text;
    appendBase64(text, bytes);
    return text;
}

std::string fulfilCommand(std::string_view interception, int status, const NSDictionary& fields, std::string_view body)
{
    json list = json::array();
    for (const auto& [name, value] : fields)
        list.push_back({{"name", name.UTF8()}, {"value", sendableHeaderValue(value.string()).UTF8()}});
    const json head = {{"requestId", interception}, {"responseCode", status}, {"responseHeaders", list}};
    // The body, which may be big, is written behind the rest without a copy.
    std::string text = head.dump(-1, ' ', false, json::error_handler_t::replace);
    text.pop_back();
    text += R"(,"body":")";
    appendBase64(text, body);
    text += "\"}";
    return text;
}
